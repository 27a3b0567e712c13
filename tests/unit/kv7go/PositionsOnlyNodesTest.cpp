// Nodes in the mode of positions alone, by themselves: what half netting keeps, how a margin is composed, how a group
// takes a base contract, and that the nodes' own memory of rows serves both modes.
#include "nodes/RiskNode.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "InstrumentSamples.h"
#include "PlainRiskNodes.h"
#include "SameNodes.h"

namespace test::PositionsOnlyNodesTest {
namespace {

using kv7im::Parameters;
using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::RiskNodeFutures;
using kv7im::RiskNodeMCS;
using kv7im::RiskNodeMMS;
using kv7im::RolledUpRiskNode;
using kv7im::SpecialRiskPoints;
using testing::Each;
using testing::ElementsAre;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr auto Whole = Risk::CollapseProperty::NegativeAndPositive;
constexpr auto PaperLosses = Risk::CollapseProperty::CumulativePerformance;
constexpr std::size_t Points = 5;

template <class Row>
std::vector<double> ValuesOf(const Row& row)
{
    std::vector<double> values(row.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = row[i];
    return values;
}
std::vector<double> ValuesOf(const SpecialRiskPoints& points)
{
    return {points.pData(), points.pData() + points.size()};
}

void Fill(RiskMatrix& matrix, const std::vector<std::vector<double>>& rows)
{
    for (std::size_t row = 0; row < rows.size(); ++row)
        for (std::size_t column = 0; column < rows[row].size(); ++column)
            matrix[row][column] = rows[row][column];
}

/// A risk over five points whose three scenarios are all alike, without stresses.
Risk RiskOf(const std::vector<double>& row, const std::vector<double>& points = {})
{
    Risk risk(Parameters(Points, 3));
    Fill(risk.GetRisk().Volatility(), {row, row, row});
    for (std::size_t i = 0; i < points.size(); ++i)
        risk.GetSpecialRiskPoints().pData()[i] = points[i];
    return risk;
}

/// A base contract whose stress points are never lifted off the ends of the grid: one rate in all tiers. radius 0: its
/// prices are no currency's.
BaseContractSample SampleOf(double radius, const std::string& codeMCS = "")
{
    BaseContractSample sample("BC", codeMCS);
    if (radius > 0.0) sample.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    sample.MarketRisk1[Enums::ClientRiskLevel::Default] = sample.MarketRisk2[Enums::ClientRiskLevel::Default] =
        sample.MarketRisk[Enums::ClientRiskLevel::Default];
    return sample;
}
std::shared_ptr<kv7im::CSpecBaseContract> ContractOf(double radius, const std::string& codeMCS = "")
{
    std::shared_ptr<kv7im::CSpecBaseContract> contract = SampleOf(radius, codeMCS).Make(radius);
    contract->Init();
    return contract;
}

/// A futures of which one contract, bought for nothing, is `risk`: money is a price unit. `paperLoss`: bought at that
/// and worth nothing now, it is the risk in the mode of positions alone, where the charges take the paper loss along.
struct HandFutures
{
    explicit HandFutures(const Risk& risk, double radius = 0.0, double paperLoss = 0.0, const std::string& codeMCS = "")
        : contract(ContractOf(radius, codeMCS)), futures(FuturesSample().Make(*contract))
    {
        futures->MoneyCoef = 1.0;
        futures->coverZL[Level] = futures->coverZR[Level] = 1.0;
        kv7im::Profile& profile = futures->GetProfile(Level);
        profile.Volatility() = risk.GetRisk().Volatility();
        SpecialRiskPoints& points = profile.GetSpecialRiskPoints();
        points = risk.GetSpecialRiskPoints();
        points.SetDownRisk(points.GetDownRisk() - paperLoss);
        points.SetUpRisk(points.GetUpRisk() - paperLoss);
    }
    void AddTo(RiskNodeFutures& node) const
    {
        node.ReplacePosition(futures->DescribePosition(0, 0.0, Level), futures->DescribePosition(1, 0.0, Level), 1.0);
    }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
};

std::unique_ptr<RiskNodeFutures> NodeOf(const Risk& risk, double netOptionValue, double paperLoss, double ratio = 1.0)
{
    auto node = std::make_unique<RiskNodeFutures>(Parameters(Points, 3), ratio, Level, false);
    HandFutures(risk).AddTo(*node);
    node->AddNOVi(netOptionValue);
    node->AddCumulativePerformance(paperLoss);
    return node;
}

plain::FuturesNode PlainNodeOf(const Risk& risk, double netOptionValue, double paperLoss, double ratio = 1.0)
{
    plain::FuturesNode node(Parameters(Points, 3), ratio, Level, false);
    node += risk;
    node.AddNOVi(netOptionValue);
    node.AddCumulativePerformance(paperLoss);
    return node;
}

/// Two points of three scenarios, with stresses.
Risk StressedRisk()
{
    Risk risk(Parameters(2, 3));
    Fill(risk.GetRisk().Volatility(), {{-10, 30}, {10, 30}, {4, -1}});
    Fill(risk.GetRisk().InterestRate(), {{-2, 0}, {1, -3}});
    Fill(risk.GetRisk().VolatilityMismatch(), {{-1, -4}, {0, 2}});
    risk.GetSpecialRiskPoints().SetZL(-7.0);
    risk.GetSpecialRiskPoints().SetUpRisk(9.0);
    return risk;
}

// By columns, with the paper loss 5; the worse rate stress is -2 and -3, the worse mismatch -1 and -4:
//   lowest    -10 - 2 - 1 = -13          30 - 3 - 4 = 23, cut at 5
//   central    10 - 2 = 8, cut at 5      30 - 3 = 27, cut at 5     no mismatch there
//   highest     4 - 2 - 1 = 1            -1 - 3 - 4 = -8
void ExpectStressedRiskUpTo5(const Risk& side)
{
    const auto& cells = side.GetRisk();
    EXPECT_THAT(ValuesOf(cells.Volatility()[0]), ElementsAre(-13.0, 5.0));
    EXPECT_THAT(ValuesOf(cells.Volatility()[1]), ElementsAre(5.0, 5.0));
    EXPECT_THAT(ValuesOf(cells.Volatility()[2]), ElementsAre(1.0, -8.0));
    EXPECT_THAT(ValuesOf(cells.InterestRateUp()), Each(0.0));
    EXPECT_THAT(ValuesOf(cells.VolatilityMismatchUp()), Each(0.0));
    EXPECT_THAT(ValuesOf(side.GetSpecialRiskPoints()), ElementsAre(0.0, -7.0, 0.0, 0.0, 0.0, 0.0, 0.0, 5.0));
}

template <class Node>
void ExpectWhatHalfNettingKeeps(Node node)
{
    node += StressedRisk();
    node.AddCumulativePerformance(5.0);
    node.AddNOVi(2.5);

    const Node kept = node.GetTransformedRisk_PositionsOnly();
    ExpectStressedRiskUpTo5(kept.Volatility());
    ExpectStressedRiskUpTo5(kept.Expiration());
    EXPECT_EQ(kept.GetTotalCumulativePerformance(), 5.0);
    EXPECT_EQ(kept.GetNOVj(), 2.5);
    EXPECT_THAT(ValuesOf(node.Volatility().GetRisk().Volatility()[1]), ElementsAre(10.0, 30.0)) << "the node stays";
    EXPECT_THAT(ValuesOf(node.GetTransformedRisk().Volatility().GetRisk().Volatility()[1]), ElementsAre(0.0, 0.0));
}

TEST(PositionsOnlyHalfNetting, KeepsTheGainsThatThePaperLossCovers)
{
    ExpectWhatHalfNettingKeeps(plain::FuturesNode(Parameters(2, 3), 1.0, Level, false));
    ExpectWhatHalfNettingKeeps(plain::SeriesNode(Parameters(2, 3), 1.0, Level));
}

// Of deliveries as of scenarios: outcomes of 20 and -6, and the paper loss 5.
TEST(PositionsOnlyHalfNetting, KeepsTheOutcomesOfDeliveriesThatThePaperLossCovers)
{
    Parameters parameters(2, 3);
    parameters.expirationScenariosCount = 1;
    Risk risk(parameters);
    Fill(risk.GetRisk().Expiration(), {{20, -6}});
    plain::SeriesNode series(parameters, 1.0, Level);
    series += risk;
    series.AddCumulativePerformance(5.0);
    const plain::SeriesNode kept = series.GetTransformedRisk_PositionsOnly();
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_THAT(ValuesOf(kept.Volatility().GetRisk().Volatility()[row]), ElementsAre(0.0, 0.0));
        EXPECT_THAT(ValuesOf(kept.Expiration().GetRisk().Volatility()[row]), ElementsAre(5.0, -6.0));
    }
}

// c = 0.25, a net option value of 100 and a paper loss of 20. Cells:
//    -40: x = 60, of which 20 come back: -40 + 2 x 5 - 15 = -45      plainly -40 - 15 = -55
//   -110: x = -10, nothing comes back:  -110 - 2.5 = -112.5          plainly the same
// The stress points, all 0: x = 100, 0 + 2 x 5 - 25 = -15.
TEST(PositionsOnlyCompose, GivesThePositivePartBackUpToThePaperLoss)
{
    const auto contract = ContractOf(0.25);
    const Risk shallow = RiskOf({-40, -40, -40, -40, -40});
    const plain::FuturesNode plainly = PlainNodeOf(shallow, 100.0, 20.0, 2.0);
    EXPECT_EQ(plainly.Compose(shallow, plainly.VolatilityRow(PaperLosses), *contract, plain::Mode::PositionsOnly),
              90.0);
    EXPECT_EQ(plainly.Compose(shallow, plainly.VolatilityRow(), *contract, plain::Mode::Whole), 110.0);
    const auto heldNode = NodeOf(shallow, 100.0, 20.0, 2.0);
    RiskNodeFutures& node = *heldNode;
    EXPECT_EQ(node.UpdateInitialMarginValue_PositionsOnly(*contract), 90.0);
    EXPECT_EQ(node.UpdateInitialMarginDeliveryValue_PositionsOnly(*contract), 90.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*contract), 20.0) << "the change of the one stored margin";

