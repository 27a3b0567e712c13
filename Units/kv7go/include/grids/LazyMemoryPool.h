// LazyMemoryPool: the recycling storage behind the arrays of the risk engine, one pool for the process.
//
// Why:          recalculating a portfolio makes and drops arrays at a very high rate, always of the same few sizes. A
//               dropped block waits on a free list and is handed out again, so that the steady state never reaches the
//               general heap.
// Shape:        bulks of one block size each. The first 16 go in steps of 256 bytes up to 4096; from there on eight to
//               an octave up to 64 MB, so that no block is more than an eighth too large. What is larger still comes
//               from the system and goes back to it.
// Always true:  the data area of a block is aligned to 64 bytes and stands 64 bytes behind its header.
//               a block may be taken on one thread and released on another: it is back for all of them, so that threads
//               that take turns with one book need no more memory than one thread does.
//               the size of a block tells its bulk.
//               a free list has no upper limit, and it is emptied when the library is unloaded or the process ends.
// Threads:      one word says that the lists are in use. Who finds them so does not wait: that block comes from the
//               system, or goes back to it.
// Process end:  singletons may hold arrays longer than the lists live. Then each block goes straight to the system.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kv7im::auxiliary {

/// What stands in front of every block.
struct MallocedHeader
{
    std::size_t size;          // usable bytes behind the header
    MallocedHeader* next;      // next free block of the list, null while the block is taken
    std::uint64_t reserved[6]; // fills one cache line, so that the data area keeps the alignment
};
static_assert(sizeof(MallocedHeader) == 64);

class LazyMemoryPool
{
public:
    static constexpr std::size_t BulkStep = 256; // bytes between the block sizes of two of the first bulks
    static constexpr std::size_t SmallBulks = 16;
    static constexpr std::size_t SmallBytes = SmallBulks * BulkStep; // largest block of the first bulks
    static constexpr std::size_t BulksPerOctave = 8;
    static constexpr std::size_t Octaves = 14;
    static constexpr std::size_t BulkCount = SmallBulks + Octaves * BulksPerOctave;
    static constexpr std::size_t Alignment = 64; // bytes, of every data area
    static constexpr std::size_t ItemBytes = 32; // one four-lane vector of doubles

    LazyMemoryPool() = delete;

    /// A block of at least `bytes` bytes, the first `bytes` of them zero.
    /// Throws kv7base::CZ9Error with code 1 when the system has no memory left.
    [[nodiscard]] static void* Allocate(std::size_t bytes);

    /// A block of at least `bytes` bytes with undefined content, for a caller that writes every byte. Throws
    /// kv7base::CZ9Error with code 1 when the system has no memory left.
    [[nodiscard]] static void* AllocateUnfilled(std::size_t bytes);

    /// Takes back a block of Allocate or AllocateUnfilled, on any thread. Null is allowed.
    static void Release(void* data) noexcept;

    /// Makes sure that so many requests of `bytes` bytes, or of any that share their bulk, will be served from the
    /// list, so that what needs them cannot fail halfway. It holds until the list is used, and only for a thread that
    /// has its turn; requests beyond the largest bulk always ask the system. Throws kv7base::CZ9Error with code 1.
    static void MakeSure(std::size_t bytes, std::size_t blocks);
    /// Gives all free blocks back to the system, as after the end of a large book.
    static void GiveBack() noexcept;

    /// Bytes of `items` vectors. Throws std::bad_array_new_length from 2^58 items on.
    [[nodiscard]] static std::size_t BytesOfItems(std::size_t items);

    // What tests and diagnostics ask.

    /// Blocks allocated less blocks released on the calling thread. Negative on a thread that gives back what others
    /// took.
    [[nodiscard]] static std::ptrdiff_t OutstandingBlocks() noexcept;
    /// Blocks that the calling thread has asked of the system since it started.
    [[nodiscard]] static std::size_t SystemAllocations() noexcept;
    /// Length of the free list of a bulk, 0 to BulkCount - 1.
    [[nodiscard]] static std::size_t FreeBlocks(std::size_t bulk) noexcept;
    /// Block size of a bulk, 0 to BulkCount - 1, in bytes without the header.
    [[nodiscard]] static std::size_t ObjectSize(std::size_t bulk) noexcept;
    /// The bulk that serves a request, the first one whose blocks are larger than it; BulkCount where none is.
    [[nodiscard]] static std::size_t BulkOf(std::size_t bytes) noexcept;

private:
    class Use;
    class ProcessEnd;
    struct List
    {
        MallocedHeader* head;
        std::size_t length;
    };

    [[nodiscard]] static MallocedHeader* Take(std::size_t bytes);
    [[nodiscard]] static MallocedHeader* TakeFromList(std::size_t bulk) noexcept;
    [[nodiscard]] static MallocedHeader* TakeFromSystem(std::size_t objectSize);
    static void Put(MallocedHeader* header, List& list) noexcept;
    static void FreeLists() noexcept;
    static void Close() noexcept;

    // All of it is constant-initialised and trivially destructible, so that it may be read and written before the first
    // constructor and after the last destructor of the library.
    static constinit std::atomic_flag inUse;           // of the two below
    static constinit std::array<List, BulkCount> pool; // free blocks
    static constinit bool isClosed;                    // the lists are gone for good
    static const ProcessEnd processEnd;

    static thread_local constinit std::ptrdiff_t outstanding;
    static thread_local constinit std::size_t systemAllocations;
};

} // namespace kv7im::auxiliary
