// WrappingArithmetic: 64-bit sums and products that wrap around, as the machine word does, where the language leaves a
// signed overflow undefined. Quantities and plain amounts are added up with them: a sum out of range is a wrong number
// and nothing worse.
#pragma once

#include <cstdint>

namespace kv7base {

/// a + b modulo 2^64, as two's complement.
[[nodiscard]] constexpr std::int64_t WrappingAdd(std::int64_t a, std::int64_t b) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

/// a - b modulo 2^64, as two's complement.
[[nodiscard]] constexpr std::int64_t WrappingSub(std::int64_t a, std::int64_t b) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

/// a times b modulo 2^64, as two's complement.
[[nodiscard]] constexpr std::int64_t WrappingMul(std::int64_t a, std::int64_t b) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

} // namespace kv7base