    const auto heldDeep = NodeOf(RiskOf({-40, -40, -110, -40, -40}), 100.0, 20.0);
    RiskNodeFutures& deep = *heldDeep;
    EXPECT_EQ(deep.UpdateInitialMarginValue_PositionsOnly(*contract), 112.5);
    const auto heldFlat = NodeOf(RiskOf({0, 0, 0, 0, 0}), 100.0, 20.0);
    RiskNodeFutures& flat = *heldFlat;
    EXPECT_EQ(flat.UpdateInitialMarginValue_PositionsOnly(*contract), 15.0);
    EXPECT_EQ(flat.UpdateInitialMarginValue(*contract), 10.0) << "plainly 25";
}

// A gain counts as 0 before the curvature bends it: 0 + 2 x 5 - 25. Plainly the 80 becomes 80 - 45 = 35.
TEST(PositionsOnlyCompose, BendsAGainAsIfItWereNothing)
{
    const auto contract = ContractOf(0.25);
    const std::vector<double> gains(8, 1000.0); // the stress points stay out of it
    const auto heldNode = NodeOf(RiskOf({80, 80, 80, 80, 80}, gains), 100.0, 20.0);
    RiskNodeFutures& node = *heldNode;
    EXPECT_EQ(node.UpdateInitialMarginValue_PositionsOnly(*contract), 15.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*contract), -15.0);
}

