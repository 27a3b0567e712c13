#include "MarginOrchestrator.h"

#include <optional>

#include "MarginRoad.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace margin_orchestrator {

namespace road {

bool SomeLevelTakesLosses(const BraskBroker& firm, const BraskSettlementAccount& account) noexcept
{
    return firm.GetMarginRule() == Enums::MarginRule::HalfNetting ||
           account.GetMarginRule() == Enums::MarginRule::HalfNetting;
}

kv7im::RolledUpRisksVector CollectDeltas(BraskClient& client, Isin isin, const BraskBroker& firm,
                                         const BraskSettlementAccount& account)
{
    kv7im::RolledUpRisksVector deltas;
    if (SomeLevelTakesLosses(firm, account)) client.GetPortfolio().GetDeltaRolledUpRiskNodes(isin, deltas);
    return deltas;
}

void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm, const BraskBroker::MarginFigures& before)
{
    account.GetPortfolio().IncreaseGrossInitialMargin(firm.GetMarginFigures().InitialMargin() - before.InitialMargin());
}

void CarryToSettlementAccount(BraskSettlementAccount& account, const BraskBroker& firm,
                              const BraskBroker::MarginFigures& before, const kv7im::RolledUpRisksVector& deltas)
{
    switch (account.GetMarginRule()) {
    case Enums::MarginRule::Netting:
        break; // keeps records of its own
    case Enums::MarginRule::HalfNetting:
        account.GetPortfolio().AddRolledUpRiskNodes(deltas);
        break;
    case Enums::MarginRule::Gross:
        GrowGrossMargin(account, firm, before);
        break;
    }
}

void CarryUpFromClients(BraskBroker& firm, BraskSettlementAccount& account, const kv7im::RolledUpRisksVector& deltas)
{
    const auto byItsOwnRecords = [] {};
    CarryUpFromClients(firm, account, deltas, byItsOwnRecords, byItsOwnRecords);
}

} // namespace road

namespace {

using namespace road;

// All changes of losses in the book.
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

} // namespace

void UpdateParticipantMeans(ParticipantBase& participant)
{
    participant.GetMeansForUpdate().Refresh(participant.GetInitialMargin());
}

Z9ERR SetPositionByRecordType(const char* code, Enums::AccountHierarchyRecordType recordType, Isin isin,
                              std::int64_t quantity, double waPrice, std::int64_t afterLastClearingQuantity,
                              ParticipantRepository& repository, NamedParticipant* named)
{
    const auto name = [named](const NamedParticipant& participant) {
        if (named != nullptr) *named = participant;
    };
    return DispatchByRecordType(
        code, recordType, repository,
        [&](BraskBroker& firm) {
            name({.broker = &firm});
            return SetPositionBroker(firm, isin, quantity, waPrice, afterLastClearingQuantity);
        },
        [&](BraskClient& client) {
            name({.client = &client});
            return SetPositionClient(client, isin, quantity, waPrice, afterLastClearingQuantity);
        },
        [&](BraskSettlementAccount& account) {
            name({.account = &account});
            return SetPositionSettlementAccount(account, isin, quantity, waPrice, afterLastClearingQuantity);
        });
}

Z9ERR SetPositionClient(BraskClient& client, Isin isin, std::int64_t quantity, double waPrice,
                        std::int64_t afterLastClearingQuantity)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr& account = firm.GetSettlementAccount();

    const Z9ERR code = client.GetPortfolio().SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    client.SetPositionInPortfolioWithoutEquityOptions(isin, quantity, waPrice, afterLastClearingQuantity);
    const kv7im::RolledUpRisksVector deltas = CollectDeltas(client, isin, firm, *account);
    UpdateParticipantMeans(client);
    CarryUpFromClients(firm, *account, deltas);
    return code;
}

Z9ERR SetPositionBroker(BraskBroker& broker, Isin isin, std::int64_t quantity, double waPrice,
                        std::int64_t afterLastClearingQuantity)
{
    return ChangeBroker(broker, [&](kv7im::Portfolio& book) {
        return book.SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    });
}

Z9ERR SetPositionSettlementAccount(BraskSettlementAccount& settlementAccount, Isin isin, std::int64_t quantity,
                                   double waPrice, std::int64_t afterLastClearingQuantity)
{
    return ChangeSettlementAccount(settlementAccount, [&](kv7im::Portfolio& book) {
        return book.SetPosition(isin, quantity, waPrice, afterLastClearingQuantity);
    });
}

Z9ERR ChangeOrder(BraskClient& client, Isin isin, std::size_t count, const SClearingDeltaOrder* orders)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr& account = firm.GetSettlementAccount();

    // All books that have the order take what memory it needs before any of them changes.
    using PreparedOrders = kv7im::Portfolio::PreparedOrders;
    PreparedOrders ofClient(client.GetPortfolio(), isin, count, orders);
    std::optional<PreparedOrders> withoutEquityOptions;
    std::optional<PreparedOrders> ofFirm;
    std::optional<PreparedOrders> ofAccount;
    if (client.KeepsWithoutEquityOptions(isin))
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(), isin, count, orders);
    if (firm.GetMarginRule() == Enums::MarginRule::Netting) ofFirm.emplace(firm.GetPortfolio(), isin, count, orders);
    if (account->GetMarginRule() == Enums::MarginRule::Netting)
        ofAccount.emplace(account->GetPortfolio(), isin, count, orders);

    // The client itself.
    UpdateOrderReserve(client, count, orders);
    Z9ERR code = ofClient.Apply();
    if (withoutEquityOptions) static_cast<void>(withoutEquityOptions->Apply());
    const kv7im::RolledUpRisksVector deltas = CollectDeltas(client, isin, firm, *account);

    // The firm. The money blocks stay as they are on all levels: an order is valued, not booked.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (ofFirm)
        code = ofFirm->Apply();
    else
        firm.GetPortfolio().AddRolledUpRiskNodes(deltas);

    // The settlement account.
    if (ofAccount)
        code = ofAccount->Apply();
    else
        CarryToSettlementAccount(*account, firm, before, deltas);
    return code;
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
    const BraskSettlementAccountPtr& account = firm.GetSettlementAccount();
    client.RefreshPortfolioWithoutEquityOptions();
    const kv7im::RolledUpRisksVector deltas = CollectAllDeltas(client, firm, *account);
    UpdateParticipantMeans(client);
    CarryUpFromClients(firm, *account, deltas);
}

} // namespace margin_orchestrator
