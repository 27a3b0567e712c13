// Signals and the calls that must keep clear of them.
#pragma once

#include <csignal>
#include <ctime>
#include <initializer_list>

namespace z9::mq {

// Blocks signals on the calling thread while it exists. A SIGPIPE raised meanwhile by a write of this library is taken
// back: the caller, who may handle it or end by it, has no part in our sockets. A SIGPIPE that waited before stays.
class SignalsBlocked
{
public:
    // Blocks all signals, for calls that start threads, which inherit the mask: the caller's handlers must not run on
    // threads that the caller does not know. Signals that a thread raises by its own fault stay unblocked: a blocked
    // one would end the process past the caller's crash reporter.
    [[nodiscard]] static SignalsBlocked All() noexcept
    {
        sigset_t set;
        sigfillset(&set);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP})
            sigdelset(&set, fault);
        return SignalsBlocked(set);
    }
    // Blocks SIGPIPE, for calls that write on the calling thread.
    [[nodiscard]] static SignalsBlocked Pipe() noexcept { return SignalsBlocked(PipeSet()); }

    ~SignalsBlocked()
    {
        const sigset_t pipe = PipeSet();
        const timespec atOnce{};
        if (!pipeWaited_ && PipeWaits()) sigtimedwait(&pipe, nullptr, &atOnce);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    explicit SignalsBlocked(const sigset_t& set) noexcept : pipeWaited_(PipeWaits())
    {
        pthread_sigmask(SIG_BLOCK, &set, &before_);
    }
    [[nodiscard]] static sigset_t PipeSet() noexcept
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGPIPE);
        return set;
    }
    [[nodiscard]] static bool PipeWaits() noexcept
    {
        sigset_t waiting;
        return sigpending(&waiting) == 0 && sigismember(&waiting, SIGPIPE) == 1;
    }

    bool pipeWaited_; // a SIGPIPE waited before
    sigset_t before_{};
};

} // namespace z9::mq