TEST(PositionsOnlyCompose, NeedsNoPaperLossWithoutCurvature)
{
    const auto contract = ContractOf(0.0);
    const auto heldNode = NodeOf(RiskOf({-40, 10, -30, 20, 5}), 100.0, 20.0);
    RiskNodeFutures& node = *heldNode;
    EXPECT_EQ(node.UpdateInitialMarginValue_PositionsOnly(*contract), 40.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*contract), 0.0) << "the same";
}

// A gain at an end of the grid is none here, so it implies no loss beyond: a stress point below 0 is lifted to 0.
TEST(PositionsOnlyCompose, AGainAtTheEndOfTheGridLiftsTheStressPoints)
{
    const auto contract = ContractOf(0.0);
    const auto heldNode = NodeOf(RiskOf({64, 0, 0, 0, 0}, {0, 0, -50, -60, 0, 0, 0, 0}), 0.0, 0.0);
    RiskNodeFutures& node = *heldNode;
    EXPECT_EQ(node.UpdateInitialMarginValue_PositionsOnly(*contract), 0.0);
    EXPECT_EQ(node.UpdateInitialMarginValue(*contract), 60.0)
        << "plainly a gain of 64 there allows a loss of 64 beyond";
}

// The rows that a node keeps are of one mode at a time.
TEST(PositionsOnlyCompose, LeavesTheResultsOfBothSignsToThePlainMode)
{
    const auto contract = ContractOf(0.0);
    const auto heldNode = NodeOf(RiskOf({-40, 10, -30, 20, 5}), 0.0, 20.0);
    RiskNodeFutures& node = *heldNode;
    for (int round = 0; round < 2; ++round) {
        node.UpdateInitialMarginValue_PositionsOnly(*contract);
        EXPECT_THAT(ValuesOf(node.GetRolledUpRiskNode(Whole).Volatility()), ElementsAre(-40, 10, -30, 20, 5));
        EXPECT_THAT(ValuesOf(node.GetRolledUpRiskNode(Whole).Expiration()), ElementsAre(-40, 10, -30, 20, 5));
        EXPECT_THAT(ValuesOf(node.GetRolledUpRiskNode(PaperLosses).Volatility()), ElementsAre(-40, 0, -30, 0, 0));
    }
    HandFutures(RiskOf({-1, -1, -1, -1, -1})).AddTo(node);
    EXPECT_EQ(node.UpdateInitialMarginValue_PositionsOnly(*contract), 1.0);
}

