// What a deal does to positions and sums. c is the money of a unit of price: 1 in Near and Far, 6.5 in Dollars and its
// options, 0.5 in Halves.
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include <boost/multiprecision/cpp_int.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountingMarket.h"
#include "LogCapture.h"

namespace test::PositionTradesTest {
namespace {

using namespace accounting;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr bool WithTheOthers = false; // premium-style options kept in all sums

class Trades : public testing::Test, protected Book
{};

TEST_F(Trades, WhatWasBoughtAndSoldAgainIsClosedAtTheDifferenceOfTheAverages)
{
    Trade(Trading(Near), Price("100"), 5);
    Trade(Trading(Near), Price("101"), -3);
    const SPosition& position = At(Near);
    EXPECT_EQ(position.quantity, 2);
    EXPECT_EQ(position.buyQuantityTechnic, 5);
    EXPECT_EQ(position.sellQuantityTechnic, 3) << "sold contracts count positive";
    EXPECT_EQ(position.buyVolume, t_bsum_int("500"));
    EXPECT_EQ(position.sellVolume, t_bsum_int("303"));
    EXPECT_EQ(position.vmClose, t_bsum_int("3")) << "3 x (101 - 100)";
    EXPECT_EQ(position.waprice, Price("100")) << "more was bought";
    EXPECT_EQ(calculator.VM, t_bsum_int("3"));
    EXPECT_EQ(calculator.VMFull, t_bsum_int("3"));
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
}

TEST_F(Trades, WithoutASaleNothingIsClosed)
{
    Trade(Trading(Near), Price("100"), 5);
    Trade(Trading(Near), Price("106"), 1);
    EXPECT_EQ(At(Near).vmClose, t_bsum_int());
    EXPECT_EQ(At(Near).waprice, Price("101")) << "(500 + 106) / 6";
}

TEST_F(Trades, WhoeverSoldMoreThanWasBoughtStandsAtTheAverageOfTheSales)
{
    Trade(Trading(Near), Price("100"), 2);
    Trade(Trading(Near), Price("103"), -4);
    Trade(Trading(Near), Price("106"), -2);
    const SPosition& position = At(Near);
    EXPECT_EQ(position.quantity, -4);
    EXPECT_EQ(position.waprice, Price("104")) << "(412 + 212) / 6";
    EXPECT_EQ(position.vmClose, t_bsum_int("8")) << "2 x (104 - 100)";
}

TEST_F(Trades, AFlatPositionStandsAtTheAverageOfTheSales)
{
    Trade(Trading(Near), Price("100"), 2);
    Trade(Trading(Near), Price("99"), -2);
    EXPECT_EQ(At(Near).quantity, 0);
    EXPECT_EQ(At(Near).waprice, Price("99"));
    EXPECT_EQ(At(Near).vmClose, t_bsum_int("-2"));
}

TEST_F(Trades, AveragesAreRoundedHalfAwayFromZero)
{
    struct Case
    {
        std::int64_t first; // plain prices of one contract each
        std::int64_t second;
        std::int64_t average;
    };
    // 3 / 2 = 1.5, 5 / 2 = 2.5, and the same below zero; 1 / 2 = 0.5.
    for (const Case& c : {Case{1, 2, 2}, Case{2, 3, 3}, Case{-1, -2, -2}, Case{-2, -3, -3}, Case{0, 1, 1},
                          Case{0, -1, -1}, Case{1, 3, 2}}) {
        for (const std::int64_t side : {1, -1}) {
            Book book;
            book.Trade(Trading(Near), t_bprice_int::FromPlain(c.first), side);
            book.Trade(Trading(Near), t_bprice_int::FromPlain(c.second), side);
            EXPECT_EQ(book.At(Near).waprice.AsPlain(), c.average) << c.first << ", " << c.second << " side " << side;
        }
    }
}

TEST_F(Trades, TheMoneyOfAClosedContractIsRoundedHalfAwayFromZero)
{
    // One unit of 10^-5 at 0.5 of money is half a unit of 10^-5.
    Trade(Trading(Halves), Price("10"), 1);
    Trade(Trading(Halves), Price("10.00001"), -1);
    EXPECT_EQ(At(Halves).vmClose.AsPlain(), 1);
    Trade(Trading(Halves), Price("9.99998"), -1);
    // Sold at (10.00001 + 9.99998) / 2 = 9.999995, rounded to 10: nothing is won any more.
    EXPECT_EQ(At(Halves).vmClose.AsPlain(), 0);
    Trade(Trading(Halves), Price("10.00002"), 1);
    // Bought at 10.00001, sold at 10: 2 x -1 x 0.5 = -1 unit.
    EXPECT_EQ(At(Halves).vmClose.AsPlain(), -1);

    Book losing;
    losing.Trade(Trading(Halves), Price("10.00001"), 1);
    losing.Trade(Trading(Halves), Price("10"), -1);
    EXPECT_EQ(losing.At(Halves).vmClose.AsPlain(), -1) << "-0.5 goes away from zero";
}

TEST_F(Trades, TheMoneyOfAPriceUnitIsTakenFromTheStepsOfTheInstrument)
{
    Trade(Trading(Dollars), Price("50"), 4);
    Trade(Trading(Dollars), Price("49"), -4);
    EXPECT_EQ(At(Dollars).vmClose, t_bsum_int("-26")) << "4 x -1 x 6.5";
}

TEST_F(Trades, TheVmOfACurrencyContractIsKeptByCurrencyToo)
{
    Trade(Trading(Dollars), Price("50"), 4);
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int()))) << "from the first deal on";
    Trade(Trading(Dollars), Price("51"), -1);
    Trade(Trading(Near), Price("100"), 1);
    Trade(Trading(Near), Price("90"), -1);
    EXPECT_EQ(calculator.VM, t_bsum_int("-3.5")) << "6.5 - 10";
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int("6.5"))));
    EXPECT_EQ(calculator.VMFull, calculator.VM);
    EXPECT_EQ(calculator.VMCurrFull, calculator.VMCurr);
}

