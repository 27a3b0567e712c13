// FitBook: how many contracts of an instrument, or of a basket, a client may still trade before a margin reaches a
// limit.
//
// What is asked is answered with figures of a book that was set up anew, position by position, as a run of the margin
// command would set it up with the trade in it. In between the search changes the one book in place, which is quicker;
// where the two would disagree by their rounding, the fresh one rules (Fit.h has the search).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "PartOfBook.h"
#include "Rows.h"

namespace quindal {

/// What is traded once for each unit of the quantity that is asked for.
struct FitItem
{
    std::string instrument; // futures, option or, as an order, calendar spread
    bool isBuy = true;
    std::int64_t ratio = 1; // contracts, above 0
    double price = 0.0;     // 0: the calculated price of the instrument; a calendar spread has none
};

enum class FitAs
{
    Order,    // sent, and not filled: it counts with what it could lose
    Position, // filled at its price
};

/// Whose margin is to stay within the limit.
using FitLevel = MarginLevel;

struct FitQuestion
{
    std::string client;
    std::vector<FitItem> items; // one, or a basket
    FitAs as = FitAs::Order;
    FitLevel level = FitLevel::Client;
    double money = 0.0;
    bool isFree = false; // the money is for the GO that is added and the premium that is paid, not for the whole GO
    std::int64_t most = 1'000'000;
};

struct FitFigures
{
    std::int64_t quantity = 0;
    double GO = 0.0;      // of the level, money, in cents
    double premium = 0.0; // paid up front for options bought, money
    double used = 0.0;    // GO that is added, and the premium
};

struct FitAnswer
{
    FitFigures without;             // nothing traded
    std::optional<FitFigures> with; // the largest quantity that fits; none: no quantity does, 0 included
    std::optional<FitFigures> next; // one more; none where nothing fits, and where the most that was asked for does
    std::size_t evaluations = 0;    // how often a margin was computed
};

/// A book of positions in which such questions are answered, one after the other.
class FitBook
{
public:
    /// The session has its instruments loaded; everything else in it is replaced by the first question. Session and
    /// rows outlive the book.
    FitBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions);

    /// Answers a question about one of the clients. Leaves the session with the part of the book that the margin in
    /// question is made of, as it is without the trade, to the last bit. Throws InputError where nothing that the
    /// client trades moves the margin of the level, and for an instrument that cannot be traded this way; CallError.
    [[nodiscard]] FitAnswer Largest(const FitQuestion& question);

private:
    MarginSession& m_session;
    const Rows<AccountRow>& m_accounts;
    const Rows<PositionRow>& m_positions;
    MarketCodes m_codes;
};

} // namespace quindal
