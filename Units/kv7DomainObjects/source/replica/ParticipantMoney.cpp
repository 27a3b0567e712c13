// A participant's limits, fees and penalties, as a host sets them.
#include "ParticipantBase.h"
#include "z9log.h"

namespace {

Z9ERR RefuseMode(Enums::ChangeMoneyMode mode)
{
    KV7TRACE_ERROR_EX("QuindalIM", "%s: Invalid mode: %d", "ChangeTradingLimits", static_cast<int>(mode));
    return Z9ERR_COMMON_WRONG_ARGUMENTS;
}

} // namespace

TradingLimits ParticipantBase::GetTradingLimits() const noexcept
{
    return {m_means.m_amountMoney, m_means.m_amountMoneyPledge, false};
}

void ParticipantBase::SetTradingLimits(const TradingLimits& limits)
{
    m_means.putAmountMoney(limits.amountMoney);
    m_means.putAmountMoneyPledge(limits.amountMoneyPledge);
    if (limits.needCalcGO)
        m_means.Refresh(GetInitialMargin());
    else
        m_means.Recalculate();
}

void ParticipantBase::UpdateFee(t_bround_int fee) noexcept
{
    m_means.m_fee = fee;
    m_means.Recalculate();
}

void ParticipantBase::UpdatePenalty(t_bround_int penalty) noexcept
{
    m_means.m_Penalty = penalty;
    m_means.Recalculate();
}

// DelPledge has no branch: the pledge is part of the money and never goes alone.
Z9ERR ParticipantBase::ChangeAmountMoney(Enums::ChangeMoneyMode mode, bool flag, t_bround_int amount)
{
    using enum Enums::ChangeMoneyMode;
    switch (mode) {
    case DelMoney:
    case DelAll:
        m_means.putAmountMoney({});
        break;
    case Set:
        if (flag) m_means.putAmountMoney(amount);
        break;
    case ChangeBy:
        if (flag) m_means.putAmountMoney(m_means.m_amountMoney + amount);
        break;
    default:
        return RefuseMode(mode);
    }
    m_means.Recalculate();
    return Z9ERR_OK;
}

Z9ERR ParticipantBase::ChangeTradingLimits(const MSChangeBFLimitInt& message)
{
    return ChangeAmountMoney(message.Mode, message.Flag, t_bround_int::FromPlain(message.Amount));
}

Z9ERR ParticipantBase::ChangeTradingLimits(const MSChangeBFLimitNTA& message)
{
    using enum Enums::ChangeMoneyMode;
    if (message.Mode != Set && message.Mode != ChangeBy) return RefuseMode(message.Mode);
    // Reading ends at a zero, so text behind one would be ignored unseen.
    if (message.Amount.find('\0') != std::string::npos) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    t_bround_int amount;
    if (const Z9ERR code = amount.StrictSet(message.Amount.c_str()); code != Z9ERR_OK) return code;
    return ChangeAmountMoney(message.Mode, true, amount);
}
