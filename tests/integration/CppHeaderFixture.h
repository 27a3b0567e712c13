// CppHeaderFixture: a session of QuindalIM.hpp over a real router and server, and the market of two futures that
// docs/api/positions-and-orders.md works out by hand.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

#include "LibraryHost.h"
#include "QuindalIM.hpp"

namespace quindal::test {

/// Price in the units of the grid: its ends are 10 below and above it; one unit of price is worth 10 of money.
inline quindalim::Futures HandFutures(const std::string& code, double price, double years)
{
    quindalim::Futures futures;
    futures.code = code;
    futures.baseContractCode = "ABC";
    futures.calcFutPrice = futures.realCalcPrice = price;
    futures.minStepPrice = 10;
    futures.minStep = 1;
    futures.timeToExpiration = years;
    futures.normalizedSpot = 100;
    return futures;
}

inline quindalim::BaseContract HandBaseContract()
{
    quindalim::BaseContract contract;
    contract.code = "ABC";
    contract.standard = contract.low = contract.medium = contract.high = contract.exceptional = {0.1, 0.15, 0.2};
    contract.concentrationLimit1 = contract.concentrationLimit2 = 1'000'000;
    contract.riskPointsN = 2;
    contract.spotPrice = 100;
    contract.assetClass = quindalim::AssetClass::Commodity;
    return contract;
}

class CppHeaderFixture : public LibraryHost
{
protected:
    /// Logs in and makes the calculator, with no log of calls unless it is asked for.
    void Start(bool traced = true)
    {
        if (!server) Serve();
        const std::string ini =
            Write("plain.ini", "[QuindalIM::mq]\nport = " + std::to_string(router->Port()) + "\ntimeout = 3000\n");
        library = quindalim::Library::start(traced ? Ini() : ini, User, Password).value();
        calculator = library->calculator().value();
    }
    void EnterHandMarket() const
    {
        ASSERT_TRUE(calculator->insert(HandBaseContract()));
        ASSERT_TRUE(calculator->insert(HandFutures("ABC-3.27", 100, 0.25)));
        ASSERT_TRUE(calculator->insert(HandFutures("ABC-6.27", 102, 0.5)));
        ASSERT_TRUE(calculator->insert(quindalim::Multileg{"ABC-3.27-6.27"}));
    }
    /// A firm and its client, who nets its months.
    void EnterHandAccounts() const
    {
        ASSERT_TRUE(calculator->registerSettlementAccount({"ACCOUNT1"}));
        ASSERT_TRUE(calculator->registerFirm({"AA01", "ACCOUNT1", quindalim::MarginRule::Netting}));
        ASSERT_TRUE(calculator->registerClient({"AA01001"}));
    }
    /// How many calls of a function the trace log has.
    [[nodiscard]] std::size_t CallsOf(std::string_view function) const
    {
        std::size_t calls = 0;
        for (const std::string& line : Lines(File("trace.log")))
            calls += line.find("," + std::string(function) + ",") != std::string::npos;
        return calls;
    }

    std::optional<quindalim::Library> library;
    std::optional<quindalim::Calculator> calculator; // ends before the library
};

} // namespace quindal::test
