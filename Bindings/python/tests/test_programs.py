"""The programs that a reader would copy: those of README.md and examples/."""

from __future__ import annotations

import re
import subprocess
import sys
from importlib.util import find_spec
from pathlib import Path

from conftest import EXAMPLES, REPOSITORY

PACKAGE = REPOSITORY / "Bindings" / "python"
PAGE = (PACKAGE / "README.md").read_text()
PROGRAMS = re.findall(r"```python\n(.*?)```", PAGE, flags=re.S)


def run(folder: Path, *words: str) -> list[str]:
    (folder / "examples").symlink_to(EXAMPLES)
    done = subprocess.run([sys.executable, *words], cwd=folder, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout.splitlines()


def test_the_first_margin_of_the_page(tmp_path: Path) -> None:
    printed = re.search(r"prints\n\n```\n(.*?)\n```", PAGE, flags=re.S)
    assert printed is not None
    assert run(tmp_path, "-c", PROGRAMS[0]) == [printed[1]]
    assert len(PROGRAMS[0].splitlines()) == 5


def test_the_book_of_the_page(tmp_path: Path) -> None:
    program = PROGRAMS[1] if find_spec("matplotlib") else re.sub(r"\n.*plot\(calc.*", "", PROGRAMS[1])
    printed = run(tmp_path, "-c", program)
    assert len(printed) == 10 + 13
    assert "CL01003 13076899.92" in printed
    assert "both sides CL02002 316042.67" in printed


def test_the_desks_program(tmp_path: Path) -> None:
    files = [f"examples/{name}" for name in ("market.xml", "accounts.csv", "positions.csv", "orders.csv")]
    printed = run(tmp_path, str(EXAMPLES / "desk.py"), *files, "margin.png")
    assert [line.split() for line in printed if line.startswith("CL01003 ")] == [["CL01003", "13,076,899.92"]]
    assert "oil short turned      OM02001       +653,334.37" in printed
    assert "Of 13,076,899.92, the margin of CL01003:" in printed
    shares = printed[printed.index("Of 13,076,899.92, the margin of CL01003:") + 1 :][:5]
    total = sum(float(line.split()[-1].replace(",", "")) for line in shares)
    assert abs(total - 13076899.92) < 0.05
    if find_spec("matplotlib"):
        assert (tmp_path / "margin.png").read_bytes().startswith(b"\x89PNG")
    else:
        assert printed[-1] == "no picture: matplotlib is not installed"
