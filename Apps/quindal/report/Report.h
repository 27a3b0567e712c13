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
/// with all their digits in the other formats. What-ifs follow behind the figures of the book, a line for each what-if
/// and client: the table shows the GO before, after and the difference, and the difference of the two other figures;
/// CSV, where they are a second table behind an empty line, and JSON have all nine.
void WriteReport(std::ostream& out, const MarginFigures& figures, ReportFormat format);

} // namespace quindal
