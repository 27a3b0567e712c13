// RiskItem: four neighbouring cells of a scenario grid in one 256-bit vector, and the lane operations on it.
//
// Vector instructions stand here and in the kernel of option valuation alone. All else is arithmetic on whole
// RiskItems, the unused lanes of the last one included, so no loop has a tail.
//
// Numbers:   whatever the array holds, prices or money. A lane without a cell (padding) holds NaN.
// NaN:       sums and products with NaN are NaN: padding stays padding. Min and Max answer with their SECOND operand
//            when either one is NaN (the rule of minpd and maxpd), so the order of operands decides whether a NaN
//            survives: Min(bound, cell) keeps a NaN cell, Min(cell, best) passes over it.
// Zeros:     the second operand also wins between +0.0 and -0.0.
#pragma once

#include <cmath>
#include <cstddef>
#include <immintrin.h>
#include <limits>

namespace kv7im {

/// The engine is written for 256-bit vectors of doubles and built for nothing else.
[[nodiscard]] constexpr bool isUseAVX() noexcept { return true; }
[[nodiscard]] constexpr bool isUseAVX512() noexcept { return false; }

struct alignas(32) RiskItem
{
    static constexpr std::size_t Lanes = 4;

    RiskItem() = default; ///< Content undefined.
    /// All four lanes hold `scalar`.
    RiskItem(double scalar) noexcept : value(_mm256_set1_pd(scalar)) {}
    RiskItem(__m256d vector) noexcept : value(vector) {}

    /// Cell of one lane, 0 to 3.
    [[nodiscard]] double& operator[](std::size_t lane) noexcept { return reinterpret_cast<double*>(&value)[lane]; }
    [[nodiscard]] double operator[](std::size_t lane) const noexcept
    {
        return reinterpret_cast<const double*>(&value)[lane];
    }

