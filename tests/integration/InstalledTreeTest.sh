#!/bin/sh
# Installs the build, builds a small C program against what was installed, by CMake's package or by pkg-config, and runs
# it over a server started from the installed command line.
#   InstalledTreeTest.sh cmake|pkgconfig <cmake> <build> <install_test> <examples> <C compiler>
set -eu
road=$1 cmake=$2 build=$3 program=$4 examples=$5 compiler=$6

work=$(mktemp -d "${TMPDIR:-/tmp}/quindal-install-XXXXXX")
server=
finish() {
    if [ -n "$server" ]; then kill "$server" 2>/dev/null && wait "$server" || true; fi
    rm -rf "$work"
}
trap finish EXIT

"$cmake" --install "$build" --prefix "$work/tree" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
library=$(dirname "$(find "$work/tree" -name libQuindalIM_Client.so)")
[ "$(find "$work/tree/include" -name '*.h' | wc -l)" -eq 1 ] || { echo "more headers than QuindalIM.h"; exit 1; }

if [ "$road" = cmake ]; then
    "$cmake" -S "$program" -B "$work/program" \
        -DCMAKE_PREFIX_PATH="$work/tree" -DCMAKE_C_COMPILER="$compiler" >"$work/log"
    "$cmake" --build "$work/program" >>"$work/log" || { cat "$work/log"; exit 1; }
    binary="$work/program/install_test"
else
    export PKG_CONFIG_PATH="$library/pkgconfig"
    binary="$work/install_test"
    # shellcheck disable=SC2046 # flags are words
    "$compiler" -std=c99 -Wall -Wextra -Werror "$program/main.c" -o "$binary" $(pkg-config --cflags --libs quindalim) \
        "-Wl,-rpath,$library"
fi

printf 'user,part_count,login_type,password\nUSER01,10,CLIENT,secret-word\n' >"$work/users.csv"
mkfifo "$work/said"
"$work/tree/bin/quindal" serve --instruments "$examples/market.xml" --users "$work/users.csv" >"$work/said" &
server=$!
read -r line <"$work/said"
port=${line##* }
printf '[QuindalIM::mq]\nport = %s\ntimeout = 5000\n' "$port" >"$work/margin.ini"

printed=$("$binary" "$work/margin.ini" USER01 secret-word INDX-12.26)
echo "$printed"
case $printed in
    "margin "*.[0-9][0-9]) [ "$printed" != "margin 0.00" ] ;;
    *) exit 1 ;;
esac
