// Figures of clients with orders, and of clients whose parameters change, through the exported functions: against
// numbers worked by hand, and against the plain model.
//
// The hand market: see HandContract and TwoMoneySeries. One contract at 1000 has the results -200, 0, +200; an order
// counts with its losses only. Limits never bind, so stress points are worn down to the edges of the grid.
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck.h>

#include "ExampleBook.h"
#include "LibraryHost.h"
#include "MarginMarket.h"
#include "RandomMarket.h"

namespace test::OrderFiguresTest {
namespace {

using namespace quindal::test;
using enum Enums::SpreadMarginType;

constexpr double Tolerance = 1e-9;
constexpr bool Buy = true;
constexpr bool Sell = false;

plain::Rules RulesOf(Enums::SpreadMarginType calendar, bool noFutDiscount = false)
{
    plain::Rules rules;
    rules.calendar = calendar;
    rules.noFutDiscount = noFutDiscount;
    return rules;
}

class OrderFigures : public LibraryHost
{
protected:
    void Start(const plain::Market& market)
    {
        StartAll();
        InsertMarket(calc, market);
        ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    }
    void StartByDownload(const plain::Market& market)
    {
        Serve(MarketDocument(market));
        StartAll();
        ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
        ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    }
    /// A client whose deliveries weigh one half.
    void Register(const std::string& client, const plain::Rules& rules = {})
    {
        ASSERT_EQ(RegisterClient(calc, client, rules), 0);
    }

    calls::Margins Set(const std::string& client, const std::string& instrument, const plain::Holding& holding)
    {
        calls::Margins margins;
        EXPECT_EQ(SetHolding(calc, client, instrument, holding, margins), 0) << instrument;
        return margins;
    }
    calls::Margins Place(const std::string& client, const std::string& instrument, bool buy, std::int64_t quantity,
                         double price)
    {
        calls::Margins margins;
        EXPECT_EQ(PlaceOrder(calc, client, instrument, buy, price, quantity, margins), 0) << instrument;
        EXPECT_EQ(margins.firm, 0.0);
        EXPECT_EQ(margins.account, 0.0);
        return margins;
    }
    /// The margin of one order in a client that has nothing else; it is taken out again.
    double Alone(const std::string& client, const std::string& instrument, bool buy, std::int64_t quantity,
                 double price)
    {
        const calls::Margins margins = Place(client, instrument, buy, quantity, price);
        EXPECT_EQ(Place(client, instrument, buy, -quantity, price).part, 0.0);
        return margins.volatility;
    }
};

TEST_F(OrderFigures, AnOrderCostsWhatItsContractsWouldLose)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    Register("AA01001");
    Register("AA01002", RulesOf(Netting, true));
    EXPECT_NEAR(Alone("AA01001", "F1", Buy, 3, 1000.0), 600.0, Tolerance);  // (900 - 1000) * 3 * 2
    EXPECT_NEAR(Alone("AA01001", "F1", Buy, 3, 1010.0), 660.0, Tolerance);  // (900 - 1010) * 6
    EXPECT_NEAR(Alone("AA01001", "F1", Buy, 3, 990.0), 540.0, Tolerance);   // (900 - 990) * 6
    EXPECT_NEAR(Alone("AA01001", "F1", Sell, 3, 1010.0), 540.0, Tolerance); // (1010 - 1100) * 6
    EXPECT_NEAR(Alone("AA01001", "F1", Sell, 3, 990.0), 660.0, Tolerance);  // (990 - 1100) * 6
    EXPECT_NEAR(Alone("AA01001", "F1", Buy, 3, 0.0), 600.0, Tolerance) << "at the calculated price";
    // Without discount nothing is bought below the settlement price, or sold above it.
    EXPECT_NEAR(Alone("AA01002", "F1", Buy, 3, 990.0), 600.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "F1", Buy, 3, 1010.0), 660.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "F1", Sell, 3, 1010.0), 600.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "F1", Sell, 3, 990.0), 660.0, Tolerance);
}

// Long 3: -600, 0, 600. A sell of 3 that may never be executed: 0, 0, -600. Then a buy of 2: -400, 0, 0.
TEST_F(OrderFigures, AnOrderAddsItsLossAndRelievesNothing)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    Register("AA01001");
    EXPECT_NEAR(Set("AA01001", "F1", {3, 1000.0}).volatility, 600.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Sell, 3, 1000.0).volatility, 600.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Buy, 2, 1000.0).volatility, 1000.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Sell, 4, 1000.0).volatility, 1000.0, Tolerance); // -1000, 0, -800
    EXPECT_NEAR(Place("AA01001", "F1", Sell, -7, 1000.0).volatility, 1000.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Buy, -2, 1000.0).volatility, 600.0, Tolerance);
    EXPECT_EQ(Set("AA01001", "F1", {}).part, 0.0);
}

