// Orders in a calendar spread: what falls on each leg, and what the legs cost together. Worked out by hand.
//
// The near leg FUT has the grid 700, 800, 900, the far leg NEXT 720, 820, 920; one unit of price is one unit of money.
// A purchase of the spread sells the near leg and buys the far one, and its fair price is 20.
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "instruments/SpecMultileg.h"
#include "kv7errors.h"

namespace test::MultilegOrdersTest {
namespace {

using namespace kv7im;
using Enums::SpreadMarginType;
using testing::ElementsAre;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;

constexpr double Tolerance = 1e-6;
constexpr Isin NEXT = 2;
constexpr Isin SPREAD = 201;

plain::Market MarketOf(std::int32_t nearRatio = -1, std::int32_t farRatio = 1)
{
    FuturesSample nearLeg = HandFutures();
    FuturesSample farLeg = HandFutures("NEXT", NEXT);
    nearLeg.TimeToExpiration = 0.25;
    farLeg.CalcFutPrice = farLeg.RealCalcPrice = 820.0;
    for (FuturesSample* const leg : {&nearLeg, &farLeg})
        leg->SpreadAspect = Enums::SpreadAspect::InSpread;
    MultilegSample multileg;
    multileg.FirstRatio = nearRatio;
    multileg.SecondRatio = farRatio;
    plain::Market market{{HandBaseContract()}, {nearLeg, farLeg}, {}, 0.0};
    market.multilegs = {multileg};
    return market;
}

plain::Rules RulesOf(SpreadMarginType calendar, bool noDiscount = false)
{
    plain::Rules rules;
    rules.calendar = calendar;
    rules.noFutDiscount = noDiscount;
    return rules;
}

class Desk
{
public:
    Desk(const plain::Market& market, const plain::Rules& rules)
        : repository(MakeRepository(market)), engine(*repository, rules)
    {}
    void Send(const std::vector<SClearingDeltaOrder>& records)
    {
        EXPECT_EQ(engine.portfolio.ChangeOrder(SPREAD, records.size(), records.data()), Z9ERR_OK);
    }
    void Order(const KeyPriceType& key, std::int64_t quantity) { Send({Record(key, quantity, SPREAD, SPREAD)}); }
    [[nodiscard]] double Margin() const
    {
        EXPECT_EQ(engine.Margins().volatility, engine.Margins().delivery) << "nothing is delivered";
        return engine.Margins().volatility;
    }
    [[nodiscard]] const OrdersMap& Orders(Isin isin) const
    {
        return engine.portfolio.GetSpecPosition(isin)->GetOrders();
    }

    std::unique_ptr<InstrumentsRepository> repository;
    EngineBook engine;
};

/// The margin of one order.
double MarginOf(const plain::Market& market, const plain::Rules& rules, const KeyPriceType& key, std::int64_t quantity)
{
    Desk desk(market, rules);
    desk.Order(key, quantity);
    return desk.Margin();
}

KeyPriceType FirstLeg(Direction direction, double price) { return KeyOf(direction, price, Type::FirstLeg); }
KeyPriceType SecondLeg(Direction direction, double price) { return KeyOf(direction, price, Type::SecondLeg); }

// Where the months net, a spread costs what it is bought above its fair price or sold below it, at every price alike.
TEST(MultilegOrders, UnderNettingOnlyThePriceOfTheSpreadCounts)
{
    const plain::Rules rules = RulesOf(SpreadMarginType::Netting);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Buy(25.0), 1), 5.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Buy(25.0), 3), 15.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Buy(15.0), 3), 0.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Sell(15.0), 3), 15.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Sell(25.0), 3), 0.0, Tolerance);
}

