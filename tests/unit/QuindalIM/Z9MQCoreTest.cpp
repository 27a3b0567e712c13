// The client of the message queue, over a queue and a clock that the test plays.
#include "Z9MQCore.h"

#include <chrono>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "FakeQueue.h"
#include "LogCapture.h"
#include "SecretText.h"
#include "kv7errors.h"
#include "z9time.h"

namespace test::Z9MQCoreTest {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using QuindalIM::Z9AutoMessage;
using QuindalIM::Z9MQCore;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t Timeout = 3000; // ms

class Z9MQCoreTest : public testing::Test
{
protected:
    Z9MQCoreTest() { TheQueue() = FakeQueue(); }
    ~Z9MQCoreTest() override { TheQueue() = FakeQueue(); }

    void Start(std::uint32_t timeout = Timeout)
    {
        ASSERT_TRUE(core.Startup(4001, timeout, ""));
        ASSERT_TRUE(core.Connect());
    }
    void LogIn()
    {
        Start();
        ASSERT_TRUE(core.Login("USER01", "secret1"));
        TheQueue().calls.clear();
        static_cast<void>(log.Take());
    }
    /// The user information with this body, and an error number of the server.
    static void AnswerUserInfo(const std::string& body, std::uint32_t error = 0)
    {
        TheQueue().onRequest = [body, error](const SentRequest&) {
            PlainMessage answer = ServerAnswer(112);
            answer.numbers["kv7go_error"] = error;
            answer.body = body;
            return std::optional(answer);
        };
    }
    [[nodiscard]] std::string LastError() const { return core.GetLastError(); }

