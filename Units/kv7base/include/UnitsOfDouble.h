// UnitsOfDouble: a double counted in small units, thousandths or millionths, without a rounding of its own. The product
// of two doubles would round once more, and a half would no longer be told from what is nearly one.
#pragma once

#include <bit>
#include <compare>
#include <cstdint>
#include <limits>

namespace kv7base {

/// The whole units of a number, and how what is left over compares with half a unit.
struct UnitsOfDouble
{
    std::uint64_t whole;
    std::strong_ordering restToHalf;
};

/// True for a number that CountUnits takes; false for NaN.
[[nodiscard]] constexpr bool HasCountableUnits(double magnitude) noexcept
{
    return magnitude >= 1e-8 && magnitude <= 1e10;
}

/// Counts the units of a number. unitsInOne: at most 1,000,000. The number is mantissa / 2^shift with 19 <= shift <=
/// 79, and its mantissa times unitsInOne has 73 bits at most.
[[nodiscard]] constexpr UnitsOfDouble CountUnits(double magnitude, std::uint32_t unitsInOne) noexcept
{
    constexpr int fractionBits = std::numeric_limits<double>::digits - 1;
    constexpr std::uint64_t hiddenBit = std::uint64_t{1} << fractionBits;
    constexpr int exponentBias = 1023;
    const auto bits = std::bit_cast<std::uint64_t>(magnitude);
    const int shift = fractionBits + exponentBias - static_cast<int>(bits >> fractionBits);

    __extension__ using Wide = unsigned __int128;
    const Wide scaled = static_cast<Wide>(bits % hiddenBit + hiddenBit) * unitsInOne;
    const auto whole = static_cast<std::uint64_t>(scaled >> shift);
    const Wide rest = scaled - (static_cast<Wide>(whole) << shift);
    const Wide half = static_cast<Wide>(1) << (shift - 1);
    return {whole, rest < half   ? std::strong_ordering::less
                   : rest > half ? std::strong_ordering::greater
                                 : std::strong_ordering::equal};
}

} // namespace kv7base
