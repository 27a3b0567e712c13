// Positions and orders taken anew: the whole book after the parameters of its participant have changed, or what is held
// on one futures after its instruments have. Worked out by hand, or compared with a fresh book.
//
// FUT has the grid 700, 800, 900, NEXT 720, 820, 920; one unit of price is one unit of money.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwkwardMarket.h"
#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "kv7errors.h"

namespace test::PortfolioRefreshTest {
namespace {

using namespace kv7im;
using Enums::OptionType;
using Enums::SpreadAspect;
using Enums::SpreadMarginType;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;

constexpr double Tolerance = 1e-6;
constexpr Isin NEXT = 2;
constexpr Isin SPREAD = 201;
constexpr Isin Call750 = 10; // worth   0, 50, 150 over 700, 800 and 900
constexpr Isin Put850 = 11;  //       150, 50,   0

/// Two months in spread, the spread of the two, and a series by itself on the near one.
plain::Market MarketOf()
{
    FuturesSample nearLeg = HandFutures();
    FuturesSample farLeg = HandFutures("NEXT", NEXT);
    nearLeg.TimeToExpiration = 0.25;
    farLeg.CalcFutPrice = farLeg.RealCalcPrice = 820.0;
    for (FuturesSample* const leg : {&nearLeg, &farLeg})
        leg->SpreadAspect = SpreadAspect::InSpread;
    plain::Market market{{HandBaseContract()}, {nearLeg, farLeg}, {}, 0.0};
    market.series = {HandSeries("S")};
    market.options = {HandOption("S", Call750, OptionType::Call, 750.0, 55.0),
                      HandOption("S", Put850, OptionType::Put, 850.0, 45.0)};
    market.multilegs = {MultilegSample{}};
    return market;
}

plain::Rules RulesOf(SpreadMarginType calendar = SpreadMarginType::Netting)
{
    plain::Rules rules;
    rules.calendar = calendar;
    return rules;
}

void Order(EngineBook& engine, Isin isin, const KeyPriceType& key, std::int64_t quantity)
{
    const SClearingDeltaOrder record = Record(key, quantity, isin, isin == SPREAD ? isin : 0);
    EXPECT_EQ(engine.portfolio.ChangeOrder(isin, 1, &record), Z9ERR_OK);
}
void Set(EngineBook& engine, Isin isin, std::int64_t quantity, double price)
{
    EXPECT_EQ(engine.portfolio.SetPosition(isin, quantity, price, 0), Z9ERR_OK);
}
void Refresh(EngineBook& engine) { EXPECT_EQ(engine.portfolio.Refresh(), Z9ERR_OK); }

void ExpectMargin(const EngineBook& engine, double margin)
{
    EXPECT_NEAR(engine.Margins().volatility, margin, Tolerance);
    EXPECT_NEAR(engine.Margins().delivery, margin, Tolerance);
}
const OrdersMap& OrdersOf(const EngineBook& engine, Isin isin)
{
    return engine.portfolio.GetSpecPosition(isin)->GetOrders();
}

// --- The whole book
// ---------------------------------------------------------------------------------------------------

TEST(PortfolioRefresh, AnEmptyBookStaysEmpty)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Refresh(engine);
    EXPECT_TRUE(engine.portfolio.Empty());
    ExpectMargin(engine, 0.0);
}

struct SavedOrder
{
    KeyPriceType key;
    SOrderInfo info;
};

std::vector<SavedOrder> SavedOrdersOf(const EngineBook& engine)
{
    std::vector<SavedOrder> saved;
    for (const auto& [isin, position] : engine.portfolio.RangePositions()) {
        for (const auto& [key, info] : position.GetFuturesPositionSpec().GetOrders())
            saved.push_back({key, info});
        for (const auto& [optionIsin, option] : position.RangeOptions())
            for (const auto& [key, info] : option->GetOrders())
                saved.push_back({key, info});
    }
    return saved;
}

/// The same entries; how an entry came to be is not asked.
void ExpectSameOrders(const std::vector<SavedOrder>& orders, const std::vector<SavedOrder>& expected)
{
    const auto same = [](const SavedOrder& a, const SavedOrder& b) {
        return a.key == b.key && a.info.multilegIsin == b.info.multilegIsin &&
               a.info.deltaQuantity == b.info.deltaQuantity &&
               a.info.realCalcPriceFirstLeg == b.info.realCalcPriceFirstLeg &&
               a.info.realCalcPriceSecondLeg == b.info.realCalcPriceSecondLeg &&
               a.info.riskCenterFirstLeg == b.info.riskCenterFirstLeg &&
               a.info.riskCenterSecondLeg == b.info.riskCenterSecondLeg &&
               a.info.participantCalSpreadMarginType == b.info.participantCalSpreadMarginType;
    };
    ASSERT_EQ(orders.size(), expected.size());
    EXPECT_TRUE(std::is_permutation(orders.begin(), orders.end(), expected.begin(), same));
}

// Positions and orders of all kinds in every market, and the legs among them: a refresh with nothing changed changes
// nothing, nor does a second one.
TEST(PortfolioRefresh, ABookWhoseParametersStayIsAsItWasHoweverOftenItIsTakenAnew)
{
    for (unsigned bits = 0; bits < awkward::Markets; ++bits)
        for (unsigned rules = 0; rules < 3; ++rules) {
            SCOPED_TRACE(testing::Message() << "market " << bits << ", rules " << rules);
            plain::Market market = awkward::MarketOf(bits);
            if (bits % 3 == 2) market.futures[1].SpreadAspect = SpreadAspect::NotInSpread; // incomplete spread
            const auto repository = MakeRepository(market);
            EngineBook engine(*repository, awkward::RulesOf(rules));
            for (const auto& [isin, holding] : awkward::Holdings()) {
                EXPECT_EQ(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.quantity), 0U);
                engine.cleared[isin] = holding.quantity;
            }
            std::mt19937 random(bits);
            for (int i = 0; i < 30; ++i) {
                const awkward::Order order(random);
                const SClearingDeltaOrder record = order.Placed();
                EXPECT_EQ(engine.portfolio.ChangeOrder(order.isin, 1, &record), Z9ERR_OK);
            }
            const plain::Margins before = engine.Margins();
            const std::vector<SavedOrder> orders = SavedOrdersOf(engine);
            EXPECT_GE(orders.size(), 20U);
            for (int round = 0; round < 3; ++round) {
                Refresh(engine);
                EXPECT_NEAR(engine.Margins().volatility, before.volatility, 1e-9 * before.volatility);
                EXPECT_NEAR(engine.Margins().delivery, before.delivery, 1e-9 * before.delivery);
                ExpectSameOrders(SavedOrdersOf(engine), orders);
                for (const auto& [isin, holding] : awkward::Holdings())
                    EXPECT_EQ(engine.portfolio.GetSpecPosition(isin)->GetQuantity(), holding.quantity);
            }
        }
}

