"""pip installs the package from its folder, with its types and nothing else."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from importlib.util import find_spec
from pathlib import Path

import pytest
from conftest import EXAMPLES, REPOSITORY


def test_pip_installs_the_folder(tmp_path: Path) -> None:
    if not all(find_spec(needed) for needed in ("pip", "setuptools", "wheel")):
        pytest.skip("pip, setuptools or wheel is not installed")
    source, place = tmp_path / "source", tmp_path / "installed"
    shutil.copytree(REPOSITORY / "Bindings" / "python", source)  # pip builds where the source is
    words = ["install", "--quiet", "--no-index", "--no-build-isolation", "--no-deps", "--target", str(place)]
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    pip = [sys.executable, "-m", "pip", *words, str(source)]
    done = subprocess.run(pip, capture_output=True, text=True, check=False, env=environment)
    assert done.returncode == 0, done.stderr
    assert {entry.name for entry in place.iterdir()} == {"quindalim", "quindalim-9.9.64.dist-info"}
    names = {file.name for file in (REPOSITORY / "Bindings/python/quindalim").iterdir()} - {"__pycache__"}
    assert {file.name for file in (place / "quindalim").iterdir()} - {"__pycache__"} == names
    assert "py.typed" in names

    program = (
        "import sys, quindalim\n"
        "with quindalim.Session(market=sys.argv[1]) as session:\n"
        "    client = session.calculator.firm('AA01').client('AA01001')\n"
        "    client.set_position('INDX-12.26', 5, 3300.0)\n"
        "    print(quindalim.__file__, client.what_if('INDX-12.26', 'buy', 1).before.go)\n"
    )
    run = [sys.executable, "-c", program, str(EXAMPLES / "market.xml")]
    printed = subprocess.run(
        run, cwd=tmp_path, capture_output=True, text=True, check=True, env={**environment, "PYTHONPATH": str(place)}
    ).stdout
    assert printed == f"{place / 'quindalim' / '__init__.py'} 19846.13\n"
