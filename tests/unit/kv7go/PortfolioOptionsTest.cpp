// Margins of small books with options, worked out by hand over the three prices of HandMarket, and the road upward.
#include "book/Portfolio.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "LogCapture.h"
#include "kv7errors.h"

namespace test::PortfolioOptionsTest {
namespace {

using Enums::OptionType;
using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::Pointwise;

constexpr double Tolerance = 1e-6;
constexpr double InverseRootOfTwoPi = 0.3989423; // as the models have it

// Isins of the options of a series: the strike says all.
constexpr Isin Call750 = 10;
constexpr Isin Put750 = 11;
constexpr Isin Call850 = 12;
constexpr Isin Put850 = 13;
constexpr Isin Call775 = 14;
constexpr Isin Call825 = 15;

// Worth over 700, 800 and 900:       calls               puts
//   750                           0,  50, 150         50,  0, 0
//   850                           0,   0,  50        150, 50, 0
std::vector<OptionSample> OptionsOf(const std::string& series, Isin first = 0)
{
    return {HandOption(series, first + Call750, OptionType::Call, 750.0),
            HandOption(series, first + Put750, OptionType::Put, 750.0),
            HandOption(series, first + Call850, OptionType::Call, 850.0),
            HandOption(series, first + Put850, OptionType::Put, 850.0),
            HandOption(series, first + Call775, OptionType::Call, 775.0),
            HandOption(series, first + Call825, OptionType::Call, 825.0)};
}

/// FUT in spread and one series on it.
plain::Market MarketOf(const kv7im::OptionSeriesParameters& series)
{
    FuturesSample futures = HandFutures();
    futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    return {{HandBaseContract()}, {futures}, {}, 0.0, {series}, OptionsOf(series.Code)};
}

plain::Rules NettingRules()
{
    plain::Rules rules;
    rules.calendar = Enums::SpreadMarginType::Netting;
    return rules;
}

void Fill(EngineBook& engine, const plain::Book& book)
{
    for (const auto& [isin, holding] : book)
        EXPECT_EQ(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.afterLastClearing),
                  Z9ERR_OK);
}

/// Both margins of the engine, after a comparison with plain loops over all positions.
plain::Margins BothMargins(const plain::Market& market, const plain::Book& book,
                           const plain::Rules& rules = NettingRules())
{
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, rules);
    Fill(engine, book);
    const plain::Margins plainly = plain::Model(market, rules).Of(book);
    EXPECT_NEAR(engine.Margins().volatility, plainly.volatility, Tolerance);
    EXPECT_NEAR(engine.Margins().delivery, plainly.delivery, Tolerance);
    return engine.Margins();
}

/// The margin where nothing is delivered: both figures are the same.
double Margin(const plain::Market& market, const plain::Book& book, const plain::Rules& rules = NettingRules())
{
    const plain::Margins margins = BothMargins(market, book, rules);
    EXPECT_EQ(margins.volatility, margins.delivery) << "nothing is delivered";
    return margins.volatility;
}

