#!/bin/sh
# Builds the programs of examples/ over what was installed, runs the commands of examples/README.md one after another,
# and holds what they print against the page. The figures are those of README.md, which the command line prints; other
# tests hold that page against it.
#   ExamplesTest.sh <cmake> <build> <source> <C compiler> <C++ compiler>
set -eu
cmake=$1 build=$2 source=$3
export CC="$4" CXX="$5"

work=$(mktemp -d "${TMPDIR:-/tmp}/quindal-examples-XXXXXX")
server=
finish() {
    if [ -n "$server" ]; then kill "$server" 2>/dev/null && wait "$server" || true; fi
    rm -rf "$work"
}
trap finish EXIT

fail() { echo "$*"; exit 1; }

"$cmake" --install "$build" --prefix "$work/tree" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
library=$(find "$work/tree" -name libQuindalIM_Client.so)
export CMAKE_PREFIX_PATH="$work/tree" PATH="$work/tree/bin:/usr/bin:$PATH"
export QUINDALIM_LIBRARY="$library" PYTHONPATH="$source/Bindings/python" PYTHONDONTWRITEBYTECODE=1
mkdir "$work/examples"
cp "$source"/examples/* "$work/examples"
cd "$work/examples"

# Commands and outputs of the page, in their order: 1.sh, 2.sh, 3.sh, 3.text, ...
awk '$0 == "```sh" { ++number; file = number ".sh"; next }
     $0 == "```text" { file = number ".text"; next }
     $0 == "```" { file = ""; next }
     file != "" { print >file }' README.md
[ -f 5.sh ] && [ ! -f 6.sh ] || fail "examples/README.md has other commands than build, serve, C, C++, Python"

. ./1.sh >build.log 2>&1 || { cat build.log; exit 1; }
! grep -i warning build.log || fail "warnings"
. ./2.sh
server=$!
tries=100
while [ ! -s quindal.ini ] && [ "$tries" -gt 0 ]; do
    sleep 0.1
    tries=$((tries - 1))
done
for number in 3 4 5; do
    . "./$number.sh" >"$number.printed"
    diff "$number.text" "$number.printed" || fail "the output of command $number of examples/README.md, and the page's"
done

# The tables of the first page, without the blanks of their thousands.
block=$(sed -e ':again' -e 's/\([0-9]\) \([0-9][0-9][0-9]\)/\1\2/' -e 't again' "$source/README.md")
rows() { printf '%s\n' "$block" | sed -n "/^$1/,/^\$/p" | sed -n '2,$p' | sed '/^$/d'; }

rows "Client   Firm" | awk '{ print $1, $3, $4, $5 }' | LC_ALL=C sort >margins
[ "$(wc -l <margins)" -eq 10 ] || fail "README.md has other clients than ten"
sed 1d 4.printed | awk '{ print $1, $2, $3, $4 }' | LC_ALL=C sort | diff margins - || fail "book.cpp and README.md"

# GO before and after of the what-ifs that pre_trade_check looks at.
rows "What-if  " >what_ifs
for label in "index bought  " "index bought cheaply" "call sold" "call bought" "index spread"; do
    grep "^$label" what_ifs | grep -o ' CL02001 .*' | awk '{ print $2, $3 }'
done >looked_at
[ "$(wc -l <looked_at)" -eq 5 ] || fail "README.md has not the five what-ifs"
sed '1d; /^exit/d' 3.printed | awk '{ print $5, $6 }' | diff looked_at - || fail "pre_trade_check.c and README.md"

# GO of the clients and the differences of the what-ifs.
{
    awk '{ print $1, $4 }' margins
    awk '{ for (i = 1; i <= NF; ++i) if ($i ~ /^[A-Z][A-Z][0-9]+$/) print $i, $(i + 3) }' what_ifs
} | LC_ALL=C sort >desk
[ "$(wc -l <desk)" -eq 23 ] || fail "README.md has other rows than 10 clients and 13 what-ifs"
sed '/^Of /,$d' 5.printed | tr -d ,+ | awk '{ print $(NF - 1), $NF }' | LC_ALL=C sort | diff desk - ||
    fail "desk.py and README.md"
