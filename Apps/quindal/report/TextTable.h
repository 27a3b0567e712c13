// Tables for the eye.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace quindal {

using Cells = std::vector<std::string>;

/// "1234567.50": money to nearest cents.
[[nodiscard]] std::string Cents(double value);
/// "1 234 567.50": the same with blanks between thousands.
[[nodiscard]] std::string Grouped(double value);

/// Rows of as many cells as the first one has, columns two blanks apart: the first ones to the left, figures to the
/// right. Control characters are shown, not sent.
void WriteTable(std::ostream& out, std::vector<Cells> rows, std::size_t leftColumns);

} // namespace quindal
