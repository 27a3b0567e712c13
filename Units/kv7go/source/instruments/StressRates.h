// StressRates: the part of the stress points that all futures of a contract share.
//
// Numbers:   rates by risk level and stress point; each multiplies the spot of a futures.
#pragma once

#include "Enums.h"
#include "grids/RiskLevelIndexedArray.h"
#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecBaseContract.h"

namespace kv7im {

/// Share of the spot that is lost when the rate is taken three times, each time off what is left.
[[nodiscard]] inline double LossOfThreeSteps(double m) noexcept { return (3.0 - 3.0 * m + m * m) * m; }
/// Share of the spot that is gained when the rate is put on three times, each time on what has grown.
[[nodiscard]] inline double GainOfThreeSteps(double m) noexcept { return (3.0 + 3.0 * m + m * m) * m; }

struct StressRates
{
    explicit StressRates(const CSpecBaseContract& contract) noexcept
    {
        static_assert(stress::Points.size() == 8, "each stress point has its rate");
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
            SpecialRiskPoints& points = levels[level];
            points.SetDownRisk(contract.MarketRiskDown[level]);
            points.SetZL(LossOfThreeSteps(contract.MarketRiskDown[level]));
            points.SetPnL3D(contract.MarketRisk2Down[level]);
            points.SetPnL2D(contract.MarketRisk1Down[level]);
            points.SetPnL2U(contract.MarketRisk1Up[level]);
            points.SetPnL3U(contract.MarketRisk2Up[level]);
            points.SetZR(GainOfThreeSteps(contract.MarketRiskUp[level]));
            points.SetUpRisk(contract.MarketRiskUp[level]);
        }
    }

    RiskLevelIndexedArray<SpecialRiskPoints> levels;
};

} // namespace kv7im
