// Records of the exchange's tables: packed fixed rows that carry an instrument into the repository.
//
// Always true:  no padding; a record starts with every field zero unless its constructor says otherwise.
// Numbers:      texts are zero-terminated; prices are t_bprice; rates are shares (0.25 is a quarter); Isin is the
//               library's own number of an instrument. Fields are packed: read them by value, do not bind references.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "Enums.h"
#include "Z9Types.h"
#include "z9bcd.h"

using t_instr = char[26]; // code of an instrument, 25 characters and a zero
using t_bool = bool;
static_assert(sizeof(t_instr) == 26 && sizeof(t_bool) == 1);

/// Writes a code into a record's field. Returns false, and leaves the field, for a code of more than 25 characters.
[[nodiscard]] inline bool SetInstr(t_instr& field, std::string_view code) noexcept
{
    if (code.size() >= sizeof(t_instr)) return false;
    std::memset(field, 0, sizeof(t_instr));
    if (!code.empty()) std::memcpy(field, code.data(), code.size());
    return true;
}

/// Numbers of the exchange's tables.
enum ETableIdx : std::int32_t
{
    IDXTradingClearingSessions = 0,
    IDXInstruments = 1,
    IDXCurrency = 2,
    IDXBaseContract = 3,
    IDXFutures = 4,
    IDXVirtFutures = 5,
    IDXOption = 6,
    IDXInvestor = 7,
    IDXDealer = 8,
    IDXRF = 9,
    IDXUser = 10,
    IDXMultilegDictionary = 11,
    IDXTradeModes = 12,
    IDXTradingHalts = 13,
    IDXCommonParameters = 14,
    IDXProhibition = 15,
    IDXPartLimits = 16,
    IDXSettlementAccount = 17,
    IDXMarginType = 18,
    IDXSettlementAccountMoney = 19,
    IDXPreLSInfo = 20,
    IDXInitialPositions = 21,
    IDXSmaMaster = 22,
    IDXSmaPreTradeCheck = 23,
    IDXMatchingInfo = 24,
    IDXSynthMatchingChains = 25,
    IDXSmallestAmount = 26,
    IDXBrokerBaseContractParam = 27,
    IDXStateInfo = 28,
    IDXRF2PartitionMap = 29,
    IDXInstrumentsRate = 30,
    IDXExternalIDInitials = 31,
    IDXTradingSessions = 32,
    IDXSynchroEvent0 = 33,
    IDXTableCount = 34,
};

#pragma pack(push, 1)

/// Parameters common to all instruments.
struct SCommonParametersStruct
{
    double EdgeCoeff = 0; // dimensionless

    [[nodiscard]] static const char* tableName() noexcept { return "CommonParameters"; }
};

/// A currency, as the curve of rates that it moves by.
struct SCurrencyStruct
{
    std::int32_t IndicatorID = 0; // id of the currency
    double Radius = 0;            // share by which its rate may move

    [[nodiscard]] static const char* tableName() noexcept { return "Currency"; }
};

static_assert(Enums::ClientRiskLevels.size() == 5, "each risk level has its rates in the record of a base contract");

/// A base contract.
struct SBaseContractStruct
{
    std::int32_t IsinVCB = 0;
    t_instr Code = {};
    t_instr CodeMCS = {}; // group of base contracts; empty for none
    std::int32_t SectionID = 0;
    std::int8_t VolatNum = 0; // scenarios of volatility
    t_bool HasOptions = false;
    t_bprice Rate;
    double ShortOptionMinimumCharge = 0;
    Enums::MSPType MSPType = Enums::MSPType::FixedPriceStep;
    std::int32_t IndicatorID = 0; // its currency
    double SpotPrice = 0;
    // Rates of market risk, three concentration levels for each risk level of a participant.
    double MarketRisk = 0;
    double MarketRisk1 = 0;
    double MarketRisk2 = 0;
    double MarketRiskLow = 0;
    double MarketRisk1Low = 0;
    double MarketRisk2Low = 0;
    double MarketRiskMedium = 0;
    double MarketRisk1Medium = 0;
    double MarketRisk2Medium = 0;
    double MarketRiskHigh = 0;
    double MarketRisk1High = 0;
    double MarketRisk2High = 0;
    double MarketRiskExceptional = 0;
    double MarketRisk1Exceptional = 0;
    double MarketRisk2Exceptional = 0;
    std::int64_t ConcentrationLimit1 = 0;
    std::int64_t ConcentrationLimit2 = 0;
    std::int32_t RiskPointsN = 0; // price points on each side of the settlement price
    double WindowSizePercentage = 0;
    Enums::OptionModel OptionModel = Enums::OptionModel::BlackScholes;
    Enums::AssetClass AssetClass{};
    double CFRisk = 0;
    Enums::BaseContractSigns Signs = Enums::BaseContractSigns::None;

