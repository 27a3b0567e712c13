// The kernels of a position change in an option: they go over the cells of a series once, a block of four columns at a
// time, and give the bits of the sequence of matrix operations that they stand for. The plain sequence stands in the
// tests.
//
// The cells come from the compact grid of the option; the two rate rows are unfolded on the way.
//
// View: what a series in spread gives to its futures. Only real price points, each block with its volatility rows, its
//       two rate rows and its two mismatch rows one behind the other; on the delivery side one row, since all scenarios
//       hold the same there. Lanes past the last real point are of no meaning.
#pragma once

#include <cstddef>

#include "Profile.h"
#include "RiskRow.h"
#include "SpecialRiskPoints.h"

namespace kv7im {

struct OptionTransform;

/// cell = (cell - risk(before)) + risk(after) over the volatility, rate and mismatch cells of a series. Both are states
/// of one option.
void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after) noexcept;

/// The same for a series without sub-points; row, of its width, receives the series collapsed.
void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after,
                          RiskRow& row) noexcept;

/// The same for a series with sub-points; row, of as many cells as the series has real points, receives it folded and
/// collapsed. scratch has LengthOfFoldScratch(series) cells.
void ReplaceOptionInCells(Profile& series, const OptionTransform& before, const OptionTransform& after,
                          RiskRow& scratch, RiskRow& row) noexcept;
[[nodiscard]] std::size_t LengthOfFoldScratch(const Profile& series) noexcept;

/// The same for a series without sub-points whose futures holds its cells as they are: the futures' cells become
/// (cell - series cell of before) + series cell of after. Both sides of the futures, or only the volatility side where
/// the delivery side holds something else (null). collateral: of the rate stress the futures takes the losses.
void ReplaceOptionInSpread(Profile& series, const OptionTransform& before, const OptionTransform& after,
                           Profile& volatility, Profile* expiration, bool collateral) noexcept;

/// The same over the delivery rows of a series. worst, as wide as the series, receives the worst outcome per column;
/// the largest finite double where no delivery reaches.
void ReplaceOptionInDeliveryRows(Profile& series, const OptionTransform& before, const OptionTransform& after,
                                 RiskRow& worst) noexcept;

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
