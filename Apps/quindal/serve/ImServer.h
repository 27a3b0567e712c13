// ImServer: the server that a client logs in to. It answers pings, says who a user is, and sends the instruments.
//
// Instances of one service share the load: all join the queue group of its address. Each request gets exactly one
// reply; an unknown type is answered with NOT_SUPPORTED, a missing or malformed property with WRONG_ARGUMENTS.
// Requests are answered on the router client's own threads; what they read never changes after construction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include <nats/nats.h>

namespace quindal {

/// What the server says of a user.
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
        bool compress = true; // where the request announces support
    };

    /// Connects and subscribes; answers from here on. Throws std::runtime_error that says what failed.
    ImServer(Settings settings, std::map<std::string, UserRecord> users, InstrumentsDocument instruments);
    ~ImServer(); ///< Stops answering after the requests under way.
    ImServer(const ImServer&) = delete;
    ImServer& operator=(const ImServer&) = delete;

    /// False for good once the router is lost beyond reconnecting.
    [[nodiscard]] bool IsRunning() const;

private:
    struct Reply;

    void Connect();
    void Subscribe(const std::string& subject, const char* queueGroup, natsMsgHandler handler);
    static void OnDiscovery(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept;
    static void OnRequest(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept;

    [[nodiscard]] std::string DiscoveryReply(bool isInfo) const;
    [[nodiscard]] Reply Answer(natsMsg* request) const;
    [[nodiscard]] Reply AnswerPing(natsMsg* request) const;
    [[nodiscard]] Reply AnswerInstruments(natsMsg* request) const;
    [[nodiscard]] Reply AnswerUserInfo(natsMsg* request) const;
    void Send(natsConnection* connection, const char* subject, const Reply& reply) const;

    template <auto Destroy>
    struct Destroyer
    {
        template <class T>
        void operator()(T* handle) const noexcept
        {
            Destroy(handle);
        }
    };
    using Subscription = std::unique_ptr<natsSubscription, Destroyer<natsSubscription_Destroy>>;

    Settings m_settings;
    std::string m_address; // z9.svc.<service>
    std::string m_instance;
    std::map<std::string, UserRecord> m_users;
    InstrumentsDocument m_instruments;
    std::unique_ptr<natsConnection, Destroyer<natsConnection_Destroy>> m_connection;
    Subscription m_subscriptions[3];
};

} // namespace quindal
