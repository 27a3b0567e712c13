// Nodes by themselves: what is added and subtracted, what is folded, what is kept.
#include "nodes/RiskNode.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "InstrumentSamples.h"
#include "PlainNodes.h"
#include "SameNodes.h"

namespace test::RiskNodeTest {
namespace {

using kv7im::CumulativePositionByFutures;
using kv7im::Parameters;
using kv7im::Risk;
using kv7im::RiskNodeFutures;
using kv7im::RiskNodeMCS;
using kv7im::RiskNodeMMS;
using kv7im::RiskRow;
using kv7im::RolledUpRiskNode;
using testing::ElementsAre;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr auto Whole = Risk::CollapseProperty::NegativeAndPositive;

std::vector<double> ValuesOf(const RiskRow& row)
{
    std::vector<double> values(row.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = row[i];
    return values;
}

std::vector<double> ValuesOf(const kv7im::SpecialRiskPoints& points)
{
    return {points.pData(), points.pData() + points.size()};
}

// A futures over a grid of five points, N = 2: prices 1000 + 1024 * 0.25 * (-1, -0.5, 0, 0.5, 1), money 2 a price unit.
struct Family
{
    explicit Family(BaseContractSample contractSample = {}, FuturesSample futuresSample = {}, double radius = 0.0)
        : contract(contractSample.Make(radius)), futures(futuresSample.Make(*contract))
    {
        futures->RecalcInvariants();
    }
    [[nodiscard]] Risk Position(std::int64_t quantity, double price) const
    {
        return futures->TransformToPosition(quantity, price, Level);
    }
    [[nodiscard]] RiskNodeFutures Node(bool collateral = false) const
    {
        return RiskNodeFutures(futures->GetProfile(Level).GetParameters(), 1.0, Level, collateral);
    }
    [[nodiscard]] plain::FuturesNode PlainNode() const
    {
        return plain::FuturesNode(futures->GetProfile(Level).GetParameters(), 1.0, Level, false);
    }
    void Open(RiskNodeFutures& node, std::int64_t quantity, double price) const
    {
        node.ReplacePosition(Described(0, 0.0), Described(quantity, price), 1.0);
    }
    void Close(RiskNodeFutures& node, std::int64_t quantity, double price) const
    {
        node.ReplacePosition(Described(quantity, price), Described(0, 0.0), 1.0);
    }
    [[nodiscard]] kv7im::PositionTransform Described(std::int64_t quantity, double price) const
    {
        return futures->DescribePosition(quantity, price, Level);
    }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
};

TEST(RiskNodeBase, AnswersWithAnEmptyRiskWhoseRowsHaveNoCells)
{
    const RiskNodeMCS node(5, 1.0, Level); // has rows of its own and inherits the empty Risk
    EXPECT_EQ(node.Volatility().GetRisk().Volatility().ColsCount(), 0U);
    EXPECT_EQ(node.Expiration().GetRisk().Volatility().ColsCount(), 0U);
    EXPECT_EQ(node.Volatility(), node.Expiration());
    const RiskRow row = node.Volatility().CollapseToRiskRow(Whole);
    EXPECT_EQ(row.size(), 0U);
    EXPECT_EQ(row.min(), std::numeric_limits<double>::max());
}

TEST(RiskNodeBase, ZeroMarginValueForgetsTheMarginsAndKeepsTheRisk)
{
    const Family family;
    RiskNodeFutures node = family.Node();
    family.Open(node, 1, 1000.0);
    EXPECT_GT(node.UpdateInitialMarginValue(*family.contract), 0.0);
    EXPECT_GT(node.UpdateInitialMarginDeliveryValue(*family.contract), 0.0);
    const double margin = node.GetInitialMarginValue();
    node.ZeroMarginValue();
    EXPECT_EQ(node.GetInitialMarginValue(), 0.0);
    EXPECT_EQ(node.GetInitialMarginDeliveryValue(), 0.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*family.contract), margin);
}

// One long at 1000 costs 256 * 2 = 512; the ratio multiplies it, and the update returns the change only.
TEST(RiskNodeFutures, UpdateReturnsTheChangeOfTheMargin)
{
    BaseContractSample contract;
    contract.ConcentrationLimit1 = contract.ConcentrationLimit2 = 1'000'000'000;
    Family family(contract);
    family.contract->CorrectShiftParamsByFutures(family.futures.get()); // the limits in money
    RiskNodeFutures node(family.futures->GetProfile(Level).GetParameters(), 1.5, Level, false);
    family.Open(node, 1, 1000.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*family.contract), 768.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*family.contract), 0.0);
    family.Close(node, 1, 1000.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*family.contract), -768.0);
}

