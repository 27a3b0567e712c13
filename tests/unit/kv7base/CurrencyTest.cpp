#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

#include "currencytype.h"
#include "except.h"

namespace test::CurrencyTest {
namespace {

using testing::HasSubstr;

constexpr std::int64_t Largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Smallest = std::numeric_limits<std::int64_t>::min();

TEST(Currency, DoublesBecomeAmountsByHalvesAwayFromZero)
{
    EXPECT_EQ(Currency<2>(-0.005).AsPlain(), -1); // -0.5 - 0.5 = -1
    EXPECT_EQ(Currency<2>(0.005).AsPlain(), 1);
    EXPECT_EQ(Currency<2>(0.0).AsPlain(), 0); // 0 - 0.5, cut off toward zero
    EXPECT_EQ(Currency<2>(0.004).AsPlain(), 0);
    EXPECT_EQ(Currency<2>(-0.004).AsPlain(), 0);
    EXPECT_EQ(Currency<2>(12.34).AsPlain(), 1234);
    EXPECT_EQ(Currency<5>(-1.5).AsPlain(), -150000);
}

TEST(Currency, TheProductWithTheScaleIsTakenInDoublePrecision)
{
    // 1.005 is 1.00499999999999989...; times 100 in doubles is 100.49999999999999 and falls below the half.
    EXPECT_EQ(Currency<2>(1.005).AsPlain(), 100);
    // 0.285 is 0.284999999999999975...; times 100 in doubles is exactly 28.499999999999996: below the half.
    EXPECT_EQ(Currency<2>(0.285).AsPlain(), 28);
    // The double below one half: adding 0.5 to 0.49999999999999994 rounds up to 1, an oddity of adding before cutting.
    EXPECT_EQ(Currency<1>(0.049999999999999996).AsPlain(), 1);
}

TEST(Currency, ADoubleThatDoesNotFitBecomesTheAmountThatIsNone)
{
    for (const double amount : {1e300, -1e300, std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity(), std::nan(""), 92233720368547758.08}) {
        EXPECT_EQ(Currency<2>(amount).AsPlain(), Smallest) << amount;
        EXPECT_TRUE(Currency<2>(amount).IsNAN()) << amount;
    }
    // 92233720368547744 * 100 is the last double below 2^63.
    EXPECT_EQ(Currency<2>(92233720368547744.0).AsPlain(), 9223372036854774784);
}

TEST(Currency, WholesAreScaledAndPlainCountsAreNot)
{
    EXPECT_EQ(Currency<5>(7).AsPlain(), 700000);
    EXPECT_EQ(Currency<2>(std::int64_t{-3}).AsPlain(), -300);
    EXPECT_EQ(Currency<2>(1234, Currency<2>::ConstructFromPlain).AsPlain(), 1234);
    EXPECT_EQ(Currency<2>::FromPlain(1234), Currency<2>(12.34));
    EXPECT_EQ(Currency<2>().AsPlain(), 0);
}

TEST(Currency, AsDoubleDividesByTheScale)
{
    // 3 / 100000 and 3 * 0.00001 differ in the last bit; the division is the rule.
    ASSERT_NE(3.0 / 100000.0, 3.0 * (1.0 / 100000.0));
    EXPECT_EQ(Currency<5>::FromPlain(3).AsDouble(), 3.0 / 100000.0);
    EXPECT_EQ(Currency<2>::FromPlain(-1234).AsDouble(), -12.34);
}

TEST(Currency, AsIntegerCutsOffTowardZero)
{
    EXPECT_EQ(Currency<2>::FromPlain(1299).AsInteger(), 12);
    EXPECT_EQ(Currency<2>::FromPlain(-1299).AsInt64(), -12);
}

TEST(Currency, SumsAndDifferencesAreExactAndWrapAtTheWord)
{
    EXPECT_EQ(Currency<2>(1.10) + Currency<2>(2.20), Currency<2>(3.30));
    EXPECT_EQ(Currency<2>(1.10) - Currency<2>(2.20), Currency<2>(-1.10));
    EXPECT_EQ(-Currency<2>(1.10), Currency<2>(-1.10));
    EXPECT_EQ((Currency<2>::FromPlain(Largest) + Currency<2>::FromPlain(1)).AsPlain(), Smallest);
    EXPECT_EQ((Currency<2>() - Currency<2>::FromPlain(Smallest)).AsPlain(), Smallest);
    EXPECT_EQ((-Currency<2>::FromPlain(Smallest)).AsPlain(), Smallest);
}

TEST(Currency, ProductsRoundHalvesAwayFromZero)
{
    struct Case
    {
        std::int64_t a, b, product; // in units of 0.00001
        const char* why;
    };
    const Case cases[] = {
        {0, 5, 0, "zero"},
        {200000, 300000, 600000, "2 x 3 = 6"},
        {1, 50000, 1, "0.00001 x 0.5: half a unit goes away from zero"},
        {-1, 50000, -1, "and so does minus half a unit"},
        {1, -50000, -1, "whichever side carries the sign"},
        {-1, -50000, 1, "two signs make none"},
        {1, 49999, 0, "just below the half"},
        {3, 50000, 2, "1.5 units"},
        {-3, 50000, -2, "minus 1.5 units"},
    };
    for (const Case& c : cases)
        EXPECT_EQ((t_bprice_int::FromPlain(c.a) * t_bprice_int::FromPlain(c.b)).AsPlain(), c.product) << c.why;
}

TEST(Currency, ProductsBeyondTheWordGoThrough128Bits)
{
    // 10^7 x 10^6 wholes: 10^12 x 10^11 = 10^23 units squared, far past 2^63; the result is 10^18 units.
    EXPECT_EQ((t_bprice_int(10000000) * t_bprice_int(1000000)).AsPlain(), 1000000000000000000);
    // (2^62 + 1) x 150000 / 100000 = 1.5 x 2^62 + 1.5, half away: 6917529027641081856 + 2.
    const std::int64_t big = (std::int64_t{1} << 62) + 1;
    EXPECT_EQ((t_bprice_int::FromPlain(big) * t_bprice_int(1.5)).AsPlain(), 6917529027641081858);
    EXPECT_EQ((t_bprice_int::FromPlain(-big) * t_bprice_int(1.5)).AsPlain(), -6917529027641081858);
    // 2^62 x 4 = 2^64: cut to 64 bits, 0 is left.
    EXPECT_EQ((t_bprice_int::FromPlain(std::int64_t{1} << 62) * t_bprice_int(4)).AsPlain(), 0);
}

TEST(Currency, BothRoadsOfTheProductAgreeWithLongDivision)
{
    // An independent computation: |a| |b| by the schoolbook in two halves, then long division bit by bit.
    const auto reference = [](std::int64_t a, std::int64_t b) {
        const bool negative = (a < 0) != (b < 0);
        const std::uint64_t x = static_cast<std::uint64_t>(std::abs(a));
        const std::uint64_t y = static_cast<std::uint64_t>(std::abs(b));
        const std::uint64_t ll = (x & 0xFFFFFFFFU) * (y & 0xFFFFFFFFU);
        const std::uint64_t lh = (x & 0xFFFFFFFFU) * (y >> 32);
        const std::uint64_t hl = (x >> 32) * (y & 0xFFFFFFFFU);
        const std::uint64_t middle = (ll >> 32) + (lh & 0xFFFFFFFFU) + (hl & 0xFFFFFFFFU);
        const std::uint64_t low = (middle << 32) | (ll & 0xFFFFFFFFU);
        const std::uint64_t high = (x >> 32) * (y >> 32) + (lh >> 32) + (hl >> 32) + (middle >> 32);
        std::uint64_t quotient = 0, rest = 0;
        for (int bit = 127; bit >= 0; --bit) {
            rest = rest * 2 + ((bit >= 64 ? high >> (bit - 64) : low >> bit) & 1U);
            quotient = quotient * 2 + (rest >= 100000 ? 1 : 0);
            if (rest >= 100000) rest -= 100000;
        }
        if (rest >= 50000) ++quotient;
        return static_cast<std::int64_t>(negative ? 0 - quotient : quotient);
    };
    std::mt19937_64 random(20261121);
    for (int i = 0; i < 20000; ++i) {
        const int shift = static_cast<int>(random() % 60) + 2;
        const auto a = static_cast<std::int64_t>(random()) >> shift;
        const auto b = static_cast<std::int64_t>(random()) >> (random() % 60 + 2);
        ASSERT_EQ((t_bprice_int::FromPlain(a) * t_bprice_int::FromPlain(b)).AsPlain(), reference(a, b))
            << a << " x " << b;
    }
}

TEST(Currency, IntegerDivisionRoundsHalvesAwayFromZero)
{
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(7, 2), 4);
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(-7, 2), -4);
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(7, -2), -4);
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(10, 4), 3);
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(9, 4), 2);
    EXPECT_EQ(kv7base::DivideHalfAwayFromZero(-1, 3), 0);
}

