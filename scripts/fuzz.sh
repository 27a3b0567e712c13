#!/usr/bin/env bash
# Builds the fuzz targets and runs each for some seconds (30, or the first argument), from the committed inputs of
# tests/fuzz/corpus on. Further arguments name the targets. Inputs that reach new code gather in build/fuzz/corpus. Stops
# at the first input that breaks something and tells where it is.
#   scripts/fuzz.sh [SECONDS [TARGET...]]
#   scripts/fuzz.sh --keep [TARGET...]     puts the fewest inputs that reach as much into tests/fuzz/corpus instead
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
largest_kept=4096 # bytes of an input that is kept
most_kept=40000   # bytes of what is kept of one target: less than a megabyte over all

keep=false
if [ "${1:-}" = --keep ]; then
    keep=true
else
    seconds="${1:-30}"
fi
shift || true
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
    targets=(exports server_requests desk_api transaction xml user_info instruments compressed_block ini messages link_forms
        trading_codes decimals format time position_state accounts positions orders)
fi

scripts/install-deps.sh --clang
configure fuzz
build fuzz quindal_fuzzers

kept=tests/fuzz/corpus
found=build/fuzz/corpus
mkdir -p build/fuzz/findings

# fuzzer TARGET WORD...: runs a target; the words go to libFuzzer.
fuzzer() {
    local target="$1" words=()
    shift
    case "$target" in
    # Of 10 s with inputs of many steps, libFuzzer's account of rare edges took 7.
    exports | transaction) words=(-entropic=0) ;;
    xml | user_info | instruments | compressed_block) words=(-dict=tests/fuzz/replies.dict) ;;
    esac
    "build/fuzz/tests/fuzz/fuzz_$target" -timeout=20 -rss_limit_mb=4096 "${words[@]}" \
        -artifact_prefix="build/fuzz/findings/$target-" "$@"
}

# The fewest inputs of a target, committed and found, that reach all that they reach together; small ones where there is
# no room for all.
keep_fewest() {
    local fewest="build/fuzz/fewest/$1"
    rm -rf "$fewest" && mkdir -p "$fewest"
    fuzzer "$1" -set_cover_merge=1 -max_len="$largest_kept" "$fewest" "$found/$1" "$kept/$1" 2>&1 | tail -n 1 >&2
    find "$fewest" -type f -printf '%s %p\n' | sort -n |
        awk -v largest="$largest_kept" -v most="$most_kept" '{ sum += $1 } $1 > largest || sum > most { print $2 }' |
        xargs -r rm
    rm -rf "${kept:?}/$1" && mkdir -p "$kept" && cp -R "$fewest" "$kept/$1"
}

for target in "${targets[@]}"; do
    mkdir -p "$found/$target" "$kept/$target"
    if [ "$target" = instruments ]; then cp examples/market.xml "$found/$target/"; fi # too large to be kept
    if "$keep"; then
        say "keep $target"
        keep_fewest "$target"
    else
        say "fuzz $target, $seconds s"
        fuzzer "$target" -max_total_time="$seconds" -verbosity=0 -print_final_stats=1 "$found/$target" "$kept/$target"
    fi
done
