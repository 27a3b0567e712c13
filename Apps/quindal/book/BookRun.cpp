#include "BookRun.h"

#include <fstream>
#include <stdexcept>

#include "ImServer.h"
#include "Output.h"
#include "Password.h"
#include "PrivateRouter.h"
#include "Progress.h"
#include "Users.h"

namespace quindal {

namespace {

constexpr std::uint32_t RequestTimeoutMs = 30'000;

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
    if (options.instruments.empty()) {
        const Secret password = AskPassword(options.passwordVariable, options.user);
        return run(options.iniFile, password.Text());
    }
    if (options.user == ServerUser) throw UsageError("--user: \"" + options.user + "\" is the server itself");
    const EmbeddedServer server(options.instruments, options.user);
    run(server.IniFile(), server.Password());
}

int Reported(const std::function<void()>& body)
{
    body();
    FinishOutput();
    return StatusGood;
}

} // namespace quindal
