// The one-pass kernels against the plain sequences of matrix operations that they stand for, bit by bit.
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "nodes/RiskNode.h"

namespace test::FuturesKernelsTest {
namespace {

using kv7im::PositionTransform;
using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::RiskNodeFutures;
using kv7im::RiskNodeMMS;
using kv7im::RiskNodeOptionSeries;

constexpr auto Level = Enums::ClientRiskLevel::Default;

// All RiskItems, padding included.
std::vector<double> BitsOf(const RiskMatrix& matrix)
{
    const auto* const first = reinterpret_cast<const double*>(matrix.pData());
    return {first, first + matrix.GetFullSizeRegister() * kv7im::RiskItem::Lanes};
}

testing::AssertionResult SameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) && std::isnan(b[i])) continue; // one NaN is as good as another
        if (std::bit_cast<std::uint64_t>(a[i]) != std::bit_cast<std::uint64_t>(b[i]))
            return testing::AssertionFailure() << "lane " << i << ": " << a[i] << " and " << b[i];
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult SameBits(const Risk& a, const Risk& b)
{
    const std::vector<const RiskMatrix*> left{&a.GetRisk().Volatility(), &a.GetRisk().InterestRate(),
                                              &a.GetRisk().VolatilityMismatch()};
    const std::vector<const RiskMatrix*> right{&b.GetRisk().Volatility(), &b.GetRisk().InterestRate(),
                                               &b.GetRisk().VolatilityMismatch()};
    for (std::size_t i = 0; i < left.size(); ++i)
        if (auto same = SameBits(BitsOf(*left[i]), BitsOf(*right[i])); !same) return same << " of matrix " << i;
    const auto& points = a.GetSpecialRiskPoints();
    const auto& others = b.GetSpecialRiskPoints();
    return SameBits(std::vector<double>(points.pData(), points.pData() + 8),
                    std::vector<double>(others.pData(), others.pData() + 8));
}

struct Bench
{
    Bench(std::int32_t riskPointsN, std::int32_t volatNum, bool collateral) : isCollateral(collateral)
    {
        BaseContractSample contractSample;
        contractSample.RiskPointsN = riskPointsN;
        contractSample.VolatNum = volatNum;
        contract = contractSample.Make();
        FuturesSample sample;
        sample.InterestRateRiskUp = 0.3;
        sample.InterestRateRiskDown = 0.2;
        sample.MRAddOnUp = 0.01;
        sample.CalcFutPrice = 1003.7;
        futures = sample.Make(*contract);
        futures->RecalcInvariants();
    }
    [[nodiscard]] RiskNodeFutures Node() const
    {
        return RiskNodeFutures(futures->GetProfile(Level).GetParameters(), 1.0, Level, isCollateral);
    }
    [[nodiscard]] Risk Position(std::int64_t quantity, double price, double chargeRatio) const
    {
        Risk risk = futures->TransformToPosition(quantity, price, Level);
        auto& points = risk.GetSpecialRiskPoints();
        points.SetDownRisk(points.GetDownRisk() * chargeRatio);
        points.SetUpRisk(points.GetUpRisk() * chargeRatio);
        return risk;
    }
    [[nodiscard]] PositionTransform Described(std::int64_t quantity, double price) const
    {
        return futures->DescribePosition(quantity, price, Level);
    }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
    bool isCollateral;
};

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

void FillAtRandom(RiskMatrix& matrix, std::mt19937& random)
{
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
            matrix[row][column] = std::uniform_real_distribution<double>(-500.0, 500.0)(random);
}

// A series with deliveries: a node that has it holds another thing on its delivery side than on its volatility side, in
// every scenario another, and mismatch on one of them.
RiskNodeOptionSeries DeliveredSeries(const Bench& bench, unsigned seed)
{
    kv7im::Parameters parameters = bench.futures->GetProfile(Level).GetParameters();
    parameters.expirationScenariosCount = 3;
    Risk risk(parameters);
    std::mt19937 random(seed);
    for (RiskMatrix* const matrix : {&risk.GetRisk().Volatility(), &risk.GetRisk().InterestRate(),
                                     &risk.GetRisk().VolatilityMismatch(), &risk.GetRisk().Expiration()})
        FillAtRandom(*matrix, random);
    risk.GetSpecialRiskPoints().SetZL(-17.0);
    RiskNodeOptionSeries series(parameters, 1.0, Level);
    series += risk;
    return series;
}

