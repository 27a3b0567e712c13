"""Participants: settlement accounts, the firms under them, their clients, and ratios of firms for base contracts.

The fields are the columns of accounts.csv; each is checked when a record is made, and a value that the library would
repair is refused. Words stand for the enumerations: ``margin_rule="netting"``.
"""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass, fields
from typing import Any

from . import checks
from .enums import BrokerAccountType, ClientRiskLevel, MarginRule, SpreadMarginType
from .errors import InputError, QuindalError
from .rows import account_rows


def _set(record: Any, **values: Any) -> None:
    for name, value in values.items():
        object.__setattr__(record, name, value)


@dataclass(frozen=True)
class SettlementAccount:
    """A settlement account. Its first 12 characters tell it from others.

    ``margin_rule``: by records of its own (netting), by what its firms hold (half_netting), by the sum of its firms'
    margins (gross). ``calendar``, ``inter_contract``: netting between months, between base contracts.
    ``short_charge_ratio``: factor on the least charge of short options, 0 to 10.
    """

    code: str
    margin_rule: MarginRule | str = MarginRule.NETTING
    calendar: SpreadMarginType | str = SpreadMarginType.NETTING
    inter_contract: SpreadMarginType | str = SpreadMarginType.HALF_NETTING
    short_charge_ratio: float = 1.0

    def __post_init__(self) -> None:
        checks.code("code", self.code)
        _set(
            self,
            margin_rule=checks.word("margin_rule", self.margin_rule, MarginRule),
            calendar=checks.word("calendar", self.calendar, SpreadMarginType),
            inter_contract=checks.word("inter_contract", self.inter_contract, SpreadMarginType),
            short_charge_ratio=checks.number("short_charge_ratio", self.short_charge_ratio, 0, 10),
        )


@dataclass(frozen=True)
class Firm:
    """A firm: 4 characters. ``parent``: its settlement account, None for none.

    ``exp_weight``: how much the margin with deliveries counts, 0 to 1, two digits; 0 or 1 under half_netting.
    ``exp_weight_client_default``: that of its clients that have none of their own. ``clearings``: how many clearings
    before an expiry its deliveries begin to count, 0 to 127.
    """

    code: str
    parent: str | None = None
    margin_rule: MarginRule | str = MarginRule.HALF_NETTING
    calendar: SpreadMarginType | str = SpreadMarginType.NETTING
    inter_contract: SpreadMarginType | str = SpreadMarginType.HALF_NETTING
    exp_weight: float = 1.0
    exp_weight_client_default: float = 1.0
    clearings: int = 0
    short_charge_ratio: float = 1.0
    account_type: BrokerAccountType | str = BrokerAccountType.ORDINARY

    def __post_init__(self) -> None:
        checks.code("code", self.code, 4)
        if self.parent is not None:
            checks.code("parent", self.parent)
        weight = checks.rounded_number("exp_weight", self.exp_weight, 0, 1, 2)
        rule = checks.word("margin_rule", self.margin_rule, MarginRule)
        if rule == MarginRule.HALF_NETTING and weight not in (0.0, 1.0):
            raise InputError("exp_weight", f"{weight!r} is neither 0 nor 1, which half_netting asks for")
        default = checks.rounded_number("exp_weight_client_default", self.exp_weight_client_default, 0, 1, 2)
        _set(
            self,
            margin_rule=rule,
            calendar=checks.word("calendar", self.calendar, SpreadMarginType),
            inter_contract=checks.word("inter_contract", self.inter_contract, SpreadMarginType),
            exp_weight=weight,
            exp_weight_client_default=default,
            clearings=checks.whole("clearings", self.clearings, 0, 127),
            short_charge_ratio=checks.number("short_charge_ratio", self.short_charge_ratio, 0, 10),
            account_type=checks.word("account_type", self.account_type, BrokerAccountType),
        )


