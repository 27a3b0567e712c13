"""Enumerations of the interface. Their values are those of QuindalIM.h."""

from __future__ import annotations

from enum import IntEnum, IntFlag


class MspType(IntEnum):
    """How the money value of a price step is defined."""

    FIXED_PRICE_STEP = 0
    CURRENCY_INDICATOR_PRICE_STEP = 1


class OptionModel(IntEnum):
    """Model that values the options of a base contract."""

    BLACK_SCHOLES = 0
    BACHELIER = 1


class AssetClass(IntEnum):
    """Class of the underlying of a base contract."""

    STOCK = 1
    CURRENCY = 2
    BOND = 3
    INDEX = 4
    COMMODITY = 5
    PERCENTAGE = 6
    METAL = 7


class MarginStyle(IntEnum):
    """When the premium of an option is paid.

    FUTURES: by and by through variation margin; EQUITY: in full at the purchase.
    """

    FUTURES = 0
    EQUITY = 1


class SettlementType(IntEnum):
    """What an exercise brings: money, or the underlying."""

    CASH_SETTLED = 0
    DELIVERABLE = 1


class ExerciseStyle(IntEnum):
    """When an option may be exercised."""

    AMERICAN = 0
    EUROPEAN = 1


class OptionType(IntEnum):
    """Put or call."""

    PUT = 1
    CALL = 2


class SpreadAspect(IntEnum):
    """Part of an instrument in the netting: of a futures between delivery months, of a series with its futures."""

    NOT_IN_SPREAD = 0
    IN_SPREAD = 2


class Attribute(IntFlag):
    """Status of a futures, a bit mask. The margin reads TAS and COLLATERAL."""

    NONE = 0
    SPOT = 1
    MAIN_SPOT = 3
    ANONYMOUS = 4
    ADDRESS = 8
    NEO_SPOT = 16
    DELIVERY = 256
    PAIRS_ALLOWED = 512
    MAIN_REPO = 1024
    VXL_MONEY = 2048
    REPO_ALLOWED = 4096
    RATE_QUOTING = 8192
    RISK = 524288
    TAS = 1048576
    COLLATERAL = 8388608
    STRATEGY = 134217728


class ClientRiskLevel(IntEnum):
    """Column of the risk parameters that a client is margined by."""

    DEFAULT = 0
    LOW = 1
    MEDIUM = 2
    HIGH = 3
    EXCEPTIONAL = 4


class MarginRule(IntEnum):
    """How a participant's risk reaches the participant above."""

    GROSS = 2
    HALF_NETTING = 3
    NETTING = 4


class SpreadMarginType(IntEnum):
    """Netting within one participant: between the months of a base contract, or between base contracts."""

    UNUSED = 0
    HALF_NETTING = 3
    NETTING = 4


class BrokerAccountType(IntEnum):
    """Kind of account of a firm."""

    ORDINARY = 0
    TRUSTED = 1
    SEGREGATED = 2


class AccountLevel(IntEnum):
    """Level of the account tree that a code names."""

    ACCOUNT = 0
    FIRM = 1
    CLIENT = 2
