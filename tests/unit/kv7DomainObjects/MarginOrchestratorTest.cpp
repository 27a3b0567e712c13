// One position change and the levels above it, rule by rule.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "MarginOrchestrator.h"

namespace test::MarginOrchestratorTest {
namespace {

using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using margin_orchestrator::SetPositionBroker;
using margin_orchestrator::SetPositionByRecordType;
using margin_orchestrator::SetPositionClient;
using margin_orchestrator::SetPositionSettlementAccount;
using testing::HasSubstr;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

/// A firm with two clients under an account.
struct Hierarchy : AccountTree
{
    Hierarchy(MarginRule firmRule, MarginRule accountRule)
        : account(AddAccount("ID1", accountRule)),
          firm(AddFirm("AA01", firmRule, account)),
          buyer(AddClient(firm, "AA01001")),
          seller(AddClient(firm, "AA01002"))
    {}

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& buyer;
    BraskClient& seller;
};

std::int64_t BlockedCents(const ParticipantBase& participant) { return participant.GetMeans().BlockedMoney.AsPlain(); }

struct RuleCase
{
    MarginRule firmRule;
    MarginRule accountRule;
    // GO of firm and account after: a client buys 1 at 800 and another sells 2 at 800; the firm's own record of -1 at
    // 800; the account's own record of 3 at 800.
    double firmAfterClients, accountAfterClients;
    double firmAfterOwn, accountAfterFirms;
    double accountAfterOwn;
    const char* why;
};

// Clients: +1 at 800 gives -100, 0, 100 over the three prices, -2 at 800 gives 200, 0, -200. Losses alone add up to
// -100, 0, -200, a margin of 200 at whatever level takes them.
const RuleCase ruleCases[] = {
    {Netting, Netting, 0, 0, 100, 0, 300, "each level lives by its own records"},
    {Netting, HalfNetting, 0, 200, 100, 200, 200, "the account takes the clients' losses past the firm"},
    {Netting, Gross, 0, 0, 100, 100, 100, "the account sums the firm's GO, which only its own record moves"},
    {HalfNetting, Netting, 200, 0, 200, 0, 300, "the firm takes its clients' losses and ignores its own record"},
    {HalfNetting, HalfNetting, 200, 200, 200, 200, 200, "both take the losses"},
    {HalfNetting, Gross, 200, 200, 200, 200, 200, "the account grows with the firm"},
    {Gross, Netting, 0, 0, 0, 0, 300, "nobody asks for the losses: the firm stays at 0"},
    {Gross, HalfNetting, 200, 200, 200, 200, 200, "the account asks for the losses, and the firm takes them too"},
    {Gross, Gross, 0, 0, 0, 0, 0, "nobody asks for the losses: both stay at 0"},
};

TEST(MarginOrchestratorTest, EveryPairOfRulesMovesItsLevels)
{
    for (const RuleCase& c : ruleCases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);

        EXPECT_EQ(SetPositionClient(h.buyer, FUT, 1, 800.0, 0), 0U);
        EXPECT_EQ(SetPositionClient(h.seller, FUT, -2, 800.0, 0), 0U);
        EXPECT_EQ(h.buyer.GetInitialMargin(), 100.0);
        EXPECT_EQ(h.seller.GetInitialMargin(), 200.0);
        EXPECT_EQ(h.firm.GetInitialMargin(), c.firmAfterClients);
        EXPECT_EQ(h.account->GetInitialMargin(), c.accountAfterClients);

        EXPECT_EQ(SetPositionBroker(h.firm, FUT, -1, 800.0, 0), 0U);
        EXPECT_EQ(h.firm.GetInitialMargin(), c.firmAfterOwn);
        EXPECT_EQ(h.account->GetInitialMargin(), c.accountAfterFirms);

        EXPECT_EQ(SetPositionSettlementAccount(*h.account, FUT, 3, 800.0, 0), 0U);
        EXPECT_EQ(h.account->GetInitialMargin(), c.accountAfterOwn);

        // The money block of each level has followed.
        EXPECT_EQ(BlockedCents(h.buyer), 10000);
        EXPECT_EQ(BlockedCents(h.seller), 20000);
        EXPECT_EQ(BlockedCents(h.firm), static_cast<std::int64_t>(c.firmAfterOwn) * 100);
        EXPECT_EQ(BlockedCents(*h.account), static_cast<std::int64_t>(c.accountAfterOwn) * 100);
    }
}

TEST(MarginOrchestratorTest, PositionsThatAreClosedLeaveNothingBehindAtAnyLevel)
{
    for (const RuleCase& c : ruleCases) {
        SCOPED_TRACE(c.why);
        Hierarchy h(c.firmRule, c.accountRule);
        for (const std::int64_t quantity : {3, 0}) {
            ASSERT_EQ(SetPositionClient(h.buyer, FUT, quantity, 790.0, 0), 0U);
            ASSERT_EQ(SetPositionClient(h.seller, FUT, -2 * quantity, 810.0, 0), 0U);
            ASSERT_EQ(SetPositionBroker(h.firm, FUT, quantity, 800.0, 0), 0U);
            ASSERT_EQ(SetPositionSettlementAccount(*h.account, FUT, quantity, 800.0, 0), 0U);
        }
        EXPECT_EQ(h.buyer.GetInitialMargin(), 0.0);
        EXPECT_EQ(h.seller.GetInitialMargin(), 0.0);
        EXPECT_EQ(h.firm.GetInitialMargin(), 0.0);
        EXPECT_EQ(h.account->GetInitialMargin(), 0.0);
        EXPECT_EQ(BlockedCents(*h.account), 0);
    }
}

TEST(MarginOrchestratorTest, NettingLevelsDoNotMoveWithTheClientAndMoveWithTheirOwnRecord)
{
    Hierarchy h(Netting, Netting);
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 5, 800.0, 0), 0U);
    EXPECT_TRUE(h.firm.GetPortfolio().Empty());
    EXPECT_TRUE(h.account->GetPortfolio().Empty());
    ASSERT_EQ(SetPositionBroker(h.firm, FUT, 4, 790.0, 0), 0U);
    EXPECT_EQ(h.firm.GetInitialMargin(), 360.0); // 4 x (790 - 700)
    EXPECT_TRUE(h.account->GetPortfolio().Empty());
    EXPECT_EQ(h.buyer.GetInitialMargin(), 500.0);
}

