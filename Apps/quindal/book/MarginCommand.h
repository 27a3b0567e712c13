// quindal margin: the margin of a book of positions.
#pragma once

#include <string>

#include "BookRun.h"
#include "Report.h"

namespace quindal {

struct MarginOptions : BookOptions
{
    std::string orders; // what-ifs to be tried; empty: none
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status. Prints the figures on stdout when, and only when, every call
/// succeeded. Throws CommandError that says what failed and which input rows caused it.
[[nodiscard]] int RunMargin(const MarginOptions& options);

} // namespace quindal
