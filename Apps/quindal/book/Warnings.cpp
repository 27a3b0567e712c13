#include "Warnings.h"

#include "Output.h"

namespace quindal {

void Warnings::Take(const char* severity, const std::string& where, const std::string& text)
{
    ++m_count;
    if (m_told.size() < MostTold)
        m_told.push_back(std::string(severity) + ": " + (where.empty() ? "" : where + ": ") + text);
}

void Warnings::Add(const std::string& where, const std::vector<LogLine>& lines)
{
    for (const LogLine& line : lines)
        Take(line.isError ? "error" : "warning", where, line.text);
}

void Warnings::Tell() const
{
    if (m_count == 0) return;
    for (const std::string& warning : m_told)
        PrintMessage(warning);
    if (m_count > m_told.size()) PrintMessage("and " + std::to_string(m_count - m_told.size()) + " more");
    PrintMessage(std::to_string(m_count) + (m_count == 1 ? " warning" : " warnings"));
}

} // namespace quindal
