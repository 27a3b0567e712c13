// Single nodes of the open tree, where books that reach a rule are hard to come by.
#include "MarginExplanationNodes.h"

#include <gtest/gtest.h>

namespace test::MarginExplanationNodesTest {
namespace {

using namespace QuindalIM;
using namespace QuindalIM::explanation;

// Results -1, -10 and -1 by scenario; the rates take 2 at worst, volatilities that move apart 4.
kv7im::Risk ThreeScenarios()
{
    kv7im::Risk risk(kv7im::Parameters(1, 3));
    kv7im::Profile& cells = risk.GetRisk();
    cells.Volatility()[0][0] = cells.Volatility()[2][0] = -1.0;
    cells.Volatility()[1][0] = -10.0;
    cells.InterestRate()[0][0] = -2.0;
    cells.VolatilityMismatch()[1][0] = -4.0;
    return risk;
}

TEST(LossesOnlyNode, DoesNotChargeTheCentralScenarioForVolatilitiesThatMoveApart)
{
    const Node losses = Node::LossesOf(Node::Leaf(0, ThreeScenarios()), "S");
    const double expected[] = {-7.0, -12.0, -7.0};
    for (std::size_t scenario = 0; scenario < 3; ++scenario) {
        const CellAt at{MarginSide::Volatility, Table::Volatility, scenario, 0};
        EXPECT_EQ(losses.Cell(at), expected[scenario]);
        Trail trail(1);
        trail.contracts.emplace_back();
        losses.ShareCell(at, -1.0, trail);
        EXPECT_EQ(trail.money[0], -expected[scenario]);
        EXPECT_EQ(trail.Part("S").rateRow, 0U);
        EXPECT_EQ(trail.Part("S").mismatchRow.has_value(), scenario != 1);
    }
}

} // namespace
} // namespace test::MarginExplanationNodesTest
