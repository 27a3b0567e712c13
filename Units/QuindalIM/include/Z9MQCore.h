// Z9MQCore: the library's client of the exchange's message queue. It starts the queue, connects to the local router,
// logs in, finds the margin server, checks the user and keeps the link alive; and it fetches the whole instrument
// dictionary.
//
// Order of use: Startup, Connect, Login, GetUserInfo, then CheckPing and GetInstrumentParameters at will, Cleanup.
// Always true:  a bool result is "it worked"; after false GetLastError and GetLastErrorCode say what did not.
//               there is at most one connection; the password is handed to the router and kept nowhere.
// Numbers:      milliseconds.
// Threads:      none of its own; one caller at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "CalcGOConsts.h"
#include "Z9MQ.h"
#include "kv7errors.h"

class vxl_COnlineTimer;

namespace Enums {

/// "Z9_Type" of the messages between this library and the margin server.
enum class IMSrvMessageType : std::uint32_t
{
    RequestInstruments = 103,
    ReplyInstruments = 104,
    RequestPing = 105,
    ReplyPing = 106,
    RequestTradeInfo = 107,
    ReplyTradeInfo = 108,
    RequestInstruments2 = 109,
    ReplyInstruments2 = 110,
    RequestUserInfo = 111,
    ReplyUserInfo = 112,
    RequestInstrumentChanges = 113,
    ReplyInstrumentChanges = 114,
    RequestHubexInstruments = 115,
    ReplyHubexInstruments = 116,
};

} // namespace Enums

namespace QuindalIM {

class CCalcGOEx;

/// Owner of a raw handle of the platform that Free gives back at the end of the scope.
template <class H, auto Free>
class AutoZ9Handle
{
public:
    AutoZ9Handle() noexcept = default;
    explicit AutoZ9Handle(H handle) noexcept : m_handle(handle) {}
    AutoZ9Handle(AutoZ9Handle&& other) noexcept : m_handle(std::exchange(other.m_handle, H{})) {}
    AutoZ9Handle& operator=(AutoZ9Handle&& other) noexcept
    {
        if (this != &other) {
            Reset();
            m_handle = std::exchange(other.m_handle, H{});
        }
        return *this;
    }
    AutoZ9Handle(const AutoZ9Handle&) = delete;
    AutoZ9Handle& operator=(const AutoZ9Handle&) = delete;
    ~AutoZ9Handle() { Reset(); }

    [[nodiscard]] H Get() const noexcept { return m_handle; }
    [[nodiscard]] explicit operator bool() const noexcept { return m_handle != H{}; }
    /// Frees what is held and gives the place to be filled by a call of the platform.
    [[nodiscard]] H* Receive() noexcept
    {
        Reset();
        return &m_handle;
    }
    void Reset() noexcept
    {
        if (m_handle != H{}) static_cast<void>(Free(std::exchange(m_handle, H{})));
    }

private:
    H m_handle{};
};

using Z9AutoMessage = AutoZ9Handle<Z9Message*, &Z9MsgFreeMessage>;

class Z9MQCore
{
public:
    Z9MQCore() = default;
    Z9MQCore(const Z9MQCore&) = delete;
    Z9MQCore& operator=(const Z9MQCore&) = delete;
    ~Z9MQCore(); ///< Does Cleanup, and ends the queue where Startup began it.

    /// Starts the queue and makes a connection handle. timeout: of every request; xmlPath: file that takes a copy of
    /// the last instrument reply, empty for none.
    [[nodiscard]] bool Startup(std::uint16_t port, std::uint32_t timeout, const std::string& xmlPath);
    /// Sets the most bytes that the text of a reply may have, unpacked. A longer reply is refused: a block of some
    /// megabytes may unpack to a thousand times as much.
    void SetMaxReplyBytes(std::size_t bytes) noexcept { m_maxReplyBytes = bytes; }
    /// Hands the text of each instrument reply to `reader`, before it is parsed; empty: to nobody. What the reader
    /// throws fails the download.
    void SetReplyReader(std::function<void(std::string_view document)> reader) { m_replyReader = std::move(reader); }
    /// Logs out, disconnects and drops the connection handle. Harmless without one.
    void Cleanup();

    [[nodiscard]] bool Connect(); ///< Connects to the local router on the port of Startup.
    [[nodiscard]] bool Disconnect();

    /// Opens a session and finds the address of the margin server. Blocks up to the time-out.
    [[nodiscard]] bool Login(const std::string& user, const std::string& password);
    [[nodiscard]] bool Logout(); ///< Logs out; true without a connection.