TEST_F(Trades, AnOptionWithoutPremiumCountsLikeAFutures)
{
    Trade(Trading(MarginStyle), Price("2"), 2);
    Trade(Trading(MarginStyle), Price("3"), -2);
    EXPECT_EQ(calculator.VM, t_bsum_int("13")) << "2 x 1 x 6.5";
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int("13"))));
    EXPECT_EQ(calculator.VMFull, t_bsum_int("13"));
}

TEST_F(Trades, APremiumStyleOptionCountsInTheFullSumsOnlyWhenItIsKeptApart)
{
    Trade(Trading(PremiumStyle), Price("2"), 2);
    Trade(Trading(PremiumStyle), Price("3"), -2);
    EXPECT_EQ(At(PremiumStyle).vmClose, t_bsum_int("13"));
    EXPECT_EQ(calculator.VM, t_bsum_int());
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
    EXPECT_EQ(calculator.VMFull, t_bsum_int("13"));
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(DollarCurrency, t_bsum_int("13"))));
}

TEST_F(Trades, APremiumStyleOptionCountsInAllSumsWhenItIsNotKeptApart)
{
    Trade(Trading(PremiumStyle), Price("2"), 2, WithTheOthers);
    Trade(Trading(PremiumStyle), Price("3"), -2, WithTheOthers);
    EXPECT_EQ(calculator.VM, t_bsum_int("13"));
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int("13"))));
    EXPECT_EQ(calculator.VMFull, t_bsum_int("13"));
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(DollarCurrency, t_bsum_int("13"))));
}

TEST_F(Trades, ARecordTellsTheDealAndThePositionBehindIt)
{
    Trade(Trading(Near), Price("100"), 5);
    const Deal deal = Trade(Trading(Near), Price("101"), -8);
    EXPECT_EQ(deal.isin, Near);
    EXPECT_EQ(deal.instrument, &instruments.getInstrumentTRD(Trading(Near)));
    ASSERT_EQ(deal.trades.size(), 1U);
    const pos::SPosTrade& trade = deal.trades[0];
    EXPECT_EQ(trade.isin, Near);
    EXPECT_EQ(trade.priceTechnic, Price("101"));
    EXPECT_EQ(trade.quantityTechnic, -8);
    EXPECT_EQ(trade.openInterestDelta, -2) << "5 bought became 3 sold";
    EXPECT_EQ(trade.deltaFee, t_bprice_int());
    EXPECT_EQ(trade.status, Enums::Status::None);
    EXPECT_EQ(trade.waprice, Price("101"));
    EXPECT_EQ(trade.vmClose, t_bsum_int("5"));
    EXPECT_EQ(trade.buyVolume, t_bsum_int("500"));
    EXPECT_EQ(trade.sellVolume, t_bsum_int("808"));
    EXPECT_EQ(trade.quantity, -3);
    EXPECT_EQ(trade.buyQuantityTechnic, 5);
    EXPECT_EQ(trade.sellQuantityTechnic, 8);
    EXPECT_EQ(trade.afterLastClearingQuantity, 0);
}

