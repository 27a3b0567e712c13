// What rows say of each other: each name is known, each thing is said once, each record counts.
#pragma once

#include "MarketCodes.h"
#include "Problems.h"
#include "Rows.h"

namespace quindal {

/// Accounts, firms, clients and ratios among each other.
void CheckAccounts(const Rows<AccountRow>& accounts, Problems& problems);
/// No holder has an instrument twice.
void CheckRepeated(const Rows<PositionRow>& positions, Problems& problems);
/// Holders are among the accounts, and take the records that are given for them.
void CheckHolders(const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions, Problems& problems);
/// Those who order are among the clients.
void CheckClients(const Rows<AccountRow>& accounts, const Rows<OrderRow>& orders, Problems& problems);

/// Base contracts of ratios, instruments of positions and orders.
void CheckInstruments(const MarketCodes& codes, const Rows<AccountRow>& accounts, Problems& problems);
void CheckInstruments(const MarketCodes& codes, const Rows<PositionRow>& positions, Problems& problems);
void CheckInstruments(const MarketCodes& codes, const Rows<OrderRow>& orders, Problems& problems);

} // namespace quindal
