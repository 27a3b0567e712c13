#include "BookCheck.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "Suggestion.h"

namespace quindal {

namespace {

/// Characters of an account's id that distinguish it from others.
constexpr std::size_t AccountIdSize = 12;

/// A problem of one cell of a row.
template <class Row>
void Refuse(const Rows<Row>& rows, const Row& row, const char* column, const std::string& value,
            const std::string& reason, Problems& problems)
{
    problems.Add({rows.file, row.line, column, value, reason});
}

template <class Names>
std::string Suggested(std::string_view meant, const Names& names, const Problems& problems)
{
    if (problems.IsFull()) return {};
    Suggestion suggestion(meant);
    for (const auto& name : names)
        suggestion.Offer(name.first);
    return suggestion.Text();
}

std::string Twice(std::size_t line) { return "stands twice, first in line " + std::to_string(line); }

/// The accounts by level and name.
struct Names
{
    std::map<std::string, const AccountRow*, std::less<>> accounts;
    std::map<std::string, const AccountRow*, std::less<>> firms;
    std::map<std::string, const AccountRow*, std::less<>> clients;

    explicit Names(const Rows<AccountRow>& rows)
    {
        for (const AccountRow& row : rows.rows)
            if (row.level != AccountLevelRatio) Of(row.level).emplace(row.code, &row);
    }
    std::map<std::string, const AccountRow*, std::less<>>& Of(AccountLevel level)
    {
        if (level == AccountLevelSettlementAccount) return accounts;
        return level == AccountLevelFirm ? firms : clients;
    }
};

/// Each account, firm and client stands once, and so does each ratio.
void CheckRepeatedAccounts(const Rows<AccountRow>& accounts, Problems& problems)
{
    std::map<std::tuple<AccountLevel, std::string, std::string>, std::size_t> lines;
    for (const AccountRow& row : accounts.rows) {
        if (row.code.empty()) continue;
        const bool isAccount = row.level == AccountLevelSettlementAccount;
        const auto [before, isNew] =
            lines.emplace(std::tuple(row.level, isAccount ? row.code.substr(0, AccountIdSize) : row.code,
                                     row.level == AccountLevelRatio ? row.parent : std::string{}),
                          row.line);
        if (isNew) continue;
        const bool isLong = isAccount && row.code.size() > AccountIdSize;
        Refuse(accounts, row, "code", row.code,
               Twice(before->second) + (isLong ? ": its first 12 characters count" : ""), problems);
    }
}

void CheckFirmOfClient(const Rows<AccountRow>& accounts, const AccountRow& client, const Names& names,
                       Problems& problems)
{
    const std::string firm = FirmOf(client.code);
    if (!client.code.empty() && !names.firms.contains(firm))
        Refuse(accounts, client, "code", client.code,
               "begins with \"" + firm + "\", which is none of the firms in the accounts" +
                   Suggested(firm, names.firms, problems),
               problems);
    if (!client.parent.empty() && client.parent != firm)
        Refuse(accounts, client, "parent", client.parent, "is not the firm that the code begins with", problems);
}

void CheckHolder(const Rows<PositionRow>& positions, const PositionRow& row, Names& names, Problems& problems)
{
    static constexpr struct
    {
        std::int32_t level;
        AccountLevel ofAccounts;
        const char* called;
    } levels[] = {{QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, AccountLevelSettlementAccount, "settlement accounts"},
                  {QUINDAL_ACCOUNT_HIERARCHY_BROKER, AccountLevelFirm, "firms"},
                  {QUINDAL_ACCOUNT_HIERARCHY_CLIENT, AccountLevelClient, "clients"}};
    for (const auto& [level, ofAccounts, called] : levels) {
        if (level != row.level || row.code.empty()) continue;
        const auto& known = names.Of(ofAccounts);
        const auto holder = known.find(row.code);
        if (holder == known.end())
            Refuse(positions, row, "code", row.code,
                   std::string("is none of the ") + called + " in the accounts" + Suggested(row.code, known, problems),
                   problems);
        else if (ofAccounts != AccountLevelClient && holder->second->marginRule != QUINDAL_MARGIN_RULE_NETTING)
            Refuse(positions, row, "code", row.code,
                   "is not under the netting rule: what it holds comes from below, and a record of its own would not "
                   "count",
                   problems);
    }
}

/// Use of an instrument: orders stand in all of them, positions in futures and options only.
enum class Use
{
    Position,
    Order,
};

void CheckInstrument(const MarketCodes& codes, const auto& rows, const auto& row, Use use, Problems& problems)
{
    if (row.instrument.empty()) return;
    const auto refuse = [&](const std::string& reason) {
        Refuse(rows, row, "instrument", row.instrument, reason, problems);
    };
    const InstrumentKind* const kind = codes.Find(row.instrument);
    if (kind == nullptr)
        return refuse("is none of the instruments of the market" + Suggested(row.instrument, codes.Kinds(), problems));
    switch (*kind) {
    case InstrumentKind::BaseContract:
        return refuse("is a base contract: name a futures or an option of it");
    case InstrumentKind::OptionSeries:
        return refuse("is an option series: name one of its options");
    case InstrumentKind::CalendarSpread:
        if (use == Use::Position) refuse("is a calendar spread: hold its legs");
        return;
    default:
        return;
    }
}

void CheckPriceOfSpread(const MarketCodes& codes, const auto& rows, const auto& row, Problems& problems)
{
    const InstrumentKind* const kind = codes.Find(row.instrument);
    if (row.price == 0.0 && kind != nullptr && *kind == InstrumentKind::CalendarSpread)
        problems.Add({rows.file,
                      row.line,
                      "price",
                      {},
                      "is 0 or empty, and the calendar spread " + row.instrument +
                          " has no calculated price: give another one (0.000001 for nothing)"});
}

} // namespace

void CheckAccounts(const Rows<AccountRow>& accounts, Problems& problems)
{
    CheckRepeatedAccounts(accounts, problems);
    const Names names(accounts);
    for (const AccountRow& row : accounts.rows) {
        if (row.level == AccountLevelClient) CheckFirmOfClient(accounts, row, names, problems);
        if (row.level == AccountLevelFirm && !row.parent.empty() && !names.accounts.contains(row.parent))
            Refuse(accounts, row, "parent", row.parent,
                   "is none of the settlement accounts" + Suggested(row.parent, names.accounts, problems), problems);
        if (row.level == AccountLevelRatio && !row.code.empty() && !names.firms.contains(row.code))
            Refuse(accounts, row, "code", row.code,
                   "is none of the firms in the accounts" + Suggested(row.code, names.firms, problems), problems);
    }
}

void CheckRepeated(const Rows<PositionRow>& positions, Problems& problems)
{
    std::map<std::tuple<std::int32_t, std::string, std::string>, std::size_t> lines;
    for (const PositionRow& row : positions.rows) {
        if (row.code.empty() || row.instrument.empty()) continue;
        const auto [before, isNew] = lines.emplace(std::tuple(row.level, row.code, row.instrument), row.line);
        if (!isNew)
            Refuse(positions, row, "instrument", row.instrument, "of " + row.code + ' ' + Twice(before->second),
                   problems);
    }
}

void CheckHolders(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, Problems& problems)
{
    Names names(accounts);
    for (const PositionRow& row : positions.rows)
        CheckHolder(positions, row, names, problems);
}

void CheckClients(const Rows<AccountRow>& accounts, const Rows<OrderRow>& orders, Problems& problems)
{
    const Names names(accounts);
    for (const OrderRow& row : orders.rows)
        if (!row.client.empty() && !names.clients.contains(row.client))
            Refuse(orders, row, "client", row.client,
                   "is none of the clients in the accounts" + Suggested(row.client, names.clients, problems), problems);
}

void CheckInstruments(const MarketCodes& codes, const Rows<AccountRow>& accounts, Problems& problems)
{
    std::map<std::string_view, bool> contracts;
    for (const std::string& code : codes.BaseContracts())
        contracts.emplace(code, true);
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelRatio && !row.parent.empty() && !contracts.contains(row.parent))
            Refuse(accounts, row, "parent", row.parent,
                   "is none of the base contracts of the market" + Suggested(row.parent, contracts, problems),
                   problems);
}

void CheckInstruments(const MarketCodes& codes, const Rows<PositionRow>& positions, Problems& problems)
{
    for (const PositionRow& row : positions.rows)
        CheckInstrument(codes, positions, row, Use::Position, problems);
}

void CheckInstruments(const MarketCodes& codes, const Rows<OrderRow>& orders, Problems& problems)
{
    for (const OrderRow& row : orders.rows) {
        CheckInstrument(codes, orders, row, Use::Order, problems);
        CheckPriceOfSpread(codes, orders, row, problems);
    }
}

void CheckInstruments(const MarketCodes& codes, const Rows<BasketRow>& basket, bool isHeld, Problems& problems)
{
    for (const BasketRow& row : basket.rows) {
        CheckInstrument(codes, basket, row, isHeld ? Use::Position : Use::Order, problems);
        if (!isHeld) CheckPriceOfSpread(codes, basket, row, problems);
    }
}

} // namespace quindal
