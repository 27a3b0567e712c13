#include "CsvTable.h"

#include <algorithm>
#include <csv.h>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace quindal {

namespace {

constexpr std::string_view Blanks = " \t\r\n";

std::string Trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(Blanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(Blanks) - first + 1));
}

/// Takes the text up to and with its next line end, of any kind.
std::string_view TakeLine(std::string_view& text)
{
    std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    if (end < text.size()) end += text.substr(end).starts_with("\r\n") ? 2 : 1;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end);
    return line;
}

bool IsBlank(std::string_view line) { return line.find_first_not_of(Blanks) == std::string_view::npos; }
bool IsComment(std::string_view line)
{
    const auto first = line.find_first_not_of(Blanks);
    return first != std::string_view::npos && line[first] == '#';
}

/// The separator that occurs most often in the header.
char SeparatorOf(std::string_view text)
{
    std::string_view header;
    while (!text.empty() && (IsBlank(header) || IsComment(header)))
        header = TakeLine(text);
    char best = ',';
    for (const char separator : {';', '\t'})
        if (std::count(header.begin(), header.end(), separator) > std::count(header.begin(), header.end(), best))
            best = separator;
    return best;
}

// The target of libcsv's callbacks: cells gather until their row ends.
struct Gatherer
{
    bool isOpen = false; // a row has begun and not ended
    CsvRow row;
    std::vector<CsvRow> rows;

    static void OnCell(void* text, std::size_t size, void* self)
    {
        static_cast<Gatherer*>(self)->row.cells.push_back(
            text == nullptr ? std::string{} : Trimmed({static_cast<const char*>(text), size}));
    }
    static void OnRow(int, void* self)
    {
        auto& gatherer = *static_cast<Gatherer*>(self);
        const auto& cells = gatherer.row.cells;
        if (!std::all_of(cells.begin(), cells.end(), [](const std::string& cell) { return cell.empty(); }))
            gatherer.rows.push_back(std::move(gatherer.row));
        gatherer.row = {};
        gatherer.isOpen = false;
    }
};

/// A libcsv parser that is freed at the end of the scope.
class Parser
{
public:
    explicit Parser(char separator)
    {
        if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
        csv_set_delim(&m_parser, static_cast<unsigned char>(separator));
    }
    ~Parser() { csv_free(&m_parser); }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    [[nodiscard]] bool Take(std::string_view line, Gatherer& gatherer)
    {
        const std::size_t taken =
            csv_parse(&m_parser, line.data(), line.size(), &Gatherer::OnCell, &Gatherer::OnRow, &gatherer);
        if (taken != line.size() && csv_error(&m_parser) == CSV_ENOMEM) throw std::bad_alloc();
        return taken == line.size();
    }
    [[nodiscard]] bool End(Gatherer& gatherer)
    {
        return csv_fini(&m_parser, &Gatherer::OnCell, &Gatherer::OnRow, &gatherer) == 0;
    }

private:
    csv_parser m_parser{};
};

/// Reads the rows. Returns the reason and the line when the text is no table; otherwise an empty reason.
Problem ReadRows(std::string_view text, Gatherer& gatherer)
{
    Parser parser(SeparatorOf(text));
    std::size_t number = 0;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        ++number;
        if (!gatherer.isOpen) {
            if (IsComment(line) || IsBlank(line)) continue;
            gatherer.isOpen = true;
            gatherer.row.line = number;
        }
        if (!parser.Take(line, gatherer)) return {{}, number, {}, {}, "a quotation mark stands inside a cell"};
    }
    const std::size_t open = gatherer.row.line;
    if (!parser.End(gatherer)) return {{}, open, {}, {}, "a quotation mark is not closed"};
    return {};
}

bool TakePrefix(std::string_view& text, std::string_view prefix)
{
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

} // namespace

CsvTable ReadCsv(const InputFile& file, Problems& problems)
{
    CsvTable table{file.name, {}, {}};
    std::string_view text = file.text;
    if (TakePrefix(text, "\xFF\xFE") || TakePrefix(text, "\xFE\xFF")) {
        problems.Add({file.name, 1, {}, {}, "is UTF-16: save it as UTF-8"});
        return table;
    }
    TakePrefix(text, "\xEF\xBB\xBF");
    Gatherer gatherer;
    Problem broken = ReadRows(text, gatherer);
    if (!broken.reason.empty()) {
        broken.file = file.name;
        problems.Add(std::move(broken));
    } else if (gatherer.rows.empty()) {
        problems.Add({file.name, 0, {}, {}, "has no header row"});
    }
    if (gatherer.rows.empty()) return table;
    table.header = std::move(gatherer.rows.front());
    gatherer.rows.erase(gatherer.rows.begin());
    table.rows = std::move(gatherer.rows);
    return table;
}

} // namespace quindal
