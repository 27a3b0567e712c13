// The bindings of columns to real price points.

#include "grids/RiskMatrix.h"

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

namespace test::BindsRowTest {
namespace {

using kv7im::BindsRow;
using Targets = std::vector<std::size_t>;

TEST(BindsRow, ANewTableHasNoColumns)
{
    const BindsRow binds;
    EXPECT_EQ(binds.rollupedSize, 0u);
    EXPECT_EQ(binds.size, 0u);
    EXPECT_TRUE(binds.binding.empty());
}

TEST(BindsRow, ResizeMakesRoomForRealPointsAndSubPointsBoundToPointZero)
{
    BindsRow binds;
    binds.Resize(3, 2);
    EXPECT_EQ(binds.rollupedSize, 3u);
    EXPECT_EQ(binds.size, 5u);
    EXPECT_EQ(binds.binding, (Targets{0, 0, 0, 0, 0}));
}

TEST(BindsRow, ResizeKeepsEarlierTargetsAndZeroesNewOnes)
{
    BindsRow binds;
    binds.Resize(2, 1);
    binds.BindPoint(1, 1);
    binds.BindPoint(2, 1);
    binds.Resize(3, 2);
    EXPECT_EQ(binds.binding, (Targets{0, 1, 1, 0, 0}));
    binds.Resize(1, 1);
    EXPECT_EQ(binds.binding, (Targets{0, 1}));
    EXPECT_EQ(binds.rollupedSize, 1u);
    EXPECT_EQ(binds.size, 2u);
}

TEST(BindsRow, BindPointIgnoresAColumnBeyondTheTable)
{
    BindsRow binds;
    binds.Resize(2, 1);
    binds.BindPoint(2, 1);
    binds.BindPoint(3, 1);
    binds.BindPoint(static_cast<std::size_t>(-1), 1);
    EXPECT_EQ(binds.binding, (Targets{0, 0, 1}));
}

TEST(BindsRow, AlignBindsRowAddsABlockBeyondTheWholeBlocks)
{
    struct Case
    {
        std::size_t size;
        std::size_t length;
    };
    // (ceil(size / 4) + 1) * 4
    const Case cases[] = {{1, 8}, {3, 8}, {4, 8}, {5, 12}, {8, 12}, {9, 16}, {17, 24}};
    for (const Case& c : cases) {
        BindsRow binds;
        binds.Resize(c.size, 0);
        binds.BindPoint(c.size - 1, 7);
        binds.AlignBindsRow();
        ASSERT_EQ(binds.binding.size(), c.length) << c.size;
        EXPECT_EQ(binds.binding[c.size - 1], 7u) << c.size;
        for (std::size_t column = c.size; column < c.length; ++column)
            EXPECT_EQ(binds.binding[column], 0u) << c.size << ", column " << column;
        EXPECT_EQ(binds.rollupedSize, c.size);
        EXPECT_EQ(binds.size, c.size);
    }
}

TEST(BindsRow, AlignBindsRowCutsOffWhatIsBeyondTheAlignedLength)
{
    BindsRow binds;
    binds.Resize(4, 0);
    binds.binding.resize(40, 9);
    binds.AlignBindsRow();
    EXPECT_EQ(binds.binding.size(), 8u);
}

TEST(BindsRow, AlignBindsRowOfNoColumnsDoesNothing)
{
    BindsRow binds;
    binds.AlignBindsRow();
    EXPECT_TRUE(binds.binding.empty());
}

TEST(BindsRow, AnAlignedTableCanBeResizedAgain)
{
    BindsRow binds;
    binds.Resize(3, 2);
    binds.BindPoint(4, 2);
    binds.AlignBindsRow();
    binds.Resize(3, 2);
    EXPECT_EQ(binds.size, 5u);
    EXPECT_EQ(binds.binding, (Targets{0, 0, 0, 0, 2}));
}

} // namespace
} // namespace test::BindsRowTest
