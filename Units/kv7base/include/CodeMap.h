// CodeMap: values by code. Any text finds its entry, and no string is built for it.
// HashedCode: a code together with its hash, to be looked for in more than one place.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kv7base {

/// A code with its hash, which is worked out once. The text has to live as long.
struct HashedCode
{
    explicit HashedCode(std::string_view code) noexcept : HashedCode(code, std::hash<std::string_view>{}(code)) {}
    HashedCode(std::string_view code, std::size_t itsHash) noexcept : text(code), hash(itsHash) {}

    operator std::string_view() const noexcept { return text; }

    std::string_view text;
    std::size_t hash;
};

/// Hash of a code, whatever kind of text holds it.
struct CodeHash
{
    using is_transparent = void;

    [[nodiscard]] std::size_t operator()(std::string_view code) const noexcept { return HashedCode(code).hash; }
    [[nodiscard]] std::size_t operator()(const HashedCode& code) const noexcept { return code.hash; }
};

/// Equality of codes; of two with their hashes the texts are read only where the hashes agree.
struct SameCode
{
    [[nodiscard]] bool operator()(const HashedCode& a, const HashedCode& b) const noexcept
    {
        return a.hash == b.hash && a.text == b.text;
    }
    [[nodiscard]] bool operator()(std::string_view a, const HashedCode& b) const noexcept { return a == b.text; }
};

template <class Value>
using CodeMap = std::unordered_map<std::string, Value, CodeHash, std::equal_to<>>;

} // namespace kv7base
