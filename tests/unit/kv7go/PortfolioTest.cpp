// Margins of small books, worked out by hand.
//
// The grid of all of them has three price points: N = 1, so the columns are C - NS * MR, C and C + NS * MR. With
// NS = 1000 and MR = 0.1 the price moves by 100 either way. One contract is worth 2 of money a price unit
// (MinStepPrice 2, MinStep 1).
#include "book/Portfolio.h"

#include <cmath>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "kv7errors.h"

namespace test::PortfolioTest {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;

constexpr double Tolerance = 1e-9;

// No shift, no rate stress, limits that never bind.
BaseContractSample Contract(const std::string& code)
{
    BaseContractSample contract;
    contract.Code = code;
    contract.RiskPointsN = 1;
    contract.ShortOptionMinimumCharge = 0.1;
    contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.1;
    contract.MarketRisk1[Enums::ClientRiskLevel::Default] = 0.15;
    contract.MarketRisk2[Enums::ClientRiskLevel::Default] = 0.2;
    contract.ConcentrationLimit1 = 1'000'000'000;
    contract.ConcentrationLimit2 = 2'000'000'000;
    contract.WindowSizePercentage = 0.0;
    return contract;
}

FuturesSample Futures(const std::string& code, const std::string& contract, Isin isin, double price, double time)
{
    FuturesSample futures;
    futures.Code = code;
    futures.CodeBC = contract;
    futures.Isin = isin;
    futures.CalcFutPrice = price;
    futures.RealCalcPrice = price;
    futures.MinStepPrice = 2.0;
    futures.MinStep = 1.0;
    futures.XLot = 1.0;
    futures.NormalizedSpot = 1000.0;
    futures.TimeToExpiration = time;
    return futures;
}

plain::Rules Rules(Enums::SpreadMarginType calendar, Enums::SpreadMarginType interContract)
{
    plain::Rules rules;
    rules.calendar = calendar;
    rules.interContract = interContract;
    return rules;
}

constexpr auto Netting = Enums::SpreadMarginType::Netting;
constexpr auto HalfNetting = Enums::SpreadMarginType::HalfNetting;

double Margin(const plain::Market& market, const plain::Rules& rules, const plain::Book& book)
{
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, rules);
    for (const auto& [isin, holding] : book)
        EXPECT_EQ(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, 0), Z9ERR_OK);
    EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), engine.portfolio.GetDeliveryVolatilityInitialMargin())
        << "futures deliver nothing that differs from their price";
    const plain::Margins plainly = plain::Model(market, rules).Of(book);
    EXPECT_NEAR(engine.portfolio.GetVolatilityInitialMargin(), plainly.volatility, 1e-9 * (1 + plainly.volatility));
    return engine.portfolio.GetVolatilityInitialMargin();
}

// Three long at 1000: the grid gives (900 - 1000) * 3 * 2 = -600, 0, +600. The stress points two tiers below,
// (850 - 1000) * 6 = -900 and (800 - 1000) * 6 = -1200, are no worse than the edge of the grid while the position is
// below the first limit: exposure |-600 / 0.1| = 6000, floor -6000 * 0.1 = -600 for both. The left tail:
// ZL = 1000 - (3 - 0.3 + 0.01) * 0.1 * 1000 = 729, (729 - 1000) * 6 = -1626, times its cover 100 / 271 * 0.75 = -450.
TEST(Portfolio, OneLongFuturesLosesItsMoveDown)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}}), DoubleNear(600.0, Tolerance));
}

// Three short: +600, 0, -600; the right tail ZR = 1000 + 3.31 * 0.1 * 1000 = 1331, -331 * 6 * 100 / 331 * 0.75 = -450.
TEST(Portfolio, OneShortFuturesLosesItsMoveUp)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {-3, 1000.0}}}), DoubleNear(600.0, Tolerance));
}

