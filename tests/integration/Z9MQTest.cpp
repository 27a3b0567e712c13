// The message queue over a real router: logins, discovery, requests, and every way in which they fail.
#include "Z9MQ.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FakeServer.h"
#include "FreezingLine.h"
#include "RouterFixture.h"

namespace test::Z9MQTest {
namespace {

using namespace std::chrono_literals;
using namespace quindal::test;
using Clock = std::chrono::steady_clock;

constexpr Z9ERR kOk = 0;
constexpr Z9ERR kWrongArguments = 2;
constexpr Z9ERR kBufferTooSmall = 7;
constexpr Z9ERR kBufferTooLarge = 8;
constexpr Z9ERR kAlreadyInitialized = 17;
constexpr Z9ERR kNotInitialized = 24;
constexpr Z9ERR kInvalidObjectState = 27;

constexpr uint32_t kClosed = 0x00010000;        // no router
constexpr uint32_t kClosedRefused = 0x00080000; // closed for good, the password was refused
constexpr uint32_t kReady = 0x00010002;         // a router, no session
constexpr uint32_t kReadyRefused = 0x00080002;  // a router that refused the password
constexpr uint32_t kConnected = 0x00040002;     // a session
constexpr uint32_t kReconnecting = 0x00020004;  // a session without its router

constexpr const char* kService = "kv7go_srv_60";
constexpr const char* kAddress = "z9.svc.kv7go_srv_60";
constexpr const char* kGoodLogin = "USERNAME=USER01;PASSWORD=secret1";

struct MessageDeleter
{
    void operator()(Z9Message* message) const { Z9MsgFreeMessage(message); }
};
using MessagePtr = std::unique_ptr<Z9Message, MessageDeleter>;

std::string TextOf(const MessagePtr& message, const char* name)
{
    const char* value = nullptr;
    return Z9MsgGetStrField(message.get(), name, &value) == kOk ? value : "<none>";
}

uint32_t NumberOf(const MessagePtr& message, const char* name)
{
    uint32_t value = 0xFFFFFFFF;
    EXPECT_EQ(Z9MsgCopyFieldUINT32(message.get(), name, &value), kOk) << name;
    return value;
}

std::string BodyOf(const MessagePtr& message)
{
    const void* data = nullptr;
    size_t size = 0;
    EXPECT_EQ(Z9MsgGetBody(message.get(), &data, &size), kOk);
    return data == nullptr ? std::string() : std::string(static_cast<const char*>(data), size);
}

// The error number of a system message about a failed request; 0 for any other message.
uint32_t FailureIn(const MessagePtr& message)
{
    if (!message || TextOf(message, "Z9_Category") != "Z9_System" || NumberOf(message, "Z9_Type") != 2) return 0;
    const std::string body = BodyOf(message);
    EXPECT_EQ(body.size(), 4u);
    uint32_t number = 0;
    for (std::size_t i = body.size(); i-- > 0;)
        number = number * 256 + static_cast<unsigned char>(body[i]);
    return number;
}

MessagePtr Request(uint32_t type, const std::string& to = kAddress, const std::string& body = "")
{
    Z9Message* made = nullptr;
    EXPECT_EQ(Z9MsgCreateMessage(&made), kOk);
    Z9MsgSetFieldStr(made, "Z9_To", to.c_str());
    Z9MsgSetFieldStr(made, "Z9_From", "kv7go");
    Z9MsgSetFieldStr(made, "Z9_Category", "kv7go");
    Z9MsgSetFieldUINT32(made, "Z9_Type", type);
    Z9MsgSetBody(made, body.data(), body.size());
    return MessagePtr(made);
}

bool Eventually(const std::function<bool()>& holds, std::chrono::milliseconds patience = 10s)
{
    const auto deadline = Clock::now() + patience;
    while (!holds()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::chrono::milliseconds Since(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

// A started library with one connection handle, and both ended with the test.
class Client
{
public:
    Client()
    {
        EXPECT_EQ(Z9MQStartup(), kOk);
        EXPECT_EQ(Z9MQCreateConnection(&handle), kOk);
    }
    ~Client() { Z9MQCleanup(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] Z9ERR Connect(uint16_t port) const { return Z9MQConnect(handle, nullptr, port, 0); }
    Z9ERR Login(const char* connectionString = kGoodLogin) { return Z9MQLogin(handle, connectionString, &loginId); }
    void ConnectAndLogin(uint16_t port)
    {
        ASSERT_EQ(Connect(port), kOk);
        ASSERT_EQ(Login(), kOk);
        ASSERT_EQ(Status(), kConnected);
    }
    [[nodiscard]] uint32_t Status() const
    {
        uint32_t status = 0xFFFFFFFF;
        EXPECT_EQ(Z9MQGetStatus(handle, &status), kOk);
        return status;
    }
    [[nodiscard]] bool BecomesStatus(uint32_t status) const
    {
        return Eventually([&] { return Status() == status; });
    }
    Z9ERR Send(const MessagePtr& request, std::chrono::milliseconds timeout = 5s)
    {
        Z9Message* answer = nullptr;
        const Z9ERR code = Z9MQSendMsg(handle, request.get(), &answer, static_cast<uint32_t>(timeout.count()));
        reply.reset(answer);
        return code;
    }
    Z9ERR NextMessage(uint32_t timeout = 0)
    {
        Z9Message* next = nullptr;
        const Z9ERR code = Z9MQGetMsg(handle, &next, timeout);
        notice.reset(next);
        return code;
    }
    Z9ERR Resolve(const char* service = kService)
    {
        std::array<char, 1024> buffer{};
        size_t size = buffer.size();
        const Z9ERR code = Z9MQServiceResolve(handle, service, buffer.data(), &size, nullptr, 0);
        address = code == kOk ? buffer.data() : "";
        return code;
    }

    void* handle = nullptr;
    uint32_t loginId = 0;
    MessagePtr reply;
    MessagePtr notice;
    std::string address;
};

// --- Library and handles -------------------------------------------------------------------------------------------

TEST(MessageQueue, StartsTwiceEndsTwiceAndStartsAgain)
{
    EXPECT_EQ(Z9MQCleanup(), kOk);
    EXPECT_EQ(Z9MQStartup(), kOk);
    EXPECT_EQ(Z9MQStartup(), kOk);
    EXPECT_EQ(Z9MQCleanup(), kOk);
    EXPECT_EQ(Z9MQCleanup(), kOk);
    EXPECT_EQ(Z9MQStartup(), kOk);
    EXPECT_EQ(Z9MQCleanup(), kOk);
}

TEST(MessageQueue, MakesNoConnectionBeforeItIsStarted)
{
    void* handle = nullptr;
    EXPECT_EQ(Z9MQCreateConnection(&handle), kNotInitialized);
    EXPECT_EQ(handle, nullptr);
}

TEST(MessageQueue, HasAVersion)
{
    char* version = nullptr;
    ASSERT_EQ(Z9GetVersion(&version), kOk);
    EXPECT_THAT(std::string(version), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
    EXPECT_EQ(Z9GetVersion(nullptr), kWrongArguments);
}

void ExpectEveryCallRefuses(void* handle)
{
    uint32_t number = 0;
    Z9Message* message = nullptr;
    const MessagePtr request = Request(105);
    std::array<char, 64> buffer{};
    size_t size = buffer.size();
    EXPECT_EQ(Z9MQConnect(handle, nullptr, 1, 0), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQLogin(handle, kGoodLogin, &number), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQGetStatus(handle, &number), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQGetMsg(handle, &message, 0), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQSendMsg(handle, request.get(), &message, 0), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQServiceResolve(handle, kService, buffer.data(), &size, nullptr, 0), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQLogout(handle), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQDisconnect(handle), Z9ERR_MQ_INVALID_CONN_HANDLE);
    EXPECT_EQ(Z9MQFreeConnection(handle), Z9ERR_MQ_INVALID_CONN_HANDLE);
}

TEST(MessageQueue, RefusesHandlesThatAreNone)
{
    Client client;
    int local = 0;
    ExpectEveryCallRefuses(nullptr);
    ExpectEveryCallRefuses(&local);
    ExpectEveryCallRefuses(Z9INI_DEFAULT);
    EXPECT_EQ(Z9MQCreateConnection(nullptr), kWrongArguments);
}

TEST(MessageQueue, AFreedHandleNamesNobodyEvenWhenOthersAreMade)
{
    Client client;
    void* const freed = client.handle;
    ASSERT_EQ(Z9MQFreeConnection(freed), kOk);
    ASSERT_EQ(Z9MQCreateConnection(&client.handle), kOk);
    EXPECT_NE(client.handle, freed);
    ExpectEveryCallRefuses(freed);
}

TEST(MessageQueue, CleanupEndsEveryHandle)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(Z9MQCleanup(), kOk);
    ExpectEveryCallRefuses(client.handle);
}

TEST(MessageQueue, RefusesNullPointers)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    const MessagePtr request = Request(105);
    Z9Message* message = nullptr;
    uint32_t number = 0;
    size_t size = 0;
    EXPECT_EQ(Z9MQLogin(client.handle, nullptr, &number), kWrongArguments);
    EXPECT_EQ(Z9MQLogin(client.handle, kGoodLogin, nullptr), kWrongArguments);
    EXPECT_EQ(Z9MQGetStatus(client.handle, nullptr), kWrongArguments);
    EXPECT_EQ(Z9MQGetMsg(client.handle, nullptr, 0), kWrongArguments);
    EXPECT_EQ(Z9MQSendMsg(client.handle, nullptr, &message, 1), kWrongArguments);
    EXPECT_EQ(Z9MQSendMsg(client.handle, request.get(), nullptr, 1), kWrongArguments);
    EXPECT_EQ(Z9MQServiceResolve(client.handle, nullptr, nullptr, &size, nullptr, 0), kWrongArguments);
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, nullptr, nullptr, nullptr, 0), kWrongArguments);
}

// --- Connecting ----------------------------------------------------------------------------------------------------

// A listener on loopback that is no router: says one text to whoever comes, and then nothing more.
class Impostor
{
public:
    explicit Impostor(std::string greeting) : greeting_(std::move(greeting))
    {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener_, 4), 0);
        socklen_t size = sizeof address;
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~Impostor()
    {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    Impostor(const Impostor&) = delete;
    Impostor& operator=(const Impostor&) = delete;

    uint16_t port = 0;

private:
    void Serve() const
    {
        std::vector<int> guests;
        for (int guest = 0; (guest = ::accept(listener_, nullptr, nullptr)) >= 0; guests.push_back(guest))
            ::send(guest, greeting_.data(), greeting_.size(), MSG_NOSIGNAL);
        for (const int guest : guests)
            ::close(guest);
    }

    std::string greeting_;
    int listener_ = -1;
    std::thread thread_;
};

TEST(Connecting, ReachesARouterByItsPort)
{
    const RouterFixture router;
    Client client;
    EXPECT_EQ(client.Status(), kClosed);
    EXPECT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Status(), kReady);
    EXPECT_EQ(Z9MQDisconnect(client.handle), kOk);
    EXPECT_EQ(client.Status(), kClosed);
}

TEST(Connecting, ReachesARouterByHostName)
{
    const RouterFixture router;
    Client client;
    EXPECT_EQ(Z9MQConnect(client.handle, "localhost", router.Port(), 0), kOk);
    EXPECT_EQ(client.Login(), kOk);
    EXPECT_EQ(client.Status(), kConnected);
}

TEST(Connecting, FailsWhereNobodyListens)
{
    RouterFixture router;
    const uint16_t port = router.Port();
    router.Kill();
    Client client;
    EXPECT_EQ(client.Connect(port), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_EQ(client.Connect(0), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_EQ(Z9MQConnect(client.handle, "no such host", port, 0), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_EQ(client.Status(), kClosed);
}

TEST(Connecting, FailsWhenAnotherProtocolAnswers)
{
    const Impostor impostor("HTTP/1.1 400 Bad Request\r\n\r\n");
    const Client client;
    EXPECT_EQ(client.Connect(impostor.port), Z9ERR_MQ_SOCK_ERROR);
}

TEST(Connecting, WaitsTwoSecondsForAGreetingThatDoesNotEnd)
{
    const Impostor impostor("INFO {\"auth_required\":true");
    const Client client;
    const auto start = Clock::now();
    EXPECT_EQ(client.Connect(impostor.port), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_GE(Since(start), 1900ms);
    EXPECT_LT(Since(start), 4s);
}

TEST(Connecting, TakesNoFlags)
{
    const RouterFixture router;
    const Client client;
    EXPECT_EQ(Z9MQConnect(client.handle, nullptr, router.Port(), 1), kWrongArguments);
}

TEST(Connecting, IsRefusedWhileASessionIsOpen)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(client.Connect(router.Port()), kAlreadyInitialized);
    EXPECT_EQ(client.Status(), kConnected);
}

// --- Logging in ----------------------------------------------------------------------------------------------------

TEST(LoggingIn, BringsTheNewsWithTheIdOfTheLogin)
{
    const RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Login(), kOk);
    EXPECT_EQ(client.Status(), kConnected);

    ASSERT_EQ(client.NextMessage(), kOk);
    EXPECT_EQ(TextOf(client.notice, "Z9_Category"), "Z9_System");
    EXPECT_EQ(NumberOf(client.notice, "Z9_Type"), 1u);
    EXPECT_EQ(NumberOf(client.notice, "Z9_RouterState"), Z9MQ_ROUTER_CONNECTED);
    EXPECT_EQ(NumberOf(client.notice, "Z9_LoginId"), client.loginId);
    EXPECT_EQ(BodyOf(client.notice), "");
    EXPECT_EQ(client.NextMessage(), Z9ERR_MQ_TIMEOUT);
}

TEST(LoggingIn, WithAWrongPasswordIsANoticeAndNoFailureOfTheCall)
{
    const RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Login("USERNAME=USER01;PASSWORD=secret2"), kOk);
    EXPECT_EQ(client.Status(), kReadyRefused);
    ASSERT_EQ(client.NextMessage(), kOk);
    EXPECT_EQ(NumberOf(client.notice, "Z9_RouterState"), Z9MQ_ROUTER_LOGINFAILED);
    EXPECT_EQ(NumberOf(client.notice, "Z9_LoginId"), client.loginId);
    EXPECT_EQ(client.Send(Request(105)), Z9ERR_MQ_NOT_CONNECTED_YET);

    const uint32_t refusedId = client.loginId;
    EXPECT_EQ(client.Login(), kOk) << "a refusal is not for ever";
    EXPECT_NE(client.loginId, refusedId);
    EXPECT_EQ(client.Status(), kConnected);
}

TEST(LoggingIn, AnUnknownUserIsRefusedLikeAWrongPassword)
{
    const RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Login("USERNAME=NOBODY;PASSWORD=secret1"), kOk);
    EXPECT_EQ(client.Status(), kReadyRefused);
}

TEST(LoggingIn, BeforeConnectingIsTooEarly)
{
    Client client;
    EXPECT_EQ(client.Login(), Z9ERR_MQ_NOT_CONNECTED_YET);
    EXPECT_EQ(Z9MQLogout(client.handle), Z9ERR_MQ_NOT_CONNECTED_YET);
}

TEST(LoggingIn, TwiceIsRefusedUntilLoggedOut)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(client.Login(), Z9ERR_MQCRYPT_ALREADY_LOGGED_IN);
    EXPECT_EQ(client.Status(), kConnected);
    EXPECT_EQ(Z9MQLogout(client.handle), kOk);
    EXPECT_EQ(client.Status(), kReady);
    EXPECT_EQ(client.Login(), kOk);
    EXPECT_EQ(client.Status(), kConnected);
}

TEST(LoggingIn, AtARouterWithoutPasswordsIsNotPermittedButOpensTheSession)
{
    RouterSettings open;
    open.users.clear();
    const RouterFixture router(open);
    const FakeServer server(router.Port());
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Login(), Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED);
    EXPECT_EQ(client.Status(), kConnected);
    EXPECT_EQ(client.NextMessage(), Z9ERR_MQ_TIMEOUT) << "no notice is promised then";
    EXPECT_EQ(client.Resolve(), kOk);
    EXPECT_EQ(client.Send(Request(105)), kOk);
    EXPECT_EQ(NumberOf(client.reply, "Z9_Type"), 106u);
}