// Executed: the order goes out and the contracts come in. Between the two both count.
TEST_F(OrderFigures, AnOrderThatIsExecutedCostsAsAPositionWhatItDidAsAnOrder)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    Register("AA01001");
    EXPECT_NEAR(Place("AA01001", "F1", Buy, 3, 1010.0).part, 660.0, Tolerance);
    EXPECT_NEAR(Set("AA01001", "F1", {3, 1010.0}).part, 1320.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Buy, -3, 1010.0).part, 660.0, Tolerance);
    // Executed in part: two contracts came at 1010, one is still wanted.
    EXPECT_NEAR(Set("AA01001", "F1", {2, 1010.0}).part, 440.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Buy, 1, 1010.0).part, 660.0, Tolerance);
}

// The price is an offset from the calculation price, 1000. The price 0.0 stands for the calculated price as in every
// other futures, which makes an offset of 1000: (900 - 2000) * 2. What rounds to no offset says so.
TEST_F(OrderFigures, AnOrderThatTradesAtSettlementIsPricedByItsOffset)
{
    plain::Market market{{HandContract("BC"), HandContract("T")}, {TwoMoneyFutures("F1", "BC", 1)}, {}};
    market.futures.push_back(TwoMoneyFutures("T1", "T", 2));
    market.futures.back().Attribute = Enums::InstrumentStatus::TAS;
    market.futures.back().TASBaseFutIsinID = 1;
    Start(market);
    Register("AA01001");
    Register("AA01002", RulesOf(Netting, true));
    EXPECT_NEAR(Alone("AA01001", "T1", Buy, 1, 10.0), 220.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "T1", Buy, 1, -10.0), 180.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "T1", Sell, 1, 10.0), 180.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "T1", Sell, 1, -10.0), 220.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "T1", Buy, 1, 0.000001), 200.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "T1", Buy, 1, 0.0), 2200.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "T1", Buy, 1, -10.0), 200.0, Tolerance) << "not below the settlement price";
    EXPECT_NEAR(Set("AA01001", "T1", {1, 10.0}).volatility, 220.0, Tolerance);
}

/// A call at 950 and one at 1050 in a series in spread, in one alone, and in one of which only losses reach the
/// futures.
plain::Market HandOptions()
{
    plain::Market market{{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}};
    market.series = {TwoMoneySeries("IN", "F1"), TwoMoneySeriesAlone("OUT", "F1"), TwoMoneySeries("HALF", "F1")};
    market.series.back().EnforceHalfNetting = true;
    Isin isin = 100;
    for (const std::string series : {"IN", "OUT", "HALF"})
        for (const double strike : {950.0, 1050.0})
            market.options.push_back(NamedOption(series + (strike < 1000.0 ? "-C950" : "-C1050"), series,
                                                 Enums::OptionType::Call, strike, strike < 1000.0 ? 60.0 : 5.0,
                                                 ++isin));
    return market;
}

// A call at 950 is worth 0, 50 and 150. Bought for 60 it would bring -60, -10, 90, sold the opposite; two of them four
// times that in money. Far out, at 1331, the seller loses (381 - 60) * 4 * 0.75 * 100 / 331 = 290.94, which is less.
TEST_F(OrderFigures, AnOrderInAnOptionCostsThePremiumOrTheMove)
{
    Start(HandOptions());
    Register("AA01001");
    for (const char* option : {"IN-C950", "OUT-C950", "HALF-C950"}) {
        SCOPED_TRACE(option);
        EXPECT_NEAR(Alone("AA01001", option, Buy, 2, 60.0), 240.0, Tolerance);
        EXPECT_NEAR(Alone("AA01001", option, Sell, 2, 60.0), 360.0, Tolerance);
        EXPECT_NEAR(Alone("AA01001", option, Buy, 2, 0.0), 240.0, Tolerance) << "at the settlement price";
    }
}