TEST(MarginOrchestratorTest, RecordsOfLevelsThatAreNotNettingCreateNoPosition)
{
    Hierarchy h(HalfNetting, Gross);
    EXPECT_EQ(SetPositionBroker(h.firm, UnknownIsin, 1, 800.0, 0), 0U); // not even looked up
    EXPECT_EQ(SetPositionSettlementAccount(*h.account, UnknownIsin, 1, 800.0, 0), 0U);
    EXPECT_TRUE(h.firm.GetPortfolio().Empty());
    EXPECT_TRUE(h.account->GetPortfolio().Empty());
}

TEST(MarginOrchestratorTest, TheGrossSumGrowsByTheFirmsGoAsItIsChargedOnBothSides)
{
    Hierarchy h(HalfNetting, Gross);
    h.firm.SetGORatio(t_bprice_int(0.33333));
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 1, 800.0, 0), 0U);
    // 100 x 0.33333 = 33.333, up to cents.
    EXPECT_EQ(h.firm.GetInitialMargin(), 33.34);
    EXPECT_EQ(h.account->GetPortfolio().GetGrossInitialMargin(), 33.34);
    // The account charges its sum by the same rounding once more. The double next to 33.34 is 33.34 + 3.4e-15; a
    // hundred times that is 3334 + 3.4e-13, more than half of the spacing of doubles there (4.5e-13), and the ceiling
    // is 3335.
    EXPECT_EQ(h.account->GetInitialMargin(), 33.35);

    ASSERT_EQ(SetPositionClient(h.seller, FUT, -2, 800.0, 0), 0U);
    // 200 x 0.33333 = 66.666, up to cents; the sum takes the difference of the two charges, not of the raw figures.
    EXPECT_EQ(h.firm.GetInitialMargin(), 66.67);
    EXPECT_EQ(h.account->GetPortfolio().GetGrossInitialMargin(), 33.34 + (66.67 - 33.34));
}

TEST(MarginOrchestratorTest, TheFirmsOwnRecordReachesTheGrossSumOnceMore)
{
    Hierarchy h(Netting, Gross);
    ASSERT_EQ(SetPositionBroker(h.firm, FUT, 2, 800.0, 0), 0U);
    EXPECT_EQ(h.account->GetInitialMargin(), 200.0);
    ASSERT_EQ(SetPositionBroker(h.firm, FUT, -1, 800.0, 0), 0U);
    EXPECT_EQ(h.account->GetInitialMargin(), 100.0); // down as well as up
}

