#include "WhatIf.h"

#include <set>
#include <unordered_map>

#include "BookSelection.h"

namespace quindal {

std::vector<WhatIf> WhatIfsOf(const Rows<OrderRow>& orders)
{
    std::vector<WhatIf> whatIfs;
    std::unordered_map<std::string, std::size_t> labels; // -> place in whatIfs
    for (const OrderRow& row : orders.rows) {
        std::size_t place = whatIfs.size();
        if (!row.whatIf.empty()) place = labels.emplace(row.whatIf, place).first->second;
        if (place == whatIfs.size())
            whatIfs.push_back({row.whatIf.empty() ? '#' + std::to_string(place + 1) : row.whatIf, {}});
        whatIfs[place].orders.push_back(
            {orders.Where(row), row.client, row.instrument, row.isBuy, row.quantity, row.price});
    }
    return whatIfs;
}

WhatIfBook::WhatIfBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
    : m_session(session), m_accounts(accounts), m_positions(positions), m_order(InOrderOfRegistration(accounts))
{
    for (const PositionRow& row : positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT) m_positionsOfClients[row.code].push_back(&row);
}

void WhatIfBook::Restore(const std::vector<std::string>& clients)
{
    m_session.RemoveAccounts();
    const std::set<std::string> wanted(clients.begin(), clients.end());
    for (const AccountRow* const row : AccountsOf(m_order, wanted))
        m_session.Register(m_accounts.Where(*row), *row);
    for (const std::string& client : clients) {
        const auto own = m_positionsOfClients.find(client);
        if (own == m_positionsOfClients.end()) continue;
        for (const PositionRow* const row : own->second)
            m_session.SetPosition(m_positions.Where(*row), *row);
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
