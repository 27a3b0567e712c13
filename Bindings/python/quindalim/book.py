"""Positions, orders, and the figures that answer them."""

from __future__ import annotations

from dataclasses import dataclass

from . import checks
from .enums import AccountLevel
from .errors import InputError

_LARGEST_ORDER_PRICE = 99_999_999_999.0


@dataclass(frozen=True)
class Position:
    """What a client, or a firm or account under netting, holds of a futures or an option.

    ``quantity``: contracts, below 0 when sold; the whole position, not a change. ``price``: average price, None or 0
    for the calculated price of the instrument. ``after_last_clearing``: contracts that the last clearing left, None for
    all.
    """

    code: str
    instrument: str
    quantity: int
    price: float | None = None
    level: AccountLevel | str = AccountLevel.CLIENT
    after_last_clearing: int | None = None

    def __post_init__(self) -> None:
        checks.code("code", self.code)
        checks.code("instrument", self.instrument)
        quantity = checks.whole("quantity", self.quantity)
        object.__setattr__(self, "quantity", quantity)
        object.__setattr__(self, "level", checks.word("level", self.level, AccountLevel))
        if self.price is not None:
            object.__setattr__(self, "price", checks.number("price", self.price, -checks.LARGEST, checks.LARGEST))
        left = quantity
        if self.after_last_clearing is not None:
            left = checks.whole("after_last_clearing", self.after_last_clearing)
        object.__setattr__(self, "after_last_clearing", left)

    @property
    def account_level(self) -> AccountLevel:
        """The level, as a member of its enumeration."""
        return checks.word("level", self.level, AccountLevel)


@dataclass(frozen=True)
class Order:
    """An order as a client would send it, in a futures, an option or a calendar spread.

    ``side``: "buy" or "sell". ``quantity``: contracts, above 0. ``price``: None or 0 for the calculated price of the
    instrument, which a calendar spread has not; the library rounds it to five digits. ``what_if``: label of the what-if
    that the order belongs to; orders without a label are what-ifs of their own.
    """

    client: str
    instrument: str
    side: str
    quantity: int
    price: float | None = None
    what_if: str | None = None

    def __post_init__(self) -> None:
        checks.code("client", self.client, 7)
        checks.code("instrument", self.instrument)
        if self.side not in ("buy", "sell"):
            raise InputError("side", f"{self.side!r} is neither buy nor sell")
        object.__setattr__(self, "quantity", checks.whole("quantity", self.quantity, 1))
        if self.price is not None:
            price = checks.number("price", self.price, -_LARGEST_ORDER_PRICE, _LARGEST_ORDER_PRICE)
            object.__setattr__(self, "price", price)

    @property
    def is_buy(self) -> bool:
        """True for a buy."""
        return self.side == "buy"


@dataclass(frozen=True)
class ClientMargin:
    """Figures of a client, in money. ``go`` is rounded up to cents, the other two are not rounded.

    ``volatility_go``: what the portfolio loses in its worst scenario. ``delivery_go``: with the outcomes of deliveries.
    """

    client: str
    volatility_go: float
    delivery_go: float
    go: float


@dataclass(frozen=True)
class LevelMargin:
    """GO of a firm (``parent``: its settlement account, empty for none) or of a settlement account, in money."""

    code: str
    parent: str
    go: float


@dataclass(frozen=True)
class WhatIf:
    """Figures of one client in one what-if: in the book as it is, and with the orders."""

    label: str
    before: ClientMargin
    after: ClientMargin

    @property
    def client(self) -> str:
        """Code of the client."""
        return self.before.client

    @property
    def difference(self) -> float:
        """What the orders add to the GO, in money, to the cent."""
        return round(self.after.go - self.before.go, 2)
