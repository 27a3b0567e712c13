// Currency<N>: an amount or a price as a signed 64-bit count of units of 10^-N. One word, passed by value.
//
// Always true:  a double becomes an amount by adding half a unit away from zero and cutting off, without a range check.
//               Sums, differences and products that leave 64 bits wrap as the machine word does; that is defined here.
// Numbers:      value_ is the plain count: 12.34 in Currency<2> is 1234.
//               The smallest 64-bit number stands for "no amount" (IsNAN), also for a double that does not fit.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "WrappingArithmetic.h"
#include "Z9BCDII.h"
#include "kv7errors.h"

/// How the remaining digits are rounded when digits are dropped.
enum roundstyle : int
{
    ROUND_NEAREST = 0,  // to the nearest, halves away from zero
    ROUND_UP = 1,       // toward plus infinity
    ROUND_DOWN = 2,     // toward minus infinity
    ROUND_FROMZERO = 3, // away from zero
    ROUND_TRUNC = 4,    // toward zero
};

namespace kv7base {

template <int N>
struct exp10_helper
{
    static constexpr std::int64_t value = 10 * exp10_helper<N - 1>::value;
};
template <>
struct exp10_helper<0>
{
    static constexpr std::int64_t value = 1;
};
/// 10^N at compile time, N from 0 to 18.
template <int N>
inline constexpr std::int64_t exp10s = exp10_helper<N>::value;

/// 10^n for n from 1 to 19. Index 0 holds 0 and not 1: those who scale by a count of missing digits never ask for it.
[[nodiscard]] std::uint64_t power_of_10(std::size_t n) noexcept;

/// The number cut off toward zero. A number that does not fit 64 bits, NaN included, gives the smallest 64-bit number,
/// which the processor's own conversion gives too.
[[nodiscard]] constexpr std::int64_t TruncateToInt64(double value) noexcept
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    return value >= -limit && value < limit ? static_cast<std::int64_t>(value)
                                            : std::numeric_limits<std::int64_t>::min();
}

/// Integer quotient rounded to nearest, halves away from zero. The divisor is not 0.
[[nodiscard]] constexpr std::int64_t DivideHalfAwayFromZero(std::int64_t dividend, std::int64_t divisor) noexcept
{
    __extension__ using Wide = __int128;
    const Wide n = dividend;
    const Wide d = divisor;
    const Wide quotient = n / d;
    const Wide remainder = n % d;
    const Wide twice = 2 * (remainder < 0 ? -remainder : remainder);
    const Wide away = (n < 0) == (d < 0) ? 1 : -1;
    return static_cast<std::int64_t>(twice >= (d < 0 ? -d : d) ? quotient + away : quotient);
}

namespace detail {

/// a times b over scale, rounded so that q moves one away from zero when twice |r| exceeds scale - 1; the result is cut
/// to 64 bits without further check.
[[nodiscard]] constexpr std::int64_t MultiplyScaled(std::int64_t a, std::int64_t b, std::int64_t scale) noexcept
{
    if (a == 0 || b == 0) return 0;
    const std::int64_t away = (a < 0) == (b < 0) ? 1 : -1;
    // The short road is the usual one: a product that fits 64 bits divides several times faster.
    if (std::int64_t product = 0; !__builtin_mul_overflow(a, b, &product)) {
        const std::int64_t quotient = product / scale;
        const std::int64_t remainder = product % scale;
        return 2 * (remainder < 0 ? -remainder : remainder) > scale - 1 ? quotient + away : quotient;
    }
    __extension__ using Wide = __int128;
    const Wide product = static_cast<Wide>(a) * b;
    const Wide quotient = product / scale;
    const Wide remainder = product % scale;
    return static_cast<std::int64_t>(2 * (remainder < 0 ? -remainder : remainder) > scale - 1 ? quotient + away
                                                                                              : quotient);
}

/// The multiple of `unit` (above 0) that the style chooses for value; wraps when the multiple leaves 64 bits.
[[nodiscard]] std::int64_t RoundToMultiple(std::int64_t value, std::int64_t unit, roundstyle style) noexcept;

/// Reads a plain decimal ("-12.5", ".5", "1.") into units of 10^-fractionDigits. Returns Z9ERR_OK,
/// Z9ERR_COMMON_OVERFLOW (too large, or digits other than 0 beyond fractionDigits) or Z9ERR_COMMON_WRONG_ARGUMENTS;
/// *value is written on success only. *end, when asked for, is the first character that was not taken.
[[nodiscard]] Z9ERR ParseDecimal(const char* text, int fractionDigits, std::int64_t* value, const char** end) noexcept;
/// ParseDecimal that returns the count and throws CZ9Error, "Cannot convert string '%s' to Currency".
[[nodiscard]] std::int64_t ParseDecimalOrThrow(const char* text, int fractionDigits);

/// Plain decimal text of a count of 10^-fractionDigits with `digits` digits after the point.
[[nodiscard]] std::string DecimalToString(std::int64_t value, int fractionDigits, int digits);

} // namespace detail
} // namespace kv7base

