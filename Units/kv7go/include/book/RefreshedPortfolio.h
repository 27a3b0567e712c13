// A book rebuilt, under other parameters or because its cells were spoilt, together with what it was before.
#pragma once

#include "book/Portfolio.h"

namespace kv7im {

/// Rebuilds the book when it is made. Unless Keep is called, the book gets back what it held, with the entries that it
/// reports to the levels above by.
class Portfolio::Refreshed
{
public:
    enum class Because
    {
        ParametersHaveChanged,
        CellsAreSpoilt, // holdings and net option values are what they were
    };
    /// When it throws, the book is as it was.
    Refreshed(Portfolio& book, Because because);
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
    double m_largestMagnitude;
    bool m_isKept = false;
};

} // namespace kv7im
