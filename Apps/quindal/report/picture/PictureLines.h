// The lines of a panel: volatility scenarios, those that coincide as one, and deliveries.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "MarginExplanation.h"

namespace quindal::picture {

struct DrawnLine
{
    std::string name;
    std::vector<std::size_t> scenarios; // none for deliveries
    std::vector<double> money;          // one a price of the grid
};

/// The scenarios of a grid from the lowest volatility to the highest, each with those that coincide with it to the
/// cent, and the deliveries behind them where they are to be shown and the grid has any.
[[nodiscard]] std::vector<DrawnLine> LinesOf(const QuindalIM::ContractGrid& grid, bool withDeliveries);

} // namespace quindal::picture
