#include <cstdint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountingMarket.h"
#include "replica/PartPrices.h"

namespace test::PartPricesTest {
namespace {

using accounting::FailureOf;
using accounting::Largest;
using accounting::Price;
using Enums::TradingInstrType;
using pos::CalcFirstPartPrice;
using pos::CalcSecondPartPrice;
using testing::HasSubstr;

TEST(FirstPart, OfOneLegTradesAtThePriceOfTheDealAndOfAPairAtTheSecondPrice)
{
    EXPECT_EQ(CalcFirstPartPrice(TradingInstrType::Futures, Price("3.5"), Price("100")), Price("3.5"));
    EXPECT_EQ(CalcFirstPartPrice(TradingInstrType::Option, Price("3.5"), Price("100")), Price("3.5"));
    EXPECT_EQ(CalcFirstPartPrice(TradingInstrType::Multileg, Price("3.5"), Price("100")), Price("100"));
}

TEST(SecondPart, IsNothingWhereThereIsOneLeg)
{
    EXPECT_EQ(CalcSecondPartPrice(TradingInstrType::Futures, Price("3.5"), Price("100"), 1, 1), Price("0"));
    EXPECT_EQ(CalcSecondPartPrice(TradingInstrType::Option, Price("3.5"), Price("100"), 1, 0), Price("0"))
        << "nothing is divided";
}

TEST(SecondPart, OfAPairTakesUpTheDifference)
{
    struct Case
    {
        const char* name;
        const char* price;
        const char* first;
        std::int32_t a;
        std::int32_t b;
        const char* second;
    };
    const Case cases[] = {
        // (price + first |a|) / |b|
        {"one against one", "3.5", "100", 1, 1, "103.5"},
        {"the side of a leg does not matter", "3.5", "100", -1, 1, "103.5"},
        {"nor that of the second", "3.5", "100", 1, -1, "103.5"},
        {"a negative difference", "-3.5", "100", -1, 1, "96.5"},
        {"below zero", "-103.5", "100", -1, 1, "-3.5"},
        {"a negative first price", "1", "-40", 1, 1, "-39"},
        {"two against three: (1 + 200) / 3", "1", "100", 2, -3, "67"},
        {"no first leg", "9", "100", 0, 2, "4.5"},
        {"a half goes away from zero: 0.00005 / 2", "0.00005", "0", 1, 2, "0.00003"},
        {"below zero too: -0.00005 / 2", "-0.00005", "0", 1, 2, "-0.00003"},
        {"less than a half goes back: 0.00004 / 3", "0.00004", "0", 1, 3, "0.00001"},
        {"more than a half goes on: 0.00005 / 3", "0.00005", "0", 1, 3, "0.00002"},
        {"the largest counts", "0", "0.00001", std::numeric_limits<std::int32_t>::min(), 1, "21474.83648"},
        {"2^31 / 2^31", "0", "7", std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min(),
         "7"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CalcSecondPartPrice(TradingInstrType::Multileg, Price(c.price), Price(c.first), c.a, c.b),
                  Price(c.second))
            << c.name;
}

TEST(SecondPart, OfNoContractsCannotBeDivided)
{
    EXPECT_EQ(
        FailureOf([] { (void)CalcSecondPartPrice(TradingInstrType::Multileg, Price("1"), Price("2"), 1, 0); }).code,
        Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO);
}

TEST(SecondPart, IsRefusedWhereItLeavesSixtyFourBitsAndOnlyThere)
{
    const t_bprice_int largest = t_bprice_int::FromPlain(Largest);
    // 3 (2^63 - 1) does not fit on the way, but a third of it does.
    EXPECT_EQ(CalcSecondPartPrice(TradingInstrType::Multileg, Price("0"), largest, 3, 3), largest);
    const auto beyond = [&] { (void)CalcSecondPartPrice(TradingInstrType::Multileg, Price("0.00001"), largest, 1, 1); };
    EXPECT_EQ(FailureOf(beyond).code, Z9ERR_COMMON_OVERFLOW);
}

TEST(PartPrices, OfAnUnknownTypeAreRefused)
{
    for (const int type : {-1, 3}) {
        const auto none = static_cast<TradingInstrType>(type);
        const auto first = FailureOf([&] { (void)CalcFirstPartPrice(none, Price("1"), Price("2")); });
        EXPECT_EQ(first.code, Z9ERR_POSITION_CALCULATOR_INCORRECT_INSTR_TYPE);
        EXPECT_THAT(first.text, HasSubstr("InstrType: " + std::to_string(type)));
        const auto second = FailureOf([&] { (void)CalcSecondPartPrice(none, Price("1"), Price("2"), 1, 0); });
        EXPECT_EQ(second.code, Z9ERR_POSITION_CALCULATOR_INCORRECT_INSTR_TYPE) << "before the division";
        EXPECT_THAT(second.text, HasSubstr("InstrType: " + std::to_string(type)));
    }
}

TEST(SyntheticPrices, AreNoneUntilTheyAreGivenAndAfterAReset)
{
    pos::SyntheticDealPrices prices;
    EXPECT_FALSE(prices.HasPrices());
    EXPECT_EQ(prices.GetActiveOrderIsin(), 0);
    prices = {{50, Price("3.5")}, {1, Price("99")}, {2, Price("102.5")}};
    EXPECT_TRUE(prices.HasPrices());
    EXPECT_EQ(prices.GetActiveOrderIsin(), 50);
    prices.Reset();
    EXPECT_FALSE(prices.HasPrices());
    EXPECT_EQ(FailureOf([&] { (void)prices.GetOrderPrice(1); }).code, Z9ERR_ISIN_ABSENT);
}

TEST(SyntheticPrices, AreLookedUpByIsin)
{
    const pos::SyntheticDealPrices prices({50, Price("3.5")}, {1, Price("99")}, {2, Price("-102.5")});
    EXPECT_EQ(prices.GetOrderPrice(50), Price("3.5"));
    EXPECT_EQ(prices.GetOrderPrice(1), Price("99"));
    EXPECT_EQ(prices.GetOrderPrice(2), Price("-102.5"));
    const auto absent = FailureOf([&] { (void)prices.GetOrderPrice(3); });
    EXPECT_EQ(absent.code, Z9ERR_ISIN_ABSENT);
    EXPECT_THAT(absent.text, HasSubstr("GetOrderPrice: 3"));
    // Isin 0 stands for no order, also where no prices are set.
    EXPECT_EQ(FailureOf([] { (void)pos::SyntheticDealPrices().GetOrderPrice(0); }).code, Z9ERR_ISIN_ABSENT);
}

} // namespace
} // namespace test::PartPricesTest
