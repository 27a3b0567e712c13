// Positions that no deal brings: those that a session starts with, and all of them behind a clearing.
#include "MarginOrchestrator.h"
#include "MoneyLevels.h"

namespace money_orchestrator {

namespace {

/// A record in the accounting of a level that has none for the isin yet. The closed VM that it brings.
ClosedVM InsertRecord(ParticipantBase& participant, const SPosition& position)
{
    CPositionCalculator& accounting = participant.GetPositionCalculator();
    const t_bsum_int total = accounting.VM;
    const t_bsum_int full = accounting.VMFull;
    accounting.InsertPosition(position, true, true);
    StoreInMeans(participant, &Domain::Means::VMReserve, GetVMReserve(participant));

    ClosedVM brought;
    brought.total = accounting.VM - total;
    brought.full = accounting.VMFull - full;
    const Legs legs(1, Leg(*accounting.getPosition(position.isin)->instr));
    for (const std::int32_t currency : CurrenciesOf(legs))
        brought.byCurrency.push_back({currency, accounting.VMCurr.contains(currency), brought.total, brought.full});
    return brought;
}

// The contracts of a client's record at a level that counts them. A level that keeps accounting has its own records.
void AddContracts(ParticipantBase& level, const SPosition& position)
{
    if (KeepsAccounting(level) || !HasPositions(level)) return;
    SPosition& record = EnsureRecord(level, position.isin);
    record.quantity = kv7base::detail::WrappingAdd(record.quantity, position.quantity);
    record.afterLastClearingQuantity =
        kv7base::detail::WrappingAdd(record.afterLastClearingQuantity, position.afterLastClearingQuantity);
}

void Refresh(ParticipantBase& participant)
{
    participant.GetPositionCalculator().refreshAllPositions();
    StoreInMeans(participant, &Domain::Means::VMReserve, GetVMReserve(participant));
}

// The account that stands in where a firm has none outlives every session: it loses what this firm had put in.
void TakeBack(BraskSettlementAccount& account, const BraskBroker& broker)
{
    const CPositionCalculator& ofFirm = broker.GetPositionCalculator();
    CPositionCalculator& accounting = account.GetPositionCalculator();
    accounting.VMFull -= ofFirm.VMFull;
    for (const auto& [currency, amount] : ofFirm.VMCurrFull)
        accounting.VMCurrFull[currency] -= amount;
    for (const auto& [currency, amount] : ofFirm.VMCurr)
        ChangeVMCloseByCurrencyByDelta(account, currency, -amount, {});
    ChangeVMCloseTotalByDelta(account, -ofFirm.VM, -broker.GetMeans().VMReserve);
}

void RefreshFirm(BraskBroker& broker)
{
    for (BraskClient& client : broker.EnumerateClients())
        Refresh(client);
    BraskSettlementAccount& account = *broker.GetSettlementAccount();
    if (!HasPositions(account)) TakeBack(account, broker);
    Refresh(broker);
}

} // namespace

Z9ERR InsertPosition(BraskClient& client, const SPosition& position)
{
    if (!KnownToBooks(client, position.isin)) return Z9ERR_INSTRUMENT_ABSENT;
    BraskBroker& firm = client.GetBroker();
    BraskSettlementAccount& account = *firm.GetSettlementAccount();
    const t_bround_int firmReserveBefore = firm.GetMeans().VMReserve;

    const ClosedVM ofClient = InsertRecord(client, position);
    CountPosition(client, Leg(*client.GetPositionCalculator().getPosition(position.isin)->instr), position.quantity);
    AddContracts(firm, position);
    TakeOver(firm, ofClient);
    AddContracts(account, position);
    TakeOver(account, KeepsAccounting(firm) ? ClosedVM() : ofClient, firm.GetMeans().VMReserve - firmReserveBefore);
    return margin_orchestrator::SetPositionClient(client, position.isin, position.quantity, position.waprice.AsDouble(),
                                                  position.afterLastClearingQuantity);
}

Z9ERR InsertPosition(BraskBroker& broker, const SPosition& position)
{
    if (!KeepsAccounting(broker)) return Z9ERR_OK;
    if (!KnownToBooks(broker, position.isin)) return Z9ERR_INSTRUMENT_ABSENT;
    const t_bround_int reserveBefore = broker.GetMeans().VMReserve;
    const ClosedVM ofFirm = InsertRecord(broker, position);
    TakeOver(*broker.GetSettlementAccount(), ofFirm, broker.GetMeans().VMReserve - reserveBefore);
    return margin_orchestrator::SetPositionBroker(broker, position.isin, position.quantity, position.waprice.AsDouble(),
                                                  position.afterLastClearingQuantity);
}

Z9ERR InsertPosition(BraskSettlementAccount& account, const SPosition& position)
{
    if (!KeepsAccounting(account)) return Z9ERR_OK;
    if (!KnownToBooks(account, position.isin)) return Z9ERR_INSTRUMENT_ABSENT;
    static_cast<void>(InsertRecord(account, position));
    return margin_orchestrator::SetPositionSettlementAccount(
        account, position.isin, position.quantity, position.waprice.AsDouble(), position.afterLastClearingQuantity);
}

void RefreshPositions(ParticipantRepository& repository)
{
    for (BraskBroker& broker : repository.EnumerateBrokers())
        RefreshFirm(broker);
    for (const BraskSettlementAccountPtr& account : repository.EnumerateSettlementAccounts())
        Refresh(*account);
}

} // namespace money_orchestrator
