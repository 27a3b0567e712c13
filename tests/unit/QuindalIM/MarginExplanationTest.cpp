// Explanations of books whose figures are worked out by hand, on the market of HandMarket.h: three prices, 700, 800 and
// 900, and one unit of money a unit of price.
#include "MarginExplanation.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../kv7DomainObjects/OptionTree.h"
#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"

namespace test::MarginExplanationTest {
namespace {

using namespace QuindalIM;
using kv7im::SpecialRiskPoints;
using testing::ElementsAre;
using testing::IsEmpty;

// Options are worth what their exercise would bring within a millionth a contract.
constexpr double Cent = 1e-4;

constexpr Isin Next = 2;
constexpr Isin Other = 3;
constexpr Isin Option1 = 10;
constexpr Isin Option2 = 11;

FuturesSample Netted(FuturesSample futures)
{
    futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    return futures;
}

/// FUT and NEXT of the contract BC, which net; a series S on FUT in spread with it.
plain::Market TwoMonths()
{
    plain::Market market;
    market.edgeCoeff = 0.0;
    market.baseContracts = {HandBaseContract()};
    market.futures = {Netted(HandFutures()), Netted(HandFutures("NEXT", Next))};
    market.series = {InSpread(HandSeries("S"))};
    return market;
}

/// FUT of BC and OTHER of another contract of the same MCS.
plain::Market TwoContracts(double window)
{
    plain::Market market;
    market.edgeCoeff = 0.0;
    market.baseContracts = {HandBaseContract("BC", "GROUP"), HandBaseContract("OTHER", "GROUP")};
    for (BaseContractSample& contract : market.baseContracts)
        contract.WindowSizePercentage = window;
    market.futures = {Netted(HandFutures()), Netted(HandFutures("OTHER", Other, "OTHER"))};
    return market;
}

/// FUT standing alone, with a series S that nets with it.
plain::Market OneFutures()
{
    plain::Market market;
    market.edgeCoeff = 0.0;
    market.baseContracts = {HandBaseContract()};
    market.futures = {HandFutures()};
    market.series = {InSpread(HandSeries("S"))};
    return market;
}

void SetRates(BaseContractSample& contract, double rate1, double rate2)
{
    contract.MarketRisk1[Enums::ClientRiskLevel::Default] = rate1;
    contract.MarketRisk2[Enums::ClientRiskLevel::Default] = rate2;
}

class Book
{
public:
    explicit Book(const plain::Market& market, const plain::Rules& rules = {})
        : m_repository(MakeRepository(market)), m_engine(*m_repository, rules)
    {}

