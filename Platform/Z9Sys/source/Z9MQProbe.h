// A first look at a router, on a socket of its own that is closed again: who greets there?
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Z9MQSocket.h"
#include "Z9MQWire.h"

namespace z9::mq {

struct RouterFound
{
    Endpoint endpoint; // the one of its host's addresses that answered
    wire::Greeting greeting;
};

// Connects over TCP, reads the greeting and closes again, all within the time given, whatever the other side does.
// std::nullopt when nobody listens, nobody greets in time, or what greets is no router. Throws std::bad_alloc only.
[[nodiscard]] std::optional<RouterFound> ProbeRouter(const std::string& host, uint16_t port,
                                                     std::chrono::milliseconds timeout);

} // namespace z9::mq
