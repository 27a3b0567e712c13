// An axis of a picture: a range of values on a range of pixels, with ticks at round numbers.
#pragma once

#include <string>
#include <vector>

namespace quindal::picture {

class Axis
{
public:
    /// An empty range is widened, so that a flat line stands in the middle. The values are finite.
    Axis(double lowest, double highest, double atLowest, double atHighest);

    [[nodiscard]] double At(double value) const noexcept
    {
        return m_atLowest + (value - m_lowest) / (m_highest - m_lowest) * (m_atHighest - m_atLowest);
    }
    /// Multiples of 1, 2 or 5 times a power of ten within the range, about as many as wanted.
    [[nodiscard]] std::vector<double> Ticks(int wanted) const;

private:
    double m_lowest;
    double m_highest;
    double m_atLowest;
    double m_atHighest;
};

/// Text of a tick of money: without cents where all ticks are whole; by its power of ten where it would be too long.
[[nodiscard]] std::string MoneyTick(double value, bool isWhole);

} // namespace quindal::picture
