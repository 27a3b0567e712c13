// Options in the account tree: who looks at deliveries, the book without premium-style options, and the road of an
// option's position upward.
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OptionTree.h"
#include "PlainWalk.h"

namespace test::OptionMarginTest {
namespace {

using Enums::MarginRule;
using Enums::OptionType;
using margin_orchestrator::SetPositionBroker;
using margin_orchestrator::SetPositionClient;
using margin_orchestrator::SetPositionSettlementAccount;
using plain_walk::AtEveryPairOfRules;
using plain_walk::Walk;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

/// A firm with two clients under an account.
struct Hierarchy : OptionTree
{
    Hierarchy(MarginRule firmRule, MarginRule accountRule)
        : account(AddAccount("ID1", accountRule)),
          firm(AddFirm("AA01", firmRule, account)),
          first(AddClient(firm, "AA01001")),
          second(AddClient(firm, "AA01002"))
    {}

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& first;
    BraskClient& second;
};

TEST(DeliveryRiskTest, AccountsAndFirmsLookAtSeriesThatHaveClearingsForThem)
{
    OptionTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID1", Netting);
    const BraskBroker& firm = tree.AddFirm("AA01", Netting, account);
    kv7im::CSpecVirtFutures& series = tree.SeriesOf(Call825);
    for (const std::int32_t clearings : {0, 1, 7}) {
        series.ExpClearingsSA = clearings;
        series.ExpClearingsBF = series.ExpClearingsCC = 1 - clearings; // those of the others do not matter
        EXPECT_EQ(account->WeHaveToCalcDeliveryRisk(&tree.Option(Call825)), clearings >= 1) << clearings;
        series.ExpClearingsBF = clearings;
        series.ExpClearingsSA = series.ExpClearingsCC = 1 - clearings;
        EXPECT_EQ(firm.WeHaveToCalcDeliveryRisk(&tree.Option(Call825)), clearings >= 1) << clearings;
    }
    EXPECT_FALSE(account->WeHaveToCalcDeliveryRisk(nullptr));
    EXPECT_FALSE(firm.WeHaveToCalcDeliveryRisk(nullptr));
}

TEST(DeliveryRiskTest, AClientLooksAtSeriesWithinItsClearingsOrItsFirms)
{
    struct Case
    {
        std::int32_t ofSeries, ofClient, firmDefault;
        bool counts;
        const char* why;
    };
    const Case cases[] = {
        {0, 5, 5, false, "a series without clearings is never looked at"},
        {0, -1, 5, false, "nor for a client that takes its firm's"},
        {1, 0, 5, false, "the client looks at none; the firm's default is for those that ask"},
        {1, 1, 0, true, "the last clearing"},
        {2, 1, 9, false, "one clearing too early"},
        {2, 2, 0, true, "within the client's own"},
        {2, -1, 2, true, "within the firm's"},
        {3, -1, 2, false, "too early for the firm's"},
        {1, -1, 0, false, "the firm looks at none"},
    };
    for (const Case& c : cases) {
        OptionTree tree;
        BraskBroker& firm = tree.AddFirm("AA01", Netting, GetDummySettlementAccount(), 0.0, 0.0, c.firmDefault);
        const BraskClient& client = tree.AddClient(firm, "AA01001", 0.0, c.ofClient);
        tree.SeriesOf(Call825).ExpClearingsCC = c.ofSeries;
        EXPECT_EQ(client.WeHaveToCalcDeliveryRisk(&tree.Option(Call825)), c.counts) << c.why;
        EXPECT_FALSE(client.WeHaveToCalcDeliveryRisk(nullptr));
    }
}

// A call at 825 bought at 10, over the prices 700, 800 and 900: by price -10, -10, 65; delivered at 850 and then at 800
// it has cost 25 more than the premium, so with deliveries -10, -35, 65. The margin is 10, with deliveries 35.
TEST(DeliveryRiskTest, TheWeightMixesTheMarginWithAndWithoutDeliveries)
{
    struct Case
    {
        double weight;
        std::int32_t clearings;
        double go;
        const char* why;
    };
    const Case cases[] = {
        {0.0, 1, 10.0, "no delivery margin at all"},
        {0.25, 1, 16.25, "0.75 x 10 + 0.25 x 35"},
        {1.0, 1, 35.0, "all delivery margin"},
        {1.0, 0, 10.0, "a client that need not look at the delivery yet"},
        {-1.0, -1, 22.5, "weight 0.5 and one clearing as its firm has them for its clients"},
    };
    for (const Case& c : cases) {
        OptionTree tree;
        BraskBroker& firm = tree.AddFirm("AA01", Netting, GetDummySettlementAccount(), 0.0, 0.5, 1);
        BraskClient& client = tree.AddClient(firm, "AA01001", c.weight, c.clearings);
        ASSERT_EQ(SetPositionClient(client, Call825, 1, 10.0, 0), 0U);
        EXPECT_NEAR(client.GetInitialMargin(), c.go, 1e-9) << c.why;
    }
}

// The same position as the own record of a firm (weight 0.5) and of an account (weight 1.00).
TEST(DeliveryRiskTest, LevelsAboveLookAtDeliveriesByTheirOwnClearings)
{
    OptionTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID1", Netting);
    BraskBroker& firm = tree.AddFirm("AA01", Netting, account, 0.5);
    tree.SeriesOf(Call825).ExpClearingsCC = 0;
    ASSERT_EQ(SetPositionBroker(firm, Call825, 1, 10.0, 0), 0U);
    ASSERT_EQ(SetPositionSettlementAccount(*account, Call825, 1, 10.0, 0), 0U);
    EXPECT_NEAR(firm.GetInitialMargin(), 22.5, 1e-9);
    EXPECT_NEAR(account->GetInitialMargin(), 35.0, 1e-9);
}

TEST(DeliveryRiskTest, ASeriesWithoutClearingsForALevelHasNoDeliveryMarginThere)
{
    OptionTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID1", Netting);
    BraskBroker& firm = tree.AddFirm("AA01", Netting, account, 0.5);
    tree.SeriesOf(Call825).ExpClearingsSA = tree.SeriesOf(Call825).ExpClearingsBF = 0;
    ASSERT_EQ(SetPositionBroker(firm, Call825, 1, 10.0, 0), 0U);
    ASSERT_EQ(SetPositionSettlementAccount(*account, Call825, 1, 10.0, 0), 0U);
    EXPECT_NEAR(firm.GetInitialMargin(), 10.0, 1e-9);
    EXPECT_NEAR(account->GetInitialMargin(), 10.0, 1e-9);
}

// A futures bought at 800, a call at 850 sold at 10 and a premium-style put at 850 bought at 60, all in one spread:
//   futures   -100,   0, 100
//   call        10,  10, -40
//   put         90, -10, -60       all three 0, 0, 0; without the put -90, 10, 60
TEST(SidePortfolioTest, LeavesPremiumStyleOptionsOutAndKeepsTheRest)
{
    for (const bool notUseNOV : {false, true}) {
        Hierarchy h(Netting, Netting);
        h.first.SetNotUseNOV(notUseNOV ? 1 : 0);
        ASSERT_EQ(SetPositionClient(h.first, SpreadFutures, 1, 800.0, 0), 0U);
        ASSERT_EQ(SetPositionClient(h.first, Call850, -1, 10.0, 0), 0U);
        ASSERT_EQ(SetPositionClient(h.first, PremiumPut850, 1, 60.0, 1), 0U);
        EXPECT_NEAR(h.first.GetPortfolio().GetVolatilityInitialMargin(), 0.0, 1e-6);
        EXPECT_NEAR(h.first.GetInitialMargin(), notUseNOV ? 90.0 : 0.0, 1e-9);
        EXPECT_EQ(h.first.GetMeans().BlockedMoney.AsPlain(), notUseNOV ? 9000 : 0);

        const kv7im::Portfolio& side = h.first.GetPortfolioWithoutEquityOptions();
        EXPECT_EQ(side.Empty(), !notUseNOV);
        if (!notUseNOV) continue;
        EXPECT_EQ(side.GetSpecPosition(SpreadFutures)->GetQuantity(), 1);
        EXPECT_EQ(side.GetSpecPosition(Call850)->GetQuantity(), -1);
        EXPECT_EQ(side.GetSpecPosition(PremiumPut850), nullptr);
        EXPECT_NE(h.first.GetPortfolio().GetSpecPosition(PremiumPut850), nullptr);
    }
}

TEST(SidePortfolioTest, FollowsTheFirmsDefault)
{
    Hierarchy h(Netting, Netting);
    h.firm.SetNotUseNOVClientDefault(true);
    ASSERT_EQ(SetPositionClient(h.first, PremiumPut850, -1, 60.0, 0), 0U);
    EXPECT_EQ(h.first.GetInitialMargin(), 0.0);
    EXPECT_NEAR(h.first.GetPortfolio().GetVolatilityInitialMargin(), 90.0, 1e-6);
    // An isin of no option counts as something to be synchronised: the side book says that it does not know it.
    EXPECT_EQ(h.first.SetPositionInPortfolioWithoutEquityOptions(UnknownIsin, 1, 1.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(h.first.SetPositionInPortfolioWithoutEquityOptions(PremiumPut850, 1, 1.0, 0), 0U);
    EXPECT_TRUE(h.first.GetPortfolioWithoutEquityOptions().Empty());
}

// The levels above take the losses of the whole book: what a client leaves out of its GO it has not lost.
TEST(SidePortfolioTest, TheLevelsAboveSeeTheWholeBook)
{
    Hierarchy h(HalfNetting, HalfNetting);
    h.first.SetNotUseNOV(1);
    ASSERT_EQ(SetPositionClient(h.first, PremiumPut850, -1, 60.0, 0), 0U);
    EXPECT_EQ(h.first.GetInitialMargin(), 0.0);
    EXPECT_NEAR(h.firm.GetInitialMargin(), 90.0, 1e-9);
    EXPECT_NEAR(h.account->GetInitialMargin(), 90.0, 1e-9);
}

// A copy under another calculator: both books with their options, and the value of the options in the quantity that the
// accounting has from the last clearing.
TEST(OptionMarginTest, ACopyOfAClientCarriesItsOptions)
{
    const auto makeCurrency = [](OptionTree& tree) {
        tree.AddPremiumCallInCurrency(31);
        tree.positionInstruments.InsertBaseContract(2, true, 1);
        tree.positionInstruments.InsertFutures("FXF", 3, 2, 1.0, 1.0, t_bprice(800.0), 0.5,
                                               Enums::InstrumentStatus::None, 100.0);
        tree.positionInstruments.InsertVirtFutures("FXO", "FXF", Enums::MarginStyle::Equity, 1.0, 1.0);
        tree.positionInstruments.InsertOption("FXO-31", "FXO", 31, OptionType::Call, t_bprice(55.0));
    };
    Hierarchy h(Netting, Netting);
    makeCurrency(h);
    h.first.SetNotUseNOV(1);
    ASSERT_EQ(SetPositionClient(h.first, SpreadFutures, 1, 800.0, 0), 0U);
    ASSERT_EQ(SetPositionClient(h.first, Call850, -1, 10.0, 0), 0U);
    ASSERT_EQ(SetPositionClient(h.first, 31, 2, 60.0, 0), 0U);
    // -120, -20, 180 less 5 per cent each, the value of the options not counted: 126.
    EXPECT_NEAR(h.first.GetPortfolio().GetVolatilityInitialMargin(), 90.0 + 126.0, 1e-6);
    SPosition record;
    record.isin = 31;
    record.quantity = 2;
    record.afterLastClearingQuantity = 1; // the other one was bought today
    h.first.GetPositionCalculator().InsertPosition(record, false, false);

    OptionTree snapshot;
    makeCurrency(snapshot);
    BraskBroker& firm = snapshot.AddFirm("AA01", Netting, GetDummySettlementAccount());
    const BraskClient& copy = snapshot.registrar.RegisterClient(h.first, firm);
    EXPECT_EQ(copy.GetPortfolio().GetSpecPosition(31)->GetQuantity(), 2);
    EXPECT_EQ(copy.GetPortfolio().GetSpecPosition(31)->GetWAPrice(), 60.0);
    // The 55 of one of them count now: -120 - 0.05 x |55 - 120|.
    EXPECT_NEAR(copy.GetPortfolio().GetVolatilityInitialMargin(), 90.0 + 123.25, 1e-6);
    EXPECT_EQ(copy.GetPortfolioWithoutEquityOptions().GetSpecPosition(31), nullptr);
    EXPECT_NEAR(copy.GetInitialMargin(), 90.0, 1e-9);
}

struct RuleCase
{
    MarginRule firmRule;
    MarginRule accountRule;
    // GO of firm and account after both clients' positions, and after the firm's and the account's own records.
    double firmAfterClients, accountAfterClients;
    double firmAfterOwn, accountAfterOwn;
    const char* why;
};

// The first client has a covered call in spread: -90, 10, 60. The second has sold a call at 825 for 10, standing alone:
// 10, 10, 10 - 75 = -65, a loss of 65 with deliveries too. Losses of a spread and of a series alone never meet: 155.
// The firm's own record is a call at 825 bought at 10 (10 by price), the account's own one is the same, of which it
// sees the delivery margin of 35.
const RuleCase ruleCases[] = {
    {Netting, Netting, 0, 0, 10, 35, "each level lives by its own records"},
    {Netting, HalfNetting, 0, 155, 10, 155, "the account takes the clients' losses past the firm"},
    {Netting, Gross, 0, 0, 10, 10, "the account sums the firm's GO, which only its own record moves"},
    {HalfNetting, Netting, 155, 0, 155, 35, "the firm takes its clients' losses and ignores its own record"},
    {HalfNetting, HalfNetting, 155, 155, 155, 155, "both take the losses"},
    {HalfNetting, Gross, 155, 155, 155, 155, "the account grows with the firm"},
    {Gross, Netting, 0, 0, 0, 35, "nobody asks for the losses: the firm stays at 0"},
    {Gross, HalfNetting, 155, 155, 155, 155, "the account asks for the losses, and the firm takes them too"},
    {Gross, Gross, 0, 0, 0, 0, "nobody asks for the losses: both stay at 0"},
};

TEST(OptionMarginTest, EveryPairOfRulesMovesItsLevels)
{
    for (const RuleCase& c : ruleCases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);
        ASSERT_EQ(SetPositionClient(h.first, SpreadFutures, 1, 800.0, 0), 0U);
        ASSERT_EQ(SetPositionClient(h.first, Call850, -1, 10.0, 0), 0U);
        ASSERT_EQ(SetPositionClient(h.second, Call825, -1, 10.0, 0), 0U);
        EXPECT_NEAR(h.first.GetInitialMargin(), 90.0, 1e-9);
        EXPECT_NEAR(h.second.GetInitialMargin(), 65.0, 1e-9);
        EXPECT_NEAR(h.firm.GetInitialMargin(), c.firmAfterClients, 1e-9);
        EXPECT_NEAR(h.account->GetInitialMargin(), c.accountAfterClients, 1e-9);

        ASSERT_EQ(SetPositionBroker(h.firm, Call825, 1, 10.0, 0), 0U);
        ASSERT_EQ(SetPositionSettlementAccount(*h.account, Call825, 1, 10.0, 0), 0U);
        EXPECT_NEAR(h.firm.GetInitialMargin(), c.firmAfterOwn, 1e-9);
        EXPECT_NEAR(h.account->GetInitialMargin(), c.accountAfterOwn, 1e-9);
    }
}

TEST(OptionMarginTest, EveryLevelFollowsAWalkOverOptionsAtEveryPairOfRules)
{
    AtEveryPairOfRules([](Walk& walk, std::mt19937& random) {
        for (int step = 0; step < 150; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            ASSERT_NO_FATAL_FAILURE(walk.SetPosition(random));
            ASSERT_NO_FATAL_FAILURE(walk.Compare());
        }
    });
}

TEST(OptionMarginTest, OptionsThatAreClosedLeaveNothingBehindAtAnyLevel)
{
    AtEveryPairOfRules([](const Walk& walk, std::mt19937&) {
        for (const std::int64_t quantity : {3, -4, 0})
            for (BraskClient* const client : walk.clients)
                for (const plain_walk::Instrument& instrument : plain_walk::Instruments)
                    ASSERT_EQ(SetPositionClient(*client, instrument.Isin, quantity, 33.0, quantity), 0U);
        for (const BraskClient* const client : walk.clients)
            EXPECT_EQ(client->GetInitialMargin(), 0.0);
        for (const BraskBroker* const firm : walk.firms)
            EXPECT_EQ(firm->GetInitialMargin(), 0.0);
        EXPECT_EQ(walk.account->GetInitialMargin(), 0.0);
    });
}

} // namespace
} // namespace test::OptionMarginTest