    LogCapture log;
    Z9MQCore core;
};

// Start and connection

TEST_F(Z9MQCoreTest, StartSaysWhatIsStartedAndMakesAConnection)
{
    ASSERT_TRUE(core.Startup(4001, Timeout, "copy.xml"));
    EXPECT_THAT(TheQueue().calls, ElementsAre("Startup", "CreateConnection"));
    char* version = nullptr;
    ASSERT_EQ(Z9GetVersion(&version), Z9ERR_OK);
    EXPECT_THAT(log.Take(),
                ElementsAre("INFO [QuindalIM] Starting QuindalIM CLIENT 64 [ver 9.9.64.4654] with Zenta 2 ver " +
                                std::string(version),
                            "INFO [QuindalIM] MQ: Startup complete"));
}

TEST_F(Z9MQCoreTest, AFailedStartOfTheQueueMakesNoConnection)
{
    TheQueue().startup = Z9ERR_COMMON_INVALID_OBJECT_STATE;
    EXPECT_FALSE(core.Startup(4001, Timeout, ""));
    EXPECT_EQ(LastError(), "Queue startup failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_INVALID_OBJECT_STATE);
    EXPECT_THAT(TheQueue().calls, ElementsAre("Startup"));
}

TEST_F(Z9MQCoreTest, AConnectionThatCannotBeMadeFailsTheStart)
{
    TheQueue().create = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_FALSE(core.Startup(4001, Timeout, ""));
    EXPECT_EQ(LastError(), "Create connection failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_NO_MEMORY);
}

TEST_F(Z9MQCoreTest, TheQueueEndsWithAClientThatStartedItAndWithNoOther)
{
    {
        const Z9MQCore idle;
    }
    EXPECT_THAT(TheQueue().calls, IsEmpty());
    {
        Z9MQCore started;
        ASSERT_TRUE(started.Startup(4001, Timeout, ""));
        TheQueue().calls.clear();
    }
    EXPECT_THAT(TheQueue().calls, ElementsAre("Logout", "Disconnect", "FreeConnection", "QueueCleanup"));
}

TEST_F(Z9MQCoreTest, ASecondStartFreesTheFirstConnection)
{
    Start();
    TheQueue().calls.clear();
    ASSERT_TRUE(core.Startup(4001, Timeout, ""));
    EXPECT_THAT(TheQueue().calls, ElementsAre("Startup", "Logout", "Disconnect", "FreeConnection", "CreateConnection"));
}

TEST_F(Z9MQCoreTest, ConnectGoesToTheRouterOfThisMachineOnThePortOfTheStart)
{
    Start();
    EXPECT_EQ(TheQueue().host, "127.0.0.1");
    EXPECT_EQ(TheQueue().port, 4001);
    const std::vector<std::string> lines = log.Take();
    EXPECT_THAT(lines, Contains("INFO [QuindalIM] Connect via port: 4001"));
    EXPECT_THAT(lines, Contains("INFO [QuindalIM] MQ: Connect to router complete"));
}

TEST_F(Z9MQCoreTest, AFailedConnectKeepsTheQueuesCodeAndSaysSoInTheLog)
{
    ASSERT_TRUE(core.Startup(4001, Timeout, ""));
    TheQueue().connect = Z9ERR_MQ_SOCK_ERROR;
    EXPECT_FALSE(core.Connect());
    EXPECT_EQ(LastError(), "Connect to router failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_THAT(log.Take(), Contains("ERROR [QuindalIM] MQ: Connect to router failed"));
}

TEST_F(Z9MQCoreTest, WithoutAConnectionOnlyLogoutDisconnectAndCleanupAreContent)
{
    EXPECT_FALSE(core.Connect());
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_FALSE(core.CheckPing());
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Connection is not initialized");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_FALSE(core.IsLogged());
    EXPECT_TRUE(core.Logout());
    EXPECT_TRUE(core.Disconnect());
    core.Cleanup();
    EXPECT_THAT(TheQueue().calls, IsEmpty());
}

// Login

TEST_F(Z9MQCoreTest, LoginHandsUserAndPasswordToTheRouterAndFindsTheServer)
{
    Start();
    TheQueue().calls.clear();
    ASSERT_TRUE(core.Login("USER01", "a;b=c d"));
    EXPECT_THAT(TheQueue().connectionStrings, ElementsAre("USERNAME=USER01;PASSWORD=a;b=c d"));
    EXPECT_THAT(TheQueue().calls, ElementsAre("Login", "Resolve kv7go_srv_60"));
    EXPECT_THAT(TheQueue().waits, ElementsAre(500u));
}

TEST_F(Z9MQCoreTest, ThePasswordIsInNoLogLine)
{
    Start();
    TheQueue().logins = {Z9ERR_MQCRYPT_ALREADY_LOGGED_IN};
    ASSERT_TRUE(core.Login("USER01", "secret1"));
    TheQueue().logins = {Z9ERR_MQ_SOCK_ERROR};
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_THAT(log.Take(), Not(Contains(HasSubstr("secret1"))));
    EXPECT_THAT(LastError(), Not(HasSubstr("secret1")));
}

TEST_F(Z9MQCoreTest, ARouterThatIsAlreadyLoggedInIsLoggedOutAndIn)
{
    Start();
    TheQueue().calls.clear();
    TheQueue().logins = {Z9ERR_MQCRYPT_ALREADY_LOGGED_IN, Z9ERR_MQCRYPT_ALREADY_LOGGED_IN,
                         Z9ERR_MQCRYPT_ALREADY_LOGGED_IN};
    ASSERT_TRUE(core.Login("USER01", "secret1"));
    EXPECT_THAT(TheQueue().calls,
                ElementsAre("Login", "Logout", "Login", "Logout", "Login", "Logout", "Login", "Resolve kv7go_srv_60"));
    EXPECT_THAT(log.Take(), Contains("INFO [QuindalIM] Router is already logged in").Times(3));
}

TEST_F(Z9MQCoreTest, ALogoutThatFailsEndsTheLogin)
{
    Start();
    TheQueue().logins = {Z9ERR_MQCRYPT_ALREADY_LOGGED_IN};
    TheQueue().logout = Z9ERR_MQ_SOCK_ERROR;
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQCRYPT_ALREADY_LOGGED_IN);
}

TEST_F(Z9MQCoreTest, ARouterThatAsksForNoLoginIsNotWaitedFor)
{
    Start();
    TheQueue().logins = {Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED};
    EXPECT_TRUE(core.Login("USER01", "secret1"));
    EXPECT_THAT(TheQueue().waits, IsEmpty());
}

TEST_F(Z9MQCoreTest, FinalCodesOfALoginEndItAtOnce)
{
    // The four of the link, and every code below 3 but 0.
    for (const Z9ERR code : {Z9ERR_MQ_NOT_CONNECTED_YET, Z9ERR_MQ_INVALID_CONNECTION, Z9ERR_MQ_INVALID_CONN_HANDLE,
                             Z9ERR_MQ_SOCK_ERROR, 1u, 2u}) {
        Start();
        TheQueue().logins = {code};
        EXPECT_FALSE(core.Login("USER01", "secret1")) << code;
        EXPECT_EQ(LastError(), "Login failed") << code;
        EXPECT_EQ(core.GetLastErrorCode(), code);
        EXPECT_THAT(TheQueue().waits, IsEmpty()) << code;
    }
}

TEST_F(Z9MQCoreTest, OtherCodesOfALoginAreWaitedOut)
{
    for (const Z9ERR code : {3u, 4u, 25u, Z9ERR_MQ_TIMEOUT, Z9ERR_MQ_NO_SERVICE, Z9ERR_MQCRYPT_LOGIN_ABORTED}) {
        TheQueue() = FakeQueue();
        Start();
        TheQueue().logins = {code};
        EXPECT_TRUE(core.Login("USER01", "secret1")) << code;
        EXPECT_THAT(TheQueue().waits, ElementsAre(500u)) << code;
    }
}

TEST_F(Z9MQCoreTest, OnlyTheRoutersWordAboutThisLoginCompletesIt)
{
    Start();
    constexpr std::uint32_t id = FakeQueue::LoginId;
    PlainMessage notOfTheSystem = RouterState(Z9MQ_ROUTER_CONNECTED, id);
    notOfTheSystem.category = "kv7go";
    PlainMessage otherType = RouterState(Z9MQ_ROUTER_CONNECTED, id);
    otherType.numbers["Z9_Type"] = Z9MQ_SYSTEM_REQUEST_FAILED;
    PlainMessage noId = RouterState(Z9MQ_ROUTER_CONNECTED, id);
    noId.numbers.erase("Z9_LoginId");
    TheQueue().news = {RouterState(Z9MQ_ROUTER_CONNECTED, id - 1),
                       RouterState(Z9MQ_ROUTER_RECONNECTING, id),
                       RouterState(Z9MQ_ROUTER_CONNECTED | 0x10, id),
                       notOfTheSystem,
                       otherType,
                       noId,
                       PlainMessage{},
                       RouterState(Z9MQ_ROUTER_CONNECTED, id),
                       RouterState(Z9MQ_ROUTER_CONNECTED, id)};
    ASSERT_TRUE(core.Login("USER01", "secret1"));
    EXPECT_EQ(TheQueue().waits.size(), 8u); // seven dropped, the eighth completes, the ninth stays
    EXPECT_EQ(TheQueue().news.size(), 1u);
}

TEST_F(Z9MQCoreTest, ALoginThatNobodyConfirmsIsAbortedAfterTheTimeOut)
{
    Start();
    TheQueue().news.clear();
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQCRYPT_LOGIN_ABORTED);
    EXPECT_EQ(TheQueue().waits.size(), 6u); // 3000 ms in waits of 500 ms
    EXPECT_THAT(TheQueue().calls, Not(Contains("Resolve kv7go_srv_60")));
}

TEST_F(Z9MQCoreTest, ARefusedLoginIsAbortedAtOnce)
{
    Start();
    constexpr std::uint32_t id = FakeQueue::LoginId;
    TheQueue().news = {RouterState(Z9MQ_ROUTER_LOGINFAILED, id - 1), RouterState(Z9MQ_ROUTER_LOGINFAILED, id),
                       RouterState(Z9MQ_ROUTER_CONNECTED, id)};
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQCRYPT_LOGIN_ABORTED);
    EXPECT_EQ(TheQueue().waits.size(), 2u); // the refusal of another login is dropped, that of this one ends the wait
    EXPECT_THAT(TheQueue().calls, Not(Contains("Resolve kv7go_srv_60")));
}

TEST_F(Z9MQCoreTest, TheTimeOutOfALoginCountsInWholeSeconds)
{
    Start(1999);
    TheQueue().news.clear();
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(TheQueue().waits.size(), 2u); // 1 s in waits of 500 ms
}

TEST_F(Z9MQCoreTest, ATimeOutBelowASecondStillSeesNewsThatIsThere)
{
    Start(200);
    EXPECT_TRUE(core.Login("USER01", "secret1"));
    TheQueue().news = {RouterState(Z9MQ_ROUTER_LOGINFAILED, FakeQueue::LoginId)};
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQCRYPT_LOGIN_ABORTED);
}