TEST(LoggingIn, RefusesConnectionStringsOfAnotherForm)
{
    const RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    for (const char* text : {"", "USERNAME=USER01", "USERNAME=;PASSWORD=x", "USERNAME=US ER;PASSWORD=x",
                             "USERNAME=*;PASSWORD=x", "PASSWORD=secret1;USERNAME=USER01"})
        EXPECT_EQ(client.Login(text), kWrongArguments) << text;
    EXPECT_EQ(client.Status(), kReady);
}

TEST(LoggingIn, AnyPasswordArrivesAsItIs)
{
    for (const char* password : {"a;PASSWORD=b", "quote\"d", "back\\slash\\", "tab\tbed", "\",\"user\":\"USER01",
                                 "\xD0\xBF\xC3\xA9", "p%20q", " blanks "}) {
        RouterSettings settings;
        settings.users.push_back(ClientUser("USER02", password));
        const RouterFixture router(settings);
        Client client;
        ASSERT_EQ(client.Connect(router.Port()), kOk);
        EXPECT_EQ(client.Login(("USERNAME=USER02;PASSWORD=" + std::string(password)).c_str()), kOk);
        EXPECT_EQ(client.Status(), kConnected) << password;
    }
}

TEST(LoggingIn, FailsWhenTheRouterWentAwayMeanwhile)
{
    RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    router.Kill();
    EXPECT_EQ(client.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_EQ(client.NextMessage(), Z9ERR_MQ_TIMEOUT);
    EXPECT_EQ(client.Status(), kReady);
}

TEST(LoggingIn, GivesUpAfterTwoSecondsOfSilence)
{
    RouterFixture router;
    Client client;
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    router.Freeze();
    const auto start = Clock::now();
    EXPECT_EQ(client.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_GE(Since(start), 1900ms);
    EXPECT_LT(Since(start), 4s);
}

TEST(LoggingIn, GivesUpAfterTwoSecondsOnARouterThatGreetsAndThenHangs)
{
    const Impostor impostor("INFO {\"auth_required\":true,\"max_payload\":1048576,\"headers\":true}\r\n");
    Client client;
    ASSERT_EQ(client.Connect(impostor.port), kOk);
    const auto start = Clock::now();
    EXPECT_EQ(client.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_GE(Since(start), 1900ms);
    EXPECT_LT(Since(start), 4s);
    EXPECT_EQ(client.Status(), kReady);
}

TEST(LoggingIn, LoggingOutDropsNewsThatNobodyRead)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    ASSERT_EQ(Z9MQLogout(client.handle), kOk);
    EXPECT_EQ(client.NextMessage(), Z9ERR_MQ_TIMEOUT);
}

TEST(Notices, AreWaitedForAsLongAsAsked)
{
    Client client;
    const auto start = Clock::now();
    EXPECT_EQ(client.NextMessage(150), Z9ERR_MQ_TIMEOUT);
    EXPECT_GE(Since(start), 150ms);
    EXPECT_EQ(client.notice, nullptr);
}

// --- Discovery -----------------------------------------------------------------------------------------------------

// A server that may answer a discovery more than once, as several instances together do.
RouterSettings WithTalkativeServer()
{
    RouterSettings settings;
    settings.users[0].publish = {"_INBOX.>"};
    return settings;
}

TEST(Discovery, FindsTheAddressOfAService)
{
    const RouterFixture router;
    const FakeServer server(router.Port());
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(client.Resolve(), kOk);
    EXPECT_EQ(client.address, kAddress);
    EXPECT_EQ(server.Discoveries(), 1u);
}

TEST(Discovery, ReportsTheSizeNeededAndFillsABufferOfThatSize)
{
    const RouterFixture router;
    const FakeServer server(router.Port());
    Client client;
    client.ConnectAndLogin(router.Port());
    // "z9.svc.kv7go_srv_60" has 19 characters; the terminating zero makes 20.
    std::string buffer(20, '-');
    size_t size = 19;
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, buffer.data(), &size, nullptr, 0), kBufferTooSmall);
    EXPECT_EQ(size, 20u);
    EXPECT_EQ(buffer, std::string(20, '-'));
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, buffer.data(), &size, nullptr, 0), kOk);
    EXPECT_EQ(buffer, std::string(kAddress) + '\0');
    size = 99;
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, nullptr, &size, nullptr, 0), kBufferTooSmall);
    EXPECT_EQ(size, 20u);
}

