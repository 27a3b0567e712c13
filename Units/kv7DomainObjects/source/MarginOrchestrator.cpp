#include "MarginOrchestrator.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "MarginRoad.h"
#include "book/RefreshedPortfolio.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace margin_orchestrator {

namespace road {

namespace {

// Calls with(firm) for each firm that is bound to an account, once.
template <class With>
void ForEachFirmOf(const BraskSettlementAccount& account, const With& with)
{
    const std::vector<BraskBroker*>& firms = account.GetBrokers();
    for (auto firm = firms.begin(); firm != firms.end(); ++firm)
        if (std::find(firms.begin(), firm, *firm) == firm) with(**firm);
}

void AppendReportedLosses(BraskBroker& firm, kv7im::RolledUpRisksVector& losses)
{
    for (BraskClient& client : firm.EnumerateClients())
        client.GetPortfolio().AppendReportedLosses(losses);
}

} // namespace

bool LevelsAbove::SomeTakesLosses() const noexcept
{
    return m_firm.GetMarginRule() == Enums::MarginRule::HalfNetting ||
           m_account.GetMarginRule() == Enums::MarginRule::HalfNetting;
}

void LevelsAbove::TakeAnew()
{
    if (FirmHasSums()) {
        kv7im::RolledUpRisksVector losses;
        AppendReportedLosses(m_firm, losses);
        m_ofFirm.anew.emplace(m_firm.GetPortfolio(), losses);
    }
    if (AccountHasSums()) {
        kv7im::RolledUpRisksVector losses;
        ForEachFirmOf(m_account, [&](BraskBroker& firm) { AppendReportedLosses(firm, losses); });
        m_ofAccount.anew.emplace(m_account.GetPortfolio(), losses);
    }
}

void LevelsAbove::SetBehind() noexcept
{
    m_firm.GetPortfolio().SetSumsBehind(FirmHasSums());
    m_account.GetPortfolio().SetSumsBehind(AccountHasSums());
}

bool LevelsAbove::AreBehind() const noexcept
{
    return m_firm.GetPortfolio().AreSumsBehind() || m_account.GetPortfolio().AreSumsBehind();
}

void LevelsAbove::AddToFirm(const kv7im::RolledUpRisksVector& deltas) { m_ofFirm.Add(deltas); }

void LevelsAbove::AddToAccount(const kv7im::RolledUpRisksVector& deltas) { m_ofAccount.Add(deltas); }

void LevelsAbove::Level::Add(const kv7im::RolledUpRisksVector& deltas)
{
    if (anew)
        anew->Keep();
    else if (sums)
        sums->Add(deltas);
}

void LossesOnTheWay::MakeRoom(BraskClient& client, Isin isin, const kv7im::Portfolio::SearchResult& found)
{
    m_report.emplace(client.GetPortfolio(), isin, found);
    m_above.MakeRoomFor(*m_report);
}

void LossesOnTheWay::TakeAnew(BraskClient& client)
{
    client.GetPortfolio().ReportAnew();
    m_above.TakeAnew();
}

void LossesOnTheWay::Collect()
{
    if (m_report) m_report->Collect(m_deltas);
}

void GrowGrossMargin(BraskSettlementAccount& account, const BraskBroker& firm, const BraskBroker::MarginFigures& before)
{
    kv7im::Portfolio& book = account.GetPortfolio();
    const double was = before.InitialMargin();
    const double now = firm.GetMarginFigures().InitialMargin();
    book.NoteMagnitude(was);
    book.NoteMagnitude(now);
    book.IncreaseGrossInitialMargin(now - was);
    if (!book.IsSuspect()) return;
    double sum = 0.0;
    ForEachFirmOf(account, [&](const BraskBroker& each) { sum += each.GetMarginFigures().InitialMargin(); });
    if (!book.IsSpoiltFor(sum)) return;
    book.SetGrossInitialMargin(sum);
    book.ForgetMagnitude();
}

void CarryToSettlementAccount(LevelsAbove& above, const kv7im::RolledUpRisksVector& deltas)
{
    switch (above.Account().GetMarginRule()) {
    case Enums::MarginRule::Netting:
        break; // keeps records of its own
    case Enums::MarginRule::HalfNetting:
        above.AddToAccount(deltas);
        break;
    case Enums::MarginRule::Gross:
        GrowGrossMargin(above.Account(), above.Firm(), above.FirmBefore());
        break;
    }
}

void CarryUpFromClients(LevelsAbove& above, const kv7im::RolledUpRisksVector& deltas)
{
    const auto byItsOwnRecords = [] {};
    CarryUpFromClients(above, deltas, byItsOwnRecords, byItsOwnRecords);
}

} // namespace road

