#include "Z9MQProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace z9::mq {

namespace {

using Clock = std::chrono::steady_clock;

// A greeting is a few hundred bytes; whatever talks on without a line break is no router.
constexpr std::size_t kMaxLineBytes = 65536;

// Waits for the events or the deadline; a signal that interrupts it does not shorten it.
bool WaitFor(const Descriptor& socket, short events, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd entry{socket.Get(), events, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

// Reads the first line, without its line break.
std::optional<std::string> ReadLine(const Descriptor& socket, Clock::time_point deadline)
{
    std::array<char, 4096> chunk{};
    std::string read;
    while (read.size() < kMaxLineBytes && WaitFor(socket, POLLIN, deadline)) {
        const ssize_t count = ::recv(socket.Get(), chunk.data(), chunk.size(), 0);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count <= 0) break;
        read.append(chunk.data(), static_cast<std::size_t>(count));
        if (const std::size_t end = read.find('\n'); end != std::string::npos) {
            read.resize(end);
            if (read.ends_with('\r')) read.pop_back();
            return read;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<RouterFound> ProbeRouter(const std::string& host, uint16_t port, std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    for (const Endpoint& endpoint : Lookup(host, port)) {
        const Descriptor socket = StartConnect(endpoint);
        if (!socket || !WaitFor(socket, POLLOUT, deadline) || !IsConnected(socket)) continue;
        const std::optional<std::string> line = ReadLine(socket, deadline);
        const std::optional<wire::Greeting> greeting = line ? wire::ParseGreeting(*line) : std::nullopt;
        if (!greeting) return std::nullopt;
        return RouterFound{endpoint, *greeting};
    }
    return std::nullopt;
}

} // namespace z9::mq
