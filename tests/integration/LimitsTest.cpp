// Limits of margins, and margins against those of the clearing.
#include <cmath>
#include <cstdio>

#include "CommandLine.h"

namespace test::LimitsTest {
namespace {

using namespace quindal::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string Money(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

std::string TextOf(const std::string& file)
{
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

/// The margins of a book, as its csv report has them.
std::vector<Row> MarginsOf(const std::string& accounts, const std::string& positions,
                           const std::string& market = Example("market.xml"))
{
    const Finished finished = RunToEnd(Margin({"--instruments", market, "--format", "csv"}, accounts, positions));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return FromCsv(finished.out);
}

double MarginOf(const std::vector<Row>& rows, const std::string& code)
{
    for (const Row& row : rows)
        if (row.code == code) return row.go;
    ADD_FAILURE() << code;
    return 0.0;
}

class Limits : public CommandErrors
{
protected:
    Finished With(const std::string& rows, const std::string& format = "csv")
    {
        return RunToEnd(Margin({"--instruments", Example("market.xml"), "--limits",
                                Write("limits.csv", "level,code,limit\n" + rows), "--format", format}));
    }
};

TEST_F(Limits, TellTheExceededOnesFirstAndEndWithFive)
{
    const std::vector<Row> margins = MarginsOf(Example("accounts.csv"), Example("positions.csv"));
    const double client = MarginOf(margins, "CL01001");
    const double firm = MarginOf(margins, "CL02");
    const double account = MarginOf(margins, "HOUSE");
    const std::string rows = "client,CL01001," + Money(client - 0.01) + "\n,HS01001,0\naccount,HOUSE," +
                             Money(account + 1) + "\nfirm,CL02," + Money(firm) + '\n';
    const Finished csv = With(rows);
    EXPECT_EQ(csv.status, 5);
    EXPECT_EQ(csv.errors, "quindal: 2 of 4 limits are exceeded\n");
    EXPECT_EQ(FiguresOf(csv.out), "level,code,limit_is,go,limit,left\n"
                                  "client,HS01001,exceeded," +
                                      Money(account) + ",0.00," + Money(-account) +
                                      "\n"
                                      "client,CL01001,exceeded," +
                                      Money(client) + ',' + Money(client - 0.01) +
                                      ",-0.01\n"
                                      "firm,CL02,within," +
                                      Money(firm) + ',' + Money(firm) +
                                      ",0.00\n"
                                      "account,HOUSE,within," +
                                      Money(account) + ',' + Money(account + 1) + ",1.00\n")
        << "HS01001 is all that HOUSE has; a margin may reach its limit";

    const auto json = nlohmann::json::parse(With(rows, "json").out);
    ASSERT_EQ(json.at("limits").size(), 4U);
    EXPECT_EQ(json.at("clients").size(), 10U) << "the figures of the book are there as without limits";
    EXPECT_EQ(json.at("limits")[1], (nlohmann::json{{"level", "client"},
                                                    {"code", "CL01001"},
                                                    {"isExceeded", true},
                                                    {"GO", client},
                                                    {"limit", std::stod(Money(client - 0.01))},
                                                    {"left", -0.01}}));

    const std::vector<std::string> lines = Split(With(rows, "table").out, "\n");
    EXPECT_THAT(SplitColumns(lines[0]), ElementsAre("Level", "Code", "Limit is", "GO", "Limit", "Left"));
    EXPECT_THAT(SplitColumns(lines[2]).back(), "-0.01");
    EXPECT_THAT(lines[5], IsEmpty());
    EXPECT_THAT(lines[6], StartsWith("Client "));
}

TEST_F(Limits, ThatAreKeptEndWithNothing)
{
    const Finished finished = With("client,CL01001,1000000000\n");
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.errors, IsEmpty());
}

TEST_F(Limits, OfNobodyAreRefused)
{
    const Finished finished = With("client,CL0100,5.123\nfirm,CL01,1\nfirm,CL01,2\nfirm,HOUSE,-1\n");
    ExpectRefusal(finished);
    EXPECT_EQ(finished.status, 1);
    for (const char* message :
         {"limits.csv:2: column \"limit\": \"5.123\" has more than 2 digits behind the point",
          "limits.csv:2: column \"code\": \"CL0100\" is none of the clients in the accounts; did you mean \"CL01001\"?",
          "limits.csv:4: column \"code\": \"CL01\" stands twice, first in line 3",
          "limits.csv:5: column \"code\": \"HOUSE\" is none of the firms in the accounts",
          "limits.csv:5: column \"limit\": \"-1\" is out of range: from 0 to 10^12"})
        EXPECT_THAT(finished.errors, HasSubstr(message));
}

TEST_F(Limits, AndWhatIfsAreTwoTablesThatCsvHasNoRoomFor)
{
    const Finished finished =
        RunToEnd(Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv"), "--limits",
                         Write("limits.csv", "code,limit\nCL01001,1\n"), "--format", "csv"}));
    ExpectRefusal(finished);
    EXPECT_EQ(finished.status, 2);
}

// ---- the clearing's margins ---------------------------------------------------------------------------------------

/// What is told of one level in the csv report.
struct Told
{
    std::string is;
    std::string ours;
    std::string clearing;
    std::string difference;
    std::string explanation;
};

class Reconcile : public CommandErrors
{
protected:
    Finished Run(const std::string& report, std::vector<std::string> further = {}, const std::string& format = "json")
    {
        std::vector<std::string> arguments{QUINDAL_COMMAND, "reconcile",
                                           "--report",      Write("clearing.csv", report),
                                           "--instruments", Example("market.xml"),
                                           "--accounts",    book,
                                           "--positions",   held,
                                           "--format",      format};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return RunToEnd(arguments);
    }
    /// The report by codes, in its order; money as text, several explanations with "; " between them.
    static std::vector<std::pair<std::string, Told>> Levels(const std::string& json)
    {
        const auto moneyOf = [](const nlohmann::json& level, const char* name) {
            return level.contains(name) ? Money(level.at(name)) : std::string();
        };
        std::vector<std::pair<std::string, Told>> levels;
        const auto document = nlohmann::json::parse(json);
        for (const auto& level : document.at("levels")) {
            Told told{level.at("is"), moneyOf(level, "ours"), moneyOf(level, "clearing"), moneyOf(level, "difference"),
                      ""};
            for (const std::string explanation : level.at("explanations"))
                told.explanation += (told.explanation.empty() ? "" : "; ") + explanation;
            levels.emplace_back(level.at("code"), told);
        }
        return levels;
    }
    /// What is told of one client.
    static Told ToldOf(const std::string& client, const std::string& json)
    {
        for (const auto& [code, told] : Levels(json))
            if (code == client) return told;
        ADD_FAILURE() << client;
        return {};
    }
    /// What is told of the client when the clearing has the margin of a book with something else in it.
    std::string ExplanationOf(const std::string& otherAccounts, const std::string& otherPositions)
    {
        const double clearing = MarginOf(
            MarginsOf(Write("other_accounts.csv", otherAccounts), Write("other_positions.csv", otherPositions)),
            "AA01001");
        const Finished finished = Run("code,go\nAA01001," + Money(clearing) + '\n');
        EXPECT_EQ(finished.status, 5) << finished.errors;
        const Told told = ToldOf("AA01001", finished.out);
        EXPECT_EQ(told.clearing, Money(clearing));
        return told.explanation;
    }