@dataclass(frozen=True)
class Client:
    """A client: 7 characters, of which the first 4 are its firm.

    ``exp_weight``: how much the margin with deliveries counts, 0 to 1, two digits; -1: as its firm has it for clients.
    ``clearings``: how many clearings before an expiry its deliveries begin to count, 0 to 127; -1: never.
    ``no_discount``: futures are never valued better than at the settlement price. ``go_ratio``: factor on its GO, 0 to
    10, five digits. ``risk_level``: which market-risk rates it is margined at.
    """

    code: str
    calendar: SpreadMarginType | str = SpreadMarginType.NETTING
    inter_contract: SpreadMarginType | str = SpreadMarginType.HALF_NETTING
    exp_weight: float = -1.0
    clearings: int = -1
    no_discount: bool = False
    go_ratio: float = 1.0
    short_charge_ratio: float = 1.0
    risk_level: ClientRiskLevel | str = ClientRiskLevel.DEFAULT

    def __post_init__(self) -> None:
        checks.code("code", self.code, 7)
        weight = checks.rounded_number("exp_weight", self.exp_weight, -1, 1, 2)
        if weight < 0 and weight != -1:
            raise InputError("exp_weight", f"{weight!r} is neither from 0 to 1 nor -1")
        _set(
            self,
            calendar=checks.word("calendar", self.calendar, SpreadMarginType),
            inter_contract=checks.word("inter_contract", self.inter_contract, SpreadMarginType),
            exp_weight=weight,
            clearings=checks.whole("clearings", self.clearings, -1, 127),
            no_discount=checks.flag("no_discount", self.no_discount),
            go_ratio=checks.rounded_number("go_ratio", self.go_ratio, 0, 10, 5),
            short_charge_ratio=checks.number("short_charge_ratio", self.short_charge_ratio, 0, 10),
            risk_level=checks.word("risk_level", self.risk_level, ClientRiskLevel),
        )

    @property
    def firm(self) -> str:
        """Code of its firm."""
        return self.code[:4]


@dataclass(frozen=True)
class Ratio:
    """The ratio of a firm (``code``) on the margin of one base contract (``parent``), 0 to 10."""

    code: str
    parent: str
    go_ratio: float

    def __post_init__(self) -> None:
        checks.code("code", self.code, 4)
        checks.code("parent", self.parent)
        _set(self, go_ratio=checks.number("go_ratio", self.go_ratio, 0, 10))


Account = SettlementAccount | Firm | Client | Ratio

LEVELS: dict[str, type[Account]] = {"account": SettlementAccount, "firm": Firm, "ratio": Ratio, "client": Client}
"""The words of the column ``level``, in the order of registration."""


def level_of(account: Account) -> str:
    """The word that the column ``level`` has for a record."""
    return next(level for level, kind in LEVELS.items() if isinstance(account, kind))


def accounts_of(data: Any) -> list[Account]:
    """Records of a batch: records as they are, or rows with the columns of accounts.csv. Raises InputError."""
    return [_account(place, row) for place, row in enumerate(account_rows(data, ()))]


def _account(place: int, row: Any) -> Account:
    try:
        if not isinstance(row, Mapping):
            if isinstance(row, tuple(LEVELS.values())):
                return row  # type: ignore[no-any-return]
            raise InputError("row", f"a {type(row).__name__} is no account")
        cells = dict(row)
        level = cells.pop("level", None)
        kind = LEVELS.get(str(level))
        if kind is None:
            raise InputError("level", f"{level!r} is none of {', '.join(LEVELS)}")
        if kind is Client and cells.get("parent") == str(cells.get("code"))[:4]:
            del cells["parent"]
        columns = [field.name for field in fields(kind)]
        for name in cells:
            if name not in columns:
                raise InputError(name, f"is none of the columns of a {level}: {', '.join(columns)}")
        try:
            return kind(**cells)
        except TypeError as error:
            raise InputError("row", str(error)) from error
    except QuindalError as error:
        raise error.in_row(place)