TEST(Discovery, ReadsRepliesUntilOneFits)
{
    const RouterFixture router(WithTalkativeServer());
    FakeServer server(router.Port());
    server.SetDiscoveryReplies(
        {"", "not JSON", R"({"type":"io.nats.micro.v1.ping_response","name":"kv7go_srv_60"})",
         R"({"type":"io.nats.micro.v1.info_response","name":"other","endpoints":[{"subject":"z9.svc.other"}]})",
         R"({"type":"io.nats.micro.v1.info_response","name":"kv7go_srv_60","endpoints":[{"subject":"a b"}]})",
         R"({ "name" : "kv7go_srv_60", "new": 1, "type" : "io.nats.micro.v1.info_response",
              "endpoints" : [ { "subject" : "z9.svc.first" }, { "subject" : "z9.svc.second" } ] })",
         server.DiscoveryReply()});
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(client.Resolve(), kOk);
    EXPECT_EQ(client.address, "z9.svc.first");
}

TEST(Discovery, FindsOneOfSeveralInstances)
{
    const RouterFixture router;
    FakeServerSettings second;
    second.instance = "fake-2";
    const FakeServer one(router.Port());
    const FakeServer two(router.Port(), second);
    Client client;
    client.ConnectAndLogin(router.Port());
    EXPECT_EQ(client.Resolve(), kOk);
    EXPECT_EQ(client.address, kAddress);
    EXPECT_TRUE(Eventually([&] { return one.Discoveries() == 1 && two.Discoveries() == 1; }))
        << "every instance is asked";
}

TEST(Discovery, RepeatedAmongManyInstancesHearsTheLateOnesWithoutHarm)
{
    const RouterFixture router(WithTalkativeServer());
    FakeServer server(router.Port());
    std::vector<std::string> replies(200, "{}");
    replies.insert(replies.begin(), server.DiscoveryReply());
    server.SetDiscoveryReplies(replies);
    Client client;
    client.ConnectAndLogin(router.Port());
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(client.Resolve(), kOk);
        ASSERT_EQ(client.address, kAddress);
    }
    EXPECT_EQ(server.Discoveries(), 50u);
}

