// What-ifs of everything: each has the margins that a run over files with the action already done has.
#include <cmath>
#include <map>

#include "CommandLine.h"

namespace test::WhatIfActionsTest {
namespace {

using namespace quindal::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Tried
{
    double before = 0.0;
    double after = 0.0;
    double difference = 0.0;
};
/// By what-if and code; codes of clients, firms and accounts differ here.
using AllTried = std::map<std::pair<std::string, std::string>, Tried>;

class Actions : public CommandErrors
{
protected:
    Finished Run(const std::string& actions, const std::string& format = "json", std::vector<std::string> further = {})
    {
        std::vector<std::string> arguments{QUINDAL_COMMAND, "what-if",
                                           "--actions",     Write("actions.csv", Header + actions),
                                           "--instruments", Example("market.xml"),
                                           "--accounts",    Write("accounts.csv", Accounts),
                                           "--positions",   Write("positions.csv", Positions),
                                           "--format",      format};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return RunToEnd(arguments);
    }
    AllTried TriedWith(const std::string& actions, std::vector<std::string> further = {})
    {
        const Finished finished = Run(actions, "json", std::move(further));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        AllTried tried;
        const auto document = nlohmann::json::parse(finished.out);
        for (const auto& level : document.at("whatIfs"))
            tried[{level.at("whatIf"), level.at("code")}] = {level.at("before"), level.at("after"),
                                                             level.at("difference")};
        return tried;
    }
    /// The margins of a book of other files.
    std::map<std::string, double> MarginsOf(const std::string& accountRows, const std::string& positionRows,
                                            const std::vector<std::string>& further = {})
    {
        std::vector<std::string> arguments{"--instruments", Example("market.xml"), "--format", "json"};
        arguments.insert(arguments.end(), further.begin(), further.end());
        const Finished finished = RunToEnd(
            Margin(arguments, Write("other_accounts.csv", accountRows), Write("other_positions.csv", positionRows)));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        std::map<std::string, double> margins;
        for (const Row& row : FromJson(finished.out))
            margins[row.code] = row.go;
        return margins;
    }
    /// Expects each level of a what-if to have the margins of the book before, and of the other book after.
    static void ExpectMargins(const AllTried& tried, const std::map<std::string, double>& before,
                              const std::map<std::string, double>& after, std::size_t levels)
    {
        EXPECT_EQ(tried.size(), levels);
        for (const auto& [level, figures] : tried) {
            EXPECT_EQ(figures.before, before.at(level.second)) << level.second;
            EXPECT_EQ(figures.after, after.at(level.second)) << level.second;
            EXPECT_NEAR(figures.difference, figures.after - figures.before, 1e-6) << level.second;
        }
        for (const auto& [code, margin] : after) {
            const bool isTold = std::any_of(tried.begin(), tried.end(), [&, &name = code](const auto& entry) {
                return entry.first.second == name;
            });
            EXPECT_TRUE(isTold || margin == before.at(code)) << code << " changes and is not told";
        }
    }
    static std::string Changed(std::string text, const std::string& what, const std::string& into)
    {
        const std::size_t at = text.find(what);
        EXPECT_NE(at, std::string::npos) << what;
        return text.replace(at, what.size(), into);
    }

