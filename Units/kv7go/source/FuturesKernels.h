// The kernels of a position change in a futures: each goes once over the cells, a block of four price points at a time,
// and gives the bits of the sequence of matrix operations that it stands for. The plain sequence stands in the tests.
//
// Layout: within a block the rows of a matrix lie one behind the other. Padding lanes hold NaN and keep it.
#pragma once

#include "Profile.h"
#include "RiskRow.h"
#include "SpecialRiskPoints.h"

namespace kv7im {

struct PositionTransform;

/// cell = (cell - risk(before)) + risk(after) over the volatility and rate cells of both profiles of a futures node.
/// All volatility scenarios of a futures are alike, and its mismatch cells are 0, so one scenario is read and the
/// mismatch stays. collateral: of the rate stress only losses count.
void ReplacePositionInCells(Profile& volatility, Profile& expiration, const PositionTransform& before,
                            const PositionTransform& after, bool collateral) noexcept;

/// Stress points of a position in money, the charges times chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfPosition(const PositionTransform& transform, double chargeRatio) noexcept;

/// group = (group - given) + now, given = now, where now is the node's profile or, with lossesOnly, its losses with the
/// stresses folded in. row receives the group collapsed: worst volatility + worst rate + worst mismatch at each point.
void ReplaceContributionInCells(Profile& group, Profile& given, const Profile& node, bool lossesOnly,
                                RiskRow& row) noexcept;

/// second = min(first, second) at each point.
void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept;

} // namespace kv7im
