// A router that is lost for good. The link is looked at when it has been silent for twenty seconds, which is what this
// test waits for.
#include <chrono>
#include <thread>

#include <gmock/gmock.h>

#include "LibraryHost.h"

namespace test::LostRouterTest {
namespace {

using namespace quindal::test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;

class LostRouter : public LibraryHost
{};

TEST_F(LostRouter, IsNoticedAfterTwentySecondsChangesNoPositionAndIsMadeGoodByANewLogin)
{
    StartAll();
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "OTHER", "BC"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    calls::Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT", 3, 0.0, margins), 0);
    EXPECT_EQ(margins.part, 300.0); // 3 contracts, a move of 100, one unit of money a point

    server.reset();
    router.reset();
    EXPECT_EQ(calls::Position(calc, "AA01001", "FUT", 4, 0.0, margins), 0) << "nobody asks within twenty seconds";
    EXPECT_EQ(margins.part, 400.0);

    std::this_thread::sleep_for(20500ms);
    const calls::Margins before = margins;
    EXPECT_EQ(calls::Position(calc, "AA01001", "FUT", 5, 0.0, margins), 94820);
    EXPECT_EQ(calls::Position(calc, "AA01001", "FUT", 5, 0.0, margins), 94820) << "the link is gone for good";
    EXPECT_EQ(margins, before);
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("SetPosition: Check connection failed: ")));

    ASSERT_EQ(DeInitQuindalIM(), 0);
    StartRouter();
    Serve();
    ASSERT_EQ(Init(), 0);
    // Setting another futures to nothing shows the client's figure without changing it: still four contracts.
    ASSERT_EQ(calls::Position(calc, "AA01001", "OTHER", 0, 0.0, margins), 0);
    EXPECT_EQ(margins.part, 400.0);
}

} // namespace
} // namespace test::LostRouterTest
