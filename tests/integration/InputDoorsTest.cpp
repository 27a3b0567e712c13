// What comes in through the files of the command line: checked without computing, warned of, taken in any of the forms
// that programs write.
#include <algorithm>
#include <string>
#include <vector>

#include "CommandLine.h"

namespace test::InputDoorsTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string ContentOf(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

/// Line of the first place of a text, the first being 1.
std::size_t LineOf(const std::string& text, const std::string& place)
{
    return 1 + static_cast<std::size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(text.find(place)), '\n'));
}

std::vector<std::string> Check(std::vector<std::string> files)
{
    files.insert(files.begin(), {QUINDAL_COMMAND, "check"});
    return files;
}

/// The command with a file as its standard input.
std::vector<std::string> WithInput(const std::string& file, const std::vector<std::string>& command)
{
    std::vector<std::string> shell{"/bin/sh", "-c", "input=\"$0\"; exec \"$@\" < \"$input\"", file};
    shell.insert(shell.end(), command.begin(), command.end());
    return shell;
}

class InputDoors : public CommandErrors
{
protected:
    /// Rows of the clients of the examples, none of their firms and accounts.
    std::string ClientsOnly()
    {
        std::istringstream rows(ContentOf(Example("positions.csv")));
        std::string text;
        for (std::string line; std::getline(rows, line);)
            if (!line.starts_with("firm") && !line.starts_with("account")) text += line + '\n';
        return Write("clients_only.csv", text);
    }
    static Finished MarginOf(const std::string& positionsFile, std::vector<std::string> further = {})
    {
        further.insert(further.begin(), {"--instruments", Example("market.xml"), "--format", "csv"});
        return RunToEnd(Margin(further, Example("accounts.csv"), positionsFile));
    }
};

// ---- check --------------------------------------------------------------------------------------------------------

TEST_F(InputDoors, CheckCountsWhatIsInGoodFiles)
{
    const std::string users = Write("users.csv", "user,password\nUSER01,x\n");
    const Finished finished =
        RunToEnd(Check({"--instruments", Example("market.xml"), "--accounts", Example("accounts.csv"), "--positions",
                        Example("positions.csv"), "--orders", Example("orders.csv"), "--users", users}));
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.errors, IsEmpty());
    EXPECT_EQ(finished.out, Example("market.xml") +
                                ": 7 base contracts, 20 futures, 9 option series, 232 options, 6 calendar spreads\n" +
                                Example("accounts.csv") + ": 3 accounts, 5 firms, 10 clients, 1 ratio\n" +
                                Example("positions.csv") + ": 47 positions\n" + Example("orders.csv") +
                                ": 12 what-ifs, 15 orders\n" + users + ": 1 user\n");
}

TEST_F(InputDoors, CheckTakesAnyOfTheFilesAlone)
{
    const std::string strange = Write("strange.csv", "code,instrument,quantity\nZZ01001,NOTHING,1\n");
    const Finished alone = RunToEnd(Check({"--positions", strange}));
    EXPECT_EQ(alone.status, 0) << alone.errors;
    EXPECT_EQ(alone.out, strange + ": 1 position\n");
    const Finished withAccounts = RunToEnd(Check({"--positions", strange, "--accounts", accounts}));
    ExpectRefusal(withAccounts);
    EXPECT_THAT(withAccounts.errors, HasSubstr("\"ZZ01001\" is none of the clients"));
    const Finished withMarket = RunToEnd(Check({"--positions", strange, "--instruments", Example("market.xml")}));
    ExpectRefusal(withMarket);
    EXPECT_THAT(withMarket.errors, HasSubstr("\"NOTHING\" is none of the instruments of the market"));
    const Finished nothing = RunToEnd(Check({}));
    EXPECT_NE(nothing.status, 0);
    EXPECT_THAT(nothing.errors, HasSubstr("a file to check"));
}

