#include <cstdlib>
#include <ctime>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Z9Time.h"
#include "except.h"
#include "z9time.h"

namespace test::TimeTest {
namespace {

using kv7base::CZ9Time;
using kv7base::CZ9TimeSpan;
using testing::StartsWith;

constexpr std::uint64_t Second = 1000000000;

/// Text of the CArgumentException of an action; empty when there is none.
std::string RefusalOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const kv7base::CArgumentException& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
        return e.what();
    }
    return {};
}

/// A time zone for the length of a test.
class TimeZone
{
public:
    explicit TimeZone(const char* zone)
    {
        if (const char* before = std::getenv("TZ")) m_before = before;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~TimeZone()
    {
        if (m_before)
            ::setenv("TZ", m_before->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> m_before;
};

TEST(MonthDays, FollowTheGregorianCalendar)
{
    EXPECT_EQ(vxl_MonthDays(2, 1900), 28);
    EXPECT_EQ(vxl_MonthDays(2, 2000), 29);
    EXPECT_EQ(vxl_MonthDays(2, 2024), 29);
    EXPECT_EQ(vxl_MonthDays(2, 2023), 28);
    EXPECT_EQ(vxl_MonthDays(1, 2023), 31);
    EXPECT_EQ(vxl_MonthDays(4, 2023), 30);
    EXPECT_EQ(vxl_MonthDays(12, 2023), 31);
    EXPECT_THAT(RefusalOf([] { (void)vxl_MonthDays(13, 2000); }), StartsWith("vxl_MonthsDays: Invalid month (13)"));
    EXPECT_THAT(RefusalOf([] { (void)vxl_MonthDays(0, 2000); }), StartsWith("vxl_MonthsDays: Invalid month (0)"));
    EXPECT_THAT(RefusalOf([] { (void)vxl_MonthDays(-1, 2000); }), StartsWith("vxl_MonthsDays: Invalid month (-1)"));
}

TEST(Time, SettersRefuseWhatIsAboveTheirRangeAndLetZeroPass)
{
    struct Case
    {
        void (CZ9Time::*set)(unsigned);
        unsigned largest;
        const char* refusal; // of the largest and one
    };
    const Case cases[] = {
        {&CZ9Time::SetMonth, 12, "month (13);"}, {&CZ9Time::SetDay, 31, "day (32);"},
        {&CZ9Time::SetHour, 23, "hour (24);"},   {&CZ9Time::SetMinute, 59, "min (60);"},
        {&CZ9Time::SetSecond, 59, "sec (60);"},  {&CZ9Time::SetMillisecond, 999, "msec (1000);"},
    };
    for (const Case& c : cases) {
        CZ9Time time(2026, 1, 2, 3, 4, 5, 6);
        const CZ9Time before = time;
        EXPECT_THAT(RefusalOf([&] { (time.*c.set)(c.largest + 1); }), StartsWith(c.refusal));
        EXPECT_EQ(time, before);
        EXPECT_EQ(RefusalOf([&] { (time.*c.set)(c.largest); }), "") << c.refusal;
        EXPECT_EQ(RefusalOf([&] { (time.*c.set)(0); }), "") << c.refusal;
        EXPECT_NE(time, before);
    }
}

TEST(Time, FieldsAreCheckedFromTheMonthDown)
{
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 13, 32, 24, 60, 60, 1000); }), StartsWith("month (13)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 32, 24, 60, 60, 1000); }), StartsWith("day (32)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1, 24, 60, 60, 1000); }), StartsWith("hour (24)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1, 0, 60, 60, 1000); }), StartsWith("min (60)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1, 0, 0, 60, 1000); }), StartsWith("sec (60)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1, 0, 0, 0, 1000); }), StartsWith("msec (1000)"));
    EXPECT_EQ(RefusalOf([] { (void)CZ9Time(2026, 2, 31); }), "") << "the setters do not know the month's length";
}

