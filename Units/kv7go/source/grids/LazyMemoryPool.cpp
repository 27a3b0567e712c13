#include "grids/LazyMemoryPool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "except.h"

namespace kv7im::auxiliary {

namespace {

constexpr std::size_t LargestBulk = LazyMemoryPool::BulkCount - 1;
constexpr std::size_t LargestSmallRequest =
    4095; // bytes; above it the block size of the largest bulk follows the request
constexpr std::size_t TooManyItems = std::size_t{1} << 58;

constexpr std::array<MemoryBulk, LazyMemoryPool::BulkCount> EmptyBulks() noexcept
{
    std::array<MemoryBulk, LazyMemoryPool::BulkCount> bulks{};
    for (std::size_t i = 0; i < bulks.size(); ++i)
        bulks[i] = MemoryBulk{nullptr, LazyMemoryPool::BulkStep * (i + 1)};
    return bulks;
}

/// Block size for a request that is larger than the small ones: the next step above it.
constexpr std::size_t LargeObjectSize(std::size_t bytes) noexcept
{
    return (bytes / LazyMemoryPool::BulkStep + 1) * LazyMemoryPool::BulkStep;
}

void* DataOf(MallocedHeader* header) noexcept { return header + 1; }

MallocedHeader* HeaderOf(void* data) noexcept { return static_cast<MallocedHeader*>(data) - 1; }

} // namespace

constinit thread_local std::array<MemoryBulk, LazyMemoryPool::BulkCount> LazyMemoryPool::pool = EmptyBulks();
constinit thread_local LazyMemoryPool::Stage LazyMemoryPool::stage = LazyMemoryPool::Stage::Untouched;
constinit thread_local std::ptrdiff_t LazyMemoryPool::outstanding = 0;
constinit thread_local std::size_t LazyMemoryPool::systemAllocations = 0;

/// Empties the lists when its thread ends. The lists themselves outlive it.
class LazyMemoryPool::ThreadEnd
{
public:
    ThreadEnd() noexcept = default;
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;
    ~ThreadEnd() { Close(); }
};

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
    if (stage == Stage::Untouched) Open();
    MallocedHeader* header = HeaderOf(data);
    MemoryBulk& bulk = pool[std::min(header->size / BulkStep - 1, LargestBulk)];
    // A block left smaller by a later raise of the largest bulk cannot serve its list any more.
    if (stage == Stage::Closed || header->size < bulk.objectSize) {
        std::free(header);
        return;
    }
    header->next = bulk.pool;
    bulk.pool = header;
}

std::size_t LazyMemoryPool::BytesOfItems(std::size_t items)
{
    if (items >= TooManyItems) throw std::bad_array_new_length();
    return items * ItemBytes;
}

/// A block for the request, its size written: from the head of the list, or else from the system.
MallocedHeader* LazyMemoryPool::Take(std::size_t bytes)
{
    if (stage == Stage::Untouched) Open();
    MemoryBulk& bulk = pool[std::min(bytes / BulkStep, LargestBulk)];
    const std::size_t sizeBefore = bulk.objectSize;
    if (bytes > LargestSmallRequest) RaiseLargestBulk(LargeObjectSize(bytes));

    MallocedHeader* header = bulk.pool;
    if (header != nullptr) {
        bulk.pool = header->next;
    } else if ((header = TakeFromSystem(bulk.objectSize)) == nullptr) {
        // A size that the system cannot give must not become the size of every large block of this thread.
        bulk.objectSize = sizeBefore;
        throw kv7base::CZ9Error(1, KV7_CURRENT_LOCATION).Fmt("Can't allocate new node");
    }
    header->size = bulk.objectSize;
    return header;
}

MallocedHeader* LazyMemoryPool::TakeFromSystem(std::size_t objectSize) noexcept
{
    void* block = nullptr;
    if (posix_memalign(&block, Alignment, objectSize + sizeof(MallocedHeader)) != 0) return nullptr;
    ++systemAllocations;
    return static_cast<MallocedHeader*>(block);
}

void LazyMemoryPool::RaiseLargestBulk(std::size_t objectSize) noexcept
{
    MemoryBulk& bulk = pool[LargestBulk];
    if (objectSize <= bulk.objectSize) return;
    FreeList(bulk);
    bulk.objectSize = objectSize;
}

void LazyMemoryPool::FreeList(MemoryBulk& bulk) noexcept
{
    while (bulk.pool != nullptr) {
        MallocedHeader* header = bulk.pool;
        bulk.pool = header->next;
        std::free(header);
    }
}

void LazyMemoryPool::Open() noexcept
{
    // Its construction registers the end of this thread. It owns nothing: the lists that it empties stand beside it.
    static thread_local const ThreadEnd guard;
    static_cast<void>(guard);
    stage = Stage::Open;
}

void LazyMemoryPool::Close() noexcept
{
    stage = Stage::Closed;
    for (std::size_t i = BulkCount; i-- > 0;)
        FreeList(pool[i]);
}

std::ptrdiff_t LazyMemoryPool::OutstandingBlocks() noexcept { return outstanding; }

std::size_t LazyMemoryPool::SystemAllocations() noexcept { return systemAllocations; }

std::size_t LazyMemoryPool::FreeBlocks(std::size_t bulk) noexcept
{
    std::size_t count = 0;
    for (const MallocedHeader* header = pool[bulk].pool; header != nullptr; header = header->next)
        ++count;
    return count;
}

std::size_t LazyMemoryPool::ObjectSize(std::size_t bulk) noexcept { return pool[bulk].objectSize; }

} // namespace kv7im::auxiliary
