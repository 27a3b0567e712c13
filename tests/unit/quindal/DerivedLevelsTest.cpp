// Records of firms and accounts that live by their own, taken from their clients.
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DerivedLevels.h"
#include "WrittenFiles.h"

namespace test::DerivedLevelsTest {
namespace {

using namespace quindal;
using namespace quindal::test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Tree = "level,code,parent,margin_rule\n"
                             "account,NET,,netting\naccount,HALF,,half_netting\n"
                             "firm,AA01,NET,netting\nfirm,AA02,NET,half_netting\nfirm,BB01,HALF,netting\n"
                             "client,AA01001,,\nclient,AA01002,,\nclient,AA02001,,\nclient,BB01001,,\n";

std::vector<std::string> NamesOf(const std::vector<EmptyLevel>& levels)
{
    std::vector<std::string> names;
    for (const EmptyLevel& level : levels)
        names.push_back(level.Name());
    return names;
}

std::vector<std::string> EmptyLevelsWith(const std::string& positions)
{
    const auto accounts = Accounts(Tree);
    const auto rows = Positions("level,code,instrument,quantity\n" + positions);
    return NamesOf(LevelsWithoutRecords(accounts, rows));
}

TEST(LevelsWithoutRecords, AreThoseOfTheNettingRuleWhoseClientsHoldSomething)
{
    EXPECT_THAT(EmptyLevelsWith(""), IsEmpty());
    EXPECT_THAT(EmptyLevelsWith("client,AA01001,F,1\n"), ElementsAre("firm AA01", "account NET"));
    EXPECT_THAT(EmptyLevelsWith("client,AA02001,F,1\n"), ElementsAre("account NET"));
    EXPECT_THAT(EmptyLevelsWith("client,BB01001,F,1\n"), ElementsAre("firm BB01"));
    EXPECT_THAT(EmptyLevelsWith("client,AA01001,F,1\nfirm,AA01,F,1\n"), ElementsAre("account NET"));
    EXPECT_THAT(EmptyLevelsWith("client,AA01001,F,1\nfirm,AA01,F,1\naccount,NET,G,0\n"), IsEmpty());
}

// Firm by firm: its rule, that of its account, and whether its clients' positions come to it.
TEST(FirmsThatNothingReaches, AreUnderGrossBelowWhateverIsNotHalfNetting)
{
    const auto accounts = Accounts("level,code,parent,margin_rule\n"
                                   "account,NET,,netting\naccount,HALF,,half_netting\naccount,SUM,,gross\n"
                                   "firm,AA01,NET,gross\nfirm,AA02,HALF,gross\nfirm,AA03,SUM,gross\nfirm,AA04,,gross\n"
                                   "firm,AA05,SUM,half_netting\nfirm,AA06,SUM,netting\nfirm,AA07,SUM,gross\n"
                                   "client,AA01001,,\nclient,AA02001,,\nclient,AA03001,,\nclient,AA04001,,\n"
                                   "client,AA05001,,\nclient,AA06001,,\nclient,AA07001,,\n");
    const auto positions = Positions("level,code,instrument,quantity\n"
                                     "client,AA01001,F,1\nclient,AA02001,F,1\nclient,AA03001,F,1\nclient,AA04001,F,1\n"
                                     "client,AA05001,F,1\nclient,AA06001,F,1\nclient,AA07001,F,0\n");
    EXPECT_THAT(FirmsThatNothingReaches(accounts, positions), ElementsAre("AA01", "AA03", "AA04"));
}

DerivedRecords Derived(const std::string& positions)
{
    static const std::map<std::string, double> prices{{"F", 100.0}, {"G", 7.0}};
    const auto accounts = Accounts(Tree);
    const auto rows = Positions("level,code,instrument,quantity,price,after_last_clearing\n" + positions);
    return Derive(LevelsWithoutRecords(accounts, rows), [](const std::string& code) { return prices.at(code); });
}

std::string TextOf(const PositionRow& row)
{
    return row.code + ' ' + row.instrument + ' ' + std::to_string(row.quantity) + " at " + std::to_string(row.price) +
           ", " + std::to_string(row.afterLastClearing) + " left";
}

std::vector<std::string> TextsOf(const DerivedRecords& records)
{
    std::vector<std::string> texts;
    for (const PositionRow& row : records.rows)
        texts.push_back(TextOf(row));
    return texts;
}

// The firm's clients hold 3 at 90 and 1 at 110: 380 for 4. The account has 6 at 100 of another firm besides: 980
// for 10.
TEST(DerivedRecords, HoldTheSumAtThePriceThatKeepsTheMoney)
{
    const DerivedRecords records =
        Derived("client,AA01001,F,3,90,2\nclient,AA01002,F,1,110,0\nclient,AA02001,F,6,100,\nclient,AA02001,G,-2,5,\n");
    EXPECT_THAT(TextsOf(records), ElementsAre("AA01 F 4 at 95.000000, 2 left", "NET F 10 at 98.000000, 8 left",
                                              "NET G -2 at 5.000000, -2 left"));
    EXPECT_THAT(records.warnings, IsEmpty());
    EXPECT_EQ(records.rows[0].level, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
    EXPECT_EQ(records.rows[1].level, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT);
}

// An empty price is the calculated one, 100: alone it stays so; beside 3 at 90 the five of them make 470.
TEST(DerivedRecords, ReckonWithTheCalculatedPriceWhereNoneIsGiven)
{
    EXPECT_THAT(TextsOf(Derived("client,BB01001,F,2,,\n")), ElementsAre("BB01 F 2 at 0.000000, 2 left"));
    EXPECT_THAT(TextsOf(Derived("client,AA01001,F,2,,\nclient,AA01002,F,3,90,\naccount,NET,G,1,1,\n")),
                ElementsAre("AA01 F 5 at 94.000000, 5 left"));
}

// Bought at 90 and sold at 110: the quantities cancel and 20 of money does not. Bought and sold at 90 leaves nothing.
TEST(DerivedRecords, WarnOfMoneyThatIsLeftWhereQuantitiesCancel)
{
    const DerivedRecords left = Derived("client,AA01001,F,2,90,\nclient,AA01002,F,-2,110,\naccount,NET,G,1,1,\n");
    EXPECT_THAT(left.rows, IsEmpty());
    EXPECT_THAT(left.warnings, ElementsAre("firm AA01: the quantities of its clients in F cancel, quantity times price "
                                           "leaves -40.00, which no record can hold"));
    const DerivedRecords none = Derived("client,AA01001,F,2,90,\nclient,AA01002,F,-2,90,\naccount,NET,G,1,1,\n");
    EXPECT_THAT(none.rows, IsEmpty());
    EXPECT_THAT(none.warnings, IsEmpty());
}

// 1 at 5 and 1 at -5 are two contracts for nothing. A price of 0 would stand for the calculated one.
TEST(DerivedRecords, HaveAPriceThatIsNotTakenForNone)
{
    const DerivedRecords records = Derived("client,AA01001,F,1,5,\nclient,AA01002,F,1,-5,\naccount,NET,G,1,1,\n");
    ASSERT_EQ(records.rows.size(), 1U);
    EXPECT_NE(records.rows[0].price, 0.0);
    EXPECT_NEAR(records.rows[0].price, 0.0, 1e-100);
}

} // namespace
} // namespace test::DerivedLevelsTest
