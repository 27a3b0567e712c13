#!/usr/bin/env bash
# clang-tidy on one source, compiled as scripts/lint.sh has configured it; prints nothing when it is clean. The static
# analyzer follows a function over 20,000 states, or over as many as QUINDAL_LINT_STATES says: with its own limit of
# 225,000 the kernels, which are instantiated for every kind of change, take more than six minutes.
set -euo pipefail
states=(-Xclang -analyzer-config -Xclang "max-nodes=${QUINDAL_LINT_STATES:-20000}")
if ! output="$(clang-tidy-14 --quiet --extra-arg=-Wno-unknown-warning-option "${states[@]/#/--extra-arg=}" \
    -p build/lint "$1" 2>/dev/null)"; then
    printf '%s\n' "$output"
    exit 1
fi
