// InstrumentChangeTables: what is asked of the new parameters of a base contract, a futures and an option series.
//
// Order:     top to bottom; the first refusal ends the reading.
// Numbers:   rates are shares of the spot, times are in years.
#pragma once

#include "Enums.h"
#include "grids/Constants.h"
#include "instruments/InstrumentChecks.h"
#include "instruments/MarketRiskRows.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"
#include "kv7errors.h"

namespace kv7im {

/// New parameters of a base contract, with the property of the contract that their checks need.
struct BaseContractChangesParameters : SBaseContractChanges
{
    bool IsPercentage; // of the contract as it stands
};

/// New parameters of a series, with the properties of the series that their checks need and that do not change.
struct VirtFuturesChangesParameters : SVirtFuturesChanges
{
    double StrikeStep;
    double FuturesMinStep;      // price step of its futures
    double AdjustedSubRiskStep; // made from the new strike step; the widening of an earlier one is forgotten
};

using BCC = BaseContractChangesParameters;
using FUTC = SFuturesChanges;
using VFC = VirtFuturesChangesParameters;

/// A rate of market risk has to be above zero; text and name are made of the field's and the level's.
#define KV7_MARKET_RISK(field, level, name, code)                                                                      \
    RefuseUnlessPositive<BCC>("localChanges." #field "[Enums::ClientRiskLevel::" #level "]>0.0",                       \
                              "localChanges." #field "[Enums::ClientRiskLevel::" #level "]", &BCC::field,              \
                              Enums::ClientRiskLevel::level, Z9ERR_CALCGO_API_ERROR_##code##_MUST_BE_POSITIVE)

static_assert(Enums::ClientRiskLevels.size() == 5, "each risk level has its checks");
inline constexpr AnyCheck<BCC> BaseContractChangesChecks[] = {
    KV7_MARKET_RISKS(KV7_MARKET_RISK),
    RefuseUnless<BCC>("localChanges.ConcentrationLimit1>=0.0", "localChanges.ConcentrationLimit1",
                      &BCC::ConcentrationLimit1, Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE),
    RefuseUnless<BCC>("localChanges.ConcentrationLimit2>=0.0", "localChanges.ConcentrationLimit2",
                      &BCC::ConcentrationLimit2, Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_CL2_CANNOT_BE_NEGATIVE),
    DropSignUnlessPositive<BCC>("localChanges.SpotPrice>0.0", "localChanges.SpotPrice", &BCC::SpotPrice,
                                Alert::SpotPrice, [](const BCC& changes) { return changes.IsPercentage; }),
    RefuseUnlessIn<BCC>(Enums::PossibleOptionModelValues, "localChanges.OptionModel", &BCC::OptionModel,
                        Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT),
    CorrectUnless<BCC>("localChanges.CFRisk>=0.0", "localChanges.CFRisk", &BCC::CFRisk, Relation::AtLeast, 0.0, 0.0,
                       Alert::UnspecifiedParam),
};
#undef KV7_MARKET_RISK

inline constexpr Check<FUTC> FuturesChangesChecks[] = {
    RefuseUnless<FUTC>("localChanges.InterestRateRiskUp>=0.0", "localChanges.InterestRateRiskUp",
                       &FUTC::InterestRateRiskUp, Relation::AtLeast, 0.0,
                       Z9ERR_CALCGO_API_ERROR_IR_UP_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUTC>("localChanges.InterestRateRiskDown>=0.0", "localChanges.InterestRateRiskDown",
                       &FUTC::InterestRateRiskDown, Relation::AtLeast, 0.0,
                       Z9ERR_CALCGO_API_ERROR_IR_DOWN_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUTC>("localChanges.TimeToExpiration>=0.0", "localChanges.TimeToExpiration", &FUTC::TimeToExpiration,
                       Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_TIME_TO_EXPIRATION_CANNOT_BE_NEGATIVE),
    RefuseUnless<FUTC>("localChanges.MinStepPrice>0.0", "localChanges.MinStepPrice", &FUTC::MinStepPrice,
                       Relation::Above, 0.0, Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    DropSignUnlessPositive<FUTC>("localChanges.NormalizedSpot>0.0", "localChanges.NormalizedSpot",
                                 &FUTC::NormalizedSpot, Alert::NormalizedSpot),
};

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile checked");
inline constexpr Check<VFC> VirtFuturesChangesChecks[] = {
    RefuseUnless<VFC>("localChanges.VolatilityRisk>=0.0", "localChanges.VolatilityRisk", &VFC::VolatilityRisk,
                      Relation::AtLeast, 0.0, Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.VolatilityRisk<5.0", "localChanges.VolatilityRisk", &VFC::VolatilityRisk,
                      Relation::Below, 5.0, Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.VolatilityRiskMismatch>=0.0", "localChanges.VolatilityRiskMismatch",
                      &VFC::VolatilityRiskMismatch, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_MISMATCH_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.VolatilityRiskMismatch<5.0", "localChanges.VolatilityRiskMismatch",
                      &VFC::VolatilityRiskMismatch, Relation::Below, 5.0,
                      Z9ERR_CALCGO_API_ERROR_VOLATILITY_RISK_MISMATCH_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.A>=0.0", "localChanges.A", &VFC::A, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    CorrectUnless<VFC>("localChanges.C>=Constants::MinimalC", "localChanges.C", &VFC::C, Relation::AtLeast,
                       Constants::MinimalC, Constants::MinimalC, Alert::C_Black),
    CorrectUnless<VFC>("localChanges.C_Bach>=Constants::MinimalC", "localChanges.C_Bach", &VFC::C_Bach,
                       Relation::AtLeast, Constants::MinimalC, Constants::MinimalC, Alert::C_Bach),
    CorrectUnless<VFC>("localChanges.E>=Constants::MinimalE_Black", "localChanges.E", &VFC::E, Relation::AtLeast,
                       Constants::MinimalE_Black, Constants::MinimalE_Black, Alert::E_Black),
    CorrectUnless<VFC>("localChanges.E<=Constants::MaximumE_Black", "localChanges.E", &VFC::E, Relation::AtMost,
                       Constants::MaximumE_Black, Constants::MaximumE_Black, Alert::E_Black),
    CorrectUnless<VFC>("localChanges.E_Bach>=Constants::MinimalE_Bach", "localChanges.E_Bach", &VFC::E_Bach,
                       Relation::AtLeast, Constants::MinimalE_Bach, Constants::MinimalE_Bach, Alert::E_Bach),
    CorrectUnless<VFC>("localChanges.M_Bach>0.0", "localChanges.M_Bach", &VFC::M_Bach, Relation::Above, 0.0,
                       &VFC::StrikeStep, Alert::M_Bach),
    RefuseUnless<VFC>("localChanges.MinStepPrice>0.0", "localChanges.MinStepPrice", &VFC::MinStepPrice, Relation::Above,
                      0.0, Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS),
    RefuseUnless<VFC>("localChanges.InterestRateRiskUp>=0.0", "localChanges.InterestRateRiskUp",
                      &VFC::InterestRateRiskUp, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_INTEREST_RATE_RISK_UP_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.InterestRateRiskDown>=0.0", "localChanges.InterestRateRiskDown",
                      &VFC::InterestRateRiskDown, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_INTEREST_RATE_RISK_DOWN_OUT_OF_RANGE),
    CorrectUnless<VFC>("localChanges.ProjectedSpotDiscount>=0.0", "localChanges.ProjectedSpotDiscount",
                       &VFC::ProjectedSpotDiscount, Relation::AtLeast, 0.0, 0.0, Alert::UnspecifiedParam),
    RefuseUnless<VFC>("localChanges.InterestRate2RiskUp>=0.0", "localChanges.InterestRate2RiskUp",
                      &VFC::InterestRate2RiskUp, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_INTEREST_RATE_2_RISK_UP_OUT_OF_RANGE),
    RefuseUnless<VFC>("localChanges.InterestRate2RiskDown>=0.0", "localChanges.InterestRate2RiskDown",
                      &VFC::InterestRate2RiskDown, Relation::AtLeast, 0.0,
                      Z9ERR_CALCGO_INTEREST_RATE_2_RISK_DOWN_OUT_OF_RANGE),
    CorrectUnless<VFC>("localChanges.ExpClearingsSA>=0", "localChanges.ExpClearingsSA", &VFC::ExpClearingsSA,
                       Relation::AtLeast, 0.0, 0.0, Alert::ExpClearingsSA),
    CorrectUnless<VFC>("localChanges.ExpClearingsBF>=0", "localChanges.ExpClearingsBF", &VFC::ExpClearingsBF,
                       Relation::AtLeast, 0.0, 0.0, Alert::ExpClearingsBF),
    CorrectUnless<VFC>("localChanges.ExpClearingsCC>=0", "localChanges.ExpClearingsCC", &VFC::ExpClearingsCC,
                       Relation::AtLeast, 0.0, 0.0, Alert::ExpClearingsCC),
    CorrectUnless<VFC>("localChanges.TimeToExpiration>=Constants::MinimumTimeToExpirationForVF",
                       "localChanges.TimeToExpiration", &VFC::TimeToExpiration, Relation::AtLeast,
                       Constants::MinimumTimeToExpirationForVF, Constants::MinimumTimeToExpirationForVF,
                       Alert::TimeToExpiration),
    CorrectUnless<VFC>("adjustedSubRiskStep>=specFutures->MinStep", "adjustedSubRiskStep", &VFC::AdjustedSubRiskStep,
                       Relation::AtLeast, &VFC::FuturesMinStep, &VFC::FuturesMinStep, Alert::AdjustedSubRiskStep),
};

} // namespace kv7im
