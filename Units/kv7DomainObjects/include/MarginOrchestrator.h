// margin_orchestrator: the one place that knows how a change of a position or an order moves the GO of the levels
// above.
//
// A level under Netting lives by its own position records. A level under HalfNetting takes the changes of its clients'
// losses. A settlement account under Gross sums the GO changes of its firms. Only changes flow upward: one position
// change costs one futures' worth of work a level, whatever the number of clients.
//
// Always true:  a code other than 0 does not stop the sequence; lookups come before any write, so an unknown
//               participant changes nothing. Steady state touches no general heap.
// Numbers:      quantity in contracts, negative when sold; waPrice is the weighted average price;
//               afterLastClearingQuantity is what the last clearing left, which the net option value counts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "Enums.h"
#include "ParticipantRepository.h"
#include "SpecOrderList.h"
#include "kv7errors.h"

namespace margin_orchestrator {

/// Renews the participant's money block with its GO of this moment.
void UpdateParticipantMeans(ParticipantBase& participant);

/// Sets a position of the participant that code and recordType name: Broker a firm, Client a client, any other value a
/// settlement account. The code is zero-terminated. Throws CZ9Error for a code that is none, a firm or its client that
/// is missing (Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, Z9ERR_CHECK_CLIENT_NOT_FOUND) and an unknown account.
[[nodiscard]] Z9ERR SetPositionByRecordType(const char* code, Enums::AccountHierarchyRecordType recordType, Isin isin,
                                            std::int64_t quantity, double waPrice,
                                            std::int64_t afterLastClearingQuantity, ParticipantRepository& repository);

/// Sets a position of a client and carries the change to its firm and settlement account. Gives the code of the
/// client's portfolio.
[[nodiscard]] Z9ERR SetPositionClient(BraskClient& client, Isin isin, std::int64_t quantity, double waPrice,
                                      std::int64_t afterLastClearingQuantity);

/// Sets a position of a firm under Netting; a firm under another rule has its positions from its clients, and the
/// record is ignored. An account under Gross sees the change of the firm's GO.
[[nodiscard]] Z9ERR SetPositionBroker(BraskBroker& broker, Isin isin, std::int64_t quantity, double waPrice,
                                      std::int64_t afterLastClearingQuantity);

/// Sets a position of a settlement account under Netting; under another rule the record is ignored.
[[nodiscard]] Z9ERR SetPositionSettlementAccount(BraskSettlementAccount& settlementAccount, Isin isin,
                                                 std::int64_t quantity, double waPrice,
                                                 std::int64_t afterLastClearingQuantity);

/// Adds changes to a client's orders in one instrument and carries them to its firm and settlement account. Unlike
/// positions, orders enter every level under Netting at once. The money blocks stay as they are. Gives the code of the
/// last portfolio that took the orders.
[[nodiscard]] Z9ERR ChangeOrder(BraskClient& client, Isin isin, std::size_t count, const SClearingDeltaOrder* orders);

/// Sets the premium of bought premium-style options aside, for a client whose margin leaves such options out.
void UpdateOrderReserve(BraskClient& client, std::size_t count, const SClearingDeltaOrder* orders);

/// Takes both books of a client anew, for parameters of the client that have changed, and carries the change to its
/// firm and settlement account. Always 0. Throws what an allocation throws: everything is as it was then while it is
/// the client's own book that fails; later the levels above stay behind.
[[nodiscard]] Z9ERR RefreshClientPortfolio(BraskClient& client);
/// The second half of it, once the client's own book is anew: its book without premium-style options, its money block,
/// and the levels above.
void FollowRefreshedPortfolio(BraskClient& client);

} // namespace margin_orchestrator
