// The theoretical value of an option: single cells to the last bit against the plain formulas, whole grids within the
// stated bound, and the oddities that are meant.
#include "valuation/OptionCalculators.h"

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PricedSeries.h"
#include "except.h"
#include "kv7errors.h"
#include "valuation/InterestRateRiskCalculator.h"
#include "valuation/OptionColumns.h"

namespace test::OptionValuationTest {
namespace {

using namespace kv7im;
using Enums::OptionModel;
using testing::HasSubstr;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

struct Variation
{
    const char* name;
    std::function<void(PricedSeries&)> apply;
};

/// Everything that sends a valuation another way.
const Variation Variations[] = {
    {"as it is", [](PricedSeries&) {}},
    {"lot of ten", [](PricedSeries& p) { p.series.LotCoeff = 10; }},
    {"no wings", [](PricedSeries& p) { p.series.C = p.series.C_Bach = 0.0; }},
    {"negative wing decay", [](PricedSeries& p) { p.series.C = p.series.C_Bach = -1.0; }},
    {"null volatility", [](PricedSeries& p) { p.series.UseNullVolat = true; }},
    {"half an hour left", [](PricedSeries& p) { p.series.TimeToExpiration = Constants::MinimumTimeToExpirationForVF; }},
    {"five hundred per cent", [](PricedSeries& p) { p.series.A = 500.0; }},
    {"variance at its clamp", [](PricedSeries& p) { p.series.A = p.series.A_Bach = 0.0; }},
    {"variance below zero in the lower scenarios",
     [](PricedSeries& p) {
         p.series.B = p.series.B_Bach = 0.0;
         p.series.S = p.series.S_Bach = 0.5;
         p.series.D = p.series.D_Bach = 40.0;
     }},
    {"volatility shock above one", [](PricedSeries& p) { p.series.VolatilityRisk = 4.9; }},
    {"mismatch shock above one", [](PricedSeries& p) { p.series.VolatilityRiskMismatch = 2.5; }},
    {"settlement price zero", [](PricedSeries& p) { p.futures.RealCalcPrice = 0.0; }},
    {"settlement price negative", [](PricedSeries& p) { p.futures.RealCalcPrice = -20.0; }},
    {"settlement price no number", [](PricedSeries& p) { p.futures.RealCalcPrice = NaN; }},
    {"settlement price below the spot discount", [](PricedSeries& p) { p.futures.RealCalcPrice = 2.0; }},
    {"wide step", [](PricedSeries& p) { p.series.MinStep = 900.0; }},
    {"negative prices", [](PricedSeries& p) { p.futures.CalcFutPrice = -50.0; }},
    {"three scenarios", [](PricedSeries& p) { p.contract.VolatNum = 3; }},
    {"smile no number", [](PricedSeries& p) { p.series.A = p.series.A_Bach = NaN; }},
};

class OverAllKinds : public testing::TestWithParam<std::tuple<UnderlyingKind, OptionModel>>
{
protected:
    [[nodiscard]] PricedSeries Build(const Variation& variation, std::int32_t riskPointsN = 2, bool subRisk = false)
    {
        PricedSeries priced;
        priced.SetKind(std::get<0>(GetParam()));
        priced.contract.OptionModel = std::get<1>(GetParam());
        priced.contract.RiskPointsN = riskPointsN;
        priced.series.SubRisk = subRisk;
        variation.apply(priced);
        priced.Build();
        return priced;
    }
};

std::string NameOf(const testing::TestParamInfo<std::tuple<UnderlyingKind, OptionModel>>& info)
{
    const char* const kinds[] = {"Futures", "Stock", "CurrencyOrIndex", "Commodity"};
    return std::string(kinds[static_cast<std::size_t>(std::get<0>(info.param))]) +
           (std::get<1>(info.param) == OptionModel::BlackScholes ? "BlackScholes" : "Bachelier");
}
INSTANTIATE_TEST_SUITE_P(Market, OverAllKinds,
                         testing::Combine(testing::ValuesIn(UnderlyingKinds),
                                          testing::Values(OptionModel::BlackScholes, OptionModel::Bachelier)),
                         NameOf);

// --- Single cells -------------------------------------------------------------------------------------------------

TEST_P(OverAllKinds, ASingleValueHasTheBitsOfThePlainFormula)
{
    const double points[] = {1000.0, 999.0, 1333.25, 400.0, 9000.0, 1.0, 0.99, 0.5, 0.0, -70.0, 1e-12, NaN, Infinity};
    const std::pair<double, double> rates[] = {{0.0, 0.0}, {0.08, 0.03}, {0.05, 0.05}, {-0.02, 0.11}, {NaN, 0.0}};
    const std::optional<double> mismatches[] = {std::nullopt, 1.125, 0.875, 0.0, -0.5, 3.0};
    for (const Variation& variation : Variations) {
        const PricedSeries priced = Build(variation);
        for (const double strike : {1000.0, 650.0, 0.0, -70.0})
            for (const bool put : {false, true}) {
                const CSpecOption option = priced.Option(strike, put);
                const plain::OptionPricer plainly = priced.Plain(strike, put);
                for (const double point : points)
                    for (const auto& [r, r2] : rates)
                        for (const std::optional<double>& mismatch : mismatches)
                            for (std::size_t i = 0; i < option.GetCountOfVolatilityScenarios(); ++i) {
                                const double value = option.CalculatePoint(i, point, r, r2, strike * 0.98, mismatch);
                                const double expected =
                                    plainly.CalculatePoint(i, point, r, r2, strike * 0.98, mismatch);
                                ASSERT_TRUE(SameBits(value, expected))
                                    << variation.name << ", strike " << strike << (put ? " put" : " call") << " at "
                                    << point << ", rates " << r << " and " << r2 << ", scenario " << i << ": " << value
                                    << " instead of " << expected;
                            }
            }
    }
}

TEST_P(OverAllKinds, ARateStressHasTheBitsOfThePlainFormulaAtEveryColumnAndLevel)
{
    for (const Variation& variation : Variations) {
        const PricedSeries priced = Build(variation, 2, true);
        for (const bool put : {false, true}) {
            const CSpecOption option = priced.Option(950.0, put);
            const plain::OptionPricer plainly = priced.Plain(950.0, put);
            for (const Level level : Levels) {
                const std::vector<double> prices = priced.Prices(level);
                const std::vector<std::size_t> real = priced.RealPoints(level);
                for (std::size_t c = 0; c < prices.size(); ++c)
                    for (const InterestRateRow row : {InterestRateRow::Up, InterestRateRow::Down}) {
                        const double value =
                            option.interestRateRiskCalculator.CalculatePointInterestRate(c, row, option, level);
                        const double expected = plainly.InterestRate(row == InterestRateRow::Up, prices[c], real[c]);
                        ASSERT_TRUE(SameBits(value, expected))
                            << variation.name << (put ? ", put" : ", call") << ", column " << c << ": " << value
                            << " instead of " << expected;
                    }
            }
        }
    }
}

// --- Whole grids --------------------------------------------------------------------------------------------------

/// Cells of a grid, by row, column and lane.
double CellOf(const OptionGrid& grid, std::size_t row, std::size_t column)
{
    return grid.Values(column / RiskItem::Lanes)[row][column % RiskItem::Lanes];
}

plain::OptionValues PlainValues(const PricedSeries& priced, double strike, bool put, Level level)
{
    return priced.Plain(strike, put).Over(priced.Prices(level), priced.RealPoints(level));
}

/// The rate stress of the side that counts.
double RateOf(const plain::OptionValues& values, std::size_t column)
{
    return values.rateUp[column] + values.rateDown[column];
}

/// Every number of the grid has the bits of the plain one, and the padding is NaN.
void ExpectSameBits(const OptionGrid& grid, const plain::OptionValues& expected)
{
    const std::size_t scenarios = expected.volatility.size();
    ASSERT_EQ(grid.ScenariosCount(), scenarios);
    ASSERT_EQ(grid.ColsCount(), expected.rateUp.size());
    for (std::size_t c = 0; c < grid.ColsCount(); ++c) {
        for (std::size_t i = 0; i < scenarios; ++i)
            ASSERT_TRUE(SameBits(CellOf(grid, i, c), expected.volatility[i][c]))
                << "scenario " << i << ", column " << c << ": " << CellOf(grid, i, c) << " instead of "
                << expected.volatility[i][c];
        ASSERT_TRUE(SameBits(CellOf(grid, scenarios, c), RateOf(expected, c))) << "rate stress, column " << c;
    }
    EXPECT_TRUE(SameBits(grid.mismatchUp, expected.mismatchUp)) << grid.mismatchUp << ", " << expected.mismatchUp;
    EXPECT_TRUE(SameBits(grid.mismatchDown, expected.mismatchDown))
        << grid.mismatchDown << ", " << expected.mismatchDown;
    for (std::size_t c = grid.ColsCount(); c < grid.GetColsRegister() * RiskItem::Lanes; ++c)
        for (std::size_t i = 0; i <= scenarios; ++i)
            EXPECT_TRUE(std::isnan(CellOf(grid, i, c))) << "padding, row " << i;
}

/// Largest difference of any number of the grid, as a share of the largest of price, strike and width.
struct Difference
{
    double value = 0.0;
    double stress = 0.0; // of the rate stresses and mismatches, each a difference of two values
};

void Include(double& worst, double value, double expected, double scale)
{
    if (SameBits(value, expected)) return;
    const double difference = std::abs(value - expected) / scale;
    worst = difference <= worst ? worst : difference; // a NaN becomes the worst
}

void Include(Difference& worst, const OptionGrid& grid, const plain::OptionValues& expected,
             const std::vector<double>& prices, double strike, double width)
{
    const std::size_t scenarios = expected.volatility.size();
    double largest = std::max(std::abs(strike), width);
    for (const double price : prices)
        largest = std::max(largest, std::abs(price));
    for (std::size_t c = 0; c < prices.size(); ++c) {
        const double scale = std::max({std::abs(prices[c]), std::abs(strike), width});
        for (std::size_t i = 0; i < scenarios; ++i)
            Include(worst.value, CellOf(grid, i, c), expected.volatility[i][c], scale);
        Include(worst.stress, CellOf(grid, scenarios, c), RateOf(expected, c), scale);
    }
    Include(worst.stress, grid.mismatchUp, expected.mismatchUp, largest);
    Include(worst.stress, grid.mismatchDown, expected.mismatchDown, largest);
}

TEST_P(OverAllKinds, AGridIsThePlainOneWithinItsBoundInEveryVariation)
{
    for (const Variation& variation : Variations)
        for (const bool subRisk : {false, true}) {
            const PricedSeries priced = Build(variation, 8, subRisk);
            for (const bool put : {false, true})
                for (const double strike : {1000.0, 870.0, 1300.0}) {
                    const CSpecOption option = priced.Option(strike, put);
                    Difference worst;
                    for (const Level level : Levels) {
                        std::vector<double> points = priced.Prices(level);
                        for (double& point : points)
                            point = priced.Series().MakeDiscountPoint(point);
                        Include(worst, option.GetGrid(level), PlainValues(priced, strike, put, level), points, strike,
                                priced.Plain(strike, put).Sigma(option.GetCountOfVolatilityScenarios() - 1, 3.5));
                    }
                    EXPECT_LE(worst.value, 4e-15) << variation.name << ", strike " << strike << ", put " << put;
                    EXPECT_LE(worst.stress, 8e-15) << variation.name << ", strike " << strike << ", put " << put;
                }
        }
}

double Uniform(std::mt19937_64& random, double low, double high)
{
    return std::uniform_real_distribution<double>(low, high)(random);
}

/// A market of moderate numbers: maturities from the shortest to four years, rates of either sign, all smiles.
PricedSeries RandomSeries(std::mt19937_64& random, UnderlyingKind kind, OptionModel model)
{
    PricedSeries p;
    p.SetKind(kind);
    p.contract.OptionModel = model;
    p.contract.RiskPointsN = 20;
    p.contract.VolatNum = random() % 2 == 0 ? 3 : 7;
    p.futures.CalcFutPrice = std::exp(Uniform(random, 0.0, 12.0));
    p.futures.RealCalcPrice = p.futures.CalcFutPrice * Uniform(random, 0.9, 1.1);
    p.futures.NormalizedSpot = p.futures.CalcFutPrice * Uniform(random, 0.5, 1.9);
    p.series.MinStep = p.futures.CalcFutPrice * 1e-4;
    p.series.FixedSpotDiscount = p.futures.CalcFutPrice * 0.003;
    p.series.ProjectedSpotDiscount = p.futures.CalcFutPrice * 0.005;
    p.series.LotCoeff = random() % 2 == 0 ? 1 : 100;
    p.series.TimeToExpiration = std::exp(Uniform(random, std::log(0.00006), std::log(4.0)));
    p.series.A = std::exp(Uniform(random, 0.0, 4.6));
    p.series.B = Uniform(random, 0.0, 20.0);
    p.series.C = Uniform(random, -0.5, 2.0);
    p.series.D = Uniform(random, -5.0, 5.0);
    p.series.E = Uniform(random, 1.0, 15.0);
    p.series.S = Uniform(random, -0.2, 0.2);
    p.series.M_Bach = p.futures.CalcFutPrice * p.series.LotCoeff;
    p.series.A_Bach = p.series.A * 0.01;
    p.series.B_Bach = p.series.B * 0.01;
    p.series.C_Bach = p.series.C;
    p.series.D_Bach = p.series.D * 0.01;
    p.series.E_Bach = p.series.E;
    p.series.S_Bach = p.series.S;
    p.series.VolatilityRisk = Uniform(random, 0.0, 0.6);
    p.series.VolatilityRiskMismatch = Uniform(random, 0.0, 0.4);
    p.series.R = Uniform(random, -0.1, 0.3);
    p.series.R2 = Uniform(random, -0.1, 0.3);
    p.Build();
    return p;
}

TEST_P(OverAllKinds, AGridIsThePlainOneWithinItsBoundInRandomMarkets)
{
    const auto [kind, model] = GetParam();
    std::mt19937_64 random(20240229);
    Difference worst;
    for (int market = 0; market < 60; ++market) {
        const PricedSeries priced = RandomSeries(random, kind, model);
        for (int i = 0; i < 4; ++i) {
            const double strike =
                priced.futures.CalcFutPrice * priced.series.LotCoeff * std::exp(Uniform(random, -1.0, 1.0));
            const bool put = i % 2 == 0;
            const CSpecOption option = priced.Option(strike, put);
            const Level level = Levels[static_cast<std::size_t>(market) % Levels.size()];
            std::vector<double> points = priced.Prices(level);
            for (double& point : points)
                point = priced.Series().MakeDiscountPoint(point);
            Include(worst, option.GetGrid(level), PlainValues(priced, strike, put, level), points, strike,
                    model == OptionModel::Bachelier
                        ? priced.Plain(strike, put).Sigma(option.GetCountOfVolatilityScenarios() - 1, 1.4) *
                              priced.Series().SqrtT
                        : 0.0);
        }
    }
    EXPECT_LE(worst.value, 4e-15);
    EXPECT_LE(worst.stress, 8e-15);
    RecordProperty("WorstValue", std::to_string(worst.value * 1e15) + "e-15");
    RecordProperty("WorstStress", std::to_string(worst.stress * 1e15) + "e-15");
}

TEST_P(OverAllKinds, ADistributionAtItsStepFallsOnTheSameSideInAGrid)
{
    // Forty per cent and a carry of eight: half the variance is the carry, so d1 or d2 of the strike at the centre is a
    // rounding error. The two sides of the distribution lie 3.0e-7 apart there, which is 3e-4 of this price.
    for (const double carry : {0.08, -0.08}) {
        PricedSeries priced;
        priced.SetKind(std::get<0>(GetParam()));
        priced.contract.OptionModel = std::get<1>(GetParam());
        priced.series.A = 40.0;
        priced.series.B = priced.series.D = priced.series.S = 0.0;
        priced.series.R = 0.05 + carry;
        priced.series.R2 = 0.05;
        priced.series.FixedSpotDiscount = priced.series.ProjectedSpotDiscount = 0.0;
        for (int days = 1; days <= 365; ++days) {
            priced.series.TimeToExpiration = days / 365.0;
            priced.Build();
            const bool put = days % 2 == 0;
            const CSpecOption option = priced.Option(1000.0, put);
            const plain::OptionPricer plainly = priced.Plain(1000.0, put);
            for (std::size_t i = 0; i < 5; ++i)
                EXPECT_NEAR(CellOf(option.GetGrid(Level::Default), i, 2), plainly.Value(i, 1000.0), 4e-12)
                    << "day " << days << ", scenario " << i;
        }
    }
}

TEST_P(OverAllKinds, BeyondTenWidthsAnOptionIsWorthNothingOrItsDistanceInAGrid)
{
    // Half an hour at 35 per cent: a width of 3 in 1000, so that all columns but the centre are beyond.
    const Variation shortest{"", [](PricedSeries& p) {
                                 p.series.TimeToExpiration = Constants::MinimumTimeToExpirationForVF;
                                 p.series.FixedSpotDiscount = p.series.ProjectedSpotDiscount = 0.0;
                             }};
    const PricedSeries priced = Build(shortest, 4);
    const CSpecOption call = priced.Option(1000.0, false);
    const CSpecOption put = priced.Option(1000.0, true);
    const plain::OptionValues calls = PlainValues(priced, 1000.0, false, Level::Default);
    const plain::OptionValues puts = PlainValues(priced, 1000.0, true, Level::Default);
    const bool black = std::get<1>(GetParam()) == OptionModel::BlackScholes;
    for (std::size_t c = 0; c < 9; ++c) {
        if (c == 4) continue;
        for (std::size_t i = 0; i < 5; ++i) {
            const double callValue = CellOf(call.GetGrid(Level::Default), i, c);
            const double putValue = CellOf(put.GetGrid(Level::Default), i, c);
            if (black) {
                EXPECT_TRUE(SameBits(callValue, calls.volatility[i][c]));
                EXPECT_TRUE(SameBits(putValue, puts.volatility[i][c]));
            }
            if (c < 4) {
                EXPECT_NEAR(callValue, 0.0, black ? 0.0 : 1e-20);
            }
        }
    }
}

TEST_P(OverAllKinds, TheWorstMismatchIsFoundInEveryLane)
{
    // A far price has no value of time and so the smallest change; it is put into each column in turn.
    for (std::size_t far = 0; far < 7; ++far) {
        PricedSeries priced = Build(Variations[0], 3);
        RiskRowWrapper row = priced.Series().volatilityMatrix[Level::Default][0];
        for (std::size_t c = 0; c < 7; ++c)
            row[c] = c == far ? 3000.0 : 990.0 + static_cast<double>(c);
        const plain::OptionValues expected = PlainValues(priced, 1000.0, true, Level::Default);
        const CSpecOption option = priced.Option(1000.0, true);
        EXPECT_NEAR(option.GetGrid(Level::Default).mismatchUp, expected.mismatchUp, 1e-11) << far;
        EXPECT_NEAR(option.GetGrid(Level::Default).mismatchDown, expected.mismatchDown, 1e-11) << far;
        EXPECT_LT(expected.mismatchUp, 1.0);
        EXPECT_GT(expected.mismatchDown, -1.0);
    }
}

TEST_P(OverAllKinds, TwoStrikesOfOneVolatilityAreValuedApart)
{
    const Variation flat{"", [](PricedSeries& p) {
                             p.series.B = p.series.D = p.series.S = 0.0;
                             p.series.B_Bach = p.series.D_Bach = p.series.S_Bach = 0.0;
                         }};
    const PricedSeries priced = Build(flat, 6);
    for (const double strike : {1000.0, 1001.0, 1000.0, std::nextafter(1000.0, 2000.0)}) {
        const CSpecOption option = priced.Option(strike, false);
        const plain::OptionValues expected = PlainValues(priced, strike, false, Level::Default);
        for (std::size_t c = 0; c < 13; ++c)
            EXPECT_NEAR(CellOf(option.GetGrid(Level::Default), 2, c), expected.volatility[2][c], 1e-11);
    }
}

TEST_P(OverAllKinds, AnIntrinsicValueHasTheSameBitsInAGrid)
{
    const PricedSeries priced = Build({"", [](PricedSeries& p) { p.series.UseNullVolat = true; }}, 10);
    for (const bool put : {false, true}) {
        const CSpecOption option = priced.Option(1000.0, put);
        for (const Level level : Levels) {
            const plain::OptionValues expected = PlainValues(priced, 1000.0, put, level);
            for (std::size_t c = 0; c < expected.rateUp.size(); ++c) {
                EXPECT_TRUE(SameBits(CellOf(option.GetGrid(level), 0, c), expected.volatility[0][c]));
                // Scenario 0 is where the rate stress is measured, so both its sides are intrinsic values, too.
                EXPECT_TRUE(SameBits(CellOf(option.GetGrid(level), 5, c), RateOf(expected, c)));
            }
            EXPECT_EQ(option.GetGrid(level).mismatchDown, 0.0);
        }
    }
}

TEST_P(OverAllKinds, PaddingLanesAreNaNInEveryRow)
{
    for (const Variation& variation : Variations) {
        const PricedSeries priced = Build(variation); // five columns: three lanes of the second block are padding
        const CSpecOption option = priced.Option(1000.0, true);
        const OptionGrid& grid = option.GetGrid(Level::Default);
        ASSERT_EQ(grid.GetColsRegister(), 2u);
        for (std::size_t row = 0; row <= grid.ScenariosCount(); ++row)
            for (std::size_t lane = 1; lane < 4; ++lane)
                EXPECT_TRUE(std::isnan(grid.Values(1)[row][lane])) << variation.name << ", row " << row;
    }
}

// Numbers that cannot be valued four at a time go cell by cell, and then every bit is that of the plain form.

TEST_P(OverAllKinds, AGridOfExtremeNumbersHasTheBitsOfThePlainOne)
{
    const Variation extremes[] = {
        {"ten thousand per cent",
         [](PricedSeries& p) {
             p.series.A = 1e4;
             p.series.A_Bach = 1e120;
         }},
        {"two thousand per cent",
         [](PricedSeries& p) {
             p.series.A = 2000.0;
             p.series.A_Bach = 1e120;
         }},
        {"settlement price no number", [](PricedSeries& p) { p.futures.RealCalcPrice = NaN; }},
        {"settlement price below zero",
         [](PricedSeries& p) {
             p.futures.RealCalcPrice = -1.0;
             p.series.A_Bach = NaN;
         }},
        {"astronomic prices", [](PricedSeries& p) { p.futures.NormalizedSpot = 1e105; }},
    };
    for (const Variation& variation : extremes) {
        const PricedSeries priced = Build(variation, 6);
        SCOPED_TRACE(variation.name);
        for (const Level level : Levels)
            ExpectSameBits(priced.Option(1000.0, true).GetGrid(level), PlainValues(priced, 1000.0, true, level));
    }
}

TEST_P(OverAllKinds, AfterAColumnWithoutANumberTheMismatchStartsAnew)
{
    // A NaN on either side leaves the new value: at a column without a number the running value is lost, at the next it
    // begins again with what stands there. Only the columns after the last NaN count; none, and the mismatch is 0.
    for (const std::size_t broken : {0u, 4u, 11u, 12u}) {
        const PricedSeries priced = Build(Variations[0], 6);
        priced.Series().volatilityMatrix[Level::Default][0][broken] = NaN;
        for (const bool put : {false, true}) {
            const CSpecOption option = priced.Option(990.0, put);
            const OptionGrid& grid = option.GetGrid(Level::Default);
            ExpectSameBits(grid, PlainValues(priced, 990.0, put, Level::Default));
            EXPECT_TRUE(std::isnan(CellOf(grid, 0, broken)));

            double up = NaN;
            double down = NaN;
            for (std::size_t c = broken + 1; c < 13; ++c) {
                const double price = priced.Prices(Level::Default)[c];
                const plain::OptionPricer plainly = priced.Plain(990.0, put);
                up = std::fmin(up, plainly.Value(4, price, 1.125) - plainly.Value(4, price));
                down = std::fmax(down, plainly.Value(0, price, 0.875) - plainly.Value(0, price));
            }
            EXPECT_EQ(grid.mismatchUp, broken == 12 ? 0.0 : up);
            EXPECT_EQ(grid.mismatchDown, broken == 12 ? 0.0 : down);
        }
    }
}

void ExpectSameGrid(const OptionGrid& a, const OptionGrid& b)
{
    ASSERT_EQ(a.ColsCount(), b.ColsCount());
    for (std::size_t c = 0; c < a.ColsCount(); ++c)
        for (std::size_t row = 0; row <= a.ScenariosCount(); ++row)
            ASSERT_TRUE(SameBits(CellOf(a, row, c), CellOf(b, row, c))) << "row " << row << ", column " << c;
    EXPECT_EQ(a.mismatchUp, b.mismatchUp);
    EXPECT_EQ(a.mismatchDown, b.mismatchDown);
    for (std::size_t i = 0; i < SpecialRiskPoints::size(); ++i)
        EXPECT_TRUE(SameBits(a.points.pData()[i], b.points.pData()[i])) << "special point " << i;
}

TEST_P(OverAllKinds, OptionsOfOneSeriesAreValuedAlikeInAnyOrderAndAtAnyTime)
{
    for (const Variation& variation : Variations) {
        SCOPED_TRACE(variation.name);
        const PricedSeries priced = Build(variation, 6, true);
        const CSpecOption put = priced.Option(1000.0, true);
        put.ValueAllLevels();
        const CSpecOption call = priced.Option(1000.0, false); // at the strike of before
        call.ValueAllLevels();
        const CSpecOption other = priced.Option(1100.0, false);
        other.ValueAllLevels();
        const CSpecOption callAlone = priced.Option(1000.0, false);
        for (const Level level : {Level::High, Level::Default, Level::Exceptional, Level::Low, Level::Medium}) {
            ExpectSameGrid(callAlone.GetGrid(level), call.GetGrid(level));
            ExpectSameGrid(priced.Option(1100.0, false).GetGrid(level), other.GetGrid(level));
            ExpectSameGrid(priced.Option(1000.0, true).GetGrid(level), put.GetGrid(level));
        }
    }
}

TEST_P(OverAllKinds, NothingOfAnEarlierValuationIsLeftAfterAChange)
{
    // Each change in turn, without and with a new grid of the series; every valuation is at the strike of the last one.
    const std::function<void(CSpecVirtFutures&)> changes[] = {
        [](CSpecVirtFutures& series) { series.VolatilityRisk = 0.3; },
        [](CSpecVirtFutures& series) { series.VolatilityRiskMismatch = 0.2; },
        [](CSpecVirtFutures& series) { series.A = series.A_Bach *= 1.5; },
        [](CSpecVirtFutures& series) { series.UseNullVolat = true; },
        [](CSpecVirtFutures& series) {
            series.R = 0.11;
            series.RecalcInvariants();
        },
        [](CSpecVirtFutures& series) {
            series.R2 = 0.07;
            series.RecalcInvariants();
        },
        [](CSpecVirtFutures& series) {
            series.Futures->CalcFutPrice = 1010.0;
            series.Futures->RecalcInvariants();
            series.RecalcInvariants();
        },
    };
    const PricedSeries priced = Build(Variations[0], 6);
    CSpecOption put = priced.Option(1000.0, true);
    CSpecOption call = priced.Option(1000.0, false);
    for (const auto& change : changes) {
        static_cast<void>(put.GetGrid(Level::Default));
        change(priced.Series());
        for (CSpecOption* const option : {&call, &put}) {
            option->RecalcInvariants();
            const OptionGrid& grid = option->GetGrid(Level::Default);
            const std::vector<double> prices = priced.Prices(Level::Default);
            for (std::size_t c = 0; c < prices.size(); ++c)
                for (std::size_t i = 0; i < 5; ++i)
                    EXPECT_NEAR(CellOf(grid, i, c),
                                option->CalculatePoint(i, priced.Series().GetCorrectedFuturesPoint(c, Level::Default),
                                                       priced.Series().GetUsableR(), priced.Series().GetUsableR2(),
                                                       priced.Series().MakeCorrectStrikeByType(1000.0), std::nullopt),
                                1e-11);
        }
    }
}

TEST(OptionValuation, ACalculatorIsThatOfTheKindAtConstruction)
{
    const InterestRateRiskCalculator* const calculators[] = {
        &InterestRateRiskCalculatorOptionForFutures::Instance(),
        &InterestRateRiskCalculatorOptionForStock::Instance(),
        &InterestRateRiskCalculatorOptionForCurrencyOrIndex::Instance(),
        &InterestRateRiskCalculatorOptionForCommodity::Instance(),
    };
    for (std::size_t kind = 0; kind < 4; ++kind) {
        PricedSeries priced;
        priced.SetKind(UnderlyingKinds[kind]);
        priced.Build();
        EXPECT_EQ(&priced.Option(1000.0, true).interestRateRiskCalculator, calculators[kind]) << UnderlyingKinds[kind];
    }
}

TEST(OptionValuation, AnOptionWhoseSeriesHasChangedItsKindKeepsItsRateStress)
{
    PricedSeries priced;
    priced.SetKind(UnderlyingKind::CurrencyOrIndex);
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    priced.Contract().assetClass = Enums::AssetClass::Stock;
    priced.Series().RecalcInvariants();
    const OptionGrid& grid = option.GetGrid(Level::Default);
    // Column 4 is above the centre, column 0 below. The calculator is that of the index, whose stress has no discount;
    // what it stresses is the stock that the series is now.
    const auto& calculator = InterestRateRiskCalculatorOptionForCurrencyOrIndex::Instance();
    EXPECT_EQ(CellOf(grid, 5, 4),
              calculator.CalculatePointInterestRate(4, InterestRateRow::Up, option, Level::Default));
    EXPECT_EQ(CellOf(grid, 5, 0),
              calculator.CalculatePointInterestRate(0, InterestRateRow::Down, option, Level::Default));
}

// --- Worked by hand -----------------------------------------------------------------------------------------------

/// Flat smiles, nothing discounted, at the centre and the settlement price 1000.
PricedSeries Flat(OptionModel model)
{
    PricedSeries priced;
    priced.contract.OptionModel = model;
    priced.contract.VolatNum = 3;
    priced.futures.RealCalcPrice = 1000.0;
    priced.series = OptionSeriesSample();
    priced.series.MinStep = 0.5;
    priced.series.VolatilityRisk = 0.25;
    priced.series.A = 32.0;
    priced.series.A_Bach = 3.2;
    return priced;
}

TEST(OptionValuation, ABlackScholesStraddleAtTheMoneyIsWorthItsWidth)
{
    // 32 per cent over a quarter of a year: w = 0.32 x 0.5 = 0.16. d1 = 0.08, d2 = -0.08, N(0.08) = 0.5318814 in the
    // tables, so a call is 1000 (0.5318814 - 0.4681186) = 63.7628. Call and put are equal without rates. The
    // polynomial of the distribution is good for 2.1e-7 at each end.
    PricedSeries priced = Flat(OptionModel::BlackScholes);
    priced.Build();
    for (const bool put : {false, true}) {
        const double value = priced.Option(1000.0, put).CalculatePoint(1, 1000.0, 0.0, 0.0, 1000.0, std::nullopt);
        EXPECT_NEAR(value, 63.7628, 5e-4);
    }
    // Shocks of a quarter: widths 0.12 and 0.20; N(0.06) = 0.5239222, N(0.10) = 0.5398278.
    const CSpecOption call = priced.Option(1000.0, false);
    EXPECT_NEAR(CellOf(call.GetGrid(Level::Default), 0, 2), 47.8444, 5e-4);
    EXPECT_NEAR(CellOf(call.GetGrid(Level::Default), 1, 2), 63.7628, 5e-4);
    EXPECT_NEAR(CellOf(call.GetGrid(Level::Default), 2, 2), 79.6556, 5e-4);
}

TEST(OptionValuation, ABachelierOptionAtTheMoneyIsItsWidthTimesTheDensity)
{
    // Volatility 3.2 x 100 = 320 a year, half of it over a quarter: w = 160. d = 0: 0.3989423 x 160 = 63.830768, and
    // the distribution's half belongs to a distance of 0.
    PricedSeries priced = Flat(OptionModel::Bachelier);
    priced.Build();
    for (const bool put : {false, true}) {
        const CSpecOption option = priced.Option(1000.0, put);
        EXPECT_NEAR(CellOf(option.GetGrid(Level::Default), 1, 2), 63.830768, 1e-9);
        // One width away, at 1160 as a call: 160 x (0.2419707 + 0.8413447) = 173.33046.
        const double away = option.CalculatePoint(1, put ? 840.0 : 1160.0, 0.0, 0.0, 1000.0, std::nullopt);
        EXPECT_NEAR(away, 173.33046, 5e-5);
    }
}

TEST(OptionValuation, TheSmileBendsByWingsAndLeansBySkew)
{
    // sq = 0.5, strike 1000 e^0.25 over 1000: m = 0.25 / 0.5 - 0.1 / 0.5 = 0.3. With C = 2, B = 10, A = 20, D = 4, E =
    // 2: (1 - e^(-0.18)) x 10 + 20 + atan(0.6) x 4 / 2 = 1.6472979 + 20 + 1.0808390 = 22.7281369 per cent. At the money
    // m = -0.2: (1 - e^(-0.08)) x 10 + 20 + atan(-0.4) x 2 = 0.7688365 + 20 - 0.7610128 = 20.0078238 per cent.
    PricedSeries priced = Flat(OptionModel::BlackScholes);
    priced.series.A = 20.0;
    priced.series.B = 10.0;
    priced.series.C = 2.0;
    priced.series.D = 4.0;
    priced.series.E = 2.0;
    priced.series.S = 0.1;
    priced.Build();
    using points::BlackScholesCalculator;
    const CSpecVirtFutures& series = priced.Series();
    const double m = BlackScholesCalculator::Moneyness(series, 1000.0 * std::exp(0.25), 1000.0);
    EXPECT_NEAR(m, 0.3, 1e-14);
    EXPECT_NEAR(BlackScholesCalculator::Sigma(series, m), 0.227281369, 1e-9);
    EXPECT_DOUBLE_EQ(BlackScholesCalculator::MoneynessAtTheMoney(series), -0.2);
    EXPECT_NEAR(BlackScholesCalculator::Sigma(series, -0.2), 0.200078238, 1e-9);
}

TEST(OptionValuation, TheVolatilityShockMovesTheLevelAtTheMoneyOnly)
{
    // Wings twice the level: strike 30, money 20 per cent. mult = 1.25: shift = 0.5625 x 0.04 = 0.0225, so the variance
    // at the strike grows from 0.09 to 0.1125 and not to 1.5625 x 0.09. mult = 0.75: -0.4375 x 0.04 = -0.0175.
    // The mismatch of 0.5 on the upper scenario: (0.25 - 1) x (0.04 + 0.0225) = -0.046875, leaving 0.065625.
    const plain::OptionPricer flat = Flat(OptionModel::BlackScholes).Plain(1000.0, false);
    EXPECT_DOUBLE_EQ(flat.Sigma(1, std::nullopt), 0.32);
    EXPECT_DOUBLE_EQ(flat.Sigma(2, std::nullopt), 0.4);
    EXPECT_DOUBLE_EQ(flat.Sigma(0, std::nullopt), 0.24);
    PricedSeries priced = Flat(OptionModel::BlackScholes);
    priced.series.A = 20.0;
    priced.series.B = 10.0;
    priced.series.C = 1e6; // wings at once: any strike but the one at the money has them whole
    priced.Build();
    const double strike = 1500.0;
    EXPECT_DOUBLE_EQ(priced.Plain(strike, false).Sigma(2, std::nullopt), std::sqrt(0.1125));
    EXPECT_DOUBLE_EQ(priced.Plain(strike, false).Sigma(0, std::nullopt), std::sqrt(0.0725));
    EXPECT_DOUBLE_EQ(priced.Plain(strike, false).Sigma(2, 0.5), std::sqrt(0.065625));
    const auto priceAt = [](double sigma) { // the textbook's formula, with the error function
        const auto n = [](double d) { return 0.5 * std::erfc(-d / std::sqrt(2.0)); };
        const double d1 = (sigma * sigma * 0.125 + std::log(1000.0 / 1500.0)) / (sigma * 0.5);
        return 1000.0 * n(d1) - 1500.0 * n(d1 - sigma * 0.5);
    };
    const CSpecOption call = priced.Option(strike, false);
    EXPECT_NEAR(CellOf(call.GetGrid(Level::Default), 2, 2), priceAt(std::sqrt(0.1125)), 5e-4);
    EXPECT_NEAR(CellOf(call.GetGrid(Level::Default), 0, 2), priceAt(std::sqrt(0.0725)), 5e-4);
    EXPECT_NEAR(call.CalculatePoint(2, 1000.0, 0.0, 0.0, strike, 0.5), priceAt(std::sqrt(0.065625)), 5e-4);
}

TEST(OptionValuation, AVarianceIsAtLeastOnePerCentOrOneStepSquared)
{
    PricedSeries black = Flat(OptionModel::BlackScholes);
    black.series.A = 0.0;
    black.Build();
    // w = 0.01 x 0.5: at the money 1000 x 2 (N(0.0025) - 0.5) = 1.99471.
    EXPECT_NEAR(black.Option(1000.0, false).CalculatePoint(1, 1000.0, 0.0, 0.0, 1000.0, std::nullopt), 1.99471, 4e-4);
    EXPECT_EQ(points::BlackScholesCalculator::ImpliedVolatilityMaxBound(black.Series()), 0.0001);

    PricedSeries bachelier = Flat(OptionModel::Bachelier);
    bachelier.series.A_Bach = 0.0;
    bachelier.Build();
    // One step of 0.5 a year: w = 0.25, 0.3989423 x 0.25.
    EXPECT_NEAR(bachelier.Option(1000.0, true).CalculatePoint(1, 1000.0, 0.0, 0.0, 1000.0, std::nullopt), 0.099735575,
                1e-12);
    EXPECT_EQ(points::BachelierCalculator::ImpliedVolatilityMaxBound(bachelier.Series()), 0.25);
}

TEST(OptionValuation, TimeIsNeverShorterThanAboutHalfAnHour)
{
    PricedSeries priced = Flat(OptionModel::Bachelier);
    priced.series.TimeToExpiration = 1e-9; // its root is 3e-5
    priced.Build();
    EXPECT_NEAR(priced.Option(1000.0, false).CalculatePoint(1, 1000.0, 0.0, 0.0, 1000.0, std::nullopt),
                0.3989423 * 320.0 * 0.007555, 1e-9);
}

TEST(OptionValuation, NullVolatilityMakesTheLowestScenarioIntrinsic)
{
    for (const OptionModel model : Enums::PossibleOptionModelValues) {
        PricedSeries priced = Flat(model);
        priced.series.UseNullVolat = true;
        priced.Build();
        // Columns 744, 872, 1000, 1128, 1256 of a series with strike 1000.
        const double call[] = {0.0, 0.0, 0.0, 128.0, 256.0};
        for (std::size_t c = 0; c < 5; ++c) {
            EXPECT_EQ(CellOf(priced.Option(1000.0, false).GetGrid(Level::Default), 0, c), call[c]);
            EXPECT_EQ(CellOf(priced.Option(1000.0, true).GetGrid(Level::Default), 0, c), call[4 - c]);
            EXPECT_GT(CellOf(priced.Option(1000.0, true).GetGrid(Level::Default), 1, c), call[4 - c]);
        }
    }
}

TEST(OptionValuation, OnlyPlainBachelierForgetsTheDiscountOfAnIntrinsicValue)
{
    // A put of strike 1000, corrected to 950, at a price of 900 that the second rate discounts to 900 e^(-0.1).
    PricedSeries priced;
    priced.series.UseNullVolat = true;
    priced.series.TimeToExpiration = 1.0;
    const auto valueOf = [&](UnderlyingKind kind, OptionModel model) {
        priced.SetKind(kind);
        priced.contract.OptionModel = model;
        priced.Build();
        return priced.Option(1000.0, true).CalculatePoint(0, 900.0, 0.05, 0.1, 950.0, std::nullopt);
    };
    EXPECT_EQ(valueOf(UnderlyingKind::Futures, OptionModel::Bachelier), 100.0);
    EXPECT_EQ(valueOf(UnderlyingKind::Stock, OptionModel::Bachelier), 100.0);
    EXPECT_DOUBLE_EQ(valueOf(UnderlyingKind::Commodity, OptionModel::Bachelier), 950.0 - 900.0 * std::exp(-0.1));
    EXPECT_DOUBLE_EQ(valueOf(UnderlyingKind::Stock, OptionModel::BlackScholes), 950.0 - 900.0 * std::exp(-0.1));
}

TEST(OptionValuation, APriceBelowOneStepIsIntrinsicUnderBlackScholesAtEveryScenario)
{
    PricedSeries priced = Flat(OptionModel::BlackScholes);
    priced.series.MinStep = 872.0; // the column 872 is not below it, the column 744 is
    priced.Build();
    const CSpecOption put = priced.Option(1000.0, true);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(CellOf(put.GetGrid(Level::Default), i, 0), 256.0);
        EXPECT_GT(CellOf(put.GetGrid(Level::Default), i, 1), 128.5);
        EXPECT_EQ(put.CalculatePoint(i, 871.0, 0.0, 0.0, 1000.0, std::nullopt), 129.0);
    }
}

TEST(OptionValuation, AnUnusablePriceOrStrikeIsIntrinsicUnderBlackScholesOnly)
{
    PricedSeries priced = Flat(OptionModel::BlackScholes);
    priced.futures.RealCalcPrice = 0.0;
    priced.Build();
    EXPECT_EQ(priced.Option(900.0, false).CalculatePoint(1, 1000.0, 0.0, 0.0, 900.0, std::nullopt), 100.0);
    PricedSeries strikeless = Flat(OptionModel::BlackScholes);
    strikeless.Build();
    EXPECT_EQ(strikeless.Option(0.0, false).CalculatePoint(1, 1000.0, 0.0, 0.0, 0.0, std::nullopt), 1000.0);
    PricedSeries bachelier = Flat(OptionModel::Bachelier);
    bachelier.futures.RealCalcPrice = 0.0;
    bachelier.Build();
    EXPECT_GT(bachelier.Option(900.0, false).CalculatePoint(1, 1000.0, 0.0, 0.0, 900.0, std::nullopt), 100.0);
}

TEST(OptionValuation, AVarianceThatIsNoNumberStaysNone)
{
    // A stock whose settlement price less the discounts is below 0: the log moneyness of the strike is not a number.
    PricedSeries priced;
    priced.SetKind(UnderlyingKind::Stock);
    priced.futures.RealCalcPrice = 5.0;
    priced.Build();
    const CSpecOption call = priced.Option(1000.0, false);
    EXPECT_TRUE(std::isnan(call.CalculatePoint(1, 1000.0, 0.0, 0.0, 1000.0, std::nullopt)));
    EXPECT_TRUE(std::isnan(CellOf(call.GetGrid(Level::Default), 2, 2)));
    EXPECT_EQ(call.GetGrid(Level::Default).mismatchUp, 0.0);
    EXPECT_EQ(call.GetGrid(Level::Default).mismatchDown, 0.0);
}

TEST(OptionValuation, ARateStressCountsOnItsSideOfTheCentreOnly)
{
    for (const UnderlyingKind kind : UnderlyingKinds) {
        PricedSeries priced;
        priced.SetKind(kind);
        priced.Build();
        const CSpecOption option = priced.Option(1000.0, true);
        const Profile profile = option.GetProfile(Level::Default);
        const double centre = priced.futures.CalcFutPrice;
        ASSERT_EQ(priced.Prices(Level::Default)[2], centre);
        for (const std::size_t c : {0u, 1u, 3u, 4u}) {
            const bool above = c > 2;
            EXPECT_EQ(profile.InterestRateUp()[c] != 0.0, above) << kind << ", column " << c;
            EXPECT_EQ(profile.InterestRateDown()[c] != 0.0, !above) << kind << ", column " << c;
        }
        EXPECT_TRUE(SameBits(profile.InterestRateUp()[2], 0.0)) << kind;
        EXPECT_TRUE(SameBits(profile.InterestRateDown()[2], 0.0)) << kind;
    }
}

TEST(OptionValuation, ACommodityTakesItsFirstRateTwiceInTheRateStressAndNotInTheGrid)
{
    PricedSeries priced;
    priced.SetKind(UnderlyingKind::Commodity);
    priced.series.R2 = 0.03;
    priced.Build();
    const CSpecOption first = priced.Option(1000.0, true);
    const double stress = CellOf(first.GetGrid(Level::Default), 5, 0);
    const double value = CellOf(first.GetGrid(Level::Default), 2, 0);
    priced.series.R2 = 0.13;
    priced.Build();
    const CSpecOption second = priced.Option(1000.0, true);
    EXPECT_EQ(CellOf(second.GetGrid(Level::Default), 5, 0), stress);
    EXPECT_GT(CellOf(second.GetGrid(Level::Default), 2, 0) - value, 5.0);
}

TEST(OptionValuation, TheMismatchIsOneNumberPerRow)
{
    PricedSeries priced;
    priced.contract.RiskPointsN = 6;
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, true);
    const plain::OptionValues expected = PlainValues(priced, 1000.0, true, Level::Default);
    const Profile profile = option.GetProfile(Level::Default);
    for (std::size_t c = 0; c < 13; ++c) {
        EXPECT_NEAR(profile.VolatilityMismatchUp()[c], expected.mismatchUp, 1e-11);
        EXPECT_NEAR(profile.VolatilityMismatchDown()[c], expected.mismatchDown, 1e-11);
        EXPECT_EQ(profile.VolatilityMismatchUp()[c], profile.VolatilityMismatchUp()[0]);
    }
    // The smallest gain and the smallest loss of all columns.
    EXPECT_GT(expected.mismatchUp, 0.0);
    EXPECT_LT(expected.mismatchDown, 0.0);
}

