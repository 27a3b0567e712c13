#include "z9bcd.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>

#include "except.h"

namespace kv7base::detail {
namespace {

using boost::multiprecision::cpp_int;

// What a value may report and still be good: zero, negative, digits rounded away, a loose text.
constexpr std::uint32_t HarmlessFlags = 0x146;
static_assert(HarmlessFlags ==
              (Z9BCDII_RESULT_ZERO | Z9BCDII_RESULT_NEGATIVE | Z9BCDII_RESULT_PREC | Z9BCDII_NOT_STRICT_FORMAT));

/// A value of another's digits, zero.
struct Scratch
{
    explicit Scratch(const unsigned char* like) noexcept : bytes{like[0], like[1]} {}

    [[nodiscard]] std::size_t Size() const noexcept
    {
        return 2 + static_cast<std::size_t>(Z9BCDIISIZETL(Z9BCDIIMAKETYPE(int{bytes[1]}, int{bytes[0]})));
    }
    void CopyTo(unsigned char* value) const noexcept { std::copy_n(bytes.data(), Size(), value); }

    std::array<unsigned char, 2 + Z9BCDII_MAX_DIGITS> bytes;
};

/// Fractional digits of a value.
int Scale(const unsigned char* value) noexcept { return value[0]; }

cpp_int PowerOfTen(int n) { return boost::multiprecision::pow(cpp_int(10), static_cast<unsigned>(n)); }

/// A number as the count of units of its last digit.
cpp_int Units(const unsigned char* value)
{
    std::string text = BcdAsString(value);
    const bool negative = text.front() == '-';
    std::erase_if(text, [](char c) { return c == '-' || c == '.'; });
    // A leading zero would make the text octal.
    text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
    const cpp_int magnitude(text);
    return negative ? cpp_int(-magnitude) : magnitude;
}

/// The opposite of Units. A count that does not fit the value's digits: code 14.
void StoreUnits(unsigned char* value, const cpp_int& units)
{
    // From the last digit to the first: at least one in front of the point.
    std::string text;
    cpp_int rest = abs(units);
    for (int place = -Scale(value); rest != 0 || place <= 0; ++place, rest /= 10) {
        if (place == 0 && Scale(value) > 0) text += '.';
        text += static_cast<char>('0' + cpp_int(rest % 10).convert_to<int>());
    }
    if (units < 0) text += '-';
    std::reverse(text.begin(), text.end());
    BcdFromString(value, text.c_str());
}

/// The quotient moved as the style wants when something was left over.
cpp_int Settle(const cpp_int& quotient, const cpp_int& remainder, const cpp_int& unit, roundstyle style)
{
    if (remainder == 0) return quotient;
    const bool negative = remainder < 0;
    const int away = negative ? -1 : 1;
    switch (style) {
    case ROUND_UP:
        return negative ? quotient : cpp_int(quotient + 1);
    case ROUND_DOWN:
        return negative ? cpp_int(quotient - 1) : quotient;
    case ROUND_FROMZERO:
        return quotient + away;
    case ROUND_TRUNC:
        return quotient;
    default:
        return 2 * abs(remainder) >= unit ? cpp_int(quotient + away) : quotient;
    }
}

} // namespace

Z9ERR DecimalResultCode(std::uint32_t flags) noexcept
{
    const std::uint32_t failures = flags & ~HarmlessFlags;
    if (failures == 0) return Z9ERR_OK;
    if ((failures & Z9BCDII_RESULT_OVERFLOW) != 0) return Z9ERR_COMMON_OVERFLOW;
    if ((failures & (Z9BCDII_OPERAND_BAD | Z9BCDII_OPERAND_NAN)) != 0) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    return Z9ERR_COMMON_INTERNAL_ERROR;
}

void BcdFromDouble(unsigned char* value, double amount)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIGetFromDouble(value, amount)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s %f", "CZ9BCD", amount);
}

void BcdAssignDouble(unsigned char* value, double amount)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIGetFromDouble(value, amount)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s m_val(%B) dbl(%f)", "operator=", value, amount);
}

void BcdFromInt64(unsigned char* value, std::int64_t wholes)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIGetFromInt64(value, wholes, 0)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s %I64d", "CZ9BCD", wholes);
}

// Byte 0 of a packed decimal is its count of fractional digits.
void BcdFromPlain(unsigned char* value, std::int64_t units)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIGetFromInt64(value, units, value[0])); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s i64(%I64d)", "CZ9BCD", units);
}

