// AssumedVectors: the records of one deal on its way through the levels. The money ledger fills the vectors while it
// books the deal; the margin orchestrator then takes the positions from them.
//
// Always true:  the three vectors of trades have a record for each leg, in the order of the legs; those of a level that
//               keeps no accounting hold its quantities only.
#pragma once

#include <cstdint>
#include <vector>

#include "Enums.h"
#include "OrderManager.h"
#include "PositionCalculator.h"
#include "TradingCodes.h"
#include "replica/QuantitiesCounters.h"

using PosTradeVector = pos::SPosTradesVector;

/// A change of a position.
struct SDeltaPosition
{
    ::Isin Isin = 0;
    std::int64_t Quantity = 0; // contracts, negative when sold
};

/// A client's position that is to be checked once the deal is booked.
struct ClientPosCheckData
{
    ClientCode Code;
    ::Isin Isin = 0;
    std::int64_t QuantityBefore = 0;
    std::int64_t QuantityAfter = 0;
};

struct AssumedVectors
{
    DeltaOrderList deltaOrders;
    std::vector<OrdersAndPositionsQuantitiesCounterGuard::SDeltaOrder> deltaOrdersGuards;
    std::vector<SDeltaPosition> deltaPositions;
    PosTradeVector positionsTradesClient;
    PosTradeVector positionsTradesBroker;
    PosTradeVector positionsTradesSettlementAccount;
    std::vector<ClientPosCheckData> PosChecks;
};

/// The vectors of trades, held elsewhere.
struct LinkedAssumedVectors
{
    PosTradeVector& positionsTradesClient;
    PosTradeVector& positionsTradesBroker;
    PosTradeVector& positionsTradesSettlementAccount;
};
