#include "grids/LazyMemoryPool.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "except.h"

namespace kv7im::auxiliary {

namespace {

constexpr std::size_t TooManyItems = std::size_t{1} << 58;

// Bytes between two block sizes of an octave, which begins at 4096 bytes times 2 to the power of its number.
constexpr std::size_t StepOfOctave(std::size_t octave) noexcept
{
    return (LazyMemoryPool::SmallBytes << octave) / LazyMemoryPool::BulksPerOctave;
}

void* DataOf(MallocedHeader* header) noexcept { return header + 1; }

MallocedHeader* HeaderOf(void* data) noexcept { return static_cast<MallocedHeader*>(data) - 1; }

} // namespace

/// The lists for as long as it lives, unless another thread has them. One call is made at a time, so that it has them
/// nearly always.
class LazyMemoryPool::Use
{
public:
    Use() noexcept : m_has(!inUse.test_and_set(std::memory_order_acquire)) {}
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use()
    {
        if (m_has) inUse.clear(std::memory_order_release);
    }
    [[nodiscard]] bool HasLists() const noexcept { return m_has && !isClosed; }

private:
    bool m_has;
};

/// Empties the lists when the library is unloaded. The lists themselves outlive it.
class LazyMemoryPool::ProcessEnd
{
public:
    constexpr ProcessEnd() noexcept = default;
    ProcessEnd(const ProcessEnd&) = delete;
    ProcessEnd& operator=(const ProcessEnd&) = delete;
    ~ProcessEnd() { Close(); }
};

constinit std::atomic_flag LazyMemoryPool::inUse;
constinit std::array<LazyMemoryPool::List, LazyMemoryPool::BulkCount> LazyMemoryPool::pool = {};
constinit bool LazyMemoryPool::isClosed = false;
constinit const LazyMemoryPool::ProcessEnd LazyMemoryPool::processEnd;
constinit thread_local std::ptrdiff_t LazyMemoryPool::outstanding = 0;
constinit thread_local std::size_t LazyMemoryPool::systemAllocations = 0;

void* LazyMemoryPool::Allocate(std::size_t bytes)
{
    void* data = AllocateUnfilled(bytes);
    std::memset(data, 0, bytes);
    return data;
}

void* LazyMemoryPool::AllocateUnfilled(std::size_t bytes)
{
    MallocedHeader* header = Take(bytes);
    header->next = nullptr;
    ++outstanding;
    return DataOf(header);
}

void LazyMemoryPool::Release(void* data) noexcept
{
    if (data == nullptr) return;
    --outstanding;
    MallocedHeader* header = HeaderOf(data);
    const std::size_t bulk = BulkOf(header->size - 1);
    const Use use;
    if (bulk == BulkCount || !use.HasLists())
        std::free(header);
    else
        Put(header, pool[bulk]);
}

void LazyMemoryPool::Put(MallocedHeader* header, List& list) noexcept
{
    header->next = std::exchange(list.head, header);
    ++list.length;
}

void LazyMemoryPool::MakeSure(std::size_t bytes, std::size_t blocks)
{
    const std::size_t bulk = BulkOf(bytes);
    if (bulk == BulkCount) return;
    const Use use;
    while (use.HasLists() && pool[bulk].length < blocks)
        Put(TakeFromSystem(ObjectSize(bulk)), pool[bulk]);
}

std::size_t LazyMemoryPool::BulkOf(std::size_t bytes) noexcept
{
    if (bytes < SmallBytes) return bytes / BulkStep;
    const auto octave = static_cast<std::size_t>(std::bit_width(bytes / SmallBytes)) - 1;
    if (octave >= Octaves) return BulkCount;
    return SmallBulks + octave * BulksPerOctave + (bytes - (SmallBytes << octave)) / StepOfOctave(octave);
}

std::size_t LazyMemoryPool::ObjectSize(std::size_t bulk) noexcept
{
    if (bulk < SmallBulks) return (bulk + 1) * BulkStep;
    const std::size_t octave = (bulk - SmallBulks) / BulksPerOctave;
    return (SmallBytes << octave) + ((bulk - SmallBulks) % BulksPerOctave + 1) * StepOfOctave(octave);
}

std::size_t LazyMemoryPool::BytesOfItems(std::size_t items)
{
    if (items >= TooManyItems) throw std::bad_array_new_length();
    return items * ItemBytes;
}

/// A block for the request, its size written: from the head of the list, or else from the system.
MallocedHeader* LazyMemoryPool::Take(std::size_t bytes)
{
    const std::size_t bulk = BulkOf(bytes);
    if (MallocedHeader* const free = TakeFromList(bulk); free != nullptr) return free;
    return TakeFromSystem(bulk != BulkCount ? ObjectSize(bulk) : bytes + 1);
}

MallocedHeader* LazyMemoryPool::TakeFromList(std::size_t bulk) noexcept
{
    const Use use;
    if (bulk == BulkCount || !use.HasLists() || pool[bulk].head == nullptr) return nullptr;
    --pool[bulk].length;
    return std::exchange(pool[bulk].head, pool[bulk].head->next);
}

MallocedHeader* LazyMemoryPool::TakeFromSystem(std::size_t objectSize)
{
    void* block = nullptr;
    if (posix_memalign(&block, Alignment, objectSize + sizeof(MallocedHeader)) != 0)
        throw kv7base::CZ9Error(1, KV7_CURRENT_LOCATION).Fmt("Can't allocate new node");
    ++systemAllocations;
    auto* const header = static_cast<MallocedHeader*>(block);
    header->size = objectSize;
    return header;
}

void LazyMemoryPool::FreeLists() noexcept
{
    for (List& list : pool) {
        while (list.head != nullptr)
            std::free(std::exchange(list.head, list.head->next));
        list.length = 0;
    }
}

void LazyMemoryPool::GiveBack() noexcept
{
    const Use use;
    if (use.HasLists()) FreeLists(); // otherwise a thread is at work with them
}

void LazyMemoryPool::Close() noexcept
{
    const Use use;
    if (!use.HasLists()) return;
    isClosed = true;
    FreeLists();
}

std::ptrdiff_t LazyMemoryPool::OutstandingBlocks() noexcept { return outstanding; }

std::size_t LazyMemoryPool::SystemAllocations() noexcept { return systemAllocations; }

std::size_t LazyMemoryPool::FreeBlocks(std::size_t bulk) noexcept { return pool[bulk].length; }

} // namespace kv7im::auxiliary
