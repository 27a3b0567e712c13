// PartOfBook: the rows that one margin is made of, and how a session is brought to hold them.
//
// A client's margin is made of its own positions and of the parameters of its firm; that of a firm or of an account, of
// what all clients below it hold and of its own records. Setting the rows anew, in the order of registration and of the
// file, adds the same numbers in the same sequence: the figures are those of a run over the whole book, to the last
// bit.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// Whose margin is looked at.
enum class MarginLevel
{
    Client,
    Firm,    // of the client
    Account, // settlement account of the firm
};

class PartOfBook
{
public:
    /// The part that the margin of a client, or of a level above it, is made of. The client is one of the accounts; the
    /// rows outlive the part. Throws InputError for the account of a firm that stands under none.
    PartOfBook(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, const std::string& client,
               MarginLevel level);

    /// Empties the session and sets the part up in it, with these positions of the client in the place of its own ones;
    /// those in instruments that it did not hold come last.
    void SetUp(MarginSession& session, const std::vector<PositionRow>& changed = {}) const;
    /// GO of the level, money, in cents, as the session has it.
    [[nodiscard]] double GO(const MarginSession& session) const;
    /// The client's row in an instrument; null for none.
    [[nodiscard]] const PositionRow* Find(const std::string& instrument) const;

    [[nodiscard]] const std::string& Client() const noexcept { return m_client; }
    /// "client CL01001", "firm CL01", "account CLIENTS".
    [[nodiscard]] std::string Name() const;
    /// Throws InputError that says why, where nothing that the client trades moves the margin of the level. Orders are
    /// handed up to a level under the netting rule, positions are not.
    void CheckMoves(bool byOrders) const;

private:
    void FindLevels(const std::vector<const AccountRow*>& rows);
    void TakeAccounts(const std::vector<const AccountRow*>& rows);
    void TakePositions();

    const Rows<AccountRow>& m_accountsFile;
    const Rows<PositionRow>& m_positionsFile;
    std::string m_client;
    MarginLevel m_level;
    std::string m_account; // above the firm; empty for none
    QuindalMarginRule m_ruleOfFirm = QUINDAL_MARGIN_RULE_HALF_NETTING;
    QuindalMarginRule m_ruleOfAccount = QUINDAL_MARGIN_RULE_GROSS;
    std::vector<const AccountRow*> m_accounts;
    std::vector<const PositionRow*> m_positions;
};

} // namespace quindal
