#!/bin/sh
# What the library asks of its platform is among the documented names, and the platform of the tests has just those.
#   platform_names_test.sh <libQuindalIM_Client.so> <libZ9Sys.so of the tests> <platform_names.txt>
set -eu
library=$1 platform=$2 names=$3

documented=$(LC_ALL=C sort "$names")
asked=$(nm -D --undefined-only "$library" | awk '{print $NF}' | grep -E '^(Z9|trcheck)' | LC_ALL=C sort)
given=$(nm -D --defined-only "$platform" | awk '{print $NF}' | LC_ALL=C sort)

[ -n "$asked" ] || { echo "the library asks for nothing: is it the right file?"; exit 1; }
undocumented=$(printf '%s\n' "$asked" "$documented" "$documented" | LC_ALL=C sort | uniq -u)
[ -z "$undocumented" ] || { echo "no document names:"; echo "$undocumented"; exit 1; }
[ "$given" = "$documented" ] || { echo "the platform of the tests has other names than the list"; exit 1; }
