// The road of positions alone, from the portfolio to the margins, against the plain sequence of whole-matrix
// operations: bit by bit.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Road.h"

namespace test::PositionsOnlyRoadTest {
namespace {

using Enums::SpreadAspect;
using Enums::SpreadMarginType;

/// RoadMarket with a second month in the same group.
plain::Market MarketOfMonths(const std::string& mcs, bool collateral, SpreadAspect aspect)
{
    plain::Market market = RoadMarket(mcs, collateral, aspect);
    FuturesSample far = market.futures[0];
    far.Code = "FAR";
    far.Isin = 2;
    far.CalcFutPrice = far.RealCalcPrice = 1011.25;
    market.futures.push_back(far);
    return market;
}

void WalkOnPaper(const plain::Market& market, const plain::Rules& rules, unsigned seed)
{
    Road road(market, rules);
    std::mt19937 random(seed);
    std::uniform_int_distribution<Isin> isins(99, 112); // 99 and 100 stand for the futures
    const auto number = [&](std::int64_t lowest, std::int64_t highest) {
        return std::uniform_int_distribution<std::int64_t>(lowest, highest)(random);
    };
    int stepsOfPaperLoss = 0;
    for (int step = 0; step < 60; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        const Isin drawn = isins(random);
        const Isin isin = drawn <= 100 ? drawn - 98 : drawn;
        const std::int64_t quantity = step % 5 == 4 ? 0 : number(-20, 20);
        const double price = (drawn <= 100 ? 950.0 : 0.25) + static_cast<double>(number(0, 100));
        const double marketPrice = price + 0.5 * static_cast<double>(number(-20, 20));
        road.SetPaper(isin, quantity, price, marketPrice, number(-20, 20));
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins()) << "isin " << isin;
        if (road.Twin().Owner().GetTotalCumulativePerformance() > 0.0) ++stepsOfPaperLoss;
    }
    EXPECT_GT(stepsOfPaperLoss, 10) << "the walk says little about paper losses";
}

TEST(PositionsOnlyRoad, EveryChangeHasTheBitsOfThePlainSequenceUpToTheMargins)
{
    unsigned seed = 1;
    for (const bool collateral : {false, true})
        for (const auto* const mcs : {"", "GROUP"})
            for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
                for (const auto interContract : {SpreadMarginType::Netting, SpreadMarginType::Unused})
                    for (const bool noDiscount : {false, true}) {
                        plain::Rules rules;
                        rules.calendar = calendar;
                        rules.interContract = interContract;
                        rules.noFutDiscount = noDiscount;
                        rules.shortChargeRatio = 1.3;
                        rules.clearings = 3;
                        SCOPED_TRACE(std::string(mcs) + (collateral ? " collateral" : ""));
                        ASSERT_NO_FATAL_FAILURE(
                            WalkOnPaper(MarketOfMonths(mcs, collateral, SpreadAspect::InSpread), rules, seed++));
                    }
}

TEST(PositionsOnlyRoad, EveryChangeOnAFuturesOutOfSpreadHasTheBitsOfThePlainSequence)
{
    plain::Rules rules;
    rules.clearings = 3;
    for (const bool collateral : {false, true})
        WalkOnPaper(MarketOfMonths("", collateral, SpreadAspect::NotInSpread), rules, 99);
}

} // namespace
} // namespace test::PositionsOnlyRoadTest