// The price of the position moves every cell: three long at 1010 lose 60 more, (900 - 1010) * 6 = -660. The exposure
// at the edge is 6600, the floors are -660.
TEST(Portfolio, APositionBoughtAboveTheMarketLosesTheDifferenceToo)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1010.0}}}), DoubleNear(660.0, Tolerance));
}

// Without discount a long position is valued at the settlement price at best, a short one at the settlement price at
// best too: long at 990 counts as 1000, short at 1010 counts as 1000, long at 1010 stays.
TEST(Portfolio, WithoutDiscountNoPriceIsBetterThanTheSettlementPrice)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    plain::Rules rules = Rules(Netting, HalfNetting);
    EXPECT_THAT(Margin(market, rules, {{1, {3, 990.0}}}), DoubleNear(540.0, Tolerance)); // (900 - 990) * 6
    rules.noFutDiscount = true;
    EXPECT_THAT(Margin(market, rules, {{1, {3, 990.0}}}), DoubleNear(600.0, Tolerance));
    EXPECT_THAT(Margin(market, rules, {{1, {-3, 1010.0}}}), DoubleNear(600.0, Tolerance));
    EXPECT_THAT(Margin(market, rules, {{1, {3, 1010.0}}}), DoubleNear(660.0, Tolerance));
}

// Rates: 2 per cent up over half a year. At the lowest column the stress down is 900 * expm1(-0.02 * 0.5) =
// 900 * -0.00995016625083 = -8.955149625747; three long lose 6 times that more: 600 + 53.730897754484.
TEST(Portfolio, TheRateStressAddsToTheMoveOfThePrice)
{
    FuturesSample futures = Futures("F1", "BC", 1, 1000.0, 0.5);
    futures.InterestRateRiskUp = 0.02;
    futures.InterestRateRiskDown = 0.02;
    plain::Market market{{Contract("BC")}, {futures}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}}), DoubleNear(653.730897754484, 1e-9));
}

// Two expiries, one long and one short, rates of 2 per cent over half a year and a year.
//   near, long 1:  cells -200, 0, +200; rates at the left column 900 * expm1(-0.01) * 2 = -17.910299251498,
//                  at the right one 1100 * expm1(0.01) * 2 = +22.110367585170
//   far, short 1:  cells +200, 0, -200; at the left 920 * expm1(-0.02) * -2 = +36.434441115570,
//                  at the right 1120 * expm1(0.02) * -2 = -45.251001659933
// Netting: the cells cancel, of the rates the losses stay: -17.91 at the left, -45.251001659933 at the right.
// Half netting: each futures by its losses: -217.91 at the left, -200 - 45.251001659933 at the right.
TEST(Portfolio, TwoExpiriesNetCellByCellUnderNettingAndByLossesUnderHalfNetting)
{
    FuturesSample nearFutures = Futures("F1", "BC", 1, 1000.0, 0.5);
    FuturesSample farFutures = Futures("F2", "BC", 2, 1020.0, 1.0);
    for (FuturesSample* futures : {&nearFutures, &farFutures}) {
        futures->InterestRateRiskUp = 0.02;
        futures->InterestRateRiskDown = 0.02;
    }
    const plain::Market market{{Contract("BC")}, {nearFutures, farFutures}, {}};
    const plain::Book book{{1, {1, 1000.0}}, {2, {-1, 1020.0}}};
    const double stress = 1120.0 * std::expm1(0.02) * 2.0;
    EXPECT_NEAR(stress, 45.251001659933, 1e-9);
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), book), DoubleNear(stress, Tolerance));
    EXPECT_THAT(Margin(market, Rules(HalfNetting, HalfNetting), book), DoubleNear(200.0 + stress, Tolerance));
}

