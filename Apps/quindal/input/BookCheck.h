// Checks of rows against each other: each name is known, each entry stands once, each record counts.
#pragma once

#include "MarketCodes.h"
#include "Problems.h"
#include "Rows.h"

namespace quindal {

/// Checks accounts, firms, clients and ratios against each other.
void CheckAccounts(const Rows<AccountRow>& accounts, Problems& problems);
/// Checks that no holder has an instrument twice.
void CheckRepeated(const Rows<PositionRow>& positions, Problems& problems);
/// Checks that holders are among the accounts and take the records that are given for them.
void CheckHolders(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, Problems& problems);
/// Checks that the senders of orders are among the clients.
void CheckClients(const Rows<AccountRow>& accounts, const Rows<OrderRow>& orders, Problems& problems);

/// Checks the base contracts of ratios.
void CheckInstruments(const MarketCodes& codes, const Rows<AccountRow>& accounts, Problems& problems);
/// Checks the instruments of positions.
void CheckInstruments(const MarketCodes& codes, const Rows<PositionRow>& positions, Problems& problems);
/// Checks the instruments of orders.
void CheckInstruments(const MarketCodes& codes, const Rows<OrderRow>& orders, Problems& problems);
/// Checks the instruments of a basket that is ordered, or held.
void CheckInstruments(const MarketCodes& codes, const Rows<BasketRow>& basket, bool isHeld, Problems& problems);

} // namespace quindal
