// The part of an open ini file that the other sources of libZ9Sys need beyond the C interface: a value that tells
// "missing" from "empty".
#pragma once

#include <optional>
#include <string>

#include "Z9Types.h"

namespace z9 {

// Returns 0, or the code for a handle without an open file.
[[nodiscard]] Z9ERR IniCheckHandle(Z9INI_HANDLE handle);

// True when the file has such a section or, for "", any key before its first section.
[[nodiscard]] bool IniHasSection(Z9INI_HANDLE handle, const std::string& section);

// The value, nothing when the handle, the section or the key is missing.
[[nodiscard]] std::optional<std::string> IniFind(Z9INI_HANDLE handle, const std::string& section,
                                                 const std::string& key);

} // namespace z9
