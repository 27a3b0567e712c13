#include "z9bcd.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string_view>

#include <boost/multiprecision/cpp_int.hpp>

#include "UnitsOfDouble.h"
#include "Z9Fmt.h"
#include "except.h"

namespace kv7base::detail {
namespace {

using boost::multiprecision::cpp_int;

// Flags that a good value may report: zero, negative, digits rounded away, a loose text.
constexpr std::uint32_t HarmlessFlags = 0x146;
static_assert(HarmlessFlags ==
              (Z9BCDII_RESULT_ZERO | Z9BCDII_RESULT_NEGATIVE | Z9BCDII_RESULT_PREC | Z9BCDII_NOT_STRICT_FORMAT));

/// A zero with the digit counts of another value.
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

// Texts are read and written here; of the platform only its documented operations are used: it takes and gives
// integers, adds, and prints a decimal by the %B of its formatter.

cpp_int PowerOfTen(int n) { return boost::multiprecision::pow(cpp_int(10), static_cast<unsigned>(n)); }

/// A value as the count of units of its last digit.
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

/// Adds to a value; returns the flags.
std::uint32_t Accumulate(Scratch& sum, const Scratch& addend) noexcept
{
    Scratch result(sum);
    const std::uint32_t flags = Z9BCDIIAdd(result.bytes.data(), sum.bytes.data(), addend.bytes.data());
    sum = result;
    return flags;
}

/// Multiplies a value, which must have room for it, by ten; returns the flags.
std::uint32_t MultiplyByTen(Scratch& value) noexcept
{
    const Scratch once = value;
    std::uint32_t flags = 0;
    for (int times = 1; times < 10; ++times)
        flags |= Accumulate(value, once);
    return flags;
}

/// Writes a count of units of the last digit into a value; the inverse of Units. Returns the platform's flags, OVERFLOW
/// for a count that does not fit the value's digits. On failure the value stays.
std::uint32_t PutUnits(unsigned char* value, const cpp_int& units)
{
    if (abs(units) >= PowerOfTen(value[1])) return Z9BCDII_RESULT_OVERFLOW;
    constexpr std::size_t most = 18; // digits that a 64-bit integer holds in any case
    const std::string digits = cpp_int(abs(units)).str();
    Scratch sum(value);
    std::uint32_t flags = 0;
    // The first part may be shorter, all others are not.
    for (std::size_t at = 0, count = (digits.size() - 1) % most + 1; at < digits.size(); at += count, count = most) {
        for (std::size_t place = 0; at > 0 && place < count; ++place)
            flags |= MultiplyByTen(sum);
        const std::int64_t part = std::stoll(digits.substr(at, count));
        Scratch piece(value);
        flags |= Z9BCDIIGetFromInt64(piece.bytes.data(), units < 0 ? -part : part, Scale(value));
        flags |= Accumulate(sum, piece);
    }
    if (DecimalResultCode(flags) == Z9ERR_OK) sum.CopyTo(value);
    return flags;
}

/// Text of a number as BcdAsString shows it: at least one digit before the point.
std::string TextOf(const cpp_int& units, int scale)
{
    std::string text = cpp_int(abs(units)).str();
    const auto behind = static_cast<std::size_t>(scale);
    if (text.size() <= behind) text.insert(0, behind + 1 - text.size(), '0');
    if (behind > 0) text.insert(text.size() - behind, 1, '.');
    return units < 0 ? "-" + text : text;
}

void StoreUnits(unsigned char* value, const cpp_int& units)
{
    if (const Z9ERR code = DecimalResultCode(PutUnits(value, units)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s %s", "CZ9BCD", TextOf(units, Scale(value)).c_str());
}

std::string_view TakeDigits(std::string_view& text) noexcept
{
    const std::string_view digits = text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
    text.remove_prefix(digits.size());
    return digits;
}

/// Reads plain decimal text, "-12.5", ".5" or "1.", into a value; digits behind the point that it has no room for are
/// rounded away, halves away from zero. Returns flags as the platform's own conversions do: NOT_STRICT_FORMAT for
/// blanks around the number, PREC for lost digits, OPERAND_BAD for text that is no number.
std::uint32_t PutText(unsigned char* value, std::string_view text)
{
    constexpr const char* blanks = " \t\n\v\f\r";
    const std::size_t given = text.size();
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    const std::uint32_t strictness = text.size() == given ? 0 : Z9BCDII_NOT_STRICT_FORMAT;

    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    std::string_view whole = TakeDigits(text);
    const bool hasPoint = text.starts_with('.');
    if (hasPoint) text.remove_prefix(1);
    const std::string_view fraction = hasPoint ? TakeDigits(text) : std::string_view();
    if (!text.empty() || whole.size() + fraction.size() == 0) return Z9BCDII_OPERAND_BAD;
    whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
    if (whole.size() > Z9BCDII_MAX_DIGITS) return strictness | Z9BCDII_RESULT_OVERFLOW;

    const auto scale = static_cast<std::size_t>(Scale(value));
    std::string digits(whole);
    digits += fraction.substr(0, scale);
    digits.append(scale - std::min(fraction.size(), scale), '0');
    cpp_int units = 0;
    for (const char digit : digits)
        units = units * 10 + (digit - '0');
    const std::string_view dropped = fraction.substr(std::min(fraction.size(), scale));
    if (!dropped.empty() && dropped.front() >= '5') ++units;
    const bool isLost = dropped.find_first_not_of('0') != std::string_view::npos;
    return strictness | (isLost ? Z9BCDII_RESULT_PREC : 0) | PutUnits(value, isNegative ? cpp_int(-units) : units);
}

/// The quotient moved by the rounding style when there is a remainder.
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
    if (const Z9ERR code = DecimalResultCode(PutText(value, text)); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("%s %s", "CZ9BCD", text);
}

Z9ERR BcdStrictSet(unsigned char* value, const char* text) noexcept
{
    Scratch read(value);
    std::uint32_t flags = Z9BCDII_OPERAND_BAD;
    try {
        if (text != nullptr) flags = PutText(read.bytes.data(), text);
    } catch (const std::exception&) {
        flags = Z9BCDII_RESULT_BAD; // no memory for the digits
    }
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

bool BcdIsNaN(const unsigned char* value) noexcept
{
    double amount = 0;
    return (Z9BCDII2Double(&amount, value) & Z9BCDII_OPERAND_NAN) != 0;
}

std::string BcdAsString(const unsigned char* value)
{
    std::array<char, Z9BCDII_MAX_DIGITS + 8> text{}; // sign, a zero, point, terminating zero
    // Bytes that make no decimal have no digits to show.
    double amount = 0;
    constexpr std::uint32_t unreadable = Z9BCDII_OPERAND_BAD | Z9BCDII_RESULT_BAD;
    std::uint32_t flags = Z9BCDII2Double(&amount, value);
    if (Z9SysSNPrintf(text.data(), text.size(), "%B", value) <= 0) flags |= Z9BCDII_RESULT_BAD;
    if ((flags & unreadable) != 0)
        throw CZ9Error(DecimalResultCode(flags), KV7_CURRENT_LOCATION).Fmt("%s m_val(%B)", "AsString", value);
    return text.data();
}

int BcdDigit(const unsigned char* value, int power)
{
    if (BcdIsNaN(value)) throw CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION).Fmt("%s", "Digit");
    const int position = power + Scale(value);
    if (position < 0 || power > Z9BCDII_MAX_DIGITS) return 0;
    const cpp_int digit = abs(Units(value)) / PowerOfTen(position) % 10;
    return digit.convert_to<int>();
}

void BcdRound(unsigned char* value, int digits, roundstyle style)
{
    if (digits >= Scale(value) || BcdIsNaN(value)) return;
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
    const bool isNumber = !BcdIsNaN(value);
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

t_bprice_int ToPriceInt(double price)
{
    // Every order comes with a price: the usual one does without the platform's unbounded integers.
    const double magnitude = std::fabs(price);
    if (!kv7base::HasCountableUnits(magnitude)) return ToPriceInt(t_bprice(price));
    const kv7base::UnitsOfDouble units = kv7base::CountUnits(magnitude, 100'000);
    const auto plain = static_cast<std::int64_t>(units.whole + (units.restToHalf >= 0 ? 1 : 0));
    return t_bprice_int::FromPlain(price < 0 ? -plain : plain);
}
