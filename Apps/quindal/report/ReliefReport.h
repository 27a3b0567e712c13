// What to close or to hedge to free margin, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>

#include "Provenance.h"
#include "ReliefBook.h"
#include "Report.h"

namespace quindal {

/// Writes the steps in their order, each with its figures. Money is printed in cents; turnover and rates have all their
/// digits in JSON. CSV has a row for each step, with the provenance in its last columns; JSON has the provenance in an
/// object of its own.
void WriteRelief(std::ostream& out, const ReliefQuestion& question, const ReliefAnswer& answer,
                 const Provenance& provenance, ReportFormat format);

} // namespace quindal
