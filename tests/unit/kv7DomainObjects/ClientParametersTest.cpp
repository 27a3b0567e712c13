// What a client's margin is computed by, changed while it trades: the book is taken anew, and every level stands as it
// would under a client that had these parameters from the start.
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "MarginOrchestrator.h"
#include "OptionTree.h"

namespace test::ClientParametersTest {
namespace {

using Enums::MarginRule;
using Enums::SpreadMarginType;
using margin_orchestrator::SetPositionClient;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

constexpr Isin FarFutures = 3;
constexpr Isin Calendar = 91;      // both legs in spread
constexpr Isin MixedCalendar = 92; // one leg stands alone
constexpr Isin CurrencyCall = 31;  // premium-style, on a currency contract with a radius of 0.05

/// A firm with a client, and another client that keeps its parameters, under an account.
struct Tree : OptionTree
{
    Tree(MarginRule firmRule, MarginRule accountRule, const ClientRiskParameters& parameters = {})
        : account(AddAccount("ID1", accountRule)),
          firm(AddFirm("AA01", firmRule, account, 1.0, 0.25, 1)),
          client(registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), t_bprice_int(1), parameters.noFutDiscount,
                                          parameters.nClr2Delivery, parameters.expWeight,
                                          Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None)),
          other(AddClient(firm, "AA01002"))
    {
        client.SetClgoRatio(parameters.clgoRatio);
        FuturesSample far = HandFutures("FUT3", FarFutures);
        far.SpreadAspect = Enums::SpreadAspect::InSpread;
        far.CalcFutPrice = far.RealCalcPrice = 810.0;
        Check(far.InsertInto(instruments));
        for (const Isin calendar : {Calendar, MixedCalendar}) {
            Check(instruments.InsertMultileg(calendar, SpreadFutures, -1, 1));
            Check(instruments.InsertMultileg(calendar, calendar == Calendar ? FarFutures : FUT, 1, 2));
        }
        Check(instruments.InsertCurrency(1, 0.05));
        BaseContractSample contract = HandBaseContract("FX");
        contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        contract.CurrencyId = 1;
        Check(contract.InsertInto(instruments));
        Check(HandFutures("FXF", 4, "FX").InsertInto(instruments));
        kv7im::OptionSeriesParameters series = HandSeries("FXO", "FXF");
        series.marginStyle = Enums::MarginStyle::Equity;
        Check(instruments.InsertVirtFutures(series));
        Check(HandOption("FXO", CurrencyCall, Enums::OptionType::Call, 750.0, 55.0).InsertInto(instruments));
        positionInstruments.InsertBaseContract(2, true, 1);
        positionInstruments.InsertFutures("FXF", 4, 2, 1.0, 1.0, t_bprice(800.0), 0.5, Enums::InstrumentStatus::None,
                                          100.0);
        positionInstruments.InsertVirtFutures("FXO", "FXF", Enums::MarginStyle::Equity, 1.0, 1.0);
        positionInstruments.InsertOption("FXO-31", "FXO", CurrencyCall, Enums::OptionType::Call, t_bprice(55.0));
    }

    /// Positions and orders of every kind, at prices on either side of the settlement.
    void Trade()
    {
        const auto set = [](BraskClient& who, Isin isin, std::int64_t quantity, double price) {
            Check(SetPositionClient(who, isin, quantity, price, 0));
        };
        set(other, FUT, -2, 790.0);
        set(other, SpreadFutures, 1, 815.0);
        set(client, FUT, 2, 770.0);
        set(client, SpreadFutures, -3, 830.0);
        set(client, Call825, 1, 10.0);
        set(client, Call850, -1, 12.0);
        set(client, PremiumPut850, 2, 60.0);
        Check(Buy(client, FUT, 760.0, 2));
        Check(Sell(client, FUT, 840.0, 1));
        Check(Buy(client, Call825, 20.0, 1));
        Check(Sell(client, PremiumPut850, 55.0, 1));
        Check(Buy(client, Calendar, 4.0, 2));
        Check(Sell(client, MixedCalendar, 7.0, 1));
        Check(Sell(other, Calendar, 12.0, 1));
    }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& client;
    BraskClient& other;
};

