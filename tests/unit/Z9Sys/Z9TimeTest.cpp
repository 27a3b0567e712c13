// Calendar time: the two text forms, checks, local time to UTC.
#include "Z9Time.h"

#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

bool operator==(const Z9TIME& a, const Z9TIME& b)
{
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour && a.minute == b.minute &&
           a.second == b.second && a.msec == b.msec;
}

std::ostream& operator<<(std::ostream& out, const Z9TIME& t)
{
    return out << t.year << '-' << int{t.month} << '-' << int{t.day} << ' ' << int{t.hour} << ':' << int{t.minute}
               << ':' << int{t.second} << '.' << t.msec;
}

namespace test::Z9TimeTest {
namespace {

Z9TIME Time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int msec = 0)
{
    Z9TIME time{};
    time.year = static_cast<uint16_t>(year);
    time.month = static_cast<uint8_t>(month);
    time.day = static_cast<uint8_t>(day);
    time.hour = static_cast<uint8_t>(hour);
    time.minute = static_cast<uint8_t>(minute);
    time.second = static_cast<uint8_t>(second);
    time.msec = static_cast<uint16_t>(msec);
    return time;
}

const Z9TIME kUntouched = Time(1, 2, 3, 4, 5, 6, 7);

TEST(Z9TimeTest, BothTextFormsAreRead)
{
    const struct
    {
        const char* text;
        Z9TIME expected;
    } cases[] = {
        {"2026/11/21/10/15/30/123", Time(2026, 11, 21, 10, 15, 30, 123)},
        {"2026-11-21 10:15:30.123", Time(2026, 11, 21, 10, 15, 30, 123)},
        {"2026-11-21 10:15:30", Time(2026, 11, 21, 10, 15, 30, 0)},
        {"0001/01/01/00/00/00/000", Time(1, 1, 1)},
        {"9999-12-31 23:59:59.999", Time(9999, 12, 31, 23, 59, 59, 999)},
        {"2000/02/29/00/00/00/000", Time(2000, 2, 29)}, // divisible by 400
        {"2024-02-29 08:09:07", Time(2024, 2, 29, 8, 9, 7)},
    };
    for (const auto& c : cases) {
        Z9TIME time = kUntouched;
        EXPECT_EQ(Z9TimeGetFromStr(&time, c.text), 0u) << c.text;
        EXPECT_EQ(time, c.expected) << c.text;
        EXPECT_EQ(time.reserved_, 0) << c.text;
    }
}

TEST(Z9TimeTest, AllDigitsZeroIsTheNullTime)
{
    for (const char* text : {"0000/00/00/00/00/00/000", "0000-00-00 00:00:00", "0000-00-00 00:00:00.000"}) {
        Z9TIME time = kUntouched;
        EXPECT_EQ(Z9TimeGetFromStr(&time, text), 0u) << text;
        EXPECT_EQ(time, Z9TIME{}) << text;
    }
}

TEST(Z9TimeTest, AnythingElseIsRefusedAndLeavesTheTimeAsItWas)
{
    for (const char* text : {
             "",
             "2026/11/21",
             "2026-11-21",
             "2026/11/21/10/15/30",      // this form has milliseconds
             "2026/11/21/10/15/30/12",   // three digits of them
             "2026/11/21/10/15/30/1234", //
             "2026-11-21 10:15:30.",     //
             "2026-11-21 10:15:30.12",   //
             "2026-11-21 10:15:30.1234", //
             "2026-11-21T10:15:30",      //
             "2026-11-21/10:15:30",      //
             "2026-11-21 10:15:30,123",  //
             " 2026-11-21 10:15:30",     //
             "2026-11-21 10:15:30 ",     //
             "2026-1-21 10:15:30",       //
             "+026-11-21 10:15:30",      //
             "2026-11-21 10:15:3x",      //
             "2026-00-21 10:15:30",      // month 0 of a year
             "2026-13-21 10:15:30",      //
             "2026-11-00 10:15:30",      //
             "2026-11-31 10:15:30",      // November has 30 days
             "2023-02-29 10:15:30",      //
             "1900/02/29/00/00/00/000",  // divisible by 100 and not by 400
             "2026-11-21 24:00:00",      //
             "2026-11-21 10:60:30",      //
             "2026-11-21 10:15:60",      //
             "0000/00/00/00/00/00/001",  // no day, yet a time
             "0000-01-01 00:00:00",      //
         }) {
        Z9TIME time = kUntouched;
        EXPECT_EQ(Z9TimeGetFromStr(&time, text), 2u) << text;
        EXPECT_EQ(time, kUntouched) << text;
    }
}

TEST(Z9TimeTest, NullPointersAreRefused)
{
    Z9TIME time = kUntouched;
    EXPECT_EQ(Z9TimeGetFromStr(nullptr, "2026-11-21 10:15:30"), 2u);
    EXPECT_EQ(Z9TimeGetFromStr(&time, nullptr), 2u);
    EXPECT_EQ(Z9TimeCheck(nullptr), 2u);
    EXPECT_EQ(Z9TimeConvertLocalToUTC(nullptr, &time), 2u);
    EXPECT_EQ(Z9TimeConvertLocalToUTC(&time, nullptr), 2u);
    EXPECT_EQ(time, kUntouched);
}

TEST(Z9TimeTest, CheckKnowsTheCalendar)
{
    const struct
    {
        Z9TIME time;
        Z9ERR expected;
    } cases[] = {
        {Z9TIME{}, 0},
        {Time(2026, 11, 21, 23, 59, 59, 999), 0},
        {Time(2000, 2, 29), 0},
        {Time(1900, 2, 28), 0},
        {Time(65535, 12, 31), 0},
        {Time(1900, 2, 29), 2},
        {Time(2026, 4, 31), 2},
        {Time(2026, 12, 32), 2},
        {Time(2026, 0, 1), 2},
        {Time(2026, 13, 1), 2},
        {Time(2026, 1, 0), 2},
        {Time(0, 1, 1), 2},
        {Time(0, 0, 0, 12), 2},
        {Time(2026, 1, 1, 24), 2},
        {Time(2026, 1, 1, 0, 60), 2},
        {Time(2026, 1, 1, 0, 0, 60), 2},
        {Time(2026, 1, 1, 0, 0, 0, 1000), 2},
        {Time(2026, 255, 255), 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Z9TimeCheck(&c.time), c.expected) << c.time;
}

// Sets the zone of the process and puts the old one back.
class Zone
{
public:
    explicit Zone(const char* name)
    {
        if (const char* before = std::getenv("TZ")) before_ = before;
        Set(name);
    }
    ~Zone() { Set(before_.empty() ? nullptr : before_.c_str()); }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    static void Set(const char* name)
    {
        if (name != nullptr)
            setenv("TZ", name, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    std::string before_;
};

Z9TIME ToUTC(const Z9TIME& local)
{
    Z9TIME utc = kUntouched;
    EXPECT_EQ(Z9TimeConvertLocalToUTC(&utc, &local), 0u) << local;
    return utc;
}

TEST(Z9TimeTest, LocalTimeEastOfGreenwichIsAheadOfUTC)
{
    const Zone zone("EAST-3"); // three hours ahead, all year
    EXPECT_EQ(ToUTC(Time(2026, 11, 21, 10, 15, 30, 123)), Time(2026, 11, 21, 7, 15, 30, 123));
    EXPECT_EQ(ToUTC(Time(2026, 1, 1, 1, 30)), Time(2025, 12, 31, 22, 30)); // over the turn of the year
    EXPECT_EQ(ToUTC(Time(2024, 3, 1, 2, 0)), Time(2024, 2, 29, 23, 0));
}

TEST(Z9TimeTest, SummerTimeIsTakenFromTheZone)
{
    const Zone zone("CET-1CEST,M3.5.0,M10.5.0/3"); // summer time from the last Sunday of March to that of October
    EXPECT_EQ(ToUTC(Time(2026, 1, 15, 12)), Time(2026, 1, 15, 11));
    EXPECT_EQ(ToUTC(Time(2026, 7, 15, 12)), Time(2026, 7, 15, 10));
}

TEST(Z9TimeTest, TheSecondBeforeTheEpochIsATimeAndNoFailure)
{
    const Zone zone("UTC0");
    EXPECT_EQ(ToUTC(Time(1969, 12, 31, 23, 59, 59, 500)), Time(1969, 12, 31, 23, 59, 59, 500));
}

TEST(Z9TimeTest, TheNullTimeIsNullInEveryZone)
{
    const Zone zone("EAST-3");
    EXPECT_EQ(ToUTC(Z9TIME{}), Z9TIME{});
}

TEST(Z9TimeTest, ConversionInPlaceIsAllowed)
{
    const Zone zone("EAST-3");
    Z9TIME time = Time(2026, 11, 21, 10);
    ASSERT_EQ(Z9TimeConvertLocalToUTC(&time, &time), 0u);
    EXPECT_EQ(time, Time(2026, 11, 21, 7));
}

TEST(Z9TimeTest, WhatTheCalendarOrTheRecordCannotHoldIsNotConverted)
{
    Z9TIME utc = kUntouched;
    const Z9TIME bad = Time(2026, 2, 30);
    EXPECT_EQ(Z9TimeConvertLocalToUTC(&utc, &bad), 2u);

    const Zone zone("WEST+3"); // three hours behind, so UTC is in the year 65536
    const Z9TIME last = Time(65535, 12, 31, 23, 0);
    EXPECT_EQ(Z9TimeConvertLocalToUTC(&utc, &last), 2u);
    EXPECT_EQ(utc, kUntouched);
}

} // namespace
} // namespace test::Z9TimeTest