TEST(MarginOrchestratorTest, TwoFirmsAddUpUnderGrossAndNetTheirLossesUnderHalfNetting)
{
    for (const MarginRule rule : {Gross, HalfNetting}) {
        Hierarchy h(HalfNetting, rule);
        BraskBroker& secondFirm = h.AddFirm("AA02", HalfNetting, h.account);
        BraskClient& client = h.AddClient(secondFirm, "AA02001");
        ASSERT_EQ(SetPositionClient(h.buyer, FUT, 1, 800.0, 0), 0U);
        ASSERT_EQ(SetPositionClient(client, FUT, -2, 800.0, 0), 0U);
        EXPECT_EQ(h.firm.GetInitialMargin(), 100.0);
        EXPECT_EQ(secondFirm.GetInitialMargin(), 200.0);
        // Losses of -100 at 700 and -200 at 900 do not meet in one price.
        EXPECT_EQ(h.account->GetInitialMargin(), rule == Gross ? 300.0 : 200.0);
    }
}

TEST(MarginOrchestratorTest, ProfitsOfAClientNeverHelpAnother)
{
    Hierarchy h(HalfNetting, HalfNetting);
    // Bought at 600 the result is 100, 200, 300: a profit everywhere.
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 1, 600.0, 0), 0U);
    EXPECT_EQ(h.buyer.GetInitialMargin(), 0.0);
    EXPECT_EQ(h.firm.GetInitialMargin(), 0.0);
    // Sold at 800: 100, 0, -100.
    ASSERT_EQ(SetPositionClient(h.seller, FUT, -1, 800.0, 0), 0U);
    EXPECT_EQ(h.firm.GetInitialMargin(), 100.0);
    EXPECT_EQ(h.account->GetInitialMargin(), 100.0);
}

TEST(MarginOrchestratorTest, AFirmUnderGrossWithoutAnAskingAccountKeepsNoDeltas)
{
    Hierarchy h(Gross, Gross);
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(h.buyer.GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr); // not even computed
    EXPECT_EQ(h.firm.GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);

    Hierarchy asking(Netting, HalfNetting);
    ASSERT_EQ(SetPositionClient(asking.buyer, FUT, 1, 800.0, 0), 0U);
    EXPECT_NE(asking.buyer.GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);
    EXPECT_EQ(asking.firm.GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);
    EXPECT_NE(asking.account->GetPortfolio().GetHalfNettingRisksByCode("FUT"), nullptr);
}

