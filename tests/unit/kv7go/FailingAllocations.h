// Lets the heap allocations of the calling thread fail from a given one on. Linked into a test program it takes the
// place of the global operator new, and of posix_memalign.
#pragma once

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

} // namespace testing_support
