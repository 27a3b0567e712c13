// Lookup in a table of the dictionary.
#pragma once

namespace pos {

/// The value of a key; null when there is none.
template <class Map, class Key>
[[nodiscard]] auto* Find(Map& map, const Key& key) noexcept
{
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace pos
