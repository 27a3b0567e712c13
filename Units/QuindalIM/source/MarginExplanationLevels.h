// Margins that the parts of a book would have as books of their own.
#pragma once

#include <vector>

#include "MarginExplanation.h"

namespace QuindalIM::explanation {

/// The margin at each level of netting, Gross first; the last is the margin of the book itself. explained gives weight,
/// ratio and margin.
[[nodiscard]] std::vector<LevelMargin> LevelsOf(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant,
                                                const MarginExplanation& explained);

} // namespace QuindalIM::explanation
