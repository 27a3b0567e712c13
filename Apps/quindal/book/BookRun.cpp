#include "BookRun.h"

#include <fstream>
#include <stdexcept>

#include "BookCheck.h"
#include "BookSelection.h"
#include "DerivedLevels.h"
#include "ImServer.h"
#include "MarketCheck.h"
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
    EmbeddedServer(const InputFile& market, const std::string& user)
        : m_folder("quindal-margin-"),
          m_password(MakePassword()),
          m_router({ServerUser, m_password}, {RouterUser{user, m_password}}),
          m_server({m_router.Port(), ServerUser, m_password}, {{user, UserRecord{}}}, Document(market))
    {
        Write(IniFile(), "[QuindalIM::mq]\nport = " + std::to_string(m_router.Port()) +
                             "\ntimeout = " + std::to_string(RequestTimeoutMs) + '\n');
    }

    [[nodiscard]] std::string IniFile() const { return (m_folder.Path() / "quindal.ini").string(); }
    [[nodiscard]] const std::string& Password() const noexcept { return m_password; }

private:
    static void Write(const std::string& file, const std::string& text)
    {
        std::ofstream stream(file, std::ios::binary);
        stream << text;
        if (!stream.flush()) throw std::runtime_error("cannot write " + file);
    }
    // The document to be served is the one that was checked: standard input and pipes cannot be read twice.
    [[nodiscard]] InstrumentsDocument Document(const InputFile& market) const
    {
        std::string file = market.name;
        if (!std::filesystem::is_regular_file(file)) {
            file = (m_folder.Path() / "market.xml").string();
            Write(file, market.text);
        }
        InstrumentsDocument document(file);
        if (document.plain != market.text) throw InputError(market.name + ": has changed while it was read");
        return document;
    }

    TemporaryFolder m_folder;
    std::string m_password;
    PrivateRouter m_router;
    ImServer m_server;
};

void CheckRows(const Book& book, Problems& problems)
{
    CheckAccounts(book.accounts, problems);
    CheckRepeated(book.positions, problems);
    CheckHolders(book.accounts, book.positions, problems);
    if (book.orders) CheckClients(book.accounts, *book.orders, problems);
}

void CheckNames(const Book& book, const MarketCodes& codes, Problems& problems)
{
    CheckInstruments(codes, book.accounts, problems);
    CheckInstruments(codes, book.positions, problems);
    if (book.orders) CheckInstruments(codes, *book.orders, problems);
}

} // namespace

Book BookRun::Read(const std::string& orders, const FurtherFiles& further)
{
    m_further = further;
    // Throws for a SOURCE_DATE_EPOCH that is none, before a server is asked for anything.
    static_cast<void>(ReportedTime({}));
    Problems problems;
    Book book{ReadAccounts(ReadInput(m_options.accounts), problems),
              ReadPositions(ReadInput(m_options.positions), problems),
              {},
              {}};
    if (!orders.empty()) book.orders = ReadOrders(ReadInput(orders), problems);
    CheckRows(book, problems);
    if (m_further.read) m_further.read(book, problems);
    if (!m_options.instruments.empty()) {
        book.market = ReadInput(m_options.instruments);
        m_source = SourceOf(*book.market);
        const MarketContents market = CheckMarket(*book.market, m_log, problems, m_warnings);
        // Missing instruments would be blamed on the rows.
        if (market.isWhole) CheckAllNames(book, market.codes, problems);
    }
    problems.ThrowIfAny();
    return book;
}

void BookRun::CheckAllNames(const Book& book, const MarketCodes& codes, Problems& problems) const
{
    CheckNames(book, codes, problems);
    if (m_further.checkNames) m_further.checkNames(codes, problems);
}

Rows<PositionRow> BookRun::ReadOther(const std::string& positions, const Rows<AccountRow>& accounts)
{
    Problems problems;
    Rows<PositionRow> rows = ReadPositions(ReadInput(positions), problems);
    CheckRepeated(rows, problems);
    CheckHolders(accounts, rows, problems);
    problems.ThrowIfAny();
    return rows;
}

