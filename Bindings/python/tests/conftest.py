"""Sessions at a private server of the repository's example market."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path

import pytest

from quindalim import Calculator, Session, csv_rows

REPOSITORY = Path(__file__).resolve().parents[3]
EXAMPLES = REPOSITORY / "examples"
MARKET = EXAMPLES / "market.xml"


@pytest.fixture
def session() -> Iterator[Session]:
    with Session(market=MARKET) as opened:
        yield opened


@pytest.fixture
def calculator(session: Session) -> Calculator:
    return session.calculator


@pytest.fixture
def example_book(calculator: Calculator) -> Calculator:
    calculator.register(csv_rows(EXAMPLES / "accounts.csv"))
    calculator.set_positions(csv_rows(EXAMPLES / "positions.csv"))
    return calculator