// The legs held at their settlement prices are 100, 0, -100 and -100, 0, 100: nothing. The order is 5 on top,
// everywhere.
TEST(MultilegOrders, UnderNettingTheOrderComesOnTopOfWhateverIsHeld)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::Netting));
    EXPECT_EQ(desk.engine.portfolio.SetPosition(FUT, -1, 800.0, 0), Z9ERR_OK);
    EXPECT_EQ(desk.engine.portfolio.SetPosition(NEXT, 1, 820.0, 0), Z9ERR_OK);
    EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
    desk.Order(Buy(25.0), 1);
    EXPECT_NEAR(desk.Margin(), 5.0, Tolerance);
    EXPECT_EQ(desk.engine.portfolio.SetPosition(NEXT, 0, 0.0, 0), Z9ERR_OK);
    EXPECT_NEAR(desk.Margin(), 105.0, Tolerance);
}

// Without discount the settlement spread counts where it is worse than the fair one. Settled 40 apart, a purchase at 25
// costs 40 - 20; settled 10 apart, a sale at 25 costs 20 - 10.
TEST(MultilegOrders, WithoutDiscountTheSettlementSpreadCounts)
{
    plain::Market market = MarketOf();
    market.futures[1].RealCalcPrice = 840.0;
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Netting), Buy(25.0), 1), 5.0, Tolerance);
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Netting, true), Buy(25.0), 1), 20.0, Tolerance);
    market.futures[1].RealCalcPrice = 810.0;
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Netting), Sell(25.0), 1), 0.0, Tolerance);
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Netting, true), Sell(25.0), 1), 10.0, Tolerance);
}

// By their losses the legs are two orders: bought at 25, the near one is sold at its settlement of 800, 0, 0, -100, and
// the far one bought at 825, -105, -5, 0. Sold at 25: -100, 0, 0 and 0, 0, 825 - 920.
TEST(MultilegOrders, UnderHalfNettingTheLegsAreTwoOrders)
{
    const plain::Rules rules = RulesOf(SpreadMarginType::HalfNetting);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Buy(25.0), 1), 105.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Sell(25.0), 1), 100.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(), rules, Sell(25.0), 4), 400.0, Tolerance);
    // Two far legs for one near one, bought at 15: 2 (720 - 815), without discount 2 (720 - 820).
    EXPECT_NEAR(MarginOf(MarketOf(-1, 2), rules, Buy(15.0), 1), 190.0, Tolerance);
    EXPECT_NEAR(MarginOf(MarketOf(-1, 2), RulesOf(SpreadMarginType::HalfNetting, true), Buy(15.0), 1), 200.0,
                Tolerance);
}

// Legs of nobody's netting are not valued at all. The stress of the rates is: 10 at 900 against the near leg that is
// sold, 10 at 720 against the far one that is bought.
TEST(MultilegOrders, WhereNettingIsUnusedTheLegsCostTheStressOfTheRatesOnly)
{
    plain::Market market = MarketOf();
    EXPECT_EQ(MarginOf(market, RulesOf(SpreadMarginType::Unused), Buy(60.0), 7), 0.0);
    for (FuturesSample& leg : market.futures)
        leg.MRAddOnUp = leg.MRAddOnDown = 10.0 / 800.0;
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Unused), Buy(60.0), 7), 70.0, Tolerance);
    EXPECT_NEAR(MarginOf(market, RulesOf(SpreadMarginType::Netting), Buy(20.0), 7), 70.0, Tolerance);
}

// While one leg stands out of spread the legs cannot net, whatever the participant's rule: 100 of the near month in its
// group and 105 of the far one by itself.
TEST(MultilegOrders, AnIncompleteSpreadIsMarginedLegByLeg)
{
    for (const std::size_t leg : {0U, 1U})
        for (const SpreadMarginType calendar :
             {SpreadMarginType::Netting, SpreadMarginType::HalfNetting, SpreadMarginType::Unused}) {
            plain::Market market = MarketOf();
            market.futures[leg].SpreadAspect = Enums::SpreadAspect::NotInSpread;
            EXPECT_NEAR(MarginOf(market, RulesOf(calendar), Buy(25.0), 1), 205.0, Tolerance);
        }
}

