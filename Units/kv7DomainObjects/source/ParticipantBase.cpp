#include "ParticipantBase.h"

#include "grids/Constants.h"
#include "z9log.h"

namespace {

Z9ERR RefuseMode(Enums::ChangeMoneyMode mode)
{
    KV7TRACE_ERROR_EX("QuindalIM", "%s: Invalid mode: %d", "ChangeTradingLimits", static_cast<int>(mode));
    return Z9ERR_COMMON_WRONG_ARGUMENTS;
}

} // namespace

ParticipantBase::ParticipantBase(const Parameters& parameters, kv7im::InstrumentsRepository& instrumentsRepository,
                                 const pos::PositionCalculatorInstruments& positionInstruments)
    : CollateralChecker(parameters.collateralErrorCode, parameters.collateralChecksEnabled),
      NClr2Delivery(parameters.nClr2Delivery),
      ExpWeight(parameters.expWeight),
      NoFutDiscount(parameters.noFutDiscount),
      marginRule_(parameters.marginRule),
      instrumentsRepository_(instrumentsRepository),
      instrumentsRepositoryWapper_(instrumentsRepository),
      positionCalculator(positionInstruments),
      portfolio(this),
      m_riskLevel(parameters.riskLevel),
      m_status(parameters.status)
{}

ParticipantBase::ParticipantBase(const ParticipantBase& source, kv7im::InstrumentsRepository& instrumentsRepository,
                                 const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase({source.CollateralChecker.GetErrorCode(), source.CollateralChecker.Enabled(),
                       source.NClr2Delivery, source.ExpWeight, source.NoFutDiscount, source.marginRule_,
                       source.m_riskLevel, source.m_status},
                      instrumentsRepository, positionInstruments)
{
    m_means = source.m_means;
    m_calSpreadMarginType = source.m_calSpreadMarginType;
    interContractSpreadMarginType = source.interContractSpreadMarginType;
    shortOptionMinimumChargeRatio = source.shortOptionMinimumChargeRatio;
    m_amountMoneyOld = source.m_amountMoneyOld;

    // Each record is pointed at its instrument again; the sums are copied as they stand.
    for (const auto& [isin, position] : source.positionCalculator.GetPositions())
        positionCalculator.InsertPosition(position, false, false);
    positionCalculator.VM = source.positionCalculator.VM;
    positionCalculator.VMCurr = source.positionCalculator.VMCurr;
    positionCalculator.VMFull = source.positionCalculator.VMFull;
    positionCalculator.VMCurrFull = source.positionCalculator.VMCurrFull;
    positionCalculator.NetOptionValue = source.positionCalculator.NetOptionValue;
}

t_bsum_int ParticipantBase::GetVMCloseTotal() const { return positionCalculator.GetVM(); }

const VMCloseByCurrencies& ParticipantBase::GetVMCloseByCurrencies() const { return positionCalculator.GetVMCurr(); }

kv7im::InstrumentsRepository& ParticipantBase::GetInstrumentsRepository() { return instrumentsRepository_; }

const kv7im::InstrumentsRepository& ParticipantBase::GetInstrumentsRepository() const { return instrumentsRepository_; }

void ParticipantBase::NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures&) {}

double ParticipantBase::GetBrokerBaseContractGORatio(const std::string&) const
{
    return kv7im::Constants::DefaultBrokerBaseContractGORatio;
}

double ParticipantBase::GetBrokerBaseContractGORatioForMCS(const std::string&) const
{
    return kv7im::Constants::DefaultBrokerBaseContractGORatio;
}

t_bround_int ParticipantBase::GetPremiumBlocked() const { return {}; }

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
