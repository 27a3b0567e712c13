#include "replica/MoneyLevels.h"

#include <algorithm>

#include "ParticipantRegistrar.h"
#include "instruments/InstrumentsRepositoryWrapper.h"

namespace money_orchestrator {

namespace {

const pos::SBaseContract* BaseContractOf(const pos::SInstrCLR& instrument)
{
    return instrument.instrType == Enums::InstrumentType::Option
               ? static_cast<const pos::SOption&>(instrument).virtFutures->fut->bc
               : static_cast<const pos::SFutures&>(instrument).bc;
}

t_bsum_int AmountIn(const VMCloseByCurrencies& sums, std::int32_t currency)
{
    const auto found = sums.find(currency);
    return found == sums.end() ? t_bsum_int() : found->second;
}

void SetAmountIn(VMCloseByCurrencies& sums, std::int32_t currency, bool isKept, t_bsum_int amount) noexcept
{
    const auto found = sums.find(currency);
    if (found == sums.end()) return;
    if (isKept)
        found->second = amount;
    else
        sums.erase(found);
}

// Adds closed VM to a level that counts contracts. The changes by currency carry no change of the firm's reserve, since
// the total brings it once.
template <class Level, class... FirmReserve>
void TakeOverUnlessNetting(Level& level, const ClosedVM& below, FirmReserve... firmReserveDelta)
{
    if (KeepsAccounting(level)) {
        ChangeVMCloseTotalByDelta(level, t_bsum_int(), firmReserveDelta...);
        return;
    }
    CPositionCalculator& accounting = level.GetPositionCalculator();
    accounting.VMFull += below.full;
    for (const ClosedVM::OfCurrency& part : below.byCurrency) {
        accounting.VMCurrFull[part.currency] += part.full;
        if (part.isKept) ChangeVMCloseByCurrencyByDelta(level, part.currency, part.amount, FirmReserve()...);
    }
    ChangeVMCloseTotalByDelta(level, below.total, firmReserveDelta...);
}

} // namespace

void StoreInMeans(ParticipantBase& participant, t_bround_int Domain::Means::*field, t_bround_int value) noexcept
{
    Domain::Means& means = participant.GetMeansForUpdate();
    means.*field = value;
    means.Recalculate();
}

bool HasPositions(const ParticipantBase& participant) { return &participant != GetDummySettlementAccount().get(); }

bool KnownToBooks(const ParticipantBase& participant, Isin isin)
{
    return participant.GetInstruments().GetBaseContractByDerivative(isin) != nullptr;
}

SPosition& EnsureRecord(ParticipantBase& participant, Isin isin)
{
    CPositionCalculator& accounting = participant.GetPositionCalculator();
    if (SPosition* const standing = accounting.getPosition(isin)) return *standing;
    SPosition flat;
    flat.isin = isin;
    if (KeepsAccounting(participant))
        accounting.InsertPosition(flat, false, false);
    else
        accounting.InsertPositionForHalfNettingAndGross(flat);
    return *accounting.getPosition(isin);
}

Leg::Leg(const pos::SInstrCLR& instrument)
    : isin(instrument.isin), type(instrument.instrType), baseContract(BaseContractOf(instrument))
{}

Currencies CurrenciesOf(const Legs& legs)
{
    Currencies currencies;
    for (const Leg& leg : legs) {
        const std::int32_t currency = leg.baseContract->indicatorIndex;
        const bool isKnown = std::find(currencies.begin(), currencies.end(), currency) != currencies.end();
        if (leg.baseContract->is_curr && !isKnown) currencies.push_back(currency);
    }
    return currencies;
}

ClosedVM& ClosedVM::operator-=(const ClosedVM& other) noexcept
{
    total -= other.total;
    full -= other.full;
    for (std::size_t i = 0; i < byCurrency.size(); ++i) {
        byCurrency[i].amount -= other.byCurrency[i].amount;
        byCurrency[i].full -= other.byCurrency[i].full;
    }
    return *this;
}

ClosedVM ReadClosedVM(const ParticipantBase& participant, const Currencies& currencies)
{
    const CPositionCalculator& accounting = participant.GetPositionCalculator();
    ClosedVM sums;
    sums.total = accounting.VM;
    sums.full = accounting.VMFull;
    for (const std::int32_t currency : currencies)
        sums.byCurrency.push_back({currency, accounting.VMCurr.contains(currency),
                                   AmountIn(accounting.VMCurr, currency), AmountIn(accounting.VMCurrFull, currency),
                                   accounting.VMCurrFull.contains(currency)});
    return sums;
}

void WriteClosedVM(ParticipantBase& participant, const ClosedVM& sums) noexcept
{
    CPositionCalculator& accounting = participant.GetPositionCalculator();
    accounting.VM = sums.total;
    accounting.VMFull = sums.full;
    for (const ClosedVM::OfCurrency& part : sums.byCurrency) {
        SetAmountIn(accounting.VMCurr, part.currency, part.isKept, part.amount);
        SetAmountIn(accounting.VMCurrFull, part.currency, part.isKeptInFull, part.full);
    }
}

void TakeOver(BraskBroker& broker, const ClosedVM& below) { TakeOverUnlessNetting(broker, below); }

void TakeOver(BraskSettlementAccount& account, const ClosedVM& below, t_bround_int firmReserveDelta)
{
    TakeOverUnlessNetting(account, below, firmReserveDelta);
}

void CountPosition(BraskClient& client, const Leg& leg, std::int64_t deltaQuantity)
{
    OrdersAndPositionsQuantitiesCounterGuard guard(client.GetOrdersAndPositionsQuantitiesCounter());
    guard.ChangePosition(leg.isin, deltaQuantity);
    client.GetQuantitiesCounter().ChangePosition(leg.baseContract->isin, leg.type, deltaQuantity);
    guard.Confirm();
}

} // namespace money_orchestrator
