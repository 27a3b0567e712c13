// avxarray and the view of a row, judged by plain loops over vectors of doubles at every length from 0 to 17.

#include "grids/RiskRow.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "grids/LazyMemoryPool.h"

namespace test::RiskRowTest {
namespace {

using kv7im::avxarray;
using kv7im::RiskItem;
using kv7im::RiskRow;
using kv7im::RiskRowWrapper;
using kv7im::auxiliary::LazyMemoryPool;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = 1.7976931348623157e308;       // the largest finite double
constexpr double TinyPositive = 2.2250738585072014e-308; // the smallest positive normalised double
constexpr std::size_t LongestRow = 17;

static_assert(std::is_same_v<RiskRow, avxarray>);
static_assert(kv7im::isUseAVX() && !kv7im::isUseAVX512());
static_assert(sizeof(RiskItem) == 32 && alignof(RiskItem) == 32);
static_assert(std::is_nothrow_move_constructible_v<avxarray> && std::is_nothrow_move_assignable_v<avxarray>);

enum class NaNAt
{
    Nowhere,
    First,
    Last,
    Everywhere,
};
constexpr NaNAt AllPlaces[] = {NaNAt::Nowhere, NaNAt::First, NaNAt::Last, NaNAt::Everywhere};

/// Numbers of both signs that are not round, NaN where asked.
std::vector<double> Sample(std::size_t length, NaNAt place, double seed)
{
    std::vector<double> cells(length);
    for (std::size_t i = 0; i < length; ++i)
        cells[i] = place == NaNAt::Everywhere ? NaN : std::sin(seed + 1.7 * static_cast<double>(i)) * 1000.0 / 3.0;
    if (place == NaNAt::First && length > 0) cells.front() = NaN;
    if (place == NaNAt::Last && length > 0) cells.back() = NaN;
    return cells;
}

avxarray ArrayOf(const std::vector<double>& cells)
{
    avxarray array(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        array[i] = cells[i];
    return array;
}

bool SameBits(double a, double b)
{
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Real cells to the bit, and NaN in all the padding.
void ExpectCells(const avxarray& array, const std::vector<double>& expected, const std::string& where)
{
    ASSERT_EQ(array.size(), expected.size()) << where;
    ASSERT_EQ(array.GetRegisterCount(), (expected.size() + 3) / 4) << where;
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(SameBits(array[i], expected[i]))
            << where << ", cell " << i << ": " << array[i] << " is not " << expected[i];
    for (std::size_t i = expected.size(); i < array.GetRegisterCount() * 4; ++i)
        EXPECT_TRUE(std::isnan(array[i])) << where << ", padding lane " << i << ": " << array[i];
}

/// Runs a body over every length and every place of a NaN.
template <class Body>
void ForEverySample(Body body)
{
    for (std::size_t length = 0; length <= LongestRow; ++length)
        for (const NaNAt place : AllPlaces)
            body(Sample(length, place, 0.3),
                 "length " + std::to_string(length) + ", NaN case " + std::to_string(static_cast<int>(place)));
}

/// The same with a second operand of the same length.
template <class Body>
void ForEveryPair(Body body)
{
    for (std::size_t length = 0; length <= LongestRow; ++length)
        for (const NaNAt left : AllPlaces)
            for (const NaNAt right : AllPlaces)
                body(Sample(length, left, 0.3), Sample(length, right, 2.1),
                     "length " + std::to_string(length) + ", NaN cases " + std::to_string(static_cast<int>(left)) +
                         " and " + std::to_string(static_cast<int>(right)));
}

template <class Change>
std::vector<double> Each(std::vector<double> cells, Change change)
{
    for (double& cell : cells)
        cell = change(cell);
    return cells;
}

TEST(RiskRow, ANewArrayHasOneCellOfZero)
{
    const avxarray array;
    ExpectCells(array, {0.0}, "default");
}

TEST(RiskRow, AnArrayOfFiveHasTwoRiskItemsAndThreeLanesOfNaNThatTheMinimumIgnores)
{
    avxarray array(5);
    EXPECT_EQ(array.GetRegisterCount(), 2u);
    ExpectCells(array, {0.0, 0.0, 0.0, 0.0, 0.0}, "five zeros");
    array += 3.5;
    ExpectCells(array, {3.5, 3.5, 3.5, 3.5, 3.5}, "five times 3.5");
    EXPECT_EQ(array.min(), 3.5);
}

TEST(RiskRow, AnArrayOfNothingHasTheLargestDoubleAsMinimumAndTheSumZero)
{
    const avxarray array(0);
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.GetRegisterCount(), 0u);
    EXPECT_EQ(array.min(), Largest);
    EXPECT_EQ(array.max(), TinyPositive);
    EXPECT_EQ(array.sum(), 0.0);
}

TEST(RiskRow, EveryConstructorWithALengthFillsCellsAndPadding)
{
    for (std::size_t length = 0; length <= LongestRow; ++length) {
        ExpectCells(avxarray(length), std::vector<double>(length, 0.0), "zeros");
        ExpectCells(avxarray(-2.25, length), std::vector<double>(length, -2.25), "value");
        avxarray assigned(length);
        assigned = 7.5;
        ExpectCells(assigned, std::vector<double>(length, 7.5), "assigned");
    }
}

TEST(RiskRow, StorageIsAlignedForTheWholeCacheLine)
{
    const avxarray array(9);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.pData()) % 64, 0u);
}

TEST(RiskRow, ArithmeticWithANumberIsThePlainLoop)
{
    ForEverySample([](const std::vector<double>& cells, const std::string& where) {
        avxarray sum = ArrayOf(cells);
        sum += 0.1;
        ExpectCells(sum, Each(cells, [](double x) { return x + 0.1; }), where + " +=");
        avxarray difference = ArrayOf(cells);
        difference -= 0.1;
        ExpectCells(difference, Each(cells, [](double x) { return x - 0.1; }), where + " -=");
        avxarray product = ArrayOf(cells);
        product *= -0.1;
        ExpectCells(product, Each(cells, [](double x) { return x * -0.1; }), where + " *=");
    });
}

TEST(RiskRow, ArithmeticWithAnArrayIsThePlainLoop)
{
    ForEveryPair([](const std::vector<double>& a, const std::vector<double>& b, const std::string& where) {
        std::vector<double> sums(a.size());
        std::vector<double> differences(a.size());
        for (std::size_t i = 0; i < a.size(); ++i) {
            sums[i] = a[i] + b[i];
            differences[i] = a[i] - b[i];
        }
        avxarray sum = ArrayOf(a);
        sum += ArrayOf(b);
        ExpectCells(sum, sums, where + " +=");
        avxarray difference = ArrayOf(a);
        difference -= ArrayOf(b);
        ExpectCells(difference, differences, where + " -=");
    });
}

TEST(RiskRow, AShorterRightOperandTouchesOnlyWhatBothHave)
{
    avxarray left(1.0, 9);
    left += avxarray(2.0, 4);
    ExpectCells(left, {3.0, 3.0, 3.0, 3.0, 1.0, 1.0, 1.0, 1.0, 1.0}, "9 += 4");
}

TEST(RiskRow, BoundsLeaveANaNCellANaN)
{
    ForEverySample([](const std::vector<double>& cells, const std::string& where) {
        avxarray below = ArrayOf(cells);
        below.BoundValuesFromBelow(-50.0);
        ExpectCells(below, Each(cells, [](double x) { return x < -50.0 ? -50.0 : x; }), where + " from below");
        avxarray above = ArrayOf(cells);
        above.BoundValuesFromAbove(20.0);
        ExpectCells(above, Each(cells, [](double x) { return x > 20.0 ? 20.0 : x; }), where + " from above");
    });
}

TEST(RiskRow, MinimumAndMaximumPassOverNaN)
{
    ForEverySample([](const std::vector<double>& cells, const std::string& where) {
        double smallest = Largest;
        double largest = TinyPositive; // not the lowest value: see the test of negative arrays
        for (const double cell : cells) {
            if (cell < smallest) smallest = cell; // false for a NaN
            if (cell > largest) largest = cell;
        }
        EXPECT_EQ(ArrayOf(cells).min(), smallest) << where;
        EXPECT_EQ(ArrayOf(cells).max(), largest) << where;
    });
}

TEST(RiskRow, TheMaximumOfOnlyNegativeNumbersIsTheSmallestPositiveDouble)
{
    EXPECT_EQ(ArrayOf({-3.0, -1.0, -2.0, -5.0, -4.0}).max(), TinyPositive);
    EXPECT_EQ(ArrayOf({-3.0, 0.0}).max(), TinyPositive);
    EXPECT_EQ(ArrayOf({-3.0, 1.0}).max(), 1.0);
}

TEST(RiskRow, MinimumFindsTheSmallestInEveryLane)
{
    for (std::size_t length = 1; length <= LongestRow; ++length)
        for (std::size_t at = 0; at < length; ++at) {
            avxarray array(10.0, length);
            array[at] = -Infinity;
            EXPECT_EQ(array.min(), -Infinity) << "length " << length << ", cell " << at;
            array[at] = 11.0;
            EXPECT_EQ(array.max(), 11.0) << "length " << length << ", cell " << at;
        }
}

TEST(RiskRow, TheSumAddsLaneByLaneAndThenTheLanesInOrder)
{
    for (std::size_t length = 0; length <= LongestRow; ++length) {
        avxarray array = ArrayOf(Sample(length, NaNAt::Nowhere, 0.9));
        // Give the padding numbers as well: the sum includes it.
        for (std::size_t i = length; i < array.GetRegisterCount() * 4; ++i)
            array[i] = 1.0 / 3.0 + static_cast<double>(i);
        double lanes[4] = {0.0, 0.0, 0.0, 0.0};
        for (std::size_t i = 0; i < array.GetRegisterCount() * 4; ++i)
            lanes[i % 4] += array[i];
        const double expected = ((lanes[0] + lanes[1]) + lanes[2]) + lanes[3];
        EXPECT_TRUE(SameBits(array.sum(), expected)) << "length " << length;
    }
}

TEST(RiskRow, TheOrderOfTheSumIsLaneZeroOneTwoThree)
{
    // Doubles around 1e16 stand 2 apart, and a tie goes to the even one, so 1e16 + 1 is 1e16 again. In order:
    // ((1e16 + 1) + -1e16) + 1 = 0 + 1 = 1. In pairs: (1e16 + 1) + (-1e16 + 1) = 0. Even and odd lanes: 0 + 2 = 2.
    EXPECT_EQ(ArrayOf({1e16, 1.0, -1e16, 1.0}).sum(), 1.0);
}

TEST(RiskRow, TheSumOfAnArrayWithNaNPaddingIsNaN)
{
    EXPECT_TRUE(std::isnan(avxarray(1.0, 5).sum()));
    EXPECT_EQ(avxarray(1.0, 8).sum(), 8.0);
}

TEST(RiskRow, TheElementwiseMinimumTakesTheSecondWhereEitherIsNaN)
{
    ForEveryPair([](const std::vector<double>& a, const std::vector<double>& b, const std::string& where) {
        std::vector<double> expected(a.size());
        for (std::size_t i = 0; i < a.size(); ++i)
            expected[i] = a[i] < b[i] ? a[i] : b[i]; // a comparison with NaN is false
        ExpectCells(kv7im::min(ArrayOf(a), ArrayOf(b)), expected, where);
    });
    ExpectCells(kv7im::min(ArrayOf({NaN, 1.0, 2.0}), ArrayOf({5.0, NaN, 1.0})), {5.0, NaN, 1.0}, "by eye");
}

TEST(RiskRow, TheElementwiseMinimumHasTheLengthOfTheFirst)
{
    EXPECT_EQ(kv7im::min(avxarray(3), avxarray(4)).size(), 3u);
    EXPECT_EQ(kv7im::min(avxarray(9), avxarray(4)).size(), 9u);
}

TEST(RiskRow, ResizeZeroesANewLengthAndLeavesAnEqualOneAlone)
{
    avxarray array(5.0, 6);
    const RiskItem* storage = array.pData();
    array.resize(6);
    EXPECT_EQ(array.pData(), storage);
    ExpectCells(array, std::vector<double>(6, 5.0), "same length");
    array.resize(7); // the same two RiskItems, and still a new array
    ExpectCells(array, std::vector<double>(7, 0.0), "longer");
    array = 1.0;
    array.resize(0);
    ExpectCells(array, {}, "empty");
}

TEST(RiskRow, ACopyIsIndependentAndReusesStorageOfTheSameLength)
{
    const avxarray source = ArrayOf({1.0, 2.0, NaN, 4.0, 5.0});
    avxarray copy(source);
    copy[0] = 9.0;
    EXPECT_EQ(source[0], 1.0);

    avxarray sameLength(5);
    const RiskItem* storage = sameLength.pData();
    sameLength = source;
    EXPECT_EQ(sameLength.pData(), storage);
    ExpectCells(sameLength, {1.0, 2.0, NaN, 4.0, 5.0}, "same length");

    avxarray otherLength(2);
    otherLength = source;
    ExpectCells(otherLength, {1.0, 2.0, NaN, 4.0, 5.0}, "other length");

    avxarray& itself = otherLength;
    otherLength = itself;
    ExpectCells(otherLength, {1.0, 2.0, NaN, 4.0, 5.0}, "to itself");
}

TEST(RiskRow, ACopyTakesThePaddingAsItIs)
{
    avxarray source(1.0, 3);
    source[3] = 42.0; // padding
    const avxarray copy(source);
    EXPECT_EQ(copy[3], 42.0);
}

TEST(RiskRow, MovingStealsTheStorageAndLeavesNothing)
{
    avxarray source(3.0, 6);
    const RiskItem* storage = source.pData();
    avxarray moved(std::move(source));
    EXPECT_EQ(moved.pData(), storage);
    EXPECT_EQ(source.pData(), nullptr);
    EXPECT_EQ(source.size(), 0u);
    EXPECT_EQ(source.GetRegisterCount(), 0u);

    avxarray target(2);
    target = std::move(moved);
    EXPECT_EQ(target.pData(), storage);
    EXPECT_EQ(moved.pData(), nullptr);
    EXPECT_EQ(moved.size(), 0u);
    ExpectCells(target, std::vector<double>(6, 3.0), "moved twice");

    avxarray& itself = target;
    target = std::move(itself);
    ExpectCells(target, std::vector<double>(6, 3.0), "to itself");

    moved = target; // an emptied array takes new content like any other
    ExpectCells(moved, std::vector<double>(6, 3.0), "refilled");
}

TEST(RiskRow, StorageReturnsToThePool)
{
    const std::ptrdiff_t before = LazyMemoryPool::OutstandingBlocks();
    {
        avxarray a(5);
        avxarray b(a);
        avxarray c(std::move(a));
        b = std::move(c);
        b.resize(100);
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), before + 1);
    }
    EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), before);
}

