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
#include "instruments/SpecOrderList.h"
#include "kv7errors.h"

namespace margin_orchestrator {

/// Renews the participant's money block with its present GO.
void UpdateParticipantMeans(ParticipantBase& participant);

/// The participant that a record names; the other two are null.
struct NamedParticipant
{
    const BraskClient* client = nullptr;
    const BraskBroker* broker = nullptr;
    const BraskSettlementAccount* account = nullptr;
};

/// Sets a position of the participant that code and recordType name: Broker a firm, Client a client, any other value a
/// settlement account. The code is zero-terminated. `named`, when asked for, is that participant, so that its figures
/// are read without a second look-up. Throws CZ9Error for a malformed code, for a missing firm or client
/// (Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, Z9ERR_CHECK_CLIENT_NOT_FOUND) and for an unknown account.
[[nodiscard]] Z9ERR SetPositionByRecordType(const char* code, Enums::AccountHierarchyRecordType recordType, Isin isin,
                                            std::int64_t quantity, double waPrice,
                                            std::int64_t afterLastClearingQuantity, ParticipantRepository& repository,
                                            NamedParticipant* named = nullptr);

/// Sets a position of a client and carries the change to its firm and settlement account. Returns the code of the
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
/// positions, orders enter every level under Netting at once. The money blocks stay as they are. Returns the code of
/// the last portfolio that took the orders.
[[nodiscard]] Z9ERR ChangeOrder(BraskClient& client, Isin isin, std::size_t count, const SClearingDeltaOrder* orders);

/// Sets aside the premium of orders for premium-style options, for a client whose margin leaves such options out.
void UpdateOrderReserve(BraskClient& client, std::size_t count, const SClearingDeltaOrder* orders);

/// Rebuilds the two books of a client after its parameters have changed, and carries the change to its firm and
/// settlement account. Always returns 0. Throws what an allocation throws: everything is as it was then.
[[nodiscard]] Z9ERR RefreshClientPortfolio(BraskClient& client);

// The mode of positions alone: positions are valued by their cost basis and a market price, the paper loss apart. A
// client's change stays with the client: nothing flows upward.

/// Sets a position of the participant that code and recordType name, as SetPositionByRecordType does, in the mode of
/// positions alone. marketPrice is quoted as waPrice is.
[[nodiscard]] Z9ERR SetPositionByRecordType_PositionsOnly(const char* code,
                                                          Enums::AccountHierarchyRecordType recordType, Isin isin,
                                                          std::int64_t quantity, double waPrice, double marketPrice,
                                                          std::int64_t afterLastClearingQuantity,
                                                          ParticipantRepository& repository);
/// Sets a position in the client's books and renews its money block; its firm and settlement account stay as they are.
[[nodiscard]] Z9ERR SetPositionClient_PositionsOnly(BraskClient& client, Isin isin, std::int64_t quantity,
                                                    double waPrice, double marketPrice,
                                                    std::int64_t afterLastClearingQuantity);
/// Sets a position of a firm under Netting. An account that sums the firms' GO sees the change of the firm's GO.
[[nodiscard]] Z9ERR SetPositionBroker_PositionsOnly(BraskBroker& broker, Isin isin, std::int64_t quantity,
                                                    double waPrice, double marketPrice,
                                                    std::int64_t afterLastClearingQuantity);
/// Sets a position of a settlement account under Netting; under another rule the record is ignored.
[[nodiscard]] Z9ERR SetPositionSettlementAccount_PositionsOnly(BraskSettlementAccount& settlementAccount, Isin isin,
                                                               std::int64_t quantity, double waPrice,
                                                               double marketPrice,
                                                               std::int64_t afterLastClearingQuantity);

// A pass of recalculation: between UpdateComplete and ReleaseChanged of the instruments every book moves from the
// current objects to the new ones, futures by futures. RecalcChangedInstruments is a whole pass.

/// Rebuilds one futures, with its options and all open orders, on its changed instruments: in the books of all clients
/// of the firm that hold it, and in those of the firm and the settlement account where they keep positions of their
/// own; carries the changes of losses and of GO up. The isin is marked at each participant, which from then on reads it
/// from the new objects; an account under Netting does its part once a pass, whichever firm comes first.
/// useRealCalcPrice: settlement prices replace the average prices. A client that fails, with a code or an exception, is
/// logged, and the others go on; what its book holds then is what the levels above hold of it, except that they keep
/// the losses of a series standing alone that has dropped out of it. Without memory the book stays on the old objects
/// and the isin unmarked, so that a second call for this isin makes up for it; a call that finds nothing left to do
/// changes nothing. Returns the code of the first client that failed, else that of the firm's own book, else of the
/// account's, else 0.
[[nodiscard]] Z9ERR RecalcBrokerByIsin(BraskBroker& broker, Isin isin, bool useRealCalcPrice);
/// Rebuilds one futures in the book of a settlement account under Netting, which may have no firm below it, once a
/// pass.
[[nodiscard]] Z9ERR RecalcSettlementAccountByIsin(BraskSettlementAccount& account, Isin isin, bool useRealCalcPrice);

/// The whole pass, to be called after UpdateComplete: recalculates in all books every futures of every open family and
/// every futures that stands in a multileg with one of them, then releases the changes and ends the pass.
/// useRealCalcPrice acts on the open families. Returns the first code that a book answered with, otherwise 0; but
/// Z9ERR_RECALC_BROKER_NOT_CONSISTENTLY when some book could not leave the old objects: then the changes are not
/// released, the pass stays open, and the call may be repeated. No position may be set before it has succeeded. Throws
/// what an allocation above the clients throws; it may be repeated then too.
[[nodiscard]] Z9ERR RecalcChangedInstruments(ParticipantRepository& participants,
                                             kv7im::InstrumentsRepository& instruments, bool useRealCalcPrice);
/// True while a book stands on objects that ReleaseChanged would destroy.
[[nodiscard]] bool HasBooksToRecalculate(ParticipantRepository& participants);
/// Ends a pass that was driven by RecalcBrokerByIsin, after ReleaseChanged: no isin is marked any more.
void EndRecalculation(ParticipantRepository& participants) noexcept;

} // namespace margin_orchestrator
