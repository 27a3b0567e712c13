// Signals that end a run: it ends as that signal, and leaves nothing behind.
//
// SIGINT, SIGTERM, SIGHUP and SIGQUIT are blocked in every thread and taken by one of our own, since a run spends its
// seconds inside the library, where nothing looks for them. SIGPIPE is ignored: a reader that has gone away is seen
// where something is written (FinishOutput), a router that has gone away is no reason to end in silence.
#pragma once

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace quindal {

/// Thrown to end the run as by this signal, after everything on the way is tidied up. No error: nothing is printed.
struct SignalEnd
{
    int signal;
};

/// Ends the process as the signal would have, had nobody taken it.
[[noreturn]] void EndBySignal(int signal);

/// While it lives a signal ends the run at once: what is to be undone is (TidyUp), then the process dies of that
/// signal. A signal that was ignored when the process began stays ignored. To be made before any other thread.
class SignalWatch
{
public:
    SignalWatch(); ///< Throws std::system_error.
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

private:
    void Watch() const;

    sigset_t m_before{}; // signals that were blocked before
    int m_signals;       // descriptor that the signals are read from
    int m_stop;          // descriptor that tells the thread to end
    std::thread m_thread;
};

/// While it lives signals wait here to be asked for instead of ending the run; one at a time. SIGHUP comes even where
/// it was ignored, as nohup has it: to such a run it means no hang-up.
class SignalInbox
{
public:
    SignalInbox();
    ~SignalInbox();
    SignalInbox(const SignalInbox&) = delete;
    SignalInbox& operator=(const SignalInbox&) = delete;

    /// The next signal, when one comes within this time.
    [[nodiscard]] std::optional<int> Next(std::chrono::milliseconds patience);

private:
    friend class SignalWatch;
    void Put(int signal);

    std::mutex m_mutex;
    std::condition_variable m_came;
    std::deque<int> m_signals;
};

} // namespace quindal
