// ReplyQueue: a message queue whose server gives one and the same reply to every request.
//
// ReplyQueue.cpp defines the connection's functions of the platform, and so stands in for them in a program that is
// linked with it; messages themselves stay the platform's. The router asks for no login and is always there.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "Z9MQCore.h"

struct Reply
{
    Enums::IMSrvMessageType type = Enums::IMSrvMessageType::ReplyPing;
    std::vector<std::pair<const char*, std::uint32_t>> numbers; // properties beside "Z9_Type"
    std::string_view body;
};

/// The reply that comes from now on.
void SetReply(const Reply& reply);

/// A client of this queue that is logged in, one for the whole run.
[[nodiscard]] QuindalIM::Z9MQCore& LoggedInCore();