TEST(RiskNodeFutures, ANodeWithProfitOnlyCostsTheChargeAlone)
{
    const Family family;
    RiskNodeFutures node = family.Node();
    family.Open(node, 1, 1.0); // bought at next to nothing
    // The charge below the market: 0.125 * 1024 * 0.25 * 2 = 64; every cell and every price point is a gain.
    EXPECT_EQ(node.UpdateInitialMarginValue(*family.contract), 64.0);
}

// The rate stress of a collateral instrument counts by its losses: what a long position would gain upward stays out.
TEST(RiskNodeFutures, ACollateralNodeTakesTheLossesOfTheRateStressOnly)
{
    FuturesSample sample;
    sample.InterestRateRiskUp = 0.5;
    sample.InterestRateRiskDown = 0.5;
    const Family family({}, sample);
    RiskNodeFutures ordinaryNode = family.Node(false);
    RiskNodeFutures collateralNode = family.Node(true);
    family.Open(ordinaryNode, 1, 1000.0);
    family.Open(collateralNode, 1, 1000.0);

    const Risk ordinary = ordinaryNode.Volatility();
    const Risk collateral = collateralNode.Volatility();
    const std::size_t last = 4;
    EXPECT_GT(ordinary.GetRisk().InterestRateUp()[last], 0.0);
    EXPECT_EQ(collateral.GetRisk().InterestRateUp()[last], 0.0);
    EXPECT_LT(collateral.GetRisk().InterestRateDown()[0], 0.0);
    EXPECT_EQ(collateral.GetRisk().InterestRateDown()[0], ordinary.GetRisk().InterestRateDown()[0]);

    family.Close(collateralNode, 1, 1000.0);
    const Risk closed = collateralNode.Volatility();
    for (std::size_t column = 0; column <= last; ++column) {
        EXPECT_EQ(closed.GetRisk().InterestRateUp()[column], 0.0);
        EXPECT_EQ(closed.GetRisk().InterestRateDown()[column], 0.0);
    }
}

TEST(PlainFuturesNode, AddingAndSubtractingANodeRestoresTheTarget)
{
    const Family family;
    plain::FuturesNode source = family.PlainNode();
    source += family.Position(-3, 990.0);
    source.AddNOVi(7.0);
    source.AddCumulativePerformance(3.0);
    plain::FuturesNode target = family.PlainNode();
    target += family.Position(2, 1010.0);
    const plain::FuturesNode before = target;
    target += source;
    EXPECT_EQ(target.GetNOVj(), 7.0);
    EXPECT_EQ(target.GetTotalCumulativePerformance(), 3.0);
    EXPECT_NE(target.Volatility(), before.Volatility());
    target -= source;
    EXPECT_EQ(target.Volatility(), before.Volatility());
    EXPECT_EQ(target.Expiration(), before.Expiration());
    EXPECT_EQ(target.GetNOVj(), 0.0);
}

TEST(PlainFuturesNode, TheTransformedCopyHasNoPositiveCellAndLeavesTheNodeAlone)
{
    const Family family;
    plain::FuturesNode node = family.PlainNode();
    node += family.Position(1, 1000.0);
    const Risk before = node.Volatility();
    const plain::FuturesNode transformed = node.GetTransformedRisk();
    EXPECT_EQ(node.Volatility(), before);
    EXPECT_THAT(ValuesOf(transformed.Volatility().CollapseToRiskRow(Whole)),
                ElementsAre(-512.0, -256.0, 0.0, 0.0, 0.0));
    for (const double point : ValuesOf(transformed.Volatility().GetSpecialRiskPoints()))
        EXPECT_LE(point, 0.0);
}

/// What one participant holds on the futures of a family, up to its groups, and the plain form of it. The instruments
/// are the family's own: the book's repository knows the base contract by name only, for the ratio of its group.
struct Held
{
    Held(const BaseContractSample& contract, const Family& ofFamily, const plain::Rules& rules = {})
        : family(ofFamily),
          repository(MakeRepository({{contract}, {}, {{840, 0.0}}})),
          book(*repository, rules),
          position(&book, book.portfolio, *family.futures),
          plainly(*family.futures, rules)
    {}

