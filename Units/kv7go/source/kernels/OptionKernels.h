// What surrounds the kernels of a change in an option (OptionChangeKernels.h): the view that a series in spread
// contributes to its futures, and the special points of a position.
//
// View: what a series in spread contributes to its futures. It has real price points only; each block holds its
//       volatility rows, its two rate rows and its two mismatch rows one behind the other. The delivery side has one
//       row, since all scenarios hold equal values there. Lanes past the last real point have no meaning.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>

#include "grids/Profile.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"
#include "kernels/CellArithmetic.h"

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

/// Writes the view of the series: its cells with the sub-points folded onto real points and, with a ceiling, only what
/// is below it, with the stresses folded in.
void MakeView(const Profile& series, std::optional<double> ceiling, RiskRow& view) noexcept;

/// Writes the delivery side of a view, one cell a real price point: the worst outcomes per column, folded onto real
/// points and, with a ceiling, nothing above it.
void MakeDeliveryView(const Profile& series, const RiskRow& worst, std::optional<double> ceiling,
                      RiskRow& view) noexcept;

/// Collapses a view into row, which has one cell a real price point.
void CollapseView(const Profile& series, const RiskRow& view, RiskRow& row) noexcept;

namespace kernels {

/// Rows of a view: the volatility scenarios, then the rate rows, then the mismatch rows.
[[nodiscard]] inline std::size_t RowsOfView(std::size_t scenarios) noexcept { return scenarios + 2 * StressRows; }

/// given = now; the taker gets the cells of both.
template <class Taker>
void ReplaceView(RiskRow& given, const RiskRow& now, std::size_t scenarios, std::size_t blocks, Taker taker) noexcept
{
    const std::size_t rows = RowsOfView(scenarios);
    for (std::size_t block = 0; block < std::min(blocks, now.GetRegisterCount() / rows); ++block) {
        RiskItem* const out = given.pData() + block * rows;
        const RiskItem* const in = now.pData() + block * rows;
        taker.Begin(block);
        for (std::size_t row = 0; row < StressRows; ++row) {
            taker.TakeRate(row, out[scenarios + row], in[scenarios + row]);
            taker.TakeMismatch(row, out[scenarios + StressRows + row], in[scenarios + StressRows + row]);
        }
        for (std::size_t i = 0; i < scenarios; ++i)
            taker.TakeValue(i, out[i], in[i]);
        std::copy_n(in, rows, out);
        taker.End(block);
    }
}

/// given = now, one row that stands for each scenario of the delivery side, which knows no stresses; the taker gets the
/// cells of both.
template <class Taker>
void ReplaceDeliveryView(RiskRow& given, const RiskRow& now, std::size_t scenarios, std::size_t blocks,
                         Taker taker) noexcept
{
    const RiskItem nothing(0.0);
    for (std::size_t block = 0; block < std::min(blocks, now.GetRegisterCount()); ++block) {
        taker.Begin(block);
        for (std::size_t row = 0; row < StressRows; ++row) {
            taker.TakeRate(row, nothing, nothing);
            taker.TakeMismatch(row, nothing, nothing);
        }
        for (std::size_t i = 0; i < scenarios; ++i)
            taker.TakeValue(i, given.pData()[block], now.pData()[block]);
        given.pData()[block] = now.pData()[block];
        taker.End(block);
    }
}

} // namespace kernels

} // namespace kv7im
