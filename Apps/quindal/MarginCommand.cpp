#include "MarginCommand.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "ImServer.h"
#include "PrivateRouter.h"
#include "Progress.h"
#include "WhatIf.h"

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

// Inputs are read before anything is started: a misspelt file is told at once.
struct Inputs
{
    explicit Inputs(const MarginOptions& options)
        : accounts(ReadAccounts(options.accounts)), positions(ReadPositions(options.positions))
    {
        if (options.orders.empty()) return;
        whatIfs = ReadWhatIfs(options.orders);
        CheckClients(*whatIfs, accounts);
    }

    CsvTable accounts;
    CsvTable positions;
    std::optional<std::vector<WhatIf>> whatIfs;
};

std::vector<WhatIfFigures> TryAll(MarginSession& session, const Inputs& inputs)
{
    WhatIfBook book(session, inputs.accounts, inputs.positions);
    std::vector<WhatIfFigures> figures;
    Progress progress("what-ifs", inputs.whatIfs->size());
    for (const WhatIf& whatIf : *inputs.whatIfs) {
        for (WhatIfFigures& ofClient : book.Try(whatIf))
            figures.push_back(std::move(ofClient));
        progress.Step();
    }
    return figures;
}

MarginFigures Compute(const std::string& iniFile, const std::string& user, const std::string& password,
                      const Inputs& inputs)
{
    MarginSession session(iniFile, user, password);
    session.LoadInstruments();
    {
        Progress progress("accounts", inputs.accounts.size());
        for (std::size_t i = 0; i < inputs.accounts.size(); ++i, progress.Step())
            session.Register(inputs.accounts[i]);
    }
    {
        Progress progress("positions", inputs.positions.size());
        for (std::size_t i = 0; i < inputs.positions.size(); ++i, progress.Step())
            session.SetPosition(inputs.positions[i]);
    }
    MarginFigures figures = session.Figures();
    if (inputs.whatIfs) figures.whatIfs = TryAll(session, inputs);
    return figures;
}

} // namespace

int RunMargin(const MarginOptions& options)
{
    try {
        const Inputs inputs(options);
        MarginFigures figures;
        if (options.instruments.empty()) {
            figures =
                Compute(options.iniFile, options.user, AskPassword(options.passwordVariable, options.user), inputs);
        } else {
            const EmbeddedServer server(options.instruments, options.user);
            figures = Compute(server.IniFile(), options.user, server.Password(), inputs);
        }
        WriteReport(std::cout, figures, options.format);
        if (!std::cout.flush()) throw std::runtime_error("the figures could not be written");
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quindal: %s\n", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace quindal
