// What the rows of a book say of each other.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BookCheck.h"
#include "WrittenFiles.h"

namespace test::BookCheckTest {
namespace {

using namespace quindal;
using namespace quindal::test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Tree = "level,code,parent,margin_rule\n"
                             "client,AA01001,,\n" // before its firm, which stands before its account
                             "firm,AA01,HOUSE,netting\nfirm,AA02,,\n"
                             "account,HOUSE,,netting\naccount,GROSS,,gross\nclient,AA02001,AA02,\n"
                             "ratio,AA01,INDX,\n";

std::vector<std::string> ProblemsOfAccounts(const std::string& rows)
{
    Problems problems;
    CheckAccounts(Accounts("level,code,parent,go_ratio\n" + rows), problems);
    return TextsOf(problems);
}

TEST(BookCheck, TakesAccountsInAnyOrder)
{
    EXPECT_THAT(ProblemsOfAccounts("client,AA01001,,\nratio,AA01,INDX,1\nfirm,AA01,HOUSE,\naccount,HOUSE,,\n"),
                IsEmpty());
}

TEST(BookCheck, RefusesNamesThatTheAccountsDoNotHave)
{
    const std::pair<const char*, const char*> cases[] = {
        {"account,HOUSE,,\nfirm,AA01,HOUES,\n",
         "accounts.csv:3: column \"parent\": \"HOUES\" is none of the settlement accounts; did you mean \"HOUSE\"?"},
        {"firm,AA01,,\nclient,AB01001,,\n",
         "accounts.csv:3: column \"code\": \"AB01001\" begins with \"AB01\", which is none of the firms in the "
         "accounts; did you mean \"AA01\"?"},
        {"firm,AA01,,\nfirm,AA02,,\nclient,AA01001,AA02,\n",
         "accounts.csv:4: column \"parent\": \"AA02\" is not the firm that the code begins with"},
        {"firm,AA01,,\nratio,BB99,INDX,1\n",
         "accounts.csv:3: column \"code\": \"BB99\" is none of the firms in the accounts"},
    };
    for (const auto& [rows, problem] : cases)
        EXPECT_THAT(ProblemsOfAccounts(rows), ElementsAre(problem)) << rows;
}

TEST(BookCheck, RefusesAccountsThatStandTwice)
{
    const std::pair<const char*, const char*> cases[] = {
        {"firm,AA01,,\nfirm,AA01,,\n", "accounts.csv:3: column \"code\": \"AA01\" stands twice, first in line 2"},
        {"firm,AA01,,\nclient,AA01001,,\nclient,AA01001,,\n",
         "accounts.csv:4: column \"code\": \"AA01001\" stands twice, first in line 3"},
        {"account,CLEARING-1234,,\naccount,CLEARING-123,,\naccount,CLEARING-12,,\n",
         "accounts.csv:3: column \"code\": \"CLEARING-123\" stands twice, first in line 2"},
        {"account,CLEARING-123,,\naccount,CLEARING-1234,,\n",
         "accounts.csv:3: column \"code\": \"CLEARING-1234\" stands twice, first in line 2: its first 12 characters "
         "count"},
        {"firm,AA01,,\nratio,AA01,INDX,1\nratio,AA01,OTHER,1\nratio,AA01,INDX,2\n",
         "accounts.csv:5: column \"code\": \"AA01\" stands twice, first in line 3"},
    };
    for (const auto& [rows, problem] : cases)
        EXPECT_THAT(ProblemsOfAccounts(rows), ElementsAre(problem)) << rows;
}

std::vector<std::string> ProblemsOfPositions(const std::string& rows)
{
    const auto accounts = Accounts(std::string(Tree).substr(0, std::string(Tree).find("ratio")));
    const auto positions = Positions("level,code,instrument,quantity\n" + rows);
    Problems problems;
    CheckRepeated(positions, problems);
    CheckHolders(accounts, positions, problems);
    return TextsOf(problems);
}

TEST(BookCheck, TakesPositionsOfAllLevelsThatKeepRecords)
{
    EXPECT_THAT(ProblemsOfPositions("client,AA01001,F,1\nclient,AA01001,G,1\nfirm,AA01,F,1\naccount,HOUSE,F,1\n"
                                    "client,AA02001,F,1\n"),
                IsEmpty());
}

TEST(BookCheck, RefusesPositionsThatWouldNotCount)
{
    const std::pair<const char*, const char*> cases[] = {
        {"client,AA01001,F,1\nclient,AA01001,G,2\nclient,AA01001,F,3\n",
         "positions.csv:4: column \"instrument\": \"F\" of AA01001 stands twice, first in line 2"},
        {"client,AA01010,F,1\n",
         "positions.csv:2: column \"code\": \"AA01010\" is none of the clients in the accounts; "
         "did you mean \"AA01001\"?"},
        {"client,AA01,F,1\n", "positions.csv:2: column \"code\": \"AA01\" is none of the clients in the accounts"},
        {"firm,BB05,F,1\n", "positions.csv:2: column \"code\": \"BB05\" is none of the firms in the accounts"},
        {"account,AA01,F,1\n",
         "positions.csv:2: column \"code\": \"AA01\" is none of the settlement accounts in the accounts"},
        {"firm,AA02,F,1\n", "positions.csv:2: column \"code\": \"AA02\" is not under the netting rule: what it holds "
                            "comes from below, and a record of its own would not count"},
        {"account,GROSS,F,1\n", "positions.csv:2: column \"code\": \"GROSS\" is not under the netting rule: what it "
                                "holds comes from below, and a record of its own would not count"},
    };
    for (const auto& [rows, problem] : cases)
        EXPECT_THAT(ProblemsOfPositions(rows), ElementsAre(problem)) << rows;
}

TEST(BookCheck, RefusesOrdersOfOthersThanClients)
{
    const auto accounts = Accounts("level,code\nfirm,AA01\nclient,AA01001\n");
    Problems problems;
    CheckClients(accounts, Orders("client,instrument,side,quantity\nAA01001,F,buy,1\nAA01,F,buy,1\nAA01011,F,buy,1\n"),
                 problems);
    EXPECT_THAT(TextsOf(problems),
                ElementsAre("orders.csv:3: column \"client\": \"AA01\" is none of the clients in the accounts",
                            "orders.csv:4: column \"client\": \"AA01011\" is none of the clients in the accounts; did "
                            "you mean \"AA01001\"?"));
}

MarketCodes Market()
{
    MarketCodes codes;
    codes.Add("INDX", InstrumentKind::BaseContract);
    codes.Add("INDX-12.26", InstrumentKind::Futures);
    codes.Add("INDX-17DEC26", InstrumentKind::OptionSeries);
    codes.Add("INDX-17DEC26-C3500", InstrumentKind::Option);
    codes.Add("INDX-12.26-3.27", InstrumentKind::CalendarSpread);
    return codes;
}

TEST(BookCheck, RefusesPositionsInWhatCannotBeHeld)
{
    const std::string at = "positions.csv:2: column \"instrument\": ";
    const std::pair<const char*, std::string> cases[] = {
        {"INDX-12.62", at + "\"INDX-12.62\" is none of the instruments of the market; did you mean \"INDX-12.26\"?"},
        {"NOTHING", at + "\"NOTHING\" is none of the instruments of the market"},
        {"INDX-12.26-3.27", at + "\"INDX-12.26-3.27\" is a calendar spread: hold its legs"},
        {"INDX-17DEC26", at + "\"INDX-17DEC26\" is an option series: name one of its options"},
        {"INDX", at + "\"INDX\" is a base contract: name a futures or an option of it"},
    };
    for (const auto& [instrument, problem] : cases) {
        Problems problems;
        CheckInstruments(Market(), Positions(std::string("code,instrument,quantity\nAA01001,") + instrument + ",1\n"),
                         problems);
        EXPECT_THAT(TextsOf(problems), ElementsAre(problem));
    }
    Problems none;
    CheckInstruments(Market(),
                     Positions("code,instrument,quantity\nAA01001,INDX-12.26,1\nAA01001,INDX-17DEC26-C3500,1\n"), none);
    EXPECT_THAT(TextsOf(none), IsEmpty());
}

TEST(BookCheck, RefusesOrdersInWhatCannotBeOrdered)
{
    Problems problems;
    CheckInstruments(Market(),
                     Orders("client,instrument,side,quantity,price\nAA01001,INDX-12.26,buy,1,\n"
                            "AA01001,INDX-12.26-3.27,buy,1,66.5\nAA01001,INDX-12.26-3.27,buy,1,\n"
                            "AA01001,INDX-12.26-3.27,buy,1,0.0\nAA01001,INDX,buy,1,1\n"),
                     problems);
    const std::string spread = "column \"price\" is 0 or empty, and the calendar spread INDX-12.26-3.27 has no "
                               "calculated price: give another one (0.000001 for nothing)";
    EXPECT_THAT(TextsOf(problems), ElementsAre("orders.csv:4: " + spread, "orders.csv:5: " + spread,
                                               "orders.csv:6: column \"instrument\": \"INDX\" is a base contract: name "
                                               "a futures or an option of it"));
}

TEST(BookCheck, RefusesRatiosOfContractsThatAreNone)
{
    Problems problems;
    CheckInstruments(Market(),
                     Accounts("level,code,parent,go_ratio\nratio,AA01,INDX,1\nratio,AA01,INDY,1\n"
                              "ratio,AA01,INDX-12.26,1\n"),
                     problems);
    EXPECT_THAT(TextsOf(problems),
                ElementsAre("accounts.csv:3: column \"parent\": \"INDY\" is none of the base contracts of the market; "
                            "did you mean \"INDX\"?",
                            "accounts.csv:4: column \"parent\": \"INDX-12.26\" is none of the base contracts of the "
                            "market"));
}

TEST(MarketCodes, TakeACodeOfTwoKindsForTheOneThatCanBeHeld)
{
    MarketCodes codes;
    codes.Add("X", InstrumentKind::BaseContract);
    codes.Add("X", InstrumentKind::Futures);
    codes.Add("X", InstrumentKind::OptionSeries);
    EXPECT_EQ(*codes.Find("X"), InstrumentKind::Futures);
    EXPECT_TRUE(codes.BaseContracts().contains("X"));
    EXPECT_EQ(codes.Find("Y"), nullptr);
}

} // namespace
} // namespace test::BookCheckTest
