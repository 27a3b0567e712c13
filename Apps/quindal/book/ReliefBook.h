// ReliefBook: what a client may close or hedge to free margin, and for how little turnover.
//
// A trade is the closing of what is held, in whole or in part, or a hedge: a futures or an option of a base contract,
// or of a group of base contracts that net, in which something is held. Trades are made at calculated prices. Turnover
// is contracts times price times the money of a price unit.
//
// To a target the shortest list is looked for: one trade, by an exact search over its quantities; then two, the first
// of them a closing in whole or what frees most for its turnover; then as many as it takes, each the one that frees
// most for its turnover, without those that turn out not to be needed. No step raises the margin unless that is
// allowed. The figures are those of books that are set up anew with the positions that the steps leave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

struct ReliefQuestion
{
    std::string client;
    std::optional<double> target;     // money that the GO is to come to; none: as little as can be
    std::int64_t mostHedged = 10'000; // contracts of one hedge
    std::size_t mostSteps = 10;
    bool allowsDetour = false; // a step may raise the margin, if a later one frees more
};

struct ReliefStep
{
    std::string instrument;
    bool isBuy = true;
    bool isClosing = true; // otherwise a hedge
    std::int64_t quantity = 0;
    double before = 0.0;   // GO, money, in cents
    double after = 0.0;    // GO, money, in cents
    double turnover = 0.0; // money
};

struct ReliefAnswer
{
    double before = 0.0; // GO, money, in cents
    double after = 0.0;
    std::vector<ReliefStep> steps;
    bool isReached = false;      // the target; true without one
    std::size_t evaluations = 0; // how often a margin was computed
};

/// A book of positions in which such questions are answered, one after the other.
class ReliefBook
{
public:
    /// The session has its instruments loaded; everything else in it is replaced by the first question. Session and
    /// rows outlive the book.
    ReliefBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions);

    /// Answers a question about one of the clients. Leaves the session with the part of the book that the client's
    /// margin is made of, as it is, to the last bit. Throws CallError.
    [[nodiscard]] ReliefAnswer Find(const ReliefQuestion& question);

private:
    MarginSession& m_session;
    const Rows<AccountRow>& m_accounts;
    const Rows<PositionRow>& m_positions;
    MarketCodes m_codes;
};

} // namespace quindal
