#!/usr/bin/env bash
# Builds the simulator and plays days of a host, each with a seed of its own: every figure of every participant is
# compared with the plain margin model after every step. Stops at the first difference, tells the seed and the fewest
# steps that show it, and ends with 1.
#   scripts/simulate.sh [--asan] [STEPS [WORD...]]
#     --asan     with the address and undefined-behaviour sanitizers; some 10 times slower
#     STEPS      100000 without it
#     WORD...    goes to the program: --seed 7, --days 1, --story, --failures none; --help tells them all
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

preset=release
if [ "${1:-}" = --asan ]; then
    preset=asan
    shift
    scripts/install-deps.sh --clang
fi
steps="${1:-100000}"
if [[ ! $steps =~ ^[0-9]+$ ]]; then
    sed -n '5,8s/^# //p' "${BASH_SOURCE[0]}" >&2
    exit 2
fi
shift || true

configure "$preset"
build "$preset" simulate
exec "build/$preset/tests/simulation/simulate" --steps "$steps" "$@"
