#!/usr/bin/env bash
# What one_definition.py is there to find is found, in a folder of its own; what only looks alike is let pass.
#   one_definition_test.sh <one_definition.py>
set -euo pipefail
check=$(realpath "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

mkdir kernels
cat >Same.h <<'HEADER'
inline bool SameBits(double a, double b) { return a == b; }
namespace plain {
struct Margins { double volatility; };
}
struct Cells { int Count(int most = 3) const { return most; } };
HEADER
cat >kernels/Others.h <<'HEADER'
inline bool SameBits(double a, float b) { return a == b; }
inline bool SameBits(double a) { return a == a; }
inline bool SameBits(const Map<int, double>& a, double b) { return a[0] == b; }
struct Margins { double delivery; };
struct Rows { int Count(int most = 4) const { return most; } };
HEADER
"$check" . || { echo "two headers without a common definition are refused"; exit 1; }

failed=0
refused() { # TEXT DEFINITION: with this definition in the second header both places are named, and this text
    cp kernels/Others.h kept
    printf '%s\n' "$2" >>kernels/Others.h
    local said
    if said=$("$check" .) || [[ $said != *"$1 is defined in each of"*Same.h:*kernels/Others.h:6* ]]; then
        echo "not found: $2"
        echo "$said"
        failed=1
    fi
    mv kept kernels/Others.h
}
refused 'SameBits(double, double)' 'inline int SameBits(double x, double y) { return x < y; }' # another type of result
refused 'SameBits(double, double)' 'inline bool SameBits(double a, double b = 0.0) { return a == b; }'
refused 'plain::Margins' 'namespace plain { struct Margins { int delivery; }; }'
refused 'Cells' 'class Cells {};'
exit "$failed"
