// Files that are read whole.
#pragma once

#include <string>

namespace quindal {

/// The path that stands for standard input.
inline constexpr const char* StandardInput = "-";

struct InputFile
{
    std::string name; ///< Name in messages: the path, or "<stdin>".
    std::string text;
};

/// Reads a whole file, a pipe or, for "-", standard input. Throws InputError that names the file and the reason.
[[nodiscard]] InputFile ReadInput(const std::string& path);

} // namespace quindal
