// One change of an order and the levels above it, rule by rule: unlike a position it enters every level under Netting.
#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OptionTree.h"
#include "PlainWalk.h"
#include "StrangerAbove.h"
#include "book/Portfolio.h"

namespace test::OrderRoadTest {
namespace {

using Enums::MarginRule;
using Enums::SpreadMarginType;
using margin_orchestrator::ChangeOrder;
using margin_orchestrator::SetPositionBroker;
using margin_orchestrator::SetPositionClient;
using margin_orchestrator::SetPositionSettlementAccount;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

constexpr Isin FarFutures = 3;      // in spread with SpreadFutures, settled at 810: its prices are 710, 810 and 910
constexpr Isin Calendar = 91;       // sells one SpreadFutures, buys one FarFutures; both are in spread
constexpr Isin MixedCalendar = 92;  // sells one SpreadFutures, buys two FUT, which stands alone
constexpr Isin PremiumCall750 = 31; // of a premium-style series on a currency contract with a radius of 0.05

/// A firm with two clients under an account.
struct Hierarchy : OptionTree
{
    Hierarchy(MarginRule firmRule, MarginRule accountRule)
        : account(AddAccount("ID1", accountRule)),
          firm(AddFirm("AA01", firmRule, account)),
          first(AddClient(firm, "AA01001")),
          second(AddClient(firm, "AA01002"))
    {
        account->SetCalSpreadMarginType(SpreadMarginType::HalfNetting);
        FuturesSample far = HandFutures("FUT3", FarFutures);
        far.SpreadAspect = Enums::SpreadAspect::InSpread;
        far.CalcFutPrice = far.RealCalcPrice = 810.0;
        Check(far.InsertInto(instruments));
        Check(instruments.InsertMultileg(Calendar, SpreadFutures, -1, 1));
        Check(instruments.InsertMultileg(Calendar, FarFutures, 1, 2));
        Check(instruments.InsertMultileg(MixedCalendar, SpreadFutures, -1, 1));
        Check(instruments.InsertMultileg(MixedCalendar, FUT, 2, 2));
    }