TEST_F(InputDoors, CheckNamesTheLineOfWhatAMarketGetsWrong)
{
    const std::string good = ContentOf(Example("market.xml"));
    const struct
    {
        const char* name;
        std::string from;
        std::string to;
        std::string place; // begin of the element
        std::string problem;
    } cases[] = {
        {"nan", "CalcFutPrice=\"3369.0\"", "CalcFutPrice=\"nan\"", "<Futures Code=\"INDX-3.27\"",
         "Futures \"INDX-3.27\": attribute \"CalcFutPrice\": \"nan\" is not a finite number"},
        {"inf", "Radius=\"0.045\"", "Radius=\"1e999\"", "<Currency",
         "Currency: attribute \"Radius\": \"1e999\" is not a finite number"},
        {"missing", " NormalizedSpot=\"3285.4\"\n", "\n", "<Futures Code=\"INDX-12.26\"",
         "Futures \"INDX-12.26\": No such node (<xmlattr>.NormalizedSpot)"},
        {"parent", "Code=\"INDX-6.27\" CodeBC=\"INDX\"", "Code=\"INDX-6.27\" CodeBC=\"INDY\"",
         "<Futures Code=\"INDX-6.27\"", "Futures \"INDX-6.27\": "},
        {"refused", "MarketRisk=\"0.12\"", "MarketRisk=\"-0.12\"", "<BaseContract Code=\"INDX\"",
         "BaseContract \"INDX\": code 94757: MarketRisk must be positive (While InsertBaseContract Code(INDX) "
         "assertion "
         "(MarketRisk>0.0) failed. MarketRisk(-0.120000).  (code 94757))\n"},
        {"text", "RiskPointsN=\"80\"", "RiskPointsN=\"eighty\"", "<BaseContract Code=\"INDX\"",
         "BaseContract \"INDX\": code 2: Wrong arguments, String \"eighty\" should not contain characters except for "
         "representation of integer"},
        {"tags", "</root>", "</Root>", "</root>", ""},
    };
    for (const auto& [name, from, to, place, problem] : cases) {
        SCOPED_TRACE(name);
        ASSERT_NE(good.find(from), std::string::npos);
        std::string bad = good;
        bad.replace(bad.find(from), from.size(), to);
        const std::string file = Write(std::string(name) + ".xml", bad);
        const Finished finished = RunToEnd(Check({"--instruments", file}));
        ExpectRefusal(finished);
        EXPECT_EQ(finished.status, 1);
        EXPECT_THAT(finished.errors,
                    AllOf(StartsWith("quindal: " + file + ":" + std::to_string(LineOf(good, place)) + ": "),
                          HasSubstr(problem)));
        const Finished margin = RunToEnd(Margin({"--instruments", file}));
        EXPECT_EQ(margin.status, 1);
        EXPECT_THAT(margin.out, IsEmpty());
        EXPECT_EQ(margin.errors, finished.errors) << "margin says what check says";
    }
}

TEST_F(InputDoors, ARefusedContractIsBlamedOnceAndNotThroughWhatStandsOnIt)
{
    const std::string good = ContentOf(Example("market.xml"));
    std::string bad = good;
    bad.replace(bad.find("MarketRisk=\"0.12\""), 17, "MarketRisk=\"0\"");
    const Finished finished =
        RunToEnd(Check({"--instruments", Write("m.xml", bad), "--positions", Example("positions.csv")}));
    ExpectRefusal(finished);
    EXPECT_EQ(std::count(finished.errors.begin(), finished.errors.end(), '\n'), 1) << finished.errors;
}

// ---- Warnings -----------------------------------------------------------------------------------------------------