// A bid at 790 is held at 800 once there is no discount.
TEST(PortfolioRefresh, OrdersAreValuedByTheNewParametersOfTheParticipant)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Rules rules = RulesOf();
    EngineBook engine(*repository, rules);
    Order(engine, FUT, Buy(790.0), 1);
    Set(engine, Call750, 1, 60.0);
    ExpectMargin(engine, 90.0 + 60.0);
    rules.noFutDiscount = true;
    rules.ratios = {{"BC", 2.0}};
    engine.ChangeRules(rules);
    ExpectMargin(engine, 90.0 + 60.0);
    Refresh(engine);
    ExpectMargin(engine, 200.0 + 120.0);
    engine.ChangeRules(RulesOf());
    Refresh(engine);
    ExpectMargin(engine, 90.0 + 60.0);
}

// A spread bought at 25 is 5 under netting, -105, -5, -100 by its losses and nothing where netting is unused. Its legs
// take the rule of the day.
TEST(PortfolioRefresh, LegOrdersTakeTheNewNettingOfTheParticipant)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Order(engine, SPREAD, Buy(25.0), 1);
    ExpectMargin(engine, 5.0);
    engine.ChangeRules(RulesOf(SpreadMarginType::HalfNetting));
    Refresh(engine);
    ExpectMargin(engine, 105.0);
    engine.ChangeRules(RulesOf(SpreadMarginType::Unused));
    Refresh(engine);
    ExpectMargin(engine, 0.0);
    EXPECT_EQ(OrdersOf(engine, FUT).size(), 1U);
    engine.ChangeRules(RulesOf());
    Refresh(engine);
    ExpectMargin(engine, 5.0);
}

