// The node of an option series by itself and what it gives to its futures: the figures of the plain node, which judges
// that of the engine.
//
// One table for all: five real price points, two sub-points behind them, bound to the points 1 and 3; three scenarios;
// two deliveries. Folded onto real points, of each row the smaller cell counts:
//
//             real points                     sub-points     folded
//   lowest    -10  -20  -30  -40  -50         -25   -35      -10  -25  -30  -40  -50
//   central    10   20   30   40   50          15    60       10   15   30   40   50
//   highest    -1   -2   -3   -4   -5          -9    -1       -1   -9   -3   -4   -5
//   rates up    0    0    0   -6    8           0    -7        0    0    0   -7    8
//   down        4   -5    0    0    0          -3     0        4   -5    0    0    0
//   mismatch up 3, down -2, everywhere
//   delivery -100    -   -8    2    -           -     1
//   delivery    -   -3   -9    -    7          -4     -
//   worst    -100   -3   -9    2    7          -4     1     -100   -4   -9    1    7
#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "NodePairs.h"
#include "PlainRiskNodes.h"
#include "grids/LazyMemoryPool.h"

namespace test::SeriesNodeTest {
namespace {

using kv7im::BindsRow;
using kv7im::Parameters;
using kv7im::Risk;
using kv7im::RiskMatrix;
using plain::FuturesNode;
using plain::SeriesNode;
using testing::Each;
using testing::ElementsAre;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr double Out = std::numeric_limits<double>::quiet_NaN(); // not part of a delivery

const BindsRow& Binding()
{
    static const BindsRow binding = [] {
        BindsRow row;
        row.Resize(5, 2);
        for (std::size_t column = 0; column < 5; ++column)
            row.BindPoint(column, column);
        row.BindPoint(5, 1);
        row.BindPoint(6, 3);
        row.AlignBindsRow();
        return row;
    }();
    return binding;
}

enum class With
{
    SubPoints = 1,
    Deliveries = 2,
    Both = 3,
};

bool Has(With with, With what) { return (static_cast<int>(with) & static_cast<int>(what)) != 0; }

Parameters DimensionsOf(With with)
{
    Parameters parameters(5, 3);
    if (Has(with, With::SubPoints)) parameters.subPointsCount = 2;
    if (Has(with, With::Deliveries)) parameters.expirationScenariosCount = 2;
    return parameters;
}

void Fill(RiskMatrix& matrix, const std::vector<std::vector<double>>& rows)
{
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
            matrix[row][column] = rows[row][column];
}

/// The table above.
Risk TableRisk(With with)
{
    Risk risk(DimensionsOf(with));
    auto& cells = risk.GetRisk();
    if (Has(with, With::SubPoints)) cells.ExpandSubPoints(2, &Binding());
    Fill(cells.Volatility(),
         {{-10, -20, -30, -40, -50, -25, -35}, {10, 20, 30, 40, 50, 15, 60}, {-1, -2, -3, -4, -5, -9, -1}});
    Fill(cells.InterestRate(), {{0, 0, 0, -6, 8, 0, -7}, {4, -5, 0, 0, 0, -3, 0}});
    Fill(cells.VolatilityMismatch(), {{3, 3, 3, 3, 3, 3, 3}, {-2, -2, -2, -2, -2, -2, -2}});
    Fill(cells.Expiration(), {{-100, Out, -8, 2, Out, Out, 1}, {Out, -3, -9, Out, 7, -4, Out}});
    risk.GetSpecialRiskPoints().SetZL(-11.0);
    risk.GetSpecialRiskPoints().SetZR(13.0);
    return risk;
}

SeriesNode EmptySeries(With with, double ratio = 1.0)
{
    if (Has(with, With::SubPoints)) return SeriesNode(DimensionsOf(with), Binding(), ratio, Level);
    return SeriesNode(DimensionsOf(with), ratio, Level);
}

SeriesNode TableSeries(With with, double ratio = 1.0)
{
    SeriesNode series = EmptySeries(with, ratio);
    series += TableRisk(with);
    return series;
}

FuturesNode EmptyFutures(bool collateral = false) { return FuturesNode(Parameters(5, 3), 1.0, Level, collateral); }

std::vector<double> Row(const RiskMatrix& matrix, std::size_t row)
{
    std::vector<double> values(matrix.ColsCount());
    for (std::size_t column = 0; column < values.size(); ++column)
        values[column] = matrix[row][column];
    return values;
}

std::vector<double> Row(const kv7im::RiskRow& row)
{
    std::vector<double> values(row.size());
    for (std::size_t column = 0; column < values.size(); ++column)
        values[column] = row[column];
    return values;
}

kv7im::Profile VolatilityOf(const plain::RiskNode& node) { return node.Volatility().GetRisk(); }
kv7im::Profile ExpirationOf(const plain::RiskNode& node) { return node.Expiration().GetRisk(); }

TEST(PlainSeriesNode, WithoutDeliveriesBothSidesAreOne)
{
    const SeriesNode series = TableSeries(With::SubPoints);
    for (const kv7im::Profile& side : {VolatilityOf(series), ExpirationOf(series)})
        EXPECT_THAT(Row(side.Volatility(), 0), ElementsAre(-10, -20, -30, -40, -50, -25, -35));
}

TEST(PlainSeriesNode, TheDeliverySideHoldsTheWorstOutcomeInEveryScenarioAndNoStress)
{
    const SeriesNode series = TableSeries(With::Both);
    const kv7im::Profile side = ExpirationOf(series);
    for (std::size_t scenario = 0; scenario < 3; ++scenario)
        EXPECT_THAT(Row(side.Volatility(), scenario), ElementsAre(-100, -3, -9, 2, 7, -4, 1));
    EXPECT_THAT(Row(side.InterestRate(), 0), Each(0.0));
    EXPECT_THAT(Row(side.VolatilityMismatch(), 1), Each(0.0));
    EXPECT_EQ(series.Expiration().GetSpecialRiskPoints(), series.Volatility().GetSpecialRiskPoints());
    EXPECT_FALSE(side.GetParameters().hasExpiration());
    EXPECT_TRUE(VolatilityOf(series).GetParameters().hasExpiration()) << "the node itself keeps its deliveries";
}

TEST(PlainSeriesNode, TheDeliverySideFollowsEveryChange)
{
    SeriesNode series = TableSeries(With::Deliveries);
    EXPECT_EQ(ExpirationOf(series).Volatility()[0][0], -100.0);
    series += TableRisk(With::Deliveries);
    EXPECT_EQ(ExpirationOf(series).Volatility()[0][0], -200.0);
    series -= TableRisk(With::Deliveries);
    EXPECT_EQ(ExpirationOf(series).Volatility()[0][0], -100.0);
}

// The node of the engine may make its delivery side for each look or keep it: a look shows the present cells, a second
// one shows the same, and leaves no storage behind.
TEST(RiskNodeOptionSeries, TheDeliverySideFollowsEveryChangeAndASecondLookLeavesNoStorageBehind)
{
    using kv7im::auxiliary::LazyMemoryPool;
    SeriesPair series({2, 3, true, true, false, false});
    for (const std::int64_t quantity : {-1, -2, 3, -1}) {
        series.SetPosition(0, quantity, 40.0);
        ASSERT_NO_FATAL_FAILURE(series.ExpectSame());
        ASSERT_NE(series.engine.Volatility(), series.engine.Expiration());
        const std::ptrdiff_t blocks = LazyMemoryPool::OutstandingBlocks();
        ASSERT_TRUE(SameCells(series.engine.Expiration(), series.plainly.node.Expiration()));
        EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), blocks);
    }
}