// A long futures: -200, 0, 200. A call at 1050, sold for 5, would bring 10, 10, -90; as an order the premium is not
// earned: 0, 0, -90. In spread -200, 0, 110. Alone, far out: 276 * 2 * 0.75 * 100 / 331 = 125.08 on top.
TEST_F(OrderFigures, ASellOfACoveredCallEarnsItsPremiumOnlyWhenItIsExecuted)
{
    Start(HandOptions());
    const double farOut = 276.0 * 2.0 * 0.75 * 100.0 / 331.0;
    const struct
    {
        const char* option;
        double ordered;
        double held;
    } cases[] = {
        {"IN-C1050", 200.0, 190.0}, {"OUT-C1050", 200.0 + farOut, 200.0 + farOut}, {"HALF-C1050", 200.0, 200.0}};
    int number = 0;
    for (const auto& [option, ordered, held] : cases) {
        SCOPED_TRACE(option);
        const std::string client = "AA0100" + std::to_string(++number);
        Register(client);
        Set(client, "F1", {1, 1000.0});
        EXPECT_NEAR(Place(client, option, Sell, 1, 5.0).volatility, ordered, Tolerance);
        EXPECT_NEAR(Place(client, option, Sell, -1, 5.0).volatility, 200.0, Tolerance);
        EXPECT_NEAR(Set(client, option, {-1, 5.0}).volatility, held, Tolerance);
    }
}

/// Two months, at 1000 and 1020, the far one settled at 1022, and the spread between them.
plain::Market HandSpread()
{
    plain::Market market{
        {HandContract("BC")}, {TwoMoneyFutures("BC-1", "BC", 1), TwoMoneyFutures("BC-2", "BC", 2, 1020.0, 1.0)}, {}};
    market.futures.back().RealCalcPrice = 1022.0;
    market.multilegs = {HandMultileg("BC-1-2", 3, market.futures.front(), market.futures.back())};
    return market;
}

// The grids stand 20 apart. To buy the spread for 25 loses 5 at every price, 10 in money; to sell it for 25 loses
// nothing. Without discount the distance at settlement, 22, counts for a price that is better: to buy the spread at 21
// loses 2, to sell it at 21 nothing.
TEST_F(OrderFigures, ASpreadOrderCostsItsDistanceFromTheGridsWhereMonthsNet)
{
    Start(HandSpread());
    Register("AA01001", RulesOf(Netting));
    Register("AA01002", RulesOf(Netting, true));
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 10.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 3, 25.0), 30.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Sell, 1, 25.0), 0.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 15.0), 0.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Sell, 1, 15.0), 10.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 21.0), 2.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "BC-1-2", Buy, 1, 21.0), 4.0, Tolerance);
    EXPECT_NEAR(Alone("AA01002", "BC-1-2", Buy, 1, 25.0), 10.0, Tolerance);  // (20 - 22) - (25 - 22)
    EXPECT_NEAR(Alone("AA01002", "BC-1-2", Sell, 1, 21.0), 0.0, Tolerance);  // (21 - 22) + 2 is a gain
    EXPECT_NEAR(Alone("AA01002", "BC-1-2", Sell, 1, 15.0), 10.0, Tolerance); // (15 - 22) + 2
}

// Leg by leg. To buy the spread at 25: the near leg is sold at its settlement price 1000: 0, 0, -200; the far one is
// bought at 1025 on the grid 920, 1020, 1120: -210, -10, 0. Together -210, -10, -200. To sell it at 25: -200, 0, 0 and
// 0, 0, (1025 - 1120) * 2 = -190. Without discount the far leg is bought at 15 for 1022 and not for 1015: -204 instead
// of -190.
TEST_F(OrderFigures, ASpreadOrderCostsBothLegsWhereMonthsDoNotNet)
{
    Start(HandSpread());
    Register("AA01001", RulesOf(HalfNetting));
    Register("AA01002", RulesOf(HalfNetting, true));
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 210.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Sell, 1, 25.0), 200.0, Tolerance);
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 15.0), 200.0, Tolerance); // of the near leg
    EXPECT_NEAR(Alone("AA01002", "BC-1-2", Buy, 1, 15.0), 204.0, Tolerance);
}

// Half netting is enforced by either leg, and by a leg out of the spread, which is margined by itself besides: 200 of
// the near leg and 210 of the far one. A client without a rule between months pays nothing, as long as rates stand
// still.
TEST_F(OrderFigures, ASpreadOrderIsTakenLegByLegWhereALegAsksForIt)
{
    for (const std::size_t leg : {0U, 1U}) {
        SCOPED_TRACE(leg);
        plain::Market market = HandSpread();
        market.futures[leg].EnforceIMSHalfNetting = true;
        Start(market);
        Register("AA01001", RulesOf(Netting));
        Register("AA01002", RulesOf(Unused));
        EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 210.0, Tolerance);
        EXPECT_NEAR(Alone("AA01002", "BC-1-2", Buy, 1, 25.0), 210.0, Tolerance);
        ASSERT_EQ(ClearAll(calc), 0);
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
    for (const std::size_t leg : {0U, 1U}) {
        SCOPED_TRACE(leg);
        plain::Market market = HandSpread();
        market.futures[leg].SpreadAspect = Enums::SpreadAspect::NotInSpread;
        Start(market);
        Register("AA01001", RulesOf(Netting));
        EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 410.0, Tolerance);
        ASSERT_EQ(ClearAll(calc), 0);
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
    Start(HandSpread());
    Register("AA01001", RulesOf(Unused));
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 0.0, Tolerance);
}

