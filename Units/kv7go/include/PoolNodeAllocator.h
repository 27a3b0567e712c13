// PoolNodeAllocator: an allocator for the containers of the engine that make and drop single elements all day long.
//
// Why:          an order that is placed and cancelled makes and drops one element of a map. Out of the recycling pool
//               that costs no trip to the general heap.
// What and not: one element at a time comes from the pool of the thread. Arrays, such as a map's buckets, are made when
//               a container grows, and stay; they would only raise the pool's largest block, so they come from the
//               general heap.
#pragma once

#include <cstddef>
#include <memory>

#include "LazyMemoryPool.h"

namespace kv7im::auxiliary {

template <class T>
class PoolNodeAllocator
{
public:
    using value_type = T;

    PoolNodeAllocator() noexcept = default;
    template <class Other>
    PoolNodeAllocator(const PoolNodeAllocator<Other>&) noexcept // NOLINT(google-explicit-constructor): rebinding
    {}

    [[nodiscard]] T* allocate(std::size_t count)
    {
        static_assert(alignof(T) <= LazyMemoryPool::Alignment);
        if (count != 1) return std::allocator<T>().allocate(count);
        // NOLINTNEXTLINE(bugprone-sizeof-expression): T may be a pointer, an element of a bucket array of one
        return static_cast<T*>(LazyMemoryPool::AllocateUnfilled(sizeof(T)));
    }
    void deallocate(T* data, std::size_t count) noexcept
    {
        if (count != 1)
            std::allocator<T>().deallocate(data, count);
        else
            LazyMemoryPool::Release(data);
    }

    template <class Other>
    [[nodiscard]] friend bool operator==(const PoolNodeAllocator&, const PoolNodeAllocator<Other>&) noexcept
    {
        return true;
    }
};

} // namespace kv7im::auxiliary