TEST_F(Z9MQCoreTest, AConnectionThatEndsDuringTheWaitEndsTheLogin)
{
    Start();
    TheQueue().getMessage = Z9ERR_MQ_INVALID_CONN_HANDLE;
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(TheQueue().waits.size(), 1u);
}

TEST_F(Z9MQCoreTest, AServerThatNobodyKnowsFailsTheLogin)
{
    Start();
    TheQueue().resolve = Z9ERR_MQ_NO_SERVICE;
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_NO_SERVICE);
    // 0x6006
    EXPECT_THAT(log.Take(), Contains("ERROR [QuindalIM] Z9MQServiceResolve failed (code 24582)"));
}

TEST_F(Z9MQCoreTest, AnAddressLongerThanTheBufferIsAskedForOnceMore)
{
    Start();
    TheQueue().address = std::string(1024, 'a'); // 1025 bytes with its zero, one too many
    ASSERT_TRUE(core.Login("USER01", "secret1"));
    EXPECT_THAT(TheQueue().addressBuffers, ElementsAre(1024u, 1025u));
    EXPECT_TRUE(core.CheckConnection());
    EXPECT_EQ(TheQueue().requests.back().texts.at("Z9_To"), std::string(1024, 'a'));
}

TEST_F(Z9MQCoreTest, AnAddressThatJustFitsIsAskedForOnce)
{
    Start();
    TheQueue().address = std::string(1023, 'a');
    ASSERT_TRUE(core.Login("USER01", "secret1"));
    EXPECT_THAT(TheQueue().addressBuffers, ElementsAre(1024u));
}