TEST_F(InputDoors, WhatTheLibraryCorrectsInAMarketIsToldWithItsLine)
{
    const std::string good = ContentOf(Example("market.xml"));
    std::string bad = good;
    bad.replace(bad.find("ShortOptionMinimumCharge=\"0.1\""), 30, "ShortOptionMinimumCharge=\"7\"");
    const std::string file = Write("corrected.xml", bad);
    const std::string line = std::to_string(LineOf(good, "<BaseContract Code=\"INDX\""));
    const std::string warning =
        "quindal: warning: " + file + ":" + line +
        ": While InsertBaseContract Code(INDX) assertion (SOMC<=Constants::MaximumSOMC) failed. "
        "SOMC(7.000000) forcibly set to (0.100000). \nquindal: 1 warning\n";
    const Finished margin = RunToEnd(Margin({"--instruments", file, "--format", "csv"}));
    EXPECT_EQ(margin.status, 0);
    EXPECT_EQ(margin.errors, warning);
    EXPECT_EQ(FiguresOf(margin.out), FiguresOf(RunToEnd(MarginOfExamples("csv")).out))
        << "0.1 is what the examples have";
    EXPECT_EQ(RunToEnd(Check({"--instruments", file})).errors, warning);

    for (const std::vector<std::string>& command :
         {Margin({"--instruments", file, "--strict"}), Check({"--instruments", file, "--strict"})}) {
        const Finished strict = RunToEnd(command);
        EXPECT_EQ(strict.status, 1);
        EXPECT_THAT(strict.out, IsEmpty());
        EXPECT_THAT(strict.errors, AllOf(StartsWith(warning), HasSubstr("--strict makes each warning an error")));
    }
}

TEST_F(InputDoors, WarningsAreToldUpToFiftyAndThenCounted)
{
    std::string options;
    std::string market = OptionsMarket;
    for (int i = 0; i < 60; ++i)
        market.insert(market.find("<Option "), "<Optoin Code=\"X" + std::to_string(i) + "\"/>\n");
    const Finished finished = RunToEnd(Check({"--instruments", Write("market.xml", market)}));
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(Split(finished.errors, "\n").size(), 53U);
    EXPECT_THAT(finished.errors, AllOf(HasSubstr("element Optoin \"X0\" is none that counts; did you mean \"Option\"?"),
                                       EndsWith("quindal: and 10 more\nquindal: 60 warnings\n")));
}

TEST_F(InputDoors, LevelsThatLiveByTheirOwnRecordsAndHaveNoneAreNamed)
{
    const std::string rows = ClientsOnly();
    const std::string warning = "quindal: warning: " + rows +
                                ": firm HS01, firm OM02, account HOUSE: under the netting rule a level lives by "
                                "records of its own, and there are "
                                "none; --derive-levels takes them from the clients\nquindal: 1 warning\n";
    const Finished finished = MarginOf(rows);
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, warning);
    EXPECT_THAT(FiguresOf(finished.out),
                AllOf(HasSubstr("\nfirm,HS01,HOUSE,,,0.00\n"), HasSubstr("\naccount,HOUSE,,,,0.00\n")));
    const Finished strict = MarginOf(rows, {"--strict"});
    EXPECT_EQ(strict.status, 1);
    EXPECT_THAT(strict.out, IsEmpty());
    EXPECT_THAT(strict.errors, StartsWith(warning));
    const Finished check = RunToEnd(Check({"--accounts", Example("accounts.csv"), "--positions", rows}));
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.errors, warning);
}

// The records of the examples are the sums of what their clients hold.
TEST_F(InputDoors, LevelsWithoutRecordsAreDerivedFromTheirClientsOnRequest)
{
    const Finished derived = MarginOf(ClientsOnly(), {"--derive-levels", "--strict"});
    EXPECT_EQ(derived.status, 0) << derived.errors;
    EXPECT_THAT(derived.errors, IsEmpty());
    const std::vector<Row> rows = FromCsv(derived.out);
    const std::vector<Row> expected = FromCsv(RunToEnd(MarginOfExamples("csv")).out);
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].code, expected[i].code);
        EXPECT_NEAR(rows[i].go, expected[i].go, 0.0101) << rows[i].code;
    }
}

