// The figures of a run, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>
#include <optional>
#include <vector>

#include "Limits.h"
#include "MarginSession.h"
#include "Provenance.h"

namespace quindal {

enum class ReportFormat
{
    Table,
    Csv,
    Json,
};

/// What a report is made of.
struct MarginReport
{
    MarginFigures figures;
    std::optional<std::vector<WhatIfFigures>> whatIfs; ///< In the order of the orders file; none without a file.
    std::optional<std::vector<LimitUse>> limits;       ///< Those with the least left first; none without a file.
};
/// Money that the orders of a what-if add to the three figures of its client.
[[nodiscard]] ClientFigures DifferenceOf(const WhatIfFigures& figures);

/// Writes the figures. Money is printed in cents. The two figures that are not rounded are printed to the nearest cents
/// in the table and with all their digits in the other formats. Each what-if and client has a line behind the figures
/// of the book: the table shows the GO before and after, its difference, and the differences of the two other figures;
/// CSV and JSON have all nine. The limits stand before the other tables. CSV is one table: that of the what-ifs if
/// there are any, that of the limits if there are any, otherwise that of the book. A text that a spreadsheet would take
/// for a formula stands behind an apostrophe there. JSON has the provenance in an object of its own, CSV in the last
/// columns of each row, so that rows of several reports can be put together; a table has none.
void WriteReport(std::ostream& out, const MarginReport& report, const Provenance& provenance, ReportFormat format);

} // namespace quindal