std::vector<double> CellsOf(const kv7im::RiskRow& row)
{
    std::vector<double> cells(row.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        cells[i] = row[i];
    return cells;
}

// Two calls bought at 60: 2 (0 - 60) = -120, 2 (50 - 60) = -20, 2 (150 - 60) = 180.
TEST(PortfolioOptions, ABoughtOptionLosesItsPremiumAtMost)
{
    for (const auto& series : {HandSeries("S"), InSpread(HandSeries("S"))})
        EXPECT_NEAR(Margin(MarketOf(series), {{Call750, {2, 60.0}}}), 120.0, Tolerance);
}

// Two calls sold at 60: 120, 20, -180. A put at 850 sold at 60: 60 - 150 = -90, 10, 60.
TEST(PortfolioOptions, ASoldOptionLosesWhatItsExerciseCostsLessThePremium)
{
    for (const auto& series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        EXPECT_NEAR(Margin(MarketOf(series), {{Call750, {-2, 60.0}}}), 180.0, Tolerance);
        EXPECT_NEAR(Margin(MarketOf(series), {{Put850, {-1, 60.0}}}), 90.0, Tolerance);
    }
}

// Options of one series net: -60, -10, 90 of a call bought at 60, and 10, 10, -40 of a call at 850 sold at 10, make
// -50, 0, 50.
TEST(PortfolioOptions, OptionsOfOneSeriesNet)
{
    for (const auto& series : {HandSeries("S"), InSpread(HandSeries("S"))})
        EXPECT_NEAR(Margin(MarketOf(series), {{Call750, {1, 60.0}}, {Call850, {-1, 10.0}}}), 50.0, Tolerance);
}

// A call bought at 60 is -60, -10, 90, a futures sold at 800 is 100, 0, -100. Together 40, -10, -10; apart 60 + 100.
TEST(PortfolioOptions, ASeriesInSpreadNetsWithItsFuturesAndASeriesAloneDoesNot)
{
    const plain::Book book{{FUT, {-1, 800.0}}, {Call750, {1, 60.0}}};
    EXPECT_NEAR(Margin(MarketOf(InSpread(HandSeries("S"))), book), 10.0, Tolerance);
    EXPECT_NEAR(Margin(MarketOf(HandSeries("S")), book), 160.0, Tolerance);
}

// Covered call: a futures bought at 800 is -100, 0, 100, a call at 850 sold at 10 is 10, 10, -40. Together -90, 10, 60;
// apart 100 + 40.
TEST(PortfolioOptions, ACoveredCallLosesTheFuturesLessThePremium)
{
    const plain::Book book{{FUT, {1, 800.0}}, {Call850, {-1, 10.0}}};
    EXPECT_NEAR(Margin(MarketOf(InSpread(HandSeries("S"))), book), 90.0, Tolerance);
    EXPECT_NEAR(Margin(MarketOf(HandSeries("S")), book), 140.0, Tolerance);
}

// The same with a series that enforces half netting: of the call only the losses 0, 0, -40 reach the futures, and the
// premium of 10 covers nothing: -100, 0, 60. A futures that enforces it takes the net of both and only then cuts the
// profits off: -90, 0, 0. A series alone is margined by its own cells, profits and all.
TEST(PortfolioOptions, ASeriesThatEnforcesHalfNettingBringsItsLossesOnly)
{
    const plain::Book book{{FUT, {1, 800.0}}, {Call850, {-1, 10.0}}};
    kv7im::OptionSeriesParameters series = InSpread(HandSeries("S"));
    series.EnforceHalfNetting = true;
    EXPECT_NEAR(Margin(MarketOf(series), book), 100.0, Tolerance);

    plain::Market futuresEnforces = MarketOf(InSpread(HandSeries("S")));
    futuresEnforces.futures[0].EnforceIMSHalfNetting = true;
    EXPECT_NEAR(Margin(futuresEnforces, book), 90.0, Tolerance);

    series.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    EXPECT_NEAR(Margin(MarketOf(series), {{Call850, {-1, 10.0}}}), 40.0, Tolerance);
}

// Two months of one contract. In the near month -100, 0, 100 of a futures bought; in the far one 90, -10, -60 of a put
// at 850 bought at 60. The group nets them: -10, -10, 40.
TEST(PortfolioOptions, AnOptionInSpreadNetsWithAnotherMonthOfTheContract)
{
    plain::Market market = MarketOf(InSpread(HandSeries("S")));
    FuturesSample nearMonth = HandFutures("NEAR", 2);
    nearMonth.SpreadAspect = Enums::SpreadAspect::InSpread;
    nearMonth.TimeToExpiration = 0.25;
    market.futures.push_back(nearMonth);
    const plain::Book book{{2, {1, 800.0}}, {Put850, {1, 60.0}}};
    EXPECT_NEAR(Margin(market, book), 10.0, Tolerance);
    // Half netting of the calendar: losses only, -100 of the one at the left, -60 of the other at the right.
    plain::Rules rules = NettingRules();
    rules.calendar = Enums::SpreadMarginType::HalfNetting;
    EXPECT_NEAR(Margin(market, book, rules), 100.0, Tolerance);
}

// Series that stand alone do not net with each other either: a call bought at 60 in the one and sold at 60 in the other
// cost 60 and 90.
TEST(PortfolioOptions, SeriesStandingAloneAddUp)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.series.push_back(HandSeries("T"));
    for (const OptionSample& option : OptionsOf("T", 100))
        market.options.push_back(option);
    EXPECT_NEAR(Margin(market, {{Call750, {1, 60.0}}, {100 + Call750, {-1, 60.0}}}), 150.0, Tolerance);
}

