// DenseDictionary: rows by their 32-bit id, in a dense hash map, since each order looks them up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include <sparsehash/dense_hash_map>

/// Allocator of dense maps that throws when memory ends; the map's own one ends the process.
template <class Value>
struct DictionaryAllocator : std::allocator<Value>
{
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using const_pointer = const Value*;
    using reference = Value&;
    using const_reference = const Value&;
    template <class Other>
    struct rebind
    {
        using other = DictionaryAllocator<Other>;
    };

    DictionaryAllocator() noexcept = default;
    template <class Other>
    DictionaryAllocator(const DictionaryAllocator<Other>&) noexcept // NOLINT(google-explicit-constructor)
    {}

    [[nodiscard]] size_type max_size() const noexcept { return std::numeric_limits<size_type>::max() / sizeof(Value); }
};

template <class Row>
using DenseDictionary = google::dense_hash_map<std::int32_t, Row, std::hash<std::int32_t>, std::equal_to<>,
                                               DictionaryAllocator<std::pair<const std::int32_t, Row>>>;

/// Marks a free place in a dense map, so no row has this id.
inline constexpr std::int32_t NoDictionaryId = std::numeric_limits<std::int32_t>::min();
