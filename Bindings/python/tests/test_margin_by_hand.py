"""A margin worked out by hand: docs/quick-start.md has the same book."""

from __future__ import annotations

import pytest

from quindalim import Calculator, InputError, Order


def client_of(calculator: Calculator):  # type: ignore[no-untyped-def]
    firm = calculator.settlement_account("ACCOUNT1").firm("AA01", margin_rule="netting")
    return firm.client("AA01001", inter_contract="netting")


def test_five_futures_cost_what_they_lose_at_the_low_end_of_the_grid(calculator: Calculator) -> None:
    # The grid ends 12 % of the spot below 3302.5, at 2908.252: (3300 - 2908.252) x 5 x 10, and 258.72 of rate stress.
    margin = client_of(calculator).set_position("INDX-12.26", 5, price=3300.0)
    assert margin.go == pytest.approx((3300 - 2908.252) * 5 * 10 + 258.72, abs=0.02)
    assert margin.go == 19846.13


def test_an_order_adds_what_it_could_lose_and_goes_when_it_is_cancelled(calculator: Calculator) -> None:
    client = client_of(calculator)
    held = client.set_position("INDX-12.26", 5, price=3300.0)
    # (3290 - 2908.252) x 2 x 10, and 103.49 of rate stress.
    asked = client.place_order("INDX-12.26", "buy", 2, price=3290.0)
    assert asked.go - held.go == pytest.approx((3290 - 2908.252) * 2 * 10 + 103.49, abs=0.02)
    assert client.margin() == asked
    assert client.cancel_order("INDX-12.26", "buy", 2, price=3290.0).go == held.go


def test_no_more_is_cancelled_than_is_open(calculator: Calculator) -> None:
    client = client_of(calculator)
    client.place_order("INDX-12.26", "buy", 2, price=3290.0)
    before = client.margin()
    with pytest.raises(InputError, match="quantity: 3 are more than the 2 that are open"):
        client.cancel_order("INDX-12.26", "buy", 3, price=3290.0)
    with pytest.raises(InputError, match="the 0 that are open"):
        client.cancel_order("INDX-12.26", "sell", 1, price=3290.0)
    assert client.margin() == before


def test_a_client_takes_other_parameters(example_book: Calculator) -> None:
    # Half of the delivery margin counts at OM01001: the GO lies in the middle; at weight 1 it is the delivery GO.
    before = example_book.margin("OM01001")
    assert before.go == pytest.approx((before.volatility_go + before.delivery_go) / 2, abs=0.01)
    changed = example_book.client_node("OM01001").change(exp_weight=1.0)
    assert changed.go == pytest.approx(changed.delivery_go, abs=0.01)
    tried = example_book.what_if([Order("OM01001", "INDX-12.26", "sell", 1)])[0]
    assert tried.before.go == changed.go


def test_a_firm_under_an_account_that_nobody_knows_is_refused(calculator: Calculator) -> None:
    with pytest.raises(InputError, match="parent: 'NOBODY' is no settlement account"):
        calculator.firm("AA01", parent="NOBODY")
