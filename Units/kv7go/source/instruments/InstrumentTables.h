// InstrumentTables: what is asked of the parameters of a base contract, a futures and an option series, row by row.
//
// Order:     top to bottom; the first refusal ends the reading.
// Numbers:   rates are shares of the spot, times are in years.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Enums.h"
#include "grids/Constants.h"
#include "instruments/BaseContractParameters.h"
#include "instruments/FuturesParameters.h"
#include "instruments/InstrumentChecks.h"
#include "instruments/MarketRiskRows.h"
#include "instruments/OptionSeriesParameters.h"
#include "kv7errors.h"

namespace kv7im {

/// Parameters of an option series, before the checks, with the properties of its parents that the checks need.
struct VirtFuturesParameters : OptionSeriesParameters
{
    bool IsCollateral;                // of its futures
    double FuturesMinStep;            // price step of its futures
    Enums::AssetClass AssetClass;     // of its base contract, which a series may rewrite
    double AdjustedSubRiskStep = 0.0; // step between sub-points, set before the check that asks for it
};

/// Parameters of an option. Its values are not checked. The texts are the caller's.
struct OptionParameters
{
    std::string_view Code;
    std::string_view CodeVF;
    double Strike;
    Enums::OptionType OptionType;
    double CalcOptPrice;
    ::Isin Isin;
};

struct EdgeCoeffParameters
{
    double EdgeCoeff;
};

using BC = BaseContractParameters;
using FUT = FuturesParameters;
using VF = VirtFuturesParameters;

/// A rate of market risk has to be above zero; the text and the name are those of the exchange.
#define KV7_MARKET_RISK(field, level, name, code)                                                                      \
    RefuseUnlessPositive<BC>(#field #name ">0.0", #field #name, &BC::field, Enums::ClientRiskLevel::level,             \
                             Z9ERR_CALCGO_API_ERROR_##code##_MUST_BE_POSITIVE)

inline constexpr Check<BC> BaseContractChecks[] = {
    KV7_MARKET_RISKS(KV7_MARKET_RISK),
    RefuseUnless<BC>("ConcentrationLimit1>=0.0", "ConcentrationLimit1", &BC::ConcentrationLimit1, Relation::AtLeast,
                     0.0, Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE),
    RefuseUnless<BC>("ConcentrationLimit2>=0.0", "ConcentrationLimit2", &BC::ConcentrationLimit2, Relation::AtLeast,
                     0.0, Z9ERR_CALCGO_API_ERROR_CL2_CANNOT_BE_NEGATIVE),
    RefuseUnless<BC>("WindowSizePercentage<=1.0", "WindowSizePercentage", &BC::WindowSizePercentage, Relation::AtMost,
                     1.0, Z9ERR_CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE),
    RefuseUnless<BC>("WindowSizePercentage>=0.0", "WindowSizePercentage", &BC::WindowSizePercentage, Relation::AtLeast,
                     0.0, Z9ERR_CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE),
    CorrectUnless<BC>("SOMC<=Constants::MaximumSOMC", "SOMC", &BC::ShortOptionMinimumCharge, Relation::AtMost,
                      Constants::MaximumSOMC, Constants::DefaultSOMC, Alert::SOMC),
    CorrectUnless<BC>("SOMC>=Constants::MinimumSOMC", "SOMC", &BC::ShortOptionMinimumCharge, Relation::AtLeast,
                      Constants::MinimumSOMC, Constants::DefaultSOMC, Alert::SOMC),
    CorrectUnless<BC>("RiskPointsN>=Constants::MinimalPointsNumberConst", "RiskPointsN", &BC::RiskPointsN,
                      Relation::AtLeast, Constants::MinimalPointsNumberConst, Constants::MinimalPointsNumberConst,
                      Alert::RiskPointsN),
    // Too many points fall to the fewest, not to the most: the rule of the exchange.
    CorrectUnless<BC>("RiskPointsN<=Constants::MaximumPointsNumberConst", "RiskPointsN", &BC::RiskPointsN,
                      Relation::AtMost, Constants::MaximumPointsNumberConst, Constants::MinimalPointsNumberConst,
                      Alert::RiskPointsN),
    DropSignUnlessPositive<BC>("SpotPrice>0.0", "SpotPrice", &BC::SpotPrice, Alert::SpotPrice,
                               [](const BC& bc) { return bc.AssetClass == Enums::AssetClass::Percentage; }),
};
#undef KV7_MARKET_RISK

/// Read after the lookups and the checks of the enumerations.
inline constexpr Check<BC> BaseContractLateChecks[] = {
    CorrectUnless<BC>("CFRisk>=0.0", "CFRisk", &BC::CFRisk, Relation::AtLeast, 0.0, 0.0, Alert::UnspecifiedParam),
};

inline constexpr Check<FUT> FuturesChecks[] = {
    RefuseUnless<FUT>("InterestRateRiskUp>=0.0", "InterestRateRiskUp", &FUT::InterestRateRiskUp, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_API_ERROR_IR_UP_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUT>("InterestRateRiskDown>=0.0", "InterestRateRiskDown", &FUT::InterestRateRiskDown,
                      Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_IR_DOWN_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUT>("TimeToExpiration>=0.0", "TimeToExpiration", &FUT::TimeToExpiration, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_API_ERROR_TIME_TO_EXPIRATION_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUT>("MinStepPrice>0.0", "MinStepPrice", &FUT::MinStepPrice, Relation::Above, 0.0,
                      Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    // A lot may be negative, it only has to be there.
    RefuseUnless<FUT>("std::abs(XLot)>=Constants::Epsilon", "std::abs(XLot)", &FUT::XLot, Relation::MagnitudeAtLeast,
                      Constants::Epsilon, Z9ERR_CALCGO_API_ERROR_LOT_CANNOT_BE_ZERO),
    RefuseUnless<FUT>("MinStep>0.0", "MinStep", &FUT::MinStep, Relation::Above, 0.0,
                      Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    DropSignUnlessPositive<FUT>("NormalizedSpot>0.0", "NormalizedSpot", &FUT::NormalizedSpot, Alert::NormalizedSpot),
};

/// Premium-style and of one of these is what the risk of options on a collateral instrument is written for.
inline constexpr std::array OnlyEquity{Enums::MarginStyle::Equity};
inline constexpr std::array CollateralAssetClasses{Enums::AssetClass::Stock, Enums::AssetClass::Currency,
                                                   Enums::AssetClass::Index, Enums::AssetClass::Commodity,
                                                   Enums::AssetClass::Metal};

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile checked");
inline constexpr AnyCheck<VF> VirtFuturesChecks[] = {
    RefuseUnless<VF>("MinStep>0.0", "MinStep", &VF::MinStep, Relation::Above, 0.0,
                     Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    RefuseUnless<VF>("MinStepPrice>0.0", "MinStepPrice", &VF::MinStepPrice, Relation::Above, 0.0,
                     Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    RefuseUnless<VF>("LotCoeff>=1", "LotCoeff", &VF::LotCoeff, Relation::AtLeast, 1.0,
                     Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE),
    CorrectUnless<VF>("StrikeStep>=MinStep", "StrikeStep", &VF::StrikeStep, Relation::AtLeast, &VF::MinStep,
                      &VF::MinStep, Alert::StrikeStep),
    RefuseUnless<VF>("VolatilityRisk>=0.0", "VolatilityRisk", &VF::VolatilityRisk, Relation::AtLeast, 0.0,
                     Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_OUT_OF_RANGE),
    RefuseUnless<VF>("VolatilityRisk<5.0", "VolatilityRisk", &VF::VolatilityRisk, Relation::Below, 5.0,
                     Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_OUT_OF_RANGE),
    RefuseUnless<VF>("VolatilityRiskMismatch>=0.0", "VolatilityRiskMismatch", &VF::VolatilityRiskMismatch,
                     Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_MISMATCH_OUT_OF_RANGE),
    RefuseUnless<VF>("VolatilityRiskMismatch<5.0", "VolatilityRiskMismatch", &VF::VolatilityRiskMismatch,
                     Relation::Below, 5.0, Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_MISMATCH_OUT_OF_RANGE),
    RefuseUnless<VF>("A_Black>=0.0", "A_Black", &VF::A, Relation::AtLeast, 0.0,
                     Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    CorrectUnless<VF>("C_Black>=Constants::MinimalC", "C_Black", &VF::C, Relation::AtLeast, Constants::MinimalC,
                      Constants::MinimalC, Alert::C_Black),
    CorrectUnless<VF>("C_Bach>=Constants::MinimalC", "C_Bach", &VF::C_Bach, Relation::AtLeast, Constants::MinimalC,
                      Constants::MinimalC, Alert::C_Bach),
    CorrectUnless<VF>("E_Black>=Constants::MinimalE_Black", "E_Black", &VF::E, Relation::AtLeast,
                      Constants::MinimalE_Black, Constants::MinimalE_Black, Alert::E_Black),
    CorrectUnless<VF>("E_Black<=Constants::MaximumE_Black", "E_Black", &VF::E, Relation::AtMost,
                      Constants::MaximumE_Black, Constants::MaximumE_Black, Alert::E_Black),
    CorrectUnless<VF>("E_Bach>=Constants::MinimalE_Bach", "E_Bach", &VF::E_Bach, Relation::AtLeast,
                      Constants::MinimalE_Bach, Constants::MinimalE_Bach, Alert::E_Bach),
    CorrectUnless<VF>("M_Bach>0.0", "M_Bach", &VF::M_Bach, Relation::Above, 0.0, &VF::StrikeStep, Alert::M_Bach),
    RefuseUnlessIn<VF>(Enums::PossibleMarginStyleValues, "marginStyle", &VF::marginStyle,
                       Z9ERR_CALCGO_MARGIN_STYLE_OUT_OF_RANGE),
    RefuseUnlessIn<VF>(Enums::PossibleSettlementTypeValues, "settlementType", &VF::settlementType,
                       Z9ERR_CALCGO_SETTLEMENT_TYPE_OUT_OF_RANGE),
    RefuseUnlessIn<VF>(Enums::PossibleExerciseStyleValues, "exerciseStyle", &VF::exerciseStyle,
                       Z9ERR_CALCGO_EXERCISE_STYLE_OUT_OF_RANGE),
    RefuseUnless<VF>("InterestRateRiskUp>=0.0", "InterestRateRiskUp", &VF::InterestRateRiskUp, Relation::AtLeast, 0.0,
                     Z9ERR_CALCGO_INTEREST_RATE_RISK_UP_OUT_OF_RANGE),
    RefuseUnless<VF>("InterestRateRiskDown>=0.0", "InterestRateRiskDown", &VF::InterestRateRiskDown, Relation::AtLeast,
                     0.0, Z9ERR_CALCGO_INTEREST_RATE_RISK_DOWN_OUT_OF_RANGE),
    CorrectUnless<VF>("FixedSpotDiscount>=0.0", "FixedSpotDiscount", &VF::FixedSpotDiscount, Relation::AtLeast, 0.0,
                      0.0, Alert::UnspecifiedParam),
    CorrectUnless<VF>("ProjectedSpotDiscount>=0.0", "ProjectedSpotDiscount", &VF::ProjectedSpotDiscount,
                      Relation::AtLeast, 0.0, 0.0, Alert::UnspecifiedParam),
    RefuseUnless<VF>("InterestRate2RiskUp>=0.0", "InterestRate2RiskUp", &VF::InterestRate2RiskUp, Relation::AtLeast,
                     0.0, Z9ERR_CALCGO_INTEREST_RATE_2_RISK_UP_OUT_OF_RANGE),
    RefuseUnless<VF>("InterestRate2RiskDown>=0.0", "InterestRate2RiskDown", &VF::InterestRate2RiskDown,
                     Relation::AtLeast, 0.0, Z9ERR_CALCGO_INTEREST_RATE_2_RISK_DOWN_OUT_OF_RANGE),
    CorrectUnless<VF>("ExpClearingsSA>=0", "ExpClearingsSA", &VF::ExpClearingsSA, Relation::AtLeast, 0.0, 0.0,
                      Alert::ExpClearingsSA),
    CorrectUnless<VF>("ExpClearingsBF>=0", "ExpClearingsBF", &VF::ExpClearingsBF, Relation::AtLeast, 0.0, 0.0,
                      Alert::ExpClearingsBF),
    CorrectUnless<VF>("ExpClearingsCC>=0", "ExpClearingsCC", &VF::ExpClearingsCC, Relation::AtLeast, 0.0, 0.0,
                      Alert::ExpClearingsCC),
    CorrectUnless<VF>("TimeToExpiration>=Constants::MinimumTimeToExpirationForVF", "TimeToExpiration",
                      &VF::TimeToExpiration, Relation::AtLeast, Constants::MinimumTimeToExpirationForVF,
                      Constants::MinimumTimeToExpirationForVF, Alert::TimeToExpiration),
    CorrectUnlessIn<VF>(OnlyEquity, "marginStyle==Enums::MarginStyle::Equity", "marginStyle", &VF::marginStyle,
                        Enums::MarginStyle::Equity, Alert::UnspecifiedParam,
                        [](const VF& series) { return series.IsCollateral; }),
    // The series rewrites its parent here, on purpose: the contract is a stock from now on.
    CorrectUnlessIn<VF>(CollateralAssetClasses, nullptr, "assetClass", &VF::AssetClass, Enums::AssetClass::Stock,
                        Alert::UnspecifiedParam, [](const VF& series) { return series.IsCollateral; }),
};

/// Read after the step between sub-points has been computed from the values that the first table left.
inline constexpr Check<VF> VirtFuturesLateChecks[] = {
    CorrectUnless<VF>("adjustedSubRiskStep>=futures->MinStep", "adjustedSubRiskStep", &VF::AdjustedSubRiskStep,
                      Relation::AtLeast, &VF::FuturesMinStep, &VF::FuturesMinStep, Alert::AdjustedSubRiskStep),
};

inline constexpr Check<EdgeCoeffParameters> EdgeCoeffChecks[] = {
    CorrectUnless<EdgeCoeffParameters>("EdgeCoeff>=0.0", "EdgeCoeff", &EdgeCoeffParameters::EdgeCoeff,
                                       Relation::AtLeast, 0.0, Constants::DefaultEdgeCoeffValue, Alert::EdgeCoeffParam),
};

} // namespace kv7im
