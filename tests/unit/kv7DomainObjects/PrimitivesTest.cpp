// The counter of clients, and the arithmetic of GO.
#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "Primitives.h"

namespace test::PrimitivesTest {
namespace {

using testing::HasSubstr;

TEST(CounterTest, CountsUpAndDownAndBackToZero)
{
    Counter counter;
    for (int i = 0; i < 3; ++i)
        counter.Increment();
    counter.DecrementBy(2);
    EXPECT_EQ(counter.CurrentValue(), 1U);
    counter.DecrementBy(1);
    EXPECT_EQ(counter.CurrentValue(), 0U);
    counter.DecrementBy(0);
    EXPECT_EQ(counter.CurrentValue(), 0U);
    counter.Increment();
    counter.Reset();
    EXPECT_EQ(counter.CurrentValue(), 0U);
}

TEST(CounterTest, RefusesToFallBelowZeroAndKeepsItsValue)
{
    Counter counter;
    counter.Increment();
    const Failure failure = FailureOf([&] { counter.DecrementBy(2); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_THAT(failure.text, HasSubstr("Decrementing counter with Current Value of 1 by the value of 2 would make the "
                                        "counter negative which is not allowed."));
    EXPECT_EQ(counter.CurrentValue(), 1U);
}

TEST(InitialMarginArithmeticTest, WeighsTheTwoFigures)
{
    // w = 25 / 100: 0.75 x 80 + 0.25 x 120 = 60 + 30.
    EXPECT_EQ(Domain::WeightedInitialMargin(t_weight_int::FromPlain(25), 80.0, 120.0), 90.0);
    EXPECT_EQ(Domain::WeightedInitialMargin(t_weight_int(), 80.0, 120.0), 80.0);
    EXPECT_EQ(Domain::WeightedInitialMargin(t_weight_int(1), 80.0, 120.0), 120.0);
}

TEST(InitialMarginArithmeticTest, RoundsToFiveDecimalsFirstAndThenUpToCents)
{
    struct Case
    {
        double margin;
        double go;
        const char* why;
    };
    const Case cases[] = {
        {0.0, 0.0, "nothing"},
        {100.0, 100.0, "whole money stays"},
        {112.5, 112.5, "whole cents stay"},
        {33.333, 33.34, "a part of a cent is charged as a cent"},
        {0.000004, 0.0, "0.4 of the fifth decimal falls away in the first stage"},
        {0.000005, 0.01, "half of the fifth decimal counts, and is charged as a cent"},
        {12.300004, 12.3, "12.30000 after the first stage"},
        {12.300006, 12.31, "12.30001 after the first stage"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Domain::RoundInitialMargin(c.margin), c.go) << c.why;
}

TEST(InitialMarginArithmeticTest, ChargesACentMoreWhereTheProductByAHundredLandsAboveTheWholeCent)
{
    // The double next to 1.1 is 1.1 + 8.9e-17. A hundred times that is 110 + 8.9e-15, more than half of the spacing of
    // doubles at 110 (1.42e-14): the product becomes the double above 110, and the ceiling 111.
    EXPECT_EQ(Domain::RoundInitialMargin(1.1), 1.11);
}

// What the changes of a book that is empty again leave may stand below 0 by a rounding. A report shows 0.00 then, not
// -0.00.
TEST(InitialMarginArithmeticTest, NothingHasNoSign)
{
    for (const double margin : {0.0, -0.0, -1e-12, 1e-12}) {
        EXPECT_EQ(Domain::RoundInitialMargin(margin), 0.0);
        EXPECT_FALSE(std::signbit(Domain::RoundInitialMargin(margin))) << margin;
    }
}

} // namespace
} // namespace test::PrimitivesTest
