// ConcentrationFloors: limits that the stress points of a large position are never better than.
//
// The deeper a position reaches past the concentration limits of its base contract, the higher the market-risk rate
// that the part beyond them is charged at.
#include <cmath>

#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecBaseContract.h"

namespace kv7im {

namespace {

/// Market-risk rates of one side: below the first concentration limit, between the two, above the second.
struct Tiers
{
    double rate;
    double rate1;
    double rate2;
};

/// Losses that the stress points of one side are never worse than.
struct Floors
{
    double step2 = 0.0; // for PnL2D or PnL2U
    double step3 = 0.0; // for PnL3D or PnL3U
};

/// How much of the position falls into each tier follows from the result at the edge of the grid: at the rate of the
/// first tier it took `edge / rate` of value. That amount is worn down tier by tier, limits in units of money at spot.
Floors ConcentrationFloors(double edge, double limit1, double limit2, const Tiers& tiers) noexcept
{
    if (edge == 0.0) return {};
    const double amount = std::fabs(edge / tiers.rate);
    const double first = -Min(amount, limit1);
    const double second = Max(Min(amount, limit2) - limit1, 0.0);
    const double third = Max(amount - limit2, 0.0);
    Floors floors;
    floors.step2 = first * tiers.rate - (second + third) * tiers.rate1;
    floors.step3 = first * tiers.rate - tiers.rate1 * second - third * tiers.rate2;
    return floors;
}

/// max(floor, point), by way of a ratio: the rounding of the division and of the product is part of the figure. A NaN
/// point stays NaN.
double NotWorseThan(double floor, double point) noexcept
{
    const double ratio = point == 0.0 ? 0.0 : Max(floor, point) / point;
    return ratio * point;
}

} // namespace

SpecialRiskPoints SpecialRiskPoints::GetCorrectedSpecialRiskPoints(const RiskRow& row,
                                                                   const CSpecBaseContract& baseContract,
                                                                   Enums::ClientRiskLevel level) const
{
    const bool hasGrid = row.size() != 0;
    const double lowestEdge = hasGrid ? row[0] : 0.0;
    const double highestEdge = hasGrid ? row[row.size() - 1] : 0.0;
    const double limit1 = baseContract.ConcentrationLimit1Spot;
    const double limit2 = baseContract.ConcentrationLimit2Spot;

    const Floors down =
        ConcentrationFloors(lowestEdge, limit1, limit2,
                            Tiers{baseContract.MarketRiskDown[level], baseContract.MarketRisk1Down[level],
                                  baseContract.MarketRisk2Down[level]});
    const Floors up = ConcentrationFloors(
        highestEdge, limit1, limit2,
        Tiers{baseContract.MarketRiskUp[level], baseContract.MarketRisk1Up[level], baseContract.MarketRisk2Up[level]});

    static_assert(stress::CountOf(stress::Kind::Step) == 4, "each stress step has its floor");
    SpecialRiskPoints corrected(*this);
    corrected.SetPnL3D(NotWorseThan(down.step3, GetPnL3D()));
    corrected.SetPnL2D(NotWorseThan(down.step2, GetPnL2D()));
    corrected.SetPnL2U(NotWorseThan(up.step2, GetPnL2U()));
    corrected.SetPnL3U(NotWorseThan(up.step3, GetPnL3U()));
    return corrected;
}

} // namespace kv7im
