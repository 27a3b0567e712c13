// Figures of clients through the exported functions: against numbers worked by hand, and against the plain model.
//
// The hand market: see HandContract and TwoMoneySeries. One contract at 1000 has the results -200, 0, +200; an option
// is worth what its exercise brings, twice that in money.
#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "ExampleBook.h"
#include "LibraryHost.h"
#include "MarginMarket.h"

namespace test::MarginFiguresTest {
namespace {

using namespace quindal::test;
using enum Enums::SpreadMarginType;

constexpr double Tolerance = 1e-9;

class MarginFigures : public LibraryHost
{
protected:
    void Start(const plain::Market& market)
    {
        StartAll();
        InsertMarket(calc, market);
        ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    }
    calls::Margins Set(const std::string& client, const std::string& instrument, const plain::Holding& holding)
    {
        calls::Margins margins;
        EXPECT_EQ(SetHolding(calc, client, instrument, holding, margins), 0);
        return margins;
    }
    /// With nothing left by the last clearing.
    calls::Margins Set(const std::string& client, const std::string& instrument, std::int64_t quantity, double price)
    {
        return Set(client, instrument, plain::Holding{quantity, price});
    }
    struct CurrencyEntry
    {
        std::int32_t id = 0;
        double radius = 0.0;
        std::int32_t GetNext(std::intptr_t calculator) { return GetNextCurrency(calculator, &id, &radius); }
    };
    /// What all cursors give, by code.
    struct Entries
    {
        std::map<std::int32_t, double> currencies;
        std::map<std::string, calls::BaseContractEntry> contracts;
        std::map<std::string, calls::FuturesEntry> futures;
        std::vector<calls::OptionSeriesEntry> series; // these two in the order of insertion
        std::vector<calls::OptionEntry> options;
    };
    template <class Entry>
    [[nodiscard]] std::vector<Entry> ReadCursor(std::int32_t (*setOnFirst)(std::intptr_t, std::int32_t*)) const
    {
        std::int32_t count = 0;
        EXPECT_EQ(setOnFirst(calc, &count), 0);
        std::vector<Entry> entries(static_cast<std::size_t>(count));
        for (Entry& entry : entries)
            EXPECT_EQ(entry.GetNext(calc), 0);
        return entries;
    }
    [[nodiscard]] Entries ReadAllCursors() const
    {
        Entries all;
        for (const CurrencyEntry& entry : ReadCursor<CurrencyEntry>(SetOnFirstCurrency))
            all.currencies[entry.id] = entry.radius;
        for (const auto& entry : ReadCursor<calls::BaseContractEntry>(SetOnFirstBaseContract))
            all.contracts[entry.code.data()] = entry;
        for (const auto& entry : ReadCursor<calls::FuturesEntry>(SetOnFirstFutures))
            all.futures[entry.code.data()] = entry;
        all.series = ReadCursor<calls::OptionSeriesEntry>(SetOnFirstOptionSeries);
        all.options = ReadCursor<calls::OptionEntry>(SetOnFirstOption);
        return all;
    }
    /// Registers the clients of the examples and sets what they hold; the figures of each after its last position.
    [[nodiscard]] std::map<std::string, calls::Margins> MarginExamples(const plain::Market& market)
    {
        std::map<std::string, calls::Margins> figures;
        std::set<std::string> firms;
        for (const ClientOfExamples& client : ReadClients(market)) {
            const std::string firm = client.code.substr(0, 4);
            if (firms.insert(firm).second) {
                EXPECT_EQ(calls::Firm(calc, firm.c_str()), 0);
                for (const auto& [contract, ratio] : client.rules.ratios)
                    EXPECT_EQ(InsertBrokerBaseContractParam(calc, firm.c_str(), contract.c_str(), ratio), 0);
            }
            EXPECT_EQ(RegisterClient(calc, client.code, client.rules, client.goRatio), 0);
            for (const Tradable& instrument : Tradables(market)) {
                const auto holding = client.book.find(instrument.isin);
                if (holding != client.book.end())
                    figures[client.code] = Set(client.code, instrument.code, holding->second);
            }
        }
        return figures;
    }
    /// Places the orders of each what-if of the examples, shows the figures and all orders of the client so far, and
    /// takes them out again.
    template <class Look>
    void OrderExamples(const plain::Market& market, Look look)
    {
        std::map<std::string, plain::OrderBook> orders;
        for (const WhatIfOfExamples& whatIf : ReadWhatIfs(market)) {
            plain::OrderBook& ofClient = orders[whatIf.client];
            const auto send = [&](std::int64_t sign) {
                calls::Margins margins;
                for (const plain::Order& order : whatIf.orders.Open())
                    for (const Tradable& instrument : Orderables(market)) {
                        if (instrument.isin != order.isin) continue;
                        ofClient.Change(order.isin, order.buy, order.price, sign * order.quantity);
                        EXPECT_EQ(PlaceOrder(calc, whatIf.client, instrument.code, order.buy, order.price,
                                             sign * order.quantity, margins),
                                  0);
                    }
                return margins;
            };
            const calls::Margins figures = send(1);
            look(whatIf, figures, ofClient.All());
            send(-1);
        }
    }
    static plain::Rules Rules(Enums::SpreadMarginType calendar, Enums::SpreadMarginType interContract)
    {
        plain::Rules rules;
        rules.calendar = calendar;
        rules.interContract = interContract;
        return rules;
    }
};

TEST_F(MarginFigures, ALongAndAShortContractLoseTheMoveAgainstThem)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    EXPECT_NEAR(Set("AA01001", "F1", 3, 0.0).volatility, 600.0, Tolerance);    // (900 - 1000) * 3 * 2
    EXPECT_NEAR(Set("AA01001", "F1", -3, 0.0).volatility, 600.0, Tolerance);   // (1100 - 1000) * 3 * 2
    EXPECT_NEAR(Set("AA01001", "F1", 3, 1010.0).volatility, 660.0, Tolerance); // (900 - 1010) * 6
    EXPECT_NEAR(Set("AA01001", "F1", 3, 990.0).volatility, 540.0, Tolerance);  // (900 - 990) * 6
    EXPECT_EQ(Set("AA01001", "F1", 0, 0.0).part, 0.0);
}

// Long 1 of the near month and short 1 of the far month: +-200 cancel. By losses only: 200 at either end.
TEST_F(MarginFigures, ACalendarSpreadCostsNothingUnderNettingAndOneSideUnderHalfNetting)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1), TwoMoneyFutures("F2", "BC", 2, 1000.0, 1.0)}, {}});
    ASSERT_EQ(RegisterClient(calc, "AA01001", Rules(Netting, HalfNetting)), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", Rules(HalfNetting, HalfNetting)), 0);
    for (const char* client : {"AA01001", "AA01002"})
        Set(client, "F1", 1, 1000.0);
    EXPECT_NEAR(Set("AA01001", "F2", -1, 1000.0).volatility, 0.0, Tolerance);
    EXPECT_NEAR(Set("AA01002", "F2", -1, 1000.0).volatility, 200.0, Tolerance);
}