// A calendar of two series with a volatility: calls at 800, at the money in the middle of the grid. There a call is
// worth phi(0) w with w = volatility times the root of the time: 10 x 0.5 = 5 in the near series, 10 x 1 = 10 in the
// far one, and half as much more or less in the outer scenarios. At 700 and 900 the calls are worth 0 and 100, the
// volatility no longer tells. A far call sold at 4 and a near one bought at 2:
//                    700   800, low              800, median       800, high                  900
//   far,  -1 at 4      4   4 - 5 phi = 2.005     4 - 10 phi        4 - 15 phi = -1.984        -96
//   near, +1 at 2     -2   2.5 phi - 2 = -1.003  5 phi - 2         7.5 phi - 2 = 0.992         98
//   together           2   2 - 2.5 phi = 1.003   2 - 5 phi         2 - 7.5 phi = -0.992         2
plain::Market CalendarMarket(bool nearEnforcesHalfNetting, bool inSpread)
{
    kv7im::OptionSeriesParameters nearSeries = HandSeries("NEAR");
    kv7im::OptionSeriesParameters farSeries = HandSeries("FAR");
    for (kv7im::OptionSeriesParameters* series : {&nearSeries, &farSeries}) {
        series->A_Bach = 10.0;
        series->VolatilityRisk = 0.5;
        if (inSpread) series->SpreadAspect = Enums::SpreadAspect::InSpread;
    }
    nearSeries.EnforceHalfNetting = nearEnforcesHalfNetting;
    farSeries.TimeToExpiration = 1.0;
    plain::Market market = MarketOf(nearSeries);
    market.series.push_back(farSeries);
    market.options = {HandOption("NEAR", 21, OptionType::Call, 800.0), HandOption("FAR", 22, OptionType::Call, 800.0)};
    return market;
}

TEST(PortfolioOptions, ACalendarOfTwoSeriesNetsScenarioByScenario)
{
    const plain::Book book{{21, {1, 2.0}}, {22, {-1, 4.0}}};
    EXPECT_NEAR(Margin(CalendarMarket(false, true), book), 7.5 * InverseRootOfTwoPi - 2.0, Tolerance);
    // Each alone: the far call 96 at the right, the near one its premium.
    EXPECT_NEAR(Margin(CalendarMarket(false, false), book), 96.0 + 2.0, Tolerance);
}

// The near series by its losses: -2, then -1.003, -0.005 and 0, then 0. The 98 at the right no longer pay for the far
// call.
TEST(PortfolioOptions, HalfNettingOfOneSeriesUndoesTheCalendar)
{
    EXPECT_NEAR(Margin(CalendarMarket(true, true), {{21, {1, 2.0}}, {22, {-1, 4.0}}}), 96.0, Tolerance);
}

// A charge on short options: 0.5 x 0.125 x 800 = 50. The call at 850 sold at 10 loses 40 on the grid, so the charge is
// the worst; it takes the participant's ratio. A bought option is not charged.
TEST(PortfolioOptions, AShortOptionIsChargedAtLeastTheMinimum)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.baseContracts[0].ShortOptionMinimumCharge = 0.5;
    plain::Rules rules = NettingRules();
    for (const double ratio : {1.0, 1.5}) {
        rules.shortChargeRatio = ratio;
        EXPECT_NEAR(Margin(market, {{Call850, {-1, 10.0}}}, rules), 50.0 * ratio, Tolerance);
        EXPECT_NEAR(Margin(market, {{Put750, {-1, 10.0}}}, rules), 50.0 * ratio, Tolerance);
        EXPECT_NEAR(Margin(market, {{Call850, {1, 10.0}}}, rules), 10.0, Tolerance);
    }
}

TEST(PortfolioOptions, TheRatioOfTheContractMultipliesASeriesStandingAloneToo)
{
    plain::Rules rules = NettingRules();
    rules.ratios = {{"BC", 1.5}};
    EXPECT_NEAR(Margin(MarketOf(HandSeries("S")), {{Call750, {-2, 60.0}}}, rules), 270.0, Tolerance); // 180 x 1.5
}

// Premium-style options of a contract priced through a currency of radius 0.05: every result v loses 5 per cent of
// |v + NOV|, where NOV is the value of the options at the settlement price of 55 in the quantity that the last clearing
// left.
plain::Market CurrencyMarket(Enums::SpreadAspect aspect)
{
    kv7im::OptionSeriesParameters series = HandSeries("S");
    series.marginStyle = Enums::MarginStyle::Equity;
    series.SpreadAspect = aspect;
    plain::Market market = MarketOf(series);
    market.baseContracts[0].MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts[0].CurrencyId = 1;
    market.baseContracts[0].AssetClass = Enums::AssetClass::Currency;
    market.currencies = {{1, 0.05}};
    for (OptionSample& option : market.options)
        option.CalcOptPrice = 55.0;
    return market;
}