// A futures may force half netting for itself: the long near month still loses 200 at the left although the far month
// would pay for it there, while the far month brings its signed cells: left -200 + 200 = 0, right 0 - 200 = -200.
TEST(Portfolio, AFuturesThatEnforcesHalfNettingBringsItsLossesOnly)
{
    FuturesSample nearFutures = Futures("F1", "BC", 1, 1000.0, 0.5);
    nearFutures.EnforceIMSHalfNetting = true;
    const plain::Market market{{Contract("BC")}, {nearFutures, Futures("F2", "BC", 2, 1000.0, 1.0)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {1, 1000.0}}, {2, {-1, 1000.0}}}),
                DoubleNear(200.0, Tolerance));
}

plain::Market TwoContractsOfOneGroup(double window)
{
    BaseContractSample a = Contract("A");
    BaseContractSample b = Contract("B");
    a.CodeMCS = b.CodeMCS = "GROUP";
    a.WindowSizePercentage = b.WindowSizePercentage = window;
    return {{a, b}, {Futures("FA", "A", 1, 1000.0, 0.5), Futures("FB", "B", 2, 500.0, 0.5)}, {}};
}

// Long 2 of A at 1000: -400, 0, +400. Short 3 of B at 500 (its grid is 400, 500, 600): +600, 0, -600.
// No window (half netting across contracts): losses only, -400, 0, -600 in the row. The stress points, lifted to the
// floors of the grid's edges, are -400 and -600 as well, the tails -300 and -450. Margin 600.
// Window of 0 points under netting: the signed rows -400, 0, 400 and 600, 0, -600 with the stress points folded into
// the ends: A's left end min(-400, -400) = -400, its right end min(+600, +800, 400) = 400; B's left end
// min(+900, +1200, 600) = 600, its right end -600. Sum 200, 0, -200; the tails: A's left -300, its right
// min(min(300, 40), 0) = 0; B's right -450, its left min(min(450, 60), 0) = 0. The right tail is the worst: -450.
TEST(Portfolio, ContractsOfOneGroupNetUnderAWindowAndByLossesWithoutOne)
{
    const plain::Market market = TwoContractsOfOneGroup(0.0);
    const plain::Book book{{1, {2, 1000.0}}, {2, {-3, 500.0}}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), book), DoubleNear(600.0, Tolerance));
    EXPECT_THAT(Margin(market, Rules(Netting, Enums::SpreadMarginType::Unused), book), DoubleNear(600.0, Tolerance));
    EXPECT_THAT(Margin(market, Rules(Netting, Netting), book), DoubleNear(450.0, Tolerance));
}

// A window of one point (N = 1, share 1.0) lets the neighbouring point count: A's row -400, 0, 400 becomes
// -400, -400, 0; B's row 600, 0, -600 becomes 0, -600, -600. Stress points fold in: A's right end min(600, 800, 0) = 0.
// Sum -400, -1000, -600.
TEST(Portfolio, AWindowOfOnePointTakesTheWorstNeighbour)
{
    const plain::Market market = TwoContractsOfOneGroup(1.0);
    const plain::Book book{{1, {2, 1000.0}}, {2, {-3, 500.0}}};
    EXPECT_THAT(Margin(market, Rules(Netting, Netting), book), DoubleNear(1000.0, Tolerance));
}

// The ratio of a group is the largest of its base contracts; a contract without an entry counts 1.
TEST(Portfolio, AGroupIsMultipliedByItsLargestRatio)
{
    const plain::Market market = TwoContractsOfOneGroup(0.0);
    plain::Rules rules = Rules(Netting, HalfNetting);
    rules.ratios = {{"A", 1.5}};
    EXPECT_THAT(Margin(market, rules, {{2, {-3, 500.0}}}), DoubleNear(900.0, Tolerance)); // 600 * 1.5
    rules.ratios = {{"A", 0.5}};
    EXPECT_THAT(Margin(market, rules, {{2, {-3, 500.0}}}), DoubleNear(600.0, Tolerance)); // B still counts 1
}

