#include "ReplyQueue.h"

#include <cstring>

#include "Require.h"

namespace {

constexpr std::string_view serverAddress = "z9.svc.server";

Reply theReply;
int connection = 0; // its address is the handle

} // namespace

void SetReply(const Reply& reply) { theReply = reply; }

QuindalIM::Z9MQCore& LoggedInCore()
{
    static QuindalIM::Z9MQCore core;
    static const bool isLoggedIn = core.Startup(4001, 1000, "") && core.Connect() && core.Login("USER01", "secret");
    Require(isLoggedIn, "the queue of the fuzzers takes every login");
    return core;
}

extern "C" {

Z9ERR Z9MQStartup(void) { return Z9ERR_OK; }
Z9ERR Z9MQCleanup(void) { return Z9ERR_OK; }

Z9ERR Z9MQCreateConnection(void** handle)
{
    *handle = &connection;
    return Z9ERR_OK;
}
Z9ERR Z9MQFreeConnection(Z9MQ_CONN_HANDLE) { return Z9ERR_OK; }
Z9ERR Z9MQConnect(Z9MQ_CONN_HANDLE, const char*, uint16_t, uint32_t) { return Z9ERR_OK; }
Z9ERR Z9MQDisconnect(Z9MQ_CONN_HANDLE) { return Z9ERR_OK; }
Z9ERR Z9MQLogin(Z9MQ_CONN_HANDLE, const char*, uint32_t*) { return Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED; }
Z9ERR Z9MQLogout(Z9MQ_CONN_HANDLE) { return Z9ERR_OK; }

Z9ERR Z9MQGetStatus(Z9MQ_CONN_HANDLE, uint32_t* status)
{
    *status = Z9MQ_CONNECTION_READY | Z9MQ_ROUTER_CONNECTED;
    return Z9ERR_OK;
}

Z9ERR Z9MQGetMsg(Z9MQ_CONN_HANDLE, Z9Message**, uint32_t) { return Z9ERR_MQ_TIMEOUT; }

Z9ERR Z9MQServiceResolve(Z9MQ_CONN_HANDLE, const char*, char* buffer, size_t* size, void*, uint32_t)
{
    Require(*size > serverAddress.size(), "there is room for a short address");
    std::memcpy(buffer, serverAddress.data(), serverAddress.size());
    buffer[serverAddress.size()] = '\0';
    return Z9ERR_OK;
}

Z9ERR Z9MQSendMsg(Z9MQ_CONN_HANDLE, const Z9Message*, Z9Message** reply, uint32_t)
{
    Z9ERR result = Z9MsgCreateMessage(reply);
    if (result == Z9ERR_OK) result = Z9MsgSetFieldUINT32(*reply, "Z9_Type", static_cast<std::uint32_t>(theReply.type));
    for (const auto& [name, value] : theReply.numbers)
        if (result == Z9ERR_OK) result = Z9MsgSetFieldUINT32(*reply, name, value);
    if (result == Z9ERR_OK) result = Z9MsgSetBody(*reply, theReply.body.data(), theReply.body.size());
    Require(result == Z9ERR_OK, "a reply can be built");
    return result;
}

} // extern "C"