    void Hold(std::int64_t quantity, double price = 1000.0)
    {
        position.ChangeFuturesPosition(quantity, price);
        plainly.SetPosition(quantity, price);
        EXPECT_TRUE(SameNodes(position.GetOwnerRiskNode(), plainly.Owner()));
        EXPECT_TRUE(SameNodes(MMS(), plainly.MMS()));
        EXPECT_TRUE(MMS().parent == nullptr || SameGroups(*MMS().parent, plainly.MCS()));
        EXPECT_TRUE(SameBits({book.Margins().volatility, book.Margins().delivery},
                             {plainly.Margins().volatility, plainly.Margins().delivery}));
    }
    [[nodiscard]] const RiskNodeMMS& MMS() const { return *position.GetOwnerRiskNode().Group(); }

    Family family;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook book;
    CumulativePositionByFutures position;
    PlainNodes plainly;
};

TEST(RiskNodeMMS, TakesOfAFuturesThatCountsByItsLossesNoPositiveCellAndLeavesItAlone)
{
    plain::Rules rules;
    rules.calendar = Enums::SpreadMarginType::HalfNetting;
    Held held({}, Family(), rules);
    held.Hold(1);
    const RiskNodeFutures& owner = held.position.GetOwnerRiskNode();
    EXPECT_THAT(ValuesOf(owner.Volatility().CollapseToRiskRow(Whole)), ElementsAre(-512.0, -256.0, 0.0, 256.0, 512.0));
    EXPECT_THAT(ValuesOf(held.MMS().Volatility().CollapseToRiskRow(Whole)), ElementsAre(-512.0, -256.0, 0.0, 0.0, 0.0));
    const Risk given = held.MMS().Volatility();
    for (const double point : ValuesOf(given.GetSpecialRiskPoints()))
        EXPECT_LE(point, 0.0);
}

// Two futures of one contract: the cells net with their signs, of the rate stress each brings its losses.
TEST(RiskNodeMMS, SignedCellsNetAndRateStressesAddByTheirLosses)
{
    FuturesSample sample;
    sample.InterestRateRiskUp = 0.5;
    Held held({}, Family({}, sample));
    sample.Isin = 2;
    const auto second = sample.Make(*held.family.contract);
    second->RecalcInvariants();
    CumulativePositionByFutures other(&held.book, held.book.portfolio, *second);
    held.position.ChangeFuturesPosition(1, 1000.0);
    other.ChangeFuturesPosition(-1, 1000.0);
    ASSERT_EQ(other.GetOwnerRiskNode().Group(), &held.MMS());
    const Risk risk = held.MMS().Volatility();
    for (std::size_t column = 0; column < 5; ++column)
        EXPECT_EQ(risk.GetRisk().Volatility(0)[column], 0.0);
    const Risk ofShort = other.GetOwnerRiskNode().Volatility();
    EXPECT_EQ(risk.GetRisk().InterestRateUp()[4], ofShort.GetRisk().InterestRateUp()[4]);
    EXPECT_LT(risk.GetRisk().InterestRateUp()[4], 0.0);
    other.ChangeFuturesPosition(0, 0.0);
    held.position.ChangeFuturesPosition(0, 0.0);
    EXPECT_EQ(held.MMS().Volatility().GetRisk().InterestRateUp()[4], 0.0);
}

/// A futures whose base contract belongs to a group.
struct Group : Held
{
    explicit Group(double window, Enums::SpreadMarginType type, double radius = 0.0, double charge = 0.125)
        : Held(Sample(window, radius, charge), Family(Sample(window, radius, charge), {}, radius), RulesOf(type))
    {}
    static BaseContractSample Sample(double window, double radius, double charge)
    {
        BaseContractSample sample;
        sample.CodeMCS = "GROUP";
        sample.WindowSizePercentage = window;
        sample.ShortOptionMinimumCharge = charge;
        if (radius > 0.0) sample.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        return sample;
    }
    static plain::Rules RulesOf(Enums::SpreadMarginType type)
    {
        plain::Rules rules;
        rules.interContract = type;
        return rules;
    }