// Limits that bind. k = 2 / (1 * 1) * 1000 = 2000 of money a unit; limit 1 of 2 units is 4000, of 5 units 10000.
// Long 10 at 1000: the edge -2000, exposure 20000. Below 4000 at 0.1, 6000 between at 0.15, 10000 above.
//   two tiers down:   -4000 * 0.1 - (6000 + 10000) * 0.15           = -2800; the point (850 - 1000) * 20 = -3000 is
//                     worse, so -2800 counts
//   three tiers down: -4000 * 0.1 - 6000 * 0.15 - 10000 * 0.2       = -3300; the point (800 - 1000) * 20 = -4000 is
//                     worse, so -3300 counts
TEST(Portfolio, ConcentrationLimitsThatBindRaiseTheMargin)
{
    BaseContractSample contract = Contract("BC");
    contract.ConcentrationLimit1 = 2;
    contract.ConcentrationLimit2 = 5;
    const plain::Market market{{contract}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {10, 1000.0}}}), DoubleNear(3300.0, Tolerance));
    // Long 1: exposure 2000, wholly below the first limit, margin 200.
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {1, 1000.0}}}), DoubleNear(200.0, Tolerance));
    // Long 3: exposure 6000, 2000 of it above the first limit: -400 - 2000 * 0.15 = -700.
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}}), DoubleNear(700.0, Tolerance));
}

// A Percentage contract takes its limits from its own spot: 2 units at 500 are 1000 of money. Its tails vanish.
// Long 10: exposure 20000: -1000 * 0.1 - 1500 * 0.15 - 17500 * 0.2 = -3825; the point itself is -4000.
TEST(Portfolio, APercentageContractTakesItsLimitsFromItsOwnSpot)
{
    BaseContractSample contract = Contract("RATE");
    contract.AssetClass = Enums::AssetClass::Percentage;
    contract.SpotPrice = 500.0;
    contract.ConcentrationLimit1 = 2;
    contract.ConcentrationLimit2 = 5;
    const plain::Market market{{contract}, {Futures("F1", "RATE", 1, 1000.0, 0.5)}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {10, 1000.0}}}), DoubleNear(3825.0, Tolerance));
}

// A contract priced through a currency of radius 0.05 loses 5 per cent of each result more, gains included:
// -600 - 30 = -630 at the left, +600 - 30 = 570 at the right.
TEST(Portfolio, CurvatureAddsItsShareOfTheResult)
{
    BaseContractSample contract = Contract("FX");
    contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    contract.CurrencyId = 1;
    const plain::Market market{{contract}, {Futures("F1", "FX", 1, 1000.0, 0.5)}, {{1, 0.05}}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}}), DoubleNear(630.0, Tolerance));
}

// A contract with a fixed step has no curvature whatever the radius of the currency it names.
TEST(Portfolio, AContractWithAFixedStepHasNoCurvature)
{
    BaseContractSample contract = Contract("FX");
    contract.CurrencyId = 1;
    const plain::Market market{{contract}, {Futures("F1", "FX", 1, 1000.0, 0.5)}, {{1, 0.05}}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}}), DoubleNear(600.0, Tolerance));
}

// Outside the spread a futures is margined alone: nothing nets with it.
TEST(Portfolio, AFuturesOutsideTheSpreadIsMarginedAlone)
{
    FuturesSample alone = Futures("F2", "BC", 2, 1000.0, 0.5);
    alone.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    const plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5), alone}, {}};
    EXPECT_THAT(Margin(market, Rules(Netting, HalfNetting), {{1, {3, 1000.0}}, {2, {-3, 1000.0}}}),
                DoubleNear(1200.0, Tolerance));
}

