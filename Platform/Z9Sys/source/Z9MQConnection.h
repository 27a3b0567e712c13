// Connection: the object behind a connection handle. It knows the router it greeted and, once logged in, the session.
//
// The life of one:  made -> Probe -> Login -> Resolve, Request ... -> Logout -> Login ... -> Disconnect -> Probe ...
// Always true:  a session exists only after a good probe; it restores itself when the router comes back, without limit,
//               unless the router refuses its password then, which closes it for good.
//               mutex_ guards the fields and is never held across the network: waiting callers keep their own share of
//               the session, so that End() from another thread wakes them instead of waiting for them.
// Calls come from one thread at a time, End() from any. Results are codes; what is thrown is std::bad_alloc.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Z9MQ.h"
#include "Z9MQProbe.h"
#include "Z9MQWire.h"
#include "Z9MsgData.h"

namespace z9::mq {

class Session;

class Connection
{
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Greets the router at host:port. Refused while a session is open (kAlreadyInitialized).
    [[nodiscard]] Z9ERR Probe(const std::string& host, uint16_t port);
    // Returns to the state of a new connection.
    void Disconnect();
    // Closes for good and wakes whoever waits; every later call fails.
    void End();

    [[nodiscard]] Z9ERR Login(std::string_view connectionString, uint32_t loginId);
    [[nodiscard]] Z9ERR Logout();
    [[nodiscard]] uint32_t Status() const;

    // Takes the next message of the local queue, waiting for one up to the time given.
    [[nodiscard]] Z9ERR NextMessage(MessagePtr& message, std::chrono::milliseconds timeout);
    // Sends a request to its "Z9_To" and waits for its one answer; a failure on the way is an answer too.
    [[nodiscard]] Z9ERR Request(const Z9Message& request, MessagePtr& reply, std::chrono::milliseconds timeout);
    // The address under which a service is served now.
    [[nodiscard]] Z9ERR Resolve(std::string_view service, std::string& address);

private:
    struct Router
    {
        std::string host;
        RouterFound found;
    };

    // The session when it is connected at this moment, otherwise nullptr.
    [[nodiscard]] std::shared_ptr<Session> ConnectedSession() const;
    [[nodiscard]] Z9ERR OpenSession(const Router& router, wire::Credentials credentials, uint32_t loginId);
    void QueueRouterState(uint32_t state, uint32_t loginId);

    mutable std::mutex mutex_;
    std::condition_variable changed_; // the queue grew, or ended_
    std::optional<Router> router_;    // none before a good probe
    std::shared_ptr<Session> session_;
    std::deque<MessagePtr> queue_; // notices that the caller has not read yet
    bool loginRefused_ = false;    // the last login met a refusal
    bool ended_ = false;
};

} // namespace z9::mq
