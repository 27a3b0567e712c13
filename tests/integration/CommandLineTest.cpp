// The command line, run as a program: its figures, its errors, its server.
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

namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* Password = "sesame-of-USER01";

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

TEST_F(CommandErrors, AnAccountThatTheLibraryRefusesIsNamedByFileLineCodeAndText)
{
    const std::string broken = Write("accounts.csv", "# a comment\nlevel,code,parent\nfirm,AA1,\n");
    const Finished finished = RunWith(broken, positions);
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors,
                HasSubstr(broken + ":3: RegisterFirm failed with code 94811: QuindalIM wrong arguments"));

    const std::string orphan = Write("orphan.csv", "level,code,parent\nclient,BB01001,\n");
    const Finished withoutFirm = RunWith(orphan, positions);
    ExpectRefusal(withoutFirm);
    EXPECT_THAT(withoutFirm.errors, HasSubstr(orphan + ":2: RegisterPart failed with code 94720: Firm not found"));
}

TEST_F(CommandErrors, AnUnknownInstrumentIsNamedByFileLineCodeAndText)
{
    const std::string unknown = Write("positions.csv", "level,code,instrument,quantity\nclient,AA01001,INDX-12.26,1\n\n"
                                                       "client,AA01001,NONE-12.26,1\n");
    const Finished finished = RunWith(accounts, unknown);
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors, HasSubstr(unknown + ":4: SetPosition failed with code 94813: QuindalIM not found"));
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
        {"quote", "level,code\nfirm,\"AA01\n", ":2: ", ""},
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
    EXPECT_THAT(ofIncomplete.errors,
                HasSubstr("GetInstrumentParameters failed with code 94808: QuindalIM common error (No such node "
                          "(<xmlattr>.Radius))"))
        << "the code says little, the link knows why";
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
        {"client,AA01001,PAID-P1000,4,,\nclient,AA01001,PAID-P1000,0,,\n", 0.0},
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
    EXPECT_THAT(finished.errors, HasSubstr("book.csv:3: SetPosition failed with code 94813: QuindalIM not found"));
}

