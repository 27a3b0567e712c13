// Calendar time of the exchange's records, differences of times, nanoseconds since the epoch, and the clocks.
//
// Always true:  CZ9Time is Z9TIME and nothing more. Its setters refuse a field above its range; zero passes everywhere,
//               because the time whose fields are all zero is the null time and legal.
// Numbers:      local wall-clock time of the process's time zone; CZ9TimeSpan counts milliseconds, signed;
//               UnixNanosecondsTime counts nanoseconds since 1970-01-01 00:00 UTC, 0 is none.
// Errors:       CArgumentException (code 2) with the texts given at each function.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Z9Types.h"
#include "kv7errors.h"

/// Number of days of a month. A month outside 1 to 12: CArgumentException, "vxl_MonthsDays: Invalid month (%d)".
[[nodiscard]] int vxl_MonthDays(int month, int year);

namespace kv7base {

using UnixNanosecondsTime = std::uint64_t;

/// CLOCK_MONOTONIC, read without the standard clock's wrapper.
struct fast_steady_clock
{
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<fast_steady_clock>;
    static constexpr bool is_steady = true;

    [[nodiscard]] static time_point now() noexcept;
};

/// CLOCK_REALTIME, read without the standard clock's wrapper; counts from the Unix epoch.
struct fast_system_clock
{
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<fast_system_clock>;
    static constexpr bool is_steady = false;

    [[nodiscard]] static time_point now() noexcept;
};

/// Signed difference of two times. The parts (GetDays ... GetMilliseconds) carry the sign of the whole.
class CZ9TimeSpan
{
public:
    CZ9TimeSpan() noexcept = default;
    explicit CZ9TimeSpan(std::int64_t milliseconds) noexcept : m_span(milliseconds) {}
    CZ9TimeSpan(int days, int hours, int minutes, int seconds, int milliseconds) noexcept;
    CZ9TimeSpan(const CZ9TimeSpan&) noexcept = default;
    CZ9TimeSpan& operator=(const CZ9TimeSpan&) noexcept = default;
    virtual ~CZ9TimeSpan() = default;

    [[nodiscard]] std::int64_t GetDays() const noexcept;
    [[nodiscard]] int GetHours() const noexcept;        // 0 to 23
    [[nodiscard]] int GetMinutes() const noexcept;      // 0 to 59
    [[nodiscard]] int GetSeconds() const noexcept;      // 0 to 59
    [[nodiscard]] int GetMilliseconds() const noexcept; // 0 to 999
    [[nodiscard]] std::int64_t GetTotalHours() const noexcept;
    [[nodiscard]] std::int64_t GetTotalMinutes() const noexcept;
    [[nodiscard]] std::int64_t GetTotalSeconds() const noexcept;
    /// The count of milliseconds itself.
    [[nodiscard]] std::int64_t GetTotalFractions() const noexcept { return m_span; }

    /// The span as "%D.%H:%M:%S.%L", with a minus in front of a negative span.
    [[nodiscard]] std::string ToString() const;
    /// The span by a format: %D days, %H %M %S two digits, %L three digits of milliseconds, %- a minus when negative,
    /// %% a percent sign. Anything else behind a percent sign: CArgumentException, "Unsupported format string.".
    [[nodiscard]] std::string ToString(std::string_view format) const;

    [[nodiscard]] friend bool operator==(const CZ9TimeSpan& a, const CZ9TimeSpan& b) noexcept
    {
        return a.m_span == b.m_span;
    }
    [[nodiscard]] friend auto operator<=>(const CZ9TimeSpan& a, const CZ9TimeSpan& b) noexcept
    {
        return a.m_span <=> b.m_span;
    }

private:
    std::int64_t m_span = 0; // milliseconds
};

class CZ9Time : public Z9TIME
{
public:
    enum Precision
    {
        dtpDay = 0,
        dtpHour = 1,
        dtpMinute = 2,
        dtpSecond = 3,
        dtpMillisecond = 4,
    };

    static const CZ9Time defaultZ9Time; // the null time

    constexpr CZ9Time() noexcept : Z9TIME{} {}
    constexpr explicit CZ9Time(const Z9TIME& time) noexcept : Z9TIME(time) {}
    CZ9Time(unsigned year_, unsigned month_, unsigned day_, unsigned hour_ = 0, unsigned minute_ = 0,
            unsigned second_ = 0, unsigned msec_ = 0);

