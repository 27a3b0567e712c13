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
/// with all their digits in the other formats.
void WriteReport(std::ostream& out, const MarginFigures& figures, ReportFormat format);

} // namespace quindal
