// The figures of a run, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>

#include "MarginSession.h"

namespace quindal {

enum class ReportFormat
{
    Table,
    Csv,
    Json,
};

/// Money is printed in cents; the two figures that are not rounded are printed so too, to nearest, in the table, and
/// with all their digits in the other formats. What-ifs are a line for each what-if and client, behind the figures of
/// the book: the table shows the GO before, after and the difference, and the difference of the two other figures; CSV
/// and JSON have all nine. CSV is one table: that of the what-ifs where there are any to be tried, that of the book
/// otherwise. A text that a spreadsheet would take for a formula stands behind an apostrophe there.
void WriteReport(std::ostream& out, const MarginFigures& figures, ReportFormat format);

} // namespace quindal
