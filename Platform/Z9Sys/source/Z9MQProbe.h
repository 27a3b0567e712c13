// First looks at a router, each on a socket of its own that is closed again: who greets there, and would it let us in?
// Both keep to their time whatever the other side does, and throw std::bad_alloc only.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Z9MQWire.h"

namespace z9::mq {

// Connects over TCP, reads the greeting and closes again, all within the time given. std::nullopt when nobody listens,
// nobody greets in time, or what greets is no router.
[[nodiscard]] std::optional<wire::Greeting> ProbeRouter(const std::string& host, uint16_t port,
                                                        std::chrono::milliseconds timeout);

enum class LoginAnswer
{
    kWelcome,
    kRefused, // user or password
    kNone,    // nobody there, no answer in time, or another failure
};

// Logs in, with credentials or anonymously, and waits for the router's word on it.
[[nodiscard]] LoginAnswer TryLogin(const std::string& host, uint16_t port,
                                   const std::optional<wire::Credentials>& credentials,
                                   std::chrono::milliseconds timeout);

} // namespace z9::mq
