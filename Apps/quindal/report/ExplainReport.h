// The explanation of a margin, as a table for the eye and as JSON.
#pragma once

#include <iosfwd>
#include <string>

#include "ExplainWords.h"
#include "MarginExplanation.h"
#include "Provenance.h"

namespace quindal {

enum class ExplainFormat
{
    Table,
    Json,
};

/// Writes the explanation. The table rounds money to the nearest cents; JSON has all digits, and the grids and the
/// provenance too.
void WriteExplanation(std::ostream& out, const std::string& client, const QuindalIM::MarginExplanation& explanation,
                      const Provenance& provenance, ExplainFormat format);

} // namespace quindal