TEST(Discovery, KnowsAtOnceThatNobodyServes)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    const auto start = Clock::now();
    EXPECT_EQ(client.Resolve(), Z9ERR_MQ_NO_SERVICE);
    EXPECT_LT(Since(start), 1s);
}

TEST(Discovery, WaitsTwoSecondsInAllForAReplyThatFits)
{
    const RouterFixture router;
    FakeServer server(router.Port());
    server.SetDiscoveryReplies({"{}"});
    Client client;
    client.ConnectAndLogin(router.Port());
    const auto start = Clock::now();
    EXPECT_EQ(client.Resolve(), Z9ERR_MQ_NO_SERVICE);
    EXPECT_GE(Since(start), 1900ms);
    EXPECT_LT(Since(start), 4s);
}

TEST(Discovery, RefusesNamesThatAreNoWordAndArgumentsWithoutMeaning)
{
    const RouterFixture router;
    const FakeServer server(router.Port());
    Client client;
    client.ConnectAndLogin(router.Port());
    for (const std::string& name : {std::string(), std::string("a b"), std::string("a.b"), std::string("*"),
                                    std::string(">"), std::string(65, 'x')})
        EXPECT_EQ(client.Resolve(name.c_str()), kWrongArguments) << name;
    size_t size = 0;
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, nullptr, &size, &size, 0), kWrongArguments);
    EXPECT_EQ(Z9MQServiceResolve(client.handle, kService, nullptr, &size, nullptr, 1), kWrongArguments);
    EXPECT_EQ(client.Status(), kConnected) << "the router never saw any of it";
    EXPECT_EQ(server.Discoveries(), 0u);
}

TEST(Discovery, NeedsASession)
{
    const RouterFixture router;
    Client client;
    EXPECT_EQ(client.Resolve(), Z9ERR_MQ_NOT_CONNECTED_YET);
    ASSERT_EQ(client.Connect(router.Port()), kOk);
    EXPECT_EQ(client.Resolve(), Z9ERR_MQ_NOT_CONNECTED_YET);
}

// --- Requests ------------------------------------------------------------------------------------------------------

class Requests : public testing::Test
{
protected:
    Requests() : server_(router_.Port()) { client_.ConnectAndLogin(router_.Port()); }

    RouterFixture router_;
    FakeServer server_;
    Client client_;
};

TEST_F(Requests, AreAnsweredByOneMessage)
{
    const MessagePtr ping = Request(105);
    Z9MsgSetFieldUINT32(ping.get(), "kv7go_ping", 4294967295u);
    ASSERT_EQ(client_.Send(ping), kOk);
    EXPECT_EQ(TextOf(client_.reply, "Z9_Category"), "kv7go");
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
    EXPECT_EQ(NumberOf(client_.reply, "kv7go_ping"), 4294967295u);
    EXPECT_EQ(BodyOf(client_.reply), "");
    EXPECT_EQ(TextOf(ping, "Z9_From"), "kv7go") << "the request is as it was";
}

TEST_F(Requests, CarryEveryPropertyInTheFormOfTheLink)
{
    const MessagePtr request = Request(105);
    Z9MsgSetFieldStr(request.get(), "empty", "");
    Z9MsgSetFieldStr(request.get(), "text", " 100%\r\n\xC3\xA9 ");
    Z9MsgSetFieldUINT32(request.get(), "number", 0);
    ASSERT_EQ(client_.Send(request), kOk);
    ASSERT_EQ(server_.Requests().size(), 1u);
    const std::map<std::string, std::string> expected = {{"Z9_To", "z9.svc.kv7go_srv_60"},
                                                         {"Z9_From", "kv7go"},
                                                         {"Z9_Category", "kv7go"},
                                                         {"Z9_Type", "105"},
                                                         {"empty", "%00"},
                                                         {"text", "%20100%25%0D%0A%C3%A9%20"},
                                                         {"number", "0"}};
    EXPECT_EQ(server_.Requests()[0].properties, expected);
    EXPECT_EQ(server_.Requests()[0].body, "");
}

TEST_F(Requests, EveryTextSurvivesTheWayThereAndBack)
{
    server_.OnRequest(200, [](const LinkMessage& request) {
        LinkMessage answer = Answer(201);
        answer.properties["echo"] = LinkText(LinkTextRead(request.properties.at("text")));
        answer.properties["zzz_last"] = LinkText("still here");
        return answer;
    });
    std::string allBytes;
    for (int byte = 1; byte < 256; ++byte)
        allBytes += static_cast<char>(byte);
    for (const std::string& text :
         {std::string(), std::string("%"), std::string("%41"), std::string("%00"), std::string("\r\n\r\n"),
          std::string("  "), std::string("\xE2\x82\xBD \xD0\x96"), allBytes}) {
        const MessagePtr request = Request(200);
        Z9MsgSetFieldStr(request.get(), "text", text.c_str());
        ASSERT_EQ(client_.Send(request), kOk);
        EXPECT_EQ(TextOf(client_.reply, "echo"), text);
        EXPECT_EQ(TextOf(client_.reply, "zzz_last"), "still here");
    }
}

TEST_F(Requests, MalformedPropertiesOfAReplyAreRefusedWhenRead)
{
    server_.OnRequest(200, [](const LinkMessage&) {
        LinkMessage answer = Answer(201);
        answer.properties["lower"] = "a%0d";
        answer.properties["needless"] = "%41";
        answer.properties["large"] = "4294967296";
        return answer;
    });
    ASSERT_EQ(client_.Send(Request(200)), kOk);
    const char* text = nullptr;
    uint32_t number = 0;
    EXPECT_EQ(Z9MsgGetStrField(client_.reply.get(), "lower", &text), kWrongArguments);
    EXPECT_EQ(Z9MsgGetStrField(client_.reply.get(), "needless", &text), kWrongArguments);
    EXPECT_EQ(Z9MsgCopyFieldUINT32(client_.reply.get(), "large", &number), kWrongArguments);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 201u) << "the others are not touched by it";
}

TEST_F(Requests, BodiesGoAndComeByteForByte)
{
    server_.OnRequest(200, [](const LinkMessage& request) {
        LinkMessage answer = Answer(201);
        answer.body.assign(request.body.rbegin(), request.body.rend());
        return answer;
    });
    std::string body("\0<root/>\r\n\xff", 11);
    ASSERT_EQ(client_.Send(Request(200, kAddress, body)), kOk);
    EXPECT_EQ(server_.Requests()[0].body, body);
    EXPECT_EQ(BodyOf(client_.reply), std::string(body.rbegin(), body.rend()));
}

TEST_F(Requests, ABodyOfManyMegabytesPasses)
{
    const std::string large(20'000'000, 'x');
    server_.OnRequest(200, [&](const LinkMessage&) {
        LinkMessage answer = Answer(201);
        answer.body = large;
        return answer;
    });
    ASSERT_EQ(client_.Send(Request(200)), kOk);
    EXPECT_EQ(BodyOf(client_.reply).size(), large.size());
}

