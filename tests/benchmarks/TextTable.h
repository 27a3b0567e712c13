// TextTable: figures in columns, printed so that they can stand in a document as they are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// A number with thousands apart, so many digits behind the point.
inline std::string Number(double value, int digits = 0)
{
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%.*f", digits, value);
    std::string number(text, static_cast<std::size_t>(length));
    const std::size_t first = value < 0.0 ? 1 : 0;
    for (std::size_t at = digits > 0 ? number.find('.') : number.size(); at > first + 3;)
        number.insert(at -= 3, ",");
    return number;
}

class TextTable
{
public:
    TextTable(std::string title, std::vector<std::string> columns)
        : m_title(std::move(title)), m_rows{std::move(columns)}
    {}

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }

    /// The first column stands left, the others right.
    void Print() const
    {
        std::vector<std::size_t> widths(m_rows.front().size(), 3);
        for (const auto& row : m_rows)
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], row[i].size());
        std::printf("\n%s\n\n", m_title.c_str());
        PrintRow(m_rows.front(), widths);
        for (std::size_t i = 0; i < widths.size(); ++i)
            std::printf("|%s%s", std::string(widths[i] + 1, '-').c_str(), i == 0 ? "-" : ":");
        std::printf("|\n");
        for (std::size_t i = 1; i < m_rows.size(); ++i)
            PrintRow(m_rows[i], widths);
        std::fflush(stdout);
    }

private:
    static void PrintRow(const std::vector<std::string>& row, const std::vector<std::size_t>& widths)
    {
        for (std::size_t i = 0; i < row.size(); ++i)
            std::printf("| %*s ", static_cast<int>(i == 0 ? -1 : 1) * static_cast<int>(widths[i]), row[i].c_str());
        std::printf("|\n");
    }

    std::string m_title;
    std::vector<std::vector<std::string>> m_rows; // the first one names the columns
};

} // namespace bench
