#include "replica/DealRoad.h"

#include <cstddef>
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

Z9ERR SetPositionOf(kv7im::Portfolio& book, const pos::SPosTrade& record)
{
    return book.SetPosition(record.isin, record.quantity, record.waprice.AsDouble(), record.afterLastClearingQuantity);
}

// Sets the position of one leg. Unlike a position set from outside it reaches every level at once.
Z9ERR SetPositionByRecords(BraskClient& client, BraskBroker& firm, BraskSettlementAccount& account,
                           const pos::SPosTrade& ofClient, const pos::SPosTrade& ofBroker,
                           const pos::SPosTrade& ofAccount)
{
    UpdateDealReserve(client, ofClient.isin, ofClient.priceTechnic, ofClient.quantityTechnic);
    Z9ERR code = SetPositionOf(client.GetPortfolio(), ofClient);
    client.SetPositionInPortfolioWithoutEquityOptions(ofClient.isin, ofClient.quantity, ofClient.waprice.AsDouble(),
                                                      ofClient.afterLastClearingQuantity);
    const kv7im::RolledUpRisksVector deltas = CollectDeltas(client, ofClient.isin, firm, account);
    UpdateParticipantMeans(client);
    CarryUpFromClients(
        firm, account, deltas, [&] { KeepFirst(code, SetPositionOf(firm.GetPortfolio(), ofBroker)); },
        [&] { KeepFirst(code, SetPositionOf(account.GetPortfolio(), ofAccount)); });
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