TEST(RiskRow, SwapExchangesContentAndLength)
{
    avxarray a(1.0, 2);
    avxarray b(2.0, 9);
    kv7im::swap(a, b);
    ExpectCells(a, std::vector<double>(9, 2.0), "a");
    ExpectCells(b, std::vector<double>(2, 1.0), "b");
}

TEST(RiskRow, EqualityComparesBytesSoNaNEqualsItselfAndTheZerosDiffer)
{
    EXPECT_TRUE(ArrayOf({1.0, NaN, 3.0}) == ArrayOf({1.0, NaN, 3.0}));
    EXPECT_FALSE(ArrayOf({1.0, NaN, 3.0}) != ArrayOf({1.0, NaN, 3.0}));
    EXPECT_TRUE(ArrayOf({0.0}) != ArrayOf({-0.0}));
    EXPECT_TRUE(avxarray(3) != avxarray(4));
    EXPECT_TRUE(avxarray(0) == avxarray(0));
    for (std::size_t length = 1; length <= LongestRow; ++length)
        for (std::size_t at = 0; at < length; ++at) {
            avxarray changed(1.0, length);
            changed[at] = 2.0;
            EXPECT_TRUE(changed != avxarray(1.0, length)) << "length " << length << ", cell " << at;
        }
}

TEST(RiskRow, EqualityLooksAtThePaddingToo)
{
    avxarray a(1.0, 3);
    const avxarray b(1.0, 3);
    EXPECT_TRUE(a == b);
    a[3] = 0.0; // padding
    EXPECT_TRUE(a != b);
}

