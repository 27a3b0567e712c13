// The question how many contracts fit, as the page asks it.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "DeskBook.h"
#include "Problems.h"

namespace quindal {

/// The question of a request: {"order": {"client", "instrument", "side", "price"}, "of": "limit" or "free", "money":
/// text}. The order is read by the rules of orders.csv, money as a number with or without blanks between thousands.
/// Throws DeskError for JSON of another form.
[[nodiscard]] FitQuestion ReadFit(const DeskBook& book, const nlohmann::json& request, Problems& problems);

/// Figures without the order, with the largest quantity that fits, and with one more.
[[nodiscard]] nlohmann::ordered_json FitJson(const FitAnswer& answer);

} // namespace quindal
