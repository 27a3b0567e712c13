"""The C functions of the library, declared once.

The table has the names of QuindalIM.h and of its parameters. A type is ``text`` (zero-terminated UTF-8), ``i8``,
``i32``, ``i64``, ``f64``, ``bool`` or ``handle``; a ``*`` before it says that the function writes there. Where nothing
else is said the result is a code, 0 for success.
"""

from __future__ import annotations

import ctypes
import re
from dataclasses import dataclass
from typing import Any


class ExtraRisksInfo(ctypes.Structure):
    """Values at the special points of a price grid. Packed: 68 bytes."""

    _pack_ = 1
    _fields_ = [(name, ctypes.c_double) for name in "DownRisk ZL PnL3D PnL2D PnL2U PnL3U ZR UpRisk".split()] + [
        ("SubPointsCount", ctypes.c_int32)
    ]


_VALUE_TYPES: dict[str, Any] = {
    "text": ctypes.c_char_p,
    "i8": ctypes.c_int8,
    "i32": ctypes.c_int32,
    "i64": ctypes.c_int64,
    "f64": ctypes.c_double,
    "bool": ctypes.c_bool,
    "handle": ctypes.c_ssize_t,
    "info": ExtraRisksInfo,
}


@dataclass(frozen=True)
class Parameter:
    """One parameter of a C function."""

    name: str
    type: str
    is_written: bool

    @property
    def value_type(self) -> Any:
        """ctypes type of the value itself."""
        return _VALUE_TYPES[self.type]

    @property
    def c_type(self) -> Any:
        """ctypes type that is passed: of the value, or of a pointer to it."""
        if not self.is_written:
            return self.value_type
        return ctypes.c_char_p if self.type == "text" else ctypes.POINTER(self.value_type)


@dataclass(frozen=True)
class Function:
    """One C function."""

    name: str
    parameters: tuple[Parameter, ...]
    returns_text: bool

    def declare_in(self, library: ctypes.CDLL) -> Any:
        """The function of a loaded library, with its types set."""
        function = getattr(library, self.name)
        function.argtypes = [parameter.c_type for parameter in self.parameters]
        function.restype = ctypes.c_char_p if self.returns_text else ctypes.c_int32
        return function


