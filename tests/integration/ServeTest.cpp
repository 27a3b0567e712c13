// The server as an operator has it: its users, its router, its log, what monitors ask, how it ends.
#include <chrono>
#include <memory>

#include <nats/nats.h>
#include <nlohmann/json.hpp>

#include "AccessLog.h"
#include "ServerProcess.h"
#include "SilentListener.h"

namespace test::ServeTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class Serve : public ServerProcess
{};

TEST_F(Serve, AnswersAMarginRunWithTheFiguresOfAPrivateOne)
{
    const Finished alone = RunToEnd(
        Margin({"--instruments", Example("market.xml"), "--orders", Example("orders.csv"), "--format", "csv"}));
    for (const bool plain : {false, true}) {
        Start(plain ? std::vector<std::string>{"--plain"} : std::vector<std::string>{});
        const Finished served = MarginAs("USER01", Password);
        EXPECT_EQ(served.status, 0) << served.errors;
        EXPECT_EQ(FiguresOf(served.out), FiguresOf(alone.out));
        Stop();
    }
}

TEST_F(Serve, RefusesAWrongPasswordAndAMissingOne)
{
    Start();
    BeImpatient();
    const Finished wrong = MarginAs("USER01", "wrong");
    EXPECT_EQ(wrong.status, 3);
    EXPECT_THAT(wrong.out, IsEmpty());
    EXPECT_THAT(wrong.errors, HasSubstr("InitQuindalIM failed with code 94816: QuindalIM login error (the router did "
                                        "not accept the user \"USER01\" with this password)"));
    const Finished missing = As("USER01", "", Margin({"--password-env", "QUINDAL_NO_SUCH_VARIABLE"}));
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.out, IsEmpty());
    EXPECT_THAT(missing.errors, HasSubstr("set the environment variable QUINDAL_NO_SUCH_VARIABLE"));
}

TEST_F(Serve, HoldsAUserToItsNumberOfClients)
{
    Start();
    const Finished finished = MarginAs("USER02", "other");
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr("RegisterPart failed with code 94818"));
}

TEST_F(Serve, EndsAsTheSignalThatEndsItAndTakesItsRouterAlong)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Start();
        const pid_t router = Router();
        EXPECT_THAT(OfProcess(router, "cmdline"), HasSubstr("nats-server"));
        server->Signal(signal);
        EXPECT_EQ(server->WaitForSignal(), signal);
        EXPECT_NE(::kill(router, 0), 0) << "the router has ended, and was waited for";
        EXPECT_THAT(server->Errors(), IsEmpty());
        EXPECT_THAT(LeftBehind(), IsEmpty());
    }
}

// A server that is killed has no chance to end its router; the kernel does.
TEST_F(Serve, EvenAKilledServerLeavesNoRouterBehind)
{
    Start();
    const pid_t router = Router();
    server->Signal(SIGKILL);
    EXPECT_EQ(server->WaitForSignal(), SIGKILL);
    EXPECT_TRUE(Eventually([&] { return OfProcess(router, "cmdline").find("nats-server") == std::string::npos; }));
}

TEST_F(Serve, NoPasswordStandsInArgumentsOutputOrLogs)
{
    Start();
    for (const pid_t pid : {server->Pid(), Router()})
        EXPECT_THAT(OfProcess(pid, "cmdline"), AllOf(Not(IsEmpty()), Not(HasSubstr(Password)))) << pid;
    const Finished finished = MarginAs("USER01", Password);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out + finished.errors, Not(HasSubstr(Password)));
    for (const char* log : {"margin.log", "trace.log"})
        EXPECT_THAT(TextOf(File(log)), AllOf(Not(IsEmpty()), Not(HasSubstr(Password)))) << log;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(temporary))
        if (entry.is_regular_file()) {
            EXPECT_THAT(TextOf(entry.path()), Not(HasSubstr(Password))) << entry.path();
        }
}

// The environment of a command may hold passwords: its own, and those of others.
TEST_F(Serve, TheRouterGetsNothingOfTheEnvironmentButThePath)
{
    Start({}, {"QUINDAL_PASSWORD=secret-of-a-user", "QUINDAL_SERVER_PASSWORD=secret-of-a-server", "OTHER=secret"});
    EXPECT_THAT(OfProcess(Router(), "environ"), AllOf(StartsWith("PATH="), Not(HasSubstr("secret"))));
}

