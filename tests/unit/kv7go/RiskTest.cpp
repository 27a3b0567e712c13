// Risk: sums, the collapse to one row, half-netting, the mix-in of delivery and the roll-up of sub-points, judged by
// plain loops and by figures that can be checked by eye.

#include "grids/Risk.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "grids/LazyMemoryPool.h"

namespace test::RiskTest {
namespace {

using kv7im::BindsRow;
using kv7im::Parameters;
using kv7im::Profile;
using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::RiskRow;
using kv7im::StoredProfiles;
using Collapse = Risk::CollapseProperty;
using Level = Enums::ClientRiskLevel;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Largest = 1.7976931348623157e308; // the largest finite double

class Instrument : public StoredProfiles
{
public:
    explicit Instrument(const Parameters& parameters) : StoredProfiles(parameters) {}
    void RecalcInvariants() override {}
};

bool SameBits(double a, double b)
{
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

void Fill(RiskMatrix& matrix, double seed)
{
    for (std::size_t r = 0; r < matrix.RowsCount(); ++r)
        for (std::size_t c = 0; c < matrix.ColsCount(); ++c)
            matrix[r][c] = std::sin(seed + static_cast<double>(r * 29 + c) * 1.1) * 1000.0 / 3.0;
}

Parameters Dimensions(std::size_t points, std::size_t scenarios, std::size_t expiration, std::size_t subPoints = 0)
{
    Parameters parameters(points, scenarios);
    parameters.expirationScenariosCount = expiration;
    parameters.subPointsCount = subPoints;
    return parameters;
}

/// A risk with different uneven numbers of both signs everywhere.
Risk Sample(const Parameters& parameters, double seed)
{
    Risk risk(parameters);
    Fill(risk.GetRisk().volatilityMatrix, seed);
    Fill(risk.GetRisk().interestRateMatrix, seed + 0.5);
    Fill(risk.GetRisk().volatilityMismatchMatrix, seed + 1.5);
    Fill(risk.GetRisk().expirationRiskMatrix, seed + 2.5);
    for (std::size_t i = 0; i < 8; ++i)
        risk.GetSpecialRiskPoints().pData()[i] = std::cos(seed + static_cast<double>(i)) * 100.0;
    return risk;
}

/// Applies `change(before, cell)` to every real cell of both matrices and to the twin, and compares to the bit.
template <class Change>
void ExpectEachCell(const RiskMatrix& before, const RiskMatrix& after, Change change, const char* name)
{
    ASSERT_EQ(before.RowsCount(), after.RowsCount()) << name;
    ASSERT_EQ(before.ColsCount(), after.ColsCount()) << name;
    for (std::size_t r = 0; r < before.RowsCount(); ++r)
        for (std::size_t c = 0; c < before.ColsCount(); ++c)
            EXPECT_TRUE(SameBits(after[r][c], change(before[r][c], r, c)))
                << name << " (" << r << ", " << c << "): " << before[r][c] << " became " << after[r][c];
}

template <class Change>
void ExpectAllFour(const Risk& before, const Risk& after, Change change)
{
    ExpectEachCell(before.GetRisk().volatilityMatrix, after.GetRisk().volatilityMatrix, change, "volatility");
    ExpectEachCell(before.GetRisk().interestRateMatrix, after.GetRisk().interestRateMatrix, change, "interest rate");
    ExpectEachCell(before.GetRisk().volatilityMismatchMatrix, after.GetRisk().volatilityMismatchMatrix, change,
                   "mismatch");
    ExpectEachCell(before.GetRisk().expirationRiskMatrix, after.GetRisk().expirationRiskMatrix, change, "expiration");
}

void ExpectRow(const RiskRow& row, const std::vector<double>& expected, const std::string& where)
{
    ASSERT_EQ(row.size(), expected.size()) << where;
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(SameBits(row[i], expected[i]))
            << where << ", point " << i << ": " << row[i] << " is not " << expected[i];
}

TEST(Risk, ANewRiskIsZeroWithTwoRowsOfEachStress)
{
    const Risk risk(Dimensions(5, 3, 4));
    EXPECT_EQ(risk.GetRisk().Volatility(), RiskMatrix(5, 3, true));
    EXPECT_EQ(risk.GetRisk().InterestRate(), RiskMatrix(5, 2, true));
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch(), RiskMatrix(5, 2, true));
    EXPECT_EQ(risk.GetRisk().Expiration(), RiskMatrix(5, 4, true));
    EXPECT_EQ(risk.GetSpecialRiskPoints(), kv7im::SpecialRiskPoints());
    EXPECT_EQ(risk.GetRisk().Volatility().Binding(), nullptr);
}

TEST(Risk, ARiskOfAnInstrumentIsADeepCopyOfThatLevel)
{
    BindsRow binds;
    binds.Resize(5, 2);
    Instrument instrument(Dimensions(5, 3, 0));
    Profile& profile = instrument.GetProfile(Level::High);
    profile.ExpandSubPoints(2, &binds);
    profile.volatilityMatrix = 8.0;
    profile.specialRiskPoints.SetZR(3.0);

    Risk risk(instrument, Level::High);
    EXPECT_EQ(risk.GetRisk(), profile);
    EXPECT_EQ(risk.GetRisk().GetParameters().subPointsCount, 2u);
    EXPECT_EQ(risk.GetRisk().volatilityMatrix.Binding(), &binds);
    EXPECT_EQ(risk.GetRisk().interestRateMatrix.Binding(), &binds);
    EXPECT_EQ(risk.GetRisk().volatilityMismatchMatrix.Binding(), &binds);
    EXPECT_EQ(risk.GetRisk().expirationRiskMatrix.Binding(), &binds);
    risk += 1.0;
    EXPECT_EQ(profile.volatilityMatrix[0][0], 8.0) << "the instrument keeps its own";
}

TEST(Risk, ANumberIsAddedToAllMatricesAndToThePricesAmongThePoints)
{
    const Risk before = Sample(Dimensions(6, 3, 2), 0.3);
    Risk sum = before;
    sum += 0.1;
    ExpectAllFour(before, sum, [](double x, std::size_t, std::size_t) { return x + 0.1; });
    EXPECT_EQ(sum.GetSpecialRiskPoints().GetZL(), before.GetSpecialRiskPoints().GetZL() + 0.1);
    EXPECT_EQ(sum.GetSpecialRiskPoints().GetZR(), before.GetSpecialRiskPoints().GetZR() + 0.1);
    EXPECT_EQ(sum.GetSpecialRiskPoints().GetDownRisk(), before.GetSpecialRiskPoints().GetDownRisk());
    EXPECT_EQ(sum.GetSpecialRiskPoints().GetUpRisk(), before.GetSpecialRiskPoints().GetUpRisk());

    Risk difference = before;
    difference -= 0.1;
    ExpectAllFour(before, difference, [](double x, std::size_t, std::size_t) { return x - 0.1; });
    EXPECT_EQ(difference.GetSpecialRiskPoints().GetPnL2D(), before.GetSpecialRiskPoints().GetPnL2D() - 0.1);
    EXPECT_EQ(difference.GetSpecialRiskPoints().GetUpRisk(), before.GetSpecialRiskPoints().GetUpRisk());
}

TEST(Risk, AProductTakesAllMatricesAndAllEightPoints)
{
    const Risk before = Sample(Dimensions(6, 3, 2), 0.3);
    Risk product = before;
    product *= -0.3;
    ExpectAllFour(before, product, [](double x, std::size_t, std::size_t) { return x * -0.3; });
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(product.GetSpecialRiskPoints().pData()[i], before.GetSpecialRiskPoints().pData()[i] * -0.3);
}

TEST(Risk, SumsOfRisksAreCellByCell)
{
    const Risk a = Sample(Dimensions(6, 3, 2), 0.3);
    const Risk b = Sample(Dimensions(6, 3, 2), 5.1);
    Risk sum = a;
    sum += b;
    Risk difference = a;
    difference -= b;
    const RiskMatrix Profile::*const matrices[] = {&Profile::volatilityMatrix, &Profile::interestRateMatrix,
                                                   &Profile::volatilityMismatchMatrix, &Profile::expirationRiskMatrix};
    for (const auto matrix : matrices) {
        const RiskMatrix& other = b.GetRisk().*matrix;
        ExpectEachCell(
            a.GetRisk().*matrix, sum.GetRisk().*matrix,
            [&](double x, std::size_t r, std::size_t c) { return x + other[r][c]; }, "sum");
        ExpectEachCell(
            a.GetRisk().*matrix, difference.GetRisk().*matrix,
            [&](double x, std::size_t r, std::size_t c) { return x - other[r][c]; }, "difference");
    }
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(sum.GetSpecialRiskPoints().pData()[i],
                  a.GetSpecialRiskPoints().pData()[i] + b.GetSpecialRiskPoints().pData()[i]);
        EXPECT_EQ(difference.GetSpecialRiskPoints().pData()[i],
                  a.GetSpecialRiskPoints().pData()[i] - b.GetSpecialRiskPoints().pData()[i]);
    }
}

TEST(Risk, DeliveryRowsTakePartOnlyWhereBothSidesHaveSome)
{
    Risk without = Sample(Dimensions(6, 3, 0), 0.3);
    const Risk with = Sample(Dimensions(6, 3, 2), 5.1);
    without += with;
    EXPECT_EQ(without.GetRisk().Expiration().RowsCount(), 0u);
    EXPECT_EQ(without.GetRisk().Expiration().pData(), nullptr);

    Risk kept = with;
    kept += Sample(Dimensions(6, 3, 0), 0.3);
    kept -= Sample(Dimensions(6, 3, 0), 0.3);
    EXPECT_EQ(kept.GetRisk().Expiration(), with.GetRisk().Expiration());

    Risk declined = with; // the count decides, not the rows that happen to be there
    declined.GetRisk().profileParameters.expirationScenariosCount = 0;
    Risk left = with;
    left += declined;
    left -= declined;
    EXPECT_EQ(left.GetRisk().Expiration(), with.GetRisk().Expiration());
    declined += with;
    EXPECT_EQ(declined.GetRisk().Expiration(), with.GetRisk().Expiration());
}

TEST(Risk, ARowGoesIntoTheThreeMatricesAndNowhereElse)
{
    RiskMatrix source(6, 2, true);
    Fill(source, 9.0);
    const Risk before = Sample(Dimensions(6, 3, 2), 0.3);
    const auto plus = [&](double x, std::size_t, std::size_t c) { return x + source[1][c]; };
    const auto minus = [&](double x, std::size_t, std::size_t c) { return x - source[1][c]; };
    Risk sum = before;
    sum += source[1];
    ExpectEachCell(before.GetRisk().volatilityMatrix, sum.GetRisk().volatilityMatrix, plus, "volatility");
    ExpectEachCell(before.GetRisk().interestRateMatrix, sum.GetRisk().interestRateMatrix, plus, "interest rate");
    ExpectEachCell(before.GetRisk().volatilityMismatchMatrix, sum.GetRisk().volatilityMismatchMatrix, plus, "mismatch");
    Risk difference = before;
    difference -= source[1];
    ExpectEachCell(before.GetRisk().volatilityMatrix, difference.GetRisk().volatilityMatrix, minus, "volatility");
    ExpectEachCell(before.GetRisk().interestRateMatrix, difference.GetRisk().interestRateMatrix, minus, "rate");
    ExpectEachCell(before.GetRisk().volatilityMismatchMatrix, difference.GetRisk().volatilityMismatchMatrix, minus,
                   "mismatch");
    EXPECT_EQ(sum.GetRisk().Expiration(), before.GetRisk().Expiration());
    EXPECT_EQ(sum.GetSpecialRiskPoints(), before.GetSpecialRiskPoints());
    EXPECT_EQ(difference.GetSpecialRiskPoints(), before.GetSpecialRiskPoints());
}

TEST(Risk, BoundsKeepANaNCellAndReplaceANaNPoint)
{
    Risk before = Sample(Dimensions(6, 3, 2), 0.3);
    before.GetRisk().expirationRiskMatrix[1][2] = NaN;
    before.GetSpecialRiskPoints().SetPnL3U(NaN);
    Risk above = before;
    above.BoundValuesFromAbove(10.0);
    ExpectAllFour(before, above, [](double x, std::size_t, std::size_t) { return x > 10.0 ? 10.0 : x; });
    EXPECT_EQ(above.GetSpecialRiskPoints().GetPnL3U(), 10.0);
    Risk below = before;
    below.BoundValuesFromBelow(-10.0);
    ExpectAllFour(before, below, [](double x, std::size_t, std::size_t) { return x < -10.0 ? -10.0 : x; });
    EXPECT_EQ(below.GetSpecialRiskPoints().GetPnL3U(), -10.0);
}

TEST(Risk, ComparisonLooksPastTheDeliveryRows)
{
    const Risk risk = Sample(Dimensions(6, 3, 2), 0.3);
    Risk other = risk;
    other.GetRisk().expirationRiskMatrix = 1.0;
    EXPECT_TRUE(risk == other);
    other.GetRisk().volatilityMatrix[0][0] += 1.0;
    EXPECT_TRUE(risk != other);
}

/// The collapse of matrices without sub-points, cell by cell.
std::vector<double> CollapsedByHand(const Profile& profile, std::size_t cols, double limit)
{
    const auto worst = [](const RiskMatrix& matrix, std::size_t column) {
        double smallest = Largest;
        for (std::size_t r = 0; r < matrix.RowsCount(); ++r) {
            const double cell = std::isnan(matrix[r][column]) ? 0.0 : matrix[r][column];
            smallest = cell < smallest ? cell : smallest;
        }
        return smallest;
    };
    std::vector<double> row(cols);
    for (std::size_t c = 0; c < cols; ++c) {
        double value = worst(profile.volatilityMatrix, c);
        if (profile.interestRateMatrix.RowsCount() != 0) value += worst(profile.interestRateMatrix, c);
        if (profile.volatilityMismatchMatrix.RowsCount() != 0) value += worst(profile.volatilityMismatchMatrix, c);
        row[c] = value < limit ? value : limit;
    }
    return row;
}

TEST(RiskCollapse, IsThePlainLoopForEveryWidthAndNumberOfRows)
{
    for (std::size_t rows = 1; rows <= 4; ++rows)
        for (std::size_t cols = 0; cols <= 17; ++cols)
            for (int hole = 0; hole < 4; ++hole) { // NaN nowhere, in the first column, in the last, everywhere
                Risk risk = Sample(Dimensions(cols, rows, 0), 0.3);
                for (std::size_t c = 0; c < cols; ++c)
                    if (hole == 3 || (hole == 1 && c == 0) || (hole == 2 && c + 1 == cols)) {
                        risk.GetRisk().volatilityMatrix[rows - 1][c] = NaN;
                        risk.GetRisk().interestRateMatrix[0][c] = NaN;
                        risk.GetRisk().volatilityMismatchMatrix[1][c] = NaN;
                    }
                const std::string where =
                    std::to_string(rows) + "x" + std::to_string(cols) + ", NaN case " + std::to_string(hole);
                const Profile& profile = risk.GetRisk();
                ExpectRow(risk.CollapseToRiskRow(Collapse::NegativeAndPositive),
                          CollapsedByHand(profile, cols, Largest), where + " NegativeAndPositive");
                ExpectRow(risk.CollapseToRiskRow(Collapse::Negative), CollapsedByHand(profile, cols, 0.0),
                          where + " Negative");
                ExpectRow(risk.CollapseToRiskRow(Collapse::CumulativePerformance), CollapsedByHand(profile, cols, 0.0),
                          where + " CumulativePerformance");
            }
}

TEST(RiskCollapse, AddsTheWorstOfEachMatrixAlone)
{
    // Point 0: min(10, -4) + min(-1, 2) + min(-3, -5) = -4 - 1 - 5 = -10. The three worsts need not fit together.
    Risk risk(Dimensions(1, 2, 0));
    risk.GetRisk().volatilityMatrix[0][0] = 10.0;
    risk.GetRisk().volatilityMatrix[1][0] = -4.0;
    risk.GetRisk().interestRateMatrix[0][0] = -1.0;
    risk.GetRisk().interestRateMatrix[1][0] = 2.0;
    risk.GetRisk().volatilityMismatchMatrix[0][0] = -3.0;
    risk.GetRisk().volatilityMismatchMatrix[1][0] = -5.0;
    ExpectRow(risk.CollapseToRiskRow(Collapse::NegativeAndPositive), {-10.0}, "by eye");
}

TEST(RiskCollapse, AProfitStaysAProfitUnlessOnlyLossesAreAskedFor)
{
    Risk risk(Dimensions(5, 3, 0));
    risk += 2.0; // all cells of all matrices: 2 + 2 + 2
    ExpectRow(risk.CollapseToRiskRow(Collapse::NegativeAndPositive), {6, 6, 6, 6, 6}, "NegativeAndPositive");
    ExpectRow(risk.CollapseToRiskRow(Collapse::Negative), {0, 0, 0, 0, 0}, "Negative");
    ExpectRow(risk.CollapseToRiskRow(Collapse::CumulativePerformance), {0, 0, 0, 0, 0}, "CumulativePerformance");
}

TEST(RiskCollapse, ThePaddingOfTheRowReadsZero)
{
    const RiskRow row = Sample(Dimensions(5, 3, 0), 0.3).CollapseToRiskRow(Collapse::NegativeAndPositive);
    ASSERT_EQ(row.GetRegisterCount(), 2u);
    for (std::size_t lane = 5; lane < 8; ++lane)
        EXPECT_EQ(row[lane], 0.0) << lane;
}

TEST(RiskCollapse, WithoutColumnsTheRowIsEmpty)
{
    const RiskRow row = Risk(Parameters(0, 0)).CollapseToRiskRow(Collapse::NegativeAndPositive);
    EXPECT_EQ(row.size(), 0u);
    EXPECT_EQ(row.min(), Largest);
}

TEST(RiskCollapse, SubPointsAreFoldedIntoTheirRealPointsFirst)
{
    // Real points 0 to 2, sub-points 3 and 4, both bound to point 1.
    // Volatility: min(7, 2, -9) = -9 at point 1. Rates: min(0, -1, 5) = -1. Together -10; the other points stay 7.
    BindsRow binds;
    binds.Resize(3, 2);
    for (std::size_t c = 0; c < 5; ++c)
        binds.BindPoint(c, c < 3 ? c : 1);
    binds.AlignBindsRow();
    Risk risk(Dimensions(3, 1, 0));
    risk.GetRisk().ExpandSubPoints(2, &binds);
    risk.GetRisk().volatilityMatrix = 7.0;
    risk.GetRisk().volatilityMatrix[0][3] = 2.0;
    risk.GetRisk().volatilityMatrix[0][4] = -9.0;
    risk.GetRisk().interestRateMatrix[0][3] = -1.0;
    risk.GetRisk().interestRateMatrix[1][4] = 5.0;
    ExpectRow(risk.CollapseToRiskRow(Collapse::NegativeAndPositive), {7, -10, 7}, "folded");
    ExpectRow(risk.CollapseToRiskRow(Collapse::Negative), {0, -10, 0}, "folded, losses only");
}

TEST(RiskCollapse, TakesNothingFromTheSystemInTheSteadyState)
{
    using kv7im::auxiliary::LazyMemoryPool;
    Risk node = Sample(Dimensions(11, 3, 2), 0.3);
    const auto change = [&node] {
        Risk position = Sample(Dimensions(11, 3, 2), 1.3);
        position *= 2.0;
        node += position;
        const RiskRow row = node.CollapseToRiskRow(Collapse::NegativeAndPositive);
        Risk transformed = node;
        transformed.TransformMatrixByHalfNetting();
        transformed.MixinExpirationRiskOnVolatility();
        return row.min();
    };
    static_cast<void>(change());
    const std::size_t before = LazyMemoryPool::SystemAllocations();
    for (int i = 0; i < 100; ++i)
        static_cast<void>(change());
    EXPECT_EQ(LazyMemoryPool::SystemAllocations(), before);
}

TEST(RiskHalfNetting, TheCentralScenarioTakesTheRateStressButNoMismatch)
{
    // ir = min(-2, 0) = -2, vm = min(-1, 3) = -1.
    // Central row: min(0, -2 + 5) = 0 and min(0, -2 + 1) = -1. The others: min(0, (-2 + 5) - 1) = 0, min(0, (-2 + 1) -
    // 1) = -2.
    Risk risk(Dimensions(2, 3, 0));
    for (std::size_t row = 0; row < 3; ++row) {
        risk.GetRisk().volatilityMatrix[row][0] = 5.0;
        risk.GetRisk().volatilityMatrix[row][1] = 1.0;
    }
    risk.GetRisk().InterestRateUp() = -2.0;
    risk.GetRisk().VolatilityMismatchUp() = -1.0;
    risk.GetRisk().VolatilityMismatchDown() = 3.0;
    risk.GetSpecialRiskPoints().SetZL(-7.0);
    risk.GetSpecialRiskPoints().SetUpRisk(7.0);
    risk.GetSpecialRiskPoints().SetDownRisk(NaN);
    risk.TransformMatrixByHalfNetting();
    RiskMatrix expected(2, 3, true);
    expected[0][1] = -2.0;
    expected[1][1] = -1.0;
    expected[2][1] = -2.0;
    EXPECT_EQ(risk.GetRisk().Volatility(), expected);
    EXPECT_EQ(risk.GetRisk().InterestRate(), RiskMatrix(2, 2, true));
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch(), RiskMatrix(2, 2, true));
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetZL(), -7.0);
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetUpRisk(), 0.0);
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetDownRisk(), 0.0) << "the bound takes the place of a NaN";
}

