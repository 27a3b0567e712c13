// Signals that end a run: it ends as that signal, and leaves nothing behind.
//
// SIGINT, SIGTERM, SIGHUP and SIGQUIT are blocked in every thread and taken by one of our own, since a run spends its
// seconds inside the library, which does not look for them. SIGPIPE is ignored: a reader that has gone away is noticed
// at the next write (FinishOutput), and a router that has gone away is no reason to end in silence.
#pragma once

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace quindal {

/// Thrown to end the run as by this signal after everything is tidied up. It is no error: nothing is printed.
struct SignalEnd
{
    int signal;
};

/// Ends the process as the signal would have ended it if nobody had taken it.
[[noreturn]] void EndBySignal(int signal);

/// While it exists, a signal ends the run at once: TidyUp undoes what has to be undone, then the process dies of that
/// signal. A signal that was ignored when the process began stays ignored. It has to be made before any other thread.
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

/// While it exists, signals wait here to be asked for, one at a time, instead of ending the run. SIGHUP arrives even
/// where it was ignored, as under nohup: for such a run it means no hang-up.
class SignalInbox
{
public:
    SignalInbox();
    ~SignalInbox();
    SignalInbox(const SignalInbox&) = delete;
    SignalInbox& operator=(const SignalInbox&) = delete;

    /// The next signal, if one comes within this time.
    [[nodiscard]] std::optional<int> Next(std::chrono::milliseconds patience);

private:
    friend class SignalWatch;
    void Put(int signal);

    std::mutex m_mutex;
    std::condition_variable m_came;
    std::deque<int> m_signals;
};

} // namespace quindal
