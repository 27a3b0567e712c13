// ImServer: the server that a client logs in to. It answers pings, says who a user is, and sends the instruments.
//
// Instances of one service share the load: all join the queue group of its address. Each request gets exactly one
// reply; an unknown type is answered with NOT_SUPPORTED; a missing or malformed property, or a body of more than 64 KB,
// with WRONG_ARGUMENTS. Requests are answered on the router client's own threads, which read only data that does not
// change, except for the document of instruments, which is exchanged whole.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "NatsHandles.h"

namespace quindal {

/// The server's record of a user.
struct UserRecord
{
    std::int32_t partCount = std::numeric_limits<std::int32_t>::max(); // clients it may register
    std::string loginType = "CLIENT"; // kind of login; the client library takes those that begin with CLIENT
};

/// The document that answers a request for instruments, plain and as one snappy block.
struct InstrumentsDocument
{
    /// Reads and checks a file: well-formed XML with the element root. Throws InputError.
    explicit InstrumentsDocument(const std::filesystem::path& file);

    std::string plain;
    std::string compressed;
    std::chrono::system_clock::time_point read = std::chrono::system_clock::now();
};

/// A request that was answered.
struct AnsweredRequest
{
    std::string_view instance; // name of the server instance
    std::string_view user;     // as far as the reply subject tells; may be empty or any text of a client
    std::string_view request;  // "ping", "instruments", "user-info", "unknown"; "discovery", "health", "statistics"
    std::string_view outcome;  // "ok", or the name of the error
    std::size_t bytes = 0;     // of the reply's body
    std::chrono::microseconds took{0};
};

class ImServer
{
public:
    struct Settings
    {
        std::uint16_t port = 0; // of the router, on 127.0.0.1
        std::string user;       // empty: the router asks for no login
        std::string password;
        std::string service = "kv7go_srv_60";
        bool compress = true;                                       // where the request announces support
        std::function<void(const AnsweredRequest&)> onRequest = {}; // called after each one, on several threads at once
    };

    /// Connects and subscribes; answers from here on. Throws LinkError that says what failed.
    ImServer(Settings settings, std::map<std::string, UserRecord> users, InstrumentsDocument instruments);
    ~ImServer(); ///< Stops answering after the requests under way.
    ImServer(const ImServer&) = delete;
    ImServer& operator=(const ImServer&) = delete;

    /// Answers with another document from here on; requests under way get the former one.
    void Exchange(InstrumentsDocument instruments);

    /// True when the router is connected at this moment.
    [[nodiscard]] bool IsConnected() const;
    /// Throws LinkError once the router has closed the connection for good, as it does after a changed password.
    void CheckThatItMayReconnect() const;

private:
    struct Reply;
    using Clock = std::chrono::steady_clock;

    void Connect();
    void Subscribe(const std::string& subject, const char* queueGroup, natsMsgHandler handler);
    static void OnDiscovery(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept;
    static void OnRequest(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept;

    [[nodiscard]] std::string DiscoveryReply(std::string_view kind) const;
    [[nodiscard]] Reply Answer(natsConnection* connection, natsMsg* request, std::optional<std::uint32_t> type) const;
    [[nodiscard]] Reply AnswerOfType(natsMsg* request, std::uint32_t type) const;
    [[nodiscard]] Reply AnswerPing(natsMsg* request) const;
    [[nodiscard]] Reply AnswerInstruments(natsMsg* request) const;
    [[nodiscard]] Reply AnswerUserInfo(natsMsg* request) const;
    void Send(natsConnection* connection, const char* subject, const Reply& reply) const;
    void Report(const char* replyTo, std::string_view request, const Reply& reply, Clock::time_point begin) const;

    Settings m_settings;
    std::string m_address; // z9.svc.<service>
    std::string m_instance;
    std::map<std::string, UserRecord> m_users;
    std::atomic<std::shared_ptr<const InstrumentsDocument>> m_instruments;
    std::chrono::system_clock::time_point m_started;
    std::atomic<std::uint64_t> m_requests{0};
    std::atomic<std::uint64_t> m_refused{0};
    std::atomic<std::int64_t> m_nanoseconds{0}; // time that requests have taken
    NatsConnection m_connection;
    std::array<NatsSubscription, 4> m_subscriptions; // destroyed first: nothing is answered any more
};

} // namespace quindal
