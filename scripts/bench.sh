#!/usr/bin/env bash
# Builds and runs the benchmarks. They print ratios against a plain reference measured in the same run.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

configure release
build release quindal_benchmarks
exec build/release/tests/benchmarks/quindal_benchmarks "$@"
