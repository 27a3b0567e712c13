#!/usr/bin/env bash
# Builds the Debian packages into build/packages, from the release build, and tests them (scripts/package-test.sh).
#   --no-test    leaves the tests out
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

scripts/install-deps.sh
scripts/install-deps.sh --package
SOURCE_DATE_EPOCH="${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}" # the date in the change log
export SOURCE_DATE_EPOCH
umask 022 # the rights of packaged files do not depend on who packs

say "configure release"
cmake --preset release >&2
build release quindal_packaged
say "pack"
rm -rf build/packages
cpack --config build/release/CPackConfig.cmake >&2
rm -rf build/packages/_CPack_Packages
if [ "${1:-}" != --no-test ]; then scripts/package-test.sh; fi
ls build/packages/*.deb
