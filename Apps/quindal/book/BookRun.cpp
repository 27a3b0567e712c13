#include "BookRun.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>

#include "ImServer.h"
#include "PrivateRouter.h"
#include "Progress.h"

namespace quindal {

namespace {

constexpr const char* ServerUser = "kv7go_srv";
constexpr std::uint32_t RequestTimeoutMs = 30'000;

// Reads a line without showing it.
class EchoOff
{
public:
    EchoOff()
    {
        if (::tcgetattr(STDIN_FILENO, &m_before) != 0) return;
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        m_changed = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
    }
    ~EchoOff()
    {
        if (!m_changed) return;
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        std::fputc('\n', stderr);
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;

private:
    termios m_before{};
    bool m_changed = false;
};

std::string AskPassword(const std::string& variable, const std::string& user)
{
    if (const char* const fromEnvironment = std::getenv(variable.c_str())) return fromEnvironment;
    if (::isatty(STDIN_FILENO) != 1)
        throw InputError("no password: set the environment variable " + variable + ", or run in a terminal");
    std::fprintf(stderr, "Password of %s: ", user.c_str());
    const EchoOff silent;
    std::string password;
    std::getline(std::cin, password);
    return password;
}

// A router, a server and an ini file of our own, alive for the length of the run.
class EmbeddedServer
{
public:
    EmbeddedServer(const std::string& instruments, const std::string& user)
        : m_folder("quindal-margin-"),
          m_password(MakePassword()),
          m_router({ServerUser, m_password}, {RouterUser{user, m_password}}),
          m_server({m_router.Port(), ServerUser, m_password}, {{user, UserRecord{}}}, InstrumentsDocument(instruments))
    {
        std::ofstream ini(IniFile());
        ini << "[QuindalIM::mq]\nport = " << m_router.Port() << "\ntimeout = " << RequestTimeoutMs << '\n';
        if (!ini.flush()) throw std::runtime_error("cannot write " + IniFile());
    }

    [[nodiscard]] std::string IniFile() const { return (m_folder.Path() / "quindal.ini").string(); }
    [[nodiscard]] const std::string& Password() const noexcept { return m_password; }

private:
    TemporaryFolder m_folder;
    std::string m_password;
    PrivateRouter m_router;
    ImServer m_server;
};

void Fill(MarginSession& session, const BookTables& tables)
{
    session.LoadInstruments();
    {
        Progress progress("accounts", tables.accounts.size());
        for (std::size_t i = 0; i < tables.accounts.size(); ++i, progress.Step())
            session.Register(tables.accounts[i]);
    }
    Progress progress("positions", tables.positions.size());
    for (std::size_t i = 0; i < tables.positions.size(); ++i, progress.Step())
        session.SetPosition(tables.positions[i]);
}

} // namespace

BookTables::BookTables(const BookOptions& options)
    : accounts(ReadAccounts(options.accounts)), positions(ReadPositions(options.positions))
{}

void WithBook(const BookOptions& options, const BookTables& tables, const std::function<void(MarginSession&)>& body)
{
    const auto run = [&](const std::string& iniFile, const std::string& password) {
        MarginSession session(iniFile, options.user, password);
        Fill(session, tables);
        body(session);
    };
    if (options.instruments.empty()) return run(options.iniFile, AskPassword(options.passwordVariable, options.user));
    const EmbeddedServer server(options.instruments, options.user);
    run(server.IniFile(), server.Password());
}

int Reported(const std::function<void()>& body)
{
    try {
        body();
        if (!std::cout.flush()) throw std::runtime_error("the figures could not be written");
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quindal: %s\n", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace quindal
