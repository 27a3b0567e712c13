// Files that are read whole.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace quindal {

/// The path that stands for standard input.
inline constexpr const char* StandardInput = "-";

struct InputFile
{
    std::string name; ///< Name in messages: the path, or "<stdin>".
    std::string text;
    /// When a regular file was last changed; nothing for a pipe or a terminal.
    std::optional<std::chrono::system_clock::time_point> changed = {};
};

/// Reads a whole file, a pipe or, for "-", standard input. Throws InputError that names the file and the reason.
[[nodiscard]] InputFile ReadInput(const std::string& path);

} // namespace quindal
