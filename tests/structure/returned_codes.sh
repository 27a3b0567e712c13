#!/usr/bin/env bash
# QuindalIM.h has a constant for every code that its functions return, and for no other.
#
# A code is returned when a line that some export reaches names it, outside of the replica folders; so says
# unreached_lines.sh. What the sources cannot say by themselves stands in EXCEPTIONS: "- NAME why" for a code that is
# named there and never leaves, "+ NAME why" for one that leaves and is named elsewhere.
#
# usage: returned_codes.sh ROOT EXCEPTIONS CC WHOLE REACHED_BY_EXPORTS
set -euo pipefail
export LC_ALL=C

root=$1 exceptions=$2 cc=$3 whole=$4 reached=$5
here=$(dirname "${BASH_SOURCE[0]}")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# "number name" of every code that has a name.
{
    sed -nE 's/^KV7_ERROR(_NO_TEXT)?\(([0-9]+), (Z9ERR_[A-Z0-9_]+).*/\2 \3/p' "$root/Units/kv7base/include/kv7errors.def"
    sed -nE 's/^inline constexpr Z9ERR (Z9ERR_[A-Z0-9_]+) = ([0-9]+);.*/\2 \1/p' "$root/Units/kv7base/include/kv7errors.h"
    sed -nE 's/^#define (Z9ERR_[A-Z0-9_]+) (0x[0-9A-F]+)u.*/\1 \2/p' "$root"/Platform/Z9Sys/include/*.h |
        while read -r name number; do echo "$((number)) $name"; done
} | sort -u -k2,2 >"$folder/names"

# Names in the lines that the exports reach. A name that a macro puts together stands for all that fit.
"$here/unreached_lines.sh" lines "$root/Units" "$whole" "$reached" >"$folder/unreached"
(cd "$root/Units" && find . \( -name '*.h' -o -name '*.cpp' \) ! -path '*/replica/*' ! -name 'kv7errors.*' -printf '%P\n') |
    sort | (cd "$root/Units" && xargs awk -v unreached="$folder/unreached" '
        BEGIN { while ((getline place <unreached) > 0) skipped[place] }
        FILENAME ":" FNR in skipped { next }
        {
            sub(/\/\/.*/, "")
            gsub(/##[a-z]+##/, ".*")
            while (match($0, /Z9ERR_[A-Z0-9_.*]+/)) {
                print substr($0, RSTART, RLENGTH)
                $0 = substr($0, RSTART + RLENGTH)
            }
        }') | sort -u | sed 's/.*/ &$/' | grep -f - "$folder/names" | cut -d ' ' -f 2 | sort -u >"$folder/named"

sed -nE 's/^- (Z9ERR_[A-Z0-9_]+) .*/\1/p' "$exceptions" | sort >"$folder/inside"
sed -nE 's/^\+ (Z9ERR_[A-Z0-9_]+) .*/\1/p' "$exceptions" | sort >"$folder/elsewhere"
sort -u "$folder/named" "$folder/elsewhere" | comm -23 - "$folder/inside" |
    awk 'FILENAME == ARGV[1] { number[$2] = $1; next } { print number[$1], $1 }' "$folder/names" - |
    sort >"$folder/returned"

printf '#include "QuindalIM.h"\n#define ROW(name, number, text) @number\nQUINDAL_IM_CODES(ROW)\n' |
    "$cc" -E -P -I "$root/Units/QuindalIM/include" - | grep -oE '@[0-9]+' | tr -d '@' | sort >"$folder/constants"

failed=0
complain() {
    if [[ -n $2 ]]; then
        printf '%s\n%s\n' "$1" "$2"
        failed=1
    fi
}
complain "codes that are returned and have no row in QUINDAL_IM_CODES of QuindalIM.h:" \
    "$(join -v 1 "$folder/returned" "$folder/constants")"
complain "rows of QUINDAL_IM_CODES in QuindalIM.h that no function returns; take them out, or tell why in $exceptions:" \
    "$(join -v 2 "$folder/returned" "$folder/constants")"
complain "exceptions that the sources do not need, since nothing that is reached names them:" \
    "$(comm -23 "$folder/inside" "$folder/named")"
complain "exceptions that the sources do not need, since what is reached names them:" \
    "$(comm -12 "$folder/elsewhere" "$folder/named")"
echo "$(wc -l <"$folder/returned") codes are returned, $(wc -l <"$folder/constants") have constants"
exit $failed
