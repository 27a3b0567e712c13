"""Instruments are read back as they were sent, and can be inserted by hand."""

from __future__ import annotations

import dataclasses
import typing
import xml.etree.ElementTree as tree

import pytest
from conftest import MARKET

from quindalim import Calculator, Futures, InputError, NotFound, Option, OptionType, Order, Session, SpreadAspect


def test_the_example_market_is_read_back(calculator: Calculator) -> None:
    assert len(calculator.currencies()) == 1
    assert len(calculator.base_contracts()) == 7
    assert len(calculator.futures()) == 20
    assert len(calculator.option_series()) == 9
    assert len(calculator.options()) == 232
    assert len(calculator.multilegs()) == 6
    text = tree.tostring(tree.parse(MARKET).getroot(), encoding="unicode")
    for futures in calculator.futures():
        assert f'"{futures.futures_code}"' in text


def test_values_have_their_types(calculator: Calculator) -> None:
    for entries in (
        calculator.currencies(),
        calculator.base_contracts(),
        calculator.futures(),
        calculator.option_series(),
        calculator.options(),
        calculator.multilegs(),
    ):
        for entry in entries:
            for name, kind in typing.get_type_hints(type(entry)).items():
                assert isinstance(getattr(entry, name), kind), name


def test_a_call_is_a_call_and_a_put_a_put(calculator: Calculator) -> None:
    kinds = {option.option_code: option.option_type for option in calculator.options()}
    assert kinds["INDX-17DEC26-C3500"] is OptionType.CALL
    assert kinds["INDX-17DEC26-P3100"] is OptionType.PUT


def test_a_market_entered_by_hand_gives_the_same_margins(calculator: Calculator) -> None:
    parts = [calculator.currencies(), calculator.base_contracts(), calculator.futures(), calculator.option_series()]
    parts += [calculator.options(), calculator.multilegs()]
    calculator.firm("AA01").client("AA01001")
    loaded = calculator.client_node("AA01001").set_position("INDX-17DEC26-C3500", -10)
    tried = calculator.what_if([Order("AA01001", "INDX-3.27", "buy", 5)])
    calculator.clear_all()
    assert calculator.futures() == []
    for part in parts:
        calculator.insert(part)
    assert set(calculator.base_contracts()) == set(parts[1])
    assert calculator.options() == parts[4]
    calculator.firm("AA01").client("AA01001")
    assert calculator.client_node("AA01001").set_position("INDX-17DEC26-C3500", -10) == loaded
    assert calculator.what_if([Order("AA01001", "INDX-3.27", "buy", 5)]) == tried
    with pytest.raises(InputError, match="instruments: were entered by hand"):
        calculator.explain("AA01001")


def test_a_batch_of_instruments_names_its_row(calculator: Calculator) -> None:
    known = calculator.options()[0]
    lost = dataclasses.replace(known, option_code="X", option_series_code="NOTHING")
    with pytest.raises(NotFound) as caught:
        calculator.insert([dataclasses.replace(known, option_code="NEW", strike=1.5), lost])
    assert (caught.value.row, caught.value.code) == (1, 94515)
    assert "NEW" in [option.option_code for option in calculator.options()]


def test_an_instrument_says_which_value_is_wrong(calculator: Calculator) -> None:
    option: Option = dataclasses.replace(calculator.options()[0], option_code="X", option_type="straddle")
    with pytest.raises(InputError, match="option_type: 'straddle' is none of put, call"):
        calculator.insert(option)
    futures: Futures = calculator.futures()[0]
    assert isinstance(futures.spread_aspect, SpreadAspect)


def test_no_margin_without_a_market() -> None:
    with Session(market=MARKET, load=False) as session:
        session.calculator.edge_coefficient = 0.5
        session.calculator.firm("AA01").client("AA01001")
        with pytest.raises(InputError, match="before there is a futures"):
            session.calculator.margin("AA01001")