// Long 2 of FA, short 3 of FB, one group, no window: losses -400 at the left, -600 at the right. Under netting the rows
// -400, 0, 400 and 600, 0, -600 sum to 200, 0, -200; the worst is the right tail of FB,
// (1331 - 1000) * 6 * 100 / 331 * 0.75 = 450.
TEST_F(MarginFigures, ContractsOfOneGroupHedgeEachOtherUnderNetting)
{
    Start({{HandContract("A", "GROUP"), HandContract("B", "GROUP")},
           {TwoMoneyFutures("FA", "A", 1), TwoMoneyFutures("FB", "B", 2)},
           {}});
    ASSERT_EQ(RegisterClient(calc, "AA01001", Rules(Netting, HalfNetting)), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", Rules(Netting, Netting)), 0);
    for (const char* client : {"AA01001", "AA01002"})
        Set(client, "FA", 2, 1000.0);
    EXPECT_NEAR(Set("AA01001", "FB", -3, 1000.0).volatility, 600.0, Tolerance);
    EXPECT_NEAR(Set("AA01002", "FB", -3, 1000.0).volatility, 450.0, Tolerance);
}

// The high level has twice the rate: 200 either way. Without discount a price better than the settlement price counts
// as the settlement price.
TEST_F(MarginFigures, TheRiskLevelAndTheDiscountAreTheClientsOwn)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    plain::Rules high;
    high.level = Enums::ClientRiskLevel::High;
    plain::Rules strict;
    strict.noFutDiscount = true;
    ASSERT_EQ(RegisterClient(calc, "AA01001", high), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", strict), 0);
    EXPECT_NEAR(Set("AA01001", "F1", 3, 990.0).volatility, 1140.0, Tolerance); // (800 - 990) * 6
    EXPECT_NEAR(Set("AA01002", "F1", 3, 990.0).volatility, 600.0, Tolerance);  // (900 - 1000) * 6
}

// A radius of 5 per cent takes 5 per cent of each result: -600 - 30.
TEST_F(MarginFigures, AContractPricedThroughACurrencyCostsItsCurvature)
{
    BaseContractSample contract = HandContract("FX");
    contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    contract.CurrencyId = 840;
    Start({{contract}, {TwoMoneyFutures("F1", "FX", 1)}, {{840, 0.05}}});
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    EXPECT_NEAR(Set("AA01001", "F1", 3, 1000.0).volatility, 630.0, Tolerance);
}

// A firm's ratio for a base contract multiplies the margin of its clients; beyond 10 it becomes 1.
TEST_F(MarginFigures, TheFirmsRatioForAContractIsInTheVolatilityFigure)
{
    Start({{HandContract("A"), HandContract("B")}, {TwoMoneyFutures("FA", "A", 1), TwoMoneyFutures("FB", "B", 2)}, {}});
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "A", 10.0), 0);
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "B", 10.000001), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    EXPECT_NEAR(Set("AA01001", "FA", 1, 1000.0).volatility, 2000.0, 1e-8);
    EXPECT_NEAR(Set("AA01001", "FB", 1, 1000.0).volatility, 2200.0, 1e-8);
}

