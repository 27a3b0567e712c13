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

/// The money figures that one level would have.
struct CCalculatedMoney
{
    double PossibleBlockedGO = 0;              // GO, money
    t_bround_int Fee;                          // exchange fee
    t_bround_int VMReserve;                    // reserve for closed VM; a gain is a negative one
    t_bsum_int m_vmCloseTotal;                 // closed VM
    VMCloseByCurrencies m_vmCloseByCurrencies; // the part of m_vmCloseTotal that is kept per currency
    t_bround_int m_deltaAmountMoneyPledge;     // change of money and pledge, set by the caller
    t_bprice_int m_premiumBlocked;             // premium reserved
};

enum class UpdateMode : std::int32_t
{
    SetValue = 0,
    IncreaseValue = 1,
};

// Variation margin.

/// Reserve for the closed VM: minus the floor to cents of the closed VM, after its part kept per currency has lost the
/// currency's curvature radius, gain or loss alike. Errs upward; below zero it frees money. A currency without a radius
/// loses nothing.
[[nodiscard]] t_bround_int GetVMReserve(const ParticipantBase& participant);

/// Reserve that the account would have. Under Netting it is the reserve of its own VM. Under Gross and HalfNetting the
/// gain of one firm pays for no loss of another, so the account's reserve is the sum of the firms' and grows by
/// firmReserveDelta, the change of one firm's reserve. 0 under any other rule.
[[nodiscard]] t_bround_int CalculateVMReserve(const BraskSettlementAccount& account, t_bround_int firmReserveDelta);

/// Adds to the closed VM of a firm and renews its reserve and the sums that follow.
void ChangeVMCloseTotalByDelta(BraskBroker& broker, t_bsum_int delta);
/// Adds to the closed VM of an account and renews its reserve, which takes in firmReserveDelta, the change of a firm's
/// reserve (CalculateVMReserve), and the sums that follow.
void ChangeVMCloseTotalByDelta(BraskSettlementAccount& account, t_bsum_int delta, t_bround_int firmReserveDelta);
/// Adds to the closed VM that a firm keeps in one currency (an indicator index) and renews its reserve and the sums
/// that follow. The currency's first entry needs memory; nothing has changed when it fails.
void ChangeVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta);
/// Adds to the closed VM that an account keeps in one currency and renews its reserve, which takes in firmReserveDelta,
/// and the sums that follow. Nothing has changed when it fails for lack of memory.
void ChangeVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency, t_bsum_int delta,
                                    t_bround_int firmReserveDelta);
/// Adds VM that is kept in this currency: to the closed VM of the level and to that of the currency alike.
void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskBroker& broker, std::int32_t currency, t_bsum_int delta);
/// Adds VM that an account keeps in this currency to the total and to the currency alike.
void ChangeVMCloseTotalAndVMCloseByCurrencyByDelta(BraskSettlementAccount& account, std::int32_t currency,
                                                   t_bsum_int delta, t_bround_int firmReserveDelta);

// Money levels.

/// Computes the money of one participant from its book, its accounting and its present fee. m_deltaAmountMoneyPledge is
/// left alone.
void CalculateParticipantMoneySimple(CCalculatedMoney& money, const ParticipantBase& participant);

/// What a client, its firm and their settlement account would have by their books, their accounting and their fees; the
/// account's reserve by its rule, following the firm's from the one written last to the new one.
void CalculateMoney(const BraskClient& client, CCalculatedMoney& clientMoney, CCalculatedMoney& brokerMoney,
                    CCalculatedMoney& accountMoney);

/// Writes the money of an account: GO, reserve, fee and premium, with changeLimit also money and pledge, and the sums
/// that follow.
void UpdateMoney(BraskSettlementAccount& account, const CCalculatedMoney& money, bool changeLimit);
/// Writes the money of a firm: GO, reserve, fee and premium, with changeLimit also money and pledge, and the sums that
/// follow.
void UpdateMoney(BraskBroker& broker, const CCalculatedMoney& money, bool changeLimit);
/// Writes the money of a client, then of its firm, then of the settlement account, whose money moves with the firm's.
void UpdateMoney(BraskClient& client, const CCalculatedMoney& clientMoney, const CCalculatedMoney& brokerMoney,
                 const CCalculatedMoney& accountMoney, bool changeClientLimit, bool changeBrokerLimit);

// Fees and penalties. Each renews the sums that follow.

/// Stores the exchange fee or adds to it.
void UpdateParticipantFee(UpdateMode mode, ParticipantBase& participant, t_bround_int fee);
/// Stores the fee that a client owes its firm or adds to it.
void UpdateBraskClientBrokerFee(UpdateMode mode, BraskClient& client, t_bround_int fee);

void ClearParticipantFee(ParticipantBase& participant);
void ClearBraskClientBrokerFee(BraskClient& client);
void ClearPenalty(BraskClient& client);
/// Clears the exchange fees of the account, of each firm bound to it and of each of their clients.
void ClearSettlementAccountFee(BraskSettlementAccount& account);

/// Adds to the exchange fee. A sum below 0 becomes 0 instead, with a warning.
void AdjustParticipantFee(ParticipantBase& participant, t_bround_int delta);
/// Adds to the fee that a client owes its firm. A sum below 0 becomes 0 instead, with a warning.
void AdjustBraskClientBrokerFee(BraskClient& client, t_bround_int delta);

