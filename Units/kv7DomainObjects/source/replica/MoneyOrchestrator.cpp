// The money of a level: its reserve for closed variation margin, its calculated figures, and the writing of them.
#include "replica/MoneyOrchestrator.h"

#include <cmath>

#include "replica/MoneyLevels.h"

namespace money_orchestrator {

namespace {

void RenewVMReserve(ParticipantBase& participant, t_bround_int reserve) noexcept
{
    StoreInMeans(participant, &Domain::Means::VMReserve, reserve);
}

void WriteMoney(ParticipantBase& participant, const CCalculatedMoney& money, bool changeLimit) noexcept
{
    Domain::Means& means = participant.GetMeansForUpdate();
    means.VMReserve = money.VMReserve;
    means.m_fee = money.Fee;
    means.m_premiumBlocked = Rounded(money.m_premiumBlocked);
    if (changeLimit) {
        means.m_amountMoney += money.m_deltaAmountMoneyPledge;
        means.m_amountMoneyPledge += money.m_deltaAmountMoneyPledge;
    }
    means.Refresh(money.PossibleBlockedGO);
}

} // namespace

t_bround_int GetVMReserve(const ParticipantBase& participant)
{
    t_bsum_int shortfall; // loss by which the currencies may move
    for (const auto& [currency, amount] : participant.GetVMCloseByCurrencies()) {
        const double radius = participant.GetInstruments().GetCurvatureRadius(currency);
        shortfall += t_bsum_int(std::abs(amount.AsDouble() * radius));
    }
    return -Floored(participant.GetVMCloseTotal() - shortfall);
}

t_bround_int CalculateVMReserve(const BraskSettlementAccount& account, t_bround_int firmReserveDelta)
{
    switch (account.GetMarginRule()) {
    case Enums::MarginRule::Netting:
        return GetVMReserve(account);
    case Enums::MarginRule::Gross:
    case Enums::MarginRule::HalfNetting:
        return account.GetMeans().VMReserve + firmReserveDelta;
    }
    return {};
}

void ChangeVMCloseTotalByDelta(BraskBroker& broker, t_bsum_int delta)
{
    broker.GetPositionCalculator().VM += delta;
    RenewVMReserve(broker, GetVMReserve(broker));
}

void ChangeVMCloseTotalByDelta(BraskSettlementAccount& account, t_bsum_int delta, t_bround_int firmReserveDelta)
{
    account.GetPositionCalculator().VM += delta;
    RenewVMReserve(account, CalculateVMReserve(account, firmReserveDelta));
}

void ChangeVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta)
{
    broker.GetPositionCalculator().VMCurr[currency] += delta;
    RenewVMReserve(broker, GetVMReserve(broker));
}

void ChangeVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency, t_bsum_int delta,
                                    t_bround_int firmReserveDelta)
{
    account.GetPositionCalculator().VMCurr[currency] += delta;
    RenewVMReserve(account, CalculateVMReserve(account, firmReserveDelta));
}

// The currency's entry comes first, since it may need memory and the sum does not.

void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta)
{
    broker.GetPositionCalculator().VMCurr[currency] += delta;
    ChangeVMCloseTotalByDelta(broker, delta);
}

void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency,
                                                   t_bsum_int delta, t_bround_int firmReserveDelta)
{
    account.GetPositionCalculator().VMCurr[currency] += delta;
    ChangeVMCloseTotalByDelta(account, delta, firmReserveDelta);
}

void CalculateParticipantMoneySimple(CCalculatedMoney& money, const ParticipantBase& participant)
{
    money.PossibleBlockedGO = participant.GetInitialMargin();
    money.Fee = participant.GetMeans().m_fee;
    money.m_vmCloseTotal = participant.GetVMCloseTotal();
    money.m_vmCloseByCurrencies = participant.GetVMCloseByCurrencies();
    money.VMReserve = GetVMReserve(participant);
    money.m_premiumBlocked = Widened(participant.GetPremiumBlocked());
}

void CalculateMoney(const BraskClient& client, CCalculatedMoney& clientMoney, CCalculatedMoney& brokerMoney,
                    CCalculatedMoney& accountMoney)
{
    const BraskBroker& broker = client.GetBroker();
    const BraskSettlementAccount& account = *broker.GetSettlementAccount();
    CalculateParticipantMoneySimple(clientMoney, client);
    CalculateParticipantMoneySimple(brokerMoney, broker);
    CalculateParticipantMoneySimple(accountMoney, account);
    accountMoney.VMReserve = CalculateVMReserve(account, brokerMoney.VMReserve - broker.GetMeans().VMReserve);
}

void UpdateMoney(BraskSettlementAccount& account, const CCalculatedMoney& money, bool changeLimit)
{
    WriteMoney(account, money, changeLimit);
}

void UpdateMoney(BraskBroker& broker, const CCalculatedMoney& money, bool changeLimit)
{
    WriteMoney(broker, money, changeLimit);
}

void UpdateMoney(BraskClient& client, const CCalculatedMoney& clientMoney, const CCalculatedMoney& brokerMoney,
                 const CCalculatedMoney& accountMoney, bool changeClientLimit, bool changeBrokerLimit)
{
    WriteMoney(client, clientMoney, changeClientLimit);
    UpdateMoney(client.GetBroker(), brokerMoney, changeBrokerLimit);
    UpdateMoney(*client.GetBroker().GetSettlementAccount(), accountMoney, changeBrokerLimit);
}

} // namespace money_orchestrator
