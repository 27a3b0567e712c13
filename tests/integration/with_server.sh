#!/bin/sh
# Runs a program next to a server of its own, on a free port, with an ini file that leads there and a log beside it.
#   with_server.sh <quindal> <market.xml> <program> [argument...]
# The program gets INI USER PASSWORD before its own arguments. When it fails the log is shown. PART_COUNT: how many
# clients the user may register, 10 where it is not set. PROGRAM_PRELOAD: a library that the program alone is started with.
set -eu
quindal=$1 market=$2 program=$3
shift 3

work=$(mktemp -d "${TMPDIR:-/tmp}/quindal-served-XXXXXX")
server=
finish() {
    if [ -n "$server" ]; then kill "$server" 2>/dev/null && wait "$server" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap finish EXIT

printf 'user,part_count,login_type,password\nUSER01,%s,CLIENT,secret-word\n' "${PART_COUNT:-10}" \
    >"$work/users.csv"
mkfifo "$work/said"
"$quindal" serve --instruments "$market" --users "$work/users.csv" --access-log "$work/access.log" \
    >"$work/said" &
server=$!
read -r line <"$work/said"
printf '[QuindalIM::mq]\nport = %s\ntimeout = 5000\n[QuindalIM::log]\nfile = %s\n' "${line##* }" "$work/log" \
    >"$work/margin.ini"

env ${PROGRAM_PRELOAD:+"LD_PRELOAD=$PROGRAM_PRELOAD"} "$program" "$work/margin.ini" USER01 secret-word "$@" || {
    result=$?
    [ ! -f "$work/log" ] || tail -n 40 "$work/log" >&2
    exit "$result"
}