    // Each throws CArgumentException with the field's name and the value, "month (%u)", and leaves the field.
    void SetYear(unsigned value) noexcept { year = static_cast<std::uint16_t>(value); }
    void SetMonth(unsigned value);       // at most 12, "month (%u)"
    void SetDay(unsigned value);         // at most 31, "day (%u)"
    void SetHour(unsigned value);        // at most 23, "hour (%u)"
    void SetMinute(unsigned value);      // at most 59, "min (%u)"
    void SetSecond(unsigned value);      // at most 59, "sec (%u)"
    void SetMillisecond(unsigned value); // at most 999, "msec (%u)"
    /// Sets all fields through the setters, month first; the fields before a refused one are set.
    void SetDateTime(unsigned year_, unsigned month_, unsigned day_, unsigned hour_, unsigned minute_, unsigned second_,
                     unsigned msec_);
    /// Copies hour, minute, second and millisecond.
    void SetTimeOfADay(const Z9TIME& time) noexcept;

    [[nodiscard]] bool IsNull() const noexcept;
    void SetNull() noexcept { *this = CZ9Time(); }
    /// True for midnight of 1 January 1970.
    [[nodiscard]] bool IsUnixEpoch() const noexcept;

    /// Checks the time as the platform does: Z9ERR_OK for a time that the calendar holds, the null time included.
    [[nodiscard]] Z9ERR TimeCheck() const noexcept;
    /// Converts this local time to UTC as the platform does; *this is unchanged.
    [[nodiscard]] Z9ERR ConvertLocalTimeToUTC(CZ9Time& utc) const noexcept;

    /// Present local time with milliseconds. Throws std::runtime_error, "could not convert calendar time to local
    /// time".
    [[nodiscard]] static CZ9Time Now();
    void InitNow() { *this = Now(); }

    /// Compares field by field from the year down to the given precision: -1, 0 or 1.
    [[nodiscard]] static int Compare(const Z9TIME& a, const Z9TIME& b, Precision precision = dtpMillisecond) noexcept;

    /// Moves the time onward by `amount` units of the given precision (backward when negative), over month and year
    /// ends. Throws CArgumentException for a month outside 1 to 12 (vxl_MonthDays) and "year (%d)" outside 0 to 32767.
    CZ9Time& Add(Precision precision, std::int64_t amount);
    CZ9Time& Add(const CZ9TimeSpan& span);
    CZ9Time& Subtract(const CZ9TimeSpan& span);
    /// Difference of two times, by the calendar. Throws CArgumentException for a month outside 1 to 12.
    [[nodiscard]] friend CZ9TimeSpan operator-(const CZ9Time& a, const CZ9Time& b) { return a.Since(b); }

    [[nodiscard]] friend bool operator==(const CZ9Time& a, const CZ9Time& b) noexcept { return Compare(a, b) == 0; }
    [[nodiscard]] friend std::strong_ordering operator<=>(const CZ9Time& a, const CZ9Time& b) noexcept
    {
        return Compare(a, b) <=> 0;
    }

    /// Reads text by a format of %Y (four digits) %m %d %H %M %S (two digits each) %L (three), %% and plain
    /// characters; fields that it does not name become 0. *this changes on success only. CArgumentException:
    /// "Unsupported format string." or "Parameter mismatch (wrong format of input string).", or that of a setter.
    void Parse(std::string_view text, std::string_view format);
    [[nodiscard]] static CZ9Time Create(std::string_view text, std::string_view format);

    /// Text by a format with the verbs of Parse, and %A (weekday) and %B (month) in English. "Unsupported format
    /// string." for others.
    [[nodiscard]] std::string ToString(std::string_view format) const;
    [[nodiscard]] std::string ToShortDateString() const; // "2026-2-9"
    [[nodiscard]] std::string ToTimeString() const;      // "15:04:05.007"
    [[nodiscard]] std::string ToDateTimeString() const;  // date and time, a blank between
    [[nodiscard]] std::string ToLongDateString() const;  // "Monday February 09, 2026"

    /// Writes "2026.02.09 15:04:05.000000007", local time, cut to `size`.
    static void FromUnixNanosecondsToString(UnixNanosecondsTime time, char* buffer, std::size_t size);
    /// Local time of a moment, cut to milliseconds. 0 is the epoch, not the null time.
    [[nodiscard]] static CZ9Time FromUnixNanosecondsTime(UnixNanosecondsTime time);
    /// Moment of a local time, its fields unchecked. Throws "arg %t cannot be represented as a time_t object" when the
    /// C library cannot convert it, or when the moment does not fit signed 64 bits.
    [[nodiscard]] static UnixNanosecondsTime ToUnixNanosecondsTimeRaw(const Z9TIME& time);
    /// Moment of a local time, after a check of all fields, a year below 1900 first: "year (%u)".
    [[nodiscard]] static UnixNanosecondsTime ToUnixNanosecondsTime(const Z9TIME& time);
    [[nodiscard]] static UnixNanosecondsTime NowUnixNanosecondsTime() noexcept;

private:
    [[nodiscard]] CZ9TimeSpan Since(const CZ9Time& earlier) const;
};
static_assert(sizeof(CZ9Time) == sizeof(Z9TIME) && sizeof(Z9TIME) == 10);

} // namespace kv7base