// Texts that would end a quoted text of the router's configuration, name a variable of it, begin a comment; and one as
// long as they come.
TEST_F(Serve, APasswordIsTakenAsItStands)
{
    const std::string passwords[] = {R"(a"b\c)", "$PATH", "#x // y", "{]}", "\xD0\xB9\xD1\x86", std::string(400, 'x'),
                                     "$2",       "2a$10$"};
    std::string content = "user,password\n";
    int number = 0;
    for (std::string password : passwords) {
        if (const std::size_t quote = password.find('"'); quote != std::string::npos) password.insert(quote, "\"");
        content += "U" + std::to_string(number++) + ",\"" + password + "\"\n";
    }
    Write("users.csv", content);
    Start();
    number = 0;
    for (const std::string& password : passwords) {
        const Finished right = Status("U" + std::to_string(number++), password);
        EXPECT_EQ(right.status, 0) << password << right.errors;
    }
    BeImpatient();
    EXPECT_EQ(Status("U0", R"(a"b\cx)").status, 3);
    EXPECT_EQ(Status("U1", "PATH").status, 3);
}

TEST_F(Serve, SaysWhatIsWrongWithItsUsers)
{
    const std::pair<std::string, const char*> cases[] = {
        {"user,password\nUSER 01,x\n", ":2: column \"user\": \"USER 01\" has other characters than letters"},
        {"user,password\nUSER\x1B[2J,x\n", R"(:2: column "user": "USER\x1B[2J" is not plain UTF-8 text)"},
        {"user,password\nUSER01,x\nUSER01,y\n", ":3: column \"user\": \"USER01\" stands twice, first in line 2"},
        {"user,password\nUSER01,x\nkv7go_srv,y\n", ":3: column \"user\": \"kv7go_srv\" is the server itself"},
        {"user,part_count\nUSER01,5\n", ":2: column \"password\" is empty"},
        {"user,password\nUSER01,a\x07z\n", ":2: column \"password\" is not plain UTF-8 text"},
        {"user,password\nUSER01,\"a\nb\"\n", ":2: column \"password\" is not plain UTF-8 text"},
        {"user,password\nUSER01,\xFF\n", ":2: column \"password\" is not plain UTF-8 text"},
        {"user,password\nUSER01,$2a$10$abc\n", ":2: column \"password\" begins as a bcrypt hash does"},
        {"user,password\nUSER01,$2y$\n", ":2: column \"password\" begins as a bcrypt hash does"},
        {"user,password,login_type\nUSER01,x,\x01\n", R"(:2: column "login_type": "\x01" is not plain UTF-8 text)"},
        {"user,part_count,password\nUSER01,0,x\n", ":2: column \"part_count\": \"0\" is out of range"},
    };
    for (const auto& [content, text] : cases) {
        const std::string file = Write("bad.csv", content);
        const Finished finished =
            RunToEnd({QUINDAL_COMMAND, "serve", "--instruments", market, "--users", file}, {"TMPDIR=" + temporary});
        EXPECT_EQ(finished.status, 1);
        EXPECT_THAT(finished.out, IsEmpty());
        EXPECT_THAT(finished.errors, AllOf(HasSubstr(file), HasSubstr(text)));
    }
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

std::uint16_t FreePort() { return SilentListener().Port(); }

TEST_F(Serve, TakesThePortThatItIsGivenAndSaysSoInAnIniFile)
{
    const std::string wanted = std::to_string(FreePort());
    Start({"--port", wanted, "--write-ini", File("clients.ini")});
    EXPECT_EQ(port, wanted);
    EXPECT_EQ(TextOf(File("clients.ini")), "[QuindalIM::mq]\nport = " + wanted + "\ntimeout = 5000\n");
    ini = File("clients.ini");
    EXPECT_EQ(Status("USER01", Password).status, 0);
}

TEST_F(Serve, SaysWhyItsRouterDoesNotStart)
{
    const SilentListener other;
    const Finished finished =
        RunToEnd(ServeArguments({"--port", std::to_string(other.Port())}), {"TMPDIR=" + temporary});
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(finished.errors,
                AllOf(HasSubstr("quindal: the router has ended: "), HasSubstr("address already in use")));
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

// What stands in the place of the router comes first in the path.
TEST_F(Serve, SaysWhyWhatShouldBeARouterIsNone)
{
    const std::pair<const char*, const char*> cases[] = {
        {"echo 'nats-server: no such luck' >&2; exit 1", "the router has ended: no such luck (exit status 1)"},
        {"exit 127", "nats-server is not installed; on Debian: apt-get install nats-server"},
        {"exit 5", "the router has ended: exit status 5"},
        {"kill -KILL $$", "the router has ended: killed by signal 9"}};
    for (const auto& [script, text] : cases) {
        Write("nats-server", std::string("#!/bin/sh\n") + script + "\n");
        ::chmod(File("nats-server").c_str(), 0700);
        const Finished finished =
            RunToEnd(ServeArguments(), {"TMPDIR=" + temporary, "PATH=" + folder.Path().string() + ":/usr/bin:/bin"});
        EXPECT_EQ(finished.status, 3);
        EXPECT_THAT(finished.errors, HasSubstr(text));
    }
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

TEST_F(Serve, AnIniFileThatCannotBeWrittenEndsItBeforeAnybodyIsServed)
{
    const Finished finished =
        RunToEnd(ServeArguments({"--write-ini", File("nowhere/clients.ini")}), {"TMPDIR=" + temporary});
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr("nowhere/clients.ini: cannot be written"));
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

TEST_F(Serve, EndsWithTheStatusOfTheLinkWhenItsRouterIsKilled)
{
    Start();
    ::kill(Router(), SIGKILL); // the child of our child
    EXPECT_EQ(server->Wait(), 3);
    EXPECT_THAT(server->Errors(), HasSubstr("quindal: the router has ended: killed by signal 9\n"));
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

class ServeAtARouter : public ServerProcess
{
protected:
    void StartRouter(std::uint16_t at = 0)
    {
        router = std::make_unique<quindal::PrivateRouter>(quindal::RouterUser{"kv7go_srv", "server-side-word"},
                                                          std::vector<quindal::RouterUser>{{"USER01", Password}}, at);
    }
    void StartAtIt(const std::string& timeout)
    {
        Start({"--router-port", std::to_string(router->Port()), "--router-timeout", timeout},
              {"QUINDAL_SERVER_PASSWORD=server-side-word"});
    }
    std::unique_ptr<quindal::PrivateRouter> router;
};

TEST_F(ServeAtARouter, EndsWithTheStatusOfTheLinkWhenItIsAwayTooLong)
{
    StartRouter();
    StartAtIt("1");
    router.reset();
    EXPECT_EQ(server->Wait(), 3);
    EXPECT_EQ(server->Errors(), "quindal: the router has been away for more than 1 s\n");
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

TEST_F(ServeAtARouter, ServesOnWhenItComesBackInTime)
{
    StartRouter();
    StartAtIt("60");
    const std::uint16_t at = router->Port();
    router.reset();
    StartRouter(at);
    EXPECT_TRUE(Eventually([&] { return Status("USER01", Password).status == 0; }));
    server->Signal(SIGTERM);
    EXPECT_EQ(server->WaitForSignal(), SIGTERM);
}

TEST_F(ServeAtARouter, EndsWithTheStatusOfTheLinkWhereNoneIs)
{
    const Finished finished =
        RunToEnd(ServeArguments({"--router-port", std::to_string(FreePort())}), {"TMPDIR=" + temporary});
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr("quindal: connect to the router at nats://127.0.0.1:"));
}

TEST_F(ServeAtARouter, EndsWithTheStatusOfTheLinkWhenTheRouterRefusesItsPassword)
{
    StartRouter();
    const Finished finished = RunToEnd(ServeArguments({"--router-port", std::to_string(router->Port())}),
                                       {"TMPDIR=" + temporary, "QUINDAL_SERVER_PASSWORD=wrong"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(finished.errors, HasSubstr("quindal: connect to the router at nats://127.0.0.1:"));
}

TEST_F(Serve, ReadsTheMarketAgainOnAHangUpAndKeepsTheOldOneWhenTheNewOneIsNone)
{
    Start();
    const auto said = [&](const std::string& text) {
        return Eventually([&] { return server->Errors().find(text) != std::string::npos; });
    };
    const auto fetched = [&] {
        const Finished finished = As("USER01", Password, {QUINDAL_COMMAND, "fetch", "--out", "-"});
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return finished.out;
    };
    const std::string first = TextOf(market);
    EXPECT_EQ(fetched(), first);

    const std::string second = "<root><Currency IndicatorID=\"840\" Radius=\"0.05\"/></root>\n";
    Write("market.xml", second);
    EXPECT_EQ(fetched(), first) << "nobody has asked for it yet";
    server->Signal(SIGHUP);
    ASSERT_TRUE(said("quindal: " + market + ": read again, " + std::to_string(second.size()) + " bytes\n"));
    EXPECT_EQ(fetched(), second);

    Write("market.xml", "<root><Currency");
    server->Signal(SIGHUP);
    ASSERT_TRUE(said("going on with what was read before\n"));
    EXPECT_THAT(server->Errors(), HasSubstr("quindal: " + market + ":1: "));
    EXPECT_EQ(fetched(), second);

    std::filesystem::remove(market);
    server->Signal(SIGHUP);
    ASSERT_TRUE(said("quindal: " + market + ": cannot be read; going on with what was read before\n"));
    EXPECT_EQ(fetched(), second);
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines = Split(text, "\n");
    if (lines.back().empty()) lines.pop_back();
    return lines;
}

constexpr const char* Time = "time=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z";

TEST_F(Serve, WritesALineForEachRequest)
{
    Start({"--access-log", File("access.log")});
    ASSERT_EQ(As("USER01", Password, {QUINDAL_COMMAND, "fetch", "--out", File("fetched.xml")}).status, 0);
    server->Signal(SIGTERM);
    EXPECT_EQ(server->WaitForSignal(), SIGTERM);
    const auto line = [](const std::string& request, const std::string& bytes) {
        return MatchesRegex(Time + std::string(" instance=[0-9]+-[0-9]+ user=USER01 request=") + request +
                            " outcome=ok bytes=" + bytes + " us=[0-9]+");
    };
    EXPECT_THAT(LinesOf(TextOf(File("access.log"))),
                UnorderedElementsAre(line("discovery", "[1-9][0-9]*"), line("user-info", "[1-9][0-9]*"),
                                     line("instruments", "[1-9][0-9]*")));
    EXPECT_THAT(server->Errors(), IsEmpty());
}

TEST_F(Serve, WritesItsLinesToStderrUnlessTheyHaveAFile)
{
    Start();
    ASSERT_EQ(Status("USER01", Password).status, 0);
    server->Signal(SIGTERM);
    EXPECT_EQ(server->WaitForSignal(), SIGTERM);
    EXPECT_THAT(LinesOf(server->Errors()),
                UnorderedElementsAre(HasSubstr(" user=USER01 request=discovery outcome=ok "),
                                     HasSubstr(" user=USER01 request=user-info outcome=ok "),
                                     HasSubstr(" user=USER01 request=ping outcome=ok "),
                                     HasSubstr(" user=USER01 request=statistics outcome=ok ")));
}

// Whoever moves the file away to keep it asks for a new one by the same signal.
TEST_F(Serve, OpensItsLogAnewOnAHangUp)
{
    Start({"--access-log", File("access.log")});
    ASSERT_EQ(Status("USER01", Password).status, 0);
    std::filesystem::rename(File("access.log"), File("access.log.1"));
    server->Signal(SIGHUP);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(File("access.log")); }));
    ASSERT_TRUE(Eventually([&] { return !server->Errors().empty(); }));
    ASSERT_EQ(Status("USER01", Password).status, 0);
    Stop();
    EXPECT_EQ(LinesOf(TextOf(File("access.log"))).size(), 4U);
    EXPECT_EQ(LinesOf(TextOf(File("access.log.1"))).size(), 4U);
}

TEST(AccessLog, TextOfAClientIsOneWordOfItsLine)
{
    const quindal::TemporaryFolder folder("quindal-log-");
    const std::string file = (folder.Path() / "access.log").string();
    {
        quindal::AccessLog log(file);
        log.Write({"7-1", "a b=\"c\"\n\x1B[31m", "ping", "ok", 0, std::chrono::microseconds(12)});
        log.Write({"7-1", "", "unknown", "not-supported", 4, std::chrono::microseconds(3)});
    }
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    EXPECT_THAT(line, EndsWith(R"( instance=7-1 user=a_b__c_\n\x1B[31m request=ping outcome=ok bytes=0 us=12)"));
    std::getline(stream, line);
    EXPECT_THAT(line, EndsWith(" instance=7-1 user=- request=unknown outcome=not-supported bytes=4 us=3"));
    EXPECT_FALSE(std::getline(stream, line));
}

TEST_F(Serve, StatusTellsWhetherAClientCouldWork)
{
    Start();
    const Finished healthy = Status("USER01", Password);
    EXPECT_EQ(healthy.status, 0) << healthy.errors;
    EXPECT_THAT(healthy.out, StartsWith("Router      127.0.0.1:" + port +
                                        "\n"
                                        "User        USER01 may log in; clients allowed: 100\n"
                                        "Login       "));
    EXPECT_THAT(healthy.out,
                MatchesRegex(".*\nRound trip  [0-9]+\\.[0-9] ms\nServer      [0-9]+-[0-9]+, up since 2.*Z, "
                             "[0-9]+ requests, 0 refused\nMarket      " +
                             std::to_string(TextOf(market).size()) + " bytes, read 2.*Z, [0-9]+ s ago\n"));
    EXPECT_THAT(healthy.errors, IsEmpty());
    BeImpatient();
    EXPECT_EQ(Status("USER01", "wrong").status, 3);
    EXPECT_EQ(Status("USER03", Password).status, 3);
    Stop();
    const Finished gone = Status("USER01", Password);
    EXPECT_EQ(gone.status, 3);
    EXPECT_THAT(gone.out, IsEmpty());
    EXPECT_THAT(gone.errors, HasSubstr("InitQuindalIM failed with code 94815"));
}

TEST_F(Serve, StatusForMonitorsIsOneDocumentWhetherGoodOrNot)
{
    Start();
    const auto status = [this](std::vector<std::string> further) {
        further.insert(further.begin(), {QUINDAL_COMMAND, "status", "--format", "json"});
        return As("USER01", Password, further);
    };
    const Finished good = status({"--max-market-age", "3600"});
    EXPECT_EQ(good.status, 0) << good.errors;
    const auto document = nlohmann::json::parse(good.out);
    EXPECT_EQ(document.at("good"), true);
    EXPECT_TRUE(document.at("reason").is_null());
    EXPECT_EQ(document.at("user"), "USER01");
    EXPECT_EQ(document.at("router"), "127.0.0.1:" + port);
    EXPECT_EQ(document.at("clientsAllowed"), 100);
    EXPECT_GT(document.at("loginMs"), 0.0);
    EXPECT_GT(document.at("roundTripMs"), 0.0);
    EXPECT_EQ(document.at("server").at("requests"), 2) << "the question for the user, and the ping";
    EXPECT_EQ(document.at("server").at("refused"), 0);
    EXPECT_EQ(document.at("market").at("bytes"), TextOf(market).size());
    EXPECT_LE(document.at("market").at("ageSeconds"), 60);
    EXPECT_EQ(document.at("market").at("read").get<std::string>().size(), 24U) << "2026-11-21T10:15:30.123Z";

    BeImpatient();
    Stop();
    const Finished gone = status({});
    EXPECT_EQ(gone.status, 3);
    const auto reason = nlohmann::json::parse(gone.out);
    EXPECT_EQ(reason.at("good"), false);
    EXPECT_THAT(reason.at("reason").get<std::string>(), HasSubstr("no router answers at the port of the ini file"));
    EXPECT_THAT(gone.errors, HasSubstr(reason.at("reason").get<std::string>()));
}

TEST_F(Serve, AMarketThatIsTooOldOrOfUnknownAgeEndsStatusWithThree)
{
    Start();
    const auto limited = [this] {
        return As("USER01", Password, {QUINDAL_COMMAND, "status", "--max-market-age", "1"});
    };
    EXPECT_TRUE(Eventually([&] { return limited().status == 3; }));
    const Finished old = limited();
    EXPECT_THAT(old.out, HasSubstr("\nMarket      ")) << "what is known is printed all the same";
    EXPECT_THAT(old.errors, MatchesRegex("quindal: the server has read its market [0-9]+ s ago, more than 1 s.*\n"));
    EXPECT_EQ(Status("USER01", Password).status, 0);
    server->Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&] { return limited().status == 0; })) << "the market was read again";
}

TEST_F(ServeAtARouter, StatusIsThatOfTheLinkWhereNoServerAnswers)
{
    StartRouter();
    ini = Write("lone.ini", "[QuindalIM::mq]\nport = " + std::to_string(router->Port()) + "\ntimeout = 500\n");
    const Finished finished = Status("USER01", Password);
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(finished.errors, HasSubstr("InitQuindalIM failed with code 94816"));
}

/// A client of the router that is none of the library: a monitor, or somebody who tries things.
class Monitor
{
public:
    Monitor(const std::string& port, const std::string& user, const std::string& password)
    {
        natsOptions* options = nullptr;
        natsOptions_Create(&options);
        natsOptions_SetURL(options, ("nats://127.0.0.1:" + port).c_str());
        natsOptions_SetUserInfo(options, user.c_str(), password.c_str());
        natsOptions_SetCustomInboxPrefix(options, ("_INBOX." + user).c_str());
        EXPECT_EQ(natsConnection_Connect(&m_connection, options), NATS_OK);
        natsOptions_Destroy(options);
    }
    ~Monitor() { natsConnection_Destroy(m_connection); }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    nlohmann::json Ask(const std::string& subject)
    {
        natsMsg* raw = nullptr;
        EXPECT_EQ(natsConnection_RequestString(&raw, m_connection, subject.c_str(), "", 5000), NATS_OK) << subject;
        if (raw == nullptr) return {};
        const std::string text(natsMsg_GetData(raw), static_cast<std::size_t>(natsMsg_GetDataLength(raw)));
        natsMsg_Destroy(raw);
        return nlohmann::json::parse(text);
    }
    /// A request of the exchange: type and body of the reply.
    std::pair<std::string, std::string> Request(const std::string& type, const std::string& body)
    {
        natsMsg* request = nullptr;
        natsMsg* raw = nullptr;
        natsMsg_Create(&request, "z9.svc.kv7go_srv_60", nullptr, body.data(), static_cast<int>(body.size()));
        natsMsgHeader_Set(request, "Z9_Type", type.c_str());
        EXPECT_EQ(natsConnection_RequestMsg(&raw, m_connection, request, 5000), NATS_OK);
        natsMsg_Destroy(request);
        if (raw == nullptr) return {};
        const char* replyType = "";
        natsMsgHeader_Get(raw, "Z9_Type", &replyType);
        std::pair<std::string, std::string> reply{
            replyType, {natsMsg_GetData(raw), static_cast<std::size_t>(natsMsg_GetDataLength(raw))}};
        natsMsg_Destroy(raw);
        return reply;
    }

private:
    natsConnection* m_connection = nullptr;
};

TEST_F(Serve, AMonitorMayAskWhetherItIsThereAndWhatItHasDone)
{
    Start({"--access-log", File("access.log")});
    Monitor monitor(port, "USER01", Password);
    const nlohmann::json ping = monitor.Ask("$SRV.PING.kv7go_srv_60");
    EXPECT_EQ(ping.at("type"), "io.nats.micro.v1.ping_response");
    EXPECT_EQ(ping.at("name"), "kv7go_srv_60");

    EXPECT_EQ(monitor.Request("105", "").first, "2") << "a ping without its time";
    EXPECT_EQ(monitor.Request("111", "<root><RequestUserInfo username=\"USER01\"/></root>").first, "112");
    const nlohmann::json statistics = monitor.Ask("$SRV.STATS.kv7go_srv_60");
    EXPECT_EQ(statistics.at("type"), "io.nats.micro.v1.stats_response");
    EXPECT_EQ(statistics.at("id"), ping.at("id"));
    EXPECT_THAT(statistics.at("started").get<std::string>(), EndsWith("Z"));
    const nlohmann::json& endpoint = statistics.at("endpoints").at(0);
    EXPECT_EQ(endpoint.at("num_requests"), 2);
    EXPECT_EQ(endpoint.at("num_errors"), 1);
    EXPECT_EQ(endpoint.at("data").at("market_bytes"), TextOf(market).size());
    Stop();
    EXPECT_THAT(TextOf(File("access.log")),
                AllOf(HasSubstr("request=health outcome=ok"), HasSubstr("request=ping outcome=wrong-arguments"),
                      HasSubstr("request=user-info outcome=ok"), HasSubstr("request=statistics outcome=ok")));
}

// 64 KB are read, one byte more is not looked at: this one would be a good request with blanks behind it.
TEST_F(Serve, RefusesARequestOfMoreThan64Kilobytes)
{
    Start();
    Monitor monitor(port, "USER01", Password);
    const std::string request = "<root><RequestUserInfo username=\"USER01\"/></root>";
    const std::string largest = request + std::string(65536 - request.size(), ' ');
    EXPECT_EQ(monitor.Request("111", largest).first, "112");
    const auto [type, body] = monitor.Request("111", largest + ' ');
    EXPECT_EQ(type, "2");
    EXPECT_EQ(body, std::string("\x02\0\0\0", 4)) << "WRONG_ARGUMENTS";
}

} // namespace
} // namespace test::ServeTest
