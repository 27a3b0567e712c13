// A book rebuilt under other parameters, together with what it was before.
#pragma once

#include "book/Portfolio.h"

namespace kv7im {

/// Rebuilds the book when it is made. Unless Keep is called, the book gets back what it held, with the entries that it
/// reports to the levels above by.
class Portfolio::Refreshed
{
public:
    /// When it throws, the book is as it was.
    explicit Refreshed(Portfolio& book);
    Refreshed(const Refreshed&) = delete;
    Refreshed& operator=(const Refreshed&) = delete;
    ~Refreshed();

    void Keep() noexcept { m_isKept = true; }

private:
    void GiveBack() noexcept;

    Portfolio& m_book;
    RisksMap<RiskNodeMCS> m_mcs;
    RisksMap<RiskNodeMMS> m_mms;
    MapCumulativeFuturesPosition m_positions; // go before the groups that they are members of
    MapRolledUpRiskNode m_rolledUp;
    double m_volatilityMargin;
    double m_deliveryMargin;
    bool m_isKept = false;
};

} // namespace kv7im