    __m256d value;
};
static_assert(sizeof(RiskItem) == 32);

/// Starting value of every running minimum: the largest finite double, which no result reaches.
inline constexpr double LargestFinite = std::numeric_limits<double>::max();
/// Starting value of a running maximum: the smallest positive normalised double, 2.2250738585072014e-308.
inline constexpr double SmallestPositive = std::numeric_limits<double>::min();

/// Four neighbouring cells from any place in an array, and back to it.
[[nodiscard]] inline RiskItem LoadFrom(const double* cells) noexcept { return _mm256_loadu_pd(cells); }
inline void StoreTo(double* cells, RiskItem item) noexcept { _mm256_storeu_pd(cells, item.value); }

/// RiskItems that hold `cells` doubles: the quotient rounded up.
[[nodiscard]] constexpr std::size_t RegistersOf(std::size_t cells) noexcept
{
    return cells / RiskItem::Lanes + (cells % RiskItem::Lanes != 0 ? 1 : 0);
}

[[nodiscard]] inline RiskItem Add(RiskItem a, RiskItem b) noexcept { return _mm256_add_pd(a.value, b.value); }
[[nodiscard]] inline RiskItem Sub(RiskItem a, RiskItem b) noexcept { return _mm256_sub_pd(a.value, b.value); }
[[nodiscard]] inline RiskItem Mul(RiskItem a, RiskItem b) noexcept { return _mm256_mul_pd(a.value, b.value); }

/// Lane-wise a < b ? a : b, so b when either is NaN.
[[nodiscard]] inline RiskItem Min(RiskItem a, RiskItem b) noexcept { return _mm256_min_pd(a.value, b.value); }
/// Lane-wise a > b ? a : b, so b when either is NaN.
[[nodiscard]] inline RiskItem Max(RiskItem a, RiskItem b) noexcept { return _mm256_max_pd(a.value, b.value); }

/// Scalar a < b ? a : b, so b when either is NaN, and b between +0.0 and -0.0.
[[nodiscard]] constexpr double Min(double a, double b) noexcept { return a < b ? a : b; }
[[nodiscard]] constexpr double Max(double a, double b) noexcept { return a > b ? a : b; }

/// The cell, with NaN replaced by +0.0: nothing of padding or of a delivery price out of scenario gets past it.
[[nodiscard]] inline RiskItem ZeroIfNaN(RiskItem cell) noexcept
{
    return _mm256_and_pd(_mm256_cmp_pd(cell.value, cell.value, _CMP_ORD_Q), cell.value);
}

/// The cell where low <= at <= high, NaN elsewhere, a NaN `at` included.
[[nodiscard]] inline RiskItem NaNUnlessBetween(RiskItem cell, RiskItem at, RiskItem low, RiskItem high) noexcept
{
    const __m256d inside =
        _mm256_and_pd(_mm256_cmp_pd(at.value, low.value, _CMP_GE_OQ), _mm256_cmp_pd(high.value, at.value, _CMP_GE_OQ));
    return _mm256_blendv_pd(_mm256_set1_pd(std::numeric_limits<double>::quiet_NaN()), cell.value, inside);
}

/// The cell where a > b, +0.0 elsewhere, also where either is NaN.
[[nodiscard]] inline RiskItem ZeroUnlessAbove(RiskItem cell, RiskItem a, RiskItem b) noexcept
{
    return _mm256_and_pd(_mm256_cmp_pd(a.value, b.value, _CMP_GT_OQ), cell.value);
}

/// lane 0 + lane 1 + lane 2 + lane 3, added in this order.
[[nodiscard]] inline double SumOfLanes(RiskItem item) noexcept
{
    const __m128d low = _mm256_castpd256_pd128(item.value);    // lanes 0 and 1
    const __m128d high = _mm256_extractf128_pd(item.value, 1); // lanes 2 and 3
    const double first = _mm_cvtsd_f64(low) + _mm_cvtsd_f64(_mm_unpackhi_pd(low, low));
    return first + _mm_cvtsd_f64(high) + _mm_cvtsd_f64(_mm_unpackhi_pd(high, high));
}

namespace operation::_ {

/// Folds the lanes of a finished vector minimum: the smaller of two, a NaN gives way to a number.
template <class T>
struct min
{
    [[nodiscard]] T operator()(T a, T b) const noexcept
    {
        return b != b || a < b ? a : b; // NOLINT(misc-redundant-expression): is b a NaN?
    }
};

/// Folds the lanes of a finished vector maximum.
template <class T>
struct max
{
    [[nodiscard]] T operator()(T a, T b) const noexcept
    {
        return b != b || a > b ? a : b; // NOLINT(misc-redundant-expression): is b a NaN?
    }
};

/// One value out of four lanes, lane 0 first.
template <class Reducer>
[[nodiscard]] inline double FoldLanes(const RiskItem& item, Reducer reduce) noexcept
{
    return reduce(reduce(reduce(item[0], item[1]), item[2]), item[3]);
}

} // namespace operation::_

/// Operators of one cell with one number, the number already spread over the lanes.
namespace DOps {

struct Add
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = kv7im::Add(cell, value); }
};
struct Sub
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = kv7im::Sub(cell, value); }
};
struct Mul
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = kv7im::Mul(cell, value); }
};
/// Nothing below the bound. The cell stands second: a NaN cell stays NaN.
struct BoundBelow
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = Max(value, cell); }
};
/// Nothing above the bound. The cell stands second: a NaN cell stays NaN.
struct BoundAbove
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = Min(value, cell); }
};
struct Set
{
    RiskItem value;
    void operator()(RiskItem& cell) const noexcept { cell = value; }
};

} // namespace DOps

/// Operators of one cell with its counterpart in a second array; `value` walks along that array.
namespace MOps {

struct Add
{
    const RiskItem* value;
    void operator()(RiskItem& cell) noexcept { cell = kv7im::Add(cell, *value++); }
};
struct Sub
{
    const RiskItem* value;
    void operator()(RiskItem& cell) noexcept { cell = kv7im::Sub(cell, *value++); }
};
struct Set
{
    const RiskItem* value;
    void operator()(RiskItem& cell) noexcept { cell = *value++; }
};
/// The counterpart stands second: it is taken where either lane is NaN.
struct Min
{
    const RiskItem* value;
    void operator()(RiskItem& cell) noexcept { cell = kv7im::Min(cell, *value++); }
};
/// The counterpart stands second: it is taken where either lane is NaN.
struct Max
{
    const RiskItem* value;
    void operator()(RiskItem& cell) noexcept { cell = kv7im::Max(cell, *value++); }
};

} // namespace MOps

/// Applies an operator to `count` neighbouring RiskItems.
template <class Operator>
inline void ForEachItem(RiskItem* cells, std::size_t count, Operator apply) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        apply(cells[i]);
}

} // namespace kv7im
