// Domain::Means: the money block of one participant, what it has, what is blocked and what is left.
//
// Always true:  BlockedMoneyNonIM, MoneyAllowedForWithdrawal and FreeMoney are those of the last Recalculate; an input
//               that changes shows in them from the next one on.
// Numbers:      money in cents, t_bround_int. Fees, penalties, reserves and taxes count positive and are blocked.
#pragma once

#include "currencytype.h"

/// Money that a participant may trade with.
struct TradingLimits
{
    t_bround_int amountMoney;
    t_bround_int amountMoneyPledge; // the part of it that is pledged
    bool needCalcGO = false;        // the blocked margin has to be read again with the new limits
};

namespace Domain {

struct Means
{
    t_bround_int VMReserve;                 // input: reserve for variation margin
    t_bround_int BlockedMoney;              // the level's GO
    t_bround_int FreeMoney;                 // money less all that is blocked; negative is a deficit
    t_bround_int MoneyAllowedForWithdrawal; // money less pledge
    t_bround_int NetOptionValue;            // input: value of the option positions; lowers the blocks
    t_bround_int m_amountMoney;             // input: total money
    t_bround_int m_amountMoneyPledge;       // input: part of it in pledges
    t_bround_int m_fee;                     // input: exchange fee
    t_bround_int BlockedMoneyNonIM;         // all blocked money other than margin
    t_bround_int m_BrokerFee;               // input: firm's fee
    t_bround_int m_Penalty;                 // input
    t_bround_int m_BlockedTax;              // input: withheld tax
    t_bround_int m_MTM;                     // input: mark to market, carried only
    t_bround_int m_premiumBlocked;          // input: premium reserved

    /// Sets every amount to zero.
    void Clear() noexcept { *this = Means(); }
    /// Starts a session: everything to zero, then the three amounts, then Recalculate.
    void Init(t_bround_int amountMoney, t_bround_int amountMoneyPledge, t_bround_int blockedTax) noexcept;

    /// Renews the three sums from the inputs and the present BlockedMoney.
    void Recalculate() noexcept;
    /// Renews the three sums with a new GO, money; it becomes cents by adding half a cent away from zero and cutting
    /// off.
    void Refresh(double initialMargin) noexcept;

    [[nodiscard]] t_bround_int GetFreeMoney() const noexcept { return FreeMoney; }
    /// Money less pledge; with `withinFreeMoney` no more than the free money.
    [[nodiscard]] t_bround_int GetMoneyAllowedForWithdrawal(bool withinFreeMoney) const noexcept;

    void putAmountMoney(t_bround_int value) noexcept { m_amountMoney = value; }
    void putAmountMoneyPledge(t_bround_int value) noexcept { m_amountMoneyPledge = value; }
    void SetBlockedTax(t_bround_int value) noexcept { m_BlockedTax = value; }
};

} // namespace Domain
