// The command line, run as a program: its figures, its errors, its server.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "PlainMargin.h"

namespace test::CommandLineTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(MarginCommand, PrintsTheSameFiguresInAllThreeFormats)
{
    const Finished table = RunToEnd(MarginOfExamples("table"));
    const Finished csv = RunToEnd(MarginOfExamples("csv"));
    const Finished json = RunToEnd(MarginOfExamples("json"));
    for (const Finished* finished : {&table, &csv, &json}) {
        EXPECT_EQ(finished->status, 0) << finished->errors;
        EXPECT_THAT(finished->errors, IsEmpty());
    }
    const std::vector<Row> ofCsv = FromCsv(csv.out);
    const std::vector<Row> ofJson = FromJson(json.out);
    const std::vector<Row> ofTable = FromTable(table.out);
    ASSERT_EQ(ofCsv.size(), 18U) << "ten clients, five firms, three accounts";
    ASSERT_EQ(ofJson.size(), ofCsv.size());
    ASSERT_EQ(ofTable.size(), ofCsv.size());
    for (std::size_t i = 0; i < ofCsv.size(); ++i) {
        const Row& row = ofCsv[i];
        SCOPED_TRACE(row.code);
        for (const Row* other : {&ofJson[i], &ofTable[i]}) {
            EXPECT_EQ(other->code, row.code);
            if (i < 10 || other == &ofJson[i] || !row.parent.empty()) {
                EXPECT_EQ(other->parent, row.parent);
            }
            EXPECT_DOUBLE_EQ(other->go, row.go);
            EXPECT_EQ(other->volatility.has_value(), row.volatility.has_value());
        }
        EXPECT_EQ(row.volatility.has_value(), i < 10) << "unrounded figures are the clients'";
        if (!row.volatility) continue;
        EXPECT_EQ(*ofJson[i].volatility, *row.volatility) << "to the last bit";
        EXPECT_EQ(*ofJson[i].delivery, *row.delivery);
        EXPECT_NEAR(*ofTable[i].volatility, *row.volatility, 0.00501) << "to nearest cents";
        EXPECT_NEAR(*ofTable[i].delivery, *row.delivery, 0.00501);
    }
}

TEST(MarginCommand, FiguresOfTheExamplesEqualThePlainModel)
{
    const Finished csv = RunToEnd(MarginOfExamples("csv"));
    ASSERT_EQ(csv.status, 0) << csv.errors;
    const plain::Market market = ReadMarket(Example("market.xml"));
    const std::vector<ClientOfExamples> clients = ReadClients(market);
    std::vector<Row> rows = FromCsv(csv.out);
    ASSERT_EQ(clients.size(), 10U);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const ClientOfExamples& client = clients[i];
        const Row& row = rows.at(i);
        SCOPED_TRACE(client.code);
        ASSERT_EQ(row.code, client.code);
        EXPECT_GT(row.go, 0.0);
        const double w = client.deliveryWeight;
        const double raw = ((1.0 - w) * *row.volatility + w * *row.delivery) * client.goRatio;
        EXPECT_DOUBLE_EQ(row.go, std::ceil(std::round(raw * 100000) / 100000 * 100) / 100);
        EXPECT_EQ(*row.volatility != *row.delivery, client.rules.clearings > 0) << "one holds options about to expire";
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book);
        EXPECT_NEAR(*row.volatility, expected.volatility, 1e-9 * expected.volatility);
        EXPECT_NEAR(*row.delivery, expected.delivery, 1e-9 * expected.delivery);
    }
}

TEST_F(CommandErrors, TheGoodFilesOfTheseTestsAreGood)
{
    const Finished finished = RunWith(accounts, positions);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out, HasSubstr("AA01001"));
}

/// A file of rows, and what is said of it behind its name.
struct BadFile
{
    const char* name;
    std::string content;
    const char* problem;
};

class RefusedRows : public CommandErrors
{
protected:
    template <class Run>
    void ExpectNamed(const BadFile& bad, const Run& run)
    {
        SCOPED_TRACE(bad.name);
        const std::string file = Write(std::string(bad.name) + ".csv", bad.content);
        const Finished finished = run(file);
        ExpectRefusal(finished);
        EXPECT_EQ(finished.status, 1);
        EXPECT_THAT(finished.errors, HasSubstr("quindal: " + file + bad.problem));
    }
};

