// Lets the heap allocations of the calling thread fail from a given one on. Linked into a test program it takes the
// place of the global operator new, and of posix_memalign.
#pragma once

#include <type_traits>

#include <gtest/gtest.h>

namespace testing_support {

/// While it lives, this thread has memory for `count` allocations; the next one throws std::bad_alloc.
class RoomForAllocations
{
public:
    explicit RoomForAllocations(long count) noexcept;
    ~RoomForAllocations();
    RoomForAllocations(const RoomForAllocations&) = delete;
    RoomForAllocations& operator=(const RoomForAllocations&) = delete;
};

/// While it lives, one allocation of this thread fails, behind so many that succeed.
class OneFailingAllocation
{
public:
    explicit OneFailingAllocation(long before) noexcept;
    ~OneFailingAllocation();
    OneFailingAllocation(const OneFailingAllocation&) = delete;
    OneFailingAllocation& operator=(const OneFailingAllocation&) = delete;
};

/// Runs an operation, which gives a result code or nothing, with room for no allocation, for one, for two and so on,
/// until it succeeds. After each failure `check` looks at what is there. Gives the number of failures.
template <class Operation, class Check>
long FailAtEachAllocation(Operation operation, Check check)
{
    constexpr long Most = 100'000; // no operation takes more: it fails for another reason
    for (long count = 0; count < Most; ++count) {
        try {
            const RoomForAllocations room(count);
            if constexpr (std::is_void_v<decltype(operation())>)
                operation();
            else
                EXPECT_EQ(operation(), 0);
            return count;
        } catch (...) { // of the heap or of the pool
            check();
        }
        if (testing::Test::HasFailure()) return count;
    }
    ADD_FAILURE() << "the operation never succeeds";
    return Most;
}

} // namespace testing_support