// Either leg may insist on half netting; they stay in one group: -105, -5, -100.
TEST(MultilegOrders, ALegThatEnforcesHalfNettingEnforcesItForBoth)
{
    for (const std::size_t leg : {0U, 1U}) {
        plain::Market market = MarketOf();
        market.futures[leg].EnforceIMSHalfNetting = true;
        Desk desk(market, RulesOf(SpreadMarginType::Netting));
        desk.Order(Buy(25.0), 1);
        EXPECT_NEAR(desk.Margin(), 105.0, Tolerance);
        for (const Isin isin : {FUT, NEXT})
            EXPECT_EQ(desk.Orders(isin).begin()->second.participantCalSpreadMarginType, SpreadMarginType::HalfNetting);
    }
}

// Ratios of 2 and -3: five bought at 25 buy ten of the near leg at 800 and sell fifteen of the far one at 825:
// -1000, 0, 0 and 0, 0, 15 x (825 - 920).
TEST(MultilegOrders, RatiosMultiplyTheQuantityAndTurnALegRound)
{
    Desk desk(MarketOf(2, -3), RulesOf(SpreadMarginType::HalfNetting));
    desk.Order(Buy(25.0), 5);
    EXPECT_EQ(desk.Orders(FUT).size(), 1U);
    EXPECT_EQ(desk.Orders(NEXT).size(), 1U);
    EXPECT_EQ(QuantityOf(desk.Orders(FUT), FirstLeg(Direction::Buy, 25.0)), 10);
    EXPECT_EQ(QuantityOf(desk.Orders(NEXT), SecondLeg(Direction::Sell, 25.0)), 15);
    EXPECT_NEAR(desk.Margin(), 1425.0, Tolerance);

    Desk sold(MarketOf(2, -3), RulesOf(SpreadMarginType::HalfNetting));
    sold.Order(Sell(25.0), 1);
    EXPECT_EQ(QuantityOf(sold.Orders(FUT), FirstLeg(Direction::Sell, 25.0)), 2);
    EXPECT_EQ(QuantityOf(sold.Orders(NEXT), SecondLeg(Direction::Buy, 25.0)), 3);
    EXPECT_NEAR(sold.Margin(), 315.0, Tolerance); // 0, 0, -200 and 3 x -105, 3 x -5, 0
}

