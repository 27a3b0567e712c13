// DeskState: how far a book is loaded, and how long answers took. Told by one thread, asked by others.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "DeskAnswer.h"

namespace quindal {

class DeskState
{
public:
    /// A step of filling the book: "positions", 10 of 200.
    void Progress(const std::string& what, std::size_t done, std::size_t total);
    void SetLoaded(bool isLoaded);
    [[nodiscard]] bool IsLoaded() const;
    /// {"loaded": ..., "what": ..., "done": ..., "total": ...}
    [[nodiscard]] DeskAnswer Answer() const;

    void Took(const std::string& request, double milliseconds);
    /// A line for each request that was answered: how often, and the median, the 99th percentile and the worst of its
    /// milliseconds.
    [[nodiscard]] std::string Summary() const;

private:
    mutable std::mutex m_mutex;
    bool m_isLoaded = false;
    std::string m_what = "instruments";
    std::size_t m_done = 0;
    std::size_t m_total = 0;
    std::map<std::string, std::vector<float>> m_times; // the latest of each request
    std::map<std::string, std::size_t> m_counts;
};

} // namespace quindal
