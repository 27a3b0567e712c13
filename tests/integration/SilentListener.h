// SilentListener: a port of our own on loopback that takes connections and says nothing.
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace quindal::test {

class SilentListener
{
public:
    SilentListener() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof m_address;
        auto* const address = reinterpret_cast<sockaddr*>(&m_address);
        if (::bind(m_socket, address, size) != 0 || ::listen(m_socket, 64) != 0 ||
            ::getsockname(m_socket, address, &size) != 0)
            throw std::runtime_error("no port");
    }
    ~SilentListener()
    {
        for (const int caller : m_callers)
            ::close(caller);
        ::close(m_socket);
    }
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;

    [[nodiscard]] std::uint16_t Port() const { return ntohs(m_address.sin_port); }
    /// Whether somebody comes within ten seconds.
    bool HasCaller()
    {
        pollfd state{m_socket, POLLIN, 0};
        if (::poll(&state, 1, 10'000) != 1) return false;
        m_callers.push_back(::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC));
        return true;
    }

private:
    int m_socket;
    sockaddr_in m_address{};
    std::vector<int> m_callers;
};

} // namespace quindal::test
