// ActionTrials: what actions that nobody has taken would do to the margins of clients, firms and accounts.
//
// Each what-if starts from the book as its files have it: the levels that it concerns, whole up to their settlement
// accounts, are set up anew without the actions and then with them, so that no rounding of one what-if reaches another.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Actions.h"
#include "BookRun.h"
#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// Actions that are taken together: settings, executions and closings in their order, then the orders in theirs.
struct ActionsOfWhatIf
{
    std::string label;
    std::vector<const ActionRow*> actions;
};

/// The what-ifs of some actions, each by its label; a row without one is a what-if of its own, labelled # and its
/// number. The rows outlive the result.
[[nodiscard]] std::vector<ActionsOfWhatIf> WhatIfsOf(const Rows<ActionRow>& actions);

/// GO of a level without and with the actions of a what-if, money, in cents.
struct TriedLevel
{
    std::string label;
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT;
    std::string code;
    double before = 0.0;
    double after = 0.0;
};

struct TriedWhatIf
{
    std::vector<TriedLevel> levels;
    /// Levels that the actions leave under the netting rule without records of their own: "firm AA01".
    std::vector<std::string> withoutRecords;
};

class ActionTrials
{
public:
    /// The session has its instruments loaded; everything else in it is replaced by the first what-if. Session and rows
    /// outlive the trials. derivesLevels: levels under netting without records take theirs from their clients.
    ActionTrials(MarginSession& session, const Book& book, const Rows<ActionRow>& actions, bool derivesLevels)
        : m_session(session), m_book(book), m_actions(actions), m_derivesLevels(derivesLevels)
    {}

    /// The margins of those who act, of the levels above them, and of everybody else whose margin changes: clients,
    /// firms, accounts, each in the order of the accounts. Throws CallError.
    [[nodiscard]] TriedWhatIf Try(const ActionsOfWhatIf& whatIf);

private:
    /// Rows that a session is set up with.
    struct Part
    {
        Rows<AccountRow> accounts; // in the order of registration
        Rows<PositionRow> positions;
    };
    [[nodiscard]] Part PartOf(const ActionsOfWhatIf& whatIf) const;
    static void Apply(Part& part, const ActionsOfWhatIf& whatIf);
    static void Trade(Part& part, const ActionRow& action);
    [[nodiscard]] MarginFigures FiguresOf(const Part& part, const std::vector<const ActionRow*>& orders);

    MarginSession& m_session;
    const Book& m_book;
    const Rows<ActionRow>& m_actions;
    bool m_derivesLevels;
};

} // namespace quindal