// GO: both figures weighted, times the ratio, to five decimals, then up to the next cent.
TEST_F(MarginFigures, TheChargedFigureIsRoundedInTwoStages)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}});
    struct Case
    {
        const char* name;
        double ratio;
        double price;
        double volatility;
        double charged;
    };
    const Case cases[] = {
        // clang-format off
        // name                                 ratio  price         V           GO
        {"whole cents stay",                      1.0, 1000.0,     200.0,      200.00},
        {"a tenth of a cent costs a cent",        1.0, 1000.0005,  200.001,    200.01},
        {"0.000004 is rounded away first",        1.0, 1000.000002, 200.000004, 200.00},
        {"0.000006 is rounded up first",          1.0, 1000.000003, 200.000006, 200.01},
        {"the ratio comes before the rounding",   1.5, 1000.0005,  200.001,    300.01}, // 300.0015
        {"half the margin",                       0.5, 1000.0,     200.0,      100.00},
        {"a ratio keeps five decimals",           1.000004, 1000.0, 200.0,     200.00}, // the ratio is 1.00000
        {"and rounds the sixth",                  1.000006, 1000.0, 200.0,     200.01}, // 1.00001, 200.002
        // clang-format on
    };
    int number = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string client = "AA0100" + std::to_string(++number);
        ASSERT_EQ(RegisterClient(calc, client, {}, c.ratio), 0);
        const calls::Margins margins = Set(client, "F1", 1, c.price);
        EXPECT_NEAR(margins.volatility, c.volatility, Tolerance);
        EXPECT_EQ(margins.volatility, margins.delivery);
        EXPECT_DOUBLE_EQ(margins.part, c.charged);
    }
}

