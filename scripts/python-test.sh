#!/usr/bin/env bash
# Tests the Python package against a built library, and its types by mypy where that is installed. Words go to pytest.
# QUINDALIM_LIBRARY and QUINDALIM_COMMAND name the library and the command line; without them those of build/release are
# taken. QUINDALIM_PYTHON names another interpreter than Debian's.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

export QUINDALIM_LIBRARY="${QUINDALIM_LIBRARY:-$ROOT/build/release/Units/QuindalIM/libQuindalIM_Client.so}"
export QUINDALIM_COMMAND="${QUINDALIM_COMMAND:-$ROOT/build/release/Apps/quindal/quindal}"
python="${QUINDALIM_PYTHON:-/usr/bin/python3}"
"$python" -c 'import pytest' 2>/dev/null || scripts/install-deps.sh --tests

cd Bindings/python
export PYTHONPATH="$PWD:$PWD/tests" PYTHONDONTWRITEBYTECODE=1
if "$python" -c 'import mypy' 2>/dev/null; then
    say "mypy"
    "$python" -m mypy --cache-dir=/dev/null >&2
fi
exec "$python" -m pytest -q "$@"
