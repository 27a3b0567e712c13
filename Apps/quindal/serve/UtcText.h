// Points in time as logs and monitors read them.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace quindal {

/// A point in time as text: "2026-11-21T10:15:30.123Z".
[[nodiscard]] std::string UtcText(std::chrono::system_clock::time_point time);
/// The point in time of such a text; nothing for another one.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> ReadUtcText(const std::string& text);

} // namespace quindal
