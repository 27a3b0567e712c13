// ReliefTrial: a client's book in which trades are tried one after the other, and made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "MarginSession.h"
#include "PartOfBook.h"
#include "ReliefCandidates.h"

namespace quindal {

class ReliefTrial
{
public:
    /// Sets the part up in the session.
    ReliefTrial(MarginSession& session, const PartOfBook& part, const Rows<PositionRow>& positions);

    /// GO with so many of a trade, beside those that were made: in place, and by a book that is set up anew.
    [[nodiscard]] double Quick(const ReliefCandidate& trade, std::int64_t quantity);
    [[nodiscard]] double Exact(const ReliefCandidate& trade, std::int64_t quantity);
    /// GO with the trades that were made, by a book that is set up anew.
    [[nodiscard]] double Exact();
    /// The trade that was tried last is not made.
    void TakeBack(const ReliefCandidate& trade);

    /// Makes a trade.
    void Make(const ReliefCandidate& trade, std::int64_t quantity);
    /// The positions with the trades that were made, and back to some of before.
    [[nodiscard]] const Holdings& Held() const noexcept { return m_held; }
    void ReturnTo(const Holdings& held);

    /// The largest quantity of a trade with which the GO is within the limit, and the smallest; none where no quantity
    /// from 1 on is. Exact.
    [[nodiscard]] std::optional<std::int64_t> Largest(const ReliefCandidate& trade, double limit);
    [[nodiscard]] std::optional<std::int64_t> Smallest(const ReliefCandidate& trade, double limit);

    [[nodiscard]] std::size_t Evaluations() const noexcept { return m_evaluations; }

private:
    [[nodiscard]] PositionRow RowOf(const ReliefCandidate& trade, std::int64_t quantity) const;
    [[nodiscard]] double GO();
    void SetUp();
    [[nodiscard]] std::optional<std::int64_t> Search(const ReliefCandidate& trade, double limit, bool fromBelow);

    MarginSession& m_session;
    const PartOfBook& m_part;
    Holdings m_held;
    std::size_t m_evaluations = 0;
};

} // namespace quindal
