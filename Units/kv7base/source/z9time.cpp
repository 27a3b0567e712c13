#include "z9time.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <sys/time.h>

#include "except.h"

namespace {

constexpr std::uint64_t NanosecondsInSecond = 1000000000;
constexpr std::uint64_t NanosecondsInMillisecond = 1000000;
constexpr std::int64_t MillisecondsInSecond = 1000;
constexpr std::int64_t MillisecondsInMinute = 60 * MillisecondsInSecond;
constexpr std::int64_t MillisecondsInHour = 60 * MillisecondsInMinute;
constexpr std::int64_t MillisecondsInDay = 24 * MillisecondsInHour;

constexpr bool IsLeap(int year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

} // namespace

int vxl_MonthDays(int month, int year)
{
    static constexpr std::array days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12)
        throw kv7base::CArgumentException(KV7_CURRENT_LOCATION).Fmt("vxl_MonthsDays: Invalid month (%d)", month);
    return month == 2 && IsLeap(year) ? 29 : days[static_cast<std::size_t>(month - 1)];
}

namespace kv7base {
namespace {

std::chrono::nanoseconds ReadClock(clockid_t clock) noexcept
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

tm LocalTime(std::time_t seconds)
{
    tm parts{};
    if (localtime_r(&seconds, &parts) == nullptr)
        throw std::runtime_error("could not convert calendar time to local time");
    return parts;
}

/// The broken-down local time as the C library wants it.
tm ToLocalTm(const Z9TIME& time) noexcept
{
    tm parts{};
    parts.tm_year = time.year - 1900;
    parts.tm_mon = time.month - 1;
    parts.tm_mday = time.day;
    parts.tm_hour = time.hour;
    parts.tm_min = time.minute;
    parts.tm_sec = time.second;
    parts.tm_isdst = -1; // the C library knows whether summer time was on
    return parts;
}

CZ9Time FromParts(const tm& parts, unsigned msec)
{
    return CZ9Time(static_cast<unsigned>(parts.tm_year + 1900), static_cast<unsigned>(parts.tm_mon + 1),
                   static_cast<unsigned>(parts.tm_mday), static_cast<unsigned>(parts.tm_hour),
                   static_cast<unsigned>(parts.tm_min),
                   // A leap second has no place in the record; it is shown as the one before.
                   static_cast<unsigned>(parts.tm_sec > 59 ? 59 : parts.tm_sec), msec);
}

/// Days since 1970-01-01 by the calendar. A day past the month's end counts on into the next month.
std::int64_t DayNumber(const Z9TIME& time)
{
    (void)vxl_MonthDays(time.month, time.year); // refuses what is no month
    const std::chrono::year_month_day first{std::chrono::year(time.year), std::chrono::month(time.month),
                                            std::chrono::day(1)};
    return std::chrono::sys_days(first).time_since_epoch().count() + time.day - 1;
}

std::int64_t MillisecondOfDay(const Z9TIME& time) noexcept
{
    return time.hour * MillisecondsInHour + time.minute * MillisecondsInMinute + time.second * MillisecondsInSecond +
           time.msec;
}

/// Milliseconds since 1970-01-01 00:00 of the same wall clock.
std::int64_t ToMilliseconds(const Z9TIME& time) { return DayNumber(time) * MillisecondsInDay + MillisecondOfDay(time); }

[[noreturn]] void ThrowYear(std::int64_t year)
{
    throw CArgumentException(KV7_CURRENT_LOCATION).Fmt("year (%d)", static_cast<int>(year));
}

CZ9Time FromMilliseconds(std::int64_t count)
{
    constexpr std::int64_t lastDay = 11248737; // 32767-12-31, the last day that the calendar arithmetic reaches
    constexpr std::int64_t firstDay = -719528; // 0000-01-01
    std::int64_t dayNumber = count / MillisecondsInDay;
    std::int64_t rest = count % MillisecondsInDay;
    if (rest < 0) {
        rest += MillisecondsInDay;
        --dayNumber;
    }
    if (dayNumber < firstDay) ThrowYear(-1);
    if (dayNumber > lastDay) ThrowYear(32768);
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(dayNumber))};
    return CZ9Time(static_cast<unsigned>(static_cast<int>(date.year())), static_cast<unsigned>(date.month()),
                   static_cast<unsigned>(date.day()), static_cast<unsigned>(rest / MillisecondsInHour),
                   static_cast<unsigned>(rest / MillisecondsInMinute % 60),
                   static_cast<unsigned>(rest / MillisecondsInSecond % 60), static_cast<unsigned>(rest % 1000));
}