TEST(Time, TheNullTimeHasAllFieldsZero)
{
    CZ9Time time(2026, 1, 2);
    EXPECT_FALSE(time.IsNull());
    time.SetNull();
    EXPECT_TRUE(time.IsNull());
    EXPECT_EQ(time, CZ9Time::defaultZ9Time);
    EXPECT_EQ(CZ9Time(0, 0, 0, 0, 0, 0, 0), CZ9Time::defaultZ9Time);
    EXPECT_FALSE(time.IsUnixEpoch());
    EXPECT_TRUE(CZ9Time(1970, 1, 1).IsUnixEpoch());
    EXPECT_FALSE(CZ9Time(1970, 1, 1, 0, 0, 0, 1).IsUnixEpoch());
    EXPECT_EQ(time.TimeCheck(), Z9ERR_OK);
    EXPECT_EQ(CZ9Time(2026, 2, 30).TimeCheck(), Z9ERR_COMMON_WRONG_ARGUMENTS);
}

// The platform has the same check and conversion; neither may know a time that the other does not.
TEST(Time, TheCalendarIsThePlatforms)
{
    std::vector<Z9TIME> times = {Z9TIME{}, CZ9Time(1, 1, 1), CZ9Time(9999, 12, 31, 23, 59, 59, 999)};
    for (const int year : {0, 1900, 1999, 2000, 2024, 2026, 65535})
        for (int month = 0; month <= 13; ++month)
            for (int day = 0; day <= 32; ++day) {
                Z9TIME time{};
                time.year = static_cast<std::uint16_t>(year);
                time.month = static_cast<std::uint8_t>(month);
                time.day = static_cast<std::uint8_t>(day);
                time.hour = 12;
                times.push_back(time);
            }
    const Z9TIME noon = CZ9Time(2026, 3, 4, 12);
    for (auto [field, value] :
         {std::pair{&Z9TIME::hour, 24}, std::pair{&Z9TIME::minute, 60}, std::pair{&Z9TIME::second, 60}}) {
        times.push_back(noon);
        times.back().*field = static_cast<std::uint8_t>(value);
    }
    times.push_back(noon);
    times.back().msec = 1000;

    for (const char* zone : {"UTC", "XXX-3", "YYY+5"}) {
        const TimeZone inZone(zone);
        for (const Z9TIME& plain : times) {
            CZ9Time time(plain);
            EXPECT_EQ(time.TimeCheck(), Z9TimeCheck(&plain)) << time.ToDateTimeString();
            Z9TIME expected = noon;
            CZ9Time utc(noon);
            EXPECT_EQ(time.ConvertLocalTimeToUTC(utc), Z9TimeConvertLocalToUTC(&expected, &plain))
                << zone << " " << time.ToDateTimeString();
            EXPECT_EQ(CZ9Time::Compare(utc, expected), 0) << zone << " " << time.ToDateTimeString();
        }
    }
}

TEST(Time, ComparisonStopsAtItsPrecision)
{
    const CZ9Time a(2026, 3, 4, 5, 6, 7, 8);
    const CZ9Time b(2026, 3, 4, 5, 6, 8, 7);
    EXPECT_EQ(CZ9Time::Compare(a, b, CZ9Time::dtpDay), 0);
    EXPECT_EQ(CZ9Time::Compare(a, b, CZ9Time::dtpHour), 0);
    EXPECT_EQ(CZ9Time::Compare(a, b, CZ9Time::dtpMinute), 0);
    EXPECT_EQ(CZ9Time::Compare(a, b, CZ9Time::dtpSecond), -1);
    EXPECT_EQ(CZ9Time::Compare(b, a, CZ9Time::dtpMillisecond), 1);
    EXPECT_LT(a, b);
    EXPECT_EQ(CZ9Time::Compare(CZ9Time(2026, 3, 4), CZ9Time(2025, 12, 31), CZ9Time::dtpDay), 1);
}

