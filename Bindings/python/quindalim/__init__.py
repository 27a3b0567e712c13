"""Initial margin (GO) of derivatives portfolios, computed in this process.

    from quindalim import Session
    with Session(market="examples/market.xml") as session:
        client = session.calculator.firm("AA01").client("AA01001")
        print(client.set_position("INDX-12.26", 5, price=3300.0).go)
"""

from .accounts import Client, Firm, Ratio, SettlementAccount
from .book import ClientMargin, LevelMargin, Order, Position, WhatIf
from .calculator import Calculator
from .csv_rows import csv_rows
from .enums import (
    AccountLevel,
    AssetClass,
    Attribute,
    BrokerAccountType,
    ClientRiskLevel,
    ExerciseStyle,
    MarginRule,
    MarginStyle,
    MspType,
    OptionModel,
    OptionType,
    SettlementType,
    SpreadAspect,
    SpreadMarginType,
)
from .errors import (
    AlreadyExists,
    CommandError,
    InputError,
    LibraryError,
    LibraryNotFound,
    LinkLost,
    NotFound,
    NotStarted,
    NotSupported,
    QuindalError,
    Refused,
    ServerError,
    StartError,
    TooManyClients,
)
from .explanation import Explanation, Grid, Level, Provenance, Share, WorstCell
from .instruments import BaseContract, Currency, Futures, Multileg, Option, OptionSeries
from .shared_library import error_text, version
from .plot import plot
from .session import Session
from .tree import AccountNode, ClientNode, FirmNode

__all__ = [
    "AccountLevel",
    "AccountNode",
    "AlreadyExists",
    "AssetClass",
    "Attribute",
    "BaseContract",
    "BrokerAccountType",
    "Calculator",
    "Client",
    "ClientMargin",
    "ClientNode",
    "ClientRiskLevel",
    "CommandError",
    "csv_rows",
    "Currency",
    "error_text",
    "ExerciseStyle",
    "Explanation",
    "Firm",
    "FirmNode",
    "Futures",
    "Grid",
    "InputError",
    "Level",
    "LevelMargin",
    "LibraryError",
    "LibraryNotFound",
    "LinkLost",
    "MarginRule",
    "MarginStyle",
    "MspType",
    "Multileg",
    "NotFound",
    "NotStarted",
    "NotSupported",
    "Option",
    "OptionModel",
    "OptionSeries",
    "OptionType",
    "Order",
    "plot",
    "Position",
    "Provenance",
    "QuindalError",
    "Ratio",
    "Refused",
    "ServerError",
    "Session",
    "SettlementAccount",
    "SettlementType",
    "Share",
    "SpreadAspect",
    "SpreadMarginType",
    "StartError",
    "TooManyClients",
    "version",
    "WhatIf",
    "WorstCell",
]
