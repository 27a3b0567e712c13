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

} // namespace kv7im
