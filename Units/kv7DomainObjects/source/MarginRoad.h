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

/// True when some level above the client takes changes of losses; only then are they collected. False for a firm under
/// Gross below an account that is not HalfNetting.
[[nodiscard]] bool SomeLevelTakesLosses(const BraskBroker& firm, const BraskSettlementAccount& account) noexcept;
/// Where the levels above a client add the changes of its losses; a level under another rule has no sums. Made, with
/// room for the changes, before the client's book changes: nothing fails afterwards.
class SumsAbove
{
public:
    SumsAbove(BraskBroker& firm, BraskSettlementAccount& account);
    template <class Changes>
    void MakeRoomFor(const Changes& changes)
    {
        for (std::optional<kv7im::Portfolio::PreparedSums>* const sums : {&m_ofFirm, &m_ofAccount})
            if (*sums) (*sums)->MakeRoomFor(changes);
    }
    void AddToFirm(const kv7im::RolledUpRisksVector& deltas);
    void AddToAccount(const kv7im::RolledUpRisksVector& deltas);

private:
    std::optional<kv7im::Portfolio::PreparedSums> m_ofFirm;
    std::optional<kv7im::Portfolio::PreparedSums> m_ofAccount;
};

/// The changes of losses that a change of one instrument in a client's book carries up. Made before the book changes,
/// it takes what memory they need on all levels; nothing is collected where no level takes them.
class LossesOnTheWay
{
public:
    /// `found` is what the isin resolves to in the client's book.
    LossesOnTheWay(BraskClient& client, Isin isin, const kv7im::Portfolio::SearchResult& found, BraskBroker& firm,
                   BraskSettlementAccount& account);
    /// Collects the changes, once the book has changed.
    void Collect();
    [[nodiscard]] SumsAbove& Sums() noexcept { return m_sums; }
    [[nodiscard]] const kv7im::RolledUpRisksVector& Deltas() const noexcept { return m_deltas; }

private:
    std::optional<kv7im::Portfolio::PreparedReport> m_report;
    SumsAbove m_sums;
    kv7im::RolledUpRisksVector m_deltas;
};

/// Adds the change of the firm's GO, as it is charged, to an account under Gross.
void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm,
                     const BraskBroker::MarginFigures& before);
/// Carries a change below to the account; does nothing under Netting.
void CarryToSettlementAccount(BraskSettlementAccount& account, const BraskBroker& firm,
                              const BraskBroker::MarginFigures& before, SumsAbove& sums,
                              const kv7im::RolledUpRisksVector& deltas);

/// Carries changes up from the clients: to the firm and its money block, then to the account and its money block. A
/// level under Netting calls its function to change its own book instead of taking changes of losses.
template <class OwnOfFirm, class OwnOfAccount>
void CarryUpFromClients(BraskBroker& firm, BraskSettlementAccount& account, SumsAbove& sums,
                        const kv7im::RolledUpRisksVector& deltas, const OwnOfFirm& ownOfFirm,
                        const OwnOfAccount& ownOfAccount)
{
    // The figures of the firm's GO are kept for an account that sums the changes of the GO.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (firm.GetMarginRule() == Enums::MarginRule::Netting)
        ownOfFirm();
    else
        sums.AddToFirm(deltas);
    UpdateParticipantMeans(firm);

    if (account.GetMarginRule() == Enums::MarginRule::Netting)
        ownOfAccount();
    else
        CarryToSettlementAccount(account, firm, before, sums, deltas);
    UpdateParticipantMeans(account);
}

/// Carries changes up from the clients where the records of a level under Netting come another way.
void CarryUpFromClients(BraskBroker& firm, BraskSettlementAccount& account, SumsAbove& sums,
                        const kv7im::RolledUpRisksVector& deltas);

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
