#include "ActionTrials.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "BookSelection.h"
#include "DerivedLevels.h"
#include "FitTrade.h"

namespace quindal {

namespace {

using Level = std::pair<std::int32_t, std::string>;

/// The settlement account above a firm; empty for none.
std::string AccountOf(const Rows<AccountRow>& accounts, const std::string& firm)
{
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelFirm && row.code == firm) return row.parent;
    return {};
}

/// Those who act and the levels above them.
std::set<Level> Concerned(const ActionsOfWhatIf& whatIf, const Rows<AccountRow>& accounts)
{
    std::set<Level> levels;
    for (const ActionRow* const action : whatIf.actions) {
        levels.emplace(action->level, action->code);
        if (action->level == QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT) continue;
        const std::string firm =
            action->level == QUINDAL_ACCOUNT_HIERARCHY_BROKER ? action->code : FirmOf(action->code);
        levels.emplace(QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm);
        const std::string account = AccountOf(accounts, firm);
        if (!account.empty()) levels.emplace(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, account);
    }
    return levels;
}

bool IsHeldBy(const PositionRow& row, const ActionRow& action)
{
    return row.level == action.level && row.code == action.code &&
           (action.instrument.empty() || row.instrument == action.instrument);
}

bool IsOf(const AccountRow& row, const ActionRow& action)
{
    return row.level == AccountLevelOf(action.level) && row.code == action.code;
}

Order OrderOf(const ActionRow& action, const std::string& where)
{
    return {where, action.code, action.instrument, action.isBuy, action.quantity, action.price};
}

/// Adds the levels of one kind that are concerned, or changed.
template <class Figures, class Code>
void AddChanged(std::vector<TriedLevel>& tried, const std::string& label, std::int32_t level,
                const std::set<Level>& concerned, const std::vector<Figures>& before, const std::vector<Figures>& after,
                Code code)
{
    for (std::size_t i = 0; i < before.size(); ++i)
        if (concerned.contains({level, before[i].*code}) || before[i].GO != after[i].GO)
            tried.push_back({label, level, before[i].*code, before[i].GO, after[i].GO});
}

/// A level that has come under another rule than netting lives by what comes from below: its own records go.
void DropRecordsThatDoNotCount(const Rows<AccountRow>& accounts, Rows<PositionRow>& positions)
{
    std::set<Level> withoutRecords;
    for (const AccountRow& row : accounts.rows) {
        if (row.level == AccountLevelRatio || row.marginRule == QUINDAL_MARGIN_RULE_NETTING) continue;
        if (row.level == AccountLevelSettlementAccount)
            withoutRecords.emplace(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, row.code);
        if (row.level == AccountLevelFirm) withoutRecords.emplace(QUINDAL_ACCOUNT_HIERARCHY_BROKER, row.code);
    }
    std::erase_if(positions.rows, [&](const PositionRow& row) {
        return withoutRecords.contains({row.level, row.code});
    });
}

std::vector<std::string> NamesOfNew(const std::vector<EmptyLevel>& levels, const std::vector<EmptyLevel>& before)
{
    std::set<std::string> known;
    for (const EmptyLevel& level : before)
        known.insert(level.Name());
    std::vector<std::string> names;
    for (const EmptyLevel& level : levels)
        if (!known.contains(level.Name())) names.push_back(level.Name());
    return names;
}

} // namespace

std::vector<ActionsOfWhatIf> WhatIfsOf(const Rows<ActionRow>& actions)
{
    std::vector<ActionsOfWhatIf> whatIfs;
    std::unordered_map<std::string, std::size_t> labels; // -> place in whatIfs
    for (const ActionRow& row : actions.rows) {
        std::size_t place = whatIfs.size();
        if (!row.whatIf.empty()) place = labels.emplace(row.whatIf, place).first->second;
        if (place == whatIfs.size())
            whatIfs.push_back({row.whatIf.empty() ? '#' + std::to_string(place + 1) : row.whatIf, {}});
        whatIfs[place].actions.push_back(&row);
    }
    return whatIfs;
}

