// CodeMap: values by code. Any text finds its entry, and no string is built for it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kv7base {

/// Hash of a code, whatever kind of text holds it.
struct CodeHash
{
    using is_transparent = void;

    [[nodiscard]] std::size_t operator()(std::string_view code) const noexcept
    {
        return std::hash<std::string_view>{}(code);
    }
};

template <class Value>
using CodeMap = std::unordered_map<std::string, Value, CodeHash, std::equal_to<>>;

} // namespace kv7base
