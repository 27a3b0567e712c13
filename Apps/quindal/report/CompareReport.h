// What changed a margin between two books, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>

#include "BookComparison.h"
#include "Provenance.h"
#include "Report.h"

namespace quindal {

/// Writes the two GO, their difference, and the part of each position that differs. CSV is the table of the parts.
void WriteComparison(std::ostream& out, const BookDifference& difference, const Provenance& provenance,
                     ReportFormat format);

} // namespace quindal
