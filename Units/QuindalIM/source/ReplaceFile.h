// ReplaceFile: a file that is written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace QuindalIM {

/// Writes the content beside the file and puts it in its place when it is complete: what stood there stays until then.
/// A symbolic link stays one, what it leads to is replaced. A pipe, a device or a folder is refused and not waited for.
/// Others may not read the file: a new one is 0640 or stricter by the umask, one that was there keeps its owner, where
/// the system lets it, and of its permissions what 0640 allows. False when it cannot be written.
[[nodiscard]] bool ReplaceFile(const std::string& path, std::string_view content) noexcept;

} // namespace QuindalIM
