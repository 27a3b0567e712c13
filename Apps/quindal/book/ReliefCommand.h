// quindal relief: what to close or to hedge to free margin.
#pragma once

#include "BookRun.h"
#include "ReliefBook.h"
#include "Report.h"

namespace quindal {

struct ReliefOptions : BookOptions
{
    ReliefQuestion question;
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status: 0, too, where the target is out of reach. Prints the answer on stdout
/// only when every call succeeded. Throws CommandError with the reason.
[[nodiscard]] int RunRelief(const ReliefOptions& options);

} // namespace quindal
