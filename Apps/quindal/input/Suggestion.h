// The known name that a person may have meant.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace quindal {

/// Number of letters that have to be changed, inserted, removed or exchanged with their neighbour to turn one text into
/// the other (Damerau and Levenshtein, each letter touched once); any number above `most` when it is more than that.
[[nodiscard]] std::size_t Distance(std::string_view a, std::string_view b, std::size_t most);

/// The closest of the known names, if it is close enough to be meant: within a third of its letters, three at most.
class Suggestion
{
public:
    explicit Suggestion(std::string_view meant);
    void Offer(std::string_view known);
    /// Text of the suggestion: "; did you mean "NAME"?", or empty.
    [[nodiscard]] std::string Text() const;

private:
    std::string_view m_meant;
    std::size_t m_distance; // of the best name so far; one more than is close enough when there is none
    std::string m_best;
};

} // namespace quindal