/// Adds a penalty. A penalty that is not above 0 is refused with a warning.
void UpdatePenalty(BraskClient& client, t_bround_int penalty);

/// Adds to the exchange fee of the client, then of its firm, then of the settlement account.
void UpdateFee(BraskClient& client, t_bround_int fee);
/// Adjusts the exchange fee of the client, then of its firm, then of the settlement account, as AdjustParticipantFee
/// does.
void AdjustFee(BraskClient& client, t_bround_int delta);

// Deals.

/// Books a trade of the client. Its legs go into the accounting of client, firm and settlement account, and the VM that
/// they close into the sums and reserves of the three; the instrument's fixed fee is charged to all three; then the
/// risk books and GO follow (margin_orchestrator::SetPosition).
///
/// quantity in contracts, negative when sold; price as the instrument is quoted; syntheticPrices, where they hold any,
/// give the prices of a multileg's legs. The vectors are filled anew with one record a leg; the fee stands in the first
/// record of the client. isin is that of the instrument, instrument what was traded: null after a throw. An instrument
/// without legs books nothing and costs nothing.
///
/// Whether there is money for the trade is not checked: the host asks the levels (BraskCollateralChecker) beforehand.
///
/// Returns the code of the risk books, or, before anything is booked and with no trace left, Z9ERR_INSTRUMENT_ABSENT
/// for a leg that the risk books do not know, or Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND where the client, or a
/// level above under Netting, holds contracts of a leg in its risk book that its accounting does not know: the deal
/// would take their place, so positions that deals continue have to come by InsertPosition. Throws CZ9Error, as early,
/// for an unknown instrument and a fee beyond 64 bits; later for a price that is no amount
/// (Z9ERR_COMMON_WRONG_ARGUMENTS), for prices that cannot be computed and sums beyond 64 bits; and what an allocation
/// throws. Accounting and money of all three levels are then as they were; from the price on, flat records of the legs
/// may stay, which hold nothing but make a later InsertPosition for such an isin a second one. Memory that ends in the
/// risk books, the last step, leaves the deal booked and the books on their way: levels above may stay behind
/// (margin_orchestrator).
[[nodiscard]] Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price,
                                 std::int64_t quantity, const pos::SyntheticDealPrices& syntheticPrices,
                                 LinkedAssumedVectors& vectors, Isin& isin, const pos::SInstrTRD*& instrument);
/// Books a trade into vectors of its own: deltaPositions and PosChecks get an entry a leg as well. What belongs to
/// orders is left alone.
[[nodiscard]] Z9ERR ProcessTrade(BraskClient& client, std::int32_t instrumentId, t_bprice_int price,
                                 std::int64_t quantity, const pos::SyntheticDealPrices& syntheticPrices,
                                 AssumedVectors& vectors, Isin& isin, const pos::SInstrTRD*& instrument);

/// Books a deal of the clearing in one futures or option, which costs no fee; with `reverse` takes a deal back, whose
/// quantity comes with the opposite sign. `positions` receives the position of each level before and after it; curr is
/// null where the level keeps none. Fails as ProcessTrade does.
[[nodiscard]] Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                                         LinkedAssumedVectors& vectors, PositionSet& positions, bool reverse);
[[nodiscard]] Z9ERR ProcessClearingTrade(BraskClient& client, Isin isin, t_bprice_int price, std::int64_t quantity,
                                         AssumedVectors& vectors, PositionSet& positions, bool reverse);

/// Loads a client's position record at start: accounting, VM, reserve, and the risk books through margin_orchestrator.
/// The record counts at every level above that is not under Netting; a level under Netting has records of its own. A
/// second record of the participant for an isin throws Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS, an unknown
/// isin Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, contracts that a level above cannot count Z9ERR_COMMON_OVERFLOW;
/// Z9ERR_INSTRUMENT_ABSENT is returned where the risk books do not know the isin. Nothing changes then. Memory that
/// ends after the participant's own record leaves the levels above behind it.
[[nodiscard]] Z9ERR InsertPosition(BraskClient& client, const SPosition& position);
/// Loads a firm's position record at start. Under a rule other than Netting the record is ignored, with code 0. Errors
/// are those of a client's record.
[[nodiscard]] Z9ERR InsertPosition(BraskBroker& broker, const SPosition& position);
/// Loads a settlement account's position record at start. Under a rule other than Netting the record is ignored, with
/// code 0. Errors are those of a client's record.
[[nodiscard]] Z9ERR InsertPosition(BraskSettlementAccount& account, const SPosition& position);

/// Refreshes all positions after a clearing, which has paid the VM of all levels. Every position stands at its
/// settlement price, with its quantity as that of the last clearing; VM and reserves are 0. The risk books take the new
/// prices at their next recalculation with settlement prices (margin_orchestrator::RecalcBrokerByIsin), or trade by
/// trade. It goes firm by firm, the clients of each first, and then through the accounts. A volume that does not fit
/// (Z9ERR_COMMON_OVERFLOW) or memory that ends is thrown: the levels walked by then are refreshed, the others are as
/// they were, and the whole may be repeated once the reason is gone.
void RefreshPositions(ParticipantRepository& repository);

} // namespace money_orchestrator