// With NEXT settled at 840 the spread is worth 40: one bought at 25 cannot lose under netting. By its losses the far
// leg is bought at 825 over 740, 840 and 940: -85 beside the -100 of the near one.
TEST(PortfolioRefresh, LegOrdersTakeThePricesOfTheDayHoweverOftenTheBookIsTakenAnew)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market nextDay = MarketOf();
    nextDay.futures[1].CalcFutPrice = nextDay.futures[1].RealCalcPrice = 840.0;
    const auto changed = MakeRepository(nextDay);
    for (const bool netting : {true, false}) {
        EngineBook engine(*repository, RulesOf(netting ? SpreadMarginType::Netting : SpreadMarginType::HalfNetting));
        Order(engine, SPREAD, Buy(25.0), 1);
        for (int round = 0; round < 3; ++round) {
            ExpectMargin(engine, netting ? 5.0 : 105.0);
            engine.SwitchTo(*changed);
            Refresh(engine);
            ExpectMargin(engine, netting ? 0.0 : 100.0);
            const SOrderInfo& leg = OrdersOf(engine, FUT).at(KeyOf(Direction::Sell, 25.0, Type::FirstLeg));
            EXPECT_EQ(leg.multilegIsin, SPREAD) << "or the next refresh would not find it";
            EXPECT_EQ(leg.deltaQuantity, 1);
            EXPECT_EQ(leg.realCalcPriceFirstLeg, 800.0);
            EXPECT_EQ(leg.realCalcPriceSecondLeg, 840.0);
            EXPECT_EQ(leg.riskCenterSecondLeg, 840.0);
            engine.SwitchTo(*repository);
            Refresh(engine);
        }
    }
}

// What was cancelled without having been placed relieves the book after a refresh as before it: -300 + 220.
TEST(PortfolioRefresh, AnOrderOfAQuantityBelowZeroIsTakenAnewToo)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 3, 800.0);
    Order(engine, FUT, Buy(810.0), -2);
    ExpectMargin(engine, 80.0);
    Refresh(engine);
    ExpectMargin(engine, 80.0);
    EXPECT_EQ(QuantityOf(OrdersOf(engine, FUT), Buy(810.0)), -2);
}

// The spread is incomplete from now on, or one of its legs insists on half netting: the legs are margined each.
TEST(PortfolioRefresh, LegOrdersFollowTheSpreadAspectOfTheirLegs)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market incomplete = MarketOf();
    incomplete.futures[1].SpreadAspect = SpreadAspect::NotInSpread;
    const auto apart = MakeRepository(incomplete);
    plain::Market enforcing = MarketOf();
    enforcing.futures[0].EnforceIMSHalfNetting = true;
    const auto enforced = MakeRepository(enforcing);
    EngineBook engine(*repository, RulesOf());
    Order(engine, SPREAD, Buy(25.0), 1);
    ExpectMargin(engine, 5.0);
    engine.SwitchTo(*apart);
    Refresh(engine);
    ExpectMargin(engine, 205.0);
    engine.SwitchTo(*enforced);
    Refresh(engine);
    ExpectMargin(engine, 105.0);
    EXPECT_EQ(OrdersOf(engine, NEXT).begin()->second.participantCalSpreadMarginType, SpreadMarginType::HalfNetting);
    engine.SwitchTo(*repository);
    Refresh(engine);
    ExpectMargin(engine, 5.0);
}

// A position whose futures is gone drops out, and with it what stood on it; nobody is told.
TEST(PortfolioRefresh, APositionInARemovedInstrumentDropsOut)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market market = MarketOf();
    market.futures.pop_back();
    market.multilegs.clear();
    const auto withoutNext = MakeRepository(market);
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 1, 810.0);
    Set(engine, NEXT, 3, 820.0);
    Order(engine, NEXT, Buy(820.0), 1);
    Set(engine, Call750, 1, 60.0);
    ExpectMargin(engine, 510.0 + 60.0); // -110 - 300 - 100, and the call by itself
    engine.SwitchTo(*withoutNext);
    Refresh(engine);
    EXPECT_THAT(engine.portfolio.GetFuturesIsins(), ElementsAre(FUT));
    EXPECT_EQ(engine.portfolio.GetSpecPosition(NEXT), nullptr);
    ExpectMargin(engine, 110.0 + 60.0);
    const InstrumentsRepository none;
    engine.SwitchTo(none);
    Refresh(engine);
    EXPECT_TRUE(engine.portfolio.Empty());
    ExpectMargin(engine, 0.0);
}