    static constexpr const char* Accounts = "level,code,parent,risk_level,no_discount,calendar,go_ratio\n"
                                            "firm,AA01,,,,,\nclient,AA01001,,,,,1.25\nclient,AA01002,,,,,\n";
    static constexpr const char* Positions = "code,instrument,quantity,price,after_last_clearing\n"
                                             "AA01001,INDX-12.26,5,3300,5\n"
                                             "AA01001,INDX-3.27,-3,3350,-3\n"
                                             "AA01001,CRUD-12.26,-7,71,-4\n"
                                             "AA01002,INDX-12.26,5,3300,5\n";
    static std::string Changed(std::string text, const std::string& what, const std::string& into)
    {
        const std::size_t at = text.find(what);
        EXPECT_NE(at, std::string::npos) << what;
        return text.replace(at, what.size(), into);
    }
    const std::string book = Write("accounts.csv", Accounts);
    const std::string held = Write("positions.csv", Positions);
};

TEST_F(Reconcile, ReadsOurOwnReportAndAgreesWithIt)
{
    const Finished own = RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "csv"}, book, held));
    const Finished finished = Run(own.out);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    const auto levels = Levels(finished.out);
    ASSERT_EQ(levels.size(), 3U);
    for (const auto& [code, told] : levels) {
        EXPECT_EQ(told.is, "equal") << code;
        EXPECT_EQ(told.ours, told.clearing);
        EXPECT_EQ(told.difference, "0.00");
    }
    EXPECT_EQ(Run(own.out, {}, "table").out, "3 equal, 0 within 0.00, 0 off\n");
}

