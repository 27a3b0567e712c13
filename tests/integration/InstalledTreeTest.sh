#!/bin/sh
# Installs the build, builds C programs against what was installed, by CMake's package or by pkg-config, and runs them
# over a server started from the installed command line: a small program of its own, the example worked out by hand in
# docs/api/positions-and-orders.md, and the programs of docs/quick-start.md, docs/cpp.md and README.md as they stand
# there. The pages on the interface name what the header declares.
#   InstalledTreeTest.sh cmake|pkgconfig <cmake> <build> <install_test> <examples> <C compiler> <C++ compiler>
set -eu
road=$1 cmake=$2 build=$3 program=$4 examples=$5 compiler=$6 cpp_compiler=$7
root=$(dirname "$examples")
page=$root/docs/quick-start.md

work=$(mktemp -d "${TMPDIR:-/tmp}/quindal-install-XXXXXX")
server=
finish() {
    if [ -n "$server" ]; then kill "$server" 2>/dev/null && wait "$server" || true; fi
    rm -rf "$work"
}
trap finish EXIT

fail() { echo "$*"; exit 1; }

# The first block of a language on a page.
block() { awk -v open="\`\`\`$2" '$0 == open { on = 1; next } on && $0 == "```" { exit } on' "$1"; }

"$cmake" --install "$build" --prefix "$work/tree" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
library=$(dirname "$(find "$work/tree" -name libQuindalIM_Client.so)")
headers=$(cd "$work/tree/include" && find . -type f | LC_ALL=C sort | tr '\n' ' ')
[ "$headers" = "./QuindalIM.h ./QuindalIM.hpp " ] || fail "other headers than QuindalIM.h and QuindalIM.hpp: $headers"

# Programs are linked to the name with the number of the interface; hosts that load the library do so by the bare name.
soname=$(objdump -p "$library/libQuindalIM_Client.so" | sed -n 's/^ *SONAME *//p')
[ "$soname" = libQuindalIM_Client.so.9 ] || fail "the soname is \"$soname\""
[ -e "$library/$soname" ] && [ -L "$library/libQuindalIM_Client.so" ] || fail "no link of the name $soname"

# Every function of the header has its line on the first page of the interface, and its name on the page named there.
header=$(find "$work/tree/include" -name QuindalIM.h)
sed -n 's/^QUINDAL_API [^(]*[ *]\([A-Za-z0-9]*\)(.*/\1/p' "$header" | LC_ALL=C sort >"$work/declared"
sed -n 's/^| `\([A-Za-z0-9]*\)` | \[\([a-z-]*.md\)\](.*$/\1 \2/p' "$root/docs/api/README.md" >"$work/described"
cut -d " " -f 1 "$work/described" | diff "$work/declared" - ||
    fail "the header declares others than docs/api/README.md lists"
while read -r name chapter; do
    grep -q "\`$name\`" "$root/docs/api/$chapter" || fail "docs/api/$chapter does not name $name"
done <"$work/described"

block "$page" c >"$work/quick_start.c"
block "$root/README.md" c >"$work/readme.c"
block "$root/docs/cpp.md" cpp >"$work/cpp_start.cpp"
[ "$(wc -l <"$work/quick_start.c")" -le 30 ] || fail "the quick start has more than thirty lines"

if [ "$road" = cmake ]; then
    "$cmake" -S "$program" -B "$work/programs" -DPAGE_PROGRAMS="$work/quick_start.c;$work/readme.c;$work/cpp_start.cpp" \
        -DCMAKE_PREFIX_PATH="$work/tree" -DCMAKE_C_COMPILER="$compiler" -DCMAKE_CXX_COMPILER="$cpp_compiler" \
        >"$work/log"
    "$cmake" --build "$work/programs" >>"$work/log" || { cat "$work/log"; exit 1; }
else
    export PKG_CONFIG_PATH="$library/pkgconfig"
    mkdir "$work/programs"
    cp "$program/main.c" "$work/install_test.c"
    cp "$program/worked_example.c" "$work"
    for name in install_test worked_example quick_start readme; do
        # shellcheck disable=SC2046 # flags are words
        "$compiler" -std=c99 -Wall -Wextra -Wpedantic -Werror "$work/$name.c" -o "$work/programs/$name" \
            $(pkg-config --cflags --libs quindalim) "-Wl,-rpath,$library"
    done
    # shellcheck disable=SC2046
    "$cpp_compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$work/cpp_start.cpp" -o "$work/programs/cpp_start" \
        $(pkg-config --cflags --libs quindalim) "-Wl,-rpath,$library"
fi

# User and settings as the page has them.
block "$page" csv >"$work/users.csv"
mkfifo "$work/said"
"$work/tree/bin/quindal" serve --instruments "$examples/market.xml" --users "$work/users.csv" >"$work/said" &
server=$!
read -r line <"$work/said"
block "$page" ini | sed "s/^port = .*/port = ${line##* }/" >"$work/quindal.ini"
cd "$work"

printed=$(programs/install_test quindal.ini USER01 secret1 INDX-12.26)
echo "$printed"
case $printed in
    "margin "*.[0-9][0-9]) [ "$printed" != "margin 0.00" ] ;;
    *) exit 1 ;;
esac

programs/worked_example quindal.ini USER01 secret1 || fail "worked_example: $? figures differ"

printed=$(programs/readme)
echo "README.md: $printed"
# A margin, and no less with an order.
echo "$printed" | grep -o '[0-9]*[.][0-9][0-9]' >figures
[ "$(head -n 1 figures)" != 0.00 ] && sort -n -c figures || fail "no margins, or one that an order lowers"

printed=$(programs/quick_start)
echo "docs/quick-start.md: $printed"
[ "$printed" = "$(block "$page" text)" ] || fail "the page says: $(block "$page" text)"

printed=$(programs/cpp_start)
echo "docs/cpp.md: $printed"
[ "$printed" = "$(block "$root/docs/cpp.md" text)" ] || fail "the page says: $(block "$root/docs/cpp.md" text)"
