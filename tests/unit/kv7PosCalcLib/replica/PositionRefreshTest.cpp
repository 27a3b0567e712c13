// The end of a session. Near settles at 100, Dollars at 50, the options on it at 2.5; a unit of price of Dollars and
// its options is 6.5 of money.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountingMarket.h"

namespace test::PositionRefreshTest {
namespace {

using namespace accounting;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class Refresh : public testing::Test, protected Book
{};

TEST_F(Refresh, RestatesEachSideAtTheSettlementPrice)
{
    Trade(Trading(Near), Price("98"), 8);
    Trade(Trading(Near), Price("101"), -3);
    calculator.refreshPosition(Near);
    const SPosition& position = At(Near);
    EXPECT_EQ(position.waprice, Price("100"));
    EXPECT_EQ(position.vmClose, t_bsum_int());
    EXPECT_EQ(position.buyQuantityTechnic, 8) << "the counts stay";
    EXPECT_EQ(position.sellQuantityTechnic, 3);
    EXPECT_EQ(position.buyVolume, t_bsum_int("800"));
    EXPECT_EQ(position.sellVolume, t_bsum_int("300"));
    EXPECT_EQ(position.quantity, 5);
    EXPECT_EQ(position.afterLastClearingQuantity, 5);
    EXPECT_EQ(calculator.GetAfterLastClearingQuantityByIsin(Near), 5);
    EXPECT_EQ(position.netOptionValue, t_bsum_int());
    EXPECT_EQ(calculator.VM, t_bsum_int("9")) << "the sums are the caller's: 3 x (101 - 98)";
}

TEST_F(Refresh, WhatIsClosedAfterwardsIsClosedAgainstTheSettlementPrice)
{
    Trade(Trading(Near), Price("98"), 8);
    Trade(Trading(Near), Price("101"), -3);
    calculator.refreshAllPositions();
    EXPECT_EQ(calculator.VM, t_bsum_int());
    Trade(Trading(Near), Price("103"), -5);
    EXPECT_EQ(At(Near).quantity, 0);
    EXPECT_EQ(At(Near).vmClose, t_bsum_int("15")) << "5 x (103 - 100)";
    EXPECT_EQ(calculator.VM, t_bsum_int("15"));
    EXPECT_EQ(At(Near).afterLastClearingQuantity, 5);
}

// What a session pays for closed contracts and what the next clearing pays for the open ones make up the whole.
TEST_F(Refresh, TheVmOfASessionIsWholeHoweverItsDealsAreAveraged)
{
    Trade(Trading(Near), Price("98"), 8);
    Trade(Trading(Near), Price("101"), -3);
    calculator.refreshAllPositions();
    Trade(Trading(Near), Price("107"), 2);
    // Closed: 3 x (100 - (800 + 214) / 10) = 3 x -1.4. Open: 7 at 101.4, paid at the next settlement of 110.
    EXPECT_EQ(At(Near).vmClose, t_bsum_int("-4.2"));
    EXPECT_EQ(At(Near).waprice, Price("101.4"));
    // 5 carried over from 100 and 2 bought at 107: 50 + 6.
    EXPECT_NEAR(At(Near).vmClose.AsDouble() + 7 * (110 - At(Near).waprice.AsDouble()), 56.0, 1e-9);
}

TEST_F(Refresh, APremiumThatWasPaidStaysAsTheWorthOfTheOption)
{
    Trade(Trading(PremiumStyle), Price("2"), 4);
    Trade(Trading(PremiumStyle), Price("3"), -1);
    calculator.refreshPosition(PremiumStyle);
    EXPECT_EQ(At(PremiumStyle).netOptionValue, t_bsum_int("48.75")) << "3 x 2.5 x 6.5";
    EXPECT_EQ(At(PremiumStyle).waprice, Price("2.5"));
    EXPECT_EQ(At(PremiumStyle).vmClose, t_bsum_int());
    EXPECT_EQ(At(PremiumStyle).buyVolume, t_bsum_int("10"));
    EXPECT_EQ(At(PremiumStyle).sellVolume, t_bsum_int("2.5"));

    Trade(Trading(MarginStyle), Price("2"), 4);
    calculator.refreshPosition(MarginStyle);
    EXPECT_EQ(At(MarginStyle).netOptionValue, t_bsum_int()) << "settled every day";
}

TEST_F(Refresh, AWrittenOptionIsWorthItsPriceBelowZero)
{
    Trade(Trading(PremiumStyle), Price("2"), -2);
    instruments.UpdateOption(PremiumStyle, t_bprice(0.00001));
    calculator.refreshPosition(PremiumStyle);
    EXPECT_EQ(At(PremiumStyle).netOptionValue.AsPlain(), -13) << "-2 x 0.00001 x 6.5";
}

TEST_F(Refresh, OfAllStartsTheSumsAnewAndKeepsTheCurrencies)
{
    Trade(Trading(Dollars), Price("50"), 1);
    Trade(Trading(Dollars), Price("51"), -1);
    Trade(Trading(PremiumStyle), Price("2"), 4);
    SPosition quantities = Flat(7);
    quantities.quantity = -6;
    calculator.InsertPositionForHalfNettingAndGross(quantities);
    calculator.NetOptionValue = t_bsum_int("1000");
    calculator.refreshAllPositions();
    EXPECT_EQ(calculator.VM, t_bsum_int());
    EXPECT_EQ(calculator.VMFull, t_bsum_int());
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int())));
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(DollarCurrency, t_bsum_int())));
    EXPECT_EQ(calculator.GetNetOptionValue(), t_bsum_int("65")) << "4 x 2.5 x 6.5, and nothing of before";
    EXPECT_EQ(At(Dollars).vmClose, t_bsum_int());
    EXPECT_EQ(At(7).afterLastClearingQuantity, -6) << "a record of quantities takes them only";
    EXPECT_EQ(At(7).waprice, t_bprice_int());
    // A second one changes nothing.
    const auto once = StateOf(calculator);
    calculator.refreshAllPositions();
    EXPECT_EQ(StateOf(calculator), once);
}

TEST_F(Refresh, AnUnknownPositionIsToldByItsIsin)
{
    const Failure failure = FailureOf([&] { calculator.refreshPosition(99); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Isin: 99"));
}

TEST_F(Refresh, OnePositionThatCannotBeRestatedLeavesAllAsTheyWere)
{
    Trade(Trading(Near), Price("98"), 8);
    Trade(Trading(Near), Price("101"), -3);
    Clear(Far, t_bprice_int::FromPlain(1), Largest); // at 104 it is too much
    const auto before = StateOf(calculator);
    EXPECT_EQ(FailureOf([&] { calculator.refreshAllPositions(); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(StateOf(calculator), before);
    EXPECT_EQ(calculator.VM, t_bsum_int("9"));
}

} // namespace
} // namespace test::PositionRefreshTest
