"""The account tree: a settlement account has firms, a firm has clients, a client has positions and orders."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from .book import ClientMargin, Order, Position, WhatIf
from .enums import AccountLevel
from .explanation import Explanation

if TYPE_CHECKING:
    from .calculator import Calculator


@dataclass(frozen=True)
class AccountNode:
    """A registered settlement account."""

    calculator: Calculator
    code: str

    def firm(self, code: str, **values: Any) -> FirmNode:
        """Registers a firm under this account; ``values``: fields of Firm."""
        return self.calculator.firm(code, parent=self.code, **values)

    def set_position(self, instrument: str, quantity: int, price: float | None = None) -> None:
        """Sets a record of the account's own, which counts under the netting rule."""
        self.calculator.set_position(Position(self.code, instrument, quantity, price, AccountLevel.ACCOUNT))


@dataclass(frozen=True)
class FirmNode:
    """A registered firm."""

    calculator: Calculator
    code: str

    def client(self, code: str, **values: Any) -> ClientNode:
        """Registers a client; its code begins with the firm's. ``values``: fields of Client."""
        return self.calculator.client(code, **values)

    def set_position(self, instrument: str, quantity: int, price: float | None = None) -> None:
        """Sets a record of the firm's own, which counts under the netting rule."""
        self.calculator.set_position(Position(self.code, instrument, quantity, price, AccountLevel.FIRM))


@dataclass(frozen=True)
class ClientNode:
    """A registered client. Quantities are contracts, prices those of the instrument, None for its calculated price."""

    calculator: Calculator
    code: str

    def set_position(
        self, instrument: str, quantity: int, price: float | None = None, after_last_clearing: int | None = None
    ) -> ClientMargin:
        """Sets the whole position in an instrument, short below 0; gives the margin."""
        position = Position(self.code, instrument, quantity, price, after_last_clearing=after_last_clearing)
        margin = self.calculator.set_position(position)
        assert margin is not None
        return margin

    def place_order(self, instrument: str, side: str, quantity: int, price: float | None = None) -> ClientMargin:
        """Adds an open order, ``side`` "buy" or "sell"; gives the margin of positions and orders."""
        return self.calculator.place_order(Order(self.code, instrument, side, quantity, price))

    def cancel_order(self, instrument: str, side: str, quantity: int, price: float | None = None) -> ClientMargin:
        """Takes contracts of an open order out; gives the margin."""
        return self.calculator.cancel_order(Order(self.code, instrument, side, quantity, price))

    def what_if(self, instrument: str, side: str, quantity: int, price: float | None = None) -> WhatIf:
        """What the margin would be with an order; the book stays as it is to the last bit."""
        return self.calculator.what_if([Order(self.code, instrument, side, quantity, price)])[0]

    def margin(self) -> ClientMargin:
        """Margin of the positions and open orders."""
        return self.calculator.margin(self.code)

    def explain(self) -> Explanation:
        """Why the margin of the positions is what it is."""
        return self.calculator.explain(self.code)

    def change(self, **values: Any) -> ClientMargin:
        """Gives the client another ``no_discount``, ``clearings`` or ``exp_weight``; gives the margin."""
        return self.calculator.change_client(self.code, **values)
