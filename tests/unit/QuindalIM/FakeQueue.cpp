#include "FakeQueue.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <ctime>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::int64_t clockOffset = 0; // ns
int connection = 0;           // its address is the handle

/// The platform's own function behind one that is defined here.
template <class Function>
Function* Real(Function*, const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) throw std::runtime_error(name);
    return reinterpret_cast<Function*>(found);
}

Z9ERR Called(const char* name, Z9ERR result)
{
    TheQueue().calls.emplace_back(name);
    return result;
}

bool IsRefused(const char* property)
{
    TheQueue().properties.emplace_back(property);
    return TheQueue().refusedProperty == property;
}

void Require(Z9ERR result)
{
    if (result != Z9ERR_OK) throw std::runtime_error("the test cannot build its message");
}

Z9Message* Build(const PlainMessage& plain)
{
    Z9Message* message = nullptr;
    Require(Real(&Z9MsgCreateMessage, "Z9MsgCreateMessage")(&message));
    if (!plain.category.empty())
        Require(Real(&Z9MsgSetFieldStr, "Z9MsgSetFieldStr")(message, "Z9_Category", plain.category.c_str()));
    for (const auto& [name, value] : plain.numbers)
        Require(Real(&Z9MsgSetFieldUINT32, "Z9MsgSetFieldUINT32")(message, name.c_str(), value));
    Require(Real(&Z9MsgSetBody, "Z9MsgSetBody")(message, plain.body.data(), plain.body.size()));
    return message;
}

SentRequest Read(const Z9Message* message, std::uint32_t timeout)
{
    SentRequest request;
    request.timeout = timeout;
    for (const char* name : {"Z9_To", "Z9_From", "Z9_Category", "Z9_Type", "kv7go_ping", "snappy_support"}) {
        const char* text = nullptr;
        if (Z9MsgGetStrField(message, name, &text) == Z9ERR_OK) request.texts[name] = text;
    }
    const void* data = nullptr;
    std::size_t size = 0;
    Require(Z9MsgGetBody(message, &data, &size));
    if (size != 0) request.body.assign(static_cast<const char*>(data), size);
    return request;
}

} // namespace

FakeQueue& TheQueue()
{
    static FakeQueue queue;
    return queue;
}

void MoveClock(std::chrono::milliseconds step) { clockOffset += std::chrono::nanoseconds(step).count(); }

PlainMessage ServerAnswer(std::uint32_t type) { return {"kv7go", {{"Z9_Type", type}}, ""}; }

PlainMessage SystemError(std::uint32_t number)
{
    PlainMessage message{"Z9_System", {{"Z9_Type", Z9MQ_SYSTEM_REQUEST_FAILED}}, ""};
    for (unsigned shift = 0; shift < 32; shift += 8)
        message.body += static_cast<char>(number >> shift & 0xFFU);
    return message;
}

PlainMessage RouterState(std::uint32_t state, std::uint32_t loginId)
{
    return {
        "Z9_System", {{"Z9_Type", Z9MQ_SYSTEM_ROUTER_STATE}, {"Z9_RouterState", state}, {"Z9_LoginId", loginId}}, ""};
}

std::uint32_t SentRequest::Type() const { return static_cast<std::uint32_t>(std::stoul(texts.at("Z9_Type"))); }

// The clock as the library reads it. Shared libraries, the C++ one included, keep the real one.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result != 0 || (clock != CLOCK_MONOTONIC && clock != CLOCK_MONOTONIC_COARSE)) return result;
    constexpr std::int64_t second = 1'000'000'000;
    const std::int64_t moved = time->tv_sec * second + time->tv_nsec + clockOffset;
    time->tv_sec = moved / second;
    time->tv_nsec = moved % second;
    return 0;
}

