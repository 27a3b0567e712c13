// A run over a book of positions: where the instruments come from, who logs in, what is registered and held.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "DerivedLevels.h"
#include "InputFile.h"
#include "MarginSession.h"
#include "MarketCodes.h"
#include "MarketSource.h"
#include "Progress.h"
#include "Provenance.h"
#include "Rows.h"
#include "RunLog.h"
#include "Warnings.h"

namespace quindal {

struct BookOptions
{
    std::string iniFile;     // of a live server; or
    std::string instruments; // a market file, served by a private router and server for the length of the run
    std::string user;
    std::string accounts;
    std::string positions;
    std::string passwordVariable = "QUINDAL_PASSWORD"; // environment variable that holds the password
    bool isStrict = false;                             // a warning ends the run
    std::string currency;                              // of the margins, for the record; empty: not named
    bool showsProvenance = false;                      // at the head of tables; other formats always have it
    bool deriveLevels = false; // levels under netting without records take theirs from their clients
};

/// The rows of a run, checked as far as possible before anything is started.
struct Book
{
    Rows<AccountRow> accounts;
    Rows<PositionRow> positions;
    std::optional<Rows<OrderRow>> orders;
    std::optional<InputFile> market; // to be served; its instruments are checked with the rows
};

/// Further files of a command: read and checked against the book, and against the instruments once these are known.
struct FurtherFiles
{
    std::function<void(const Book&, Problems&)> read = {};
    std::function<void(const MarketCodes&, Problems&)> checkNames = {};
};

class BookRun
{
public:
    explicit BookRun(const BookOptions& options) : m_options(options), m_log(options.iniFile) {}

    /// Reads the files and checks them. `orders` is empty for none. Throws InputError that names everything that is
    /// wrong, and UsageError for a SOURCE_DATE_EPOCH that is none.
    [[nodiscard]] Book Read(const std::string& orders, const FurtherFiles& further = {});
    /// Reads the positions of another book with the same accounts and checks them. Throws InputError.
    [[nodiscard]] static Rows<PositionRow> ReadOther(const std::string& positions, const Rows<AccountRow>& accounts);
    /// Logs in, loads the instruments, registers the accounts, sets the positions and calls `body`. Throws InputError,
    /// CallError.
    void With(const Book& book, const std::function<void(MarginSession&)>& body);
    /// Registers the accounts and sets the positions of a book in the place of those that are there. Throws CallError.
    void Refill(MarginSession& session, const Book& book);
    /// Tells the progress of filling a session to somebody else, too.
    void OnProgress(Progress::Listener listener) { m_listener = std::move(listener); }
    /// Derives the records of levels that have none from their clients where that is asked for; warns of such levels
    /// otherwise.
    void CompleteLevels() noexcept { m_completesLevels = true; }

    /// What the figures come from: known behind Read for a market file, behind With for a server's instruments.
    [[nodiscard]] Provenance Origin() const { return {m_source, m_options.currency}; }

    [[nodiscard]] Warnings& Told() noexcept { return m_warnings; }
    /// Passes over the library's log lines since the last look: what was computed was none of the book.
    void Overlook() { static_cast<void>(m_log.Next()); }
    /// Ascribes the library's log lines since the last look to `where`.
    void Watch(const std::string& where) { m_warnings.Add(where, m_log.Next()); }

private:
    void Run(const Book& book, const std::string& iniFile, const std::string& password,
             const std::function<void(MarginSession&)>& body);
    void LoadInstruments(MarginSession& session, const Book& book);
    void CheckAllNames(const Book& book, const MarketCodes& codes, Problems& problems) const;
    void Fill(MarginSession& session, const Book& book);
    void FillLevels(MarginSession& session, const Book& book);

    const BookOptions& m_options;
    RunLog m_log;
    Warnings m_warnings;
    MarketSource m_source;
    Progress::Listener m_listener;
    bool m_completesLevels = false;
    FurtherFiles m_further;
};

/// Warns of levels under the netting rule that have no records of their own.
void WarnOf(const std::vector<EmptyLevel>& levels, const std::string& file, Warnings& warnings);
/// Warns of firms whose margin stays 0.00 by the rules of the accounts.
void WarnOfUnreachedFirms(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, Warnings& warnings);

/// Runs `body`, prints the warnings whether it succeeds or not, and then calls `report`. A strict run with warnings
/// throws InputError instead.
void Reported(const BookOptions& options, const std::function<void(BookRun&)>& body,
              const std::function<void()>& report);

} // namespace quindal
