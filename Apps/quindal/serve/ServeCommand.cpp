#include "ServeCommand.h"

#include <array>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "CsvTable.h"
#include "ImServer.h"
#include "PrivateRouter.h"

namespace quindal {

namespace {

struct Users
{
    std::map<std::string, UserRecord> records;
    std::vector<RouterUser> routerUsers;
};

bool IsUserName(std::string_view name)
{
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_' && c != '-') return false;
    return !name.empty();
}

Users ReadUsers(const std::string& file, bool needPasswords)
{
    static constexpr std::array<std::string_view, 4> columns{"user", "part_count", "login_type", "password"};
    const CsvTable table(file, columns);
    Users users;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const CsvRow row = table[i];
        const std::string& name = row.Required("user");
        if (!IsUserName(name)) throw row.Error("a user's name consists of letters, digits, \"_\" and \"-\"");
        const std::string& loginType = row.Text("login_type");
        UserRecord record;
        record.partCount = row.Integer32("part_count", record.partCount);
        if (!loginType.empty()) record.loginType = loginType;
        if (!users.records.emplace(name, record).second) throw row.Error("user \"" + name + "\" stands twice");
        if (needPasswords) users.routerUsers.push_back({name, row.Required("password")});
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
        Users users = ReadUsers(options.users, isPrivate);
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