ClientRiskParameters Parameters(bool noFutDiscount, std::int32_t nClr2Delivery, double expWeight, double ratio = 1.0)
{
    ClientRiskParameters parameters;
    parameters.noFutDiscount = noFutDiscount;
    parameters.nClr2Delivery = nClr2Delivery;
    parameters.expWeight = t_weight_int(expWeight);
    parameters.clgoRatio = t_bprice_int(ratio);
    return parameters;
}

void ExpectSameMargins(const Tree& changed, const Tree& fresh)
{
    for (const bool delivery : {false, true}) {
        const auto margin = [delivery](const ParticipantBase& level) {
            return delivery ? level.GetPortfolio().GetDeliveryVolatilityInitialMargin()
                            : level.GetPortfolio().GetVolatilityInitialMargin();
        };
        EXPECT_NEAR(margin(changed.client), margin(fresh.client), 1e-9);
        EXPECT_NEAR(margin(changed.firm), margin(fresh.firm), 1e-9);
        EXPECT_NEAR(margin(*changed.account), margin(*fresh.account), 1e-9);
    }
    EXPECT_NEAR(changed.client.GetInitialMargin(), fresh.client.GetInitialMargin(), 1e-9);
    EXPECT_NEAR(changed.other.GetInitialMargin(), fresh.other.GetInitialMargin(), 1e-9);
    EXPECT_NEAR(changed.firm.GetInitialMargin(), fresh.firm.GetInitialMargin(), 1e-9);
    EXPECT_NEAR(changed.account->GetInitialMargin(), fresh.account->GetInitialMargin(), 1e-9);
}

template <class Story>
void AtEveryPairOfRules(const Story& story)
{
    for (const MarginRule firmRule : {Gross, HalfNetting, Netting}) {
        for (const MarginRule accountRule : {Gross, HalfNetting, Netting}) {
            SCOPED_TRACE("firm " + std::to_string(static_cast<int>(firmRule)) + ", account " +
                         std::to_string(static_cast<int>(accountRule)));
            story(firmRule, accountRule);
        }
    }
}

// Bought at 750: -50, 50, 150. Without discount it is valued at the settlement price of 800: -100, 0, 100. An offer at
// 830: 0, 0, -70; without discount at 800: 0, 0, -100. Together 50, and -100, 0, 0.
TEST(ClientParametersTest, WithoutDiscountAFuturesIsHeldAtItsSettlementPrice)
{
    Tree tree(HalfNetting, HalfNetting, Parameters(false, 0, 0.0));
    ASSERT_EQ(SetPositionClient(tree.client, FUT, 1, 750.0, 0), 0U);
    ASSERT_EQ(Sell(tree.client, FUT, 830.0, 1), 0U);
    EXPECT_EQ(tree.client.GetInitialMargin(), 50.0);
    tree.client.SetRiskParameters(Parameters(true, 0, 0.0));
    EXPECT_EQ(tree.client.GetInitialMargin(), 100.0);
    EXPECT_EQ(tree.firm.GetInitialMargin(), 100.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 100.0);
    // The money blocks of all levels have followed.
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), 10000);
    EXPECT_EQ(tree.firm.GetMeans().BlockedMoney.AsPlain(), 10000);
    EXPECT_EQ(tree.account->GetMeans().BlockedMoney.AsPlain(), 10000);
    tree.client.SetRiskParameters(Parameters(false, 0, 0.0));
    EXPECT_EQ(tree.client.GetInitialMargin(), 50.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 50.0);
}

// A call at 825 bought at 10 has a margin of 10, with deliveries of 35.
TEST(ClientParametersTest, ClearingsDecideWhetherDeliveriesCount)
{
    Tree tree(HalfNetting, HalfNetting, Parameters(false, 0, 0.5));
    ASSERT_EQ(SetPositionClient(tree.client, Call825, 1, 10.0, 0), 0U);
    EXPECT_NEAR(tree.client.GetInitialMargin(), 10.0, 1e-9);
    EXPECT_NEAR(tree.firm.GetInitialMargin(), 10.0, 1e-9);
    tree.client.SetRiskParameters(Parameters(false, 1, 0.5));
    EXPECT_NEAR(tree.client.GetInitialMargin(), 22.5, 1e-9); // 0.5 x 10 + 0.5 x 35
    EXPECT_NEAR(tree.firm.GetInitialMargin(), 35.0, 1e-9);   // weighs deliveries with 1
    EXPECT_NEAR(tree.account->GetInitialMargin(), 35.0, 1e-9);
    tree.client.SetRiskParameters(Parameters(false, -1, 0.5)); // one clearing, as its firm has it
    EXPECT_NEAR(tree.client.GetInitialMargin(), 22.5, 1e-9);
    tree.client.SetRiskParameters(Parameters(false, 0, 0.5));
    EXPECT_NEAR(tree.account->GetInitialMargin(), 10.0, 1e-9);
}