    Book& Hold(Isin isin, std::int64_t quantity, double price)
    {
        EXPECT_EQ(m_engine.portfolio.SetPosition(isin, quantity, price, quantity), 0);
        return *this;
    }
    Book& Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        const SClearingDeltaOrder record = Record(key, quantity, isin);
        EXPECT_EQ(m_engine.portfolio.ChangeOrder(isin, 1, &record), 0);
        return *this;
    }
    [[nodiscard]] MarginExplanation Explain(double weight = 0.0, double ratio = 1.0) const
    {
        return ExplainMargin(m_engine.portfolio, m_engine, weight, ratio);
    }

private:
    std::unique_ptr<kv7im::InstrumentsRepository> m_repository;
    EngineBook m_engine;
};

const MarginShare& ShareOf(const MarginExplanation& explained, Isin isin,
                           MarginShare::Kind kind = MarginShare::Kind::Position)
{
    const auto found = std::find_if(explained.shares.begin(), explained.shares.end(),
                                    [&](const MarginShare& share) { return share.isin == isin && share.kind == kind; });
    if (found == explained.shares.end()) throw std::runtime_error("no share of " + std::to_string(isin));
    return *found;
}
const SideOutcome& OnlySide(const MarginExplanation& explained)
{
    EXPECT_EQ(explained.entities.size(), 1U);
    EXPECT_EQ(explained.entities.front().sides.size(), 1U);
    return explained.entities.front().sides.front();
}
const ContractOutcome& OnlyContract(const MarginExplanation& explained)
{
    EXPECT_EQ(OnlySide(explained).contracts.size(), 1U);
    return OnlySide(explained).contracts.front();
}

void ExpectLevels(const MarginExplanation& explained, const std::vector<double>& margins,
                  const std::vector<double>& saved)
{
    ASSERT_EQ(explained.levels.size(), margins.size());
    for (std::size_t i = 0; i < margins.size(); ++i) {
        EXPECT_EQ(explained.levels[i].level, static_cast<NettingLevel>(i));
        EXPECT_NEAR(explained.levels[i].margin, margins[i], Cent) << "level " << i;
        EXPECT_NEAR(explained.levels[i].saved, saved[i], Cent) << "level " << i;
    }
}

/// Three FUT bought at 800:    -300     0   300
/// two NEXT sold at 810:        220    20  -180
/// a call at 750 sold at 60:     60    10   -90
MarginExplanation ExplainThreePositions(const plain::Rules& rules)
{
    plain::Market market = TwoMonths();
    market.options = {HandOption("S", Option1, Enums::OptionType::Call, 750.0)};
    return Book(market, rules).Hold(FUT, 3, 800.0).Hold(Next, -2, 810.0).Hold(Option1, -1, 60.0).Explain();
}

// Together -20, 30 and 30. Alone they would cost 300, 180 and 90; FUT with its call -240 at most.
TEST(MarginExplanationTest, NamesTheWorstCellTheSharesInItAndWhatEachLevelSaves)
{
    const MarginExplanation explained = ExplainThreePositions({});
    EXPECT_NEAR(explained.unrounded, 20.0, Cent);
    const ContractOutcome& contract = OnlyContract(explained);
    EXPECT_EQ(explained.entities.front().kind, MarginEntity::BaseContract);
    EXPECT_EQ(explained.entities.front().code, "BC");
    EXPECT_EQ(contract.code, "BC");
    EXPECT_EQ(contract.kind, ContractOutcome::Kind::PricePoint);
    EXPECT_EQ(contract.pricePoint, 0U);
    EXPECT_EQ(contract.price, 700.0);
    EXPECT_NEAR(contract.money, -20.0, Cent);
    EXPECT_EQ(contract.rateRow, std::nullopt) << "no stress takes anything";
    ASSERT_EQ(explained.shares.size(), 3U);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 300.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Next).margin, -220.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, -60.0, Cent);
    EXPECT_EQ(ShareOf(explained, Next).quantity, -2);
    EXPECT_EQ(ShareOf(explained, Next).price, 810.0);
    ExpectLevels(explained, {570.0, 570.0, 420.0, 20.0, 20.0}, {0.0, 0.0, 150.0, 400.0, 0.0});
}

// FUT with its call keeps -240, 0 and 0, NEXT 0, 0 and -180: the gain of NEXT at 700 is worth nothing.
TEST(MarginExplanationTest, MarksWhatHalfNettingCuts)
{
    plain::Rules rules;
    rules.calendar = Enums::SpreadMarginType::HalfNetting;
    const MarginExplanation explained = ExplainThreePositions(rules);
    EXPECT_NEAR(explained.unrounded, 240.0, Cent);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 300.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, -60.0, Cent);
    EXPECT_EQ(ShareOf(explained, Next).margin, 0.0);
    EXPECT_TRUE(ShareOf(explained, Next).isGated);
    EXPECT_FALSE(ShareOf(explained, FUT).isGated);
    ASSERT_EQ(OnlyContract(explained).parts.size(), 1U);
    EXPECT_EQ(OnlyContract(explained).parts.front().code, "NEXT");
    EXPECT_TRUE(OnlyContract(explained).parts.front().isCut);
    ExpectLevels(explained, {570.0, 570.0, 420.0, 240.0, 240.0}, {0.0, 0.0, 150.0, 180.0, 0.0});
}

