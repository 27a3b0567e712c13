// Session: an open login at the router, on top of the NATS client; and the one place that knows that client.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <nats/nats.h>

#include "Z9MQDialer.h"
#include "Z9MQSocket.h"
#include "Z9MQWire.h"
#include "Z9MsgData.h"

namespace z9::mq {

// Router and user of a session.
struct SessionTarget
{
    std::string host; // a certificate is judged by it
    Endpoint endpoint;
    bool secure = false;                          // over TLS, with a certificate that the system trusts, or not at all
    std::optional<wire::Credentials> credentials; // none: anonymous
    int64_t maxPayload = 0;                       // bytes that the router takes in one message
};

class Session
{
public:
    // Connects, or gives up on a router that does not let us in within 2 s. NATS_CONNECTION_AUTH_FAILED when it refuses
    // user or password. On any status other than NATS_OK there is no session. Throws what Dialer throws.
    [[nodiscard]] static natsStatus Open(const SessionTarget& target, std::shared_ptr<Session>& session);

    Session(std::unique_ptr<Dialer> dialer, natsConnection* connection, std::string inboxPrefix,
            int64_t maxPayload) noexcept;
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Ends the session, from any thread: waiting requests return at once.
    void Close() noexcept;

    [[nodiscard]] natsConnStatus State() const noexcept;
    // True when the router came back and refused the password, which closed the session.
    [[nodiscard]] bool ClosedByRefusal() const noexcept;

    // Sends a request and waits for the answer. Returns kOk with a reply (the answer or a failed-request notice), or a
    // code without a reply.
    [[nodiscard]] Z9ERR Request(const Z9Message& request, const std::string& address, MessagePtr& reply,
                                std::chrono::milliseconds timeout);

    // Asks all instances of a service and takes the first fitting answer within 2 s.
    [[nodiscard]] Z9ERR Discover(std::string_view service, std::string& address);

private:
    [[nodiscard]] Z9ERR ListenForDiscovery();
    [[nodiscard]] natsStatus Exchange(natsMsg& request, natsMsg** answer, std::chrono::milliseconds timeout);

    std::unique_ptr<Dialer> dialer_; // outlives the connection, which goes on calling it until it is closed
    natsConnection* connection_;     // owned: the C client's handle
    std::string inboxPrefix_;        // the one subject family that the router lets this user listen on
    int64_t maxPayload_;             // bytes, properties and body together
    std::atomic<bool> warm_ = false; // the client's thread for answers runs

    // Subscription to answers to discovery, made at the first one. It stays as long as the session: the C client frees
    // a subscription while its reading thread still uses it when another instance answers just then.
    natsSubscription* discovery_ = nullptr; // owned
    std::string discoveryInbox_;
    uint64_t discoveries_ = 0; // discoveries so far; each has a subject of its own under the inbox
};

} // namespace z9::mq