TEST(ClientParametersTest, TheWeightIsTheClientsOwn)
{
    Tree tree(HalfNetting, Gross, Parameters(false, 1, 0.0));
    ASSERT_EQ(SetPositionClient(tree.client, Call825, 1, 10.0, 0), 0U);
    EXPECT_NEAR(tree.client.GetInitialMargin(), 10.0, 1e-9);
    tree.client.SetRiskParameters(Parameters(false, 1, 1.0));
    EXPECT_NEAR(tree.client.GetInitialMargin(), 35.0, 1e-9);
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), 3500);
    tree.client.SetRiskParameters(Parameters(false, 1, -1.0)); // 0.25, as its firm has it
    EXPECT_NEAR(tree.client.GetInitialMargin(), 16.25, 1e-9);  // 0.75 x 10 + 0.25 x 35
    EXPECT_NEAR(tree.firm.GetInitialMargin(), 35.0, 1e-9);     // its own weight is 1 all the time
    EXPECT_NEAR(tree.account->GetInitialMargin(), 35.0, 1e-9);
}

TEST(ClientParametersTest, EachParameterLeavesEveryLevelAsUnderAFreshClient)
{
    const ClientRiskParameters before = Parameters(false, 0, 0.5);
    const ClientRiskParameters after[] = {Parameters(true, 0, 0.5), Parameters(false, 1, 0.5),
                                          Parameters(false, 0, 0.75), Parameters(true, -1, -1.0)};
    AtEveryPairOfRules([&](MarginRule firmRule, MarginRule accountRule) {
        for (const ClientRiskParameters& parameters : after) {
            Tree changed(firmRule, accountRule, before);
            changed.Trade();
            changed.client.SetRiskParameters(parameters);
            Tree fresh(firmRule, accountRule, parameters);
            fresh.Trade();
            ExpectSameMargins(changed, fresh);
        }
    });
}

TEST(ClientParametersTest, TheBookGoesOnUnderTheNewParameters)
{
    AtEveryPairOfRules([&](MarginRule firmRule, MarginRule accountRule) {
        Tree changed(firmRule, accountRule, Parameters(false, 0, 0.5));
        changed.Trade();
        changed.client.SetRiskParameters(Parameters(true, 1, 1.0));
        changed.client.SetRiskParameters(Parameters(true, 1, 0.0)); // twice in a row: the legs keep their spread
        Tree fresh(firmRule, accountRule, Parameters(true, 1, 0.0));
        fresh.Trade();
        ExpectSameMargins(changed, fresh);
        for (Tree* const tree : {&changed, &fresh}) {
            ASSERT_EQ(SetPositionClient(tree->client, FUT, -1, 805.0, 0), 0U);
            ASSERT_EQ(Buy(tree->client, Calendar, 4.0, -2), 0U);
            ASSERT_EQ(Sell(tree->client, MixedCalendar, 7.0, -1), 0U);
            ASSERT_EQ(Buy(tree->client, FUT, 760.0, -2), 0U);
            ASSERT_EQ(SetPositionClient(tree->client, Call825, 0, 0.0, 0), 0U);
        }
        ExpectSameMargins(changed, fresh);
        // And back: nothing of the change is left.
        changed.client.SetRiskParameters(Parameters(false, 0, 0.5));
        Tree another(firmRule, accountRule, Parameters(false, 0, 0.5));
        another.Trade();
        ASSERT_EQ(SetPositionClient(another.client, FUT, -1, 805.0, 0), 0U);
        ASSERT_EQ(Buy(another.client, Calendar, 4.0, -2), 0U);
        ASSERT_EQ(Sell(another.client, MixedCalendar, 7.0, -1), 0U);
        ASSERT_EQ(Buy(another.client, FUT, 760.0, -2), 0U);
        ASSERT_EQ(SetPositionClient(another.client, Call825, 0, 0.0, 0), 0U);
        ExpectSameMargins(changed, another);
    });
}

