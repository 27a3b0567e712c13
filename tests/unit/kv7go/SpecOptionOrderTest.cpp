// Orders of an option as a risk, worked out by hand over the three prices of HandMarket.
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace test::SpecOptionOrderTest {
namespace {

using namespace kv7im;
using Enums::OptionType;
using Direction = KeyPriceType::Direction;
using Row = std::vector<double>;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr double Tolerance = 1e-6;
constexpr double InverseRootOfTwoPi = 0.3989423; // as the models have it
constexpr double Outside = std::numeric_limits<double>::quiet_NaN();

constexpr Isin Call650 = 10; // worth  50, 150, 250 over 700, 800 and 900
constexpr Isin Call750 = 11; //         0,  50, 150
constexpr Isin Call825 = 12; //         0,   0,  75
constexpr Isin Put850 = 13;  //       150,  50,   0
constexpr Isin Call800 = 14; //         0,   0, 100

/// One futures and one series of five options. Parameters may be changed until the first option is asked for.
class HandOptions
{
public:
    HandOptions() : market{{HandBaseContract()}, {HandFutures()}, {}, 0.75, {HandSeries("S")}, {}}
    {
        const auto add = [this](Isin isin, OptionType type, double strike) {
            market.options.push_back(HandOption("S", isin, type, strike));
        };
        add(Call650, OptionType::Call, 650.0);
        add(Call750, OptionType::Call, 750.0);
        add(Call825, OptionType::Call, 825.0);
        add(Put850, OptionType::Put, 850.0);
        add(Call800, OptionType::Call, 800.0);
    }

    [[nodiscard]] const CSpecOption& Option(Isin isin)
    {
        if (m_repository == nullptr) m_repository = MakeRepository(market);
        return *m_repository->GetOption(AccessByStatus::eCurrent, isin);
    }
    [[nodiscard]] Risk Orders(Isin isin, const OrdersMap& orders)
    {
        return Option(isin).TransformToOrder(orders, Level);
    }
    [[nodiscard]] Risk Order(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        return Orders(isin, {{key, SOrderInfo(SOrderInfo::InitializationType::FullFill, 0, quantity)}});
    }
    [[nodiscard]] OptionSeriesParameters& Series() { return market.series[0]; }

    plain::Market market;

private:
    std::unique_ptr<InstrumentsRepository> m_repository;
};

Row CellsOf(const RiskRowWrapper& row)
{
    Row cells;
    for (std::size_t j = 0; j < row.size(); ++j)
        cells.push_back(row[j]);
    return cells;
}

/// Results over the prices at the volatility as it is.
Row ResultsOf(const Risk& risk) { return CellsOf(risk.GetRisk().GetCentralRowOfVolatilityMatrix()); }

MATCHER_P(Are, expected, "")
{
    if (arg.size() != expected.size()) return false;
    for (std::size_t i = 0; i < arg.size(); ++i)
        if (std::isnan(expected[i]) ? !std::isnan(arg[i]) : !(std::abs(arg[i] - expected[i]) < Tolerance)) return false;
    return true;
}

// Two calls bid at 60: 2 (0 - 60), 2 (50 - 60), and no gain of 2 (150 - 60). A put bid at 60: no gain, -10, -60.
TEST(SpecOptionOrder, APurchaseLosesWhereTheOptionIsWorthLessThanItsPrice)
{
    HandOptions hand;
    EXPECT_THAT(ResultsOf(hand.Order(Call750, Buy(60.0), 2)), Are(Row{-120, -20, 0}));
    EXPECT_THAT(ResultsOf(hand.Order(Put850, Buy(60.0), 1)), Are(Row{0, -10, -60}));
}

// Two calls offered at 60: no gains, 2 (60 - 150). A put offered at 60: 60 - 150, no gains.
TEST(SpecOptionOrder, ASaleLosesWhereTheOptionIsWorthMoreThanItsPrice)
{
    HandOptions hand;
    EXPECT_THAT(ResultsOf(hand.Order(Call750, Sell(60.0), 2)), Are(Row{0, 0, -180}));
    EXPECT_THAT(ResultsOf(hand.Order(Put850, Sell(60.0), 1)), Are(Row{-90, 0, 0}));
}

// Neither turned round nor bounded by its premium: the losses are those of a purchase.
TEST(SpecOptionOrder, AnOrderWithoutASideLosesLikeAPurchase)
{
    HandOptions hand;
    EXPECT_THAT(ResultsOf(hand.Order(Call750, KeyOf(Direction::Undefined, 60.0), 1)), Are(Row{-60, -10, 0}));
}

// Nobody is asked whether the order is a leg: in an option every kind counts the same.
TEST(SpecOptionOrder, TheKindOfTheOrderPlaysNoPart)
{
    HandOptions hand;
    for (const auto type : {KeyPriceType::Type::MultiLeg, KeyPriceType::Type::FirstLeg, KeyPriceType::Type::SecondLeg,
                            KeyPriceType::Type::Undefined})
        EXPECT_THAT(ResultsOf(hand.Order(Call750, KeyOf(Direction::Sell, 60.0, type), 1)), Are(Row{0, 0, -90}));
}

// Below zero nothing is paid: a purchase at -5 cannot lose, a sale loses 5 more than the option is worth.
TEST(SpecOptionOrder, APriceBelowZeroIsGoodForTheBuyer)
{
    HandOptions hand;
    EXPECT_THAT(ResultsOf(hand.Order(Call750, Buy(-5.0), 3)), Are(Row{0, 0, 0}));
    EXPECT_THAT(ResultsOf(hand.Order(Call750, Sell(-5.0), 1)), Are(Row{-5, -55, -155}));
}

// One bid at 60: -60, -10, 0. Two offers at 40: nothing, 2 (40 - 50), 2 (40 - 150). No offer pays for the bid.
TEST(SpecOptionOrder, OrdersOfSeveralPricesAddUpByTheirLosses)
{
    HandOptions hand;
    const auto quantity = [](std::int64_t value) {
        return SOrderInfo(SOrderInfo::InitializationType::FullFill, 0, value);
    };
    const Risk both = hand.Orders(Call750, {{Buy(60.0), quantity(1)}, {Sell(40.0), quantity(2)}});
    EXPECT_THAT(ResultsOf(both), Are(Row{-60, -30, -220}));
    const Risk back = hand.Orders(Call750, {{Buy(60.0), quantity(-1)}, {Sell(40.0), quantity(-2)}});
    EXPECT_THAT(ResultsOf(back), Are(Row{60, 30, 220}));
    EXPECT_THAT(ResultsOf(hand.Orders(Call750, {{Buy(60.0), quantity(0)}})), Are(Row{0, 0, 0}));
}

// Ten money a price unit: MinStepPrice of ten steps.
TEST(SpecOptionOrder, TheSeriesTurnsPricesIntoMoney)
{
    HandOptions hand;
    hand.Series().MinStepPrice = 10.0 * hand.Series().MinStep;
    EXPECT_THAT(ResultsOf(hand.Order(Call750, Sell(60.0), 2)), Are(Row{0, 0, -1800}));
}

// At 800 a call at 800 is worth phi(0) w: 2.5 phi, 5 phi and 7.5 phi in the three scenarios, that is 0.997, 1.995 and
// 2.992. Bid at 2 it loses 1.003 and 0.005 and gains; offered at 2 it loses 0.992 in the last.
TEST(SpecOptionOrder, EveryScenarioHasItsOwnLoss)
{
    HandOptions hand;
    hand.Series().A_Bach = 10.0;
    hand.Series().VolatilityRisk = 0.5;
    const Risk bid = hand.Order(Call800, Buy(2.0), 1);
    const Risk offer = hand.Order(Call800, Sell(2.0), 1);
    const double bidLosses[] = {2.5 * InverseRootOfTwoPi - 2.0, 5.0 * InverseRootOfTwoPi - 2.0, 0.0};
    const double offerLosses[] = {0.0, 0.0, 2.0 - 7.5 * InverseRootOfTwoPi};
    for (std::size_t scenario = 0; scenario < 3; ++scenario) {
        EXPECT_NEAR(CellsOf(bid.GetRisk().Volatility(scenario))[1], bidLosses[scenario], Tolerance);
        EXPECT_NEAR(CellsOf(offer.GetRisk().Volatility(scenario))[1], offerLosses[scenario], Tolerance);
    }
}

// Add-ons of 10 either way at the ends of the grid: a call at 650 gains 10 at 900 and loses 10 at 700. The bid at 60
// loses 10 there by price, 50 - 60, and 10 by the stress: the premium bounds the one and not the other. The offer loses
// what the bid gains.
TEST(SpecOptionOrder, TheStressOfTheRatesAddsItsLossesOnly)
{
    HandOptions hand;
    hand.market.futures[0].MRAddOnUp = hand.market.futures[0].MRAddOnDown = 10.0 / 800.0;
    const Risk bid = hand.Order(Call650, Buy(60.0), 1);
    EXPECT_THAT(ResultsOf(bid), Are(Row{-10, 0, 0}));
    EXPECT_THAT(CellsOf(bid.GetRisk().InterestRateUp()), Are(Row{0, 0, 0}));
    EXPECT_THAT(CellsOf(bid.GetRisk().InterestRateDown()), Are(Row{-10, 0, 0}));
    const Risk offer = hand.Order(Call650, Sell(60.0), 1);
    EXPECT_THAT(ResultsOf(offer), Are(Row{0, -90, -190}));
    EXPECT_THAT(CellsOf(offer.GetRisk().InterestRateUp()), Are(Row{0, 0, -10}));
    EXPECT_THAT(CellsOf(offer.GetRisk().InterestRateDown()), Are(Row{0, 0, 0}));
}

// Half of the spot at the rate of 0.125 is a charge of 50: of an offered call above, of an offered put below. The
// stress points at 700 and 900 are those of the grid: 60 - 150 for the call at 900. Its right tail at 1139.0625 is
// worth 389.0625 and counts by 0.75 x 100 / 339.0625.
TEST(SpecOptionOrder, ChargesAreForSalesAndTheTailsCountByTheirCover)
{
    HandOptions hand;
    hand.market.baseContracts[0].ShortOptionMinimumCharge = 0.5;
    const auto points = [](const Risk& risk) {
        const double* const all = risk.GetSpecialRiskPoints().pData();
        return Row(all, all + SpecialRiskPoints::size());
    };
    const double tail = (60.0 - 389.0625) * 75.0 / 339.0625;
    EXPECT_THAT(points(hand.Order(Call750, Sell(60.0), 1)), Are(Row{0, 0, 0, 0, -90, -90, tail, -50}));
    // The left tail at 800 - (3 - 0.375 + 0.015625) x 100 = 535.9375 finds the call worthless: -60 by 75 / 264.0625.
    EXPECT_THAT(points(hand.Order(Call750, Buy(60.0), 1)), Are(Row{0, -60.0 * 75.0 / 264.0625, -60, -60, 0, 0, 0, 0}));
    EXPECT_NEAR(hand.Order(Put850, Sell(60.0), 2).GetSpecialRiskPoints().GetDownRisk(), -100.0, Tolerance);
    EXPECT_EQ(hand.Order(Put850, Sell(60.0), 2).GetSpecialRiskPoints().GetUpRisk(), 0.0);
}

// Deliveries at 750 (in scope: 700 and 800), 800 (800) and 850 (800 and 900). A call at 825 is exercised at 850 only:
//   bid at 10      750: -10, -10, -     800: -, -10, -     850: -, 800 - 825 - 10 = -35, no gain of 65
//   offer at 10    750:   0,   0, -     800: -,   0, -     850: -, 0, 10 - 75
TEST(SpecOptionOrder, ADeliveryMayCostABuyerMoreThanThePremium)
{
    HandOptions hand;
    hand.Series() = Deliverable(hand.Series());
    const Risk bid = hand.Order(Call825, Buy(10.0), 1);
    ASSERT_EQ(bid.GetRisk().Expiration().RowsCount(), 3U);
    EXPECT_THAT(CellsOf(bid.GetRisk().Expiration()[0]), Are(Row{-10, -10, Outside}));
    EXPECT_THAT(CellsOf(bid.GetRisk().Expiration()[1]), Are(Row{Outside, -10, Outside}));
    EXPECT_THAT(CellsOf(bid.GetRisk().Expiration()[2]), Are(Row{Outside, -35, 0}));
    EXPECT_THAT(ResultsOf(bid), Are(Row{-10, -10, 0})) << "by price it is the premium";
    const Risk offer = hand.Order(Call825, Sell(10.0), 1);
    EXPECT_THAT(CellsOf(offer.GetRisk().Expiration()[0]), Are(Row{0, 0, Outside}));
    EXPECT_THAT(CellsOf(offer.GetRisk().Expiration()[1]), Are(Row{Outside, 0, Outside}));
    EXPECT_THAT(CellsOf(offer.GetRisk().Expiration()[2]), Are(Row{Outside, 0, -65}));
}

// Sub-points at 700, 750 and so on to 900 stand behind the three prices of the grid.
TEST(SpecOptionOrder, AnOrderHasTheSubPointsOfItsSeries)
{
    HandOptions hand;
    hand.Series().SubRisk = true;
    const Risk bid = hand.Order(Call750, Buy(60.0), 1);
    EXPECT_THAT(ResultsOf(bid), Are(Row{-60, -10, 0, -60, -60, -10, 0, 0}));
    const Risk offer = hand.Order(Call750, Sell(60.0), 1);
    EXPECT_THAT(ResultsOf(offer), Are(Row{0, 0, -90, 0, 0, 0, -40, -90}));
    EXPECT_EQ(offer.GetRisk().Volatility().Binding(), &hand.Option(Call750).VirtFutures->GetBindingArray(Level));
}

// What comes in goes out to the last bit: the cells of an order are quantity times a loss.
TEST(SpecOptionOrder, ACancellationIsTheOppositeOfItsOrder)
{
    HandOptions hand;
    hand.Series() = Deliverable(hand.Series());
    hand.Series().SubRisk = true;
    for (const Isin isin : {Call650, Call750, Call825, Put850, Call800})
        for (const KeyPriceType& key : {Buy(61.7), Sell(13.03), KeyOf(Direction::Undefined, 44.1)}) {
            Risk risk = hand.Order(isin, key, 7);
            risk += hand.Order(isin, key, -7);
            EXPECT_EQ(risk.GetRisk().Volatility().sum(), 0.0);
            EXPECT_EQ(risk.GetRisk().InterestRate().sum(), 0.0);
            EXPECT_EQ(risk.GetRisk().VolatilityMismatch().sum(), 0.0);
            for (std::size_t row = 0; row < risk.GetRisk().Expiration().RowsCount(); ++row)
                for (const double cell : CellsOf(risk.GetRisk().Expiration()[row]))
                    EXPECT_TRUE(std::isnan(cell) || cell == 0.0);
            EXPECT_EQ(risk.GetSpecialRiskPoints().min(), 0.0);
        }
}

} // namespace
} // namespace test::SpecOptionOrderTest
