// Packed decimals. A value's digits stand in its bytes as one signed integer, little-endian two's complement, that
// counts units of 10^-M; the most negative pattern is the NaN. Half a byte a digit always leaves room for that:
// 10^N < 2^(8 * bytes - 1) for every N up to 63. Arithmetic is done on unbounded integers, so nothing is ever rounded
// but the result, once.
#include "Z9BCDII.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include <boost/multiprecision/cpp_int.hpp>

namespace {

using Integer = boost::multiprecision::cpp_int;

constexpr std::size_t kHeadBytes = 2;
constexpr int kDoubleBits = std::numeric_limits<double>::digits; // 53

// A type: N digits, M of them behind the point.
struct Type
{
    int digits;
    int scale;
    std::size_t bytes; // of the digit area

    [[nodiscard]] bool IsValid() const noexcept
    {
        return digits >= 1 && digits <= Z9BCDII_MAX_DIGITS && scale <= digits;
    }
};

Type TypeOf(const unsigned char* value) noexcept
{
    const unsigned scale = value[0];
    const unsigned digits = value[1];
    const unsigned type = Z9BCDIIMAKETYPE(digits, scale);
    return {static_cast<int>(digits), static_cast<int>(scale), Z9BCDIISIZETL(type)};
}

// A number, units * 10^-scale; flags is OPERAND_NAN or OPERAND_BAD when there is none.
struct Operand
{
    Integer units;
    int scale = 0;
    uint32_t flags = 0;
};

Integer PowerOf10(int exponent) { return boost::multiprecision::pow(Integer(10), static_cast<unsigned>(exponent)); }

bool HasNaNDigits(const unsigned char* value, const Type& type) noexcept
{
    const unsigned char* first = value + kHeadBytes;
    const unsigned char* last = first + type.bytes - 1;
    return *last == 0x80 && std::all_of(first, last, [](unsigned char byte) { return byte == 0; });
}

Operand Load(const unsigned char* value)
{
    if (value == nullptr) return {0, 0, Z9BCDII_OPERAND_BAD};
    const Type type = TypeOf(value);
    if (!type.IsValid()) return {0, 0, Z9BCDII_OPERAND_BAD};
    if (HasNaNDigits(value, type)) return {0, type.scale, Z9BCDII_OPERAND_NAN};

    const unsigned char* first = value + kHeadBytes;
    Operand operand{0, type.scale, 0};
    boost::multiprecision::import_bits(operand.units, first, first + type.bytes, 8, false);
    const bool negative = (first[type.bytes - 1] & 0x80) != 0;
    if (negative) operand.units -= Integer(1) << (8 * type.bytes);
    if (abs(operand.units) >= PowerOf10(type.digits)) operand.flags = Z9BCDII_OPERAND_BAD;
    return operand;
}

// Writes units that are known to fit.
void Store(unsigned char* value, const Type& type, Integer units)
{
    if (units < 0) units += Integer(1) << (8 * type.bytes);
    std::array<unsigned char, Z9BCDII_MAX_DIGITS> little{};
    boost::multiprecision::export_bits(units, little.begin(), 8, false);
    std::copy_n(little.begin(), type.bytes, value + kHeadBytes);
}

// Quotient rounded to nearest, halves away from zero; lost is set when there is a remainder.
Integer DivideToNearest(const Integer& dividend, const Integer& divisor, bool& lost)
{
    Integer quotient;
    Integer remainder;
    boost::multiprecision::divide_qr(Integer(abs(dividend)), divisor, quotient, remainder);
    lost = lost || remainder != 0;
    if (2 * remainder >= divisor) ++quotient;
    return dividend < 0 ? Integer(-quotient) : quotient;
}

// Converts units of 10^-from into units of 10^-to.
Integer Rescale(const Integer& units, int from, int to, bool& lost)
{
    return to >= from ? Integer(units * PowerOf10(to - from)) : DivideToNearest(units, PowerOf10(from - to), lost);
}

uint32_t FlagsOf(const Integer& units, bool lost)
{
    uint32_t flags = lost ? Z9BCDII_RESULT_PREC : 0;
    if (units == 0) flags |= Z9BCDII_RESULT_ZERO;
    if (units < 0) flags |= Z9BCDII_RESULT_NEGATIVE;
    return flags;
}

// Puts units, already at the scale of result, into result when they fit its digits.
uint32_t Put(unsigned char* result, const Integer& units, bool lost)
{
    const Type type = TypeOf(result);
    if (abs(units) >= PowerOf10(type.digits)) return Z9BCDII_RESULT_OVERFLOW;
    Store(result, type, units);
    return FlagsOf(units, lost);
}

bool IsBadResult(const unsigned char* result) noexcept { return result == nullptr || !TypeOf(result).IsValid(); }

bool IsBadScale(int fractionalDigits) noexcept { return fractionalDigits < 0 || fractionalDigits > Z9BCDII_MAX_DIGITS; }

// Runs an operation; without memory it has no result.
template <class Operation>
uint32_t Guarded(Operation&& operation) noexcept
{
    try {
        return operation();
    } catch (...) {
        return Z9BCDII_RESULT_BAD;
    }
}

// Writes a + sign * b.
uint32_t AddSigned(unsigned char* result, const unsigned char* a, const unsigned char* b, int sign)
{
    if (IsBadResult(result)) return Z9BCDII_RESULT_BAD;
    const Operand left = Load(a);
    const Operand right = Load(b);
    if ((left.flags | right.flags) != 0) return left.flags | right.flags;

    bool lost = false;
    const int scale = std::max(left.scale, right.scale);
    const Integer sum =
        Rescale(left.units, left.scale, scale, lost) + sign * Rescale(right.units, right.scale, scale, lost);
    const Integer units = Rescale(sum, scale, TypeOf(result).scale, lost); // before lost is passed on
    return Put(result, units, lost);
}

// A finite double is exactly mantissa * 2^exponent, so one division by a power of two rounds it once.
Integer UnitsOfDouble(double value, int scale, bool& lost)
{
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    const auto mantissa = static_cast<int64_t>(std::ldexp(fraction, kDoubleBits));
    exponent -= kDoubleBits;
    const Integer scaled = mantissa * PowerOf10(scale);
    if (exponent >= 0) return scaled << exponent;
    return DivideToNearest(scaled, Integer(1) << -exponent, lost);
}

bool IsBlank(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view TrimBlanks(std::string_view text) noexcept
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string_view TakeDigits(std::string_view& text) noexcept
{
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

// The parts of a text such as "-12.5".
struct DecimalText
{
    bool negative = false;
    std::string_view whole;
    std::string_view fraction;
    bool good = false;
};

DecimalText TakeApart(std::string_view text) noexcept
{
    DecimalText parts;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        parts.negative = text.front() == '-';
        text.remove_prefix(1);
    }
    parts.whole = TakeDigits(text);
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        parts.fraction = TakeDigits(text);
    }
    parts.good = text.empty() && !(parts.whole.empty() && parts.fraction.empty());
    return parts;
}

// The text as units of 10^-scale. The first digit behind them alone decides the rounding, halves away from zero. whole
// has no leading zeros and at most 63 digits.
Integer UnitsOfText(const DecimalText& parts, int scale, bool& lost)
{
    const auto kept = static_cast<std::size_t>(scale);
    std::string digits(parts.whole);
    digits += parts.fraction.substr(0, kept);
    if (parts.fraction.size() < kept) digits.append(kept - parts.fraction.size(), '0');

    Integer units = 0;
    for (const char digit : digits)
        units = units * 10 + (digit - '0');
    if (parts.fraction.size() > kept) {
        const std::string_view dropped = parts.fraction.substr(kept);
        lost = dropped.find_first_not_of('0') != std::string_view::npos;
        if (dropped.front() >= '5') ++units;
    }
    return parts.negative ? Integer(-units) : units;
}

// Text with all fractional digits and at least one digit before the point: "-0.05".
std::string PlainText(const Operand& operand)
{
    std::string digits = Integer(abs(operand.units)).str();
    const auto scale = static_cast<std::size_t>(operand.scale);
    if (digits.size() <= scale) digits.insert(0, scale + 1 - digits.size(), '0');
    if (scale > 0) digits.insert(digits.size() - scale, 1, '.');
    if (operand.units < 0) digits.insert(0, 1, '-');
    return digits;
}

// Copies as much as fits with a terminating zero; false when something was cut.
bool CopyText(char* buffer, std::size_t size, std::string_view text) noexcept
{
    if (buffer == nullptr || size == 0) return false;
    const std::size_t count = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), count);
    buffer[count] = '\0';
    return count == text.size();
}

