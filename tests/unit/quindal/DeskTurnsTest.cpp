// Work that takes turns on one thread, and what is told of it.
#include "DeskTurns.h"

#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DeskState.h"

namespace test::DeskTurnsTest {

using namespace quindal;
using namespace std::chrono_literals;

TEST(DeskTurns, WorkIsDoneByTheThreadThatTakesTurns)
{
    DeskTurns turns;
    std::thread::id worker;
    std::optional<std::future<DeskAnswer>> answer;
    std::thread asking([&] {
        answer = turns.Put([&worker] {
            worker = std::this_thread::get_id();
            return DeskAnswer{DeskGood, "done"};
        });
    });
    asking.join();
    turns.DoNext(0ms);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->get().body, "done");
    EXPECT_EQ(worker, std::this_thread::get_id());
}

TEST(DeskTurns, TooMuchThatWaitsIsTurnedAway)
{
    DeskTurns turns;
    for (std::size_t i = 0; i < DeskTurns::MostWaiting; ++i)
        EXPECT_TRUE(turns.Put([] { return DeskAnswer{}; })) << i;
    EXPECT_FALSE(turns.Put([] { return DeskAnswer{}; }));
    turns.DoNext(0ms);
    EXPECT_TRUE(turns.Put([] { return DeskAnswer{}; })) << "there is room again";
}

TEST(DeskTurns, WhoeverWaitsAtTheEndIsTold)
{
    DeskTurns turns;
    auto waiting = turns.Put([] { return DeskAnswer{}; });
    turns.End();
    ASSERT_TRUE(waiting);
    EXPECT_THROW(static_cast<void>(waiting->get()), std::future_error);
    EXPECT_FALSE(turns.Put([] { return DeskAnswer{}; }));
}

TEST(DeskTurns, AFailureReachesWhoeverAsked)
{
    DeskTurns turns;
    auto asked = turns.Put([]() -> DeskAnswer { throw std::runtime_error("no"); });
    turns.DoNext(0ms);
    EXPECT_THROW(static_cast<void>(asked->get()), std::runtime_error);
}

TEST(DeskState, LoadingIsToldStepByStep)
{
    DeskState state;
    EXPECT_FALSE(state.IsLoaded());
    state.Progress("positions", 3, 200);
    EXPECT_EQ(state.Answer().body, R"({"loaded":false,"what":"positions","done":3,"total":200})");
    state.SetLoaded(true);
    EXPECT_TRUE(state.IsLoaded());
}

TEST(DeskState, TheSummaryHasTheMedianAndTheWorst)
{
    DeskState state;
    for (const double milliseconds : {3.0, 1.0, 2.0})
        state.Took("whatif", milliseconds);
    EXPECT_EQ(state.Summary(), "whatif: answered 3 times, median 2.00 ms, 99 % within 3.00 ms, worst 3.00 ms");
}

} // namespace test::DeskTurnsTest