    const std::string Header = "what_if,action,level,code,instrument,side,quantity,price,parameter,value\n";
    const std::string Accounts = "level,code,parent,margin_rule,inter_contract,risk_level\n"
                                 "account,POOL,,half_netting,netting,\n"
                                 "account,OWN,,netting,netting,\n"
                                 "firm,AA01,POOL,half_netting,netting,\n"
                                 "firm,AA02,POOL,half_netting,netting,\n"
                                 "firm,BB01,OWN,netting,netting,\n"
                                 "client,AA01001,,,,\nclient,AA01002,,,,\nclient,AA02001,,,,\nclient,BB01001,,,,\n";
    const std::string Positions = "level,code,instrument,quantity,price\n"
                                  "client,AA01001,INDX-12.26,5,3300\n"
                                  "client,AA01001,CRUD-12.26,-7,71\n"
                                  "client,AA01002,INDX-12.26,-2,3310\n"
                                  "client,AA02001,INDX-3.27,4,3360\n"
                                  "client,BB01001,INDX-12.26,3,3300\n"
                                  "firm,BB01,INDX-12.26,3,3300\n"
                                  "account,OWN,INDX-12.26,3,3300\n";
};

TEST_F(Actions, OfExecutionsAreTradesInTheBook)
{
    const auto before = MarginsOf(Accounts, Positions);
    // Bought on the side that is held: (5 x 3300 + 3 x 3320) / 8 = 3307.5.
    ExpectMargins(TriedWith("t,execute,,AA01001,INDX-12.26,buy,3,3320,,\n"), before,
                  MarginsOf(Accounts, Changed(Positions, "INDX-12.26,5,3300", "INDX-12.26,8,3307.5")), 3);
    // Sold from what is held: its price stays.
    ExpectMargins(TriedWith("t,execute,,AA01001,INDX-12.26,sell,3,3320,,\n"), before,
                  MarginsOf(Accounts, Changed(Positions, "INDX-12.26,5,3300", "INDX-12.26,2,3300")), 3);
    // Sold beyond it: the rest is held at the price of the trade.
    ExpectMargins(TriedWith("t,execute,,AA01001,INDX-12.26,sell,6,3320,,\n"), before,
                  MarginsOf(Accounts, Changed(Positions, "INDX-12.26,5,3300", "INDX-12.26,-1,3320")), 3);
    // Nothing held before; the calculated price.
    ExpectMargins(TriedWith("t,execute,,AA02001,CRUD-12.26,buy,2,,,\n"), before,
                  MarginsOf(Accounts, Positions + "client,AA02001,CRUD-12.26,2,\n"), 3);
    // A level above with records of its own.
    ExpectMargins(TriedWith("t,execute,firm,BB01,INDX-12.26,sell,3,3320,,\n"), before,
                  MarginsOf(Accounts, Changed(Positions, "firm,BB01,INDX-12.26,3,3300\n", "")), 2);
}

TEST_F(Actions, OfClosingsLeaveNothing)
{
    const auto before = MarginsOf(Accounts, Positions);
    ExpectMargins(TriedWith("c,close,,AA01001,CRUD-12.26,,,,,\n"), before,
                  MarginsOf(Accounts, Changed(Positions, "client,AA01001,CRUD-12.26,-7,71\n", "")), 3);
    ExpectMargins(TriedWith("c,close,,AA01001,,,,,,\n"), before,
                  MarginsOf(Accounts, Changed(Changed(Positions, "client,AA01001,CRUD-12.26,-7,71\n", ""),
                                              "client,AA01001,INDX-12.26,5,3300\n", "")),
                  3);
}

TEST_F(Actions, OfSettingsMoveClientsFirmsAndAccountsToOtherRules)
{
    const auto before = MarginsOf(Accounts, Positions);
    ExpectMargins(TriedWith("s,set,,AA01001,,,,,risk_level,high\n"), before,
                  MarginsOf(Changed(Accounts, "AA01001,,,,", "AA01001,,,,high"), Positions), 3);
    ExpectMargins(TriedWith("s,set,account,POOL,,,,,margin_rule,gross\n"), before,
                  MarginsOf(Changed(Accounts, "POOL,,half_netting", "POOL,,gross"), Positions), 1);
    ExpectMargins(
        TriedWith("s,set,firm,AA01,,,,,inter_contract,unused\n"), before,
        MarginsOf(Changed(Accounts, "AA01,POOL,half_netting,netting", "AA01,POOL,half_netting,unused"), Positions), 2);
    // From records of its own to what its clients hold: the records go.
    ExpectMargins(TriedWith("s,set,firm,BB01,,,,,margin_rule,half_netting\n"), before,
                  MarginsOf(Changed(Accounts, "BB01,OWN,netting", "BB01,OWN,half_netting"),
                            Changed(Positions, "firm,BB01,INDX-12.26,3,3300\n", "")),
                  2);
}

TEST_F(Actions, OfOrdersAreThoseOfTheMarginCommand)
{
    const std::string orders = Write("orders.csv", "what_if,client,instrument,side,quantity,price\n"
                                                   "o,AA01001,INDX-12.26,buy,4,3290\no,AA01001,CRUD-12.26,buy,1,\n");
    const Finished margin =
        RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "json", "--orders", orders},
                        Write("a.csv", Accounts), Write("p.csv", Positions)));
    const auto whatIf = nlohmann::json::parse(margin.out).at("whatIfs").at(0);
    const AllTried tried =
        TriedWith("o,order,,AA01001,INDX-12.26,buy,4,3290,,\no,order,,AA01001,CRUD-12.26,buy,1,,,\n");
    EXPECT_EQ(tried.at({"o", "AA01001"}).before, whatIf.at("before").at("GO").get<double>());
    EXPECT_EQ(tried.at({"o", "AA01001"}).after, whatIf.at("after").at("GO").get<double>());
    EXPECT_NE(tried.at({"o", "AA01001"}).difference, 0.0);
}

TEST_F(Actions, OfOneLabelAreTakenTogetherAndLeaveTheNextWhatIfAlone)
{
    const auto before = MarginsOf(Accounts, Positions);
    const AllTried tried = TriedWith("both,close,,AA01001,CRUD-12.26,,,,,\n"
                                     ",set,,AA01002,,,,,risk_level,low\n"
                                     "both,set,,AA01001,,,,,risk_level,high\n"
                                     ",close,,AA02001,,,,,,\n");
    const auto both = MarginsOf(Changed(Accounts, "AA01001,,,,", "AA01001,,,,high"),
                                Changed(Positions, "client,AA01001,CRUD-12.26,-7,71\n", ""));
    EXPECT_EQ(tried.at({"both", "AA01001"}).after, both.at("AA01001"));
    EXPECT_EQ(tried.at({"both", "POOL"}).after, both.at("POOL"));
    const auto low = MarginsOf(Changed(Accounts, "AA01002,,,,", "AA01002,,,,low"), Positions);
    EXPECT_EQ(tried.at({"#2", "AA01002"}).after, low.at("AA01002"));
    EXPECT_EQ(tried.at({"#2", "POOL"}).before, before.at("POOL"));
    EXPECT_EQ(tried.at({"#3", "AA02001"}).after, 0.0);
}