TEST_F(Reconcile, SaysWhatOfTheBookWouldHaveToBeAnother)
{
    EXPECT_EQ(ExplanationOf(Accounts, Changed(Positions, "AA01001,CRUD-12.26,-7,71,-4\n", "")),
              "without the position in CRUD-12.26 (-7 contracts)");
    EXPECT_EQ(ExplanationOf(Accounts, Changed(Positions, "CRUD-12.26,-7,71,-4", "CRUD-12.26,7,71,4")),
              "with the position in CRUD-12.26 (-7 contracts) the other way round");
    EXPECT_EQ(ExplanationOf(Accounts, Changed(Positions, "CRUD-12.26,-7,71,-4", "CRUD-12.26,-4,71,-4")),
              "with -4 contracts of CRUD-12.26, as the last clearing left it");
    EXPECT_EQ(ExplanationOf(Accounts, Changed(Positions, "CRUD-12.26,-7,71,", "CRUD-12.26,-7,,")),
              "with the position in CRUD-12.26 (-7 contracts) at its calculated price");
    EXPECT_EQ(ExplanationOf(Changed(Accounts, "AA01001,,,,,1.25", "AA01001,,high,,,1.25"), Positions),
              "at the risk level high");
    EXPECT_THAT(ExplanationOf(Changed(Accounts, "AA01001,,,,,1.25", "AA01001,,,,half_netting,1.25"), Positions),
                HasSubstr("with calendar spreads under half_netting"))
        << "by its losses alone the far month counts for nothing, so leaving it out comes to the same";
    EXPECT_THAT(ExplanationOf(Changed(Accounts, "AA01001,,,,,1.25", "AA01001,,,,,"), Positions),
                HasSubstr("without its GO ratio"));
}

TEST_F(Reconcile, SeesARoundingAndAFactor)
{
    const double ours = MarginOf(MarginsOf(book, held), "AA01002");
    const auto explanationOf = [&](double clearing) {
        return ToldOf("AA01002", Run("code,go\nAA01002," + Money(clearing) + "\nAA01001,1\n").out).explanation;
    };
    EXPECT_EQ(explanationOf(std::ceil(ours)), "ours, rounded up to whole units");
    EXPECT_EQ(explanationOf(std::round(ours / 100) * 100), "ours, rounded to whole hundreds") << ours;
    EXPECT_EQ(explanationOf(1.5 * ours), "1.50 times ours, as a GO ratio would have it");
}

TEST_F(Reconcile, TriesOtherPositionsAndAnotherMarket)
{
    const std::string otherPositions = Changed(Positions, "INDX-12.26,5,3300,5", "INDX-12.26,8,3290,8");
    const std::string others = Write("evening.csv", otherPositions);
    const double evening = MarginOf(MarginsOf(book, others), "AA01001");
    const Finished finished = Run("code,go\nAA01001," + Money(evening) + '\n', {"--other-positions", others});
    EXPECT_EQ(ToldOf("AA01001", finished.out).explanation, "the positions of " + others);

    const std::string market = Write(
        "older.xml", Changed(TextOf(Example("market.xml")), "CalcFutPrice=\"3302.5\"", "CalcFutPrice=\"3287.5\""));
    const double older = MarginOf(MarginsOf(book, held, market), "AA01001");
    const Finished inOther = Run("code,go\nAA01001," + Money(older) + '\n', {"--other-instruments", market});
    EXPECT_EQ(inOther.status, 5);
    EXPECT_EQ(ToldOf("AA01001", inOther.out).explanation, "the market of " + market);
    EXPECT_THAT(ToldOf("AA01001", Run("code,go\nAA01001," + Money(older) + '\n').out).explanation, IsEmpty())
        << "nothing else explains it";
}

