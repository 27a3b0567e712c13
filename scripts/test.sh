#!/usr/bin/env bash
# Builds everything with warnings as errors, runs format and tidy checks and all tests. The last line is CTest's.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

scripts/install-deps.sh --tests
configure release
build release
scripts/lint.sh
exec ctest --preset release -j2 "$@"