std::int64_t MillisecondsIn(CZ9Time::Precision precision) noexcept
{
    switch (precision) {
    case CZ9Time::dtpDay:
        return MillisecondsInDay;
    case CZ9Time::dtpHour:
        return MillisecondsInHour;
    case CZ9Time::dtpMinute:
        return MillisecondsInMinute;
    case CZ9Time::dtpSecond:
        return MillisecondsInSecond;
    default:
        return 1;
    }
}

void CheckField(const char* format, unsigned value, unsigned largest)
{
    if (value > largest) throw CArgumentException(KV7_CURRENT_LOCATION).Fmt(format, value);
}

[[noreturn]] void ThrowUnsupportedFormat()
{
    throw CArgumentException(KV7_CURRENT_LOCATION).Fmt("Unsupported format string.");
}

[[noreturn]] void ThrowMismatch()
{
    throw CArgumentException(KV7_CURRENT_LOCATION).Fmt("Parameter mismatch (wrong format of input string).");
}

/// Walks a format: calls plain(character) for an ordinary character, verb(letter) for the letter after a percent sign.
template <class Plain, class Verb>
void WalkFormat(std::string_view format, Plain plain, Verb verb)
{
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            plain(format[i]);
        } else if (++i == format.size()) {
            ThrowUnsupportedFormat();
        } else if (format[i] == '%') {
            plain('%');
        } else {
            verb(format[i]);
        }
    }
}

/// Decimal digits, zeros in front up to the width.
std::string Padded(std::int64_t value, std::size_t width)
{
    std::string digits = std::to_string(value);
    if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
    return digits;
}

/// One numeric field of a date: how a format names it, how many digits it has, where it lives.
struct Field
{
    char verb;
    std::size_t width;
    void (CZ9Time::*set)(unsigned);
    unsigned (*get)(const CZ9Time&);
};

constexpr std::array fields{
    Field{'Y', 4, &CZ9Time::SetYear, [](const CZ9Time& time) -> unsigned { return time.year; }},
    Field{'m', 2, &CZ9Time::SetMonth, [](const CZ9Time& time) -> unsigned { return time.month; }},
    Field{'d', 2, &CZ9Time::SetDay, [](const CZ9Time& time) -> unsigned { return time.day; }},
    Field{'H', 2, &CZ9Time::SetHour, [](const CZ9Time& time) -> unsigned { return time.hour; }},
    Field{'M', 2, &CZ9Time::SetMinute, [](const CZ9Time& time) -> unsigned { return time.minute; }},
    Field{'S', 2, &CZ9Time::SetSecond, [](const CZ9Time& time) -> unsigned { return time.second; }},
    Field{'L', 3, &CZ9Time::SetMillisecond, [](const CZ9Time& time) -> unsigned { return time.msec; }},
};

const Field& FieldOf(char verb)
{
    for (const Field& field : fields)
        if (field.verb == verb) return field;
    ThrowUnsupportedFormat();
}

