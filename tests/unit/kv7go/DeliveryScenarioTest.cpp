// What an option brings at a delivery price, over the columns that the price speaks for.
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "PricedSeries.h"
#include "instruments/SpecOption.h"
#include "valuation/OptionCalculators.h"

namespace test::DeliveryScenarioTest {
namespace {

using namespace kv7im;
using auxiliary::ExpirationScenarioRange;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

double OutcomeAt(const CSpecOption& option, double deliveryPrice, double limit, double price)
{
    RiskItem prices(-1e6);
    prices[2] = price;
    const RiskItem outcome = DeliveryScenario(option, deliveryPrice, limit).Outcome(prices);
    EXPECT_TRUE(std::isnan(outcome[0])); // a lane does not see its neighbour
    return outcome[2];
}

class Outcome : public testing::Test
{
protected:
    Outcome() { m_priced.Build(); }
    [[nodiscard]] CSpecOption Put() const { return m_priced.Option(1000.0, true); }
    [[nodiscard]] CSpecOption Call() const { return m_priced.Option(1000.0, false); }

    PricedSeries m_priced;
};

TEST_F(Outcome, OfAnExercisedOptionIsTheDistanceFromItsStrikeEvenWhereItLoses)
{
    // Delivery at 950 within 100: exercised is what stands at the delivery price, the column is where the market is.
    EXPECT_EQ(OutcomeAt(Put(), 950.0, 100.0, 900.0), 100.0);
    EXPECT_EQ(OutcomeAt(Put(), 950.0, 100.0, 1040.0), -40.0);
    EXPECT_EQ(OutcomeAt(Call(), 1050.0, 100.0, 1100.0), 100.0);
    EXPECT_EQ(OutcomeAt(Call(), 1050.0, 100.0, 960.0), -40.0);
}

TEST_F(Outcome, OfAnOptionThatIsNotExercisedIsZero)
{
    for (const double price : {950.0, 1000.0, 1040.0}) {
        EXPECT_TRUE(SameBits(OutcomeAt(Call(), 950.0, 100.0, price), 0.0));
        EXPECT_TRUE(SameBits(OutcomeAt(Put(), 1050.0, 100.0, price), 0.0));
    }
}

TEST_F(Outcome, AtADeliveryExactlyAtTheStrikeIsThatOfNoExercise)
{
    EXPECT_TRUE(SameBits(OutcomeAt(Call(), 1000.0, 100.0, 1080.0), 0.0));
    EXPECT_TRUE(SameBits(OutcomeAt(Put(), 1000.0, 100.0, 920.0), 0.0));
    EXPECT_EQ(OutcomeAt(Call(), std::nextafter(1000.0, 2000.0), 100.0, 1080.0), 80.0);
}

TEST_F(Outcome, AtTheStrikeItselfIsAPositiveZeroForBothSides)
{
    EXPECT_TRUE(SameBits(OutcomeAt(Put(), 950.0, 100.0, 1000.0), 0.0));
    EXPECT_TRUE(SameBits(OutcomeAt(Call(), 1050.0, 100.0, 1000.0), 0.0));
}

TEST_F(Outcome, OutOfTheLimitsIsNotANumber)
{
    for (const double price : {849.0, 1051.0, NaN}) {
        EXPECT_TRUE(std::isnan(OutcomeAt(Put(), 950.0, 100.0, price))) << price;
        EXPECT_TRUE(std::isnan(OutcomeAt(Call(), 950.0, 100.0, price))) << price;
    }
}

TEST_F(Outcome, AHundredThousandthOutsideTheRoundedLimitsStillCounts)
{
    const double epsilon = 1.0000000000000003e-05;
    EXPECT_EQ(OutcomeAt(Put(), 950.0, 100.0, 850.0 - epsilon), 1000.0 - (850.0 - epsilon));
    EXPECT_TRUE(std::isnan(OutcomeAt(Put(), 950.0, 100.0, std::nextafter(850.0 - epsilon, 0.0))));
    EXPECT_EQ(OutcomeAt(Put(), 950.0, 100.0, 1050.0 + epsilon), 1000.0 - (1050.0 + epsilon));
    EXPECT_TRUE(std::isnan(OutcomeAt(Put(), 950.0, 100.0, std::nextafter(1050.0 + epsilon, 2000.0))));
    // Limits of 850.000004 and 1049.999996 are rounded to 850 and 1050 first.
    EXPECT_FALSE(std::isnan(OutcomeAt(Put(), 950.0, 99.999996, 850.0 - 0.000009)));
    EXPECT_FALSE(std::isnan(OutcomeAt(Put(), 950.0, 99.999996, 1050.0 + 0.000009)));
}

TEST_F(Outcome, IsThePlainOneAtEveryPriceAroundTheEdges)
{
    const plain::OptionPricer put = m_priced.Plain(1000.0, true);
    const plain::OptionPricer call = m_priced.Plain(1000.0, false);
    for (const double deliveryPrice : {-30.0, 0.3, 871.9999, 1000.0, 1000.00001, 1333.3333333})
        for (const double limit : {0.0, 1e-6, 63.9999951, 128.0, 5000.0})
            for (const double end : {deliveryPrice - limit, deliveryPrice + limit, 1000.0})
                for (int step = -30; step <= 30; ++step) {
                    const double price = end + step * 1e-6;
                    if (price < -9e5) continue;
                    EXPECT_TRUE(SameBits(OutcomeAt(Put(), deliveryPrice, limit, price),
                                         put.AtDelivery(deliveryPrice, limit, price)))
                        << deliveryPrice << ", " << limit << ", " << price;
                    EXPECT_TRUE(SameBits(OutcomeAt(Call(), deliveryPrice, limit, price),
                                         call.AtDelivery(deliveryPrice, limit, price)))
                        << deliveryPrice << ", " << limit << ", " << price;
                }
}

TEST(ExpirationScenarioRange, RoundsItsEndsToFiveDecimalsHalvesUpwards)
{
    using Range = ExpirationScenarioRange<5>;
    EXPECT_EQ(Range::round(0.000014), 0.00001);
    EXPECT_EQ(Range::round(0.0000151), 0.00002);
    EXPECT_EQ(Range::round(-2.5), -2.5);
    EXPECT_EQ(Range::round(-0.0000051), -0.00001);
    EXPECT_EQ(Range::round(3.0 / 0x1p18), 0.00001); // 1.1444 hundred-thousandths
    EXPECT_TRUE(std::isnan(Range::round(NaN)));
    // A half goes up on either side of 0: 0.5 steps become 1 and -0.5 steps become 0.
    EXPECT_EQ(Range::round(0.5 / 100000.0), 0.00001);
    EXPECT_EQ(Range::round(-0.5 / 100000.0), 0.0);
}

TEST(ExpirationScenarioRange, IsWidenedByTheFifthPowerOfATenth)
{
    using Range = ExpirationScenarioRange<5>;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(Range::epsilon), std::bit_cast<std::uint64_t>(1.0000000000000003e-05));
    EXPECT_NE(Range::epsilon, 1e-05);
    const Range range(1.0, 2.0);
    EXPECT_TRUE(range.CheckInRange(1.0 - Range::epsilon));
    EXPECT_TRUE(range.CheckInRange(2.0 + Range::epsilon));
    EXPECT_FALSE(range.CheckInRange(std::nextafter(1.0 - Range::epsilon, 0.0)));
    EXPECT_FALSE(range.CheckInRange(std::nextafter(2.0 + Range::epsilon, 3.0)));
    EXPECT_FALSE(range.CheckInRange(NaN));
}

} // namespace
} // namespace test::DeliveryScenarioTest