/// The hand market with options: a series in spread, one alone, and one of which only losses reach the futures. Calls
/// at 950 and 1050 and a put at 950 in each.
plain::Market HandOptions()
{
    using enum Enums::OptionType;
    plain::Market market{{HandContract("BC")}, {TwoMoneyFutures("F1", "BC", 1)}, {}};
    market.series = {TwoMoneySeries("IN", "F1"), TwoMoneySeriesAlone("OUT", "F1"), TwoMoneySeries("HALF", "F1")};
    market.series.back().EnforceHalfNetting = true;
    Isin isin = 100;
    for (const char* const series : {"IN", "OUT", "HALF"}) {
        const std::string code = series;
        market.options.push_back(NamedOption(code + "-C950", code, Call, 950.0, 60.0, ++isin));
        market.options.push_back(NamedOption(code + "-C1050", code, Call, 1050.0, 5.0, ++isin));
        market.options.push_back(NamedOption(code + "-P950", code, Put, 950.0, 5.0, ++isin));
    }
    return market;
}

// Two calls at 950 for 60 bring -60, -10, 90 at the three prices, four times that in money: the buyer can lose the
// premium of 240, the seller 360. Beyond the grid the seller's loss is worn down to that of its edge by the limits,
// which do not bind, and far beyond it counts (1331 - 950 - 60) * 4 * 100 / 331 * 0.75 = 290.94.
TEST_F(MarginFigures, TheBuyerOfAnOptionCanLoseThePremiumAndTheSellerTheMove)
{
    Start(HandOptions());
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    for (const char* option : {"IN-C950", "OUT-C950", "HALF-C950"}) {
        SCOPED_TRACE(option);
        EXPECT_NEAR(Set("AA01001", option, 2, 60.0).volatility, 240.0, Tolerance);
        EXPECT_NEAR(Set("AA01001", option, -2, 60.0).volatility, 360.0, Tolerance);
        EXPECT_NEAR(Set("AA01001", option, 2, 0.0).volatility, 240.0, Tolerance)
            << "the settlement price of the option";
        EXPECT_EQ(Set("AA01001", option, 0, 0.0).part, 0.0);
    }
}

// A call far out of the money that was sold for 1 gains 2 everywhere on the grid; the charge of a tenth of the move, 10
// a contract, 20 in money, is what remains. It is the client's ratio times that.
TEST_F(MarginFigures, AShortOptionCostsAtLeastItsMinimumCharge)
{
    plain::Market market = HandOptions();
    market.options = {NamedOption("FAR", "OUT", Enums::OptionType::Call, 2000.0, 1.0, 100)};
    Start(market);
    plain::Rules twice;
    twice.shortChargeRatio = 2.0;
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", twice), 0);
    EXPECT_NEAR(Set("AA01001", "FAR", -1, 1.0).volatility, 20.0, Tolerance);
    EXPECT_NEAR(Set("AA01002", "FAR", -1, 1.0).volatility, 40.0, Tolerance);
}

// A long futures at 1000: -200, 0, 200. A call at 1050 sold for 5: 10, 10, -90.
//   in spread        -190, 10, 110                                  190
//   alone            -200 of the futures, and of the call far out, at 1331, (281 - 5) * 2 * 0.75 * 100 / 331 = 125.08
//   losses only      -200, 0, 110: the premium does not help        200
TEST_F(MarginFigures, ACoveredCallIsCheaperTheMoreOfItNets)
{
    Start(HandOptions());
    const std::pair<const char*, double> cases[] = {
        {"IN-C1050", 190.0}, {"OUT-C1050", 200.0 + 276.0 * 2.0 * 0.75 * 100.0 / 331.0}, {"HALF-C1050", 200.0}};
    int number = 0;
    for (const auto& [option, expected] : cases) {
        SCOPED_TRACE(option);
        const std::string client = "AA0100" + std::to_string(++number);
        ASSERT_EQ(RegisterClient(calc, client, {}), 0);
        Set(client, "F1", 1, 1000.0);
        EXPECT_NEAR(Set(client, option, -1, 5.0).volatility, expected, Tolerance);
    }
}

