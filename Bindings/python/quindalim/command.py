"""The command line ``quindal``: what the library's own functions do not hand out is read from its JSON."""

from __future__ import annotations

import csv
import json
import os
import re
import shutil
import subprocess
import tempfile
from collections.abc import Iterable
from dataclasses import asdict, dataclass
from decimal import Decimal
from enum import IntEnum
from pathlib import Path
from typing import Any

from .accounts import Account, level_of
from .book import Position
from .errors import CommandError, LibraryNotFound


def command_path() -> str:
    """The program ``quindal``: QUINDALIM_COMMAND, or where PATH finds it. Raises LibraryNotFound."""
    path = os.environ.get("QUINDALIM_COMMAND") or shutil.which("quindal")
    if path is None or not os.access(path, os.X_OK):
        raise LibraryNotFound(f"{path or 'quindal'}: no such program; QUINDALIM_COMMAND names it")
    return path


@dataclass(frozen=True)
class Login:
    """How to reach a server: an ini file, and who logs in."""

    ini: str
    user: str
    password: str


def without_logs(ini: str) -> str:
    """The text of an ini file without its logs and copies, for a second process at the same server."""
    sections = re.split(r"(?m)^(?=\s*\[)", ini)
    mq = [section for section in sections if re.match(r"\s*\[QuindalIM::mq\]", section)]
    options = [section for section in sections if re.match(r"\s*\[QuindalIM::options\]", section)]
    kept = [re.sub(r"(?m)^\s*xmlPath\s*=.*$", "", section) for section in options]
    return "\n".join(mq + kept)


def run_book_command(
    words: list[str], login: Login, accounts: Iterable[Account], positions: Iterable[Position]
) -> dict[str, Any]:
    """Runs a command of ``quindal`` over a book; gives its JSON. Raises CommandError with what the command said."""
    with tempfile.TemporaryDirectory(prefix="quindalim-") as name:
        folder = Path(name)
        _write_rows(folder / "accounts.csv", [{"level": level_of(row), **asdict(row)} for row in accounts])
        _write_rows(folder / "positions.csv", [asdict(row) for row in positions])
        (folder / "quindal.ini").write_text(without_logs(Path(login.ini).read_text(encoding="utf-8")), encoding="utf-8")
        run = subprocess.run(
            [command_path(), *words, "--format", "json", "--ini", str(folder / "quindal.ini"), "--user", login.user]
            + ["--accounts", str(folder / "accounts.csv"), "--positions", str(folder / "positions.csv")]
            + ["--password-env", "QUINDAL_PASSWORD"],
            env={**os.environ, "QUINDAL_PASSWORD": login.password},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )
    if run.returncode != 0:
        raise CommandError(run.returncode, run.stderr)
    result: dict[str, Any] = json.loads(run.stdout)
    return result


def _write_rows(file: Path, rows: list[dict[str, Any]]) -> None:
    columns = list(dict.fromkeys(name for row in rows for name in row))
    with open(file, "w", encoding="utf-8", newline="") as stream:
        writer = csv.writer(stream)
        writer.writerow(columns or ["level", "code", "instrument", "quantity"])
        writer.writerows([_cell(row.get(name)) for name in columns] for row in rows)


def _cell(value: Any) -> str:
    if value is None:
        return ""
    if isinstance(value, IntEnum):
        return value.name.lower()
    if isinstance(value, bool):
        return str(int(value))
    return format(Decimal(repr(value)), "f") if isinstance(value, float) else str(value)