// A trade-at-settlement price is an offset: 10 is 1010, so three long lose (900 - 1010) * 6.
TEST(Portfolio, ATradeAtSettlementPriceIsAnOffset)
{
    FuturesSample tas = Futures("T1", "BC", 1, 1000.0, 0.5);
    tas.Attribute = Enums::InstrumentStatus::TAS;
    tas.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    tas.TASBaseFutIsinID = 99;
    BaseContractSample contract = Contract("BC");
    const auto repository = MakeRepository({{contract}, {tas}, {}});
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(engine.portfolio.SetPosition(1, 3, 10.0, 0), Z9ERR_OK);
    // The contract never saw a reference futures: its limits are 0 and the whole exposure of 6600 stands above them,
    // -6600 * 0.2 = -1320; the point itself is (800 - 1010) * 6 = -1260, the better of the two counts.
    EXPECT_THAT(engine.portfolio.GetVolatilityInitialMargin(), DoubleNear(1260.0, Tolerance));
}

// All eight stress points of three long at 1000, in money (6 a price unit):
//   DownRisk  -0.1 * 1000 * 0.1 * 6 = -60           UpRisk  +60
//   ZL        -271 * 6 * (100 / 271 * 0.75) = -450   ZR      331 * 6 * (100 / 331 * 0.75) = +450
//   PnL3D     -200 * 6 = -1200                       PnL3U   +1200
//   PnL2D     -150 * 6 = -900                        PnL2U   +900
// Corrected by the row -600, 0, +600 both points below come up to the floor of -600; those above stay. With a net
// option value of 0 and a radius of 0.05 each loses 5 per cent of its size: -63, -472.5, -630, -630, 855, 1140,
// 427.5, 57.
TEST(Portfolio, AllEightStressPointsWithAndWithoutCurvature)
{
    using testing::Pointwise;
    const plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(engine.portfolio.SetPosition(1, 3, 1000.0, 0), Z9ERR_OK);

    const kv7im::RiskNodeMMS& node = *engine.portfolio.GetRisksNodeOfLevelMMS("BC");
    const auto valuesOf = [](const kv7im::SpecialRiskPoints& points) {
        return std::vector<double>(points.pData(), points.pData() + points.size());
    };
    const kv7im::SpecialRiskPoints raw = node.Volatility().GetSpecialRiskPoints();
    EXPECT_THAT(valuesOf(raw),
                Pointwise(DoubleNear(Tolerance), {-60.0, -450.0, -1200.0, -900.0, 900.0, 1200.0, 450.0, 60.0}));

    const kv7im::RiskRow row = node.Volatility().CollapseToRiskRow(kv7im::Risk::CollapseProperty::NegativeAndPositive);
    kv7im::SpecialRiskPoints points = raw.GetCorrectedSpecialRiskPoints(
        row, *repository->GetBaseContract(kv7im::AccessByStatus::eCurrent, "BC"), Enums::ClientRiskLevel::Default);
    EXPECT_THAT(valuesOf(points),
                Pointwise(DoubleNear(Tolerance), {-60.0, -450.0, -600.0, -600.0, 900.0, 1200.0, 450.0, 60.0}));
    points.ApplyCurvature(0.0, 0.05);
    EXPECT_THAT(valuesOf(points),
                Pointwise(DoubleNear(Tolerance), {-63.0, -472.5, -630.0, -630.0, 855.0, 1140.0, 427.5, 57.0}));
}

// The charges take the participant's own ratio, the other points do not: 10 times 60 makes the charge below the worst.
TEST(Portfolio, TheRatioOfTheShortChargeScalesTheChargesOnly)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    plain::Rules rules = Rules(Netting, HalfNetting);
    rules.shortChargeRatio = 12.5;
    EXPECT_THAT(Margin(market, rules, {{1, {3, 1000.0}}}), DoubleNear(750.0, Tolerance)); // 60 * 12.5
}

