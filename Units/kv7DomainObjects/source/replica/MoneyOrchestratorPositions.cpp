// Positions that no deal brings: those that a session starts with, and all positions after a clearing.
#include "MarginOrchestrator.h"
#include "except.h"
#include "replica/MoneyLevels.h"

namespace money_orchestrator {

namespace {

/// Inserts a record into the accounting of a level that has none for the isin yet. Returns the closed VM that it
/// brings.
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

// True for a level that counts contracts; one that keeps accounting has records of its own.
bool CountsContracts(const ParticipantBase& level) { return !KeepsAccounting(level) && HasPositions(level); }

std::int64_t CheckedSum(std::int64_t a, std::int64_t b, Isin isin)
{
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        throw kv7base::CZ9Error(Z9ERR_COMMON_OVERFLOW, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    return sum;
}

/// The record with the contracts of a client's record added; refused, as in a deal, where a count leaves 64 bits.
SPosition WithContracts(SPosition record, const SPosition& position)
{
    const Isin isin = position.isin;
    record.quantity = CheckedSum(record.quantity, position.quantity, isin);
    record.afterLastClearingQuantity =
        CheckedSum(record.afterLastClearingQuantity, position.afterLastClearingQuantity, isin);
    return record;
}

void CheckContracts(const ParticipantBase& level, const SPosition& position)
{
    if (!CountsContracts(level)) return;
    const SPosition* const record = level.GetPositionCalculator().getPosition(position.isin);
    if (record != nullptr) static_cast<void>(WithContracts(*record, position));
}

// Adds the contracts of a client's record at a level that counts contracts.
void AddContracts(ParticipantBase& level, const SPosition& position)
{
    if (!CountsContracts(level)) return;
    SPosition& record = EnsureRecord(level, position.isin);
    record = WithContracts(record, position);
}

void Refresh(ParticipantBase& participant)
{
    participant.GetPositionCalculator().refreshAllPositions();
    StoreInMeans(participant, &Domain::Means::VMReserve, GetVMReserve(participant));
}

/// Everything that a firm has put into the account that it shares with others.
struct PutIn
{
    explicit PutIn(const BraskBroker& firm)
        : total(firm.GetPositionCalculator().VM),
          full(firm.GetPositionCalculator().VMFull),
          byCurrency(firm.GetPositionCalculator().VMCurr),
          fullByCurrency(firm.GetPositionCalculator().VMCurrFull),
          reserve(firm.GetMeans().VMReserve)
    {}

    t_bsum_int total;
    t_bsum_int full;
    VMCloseByCurrencies byCurrency;
    VMCloseByCurrencies fullByCurrency;
    t_bround_int reserve;
};

// Makes entries for all currencies, so that taking back cannot fail halfway.
void MakeRoom(CPositionCalculator& accounting, const PutIn& ofFirm)
{
    for (const auto& entry : ofFirm.byCurrency)
        accounting.VMCurr.try_emplace(entry.first);
    for (const auto& entry : ofFirm.fullByCurrency)
        accounting.VMCurrFull.try_emplace(entry.first);
}

void TakeBack(BraskSettlementAccount& account, const PutIn& ofFirm)
{
    CPositionCalculator& accounting = account.GetPositionCalculator();
    accounting.VMFull -= ofFirm.full;
    for (const auto& [currency, amount] : ofFirm.fullByCurrency)
        accounting.VMCurrFull[currency] -= amount;
    for (const auto& [currency, amount] : ofFirm.byCurrency)
        ChangeVMCloseByCurrencyByDelta(account, currency, -amount, {});
    ChangeVMCloseTotalByDelta(account, -ofFirm.total, -ofFirm.reserve);
}

// Takes a firm out of the account that stands in where firms have none, which outlives every session: the account loses
// what this firm had put in, once the firm itself no longer has it. A firm that is refused is asked again and must not
// be taken out twice.
void RefreshFirmOf(BraskSettlementAccount& account, BraskBroker& broker)
{
    const PutIn ofFirm(broker);
    MakeRoom(account.GetPositionCalculator(), ofFirm);
    Refresh(broker);
    TakeBack(account, ofFirm);
}

void RefreshFirm(BraskBroker& broker)
{
    for (BraskClient& client : broker.EnumerateClients())
        Refresh(client);
    BraskSettlementAccount& account = *broker.GetSettlementAccount();
    if (HasPositions(account))
        Refresh(broker);
    else
        RefreshFirmOf(account, broker);
}

} // namespace

Z9ERR InsertPosition(BraskClient& client, const SPosition& position)
{
    if (!KnownToBooks(client, position.isin)) return Z9ERR_INSTRUMENT_ABSENT;
    BraskBroker& firm = client.GetBroker();
    BraskSettlementAccount& account = *firm.GetSettlementAccount();
    const t_bround_int firmReserveBefore = firm.GetMeans().VMReserve;
    CheckContracts(firm, position);
    CheckContracts(account, position);

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
