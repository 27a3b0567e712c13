// The money that open bids for premium-style options would cost, instrument by instrument and in total.
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "PremiumReserves.h"

namespace test::PremiumReservesTest {
namespace {

constexpr Isin One = 1;
constexpr Isin Two = 2;

std::int64_t Blocked(std::int64_t orders, double radius, std::int64_t deals = 0)
{
    const Domain::PremiumReserves reserves{t_bprice_int::FromPlain(orders), t_bprice_int::FromPlain(deals)};
    return PremiumReservesCalculator::CalculateBlockedForIsin(reserves, radius).AsPlain();
}

struct PremiumReservesTest : testing::Test
{
    void Order(Isin isin, double price, std::int64_t quantity, double moneyCoef = 1.0, double radius = 0.0)
    {
        calculator.UpdateOrderReserve(isin, t_bprice_int(price), quantity, moneyCoef, radius);
    }
    [[nodiscard]] std::int64_t Sum() const { return calculator.GetPremiumBlocked().AsPlain(); }

    PremiumReservesCalculator calculator;
};

// Amounts in units of 0.00001.
TEST(BlockedForIsinTest, RaisesAPositiveReserveAndShrinksANegativeOne)
{
    struct Case
    {
        std::int64_t total;
        double radius;
        std::int64_t blocked;
        const char* why;
    };
    const Case cases[] = {
        {10000000, 0.05, 10500000, "100 raised to 105"},
        {-10000000, 0.05, -9500000, "-100 shrunk to -95"},
        {10000000, 0.0, 10000000, "no radius"},
        {-10000000, -0.5, -10000000, "a radius below 0 is none"},
        {10000000, std::numeric_limits<double>::quiet_NaN(), 10000000, "nor is one that is not a number"},
        {0, 0.05, 0, "nothing to raise"},
        {0, 1.0, 0, "a factor of 0"},
        {-10000000, 1.0, 0, "shrunk to nothing"},
        {-10000000, 1.5, 5000000, "a radius above 1 turns the sign: -100 x (1 - 1.5)"},
        {1, 0.4, 1, "0.00001 x 1.4 is nearer to 0.00001"},
        {1, 0.5, 2, "0.00001 x 1.5 is half way, away from 0"},
        {-3, 0.5, -2, "-0.00003 x 0.5 is half way, away from 0"},
        {10000000, 0.000004, 10000000, "a factor of 1.000004 has five decimals: 1.00000"},
        {10000000, 0.000006, 10000100, "1.000006 is 1.00001"},
        {-10000000, 0.000006, -9999900, "0.999994 is 0.99999"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Blocked(c.total, c.radius), c.blocked) << c.why;
}

TEST(BlockedForIsinTest, LooksAtOrdersAndDealsTogether)
{
    EXPECT_EQ(Blocked(10000000, 0.05, 2000000), 12600000);
    EXPECT_EQ(Blocked(10000000, 0.05, -12000000), -1900000);
    EXPECT_EQ(Blocked(10000000, 0.05, -10000000), 0);
}

// 10^13 money units times 1.5: the product of the counts is 1.5 x 10^23 and leaves 64 bits on its way.
TEST(BlockedForIsinTest, TheProductIsFormedInFullWidth)
{
    constexpr std::int64_t large = 1'000'000'000'000'000'000;
    EXPECT_EQ(Blocked(large, 0.5), large + large / 2);
    EXPECT_EQ(Blocked(-large, 0.5), -large / 2);
}

TEST(BlockedForIsinTest, ARadiusBeyondAllMeasureIsCutOffAsADoubleIs)
{
    // What does not fit 64 bits becomes the smallest 64-bit number, -2^63 units, whatever its sign; one unit times that
    // is -92233720368547.75808, rounded.
    EXPECT_EQ(Blocked(1, 1e300), -92233720368548);
    EXPECT_EQ(Blocked(-1, 1e300), 92233720368548);
    EXPECT_EQ(Blocked(1, std::numeric_limits<double>::infinity()), -92233720368548);
}

TEST(DomainPremiumReservesTest, AddUpAndGoToZero)
{
    Domain::PremiumReserves reserves{t_bprice_int(2.5), t_bprice_int(-4.0)};
    EXPECT_EQ(reserves.GetTotal(), t_bprice_int(-1.5));
    reserves.SetZero();
    EXPECT_TRUE(reserves.premReserveOrders.IsZero());
    EXPECT_TRUE(reserves.premReserveDeals.IsZero());
}

// 12.5 a unit of price, 3 contracts at 1.5: 4.5 units.
TEST_F(PremiumReservesTest, ABidReservesPriceTimesQuantityInMoney)
{
    Order(One, 1.5, 3, 12.5);
    EXPECT_EQ(calculator.GetReserves(One).premReserveOrders, t_bprice_int(56.25));
    EXPECT_TRUE(calculator.GetReserves(One).premReserveDeals.IsZero());
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(56.25));
    EXPECT_TRUE(calculator.GetReserves(Two).GetTotal().IsZero());
}

// The price times the quantity is exact; only the product by the money of one price unit is rounded:
// 3 x 0.00001 x 0.50000 = 0.000015, up to 0.00002. Rounded contract by contract it would be 3 x 0.00001.
TEST_F(PremiumReservesTest, TheQuantityIsTakenBeforeTheRounding)
{
    Order(One, 0.00001, 3, 0.5);
    EXPECT_EQ(Sum(), 2);
}

// 0.333333 has five decimals as money: 0.33333.
TEST_F(PremiumReservesTest, TheMoneyOfAPriceUnitHasFiveDecimals)
{
    Order(One, 300.0, 1, 0.333333);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(99.999));
}

// One contract at 0.00001 with a radius of 0.5 blocks 0.000015, rounded to 0.00002. Two block 0.00003, not 0.00004;
// three 0.000045, rounded to 0.00005. What is added is the difference of the totals: 2, 1 and 2.
TEST_F(PremiumReservesTest, RoundsTheTotalOfAnInstrumentAndNotTheChange)
{
    const std::int64_t expected[] = {0, 2, 3, 5};
    for (std::int64_t contracts = 1; contracts <= 3; ++contracts) {
        Order(One, 0.00001, 1, 1.0, 0.5);
        EXPECT_EQ(Sum(), expected[contracts]);
    }
    for (std::int64_t contracts = 2; contracts >= 0; --contracts) {
        Order(One, 0.00001, -1, 1.0, 0.5);
        EXPECT_EQ(Sum(), expected[contracts]); // whatever was taken back left nothing behind
    }
}

// -2 at 50: -100, shrunk to -95; one bought back leaves -50, that is -47.5.
TEST_F(PremiumReservesTest, ACancellationWithoutItsOrderGoesBelowZero)
{
    Order(One, 50.0, -2, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(-95.0));
    Order(One, 50.0, 1, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(-47.5));
    Order(One, 50.0, 3, 1.0, 0.05); // through 0 to 100, raised to 105
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(105.0));
}

