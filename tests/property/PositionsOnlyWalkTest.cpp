// Walks of position changes in the mode of positions alone: every node of the engine, from the option series to the
// margins, stays the one that a plain computation finds for all that is held.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "EngineBook.h"
#include "WalkSupport.h"
#include "kv7errors.h"

namespace test::PositionsOnlyWalkTest {
namespace {

using kv7im::Risk;

void Set(EngineBook& engine, Isin isin, const plain::Holding& h)
{
    RC_ASSERT(engine.portfolio.SetPosition_PositionsOnly(isin, h.quantity, h.price, h.marketPrice,
                                                         h.afterLastClearing) == Z9ERR_OK);
}

/// An engine and, beside it, what it should hold.
class Walk
{
public:
    Walk(const plain::Market& market, const kv7im::InstrumentsRepository& repository, const plain::Rules& rules)
        : m_model(market, Alone(rules)), m_engine(repository, rules)
    {}

    void SetTo(Isin isin, plain::Holding holding)
    {
        plain::Holding& held = m_book[isin];
        holding.hadLost = plain::LostByNow(held) > 0.0;
        held = holding;
        Set(m_engine, isin, holding);
    }
    /// Closed twice: after the second time no paper loss is remembered.
    void Unset()
    {
        for (int round = 0; round < 2; ++round)
            for (const auto& [isin, holding] : plain::Book(m_book))
                SetTo(isin, {});
    }

    [[nodiscard]] plain::Margins Margins() const { return m_engine.Margins(); }
    [[nodiscard]] const plain::Book& Held() const { return m_book; }

    void ExpectThePlainTreeAndMargins()
    {
        const plain::Margins expected = m_model.Of(m_book);
        const plain::Model::Nodes tree = m_model.TreeOf(m_book);
        for (const auto& [isin, node] : tree.futures)
            m_largest = std::max({m_largest, LargestOf(node.volatility), LargestOf(node.delivery)});
        for (const auto& [code, node] : tree.alone)
            m_largest = std::max({m_largest, LargestOf(node.second.volatility), LargestOf(node.second.delivery)});
        m_largest = std::max({m_largest, expected.volatility, expected.delivery});

        for (const auto& [isin, position] : m_engine.portfolio.RangePositions())
            ExpectTheFutures(position, tree);
        for (const auto& [code, node] : tree.contracts)
            ExpectNode(*m_engine.portfolio.GetRisksNodeOfLevelMMS(code), node, "base contract " + code);
        ExpectEqual(Margins(), expected, "against the plain one", m_largest);
    }

private:
    static plain::Rules Alone(plain::Rules rules)
    {
        rules.positionsOnly = true;
        return rules;
    }
    static double LargestOf(const plain::Sheet& sheet)
    {
        double largest = 0.0;
        for (const plain::Table* const table : {&sheet.cell, &sheet.rate, &sheet.mismatch})
            for (const std::vector<double>& row : *table)
                for (const double cell : row)
                    largest = std::max(largest, std::abs(cell));
        for (const double point : sheet.point)
            largest = std::max(largest, std::abs(point));
        return largest;
    }

    void ExpectTheFutures(const kv7im::CumulativePositionByFutures& position, const plain::Model::Nodes& tree) const
    {
        const auto futures = tree.futures.find(position.GetIsin());
        if (futures != tree.futures.end())
            ExpectNode(position.GetOwnerRiskNode(), futures->second, "futures " + position.GetCode());
        for (const auto& [code, node] : tree.series)
            if (const auto* const series = position.GetRiskNodeOptionSeriesByVFCode(code))
                ExpectNode(*series, node, "series " + code);
    }

    void ExpectNode(const kv7im::RiskNodeBase& node, const plain::Node& expected, const std::string& what) const
    {
        ExpectSheet(node.Volatility(), expected.volatility, what + ", volatility");
        ExpectSheet(node.Expiration(), expected.delivery, what + ", delivery");
        ExpectEqual(node.GetNOVj(), expected.optionValue, what + ", net option value", m_largest);
        ExpectEqual(node.GetTotalCumulativePerformance(), expected.paperLoss, what + ", paper loss", m_largest);
    }
    void ExpectSheet(const Risk& risk, const plain::Sheet& expected, const std::string& what) const
    {
        kv7im::Parameters parameters = risk.GetRisk().GetParameters();
        parameters.subPointsCount = 0;
        Risk folded(parameters);
        risk.GetRollupedRisk(folded);
        ExpectTable(folded.GetRisk().Volatility(), expected.cell, what + " values");
        ExpectTable(folded.GetRisk().InterestRate(), expected.rate, what + " rates");
        ExpectTable(folded.GetRisk().VolatilityMismatch(), expected.mismatch, what + " mismatch");
        for (std::size_t p = 0; p < kv7im::SpecialRiskPoints::size(); ++p)
            ExpectEqual(risk.GetSpecialRiskPoints().pData()[p], expected.point[p], what + " points", m_largest);
    }
    void ExpectTable(const kv7im::RiskMatrix& matrix, const plain::Table& expected, const std::string& what) const
    {
        RC_ASSERT(matrix.RowsCount() == expected.size());
        for (std::size_t row = 0; row < expected.size(); ++row)
            for (std::size_t column = 0; column < expected[row].size(); ++column)
                ExpectEqual(matrix[row][column], expected[row][column], what, m_largest);
    }

    plain::Model m_model;
    EngineBook m_engine;
    plain::Book m_book;
    double m_largest = 0.0; // money so far
};

/// A position with a market price: as often above its own as below, now and then the same.
std::pair<Isin, plain::Holding> RandomHolding(const plain::Market& market)
{
    auto [isin, holding] = RandomChange(market);
    holding.marketPrice = holding.price + random_market::Grid(-4.0, 0.5, 17);
    return {isin, holding};
}

RC_GTEST_PROP(PositionsOnlyWalk, EveryNodeStaysThePlainOneAndGoesWithThePositions, ())
{
    const plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    Walk walk(market, *repository, random_market::MakeRules());
    const int steps = random_market::Between(1, 25);
    for (int step = 0; step < steps; ++step) {
        const auto [isin, holding] = RandomHolding(market);
        walk.SetTo(isin, holding);
        walk.ExpectThePlainTreeAndMargins();
    }
    walk.Unset();
    walk.ExpectThePlainTreeAndMargins();
    RC_ASSERT(std::abs(walk.Margins().volatility) < Residue);
    RC_ASSERT(std::abs(walk.Margins().delivery) < Residue);
}

// A position set to something else and back again: its option value aside, which asks for the paper loss before, all is
// as it was.
RC_GTEST_PROP(PositionsOnlyWalk, AChangeThatIsTakenBackLeavesTheMarginsAsTheyWere, ())
{
    const plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    Walk walk(market, *repository, random_market::MakeRules());
    for (int step = random_market::Between(1, 12); step > 0; --step) {
        const auto [isin, holding] = RandomHolding(market);
        walk.SetTo(isin, holding);
        walk.SetTo(isin, holding); // now its option value knows its own paper loss
    }
    const plain::Margins before = walk.Margins();
    const plain::Book held = walk.Held();
    const auto [isin, holding] = RandomHolding(market);
    walk.SetTo(isin, holding);
    const auto old = held.find(isin);
    for (int round = 0; round < 2; ++round)
        walk.SetTo(isin, old == held.end() ? plain::Holding{} : old->second);
    ExpectEqual(walk.Margins(), before, "as they were", 1e3);
}

} // namespace
} // namespace test::PositionsOnlyWalkTest