// The client may net its legs: then only the spread counts, and it has to be found again each time.
TEST(ClientParametersTest, OrdersInACalendarAreTakenAnewAsTheLegsOfIt)
{
    Tree tree(HalfNetting, HalfNetting, Parameters(false, 0, 0.0));
    tree.client.SetCalSpreadMarginType(SpreadMarginType::Netting);
    ASSERT_EQ(Buy(tree.client, Calendar, 15.0, 1), 0U);
    // The far leg is settled 10 above the near one, 5 below the bid.
    EXPECT_EQ(tree.client.GetInitialMargin(), 5.0);
    for (const double weight : {0.5, 0.25, 0.75}) {
        tree.client.SetRiskParameters(Parameters(false, 0, weight));
        EXPECT_EQ(tree.client.GetInitialMargin(), 5.0);
        EXPECT_EQ(tree.account->GetInitialMargin(), 5.0);
    }
    // Without discount the bid is held against the settlement of the spread where that is worse for the client: the bid
    // of 15 is, as it stands. A bid of 7 is taken up to 10, and loses nothing.
    tree.client.SetRiskParameters(Parameters(true, 0, 0.75));
    EXPECT_EQ(tree.client.GetInitialMargin(), 5.0);
    ASSERT_EQ(Buy(tree.client, Calendar, 15.0, -1), 0U);
    EXPECT_EQ(tree.client.GetInitialMargin(), 0.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 0.0);
    EXPECT_TRUE(tree.client.GetPortfolio().GetSpecPosition(FarFutures)->GetOrders().empty());
}

/// A client whose book would show it if it were taken anew: two premium-style calls at 750 bought at 60 count a value
/// of 110 by the position that was set, and none after a refresh, since the accounting has no entry.
///   -120, -20, 180 with 5 per cent of what is at risk: the value and the result together are -10, 90, 290, which takes
///   0.5, 4.5 and 14.5 away: -120.5. Without the value: 5 per cent of 120: -126.
struct Telltale : Tree
{
    explicit Telltale(const ClientRiskParameters& parameters) : Tree(HalfNetting, HalfNetting, parameters)
    {
        Check(SetPositionClient(client, CurrencyCall, 2, 60.0, 2));
    }
    [[nodiscard]] double MarginOfBook() const { return client.GetPortfolio().GetVolatilityInitialMargin(); }
    static constexpr double AsItWasSet = 120.5;
    static constexpr double TakenAnew = 126.0;
};

TEST(ClientParametersTest, TheNetOptionValueFollowsTheAccountingOnceTheBookIsTakenAnew)
{
    for (const std::int64_t left : {0, 1, 2}) { // by the last clearing
        Telltale tree(Parameters(false, 0, 0.0));
        // Half of the value: 55 and the result are -65, 35, 235, which takes 3.25 from the -120.
        const double expected[] = {Telltale::TakenAnew, 123.25, Telltale::AsItWasSet};
        SPosition record;
        record.isin = CurrencyCall;
        record.quantity = 2;
        record.afterLastClearingQuantity = left;
        tree.client.GetPositionCalculator().InsertPosition(record, false, false);
        EXPECT_NEAR(tree.MarginOfBook(), Telltale::AsItWasSet, 1e-6);
        tree.client.SetRiskParameters(Parameters(false, 0, 0.5));
        EXPECT_NEAR(tree.MarginOfBook(), expected[left], 1e-6);
    }
}

TEST(ClientParametersTest, TheRatioAloneRenewsTheMoneyBlockAndTakesNothingAnew)
{
    Telltale tree(Parameters(false, 0, 0.0));
    tree.client.GetMeansForUpdate().m_fee = t_bround_int::FromPlain(25);
    tree.firm.GetMeansForUpdate().m_fee = t_bround_int::FromPlain(25);
    const double before = tree.firm.GetInitialMargin();
    tree.client.SetRiskParameters(Parameters(false, 0, 0.0, 2.0));
    EXPECT_NEAR(tree.MarginOfBook(), Telltale::AsItWasSet, 1e-6);
    EXPECT_NEAR(tree.client.GetInitialMargin(), 241.0, 1e-9);
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), 24100);
    EXPECT_EQ(tree.client.GetMeans().FreeMoney.AsPlain(), -24125);
    // The levels above do not see the ratio.
    EXPECT_EQ(tree.firm.GetInitialMargin(), before);
    EXPECT_EQ(tree.firm.GetMeans().FreeMoney.AsPlain(), -12050); // of the position, without the fee
}

