#include "BookSelection.h"

#include <algorithm>

namespace quindal {

namespace {

int StepOf(const AccountRow& row)
{
    switch (row.level) {
    case AccountLevelSettlementAccount:
        return 0;
    case AccountLevelFirm:
        return 1;
    case AccountLevelRatio:
        return 2;
    default:
        return 3;
    }
}

} // namespace

std::vector<const AccountRow*> InOrderOfRegistration(const Rows<AccountRow>& accounts)
{
    std::vector<const AccountRow*> rows;
    for (const AccountRow& row : accounts.rows)
        rows.push_back(&row);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const AccountRow* a, const AccountRow* b) { return StepOf(*a) < StepOf(*b); });
    return rows;
}

std::vector<const AccountRow*> AccountsOf(const std::vector<const AccountRow*>& rows,
                                          const std::set<std::string>& clients)
{
    std::set<std::string> firms;
    for (const std::string& client : clients)
        firms.insert(FirmOf(client));
    std::set<std::string> accounts;
    for (const AccountRow* const row : rows)
        if (row->level == AccountLevelFirm && firms.contains(row->code)) accounts.insert(row->parent);
    std::vector<const AccountRow*> needed;
    for (const AccountRow* const row : rows) {
        const auto& wanted = row->level == AccountLevelSettlementAccount ? accounts
                             : row->level == AccountLevelClient          ? clients
                                                                         : firms;
        if (wanted.contains(row->code)) needed.push_back(row);
    }
    return needed;
}

} // namespace quindal