// A leg is turned round by what its record says of buying; the side in its key plays no part in that. A leg that is not
// turned keeps its key.
TEST(MultilegOrders, ALegIsTurnedRoundByTheFlagOfItsRecord)
{
    SClearingDeltaOrder record = Record(KeyOf(Direction::Undefined, 25.0), 1, SPREAD, SPREAD);
    record.isBuying = true;
    Desk bought(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    bought.Send({record});
    EXPECT_EQ(QuantityOf(bought.Orders(FUT), FirstLeg(Direction::Sell, 25.0)), 1);
    EXPECT_EQ(QuantityOf(bought.Orders(NEXT), SecondLeg(Direction::Undefined, 25.0)), 1);
    record.isBuying = false;
    Desk sold(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    sold.Send({record});
    EXPECT_EQ(QuantityOf(sold.Orders(FUT), FirstLeg(Direction::Buy, 25.0)), 1);
}

TEST(MultilegOrders, ALegOrderRemembersBothLegsAndItsSpread)
{
    plain::Market market = MarketOf();
    market.futures[1].RealCalcPrice = 811.0;
    Desk desk(market, RulesOf(SpreadMarginType::Netting));
    SClearingDeltaOrder record = Record(Buy(25.0), 2, SPREAD, SPREAD);
    record.orderInfo.realCalcPriceFirstLeg = record.orderInfo.riskCenterSecondLeg = -1.0; // whatever was in it
    record.orderInfo.participantCalSpreadMarginType = SpreadMarginType::HalfNetting;
    desk.Send({record});
    for (const auto& [isin, key] :
         {std::pair{FUT, FirstLeg(Direction::Sell, 25.0)}, std::pair{NEXT, SecondLeg(Direction::Buy, 25.0)}}) {
        ASSERT_EQ(desk.Orders(isin).count(key), 1U);
        const SOrderInfo& entry = desk.Orders(isin).at(key);
        EXPECT_EQ(entry.multilegIsin, SPREAD);
        EXPECT_EQ(entry.initializationType, SOrderInfo::InitializationType::OnlyDeltaQuantity);
        EXPECT_EQ(entry.realCalcPriceFirstLeg, 800.0);
        EXPECT_EQ(entry.realCalcPriceSecondLeg, 811.0);
        EXPECT_EQ(entry.riskCenterFirstLeg, 800.0);
        EXPECT_EQ(entry.riskCenterSecondLeg, 820.0);
        EXPECT_EQ(entry.participantCalSpreadMarginType, SpreadMarginType::Netting);
    }
}

TEST(MultilegOrders, ACancelledOrderLeavesBothLegs)
{
    for (const SpreadMarginType calendar :
         {SpreadMarginType::Netting, SpreadMarginType::HalfNetting, SpreadMarginType::Unused}) {
        Desk desk(MarketOf(2, -3), RulesOf(calendar));
        desk.Order(Buy(25.0), 5);
        desk.Order(Buy(25.0), -2);
        EXPECT_EQ(QuantityOf(desk.Orders(FUT), FirstLeg(Direction::Buy, 25.0)), 6);
        EXPECT_EQ(QuantityOf(desk.Orders(NEXT), SecondLeg(Direction::Sell, 25.0)), 9);
        desk.Order(Buy(25.0), -3);
        EXPECT_TRUE(desk.Orders(FUT).empty());
        EXPECT_TRUE(desk.Orders(NEXT).empty());
        EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
    }
}

// One bought at 25 and two sold at 30. Near: 0, 0, -100 and 2 x -100, 0, 0. Far: -105, -5, 0 and 0, 0, 2 x -90.
// Together -305, -5, -280.
TEST(MultilegOrders, SeveralRecordsOfOneCallFallOnTheLegsEach)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    desk.Send({Record(Buy(25.0), 1, SPREAD, SPREAD), Record(Sell(30.0), 2, SPREAD, SPREAD),
               Record(Sell(35.0), 0, SPREAD, SPREAD)});
    EXPECT_EQ(desk.Orders(FUT).size(), 2U);
    EXPECT_EQ(desk.Orders(NEXT).size(), 2U);
    EXPECT_EQ(QuantityOf(desk.Orders(FUT), FirstLeg(Direction::Buy, 30.0)), 2);
    EXPECT_EQ(QuantityOf(desk.Orders(NEXT), SecondLeg(Direction::Sell, 30.0)), 2);
    EXPECT_NEAR(desk.Margin(), 305.0, Tolerance);
}

// An order in a leg by itself is another entry even at the price of the spread.
TEST(MultilegOrders, OrdersOfALegByItselfStandBesideThoseOfTheSpread)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    desk.Order(Buy(25.0), 1);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(NEXT, Buy(25.0), 1), Z9ERR_OK);
    EXPECT_EQ(desk.Orders(NEXT).size(), 2U);
    EXPECT_EQ(QuantityOf(desk.Orders(NEXT), SecondLeg(Direction::Buy, 25.0)), 1);
    EXPECT_EQ(QuantityOf(desk.Orders(NEXT), Buy(25.0)), 1);
    EXPECT_NEAR(desk.Margin(), 105.0, Tolerance) << "bought at 25 it cannot lose";
}

TEST(MultilegOrders, OneOrderAloneHasNoEffectOnAMultileg)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(SPREAD, Buy(25.0), 1), Z9ERR_OK);
    EXPECT_TRUE(desk.Orders(FUT).empty());
    EXPECT_TRUE(desk.Orders(NEXT).empty());
    EXPECT_EQ(desk.Margin(), 0.0);
}

