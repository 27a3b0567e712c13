#include "replica/DealRoad.h"

#include <cstddef>
#include <optional>
#include <span>

#include "MarginRoad.h"
#include "PremiumOfOption.h"
#include "book/SpecPosition.h"

namespace margin_orchestrator {

namespace {

using namespace road;

using Records = std::span<const pos::SPosTrade>;

/// The records of one deal. Records at one index belong to one leg.
struct LevelRecords
{
    Records ofClient;
    Records ofBroker;
    Records ofAccount;

    [[nodiscard]] bool Correspond() const noexcept
    {
        if (ofBroker.size() != ofClient.size() || ofAccount.size() != ofClient.size()) return false;
        for (std::size_t i = 0; i < ofClient.size(); ++i)
            if (ofBroker[i].isin != ofClient[i].isin || ofAccount[i].isin != ofClient[i].isin) return false;
        return true;
    }
};

using PreparedPosition = kv7im::Portfolio::PreparedPosition;

Z9ERR SetPositionOf(PreparedPosition& prepared, const pos::SPosTrade& record)
{
    return prepared.Set(record.quantity, record.waprice.AsDouble(), record.afterLastClearingQuantity);
}

// Sets the position of one leg. Unlike a position set from outside it reaches every level at once; all of them take
// what memory it needs before any of them changes.
Z9ERR SetPositionByRecords(BraskClient& client, BraskBroker& firm, BraskSettlementAccount& account,
                           const pos::SPosTrade& ofClient, const pos::SPosTrade& ofBroker,
                           const pos::SPosTrade& ofAccount)
{
    PreparedPosition clients(client.GetPortfolio(), ofClient.isin);
    std::optional<PreparedPosition> withoutEquityOptions;
    std::optional<PreparedPosition> firms;
    std::optional<PreparedPosition> accounts;
    if (client.KeepsWithoutEquityOptions(ofClient.isin))
        withoutEquityOptions.emplace(client.GetPortfolioWithoutEquityOptions(), ofClient.isin);
    if (firm.GetMarginRule() == Enums::MarginRule::Netting) firms.emplace(firm.GetPortfolio(), ofBroker.isin);
    if (account.GetMarginRule() == Enums::MarginRule::Netting) accounts.emplace(account.GetPortfolio(), ofAccount.isin);
    LossesOnTheWay losses(client, ofClient.isin, clients.Found(), firm, account);

    UpdateDealReserve(client, ofClient.isin, ofClient.priceTechnic, ofClient.quantityTechnic);
    Z9ERR code = SetPositionOf(clients, ofClient);
    if (withoutEquityOptions) static_cast<void>(SetPositionOf(*withoutEquityOptions, ofClient));
    losses.Collect();
    UpdateParticipantMeans(client);
    CarryUpFromClients(
        firm, account, losses.Sums(), losses.Deltas(), [&] { KeepFirst(code, SetPositionOf(*firms, ofBroker)); },
        [&] { KeepFirst(code, SetPositionOf(*accounts, ofAccount)); });
    return code;
}

Z9ERR SetPositions(BraskClient& client, const LevelRecords& records)
{
    if (!records.Correspond()) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    BraskBroker& firm = client.GetBroker();
    const BraskSettlementAccountPtr& account = firm.GetSettlementAccount();
    Z9ERR code = Z9ERR_OK;
    for (std::size_t i = 0; i < records.ofClient.size(); ++i)
        KeepFirst(code, SetPositionByRecords(client, firm, *account, records.ofClient[i], records.ofBroker[i],
                                             records.ofAccount[i]));
    return code;
}

} // namespace

Z9ERR SetPosition(BraskClient& client, const AssumedVectors& vectors)
{
    return SetPositions(client, {vectors.positionsTradesClient, vectors.positionsTradesBroker,
                                 vectors.positionsTradesSettlementAccount});
}

Z9ERR SetPosition(BraskClient& client, const LinkedAssumedVectors& vectors)
{
    return SetPositions(client, {vectors.positionsTradesClient, vectors.positionsTradesBroker,
                                 vectors.positionsTradesSettlementAccount});
}

void UpdateDealReserve(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity)
{
    if (!client.IsNotUseNOV()) return;
    ReservePremium(client, isin, [&](const PremiumFactors& factors) {
        client.GetPremiumReservesCalculator().UpdateDealReserve(isin, price, quantity, factors.moneyCoef,
                                                                factors.curvatureRadius);
    });
}

std::int64_t GetPositionQuantity(const ParticipantBase& participant, Isin isin)
{
    const kv7im::CSpecPosition* const position = participant.GetPortfolio().GetSpecPosition(isin);
    return position == nullptr ? 0 : position->GetQuantity();
}

} // namespace margin_orchestrator