/// Takes exactly width digits off the front of the text.
unsigned TakeDigits(std::string_view& text, std::size_t width)
{
    if (text.size() < width) ThrowMismatch();
    unsigned value = 0;
    for (const char c : text.substr(0, width)) {
        if (c < '0' || c > '9') ThrowMismatch();
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    text.remove_prefix(width);
    return value;
}

constexpr std::array<std::string_view, 12> monthNames{"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> weekdayNames{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};

std::string_view MonthName(const CZ9Time& time)
{
    (void)vxl_MonthDays(time.month, time.year);
    return monthNames[time.month - 1U];
}

std::string_view WeekdayName(const CZ9Time& time)
{
    const std::chrono::weekday weekday{std::chrono::sys_days(std::chrono::days(DayNumber(time)))};
    return weekdayNames[weekday.c_encoding()];
}

int Order(unsigned a, unsigned b) noexcept { return a < b ? -1 : static_cast<int>(a > b); }

} // namespace

fast_steady_clock::time_point fast_steady_clock::now() noexcept { return time_point(ReadClock(CLOCK_MONOTONIC)); }

fast_system_clock::time_point fast_system_clock::now() noexcept { return time_point(ReadClock(CLOCK_REALTIME)); }

// The span.

CZ9TimeSpan::CZ9TimeSpan(int days, int hours, int minutes, int seconds, int milliseconds) noexcept
    : m_span(days * MillisecondsInDay + hours * MillisecondsInHour + minutes * MillisecondsInMinute +
             seconds * MillisecondsInSecond + milliseconds)
{}

std::int64_t CZ9TimeSpan::GetDays() const noexcept { return m_span / MillisecondsInDay; }
int CZ9TimeSpan::GetHours() const noexcept { return static_cast<int>(m_span / MillisecondsInHour % 24); }
int CZ9TimeSpan::GetMinutes() const noexcept { return static_cast<int>(m_span / MillisecondsInMinute % 60); }
int CZ9TimeSpan::GetSeconds() const noexcept { return static_cast<int>(m_span / MillisecondsInSecond % 60); }
int CZ9TimeSpan::GetMilliseconds() const noexcept { return static_cast<int>(m_span % MillisecondsInSecond); }
std::int64_t CZ9TimeSpan::GetTotalHours() const noexcept { return m_span / MillisecondsInHour; }
std::int64_t CZ9TimeSpan::GetTotalMinutes() const noexcept { return m_span / MillisecondsInMinute; }
std::int64_t CZ9TimeSpan::GetTotalSeconds() const noexcept { return m_span / MillisecondsInSecond; }

std::string CZ9TimeSpan::ToString() const { return ToString("%-%D.%H:%M:%S.%L"); }

std::string CZ9TimeSpan::ToString(std::string_view format) const
{
    std::string text;
    const auto verb = [&](char letter) {
        switch (letter) {
        case '-':
            text += m_span < 0 ? "-" : "";
            break;
        case 'D':
            text += std::to_string(std::abs(GetDays()));
            break;
        case 'H':
            text += Padded(std::abs(GetHours()), 2);
            break;
        case 'M':
            text += Padded(std::abs(GetMinutes()), 2);
            break;
        case 'S':
            text += Padded(std::abs(GetSeconds()), 2);
            break;
        case 'L':
            text += Padded(std::abs(GetMilliseconds()), 3);
            break;
        default:
            ThrowUnsupportedFormat();
        }
    };
    WalkFormat(
        format, [&](char c) { text += c; }, verb);
    return text;
}

// The time.

constinit const CZ9Time CZ9Time::defaultZ9Time{};

CZ9Time::CZ9Time(unsigned year_, unsigned month_, unsigned day_, unsigned hour_, unsigned minute_, unsigned second_,
                 unsigned msec_)
    : Z9TIME{}
{
    SetDateTime(year_, month_, day_, hour_, minute_, second_, msec_);
}

void CZ9Time::SetMonth(unsigned value)
{
    CheckField("month (%u)", value, 12);
    month = static_cast<std::uint8_t>(value);
}

void CZ9Time::SetDay(unsigned value)
{
    CheckField("day (%u)", value, 31);
    day = static_cast<std::uint8_t>(value);
}

void CZ9Time::SetHour(unsigned value)
{
    CheckField("hour (%u)", value, 23);
    hour = static_cast<std::uint8_t>(value);
}

void CZ9Time::SetMinute(unsigned value)
{
    CheckField("min (%u)", value, 59);
    minute = static_cast<std::uint8_t>(value);
}

void CZ9Time::SetSecond(unsigned value)
{
    CheckField("sec (%u)", value, 59);
    second = static_cast<std::uint8_t>(value);
}

void CZ9Time::SetMillisecond(unsigned value)
{
    CheckField("msec (%u)", value, 999);
    msec = static_cast<std::uint16_t>(value);
}

void CZ9Time::SetDateTime(unsigned year_, unsigned month_, unsigned day_, unsigned hour_, unsigned minute_,
                          unsigned second_, unsigned msec_)
{
    SetYear(year_);
    SetMonth(month_);
    SetDay(day_);
    SetHour(hour_);
    SetMinute(minute_);
    SetSecond(second_);
    SetMillisecond(msec_);
}

void CZ9Time::SetTimeOfADay(const Z9TIME& time) noexcept
{
    hour = time.hour;
    minute = time.minute;
    second = time.second;
    msec = time.msec;
}

bool CZ9Time::IsNull() const noexcept { return Compare(*this, defaultZ9Time) == 0; }

bool CZ9Time::IsUnixEpoch() const noexcept
{
    return year == 1970 && month == 1 && day == 1 && MillisecondOfDay(*this) == 0;
}

Z9ERR CZ9Time::TimeCheck() const noexcept
{
    const bool isInCalendar = year >= 1 && month >= 1 && month <= 12 && day >= 1 && day <= vxl_MonthDays(month, year) &&
                              hour <= 23 && minute <= 59 && second <= 59 && msec <= 999;
    return IsNull() || isInCalendar ? Z9ERR_OK : Z9ERR_COMMON_WRONG_ARGUMENTS;
}

Z9ERR CZ9Time::ConvertLocalTimeToUTC(CZ9Time& utc) const noexcept
{
    if (TimeCheck() != Z9ERR_OK) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    if (IsNull()) { // the null time is no time in every zone
        utc.SetNull();
        return Z9ERR_OK;
    }
    tm local = ToLocalTm(*this);
    local.tm_wday = -1; // -1 seconds is a moment of 1969, so failure shows only in a week day left alone
    const std::time_t moment = std::mktime(&local);
    tm parts{};
    if (local.tm_wday == -1 || gmtime_r(&moment, &parts) == nullptr) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    const long yearOfUtc = parts.tm_year + 1900L;
    if (yearOfUtc < 1 || yearOfUtc > std::numeric_limits<decltype(year)>::max()) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    utc = FromParts(parts, msec);
    return Z9ERR_OK;
}

CZ9Time CZ9Time::Now()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return FromParts(LocalTime(now.tv_sec), static_cast<unsigned>(now.tv_usec / 1000));
}

