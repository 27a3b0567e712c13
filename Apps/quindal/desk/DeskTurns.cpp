#include "DeskTurns.h"

#include <utility>

namespace quindal {

std::optional<std::future<DeskAnswer>> DeskTurns::Put(Work work)
{
    const std::lock_guard lock(m_mutex);
    if (m_hasEnded || m_waiting.size() >= MostWaiting) return std::nullopt;
    m_waiting.emplace_back(std::move(work));
    m_came.notify_one();
    return m_waiting.back().get_future();
}

void DeskTurns::DoNext(std::chrono::milliseconds patience)
{
    std::packaged_task<DeskAnswer()> work;
    {
        std::unique_lock lock(m_mutex);
        if (!m_came.wait_for(lock, patience, [this] { return !m_waiting.empty(); })) return;
        work = std::move(m_waiting.front());
        m_waiting.pop_front();
    }
    work();
}

void DeskTurns::End()
{
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
    m_waiting.clear();
}

} // namespace quindal
