// The trades that may free margin of a client.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "FitBook.h"
#include "MarketCodes.h"
#include "Rows.h"

namespace quindal {

struct ReliefCandidate
{
    FitItem item; // at the calculated price
    bool isClosing = false;
    std::int64_t most = 0; // contracts
    double turnover = 0.0; // of one contract, money
};

/// What is held of each instrument, by its code.
using Holdings = std::map<std::string, PositionRow, std::less<>>;

/// The closings of what is held, and the hedges with the instruments that net with it. A contract that trades at
/// settlement has no price of its own, so it is closed, but hedges nothing.
[[nodiscard]] std::vector<ReliefCandidate> CandidatesOf(const Holdings& held, const MarketCodes& codes,
                                                        std::int64_t mostHedged);

} // namespace quindal
