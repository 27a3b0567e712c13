#include "FailingAllocations.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr long unlimited = -1;

thread_local long room = unlimited;
thread_local bool failsOnce = false;

// Whether this allocation is one that fails.
bool Refuses() noexcept
{
    if (room == unlimited) return false;
    if (room > 0) {
        --room;
        return false;
    }
    if (failsOnce) room = unlimited;
    return true;
}

} // namespace

void* operator new(std::size_t size)
{
    if (Refuses()) throw std::bad_alloc();
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// The array forms too: a sanitizer's own would otherwise stand beside ours.
void* operator new[](std::size_t size) { return operator new(size); }

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept { return operator new(size, nothrow); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

// What holds stress points wants more alignment than the forms above give.
void* operator new(std::size_t size, std::align_val_t alignment)
{
    if (Refuses()) throw std::bad_alloc();
    const auto bytes = static_cast<std::size_t>(alignment);
    if (void* const memory = std::aligned_alloc(bytes, (size + bytes - 1) / bytes * bytes)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

// What the pool of the matrices takes its blocks by.
extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept
{
    if (Refuses()) return ENOMEM;
    *memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    return *memory == nullptr ? ENOMEM : 0;
}

namespace testing_support {

RoomForAllocations::RoomForAllocations(long count) noexcept { room = count; }

RoomForAllocations::~RoomForAllocations() { room = unlimited; }

OneFailingAllocation::OneFailingAllocation(long before) noexcept
{
    room = before;
    failsOnce = true;
}

OneFailingAllocation::~OneFailingAllocation()
{
    room = unlimited;
    failsOnce = false;
}

} // namespace testing_support