void BcdFromString(unsigned char* value, const char* text)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIGetFromStr(value, text)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s %s", "CZ9BCD", text);
}

Z9ERR BcdStrictSet(unsigned char* value, const char* text) noexcept
{
    Scratch read(value);
    const std::uint32_t flags = Z9BCDIIGetFromStr(read.bytes.data(), text);
    if ((flags & Z9BCDII_NOT_STRICT_FORMAT) != 0) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    if (const Z9ERR code = DecimalResultCode(flags); code != Z9ERR_OK) return code;
    // Digits other than 0 beyond the last one have no room, as in Currency.
    if ((flags & Z9BCDII_RESULT_PREC) != 0) return Z9ERR_COMMON_OVERFLOW;
    read.CopyTo(value);
    return Z9ERR_OK;
}

double BcdAsDouble(const unsigned char* value)
{
    double amount = 0;
    if (const Z9ERR code = DecimalResultCode(Z9BCDII2Double(&amount, value)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s m_val(%B)", "AsDouble", value);
    return amount;
}

std::int64_t BcdAsInt64(const unsigned char* value, int fractionDigits, const char* operation)
{
    std::int64_t units = 0;
    if (const Z9ERR code = DecimalResultCode(Z9BCDII2Int64(&units, value, fractionDigits)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s m_val(%B)", operation, value);
    return units;
}

std::string BcdAsString(const unsigned char* value)
{
    std::array<char, Z9BCDII_MAX_DIGITS + 8> text{}; // sign, a zero, point, terminating zero
    // Bytes that make no decimal have no digits to show.
    constexpr std::uint32_t unreadable = Z9BCDII_OPERAND_BAD | Z9BCDII_RESULT_BAD;
    if (const std::uint32_t flags = Z9BCDII2Str(text.data(), text.size(), value); (flags & unreadable) != 0)
        throw CZ9Error(DecimalResultCode(flags), KV7_CURRENT_LOCATION).Fmt("%s m_val(%B)", "AsString", value);
    return text.data();
}

int BcdDigit(const unsigned char* value, int power)
{
    if (Z9BCDIIIsNaN(value) != 0) throw CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION).Fmt("%s", "Digit");
    const int position = power + Scale(value);
    if (position < 0 || power > Z9BCDII_MAX_DIGITS) return 0;
    const cpp_int digit = abs(Units(value)) / PowerOfTen(position) % 10;
    return digit.convert_to<int>();
}

void BcdRound(unsigned char* value, int digits, roundstyle style)
{
    if (digits >= Scale(value) || Z9BCDIIIsNaN(value) != 0) return;
    // Past the most digits that a value may have, every place rounds alike.
    const int dropped = Scale(value) - std::max(digits, -Z9BCDII_MAX_DIGITS - 1);
    const cpp_int units = Units(value);
    const cpp_int unit = PowerOfTen(dropped);
    StoreUnits(value, Settle(units / unit, units % unit, unit, style) * unit);
}

void BcdNegate(unsigned char* value)
{
    Scratch negated(value);
    const Scratch zero(value);
    if (const Z9ERR code = DecimalResultCode(Z9BCDIISub(negated.bytes.data(), zero.bytes.data(), value));
        code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s m_val(%B)", "Neg", value);
    negated.CopyTo(value);
}

void BcdModulo(unsigned char* value, double divisor)
{
    Scratch by(value);
    BcdFromDouble(by.bytes.data(), divisor);
    const bool isNumber = Z9BCDIIIsNaN(value) == 0;
    const cpp_int step = isNumber ? Units(by.bytes.data()) : cpp_int(0);
    if (step == 0)
        throw CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION)
            .Fmt("%s m_val(%B) dbl(%f)", "Mod", value, divisor);
    StoreUnits(value, Units(value) % step);
}

void BcdAdd(unsigned char* result, const unsigned char* a, const unsigned char* b)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIIAdd(result, a, b)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s p(%B), a(%B), b(%B)", "operator+", result, a, b);
}

void BcdSubtract(unsigned char* result, const unsigned char* a, const unsigned char* b)
{
    if (const Z9ERR code = DecimalResultCode(Z9BCDIISub(result, a, b)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s p(%B), a(%B), b(%B)", "operator-", result, a, b);
}

} // namespace kv7base::detail
