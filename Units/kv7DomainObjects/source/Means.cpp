#include "Means.h"

namespace Domain {

void Means::Init(t_bround_int amountMoney, t_bround_int amountMoneyPledge, t_bround_int blockedTax) noexcept
{
    Clear();
    m_amountMoney = amountMoney;
    m_amountMoneyPledge = amountMoneyPledge;
    m_BlockedTax = blockedTax;
    Recalculate();
}

void Means::Recalculate() noexcept
{
    BlockedMoneyNonIM = m_fee + VMReserve + m_BrokerFee + m_Penalty + m_BlockedTax - NetOptionValue + m_premiumBlocked;
    MoneyAllowedForWithdrawal = m_amountMoney - m_amountMoneyPledge;
    FreeMoney = m_amountMoney - BlockedMoney - BlockedMoneyNonIM;
}

void Means::Refresh(double initialMargin) noexcept
{
    BlockedMoney = t_bround_int(initialMargin);
    Recalculate();
}

t_bround_int Means::GetMoneyAllowedForWithdrawal(bool withinFreeMoney) const noexcept
{
    return withinFreeMoney && FreeMoney < MoneyAllowedForWithdrawal ? FreeMoney : MoneyAllowedForWithdrawal;
}

} // namespace Domain
