#!/usr/bin/env bash
# Says whether two builds of the library compute and say the same: plays 10,000 calls over all exported functions on
# each and compares every code, figure and text to the bit, and both logs but for their times, addresses and source lines.
#   scripts/same-bytes.sh LIBRARY_A LIBRARY_B
#     LIBRARY_...   libQuindalIM_Client.so, installed or in a build tree
# Ends with 1 and shows the first differences where there are any. What was compared stays in build/same-bytes.
if [ "$#" -ne 2 ]; then
    sed -n '2,7s/^# //p' "$0" >&2
    exit 2
fi
libraries=("$(realpath "$1")" "$(realpath "$2")")
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

configure release
build release call_script quindal

# What differs from run to run: the moment, the seconds of a call, the handle and the port. What differs from build to
# build: the line of our source that an error was raised in.
without_moments() {
    sed -Ei -e 's/^[0-9-]+ [0-9:.]+ //' -e 's/( \[QuindalIM\]) +[0-9]+(\.[0-9]+)?, +[0-9]+(\.[0-9]+)?,/\1/' \
        -e 's/(@QuindalIMCalculator=)[0-9]+/\1HANDLE/g' -e 's/(port[:(] ?)[0-9]+/\1PORT/g' \
        -e 's/;[A-Za-z0-9]+\.(cpp|h):[0-9]+/;SOURCE/' "$@"
}

work=build/same-bytes
# Plays the script on a library into a folder: both sides have one path while they play, since it is among the texts.
play() {
    say "$2"
    mkdir -p "$work/now"
    PART_COUNT=100 tests/integration/with_server.sh build/release/Apps/quindal/quindal examples/market.xml \
        build/release/tests/replay/call_script "$2" "$work/now" | tee "$work/now/summary"
    without_moments "$work"/now/*.log
    mv "$work/now" "$work/$1"
}
rm -rf "$work"
play a "${libraries[0]}"
play b "${libraries[1]}"

different=0
for file in calls.txt library.log trace.log; do
    if ! cmp "$work/a/$file" "$work/b/$file"; then
        diff "$work/a/$file" "$work/b/$file" | head -n 6 || true
        different=1
    fi
done
[ "$different" = 0 ] && echo "the same: $(cat "$work/b/summary"), $(cat "$work"/b/*.log | wc -l) lines of logs"
exit "$different"