void BookRun::With(const Book& book, const std::function<void(MarginSession&)>& body)
{
    if (!book.market) {
        const Secret password = AskPassword(m_options.passwordVariable, m_options.user);
        return Run(book, m_options.iniFile, password.Text(), body);
    }
    if (m_options.user == ServerUser) throw UsageError("--user: \"" + m_options.user + "\" is the server itself");
    const EmbeddedServer server(*book.market, m_options.user);
    Run(book, server.IniFile(), server.Password(), body);
}

void BookRun::Run(const Book& book, const std::string& iniFile, const std::string& password,
                  const std::function<void(MarginSession&)>& body)
{
    MarginSession session({iniFile, m_options.iniFile}, m_options.user, password, m_log);
    LoadInstruments(session, book);
    Fill(session, book);
    body(session);
}

void BookRun::Refill(MarginSession& session, const Book& book)
{
    session.RemoveAccounts();
    Fill(session, book);
}

void BookRun::LoadInstruments(MarginSession& session, const Book& book)
{
    const bool isChecked = book.market.has_value();
    static_cast<void>(m_log.Next()); // of the login
    if (isChecked) {
        session.LoadInstruments();
        static_cast<void>(m_log.Next()); // told with the lines of the market file
        return;
    }
    session.LoadInstruments([this](unsigned port, std::string_view text) { m_source = SourceOfReply(port, text); });
    if (!m_log.Unseen().empty())
        m_warnings.Add(m_options.iniFile, "warnings of the library stay unseen: " + m_log.Unseen());
    Watch("the server's instruments");
    Problems problems;
    MarginSession::CheckInstruments(m_options.iniFile, problems);
    CheckAllNames(book, MarginSession::Codes(), problems);
    problems.ThrowIfAny();
}

void BookRun::Fill(MarginSession& session, const Book& book)
{
    {
        const std::vector<const AccountRow*> accounts = InOrderOfRegistration(book.accounts);
        Progress progress("accounts", accounts.size(), m_listener);
        for (const AccountRow* const row : accounts) {
            const std::string where = book.accounts.Where(*row);
            session.Register(where, *row);
            Watch(where);
            progress.Step();
        }
    }
    Progress progress("positions", book.positions.rows.size(), m_listener);
    for (const PositionRow& row : book.positions.rows) {
        const std::string where = book.positions.Where(row);
        session.SetPosition(where, row);
        Watch(where);
        progress.Step();
    }
    if (m_completesLevels) FillLevels(session, book);
}

void BookRun::FillLevels(MarginSession& session, const Book& book)
{
    WarnOfUnreachedFirms(book.accounts, book.positions, m_warnings);
    const std::vector<EmptyLevel> levels = LevelsWithoutRecords(book.accounts, book.positions);
    if (!m_options.deriveLevels) {
        WarnOf(levels, book.positions.file, m_warnings);
        return;
    }
    const DerivedRecords records = Derive(levels, &MarginSession::CalculatedPrice);
    for (const std::string& warning : records.warnings)
        m_warnings.Add(book.positions.file, warning);
    for (const PositionRow& row : records.rows) {
        const std::string where = "record of " + row.code + " derived from its clients";
        session.SetPosition(where, row);
        Watch(where);
    }
}

void WarnOf(const std::vector<EmptyLevel>& levels, const std::string& file, Warnings& warnings)
{
    if (levels.empty()) return;
    std::string names;
    for (const EmptyLevel& level : levels)
        names += (names.empty() ? "" : ", ") + level.Name();
    warnings.Add(file, names + ": under the netting rule a level lives by records of its own, and there are none; " +
                           "--derive-levels takes them from the clients");
}

void WarnOfUnreachedFirms(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, Warnings& warnings)
{
    for (const std::string& firm : FirmsThatNothingReaches(accounts, positions))
        warnings.Add(accounts.file, "firm " + firm +
                                        ": under the gross rule, below an account that is not under half_netting, " +
                                        "nothing that its clients hold reaches it, and its margin is 0.00");
}

void Reported(const BookOptions& options, const std::function<void(BookRun&)>& body,
              const std::function<void()>& report)
{
    BookRun run(options);
    try {
        body(run);
    } catch (...) {
        run.Watch({}); // the library's own words about the failure
        run.Told().Tell();
        throw;
    }
    run.Told().Tell();
    if (options.isStrict && run.Told().Count() > 0)
        throw InputError("--strict makes each warning an error: no figures");
    report();
}

} // namespace quindal
