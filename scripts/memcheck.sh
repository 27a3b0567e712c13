#!/usr/bin/env bash
# Runs the unit tests of the release under valgrind's memcheck, which sees what the sanitizers cannot: a value that is
# read before it was set, also within the C library and the others that we link.
#   scripts/memcheck.sh [PROGRAM...]
#     PROGRAM    one or more programs of tests/unit; all of them without
# An hour for all. What it found stays in build/memcheck. Ends with 1 when a test fails or anything was found.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

scripts/install-deps.sh --memcheck
configure release
build release "${@:-quindal_unit_tests}"
programs=("$@")
if [ "$#" -eq 0 ]; then
    mapfile -t programs < <(find build/release/tests/unit -type f -perm -u+x -name '*[tT]est*' -printf '%f\n' | sort)
fi

# Tests that measure: how long something takes, how much memory the process has, or what happens without any.
measuring=()

reports="$ROOT/build/memcheck"
mkdir -p "$reports"
failed=()
for program in "${programs[@]}"; do
    say "memcheck of $program"
    rm -f "$reports/$program".*
    # The program's own operator new stays: tests count allocations by it. A child of a test tells by its exit status.
    valgrind --error-exitcode=99 --leak-check=no --soname-synonyms=somalloc=nouserintercepts \
        --child-silent-after-fork=yes --num-callers=30 --suppressions=tests/support/Memcheck.supp \
        --log-file="$reports/$program.log" \
        "$(find build/release/tests/unit -name "$program" -type f)" --gtest_brief=1 \
        --gtest_filter="-$(IFS=:; echo "${measuring[*]}")" || failed+=("$program")
    tail -n 1 "$reports/$program.log"
done
[ "${#failed[@]}" -eq 0 ] && exit 0
say "failed: ${failed[*]}; what memcheck found is in $reports"
exit 1