TEST(RiskRow, EqualityOfLongArraysStaysInsideTheirStorage)
{
    // 64 cells fill 512 bytes to the last one; the sanitizers watch what is read.
    EXPECT_TRUE(avxarray(1.0, 64) == avxarray(1.0, 64));
    EXPECT_TRUE(avxarray(1.0, 600) == avxarray(1.0, 600));
}

TEST(RiskRow, AViewReachesCellsByStepsOfRiskItems)
{
    // Two rows of six cells, a block of four columns after the other: items 0 and 2 are row 0, items 1 and 3 row 1.
    avxarray storage(16);
    for (std::size_t i = 0; i < 16; ++i)
        storage[i] = static_cast<double>(i);
    RiskRowWrapper second(storage.pData() + 1, 6, 2);
    EXPECT_EQ(second.size(), 6u);
    EXPECT_EQ(second[0], 4.0);
    EXPECT_EQ(second[3], 7.0);
    EXPECT_EQ(second[4], 12.0);
    EXPECT_EQ(second[5], 13.0);
    EXPECT_EQ(&second.pData(1), storage.pData() + 3);
    second[5] = -1.0;
    EXPECT_EQ(storage[13], -1.0);
}

TEST(RiskRow, AssigningANumberToAViewLeavesThePaddingUntouched)
{
    avxarray storage(16);
    RiskRowWrapper second(storage.pData() + 1, 6, 2);
    second = 5.0;
    const std::vector<double> expected = {0, 0, 0, 0, 5, 5, 5, 5, 0, 0, 0, 0, 5, 5, 0, 0};
    ExpectCells(storage, expected, "strided");

    avxarray array(5);
    RiskRowWrapper whole(array);
    whole = whole[0] + 2.0;
    ExpectCells(array, std::vector<double>(5, 2.0), "whole array");
}

