// The money of a level: the reserve for closed variation margin, what a level would have blocked, and its writing.
#include "replica/MoneyOrchestrator.h"

#include <gtest/gtest.h>

#include "AccountTree.h"
#include "MoneyChecks.h"

namespace test::MoneyOrchestratorTest {
namespace {

using Enums::MarginRule;
using money_orchestrator::CalculateVMReserve;
using money_orchestrator::CCalculatedMoney;
using money_orchestrator::GetVMReserve;

constexpr std::int32_t Dollar = 7;  // radius 0.1
constexpr std::int32_t Euro = 8;    // radius 0.25
constexpr std::int32_t Unknown = 9; // without a radius

struct MoneyOrchestratorTest : testing::Test
{
    MoneyOrchestratorTest()
    {
        AccountTree::Check(tree.instruments.InsertCurrency(Dollar, 0.1));
        AccountTree::Check(tree.instruments.InsertCurrency(Euro, 0.25));
    }

    /// A firm with a client, below an account.
    void Register(MarginRule firmRule, MarginRule accountRule)
    {
        account = tree.AddAccount("ID1", accountRule);
        firm = &tree.AddFirm("AA01", firmRule, account);
        client = &tree.AddClient(*firm, "AA01001");
    }

    /// Reserve of the client for this closed VM, plain units of 0.00001.
    std::int64_t ReserveOf(std::int64_t total, const std::map<std::int32_t, std::int64_t>& byCurrency = {})
    {
        CPositionCalculator& accounting = client->GetPositionCalculator();
        accounting.VM = Sum(total);
        accounting.VMCurr.clear();
        for (const auto& [currency, amount] : byCurrency)
            accounting.VMCurr[currency] = Sum(amount);
        return GetVMReserve(*client).AsPlain();
    }

    AccountTree tree;
    BraskSettlementAccountPtr account;
    BraskBroker* firm = nullptr;
    BraskClient* client = nullptr;
};

TEST_F(MoneyOrchestratorTest, TheReserveIsTheClosedLossBroughtUpToCents)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    EXPECT_EQ(ReserveOf(0), 0);
    EXPECT_EQ(ReserveOf(-1'234'000), 1234); // a loss of 12.34
    EXPECT_EQ(ReserveOf(-1'234'001), 1235); // floor of -12.34001 is -12.35
    EXPECT_EQ(ReserveOf(-1), 1);            // floor of -0.00001 is -0.01
    EXPECT_EQ(ReserveOf(1'234'567), -1234); // a gain of 12.34567 frees 12.34
    EXPECT_EQ(ReserveOf(999), 0);           // 0.00999 frees nothing
}

TEST_F(MoneyOrchestratorTest, WhatIsKeptInACurrencyLosesItsRadiusGainOrLoss)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    EXPECT_EQ(ReserveOf(-8'000'000, {{Dollar, -5'000'000}}), 8500); // -80 - 50 x 0.1 = -85
    EXPECT_EQ(ReserveOf(8'000'000, {{Dollar, 5'000'000}}), -7500);  // 80 - 5 = 75 is what may be counted on
    // A gain in one and a loss in the other do not help each other: 0 - 50 x 0.1 - 50 x 0.25 = -17.50.
    EXPECT_EQ(ReserveOf(0, {{Dollar, 5'000'000}, {Euro, -5'000'000}}), 1750);
    EXPECT_EQ(ReserveOf(-8'000'000, {{Unknown, -5'000'000}}), 8000); // no radius, no loss
}

TEST_F(MoneyOrchestratorTest, TheRadiusIsTakenOfTheAmountInWholesAndRoundedToFiveDecimals)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    // 0.00007 x 0.25 = 0.0000175, that is 0.00002: 0.01001 - 0.00002 = 0.00999 frees nothing. Cut off to 0.00001 it
    // would free a cent, unrounded too.
    EXPECT_EQ(ReserveOf(1001, {{Euro, 7}}), 0);
    // 0.00005 x 0.25 = 0.0000125 is 0.00001: 0.01 is left.
    EXPECT_EQ(ReserveOf(1001, {{Euro, 5}}), -1);
    EXPECT_EQ(ReserveOf(1001, {{Euro, -7}}), 0); // the same of a loss
}

TEST_F(MoneyOrchestratorTest, AnAccountUnderNettingReservesForItsOwnVariationMargin)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    account->GetPositionCalculator().VM = Sum(-250'000);
    account->GetMeansForUpdate().VMReserve = Cents(9999);
    EXPECT_EQ(CalculateVMReserve(*account, Cents(777)), Cents(250)); // neither the old reserve nor the firm's counts
}