TEST_F(MarginOfOptions, TellsWhichSeriesOfAMarketIsRefused)
{
    std::string broken = OptionsMarket;
    broken.replace(broken.find("LotCoeff=\"1\""), 12, "LotCoeff=\"0\"");
    const Finished finished = RunToEnd(Margin({"--instruments", Write("broken.xml", broken)}, accounts, positions));
    ExpectRefusal(finished);
    EXPECT_THAT(finished.errors,
                AllOf(HasSubstr("GetInstrumentParameters failed with code 94808"),
                      HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertOptionSeries with code: PAID - failed")));
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

/// Processes whose parent is this one.
std::vector<pid_t> ChildrenOf(pid_t parent)
{
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream status(entry.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line == "PPid:\t" + std::to_string(parent)) children.push_back(std::stoi(name));
    }
    return children;
}

std::string ArgumentsOf(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline", std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class Serve : public testing::Test
{
protected:
    std::string Write(const std::string& name, const std::string& content)
    {
        const std::string path = (folder.Path() / name).string();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    ~Serve() override { Stop(); }
    void Stop()
    {
        if (!server) return;
        server->Signal(SIGTERM);
        static_cast<void>(server->Wait());
        server.reset();
    }
    /// Starts a server on a router of its own and takes the port from the line that it prints.
    void Start(std::vector<std::string> further = {})
    {
        const std::string users = Write("users.csv", "user,part_count,login_type,password\nUSER01,100,CLIENT," +
                                                         std::string(Password) + "\nUSER02,1,CLIENT,other\n");
        std::vector<std::string> arguments{QUINDAL_COMMAND,       "serve",   "--instruments",
                                           Example("market.xml"), "--users", users};
        arguments.insert(arguments.end(), further.begin(), further.end());
        // A killed server cannot remove its router's folder: it stands in the test's own.
        server.emplace(arguments, std::vector<std::string>{"TMPDIR=" + folder.Path().string()});
        const std::string line = server->ReadLine();
        ASSERT_TRUE(line.starts_with("serving kv7go_srv_60 on port ")) << line << server->Errors();
        ini = Write("margin.ini", "[QuindalIM::mq]\nport = " + line.substr(line.rfind(' ') + 1) + "\ntimeout = 5000\n" +
                                      "[QuindalIM::log]\nfile = " + (folder.Path() / "margin.log").string() +
                                      "\n[QuindalIM::xplog]\nfile = " + (folder.Path() / "trace.log").string() + "\n");
    }
    Finished MarginAs(const std::string& user, std::vector<std::string> variables)
    {
        return RunToEnd(Margin({"--ini", ini, "--user", user, "--orders", Example("orders.csv"), "--format", "csv"}),
                        std::move(variables));
    }

    quindal::TemporaryFolder folder{"quindal-serve-"};
    std::optional<ChildProcess> server;
    std::string ini;
};

TEST_F(Serve, AnswersAMarginRunWithTheFiguresOfAPrivateOne)
{
    const Finished alone = RunToEnd(
        Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv"), "--format", "csv"}));
    for (const bool plain : {false, true}) {
        Start(plain ? std::vector<std::string>{"--plain"} : std::vector<std::string>{});
        const Finished served = MarginAs("USER01", {std::string("QUINDAL_PASSWORD=") + Password});
        EXPECT_EQ(served.status, 0) << served.errors;
        EXPECT_EQ(served.out, alone.out);
        Stop();
    }
}

TEST_F(Serve, RefusesAWrongPasswordAndAMissingOne)
{
    Start();
    const Finished wrong = MarginAs("USER01", {"QUINDAL_PASSWORD=wrong"});
    EXPECT_NE(wrong.status, 0);
    EXPECT_THAT(wrong.out, IsEmpty());
    EXPECT_THAT(wrong.errors, HasSubstr("InitQuindalIM failed with code 94816: QuindalIM login error"));
    const Finished missing =
        RunToEnd(Margin({"--ini", ini, "--user", "USER01", "--password-env", "QUINDAL_NO_SUCH_VARIABLE"}));
    EXPECT_NE(missing.status, 0);
    EXPECT_THAT(missing.out, IsEmpty());
    EXPECT_THAT(missing.errors, HasSubstr("set the environment variable QUINDAL_NO_SUCH_VARIABLE"));
}

TEST_F(Serve, HoldsAUserToItsNumberOfClients)
{
    Start();
    const Finished finished = MarginAs("USER02", {"QUINDAL_PASSWORD=other"});
    EXPECT_NE(finished.status, 0);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr("RegisterPart failed with code 94818"));
}

TEST_F(Serve, EndsOnASignalWithStatusZeroAndTakesItsRouterAlong)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Start();
        const std::vector<pid_t> routers = ChildrenOf(server->Pid());
        ASSERT_EQ(routers.size(), 1U);
        EXPECT_THAT(ArgumentsOf(routers.front()), HasSubstr("nats-server"));
        server->Signal(signal);
        EXPECT_EQ(server->Wait(), 0);
        EXPECT_NE(::kill(routers.front(), 0), 0) << "the router has ended, and was waited for";
        EXPECT_THAT(server->Errors(), IsEmpty());
    }
}

// A server that is killed has no chance to end its router; the kernel does.
TEST_F(Serve, EvenAKilledServerLeavesNoRouterBehind)
{
    Start();
    const std::vector<pid_t> routers = ChildrenOf(server->Pid());
    ASSERT_EQ(routers.size(), 1U);
    server->Signal(SIGKILL);
    EXPECT_EQ(server->Wait(), 128 + SIGKILL);
    const auto isRouter = [&] { return ArgumentsOf(routers.front()).find("nats-server") != std::string::npos; };
    for (int wait = 0; wait < 500 && isRouter(); ++wait)
        ::usleep(10'000);
    EXPECT_FALSE(isRouter());
}

TEST_F(Serve, NoPasswordStandsInArgumentsOutputOrLogs)
{
    Start();
    std::vector<pid_t> all = ChildrenOf(server->Pid());
    all.push_back(server->Pid());
    for (const pid_t pid : all)
        EXPECT_THAT(ArgumentsOf(pid), AllOf(Not(IsEmpty()), Not(HasSubstr(Password)))) << pid;
    const Finished finished = MarginAs("USER01", {std::string("QUINDAL_PASSWORD=") + Password});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out + finished.errors, Not(HasSubstr(Password)));
    for (const char* log : {"margin.log", "trace.log"}) {
        std::ifstream file(folder.Path() / log);
        std::ostringstream text;
        text << file.rdbuf();
        EXPECT_THAT(text.str(), AllOf(Not(IsEmpty()), Not(HasSubstr(Password)))) << log;
    }
}

TEST_F(Serve, SaysWhatIsWrongWithItsUsers)
{
    const std::pair<const char*, const char*> cases[] = {
        {"user,password\nUSER 01,x\n", ":2: a user's name consists of letters"},
        {"user,password\nUSER01,x\nUSER01,y\n", ":3: user \"USER01\" stands twice"},
        {"user,part_count\nUSER01,5\n", ":2: column \"password\" is empty"}};
    for (const auto& [content, text] : cases) {
        const std::string users = Write("bad.csv", content);
        const Finished finished =
            RunToEnd({QUINDAL_COMMAND, "serve", "--instruments", Example("market.xml"), "--users", users});
        EXPECT_NE(finished.status, 0);
        EXPECT_THAT(finished.out, IsEmpty());
        EXPECT_THAT(finished.errors, HasSubstr(users + text));
    }
}

} // namespace
