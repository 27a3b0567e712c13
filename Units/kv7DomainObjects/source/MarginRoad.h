// The way of a change through the levels, as far as positions, orders, deals and recalculations share it.
#pragma once

#include <optional>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "Enums.h"
#include "MarginOrchestrator.h"
#include "TradingCodes.h"
#include "book/PreparedRollUp.h"
#include "kv7errors.h"

namespace margin_orchestrator::road {

/// The firm and the account above a client, on the way of a change through them: where each adds the changes of losses,
/// if its rule has such sums, and what the firm's GO was before. Made, with room for the changes, before anything
/// changes: nothing fails afterwards.
class LevelsAbove
{
public:
    LevelsAbove(BraskBroker& firm, BraskSettlementAccount& account)
        : m_firm(firm), m_account(account), m_firmBefore(firm.GetMarginFigures())
    {}
    [[nodiscard]] BraskBroker& Firm() const noexcept { return m_firm; }
    [[nodiscard]] BraskSettlementAccount& Account() const noexcept { return m_account; }
    [[nodiscard]] const BraskBroker::MarginFigures& FirmBefore() const noexcept { return m_firmBefore; }
    /// True when some of the two takes changes of losses; only then are they collected. False for a firm under Gross
    /// below an account that is not HalfNetting.
    [[nodiscard]] bool SomeTakesLosses() const noexcept;

    template <class Changes>
    void MakeRoomFor(const Changes& changes);
    /// Sums the reports of all clients anew, instead of changes.
    void TakeAnew();
    /// Changes that count as reported have got lost on the way: the sums are behind until they are taken anew.
    void SetBehind() noexcept;
    [[nodiscard]] bool AreBehind() const noexcept;

    void AddToFirm(const kv7im::RolledUpRisksVector& deltas);
    void AddToAccount(const kv7im::RolledUpRisksVector& deltas);

private:
    /// Of one level: one of the two, or none.
    struct Level
    {
        std::optional<kv7im::Portfolio::PreparedSums> sums;
        std::optional<kv7im::Portfolio::SumsAnew> anew;

        void Add(const kv7im::RolledUpRisksVector& deltas);
    };
    [[nodiscard]] bool FirmHasSums() const noexcept { return m_firm.GetMarginRule() != Enums::MarginRule::Netting; }
    [[nodiscard]] bool AccountHasSums() const noexcept
    {
        return m_account.GetMarginRule() == Enums::MarginRule::HalfNetting;
    }

    BraskBroker& m_firm;
    BraskSettlementAccount& m_account;
    BraskBroker::MarginFigures m_firmBefore;
    Level m_ofFirm;
    Level m_ofAccount;
};

template <class Changes>
void LevelsAbove::MakeRoomFor(const Changes& changes)
{
    if (FirmHasSums()) m_ofFirm.sums.emplace(m_firm.GetPortfolio()).MakeRoomFor(changes);
    if (AccountHasSums()) m_ofAccount.sums.emplace(m_account.GetPortfolio()).MakeRoomFor(changes);
}

/// The changes of losses that a change of one instrument in a client's book carries up. Made before the book changes,
/// it takes what memory they need on all levels; nothing is collected where no level takes them.
class LossesOnTheWay
{
public:
    /// `change` is the change of the client's book (Portfolio::PreparedPosition, Portfolio::PreparedOrders). Where it
    /// takes the book anew, so are the levels above.
    template <class Change>
    LossesOnTheWay(BraskClient& client, Isin isin, const Change& change, LevelsAbove& above) : m_above(above)
    {
        if (!above.SomeTakesLosses()) return;
        if (change.TakesAnew())
            TakeAnew(client);
        else
            MakeRoom(client, isin, change.Found());
    }
    /// Collects the changes, once the book has changed.
    void Collect();
    [[nodiscard]] const kv7im::RolledUpRisksVector& Deltas() const noexcept { return m_deltas; }

private:
    void MakeRoom(BraskClient& client, Isin isin, const kv7im::Portfolio::SearchResult& found);
    void TakeAnew(BraskClient& client);