TEST(RiskHalfNetting, StressesFoldedAloneKeepTheGainsThatItCuts)
{
    // The worst of the rates is -2, of the mismatch -1, which the central row is spared: 5 - 2 - 1, 5 - 2, 5 - 2 - 1.
    Risk risk(Dimensions(1, 3, 0));
    for (std::size_t row = 0; row < 3; ++row)
        risk.GetRisk().volatilityMatrix[row][0] = 5.0;
    risk.GetRisk().InterestRateUp() = -2.0;
    risk.GetRisk().VolatilityMismatchDown() = -1.0;
    risk.GetSpecialRiskPoints().SetUpRisk(7.0);
    risk.FoldStressesIntoVolatility();
    EXPECT_EQ(risk.GetRisk().Volatility()[0][0], 2.0);
    EXPECT_EQ(risk.GetRisk().Volatility()[1][0], 3.0);
    EXPECT_EQ(risk.GetRisk().Volatility()[2][0], 2.0);
    EXPECT_EQ(risk.GetRisk().InterestRate(), RiskMatrix(1, 2, true));
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch(), RiskMatrix(1, 2, true));
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetUpRisk(), 7.0);
}

TEST(RiskHalfNetting, ANaNCellAndThePaddingStayNaN)
{
    Risk risk = Sample(Dimensions(5, 3, 0), 0.3);
    risk.GetRisk().volatilityMatrix[0][2] = NaN;
    risk.TransformMatrixByHalfNetting();
    const RiskMatrix& volatility = risk.GetRisk().Volatility();
    EXPECT_TRUE(std::isnan(volatility[0][2]));
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t lane = 5; lane < 8; ++lane)
            EXPECT_TRUE(std::isnan(volatility[row][lane])) << row << ", " << lane;
}

