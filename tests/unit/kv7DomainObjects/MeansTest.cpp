// The money block: what is blocked, what is left, what may be withdrawn.
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "MarginOrchestrator.h"
#include "Means.h"

namespace test::MeansTest {
namespace {

t_bround_int Cents(std::int64_t cents) { return t_bround_int::FromPlain(cents); }

Domain::Means SampleMeans()
{
    Domain::Means means;
    means.VMReserve = Cents(200);
    means.NetOptionValue = Cents(3000);
    means.m_amountMoney = Cents(100000);
    means.m_amountMoneyPledge = Cents(40000);
    means.m_fee = Cents(10);
    means.m_BrokerFee = Cents(20);
    means.m_Penalty = Cents(30);
    means.m_BlockedTax = Cents(40);
    means.m_MTM = Cents(7777);
    means.m_premiumBlocked = Cents(50);
    return means;
}

TEST(MeansTest, TheThreeSumsFollowFromTheInputs)
{
    Domain::Means means = SampleMeans();
    means.BlockedMoney = Cents(1234);
    means.Recalculate();
    // 10 + 200 + 20 + 30 + 40 - 3000 + 50: an option value larger than the blocks turns them into a credit.
    EXPECT_EQ(means.BlockedMoneyNonIM, Cents(-2650));
    EXPECT_EQ(means.MoneyAllowedForWithdrawal, Cents(60000)); // 100000 - 40000
    EXPECT_EQ(means.FreeMoney, Cents(101416));                // 100000 - 1234 + 2650
    EXPECT_EQ(means.m_MTM, Cents(7777));
}

// A hundred in one field and nothing anywhere else.
TEST(MeansTest, EachInputCountsWithItsSign)
{
    using Domain::Means;
    struct Case
    {
        const char* name;
        t_bround_int Means::*field;
        std::int64_t blockedNonIM, free, allowed;
    };
    constexpr Case cases[] = {
        {"reserve for variation margin", &Means::VMReserve, 100, -100, 0},
        {"GO", &Means::BlockedMoney, 0, -100, 0},
        {"value of options", &Means::NetOptionValue, -100, 100, 0},
        {"money", &Means::m_amountMoney, 0, 100, 100},
        {"pledge", &Means::m_amountMoneyPledge, 0, 0, -100},
        {"exchange fee", &Means::m_fee, 100, -100, 0},
        {"firm's fee", &Means::m_BrokerFee, 100, -100, 0},
        {"penalty", &Means::m_Penalty, 100, -100, 0},
        {"tax", &Means::m_BlockedTax, 100, -100, 0},
        {"mark to market", &Means::m_MTM, 0, 0, 0},
        {"premium", &Means::m_premiumBlocked, 100, -100, 0},
    };
    for (const Case& c : cases)
        for (const std::int64_t sign : {1, -1}) {
            SCOPED_TRACE(c.name);
            Means means;
            means.*c.field = Cents(sign * 100);
            means.Recalculate();
            EXPECT_EQ(means.BlockedMoneyNonIM, Cents(sign * c.blockedNonIM));
            EXPECT_EQ(means.FreeMoney, Cents(sign * c.free));
            EXPECT_EQ(means.MoneyAllowedForWithdrawal, Cents(sign * c.allowed));
        }
}

TEST(MeansTest, WhatIsPutShowsInTheSumsFromTheNextOnOn)
{
    Domain::Means means;
    means.putAmountMoney(Cents(900));
    means.putAmountMoneyPledge(Cents(300));
    means.SetBlockedTax(Cents(50));
    EXPECT_EQ(means.FreeMoney, Cents(0));
    means.Recalculate();
    EXPECT_EQ(means.FreeMoney, Cents(850)); // 900 - 50
    EXPECT_EQ(means.MoneyAllowedForWithdrawal, Cents(600));
    EXPECT_EQ(means.BlockedMoneyNonIM, Cents(50));
}

TEST(MeansTest, GoBecomesCentsWithHalvesAwayFromZero)
{
    Domain::Means means;
    means.Refresh(33.34);
    EXPECT_EQ(means.BlockedMoney, Cents(3334)); // 3334.0000000000005 + 0.5, cut off
    means.Refresh(0.125);
    EXPECT_EQ(means.BlockedMoney, Cents(13)); // 12.5 + 0.5
    means.Refresh(0.0);
    EXPECT_EQ(means.BlockedMoney, Cents(0)); // -0.5, cut off toward zero
    means.Refresh(-0.125);
    EXPECT_EQ(means.BlockedMoney, Cents(-13)); // -12.5 - 0.5
    EXPECT_EQ(means.FreeMoney, Cents(13));
}

TEST(MeansTest, ADeficitIsNegativeFreeMoney)
{
    Domain::Means means;
    means.m_amountMoney = Cents(5000);
    means.Refresh(75.0);
    EXPECT_EQ(means.FreeMoney, Cents(-2500));
    EXPECT_EQ(means.GetFreeMoney(), Cents(-2500));
}

TEST(MeansTest, InitStartsFromZeroAndKeepsTheThreeAmounts)
{
    Domain::Means means = SampleMeans();
    means.Init(Cents(900), Cents(300), Cents(50));
    EXPECT_EQ(means.m_amountMoney, Cents(900));
    EXPECT_EQ(means.m_amountMoneyPledge, Cents(300));
    EXPECT_EQ(means.m_BlockedTax, Cents(50));
    EXPECT_EQ(means.m_fee, Cents(0));
    EXPECT_EQ(means.m_MTM, Cents(0));
    EXPECT_EQ(means.BlockedMoneyNonIM, Cents(50));
    EXPECT_EQ(means.MoneyAllowedForWithdrawal, Cents(600));
    EXPECT_EQ(means.FreeMoney, Cents(850)); // 900 - 50

    means.Clear();
    EXPECT_EQ(means.m_amountMoney, Cents(0));
    EXPECT_EQ(means.FreeMoney, Cents(0));
}

TEST(MeansTest, WithdrawalMayBeHeldWithinTheFreeMoney)
{
    Domain::Means means;
    means.Init(Cents(1000), Cents(200), Cents(0));
    means.Refresh(3.0); // free 700, less pledge 800
    EXPECT_EQ(means.GetMoneyAllowedForWithdrawal(false), Cents(800));
    EXPECT_EQ(means.GetMoneyAllowedForWithdrawal(true), Cents(700));
    means.Refresh(1.0); // free 900
    EXPECT_EQ(means.GetMoneyAllowedForWithdrawal(true), Cents(800));
}

TEST(MeansTest, TradingLimitsOfAParticipantRenewWhatFollowsFromThem)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", Enums::MarginRule::Netting, GetDummySettlementAccount());
    firm.GetPortfolio().IncreaseVolatilityInitialMarginBy(25.0);

