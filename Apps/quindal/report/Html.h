// Pieces of HTML.
#pragma once

#include <string>
#include <string_view>

namespace quindal::html {

/// A text that stands for itself between tags and in attributes. Control characters are shown.
[[nodiscard]] std::string Text(std::string_view text);
/// An element with a class, or without one where that is empty, around content that is HTML already.
[[nodiscard]] std::string Element(std::string_view name, std::string_view cssClass, std::string_view content);

} // namespace quindal::html