TEST(RiskItem, MinAndMaxAnswerWithTheSecondOperandForNaNAndForEqualZeros)
{
    const double values[] = {NaN, -Infinity, -1.0, -0.0, 0.0, 1.0, Infinity};
    for (const double a : values)
        for (const double b : values) {
            const double smaller = a < b ? a : b;
            const double larger = a > b ? a : b;
            for (std::size_t lane = 0; lane < 4; ++lane) {
                EXPECT_TRUE(SameBits(kv7im::Min(RiskItem(a), RiskItem(b))[lane], smaller)) << a << ", " << b;
                EXPECT_TRUE(SameBits(kv7im::Max(RiskItem(a), RiskItem(b))[lane], larger)) << a << ", " << b;
            }
            EXPECT_TRUE(SameBits(kv7im::Min(a, b), smaller)) << a << ", " << b;
            EXPECT_TRUE(SameBits(kv7im::Max(a, b), larger)) << a << ", " << b;
        }
}

TEST(RiskItem, ZeroIfNaNChangesNothingButNaN)
{
    EXPECT_EQ(kv7im::ZeroIfNaN(RiskItem(NaN))[2], 0.0);
    for (const double value : {-Infinity, -3.5, 0.0, 3.5, Largest, Infinity})
        EXPECT_EQ(kv7im::ZeroIfNaN(RiskItem(value))[1], value);
}

