// Changes of the money limit at the three levels.
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "LogCapture.h"

namespace test::TradingLimitsTest {
namespace {

using enum Enums::ChangeMoneyMode;
using Enums::ChangeMoneyMode;
using Enums::MarginRule;
using testing::ElementsAre;
using testing::IsEmpty;

t_bround_int Cents(std::int64_t cents) { return t_bround_int::FromPlain(cents); }

struct TradingLimitsTest : testing::Test
{
    // Money 1000.00 of which 400.00 are pledged, GO 250.00, a fee of 1.00: what stands before each change.
    static void Fill(ParticipantBase& participant)
    {
        Domain::Means& means = participant.GetMeansForUpdate();
        means.Init(Cents(100000), Cents(40000), Cents(0));
        means.m_fee = Cents(100);
        means.Refresh(250.0);
    }

    /// Money is the amount, and all that follows from it does; nothing else has moved.
    static void ExpectMoney(const ParticipantBase& participant, std::int64_t cents)
    {
        const Domain::Means& means = participant.GetMeans();
        EXPECT_EQ(means.m_amountMoney, Cents(cents));
        EXPECT_EQ(means.MoneyAllowedForWithdrawal, Cents(cents - 40000));
        EXPECT_EQ(means.FreeMoney, Cents(cents - 25000 - 100));
        EXPECT_EQ(means.m_amountMoneyPledge, Cents(40000));
        EXPECT_EQ(means.BlockedMoney, Cents(25000));
        EXPECT_EQ(means.BlockedMoneyNonIM, Cents(100));
    }

    AccountTree tree;
    BraskSettlementAccountPtr account = tree.AddAccount("ID1", MarginRule::Netting);
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, account);
    BraskClient& client = tree.AddClient(firm, "AA01001");
    LogCapture log;
};

/// A change, and the money behind it; the code is 0.
struct Case
{
    ChangeMoneyMode mode;
    bool flag;
    std::int64_t amount;
    std::int64_t money;
    const char* why;
};
constexpr Case Cases[] = {
    {DelMoney, true, 55, 0, "no money is left, whatever the amount"},
    {DelMoney, false, 55, 0, "with the flag or without"},
    {DelAll, true, 55, 0, "the same, and the pledge stays"},
    {DelAll, false, 55, 0, "the same"},
    {Set, true, 77712, 77712, "the amount it is"},
    {Set, true, -1, -1, "a debt is one too"},
    {Set, false, 77712, 100000, "an amount that does not count"},
    {ChangeBy, true, 250, 100250, "more by the amount"},
    {ChangeBy, true, -100001, -1, "or less"},
    {ChangeBy, false, 250, 100000, "an amount that does not count"},
};
constexpr ChangeMoneyMode InvalidModes[] = {DelPledge, ChangeMoneyMode{8}, ChangeMoneyMode{14}, ChangeMoneyMode{-1}};

TEST_F(TradingLimitsTest, OfAClientFollowModeAndFlag)
{
    for (const Case& c : Cases) {
        SCOPED_TRACE(c.why);
        Fill(client);
        EXPECT_EQ(client.ChangeTradingLimits(c.mode, c.flag, Cents(c.amount)), 0U);
        ExpectMoney(client, c.money);
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(TradingLimitsTest, OfFirmAndAccountFollowTheMessageInCents)
{
    for (const Case& c : Cases) {
        SCOPED_TRACE(c.why);
        const MSChangeBFLimitInt message{c.mode, c.flag, c.amount};
        Fill(firm);
        EXPECT_EQ(firm.ChangeTradingLimits(message), 0U);
        ExpectMoney(firm, c.money);
        Fill(*account);
        EXPECT_EQ(account->ChangeTradingLimits(message), 0U);
        ExpectMoney(*account, c.money);
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(TradingLimitsTest, AnyOtherModeIsLoggedAndChangesNothing)
{
    for (const ChangeMoneyMode mode : InvalidModes) {
        const std::string line =
            "ERROR [QuindalIM] ChangeTradingLimits: Invalid mode: " + std::to_string(static_cast<int>(mode));
        Fill(client);
        EXPECT_EQ(client.ChangeTradingLimits(mode, true, Cents(5)), Z9ERR_COMMON_WRONG_ARGUMENTS);
        ExpectMoney(client, 100000);
        EXPECT_THAT(log.Take(), ElementsAre(line));
        Fill(firm);
        EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitInt{mode, true, 5}), Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitNTA{mode, "0.05"}), Z9ERR_COMMON_WRONG_ARGUMENTS);
        ExpectMoney(firm, 100000);
        EXPECT_THAT(log.Take(), ElementsAre(line, line));
    }
}

TEST_F(TradingLimitsTest, AMessageWithATextSetsOrChangesAndNothingElse)
{
    Fill(firm);
    EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitNTA{Set, "1234.5"}), 0U);
    ExpectMoney(firm, 123450);
    EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitNTA{ChangeBy, "-.55"}), 0U);
    ExpectMoney(firm, 123395);
    Fill(*account);
    EXPECT_EQ(account->ChangeTradingLimits(MSChangeBFLimitNTA{ChangeBy, "0.010"}), 0U);
    ExpectMoney(*account, 100001);
    EXPECT_THAT(log.Take(), IsEmpty());
    for (const ChangeMoneyMode mode : {DelMoney, DelAll}) {
        EXPECT_EQ(account->ChangeTradingLimits(MSChangeBFLimitNTA{mode, "1"}), Z9ERR_COMMON_WRONG_ARGUMENTS);
        ExpectMoney(*account, 100001);
    }
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] ChangeTradingLimits: Invalid mode: 9",
                                        "ERROR [QuindalIM] ChangeTradingLimits: Invalid mode: 11"));
}

