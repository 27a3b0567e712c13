#include "Z9MQSocket.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

namespace z9::mq {

namespace {

struct AddressListDeleter
{
    void operator()(addrinfo* list) const noexcept { ::freeaddrinfo(list); }
};

} // namespace

std::vector<Endpoint> Lookup(const std::string& host, uint16_t port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return {};
    const std::unique_ptr<addrinfo, AddressListDeleter> list(found);

    std::vector<Endpoint> endpoints;
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        Endpoint& endpoint = endpoints.emplace_back();
        endpoint.size = entry->ai_addrlen;
        std::memcpy(&endpoint.address, entry->ai_addr, entry->ai_addrlen);
    }
    return endpoints;
}

Descriptor StartConnect(const Endpoint& endpoint) noexcept
{
    Descriptor socket(::socket(endpoint.address.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket) return {};
    const int now = 1; // a small request does not wait for company
    ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &now, sizeof now);
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size) == 0)
        return socket;
    return errno == EINPROGRESS || errno == EINTR ? std::move(socket) : Descriptor();
}

bool IsConnected(const Descriptor& socket) noexcept
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

} // namespace z9::mq
