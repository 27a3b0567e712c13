// The one-pass kernels of an option's position against the plain sequences of matrix operations that they stand for,
// bit by bit.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "NodePairs.h"
#include "OptionFamily.h"
#include "SeriesKinds.h"
#include "grids/LazyMemoryPool.h"

namespace test::OptionKernelsTest {
namespace {

using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::auxiliary::LazyMemoryPool;

using Kind = SeriesKind;

constexpr auto Level = PairLevel;
constexpr auto Whole = Risk::CollapseProperty::NegativeAndPositive;

struct Step
{
    std::size_t option;
    std::int64_t quantity;
    double price;
};

// Bought, sold, closed and opened again, singly and in size.
std::vector<Step> RandomSteps(unsigned seed, std::size_t options)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::int64_t> size(-2000, 2000);
    std::uniform_real_distribution<double> price(0.0, 120.0);
    std::vector<Step> steps;
    for (int i = 0; i < 36; ++i) {
        const std::int64_t quantities[] = {size(random), 0, 1, -1, size(random), size(random) * 1'000'003};
        steps.push_back({random() % options, quantities[random() % 6], price(random)});
    }
    for (std::size_t option = 0; option < options; ++option)
        steps.push_back({option, 0, 0.0});
    return steps;
}

// A series, the futures that it is in spread with, and steps of either.
struct Pair
{
    explicit Pair(const Kind& ofKind) : series(ofKind), futures(*series.family.futures) {}

    void Change(const Step& step, bool inSpread)
    {
        if (inSpread)
            series.SetPosition(step.option, step.quantity, step.price, futures);
        else
            series.SetPosition(step.option, step.quantity, step.price);
    }

    SeriesPair series;
    FuturesPair futures;
};

bool HasNegativeCell(const RiskMatrix& matrix)
{
    for (std::size_t block = 0; block < matrix.GetColsRegister(); ++block)
        for (std::size_t lane = 0; lane < kv7im::RiskItem::Lanes; ++lane)
            if (matrix.MinimumInColumn(block)[lane] < 0.0) return true;
    return false;
}

// What has to be there for the walks below to say something.
TEST(OptionKernels, TheFamiliesOfTheseTestsHaveWhatTheyAreNamedFor)
{
    const OptionFamily family = FamilyOf({40, 3, true, true, false, false});
    const kv7im::Profile profile = family.Option(0).GetProfile(Level);
    EXPECT_GT(profile.GetParameters().subPointsCount, 10U);
    EXPECT_GT(profile.GetParameters().expirationScenariosCount, 3U);
    EXPECT_TRUE(std::isnan(profile.Expiration()[0][80])) << "the highest price is out of the lowest delivery";
    EXPECT_LT(profile.InterestRateDown()[0], 0.0);
    EXPECT_NE(profile.InterestRateUp()[80], 0.0);
    EXPECT_EQ(profile.InterestRateUp()[0], 0.0);
    EXPECT_NE(profile.VolatilityMismatchUp()[0], 0.0);
    EXPECT_NE(profile.VolatilityMismatchDown()[0], 0.0);
    // The approximation of the normal distribution values some far options a little below nothing: there the bound of a
    // bought option is felt.
    EXPECT_TRUE(HasNegativeCell(FamilyOf({40, 4, true, true, false, false}).Option(7).GetProfile(Level).Volatility()));
    EXPECT_FALSE(FamilyOf({40, 3, false, true, false, false}).series->HasSubPoints(Level));
}

TEST(OptionKernels, AChangeInASeriesAloneHasTheBitsOfSubtractingAddingAndCollapsing)
{
    for (const Kind& kind : AllSeriesKinds()) {
        if (kind.lossesOnly) continue; // a series standing alone shows nothing to anybody
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        for (const Step& step : RandomSteps(static_cast<unsigned>(kind.riskPointsN), pair.series.OptionsCount())) {
            pair.Change(step, false);
            ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameRows());
            ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
            ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameMargins());
        }
    }
}

// The rows came out of the pass of the change; made anew from the cells they are the same.
TEST(OptionKernels, TheRowsThatComeOutOnTheWayAreThoseOfTheCollapsedCells)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        for (const Step& step : RandomSteps(7, pair.series.OptionsCount()))
            pair.Change(step, false);
        pair.Change({0, -3, 50.0}, false);
        const kv7im::RiskNodeOptionSeries& node = pair.series.engine;
        const kv7im::RiskRow volatility = node.Volatility().CollapseToRiskRow(Whole);
        const kv7im::RiskRow delivery = kv7im::min(volatility, node.Expiration().CollapseToRiskRow(Whole));
        ASSERT_TRUE(SameRow(node.GetRolledUpRiskNode(Whole).Volatility(), volatility));
        ASSERT_TRUE(SameRow(node.GetRolledUpRiskNode(Whole).Expiration(), delivery));
    }
}