TEST(Portfolio, AnIsinThatNamesNothingGivesInstrumentAbsent)
{
    const auto repository = MakeRepository({{Contract("BC")}, {}, {}});
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(engine.portfolio.SetPosition(7, 1, 1.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_TRUE(engine.portfolio.Empty());
    kv7im::RolledUpRisksVector deltas;
    engine.portfolio.GetDeltaRolledUpRiskNodes(7, deltas);
    EXPECT_TRUE(deltas.empty());
}

TEST(Portfolio, TellsItsParticipantOnceOfEachNewFutures)
{
    const auto repository = MakeRepository(TwoContractsOfOneGroup(0.0));
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    for (const Isin isin : {1, 2, 1, 2, 1})
        EXPECT_EQ(engine.portfolio.SetPosition(isin, 1, 1000.0, 0), Z9ERR_OK);
    EXPECT_THAT(engine.added, ElementsAre(1, 2));
}

TEST(Portfolio, SetFromZeroToZeroLeavesEverythingAtZero)
{
    const auto repository = MakeRepository(TwoContractsOfOneGroup(0.0));
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(engine.portfolio.SetPosition(1, 0, 1234.5, 0), Z9ERR_OK);
    EXPECT_EQ(engine.portfolio.SetPosition(1, 0, 0.0, 0), Z9ERR_OK);
    EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), 0.0);
    EXPECT_EQ(engine.portfolio.GetDeliveryVolatilityInitialMargin(), 0.0);
}

TEST(Portfolio, ClearEmptiesTheBookAndKeepsTheGrossSum)
{
    const auto repository = MakeRepository(TwoContractsOfOneGroup(0.0));
    EngineBook engine(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(engine.portfolio.SetPosition(1, 5, 1000.0, 0), Z9ERR_OK);
    engine.portfolio.IncreaseGrossInitialMargin(12.5);
    engine.portfolio.Clear();
    EXPECT_TRUE(engine.portfolio.Empty());
    EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), 0.0);
    EXPECT_EQ(engine.portfolio.GetRisksNodeOfLevelMMS("A"), nullptr);
    EXPECT_EQ(engine.portfolio.GetRisksNodeOfLevelMCS("GROUP"), nullptr);
    EXPECT_EQ(engine.portfolio.GetGrossInitialMargin(), 12.5);
}

// The road upward: what an upper book receives is the negative part of the lower book's contract, here -400, 0, 0.
TEST(Portfolio, RolledUpChangesCarryTheLossesOfAContract)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    const auto repository = MakeRepository(market);
    EngineBook lower(*repository, Rules(Netting, HalfNetting));
    EngineBook upper(*repository, Rules(Netting, HalfNetting));

    EXPECT_EQ(lower.portfolio.SetPosition(1, 2, 1000.0, 0), Z9ERR_OK);
    kv7im::RolledUpRisksVector deltas;
    lower.portfolio.GetDeltaRolledUpRiskNodes(1, deltas);
    ASSERT_EQ(deltas.size(), 1U);
    EXPECT_EQ(deltas[0].first, 1);
    const kv7im::RolledUpRiskNode& delta = deltas[0].second;
    EXPECT_NEAR(delta.Volatility()[0], -400.0, Tolerance);
    EXPECT_NEAR(delta.Volatility()[1], 0.0, Tolerance);
    EXPECT_NEAR(delta.Volatility()[2], 0.0, Tolerance);
    // Points: the charge 10 * 4 below, the tail 300, the stress points lifted to the edge of the grid; profits cut off.
    EXPECT_NEAR(delta.VolatilityPoints().GetDownRisk(), -40.0, Tolerance);
    EXPECT_NEAR(delta.VolatilityPoints().GetZL(), -300.0, Tolerance);
    EXPECT_NEAR(delta.VolatilityPoints().GetPnL2D(), -400.0, Tolerance);
    EXPECT_NEAR(delta.VolatilityPoints().GetPnL3D(), -400.0, Tolerance);
    EXPECT_NEAR(delta.VolatilityPoints().GetPnL2U(), 0.0, Tolerance);
    EXPECT_NEAR(delta.VolatilityPoints().GetUpRisk(), 0.0, Tolerance);

    upper.portfolio.AddRolledUpRiskNodes(deltas);
    EXPECT_NEAR(upper.portfolio.GetVolatilityInitialMargin(), 400.0, Tolerance);
    EXPECT_NEAR(upper.portfolio.GetDeliveryVolatilityInitialMargin(), 400.0, Tolerance);
    ASSERT_NE(upper.portfolio.GetHalfNettingRisksByCode("BC"), nullptr);
    EXPECT_EQ(upper.portfolio.GetHalfNettingRisksByCode("F1"), nullptr);
    EXPECT_TRUE(upper.portfolio.Empty()) << "losses from below are no positions";
}

