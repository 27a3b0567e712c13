#include "TextTable.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <ostream>

#include "Printable.h"

namespace quindal {

std::string Cents(double value)
{
    char text[400];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

std::string Grouped(double value)
{
    std::string text = Cents(value);
    const std::size_t first = text.front() == '-' ? 1 : 0;
    for (std::size_t at = text.find('.'); at != std::string::npos && at > first + 3;)
        text.insert(at -= 3, " ");
    return text;
}

std::string Exact(double value)
{
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return {text, end};
}

namespace {

// True for the last cell with text, so that nothing stands to its right that it could push away.
bool EndsTheRow(const Cells& row, std::size_t cell)
{
    return std::all_of(row.begin() + static_cast<std::ptrdiff_t>(cell) + 1, row.end(),
                       [](const std::string& further) { return further.empty(); });
}

} // namespace

void WriteTable(std::ostream& out, std::vector<Cells> rows, std::size_t leftColumns)
{
    for (Cells& row : rows)
        for (std::string& cell : row)
            cell = Printable(cell);
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Cells& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            if (i >= leftColumns || !EndsTheRow(row, i)) widths[i] = std::max(widths[i], row[i].size());
    for (const Cells& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string pad(widths[i] - std::min(widths[i], row[i].size()), ' ');
            line += (i == 0 ? "" : "  ") + (i < leftColumns ? row[i] + pad : pad + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

} // namespace quindal