//   +1 at 60, NOV 55:   -60 - 0.05 x 5  = -60.25    -10 - 0.05 x 45 = -12.25     90 - 0.05 x 145 = 82.75
//   +1 at 60, NOV 0:    -60 - 0.05 x 60 = -63
//   -1 at 60, NOV -55:   60 - 0.05 x 5  =  59.75     10 - 0.05 x 45 =   7.75    -90 - 0.05 x 145 = -97.25
TEST(PortfolioOptions, CurvatureCountsTheNetOptionValue)
{
    const plain::Market market = CurrencyMarket(Enums::SpreadAspect::NotInSpread);
    EXPECT_NEAR(Margin(market, {{Call750, {1, 60.0, 1}}}), 60.25, Tolerance);
    EXPECT_NEAR(Margin(market, {{Call750, {1, 60.0, 0}}}), 63.0, Tolerance);
    EXPECT_NEAR(Margin(market, {{Call750, {-1, 60.0, -1}}}), 97.25, Tolerance);
}

// With a futures sold at 800: 40, -10, -10. NOV 55 has gone into the node of the futures with its series:
// 40 - 0.05 x 95 = 35.25, -10 - 0.05 x 45 = -12.25.
TEST(PortfolioOptions, TheNetOptionValueGoesWithASeriesIntoItsFutures)
{
    const plain::Market market = CurrencyMarket(Enums::SpreadAspect::InSpread);
    EXPECT_NEAR(Margin(market, {{FUT, {-1, 800.0}}, {Call750, {1, 60.0, 1}}}), 12.25, Tolerance);
    EXPECT_NEAR(Margin(market, {{FUT, {-1, 800.0}}, {Call750, {1, 60.0, 0}}}), 10.5, Tolerance);
}

// A flat position has no net option value, whatever the last clearing left; the tails of the empty book would show it.
TEST(PortfolioOptions, AFlatPositionHasNoNetOptionValue)
{
    for (const auto aspect : {Enums::SpreadAspect::NotInSpread, Enums::SpreadAspect::InSpread}) {
        const auto repository = MakeRepository(CurrencyMarket(aspect));
        EngineBook engine(*repository, NettingRules());
        EXPECT_EQ(engine.portfolio.SetPosition(Call750, 0, 60.0, 7), Z9ERR_OK);
        EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), 0.0);
        EXPECT_EQ(engine.portfolio.SetPosition(Call750, 3, 60.0, 7), Z9ERR_OK);
        EXPECT_EQ(engine.portfolio.SetPosition(Call750, 0, 60.0, 7), Z9ERR_OK);
        EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), 0.0, Tolerance);
    }
}

// Deliveries at 750 (in scope of it: 700 and 800), 800 (800 alone) and 850 (800 and 900). A call at 825 is exercised at
// 850 only, and at 800 afterwards its holder has paid 25 too much:
//   delivery at 750:    0,   0,   -        less the price of 10:  -10, -10,   -
//   delivery at 800:    -,   0,   -                                  -, -10,   -
//   delivery at 850:    -, -25,  75                                  -, -35,  65
// By price 0, 0, 75 the position is -10, -10, 65. So the margin is 10, the margin with deliveries 35.
TEST(PortfolioOptions, ADeliveryMayCostMoreThanThePremium)
{
    plain::Rules rules = NettingRules();
    rules.clearings = 1;
    for (const auto& series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        const plain::Margins margins = BothMargins(MarketOf(Deliverable(series)), {{Call825, {1, 10.0}}}, rules);
        EXPECT_NEAR(margins.volatility, 10.0, Tolerance);
        EXPECT_NEAR(margins.delivery, 35.0, Tolerance);
    }
}

// A call at 775 bought at 30 hedges a futures sold at 800 as long as it is exercised:
//   by price             100 - 30,   0 - 5,  -100 + 95        worst -5
//   with deliveries      100 - 30,  0 - 30,  -100 + 95        worst -30: delivered at 750 and left at 800, unexercised
TEST(PortfolioOptions, ADeliveryMayTakeAHedgeAway)
{
    const plain::Book book{{FUT, {-1, 800.0}}, {Call775, {1, 30.0}}};
    plain::Rules rules = NettingRules();
    rules.clearings = 1;
    const plain::Market market = MarketOf(Deliverable(InSpread(HandSeries("S"))));
    EXPECT_NEAR(BothMargins(market, book, rules).volatility, 5.0, Tolerance);
    EXPECT_NEAR(BothMargins(market, book, rules).delivery, 30.0, Tolerance);
    // A participant that need not look at the delivery yet has one margin.
    rules.clearings = 0;
    EXPECT_NEAR(Margin(market, book, rules), 5.0, Tolerance);
}

