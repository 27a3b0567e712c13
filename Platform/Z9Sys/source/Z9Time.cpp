// Calendar time: texts in, checks, local to UTC.
#include "Z9Time.h"

#include <charconv>
#include <cstring>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>

#include "Z9Internal.h"

namespace {

constexpr int kTmYearBase = 1900; // struct tm counts years from here

constexpr bool IsLeapYear(unsigned year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr unsigned DaysOfMonth(unsigned year, unsigned month)
{
    constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

constexpr bool IsNull(const Z9TIME& time)
{
    return time.year == 0 && time.month == 0 && time.day == 0 && time.hour == 0 && time.minute == 0 &&
           time.second == 0 && time.msec == 0;
}

constexpr bool IsInCalendar(const Z9TIME& time)
{
    return time.year >= 1 && time.month >= 1 && time.month <= 12 && time.day >= 1 &&
           time.day <= DaysOfMonth(time.year, time.month) && time.hour <= 23 && time.minute <= 59 &&
           time.second <= 59 && time.msec <= 999;
}

// True when the text has the shape: "0" in the shape stands for a digit, any other character for itself.
bool HasShape(std::string_view text, std::string_view shape)
{
    if (text.size() != shape.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool fits = shape[i] == '0' ? (text[i] >= '0' && text[i] <= '9') : text[i] == shape[i];
        if (!fits) return false;
    }
    return true;
}

template <class Field>
Field ReadDigits(std::string_view digits)
{
    Field value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

// Reads a time. The two forms have their fields at equal places; only the milliseconds may be missing.
std::optional<Z9TIME> ReadTime(std::string_view text)
{
    if (!HasShape(text, "0000/00/00/00/00/00/000") && !HasShape(text, "0000-00-00 00:00:00.000") &&
        !HasShape(text, "0000-00-00 00:00:00")) {
        return std::nullopt;
    }
    Z9TIME time{};
    time.year = ReadDigits<uint16_t>(text.substr(0, 4));
    time.month = ReadDigits<uint8_t>(text.substr(5, 2));
    time.day = ReadDigits<uint8_t>(text.substr(8, 2));
    time.hour = ReadDigits<uint8_t>(text.substr(11, 2));
    time.minute = ReadDigits<uint8_t>(text.substr(14, 2));
    time.second = ReadDigits<uint8_t>(text.substr(17, 2));
    if (text.size() > 19) time.msec = ReadDigits<uint16_t>(text.substr(20, 3));
    return time;
}

// The broken-down local time as the C library wants it; it finds out by itself whether summer time holds.
std::tm ToLocalTm(const Z9TIME& time)
{
    std::tm broken{};
    broken.tm_year = time.year - kTmYearBase;
    broken.tm_mon = time.month - 1;
    broken.tm_mday = time.day;
    broken.tm_hour = time.hour;
    broken.tm_min = time.minute;
    broken.tm_sec = time.second;
    broken.tm_isdst = -1;
    return broken;
}

// A Z9TIME of the fields; nothing when the year does not fit.
std::optional<Z9TIME> FromTm(const std::tm& broken, uint16_t msec)
{
    const long year = static_cast<long>(broken.tm_year) + kTmYearBase;
    if (year < 1 || year > std::numeric_limits<uint16_t>::max()) return std::nullopt;
    Z9TIME time{};
    time.year = static_cast<uint16_t>(year);
    time.month = static_cast<uint8_t>(broken.tm_mon + 1);
    time.day = static_cast<uint8_t>(broken.tm_mday);
    time.hour = static_cast<uint8_t>(broken.tm_hour);
    time.minute = static_cast<uint8_t>(broken.tm_min);
    time.second = static_cast<uint8_t>(broken.tm_sec);
    time.msec = msec;
    return time;
}

} // namespace

Z9ERR Z9TimeGetFromStr(Z9TIME* time, const char* text)
{
    if (time == nullptr || text == nullptr) return z9::kWrongArguments;
    const std::optional<Z9TIME> read = ReadTime(text);
    if (!read || Z9TimeCheck(&*read) != z9::kOk) return z9::kWrongArguments;
    *time = *read;
    return z9::kOk;
}

Z9ERR Z9TimeCheck(const Z9TIME* time)
{
    if (time == nullptr) return z9::kWrongArguments;
    return IsNull(*time) || IsInCalendar(*time) ? z9::kOk : z9::kWrongArguments;
}

Z9ERR Z9TimeConvertLocalToUTC(Z9TIME* utc, const Z9TIME* local)
{
    if (utc == nullptr || Z9TimeCheck(local) != z9::kOk) return z9::kWrongArguments;
    if (IsNull(*local)) { // the null time is no time in every zone
        *utc = Z9TIME{};
        return z9::kOk;
    }
    std::tm broken = ToLocalTm(*local);
    broken.tm_wday = -1; // -1 seconds is a moment of 1969, so failure shows only in a week day left alone
    const std::time_t moment = std::mktime(&broken);
    if (broken.tm_wday == -1) return z9::kWrongArguments;
    std::tm broken_utc{};
    if (gmtime_r(&moment, &broken_utc) == nullptr) return z9::kWrongArguments;
    const std::optional<Z9TIME> converted = FromTm(broken_utc, local->msec);
    if (!converted) return z9::kWrongArguments;
    *utc = *converted;
    return z9::kOk;
}