void StoreExtreme(unsigned char* value, int sign) noexcept
{
    static_cast<void>(Guarded([&] {
        if (IsBadResult(value)) return Z9BCDII_RESULT_BAD;
        const Type type = TypeOf(value);
        Store(value, type, sign * Integer(PowerOf10(type.digits) - 1));
        return uint32_t{0};
    }));
}

} // namespace

uint32_t Z9BCDIIAdd(unsigned char* result, const unsigned char* a, const unsigned char* b)
{
    return Guarded([&] { return AddSigned(result, a, b, 1); });
}

uint32_t Z9BCDIISub(unsigned char* result, const unsigned char* a, const unsigned char* b)
{
    return Guarded([&] { return AddSigned(result, a, b, -1); });
}

int Z9BCDIICmp(const unsigned char* a, const unsigned char* b)
{
    try {
        const Operand left = Load(a);
        const Operand right = Load(b);
        const bool left_is_number = left.flags == 0;
        const bool right_is_number = right.flags == 0;
        if (!left_is_number || !right_is_number) return int{left_is_number} - int{right_is_number};

        bool lost = false;
        const int scale = std::max(left.scale, right.scale);
        const int order =
            Rescale(left.units, left.scale, scale, lost).compare(Rescale(right.units, right.scale, scale, lost));
        return int{order > 0} - int{order < 0};
    } catch (...) {
        return 0;
    }
}

