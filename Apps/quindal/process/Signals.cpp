#include "Signals.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

#include "TidyUp.h"

namespace quindal {

namespace {

constexpr std::array Ending{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

sigset_t EndingSet()
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : Ending)
        ::sigaddset(&set, signal);
    return set;
}

bool IsIgnored(int signal)
{
    struct sigaction action = {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

int Opened(int descriptor)
{
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "cannot watch for signals");
    return descriptor;
}

std::mutex inboxMutex;
SignalInbox* inbox = nullptr; // receives the signals; null: signals end the run

} // namespace

void EndBySignal(int signal)
{
    ::signal(signal, SIG_DFL);
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
    ::_exit(128 + signal); // a signal that does not end a process by itself
}

SignalWatch::SignalWatch() : m_signals(-1), m_stop(Opened(::eventfd(0, EFD_CLOEXEC)))
{
    const sigset_t set = EndingSet();
    ::pthread_sigmask(SIG_BLOCK, &set, &m_before);
    m_signals = Opened(::signalfd(-1, &set, SFD_CLOEXEC));
    m_thread = std::thread(&SignalWatch::Watch, this);
}

SignalWatch::~SignalWatch()
{
    // A signal that is being handled ends the process while this waits.
    ::eventfd_write(m_stop, 1);
    m_thread.join();
    ::close(m_signals);
    ::close(m_stop);
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

void SignalWatch::Watch() const
{
    std::array<pollfd, 2> waited{{{m_signals, POLLIN, 0}, {m_stop, POLLIN, 0}}};
    for (;;) {
        if (::poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) return;
        if (waited[1].revents != 0) return;
        signalfd_siginfo information{};
        if (waited[0].revents == 0 || ::read(m_signals, &information, sizeof information) != sizeof information)
            continue;
        const int signal = static_cast<int>(information.ssi_signo);
        const std::lock_guard lock(inboxMutex);
        if (IsIgnored(signal) && (inbox == nullptr || signal != SIGHUP)) continue;
        if (inbox != nullptr) {
            inbox->Put(signal);
            continue;
        }
        TidyUp::UndoEverything();
        EndBySignal(signal);
    }
}

SignalInbox::SignalInbox()
{
    const std::lock_guard lock(inboxMutex);
    inbox = this;
}

SignalInbox::~SignalInbox()
{
    const std::lock_guard lock(inboxMutex);
    inbox = nullptr;
}

std::optional<int> SignalInbox::Next(std::chrono::milliseconds patience)
{
    std::unique_lock lock(m_mutex);
    if (!m_came.wait_for(lock, patience, [this] { return !m_signals.empty(); })) return std::nullopt;
    const int signal = m_signals.front();
    m_signals.pop_front();
    return signal;
}

void SignalInbox::Put(int signal)
{
    const std::lock_guard lock(m_mutex);
    m_signals.push_back(signal);
    m_came.notify_one();
}

} // namespace quindal