// A long futures with a put at 950 bought for 5: -200 + 90, -10, 190. At the lower stress points 850 and 800 the
// futures loses 300 and 400 and the put brings 190 and 290: -110 too.
TEST_F(MarginFigures, AProtectivePutBoundsTheLossOfTheFutures)
{
    Start(HandOptions());
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    Set("AA01001", "F1", 1, 1000.0);
    EXPECT_NEAR(Set("AA01001", "IN-P950", 1, 5.0).volatility, 110.0, Tolerance);
}

// A call at 1050 and a put at 950, sold for 5 each: -80, 20, -80. Far out at 1331 and 729 they would lose
// (281 - 10) * 2 * 0.75 * 100 / 331 = 122.81 and (221 - 10) * 2 * 0.75 * 100 / 271 = 116.79.
TEST_F(MarginFigures, AShortStrangleIsChargedForTheTailThatItFears)
{
    Start(HandOptions());
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    Set("AA01001", "OUT-C1050", -1, 5.0);
    EXPECT_NEAR(Set("AA01001", "OUT-P950", -1, 5.0).volatility, 271.0 * 2.0 * 0.75 * 100.0 / 331.0, Tolerance);
}

// A call at 950 of the near series sold, one of the far series bought, both for 60: in spread everything cancels but
// the premium bound, which does not bind. Each alone: 180 and 120.
TEST_F(MarginFigures, ACalendarOfTwoSeriesNetsInTheirFutures)
{
    plain::Market market = HandOptions();
    market.series.push_back(TwoMoneySeries("FAR", "F1"));
    market.series.back().TimeToExpiration = 0.5;
    market.options.push_back(NamedOption("FAR-C950", "FAR", Enums::OptionType::Call, 950.0, 60.0, 200));
    Start(market);
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", {}), 0);
    Set("AA01001", "IN-C950", -1, 60.0);
    EXPECT_NEAR(Set("AA01001", "FAR-C950", 1, 60.0).volatility, 0.0, Tolerance);
    Set("AA01002", "OUT-C950", -1, 60.0);
    EXPECT_NEAR(Set("AA01002", "FAR-C950", 1, 60.0).volatility, 300.0, Tolerance);
}

// Two calls at 950 for 60, priced through a currency with a radius of 5 per cent: -240, -40, 360. Premium-style they
// are worth 2 * 60 * 2 = 240 by what the last clearing left, and the currency moves value and result together: nothing
// is left to move at -240. Otherwise it moves the result: -252. With one contract left by the clearing: -240 - |120 -
// 240| * 0.05.
TEST_F(MarginFigures, TheCurrencyMovesThePremiumTogetherWithTheResult)
{
    plain::Market market = HandOptions();
    market.currencies = {{840, 0.05}};
    market.baseContracts.front().MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts.front().CurrencyId = 840;
    market.series[0].marginStyle = Enums::MarginStyle::Equity;
    market.series[1].marginStyle = Enums::MarginStyle::Equity;
    Start(market);
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    for (const char* option : {"IN-C950", "OUT-C950"}) {
        SCOPED_TRACE(option);
        EXPECT_NEAR(Set("AA01001", option, {2, 60.0, 2}).volatility, 240.0, Tolerance);
        EXPECT_NEAR(Set("AA01001", option, {2, 60.0, 1}).volatility, 246.0, Tolerance);
        EXPECT_EQ(Set("AA01001", option, {0, 0.0, 0}).part, 0.0);
    }
    EXPECT_NEAR(Set("AA01001", "HALF-C950", {2, 60.0, 2}).volatility, 252.0, Tolerance);
}

