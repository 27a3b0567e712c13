// What one participant holds on one futures: positions in options, the nodes of their series, and the road of a change
// to the margin.
#include "book/Position.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "OptionFamily.h"
#include "Road.h"

namespace test::CumulativePositionTest {
namespace {

using Enums::SpreadAspect;
using Enums::SpreadMarginType;
using kv7im::CSpecOption;
using kv7im::CumulativePositionByFutures;
using kv7im::RiskNodeOptionSeries;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr Isin FuturesIsin = 1;
constexpr Isin FirstOption = 101;  // a call at 1000
constexpr Isin SecondOption = 102; // a put at 900

// One futures and one series of two options. Money is 2 a price unit: 10 for a step of 5.
plain::Market MarketOf(const OptionSeriesSample& series, const FuturesSample& futures = {})
{
    OptionSample call;
    call.CalcOptPrice = 64.0;
    OptionSample put;
    put.Code = "PUT";
    put.Isin = SecondOption;
    put.Strike = 900.0;
    put.OptionType = Enums::OptionType::Put;
    return {{BaseContractSample{}}, {futures}, {}, 0.75, {series}, {call, put}};
}

OptionSeriesSample Alone()
{
    OptionSeriesSample series;
    series.SpreadAspect = SpreadAspect::NotInSpread;
    return series;
}

OptionSeriesSample Premium(SpreadAspect aspect)
{
    OptionSeriesSample series;
    series.marginStyle = Enums::MarginStyle::Equity;
    series.SpreadAspect = aspect;
    return series;
}

/// A position on the futures of a market, outside of the book's own map.
struct Desk
{
    explicit Desk(const plain::Market& market, plain::Rules ofRules = {})
        : rules(std::move(ofRules)),
          repository(MakeRepository(market)),
          book(*repository, rules),
          position(&book, book.portfolio, *repository->GetFutures(FuturesIsin))
    {}

    [[nodiscard]] const CSpecOption& Option(Isin isin) const { return *book.GetInstruments().GetOption(isin); }
    void Set(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity = 0)
    {
        position.ChangeOptionPosition(Option(isin), quantity, price, novQuantity);
    }
    [[nodiscard]] const RiskNodeOptionSeries& Series() const
    {
        return *position.GetRiskNodeOptionSeriesByVFCode("SER");
    }