TEST(MarginOrchestratorTest, AnUnknownInstrumentGivesItsCodeAndTheSequenceGoesOn)
{
    Hierarchy h(HalfNetting, HalfNetting);
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 1, 800.0, 0), 0U);
    for (ParticipantBase* participant :
         {static_cast<ParticipantBase*>(&h.buyer), static_cast<ParticipantBase*>(&h.firm),
          static_cast<ParticipantBase*>(h.account.get())})
        participant->GetMeansForUpdate().m_fee = t_bround_int::FromPlain(25);

    EXPECT_EQ(SetPositionClient(h.buyer, UnknownIsin, 1, 800.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(h.buyer.GetInitialMargin(), 100.0);
    EXPECT_EQ(h.firm.GetInitialMargin(), 100.0);
    EXPECT_EQ(h.account->GetInitialMargin(), 100.0);
    // The means of all three levels were renewed: 10000 of margin and 25 of fee are blocked.
    EXPECT_EQ(h.buyer.GetMeans().FreeMoney.AsPlain(), -10025);
    EXPECT_EQ(h.firm.GetMeans().FreeMoney.AsPlain(), -10025);
    EXPECT_EQ(h.account->GetMeans().FreeMoney.AsPlain(), -10025);
}

TEST(MarginOrchestratorTest, AnUnknownInstrumentInANettingLevelsOwnRecordGivesItsCode)
{
    Hierarchy h(Netting, Netting);
    EXPECT_EQ(SetPositionBroker(h.firm, UnknownIsin, 1, 800.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(SetPositionSettlementAccount(*h.account, UnknownIsin, 1, 800.0, 0), Z9ERR_INSTRUMENT_ABSENT);
}

TEST(MarginOrchestratorTest, AClientsSideBookFollowsWhenItCounts)
{
    Hierarchy h(Netting, Netting);
    h.firm.SetNotUseNOVClientDefault(true);
    ASSERT_EQ(SetPositionClient(h.buyer, FUT, 2, 800.0, 0), 0U);
    EXPECT_EQ(h.buyer.GetPortfolioWithoutEquityOptions().GetVolatilityInitialMargin(), 200.0);
    EXPECT_EQ(h.buyer.GetInitialMargin(), 200.0);
    EXPECT_EQ(BlockedCents(h.buyer), 20000); // after the side book, so that the means see it
}

TEST(MarginOrchestratorTest, AnAccountUnderHalfNettingIgnoresThePositionOfANettingFirm)
{
    Hierarchy h(Netting, HalfNetting);
    ASSERT_EQ(SetPositionBroker(h.firm, FUT, 7, 800.0, 0), 0U);
    EXPECT_EQ(h.firm.GetInitialMargin(), 700.0);
    EXPECT_EQ(h.account->GetInitialMargin(), 0.0);
}

TEST(MarginOrchestratorTest, FirmsWithoutAnAccountSumUpInTheStandIn)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", HalfNetting, GetDummySettlementAccount());
    BraskClient& client = tree.AddClient(firm, "AA01001");
    const double before = GetDummySettlementAccount()->GetPortfolio().GetGrossInitialMargin();
    ASSERT_EQ(SetPositionClient(client, FUT, 4, 800.0, 0), 0U);
    EXPECT_EQ(firm.GetInitialMargin(), 400.0);
    EXPECT_EQ(GetDummySettlementAccount()->GetPortfolio().GetGrossInitialMargin() - before, 400.0);
    ASSERT_EQ(SetPositionClient(client, FUT, 0, 800.0, 0), 0U); // leaves the process as it was
    EXPECT_EQ(GetDummySettlementAccount()->GetPortfolio().GetGrossInitialMargin(), before);
}

TEST(MarginOrchestratorTest, TheRecordTypeSaysWhoseRecordItIs)
{
    Hierarchy h(Netting, Netting);
    ASSERT_EQ(SetPositionByRecordType("AA01001", AccountHierarchyRecordType::Client, FUT, 1, 800.0, 0, h.repository),
              0U);
    ASSERT_EQ(SetPositionByRecordType("AA01", AccountHierarchyRecordType::Broker, FUT, 2, 800.0, 0, h.repository), 0U);
    ASSERT_EQ(
        SetPositionByRecordType("ID1", AccountHierarchyRecordType::SettlementAccount, FUT, 3, 800.0, 0, h.repository),
        0U);
    EXPECT_EQ(h.buyer.GetInitialMargin(), 100.0);
    EXPECT_EQ(h.firm.GetInitialMargin(), 200.0);
    EXPECT_EQ(h.account->GetInitialMargin(), 300.0);
}

TEST(MarginOrchestratorTest, AnyOtherRecordTypeIsTakenForASettlementAccount)
{
    for (const int type : {3, -1, 127}) {
        Hierarchy h(Netting, Netting);
        EXPECT_EQ(SetPositionByRecordType("ID1", static_cast<AccountHierarchyRecordType>(type), FUT, 3, 800.0, 0,
                                          h.repository),
                  0U);
        EXPECT_EQ(h.account->GetInitialMargin(), 300.0);
    }
}

TEST(MarginOrchestratorTest, ACodeThatNamesNobodyIsRefusedAndChangesNothing)
{
    Hierarchy h(HalfNetting, HalfNetting);
    const auto failureOf = [&](const char* code, AccountHierarchyRecordType type) {
        return FailureOf(
            [&] { static_cast<void>(SetPositionByRecordType(code, type, FUT, 1, 800.0, 0, h.repository)); });
    };
    EXPECT_EQ(failureOf("BB01", AccountHierarchyRecordType::Broker).code, Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(failureOf("BB01001", AccountHierarchyRecordType::Client).code, Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(failureOf("AA01009", AccountHierarchyRecordType::Client).code, Z9ERR_CHECK_CLIENT_NOT_FOUND);
    EXPECT_EQ(failureOf("ID9", AccountHierarchyRecordType::SettlementAccount).code,
              Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
    // A code of no allowed length is no code at all.
    EXPECT_EQ(failureOf("AA0", AccountHierarchyRecordType::Broker).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(failureOf("AA0100", AccountHierarchyRecordType::Client).code, Z9ERR_COMMON_WRONG_ARGUMENTS);

    EXPECT_EQ(h.firm.GetInitialMargin(), 0.0);
    EXPECT_EQ(h.account->GetInitialMargin(), 0.0);
    EXPECT_TRUE(h.buyer.GetPortfolio().Empty());
}

} // namespace
} // namespace test::MarginOrchestratorTest
