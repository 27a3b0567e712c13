#include "WhatIf.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Words.h"

namespace quindal {

namespace {

constexpr std::array<std::string_view, 6> OrderColumns{"what_if", "client", "instrument", "side", "quantity", "price"};

Order ReadOrder(const CsvRow& row)
{
    Order order;
    order.where = row.Where();
    order.client = row.Required("client");
    order.instrument = row.Required("instrument");
    (void)row.Required("side");
    order.isBuy = row.OneOf("side", SideWords, 0) != 0;
    (void)row.Required("quantity");
    order.quantity = row.Integer("quantity", 0);
    if (order.quantity <= 0)
        throw row.Error("column \"quantity\": " + std::to_string(order.quantity) + " is not above 0");
    order.price = row.Number("price", 0.0);
    return order;
}

std::int32_t LevelOf(const CsvRow& row) { return row.OneOf("level", AccountLevelWords, AccountLevelClient); }

/// Whether a row of the accounts is a client's.
bool IsClient(const CsvRow& row) { return LevelOf(row) == AccountLevelClient; }

std::string FirmOf(const std::string& client) { return client.substr(0, 4); }

} // namespace

std::vector<WhatIf> ReadWhatIfs(const std::string& file)
{
    const CsvTable table(file, OrderColumns);
    std::vector<WhatIf> whatIfs;
    std::unordered_map<std::string, std::size_t> labels; // -> place in whatIfs
    for (std::size_t i = 0; i < table.size(); ++i) {
        const CsvRow row = table[i];
        const std::string& label = row.Text("what_if");
        std::size_t place = whatIfs.size();
        if (!label.empty()) place = labels.emplace(label, place).first->second;
        if (place == whatIfs.size()) whatIfs.push_back({label.empty() ? '#' + std::to_string(place + 1) : label, {}});
        whatIfs[place].orders.push_back(ReadOrder(row));
    }
    return whatIfs;
}

void CheckClients(const std::vector<WhatIf>& whatIfs, const CsvTable& accounts)
{
    std::unordered_set<std::string> clients;
    for (std::size_t i = 0; i < accounts.size(); ++i)
        if (IsClient(accounts[i])) clients.insert(accounts[i].Text("code"));
    for (const WhatIf& whatIf : whatIfs)
        for (const Order& order : whatIf.orders)
            if (!clients.contains(order.client))
                throw InputError(order.where + ": column \"client\": \"" + order.client +
                                 "\" is none of the clients in the accounts");
}

WhatIfBook::WhatIfBook(MarginSession& session, const CsvTable& accounts, const CsvTable& positions)
    : m_session(session), m_accounts(accounts), m_positions(positions)
{
    for (std::size_t i = 0; i < accounts.size(); ++i) {
        const CsvRow row = accounts[i];
        if (IsClient(row))
            m_accountsOfClients[row.Text("code")].push_back(i);
        else if (LevelOf(row) == AccountLevelSettlementAccount)
            m_settlementAccounts.push_back(i);
        else // a firm, or one of its ratios
            m_accountsOfFirms[row.Text("code")].push_back(i);
    }
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const CsvRow row = positions[i];
        if (row.OneOf("level", PositionLevelWords, QUINDAL_ACCOUNT_HIERARCHY_CLIENT) ==
            QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
            m_positionsOfClients[row.Text("code")].push_back(i);
    }
}

void WhatIfBook::Restore(const std::vector<std::string>& clients)
{
    m_session.RemoveAccounts();
    // In the order of the file, where each stands behind what it needs.
    Rows rows = m_settlementAccounts;
    const auto take = [&rows](const Rows& own) { rows.insert(rows.end(), own.begin(), own.end()); };
    std::set<std::string> firms;
    for (const std::string& client : clients) {
        take(m_accountsOfClients.at(client));
        const std::string firm = FirmOf(client);
        if (firms.insert(firm).second) take(m_accountsOfFirms.at(firm));
    }
    std::sort(rows.begin(), rows.end());
    for (const std::size_t row : rows)
        m_session.Register(m_accounts[row]);
    for (const std::string& client : clients) {
        const auto own = m_positionsOfClients.find(client);
        if (own == m_positionsOfClients.end()) continue;
        for (const std::size_t row : own->second)
            m_session.SetPosition(m_positions[row]);
    }
}

std::vector<WhatIfFigures> WhatIfBook::Try(const WhatIf& whatIf)
{
    std::vector<std::string> clients; // each once, as they are first named
    std::unordered_map<std::string, std::size_t> places;
    for (const Order& order : whatIf.orders)
        if (places.emplace(order.client, clients.size()).second) clients.push_back(order.client);
    Restore(clients);
    std::vector<WhatIfFigures> figures;
    for (const std::string& client : clients) {
        const ClientFigures before = m_session.FiguresOf(client);
        figures.push_back({whatIf.label, before, before});
    }
    for (const Order& order : whatIf.orders)
        figures[places.at(order.client)].after = m_session.PlaceOrder(order);
    return figures;
}

} // namespace quindal
