// The library as its users have it, the shared library behind the C header, over a real router and the real server:
// logging in, starting and stopping, the logs, the link.
#include <set>
#include <thread>

#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "LibraryHost.h"

namespace test::EndToEndTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Login : public LibraryHost
{};

TEST_F(Login, GivesACalculatorWithTheRightPassword)
{
    Serve();
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(CreateQuindalIMCalculator(&calc), 0);
    EXPECT_NE(calc, 0);
}

TEST_F(Login, IsRefusedWithAWrongPasswordAndMayBeRepeatedWithTheRightOne)
{
    Serve();
    EXPECT_EQ(Init(User, "wrong"), 94816);
    EXPECT_EQ(CreateQuindalIMCalculator(&calc), 94821) << "a refused login starts nothing";
    EXPECT_EQ(calc, 0) << "and writes nothing";
    EXPECT_EQ(Init(User, ""), 94816);
    EXPECT_EQ(Init("UNKNOWN", Password), 94816) << "the router does not know this user";
    EXPECT_EQ(Init(), 0);
}

TEST_F(Login, FailsAtTheConnectionWhereNoRouterListens)
{
    const std::string ini = Ini();
    router.reset();
    EXPECT_EQ(InitQuindalIM(ini.c_str(), User, Password), 94815);
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("ERROR [QuindalIM] MQ core connect failed: Connect to "
                                                               "router failed (")));
}

TEST_F(Login, FailsWhereTheRouterHasNoServer)
{
    EXPECT_EQ(Init(), 94816) << "the address of the service is part of the login";
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("MQ core login failed: Login failed (")));
}

TEST_F(Login, FailsForAUserThatTheServerDoesNotKnow)
{
    Serve();
    EXPECT_EQ(Init("NOBODY", "nobody-word"), 94817);
    EXPECT_THAT(Lines(File("library.log")),
                Contains(HasSubstr("GetUserInfo failed: UserInfo: User has not been registered properly (")));
}

TEST_F(Login, FailsForAUserOfAnotherKind)
{
    Serve();
    EXPECT_EQ(Init("OTHER", "other-word"), 94817);
    EXPECT_THAT(Lines(File("library.log")),
                Contains(HasSubstr("GetUserInfo failed: UserInfo: Login type does not match library type (")));
}

TEST_F(Login, FailsForAUserThatMayRegisterNobody)
{
    for (const std::int32_t count : {0, -1}) {
        partCount = count;
        Serve();
        EXPECT_EQ(Init(), 94824);
        EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("ERROR [QuindalIM] MQ core - Wrong part_count (" +
                                                                   std::to_string(count) + ")")));
        EXPECT_EQ(CreateQuindalIMCalculator(&calc), 94821);
    }
}

TEST_F(Login, MissingSettingsHaveTheirOwnCodesAndThePortComesFirst)
{
    EXPECT_EQ(InitQuindalIM(Write("1.ini", "[QuindalIM::mq]\ntimeout = 1000\n").c_str(), User, Password), 94822);
    EXPECT_EQ(InitQuindalIM(Write("2.ini", "[QuindalIM::mq]\nport = 4001\n").c_str(), User, Password), 94823);
    EXPECT_EQ(InitQuindalIM(Write("3.ini", "").c_str(), User, Password), 94822);
}

TEST_F(Login, AnIniFileThatIsNotThereGivesACodeOfThePlatform)
{
    const std::int32_t code = InitQuindalIM(File("absent.ini").c_str(), User, Password);
    EXPECT_NE(code, 0);
    EXPECT_TRUE(code < 94808 || code > 94824) << code << " is none of the library's own";
}

TEST_F(Login, NullArgumentsAreRefusedAfterTheLogsAreOpen)
{
    Serve();
    EXPECT_EQ(InitQuindalIM(nullptr, User, Password), 94811);
    EXPECT_EQ(InitQuindalIM("", User, Password), 94811);
    const std::string ini = Ini();
    EXPECT_EQ(InitQuindalIM(ini.c_str(), nullptr, nullptr), 94811);
    EXPECT_EQ(InitQuindalIM(ini.c_str(), User, nullptr), 94811);
    const std::vector<std::string> log = Lines(File("library.log"));
    EXPECT_THAT(log, Contains(HasSubstr("ERROR [QuindalIM] InitQuindalIM: username is null")));
    EXPECT_THAT(log, Contains(HasSubstr("ERROR [QuindalIM] InitQuindalIM: password is null")));
    EXPECT_THAT(log, Each(Not(HasSubstr("MQ initializing")))) << "the message queue was not touched";
}

class Lifecycle : public LibraryHost
{};

TEST_F(Lifecycle, ASecondInitIsRefusedAndChangesNothing)
{
    StartAll();
    EXPECT_EQ(Init(), 94809);
    EXPECT_THAT(Lines(File("library.log")),
                Contains(HasSubstr("ERROR [QuindalIM] QuindalIM library is already initialized")));
    EXPECT_EQ(SetCommonParams(calc, 0.5), 0);
}

