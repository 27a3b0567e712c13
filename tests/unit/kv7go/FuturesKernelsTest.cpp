// The one-pass kernels of a futures' position and of what it gives to its group against the plain sequences of matrix
// operations that they stand for, bit by bit.
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "NodePairs.h"
#include "Road.h"

namespace test::FuturesKernelsTest {
namespace {

using Enums::SpreadAspect;
using Enums::SpreadMarginType;

struct State
{
    std::int64_t quantity;
    double price;
};

std::vector<State> RandomStates(unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<State> states{{0, 0.0}};
    for (int i = 0; i < 30; ++i) {
        const std::int64_t quantity = std::uniform_int_distribution<std::int64_t>(-2000, 2000)(random);
        states.push_back({i % 7 == 6 ? 0 : quantity, std::uniform_real_distribution<double>(700.0, 1300.0)(random)});
    }
    return states;
}

SeriesKind Delivered(std::int32_t riskPointsN, std::int32_t scenarios, bool collateral)
{
    return {riskPointsN, scenarios, false, true, false, collateral};
}

// A node that has a series with deliveries holds another thing on its delivery side than on its volatility side, in
// every scenario another, and mismatch on one of them.
void SellSomeOptions(SeriesPair& series, FuturesPair& futures)
{
    series.SetPosition(0, -7, 60.0, futures);
    series.SetPosition(3, -11, 20.0, futures);
    series.SetPosition(5, 4, 15.0, futures);
}

TEST(FuturesKernels, ReplacingAPositionHasTheBitsOfSubtractingAndAdding)
{
    for (const bool collateral : {false, true})
        for (const std::int32_t points : {1, 2, 3, 4, 40})
            for (const std::int32_t scenarios : {3, 5, 7})
                for (const bool withSeries : {false, true}) {
                    SeriesPair series(Delivered(points, scenarios, collateral));
                    FuturesPair futures(*series.family.futures);
                    if (withSeries) SellSomeOptions(series, futures);
                    ASSERT_EQ(futures.engine.Volatility() != futures.engine.Expiration(), withSeries);
                    for (const State& state : RandomStates(static_cast<unsigned>(points * 10 + scenarios))) {
                        futures.SetPosition(state.quantity, state.price);
                        ASSERT_NO_FATAL_FAILURE(futures.ExpectSame(Lanes::All));
                        ASSERT_NO_FATAL_FAILURE(futures.ExpectSameRows());
                    }
                }
}

// Sizes that overflow and prices that are no numbers go the same way in both forms.
TEST(FuturesKernels, ReplacingByUnusualNumbersHasTheBitsOfThePlainForm)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<State> states{{std::numeric_limits<std::int64_t>::min(), 1e300}, {0, 0.0}, {3, nan}, {1, 1.0}};
    for (const bool collateral : {false, true})
        for (const bool withSeries : {false, true})
            for (std::size_t length = 1; length <= states.size(); ++length) {
                SeriesPair series(Delivered(2, 3, collateral));
                FuturesPair futures(*series.family.futures);
                if (withSeries) SellSomeOptions(series, futures);
                for (std::size_t i = 0; i < length; ++i) {
                    futures.SetPosition(states[i].quantity, states[i].price);
                    ASSERT_NO_FATAL_FAILURE(futures.ExpectSame(Lanes::All)) << "step " << i;
                    ASSERT_NO_FATAL_FAILURE(futures.ExpectSameRows()) << "step " << i;
                }
            }
}

// The mismatch of a futures is nothing, and nothing of either sign leaves what series gave as it is.
TEST(FuturesKernels, ReplacingAPositionLeavesTheMismatchOfTheSeries)
{
    SeriesPair series(Delivered(3, 3, false));
    FuturesPair futures(*series.family.futures);
    SellSomeOptions(series, futures);
    const kv7im::Risk before = futures.engine.Volatility();
    futures.SetPosition(-9, 990.0);
    futures.SetPosition(4, 1010.0);
    const kv7im::Risk after = futures.engine.Volatility();
    EXPECT_TRUE(SameCells(after.GetRisk().VolatilityMismatch(), before.GetRisk().VolatilityMismatch(), Lanes::All));
    EXPECT_LT(after.GetRisk().VolatilityMismatch().MinimumInColumn(0)[0], 0.0);
}

/// Three futures of one contract and one of another, in one group; the first two have series with deliveries, and the
/// third one counts by its losses whatever the participant nets.
plain::Market MarketOfMonths(const std::string& mcs, bool collateral, std::int32_t riskPointsN)
{
    plain::Market market = RoadMarket(mcs, collateral, SpreadAspect::InSpread);
    market.baseContracts[0].RiskPointsN = riskPointsN;
    market.baseContracts[0].VolatNum = 3 + riskPointsN % 3 * 2; // 3, 5 and 7
    BaseContractSample neighbour = market.baseContracts[0];
    neighbour.Code = "NEIGHBOUR";
    neighbour.WindowSizePercentage = 1.0;
    market.baseContracts.push_back(neighbour);
    const auto month = [&](std::string code, Isin isin, double price) {
        FuturesSample futures(std::move(code), isin);
        futures.CalcFutPrice = futures.RealCalcPrice = price;
        futures.InterestRateRiskUp = 0.3;
        futures.InterestRateRiskDown = 0.15;
        futures.TimeToExpiration = 0.75;
        return futures;
    };
    market.futures.push_back(month("FAR", 2, 1011.25));
    market.futures.push_back(month("THIRD", 3, 1017.75));
    market.futures.back().EnforceIMSHalfNetting = true;
    market.futures.push_back(month("OTHER", 4, 985.5));
    market.futures.back().CodeBC = neighbour.Code;
    kv7im::OptionSeriesParameters series = market.series[1];
    series.Code = "OFFAR";
    series.CodeRF = "FAR";
    series.SubRisk = true;
    market.series.push_back(series);
    Isin isin = 113;
    for (const double strike : {950.0, 1050.0}) {
        OptionSample option = market.options[1];
        option.Code = "OFFAR-" + std::to_string(isin);
        option.CodeVF = series.Code;
        option.Strike = strike;
        option.Isin = isin++;
        market.options.push_back(option);
    }
    return market;
}

void WalkThroughTheMonths(const plain::Market& market, const plain::Rules& rules, unsigned seed)
{
    Road road(market, rules);
    std::mt19937 random(seed);
    int stepsOfTwoSides = 0;
    const auto expectSame = [&] {
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
        const plain::GroupNode& months = road.Twin().MMS();
        if (months.Volatility() != months.Expiration()) ++stepsOfTwoSides;
    };
    for (const State& state : RandomStates(seed)) {
        road.SetFutures(1 + static_cast<Isin>(random() % 4), state.quantity, state.price);
        ASSERT_NO_FATAL_FAILURE(expectSame());
        const Isin option = 101 + static_cast<Isin>(random() % 14);
        road.SetOption(option, 90 * (10 - static_cast<std::int64_t>(random() % 21)), 40.25, 3);
        ASSERT_NO_FATAL_FAILURE(expectSame()) << "option " << option;
    }
    EXPECT_GT(stepsOfTwoSides, 10) << "the walk says little about deliveries";
    // A size that overflows, a price that is no number, and what changes beside them. When they go the book is taken
    // anew.
    const std::vector<State> unusual{{std::numeric_limits<std::int64_t>::max(), 1e300},
                                     {5, std::numeric_limits<double>::quiet_NaN()}};
    for (const State& state : unusual) {
        road.SetFutures(2, state.quantity, state.price);
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
        road.SetFutures(3, state.quantity / 2, 1000.0);
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
    }
}

TEST(FuturesKernels, WhatAFuturesGivesToItsGroupHasTheBitsOfSubtractingCopyingAndAdding)
{
    unsigned seed = 1;
    for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
        for (const std::int32_t points : {1, 2, 3, 4, 40}) {
            SCOPED_TRACE("N " + std::to_string(points));
            plain::Rules rules;
            rules.calendar = calendar;
            rules.shortChargeRatio = 1.3;
            rules.clearings = 3;
            ASSERT_NO_FATAL_FAILURE(WalkThroughTheMonths(MarketOfMonths("", points == 2, points), rules, seed++));
        }
}

TEST(FuturesKernels, WhatAContractGivesToItsGroupHasTheBitsOfSubtractingCollapsingAndAdding)
{
    unsigned seed = 101;
    for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
        for (const auto interContract : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
            for (const std::int32_t points : {1, 2, 3, 4, 40}) {
                SCOPED_TRACE("N " + std::to_string(points));
                plain::Rules rules;
                rules.calendar = calendar;
                rules.interContract = interContract;
                rules.clearings = 3;
                ASSERT_NO_FATAL_FAILURE(
                    WalkThroughTheMonths(MarketOfMonths("GROUP", points == 3, points), rules, seed++));
            }
}

// A participant whose calendar netting changes in between: what was given comes out as it was given.
TEST(FuturesKernels, AContributionGivenUnderOneRuleComesOutUnderTheOther)
{
    plain::Market market = RoadMarket("", false, SpreadAspect::InSpread);
    plain::Rules rules;
    Road road(market, rules);
    for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting, SpreadMarginType::Netting,
                                SpreadMarginType::HalfNetting}) {
        rules.calendar = calendar;
        road.book.ChangeRules(rules);
        road.twins.at(RoadFutures).ChangeCalendarNetting(calendar);
        road.SetFutures(5, 1000.0);
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
    }
    plain::GroupNode expected(*road.repository->GetFutures(RoadFutures)->BaseContract, 1.0, PairLevel);
    expected += road.Twin().Owner().GetTransformedRisk();
    const kv7im::Risk group = road.book.portfolio.GetRisksNodeOfLevelMMS("BC")->Volatility();
    for (std::size_t c = 0; c < 11; ++c) {
        EXPECT_NEAR(group.GetRisk().Volatility(0)[c], expected.Volatility().GetRisk().Volatility(0)[c], 1e-9);
        EXPECT_NEAR(group.GetRisk().InterestRateUp()[c], 0.0, 1e-9);
    }
    EXPECT_LT(group.GetRisk().Volatility(0)[0], 0.0);
}

} // namespace
} // namespace test::FuturesKernelsTest