TEST(Currency, NarrowingRoundsSumsAndFloorsReserves)
{
    struct Case
    {
        std::int64_t sum;     // units of 0.00001
        std::int64_t rounded; // cents
        std::int64_t floored; // cents
    };
    const Case cases[] = {
        {500, 1, 0},     // 0.00500
        {-500, -1, -1},  // -0.00500
        {499, 0, 0},     //
        {-499, 0, -1},   // the floor goes down below zero as well
        {1000, 1, 1},    // an exact cent
        {-1000, -1, -1}, //
        {-1, 0, -1},     //
        {1234567, 1235, 1234}, {-1234567, -1235, -1235}, {0, 0, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Rounded(t_bsum_int::FromPlain(c.sum)).AsPlain(), c.rounded) << c.sum;
        EXPECT_EQ(Floored(t_bsum_int::FromPlain(c.sum)).AsPlain(), c.floored) << c.sum;
    }
}

TEST(Currency, WideningIsExactAndComesBack)
{
    EXPECT_EQ(Widened(t_bround_int::FromPlain(-1234)).AsPlain(), -1234000);
    EXPECT_EQ(Rounded(Widened(t_bround_int(12.34))), t_bround_int(12.34));
    EXPECT_EQ(Floored(Widened(t_bround_int(-12.34))), t_bround_int(-12.34));
}