TEST_F(Trades, APairTradesItsFirstLegAtSettlementAndItsSecondAtTheDifference)
{
    const Deal deal = Trade(Trading(Calendar), Price("3.5"), 4);
    EXPECT_EQ(deal.isin, Calendar) << "the pair's own";
    ASSERT_EQ(deal.trades.size(), 2U);
    EXPECT_EQ(deal.trades[0].isin, Near);
    EXPECT_EQ(deal.trades[0].priceTechnic, Price("100"));
    EXPECT_EQ(deal.trades[0].quantityTechnic, -4);
    EXPECT_EQ(deal.trades[0].status, Enums::Status::None);
    EXPECT_EQ(deal.trades[1].isin, Far);
    EXPECT_EQ(deal.trades[1].priceTechnic, Price("103.5"));
    EXPECT_EQ(deal.trades[1].quantityTechnic, 4);
    EXPECT_EQ(static_cast<std::int64_t>(deal.trades[1].status), 0x4000);
    EXPECT_EQ(At(Near).quantity, -4);
    EXPECT_EQ(At(Far).quantity, 4);
    EXPECT_EQ(At(Far).buyVolume, t_bsum_int("414"));
    EXPECT_EQ(calculator.getPositionSafe(Calendar), nullptr) << "a pair is no position";

    // Two Near bought and three Far sold in each: the second part is (4 + 2 x 100) / 3 = 68.
    const Deal ratio = Trade(Trading(Ratio), Price("4"), -5);
    EXPECT_EQ(ratio.trades[0].quantityTechnic, -10);
    EXPECT_EQ(ratio.trades[1].quantityTechnic, 15);
    EXPECT_EQ(ratio.trades[1].priceTechnic, Price("68"));
    EXPECT_EQ(At(Near).quantity, -14);
    EXPECT_EQ(At(Far).quantity, 19);
}

TEST_F(Trades, SyntheticPricesTakeThePlaceOfTheWorkedOutOnes)
{
    const pos::SyntheticDealPrices synthetic({Calendar, Price("3.5")}, {Far, Price("102.5")}, {Near, Price("99")});
    const Deal deal = Trade(Trading(Calendar), Price("3.5"), 1, true, synthetic);
    EXPECT_EQ(deal.trades[0].priceTechnic, Price("99"));
    EXPECT_EQ(deal.trades[1].priceTechnic, Price("102.5"));
    EXPECT_EQ(static_cast<std::int64_t>(deal.trades[1].status), 0x4000);
    EXPECT_EQ(At(Near).sellVolume, t_bsum_int("99"));
}

TEST_F(Trades, SyntheticPricesAreOfPairsOnly)
{
    const pos::SyntheticDealPrices synthetic({Calendar, Price("3.5")}, {Far, Price("102.5")}, {Near, Price("99")});
    EXPECT_EQ(Trade(Trading(Near), Price("98"), 1, true, synthetic).trades[0].priceTechnic, Price("98"));
}

TEST_F(Trades, APairWithoutASyntheticPriceOfItsLegIsRefused)
{
    const auto before = StateOf(calculator);
    const pos::SyntheticDealPrices synthetic({Calendar, Price("3.5")}, {Near, Price("99")}, {Dollars, Price("1")});
    const Failure failure = FailureOf([&] { Trade(Trading(Calendar), Price("3.5"), 1, true, synthetic); });
    EXPECT_EQ(failure.code, Z9ERR_ISIN_ABSENT);
    EXPECT_THAT(failure.text, HasSubstr("GetOrderPrice: 2"));
    EXPECT_EQ(StateOf(calculator), before);
}

TEST_F(Trades, APairOfOneLegTradesItAtSettlement)
{
    instruments.InsertMultileg(60, Far, 2, 1);
    instruments.InsertInstrument(1060, 60, OrdinaryMode, 1, 1, "ONE");
    const Deal deal = Trade(1060, Price("3.5"), 3);
    ASSERT_EQ(deal.trades.size(), 1U);
    EXPECT_EQ(deal.trades[0].priceTechnic, Price("104"));
    EXPECT_EQ(deal.trades[0].quantityTechnic, 6);
}

TEST_F(Trades, AnInstrumentWithoutLegsMovesNothing)
{
    const auto before = StateOf(calculator);
    Deal deal{.trades = pos::SPosTradesVector(3)};
    calculator.ProcessTrade(NoLegs, Price("1"), 5, {}, deal.trades, deal.isin, deal.instrument, true);
    EXPECT_THAT(deal.trades, IsEmpty());
    EXPECT_EQ(deal.isin, 99);
    EXPECT_EQ(deal.instrument->isin_clr, 99);
    EXPECT_EQ(StateOf(calculator), before);
}