TEST(OptionValuation, AnUnknownModelIsRefusedWithItsNumber)
{
    PricedSeries priced;
    priced.Build();
    CSpecOption option = priced.Option(1000.0, true);
    priced.Contract().optionModel = static_cast<OptionModel>(7);
    const auto refused = [](auto body) {
        try {
            body();
        } catch (const kv7base::CZ9Error& error) {
            EXPECT_EQ(error.GetCode(), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
            EXPECT_THAT(error.what(), HasSubstr("Unknown OptionModel 7"));
            return true;
        }
        return false;
    };
    EXPECT_TRUE(refused([&] { option.RecalcInvariants(); }));
    EXPECT_TRUE(refused([&] { static_cast<void>(option.CalculatePoint(0, 1.0, 0.0, 0.0, 1.0, std::nullopt)); }));
    EXPECT_TRUE(refused([&] { static_cast<void>(option.GetGrid(Level::Low)); }));
}

TEST(NormalDistribution, IsThatOfTheTablesAndCutOffBeyondTen)
{
    using points::NormalDistribution;
    EXPECT_NEAR(NormalDistribution(1.0), 0.8413447461, 7.5e-8);
    EXPECT_NEAR(NormalDistribution(-1.0), 0.1586552539, 7.5e-8);
    EXPECT_NEAR(NormalDistribution(2.5), 0.9937903347, 7.5e-8);
    EXPECT_GT(NormalDistribution(-10.0), 0.0);
    EXPECT_EQ(NormalDistribution(std::nextafter(-10.0, -11.0)), 0.0);
    EXPECT_EQ(NormalDistribution(std::nextafter(10.0, 11.0)), 1.0);
    EXPECT_EQ(NormalDistribution(-Infinity), 0.0);
    EXPECT_EQ(NormalDistribution(Infinity), 1.0);
    EXPECT_TRUE(std::isnan(NormalDistribution(NaN)));
    for (int i = -300; i <= 300; ++i) {
        const double d = i * 0.03125;
        EXPECT_NEAR(NormalDistribution(d), 0.5 * std::erfc(-d / std::sqrt(2.0)), 2.1e-7) << d;
    }
}

TEST(NormalDistribution, StepsAtZeroWhereItsTwoSidesDoNotMeet)
{
    // 1.2533137 x 0.3989423 = 0.49999985 just below, 1 less that just above; 0 itself belongs below.
    const double below = points::NormalDistribution(0.0);
    EXPECT_NEAR(below, 0.49999985, 1e-8);
    EXPECT_EQ(points::NormalDistribution(-0.0), below);
    EXPECT_NEAR(points::NormalDistribution(1e-300), 1.0 - below, 1e-16);
    EXPECT_LT(below, 0.5);
}

} // namespace
} // namespace test::OptionValuationTest
