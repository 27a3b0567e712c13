// The eight special points: their arithmetic, the concentration floors and the curvature.

#include "grids/SpecialRiskPoints.h"

#include <array>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "instruments/SpecBaseContract.h"

namespace test::SpecialRiskPointsTest {
namespace {

using kv7im::RiskRow;
using kv7im::SpecialRiskPoints;
using Level = Enums::ClientRiskLevel;
using Eight = std::array<double, 8>; // DownRisk, ZL, PnL3D, PnL2D, PnL2U, PnL3U, ZR, UpRisk

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Largest = 1.7976931348623157e308; // the largest finite double

SpecialRiskPoints PointsOf(const Eight& values)
{
    SpecialRiskPoints points;
    for (std::size_t i = 0; i < values.size(); ++i)
        points.pData()[i] = values[i];
    return points;
}

void ExpectPoints(const SpecialRiskPoints& points, const Eight& expected, const std::string& where)
{
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::isnan(expected[i]))
            EXPECT_TRUE(std::isnan(points.pData()[i])) << where << ", point " << i << ": " << points.pData()[i];
        else
            EXPECT_EQ(points.pData()[i], expected[i]) << where << ", point " << i;
    }
}

/// A contract whose rates are set by the test at one level: the figures of that level count, no other.
kv7im::CSpecBaseContract Contract(double limit1, double limit2, Level level, const std::array<double, 3>& down,
                                  const std::array<double, 3>& up)
{
    BaseContractSample parameters;
    parameters.MarketRisk = parameters.MarketRisk1 = parameters.MarketRisk2 = kv7im::RiskLevelIndexedArray<double>(0.9);
    kv7im::CSpecBaseContract contract(parameters, 0.0);
    contract.ConcentrationLimit1Spot = limit1;
    contract.ConcentrationLimit2Spot = limit2;
    contract.MarketRiskDown[level] = down[0];
    contract.MarketRisk1Down[level] = down[1];
    contract.MarketRisk2Down[level] = down[2];
    contract.MarketRiskUp[level] = up[0];
    contract.MarketRisk1Up[level] = up[1];
    contract.MarketRisk2Up[level] = up[2];
    return contract;
}

/// A row of five price points with the given edges.
RiskRow RowWithEdges(double lowest, double highest)
{
    RiskRow row(std::size_t{5});
    row[0] = lowest;
    row[4] = highest;
    return row;
}

TEST(SpecialRiskPoints, NewOnesAreZero)
{
    ExpectPoints(SpecialRiskPoints(), {0, 0, 0, 0, 0, 0, 0, 0}, "new");
    EXPECT_EQ(SpecialRiskPoints::size(), 8u);
}

TEST(SpecialRiskPoints, TheAccessorsReachTheirPlaces)
{
    SpecialRiskPoints points;
    points.SetDownRisk(1);
    points.SetZL(2);
    points.SetPnL3D(3);
    points.SetPnL2D(4);
    points.SetPnL2U(5);
    points.SetPnL3U(6);
    points.SetZR(7);
    points.SetUpRisk(8);
    ExpectPoints(points, {1, 2, 3, 4, 5, 6, 7, 8}, "set");
    EXPECT_EQ(points.GetDownRisk(), 1);
    EXPECT_EQ(points.GetZL(), 2);
    EXPECT_EQ(points.GetPnL3D(), 3);
    EXPECT_EQ(points.GetPnL2D(), 4);
    EXPECT_EQ(points.GetPnL2U(), 5);
    EXPECT_EQ(points.GetPnL3U(), 6);
    EXPECT_EQ(points.GetZR(), 7);
    EXPECT_EQ(points.GetUpRisk(), 8);
}

TEST(SpecialRiskPoints, ANumberShiftsThePricesAndLeavesTheChargesAlone)
{
    SpecialRiskPoints points = PointsOf({1, 2, 3, 4, 5, 6, 7, 8});
    points += 10;
    ExpectPoints(points, {1, 12, 13, 14, 15, 16, 17, 8}, "+=");
    points -= 20;
    ExpectPoints(points, {1, -8, -7, -6, -5, -4, -3, 8}, "-=");
}

