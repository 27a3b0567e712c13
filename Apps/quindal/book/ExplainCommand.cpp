#include "ExplainCommand.h"

#include <algorithm>
#include <iostream>

#include "BookSelection.h"
#include "MarginPicture.h"
#include "Suggestion.h"
#include "WholeFile.h"

namespace quindal {

namespace {

void CheckClient(const std::string& client, const Rows<AccountRow>& accounts)
{
    Suggestion suggestion(client);
    for (const AccountRow& row : accounts.rows) {
        if (row.level != AccountLevelClient) continue;
        if (row.code == client) return;
        suggestion.Offer(row.code);
    }
    throw InputError("--client: \"" + client + "\" is none of the clients in the accounts" + suggestion.Text());
}

/// The part of a book that the margin of one client is made of: its positions and the accounts above it.
Book BookOf(const std::string& client, Book&& whole)
{
    Book book{{whole.accounts.file}, {whole.positions.file}, {}, std::move(whole.market)};
    for (const AccountRow* const row : AccountsOf(InOrderOfRegistration(whole.accounts), {client}))
        book.accounts.rows.push_back(*row);
    for (const PositionRow& row : whole.positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == client) book.positions.rows.push_back(row);
    return book;
}

} // namespace

int RunExplain(const ExplainOptions& options)
{
    QuindalIM::MarginExplanation explanation;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Book whole = run.Read({});
            CheckClient(options.client, whole.accounts);
            run.With(BookOf(options.client, std::move(whole)),
                     [&](MarginSession& session) { explanation = session.Explain(options.client); });
            provenance = run.Origin();
        },
        [&] {
            const PictureInput picture{"client " + options.client, explanation, provenance};
            if (!options.svg.empty()) WriteWhole(options.svg, PictureAsSvg(picture));
            if (!options.pdf.empty()) WriteWhole(options.pdf, PictureAsPdf(picture));
            if (options.showsProvenance && options.format == ExplainFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteExplanation(std::cout, options.client, explanation, provenance, options.format);
        });
    return StatusGood;
}

} // namespace quindal
