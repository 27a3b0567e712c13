#include "MarginOrchestrator.h"

#include "TradingCodes.h"

namespace margin_orchestrator {

namespace {

// Changes of losses are collected only where some level above the client takes them: a firm under Gross below an
// account that is not HalfNetting gets an empty list.
kv7im::RolledUpRisksVector CollectDeltas(BraskClient& client, Isin isin, const BraskBroker& firm,
                                         const BraskSettlementAccount& account)
{
    kv7im::RolledUpRisksVector deltas;
    if (firm.GetMarginRule() == Enums::MarginRule::HalfNetting ||
        account.GetMarginRule() == Enums::MarginRule::HalfNetting)
        client.GetPortfolio().GetDeltaRolledUpRiskNodes(isin, deltas);
    return deltas;
}

// Adds to an account under Gross what the firm's GO, as it is charged, has changed by.
void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm, const BraskBroker::MarginFigures& before)
{
    account.GetPortfolio().IncreaseGrossInitialMargin(firm.GetMarginFigures().InitialMargin() - before.InitialMargin());
}

void CarryToSettlementAccount(BraskSettlementAccount& account, const BraskBroker& firm,
                              const BraskBroker::MarginFigures& before, const kv7im::RolledUpRisksVector& deltas)
{
    switch (account.GetMarginRule()) {
    case Enums::MarginRule::Netting:
        break; // lives by its own records
    case Enums::MarginRule::HalfNetting:
        account.GetPortfolio().AddRolledUpRiskNodes(deltas);
        break;
    case Enums::MarginRule::Gross:
        GrowGrossMargin(account, firm, before);
        break;
    }
}

} // namespace

void UpdateParticipantMeans(ParticipantBase& participant)
{
    participant.GetMeansForUpdate().Refresh(participant.GetInitialMargin());
}

Z9ERR SetPositionByRecordType(const char* code, Enums::AccountHierarchyRecordType recordType, Isin isin,
                              std::int64_t quantity, double waPrice, std::int64_t afterLastClearingQuantity,
                              ParticipantRepository& repository)
{
    if (recordType == Enums::AccountHierarchyRecordType::Broker) {
        BraskBroker& broker = repository.GetBroker(BrokerCode::Parse(code), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
        return SetPositionBroker(broker, isin, quantity, waPrice, afterLastClearingQuantity);
    }
    if (recordType == Enums::AccountHierarchyRecordType::Client) {
        BraskClient& client = repository.GetClient(ClientCode::Parse(code));
        return SetPositionClient(client, isin, quantity, waPrice, afterLastClearingQuantity);
    }
    const BraskSettlementAccountPtr account = repository.GetSettlementAccountById(code);
    return SetPositionSettlementAccount(*account, isin, quantity, waPrice, afterLastClearingQuantity);
}

Z9ERR SetPositionClient(BraskClient& client, Isin isin, std::int64_t quantity, double waPrice,
                        std::int64_t afterLastClearingQuantity)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr account = firm.GetSettlementAccount();

    // The client itself.
    const Z9ERR code = client.GetPortfolio().SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    client.SetPositionInPortfolioWithoutEquityOptions(isin, quantity, waPrice, afterLastClearingQuantity);
    const kv7im::RolledUpRisksVector deltas = CollectDeltas(client, isin, firm, *account);
    UpdateParticipantMeans(client);

    // The firm; what its GO was made of is kept for an account that sums the changes of it.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (firm.GetMarginRule() != Enums::MarginRule::Netting) firm.GetPortfolio().AddRolledUpRiskNodes(deltas);
    UpdateParticipantMeans(firm);

    // The settlement account.
    CarryToSettlementAccount(*account, firm, before, deltas);
    UpdateParticipantMeans(*account);
    return code;
}

Z9ERR SetPositionBroker(BraskBroker& broker, Isin isin, std::int64_t quantity, double waPrice,
                        std::int64_t afterLastClearingQuantity)
{
    const BraskSettlementAccountPtr account = broker.GetSettlementAccount();
    const BraskBroker::MarginFigures before = broker.GetMarginFigures();

    Z9ERR code = Z9ERR_OK;
    if (broker.GetMarginRule() == Enums::MarginRule::Netting)
        code = broker.GetPortfolio().SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    UpdateParticipantMeans(broker);

    const Enums::MarginRule accountRule = account->GetMarginRule();
    if (accountRule != Enums::MarginRule::HalfNetting && accountRule != Enums::MarginRule::Netting)
        GrowGrossMargin(*account, broker, before);
    UpdateParticipantMeans(*account);
    return code;
}

Z9ERR SetPositionSettlementAccount(BraskSettlementAccount& settlementAccount, Isin isin, std::int64_t quantity,
                                   double waPrice, std::int64_t afterLastClearingQuantity)
{
    Z9ERR code = Z9ERR_OK;
    if (settlementAccount.GetMarginRule() == Enums::MarginRule::Netting)
        code = settlementAccount.GetPortfolio().SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    UpdateParticipantMeans(settlementAccount);
    return code;
}

} // namespace margin_orchestrator