// A series with 401 sub-points half a unit apart is cut to at most 200 by doubling the step: 700, 701 and so on to 900,
// 201 of them, which is left so. A call at 770 bought at 40 and a put bought at 10 are worth |p - 770| - 50: 20, -20,
// 80 at the three prices of the grid. Folded onto them come -30 of 750 (700 is as near as 800, the lower one counts),
// -50 of 770, and 31 of 851.
TEST(PortfolioOptions, SubPointsShowTheLossBetweenThePricesOfTheGrid)
{
    kv7im::OptionSeriesParameters series = InSpread(HandSeries("S"));
    series.StrikeStep = 0.5;
    plain::Market market = MarketOf(series);
    market.futures[0].MinStep = market.futures[0].MinStepPrice = 0.5;
    market.options = {HandOption("S", 31, OptionType::Call, 770.0), HandOption("S", 32, OptionType::Put, 770.0)};
    const plain::Book straddle{{31, {1, 40.0}}, {32, {1, 10.0}}};
    EXPECT_NEAR(Margin(market, straddle), 20.0, Tolerance); // without sub-points

    market.series[0].SubRisk = true;
    LogCapture log;
    const auto repository = MakeRepository(market);
    std::vector<std::string> warnings(5); // one a risk level
    for (std::size_t level = 0; level < warnings.size(); ++level)
        warnings[level] = "WARNING [QuindalIM] VirtFutures code 'S'. Count subpoint 401 more than max count 200, "
                          "forcibly set to 201, AdjustedSubRiskStep[" +
                          std::to_string(level) + "](1.000000)";
    EXPECT_EQ(log.Take(), warnings);

    EngineBook engine(*repository, NettingRules());
    Fill(engine, straddle);
    const kv7im::RiskNodeOptionSeries* const node =
        engine.portfolio.GetFuturesPositionByIsin(FUT)->GetRiskNodeOptionSeriesByVFCode("S");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->Volatility().GetRisk().Volatility().ColsCount(), 3U + 201U);
    EXPECT_THAT(CellsOf(node->Volatility().CollapseToRiskRow(kv7im::Risk::CollapseProperty::NegativeAndPositive)),
                Pointwise(DoubleNear(Tolerance), {-30.0, -50.0, 31.0}));
    EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), 50.0, Tolerance);
    // With a futures sold at 800: 70, -50, -69; bought: -130, -50, 131.
    EXPECT_EQ(engine.portfolio.SetPosition(FUT, -1, 800.0, 0), Z9ERR_OK);
    EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), 69.0, Tolerance);
    EXPECT_EQ(engine.portfolio.SetPosition(FUT, 1, 800.0, 0), Z9ERR_OK);
    EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), 130.0, Tolerance);
    EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), engine.portfolio.GetDeliveryVolatilityInitialMargin());
}

// Long strangles gain 1000 and more at each price; the call sold in the other series, with a wide smile, sub-points and
// volatilities that move apart, loses some hundred at most. Three prices leave a fourth lane, which belongs to nobody.
TEST(PortfolioOptions, ABookThatGainsEverywhereCostsNothingInWhateverOrderItCame)
{
    plain::Market market = MarketOf(InSpread(HandSeries("S")));
    kv7im::OptionSeriesParameters wide = InSpread(HandSeries("WIDE"));
    wide.SubRisk = true;
    wide.A_Bach = 1.0;
    wide.M_Bach = 200.0;
    wide.VolatilityRiskMismatch = 0.2;
    market.series.push_back(wide);
    constexpr Isin Second = 100;
    for (const OptionSample& option : OptionsOf("WIDE", Second))
        market.options.push_back(option);
    const plain::Book gains = {{Call750, {10, 0.0}}, {Put850, {10, 0.0}}};
    const plain::Book sold = {{Second + Call825, {-1, 60.0}}};
    plain::Book all = gains;
    all.insert(sold.begin(), sold.end());
    ASSERT_EQ(plain::Model(market, NettingRules()).Of(all).volatility, 0.0);

    const auto repository = MakeRepository(market);
    for (const bool soldFirst : {true, false}) {
        EngineBook engine(*repository, NettingRules());
        Fill(engine, soldFirst ? sold : gains);
        Fill(engine, soldFirst ? gains : sold);
        EXPECT_EQ(engine.Margins().volatility, 0.0) << (soldFirst ? "sold first" : "sold last");
        EXPECT_EQ(engine.Margins().delivery, 0.0) << (soldFirst ? "sold first" : "sold last");
    }
}

