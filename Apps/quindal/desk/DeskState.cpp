#include "DeskState.h"

#include <algorithm>
#include <cstdio>

#include "DeskJson.h"

namespace quindal {

namespace {

constexpr std::size_t MostTimes = 100'000; // of one request that are kept

} // namespace

void DeskState::Progress(const std::string& what, std::size_t done, std::size_t total)
{
    const std::lock_guard lock(m_mutex);
    m_what = what;
    m_done = done;
    m_total = total;
}

void DeskState::SetLoaded(bool isLoaded)
{
    const std::lock_guard lock(m_mutex);
    m_isLoaded = isLoaded;
}

bool DeskState::IsLoaded() const
{
    const std::lock_guard lock(m_mutex);
    return m_isLoaded;
}

DeskAnswer DeskState::Answer() const
{
    const std::lock_guard lock(m_mutex);
    return JsonAnswer({{"loaded", m_isLoaded}, {"what", m_what}, {"done", m_done}, {"total", m_total}});
}

void DeskState::Took(const std::string& request, double milliseconds)
{
    const std::lock_guard lock(m_mutex);
    std::vector<float>& times = m_times[request];
    const std::size_t count = m_counts[request]++;
    if (times.size() < MostTimes)
        times.push_back(static_cast<float>(milliseconds));
    else
        times[count % MostTimes] = static_cast<float>(milliseconds);
}

std::string DeskState::Summary() const
{
    const std::lock_guard lock(m_mutex);
    std::string summary;
    for (const auto& [request, unsorted] : m_times) {
        std::vector<float> times = unsorted;
        std::sort(times.begin(), times.end());
        char line[200];
        std::snprintf(line, sizeof line,
                      "%s%s: answered %zu times, median %.2f ms, 99 %% within %.2f ms, worst %.2f ms",
                      summary.empty() ? "" : "\n", request.c_str(), m_counts.at(request),
                      static_cast<double>(times[times.size() / 2]),
                      static_cast<double>(times[(times.size() * 99) / 100]), static_cast<double>(times.back()));
        summary += line;
    }
    return summary;
}

} // namespace quindal
