// Curvature: what a contract priced through a currency loses more, because its result is converted at a rate that moves
// with it.
#pragma once

#include <cstddef>

#include "RiskRow.h"
#include "RowCells.h"
#include "SpecialRiskPoints.h"

namespace kv7im {

/// Each price point v becomes v - |netOptionValue + v| * radius (Curved). Money in and out; radius is a share, 0 or
/// less leaves the row.
inline void ApplyCurvatureToRow(RiskRow& row, double netOptionValue, double radius)
{
    if (!(radius > 0.0)) return;
    double* const cells = CellsOf(row);
    for (std::size_t i = 0; i < row.size(); ++i)
        cells[i] = Curved(cells[i], netOptionValue, radius);
}

/// The smallest of the price points after that, for a radius above 0; the row stays. NaN is passed over.
[[nodiscard]] inline double WorstCurvedCell(const RiskRow& row, double netOptionValue, double radius) noexcept
{
    double worst = LargestFinite;
    for (std::size_t i = 0; i < row.size(); ++i)
        worst = Min(Curved(row[i], netOptionValue, radius), worst);
    return worst;
}

} // namespace kv7im
