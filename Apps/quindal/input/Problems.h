// Problems: all that is wrong with the input, told at once.
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
    std::size_t line = 0; ///< 0: of the file as a whole.
    std::string column;   ///< Empty: of the row as a whole.
    std::optional<std::string> value;
    std::string reason;

    /// FILE:LINE: column "COLUMN": "VALUE" REASON.
    [[nodiscard]] std::string Text() const;
};

class Problems
{
public:
    /// So many are told, the others are counted.
    static constexpr std::size_t MostTold = 50;

    void Add(Problem problem);
    [[nodiscard]] bool IsEmpty() const noexcept { return m_count == 0; }
    /// Whether further ones are counted only: what goes to find a good word for them is wasted.
    [[nodiscard]] bool IsFull() const noexcept { return m_count >= MostTold; }
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }
    /// The first ones, by file as the files first came, and by line.
    [[nodiscard]] std::vector<Problem> Told() const;

    /// Throws InputError when there are any: a line each.
    void ThrowIfAny() const;

private:
    std::vector<Problem> m_told; // the first MostTold
    std::size_t m_count = 0;
};

} // namespace quindal
