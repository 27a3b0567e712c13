#!/bin/sh
# A processor without AVX2 is told so: the command line in a sentence of its own, a host of the library by the loader. On
# one that has it both run.
#   OldProcessorTest.sh <qemu-x86_64> <quindal> <load_library> <libQuindalIM_Client.so>
set -eu
qemu=$1 quindal=$2 host=$3 library=$4
version=9.9.64.4654
said=$(mktemp "${TMPDIR:-/tmp}/quindal-processor-XXXXXX")
trap 'rm -f "$said"' EXIT

fail() { echo "$*"; exit 1; }
# expect <status> <what it prints> <processor> <program...>
expect() {
    status=$1 text=$2 processor=$3
    shift 3
    code=0
    "$qemu" -cpu "$processor" "$@" >"$said" 2>&1 || code=$?
    [ "$code" -eq "$status" ] || fail "$processor: $* ends with $code: $(cat "$said")"
    [ "$(cat "$said")" = "$text" ] || fail "$processor: $* says: $(cat "$said")"
}

# Nehalem is of 2008, SandyBridge has AVX and not AVX2.
for old in Nehalem SandyBridge,-x2apic,-tsc-deadline; do
    expect 4 "quindal: the processor of this machine has no AVX2, which the margin engine needs" "$old" \
        "$quindal" --version
    expect 1 "$library: CPU ISA level is lower than required" "$old" "$host" "$library"
done
"$qemu" -cpu max "$quindal" --version >"$said" || fail "max: $quindal --version ends with $?"
grep -qxF "libQuindalIM_Client: $version" "$said" || fail "max: $quindal --version says: $(cat "$said")"
expect 0 "$version" max "$host" "$library"