TEST(OptionKernels, AChangeInASeriesInSpreadHasTheBitsOfTakingTheOldViewOutAndPuttingTheNewOneIn)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        std::int64_t futuresQuantity = 3;
        for (const Step& step :
             RandomSteps(static_cast<unsigned>(kind.riskPointsN) + 100, pair.series.OptionsCount())) {
            pair.Change(step, true);
            ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
            ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
            // The sides differ now, and neither is mistaken for the other.
            pair.futures.SetPosition(futuresQuantity, 990.0);
            ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
            ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSameRows());
            futuresQuantity = -2 * futuresQuantity % 1001;
        }
    }
}

// A futures that holds one series and nothing else reads the cells of the series in place of its own, and has cells of
// its own from its first own position or the first change that it is not told of.
TEST(OptionKernels, AFuturesThatBorrowsTheCellsOfItsSeriesHasTheBitsOfOneThatKeepsThem)
{
    for (const std::int32_t riskPointsN : {1, 2, 40})
        for (const bool collateral : {false, true})
            for (const bool untold : {false, true}) {
                const Kind kind{riskPointsN, 5, false, false, false, collateral};
                SCOPED_TRACE(kind.Text());
                Pair pair(kind);
                const auto walk = [&](unsigned seed) {
                    for (const Step& step : RandomSteps(seed, pair.series.OptionsCount())) {
                        pair.Change(step, true);
                        ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
                        ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
                        ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSameRows());
                    }
                };
                const std::ptrdiff_t blocks = LazyMemoryPool::OutstandingBlocks();
                ASSERT_NO_FATAL_FAILURE(walk(41));
                EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), blocks - 1) << "the cells of the futures are given back";
                if (untold)
                    pair.Change({1, -4, 25.0}, false);
                else
                    pair.futures.SetPosition(-3, 1010.0);
                EXPECT_EQ(LazyMemoryPool::OutstandingBlocks(), blocks) << "and taken again";
                ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
                ASSERT_NO_FATAL_FAILURE(walk(42));
            }
}

TEST(OptionKernels, ASecondSeriesEndsTheBorrowing)
{
    for (const bool subPoints : {false, true})
        for (const bool deliveries : {false, true}) {
            SeriesPair lender({4, 5, false, false, false, false});
            SeriesPair second({4, 5, subPoints, deliveries, false, false});
            FuturesPair futures(*lender.family.futures);
            const auto change = [&](SeriesPair& series, const Step& step) {
                series.SetPosition(step.option, step.quantity, step.price, futures);
                ASSERT_NO_FATAL_FAILURE(futures.ExpectSame());
            };
            for (const Step& step : RandomSteps(51, lender.OptionsCount()))
                ASSERT_NO_FATAL_FAILURE(change(lender, step));
            for (const Step& step : RandomSteps(52, second.OptionsCount())) {
                ASSERT_NO_FATAL_FAILURE(change(second, step));
                ASSERT_NO_FATAL_FAILURE(change(lender, {0, step.quantity, 44.0}));
            }
        }
}

// Two series of one futures: one with deliveries makes the sides differ, the other is added to both.
TEST(OptionKernels, ASeriesWithoutDeliveriesChangesBothSidesOfAFuturesWhoseSidesDiffer)
{
    for (const bool lossesOnly : {false, true})
        for (const bool subPoints : {false, true}) {
            SeriesPair delivered({4, 5, subPoints, true, lossesOnly, false});
            SeriesPair other({4, 5, subPoints, false, lossesOnly, false});
            FuturesPair futures(*delivered.family.futures);
            const auto change = [&](SeriesPair& series, const Step& step) {
                series.SetPosition(step.option, step.quantity, step.price, futures);
                ASSERT_NO_FATAL_FAILURE(futures.ExpectSame());
            };
            change(delivered, {0, -7, 60.0});
            ASSERT_NE(futures.engine.Volatility(), futures.engine.Expiration());
            for (const Step& step : RandomSteps(11, other.OptionsCount()))
                ASSERT_NO_FATAL_FAILURE(change(other, step));
            for (const Step& step : RandomSteps(12, delivered.OptionsCount()))
                ASSERT_NO_FATAL_FAILURE(change(delivered, step));
        }
}

// A change that the futures was not told of: the next one takes out what the series shows by then.
TEST(OptionKernels, AChangeAloneInBetweenIsInTheNextView)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        std::size_t untold = 1;
        for (const Step& step : RandomSteps(21, pair.series.OptionsCount())) {
            pair.Change(step, true);
            pair.Change({untold++ % 6, -2, 30.0}, false);
            ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
            ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
        }
    }
}

