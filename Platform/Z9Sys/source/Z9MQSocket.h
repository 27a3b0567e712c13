// Sockets of our own: a descriptor with an owner, and the address of a router.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

namespace z9::mq {

// An open descriptor, closed when it goes out of scope; -1 is none.
class Descriptor
{
public:
    Descriptor() noexcept = default;
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            Close();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }

    [[nodiscard]] int Get() const noexcept { return number_; }
    [[nodiscard]] explicit operator bool() const noexcept { return number_ >= 0; }
    void Close() noexcept
    {
        if (const int number = std::exchange(number_, -1); number >= 0) ::close(number);
    }

private:
    int number_ = -1;
};

// Address at which a router was found.
struct Endpoint
{
    sockaddr_storage address{};
    socklen_t size = 0; // bytes of the address
};

// The addresses of a host by name or number, best first; empty when it has none. The time that a name service takes is
// its own; a number needs none.
[[nodiscard]] std::vector<Endpoint> Lookup(const std::string& host, uint16_t port);

// Begins to connect a new socket that never blocks. It becomes writable when the outcome is known: IsConnected. Returns
// no descriptor when the address is out of reach at once.
[[nodiscard]] Descriptor StartConnect(const Endpoint& endpoint) noexcept;
[[nodiscard]] bool IsConnected(const Descriptor& socket) noexcept;

} // namespace z9::mq
