// The one-pass kernels of an option's position against the plain sequences of matrix operations that they stand for,
// bit by bit.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OptionFamily.h"
#include "PlainSeries.h"
#include "SeriesKinds.h"
#include "nodes/RiskNode.h"

namespace test::OptionKernelsTest {
namespace {

using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::RiskNodeFutures;
using kv7im::RiskNodeOptionSeries;
using kv7im::RiskRow;

using Kind = SeriesKind;
using ::SameBits;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr double ChargeRatio = 1.7;

// The real cells. Padding differs where sub-points are folded and means nothing.
testing::AssertionResult SameBits(const RiskMatrix& a, const RiskMatrix& b)
{
    if (a.RowsCount() != b.RowsCount() || a.ColsCount() != b.ColsCount())
        return testing::AssertionFailure() << "other dimensions";
    for (std::size_t row = 0; row < a.RowsCount(); ++row)
        for (std::size_t column = 0; column < a.ColsCount(); ++column)
            if (auto same = SameBits(a[row][column], b[row][column]); !same)
                return same << " at row " << row << ", column " << column;
    return testing::AssertionSuccess();
}

testing::AssertionResult SameBits(const Risk& a, const Risk& b)
{
    if (auto same = SameBits(a.GetRisk().Volatility(), b.GetRisk().Volatility()); !same) return same << " (volatility)";
    if (auto same = SameBits(a.GetRisk().InterestRate(), b.GetRisk().InterestRate()); !same) return same << " (rates)";
    if (auto same = SameBits(a.GetRisk().VolatilityMismatch(), b.GetRisk().VolatilityMismatch()); !same)
        return same << " (mismatch)";
    if (auto same = SameBits(a.GetRisk().Expiration(), b.GetRisk().Expiration()); !same) return same << " (deliveries)";
    for (std::size_t i = 0; i < kv7im::SpecialRiskPoints::size(); ++i)
        if (auto same = SameBits(a.GetSpecialRiskPoints().pData()[i], b.GetSpecialRiskPoints().pData()[i]); !same)
            return same << " (point " << i << ')';
    return testing::AssertionSuccess();
}

testing::AssertionResult SameBits(const RiskRow& a, const RiskRow& b)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "lengths " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (auto same = SameBits(a[i], b[i]); !same) return same << " at price point " << i;
    return SameBits(a.min(), b.min()) << " (minimum of the row, its padding included)";
}

kv7im::Parameters DimensionsOf(const OptionFamily& family, const Kind& kind)
{
    kv7im::Parameters parameters = family.Option(0).GetParameters(Level);
    if (!kind.deliveries) parameters.expirationScenariosCount = 0;
    return parameters;
}

RiskNodeOptionSeries SeriesNodeOf(const OptionFamily& family, const Kind& kind)
{
    const kv7im::Parameters parameters = DimensionsOf(family, kind);
    if (parameters.hasSubPoints())
        return RiskNodeOptionSeries(parameters, family.series->GetBindingArray(Level), 1.0, Level);
    return RiskNodeOptionSeries(parameters, 1.0, Level);
}

RiskNodeFutures FuturesNodeOf(const OptionFamily& family)
{
    return RiskNodeFutures(family.futures->GetProfile(Level).GetParameters(), 1.0, Level,
                           family.futures->IsCollateral());
}

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

// The engine's nodes under the same steps as the plain ones.
struct Pair
{
    explicit Pair(const Kind& ofKind)
        : kind(ofKind),
          family(FamilyOf(kind)),
          series(SeriesNodeOf(family, kind)),
          futures(FuturesNodeOf(family)),
          plainSeries(*family.series, DimensionsOf(family, kind), Level, ChargeRatio),
          plainFutures(family.futures->GetProfile(Level).GetParameters(), family.futures->IsCollateral()),
          held(family.options.size())
    {}

    void Change(const Step& step, bool inSpread)
    {
        const kv7im::CSpecOption& option = family.Option(step.option);
        Holding& holding = held[step.option];
        const auto before = option.DescribePosition(holding.quantity, holding.price, Level);
        holding = {step.quantity, step.price};
        const auto after = option.DescribePosition(holding.quantity, holding.price, Level);
        if (inSpread)
            series.ReplacePositionInSpread(before, after, ChargeRatio, futures, kind.lossesOnly);
        else
            series.ReplacePosition(before, after, ChargeRatio);
        plainSeries.SetPosition(option, step.quantity, step.price, 0.0, inSpread ? &plainFutures : nullptr);
    }

    void ChangeFutures(std::int64_t quantity, double price)
    {
        const auto before = family.futures->DescribePosition(heldFutures.quantity, heldFutures.price, Level);
        plainFutures -= FuturesRisk();
        heldFutures = {quantity, price};
        futures.ReplacePosition(before, family.futures->DescribePosition(quantity, price, Level), ChargeRatio);
        plainFutures += FuturesRisk();
    }

