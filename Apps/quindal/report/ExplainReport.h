// The explanation of a margin, as a table for the eye and as JSON.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "ExplainWords.h"
#include "MarginExplanation.h"
#include "Provenance.h"
#include "TextTable.h"

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

// Rows of the table, a heading first: for others who show them.

[[nodiscard]] std::vector<Cells> LevelRows(const QuindalIM::MarginExplanation& explanation); ///< What netting saves.
/// Worst cells: what the margin is of, its side, the cell, its result, the margin. Rows of parts are indented.
[[nodiscard]] std::vector<Cells> WorstCellRows(const QuindalIM::MarginExplanation& explanation);
/// Words that stand in rows of worst cells, and their meanings; without a heading.
[[nodiscard]] std::vector<Cells> MeaningRows(const std::vector<Cells>& worstCells);
/// Shares in their order, and the total.
[[nodiscard]] std::vector<Cells> ShareRows(const QuindalIM::MarginExplanation& explanation);

} // namespace quindal