TEST(FuturesKernels, ReplacingAPositionHasTheBitsOfSubtractingAndAdding)
{
    for (const bool collateral : {false, true})
        for (const std::int32_t points : {1, 2, 3, 4, 40})
            for (const std::int32_t scenarios : {3, 5, 7}) {
                const Bench bench(points, scenarios, collateral);
                RiskNodeFutures fast = bench.Node();
                fast += DeliveredSeries(bench, 5);
                ASSERT_NE(fast.Volatility(), fast.Expiration());
                RiskNodeFutures plainly = fast;
                const std::vector<State> states = RandomStates(static_cast<unsigned>(points * 10 + scenarios));
                for (std::size_t i = 1; i < states.size(); ++i) {
                    const State& before = states[i - 1];
                    const State& after = states[i];
                    fast.ReplacePosition(bench.Described(before.quantity, before.price),
                                         bench.Described(after.quantity, after.price), 1.7);
                    plainly -= bench.Position(before.quantity, before.price, 1.7);
                    plainly += bench.Position(after.quantity, after.price, 1.7);
                    ASSERT_TRUE(SameBits(fast.Volatility(), plainly.Volatility())) << "step " << i;
                    ASSERT_TRUE(SameBits(fast.Expiration(), plainly.Expiration())) << "step " << i;
                }
            }
}

// Sizes that overflow and prices that are no numbers go the same way in both forms.
TEST(FuturesKernels, ReplacingByUnusualNumbersHasTheBitsOfThePlainForm)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<State> states{
        {0, 0.0}, {std::numeric_limits<std::int64_t>::min(), 1e300}, {0, 0.0}, {3, nan}, {1, 1.0}};
    for (const bool collateral : {false, true})
        for (std::size_t length = 2; length <= states.size(); ++length) {
            const Bench bench(2, 3, collateral);
            RiskNodeFutures fast = bench.Node();
            RiskNodeFutures plainly = bench.Node();
            for (std::size_t i = 1; i < length; ++i) {
                fast.ReplacePosition(bench.Described(states[i - 1].quantity, states[i - 1].price),
                                     bench.Described(states[i].quantity, states[i].price), 1.0);
                plainly -= bench.Position(states[i - 1].quantity, states[i - 1].price, 1.0);
                plainly += bench.Position(states[i].quantity, states[i].price, 1.0);
                ASSERT_TRUE(SameBits(fast.Volatility(), plainly.Volatility())) << "step " << i;
                ASSERT_TRUE(SameBits(fast.Expiration(), plainly.Expiration())) << "step " << i;
            }
        }
}

// The mismatch of a futures is nothing, and nothing of either sign leaves what series gave as it is.
TEST(FuturesKernels, ReplacingAPositionLeavesTheMismatchOfTheSeries)
{
    const Bench bench(3, 3, false);
    RiskNodeFutures node = bench.Node();
    node += DeliveredSeries(bench, 8);
    const std::vector<double> before = BitsOf(node.Volatility().GetRisk().VolatilityMismatch());
    node.ReplacePosition(bench.Described(0, 0.0), bench.Described(-9, 990.0), 1.0);
    node.ReplacePosition(bench.Described(-9, 990.0), bench.Described(4, 1010.0), 1.0);
    EXPECT_TRUE(SameBits(BitsOf(node.Volatility().GetRisk().VolatilityMismatch()), before));
    EXPECT_LT(node.Volatility().GetRisk().VolatilityMismatch().MinimumInColumn(0)[0], 0.0);
}