    [[nodiscard]] static const char* tableName() noexcept { return "BaseContract"; }
};

/// A futures.
struct SFuturesStruct
{
    t_instr Code = {};
    std::int32_t Isin = 0;
    t_instr CodeBC = {};   // its base contract
    t_bprice CalcFutPrice; // settlement price
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::NotInSpread;
    double MinStepPrice = 0; // money of one price step
    std::int64_t ProhibitionGroupMask = 0;
    Z9TIME ExpiredDate = {};
    t_bprice RealCalcPrice;
    double MinStep = 0; // price step
    std::int32_t Lot = 0;
    double XLot = 100.0;
    std::int32_t Attribute = 0; // Enums::InstrumentStatus
    std::int32_t Shift = 0;
    double InterestRateRiskUp = 0;
    double InterestRateRiskDown = 0;
    double TimeToExpiration = 0; // years
    double NormalizedSpot = 0;
    double MRAddOnUp = 0;
    double MRAddOnDown = 0;
    t_bool EnforceIMSHalfNetting = false;
    std::int32_t TASBaseFutIsinID = 0; // the futures that a TAS instrument trades against; 0 for none

    [[nodiscard]] static const char* tableName() noexcept { return "Futures"; }
};

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile in the record of a series");

/// An option series.
struct SVirtFuturesStruct
{
    t_instr Code = {};
    t_instr CodeRF = {}; // its futures
    // Smile of the Black-Scholes model.
    double A_Black = 0;
    double B_Black = 0;
    double C_Black = 0;
    double D_Black = 0;
    double E_Black = 0;
    Z9TIME ExpiredDate = {};
    t_bool UseNullVolat = false;
    double S_Black = 0;
    double StrikeStep = 0;
    // Clearings before expiry from which deliveries count: for settlement accounts, firms and clients.
    std::int32_t ExpClearingsSA = 0;
    std::int32_t ExpClearingsBF = 0;
    std::int32_t ExpClearingsCC = 0;
    double VolatilityRisk = 0;
    double VolatilityRiskMismatch = 0;
    double TimeToExpiration = 0; // years
    std::int32_t OptionSeriesId = 0;
    std::int32_t UnderlyingId = 0;
    // Smile of the Bachelier model, and its scale of moneyness.
    double A_Bach = 0;
    double B_Bach = 0;
    double C_Bach = 0;
    double D_Bach = 0;
    double E_Bach = 0;
    double S_Bach = 0;
    double M_Bach = 0;
    Enums::MarginStyle MarginStyle = Enums::MarginStyle::Futures;
    Enums::SettlementType SettlementType = Enums::SettlementType::CashSettled;
    Enums::ExerciseStyle ExerciseStyle = Enums::ExerciseStyle::American;
    t_bool SubRisk = false; // the price grid has points near the strikes
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::NotInSpread;
    t_bool EnforceHalfNetting = false;
    double MinStep = 0;        // price step
    double MinStepPrice = 0;   // money of one price step
    std::int32_t LotCoeff = 0; // units of the underlying per option
    double r = 0;              // interest rates are shares per year
    double InterestRateRiskUp = 0;
    double InterestRateRiskDown = 0;
    double FixedSpotDiscount = 0;
    double ProjectedSpotDiscount = 0;
    double r2 = 0;
    double InterestRate2RiskUp = 0;
    double InterestRate2RiskDown = 0;
    double LotVolume = 0;
    double FixedSpotDiscountClr = 0;

    [[nodiscard]] static const char* tableName() noexcept { return "VirtFutures"; }
};

/// An option.
struct SOptionStruct
{
    t_instr Code = {};
    std::int32_t Isin = 0;
    t_instr CodeVF = {}; // its series
    t_bprice Strike;
    Enums::OptionType OptType = Enums::OptionType::Undefined;
    t_bprice CalcOptPrice; // settlement price
    std::int64_t ProhibitionGroupMask = 0;

    [[nodiscard]] static const char* tableName() noexcept { return "Option"; }
};

/// One leg of a multileg instrument.
struct SMultilegDictionaryStruct
{
    std::int32_t Isin = 0; // of the multileg
    std::int32_t LegsQuantity = 0;
    std::int32_t IsinLeg = 0;
    std::int32_t QuantityRatio = 0; // contracts of the leg for one multileg, negative when sold
    std::int8_t LegOrderNum = 0;

    [[nodiscard]] static const char* tableName() noexcept { return "MultilegDictionary"; }
};

#pragma pack(pop)
