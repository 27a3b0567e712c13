// How much a margin may fall when a client trades one contract less: the bound that the search for the largest quantity
// lives by (Fit.h). It is taken from what one contract may lose or gain in the cells of the engine's grids, by the
// engine's own valuation, and from what the nodes above may make of a change of their cells.
#pragma once

#include <cstdint>
#include <string>

#include "FitBook.h"

namespace quindal {

/// A position that is held: contracts, below 0 when sold, and their average price.
struct Held
{
    std::int64_t quantity = 0;
    double price = 0.0;
};

/// Money by which the margin of the level may fall when the item is ordered once less. Infinite where the market gives
/// no bound. The client is registered.
[[nodiscard]] double FallOfOrder(const std::string& client, const FitItem& item, FitLevel level);
/// The same for an item that is held once less, beside what is held already.
[[nodiscard]] double FallOfPosition(const std::string& client, const FitItem& item, const Held& held, FitLevel level);

/// Money that is paid up front for the item, once: the price of options of premium style that are bought.
[[nodiscard]] double PremiumOf(const FitItem& item);

/// Whether a cancelled order in the instrument leaves something behind: in a collateral instrument the stress of rates
/// counts all orders that were placed since the book was made.
[[nodiscard]] bool RemembersOrders(const std::string& instrument);

} // namespace quindal
