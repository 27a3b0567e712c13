#include "ServeCommand.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "AccessLog.h"
#include "Errors.h"
#include "ImServer.h"
#include "Output.h"
#include "Password.h"
#include "PrivateRouter.h"
#include "Signals.h"
#include "WholeFile.h"

namespace quindal {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto LookInterval = 100ms;
constexpr int ClientTimeoutMs = 5000; // of the ini file that is written

/// Watches whether the router is connected.
class RouterLook
{
public:
    RouterLook(const ServeOptions& options, const ImServer& server, PrivateRouter* router)
        : m_limit(options.routerTimeout), m_server(server), m_router(router)
    {}

    /// Throws LinkError when the router has been away for longer than it may.
    void Look()
    {
        if (m_router != nullptr) m_router->CheckThatItRuns();
        m_server.CheckThatItMayReconnect();
        if (m_server.IsConnected()) m_seen = Clock::now();
        if (Clock::now() - m_seen > m_limit)
            throw LinkError("the router has been away for more than " + std::to_string(m_limit.count()) + " s");
    }

private:
    std::chrono::seconds m_limit;
    const ImServer& m_server;
    PrivateRouter* m_router; // ours; null: somebody else's
    Clock::time_point m_seen = Clock::now();
};

/// Does what SIGHUP asks for. A file that cannot be read leaves the old one in use.
void Reload(const ServeOptions& options, ImServer& server, AccessLog& log)
{
    try {
        log.Reopen();
        InstrumentsDocument instruments(options.instruments);
        const std::size_t size = instruments.plain.size();
        server.Exchange(std::move(instruments));
        PrintMessage(options.instruments + ": read again, " + std::to_string(size) + " bytes");
    } catch (const InputError& error) {
        PrintMessage(std::string(error.what()) + "; going on with what was read before");
    }
}

/// Answers until a signal asks for the end; returns that signal.
int AnswerUntilTheEnd(const ServeOptions& options, ImServer& server, PrivateRouter* router, AccessLog& log,
                      SignalInbox& inbox)
{
    RouterLook look(options, server, router);
    for (;; look.Look()) {
        const std::optional<int> signal = inbox.Next(LookInterval);
        if (!signal) continue;
        if (*signal != SIGHUP) return *signal;
        Reload(options, server, log);
    }
}

/// Gives the server its router: a private one, or one that runs already.
std::unique_ptr<PrivateRouter> ReachRouter(const ServeOptions& options, const std::vector<RouterUser>& users,
                                           ImServer::Settings& settings)
{
    settings.service = options.service;
    settings.compress = !options.plain;
    settings.port = options.routerPort;
    if (options.routerPort == 0) {
        settings.user = options.serverUser;
        settings.password = MakePassword();
        auto router =
            std::make_unique<PrivateRouter>(RouterUser{settings.user, settings.password}, users, options.port);
        settings.port = router->Port();
        return router;
    }
    if (const char* const password = std::getenv(options.passwordVariable.c_str())) {
        settings.user = options.serverUser;
        settings.password = password;
    } // else it asks for no login
    return nullptr;
}

void WriteIni(const std::string& file, std::uint16_t port)
{
    WriteWhole(file, "[QuindalIM::mq]\nport = " + std::to_string(port) +
                         "\ntimeout = " + std::to_string(ClientTimeoutMs) + '\n');
}

} // namespace

void Serve(const ServeOptions& options)
{
    Users users = ReadUsers(options.users, options.routerPort == 0, options.serverUser);
    InstrumentsDocument instruments(options.instruments);
    AccessLog log(options.accessLog);
    ImServer::Settings settings;
    settings.onRequest = [&log](const AnsweredRequest& request) { log.Write(request); };
    const std::unique_ptr<PrivateRouter> router = ReachRouter(options, users.routerUsers, settings);
    int signal = 0;
    {
        ImServer server(settings, std::move(users.records), std::move(instruments));
        SignalInbox inbox;
        if (!options.iniFile.empty()) WriteIni(options.iniFile, settings.port);
        std::cout << "serving " << settings.service << " on port " << settings.port << '\n';
        FinishOutput();
        signal = AnswerUntilTheEnd(options, server, router.get(), log, inbox);
    }
    throw SignalEnd{signal};
}

} // namespace quindal