// Half the move is 50, so that deliveries are looked at from 950, 1000 and 1050, each up to 50 away; sub-points stand
// at 950 and 1050 and count at 900 and 1000. A call at 990, bought for 60:
//   unexercised, from 950       -60 at 900, 950 and 1000
//   exercised, from 1000        -100 at 950, -50 at 1000, 0 at 1050
//   exercised, from 1050        -50 at 1000, 0 at 1050, 50 at 1100
// The worst by columns are -100, -60, 50, in money -200; by theoretical values -60, -50, 50, in money -120. Deliveries
// weigh one half.
TEST_F(MarginFigures, DeliveriesOfAnOptionCostMoreThanItsPremiumWhenThePriceRunsAway)
{
    plain::Market market = HandOptions();
    market.series = {TwoMoneySeries("IN", "F1"), TwoMoneySeriesAlone("OUT", "F1")};
    market.options.clear();
    for (kv7im::OptionSeriesParameters& series : market.series) {
        series.settlementType = Enums::SettlementType::Deliverable;
        series.ExpClearingsCC = 2;
        series.SubRisk = true;
        market.options.push_back(NamedOption(series.Code + "-C990", series.Code, Enums::OptionType::Call, 990.0, 60.0,
                                             static_cast<Isin>(100 + market.options.size())));
    }
    Start(market);
    plain::Rules near;
    near.clearings = 2;
    plain::Rules far;
    far.clearings = 1;
    ASSERT_EQ(RegisterClient(calc, "AA01001", near), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01002", far), 0);
    for (const char* option : {"IN-C990", "OUT-C990"}) {
        SCOPED_TRACE(option);
        const calls::Margins margins = Set("AA01001", option, 1, 60.0);
        EXPECT_NEAR(margins.volatility, 120.0, Tolerance);
        EXPECT_NEAR(margins.delivery, 200.0, Tolerance);
        EXPECT_NEAR(margins.part, 160.0, Tolerance);
        const calls::Margins notYet = Set("AA01002", option, 1, 60.0);
        EXPECT_NEAR(notYet.volatility, 120.0, Tolerance);
        EXPECT_NEAR(notYet.delivery, 120.0, Tolerance) << "two clearings are more than one";
        EXPECT_EQ(Set("AA01001", option, 0, 0.0).part, 0.0);
        EXPECT_EQ(Set("AA01002", option, 0, 0.0).part, 0.0);
    }
}

// Every client has rules of its own, every change moves one position; each figure equals what the plain model finds for
// the whole book.
TEST_F(MarginFigures, OfManyClientsUnderAllRulesEqualThePlainModelAtEveryChange)
{
    const plain::Market market = BusyMarket();
    const std::vector<Tradable> instruments = Tradables(market);
    Start(market);
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "LARGE", 1.25), 0);

    struct Client
    {
        std::string code;
        plain::Rules rules;
        plain::Book book = {};
    };
    std::vector<Client> clients;
    for (const auto calendar : {Unused, HalfNetting, Netting})
        for (const auto interContract : {Unused, HalfNetting, Netting}) {
            Client client{"AA01" + std::to_string(101 + clients.size()), Rules(calendar, interContract)};
            client.rules.level = static_cast<Enums::ClientRiskLevel>(clients.size() % 5);
            client.rules.noFutDiscount = clients.size() % 2 == 1;
            client.rules.shortChargeRatio = 0.5 * static_cast<double>(clients.size() % 4);
            client.rules.clearings = static_cast<std::int32_t>(clients.size() % 3);
            client.rules.ratios = {{"LARGE", 1.25}};
            ASSERT_EQ(RegisterClient(calc, client.code, client.rules), 0);
            clients.push_back(client);
        }

    std::mt19937 random(20261121);
    for (int step = 0; step < 1500; ++step) {
        Client& client = clients[random() % clients.size()];
        const Tradable& instrument = instruments[random() % instruments.size()];
        const std::int64_t quantity = random() % 5 == 0 ? 0 : static_cast<std::int64_t>(random() % 401) - 200;
        const double price = instrument.price + instrument.step * (static_cast<double>(random() % 41) - 20.0);
        const plain::Holding holding{quantity, price, random() % 4 == 0 ? quantity / 2 : quantity};
        client.book[instrument.isin] = holding;
        const calls::Margins margins = Set(client.code, instrument.code, holding);
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book);
        ASSERT_NEAR(margins.volatility, expected.volatility, Tolerance * (1.0 + expected.volatility)) << step;
        ASSERT_NEAR(margins.delivery, expected.delivery, Tolerance * (1.0 + expected.delivery)) << step;
        ASSERT_DOUBLE_EQ(margins.part, Charged((margins.volatility + margins.delivery) / 2.0)) << step; // weight 0.5
    }
    for (const Client& client : clients)
        for (const Tradable& instrument : instruments)
            if (client.book.contains(instrument.isin)) Set(client.code, instrument.code, 0, 0.0);
    for (const Client& client : clients)
        EXPECT_EQ(Set(client.code, "LARGE-1", 0, 0.0).part, 0.0) << client.code;
}