TEST_F(MoneyOrchestratorTest, AnAccountUnderAnotherRuleSumsTheReservesOfItsFirms)
{
    int number = 0;
    for (const MarginRule rule : {MarginRule::Gross, MarginRule::HalfNetting}) {
        const auto sums = tree.AddAccount("ID" + std::to_string(++number), rule);
        sums->GetPositionCalculator().VM = Sum(-250'000); // not looked at
        sums->GetMeansForUpdate().VMReserve = Cents(500);
        EXPECT_EQ(CalculateVMReserve(*sums, Cents(125)), Cents(625));
        EXPECT_EQ(CalculateVMReserve(*sums, Cents(-800)), Cents(-300));
    }
}

TEST_F(MoneyOrchestratorTest, AnAccountWithoutARuleReservesNothing)
{
    const BraskSettlementAccount lost(AccountRecord("ID9"), static_cast<MarginRule>(1), false, nullptr,
                                      tree.instruments, tree.positionInstruments);
    EXPECT_EQ(CalculateVMReserve(lost, Cents(125)), Cents(0));
}

TEST_F(MoneyOrchestratorTest, AFirmsVariationMarginRenewsItsReserveAndWhatIsLeft)
{
    Register(MarginRule::HalfNetting, MarginRule::Gross);
    Domain::Means& means = firm->GetMeansForUpdate();
    means.m_amountMoney = Cents(100'000);
    means.m_amountMoneyPledge = Cents(30'000);
    means.BlockedMoney = Cents(10'000);
    means.m_fee = Cents(11);

    money_orchestrator::ChangeVMCloseTotalByDelta(*firm, Sum(-1'000'100)); // -10.001
    EXPECT_EQ(firm->GetVMCloseTotal(), Sum(-1'000'100));
    EXPECT_TRUE(firm->GetVMCloseByCurrencies().empty());
    ExpectMoney(means, {.reserve = 1001, .blockedNonIM = 1012, .free = 88'988, .forWithdrawal = 70'000});

    money_orchestrator::ChangeVMCloseByCurrencyByDelta(*firm, Dollar, Sum(-1'000'100)); // 1.0001 by its radius
    EXPECT_EQ(firm->GetVMCloseTotal(), Sum(-1'000'100));
    EXPECT_EQ(firm->GetVMCloseByCurrencies().at(Dollar), Sum(-1'000'100));
    // floor of -11.0011 is -11.01
    ExpectMoney(means, {.reserve = 1101, .blockedNonIM = 1112, .free = 88'888, .forWithdrawal = 70'000});

    money_orchestrator::ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(*firm, Dollar, Sum(1'000'100));
    EXPECT_EQ(firm->GetVMCloseTotal(), Sum(0));
    EXPECT_EQ(firm->GetVMCloseByCurrencies().at(Dollar), Sum(0));
    ExpectMoney(means, {.reserve = 0, .blockedNonIM = 11, .free = 89'989, .forWithdrawal = 70'000});
    EXPECT_EQ(account->GetVMCloseTotal(), Sum(0)); // one level each
}

TEST_F(MoneyOrchestratorTest, AnAccountsVariationMarginTakesTheReserveByItsRule)
{
    Register(MarginRule::HalfNetting, MarginRule::Gross);
    const auto netting = tree.AddAccount("ID2", MarginRule::Netting);
    for (BraskSettlementAccount* level : {account.get(), netting.get()}) {
        const bool sums = level == account.get();
        level->GetMeansForUpdate().m_amountMoney = Cents(50'000);

        money_orchestrator::ChangeVMCloseTotalByDelta(*level, Sum(-200'000), Cents(210));
        EXPECT_EQ(level->GetVMCloseTotal(), Sum(-200'000));
        std::int64_t reserve = sums ? 210 : 200; // what the firm said, or the account's own loss of 2.00
        ExpectMoney(level->GetMeans(),
                    {.reserve = reserve, .blockedNonIM = reserve, .free = 50'000 - reserve, .forWithdrawal = 50'000});

        money_orchestrator::ChangeVMCloseByCurrencyByDelta(*level, Dollar, Sum(-200'000), Cents(-5));
        EXPECT_EQ(level->GetVMCloseByCurrencies().at(Dollar), Sum(-200'000));
        reserve = sums ? 205 : 220; // 210 - 5, or 2.00 and a tenth of 2.00
        ExpectMoney(level->GetMeans(),
                    {.reserve = reserve, .blockedNonIM = reserve, .free = 50'000 - reserve, .forWithdrawal = 50'000});

        money_orchestrator::ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(*level, Dollar, Sum(500'000), Cents(-100));
        EXPECT_EQ(level->GetVMCloseTotal(), Sum(300'000));
        EXPECT_EQ(level->GetVMCloseByCurrencies().at(Dollar), Sum(300'000));
        reserve = sums ? 105 : -270; // a gain of 3.00 less a tenth of 3.00
        ExpectMoney(level->GetMeans(),
                    {.reserve = reserve, .blockedNonIM = reserve, .free = 50'000 - reserve, .forWithdrawal = 50'000});
    }
}

TEST_F(MoneyOrchestratorTest, ALevelsMoneyIsWrittenWithTheSumsThatFollow)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    Domain::Means& means = account->GetMeansForUpdate();
    means.m_amountMoney = Cents(100'000);
    means.m_amountMoneyPledge = Cents(40'000);
    means.m_Penalty = Cents(1);
    CCalculatedMoney money;
    money.PossibleBlockedGO = 0.125; // 12.5 cents: 13
    money.VMReserve = Cents(-300);
    money.Fee = Cents(45);
    money.m_premiumBlocked = t_bprice_int::FromPlain(100'500); // 1.005: 1.01
    money.m_deltaAmountMoneyPledge = Cents(5'000);

    money_orchestrator::UpdateMoney(*account, money, false);
    EXPECT_EQ(means.BlockedMoney, Cents(13));
    EXPECT_EQ(means.m_fee, Cents(45));
    EXPECT_EQ(means.m_premiumBlocked, Cents(101));
    EXPECT_EQ(means.m_amountMoney, Cents(100'000));
    EXPECT_EQ(means.m_amountMoneyPledge, Cents(40'000));
    // 45 - 300 + 1 + 101 = -153; 100000 - 13 + 153
    ExpectMoney(means, {.reserve = -300, .blockedNonIM = -153, .free = 100'140, .forWithdrawal = 60'000});

    money_orchestrator::UpdateMoney(*account, money, true); // pledged money: as much more of both
    EXPECT_EQ(means.m_amountMoney, Cents(105'000));
    EXPECT_EQ(means.m_amountMoneyPledge, Cents(45'000));
    ExpectMoney(means, {.reserve = -300, .blockedNonIM = -153, .free = 105'140, .forWithdrawal = 60'000});
}

TEST_F(MoneyOrchestratorTest, AWrittenPremiumIsRoundedWithHalvesAwayFromZero)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    const std::pair<std::int64_t, std::int64_t> cases[] = {
        {100'499, 100}, {100'500, 101}, {-100'499, -100}, {-100'500, -101}, {0, 0}};
    for (const auto& [plain, cents] : cases) {
        CCalculatedMoney money;
        money.m_premiumBlocked = t_bprice_int::FromPlain(plain);
        money_orchestrator::UpdateMoney(*firm, money, false);
        EXPECT_EQ(firm->GetMeans().m_premiumBlocked, Cents(cents)) << plain;
    }
}

TEST_F(MoneyOrchestratorTest, AClientsUpdateWritesThreeLevelsAndTheAccountsMoneyMovesWithTheFirms)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    CCalculatedMoney ofClient, ofFirm, ofAccount;
    ofClient.PossibleBlockedGO = 1.0;
    ofFirm.PossibleBlockedGO = 2.0;
    ofAccount.PossibleBlockedGO = 3.0;
    ofClient.m_deltaAmountMoneyPledge = Cents(10);
    ofFirm.m_deltaAmountMoneyPledge = Cents(200);
    ofAccount.m_deltaAmountMoneyPledge = Cents(3000);
    std::int64_t clientMoney = 0, firmMoney = 0, accountMoney = 0;
    for (const bool changeClientLimit : {false, true})
        for (const bool changeBrokerLimit : {false, true}) {
            money_orchestrator::UpdateMoney(*client, ofClient, ofFirm, ofAccount, changeClientLimit, changeBrokerLimit);
            clientMoney += changeClientLimit ? 10 : 0;
            firmMoney += changeBrokerLimit ? 200 : 0;
            accountMoney += changeBrokerLimit ? 3000 : 0;
            EXPECT_EQ(client->GetMeans().BlockedMoney, Cents(100));
            EXPECT_EQ(firm->GetMeans().BlockedMoney, Cents(200));
            EXPECT_EQ(account->GetMeans().BlockedMoney, Cents(300));
            EXPECT_EQ(client->GetMeans().m_amountMoney, Cents(clientMoney));
            EXPECT_EQ(firm->GetMeans().m_amountMoney, Cents(firmMoney));
            EXPECT_EQ(account->GetMeans().m_amountMoney, Cents(accountMoney));
            EXPECT_EQ(client->GetMeans().m_amountMoneyPledge, Cents(clientMoney));
            EXPECT_EQ(client->GetMeans().FreeMoney, Cents(clientMoney - 100));
            EXPECT_EQ(firm->GetMeans().FreeMoney, Cents(firmMoney - 200));
            EXPECT_EQ(account->GetMeans().FreeMoney, Cents(accountMoney - 300));
        }
}

TEST_F(MoneyOrchestratorTest, TheSimpleMoneyReadsBookAccountingAndFee)
{
    Register(MarginRule::Netting, MarginRule::Netting);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(*client, FUT, 3, 800.0, 0), Z9ERR_OK); // 3 x 100
    client->GetMeansForUpdate().m_fee = Cents(77);
    client->GetPositionCalculator().VM = Sum(-150'001);
    client->GetPositionCalculator().VMCurr[Dollar] = Sum(-100'000);
    // 12.34567 of premium: the client's own figure is cut off to 12.34.
    client->GetPremiumReservesCalculator().UpdateOrderReserve(FUT, t_bprice_int(12.34567), 1, 1.0, 0.0);

    CCalculatedMoney money;
    money.m_deltaAmountMoneyPledge = Cents(5);
    money_orchestrator::CalculateParticipantMoneySimple(money, *client);
    EXPECT_EQ(money.PossibleBlockedGO, 300.0);
    EXPECT_EQ(money.Fee, Cents(77));
    EXPECT_EQ(money.m_vmCloseTotal, Sum(-150'001));
    EXPECT_EQ(money.m_vmCloseByCurrencies, (VMCloseByCurrencies{{Dollar, Sum(-100'000)}}));
    EXPECT_EQ(money.VMReserve, Cents(161)); // floor of -1.50001 - 0.1 is -1.61
    EXPECT_EQ(money.m_premiumBlocked, t_bprice_int::FromPlain(1'234'000));
    EXPECT_EQ(money.m_deltaAmountMoneyPledge, Cents(5)); // the caller's
}

TEST_F(MoneyOrchestratorTest, TheMoneyOfThreeLevelsFollowsTheirBooksAndIsTheSameTheSecondTime)
{
    Register(MarginRule::HalfNetting, MarginRule::Gross);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(*client, FUT, -2, 800.0, 0), Z9ERR_OK); // 200 at every level
    client->GetPositionCalculator().VM = Sum(-100'000);
    firm->GetPositionCalculator().VM = Sum(-300'000); // other clients' as well
    account->GetPositionCalculator().VM = Sum(-300'000);
    firm->GetMeansForUpdate().VMReserve = Cents(220);     // as it was before the last trades
    account->GetMeansForUpdate().VMReserve = Cents(1000); // of all firms
    account->GetMeansForUpdate().m_fee = Cents(3);

    for (int round = 1; round <= 2; ++round) {
        CCalculatedMoney ofClient, ofFirm, ofAccount;
        money_orchestrator::CalculateMoney(*client, ofClient, ofFirm, ofAccount);
        EXPECT_EQ(ofClient.PossibleBlockedGO, 200.0);
        EXPECT_EQ(ofFirm.PossibleBlockedGO, 200.0);
        EXPECT_EQ(ofAccount.PossibleBlockedGO, 200.0);
        EXPECT_EQ(ofClient.VMReserve, Cents(100));
        EXPECT_EQ(ofFirm.VMReserve, Cents(300));
        EXPECT_EQ(ofAccount.VMReserve, Cents(1080)); // the firm's rose by 0.80
        EXPECT_EQ(ofAccount.Fee, Cents(3));
        money_orchestrator::UpdateMoney(*client, ofClient, ofFirm, ofAccount, false, false);
        EXPECT_EQ(account->GetMeans().FreeMoney, Cents(-20'000 - 1080 - 3));
    }
}

} // namespace
} // namespace test::MoneyOrchestratorTest
