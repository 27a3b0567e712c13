// FitTrade: a basket in a client's book, so many times: as orders, or as the positions that it would leave.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FitBook.h"
#include "PartOfBook.h"

namespace quindal {

/// The position that a trade leaves of one that is held: price and quantity as deals leave them. What is added on the
/// side that is held goes into the average price; what is taken away leaves it; what goes beyond is held at the price
/// of the trade. What the last clearing left stays what it was. `quantity` is below 0 for a sale; both prices are
/// given.
[[nodiscard]] PositionRow Traded(const PositionRow& held, std::int64_t quantity, double price);

class FitTrade
{
public:
    /// Of nothing at first, in a session that has the part set up.
    FitTrade(MarginSession& session, const PartOfBook& part, const FitQuestion& question);

    /// Sets the part up anew, and then the trade in it.
    void SetUp(std::int64_t quantity);
    /// Changes what stands to this quantity: quickly, where that leaves no trace of what stood before.
    void ChangeTo(std::int64_t quantity);

    /// Money by which the margin may fall for one unit of the basket less.
    [[nodiscard]] double Fall() const;
    /// Quantities that leave nothing of a position: the value of an option that the last clearing left goes with it.
    [[nodiscard]] std::vector<std::int64_t> Jumps() const;

private:
    struct Item
    {
        FitItem traded;
        PositionRow held; // of nothing where nothing is held
    };
    [[nodiscard]] std::vector<PositionRow> Positions(std::int64_t quantity) const;
    void Order(std::int64_t quantity);

    MarginSession& m_session;
    const PartOfBook& m_part;
    FitAs m_as;
    FitLevel m_level;
    std::vector<Item> m_items;
    bool m_leavesTraces = false;
    std::int64_t m_quantity = 0; // that stands
};

} // namespace quindal
