// Session: an open login at the router, on top of the NATS client; and the one place that knows that client.
#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <nats/nats.h>

#include "Z9MQWire.h"
#include "Z9MsgData.h"

namespace z9::mq {

// Keeps all signals off the calling thread. Threads inherit the mask of the one that starts them, and the caller's
// signal handlers must not run on threads that the caller does not know of. Signals that a thread raises by its own
// fault stay: a blocked one would end the process past the caller's crash reporter.
class SignalsBlocked
{
public:
    SignalsBlocked() noexcept
    {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP})
            sigdelset(&all, fault);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

// Where a session goes and as whom.
struct SessionTarget
{
    std::string host;
    uint16_t port = 0;
    std::optional<wire::Credentials> credentials; // none: anonymous
    int64_t maxPayload = 0;                       // bytes that the router takes in one message
};

class Session
{
public:
    // Connects, or gives up on a router that does not answer within 2 s (NATS_TIMEOUT). On any status but NATS_OK there
    // is no session.
    [[nodiscard]] static natsStatus Open(const SessionTarget& target, std::shared_ptr<Session>& session);

    Session(natsConnection* connection, std::string inboxPrefix, int64_t maxPayload) noexcept;
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Ends it from any thread: requests that wait return at once.
    void Close() noexcept;

    [[nodiscard]] natsConnStatus State() const noexcept;
    // Closed because the router, back again, refused the password.
    [[nodiscard]] bool ClosedByRefusal() const noexcept;

    // Sends and waits for the answer. kOk with a reply (the answer or a failed-request notice), or a code without.
    [[nodiscard]] Z9ERR Request(const Z9Message& request, const std::string& address, MessagePtr& reply,
                                std::chrono::milliseconds timeout);

    // Asks all instances of a service and takes the first fitting answer within 2 s.
    [[nodiscard]] Z9ERR Discover(std::string_view service, std::string& address);

private:
    [[nodiscard]] Z9ERR ListenForDiscovery();
    [[nodiscard]] natsStatus Exchange(natsMsg& request, natsMsg** answer, std::chrono::milliseconds timeout);

    natsConnection* connection_;     // owned: the C client's handle
    std::string inboxPrefix_;        // the one subject family that the router lets this user listen on
    int64_t maxPayload_;             // bytes, properties and body together
    std::atomic<bool> warm_ = false; // the client's thread for answers runs

    // Where answers to discovery arrive, made at the first one. It stays as long as the session: the C client frees a
    // subscription under the feet of its reading thread when another instance answers just then.
    natsSubscription* discovery_ = nullptr; // owned
    std::string discoveryInbox_;
    uint64_t discoveries_ = 0; // so far; each has a subject of its own under the inbox
};

} // namespace z9::mq
