// Texts in CSV reports.
#pragma once

#include <string>

namespace quindal {

/// A text as a cell: within quotation marks where it has to be, and behind an apostrophe where a spreadsheet would take
/// it for a formula.
[[nodiscard]] std::string CsvCell(std::string text);

} // namespace quindal