TEST(PlainSeriesNode, APositionWithDeliveriesLeavesNoneInANodeThatCountsNone)
{
    SeriesNode series = EmptySeries(With::SubPoints);
    series += TableRisk(With::Both);
    EXPECT_FALSE(VolatilityOf(series).GetParameters().hasExpiration());
    EXPECT_EQ(VolatilityOf(series).Expiration().RowsCount(), 0U);
    EXPECT_THAT(Row(ExpirationOf(series).Volatility(), 0), ElementsAre(-10, -20, -30, -40, -50, -25, -35));
}

TEST(PlainSeriesNode, TheFuturesTakesSubPointsFoldedOntoRealPoints)
{
    FuturesNode futures = EmptyFutures();
    futures += TableSeries(With::SubPoints);
    for (const kv7im::Profile& side : {VolatilityOf(futures), ExpirationOf(futures)}) {
        EXPECT_THAT(Row(side.Volatility(), 0), ElementsAre(-10, -25, -30, -40, -50));
        EXPECT_THAT(Row(side.Volatility(), 1), ElementsAre(10, 15, 30, 40, 50));
        EXPECT_THAT(Row(side.Volatility(), 2), ElementsAre(-1, -9, -3, -4, -5));
        EXPECT_THAT(Row(side.InterestRate(), 0), ElementsAre(0, 0, 0, -7, 8));
        EXPECT_THAT(Row(side.InterestRate(), 1), ElementsAre(4, -5, 0, 0, 0));
        EXPECT_THAT(Row(side.VolatilityMismatch(), 0), Each(0.0)) << "of the mismatch only losses count";
        EXPECT_THAT(Row(side.VolatilityMismatch(), 1), Each(-2.0));
    }
    EXPECT_EQ(futures.Volatility().GetSpecialRiskPoints().GetZR(), 13.0);
}