extern "C" {

Z9ERR Z9MQStartup(void) { return Called("Startup", TheQueue().startup); }
Z9ERR Z9MQCleanup(void) { return Called("QueueCleanup", Z9ERR_OK); }

Z9ERR Z9MQCreateConnection(void** handle)
{
    if (TheQueue().create == Z9ERR_OK) *handle = &connection;
    return Called("CreateConnection", TheQueue().create);
}
Z9ERR Z9MQFreeConnection(Z9MQ_CONN_HANDLE) { return Called("FreeConnection", Z9ERR_OK); }

Z9ERR Z9MQConnect(Z9MQ_CONN_HANDLE, const char* host, uint16_t port, uint32_t)
{
    TheQueue().host = host;
    TheQueue().port = port;
    return Called("Connect", TheQueue().connect);
}
Z9ERR Z9MQDisconnect(Z9MQ_CONN_HANDLE) { return Called("Disconnect", Z9ERR_OK); }

Z9ERR Z9MQLogin(Z9MQ_CONN_HANDLE, const char* connectionString, uint32_t* loginId)
{
    FakeQueue& queue = TheQueue();
    queue.connectionStrings.emplace_back(connectionString);
    *loginId = FakeQueue::LoginId;
    Z9ERR result = Z9ERR_OK;
    if (!queue.logins.empty()) {
        result = queue.logins.front();
        queue.logins.pop_front();
    }
    return Called("Login", result);
}
Z9ERR Z9MQLogout(Z9MQ_CONN_HANDLE) { return Called("Logout", TheQueue().logout); }

Z9ERR Z9MQGetStatus(Z9MQ_CONN_HANDLE, uint32_t* status)
{
    *status = TheQueue().status;
    return TheQueue().getStatus;
}

Z9ERR Z9MQGetMsg(Z9MQ_CONN_HANDLE, Z9Message** message, uint32_t timeout)
{
    FakeQueue& queue = TheQueue();
    queue.waits.push_back(timeout);
    if (queue.getMessage != Z9ERR_OK) return queue.getMessage;
    if (queue.news.empty()) {
        MoveClock(std::chrono::milliseconds(timeout));
        return Z9ERR_MQ_TIMEOUT;
    }
    *message = Build(queue.news.front());
    queue.news.pop_front();
    return Z9ERR_OK;
}

Z9ERR Z9MQSendMsg(Z9MQ_CONN_HANDLE, const Z9Message* message, Z9Message** reply, uint32_t timeout)
{
    FakeQueue& queue = TheQueue();
    queue.requests.push_back(Read(message, timeout));
    *reply = nullptr;
    if (queue.send != Z9ERR_OK) return Called("Send", queue.send);
    std::optional<PlainMessage> answer = ServerAnswer(queue.requests.back().Type() + 1);
    if (queue.onRequest) answer = queue.onRequest(queue.requests.back());
    if (answer) *reply = Build(*answer);
    return Called("Send", Z9ERR_OK);
}

Z9ERR Z9MQServiceResolve(Z9MQ_CONN_HANDLE, const char* name, char* buffer, size_t* size, void*, uint32_t)
{
    FakeQueue& queue = TheQueue();
    queue.calls.push_back(std::string("Resolve ") + name);
    queue.addressBuffers.push_back(*size);
    if (queue.resolve != Z9ERR_OK) return queue.resolve;
    const std::size_t capacity = *size;
    *size = queue.address.size() + 1;
    if (capacity < *size) return Z9ERR_COMMON_BUFFER_TOO_SMALL;
    std::memcpy(buffer, queue.address.c_str(), *size);
    return Z9ERR_OK;
}

Z9ERR Z9MsgCreateMessage(Z9Message** message)
{
    if (TheQueue().createMessage != Z9ERR_OK) return TheQueue().createMessage;
    return Real(&Z9MsgCreateMessage, "Z9MsgCreateMessage")(message);
}

Z9ERR Z9MsgSetFieldStr(Z9Message* message, const char* name, const char* value)
{
    if (IsRefused(name)) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    return Real(&Z9MsgSetFieldStr, "Z9MsgSetFieldStr")(message, name, value);
}

Z9ERR Z9MsgSetFieldUINT32(Z9Message* message, const char* name, uint32_t value)
{
    if (IsRefused(name)) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    return Real(&Z9MsgSetFieldUINT32, "Z9MsgSetFieldUINT32")(message, name, value);
}

Z9ERR Z9MsgSetBody(Z9Message* message, const void* data, size_t size)
{
    if (IsRefused("body")) return Z9ERR_COMMON_NO_MEMORY;
    return Real(&Z9MsgSetBody, "Z9MsgSetBody")(message, data, size);
}

} // extern "C"
