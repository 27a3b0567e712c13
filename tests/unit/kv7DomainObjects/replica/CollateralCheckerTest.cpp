// Whether free money bears a need, and what is said when it does not.
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "replica/CollateralChecker.h"

namespace test::CollateralCheckerTest {
namespace {

t_bround_int Cents(std::int64_t cents) { return t_bround_int::FromPlain(cents); }

Domain::Means Free(std::int64_t cents)
{
    Domain::Means means;
    means.Init(Cents(cents), Cents(0), Cents(0));
    return means;
}

TEST(CollateralCheckerTest, FreeMoneyDownToTheLastCentIsEnough)
{
    const BraskCollateralChecker checker(Z9ERR_CLGO_NOT_ENOUGH, true);
    struct Case
    {
        std::int64_t free, needed;
        Z9ERR code;
        const char* text;
    };
    constexpr Case cases[] = {
        {2000, 1999, 0, "AA01001"},
        {2000, 2000, 0, "AA01001"},
        {2000, 2001, Z9ERR_CLGO_NOT_ENOUGH, "AA01001: Client GO not enough: free 20.00, needed 20.01"},
        {-1, 0, Z9ERR_CLGO_NOT_ENOUGH, "AA01001: Client GO not enough: free -0.01, needed 0.00"}, // a deficit already
        {0, 0, 0, "AA01001"},
        {-500, -499, Z9ERR_CLGO_NOT_ENOUGH, "AA01001: Client GO not enough: free -5.00, needed -4.99"},
        {-500, -500, 0, "AA01001"}, // what is released covers it
    };
    for (const Case& c : cases) {
        std::string text = c.code == 0 ? "AA01001" : "AA01001: ";
        EXPECT_EQ(checker.CheckCollateral(Free(c.free), Cents(c.needed), text), c.code);
        EXPECT_EQ(text, c.text);
    }
}

TEST(CollateralCheckerTest, NobodyLooksWhileChecksAreOff)
{
    BraskCollateralChecker checker(Z9ERR_BRGO_NOT_ENOUGH, false);
    std::string text;
    EXPECT_EQ(checker.CheckCollateral(Free(0), Cents(1), text), 0U);
    EXPECT_EQ(text, "");
    checker.Enable(true);
    EXPECT_TRUE(checker.Enabled());
    EXPECT_EQ(checker.CheckCollateral(Free(0), Cents(1), text), Z9ERR_BRGO_NOT_ENOUGH);
    EXPECT_EQ(text, "Broker GO not enough: free 0.00, needed 0.01");
    checker.Enable(false);
    EXPECT_EQ(checker.CheckCollateral(Free(0), Cents(1), text), 0U);
}

TEST(CollateralCheckerTest, EachLevelHasItsCodeAndItsText)
{
    AccountTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID1", Enums::MarginRule::Netting);
    BraskBroker& firm = tree.AddFirm("AA01", Enums::MarginRule::Netting, account);
    const BraskClient looked(ClientCode::Parse("AA01002"), firm, true, tree.positionInstruments);
    const BraskClient notLooked(ClientCode::Parse("AA01003"), firm, false, tree.positionInstruments);

    EXPECT_EQ(firm.GetCollateralChecker().GetErrorCode(), Z9ERR_BRGO_NOT_ENOUGH);
    EXPECT_STREQ(firm.GetCollateralChecker().GetErrorCodeText(), "Broker GO not enough");
    EXPECT_FALSE(firm.GetCollateralChecker().Enabled());
    EXPECT_EQ(account->GetCollateralChecker().GetErrorCode(), Z9ERR_SETTLEMENT_ACCOUNT_GO_NOT_ENOUGH);
    EXPECT_STREQ(account->GetCollateralChecker().GetErrorCodeText(), "Settlement Account GO not enough");
    EXPECT_TRUE(account->GetCollateralChecker().Enabled());
    EXPECT_STREQ(looked.GetCollateralChecker().GetErrorCodeText(), "Client GO not enough");
    EXPECT_TRUE(looked.GetCollateralChecker().Enabled());
    EXPECT_FALSE(notLooked.GetCollateralChecker().Enabled()); // as its constructor was told
}

} // namespace
} // namespace test::CollateralCheckerTest
