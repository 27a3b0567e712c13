#include "replica/MarginCallRequirements.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "AccountTree.h"
#include "except.h"

namespace test::MarginCallRequirementsTest {
namespace {

using Domain::MarginCallRequirements;

constexpr kv7base::UnixNanosecondsTime Moment = 1'795'000'000'000'000'000;

t_bround Money(const std::string& text) { return t_bround(text); }

void ExpectNothingFixed(const MarginCallRequirements& call)
{
    EXPECT_FALSE(call.HasBeenFixed());
    EXPECT_EQ(call.GetMoment(), kv7base::CZ9Time::defaultZ9Time);
    EXPECT_TRUE(call.GetFixed().IsZero());
    EXPECT_TRUE(call.GetCurrent().IsZero());
}

TEST(MarginCallRequirementsTest, OnlyADeficitIsFixed)
{
    MarginCallRequirements call;
    ExpectNothingFixed(call);
    EXPECT_FALSE(call.Fix(Moment, Money("0")));
    EXPECT_FALSE(call.Fix(Moment, Money("0.01")));
    ExpectNothingFixed(call);
    EXPECT_FALSE(call.Update(Money("2"), Money("1"))) << "a zero amount has fixed nothing";
    EXPECT_FALSE(call.Reset());

    EXPECT_TRUE(call.Fix(Moment, Money("-100.01")));
    EXPECT_TRUE(call.HasBeenFixed());
    EXPECT_EQ(call.GetMoment(), kv7base::CZ9Time::FromUnixNanosecondsTime(Moment));
    EXPECT_EQ(call.GetFixed().AsString(), "-100.01");
    EXPECT_EQ(call.GetCurrent().AsString(), "-100.01");
}

// -100.01 + 70.00 - 30.00 = -60.01; another 60.02 is more than enough.
TEST(MarginCallRequirementsTest, MoneyThatComesInShrinksTheDeficitToZeroAndNoFurther)
{
    MarginCallRequirements call;
    ASSERT_TRUE(call.Fix(Moment, Money("-100.01")));
    EXPECT_FALSE(call.Update(Money("30"), Money("30")));
    EXPECT_FALSE(call.Update(Money("30"), Money("70"))) << "money that goes out does not widen it";
    EXPECT_EQ(call.GetCurrent().AsString(), "-100.01");
    EXPECT_TRUE(call.Update(Money("70"), Money("30")));
    EXPECT_EQ(call.GetCurrent().AsString(), "-60.01");
    EXPECT_TRUE(call.Update(Money("60.02"), Money("0")));
    EXPECT_TRUE(call.GetCurrent().IsZero());
    EXPECT_EQ(call.GetFixed().AsString(), "-100.01");
    EXPECT_TRUE(call.HasBeenFixed());
}

TEST(MarginCallRequirementsTest, ASumThatDoesNotFitLeavesTheDeficit)
{
    t_bround largest;
    largest.SetMax();
    t_bround smallest;
    smallest.SetMin();
    MarginCallRequirements call(Moment, Money("-1"), Money("-1"));
    EXPECT_THROW(call.Update(largest, smallest), kv7base::CZ9Error);
    EXPECT_EQ(call.GetCurrent().AsString(), "-1.00");
}

TEST(MarginCallRequirementsTest, AResetForgetsAllOfIt)
{
    MarginCallRequirements call(Moment, Money("-5"), Money("-3"));
    EXPECT_TRUE(call.HasBeenFixed());
    EXPECT_EQ(call.GetCurrent().AsString(), "-3.00");
    EXPECT_TRUE(call.Reset());
    ExpectNothingFixed(call);
}

// Cents become money with two decimals, down to the smallest count of them.
TEST(MarginCallRequirementsTest, AnAccountFixesItsMissingFreeMoney)
{
    AccountTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("L01-00000001", Enums::MarginRule::Netting);
    const auto free = [&account](std::int64_t cents) {
        account->GetMeansForUpdate().FreeMoney = t_bround_int::FromPlain(cents);
    };
    free(1000);
    EXPECT_FALSE(account->FixMarginCallRequirements(Moment));
    free(0);
    EXPECT_FALSE(account->FixMarginCallRequirements(Moment));
    free(-250);
    EXPECT_TRUE(account->FixMarginCallRequirements(Moment));
    EXPECT_EQ(account->GetMarginCallRequirements().GetFixed().AsString(), "-2.50");
    EXPECT_TRUE(account->UpdateMarginCallRequirements(Money("1"), Money("0.25")));
    EXPECT_EQ(account->GetMarginCallRequirements().GetCurrent().AsString(), "-1.75");
    EXPECT_TRUE(account->ResetMarginCallRequirements());
    ExpectNothingFixed(account->GetMarginCallRequirements());

    account->SetMarginCallRequirements(MarginCallRequirements(Moment, Money("-9"), Money("-4")));
    EXPECT_EQ(account->GetMarginCallRequirements().GetCurrent().AsString(), "-4.00");

    free(std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(account->FixMarginCallRequirements(Moment));
    EXPECT_EQ(account->GetMarginCallRequirements().GetFixed().AsString(), "-92233720368547758.08");
}

} // namespace
} // namespace test::MarginCallRequirementsTest
