// quindal what-if: what actions of every kind would do to the margins of a book.
#pragma once

#include <string>

#include "BookRun.h"
#include "Report.h"

namespace quindal {

struct WhatIfOptions : BookOptions
{
    std::string actions; // that are tried
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status. Prints the figures on stdout only when every call succeeded. Throws
/// CommandError with the reason and the input rows that caused it.
[[nodiscard]] int RunWhatIf(const WhatIfOptions& options);

} // namespace quindal
