// Positions in the mode of positions alone, which values them by their cost basis and a market price. The change of a
// client's position ends with its own money block; a firm's change reaches an account that sums the firms' GO.
#include "MarginOrchestrator.h"

#include "MarginRoad.h"

namespace margin_orchestrator {

using namespace road;

Z9ERR SetPositionByRecordType_PositionsOnly(const char* code, Enums::AccountHierarchyRecordType recordType, Isin isin,
                                            std::int64_t quantity, double waPrice, double marketPrice,
                                            std::int64_t afterLastClearingQuantity, ParticipantRepository& repository)
{
    return DispatchByRecordType(
        code, recordType, repository,
        [&](BraskBroker& firm) {
            return SetPositionBroker_PositionsOnly(firm, isin, quantity, waPrice, marketPrice,
                                                   afterLastClearingQuantity);
        },
        [&](BraskClient& client) {
            return SetPositionClient_PositionsOnly(client, isin, quantity, waPrice, marketPrice,
                                                   afterLastClearingQuantity);
        },
        [&](BraskSettlementAccount& account) {
            return SetPositionSettlementAccount_PositionsOnly(account, isin, quantity, waPrice, marketPrice,
                                                              afterLastClearingQuantity);
        });
}

Z9ERR SetPositionClient_PositionsOnly(BraskClient& client, Isin isin, std::int64_t quantity, double waPrice,
                                      double marketPrice, std::int64_t afterLastClearingQuantity)
{
    const Z9ERR code = client.GetPortfolio().SetPosition_PositionsOnly(isin, quantity, waPrice, marketPrice,
                                                                       afterLastClearingQuantity);
    client.SetPositionInPortfolioWithoutEquityOptions_PositionsOnly(isin, quantity, waPrice, marketPrice,
                                                                    afterLastClearingQuantity);
    UpdateParticipantMeans(client);
    return code;
}

Z9ERR SetPositionBroker_PositionsOnly(BraskBroker& broker, Isin isin, std::int64_t quantity, double waPrice,
                                      double marketPrice, std::int64_t afterLastClearingQuantity)
{
    return ChangeBroker(broker, [&](kv7im::Portfolio& book) {
        return book.SetPosition_PositionsOnly(isin, quantity, waPrice, marketPrice, afterLastClearingQuantity);
    });
}

Z9ERR SetPositionSettlementAccount_PositionsOnly(BraskSettlementAccount& settlementAccount, Isin isin,
                                                 std::int64_t quantity, double waPrice, double marketPrice,
                                                 std::int64_t afterLastClearingQuantity)
{
    return ChangeSettlementAccount(settlementAccount, [&](kv7im::Portfolio& book) {
        return book.SetPosition_PositionsOnly(isin, quantity, waPrice, marketPrice, afterLastClearingQuantity);
    });
}

} // namespace margin_orchestrator