TEST(SpecialRiskPoints, ProductsAndSumsTakeAllEight)
{
    SpecialRiskPoints points = PointsOf({1, 2, 3, 4, 5, 6, 7, 8});
    points *= -2;
    ExpectPoints(points, {-2, -4, -6, -8, -10, -12, -14, -16}, "*=");
    points += PointsOf({1, 1, 1, 1, 2, 2, 2, 2});
    ExpectPoints(points, {-1, -3, -5, -7, -8, -10, -12, -14}, "+=");
    points -= PointsOf({-1, -3, -5, -7, -8, -10, -12, -14});
    ExpectPoints(points, {0, 0, 0, 0, 0, 0, 0, 0}, "-=");
}

TEST(SpecialRiskPoints, AShiftOfAllTakesTheChargesToo)
{
    SpecialRiskPoints points = PointsOf({1, 2, 3, 4, 5, 6, 7, 8});
    points.ShiftAll(0.5);
    ExpectPoints(points, {1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5}, "shift");
}

TEST(StressPoints, TheTableHasThemFromTheLowestPriceToTheHighest)
{
    using kv7im::stress::Kind;
    using kv7im::stress::Side;
    const std::array<kv7im::stress::Point, 8> expected{{
        {SpecialRiskPoints::DownRisk, "DownRisk", Side::Below, Kind::Charge},
        {SpecialRiskPoints::ZL, "ZL", Side::Below, Kind::Tail},
        {SpecialRiskPoints::PnL3D, "PnL3D", Side::Below, Kind::Step},
        {SpecialRiskPoints::PnL2D, "PnL2D", Side::Below, Kind::Step},
        {SpecialRiskPoints::PnL2U, "PnL2U", Side::Above, Kind::Step},
        {SpecialRiskPoints::PnL3U, "PnL3U", Side::Above, Kind::Step},
        {SpecialRiskPoints::ZR, "ZR", Side::Above, Kind::Tail},
        {SpecialRiskPoints::UpRisk, "UpRisk", Side::Above, Kind::Charge},
    }};
    ASSERT_EQ(kv7im::stress::Points.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const kv7im::stress::Point& row = kv7im::stress::Points[i];
        EXPECT_EQ(row.name, expected[i].name);
        EXPECT_EQ(row.point, i) << row.name;
        EXPECT_EQ(row.side, expected[i].side) << row.name;
        EXPECT_EQ(row.kind, expected[i].kind) << row.name;
        EXPECT_EQ(row.IsPrice(), i != 0 && i != 7) << row.name << ": a charge is no price";
    }
}

TEST(SpecialRiskPoints, BoundsReplaceANaNByTheBound)
{
    const Eight values = {NaN, -5, -1, 0, 1, 5, NaN, 9};
    SpecialRiskPoints above = PointsOf(values);
    above.BoundValuesFromAbove(2);
    ExpectPoints(above, {2, -5, -1, 0, 1, 2, 2, 2}, "from above");
    SpecialRiskPoints below = PointsOf(values);
    below.BoundValuesFromBelow(-2);
    ExpectPoints(below, {-2, -2, -1, 0, 1, 5, -2, 9}, "from below");
}

TEST(SpecialRiskPoints, TheMinimumPassesOverNaN)
{
    EXPECT_EQ(PointsOf({NaN, 4, 3, -2, 5, 6, 7, NaN}).min(), -2.0);
    EXPECT_EQ(PointsOf({NaN, NaN, NaN, NaN, NaN, NaN, NaN, NaN}).min(), Largest);
    for (std::size_t at = 0; at < 8; ++at) {
        Eight values{};
        values[at] = -1.5;
        EXPECT_EQ(PointsOf(values).min(), -1.5) << "point " << at;
    }
}

