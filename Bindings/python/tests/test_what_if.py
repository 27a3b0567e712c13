"""A what-if leaves no trace."""

from __future__ import annotations

import struct

from conftest import EXAMPLES

from quindalim import Calculator, ClientMargin, Order, csv_rows


def bits(margins: list[ClientMargin]) -> list[bytes]:
    return [struct.pack("ddd", row.volatility_go, row.delivery_go, row.go) for row in margins]


def test_the_book_is_as_it_was_to_the_last_bit(example_book: Calculator) -> None:
    # A history that no rebuilt book has: changed positions and cancelled orders leave their last digits.
    client = example_book.client_node("CL02001")
    for quantity in (31, 29, 30):
        client.set_position("ALFA-SPOT", quantity, 26480.1)
    client.place_order("INDX-12.26", "buy", 7, 3290.3)
    client.cancel_order("INDX-12.26", "buy", 3, 3290.3)
    before = bits(example_book.margins())
    example_book.what_if(csv_rows(EXAMPLES / "orders.csv"))
    client.what_if("INDX-12.26", "sell", 10)
    assert bits(example_book.margins()) == before


def test_each_what_if_starts_from_the_book_without_the_others(example_book: Calculator) -> None:
    order = Order("CL02001", "INDX-12.26", "buy", 10)
    first, second = example_book.what_if([order, order])
    assert (first.label, second.label) == ("#1", "#2")
    assert bits([first.before, first.after]) == bits([second.before, second.after])
    assert first.after.go > first.before.go


def test_open_orders_count_in_a_what_if(example_book: Calculator) -> None:
    client = example_book.client_node("CL02001")
    alone = client.what_if("INDX-12.26", "buy", 10)
    placed = client.place_order("INDX-12.26", "buy", 10)
    assert placed.go == alone.after.go
    beside = client.what_if("INDX-12.26", "buy", 10)
    assert beside.before.go == placed.go
    assert beside.after.go > beside.before.go


def test_a_what_if_sees_the_position_as_it_is_now(example_book: Calculator) -> None:
    client = example_book.client_node("OM02002")
    assert client.what_if("INDX-12.26", "buy", 1).before.go == client.margin().go
    closed = client.set_position("INDX-12.26", 0)
    assert client.what_if("INDX-12.26", "buy", 1).before.go == closed.go
