#include "Z9MQConnection.h"

#include "Z9Internal.h"
#include "Z9MQCodes.h"
#include "Z9MQSession.h"

namespace z9::mq {

namespace {

constexpr auto kGreetingTime = std::chrono::milliseconds(2000);

bool IsOpen(const Session& session) noexcept { return session.State() != NATS_CONN_STATUS_CLOSED; }

} // namespace

Connection::Connection() = default;

Connection::~Connection() = default;

Z9ERR Connection::Probe(const std::string& host, uint16_t port)
{
    {
        const std::lock_guard lock(mutex_);
        if (session_ && IsOpen(*session_)) return kAlreadyInitialized;
    }
    Disconnect();
    const std::optional<RouterFound> found = ProbeRouter(host, port, kGreetingTime);
    if (!found) return Z9ERR_MQ_SOCK_ERROR;
    const std::lock_guard lock(mutex_);
    router_ = Router{host, *found};
    return kOk;
}

void Connection::Disconnect()
{
    std::shared_ptr<Session> session; // let go of outside the lock: closing talks to the network
    std::deque<MessagePtr> unread;
    const std::lock_guard lock(mutex_);
    session.swap(session_);
    unread.swap(queue_);
    router_.reset();
    loginRefused_ = false;
}

void Connection::End()
{
    std::shared_ptr<Session> session;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        session.swap(session_);
        queue_.clear();
    }
    changed_.notify_all();
    // Whoever waits for an answer holds a share of the session; closing it wakes them, the last share frees it.
    if (session) session->Close();
}

Z9ERR Connection::Login(std::string_view connectionString, uint32_t loginId)
{
    std::shared_ptr<Session> closed;
    std::optional<Router> router;
    {
        const std::lock_guard lock(mutex_);
        if (!router_) return Z9ERR_MQ_NOT_CONNECTED_YET;
        if (session_ && IsOpen(*session_)) return Z9ERR_MQCRYPT_ALREADY_LOGGED_IN;
        router = router_;
        closed.swap(session_);
    }
    std::optional<wire::Credentials> credentials = wire::ParseConnectionString(connectionString);
    if (!credentials) return kWrongArguments;
    return OpenSession(*router, std::move(*credentials), loginId);
}

Z9ERR Connection::OpenSession(const Router& router, wire::Credentials credentials, uint32_t loginId)
{
    const wire::Greeting& greeting = router.found.greeting;
    SessionTarget target{router.host, router.found.endpoint, greeting.tlsRequired, std::nullopt, greeting.maxPayload};
    if (greeting.authRequired) target.credentials.emplace(std::move(credentials));
    std::shared_ptr<Session> session;
    const natsStatus status = Session::Open(target, session);

    const std::lock_guard lock(mutex_);
    if (ended_) return Z9ERR_MQ_INVALID_CONN_HANDLE;
    loginRefused_ = status == NATS_CONNECTION_AUTH_FAILED;
    if (loginRefused_) {
        QueueRouterState(Z9MQ_ROUTER_LOGINFAILED, loginId);
        return kOk; // the refusal is the news that the caller waits for
    }
    if (status != NATS_OK) return Z9ERR_MQ_SOCK_ERROR;
    session_ = std::move(session);
    if (!greeting.authRequired) return Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED;
    QueueRouterState(Z9MQ_ROUTER_CONNECTED, loginId);
    return kOk;
}

void Connection::QueueRouterState(uint32_t state, uint32_t loginId)
{
    MessagePtr message = MakeMessage();
    message->SetText("Z9_Category", "Z9_System");
    message->SetNumber("Z9_Type", Z9MQ_SYSTEM_ROUTER_STATE);
    message->SetNumber("Z9_RouterState", state);
    message->SetNumber("Z9_LoginId", loginId);
    queue_.push_back(std::move(message));
    changed_.notify_all();
}

Z9ERR Connection::Logout()
{
    std::shared_ptr<Session> session;
    std::deque<MessagePtr> unread;
    const std::lock_guard lock(mutex_);
    if (!session_) return Z9ERR_MQ_NOT_CONNECTED_YET;
    session.swap(session_);
    unread.swap(queue_);
    return kOk;
}

uint32_t Connection::Status() const
{
    const std::lock_guard lock(mutex_);
    if (!router_) return Z9MQ_CONNECTION_CLOSED | Z9MQ_ROUTER_DISCONNECTED;
    if (!session_) return Z9MQ_CONNECTION_READY | (loginRefused_ ? Z9MQ_ROUTER_LOGINFAILED : Z9MQ_ROUTER_DISCONNECTED);
    switch (session_->State()) {
    case NATS_CONN_STATUS_CONNECTED:
        return Z9MQ_CONNECTION_READY | Z9MQ_ROUTER_CONNECTED;
    case NATS_CONN_STATUS_CLOSED:
        return Z9MQ_CONNECTION_CLOSED |
               (session_->ClosedByRefusal() ? Z9MQ_ROUTER_LOGINFAILED : Z9MQ_ROUTER_DISCONNECTED);
    default:
        return Z9MQ_CONNECTION_BUSY | Z9MQ_ROUTER_RECONNECTING;
    }
}

Z9ERR Connection::NextMessage(MessagePtr& message, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return ended_ || !queue_.empty(); });
    if (ended_) return Z9ERR_MQ_INVALID_CONN_HANDLE;
    if (queue_.empty()) return Z9ERR_MQ_TIMEOUT;
    message = std::move(queue_.front());
    queue_.pop_front();
    return kOk;
}

std::shared_ptr<Session> Connection::ConnectedSession() const
{
    const std::lock_guard lock(mutex_);
    return session_ && session_->State() == NATS_CONN_STATUS_CONNECTED ? session_ : nullptr;
}

Z9ERR Connection::Request(const Z9Message& request, MessagePtr& reply, std::chrono::milliseconds timeout)
{
    // The state first: what is sent while reconnecting waits its time out here and still arrives at the server later.
    const std::shared_ptr<Session> session = ConnectedSession();
    if (!session) return Z9ERR_MQ_NOT_CONNECTED_YET;
    const Z9Message::Property* const to = request.Find("Z9_To");
    if (to == nullptr || !to->text || !wire::IsAddress(*to->text)) return kWrongArguments;
    return session->Request(request, *to->text, reply, timeout);
}

Z9ERR Connection::Resolve(std::string_view service, std::string& address)
{
    if (!wire::IsServiceName(service)) return kWrongArguments;
    const std::shared_ptr<Session> session = ConnectedSession();
    if (!session) return Z9ERR_MQ_NOT_CONNECTED_YET;
    return session->Discover(service, address);
}

} // namespace z9::mq
