// The agreement of our margins with the clearing's, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>
#include <vector>

#include "Provenance.h"
#include "Reconciliation.h"
#include "Report.h"

namespace quindal {

struct ReconcileReport
{
    Tolerance tolerance;
    std::vector<ReconciledLevel> levels; ///< Those that are off first, the largest differences before smaller ones.
};

/// Writes the report. The table counts those that are equal and lists the others, with what would explain them below;
/// CSV and JSON have all.
void WriteReconciliation(std::ostream& out, const ReconcileReport& report, const Provenance& provenance,
                         ReportFormat format);

} // namespace quindal