// A put at 850 brings 150 at 700, more than FUT loses there; by its losses only it brings nothing.
TEST(MarginExplanationTest, MarksASeriesThatEnforcesHalfNetting)
{
    plain::Market market = OneFutures();
    market.series.front().EnforceHalfNetting = true;
    market.options = {HandOption("S", Option1, Enums::OptionType::Put, 850.0)};
    const MarginExplanation explained = Book(market).Hold(FUT, 1, 800.0).Hold(Option1, 1, 0.0).Explain();
    EXPECT_NEAR(explained.unrounded, 100.0, Cent);
    EXPECT_EQ(explained.entities.front().kind, MarginEntity::Futures);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 100.0, Cent);
    EXPECT_EQ(ShareOf(explained, Option1).margin, 0.0);
    EXPECT_TRUE(ShareOf(explained, Option1).isGated);
    ASSERT_EQ(OnlyContract(explained).parts.size(), 1U);
    EXPECT_EQ(OnlyContract(explained).parts.front().code, "S");
}

// -100, 0 and 100 against 100, 0 and -100, losses only: -100, 0 and -100. Of the two worst cells the first is named.
TEST(MarginExplanationTest, TakesTheFirstOfTwoCellsAsBadAndCutsTheOtherContract)
{
    const MarginExplanation explained = Book(TwoContracts(0.5)).Hold(FUT, 1, 800.0).Hold(Other, -1, 800.0).Explain();
    EXPECT_EQ(explained.unrounded, 100.0);
    const SideOutcome& side = OnlySide(explained);
    EXPECT_EQ(explained.entities.front().kind, MarginEntity::MCS);
    EXPECT_EQ(explained.entities.front().code, "GROUP");
    EXPECT_EQ(side.pricePoint, 0U);
    ASSERT_EQ(side.contracts.size(), 2U);
    EXPECT_EQ(side.contracts[0].money, -100.0);
    EXPECT_EQ(side.contracts[1].kind, ContractOutcome::Kind::Nothing);
    EXPECT_TRUE(side.contracts[1].isCut);
    EXPECT_FALSE(side.contracts[0].isCut);
    EXPECT_EQ(ShareOf(explained, FUT).margin, 100.0);
    EXPECT_EQ(ShareOf(explained, Other).margin, 0.0);
    EXPECT_TRUE(ShareOf(explained, Other).isGated);
    ExpectLevels(explained, {200.0, 200.0, 200.0, 200.0, 100.0}, {0.0, 0.0, 0.0, 0.0, 100.0});
}

// Half the grid's points make a window of one point. Within it FUT has -100, -100 and 0, OTHER 0, -100 and -100: at the
// price point in the middle each counts with its own end of the grid.
TEST(MarginExplanationTest, NamesThePointThatTheWindowTook)
{
    plain::Rules rules;
    rules.interContract = Enums::SpreadMarginType::Netting;
    const MarginExplanation explained =
        Book(TwoContracts(0.5), rules).Hold(FUT, 1, 800.0).Hold(Other, -1, 800.0).Explain();
    EXPECT_EQ(explained.unrounded, 200.0);
    const SideOutcome& side = OnlySide(explained);
    EXPECT_EQ(side.pricePoint, 1U);
    ASSERT_EQ(side.contracts.size(), 2U);
    EXPECT_EQ(side.contracts[0].pricePoint, 0U);
    EXPECT_EQ(side.contracts[0].price, 700.0);
    EXPECT_EQ(side.contracts[1].pricePoint, 2U);
    EXPECT_EQ(side.contracts[1].price, 900.0);
    EXPECT_EQ(ShareOf(explained, FUT).margin, 100.0);
    EXPECT_EQ(ShareOf(explained, Other).margin, 100.0);
}

