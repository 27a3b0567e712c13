#include "ParticipantRegistrar.h"

#include <memory>
#include <string>
#include <utility>

#include "PositionCalculatorInstruments.h"
#include "instruments/InstrumentsRepository.h"

namespace {

constexpr bool ClientChecksEnabled = true;

// The account that stands in where a firm has none, with dictionaries of its own, which hold nothing. One block:
// whoever still holds the account at the end of the process keeps the dictionaries alive with it.
struct DummySettlement
{
    DummySettlement()
        : account(Record(), Enums::MarginRule::Gross, false,
                  std::make_shared<BraskClearingBroker>(ClearingBrokerCode::Parse("**")), instruments,
                  positionInstruments)
    {
        account.validateState();
    }

    static SSettlementAccountMoneyStruct Record()
    {
        SSettlementAccountMoneyStruct record;
        std::string(12, '*').copy(record.Code, sizeof record.Code - 1);
        return record;
    }

    kv7im::InstrumentsRepository instruments;
    pos::PositionCalculatorInstruments positionInstruments;
    BraskSettlementAccount account;
};

} // namespace

const BraskSettlementAccountPtr& GetDummySettlementAccount()
{
    static const BraskSettlementAccountPtr dummy = [] {
        const auto settlement = std::make_shared<DummySettlement>();
        return BraskSettlementAccountPtr(settlement, &settlement->account);
    }();
    return dummy;
}

ParticipantRegistrar::ParticipantRegistrar(ParticipantRepository& participantRepository,
                                           kv7im::InstrumentsRepository& instrumentRepository,
                                           const pos::PositionCalculatorInstruments& posCalcInstruments) noexcept
    : m_participantRepository(participantRepository),
      m_instrumentRepository(instrumentRepository),
      m_posCalcInstruments(posCalcInstruments)
{}

void ParticipantRegistrar::RegisterSettlementAccount(const SSettlementAccountMoneyStruct& money, Enums::MarginRule rule,
                                                     bool isUnitedPool, const BraskClearingBrokerPtr& owner)
{
    auto& accounts = m_participantRepository.settlementAccounts_;
    if (accounts.contains(money.Id())) return;
    auto account = std::make_shared<BraskSettlementAccount>(money, rule, isUnitedPool, owner, m_instrumentRepository,
                                                            m_posCalcInstruments);
    account->validateState();
    accounts.emplace(account->GetId(), std::move(account));
}

BraskBroker& ParticipantRegistrar::RegisterBroker(BrokerCode code, Enums::BrokerAccountType type,
                                                  Enums::MarginRule rule, const BraskSettlementAccountPtr& account,
                                                  std::int32_t nClr2Delivery, std::int32_t nClr2DeliveryClientDefault,
                                                  t_weight_int expWeight, t_weight_int expWeightClientDefault,
                                                  const TBaseContractGORatioMap& ratioMap)
{
    auto& brokers = m_participantRepository.brokers_;
    const auto [entry, isNew] =
        brokers.try_emplace(code, code, type, rule, account, nClr2Delivery, nClr2DeliveryClientDefault, expWeight,
                            expWeightClientDefault, ratioMap, m_instrumentRepository, m_posCalcInstruments);
    try {
        if (account != nullptr) entry->second.BindTo(account);
    } catch (...) {
        if (isNew) brokers.erase(entry);
        throw;
    }
    return entry->second;
}

template <class... Arguments>
std::pair<BraskClient&, bool> ParticipantRegistrar::EnterClient(BraskBroker& broker, ClientCode code,
                                                                Arguments&&... arguments)
{
    const std::pair<BraskClient&, bool> result = broker.EmplaceClient(code, std::forward<Arguments>(arguments)...);
    if (result.second) m_participantRepository.clientCount_.Increment();
    return result;
}

BraskClient& ParticipantRegistrar::RegisterClient(BraskBroker& broker, ClientCode code)
{
    return EnterClient(broker, code, code, broker, ClientChecksEnabled, m_posCalcInstruments).first;
}

BraskClient& ParticipantRegistrar::RegisterClient(BraskBroker& broker, ClientCode code, bool noFutDiscount,
                                                  std::int32_t nClr2Delivery, t_weight_int expWeight,
                                                  Enums::ClientRiskLevel riskLevel, Enums::InvestorStatus status)
{
    return RegisterClient(broker, code, t_bprice_int(1), noFutDiscount, nClr2Delivery, expWeight, riskLevel, status);
}

BraskClient& ParticipantRegistrar::RegisterClient(BraskBroker& broker, ClientCode code, t_bprice_int clgoRatio,
                                                  bool noFutDiscount, std::int32_t nClr2Delivery,
                                                  t_weight_int expWeight, Enums::ClientRiskLevel riskLevel,
                                                  Enums::InvestorStatus status)
{
    return EnterClient(broker, code, code, clgoRatio, noFutDiscount, nClr2Delivery, expWeight, ClientChecksEnabled,
                       riskLevel, status, broker, m_posCalcInstruments)
        .first;
}

BraskClient& ParticipantRegistrar::RegisterClient(const BraskClient& client, BraskBroker& broker)
{
    const auto [entered, isNew] = EnterClient(broker, client.GetClientCode(), client, broker, m_posCalcInstruments);
    if (!isNew) return entered;
    try {
        entered.SetPositionsOf(client);
    } catch (...) {
        broker.RemoveClient(entered);
        m_participantRepository.clientCount_.DecrementBy(1);
        throw;
    }
    return entered;
}

void ParticipantRegistrar::ClearBroker(BraskBroker& broker, [[maybe_unused]] bool unused)
{
    const std::size_t count = broker.GetClientCount();
    broker.Clear();
    m_participantRepository.clientCount_.DecrementBy(count);
}