TEST(PortfolioRefresh, ARemovedOptionDropsOutAndItsFuturesStays)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market market = MarketOf();
    market.options.erase(market.options.begin());
    const auto withoutCall = MakeRepository(market);
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 1, 810.0);
    Set(engine, Call750, 1, 60.0);
    engine.SwitchTo(*withoutCall);
    Refresh(engine);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(FUT)->GetQuantity(), 1);
    EXPECT_EQ(engine.portfolio.GetFuturesPositionByIsin(FUT)->GetOptionPositionCount(), 0U);
    ExpectMargin(engine, 110.0);
}

// Without its multileg a leg order cannot be valued and is lost; what was taken anew before it stays.
TEST(PortfolioRefresh, ALegOrderWhoseMultilegIsGoneDropsOut)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market market = MarketOf();
    market.multilegs.clear();
    const auto withoutSpread = MakeRepository(market);
    EngineBook engine(*repository, RulesOf(SpreadMarginType::HalfNetting));
    Set(engine, FUT, 1, 810.0);
    Order(engine, SPREAD, Buy(25.0), 1);
    engine.SwitchTo(*withoutSpread);
    Refresh(engine);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(FUT)->GetQuantity(), 1);
    EXPECT_TRUE(OrdersOf(engine, FUT).empty());
    EXPECT_TRUE(OrdersOf(engine, NEXT).empty());
    ExpectMargin(engine, 110.0);
}

// Premium-style options of a contract priced through a currency of radius 0.05, settled at 55. One call held at 60 with
// a value of 55 loses 60 + 0.05 x 5, with none 60 + 0.05 x 60. What counts after a refresh is what the accounting has.
TEST(PortfolioRefresh, TheNetOptionValueFollowsTheAccounting)
{
    plain::Market market = MarketOf();
    market.baseContracts[0].MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts[0].CurrencyId = 1;
    market.baseContracts[0].AssetClass = Enums::AssetClass::Currency;
    market.currencies = {{1, 0.05}};
    market.series[0].marginStyle = Enums::MarginStyle::Equity;
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, RulesOf());
    EXPECT_EQ(engine.portfolio.SetPosition(Call750, 1, 60.0, 1), Z9ERR_OK);
    ExpectMargin(engine, 60.25);
    Refresh(engine);
    ExpectMargin(engine, 63.0);
    engine.cleared[Call750] = 1;
    Refresh(engine);
    ExpectMargin(engine, 60.25);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
    ExpectMargin(engine, 60.25);
}

// The book begins to hold everything once more, and its participant is told; what came from below stays.
TEST(PortfolioRefresh, WhatTheBookHoldsIsToldAnewAndWhatCameFromBelowStays)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook lower(*repository, RulesOf());
    EngineBook engine(*repository, RulesOf());
    Set(lower, FUT, 1, 800.0);
    RolledUpRisksVector deltas;
    lower.portfolio.GetDeltaRolledUpRiskNodes(FUT, deltas);
    engine.portfolio.AddRolledUpRiskNodes(deltas);
    engine.portfolio.IncreaseGrossInitialMargin(12.5);
    Set(engine, FUT, 1, 800.0);
    Set(engine, NEXT, 1, 820.0);
    engine.added.clear();
    Refresh(engine);
    EXPECT_THAT(engine.added, UnorderedElementsAre(FUT, NEXT));
    EXPECT_NE(engine.portfolio.GetHalfNettingRisksByCode("BC"), nullptr);
    EXPECT_EQ(engine.portfolio.GetGrossInitialMargin(), 12.5);
}

// --- One futures
// ------------------------------------------------------------------------------------------------------

TEST(FuturesTakenAnew, AFuturesWithoutAPositionGivesPositionNotFound)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 1, 810.0);
    for (const Isin isin : {NEXT, Call750, SPREAD, Isin{999}})
        EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(isin, false), Z9ERR_CALCGO_API_POSITION_NOT_FOUND);
    ExpectMargin(engine, 110.0);
    EXPECT_THAT(engine.portfolio.GetFuturesIsins(), ElementsAre(FUT));
}

