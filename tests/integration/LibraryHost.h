// LibraryHost: what a process that uses the library needs around it, real and private: a router on a free port, a
// server that answers over it, ini files that lead there. All files stand in one folder that goes with the fixture.
//
// Always true:  each test has a router of its own. After a test the library is empty and stopped, whatever the test
// did.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ExportCalls.h"
#include "ImServer.h"
#include "PrivateRouter.h"
#include "QuindalIM.h"

namespace quindal::test {

inline constexpr const char* Service = "kv7go_srv_60";
inline constexpr const char* ServerName = "kv7go_srv";
inline constexpr const char* ServerPassword = "server-side-word";
inline constexpr const char* User = "USER01";
inline constexpr const char* Password = "open;sesame=01"; // a semicolon and an equals sign belong to it

/// One instrument of each kind, for tests that look at codes and fields and not at figures.
inline constexpr const char* SmallMarket = R"(<?xml version="1.0" encoding="utf-8"?>
<root>
  <CommonParameters EdgeCoeff="0.5"/>
  <Currency IndicatorID="840" Radius="0.045"/>
  <BaseContract Code="INDX" CodeMCS="GROUP" VolatNum="3" MSPType="1" ShortOptionMinimumCharge="0.1" IndicatorID="840"
    MarketRisk="0.1" MarketRisk1="0.15" MarketRisk2="0.2" MarketRiskLow="0.09" MarketRisk1Low="0.14"
    MarketRisk2Low="0.19" MarketRiskMedium="0.11" MarketRisk1Medium="0.16" MarketRisk2Medium="0.21"
    MarketRiskHigh="0.12" MarketRisk1High="0.17" MarketRisk2High="0.22" MarketRiskExceptional="0.13"
    MarketRisk1Exceptional="0.18" MarketRisk2Exceptional="0.23" ConcentrationLimit1="60000"
    ConcentrationLimit2="180000" RiskPointsN="4" WindowSizePercentage="0.25" OptionModel="0" SpotPrice="3285.4"
    AssetClass="4" CFRisk="0.01"/>
  <Futures Code="INDX-12.26" CodeBC="INDX" Isin="1001" CalcFutPrice="3302.5" SpreadAspect="2" MinStepPrice="5"
    RealCalcPrice="3302.0" MinStep="0.5" ExpiredDate="2026-12-17 19:00:00" Spot="0" XLot="1" Lot="1"
    InterestRateRiskUp="0.03" InterestRateRiskDown="0.025" TimeToExpiration="0.07" NormalizedSpot="3285.4"
    Attribute="0" MRAddOnUp="0.001" MRAddOnDown="0.002" EnforceIMSHalfNetting="1" TASBaseFutCode=""/>
  <VirtFutures Code="INDX-12.26M17" CodeRF="INDX-12.26" A_Black="21.5" B_Black="22.5" C_Black="0.5" D_Black="-1.25"
    E_Black="2.25" S_Black="0.0625" UseNullVolat="1" StrikeStep="50" ExpClearingsSA="3" ExpClearingsBF="4"
    ExpClearingsCC="5" VolatilityRisk="0.125" VolatilityRiskMismatch="0.1875" TimeToExpiration="0.0625" A_Bach="0.75"
    B_Bach="0.875" C_Bach="0.375" D_Bach="-0.25" E_Bach="1.75" S_Bach="0.03125" M_Bach="110" MarginStyle="1"
    SettlementType="1" ExerciseStyle="1" SubRisk="1" SpreadAspect="2" EnforceHalfNetting="1" MinStep="0.5"
    MinStepPrice="6.5" LotCoeff="10" r="0.07" InterestRateRiskUp="0.011" InterestRateRiskDown="0.012"
    FixedSpotDiscount="1.5" ProjectedSpotDiscount="2.5" r2="0.03" InterestRate2RiskUp="0.013"
    InterestRate2RiskDown="0.014"/>
  <Option Code="INDX-12.26M17P3300" CodeVF="INDX-12.26M17" Strike="3300.5" OptType="1" CalcOptPrice="41.25"/>
</root>
)";

class LibraryHost : public testing::Test
{
protected:
    LibraryHost() { StartRouter(); }
    ~LibraryHost() override
    {
        std::intptr_t calculator = 0;
        // A start that failed leaves its logs open, and only a start that succeeds can be stopped.
        if (CreateQuindalIMCalculator(&calculator) != 0) {
            partCount = 1;
            if (!router) StartRouter();
            Serve();
            EXPECT_EQ(Init(), 0);
            EXPECT_EQ(CreateQuindalIMCalculator(&calculator), 0);
        }
        static_cast<void>(ClearAll(calculator));
        static_cast<void>(DestroyQuindalIMCalculator(calculator));
        static_cast<void>(DeInitQuindalIM());
    }

    [[nodiscard]] std::string File(const std::string& name) const { return (folder.Path() / name).string(); }
    /// Writes a file and gives its path.
    [[nodiscard]] std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }
    [[nodiscard]] static std::vector<std::string> Lines(const std::string& path)
    {
        std::ifstream file(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }

    /// A new router on a port of its own. NOBODY may use it and is unknown to the server.
    void StartRouter()
    {
        server.reset();
        router = std::make_unique<PrivateRouter>(
            RouterUser{ServerName, ServerPassword},
            std::vector<RouterUser>{{User, Password}, {"OTHER", "other-word"}, {"NOBODY", "nobody-word"}});
    }
    /// Another server of the same service.
    [[nodiscard]] std::unique_ptr<ImServer> MakeServer(const std::string& market = SmallMarket, bool compress = true)
    {
        const std::map<std::string, UserRecord> users{{User, {partCount, "CLIENT"}}, {"OTHER", {5, "BROKER"}}};
        return std::make_unique<ImServer>(
            ImServer::Settings{router->Port(), ServerName, ServerPassword, Service, compress}, users,
            InstrumentsDocument(Write("market.xml", market)));
    }
    /// The server of the test; a former one stops first.
    void Serve(const std::string& market = SmallMarket, bool compress = true)
    {
        server.reset();
        server = MakeServer(market, compress);
    }

    /// An ini file that leads to the router, with a trace log and a log; further lines go behind them.
    [[nodiscard]] std::string Ini(const std::string& further = {})
    {
        return Write("good.ini", "[QuindalIM::mq]\nport = " + std::to_string(router->Port()) + "\ntimeout = " +
                                     std::to_string(timeoutMs) + "\n[QuindalIM::log]\nfile = " + File("library.log") +
                                     "\n[QuindalIM::xplog]\nfile = " + File("trace.log") + "\n" + further);
    }
    [[nodiscard]] std::int32_t Init(const char* user = User, const char* password = Password)
    {
        return InitQuindalIM(Ini().c_str(), user, password);
    }
    /// Serves, logs in and makes the calculator.
    void StartAll()
    {
        if (!server) Serve();
        ASSERT_EQ(Init(), 0);
        ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    }

    std::int32_t timeoutMs = 3000;
    std::int32_t partCount = 1000; // what the server says of USER01
    TemporaryFolder folder{"quindal-host-"};
    std::unique_ptr<PrivateRouter> router;
    std::unique_ptr<ImServer> server;
    std::intptr_t calc = 0;
};

} // namespace quindal::test