    plain::Rules rules;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook book;
    CumulativePositionByFutures position;
};

TEST(CumulativePosition, FromZeroToZeroLeavesTheNodesAsTheyWere)
{
    for (const OptionSeriesSample& series : {OptionSeriesSample{}, Alone()}) {
        Desk desk(MarketOf(series));
        desk.Set(FirstOption, -2, 70.0);
        const std::vector<double> seriesBefore = CellsOf(desk.Series().Volatility());
        const std::vector<double> ownerBefore = CellsOf(desk.position.GetOwnerRiskNode().Volatility());
        const double marginBefore = desk.book.Margins().volatility;
        desk.Set(SecondOption, 0, 0.0);
        EXPECT_TRUE(SameCells(CellsOf(desk.Series().Volatility()), seriesBefore));
        EXPECT_TRUE(SameCells(CellsOf(desk.position.GetOwnerRiskNode().Volatility()), ownerBefore));
        EXPECT_EQ(desk.book.Margins().volatility, marginBefore);
        EXPECT_EQ(desk.position.GetOptionPositionCount(), 2U);
    }
}

// The premium bounds what a bought option can lose; what was bounded on the way in is bounded on the way out.
TEST(CumulativePosition, ClosingABoughtOptionEmptiesTheNodesExactly)
{
    for (const OptionSeriesSample& series : {OptionSeriesSample{}, Alone()}) {
        Desk desk(MarketOf(series));
        desk.Set(FirstOption, 1, 64.0);
        EXPECT_GT(desk.book.Margins().volatility, 0.0);
        desk.Set(FirstOption, 0, 0.0);
        EXPECT_THAT(CellsOf(desk.Series().Volatility()), testing::Each(0.0));
        EXPECT_THAT(CellsOf(desk.position.GetOwnerRiskNode().Volatility()), testing::Each(0.0));
        EXPECT_EQ(desk.book.Margins().volatility, 0.0);
        EXPECT_EQ(desk.book.Margins().delivery, 0.0);
    }
}

// One sold call at 64 in money: -(value - 64) * 2 in every scenario of every price point.
TEST(CumulativePosition, TheNodeOfTheSeriesHoldsTheTheoreticalResultsOfItsPositions)
{
    Desk desk(MarketOf({}));
    desk.Set(FirstOption, -1, 64.0);
    const kv7im::Profile values = desk.Option(FirstOption).GetProfile(Level);
    const kv7im::Risk risk = desk.Series().Volatility();
    const kv7im::Profile& node = risk.GetRisk();
    for (std::size_t scenario = 0; scenario < 3; ++scenario)
        for (std::size_t column = 0; column < 5; ++column)
            EXPECT_DOUBLE_EQ(node.Volatility(scenario)[column], -(values.Volatility(scenario)[column] - 64.0) * 2.0);
}

// The charge of a short call: 0.125 of the spot of 1024 at the rate of 0.25 is 32, twice that in money, and half as
// much again for a participant whose ratio is 1.5. A long one is credited with it.
TEST(CumulativePosition, TheRatioOfTheParticipantMultipliesTheChargeOfShortOptions)
{
    plain::Rules rules;
    rules.shortChargeRatio = 1.5;
    for (const OptionSeriesSample& series : {OptionSeriesSample{}, Alone()}) {
        Desk desk(MarketOf(series), rules);
        desk.Set(FirstOption, -1, 64.0);
        EXPECT_EQ(desk.Series().Volatility().GetSpecialRiskPoints().GetUpRisk(), -96.0);
        EXPECT_EQ(desk.Series().Volatility().GetSpecialRiskPoints().GetDownRisk(), 0.0);
        desk.Set(FirstOption, 2, 64.0);
        EXPECT_EQ(desk.Series().Volatility().GetSpecialRiskPoints().GetUpRisk(), 192.0);
        desk.Set(SecondOption, -1, 30.0);
        EXPECT_EQ(desk.Series().Volatility().GetSpecialRiskPoints().GetDownRisk(), -96.0);
    }
}

TEST(CumulativePosition, TheRuleOfNoDiscountIsForFuturesOnly)
{
    plain::Rules rules;
    rules.noFutDiscount = true;
    Desk desk(MarketOf({}));
    Desk withRule(MarketOf({}), rules);
    desk.Set(FirstOption, 3, 10.0);
    withRule.Set(FirstOption, 3, 10.0);
    EXPECT_TRUE(SameNodes(desk.Series(), withRule.Series()));
}

// What stands in spread is in the node of the futures; what stands alone never reaches it or any group.
TEST(CumulativePosition, ASeriesInSpreadIsInTheNodeOfItsFutures)
{
    Desk desk(MarketOf({}));
    desk.Set(FirstOption, -1, 64.0);
    const kv7im::RiskNodeFutures& owner = desk.position.GetOwnerRiskNode();
    EXPECT_TRUE(SameCells(CellsOf(owner.Volatility().GetRisk().Volatility()),
                          CellsOf(desk.Series().Volatility().GetRisk().Volatility())));
    EXPECT_EQ(desk.book.Margins().volatility, owner.parent->GetInitialMarginValue());
    EXPECT_EQ(desk.position.GetTotalVolatilityInitialMargin(), owner.parent->GetInitialMarginValue());
    EXPECT_EQ(desk.Series().GetInitialMarginValue(), 0.0) << "it is not margined by itself";
}

TEST(CumulativePosition, ASeriesAloneNeverTouchesTheFuturesOrAGroup)
{
    for (const std::string mcs : {"", "GROUP"}) {
        plain::Market market = MarketOf(Alone());
        market.baseContracts[0].CodeMCS = mcs;
        FuturesSample neighbour;
        neighbour.Code = "NEIGHBOUR";
        neighbour.Isin = 2;
        market.futures.push_back(neighbour);
        Desk desk(market);
        ASSERT_EQ(desk.book.portfolio.SetPosition(2, -123456789, 1003.37, 0),
                  0U); // awkward cells beside those of the futures
        desk.position.ChangeFuturesPosition(3, 1000.123);
        const plain::Margins ofFutures = desk.book.Margins();
        const kv7im::RiskNodeMMS& group = *desk.position.GetOwnerRiskNode().parent;
        const std::vector<double> ownerBefore = CellsOf(desk.position.GetOwnerRiskNode().Volatility());
        const std::vector<double> groupBefore = CellsOf(group.Volatility());

        desk.Set(FirstOption, -1, 64.0);
        EXPECT_TRUE(SameCells(CellsOf(desk.position.GetOwnerRiskNode().Volatility()), ownerBefore));
        EXPECT_TRUE(SameCells(CellsOf(group.Volatility()), groupBefore));
        const double alone = desk.Series().GetInitialMarginValue();
        EXPECT_GT(alone, 0.0);
        EXPECT_EQ(desk.book.Margins().volatility, ofFutures.volatility + alone);
        EXPECT_EQ(desk.book.Margins().delivery, ofFutures.delivery + desk.Series().GetInitialMarginDeliveryValue());
        EXPECT_EQ(desk.position.GetTotalVolatilityInitialMargin(), alone + ofFutures.volatility);
        EXPECT_EQ(desk.position.GetTotalDeliveryVolatilityInitialMargin(),
                  desk.Series().GetInitialMarginDeliveryValue() + ofFutures.delivery);

        // The mark of the call is gone with it: the next change is again one of the futures.
        ASSERT_EQ(desk.book.portfolio.SetPosition(2, 0, 0.0, 0), 0U);
        desk.position.ChangeFuturesPosition(0, 0.0);
        EXPECT_NEAR(desk.book.Margins().volatility, alone, 1e-4);
        desk.Set(FirstOption, 0, 0.0);
        EXPECT_NEAR(desk.book.Margins().volatility, 0.0, 1e-4); // of sums in the tens of billions
    }
}

TEST(CumulativePosition, AFuturesOutOfSpreadCarriesItsSeriesByItself)
{
    FuturesSample futures;
    futures.SpreadAspect = SpreadAspect::NotInSpread;
    Desk desk(MarketOf({}, futures));
    desk.Set(FirstOption, -1, 64.0);
    EXPECT_EQ(desk.position.GetOwnerRiskNode().parent, nullptr);
    EXPECT_EQ(&desk.position.GetFuturesGroupRisk(), &desk.position.GetOwnerRiskNode());
    EXPECT_GT(desk.book.Margins().volatility, 0.0);
    EXPECT_EQ(desk.book.Margins().volatility, desk.position.GetOwnerRiskNode().GetInitialMarginValue());
    EXPECT_EQ(desk.position.FindOptionPosition(FirstOption)->GetRiskLevel(), kv7im::eRiskLevelFutures);
}

// Two options of a series feed one node; a series of its own has another.
TEST(CumulativePosition, TheOptionsOfASeriesShareItsNode)
{
    plain::Market market = MarketOf({});
    market.series.push_back(Alone());
    market.series[1].Code = "OTHER";
    OptionSample other;
    other.Code = "OTHEROPT";
    other.CodeVF = "OTHER";
    other.Isin = 103;
    market.options.push_back(other);
    Desk desk(market);
    desk.Set(FirstOption, -1, 64.0);
    desk.Set(SecondOption, 1, 5.0);
    desk.Set(103, 1, 5.0);
    const auto node = [&](Isin isin) { return &desk.position.FindOptionPosition(isin)->GetOptionSeriesRisk(); };
    EXPECT_EQ(node(FirstOption), &desk.Series());
    EXPECT_EQ(node(SecondOption), &desk.Series());
    EXPECT_EQ(node(103), desk.position.GetRiskNodeOptionSeriesByVFCode("OTHER"));
    EXPECT_NE(node(103), node(FirstOption));
    EXPECT_EQ(desk.position.GetRiskNodeOptionSeriesByVFCode("NONE"), nullptr);
    EXPECT_EQ(desk.position.RangeOptions().size(), 3U);
    EXPECT_TRUE(desk.position.FindOptionPosition(FirstOption)->IsInSpread());
    EXPECT_FALSE(desk.position.FindOptionPosition(103)->IsInSpread());
}

TEST(CumulativePosition, APositionAskedForByItsIsinIsMadeOnceAndFlat)
{
    Desk desk(MarketOf({}));
    EXPECT_EQ(desk.position.FindOptionPosition(FirstOption), nullptr);
    kv7im::CSpecPositionOptionsBase* const made = desk.position.GetOptionPositionSpec(FirstOption);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetQuantity(), 0);
    EXPECT_EQ(made->GetOptIsin(), FirstOption);
    EXPECT_EQ(made->GetFutIsin(), FuturesIsin);
    EXPECT_EQ(made->GetCode(), "OPT");
    EXPECT_EQ(&made->GetOption(), &desk.Option(FirstOption));
    EXPECT_EQ(&made->GetProfile(), &desk.Option(FirstOption));
    desk.Set(FirstOption, 7, 3.0);
    EXPECT_EQ(desk.position.GetOptionPositionSpec(FirstOption), made);
    EXPECT_EQ(made->GetQuantity(), 7);
    EXPECT_EQ(made->GetWAPrice(), 3.0);
    EXPECT_EQ(desk.position.GetOptionPositionSpec(999), nullptr) << "no option has this isin";
    EXPECT_EQ(desk.position.GetOptionPositionSpec(FuturesIsin), nullptr);
}

// A position found without being changed marks nothing: the next margin is that of the futures.
TEST(CumulativePosition, FindingAPositionInASeriesAloneDoesNotMarkIt)
{
    Desk desk(MarketOf(Alone()));
    desk.position.FindOrCreateOptionPosition(desk.Option(FirstOption));
    desk.position.ChangeFuturesPosition(2, 1000.0);
    EXPECT_GT(desk.position.GetOwnerRiskNode().parent->GetInitialMarginValue(), 0.0);
    EXPECT_EQ(desk.book.Margins().volatility, desk.position.GetOwnerRiskNode().parent->GetInitialMarginValue());
}

TEST(CumulativePosition, ASeriesHasDeliveryRowsOnlyWhereTheParticipantCountsItsDeliveries)
{
    OptionSeriesSample series;
    series.settlementType = Enums::SettlementType::Deliverable;
    series.ExpClearingsCC = 2;
    for (const std::int32_t clearings : {1, 2}) { // of a client, who looks at deliveries so near
        plain::Rules rules;
        rules.clearings = clearings;
        Desk desk(MarketOf(series), rules);
        desk.Set(FirstOption, 1, 64.0); // exercised near the strike it may cost more than its premium
        const kv7im::Parameters dimensions = desk.Series().Volatility().GetRisk().GetParameters();
        const std::size_t deliveries = desk.Option(FirstOption).GetParameters(Level).expirationScenariosCount;
        ASSERT_GT(deliveries, 0U);
        EXPECT_EQ(dimensions.expirationScenariosCount, clearings < 2 ? 0U : deliveries);
        const kv7im::RiskNodeFutures& owner = desk.position.GetOwnerRiskNode();
        EXPECT_EQ(owner.Volatility() == owner.Expiration(), clearings < 2);
        EXPECT_EQ(desk.book.Margins().volatility == desk.book.Margins().delivery, clearings < 2);
    }
}

TEST(CumulativePosition, TheNodeOfASeriesTakesTheRatioOfTheBaseContractAndTheLevelOfTheParticipant)
{
    plain::Rules rules;
    rules.level = Enums::ClientRiskLevel::High;
    rules.ratios["BC"] = 1.25;
    OptionSeriesSample series = Alone();
    series.SubRisk = true;
    Desk desk(MarketOf(series), rules);
    desk.Set(FirstOption, -1, 64.0);
    EXPECT_EQ(desk.Series().GetBrokerBaseContractGORatio(), 1.25);
    EXPECT_EQ(desk.Series().GetLevel(), Enums::ClientRiskLevel::High);
    const kv7im::Parameters dimensions = desk.Series().Volatility().GetRisk().GetParameters();
    EXPECT_GT(dimensions.subPointsCount, 0U);
    EXPECT_EQ(dimensions.subPointsCount, desk.Option(FirstOption).GetSubPointsCount(rules.level));
    EXPECT_NE(dimensions.subPointsCount, desk.Option(FirstOption).GetSubPointsCount(Level));
}

// Premium-style: the quantity after the last clearing times the settlement price of 64 times 2. A flat position has no
// value in the node, whatever quantity is named with it.
TEST(CumulativePosition, TheNetOptionValueFollowsThePositionsOfAPremiumStyleSeries)
{
    for (const SpreadAspect aspect : {SpreadAspect::InSpread, SpreadAspect::NotInSpread}) {
        Desk desk(MarketOf(Premium(aspect)));
        const auto expectValue = [&](double value) {
            EXPECT_EQ(desk.Series().GetNOVj(), value);
            EXPECT_EQ(desk.position.GetOwnerRiskNode().GetNOVj(), aspect == SpreadAspect::InSpread ? value : 0.0);
        };
        desk.Set(FirstOption, 3, 60.0, 2);
        expectValue(256.0);
        desk.Set(FirstOption, 5, 60.0, -4);
        expectValue(-512.0);
        desk.Set(SecondOption, -1, 10.0, -1);
        expectValue(-640.0);
        desk.Set(FirstOption, 0, 0.0, 4);
        expectValue(-128.0);
        desk.Set(FirstOption, 0, 0.0, 1);
        expectValue(-128.0);
        desk.Set(FirstOption, -1, 60.0, 0); // traded since the clearing
        expectValue(-128.0);
        desk.Set(SecondOption, 0, 0.0, 0);
        expectValue(0.0);
    }
}

TEST(CumulativePosition, AFuturesStyleOptionHasNoNetOptionValue)
{
    Desk desk(MarketOf({}));
    desk.Set(FirstOption, 3, 60.0, 3);
    EXPECT_EQ(desk.Series().GetNOVj(), 0.0);
    EXPECT_EQ(desk.position.GetOwnerRiskNode().GetNOVj(), 0.0);
}

TEST(CumulativePosition, ZeroMarginValueForgetsTheMarginsOfTheSeriesAloneAndOfTheFutures)
{
    Desk desk(MarketOf(Alone()));
    desk.position.ChangeFuturesPosition(1, 1000.0);
    desk.Set(FirstOption, -1, 64.0);
    const double ofGroup = desk.position.GetFuturesGroupRisk().GetInitialMarginValue();
    ASSERT_GT(desk.position.GetTotalVolatilityInitialMargin(), ofGroup);
    desk.position.ZeroMarginValue();
    EXPECT_EQ(desk.Series().GetInitialMarginValue(), 0.0);
    EXPECT_EQ(desk.Series().GetInitialMarginDeliveryValue(), 0.0);
    EXPECT_EQ(desk.position.GetTotalVolatilityInitialMargin(), ofGroup) << "the nodes above keep theirs";
    EXPECT_EQ(desk.position.GetTotalDeliveryVolatilityInitialMargin(),
              desk.position.GetFuturesGroupRisk().GetInitialMarginDeliveryValue());
}

// An option is valued at its first use. Where that fails the position is as it was, and so is the mark of the call.
TEST(CumulativePosition, AFailedValuationLeavesThePositionAndTheMarginsAsTheyWere)
{
    kv7im::OptionSeriesParameters series = SeriesOnSample();
    series.SpreadAspect = SpreadAspect::NotInSpread;
    OptionFamily family({}, {}, series, {1000.0});
    const kv7im::InstrumentsRepository nothing;
    EngineBook book(nothing, plain::Rules{});
    CumulativePositionByFutures position(&book, book.portfolio, *family.futures);
    family.contract->optionModel = static_cast<Enums::OptionModel>(99);
    EXPECT_ANY_THROW(position.ChangeOptionPosition(family.Option(0), -1, 40.0, 0));
    EXPECT_EQ(position.FindOptionPosition(100)->GetQuantity(), 0);
    EXPECT_EQ(position.FindOptionPosition(100)->GetWAPrice(), 0.0);

    position.ChangeFuturesPosition(1, 1000.0);
    EXPECT_GT(position.GetOwnerRiskNode().parent->GetInitialMarginValue(), 0.0);
    EXPECT_EQ(book.Margins().volatility, position.GetOwnerRiskNode().parent->GetInitialMarginValue());

    family.contract->optionModel = Enums::OptionModel::BlackScholes;
    const double before = book.Margins().volatility;
    position.ChangeOptionPosition(family.Option(0), -1, 40.0, 0);
    EXPECT_GT(book.Margins().volatility, before);
    position.ChangeOptionPosition(family.Option(0), 0, 0.0, 0);
    EXPECT_NEAR(book.Margins().volatility, before, 1e-9);
}

// The whole road, against the plain sequence of whole-matrix operations.
void WalkTheRoad(const plain::Market& market, const plain::Rules& rules, unsigned seed)
{
    Road road(market, rules);
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::int64_t> quantities(-20, 20);
    std::uniform_int_distribution<Isin> isins(100, 112); // 100 stands for the futures
    int stepsOfTwoMargins = 0;
    for (int step = 0; step < 60; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        const Isin isin = isins(random);
        const std::int64_t quantity = step % 5 == 4 ? 0 : quantities(random);
        const auto price = static_cast<double>(random() % 100);
        if (isin == 100)
            road.SetFutures(quantity, 950.0 + price);
        else
            road.SetOption(isin, quantity, price + 0.25, quantities(random));
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
        if (road.book.Margins().volatility != road.book.Margins().delivery) ++stepsOfTwoMargins;
    }
    EXPECT_GT(stepsOfTwoMargins, 0) << "the walk says little about deliveries";
}

TEST(CumulativePosition, EveryChangeHasTheBitsOfThePlainSequenceUpToTheMargins)
{
    unsigned seed = 1;
    for (const bool collateral : {false, true})
        for (const auto* const mcs : {"", "GROUP"})
            for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
                for (const auto interContract : {SpreadMarginType::Netting, SpreadMarginType::Unused}) {
                    plain::Rules rules;
                    rules.calendar = calendar;
                    rules.interContract = interContract;
                    rules.shortChargeRatio = 1.3;
                    rules.clearings = 3;
                    SCOPED_TRACE(std::string(mcs) + (collateral ? " collateral" : ""));
                    ASSERT_NO_FATAL_FAILURE(
                        WalkTheRoad(RoadMarket(mcs, collateral, SpreadAspect::InSpread), rules, seed++));
                }
}

TEST(CumulativePosition, EveryChangeOnAFuturesOutOfSpreadHasTheBitsOfThePlainSequence)
{
    plain::Rules rules;
    rules.clearings = 3;
    for (const bool collateral : {false, true})
        WalkTheRoad(RoadMarket("", collateral, SpreadAspect::NotInSpread), rules, 99);
}

} // namespace
} // namespace test::CumulativePositionTest
