#include "BraskSettlementAccount.h"

#include <utility>

#include "Primitives.h"
#include "except.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace {

constexpr std::int32_t AccountNClr2Delivery = 0;
constexpr t_weight_int AccountExpWeight{1}; // all delivery margin

t_bround_int ToCents(const t_money& sum) { return t_bround_int::FromPlain(sum.AsInt64Plain(2)); }

} // namespace

BraskSettlementAccount::BraskSettlementAccount(const SSettlementAccountMoneyStruct& money, Enums::MarginRule rule,
                                               bool isUnitedPool, BraskClearingBrokerPtr owner,
                                               kv7im::InstrumentsRepository& instrumentsRepository,
                                               const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase({Z9ERR_SETTLEMENT_ACCOUNT_GO_NOT_ENOUGH, true, AccountNClr2Delivery, AccountExpWeight, false,
                       rule, Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None},
                      instrumentsRepository, positionInstruments),
      m_id(money.Id()),
      m_owner(std::move(owner)),
      m_isUnitedPool(isUnitedPool)
{
    m_calSpreadMarginType = money.CalendarSpreadMarginType;
    interContractSpreadMarginType = money.InterContractSpreadMarginType;
    shortOptionMinimumChargeRatio = money.ShortOptionMinimumChargeRatio;
    m_amountMoneyOld = ToCents(money.AmountMoneyOld);
    m_means.Init(ToCents(money.Amount_money), ToCents(money.Amount_money_pledge), ToCents(money.BlockedTax));
    SetMTM(ToCents(money.MTM));
}

void BraskSettlementAccount::validateState() const
{
    if (m_id.empty()) throw kv7base::CZ9Error(Z9ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID, KV7_CURRENT_LOCATION);
    if (m_owner == nullptr)
        throw kv7base::CZ9Error(Z9ERR_COMMON_ERROR, KV7_CURRENT_LOCATION)
            .Fmt("Settlement Account %s is not linked to Clearing Broker.", m_id.c_str());
    switch (marginRule_) {
    case Enums::MarginRule::Gross:
    case Enums::MarginRule::HalfNetting:
    case Enums::MarginRule::Netting:
        return;
    }
    throw kv7base::CZ9Error(Z9ERR_COMMON_ERROR, KV7_CURRENT_LOCATION)
        .Fmt("Unsupported margin rule %d is set for Settlement Account %s.", static_cast<int>(marginRule_),
             m_id.c_str());
}

double BraskSettlementAccount::GetInitialMargin() const
{
    if (marginRule_ == Enums::MarginRule::Gross) return Domain::RoundInitialMargin(portfolio.GetGrossInitialMargin());
    return Domain::RoundInitialMargin(Domain::WeightedInitialMargin(ExpWeight, portfolio.GetVolatilityInitialMargin(),
                                                                    portfolio.GetDeliveryVolatilityInitialMargin()));
}

bool BraskSettlementAccount::WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const
{
    return option != nullptr && option->VirtFutures->ExpClearingsSA >= 1;
}

void BraskSettlementAccount::UnbindBroker(const BraskBroker& broker) noexcept { std::erase(m_brokers, &broker); }

bool BraskSettlementAccount::FixMarginCallRequirements(kv7base::UnixNanosecondsTime moment)
{
    return m_marginCallRequirements.Fix(moment, t_bround::FromPlain(m_means.GetFreeMoney().AsPlain()));
}