TEST(PlainSeriesNode, ACollateralFuturesTakesTheLossesOfTheRateStressOnly)
{
    FuturesNode futures = EmptyFutures(true);
    futures += TableSeries(With::SubPoints);
    EXPECT_THAT(Row(VolatilityOf(futures).InterestRate(), 0), ElementsAre(0, 0, 0, -7, 0));
    EXPECT_THAT(Row(VolatilityOf(futures).InterestRate(), 1), ElementsAre(0, -5, 0, 0, 0));
    futures -= TableSeries(With::SubPoints);
    EXPECT_THAT(Row(VolatilityOf(futures).InterestRate(), 0), Each(0.0));
}

TEST(PlainSeriesNode, OnTheDeliverySideTheFuturesTakesTheWorstOutcomes)
{
    FuturesNode futures = EmptyFutures();
    futures += TableSeries(With::Both);
    for (std::size_t scenario = 0; scenario < 3; ++scenario)
        EXPECT_THAT(Row(ExpirationOf(futures).Volatility(), scenario), ElementsAre(-100, -4, -9, 1, 7));
    EXPECT_THAT(Row(ExpirationOf(futures).InterestRate(), 0), Each(0.0));
    EXPECT_THAT(Row(ExpirationOf(futures).VolatilityMismatch(), 1), Each(0.0));
    EXPECT_THAT(Row(VolatilityOf(futures).Volatility(), 1), ElementsAre(10, 15, 30, 40, 50));
    EXPECT_EQ(VolatilityOf(futures).Expiration().RowsCount(), 0U) << "a futures has no delivery rows of its own";
}

TEST(PlainSeriesNode, TheNetOptionValueGoesWithTheSeries)
{
    FuturesNode futures = EmptyFutures();
    SeriesNode series = TableSeries(With::Both);
    series.AddNOVi(7.5);
    series.AddCumulativePerformance(2.5);
    futures += series;
    EXPECT_EQ(futures.GetNOVj(), 7.5);
    EXPECT_EQ(futures.GetTotalCumulativePerformance(), 2.5);
    futures -= series;
    EXPECT_EQ(futures.GetNOVj(), 0.0);
    EXPECT_EQ(futures.GetTotalCumulativePerformance(), 0.0);
    for (const kv7im::Profile& side : {VolatilityOf(futures), ExpirationOf(futures)})
        for (std::size_t scenario = 0; scenario < 3; ++scenario)
            EXPECT_THAT(Row(side.Volatility(), scenario), Each(0.0));
    EXPECT_EQ(futures.Volatility().GetSpecialRiskPoints(), kv7im::SpecialRiskPoints{});
}

// Stress of a point: the worse rate row, 0 -5 0 -7 0, and the worse mismatch, -2, which the central scenario is spared.
//   lowest   -10-2  -25-5-2  -30-2  -40-7-2  -50-2
//   central   gains everywhere: 10, 15-5, 30, 40-7, 50
//   highest   -1-2   -9-5-2   -3-2   -4-7-2   -5-2
TEST(PlainSeriesNode, TheTransformedCopyHoldsTheLossesOnRealPoints)
{
    SeriesNode series = TableSeries(With::SubPoints, 1.5);
    series.AddNOVi(4.0);
    const auto contract = BaseContractSample{}.Make();
    ASSERT_GT(series.UpdateInitialMarginValue(*contract), 0.0);
    const Risk before = series.Volatility();
    const SeriesNode transformed = series.GetTransformedRisk();
    for (const kv7im::Profile& side : {VolatilityOf(transformed), ExpirationOf(transformed)}) {
        EXPECT_THAT(Row(side.Volatility(), 0), ElementsAre(-12, -32, -32, -49, -52));
        EXPECT_THAT(Row(side.Volatility(), 1), Each(0.0));
        EXPECT_THAT(Row(side.Volatility(), 2), ElementsAre(-3, -16, -5, -13, -7));
        EXPECT_THAT(Row(side.InterestRate(), 0), Each(0.0));
        EXPECT_THAT(Row(side.VolatilityMismatch(), 1), Each(0.0));
        EXPECT_EQ(side.GetParameters().subPointsCount, 0U);
        EXPECT_EQ(side.GetSpecialRiskPoints().GetZL(), -11.0);
        EXPECT_EQ(side.GetSpecialRiskPoints().GetZR(), 0.0);
    }
    EXPECT_EQ(transformed.GetNOVj(), 4.0);
    EXPECT_EQ(transformed.GetBrokerBaseContractGORatio(), 1.5);
    EXPECT_EQ(transformed.GetInitialMarginValue(), 0.0);
    EXPECT_EQ(series.Volatility(), before) << "the node itself stays";
}