    /// Asks the server who the user is; on success m_part_count is known.
    [[nodiscard]] bool GetUserInfo();

    /// Replaces all instruments of the calculator by the server's. datetime: moment of the dictionary that is asked
    /// for, null for the present one. On false the instruments inserted so far stay.
    [[nodiscard]] bool GetInstrumentParameters(CCalcGOEx& calculator, const char* datetime);

    /// True while the link is alive. Asks over the wire at most once in 20 seconds. A dead link is dropped for good.
    /// Throws std::bad_alloc where there is no memory for the question; the link stays, and the next call asks.
    [[nodiscard]] bool CheckPing();
    /// Sends one ping over the wire.
    [[nodiscard]] bool CheckConnection();

    /// Port of the router, as Startup was told it.
    [[nodiscard]] std::uint16_t Port() const noexcept { return m_port; }
    [[nodiscard]] bool GetStatus() const; ///< True when connected and logged in, with the router reached.
    [[nodiscard]] bool IsLogged() const { return GetStatus(); }

    [[nodiscard]] const char* GetLastError() const noexcept { return m_err_str.c_str(); }
    [[nodiscard]] Z9ERR GetLastErrorCode() const noexcept { return m_err_code; }
    void SetLastError(const char* text, Z9ERR code);

    /// True when the reply, whose "Z9_Type" is given, is a system message that reports a failed request; the last error
    /// then names its number.
    [[nodiscard]] bool TimeoutOrRouterErrorOccurred(std::uint32_t type, const Z9AutoMessage& reply);

    /// Reads the user-information document. Returns Z9ERR_OK, Z9ERR_QUINDAL_IM_NOT_FOUND without a "Clients" element,
    /// or Z9ERR_QUINDAL_IM_LOGIN_ERROR for a user of another kind of login. Throws on a malformed document.
    [[nodiscard]] Z9ERR ParseUserInfoReply(std::string_view text);

    std::int32_t m_part_count = -1; // clients that the user may register, -1 before the server said

private:
    /// Sets the last error and returns false.
    [[nodiscard]] bool Fail(const char* text, Z9ERR code);
    [[nodiscard]] bool FailWithoutConnection();
    /// Fails unless there is a session with the router.
    [[nodiscard]] bool RequireSession();

    // The three steps of a login, each with the code that ends it.
    [[nodiscard]] Z9ERR StartLogin(const std::string& connectionString, std::uint32_t& loginId, bool& isOpen);
    [[nodiscard]] Z9ERR AwaitLogin(std::uint32_t loginId) const;
    [[nodiscard]] Z9ERR ResolveServer();

    // A request to the margin server, step by step; each fails with its own text.
    [[nodiscard]] bool CreateRequest(Enums::IMSrvMessageType type, Z9AutoMessage& request);
    [[nodiscard]] bool SetNumber(const Z9AutoMessage& request, const char* name, std::uint32_t value);
    [[nodiscard]] bool SetBody(const Z9AutoMessage& request, std::string_view body);
    /// Sends and waits for a reply of the awaited type. The timer, null for none, measures the wait.
    [[nodiscard]] bool Exchange(const Z9AutoMessage& request, Enums::IMSrvMessageType awaited, Z9AutoMessage& reply,
                                vxl_COnlineTimer* timer);

    [[nodiscard]] bool AcceptUserInfo(std::string_view body);
    [[nodiscard]] bool RequestInstruments(const char* datetime, Z9AutoMessage& reply);
    /// The document of the reply: its body, or the body unpacked into `unpacked`, which must outlive the text.
    [[nodiscard]] bool ReadInstruments(const Z9AutoMessage& reply, std::unique_ptr<char[]>& unpacked,
                                       std::string_view& document);
    [[nodiscard]] bool IsWithinReplyLimit(std::size_t size); ///< Sets the last error when it is not.
    void SaveXmlCopy(std::string_view document) const;

    bool m_startup = false; // the queue was started
    std::string m_xmlPath;
    std::size_t m_maxReplyBytes = DefaultMaxReplyBytes;
    std::function<void(std::string_view)> m_replyReader;
    std::uint16_t m_port = 0;
    std::uint32_t m_timeout = 0; // ms
    std::string m_to;            // address of the margin server
    std::string m_username;
    Z9MQ_CONN_HANDLE m_conn = nullptr; // null when there is none
    std::uint64_t m_tc = 0;            // ms of the monotonic clock, last good check
    std::string m_err_str;
    Z9ERR m_err_code = Z9ERR_OK;
};

} // namespace QuindalIM