TEST_F(TradingLimitsTest, ATextThatIsNoAmountGivesItsCodeAndChangesNothing)
{
    struct Text
    {
        const char* amount;
        Z9ERR code;
    };
    constexpr Text texts[] = {
        {"", Z9ERR_COMMON_WRONG_ARGUMENTS},    {"-", Z9ERR_COMMON_WRONG_ARGUMENTS},
        {" 1", Z9ERR_COMMON_WRONG_ARGUMENTS},  {"1,5", Z9ERR_COMMON_WRONG_ARGUMENTS},
        {"12.341", Z9ERR_COMMON_OVERFLOW},     {"92233720368547758.08", Z9ERR_COMMON_OVERFLOW},
        {"1e3", Z9ERR_COMMON_WRONG_ARGUMENTS},
    };
    Fill(firm);
    for (const Text& text : texts) {
        EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitNTA{Set, text.amount}), text.code) << text.amount;
        ExpectMoney(firm, 100000);
    }
    // A zero within: what stands before it alone would be another amount.
    MSChangeBFLimitNTA withZero{Set, "12.34"};
    withZero.Amount[2] = '\0';
    EXPECT_EQ(firm.ChangeTradingLimits(withZero), Z9ERR_COMMON_WRONG_ARGUMENTS);
    ExpectMoney(firm, 100000);
    EXPECT_EQ(firm.ChangeTradingLimits(MSChangeBFLimitNTA{Set, "92233720368547758.07"}), 0U);
    EXPECT_EQ(firm.GetMeans().m_amountMoney, Cents(std::numeric_limits<std::int64_t>::max()));
}

TEST_F(TradingLimitsTest, AFeeOrAPenaltyIsStoredAndBlocked)
{
    for (ParticipantBase* const participant : std::initializer_list<ParticipantBase*>{&client, &firm, account.get()}) {
        Fill(*participant);
        participant->UpdateFee(Cents(350));
        EXPECT_EQ(participant->GetMeans().m_fee, Cents(350)); // in place of the fee that stood
        EXPECT_EQ(participant->GetMeans().BlockedMoneyNonIM, Cents(350));
        EXPECT_EQ(participant->GetMeans().FreeMoney, Cents(74650)); // 100000 - 25000 - 350
        participant->UpdatePenalty(Cents(50));
        EXPECT_EQ(participant->GetMeans().m_Penalty, Cents(50));
        EXPECT_EQ(participant->GetMeans().BlockedMoneyNonIM, Cents(400));
        EXPECT_EQ(participant->GetMeans().FreeMoney, Cents(74600));
        EXPECT_EQ(participant->GetMeans().BlockedMoney, Cents(25000));
    }
}

} // namespace
} // namespace test::TradingLimitsTest
