#include "Z9MQCore.h"

#include <ctime>
#include <new>

#include "CalcGOConsts.h"
#include "OnlineTimer.h"
#include "SecretText.h"
#include "z9log.h"

namespace QuindalIM {

using Enums::IMSrvMessageType;

namespace {

constexpr const char* RouterHost = "127.0.0.1"; // the router stands on the user's own machine
constexpr const char* ServerService = "kv7go_srv_60";
constexpr const char* OwnName = "kv7go"; // sender and category of every message of ours
constexpr const char* SystemCategory = "Z9_System";

constexpr std::uint32_t LoginMessageWait = 500; // ms of one wait for news of the login
constexpr std::uint64_t PingPeriod = 20'000;    // ms for which a good check is believed
constexpr int PingAttempts = 5;
constexpr std::size_t UsualAddressSize = 1024; // bytes of a service address

// No part of these bits may stand in the status of a session that works.
constexpr std::uint32_t RouterIsLost = Z9MQ_ROUTER_DISCONNECTED | Z9MQ_ROUTER_LOGINFAILED;

/// The clock of waits and of the link's age: a few milliseconds coarse, and a fifth of the price of the exact one.
/// Every position and every order looks at it.
[[nodiscard]] std::uint64_t MonotonicMilliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

/// Value of a number property; 0 when the message does not have it.
[[nodiscard]] std::uint32_t Number(const Z9AutoMessage& message, const char* name)
{
    std::uint32_t value = 0;
    return Z9MsgCopyFieldUINT32(message.Get(), name, &value) == Z9ERR_OK ? value : 0;
}

[[nodiscard]] bool IsOfType(const Z9AutoMessage& message, IMSrvMessageType type)
{
    return Number(message, "Z9_Type") == static_cast<std::uint32_t>(type);
}

[[nodiscard]] bool IsSystemMessage(const Z9AutoMessage& message)
{
    const char* category = nullptr;
    return Z9MsgGetStrField(message.Get(), "Z9_Category", &category) == Z9ERR_OK &&
           std::string_view(category) == SystemCategory;
}

/// State of the router that a message reports for the login with this id; 0 for a message of another kind.
[[nodiscard]] std::uint32_t StateOfLogin(const Z9AutoMessage& message, std::uint32_t loginId)
{
    const bool isNews = IsSystemMessage(message) && Number(message, "Z9_Type") == Z9MQ_SYSTEM_ROUTER_STATE &&
                        Number(message, "Z9_LoginId") == loginId;
    return isNews ? Number(message, "Z9_RouterState") : 0;
}

/// True for the codes of Z9MQLogin after which no news will come. Code 3 and most codes above it are not final: the
/// login may still succeed, and the wait for it tells.
[[nodiscard]] bool IsFinalLoginFailure(Z9ERR code) noexcept
{
    switch (code) {
    case Z9ERR_OK:
        return false;
    case Z9ERR_MQ_NOT_CONNECTED_YET:
    case Z9ERR_MQ_INVALID_CONNECTION:
    case Z9ERR_MQ_INVALID_CONN_HANDLE:
    case Z9ERR_MQ_SOCK_ERROR:
        return true;
    default:
        return code < Z9ERR_COMMON_INTERNAL_ERROR;
    }
}

/// First condition of a session: connection ready, router reached.
[[nodiscard]] bool IsRouterConnected(std::uint32_t status) noexcept
{
    return (status & Z9MQ_CONNECTION_STATE_MASK) == Z9MQ_CONNECTION_READY && (status & Z9MQ_ROUTER_CONNECTED) != 0;
}

} // namespace

// Life

Z9MQCore::~Z9MQCore()
{
    try {
        Cleanup();
    } catch (...) { // out of memory for an error text that nobody will read
    }
    if (m_startup) static_cast<void>(Z9MQCleanup());
}

bool Z9MQCore::Startup(std::uint16_t port, std::uint32_t timeout, const std::string& xmlPath)
{
    m_port = port;
    m_timeout = timeout;
    m_xmlPath = xmlPath;

    char* queueVersion = nullptr;
    const bool hasVersion = Z9GetVersion(&queueVersion) == Z9ERR_OK && queueVersion != nullptr;
    KV7TRACE_INFO_EX(LogCategory, "Starting QuindalIM %s %s [ver %s] with Zenta 2 ver %s", "CLIENT", "64",
                     LibraryVersion, hasVersion ? queueVersion : "");

    const Z9ERR started = Z9MQStartup();
    if (started != Z9ERR_OK) return Fail("Queue startup failed", started);
    KV7TRACE_INFO_EX(LogCategory, "MQ: Startup complete");
    m_startup = true;

    Cleanup(); // a second start must not lose the first one's connection
    const Z9ERR created = Z9MQCreateConnection(&m_conn);
    return created == Z9ERR_OK || Fail("Create connection failed", created);
}

void Z9MQCore::Cleanup()
{
    if (m_conn == nullptr) return;
    static_cast<void>(Logout()); // without a session it says so in the last error, and that is all
    static_cast<void>(Z9MQDisconnect(m_conn));
    static_cast<void>(Z9MQFreeConnection(m_conn));
    m_conn = nullptr;
}

bool Z9MQCore::Connect()
{
    if (m_conn == nullptr) return FailWithoutConnection();
    KV7TRACE_INFO_EX(LogCategory, "Connect via port: %u", static_cast<unsigned>(m_port));
    const Z9ERR result = Z9MQConnect(m_conn, RouterHost, m_port, 0);
    if (result != Z9ERR_OK) {
        KV7TRACE_ERROR_EX(LogCategory, "MQ: Connect to router failed");
        return Fail("Connect to router failed", result);
    }
    KV7TRACE_INFO_EX(LogCategory, "MQ: Connect to router complete");
    return true;
}

bool Z9MQCore::Disconnect()
{
    if (m_conn == nullptr) return true;
    const Z9ERR result = Z9MQDisconnect(m_conn);
    return result == Z9ERR_OK || Fail("Disconnect from router failed", result);
}

// Session

bool Z9MQCore::Login(const std::string& user, const std::string& password)
{
    if (m_conn == nullptr) return FailWithoutConnection();
    m_username = user;

    SecretText connectionString;
    connectionString.Assign({"USERNAME=", user, ";PASSWORD=", password});
    std::uint32_t loginId = 0;
    bool isOpen = false;
    Z9ERR result = StartLogin(connectionString.Get(), loginId, isOpen);
    if (result == Z9ERR_OK && !isOpen) result = AwaitLogin(loginId);
    if (result == Z9ERR_OK) result = ResolveServer();
    return result == Z9ERR_OK || Fail("Login failed", result);
}

Z9ERR Z9MQCore::StartLogin(const std::string& connectionString, std::uint32_t& loginId, bool& isOpen)
{
    for (;;) {
        const Z9ERR result = Z9MQLogin(m_conn, connectionString.c_str(), &loginId);
        if (result == Z9ERR_MQCRYPT_ALREADY_LOGGED_IN) {
            KV7TRACE_INFO_EX(LogCategory, "Router is already logged in");
            if (!Logout()) return result;
            continue;
        }
        isOpen = result == Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED; // the router asks for no login
        return IsFinalLoginFailure(result) ? result : Z9ERR_OK;
    }
}

Z9ERR Z9MQCore::AwaitLogin(std::uint32_t loginId) const
{
    const std::uint64_t deadline = MonotonicMilliseconds() + std::uint64_t{m_timeout / 1000} * 1000; // whole seconds
    do { // at least once: a time-out below a second still sees news that is there already
        Z9AutoMessage message;
        const Z9ERR result = Z9MQGetMsg(m_conn, message.Receive(), LoginMessageWait);
        if (result == Z9ERR_MQ_TIMEOUT) continue;
        if (result != Z9ERR_OK) return result; // the connection is gone, and no news will come
        const std::uint32_t state = StateOfLogin(message, loginId);
        if (state == Z9MQ_ROUTER_CONNECTED) return Z9ERR_OK;
        if (state == Z9MQ_ROUTER_LOGINFAILED) break; // user or password: no more news will come
    } while (MonotonicMilliseconds() < deadline);
    return Z9ERR_MQCRYPT_LOGIN_ABORTED;
}

Z9ERR Z9MQCore::ResolveServer()
{
    std::string address(UsualAddressSize, '\0');
    std::size_t size = address.size();
    Z9ERR result = Z9MQServiceResolve(m_conn, ServerService, address.data(), &size, nullptr, 0);
    if (result == Z9ERR_COMMON_BUFFER_TOO_SMALL) {
        address.resize(size);
        result = Z9MQServiceResolve(m_conn, ServerService, address.data(), &size, nullptr, 0);
    }
    if (result != Z9ERR_OK) {
        KV7TRACE_ERROR_WITH_CODE_EX(result, LogCategory, "Z9MQServiceResolve failed");
        return result;
    }
    m_to = address.substr(0, address.find('\0'));
    m_tc = MonotonicMilliseconds();
    return Z9ERR_OK;
}

bool Z9MQCore::GetStatus() const
{
    std::uint32_t status = 0;
    return m_conn != nullptr && Z9MQGetStatus(m_conn, &status) == Z9ERR_OK && (status & RouterIsLost) == 0 &&
           IsRouterConnected(status);
}

bool Z9MQCore::Logout()
{
    if (m_conn == nullptr) return true;
    std::uint32_t status = 0;
    const Z9ERR known = Z9MQGetStatus(m_conn, &status);
    if (known != Z9ERR_OK) return Fail("Logout: Get router status failed", known);
    if (!IsRouterConnected(status))
        return Fail("Logout: Router status is not 'connected'", Z9ERR_QUINDAL_IM_CONNECT_ERROR);
    const Z9ERR result = Z9MQLogout(m_conn);
    return result == Z9ERR_OK || Fail("Logout from router failed", result);
}

// Ping

bool Z9MQCore::CheckPing()
{
    if (m_conn == nullptr) return FailWithoutConnection();
    // A clock that went back tells nothing about the age of the last check, so it counts as time to check.
    const std::uint64_t now = MonotonicMilliseconds();
    if (now >= m_tc && now - m_tc < PingPeriod) return true;

    if (CheckConnection()) {
        m_tc = MonotonicMilliseconds();
        return true;
    }
    // A question for which there is no memory tells nothing about the link: the next call asks again.
    if (GetLastErrorCode() == Z9ERR_COMMON_NO_MEMORY) throw std::bad_alloc();
    Cleanup(); // a later error of its farewell becomes the last error
    return false;
}

bool Z9MQCore::CheckConnection()
{
    Z9AutoMessage request;
    if (!CreateRequest(IMSrvMessageType::RequestPing, request)) return false;
    if (!SetNumber(request, "kv7go_ping", static_cast<std::uint32_t>(MonotonicMilliseconds()))) return false;

    for (int attempt = 0; attempt < PingAttempts; ++attempt) {
        Z9AutoMessage reply;
        const Z9ERR sent = Z9MQSendMsg(m_conn, request.Get(), reply.Receive(), m_timeout);
        if (sent == Z9ERR_COMMON_NO_MEMORY) return Fail("Could not send message for server", sent);
        if (sent != Z9ERR_OK || !reply) break;
        if (IsOfType(reply, IMSrvMessageType::ReplyPing)) return true;
    }
    return Fail("Network connection failed", Z9ERR_NOT_OK);
}

// Requests

bool Z9MQCore::RequireSession()
{
    if (GetStatus()) return true;
    return m_conn == nullptr ? FailWithoutConnection() : Fail("System is not logged", Z9ERR_NOT_OK);
}

bool Z9MQCore::CreateRequest(IMSrvMessageType type, Z9AutoMessage& request)
{
    const Z9ERR created = Z9MsgCreateMessage(request.Receive());
    if (created != Z9ERR_OK) return Fail("Could not create message for server", created);

    Z9ERR result = Z9MsgSetFieldStr(request.Get(), "Z9_To", m_to.c_str());
    if (result == Z9ERR_OK) result = Z9MsgSetFieldStr(request.Get(), "Z9_From", OwnName);
    if (result == Z9ERR_OK) result = Z9MsgSetFieldStr(request.Get(), "Z9_Category", OwnName);
    if (result != Z9ERR_OK) return Fail("Could not compose message for server", result);
    return SetNumber(request, "Z9_Type", static_cast<std::uint32_t>(type));
}

bool Z9MQCore::SetNumber(const Z9AutoMessage& request, const char* name, std::uint32_t value)
{
    const Z9ERR result = Z9MsgSetFieldUINT32(request.Get(), name, value);
    return result == Z9ERR_OK || Fail("Could not compose message for server", result);
}

bool Z9MQCore::SetBody(const Z9AutoMessage& request, std::string_view body)
{
    const Z9ERR result = Z9MsgSetBody(request.Get(), body.data(), body.size());
    return result == Z9ERR_OK || Fail("Could not compose message for server", result);
}

bool Z9MQCore::Exchange(const Z9AutoMessage& request, IMSrvMessageType awaited, Z9AutoMessage& reply,
                        vxl_COnlineTimer* timer)
{
    Z9ERR sent = Z9ERR_OK;
    {
        const vxl_COnlineTimerInitiator measured(timer);
        sent = Z9MQSendMsg(m_conn, request.Get(), reply.Receive(), m_timeout);
    }
    if (sent != Z9ERR_OK) return Fail("Could not send message for server", sent);
    if (IsOfType(reply, awaited)) return true;
    if (TimeoutOrRouterErrorOccurred(Number(reply, "Z9_Type"), reply)) return false;
    return Fail("Could not retrieve message from server", Z9ERR_OK); // nothing failed, but it is not the answer
}

bool Z9MQCore::TimeoutOrRouterErrorOccurred(std::uint32_t /*type*/, const Z9AutoMessage& reply)
{
    unsigned char bytes[4] = {};
    std::size_t size = sizeof bytes;
    if (!IsSystemMessage(reply) || Z9MsgCopyBody(reply.Get(), bytes, &size) != Z9ERR_OK || size != sizeof bytes)
        return false;
    const std::uint32_t number = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
                                 static_cast<std::uint32_t>(bytes[2]) << 16U |
                                 static_cast<std::uint32_t>(bytes[3]) << 24U;
    const std::string text = "Could not retrieve message from server; Response not received in specified timeout or "
                             "router error occurred; Z9ERR " +
                             std::to_string(number);
    SetLastError(text.c_str(), Z9ERR_NOT_OK);
    return true;
}

// Errors

void Z9MQCore::SetLastError(const char* text, Z9ERR code)
{
    m_err_str = text;
    m_err_code = code;
}

bool Z9MQCore::Fail(const char* text, Z9ERR code)
{
    SetLastError(text, code);
    return false;
}

bool Z9MQCore::FailWithoutConnection() { return Fail("Connection is not initialized", Z9ERR_NOT_OK); }

} // namespace QuindalIM
