#include "CsvCell.h"

#include <string_view>

namespace quindal {

namespace {

/// True for a text that a spreadsheet would take for a formula unless an apostrophe stands before it.
bool LooksLikeAFormula(const std::string& text)
{
    return !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos;
}

} // namespace

std::string CsvCell(std::string text)
{
    if (LooksLikeAFormula(text)) text.insert(text.begin(), '\'');
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

} // namespace quindal