plain::Rules RulesOf(Enums::SpreadMarginType interContract)
{
    plain::Rules rules;
    rules.interContract = interContract;
    return rules;
}

/// A base contract of five points in a group, and what its futures gives to it: of the engine, by a position that has
/// lost `paperLoss`, and plainly. The instruments are the test's own: the book's repository knows the base contract by
/// name only, for the ratio of its group.
struct Group
{
    Group(double radius, Enums::SpreadMarginType type, double paperLoss, const Risk& risk)
        : hand(risk, radius, paperLoss, "GROUP"),
          repository(MakeRepository({{SampleOf(radius, "GROUP")}, {}, {{840, radius}}})),
          book(*repository, RulesOf(type)),
          position(&book, book.portfolio, *hand.futures),
          mms(*hand.contract, 1.0, Level)
    {
        position.ChangeFuturesPosition_PositionsOnly(1, paperLoss, 0.0);
        mms += PlainNodeOf(risk, 0.0, paperLoss);
        plainly.Add(mms, *hand.contract, WindowOf(type), plain::Mode::PositionsOnly);
        EXPECT_TRUE(SameSides(*position.GetOwnerRiskNode().Group(), mms));
        EXPECT_TRUE(SameRow(mcs.VolatilityRow(), plainly.VolatilityRow()));
        EXPECT_TRUE(SameRow(mcs.ExpirationRow(), plainly.ExpirationRow()));
        EXPECT_EQ(mcs.VolatilityPoints(), plainly.VolatilityPoints());
        EXPECT_EQ(mcs.ExpirationPoints(), plainly.ExpirationPoints());
    }
    [[nodiscard]] std::optional<std::size_t> WindowOf(Enums::SpreadMarginType type) const
    {
        if (type != Enums::SpreadMarginType::Netting) return std::nullopt;
        return static_cast<std::size_t>(hand.contract->WindowSize);
    }
    void Close() { position.ChangeFuturesPosition_PositionsOnly(0, 0.0, 0.0); }

