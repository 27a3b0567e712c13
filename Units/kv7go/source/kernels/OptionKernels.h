// What stands around the kernels of a change in an option (OptionChangeKernels.h): the view that a series in spread
// gives to its futures, and the special points of a position.
//
// View: what a series in spread gives to its futures. Only real price points, each block with its volatility rows, its
//       two rate rows and its two mismatch rows one behind the other; on the delivery side one row, since all scenarios
//       hold the same there. Lanes past the last real point are of no meaning.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

struct OptionTransform;

/// Length of the scratch space that a series with sub-points is collapsed in.
[[nodiscard]] std::size_t LengthOfFoldScratch(const Profile& series) noexcept;

/// scratch holds the columns of the series collapsed, three RiskItems a block (SeriesTakers.h); row, of as many cells
/// as the series has real points, receives them folded and added up.
void FoldCollapsedColumns(const Profile& series, RiskRow& scratch, RiskRow& row) noexcept;

/// The worst outcomes of the delivery rows as they are.
void WorstOfDeliveryRows(const Profile& series, RiskRow& worst) noexcept;

/// Length of a view of this series as a row.
[[nodiscard]] std::size_t LengthOfView(const Profile& series) noexcept;

/// Writes the view of the series: its cells with the sub-points folded onto real points and, with lossesOnly, the
/// losses with the stresses folded in.
void MakeView(const Profile& series, bool lossesOnly, RiskRow& view) noexcept;

/// Writes the delivery side of a view, of as many cells as the series has real points: the worst outcomes per column,
/// folded onto real points and, with lossesOnly, capped at 0.
void MakeDeliveryView(const Profile& series, const RiskRow& worst, bool lossesOnly, RiskRow& view) noexcept;

/// row, of as many cells as the series has real points, receives a view collapsed.
void CollapseView(const Profile& series, const RiskRow& view, RiskRow& row) noexcept;

/// futures cell = (cell - given) + now, given = now, on both sides of the futures or on its volatility side only.
void ReplaceViewInFutures(RiskRow& given, const RiskRow& now, Profile& volatility, Profile* expiration,
                          bool collateral) noexcept;

/// The same for the delivery side: one row, which goes into every volatility scenario.
void ReplaceDeliveryViewInFutures(RiskRow& given, const RiskRow& now, Profile& expiration) noexcept;

/// Stress points of a position in money, the charges times chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfPosition(const OptionTransform& transform, double chargeRatio) noexcept;

} // namespace kv7im