    std::optional<kv7im::Portfolio::PreparedReport> m_report;
    LevelsAbove& m_above;
    kv7im::RolledUpRisksVector m_deltas;
};

/// Adds the change of the firm's GO, as it is charged, to an account under Gross. Where the GO before has spoilt the
/// sum, it is taken anew over all firms of the account.
void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm,
                     const BraskBroker::MarginFigures& before);
/// Carries a change below to the account; does nothing under Netting.
void CarryToSettlementAccount(LevelsAbove& above, const kv7im::RolledUpRisksVector& deltas);

/// Carries changes up from the clients: to the firm and its money block, then to the account and its money block. A
/// level under Netting calls its function to change its own book instead of taking changes of losses.
template <class OwnOfFirm, class OwnOfAccount>
void CarryUpFromClients(LevelsAbove& above, const kv7im::RolledUpRisksVector& deltas, const OwnOfFirm& ownOfFirm,
                        const OwnOfAccount& ownOfAccount)
{
    if (above.Firm().GetMarginRule() == Enums::MarginRule::Netting)
        ownOfFirm();
    else
        above.AddToFirm(deltas);
    UpdateParticipantMeans(above.Firm());

    if (above.Account().GetMarginRule() == Enums::MarginRule::Netting)
        ownOfAccount();
    else
        CarryToSettlementAccount(above, deltas);
    UpdateParticipantMeans(above.Account());
}

/// Carries changes up from the clients where the records of a level under Netting come another way.
void CarryUpFromClients(LevelsAbove& above, const kv7im::RolledUpRisksVector& deltas);

/// Changes a firm by a record: `change` sets it in the firm's portfolio if the firm is under Netting and so keeps
/// records.
template <class Change>
[[nodiscard]] Z9ERR ChangeBroker(BraskBroker& broker, const Change& change)
{
    const BraskSettlementAccountPtr& account = broker.GetSettlementAccount();
    const BraskBroker::MarginFigures before = broker.GetMarginFigures();

    Z9ERR code = Z9ERR_OK;
    if (broker.GetMarginRule() == Enums::MarginRule::Netting) code = change(broker.GetPortfolio());
    UpdateParticipantMeans(broker);

    const Enums::MarginRule accountRule = account->GetMarginRule();
    if (accountRule != Enums::MarginRule::HalfNetting && accountRule != Enums::MarginRule::Netting)
        GrowGrossMargin(*account, broker, before);
    UpdateParticipantMeans(*account);
    return code;
}

/// Changes a settlement account by a record: `change` sets it in the account's portfolio if the account is under
/// Netting.
template <class Change>
[[nodiscard]] Z9ERR ChangeSettlementAccount(BraskSettlementAccount& account, const Change& change)
{
    Z9ERR code = Z9ERR_OK;
    if (account.GetMarginRule() == Enums::MarginRule::Netting) code = change(account.GetPortfolio());
    UpdateParticipantMeans(account);
    return code;
}

/// Finds the participant that code and recordType name and calls the function of its level.
template <class OfBroker, class OfClient, class OfAccount>
[[nodiscard]] Z9ERR DispatchByRecordType(const char* code, Enums::AccountHierarchyRecordType recordType,
                                         ParticipantRepository& repository, const OfBroker& ofBroker,
                                         const OfClient& ofClient, const OfAccount& ofAccount)
{
    if (recordType == Enums::AccountHierarchyRecordType::Broker)
        return ofBroker(repository.GetBroker(BrokerCode::Parse(code), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED));
    if (recordType == Enums::AccountHierarchyRecordType::Client)
        return ofClient(repository.GetClient(ClientCode::Parse(code)));
    const BraskSettlementAccountPtr& account = repository.GetSettlementAccountById(code);
    return ofAccount(*account);
}

/// Remembers the first code that is not 0.
inline void KeepFirst(Z9ERR& code, Z9ERR next) noexcept
{
    if (code == Z9ERR_OK) code = next;
}

} // namespace margin_orchestrator::road
