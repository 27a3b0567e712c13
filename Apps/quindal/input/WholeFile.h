// Files that are written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace quindal {

/// Writes the content beside the file and puts it in its place when it is complete: what stood there stays until then.
/// A symbolic link stays one, what it leads to is written; what is there and is no regular file is refused. Throws
/// InputError that names the file and the reason.
void WriteWhole(const std::string& file, std::string_view content);

} // namespace quindal
