// The answer to how many contracts still fit, as a table for the eye, as CSV and as JSON.
#pragma once

#include <iosfwd>

#include "FitBook.h"
#include "Provenance.h"
#include "Report.h"

namespace quindal {

/// Writes the answer: the GO without the trade, with the largest quantity that fits and with one more. Money is printed
/// in cents; a price, a premium and the limit have all their digits in CSV and JSON. CSV has a row for each of the
/// three, with the provenance in its last columns; JSON has the provenance in an object of its own.
void WriteFit(std::ostream& out, const FitQuestion& question, const FitAnswer& answer, const Provenance& provenance,
              ReportFormat format);

} // namespace quindal
