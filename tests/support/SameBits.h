// SameBits: whether two results are one figure to the last bit. One NaN is as good as another.
//
// Margins and sums are compared by SameBits. Cells and stress points are compared by SameCell, which takes the two
// zeros for one: no figure shows which of them a cell held.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

inline testing::AssertionResult SameBits(double a, double b)
{
    if (std::isnan(a) && std::isnan(b)) return testing::AssertionSuccess();
    if (std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << a << " and " << b;
}

inline testing::AssertionResult SameCell(double a, double b)
{
    if (a == 0.0 && b == 0.0) return testing::AssertionSuccess();
    return SameBits(a, b);
}

/// One figure after the other by `same`.
template <class Same>
testing::AssertionResult SameOneByOne(const std::vector<double>& a, const std::vector<double>& b, Same same)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (auto equal = same(a[i], b[i]); !equal) return equal << " at figure " << i;
    return testing::AssertionSuccess();
}

inline testing::AssertionResult SameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return SameOneByOne(a, b, [](double x, double y) { return SameBits(x, y); });
}

inline testing::AssertionResult SameCells(const std::vector<double>& a, const std::vector<double>& b)
{
    return SameOneByOne(a, b, [](double x, double y) { return SameCell(x, y); });
}
