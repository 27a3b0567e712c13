#!/usr/bin/env bash
# Builds what threads meet in with the thread sanitizer and runs it: the logs, the trace, the link with the threads of
# the messaging library, downloads over it, and threads that take turns with one book.
#   scripts/threads.sh [PROGRAM...]
#     PROGRAM    one or more of the programs below; all of them without
# Minutes. Ends with 1 when a test fails or a race is reported; the reports stay in build/tsan/reports.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
programs=("$@")
if [ "$#" -eq 0 ]; then programs=(z9sys_tests kv7base_tests quindalim_turns_tests z9mq_tests link_tests); fi

scripts/install-deps.sh --clang
configure tsan
build tsan "${programs[@]}"

reports="$ROOT/build/tsan/reports"
rm -rf "$reports"
mkdir -p "$reports"
# Tests fork, and their children go on with threads.
options="die_after_fork=0:history_size=5:suppressions=$ROOT/tests/support/ThreadSanitizer.supp"
failed=()
for program in "${programs[@]}"; do
    say "threads of $program"
    filter="*"
    # Of this unit the logs, the trace and its clock; others of its tests count allocations, which are the sanitizer's here.
    [ "$program" = kv7base_tests ] && filter="Logs.*:LogSingletons.*:Tracer.*:TraceNumbers.*:OnlineTimer.*"
    TSAN_OPTIONS="$options:log_path=$reports/$program" \
        "$(find build/tsan/tests -name "$program" -type f)" --gtest_brief=1 --gtest_filter="$filter" ||
        failed+=("$program")
done
[ "${#failed[@]}" -eq 0 ] && exit 0
say "failed: ${failed[*]}; reports of races, if any, are in $reports"
exit 1
