// What surrounds the kernels of a change in an option (OptionChangeKernels.h): the view that a series in spread
// contributes to its futures, and the special points of a position.
//
// View: what a series in spread contributes to its futures. It has real price points only; each block holds its
//       volatility rows, its two rate rows and its two mismatch rows one behind the other. The delivery side has one
//       row, since all scenarios hold equal values there. Lanes past the last real point have no meaning.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

struct OptionTransform;

/// Cells of scratch space for collapsing a series with sub-points.
[[nodiscard]] std::size_t LengthOfFoldScratch(const Profile& series) noexcept;

/// scratch holds the collapsed columns of the series, three RiskItems a block (SeriesTakers.h); row, with one cell a
/// real price point, receives them folded and added up.
void FoldCollapsedColumns(const Profile& series, RiskRow& scratch, RiskRow& row) noexcept;

/// Writes the worst outcome per column of the present delivery rows.
void WorstOfDeliveryRows(const Profile& series, RiskRow& worst) noexcept;

/// Cells of a view of this series, stored as a row.
[[nodiscard]] std::size_t LengthOfView(const Profile& series) noexcept;

/// Writes the view of the series: its cells with the sub-points folded onto real points and, with lossesOnly, the
/// losses with the stresses folded in.
void MakeView(const Profile& series, bool lossesOnly, RiskRow& view) noexcept;

/// Writes the delivery side of a view, one cell a real price point: the worst outcomes per column, folded onto real
/// points and, with lossesOnly, capped at 0.
void MakeDeliveryView(const Profile& series, const RiskRow& worst, bool lossesOnly, RiskRow& view) noexcept;

/// Collapses a view into row, which has one cell a real price point.
void CollapseView(const Profile& series, const RiskRow& view, RiskRow& row) noexcept;

/// futures cell = (cell - given) + now, given = now, over the volatility side of the futures and, unless `expiration`
/// is null, its delivery side. collateral: of the rate stress the futures takes the losses.
void ReplaceViewInFutures(RiskRow& given, const RiskRow& now, Profile& volatility, Profile* expiration,
                          bool collateral) noexcept;

/// futures cell = (cell - given) + now, given = now, over the delivery side of the futures: given and now are one row,
/// which goes into every volatility scenario.
void ReplaceDeliveryViewInFutures(RiskRow& given, const RiskRow& now, Profile& expiration) noexcept;

/// Stress points of a position, money; the two charges are multiplied by chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfPosition(const OptionTransform& transform, double chargeRatio) noexcept;

} // namespace kv7im