    void ExpectMargins(double ofFirst, double ofSecond, double ofFirm, double ofAccount)
    {
        EXPECT_NEAR(first.GetInitialMargin(), ofFirst, 1e-9);
        EXPECT_NEAR(second.GetInitialMargin(), ofSecond, 1e-9);
        EXPECT_NEAR(firm.GetInitialMargin(), ofFirm, 1e-9);
        EXPECT_NEAR(account->GetInitialMargin(), ofAccount, 1e-9);
    }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& first;
    BraskClient& second;
};

/// GO of firm and account at two moments of a story.
struct RuleCase
{
    MarginRule firmRule;
    MarginRule accountRule;
    double firm1, account1;
    double firm2, account2;
    const char* why;
};

// The first client holds one futures bought at 800: -100, 0, 100 over the three prices. It offers one at 800, of which
// only the loss counts: 0, 0, -100. Together -100, 0, 0: a margin of 100. The second offers two at 800: 0, 0, -200.
// A level under Netting sees the three offers only: 0, 0, -300. A level that takes the losses: -100, 0, -200.
TEST(OrderRoadTest, OrdersInAFuturesMoveTheLevelsOfEveryPairOfRules)
{
    const RuleCase cases[] = {
        {Netting, Netting, 0, 0, 300, 300, "both have the orders, and no position of the client"},
        {Netting, HalfNetting, 0, 100, 300, 200, "the account takes the clients' losses past the firm"},
        {Netting, Gross, 0, 0, 300, 300, "the account grows with the orders of the firm"},
        {HalfNetting, Netting, 100, 0, 200, 300, "the account has the orders past the firm"},
        {HalfNetting, HalfNetting, 100, 100, 200, 200, "both take the losses"},
        {HalfNetting, Gross, 100, 100, 200, 200, "the account grows with the losses of the firm"},
        {Gross, Netting, 0, 0, 0, 300, "nobody asks for the losses: the firm stays at 0"},
        {Gross, HalfNetting, 100, 100, 200, 200, "the account asks for the losses, and the firm takes them too"},
        {Gross, Gross, 0, 0, 0, 0, "nobody asks for the losses: both stay at 0"},
    };
    for (const RuleCase& c : cases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);
        ASSERT_EQ(SetPositionClient(h.first, FUT, 1, 800.0, 0), 0U);
        h.ExpectMargins(100, 0, c.firm1, c.account1);
        ASSERT_EQ(Sell(h.first, FUT, 800.0, 1), 0U);
        ASSERT_EQ(Sell(h.second, FUT, 800.0, 2), 0U);
        h.ExpectMargins(100, 200, c.firm2, c.account2);

        ASSERT_EQ(Sell(h.first, FUT, 800.0, -1), 0U);
        ASSERT_EQ(Sell(h.second, FUT, 800.0, -2), 0U);
        h.ExpectMargins(100, 0, c.firm1, c.account1); // what was cancelled is gone on every level
    }
}

// A level under Netting nets its own record with its clients' orders. Three futures offered at 800: 0, 0, -300.
// Firm: two bought at 800 by its own record, -200, 0, 200; together -200, 0, -100.
// Account: two sold at 800 by its own record, 200, 0, -200; together 200, 0, -500.
TEST(OrderRoadTest, OrdersOfClientsNetWithTheOwnRecordOfALevel)
{
    Hierarchy h(Netting, Netting);
    ASSERT_EQ(Sell(h.first, FUT, 800.0, 3), 0U);
    ASSERT_EQ(SetPositionBroker(h.firm, FUT, 2, 800.0, 0), 0U);
    ASSERT_EQ(SetPositionSettlementAccount(*h.account, FUT, -2, 800.0, 0), 0U);
    h.ExpectMargins(300, 0, 200, 500);
}

// The first client has sold a futures in spread at 800: 100, 0, -100. It offers a call at 850 for 10: 10, 10, -40, of
// which the loss is 0, 0, -40. Together 100, 0, -140.
// The second bids 10 for a deliverable call at 825, standing alone: -10, -10, 65, with deliveries -10, -35, 65: a loss
// of 10, with deliveries of 35. Clients and firms weigh deliveries with 0 here, the account with 1; what comes up from
// a client that need not look at deliveries has none.
// A level under Netting sees the orders: 40 and 10, on the account 40 and 35.
TEST(OrderRoadTest, OrdersInOptionsMoveTheLevelsOfEveryPairOfRules)
{
    const RuleCase cases[] = {
        {Netting, Netting, 40, 40, 50, 75, "both have the orders, each with its own view of deliveries"},
        {Netting, HalfNetting, 40, 140, 50, 150, "the account takes the clients' losses past the firm"},
        {Netting, Gross, 40, 40, 50, 50, "the account grows with the orders of the firm"},
        {HalfNetting, Netting, 140, 40, 150, 75, "the account has the orders past the firm"},
        {HalfNetting, HalfNetting, 140, 140, 150, 150, "both take the losses"},
        {HalfNetting, Gross, 140, 140, 150, 150, "the account grows with the losses of the firm"},
        {Gross, Netting, 0, 40, 0, 75, "nobody asks for the losses: the firm stays at 0"},
        {Gross, HalfNetting, 140, 140, 150, 150, "the account asks for the losses, and the firm takes them too"},
        {Gross, Gross, 0, 0, 0, 0, "nobody asks for the losses: both stay at 0"},
    };
    for (const RuleCase& c : cases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);
        ASSERT_EQ(SetPositionClient(h.first, SpreadFutures, -1, 800.0, 0), 0U);
        ASSERT_EQ(Sell(h.first, Call850, 10.0, 1), 0U);
        h.ExpectMargins(140, 0, c.firm1, c.account1);
        ASSERT_EQ(Buy(h.second, Call825, 10.0, 1), 0U);
        h.ExpectMargins(140, 10, c.firm2, c.account2);
        ASSERT_EQ(Buy(h.second, Call825, 10.0, -1), 0U);
        h.ExpectMargins(140, 0, c.firm1, c.account1);
    }
}

