// Text from outside, made fit to be shown by a terminal.
#pragma once

#include <string>
#include <string_view>

namespace quindal {

/// The text with every character written out that would move a cursor, change colours or turn the order of letters
/// round: control characters as \n, \t or \x1B, the invisible marks of UTF-8 as \u202E, bytes that are no UTF-8 as
/// \xFF.
[[nodiscard]] std::string Printable(std::string_view text);

/// True when the text is UTF-8 without control characters.
[[nodiscard]] bool IsPlainText(std::string_view text);

} // namespace quindal
