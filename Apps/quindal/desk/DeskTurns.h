// DeskTurns: work that takes turns on one thread, since the library is called from one thread only.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <optional>

#include "DeskAnswer.h"

namespace quindal {

class DeskTurns
{
public:
    using Work = std::function<DeskAnswer()>;
    /// So much work may wait; more is turned away.
    static constexpr std::size_t MostWaiting = 64;

    /// Hands work over from any thread. Nothing when too much waits already, or when the turns have ended.
    [[nodiscard]] std::optional<std::future<DeskAnswer>> Put(Work work);
    /// Does the next piece of work on the calling thread, if there is one within this time.
    void DoNext(std::chrono::milliseconds patience);
    /// Takes no more work and drops what waits: whoever waits for it gets std::future_error.
    void End();

private:
    std::mutex m_mutex;
    std::condition_variable m_came;
    std::deque<std::packaged_task<DeskAnswer()>> m_waiting;
    bool m_hasEnded = false;
};

} // namespace quindal
