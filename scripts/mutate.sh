#!/usr/bin/env bash
# Breaks the product on purpose, one line at a time, and says which of the faults the unit tests do not notice.
#   scripts/mutate.sh [N] [SEED] [UNIT or FILE...]
#     N        how many faults, 100 unless said; the same seed draws the same ones, and more of them for a larger N
#     SEED     1 unless said
#     UNIT     kv7base kv7go kv7PosCalcLib kv7ordmanLib kv7DomainObjects QuindalIM Z9Sys; all of them unless said.
#              A path such as Units/kv7go/source/kernels draws from that file or folder alone
# Works on a copy of the sources in build/mutate, with a build of its own. Stopped, it goes on where it was when it is
# called again. Ends with 1 where a fault has lived that tests/mutants/equivalent.txt does not explain.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
case "${1:-}" in -h | --help) sed -n '2,10s/^# \{0,1\}//p' "$0"; exit 0 ;; esac
scripts/install-deps.sh --tests
exec python3 scripts/mutate.py "$@"