// A spread that the download makes of two near and three far contracts, both bought: to buy it for 25, leg by leg,
// loses -400, 0, 0 and (920 - 1025) * 6, (1020 - 1025) * 6, 0.
TEST_F(OrderFigures, ASpreadOfADownloadTradesItsLegsByTheirRatios)
{
    plain::Market market = HandSpread();
    market.multilegs.front().FirstRatio = 2;
    market.multilegs.front().SecondRatio = 3;
    StartByDownload(market);
    Register("AA01001", RulesOf(HalfNetting));
    EXPECT_NEAR(Alone("AA01001", "BC-1-2", Buy, 1, 25.0), 400.0 + 630.0, Tolerance);
}

// A spread has no calculated price that 0.0 could stand for, and 0.0 is what it would mean: nothing is changed.
TEST_F(OrderFigures, ASpreadOrderNeedsItsPrice)
{
    Start(HandSpread());
    Register("AA01001", RulesOf(HalfNetting));
    calls::Margins margins;
    EXPECT_EQ(PlaceOrder(calc, "AA01001", "BC-1-2", Buy, 0.0, 1, margins), 2);
    EXPECT_EQ(margins, calls::Margins());
    EXPECT_EQ(Place("AA01001", "BC-1-2", Buy, 0, 1.0).part, 0.0);
}

/// A client as a walk knows it.
struct Client
{
    std::string code;
    plain::Rules rules;
    double deliveryWeight = 0.5;
    plain::Book book = {};
    plain::OrderBook orders = {};

    /// What a book that is taken anew knows: nothing came from the accounting.
    void TakeAnew()
    {
        for (auto& [isin, holding] : book)
            holding.afterLastClearing = 0;
        orders.TakeAnew();
    }
};

/// Clients under all pairs of rules, each with its own level and parameters.
std::vector<Client> ClientsUnderAllRules()
{
    std::vector<Client> clients;
    for (const auto calendar : {Unused, HalfNetting, Netting})
        for (const auto interContract : {Unused, HalfNetting, Netting}) {
            Client client{"AA01" + std::to_string(101 + clients.size()), RulesOf(calendar)};
            client.rules.interContract = interContract;
            client.rules.level = static_cast<Enums::ClientRiskLevel>(clients.size() % 5);
            client.rules.noFutDiscount = clients.size() % 2 == 1;
            client.rules.shortChargeRatio = 0.5 * static_cast<double>(clients.size() % 4);
            client.rules.clearings = static_cast<std::int32_t>(clients.size() % 3);
            client.rules.ratios = {{"LARGE", 1.25}};
            clients.push_back(client);
        }
    return clients;
}

/// Changes of positions, orders and parameters of nine clients, whose figures equal the plain model's at every change.
class OrderWalk : public OrderFigures
{
protected:
    std::mt19937 random;

    /// Gives the figures after every step.
    std::vector<calls::Margins> WalkOver(const plain::Market& market, int steps)
    {
        EXPECT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "LARGE", 1.25), 0);
        clients = ClientsUnderAllRules();
        for (const Client& client : clients)
            Register(client.code, client.rules);
        holdables = Tradables(market);
        orderables = Orderables(market);
        std::vector<calls::Margins> figures;
        for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            Client& client = clients[random() % clients.size()];
            figures.push_back(ChangeSomething(client));
            ExpectPlainFigures(market, client, figures.back());
        }
        return figures;
    }
    /// Unsets and cancels all of it, and takes the books anew, which clears what cancelled orders left in collateral.
    void EndAtZero()
    {
        for (Client& client : clients) {
            SCOPED_TRACE(client.code);
            for (const Tradable& instrument : holdables)
                if (client.book.contains(instrument.isin)) Set(client.code, instrument.code, {});
            for (const plain::Order& order : client.orders.Open())
                for (const Tradable& instrument : orderables)
                    if (instrument.isin == order.isin)
                        Place(client.code, instrument.code, order.buy, -order.quantity, order.price);
            client.deliveryWeight = client.deliveryWeight == 1.0 ? 0.0 : 1.0;
            Change(client);
            const calls::Margins margins = Place(client.code, "LARGE-1", Buy, 0, 1.0);
            EXPECT_NEAR(margins.volatility, 0.0, 1e-6);
            EXPECT_NEAR(margins.delivery, 0.0, 1e-6);
            EXPECT_EQ(margins.part, 0.0);
        }
    }