    HandFutures hand;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook book;
    kv7im::CumulativePositionByFutures position;
    const RiskNodeMCS& mcs = *position.GetOwnerRiskNode().Group()->parent;
    plain::GroupNode mms;
    plain::GroupsNode plainly{Points, 1.0, Level};
};

// c = 0.25, no options, a paper loss of 20. The row {-8, 30, -4, 12, 16} is {-8, 0, -4, 0, 0}; its losses cost a
// quarter more. Of the points -12 becomes -15 and 20 becomes 20 + 2 x 5 - 5 = 25; 24 would become 24 + 10 - 6 = 28 but
// is cut at 1.25 x 20.
const std::vector<double> RowOfGroup{-8, 30, -4, 12, 16};
const std::vector<double> PointsOfGroup{20, -12, -4, -8, 24, 20, 20, 24};

TEST(PositionsOnlyGroup, WithoutAWindowKeepsGainsUpToTheBentPaperLoss)
{
    Group group(0.25, Enums::SpreadMarginType::HalfNetting, 20.0, RiskOf(RowOfGroup, PointsOfGroup));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-10.0, 0.0, -5.0, 0.0, 0.0));
    EXPECT_THAT(ValuesOf(group.mcs.ExpirationRow()), ElementsAre(-10.0, 0.0, -5.0, 0.0, 0.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()), ElementsAre(25.0, -15.0, -5.0, -10.0, 25.0, 25.0, 25.0, 25.0));
    EXPECT_EQ(group.mcs.GetInitialMarginValue(), 15.0);
    EXPECT_EQ(group.plainly.UpdateInitialMarginValue_PositionsOnly(), 15.0);

    group.Close();
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), Each(0.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()), Each(0.0));
    group.plainly.Subtract(group.mms);
    EXPECT_THAT(ValuesOf(group.plainly.VolatilityRow()), Each(0.0));
    EXPECT_THAT(ValuesOf(group.plainly.VolatilityPoints()), Each(0.0));
}

// A window of half of N = 2 reaches one point to either side. The stress points below the market meet the row's first
// cell, those above its last; the tails stay with their charges: min(-15, 25) and min(25, 28), cut at 25.
TEST(PositionsOnlyGroup, UnderAWindowKeepsTheTailsUpToTheBentPaperLoss)
{
    Group group(0.25, Enums::SpreadMarginType::Netting, 20.0, RiskOf(RowOfGroup, PointsOfGroup));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-10.0, -10.0, -5.0, -5.0, 0.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()), ElementsAre(0.0, -15.0, 0.0, 0.0, 0.0, 0.0, 25.0, 0.0));

    Group above(0.25, Enums::SpreadMarginType::Netting, 20.0, RiskOf(RowOfGroup, {0, 0, 0, 0, 0, 0, 40, 40}));
    EXPECT_EQ(above.mcs.VolatilityPoints().GetZR(), 25.0) << "40 + 10 - 10 = 40, cut at 25";
    EXPECT_EQ(above.mcs.VolatilityPoints().GetZL(), 0.0);
}

// Where nothing bends the ceiling is the paper loss itself.
TEST(PositionsOnlyGroup, WithoutCurvatureKeepsGainsUpToThePaperLoss)
{
    Group group(0.0, Enums::SpreadMarginType::HalfNetting, 20.0, RiskOf(RowOfGroup, PointsOfGroup));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityRow()), ElementsAre(-8.0, 0.0, -4.0, 0.0, 0.0));
    EXPECT_THAT(ValuesOf(group.mcs.VolatilityPoints()), ElementsAre(20.0, -12.0, -4.0, -8.0, 20.0, 20.0, 20.0, 20.0));
}