// Bought at 900 and sold at 1100 by two clients of one firm: no contract is left, and 200 of money is.
TEST_F(InputDoors, MoneyThatNoDerivedRecordCanHoldIsWarnedOf)
{
    const std::string tree =
        Write("tree.csv", "level,code,margin_rule\nfirm,AA01,netting\nclient,AA01001,\nclient,AA01002,\n");
    const std::string book =
        Write("book.csv", "code,instrument,quantity,price\nAA01001,FUT,1,900\nAA01002,FUT,-1,1100\n");
    const Finished finished =
        RunToEnd(Margin({"--instruments", Write("m.xml", OptionsMarket), "--derive-levels"}, tree, book));
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors,
              "quindal: warning: " + book +
                  ": firm AA01: the quantities of its clients in FUT cancel, quantity times price leaves "
                  "-200.00, which no record can hold\nquindal: 1 warning\n");
}

// A margin beyond ninety million millions has no cents in a double any more.
TEST_F(InputDoors, AFigureWithoutCentsIsNone)
{
    const std::string book = Write("book.csv", "code,instrument,quantity\nAA01001,FUT,1000000000000\n");
    const Finished finished = RunToEnd(Margin({"--instruments", Write("m.xml", OptionsMarket)}, accounts, book));
    ExpectRefusal(finished);
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.errors, HasSubstr("the margin of client AA01001 is too large to be told to the cent"));
}

// ---- Forms --------------------------------------------------------------------------------------------------------

TEST_F(InputDoors, FilesMeanTheSameInWhateverFormTheyAreWritten)
{
    const std::string expected = RunToEnd(MarginOfExamples("csv")).out;
    const std::string plainly = ContentOf(Example("positions.csv"));
    const std::pair<const char*, std::string> forms[] = {
        {"mark", "\xEF\xBB\xBF" + plainly},
        {"windows", "\xEF\xBB\xBF" + Replaced(plainly, "\n", "\r\n")},
        {"semicolons", Replaced(plainly, ",", ";")},
        {"tabs", Replaced(plainly, ",", "\t")},
        {"comment", "# it's the trader's \"own file\n" + plainly},
    };
    for (const auto& [name, text] : forms) {
        SCOPED_TRACE(name);
        const Finished finished = MarginOf(Write(std::string(name) + ".csv", text));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        EXPECT_EQ(finished.out, expected);
        EXPECT_THAT(finished.errors, IsEmpty());
    }
}

TEST_F(InputDoors, OneOfTheFilesMayBeStandardInput)
{
    const std::string expected = RunToEnd(MarginOfExamples("csv")).out;
    const struct
    {
        std::string market = Example("market.xml");
        std::string accounts = Example("accounts.csv");
        std::string positions = Example("positions.csv");
        std::string input;
    } cases[] = {{"-", Example("accounts.csv"), Example("positions.csv"), Example("market.xml")},
                 {Example("market.xml"), "-", Example("positions.csv"), Example("accounts.csv")},
                 {Example("market.xml"), Example("accounts.csv"), "-", Example("positions.csv")}};
    for (const auto& [market, accountsFile, positionsFile, input] : cases) {
        const Finished finished = RunToEnd(
            WithInput(input, Margin({"--instruments", market, "--format", "csv"}, accountsFile, positionsFile)));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        EXPECT_EQ(FiguresOf(finished.out), FiguresOf(expected)) << input;
    }
    const std::string bad = Write("bad.csv", "level,code\nfirm,AA1\n");
    EXPECT_THAT(RunToEnd(WithInput(bad, Check({"--accounts", "-"}))).errors,
                HasSubstr("quindal: <stdin>:2: column \"code\": \"AA1\""));
    const Finished twice = RunToEnd(Margin({"--instruments", Example("market.xml")}, "-", "-"));
    EXPECT_NE(twice.status, 0);
    EXPECT_THAT(twice.errors, HasSubstr("standard input can be one of the files only"));
}

