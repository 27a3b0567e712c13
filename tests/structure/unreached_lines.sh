#!/usr/bin/env bash
# Which lines of the units no host of the exported library and no run of the command line can reach.
#
# Counted are the lines that have code, by the line tables that the units are compiled with in a release. WHOLE is linked
# of everything that the units hold. The others are linked as what is installed: the linker has left out of them every
# function that no road from an export or from main leads to. A function of which no line is in any of these is
# unreached, with all its lines; in a header each line stands for itself.
#
# A function that was inlined at each of its calls is reached by the lines that it left there. A virtual function is
# reached where a table of its class is, whether somebody calls it or not.
#
# usage: unreached_lines.sh lines UNITS WHOLE REACHED...            each unreached line, "path:line"
#        unreached_lines.sh files UNITS WHOLE REACHED...            share by file
#        unreached_lines.sh check RECORD UNITS WHOLE REACHED...     share by unit, the replica folders apart; fails where
#                                                                   the share outside of them is above the recorded one
# UNITS is the folder of the units. RECORD has a line a unit: name and largest share in percent.
set -euo pipefail
export LC_ALL=C

mode=$1
shift
if [[ $mode == check ]]; then
    record=$1
    shift
fi
units=$1
whole=$2
shift 2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# "path line function" of each line of the units. What stands between two closing braces in the first column is one
# function; so is one that opens and closes in a line of the first column.
(cd "$units" && find . \( -name '*.h' -o -name '*.cpp' \) -printf '%P\n' | sort | xargs awk '
    FNR == 1 { header = FILENAME ~ /\.h$/ }
    header { ++number }
    { print FILENAME, FNR, number }
    /^}/ || /^[^ ].*}$/ { ++number }') > "$folder/functions"

# Prints "path line function" of each line of the units that has code in a program. A sequence of lines that begins near
# address 0 is of code that the linker has left out.
lines_with_code() {
    readelf --wide --debug-dump=decodedline "$1" | awk '
        FILENAME != "-" {
            name = $1
            sub(/.*\//, "", name)
            path_of[name] = $1
            function_of[$1, $2] = $3
            next
        }
        NF < 3 || $3 !~ /^(0x)?[0-9a-f]+$/ { next }
        !inside { inside = 1; kept = length($3) > 5 }
        $2 == "-" { inside = 0; next }
        kept && $1 in path_of { print path_of[$1], $2, function_of[path_of[$1], $2] }' "$folder/functions" - | sort -u
}

lines_with_code "$whole" > "$folder/whole"
for program in "$@"; do
    lines_with_code "$program"
done | awk '{ print $3 }' | sort -u > "$folder/reached"
if [[ ! -s $folder/whole || ! -s $folder/reached ]]; then
    echo "no line tables: the units are to be compiled with -g1" >&2
    exit 2
fi
awk 'FILENAME == ARGV[1] { reached[$1]; next }
     !($3 in reached) { print $1, $2 }' "$folder/reached" "$folder/whole" > "$folder/unreached"

case $mode in
lines)
    sort -k1,1 -k2,2n "$folder/unreached" | tr ' ' ':'
    ;;
files)
    awk 'FILENAME == ARGV[1] { unreached[$1]++; next }
         { lines[$1]++ }
         END {
             for (file in lines)
                 printf "%-70s %5d of %5d lines unreached, %5.1f %%\n", file, unreached[file], lines[file],
                        100 * unreached[file] / lines[file]
         }' "$folder/unreached" "$folder/whole" | sort
    ;;
check)
    awk 'function unit(path) { sub(/\/.*/, "", path); return path }
         function percent(part, all) { return all == 0 ? 0 : 100 * part / all }
         function complain(text) { complaints = complaints text "\n" }
         FILENAME == ARGV[1] { if ($1 !~ /^#/ && NF == 2) limit[$1] = $2; next }
         { replica = $1 ~ /\/replica\// }
         FILENAME == ARGV[2] { if (!replica) unreached[unit($1)]++; next }
         replica { replica_lines[unit($1)]++; next }
         { lines[unit($1)]++ }
         END {
             print "outside the replica folders"
             print "unit               unreached   of lines    share   recorded    lines in the replica"
             for (name in lines) {
                 share = percent(unreached[name], lines[name])
                 printf "%-18s %9d %10d %6.1f %% %8.1f %% %14d\n", name, unreached[name], lines[name], share,
                        limit[name], replica_lines[name] | "sort"
                 all_unreached += unreached[name]
                 all_lines += lines[name]
                 if (!(name in limit)) complain(name ": no share is recorded for this unit.")
                 else if (share > limit[name])
                     complain(sprintf("%s: %.1f %% of the lines outside the replica folders are unreached, %.1f %% are" \
                                      " recorded. What only hosts of the inside call belongs in source/replica.",
                                      name, share, limit[name]))
             }
             close("sort")
             printf "%-18s %9d %10d %6.1f %%\n", "all", all_unreached, all_lines, percent(all_unreached, all_lines)
             printf "%s", complaints
             exit complaints != ""
         }' "$record" "$folder/unreached" "$folder/whole"
    ;;
*)
    echo "unknown mode: $mode" >&2
    exit 2
    ;;
esac