private:
    void Change(const Client& client)
    {
        EXPECT_EQ(ChangePart(calc, client.code.c_str(), client.rules.noFutDiscount ? 1 : 0, client.rules.clearings,
                             client.deliveryWeight),
                  0);
    }
    calls::Margins ChangeSomething(Client& client)
    {
        switch (random() % 10) {
        case 0:
            return ChangeParameters(client);
        case 1:
        case 2:
        case 3:
            return SetOne(client);
        default:
            return ChangeOrders(client);
        }
    }
    calls::Margins SetOne(Client& client)
    {
        const Tradable& instrument = holdables[random() % holdables.size()];
        const std::int64_t quantity = random() % 5 == 0 ? 0 : static_cast<std::int64_t>(random() % 401) - 200;
        const plain::Holding holding{quantity, PriceNear(instrument), random() % 4 == 0 ? quantity / 2 : quantity};
        client.book[instrument.isin] = holding;
        return Set(client.code, instrument.code, holding);
    }
    /// An order that is there is cancelled, or grows or shrinks; or a new one comes.
    calls::Margins ChangeOrders(Client& client)
    {
        const plain::Orders open = client.orders.Open();
        if (!open.empty() && random() % 2 == 0) {
            const plain::Order& order = open[random() % open.size()];
            const std::int64_t quantity =
                random() % 2 == 0 ? -order.quantity : static_cast<std::int64_t>(random() % 101) - 50;
            return Order(client, order.isin, order.buy, order.price, quantity);
        }
        const Tradable& instrument = orderables[random() % orderables.size()];
        const bool buy = random() % 2 == 0;
        const double price = plain::OnPriceGrid(PriceNear(instrument));
        return Order(client, instrument.isin, buy, price, 1 + static_cast<std::int64_t>(random() % 200));
    }
    calls::Margins Order(Client& client, Isin isin, bool buy, double price, std::int64_t quantity)
    {
        client.orders.Change(isin, buy, price, quantity);
        for (const Tradable& instrument : orderables)
            if (instrument.isin == isin) return Place(client.code, instrument.code, buy, quantity, price);
        ADD_FAILURE() << isin;
        return {};
    }
    /// One of the three, or none: then the book stays as it is.
    calls::Margins ChangeParameters(Client& client)
    {
        const auto kind = random() % 4;
        if (kind == 0) client.rules.noFutDiscount = !client.rules.noFutDiscount;
        if (kind == 1) client.rules.clearings = (client.rules.clearings + 1) % 4;
        if (kind == 2) client.deliveryWeight = client.deliveryWeight < 0.875 ? client.deliveryWeight + 0.25 : 0.25;
        Change(client);
        if (kind < 3) client.TakeAnew();
        return Place(client.code, "LARGE-1", Buy, 0, 1.0);
    }
    double PriceNear(const Tradable& instrument)
    {
        return instrument.price + instrument.step * (static_cast<double>(random() % 41) - 20.0);
    }
    static void ExpectPlainFigures(const plain::Market& market, const Client& client, const calls::Margins& margins)
    {
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book, client.orders.All());
        EXPECT_NEAR(margins.volatility, expected.volatility, Tolerance * (1.0 + expected.volatility)) << client.code;
        EXPECT_NEAR(margins.delivery, expected.delivery, Tolerance * (1.0 + expected.delivery)) << client.code;
        const double w = client.deliveryWeight;
        EXPECT_DOUBLE_EQ(margins.part, Charged((1.0 - w) * margins.volatility + w * margins.delivery)) << client.code;
    }

    std::vector<Client> clients;
    std::vector<Tradable> holdables;
    std::vector<Tradable> orderables;
};

TEST_F(OrderWalk, OverInsertedInstrumentsStaysEqualToThePlainModelAndEndsAtZero)
{
    const plain::Market market = BusyMarket();
    Start(market);
    WalkOver(market, 1500);
    EndAtZero();
}

// Instruments that were downloaded, or inserted one by one: the same walk has the same figures, to the last bit.
TEST_F(OrderWalk, DoesNotTellADownloadFromInserts)
{
    const plain::Market market = BusyMarket();
    StartByDownload(market);
    const std::vector<calls::Margins> downloaded = WalkOver(market, 400);
    EXPECT_EQ(downloaded.size(), 400u);
    ASSERT_EQ(ClearAll(calc), 0);
    InsertMarket(calc, market);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    random.seed(std::mt19937::default_seed);
    EXPECT_EQ(WalkOver(market, 400), downloaded);
}

