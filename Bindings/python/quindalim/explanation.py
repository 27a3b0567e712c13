"""The explanation of a margin, as ``quindal explain --format json`` tells it; docs/explain.md has the words."""

from __future__ import annotations

from dataclasses import dataclass, field
from datetime import datetime
from typing import Any


@dataclass(frozen=True)
class Level:
    """Margin, in money, if netting stopped at this level, and what the level saves against the one before."""

    level: str
    margin: float
    saved: float


@dataclass(frozen=True)
class Share:
    """Part of a position in the unrounded margin, in money; a gain that takes away from it is below 0."""

    instrument: str
    quantity: int
    price: float
    entity: str
    margin: float
    cut: bool


@dataclass(frozen=True)
class WorstCell:
    """A cell that a margin is taken from.

    ``money``: what a base contract, futures or series gives to it, a loss below 0.
    ``side``: volatility or delivery. ``price``: of the underlying, None for what has none; ``cell``: the result there
    before stresses, None at a stress point.
    """

    entity: str
    side: str
    contract: str
    kind: str
    money: float
    price: float | None
    scenario: int | None
    cell: float | None
    stress_point: str | None


@dataclass(frozen=True)
class Grid:
    """Profit and loss of a contract, in money before stresses: a row a volatility scenario, a value a price."""

    code: str
    futures: str
    prices: list[float]
    scenarios: list[list[float]]


@dataclass(frozen=True)
class Provenance:
    """What figures were computed from; docs/provenance.md has the words.

    ``market``: the market file, or the router that the server is behind, such as "127.0.0.1:4222".
    ``market_sha256``: digest of its bytes, as hashlib and sha256sum print it. ``market_time``: when the file was last
    changed or the server's reply arrived, UTC; None where nobody knows. ``library_version``: of what
    computed.
    """

    market: str
    market_sha256: str
    market_time: datetime | None
    library_version: str


@dataclass(frozen=True)
class Explanation:
    """Why a client's margin is what it is, and what it was computed from. ``raw`` has all fields of the JSON."""

    client: str
    go: float
    unrounded: float
    volatility_go: float
    delivery_go: float
    delivery_weight: float
    ratio: float
    levels: list[Level]
    worst_cells: list[WorstCell]
    shares: list[Share]
    grids: list[Grid]
    provenance: Provenance
    raw: dict[str, Any] = field(repr=False)


def explanation_of(said: dict[str, Any]) -> Explanation:
    """The explanation in the JSON of ``quindal explain``."""
    return Explanation(
        client=said["client"],
        go=said["GO"],
        unrounded=said["unrounded"],
        volatility_go=said["volatilityGO"],
        delivery_go=said["deliveryAndVolatilityGO"],
        delivery_weight=said["deliveryWeight"],
        ratio=said["ratio"],
        levels=[Level(row["level"], row["margin"], row["saved"]) for row in said["levels"]],
        worst_cells=[
            _worst_cell(entity["code"], side["side"], contract)
            for entity in said["entities"]
            for side in entity["sides"]
            for contract in side.get("contracts", [])
        ],
        shares=[
            Share(row["instrument"], row["quantity"], row["price"], row["entity"], row["margin"], row["cut"])
            for row in said["shares"]
        ],
        grids=[Grid(row["code"], row["futures"], row["prices"], row["scenarios"]) for row in said.get("grids", [])],
        provenance=_provenance(said["provenance"]),
        raw=said,
    )


def _provenance(said: dict[str, Any]) -> Provenance:
    market = said["market"]
    time = market.get("received") or market.get("changed")
    return Provenance(
        market=market.get("server") or market["file"],
        market_sha256=market["sha256"],
        market_time=datetime.fromisoformat(time) if time else None,
        library_version=said["library"],
    )


def _worst_cell(entity: str, side: str, row: dict[str, Any]) -> WorstCell:
    return WorstCell(
        entity=entity,
        side=side,
        contract=row["code"],
        kind=row["kind"],
        money=row["money"],
        price=row.get("price"),
        scenario=row.get("scenario"),
        cell=row.get("cell"),
        stress_point=row.get("stressPoint"),
    )
