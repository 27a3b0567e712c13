// CodeBuffers: copies a code into a buffer of the caller by the size contract of QuindalIM.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QuindalIM {

/// A buffer of the caller and the code to copy into it. *size: capacity on entry, terminating zero included.
struct CodeBuffer
{
    char* text;
    std::int32_t* size;
    std::string_view code;
};

/// Writes to every size what its code needs. Copies all codes and returns true, or none and returns false when one
/// capacity is too small.
template <std::size_t N>
[[nodiscard]] bool CopyCodes(const std::array<CodeBuffer, N>& buffers) noexcept
{
    std::array<std::int32_t, N> capacities{};
    for (std::size_t i = 0; i < N; ++i)
        capacities[i] = *buffers[i].size;

    bool allFit = true;
    for (std::size_t i = 0; i < N; ++i) {
        const auto needed = static_cast<std::int32_t>(buffers[i].code.size() + 1);
        *buffers[i].size = needed;
        allFit = allFit && capacities[i] >= needed;
    }
    if (!allFit) return false;

    for (std::size_t i = 0; i < N; ++i) {
        char* const text = buffers[i].text;
        text[buffers[i].code.copy(text, buffers[i].code.size())] = '\0';
        text[capacities[i] - 1] = '\0';
    }
    return true;
}

} // namespace QuindalIM
