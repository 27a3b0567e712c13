// A first look at a router, on a socket of its own that is closed again: does a router greet there?
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
    Endpoint endpoint; // the address of the host that answered
    wire::Greeting greeting;
};

// Connects over TCP, reads the greeting and closes again, all within the time given, whatever the other side does.
// std::nullopt when nobody listens, nobody greets in time, or the greeting is not a router's. Throws std::bad_alloc
// only.
[[nodiscard]] std::optional<RouterFound> ProbeRouter(const std::string& host, uint16_t port,
                                                     std::chrono::milliseconds timeout);

} // namespace z9::mq