TEST_F(OrderWalk, OverADownloadOfSpreadsOfAnyRatiosStaysEqualToThePlainModelAndEndsAtZero)
{
    plain::Market market = BusyMarket();
    const std::pair<std::int32_t, std::int32_t> ratios[] = {{-2, 1}, {1, -1}, {2, 3}, {-1, 1}, {-3, -2}};
    for (std::size_t i = 0; i < market.multilegs.size(); ++i) {
        market.multilegs[i].FirstRatio = ratios[i % 5].first;
        market.multilegs[i].SecondRatio = ratios[i % 5].second;
    }
    StartByDownload(market);
    WalkOver(market, 800);
    EndAtZero();
}

/// Parameters that ChangePart changes.
struct Parameters
{
    bool noFutDiscount;
    std::int32_t clearings;
    double deliveryWeight;
};

class ChangedClients : public OrderFigures
{
protected:
    /// The figures of a client after it has been given other parameters.
    calls::Margins Change(const std::string& client, const std::string& instrument, const Parameters& to)
    {
        EXPECT_EQ(ChangePart(calc, client.c_str(), to.noFutDiscount ? 1 : 0, to.clearings, to.deliveryWeight), 0);
        return Place(client, instrument, Buy, 0, 1.0);
    }
    void ExpectFigures(const calls::Margins& margins, double volatility, double delivery, double part)
    {
        EXPECT_NEAR(margins.volatility, volatility, Tolerance);
        EXPECT_NEAR(margins.delivery, delivery, Tolerance);
        EXPECT_NEAR(margins.part, part, Tolerance);
    }
};

// In the two months of HandSpread, of a client that looks at deliveries from two clearings on:
//   one call at 990 of the near month, held at 60    -120, -100, 100; by its deliveries -200, -120, 100
//   an order to buy one of the near month at 990     -180, 0, 0; without discount at 1000: -200
//   an order to buy the spread for 21                -2 everywhere; without discount -4
// The call: see DeliveriesOfAnOptionCostMoreThanItsPremiumWhenThePriceRunsAway.
TEST_F(ChangedClients, TakeTheirPositionsAndOrdersAlong)
{
    plain::Market market = HandSpread();
    market.series = {TwoMoneySeries("IN", "BC-1")};
    market.series.front().settlementType = Enums::SettlementType::Deliverable;
    market.series.front().ExpClearingsCC = 2;
    market.series.front().SubRisk = true;
    market.options = {NamedOption("IN-C990", "IN", Enums::OptionType::Call, 990.0, 60.0, 100)};
    Start(market);
    plain::Rules rules = RulesOf(Netting);
    rules.clearings = 2;
    Register("AA01001", rules);
    Set("AA01001", "IN-C990", {1, 60.0});
    Place("AA01001", "BC-1", Buy, 1, 990.0);
    ExpectFigures(Place("AA01001", "BC-1-2", Buy, 1, 21.0), 302.0, 382.0, 342.0);

    const calls::Margins strict = Change("AA01001", "BC-1", {true, 2, 0.5});
    ExpectFigures(strict, 324.0, 404.0, 364.0);
    EXPECT_EQ(Change("AA01001", "BC-1", {true, 2, 0.5}), strict) << "nothing has changed";
    ExpectFigures(Change("AA01001", "BC-1", {true, 1, 0.5}), 324.0, 324.0, 324.0); // two clearings are more than one
    ExpectFigures(Change("AA01001", "BC-1", {false, 2, 0.5}), 302.0, 382.0, 342.0);
    ExpectFigures(Change("AA01001", "BC-1", {false, -1, 0.5}), 302.0, 302.0, 302.0); // as the firm: never
    ExpectFigures(Change("AA01001", "BC-1", {false, 2, 0.25}), 302.0, 382.0, 322.0);
    ExpectFigures(Change("AA01001", "BC-1", {false, 2, 0.005}), 302.0, 382.0, 302.8); // 0.01
    ExpectFigures(Change("AA01001", "BC-1", {false, 2, -1.0}), 302.0, 382.0, 382.0);  // as the firm: 1.0
    ExpectFigures(Change("AA01001", "BC-1", {false, 2, 1.5}), 302.0, 382.0, 422.0);   // taken as it is

    // What was ordered can be cancelled, and what is held can be set anew.
    EXPECT_NEAR(Place("AA01001", "BC-1-2", Buy, -1, 21.0).volatility, 300.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "BC-1", Buy, -1, 990.0).volatility, 120.0, Tolerance);
    EXPECT_EQ(Set("AA01001", "IN-C990", {}).part, 0.0);
}