TEST(RiskHalfNetting, IsThePlainLoopUnderAnyCeilingAndLeavesDeliveryAlone)
{
    for (std::size_t rows = 1; rows <= 4; ++rows)
        for (std::size_t cols = 1; cols <= 17; ++cols)
            for (const double ceiling : {0.0, 60.0}) {
                const Risk before = Sample(Dimensions(cols, rows, 2), 0.3);
                Risk after = before;
                if (ceiling == 0.0)
                    after.TransformMatrixByHalfNetting();
                else
                    after.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
                const RiskMatrix& rate = before.GetRisk().InterestRate();
                const RiskMatrix& mismatch = before.GetRisk().VolatilityMismatch();
                const std::size_t median = rows % 2 == 0 ? rows / 2 - 1 : rows / 2;
                ExpectEachCell(
                    before.GetRisk().Volatility(), after.GetRisk().Volatility(),
                    [&](double x, std::size_t r, std::size_t c) {
                        const double ir = std::min(rate[0][c], rate[1][c]);
                        const double vm = std::min(mismatch[0][c], mismatch[1][c]);
                        const double stressed = r == median ? ir + x : (ir + x) + vm;
                        return ceiling < stressed ? ceiling : stressed;
                    },
                    "volatility");
                EXPECT_EQ(after.GetRisk().InterestRate(), RiskMatrix(cols, 2, true));
                EXPECT_EQ(after.GetRisk().VolatilityMismatch(), RiskMatrix(cols, 2, true));
                EXPECT_EQ(after.GetRisk().Expiration(), before.GetRisk().Expiration());
                for (std::size_t i = 0; i < 8; ++i)
                    EXPECT_EQ(after.GetSpecialRiskPoints().pData()[i],
                              std::min(before.GetSpecialRiskPoints().pData()[i], ceiling));
            }
}

