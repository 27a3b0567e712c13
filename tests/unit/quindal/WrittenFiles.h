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
template <class Row>
Rows<Row> Good(const InputFile& file, Rows<Row> (*read)(const InputFile& file, Problems& problems))
{
    Problems problems;
    Rows<Row> rows = read(file, problems);
    problems.ThrowIfAny();
    return rows;
}
inline Rows<AccountRow> Accounts(const std::string& text) { return Good(File(text, "accounts.csv"), ReadAccounts); }
inline Rows<PositionRow> Positions(const std::string& text) { return Good(File(text, "positions.csv"), ReadPositions); }
inline Rows<BasketRow> Basket(const std::string& text) { return Good(File(text, "basket.csv"), ReadBasket); }
inline Rows<OrderRow> Orders(const std::string& text) { return Good(File(text, "orders.csv"), ReadOrders); }

} // namespace quindal::test
