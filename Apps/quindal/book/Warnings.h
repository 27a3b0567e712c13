// Warnings of a run: they are printed at its end and counted, and with --strict they end it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "RunLog.h"

namespace quindal {

class Warnings
{
public:
    /// So many are printed, the others are counted.
    static constexpr std::size_t MostTold = 50;

    /// Adds a warning. where: "FILE:LINE" of its object, or empty.
    void Add(const std::string& where, const std::string& text) { Take("warning", where, text); }
    /// Adds lines that the library has logged about an object.
    void Add(const std::string& where, const std::vector<LogLine>& lines);
    /// The first MostTold warnings, as they are printed.
    [[nodiscard]] const std::vector<std::string>& Texts() const noexcept { return m_told; }
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }
    /// Prints the warnings and their number on stderr.
    void Tell() const;

private:
    void Take(const char* severity, const std::string& where, const std::string& text);

    std::vector<std::string> m_told;
    std::size_t m_count = 0;
};

} // namespace quindal
