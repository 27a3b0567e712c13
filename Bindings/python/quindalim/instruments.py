"""Instruments as they are inserted and read back. Units and rules of each value: QuindalIM.h, Insert...

Prices are in the units of the instrument, money in the settlement currency, rates in shares (0.12 is 12 %), times in
years. A record has the values of its C function, in their order.
"""

from __future__ import annotations

import enum
import re
from dataclasses import dataclass, fields
from functools import cache
from typing import Any, TypeVar, get_type_hints

from . import checks
from .enums import (
    AssetClass,
    Attribute,
    ExerciseStyle,
    MarginStyle,
    MspType,
    OptionModel,
    OptionType,
    SettlementType,
    SpreadAspect,
)
from .errors import InputError


@dataclass(frozen=True, kw_only=True)
class Currency:
    """A currency that contracts are priced through."""

    currency_id: int
    curvature_radius: float


@dataclass(frozen=True, kw_only=True)
class BaseContract:
    """A base contract: the parameters that its futures share."""

    base_contract_code: str
    mcs_code: str
    volat_num: int
    msp_type: MspType
    currency_id: int
    short_option_minimum_charge: float
    market_risk: float
    market_risk1: float
    market_risk2: float
    market_risk_low: float
    market_risk1_low: float
    market_risk2_low: float
    market_risk_medium: float
    market_risk1_medium: float
    market_risk2_medium: float
    market_risk_high: float
    market_risk1_high: float
    market_risk2_high: float
    market_risk_exceptional: float
    market_risk1_exceptional: float
    market_risk2_exceptional: float
    concentration_limit1: int
    concentration_limit2: int
    risk_points_n: int
    window_size_percentage: float
    option_model: OptionModel
    spot_price: float
    asset_class: AssetClass
    cf_risk: float


@dataclass(frozen=True, kw_only=True)
class Futures:
    """A futures of a base contract."""

    futures_code: str
    base_contract_code: str
    calc_fut_price: float
    spread_aspect: SpreadAspect
    min_step_price: float
    real_calc_price: float
    min_step: float
    x_lot: float
    interest_rate_risk_up: float
    interest_rate_risk_down: float
    time_to_expiration: float
    normalized_spot: float
    attribute: Attribute
    mr_add_on_up: float
    mr_add_on_down: float
    enforce_ims_half_netting: bool
    tas_base_fut_code: str


@dataclass(frozen=True, kw_only=True)
class OptionSeries:
    """An option series: all options on one futures with one expiration, and what they share."""

    option_series_code: str
    futures_code: str
    a_black: float
    b_black: float
    c_black: float
    d_black: float
    e_black: float
    use_null_volat: bool
    s_black: float
    strike_step: float
    exp_clearings_sa: int
    exp_clearings_bf: int
    exp_clearings_cc: int
    volatility_risk: float
    volatility_risk_mismatch: float
    time_to_expiration: float
    a_bach: float
    b_bach: float
    c_bach: float
    d_bach: float
    e_bach: float
    s_bach: float
    m_bach: float
    margin_style: MarginStyle
    settlement_type: SettlementType
    exercise_style: ExerciseStyle
    sub_risk: bool
    spread_aspect: SpreadAspect
    enforce_half_netting: bool
    min_step: float
    min_step_price: float
    lot_coeff: int
    r: float
    interest_rate_risk_up: float
    interest_rate_risk_down: float
    fixed_spot_discount: float
    projected_spot_discount: float
    r2: float
    interest_rate2_risk_up: float
    interest_rate2_risk_down: float


@dataclass(frozen=True, kw_only=True)
class Option:
    """An option of a series."""

    option_code: str
    option_series_code: str
    strike: float
    option_type: OptionType
    calc_opt_price: float


@dataclass(frozen=True, kw_only=True)
class Multileg:
    """A calendar spread of two futures that is traded as one instrument: PREFIX-NEAR-FAR."""

    multileg_code: str


Instrument = Currency | BaseContract | Futures | OptionSeries | Option | Multileg
_Kind = TypeVar("_Kind", Currency, BaseContract, Futures, OptionSeries, Option, Multileg)


INSTRUMENTS = (Currency, BaseContract, Futures, OptionSeries, Option, Multileg)


def _types_of(kind: Any) -> dict[str, Any]:
    hints = get_type_hints(kind)
    return {field.name: hints[field.name] for field in fields(kind)}


_TYPES: dict[Any, dict[str, Any]] = {kind: _types_of(kind) for kind in INSTRUMENTS}


def arguments_of(instrument: Instrument) -> list[Any]:
    """Arguments of the function that inserts this instrument, each checked. Raises InputError."""
    return [_argument(name, getattr(instrument, name), kind) for name, kind in _TYPES[type(instrument)].items()]


def _argument(name: str, value: Any, kind: Any) -> Any:
    if kind is float:
        return checks.number(name, value)
    if kind is bool:
        return int(checks.flag(name, value))
    if kind is str:
        if not isinstance(value, str) or "\0" in value:
            raise InputError(name, f"{value!r} is no code")
        return value
    if kind is int:
        return checks.whole(name, value, -(2.0**31), 2.0**63 if name.startswith("concentration") else 2.0**31 - 1)
    if kind is Attribute:
        return checks.whole(name, value, 0, 2.0**31 - 1)
    return int(checks.word(name, value, kind))


_OTHER_NAMES = {"PointsNum": "risk_points_n"}


@cache
def _field_of(parameter: str) -> str:
    """market_risk1_low of MarketRisk1Low, mcs_code of MCSCode."""
    words = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", parameter)
    return _OTHER_NAMES.get(parameter) or re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", words).lower()


def read_back(kind: type[_Kind], written: dict[str, Any]) -> _Kind:
    """The instrument that a GetNext... function has written, as it is stored."""
    by_field = {_field_of(name): value for name, value in written.items()}
    values = {}
    for name, wanted in _TYPES[kind].items():
        value = by_field[name]
        values[name] = wanted(value) if wanted is bool or issubclass(wanted, enum.Enum) else value
    return kind(**values)