// A net option value of 10 within the paper loss of 20 lifts every 0: 0 + 2 x 2.5 - 2.5. The volatility margin takes
// that for nothing; the delivery margin is that of the plain mode, which takes the size of the smallest figure. It is
// meant so.
TEST(PositionsOnlyGroup, OnlyTheVolatilityMarginTakesAGainForNothing)
{
    const auto contract = ContractOf(0.25);
    plain::GroupNode mms(*contract, 1.0, Level);
    mms += PlainNodeOf(RiskOf({0, 0, 0, 0, 0}), 10.0, 20.0);
    plain::GroupsNode mcs(Points, 1.0, Level);
    mcs.Add(mms, *contract, std::nullopt, plain::Mode::PositionsOnly);
    EXPECT_THAT(ValuesOf(mcs.VolatilityRow()), Each(2.5));
    EXPECT_THAT(ValuesOf(mcs.VolatilityPoints()), Each(2.5));
    EXPECT_EQ(mcs.UpdateInitialMarginValue_PositionsOnly(), 0.0);
    EXPECT_EQ(mcs.UpdateInitialMarginDeliveryValue(), 2.5);
    EXPECT_EQ(mcs.UpdateInitialMarginValue(), 2.5);
    EXPECT_EQ(mcs.UpdateInitialMarginDeliveryValue(), 0.0) << "the same";
}

