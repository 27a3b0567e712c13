#include "Z9MQSession.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "Z9Internal.h"
#include "Z9MQCodes.h"
#include "Z9Signals.h"

namespace z9::mq {

namespace {

using Clock = std::chrono::steady_clock;

// How long the C client waits at our door. The dialer ends its own wait long before, and relies on that.
constexpr int64_t kClientPatienceMs = 60000;
constexpr int64_t kWriteTimeMs = 2000; // a router that takes nothing any more is lost
constexpr int64_t kReconnectWaitMs = 250;
constexpr int64_t kPingIntervalMs = 20000;
constexpr int kUnansweredPings = 2;
constexpr auto kDiscoveryTime = std::chrono::milliseconds(2000);
constexpr int kReconnectWithoutLimit = -1;

// Deleters of the C client's objects.
template <auto Destroy>
struct Destroyer
{
    template <class T>
    void operator()(T* object) const noexcept
    {
        Destroy(object);
    }
};
using OptionsPtr = std::unique_ptr<natsOptions, Destroyer<&natsOptions_Destroy>>;
using NatsMsgPtr = std::unique_ptr<natsMsg, Destroyer<&natsMsg_Destroy>>;
using InboxPtr = std::unique_ptr<natsInbox, Destroyer<&natsInbox_Destroy>>;
using KeysPtr = std::unique_ptr<const char*, Destroyer<[](const char** keys) { std::free(keys); }>>;

// The C client prints asynchronous errors when nobody takes them; a guest in a process prints nothing.
void IgnoreAsyncError(natsConnection*, natsSubscription*, natsStatus, void*) {}

std::string InboxPrefix(const SessionTarget& target)
{
    return "_INBOX." + (target.credentials ? target.credentials->user : std::string("anonymous"));
}

void OnReconnected(natsConnection* connection, void* dialer)
{
    // It comes late, on a thread of the C client's: the next handshake may be under way already.
    if (natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED)
        Dialer::Established(reinterpret_cast<std::size_t>(dialer));
}

// The options that a session asks of the C client. The first failure is the result.
natsStatus MakeOptions(const SessionTarget& target, const Dialer& dialer, OptionsPtr& options)
{
    natsOptions* made = nullptr;
    natsStatus status = natsOptions_Create(&made);
    options.reset(made);
    const auto then = [&status](natsStatus next) {
        if (status == NATS_OK) status = next;
    };
    if (status != NATS_OK) return status;

    then(natsOptions_SetURL(made, ("nats://127.0.0.1:" + std::to_string(dialer.Port())).c_str()));
    if (target.secure) {
        then(natsOptions_SetSecure(made, true));
        then(natsOptions_SetExpectedHostname(made, target.host.c_str()));
    }
    if (target.credentials) {
        std::string password = wire::EscapeForJson(target.credentials->password);
        const Wiped wiped(password);
        then(natsOptions_SetUserInfo(made, target.credentials->user.c_str(), password.c_str()));
    }
    then(natsOptions_SetTimeout(made, kClientPatienceMs));
    then(natsOptions_SetWriteDeadline(made, kWriteTimeMs));
    then(natsOptions_SetReconnectedCB(made, OnReconnected, reinterpret_cast<void*>(dialer.Number())));
    then(natsOptions_SetMaxReconnect(made, kReconnectWithoutLimit));
    then(natsOptions_SetReconnectWait(made, kReconnectWaitMs));
    then(natsOptions_SetReconnectJitter(made, 0, 0));
    then(natsOptions_SetFailRequestsOnDisconnect(made, true));
    then(natsOptions_SetIgnoreDiscoveredServers(made, true));
    then(natsOptions_SetPingInterval(made, kPingIntervalMs));
    then(natsOptions_SetMaxPingsOut(made, kUnansweredPings));
    then(natsOptions_SetCustomInboxPrefix(made, InboxPrefix(target).c_str()));
    then(natsOptions_SetSendAsap(made, true)); // otherwise a small request waits 1 ms for company
    then(natsOptions_SetErrorHandler(made, IgnoreAsyncError, nullptr));
    return status;
}

// Bytes that the properties take on the link.
std::size_t HeaderBlockBytes(const Z9Message& message)
{
    if (message.properties.empty()) return 0;
    std::size_t bytes = wire::kHeaderFrameBytes;
    for (const auto& [name, property] : message.properties)
        bytes += name.size() + property.encoded.size() + wire::kPropertyFrameBytes;
    return bytes;
}

// True when link and router take a message of this size.
bool Fits(const Z9Message& message, int64_t maxPayload)
{
    const std::size_t header = HeaderBlockBytes(message);
    if (header > wire::kMaxHeaderBlockBytes) return false;
    const auto limit = static_cast<std::size_t>(std::max<int64_t>(maxPayload, 0));
    constexpr std::size_t kLargest = std::numeric_limits<int>::max(); // the C client counts bytes in an int
    return message.body.size() + header <= std::min(limit, kLargest);
}

natsStatus ToNats(const Z9Message& message, const std::string& address, NatsMsgPtr& result)
{
    natsMsg* made = nullptr;
    natsStatus status =
        natsMsg_Create(&made, address.c_str(), nullptr, message.body.data(), static_cast<int>(message.body.size()));
    result.reset(made);
    for (const auto& [name, property] : message.properties) {
        if (status != NATS_OK) return status;
        status = natsMsgHeader_Set(made, name.c_str(), property.encoded.c_str());
    }
    return status;
}

// The message that came; nullptr when its properties cannot be read.
MessagePtr FromNats(natsMsg& source)
{
    MessagePtr message = MakeMessage();
    const char** names = nullptr;
    int count = 0;
    const natsStatus status = natsMsgHeader_Keys(&source, &names, &count);
    const KeysPtr owner(names);
    if (status != NATS_OK && status != NATS_NOT_FOUND) return nullptr;
    for (int i = 0; i < count; ++i) {
        const char* value = nullptr;
        if (natsMsgHeader_Get(&source, names[i], &value) != NATS_OK) return nullptr;
        message->SetEncoded(names[i], value == nullptr ? "" : value);
    }
    if (const int size = natsMsg_GetDataLength(&source); size > 0)
        message->body.assign(natsMsg_GetData(&source), static_cast<std::size_t>(size));
    return message;
}

// The notice that replaces an answer that did not come.
MessagePtr FailedRequest(Z9ERR code)
{
    MessagePtr message = MakeMessage();
    message->SetText("Z9_Category", "Z9_System");
    message->SetNumber("Z9_Type", Z9MQ_SYSTEM_REQUEST_FAILED);
    message->body = wire::EncodeErrorBody(code);
    return message;
}

// The error number of a request that went out and got no answer; kOk for every other status.
Z9ERR FailureOnTheWay(natsStatus status) noexcept
{
    switch (status) {
    case NATS_TIMEOUT:
        return Z9ERR_MQ_TIMEOUT;
    case NATS_NO_RESPONDERS:
        return Z9ERR_MQ_NO_SERVICE;
    case NATS_CONNECTION_DISCONNECTED:
    case NATS_CONNECTION_CLOSED:
    case NATS_STALE_CONNECTION:
    case NATS_IO_ERROR:
        return Z9ERR_MQ_SOCK_ERROR;
    default:
        return kOk;
    }
}

} // namespace

natsStatus Session::Open(const SessionTarget& target, std::shared_ptr<Session>& session)
{
    const SignalsBlocked blocked = SignalsBlocked::All(); // threads begin here: the dialer's, and the one that reads
    auto dialer = std::make_unique<Dialer>(target.endpoint);
    OptionsPtr options;
    if (const natsStatus status = MakeOptions(target, *dialer, options); status != NATS_OK) return status;
    std::string prefix = InboxPrefix(target);
    natsConnection* connection = nullptr;
    const natsStatus status = natsConnection_Connect(&connection, options.get());
    std::unique_ptr<natsConnection, Destroyer<&natsConnection_Destroy>> owner(connection);
    if (status != NATS_OK) return status;
    dialer->Established();
    session = std::make_shared<Session>(std::move(dialer), connection, std::move(prefix), target.maxPayload);
    static_cast<void>(owner.release());
    return NATS_OK;
}

Session::Session(std::unique_ptr<Dialer> dialer, natsConnection* connection, std::string inboxPrefix,
                 int64_t maxPayload) noexcept
    : dialer_(std::move(dialer)), connection_(connection), inboxPrefix_(std::move(inboxPrefix)), maxPayload_(maxPayload)
{}

Session::~Session()
{
    Close(); // ends the thread that reads, and only then may the subscription go
    const SignalsBlocked blocked = SignalsBlocked::Pipe();
    natsSubscription_Destroy(discovery_);
    natsConnection_Destroy(connection_);
}

void Session::Close() noexcept
{
    dialer_->HangUp(); // a reconnect that hangs would hold the connection until its time is over
    const SignalsBlocked blocked = SignalsBlocked::Pipe();
    natsConnection_Close(connection_);
}

natsConnStatus Session::State() const noexcept
{
    const Dialer::Call call(*dialer_);
    return call ? natsConnection_Status(connection_) : NATS_CONN_STATUS_RECONNECTING;
}

bool Session::ClosedByRefusal() const noexcept
{
    // The client's last error outlives what caused it and says something of now only once the connection is closed.
    if (State() != NATS_CONN_STATUS_CLOSED) return false;
    const char* text = nullptr;
    return natsConnection_GetLastError(connection_, &text) == NATS_CONNECTION_AUTH_FAILED;
}

Z9ERR Session::Request(const Z9Message& request, const std::string& address, MessagePtr& reply,
                       std::chrono::milliseconds timeout)
{
    if (!Fits(request, maxPayload_)) return kBufferTooLarge;
    NatsMsgPtr message;
    if (ToNats(request, address, message) != NATS_OK) return kInternalError;

    natsMsg* received = nullptr;
    const natsStatus status = Exchange(*message, &received, timeout);
    const NatsMsgPtr answer(received);
    if (status == NATS_OK) {
        reply = FromNats(*answer);
        return reply ? kOk : kInternalError;
    }
    // The router may have come back with a smaller limit than the one it first greeted with.
    if (status == NATS_MAX_PAYLOAD) return kBufferTooLarge;
    const Z9ERR failure = FailureOnTheWay(status);
    if (failure == kOk) return kInternalError;
    reply = FailedRequest(failure);
    return kOk;
}

natsStatus Session::Exchange(natsMsg& request, natsMsg** answer, std::chrono::milliseconds timeout)
{
    const Dialer::Call call(*dialer_);
    if (!call) return NATS_CONNECTION_DISCONNECTED;
    // The C client takes no time-out of 0.
    const int64_t milliseconds = std::max<int64_t>(timeout.count(), 1);
    if (warm_.load()) {
        const SignalsBlocked blocked = SignalsBlocked::Pipe();
        return natsConnection_RequestMsg(answer, connection_, &request, milliseconds);
    }
    // The first request of a session starts the thread that hands out answers: signals stay away from this one call.
    const SignalsBlocked blocked = SignalsBlocked::All();
    const natsStatus status = natsConnection_RequestMsg(answer, connection_, &request, milliseconds);
    warm_.store(true);
    return status;
}

Z9ERR Session::ListenForDiscovery()
{
    if (discovery_ != nullptr) return kOk;
    natsInbox* unique = nullptr;
    if (natsInbox_Create(&unique) != NATS_OK) return kInternalError;
    const InboxPtr owner(unique);
    // "_INBOX.<unique>" becomes "<prefix>.<unique>".
    discoveryInbox_ = inboxPrefix_ + std::string(unique).substr(std::string_view("_INBOX").size());
    const std::string subjects = discoveryInbox_ + ".*";
    return natsConnection_SubscribeSync(&discovery_, connection_, subjects.c_str()) == NATS_OK ? kOk : kInternalError;
}

Z9ERR Session::Discover(std::string_view service, std::string& address)
{
    const Dialer::Call call(*dialer_);
    if (!call) return Z9ERR_MQ_SOCK_ERROR;
    const SignalsBlocked blocked = SignalsBlocked::Pipe();
    if (const Z9ERR code = ListenForDiscovery(); code != kOk) return code;
    const std::string subject = wire::DiscoverySubject(service);
    const std::string inbox = discoveryInbox_ + "." + std::to_string(++discoveries_);
    if (natsConnection_PublishRequest(connection_, subject.c_str(), inbox.c_str(), nullptr, 0) != NATS_OK)
        return Z9ERR_MQ_SOCK_ERROR;

    const Clock::time_point deadline = Clock::now() + kDiscoveryTime;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        natsMsg* received = nullptr;
        const natsStatus status = left > 0 ? natsSubscription_NextMsg(&received, discovery_, left) : NATS_TIMEOUT;
        const NatsMsgPtr answer(received);
        if (status != NATS_OK) return State() == NATS_CONN_STATUS_CONNECTED ? Z9ERR_MQ_NO_SERVICE : Z9ERR_MQ_SOCK_ERROR;
        if (natsMsg_GetSubject(answer.get()) != inbox) continue; // too late for an earlier discovery
        const auto size = static_cast<std::size_t>(std::max(natsMsg_GetDataLength(answer.get()), 0));
        const std::string_view json(size == 0 ? "" : natsMsg_GetData(answer.get()), size);
        if (auto found = wire::AddressInDiscoveryReply(json, service)) {
            address = std::move(*found);
            return kOk;
        }
    }
}

} // namespace z9::mq