// What was once taken, and made a figure of: each with exit status 0.
TEST_F(RefusedRows, NoPositionBecomesAWrongMarginInSilence)
{
    const std::string header = "level,code,instrument,quantity,price\n";
    const BadFile cases[] = {
        {"nan", header + "client,AA01001,INDX-12.26,1,nan\n", ":2: column \"price\": \"nan\" is not a finite number"},
        {"inf", header + "client,AA01001,INDX-12.26,1,inf\n", ":2: column \"price\": \"inf\" is not a finite number"},
        {"huge", header + "client,AA01001,INDX-12.26,1,1e300\n", ":2: column \"price\": \"1e300\" is out of range"},
        {"no column", "level,code,instrument,price\nclient,AA01001,INDX-12.26,1\n",
         ":1: column \"quantity\" is missing"},
        {"no quantity", header + "client,AA01001,INDX-12.26,,3300\n", ":2: column \"quantity\" is empty"},
        {"spread", header + "client,AA01001,INDX-12.26-3.27,1,66\n",
         ":2: column \"instrument\": \"INDX-12.26-3.27\" is a calendar spread: hold its legs"},
        {"series", header + "client,AA01001,INDX-17DEC26,1,66\n",
         ":2: column \"instrument\": \"INDX-17DEC26\" is an option series: name one of its options"},
        {"twice", header + "client,AA01001,INDX-12.26,1,\nclient,AA01001,INDX-3.27,1,\nclient,AA01001,INDX-12.26,2,\n",
         ":4: column \"instrument\": \"INDX-12.26\" of AA01001 stands twice, first in line 2"},
        {"unknown", header + "client,AA01001,INDX-12.26,1,\n\nclient,AA01001,INDX-12.62,1,\n",
         ":4: column \"instrument\": \"INDX-12.62\" is none of the instruments of the market; did you mean "
         "\"INDX-12.26\"?"},
        {"holder", header + "client,AA01002,INDX-12.26,1,\n",
         ":2: column \"code\": \"AA01002\" is none of the clients in the accounts; did you mean \"AA01001\"?"},
        {"ignored", header + "firm,AA01,INDX-12.26,1,\n",
         ":2: column \"code\": \"AA01\" is not under the netting rule"},
    };
    for (const BadFile& bad : cases)
        ExpectNamed(bad, [&](const std::string& file) { return RunWith(accounts, file); });
}

TEST_F(RefusedRows, NoAccountBecomesAWrongMarginInSilence)
{
    const std::string good = "firm,AA01,,,\nclient,AA01001,,,\n";
    const std::string header = "level,code,parent,go_ratio,exp_weight\n" + good;
    const BadFile cases[] = {
        {"ratio", header + "client,AA01002,,-1.5,\n",
         ":4: column \"go_ratio\": \"-1.5\" is out of range: from 0 to 10"},
        {"parent", header + "account,HOUSE,,,\nfirm,AA02,HOUES,,\n",
         ":5: column \"parent\": \"HOUES\" is none of the settlement accounts; did you mean \"HOUSE\"?"},
        {"nan", header + "ratio,AA01,INDX,nan,\n", ":4: column \"go_ratio\": \"nan\" is not a finite number"},
        {"contract", header + "ratio,AA01,IMDX,1.2,\n",
         ":4: column \"parent\": \"IMDX\" is none of the base contracts of the market; did you mean \"INDX\"?"},
        {"weight", header + "client,AA01002,,,7\n",
         ":4: column \"exp_weight\": \"7\" is out of range: from 0 to 1, or -1"},
        {"firm", header + "client,BB99001,,,\n",
         ":4: column \"code\": \"BB99001\" begins with \"BB99\", which is none of the firms in the accounts"},
        {"length", header + "firm,AA1,,,\n", ":4: column \"code\": \"AA1\" is not of 4 characters"},
        {"twice", header + "client,AA01001,,,\n", ":4: column \"code\": \"AA01001\" stands twice, first in line 3"},
    };
    for (const BadFile& bad : cases)
        ExpectNamed(bad, [&](const std::string& file) { return RunWith(file, positions); });
}

TEST_F(RefusedRows, AreToldAllAtOnce)
{
    const std::string badAccounts = Write("a.csv", "level,code,go_ratio\nfirm,AA01,\nclient,AA01001,x\n");
    const std::string badPositions =
        Write("p.csv", "level,code,instrument,quantity\nclient,AA01001,INDX-99,1\nclient,AA01001,INDX-3.27,x\n");
    const Finished finished = RunWith(badAccounts, badPositions);
    ExpectRefusal(finished);
    EXPECT_EQ(finished.errors,
              "quindal: " + badAccounts + ":3: column \"go_ratio\": \"x\" is not a number\n" + "quindal: " +
                  badPositions + ":2: column \"instrument\": \"INDX-99\" is none of the instruments of the market\n" +
                  "quindal: " + badPositions + ":3: column \"quantity\": \"x\" is not a whole number\n");
}

