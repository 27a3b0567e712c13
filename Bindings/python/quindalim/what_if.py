"""What-ifs are tried in a process of their own, which has the library to itself: the book is not touched by a bit.

There each what-if starts from the clients that it is about, registered anew with their positions and open orders.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

from .book import ClientMargin, Order, WhatIf
from .command import Login
from .errors import QuindalError, library_error
from .mirror import Mirror, line, packed

_END_SECONDS = 15


def labelled(orders: list[Order]) -> dict[str, list[tuple[int, Order]]]:
    """Orders by what-if, with their rows: those of one label together, one without by its number."""
    what_ifs: dict[str, list[tuple[int, Order]]] = {}
    for row, order in enumerate(orders):
        label = order.what_if or f"#{len(what_ifs) + 1}"
        what_ifs.setdefault(label, []).append((row, order))
    return what_ifs


class WhatIfProcess:
    """The process; started at the first what-if, ended by ``close`` or with this program."""

    def __init__(self, login: Login, market: list[list[Any]]) -> None:
        package = str(Path(__file__).resolve().parent.parent)
        paths = [package, *filter(None, [os.environ.get("PYTHONPATH")])]
        self._process = subprocess.Popen(
            [sys.executable, "-m", "quindalim.what_if_process"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
            env={**os.environ, "PYTHONPATH": os.pathsep.join(paths)},
            start_new_session=True,  # Ctrl-C is for the program, which ends the session
        )
        try:
            self._ask({"ini": login.ini, "user": login.user, "password": login.password, "market": market})
        except BaseException:
            self.close()
            raise

    @property
    def process_id(self) -> int:
        """Process id."""
        return self._process.pid

    def try_all(self, orders: list[Order], mirror: Mirror) -> list[WhatIf]:
        """Figures of each what-if, a line for each of its clients. Raises LibraryError with the row of the order."""
        results = []
        for label, rows in labelled(orders).items():
            clients = list(dict.fromkeys(order.client for _, order in rows))
            tried = [packed(order) for _, order in rows]
            try:
                answer = self._ask({**mirror.part_of(clients), "clients": clients, "tried": tried})
            except QuindalError as error:
                raise error if error.row is None else error.in_row(rows[error.row][0])
            results += [WhatIf(label, ClientMargin(*before), ClientMargin(*after)) for before, after in answer]
        return results

    def _ask(self, question: dict[str, Any]) -> Any:
        assert self._process.stdin is not None and self._process.stdout is not None
        try:
            self._process.stdin.write(line(question))
            self._process.stdin.flush()
            answer = self._process.stdout.readline()
        except BrokenPipeError:
            answer = ""
        if not answer:
            raise QuindalError("the process of the what-ifs has ended")
        said = json.loads(answer)
        if "error" in said:
            raise _error_of(said["error"])
        return said["answer"]

    def close(self) -> None:
        """Ends the process."""
        assert self._process.stdin is not None and self._process.stdout is not None
        try:
            self._process.stdin.close()
        except BrokenPipeError:
            pass
        try:
            self._process.wait(_END_SECONDS)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._process.stdout.close()


def _error_of(said: dict[str, Any]) -> QuindalError:
    if "code" not in said:
        return QuindalError(said["text"])
    error: QuindalError = library_error(said["code"], said["text"], said["function"])
    return error if said["row"] is None else error.in_row(said["row"])
