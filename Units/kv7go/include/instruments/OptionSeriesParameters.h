// OptionSeriesParameters: an option series as it is offered, before its checks.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"

namespace kv7im {

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile among the parameters of a series");
struct OptionSeriesParameters
{
    std::string Code;   // of the series
    std::string CodeRF; // of its futures
    // Smile of the Black-Scholes model: level, wing height, wing decay, skew height, skew steepness, shift.
    double A = 0.0;
    double B = 0.0;
    double C = 0.0;
    double D = 0.0;
    double E = 0.0;
    double S = 0.0;
    bool UseNullVolat = false;
    double StrikeStep = 0.0;
    std::int32_t ExpClearingsSA = 0; // clearings before expiry from which deliveries count, for settlement accounts
    std::int32_t ExpClearingsBF = 0; // for firms
    std::int32_t ExpClearingsCC = 0; // for clients
    double VolatilityRisk = 0.0;
    double VolatilityRiskMismatch = 0.0;
    double TimeToExpiration = 0.0; // years
    // Smile of the Bachelier model, and its scale of moneyness.
    double A_Bach = 0.0;
    double B_Bach = 0.0;
    double C_Bach = 0.0;
    double D_Bach = 0.0;
    double E_Bach = 0.0;
    double S_Bach = 0.0;
    double M_Bach = 0.0;
    Enums::MarginStyle marginStyle = Enums::MarginStyle::Futures;
    Enums::SettlementType settlementType = Enums::SettlementType::CashSettled;
    Enums::ExerciseStyle exerciseStyle = Enums::ExerciseStyle::American;
    bool SubRisk = false;
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::NotInSpread;
    bool EnforceHalfNetting = false;
    double MinStep = 0.0;
    double MinStepPrice = 0.0; // money of one step
    std::int32_t LotCoeff = 1; // units of the underlying per option
    double R = 0.0;            // interest rate
    double InterestRateRiskUp = 0.0;
    double InterestRateRiskDown = 0.0;
    double FixedSpotDiscount = 0.0;
    double ProjectedSpotDiscount = 0.0;
    double R2 = 0.0; // second interest rate
    double InterestRate2RiskUp = 0.0;
    double InterestRate2RiskDown = 0.0;
};

} // namespace kv7im
