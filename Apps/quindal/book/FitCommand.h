// quindal fit: how many contracts a client may still trade before a margin reaches a limit.
#pragma once

#include <string>

#include "BookRun.h"
#include "FitBook.h"
#include "Report.h"

namespace quindal {

struct FitOptions : BookOptions
{
    FitQuestion question; // its items come from the next two
    FitItem item;         // of one instrument; its code is empty where there is a basket
    std::string basket;   // file; empty: none
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status: 0, too, where nothing fits. Prints the answer on stdout only when
/// every call succeeded. Throws CommandError with the reason.
[[nodiscard]] int RunFit(const FitOptions& options);

} // namespace quindal