// Status and logout

TEST_F(Z9MQCoreTest, ASessionNeedsAReadyConnectionAndARouterThatIsNeitherLostNorRefusing)
{
    Start();
    const struct
    {
        std::uint32_t status;
        bool isLogged;
        const char* what;
    } cases[] = {
        {0x00040002, true, "ready, router connected"},
        {0x00000002, false, "router not connected"},
        {0x00040000, false, "connection closed"},
        {0x00040004, false, "connection busy"},
        {0x00040006, false, "ready and busy"},
        {0x00050002, false, "connected and disconnected"},
        {0x000C0002, false, "connected and refused"},
        {0x00060002, true, "connected and reconnecting is no reason to say no"},
        {0x0004000B, true, "other low bits do not count"},
    };
    for (const auto& [status, isLogged, what] : cases) {
        TheQueue().status = status;
        EXPECT_EQ(core.GetStatus(), isLogged) << what;
        EXPECT_EQ(core.IsLogged(), isLogged) << what;
    }
    TheQueue().status = FakeQueue::Connected;
    TheQueue().getStatus = Z9ERR_MQ_INVALID_CONN_HANDLE;
    EXPECT_FALSE(core.GetStatus());
}

TEST_F(Z9MQCoreTest, LogoutSaysWhyItFails)
{
    Start();
    TheQueue().logout = Z9ERR_MQ_NOT_CONNECTED_YET;
    EXPECT_FALSE(core.Logout());
    EXPECT_EQ(LastError(), "Logout from router failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_NOT_CONNECTED_YET);

    TheQueue().status = 0x00010002;
    EXPECT_FALSE(core.Logout());
    EXPECT_EQ(LastError(), "Logout: Router status is not 'connected'");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_QUINDAL_IM_CONNECT_ERROR);

    TheQueue().getStatus = Z9ERR_MQ_INVALID_CONN_HANDLE;
    EXPECT_FALSE(core.Logout());
    EXPECT_EQ(LastError(), "Logout: Get router status failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_INVALID_CONN_HANDLE);
}

TEST_F(Z9MQCoreTest, LogoutDoesNotMindARefusedLoginBesideAConnectedRouter)
{
    Start();
    TheQueue().status = 0x000C0002; // GetStatus says no to this, Logout goes by the connected bit alone
    TheQueue().calls.clear();
    EXPECT_TRUE(core.Logout());
    EXPECT_THAT(TheQueue().calls, ElementsAre("Logout"));
}

TEST_F(Z9MQCoreTest, CleanupDropsTheConnectionWhateverTheLogoutSays)
{
    LogIn();
    TheQueue().status = 0x00010000;
    core.Cleanup();
    EXPECT_THAT(TheQueue().calls, ElementsAre("Disconnect", "FreeConnection"));
    EXPECT_EQ(LastError(), "Logout: Router status is not 'connected'");
    core.Cleanup();
    EXPECT_EQ(TheQueue().calls.size(), 2u) << "there is nothing left to drop";
}

// Ping

TEST_F(Z9MQCoreTest, APingCarriesItsAddressesAndTheMonotonicTime)
{
    LogIn();
    ASSERT_TRUE(core.CheckConnection());
    ASSERT_EQ(TheQueue().requests.size(), 1u);
    const SentRequest& ping = TheQueue().requests.front();
    EXPECT_EQ(ping.texts.at("Z9_To"), "z9.svc.kv7go_srv_60");
    EXPECT_EQ(ping.texts.at("Z9_From"), "kv7go");
    EXPECT_EQ(ping.texts.at("Z9_Category"), "kv7go");
    EXPECT_EQ(ping.texts.at("Z9_Type"), "105");
    EXPECT_EQ(ping.body, "");
    EXPECT_EQ(ping.timeout, Timeout);
    EXPECT_THAT(TheQueue().properties, ElementsAre("Z9_To", "Z9_From", "Z9_Category", "Z9_Type", "kv7go_ping"));

    const auto now = kv7base::fast_steady_clock::now().time_since_epoch();
    const auto milliseconds =
        static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    const auto sent = static_cast<std::uint32_t>(std::stoul(ping.texts.at("kv7go_ping")));
    EXPECT_LT(milliseconds - sent, 10'000u) << "modulo 2^32";
}

TEST_F(Z9MQCoreTest, AnythingButAPingsAnswerIsAskedAgainUpToFiveTimes)
{
    LogIn();
    int asked = 0;
    TheQueue().onRequest = [&asked](const SentRequest&) {
        return std::optional(++asked < 5 ? SystemError(Z9ERR_MQ_TIMEOUT) : ServerAnswer(106));
    };
    EXPECT_TRUE(core.CheckConnection());
    EXPECT_EQ(asked, 5);

    asked = -1; // the sixth would be good
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(LastError(), "Network connection failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
}

TEST_F(Z9MQCoreTest, APingThatCannotBeSentIsNotRepeated)
{
    LogIn();
    TheQueue().send = Z9ERR_MQ_NOT_CONNECTED_YET;
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(TheQueue().requests.size(), 1u);
    EXPECT_EQ(LastError(), "Network connection failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);

    TheQueue().send = Z9ERR_OK;
    TheQueue().onRequest = [](const SentRequest&) { return std::nullopt; };
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(TheQueue().requests.size(), 2u) << "a missing reply ends it, too";
}

TEST_F(Z9MQCoreTest, APingThatCannotBeMadeSaysSo)
{
    LogIn();
    TheQueue().createMessage = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(LastError(), "Could not create message for server");

    TheQueue().createMessage = Z9ERR_OK;
    for (const char* property : {"Z9_To", "Z9_From", "Z9_Category", "Z9_Type", "kv7go_ping"}) {
        core.SetLastError("", Z9ERR_OK);
        TheQueue().refusedProperty = property;
        EXPECT_FALSE(core.CheckConnection()) << property;
        EXPECT_EQ(LastError(), "Could not compose message for server") << property;
    }
    EXPECT_THAT(TheQueue().requests, IsEmpty());
}

TEST_F(Z9MQCoreTest, ACheckWithinTwentySecondsOfALoginSendsNothing)
{
    LogIn();
    MoveClock(19s);
    EXPECT_TRUE(core.CheckPing());
    EXPECT_THAT(TheQueue().requests, IsEmpty());
}

TEST_F(Z9MQCoreTest, ACheckAfterTwentySecondsPingsAndTheNextOneSendsNothing)
{
    LogIn();
    MoveClock(20s);
    EXPECT_TRUE(core.CheckPing());
    EXPECT_EQ(TheQueue().requests.size(), 1u);
    EXPECT_TRUE(core.CheckPing());
    EXPECT_EQ(TheQueue().requests.size(), 1u);
    MoveClock(20s);
    EXPECT_TRUE(core.CheckPing());
    EXPECT_EQ(TheQueue().requests.size(), 2u);
}

TEST_F(Z9MQCoreTest, AClockThatWentBackIsTimeToCheck)
{
    LogIn();
    MoveClock(-1s);
    EXPECT_TRUE(core.CheckPing());
    EXPECT_EQ(TheQueue().requests.size(), 1u);
    EXPECT_TRUE(core.CheckPing()) << "and the earlier time is the time of the last check now";
    EXPECT_EQ(TheQueue().requests.size(), 1u);
}

TEST_F(Z9MQCoreTest, AFailedCheckDropsTheConnectionForGood)
{
    LogIn();
    MoveClock(20s);
    TheQueue().onRequest = [](const SentRequest&) { return std::optional(SystemError(Z9ERR_MQ_NO_SERVICE)); };
    EXPECT_FALSE(core.CheckPing());
    EXPECT_THAT(TheQueue().calls,
                ElementsAre("Send", "Send", "Send", "Send", "Send", "Logout", "Disconnect", "FreeConnection"));
    EXPECT_EQ(LastError(), "Network connection failed");

    TheQueue().onRequest = nullptr;
    EXPECT_FALSE(core.CheckPing()) << "a server that is back does not bring the connection back";
    EXPECT_TRUE(core.Logout());
    EXPECT_EQ(TheQueue().calls.size(), 8u);
}

TEST_F(Z9MQCoreTest, ACheckForWhichThereIsNoMemoryLeavesTheLinkAndTheNextOneAsks)
{
    LogIn();
    MoveClock(20s);
    TheQueue().createMessage = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_THROW(static_cast<void>(core.CheckPing()), std::bad_alloc);
    EXPECT_THAT(TheQueue().calls, IsEmpty());

    TheQueue().createMessage = Z9ERR_OK;
    TheQueue().send = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_THROW(static_cast<void>(core.CheckPing()), std::bad_alloc);
    EXPECT_THAT(TheQueue().calls, ElementsAre("Send"));

    TheQueue().send = Z9ERR_OK;
    EXPECT_TRUE(core.CheckPing());
    EXPECT_THAT(TheQueue().calls, ElementsAre("Send", "Send"));
}

TEST_F(Z9MQCoreTest, AFailedCheckOfALostRouterEndsWithWhatTheLogoutFoundOut)
{
    LogIn();
    MoveClock(20s);
    TheQueue().send = Z9ERR_MQ_NOT_CONNECTED_YET;
    TheQueue().status = 0x00020004; // reconnecting
    EXPECT_FALSE(core.CheckPing());
    EXPECT_THAT(TheQueue().calls, ElementsAre("Send", "Disconnect", "FreeConnection"));
    EXPECT_EQ(LastError(), "Logout: Router status is not 'connected'");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_QUINDAL_IM_CONNECT_ERROR);
}

// System messages

TEST_F(Z9MQCoreTest, ASystemMessageWithABodyIsAnErrorOfTheRouter)
{
    PlainMessage noBody = SystemError(5);
    noBody.body.clear();
    PlainMessage notOfTheSystem = SystemError(5);
    notOfTheSystem.category = "kv7go";
    PlainMessage noCategory = SystemError(5);
    noCategory.category.clear();
    PlainMessage tooLong = SystemError(5);
    tooLong.body += "5";
    LogIn();
    for (const PlainMessage& reply : {noBody, notOfTheSystem, noCategory, tooLong}) {
        TheQueue().onRequest = [&reply](const SentRequest&) { return std::optional(reply); };
        EXPECT_FALSE(core.GetUserInfo());
        EXPECT_EQ(LastError(), "Could not retrieve message from server");
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_OK) << "an unexpected answer is no error of anybody's";
    }
    // Little-endian: the first byte is the lowest one. 0xF4030201 = 4093837825.
    TheQueue().onRequest = [](const SentRequest&) { return std::optional(SystemError(0xF4030201U)); };
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(),
              "Could not retrieve message from server; Response not received in specified timeout or router "
              "error occurred; Z9ERR 4093837825");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
}

// User information

TEST_F(Z9MQCoreTest, TheUserIsAskedForByName)
{
    LogIn();
    AnswerUserInfo(R"(<root><Clients part_count="250" login_type="CLIENT"/></root>)");
    ASSERT_TRUE(core.GetUserInfo());
    EXPECT_EQ(core.m_part_count, 250);
    EXPECT_THAT(log.Take(), ElementsAre("INFO [QuindalIM] UserInfo: Part_count: 250"));

    ASSERT_EQ(TheQueue().requests.size(), 1u);
    const SentRequest& request = TheQueue().requests.front();
    EXPECT_EQ(request.texts.at("Z9_To"), "z9.svc.kv7go_srv_60");
    EXPECT_EQ(request.texts.at("Z9_From"), "kv7go");
    EXPECT_EQ(request.texts.at("Z9_Category"), "kv7go");
    EXPECT_EQ(request.Type(), 111u);
    EXPECT_EQ(request.timeout, Timeout);
    EXPECT_EQ(request.body, "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                            "<root><RequestUserInfo msg_type=\"111\" dll_type=\"CLIENT\" username=\"USER01\" "
                            "dll_version=\"9.9.64.4654\"/></root>");
}

TEST_F(Z9MQCoreTest, WithoutASessionNobodyIsAsked)
{
    Start();
    core.m_part_count = 5;
    TheQueue().status = 0x00010002;
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "System is not logged");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_EQ(core.m_part_count, -1) << "an earlier count is forgotten first of all";
    EXPECT_THAT(TheQueue().requests, IsEmpty());
}