TEST(Time, DifferencesCountDaysByTheCalendar)
{
    // 2024 is a leap year: 29 February lies between, so 2 days; 2023 has 1.
    EXPECT_EQ((CZ9Time(2024, 3, 1) - CZ9Time(2024, 2, 28)).GetDays(), 2);
    EXPECT_EQ((CZ9Time(2023, 3, 1) - CZ9Time(2023, 2, 28)).GetDays(), 1);
    const CZ9TimeSpan span = CZ9Time(2026, 1, 2, 3, 4, 5, 6) - CZ9Time(2026, 1, 1, 4, 5, 6, 7);
    // A day less an hour, a minute, a second and a millisecond: 22:58:58.999.
    EXPECT_EQ(span, CZ9TimeSpan(0, 22, 58, 58, 999));
    EXPECT_EQ((CZ9Time(2026, 1, 1) - CZ9Time(2026, 1, 2)).GetTotalFractions(), -86400000);
    EXPECT_THAT(RefusalOf([] { (void)(CZ9Time(2026, 1, 1) - CZ9Time()); }),
                StartsWith("vxl_MonthsDays: Invalid month (0)"));
}

TEST(Time, AddingCarriesOverEveryBorder)
{
    using enum CZ9Time::Precision;
    EXPECT_EQ(CZ9Time(2023, 12, 31, 23, 59, 59, 999).Add(dtpMillisecond, 1), CZ9Time(2024, 1, 1));
    EXPECT_EQ(CZ9Time(2024, 2, 28).Add(dtpDay, 1), CZ9Time(2024, 2, 29));
    EXPECT_EQ(CZ9Time(2023, 2, 28).Add(dtpDay, 1), CZ9Time(2023, 3, 1));
    EXPECT_EQ(CZ9Time(2024, 1, 1).Add(dtpSecond, -1), CZ9Time(2023, 12, 31, 23, 59, 59));
    EXPECT_EQ(CZ9Time(2024, 1, 1).Add(dtpHour, 25), CZ9Time(2024, 1, 2, 1));
    EXPECT_EQ(CZ9Time(2024, 1, 1).Add(dtpMinute, -90), CZ9Time(2023, 12, 31, 22, 30));
    EXPECT_EQ(CZ9Time(1969, 12, 31).Add(dtpDay, 1), CZ9Time(1970, 1, 1));
    EXPECT_EQ(CZ9Time(2024, 3, 1).Subtract(CZ9TimeSpan(1, 0, 0, 0, 0)), CZ9Time(2024, 2, 29));
    EXPECT_EQ(CZ9Time(2024, 3, 1).Add(CZ9TimeSpan(0, 0, 0, 0, 5)), CZ9Time(2024, 3, 1, 0, 0, 0, 5));
}

TEST(Time, AddingStaysWithinTheYearsThatExist)
{
    using enum CZ9Time::Precision;
    EXPECT_EQ(CZ9Time(0, 1, 2).Add(dtpDay, -1), CZ9Time(0, 1, 1));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(0, 1, 1).Add(dtpMillisecond, -1); }), StartsWith("year (-1)"));
    EXPECT_EQ(CZ9Time(32767, 12, 30).Add(dtpDay, 1), CZ9Time(32767, 12, 31));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(32767, 12, 31).Add(dtpDay, 1); }), StartsWith("year (32768)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1).Add(dtpDay, INT64_MAX); }), StartsWith("year (32768)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1).Add(dtpMillisecond, INT64_MAX); }),
                StartsWith("year (32768)"));
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time(2026, 1, 1).Subtract(CZ9TimeSpan(INT64_MIN)); }),
                StartsWith("year (32768)"));
}

TEST(Time, TheTimeOfADayIsCopiedWithoutItsDate)
{
    CZ9Time time(2026, 1, 2, 3, 4, 5, 6);
    time.SetTimeOfADay(CZ9Time(1999, 9, 9, 10, 11, 12, 13));
    EXPECT_EQ(time, CZ9Time(2026, 1, 2, 10, 11, 12, 13));
}

TEST(Time, NowLiesBetweenTwoReadingsOfTheClock)
{
    const std::time_t before = std::time(nullptr);
    const CZ9Time now = CZ9Time::Now();
    const std::time_t after = std::time(nullptr);
    const std::uint64_t stamp = CZ9Time::ToUnixNanosecondsTime(now) / Second;
    EXPECT_GE(stamp, static_cast<std::uint64_t>(before));
    EXPECT_LE(stamp, static_cast<std::uint64_t>(after));
    CZ9Time later;
    later.InitNow();
    EXPECT_GE(later, now);
}