_TABLE = """
GetQuindalIMLibraryVersion() -> text
GetErrorCodeDescription(errorCode: i32) -> text
InitQuindalIM(IniFile: text, username: text, password: text)
DeInitQuindalIM()
CreateQuindalIMCalculator(QuindalIMCalculator: *handle)
DestroyQuindalIMCalculator(QuindalIMCalculator: handle)
SetCommonParams(QuindalIMCalculator: handle, EdgeCoeff: f64)
GetCommonParams(QuindalIMCalculator: handle, EdgeCoeff: *f64)
InsertCurrency(QuindalIMCalculator: handle, CurrencyId: i32, CurvatureRadius: f64)
InsertBaseContract(QuindalIMCalculator: handle, BaseContractCode: text, MCSCode: text, VolatNum: i32,
    MSPType: i8, CurrencyId: i32, ShortOptionMinimumCharge: f64, MarketRisk: f64, MarketRisk1: f64, MarketRisk2: f64,
    MarketRiskLow: f64, MarketRisk1Low: f64, MarketRisk2Low: f64, MarketRiskMedium: f64, MarketRisk1Medium: f64,
    MarketRisk2Medium: f64, MarketRiskHigh: f64, MarketRisk1High: f64, MarketRisk2High: f64,
    MarketRiskExceptional: f64, MarketRisk1Exceptional: f64, MarketRisk2Exceptional: f64, ConcentrationLimit1: i64,
    ConcentrationLimit2: i64, RiskPointsN: i32, WindowSizePercentage: f64, OptionModel: i8, SpotPrice: f64,
    AssetClass: i32, CFRisk: f64)
InsertFutures(QuindalIMCalculator: handle, FuturesCode: text, BaseContractCode: text, CalcFutPrice: f64,
    SpreadAspect: i8, MinStepPrice: f64, RealCalcPrice: f64, MinStep: f64, XLot: f64, InterestRateRiskUp: f64,
    InterestRateRiskDown: f64, TimeToExpiration: f64, NormalizedSpot: f64, Attribute: i32, MRAddOnUp: f64,
    MRAddOnDown: f64, EnforceIMSHalfNetting: i8, TASBaseFutCode: text)
InsertOptionSeries(QuindalIMCalculator: handle, OptionSeriesCode: text, FuturesCode: text, A_Black: f64,
    B_Black: f64, C_Black: f64, D_Black: f64, E_Black: f64, UseNullVolat: i8, S_Black: f64, StrikeStep: f64,
    ExpClearingsSA: i32, ExpClearingsBF: i32, ExpClearingsCC: i32, VolatilityRisk: f64, VolatilityRiskMismatch: f64,
    TimeToExpiration: f64, A_Bach: f64, B_Bach: f64, C_Bach: f64, D_Bach: f64, E_Bach: f64, S_Bach: f64, M_Bach: f64,
    MarginStyle: i32, SettlementType: i32, ExerciseStyle: i32, SubRisk: i8, SpreadAspect: i8, EnforceHalfNetting: i8,
    MinStep: f64, MinStepPrice: f64, LotCoeff: i32, r: f64, InterestRateRiskUp: f64, InterestRateRiskDown: f64,
    FixedSpotDiscount: f64, ProjectedSpotDiscount: f64, r2: f64, InterestRate2RiskUp: f64,
    InterestRate2RiskDown: f64)
InsertOption(QuindalIMCalculator: handle, OptionCode: text, OptionSeriesCode: text, Strike: f64, OptionType: i8,
    CalcOptPrice: f64)
InsertMultileg(QuindalIMCalculator: handle, MultilegCode: text)
GetInstrumentParameters(QuindalIMCalculator: handle, DataTime: text)
ClearAll(QuindalIMCalculator: handle)
ClearParts(QuindalIMCalculator: handle)
SetOnFirstCurrency(QuindalIMCalculator: handle, count: *i32)
GetNextCurrency(QuindalIMCalculator: handle, CurrencyId: *i32, CurvatureRadius: *f64)
SetOnFirstBaseContract(QuindalIMCalculator: handle, count: *i32)
GetNextBaseContract(QuindalIMCalculator: handle, BaseContractCode: *text, BaseContractCodeSize: *i32,
    MCSCode: *text, MCSCodeSize: *i32, VolatNum: *i32, PointsNum: *i32, MSPType: *i8, CurrencyId: *i32,
    ShortOptionMinimumCharge: *f64, MarketRisk: *f64, MarketRisk1: *f64, MarketRisk2: *f64, MarketRiskLow: *f64,
    MarketRisk1Low: *f64, MarketRisk2Low: *f64, MarketRiskMedium: *f64, MarketRisk1Medium: *f64,
    MarketRisk2Medium: *f64, MarketRiskHigh: *f64, MarketRisk1High: *f64, MarketRisk2High: *f64,
    MarketRiskExceptional: *f64, MarketRisk1Exceptional: *f64, MarketRisk2Exceptional: *f64,
    ConcentrationLimit1: *i64, ConcentrationLimit2: *i64, WindowSizePercentage: *f64, OptionModel: *i8,
    SpotPrice: *f64, AssetClass: *i32, CFRisk: *f64)
SetOnFirstFutures(QuindalIMCalculator: handle, count: *i32)
GetNextFutures(QuindalIMCalculator: handle, ClientRiskLevel: i32, FuturesCode: *text, FuturesCodeSize: *i32,
    BaseContractCode: *text, BaseContractCodeSize: *i32, Limit: *f64, CalcFutPrice: *f64, SpreadAspect: *i8,
    MinStepPrice: *f64, RealCalcPrice: *f64, MinStep: *f64, XLot: *f64, InterestRateRiskUp: *f64,
    InterestRateRiskDown: *f64, TimeToExpiration: *f64, NormalizedSpot: *f64, Attribute: *i32, MRAddOnUp: *f64,
    MRAddOnDown: *f64, EnforceIMSHalfNetting: *i8, TASBaseFutCode: *text, TASBaseFutCodeSize: *i32)
SetOnFirstOptionSeries(QuindalIMCalculator: handle, count: *i32)
GetNextOptionSeries(QuindalIMCalculator: handle, OptionSeriesCode: *text, OptionSeriesCodeSize: *i32,
    FuturesCode: *text, FuturesCodeSize: *i32, SqrtT: *f64, A_Black: *f64, B_Black: *f64, C_Black: *f64, D_Black: *f64,
    E_Black: *f64, UseNullVolat: *i8, S_Black: *f64, StrikeStep: *f64, ExpClearingsSA: *i32, ExpClearingsBF: *i32,
    ExpClearingsCC: *i32, VolatilityRisk: *f64, VolatilityRiskMismatch: *f64, TimeToExpiration: *f64, A_Bach: *f64,
    B_Bach: *f64, C_Bach: *f64, D_Bach: *f64, E_Bach: *f64, S_Bach: *f64, M_Bach: *f64, MarginStyle: *i32,
    SettlementType: *i32, ExerciseStyle: *i32, SubRisk: *i8, SpreadAspect: *i8, EnforceHalfNetting: *i8,
    MinStep: *f64, MinStepPrice: *f64, LotCoeff: *i32, r: *f64, InterestRateRiskUp: *f64, InterestRateRiskDown: *f64,
    FixedSpotDiscount: *f64, ProjectedSpotDiscount: *f64, r2: *f64, InterestRate2RiskUp: *f64,
    InterestRate2RiskDown: *f64)
SetOnFirstOption(QuindalIMCalculator: handle, count: *i32)
GetNextOption(QuindalIMCalculator: handle, OptionCode: *text, OptionCodeSize: *i32, OptionSeriesCode: *text,
    OptionSeriesCodeSize: *i32, Strike: *f64, OptionType: *i8, CalcOptPrice: *f64)
SetOnFirstMultileg(QuindalIMCalculator: handle, count: *i32)
GetNextMultileg(QuindalIMCalculator: handle, MultilegCode: *text, MultilegCodeSize: *i32)
RegisterSettlementAccount(QuindalIMCalculator: handle, SettlementAccountId: text, marginRule: i8,
    calendarSpreadMarginType: i8, interContractSpreadMarginType: i8, ShortOptionMinimumChargeRatio: f64)
RegisterFirm(QuindalIMCalculator: handle, BrokerCode: text, NClr2Delivery: i32, ExpWeight: f64,
    ExpWeightClientDefault: f64, brokerAccountType: i32, SettlementAccountId: text, calendarSpreadMarginType: i8,
    marginRule: i8, interContractSpreadMarginType: i8, ShortOptionMinimumChargeRatio: f64, Reserved: i8)
RegisterPart(QuindalIMCalculator: handle, ClientCode: text, NoFutDiscount: i32, NClr2Delivery: i32,
    ExpWeight: f64, calendarSpreadMarginType: i8, interContractSpreadMarginType: i8, GORatio: f64,
    ShortOptionMinimumChargeRatio: f64, clientRiskLevel: i32, Reserved: i8)
ChangePart(QuindalIMCalculator: handle, Code: text, NoFutDiscount: i32, NClr2Delivery: i32, ExpWeight: f64)
InsertBrokerBaseContractParam(QuindalIMCalculator: handle, Code: text, CodeBC: text, GORatio: f64)
SetPosition(QuindalIMCalculator: handle, Code: text, InstrCode: text, Quantity: i64, WAPrice: f64,
    VolatilityPartGO: *f64, DeliveryAndVolatilityPartGO: *f64, PartGO: *f64, FirmGO: *f64, SettlementAccountGO: *f64,
    accountHierarchy: i8, afterLastClearingQuantity: i64)
ChangeOrder(QuindalIMCalculator: handle, Code: text, InstrCode: text, IsBuy: i32, Price: f64, DeltaQuantity: i64,
    VolatilityPartGO: *f64, DeliveryAndVolatilityPartGO: *f64, PartGO: *f64, FirmGO: *f64, SettlementAccountGO: *f64)
GetClientVfRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetClientDeliveryRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetClientFutRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetClientMmsRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetClientMcsRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetBrokerRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, brokerCode: text, arr: *f64,
    pointsNum: *i32, scenarioNum: *i32, xInfo: *info)
GetClientFinalRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text, arr: *f64,
    pointsNum: *i32, xInfo: *info)
GetClientFinalRisksArrayWithPositiveValue(QuindalIMCalculator: handle, riskType: i32, instrCode: text,
    Code: text, arr: *f64, pointsNum: *i32, xInfo: *info)
GetBrokerFinalRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, brokerCode: text,
    arr: *f64, pointsNum: *i32, xInfo: *info)
GetBrokerFinalRisksArrayWithPositiveValue(QuindalIMCalculator: handle, riskType: i32, instrCode: text,
    brokerCode: text, arr: *f64, pointsNum: *i32, xInfo: *info)
GetSettlementAccountFinalRisksArray(QuindalIMCalculator: handle, riskType: i32, instrCode: text, Code: text,
    arr: *f64, pointsNum: *i32, xInfo: *info)
GetSettlementAccountFinalRisksArrayWithPositiveValue(QuindalIMCalculator: handle, riskType: i32,
    instrCode: text, Code: text, arr: *f64, pointsNum: *i32, xInfo: *info)
GetRiskPoints(QuindalIMCalculator: handle, riskType: i32, instrCode: text, isOption: bool, arr: *f64,
    pointsNum: *i32, scenarioCount: *i32, xInfo: *info, level: i32)
GetOptionRisksArray(QuindalIMCalculator: handle, choosenRiskType: i32, InstrCode: text, arr: *f64,
    pointsCount: *i32, scenarioCount: *i32, xInfo: *info, level: i32)
"""


def _read(table: str) -> dict[str, Function]:
    functions = {}
    for name, parameters, result in re.findall(r"(\w+)\(([^)]*)\)( -> text)?", table):
        pairs = re.findall(r"(\w+): (\*?)(\w+)", parameters)
        functions[name] = Function(
            name, tuple(Parameter(title, kind, star == "*") for title, star, kind in pairs), bool(result)
        )
    return functions


FUNCTIONS: dict[str, Function] = _read(_TABLE)