TEST(MarginExplanationTest, SaysWhenNoCellLoses)
{
    plain::Rules rules;
    rules.interContract = Enums::SpreadMarginType::Netting;
    const MarginExplanation explained =
        Book(TwoContracts(0.0), rules).Hold(FUT, 1, 800.0).Hold(Other, -1, 800.0).Explain();
    EXPECT_EQ(explained.unrounded, 0.0) << "point by point one gains what the other loses";
    EXPECT_FALSE(OnlySide(explained).isLoss);
    EXPECT_THAT(OnlySide(explained).contracts, IsEmpty());
    EXPECT_EQ(ShareOf(explained, FUT).margin, 0.0);
    EXPECT_FALSE(ShareOf(explained, FUT).isGated) << "there is no cell to be cut out of";
    ExpectLevels(explained, {200.0, 200.0, 200.0, 200.0, 0.0}, {0.0, 0.0, 0.0, 0.0, 200.0});
}

TEST(MarginExplanationTest, HasNothingToSayOfAnEmptyBook)
{
    const MarginExplanation explained = Book(TwoMonths()).Explain();
    EXPECT_EQ(explained.margin, 0.0);
    EXPECT_THAT(explained.shares, IsEmpty());
    EXPECT_THAT(explained.entities, IsEmpty());
    ExpectLevels(explained, {0.0, 0.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 0.0, 0.0});
}

// The second stress steps lie at 400 and 1200, four times as far as the edges of the grid, and no concentration is
// free. Bought at 810 a futures loses 110 at the edge, which implies 440, and 410 at the step itself: the step stands.
TEST(MarginExplanationTest, NamesAStressPoint)
{
    plain::Market market = OneFutures();
    SetRates(market.baseContracts.front(), 0.25, 0.5);
    market.baseContracts.front().ConcentrationLimit1 = market.baseContracts.front().ConcentrationLimit2 = 0;
    const MarginExplanation explained = Book(market).Hold(FUT, 1, 810.0).Explain();
    EXPECT_NEAR(explained.unrounded, 410.0, Cent);
    EXPECT_EQ(OnlySide(explained).stressPoint, SpecialRiskPoints::PnL3D);
    EXPECT_EQ(OnlyContract(explained).kind, ContractOutcome::Kind::StressPoint);
    EXPECT_EQ(OnlyContract(explained).pricePoint, std::nullopt);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 410.0, Cent);
}

// A futures and a call at 850 sold: at the edge, 900, they lose 100 and 50, at the step, 1200, 400 and 350. The edge
// implies four times its 150, 600: that takes the place of 750 and is shared out as the edge is.
TEST(MarginExplanationTest, SharesAFloorOutAsTheEdgeOfTheGrid)
{
    plain::Market market = OneFutures();
    SetRates(market.baseContracts.front(), 0.25, 0.5);
    market.baseContracts.front().ConcentrationLimit1 = market.baseContracts.front().ConcentrationLimit2 = 0;
    market.options = {HandOption("S", Option1, Enums::OptionType::Call, 850.0)};
    const MarginExplanation explained = Book(market).Hold(FUT, -1, 800.0).Hold(Option1, -1, 0.0).Explain();
    EXPECT_NEAR(explained.unrounded, 600.0, Cent);
    EXPECT_EQ(OnlySide(explained).stressPoint, SpecialRiskPoints::PnL3U);
    EXPECT_EQ(OnlyContract(explained).kind, ContractOutcome::Kind::EdgeFloor);
    EXPECT_EQ(OnlyContract(explained).pricePoint, 2U);
    EXPECT_EQ(OnlyContract(explained).price, 900.0);
    EXPECT_NEAR(OnlyContract(explained).cell, -150.0, Cent);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 400.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, 200.0, Cent);
}

// The first 800 of money are margined by 0.125, what is beyond them by 0.25. One futures is 800, two are 1600: alone
// each costs 100, together they cost 100 and 200.
TEST(MarginExplanationTest, TellsWhenALevelCostsMoreThanItsParts)
{
    plain::Market market = TwoMonths();
    SetRates(market.baseContracts.front(), 0.25, 0.5);
    market.baseContracts.front().ConcentrationLimit1 = 100;
    market.baseContracts.front().ConcentrationLimit2 = 1'000'000;
    const MarginExplanation explained = Book(market).Hold(FUT, 1, 800.0).Hold(Next, 1, 800.0).Explain();
    ExpectLevels(explained, {200.0, 200.0, 200.0, 300.0, 300.0}, {0.0, 0.0, 0.0, -100.0, 0.0});
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 150.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Next).margin, 150.0, Cent);
}