TEST(CurrencyText, PlainDecimalsAreRead)
{
    struct Case
    {
        const char* text;
        std::int64_t cents;
    };
    const Case cases[] = {
        {"12.34", 1234},
        {"12.340", 1234}, // zeros behind the last digit are dropped
        {"12.3400000", 1234},
        {"12", 1200},
        {"12.3", 1230},
        {"+12.34", 1234},
        {"-12.34", -1234},
        {".5", 50},
        {"-.5", -50},
        {"1.", 100},
        {"000.10", 10},
        {"-0", 0},
        {"92233720368547758.07", Largest},
        {"-92233720368547758.08", Smallest},
        {"92233720368547758", 9223372036854775800},
    };
    for (const Case& c : cases) {
        Currency<2> amount;
        const char* end = nullptr;
        EXPECT_EQ(amount.StrictSet(c.text, &end), Z9ERR_OK) << c.text;
        EXPECT_EQ(amount.AsPlain(), c.cents) << c.text;
        EXPECT_EQ(*end, '\0') << c.text;
        EXPECT_EQ(Currency<2>(c.text).AsPlain(), c.cents) << c.text;
    }
}

TEST(CurrencyText, WhatIsNoPlainDecimalIsRefusedAndChangesNothing)
{
    struct Case
    {
        const char* text;
        Z9ERR code;
        const char* why;
    };
    const Case cases[] = {
        {"", Z9ERR_COMMON_WRONG_ARGUMENTS, "empty"},
        {"-", Z9ERR_COMMON_WRONG_ARGUMENTS, "no digit"},
        {"+", Z9ERR_COMMON_WRONG_ARGUMENTS, "no digit"},
        {".", Z9ERR_COMMON_WRONG_ARGUMENTS, "no digit"},
        {"-.", Z9ERR_COMMON_WRONG_ARGUMENTS, "no digit"},
        {" 1", Z9ERR_COMMON_WRONG_ARGUMENTS, "a blank in front"},
        {"1 ", Z9ERR_COMMON_WRONG_ARGUMENTS, "a blank behind"},
        {"1,5", Z9ERR_COMMON_WRONG_ARGUMENTS, "a comma"},
        {"1.5.", Z9ERR_COMMON_WRONG_ARGUMENTS, "two points"},
        {"--1", Z9ERR_COMMON_WRONG_ARGUMENTS, "two signs"},
        {"1-", Z9ERR_COMMON_WRONG_ARGUMENTS, "a sign behind"},
        {"1e5", Z9ERR_COMMON_WRONG_ARGUMENTS, "an exponent"},
        {"12.341", Z9ERR_COMMON_OVERFLOW, "a third digit that is not 0"},
        {"12.3401", Z9ERR_COMMON_OVERFLOW, "a fourth digit that is not 0"},
        {"92233720368547758.08", Z9ERR_COMMON_OVERFLOW, "one unit too large"},
        {"-92233720368547758.09", Z9ERR_COMMON_OVERFLOW, "one unit too small"},
        {"92233720368547759", Z9ERR_COMMON_OVERFLOW, "too large once scaled"},
        {"99999999999999999999999", Z9ERR_COMMON_OVERFLOW, "too many digits"},
        {"99999999999999999999999x", Z9ERR_COMMON_OVERFLOW, "an overflow is told before the stray character"},
        {"12.341x", Z9ERR_COMMON_OVERFLOW, "also that of a dropped digit"},
    };
    for (const Case& c : cases) {
        Currency<2> amount(7);
        EXPECT_EQ(amount.StrictSet(c.text), c.code) << c.text << ": " << c.why;
        EXPECT_EQ(amount, Currency<2>(7)) << c.text;
    }
}

