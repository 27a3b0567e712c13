// The memory of option values: blocks do not overlap, come back and are handed out again, and regions go to the system.
#include "valuation/GridMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "FailingAllocations.h"

namespace test::GridMemoryTest {
namespace {

using kv7im::GridMemory;

/// A block that is filled with one byte.
class Block
{
public:
    Block(std::size_t bytes, unsigned char pattern)
        : m_memory(static_cast<unsigned char*>(GridMemory::Take(bytes))), m_bytes(bytes), m_pattern(pattern)
    {
        std::memset(m_memory, pattern, bytes);
    }
    Block(Block&& other) noexcept { *this = std::move(other); }
    Block& operator=(Block&& other) noexcept
    {
        std::swap(m_memory, other.m_memory);
        std::swap(m_bytes, other.m_bytes);
        std::swap(m_pattern, other.m_pattern);
        return *this;
    }
    ~Block()
    {
        if (m_memory != nullptr) GridMemory::Return(m_memory, m_bytes);
    }

    [[nodiscard]] bool IsWhole() const
    {
        return std::all_of(m_memory, m_memory + m_bytes, [&](unsigned char byte) { return byte == m_pattern; });
    }
    [[nodiscard]] void* Address() const { return m_memory; }

private:
    unsigned char* m_memory = nullptr;
    std::size_t m_bytes = 0;
    unsigned char m_pattern = 0;
};

TEST(GridMemory, NoBlockWritesOverAnotherAndAllRegionsButOneComeHome)
{
    std::mt19937 random(42);
    {
        std::vector<Block> blocks;
        for (int step = 0; step < 20'000; ++step) {
            // Few sizes, as in a market, so that what came back is handed out again; some are larger than a region has.
            const std::size_t sizes[] = {1, 32, 96, 7968, 8000, 32'768, 32'769, 200'000};
            if (blocks.empty() || random() % 5 != 0) {
                blocks.emplace_back(sizes[random() % 5 + (random() % 50 == 0 ? 3 : 0)],
                                    static_cast<unsigned char>(random()));
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(blocks.back().Address()) % 32, 0u);
            } else {
                std::swap(blocks[random() % blocks.size()], blocks.back());
                ASSERT_TRUE(blocks.back().IsWhole()) << "step " << step;
                blocks.pop_back();
            }
        }
        for (const Block& block : blocks)
            ASSERT_TRUE(block.IsWhole());
        EXPECT_GT(GridMemory::RegionsCount(),
                  10u); // some 6,000 blocks each of 7,968 and 8,000 bytes, hardly a fifth back
    }
    EXPECT_EQ(GridMemory::RegionsCount(), 1u);
}

TEST(GridMemory, ABlockThatCameBackServesTheNextRequestOfItsSize)
{
    const Block other(7968, 1); // keeps the region
    void* const first = Block(7968, 2).Address();
    EXPECT_NE(Block(8000, 3).Address(), first);
    EXPECT_EQ(Block(7950, 4).Address(), first); // 7,950 bytes and 7,968 take 249 vectors alike
}

TEST(GridMemory, ALargeBlockStandsInNoRegion)
{
    const Block small(32, 0);
    const std::size_t regions = GridMemory::RegionsCount();
    const std::vector<Block> large = [] {
        std::vector<Block> blocks;
        for (int i = 0; i < 100; ++i)
            blocks.emplace_back(GridMemory::LargestBlock + 1, static_cast<unsigned char>(i));
        return blocks;
    }();
    EXPECT_EQ(GridMemory::RegionsCount(), regions);
}

TEST(GridMemory, ThreadsTakeAndReturnBlocksOfEachOther)
{
    std::vector<Block> blocks;
    std::thread([&] {
        for (int i = 0; i < 1000; ++i)
            blocks.emplace_back(7968, static_cast<unsigned char>(i));
    }).join();
    std::thread other([] {
        for (int i = 0; i < 1000; ++i)
            EXPECT_TRUE(Block(7968, static_cast<unsigned char>(i)).IsWhole());
    });
    for (const Block& block : blocks)
        EXPECT_TRUE(block.IsWhole());
    blocks.clear();
    other.join();
    EXPECT_EQ(GridMemory::RegionsCount(), 1u);
}

TEST(GridMemory, WithoutMemoryForARegionNothingIsTaken)
{
    std::vector<Block> blocks;
    blocks.emplace_back(7968, 1);
    blocks.reserve(1000);
    const std::size_t regions = GridMemory::RegionsCount();
    {
        const testing_support::RoomForAllocations none(0);
        EXPECT_THROW(while (true) blocks.emplace_back(7968, 2),
                     std::bad_alloc); // 263 fit into the region that is there
    }
    EXPECT_LT(blocks.size(), 264u);
    EXPECT_EQ(GridMemory::RegionsCount(), regions);
    blocks.emplace_back(7968, 3);
    EXPECT_EQ(GridMemory::RegionsCount(), regions + 1);
}

} // namespace
} // namespace test::GridMemoryTest