// A straddle at 750 bought for 50 in all loses 50 where both options are worth nothing, at 750, which lies between two
// points of the grid and belongs to the lower one.
TEST(MarginExplanationTest, NamesTheSubPointThatCounts)
{
    plain::Market market = OneFutures();
    market.series = {HandSeries("S")};
    market.series.front().SubRisk = true;
    market.options = {HandOption("S", Option1, Enums::OptionType::Call, 750.0),
                      HandOption("S", Option2, Enums::OptionType::Put, 750.0)};
    const MarginExplanation explained = Book(market).Hold(Option1, 1, 20.0).Hold(Option2, 1, 30.0).Explain();
    EXPECT_NEAR(explained.unrounded, 50.0, Cent);
    EXPECT_EQ(explained.entities.front().kind, MarginEntity::OptionSeries);
    EXPECT_EQ(OnlyContract(explained).pricePoint, 0U);
    ASSERT_EQ(OnlyContract(explained).parts.size(), 1U);
    EXPECT_EQ(OnlyContract(explained).parts.front().subPoint, 750.0);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, 20.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option2).margin, 30.0, Cent);
    ExpectLevels(explained, {50.0, 50.0, 50.0, 50.0, 50.0}, {0.0, 0.0, 0.0, 0.0, 0.0});
}

// A call at 825 had for nothing cannot lose. Delivered at 850, while the price stands at 800, it brings a futures that
// is 25 dearer than the market. That side counts half, and the participant's ratio is 2.
TEST(MarginExplanationTest, NamesTheDeliveryThatIsWorst)
{
    plain::Market market = OneFutures();
    market.series = {Deliverable(HandSeries("S"))};
    market.options = {HandOption("S", Option1, Enums::OptionType::Call, 825.0)};
    plain::Rules rules;
    rules.clearings = 1;
    const MarginExplanation explained = Book(market, rules).Hold(Option1, 1, 0.0).Explain(0.5, 2.0);
    EXPECT_NEAR(explained.volatility, 0.0, Cent);
    EXPECT_NEAR(explained.delivery, 25.0, Cent);
    EXPECT_NEAR(explained.unrounded, 25.0, Cent);
    ASSERT_EQ(explained.entities.size(), 1U);
    ASSERT_EQ(explained.entities.front().sides.size(), 2U);
    const SideOutcome& delivery = explained.entities.front().sides[1];
    EXPECT_EQ(delivery.side, MarginSide::Delivery);
    EXPECT_EQ(delivery.pricePoint, 1U);
    ASSERT_EQ(delivery.contracts.size(), 1U);
    EXPECT_TRUE(delivery.contracts.front().isDelivery);
    EXPECT_EQ(delivery.contracts.front().scenario, std::nullopt);
    ASSERT_EQ(delivery.contracts.front().parts.size(), 1U);
    EXPECT_EQ(delivery.contracts.front().parts.front().deliveryRow, 2U);
    EXPECT_EQ(delivery.contracts.front().parts.front().deliveryPrice, 850.0);
    EXPECT_NEAR(ShareOf(explained, Option1).delivery, 25.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, 25.0, Cent);
}