uint32_t Z9BCDIIGetFromDouble(unsigned char* result, double value)
{
    return Guarded([&]() -> uint32_t {
        if (IsBadResult(result)) return Z9BCDII_RESULT_BAD;
        if (std::isnan(value)) return Z9BCDII_OPERAND_NAN;
        if (std::isinf(value)) return Z9BCDII_RESULT_OVERFLOW;
        bool lost = false;
        const Integer units = UnitsOfDouble(value, TypeOf(result).scale, lost);
        return Put(result, units, lost);
    });
}

uint32_t Z9BCDIIGetFromInt64(unsigned char* result, int64_t value, int fractionalDigits)
{
    return Guarded([&]() -> uint32_t {
        if (IsBadResult(result)) return Z9BCDII_RESULT_BAD;
        if (IsBadScale(fractionalDigits)) return Z9BCDII_OPERAND_BAD;
        bool lost = false;
        const Integer units = Rescale(value, fractionalDigits, TypeOf(result).scale, lost);
        return Put(result, units, lost);
    });
}

uint32_t Z9BCDIIGetFromStr(unsigned char* result, const char* text)
{
    return Guarded([&]() -> uint32_t {
        if (IsBadResult(result)) return Z9BCDII_RESULT_BAD;
        if (text == nullptr) return Z9BCDII_OPERAND_BAD;
        const std::string_view given(text);
        const std::string_view trimmed = TrimBlanks(given);
        DecimalText parts = TakeApart(trimmed);
        if (!parts.good) return Z9BCDII_OPERAND_BAD;

        const uint32_t strictness = trimmed.size() == given.size() ? 0 : Z9BCDII_NOT_STRICT_FORMAT;
        parts.whole.remove_prefix(std::min(parts.whole.find_first_not_of('0'), parts.whole.size()));
        if (parts.whole.size() > Z9BCDII_MAX_DIGITS) return strictness | Z9BCDII_RESULT_OVERFLOW;
        bool lost = false;
        const Integer units = UnitsOfText(parts, TypeOf(result).scale, lost);
        return strictness | Put(result, units, lost);
    });
}

uint32_t Z9BCDII2Double(double* result, const unsigned char* value)
{
    return Guarded([&]() -> uint32_t {
        if (result == nullptr) return Z9BCDII_RESULT_BAD;
        const Operand operand = Load(value);
        if (operand.flags != 0) return operand.flags;
        // Reading the exact decimal text back is correctly rounded; a division of two doubles would round up to three
        // times.
        const std::string text = PlainText(operand);
        double nearest = 0.0;
        std::from_chars(text.data(), text.data() + text.size(), nearest);
        *result = operand.units == 0 ? 0.0 : nearest;
        return FlagsOf(operand.units, false);
    });
}

uint32_t Z9BCDII2Int64(int64_t* result, const unsigned char* value, int fractionalDigits)
{
    return Guarded([&]() -> uint32_t {
        if (result == nullptr) return Z9BCDII_RESULT_BAD;
        const Operand operand = Load(value);
        if (operand.flags != 0) return operand.flags;
        if (IsBadScale(fractionalDigits)) return Z9BCDII_OPERAND_BAD;
        bool lost = false;
        const Integer units = Rescale(operand.units, operand.scale, fractionalDigits, lost);
        using Limits = std::numeric_limits<int64_t>;
        if (units < Limits::min() || units > Limits::max()) return Z9BCDII_RESULT_OVERFLOW;
        *result = static_cast<int64_t>(units);
        return FlagsOf(units, lost);
    });
}

uint32_t Z9BCDII2Str(char* buffer, size_t size, const unsigned char* value)
{
    return Guarded([&]() -> uint32_t {
        const Operand operand = Load(value);
        if (operand.flags == Z9BCDII_OPERAND_BAD) {
            CopyText(buffer, size, "");
            return operand.flags;
        }
        const bool is_nan = operand.flags == Z9BCDII_OPERAND_NAN;
        const bool fits = CopyText(buffer, size, is_nan ? std::string("nan") : PlainText(operand));
        const uint32_t flags = is_nan ? operand.flags : FlagsOf(operand.units, false);
        return fits ? flags : flags | Z9BCDII_RESULT_OVERFLOW;
    });
}

void Z9BCDIISetNaN(unsigned char* value)
{
    if (IsBadResult(value)) return;
    const Type type = TypeOf(value);
    std::fill_n(value + kHeadBytes, type.bytes, static_cast<unsigned char>(0));
    value[kHeadBytes + type.bytes - 1] = 0x80;
}

void Z9BCDIISetMin(unsigned char* value) { StoreExtreme(value, -1); }
void Z9BCDIISetMax(unsigned char* value) { StoreExtreme(value, 1); }

int Z9BCDIIIsNaN(const unsigned char* value)
{
    return !IsBadResult(value) && HasNaNDigits(value, TypeOf(value)) ? 1 : 0;
}