TEST_F(Z9MQCoreTest, AUserInfoRequestThatCannotBeMadeOrSentSaysSo)
{
    LogIn();
    TheQueue().createMessage = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Could not create message for server");
    TheQueue().createMessage = Z9ERR_OK;
    TheQueue().refusedProperty = "body";
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Could not compose message for server");
    TheQueue().refusedProperty.clear();
    TheQueue().send = Z9ERR_COMMON_BUFFER_TOO_LARGE;
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Could not send message for server");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_BUFFER_TOO_LARGE);
}

TEST_F(Z9MQCoreTest, AnErrorNumberOfTheServerIsTheLastError)
{
    LogIn();
    AnswerUserInfo(R"(<root><Clients part_count="250" login_type="CLIENT"/></root>)", 4711);
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "UserInfo: Unknown error code");
    EXPECT_EQ(core.GetLastErrorCode(), 4711u);
    EXPECT_EQ(core.m_part_count, -1) << "the body is not looked at";
}

TEST_F(Z9MQCoreTest, AnAnswerWithoutAnErrorNumberIsNoAnswer)
{
    LogIn();
    TheQueue().onRequest = [](const SentRequest&) { return std::optional(ServerAnswer(112)); };
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Could not retrieve message from server");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_NO_SUCH_ITEM);
}

