#include "Printable.h"

#include <cstdint>
#include <cstdio>

namespace quindal {

namespace {

/// A character and its bytes; 0 bytes for bytes that are no UTF-8.
struct Character
{
    std::uint32_t code = 0;
    std::size_t size = 0;
};

Character FirstOf(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])); };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return {};
    std::uint32_t code = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) return {};
        code = code << 6U | (byte(i) & 0x3FU);
    }
    constexpr std::uint32_t leastOfSize[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < leastOfSize[size] || code > 0x10FFFF || isSurrogate) return {};
    return {code, size};
}

bool IsControl(std::uint32_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

/// True for marks without a shape of their own: directions of writing, joiners, line separators.
bool IsInvisible(std::uint32_t code)
{
    return (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2060 && code <= 0x206F) || code == 0x061C || code == 0xFEFF;
}

std::string Formatted(const char* format, unsigned value)
{
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string Escaped(std::uint32_t code)
{
    switch (code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return Formatted(code < 0x100 ? "\\x%02X" : "\\u%04X", code);
    }
}

} // namespace

std::string Printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const auto [code, size] = FirstOf(text);
        if (size == 0) {
            shown += Formatted("\\x%02X", static_cast<unsigned char>(text.front()));
            text.remove_prefix(1);
            continue;
        }
        if (IsControl(code) || IsInvisible(code))
            shown += Escaped(code);
        else
            shown += text.substr(0, size);
        text.remove_prefix(size);
    }
    return shown;
}

bool IsPlainText(std::string_view text)
{
    while (!text.empty()) {
        const auto [code, size] = FirstOf(text);
        if (size == 0 || IsControl(code)) return false;
        text.remove_prefix(size);
    }
    return true;
}

} // namespace quindal