// The first client bids 15 for the calendar. It would sell a near futures at its settlement price of 800: 0, 0, -100;
// and buy a far one at 15 above that, 815: -105, -5, 95, of which the loss is -105, -5, 0. Leg by leg: -105, -5, -100.
// The second offers one for 5: buys the near one at 800, -100, 0, 0, and sells the far one at 805: 0, -5, -105.
// Where futures of a contract net, only the spread counts, at every price alike: a far price of 10 above the near one
// is 5 less than the 15 of the bid and 5 more than the 5 of the offer, a loss of 5 each. So it is for the firm; clients
// and account take the legs apart.
TEST(OrderRoadTest, OrdersInACalendarMoveTheLevelsOfEveryPairOfRules)
{
    const RuleCase cases[] = {
        {Netting, Netting, 5, 105, 10, 205, "each nets the legs as its own rule for them has it"},
        {Netting, HalfNetting, 5, 105, 10, 205, "the account takes the clients' losses past the firm"},
        {Netting, Gross, 5, 5, 10, 10, "the account grows with the orders of the firm"},
        {HalfNetting, Netting, 105, 105, 205, 205, "the account has the orders past the firm"},
        {HalfNetting, HalfNetting, 105, 105, 205, 205, "both take the losses"},
        {HalfNetting, Gross, 105, 105, 205, 205, "the account grows with the losses of the firm"},
        {Gross, Netting, 0, 105, 0, 205, "nobody asks for the losses: the firm stays at 0"},
        {Gross, HalfNetting, 105, 105, 205, 205, "the account asks for the losses, and the firm takes them too"},
        {Gross, Gross, 0, 0, 0, 0, "nobody asks for the losses: both stay at 0"},
    };
    for (const RuleCase& c : cases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);
        ASSERT_EQ(Buy(h.first, Calendar, 15.0, 1), 0U);
        h.ExpectMargins(105, 0, c.firm1, c.account1);
        ASSERT_EQ(Sell(h.second, Calendar, 5.0, 1), 0U);
        h.ExpectMargins(105, 105, c.firm2, c.account2);
        ASSERT_EQ(Sell(h.second, Calendar, 5.0, -1), 0U);
        h.ExpectMargins(105, 0, c.firm1, c.account1);
        ASSERT_EQ(Buy(h.first, Calendar, 15.0, -1), 0U);
        h.ExpectMargins(0, 0, 0, 0);
    }
}

// One leg stands alone: both legs go up, each under its own name. A bid of 20: one near futures sold at 800, 0, 0,
// -100; two FUT bought at 820, -240, -40, 160. The two do not meet in one node: 100 and 240.
TEST(OrderRoadTest, BothLegsOfASpreadThatIsNoneGoUp)
{
    Hierarchy h(HalfNetting, HalfNetting);
    ASSERT_EQ(Buy(h.first, MixedCalendar, 20.0, 1), 0U);
    h.ExpectMargins(340, 0, 340, 340);
    EXPECT_NE(h.firm.GetPortfolio().GetHalfNettingRisksByCode("BC"), nullptr);
    EXPECT_NE(h.firm.GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);
    ASSERT_EQ(Buy(h.first, MixedCalendar, 20.0, -1), 0U);
    h.ExpectMargins(0, 0, 0, 0);
}

TEST(OrderRoadTest, AnOrderEntersTheListOfANettingFirmAndAPositionDoesNot)
{
    Hierarchy h(Netting, Netting);
    ASSERT_EQ(Buy(h.first, FUT, 800.0, 3), 0U);
    ASSERT_EQ(Buy(h.second, FUT, 800.0, 4), 0U);
    ASSERT_EQ(SetPositionClient(h.first, FUT, 5, 800.0, 0), 0U);
    for (const ParticipantBase* const level :
         {static_cast<const ParticipantBase*>(&h.firm), static_cast<const ParticipantBase*>(h.account.get())}) {
        const kv7im::CSpecPosition* const position = level->GetPortfolio().GetSpecPosition(FUT);
        ASSERT_NE(position, nullptr);
        ASSERT_EQ(position->GetOrders().size(), 1U); // one price, one side: one entry
        EXPECT_EQ(position->GetOrders().begin()->second.deltaQuantity, 7);
        EXPECT_EQ(position->GetQuantity(), 0);
    }
    EXPECT_EQ(h.first.GetPortfolio().GetSpecPosition(FUT)->GetOrders().begin()->second.deltaQuantity, 3);
    EXPECT_EQ(h.first.GetPortfolio().GetSpecPosition(FUT)->GetQuantity(), 5);
}