    void ExpectSameSeries() const
    {
        const plain::Sides sides = plainSeries.Sides();
        ASSERT_TRUE(SameBits(series.Volatility(), sides.volatility));
        ASSERT_TRUE(SameBits(series.Expiration(), sides.delivery));
    }

    void ExpectSameFutures() const
    {
        ASSERT_TRUE(SameBits(futures.Volatility(), plainFutures.volatility));
        ASSERT_TRUE(SameBits(futures.Expiration(), plainFutures.delivery));
    }

    struct Holding
    {
        std::int64_t quantity = 0;
        double price = 0.0;
    };

    Kind kind;
    OptionFamily family;
    RiskNodeOptionSeries series;
    RiskNodeFutures futures;
    PlainSeries plainSeries;
    plain::FuturesNode plainFutures;
    std::vector<Holding> held;
    Holding heldFutures;

private:
    [[nodiscard]] Risk FuturesRisk() const
    {
        return plain::ScaledRisk(family.futures->TransformToPosition(heldFutures.quantity, heldFutures.price, Level),
                                 ChargeRatio);
    }
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
        for (const Step& step : RandomSteps(static_cast<unsigned>(kind.riskPointsN), pair.held.size())) {
            pair.Change(step, false);
            const auto whole = Risk::CollapseProperty::NegativeAndPositive;
            const auto fast = pair.series.GetRolledUpRiskNode(whole);
            const plain::Sides sides = pair.plainSeries.Sides();
            const plain::CollapsedRows plainly(sides);
            ASSERT_TRUE(SameBits(fast.Volatility(), plainly.volatility));
            ASSERT_TRUE(SameBits(fast.Expiration(), plainly.delivery));
            ASSERT_TRUE(fast.ExpirationPoints() == sides.delivery.GetSpecialRiskPoints());
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSameSeries());
            const plain::Margins change = pair.plainSeries.UpdateMargins(*pair.family.contract);
            ASSERT_TRUE(SameBits(pair.series.UpdateInitialMarginValue(*pair.family.contract), change.volatility));
            ASSERT_TRUE(SameBits(pair.series.UpdateInitialMarginDeliveryValue(*pair.family.contract), change.delivery));
        }
    }
}

// The rows came out of the pass of the change; made anew from the cells they are the same.
TEST(OptionKernels, TheRowsThatComeOutOnTheWayAreThoseOfTheCollapsedCells)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        for (const Step& step : RandomSteps(7, pair.held.size()))
            pair.Change(step, false);
        pair.Change({0, -3, 50.0}, false);
        const auto whole = Risk::CollapseProperty::NegativeAndPositive;
        const RiskRow volatility = pair.series.Volatility().CollapseToRiskRow(whole);
        const RiskRow delivery = kv7im::min(volatility, pair.series.Expiration().CollapseToRiskRow(whole));
        ASSERT_TRUE(SameBits(pair.series.GetRolledUpRiskNode(whole).Volatility(), volatility));
        ASSERT_TRUE(SameBits(pair.series.GetRolledUpRiskNode(whole).Expiration(), delivery));
    }
}

TEST(OptionKernels, AChangeInASeriesInSpreadHasTheBitsOfTakingTheOldViewOutAndPuttingTheNewOneIn)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        std::int64_t futuresQuantity = 3;
        for (const Step& step : RandomSteps(static_cast<unsigned>(kind.riskPointsN) + 100, pair.held.size())) {
            pair.Change(step, true);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSameSeries());
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
            pair.ChangeFutures(futuresQuantity, 990.0); // the sides differ now, and neither is mistaken for the other
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
            futuresQuantity = -2 * futuresQuantity % 1001;
        }
    }
}

// Two series of one futures: one with deliveries makes the sides differ, the other is added to both.
TEST(OptionKernels, ASeriesWithoutDeliveriesChangesBothSidesOfAFuturesWhoseSidesDiffer)
{
    for (const bool lossesOnly : {false, true})
        for (const bool subPoints : {false, true}) {
            Pair delivered({4, 5, subPoints, true, lossesOnly, false});
            Pair other({4, 5, subPoints, false, lossesOnly, false});
            delivered.Change({0, -7, 60.0}, true);
            other.futures = delivered.futures;
            other.plainFutures = delivered.plainFutures;
            ASSERT_NE(other.futures.Volatility(), other.futures.Expiration());
            for (const Step& step : RandomSteps(11, other.held.size())) {
                other.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(other.ExpectSameFutures());
            }
            delivered.futures = other.futures;
            delivered.plainFutures = other.plainFutures;
            for (const Step& step : RandomSteps(12, delivered.held.size())) {
                delivered.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(delivered.ExpectSameFutures());
            }
        }
}

