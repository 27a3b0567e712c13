#!/usr/bin/env bash
# Runs everything that takes too long for each change, one stage after the other, and writes one report:
# build/campaign/report.md. Hours; stopped, it goes on where it was when it is called again. A stage that passed is not
# run again as long as the commit is the same; what a stage printed stays in build/campaign/STAGE.log.
#   scripts/campaign.sh [OPTION...] [STAGE...]
#     STAGE              one or more of: bits coverage threads memcheck simulation fuzz mutants benchmarks; all unless
#                        said. fuzz-xml is one target of fuzz
#     --fuzz-seconds N   for each fuzz target, 3600 unless said
#     --mutants N        faults made on purpose, 500 unless said
#     --steps N          steps of simulated days, 10000000 unless said; a tenth as many with sanitizers
#     --short            a minute or two of each stage, in build/campaign-short, to see that all of it runs
# Ends with 1 when a stage has failed or cannot be run; the others are run all the same.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

usage() {
    sed -n '5,13s/^# //p' "${BASH_SOURCE[0]}" >&2
    exit 2
}
work=build/campaign short=false fuzz_seconds=3600 mutants=500 steps=10000000
options=$(getopt --name campaign.sh --options '' --longoptions short,fuzz-seconds:,mutants:,steps: -- "$@") || usage
eval set -- "$options"
while [ "$1" != -- ]; do
    case "$1" in
    --short) short=true work=build/campaign-short fuzz_seconds=5 mutants=3 steps=10000 ;;
    --fuzz-seconds) fuzz_seconds="$2" && shift ;;
    --mutants) mutants="$2" && shift ;;
    --steps) steps="$2" && shift ;;
    esac
    shift
done
shift
asked=("$@")
if [ "$#" -eq 0 ]; then asked=(bits coverage threads memcheck simulation fuzz mutants benchmarks); fi

commit="$(git rev-parse --short HEAD)"
git diff --quiet HEAD || commit+=" with changes $(git diff HEAD | sha256sum | cut -c 1-7)"
mkdir -p "$work"

# What a stage runs: the words for a campaign, or those for a short one.
full_or_short() {
    local full=() short_ones=()
    while [ "$1" != / ]; do full+=("$1") && shift; done
    shift && short_ones=("$@")
    if "$short"; then command=("${short_ones[@]}"); else command=("${full[@]}"); fi
}
command_of() {
    case "$1" in
    bits) full_or_short scripts/same-bits.sh / scripts/same-bits.sh debug ;;
    coverage) full_or_short scripts/coverage.sh / scripts/coverage.sh --quick ;;
    threads) full_or_short scripts/threads.sh / scripts/threads.sh z9sys_tests ;;
    memcheck) full_or_short scripts/memcheck.sh / scripts/memcheck.sh kv7ordman_failure_tests ;;
    simulation) command=(scripts/simulate.sh "$steps") ;;
    simulation-asan) command=(scripts/simulate.sh --asan "$((steps / 10))") ;;
    fuzz-*) command=(scripts/fuzz.sh "$fuzz_seconds" "${1#fuzz-}") ;;
    mutants) full_or_short scripts/mutate.sh "$mutants" / scripts/mutate.sh "$mutants" 1 Z9Sys ;;
    benchmarks) full_or_short scripts/bench.sh / scripts/bench.sh --quick ;;
    *) say "no stage $1" && usage ;;
    esac
}

# The figures of a stage, in one line, out of what it printed.
figures_of() {
    local log="$work/$1.log"
    case "$1" in
    bits) echo "builds with the release's bits: $(grep -c '^the same: ' "$log"); $(grep -m 1 -o '[0-9]* calls.*' "$log")" ;;
    coverage) awk '$1 == "unit" { table = 1; next } table && NF == 5 { printf "%s%s %s/%s %%", comma, $1, $3, $5; comma = ", " }' "$log" ;;
    threads) awk '/PASSED/ { tests += $4 } END { print tests " tests" }' "$log" ;;
    memcheck) awk '/PASSED/ { tests += $4 } /ERROR SUMMARY/ { found += $4 } END { print tests " tests, " found + 0 " errors" }' "$log" ;;
    simulation*) tail -n 1 "$log" ;;
    fuzz-*) awk '/number_of_executed_units/ { print $2 " inputs" }' "$log" ;;
    mutants) tail -n 1 "$log" ;;
    benchmarks) echo "in $log" ;;
    esac
}

# What is kept of a stage in STAGE.result: passed or failed, seconds, the commit.
passed_before() {
    local result seconds at
    [ -f "$work/$1.result" ] && IFS=$'\t' read -r result seconds at <"$work/$1.result" &&
        [ "$result" = passed ] && [ "$at" = "$commit" ]
}
run_stage() {
    local command=() result=passed start=$SECONDS
    if passed_before "$1"; then return; fi
    command_of "$1"
    rm -f "$work/$1.result"
    if [ ! -x "${command[0]}" ]; then
        say "$1: there is no ${command[0]}"
        return
    fi
    say "$1: ${command[*]}"
    "${command[@]}" >"$work/$1.log" 2>&1 || result=failed
    printf '%s\t%s\t%s\n' "$result" "$((SECONDS - start))" "$commit" >"$work/$1.result"
    say "$1 $result after $((SECONDS - start)) s"
}

# The stages in their order, each fuzz target one of its own.
stages=()
for name in "${asked[@]}"; do
    case "$name" in
    fuzz) for target in tests/fuzz/corpus/*; do stages+=("fuzz-${target##*/}"); done ;;
    simulation) stages+=(simulation simulation-asan) ;;
    *) command_of "$name" && stages+=("$name") ;;
    esac
done

write_report() {
    local name result seconds at
    cat <<HEAD
# Campaign

| | |
|---|---|
| Date | $(date -u '+%F %R') UTC |
| Machine | $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores, $(awk '/MemTotal/ { printf "%.0f GB", $2 / 1e6 }' /proc/meminfo) |
| System | $(uname -sr), $(g++ --version | head -n 1) |
| Commit | $commit |

| Stage | Result | Took | Figures |
|---|---|---|---|
HEAD
    for name in "${stages[@]}"; do
        if [ ! -f "$work/$name.result" ]; then
            echo "| $name | not run | | |"
            continue
        fi
        IFS=$'\t' read -r result seconds at <"$work/$name.result"
        if [ "$at" != "$commit" ]; then result+=" at $at"; fi
        echo "| $name | $result | $((seconds / 60)) min $((seconds % 60)) s | $(figures_of "$name") |"
    done
}

for name in "${stages[@]}"; do
    run_stage "$name"
    write_report >"$work/report.md"
done
cat "$work/report.md"
for name in "${stages[@]}"; do passed_before "$name" || exit 1; done