TEST(RiskItem, TheElementOperatorsDoWhatTheirNamesSay)
{
    RiskItem cell(5.0);
    kv7im::DOps::Add{2.0}(cell);
    EXPECT_EQ(cell[0], 7.0);
    kv7im::DOps::Sub{3.0}(cell);
    EXPECT_EQ(cell[1], 4.0);
    kv7im::DOps::Mul{-2.0}(cell);
    EXPECT_EQ(cell[2], -8.0);
    kv7im::DOps::BoundBelow{-6.0}(cell);
    EXPECT_EQ(cell[3], -6.0);
    kv7im::DOps::BoundAbove{-7.0}(cell);
    EXPECT_EQ(cell[0], -7.0);
    kv7im::DOps::Set{NaN}(cell);
    kv7im::DOps::BoundBelow{0.0}(cell);
    kv7im::DOps::BoundAbove{0.0}(cell);
    EXPECT_TRUE(std::isnan(cell[0]));
}

TEST(RiskItem, TheOperatorsOfTwoArraysWalkAlongTheSecond)
{
    const RiskItem others[] = {RiskItem(1.0), RiskItem(2.0), RiskItem(NaN)};
    RiskItem cells[] = {RiskItem(10.0), RiskItem(0.5), RiskItem(3.0)};
    kv7im::ForEachItem(cells, 3, kv7im::MOps::Max{others});
    EXPECT_EQ(cells[0][0], 10.0);
    EXPECT_EQ(cells[1][0], 2.0);
    EXPECT_TRUE(std::isnan(cells[2][0])) << "the second operand is taken where either is NaN";
    kv7im::ForEachItem(cells, 2, kv7im::MOps::Min{others});
    EXPECT_EQ(cells[0][3], 1.0);
    EXPECT_EQ(cells[1][3], 2.0);
    kv7im::ForEachItem(cells, 3, kv7im::MOps::Set{others});
    kv7im::ForEachItem(cells, 2, kv7im::MOps::Add{others});
    EXPECT_EQ(cells[1][1], 4.0);
    kv7im::ForEachItem(cells, 2, kv7im::MOps::Sub{others});
    EXPECT_EQ(cells[1][1], 2.0);
}

TEST(RiskItem, TheScalarReducersPreferANumberToANaN)
{
    EXPECT_EQ(kv7im::operation::_::min<double>{}(NaN, 2.0), 2.0);
    EXPECT_EQ(kv7im::operation::_::min<double>{}(1.0, 2.0), 1.0);
    EXPECT_EQ(kv7im::operation::_::max<double>{}(2.0, NaN), 2.0);
    EXPECT_EQ(kv7im::operation::_::max<double>{}(1.0, 2.0), 2.0);
}

} // namespace
} // namespace test::RiskRowTest
