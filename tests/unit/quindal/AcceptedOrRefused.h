// What must hold of any bytes that are given as an input file: either every row was counted, with numbers to reckon
// with, or each problem names file, line and reason. Shared by the property test and the fuzzers.
#pragma once

#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>

#include "BookCheck.h"
#include "Rows.h"

namespace quindal::test {

/// Rows of a text without quotation marks: its lines with other text than separators and blanks, less comments and
/// the header. A byte order mark at its beginning is no text.
inline std::size_t DataLines(std::string_view text)
{
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    std::size_t count = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t first = line.find_first_not_of(" \t");
        if (first == std::string_view::npos || line[first] == '#') continue;
        // Which of them separates depends on the header; a line of these alone is none in any case.
        if (line.find_first_not_of(" \t,;") != std::string_view::npos) ++count;
    }
    return count == 0 ? 0 : count - 1;
}

inline bool IsWithin(double value, double least, double most) { return value >= least && value <= most; }

inline bool IsSound(const AccountRow& row)
{
    return IsWithin(row.expWeight, -1.0, 1.0) && IsWithin(row.expWeightClientDefault, 0.0, 1.0) &&
           IsWithin(row.clearings, -1.0, 127.0) && IsWithin(row.goRatio, 0.0, 10.0) &&
           IsWithin(row.shortChargeRatio, 0.0, 10.0) && !row.code.empty();
}
inline bool IsSound(const PositionRow& row)
{
    return IsWithin(row.price, -1e12, 1e12) && std::llabs(row.quantity) <= 1'000'000'000'000 &&
           std::llabs(row.afterLastClearing) <= 1'000'000'000'000 && !row.code.empty() && !row.instrument.empty();
}
inline bool IsSound(const OrderRow& row)
{
    return IsWithin(row.price, -1e11, 1e11) && row.quantity >= 1 && row.quantity <= 1'000'000'000'000 &&
           !row.client.empty() && !row.instrument.empty();
}

/// Empty when it holds; otherwise what does not.
template <class Row>
std::string Broken(const Rows<Row>& rows, const Problems& problems, const std::string& text)
{
    for (const Problem& problem : problems.Told()) {
        if (problem.file != "file.csv" || problem.reason.empty()) return "a problem names its file and a reason";
        if (problem.line == 0 && problem.reason != "has no header row") return "a problem names its line";
    }
    if (!problems.IsEmpty()) return {};
    if (text.find('"') == std::string::npos && rows.rows.size() != DataLines(text)) return "each row is counted";
    for (const Row& row : rows.rows)
        if (row.line == 0 || !IsSound(row)) return "each number is finite and in its range";
    return {};
}

inline std::string BrokenAccounts(const std::string& text)
{
    Problems problems;
    const Rows<AccountRow> rows = ReadAccounts({"file.csv", text}, problems);
    CheckAccounts(rows, problems);
    return Broken(rows, problems, text);
}
inline std::string BrokenPositions(const std::string& text)
{
    Problems problems;
    const Rows<PositionRow> rows = ReadPositions({"file.csv", text}, problems);
    CheckRepeated(rows, problems);
    return Broken(rows, problems, text);
}
inline std::string BrokenOrders(const std::string& text)
{
    Problems problems;
    const Rows<OrderRow> rows = ReadOrders({"file.csv", text}, problems);
    return Broken(rows, problems, text);
}

} // namespace quindal::test
