"""Batches of all kinds of rows mean the same, and an exception names its row."""

from __future__ import annotations

from typing import Any

import pytest
from conftest import EXAMPLES

from quindalim import (
    AlreadyExists,
    Calculator,
    Client,
    Firm,
    InputError,
    NotFound,
    Order,
    Position,
    SettlementAccount,
    csv_rows,
)

ROWS = [("AA01001", "INDX-12.26", 5, 3300.0), ("AA01002", "INDX-3.27", -3, None)]
COLUMNS = ("code", "instrument", "quantity", "price")


@pytest.fixture
def clients(calculator: Calculator) -> Calculator:
    calculator.register([Client("AA01002"), Client("AA01001"), Firm("AA01")])
    return calculator


@pytest.fixture
def expected(clients: Calculator) -> Any:
    margins = {code: clients.set_position(Position(code, *row)) for code, *row in ROWS}
    for code, instrument, *_ in ROWS:
        clients.set_position(Position(code, instrument, 0))
    return margins


def columns() -> dict[str, list[Any]]:
    return {name: [row[place] for row in ROWS] for place, name in enumerate(COLUMNS)}


def as_texts() -> list[dict[str, str]]:
    return [{name: "" if cell is None else str(cell) for name, cell in zip(COLUMNS, row)} for row in ROWS]


@pytest.mark.parametrize(
    "batch",
    [
        ROWS,
        [Position(*row) for row in ROWS],
        [dict(zip(COLUMNS, row)) for row in ROWS],
        as_texts(),
        columns(),
        (row for row in list(ROWS)),
    ],
    ids=["tuples", "records", "mappings", "texts", "columns", "generator"],
)
def test_lists_and_mappings(clients: Calculator, expected: Any, batch: Any) -> None:
    assert clients.set_positions(batch) == expected


def test_numpy_arrays(clients: Calculator, expected: Any) -> None:
    numpy = pytest.importorskip("numpy")
    # 0 stands for the calculated price, as an empty cell does.
    full = [(code, instrument, quantity, price or 0.0) for code, instrument, quantity, price in ROWS]
    records = numpy.array(full, dtype=[("code", "U7"), ("instrument", "S32"), ("quantity", "i8"), ("price", "f8")])
    assert clients.set_positions(records) == expected
    assert clients.set_positions({name: records[name] for name in COLUMNS}) == expected
    assert clients.set_positions(numpy.array(full, dtype=object)) == expected
    records["price"][1] = numpy.nan
    with pytest.raises(InputError, match="^row 1: price: nan is not a finite number$"):
        clients.set_positions(records)


def test_pandas_frames(clients: Calculator, expected: Any) -> None:
    pandas = pytest.importorskip("pandas")
    frame = pandas.DataFrame(columns())
    with pytest.raises(InputError, match="^row 1: price: nan is not a finite number$"):
        clients.set_positions(frame)
    assert clients.set_positions(frame.astype({"price": "Float64"})) == expected
    read = pandas.read_csv(EXAMPLES / "positions.csv", comment="#", dtype=str, keep_default_na=False)
    clients.clear_accounts()
    clients.register(csv_rows(EXAMPLES / "accounts.csv"))
    assert clients.set_positions(read)["OM02002"].go == 38181.37


def test_accounts_come_in_any_order_and_the_row_is_that_of_the_batch(calculator: Calculator) -> None:
    batch = [Client("AA01001"), SettlementAccount("HOUSE"), Firm("AA01", parent="HOUSE"), Client("BB01001")]
    with pytest.raises(NotFound, match="^row 3: RegisterPart: 94720 Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND") as caught:
        calculator.register(batch)
    assert caught.value.row == 3
    assert [margin.client for margin in calculator.margins()] == ["AA01001"]
    with pytest.raises(AlreadyExists) as again:
        calculator.register([Firm("CC01"), SettlementAccount("HOUSE")])
    assert (again.value.row, again.value.code) == (1, 94740)


@pytest.mark.parametrize(
    ("row", "said"),
    [
        ({"level": "office", "code": "A"}, "row 0: level: 'office' is none of account, firm, ratio, client"),
        ({"level": "client", "code": "AA01001", "margin_rule": "gross"}, "row 0: margin_rule: is none of the columns"),
        ({"level": "client"}, "row 0: row: .*code"),
        (7, "row 0: row: a int is no account"),
    ],
)
def test_a_row_that_is_no_account_is_refused(calculator: Calculator, row: Any, said: str) -> None:
    with pytest.raises(InputError, match="^" + said):
        calculator.register([row])


@pytest.mark.parametrize(
    ("batch", "said"),
    [
        ([{"code": "AA01001", "instrument": "INDX-12.26", "quantity": 1, "cost": 2}], "row 0: cost: is none of"),
        ([{"code": "AA01001", "instrument": "INDX-12.26"}], "row 0: quantity: is missing"),
        ([("AA01001", "INDX-12.26", 1, 1.0, "client", 1, 1)], "row: has 7 values for 6 columns"),
        ({"code": ["AA01001"], "quantity": [1, 2]}, "columns: are of different lengths"),
        ("AA01001", "batch: is a text, not rows"),
        (5, "batch: int has no rows"),
        ([5], "row 0: row: a int is no Position"),
    ],
)
def test_a_batch_that_is_none_is_refused(clients: Calculator, batch: Any, said: str) -> None:
    with pytest.raises(InputError, match="^" + said):
        clients.set_positions(batch)


def test_the_row_of_an_exception_of_the_library(clients: Calculator) -> None:
    good = Position("AA01001", "INDX-12.26", 5, 3300.0)
    with pytest.raises(NotFound) as caught:
        clients.set_positions([good, good, Position("AA01001", "NOTHING", 1)])
    assert (caught.value.row, caught.value.code, caught.value.function) == (2, 94813, "SetPosition")
    assert clients.margin("AA01001").go == 19846.13  # the rows before it stand

    order = Order("AA01001", "INDX-12.26", "buy", 1)
    with pytest.raises(NotFound) as placed:
        clients.place_orders([order, Order("AA01009", "INDX-12.26", "buy", 1)])
    assert (placed.value.row, placed.value.code) == (1, 94309)
    with pytest.raises(NotFound) as tried:
        clients.what_if([order, order, Order("AA01001", "NOTHING", "buy", 1)])
    assert (tried.value.row, tried.value.code, tried.value.function) == (2, 94813, "ChangeOrder")
