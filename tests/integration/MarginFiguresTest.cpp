// Figures of clients through the exported functions: against numbers worked by hand, and against the plain model.
//
// The hand market: see HandContract. One contract at 1000 has the results -200, 0, +200.
#include <cmath>
#include <random>

#include <gmock/gmock.h>

#include "LibraryHost.h"
#include "MarginMarket.h"

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
    calls::Margins Set(const std::string& client, const std::string& futures, std::int64_t quantity, double price)
    {
        calls::Margins margins;
        EXPECT_EQ(calls::Position(calc, client.c_str(), futures.c_str(), quantity, price, margins), 0);
        return margins;
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
    Start({{HandContract("BC")}, {HandFutures("F1", "BC", 1)}, {}});
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
    Start({{HandContract("BC")}, {HandFutures("F1", "BC", 1), HandFutures("F2", "BC", 2, 1000.0, 1.0)}, {}});
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
           {HandFutures("FA", "A", 1), HandFutures("FB", "B", 2)},
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
    Start({{HandContract("BC")}, {HandFutures("F1", "BC", 1)}, {}});
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
    Start({{contract}, {HandFutures("F1", "FX", 1)}, {{840, 0.05}}});
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    EXPECT_NEAR(Set("AA01001", "F1", 3, 1000.0).volatility, 630.0, Tolerance);
}

// A firm's ratio for a base contract multiplies the margin of its clients; beyond 10 it becomes 1.
TEST_F(MarginFigures, TheFirmsRatioForAContractIsInTheVolatilityFigure)
{
    Start({{HandContract("A"), HandContract("B")}, {HandFutures("FA", "A", 1), HandFutures("FB", "B", 2)}, {}});
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "A", 10.0), 0);
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA01", "B", 10.000001), 0);
    ASSERT_EQ(RegisterClient(calc, "AA01001", {}), 0);
    EXPECT_NEAR(Set("AA01001", "FA", 1, 1000.0).volatility, 2000.0, 1e-8);
    EXPECT_NEAR(Set("AA01001", "FB", 1, 1000.0).volatility, 2200.0, 1e-8);
}

// GO: both figures weighted, times the ratio, to five decimals, then up to the next cent.
TEST_F(MarginFigures, TheChargedFigureIsRoundedInTwoStages)
{
    Start({{HandContract("BC")}, {HandFutures("F1", "BC", 1)}, {}});
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

// Every client has rules of its own, every change moves one position; each figure equals what the plain model finds for
// the whole book.
TEST_F(MarginFigures, OfManyClientsUnderAllRulesEqualThePlainModelAtEveryChange)
{
    const plain::Market market = BusyMarket();
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
            client.rules.ratios = {{"LARGE", 1.25}};
            ASSERT_EQ(RegisterClient(calc, client.code, client.rules), 0);
            clients.push_back(client);
        }

    std::mt19937 random(20261121);
    for (int step = 0; step < 1500; ++step) {
        Client& client = clients[random() % clients.size()];
        const FuturesSample& futures = market.futures[random() % market.futures.size()];
        const std::int64_t quantity = random() % 5 == 0 ? 0 : static_cast<std::int64_t>(random() % 401) - 200;
        const double price = futures.CalcFutPrice + futures.MinStep * (static_cast<double>(random() % 41) - 20.0);
        client.book[futures.Isin] = {quantity, price};
        const calls::Margins margins = Set(client.code, futures.Code, quantity, price);
        const plain::Margins expected = plain::Model(market, client.rules).Of(client.book);
        ASSERT_NEAR(margins.volatility, expected.volatility, Tolerance * (1.0 + expected.volatility)) << step;
        ASSERT_NEAR(margins.delivery, expected.delivery, Tolerance * (1.0 + expected.delivery)) << step;
        ASSERT_DOUBLE_EQ(margins.part, Charged((margins.volatility + margins.delivery) / 2.0)) << step; // weight 0.5
    }
    for (const Client& client : clients)
        for (const auto& [isin, holding] : client.book)
            Set(client.code, market.futures[static_cast<std::size_t>(isin) - 1].Code, 0, 0.0);
    for (const Client& client : clients)
        EXPECT_EQ(Set(client.code, "LARGE-1", 0, 0.0).part, 0.0) << client.code;
}

} // namespace