TEST(CurrencyText, TheNegativeSideReachesOneUnitFurther)
{
    // 2^63 = 9223372036854775808: with its last digit it is read below zero only. A text that leaves fraction digits
    // out is filled up afterwards and meets the same end.
    Currency<2> amount;
    EXPECT_EQ(amount.StrictSet("-92233720368547758.0"), Z9ERR_OK);
    EXPECT_EQ(amount.StrictSet("-92233720368547758.1"), Z9ERR_COMMON_OVERFLOW);
    Currency<5> price;
    EXPECT_EQ(price.StrictSet("-92233720368547.75808"), Z9ERR_OK);
    EXPECT_EQ(price.AsPlain(), Smallest);
    EXPECT_EQ(price.StrictSet("92233720368547.75808"), Z9ERR_COMMON_OVERFLOW);
}

TEST(CurrencyText, TheEndTellsWhereReadingStopped)
{
    Currency<2> amount;
    const char* const text = "12x4";
    const char* end = nullptr;
    EXPECT_EQ(amount.StrictSet(text, &end), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(end, text + 2);
}

TEST(CurrencyText, TheConstructorThrowsTheCodeAndNamesTheText)
{
    try {
        const Currency<2> amount("12.341");
        FAIL() << "read as " << amount.AsString();
    } catch (const kv7base::CZ9Error& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_COMMON_OVERFLOW);
        EXPECT_THAT(e.what(), HasSubstr("Cannot convert string '12.341' to Currency"));
    }
    EXPECT_THROW(Currency<5>(std::string("")), kv7base::CZ9Error);
}

TEST(CurrencyText, AmountsAreWrittenWithAllTheirDigits)
{
    EXPECT_EQ(Currency<2>(12.3).AsString(), "12.30");
    EXPECT_EQ(Currency<2>::FromPlain(-5).AsString(), "-0.05");
    EXPECT_EQ(Currency<5>().AsString(), "0.00000");
    EXPECT_EQ(Currency<2>::FromPlain(Smallest).AsString(), "-92233720368547758.08");
    EXPECT_EQ(Currency<5>(1.23456).AsString(2), "1.23");
    EXPECT_EQ(Currency<5>(-1.235).AsString(2), "-1.24"); // halves away from zero
    EXPECT_EQ(Currency<5>(9.99999).AsString(0), "10");
    EXPECT_EQ(Currency<2>(1.25).AsString(4), "1.2500");
    EXPECT_EQ(Currency<5>::FromPlain(-1).AsString(2), "0.00"); // nothing left, no sign left
}

