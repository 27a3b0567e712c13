// Positions in the mode of positions alone, worked out by hand over the three prices of HandMarket: each is valued by
// its cost basis and a market price, and what it has lost by then stands apart.
#include "book/Portfolio.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "Road.h"
#include "kv7errors.h"

namespace test::PositionsOnlyTest {
namespace {

using Enums::OptionType;
using kv7im::CSpecPositionFutures;
using kv7im::CSpecPositionOptionsBase;
using kv7im::OptionSeriesParameters;
using kv7im::SpecialRiskPoints;
using testing::ElementsAre;

constexpr double Tolerance = 1e-5; // options are worth their exercise within a millionth
constexpr Isin Call750 = 10;       // worth 0, 50 and 150 over the grid, settled at 64
constexpr Isin Put850 = 11;        // worth 150, 50 and 0, settled at 70
constexpr Isin NextMonth = 2;
constexpr Isin AtSettlement = 3;
constexpr Isin Spread = 4;

/// FUT and the next month, and one series on FUT with two options.
plain::Market MarketOf(const OptionSeriesParameters& series, const std::string& mcs = "")
{
    plain::Market market{{HandBaseContract("BC", mcs)}, {HandFutures(), HandFutures("FUT2", NextMonth)}, {}, 0.0};
    market.series = {series};
    market.options = {HandOption(series.Code, Call750, OptionType::Call, 750.0, 64.0),
                      HandOption(series.Code, Put850, OptionType::Put, 850.0, 70.0)};
    return market;
}
OptionSeriesParameters Premium(OptionSeriesParameters series)
{
    series.marginStyle = Enums::MarginStyle::Equity;
    return series;
}
plain::Market AllInSpread(plain::Market market)
{
    for (FuturesSample& futures : market.futures)
        futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    return market;
}
plain::Market ThroughCurrency(plain::Market market, double radius)
{
    market.currencies = {{1, radius}};
    market.baseContracts[0].MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts[0].CurrencyId = 1;
    return market;
}

class Book
{
public:
    explicit Book(const plain::Market& market, const plain::Rules& rules = {})
        : repository(MakeRepository(market)), engine(*repository, rules)
    {}

