#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "OnlineTimer.h"
#include "TempFiles.h"
#include "z9ini.h"
#include "z9log.h"

namespace test::OnlineTimerTest {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing_support::TempFiles;

bool IsListed(const vxl_COnlineTimer& timer)
{
    const std::lock_guard lock(vxl_COnlineTimer::timers_mutex);
    return std::count(vxl_COnlineTimer::timers.begin(), vxl_COnlineTimer::timers.end(), &timer) == 1;
}

void MeasureFor(vxl_COnlineTimer& timer, int milliseconds)
{
    const vxl_COnlineTimerInitiator scope(&timer);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

TEST(OnlineTimer, StartsAtZeroAndStandsInTheListWhileItLives)
{
    std::size_t before = 0;
    {
        const vxl_COnlineTimer timer("listed");
        EXPECT_EQ(timer.name, "listed");
        EXPECT_EQ(timer.hitCount, 0);
        EXPECT_EQ(timer.totalTimeCycles, 0U);
        EXPECT_EQ(timer.maxTimeCycles, 0U);
        EXPECT_EQ(timer.maxTimeHitCount, 0);
        EXPECT_TRUE(IsListed(timer));
        before = vxl_COnlineTimer::timers.size();
    }
    EXPECT_EQ(vxl_COnlineTimer::timers.size(), before - 1);
}

TEST(OnlineTimer, AddsUpItsHitsAndRemembersTheLongest)
{
    vxl_COnlineTimer timer("hits");
    MeasureFor(timer, 1);
    const std::uint64_t first = timer.totalTimeCycles;
    EXPECT_GE(first, 1000000U);
    EXPECT_EQ(timer.maxTimeCycles, first);
    EXPECT_EQ(timer.maxTimeHitCount, 1);

    MeasureFor(timer, 40);
    const std::uint64_t second = timer.totalTimeCycles - first;
    EXPECT_GE(second, 40000000U);
    EXPECT_EQ(timer.hitCount, 2);
    EXPECT_EQ(timer.maxTimeCycles, std::max(first, second));
    EXPECT_EQ(timer.maxTimeHitCount, second > first ? 2 : 1);

    MeasureFor(timer, 0);
    EXPECT_EQ(timer.hitCount, 3);
    EXPECT_GE(timer.totalTimeCycles, first + second);
}

TEST(OnlineTimer, WithoutANameMeasuresNothing)
{
    vxl_COnlineTimer timer(nullptr);
    EXPECT_FALSE(IsListed(timer));
    MeasureFor(timer, 1);
    EXPECT_EQ(timer.hitCount, 0);
    EXPECT_EQ(timer.totalTimeCycles, 0U);
}

TEST(OnlineTimer, AScopeWithoutATimerIsAllowed) { EXPECT_NO_THROW(vxl_COnlineTimerInitiator(nullptr)); }

TEST(OnlineTimer, EachTimerIsLoggedInSeconds)
{
    const TempFiles files;
    kv7base::CZ9Ini ini;
    ini.Open(files.Write("log.ini", "[timers]\nfile = " + files.Path("timers.log") + "\n"));
    kv7base::GetCustomLog().Open(ini, "timers");
    kv7base::UseCustomAppLog();

    vxl_COnlineTimer unused("never hit");
    vxl_COnlineTimer timer("send and wait");
    timer.hitCount = 4;
    timer.totalTimeCycles = 2000000000; // 2 s over 4 hits: 0.5 s each
    timer.maxTimeCycles = 1250000000;
    timer.maxTimeHitCount = 3;
    LogMeasuredDataOnThreadDetach();

    kv7base::UseDefaultAppLog();
    kv7base::GetCustomLog().Close();
    const std::string log = files.Read("timers.log");
    EXPECT_THAT(log, HasSubstr("INFO [QuindalIM] OnlineTimer send and wait: Freq:1000000000.000000, "
                               "TotalTime:2.000000, MeanTime:0.500000, HitCount:4, MaxTime:1.250000, "
                               "MaxTimeHitCount:3\n"));
    EXPECT_THAT(log, HasSubstr("OnlineTimer never hit: Freq:1000000000.000000, TotalTime:0.000000, "
                               "MeanTime:0.000000, HitCount:0, MaxTime:0.000000, MaxTimeHitCount:0\n"));
}

} // namespace
} // namespace test::OnlineTimerTest