// What an isin resolves to.

TEST(PortfolioOptions, AnOptionStandsUnderItsFutures)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook engine(*repository, NettingRules());
    EXPECT_EQ(engine.portfolio.SetPosition(Call750, 2, 60.0, 0), Z9ERR_OK);
    EXPECT_EQ(engine.portfolio.SetPosition(Put750, -1, 5.0, 0), Z9ERR_OK);
    EXPECT_EQ(engine.portfolio.GetPositionCount(), 1U);
    EXPECT_THAT(engine.added, ElementsAre(FUT)) << "told once, by its futures";
    EXPECT_THAT(engine.portfolio.GetFuturesIsins(), ElementsAre(FUT));
    const kv7im::CumulativePositionByFutures* const position = engine.portfolio.GetFuturesPositionByIsin(FUT);
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->GetOptionPositionCount(), 2U);
    EXPECT_EQ(position->GetFuturesPositionSpec().GetQuantity(), 0);
    EXPECT_EQ(engine.portfolio.GetFuturesPositionByIsin(Call750), nullptr);
}

TEST(PortfolioOptions, APositionIsFoundByTheIsinOfItsInstrumentAndNothingIsCreated)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook engine(*repository, NettingRules());
    EXPECT_EQ(engine.portfolio.GetSpecPosition(FUT), nullptr);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(Call750), nullptr);
    EXPECT_TRUE(engine.portfolio.Empty());

    EXPECT_EQ(engine.portfolio.SetPosition(Call750, 2, 60.0, 0), Z9ERR_OK);
    const kv7im::CSpecPosition* const option = engine.portfolio.GetSpecPosition(Call750);
    ASSERT_NE(option, nullptr);
    EXPECT_EQ(option->GetQuantity(), 2);
    EXPECT_EQ(option->GetWAPrice(), 60.0);
    EXPECT_EQ(option->GetFutIsin(), FUT);
    const kv7im::CSpecPosition* const futures = engine.portfolio.GetSpecPosition(FUT);
    ASSERT_NE(futures, nullptr);
    EXPECT_EQ(futures->GetQuantity(), 0);
    EXPECT_EQ(engine.portfolio.GetSpecPosition(Put750), nullptr) << "another option of the series";
    EXPECT_EQ(engine.portfolio.GetSpecPosition(99), nullptr);
    EXPECT_EQ(engine.portfolio.GetFuturesPositionByIsin(FUT)->GetOptionPositionCount(), 1U);
}

TEST(PortfolioOptions, SetAndUnsetLeavesNoMargin)
{
    for (const auto& series : {Deliverable(HandSeries("S")), Deliverable(InSpread(HandSeries("S")))}) {
        const auto repository = MakeRepository(MarketOf(series));
        plain::Rules rules = NettingRules();
        rules.clearings = 1;
        EngineBook engine(*repository, rules);
        Fill(engine, {{FUT, {3, 790.0}}, {Call825, {-4, 17.0}}, {Put750, {5, 8.0}}});
        Fill(engine, {{FUT, {0, 0.0}}, {Call825, {0, 0.0}}, {Put750, {0, 0.0}}});
        EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), 0.0, Tolerance);
        EXPECT_NEAR(engine.portfolio.GetDeliveryVolatilityInitialMargin(), 0.0, Tolerance);
    }
}

// The road upward.

/// What the participant above gets in the name of an isin.
kv7im::RolledUpRisksVector ChangesOf(EngineBook& engine, Isin isin)
{
    kv7im::RolledUpRisksVector deltas;
    engine.portfolio.GetDeltaRolledUpRiskNodes(isin, deltas);
    return deltas;
}