// Two calls at 950 for 60, premium-style, priced through a currency with a radius of 5 per cent: -240 where their value
// is counted, because the currency moves value and result together, and -252 where it is not. What the accounting would
// know of them does not come through the exported functions.
TEST_F(ChangedClients, HaveNoValueOfPremiumStyleOptionsUntilTheyAreSetAgain)
{
    plain::Market market = HandOptions();
    market.currencies = {{840, 0.05}};
    market.baseContracts.front().MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts.front().CurrencyId = 840;
    for (kv7im::OptionSeriesParameters& series : market.series)
        series.marginStyle = Enums::MarginStyle::Equity;
    Start(market);
    Register("AA01001");
    for (const char* option : {"IN-C950", "OUT-C950", "HALF-C950"}) {
        SCOPED_TRACE(option);
        EXPECT_NEAR(Set("AA01001", option, {2, 60.0, 2}).volatility, 240.0, Tolerance);
        EXPECT_NEAR(Change("AA01001", option, {false, 0, 0.75}).volatility, 252.0, Tolerance);
        EXPECT_NEAR(Change("AA01001", option, {false, 0, 0.5}).volatility, 252.0, Tolerance);
        EXPECT_NEAR(Set("AA01001", option, {2, 60.0, 2}).volatility, 240.0, Tolerance);
        EXPECT_EQ(Set("AA01001", option, {}).part, 0.0);
    }
}

// Cancelled orders leave their stress of rates in a collateral instrument until the book is taken anew. One sold at
// 1000 loses 200 at the upper end, and 20 more by an add-on of 0.01 of the spot there: 0, 0, -220.
TEST_F(ChangedClients, LoseWhatCancelledOrdersLeftInACollateralInstrument)
{
    plain::Market market{{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}};
    market.futures.front().Attribute = Enums::InstrumentStatus::Collateral;
    market.futures.front().MRAddOnUp = 0.01;
    Start(market);
    Register("AA01001");
    EXPECT_NEAR(Place("AA01001", "F1", Sell, 1, 1000.0).volatility, 220.0, Tolerance);
    EXPECT_NEAR(Place("AA01001", "F1", Sell, -1, 1000.0).volatility, 20.0, Tolerance);
    EXPECT_NEAR(Change("AA01001", "F1", {false, 0, 0.5}).volatility, 20.0, Tolerance) << "nothing has changed";
    EXPECT_NEAR(Change("AA01001", "F1", {false, 0, 0.75}).volatility, 0.0, Tolerance);
}

/// Each parameter alone, all of them together, and back.
constexpr Parameters ManyParameters[] = {{true, 0, 0.5}, {true, 3, 0.5},   {true, 3, 0.25},   {false, 1, 1.0},
                                         {true, 2, 0.0}, {false, 2, 0.75}, {false, -1, -1.0}, {false, 0, 0.5}};

