// Orders as the page sends them, and the figures with them.
#pragma once

#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "DeskBook.h"
#include "Problems.h"

namespace quindal {

/// What-ifs of a request: {"whatIfs": [{"label": ..., "orders": [{"client", "instrument", "side", "quantity",
/// "price"}]}]}, each value a text as it was typed. They are read by the rules of orders.csv; the line of a problem is
/// the number of its order in the request. Throws DeskError for JSON of another form and for a label that stands twice.
[[nodiscard]] Rows<OrderRow> ReadWhatIfs(const nlohmann::json& request, Problems& problems);

/// Adds what is wrong with orders in this book: clients and instruments that are not there.
void CheckOrders(const DeskBook& book, const Rows<OrderRow>& orders, Problems& problems);

/// Figures before, after and the difference.
[[nodiscard]] nlohmann::ordered_json WhatIfsForThePage(const std::vector<WhatIfFigures>& whatIfs);

/// Problems, each with line, column, value and reason, and the number of all.
[[nodiscard]] nlohmann::ordered_json ProblemsJson(const Problems& problems);

} // namespace quindal
