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
    /// A call as it was recorded.
    MarginCallRequirements(kv7base::UnixNanosecondsTime moment, const t_bround& fixed, const t_bround& current) noexcept
        : m_moment(moment), m_fixed(fixed), m_current(current)
    {}

    /// Fixes a deficit. False, and no change, for an amount of 0 or above.
    bool Fix(kv7base::UnixNanosecondsTime moment, const t_bround& amount) noexcept;
    /// Money has grown from b to a: the current deficit shrinks by the difference. False, and no change, while nothing
    /// is fixed and when a is not above b. Throws CZ9Error for a result that does not fit; nothing has changed then.
    bool Update(const t_bround& a, const t_bround& b);
    /// Ends the call. False when nothing is fixed.
    bool Reset() noexcept;

    /// The moment of the call; the null time while nothing is fixed.
    [[nodiscard]] kv7base::CZ9Time GetMoment() const;
    [[nodiscard]] const t_bround& GetFixed() const noexcept { return m_fixed; }     ///< Deficit at that moment.
    [[nodiscard]] const t_bround& GetCurrent() const noexcept { return m_current; } ///< What is left of it.
    [[nodiscard]] bool HasBeenFixed() const noexcept { return m_moment != 0; }

private:
    kv7base::UnixNanosecondsTime m_moment = 0;
    t_bround m_fixed;
    t_bround m_current;
};

} // namespace Domain