    const RiskNodeMCS& mcs = *MMS().parent;
};

TEST(RiskNodeMCS, SubtractingRightAfterAddingRestoresTheNode)
{
    Group group(0.5, Enums::SpreadMarginType::Netting);
    group.Hold(3);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), testing::Contains(testing::Ne(0.0)));
    EXPECT_THAT(ValuesOf(group.mcs.ExpirationRow()), testing::Contains(testing::Ne(0.0)));
    group.Hold(0);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), testing::Each(0.0));
    EXPECT_THAT(ValuesOf(group.mcs.ExpirationRow()), testing::Each(0.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()), testing::Each(0.0));
    EXPECT_THAT(ValuesOf(group.mcs.ExpirationPoints()), testing::Each(0.0));
}

TEST(RiskNodeMCS, SubtractingBeforeAnythingWasAddedTakesNothing)
{
    Group group(0.5, Enums::SpreadMarginType::Netting);
    group.Hold(0);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), testing::Each(0.0));
    plain::GroupsNode plainly(5, 1.0, Level);
    plainly.Subtract(group.plainly.MMS());
    EXPECT_THAT(ValuesOf(plainly.VolatilityRow()), testing::Each(0.0));
}

// Long 1: row -512, -256, 0, 256, 512. The limits are 0 (the contract saw no reference futures), so all the exposure of
// 512 / 0.25 = 2048 stands above the second one: floors -2048 * 0.375 = -768 and -2048 * 0.5 = -1024, which are the
// points themselves. A window of 0 leaves the row and folds those points into its ends:
// left min(-768, -1024, -512) = -1024, right min(768, 1024, 512) = 512. Of the points the tails stay with their
// charges: ZL = -(3 - 0.75 + 0.0625) * 0.25 * 1024 * 2 = -1184 times 256 / 592 * 0.75 = -384, and 0 at the right.
TEST(RiskNodeMCS, AWindowOfZeroLeavesTheRowAndFoldsTheStressPointsIntoItsEnds)
{
    Group group(0.0, Enums::SpreadMarginType::Netting);
    group.Hold(1);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-1024.0, -256.0, 0.0, 256.0, 512.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()),
                ElementsAre(0.0, testing::DoubleEq(-384.0), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0));
    EXPECT_NEAR(group.mcs.GetInitialMarginValue(), 1024.0, 1e-9);
}

// One contract has its tails at 384 and -384 (see above; at the right 1952 * 256 / 976 * 0.75), and charges of the size
// charge * 1024 * 0.25 * 2: 64 of an eighth, 2048 of 4. Under a window each tail is the worse of the two, and no gain.
TEST(RiskNodeMCS, UnderAWindowTheWorseOfTailAndChargeStaysAtEachSide)
{
    const struct
    {
        double charge;
        std::int64_t quantity;
        double left, right;
    } cases[] = {
        {0.125, 1, -384.0, 0.0},  //
        {4.0, 1, -2048.0, 0.0},   // the charge of the lowest price
        {0.125, -1, 0.0, -384.0}, //
        {4.0, -1, 0.0, -2048.0},  // and that of the highest
    };
    for (const auto& c : cases) {
        Group group(0.0, Enums::SpreadMarginType::Netting, 0.0, c.charge);
        group.Hold(c.quantity);
        EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()),
                    ElementsAre(0.0, testing::DoubleEq(c.left), 0.0, 0.0, 0.0, 0.0, testing::DoubleEq(c.right), 0.0))
            << c.quantity << " contracts, charge " << c.charge;
        EXPECT_NEAR(group.mcs.GetInitialMarginValue(), c.charge > 1.0 ? 2048.0 : 1024.0, 1e-9);
    }
}

// Share 0.5 of N = 2 is a window of one point.
TEST(RiskNodeMCS, TheWindowIsAppliedBeforeTheFold)
{
    Group group(0.5, Enums::SpreadMarginType::Netting);
    group.Hold(1);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-1024.0, -512.0, -256.0, 0.0, 256.0));
}

TEST(RiskNodeMCS, WithoutAWindowOnlyLossesAreTaken)
{
    for (const auto type : {Enums::SpreadMarginType::HalfNetting, Enums::SpreadMarginType::Unused}) {
        Group group(0.5, type);
        group.Hold(1);
        EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-512.0, -256.0, 0.0, 0.0, 0.0));
        EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()),
                    ElementsAre(-64.0, testing::DoubleEq(-384.0), -1024.0, -768.0, 0.0, 0.0, 0.0, 0.0));
    }
}