// The same call beside one at 800 of a series that is settled in cash, had for nothing too. What that one is worth at
// 800 depends on the volatility: least at the lowest, the first scenario, and so that is the scenario of the worst
// cell.
TEST(MarginExplanationTest, NamesTheScenarioBesideADeliveryWhereOtherSeriesAreNotDelivered)
{
    plain::Market market = OneFutures();
    market.series = {Deliverable(InSpread(HandSeries("S"))), InSpread(HandSeries("T"))};
    market.series.back().A_Bach = 20.0;
    market.series.back().VolatilityRisk = 0.5;
    market.options = {HandOption("S", Option1, Enums::OptionType::Call, 825.0),
                      HandOption("T", Option2, Enums::OptionType::Call, 800.0)};
    plain::Rules rules;
    rules.clearings = 1;
    const MarginExplanation explained = Book(market, rules).Hold(Option1, 1, 0.0).Hold(Option2, 1, 0.0).Explain(1.0);
    const ContractOutcome& contract = OnlyContract(explained);
    EXPECT_TRUE(contract.isDelivery);
    EXPECT_EQ(contract.pricePoint, 1U);
    EXPECT_EQ(contract.scenario, 0U);
    const std::vector<std::vector<double>>& scenarios = explained.grids.front().scenarios;
    EXPECT_LT(scenarios.front()[1] + 1.0, scenarios.back()[1]) << "the second series alone, by more than a unit";
    EXPECT_NEAR(contract.cell, -25.0 + scenarios.front()[1], Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, 25.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option2).margin, -scenarios.front()[1], Cent);

    const ContractGrid& grid = explained.grids.front();
    EXPECT_EQ(grid.currentPrice, 800.0);
    EXPECT_NEAR(grid.margin, explained.unrounded, Cent);
    ASSERT_EQ(grid.deliveries.size(), 3U);
    EXPECT_EQ(grid.deliveries[1], contract.cell) << "the worst cell is one of the deliveries";
    ASSERT_EQ(grid.shifts.size(), 3U);
    EXPECT_EQ(grid.shifts[0].lowest, -0.5) << "of the second series; the first one's volatility stays";
    EXPECT_EQ(grid.shifts[0].highest, 0.0);
    EXPECT_EQ(grid.shifts[1].lowest, 0.0);
    EXPECT_EQ(grid.shifts[1].highest, 0.0);
    EXPECT_EQ(grid.shifts[2].lowest, 0.0);
    EXPECT_EQ(grid.shifts[2].highest, 0.5);
}

TEST(MarginExplanationTest, ScenariosMoveTheVolatilityOfOptionsOnly)
{
    const MarginExplanation futures = Book(OneFutures()).Hold(FUT, 1, 800.0).Explain();
    EXPECT_THAT(futures.grids.front().shifts, IsEmpty());
    EXPECT_THAT(futures.grids.front().deliveries, IsEmpty());

    plain::Market market = OneFutures();
    market.baseContracts.front().VolatNum = 5;
    market.series.front().VolatilityRisk = 0.24;
    market.series.front().UseNullVolat = true;
    market.options = {HandOption("S", Option1, Enums::OptionType::Put, 850.0)};
    const MarginExplanation options = Book(market).Hold(Option1, 1, 0.0).Explain();
    std::vector<double> shifts;
    for (const VolatilityShift& shift : options.grids.front().shifts) {
        EXPECT_EQ(shift.lowest, shift.highest) << "one series";
        shifts.push_back(shift.lowest);
    }
    EXPECT_THAT(shifts, ElementsAre(-1.0, -0.12, 0.0, 0.12, 0.24)) << "the lowest is no volatility at all";
}

// A premium-style put worth 40, bought for 40, and two futures: 110 and -200 at 700. Its value covers 40 of the loss of
// 90, so the currency, which moves by 0.05, takes 2.50 of the other 50. 1.05 x 200 is the share of the futures, the put
// has 1.05 x 110 of gain and 0.05 x 40 of value.
TEST(MarginExplanationTest, SharesTheCurvatureOut)
{
    plain::Market market = OneFutures();
    market.currencies = {{1, 0.05}};
    market.baseContracts.front().MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts.front().CurrencyId = 1;
    market.series.front().marginStyle = Enums::MarginStyle::Equity;
    market.options = {HandOption("S", Option1, Enums::OptionType::Put, 850.0, 40.0)};
    const MarginExplanation explained = Book(market).Hold(FUT, 2, 800.0).Hold(Option1, 1, 40.0).Explain();
    EXPECT_NEAR(explained.unrounded, 92.5, Cent);
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 210.0, Cent);
    EXPECT_NEAR(ShareOf(explained, Option1).margin, -117.5, Cent);
    EXPECT_NEAR(OnlyContract(explained).cell, -90.0, Cent);
    EXPECT_NEAR(OnlyContract(explained).money, -92.5, Cent);
}

