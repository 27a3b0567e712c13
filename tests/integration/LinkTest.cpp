// The client of the message queue over a real router and a server whose answers the test sets.
#include "Z9MQCore.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "FakeServer.h"
#include "LogCapture.h"
#include "RouterFixture.h"
#include "kv7errors.h"

namespace test::LinkTest {
namespace {

using namespace std::chrono_literals;
using namespace quindal::test;
using QuindalIM::Z9MQCore;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr const char* GoodUser = R"(<root><Clients part_count="250" login_type="CLIENT"/></root>)";

bool Within(std::chrono::milliseconds time, const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

class LinkTest : public testing::Test
{
protected:
    LinkTest() : server(std::make_unique<FakeServer>(router.Port())) { server->SetUserInfo(GoodUser); }

    [[nodiscard]] bool Connect(std::uint32_t timeout = 3000)
    {
        return core.Startup(router.Port(), timeout, "") && core.Connect();
    }
    [[nodiscard]] bool LogIn(std::uint32_t timeout = 3000)
    {
        return Connect(timeout) && core.Login("USER01", "secret1");
    }
    [[nodiscard]] std::string LastError() const { return core.GetLastError(); }

    LogCapture log;
    RouterFixture router;
    std::unique_ptr<FakeServer> server;
    Z9MQCore core;
};

TEST_F(LinkTest, AClientLogsInLearnsItsCountAndLogsOut)
{
    ASSERT_TRUE(LogIn()) << LastError();
    EXPECT_TRUE(core.IsLogged());
    ASSERT_TRUE(core.GetUserInfo()) << LastError();
    EXPECT_EQ(core.m_part_count, 250);

    ASSERT_EQ(server->Count(111), 1u);
    const LinkMessage request = server->Requests().front();
    EXPECT_EQ(LinkTextRead(request.properties.at("Z9_To")), "z9.svc.kv7go_srv_60");
    EXPECT_EQ(LinkTextRead(request.properties.at("Z9_From")), "kv7go");
    EXPECT_EQ(LinkTextRead(request.properties.at("Z9_Category")), "kv7go");
    EXPECT_THAT(request.body, HasSubstr("msg_type=\"111\" dll_type=\"CLIENT\" username=\"USER01\" "
                                        "dll_version=\"9.9.64.4654\""));

    EXPECT_TRUE(core.Logout());
    EXPECT_FALSE(core.IsLogged());
    EXPECT_THAT(log.Take(), Not(Contains(HasSubstr("secret1"))));
}

TEST_F(LinkTest, ACleanedClientBeginsAnew)
{
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(LogIn()) << round << ": " << LastError();
        ASSERT_TRUE(core.GetUserInfo()) << round << ": " << LastError();
        core.Cleanup();
        EXPECT_FALSE(core.IsLogged());
    }
    EXPECT_EQ(server->Count(111), 3u);
}

TEST_F(LinkTest, ASecondLoginLogsTheFirstOneOut)
{
    ASSERT_TRUE(LogIn());
    ASSERT_TRUE(core.Login("USER01", "secret1")) << LastError();
    EXPECT_THAT(log.Take(), Contains("INFO [QuindalIM] Router is already logged in"));
    EXPECT_TRUE(core.CheckConnection());
}

TEST_F(LinkTest, AWrongPasswordAbortsTheLoginAndIsInNoLog)
{
    ASSERT_TRUE(Connect(60'000));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(core.Login("USER01", "wrong-password"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s) << "the time-out is not waited out";
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQCRYPT_LOGIN_ABORTED);
    EXPECT_FALSE(core.IsLogged());
    EXPECT_THAT(log.Take(), Not(Contains(HasSubstr("wrong-password"))));
    ASSERT_TRUE(core.Login("USER01", "secret1")) << "a second try with the right one";
}

TEST_F(LinkTest, AUserWhoseNameCannotBeOneIsRefusedAtOnce)
{
    ASSERT_TRUE(Connect());
    EXPECT_FALSE(core.Login("no body", "secret1"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST_F(LinkTest, ARouterWithoutPasswordsTakesAnybody)
{
    server.reset();
    router.Kill();
    router.Restart({.users = {}});
    server = std::make_unique<FakeServer>(router.Port());
    server->SetUserInfo(GoodUser);
    ASSERT_TRUE(LogIn()) << LastError();
    EXPECT_TRUE(core.GetUserInfo()) << LastError();
}

TEST_F(LinkTest, WithoutARouterThereIsNoConnection)
{
    server.reset();
    router.Kill();
    EXPECT_FALSE(Connect());
    EXPECT_EQ(LastError(), "Connect to router failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_NOT_CONNECTED_YET);
}

TEST_F(LinkTest, WithoutAServerTheLoginFails)
{
    server->SetDiscoveryReplies({});
    ASSERT_TRUE(Connect());
    EXPECT_FALSE(core.Login("USER01", "secret1"));
    EXPECT_EQ(LastError(), "Login failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_MQ_NO_SERVICE);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("Z9MQServiceResolve failed")));
}

TEST_F(LinkTest, ChecksSoonAfterALoginSendNothing)
{
    ASSERT_TRUE(LogIn());
    EXPECT_TRUE(core.CheckPing());
    EXPECT_TRUE(core.CheckPing());
    EXPECT_EQ(server->Count(105), 0u);
    EXPECT_TRUE(core.CheckConnection());
    EXPECT_EQ(server->Count(105), 1u);
    EXPECT_GT(server->Requests().back().Number("kv7go_ping"), 0u);
}

TEST_F(LinkTest, AServerThatEndedAnswersNoPing)
{
    ASSERT_TRUE(LogIn());
    server->Stop();
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(LastError(), "Network connection failed");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_FALSE(core.GetUserInfo());
    // 0x6006: nobody answers for the service
    EXPECT_EQ(LastError(),
              "Could not retrieve message from server; Response not received in specified timeout or router "
              "error occurred; Z9ERR 24582");
}

TEST_F(LinkTest, APingIsRepeatedUntilTheServerAnswersIt)
{
    ASSERT_TRUE(LogIn());
    int asked = 0;
    server->OnRequest(105, [&asked](const LinkMessage&) {
        return std::optional(++asked < 3 ? SystemError(Z9ERR_NOT_OK) : Answer(106));
    });
    EXPECT_TRUE(core.CheckConnection());
    EXPECT_EQ(server->Count(105), 3u);
}

TEST_F(LinkTest, AServerThatStaysSilentRunsIntoTheTimeOut)
{
    ASSERT_TRUE(LogIn(200));
    server->OnRequest(111, [](const LinkMessage&) { return std::nullopt; });
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_THAT(LastError(), testing::EndsWith("Z9ERR 24577")); // 0x6001
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
}

TEST_F(LinkTest, AnErrorOfTheServerIsNamedByItsNumber)
{
    ASSERT_TRUE(LogIn());
    server->OnRequest(111, [](const LinkMessage&) { return std::optional(SystemError(16)); });
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_THAT(LastError(), testing::EndsWith("Z9ERR 16"));
}

TEST_F(LinkTest, ALostRouterEndsTheSession)
{
    ASSERT_TRUE(LogIn());
    server.reset();
    router.Kill();
    EXPECT_TRUE(Within(5s, [this] { return !core.IsLogged(); }));
    EXPECT_FALSE(core.CheckConnection());
    EXPECT_EQ(LastError(), "Network connection failed");
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "System is not logged");
}

TEST_F(LinkTest, ACheckThatFindsTheRouterLostDropsTheConnection)
{
    // A login that fails for want of a server leaves its session, and no good check: the next one goes over the wire.
    server->SetDiscoveryReplies({});
    ASSERT_TRUE(Connect());
    ASSERT_FALSE(core.Login("USER01", "secret1"));
    ASSERT_TRUE(core.IsLogged());
    router.Kill();
    ASSERT_TRUE(Within(5s, [this] { return !core.IsLogged(); }));

    EXPECT_FALSE(core.CheckPing());
    EXPECT_FALSE(core.GetUserInfo());
    EXPECT_EQ(LastError(), "Connection is not initialized") << "the handle is gone";
    EXPECT_TRUE(core.Logout());
}

TEST_F(LinkTest, ASessionComesBackWithItsRouter)
{
    ASSERT_TRUE(LogIn());
    server.reset();
    router.Kill();
    ASSERT_TRUE(Within(5s, [this] { return !core.IsLogged(); }));
    router.Restart();
    server = std::make_unique<FakeServer>(router.Port());
    EXPECT_TRUE(Within(5s, [this] { return core.IsLogged(); }));
    EXPECT_TRUE(core.CheckConnection()) << LastError();
}

} // namespace
} // namespace test::LinkTest
