#include "BookOfClient.h"

#include <utility>

#include "BookSelection.h"
#include "Suggestion.h"

namespace quindal {

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

Book BookOf(const std::string& client, Book&& whole)
{
    Book book{{whole.accounts.file}, {whole.positions.file}, {}, std::move(whole.market)};
    for (const AccountRow* const row : AccountsOf(InOrderOfRegistration(whole.accounts), {client}))
        book.accounts.rows.push_back(*row);
    for (const PositionRow& row : whole.positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == client) book.positions.rows.push_back(row);
    return book;
}

} // namespace quindal
