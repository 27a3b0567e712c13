// money_orchestrator: the money ledger of a deal. It books a trade into the accounting of client, firm and settlement
// account, works out what each of them would have blocked, and writes their money blocks.
//
// A level under Netting keeps an accounting of its own: it books each trade with its price and has its own closed
// variation margin (VM). A level under any other rule counts contracts only; its VM is the sum of the VM of the level
// below, so what a trade moves there is passed on upward.
//
// Always true:  after each operation the sums of every money block that it touched are those of its inputs.
//               a firm without a settlement account of its own pays into the account that all such firms share, as it
//               does with its GO; that account knows no instruments and has no positions.
// Numbers:      money in cents (t_bround_int) once rounded, with five decimals (t_bsum_int) before; a loss is negative.
//               a reserve and a fee count positive. A double becomes cents with halves away from zero.
#pragma once

#include <cstdint>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "ParticipantBase.h"
#include "ParticipantRepository.h"
#include "PositionCalculator.h"
#include "currencytype.h"
#include "kv7errors.h"
#include "replica/AssumedVectors.h"

namespace pos {
class SyntheticDealPrices;
struct SInstrTRD;
} // namespace pos

namespace money_orchestrator {

/// What one level would have.
struct CCalculatedMoney
{
    double PossibleBlockedGO = 0;              // GO, money
    t_bround_int Fee;                          // exchange fee
    t_bround_int VMReserve;                    // reserve for closed VM; a gain is a negative one
    t_bsum_int m_vmCloseTotal;                 // closed VM
    VMCloseByCurrencies m_vmCloseByCurrencies; // the part of it that is kept per currency
    t_bround_int m_deltaAmountMoneyPledge;     // change of money and pledge; the caller's
    t_bprice_int m_premiumBlocked;             // premium reserved
};

enum class UpdateMode : std::int32_t
{
    SetValue = 0,
    IncreaseValue = 1,
};

// Variation margin.

/// Reserve for the closed VM: minus the floor to cents of what is left of it once the part that is kept per currency
/// has lost the currency's curvature radius, gain or loss alike. Errs upward; below zero it frees money. A currency
/// without a radius loses nothing.
[[nodiscard]] t_bround_int GetVMReserve(const ParticipantBase& participant);

/// Reserve that the account would have. Under Netting that of its own VM. Under Gross and HalfNetting the gain of one
/// firm pays for no loss of another: the account's reserve is the sum of the firms', so it grows by firmReserveDelta,
/// what the reserve of one firm has changed by. 0 under any other rule.
[[nodiscard]] t_bround_int CalculateVMReserve(const BraskSettlementAccount& account, t_bround_int firmReserveDelta);

/// Adds to the closed VM of a firm, or to that of one currency (an indicator index), and renews the reserve and the
/// sums that follow from it. An account also takes what the reserve of the firm has changed by on the way
/// (CalculateVMReserve). May need memory for a currency's first entry: nothing has changed when it fails.
void ChangeVMCloseTotalByDelta(BraskBroker& broker, t_bsum_int delta);
void ChangeVMCloseTotalByDelta(BraskSettlementAccount& account, t_bsum_int delta, t_bround_int firmReserveDelta);
void ChangeVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta);
void ChangeVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency, t_bsum_int delta,
                                    t_bround_int firmReserveDelta);
/// Adds VM that is kept in this currency: to the closed VM of the level and to that of the currency alike.
void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta);
void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency,
                                                   t_bsum_int delta, t_bround_int firmReserveDelta);

// Money levels.

/// What the participant would have by its book, its accounting and its fee as they stand. m_deltaAmountMoneyPledge is
/// left alone.
void CalculateParticipantMoneySimple(CCalculatedMoney& money, const ParticipantBase& participant);

/// What a client, its firm and their settlement account would have by their books, their accounting and their fees; the
/// account's reserve by its rule, following the firm's from the one written last to the new one.
void CalculateMoney(const BraskClient& client, CCalculatedMoney& clientMoney, CCalculatedMoney& brokerMoney,
                    CCalculatedMoney& accountMoney);

/// Writes one level: GO, reserve, fee and premium, with changeLimit also money and pledge, and the sums that follow.
void UpdateMoney(BraskSettlementAccount& account, const CCalculatedMoney& money, bool changeLimit);
void UpdateMoney(BraskBroker& broker, const CCalculatedMoney& money, bool changeLimit);
/// Writes the client, then its firm, then the settlement account, whose money moves with the firm's.
void UpdateMoney(BraskClient& client, const CCalculatedMoney& clientMoney, const CCalculatedMoney& brokerMoney,
                 const CCalculatedMoney& accountMoney, bool changeClientLimit, bool changeBrokerLimit);

// Fees and penalties. Each renews the sums that follow.

/// Stores the exchange fee or adds to it; the next does so with what a client owes its firm.
void UpdateParticipantFee(UpdateMode mode, ParticipantBase& participant, t_bround_int fee);
void UpdateBraskClientBrokerFee(UpdateMode mode, BraskClient& client, t_bround_int fee);