TEST(OrderRoadTest, LevelsThatAreNotNettingHoldNoOrders)
{
    Hierarchy h(HalfNetting, Gross);
    ASSERT_EQ(Buy(h.first, FUT, 800.0, 3), 0U);
    EXPECT_TRUE(h.firm.GetPortfolio().Empty());
    EXPECT_TRUE(h.account->GetPortfolio().Empty());
}

// Positions renew the money blocks of all levels, orders those of none.
TEST(OrderRoadTest, LeavesTheMoneyBlocksAsTheyAre)
{
    Hierarchy h(HalfNetting, HalfNetting);
    ASSERT_EQ(SetPositionClient(h.first, FUT, 1, 800.0, 0), 0U);
    ParticipantBase* const levels[] = {&h.first, &h.firm, h.account.get()};
    for (ParticipantBase* const level : levels)
        level->GetMeansForUpdate().m_fee = t_bround_int::FromPlain(25); // would show in the next renewal
    ASSERT_EQ(Buy(h.first, FUT, 800.0, 1), 0U);
    h.ExpectMargins(200, 0, 200, 200);
    for (const ParticipantBase* const level : levels) {
        EXPECT_EQ(level->GetMeans().BlockedMoney.AsPlain(), 10000);
        EXPECT_EQ(level->GetMeans().FreeMoney.AsPlain(), -10000);
    }
}

TEST(OrderRoadTest, AnUnknownInstrumentGivesItsCodeAndChangesNothing)
{
    for (const MarginRule firmRule : {Gross, HalfNetting, Netting}) {
        for (const MarginRule accountRule : {Gross, HalfNetting, Netting}) {
            Hierarchy h(firmRule, accountRule);
            EXPECT_EQ(Buy(h.first, UnknownIsin, 800.0, 1), Z9ERR_INSTRUMENT_ABSENT);
            h.ExpectMargins(0, 0, 0, 0);
        }
    }
}

