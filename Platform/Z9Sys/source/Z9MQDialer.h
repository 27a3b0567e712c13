// Dialer: brings the C client to the router, and can hang up on it.
//
// The C client waits for the answer to its login, and for a TLS handshake, without any limit, and holds the lock that
// all its calls need while it does; this at the first login and at each reconnect. It shows nobody its socket. So it
// is sent to a door of ours on loopback. When it stands there, we call the router and, as soon as that begins to greet,
// put the router's socket in the place of the client's own. From then on both talk without us, at no cost; what we keep
// for the time of the handshake is a second descriptor of that socket, by which it can be shut down.
//
// Always true:  a handshake ends, well or badly, within kHandshakeTime. None begins while a Call stands, nor after
//               HangUp: that is how callers never meet the client's lock held for long.
//               who is not of this process finds the door closed.
// Threads:      one of its own, which sleeps between handshakes; any may call.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

#include "Z9MQSocket.h"

namespace z9::mq {

class Dialer
{
public:
    static constexpr auto kHandshakeTime = std::chrono::milliseconds(2000);

    // Throws std::system_error when the system has no socket or thread to spare. The thread inherits the signal mask of
    // its maker.
    explicit Dialer(const Endpoint& router);
    ~Dialer();
    Dialer(const Dialer&) = delete;
    Dialer& operator=(const Dialer&) = delete;

    [[nodiscard]] uint16_t Port() const noexcept { return port_; } // of the door, on 127.0.0.1
    // Number of this dialer for callbacks that may come when it is gone already; never given twice.
    [[nodiscard]] std::size_t Number() const noexcept { return number_; }

    // Reports that the handshake under way has succeeded.
    void Established() noexcept;
    static void Established(std::size_t number) noexcept;

    // Ends the handshake under way and refuses all later ones.
    void HangUp() noexcept;

    // Holds off handshakes while it exists. False: one is under way, and the C client must not be asked now.
    class Call
    {
    public:
        explicit Call(Dialer& dialer) noexcept;
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        [[nodiscard]] explicit operator bool() const noexcept { return begun_; }

    private:
        Dialer& dialer_;
        bool begun_;
    };

private:
    using Clock = std::chrono::steady_clock;

    // The steps of a handshake.
    enum class Stage
    {
        kNone,    // none under way
        kDialing, // guest_ waits, line_ leads to a router that has not yet said anything
        kTalking, // the client has the line; line_ is a second descriptor of it
    };

    void Run() noexcept;
    [[nodiscard]] int WaitTime() const noexcept;
    void Admit() noexcept;
    void Advance(short events) noexcept;
    void HandOver() noexcept;
    void Drop() noexcept;
    void Wake() const noexcept;

    // Entry of the dialer in the list of all dialers.
    class Registered
    {
    public:
        explicit Registered(Dialer& dialer);
        ~Registered();
        Registered(const Registered&) = delete;
        Registered& operator=(const Registered&) = delete;

    private:
        const std::size_t number_;
    };

    const Endpoint router_;
    const std::size_t number_;
    uint16_t port_ = 0;
    const Descriptor door_;  // listens on loopback
    const Descriptor alarm_; // an event that wakes the thread

    std::mutex mutex_; // guards what follows
    Stage stage_ = Stage::kNone;
    Descriptor guest_; // our end of the client's socket, until the client has the router's
    Descriptor line_;  // to the router
    Clock::time_point deadline_;
    int calls_ = 0; // existing Call objects
    bool hungUp_ = false;
    bool ended_ = false;
    const Registered registered_;
    std::thread thread_; // last: it uses everything above
};

} // namespace z9::mq
