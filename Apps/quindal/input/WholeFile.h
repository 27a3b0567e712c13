// Files that are written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace quindal {

/// Writes the content beside the file and renames it into place when it is complete; the old file stays until then. A
/// symbolic link stays one, and the file that it leads to is written; anything there that is no regular file is
/// refused. Throws InputError that names the file and the reason.
void WriteWhole(const std::string& file, std::string_view content);

} // namespace quindal
