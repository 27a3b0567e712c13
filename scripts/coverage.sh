#!/usr/bin/env bash
# Line and branch coverage of each unit by the unit tests: builds the coverage preset, runs the tests, prints a line a
# unit and compares it with the least shares in tests/structure/coverage.txt. Branches that only an exception takes do
# not count. Ends with 1 where a share is below.
#   scripts/coverage.sh             all of it
#   scripts/coverage.sh --quick     libZ9Sys alone, compared with nothing: the preset builds, runs and counts
#   scripts/coverage.sh --print     prints and compares what the last run has left
#   scripts/coverage.sh --record    makes what the last run has left the least shares from now on
# What a unit lacks, line by line: build/coverage/coverage.txt.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
tree=build/coverage
record=tests/structure/coverage.txt

scripts/install-deps.sh --coverage
case "${1:-}" in
'' | --quick)
    configure coverage
    find "$tree" -name '*.gcda' -delete # what runs of an older build have counted
    ;;
esac
case "${1:-}" in
'')
    build coverage quindal_unit_tests
    ctest --preset coverage -j2 -L unit >&2
    ;;
--quick)
    build coverage z9sys_tests
    "$tree/tests/unit/z9sys_tests" --gtest_brief=1 >&2
    ;;
esac

filters=(--filter 'Platform/' --filter 'Units/' --filter 'Apps/')
if [ "${1:-}" = --quick ]; then filters=(--filter 'Platform/'); fi
say "gcovr"
# gcc writes down a header's figures once for each source; gcovr adds them up.
gcovr --root . --object-directory "$tree" --exclude-throw-branches --exclude-unreachable-branches -j 2 \
    "${filters[@]}" --csv "$tree/coverage.csv" --txt "$tree/coverage.txt" >&2

# A row a unit: name, lines, their share in percent, branches, their share.
sum_up() {
    awk -F , '
        FNR == 1 { next }
        {
            split($1, folder, "/")
            unit = folder[2]
            total[unit] += $2; reached[unit] += $3; ways[unit] += $5; taken[unit] += $6
        }
        function share(part, whole) { return whole == 0 ? 100 : 100 * part / whole }
        END {
            for (unit in total)
                printf "%-20s %8d %7.1f %9d %7.1f\n", unit, total[unit], share(reached[unit], total[unit]), ways[unit],
                    share(taken[unit], ways[unit])
        }' "$tree/coverage.csv" | sort
}

printf '%-20s %8s %7s %9s %7s\n' unit lines % branches %
sum_up
if [ "${1:-}" = --quick ]; then exit; fi
if [ "${1:-}" = --record ]; then
    { sed -n '/^#/p' "$record" && sum_up | awk '{ print $1, $3, $5 }'; } >"$tree/record" && cp "$tree/record" "$record"
    exit
fi
sum_up | awk -v record="$record" '
    FILENAME == record { if ($1 !~ /^#/) { lines[$1] = $2; branches[$1] = $3 }; next }
    !($1 in lines) { print record " has no line for " $1 ": run scripts/coverage.sh --record"; failed = 1; next }
    { seen[$1] }
    $3 < lines[$1] || $5 < branches[$1] {
        print $1 " has " lines[$1] " % of lines and " branches[$1] " % of branches in " record ": add tests"
        failed = 1
    }
    END {
        for (unit in lines) if (!(unit in seen)) { print unit " is in " record ", but none of it was compiled"; failed = 1 }
        exit failed
    }' "$record" - >&2