// A futures at 800 loses 100 at 700, and orders to buy two at 790 lose 180 there.
TEST(MarginExplanationTest, GivesTheOrdersOfAnInstrumentAShareOfTheirOwn)
{
    const MarginExplanation explained = Book(OneFutures()).Hold(FUT, 1, 800.0).Order(FUT, Buy(790.0), 2).Explain();
    EXPECT_EQ(explained.unrounded, 280.0);
    ASSERT_EQ(explained.shares.size(), 2U);
    EXPECT_EQ(explained.shares[0].kind, MarginShare::Kind::Position);
    EXPECT_EQ(explained.shares[0].margin, 100.0);
    EXPECT_EQ(explained.shares[1].kind, MarginShare::Kind::Orders);
    EXPECT_EQ(explained.shares[1].margin, 180.0);
    EXPECT_EQ(explained.shares[1].quantity, 2);
    ExpectLevels(explained, {280.0, 280.0, 280.0, 280.0, 280.0}, {0.0, 0.0, 0.0, 0.0, 0.0});
}

// Quantities are added up as the machine adds them: two of 2^62 come to -2^63, and a figure is no reason to fail.
TEST(MarginExplanationTest, WrapsTheCountOfOrdersThatNoQuantityHolds)
{
    constexpr std::int64_t huge = std::int64_t{1} << 62;
    const MarginExplanation explained =
        Book(OneFutures()).Order(FUT, Buy(790.0), huge).Order(FUT, Sell(810.0), huge).Explain();
    EXPECT_EQ(ShareOf(explained, FUT, MarginShare::Kind::Orders).quantity, std::numeric_limits<std::int64_t>::min());
}

// The add-on of 0.01 of the spot takes 8 a contract at 700. On a collateral instrument what an order added to it stays
// when the order is cancelled, here 16; the book without it would cost 108.
TEST(MarginExplanationTest, GivesCancelledOrdersWhatTheyLeaveOnACollateralInstrument)
{
    plain::Market market = OneFutures();
    market.series.clear();
    market.futures.front().Attribute = Enums::InstrumentStatus::Collateral;
    market.futures.front().MRAddOnDown = 0.01;
    const MarginExplanation explained =
        Book(market).Hold(FUT, 1, 800.0).Order(FUT, Buy(800.0), 2).Order(FUT, Buy(800.0), -2).Explain();
    EXPECT_NEAR(explained.unrounded, 124.0, Cent);
    EXPECT_EQ(OnlyContract(explained).rateRow, 1U) << "rates down";
    EXPECT_NEAR(ShareOf(explained, FUT).margin, 108.0, Cent);
    EXPECT_NEAR(ShareOf(explained, FUT, MarginShare::Kind::Orders).margin, 16.0, Cent);
    EXPECT_EQ(ShareOf(explained, FUT, MarginShare::Kind::Orders).quantity, 0);
    EXPECT_NEAR(explained.levels.front().margin, 108.0, Cent);
    EXPECT_NEAR(explained.levels.back().saved, -16.0, Cent) << "no netting has brought it";
}

TEST(MarginExplanationTest, CountsTheRatioOfTheBaseContractAndOfTheParticipant)
{
    plain::Rules rules;
    rules.ratios = {{"BC", 1.5}};
    const MarginExplanation explained = Book(OneFutures(), rules).Hold(FUT, 1, 800.0).Explain(0.0, 2.0);
    EXPECT_EQ(explained.unrounded, 300.0);
    EXPECT_EQ(explained.entities.front().ratio, 1.5);
    EXPECT_EQ(OnlySide(explained).margin, 150.0);
    EXPECT_EQ(OnlyContract(explained).money, -100.0);
    EXPECT_EQ(ShareOf(explained, FUT).volatility, 150.0);
    EXPECT_EQ(ShareOf(explained, FUT).margin, 300.0);
}