// A series whose half netting is switched in between shows its old view under the new rule, as the plain form does.
TEST(OptionKernels, AChangeOfTheHalfNettingRuleIsSeenByBothForms)
{
    for (const bool subPoints : {false, true})
        for (const bool deliveries : {false, true}) {
            Pair pair({3, 3, subPoints, deliveries, false, false});
            for (const Step& step : RandomSteps(31, pair.series.OptionsCount())) {
                pair.series.kind.lossesOnly = !pair.series.kind.lossesOnly;
                pair.series.family.series->EnforceHalfNetting = pair.series.kind.lossesOnly;
                pair.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
            }
        }
}

// Sizes that overflow and prices that are no numbers go the same way in both forms.
TEST(OptionKernels, UnusualNumbersHaveTheBitsOfThePlainForm)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::vector<Step>> walks{
        {{0, std::numeric_limits<std::int64_t>::min(), 1e300}, {1, 5, 10.0}, {0, 0, 0.0}, {1, 0, 0.0}},
        {{0, std::numeric_limits<std::int64_t>::max(), 1e300}, {0, -1, 3.0}},
        {{0, 3, nan}, {1, -1, 20.0}, {0, 1, 1.0}},
        {{0, 3, infinity}, {0, 3, -infinity}, {0, 1, 1.0}},
        {{2, 1, -0.0}, {2, -1, 0.0}, {2, 0, -0.0}, {3, 0, 5.0}},
    };
    for (const Kind& kind : AllSeriesKinds())
        for (const auto& walk : walks)
            for (const bool inSpread : {false, true}) {
                SCOPED_TRACE(kind.Text());
                Pair pair(kind);
                for (const Step& step : walk) {
                    pair.Change(step, inSpread);
                    ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
                    ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
                    ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameRows());
                }
            }
}

// Makes values of an option that are no numbers. They lie in the option, which shows them to readers only.
void SpoilColumn(const kv7im::CSpecOption& option, std::size_t column)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    auto& grid = const_cast<kv7im::OptionGrid&>(option.GetGrid(Level));
    grid.Values(column / kv7im::RiskItem::Lanes)[1][column % kv7im::RiskItem::Lanes] = nan;
    grid.RateStress(column / kv7im::RiskItem::Lanes)[column % kv7im::RiskItem::Lanes] = nan;
    grid.KnowItsCells();
}

// Where no value is below zero no bound of a premium is felt, and where all are numbers none is asked for: the kernels
// choose their form by the two.
TEST(OptionKernels, AGridKnowsWhetherItsValuesAreBelowZeroAndWhetherItsCellsAreNumbers)
{
    bool someBelowZero = false;
    bool someNowhereBelowZero = false;
    for (const Kind& kind : AllSeriesKinds()) {
        const OptionFamily family = FamilyOf(kind);
        for (std::size_t i = 0; i < family.options.size(); ++i) {
            const kv7im::OptionGrid& grid = family.Option(i).GetGrid(Level);
            bool belowZero = false;
            for (std::size_t column = 0; column < grid.ColsCount(); ++column)
                for (std::size_t row = 0; row < grid.ScenariosCount(); ++row)
                    belowZero |= grid.Values(column / 4)[row][column % 4] < 0.0;
            ASSERT_EQ(grid.HasNothingBelowZero(), !belowZero) << kind.Text();
            ASSERT_TRUE(grid.IsModerate()) << kind.Text();
            someBelowZero |= belowZero;
            someNowhereBelowZero |= !belowZero;
        }
        const kv7im::OptionGrid& large = family.Option(1).GetGrid(Level);
        const_cast<kv7im::OptionGrid&>(large).RateStress(0)[0] = -1e100;
        const_cast<kv7im::OptionGrid&>(large).KnowItsCells();
        ASSERT_FALSE(large.IsModerate());
        SpoilColumn(family.Option(0), large.ColsCount() - 1);
        ASSERT_FALSE(family.Option(0).GetGrid(Level).IsModerate());
        ASSERT_FALSE(family.Option(0).GetGrid(Level).HasNothingBelowZero());
    }
    EXPECT_TRUE(someBelowZero);
    EXPECT_TRUE(someNowhereBelowZero) << "the walks have to pass through both forms";
}