int CZ9Time::Compare(const Z9TIME& a, const Z9TIME& b, Precision precision) noexcept
{
    if (const int order = Order(a.year, b.year); order != 0) return order;
    if (const int order = Order(a.month, b.month); order != 0) return order;
    if (const int order = Order(a.day, b.day); order != 0 || precision == dtpDay) return order;
    if (const int order = Order(a.hour, b.hour); order != 0 || precision == dtpHour) return order;
    if (const int order = Order(a.minute, b.minute); order != 0 || precision == dtpMinute) return order;
    if (const int order = Order(a.second, b.second); order != 0 || precision == dtpSecond) return order;
    return Order(a.msec, b.msec);
}

CZ9Time& CZ9Time::Add(Precision precision, std::int64_t amount)
{
    std::int64_t milliseconds = 0;
    if (__builtin_mul_overflow(amount, MillisecondsIn(precision), &milliseconds)) ThrowYear(amount < 0 ? -1 : 32768);
    return Add(CZ9TimeSpan(milliseconds));
}

CZ9Time& CZ9Time::Add(const CZ9TimeSpan& span)
{
    std::int64_t sum = 0;
    if (__builtin_add_overflow(ToMilliseconds(*this), span.GetTotalFractions(), &sum))
        ThrowYear(span.GetTotalFractions() < 0 ? -1 : 32768);
    return *this = FromMilliseconds(sum);
}

CZ9Time& CZ9Time::Subtract(const CZ9TimeSpan& span)
{
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(ToMilliseconds(*this), span.GetTotalFractions(), &difference))
        ThrowYear(span.GetTotalFractions() > 0 ? -1 : 32768);
    return *this = FromMilliseconds(difference);
}