// What the last level under Netting says is what the caller hears, good or bad.
TEST(OrderRoadTest, TheCodeOfTheLastNettingLevelTakesThePlaceOfTheClients)
{
    StrangerAbove tree(HalfNetting);
    EXPECT_EQ(Buy(tree.client, FUT, 800.0, 1), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(tree.client.GetInitialMargin(), 100.0); // taken all the same
    EXPECT_EQ(tree.firm.GetInitialMargin(), 100.0);

    tree.InsertAbove(50);
    EXPECT_EQ(Buy(tree.client, 50, 800.0, 1), 0U); // the client does not know it
    EXPECT_EQ(tree.client.GetPortfolio().GetSpecPosition(50), nullptr);
    EXPECT_NE(tree.account->GetPortfolio().GetSpecPosition(50), nullptr);
}

TEST(OrderRoadTest, NoOrdersChangeNothing)
{
    Hierarchy h(Netting, HalfNetting);
    ASSERT_EQ(Buy(h.first, FUT, 800.0, 2), 0U);
    EXPECT_EQ(ChangeOrder(h.first, FUT, 0, nullptr), 0U);
    EXPECT_EQ(Buy(h.first, FUT, 790.0, 0), 0U);
    h.ExpectMargins(200, 0, 200, 200);
    EXPECT_EQ(h.first.GetPortfolio().GetSpecPosition(FUT)->GetOrders().size(), 1U);
}

// A bid at 790 and an offer at 820, two contracts: -180, 0, 0 and 0, 0, -160.
TEST(OrderRoadTest, SeveralChangesOfOneCallGoUpTogether)
{
    Hierarchy h(Netting, HalfNetting);
    const SClearingDeltaOrder orders[] = {MakeOrder(FUT, true, 790.0, 2), MakeOrder(FUT, false, 820.0, 2)};
    ASSERT_EQ(ChangeOrder(h.first, FUT, 2, orders), 0U);
    h.ExpectMargins(180, 0, 180, 180);
}

// The sum of a Gross account takes the change of the firm's GO as it is charged, on both sides: 100 x 0.33333 = 33.333
// is charged as 33.34.
TEST(OrderRoadTest, TheGrossSumGrowsByTheFirmsGoAsItIsCharged)
{
    for (const MarginRule firmRule : {HalfNetting, Netting}) {
        Hierarchy h(firmRule, Gross);
        h.firm.SetGORatio(t_bprice_int(0.33333));
        ASSERT_EQ(Buy(h.first, FUT, 800.0, 1), 0U);
        EXPECT_EQ(h.account->GetPortfolio().GetGrossInitialMargin(), 33.34);
        ASSERT_EQ(Buy(h.first, FUT, 800.0, -1), 0U);
        EXPECT_EQ(h.account->GetPortfolio().GetGrossInitialMargin(), 0.0);
    }
}

// An order and then its execution: the position has the risk that the order had, and its profits besides.
TEST(OrderRoadTest, AnOrderIsFollowedByItsExecution)
{
    Hierarchy h(HalfNetting, HalfNetting);
    ASSERT_EQ(Buy(h.first, FUT, 790.0, 2), 0U);
    h.ExpectMargins(180, 0, 180, 180);
    ASSERT_EQ(Buy(h.first, FUT, 790.0, -2), 0U);
    ASSERT_EQ(SetPositionClient(h.first, FUT, 2, 790.0, 0), 0U);
    h.ExpectMargins(180, 0, 180, 180);
    ASSERT_EQ(Sell(h.first, FUT, 790.0, 2), 0U); // -180, 20, 220 and 0, -20, -220
    h.ExpectMargins(180, 0, 180, 180);
}

TEST(OrderRoadTest, EveryLevelFollowsAWalkOverPositionsAndOrdersAtEveryPairOfRules)
{
    plain_walk::AtEveryPairOfRules([](plain_walk::Walk& walk, std::mt19937& random) {
        for (int step = 0; step < 200; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            switch (random() % 5) {
            case 0:
                ASSERT_NO_FATAL_FAILURE(walk.SetPosition(random));
                break;
            case 1:
                ASSERT_NO_FATAL_FAILURE(walk.SetOwnRecord(random));
                break;
            default:
                ASSERT_NO_FATAL_FAILURE(walk.ChangeOrder(random));
                break;
            }
            ASSERT_NO_FATAL_FAILURE(walk.Compare());
        }
        ASSERT_NO_FATAL_FAILURE(walk.CancelAll());
        ASSERT_NO_FATAL_FAILURE(walk.Compare());
    });
}

TEST(OrderRoadTest, AnOrderNeverLowersTheMarginOfTheClient)
{
    plain_walk::AtEveryPairOfRules([](plain_walk::Walk& walk, std::mt19937& random) {
        for (int step = 0; step < 30; ++step)
            ASSERT_NO_FATAL_FAILURE(walk.SetPosition(random));
        for (int step = 0; step < 100; ++step) {
            BraskClient& client = *walk.clients[random() % walk.clients.size()];
            const plain_walk::Instrument& instrument =
                plain_walk::Instruments[random() % plain_walk::Instruments.size()];
            const double price = (instrument.kind == 'f' ? 720.0 : 0.0) + static_cast<double>(random() % 120);
            const double before = client.GetInitialMargin();
            const auto send = random() % 2 == 0 ? Buy : Sell;
            ASSERT_EQ(send(client, instrument.Isin, price, static_cast<std::int64_t>(1 + random() % 5)), 0U);
            ASSERT_GE(client.GetInitialMargin(), before);
        }
    });
}

/// The first client leaves premium-style options out, under a market that has some on a currency contract.
struct PremiumHierarchy : Hierarchy
{
    explicit PremiumHierarchy(bool notUseNOV = true) : Hierarchy(Netting, Netting)
    {
        first.SetNotUseNOV(notUseNOV ? 1 : 0);
        Check(instruments.InsertCurrency(1, 0.05));
        BaseContractSample contract = HandBaseContract("FX");
        contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        contract.CurrencyId = 1;
        Check(contract.InsertInto(instruments));
        Check(HandFutures("FXF", 4, "FX").InsertInto(instruments));
        kv7im::OptionSeriesParameters series = HandSeries("FXO", "FXF");
        series.marginStyle = Enums::MarginStyle::Equity;
        Check(instruments.InsertVirtFutures(series));
        AddOption("FXO", PremiumCall750, Enums::OptionType::Call, 750.0);
    }

    [[nodiscard]] std::int64_t Reserved() const
    {
        return first.GetPremiumReservesCalculator().GetPremiumBlocked().AsPlain();
    }
};

// A bid of 60.00001 for three: 180.00003; with the radius of the currency 180.00003 x 1.05 = 189.0000315.
TEST(OrderReserveTest, BidsForPremiumStyleOptionsReserveTheirPremium)
{
    PremiumHierarchy h;
    ASSERT_EQ(Buy(h.first, PremiumCall750, 60.00001, 3), 0U);
    EXPECT_EQ(h.Reserved(), 18900003);
    EXPECT_EQ(h.first.GetPremiumBlocked().AsPlain(), 18900);
    // Of another instrument, on a contract whose currency is not in the table: 50 x 2, as it stands.
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.0, 2), 0U);
    EXPECT_EQ(h.Reserved(), 18900003 + 10000000);

    // 120.00002 x 1.05 = 126.000021.
    ASSERT_EQ(Buy(h.first, PremiumCall750, 60.00001, -1), 0U);
    EXPECT_EQ(h.Reserved(), 12600002 + 10000000);
    ASSERT_EQ(Buy(h.first, PremiumCall750, 60.00001, -2), 0U);
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.0, -2), 0U);
    EXPECT_EQ(h.Reserved(), 0);
}