TEST_F(CommandErrors, WordsAndNumbersThatMakeNoSenseAreNamedByFileLineAndColumn)
{
    struct Case
    {
        const char* name;
        const char* content;
        const char* line;
        const char* text;
    };
    const Case cases[] = {
        {"column", "level,code,parentt\nfirm,AA01,\n", ":1: ", "unknown column \"parentt\""},
        {"twice", "level,code,code\nfirm,AA01,\n", ":1: ", "column \"code\" stands twice"},
        {"level", "level,code,parent\nfirms,AA01,\n", ":2: ", "column \"level\": \"firms\" is none of "},
        {"number", "level,code,exp_weight\nfirm,AA01,half\n",
         ":2: ", "column \"exp_weight\": \"half\" is not a number"},
        {"integer", "level,code,clearings\nfirm,AA01,1.5\n", ":2: ", "\"1.5\" is not a whole number"},
        {"empty", "level,code\nfirm,\n", ":2: ", "column \"code\" is empty"},
        {"cells", "level,code\nfirm,AA01,HOUSE\n", ":2: ", "more cells than the header has"},
        {"quote", "level,code\nfirm,\"AA01\n", ":2: ", "a quotation mark is not closed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string file = Write(std::string(c.name) + ".csv", c.content);
        const Finished finished = RunWith(file, positions);
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, AllOf(HasSubstr(file + c.line), HasSubstr(c.text)));
    }
}

TEST_F(CommandErrors, AFileThatIsNotThereIsNamed)
{
    for (const std::string missing : {"/nowhere/accounts.csv", "/tmp"}) {
        const Finished finished = RunWith(missing, positions);
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(missing + ": cannot be read"));
    }
    const Finished finished = RunToEnd(Margin({"--instruments", "/nowhere/market.xml"}, accounts, positions));
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors, HasSubstr("/nowhere/market.xml: cannot be read"));
}

TEST_F(CommandErrors, AMarketThatIsNoMarketIsNamed)
{
    const std::string cut = Write("cut.xml", "<root>\n<Currency IndicatorID=\"1\" Radius=\"0\"/>\n");
    const Finished ofCut = RunToEnd(Margin({"--instruments", cut}, accounts, positions));
    ExpectRefusal(ofCut);
    EXPECT_THAT(ofCut.errors, HasSubstr(cut + ":2: ")) << "where the text ends without the root's end";
    const std::pair<const char*, int> broken[] = {{"<root>\n\n<a></b></root>", 3},
                                                  {"<root>\n<Currency Radius=\"&no;\"/></root>", 2},
                                                  {"<root/>\n<root/>", 2},
                                                  {"<root>\n</root>\n text", 3}};
    for (const auto& [market, line] : broken) {
        const std::string file = Write("broken.xml", market);
        const Finished finished = RunToEnd(Margin({"--instruments", file}, accounts, positions));
        ExpectRefusal(finished);
        EXPECT_THAT(finished.errors, HasSubstr(file + ":" + std::to_string(line) + ": ")) << market;
    }
    std::string deep;
    for (int level = 0; level < 60'000; ++level)
        deep += "<a>";
    const std::string file = Write("deep.xml", deep);
    const Finished ofDeep = RunToEnd(Margin({"--instruments", file}, accounts, positions));
    ExpectRefusal(ofDeep);
    EXPECT_THAT(ofDeep.errors, HasSubstr(file + ":1: "));
    const std::string incomplete = Write("incomplete.xml", "<root><Currency IndicatorID=\"1\"/></root>");
    const Finished ofIncomplete = RunToEnd(Margin({"--instruments", incomplete}, accounts, positions));
    ExpectRefusal(ofIncomplete);
    EXPECT_THAT(ofIncomplete.errors, HasSubstr(incomplete + ":1: Currency: No such node (<xmlattr>.Radius)"));
}

TEST_F(CommandErrors, AnEmptyFileHasNoHeader)
{
    const Finished finished = RunWith(Write("empty.csv", ""), positions);
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors, HasSubstr("empty.csv: has no header row"));
}

class MarginOfOptions : public CommandErrors
{
protected:
    /// The margin of the one client's positions in this market.
    Finished RunWith(const std::string& rows)
    {
        const std::string book = Write("book.csv", "level,code,instrument,quantity,price,after_last_clearing\n" + rows);
        return RunToEnd(Margin({"--instruments", market, "--format", "csv"}, accounts, book));
    }
    const std::string market = Write("options.xml", OptionsMarket);
};