// A result that is no number wipes out, scenario by scenario, what the point that it is folded onto holds, and counts
// as nothing itself. Folding the finished minima instead would not know of it.
TEST(OptionKernels, ACellThatIsNoNumberIsFoldedAsInThePlainForm)
{
    for (const std::int32_t riskPointsN : {1, 4, 40})
        for (const bool realPoint : {false, true}) {
            const Kind kind{riskPointsN, 3, true, false, false, false};
            const kv7im::Parameters dimensions = DimensionsOf(FamilyOf(kind), kind);
            for (std::size_t column = realPoint ? 0 : dimensions.pointsCount;
                 column < (realPoint ? dimensions.pointsCount : dimensions.length()); column += 3)
                for (const bool inSpread : {false, true}) {
                    Pair pair(kind);
                    SpoilColumn(pair.series.family.Option(1), column);
                    pair.Change({1, -1, 10.0}, inSpread);
                    ASSERT_TRUE(std::isnan(pair.series.engine.Volatility().GetRisk().Volatility(1)[column]));
                    pair.Change({0, -3, 10.0}, inSpread);
                    pair.Change({3, 2, 90.0}, inSpread);
                    ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
                    ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameRows())
                        << "NaN in column " << column << " of " << dimensions.length();
                    ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
                }
        }
}

// A price point out of every delivery: the largest finite double stands there, and swallows what it is added to. Both
// forms do the same.
TEST(OptionKernels, APricePointOutOfAllDeliveriesHasTheBitsOfThePlainForm)
{
    for (const bool subPoints : {false, true})
        for (const bool lossesOnly : {false, true}) {
            Pair pair({3, 3, subPoints, true, lossesOnly, false});
            // Of the deliveries at the ends only the ends are left.
            pair.series.family.futures->Limit[Level] = 1.0;
            for (const Step& step : RandomSteps(41, pair.series.OptionsCount())) {
                pair.futures.SetPosition(step.quantity, 1000.0);
                pair.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSame());
                ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSame());
            }
        }
}

// The instruments may outgrow a node: the series is recomputed on another grid while a node of the old width stands.
TEST(OptionKernels, ANodeNarrowerOrWiderThanTheGridIsChangedWhereBothHaveColumns)
{
    for (const double step : {12.5, 100.0})
        for (const bool lossesOnly : {false, true}) {
            Pair pair({4, 3, true, true, lossesOnly, false});
            pair.Change({0, -1, 40.0}, true);
            kv7im::RiskNodeOptionSeries& node = pair.series.engine;
            OptionFamily& family = pair.series.family;
            const std::size_t columns = node.Volatility().GetRisk().Volatility().ColsCount();
            for (const auto level : Enums::PossibleClientRiskLevelValues)
                family.series->AdjustedSubRiskStep[level] = step;
            family.series->RecalcInvariants();
            for (const auto& option : family.options)
                option->RecalcInvariants();
            ASSERT_NE(family.Option(0).GetGrid(Level).ColsCount(), columns);
            const kv7im::CSpecOption& option = family.Option(0);
            const auto flat = option.DescribePosition(0, 0.0, Level);
            const auto sold = option.DescribePosition(-1, 40.0, Level);
            node.ReplacePositionInSpread(flat, sold, 1.0, pair.futures.engine, {lossesOnly, 0.0, 0.0});
            node.ReplacePosition(sold, flat, 1.0);
            EXPECT_EQ(node.Volatility().GetRisk().Volatility().ColsCount(), columns);
            EXPECT_TRUE(
                SameRow(node.GetRolledUpRiskNode(Whole).Volatility(), node.Volatility().CollapseToRiskRow(Whole)));
        }
}

// With half the strike step the series has more deliveries than the node has rows for: each row takes the delivery of
// its number, and no cell of another price is touched.
TEST(OptionKernels, ANodeWithFewerDeliveryRowsThanDeliveriesTakesTheFirstOfThem)
{
    Pair pair({4, 3, false, true, false, false});
    kv7im::RiskNodeOptionSeries& node = pair.series.engine;
    OptionFamily& family = pair.series.family;
    const std::size_t rows = node.Volatility().GetRisk().Expiration().RowsCount();
    family.series->StrikeStep = 12.5;
    family.series->RecalcInvariants();
    for (const auto& option : family.options)
        option->RecalcInvariants();
    const kv7im::CSpecOption& option = family.Option(0);
    const RiskMatrix expected = option.TransformToPosition(-1, 40.0, Level).GetRisk().Expiration();
    ASSERT_GT(rows, 3U);
    ASSERT_GT(expected.RowsCount(), rows);

    node.ReplacePosition(option.DescribePosition(0, 0.0, Level), option.DescribePosition(-1, 40.0, Level), 1.0);
    const Risk risk = node.Volatility();
    const RiskMatrix& outcomes = risk.GetRisk().Expiration();
    ASSERT_EQ(outcomes.RowsCount(), rows);
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t column = 0; column < outcomes.ColsCount(); ++column)
            EXPECT_TRUE(SameCell(outcomes[row][column], expected[row][column])) << row << ", " << column;
}

} // namespace
} // namespace test::OptionKernelsTest