// 50.009 is 50.00 to a client's block; -0.001, of a cancellation without its order, is -0.01.
TEST(OrderReserveTest, WhatIsBlockedIsCutOffTowardMinusInfinity)
{
    PremiumHierarchy h;
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.009, 1), 0U);
    EXPECT_EQ(h.Reserved(), 5000900);
    EXPECT_EQ(h.first.GetPremiumBlocked().AsPlain(), 5000);
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.009, -1), 0U);
    ASSERT_EQ(Buy(h.first, PremiumPut850, 0.001, -1), 0U);
    EXPECT_EQ(h.Reserved(), -100);
    EXPECT_EQ(h.first.GetPremiumBlocked().AsPlain(), -1);
}

// One unit of price is two of money here: 30.5 x 3 x 2.
TEST(OrderReserveTest, ThePremiumIsMoney)
{
    PremiumHierarchy h;
    kv7im::OptionSeriesParameters series = HandSeries("TWO");
    series.marginStyle = Enums::MarginStyle::Equity;
    series.MinStepPrice = 2.0 * series.MinStep;
    AccountTree::Check(h.instruments.InsertVirtFutures(series));
    h.AddOption("TWO", 61, Enums::OptionType::Call, 750.0);
    ASSERT_EQ(Buy(h.first, 61, 30.5, 3), 0U);
    EXPECT_EQ(h.Reserved(), 18300000);
}

// The radius is that of the table, by the currency of the contract alone: how the step is priced does not matter.
TEST(OrderReserveTest, TheRadiusIsTheOneThatTheCurrencyHasNow)
{
    PremiumHierarchy h;
    ASSERT_EQ(h.instruments.InsertCurrency(840, 0.5), 0U); // the currency of the contract BC, whose step has a price
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.0, 2), 0U);
    EXPECT_EQ(h.Reserved(), 15000000);
}

