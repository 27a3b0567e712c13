"""The calculator: instruments, accounts, positions, orders, and the margin that they need."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import replace
from typing import Any

from . import checks, rows, tree
from .accounts import LEVELS, Account, Client, Firm, Ratio, SettlementAccount, accounts_of
from .book import ClientMargin, LevelMargin, Order, Position, WhatIf
from .command import Login, run_book_command
from .enums import AccountLevel, ClientRiskLevel
from .errors import InputError, LibraryError
from .explanation import Explanation, explanation_of
from .instruments import (
    INSTRUMENTS,
    BaseContract,
    Currency,
    Futures,
    Instrument,
    Multileg,
    Option,
    OptionSeries,
    arguments_of,
    read_back,
)
from .shared_library import Library
from .mirror import Mirror, packed, unpacked
from .what_if import WhatIfProcess

_SERIES_WAS_REFUSED = 94716


class Calculator:
    """The calculator of a session. ``Session`` makes it; it is of no use after the session.

    Whatever the library answers with a code is raised as LibraryError or one of its kinds; a value that is refused
    before it reaches the library as InputError. Money is in the settlement currency.
    """

    def __init__(self, library: Library, login: Login) -> None:
        self._library = library
        self._login = login
        self._handle: int = library.call("CreateQuindalIMCalculator")["QuindalIMCalculator"]
        self._mirror = Mirror()
        self._what_ifs: WhatIfProcess | None = None
        self._any_futures: str | None = None

    def _call(self, name: str, *inputs: Any) -> dict[str, Any]:
        return self._library.call(name, self._handle, *inputs)

    # ---- instruments

    @property
    def edge_coefficient(self) -> float:
        """Edge coefficient that futures inserted from now on take, 0 or more; 0.75 at the start."""
        return float(self._call("GetCommonParams")["EdgeCoeff"])

    @edge_coefficient.setter
    def edge_coefficient(self, value: float) -> None:
        self._call("SetCommonParams", checks.number("edge_coefficient", value, 0))
        self._market_grew(["edge", float(value)])

    def load_instruments(self, moment: str | None = None) -> None:
        """Fetches all instruments from the server; ``moment``: such as "2026/11/21/10/15/30", None for now.

        Raises AlreadyExists when something has been entered before: ``clear_all`` first.
        """
        self._call("GetInstrumentParameters", moment)
        self._market_grew(["load", moment])

    def insert(self, instruments: Instrument | Iterable[Instrument]) -> None:
        """Inserts an instrument, or several of them, parents first. An exception of several has the row."""
        if isinstance(instruments, INSTRUMENTS):
            self._insert(instruments)
        else:
            rows.for_each(instruments, self._insert)

    def _insert(self, instrument: Instrument) -> None:
        self._call("Insert" + type(instrument).__name__, *arguments_of(instrument))
        self._market_grew(["insert", packed(instrument)])

    def _market_grew(self, step: list[Any]) -> None:
        self._mirror.market.append(step)
        self._end_what_ifs()

    def enter_market(self, steps: Iterable[list[Any]]) -> None:
        """Does to the market what another calculator did."""
        for kind, value in steps:
            if kind == "edge":
                self.edge_coefficient = value
            elif kind == "load":
                self.load_instruments(value)
            else:
                self._insert(unpacked(value))

    def currencies(self) -> list[Currency]:
        """Currencies, in the order of insertion."""
        return [read_back(Currency, row) for row in self._entries("Currency")]

    def base_contracts(self) -> list[BaseContract]:
        """Base contracts as they are stored, corrections included."""
        return [read_back(BaseContract, row) for row in self._entries("BaseContract")]

    def futures(self) -> list[Futures]:
        """Futures as they are stored."""
        return [read_back(Futures, row) for row in self._entries("Futures", ClientRiskLevel.DEFAULT)]

    def option_series(self) -> list[OptionSeries]:
        """Option series as they are stored; refused ones are left out."""
        return [read_back(OptionSeries, row) for row in self._entries("OptionSeries")]

    def options(self) -> list[Option]:
        """Options, in the order of insertion."""
        return [read_back(Option, row) for row in self._entries("Option")]

    def multilegs(self) -> list[Multileg]:
        """Calendar spreads, in the order of insertion."""
        return [read_back(Multileg, row) for row in self._entries("Multileg")]

    def _entries(self, kind: str, *inputs: Any) -> Iterable[dict[str, Any]]:
        for _ in range(self._call("SetOnFirst" + kind)["count"]):
            try:
                yield self._call("GetNext" + kind, *inputs)
            except LibraryError as error:
                if error.code != _SERIES_WAS_REFUSED:
                    raise

    def clear_all(self) -> None:
        """Removes instruments and accounts with their positions and orders."""
        self._call("ClearAll")
        self._mirror.forget_market()
        self._any_futures = None
        self._end_what_ifs()

    # ---- accounts

    def settlement_account(self, code: str, **values: Any) -> tree.AccountNode:
        """Registers a settlement account; ``values``: fields of SettlementAccount."""
        self._register(SettlementAccount(code, **values))
        return tree.AccountNode(self, code)

    def firm(self, code: str, **values: Any) -> tree.FirmNode:
        """Registers a firm; ``values``: fields of Firm."""
        self._register(Firm(code, **values))
        return tree.FirmNode(self, code)

    def client(self, code: str, **values: Any) -> tree.ClientNode:
        """Registers a client of a registered firm; ``values``: fields of Client."""
        self._register(Client(code, **values))
        return tree.ClientNode(self, code)

    def register(self, accounts: Any) -> None:
        """Registers a batch: records, or rows with the columns of accounts.csv, in any order.

        All rows are checked before the first is registered. An exception has the row; of an exception of the library,
        the rows registered before it stand.
        """
        kinds = list(LEVELS.values())
        numbered = list(enumerate(accounts_of(accounts)))
        for place, account in sorted(numbered, key=lambda row: kinds.index(type(row[1]))):
            try:
                self._register(account)
            except LibraryError as error:
                raise error.in_row(place)

    def _register(self, row: Account) -> None:
        if isinstance(row, SettlementAccount):
            netting = (row.margin_rule, row.calendar, row.inter_contract)
            self._call("RegisterSettlementAccount", row.code, *netting, row.short_charge_ratio)
        elif isinstance(row, Firm):
            weights = (row.exp_weight, row.exp_weight_client_default)
            above = (row.account_type, row.parent or "")
            inputs = (row.clearings, *weights, *above, row.calendar, row.margin_rule, row.inter_contract)
            self._check_parent(row)
            self._call("RegisterFirm", row.code, *inputs, row.short_charge_ratio, 0)
        elif isinstance(row, Client):
            own = (int(row.no_discount), row.clearings, row.exp_weight)
            factors = (row.go_ratio, row.short_charge_ratio, row.risk_level)
            self._call("RegisterPart", row.code, *own, row.calendar, row.inter_contract, *factors, 0)
        else:
            self._call("InsertBrokerBaseContractParam", row.code, row.parent, row.go_ratio)
        self._mirror.accounts.append(row)

    def _check_parent(self, firm: Firm) -> None:
        """The library would take a firm of an unknown account for one without an account, without a word."""
        known = {row.code[:12] for row in self._mirror.accounts if isinstance(row, SettlementAccount)}
        if firm.parent is not None and firm.parent[:12] not in known:
            raise InputError("parent", f"{firm.parent!r} is no settlement account")

    def change_client(
        self,
        code: str,
        *,
        no_discount: bool | None = None,
        clearings: int | None = None,
        exp_weight: float | None = None,
    ) -> ClientMargin:
        """Gives a client other parameters; None leaves one. Its book is valued again; gives its margin."""
        client = self._mirror.client(code)
        changed = replace(
            client,
            no_discount=client.no_discount if no_discount is None else no_discount,
            clearings=client.clearings if clearings is None else clearings,
            exp_weight=client.exp_weight if exp_weight is None else exp_weight,
        )
        self._call("ChangePart", code, int(changed.no_discount), changed.clearings, changed.exp_weight)
        self._mirror.change_client(changed)
        return self.margin(code)

    def clear_accounts(self) -> None:
        """Removes all accounts with their positions and orders. Instruments stay."""
        self._call("ClearParts")
        self._mirror.forget_accounts()

    # ---- positions and orders

    def set_position(self, position: Position) -> ClientMargin | None:
        """Sets a position; gives the client's margin, None for a firm or an account.

        A call after 20 idle seconds asks the server, and raises LinkLost where it does not answer.
        """
        level = position.account_level
        inputs = (position.code, position.instrument, position.quantity, position.price or 0.0)
        figures = self._call("SetPosition", *inputs, level, position.after_last_clearing)
        self._mirror.set_position(position)
        return _margin(position.code, figures) if level == AccountLevel.CLIENT else None

    def set_positions(self, positions: Any) -> dict[str, ClientMargin]:
        """Sets a batch: records, tuples, mappings, columns, numpy records or a pandas frame with Position's fields.

        Gives the last margin of each client. All rows are checked before the first is set. An exception has the row; of
        an exception of the library, the rows set before it stand.
        """
        margins = rows.for_each(rows.records_of(positions, Position), self.set_position)
        return {margin.client: margin for margin in margins if margin is not None}

    def place_order(self, order: Order) -> ClientMargin:
        """Adds an open order; gives the margin of the client's positions and orders together."""
        return self._change_order(order, order.quantity)

    def place_orders(self, orders: Any) -> dict[str, ClientMargin]:
        """Adds a batch of open orders with Order's fields, as ``set_positions`` does; gives the last margins."""
        return {margin.client: margin for margin in rows.for_each(rows.records_of(orders, Order), self.place_order)}

    def cancel_order(self, order: Order) -> ClientMargin:
        """Takes contracts out that were placed under the same client, instrument, side and price.

        Raises InputError for more contracts than are open. The figures come back to the last digits of a double, not
        to the last bit; ``what_if`` tries an order without a trace.
        """
        known = self._mirror.open_quantity(order)
        if order.quantity > known:
            raise InputError("quantity", f"{order.quantity} are more than the {known} that are open")
        return self._change_order(order, -order.quantity)

    def _change_order(self, order: Order, added: int) -> ClientMargin:
        inputs = (order.client, order.instrument, int(order.is_buy), order.price or 0.0, added)
        figures = self._call("ChangeOrder", *inputs)
        self._mirror.change_order(order, added)
        return _margin(order.client, figures)

    # ---- figures

    def margin(self, client: str) -> ClientMargin:
        """Margin of a client as its positions and open orders stand; changes nothing."""
        if self._any_futures is None:
            known = self.futures()
            if not known:
                raise InputError("client", "no margin can be asked for before there is a futures")
            self._any_futures = known[0].futures_code
        return _margin(client, self._call("ChangeOrder", client, self._any_futures, 1, 0.0, 0))

    def margins(self) -> list[ClientMargin]:
        """Margins of all clients, in the order of registration."""
        return [self.margin(client) for client in self._mirror.clients()]

    def level_margins(self) -> tuple[list[LevelMargin], list[LevelMargin]]:
        """GO of the firms and of the settlement accounts: of the positions, without the open orders.

        The library's functions do not hand these out: the command line computes them from the same book, and the
        instruments of the server. Raises CommandError.
        """
        said = self._of_command(["margin"])
        firms = [LevelMargin(row["code"], row.get("settlementAccount") or "", row["GO"]) for row in said["firms"]]
        return firms, [LevelMargin(row["id"], "", row["GO"]) for row in said["settlementAccounts"]]

    def what_if(self, orders: Any) -> list[WhatIf]:
        """Tries a batch of orders with Order's fields that nobody has sent; gives a line a client of each what-if.

        Orders with one ``what_if`` are placed together; one without is a what-if of its own, called # and its number.
        Each starts from the book as it is, open orders included, and leaves it as it was to the last bit: it runs in a
        process of its own. An exception has the row of the order.
        """
        checked = rows.records_of(orders, Order)
        if self._what_ifs is None:
            self._what_ifs = WhatIfProcess(self._login, self._mirror.market)
        return self._what_ifs.try_all(checked, self._mirror)

    def explain(self, client: str) -> Explanation:
        """Why the margin of a client is what it is: of its positions, without its open orders.

        Through the command line, with the instruments of the server. Raises CommandError.
        """
        self._mirror.client(client)
        return explanation_of(self._of_command(["explain", "--client", client]))

    def _of_command(self, words: list[str]) -> dict[str, Any]:
        if any(kind != "load" for kind, _ in self._mirror.market):
            raise InputError("instruments", "were entered by hand; the command line knows those of the server only")
        return run_book_command(words, self._login, self._mirror.accounts, self._mirror.positions.values())

    def client_node(self, code: str) -> tree.ClientNode:
        """The node of a client that is registered. Raises InputError."""
        return tree.ClientNode(self, self._mirror.client(code).code)

    # ---- end

    @property
    def what_if_process_id(self) -> int | None:
        """Id of the process that tries what-ifs, None while there is none."""
        return self._what_ifs.process_id if self._what_ifs else None

    def _end_what_ifs(self) -> None:
        process, self._what_ifs = self._what_ifs, None
        if process is not None:
            process.close()

    def close(self) -> None:
        """Removes everything and destroys the calculator."""
        self._end_what_ifs()
        self._call("ClearAll")
        self._call("DestroyQuindalIMCalculator")


def _margin(client: str, figures: dict[str, Any]) -> ClientMargin:
    return ClientMargin(
        client, figures["VolatilityPartGO"], figures["DeliveryAndVolatilityPartGO"], figures["PartGO"]
    )
