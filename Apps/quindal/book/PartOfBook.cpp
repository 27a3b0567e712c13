#include "PartOfBook.h"

#include <algorithm>
#include <set>

#include "BookSelection.h"

namespace quindal {

namespace {

bool IsOfClient(const PositionRow& row, const std::string& client)
{
    return row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == client;
}

} // namespace

PartOfBook::PartOfBook(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, const std::string& client,
                       MarginLevel level)
    : m_accountsFile(accounts), m_positionsFile(positions), m_client(client), m_level(level)
{
    const std::vector<const AccountRow*> rows = InOrderOfRegistration(accounts);
    FindLevels(rows);
    TakeAccounts(rows);
    TakePositions();
}

void PartOfBook::FindLevels(const std::vector<const AccountRow*>& rows)
{
    const std::string firm = FirmOf(m_client);
    for (const AccountRow* const row : rows)
        if (row->level == AccountLevelFirm && row->code == firm) {
            m_account = row->parent;
            m_ruleOfFirm = row->marginRule;
        }
    for (const AccountRow* const row : rows)
        if (row->level == AccountLevelSettlementAccount && row->code == m_account) m_ruleOfAccount = row->marginRule;
    if (m_level == MarginLevel::Account && m_account.empty())
        throw InputError("the firm " + firm + " of the client " + m_client + " stands under no settlement account");
}

void PartOfBook::TakeAccounts(const std::vector<const AccountRow*>& rows)
{
    std::set<std::string> firms{FirmOf(m_client)};
    if (m_level == MarginLevel::Account)
        for (const AccountRow* const row : rows)
            if (row->level == AccountLevelFirm && row->parent == m_account) firms.insert(row->code);
    std::set<std::string> clients{m_client};
    if (m_level != MarginLevel::Client)
        for (const AccountRow* const row : rows)
            if (row->level == AccountLevelClient && firms.contains(FirmOf(row->code))) clients.insert(row->code);
    m_accounts = AccountsOf(rows, clients);
}

void PartOfBook::TakePositions()
{
    if (m_level == MarginLevel::Client) {
        for (const PositionRow& row : m_positionsFile.rows)
            if (IsOfClient(row, m_client)) m_positions.push_back(&row);
        return;
    }
    std::set<std::pair<std::int32_t, std::string>> holders;
    for (const AccountRow* const row : m_accounts) {
        if (row->level == AccountLevelClient) holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_CLIENT, row->code);
        if (row->level == AccountLevelFirm) holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_BROKER, row->code);
        if (row->level == AccountLevelSettlementAccount)
            holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, row->code);
    }
    for (const PositionRow& row : m_positionsFile.rows)
        if (holders.contains({row.level, row.code})) m_positions.push_back(&row);
}

void PartOfBook::SetUp(MarginSession& session, const std::vector<PositionRow>& changed) const
{
    session.RemoveAccounts();
    for (const AccountRow* const row : m_accounts)
        session.Register(m_accountsFile.Where(*row), *row);
    const auto find = [&](const PositionRow& row) {
        return std::find_if(changed.begin(), changed.end(), [&](const PositionRow& other) {
            return IsOfClient(row, m_client) && row.instrument == other.instrument;
        });
    };
    for (const PositionRow* const row : m_positions) {
        const auto other = changed.empty() ? changed.end() : find(*row);
        session.SetPosition(m_positionsFile.Where(*row), other == changed.end() ? *row : *other);
    }
    for (const PositionRow& row : changed)
        if (Find(row.instrument) == nullptr) session.SetPosition({}, row);
}

double PartOfBook::GO(const MarginSession& session) const
{
    switch (m_level) {
    case MarginLevel::Firm:
        return MarginSession::GOOfFirm(FirmOf(m_client));
    case MarginLevel::Account:
        return MarginSession::GOOfAccount(m_account);
    default:
        return session.FiguresOf(m_client).GO;
    }
}

const PositionRow* PartOfBook::Find(const std::string& instrument) const
{
    const auto found = std::find_if(m_positions.begin(), m_positions.end(), [&](const PositionRow* row) {
        return IsOfClient(*row, m_client) && row->instrument == instrument;
    });
    return found == m_positions.end() ? nullptr : *found;
}

std::string PartOfBook::Name() const
{
    if (m_level == MarginLevel::Client) return "client " + m_client;
    return m_level == MarginLevel::Firm ? "firm " + FirmOf(m_client) : "account " + m_account;
}

void PartOfBook::CheckMoves(bool byOrders) const
{
    if (m_level == MarginLevel::Client) return;
    const std::string unmoved = "nothing that " + m_client + " trades moves the margin of ";
    const auto check = [&](QuindalMarginRule rule, const std::string& name) {
        if (rule == QUINDAL_MARGIN_RULE_NETTING && !byOrders)
            throw InputError("the position of " + m_client + " does not move the margin of " + Name() + ": " + name +
                             " is under the netting rule and lives by records of its own; ask with --as order, or for "
                             "--level client");
    };
    const bool isAccount = m_level == MarginLevel::Account;
    if (isAccount) check(m_ruleOfAccount, "it");
    if (isAccount && m_ruleOfAccount != QUINDAL_MARGIN_RULE_GROSS) return;
    check(m_ruleOfFirm, isAccount ? "the firm below it" : "it");
    if (m_ruleOfFirm == QUINDAL_MARGIN_RULE_GROSS && m_ruleOfAccount != QUINDAL_MARGIN_RULE_HALF_NETTING)
        throw InputError(unmoved + Name() + ": the firm is under the gross rule, below an account that is not under " +
                         "half_netting; ask for --level client");
}

} // namespace quindal