TEST_F(Trades, AnUnknownInstrumentIsToldById)
{
    const auto before = StateOf(calculator);
    const Failure failure = FailureOf([&] { Trade(4711, Price("1"), 5); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("InstrumentID: 4711"));
    EXPECT_EQ(StateOf(calculator), before);
}

TEST_F(Trades, ALegWithoutAPositionIsPassedOver)
{
    CPositionCalculator farOnly(instruments);
    farOnly.InsertPosition(Flat(Far), false, false);
    Deal deal;
    farOnly.ProcessTrade(Trading(Calendar), Price("3.5"), 4, {}, deal.trades, deal.isin, deal.instrument, true);
    EXPECT_EQ(farOnly.GetPositions().size(), 1U) << "none was made";
    EXPECT_EQ(farOnly.getPosition(Far)->quantity, 4);
    EXPECT_EQ(deal.trades[0].isin, Near);
    EXPECT_EQ(deal.trades[0].priceTechnic, Price("100"));
    EXPECT_EQ(deal.trades[0].quantityTechnic, 0);
    EXPECT_EQ(deal.trades[0].quantity, 0);
    EXPECT_EQ(deal.trades[1].quantityTechnic, 4);
}

TEST_F(Trades, BookingALegWithoutAPositionDoesNothing)
{
    CPositionCalculator empty(instruments);
    pos::SPosTrade trade;
    trade.priceTechnic = Price("1");
    PrevAndCurrPosition positions;
    empty.CalcPosition(instruments.getInstrumentCLR(Near), *instruments.GetInstrFutures(Near), 5, trade, &positions,
                       false, true);
    EXPECT_THAT(empty.GetPositions(), IsEmpty());
    EXPECT_EQ(positions.curr, nullptr);
    EXPECT_EQ(trade.quantityTechnic, 0);
}

TEST_F(Trades, AClearingDealHandsOutThePositionBeforeAndTheLiveOne)
{
    Clear(Near, Price("100"), 5);
    PrevAndCurrPosition positions;
    const pos::SPosTrade trade = Clear(Near, Price("101"), -3, false, &positions);
    EXPECT_EQ(positions.prev.quantity, 5);
    EXPECT_EQ(positions.prev.vmClose, t_bsum_int());
    EXPECT_EQ(positions.curr, calculator.getPosition(Near));
    EXPECT_EQ(positions.curr->quantity, 2);
    EXPECT_EQ(trade.isin, Near);
    EXPECT_EQ(trade.vmClose, t_bsum_int("3"));
    EXPECT_EQ(trade.openInterestDelta, -3);
    EXPECT_EQ(trade.status, Enums::Status::None);
}

TEST_F(Trades, AReversedClearingDealRestoresEveryByte)
{
    Clear(Dollars, Price("50"), 7);
    Clear(Dollars, Price("53.33333"), -4);
    Clear(Near, Price("-2.5"), -1);
    const auto before = StateOf(calculator);
    struct Case
    {
        Isin isin;
        const char* price;
        std::int64_t quantity;
    };
    for (const Case& c : {Case{Dollars, "51.12345", 3}, Case{Dollars, "49", -9}, Case{Near, "-7.77777", 2},
                          Case{PremiumStyle, "1.5", -1}, Case{Near, "0", 5}}) {
        Clear(c.isin, Price(c.price), c.quantity);
        EXPECT_NE(StateOf(calculator), before);
        Clear(c.isin, Price(c.price), -c.quantity, true);
        EXPECT_EQ(StateOf(calculator), before) << "isin " << c.isin << ", " << c.quantity << " at " << c.price;
    }
}

TEST_F(Trades, AReversalTakesAPurchaseFromTheBoughtSideAndASaleFromTheSold)
{
    Clear(Near, Price("100"), 5);
    Clear(Near, Price("101"), -3);
    Clear(Near, Price("100"), -2, true); // two of the five that were bought
    EXPECT_EQ(At(Near).buyQuantityTechnic, 3);
    EXPECT_EQ(At(Near).buyVolume, t_bsum_int("300"));
    EXPECT_EQ(At(Near).sellQuantityTechnic, 3);
    EXPECT_EQ(At(Near).quantity, 0);
    Clear(Near, Price("101"), 1, true); // one of the three that were sold
    EXPECT_EQ(At(Near).buyQuantityTechnic, 3);
    EXPECT_EQ(At(Near).sellQuantityTechnic, 2);
    EXPECT_EQ(At(Near).sellVolume, t_bsum_int("202"));
    EXPECT_EQ(At(Near).quantity, 1);
    EXPECT_EQ(At(Near).vmClose, t_bsum_int("2"));
}

TEST_F(Trades, ADealOfNothingLandsOnTheSoldSideAndChangesNothing)
{
    Clear(Near, Price("100"), 5);
    const auto before = StateOf(calculator);
    Clear(Near, Price("200"), 0);
    Clear(Near, Price("200"), 0, true);
    EXPECT_EQ(StateOf(calculator), before);
}

TEST_F(Trades, ClearingNeedsAClearingInstrument)
{
    const auto before = StateOf(calculator);
    const Failure unknown = FailureOf([&] { Clear(99, Price("1"), 1); });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_THAT(unknown.text, HasSubstr("Isin: 99"));
    const Failure pair = FailureOf([&] { Clear(Calendar, Price("1"), 1); });
    EXPECT_EQ(pair.code, Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION);
    EXPECT_THAT(pair.text, HasSubstr("Isin: 50"));
    EXPECT_EQ(StateOf(calculator), before);
}

TEST_F(Trades, WhereOnlyQuantitiesAreKeptOnlyTheyMove)
{
    CPositionCalculator firm(instruments);
    for (const Isin isin : {Near, Far, 777})
        firm.InsertPositionForHalfNettingAndGross(Flat(isin));
    Deal deal;
    firm.ProcessTradeForHalfNettingAndGross(Trading(Calendar), Price("3.5"), 4, {}, deal.trades, deal.isin,
                                            deal.instrument);
    EXPECT_EQ(deal.isin, Calendar);
    EXPECT_EQ(deal.instrument, &instruments.getInstrumentTRD(Trading(Calendar)));
    ASSERT_EQ(deal.trades.size(), 2U);
    EXPECT_EQ(deal.trades[0].quantity, -4);
    EXPECT_EQ(deal.trades[0].openInterestDelta, 4);
    EXPECT_EQ(deal.trades[1].quantity, 4);
    EXPECT_EQ(deal.trades[1].priceTechnic, Price("103.5"));
    EXPECT_EQ(static_cast<std::int64_t>(deal.trades[1].status), 0x4000);

    PrevAndCurrPosition positions;
    firm.ProcessTradeCLRForHalfNettingAndGross(777, Price("2"), -6, deal.trades, &positions);
    ASSERT_EQ(deal.trades.size(), 1U);
    EXPECT_EQ(deal.trades[0].isin, 777);
    EXPECT_EQ(deal.trades[0].quantityTechnic, -6);
    EXPECT_EQ(positions.prev.quantity, 0);
    EXPECT_EQ(positions.curr, firm.getPosition(777));

    for (const Isin isin : {Near, Far, 777}) {
        const SPosition& position = *firm.getPosition(isin);
        EXPECT_NE(position.quantity, 0);
        EXPECT_EQ(position.buyQuantityTechnic, 0);
        EXPECT_EQ(position.sellQuantityTechnic, 0);
        EXPECT_TRUE(position.buyVolume.IsZero() && position.sellVolume.IsZero() && position.waprice.IsZero());
        EXPECT_EQ(position.instr, nullptr);
    }
    EXPECT_TRUE(firm.VM.IsZero() && firm.VMFull.IsZero());
    EXPECT_THAT(firm.VMCurrFull, IsEmpty());
}

TEST_F(Trades, ARecordOfQuantitiesOnlyHasNoVmInAnAccountingDeal)
{
    CPositionCalculator firm(instruments);
    firm.InsertPositionForHalfNettingAndGross(Flat(Near));
    pos::SPosTradesVector trades;
    firm.ProcessTradeCLR(Near, Price("100"), 5, trades, nullptr, false, true);
    firm.ProcessTradeCLR(Near, Price("101"), -5, trades, nullptr, false, true);
    EXPECT_EQ(firm.getPosition(Near)->sellQuantityTechnic, 5);
    EXPECT_TRUE(firm.getPosition(Near)->vmClose.IsZero());
    EXPECT_TRUE(firm.VM.IsZero());
}

// Limits. A plain price of 1 is 0.00001.
constexpr t_bprice_int OneUnit = t_bprice_int::FromPlain(1);

TEST_F(Trades, VolumesReachTheLastUnitOfSixtyFourBitsAndNotFurther)
{
    Clear(Near, OneUnit, Largest);
    EXPECT_EQ(At(Near).buyVolume.AsPlain(), Largest);
    EXPECT_EQ(At(Near).waprice, OneUnit);
    const auto before = StateOf(calculator);
    const Failure failure = FailureOf([&] { Clear(Near, OneUnit, 1); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(failure.text, HasSubstr("Isin: 1"));
    EXPECT_EQ(StateOf(calculator), before);

    // 2^62 contracts at 2 units: one unit too many.
    EXPECT_EQ(FailureOf([&] { Clear(Far, t_bprice_int::FromPlain(2), std::int64_t{1} << 62); }).code,
              Z9ERR_COMMON_OVERFLOW);
    // At -2 units it is the smallest number there is, and that fits.
    Clear(Far, t_bprice_int::FromPlain(-2), std::int64_t{1} << 62);
    EXPECT_EQ(At(Far).buyVolume.AsPlain(), Smallest);
    EXPECT_EQ(At(Far).waprice.AsPlain(), -2);
}

TEST_F(Trades, TheSmallestCountCannotBeSoldNorStandAsAPosition)
{
    const auto before = StateOf(calculator);
    EXPECT_EQ(FailureOf([&] { Clear(Near, OneUnit, Smallest); }).code, Z9ERR_COMMON_OVERFLOW) << "-2^63 sold";
    EXPECT_EQ(FailureOf([&] { Clear(Near, OneUnit, Smallest, true); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(FailureOf([&] { Trade(Trading(Ratio), Price("1"), Smallest); }).code, Z9ERR_COMMON_OVERFLOW);
    std::vector<pos::SOrderQtyAndDirection> orders;
    EXPECT_EQ(FailureOf([&] { calculator.GetOrdersQtyAndDirectionData(Trading(Near), Smallest, orders); }).code,
              Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(StateOf(calculator), before);
    Clear(Near, OneUnit, Smallest + 1);
    EXPECT_EQ(At(Near).sellQuantityTechnic, Largest);
    EXPECT_EQ(At(Near).quantity, -Largest);
}

TEST_F(Trades, ASecondLegThatIsRefusedLeavesTheFirstAlone)
{
    Clear(Far, OneUnit, Largest);
    const auto before = StateOf(calculator);
    const Failure failure = FailureOf([&] { Trade(Trading(Calendar), Price("3.5"), 1); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(failure.text, HasSubstr("Isin: 2"));
    EXPECT_EQ(StateOf(calculator), before);
    CPositionCalculator firm(instruments);
    firm.InsertPositionForHalfNettingAndGross(Flat(Near));
    SPosition full = Flat(Far);
    full.quantity = Largest;
    firm.InsertPositionForHalfNettingAndGross(full);
    Deal deal;
    EXPECT_EQ(FailureOf([&] {
                  firm.ProcessTradeForHalfNettingAndGross(Trading(Calendar), Price("1"), 1, {}, deal.trades, deal.isin,
                                                          deal.instrument);
              }).code,
              Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(firm.getPosition(Near)->quantity, 0);
}

TEST_F(Trades, AClosedVmThatWouldNotFitIsRefused)
{
    // 2^40 contracts won at 2^22 units each is 2^62; a unit of price at 6.5 of money makes 6.5 x 2^62.
    Clear(Dollars, t_bprice_int::FromPlain(0), std::int64_t{1} << 40);
    const auto before = StateOf(calculator);
    EXPECT_EQ(FailureOf([&] { Clear(Dollars, t_bprice_int::FromPlain(1 << 22), -(std::int64_t{1} << 40)); }).code,
              Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(StateOf(calculator), before);
    // In Halves it is 2^61.
    Clear(Halves, t_bprice_int::FromPlain(0), std::int64_t{1} << 40);
    Clear(Halves, t_bprice_int::FromPlain(1 << 22), -(std::int64_t{1} << 40));
    EXPECT_EQ(At(Halves).vmClose.AsPlain(), std::int64_t{1} << 61);
}

TEST_F(Trades, AnInstrumentWithoutAStepHasNoMoney)
{
    InsertFutures(instruments, 7, 101, 0, 1, 1);
    calculator.InsertPosition(Flat(7), false, false);
    EXPECT_EQ(FailureOf([&] { Clear(7, Price("1"), 1); }).code, Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(At(7).quantity, 0);
}

/// vmClose by integers of any size: averages and the product rounded half away from zero.
boost::multiprecision::cpp_int PlainVm(const SPosition& position, std::int64_t moneyOfPriceUnit)
{
    using boost::multiprecision::cpp_int;
    const auto rounded = [](const cpp_int& n, const cpp_int& d) {
        const cpp_int twice = 2 * abs(n) + d;
        const cpp_int magnitude = twice / (2 * d);
        return n < 0 ? cpp_int(-magnitude) : magnitude;
    };
    const cpp_int sold = position.sellQuantityTechnic;
    const cpp_int bought = position.buyQuantityTechnic;
    const cpp_int sell = sold == 0 ? cpp_int(0) : rounded(position.sellVolume.AsPlain(), sold);
    const cpp_int buy = bought == 0 ? cpp_int(0) : rounded(position.buyVolume.AsPlain(), bought);
    const cpp_int closed = sold < bought ? sold : bought;
    return rounded(closed * (sell - buy) * moneyOfPriceUnit, 100000);
}

TEST_F(Trades, LargeProductsAreTakenInFull)
{
    // Volumes and gains up to 2^62, so that gain x 650000 needs more than 64 bits on the way.
    struct Case
    {
        std::int64_t bought;
        std::int64_t buyPrice;
        std::int64_t sold;
        std::int64_t sellPrice;
    };
    const Case cases[] = {
        {1000000007, 4611686014, 1000000007, 4611686018}, // volumes of 4.6e18, a gain of 4e9
        {3, 1537228672809129301, 2, 1537228672809129302}, // 2^62 / 3 a contract
        {2, -1400000000000000000, 1, -437228672809129},   // a gain of 1.4e18 that 6.5 brings close to 2^63
        {1, -2000000000000000, 1, 1000000000000000},      // a gain of 3e15, a product of 2e21
        {2147483647, 2147483647, 2147483646, 1},          // a loss of 4.6e18 at 6.5 would not fit; see below
        {999999937, 77777777, 888888883, 77777779},       // primes
        {7, 123456789012345678, 5, 123456789012345671},   // a remainder in either average
    };
    int taken = 0;
    for (const Case& c : cases) {
        Book book;
        const auto expected = [&] {
            SPosition position = Flat(Dollars);
            position.buyQuantityTechnic = c.bought;
            position.sellQuantityTechnic = c.sold;
            position.buyVolume = t_bsum_int::FromPlain(c.bought * c.buyPrice);
            position.sellVolume = t_bsum_int::FromPlain(c.sold * c.sellPrice);
            return PlainVm(position, 650000);
        }();
        book.Clear(Dollars, t_bprice_int::FromPlain(c.buyPrice), c.bought);
        const Failure failure = FailureOf([&] { book.Clear(Dollars, t_bprice_int::FromPlain(c.sellPrice), -c.sold); });
        const bool fits = expected >= Smallest && expected <= Largest;
        EXPECT_EQ(failure.code, fits ? Z9ERR_OK : Z9ERR_COMMON_OVERFLOW) << expected;
        if (!fits) continue;
        ++taken;
        EXPECT_EQ(book.At(Dollars).vmClose.AsPlain(), expected) << c.bought << " at " << c.buyPrice;
    }
    EXPECT_EQ(taken, 6) << "all but the fifth";
}

TEST_F(Trades, AnOrderMovesEachLegOnItsSide)
{
    std::vector<pos::SOrderQtyAndDirection> orders(5);
    calculator.GetOrdersQtyAndDirectionData(Trading(Ratio), -4, orders);
    ASSERT_EQ(orders.size(), 2U);
    EXPECT_EQ(orders[0].isin, Near);
    EXPECT_EQ(orders[0].quantity, 8);
    EXPECT_FALSE(orders[0].isBuying);
    EXPECT_EQ(orders[1].isin, Far);
    EXPECT_EQ(orders[1].quantity, 12);
    EXPECT_TRUE(orders[1].isBuying);
    calculator.GetOrdersQtyAndDirectionData(Trading(Dollars), 3, orders);
    ASSERT_EQ(orders.size(), 1U);
    EXPECT_EQ(orders[0].isin, Dollars);
    EXPECT_TRUE(orders[0].isBuying);
    calculator.GetOrdersQtyAndDirectionData(NoLegs, 3, orders);
    EXPECT_THAT(orders, IsEmpty());
}

TEST_F(Trades, TheTradingInstrumentIsHandedOutById)
{
    EXPECT_EQ(&calculator.GetTradeInstrument(Trading(Far)), &instruments.getInstrumentTRD(Trading(Far)));
    EXPECT_EQ(FailureOf([&] { (void)calculator.GetTradeInstrument(5); }).code,
              Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
}

TEST_F(Trades, PositionsOfAPairAreThoseOfItsLegs)
{
    Trade(Trading(Calendar), Price("3.5"), 4);
    std::vector<SPosition> positions(1);
    calculator.GetPositions(Calendar, positions, instruments);
    ASSERT_EQ(positions.size(), 2U);
    EXPECT_EQ(positions[0].isin, Near);
    EXPECT_EQ(positions[0].quantity, -4);
    EXPECT_EQ(positions[1].isin, Far);
    calculator.GetPositions(Far, positions, instruments);
    ASSERT_EQ(positions.size(), 1U);
    EXPECT_EQ(positions[0].quantity, 4);
    calculator.GetPositions(99, positions, instruments);
    EXPECT_THAT(positions, IsEmpty());

    CPositionCalculator farOnly(instruments);
    farOnly.InsertPosition(Flat(Far), false, false);
    farOnly.GetPositions(Calendar, positions, instruments);
    ASSERT_EQ(positions.size(), 1U);
    EXPECT_EQ(positions[0].isin, Far);
}

TEST_F(Trades, APairIsNotEnteredAsAPosition)
{
    for (const bool withAccounting : {true, false}) {
        const Failure failure = FailureOf([&] {
            if (withAccounting)
                calculator.InsertPosition(Flat(Calendar), true, true);
            else
                calculator.InsertPositionForHalfNettingAndGross(Flat(Calendar));
        });
        EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION);
        EXPECT_THAT(failure.text, HasSubstr("Isin: 50"));
    }
    EXPECT_EQ(calculator.getPosition(Calendar), nullptr);
}

TEST_F(Trades, AFeeIsTheRateForEachContract)
{
    LogCapture log;
    instruments.InsertInstrumentsRate(Trading(Near), 2.5);
    instruments.InsertInstrumentsRate(Trading(Far), 0.000005);
    EXPECT_EQ(calculator.CalcFixedFee(4, Trading(Near)), t_bsum_int("10"));
    EXPECT_EQ(calculator.CalcFixedFee(0, Trading(Near)), t_bsum_int());
    EXPECT_EQ(calculator.CalcFixedFee(-4, Trading(Near)), t_bsum_int("-10")) << "a deal that is taken back";
    // Half a unit of 10^-5 goes away from zero.
    EXPECT_EQ(calculator.CalcFixedFee(1, Trading(Far)).AsPlain(), 1);
    EXPECT_EQ(calculator.CalcFixedFee(-1, Trading(Far)).AsPlain(), -1);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(FailureOf([&] { (void)calculator.CalcFixedFee(Largest, Trading(Near)); }).code, Z9ERR_COMMON_OVERFLOW);
}

TEST_F(Trades, WithoutARateADealIsFreeAndLogged)
{
    LogCapture log;
    EXPECT_EQ(calculator.CalcFixedFee(4, Trading(Near)), t_bsum_int());
    EXPECT_THAT(log.Take(), ElementsAre("WARNING [QuindalIM] CalcFixedFee: Instrument not found: InstrumentID 1001. "
                                        "Default value is used (0.000000)."));
}

TEST_F(Trades, ARateThatIsNoneCostsNothingAndIsLogged)
{
    instruments.InsertInstrumentsRate(Trading(Near), 2.5);
    LogCapture log;
    // What the dictionary enters is checked; nothing else keeps a rate from being negative.
    auto& rate = const_cast<pos::SInstrTRD2&>(*instruments.GetInstrumentsRate(Trading(Near)));
    rate.fixedFeeRate = -2.5;
    EXPECT_EQ(calculator.CalcFixedFee(4, Trading(Near)), t_bsum_int());
    rate.fixedFeeRate = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(calculator.CalcFixedFee(4, Trading(Near)), t_bsum_int());
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [QuindalIM] CalcFixedFee: fixed_fee_rate has invalid value (-2.500000). Default "
                            "value is used (0.000000).",
                            "WARNING [QuindalIM] CalcFixedFee: fixed_fee_rate has invalid value (nan). Default value "
                            "is used (0.000000)."));
}

// Taken for a number it would be -92 trillion.
TEST_F(Trades, APriceThatIsNoAmountIsRefused)
{
    constexpr t_bprice_int noAmount = t_bprice_int::FromPlain(Smallest);
    constexpr t_bprice_int one = t_bprice_int::FromPlain(100'000);
    ASSERT_TRUE(noAmount.IsNAN());
    Clear(Near, Price("100"), 5);
    const auto before = StateOf(calculator);
    using Prices = pos::SyntheticDealPrices;
    const Prices firstWithout({Calendar, one}, {Near, noAmount}, {Far, one});
    const Prices secondWithout({Calendar, one}, {Near, one}, {Far, noAmount});
    struct Case
    {
        std::function<void()> action;
        const char* text;
    };
    const Case cases[] = {
        {[&] { Trade(Trading(Near), noAmount, -1); }, "Isin: 1"},
        {[&] { Trade(Trading(Calendar), noAmount, -1); }, "Isin: 50"},
        {[&] { Trade(NoLegs, noAmount, -1); }, "Isin: 99"},
        {[&] { Trade(Trading(Calendar), one, -1, true, firstWithout); }, "Isin: 1"},
        {[&] { Trade(Trading(Calendar), one, -1, true, secondWithout); }, "Isin: 2"},
        {[&] { Clear(Near, noAmount, -1); }, "Isin: 1"},
        {[&] { Clear(Near, noAmount, -1, true); }, "Isin: 1"},
        {[&] {
             Deal deal;
             calculator.ProcessTradeForHalfNettingAndGross(Trading(Near), noAmount, 1, {}, deal.trades, deal.isin,
                                                           deal.instrument);
         },
         "Isin: 1"},
        {[&] {
             Deal deal;
             calculator.ProcessTradeCLRForHalfNettingAndGross(Near, noAmount, 1, deal.trades, nullptr);
         },
         "Isin: 1"},
    };
    for (const Case& c : cases) {
        const Failure failure = FailureOf(c.action);
        EXPECT_EQ(failure.code, Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_THAT(failure.text, HasSubstr(c.text));
        EXPECT_EQ(StateOf(calculator), before);
    }
}

// A pair trades its first leg at the settlement price.
TEST_F(Trades, ASettlementPriceThatIsNoAmountMakesNoPrice)
{
    const auto before = StateOf(calculator);
    auto& settled = const_cast<pos::SFutures&>(*instruments.GetInstrFutures(Near));
    settled.settlPriceReal.SetNAN();
    const Failure failure = FailureOf([&] { Trade(Trading(Ratio), Price("3.5"), 1); });
    EXPECT_NE(failure.code, Z9ERR_OK);
    EXPECT_EQ(StateOf(calculator), before);
    // One that leaves the second leg a price.
    EXPECT_EQ(FailureOf([&] { Trade(Trading(Calendar), Price("3.5"), 1); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(StateOf(calculator), before);
}

} // namespace
} // namespace test::PositionTradesTest
