// InstrumentTables: what is asked of the parameters of a base contract and of a futures, row by row.
//
// Order:     top to bottom; the first refusal ends the reading.
// Numbers:   rates are shares of the spot, times are in years.
#pragma once

#include <cstdint>
#include <string>

#include "Constants.h"
#include "Enums.h"
#include "InstrumentChecks.h"
#include "kv7errors.h"

namespace kv7im {

/// A base contract as it is offered.
struct BaseContractParameters
{
    std::string Code;
    std::string CodeMCS;
    std::int32_t VolatNum;
    Enums::MSPType MSPType;
    std::int32_t CurrencyId;
    double ShortOptionMinimumCharge;
    double SpotPrice;
    double MarketRisk;
    double MarketRisk1;
    double MarketRisk2;
    double MarketRiskLow;
    double MarketRisk1Low;
    double MarketRisk2Low;
    double MarketRiskMedium;
    double MarketRisk1Medium;
    double MarketRisk2Medium;
    double MarketRiskHigh;
    double MarketRisk1High;
    double MarketRisk2High;
    double MarketRiskExceptional;
    double MarketRisk1Exceptional;
    double MarketRisk2Exceptional;
    std::int64_t ConcentrationLimit1;
    std::int64_t ConcentrationLimit2;
    std::int32_t RiskPointsN;
    std::int32_t IsinVCB;
    double WindowSizePercentage;
    Enums::OptionModel OptionModel;
    Enums::AssetClass AssetClass;
    double CFRisk;
    Enums::BaseContractSigns Signs;
};

/// A futures as it is offered.
struct FuturesParameters
{
    std::string Code;
    std::string CodeBC;
    double CalcFutPrice;
    Enums::SpreadAspect SpreadAspect;
    double MinStepPrice;
    double RealCalcPrice;
    double MinStep;
    double XLot;
    ::Isin Isin;
    double InterestRateRiskUp;
    double InterestRateRiskDown;
    double TimeToExpiration;
    double NormalizedSpot;
    Enums::InstrumentStatus Attribute;
    double MRAddOnUp;
    double MRAddOnDown;
    bool EnforceIMSHalfNetting;
    ::Isin TASBaseFutIsinID;
};

struct EdgeCoeffParameters
{
    double EdgeCoeff;
};

using BC = BaseContractParameters;
using FUT = FuturesParameters;

/// A rate of market risk has to be above zero; the text and the name are made of the field's.
#define KV7_MARKET_RISK(field, code)                                                                                   \
    RefuseUnless(#field ">0.0", #field, &BC::field, Relation::Above, 0.0, Z9ERR_CALCGO_API_ERROR_##code)

inline constexpr Check<BC> BaseContractChecks[] = {
    KV7_MARKET_RISK(MarketRisk, MR_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk1, MR1_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk2, MR2_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRiskLow, MR_LOW_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk1Low, MR1_LOW_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk2Low, MR2_LOW_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRiskMedium, MR_MEDIUM_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk1Medium, MR1_MEDIUM_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk2Medium, MR2_MEDIUM_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRiskHigh, MR_HIGH_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk1High, MR1_HIGH_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk2High, MR2_HIGH_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRiskExceptional, MR_EXCEPTIONAL_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk1Exceptional, MR1_EXCEPTIONAL_MUST_BE_POSITIVE),
    KV7_MARKET_RISK(MarketRisk2Exceptional, MR2_EXCEPTIONAL_MUST_BE_POSITIVE),
    RefuseUnless("ConcentrationLimit1>=0.0", "ConcentrationLimit1", &BC::ConcentrationLimit1, Relation::AtLeast, 0.0,
                 Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE),
    RefuseUnless("ConcentrationLimit2>=0.0", "ConcentrationLimit2", &BC::ConcentrationLimit2, Relation::AtLeast, 0.0,
                 Z9ERR_CALCGO_API_ERROR_CL2_CANNOT_BE_NEGATIVE),
    RefuseUnless("WindowSizePercentage<=1.0", "WindowSizePercentage", &BC::WindowSizePercentage, Relation::AtMost, 1.0,
                 Z9ERR_CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE),
    RefuseUnless("WindowSizePercentage>=0.0", "WindowSizePercentage", &BC::WindowSizePercentage, Relation::AtLeast, 0.0,
                 Z9ERR_CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE),
    CorrectUnless("SOMC<=Constants::MaximumSOMC", "SOMC", &BC::ShortOptionMinimumCharge, Relation::AtMost,
                  Constants::MaximumSOMC, Constants::DefaultSOMC, Alert::SOMC),
    CorrectUnless("SOMC>=Constants::MinimumSOMC", "SOMC", &BC::ShortOptionMinimumCharge, Relation::AtLeast,
                  Constants::MinimumSOMC, Constants::DefaultSOMC, Alert::SOMC),
    CorrectUnless("RiskPointsN>=Constants::MinimalPointsNumberConst", "RiskPointsN", &BC::RiskPointsN,
                  Relation::AtLeast, Constants::MinimalPointsNumberConst, Constants::MinimalPointsNumberConst,
                  Alert::RiskPointsN),
    // Too many points fall to the fewest, not to the most: the rule of the exchange.
    CorrectUnless("RiskPointsN<=Constants::MaximumPointsNumberConst", "RiskPointsN", &BC::RiskPointsN, Relation::AtMost,
                  Constants::MaximumPointsNumberConst, Constants::MinimalPointsNumberConst, Alert::RiskPointsN),
    DropSignUnlessPositive<BC>("SpotPrice>0.0", "SpotPrice", &BC::SpotPrice, Alert::SpotPrice,
                               [](const BC& bc) { return bc.AssetClass == Enums::AssetClass::Percentage; }),
};
#undef KV7_MARKET_RISK

/// Read after the lookups and the checks of the enumerations.
inline constexpr Check<BC> BaseContractLateChecks[] = {
    CorrectUnless("CFRisk>=0.0", "CFRisk", &BC::CFRisk, Relation::AtLeast, 0.0, 0.0, Alert::UnspecifiedParam),
};

inline constexpr Check<FUT> FuturesChecks[] = {
    RefuseUnless("InterestRateRiskUp>=0.0", "InterestRateRiskUp", &FUT::InterestRateRiskUp, Relation::AtLeast, 0.0,
                 Z9ERR_CALCGO_API_ERROR_IR_UP_CANNOT_BE_NEGATIVE),
    RefuseUnless("InterestRateRiskDown>=0.0", "InterestRateRiskDown", &FUT::InterestRateRiskDown, Relation::AtLeast,
                 0.0, Z9ERR_CALCGO_API_ERROR_IR_DOWN_CANNOT_BE_NEGATIVE),
    RefuseUnless("TimeToExpiration>=0.0", "TimeToExpiration", &FUT::TimeToExpiration, Relation::AtLeast, 0.0,
                 Z9ERR_CALCGO_API_ERROR_TIME_TO_EXPIRATION_CANNOT_BE_NEGATIVE),
    RefuseUnless("MinStepPrice>0.0", "MinStepPrice", &FUT::MinStepPrice, Relation::Above, 0.0,
                 Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    // A lot may be negative, it only has to be there.
    RefuseUnless("std::abs(XLot)>=Constants::Epsilon", "std::abs(XLot)", &FUT::XLot, Relation::MagnitudeAtLeast,
                 Constants::Epsilon, Z9ERR_CALCGO_API_ERROR_LOT_CANNOT_BE_ZERO),
    RefuseUnless("MinStep>0.0", "MinStep", &FUT::MinStep, Relation::Above, 0.0,
                 Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    DropSignUnlessPositive<FUT>("NormalizedSpot>0.0", "NormalizedSpot", &FUT::NormalizedSpot, Alert::NormalizedSpot),
};

inline constexpr Check<EdgeCoeffParameters> EdgeCoeffChecks[] = {
    CorrectUnless("EdgeCoeff>=0.0", "EdgeCoeff", &EdgeCoeffParameters::EdgeCoeff, Relation::AtLeast, 0.0,
                  Constants::DefaultEdgeCoeffValue, Alert::EdgeCoeffParam),
};

} // namespace kv7im
