#!/bin/sh
# What scripts/demo.sh builds is all that `cmake --install` takes from the build tree.
#   DemoInstallTest.sh <ninja> <build> <source>
set -eu
ninja=$1 build=$2 source=$3
work=$(mktemp -d "${TMPDIR:-/tmp}/quindal-demo-XXXXXX")
trap 'rm -rf "$work"' EXIT

targets=$(sed -n 's/^build release \([^#]*\).*/\1/p' "$source/scripts/demo.sh")
[ -n "$targets" ] || { echo "scripts/demo.sh builds nothing"; exit 1; }

# Files that the install scripts name, as far as the build makes them; the others are of the sources or of the
# configuration, and there already. What only the Debian packages have stands in blocks of their component alone.
find "$build" -name cmake_install.cmake -exec awk '
    /^if\(CMAKE_INSTALL_COMPONENT STREQUAL/ && !/OR NOT CMAKE_INSTALL_COMPONENT/ { packaged = 1 }
    !packaged { print }
    /^endif/ { packaged = 0 }' {} + | grep -o "\"$build/[^\"]*\"" | tr -d '"' | sed "s|^$build/||" |
    LC_ALL=C sort -u >"$work/named"
"$ninja" -C "$build" -t targets all | sed -n 's/: [^:]*$//p' | LC_ALL=C sort -u >"$work/made"
LC_ALL=C comm -12 "$work/named" "$work/made" >"$work/installed"
for file in libQuindalIM_Client.so libQuindalIM_Client.so.9 libZ9Sys.so quindal; do
    grep -q "/$file\$" "$work/installed" || { echo "the install scripts do not name $file"; exit 1; }
done

# shellcheck disable=SC2086 # targets are words
"$ninja" -C "$build" -t commands $targets >"$work/commands"
missing=0
while read -r file; do
    # A link to a library is made by cmake, of the library's file and the names of its links.
    grep -q -e " -o $file " -e "cmake_symlink_library .* $file\( \|\$\)" "$work/commands" && continue
    echo "scripts/demo.sh builds $targets, and cmake --install wants $file"
    missing=1
done <"$work/installed"
exit $missing
