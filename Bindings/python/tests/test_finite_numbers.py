"""What is no finite number, or out of its range, is refused by its name before it reaches the library."""

from __future__ import annotations

import math
from typing import Any

import pytest

from quindalim import Calculator, Client, Currency, Firm, InputError, Order, Position, Ratio, SettlementAccount

NOT_FINITE = [math.nan, math.inf, -math.inf, "nan", "inf"]


@pytest.mark.parametrize("value", NOT_FINITE)
@pytest.mark.parametrize(
    ("name", "make"),
    [
        ("price", lambda value: Position("AA01001", "INDX-12.26", 1, value)),
        ("quantity", lambda value: Position("AA01001", "INDX-12.26", value)),
        ("after_last_clearing", lambda value: Position("AA01001", "INDX-12.26", 1, after_last_clearing=value)),
        ("price", lambda value: Order("AA01001", "INDX-12.26", "buy", 1, value)),
        ("quantity", lambda value: Order("AA01001", "INDX-12.26", "buy", value)),
        ("short_charge_ratio", lambda value: SettlementAccount("A", short_charge_ratio=value)),
        ("exp_weight", lambda value: Firm("AA01", exp_weight=value)),
        ("exp_weight_client_default", lambda value: Firm("AA01", exp_weight_client_default=value)),
        ("go_ratio", lambda value: Client("AA01001", go_ratio=value)),
        ("exp_weight", lambda value: Client("AA01001", exp_weight=value)),
        ("go_ratio", lambda value: Ratio("AA01", "INDX", value)),
    ],
)
def test_a_record_names_what_is_not_finite(name: str, make: Any, value: Any) -> None:
    with pytest.raises(InputError) as caught:
        make(value)
    assert caught.value.name == name


@pytest.mark.parametrize("value", [math.nan, math.inf])
def test_instruments_and_coefficients_are_finite(calculator: Calculator, value: float) -> None:
    with pytest.raises(InputError, match="curvature_radius: .* is not a finite number"):
        calculator.insert(Currency(currency_id=77, curvature_radius=value))
    with pytest.raises(InputError, match="edge_coefficient"):
        calculator.edge_coefficient = value
    assert [currency.currency_id for currency in calculator.currencies()].count(77) == 0
    assert calculator.edge_coefficient == 0.75


def test_a_batch_with_nan_changes_nothing(example_book: Calculator) -> None:
    before = example_book.margins()
    rows = [("CL02001", "INDX-12.26", 5, 3300.0), ("CL02001", "INDX-3.27", 5, math.nan)]
    with pytest.raises(InputError, match="^row 1: price: nan is not a finite number$") as caught:
        example_book.set_positions(rows)
    assert (caught.value.row, caught.value.name) == (1, "price")
    assert example_book.margins() == before


@pytest.mark.parametrize(
    ("make", "said"),
    [
        (lambda: Position("AA01001", "INDX-12.26", 10**12 + 1), "quantity: 1000000000001 is not from"),
        (lambda: Position("AA01001", "INDX-12.26", 1.5), "quantity: 1.5 is no whole number"),  # type: ignore[arg-type]
        (lambda: Position("AA01001", "INDX-12.26", True), "quantity: True is no number"),
        (lambda: Position("AA01001", "", 1), "instrument: '' is no code"),
        (lambda: Position("AA01001", "INDX\0", 1), "instrument: 'INDX\\\\x00' has a zero byte"),
        (lambda: Position("AA01001", "INDX-12.26", 1, level="broker"), "level: 'broker' is none of account, firm"),
        (lambda: Order("AA01001", "INDX-12.26", "Buy", 1), "side: 'Buy' is neither buy nor sell"),
        (lambda: Order("AA01001", "INDX-12.26", "buy", 0), "quantity: 0 is not from 1 to"),
        (lambda: Order("AA01", "INDX-12.26", "buy", 1), "client: 'AA01' has not 7 characters"),
        (lambda: Firm("AA01", exp_weight=0.5), "exp_weight: 0.5 is neither 0 nor 1"),
        (lambda: Firm("AA01", margin_rule="netting", exp_weight=0.125), "exp_weight: 0.125 has more than 2 digits"),
        (lambda: Client("AA01001", exp_weight=-0.5), "exp_weight: -0.5 is neither from 0 to 1 nor -1"),
        (lambda: Client("AA01001", go_ratio=1.123456), "go_ratio: 1.123456 has more than 5 digits"),
        (lambda: Client("AA01001", no_discount="perhaps"), "no_discount: 'perhaps' is neither yes nor no"),
    ],
)
def test_what_the_library_would_take_or_repair_without_a_word_is_refused(make: Any, said: str) -> None:
    with pytest.raises(InputError, match="^" + said):
        make()