TEST(OrderReserveTest, NothingElseReservesAPremium)
{
    PremiumHierarchy h;
    ASSERT_EQ(Sell(h.first, PremiumCall750, 60.0, 3), 0U); // brings premium in
    ASSERT_EQ(Buy(h.first, Call850, 10.0, 3), 0U);         // pays by variation margin
    ASSERT_EQ(Buy(h.first, FUT, 800.0, 3), 0U);
    ASSERT_EQ(Buy(h.first, Calendar, 10.0, 3), 0U);
    ASSERT_EQ(Buy(h.first, UnknownIsin, 10.0, 3), Z9ERR_INSTRUMENT_ABSENT);
    ASSERT_EQ(Buy(h.second, PremiumCall750, 60.0, 3), 0U); // another client, which counts such options
    EXPECT_EQ(h.Reserved(), 0);
    EXPECT_EQ(h.second.GetPremiumReservesCalculator().GetPremiumBlocked().AsPlain(), 0);
}

TEST(OrderReserveTest, AClientThatCountsPremiumStyleOptionsReservesNothing)
{
    PremiumHierarchy h(false);
    ASSERT_EQ(Buy(h.first, PremiumCall750, 60.0, 3), 0U);
    EXPECT_EQ(h.Reserved(), 0);
    EXPECT_EQ(h.first.GetPremiumBlocked().AsPlain(), 0);
}

// The side of a record is isBuying, and the instrument is the record's own.
TEST(OrderReserveTest, EachRecordOfACallSpeaksForItself)
{
    PremiumHierarchy h;
    const SClearingDeltaOrder orders[] = {MakeOrder(PremiumPut850, true, 50.0, 1),
                                          MakeOrder(PremiumPut850, false, 70.0, 1),
                                          MakeOrder(PremiumPut850, true, 40.0, 2)};
    margin_orchestrator::UpdateOrderReserve(h.first, 3, orders);
    EXPECT_EQ(h.Reserved(), 5000000 + 8000000);
    margin_orchestrator::UpdateOrderReserve(h.first, 0, nullptr);
    EXPECT_EQ(h.Reserved(), 5000000 + 8000000);
}