TEST_F(Requests, AReplyTooLargeForTheRouterComesAsItsErrorNumber)
{
    RouterSettings small;
    small.maxPayload = "64KB";
    RouterFixture router(small);
    FakeServer server(router.Port());
    server.SetInstruments(std::string(100'000, 'x'));
    ASSERT_EQ(Z9MQDisconnect(client_.handle), kOk);
    client_.ConnectAndLogin(router.Port());
    ASSERT_EQ(client_.Send(Request(109)), kOk);
    EXPECT_EQ(FailureIn(client_.reply), 8u);
}

TEST_F(Requests, UnknownTypesComeBackAsNotSupported)
{
    ASSERT_EQ(client_.Send(Request(999)), kOk);
    EXPECT_EQ(FailureIn(client_.reply), 16u);
}

TEST_F(Requests, TimeOutAsASystemMessage)
{
    server_.OnRequest(200, [](const LinkMessage&) { return std::nullopt; });
    const auto start = Clock::now();
    ASSERT_EQ(client_.Send(Request(200), 150ms), kOk);
    EXPECT_GE(Since(start), 140ms);
    EXPECT_LT(Since(start), 2s);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_TIMEOUT);
}

TEST_F(Requests, ATimeOutOfZeroIsTakenToo)
{
    server_.OnRequest(200, [](const LinkMessage&) { return std::nullopt; });
    ASSERT_EQ(client_.Send(Request(200), 0ms), kOk);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_TIMEOUT);
}

TEST_F(Requests, AnAnswerThatComesTooLateDisturbsNobody)
{
    server_.OnRequest(200, [](const LinkMessage&) {
        std::this_thread::sleep_for(200ms);
        return Answer(201);
    });
    ASSERT_EQ(client_.Send(Request(200), 20ms), kOk);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_TIMEOUT);
    ASSERT_EQ(client_.Send(Request(105)), kOk);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u) << "the answer to this request, not to the one before";
}

TEST_F(Requests, WhereNobodyListensFailAtOnce)
{
    const auto start = Clock::now();
    ASSERT_EQ(client_.Send(Request(105, "z9.svc.nobody")), kOk);
    EXPECT_LT(Since(start), 2s);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_NO_SERVICE);
}

TEST_F(Requests, FindNobodyAfterTheServerWasStopped)
{
    ASSERT_EQ(client_.Send(Request(105)), kOk);
    server_.Stop();
    EXPECT_TRUE(Eventually(
        [&] { return client_.Send(Request(105), 1s) == kOk && FailureIn(client_.reply) == Z9ERR_MQ_NO_SERVICE; }));
}

TEST_F(Requests, TimeOutWhenTheServerDiesBeforeItAnswers)
{
    server_.OnRequest(200, [](const LinkMessage&) { return std::nullopt; });
    std::thread assassin([&] {
        EXPECT_TRUE(server_.WaitForRequests(200, 1));
        server_.Stop();
    });
    ASSERT_EQ(client_.Send(Request(200), 400ms), kOk);
    assassin.join();
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_TIMEOUT);
    EXPECT_EQ(client_.Status(), kConnected);
}

TEST_F(Requests, ToAddressesThatAreNoneAreRefusedAndNeverSent)
{
    for (const std::string& to : {std::string(), std::string("a b"), std::string("z9.svc.*"), std::string("z9..svc"),
                                  std::string("a\r\nPUB x 0"), std::string(256, 'a')})
        EXPECT_EQ(client_.Send(Request(105, to)), kWrongArguments) << to;
    Z9Message* bare = nullptr;
    Z9MsgCreateMessage(&bare);
    EXPECT_EQ(client_.Send(MessagePtr(bare)), kWrongArguments) << "no address at all";
    EXPECT_EQ(client_.reply, nullptr);
    EXPECT_EQ(client_.Status(), kConnected) << "a blank that reached the router would have cost the connection";
    EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(Requests, TheRouterForbidsTimeOutAndPrintNothing)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    ASSERT_EQ(client_.Send(Request(105, "elsewhere"), 300ms), kOk);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_TIMEOUT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(Requests, WithMoreThan4096BytesOfPropertiesAreTooLarge)
{
    // The frame takes 12 bytes, each property 4 and its name. The four of a request and the name "filler":
    // Z9_To 5 + 19, Z9_From 7 + 5, Z9_Category 11 + 5, Z9_Type 7 + 3, filler 6, five times 4: 12 + 68 + 20 = 100 bytes.
    const MessagePtr request = Request(105);
    Z9MsgSetFieldStr(request.get(), "filler", std::string(4096 - 100, 'x').c_str());
    EXPECT_EQ(client_.Send(request), kOk);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
    Z9MsgSetFieldStr(request.get(), "filler", std::string(4096 - 99, 'x').c_str());
    EXPECT_EQ(client_.Send(request), kBufferTooLarge);
    EXPECT_EQ(client_.reply, nullptr);
    EXPECT_EQ(server_.Count(105), 1u);
}

TEST(RequestSize, CountsPropertiesAndBodyAgainstTheLimitOfTheRouter)
{
    RouterSettings small;
    small.maxPayload = "4096";
    const RouterFixture router(small);
    const FakeServer server(router.Port());
    Client client;
    client.ConnectAndLogin(router.Port());
    // As above, without the filler: 12 + 62 + 16 = 90 bytes of properties, which leaves 4006 for the body.
    EXPECT_EQ(client.Send(Request(105, kAddress, std::string(4006, 'x'))), kOk);
    EXPECT_EQ(NumberOf(client.reply, "Z9_Type"), 106u);
    EXPECT_EQ(client.Send(Request(105, kAddress, std::string(4007, 'x'))), kBufferTooLarge);
    EXPECT_EQ(client.reply, nullptr);
    EXPECT_EQ(client.Status(), kConnected);
    EXPECT_EQ(server.Count(105), 1u);
}

TEST(RequestSize, FollowsARouterThatCameBackWithASmallerLimit)
{
    RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    RouterSettings small;
    small.maxPayload = "4096";
    router.Restart(small);
    ASSERT_TRUE(client.BecomesStatus(kConnected));
    EXPECT_TRUE(
        Eventually([&] { return client.Send(Request(105, kAddress, std::string(5000, 'x'))) == kBufferTooLarge; }));
    EXPECT_EQ(client.reply, nullptr);
}

TEST(RequestOrder, LooksAtTheStateBeforeTheAddress)
{
    Client client;
    EXPECT_EQ(client.Send(Request(105, "a b")), Z9ERR_MQ_NOT_CONNECTED_YET);
}

// --- Losing the router ---------------------------------------------------------------------------------------------

TEST_F(Requests, FailWithASocketErrorWhenTheRouterDiesWhileWaiting)
{
    server_.OnRequest(200, [](const LinkMessage&) { return std::nullopt; });
    std::thread assassin([&] {
        EXPECT_TRUE(server_.WaitForRequests(200, 1));
        router_.Kill();
    });
    const auto start = Clock::now();
    ASSERT_EQ(client_.Send(Request(200), 20s), kOk);
    assassin.join();
    EXPECT_LT(Since(start), 10s) << "the loss ends the wait";
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_SOCK_ERROR);
}

TEST_F(Requests, AreNotKeptForLaterWhileTheRouterIsAway)
{
    router_.Kill();
    ASSERT_TRUE(client_.BecomesStatus(kReconnecting));
    const auto start = Clock::now();
    EXPECT_EQ(client_.Send(Request(105), 5s), Z9ERR_MQ_NOT_CONNECTED_YET);
    EXPECT_EQ(client_.Resolve(), Z9ERR_MQ_NOT_CONNECTED_YET);
    EXPECT_EQ(client_.Login(), Z9ERR_MQCRYPT_ALREADY_LOGGED_IN) << "the session restores itself";
    EXPECT_LT(Since(start), 2s);
    EXPECT_EQ(client_.reply, nullptr);

    router_.Restart();
    const FakeServer server(router_.Port());
    ASSERT_TRUE(client_.BecomesStatus(kConnected));
    ASSERT_EQ(client_.Send(Request(105)), kOk);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
    EXPECT_EQ(server.Count(105), 1u) << "what was refused while away was never sent";
    EXPECT_EQ(client_.Resolve(), kOk);
}

