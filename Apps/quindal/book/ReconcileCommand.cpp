#include "ReconcileCommand.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <set>

#include "BookCheck.h"
#include "BookSelection.h"
#include "Progress.h"
#include "ReconcileReport.h"

namespace quindal {

namespace {

/// The further files of the command.
struct ReconcileInput
{
    Rows<MoneyRow> clearing;
    std::optional<Rows<PositionRow>> otherPositions;
};

ReconcileInput ReadFurther(const ReconcileOptions& options, const Book& book, Problems& problems)
{
    ReconcileInput input{ReadClearing(ReadInput(options.report), problems), {}};
    CheckRepeated(input.clearing, problems);
    if (options.otherPositions.empty()) return input;
    input.otherPositions = ReadPositions(ReadInput(options.otherPositions), problems);
    CheckRepeated(*input.otherPositions, problems);
    CheckHolders(book.accounts, *input.otherPositions, problems);
    return input;
}

/// The clients that are looked into: off, in the book, told by the clearing; the largest differences first.
std::vector<ReconciledLevel*> ClientsToExplain(std::vector<ReconciledLevel>& levels, std::size_t most)
{
    std::vector<ReconciledLevel*> clients;
    for (ReconciledLevel& level : levels)
        if (level.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && level.agreement == Agreement::Off && level.ours &&
            level.clearing && clients.size() < most)
            clients.push_back(&level);
    return clients;
}

void Append(std::vector<std::string>& to, std::vector<std::string> further)
{
    std::move(further.begin(), further.end(), std::back_inserter(to));
}

/// What the rows of the clients themselves would explain.
void TryRows(BookRun& run, MarginSession& session, const Book& book, const ReconcileInput& input,
             const std::vector<ReconciledLevel*>& clients)
{
    ClientTrials trials(session, book.accounts, book.positions);
    Progress progress("differences", clients.size());
    for (ReconciledLevel* const client : clients) {
        Append(client->explanations, ExplainedByNumbers(*client->ours, *client->clearing));
        if (input.otherPositions) {
            ClientTrials others(session, book.accounts, *input.otherPositions);
            if (others.Agrees(client->code, *client->clearing))
                client->explanations.push_back("the positions of " + input.otherPositions->file);
        }
        Append(client->explanations, trials.Explain(client->code, *client->clearing));
        progress.Step();
    }
    run.Overlook(); // what the library said of books that are none of ours
}

/// The clients' part of a book, with another market.
Book InOtherMarket(const Book& book, const std::set<std::string>& clients, InputFile market)
{
    Book other{{book.accounts.file}, {book.positions.file}, {}, std::move(market)};
    for (const AccountRow* const row : AccountsOf(InOrderOfRegistration(book.accounts), clients))
        other.accounts.rows.push_back(*row);
    for (const PositionRow& row : book.positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && clients.contains(row.code))
            other.positions.rows.push_back(row);
    return other;
}

/// Whether the same book in another market has the clearing's margins.
void TryMarket(const ReconcileOptions& options, const Book& book, const std::vector<ReconciledLevel*>& clients)
{
    if (options.otherInstruments.empty() || clients.empty()) return;
    std::set<std::string> names;
    for (const ReconciledLevel* const client : clients)
        names.insert(client->code);
    BookOptions inOther = static_cast<const BookOptions&>(options); // what says where a book comes from
    inOther.iniFile.clear();
    inOther.instruments = options.otherInstruments;
    BookRun run(inOther);
    const Book other = InOtherMarket(book, names, ReadInput(options.otherInstruments));
    const Book nobody{other.accounts, {other.positions.file}, {}, other.market};
    run.With(nobody, [&](MarginSession& session) {
        ClientTrials trials(session, other.accounts, other.positions);
        for (ReconciledLevel* const client : clients)
            if (trials.Agrees(client->code, *client->clearing))
                client->explanations.insert(client->explanations.begin(), "the market of " + other.market->name);
    });
}

} // namespace

int RunReconcile(const ReconcileOptions& options)
{
    ReconcileReport report{options.tolerance, {}};
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            ReconcileInput input;
            const auto readFurther = [&](const Book& read, Problems& problems) {
                input = ReadFurther(options, read, problems);
            };
            const auto checkNames = [&](const MarketCodes& codes, Problems& problems) {
                if (input.otherPositions) CheckInstruments(codes, *input.otherPositions, problems);
            };
            const Book book = run.Read({}, {readFurther, checkNames});
            run.CompleteLevels();
            std::vector<ReconciledLevel*> clients;
            run.With(book, [&](MarginSession& session) {
                report.levels = Reconciled(input.clearing, session.Figures(), options.tolerance);
                clients = ClientsToExplain(report.levels, options.explained);
                TryRows(run, session, book, input, clients);
            });
            TryMarket(options, book, clients);
            for (ReconciledLevel& level : report.levels)
                if (level.agreement == Agreement::Off)
                    Append(level.explanations, ExplainedByClients(level, report.levels, book.accounts));
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteReconciliation(std::cout, report, provenance, options.format);
        });
    const bool isOff = std::any_of(report.levels.begin(), report.levels.end(),
                                   [](const ReconciledLevel& level) { return level.agreement == Agreement::Off; });
    return isOff ? StatusDoesNotHold : StatusGood;
}

} // namespace quindal