TEST_F(Z9MQCoreTest, AUserOfAnotherKindOfLoginIsTurnedAway)
{
    LogIn();
    for (const char* loginType : {"SERVER", "client", "CLIEN", ""}) {
        AnswerUserInfo(std::string(R"(<root><Clients part_count="7" login_type=")") + loginType + R"("/></root>)");
        EXPECT_FALSE(core.GetUserInfo()) << loginType;
        EXPECT_EQ(LastError(), "UserInfo: Login type does not match library type");
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_QUINDAL_IM_LOGIN_ERROR);
        EXPECT_EQ(core.m_part_count, 7) << "the count is read before the kind";
    }
}

TEST_F(Z9MQCoreTest, OnlyTheFirstSixCharactersOfTheLoginTypeCount)
{
    EXPECT_EQ(core.ParseUserInfoReply(R"(<root><Clients part_count="7" login_type="CLIENT_TEST"/></root>)"), Z9ERR_OK);
}

TEST_F(Z9MQCoreTest, AUserThatTheServerDoesNotKnowIsNotRegistered)
{
    LogIn();
    for (const char* body : {"<root/>", "<root><Brokers part_count=\"1\" login_type=\"CLIENT\"/></root>"}) {
        AnswerUserInfo(body);
        EXPECT_FALSE(core.GetUserInfo()) << body;
        EXPECT_EQ(LastError(), "UserInfo: User has not been registered properly") << body;
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_QUINDAL_IM_NOT_FOUND);
        EXPECT_EQ(core.m_part_count, -1);
    }
}

