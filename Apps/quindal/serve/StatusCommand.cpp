#include "StatusCommand.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "CalcGOConsts.h"
#include "Errors.h"
#include "LibraryState.h"
#include "MarginSession.h"
#include "Output.h"
#include "Password.h"
#include "RunLog.h"
#include "ServerStatistics.h"
#include "TextTable.h"
#include "UtcText.h"
#include "z9ini.h"

namespace quindal {

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;
using nlohmann::ordered_json;

/// Statistics are no more than a courtesy of the server: nobody waits long for them.
constexpr std::chrono::milliseconds StatisticsPatience = 2s;

/// What a client that could work has found.
struct LinkHealth
{
    int port = 0;
    std::int32_t partCount = 0; // clients that the user may register
    Milliseconds login{};       // connection, login, search for the server, question for the user
    Milliseconds roundTrip{};   // of a ping to the server
    std::optional<ServerStatistics> server;
};

template <class Action>
Milliseconds TimeOf(const Action& action)
{
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - begin;
}

void Ping()
{
    if (!QuindalIM::g_mq_core.CheckConnection())
        throw LinkError(std::string("the server does not answer a ping: ") + QuindalIM::g_mq_core.GetLastError());
}

int PortOf(const std::string& iniFile)
{
    kv7base::CZ9Ini ini;
    ini.Open(iniFile);
    return ini.ReadInt(QuindalIM::IniSectionMq, QuindalIM::IniKeyPort, 0);
}

LinkHealth Examine(const StatusOptions& options)
{
    const Secret password = AskPassword(options.passwordVariable, options.user);
    RunLog log(options.iniFile);
    LinkHealth health;
    std::optional<MarginSession> session;
    health.login = TimeOf([&] {
        session.emplace(IniFile{options.iniFile, options.iniFile}, options.user, password.Text(), log);
    });
    health.roundTrip = TimeOf(Ping);
    health.partCount = QuindalIM::g_mq_core.m_part_count;
    health.port = PortOf(options.iniFile);
    health.server =
        AskServerStatistics(static_cast<std::uint16_t>(health.port), options.user, password.Text(), StatisticsPatience);
    return health;
}

/// Whole seconds since the server has read its market; a clock that is behind the server's gives 0.
std::int64_t MarketAge(const ServerStatistics& server)
{
    const auto age = std::chrono::system_clock::now() - server.marketRead;
    return std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::seconds>(age).count());
}

/// Why the market is not good enough; empty when it is.
std::string FaultOfMarket(const LinkHealth& health, int maxAge)
{
    if (maxAge == 0) return {};
    if (!health.server) return "the server does not tell when it has read its market";
    const std::int64_t age = MarketAge(*health.server);
    if (age <= maxAge) return {};
    return "the server has read its market " + std::to_string(age) + " s ago, more than " + std::to_string(maxAge) +
           " s: send it SIGHUP when the file is new";
}

std::string Text(Milliseconds time)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.1f ms", time.count());
    return text;
}

void PrintTable(const StatusOptions& options, const LinkHealth& health)
{
    std::vector<Cells> rows{
        {"Router", "127.0.0.1:" + std::to_string(health.port)},
        {"User", options.user + " may log in; clients allowed: " + std::to_string(health.partCount)},
        {"Login", Text(health.login)},
        {"Round trip", Text(health.roundTrip)},
    };
    if (const auto& server = health.server) {
        rows.push_back({"Server", server->instance + ", up since " + UtcText(server->started) + ", " +
                                      std::to_string(server->requests) + " requests, " +
                                      std::to_string(server->refused) + " refused"});
        rows.push_back({"Market", std::to_string(server->marketBytes) + " bytes, read " + UtcText(server->marketRead) +
                                      ", " + std::to_string(MarketAge(*server)) + " s ago"});
    } else {
        rows.push_back({"Server", "answers, and tells no statistics"});
        rows.push_back({"Market", "of unknown age"});
    }
    WriteTable(std::cout, rows, 2);
}

ordered_json ServerJson(const ServerStatistics& server)
{
    return {{"instance", server.instance},
            {"started", UtcText(server.started)},
            {"requests", server.requests},
            {"refused", server.refused}};
}

ordered_json MarketJson(const ServerStatistics& server)
{
    return {{"bytes", server.marketBytes}, {"read", UtcText(server.marketRead)}, {"ageSeconds", MarketAge(server)}};
}

void PrintJson(const StatusOptions& options, const std::optional<LinkHealth>& health, const std::string& reason)
{
    ordered_json document{{"good", reason.empty()},
                          {"reason", reason.empty() ? ordered_json() : ordered_json(reason)},
                          {"ini", options.iniFile},
                          {"user", options.user}};
    if (health) {
        document["router"] = "127.0.0.1:" + std::to_string(health->port);
        document["clientsAllowed"] = health->partCount;
        document["loginMs"] = health->login.count();
        document["roundTripMs"] = health->roundTrip.count();
        document["server"] = health->server ? ServerJson(*health->server) : ordered_json();
        document["market"] = health->server ? MarketJson(*health->server) : ordered_json();
    }
    std::cout << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

} // namespace

void ShowStatus(const StatusOptions& options)
{
    const bool isJson = options.format == StatusFormat::Json;
    std::optional<LinkHealth> health;
    try {
        health = Examine(options);
    } catch (const CommandError& error) {
        if (isJson && error.Status() == StatusLink) {
            PrintJson(options, health, error.what());
            FinishOutput();
        }
        throw;
    }
    const std::string fault = FaultOfMarket(*health, options.maxMarketAge);
    if (isJson)
        PrintJson(options, health, fault);
    else
        PrintTable(options, *health);
    FinishOutput();
    if (!fault.empty()) throw LinkError(fault);
}

} // namespace quindal