TEST_F(Reconcile, TakesATolerancesEdgeForAgreement)
{
    const double ours = MarginOf(MarginsOf(book, held), "AA01002");
    const auto isTold = [&](double clearing, const char* tolerance) {
        const Told told = ToldOf(
            "AA01002", Run("code,go\nAA01002," + Money(clearing) + "\nAA01001,1\n", {"--tolerance", tolerance}).out);
        return told.is + ' ' + told.difference;
    };
    EXPECT_EQ(isTold(ours + 0.05, "0.05"), "within 0.05");
    EXPECT_EQ(isTold(ours - 0.05, "0.05"), "within -0.05");
    EXPECT_EQ(isTold(ours + 0.06, "0.05"), "off 0.06");
    EXPECT_EQ(isTold(ours, "0"), "equal 0.00");
    EXPECT_EQ(isTold(ours / 0.99 - 0.01, "1%").substr(0, 6), "within") << "a share is one of the clearing's margin";
    EXPECT_EQ(isTold(ours / 0.99 + 0.02, "1%").substr(0, 3), "off");
}

TEST_F(Reconcile, OrdersDifferencesByMoneyAndNamesWhoIsMissing)
{
    const std::vector<Row> margins = MarginsOf(book, held);
    const std::string report = "level,code,go\nfirm,AA01," + Money(MarginOf(margins, "AA01") - 5) +
                               "\nclient,BB01001,7.5\nclient,AA01001," + Money(MarginOf(margins, "AA01001") + 6) + '\n';
    const auto levels = Levels(Run(report).out);
    ASSERT_EQ(levels.size(), 4U);
    const double missing = MarginOf(margins, "AA01002");
    EXPECT_EQ(levels[0].first, "AA01002") << "ours alone";
    EXPECT_EQ(levels[0].second.difference, Money(-missing));
    EXPECT_THAT(levels[0].second.clearing, IsEmpty());
    EXPECT_EQ(levels[1].first, "BB01001") << "the clearing's alone";
    EXPECT_THAT(levels[1].second.ours, IsEmpty());
    EXPECT_EQ(levels[2].first, "AA01001");
    EXPECT_EQ(levels[3].first, "AA01");
    EXPECT_EQ(levels[3].second.explanation, "clients below are off themselves: AA01002, AA01001");
    const std::string table = Run(report, {}, "table").out;
    EXPECT_THAT(table, StartsWith("0 equal, 0 within 0.00, 4 off\n"));
    EXPECT_THAT(table, HasSubstr("not in the book"));
    EXPECT_THAT(table, HasSubstr("not told"));
    EXPECT_EQ(nlohmann::json::parse(Run(report).out).at("off"), 4);
    const std::vector<std::string> lines = Split(FiguresOf(Run(report, {}, "csv").out), "\n");
    EXPECT_EQ(lines[0], "level,code,is,ours,clearing,difference,explanation");
    EXPECT_EQ(lines[1], "client,AA01002,off," + Money(missing) + ",," + Money(-missing) + ',');
    EXPECT_THAT(lines[4], testing::EndsWith(",\"clients below are off themselves: AA01002, AA01001\""));
}

TEST_F(Reconcile, SaysOfAClientWithoutPositionsThatItHasNone)
{
    Write("positions.csv", "code,instrument,quantity,price\nAA01001,INDX-12.26,5,3300\n");
    const auto levels = Levels(Run("code,go\nAA01002,100\n").out);
    EXPECT_EQ(levels[1].first, "AA01002");
    EXPECT_EQ(levels[1].second.explanation, "the book has no positions of it");
}

TEST_F(Reconcile, RefusesWhatCannotBeHeldAgainstABook)
{
    const Finished twice = Run("code,go\nAA01001,1\nAA01001,2\n");
    ExpectRefusal(twice);
    EXPECT_THAT(twice.errors, HasSubstr("clearing.csv:3: column \"code\": \"AA01001\" stands twice, first in line 2"));
    ExpectRefusal(Run("code\nAA01001\n"));
    for (const char* tolerance : {"-1", "1%%", "x", "nan", "inf", ""}) {
        const Finished finished = Run("code,go\nAA01001,1\n", {"--tolerance", tolerance});
        EXPECT_EQ(finished.status, 2) << tolerance;
        EXPECT_THAT(finished.errors, HasSubstr("--tolerance")) << tolerance;
    }
}

} // namespace
} // namespace test::LimitsTest