CZ9TimeSpan CZ9Time::Since(const CZ9Time& earlier) const
{
    return CZ9TimeSpan(ToMilliseconds(*this) - ToMilliseconds(earlier));
}

void CZ9Time::Parse(std::string_view text, std::string_view format)
{
    CZ9Time parsed;
    const auto plain = [&](char c) {
        if (text.empty() || text.front() != c) ThrowMismatch();
        text.remove_prefix(1);
    };
    const auto verb = [&](char letter) {
        const Field& field = FieldOf(letter);
        (parsed.*field.set)(TakeDigits(text, field.width));
    };
    WalkFormat(format, plain, verb);
    if (!text.empty()) ThrowMismatch();
    *this = parsed;
}

CZ9Time CZ9Time::Create(std::string_view text, std::string_view format)
{
    CZ9Time time;
    time.Parse(text, format);
    return time;
}

std::string CZ9Time::ToString(std::string_view format) const
{
    std::string text;
    const auto verb = [&](char letter) {
        switch (letter) {
        case 'A':
            text += WeekdayName(*this);
            break;
        case 'B':
            text += MonthName(*this);
            break;
        default: {
            const Field& field = FieldOf(letter);
            text += Padded(field.get(*this), field.width);
        }
        }
    };
    WalkFormat(
        format, [&](char c) { text += c; }, verb);
    return text;
}

std::string CZ9Time::ToShortDateString() const
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%u-%u-%u", unsigned{year}, unsigned{month}, unsigned{day});
    return text.data();
}

std::string CZ9Time::ToTimeString() const
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02u:%02u:%02u.%03hu", unsigned{hour}, unsigned{minute}, unsigned{second},
                  msec);
    return text.data();
}

std::string CZ9Time::ToDateTimeString() const { return ToShortDateString() + " " + ToTimeString(); }

std::string CZ9Time::ToLongDateString() const { return ToString("%A %B %d, %Y"); }

// Nanoseconds since the epoch.

void CZ9Time::FromUnixNanosecondsToString(UnixNanosecondsTime time, char* buffer, std::size_t size)
{
    const tm parts = LocalTime(static_cast<std::time_t>(time / NanosecondsInSecond));
    std::snprintf(buffer, size, "%04d.%02d.%02d %02d:%02d:%02d.%9.9lu", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, time % NanosecondsInSecond);
}

CZ9Time CZ9Time::FromUnixNanosecondsTime(UnixNanosecondsTime time)
{
    const tm parts = LocalTime(static_cast<std::time_t>(time / NanosecondsInSecond));
    return FromParts(parts, static_cast<unsigned>(time % NanosecondsInSecond / NanosecondsInMillisecond));
}

UnixNanosecondsTime CZ9Time::ToUnixNanosecondsTimeRaw(const Z9TIME& time)
{
    tm parts = ToLocalTm(time);
    const std::int64_t seconds = mktime(&parts);
    const std::int64_t below = time.msec * static_cast<std::int64_t>(NanosecondsInMillisecond);
    std::int64_t nanoseconds = 0;
    // Just before the epoch -1 is a time like any other.
    const bool failed = seconds == -1 && time.year > 1970;
    if (failed || __builtin_mul_overflow(seconds, std::int64_t{NanosecondsInSecond}, &nanoseconds) ||
        __builtin_add_overflow(nanoseconds, below, &nanoseconds))
        throw CArgumentException(KV7_CURRENT_LOCATION).Fmt("arg %t cannot be represented as a time_t object");
    return static_cast<UnixNanosecondsTime>(nanoseconds);
}

UnixNanosecondsTime CZ9Time::ToUnixNanosecondsTime(const Z9TIME& time)
{
    if (time.year < 1900) throw CArgumentException(KV7_CURRENT_LOCATION).Fmt("year (%u)", unsigned{time.year});
    return ToUnixNanosecondsTimeRaw(
        CZ9Time(time.year, time.month, time.day, time.hour, time.minute, time.second, time.msec));
}

UnixNanosecondsTime CZ9Time::NowUnixNanosecondsTime() noexcept
{
    return static_cast<UnixNanosecondsTime>(fast_system_clock::now().time_since_epoch().count());
}

} // namespace kv7base
