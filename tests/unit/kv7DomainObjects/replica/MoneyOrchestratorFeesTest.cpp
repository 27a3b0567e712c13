// Fees and penalties: what stores, what adds, what is refused with a word.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "LogCapture.h"
#include "MoneyChecks.h"
#include "replica/MoneyOrchestrator.h"

namespace test::MoneyOrchestratorFeesTest {
namespace {

using Enums::MarginRule;
using money_orchestrator::UpdateMode;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t Money = 100'000; // cents of every participant

struct MoneyOrchestratorFeesTest : testing::Test
{
    MoneyOrchestratorFeesTest()
        : account(tree.AddAccount("ID1", MarginRule::Gross)),
          firm(tree.AddFirm("AA01", MarginRule::HalfNetting, account)),
          client(tree.AddClient(firm, "AA01001"))
    {
        for (ParticipantBase* const level :
             {static_cast<ParticipantBase*>(&client), static_cast<ParticipantBase*>(&firm),
              static_cast<ParticipantBase*>(account.get())})
            level->SetTradingLimits({Cents(Money), {}, false});
    }

    /// The field, and the block with nothing else in it.
    static void ExpectOnly(const ParticipantBase& participant, t_bround_int Domain::Means::*field, std::int64_t cents)
    {
        EXPECT_EQ((participant.GetMeans().*field).AsPlain(), cents);
        ExpectMoney(participant.GetMeans(),
                    {.reserve = 0, .blockedNonIM = cents, .free = Money - cents, .forWithdrawal = Money});
    }
    static void ExpectFee(const ParticipantBase& participant, std::int64_t cents)
    {
        ExpectOnly(participant, &Domain::Means::m_fee, cents);
    }

    AccountTree tree;
    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& client;
    LogCapture log;
};

TEST_F(MoneyOrchestratorFeesTest, AParticipantsFeeIsStoredOrAdded)
{
    money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, firm, Cents(250));
    ExpectFee(firm, 250);
    money_orchestrator::UpdateParticipantFee(UpdateMode::IncreaseValue, firm, Cents(-75));
    ExpectFee(firm, 175);
    money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, firm, Cents(-5)); // stored as it is
    ExpectFee(firm, -5);
    money_orchestrator::ClearParticipantFee(firm);
    ExpectFee(firm, 0);
    ExpectFee(client, 0);
    ExpectFee(*account, 0);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(MoneyOrchestratorFeesTest, WhatAClientOwesItsFirmStandsBesideTheExchangeFee)
{
    constexpr auto brokerFee = &Domain::Means::m_BrokerFee;
    money_orchestrator::UpdateBraskClientBrokerFee(UpdateMode::SetValue, client, Cents(30));
    ExpectOnly(client, brokerFee, 30);
    money_orchestrator::UpdateBraskClientBrokerFee(UpdateMode::IncreaseValue, client, Cents(12));
    ExpectOnly(client, brokerFee, 42);
    EXPECT_EQ(client.GetMeans().m_fee, Cents(0));
    money_orchestrator::ClearBraskClientBrokerFee(client);
    ExpectOnly(client, brokerFee, 0);
}

TEST_F(MoneyOrchestratorFeesTest, AnAccountsFeesAreClearedDownToItsClients)
{
    BraskClient& secondClient = tree.AddClient(firm, "AA01002");
    BraskBroker& secondFirm = tree.AddFirm("AA02", MarginRule::Netting, account);
    BraskClient& clientOfSecond = tree.AddClient(secondFirm, "AA02001");
    BraskBroker& elsewhere = tree.AddFirm("AA03", MarginRule::Netting, tree.AddAccount("ID2", MarginRule::Gross));
    for (ParticipantBase* const level :
         {static_cast<ParticipantBase*>(account.get()), static_cast<ParticipantBase*>(&firm),
          static_cast<ParticipantBase*>(&client), static_cast<ParticipantBase*>(&secondClient),
          static_cast<ParticipantBase*>(&secondFirm), static_cast<ParticipantBase*>(&clientOfSecond),
          static_cast<ParticipantBase*>(&elsewhere)}) {
        level->SetTradingLimits({Cents(Money), {}, false});
        money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, *level, Cents(9));
    }
    money_orchestrator::UpdateBraskClientBrokerFee(UpdateMode::SetValue, secondClient, Cents(4));

    money_orchestrator::ClearSettlementAccountFee(*account);
    ExpectFee(*account, 0);
    ExpectFee(firm, 0);
    ExpectFee(client, 0);
    ExpectFee(secondFirm, 0);
    ExpectFee(clientOfSecond, 0);
    ExpectOnly(secondClient, &Domain::Means::m_BrokerFee, 4); // the firm's fee is no fee of the account
    ExpectFee(elsewhere, 9);
}