// At the price on its wrong side a bought option is worth nothing: three calls lose 30, four puts 48. The loss grows by
// the move of the currency, 0.05, as far as the options' own value does not cover it. That value goes by what the last
// clearing left, which is the whole position unless the file says otherwise, and by the calculated price.
TEST_F(MarginOfOptions, TakesOptionsByTheirCodesAtTheirOwnOrTheCalculatedPrice)
{
    const struct
    {
        const char* position;
        double go;
    } cases[] = {
        {"client,AA01001,PAID-C1000,3,10,\n", 30.0},  // worth 3 x 10: covered
        {"client,AA01001,PAID-C1000,3,,\n", 30.0},    // the same at the calculated price
        {"client,AA01001,PAID-C1000,3,,0\n", 31.5},   // bought since the clearing: 30 + 0.05 x 30
        {"client,AA01001,PAID-P1000,4,,0\n", 50.4},   // 48 + 0.05 x 48
        {"client,AA01001,PAID-P1000,4,15,2\n", 61.8}, // loses 60, worth 24: 60 + 0.05 x 36
        {"client,AA01001,PAID-P1000,0,,\n", 0.0},
    };
    for (const auto& [position, go] : cases) {
        const Finished finished = RunWith(position);
        ASSERT_EQ(finished.status, 0) << position << finished.errors;
        const std::vector<Row> rows = FromCsv(finished.out);
        ASSERT_EQ(rows.size(), 2U) << position;
        EXPECT_EQ(rows[0].code, "AA01001");
        EXPECT_NEAR(*rows[0].volatility, go, 1e-9) << position;
        EXPECT_DOUBLE_EQ(rows[0].go, go) << position;
    }
}

TEST_F(MarginOfOptions, NamesTheLineOfASeriesThatIsTakenForAnInstrument)
{
    const Finished finished = RunWith("client,AA01001,PAID-C1000,1,,\nclient,AA01001,PAID,1,,\n");
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors,
                HasSubstr("book.csv:3: column \"instrument\": \"PAID\" is an option series: name one of its options"));
}

TEST_F(MarginOfOptions, TellsWhichSeriesOfAMarketIsRefused)
{
    std::string broken = OptionsMarket;
    broken.replace(broken.find("LotCoeff=\"1\""), 12, "LotCoeff=\"0\"");
    const std::string file = Write("broken.xml", broken);
    const Finished finished = RunToEnd(Margin({"--instruments", file}, accounts, positions));
    ExpectRefusal(finished);
    const std::string line =
        std::to_string(1 + std::count(broken.begin(),
                                      broken.begin() + static_cast<std::ptrdiff_t>(broken.find("<VirtFutures")), '\n'));
    EXPECT_THAT(finished.errors, AllOf(HasSubstr(file + ":" + line + ": VirtFutures \"PAID\": "),
                                       HasSubstr("assertion (LotCoeff>=1) failed"), Not(HasSubstr("PAID-C1000"))))
        << "its options are not blamed for it";
}

// scripts/demo.sh runs the examples with what-ifs; the first page shows all of what it prints.
TEST(MarginCommand, PrintsOfTheExamplesWhatTheFirstPageShows)
{
    std::ostringstream page;
    page << std::ifstream(Example("../README.md"), std::ios::binary).rdbuf();
    const Finished table =
        RunToEnd(Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv")}));
    EXPECT_THAT(page.str(), HasSubstr("\n```\n" + table.out + "```\n"));
}

TEST(MarginCommand, NamesTheIniFileThatIsNotThereAndTheRouterThatIsNot)
{
    const quindal::TemporaryFolder folder("quindal-ini-");
    const Finished missing = RunToEnd(Margin({"--ini", "/nowhere/quindal.ini", "--user", "U"}), {"QUINDAL_PASSWORD=x"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.errors, HasSubstr("quindal: /nowhere/quindal.ini: cannot be read: No such file or directory"));
    // Nobody listens on port 1.
    const std::string ini = (folder.Path() / "quindal.ini").string();
    std::ofstream(ini) << "[QuindalIM::mq]\nport = 1\ntimeout = 1000\n";
    const Finished nobody = RunToEnd(Margin({"--ini", ini, "--user", "U"}), {"QUINDAL_PASSWORD=x"});
    EXPECT_EQ(nobody.status, 3);
    EXPECT_THAT(nobody.out, IsEmpty());
    EXPECT_THAT(nobody.errors, HasSubstr("quindal: " + ini +
                                         ": InitQuindalIM failed with code 94815: QuindalIM connect "
                                         "error (no router answers at the port of the ini file: is it running?)"));
    std::ofstream(ini) << "[QuindalIM::mq]\ntimeout = 1000\n";
    const Finished portless = RunToEnd(Margin({"--ini", ini, "--user", "U"}), {"QUINDAL_PASSWORD=x"});
    EXPECT_EQ(portless.status, 3);
    EXPECT_THAT(portless.errors, HasSubstr("quindal: " + ini + ": InitQuindalIM failed with code 94822"));
}

} // namespace
} // namespace test::CommandLineTest
