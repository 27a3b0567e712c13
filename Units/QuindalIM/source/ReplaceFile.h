// ReplaceFile: a file that is written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace QuindalIM {

/// Writes the content beside the file and renames it into place when it is complete; the old file stays until then. A
/// symbolic link stays one, and the file that it leads to is replaced. A pipe, a device or a folder is refused at once.
/// Others may not read the file: a new one is 0640, or stricter by the umask; an old one keeps its owner, where the
/// system lets it, and of its permissions those that 0640 allows. Returns false when the file cannot be written.
[[nodiscard]] bool ReplaceFile(const std::string& path, std::string_view content) noexcept;

} // namespace QuindalIM