TEST_F(MoneyOrchestratorFeesTest, AnAdjustmentMayBringTheFeeDownToZero)
{
    money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, *account, Cents(100));
    money_orchestrator::AdjustParticipantFee(*account, Cents(25));
    ExpectFee(*account, 125);
    money_orchestrator::AdjustParticipantFee(*account, Cents(-125));
    ExpectFee(*account, 0);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(MoneyOrchestratorFeesTest, AnAdjustmentBelowZeroClearsTheFeeAndSaysSo)
{
    money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, *account, Cents(100));
    money_orchestrator::AdjustParticipantFee(*account, Cents(-150)); // would be -0.50
    ExpectFee(*account, 0);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [QuindalIM] AdjustParticipantFee: Fee adjustment (-1.500000) for participant ID1 "
                            "was IGNORED because it would make participant's fee negative (-0.500000). Participant's "
                            "fee has been cleared."));
}

TEST_F(MoneyOrchestratorFeesTest, AnAdjustmentOfWhatAClientOwesItsFirmDoesTheSame)
{
    constexpr auto brokerFee = &Domain::Means::m_BrokerFee;
    money_orchestrator::UpdateBraskClientBrokerFee(UpdateMode::SetValue, client, Cents(100));
    money_orchestrator::AdjustBraskClientBrokerFee(client, Cents(-100));
    ExpectOnly(client, brokerFee, 0);
    EXPECT_THAT(log.Take(), IsEmpty());

    money_orchestrator::AdjustBraskClientBrokerFee(client, Cents(7));
    money_orchestrator::AdjustBraskClientBrokerFee(client, Cents(-8)); // would be -0.01
    ExpectOnly(client, brokerFee, 0);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [QuindalIM] AdjustParticipantBrokerFee: Fee adjustment (-0.080000) for "
                            "participant AA01001 was IGNORED because it would make participant's fee negative "
                            "(-0.010000). Participant's fee has been cleared."));
}

TEST_F(MoneyOrchestratorFeesTest, OnlyAPositivePenaltyIsAdded)
{
    constexpr auto penalty = &Domain::Means::m_Penalty;
    money_orchestrator::UpdatePenalty(client, Cents(500));
    money_orchestrator::UpdatePenalty(client, Cents(1));
    ExpectOnly(client, penalty, 501);
    EXPECT_THAT(log.Take(), IsEmpty());

    money_orchestrator::UpdatePenalty(client, Cents(0));
    money_orchestrator::UpdatePenalty(client, Cents(-250));
    ExpectOnly(client, penalty, 501);
    EXPECT_THAT(log.Take(), ElementsAre("WARNING [QuindalIM] UpdatePenalty: Penalty (0.000000) for participant AA01001 "
                                        "was IGNORED due to its value is negative",
                                        "WARNING [QuindalIM] UpdatePenalty: Penalty (-2.500000) for participant "
                                        "AA01001 was IGNORED due to its value is negative"));
    money_orchestrator::ClearPenalty(client);
    ExpectOnly(client, penalty, 0);
}

TEST_F(MoneyOrchestratorFeesTest, AClientsFeeIsChargedToItsFirmAndAccountToo)
{
    money_orchestrator::UpdateFee(client, Cents(40));
    money_orchestrator::UpdateFee(client, Cents(2));
    ExpectFee(client, 42);
    ExpectFee(firm, 42);
    ExpectFee(*account, 42);
}

TEST_F(MoneyOrchestratorFeesTest, AnAdjustmentGoesFromTheClientUpEachLevelForItself)
{
    money_orchestrator::UpdateFee(client, Cents(40));
    money_orchestrator::UpdateParticipantFee(UpdateMode::SetValue, *account, Cents(100)); // other firms' as well
    money_orchestrator::AdjustFee(client, Cents(-41));
    ExpectFee(client, 0);
    ExpectFee(firm, 0);
    ExpectFee(*account, 59);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [QuindalIM] AdjustParticipantFee: Fee adjustment (-0.410000) for participant "
                            "AA01001 was IGNORED because it would make participant's fee negative (-0.010000). "
                            "Participant's fee has been cleared.",
                            "WARNING [QuindalIM] AdjustParticipantFee: Fee adjustment (-0.410000) for participant AA01 "
                            "was IGNORED because it would make participant's fee negative (-0.010000). Participant's "
                            "fee has been cleared."));
}

} // namespace
} // namespace test::MoneyOrchestratorFeesTest