// The money block has its own figure for the premium, which is not ours to set.
TEST(OrderReserveTest, LeavesTheMoneyBlockAlone)
{
    PremiumHierarchy h;
    ASSERT_EQ(Buy(h.first, PremiumPut850, 50.0, 1), 0U);
    EXPECT_EQ(h.first.GetMeans().m_premiumBlocked.AsPlain(), 0);
    ASSERT_EQ(SetPositionClient(h.first, FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(h.first.GetMeans().m_premiumBlocked.AsPlain(), 0);
}

// A futures bid for at 800, -100, 0, 0, and a premium-style put bid for at 60, 90, -10, -60 of which the loss is
// 0, -10, -60. Both are in the main book, whose margin is 100; the side book has the first.
TEST(SidePortfolioOrdersTest, LeaveOrdersInPremiumStyleOptionsOut)
{
    PremiumHierarchy h;
    ASSERT_EQ(Buy(h.first, SpreadFutures, 800.0, 1), 0U);
    ASSERT_EQ(Sell(h.first, SpreadFutures, 800.0, 2), 0U); // 0, 0, -200
    ASSERT_EQ(Buy(h.first, PremiumPut850, 60.0, 1), 0U);
    EXPECT_NEAR(h.first.GetPortfolio().GetVolatilityInitialMargin(), 260.0, 1e-6);
    const kv7im::Portfolio& side = h.first.GetPortfolioWithoutEquityOptions();
    EXPECT_NEAR(side.GetVolatilityInitialMargin(), 200.0, 1e-6);
    EXPECT_EQ(side.GetSpecPosition(PremiumPut850), nullptr);
    h.ExpectMargins(200, 0, 260, 260); // the levels above take all

    // An isin of no option counts as something to be synchronised, a spread too.
    ASSERT_EQ(Buy(h.first, Calendar, 15.0, 1), 0U);
    EXPECT_EQ(side.GetSpecPosition(FarFutures)->GetOrders().size(), 1U);
    const SClearingDeltaOrder unknown = MakeOrder(UnknownIsin, true, 1.0, 1);
    EXPECT_EQ(h.first.ChangeOrderInPortfolioWithoutEquityOptions(UnknownIsin, 1, &unknown), Z9ERR_INSTRUMENT_ABSENT);
}

TEST(SidePortfolioOrdersTest, StayOutOfItWhileItDoesNotCount)
{
    PremiumHierarchy h(false);
    ASSERT_EQ(Buy(h.first, SpreadFutures, 800.0, 1), 0U);
    EXPECT_TRUE(h.first.GetPortfolioWithoutEquityOptions().Empty());
    const SClearingDeltaOrder unknown = MakeOrder(UnknownIsin, true, 1.0, 1);
    EXPECT_EQ(h.first.ChangeOrderInPortfolioWithoutEquityOptions(UnknownIsin, 1, &unknown), 0U);
    EXPECT_EQ(h.first.RecalcFuturesPositionInPortfolioWithoutEquityOptions(UnknownIsin, false), 0U);
}

// Bought at 750 the futures stands at -50, 50, 150; at its settlement price of 800 at -100, 0, 100.
TEST(SidePortfolioOrdersTest, OneFuturesOfItIsTakenAnew)
{
    PremiumHierarchy h;
    ASSERT_EQ(SetPositionClient(h.first, FUT, 1, 750.0, 0), 0U);
    ASSERT_EQ(Sell(h.first, FUT, 780.0, 2), 0U); // 0, -40, -240
    EXPECT_EQ(h.first.GetInitialMargin(), 90.0);
    EXPECT_EQ(h.first.RecalcFuturesPositionInPortfolioWithoutEquityOptions(FUT, false), 0U);
    EXPECT_EQ(h.first.GetInitialMargin(), 90.0);
    EXPECT_EQ(h.first.RecalcFuturesPositionInPortfolioWithoutEquityOptions(FUT, true), 0U);
    EXPECT_EQ(h.first.GetInitialMargin(), 140.0);
    EXPECT_EQ(h.first.GetPortfolio().GetVolatilityInitialMargin(), 90.0); // the main book is another matter
    EXPECT_EQ(h.first.RecalcFuturesPositionInPortfolioWithoutEquityOptions(FarFutures, true), 0U); // holds none
}

// A copy under another calculator has the orders in both books, those of a spread with it, and the premium reserved.
TEST(OrderRoadTest, ACopyOfAClientCarriesItsOrders)
{
    PremiumHierarchy h;
    ASSERT_EQ(Buy(h.first, FUT, 790.0, 2), 0U);
    ASSERT_EQ(Buy(h.first, Calendar, 15.0, 1), 0U);
    ASSERT_EQ(Buy(h.first, PremiumPut850, 60.0, 1), 0U);
    BraskBroker& otherFirm = h.AddFirm("AA02", Netting, h.account);
    BraskClient& copy = h.registrar.RegisterClient(h.first, otherFirm);
    EXPECT_EQ(copy.GetPortfolio().GetVolatilityInitialMargin(), h.first.GetPortfolio().GetVolatilityInitialMargin());
    EXPECT_EQ(copy.GetInitialMargin(), 180.0 + 105.0);
    EXPECT_EQ(copy.GetPremiumBlocked().AsPlain(), 6000);
    // They can be cancelled there.
    ASSERT_EQ(Buy(copy, FUT, 790.0, -2), 0U);
    ASSERT_EQ(Buy(copy, Calendar, 15.0, -1), 0U);
    ASSERT_EQ(Buy(copy, PremiumPut850, 60.0, -1), 0U);
    EXPECT_EQ(copy.GetInitialMargin(), 0.0);
    EXPECT_NEAR(copy.GetPortfolio().GetVolatilityInitialMargin(), 0.0, 1e-9);
    EXPECT_EQ(copy.GetPremiumBlocked().AsPlain(), 0);
}

} // namespace
} // namespace test::OrderRoadTest