TEST(SpecialRiskPoints, EqualityIsOfNumbers)
{
    EXPECT_TRUE(PointsOf({1, 2, 3, 4, 5, 6, 7, 8}) == PointsOf({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_TRUE(PointsOf({1, 2, 3, 4, 5, 6, 7, 8}) != PointsOf({1, 2, 3, 4, 5, 6, 7, 9}));
    EXPECT_TRUE(PointsOf({0, 0, 0, 0, 0, 0, 0, 0}) == PointsOf({-0.0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(PointsOf({NaN, 0, 0, 0, 0, 0, 0, 0}) != PointsOf({NaN, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SpecialRiskPointsCorrection, StressPointsAreNoBetterThanThePositionWornDownTierByTier)
{
    // Rates 1/8, 1/4, 1/2 down and 1/4, 1/2, 1 up, limits 100 and 300: exact in binary.
    // Down: a = |-50 / 0.125| = 400. First 100, second min(400, 300) - 100 = 200, third 400 - 300 = 100.
    //   2D = -100 x 0.125 - (200 + 100) x 0.25 = -12.5 - 75 = -87.5
    //   3D = -100 x 0.125 - 0.25 x 200 - 100 x 0.5 = -12.5 - 50 - 50 = -112.5
    // Up: a = |-40 / 0.25| = 160. First 100, second 60, third 0.
    //   2U = -100 x 0.25 - 60 x 0.5 = -55, 3U = -25 - 0.5 x 60 - 0 = -55
    // -500 / -87.5 etc. are rounded, but max(floor, p) = floor here and floor / p x p comes back exactly for p = -512.
    const auto contract = Contract(100, 300, Level::Medium, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({-1000, -1000, -512, -512, -512, -512, -1000, -1000});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(-50, -40), contract, Level::Medium);
    ExpectPoints(corrected, {-1000, -1000, -112.5, -87.5, -55, -55, -1000, -1000}, "floors");
}

TEST(SpecialRiskPointsCorrection, ThePartBeyondTheSecondLimitPaysTheThirdRateInTheFarStepOnly)
{
    // Both sides reach past both limits: a = |-50 / 0.125| = |-100 / 0.25| = 400, worn down to 100, 200 and 100.
    //   2D = -12.5 - 300 x 0.25 = -87.5    3D = -12.5 - 200 x 0.25 - 100 x 0.5 = -112.5
    //   2U = -25 - 300 x 0.5 = -175        3U = -25 - 200 x 0.5 - 100 x 1 = -225
    const auto contract = Contract(100, 300, Level::Medium, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({0, 0, -512, -512, -512, -512, 0, 0});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(-50, -100), contract, Level::Medium);
    ExpectPoints(corrected, {0, 0, -112.5, -87.5, -175, -225, 0, 0}, "all three tiers at both sides");
}

TEST(SpecialRiskPointsCorrection, APointAboveItsFloorStays)
{
    const auto contract = Contract(100, 300, Level::High, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({1, 2, -100, -80, 16, -50, 3, 4});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(-50, -40), contract, Level::High);
    ExpectPoints(corrected, {1, 2, -100, -80, 16, -50, 3, 4}, "better than the floors of the test above");
}

TEST(SpecialRiskPointsCorrection, TheSizeOfTheEdgeCountsAndNotItsSign)
{
    // A profit of 50 at the edge is the same amount of 400 as a loss of 50.
    const auto contract = Contract(100, 300, Level::Low, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({0, 0, -512, -512, -512, -512, 0, 0});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(50, 40), contract, Level::Low);
    ExpectPoints(corrected, {0, 0, -112.5, -87.5, -55, -55, 0, 0}, "profit at both edges");
}

TEST(SpecialRiskPointsCorrection, AnAmountBelowTheFirstLimitPaysTheFirstRateOnly)
{
    // a = 10 / 0.125 = 80: first 80, second max(80 - 100, 0) = 0, third max(80 - 300, 0) = 0. Both floors -80 x 0.125.
    const auto contract = Contract(100, 300, Level::Default, {0.125, 0.25, 0.5}, {0.125, 0.25, 0.5});
    const SpecialRiskPoints points = PointsOf({0, 0, -512, -512, -512, -512, 0, 0});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(-10, -10), contract, Level::Default);
    ExpectPoints(corrected, {0, 0, -10, -10, -10, -10, 0, 0}, "first tier");
}

TEST(SpecialRiskPointsCorrection, AnEdgeOfExactlyZeroLiftsANegativeStressPointToZero)
{
    const auto contract = Contract(100, 300, Level::Default, {0.0, 0.0, 0.0}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({-1, -2, -3, 7, -512, -512, -2, -1});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(0, -40), contract, Level::Default);
    ExpectPoints(corrected, {-1, -2, 0, 7, -55, -55, -2, -1},
                 "floors 2D and 3D are 0, the rate of 0 is not divided by");
}

TEST(SpecialRiskPointsCorrection, APointOfZeroStaysZeroAndANaNStaysNaN)
{
    const auto contract = Contract(100, 300, Level::Default, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const SpecialRiskPoints points = PointsOf({0, 0, 0, NaN, NaN, 0, 0, 0});
    const auto corrected = points.GetCorrectedSpecialRiskPoints(RowWithEdges(-50, -40), contract, Level::Default);
    ExpectPoints(corrected, {0, 0, 0, NaN, NaN, 0, 0, 0}, "zero and NaN");
    const auto atZero = points.GetCorrectedSpecialRiskPoints(RowWithEdges(0, 0), contract, Level::Default);
    ExpectPoints(atZero, {0, 0, 0, NaN, NaN, 0, 0, 0}, "zero and NaN with floors of zero");
}

TEST(SpecialRiskPointsCorrection, TheDivisionAndTheProductAreBothDone)
{
    // For 3D = floor -112.5 and p = -513 the way through the ratio may round; the figure is the rounded one.
    const auto contract = Contract(100, 300, Level::Default, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    bool someRounded = false;
    for (int i = 0; i < 200; ++i) {
        const double p = -513.0 - i;
        const volatile double ratio = -112.5 / p; // each operation rounded on its own
        const double expected = ratio * p;
        const auto corrected = PointsOf({0, 0, p, p, p, p, 0, 0})
                                   .GetCorrectedSpecialRiskPoints(RowWithEdges(-50, -40), contract, Level::Default);
        EXPECT_EQ(corrected.GetPnL3D(), expected) << p;
        someRounded = someRounded || expected != -112.5;
    }
    EXPECT_TRUE(someRounded) << "otherwise this test could not tell a plain maximum apart";
}

TEST(SpecialRiskPointsCorrection, AnEmptyRowImpliesNoLoss)
{
    const auto contract = Contract(100, 300, Level::Default, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    const auto corrected = PointsOf({1, 2, -3, -4, -5, 6, 7, 8})
                               .GetCorrectedSpecialRiskPoints(RiskRow(std::size_t{0}), contract, Level::Default);
    ExpectPoints(corrected, {1, 2, 0, 0, 0, 6, 7, 8}, "empty row");
}

TEST(SpecialRiskPointsCorrection, TheLastElementOfTheRowIsItsLastRealCell)
{
    // Five cells in eight lanes: padding must not be taken for the highest price.
    const auto contract = Contract(100, 300, Level::Default, {0.125, 0.25, 0.5}, {0.25, 0.5, 1.0});
    RiskRow row = RowWithEdges(0, -40);
    row[5] = row[6] = row[7] = -1e9;
    const auto corrected =
        PointsOf({0, 0, 0, 0, -512, -512, 0, 0}).GetCorrectedSpecialRiskPoints(row, contract, Level::Default);
    ExpectPoints(corrected, {0, 0, 0, 0, -55, -55, 0, 0}, "last real cell");
}

TEST(SpecialRiskPointsCurvature, EveryPointLosesItsShiftedSizeTimesTheRadius)
{
    // p - |2 + p| x 0.5: 6 - 4 = 2; 0 - 1 = -1; -2 - 0 = -2; -6 - 2 = -8; 1 - 1.5 = -0.5; 10 - 6 = 4; -10 - 4 = -14;
    // 2 - 2 = 0.
    SpecialRiskPoints points = PointsOf({6, 0, -2, -6, 1, 10, -10, 2});
    points.ApplyCurvature(2, 0.5);
    ExpectPoints(points, {2, -1, -2, -8, -0.5, 4, -14, 0}, "a = 2, b = 0.5");
}

TEST(SpecialRiskPointsCurvature, AStressPointThatIsNotANumberStaysOne)
{
    SpecialRiskPoints points = PointsOf({NaN, 1, 1, 1, 1, 1, 1, 1});
    points.ApplyCurvature(0, 0.5);
    ExpectPoints(points, {NaN, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5}, "NaN");
}

TEST(SpecialRiskPointsCurvature, ARadiusOfZeroOrLessOrNaNChangesNothing)
{
    const Eight values = {6, 0, -2, -6, 1, 10, -10, 2};
    for (const double radius : {0.0, -0.0, -0.5, NaN}) {
        SpecialRiskPoints points = PointsOf(values);
        points.ApplyCurvature(2, radius);
        points.ApplyCurvature_PositionsOnly(2, radius, 100);
        ExpectPoints(points, values, "radius " + std::to_string(radius));
    }
}

TEST(SpecialRiskPointsCurvature, WithoutOrdersThePositivePartUpToTheCapIsGivenBackTwice)
{
    // a = 2, b = 0.5, cap 3. x = a + p; correction 2 x min(max(x, 0), 3) x 0.5 - |x| x 0.5.
    //   p = -1: x = 1, 2 x 0.5 - 0.5 = +0.5 -> -0.5    between 0 and the cap: plus instead of minus
    //   p =  1: x = 3, 3 - 1.5 -> 2.5                  at the cap
    //   p =  6: x = 8, 3 - 4 -> 5                      above the cap
    //   p = -2: x = 0 -> -2
    //   p = -6: x = -4, 0 - 2 -> -8                    below 0 as without the addition
    SpecialRiskPoints points = PointsOf({-1, 1, 6, -2, -6, -1, 1, 6});
    points.ApplyCurvature_PositionsOnly(2, 0.5, 3);
    ExpectPoints(points, {-0.5, 2.5, 5, -2, -8, -0.5, 2.5, 5}, "a = 2, b = 0.5, c = 3");
}

TEST(SpecialRiskPointsCurvature, TheAdditionsOfThePositionsOnlyFormRunFromLeftToRight)
{
    // ((p + t) + t) + min(x, -x), each sum rounded on its own.
    bool otherOrderDiffers = false;
    for (int i = 1; i <= 200; ++i) {
        const double p = i / 7.0;
        const double a = i / 11.0;
        const double b = 0.1;
        const double c = 1e6;
        const volatile double x = (a + p) * -b;
        const volatile double t = (a + p) * b;
        const volatile double once = p + t;
        const volatile double twice = once + t;
        const double expected = twice + (x < -x ? x : -x);
        SpecialRiskPoints points = PointsOf({p, p, p, p, p, p, p, p});
        points.ApplyCurvature_PositionsOnly(a, b, c);
        EXPECT_EQ(points.GetZL(), expected) << i;
        const volatile double doubled = t + t;
        const volatile double other = p + doubled;
        otherOrderDiffers = otherOrderDiffers || other + (x < -x ? x : -x) != expected;
    }
    EXPECT_TRUE(otherOrderDiffers) << "otherwise this test could not tell the orders apart";
}

} // namespace
} // namespace test::SpecialRiskPointsTest
