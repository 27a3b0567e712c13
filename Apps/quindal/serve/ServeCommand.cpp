#include "ServeCommand.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ImServer.h"
#include "PrivateRouter.h"
#include "Rows.h"

namespace quindal {

namespace {

struct Users
{
    std::map<std::string, UserRecord> records;
    std::vector<RouterUser> routerUsers;
};

Users ReadUsersFile(const std::string& file, bool needPasswords)
{
    Problems problems;
    const Rows<UserRow> rows = ReadUsers(ReadInput(file), needPasswords, problems);
    problems.ThrowIfAny();
    Users users;
    for (const UserRow& row : rows.rows) {
        users.records.emplace(row.user, UserRecord{row.partCount, row.loginType});
        if (needPasswords) users.routerUsers.push_back({row.user, row.password});
    }
    return users;
}

sigset_t EndSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    return signals;
}

// Until a signal asks for the end; looks once a second whether the router is still there to be served.
void WaitForTheEnd(const ImServer& server)
{
    const sigset_t signals = EndSignals();
    const timespec second{1, 0};
    while (::sigtimedwait(&signals, nullptr, &second) < 0)
        if (!server.IsRunning()) throw std::runtime_error("the router closed the connection");
}

} // namespace

int RunServe(const ServeOptions& options)
{
    // Blocked before any thread starts, so that they come to WaitForTheEnd and nowhere else.
    const sigset_t signals = EndSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        const bool isPrivate = options.port == 0;
        Users users = ReadUsersFile(options.users, isPrivate);
        InstrumentsDocument instruments(options.instruments);
        const char* const fromEnvironment = std::getenv(options.passwordVariable.c_str());

        ImServer::Settings settings{options.port, options.serverUser,
                                    fromEnvironment == nullptr ? std::string{} : fromEnvironment, options.service,
                                    options.compress};
        std::unique_ptr<PrivateRouter> router;
        if (isPrivate) {
            settings.password = MakePassword();
            router = std::make_unique<PrivateRouter>(RouterUser{settings.user, settings.password}, users.routerUsers);
            settings.port = router->Port();
        } else if (fromEnvironment == nullptr) {
            settings.user.clear(); // a router that asks for no login
        }
        const ImServer server(settings, std::move(users.records), std::move(instruments));
        std::cout << "serving " << settings.service << " on port " << settings.port << std::endl;
        WaitForTheEnd(server);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quindal: %s\n", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace quindal
