#include "currencytype.h"

#include <limits>

#include "except.h"

namespace kv7base {
namespace {

__extension__ using Wide = __int128;

constexpr std::uint64_t LargestTenth = 0xCCCCCCCCCCCCCCC; // 2^63 / 10, cut off

// A plain decimal is read by an automaton: one column a class of character, one row a state.
enum CharClass : std::uint8_t
{
    Sign = 0,
    Digit = 1,
    Unused = 2, // no character belongs to it, blanks are refused
    Point = 3,
    Other = 4,
};

enum State : std::uint8_t
{
    Start = 0,
    AfterSign = 1,
    IntegerDigits = 2,
    AfterPoint = 3,
    Error = 4,
    FractionDigits = 5,
};

constexpr State NextState[6][5] = {
    // sign, digit, unused, point, other
    {AfterSign, IntegerDigits, Start, AfterPoint, Error}, // Start
    {Error, IntegerDigits, Error, AfterPoint, Error},     // AfterSign
    {Error, IntegerDigits, Error, AfterPoint, Error},     // IntegerDigits
    {Error, FractionDigits, Error, Error, Error},         // AfterPoint
    {Error, Error, Error, Error, Error},                  // Error
    {Error, FractionDigits, Error, Error, Error},         // FractionDigits
};

constexpr CharClass Classify(char c) noexcept
{
    if (c == '+' || c == '-') return Sign;
    if (c >= '0' && c <= '9') return Digit;
    return c == '.' ? Point : Other;
}

/// The number as it grows from left to right.
struct DecimalReader
{
    int fractionDigits; // digits kept behind the point
    bool negative = false;
    bool anyDigit = false;
    int fractionCount = 0; // of those, digits seen
    std::uint64_t magnitude = 0;
    Z9ERR code = Z9ERR_OK;

    void TakeDigit(char c) noexcept
    {
        anyDigit = true;
        const auto digit = static_cast<std::uint64_t>(c - '0');
        // The negative side reaches one unit further.
        const std::uint64_t lastDigit = negative ? 8 : 7;
        if (magnitude > LargestTenth || (magnitude == LargestTenth && digit > lastDigit)) {
            code = Z9ERR_COMMON_OVERFLOW;
            return;
        }
        magnitude = magnitude * 10 + digit;
    }

    void TakeFractionDigit(char c) noexcept
    {
        if (fractionCount < fractionDigits) {
            ++fractionCount;
            TakeDigit(c);
        } else {
            anyDigit = true;
            if (c != '0') code = Z9ERR_COMMON_OVERFLOW;
        }
    }

    void Take(State state, char c) noexcept
    {
        if (state == AfterSign) negative = c == '-';
        if (state == IntegerDigits) TakeDigit(c);
        if (state == FractionDigits) TakeFractionDigit(c);
    }

    /// Adds the fraction digits that the text left out; returns the code of the whole reading.
    [[nodiscard]] Z9ERR Finish() noexcept
    {
        if (!anyDigit) return Z9ERR_COMMON_WRONG_ARGUMENTS;
        if (code != Z9ERR_OK) return code;
        if (fractionCount == fractionDigits) return Z9ERR_OK;
        const std::uint64_t factor = power_of_10(static_cast<std::size_t>(fractionDigits - fractionCount));
        if (magnitude > std::uint64_t{std::numeric_limits<std::int64_t>::max()} / factor) return Z9ERR_COMMON_OVERFLOW;
        magnitude *= factor;
        return Z9ERR_OK;
    }

    [[nodiscard]] std::int64_t Value() const noexcept
    {
        return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    }
};

/// The quotient moved by the rounding style when there is a remainder.
Wide Settle(Wide quotient, Wide remainder, Wide unit, roundstyle style) noexcept
{
    if (remainder == 0) return quotient;
    const bool negative = remainder < 0;
    const Wide away = negative ? -1 : 1;
    switch (style) {
    case ROUND_UP:
        return negative ? quotient : quotient + 1;
    case ROUND_DOWN:
        return negative ? quotient - 1 : quotient;
    case ROUND_FROMZERO:
        return quotient + away;
    case ROUND_TRUNC:
        return quotient;
    default:
        return 2 * (negative ? -remainder : remainder) >= unit ? quotient + away : quotient;
    }
}

} // namespace

std::uint64_t power_of_10(std::size_t n) noexcept
{
    static constexpr std::array<std::uint64_t, 20> table{0, // not 1, and nobody asks for it
                                                         10,
                                                         100,
                                                         1000,
                                                         10000,
                                                         100000,
                                                         1000000,
                                                         10000000,
                                                         100000000,
                                                         1000000000,
                                                         10000000000,
                                                         100000000000,
                                                         1000000000000,
                                                         10000000000000,
                                                         100000000000000,
                                                         1000000000000000,
                                                         10000000000000000,
                                                         100000000000000000,
                                                         1000000000000000000,
                                                         10000000000000000000U};
    return table[n];
}

namespace detail {

std::int64_t RoundToMultiple(std::int64_t value, std::int64_t unit, roundstyle style) noexcept
{
    const Wide quotient = Settle(value / unit, value % unit, unit, style);
    return static_cast<std::int64_t>(quotient * unit);
}

Z9ERR ParseDecimal(const char* text, int fractionDigits, std::int64_t* value, const char** end) noexcept
{
    DecimalReader reader{fractionDigits};
    State state = Start;
    const char* at = text;
    for (; *at != '\0'; ++at) {
        state = NextState[state][Classify(*at)];
        if (state == Error) break;
        reader.Take(state, *at);
    }
    if (end != nullptr) *end = at;
    if (state == Error) return reader.code != Z9ERR_OK ? reader.code : Z9ERR_COMMON_WRONG_ARGUMENTS;
    const Z9ERR code = reader.Finish();
    if (code == Z9ERR_OK) *value = reader.Value();
    return code;
}

std::int64_t ParseDecimalOrThrow(const char* text, int fractionDigits)
{
    std::int64_t value = 0;
    if (const Z9ERR code = ParseDecimal(text, fractionDigits, &value, nullptr); code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Cannot convert string '%s' to Currency", text);
    return value;
}

std::string DecimalToString(std::int64_t value, int fractionDigits, int digits)
{
    const auto shown = static_cast<std::size_t>(digits < 0 ? 0 : digits);
    const auto stored = static_cast<std::size_t>(fractionDigits);
    // In 128 bits: rounding may carry past the largest 64-bit number.
    Wide units = value;
    if (shown < stored) {
        const Wide dropped = static_cast<Wide>(power_of_10(stored - shown));
        units = Settle(units / dropped, units % dropped, dropped, ROUND_NEAREST);
    }
    const bool negative = units < 0;
    const auto magnitude = static_cast<std::uint64_t>(negative ? -units : units);
    const std::size_t fraction = shown < stored ? shown : stored;

    std::string text = std::to_string(magnitude);
    if (text.size() <= fraction) text.insert(0, fraction + 1 - text.size(), '0');
    if (shown > 0) text.insert(text.size() - fraction, 1, '.');
    text.append(shown - fraction, '0');
    if (negative) text.insert(0, 1, '-');
    return text;
}

} // namespace detail
} // namespace kv7base