/// Fixed-point amount with N fractional digits; 2 and 5 are in use.
template <int N>
class Currency
{
    static_assert(N >= 1 && N <= 18, "10^N must fit 64 bits");

public:
    enum ConstructionMode
    {
        ConstructFromPlain = 0, // the number is the count of units, not of wholes
    };

    /// Type word of the packed decimal that holds every value: 19 digits, N of them fractional.
    static constexpr int m_type = Z9BCDIIMAKETYPE(19, N);

    constexpr Currency() noexcept = default;
    constexpr explicit Currency(int wholes) noexcept : Currency(static_cast<std::int64_t>(wholes)) {}
    constexpr explicit Currency(std::int64_t wholes) noexcept : value_(kv7base::WrappingMul(wholes, kv7base::exp10s<N>))
    {}
    constexpr Currency(std::int64_t plain, ConstructionMode) noexcept : value_(plain) {}
    /// Converts a number, halves away from zero. The product is taken in double precision; no range check
    /// (TruncateToInt64).
    constexpr explicit Currency(double amount) noexcept : value_(FromDouble(amount)) {}
    /// Reads plain decimal text. Throws CZ9Error with Z9ERR_COMMON_OVERFLOW or Z9ERR_COMMON_WRONG_ARGUMENTS.
    explicit Currency(const char* text) : value_(kv7base::detail::ParseDecimalOrThrow(text, N)) {}
    explicit Currency(const std::string& text) : Currency(text.c_str()) {}

    [[nodiscard]] static constexpr Currency FromPlain(std::int64_t plain) noexcept
    {
        return Currency(plain, ConstructFromPlain);
    }
    /// The largest amount.
    [[nodiscard]] static constexpr Currency Max() noexcept
    {
        return FromPlain(std::numeric_limits<std::int64_t>::max());
    }

    constexpr void SetMin() noexcept { value_ = std::numeric_limits<std::int64_t>::min() + 1; }
    constexpr void SetMax() noexcept { value_ = std::numeric_limits<std::int64_t>::max(); }
    constexpr void SetNAN() noexcept { value_ = std::numeric_limits<std::int64_t>::min(); }
    constexpr void SetZero() noexcept { value_ = 0; }
    [[nodiscard]] constexpr bool IsNAN() const noexcept { return value_ == std::numeric_limits<std::int64_t>::min(); }
    [[nodiscard]] constexpr bool IsZero() const noexcept { return value_ == 0; }
    [[nodiscard]] constexpr bool IsNeg() const noexcept { return value_ < 0; }
    [[nodiscard]] constexpr bool IsPositive() const noexcept { return value_ > 0; }
    /// True when a whole number of steps makes this amount; never for a step of 0.
    [[nodiscard]] constexpr bool IsMultipleOf(Currency step) const noexcept
    {
        if (step.value_ == -1) return true; // the remainder of the smallest number by -1 overflows
        return step.value_ != 0 && value_ % step.value_ == 0;
    }

    /// The amount rounded to `digits` fractional digits; N and more change nothing, a negative count rounds wholes.
    /// Dropping more than 18 digits leaves 0.
    [[nodiscard]] Currency Round(int digits, roundstyle style = ROUND_NEAREST) const noexcept
    {
        if (digits >= N) return *this;
        if (digits < N - 18) return Currency();
        const auto unit = static_cast<std::int64_t>(kv7base::power_of_10(static_cast<std::size_t>(N - digits)));
        return FromPlain(kv7base::detail::RoundToMultiple(value_, unit, style));
    }
    /// The nearest multiple of the step, halves away from zero; a step at or below 0 changes nothing.
    [[nodiscard]] Currency Round(Currency step) const noexcept
    {
        return step.IsPositive() ? FromPlain(kv7base::detail::RoundToMultiple(value_, step.value_, ROUND_NEAREST))
                                 : *this;
    }
    [[nodiscard]] Currency Round(double step) const noexcept { return Round(Currency(step)); }

