// Files as people write them, and what the readers say of them.
#pragma once

#include <string>
#include <vector>

#include "Problems.h"
#include "Rows.h"

namespace quindal::test {

inline InputFile File(const std::string& text, const std::string& name = "file.csv") { return {name, text}; }

inline std::vector<std::string> TextsOf(const Problems& problems)
{
    std::vector<std::string> texts;
    for (const Problem& problem : problems.Told())
        texts.push_back(problem.Text());
    return texts;
}

/// The rows of a good file: a problem in it throws.
inline Rows<AccountRow> Accounts(const std::string& text)
{
    Problems problems;
    Rows<AccountRow> rows = ReadAccounts(File(text, "accounts.csv"), problems);
    problems.ThrowIfAny();
    return rows;
}
inline Rows<PositionRow> Positions(const std::string& text)
{
    Problems problems;
    Rows<PositionRow> rows = ReadPositions(File(text, "positions.csv"), problems);
    problems.ThrowIfAny();
    return rows;
}
inline Rows<OrderRow> Orders(const std::string& text)
{
    Problems problems;
    Rows<OrderRow> rows = ReadOrders(File(text, "orders.csv"), problems);
    problems.ThrowIfAny();
    return rows;
}

} // namespace quindal::test
