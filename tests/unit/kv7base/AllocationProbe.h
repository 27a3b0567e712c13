// Counts the heap allocations of the calling thread, and makes large ones fail on demand. Linked into a test program it
// takes the place of the global operator new.
#pragma once

#include <cstddef>

namespace testing_support {

/// Allocations of this thread since the probe was made.
class AllocationProbe
{
public:
    AllocationProbe() noexcept;
    [[nodiscard]] std::size_t Count() const noexcept;
    /// Bytes asked for since the probe was made.
    [[nodiscard]] std::size_t Bytes() const noexcept;

private:
    std::size_t m_countAtStart;
    std::size_t m_bytesAtStart;
};

/// While it lives, an allocation of this thread of `bytes` or more throws std::bad_alloc.
class LargeAllocationsFail
{
public:
    explicit LargeAllocationsFail(std::size_t bytes) noexcept;
    ~LargeAllocationsFail();
    LargeAllocationsFail(const LargeAllocationsFail&) = delete;
    LargeAllocationsFail& operator=(const LargeAllocationsFail&) = delete;
};

} // namespace testing_support
