// The road of a booked deal: the positions that the money ledger has booked go into the risk books of client, firm and
// settlement account. A deal reaches every level at once, where a position that is set from outside stays with its
// level.
#pragma once

#include <cstdint>

#include "Client.h"
#include "Enums.h"
#include "ParticipantBase.h"
#include "currencytype.h"
#include "kv7errors.h"
#include "replica/AssumedVectors.h"

namespace margin_orchestrator {

/// Takes the positions that a booked deal left, record by record, and carries each to firm and settlement account: a
/// level under Netting takes its own record, one under HalfNetting (a firm under Gross as well) the change of the
/// client's losses, an account under Gross the change of the firm's GO. Money blocks are renewed with each record.
/// Returns the first code other than 0 that a portfolio answered with, otherwise 0; Z9ERR_COMMON_WRONG_ARGUMENTS, with
/// nothing done, where the three vectors differ in length or in their instruments.
[[nodiscard]] Z9ERR SetPosition(BraskClient& client, const AssumedVectors& vectors);
[[nodiscard]] Z9ERR SetPosition(BraskClient& client, const LinkedAssumedVectors& vectors);
/// Sets aside the premium of a deal in a premium-style option, for a client whose margin leaves such options out.
/// quantity is negative for a sale, whose premium comes in and lowers the reserve.
void UpdateDealReserve(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity);
/// Contracts that the participant's risk book holds of a futures or an option; 0 without a position.
[[nodiscard]] std::int64_t GetPositionQuantity(const ParticipantBase& participant, Isin isin);

} // namespace margin_orchestrator