TEST(FuturesTakenAnew, OnUnchangedInstrumentsNothingChanges)
{
    for (unsigned bits = 0; bits < awkward::Markets; ++bits) {
        SCOPED_TRACE(testing::Message() << "market " << bits);
        const auto repository = MakeRepository(awkward::MarketOf(bits));
        EngineBook engine(*repository, awkward::RulesOf(bits));
        for (const auto& [isin, holding] : awkward::Holdings()) {
            EXPECT_EQ(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.quantity), 0U);
            engine.cleared[isin] = holding.quantity;
        }
        std::mt19937 random(bits);
        for (int i = 0; i < 30; ++i) {
            const awkward::Order order(random);
            const SClearingDeltaOrder record = order.Placed();
            EXPECT_EQ(engine.portfolio.ChangeOrder(order.isin, 1, &record), Z9ERR_OK);
        }
        const plain::Margins before = engine.Margins();
        const std::vector<SavedOrder> orders = SavedOrdersOf(engine);
        for (const Isin isin : {awkward::NextMonth, FUT, awkward::OtherContract, FUT}) {
            EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(isin, false), Z9ERR_OK);
            EXPECT_NEAR(engine.Margins().volatility, before.volatility, 1e-9 * before.volatility);
            EXPECT_NEAR(engine.Margins().delivery, before.delivery, 1e-9 * before.delivery);
            ExpectSameOrders(SavedOrdersOf(engine), orders);
        }
        // And what follows is what would have followed.
        Set(engine, FUT, 0, 0.0);
        Set(engine, FUT, 4, 803.1);
        EXPECT_NEAR(engine.Margins().volatility, before.volatility, 1e-9 * before.volatility);
    }
}

// Bought at 810 and settled at 800, a call bought at 60 and settled at 55.
TEST(FuturesTakenAnew, TheSettlementPricesMayTakeThePlaceOfTheAverageOnes)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 1, 810.0);
    Set(engine, Call750, 1, 60.0);
    Order(engine, FUT, Buy(805.0), 1);
    ExpectMargin(engine, 110.0 + 105.0 + 60.0);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, true), Z9ERR_OK);
    ExpectMargin(engine, 100.0 + 105.0 + 55.0); // orders keep their prices
    EXPECT_EQ(engine.portfolio.GetSpecPosition(FUT)->GetWAPrice(), 800.0);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(Call750)->GetWAPrice(), 55.0);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
    ExpectMargin(engine, 100.0 + 105.0 + 55.0);
}

// Half as wide a grid: 750, 800, 850 for FUT. The far month is not taken anew and still moves by 100; they net.
TEST(FuturesTakenAnew, AFuturesStandsOnItsNewInstrumentBesideTheOthersOfItsGroup)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market halved = MarketOf();
    halved.futures[0].NormalizedSpot = 400.0;
    const auto changed = MakeRepository(halved);
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 2, 800.0);
    Set(engine, NEXT, -1, 820.0);
    Order(engine, FUT, Buy(800.0), 1);
    ExpectMargin(engine, 200.0); // -200 - 100 + 100
    engine.SwitchTo(*changed);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
    ExpectMargin(engine, 50.0); // -100 - 50 + 100 at the left, 100 - 100 at the right
}

// FUT bought and NEXT sold cancel out in their group; once FUT has left it both stand with 100 each. The group has lost
// a member for good and reports its margin without it.
TEST(FuturesTakenAnew, TheGroupThatAFuturesHasLeftIsMarginedWithoutIt)
{
    for (const std::string group : {"", "GROUP"}) {
        plain::Market before = MarketOf();
        before.baseContracts[0].CodeMCS = group;
        plain::Market after = before;
        after.futures[0].SpreadAspect = SpreadAspect::NotInSpread;
        const auto repository = MakeRepository(before);
        const auto changed = MakeRepository(after);
        EngineBook engine(*repository, RulesOf());
        Set(engine, FUT, 1, 800.0);
        Set(engine, NEXT, -1, 820.0);
        ExpectMargin(engine, 0.0);
        engine.SwitchTo(*changed);
        EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
        ExpectMargin(engine, 200.0);
        // And back into it.
        engine.SwitchTo(*repository);
        EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
        ExpectMargin(engine, 0.0);
        Set(engine, NEXT, 0, 0.0);
        ExpectMargin(engine, 100.0);
        Set(engine, FUT, 0, 0.0);
        ExpectMargin(engine, 0.0);
    }
}

