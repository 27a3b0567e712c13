// CZ9BCD<N, M>: a packed decimal of N digits, M of them behind the point, as the platform keeps it. It carries prices
// and sums over the boundary and in the exchange's records; inside, money is Currency<M> (AsInt64Plain is the
// one road).
//
// Always true:  byte 0 is M, byte 1 is N, the rest belongs to the platform and is all zero for the value zero.
//               May be copied byte for byte; alignment 1; a failed conversion leaves the target as it was.
// Errors:       CZ9Error with Z9ERR_COMMON_OVERFLOW for a value that does not fit, Z9ERR_COMMON_WRONG_ARGUMENTS for an
//               operand that is no number, else Z9ERR_COMMON_INTERNAL_ERROR. Rounding away of digits is no error.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "Z9BCDII.h"
#include "currencytype.h"
#include "kv7errors.h"

namespace kv7base {

enum SpecialConstructionMode
{
    eSkipInit = 1, // leave the bytes as they are
};

namespace detail {

/// Code of a flag word of the platform's decimals: 0 when nothing but zero, negative, lost precision or a loose format
/// is reported.
[[nodiscard]] Z9ERR DecimalResultCode(std::uint32_t flags) noexcept;

// The bodies of CZ9BCD, one for all digit counts. `value` is a packed decimal whose head bytes are set; `operation` is
// named in the message. All throw CZ9Error as the head of this file says.
void BcdFromDouble(unsigned char* value, double amount);
void BcdAssignDouble(unsigned char* value, double amount);
void BcdFromInt64(unsigned char* value, std::int64_t wholes);
void BcdFromPlain(unsigned char* value, std::int64_t units);
void BcdFromString(unsigned char* value, const char* text);
[[nodiscard]] Z9ERR BcdStrictSet(unsigned char* value, const char* text) noexcept;
[[nodiscard]] double BcdAsDouble(const unsigned char* value);
[[nodiscard]] std::int64_t BcdAsInt64(const unsigned char* value, int fractionDigits, const char* operation);
[[nodiscard]] bool BcdIsNaN(const unsigned char* value) noexcept;
[[nodiscard]] std::string BcdAsString(const unsigned char* value);
[[nodiscard]] int BcdDigit(const unsigned char* value, int power);
void BcdRound(unsigned char* value, int digits, roundstyle style);
void BcdNegate(unsigned char* value);
void BcdModulo(unsigned char* value, double divisor);
void BcdAdd(unsigned char* result, const unsigned char* a, const unsigned char* b);
void BcdSubtract(unsigned char* result, const unsigned char* a, const unsigned char* b);

} // namespace detail

template <int N, int M>
class CZ9BCD
{
    static_assert(N > 0 && N <= Z9BCDII_MAX_DIGITS && M >= 0 && M <= N);

public:
    static constexpr int m_type = Z9BCDIIMAKETYPE(N, M);
    static constexpr std::size_t Size = 2 + Z9BCDIISIZETL(m_type); // bytes, head included
    using Bytes = std::array<unsigned char, Size>;

    static const CZ9BCD Zero;

    constexpr CZ9BCD() noexcept : m_val{M, N} {}
    explicit CZ9BCD(SpecialConstructionMode) noexcept {} // NOLINT(*-member-init): the caller fills the bytes
    /// Rounds a number to M digits, halves away from zero. NaN: code 2; too large, infinities included: code 14.
    explicit CZ9BCD(double amount) : CZ9BCD() { detail::BcdFromDouble(m_val.data(), amount); }
    explicit CZ9BCD(std::int32_t wholes) : CZ9BCD(std::int64_t{wholes}) {}
    explicit CZ9BCD(std::int64_t wholes) : CZ9BCD() { detail::BcdFromInt64(m_val.data(), wholes); }
    /// Reads plain decimal text; digits beyond M are rounded away.
    explicit CZ9BCD(const std::string& text) : CZ9BCD() { detail::BcdFromString(m_val.data(), text.c_str()); }

    /// Copies the Size bytes of another value of this type.
    [[nodiscard]] static CZ9BCD Create(const unsigned char* bytes) noexcept
    {
        CZ9BCD value;
        std::memcpy(value.m_val.data(), bytes, Size);
        return value;
    }

    /// The value of a count of units of 10^-M. Code 14 when it does not fit.
    [[nodiscard]] static CZ9BCD FromPlain(std::int64_t units)
    {
        CZ9BCD value;
        detail::BcdFromPlain(value.m_val.data(), units);
        return value;
    }

    CZ9BCD& operator=(double amount)
    {
        detail::BcdAssignDouble(m_val.data(), amount);
        return *this;
    }

    void Init() noexcept { *this = CZ9BCD(); }
    void InitNAN() noexcept
    {
        Init();
        SetNAN();
    }
    [[nodiscard]] const unsigned char* GetValue() const noexcept { return m_val.data(); }
    [[nodiscard]] unsigned char* GetValue() noexcept { return m_val.data(); }
    [[nodiscard]] const Bytes& GetValueArray() const noexcept { return m_val; }

    void SetNAN() noexcept { Z9BCDIISetNaN(m_val.data()); }
    void SetMin() noexcept { Z9BCDIISetMin(m_val.data()); }
    void SetMax() noexcept { Z9BCDIISetMax(m_val.data()); }
    void SetZero() noexcept { Init(); }
    [[nodiscard]] bool IsNAN() const noexcept { return detail::BcdIsNaN(m_val.data()); }
    [[nodiscard]] bool IsZero() const noexcept { return !IsNAN() && Sign() == 0; }
    [[nodiscard]] bool IsNeg() const noexcept { return !IsNAN() && Sign() < 0; }
    [[nodiscard]] bool IsPositive() const noexcept { return !IsNAN() && Sign() > 0; }