TEST(MultilegOrders, APositionCannotStandInAMultileg)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::HalfNetting));
    EXPECT_EQ(desk.engine.portfolio.SetPosition(SPREAD, 5, 25.0, 0), Z9ERR_OK);
    EXPECT_EQ(desk.Margin(), 0.0);
    for (const Isin isin : {FUT, NEXT})
        EXPECT_EQ(desk.engine.portfolio.GetSpecPosition(isin)->GetQuantity(), 0);
    EXPECT_EQ(desk.engine.portfolio.GetSpecPosition(SPREAD), nullptr);
}

// A lookup makes the positions of the legs, that of the second leg first.
TEST(MultilegOrders, TheBookBeginsToHoldBothLegs)
{
    Desk desk(MarketOf(), RulesOf(SpreadMarginType::Netting));
    desk.Order(Buy(25.0), 1);
    EXPECT_THAT(desk.engine.added, ElementsAre(NEXT, FUT));
    EXPECT_EQ(desk.engine.portfolio.GetPositionCount(), 2U);
}

// Records that are not what they should be.

// Two rows of one order number close the record with the near leg, sold, in both slots. Bought at 25 it sells the near
// leg at 800 and again at 825: 0, 0, -100 - 75. Under netting the one leg has no spread to itself: bought at 25 it
// sells at 25 above nothing, sold at 25 it buys there.
TEST(MultilegOrders, ARecordClosedByADuplicateOrderNumberTakesItsOneLegTwice)
{
    plain::Market market = MarketOf();
    market.multilegs.clear();
    const auto close = [](Desk& desk) {
        EXPECT_EQ(desk.repository->InsertMultileg(SPREAD, FUT, -1, 1), Z9ERR_OK);
        EXPECT_EQ(desk.repository->InsertMultileg(SPREAD, NEXT, 1, 1),
                  Z9ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG);
    };
    Desk losses(market, RulesOf(SpreadMarginType::HalfNetting));
    close(losses);
    losses.Order(Buy(25.0), 1);
    EXPECT_EQ(losses.Orders(FUT).size(), 2U);
    EXPECT_EQ(QuantityOf(losses.Orders(FUT), FirstLeg(Direction::Sell, 25.0)), 1);
    EXPECT_EQ(QuantityOf(losses.Orders(FUT), SecondLeg(Direction::Sell, 25.0)), 1);
    EXPECT_EQ(losses.engine.portfolio.GetSpecPosition(NEXT), nullptr);
    EXPECT_NEAR(losses.Margin(), 175.0, Tolerance);
    losses.Order(Buy(25.0), -1);
    EXPECT_TRUE(losses.Orders(FUT).empty());
    EXPECT_NEAR(losses.Margin(), 0.0, Tolerance);

    Desk netted(market, RulesOf(SpreadMarginType::Netting));
    close(netted);
    netted.Order(Buy(25.0), 1);
    EXPECT_NEAR(netted.Margin(), 0.0, Tolerance);
    netted.Order(Sell(25.0), 1);
    EXPECT_NEAR(netted.Margin(), 25.0, Tolerance);
}