// A call bought at 60 is -60, -10, 90: what goes up is -60, -10, 0, in the name of the option, to the entry of its
// series.
TEST(PortfolioOptions, ASeriesStandingAloneHandsItsLossesUpward)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook lower(*repository, NettingRules());
    EngineBook upper(*repository, NettingRules());
    Fill(lower, {{FUT, {1, 800.0}}, {Call750, {1, 60.0}}});
    const kv7im::RolledUpRisksVector deltas = ChangesOf(lower, Call750);
    ASSERT_EQ(deltas.size(), 1U);
    EXPECT_EQ(deltas[0].first, Call750);
    EXPECT_THAT(CellsOf(deltas[0].second.Volatility()), Pointwise(DoubleNear(Tolerance), {-60.0, -10.0, 0.0}));

    upper.portfolio.AddRolledUpRiskNodes(deltas);
    EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), 60.0, Tolerance);
    EXPECT_NEAR(upper.portfolio.GetDeliveryVolatilityInitialMargin(), 60.0, Tolerance);
    EXPECT_NE(upper.portfolio.GetHalfNettingRisksByCode("S"), nullptr);
    EXPECT_EQ(upper.portfolio.GetHalfNettingRisksByCode("BC"), nullptr) << "the futures was not asked";
    EXPECT_TRUE(upper.portfolio.Empty());
}

// A series in spread is part of its futures, and goes with it: -90, 10, 60 of the covered call are -90, 0, 0.
TEST(PortfolioOptions, ASeriesInSpreadGoesUpWithItsFutures)
{
    const auto repository = MakeRepository(MarketOf(InSpread(HandSeries("S"))));
    EngineBook lower(*repository, NettingRules());
    EngineBook upper(*repository, NettingRules());
    Fill(lower, {{FUT, {1, 800.0}}, {Call850, {-1, 10.0}}});
    const kv7im::RolledUpRisksVector deltas = ChangesOf(lower, Call850);
    ASSERT_EQ(deltas.size(), 1U);
    EXPECT_EQ(deltas[0].first, FUT);
    EXPECT_THAT(CellsOf(deltas[0].second.Volatility()), Pointwise(DoubleNear(Tolerance), {-90.0, 0.0, 0.0}));

    upper.portfolio.AddRolledUpRiskNodes(deltas);
    EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), 90.0, Tolerance);
    EXPECT_NE(upper.portfolio.GetHalfNettingRisksByCode("BC"), nullptr);
    EXPECT_EQ(upper.portfolio.GetHalfNettingRisksByCode("S"), nullptr);
    // The isin of such an option carries nothing of its own.
    upper.portfolio.AddRolledUpRiskNode(Call850, deltas[0].second);
    EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), 90.0, Tolerance);
    EXPECT_EQ(upper.portfolio.GetHalfNettingRisksByCode("S"), nullptr);
}

TEST(PortfolioOptions, AChangeInTheNameOfNothingIsDropped)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook lower(*repository, NettingRules());
    EngineBook upper(*repository, NettingRules());
    Fill(lower, {{Call750, {1, 60.0}}});
    const kv7im::RolledUpRisksVector deltas = ChangesOf(lower, Call750);
    upper.portfolio.AddRolledUpRiskNode(99, deltas[0].second);
    EXPECT_EQ(upper.portfolio.GetVolatilityInitialMargin(), 0.0);
    EXPECT_TRUE(ChangesOf(lower, 99).empty());
}

// Before anything was held in a series it has no node; its futures answers for it.
TEST(PortfolioOptions, ASeriesThatWasNeverHeldIsAnsweredForByItsFutures)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook engine(*repository, NettingRules());
    Fill(engine, {{FUT, {1, 800.0}}});
    const kv7im::RolledUpRisksVector deltas = ChangesOf(engine, Call750);
    ASSERT_EQ(deltas.size(), 1U);
    EXPECT_EQ(deltas[0].first, FUT);
    EXPECT_NEAR(deltas[0].second.Volatility()[0], -100.0, Tolerance);
}

TEST(PortfolioOptions, TwoReadingsOfASeriesWithNothingBetweenGiveZeroTheSecondTime)
{
    const auto repository = MakeRepository(CurrencyMarket(Enums::SpreadAspect::NotInSpread));
    EngineBook engine(*repository, NettingRules());
    EXPECT_EQ(engine.portfolio.SetPosition(Call750, 1, 60.0, 1), Z9ERR_OK);
    EXPECT_NEAR(ChangesOf(engine, Call750)[0].second.GetNOVj(), 55.0, Tolerance);
    const kv7im::RolledUpRiskNode second = ChangesOf(engine, Call750)[0].second;
    EXPECT_THAT(CellsOf(second.Volatility()), Each(0.0));
    EXPECT_THAT(CellsOf(second.Expiration()), Each(0.0));
    EXPECT_EQ(second.VolatilityPoints().min(), 0.0);
    EXPECT_EQ(second.ExpirationPoints().min(), 0.0);
    EXPECT_EQ(second.GetNOVj(), 0.0);
}

