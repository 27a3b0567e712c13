#include "Broker.h"

#include <iterator>
#include <utility>

#include "Primitives.h"
#include "except.h"
#include "grids/Constants.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "z9log.h"

namespace {

// A firm places orders all day: room for those awaiting confirmation and for those confirmed, so that neither table
// rehashes in a usual session.
constexpr std::size_t LsOrdersBuckets = 1024;
constexpr std::size_t NmOrdersBuckets = 8192;

constexpr t_weight_int One{1};

BraskSettlementAccountPtr RequireAccount(BraskSettlementAccountPtr account, BrokerCode code)
{
    if (account == nullptr)
        throw kv7base::CZ9Error(Z9ERR_CHECK_BROKER_IS_NOT_LINKED_TO_SETTLEMENT_ACCOUNT, KV7_CURRENT_LOCATION)
            .Fmt("Broker: '%s'", code.c_str());
    return account;
}

// Corrections of a registration: each logs what it corrects, and none fails. The texts take the firm's code and the
// value.

void RaiseToZero(std::int32_t& value, const char* code, const char* text)
{
    if (value >= 0) return;
    KV7TRACE_WARNING_EX("BraskBroker", text, code, value);
    value = 0;
}

void BringWithinZeroAndOne(t_weight_int& value, const char* code, const char* textBelow, const char* textAbove)
{
    if (value.IsNeg()) {
        KV7TRACE_WARNING_EX("BraskBroker", textBelow, code, value.AsDouble());
        value.SetZero();
    }
    if (value > One) {
        KV7TRACE_WARNING_EX("BraskBroker", textAbove, code, value.AsDouble());
        value = One;
    }
}

} // namespace

double BraskBroker::MarginFigures::InitialMargin() const noexcept
{
    return Domain::RoundInitialMargin(Domain::WeightedInitialMargin(expWeight, volatility, delivery) *
                                      ratio.AsDouble());
}

BraskBroker::BraskBroker(BrokerCode code, Enums::BrokerAccountType type, Enums::MarginRule rule,
                         BraskSettlementAccountPtr account, std::int32_t nClr2Delivery,
                         std::int32_t nClr2DeliveryClientDefault, t_weight_int expWeight,
                         t_weight_int expWeightClientDefault, const TBaseContractGORatioMap& ratioMap,
                         kv7im::InstrumentsRepository& instrumentsRepository,
                         const pos::PositionCalculatorInstruments& positionInstruments)
    : ParticipantBase({Z9ERR_BRGO_NOT_ENOUGH, false, nClr2Delivery, expWeight, false, rule,
                       Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None},
                      instrumentsRepository, positionInstruments),
      brokerType(type),
      settlementAccount(RequireAccount(std::move(account), code)),
      orderManager(LsOrdersBuckets, NmOrdersBuckets),
      brokerCode_(code),
      expWeightClientDefault_(expWeightClientDefault),
      NClr2DeliveryClientDefault_(nClr2DeliveryClientDefault),
      baseContractGORatioMap(ratioMap)
{
    m_calSpreadMarginType = Enums::SpreadMarginType::Netting;
    UpdateMoneyCalculatorRelatedFields();
}

// A destroyed firm must not stay in the list of an account that lives on, as the one shared by all calculators does.
BraskBroker::~BraskBroker()
{
    settlementAccount->UnbindBroker(*this);
    for (const BraskSettlementAccountPtr& account : otherAccounts_)
        account->UnbindBroker(*this);
}

void BraskBroker::BindTo(const BraskSettlementAccountPtr& account)
{
    if (account != settlementAccount) otherAccounts_.push_back(account);
    account->BindBroker(*this);
}

void BraskBroker::UpdateMoneyCalculatorRelatedFields()
{
    const char* const code = brokerCode_.c_str();
    RaiseToZero(NClr2Delivery, code,
                "When register broker with Code(%s): NClr2Delivery(%d)<0 -> NClr2Delivery forcibly set to 0");
    RaiseToZero(NClr2DeliveryClientDefault_, code,
                "When register broker with Code(%s): NClr2DeliveryClientDefault(%d)<0 -> "
                "NClr2DeliveryClientDefault forcibly set to 0");
    BringWithinZeroAndOne(ExpWeight, code,
                          "When register broker with Code(%s): ExpWeight(%f)<0 -> ExpWeight forcibly set to 0",
                          "When register broker with Code(%s): ExpWeight(%f)>1 -> ExpWeight forcibly set to 1");
    BringWithinZeroAndOne(expWeightClientDefault_, code,
                          "When register broker with Code(%s): ExpWeightClientDefault(%f)<0 -> "
                          "ExpWeightClientDefault forcibly set to 0",
                          "When register broker with Code(%s): ExpWeightClientDefault(%f)>1 -> "
                          "ExpWeightClientDefault forcibly set to 1");
    // Under this rule each figure is a worst case summed over many clients: one or the other, never a mixture.
    if (marginRule_ == Enums::MarginRule::HalfNetting && !ExpWeight.IsZero() && ExpWeight != One) {
        KV7TRACE_WARNING_EX("BraskBroker",
                            "When register broker with Code(%s) and MarginRule(HalfNetting): ExpWeight(%f) is not "
                            "equal to 0 or 1 -> ExpWeight forcibly set to 1",
                            code, ExpWeight.AsDouble());
        ExpWeight = One;
    }
}

BraskBroker::MarginFigures BraskBroker::GetMarginFigures() const noexcept
{
    return {ExpWeight, portfolio.GetVolatilityInitialMargin(), portfolio.GetDeliveryVolatilityInitialMargin(),
            GORatio_};
}

bool BraskBroker::WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const
{
    return option != nullptr && option->VirtFutures->ExpClearingsBF >= 1;
}

void BraskBroker::SetBaseContractGORatio(const std::string& baseContractCode, double ratio)
{
    using namespace kv7im::Constants;
    // Written so that a NaN is refused too.
    const bool allowed = ratio >= MinimumBrokerBaseContractGORatio && ratio <= MaximumBrokerBaseContractGORatio;
    if (!allowed)
        KV7TRACE_WARNING_EX("QuindalIM",
                            "Wrong GORatio %f for BF %s and BC %s (allowed range [%f, %f]). Reset to default value %f.",
                            ratio, brokerCode_.c_str(), baseContractCode.c_str(), MinimumBrokerBaseContractGORatio,
                            MaximumBrokerBaseContractGORatio, DefaultBrokerBaseContractGORatio);
    baseContractGORatioMap[baseContractCode] = allowed ? ratio : DefaultBrokerBaseContractGORatio;
}

double BraskBroker::GetBaseContractGORatio(const std::string& baseContractCode) const
{
    const auto found = baseContractGORatioMap.find(baseContractCode);
    return found == baseContractGORatioMap.end() ? kv7im::Constants::DefaultBrokerBaseContractGORatio : found->second;
}

BraskClient* BraskBroker::SearchClient(ClientCode code) noexcept
{
    const auto found = clients_.find(code);
    return found == clients_.end() ? nullptr : &found->second;
}

void BraskBroker::MarkClientToRecalc(Isin isin, BraskClient& client) { clientsToRecalc_[isin].insert(&client); }

const std::set<BraskClient*>& BraskBroker::EnumerateClientsToRecalc(Isin isin) const
{
    static const std::set<BraskClient*> nobody;
    const auto found = clientsToRecalc_.find(isin);
    return found == clientsToRecalc_.end() ? nobody : found->second;
}

void BraskBroker::Clear() noexcept
{
    clientsToRecalc_.clear(); // points at the clients
    clients_.clear();
    orderManager.Clear();
}