// The example market, downloaded as a document or inserted instrument by instrument: the cursors give the same values,
// and the example clients have the same figures, to the last bit, with the example orders too. Those are the plain
// model's.
TEST_F(MarginFigures, OfTheExampleMarketDoNotTellADownloadFromInserts)
{
    const plain::Market market = ReadMarket(Example("market.xml"));
    std::ostringstream document;
    document << std::ifstream(Example("market.xml"), std::ios::binary).rdbuf();
    Serve(document.str());
    StartAll();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    const Entries downloaded = ReadAllCursors();
    const auto figuresOfDownload = MarginExamples(market);
    std::vector<calls::Margins> ordersOfDownload;
    OrderExamples(market, [&](const auto&, const calls::Margins& figures, const plain::Orders&) {
        ordersOfDownload.push_back(figures);
    });

    ASSERT_EQ(ClearAll(calc), 0);
    InsertMarket(calc, market);
    const Entries inserted = ReadAllCursors();
    EXPECT_EQ(downloaded.currencies, inserted.currencies);
    EXPECT_TRUE(downloaded.contracts == inserted.contracts);
    EXPECT_TRUE(downloaded.futures == inserted.futures);
    EXPECT_TRUE(downloaded.series == inserted.series);
    EXPECT_TRUE(downloaded.options == inserted.options);
    EXPECT_EQ(downloaded.contracts.size(), market.baseContracts.size());
    EXPECT_EQ(downloaded.futures.size(), market.futures.size());
    EXPECT_EQ(downloaded.series.size(), market.series.size());
    EXPECT_EQ(downloaded.options.size(), market.options.size());

    const auto figuresOfInserts = MarginExamples(market);
    int compared = 0;
    for (const ClientOfExamples& client : ReadClients(market)) {
        SCOPED_TRACE(client.code);
        const calls::Margins& figures = figuresOfInserts.at(client.code);
        EXPECT_EQ(figuresOfDownload.at(client.code), figures);
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book);
        EXPECT_NEAR(figures.volatility, expected.volatility, Tolerance * expected.volatility);
        EXPECT_NEAR(figures.delivery, expected.delivery, Tolerance * expected.delivery);
        ++compared;
    }
    EXPECT_EQ(compared, 10);

    std::vector<calls::Margins> ordersOfInserts;
    OrderExamples(market, [&](const auto& whatIf, const calls::Margins& figures, const plain::Orders& orders) {
        SCOPED_TRACE(whatIf.label);
        ordersOfInserts.push_back(figures);
        std::vector<ClientOfExamples> clients = ReadClients(market);
        const ClientOfExamples& client = FindClient(clients, whatIf.client);
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book, orders);
        EXPECT_NEAR(figures.volatility, expected.volatility, Tolerance * (1.0 + expected.volatility));
        EXPECT_NEAR(figures.delivery, expected.delivery, Tolerance * (1.0 + expected.delivery));
    });
    EXPECT_EQ(ordersOfInserts, ordersOfDownload);
    EXPECT_GE(ordersOfInserts.size(), 5u);
}

} // namespace
} // namespace test::MarginFiguresTest