TEST_F(Requests, GoOnAfterTheRouterCameBackMoreThanOnce)
{
    for (int round = 0; round < 3; ++round) {
        router_.Restart();
        const FakeServer server(router_.Port());
        ASSERT_TRUE(Eventually([&] { return client_.Send(Request(105), 1s) == kOk && FailureIn(client_.reply) == 0; }))
            << round;
        EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
    }
}

TEST_F(Requests, EndForGoodWhenTheRouterComesBackAndRefusesThePassword)
{
    RouterSettings changed;
    changed.users = {ServerUser(), ClientUser("USER01", "another")};
    router_.Restart(changed);
    ASSERT_TRUE(client_.BecomesStatus(kClosedRefused));
    EXPECT_EQ(client_.Send(Request(105)), Z9ERR_MQ_NOT_CONNECTED_YET);

    EXPECT_EQ(client_.Login("USERNAME=USER01;PASSWORD=another"), kOk) << "a closed session is no open one";
    EXPECT_EQ(client_.Status(), kConnected);
}

TEST_F(Requests, LoggingOutWhileReconnectingEndsTheSession)
{
    router_.Kill();
    ASSERT_TRUE(client_.BecomesStatus(kReconnecting));
    EXPECT_EQ(Z9MQLogout(client_.handle), kOk);
    EXPECT_EQ(client_.Status(), kReady);
}

TEST(Discovery, FailsWithASocketErrorWhenTheRouterDiesMeanwhile)
{
    RouterFixture router;
    FakeServer server(router.Port());
    server.SetDiscoveryReplies({});
    Client client;
    client.ConnectAndLogin(router.Port());
    std::thread assassin([&] {
        EXPECT_TRUE(Eventually([&] { return server.Discoveries() == 1; }));
        router.Kill();
    });
    EXPECT_EQ(client.Resolve(), Z9ERR_MQ_SOCK_ERROR);
    assassin.join();
}

TEST_F(Requests, WaitingInAnotherThreadReturnAtOnceWhenTheLibraryEnds)
{
    server_.OnRequest(200, [](const LinkMessage&) { return std::nullopt; });
    const auto start = Clock::now();
    std::thread cleaner([&] {
        EXPECT_TRUE(server_.WaitForRequests(200, 1));
        EXPECT_EQ(Z9MQCleanup(), kOk);
    });
    EXPECT_EQ(client_.Send(Request(200), 20s), kOk);
    cleaner.join();
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_LT(Since(start), 10s);
}