TriedWhatIf ActionTrials::Try(const ActionsOfWhatIf& whatIf)
{
    Part part = PartOf(whatIf);
    const MarginFigures before = FiguresOf(part, {});
    const std::vector<EmptyLevel> emptyBefore = LevelsWithoutRecords(part.accounts, part.positions);
    Apply(part, whatIf);
    std::vector<const ActionRow*> orders;
    std::copy_if(whatIf.actions.begin(), whatIf.actions.end(), std::back_inserter(orders),
                 [](const ActionRow* action) { return action->kind == ActionOrder; });
    const MarginFigures after = FiguresOf(part, orders);

    const std::set<Level> concerned = Concerned(whatIf, m_book.accounts);
    TriedWhatIf tried;
    AddChanged(tried.levels, whatIf.label, QUINDAL_ACCOUNT_HIERARCHY_CLIENT, concerned, before.clients, after.clients,
               &ClientFigures::code);
    AddChanged(tried.levels, whatIf.label, QUINDAL_ACCOUNT_HIERARCHY_BROKER, concerned, before.firms, after.firms,
               &FirmFigures::code);
    AddChanged(tried.levels, whatIf.label, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, concerned,
               before.settlementAccounts, after.settlementAccounts, &SettlementAccountFigures::id);
    if (!m_derivesLevels)
        tried.withoutRecords = NamesOfNew(LevelsWithoutRecords(part.accounts, part.positions), emptyBefore);
    return tried;
}

ActionTrials::Part ActionTrials::PartOf(const ActionsOfWhatIf& whatIf) const
{
    const std::set<Level> concerned = Concerned(whatIf, m_book.accounts);
    const auto isFirmOf = [&](const AccountRow& row) {
        return concerned.contains({QUINDAL_ACCOUNT_HIERARCHY_BROKER, row.code}) ||
               concerned.contains({QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, row.parent});
    };
    std::set<std::string> firms;
    for (const AccountRow& row : m_book.accounts.rows)
        if (row.level == AccountLevelFirm && isFirmOf(row)) firms.insert(row.code);
    Part part{{m_book.accounts.file}, {m_book.positions.file}};
    std::set<Level> holders;
    for (const AccountRow* const row : InOrderOfRegistration(m_book.accounts)) {
        const bool isAccount = row->level == AccountLevelSettlementAccount;
        const std::string firm = row->level == AccountLevelClient ? FirmOf(row->code) : row->code;
        if (isAccount ? !concerned.contains({QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, row->code})
                      : !firms.contains(firm))
            continue;
        part.accounts.rows.push_back(*row);
        if (isAccount) holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, row->code);
        if (row->level == AccountLevelFirm) holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_BROKER, row->code);
        if (row->level == AccountLevelClient) holders.emplace(QUINDAL_ACCOUNT_HIERARCHY_CLIENT, row->code);
    }
    for (const PositionRow& row : m_book.positions.rows)
        if (holders.contains({row.level, row.code})) part.positions.rows.push_back(row);
    return part;
}

void ActionTrials::Apply(Part& part, const ActionsOfWhatIf& whatIf)
{
    for (const ActionRow* const action : whatIf.actions) {
        switch (action->kind) {
        case ActionSet:
            for (AccountRow& row : part.accounts.rows)
                if (IsOf(row, *action)) Set(row, *action);
            break;
        case ActionClose:
            std::erase_if(part.positions.rows, [&](const PositionRow& row) { return IsHeldBy(row, *action); });
            break;
        case ActionExecute:
            Trade(part, *action);
            break;
        case ActionOrder:
            break; // placed in the book that the others leave
        }
    }
    DropRecordsThatDoNotCount(part.accounts, part.positions);
}

void ActionTrials::Trade(Part& part, const ActionRow& action)
{
    const auto priceOr = [&](double price) {
        return price == 0.0 ? MarginSession::CalculatedPrice(action.instrument) : price;
    };
    auto held = std::find_if(part.positions.rows.begin(), part.positions.rows.end(),
                             [&](const PositionRow& row) { return IsHeldBy(row, action); });
    if (held == part.positions.rows.end()) {
        PositionRow nothing;
        nothing.line = action.line;
        nothing.level = action.level;
        nothing.code = action.code;
        nothing.instrument = action.instrument;
        held = part.positions.rows.insert(held, nothing);
    }
    held->price = priceOr(held->price);
    *held = Traded(*held, action.isBuy ? action.quantity : -action.quantity, priceOr(action.price));
}

MarginFigures ActionTrials::FiguresOf(const Part& part, const std::vector<const ActionRow*>& orders)
{
    m_session.RemoveAccounts();
    for (const AccountRow& row : part.accounts.rows)
        m_session.Register(part.accounts.Where(row), row);
    for (const PositionRow& row : part.positions.rows)
        m_session.SetPosition(part.positions.Where(row), row);
    if (m_derivesLevels)
        for (const PositionRow& row :
             Derive(LevelsWithoutRecords(part.accounts, part.positions), &MarginSession::CalculatedPrice).rows)
            m_session.SetPosition("record of " + row.code + " derived from its clients", row);
    for (const ActionRow* const order : orders)
        static_cast<void>(m_session.PlaceOrder(OrderOf(*order, m_actions.Where(*order))));
    return m_session.Figures();
}

} // namespace quindal
