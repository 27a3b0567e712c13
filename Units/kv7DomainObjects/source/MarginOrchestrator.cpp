#include "MarginOrchestrator.h"

#include <optional>

#include "MarginRoad.h"
#include "book/RefreshedPortfolio.h"
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

SumsAbove::SumsAbove(BraskBroker& firm, BraskSettlementAccount& account)
{
    if (firm.GetMarginRule() != Enums::MarginRule::Netting) m_ofFirm.emplace(firm.GetPortfolio());
    if (account.GetMarginRule() == Enums::MarginRule::HalfNetting) m_ofAccount.emplace(account.GetPortfolio());
}

void SumsAbove::AddToFirm(const kv7im::RolledUpRisksVector& deltas)
{
    if (m_ofFirm) m_ofFirm->Add(deltas);
}

void SumsAbove::AddToAccount(const kv7im::RolledUpRisksVector& deltas)
{
    if (m_ofAccount) m_ofAccount->Add(deltas);
}

LossesOnTheWay::LossesOnTheWay(BraskClient& client, Isin isin, const kv7im::Portfolio::SearchResult& found,
                               BraskBroker& firm, BraskSettlementAccount& account)
    : m_sums(firm, account)
{
    if (!SomeLevelTakesLosses(firm, account)) return;
    m_report.emplace(client.GetPortfolio(), isin, found);
    m_sums.MakeRoomFor(*m_report);
}

void LossesOnTheWay::Collect()
{
    if (m_report) m_report->Collect(m_deltas);
}

void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm, const BraskBroker::MarginFigures& before)
{
    account.GetPortfolio().IncreaseGrossInitialMargin(firm.GetMarginFigures().InitialMargin() - before.InitialMargin());
}

void CarryToSettlementAccount(BraskSettlementAccount& account, const BraskBroker& firm,
                              const BraskBroker::MarginFigures& before, SumsAbove& sums,
                              const kv7im::RolledUpRisksVector& deltas)
{
    switch (account.GetMarginRule()) {
    case Enums::MarginRule::Netting:
        break; // keeps records of its own
    case Enums::MarginRule::HalfNetting:
        sums.AddToAccount(deltas);
        break;
    case Enums::MarginRule::Gross:
        GrowGrossMargin(account, firm, before);
        break;
    }
}

void CarryUpFromClients(BraskBroker& firm, BraskSettlementAccount& account, SumsAbove& sums,
                        const kv7im::RolledUpRisksVector& deltas)
{
    const auto byItsOwnRecords = [] {};
    CarryUpFromClients(firm, account, sums, deltas, byItsOwnRecords, byItsOwnRecords);
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

    // All levels take what memory the change needs before any of them changes.
    using PreparedPosition = kv7im::Portfolio::PreparedPosition;
    PreparedPosition ofClient(client.GetPortfolio(), isin);
    std::optional<PreparedPosition> withoutEquityOptions;
    if (client.KeepsWithoutEquityOptions(isin))
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(), isin);
    LossesOnTheWay losses(client, isin, ofClient.Found(), firm, *account);

    // The client itself, and the levels above.
    const Z9ERR code = ofClient.Set(quantity, waPrice, afterLastClearingQuantity);
    if (withoutEquityOptions)
        static_cast<void>(withoutEquityOptions->Set(quantity, waPrice, afterLastClearingQuantity));
    losses.Collect();
    UpdateParticipantMeans(client);
    CarryUpFromClients(firm, *account, losses.Sums(), losses.Deltas());
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

    // All levels take what memory the order needs before any of them changes.
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
    LossesOnTheWay losses(client, isin, ofClient.Found(), firm, *account);

    // The client itself.
    UpdateOrderReserve(client, count, orders);
    Z9ERR code = ofClient.Apply();
    if (withoutEquityOptions) static_cast<void>(withoutEquityOptions->Apply());
    losses.Collect();

    // The firm. The money blocks stay as they are on all levels: an order is valued, not booked.
    const BraskBroker::MarginFigures before = firm.GetMarginFigures();
    if (ofFirm)
        code = ofFirm->Apply();
    else
        losses.Sums().AddToFirm(losses.Deltas());

    // The settlement account.
    if (ofAccount)
        code = ofAccount->Apply();
    else
        CarryToSettlementAccount(*account, firm, before, losses.Sums(), losses.Deltas());
    return code;
}

Z9ERR RefreshClientPortfolio(BraskClient& client)
{
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr& account = firm.GetSettlementAccount();

    // Both books are rebuilt, and all levels take what memory the changes need: what fails gives the old books back.
    kv7im::Portfolio::Refreshed book(client.GetPortfolio());
    std::optional<kv7im::Portfolio::Refreshed> withoutEquityOptions;
    if (client.IsNotUseNOV()) withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions());
    const kv7im::RolledUpRisksVector deltas = CollectAllDeltas(client, firm, *account);
    SumsAbove sums(firm, *account);
    sums.MakeRoomFor(deltas);

    book.Keep();
    if (withoutEquityOptions) withoutEquityOptions->Keep();
    UpdateParticipantMeans(client);
    CarryUpFromClients(firm, *account, sums, deltas);
    return Z9ERR_OK;
}

} // namespace margin_orchestrator