// Curvature comes before the window and the fold: the row -512 ... 512 of a radius of 0.25 becomes
// -640, -320, 0, 192, 384, the points -1024 and -768 become -1280 and -960, 512's neighbours 1024 and 768 become 768
// and 576.
TEST(RiskNodeMCS, CurvatureIsAppliedOnTheWayIn)
{
    Group group(0.0, Enums::SpreadMarginType::Netting, 0.25);
    group.Hold(1);
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-1280.0, -320.0, 0.0, 192.0, 384.0));
}

// The delivery margin looks at the delivery row and at the stress points of the volatility side; that pair is meant.
TEST(RiskNodeMCS, TheDeliveryMarginTakesTheStressPointsOfTheVolatilitySide)
{
    Group group(0.0, Enums::SpreadMarginType::HalfNetting);
    group.Hold(1);
    EXPECT_EQ(group.mcs.ExpirationRow().min(), -512.0);
    EXPECT_EQ(group.mcs.VolatilityPoints().min(), -1024.0);
    EXPECT_EQ(group.mcs.GetInitialMarginDeliveryValue(), 1024.0);
}

// Its rows and points stand in the group itself; what it has of every node is empty.
TEST(RiskNodeMCS, ItsRolledUpCopyIsThatOfAnEmptyRisk)
{
    Group group(0.0, Enums::SpreadMarginType::HalfNetting);
    group.Hold(1);
    ASSERT_LT(group.mcs.ExpirationPoints().min(), 0.0);
    const RolledUpRiskNode rolledUp = group.mcs.GetRolledUpRiskNode(Whole);
    EXPECT_EQ(rolledUp.PointsNum(), 0U);
    EXPECT_THAT(ValuesOf(rolledUp.VolatilityPoints()), testing::Each(0.0));
    EXPECT_THAT(ValuesOf(rolledUp.ExpirationPoints()), testing::Each(0.0));
}

// The road upward applies the correction after summing, the compose step on one node: on one node they agree.
TEST(RolledUpRiskNode, AgreesWithTheComposedMarginOfOneNode)
{
    for (const double radius : {0.0, 0.125}) {
        BaseContractSample sample;
        if (radius > 0.0) sample.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        const Family family(sample, {}, radius);
        RiskNodeFutures node = family.Node();
        family.Open(node, -7, 990.0);
        RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(Whole);
        rolledUp.ApplyCorrection(*family.contract);
        rolledUp.BoundValuesFromAbove(0.0);
        EXPECT_EQ(rolledUp.UpdateInitialMarginValue(), node.UpdateInitialMarginValue(*family.contract));
        EXPECT_EQ(rolledUp.UpdateInitialMarginDeliveryValue(), node.UpdateInitialMarginDeliveryValue(*family.contract));
    }
}

TEST(RolledUpRiskNode, AssignmentKeepsTheTargetsMarginsAndFlag)
{
    const Family family;
    RiskNodeFutures node = family.Node();
    family.Open(node, 1, 1000.0);
    const RolledUpRiskNode source = node.GetRolledUpRiskNode(Whole);
    RolledUpRiskNode target = source;
    target.UpdateInitialMarginValue();
    const double margin = target.GetInitialMarginValue();
    EXPECT_GT(margin, 0.0);
    target.SetIsFromSpreadAspectChange(true);
    target = RolledUpRiskNode(5, Enums::ClientRiskLevel::High);
    EXPECT_EQ(target.GetInitialMarginValue(), margin);
    EXPECT_TRUE(target.GetIsFromSpreadAspectChange());
    EXPECT_EQ(target.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_THAT(ValuesOf(target.Volatility()), testing::Each(0.0));
}

TEST(RolledUpRiskNode, ZeroKeepsThePaddingOutOfTheMargin)
{
    RolledUpRiskNode sum(5, Level);
    sum.Zero();
    EXPECT_TRUE(std::isnan(sum.Volatility()[5])) << "the lane behind the last point";
    EXPECT_EQ(sum.UpdateInitialMarginValue(), 0.0);
}

} // namespace
} // namespace test::RiskNodeTest
