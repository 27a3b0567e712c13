#include "MarginOrchestrator.h"

#include <span>

#include "InstrumentsRepository.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"
#include "TradingCodes.h"

namespace margin_orchestrator {

namespace {

// Changes of losses are collected only where some level above the client takes them: a firm under Gross below an
// account that is not HalfNetting gets an empty list.
bool SomeLevelTakesLosses(const BraskBroker& firm, const BraskSettlementAccount& account) noexcept
{
    return firm.GetMarginRule() == Enums::MarginRule::HalfNetting ||
           account.GetMarginRule() == Enums::MarginRule::HalfNetting;
}

// What the last change of one instrument did.
kv7im::RolledUpRisksVector CollectDeltas(BraskClient& client, Isin isin, const BraskBroker& firm,
                                         const BraskSettlementAccount& account)
{
    kv7im::RolledUpRisksVector deltas;
    if (SomeLevelTakesLosses(firm, account)) client.GetPortfolio().GetDeltaRolledUpRiskNodes(isin, deltas);
    return deltas;
}

// What has changed anywhere in the book.
kv7im::RolledUpRisksVector CollectAllDeltas(BraskClient& client, const BraskBroker& firm,
                                            const BraskSettlementAccount& account)
{
    kv7im::RolledUpRisksVector deltas;
    if (!SomeLevelTakesLosses(firm, account)) return deltas;
    kv7im::Portfolio& book = client.GetPortfolio();
    for (const auto& [isin, position] : book.RangePositions())
        book.GetAllDeltaRolledUpRiskNodesByFutures(position, deltas);
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

// The road upward of a position, and of a whole book: the money block of the client, its firm, the settlement account.
void CarryUp(BraskClient& client, BraskBroker& firm, BraskSettlementAccount& account,
             const kv7im::RolledUpRisksVector& deltas)
{
    UpdateParticipantMeans(client);

    // The firm; what its GO was made of is kept for an account that sums the changes of it.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (firm.GetMarginRule() != Enums::MarginRule::Netting) firm.GetPortfolio().AddRolledUpRiskNodes(deltas);
    UpdateParticipantMeans(firm);

    // The settlement account.
    CarryToSettlementAccount(account, firm, before, deltas);
    UpdateParticipantMeans(account);
}

// The option that a purchase pays its premium for when it trades; null for anything else.
const kv7im::CSpecOption* BoughtPremiumOption(const kv7im::InstrumentsRepository& instruments,
                                              const SClearingDeltaOrder& order)
{
    if (!order.isBuying) return nullptr;
    const kv7im::CSpecOption* const option = instruments.GetOption(kv7im::AccessByStatus::eCurrent, order.isin);
    const bool paidUpFront = option != nullptr && option->VirtFutures->marginStyle == Enums::MarginStyle::Equity;
    return paidUpFront ? option : nullptr;
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

    const Z9ERR code = client.GetPortfolio().SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    client.SetPositionInPortfolioWithoutEquityOptions(isin, quantity, waPrice, afterLastClearingQuantity);
    CarryUp(client, firm, *account, CollectDeltas(client, isin, firm, *account));
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

Z9ERR ChangeOrder(BraskClient& client, Isin isin, std::size_t count, const SClearingDeltaOrder* orders)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr account = firm.GetSettlementAccount();

    // The client itself.
    UpdateOrderReserve(client, count, orders);
    Z9ERR code = client.GetPortfolio().ChangeOrder(isin, count, orders);
    client.ChangeOrderInPortfolioWithoutEquityOptions(isin, count, orders);
    const kv7im::RolledUpRisksVector deltas = CollectDeltas(client, isin, firm, *account);

    // The firm. The money blocks stay as they are on all levels: an order is asked for its GO, not booked.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (firm.GetMarginRule() == Enums::MarginRule::Netting)
        code = firm.GetPortfolio().ChangeOrder(isin, count, orders);
    else
        firm.GetPortfolio().AddRolledUpRiskNodes(deltas);

    // The settlement account.
    if (account->GetMarginRule() == Enums::MarginRule::Netting)
        code = account->GetPortfolio().ChangeOrder(isin, count, orders);
    else
        CarryToSettlementAccount(*account, firm, before, deltas);
    return code;
}

void UpdateOrderReserve(BraskClient& client, std::size_t count, const SClearingDeltaOrder* orders)
{
    if (!client.IsNotUseNOV() || count == 0) return;
    const kv7im::InstrumentsRepository& instruments = client.GetInstrumentsRepository();
    for (const SClearingDeltaOrder& order : std::span(orders, count)) {
        const kv7im::CSpecOption* const option = BoughtPremiumOption(instruments, order);
        if (option == nullptr) continue;
        const kv7im::CSpecVirtFutures& series = *option->VirtFutures;
        const double radius = instruments.GetCurvatureRadius(series.Futures->BaseContract->IndicatorID);
        client.GetPremiumReservesCalculator().UpdateOrderReserve(
            order.isin, order.CalculatedPrice.calculatedPrice, order.orderInfo.deltaQuantity, series.MoneyCoef, radius);
    }
}

Z9ERR RefreshClientPortfolio(BraskClient& client)
{
    const Z9ERR code = client.GetPortfolio().Refresh();
    FollowRefreshedPortfolio(client);
    return code;
}

void FollowRefreshedPortfolio(BraskClient& client)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr account = firm.GetSettlementAccount();
    client.RefreshPortfolioWithoutEquityOptions();
    CarryUp(client, firm, *account, CollectAllDeltas(client, firm, *account));
}

} // namespace margin_orchestrator
