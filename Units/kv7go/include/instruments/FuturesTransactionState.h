// FuturesTransactionState: how far an open transaction has come with one futures, its series and their options.
//
// The copies go one way: made, recomputation begun, recomputed; from each of these they may be dropped. A recomputation
// that runs out of memory stays begun until it is repeated.
#pragma once

#include <algorithm>
#include <cstdint>

#include "instruments/TransactionStatus.h"

namespace kv7im {

class FuturesTransactionState
{
public:
    // What is so.

    [[nodiscard]] Status GetStatus() const noexcept { return m_status; }
    /// Readers of the new objects get the copies; otherwise the current objects are the newest.
    [[nodiscard]] bool ShowsCopies() const noexcept
    {
        return m_status == Status::WasChanged && m_copies != Copies::None;
    }
    /// Some copied option may still read values through a current one.
    [[nodiscard]] bool BorrowsValues() const noexcept { return m_borrowsValues; }
    /// Some copied option may have been recomputed and not valued since.
    [[nodiscard]] bool AwaitsValues() const noexcept { return m_awaitsValues; }
    /// A copied series may stand on other columns than its original.
    [[nodiscard]] bool HasNewColumns() const noexcept { return m_copies >= Copies::BeingRecomputed; }
    /// The copies have been recomputed to the end, once at least.
    [[nodiscard]] bool IsRecomputed() const noexcept { return m_copies == Copies::Recomputed; }
    /// True for a futures that has entered an open family and was not counted in its shift and limits yet.
    [[nodiscard]] bool IsNewcomer() const noexcept { return m_isNewcomer; }

    // What happens.

    /// The copies open to readers with WasChanged, and close with any other status.
    void SetStatus(Status status) noexcept { m_status = status; }
    /// Futures, series and options have been copied; the options borrow their values.
    void CopiesAreMade() noexcept
    {
        m_copies = Copies::Made;
        m_borrowsValues = true;
        m_awaitsValues = false;
    }
    /// The copies are gone: taken back, or current from now on. The status stays, since it is an index key.
    void CopiesAreGone() noexcept
    {
        m_copies = Copies::None;
        m_borrowsValues = false;
        m_awaitsValues = false;
        m_isNewcomer = false;
    }
    /// The family was open when the futures came.
    void ComesToOpenFamily() noexcept { m_isNewcomer = true; }
    /// The futures has been asked for its shift.
    void IsSettledInFamily() noexcept { m_isNewcomer = false; }
    /// New options are being copied: they await values where there are new columns, otherwise they borrow.
    void OptionsAreAdopted() noexcept { (HasNewColumns() ? m_awaitsValues : m_borrowsValues) = true; }
    /// Said before the first option is recomputed: from there on some are, others are not yet.
    void RecomputationBegins() noexcept
    {
        m_copies = std::max(m_copies, Copies::BeingRecomputed);
        m_awaitsValues = true;
    }
    /// All are recomputed: none borrows any more.
    void RecomputationEnds() noexcept
    {
        m_copies = Copies::Recomputed;
        m_borrowsValues = false;
    }
    /// Every copied option has values of its own.
    void OptionsAreValued() noexcept
    {
        m_borrowsValues = false;
        m_awaitsValues = false;
    }

private:
    enum class Copies : std::uint8_t
    {
        None,
        Made,
        BeingRecomputed,
        Recomputed,
    };

    Status m_status = Status::NotChanged;
    Copies m_copies = Copies::None;
    bool m_borrowsValues = false;
    bool m_awaitsValues = false;
    bool m_isNewcomer = false;
};

} // namespace kv7im