TEST(RiskMixin, EveryVolatilityRowBecomesTheWorstDeliveryOutcome)
{
    // Delivery rows {-3, NaN, 4} and {2, NaN, -1}: the worst are -3, nothing (the largest double) and -1.
    Risk risk = Sample(Dimensions(3, 3, 2), 0.3);
    const double rows[2][3] = {{-3, NaN, 4}, {2, NaN, -1}};
    for (std::size_t r = 0; r < 2; ++r)
        for (std::size_t c = 0; c < 3; ++c)
            risk.GetRisk().expirationRiskMatrix[r][c] = rows[r][c];
    const kv7im::SpecialRiskPoints points = risk.GetSpecialRiskPoints();
    risk.MixinExpirationRiskOnVolatility();
    for (std::size_t r = 0; r < 3; ++r) {
        EXPECT_EQ(risk.GetRisk().Volatility()[r][0], -3.0);
        EXPECT_EQ(risk.GetRisk().Volatility()[r][1], Largest) << "a price out of all scenarios is no loss";
        EXPECT_EQ(risk.GetRisk().Volatility()[r][2], -1.0);
        EXPECT_EQ(risk.GetRisk().Volatility()[r][3], Largest) << "the padding too";
    }
    EXPECT_EQ(risk.GetRisk().InterestRate(), RiskMatrix(3, 2, true));
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch(), RiskMatrix(3, 2, true));
    EXPECT_EQ(risk.GetRisk().Expiration().RowsCount(), 0u);
    EXPECT_FALSE(risk.GetRisk().GetParameters().hasExpiration());
    EXPECT_EQ(risk.GetSpecialRiskPoints(), points);
    const RiskRow row = risk.CollapseToRiskRow(Collapse::NegativeAndPositive);
    EXPECT_EQ(row.min(), -3.0) << "the largest double drops out of the minimum";
}

