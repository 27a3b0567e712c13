#include "TextTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ostream>

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

void WriteTable(std::ostream& out, const std::vector<Cells>& rows, std::size_t leftColumns)
{
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Cells& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const Cells& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string pad(widths[i] - row[i].size(), ' ');
            line += (i == 0 ? "" : "  ") + (i < leftColumns ? row[i] + pad : pad + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

} // namespace quindal
