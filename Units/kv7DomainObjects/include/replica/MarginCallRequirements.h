// Domain::MarginCallRequirements: the deficit of a settlement account since a margin call was fixed.
//
// Always true:  nothing is fixed while the moment is 0. A deficit is 0 or below: money that comes in shrinks it toward
//               zero, and never turns it into a surplus.
// Numbers:      t_bround, money with two decimals; moments in nanoseconds since 1970-01-01 00:00 UTC.
#pragma once

#include "z9bcd.h"
#include "z9time.h"

namespace Domain {

class MarginCallRequirements
{
public:
    /// Nothing is fixed.
    MarginCallRequirements() noexcept = default;
    /// A margin call as it was recorded.
    MarginCallRequirements(kv7base::UnixNanosecondsTime moment, const t_bround& fixed, const t_bround& current) noexcept
        : m_moment(moment), m_fixed(fixed), m_current(current)
    {}

    /// Fixes a deficit. Returns false and changes nothing for an amount of 0 or above.
    bool Fix(kv7base::UnixNanosecondsTime moment, const t_bround& amount) noexcept;
    /// Lets the current deficit shrink by the growth of money from b to a. Returns false and changes nothing while no
    /// call is fixed and when a is not above b. Throws CZ9Error, with nothing changed, for a result that does not fit.
    bool Update(const t_bround& a, const t_bround& b);
    /// Ends the call. Returns false when none is fixed.
    bool Reset() noexcept;

    /// The moment of the call; the null time while none is fixed.
    [[nodiscard]] kv7base::CZ9Time GetMoment() const;
    [[nodiscard]] const t_bround& GetFixed() const noexcept { return m_fixed; } ///< Deficit at the moment of the call.
    [[nodiscard]] const t_bround& GetCurrent() const noexcept { return m_current; } ///< What is left of the deficit.
    [[nodiscard]] bool HasBeenFixed() const noexcept { return m_moment != 0; }

private:
    kv7base::UnixNanosecondsTime m_moment = 0;
    t_bround m_fixed;
    t_bround m_current;
};

} // namespace Domain