    /// The value rounded to `digits` fractional digits; M and more change nothing, a negative count rounds wholes. Code
    /// 14 when the rounded value has no room.
    [[nodiscard]] CZ9BCD Round(int digits, roundstyle style = ROUND_NEAREST) const
    {
        CZ9BCD rounded(*this);
        detail::BcdRound(rounded.m_val.data(), digits, style);
        return rounded;
    }
    /// Digit at 10^power: 0 the units, -1 the first behind the point; 0 where the type has none.
    [[nodiscard]] int Digit(int power) const { return detail::BcdDigit(m_val.data(), power); }
    /// Plain decimal text with M digits behind the point, "nan" for a NaN.
    [[nodiscard]] std::string AsString() const { return detail::BcdAsString(m_val.data()); }
    [[nodiscard]] double AsDouble() const { return detail::BcdAsDouble(m_val.data()); }
    /// The value as an integer, rounded to nearest.
    [[nodiscard]] std::int64_t AsInt64() const { return detail::BcdAsInt64(m_val.data(), 0, "AsInt64"); }
    /// The value as units of 10^-fractionDigits: AsInt64Plain(5) of a price is the plain value of its t_bprice_int.
    [[nodiscard]] std::int64_t AsInt64Plain(int fractionDigits) const
    {
        return detail::BcdAsInt64(m_val.data(), fractionDigits, "AsInt64Plain");
    }

    void Set(const std::string& text) { detail::BcdFromString(m_val.data(), text.c_str()); }
    void Set(double amount) { *this = amount; }
    /// Reads plain decimal text without blanks. Returns the code; the value changes on success only.
    [[nodiscard]] Z9ERR StrictSet(const char* text) noexcept { return detail::BcdStrictSet(m_val.data(), text); }
    /// Changes the sign in place.
    void Neg() { detail::BcdNegate(m_val.data()); }
    /// Remainder of this value after whole multiples of the divisor, with this value's sign. The divisor is taken as a
    /// CZ9BCD<N, M>; 0 gives Z9ERR_COMMON_WRONG_ARGUMENTS.
    [[nodiscard]] CZ9BCD Mod(double divisor) const
    {
        CZ9BCD rest(*this);
        detail::BcdModulo(rest.m_val.data(), divisor);
        return rest;
    }

private:
    [[nodiscard]] int Sign() const noexcept { return Z9BCDIICmp(m_val.data(), Zero.m_val.data()); }

    Bytes m_val;
};

template <int N, int M>
constinit const CZ9BCD<N, M> CZ9BCD<N, M>::Zero{};

/// The sum, exact. Code 14 when it does not fit N digits.
template <int N, int M>
[[nodiscard]] CZ9BCD<N, M> operator+(const CZ9BCD<N, M>& a, const CZ9BCD<N, M>& b)
{
    CZ9BCD<N, M> result;
    detail::BcdAdd(result.GetValue(), a.GetValue(), b.GetValue());
    return result;
}
template <int N, int M>
[[nodiscard]] CZ9BCD<N, M> operator-(const CZ9BCD<N, M>& a, const CZ9BCD<N, M>& b)
{
    CZ9BCD<N, M> result;
    detail::BcdSubtract(result.GetValue(), a.GetValue(), b.GetValue());
    return result;
}

/// True for equal numbers. A NaN equals a NaN and is below every number.
template <int N, int M>
[[nodiscard]] bool operator==(const CZ9BCD<N, M>& a, const CZ9BCD<N, M>& b) noexcept
{
    return Z9BCDIICmp(a.GetValue(), b.GetValue()) == 0;
}
template <int N, int M>
[[nodiscard]] std::weak_ordering operator<=>(const CZ9BCD<N, M>& a, const CZ9BCD<N, M>& b) noexcept
{
    return Z9BCDIICmp(a.GetValue(), b.GetValue()) <=> 0;
}

} // namespace kv7base

using t_bprice = kv7base::CZ9BCD<16, 5>; // price over the boundary and in records
using t_bround = kv7base::CZ9BCD<26, 2>; // margin-call amount

static_assert(t_bprice::m_type == 4101 && sizeof(t_bprice) == 11 && sizeof(t_bround) == 15);
static_assert(sizeof(kv7base::CZ9BCD<3, 2>) == 4 && std::is_trivially_copyable_v<t_bprice>);

/// A price of the boundary or of a record as the price used inside.
[[nodiscard]] inline t_bprice_int ToPriceInt(const t_bprice& price)
{
    return t_bprice_int::FromPlain(price.AsInt64Plain(5));
}
/// A price that arrives as a double, rounded to five decimals, halves away from zero. Throws what t_bprice throws for a
/// number that it does not hold.
[[nodiscard]] t_bprice_int ToPriceInt(double price);
/// A weight that arrives as a double, through CZ9BCD<3, 2>: code 14 at or above 10 in magnitude, code 2 for NaN.
[[nodiscard]] inline t_weight_int ToWeightInt(double weight)
{
    return t_weight_int::FromPlain(kv7base::CZ9BCD<3, 2>(weight).AsInt64Plain(2));
}