    firm.SetTradingLimits({Cents(10000), Cents(4000), false});
    EXPECT_EQ(firm.GetMeans().BlockedMoney, Cents(0)); // the margin is not looked at
    EXPECT_EQ(firm.GetMeans().FreeMoney, Cents(10000));
    EXPECT_EQ(firm.GetMeans().MoneyAllowedForWithdrawal, Cents(6000));

    firm.SetTradingLimits({Cents(20000), Cents(5000), true});
    EXPECT_EQ(firm.GetMeans().BlockedMoney, Cents(2500));
    EXPECT_EQ(firm.GetMeans().FreeMoney, Cents(17500));
    const TradingLimits limits = firm.GetTradingLimits();
    EXPECT_EQ(limits.amountMoney, Cents(20000));
    EXPECT_EQ(limits.amountMoneyPledge, Cents(5000));
    EXPECT_FALSE(limits.needCalcGO);
}

TEST(MeansTest, UpdateParticipantMeansTakesTheGoOfTheMoment)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", Enums::MarginRule::Netting, GetDummySettlementAccount());
    firm.GetMeansForUpdate() = SampleMeans();
    firm.SetMTM(Cents(5));
    firm.GetPortfolio().IncreaseVolatilityInitialMarginBy(33.333);
    margin_orchestrator::UpdateParticipantMeans(firm);
    EXPECT_EQ(firm.GetMeans().BlockedMoney, Cents(3334)); // 33.333 up to cents
    EXPECT_EQ(firm.GetMeans().BlockedMoneyNonIM, Cents(-2650));
    EXPECT_EQ(firm.GetMeans().FreeMoney, Cents(99316)); // 100000 - 3334 + 2650
    EXPECT_EQ(firm.GetMeans().m_MTM, Cents(5));
}

} // namespace
} // namespace test::MeansTest
