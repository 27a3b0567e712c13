// Progress: a bar on stderr for work that takes longer than a second, when somebody looks at it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace quindal {

class Progress
{
public:
    /// Hears of each step: the name of the work, the steps done and their number.
    using Listener = std::function<void(const std::string& what, std::size_t done, std::size_t total)>;

    /// what: name of the work, such as "positions"; total: number of steps.
    Progress(std::string what, std::size_t total, Listener listener = {});
    ~Progress(); ///< Wipes the bar, if one was drawn.
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Step(); ///< Counts one step as done.

private:
    void Draw() const;

    std::string m_what;
    std::size_t m_total;
    Listener m_listener;
    std::size_t m_done = 0;
    bool m_visible; // stderr is a terminal
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_next; // when to draw again
};

} // namespace quindal
