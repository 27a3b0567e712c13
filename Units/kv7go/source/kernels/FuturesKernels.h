// The kernels of a position change in a futures: each goes once over the cells, a block of four price points at a time,
// and gives the bits of the sequence of matrix operations that it stands for. The plain sequence stands in the tests.
//
// Layout: within a block the rows of a matrix lie one behind the other. Padding lanes hold NaN and keep it.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

struct PositionTransform;

namespace kernels {

inline constexpr std::size_t StressRows = 2; // up and down, of rates and of mismatch

/// Losses only, a NaN counting as none: zero stands second.
[[nodiscard]] inline RiskItem Loss(RiskItem cell) noexcept { return Min(cell, RiskItem(0.0)); }

[[nodiscard]] inline RiskItem Replaced(RiskItem cell, RiskItem out, RiskItem in) noexcept
{
    return Add(Sub(cell, out), in);
}

/// Running worst of the rows of a block, NaN counting as 0.
struct Worst
{
    RiskItem value{LargestFinite};
    void Take(RiskItem cell) noexcept { value = Min(ZeroIfNaN(cell), value); }
};

/// A collapsed price point: worst value + worst rate stress + worst mismatch, each alone.
[[nodiscard]] inline RiskItem Collapsed(RiskItem value, RiskItem rate, RiskItem mismatch) noexcept
{
    return Min(Add(Add(value, rate), mismatch), RiskItem(LargestFinite));
}

} // namespace kernels

/// cell = (cell - risk(before)) + risk(after) over the volatility and rate cells of both profiles of a futures node,
/// which differ where a series with delivery rows is in the node. One scenario is read, since all volatility scenarios
/// of a futures are alike; the mismatch, which only series contribute to, stays, since that of a futures is 0. (A zero
/// of either sign changes no cell of a node: none of them is -0.0, since they began as +0.0.) collateral: of the rate
/// stress only losses count.
void ReplacePositionInCells(Profile& volatility, Profile& expiration, const PositionTransform& before,
                            const PositionTransform& after, bool collateral) noexcept;

/// Stress points of a position, money; the two charges are multiplied by chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfPosition(const PositionTransform& transform, double chargeRatio) noexcept;

/// group = (group - given) + now, given = now, where now is the node's profile or, with lossesOnly, its losses with the
/// stresses folded in. row receives the collapsed group: worst volatility + worst rate + worst mismatch at each point.
void ReplaceContributionInCells(Profile& group, Profile& given, const Profile& node, bool lossesOnly,
                                RiskRow& row) noexcept;

/// second = min(first, second) at each point.
void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept;

} // namespace kv7im
