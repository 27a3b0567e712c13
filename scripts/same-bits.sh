#!/usr/bin/env bash
# Says whether every build of the library computes the same bits: builds it in other ways than the release, plays 10,000
# calls on each (scripts/same-bytes.sh) and holds every code, figure, text and log line against the release's.
#   scripts/same-bits.sh [BUILD...]     one or more of the builds below; all of them without
#     debug     g++ -O0, assertions on
#     o2        g++ -O2; the release has -O3
#     native    g++ -O3 with what this machine has besides AVX2 and FMA, but for AVX-512: the valuation of options is
#               written for four lanes
#     clang     clang++ -O3
#     asan      clang++ -O1, address and undefined-behaviour sanitizers
# Besides, the release and its libZ9Sys hold no AVX-512 instruction, so that a machine with it runs the same code.
# Six minutes a build at first; they stay in build/bits. Ends with 1 where something differs.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
case "${1:-}" in -h | --help) sed -n '2,12s/^# \{0,1\}//p' "$0"; exit 0 ;; esac
builds=("$@")
if [ "$#" -eq 0 ]; then builds=(debug o2 native clang asan); fi

clang=(-DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14)
# What a build says to cmake, the preset first.
words_of() {
    case "$1" in
    debug) words=(debug) ;;
    o2) # where g++ sees numbers of Boost unset that are not
        words=(release '-DCMAKE_C_FLAGS_RELEASE=-O2 -DNDEBUG'
            '-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG -Wno-maybe-uninitialized')
        ;;
    native)
        words=(release -DQUINDAL_ARCHITECTURE=native -DCMAKE_C_FLAGS=-mno-avx512f -DCMAKE_CXX_FLAGS=-mno-avx512f)
        ;;
    clang) words=(release "${clang[@]}") ;;
    asan) words=(asan) ;;
    *) say "no build $1: debug, o2, native, clang or asan" && exit 2 ;;
    esac
}

library=Units/QuindalIM/libQuindalIM_Client.so
scripts/install-deps.sh --clang
configure release
build release QuindalIM_Client
libraries=("build/release/$library")
for name in "${builds[@]}"; do
    words_of "$name"
    say "build bits/$name"
    cmake --preset "${words[0]}" -B "build/bits/$name" -DQUINDAL_TESTS=OFF -DQUINDAL_BENCHMARKS=OFF "${words[@]:1}" >&2
    cmake --build "build/bits/$name" -j "${JOBS:-2}" --target QuindalIM_Client >&2
    libraries+=("build/bits/$name/$library")
done

wide=0
for file in "build/release/$library" build/release/Platform/Z9Sys/libZ9Sys.so; do
    if objdump --disassemble --no-show-raw-insn "$file" |
        awk '/%(zmm|k[0-7])/ { if (++count <= 5) print } END { exit count == 0 }'; then
        say "$file holds AVX-512 instructions, such as these"
        wide=1
    fi
done

scripts/same-bytes.sh "${libraries[@]}"
exit "$wide"
