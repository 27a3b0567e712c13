// FreezingLine: stands before a router, so that a test can make it hang at any byte.
//
//     FreezingLine line(router.Port(), 300); // 300 bytes of what the router says pass, and then nothing more
//     ... run the client against line.Port() ...
//
// It counts over all connections together. Frozen, it takes new connections and leaves all of them open and silent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quindal::test {

class FreezingLine
{
public:
    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    explicit FreezingLine(uint16_t routerPort, std::size_t bytesUntilFrozen = kNever);
    ~FreezingLine();
    FreezingLine(const FreezingLine&) = delete;
    FreezingLine& operator=(const FreezingLine&) = delete;

    [[nodiscard]] uint16_t Port() const noexcept { return port_; }
    // From now on so many bytes of the router pass, none or, to go on for good, kNever.
    void FreezeAfter(std::size_t bytes);
    // Ends all connections, as a router that is started anew.
    void Cut();
    [[nodiscard]] std::size_t Accepted() const; // connections so far
    // What the router said and was passed on, and what its clients said.
    [[nodiscard]] std::string RouterSaid() const;
    [[nodiscard]] std::string ClientsSaid() const;

private:
    struct Connection
    {
        int client = -1;
        int router = -1;
    };

    void Run();
    void Accept();
    [[nodiscard]] bool Pass(const Connection& connection, bool fromRouter);
    void CloseAll();

    int listener_ = -1;
    uint16_t routerPort_;
    uint16_t port_ = 0;
    mutable std::mutex mutex_; // guards what follows
    std::vector<Connection> connections_;
    std::size_t left_; // bytes of the router that still pass
    std::string routerSaid_;
    std::string clientsSaid_;
    std::size_t accepted_ = 0;
    bool ended_ = false;
    std::thread thread_; // last: it uses everything above
};

} // namespace quindal::test