TEST(PlainSeriesNode, TheTransformedCopyOfASeriesWithDeliveriesHoldsTheirLosses)
{
    for (const With with : {With::Deliveries, With::Both}) {
        const SeriesNode transformed = TableSeries(with).GetTransformedRisk();
        const bool folded = with == With::Both;
        for (std::size_t scenario = 0; scenario < 3; ++scenario)
            EXPECT_THAT(Row(ExpirationOf(transformed).Volatility(), scenario),
                        ElementsAre(-100, folded ? -4 : -3, -9, 0, 0));
        EXPECT_THAT(Row(VolatilityOf(transformed).Volatility(), 0),
                    ElementsAre(-12, folded ? -32 : -27, -32, folded ? -49 : -48, -52));
    }
}

TEST(PlainSeriesNode, AFuturesTakesATransformedSeriesAsItIs)
{
    FuturesNode futures = EmptyFutures();
    const SeriesNode transformed = TableSeries(With::Both).GetTransformedRisk();
    futures += transformed;
    EXPECT_THAT(Row(VolatilityOf(futures).Volatility(), 0), ElementsAre(-12, -32, -32, -49, -52));
    EXPECT_THAT(Row(ExpirationOf(futures).Volatility(), 2), ElementsAre(-100, -4, -9, 0, 0));
    futures -= transformed;
    EXPECT_THAT(Row(VolatilityOf(futures).Volatility(), 0), Each(0.0));
    EXPECT_THAT(Row(ExpirationOf(futures).Volatility(), 2), Each(0.0));
}

// Collapsed: worst scenario -10 -25 -30 -40 -50, worst rates 0 -5 0 -7 0, worst mismatch -2: -12 -32 -32 -49 -52.
// With deliveries the first point is worth -100.
TEST(PlainSeriesNode, ASeriesAloneIsMarginedByItsRealPoints)
{
    const auto contract = BaseContractSample{}.Make();
    SeriesNode series = TableSeries(With::Both, 1.5);
    EXPECT_EQ(series.UpdateInitialMarginValue(*contract), 78.0);          // 52 * 1.5
    EXPECT_EQ(series.UpdateInitialMarginDeliveryValue(*contract), 150.0); // 100 * 1.5
    EXPECT_EQ(series.UpdateInitialMarginValue(*contract), 0.0) << "the change, not the value";
    EXPECT_THAT(Row(series.VolatilityRow()), ElementsAre(-12, -32, -32, -49, -52));
    EXPECT_THAT(Row(series.DeliveryRow()), ElementsAre(-100, -32, -32, -49, -52));
}

TEST(PlainSeriesNode, TheDeliveryMarginOfASeriesWithoutDeliveriesIsItsVolatilityMargin)
{
    const auto contract = BaseContractSample{}.Make();
    SeriesNode series = TableSeries(With::SubPoints);
    EXPECT_EQ(series.UpdateInitialMarginValue(*contract), 52.0);
    EXPECT_EQ(series.UpdateInitialMarginDeliveryValue(*contract), 52.0);
}

TEST(PlainSeriesNode, ASeriesWithProfitOnlyCostsNothing)
{
    Risk risk(Parameters(5, 3));
    Fill(risk.GetRisk().Volatility(), std::vector(3, std::vector(5, 20.0)));
    SeriesNode series(Parameters(5, 3), 1.0, Level);
    series += risk;
    EXPECT_EQ(series.UpdateInitialMarginValue(*BaseContractSample{}.Make()), 0.0);
}

// A radius of a quarter and a net option value of 20: a point v becomes v - |20 + v| / 4. The worst one, -52, becomes
// -52 - 8 = -60; the tail of -11 becomes -11 - 2.25.
TEST(PlainSeriesNode, TheCurvatureOfASeriesSeesItsNetOptionValue)
{
    BaseContractSample sample;
    sample.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    SeriesNode series = TableSeries(With::SubPoints);
    series.AddNOVi(20.0);
    EXPECT_EQ(series.UpdateInitialMarginValue(*sample.Make(0.25)), 60.0);
}

// No loss can be told where no delivery reaches: the largest finite double stands there, and no minimum takes it.
TEST(PlainSeriesNode, APricePointOutOfAllDeliveriesCountsAsNoLoss)
{
    Risk risk = TableRisk(With::Deliveries);
    Fill(risk.GetRisk().Expiration(), {{-100, Out, -8, 2, Out}, {Out, -3, -9, Out, Out}});
    SeriesNode series = EmptySeries(With::Deliveries);
    series += risk;
    EXPECT_EQ(ExpirationOf(series).Volatility()[1][4], std::numeric_limits<double>::max());
    EXPECT_THAT(Row(series.DeliveryRow()), ElementsAre(-100, -27, -32, -48, -52));
    EXPECT_EQ(ExpirationOf(series.GetTransformedRisk()).Volatility()[0][4], 0.0);
}

} // namespace
} // namespace test::SeriesNodeTest
