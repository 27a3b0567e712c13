#!/usr/bin/env bash
# Says whether builds of the library compute and say the same: plays 10,000 calls over all exported functions on each
# and compares every code, figure and text to the bit, and both logs but for their times, addresses and source lines.
#   scripts/same-bytes.sh LIBRARY OTHER...
#     LIBRARY, OTHER   libQuindalIM_Client.so, installed or in a build tree; each OTHER is held against LIBRARY
# Ends with 1 and shows the first differences where there are any. What was compared stays in build/same-bytes.
if [ "$#" -lt 2 ]; then
    sed -n '2,6s/^# //p' "$0" >&2
    exit 2
fi
mapfile -t libraries < <(realpath -e "$@") # the folder changes below
[ "${#libraries[@]}" -eq "$#" ] || exit 2
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

# What a library that was built with clang's address sanitizer leaves open, for a program that was not.
sanitizer_of() {
    if [[ $(nm -D --undefined-only "$1") == *__asan_init* ]]; then
        clang++-14 -print-file-name=libclang_rt.asan-x86_64.so
    fi
}

work=build/same-bytes
# Plays the script on a library into a folder: all have one path while they play, since it is among the texts.
play() {
    say "$2"
    mkdir -p "$work/now"
    PART_COUNT=100 PROGRAM_PRELOAD="$(sanitizer_of "$2")" tests/integration/with_server.sh \
        build/release/Apps/quindal/quindal examples/market.xml \
        build/release/tests/replay/call_script "$2" "$work/now" | tee "$work/now/summary"
    without_moments "$work"/now/*.log
    mv "$work/now" "$work/$1"
}

# Whether a folder of answers holds the bytes of the first.
same_as_first() {
    local file different=0
    for file in calls.txt library.log trace.log; do
        if ! cmp "$work/1/$file" "$work/$1/$file"; then
            diff "$work/1/$file" "$work/$1/$file" | head -n 6 || true
            different=1
        fi
    done
    return "$different"
}

rm -rf "$work"
play 1 "${libraries[0]}"
different=0
for ((number = 2; number <= ${#libraries[@]}; ++number)); do
    play "$number" "${libraries[number - 1]}"
    if same_as_first "$number"; then
        echo "the same: $(cat "$work/$number/summary"), $(cat "$work/$number"/*.log | wc -l) lines of logs"
    else
        different=1
    fi
done
exit "$different"
