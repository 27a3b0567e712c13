// A settlement account: its record, its checks, its GO, the firms bound to it, and the account that stands in for none.
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"

namespace test::BraskSettlementAccountTest {
namespace {

using Enums::MarginRule;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct BraskSettlementAccountTest : testing::Test
{
    AccountTree tree;
    BraskClearingBrokerPtr owner = std::make_shared<BraskClearingBroker>(ClearingBrokerCode::Parse("AA"));

    BraskSettlementAccount Make(const std::string& id, MarginRule rule, const BraskClearingBrokerPtr& ownedBy)
    {
        return {AccountRecord(id), rule, false, ownedBy, tree.instruments, tree.positionInstruments};
    }
};

TEST_F(BraskSettlementAccountTest, TakesItsMoneyAndNettingFromTheRecord)
{
    SSettlementAccountMoneyStruct record = AccountRecord("L01-00000001");
    record.AmountMoneyOld = t_money(12.5);
    record.Amount_money = t_money(100.25);
    record.Amount_money_pledge = t_money(40.0);
    record.BlockedTax = t_money(0.25);
    record.MTM = t_money(-3.0);
    record.CalendarSpreadMarginType = Enums::SpreadMarginType::Unused;
    record.InterContractSpreadMarginType = Enums::SpreadMarginType::Netting;
    record.ShortOptionMinimumChargeRatio = 0.5;
    const BraskSettlementAccount account(record, MarginRule::Netting, true, owner, tree.instruments,
                                         tree.positionInstruments);

    EXPECT_EQ(account.GetId(), "L01-00000001"); // all twelve characters
    EXPECT_STREQ(account.GetParticipantCode(), "L01-00000001");
    EXPECT_EQ(account.GetOwner(), owner);
    EXPECT_TRUE(account.IsUnitedPool());
    EXPECT_EQ(account.GetNClr2Delivery(), 0);
    EXPECT_EQ(account.GetExpWeight().AsPlain(), 100);
    EXPECT_EQ(account.GetAmountMoneyOld().AsPlain(), 1250);
    EXPECT_EQ(account.GetMeans().m_amountMoney.AsPlain(), 10025);
    EXPECT_EQ(account.GetMeans().m_amountMoneyPledge.AsPlain(), 4000);
    EXPECT_EQ(account.GetMeans().m_BlockedTax.AsPlain(), 25);
    EXPECT_EQ(account.GetMeans().m_MTM.AsPlain(), -300);
    EXPECT_EQ(account.GetMeans().FreeMoney.AsPlain(), 10000); // 10025 - 25
    EXPECT_EQ(account.GetCalSpreadMarginType(), Enums::SpreadMarginType::Unused);
    EXPECT_EQ(account.GetInterContractSpreadMarginType(), Enums::SpreadMarginType::Netting);
    EXPECT_EQ(account.GetShortOptionMinimumChargeRatio(), 0.5);
    EXPECT_EQ(account.GetCollateralChecker().GetErrorCode(), Z9ERR_SETTLEMENT_ACCOUNT_GO_NOT_ENOUGH);
    EXPECT_TRUE(account.GetCollateralChecker().Enabled());
}

TEST_F(BraskSettlementAccountTest, AnIdThatFillsItsFieldWithoutAZeroEndsAtTheField)
{
    SSettlementAccountMoneyStruct record;
    std::fill(std::begin(record.Code), std::end(record.Code), 'x');
    EXPECT_EQ(record.Id(), "xxxxxxxxxxxxx");
}

TEST_F(BraskSettlementAccountTest, ValidStatesPass)
{
    for (const MarginRule rule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting})
        EXPECT_NO_THROW(Make("ID", rule, owner).validateState());
}

TEST_F(BraskSettlementAccountTest, AnEmptyIdIsRefusedBeforeAnythingElse)
{
    EXPECT_EQ(FailureOf([&] { Make("", MarginRule{7}, nullptr).validateState(); }).code,
              Z9ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID);
}

TEST_F(BraskSettlementAccountTest, AMissingOwnerIsRefused)
{
    const Failure failure = FailureOf([&] { Make("ID7", MarginRule{7}, nullptr).validateState(); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_ERROR);
    EXPECT_THAT(failure.text, HasSubstr("Settlement Account ID7 is not linked to Clearing Broker."));
}

TEST_F(BraskSettlementAccountTest, ARuleThatIsNoneIsRefused)
{
    const Failure failure = FailureOf([&] { Make("ID7", MarginRule{1}, owner).validateState(); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_ERROR);
    EXPECT_THAT(failure.text, HasSubstr("Unsupported margin rule 1 is set for Settlement Account ID7."));
}

TEST_F(BraskSettlementAccountTest, GoComesFromTheMarginsOrUnderGrossFromTheSum)
{
    for (const MarginRule rule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
        BraskSettlementAccount account = Make("ID", rule, owner);
        account.SetExpWeight(t_weight_int(0.25));
        account.GetPortfolio().IncreaseVolatilityInitialMarginBy(80.0);
        account.GetPortfolio().IncreaseDeliveryVolatilityInitialMarginBy(120.001);
        account.GetPortfolio().IncreaseGrossInitialMargin(7.003);
        // 0.75 x 80 + 0.25 x 120.001 = 90.00025, up to cents; the gross sum 7.003 alike.
        EXPECT_EQ(account.GetInitialMargin(), rule == MarginRule::Gross ? 7.01 : 90.01);
    }
}

TEST_F(BraskSettlementAccountTest, WithoutAnotherWordTakesTheDeliveryMarginWhole)
{
    BraskSettlementAccount account = Make("ID", MarginRule::Netting, owner);
    account.GetPortfolio().IncreaseVolatilityInitialMarginBy(80.0);
    account.GetPortfolio().IncreaseDeliveryVolatilityInitialMarginBy(120.0);
    EXPECT_EQ(account.GetInitialMargin(), 120.0);
}

TEST_F(BraskSettlementAccountTest, FirmsStandInTheOrderOfBindingOnceForEachTime)
{
    const BraskSettlementAccountPtr account = tree.AddAccount("ID", MarginRule::Gross);
    BraskBroker& first = tree.AddFirm("AA01", MarginRule::Netting, account);
    BraskBroker& second = tree.AddFirm("AA02", MarginRule::Netting, account);
    tree.AddFirm("AA01", MarginRule::Netting, account);
    EXPECT_THAT(account->GetBrokers(), ElementsAre(&first, &second, &first));
    account->UnbindBroker(first);
    EXPECT_THAT(account->GetBrokers(), ElementsAre(&second));
}

TEST_F(BraskSettlementAccountTest, TheStandInIsOneForTheProcess)
{
    const BraskSettlementAccountPtr& account = GetDummySettlementAccount();
    EXPECT_EQ(account, GetDummySettlementAccount());
    EXPECT_EQ(account->GetId(), "************");
    EXPECT_STREQ(account->GetOwner()->GetClearingBrokerCode().c_str(), "**");
    EXPECT_EQ(account->GetMarginRule(), MarginRule::Gross);
    EXPECT_FALSE(account->IsUnitedPool());
    EXPECT_EQ(account->GetInstrumentsRepository().CountFutures(), 0U);
}

TEST_F(BraskSettlementAccountTest, TheStandInForgetsFirmsThatAreGone)
{
    const std::size_t before = GetDummySettlementAccount()->GetBrokers().size();
    {
        AccountTree other;
        BraskBroker& firm = other.AddFirm("ZZ01", MarginRule::Netting, GetDummySettlementAccount());
        EXPECT_EQ(GetDummySettlementAccount()->GetBrokers().back(), &firm);
        EXPECT_EQ(GetDummySettlementAccount()->GetBrokers().size(), before + 1);
    }
    EXPECT_EQ(GetDummySettlementAccount()->GetBrokers().size(), before);
}

// A second registration lists the firm in another account as well, of this repository or of none.
TEST_F(BraskSettlementAccountTest, EveryAccountForgetsAFirmThatIsGone)
{
    const std::size_t before = GetDummySettlementAccount()->GetBrokers().size();
    BraskSettlementAccountPtr outliving;
    {
        AccountTree other;
        const BraskSettlementAccountPtr own = other.AddAccount("ID1", MarginRule::Gross);
        outliving = tree.AddAccount("ID2", MarginRule::Gross);
        BraskBroker& firm = other.AddFirm("AA01", MarginRule::Gross, own);
        for (const BraskSettlementAccountPtr& account : {GetDummySettlementAccount(), outliving, outliving, own})
            EXPECT_EQ(&other.AddFirm("AA01", MarginRule::Gross, account), &firm);
        EXPECT_EQ(firm.GetSettlementAccount(), own);
        EXPECT_THAT(own->GetBrokers(), ElementsAre(&firm, &firm));
        EXPECT_THAT(outliving->GetBrokers(), ElementsAre(&firm, &firm));
        EXPECT_EQ(GetDummySettlementAccount()->GetBrokers().back(), &firm);
        other.repository.Clear();
        EXPECT_THAT(own->GetBrokers(), IsEmpty());
    }
    EXPECT_THAT(outliving->GetBrokers(), IsEmpty());
    EXPECT_EQ(GetDummySettlementAccount()->GetBrokers().size(), before);
}

TEST_F(BraskSettlementAccountTest, AnAccountThatItsRepositoryDropsLivesAsLongAsAFirmIsListedInIt)
{
    AccountTree firms;
    BraskBroker& firm = firms.AddFirm("AA01", MarginRule::Gross, GetDummySettlementAccount());
    firms.AddFirm("AA01", MarginRule::Gross, tree.AddAccount("ID1", MarginRule::Gross));
    const std::weak_ptr<BraskSettlementAccount> listed = tree.repository.GetSettlementAccountById("ID1");
    tree.repository.Clear();
    ASSERT_FALSE(listed.expired());
    EXPECT_THAT(listed.lock()->GetBrokers(), ElementsAre(&firm));
    firms.repository.Clear();
    EXPECT_TRUE(listed.expired());
}

} // namespace
} // namespace test::BraskSettlementAccountTest
