// quindal margin: the margin of a book of positions.
#pragma once

#include <string>

#include "BookRun.h"
#include "Report.h"

namespace quindal {

struct MarginOptions : BookOptions
{
    std::string orders; // what-ifs to be tried; empty: none
    std::string limits; // that the margins are held against; empty: none
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status. Prints the figures on stdout only when every call succeeded. Throws
/// CommandError with the reason and the input rows that caused it.
[[nodiscard]] int RunMargin(const MarginOptions& options);

} // namespace quindal