TEST(Time, TextsAreReadByTheirFormat)
{
    EXPECT_EQ(CZ9Time::Create("2026-02-09 15:04:05.007", "%Y-%m-%d %H:%M:%S.%L"), CZ9Time(2026, 2, 9, 15, 4, 5, 7));
    EXPECT_EQ(CZ9Time::Create("09.02.2026", "%d.%m.%Y"), CZ9Time(2026, 2, 9));
    EXPECT_EQ(CZ9Time::Create("100% 12", "100%% %H"), CZ9Time(0, 0, 0, 12));
}

TEST(Time, TextsThatDoNotFitAreRefusedAndChangeNothing)
{
    const char* const mismatch = "Parameter mismatch (wrong format of input string).";
    CZ9Time time(2026, 1, 1);
    for (const char* text : {"", "2026", "2026-2-9", "2026-02-09 ", "2026/02/09", "2026-02-0x"})
        EXPECT_THAT(RefusalOf([&] { time.Parse(text, "%Y-%m-%d"); }), StartsWith(mismatch)) << text;
    EXPECT_THAT(RefusalOf([&] { time.Parse("x", "%q"); }), StartsWith("Unsupported format string."));
    EXPECT_THAT(RefusalOf([&] { time.Parse("x", "%"); }), StartsWith("Unsupported format string."));
    EXPECT_THAT(RefusalOf([&] { time.Parse("Monday", "%A"); }), StartsWith("Unsupported format string."));
    EXPECT_THAT(RefusalOf([&] { time.Parse("13", "%m"); }), StartsWith("month (13)"));
    EXPECT_EQ(time, CZ9Time(2026, 1, 1));
}

TEST(Time, TextsAreWrittenByTheirFormat)
{
    const CZ9Time time(2026, 2, 9, 15, 4, 5, 7); // a Monday
    EXPECT_EQ(time.ToString("%Y/%m/%d %H:%M:%S.%L %%"), "2026/02/09 15:04:05.007 %");
    EXPECT_EQ(time.ToShortDateString(), "2026-2-9");
    EXPECT_EQ(time.ToTimeString(), "15:04:05.007");
    EXPECT_EQ(time.ToDateTimeString(), "2026-2-9 15:04:05.007");
    EXPECT_EQ(time.ToLongDateString(), "Monday February 09, 2026");
    EXPECT_EQ(CZ9Time(1970, 1, 1).ToLongDateString(), "Thursday January 01, 1970");
    EXPECT_EQ(CZ9Time(2000, 2, 29).ToLongDateString(), "Tuesday February 29, 2000");
    EXPECT_THAT(RefusalOf([&] { (void)time.ToString("%q"); }), StartsWith("Unsupported format string."));
}

TEST(TimeSpan, PartsCarryTheSignOfTheWhole)
{
    const CZ9TimeSpan span(1, 2, 3, 4, 5);
    EXPECT_EQ(span.GetTotalFractions(), 93784005); // 86400000 + 7200000 + 180000 + 4000 + 5
    EXPECT_EQ(span.GetDays(), 1);
    EXPECT_EQ(span.GetHours(), 2);
    EXPECT_EQ(span.GetMinutes(), 3);
    EXPECT_EQ(span.GetSeconds(), 4);
    EXPECT_EQ(span.GetMilliseconds(), 5);
    EXPECT_EQ(span.GetTotalHours(), 26);
    EXPECT_EQ(span.GetTotalMinutes(), 1563);
    EXPECT_EQ(span.GetTotalSeconds(), 93784);
    EXPECT_EQ(span.ToString(), "1.02:03:04.005");
    const CZ9TimeSpan back(-93784005);
    EXPECT_EQ(back.GetHours(), -2);
    EXPECT_EQ(back.ToString(), "-1.02:03:04.005");
    EXPECT_EQ(back.ToString("%H h"), "02 h");
    EXPECT_LT(back, CZ9TimeSpan());
    EXPECT_THAT(RefusalOf([&] { (void)span.ToString("%x"); }), StartsWith("Unsupported format string."));
}