// A firm that is registered before its account would stand without one.
TEST_F(InputDoors, AccountsMayStandInAnyOrder)
{
    std::istringstream stream(ContentOf(Example("accounts.csv")));
    std::vector<std::string> rows;
    for (std::string line; std::getline(stream, line);)
        if (!line.starts_with('#')) rows.push_back(line);
    std::string text = rows.front() + '\n';
    // Clients, ratios, firms and accounts, each in their order.
    for (const char* const level : {"client", "ratio", "firm", "account"})
        for (const std::string& row : rows)
            if (row.starts_with(level)) text += row + '\n';
    const Finished finished = RunToEnd(
        Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv")}, Write("a.csv", text)));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_EQ(finished.out,
              RunToEnd(Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv")})).out);
}

TEST_F(InputDoors, HelpAndTheFilesCommandSpeakOfTheSameColumns)
{
    const Finished help = RunToEnd({QUINDAL_COMMAND, "margin", "--help"});
    EXPECT_EQ(help.status, 0);
    std::string words = help.out;
    words.erase(std::remove_if(words.begin(), words.end(), [](char c) { return c == ' ' || c == '\n'; }), words.end());
    for (const char* const columns : {"level,code,parent,margin_rule,", "level,code,instrument,quantity,price,",
                                      "what_if,client,instrument,side,quantity,price"})
        EXPECT_THAT(words, HasSubstr(columns));
    const Finished files = RunToEnd({QUINDAL_COMMAND, "files"});
    EXPECT_EQ(files.status, 0);
    EXPECT_THAT(ContentOf(Example("../docs/input-files.md")), EndsWith(files.out));
}

// ---- What is printed of texts of others ---------------------------------------------------------------------------

TEST_F(InputDoors, NoControlCharacterReachesTheTerminal)
{
    // An account id, a code and a file name may hold letters that move cursors, in UTF-8 marks without a shape.
    const std::string book = Write("orders.csv", "what_if,client,instrument,side,quantity\n\xE2\x80\xAE"
                                                 "tac,AA01001,INDX-12.26,buy,1\n");
    const Finished table =
        RunToEnd(Margin({"--instruments", Example("market.xml"), "--orders", book}, accounts, positions));
    EXPECT_EQ(table.status, 0) << table.errors;
    EXPECT_THAT(table.out, AllOf(HasSubstr("\\u202Etac"), Not(HasSubstr("\xE2\x80\xAE"))));
    const std::string file = Write("evil\x1B[31m.csv", "level\nx\x1B[0m\n");
    const Finished errors = RunToEnd(Check({"--accounts", file}));
    EXPECT_THAT(errors.errors, AllOf(HasSubstr("evil\\x1B[31m.csv:1: "), Not(HasSubstr("\x1B"))));
}

TEST_F(InputDoors, ACsvReportHandsNoFormulaToASpreadsheet)
{
    const std::string tree = Write("tree.csv", "level,code,parent\naccount,=1+2,\naccount,@home,\naccount,plain,\n"
                                               "firm,-A01,=1+2\nclient,-A01001,\n");
    const std::string none = Write("none.csv", "code,instrument,quantity\n");
    const Finished csv = RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "csv"}, tree, none));
    EXPECT_EQ(csv.status, 0) << csv.errors;
    EXPECT_EQ(FiguresOf(csv.out), "level,code,parent,volatility_go,delivery_and_volatility_go,go\n"
                                  "client,'-A01001,'-A01,0,0,0.00\nfirm,'-A01,'=1+2,,,0.00\n"
                                  "account,'=1+2,,,,0.00\naccount,'@home,,,,0.00\naccount,plain,,,,0.00\n");
    const Finished table = RunToEnd(Margin({"--instruments", Example("market.xml")}, tree, none));
    EXPECT_THAT(table.out, HasSubstr("\n=1+2 ")) << "the eye sees them as they are";
}

} // namespace
} // namespace test::InputDoorsTest