// The codes of what cannot be taken anew. What had been loaded before stays, what stood after it is gone.

TEST(FuturesTakenAnew, AFuturesThatIsGoneGivesFuturesNotFoundAndLeavesItsGroup)
{
    for (const std::string group : {"", "GROUP"}) {
        plain::Market market = MarketOf();
        market.baseContracts[0].CodeMCS = group;
        const auto repository = MakeRepository(market);
        const InstrumentsRepository none;
        EngineBook engine(*repository, RulesOf());
        Set(engine, FUT, 1, 800.0);
        Set(engine, NEXT, -1, 820.0);
        Set(engine, Call750, 1, 60.0);
        ExpectMargin(engine, 60.0);
        engine.SwitchTo(none);
        EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false),
                  Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
        EXPECT_THAT(engine.portfolio.GetFuturesIsins(), ElementsAre(NEXT));
        ExpectMargin(engine, 100.0); // NEXT without its hedge
    }
}

TEST(FuturesTakenAnew, AnOptionThatIsGoneGivesInstrumentAbsent)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market market = MarketOf();
    market.options.clear();
    const auto withoutOptions = MakeRepository(market);
    EngineBook engine(*repository, RulesOf());
    Set(engine, FUT, 1, 810.0);
    Order(engine, FUT, Buy(810.0), 1);
    Set(engine, Call750, 1, 60.0);
    engine.SwitchTo(*withoutOptions);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_INSTRUMENT_ABSENT);
    ExpectMargin(engine, 220.0);
    EXPECT_EQ(QuantityOf(OrdersOf(engine, FUT), Buy(810.0)), 1);
}

TEST(FuturesTakenAnew, ALegOrderWhoseMultilegIsGoneGivesInstrumentAbsent)
{
    const auto repository = MakeRepository(MarketOf());
    plain::Market market = MarketOf();
    market.multilegs.clear();
    const auto withoutSpread = MakeRepository(market);
    EngineBook engine(*repository, RulesOf(SpreadMarginType::HalfNetting));
    Set(engine, FUT, 1, 810.0);
    Set(engine, Call750, 1, 60.0);
    Order(engine, SPREAD, Buy(25.0), 1);
    engine.SwitchTo(*withoutSpread);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(FUT)->GetQuantity(), 1);
    EXPECT_TRUE(OrdersOf(engine, FUT).empty());
    EXPECT_EQ(engine.portfolio.GetSpecPosition(Call750), nullptr) << "options come after the orders of their futures";
}

// A leg order that names no multileg, or something that is none, is refused like one whose multileg is gone.
TEST(FuturesTakenAnew, ALegOrderThatNamesNoMultilegGivesInstrumentAbsent)
{
    const auto repository = MakeRepository(MarketOf());
    for (const int named : {0, FUT, Call750}) {
        EngineBook engine(*repository, RulesOf());
        const SClearingDeltaOrder record = Record(KeyOf(Direction::Buy, 25.0, Type::SecondLeg), 1, FUT, named);
        EXPECT_EQ(engine.portfolio.ChangeOrder(FUT, 1, &record), Z9ERR_OK);
        EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_INSTRUMENT_ABSENT);
        EXPECT_EQ(engine.portfolio.Refresh(), Z9ERR_OK);
        EXPECT_TRUE(OrdersOf(engine, FUT).empty());
    }
}

// An order in an option may be of any kind; only a leg order is looked up by its multileg.
TEST(FuturesTakenAnew, OrdersOfOtherKindsNeedNoMultileg)
{
    const auto repository = MakeRepository(MarketOf());
    EngineBook engine(*repository, RulesOf());
    Order(engine, Call750, KeyOf(Direction::Buy, 60.0, Type::MultiLeg), 1);
    Order(engine, FUT, KeyOf(Direction::Buy, 800.0, Type::Undefined), 1);
    Order(engine, FUT, Buy(800.0), 1);
    ExpectMargin(engine, 160.0);
    EXPECT_EQ(engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false), Z9ERR_OK);
    ExpectMargin(engine, 160.0);
    EXPECT_EQ(OrdersOf(engine, FUT).size(), 2U);
    EXPECT_EQ(OrdersOf(engine, Call750).size(), 1U);
}

} // namespace
} // namespace test::PortfolioRefreshTest