TEST(RiskMixin, WithoutDeliveryRowsNothingChangesSoASecondCallDoesNothing)
{
    const Risk before = Sample(Dimensions(5, 3, 0), 0.3);
    Risk after = before;
    after.MixinExpirationRiskOnVolatility();
    EXPECT_EQ(after, before);
    EXPECT_EQ(after.GetRisk().Expiration().ColsCount(), 5u);

    Risk mixed = Sample(Dimensions(5, 3, 2), 0.3);
    mixed.MixinExpirationRiskOnVolatility();
    mixed.GetRisk().InterestRateUp() = -1.0;
    const Risk once = mixed;
    mixed.MixinExpirationRiskOnVolatility();
    EXPECT_EQ(mixed, once);
}

TEST(RiskRollup, TheTargetGetsTheFoldedMatricesAndKeepsItsParameters)
{
    BindsRow binds;
    binds.Resize(5, 3);
    const std::size_t targets[] = {0, 1, 2, 3, 4, 0, 4, 4};
    for (std::size_t c = 0; c < 8; ++c)
        binds.BindPoint(c, targets[c]);
    binds.AlignBindsRow();
    Risk series = Sample(Dimensions(5, 3, 2, 3), 0.3);
    for (RiskMatrix* matrix : {&series.GetRisk().volatilityMatrix, &series.GetRisk().interestRateMatrix,
                               &series.GetRisk().volatilityMismatchMatrix, &series.GetRisk().expirationRiskMatrix})
        matrix->SetBinding(&binds);

    Risk target(Dimensions(5, 3, 2));
    series.GetRollupedRisk(target);
    const RiskMatrix Profile::*const matrices[] = {&Profile::volatilityMatrix, &Profile::interestRateMatrix,
                                                   &Profile::volatilityMismatchMatrix, &Profile::expirationRiskMatrix};
    for (const auto member : matrices) {
        const RiskMatrix& wide = series.GetRisk().*member;
        const RiskMatrix& folded = target.GetRisk().*member;
        ASSERT_EQ(folded.ColsCount(), 5u);
        ASSERT_EQ(folded.RowsCount(), wide.RowsCount());
        EXPECT_EQ(folded.Binding(), nullptr);
        for (std::size_t r = 0; r < wide.RowsCount(); ++r) {
            EXPECT_EQ(folded[r][0], std::min(wide[r][0], wide[r][5]));
            EXPECT_EQ(folded[r][2], wide[r][2]);
            EXPECT_EQ(folded[r][4], std::min(std::min(wide[r][4], wide[r][6]), wide[r][7]));
        }
    }
    EXPECT_EQ(target.GetSpecialRiskPoints(), series.GetSpecialRiskPoints());
    EXPECT_EQ(target.GetRisk().GetParameters().subPointsCount, 0u);
    EXPECT_EQ(series.GetRisk().GetParameters().subPointsCount, 3u);

    const Risk folded = series.OnRealPoints();
    EXPECT_EQ(folded, target);
    EXPECT_EQ(folded.GetRisk().Expiration(), target.GetRisk().Expiration());
    EXPECT_EQ(folded.GetRisk().GetParameters().subPointsCount, 0u);
}

TEST(RiskRollup, WithoutSubPointsARiskIsOnRealPointsAsItStands)
{
    const Risk risk = Sample(Dimensions(5, 3, 2), 0.3);
    const Risk same = risk.OnRealPoints();
    EXPECT_EQ(same, risk);
    EXPECT_EQ(same.GetRisk().Expiration(), risk.GetRisk().Expiration());
    EXPECT_EQ(same.GetRisk().GetParameters().expirationScenariosCount, 2u);
}

} // namespace
} // namespace test::RiskTest