TEST_F(Z9MQCoreTest, TheElementIsFoundWithoutRegardToCaseAndTheFirstOneCounts)
{
    EXPECT_EQ(
        core.ParseUserInfoReply("<!-- x --><root kind=\"a\"> <Other/> <cLIENTS part_count=\"3\" login_type=\"CLIENT\"/>"
                                "<Clients part_count=\"4\" login_type=\"CLIENT\"/></root>"),
        Z9ERR_OK);
    EXPECT_EQ(core.m_part_count, 3);
}

TEST_F(Z9MQCoreTest, CountsOfZeroAndBelowAreTakenAsTheyAre)
{
    EXPECT_EQ(core.ParseUserInfoReply(R"(<root><Clients part_count="0" login_type="CLIENT"/></root>)"), Z9ERR_OK);
    EXPECT_EQ(core.m_part_count, 0);
    EXPECT_EQ(core.ParseUserInfoReply(R"(<root><Clients part_count="-1" login_type="CLIENT"/></root>)"), Z9ERR_OK);
    EXPECT_EQ(core.m_part_count, -1);
}

TEST_F(Z9MQCoreTest, ADocumentThatCannotBeReadIsLoggedAndFails)
{
    LogIn();
    const struct
    {
        std::string body;
        const char* text; // part of what the log says
    } cases[] = {
        {"<root><Clients", "<unspecified file>(1): "},
        {"<root>\n<Clients part_count=\"2\" login_type=\"CLIENT\"/>\n</Root>", "<unspecified file>(3): "},
        {"<root/>\0<Clients part_count=\"2\" login_type=\"CLIENT\"/>"s, "a zero byte stands in the text"},
        {"", "No such node (root)"},
        {"<other/>", "No such node (root)"},
        {"<root><Clients login_type=\"CLIENT\"/></root>", "No such node (<xmlattr>.part_count)"},
        {"<root><Clients part_count=\"2\"/></root>", "No such node (<xmlattr>.login_type)"},
        {"<root><Clients part_count=\"many\" login_type=\"CLIENT\"/></root>", "String \"many\" should not contain"},
        {"<root><Clients part_count=\"2x\" login_type=\"CLIENT\"/></root>", "String \"2x\" should not contain"},
        {"<root><Clients part_count=\"3000000000\" login_type=\"CLIENT\"/></root>", "stol"},
    };
    for (const auto& [body, text] : cases) {
        AnswerUserInfo(body);
        EXPECT_FALSE(core.GetUserInfo()) << body;
        EXPECT_THAT(log.Take(),
                    ElementsAre(testing::AllOf(
                        testing::StartsWith("ERROR [QuindalIM] UserInfo: XMLReader: Exception: "), HasSubstr(text))))
            << body;
        EXPECT_THAT(LastError(), HasSubstr(text)) << body;
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    }
}

