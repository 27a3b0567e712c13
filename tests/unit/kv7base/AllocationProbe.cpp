#include "AllocationProbe.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

thread_local std::size_t allocations = 0;
thread_local std::size_t allocatedBytes = 0;
thread_local std::size_t failFrom = never;

} // namespace

void* operator new(std::size_t size)
{
    if (size >= failFrom) throw std::bad_alloc();
    ++allocations;
    allocatedBytes += size;
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
    if (size >= failFrom) throw std::bad_alloc();
    ++allocations;
    allocatedBytes += size;
    const auto bytes = static_cast<std::size_t>(alignment);
    if (void* const memory = std::aligned_alloc(bytes, (size + bytes - 1) / bytes * bytes)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace testing_support {

AllocationProbe::AllocationProbe() noexcept : m_countAtStart(allocations), m_bytesAtStart(allocatedBytes) {}

std::size_t AllocationProbe::Count() const noexcept { return allocations - m_countAtStart; }

std::size_t AllocationProbe::Bytes() const noexcept { return allocatedBytes - m_bytesAtStart; }

LargeAllocationsFail::LargeAllocationsFail(std::size_t bytes) noexcept { failFrom = bytes; }

LargeAllocationsFail::~LargeAllocationsFail() { failFrom = never; }

} // namespace testing_support
