#include "FreezingLine.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quindal::test {

namespace {

constexpr int kLookAgainMs = 2; // for what other threads have asked meanwhile

sockaddr_in Loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

} // namespace

FreezingLine::FreezingLine(uint16_t routerPort, std::size_t bytesUntilFrozen)
    : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), routerPort_(routerPort), left_(bytesUntilFrozen)
{
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener_, 16) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no line");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Run(); });
}

FreezingLine::~FreezingLine()
{
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    thread_.join();
    CloseAll();
    ::close(listener_);
}

void FreezingLine::FreezeAfter(std::size_t bytes)
{
    const std::lock_guard lock(mutex_);
    left_ = bytes;
}

std::size_t FreezingLine::Accepted() const
{
    const std::lock_guard lock(mutex_);
    return accepted_;
}

void FreezingLine::Cut()
{
    const std::lock_guard lock(mutex_);
    CloseAll();
}

std::string FreezingLine::RouterSaid() const
{
    const std::lock_guard lock(mutex_);
    return routerSaid_;
}

std::string FreezingLine::ClientsSaid() const
{
    const std::lock_guard lock(mutex_);
    return clientsSaid_;
}

void FreezingLine::Run()
{
    for (;;) {
        std::vector<pollfd> watched{{listener_, POLLIN, 0}};
        {
            const std::lock_guard lock(mutex_);
            if (ended_) return;
            if (left_ > 0) {
                for (const Connection& connection : connections_)
                    watched.insert(watched.end(), {{connection.client, POLLIN, 0}, {connection.router, POLLIN, 0}});
            }
        }
        if (::poll(watched.data(), watched.size(), kLookAgainMs) <= 0) continue;

        const std::lock_guard lock(mutex_);
        if (watched[0].revents != 0) Accept();
        if (left_ == 0) continue;
        const auto isReady = [&](int descriptor) {
            return std::any_of(watched.begin() + 1, watched.end(),
                               [&](const pollfd& entry) { return entry.fd == descriptor && entry.revents != 0; });
        };
        std::erase_if(connections_, [&](const Connection& connection) {
            const bool goesOn = (!isReady(connection.client) || Pass(connection, false)) &&
                                (!isReady(connection.router) || Pass(connection, true));
            if (goesOn) return false;
            ::close(connection.client);
            ::close(connection.router);
            return true;
        });
    }
}

void FreezingLine::Accept()
{
    ++accepted_;
    Connection connection;
    connection.client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    connection.router = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(routerPort_);
    if (::connect(connection.router, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        connections_.push_back(connection);
        return;
    }
    ::close(connection.client);
    ::close(connection.router);
}

// What one side has said goes to the other. False when that side has left.
bool FreezingLine::Pass(const Connection& connection, bool fromRouter)
{
    std::array<char, 65536> bytes{};
    const std::size_t most = fromRouter ? std::min(bytes.size(), left_) : bytes.size();
    if (most == 0) return true;
    const ssize_t count = ::recv(fromRouter ? connection.router : connection.client, bytes.data(), most, 0);
    if (count <= 0) return false;
    const auto size = static_cast<std::size_t>(count);
    if (fromRouter && left_ != kNever) left_ -= size;
    (fromRouter ? routerSaid_ : clientsSaid_).append(bytes.data(), size);
    return ::send(fromRouter ? connection.client : connection.router, bytes.data(), size, MSG_NOSIGNAL) == count;
}

void FreezingLine::CloseAll()
{
    for (const Connection& connection : connections_) {
        ::close(connection.client);
        ::close(connection.router);
    }
    connections_.clear();
}

} // namespace quindal::test
