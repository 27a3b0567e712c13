// quindal margin: the margin of a book of positions.
#pragma once

#include <string>

#include "Report.h"

namespace quindal {

struct MarginOptions
{
    std::string iniFile;     // of a live server; or
    std::string instruments; // a market file, served by a private router and server for the length of the run
    std::string user;
    std::string accounts;
    std::string positions;
    std::string orders;                                // what-ifs to be tried; empty: none
    std::string passwordVariable = "QUINDAL_PASSWORD"; // environment variable that holds the password
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status. Prints the figures on stdout when, and only when, every call
/// succeeded; otherwise one line on stderr says what failed and which input row caused it.
[[nodiscard]] int RunMargin(const MarginOptions& options);

} // namespace quindal
