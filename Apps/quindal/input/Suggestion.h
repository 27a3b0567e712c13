// The known name that somebody may have meant.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace quindal {

/// Number of letters to be changed, put in, left out or exchanged with their neighbour to make one text of the other
/// (Damerau and Levenshtein, each letter touched once); anything above `most` when it is more than that.
[[nodiscard]] std::size_t Distance(std::string_view a, std::string_view b, std::size_t most);

/// The closest of the known names, when one is close enough to be meant: a third of its letters, three at most.
class Suggestion
{
public:
    explicit Suggestion(std::string_view meant);
    void Offer(std::string_view known);
    /// "; did you mean "NAME"?", or nothing.
    [[nodiscard]] std::string Text() const;

private:
    std::string_view m_meant;
    std::size_t m_distance; // of the best so far; one more than what is close enough when there is none
    std::string m_best;
};

} // namespace quindal
