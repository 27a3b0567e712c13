// A client as the page shows it.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "DeskBook.h"

namespace quindal {

/// Figures, what netting saves, worst cells with their depth, shares, and the words of the cells. The rows are those of
/// `quindal explain`; lengths of bars are parts of the longest, below 0 for a gain.
[[nodiscard]] nlohmann::ordered_json ClientJson(const DeskBook& book, const std::string& client,
                                                const QuindalIM::MarginExplanation& explanation);

} // namespace quindal