// An instrument that is short of reserves does not help another beyond its own shrunk amount: 105 - 95.
TEST_F(PremiumReservesTest, InstrumentsAreBlockedOneByOne)
{
    Order(One, 100.0, 1, 1.0, 0.05);
    Order(Two, 100.0, -1, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(10.0));
    EXPECT_EQ(calculator.GetReserves(One).GetTotal(), t_bprice_int(100.0));
    EXPECT_EQ(calculator.GetReserves(Two).GetTotal(), t_bprice_int(-100.0));
}

// A purchase that traded: the order is taken back and the deal comes in, the sum stays.
TEST_F(PremiumReservesTest, ADealTakesThePlaceOfItsOrder)
{
    Order(One, 40.0, 2, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(84.0));
    Order(One, 40.0, -2, 1.0, 0.05);
    calculator.UpdateDealReserve(One, t_bprice_int(40.0), 2, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(84.0));
    EXPECT_TRUE(calculator.GetReserves(One).premReserveOrders.IsZero());
    EXPECT_EQ(calculator.GetReserves(One).premReserveDeals, t_bprice_int(80.0));
}

TEST_F(PremiumReservesTest, APriceBelowZeroReservesLess)
{
    Order(One, -2.0, 5, 1.0, 0.05);
    EXPECT_EQ(calculator.GetPremiumBlocked(), t_bprice_int(-9.5));
}

} // namespace
} // namespace test::PremiumReservesTest
