#include "Suggestion.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Printable.h"

namespace quindal {

std::size_t Distance(std::string_view a, std::string_view b, std::size_t most)
{
    const std::size_t longer = std::max(a.size(), b.size());
    if (longer - std::min(a.size(), b.size()) > most) return most + 1;
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t change = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, change});
            const bool areExchanged = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (areExchanged) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        std::swap(beforeLast, last);
        std::swap(last, row);
    }
    return last[b.size()];
}

Suggestion::Suggestion(std::string_view meant)
    : m_meant(meant), m_distance(std::clamp<std::size_t>(meant.size() / 3, 1, 3) + 1)
{}

void Suggestion::Offer(std::string_view known)
{
    const std::size_t distance = Distance(m_meant, known, m_distance - 1);
    if (distance >= m_distance) return;
    m_distance = distance;
    m_best = known;
}

std::string Suggestion::Text() const { return m_best.empty() ? "" : "; did you mean \"" + Printable(m_best) + "\"?"; }

} // namespace quindal