// A call bought for nothing cannot lose.
TEST(PortfolioOptions, AWhollyProfitableSeriesHandsNothingUpward)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook engine(*repository, NettingRules());
    Fill(engine, {{Call750, {3, 0.0}}});
    const kv7im::RolledUpRiskNode delta = ChangesOf(engine, Call750)[0].second;
    EXPECT_THAT(CellsOf(delta.Volatility()), Each(0.0));
    EXPECT_EQ(delta.VolatilityPoints().min(), 0.0);
}

// What a series alone hands upward is its margin: folded, curved and corrected like it, with and without deliveries and
// the curvature of a currency.
TEST(PortfolioOptions, OneBookRolledUpHasTheMarginOfTheBook)
{
    plain::Market subPoints = MarketOf(HandSeries("S"));
    subPoints.series[0].SubRisk = true;
    subPoints.series[0].StrikeStep = 10.0;
    plain::Market deliverable = MarketOf(Deliverable(HandSeries("S")));
    for (const plain::Market& market :
         {CurrencyMarket(Enums::SpreadAspect::NotInSpread), subPoints, deliverable,
          CurrencyMarket(Enums::SpreadAspect::InSpread), MarketOf(Deliverable(InSpread(HandSeries("S"))))}) {
        const auto repository = MakeRepository(market);
        plain::Rules rules = NettingRules();
        rules.clearings = 1;
        EngineBook lower(*repository, rules);
        EngineBook upper(*repository, rules);
        const auto move = [&](Isin isin, std::int64_t quantity, double price) {
            EXPECT_EQ(lower.portfolio.SetPosition(isin, quantity, price, quantity), Z9ERR_OK);
            upper.portfolio.AddRolledUpRiskNodes(ChangesOf(lower, isin));
            EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), lower.portfolio.GetVolatilityInitialMargin(),
                        Tolerance);
            EXPECT_NEAR(upper.portfolio.GetDeliveryVolatilityInitialMargin(),
                        lower.portfolio.GetDeliveryVolatilityInitialMargin(), Tolerance);
        };
        move(Call825, 1, 10.0);
        move(Put850, -2, 61.0);
        move(Call750, 3, 47.0);
        EXPECT_GT(upper.portfolio.GetVolatilityInitialMargin(), 1.0);
        move(Put850, 0, 0.0);
        move(Call825, 0, 0.0);
        move(Call750, 0, 0.0);
        EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), 0.0, Tolerance);
    }
}

// A row upward has the real prices of the grid, whatever the series has between them.
TEST(PortfolioOptions, ARolledUpSeriesHasTheRealPricesOnly)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.series[0].SubRisk = true;
    market.series[0].StrikeStep = 10.0; // 21 sub-points, 760 among them: 760 - 750 - 60 = -50 there, folded onto 800
    const auto repository = MakeRepository(market);
    EngineBook lower(*repository, NettingRules());
    EngineBook upper(*repository, NettingRules());
    Fill(lower, {{Call750, {1, 60.0}}});
    const kv7im::RolledUpRisksVector deltas = ChangesOf(lower, Call750);
    EXPECT_EQ(deltas[0].second.PointsNum(), 3U);
    EXPECT_THAT(CellsOf(deltas[0].second.Volatility()), Pointwise(DoubleNear(Tolerance), {-60.0, -50.0, 0.0}));
    upper.portfolio.AddRolledUpRiskNodes(deltas);
    EXPECT_EQ(upper.portfolio.GetHalfNettingRisksByCode("S")->PointsNum(), 3U);
}

// Losses of two clients in one series add up price by price: -60, -10, 0 of a call bought and 0, 0, -90 of one sold.
TEST(PortfolioOptions, LossesOfTwoBooksInOneSeriesAddUp)
{
    const auto repository = MakeRepository(MarketOf(HandSeries("S")));
    EngineBook first(*repository, NettingRules());
    EngineBook second(*repository, NettingRules());
    EngineBook firm(*repository, NettingRules());
    Fill(first, {{Call750, {1, 60.0}}});
    firm.portfolio.AddRolledUpRiskNodes(ChangesOf(first, Call750));
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 60.0, Tolerance);
    Fill(second, {{Call750, {-1, 60.0}}});
    firm.portfolio.AddRolledUpRiskNodes(ChangesOf(second, Call750));
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 90.0, Tolerance);
    Fill(second, {{Call750, {1, 60.0}}});
    firm.portfolio.AddRolledUpRiskNodes(ChangesOf(second, Call750));
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 120.0, Tolerance);
}

} // namespace
} // namespace test::PortfolioOptionsTest