// The stress points of the volatility side stand beside the row of deliveries in this mode too.
TEST(PositionsOnlyGroup, TheDeliveryMarginTakesTheStressPointsOfTheVolatilitySide)
{
    Group group(0.0, Enums::SpreadMarginType::HalfNetting, 0.0, RiskOf({-1, 0, 0, 0, 0}, {0, -40, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(group.mcs.ExpirationRow().min(), -1.0);
    EXPECT_EQ(group.mcs.GetInitialMarginDeliveryValue(), 40.0);
}

// The road upward corrects after summing, the compose step on one node: on one node they agree.
TEST(PositionsOnlyRolledUp, AgreesWithTheComposedMarginOfOneNode)
{
    for (const double radius : {0.0, 0.125}) {
        const auto contract = ContractOf(radius);
        const auto heldNode = NodeOf(RiskOf({-40, 10, -30, 20, 5}, {-3, -50, -40, -40, 5, 5, 9, 0}), 37.0, 12.0);
        RiskNodeFutures& node = *heldNode;
        RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(PaperLosses);
        rolledUp.ApplyCorrection_PositionsOnly(*contract);
        rolledUp.BoundValuesFromAbove(0.0);
        EXPECT_EQ(rolledUp.UpdateInitialMarginValue(), node.UpdateInitialMarginValue_PositionsOnly(*contract));
        EXPECT_EQ(rolledUp.UpdateInitialMarginDeliveryValue(),
                  node.UpdateInitialMarginDeliveryValue_PositionsOnly(*contract));
    }
}

// c = 0.125, a net option value of 16 and a paper loss of 8: -40 has x = -24 and loses 3; 0 has x = 16, of which 8 come
// back: 0 + 2 x 1 - 2 = 0; -8 has x = 8: -8 + 2 x 1 - 1 = -7.
TEST(PositionsOnlyRolledUp, CorrectsRowsAndPointsByThePaperLoss)
{
    const auto contract = ContractOf(0.125);
    const auto heldNode = NodeOf(RiskOf({-40, 10, -8, 20, -8}, {0, -40, 0, 0, 0, 0, -8, 0}), 16.0, 8.0);
    const RiskNodeFutures& node = *heldNode;
    RolledUpRiskNode rolledUp = node.GetRolledUpRiskNode(PaperLosses);
    rolledUp.ApplyCorrection_PositionsOnly(*contract);
    for (const kv7im::RiskRow* const row : {&rolledUp.Volatility(), &rolledUp.Expiration()})
        EXPECT_THAT(ValuesOf(*row), ElementsAre(-43.0, 0.0, -7.0, 0.0, -7.0));
    for (const SpecialRiskPoints* const points : {&rolledUp.VolatilityPoints(), &rolledUp.ExpirationPoints()})
        EXPECT_THAT(ValuesOf(*points), ElementsAre(0.0, -43.0, 0.0, 0.0, 0.0, 0.0, -7.0, 0.0));
}

// What a futures gives to its months goes in and out with its paper loss, whichever mode put it there.
TEST(PositionsOnlyMonths, ReplaceAContributionOfEitherMode)
{
    const auto contract = ContractOf(0.0);
    plain::GroupNode mms(*contract, 1.0, Level);
    const plain::FuturesNode node = PlainNodeOf(RiskOf({-8, 30, -4, 12, 16}), 3.0, 10.0);
    plain::FuturesNode previous = node.GetTransformedRisk_PositionsOnly();
    mms += previous;
    EXPECT_THAT(ValuesOf(mms.Volatility().GetRisk().Volatility()[0]), ElementsAre(-8.0, 10.0, -4.0, 10.0, 10.0));
    EXPECT_EQ(mms.GetTotalCumulativePerformance(), 10.0);
    EXPECT_EQ(previous.GetTotalCumulativePerformance(), 10.0);
    mms -= previous;
    previous = node.GetTransformedRisk(); // plainly
    mms += previous;
    EXPECT_THAT(ValuesOf(mms.Volatility().GetRisk().Volatility()[0]), ElementsAre(-8.0, 0.0, -4.0, 0.0, 0.0));
    EXPECT_EQ(mms.GetTotalCumulativePerformance(), 10.0);
    mms -= previous;
    mms += node;
    EXPECT_THAT(ValuesOf(mms.Volatility().GetRisk().Volatility()[0]), ElementsAre(-8.0, 30.0, -4.0, 12.0, 16.0));
    EXPECT_EQ(mms.GetNOVj(), 3.0);
    EXPECT_EQ(mms.UpdateInitialMarginValue_PositionsOnly(*contract), 8.0);
}

// The road of a book through the same contributions: a change of no orders takes the plain one.
TEST(PositionsOnlyMonths, ABookReplacesAContributionOfEitherMode)
{
    const HandFutures hand(RiskOf({-8, 30, -4, 12, 16}), 0.0, 10.0);
    const kv7im::InstrumentsRepository nothing;
    plain::Rules rules;
    rules.calendar = Enums::SpreadMarginType::HalfNetting;
    EngineBook book(nothing, rules);
    kv7im::CumulativePositionByFutures position(&book, book.portfolio, *hand.futures);
    const RiskNodeMMS& mms = *position.GetOwnerRiskNode().Group();
    const auto lowestRow = [&] {
        const Risk risk = mms.Volatility();
        return ValuesOf(risk.GetRisk().Volatility()[0]);
    };
    position.ChangeFuturesPosition_PositionsOnly(1, 10.0, 0.0);
    EXPECT_THAT(lowestRow(), ElementsAre(-8.0, 10.0, -4.0, 10.0, 10.0));
    EXPECT_EQ(mms.GetTotalCumulativePerformance(), 10.0);
    position.ChangeFuturesOrders(0, nullptr);
    EXPECT_THAT(lowestRow(), ElementsAre(-8.0, 0.0, -4.0, 0.0, 0.0));
    EXPECT_EQ(mms.GetTotalCumulativePerformance(), 10.0);
    rules.calendar = Enums::SpreadMarginType::Netting;
    book.ChangeRules(rules);
    position.ChangeFuturesPosition_PositionsOnly(1, 10.0, 0.0);
    EXPECT_THAT(lowestRow(), ElementsAre(-8.0, 30.0, -4.0, 12.0, 16.0));
    EXPECT_EQ(mms.GetTotalCumulativePerformance(), 10.0);
    EXPECT_EQ(mms.GetInitialMarginValue(), 8.0);
}

} // namespace
} // namespace test::PositionsOnlyNodesTest