    void Set(Isin isin, std::int64_t quantity, double price, double marketPrice, std::int64_t novQuantity = 0)
    {
        EXPECT_EQ(engine.portfolio.SetPosition_PositionsOnly(isin, quantity, price, marketPrice, novQuantity),
                  Z9ERR_OK);
    }
    void SetPlain(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity = 0)
    {
        EXPECT_EQ(engine.portfolio.SetPosition(isin, quantity, price, novQuantity), Z9ERR_OK);
    }
    [[nodiscard]] const CSpecPositionFutures& Futures(Isin isin = FUT)
    {
        return engine.portfolio.GetFuturesPositionByIsin(isin)->GetFuturesPositionSpec();
    }
    [[nodiscard]] const kv7im::RiskNodeFutures& Node(Isin isin = FUT) const
    {
        return engine.portfolio.GetFuturesPositionByIsin(isin)->GetOwnerRiskNode();
    }
    [[nodiscard]] const kv7im::RiskNodeOptionSeries& Series() const
    {
        return *engine.portfolio.GetFuturesPositionByIsin(FUT)->GetRiskNodeOptionSeriesByVFCode("S");
    }
    [[nodiscard]] double Margin() const { return engine.portfolio.GetVolatilityInitialMargin(); }

    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook engine;
};

std::vector<double> ValuesOf(const SpecialRiskPoints& points)
{
    return {points.pData(), points.pData() + SpecialRiskPoints::size()};
}
template <class Row>
std::vector<double> ValuesOf(const Row& row)
{
    std::vector<double> values(row.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = row[i];
    return values;
}
std::vector<double> PointsOf(const kv7im::RiskNodeBase& node)
{
    return ValuesOf(node.Volatility().GetSpecialRiskPoints());
}
std::vector<double> CentralRow(const kv7im::RiskNodeBase& node)
{
    return ValuesOf(node.Volatility().GetRisk().GetCentralRowOfVolatilityMatrix());
}

struct PriceCase
{
    std::int64_t quantity;
    double price;
    double marketPrice;
    double usable;
};

// A purchase counts at the lower of its price and the market's, a sale at the higher, a flat position as a purchase.
TEST(PositionsOnlyPrice, OfAFuturesIsTheMarketPriceOnceThePositionHasLost)
{
    Book book(MarketOf(HandSeries("S")));
    book.Set(FUT, 0, 0.0, 0.0);
    for (const auto& [quantity, price, marketPrice, usable] : {PriceCase{1, 790.0, 780.0, 780.0},
                                                               {1, 790.0, 795.0, 790.0},
                                                               {-1, 790.0, 795.0, 795.0},
                                                               {-1, 790.0, 780.0, 790.0},
                                                               {0, 790.0, 795.0, 790.0},
                                                               {0, 790.0, 780.0, 780.0}})
        EXPECT_EQ(book.Futures().UsableWAPrice_PositionsOnly(quantity, price, marketPrice), usable)
            << quantity << " at " << price << ", market " << marketPrice;
}

// Settled at 810. Without discount a purchase counts at 810 or its own higher price before the market is looked at, any
// other at 810 or its own lower price.
TEST(PositionsOnlyPrice, WithoutDiscountLooksAtTheSettlementPriceBeforeTheMarketPrice)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.futures[0].RealCalcPrice = 810.0;
    plain::Rules rules;
    rules.noFutDiscount = true;
    Book book(market, rules);
    book.Set(FUT, 0, 0.0, 0.0);
    for (const auto& [quantity, price, marketPrice, usable] : {PriceCase{1, 790.0, 900.0, 810.0},
                                                               {1, 790.0, 805.0, 805.0},
                                                               {1, 820.0, 900.0, 820.0},
                                                               {1, 820.0, 815.0, 815.0},
                                                               {-1, 820.0, 700.0, 810.0},
                                                               {-1, 820.0, 815.0, 815.0},
                                                               {-1, 790.0, 700.0, 790.0},
                                                               {0, 820.0, 900.0, 810.0},
                                                               {0, 820.0, 700.0, 700.0}})
        EXPECT_EQ(book.Futures().UsableWAPrice_PositionsOnly(quantity, price, marketPrice), usable)
            << quantity << " at " << price << ", market " << marketPrice;
}

TEST(PositionsOnlyPrice, OfAnOptionIsTheMarketPriceOnceThePositionHasLost)
{
    for (const auto& [quantity, price, marketPrice, usable] : {PriceCase{1, 60.0, 45.0, 45.0},
                                                               {1, 60.0, 70.0, 60.0},
                                                               {-1, 60.0, 70.0, 70.0},
                                                               {-1, 60.0, 45.0, 60.0},
                                                               {0, 60.0, 70.0, 60.0}})
        EXPECT_EQ(CSpecPositionOptionsBase::UsableWAPrice_PositionsOnly(quantity, price, marketPrice), usable)
            << quantity << " at " << price << ", market " << marketPrice;
}

// Traded at settlement its own price is an offset from 800; the market price is taken as it is. The stress points bear
// the offset itself, 2.5: at 700, an eighth of 800 below the settlement price, 697.5 is what is left.
TEST(PositionsOnlyPrice, OfAPositionAtSettlementIsAnOffsetForTheCellsOnly)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.baseContracts.push_back(HandBaseContract("TAS"));
    FuturesSample futures = HandFutures("FUT-T", AtSettlement, "TAS");
    futures.Attribute = Enums::InstrumentStatus::TAS;
    futures.TASBaseFutIsinID = FUT;
    market.futures.push_back(futures);
    Book book(market);
    book.Set(AtSettlement, 1, 2.5, 900.0);
    EXPECT_EQ(book.Futures(AtSettlement).UsableWAPrice_PositionsOnly(1, 2.5, 900.0), 802.5);
    EXPECT_EQ(book.Futures(AtSettlement).UsableWAPrice_PositionsOnly(1, 2.5, 801.0), 801.0);
    EXPECT_THAT(CellsOf(book.Node(AtSettlement).Volatility().GetRisk().Volatility()),
                ElementsAre(-102.5, -2.5, 97.5, -102.5, -2.5, 97.5, -102.5, -2.5, 97.5));
    EXPECT_EQ(PointsOf(book.Node(AtSettlement))[SpecialRiskPoints::PnL2D], 697.5);
}

struct LossCase
{
    std::int64_t quantity;
    double marketPrice;
    double loss;
};

// Bought or sold at 800, three of money a price unit: 2 x 10 x 3 either way, and never a gain.
TEST(PositionsOnlyLoss, IsWhatThePositionLosesAtTheMarketPriceAndNeverAGain)
{
    plain::Market market = MarketOf(HandSeries("S"));
    market.futures[0].MinStepPrice = 3.0;
    Book book(market);
    for (const auto& [quantity, marketPrice, loss] :
         {LossCase{2, 790.0, 60.0}, {2, 810.0, 0.0}, {-2, 810.0, 60.0}, {-2, 790.0, 0.0}, {0, 790.0, 0.0}}) {
        book.Set(FUT, quantity, 800.0, marketPrice);
        EXPECT_EQ(book.Node().GetTotalCumulativePerformance(), loss) << quantity << " at the market " << marketPrice;
        EXPECT_EQ(book.Futures().GetMarketPrice(), marketPrice);
        EXPECT_EQ(book.Futures().GetWAPrice(), 800.0);
    }
}

TEST(PositionsOnlyLoss, OfAnOptionGoesToItsSeriesAndOnIntoTheFuturesInSpread)
{
    for (const bool together : {false, true}) {
        Book book(MarketOf(together ? InSpread(HandSeries("S")) : HandSeries("S")));
        book.Set(Call750, -2, 40.0, 60.0); // 2 x 20
        book.Set(Put850, 3, 60.0, 45.0);   // 3 x 15
        book.Set(FUT, 1, 800.0, 793.0);    // 7
        EXPECT_NEAR(book.Series().GetTotalCumulativePerformance(), 85.0, Tolerance);
        EXPECT_NEAR(book.Node().GetTotalCumulativePerformance(), together ? 92.0 : 7.0, Tolerance);
        book.Set(Call750, 0, 40.0, 60.0); // a flat position has no part in it, whatever its prices
        EXPECT_NEAR(book.Series().GetTotalCumulativePerformance(), 45.0, Tolerance);
        EXPECT_NEAR(book.Node().GetTotalCumulativePerformance(), together ? 52.0 : 7.0, Tolerance);
    }
}

// Two bought at 800, market 790: from 790 they have -180, 20 and 220 over the grid. The stress points are taken from
// 800 and given the loss of 20 back: 2 (700 - 800) + 20 below, 2 (900 - 800) + 20 above, 20 in both charges and in the
// tails, which do not count otherwise here. Plainly it is 2 (700 - 800).
TEST(PositionsOnlyMargin, OfAPurchaseIsWhatItCanStillLose)
{
    Book book(MarketOf(HandSeries("S")));
    book.Set(FUT, 2, 800.0, 790.0);
    EXPECT_THAT(CentralRow(book.Node()), ElementsAre(-180.0, 20.0, 220.0));
    EXPECT_THAT(PointsOf(book.Node()), ElementsAre(20.0, 20.0, -180.0, -180.0, 220.0, 220.0, 20.0, 20.0));
    EXPECT_EQ(book.Margin(), 180.0);
    EXPECT_EQ(book.engine.Margins().delivery, 180.0);
    book.SetPlain(NextMonth, 2, 800.0);
    EXPECT_EQ(book.Margin(), 180.0 + 200.0);
}

// Two sold at 800, market 815: -2 (900 - 815).
TEST(PositionsOnlyMargin, OfASaleIsWhatItCanStillLose)
{
    Book book(MarketOf(HandSeries("S")));
    book.Set(FUT, -2, 800.0, 815.0);
    EXPECT_EQ(book.Margin(), 170.0);
    book.Set(FUT, -2, 800.0, 780.0); // nothing lost yet
    EXPECT_EQ(book.Margin(), 200.0);
}

// The charges count by the participant's ratio, and so does the loss that is given back in them: (0 + 20) x 0.5.
TEST(PositionsOnlyMargin, ThePaperLossInTheChargesTakesTheirRatio)
{
    plain::Rules rules;
    rules.shortChargeRatio = 0.5;
    Book book(MarketOf(HandSeries("S")), rules);
    book.Set(FUT, 2, 800.0, 790.0);
    EXPECT_THAT(PointsOf(book.Node()), ElementsAre(10.0, 20.0, -180.0, -180.0, 220.0, 220.0, 20.0, 10.0));
}

// Two calls sold at 40, market 60: -2 (150 - 60) at 900. A call bought at 60, market 45: 45 is left to lose. Its
// premium for the cells is the market price too.
TEST(PositionsOnlyMargin, OfAnOptionIsWhatItCanStillLose)
{
    for (const OptionSeriesParameters& series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
        Book book(MarketOf(series));
        book.Set(Call750, -2, 40.0, 60.0);
        EXPECT_NEAR(book.Margin(), 180.0, Tolerance);
        book.Set(Call750, 1, 60.0, 45.0);
        EXPECT_NEAR(book.Margin(), 45.0, Tolerance);
        EXPECT_NEAR(PointsOf(book.Series())[SpecialRiskPoints::PnL2U], 150.0 - 60.0 + 15.0, Tolerance);
        book.Set(Call750, 0, 0.0, 0.0);
        EXPECT_NEAR(book.Margin(), 0.0, Tolerance);
    }
}

struct ValueCase
{
    std::int64_t quantity;
    double price;
    double marketPrice;
    double first;
    double second;
};

// The call is settled at 64. The net option value asks for the paper loss of the change before, so it takes the market
// price one change late; for a sale only below 64, for a purchase only above.
TEST(PositionsOnlyOptionValue, TakesTheMarketPriceOneChangeAfterThePaperLoss)
{
    for (const auto& [quantity, price, marketPrice, first, second] :
         {ValueCase{-3, 50.0, 60.0, -192.0, -180.0}, // lost, and cheaper on the market
          {-3, 50.0, 70.0, -192.0, -192.0},          // lost, the settlement price is lower
          {-3, 50.0, 40.0, -192.0, -192.0},          // nothing lost
          {3, 80.0, 70.0, 192.0, 210.0},             // lost, and dearer on the market
          {3, 80.0, 60.0, 192.0, 192.0},             // lost, the settlement price is higher
          {3, 60.0, 70.0, 192.0, 192.0}}) {          // nothing lost
        for (const OptionSeriesParameters& series : {HandSeries("S"), InSpread(HandSeries("S"))}) {
            Book book(MarketOf(Premium(series)));
            const bool together = series.SpreadAspect == Enums::SpreadAspect::InSpread;
            book.Set(Call750, quantity, price, marketPrice, quantity);
            EXPECT_NEAR(book.Series().GetNOVj(), first, Tolerance) << quantity << ", market " << marketPrice;
            book.Set(Call750, quantity, price, marketPrice, quantity);
            EXPECT_NEAR(book.Series().GetNOVj(), second, Tolerance) << quantity << ", market " << marketPrice;
            EXPECT_NEAR(book.Node().GetNOVj(), together ? second : 0.0, Tolerance);
        }
    }
}

TEST(PositionsOnlyOptionValue, IsZeroWithoutPremiumsAndOfAFlatPosition)
{
    Book without(MarketOf(HandSeries("S")));
    without.Set(Call750, -3, 50.0, 60.0, -3);
    without.Set(Call750, -3, 50.0, 60.0, -3);
    EXPECT_EQ(without.Series().GetNOVj(), 0.0);
    Book with(MarketOf(Premium(HandSeries("S"))));
    with.Set(Call750, -3, 50.0, 60.0, -3);
    with.Set(Call750, 0, 50.0, 60.0, -3);
    EXPECT_NEAR(with.Series().GetNOVj(), 0.0, Tolerance);
}

// c = 0.25, no premiums. Bought at 800, market 790: the cell -180 loses a quarter more. The tails and charges of 20 are
// paper loss: 20 + 2 x 5 - 5 each. -180 below the market becomes -225; above it, 220 + 2 x 5 - 55.
TEST(PositionsOnlyMargin, UnderCurvatureGivesBackWhatThePaperLossCovers)
{
    Book book(ThroughCurrency(AllInSpread(MarketOf(HandSeries("S"), "GROUP")), 0.25));
    book.Set(FUT, 2, 800.0, 790.0);
    EXPECT_EQ(book.Margin(), 225.0);
    const kv7im::RiskNodeMCS& group = *book.engine.portfolio.GetRisksNodeOfLevelMCS("GROUP");
    EXPECT_THAT(ValuesOf(group.VolatilityRow()), ElementsAre(-225.0, 0.0, 0.0));
    // Without a window cut at (c + 1) x 20, which the paper loss itself just reaches.
    EXPECT_THAT(ValuesOf(group.VolatilityPoints()), ElementsAre(25.0, 25.0, -225.0, -225.0, 25.0, 25.0, 25.0, 25.0));
}

// The other month sold at 800 without a loss leaves 2 (800 - 900) = -200 where the first has 220: 20 in all there, and
// -180 + 200 below. With losses only between the months the gain of each is cut at its own paper loss: 20 of the first
// stays beside the -200.
TEST(PositionsOnlyMargin, OfMonthsThatCountByTheirLossesKeepsTheirPaperLoss)
{
    for (const bool lossesOnly : {false, true}) {
        plain::Rules rules;
        rules.calendar = lossesOnly ? Enums::SpreadMarginType::HalfNetting : Enums::SpreadMarginType::Netting;
        Book book(AllInSpread(MarketOf(HandSeries("S"))), rules);
        book.Set(FUT, 2, 800.0, 790.0);
        book.Set(NextMonth, -2, 800.0, 800.0);
        const kv7im::RiskNodeMMS& months = *book.engine.portfolio.GetRisksNodeOfLevelMMS("BC");
        EXPECT_EQ(months.GetTotalCumulativePerformance(), 20.0);
        if (lossesOnly)
            EXPECT_THAT(CentralRow(months), ElementsAre(-180.0, 20.0, 20.0 - 200.0));
        else
            EXPECT_THAT(CentralRow(months), ElementsAre(20.0, 20.0, 20.0));
        EXPECT_EQ(book.Margin(), lossesOnly ? 180.0 : 0.0);
    }
}

// A series that counts by its losses towards its futures: the put bought at 60, market 45, has 105, 5 and -45; the gain
// is cut at the paper loss of 15.
TEST(PositionsOnlyMargin, OfASeriesThatCountsByItsLossesKeepsItsPaperLoss)
{
    OptionSeriesParameters series = InSpread(HandSeries("S"));
    series.EnforceHalfNetting = true;
    Book book(MarketOf(series));
    book.Set(Put850, 1, 60.0, 45.0);
    EXPECT_THAT(CentralRow(book.Node()), testing::Pointwise(testing::DoubleNear(Tolerance), {15.0, 5.0, -45.0}));
    book.Set(Put850, 1, 60.0, 52.0); // the old view went out with the old paper loss
    EXPECT_THAT(CentralRow(book.Node()), testing::Pointwise(testing::DoubleNear(Tolerance), {8.0, -2.0, -52.0}));
    book.Set(Put850, 0, 0.0, 0.0);
    EXPECT_THAT(CentralRow(book.Node()), testing::Each(testing::DoubleNear(0.0, Tolerance)));
}

// Where nothing is lost and no curvature bends, futures cost the same in both modes.
TEST(PositionsOnlyMargin, IsThePlainOneWhereTheMarketPriceIsTheCostAndNothingDiffers)
{
    for (const std::string mcs : {"", "GROUP"})
        for (const auto type : {Enums::SpreadMarginType::Unused, Enums::SpreadMarginType::HalfNetting}) {
            plain::Rules rules;
            rules.calendar = rules.interContract = type;
            for (const plain::Market& market :
                 {MarketOf(HandSeries("S"), mcs), AllInSpread(MarketOf(HandSeries("S"), mcs))}) {
                Book alone(market, rules);
                Book plainly(market, rules);
                for (const auto& [isin, quantity] : {std::pair{FUT, 7}, {NextMonth, -4}, {FUT, -3}, {NextMonth, 0}}) {
                    alone.Set(isin, quantity, 812.0, 812.0);
                    plainly.SetPlain(isin, quantity, 812.0);
                    EXPECT_NEAR(alone.Margin(), plainly.Margin(), 1e-9);
                    EXPECT_NEAR(alone.engine.Margins().delivery, plainly.engine.Margins().delivery, 1e-9);
                }
            }
        }
}

TEST(PositionsOnlyBook, AnswersAsThePlainRoadDoesToWhatHoldsNoPosition)
{
    plain::Market market = MarketOf(HandSeries("S"));
    MultilegSample multileg;
    multileg.Isin = Spread;
    market.multilegs = {multileg};
    Book book(market);
    EXPECT_EQ(book.engine.portfolio.SetPosition_PositionsOnly(99, 1, 800.0, 790.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_TRUE(book.engine.portfolio.Empty());
    EXPECT_EQ(book.engine.portfolio.SetPosition_PositionsOnly(Spread, 1, 800.0, 790.0, 0), Z9ERR_OK);
    EXPECT_EQ(book.Margin(), 0.0);
    EXPECT_EQ(book.Futures().GetQuantity(), 0);
}

// A book that is taken anew is a plain one: quantities and prices stay, market prices and paper losses do not.
TEST(PositionsOnlyBook, TakenAnewIsAPlainOne)
{
    const auto refresh = [](Book& book) { return book.engine.portfolio.Refresh(); };
    const auto recalculate = [](Book& book) {
        return book.engine.portfolio.RecalcFuturesPositionInPortfolio(FUT, false);
    };
    const auto expectPlainAfter = [](const auto& takeAnew) {
        for (const std::string mcs : {"", "GROUP"}) {
            OptionSeriesParameters series = InSpread(HandSeries("S"));
            series.EnforceHalfNetting = true;
            const plain::Market market = ThroughCurrency(AllInSpread(MarketOf(series, mcs)), 0.25);
            Book book(market);
            book.Set(FUT, 2, 800.0, 790.0);
            book.Set(Call750, -3, 40.0, 60.0);
            EXPECT_EQ(takeAnew(book), Z9ERR_OK);
            Book plainly(market);
            plainly.SetPlain(FUT, 2, 800.0);
            plainly.SetPlain(Call750, -3, 40.0);
            EXPECT_NEAR(book.Margin(), plainly.Margin(), Tolerance);
            EXPECT_EQ(book.Futures().GetWAPrice(), 800.0);
            EXPECT_EQ(book.Futures().GetMarketPrice(), 0.0);
            EXPECT_EQ(book.Node().GetTotalCumulativePerformance(), 0.0);
            EXPECT_EQ(book.Series().GetTotalCumulativePerformance(), 0.0);
        }
    };
    expectPlainAfter(refresh);
    expectPlainAfter(recalculate);
}

// An order takes the plain road: the paper losses of all nodes stay, the margin is the plain one of what the nodes
// hold. When it is cancelled and the mode of positions alone looks again, all is as before.
TEST(PositionsOnlyBook, AnOrderLeavesThePaperLossesWhereTheyAre)
{
    for (const Isin isin : {FUT, Call750}) {
        Book book(ThroughCurrency(AllInSpread(MarketOf(Premium(InSpread(HandSeries("S"))), "GROUP")), 0.25));
        const auto look = [&] { book.Set(FUT, 2, 800.0, 790.0); };
        book.Set(Call750, -3, 40.0, 60.0, -3);
        look();
        const double before = book.Margin();
        const kv7im::RiskNodeMMS& months = *book.engine.portfolio.GetRisksNodeOfLevelMMS("BC");

        for (const int quantity : {5, -5}) {
            EXPECT_EQ(book.engine.portfolio.ChangeOrder(isin, Buy(801.0), quantity), Z9ERR_OK);
            EXPECT_NEAR(book.Series().GetTotalCumulativePerformance(), 60.0, Tolerance);
            EXPECT_NEAR(book.Node().GetTotalCumulativePerformance(), 80.0, Tolerance);
            EXPECT_NEAR(months.GetTotalCumulativePerformance(), 80.0, Tolerance);
        }
        look();
        EXPECT_NEAR(book.Margin(), before, Tolerance);
    }
}

// The put bought at 60, market 45, gives its futures 15, 5 and -45. An order to buy the call at 60 may lose 60, 10 and
// 0, which makes 45, -5 and -45 of the series. Its plain view was 0, 0 and -45 and is 0, -5 and -45 now; that
// difference is what the futures gets, though the gain of 5 was there before.
TEST(PositionsOnlyBook, AnOrderMovesThePlainViewOfASeriesThatCountsByItsLosses)
{
    OptionSeriesParameters series = InSpread(HandSeries("S"));
    series.EnforceHalfNetting = true;
    Book book(MarketOf(series));
    book.Set(Put850, 1, 60.0, 45.0);
    EXPECT_EQ(book.engine.portfolio.ChangeOrder(Call750, Buy(60.0), 1), Z9ERR_OK);
    EXPECT_THAT(CentralRow(book.Node()), testing::Pointwise(testing::DoubleNear(Tolerance), {15.0, 0.0, -45.0}));
    EXPECT_EQ(book.engine.portfolio.ChangeOrder(Call750, Buy(60.0), -1), Z9ERR_OK);
    EXPECT_THAT(CentralRow(book.Node()), testing::Pointwise(testing::DoubleNear(Tolerance), {15.0, 5.0, -45.0}));
}

// What the mode has left behind in the nodes' own memory of rows and views does not reach a plain change.
TEST(PositionsOnlyBook, EmptiedItIsAsGoodForThePlainModeAsANewOne)
{
    for (const std::string mcs : {"", "GROUP"})
        for (const auto aspect : {Enums::SpreadAspect::InSpread, Enums::SpreadAspect::NotInSpread}) {
            const plain::Market market = RoadMarket(mcs, false, aspect);
            plain::Rules rules;
            rules.clearings = 1;
            Book used(market, rules);
            Book fresh(market, rules);
            const auto both = [&](Isin isin, std::int64_t quantity, double price) {
                used.SetPlain(isin, quantity, price, quantity);
                fresh.SetPlain(isin, quantity, price, quantity);
                const double scale = 1.0 + fresh.Margin();
                EXPECT_NEAR(used.Margin(), fresh.Margin(), 1e-9 * scale) << isin;
                EXPECT_NEAR(used.engine.Margins().delivery, fresh.engine.Margins().delivery, 1e-9 * scale) << isin;
            };
            for (Isin isin = 101; isin <= 112; ++isin) { // each series after a plain change, which keeps a view
                used.SetPlain(isin, 2, 60.0, 2);
                used.SetPlain(isin, 0, 0.0, 0);
                used.Set(isin, isin % 3 == 0 ? -4 : 4, 60.0, 50.0, 4);
            }
            used.Set(FUT, 7, 1000.0, 990.0);
            EXPECT_GT(used.Margin(), 0.0);
            for (int round = 0; round < 2; ++round) { // a second time, so that no paper loss is remembered
                for (Isin isin = 101; isin <= 112; ++isin)
                    used.Set(isin, 0, 0.0, 0.0);
                used.Set(FUT, 0, 0.0, 0.0);
            }
            for (Isin isin = 101; isin <= 112; ++isin)
                both(isin, isin % 2 == 0 ? -3 : 5, 60.0);
            both(FUT, -2, 1010.0);
        }
}

} // namespace
} // namespace test::PositionsOnlyTest
