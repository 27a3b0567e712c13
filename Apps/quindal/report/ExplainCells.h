// The words on worst cells, netting and shares, which the table of an explanation and its page share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ExplainWords.h"
#include "MarginExplanation.h"
#include "TextTable.h"

namespace quindal {

/// "each position alone", "options within their series", ...
[[nodiscard]] std::string_view TextOf(QuindalIM::NettingLevel level);
/// "base contract CRUD".
[[nodiscard]] std::string TextOf(const QuindalIM::EntityExplanation& entity);
/// The shares with the largest ones first, as many as are wanted; 0: all, in the order of the explanation.
[[nodiscard]] std::vector<const QuindalIM::MarginShare*> LargestShares(const QuindalIM::MarginExplanation& explanation,
                                                                       std::size_t top);
/// "position", "orders", "position, partly cut".
[[nodiscard]] std::string KindText(const QuindalIM::MarginShare& share);
/// How the GO is made of its two sides: "(1 - 0.5) x 1.00 volatility GO + 0.5 x 2.00 delivery GO, rounded up".
[[nodiscard]] std::string FormulaText(const QuindalIM::MarginExplanation& explanation);

/// The worst cells under their heading: margin of, side, worst cell, result, margin.
[[nodiscard]] std::vector<Cells> WorstCells(const QuindalIM::MarginExplanation& explanation);
/// The words that occur in these cells, with their meanings.
[[nodiscard]] std::vector<Cells> MeaningsOf(const std::vector<Cells>& worstCells);

} // namespace quindal