// A series that is told of a risk by other means forgets the view that it had worked out.
TEST(OptionKernels, ARiskAddedPlainlyInBetweenIsInTheNextView)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        const auto view = [&](const RiskNodeOptionSeries& node) {
            return kind.lossesOnly ? node.GetTransformedRisk() : node;
        };
        unsigned seed = 1;
        for (const Step& step : RandomSteps(21, pair.held.size())) {
            pair.Change(step, true);
            const Risk extra = pair.family.Option(seed++ % 6).TransformToPosition(-2, 30.0, Level);
            pair.futures -= view(pair.series);
            pair.plainFutures -= pair.plainSeries.View();
            pair.series += extra;
            pair.plainSeries.risk += extra;
            pair.futures += view(pair.series);
            pair.plainFutures += pair.plainSeries.View();
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
        }
    }
}

// A series whose half netting is switched in between shows its old view under the new rule, as the plain form does.
TEST(OptionKernels, AChangeOfTheHalfNettingRuleIsSeenByBothForms)
{
    for (const bool subPoints : {false, true})
        for (const bool deliveries : {false, true}) {
            Pair pair({3, 3, subPoints, deliveries, false, false});
            for (const Step& step : RandomSteps(31, pair.held.size())) {
                pair.kind.lossesOnly = !pair.kind.lossesOnly;
                pair.family.series->EnforceHalfNetting = pair.kind.lossesOnly;
                pair.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
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
                    ASSERT_NO_FATAL_FAILURE(pair.ExpectSameSeries());
                    ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
                    const auto whole = Risk::CollapseProperty::NegativeAndPositive;
                    const plain::CollapsedRows plainly(pair.plainSeries.Sides());
                    ASSERT_TRUE(SameBits(pair.series.GetRolledUpRiskNode(whole).Volatility(), plainly.volatility));
                    ASSERT_TRUE(SameBits(pair.series.GetRolledUpRiskNode(whole).Expiration(), plainly.delivery));
                }
            }
}

// A result that is no number wipes out, scenario by scenario, what the point that it is folded onto holds, and counts
// as nothing itself. Folding the finished minima instead would not know of it.
TEST(OptionKernels, ACellThatIsNoNumberIsFoldedAsInThePlainForm)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const std::int32_t riskPointsN : {1, 4, 40})
        for (const bool realPoint : {false, true}) {
            const Kind kind{riskPointsN, 3, true, false, false, false};
            const kv7im::Parameters dimensions = DimensionsOf(FamilyOf(kind), kind);
            for (std::size_t column = realPoint ? 0 : dimensions.pointsCount;
                 column < (realPoint ? dimensions.pointsCount : dimensions.length()); column += 3) {
                Pair fresh(kind);
                Risk broken(dimensions);
                broken.GetRisk().Volatility(1)[column] = nan;
                broken.GetRisk().InterestRateUp()[column] = nan;
                fresh.series += broken;
                fresh.plainSeries.risk += broken;
                fresh.Change({0, -3, 10.0}, false);
                fresh.Change({3, 2, 90.0}, false);
                const auto whole = Risk::CollapseProperty::NegativeAndPositive;
                ASSERT_TRUE(SameBits(fresh.series.GetRolledUpRiskNode(whole).Volatility(),
                                     plain::CollapsedRows(fresh.plainSeries.Sides()).volatility))
                    << "NaN in column " << column << " of " << dimensions.length();
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
            pair.family.futures->Limit[Level] = 1.0; // of the deliveries at the ends only the ends are left
            for (const Step& step : RandomSteps(41, pair.held.size())) {
                pair.ChangeFutures(step.quantity, 1000.0);
                pair.Change(step, true);
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSameSeries());
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSameFutures());
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
            const std::size_t columns = pair.series.Volatility().GetRisk().Volatility().ColsCount();
            for (const auto level : Enums::PossibleClientRiskLevelValues)
                pair.family.series->AdjustedSubRiskStep[level] = step;
            pair.family.series->RecalcInvariants();
            for (const auto& option : pair.family.options)
                option->RecalcInvariants();
            ASSERT_NE(pair.family.Option(0).GetGrid(Level).ColsCount(), columns);
            const kv7im::CSpecOption& option = pair.family.Option(0);
            const auto flat = option.DescribePosition(0, 0.0, Level);
            const auto sold = option.DescribePosition(-1, 40.0, Level);
            pair.series.ReplacePositionInSpread(flat, sold, 1.0, pair.futures, lossesOnly);
            pair.series.ReplacePosition(sold, flat, 1.0);
            EXPECT_EQ(pair.series.Volatility().GetRisk().Volatility().ColsCount(), columns);
            const auto whole = Risk::CollapseProperty::NegativeAndPositive;
            EXPECT_TRUE(SameBits(pair.series.GetRolledUpRiskNode(whole).Volatility(),
                                 pair.series.Volatility().CollapseToRiskRow(whole)));
        }
}

} // namespace
} // namespace test::OptionKernelsTest
