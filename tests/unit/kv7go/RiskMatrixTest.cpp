// RiskMatrix judged by plain loops over a vector of rows, for every width from 0 to 17 and 0 to 4 rows.

#include "grids/RiskMatrix.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "grids/LazyMemoryPool.h"

namespace test::RiskMatrixTest {
namespace {

using kv7im::avxarray;
using kv7im::BindsRow;
using kv7im::RiskItem;
using kv7im::RiskMatrix;
using kv7im::RiskRowWrapper;
using kv7im::auxiliary::LazyMemoryPool;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Largest = 1.7976931348623157e308; // the largest finite double
constexpr std::size_t WidestRow = 17;
constexpr std::size_t MostRows = 4;
constexpr auto AllOnes = static_cast<std::size_t>(-1);

static_assert(std::is_nothrow_move_constructible_v<RiskMatrix> && std::is_nothrow_move_assignable_v<RiskMatrix>);

/// The plain twin: rows of cells.
using Table = std::vector<std::vector<double>>;

enum class NaNAt
{
    Nowhere,
    First, // first column
    Last,  // last column
    Everywhere,
};
constexpr NaNAt AllPlaces[] = {NaNAt::Nowhere, NaNAt::First, NaNAt::Last, NaNAt::Everywhere};

Table Sample(std::size_t rows, std::size_t cols, NaNAt place, double seed)
{
    Table table(rows, std::vector<double>(cols));
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t c = 0; c < cols; ++c) {
            const bool hole = place == NaNAt::Everywhere || (place == NaNAt::First && c == 0) ||
                              (place == NaNAt::Last && c + 1 == cols);
            table[r][c] = hole ? NaN : std::sin(seed + static_cast<double>(r * 31 + c) * 1.3) * 1000.0 / 7.0;
        }
    return table;
}

RiskMatrix MatrixOf(const Table& table, std::size_t cols)
{
    RiskMatrix matrix(cols, table.size(), true);
    for (std::size_t r = 0; r < table.size(); ++r)
        for (std::size_t c = 0; c < cols; ++c)
            matrix[r][c] = table[r][c];
    return matrix;
}

RiskMatrix MatrixOf(const Table& table) { return MatrixOf(table, table.empty() ? 0 : table[0].size()); }

bool SameBits(double a, double b)
{
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Real cells to the bit and, unless told otherwise, NaN in all the padding.
void ExpectCells(const RiskMatrix& matrix, const Table& expected, const std::string& where, bool paddingIsNaN = true)
{
    ASSERT_EQ(matrix.RowsCount(), expected.size()) << where;
    for (std::size_t r = 0; r < expected.size(); ++r) {
        ASSERT_EQ(matrix.ColsCount(), expected[r].size()) << where;
        for (std::size_t c = 0; c < expected[r].size(); ++c)
            EXPECT_TRUE(SameBits(matrix[r][c], expected[r][c]))
                << where << ", cell (" << r << ", " << c << "): " << matrix[r][c] << " is not " << expected[r][c];
        for (std::size_t c = expected[r].size(); paddingIsNaN && c < matrix.GetColsRegister() * 4; ++c)
            EXPECT_TRUE(std::isnan(matrix[r][c])) << where << ", padding (" << r << ", " << c << ")";
    }
}

template <class Body>
void ForEverySample(Body body)
{
    for (std::size_t rows = 0; rows <= MostRows; ++rows)
        for (std::size_t cols = 0; cols <= WidestRow; ++cols)
            for (const NaNAt place : AllPlaces)
                body(Sample(rows, cols, place, 0.7), cols,
                     std::to_string(rows) + "x" + std::to_string(cols) + ", NaN case " +
                         std::to_string(static_cast<int>(place)));
}

template <class Body>
void ForEveryPair(Body body)
{
    for (std::size_t rows = 0; rows <= MostRows; ++rows)
        for (std::size_t cols = 0; cols <= WidestRow; ++cols)
            for (const NaNAt left : AllPlaces)
                for (const NaNAt right : AllPlaces)
                    body(Sample(rows, cols, left, 0.7), Sample(rows, cols, right, 4.9), cols,
                         std::to_string(rows) + "x" + std::to_string(cols) + ", NaN cases " +
                             std::to_string(static_cast<int>(left)) + " and " +
                             std::to_string(static_cast<int>(right)));
}

template <class Change>
Table Each(Table table, Change change)
{
    for (auto& row : table)
        for (double& cell : row)
            cell = change(cell);
    return table;
}

template <class Combine>
Table EachPair(Table left, const Table& right, Combine combine)
{
    for (std::size_t r = 0; r < left.size(); ++r)
        for (std::size_t c = 0; c < left[r].size(); ++c)
            left[r][c] = combine(left[r][c], right[r][c]);
    return left;
}

TEST(RiskMatrix, TheConstructorTakesTheColumnsFirst)
{
    const RiskMatrix matrix(11, 3, true);
    EXPECT_EQ(matrix.ColsCount(), 11u);
    EXPECT_EQ(matrix.RowsCount(), 3u);
    EXPECT_EQ(matrix.GetColsRegister(), 3u);     // ceil(11 / 4)
    EXPECT_EQ(matrix.GetFullSizeRegister(), 9u); // 3 * 3
    EXPECT_EQ(matrix.Binding(), nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(matrix.pData()) % 64, 0u);
}

TEST(RiskMatrix, CellsStandInBlocksOfFourColumnsRowAfterRow)
{
    RiskMatrix matrix(6, 2, true);
    for (std::size_t r = 0; r < 2; ++r)
        for (std::size_t c = 0; c < 6; ++c)
            matrix[r][c] = static_cast<double>(10 * r + c);
    for (std::size_t r = 0; r < 2; ++r)
        for (std::size_t c = 0; c < 6; ++c)
            EXPECT_EQ(std::as_const(matrix).pData()[c / 4 * 2 + r][c % 4], static_cast<double>(10 * r + c));
    const RiskRowWrapper row = matrix[1];
    EXPECT_EQ(row.base, matrix.pData() + 1);
    EXPECT_EQ(row.len, 6u);
    EXPECT_EQ(row.step, 2u);
}

TEST(RiskMatrix, TheMedianIsTheLowerMiddleRow)
{
    const std::size_t expected[] = {AllOnes, 0, 0, 1, 1, 2, 2, 3}; // of 0, 1, 2, ... rows
    for (std::size_t rows = 0; rows < std::size(expected); ++rows)
        EXPECT_EQ(RiskMatrix(5, rows, true).MedianLineNumber(), expected[rows]) << rows << " rows";
    EXPECT_EQ(RiskMatrix().MedianLineNumber(), AllOnes);

    RiskMatrix matrix(5, 3, true);
    matrix.Median() = 4.0;
    ExpectCells(matrix, {{0, 0, 0, 0, 0}, {4, 4, 4, 4, 4}, {0, 0, 0, 0, 0}}, "median of three");
}

TEST(RiskMatrix, InitialisedIsZeroWithNaNPaddingAndUninitialisedIsZeroThroughout)
{
    for (std::size_t rows = 0; rows <= MostRows; ++rows)
        for (std::size_t cols = 0; cols <= WidestRow; ++cols) {
            const Table zeros(rows, std::vector<double>(cols, 0.0));
            ExpectCells(RiskMatrix(cols, rows, true), zeros, "initialised");
            const RiskMatrix plain(cols, rows, false);
            ExpectCells(plain, zeros, "uninitialised", false);
            for (std::size_t i = 0; i < plain.GetFullSizeRegister(); ++i)
                for (std::size_t lane = 0; lane < 4; ++lane)
                    EXPECT_EQ(plain.pData()[i][lane], 0.0);
        }
}

TEST(RiskMatrix, WithoutRowsOrColumnsThereIsNoStorage)
{
    EXPECT_EQ(RiskMatrix(0, 3, true).pData(), nullptr);
    EXPECT_EQ(RiskMatrix(5, 0, true).pData(), nullptr);
    EXPECT_EQ(RiskMatrix().pData(), nullptr);
    EXPECT_EQ(RiskMatrix(5, 0, true).ColsCount(), 5u);
    EXPECT_EQ(RiskMatrix(0, 3, true)[1].size(), 0u);
    EXPECT_EQ(RiskMatrix().Median().size(), 0u);
}

TEST(RiskMatrix, ArithmeticWithANumberIsThePlainLoop)
{
    ForEverySample([](const Table& table, std::size_t cols, const std::string& where) {
        RiskMatrix assigned = MatrixOf(table, cols);
        assigned = 2.5;
        ExpectCells(assigned, Each(table, [](double) { return 2.5; }), where + " =");
        RiskMatrix sum = MatrixOf(table, cols);
        sum += 0.1;
        ExpectCells(sum, Each(table, [](double x) { return x + 0.1; }), where + " +=");
        RiskMatrix difference = MatrixOf(table, cols);
        difference -= 0.1;
        ExpectCells(difference, Each(table, [](double x) { return x - 0.1; }), where + " -=");
        RiskMatrix product = MatrixOf(table, cols);
        product *= -0.1;
        ExpectCells(product, Each(table, [](double x) { return x * -0.1; }), where + " *=");
    });
}

TEST(RiskMatrix, BoundsLeaveANaNCellANaN)
{
    ForEverySample([](const Table& table, std::size_t cols, const std::string& where) {
        RiskMatrix below = MatrixOf(table, cols);
        below.BoundValuesFromBelow(-30.0);
        ExpectCells(below, Each(table, [](double x) { return x < -30.0 ? -30.0 : x; }), where + " from below");
        RiskMatrix above = MatrixOf(table, cols);
        above.BoundValuesFromAbove(30.0);
        ExpectCells(above, Each(table, [](double x) { return x > 30.0 ? 30.0 : x; }), where + " from above");
    });
}

TEST(RiskMatrix, ArithmeticWithAMatrixIsThePlainLoop)
{
    ForEveryPair([](const Table& a, const Table& b, std::size_t cols, const std::string& where) {
        const RiskMatrix other = MatrixOf(b, cols);
        RiskMatrix sum = MatrixOf(a, cols);
        sum += other;
        ExpectCells(sum, EachPair(a, b, [](double x, double y) { return x + y; }), where + " +=");
        RiskMatrix difference = MatrixOf(a, cols);
        difference -= other;
        ExpectCells(difference, EachPair(a, b, [](double x, double y) { return x - y; }), where + " -=");
    });
}

TEST(RiskMatrix, NegativeSumTakesLossesOnlyAndANaNCostsNothing)
{
    const auto loss = [](double y) { return y < 0.0 ? y : 0.0; }; // false for NaN
    ForEveryPair([&](const Table& a, const Table& b, std::size_t cols, const std::string& where) {
        const RiskMatrix other = MatrixOf(b, cols);
        RiskMatrix sum = MatrixOf(a, cols);
        sum.NegativeSum(other);
        ExpectCells(sum, EachPair(a, b, [&](double x, double y) { return x + loss(y); }), where + " sum");
        RiskMatrix difference = MatrixOf(a, cols);
        difference.SubtractionNegative(other);
        ExpectCells(difference, EachPair(a, b, [&](double x, double y) { return x - loss(y); }), where + " difference");
    });
}

TEST(RiskMatrix, ANaNPaddingOnTheLeftSurvivesANumberOnTheRight)
{
    RiskMatrix left(5, 2, true);
    RiskMatrix right(5, 2, false); // zeros in the padding
    right -= 1.0;
    left.NegativeSum(right);
    ExpectCells(left, {{-1, -1, -1, -1, -1}, {-1, -1, -1, -1, -1}}, "NegativeSum");
    left.SubtractionNegative(right);
    ExpectCells(left, {{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}}, "SubtractionNegative");
}

TEST(RiskMatrix, AMatrixWithoutColumnsIsNoOperand)
{
    RiskMatrix left(5, 2, true);
    RiskMatrix empty(5, 2, true);
    empty.ResizeRows(0);
    EXPECT_EQ(empty.ColsCount(), 0u);
    const Table zeros(2, std::vector<double>(5, 0.0));
    left += empty;
    left -= empty;
    left.NegativeSum(empty);
    left.SubtractionNegative(empty);
    ExpectCells(left, zeros, "right side empty");
    empty += left;
    empty -= left;
    empty.NegativeSum(left);
    empty.SubtractionNegative(left);
    EXPECT_EQ(empty.pData(), nullptr);
}

TEST(RiskMatrix, SumsDoNotCompareTheRowsButTheSubtractionOfLossesDoes)
{
    // One block of columns: the left one of two rows takes the first two rows of the right one.
    const Table three = {{-1, -2, -3, -4}, {-5, -6, -7, -8}, {-9, -9, -9, -9}};
    const Table firstTwo = {{-1, -2, -3, -4}, {-5, -6, -7, -8}};
    const Table zeros(2, std::vector<double>(4, 0.0));
    RiskMatrix sum = MatrixOf(zeros);
    sum += MatrixOf(three);
    ExpectCells(sum, firstTwo, "+=");
    RiskMatrix negative = MatrixOf(zeros);
    negative.NegativeSum(MatrixOf(three));
    ExpectCells(negative, firstTwo, "NegativeSum");
    negative.SubtractionNegative(MatrixOf(three));
    ExpectCells(negative, firstTwo, "SubtractionNegative with other rows does nothing");
    negative.SubtractionNegative(MatrixOf(Table(2, std::vector<double>(3, -1.0))));
    ExpectCells(negative, firstTwo, "SubtractionNegative with other columns does nothing");
    negative -= MatrixOf(three);
    ExpectCells(negative, zeros, "-=");
}

TEST(RiskMatrix, ASmallerRightOperandTouchesOnlyWhatBothHave)
{
    RiskMatrix left(4, 3, true);
    left += MatrixOf({{1, 2, 3, 4}});
    ExpectCells(left, {{1, 2, 3, 4}, {0, 0, 0, 0}, {0, 0, 0, 0}}, "three rows += one row");
}

TEST(RiskMatrix, ARowGoesIntoEveryRow)
{
    for (std::size_t rows = 0; rows <= MostRows; ++rows)
        for (std::size_t cols = 0; cols <= WidestRow; ++cols) {
            const std::string where = std::to_string(rows) + "x" + std::to_string(cols);
            const Table table = Sample(rows, cols, NaNAt::Nowhere, 0.7);
            const Table source = Sample(2, cols, NaNAt::Last, 3.3);
            RiskMatrix sourceMatrix = MatrixOf(source, cols);
            avxarray array(cols);
            for (std::size_t c = 0; c < cols; ++c)
                array[c] = source[1][c];
            Table sums = table;
            Table differences = table;
            for (std::size_t r = 0; r < rows; ++r)
                for (std::size_t c = 0; c < cols; ++c) {
                    sums[r][c] = table[r][c] + source[1][c];
                    differences[r][c] = table[r][c] - source[1][c];
                }
            RiskMatrix byArray = MatrixOf(table, cols);
            byArray += array;
            ExpectCells(byArray, sums, where + " += array");
            RiskMatrix byView = MatrixOf(table, cols);
            byView += sourceMatrix[1];
            ExpectCells(byView, sums, where + " += view");
            RiskMatrix minusView = MatrixOf(table, cols);
            minusView -= sourceMatrix[1];
            ExpectCells(minusView, differences, where + " -= view");
        }
}

TEST(RiskMatrix, ARowOfAnotherWidthIsIgnored)
{
    RiskMatrix matrix(5, 2, true);
    RiskMatrix wider(6, 1, true);
    wider = 1.0;
    matrix += avxarray(1.0, 6);
    matrix += avxarray(1.0, 4);
    matrix += wider[0];
    matrix -= wider[0];
    ExpectCells(matrix, Table(2, std::vector<double>(5, 0.0)), "other widths");
}

TEST(RiskMatrix, TheMinimumOfABlockPassesOverNaNAndLeavesPaddingAtTheLargestDouble)
{
    ForEverySample([](const Table& table, std::size_t cols, const std::string& where) {
        const RiskMatrix matrix = MatrixOf(table, cols);
        for (std::size_t block = 0; block < matrix.GetColsRegister(); ++block) {
            const RiskItem smallest = matrix.MinimumInColumn(block);
            for (std::size_t lane = 0; lane < 4; ++lane) {
                const std::size_t c = block * 4 + lane;
                double expected = table.empty() ? 0.0 : Largest;
                for (const auto& row : table)
                    if (c < cols && row[c] < expected) expected = row[c]; // false for NaN
                EXPECT_EQ(smallest[lane], expected) << where << ", column " << c;
            }
        }
    });
}

TEST(RiskMatrix, TheMinimumOverNoRowsIsZero)
{
    const RiskMatrix matrix(5, 0, true);
    for (std::size_t lane = 0; lane < 4; ++lane)
        EXPECT_EQ(matrix.MinimumInColumn(0)[lane], 0.0);
    EXPECT_EQ(RiskMatrix().MinimumInColumn(0)[0], 0.0);
}

TEST(RiskMatrix, ConvolutionWithoutABindingIsACopy)
{
    ForEverySample([](const Table& table, std::size_t cols, const std::string& where) {
        const RiskMatrix copy = MatrixOf(table, cols).ConvolutionMatrix();
        ExpectCells(copy, table, where);
        EXPECT_EQ(copy.Binding(), nullptr);
    });
}

TEST(RiskMatrix, ConvolutionFoldsASubPointIntoColumnZeroByMinimumRowByRow)
{
    // Real points 0 and 1, sub-point 2 bound to 0: min(5, 3) = 3, min(-2, 7) = -2.
    BindsRow binds;
    binds.Resize(2, 1);
    binds.BindPoint(1, 1);
    binds.BindPoint(2, 0);
    RiskMatrix matrix = MatrixOf({{5, 1, 3}, {-2, 4, 7}});
    matrix.SetBinding(&binds);
    const RiskMatrix folded = matrix.ConvolutionMatrix();
    ExpectCells(folded, {{3, 1}, {-2, 4}}, "folded", false);
    EXPECT_EQ(folded.Binding(), nullptr);
    EXPECT_EQ(matrix.Binding(), &binds) << "the source keeps its own";
    // Lanes past the real points hold the sub-point itself, then what the source had there.
    EXPECT_EQ(folded[0][2], 3.0);
    EXPECT_EQ(folded[1][2], 7.0);
    EXPECT_TRUE(std::isnan(folded[0][3]));
}

TEST(RiskMatrix, ConvolutionOfANaN)
{
    // The target stays only if it is less than the sub-point, and a comparison with NaN is false: the sub-point is
    // taken.
    BindsRow binds;
    binds.Resize(2, 2);
    binds.BindPoint(1, 1);
    binds.BindPoint(2, 0);
    binds.BindPoint(3, 1);
    RiskMatrix matrix = MatrixOf({{NaN, 1, 3, NaN}});
    matrix.SetBinding(&binds);
    ExpectCells(matrix.ConvolutionMatrix(), {{3, NaN}}, "NaN", false);
}

TEST(RiskMatrix, ConvolutionIsThePlainLoopForEveryWidth)
{
    for (std::size_t rows = 1; rows <= MostRows; ++rows)
        for (std::size_t real = 1; real <= WidestRow; ++real)
            for (std::size_t sub = 0; sub <= 9; ++sub) {
                const Table table = Sample(rows, real + sub, NaNAt::Last, 1.9);
                BindsRow binds;
                binds.Resize(real, sub);
                for (std::size_t c = 0; c < real + sub; ++c)
                    binds.BindPoint(c, c < real ? c : (c * 7) % real);
                binds.AlignBindsRow();
                Table expected(rows);
                for (std::size_t r = 0; r < rows; ++r) {
                    expected[r].assign(table[r].begin(), table[r].begin() + static_cast<std::ptrdiff_t>(real));
                    for (std::size_t c = real; c < real + sub; ++c) {
                        double& target = expected[r][(c * 7) % real];
                        target = target < table[r][c] ? target : table[r][c];
                    }
                }
                RiskMatrix matrix = MatrixOf(table);
                matrix.SetBinding(&binds);
                ExpectCells(matrix.ConvolutionMatrix(), expected,
                            std::to_string(rows) + " rows, " + std::to_string(real) + " + " + std::to_string(sub),
                            false);
            }
}

TEST(RiskMatrix, ConvolutionWithoutStorageIsACopyThatKeepsItsBinding)
{
    BindsRow binds;
    binds.Resize(2, 1);
    RiskMatrix noRows(3, 0, true);
    noRows.SetBinding(&binds);
    EXPECT_EQ(noRows.ConvolutionMatrix().ColsCount(), 3u);
    EXPECT_EQ(noRows.ConvolutionMatrix().Binding(), &binds);

    BindsRow noRealPoints;
    noRealPoints.Resize(0, 3);
    RiskMatrix matrix = MatrixOf({{1, 2, 3}});
    matrix.SetBinding(&noRealPoints);
    ExpectCells(matrix.ConvolutionMatrix(), {{1, 2, 3}}, "no real points");
}

TEST(RiskMatrix, ABindingThatDoesNotFitTheMatrixReachesNothingOutside)
{
    BindsRow binds;
    binds.Resize(9, 4);
    for (std::size_t c = 9; c < 13; ++c)
        binds.BindPoint(c, 1000); // no such point
    RiskMatrix narrow = MatrixOf({{1, 2, 3}, {4, 5, 6}});
    narrow.SetBinding(&binds);
    const RiskMatrix widened = narrow.ConvolutionMatrix(); // the sanitizers watch what is read and written
    EXPECT_EQ(widened.ColsCount(), 9u);
    EXPECT_EQ(widened[1][2], 6.0);

    RiskMatrix wide(13, 2, true);
    wide.SetBinding(&binds);
    ExpectCells(wide.ConvolutionMatrix(), Table(2, std::vector<double>(9, 0.0)), "no target", false);
}

TEST(RiskMatrix, TheSumWalksColumnByColumnAndSkipsThePadding)
{
    ForEverySample([](const Table& table, std::size_t cols, const std::string& where) {
        double expected = 0.0;
        for (std::size_t c = 0; c < cols; ++c)
            for (const auto& row : table)
                expected += row[c];
        EXPECT_TRUE(SameBits(MatrixOf(table, cols).sum(), expected)) << where;
    });
    // Column by column: ((1e16 + -1e16) + 1) + 1 = 2. Row by row the first 1 would be lost in 1e16.
    EXPECT_EQ(MatrixOf({{1e16, 1.0}, {-1e16, 1.0}}).sum(), 2.0);
}

TEST(RiskMatrix, EqualityComparesDimensionsAndRealCells)
{
    for (std::size_t rows = 1; rows <= MostRows; ++rows)
        for (std::size_t cols = 1; cols <= WidestRow; ++cols) {
            const RiskMatrix matrix = MatrixOf(Sample(rows, cols, NaNAt::Nowhere, 0.7));
            EXPECT_TRUE(matrix == RiskMatrix(matrix));
            EXPECT_FALSE(matrix != RiskMatrix(matrix));
            RiskMatrix changed(matrix);
            changed[rows - 1][cols - 1] += 1.0;
            EXPECT_TRUE(matrix != changed) << rows << "x" << cols;
        }
    EXPECT_TRUE(RiskMatrix(3, 2, true) != RiskMatrix(2, 3, true));
    EXPECT_TRUE(RiskMatrix(3, 0, true) != RiskMatrix(4, 0, true));
    EXPECT_TRUE(RiskMatrix(3, 0, true) == RiskMatrix(3, 0, true));
    EXPECT_TRUE(RiskMatrix(3, 2, true) == RiskMatrix(3, 2, false)) << "the padding takes no part";
    EXPECT_TRUE(MatrixOf({{0.0}}) == MatrixOf({{-0.0}})) << "numbers are compared, not bytes";
    const RiskMatrix withNaN = MatrixOf({{1.0, NaN}});
    EXPECT_TRUE(withNaN != withNaN) << "a NaN cell makes matrices differ";
}

TEST(RiskMatrix, ResizeTakesTheRowsFirstZeroesAndKeepsTheBinding)
{
    BindsRow binds;
    RiskMatrix matrix(5, 3, true);
    matrix = 7.0;
    matrix.SetBinding(&binds);
    const RiskItem* storage = matrix.pData();
    matrix.resize(3, 5);
    EXPECT_EQ(matrix.pData(), storage) << "same dimensions, nothing happens";
    EXPECT_EQ(matrix[0][0], 7.0);
    matrix.resize(2, 6);
    ExpectCells(matrix, Table(2, std::vector<double>(6, 0.0)), "2 rows of 6");
    EXPECT_EQ(matrix.MedianLineNumber(), 0u);
    EXPECT_EQ(matrix.Binding(), &binds);
}

TEST(RiskMatrix, ResizeRowsToNothingTakesTheColumnsAsWell)
{
    RiskMatrix matrix(5, 3, true);
    matrix.ResizeRows(4);
    ExpectCells(matrix, Table(4, std::vector<double>(5, 0.0)), "4 rows");
    matrix.ResizeRows(0);
    EXPECT_EQ(matrix.RowsCount(), 0u);
    EXPECT_EQ(matrix.ColsCount(), 0u);
    EXPECT_EQ(matrix.pData(), nullptr);
    matrix.ResizeRows(2);
    EXPECT_EQ(matrix.RowsCount(), 2u);
    EXPECT_EQ(matrix.ColsCount(), 0u) << "the columns do not come back";
}

TEST(RiskMatrix, ResizePointSetsTheBindingAlsoWhenTheWidthStays)
{
    BindsRow binds;
    RiskMatrix matrix(5, 2, true);
    matrix = 7.0;
    matrix.ResizePoint(5, &binds);
    EXPECT_EQ(matrix.Binding(), &binds);
    EXPECT_EQ(matrix[1][4], 7.0);
    matrix.ResizePoint(6, nullptr);
    EXPECT_EQ(matrix.Binding(), nullptr);
    ExpectCells(matrix, Table(2, std::vector<double>(6, 0.0)), "wider");
}

TEST(RiskMatrix, ACopyTakesTheBindingAndIsIndependent)
{
    BindsRow binds;
    RiskMatrix source = MatrixOf({{1, 2, 3}, {4, 5, 6}});
    source.SetBinding(&binds);
    RiskMatrix copy(source);
    EXPECT_EQ(copy.Binding(), &binds);
    copy[0][0] = 9.0;
    EXPECT_EQ(source[0][0], 1.0);

    RiskMatrix sameSize(3, 2, true);
    const RiskItem* storage = sameSize.pData();
    sameSize = source;
    EXPECT_EQ(sameSize.pData(), storage) << "storage of the same size is used again";
    ExpectCells(sameSize, {{1, 2, 3}, {4, 5, 6}}, "same size");
    EXPECT_EQ(sameSize.Binding(), &binds);

    RiskMatrix otherSize(17, 4, true);
    otherSize = source;
    ExpectCells(otherSize, {{1, 2, 3}, {4, 5, 6}}, "other size");
    EXPECT_EQ(otherSize.MedianLineNumber(), 0u);

    RiskMatrix& itself = otherSize;
    otherSize = itself;
    ExpectCells(otherSize, {{1, 2, 3}, {4, 5, 6}}, "to itself");

    RiskMatrix shape(6, 1, true); // as many RiskItems, another shape
    shape = source;
    ExpectCells(shape, {{1, 2, 3}, {4, 5, 6}}, "other shape");
}

TEST(RiskMatrix, MoveConstructionLeavesTheBindingInBothAndTheCountersZero)
{
    BindsRow binds;
    RiskMatrix source(5, 3, true);
    source.SetBinding(&binds);
    const RiskItem* storage = source.pData();
    const RiskMatrix moved(std::move(source));
    EXPECT_EQ(moved.pData(), storage);
    EXPECT_EQ(moved.MedianLineNumber(), 1u);
    EXPECT_EQ(moved.Binding(), &binds);
    EXPECT_EQ(source.Binding(), &binds) << "it stays in the source";
    EXPECT_EQ(source.pData(), nullptr);
    EXPECT_EQ(source.RowsCount(), 0u);
    EXPECT_EQ(source.ColsCount(), 0u);
    EXPECT_EQ(source.GetColsRegister(), 0u);
    EXPECT_EQ(source.GetFullSizeRegister(), 0u);
    EXPECT_EQ(source.MedianLineNumber(), 0u) << "zero, unlike a matrix built without rows";
}

TEST(RiskMatrix, MoveAssignmentExchangesTheBindings)
{
    BindsRow ofSource;
    BindsRow ofTarget;
    RiskMatrix source = MatrixOf({{1, 2}, {3, 4}, {5, 6}});
    source.SetBinding(&ofSource);
    RiskMatrix target(9, 2, true);
    target.SetBinding(&ofTarget);
    target = std::move(source);
    ExpectCells(target, {{1, 2}, {3, 4}, {5, 6}}, "target");
    EXPECT_EQ(target.Binding(), &ofSource);
    EXPECT_EQ(source.Binding(), &ofTarget);
    EXPECT_EQ(source.pData(), nullptr);
    EXPECT_EQ(source.RowsCount(), 0u);
    EXPECT_EQ(source.MedianLineNumber(), 0u);

    RiskMatrix& itself = target;
    target = std::move(itself);
    ExpectCells(target, {{1, 2}, {3, 4}, {5, 6}}, "to itself");
}

TEST(RiskMatrix, SwapExchangesEverything)
{
    BindsRow binds;
    RiskMatrix a = MatrixOf({{1, 2}});
    RiskMatrix b = MatrixOf({{3}, {4}, {5}});
    b.SetBinding(&binds);
    a.swap(b);
    ExpectCells(a, {{3}, {4}, {5}}, "a");
    ExpectCells(b, {{1, 2}}, "b");
    EXPECT_EQ(a.Binding(), &binds);
    EXPECT_EQ(b.Binding(), nullptr);
    EXPECT_EQ(a.MedianLineNumber(), 1u);
}

TEST(RiskMatrix, StorageReturnsToThePool)
{
    const std::ptrdiff_t before = LazyMemoryPool::OutstandingBlocks();
    {
        RiskMatrix a(11, 3, true);
        RiskMatrix b(a);
        RiskMatrix c(std::move(a));
        b = std::move(c);
        b.resize(7, 7);
        b.ResizeRows(0);
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), before);
        b = RiskMatrix(2, 2, true).ConvolutionMatrix();
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), before + 1);
    }
    EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), before);
}

} // namespace
} // namespace test::RiskMatrixTest
