// Problems: everything that is wrong with the input, reported together.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Errors.h"

namespace quindal {

struct Problem
{
    std::string file;
    std::size_t line = 0; ///< 0 for the file as a whole.
    std::string column;   ///< Empty for the row as a whole.
    std::optional<std::string> value;
    std::string reason;

    /// Text of a message: FILE:LINE: column "COLUMN": "VALUE" REASON.
    [[nodiscard]] std::string Text() const;
};

class Problems
{
public:
    /// So many are reported, the others are counted.
    static constexpr std::size_t MostTold = 50;

    void Add(Problem problem);
    [[nodiscard]] bool IsEmpty() const noexcept { return m_count == 0; }
    /// True when further problems are only counted, so that work on their wording is wasted.
    [[nodiscard]] bool IsFull() const noexcept { return m_count >= MostTold; }
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }
    /// The reported problems, by file in the order in which the files came, and by line.
    [[nodiscard]] std::vector<Problem> Told() const;

    /// Throws InputError with a line for each problem, if there are any.
    void ThrowIfAny() const;

private:
    std::vector<Problem> m_told; // the first MostTold
    std::size_t m_count = 0;
};

} // namespace quindal
