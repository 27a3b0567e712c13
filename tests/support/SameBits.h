// SameBits: whether two results are one figure to the last bit. One NaN is as good as another.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

inline testing::AssertionResult SameBits(double a, double b)
{
    if (std::isnan(a) && std::isnan(b)) return testing::AssertionSuccess();
    if (std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << a << " and " << b;
}
