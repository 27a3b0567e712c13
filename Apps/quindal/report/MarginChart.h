// Drawing of the profit and loss of a book over the price grids of its base contracts.
#pragma once

#include <string>

#include "MarginExplanation.h"

namespace quindal {

/// A self-contained SVG document: a panel a base contract (or a futures or series standing alone) with a polyline a
/// volatility scenario, axes in prices and money, and a mark at the worst cell of each side that counts. A worst cell
/// beyond the grid is told in words. The description, which viewers show when they are asked, says what it was drawn
/// from.
[[nodiscard]] std::string DrawMargin(const std::string& client, const QuindalIM::MarginExplanation& explanation,
                                     const std::string& description);

} // namespace quindal
