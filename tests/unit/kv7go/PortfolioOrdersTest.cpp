// Margins of small books with orders, worked out by hand over the three prices of HandMarket, and what holds of orders
// in any book: they never relieve it, and cancelled they leave it as it was.
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwkwardMarket.h"
#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "kv7errors.h"

namespace test::PortfolioOrdersTest {
namespace {

using namespace kv7im;
using testing::DoubleNear;
using testing::Pointwise;

constexpr double Tolerance = 1e-6;

// Over 700, 800 and 900 the calls at 750, 825 and 850 are worth
//     0, 50, 150        0, 0, 75        0, 0, 50
using awkward::Call750;
using awkward::Call825;
using awkward::Call850;

/// FUT in spread and one series on it.
plain::Market MarketOf(const OptionSeriesParameters& series)
{
    FuturesSample futures = HandFutures();
    futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    return {{HandBaseContract()}, {futures}, {}, 0.0, {series}, awkward::OptionsOf(series.Code)};
}

class Desk
{
public:
    explicit Desk(const plain::Market& market, const plain::Rules& rules = {})
        : m_repository(MakeRepository(market)), engine(*m_repository, rules)
    {}

    void Set(Isin isin, std::int64_t quantity, double price)
    {
        EXPECT_EQ(engine.portfolio.SetPosition(isin, quantity, price, quantity), Z9ERR_OK);
    }
    void Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        EXPECT_EQ(engine.portfolio.ChangeOrder(isin, key, quantity), Z9ERR_OK);
    }
    void Send(Isin isin, const SClearingDeltaOrder& record)
    {
        EXPECT_EQ(engine.portfolio.ChangeOrder(isin, 1, &record), Z9ERR_OK);
    }
    /// Where nothing is delivered both figures are the same.
    [[nodiscard]] double Margin() const
    {
        EXPECT_EQ(engine.Margins().volatility, engine.Margins().delivery);
        return engine.Margins().volatility;
    }

private:
    std::unique_ptr<InstrumentsRepository> m_repository;

public:
    EngineBook engine;
};

// Two bid at 810: 2 (700 - 810), 2 (800 - 810), no gain. Two offered there: no gains, 2 (810 - 900).
TEST(PortfolioOrders, AnOrderCostsWhatItWouldLoseIfItWereFilled)
{
    Desk desk(MarketOf(HandSeries("S")));
    desk.Order(FUT, Buy(810.0), 2);
    EXPECT_NEAR(desk.Margin(), 220.0, Tolerance);
    desk.Order(FUT, Buy(810.0), -2);
    desk.Order(FUT, Sell(810.0), 2);
    EXPECT_NEAR(desk.Margin(), 180.0, Tolerance);
}

// One bought at 800 is -100, 0, 100. An offer to close it cannot be counted upon: 0, 0, -100 more costs nothing, three
// offered are 0, 0, -300 and turn the loss to the other side: -100, 0, -200.
TEST(PortfolioOrders, AnOrderThatWouldCloseAPositionDoesNotRelieveIt)
{
    Desk desk(MarketOf(HandSeries("S")));
    desk.Set(FUT, 1, 800.0);
    EXPECT_NEAR(desk.Margin(), 100.0, Tolerance);
    desk.Order(FUT, Sell(800.0), 1);
    EXPECT_NEAR(desk.Margin(), 100.0, Tolerance);
    desk.Order(FUT, Sell(800.0), 2);
    EXPECT_NEAR(desk.Margin(), 200.0, Tolerance);
    // A bid that would add to it does cost: -100 - 100.
    desk.Order(FUT, Sell(800.0), -3);
    desk.Order(FUT, Buy(800.0), 1);
    EXPECT_NEAR(desk.Margin(), 200.0, Tolerance);
}

// A bid and an offer at one price are -110, -10, 0 and 0, 0, -90: they add up, but not at the same price of the market.
TEST(PortfolioOrders, OrdersOfBothSidesAreMarginedByTheWorseOne)
{
    Desk desk(MarketOf(HandSeries("S")));
    desk.Order(FUT, Buy(810.0), 1);
    desk.Order(FUT, Sell(810.0), 1);
    EXPECT_NEAR(desk.Margin(), 110.0, Tolerance);
    desk.Order(FUT, Sell(810.0), 1);
    EXPECT_NEAR(desk.Margin(), 180.0, Tolerance);
}

// The execution: the order goes and the position comes. In between both are there, -440, -40, 180 at the left.
TEST(PortfolioOrders, AnExecutedOrderBecomesItsPosition)
{
    Desk desk(MarketOf(HandSeries("S")));
    desk.Order(FUT, Buy(810.0), 2);
    const double ordered = desk.Margin();
    desk.Set(FUT, 2, 810.0);
    EXPECT_NEAR(desk.Margin(), 440.0, Tolerance);
    desk.Order(FUT, Buy(810.0), -2);
    EXPECT_NEAR(desk.Margin(), ordered, Tolerance);
    EXPECT_TRUE(desk.engine.portfolio.GetSpecPosition(FUT)->GetOrders().empty());

    // The fill of one half of an option's order: one call bought at 60 and one still bid, -120, -20, 90.
    Desk option(MarketOf(InSpread(HandSeries("S"))));
    option.Order(Call750, Buy(60.0), 2);
    EXPECT_NEAR(option.Margin(), 120.0, Tolerance);
    option.Order(Call750, Buy(60.0), -1);
    option.Set(Call750, 1, 60.0);
    EXPECT_NEAR(option.Margin(), 120.0, Tolerance);
    option.Order(Call750, Buy(60.0), -1);
    EXPECT_NEAR(option.Margin(), 60.0, Tolerance);
}

// A trade-at-settlement order at 10 is one at 810. Without discount its buyer is held at the worse of that and 800.
TEST(PortfolioOrders, ATradeAtSettlementOrderIsAnOffset)
{
    plain::Market market{{HandBaseContract()}, {HandFutures()}, {}, 0.0};
    market.futures[0].Attribute = Enums::InstrumentStatus::TAS;
    market.futures[0].TASBaseFutIsinID = 99;
    plain::Rules rules;
    for (const bool noDiscount : {false, true}) {
        rules.noFutDiscount = noDiscount;
        Desk desk(market, rules);
        desk.Order(FUT, Buy(10.0), 1);
        EXPECT_NEAR(desk.Margin(), 110.0, Tolerance);
        desk.Order(FUT, Buy(10.0), -1);
        desk.Order(FUT, Buy(-10.0), 1);
        EXPECT_NEAR(desk.Margin(), noDiscount ? 100.0 : 90.0, Tolerance);
        desk.Order(FUT, Buy(-10.0), -1);
        desk.Order(FUT, Sell(10.0), 1);
        EXPECT_NEAR(desk.Margin(), noDiscount ? 100.0 : 90.0, Tolerance);
        desk.Order(FUT, Sell(10.0), -1);
        desk.Order(FUT, Sell(0.0), 1);
        EXPECT_NEAR(desk.Margin(), 100.0, Tolerance);
    }
}

// Options.

// A call bid at 60 is -60, -10, 0, one offered there 0, 0, -90. A series by itself shows its margin with the order.
TEST(PortfolioOrders, AnOrderInAnOptionCostsAtOnceWhereverItsSeriesStands)
{
    for (const auto& series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        Desk desk(MarketOf(series));
        desk.Order(Call750, Buy(60.0), 2);
        EXPECT_NEAR(desk.Margin(), 120.0, Tolerance);
        desk.Order(Call750, Sell(60.0), 2);
        EXPECT_NEAR(desk.Margin(), 180.0, Tolerance); // -120, -20, -180
        desk.Order(Call750, Buy(60.0), -2);
        EXPECT_NEAR(desk.Margin(), 180.0, Tolerance);
        desk.Order(Call750, Sell(60.0), -1);
        EXPECT_NEAR(desk.Margin(), 90.0, Tolerance);
    }
}

// A futures sold at 800 is 100, 0, -100. In spread the bid for a call shares its loss at 700 with the gain there: 40,
// -10, -100; the offer adds to the loss: 100, 0, -190. Alone each of them comes on top: 100 + 60, 100 + 90.
TEST(PortfolioOrders, OrdersOfASeriesInSpreadMeetTheFuturesAndThoseOfASeriesAloneDoNot)
{
    Desk inSpread(MarketOf(InSpread(HandSeries("S"))));
    Desk alone(MarketOf(HandSeries("S")));
    for (Desk* const desk : {&inSpread, &alone}) {
        desk->Set(FUT, -1, 800.0);
        desk->Order(Call750, Buy(60.0), 1);
    }
    EXPECT_NEAR(inSpread.Margin(), 100.0, Tolerance);
    EXPECT_NEAR(alone.Margin(), 160.0, Tolerance);
    for (Desk* const desk : {&inSpread, &alone}) {
        desk->Order(Call750, Buy(60.0), -1);
        desk->Order(Call750, Sell(60.0), 1);
    }
    EXPECT_NEAR(inSpread.Margin(), 190.0, Tolerance);
    EXPECT_NEAR(alone.Margin(), 190.0, Tolerance);
    // An order in the futures leaves the series alone where it is: 0, -10, -110 on top of 100, 0, -100.
    for (Desk* const desk : {&inSpread, &alone})
        desk->Order(FUT, Sell(790.0), 1);
    EXPECT_NEAR(inSpread.Margin(), 300.0, Tolerance); // 100, -10, -210 - 90
    EXPECT_NEAR(alone.Margin(), 210.0 + 90.0, Tolerance);
}

// A call at 850 sold at 10 is 10, 10, -40; one more bid at 5 is -5, -5, 0. With a futures bought at 800, -100, 0, 100:
// signed they are -95, 5, 60, by the losses of the series -100, 0, 60. The losses are those of the series whole, so the
// bid hides behind the premium that was taken.
TEST(PortfolioOrders, OrdersOfASeriesThatEnforcesHalfNettingComeWithItsLosses)
{
    OptionSeriesParameters series = InSpread(HandSeries("S"));
    for (const bool enforces : {false, true}) {
        series.EnforceHalfNetting = enforces;
        Desk desk(MarketOf(series));
        desk.Set(FUT, 1, 800.0);
        desk.Set(Call850, -1, 10.0);
        EXPECT_NEAR(desk.Margin(), enforces ? 100.0 : 90.0, Tolerance);
        desk.Order(Call850, Buy(5.0), 1);
        EXPECT_NEAR(desk.Margin(), enforces ? 100.0 : 95.0, Tolerance);
        desk.Order(Call850, Buy(5.0), 2); // the series is -5, -5, -40
        EXPECT_NEAR(desk.Margin(), 105.0, Tolerance);
        desk.Order(Call850, Buy(5.0), -3);
        EXPECT_NEAR(desk.Margin(), enforces ? 100.0 : 90.0, Tolerance);
    }
}

// Sub-points at the tens. A call at 750 bid at 60 is -50 at 760, which is nearest to 800: -60, -50, 0. One offered
// there is 60 - 100 = -40 at 850, which is as near to 800 as to 900 and counts at the lower one: 0, -40, -90.
TEST(PortfolioOrders, OrdersShowTheirLossBetweenThePricesOfTheGrid)
{
    for (OptionSeriesParameters series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        series.SubRisk = true;
        series.StrikeStep = 10.0;
        Desk desk(MarketOf(series));
        desk.Order(Call750, Buy(60.0), 1);
        EXPECT_NEAR(desk.Margin(), 60.0, Tolerance);
        const RiskNodeOptionSeries& node =
            *desk.engine.portfolio.GetFuturesPositionByIsin(FUT)->GetRiskNodeOptionSeriesByVFCode("S");
        const auto rowOf = [&] {
            const RiskRow row = node.Volatility().CollapseToRiskRow(Risk::CollapseProperty::NegativeAndPositive);
            return std::vector<double>{row[0], row[1], row[2]};
        };
        EXPECT_THAT(rowOf(), Pointwise(DoubleNear(Tolerance), {-60.0, -50.0, 0.0}));
        desk.Order(Call750, Buy(60.0), -1);
        desk.Order(Call750, Sell(60.0), 1);
        EXPECT_THAT(rowOf(), Pointwise(DoubleNear(Tolerance), {0.0, -40.0, -90.0}));
        EXPECT_NEAR(desk.Margin(), 90.0, Tolerance);
        // In spread a futures bought at 800 meets them folded: -100, -40, 10. Alone it comes on top.
        desk.Set(FUT, 1, 800.0);
        EXPECT_NEAR(desk.Margin(), series.SpreadAspect == Enums::SpreadAspect::InSpread ? 100.0 : 190.0, Tolerance);
        desk.Set(FUT, -1, 800.0); // 100, -40, -190
        EXPECT_NEAR(desk.Margin(), 190.0, Tolerance);
    }
}

// Delivered at 850 and left at 800, a call at 825 bid at 10 costs 35, though its premium is 10. Offered, 65 at 900 by
// delivery as by price.
TEST(PortfolioOrders, ABidMayCostMoreThanItsPremiumWhereItIsDelivered)
{
    plain::Rules rules;
    for (const std::int32_t clearings : {1, 0})
        for (const auto& series : {Deliverable(HandSeries("S")), Deliverable(InSpread(HandSeries("S")))}) {
            rules.clearings = clearings;
            Desk desk(MarketOf(series), rules);
            desk.Order(Call825, Buy(10.0), 1);
            EXPECT_NEAR(desk.engine.Margins().volatility, 10.0, Tolerance);
            EXPECT_NEAR(desk.engine.Margins().delivery, clearings == 1 ? 35.0 : 10.0, Tolerance);
            desk.Order(Call825, Sell(10.0), 1);
            EXPECT_NEAR(desk.engine.Margins().volatility, 65.0, Tolerance);
            EXPECT_NEAR(desk.engine.Margins().delivery, 65.0, Tolerance);
            desk.Order(Call825, Buy(10.0), -1);
            desk.Order(Call825, Sell(10.0), -1);
            EXPECT_NEAR(desk.engine.Margins().delivery, 0.0, Tolerance);
        }
}

// Orders have no net option value: with a radius of 0.05 a bid of -60, -10, 0 loses 5 per cent of each, and the value
// of a position of 55 still shifts them: -60 - 60 - 0.05 x |55 - 120| = -123.25 for one held at 60 and one bid there.
TEST(PortfolioOrders, AnOrderHasNoNetOptionValue)
{
    for (const auto& base : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        OptionSeriesParameters series = base;
        series.marginStyle = Enums::MarginStyle::Equity;
        plain::Market market = MarketOf(series);
        market.baseContracts[0].MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        market.baseContracts[0].CurrencyId = 1;
        market.baseContracts[0].AssetClass = Enums::AssetClass::Currency;
        market.currencies = {{1, 0.05}};
        for (OptionSample& option : market.options)
            option.CalcOptPrice = 55.0;
        Desk desk(market);
        desk.Order(Call750, Buy(60.0), 1);
        EXPECT_NEAR(desk.Margin(), 63.0, Tolerance);
        desk.Set(Call750, 1, 60.0);
        EXPECT_NEAR(desk.Margin(), 123.25, Tolerance);
    }
}

TEST(PortfolioOrders, TheRatioOfTheContractMultipliesOrdersToo)
{
    plain::Rules rules;
    rules.ratios = {{"BC", 1.5}};
    Desk desk(MarketOf(HandSeries("S")), rules);
    desk.Order(FUT, Buy(800.0), 1);
    desk.Order(Call750, Sell(60.0), 1);
    EXPECT_NEAR(desk.Margin(), 150.0 + 135.0, Tolerance);
}

// Codes.

TEST(PortfolioOrders, AnIsinThatNamesNothingGivesInstrumentAbsent)
{
    Desk desk(MarketOf(HandSeries("S")));
    const SClearingDeltaOrder record = Record(Buy(800.0), 1);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(999, Buy(800.0), 1), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(999, 1, &record), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_TRUE(desk.engine.portfolio.Empty());
    EXPECT_EQ(desk.Margin(), 0.0);
}

// What holds of any book.

void HoldSomething(Desk& desk)
{
    for (const auto& [isin, holding] : awkward::Holdings())
        desk.Set(isin, holding.quantity, holding.price);
}
void Place(Desk& desk, const awkward::Order& order) { desk.Send(order.isin, order.Placed()); }
void Cancel(Desk& desk, const awkward::Order& order) { desk.Send(order.isin, order.Cancelled()); }

void Append(const Risk& risk, std::vector<double>& figures)
{
    const Profile& cells = risk.GetRisk();
    for (const RiskMatrix* const matrix :
         {&cells.Volatility(), &cells.InterestRate(), &cells.VolatilityMismatch(), &cells.Expiration()})
        for (std::size_t row = 0; row < matrix->RowsCount(); ++row)
            for (std::size_t column = 0; column < matrix->ColsCount(); ++column)
                figures.push_back((*matrix)[row][column]);
    const double* const points = cells.GetSpecialRiskPoints().pData();
    figures.insert(figures.end(), points, points + SpecialRiskPoints::size());
}

void Append(const RiskNodeBase& node, std::vector<double>& figures)
{
    Append(node.Volatility(), figures);
    Append(node.Expiration(), figures);
    figures.insert(figures.end(), {node.GetNOVj(), node.GetInitialMarginValue(), node.GetInitialMarginDeliveryValue()});
}

/// Every figure of a book: cells, points and margins of all nodes, and the totals.
std::vector<double> FiguresOf(const Desk& desk)
{
    const Portfolio& book = desk.engine.portfolio;
    std::vector<double> figures{desk.engine.Margins().volatility, desk.engine.Margins().delivery};
    for (const Isin isin : awkward::FuturesIsins) {
        const CumulativePositionByFutures& position = *book.GetFuturesPositionByIsin(isin);
        Append(position.GetOwnerRiskNode(), figures);
        if (isin == FUT) Append(*position.GetRiskNodeOptionSeriesByVFCode("S"), figures);
        figures.push_back(position.GetTotalVolatilityInitialMargin());
        figures.push_back(position.GetTotalDeliveryVolatilityInitialMargin());
    }
    for (const char* const code : {"BC", "OTHER"})
        Append(*book.GetRisksNodeOfLevelMMS(code), figures);
    return figures;
}

double LargestOf(const std::vector<double>& figures)
{
    double largest = 0.0;
    for (const double figure : figures)
        if (std::abs(figure) > largest) largest = std::abs(figure);
    return largest;
}

/// A cell that is no number is out of scope of a delivery in both.
void ExpectNear(const std::vector<double>& figures, const std::vector<double>& expected, double tolerance)
{
    ASSERT_EQ(figures.size(), expected.size());
    for (std::size_t i = 0; i < figures.size(); ++i) {
        if (std::isnan(expected[i]))
            EXPECT_TRUE(std::isnan(figures[i])) << "figure " << i;
        else
            EXPECT_NEAR(figures[i], expected[i], tolerance) << "figure " << i;
    }
}

TEST(AnyBookWithOrders, IsAsItWasWhenWhatWasPlacedIsCancelled)
{
    for (unsigned bits = 0; bits < awkward::Markets; ++bits)
        for (unsigned rules = 0; rules < 9; ++rules) {
            SCOPED_TRACE(testing::Message() << "market " << bits << ", rules " << rules);
            Desk desk(awkward::MarketOf(bits), awkward::RulesOf(rules));
            HoldSomething(desk);
            const std::vector<double> before = FiguresOf(desk);
            std::mt19937 random(bits * 100 + rules);
            std::vector<awkward::Order> placed;
            placed.reserve(12);
            for (int i = 0; i < 12; ++i) {
                placed.emplace_back(random);
                Place(desk, placed.back());
            }
            const double largest = LargestOf(FiguresOf(desk));
            for (const awkward::Order& order : placed)
                Cancel(desk, order);
            ExpectNear(FiguresOf(desk), before, 1e-9 * largest);
            for (const Isin isin : awkward::FuturesIsins)
                EXPECT_TRUE(desk.engine.portfolio.GetSpecPosition(isin)->GetOrders().empty());
        }
}

TEST(AnyBookWithOrders, IsNeverRelievedByAnOrder)
{
    for (unsigned bits = 0; bits < awkward::Markets; ++bits)
        for (unsigned rules = 0; rules < 9; ++rules) {
            SCOPED_TRACE(testing::Message() << "market " << bits << ", rules " << rules);
            Desk desk(awkward::MarketOf(bits), awkward::RulesOf(rules));
            HoldSomething(desk);
            std::mt19937 random(bits * 100 + rules);
            for (int i = 0; i < 20; ++i) {
                const plain::Margins before = desk.engine.Margins();
                Place(desk, awkward::Order(random));
                EXPECT_GE(desk.engine.Margins().volatility, before.volatility * (1 - 1e-9));
                EXPECT_GE(desk.engine.Margins().delivery, before.delivery * (1 - 1e-9));
            }
            EXPECT_GT(desk.engine.Margins().volatility, 0.0);
        }
}

// However the orders came, and whatever else came and went with them, the figures are the same.
TEST(AnyBookWithOrders, HasTheSameFiguresInWhateverOrderItsOrdersCame)
{
    for (unsigned bits = 0; bits < awkward::Markets; ++bits) {
        SCOPED_TRACE(testing::Message() << "market " << bits);
        Desk first(awkward::MarketOf(bits), awkward::RulesOf(bits));
        Desk second(awkward::MarketOf(bits), awkward::RulesOf(bits));
        HoldSomething(first);
        std::mt19937 random(bits);
        std::vector<awkward::Order> orders;
        orders.reserve(12);
        for (int i = 0; i < 12; ++i)
            orders.emplace_back(random);
        for (const awkward::Order& order : orders)
            Place(first, order);
        for (std::size_t i = orders.size(); i-- > 0;) {
            Place(second, orders[i]);
            if (i % 3 == 0) {
                Cancel(second, orders[i]);
                Place(second, orders[i]);
            }
        }
        HoldSomething(second);
        const std::vector<double> expected = FiguresOf(first);
        ExpectNear(FiguresOf(second), expected, 1e-9 * LargestOf(expected));
    }
}

} // namespace
} // namespace test::PortfolioOrdersTest