TEST(Portfolio, TwoReadingsOfTheChangeWithNothingBetweenGiveZeroTheSecondTime)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    const auto repository = MakeRepository(market);
    EngineBook lower(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(lower.portfolio.SetPosition(1, 2, 1000.0, 0), Z9ERR_OK);
    kv7im::RolledUpRisksVector deltas;
    lower.portfolio.GetDeltaRolledUpRiskNodes(1, deltas);
    lower.portfolio.GetDeltaRolledUpRiskNodes(1, deltas);
    ASSERT_EQ(deltas.size(), 2U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(deltas[1].second.Volatility()[i], 0.0);
        EXPECT_EQ(deltas[1].second.Expiration()[i], 0.0);
    }
    EXPECT_EQ(deltas[1].second.VolatilityPoints().min(), 0.0);
    EXPECT_EQ(deltas[1].second.GetNOVj(), 0.0);
}

// A book that can only gain hands nothing upward: two long bought at 100, far below the whole grid.
TEST(Portfolio, AWhollyProfitableBookHandsNothingUpward)
{
    plain::Market market{{Contract("BC")}, {Futures("F1", "BC", 1, 1000.0, 0.5)}, {}};
    const auto repository = MakeRepository(market);
    EngineBook lower(*repository, Rules(Netting, HalfNetting));
    EXPECT_EQ(lower.portfolio.SetPosition(1, 2, 100.0, 0), Z9ERR_OK);
    kv7im::RolledUpRisksVector deltas;
    lower.portfolio.GetDeltaRolledUpRiskNodes(1, deltas);
    ASSERT_EQ(deltas.size(), 1U);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(deltas[0].second.Volatility()[i], 0.0);
    // Only the charge below the market stays: it is a charge and not a price, 10 * 4.
    EXPECT_NEAR(deltas[0].second.VolatilityPoints().min(), -40.0, Tolerance);
}

// Losses of two clients in one group add up at the firm, whatever hedges whom: -400 at the left from the one, -600 at
// the right from the other; the worst point counts.
TEST(Portfolio, LossesOfTwoClientsInOneGroupAddUpPointByPoint)
{
    const auto repository = MakeRepository(TwoContractsOfOneGroup(0.0));
    EngineBook first(*repository, Rules(Netting, HalfNetting));
    EngineBook second(*repository, Rules(Netting, HalfNetting));
    EngineBook firm(*repository, Rules(Netting, HalfNetting));
    const auto move = [&](EngineBook& client, Isin isin, std::int64_t quantity, double price) {
        EXPECT_EQ(client.portfolio.SetPosition(isin, quantity, price, 0), Z9ERR_OK);
        kv7im::RolledUpRisksVector deltas;
        client.portfolio.GetDeltaRolledUpRiskNodes(isin, deltas);
        firm.portfolio.AddRolledUpRiskNodes(deltas);
    };
    move(first, 1, 2, 1000.0);
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 400.0, Tolerance);
    move(second, 2, -3, 500.0);
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 600.0, Tolerance);
    move(second, 1, 2, 1000.0); // now -800 at the left
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 800.0, Tolerance);
    ASSERT_NE(firm.portfolio.GetHalfNettingRisksByCode("GROUP"), nullptr);
    move(first, 1, 0, 0.0);
    move(second, 1, 0, 0.0);
    move(second, 2, 0, 0.0);
    EXPECT_NEAR(firm.portfolio.GetVolatilityInitialMargin(), 0.0, Tolerance);
}

} // namespace
} // namespace test::PortfolioTest