// Every client of the examples gets other parameters, again and again, with orders open in all instruments, spreads
// among them: each time its figures are those of a client that was registered with them, and of the plain model.
TEST_F(ChangedClients, OfTheExampleMarketAreAsRegisteredWithTheirNewParameters)
{
    const plain::Market market = ReadMarket(Example("market.xml"));
    ASSERT_FALSE(market.multilegs.empty());
    StartAll();
    InsertMarket(calc, market);
    const std::vector<Tradable> holdables = Tradables(market);
    const std::vector<Tradable> orderables = Orderables(market);
    std::mt19937 random(4);
    int number = 0;
    std::set<std::string> firms;
    for (const ClientOfExamples& example : ReadClients(market)) {
        SCOPED_TRACE(example.code);
        const std::string firm = example.code.substr(0, 4);
        if (firms.insert(firm).second) {
            ASSERT_EQ(calls::Firm(calc, firm.c_str()), 0);
            for (const auto& [contract, ratio] : example.rules.ratios)
                ASSERT_EQ(InsertBrokerBaseContractParam(calc, firm.c_str(), contract.c_str(), ratio), 0);
        }
        plain::Book book = example.book;
        plain::OrderBook orders;
        for (const Tradable& instrument : orderables)
            if (random() % 3 == 0)
                orders.Change(instrument.isin, random() % 2 == 0,
                              plain::OnPriceGrid(instrument.price +
                                                 instrument.step * (static_cast<double>(random() % 21) - 10.0)),
                              1 + static_cast<std::int64_t>(random() % 40));
        const auto fill = [&](const std::string& code) {
            calls::Margins figures;
            for (const Tradable& instrument : holdables)
                if (const auto holding = book.find(instrument.isin); holding != book.end())
                    figures = Set(code, instrument.code, holding->second);
            for (const plain::Order& order : orders.Open())
                for (const Tradable& instrument : orderables)
                    if (instrument.isin == order.isin)
                        figures = Place(code, instrument.code, order.buy, order.quantity, order.price);
            return figures;
        };
        ASSERT_EQ(RegisterClient(calc, example.code, example.rules, example.goRatio, 0.125), 0);
        fill(example.code);
        for (auto& [isin, holding] : book)
            holding.afterLastClearing = 0;
        for (const Parameters& parameters : ManyParameters) {
            const calls::Margins changed = Change(example.code, orderables.front().code, parameters);
            plain::Rules rules = example.rules;
            rules.noFutDiscount = parameters.noFutDiscount;
            rules.clearings = parameters.clearings;
            const std::string freshCode = firm + std::to_string(100 + ++number);
            ASSERT_EQ(RegisterClient(calc, freshCode, rules, example.goRatio, parameters.deliveryWeight), 0);
            const calls::Margins fresh = fill(freshCode);
            const plain::Margins expected = plain::Model(market, rules).Of(book, orders.All());
            EXPECT_NEAR(changed.volatility, fresh.volatility, Tolerance * (1.0 + fresh.volatility));
            EXPECT_NEAR(changed.delivery, fresh.delivery, Tolerance * (1.0 + fresh.delivery));
            EXPECT_DOUBLE_EQ(changed.part, fresh.part);
            EXPECT_NEAR(changed.volatility, expected.volatility, Tolerance * (1.0 + expected.volatility));
            EXPECT_NEAR(changed.delivery, expected.delivery, Tolerance * (1.0 + expected.delivery));
        }
    }
    EXPECT_EQ(number, 10 * 8) << "clients times parameters";
}

// The same over random markets, books and parameters.
TEST_F(ChangedClients, OfRandomMarketsAreAsThePlainModelFindsThem)
{
    StartAll();
    const bool holds = rc::check([&] {
        plain::Market market = random_market::Make();
        for (MultilegSample& multileg : market.multilegs) {
            multileg.FirstRatio = -1; // what a spread has that is inserted by its code
            multileg.SecondRatio = 1;
        }
        RC_ASSERT(ClearAll(calc) == 0);
        InsertMarket(calc, market);
        RC_ASSERT(calls::Firm(calc, "AA01") == 0);
        Client client{"AA01001", random_market::MakeRules()};
        client.rules.tier = plain::Tier::Client;
        for (const auto& [contract, ratio] : client.rules.ratios)
            RC_ASSERT(InsertBrokerBaseContractParam(calc, "AA01", contract.c_str(), ratio) == 0);
        RC_ASSERT(RegisterClient(calc, client.code, client.rules, 1.0, 0.125) == 0);
        const std::vector<Tradable> orderables = Orderables(market);
        const auto codeOf = [&](Isin isin) {
            for (const Tradable& instrument : orderables)
                if (instrument.isin == isin) return instrument.code;
            return std::string();
        };
        for (int round = 0; round < 3; ++round) {
            for (int i = 0; i < 4; ++i) {
                const Tradable& instrument = *rc::gen::elementOf(Tradables(market));
                const plain::Holding holding{random_market::Quantity(), instrument.price + 0.5, 100};
                client.book[instrument.isin] = holding;
                Set(client.code, instrument.code, holding);
                plain::Order order = random_market::MakeOrder(market);
                if (order.price == 0.0) order.price = 0.5; // 0.0 stands for another price
                client.orders.Change(order.isin, order.buy, order.price, order.quantity);
                Place(client.code, codeOf(order.isin), order.buy, order.quantity, order.price);
            }
            const Parameters to{*rc::gen::arbitrary<bool>(), random_market::Between(0, 4), 0.25 * (round + 1)};
            client.rules.noFutDiscount = to.noFutDiscount;
            client.rules.clearings = to.clearings;
            client.TakeAnew(); // the weight is another one each time
            const calls::Margins changed = Change(client.code, "A-1", to);
            const plain::Margins expected = plain::Model(market, client.rules).Of(client.book, client.orders.All());
            RC_ASSERT(std::abs(changed.volatility - expected.volatility) <= Tolerance * (1.0 + expected.volatility));
            RC_ASSERT(std::abs(changed.delivery - expected.delivery) <= Tolerance * (1.0 + expected.delivery));
        }
    });
    EXPECT_TRUE(holds);
}

} // namespace
} // namespace test::OrderFiguresTest