void ClearParticipantFee(ParticipantBase& participant);
void ClearBraskClientBrokerFee(BraskClient& client);
void ClearPenalty(BraskClient& client);
/// Exchange fees of the account, of each firm bound to it and of each of their clients.
void ClearSettlementAccountFee(BraskSettlementAccount& account);

/// Adds to the exchange fee. Where the sum would be below 0 the fee becomes 0 instead, with a warning; the next does
/// so with what a client owes its firm.
void AdjustParticipantFee(ParticipantBase& participant, t_bround_int delta);
void AdjustBraskClientBrokerFee(BraskClient& client, t_bround_int delta);

/// Adds a penalty. One that is not above 0 is refused with a warning.
void UpdatePenalty(BraskClient& client, t_bround_int penalty);

/// Adds to the exchange fee of the client, then of its firm, then of the settlement account.
void UpdateFee(BraskClient& client, t_bround_int fee);
/// AdjustParticipantFee of the same three.
void AdjustFee(BraskClient& client, t_bround_int delta);

// Deals.

/// Books a trade of the client. Its legs go into the accounting of client, firm and settlement account, and the VM that
/// they close into the sums and reserves of the three; the instrument's fixed fee is charged to all three; then the
/// risk books and GO follow (margin_orchestrator::SetPosition).
///
/// quantity in contracts, negative when sold; price as the instrument is quoted; syntheticPrices, where they hold any,
/// give a multileg's legs their prices. The vectors are made anew, a record a leg in each; the fee stands in the first
/// record of the client. isin is that of the instrument, instrument what was traded: null after a throw. An instrument
/// without legs books nothing and costs nothing.
///
/// Whether there is money for it is not looked at: the host asks the levels (BraskCollateralChecker) beforehand.
///
/// Gives the code of the risk books, or a code before anything is booked, with no trace left: Z9ERR_INSTRUMENT_ABSENT
/// for a leg that the risk books do not know; Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND where the client, or a level
/// above under Netting, holds contracts of a leg in its risk book that its accounting knows nothing of: the deal would
/// take their place, so positions that deals go on from come by InsertPosition. Throws CZ9Error for an unknown
/// instrument and a fee beyond 64 bits, as early; for a price that is no amount (Z9ERR_COMMON_WRONG_ARGUMENTS), prices
/// that cannot be worked out and sums beyond 64 bits; and what an allocation throws. Accounting and money of all three
/// levels are then as they were; from the price on, flat records of the legs may stay, which hold nothing, but a later
/// InsertPosition for such an isin is a second one. Memory that ends in the risk books, the last step, leaves the deal
/// booked and the books on their way: levels above may stay behind (margin_orchestrator).
[[nodiscard]] Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price,
                                 std::int64_t quantity, const pos::SyntheticDealPrices& syntheticPrices,
                                 LinkedAssumedVectors& vectors, Isin& isin, const pos::SInstrTRD*& instrument);
/// Books a trade into vectors of its own: deltaPositions and PosChecks get an entry a leg as well. What belongs to
/// orders is left alone.
[[nodiscard]] Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price,
                                 std::int64_t quantity, const pos::SyntheticDealPrices& syntheticPrices,
                                 AssumedVectors& vectors, Isin& isin, const pos::SInstrTRD*& instrument);

/// Books a deal of the clearing in one futures or option, which costs no fee; with `reverse` takes a deal back, whose
/// quantity comes with the opposite sign. `positions` tells the position of each level before and behind it; curr is
/// null where the level keeps none. Failures as above.
[[nodiscard]] Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                                         LinkedAssumedVectors& vectors, PositionSet& positions, bool reverse);
[[nodiscard]] Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                                         AssumedVectors& vectors, PositionSet& positions, bool reverse);

/// Loads a position record at start: accounting, VM, reserve, and the risk books by margin_orchestrator. A client's
/// record counts at every level above that is not under Netting; a level under Netting has records of its own, which
/// come with the other two. Their code is 0, and the record is ignored, under any other rule. A second record of the
/// participant for an isin throws Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS, an unknown isin
/// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, contracts that a level above cannot count Z9ERR_COMMON_OVERFLOW, and
/// Z9ERR_INSTRUMENT_ABSENT is given where the risk books do not know it; nothing changes then. Memory that ends behind
/// the participant's own record leaves the levels above behind it.
[[nodiscard]] Z9ERR InsertPosition(BraskClient& client, const SPosition& position);
[[nodiscard]] Z9ERR InsertPosition(BraskBroker& broker, const SPosition& position);
[[nodiscard]] Z9ERR InsertPosition(BraskSettlementAccount& account, const SPosition& position);

/// After a clearing: the VM of all levels has been paid. Every position stands at its settlement price, with what it
/// holds as the quantity of the last clearing; VM and reserves are 0. The risk books take the new prices from their
/// next recalculation with settlement prices on (margin_orchestrator::RecalcBrokerByIsin), or trade by trade. Goes
/// firm by firm, the clients of each before it, and then through the accounts. A volume that does not fit
/// (Z9ERR_COMMON_OVERFLOW) or memory that ends is thrown: the levels walked by then are refreshed, the others are as
/// they were, and the whole may be repeated once the reason is gone.
void RefreshPositions(ParticipantRepository& repository);

} // namespace money_orchestrator