TEST(ClientParametersTest, TheLimitFlagAloneChangesNothingElse)
{
    Telltale tree(Parameters(false, 0, 0.0));
    tree.client.GetMeansForUpdate().m_fee = t_bround_int::FromPlain(25); // would show in the next renewal
    ClientRiskParameters parameters = Parameters(false, 0, 0.0);
    parameters.autoUpdateLimit = true;
    tree.client.SetRiskParameters(parameters);
    EXPECT_TRUE(tree.client.GetRiskParameters().autoUpdateLimit);
    EXPECT_NEAR(tree.MarginOfBook(), Telltale::AsItWasSet, 1e-6);
    EXPECT_EQ(tree.client.GetMeans().FreeMoney.AsPlain(), -12050);
    parameters.autoUpdateLimit = false;
    tree.client.SetRiskParameters(parameters);
    EXPECT_FALSE(tree.client.GetRiskParameters().autoUpdateLimit);
}

TEST(ClientParametersTest, AllChangeInOneCall)
{
    Telltale tree(Parameters(false, 0, 0.0));
    ClientRiskParameters parameters = Parameters(true, 3, 0.25, 0.5);
    parameters.autoUpdateLimit = true;
    tree.client.SetRiskParameters(parameters);
    EXPECT_NEAR(tree.client.GetInitialMargin(), 63.0, 1e-9); // half of 126
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), 6300);
    const ClientRiskParameters now = tree.client.GetRiskParameters();
    EXPECT_EQ(now.clgoRatio, t_bprice_int(0.5));
    EXPECT_EQ(now.expWeight, t_weight_int(0.25));
    EXPECT_EQ(now.nClr2Delivery, 3);
    EXPECT_TRUE(now.noFutDiscount);
    EXPECT_TRUE(now.autoUpdateLimit);
}

TEST(ClientParametersTest, TheRiskLevelIsNeitherReportedNorApplied)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", Netting, GetDummySettlementAccount());
    BraskClient& client = tree.registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), false, 0, t_weight_int(),
                                                        Enums::ClientRiskLevel::High, Enums::InvestorStatus::None);
    ClientRiskParameters parameters = client.GetRiskParameters();
    EXPECT_EQ(parameters.clientRiskLevel, Enums::ClientRiskLevel::Default);
    parameters.clientRiskLevel = Enums::ClientRiskLevel::Exceptional;
    parameters.nClr2Delivery = 2;
    client.SetRiskParameters(parameters);
    EXPECT_EQ(client.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_EQ(client.GetRiskParameters().clientRiskLevel, Enums::ClientRiskLevel::Default);
}

// A registration puts values right; a change takes them as they are.
TEST(ClientParametersTest, NothingIsChecked)
{
    Tree tree(HalfNetting, Gross, Parameters(false, 0, 0.0));
    LogCapture log;
    ASSERT_EQ(SetPositionClient(tree.client, FUT, 1, 800.0, 0), 0U);
    tree.client.SetRiskParameters(Parameters(false, -7, 3.0, -2.0));
    EXPECT_EQ(tree.client.GetNClr2Delivery(), -7);
    EXPECT_EQ(tree.client.GetExpWeight(), t_weight_int(3));
    EXPECT_EQ(tree.client.GetClgoRatio(), t_bprice_int(-2));
    EXPECT_EQ(tree.client.GetInitialMargin(), -200.0); // both margins are 100
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), -20000);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(ClientParametersTest, TheBookWithoutPremiumStyleOptionsIsTakenAnewToo)
{
    Tree tree(Netting, Netting, Parameters(false, 0, 0.0));
    tree.client.SetNotUseNOV(1);
    ASSERT_EQ(SetPositionClient(tree.client, FUT, 1, 750.0, 0), 0U);
    ASSERT_EQ(SetPositionClient(tree.client, PremiumPut850, -1, 60.0, 0), 0U);
    ASSERT_EQ(Buy(tree.client, FUT, 770.0, 1), 0U);
    EXPECT_EQ(tree.client.GetInitialMargin(), 120.0); // 50 and 70
    tree.client.SetRiskParameters(Parameters(true, 0, 0.0));
    EXPECT_EQ(tree.client.GetInitialMargin(), 200.0);
    EXPECT_EQ(tree.client.GetMeans().BlockedMoney.AsPlain(), 20000);
    EXPECT_EQ(tree.client.GetPortfolioWithoutEquityOptions().GetSpecPosition(PremiumPut850), nullptr);
    // By itself it can be asked for as well.
    EXPECT_EQ(tree.client.RefreshPortfolioWithoutEquityOptions(), 0U);
    EXPECT_EQ(tree.client.GetInitialMargin(), 200.0);
}

