#include "Limits.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <utility>

#include "Words.h"

namespace quindal {

std::function<double(std::int32_t, const std::string&)> MarginsByLevel(const MarginFigures& figures)
{
    using Margins = std::map<std::pair<std::int32_t, std::string>, double>;
    const auto margins = std::make_shared<Margins>();
    for (const ClientFigures& client : figures.clients)
        margins->emplace(std::pair(QUINDAL_ACCOUNT_HIERARCHY_CLIENT, client.code), client.GO);
    for (const FirmFigures& firm : figures.firms)
        margins->emplace(std::pair(QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm.code), firm.GO);
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        margins->emplace(std::pair(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, account.id), account.GO);
    return [margins](std::int32_t level, const std::string& code) {
        const auto found = margins->find({level, code});
        return found == margins->end() ? 0.0 : found->second;
    };
}

std::vector<LimitUse> UsesOf(const Rows<MoneyRow>& limits, const MarginFigures& figures)
{
    const auto marginOf = MarginsByLevel(figures);
    std::vector<LimitUse> uses;
    for (const MoneyRow& row : limits.rows) {
        const double GO = marginOf(row.level, row.code);
        // Both are in cents, and so is their difference.
        uses.push_back({row.level, row.code, GO, row.money, std::round((row.money - GO) * 100.0) / 100.0});
    }
    std::stable_sort(uses.begin(), uses.end(), [](const LimitUse& a, const LimitUse& b) { return a.free < b.free; });
    return uses;
}

std::string_view HierarchyWord(std::int32_t level)
{
    for (const auto& [word, value] : PositionLevelWords)
        if (value == level) return word;
    return {};
}

} // namespace quindal
