// Tables for the eye.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace quindal {

using Cells = std::vector<std::string>;

/// Money to the nearest cents: "1234567.50".
[[nodiscard]] std::string Cents(double value);
/// Money to the nearest cents, with blanks between thousands: "1 234 567.50".
[[nodiscard]] std::string Grouped(double value);

/// The shortest text that reads back as the same number.
[[nodiscard]] std::string Exact(double value);

/// Writes rows that have as many cells as the first one, columns two blanks apart: the first leftColumns columns to the
/// left, figures to the right. Control characters are shown, not sent.
void WriteTable(std::ostream& out, std::vector<Cells> rows, std::size_t leftColumns);

} // namespace quindal
