#include "valuation/GridMemory.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <new>

#include <sys/mman.h>

#include "grids/RiskItem.h"

namespace kv7im {

namespace {

constexpr std::size_t Unit = sizeof(RiskItem); // sizes are multiples of it
constexpr std::align_val_t UnitAlignment{alignof(RiskItem)};
constexpr std::align_val_t RegionAlignment{GridMemory::RegionBytes};

/// Begins every region. The region of a block is found by the block's address.
struct alignas(RiskItem) Region
{
    std::size_t taken; // blocks that have not come back
    std::size_t used;  // bytes from the start of the region, this header included
};

/// What stands in a block that has come back.
struct FreeBlock
{
    std::size_t bytes;
    FreeBlock* next;
    FreeBlock* previous; // null for the first of its list
};
static_assert(sizeof(FreeBlock) <= Unit);

// All of it is constant-initialised and trivially destructible.
constinit std::mutex access;
constinit Region* inFilling = nullptr;
constinit std::size_t regions = 0;
constinit bool isClosed = false;                                                    // the library is being unloaded
constinit std::array<FreeBlock*, GridMemory::LargestBlock / Unit + 1> freeBlocks{}; // by size

constexpr std::size_t RoundedUp(std::size_t bytes) noexcept
{
    return bytes == 0 ? Unit : (bytes + Unit - 1) / Unit * Unit;
}

FreeBlock*& FirstOf(std::size_t bytes) noexcept { return freeBlocks[bytes / Unit]; }

std::byte* At(Region* region, std::size_t offset) noexcept { return reinterpret_cast<std::byte*>(region) + offset; }

Region* RegionOf(void* block) noexcept
{
    return reinterpret_cast<Region*>(reinterpret_cast<std::uintptr_t>(block) & ~(GridMemory::RegionBytes - 1));
}

void Link(void* memory, std::size_t bytes) noexcept
{
    FreeBlock*& first = FirstOf(bytes);
    FreeBlock* const block = ::new (memory) FreeBlock{bytes, first, nullptr};
    if (first != nullptr) first->previous = block;
    first = block;
}

void Unlink(FreeBlock* block) noexcept
{
    (block->previous != nullptr ? block->previous->next : FirstOf(block->bytes)) = block->next;
    if (block->next != nullptr) block->next->previous = block->previous;
}

void StartRegion()
{
    void* const memory = ::operator new(GridMemory::RegionBytes, RegionAlignment);
    // A system without huge pages gives small ones, and nothing but time tells.
    if (regions > 0) static_cast<void>(::madvise(memory, GridMemory::RegionBytes, MADV_HUGEPAGE));
    inFilling = ::new (memory) Region{.taken = 0, .used = sizeof(Region)};
    ++regions;
}

/// Gives a region back that holds no block. The one in filling stays until the library is unloaded.
void GiveBack(Region* region) noexcept
{
    if (region == inFilling) {
        if (!isClosed) return;
        inFilling = nullptr;
    }
    ::operator delete(region, RegionAlignment);
    --regions;
}

/// Takes the blocks of a region, all of which have come back, from their lists, and gives it back.
void Empty(Region* region) noexcept
{
    for (std::size_t offset = sizeof(Region); offset < region->used;) {
        auto* const block = reinterpret_cast<FreeBlock*>(At(region, offset));
        offset += block->bytes;
        Unlink(block);
    }
    region->used = sizeof(Region);
    GiveBack(region);
}

/// Gives the region in filling back when the library is unloaded, or leaves it to the last block that comes back.
struct ProcessEnd
{
    constexpr ProcessEnd() noexcept = default;
    ProcessEnd(const ProcessEnd&) = delete;
    ProcessEnd& operator=(const ProcessEnd&) = delete;
    ~ProcessEnd()
    {
        const std::lock_guard lock(access);
        isClosed = true;
        if (inFilling != nullptr && inFilling->taken == 0) GiveBack(inFilling);
    }
};
constinit const ProcessEnd processEnd;

} // namespace

void* GridMemory::Take(std::size_t bytes)
{
    const std::size_t rounded = RoundedUp(bytes);
    if (rounded > LargestBlock) return ::operator new(rounded, UnitAlignment);
    const std::lock_guard lock(access);
    void* block = FirstOf(rounded);
    if (block != nullptr) {
        Unlink(FirstOf(rounded));
    } else {
        if (inFilling == nullptr || inFilling->used + rounded > RegionBytes) StartRegion();
        block = At(inFilling, inFilling->used);
        inFilling->used += rounded;
    }
    ++RegionOf(block)->taken;
    return block;
}

void GridMemory::Return(void* block, std::size_t bytes) noexcept
{
    const std::size_t rounded = RoundedUp(bytes);
    if (rounded > LargestBlock) {
        ::operator delete(block, UnitAlignment);
        return;
    }
    const std::lock_guard lock(access);
    Link(block, rounded);
    Region* const region = RegionOf(block);
    if (--region->taken == 0) Empty(region);
}

std::size_t GridMemory::RegionsCount()
{
    const std::lock_guard lock(access);
    return regions;
}

} // namespace kv7im