TEST(MarginExplanationTest, DrawsTheGridOfEachContractByItsFirstFuturesToExpire)
{
    plain::Market market = TwoMonths();
    market.futures[0].TimeToExpiration = 0.5;
    market.futures[1].TimeToExpiration = 0.25;
    const MarginExplanation explained = Book(market).Hold(FUT, 3, 800.0).Hold(Next, -2, 810.0).Explain();
    ASSERT_EQ(explained.grids.size(), 1U);
    const ContractGrid& grid = explained.grids.front();
    EXPECT_EQ(grid.code, "BC");
    EXPECT_EQ(grid.futures, "NEXT");
    EXPECT_THAT(grid.prices, ElementsAre(700.0, 800.0, 900.0));
    ASSERT_EQ(grid.scenarios.size(), static_cast<std::size_t>(market.baseContracts.front().VolatNum));
    for (const std::vector<double>& scenario : grid.scenarios)
        EXPECT_THAT(scenario, ElementsAre(-80.0, 20.0, 120.0));
}

// A premium-style put is left out of the margin of a client without it, and so out of the explanation: the futures
// loses 100 either way.
TEST(MarginExplanationOfClients, IsOfTheBookThatCounts)
{
    OptionTree tree;
    BraskBroker& firm =
        tree.AddFirm("AA01", Enums::MarginRule::Netting, tree.AddAccount("ACC", Enums::MarginRule::Netting));
    BraskClient& client = tree.AddClient(firm, "AA01001");
    client.SetCalSpreadMarginType(Enums::SpreadMarginType::Netting);
    client.SetNotUseNOV(1);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(client, SpreadFutures, 1, 800.0, 0), 0);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(client, PremiumPut850, 1, 0.0, 1), 0);
    const MarginExplanation explained = ExplainMargin(client);
    EXPECT_EQ(explained.margin, client.GetInitialMargin());
    EXPECT_EQ(explained.unrounded, 100.0);
    ASSERT_EQ(explained.shares.size(), 1U);
    EXPECT_EQ(explained.shares.front().isin, SpreadFutures);

    client.SetNotUseNOV(0);
    const MarginExplanation withPut = ExplainMargin(client);
    EXPECT_EQ(withPut.margin, client.GetInitialMargin());
    EXPECT_EQ(withPut.shares.size(), 2U);
}

// The firm's clients are weighted by a quarter; this one has no weight of its own.
TEST(MarginExplanationOfClients, TakesTheFirmsWeightWhereTheClientHasNone)
{
    OptionTree tree;
    BraskBroker& firm =
        tree.AddFirm("AA01", Enums::MarginRule::Netting, tree.AddAccount("ACC", Enums::MarginRule::Netting), 0.0, 0.25);
    BraskClient& client = tree.AddClient(firm, "AA01001", -1.0);
    client.SetClgoRatio(t_bprice_int(1.5));
    ASSERT_EQ(margin_orchestrator::SetPositionClient(client, FUT, 2, 800.0, 0), 0);
    const MarginExplanation explained = ExplainMargin(client);
    EXPECT_EQ(explained.weight, 0.25);
    EXPECT_EQ(explained.ratio, 1.5);
    EXPECT_EQ(explained.unrounded, 300.0);
    EXPECT_EQ(explained.margin, client.GetInitialMargin());
    ASSERT_EQ(explained.entities.front().sides.size(), 2U);
    EXPECT_EQ(explained.shares.front().volatility, 200.0);
    EXPECT_EQ(explained.shares.front().delivery, 200.0);
    EXPECT_EQ(explained.shares.front().margin, 300.0);
}

} // namespace
} // namespace test::MarginExplanationTest