// The owner of a message

std::vector<int> freed;

int FreeNumber(int handle)
{
    freed.push_back(handle);
    return 0;
}

TEST(AutoZ9Handle, FreesAndPassesOnWhatItHolds)
{
    freed.clear();
    using Handle = QuindalIM::AutoZ9Handle<int, &FreeNumber>;
    {
        Handle first(1);
        Handle second(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_EQ(second.Get(), 1);
        second = Handle(2);
        EXPECT_THAT(freed, ElementsAre(1));
        *second.Receive() = 3;
        EXPECT_THAT(freed, ElementsAre(1, 2));
        const Handle none;
        EXPECT_FALSE(none);
    }
    EXPECT_THAT(freed, ElementsAre(1, 2, 3)) << "an empty one frees nothing";
}

// Secrets

TEST(SecretTextTest, HoldsItsPartsInOnePieceThatIsOverwrittenAtTheEnd)
{
    const std::string word = "a password that is too long to stand in the object itself";
    QuindalIM::SecretText secret;
    secret.Assign({"USERNAME=", "USER01", ";PASSWORD=", word});
    EXPECT_EQ(secret.Get(), "USERNAME=USER01;PASSWORD=" + word);
    const std::string_view memory(secret.Get().data(), secret.Get().capacity());
    secret.Wipe();
    EXPECT_EQ(memory, std::string(memory.size(), '\0'));
    EXPECT_TRUE(secret.Get().empty());
}

} // namespace
} // namespace test::Z9MQCoreTest
