// Digests of files, by which two copies of one are known to be the same.
#pragma once

#include <string>
#include <string_view>

namespace quindal {

/// The SHA-256 of some bytes, in 64 digits of lower case, as sha256sum prints it.
[[nodiscard]] std::string Sha256(std::string_view bytes);

} // namespace quindal