TEST(UnixTime, NanosecondsBecomeLocalTime)
{
    const TimeZone utc("UTC");
    EXPECT_EQ(CZ9Time::FromUnixNanosecondsTime(1500 * 1000000ULL).msec, 500);
    EXPECT_EQ(CZ9Time::FromUnixNanosecondsTime(0), CZ9Time(1970, 1, 1)) << "the epoch, not the null time";
    // 2026-02-09: 56 years of 365 days and 14 leap days, then 31 + 8 days: 20493 days; 15:04:05 is 54245 s.
    const std::uint64_t seconds = 20493ULL * 86400 + 54245;
    EXPECT_EQ(CZ9Time::FromUnixNanosecondsTime(seconds * Second + 7999999), CZ9Time(2026, 2, 9, 15, 4, 5, 7));
    EXPECT_EQ(CZ9Time::ToUnixNanosecondsTime(CZ9Time(2026, 2, 9, 15, 4, 5, 7)), seconds * Second + 7000000);
}

TEST(UnixTime, TheTimeZoneOfTheProcessCounts)
{
    const TimeZone east("XXX-3"); // three hours ahead of UTC
    EXPECT_EQ(CZ9Time::FromUnixNanosecondsTime(0), CZ9Time(1970, 1, 1, 3));
    EXPECT_EQ(CZ9Time::ToUnixNanosecondsTimeRaw(CZ9Time(1970, 1, 1, 3)), 0U);
    CZ9Time utc;
    EXPECT_EQ(CZ9Time(2026, 1, 1, 2).ConvertLocalTimeToUTC(utc), Z9ERR_OK);
    EXPECT_EQ(utc, CZ9Time(2025, 12, 31, 23));
}

TEST(UnixTime, WhatHasNoPlaceInTheCountIsRefused)
{
    const TimeZone utc("UTC");
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time::ToUnixNanosecondsTime(CZ9Time(1899, 12, 31)); }),
                StartsWith("year (1899)"));
    EXPECT_EQ(RefusalOf([] { (void)CZ9Time::ToUnixNanosecondsTime(CZ9Time(1900, 1, 1)); }), "");
    Z9TIME broken = CZ9Time(2026, 1, 1);
    broken.hour = 24;
    EXPECT_THAT(RefusalOf([&] { (void)CZ9Time::ToUnixNanosecondsTime(broken); }), StartsWith("hour (24)"));
    // 2^63 ns are 292 years: the count ends in 2262. The percent sign is doubled as in every message.
    EXPECT_EQ(RefusalOf([] { (void)CZ9Time::ToUnixNanosecondsTimeRaw(CZ9Time(2262, 1, 1)); }), "");
    EXPECT_THAT(RefusalOf([] { (void)CZ9Time::ToUnixNanosecondsTimeRaw(CZ9Time(2263, 1, 1)); }),
                StartsWith("arg %%t cannot be represented as a time_t object"));
}

TEST(UnixTime, TheSecondBeforeTheEpochIsATimeLikeAnyOther)
{
    const TimeZone utc("UTC");
    // mktime answers -1, which is also its sign of failure; a year up to 1970 is believed.
    EXPECT_EQ(static_cast<std::int64_t>(CZ9Time::ToUnixNanosecondsTimeRaw(CZ9Time(1969, 12, 31, 23, 59, 59))),
              -static_cast<std::int64_t>(Second));
}

TEST(UnixTime, NanosecondsAreWrittenToTheLastDigit)
{
    const TimeZone utc("UTC");
    char text[64];
    CZ9Time::FromUnixNanosecondsToString(1500000007ULL, text, sizeof text);
    EXPECT_STREQ(text, "1970.01.01 00:00:01.500000007");
    char narrow[5];
    CZ9Time::FromUnixNanosecondsToString(0, narrow, sizeof narrow);
    EXPECT_STREQ(narrow, "1970");
}

TEST(Clocks, RunForwardAndAgreeWithTheSystem)
{
    const auto steady = kv7base::fast_steady_clock::now();
    EXPECT_GE(kv7base::fast_steady_clock::now(), steady);
    const auto before = std::chrono::system_clock::now().time_since_epoch();
    const auto stamp = std::chrono::nanoseconds(CZ9Time::NowUnixNanosecondsTime());
    const auto after = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
}

} // namespace
} // namespace test::TimeTest
