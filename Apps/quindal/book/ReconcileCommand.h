// quindal reconcile: the margins of a book against those that the clearing has computed.
#pragma once

#include <cstddef>
#include <string>

#include "BookRun.h"
#include "Reconciliation.h"
#include "Report.h"

namespace quindal {

struct ReconcileOptions : BookOptions
{
    std::string report; // the clearing's margins
    Tolerance tolerance;
    std::size_t explained = 20;   // clients that are off and looked into, the largest differences first
    std::string otherPositions;   // tried as an explanation; empty: none
    std::string otherInstruments; // likewise: an older market, or a newer one
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status: StatusDoesNotHold where a margin is off. Throws CommandError with the
/// reason.
[[nodiscard]] int RunReconcile(const ReconcileOptions& options);

} // namespace quindal
