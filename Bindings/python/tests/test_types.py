"""A program that uses the package is checked by mypy as strictly as the package is."""

from __future__ import annotations

import os
import subprocess
import sys
from importlib.util import find_spec

import pytest
from conftest import EXAMPLES, REPOSITORY

PACKAGE = REPOSITORY / "Bindings" / "python"


def of_mypy(program: str) -> tuple[int, str]:
    words = [sys.executable, "-m", "mypy", "--strict", "--cache-dir", os.devnull, "--config-file=", "-c", program]
    run = subprocess.run(
        words, capture_output=True, text=True, check=False, env={**os.environ, "MYPYPATH": str(PACKAGE)}
    )
    return run.returncode, run.stdout


@pytest.mark.skipif(find_spec("mypy") is None, reason="mypy is not installed")
def test_types_reach_a_program() -> None:
    status, said = of_mypy((EXAMPLES / "desk.py").read_text())
    assert status == 0, said
    wrong = "from quindalim import Calculator\ndef f(c: Calculator) -> str: return c.margin('A').go\n"
    status, said = of_mypy(wrong)
    assert status == 1
    assert 'got "float", expected "str"' in said
