// What actions would do to margins, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>
#include <vector>

#include "ActionTrials.h"
#include "Provenance.h"
#include "Report.h"

namespace quindal {

/// Writes a line for each what-if and level, in their order: GO before and after, and the difference, in cents.
void WriteWhatIfs(std::ostream& out, const std::vector<TriedLevel>& tried, const Provenance& provenance,
                  ReportFormat format);

} // namespace quindal
