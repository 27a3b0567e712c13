#include "Z9MQDialer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <map>
#include <system_error>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>

#include "Z9Internal.h"

namespace z9::mq {

namespace {

// Far more than any process has open where the limit is set to infinity.
constexpr rlim_t kMostDescriptors = 1 << 20;

// All existing dialers, by number.
struct Register
{
    std::mutex mutex;
    std::map<std::size_t, Dialer*> dialers;
};

Register& TheRegister()
{
    static z9::Immortal<Register> all;
    return all.Get();
}

std::size_t NextNumber() noexcept
{
    static std::atomic<std::size_t> last = 0;
    return ++last;
}

[[noreturn]] void ThrowSystemError(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

// The two ends of a connection over loopback, by their ports in the order of the network.
struct Ends
{
    in_port_t own = 0;
    in_port_t other = 0;
};

std::optional<in_port_t> LoopbackPort(int descriptor, int (*ask)(int, sockaddr*, socklen_t*)) noexcept
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (ask(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) return std::nullopt;
    if (address.sin_family != AF_INET || address.sin_addr.s_addr != htonl(INADDR_LOOPBACK)) return std::nullopt;
    return address.sin_port;
}

std::optional<Ends> EndsOf(int descriptor) noexcept
{
    const std::optional<in_port_t> own = LoopbackPort(descriptor, ::getsockname);
    if (!own) return std::nullopt;
    const std::optional<in_port_t> other = LoopbackPort(descriptor, ::getpeername);
    if (!other) return std::nullopt;
    return Ends{*own, *other};
}

// The descriptor of this process at the other end of a loopback connection; -1 when another process has it. The two
// ports together name one connection of the whole machine, so no other descriptor fits.
int OtherEndOf(const Descriptor& socket) noexcept
{
    const std::optional<Ends> ends = EndsOf(socket.Get());
    rlimit limit{};
    if (!ends || ::getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
    const int most = static_cast<int>(std::min(limit.rlim_cur, kMostDescriptors));
    for (int descriptor = 0; descriptor < most; ++descriptor) {
        const std::optional<Ends> found = EndsOf(descriptor);
        if (found && found->own == ends->other && found->other == ends->own) return descriptor;
    }
    return -1;
}

Descriptor MakeDoor(uint16_t& port)
{
    Descriptor door(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (!door || ::bind(door.Get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::listen(door.Get(), 8) != 0 || ::getsockname(door.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
        ThrowSystemError("no door on loopback");
    port = ntohs(address.sin_port);
    return door;
}

Descriptor MakeAlarm()
{
    Descriptor alarm(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!alarm) ThrowSystemError("no event");
    return alarm;
}

} // namespace

Dialer::Dialer(const Endpoint& router)
    : router_(router),
      number_(NextNumber()),
      door_(MakeDoor(port_)),
      alarm_(MakeAlarm()),
      registered_(*this),
      thread_([this] { Run(); })
{}

Dialer::~Dialer()
{
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    Wake();
    thread_.join();
}

Dialer::Registered::Registered(Dialer& dialer) : number_(dialer.number_)
{
    Register& all = TheRegister();
    const std::lock_guard lock(all.mutex);
    all.dialers.emplace(number_, &dialer);
}

Dialer::Registered::~Registered()
{
    Register& all = TheRegister();
    const std::lock_guard lock(all.mutex);
    all.dialers.erase(number_);
}

void Dialer::Established() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        if (stage_ != Stage::kTalking) return;
        Drop();
    }
    Wake();
}

void Dialer::Established(std::size_t number) noexcept
{
    Register& all = TheRegister();
    const std::lock_guard lock(all.mutex);
    if (const auto found = all.dialers.find(number); found != all.dialers.end()) found->second->Established();
}

void Dialer::HangUp() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        hungUp_ = true;
        if (stage_ == Stage::kTalking) ::shutdown(line_.Get(), SHUT_RDWR);
        Drop();
    }
    Wake();
}

Dialer::Call::Call(Dialer& dialer) noexcept : dialer_(dialer), begun_(false)
{
    const std::lock_guard lock(dialer_.mutex_);
    begun_ = dialer_.stage_ == Stage::kNone;
    if (begun_) ++dialer_.calls_;
}

Dialer::Call::~Call()
{
    if (!begun_) return;
    const std::lock_guard lock(dialer_.mutex_);
    --dialer_.calls_;
}

void Dialer::Wake() const noexcept
{
    const uint64_t once = 1;
    static_cast<void>(::write(alarm_.Get(), &once, sizeof once)); // fails when it rings already
}

// Forgets the handshake. A client that still waits at the door sees its connection end; one that has the line keeps it.
void Dialer::Drop() noexcept
{
    stage_ = Stage::kNone;
    guest_.Close();
    line_.Close();
}

void Dialer::Run() noexcept
{
    for (;;) {
        std::array<pollfd, 3> watched{{{alarm_.Get(), POLLIN, 0}, {door_.Get(), POLLIN, 0}, {-1, 0, 0}}};
        int wait = -1;
        {
            const std::lock_guard lock(mutex_);
            if (ended_) return;
            wait = WaitTime();
            watched[2].fd = line_.Get();
            watched[2].events = static_cast<short>(stage_ == Stage::kDialing ? POLLIN : POLLRDHUP);
        }
        ::poll(watched.data(), watched.size(), wait);

        const std::lock_guard lock(mutex_);
        uint64_t rung = 0;
        if (watched[0].revents != 0) static_cast<void>(::read(alarm_.Get(), &rung, sizeof rung));
        if (watched[2].fd == line_.Get()) Advance(watched[2].revents);
        if (watched[1].revents != 0) Admit();
    }
}

// Milliseconds until the handshake under way is late; -1 when there is none.
int Dialer::WaitTime() const noexcept
{
    if (stage_ == Stage::kNone) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

// Admits a client at the door. Any earlier handshake is over then, since the client has one connection at a time.
void Dialer::Admit() noexcept
{
    Descriptor guest(::accept4(door_.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!guest || hungUp_ || calls_ > 0 || OtherEndOf(guest) < 0) return;
    Drop();
    Descriptor line = StartConnect(router_);
    if (!line) return;
    guest_ = std::move(guest);
    line_ = std::move(line);
    stage_ = Stage::kDialing;
    deadline_ = Clock::now() + kHandshakeTime;
}

void Dialer::Advance(short events) noexcept
{
    if (stage_ == Stage::kNone) return;
    if (events != 0) {
        if (stage_ == Stage::kDialing && IsConnected(line_)) {
            HandOver();
        } else {
            Drop(); // the router is not there, or it has ended the handshake, which the client sees by itself
        }
    } else if (Clock::now() >= deadline_) {
        if (stage_ == Stage::kTalking) ::shutdown(line_.Get(), SHUT_RDWR);
        Drop();
    }
}

// Hands the line over when the router has begun to greet. The client waits for the greeting on its own socket, which
// leads to us and cannot be closed meanwhile: its patience at that point is far longer than ours, and nobody else gets
// at it. The end of the connection to us wakes it, and the greeting must be there by then: a poll that finds another
// socket under its descriptor looks at it once and does not wait on it.
void Dialer::HandOver() noexcept
{
    const int clients = OtherEndOf(guest_);
    if (clients < 0 || ::dup3(line_.Get(), clients, O_CLOEXEC) < 0) {
        Drop();
        return;
    }
    guest_.Close();
    stage_ = Stage::kTalking;
}

} // namespace z9::mq