TEST_F(Lifecycle, ThereIsOneCalculatorHoweverOftenItIsMade)
{
    StartAll();
    std::intptr_t again = 0;
    EXPECT_EQ(CreateQuindalIMCalculator(&again), 0);
    EXPECT_EQ(again, calc);
    EXPECT_EQ(CreateQuindalIMCalculator(nullptr), 94811);
}

TEST_F(Lifecycle, OnlyTheCalculatorCanBeDestroyedAndOnlyOnce)
{
    StartAll();
    EXPECT_EQ(DestroyQuindalIMCalculator(0), 94811);
    EXPECT_EQ(DestroyQuindalIMCalculator(calc + 1), 94811);
    EXPECT_EQ(DestroyQuindalIMCalculator(calc), 0);
    EXPECT_EQ(DestroyQuindalIMCalculator(calc), 94811);
    const std::vector<std::string> log = Lines(File("library.log"));
    EXPECT_THAT(log, Contains(HasSubstr("DestroyQuindalIMCalculator: QuindalIMCalculator is null")));
    EXPECT_THAT(
        log, Contains(HasSubstr("DestroyQuindalIMCalculator: QuindalIMCalculator is not equal to saved g_pCalcGOEx")));
}

// The handle is believed by all functions but the one that frees it, and zero is told from it.
TEST_F(Lifecycle, AZeroHandleIsRefusedByName)
{
    StartAll();
    EXPECT_EQ(SetCommonParams(0, 0.5), 94811);
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr("QuindalIMCalculator can't be a null")));
}

TEST_F(Lifecycle, StopAndStartFindTheCalculatorAgainWithItsContent)
{
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_EQ(DeInitQuindalIM(), 94821);
    EXPECT_EQ(SetCommonParams(calc, 0.5), 94821) << "stopped";

    ASSERT_EQ(Init(), 0);
    std::intptr_t again = 0;
    ASSERT_EQ(CreateQuindalIMCalculator(&again), 0);
    EXPECT_EQ(again, calc);
    std::int32_t count = 0;
    EXPECT_EQ(SetOnFirstFutures(calc, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(calls::Part(calc, "AA01001"), 94717) << "the client is registered already";
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
}

// Destroying the calculator forgets names and lists; the repositories live on.
TEST_F(Lifecycle, ANewCalculatorHasForgottenTheCurrenciesButNotTheClients)
{
    StartAll();
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(DestroyQuindalIMCalculator(calc), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    std::int32_t count = -1;
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(InsertCurrency(calc, 840, 0.05), 94791) << "the repository still holds it";
    EXPECT_EQ(calls::Firm(calc, "AA01"), 94719);
}

class Logs : public LibraryHost
{};

// date time SEVERITY [category] start,duration,code,text,function,parameters
TEST_F(Logs, ATraceLineTellsTimeCodeFunctionAndArguments)
{
    StartAll();
    ASSERT_EQ(InsertCurrency(calc, 840, 0.25), 0);
    EXPECT_EQ(InsertCurrency(calc, 840, 0.25), 94791);
    double edgeCoeff = 0.0;
    ASSERT_EQ(GetCommonParams(calc, &edgeCoeff), 0);
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01", nullptr), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    calls::Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT", 3, 0.0, margins), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);

    const std::vector<std::string> trace = Lines(File("trace.log"));
    const std::string handle = "@QuindalIMCalculator=" + std::to_string(calc);
    const auto line = [](const std::string& severity, const std::string& rest) {
        return MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} " + severity +
                            " \\[QuindalIM\\] +[0-9.e+-]+, *[0-9.e+-]+," + rest);
    };
    EXPECT_THAT(trace, Contains(line("INFO", "00,,InsertCurrency," + handle +
                                                 ",@CurrencyId=840,@CurvatureRadius=    0\\.250000")));
    EXPECT_THAT(trace, Contains(line("ERROR", "94791,[^,]+,InsertCurrency," + handle +
                                                  ",@CurrencyId=840,@CurvatureRadius=    0\\.250000")));
    EXPECT_THAT(trace, Contains(line("INFO", "00,,GetCommonParams," + handle + ",@EdgeCoeff=    0\\.750000")));
    // A firm may be registered without an account; the null is traced as the empty text that it counts as.
    EXPECT_THAT(trace, Contains(HasSubstr("RegisterFirm," + handle + ",@BrokerCode='AA01'")));
    EXPECT_THAT(trace, Contains(HasSubstr(",@SettlementAccountId='',")));
    // Three long, a move of 100, one unit of money a point: 300. What is not handed out is traced as such.
    EXPECT_THAT(trace, Contains(line("INFO", "00,,SetPosition," + handle +
                                                 ",@Code='AA01001',@InstrCode='FUT',@Quantity=3,@WAPrice= *0,"
                                                 "@accountHierarchy=2,@afterLastClearingQuantity=0,"
                                                 "@VolatilityPartGO=  300\\.000000,@DeliveryAndVolatilityPartGO=  "
                                                 "300\\.000000,@PartGO=  300\\.000000,@FirmGO=NULL,"
                                                 "@SettlementAccountGO=NULL")));
    EXPECT_THAT(trace, Contains(line("INFO", "00,,InitQuindalIM,@IniFile='[^']+',@username='USER01'")));
    EXPECT_THAT(trace, Each(Not(HasSubstr("DeInitQuindalIM")))) << "the log is closed by then";
}

