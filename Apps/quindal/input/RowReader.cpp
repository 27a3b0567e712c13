#include "RowReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <stdexcept>
#include <utility>

#include "Printable.h"
#include "Suggestion.h"

namespace quindal {

namespace {

/// The text without a plus in front, which people may write.
std::string_view WithoutPlus(std::string_view text)
{
    const bool hasPlus = text.starts_with('+') && !text.starts_with("+-");
    return hasPlus ? text.substr(1) : text;
}

template <class Value>
bool Parse(std::string_view text, Value& value)
{
    text = WithoutPlus(text);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size();
}

/// True for a number that a double does not hold: too many digits before or behind the point.
bool IsBeyondNumbers(std::string_view text)
{
    double value = 0.0;
    text = WithoutPlus(text);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc::result_out_of_range && end == text.data() + text.size();
}

std::string NoNumber(std::string_view cell, std::string_view what)
{
    std::string reason = "is not a " + std::string(what);
    if (cell.find(',') != std::string_view::npos) reason += ": the decimal point is \".\", and nothing parts thousands";
    return reason;
}

bool HasMoreDigits(double value, int decimals)
{
    const double scaled = value * std::pow(10.0, decimals);
    return std::abs(scaled - std::round(scaled)) > 1e-6;
}

} // namespace

SchemaTable::SchemaTable(CsvTable table, const Schema& schema, Problems& problems)
    : m_table(std::move(table)), m_schema(schema)
{
    if (m_table.header.cells.empty())
        m_isReadable = false; // reported already
    else
        CheckHeader(problems);
}

void SchemaTable::CheckHeader(Problems& problems)
{
    const auto refuse = [&](std::string column, std::string reason) {
        problems.Add({m_table.file, m_table.header.line, std::move(column), {}, std::move(reason)});
        m_isReadable = false;
    };
    std::set<std::string_view> present;
    for (const std::string& name : m_table.header.cells) {
        if (!m_schema.HasColumn(name)) {
            if (m_schema.isOfOthers) continue;
            Suggestion suggestion(name);
            for (const ColumnRule& rule : m_schema.rules)
                suggestion.Offer(rule.column);
            refuse({}, "unknown column \"" + Printable(name) + '"' + suggestion.Text());
        } else if (!present.insert(name).second) {
            refuse(name, "stands twice");
        }
    }
    for (const ColumnRule& rule : m_schema.rules)
        if (rule.isRequired && rule.rows == AllRows && !present.contains(rule.column))
            refuse(std::string(rule.column), "is missing");
    // For a column that has a rule of its own for each kind of row, as the codes of accounts.
    if (m_schema.HasColumn("code") && !present.contains("code") && m_schema.Find("code", AllRows)->rows != AllRows)
        refuse("code", "is missing");
}

std::string_view SchemaTable::Cell(const CsvRow& row, std::string_view column) const
{
    const auto& names = m_table.header.cells;
    const auto place = static_cast<std::size_t>(std::find(names.begin(), names.end(), column) - names.begin());
    return place < names.size() && place < row.cells.size() ? std::string_view(row.cells[place]) : std::string_view{};
}

RowReader::RowReader(const SchemaTable& table, const CsvRow& row, Problems& problems)
    : m_table(table), m_row(row), m_problems(problems)
{
    if (row.cells.size() > table.Table().header.cells.size()) Refuse({}, "more cells than the header has");
    for (std::size_t i = 0; i < std::min(row.cells.size(), table.Table().header.cells.size()); ++i)
        if (!IsPlainText(row.cells[i])) Refuse(table.Table().header.cells[i], "is not plain UTF-8 text");
}

void RowReader::SetKind(unsigned rows, std::string_view name)
{
    m_rows = rows;
    for (const std::string& column : m_table.Table().header.cells)
        if (IsGiven(column) && m_table.Rules().Find(column, rows) == nullptr)
            Refuse(column, "says nothing in the row of " + std::string(name) + ": leave it empty");
}

const ColumnRule& RowReader::RuleOf(std::string_view column) const
{
    const ColumnRule* const rule = m_table.Rules().Find(column, m_rows);
    if (rule == nullptr) throw std::logic_error("no rule for column " + std::string(column));
    return *rule;
}

void RowReader::Refuse(std::string_view column, std::string reason)
{
    const std::string_view cell = m_table.Cell(m_row, column);
    const ColumnRule* const rule = m_table.Rules().Find(column, AllRows);
    const bool isShown = !cell.empty() && rule != nullptr && !rule->isSecret;
    m_problems.Add({m_table.Table().file, m_row.line, std::string(column),
                    isShown ? std::optional(std::string(cell)) : std::nullopt, std::move(reason)});
}

std::string_view RowReader::CellOrFallback(const ColumnRule& rule)
{
    const std::string_view cell = m_table.Cell(m_row, rule.column);
    if (!cell.empty()) return cell;
    if (rule.isRequired) Refuse(rule.column, "is empty");
    return rule.fallback;
}

void RowReader::CheckRange(const ColumnRule& rule, double value)
{
    if (!rule.exception.empty()) {
        double exception = 0.0;
        if (Parse(rule.exception, exception) && value == exception) return;
    }
    if (value < rule.least || value > rule.most)
        Refuse(rule.column, "is out of range: " + RangeText(rule));
    else if (rule.decimals >= 0 && HasMoreDigits(value, rule.decimals))
        Refuse(rule.column, "has more than " + std::to_string(rule.decimals) + " digits behind the point");
}

std::string RowReader::Text(std::string_view column)
{
    const ColumnRule& rule = RuleOf(column);
    std::string text(CellOrFallback(rule));
    const bool isTooLong = rule.most > 0.0 && static_cast<double>(text.size()) > rule.most;
    const bool isTooShort = static_cast<double>(text.size()) < rule.least;
    if (!text.empty() && (isTooLong || isTooShort)) Refuse(column, "is not of " + RangeText(rule));
    return text;
}

double RowReader::Number(std::string_view column)
{
    const ColumnRule& rule = RuleOf(column);
    const std::string_view cell = CellOrFallback(rule);
    double value = 0.0;
    if (cell.empty()) return value;
    if (IsBeyondNumbers(cell)) {
        Refuse(column, "is out of range: " + RangeText(rule));
    } else if (!Parse(cell, value)) {
        Refuse(column, NoNumber(cell, "number"));
    } else if (!std::isfinite(value)) {
        Refuse(column, "is not a finite number");
        return 0.0;
    } else {
        CheckRange(rule, value);
    }
    return value;
}

std::int64_t RowReader::Whole(std::string_view column)
{
    const ColumnRule& rule = RuleOf(column);
    const std::string_view cell = CellOrFallback(rule);
    std::int64_t value = 0;
    if (cell.empty()) return value;
    const std::string_view digits = cell.substr(cell.find_first_not_of("+-") == 1 ? 1 : 0);
    const bool isWhole = !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
    if (!isWhole)
        Refuse(column, NoNumber(cell, "whole number"));
    else if (!Parse(cell, value))
        Refuse(column, "is out of range: " + RangeText(rule)); // more digits than the type holds
    else
        CheckRange(rule, static_cast<double>(value));
    return value;
}

std::optional<std::int32_t> RowReader::FindWord(std::string_view column)
{
    const ColumnRule& rule = RuleOf(column);
    const std::string_view cell = CellOrFallback(rule);
    if (cell.empty()) return std::nullopt;
    Suggestion suggestion(cell);
    for (const auto& [word, value] : rule.words) {
        if (word == cell) return value;
        suggestion.Offer(word);
    }
    Refuse(column, "is none of " + Listed(rule.words) + suggestion.Text());
    return std::nullopt;
}

} // namespace quindal