    /// Reads a plain decimal. Returns Z9ERR_OK, Z9ERR_COMMON_OVERFLOW or Z9ERR_COMMON_WRONG_ARGUMENTS; the amount
    /// changes on success only. *end, when asked for, is the first character that was not taken.
    [[nodiscard]] Z9ERR StrictSet(const char* text, const char** end = nullptr) noexcept
    {
        return kv7base::detail::ParseDecimal(text, N, &value_, end);
    }

    /// Plain decimal text with N digits after the point.
    [[nodiscard]] std::string AsString() const { return kv7base::detail::DecimalToString(value_, N, N); }
    /// Plain decimal text with `digits` digits after the point, rounded to nearest.
    [[nodiscard]] std::string AsString(int digits) const { return kv7base::detail::DecimalToString(value_, N, digits); }
    /// The amount as a double. A division, not a product with the inverse: the last bit of the result depends on it.
    [[nodiscard]] constexpr double AsDouble() const noexcept
    {
        return static_cast<double>(value_) / static_cast<double>(kv7base::exp10s<N>);
    }
    /// Wholes, cut off toward zero.
    [[nodiscard]] constexpr int AsInteger() const noexcept { return static_cast<int>(AsInt64()); }
    [[nodiscard]] constexpr std::int64_t AsInt64() const noexcept { return value_ / kv7base::exp10s<N>; }
    /// The count of units of 10^-N.
    [[nodiscard]] constexpr std::int64_t AsPlain() const noexcept { return value_; }

    /// Changes the sign in place.
    constexpr void Neg() noexcept { value_ = kv7base::WrappingSub(0, value_); }

    constexpr Currency& operator+=(Currency other) noexcept
    {
        value_ = kv7base::WrappingAdd(value_, other.value_);
        return *this;
    }
    constexpr Currency& operator-=(Currency other) noexcept
    {
        value_ = kv7base::WrappingSub(value_, other.value_);
        return *this;
    }
    constexpr Currency& operator*=(Currency other) noexcept { return *this = *this * other; }

    [[nodiscard]] friend constexpr Currency operator+(Currency a, Currency b) noexcept { return a += b; }
    [[nodiscard]] friend constexpr Currency operator-(Currency a, Currency b) noexcept { return a -= b; }
    [[nodiscard]] friend constexpr Currency operator-(Currency a) noexcept
    {
        a.Neg();
        return a;
    }
    /// Product of two amounts, formed in 128 bits, divided by 10^N, halves away from zero, cut to 64 bits without
    /// further check.
    [[nodiscard]] friend constexpr Currency operator*(Currency a, Currency b) noexcept
    {
        return FromPlain(kv7base::detail::MultiplyScaled(a.value_, b.value_, kv7base::exp10s<N>));
    }
    [[nodiscard]] friend constexpr auto operator<=>(Currency a, Currency b) noexcept = default;
    [[nodiscard]] friend constexpr bool operator==(Currency a, Currency b) noexcept = default;

private:
    static constexpr std::int64_t FromDouble(double amount) noexcept
    {
        constexpr auto scale = static_cast<double>(kv7base::exp10s<N>);
        return amount > 0 ? kv7base::TruncateToInt64(amount * scale + 0.5)
                          : kv7base::TruncateToInt64(amount * scale - 0.5);
    }

    std::int64_t value_ = 0; // units of 10^-N
};

using t_bprice_int = Currency<5>; // price
using t_bsum_int = Currency<5>;   // sum of money before rounding
using t_bround_int = Currency<2>; // sum of money rounded to cents
using t_weight_int = Currency<2>; // ratio or weight, 1.00 is stored as 100

static_assert(sizeof(Currency<5>) == 8);

/// A sum of two decimals as one of five, exact.
[[nodiscard]] constexpr t_bsum_int Widened(t_bround_int sum) noexcept
{
    return t_bsum_int::FromPlain(kv7base::WrappingMul(sum.AsPlain(), 1000));
}

/// A sum rounded to cents, halves away from zero.
[[nodiscard]] constexpr t_bround_int Rounded(t_bsum_int sum) noexcept
{
    const std::int64_t quotient = sum.AsPlain() / 1000;
    const std::int64_t remainder = sum.AsPlain() % 1000;
    const std::int64_t away = remainder < 0 ? -1 : 1;
    return t_bround_int::FromPlain(2 * (remainder < 0 ? -remainder : remainder) > 999 ? quotient + away : quotient);
}

/// A sum rounded down to cents (toward minus infinity), as premium reserves are.
[[nodiscard]] constexpr t_bround_int Floored(t_bsum_int sum) noexcept
{
    const std::int64_t quotient = sum.AsPlain() / 1000;
    return t_bround_int::FromPlain(sum.AsPlain() % 1000 < 0 ? quotient - 1 : quotient);
}
