#include "grids/WindowMinimum.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace test::WindowMinimumTest {
namespace {

using kv7im::RiskRow;
using kv7im::WindowMinimum;

std::vector<double> Plainly(const std::vector<double>& row, std::size_t window)
{
    std::vector<double> result(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t from = i > window ? i - window : 0;
        const std::size_t to = std::min(i + window, row.size() - 1);
        result[i] = *std::min_element(row.begin() + static_cast<std::ptrdiff_t>(from),
                                      row.begin() + static_cast<std::ptrdiff_t>(to) + 1);
    }
    return result;
}

RiskRow MakeRow(const std::vector<double>& values)
{
    RiskRow row(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        row[i] = values[i];
    return row;
}

std::vector<double> ValuesOf(const RiskRow& row)
{
    std::vector<double> values(row.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = row[i];
    return values;
}

TEST(WindowMinimum, AWindowOfZeroLeavesTheRow)
{
    RiskRow row = MakeRow({3.0, -1.0, 2.0});
    WindowMinimum().Apply(row, 0);
    EXPECT_EQ(ValuesOf(row), (std::vector<double>{3.0, -1.0, 2.0}));
}

TEST(WindowMinimum, ANearbyWorsePointCountsOnBothSides)
{
    RiskRow row = MakeRow({5.0, 4.0, -7.0, 4.0, 5.0, 6.0});
    WindowMinimum().Apply(row, 1);
    EXPECT_EQ(ValuesOf(row), (std::vector<double>{4.0, -7.0, -7.0, -7.0, 4.0, 5.0}));
}

TEST(WindowMinimum, AnEmptyRowStaysEmpty)
{
    RiskRow row(0);
    WindowMinimum().Apply(row, 3);
    EXPECT_EQ(row.size(), 0U);
}

TEST(WindowMinimum, EqualsThePlainWindowForEveryLengthAndDistance)
{
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> value(-100.0, 100.0);
    WindowMinimum windowMinimum; // one object for all: its scratch space grows and shrinks
    for (std::size_t size = 1; size <= 17; ++size)
        for (std::size_t window = 0; window <= size + 2; ++window) {
            std::vector<double> values(size);
            for (double& v : values)
                v = value(random);
            RiskRow row = MakeRow(values);
            windowMinimum.Apply(row, window);
            EXPECT_EQ(ValuesOf(row), Plainly(values, window)) << "size " << size << " window " << window;
        }
}

} // namespace
} // namespace test::WindowMinimumTest