TEST(Notices, WaitingInAnotherThreadReturnAtOnceWhenTheConnectionIsFreed)
{
    Client client;
    const auto start = Clock::now();
    std::thread other([&] {
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(Z9MQFreeConnection(client.handle), kOk);
    });
    EXPECT_EQ(client.NextMessage(20'000), Z9ERR_MQ_INVALID_CONN_HANDLE);
    other.join();
    EXPECT_LT(Since(start), 10s);
}

TEST(Connections, AreIndependentOfEachOther)
{
    RouterFixture one;
    const RouterFixture two;
    const FakeServer server(two.Port());
    Client client;
    client.ConnectAndLogin(one.Port());
    void* second = nullptr;
    uint32_t secondLogin = 0;
    ASSERT_EQ(Z9MQCreateConnection(&second), kOk);
    ASSERT_EQ(Z9MQConnect(second, nullptr, two.Port(), 0), kOk);
    ASSERT_EQ(Z9MQLogin(second, kGoodLogin, &secondLogin), kOk);
    EXPECT_NE(secondLogin, client.loginId);

    one.Kill();
    ASSERT_TRUE(client.BecomesStatus(kReconnecting));
    Z9Message* answer = nullptr;
    EXPECT_EQ(Z9MQSendMsg(second, Request(105).get(), &answer, 5000), kOk);
    EXPECT_EQ(NumberOf(MessagePtr(answer), "Z9_Type"), 106u);
}

// --- Routers that hang -----------------------------------------------------------------------------------------------

// The first line that a router says to everybody.
std::size_t GreetingSize(const FreezingLine& line) { return line.RouterSaid().find('\n') + 1; }

// A session whose router went away and hangs when it is called again, silent or after its greeting.
class HangingReconnect : public testing::TestWithParam<bool>
{
protected:
    HangingReconnect() : line_(router_.Port())
    {
        client_.ConnectAndLogin(line_.Port());
        const std::size_t before = line_.Accepted();
        line_.FreezeAfter(GetParam() ? GreetingSize(line_) : 0);
        line_.Cut();
        EXPECT_TRUE(Eventually([&] { return line_.Accepted() > before; }));
        EXPECT_TRUE(client_.BecomesStatus(kReconnecting));
        std::this_thread::sleep_for(20ms); // so that the handshake hangs indeed
    }

    const RouterFixture router_;
    FreezingLine line_;
    Client client_;
};

TEST_P(HangingReconnect, HoldsUpNoCall)
{
    const auto start = Clock::now();
    while (Since(start) < 2500ms) { // longer than one handshake may take
        const auto call = Clock::now();
        EXPECT_EQ(client_.Status(), kReconnecting);
        EXPECT_EQ(client_.Send(Request(105)), Z9ERR_MQ_NOT_CONNECTED_YET);
        EXPECT_EQ(client_.Resolve(), Z9ERR_MQ_NOT_CONNECTED_YET);
        EXPECT_LT(Since(call), 1s);
        std::this_thread::sleep_for(20ms);
    }
    line_.FreezeAfter(FreezingLine::kNever);
    EXPECT_TRUE(client_.BecomesStatus(kConnected)) << "it is tried again and again";
    EXPECT_EQ(client_.Resolve(), Z9ERR_MQ_NO_SERVICE);
}

TEST_P(HangingReconnect, DoesNotHoldUpTheFarewell)
{
    const auto start = Clock::now();
    EXPECT_EQ(Z9MQLogout(client_.handle), kOk);
    EXPECT_EQ(client_.Status(), kReady);
    EXPECT_EQ(Z9MQFreeConnection(client_.handle), kOk);
    EXPECT_LT(Since(start), 1s);
}

INSTANTIATE_TEST_SUITE_P(Router, HangingReconnect, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "AfterItsGreeting" : "WithoutAWord"; });

// --- Routers that demand TLS -----------------------------------------------------------------------------------------

// A certificate for 127.0.0.1 that signs itself, and its key.
class CertificateFiles
{
public:
    CertificateFiles()
    {
        const std::string make = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
                                 "-subj /CN=router -addext subjectAltName=IP:127.0.0.1 -keyout " +
                                 Key().string() + " -out " + Certificate().string() + " 2>/dev/null";
        EXPECT_EQ(std::system(make.c_str()), 0);
    }
    [[nodiscard]] std::filesystem::path Certificate() const { return files_.Directory() / "router.crt"; }
    [[nodiscard]] std::filesystem::path Key() const { return files_.Directory() / "router.key"; }

private:
    const RouterFixture files_; // for its folder
};

class SecureRouter : public testing::Test
{
protected:
    // Makes the system's store hold this certificate alone, or none.
    void Trust(bool trusted)
    {
        ::setenv("SSL_CERT_FILE", trusted ? files_.Certificate().c_str() : "/dev/null", 1);
        ::setenv("SSL_CERT_DIR", "/nonexistent", 1);
    }
    ~SecureRouter() override
    {
        ::unsetenv("SSL_CERT_FILE");
        ::unsetenv("SSL_CERT_DIR");
    }

    [[nodiscard]] RouterSettings Settings(std::string password = "secret1") const
    {
        RouterSettings settings;
        settings.users = {ServerUser(), ClientUser("USER01", std::move(password))};
        settings.certificate = files_.Certificate();
        settings.key = files_.Key();
        return settings;
    }

    const CertificateFiles files_;
    RouterFixture router_{Settings()};
    FreezingLine line_{router_.Port()};
    Client client_;
};

TEST_F(SecureRouter, GetsItsLoginOverTls)
{
    Trust(true);
    client_.ConnectAndLogin(line_.Port());
    ASSERT_EQ(client_.Send(Request(105, "z9.svc.nobody")), kOk);
    EXPECT_EQ(FailureIn(client_.reply), Z9ERR_MQ_NO_SERVICE) << "a request and its answer";
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
    EXPECT_EQ(line_.ClientsSaid().find("CONNECT"), std::string::npos);
}

TEST_F(SecureRouter, RefusesAPasswordOverTlsToo)
{
    Trust(true);
    ASSERT_EQ(client_.Connect(line_.Port()), kOk);
    EXPECT_EQ(client_.Login("USERNAME=USER01;PASSWORD=secret2"), kOk);
    EXPECT_EQ(client_.Status(), kReadyRefused);
}

TEST_F(SecureRouter, ComesBackAndIsCalledOverTlsAgain)
{
    Trust(true);
    client_.ConnectAndLogin(line_.Port());
    router_.Kill();
    ASSERT_TRUE(client_.BecomesStatus(kReconnecting));
    router_.Restart();
    EXPECT_TRUE(client_.BecomesStatus(kConnected));
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
}

TEST_F(SecureRouter, WithACertificateThatNobodyTrustsLearnsNothing)
{
    Trust(false);
    ASSERT_EQ(client_.Connect(line_.Port()), kOk);
    const auto start = Clock::now();
    EXPECT_EQ(client_.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_LT(Since(start), 4s);
    EXPECT_EQ(client_.Status(), kReady);
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
}

TEST_F(SecureRouter, WithACertificateForAnotherHostLearnsNothing)
{
    Trust(true);
    ASSERT_EQ(Z9MQConnect(client_.handle, "localhost", line_.Port(), 0), kOk);
    EXPECT_EQ(client_.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
}

TEST_F(SecureRouter, ThatAnnouncesTlsAndThenHangsIsGivenTwoSecondsAndNoPassword)
{
    Trust(true);
    ASSERT_EQ(client_.Connect(line_.Port()), kOk);
    line_.FreezeAfter(GreetingSize(line_));
    const auto start = Clock::now();
    EXPECT_EQ(client_.Login(), Z9ERR_MQ_SOCK_ERROR);
    EXPECT_GE(Since(start), 1900ms);
    EXPECT_LT(Since(start), 4s);
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
}

TEST_F(SecureRouter, ThatComesBackWithoutTlsGetsNoPassword)
{
    Trust(true);
    client_.ConnectAndLogin(line_.Port());
    router_.Restart(RouterSettings{});
    const std::size_t before = line_.Accepted();
    EXPECT_TRUE(Eventually([&] { return line_.Accepted() > before + 1; })) << "it is tried";
    EXPECT_EQ(client_.Status(), kReconnecting);
    EXPECT_EQ(line_.ClientsSaid().find("secret1"), std::string::npos);
}

TEST(OpenRouter, ThatComesBackDemandingTlsGetsNoPasswordInClear)
{
    const CertificateFiles files;
    RouterFixture router;
    FreezingLine line(router.Port());
    Client client;
    client.ConnectAndLogin(line.Port());
    const std::size_t said = line.ClientsSaid().size();
    RouterSettings secure;
    secure.certificate = files.Certificate();
    secure.key = files.Key();
    router.Restart(secure);
    const std::size_t before = line.Accepted();
    EXPECT_TRUE(Eventually([&] { return line.Accepted() > before + 1; })) << "it is tried";
    EXPECT_EQ(client.Status(), kReconnecting);
    EXPECT_EQ(line.ClientsSaid().find("secret1", said), std::string::npos);
}

// --- A guest in the process ----------------------------------------------------------------------------------------

std::set<std::string> ThreadIds()
{
    std::set<std::string> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ids.insert(entry.path().filename());
    return ids;
}

// The mask of blocked signals, bit n-1 for signal n.
uint64_t BlockedSignals(const std::string& thread)
{
    std::ifstream status("/proc/self/task/" + thread + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigBlk:")) return std::stoull(line.substr(7), nullptr, 16);
    return 0;
}

TEST(Guest, ThreadsOfTheLinkTakeNoSignals)
{
    RouterFixture router;
    const FakeServer server(router.Port());
    Z9MQCleanup();
    const std::set<std::string> before = ThreadIds();
    const uint64_t ownMask = BlockedSignals(std::to_string(::getpid()));
    Client client;
    client.ConnectAndLogin(router.Port());
    ASSERT_EQ(client.Send(Request(105)), kOk);
    int started = 0;
    for (const std::string& thread : ThreadIds()) {
        if (before.contains(thread)) continue;
        ++started;
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD})
            EXPECT_TRUE(BlockedSignals(thread) >> (signal - 1) & 1) << "thread " << thread << ", signal " << signal;
    }
    EXPECT_GE(started, 4) << "the client's own threads, and those of the connection";
    EXPECT_EQ(BlockedSignals(std::to_string(::getpid())), ownMask) << "the caller's mask is as it was";
}

std::size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(Guest, LeavesNoThreadAndNoDescriptorWhateverBecameOfTheLogin)
{
    const RouterFixture router;
    FreezingLine hanging(router.Port());
    Z9MQCleanup();
    const std::set<std::string> threads = ThreadIds();
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_EQ(Z9MQStartup(), kOk);
    EXPECT_EQ(ThreadIds(), threads) << "nothing runs before there is a handle";
    const auto tryLogin = [&](uint16_t port, const char* login, bool refused) {
        Client client;
        EXPECT_EQ(client.Connect(port), kOk);
        if (port == hanging.Port()) hanging.FreezeAfter(GreetingSize(hanging));
        const Z9ERR code = client.Login(login);
        EXPECT_EQ(code, port == hanging.Port() ? Z9ERR_MQ_SOCK_ERROR : kOk);
        EXPECT_EQ(client.Status() == kConnected, code == kOk && !refused);
        EXPECT_EQ(Z9MQFreeConnection(client.handle), kOk);
        // One that has been waited for may stand in the list for a moment still.
        EXPECT_TRUE(Eventually([&] { return ThreadIds() == threads; })) << login;
        hanging.Cut(); // its own ends are no matter
        EXPECT_EQ(OpenDescriptors(), descriptors) << login;
    };
    tryLogin(router.Port(), kGoodLogin, false);
    tryLogin(router.Port(), "USERNAME=USER01;PASSWORD=wrong", true);
    tryLogin(hanging.Port(), kGoodLogin, false);
    tryLogin(router.Port(), kGoodLogin, false);
}

// Sends requests to a router that goes away under them, again and again. The number of the first thing that is not as
// it should be.
int LoseTheRouterManyTimes(RouterFixture& router)
{
    Client client;
    if (client.Connect(router.Port()) != kOk || client.Login() != kOk) return 1;
    for (int round = 0; round < 4; ++round) {
        if (!client.BecomesStatus(kConnected)) return 2;
        std::thread assassin([&] {
            std::this_thread::sleep_for(2ms);
            router.Kill();
        });
        Z9ERR code = kOk;
        while (code == kOk && FailureIn(client.reply) != Z9ERR_MQ_SOCK_ERROR)
            code = client.Send(Request(105, "z9.svc.nobody"), 1s);
        client.reply.reset();
        assassin.join();
        if (code != kOk && code != Z9ERR_MQ_NOT_CONNECTED_YET) return 3;
        router.Restart();
    }
    return 0;
}

void (*PipeHandler())(int)
{
    struct sigaction now = {};
    ::sigaction(SIGPIPE, nullptr, &now);
    return now.sa_handler;
}

int g_brokenPipes = 0;
void CountBrokenPipe(int) { ++g_brokenPipes; }

TEST(Guest, LeavesSigpipeAsTheHostHasItAndRaisesNone)
{
    for (void (*const own)(int) :
         {CountBrokenPipe, SIG_IGN, SIG_DFL}) { // by the last, one that is raised ends the test
        RouterFixture router;
        auto* const before = std::signal(SIGPIPE, own);
        EXPECT_EQ(LoseTheRouterManyTimes(router), 0);
        EXPECT_EQ(PipeHandler(), own);
        std::signal(SIGPIPE, before);
    }
    EXPECT_EQ(g_brokenPipes, 0);
}

TEST_F(SecureRouter, RaisesNoSigpipeInTheHostWhenItGoesAway)
{
    Trust(true);
    auto* const before = std::signal(SIGPIPE, CountBrokenPipe);
    EXPECT_EQ(LoseTheRouterManyTimes(router_), 0);
    EXPECT_EQ(PipeHandler(), CountBrokenPipe);
    std::signal(SIGPIPE, before);
    EXPECT_EQ(g_brokenPipes, 0);
}

// Exit code of a child process of the test; -1 when a signal ended it or it did not end within 20 s.
int ExitCodeOf(pid_t child)
{
    int status = 0;
    const bool ended = Eventually([&] { return ::waitpid(child, &status, WNOHANG) == child; }, 20s);
    if (!ended) {
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Set in children that run their exit handlers: the threads of the parent are not there, and what only those reach
// would count as leaked.
bool g_forkedChild = false;

// In the child: every call must refuse, and none may touch the link. The number of the first check that failed.
int UseInheritedLink(void* handle)
{
    uint32_t number = 0;
    Z9Message* answer = nullptr;
    void* other = nullptr;
    if (Z9MQStartup() != kInvalidObjectState) return 1;
    if (Z9MQCreateConnection(&other) != kInvalidObjectState) return 2;
    if (Z9MQGetStatus(handle, &number) != Z9ERR_MQ_INVALID_CONN_HANDLE) return 3;
    if (Z9MQSendMsg(handle, Request(105).get(), &answer, 100) != Z9ERR_MQ_INVALID_CONN_HANDLE) return 4;
    if (Z9MQLogout(handle) != Z9ERR_MQ_INVALID_CONN_HANDLE) return 5;
    if (Z9MQDisconnect(handle) != Z9ERR_MQ_INVALID_CONN_HANDLE) return 6;
    if (Z9MQFreeConnection(handle) != Z9ERR_MQ_INVALID_CONN_HANDLE) return 7;
    return Z9MQCleanup() == kOk ? 0 : 8;
}

TEST_F(Requests, GoOnInTheParentWhateverAForkedChildDoes)
{
    const pid_t child = ::fork();
    if (child == 0) ::_exit(UseInheritedLink(client_.handle));
    ASSERT_GT(child, 0);
    EXPECT_EQ(ExitCodeOf(child), 0);
    EXPECT_EQ(client_.Status(), kConnected);
    ASSERT_EQ(client_.Send(Request(105)), kOk);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
}

TEST_F(Requests, GoOnInTheParentWhenAForkedChildExits)
{
    const pid_t child = ::fork();
    if (child == 0) {
        g_forkedChild = true;
        std::exit(0); // with all exit handlers and static destructors
    }
    ASSERT_GT(child, 0);
    EXPECT_EQ(ExitCodeOf(child), 0);
    ASSERT_EQ(client_.Send(Request(105)), kOk);
    EXPECT_EQ(NumberOf(client_.reply, "Z9_Type"), 106u);
}

TEST(Guest, AForkedChildMayStartWhatTheParentHadEnded)
{
    const RouterFixture router;
    Client client;
    client.ConnectAndLogin(router.Port());
    ASSERT_EQ(Z9MQFreeConnection(client.handle), kOk); // the queue itself stays started, as after DeInitQuindalIM
    const pid_t child = ::fork();
    if (child == 0) {
        void* handle = nullptr;
        uint32_t loginId = 0;
        if (Z9MQStartup() != kOk || Z9MQCreateConnection(&handle) != kOk) ::_exit(1);
        if (Z9MQConnect(handle, nullptr, router.Port(), 0) != kOk) ::_exit(2);
        if (Z9MQLogin(handle, kGoodLogin, &loginId) != kOk) ::_exit(3);
        g_forkedChild = true;
        std::exit(Z9MQFreeConnection(handle) == kOk ? 0 : 4); // with all exit handlers
    }
    ASSERT_GT(child, 0);
    EXPECT_EQ(ExitCodeOf(child), 0);
    ASSERT_EQ(Z9MQCreateConnection(&client.handle), kOk) << "the parent goes on as it likes";
    client.ConnectAndLogin(router.Port());
}

// A static object like the ones that hosts keep: it ends the link in its destructor, after the exit handlers ran.
struct EndsTheLinkAtExit
{
    ~EndsTheLinkAtExit()
    {
        if (handle == nullptr) return;
        Z9MQLogout(handle);
        Z9MQFreeConnection(handle);
        Z9MQCleanup();
        if (Z9MQStartup() != kInvalidObjectState) ::_exit(9);
    }
    void* handle = nullptr;
};

EndsTheLinkAtExit g_endsAtExit;

// Talks to the server once and leaves the session as it is. The number of the first step that failed.
int TalkOnce(uint16_t port)
{
    uint32_t loginId = 0;
    Z9Message* reply = nullptr;
    if (Z9MQStartup() != kOk || Z9MQCreateConnection(&g_endsAtExit.handle) != kOk) return 1;
    if (Z9MQConnect(g_endsAtExit.handle, nullptr, port, 0) != kOk) return 2;
    if (Z9MQLogin(g_endsAtExit.handle, kGoodLogin, &loginId) != kOk) return 3;
    if (Z9MQSendMsg(g_endsAtExit.handle, Request(105).get(), &reply, 5000) != kOk) return 4;
    return NumberOf(MessagePtr(reply), "Z9_Type") == 106u ? 0 : 5;
}

TEST(Guest, AProcessWithALiveSessionExitsCleanly)
{
    const RouterFixture router;
    const FakeServer server(router.Port());
    Z9MQCleanup(); // what the child starts is all its own
    const pid_t child = ::fork();
    if (child == 0) {
        g_forkedChild = true;
        std::exit(TalkOnce(router.Port()));
    }
    ASSERT_GT(child, 0);
    EXPECT_EQ(ExitCodeOf(child), 0);
    EXPECT_EQ(server.Count(105), 1u);
}

// Asked by the leak checker, in builds that have one.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
int __lsan_is_turned_off() { return g_forkedChild ? 1 : 0; }

} // namespace
} // namespace test::Z9MQTest
