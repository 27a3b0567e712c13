#!/bin/sh
# A public header is read by every standard that it promises, with all warnings as errors and no standard's extensions:
# by the compilers of the build, and by clang where it is installed.
#   HeaderStandardsTest.sh <include folder> <source> <C compiler> <standard of C>... -- <C++ compiler> <standard of C++>...
# The source is one that uses the header; it is read as C and as C++. Either list may be empty of standards.
set -eu
include=$1 source=$2
shift 2

warnings="-Wall -Wextra -Wpedantic -Werror -Wconversion -Wshadow -Wundef"
readings=0
read_by() {
    compiler=$1 standard=$2
    shift 2
    # shellcheck disable=SC2086 # the warnings are words
    "$compiler" -std="$standard" -fsyntax-only $warnings -I"$include" "$@" "$source" || {
        echo "$compiler -std=$standard does not read $source"
        exit 1
    }
    readings=$((readings + 1))
}
# Each compiler given and its namesake of clang, unless the one given is clang already.
read_by_all() {
    compiler=$1 clang=$2 standard=$3
    shift 3
    read_by "$compiler" "$standard" "$@"
    if command -v "$clang" >/dev/null && [ "$("$compiler" -dM -E - </dev/null | grep -c __clang__)" = 0 ]; then
        read_by "$clang" "$standard" "$@"
    fi
}

c=$1
shift
while [ "$1" != -- ]; do
    # A literal is const here, so a parameter that could be and is not is found.
    read_by_all "$c" clang "$1" -Wstrict-prototypes -Wwrite-strings
    shift
done
cpp=$2
shift 2
for standard in "$@"; do
    read_by_all "$cpp" clang++ "$standard" -x c++ -Wold-style-cast
done
[ "$readings" -gt 0 ] || { echo "no standard was given"; exit 1; }
echo "$readings readings of $source"
