// Warnings of a run: told at its end, counted, and with --strict the end of it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "RunLog.h"

namespace quindal {

class Warnings
{
public:
    /// So many are told, the others are counted.
    static constexpr std::size_t MostTold = 50;

    /// where: "FILE:LINE" of what it is about, or empty.
    void Add(const std::string& where, const std::string& text) { Take("warning", where, text); }
    /// What the library has logged about something.
    void Add(const std::string& where, const std::vector<LogLine>& lines);
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }
    /// Prints them on stderr, and how many there are.
    void Tell() const;

private:
    void Take(const char* severity, const std::string& where, const std::string& text);

    std::vector<std::string> m_told;
    std::size_t m_count = 0;
};

} // namespace quindal
