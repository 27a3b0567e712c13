"""The process that tries what-ifs: a question a line on standard input, an answer a line on standard output."""

from __future__ import annotations

import json
import sys
from dataclasses import astuple
from typing import Any

from .book import ClientMargin
from .calculator import Calculator
from .command import Login
from .errors import LibraryError, QuindalError
from .mirror import line, unpacked
from .session import Session


def _restore(calculator: Calculator, question: dict[str, Any]) -> None:
    """The clients of a what-if, what is above them, their positions and open orders; nothing else."""
    calculator.clear_accounts()
    calculator.register([unpacked(row) for row in question["accounts"]])
    for row in question["positions"]:
        calculator.set_position(unpacked(row))
    for row in question["orders"]:
        calculator.place_order(unpacked(row))


def _try(calculator: Calculator, question: dict[str, Any]) -> list[Any]:
    try:
        _restore(calculator, question)
    except QuindalError as error:
        error.row = None  # rows are those of the orders that are tried
        raise
    before = {client: calculator.margin(client) for client in question["clients"]}
    after = dict(before)
    for place, row in enumerate(question["tried"]):
        order = unpacked(row)
        try:
            after[order.client] = calculator.place_order(order)
        except QuindalError as error:
            raise error.in_row(place)
    return [[_figures(before[client]), _figures(after[client])] for client in question["clients"]]


def _figures(margin: ClientMargin) -> list[Any]:
    return list(astuple(margin))


def _said(error: QuindalError) -> dict[str, Any]:
    if isinstance(error, LibraryError):
        return {"code": error.code, "text": error.text, "function": error.function, "row": error.row}
    return {"text": str(error)}


def _answer(answer: Any) -> None:
    sys.stdout.write(line(answer))
    sys.stdout.flush()


def main() -> None:
    """Answers until standard input ends."""
    start = json.loads(sys.stdin.readline())
    try:
        with Session.of_login(Login(start["ini"], start["user"], start["password"])) as session:
            session.calculator.enter_market(start["market"])
            _answer({"answer": True})
            for text in sys.stdin:
                try:
                    _answer({"answer": _try(session.calculator, json.loads(text))})
                except QuindalError as error:
                    _answer({"error": _said(error)})
    except QuindalError as error:
        _answer({"error": _said(error)})


if __name__ == "__main__":
    main()
