// Flat and full cells of a node: when the rate rows of a futures fit into one, and that both forms hold the same.
#include "grids/NodeCells.h"

#include <limits>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "nodes/RiskNode.h"

namespace test::NodeCellsTest {
namespace {

constexpr auto Level = Enums::ClientRiskLevel::Default;

struct Family
{
    Family() : contract(BaseContractSample{}.Make(0.0)), futures(WithRates().Make(*contract))
    {
        futures->RecalcInvariants();
    }
    static FuturesSample WithRates()
    {
        FuturesSample sample;
        sample.InterestRateRiskUp = 0.5;
        sample.InterestRateRiskDown = 0.25;
        return sample;
    }
    [[nodiscard]] const kv7im::Profile& Prices() const { return futures->GetProfile(Level); }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
};

TEST(NodeCells, RatesThatCountOnTheirOwnSideOfTheCentreFitIntoOneRow)
{
    const Family family;
    EXPECT_TRUE(kv7im::NodeCells::FitsFlat(family.Prices()));
    EXPECT_GT(family.Prices().InterestRateUp()[4], 0.0);
    EXPECT_LT(family.Prices().InterestRateDown()[0], 0.0);
    for (const std::size_t column : {0u, 1u, 2u}) {
        kv7im::Profile profile = family.Prices();
        profile.InterestRateUp()[column] = 1.0;
        EXPECT_FALSE(kv7im::NodeCells::FitsFlat(profile)) << column;
    }
    for (const std::size_t column : {2u, 3u, 4u}) {
        kv7im::Profile profile = family.Prices();
        profile.InterestRateDown()[column] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_FALSE(kv7im::NodeCells::FitsFlat(profile)) << column;
    }
}

// A futures whose rates did not fit would begin with full cells: its figures are those of the flat form.
TEST(NodeCells, AFullNodeWithoutOptionsHoldsWhatAFlatOneStandsFor)
{
    const Family family;
    const auto state = [&](std::int64_t quantity, double price) {
        return family.futures->DescribePosition(quantity, price, Level);
    };
    for (const bool collateral : {false, true}) {
        kv7im::RiskNodeFutures flat(family.Prices().GetParameters(), 1.0, Level, collateral, true);
        kv7im::RiskNodeFutures full(family.Prices().GetParameters(), 1.0, Level, collateral, false);
        for (kv7im::RiskNodeFutures* const node : {&flat, &full}) {
            node->ReplacePosition(state(0, 0.0), state(3, 990.0), 1.5);
            node->ReplacePosition(state(3, 990.0), state(-2, 1010.0), 1.5);
        }
        EXPECT_LT(full.Volatility().GetRisk().InterestRateUp()[4], 0.0);
        EXPECT_EQ(flat.Volatility(), full.Volatility());
        EXPECT_GT(full.UpdateInitialMarginValue(*family.contract), 0.0);
        EXPECT_EQ(flat.UpdateInitialMarginValue(*family.contract), full.GetInitialMarginValue());
        flat.MakeRoomForSeries(true);
        EXPECT_EQ(flat.Volatility(), full.Volatility());
        EXPECT_EQ(flat.Expiration(), full.Expiration());
    }
}

} // namespace
} // namespace test::NodeCellsTest
