#!/bin/sh
# The library shows exactly the functions that the public header declares, under those names and no others, and the test
# of the boundary covers each of them.
#   export_names_test.sh <libQuindalIM_Client.so> <QuindalIM.h> <exports.map> <exports_boundary_test>
set -eu
library=$1 header=$2 map=$3 boundary=$4

# The preprocessor joins each declaration's attribute and name; what follows is the name before its bracket.
declared=$(tr '\n' ' ' <"$header" | grep -oE 'QUINDAL_API (const char\* |int32_t )[A-Za-z]+\(' |
    sed -E 's/.*[ *]([A-Za-z]+)\($/\1/' | LC_ALL=C sort)
mapped=$(sed -n '/global:/,/local:/p' "$map" | grep -oE '[A-Za-z]+;' | tr -d ';' | LC_ALL=C sort)
exported=$(nm -D --defined-only "$library" | awk '{print $NF}' | LC_ALL=C sort)
tested=$("$boundary" --names | LC_ALL=C sort)

differ=0
compare() {
    if [ "$1" != "$2" ]; then
        echo "$3 and $4 differ:"
        printf '%s\n' "$1" "$2" | LC_ALL=C sort | uniq -u
        differ=1
    fi
}
[ -n "$declared" ] || { echo "no declaration found in $header"; exit 1; }
compare "$declared" "$exported" "the header" "the library"
compare "$declared" "$mapped" "the header" "the linker's map"
compare "$declared" "$tested" "the header" "the test of the boundary"
[ "$(printf '%s\n' "$exported" | wc -l)" -eq 50 ] || { echo "not 50 exports"; differ=1; }
exit $differ
