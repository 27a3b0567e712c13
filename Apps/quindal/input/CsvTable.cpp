#include "CsvTable.h"

#include <algorithm>
#include <charconv>
#include <csv.h>
#include <fstream>
#include <limits>
#include <memory>

namespace quindal {

namespace {

const std::string Empty;

std::string Trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

// What libcsv calls back into: cells gather until their row ends.
struct Gatherer
{
    std::size_t line = 0;
    std::vector<std::string> cells;
    std::vector<std::pair<std::size_t, std::vector<std::string>>> rows;

    static void OnCell(void* text, std::size_t size, void* self)
    {
        static_cast<Gatherer*>(self)->cells.push_back(Trimmed({static_cast<const char*>(text), size}));
    }
    static void OnRow(int, void* self)
    {
        auto* const gatherer = static_cast<Gatherer*>(self);
        const bool blank = std::all_of(gatherer->cells.begin(), gatherer->cells.end(),
                                       [](const std::string& cell) { return cell.empty(); });
        const bool comment = !blank && gatherer->cells.front().starts_with('#');
        if (!blank && !comment) gatherer->rows.emplace_back(gatherer->line, std::move(gatherer->cells));
        gatherer->cells.clear();
    }
};

} // namespace

const std::string& CsvRow::Text(std::string_view column) const
{
    const auto found = m_table->m_columns.find(column);
    const auto& cells = m_table->m_rows[m_index].cells;
    return found == m_table->m_columns.end() || found->second >= cells.size() ? Empty : cells[found->second];
}

const std::string& CsvRow::Required(std::string_view column) const
{
    const std::string& text = Text(column);
    if (text.empty()) throw Error("column \"" + std::string(column) + "\" is empty");
    return text;
}

double CsvRow::Number(std::string_view column, double byDefault) const
{
    const std::string& text = Text(column);
    if (text.empty()) return byDefault;
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        throw Error("column \"" + std::string(column) + "\": \"" + text + "\" is not a number");
    return value;
}

std::int64_t CsvRow::Integer(std::string_view column, std::int64_t byDefault) const
{
    const std::string& text = Text(column);
    if (text.empty()) return byDefault;
    std::int64_t value = 0;
    const bool hasPlus = text.front() == '+';
    const char* const begin = text.data() + (hasPlus ? 1 : 0);
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || (hasPlus && *begin == '-'))
        throw Error("column \"" + std::string(column) + "\": \"" + text + "\" is not a whole number");
    return value;
}

std::int32_t CsvRow::Integer32(std::string_view column, std::int32_t byDefault) const
{
    const std::int64_t value = Integer(column, byDefault);
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max())
        throw Error("column \"" + std::string(column) + "\": " + std::to_string(value) + " is out of range");
    return static_cast<std::int32_t>(value);
}

std::int32_t CsvRow::OneOf(std::string_view column, std::span<const std::pair<std::string_view, std::int32_t>> words,
                           std::int32_t byDefault) const
{
    const std::string& text = Text(column);
    if (text.empty()) return byDefault;
    std::string known;
    for (const auto& [word, value] : words) {
        if (word == text) return value;
        known += known.empty() ? "" : ", ";
        known += word;
    }
    throw Error("column \"" + std::string(column) + "\": \"" + text + "\" is none of " + known);
}

std::string CsvRow::Where() const
{
    return m_table->m_file.string() + ":" + std::to_string(m_table->m_rows[m_index].line);
}

InputError CsvRow::Error(std::string_view message) const { return InputError(Where() + ": " + std::string(message)); }

CsvTable::CsvTable(std::filesystem::path file, std::span<const std::string_view> columns) : m_file(std::move(file))
{
    Read();
    TakeHeader(columns);
}

void CsvTable::Read()
{
    std::ifstream stream(m_file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(m_file)) throw InputError(m_file.string() + ": cannot be read");

    csv_parser parser;
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI | CSV_APPEND_NULL) != 0)
        throw InputError(m_file.string() + ": out of memory");
    const std::unique_ptr<csv_parser, decltype(&csv_free)> parserLife(&parser, &csv_free);

    Gatherer gatherer;
    std::string text;
    const auto feed = [&] {
        if (csv_parse(&parser, text.data(), text.size(), &Gatherer::OnCell, &Gatherer::OnRow, &gatherer) != text.size())
            throw InputError(m_file.string() + ":" + std::to_string(gatherer.line) + ": " +
                             csv_strerror(csv_error(&parser)));
    };
    // Fed line by line, so that a row knows its line.
    while (std::getline(stream, text)) {
        ++gatherer.line;
        text += '\n';
        feed();
    }
    if (csv_fini(&parser, &Gatherer::OnCell, &Gatherer::OnRow, &gatherer) != 0)
        throw InputError(m_file.string() + ":" + std::to_string(gatherer.line) + ": a quote is not closed");
    for (auto& [line, cells] : gatherer.rows)
        m_rows.push_back({line, std::move(cells)});
}

void CsvTable::TakeHeader(std::span<const std::string_view> columns)
{
    if (m_rows.empty()) throw InputError(m_file.string() + ": has no header row");
    const Row header = std::move(m_rows.front());
    m_rows.erase(m_rows.begin());
    for (std::size_t i = 0; i < header.cells.size(); ++i) {
        const std::string& name = header.cells[i];
        const auto refuse = [&](const std::string& what) {
            throw InputError(m_file.string() + ":" + std::to_string(header.line) + ": " + what);
        };
        if (std::find(columns.begin(), columns.end(), name) == columns.end()) refuse("unknown column \"" + name + "\"");
        if (!m_columns.emplace(name, i).second) refuse("column \"" + name + "\" stands twice");
    }
    for (const Row& row : m_rows)
        if (row.cells.size() > header.cells.size())
            throw InputError(m_file.string() + ":" + std::to_string(row.line) + ": more cells than the header has");
}

} // namespace quindal