TEST_F(Actions, ReachLevelsThatTakeTheirRecordsFromClients)
{
    const std::string without =
        Changed(Changed(Positions, "firm,BB01,INDX-12.26,3,3300\n", ""), "account,OWN,INDX-12.26,3,3300\n", "");
    const auto after = MarginsOf(Accounts, Changed(without, "BB01001,INDX-12.26,3,3300", "BB01001,INDX-12.26,4,3300"),
                                 {"--derive-levels"});
    const std::string file = Write("underived.csv", without);
    const Finished finished =
        RunToEnd({QUINDAL_COMMAND, "what-if", "--actions",
                  Write("actions.csv", Header + "t,execute,,BB01001,INDX-12.26,buy,1,3300,,\n"), "--instruments",
                  Example("market.xml"), "--accounts", Write("accounts.csv", Accounts), "--positions", file, "--format",
                  "json", "--derive-levels"});
    const auto document = nlohmann::json::parse(finished.out);
    ASSERT_EQ(document.at("whatIfs").size(), 3U);
    for (const auto& level : document.at("whatIfs"))
        EXPECT_EQ(level.at("after").get<double>(), after.at(level.at("code")));
}

TEST_F(Actions, ThatLeaveALevelWithoutRecordsAreWarnedOf)
{
    const Finished finished = Run("s,set,firm,AA01,,,,,margin_rule,netting\n");
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.errors, HasSubstr("what-if s: firm AA01: under the netting rule a level lives by records"));
}

TEST_F(Actions, ArePrintedInThreeFormats)
{
    const std::string actions = "down,close,,AA01001,CRUD-12.26,,,,,\n";
    const Tried client = TriedWith(actions).at({"down", "AA01001"});
    char line[200];
    std::snprintf(line, sizeof line, "down,client,AA01001,%.2f,%.2f,%.2f\n", client.before, client.after,
                  client.difference);
    const std::string csv = FiguresOf(Run(actions, "csv").out);
    EXPECT_EQ(csv.substr(0, csv.find('\n')), "what_if,level,code,go_before,go_after,go_difference");
    EXPECT_THAT(csv, HasSubstr(line));
    const std::vector<std::string> table = Split(Run(actions, "table").out, "\n");
    EXPECT_THAT(SplitColumns(table[0]), ElementsAre("What-if", "Level", "Code", "GO before", "GO after", "Difference"));
    EXPECT_EQ(Ungrouped(SplitColumns(table[1])[4]), client.after);
}

TEST_F(Actions, ThatCannotBeDoneAreRefusedTogether)
{
    const Finished finished = Run("a,order,firm,AA01,INDX-12.26,buy,1,,,\n"
                                  "a,order,,AA01001,INDX-12.26,,,,,\n"
                                  "a,execute,,AA01001,INDX-12.26-3.27,buy,1,1,,\n"
                                  "a,close,,AA01009,,buy,,,,\n"
                                  "a,set,,AA01001,INDX-12.26,,,,risk_level,hgh\n"
                                  "a,set,firm,AA01,,,,,risk_level,high\n"
                                  "a,set,,AA01001,,,,,,\n"
                                  "a,execute,account,POOL,INDX-12.26,buy,1,,,\n"
                                  "a,burn,,AA01001,,,,,,\n");
    ExpectRefusal(finished);
    for (const char* message :
         {"actions.csv:2: column \"level\": \"firm\" sends no orders: clients do",
          "actions.csv:3: column \"side\" is empty", "actions.csv:3: column \"quantity\" is empty",
          "actions.csv:4: column \"instrument\": \"INDX-12.26-3.27\" is a calendar spread: hold its legs",
          "actions.csv:5: column \"code\": \"AA01009\" is none of the clients in the accounts",
          "actions.csv:5: column \"side\": \"buy\" says nothing in a row of close: leave it empty",
          "actions.csv:6: column \"instrument\": \"INDX-12.26\" says nothing in a row of set: leave it empty",
          "actions.csv:6: column \"risk_level\": \"hgh\" is none of",
          "actions.csv:7: column \"parameter\": \"risk_level\" is none that rows of this level have in accounts.csv",
          "actions.csv:8: column \"parameter\" is empty",
          "actions.csv:9: column \"code\": \"POOL\" is not under the netting rule",
          "actions.csv:10: column \"action\": \"burn\" is none of"})
        EXPECT_THAT(finished.errors, HasSubstr(message));
}

} // namespace
} // namespace test::WhatIfActionsTest
