#include "Z9MQProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace z9::mq {

namespace {

using Clock = std::chrono::steady_clock;

// A greeting is a few hundred bytes; whatever talks on without a line break is no router.
constexpr std::size_t kMaxLineBytes = 65536;

// An open descriptor, closed when it goes out of scope; -1 is none.
class Socket
{
public:
    explicit Socket(int descriptor) noexcept : descriptor_(descriptor) {}
    ~Socket()
    {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Socket& operator=(Socket&&) = delete;

    [[nodiscard]] int Get() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

struct AddressListDeleter
{
    void operator()(addrinfo* list) const noexcept { ::freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList Lookup(const std::string& host, uint16_t port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int failure = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    return AddressList(failure == 0 ? list : nullptr);
}

// Waits for the events or the deadline; a signal that interrupts it does not shorten it.
bool WaitFor(int descriptor, short events, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd entry{descriptor, events, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

bool ConnectTo(int descriptor, const addrinfo& address, Clock::time_point deadline)
{
    if (descriptor < 0) return false;
    if (::connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) return true;
    if (errno != EINPROGRESS && errno != EINTR) return false;
    if (!WaitFor(descriptor, POLLOUT, deadline)) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

// The open socket of the first address that takes us.
std::optional<Socket> Dial(const std::string& host, uint16_t port, Clock::time_point deadline)
{
    const AddressList addresses = Lookup(host, port);
    for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
        Socket socket(
            ::socket(address->ai_family, address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address->ai_protocol));
        if (ConnectTo(socket.Get(), *address, deadline)) return socket;
    }
    return std::nullopt;
}

// Takes the next line off the socket, without its line break; unread keeps what came behind it.
std::optional<std::string> ReadLine(int descriptor, std::string& unread, Clock::time_point deadline)
{
    std::array<char, 4096> chunk{};
    for (;;) {
        if (const std::size_t end = unread.find('\n'); end != std::string::npos) {
            std::string line = unread.substr(0, end);
            unread.erase(0, end + 1);
            if (line.ends_with('\r')) line.pop_back();
            return line;
        }
        if (unread.size() >= kMaxLineBytes || !WaitFor(descriptor, POLLIN, deadline)) return std::nullopt;
        const ssize_t count = ::recv(descriptor, chunk.data(), chunk.size(), 0);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count <= 0) return std::nullopt;
        unread.append(chunk.data(), static_cast<std::size_t>(count));
    }
}

bool SendAll(int descriptor, std::string_view bytes, Clock::time_point deadline)
{
    while (!bytes.empty()) {
        if (!WaitFor(descriptor, POLLOUT, deadline)) return false;
        const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// A login and a ping: the router answers the ping only to whom it let in.
std::string LoginLines(const std::optional<wire::Credentials>& credentials)
{
    std::string fields = R"("verbose":false,"pedantic":false,"lang":"c","version":"1.0.0")";
    if (credentials)
        fields += R"(,"user":")" + wire::EscapeForJson(credentials->user) + R"(","pass":")" +
                  wire::EscapeForJson(credentials->password) + '"';
    return "CONNECT {" + fields + "}\r\nPING\r\n";
}

} // namespace

std::optional<wire::Greeting> ProbeRouter(const std::string& host, uint16_t port, std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    const std::optional<Socket> socket = Dial(host, port, deadline);
    if (!socket) return std::nullopt;
    std::string unread;
    const std::optional<std::string> line = ReadLine(socket->Get(), unread, deadline);
    return line ? wire::ParseGreeting(*line) : std::nullopt;
}

LoginAnswer TryLogin(const std::string& host, uint16_t port, const std::optional<wire::Credentials>& credentials,
                     std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    const std::optional<Socket> socket = Dial(host, port, deadline);
    if (!socket) return LoginAnswer::kNone;
    std::string unread;
    const std::optional<std::string> greeting = ReadLine(socket->Get(), unread, deadline);
    if (!greeting || !wire::ParseGreeting(*greeting)) return LoginAnswer::kNone;
    if (!SendAll(socket->Get(), LoginLines(credentials), deadline)) return LoginAnswer::kNone;

    while (const std::optional<std::string> line = ReadLine(socket->Get(), unread, deadline)) {
        if (line->starts_with("PONG")) return LoginAnswer::kWelcome;
        if (line->starts_with("-ERR"))
            return line->find("Authorization Violation") != std::string::npos ? LoginAnswer::kRefused
                                                                              : LoginAnswer::kNone;
    }
    return LoginAnswer::kNone;
}

} // namespace z9::mq
