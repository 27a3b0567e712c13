// quindal explain: why the margin of a client, a firm or an account is what it is.
#pragma once

#include <cstddef>
#include <string>

#include "BookRun.h"
#include "Report.h"

namespace quindal {

struct ExplainOptions : BookOptions
{
    std::string client; // one of the three
    std::string firm;
    std::string account;
    std::string orders;  // of the clients, placed before the explanation; empty: none
    std::string compare; // positions of the book before; empty: no comparison
    std::string svg;     // files to draw the profit and loss into; empty: none
    std::string pdf;
    std::string html;    // file for the explanation as a page; empty: none
    std::size_t top = 0; // shares and pictures, the largest first; 0: all shares, ten pictures
    ReportFormat format = ReportFormat::Table;
};

/// Runs the command and returns the exit status. Prints the explanation on stdout only when everything succeeded, the
/// pictures included. Throws CommandError with the reason.
[[nodiscard]] int RunExplain(const ExplainOptions& options);

} // namespace quindal
