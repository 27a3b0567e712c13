// The cells of a row as one run of doubles: the vectors of a row lie one behind the other.
#pragma once

#include "grids/RiskRow.h"

namespace kv7im {

[[nodiscard]] inline double* CellsOf(RiskRow& row) noexcept { return reinterpret_cast<double*>(row.pData()); }

} // namespace kv7im
