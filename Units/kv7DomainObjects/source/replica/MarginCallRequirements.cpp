#include "replica/MarginCallRequirements.h"

namespace Domain {

bool MarginCallRequirements::Fix(kv7base::UnixNanosecondsTime moment, const t_bround& amount) noexcept
{
    if (amount >= t_bround::Zero) return false;
    *this = MarginCallRequirements(moment, amount, amount);
    return true;
}

bool MarginCallRequirements::Update(const t_bround& a, const t_bround& b)
{
    if (!HasBeenFixed() || a <= b) return false;
    const t_bround left = m_current + a - b;
    m_current = left < t_bround::Zero ? left : t_bround::Zero;
    return true;
}

bool MarginCallRequirements::Reset() noexcept
{
    if (!HasBeenFixed()) return false;
    *this = MarginCallRequirements();
    return true;
}

kv7base::CZ9Time MarginCallRequirements::GetMoment() const
{
    return HasBeenFixed() ? kv7base::CZ9Time::FromUnixNanosecondsTime(m_moment) : kv7base::CZ9Time::defaultZ9Time;
}

} // namespace Domain