// Until its second row has come a record has its one leg in both slots, and takes orders like that.
TEST(MultilegOrders, ARecordOfOneRowTakesItsOneLegTwice)
{
    plain::Market market = MarketOf();
    market.multilegs.clear();
    Desk desk(market, RulesOf(SpreadMarginType::HalfNetting));
    EXPECT_EQ(desk.repository->InsertMultileg(SPREAD, FUT, 1, 1), Z9ERR_OK);
    EXPECT_EQ(desk.repository->InsertMultileg(SPREAD, 999, 1, 2), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    desk.Order(Buy(25.0), 2);
    EXPECT_EQ(QuantityOf(desk.Orders(FUT), FirstLeg(Direction::Buy, 25.0)), 2);
    EXPECT_EQ(QuantityOf(desk.Orders(FUT), SecondLeg(Direction::Buy, 25.0)), 2);
    EXPECT_NEAR(desk.Margin(), 200.0 + 250.0, Tolerance); // bought at 800 and at 825
}

// A row of an unknown leg makes no record; an order in it finds nothing.
TEST(MultilegOrders, AMultilegOfUnknownLegsIsNoInstrument)
{
    plain::Market market = MarketOf();
    market.multilegs.clear();
    Desk desk(market, RulesOf(SpreadMarginType::Netting));
    EXPECT_EQ(desk.repository->InsertMultileg(SPREAD, 999, 1, 1), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    const SClearingDeltaOrder record = Record(Buy(25.0), 1, SPREAD, SPREAD);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(SPREAD, 1, &record), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(SPREAD, Buy(25.0), 1), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(desk.engine.portfolio.SetPosition(SPREAD, 1, 25.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_TRUE(desk.engine.portfolio.Empty());
}

// Legs of two contracts of one group: without netting between the months the near leg loses in its contract and the far
// one in its own, and the group adds them by their losses, -105, -5, -100.
TEST(MultilegOrders, LegsOfTwoContractsMeetInTheirGroup)
{
    plain::Market market = MarketOf();
    market.baseContracts = {HandBaseContract("BC", "GROUP"), HandBaseContract("FAR", "GROUP")};
    market.futures[1].CodeBC = "FAR";
    Desk desk(market, RulesOf(SpreadMarginType::HalfNetting));
    desk.Order(Buy(25.0), 1);
    EXPECT_NEAR(desk.Margin(), 105.0, Tolerance);
    desk.Order(Buy(25.0), -1);
    EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
}

// Two spreads with their far leg in common, bought at one price: one entry there, which knows the spread named last
// only. 25 is 5 above the fair price of the first and 10 above that of the second, whose near leg is at 805. Taken
// anew, both contracts are the second's, and what the first one's cancellation takes out is less than that: until the
// book is taken anew again.
TEST(MultilegOrders, OfTwoSpreadsWithALegInCommonAreOneOrderThere)
{
    constexpr Isin MIDDLE = 3;
    constexpr Isin OTHER = 202;
    plain::Market market = MarketOf();
    FuturesSample middle = market.futures[0];
    middle.Code = "MIDDLE";
    middle.Isin = MIDDLE;
    middle.TimeToExpiration = 0.5;
    middle.CalcFutPrice = middle.RealCalcPrice = 805.0;
    market.futures.push_back(middle);
    MultilegSample other = market.multilegs[0];
    other.Isin = OTHER;
    other.FirstLeg = MIDDLE;
    market.multilegs.push_back(other);

    Desk desk(market, RulesOf(SpreadMarginType::Netting));
    const auto order = [&](Isin isin, std::int64_t quantity) {
        const SClearingDeltaOrder record = Record(Buy(25.0), quantity, isin, isin);
        EXPECT_EQ(desk.engine.portfolio.ChangeOrder(isin, 1, &record), Z9ERR_OK);
    };
    order(SPREAD, 1);
    order(OTHER, 1);
    ASSERT_EQ(desk.Orders(NEXT).size(), 1U);
    EXPECT_EQ(desk.Orders(NEXT).at(SecondLeg(Direction::Buy, 25.0)).multilegIsin, OTHER);
    EXPECT_NEAR(desk.Margin(), 15.0, Tolerance);
    EXPECT_EQ(desk.engine.portfolio.Refresh(), Z9ERR_OK);
    EXPECT_NEAR(desk.Margin(), 20.0, Tolerance);
    order(SPREAD, -1);
    order(OTHER, -1);
    EXPECT_NEAR(desk.Margin(), 5.0, Tolerance);
    EXPECT_EQ(desk.engine.portfolio.Refresh(), Z9ERR_OK);
    EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
}

} // namespace
} // namespace test::MultilegOrdersTest
