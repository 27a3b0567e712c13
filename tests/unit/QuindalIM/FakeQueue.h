// FakeQueue: the message queue as a test plays it, and a monotonic clock that a test moves.
//
// FakeQueue.cpp defines the connection's functions of the platform, and so stands in for them when a test program is
// linked with it; messages themselves stay the platform's. What is not told otherwise works: a router on every port, a
// login that is confirmed at once, a server at "z9.svc.kv7go_srv_60" that answers pings.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Z9MQ.h"
#include "kv7errors.h"

/// A message in plain form.
struct PlainMessage
{
    std::string category;
    std::map<std::string, std::uint32_t> numbers;
    std::string body;
};

/// An answer of the server of this type.
[[nodiscard]] PlainMessage ServerAnswer(std::uint32_t type);
/// The system message that stands for an error number.
[[nodiscard]] PlainMessage SystemError(std::uint32_t number);
/// The router's news about a login.
[[nodiscard]] PlainMessage RouterState(std::uint32_t state, std::uint32_t loginId);

/// A request as it came to the queue.
struct SentRequest
{
    std::map<std::string, std::string> texts; // of the properties that requests may have, numbers in decimal
    std::string body;
    std::uint32_t timeout = 0;

    [[nodiscard]] std::uint32_t Type() const;
};

struct FakeQueue
{
    static constexpr std::uint32_t LoginId = 77;
    static constexpr std::uint32_t Connected = 0x00040002; // connection ready, router connected

    // What each operation answers.
    Z9ERR startup = Z9ERR_OK;
    Z9ERR create = Z9ERR_OK;
    Z9ERR connect = Z9ERR_OK;
    Z9ERR logout = Z9ERR_OK;
    Z9ERR getStatus = Z9ERR_OK;
    std::uint32_t status = Connected;
    std::deque<Z9ERR> logins; // one a login; Z9ERR_OK when there is none left
    /// What comes by itself, in order; nothing more: a wait runs out, and the clock moves on by it.
    std::deque<PlainMessage> news = {RouterState(Z9MQ_ROUTER_CONNECTED, LoginId)};
    Z9ERR getMessage = Z9ERR_OK; // any other: every wait for news fails so
    Z9ERR resolve = Z9ERR_OK;
    std::string address = "z9.svc.kv7go_srv_60";
    /// Answers a request; nullopt is no reply at all.
    std::function<std::optional<PlainMessage>(const SentRequest&)> onRequest;
    Z9ERR send = Z9ERR_OK;
    Z9ERR createMessage = Z9ERR_OK;
    std::string refusedProperty; // a property that cannot be set, or "body"

    // What was asked.
    std::vector<std::string> calls; // names of the connection's functions, in order
    std::vector<std::string> connectionStrings;
    std::string host;
    std::uint16_t port = 0;
    std::vector<std::uint32_t> waits;        // ms, of each wait for news
    std::vector<std::size_t> addressBuffers; // bytes, of each resolution
    std::vector<SentRequest> requests;
    std::vector<std::string> properties; // names, in the order in which they were set
};

/// The queue of this process.
FakeQueue& TheQueue();

/// Moves the library's monotonic clock, backward when negative.
void MoveClock(std::chrono::milliseconds step);