TEST(Currency, RoundKeepsDigitsInFiveStyles)
{
    struct Case
    {
        double amount;
        std::int64_t nearest, up, down, fromZero, trunc; // cents left of Currency<5>, digits 2
    };
    const Case cases[] = {
        {1.23500, 124, 124, 123, 124, 123}, {-1.23500, -124, -123, -124, -124, -123},
        {1.23400, 123, 124, 123, 124, 123}, {-1.23400, -123, -123, -124, -124, -123},
        {1.23000, 123, 123, 123, 123, 123},
    };
    for (const Case& c : cases) {
        const Currency<5> amount(c.amount);
        EXPECT_EQ(amount.Round(2, ROUND_NEAREST).AsPlain(), c.nearest * 1000) << c.amount;
        EXPECT_EQ(amount.Round(2, ROUND_UP).AsPlain(), c.up * 1000) << c.amount;
        EXPECT_EQ(amount.Round(2, ROUND_DOWN).AsPlain(), c.down * 1000) << c.amount;
        EXPECT_EQ(amount.Round(2, ROUND_FROMZERO).AsPlain(), c.fromZero * 1000) << c.amount;
        EXPECT_EQ(amount.Round(2, ROUND_TRUNC).AsPlain(), c.trunc * 1000) << c.amount;
    }
    EXPECT_EQ(Currency<2>(1250).Round(-2), Currency<2>(1300));
    EXPECT_EQ(Currency<2>(12.34).Round(5), Currency<2>(12.34));
    EXPECT_EQ(Currency<2>(12.34).Round(-40), Currency<2>(0));
}

TEST(Currency, RoundToAStepTakesTheNearestMultiple)
{
    EXPECT_EQ(Currency<5>(10.12).Round(Currency<5>(0.05)), Currency<5>(10.10));
    EXPECT_EQ(Currency<5>(10.125).Round(0.05), Currency<5>(10.15)); // 202.5 steps, away from zero
    EXPECT_EQ(Currency<5>(-10.125).Round(0.05), Currency<5>(-10.15));
    EXPECT_EQ(Currency<5>(10.12).Round(Currency<5>()), Currency<5>(10.12));
}

TEST(Currency, MultiplesOfAStepAreKnown)
{
    EXPECT_TRUE(Currency<5>(10.15).IsMultipleOf(Currency<5>(0.05)));
    EXPECT_TRUE(Currency<5>(-10.15).IsMultipleOf(Currency<5>(0.05)));
    EXPECT_FALSE(Currency<5>(10.12).IsMultipleOf(Currency<5>(0.05)));
    EXPECT_FALSE(Currency<5>(10.12).IsMultipleOf(Currency<5>()));
    EXPECT_TRUE(Currency<5>::FromPlain(Smallest).IsMultipleOf(Currency<5>::FromPlain(-1)));
}

TEST(Currency, TheSpecialAmountsAreApartFromRealOnes)
{
    Currency<2> least, most, none, zero(5);
    least.SetMin();
    most.SetMax();
    none.SetNAN();
    zero.SetZero();
    EXPECT_TRUE(none.IsNAN());
    EXPECT_FALSE(least.IsNAN());
    EXPECT_LT(none, least);
    EXPECT_LT(least, Currency<2>(-90000000000000000));
    EXPECT_GT(most, Currency<2>(90000000000000000));
    EXPECT_EQ(most, Currency<2>::Max());
    EXPECT_TRUE(zero.IsZero());
    EXPECT_TRUE(Currency<2>(-1).IsNeg());
    EXPECT_TRUE(Currency<2>(1).IsPositive());
    EXPECT_FALSE(zero.IsNeg() || zero.IsPositive());
}

TEST(PowerOfTen, IndexZeroHoldsZeroAndNotOne)
{
    EXPECT_EQ(kv7base::power_of_10(0), 0U);
    std::uint64_t power = 1;
    for (std::size_t n = 1; n <= 19; ++n) {
        power *= 10;
        EXPECT_EQ(kv7base::power_of_10(n), power) << n;
    }
    static_assert(kv7base::exp10s<5> == 100000 && kv7base::exp10s<0> == 1);
}

} // namespace
} // namespace test::CurrencyTest