namespace {

using namespace road;

// Makes room above for all changes of losses in the book, and gives them. A book that something may have spoilt has
// spoilt the levels above as well: they are summed anew, and there are no changes.
kv7im::RolledUpRisksVector ReportRefreshed(BraskClient& client, bool mayBeSpoilt, LevelsAbove& above)
{
    kv7im::RolledUpRisksVector deltas;
    if (!above.SomeTakesLosses()) return deltas;
    kv7im::Portfolio& book = client.GetPortfolio();
    if (mayBeSpoilt) {
        book.ReportAnew();
        above.TakeAnew();
        return deltas;
    }
    for (const auto& [isin, position] : book.RangePositions())
        book.GetAllDeltaRolledUpRiskNodesByFutures(position, deltas);
    above.MakeRoomFor(deltas);
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
    LevelsAbove above(firm, *firm.GetSettlementAccount());

    // All levels take what memory the change needs before any of them changes.
    using PreparedPosition = kv7im::Portfolio::PreparedPosition;
    PreparedPosition ofClient(client.GetPortfolio(), isin, quantity, waPrice, afterLastClearingQuantity);
    std::optional<PreparedPosition> withoutEquityOptions;
    if (client.KeepsWithoutEquityOptions(isin))
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(), isin, quantity, waPrice,
                                     afterLastClearingQuantity);
    LossesOnTheWay losses(client, isin, ofClient, above);

    // The client itself, and the levels above.
    const Z9ERR code = ofClient.Apply();
    if (withoutEquityOptions) static_cast<void>(withoutEquityOptions->Apply());
    losses.Collect();
    UpdateParticipantMeans(client);
    CarryUpFromClients(above, losses.Deltas());
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
    BraskSettlementAccount& account = *firm.GetSettlementAccount();
    LevelsAbove above(firm, account);

    // All levels take what memory the order needs before any of them changes.
    using PreparedOrders = kv7im::Portfolio::PreparedOrders;
    PreparedOrders ofClient(client.GetPortfolio(), isin, count, orders);
    std::optional<PreparedOrders> withoutEquityOptions;
    std::optional<PreparedOrders> ofFirm;
    std::optional<PreparedOrders> ofAccount;
    if (client.KeepsWithoutEquityOptions(isin))
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(), isin, count, orders);
    if (firm.GetMarginRule() == Enums::MarginRule::Netting) ofFirm.emplace(firm.GetPortfolio(), isin, count, orders);
    if (account.GetMarginRule() == Enums::MarginRule::Netting)
        ofAccount.emplace(account.GetPortfolio(), isin, count, orders);
    LossesOnTheWay losses(client, isin, ofClient, above);

    // The client itself.
    UpdateOrderReserve(client, count, orders);
    Z9ERR code = ofClient.Apply();
    if (withoutEquityOptions) static_cast<void>(withoutEquityOptions->Apply());
    losses.Collect();

    // The firm. The money blocks stay as they are on all levels: an order is valued, not booked.
    if (ofFirm)
        code = ofFirm->Apply();
    else
        above.AddToFirm(losses.Deltas());

    // The settlement account.
    if (ofAccount)
        code = ofAccount->Apply();
    else
        CarryToSettlementAccount(above, losses.Deltas());
    return code;
}

Z9ERR RefreshClientPortfolio(BraskClient& client)
{
    BraskBroker& firm = client.GetBroker();
    LevelsAbove above(firm, *firm.GetSettlementAccount());

    // Both books are rebuilt, and all levels take what memory the changes need: what fails gives the old books back.
    const bool mayBeSpoilt = client.GetPortfolio().IsSuspect();
    using Refreshed = kv7im::Portfolio::Refreshed;
    Refreshed book(client.GetPortfolio(), Refreshed::Because::ParametersHaveChanged);
    std::optional<Refreshed> withoutEquityOptions;
    if (client.IsNotUseNOV())
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(),
                                     Refreshed::Because::ParametersHaveChanged);
    const kv7im::RolledUpRisksVector deltas = ReportRefreshed(client, mayBeSpoilt, above);

    book.Keep();
    if (withoutEquityOptions) withoutEquityOptions->Keep();
    UpdateParticipantMeans(client);
    CarryUpFromClients(above, deltas);
    return Z9ERR_OK;
}

} // namespace margin_orchestrator
