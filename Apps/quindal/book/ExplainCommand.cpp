#include "ExplainCommand.h"

#include <iostream>

#include "MarginChart.h"
#include "WholeFile.h"
#include "Words.h"

namespace quindal {

namespace {

void CheckClient(const std::string& client, const CsvTable& accounts)
{
    for (std::size_t i = 0; i < accounts.size(); ++i)
        if (accounts[i].OneOf("level", AccountLevelWords, AccountLevelClient) == AccountLevelClient &&
            accounts[i].Text("code") == client)
            return;
    throw InputError("--client: \"" + client + "\" is none of the clients in the accounts");
}

} // namespace

int RunExplain(const ExplainOptions& options)
{
    return Reported([&] {
        const BookTables tables(options);
        CheckClient(options.client, tables.accounts);
        QuindalIM::MarginExplanation explanation;
        WithBook(options, tables, [&](MarginSession& session) { explanation = session.Explain(options.client); });
        if (!options.svg.empty()) WriteWhole(options.svg, DrawMargin(options.client, explanation));
        WriteExplanation(std::cout, options.client, explanation, options.format);
    });
}

} // namespace quindal
