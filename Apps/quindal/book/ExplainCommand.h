// quindal explain: why the margin of a client is what it is.
#pragma once

#include <string>

#include "BookRun.h"
#include "ExplainReport.h"

namespace quindal {

struct ExplainOptions : BookOptions
{
    std::string client;
    std::string svg; // files to draw the profit and loss into; empty: none
    std::string pdf;
    ExplainFormat format = ExplainFormat::Table;
};

/// Runs the command and returns the exit status. Prints the explanation on stdout only when everything succeeded, the
/// drawing included. Throws CommandError with the reason.
[[nodiscard]] int RunExplain(const ExplainOptions& options);

} // namespace quindal