TEST(FuturesKernels, ReplacingAContributionHasTheBitsOfSubtractingCopyingAndAdding)
{
    for (const bool lossesOnly : {false, true})
        for (const std::int32_t points : {1, 2, 3, 4, 40}) {
            const std::int32_t scenarios = 3 + points % 3 * 2; // 3, 5 and 7
            const Bench bench(points, scenarios, points == 2);
            RiskNodeFutures node = bench.Node();
            node += DeliveredSeries(bench, 6);
            RiskNodeFutures fastPrevious = bench.Node();
            RiskNodeFutures plainPrevious = bench.Node();
            RiskNodeMMS fast(*bench.contract, 1.0, Level);
            RiskNodeMMS plainly(*bench.contract, 1.0, Level);
            std::vector<State> states = RandomStates(static_cast<unsigned>(points));
            states.push_back({std::numeric_limits<std::int64_t>::max(), 1e300}); // overflows, then is no number
            states.push_back({5, std::numeric_limits<double>::quiet_NaN()});
            states.push_back({1, 1000.0});
            for (std::size_t i = 1; i < states.size(); ++i) {
                node -= bench.Position(states[i - 1].quantity, states[i - 1].price, 1.0);
                node += bench.Position(states[i].quantity, states[i].price, 1.0);
                node.AddNOVi(static_cast<double>(i));
                node += DeliveredSeries(bench, static_cast<unsigned>(100 + i)); // mismatch changes as well

                fast.ReplaceContribution(fastPrevious, node, lossesOnly);
                plainly -= plainPrevious;
                plainPrevious = lossesOnly ? node.GetTransformedRisk() : node;
                plainly += plainPrevious;

                ASSERT_TRUE(SameBits(fast.Volatility(), plainly.Volatility())) << "step " << i;
                ASSERT_TRUE(SameBits(fast.Expiration(), plainly.Expiration())) << "step " << i;
                ASSERT_TRUE(SameBits(fastPrevious.Volatility(), plainPrevious.Volatility())) << "step " << i;
                ASSERT_TRUE(SameBits(fastPrevious.Expiration(), plainPrevious.Expiration())) << "step " << i;
                ASSERT_EQ(fast.GetNOVj(), plainly.GetNOVj());
                // The rows that came out on the way are those of the collapse.
                ASSERT_EQ(fast.UpdateInitialMarginValue(*bench.contract),
                          plainly.UpdateInitialMarginValue(*bench.contract));
                ASSERT_EQ(fast.UpdateInitialMarginDeliveryValue(*bench.contract),
                          plainly.UpdateInitialMarginDeliveryValue(*bench.contract));
                const auto rolledUp = fast.GetRolledUpRiskNode(Risk::CollapseProperty::NegativeAndPositive);
                const auto collapsed =
                    plainly.Volatility().CollapseToRiskRow(Risk::CollapseProperty::NegativeAndPositive);
                const auto delivery = kv7im::min(
                    collapsed, plainly.Expiration().CollapseToRiskRow(Risk::CollapseProperty::NegativeAndPositive));
                for (std::size_t c = 0; c < collapsed.size(); ++c) {
                    ASSERT_EQ(rolledUp.Volatility()[c], collapsed[c]);
                    ASSERT_EQ(rolledUp.Expiration()[c], delivery[c]);
                }
            }
        }
}

// A participant whose calendar netting changes in between: what was given comes out as it was given.
TEST(FuturesKernels, AContributionGivenUnderOneRuleComesOutUnderTheOther)
{
    const Bench bench(3, 3, false);
    RiskNodeFutures node = bench.Node();
    RiskNodeFutures previous = node;
    RiskNodeMMS group(*bench.contract, 1.0, Level);
    node += bench.Position(5, 1000.0, 1.0);
    for (const bool lossesOnly : {false, true, false, true})
        group.ReplaceContribution(previous, node, lossesOnly);
    RiskNodeMMS expected(*bench.contract, 1.0, Level);
    expected += node.GetTransformedRisk();
    const auto& cells = group.Volatility().GetRisk();
    for (std::size_t c = 0; c < 7; ++c) {
        EXPECT_NEAR(cells.Volatility(0)[c], expected.Volatility().GetRisk().Volatility(0)[c], 1e-9);
        EXPECT_NEAR(cells.InterestRateUp()[c], 0.0, 1e-9);
    }
}

} // namespace
} // namespace test::FuturesKernelsTest
