// The position that a trade leaves.
#include <gtest/gtest.h>

#include "FitTrade.h"

namespace test::FitTradeTest {
namespace {

using quindal::PositionRow;
using quindal::Traded;

PositionRow Held(std::int64_t quantity, double price, std::int64_t afterLastClearing = 0)
{
    PositionRow row;
    row.code = "AA01001";
    row.instrument = "F-1";
    row.quantity = quantity;
    row.price = price;
    row.afterLastClearing = afterLastClearing;
    return row;
}

TEST(FitTrade, WhatIsAddedGoesIntoTheAveragePrice)
{
    EXPECT_EQ(Traded(Held(30, 100.0), 10, 120.0).quantity, 40);
    EXPECT_DOUBLE_EQ(Traded(Held(30, 100.0), 10, 120.0).price, 105.0);
    EXPECT_EQ(Traded(Held(-30, 100.0), -10, 120.0).quantity, -40);
    EXPECT_DOUBLE_EQ(Traded(Held(-30, 100.0), -10, 120.0).price, 105.0);
}

TEST(FitTrade, WhatIsTakenAwayLeavesThePrice)
{
    EXPECT_EQ(Traded(Held(30, 100.0), -10, 120.0).quantity, 20);
    EXPECT_EQ(Traded(Held(30, 100.0), -10, 120.0).price, 100.0);
    EXPECT_EQ(Traded(Held(30, 100.0), -30, 120.0).quantity, 0);
    EXPECT_EQ(Traded(Held(-30, 100.0), 29, 120.0).quantity, -1);
    EXPECT_EQ(Traded(Held(-30, 100.0), 29, 120.0).price, 100.0);
}

TEST(FitTrade, WhatGoesBeyondIsHeldAtThePriceOfTheTrade)
{
    EXPECT_EQ(Traded(Held(30, 100.0), -31, 120.0).quantity, -1);
    EXPECT_EQ(Traded(Held(30, 100.0), -31, 120.0).price, 120.0);
    EXPECT_EQ(Traded(Held(0, 0.0), 5, 120.0).quantity, 5);
    EXPECT_EQ(Traded(Held(0, 0.0), 5, 120.0).price, 120.0);
}

TEST(FitTrade, WhatTheLastClearingLeftStays)
{
    EXPECT_EQ(Traded(Held(30, 100.0, 25), 10, 120.0).afterLastClearing, 25);
    EXPECT_EQ(Traded(Held(30, 100.0, 25), -31, 120.0).afterLastClearing, 25);
}

TEST(FitTrade, NothingTradedChangesNothing)
{
    EXPECT_EQ(Traded(Held(30, 100.0, 25), 0, 120.0).price, 100.0);
    EXPECT_EQ(Traded(Held(30, 100.0, 25), 0, 120.0).quantity, 30);
}

// 0 would be read as the calculated price.
TEST(FitTrade, AnAverageOfNothingIsNotTheCalculatedPrice)
{
    const double price = Traded(Held(10, 5.0), 10, -5.0).price;
    EXPECT_NE(price, 0.0);
    EXPECT_LT(price, 1e-200);
}

} // namespace
} // namespace test::FitTradeTest
