// The explanation of a margin, as tables for the eye, as CSV and as JSON.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#include "Explained.h"
#include "Provenance.h"
#include "Report.h"

namespace quindal {

/// Writes the explanation. Tables round money to the nearest cents; JSON has all digits, and the grids and the
/// provenance too; CSV is the table of the shares, or of the members of a level that lives by them. top: how many
/// shares tables and CSV list, the largest first; 0: all, by what they are in.
void WriteExplanation(std::ostream& out, const ExplainedMargin& explained, const Provenance& provenance,
                      ReportFormat format, std::size_t top);

/// How a level that lives by its members comes to its margin, in words.
[[nodiscard]] std::string RuleText(const ExplainedMargin& explained);

} // namespace quindal
