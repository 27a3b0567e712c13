// Lets the heap allocations of the calling thread fail from a given one on. Linked into a test program it takes the
// place of the global operator new, and of posix_memalign.
#pragma once

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

/// Runs an operation, which gives a result code, with room for no allocation, for one, for two and so on, until it
/// succeeds. After each failure `check` looks at what is there. Gives the number of failures.
template <class Operation, class Check>
long FailAtEachAllocation(Operation operation, Check check)
{
    for (long count = 0;; ++count) {
        try {
            const RoomForAllocations room(count);
            EXPECT_EQ(operation(), 0);
            return count;
        } catch (...) { // of the heap or of the pool
            check();
        }
        if (testing::Test::HasFailure()) return count;
    }
}

} // namespace testing_support
