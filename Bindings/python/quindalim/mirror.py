"""What a calculator has been given, kept beside it: its market, its accounts, positions and open orders."""

from __future__ import annotations

import json
from collections.abc import Iterable
from dataclasses import asdict, replace
from typing import Any

from . import instruments
from .accounts import Account, Client, Firm, Ratio, SettlementAccount
from .book import Order, Position
from .enums import AccountLevel
from .errors import InputError
from .instruments import Instrument

_KINDS: dict[str, Any] = {
    kind.__name__: kind
    for kind in (SettlementAccount, Firm, Client, Ratio, Position, Order)
    + (instruments.Currency, instruments.BaseContract, instruments.Futures)
    + (instruments.OptionSeries, instruments.Option, instruments.Multileg)
}

OrderKey = tuple[str, str, str, float | None]


def packed(record: Account | Instrument | Position | Order) -> list[Any]:
    """A record as JSON has it."""
    return [type(record).__name__, asdict(record)]


def unpacked(row: list[Any]) -> Any:
    """The record that was packed."""
    return _KINDS[row[0]](**row[1])


class Mirror:
    """The inputs of a calculator in the order in which they came; positions of 0 are none."""

    def __init__(self) -> None:
        self.forget_market()

    def forget_market(self) -> None:
        """After ClearAll."""
        self.market: list[list[Any]] = []
        self.forget_accounts()

    def forget_accounts(self) -> None:
        """After ClearParts."""
        self.accounts: list[Account] = []
        self.positions: dict[tuple[int, str, str], Position] = {}
        self.orders: dict[OrderKey, Order] = {}

    def set_position(self, position: Position) -> None:
        """Keeps a position in the place of the one before."""
        key = (int(position.account_level), position.code, position.instrument)
        self.positions[key] = position
        if position.quantity == 0:
            del self.positions[key]

    def open_quantity(self, order: Order) -> int:
        """Contracts that are open of this client, instrument, side and price."""
        known = self.orders.get(_key(order))
        return known.quantity if known else 0

    def change_order(self, order: Order, added: int) -> None:
        """Adds contracts to an open order, or takes from it."""
        quantity = self.open_quantity(order) + added
        self.orders.pop(_key(order), None)
        if quantity > 0:
            self.orders[_key(order)] = replace(order, quantity=quantity, what_if=None)

    def client(self, code: str) -> Client:
        """A registered client. Raises InputError."""
        for account in self.accounts:
            if isinstance(account, Client) and account.code == code:
                return account
        raise InputError("client", f"{code!r} is not registered")

    def change_client(self, client: Client) -> None:
        """Keeps other parameters of a client."""
        self.accounts = [
            client if isinstance(known, Client) and known.code == client.code else known for known in self.accounts
        ]

    def clients(self) -> list[str]:
        """Codes of the clients, in the order of registration."""
        return [account.code for account in self.accounts if isinstance(account, Client)]

    def part_of(self, clients: Iterable[str]) -> dict[str, list[Any]]:
        """What the figures of some clients depend on: they, what is above them, their positions and open orders."""
        wanted = set(clients)
        firms = {code[:4] for code in wanted}
        parents = {account.parent for account in self.accounts if isinstance(account, Firm) and account.code in firms}
        return {
            "accounts": [packed(row) for row in self.accounts if _is_of(row, wanted, firms, parents)],
            "positions": [
                packed(row)
                for row in self.positions.values()
                if row.level == AccountLevel.CLIENT and row.code in wanted
            ],
            "orders": [packed(row) for row in self.orders.values() if row.client in wanted],
        }


def _key(order: Order) -> OrderKey:
    return (order.client, order.instrument, order.side, round(order.price or 0.0, 5))


def _is_of(account: Account, clients: set[str], firms: set[str], parents: set[str | None]) -> bool:
    if isinstance(account, Client):
        return account.code in clients
    if isinstance(account, SettlementAccount):
        return any(parent is not None and parent[:12] == account.code[:12] for parent in parents)
    return account.code in firms


def line(value: Any) -> str:
    """A value as one line of JSON. Floats keep all their bits."""
    return json.dumps(value) + "\n"
