// Text of others as a terminal may show it.
#pragma once

#include <string>
#include <string_view>

namespace quindal {

/// The text with whatever would move a cursor, change colours or turn the order of the letters around written out:
/// control characters as \n, \t or \x1B, the invisible marks of UTF-8 as \u202E, bytes that are no UTF-8 as \xFF.
[[nodiscard]] std::string Printable(std::string_view text);

/// Whether the text is UTF-8 without control characters.
[[nodiscard]] bool IsPlainText(std::string_view text);

} // namespace quindal
