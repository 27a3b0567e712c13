#include "Digest.h"

#include <array>
#include <cstdint>
#include <sys/types.h>

#include <sha2.h>

namespace quindal {

std::string Sha256(std::string_view bytes)
{
    std::array<char, SHA256_DIGEST_STRING_LENGTH> text{};
    return ::SHA256Data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), text.data());
}

} // namespace quindal
