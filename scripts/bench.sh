#!/usr/bin/env bash
# Builds a release and prints every table of docs/performance.md: changes in the engine against the bare movement of their
# bytes and against the plain form, calls through the shared library, growth, insertion, memory, the valuation of options.
#   scripts/bench.sh [--quick | --big]
#     --quick    a few calls only, to see that all of it runs
#     --big      besides, 100,000 clients with one million futures positions; some 12 GB of memory and minutes of time
# Takes under five minutes without --big. Nothing else should run on the machine meanwhile.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
case "${1:-}" in
'' | --quick | --big) ;;
*)
    sed -n '4,6s/^# //p' "${BASH_SOURCE[0]}" >&2
    exit 2
    ;;
esac

configure release
tables=(change_table growth_table insertion_table memory_table export_table)
build release "${tables[@]}" fit_table quindal_benchmarks quindal QuindalIM_Client
bin=build/release/tests/benchmarks
quindal=build/release/Apps/quindal/quindal

# The figures mean nothing without the machine that they were taken on.
governor=/sys/devices/system/cpu/cpu0/cpufreq/scaling_governor
cat <<MACHINE
Machine    $(lscpu | sed -n 's/^Model name: *//p'), family $(lscpu | sed -n 's/^CPU family: *//p') model $(lscpu | sed -n 's/^Model: *//p'), $(nproc) cores
Caches     $(lscpu | sed -n 's/^\(L[0-9][a-z]*\) cache: */\1 /p' | paste -sd, | sed 's/,/, /g')
Memory     $(awk '/MemTotal/ {printf "%.0f GB", $2 / 1e6}' /proc/meminfo)
Hypervisor $(lscpu | sed -n 's/^Hypervisor vendor: *//p' | grep . || echo none)
Governor   $(cat "$governor" 2>/dev/null || echo "not to be seen from here")
Kernel     $(uname -sr)
Compiler   $(c++ --version | head -n 1)
Flags      -O3 -DNDEBUG -march=x86-64-v3 -ffp-contract=off
Commit     $(git rev-parse --short HEAD 2>/dev/null || echo unknown)
MACHINE

quick=()
[ "${1:-}" = --quick ] && quick=(--quick)
"$bin/change_table" "${quick[@]}"
tests/integration/with_server.sh "$quindal" examples/market.xml "$bin/export_table" "${quick[@]}"
"$bin/growth_table" "${quick[@]}"
"$bin/insertion_table" "${quick[@]}"
"$bin/memory_table" "$@" "$quindal"
build/release/tests/session/fit_table examples/market.xml "${quick[@]}"
printf '\nThe valuation of options, one thread\n\n'
valuations='MarketOfOptions/40000|Grids'
[ "${1:-}" = --quick ] && valuations='MarketOfOptions/160/|Grids'
"$bin/quindal_benchmarks" --benchmark_filter="$valuations" --benchmark_counters_tabular=true 2>/dev/null
printf '\nGoals: insertion 250 times and values on demand 25 times faster than plainly, 1,600 MB resident; a call and its put\n'
printf '20 times, Bachelier 10 times faster than QuantLib.\n'