// Levels under Netting have books of their own, which stand by their own parameters.
TEST(ClientParametersTest, NettingLevelsKeepTheOrdersAsTheyAre)
{
    Tree tree(Netting, Netting, Parameters(false, 0, 0.0));
    ASSERT_EQ(Buy(tree.client, FUT, 750.0, 1), 0U);
    tree.client.SetRiskParameters(Parameters(true, 0, 0.0));
    EXPECT_EQ(tree.client.GetInitialMargin(), 100.0);
    EXPECT_EQ(tree.firm.GetInitialMargin(), 50.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 50.0);
}

TEST(ClientParametersTest, ARefreshWithoutAChangeMovesNothing)
{
    AtEveryPairOfRules([&](MarginRule firmRule, MarginRule accountRule) {
        Tree refreshed(firmRule, accountRule, Parameters(false, 1, 0.5));
        Tree fresh(firmRule, accountRule, Parameters(false, 1, 0.5));
        refreshed.Trade();
        fresh.Trade();
        EXPECT_EQ(margin_orchestrator::RefreshClientPortfolio(refreshed.client), 0U);
        ExpectSameMargins(refreshed, fresh);
        EXPECT_EQ(margin_orchestrator::RefreshClientPortfolio(refreshed.client), 0U);
        ExpectSameMargins(refreshed, fresh);
    });
}

// The pricing model of a contract has become one that nobody knows: an option that has to be valued anew cannot be.
TEST(ClientParametersTest, ABookThatCannotBeTakenAnewLeavesTheClientAsItWas)
{
    Tree tree(HalfNetting, HalfNetting, Parameters(false, 0, 0.0));
    ASSERT_EQ(SetPositionClient(tree.client, Call825, 1, 10.0, 0), 0U);
    ASSERT_EQ(SetPositionClient(tree.client, FUT, 1, 750.0, 0), 0U);
    auto& option = const_cast<kv7im::CSpecOption&>(tree.Option(Call825));
    Enums::OptionModel& model = tree.SeriesOf(Call825).Futures->BaseContract->optionModel;
    const Enums::OptionModel known = model;
    option.RecalcInvariants();
    model = static_cast<Enums::OptionModel>(77);

    LogCapture log;
    ClientRiskParameters parameters = Parameters(true, 1, 1.0, 2.0);
    parameters.autoUpdateLimit = true;
    const Failure failure = FailureOf([&] { tree.client.SetRiskParameters(parameters); });
    EXPECT_EQ(failure.code, Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    EXPECT_THAT(log.Take(), ElementsAre(AllOf(HasSubstr("ERROR"), HasSubstr("[QuindalIM] SetRiskParameters: Error ("),
                                              HasSubstr(") occurred during risks recalculation."))));
    EXPECT_NEAR(tree.client.GetInitialMargin(), 60.0, 1e-9); // 10 and 50
    EXPECT_NEAR(tree.account->GetInitialMargin(), 60.0, 1e-9);
    const ClientRiskParameters now = tree.client.GetRiskParameters();
    EXPECT_FALSE(now.noFutDiscount);
    EXPECT_EQ(now.nClr2Delivery, 0);
    EXPECT_TRUE(now.expWeight.IsZero());
    EXPECT_EQ(now.clgoRatio, t_bprice_int(1)); // the later steps were not come to
    EXPECT_FALSE(now.autoUpdateLimit);

    model = known; // and it works again
    tree.client.SetRiskParameters(parameters);
    EXPECT_NEAR(tree.client.GetInitialMargin(), 270.0, 1e-9); // (35 + 100) x 2
    EXPECT_NEAR(tree.account->GetInitialMargin(), 135.0, 1e-9);
    EXPECT_TRUE(tree.client.GetRiskParameters().autoUpdateLimit);
}

} // namespace
} // namespace test::ClientParametersTest
