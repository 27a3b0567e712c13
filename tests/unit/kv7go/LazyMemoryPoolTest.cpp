// The recycling pool behind the arrays: block sizes, reuse, threads, the end of the process.
//
// Tests run on threads of their own, because what was asked of the system is counted by thread.

#include "grids/LazyMemoryPool.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "AddressSanitizer.h"
#include "except.h"
#include "grids/RiskMatrix.h"
#include "grids/RiskRow.h"

namespace test::LazyMemoryPoolTest {
namespace {

using kv7im::auxiliary::LazyMemoryPool;
using kv7im::auxiliary::MallocedHeader;

template <class Body>
void OnFreshThread(Body body)
{
    std::thread(body).join();
}

std::vector<std::size_t> AllFreeBlocks()
{
    std::vector<std::size_t> lengths;
    for (std::size_t i = 0; i < LazyMemoryPool::BulkCount; ++i)
        lengths.push_back(LazyMemoryPool::FreeBlocks(i));
    return lengths;
}

const MallocedHeader& HeaderOf(void* data) { return *(static_cast<const MallocedHeader*>(data) - 1); }

TEST(LazyMemoryPool, TheFirst16BulksGoInStepsOf256BytesAndThenEightGoToAnOctave)
{
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(LazyMemoryPool::ObjectSize(i), 256 * (i + 1)) << "bulk " << i;
    EXPECT_EQ(LazyMemoryPool::ObjectSize(16), 4608u); // 4096 + 4096 / 8
    EXPECT_EQ(LazyMemoryPool::ObjectSize(23), 8192u);
    EXPECT_EQ(LazyMemoryPool::ObjectSize(24), 9216u); // 8192 + 8192 / 8
    EXPECT_EQ(LazyMemoryPool::BulkCount, 128u);
    EXPECT_EQ(LazyMemoryPool::ObjectSize(127), std::size_t{64} << 20);
}

TEST(LazyMemoryPool, ARequestFitsItsBulkAndNotTheOneBefore)
{
    for (std::size_t bytes = 0; bytes < std::size_t{64} << 20; bytes += bytes < 20'000 ? 1 : 99'991) {
        const std::size_t bulk = LazyMemoryPool::BulkOf(bytes);
        ASSERT_LT(bulk, LazyMemoryPool::BulkCount) << bytes;
        ASSERT_LT(bytes, LazyMemoryPool::ObjectSize(bulk)) << bytes;
        if (bulk != 0) {
            ASSERT_GE(bytes, LazyMemoryPool::ObjectSize(bulk - 1)) << bytes;
        }
        if (bytes >= 4096) {
            ASSERT_LE(LazyMemoryPool::ObjectSize(bulk), bytes + bytes / 8) << bytes << " bytes: an eighth too large";
        }
        ASSERT_EQ(LazyMemoryPool::BulkOf(LazyMemoryPool::ObjectSize(bulk) - 1), bulk) << "the size tells the bulk";
    }
    EXPECT_EQ(LazyMemoryPool::BulkOf(std::size_t{64} << 20), LazyMemoryPool::BulkCount);
    EXPECT_EQ(LazyMemoryPool::BulkOf(std::numeric_limits<std::size_t>::max()), LazyMemoryPool::BulkCount);
}

TEST(LazyMemoryPool, ARequestGoesToTheBulkOfItsBytesDividedBy256)
{
    struct Case
    {
        std::size_t bytes;
        std::size_t bulk;
        std::size_t size;
    };
    // 255 / 256 = 0, 256 / 256 = 1, ..., 3839 / 256 = 14, 3840 / 256 = 15, 4095 / 256 = 15.
    const Case cases[] = {{0, 0, 256},   {1, 0, 256},      {255, 0, 256},    {256, 1, 512},   {511, 1, 512},
                          {512, 2, 768}, {3839, 14, 3840}, {3840, 15, 4096}, {4095, 15, 4096}};
    for (const Case& c : cases) {
        void* data = LazyMemoryPool::Allocate(c.bytes);
        EXPECT_EQ(HeaderOf(data).size, c.size) << c.bytes << " bytes";
        EXPECT_EQ(HeaderOf(data).next, nullptr) << c.bytes << " bytes";
        const std::vector<std::size_t> before = AllFreeBlocks();
        LazyMemoryPool::Release(data);
        const std::vector<std::size_t> after = AllFreeBlocks();
        for (std::size_t i = 0; i < LazyMemoryPool::BulkCount; ++i)
            EXPECT_EQ(after[i] - before[i], i == c.bulk ? 1u : 0u) << c.bytes << " bytes, bulk " << i;
    }
}

TEST(LazyMemoryPool, DataIsAlignedTo64BytesAndZeroEvenInAUsedBlock)
{
    OnFreshThread([] {
        for (const std::size_t bytes : {std::size_t{32}, std::size_t{300}, std::size_t{4095}, std::size_t{5000}}) {
            void* used = LazyMemoryPool::Allocate(bytes);
            std::memset(used, 0xA5, bytes);
            LazyMemoryPool::Release(used);

            void* again = LazyMemoryPool::Allocate(bytes);
            EXPECT_EQ(again, used) << "a free block is handed out before the system is asked";
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(again) % 64, 0u);
            const std::vector<unsigned char> zeros(bytes, 0);
            EXPECT_EQ(std::memcmp(again, zeros.data(), bytes), 0) << bytes << " bytes";
            LazyMemoryPool::Release(again);
        }
    });
}

// One wide option asks for blocks of hundreds of kilobytes; what every client asks for stays as it was.
TEST(LazyMemoryPool, OneLargeRequestMakesNoOtherBlockLarger)
{
    OnFreshThread([] {
        void* wide = LazyMemoryPool::Allocate(433'000);
        void* cells = LazyMemoryPool::Allocate(11'808); // 161 points, nine rows
        EXPECT_EQ(HeaderOf(cells).size, 12'288u);       // 8192 + 4 * 1024
        EXPECT_EQ(HeaderOf(wide).size, 458'752u);       // 262144 + 6 * 32768
        void* row = LazyMemoryPool::Allocate(1'312);
        EXPECT_EQ(HeaderOf(row).size, 1'536u);
        for (void* block : {wide, cells, row})
            LazyMemoryPool::Release(block);
        void* again = LazyMemoryPool::Allocate(11'900);
        EXPECT_EQ(again, cells);
        LazyMemoryPool::Release(again);
    });
}

TEST(LazyMemoryPool, WhatIsLargerThanTheLargestBulkGoesBackToTheSystem)
{
    OnFreshThread([] {
        const std::size_t bytes = std::size_t{64} << 20;
        for (std::size_t i = 1; i <= 3; ++i) {
            void* data = LazyMemoryPool::AllocateUnfilled(bytes);
            EXPECT_EQ(HeaderOf(data).size, bytes + 1);
            LazyMemoryPool::Release(data);
            EXPECT_EQ(LazyMemoryPool::SystemAllocations(), i);
        }
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
    });
}

TEST(LazyMemoryPool, ASizeThatTheSystemRefusesLeavesThePoolAsItWas)
{
    if (addressSanitizerWatches) GTEST_SKIP() << "the sanitizer's allocator ends the process at such a size";
    OnFreshThread([] {
        const std::size_t hopeless = std::size_t{1} << 62;
        try {
            static_cast<void>(LazyMemoryPool::Allocate(hopeless));
            FAIL() << "no machine has that much memory";
        } catch (const kv7base::CZ9Error& error) {
            EXPECT_EQ(error.GetCode(), 1);
            EXPECT_NE(std::string(error.what()).find("Can't allocate new node"), std::string::npos) << error.what();
        }
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
        void* ordinary = LazyMemoryPool::Allocate(5000);
        EXPECT_EQ(HeaderOf(ordinary).size, 5120u); // 4096 + 2 * 512
        LazyMemoryPool::Release(ordinary);
    });
}

TEST(LazyMemoryPool, TwoToThe58VectorsAreABadArrayLength)
{
    const std::size_t tooMany = std::size_t{1} << 58;
    EXPECT_THROW(static_cast<void>(LazyMemoryPool::BytesOfItems(tooMany)), std::bad_array_new_length);
    EXPECT_EQ(LazyMemoryPool::BytesOfItems(tooMany - 1), (tooMany - 1) * 32);
    EXPECT_THROW(kv7im::avxarray(tooMany * 4), std::bad_array_new_length);
    EXPECT_THROW(kv7im::avxarray{std::numeric_limits<std::size_t>::max()}, std::bad_array_new_length);
    EXPECT_THROW(kv7im::RiskMatrix(tooMany * 4, 1, false), std::bad_array_new_length);
    EXPECT_THROW(kv7im::RiskMatrix(std::numeric_limits<std::size_t>::max(), 1000, false), std::bad_array_new_length);
}

TEST(LazyMemoryPool, ReleasingNothingIsAllowed)
{
    OnFreshThread([] {
        LazyMemoryPool::Release(nullptr);
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
    });
}

TEST(LazyMemoryPool, ABlockReleasedElsewhereIsBackForAllThreads)
{
    for (const std::size_t bytes : {std::size_t{100}, std::size_t{10'000}}) {
        const std::size_t bulk = LazyMemoryPool::BulkOf(bytes);
        void* travelling = LazyMemoryPool::Allocate(bytes);
        const std::size_t free = LazyMemoryPool::FreeBlocks(bulk);
        OnFreshThread([travelling] {
            LazyMemoryPool::Release(travelling);
            EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), -1) << "it gave back what another thread took";
        });
        EXPECT_EQ(LazyMemoryPool::FreeBlocks(bulk), free + 1) << "the end of a thread takes nothing along";
        OnFreshThread([travelling, bytes] {
            void* reused = LazyMemoryPool::Allocate(bytes + 50);
            EXPECT_EQ(reused, travelling);
            EXPECT_EQ(LazyMemoryPool::SystemAllocations(), 0u);
            LazyMemoryPool::Release(reused);
        });
    }
}

TEST(LazyMemoryPool, ThreadsThatTakeTurnsNeedNoMoreThanOne)
{
    std::vector<void*> blocks;
    const auto takeAll = [&blocks] {
        for (std::size_t i = 0; i < 100; ++i)
            blocks.push_back(LazyMemoryPool::AllocateUnfilled(200 * i));
    };
    const auto releaseAll = [&blocks] {
        for (void* block : std::exchange(blocks, {}))
            LazyMemoryPool::Release(block);
    };
    OnFreshThread(takeAll);
    OnFreshThread(releaseAll);
    for (int round = 0; round < 100; ++round) {
        OnFreshThread([&] {
            takeAll();
            EXPECT_EQ(LazyMemoryPool::SystemAllocations(), 0u) << "round " << round;
        });
        OnFreshThread(releaseAll);
    }
}

TEST(LazyMemoryPool, ThreadsThatDoNotTakeTurnsHaveBlocksOfTheirOwn)
{
    const auto work = [](unsigned char pattern) {
        for (std::size_t step = 0; step < 20'000; ++step) {
            const std::size_t bytes = 100 + step % 7 * 300;
            auto* data = static_cast<unsigned char*>(LazyMemoryPool::AllocateUnfilled(bytes));
            std::memset(data, pattern, bytes);
            const bool isOurs = std::all_of(data, data + bytes, [=](unsigned char byte) { return byte == pattern; });
            LazyMemoryPool::Release(data);
            ASSERT_TRUE(isOurs) << "step " << step;
        }
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
    };
    std::vector<std::thread> threads;
    for (unsigned char pattern = 1; pattern <= 4; ++pattern)
        threads.emplace_back(work, pattern);
    for (std::thread& thread : threads)
        thread.join();
}

/// Made before the lists are, so that it dies after them, as a singleton of a real program may.
struct Straggler
{
    Straggler() = default;
    Straggler(const Straggler&) = delete;
    Straggler& operator=(const Straggler&) = delete;
    ~Straggler()
    {
        if (kept == nullptr) return;
        LazyMemoryPool::Release(kept); // straight to the system
        const bool listIsEmpty = LazyMemoryPool::FreeBlocks(0) == 0;
        void* late = LazyMemoryPool::Allocate(100); // straight from the system
        const bool lateBlockIsZero = static_cast<const unsigned char*>(late)[99] == 0;
        LazyMemoryPool::Release(late);
        if (!listIsEmpty || !lateBlockIsZero || LazyMemoryPool::FreeBlocks(0) != 0) std::_Exit(1);
    }
    void* kept = nullptr;
};
[[gnu::init_priority(101)]] Straggler straggler;

TEST(LazyMemoryPool, WorksOnAfterItsListsWereEmptied)
{
    // A use of a dead list would crash or be reported by the sanitizers.
    EXPECT_EXIT(
        {
            straggler.kept = LazyMemoryPool::Allocate(100);
            LazyMemoryPool::Release(LazyMemoryPool::Allocate(100));
            std::exit(LazyMemoryPool::FreeBlocks(0) == 0 ? 2 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(LazyMemoryPool, NobodyWritesOverAnybodyAndAllComesHome)
{
    OnFreshThread([] {
        struct Taken
        {
            unsigned char* data;
            std::size_t bytes;
            unsigned char pattern;
        };
        std::mt19937 random(20260101);
        std::vector<Taken> taken;
        for (int step = 0; step < 5000; ++step) {
            if (taken.empty() || random() % 2 == 0) {
                const std::size_t bytes = 32 * (random() % 200);
                const auto pattern = static_cast<unsigned char>(random());
                auto* data = static_cast<unsigned char*>(LazyMemoryPool::Allocate(bytes));
                std::memset(data, pattern, bytes);
                taken.push_back({data, bytes, pattern});
                continue;
            }
            std::swap(taken[random() % taken.size()], taken.back());
            const Taken last = taken.back();
            taken.pop_back();
            for (std::size_t i = 0; i < last.bytes; ++i)
                ASSERT_EQ(last.data[i], last.pattern) << "step " << step << ", byte " << i;
            LazyMemoryPool::Release(last.data);
        }
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), static_cast<std::ptrdiff_t>(taken.size()));
        for (const Taken& rest : taken)
            LazyMemoryPool::Release(rest.data);
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
    });
}

TEST(LazyMemoryPool, TheSteadyStateAsksTheSystemForNothing)
{
    OnFreshThread([] {
        const auto work = [] {
            kv7im::RiskMatrix a(11, 3, true);
            kv7im::RiskMatrix b(a);
            b += a;
            kv7im::avxarray row(11);
            kv7im::avxarray other = kv7im::min(row, row);
            other += row;
            a = b;
        };
        work();
        const std::size_t before = LazyMemoryPool::SystemAllocations();
        EXPECT_GT(LazyMemoryPool::FreeBlocks(0), 0u) << "the arrays went through the pool";
        for (int i = 0; i < 1000; ++i)
            work();
        EXPECT_EQ(LazyMemoryPool::SystemAllocations(), before);
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), 0);
    });
}

} // namespace
} // namespace test::LazyMemoryPoolTest