TEST_F(Logs, ThePasswordStandsInNoFile)
{
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_EQ(Init(User, "wrong-sesame"), 94816);
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        ++files;
        EXPECT_THAT(Lines(entry.path()), Each(Not(HasSubstr("sesame")))) << entry.path();
    }
    EXPECT_GE(files, 4) << "ini, market, log and trace";
}

TEST_F(Logs, NoTraceIsWrittenWhereTheIniFileHasNoSectionForIt)
{
    Serve();
    const std::string ini =
        Write("plain.ini", "[QuindalIM::mq]\nport = " + std::to_string(router->Port()) + "\ntimeout = 3000\n");
    ASSERT_EQ(InitQuindalIM(ini.c_str(), User, Password), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    EXPECT_EQ(SetCommonParams(calc, 0.5), 0);
    EXPECT_FALSE(std::filesystem::exists(File("trace.log")));
}

// The names of the sections are taken as they stand or wholly in lower case, and in no other way.
TEST_F(Logs, SectionsInLowerCaseAreFoundAndSectionsInCapitalsAreNot)
{
    Serve();
    const std::string mq = "[QuindalIM::mq]\nport = " + std::to_string(router->Port()) + "\ntimeout = 3000\n";
    const std::string lower = Write("lower.ini", mq + "[quindalim::xplog]\nfile = " + File("lower.log") + "\n");
    ASSERT_EQ(InitQuindalIM(lower.c_str(), User, Password), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_THAT(Lines(File("lower.log")), Contains(HasSubstr("InitQuindalIM")));
    const std::string upper = Write("upper.ini", mq + "[QUINDALIM::XPLOG]\nfile = " + File("upper.log") + "\n");
    ASSERT_EQ(InitQuindalIM(upper.c_str(), User, Password), 0);
    EXPECT_FALSE(std::filesystem::exists(File("upper.log")));
}

class Link : public LibraryHost
{
protected:
    /// A server in a process of its own, to be killed.
    [[nodiscard]] std::unique_ptr<ChildProcess> StartServerProcess()
    {
        const std::string market = Write("market.xml", SmallMarket);
        const std::string users = Write("users.csv", "user,part_count,login_type\nUSER01,1000,CLIENT\n");
        auto child = std::make_unique<ChildProcess>(
            std::vector<std::string>{QUINDAL_COMMAND, "serve", "--instruments", market, "--users", users,
                                     "--router-port", std::to_string(router->Port())},
            std::vector<std::string>{std::string("QUINDAL_SERVER_PASSWORD=") + ServerPassword});
        EXPECT_THAT(child->ReadLine(), HasSubstr("serving kv7go_srv_60 on port ")) << child->Errors();
        return child;
    }
};

// One login each over two servers of one queue group; then one is killed without a word and the other serves on.
TEST_F(Link, TwoServersShareTheLoadAndOneMayBeKilled)
{
    const auto first = StartServerProcess();
    const auto second = StartServerProcess();
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(Init(), 0) << i;
        ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
        ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0) << i;
        ASSERT_EQ(ClearAll(calc), 0);
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
    first->Signal(SIGKILL);
    EXPECT_NE(first->Wait(), 0);
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(Init(), 0) << i;
        ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0) << i;
        ASSERT_EQ(ClearAll(calc), 0);
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
    second->Signal(SIGTERM);
    EXPECT_EQ(second->WaitForSignal(), SIGTERM);
}

// Two servers of one group with different markets: over twenty requests both are asked. Each request goes to one of
// them at random, so that twenty in a row to the same one happen once in half a million runs.
TEST_F(Link, RequestsAreSpreadOverTheServersOfTheGroup)
{
    const auto withMarket = MakeServer(SmallMarket);
    const auto empty = MakeServer("<root/>");
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    std::set<std::int32_t> counts;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
        std::int32_t count = -1;
        ASSERT_EQ(SetOnFirstFutures(calc, &count), 0);
        counts.insert(count);
        ASSERT_EQ(ClearAll(calc), 0);
    }
    EXPECT_EQ(counts, (std::set<std::int32_t>{0, 1}));
}

TEST_F(Link, ADownloadWithoutAServerFailsAndSaysSoInTheTrace)
{
    StartAll();
    server.reset();
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94808);
    EXPECT_THAT(Lines(File("trace.log")), Contains(HasSubstr("Could not retrieve message from server")));
    Serve();
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0) << "the session with the router has lasted";
}

} // namespace
} // namespace test::EndToEndTest
