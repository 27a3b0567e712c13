// CPositionCalculator: the accounting side of one participant's positions: quantities, volumes, average prices and the
// closed variation margin (VM) by isin, and the running sums of VM over all of them.
//
// Always true:  a record stands once an isin; reading and booking create none; a multileg has no record, its legs have.
//               An operation that throws leaves records and sums as they were (at most, where memory ended, with a new
//               currency that has nothing in it).
// Numbers:      quantities are contracts, negative when sold; the session's bought and sold quantities count positive
//               each. Money is t_bsum_int; a loss is negative. A deal after which a quantity, a volume, an average or
//               the closed VM of the position would not fit 64 bits is refused (Z9ERR_COMMON_OVERFLOW, "Isin: %d"). The
//               sums over positions wrap as t_bsum_int does, so what is taken back later is whole again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "Enums.h"
#include "PositionCalculatorInstruments.h"
#include "currencytype.h"
#include "replica/ISerializable.h"
#include "replica/SyntheticDealPrices.h"

/// Currency (indicator index) to the closed VM in it.
using VMCloseByCurrencies = std::map<std::int32_t, t_bsum_int>;

struct SPosition
{
    Isin isin = 0;
    std::int64_t quantity = 0;
    std::int64_t buyQuantityTechnic = 0;  // contracts bought in the session, positive
    std::int64_t sellQuantityTechnic = 0; // contracts sold in the session, positive
    t_bprice_int waprice;                 // weighted average price of the open side
    t_bsum_int vmClose;                   // money, VM of contracts that were bought and sold again
    t_bsum_int buyVolume;                 // quantity times price
    t_bsum_int sellVolume;
    const pos::SInstrCLR* instr = nullptr;      // null where only quantities are kept
    std::int64_t afterLastClearingQuantity = 0; // quantity that the last clearing left
    t_bsum_int netOptionValue;                  // money that a premium-style option is worth, negative when sold
};
static_assert(sizeof(SPosition) == 88);

/// A position before and after a booking on it.
struct PrevAndCurrPosition
{
    SPosition prev;            // as it stood
    SPosition* curr = nullptr; // the live one, not owned; null where nothing was booked
};

/// The positions of the three levels that a clearing deal reaches, before and after it.
struct PositionSet
{
    PrevAndCurrPosition clientPosition;
    PrevAndCurrPosition brokerPosition;
    PrevAndCurrPosition settlementAccountPosition;
};

using IsinPositionMap = std::unordered_map<Isin, SPosition>;

namespace pos {

/// Effect of a trade on one isin of a participant: the deal itself, and the position after it.
struct SPosTrade
{
    Isin isin = 0;
    t_bprice_int priceTechnic;
    std::int64_t quantityTechnic = 0;   // of the deal, negative when sold
    std::int64_t openInterestDelta = 0; // |new quantity| less |old quantity|
    t_bprice_int deltaFee;              // money; filled by the one who charges it
    Enums::Status status = Enums::Status::None;
    // The position after the deal.
    t_bprice_int waprice;
    t_bsum_int vmClose;
    t_bsum_int buyVolume;
    t_bsum_int sellVolume;
    std::int64_t quantity = 0;
    std::int64_t buyQuantityTechnic = 0;
    std::int64_t sellQuantityTechnic = 0;
    std::int64_t afterLastClearingQuantity = 0;
};
using SPosTradesVector = std::vector<SPosTrade>; // a record a leg

/// Effect of an order in a trading instrument on one of its legs.
struct SOrderQtyAndDirection
{
    Isin isin = 0;
    std::int64_t quantity = 0; // contracts, positive
    bool isBuying = false;
};

/// The data that a dump of a participant reads.
class IPositionCalculatorDumper
{
public:
    virtual ~IPositionCalculatorDumper() = default;

    [[nodiscard]] virtual std::vector<SPosition> GetPositionsForDumper() const = 0; ///< By ascending isin.
    [[nodiscard]] virtual t_bsum_int GetVM() const noexcept = 0;
    [[nodiscard]] virtual const VMCloseByCurrencies& GetVMCurr() const noexcept = 0;
    [[nodiscard]] virtual t_bsum_int GetVMFull() const noexcept = 0;
    [[nodiscard]] virtual const VMCloseByCurrencies& GetVMCurrFull() const noexcept = 0;

protected:
    IPositionCalculatorDumper() = default;
    IPositionCalculatorDumper(const IPositionCalculatorDumper&) = default;
    IPositionCalculatorDumper& operator=(const IPositionCalculatorDumper&) = default;
};

} // namespace pos

class CPositionCalculator final : public pos::IPositionCalculatorDumper, public ISerializable
{
public:
    /// The serialised form, little-endian:
    ///     0  VM              8 bytes, units of 10^-5
    ///     8  NetOptionValue  8 bytes, units of 10^-5
    ///    16  numPos          4 bytes, unsigned
    ///    20  numVMCurrencies 4 bytes, unsigned
    ///    24  numPos positions by ascending isin, 88 bytes each: isin (4 bytes and 4 unused ones), then
    ///        8 bytes each for quantity, buyQuantityTechnic, sellQuantityTechnic, waprice, vmClose, buyVolume,
    ///        sellVolume, instr (0), afterLastClearingQuantity, netOptionValue
    ///        numVMCurrencies entries of VMCurr by ascending currency, 16 bytes each (OneVMCloseByCurrency):
    ///        currId (4 bytes and 4 unused ones), vmClose (8 bytes)
    struct BinaryState
    {
        static constexpr std::size_t HeadSize = 24;
        static constexpr std::size_t PositionSize = 88;
        static constexpr std::size_t OneVMCloseByCurrencySize = 16;
    };

    /// Starts empty; the dictionary outlives the calculator.
    explicit CPositionCalculator(const pos::PositionCalculatorInstruments& instruments) noexcept;

    /// The position in a futures or an option; null when there is none.
    [[nodiscard]] const SPosition* getPosition(Isin isin) const noexcept;
    [[nodiscard]] const IsinPositionMap& GetPositions() const noexcept { return m_positions; }
    /// Quantity of a position after the last clearing; 0 when there is no position.
    [[nodiscard]] std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const noexcept;

    // Replica: what books deals and clearings into the records. A margin asks only for the three above.

    /// Drops positions and sums.
    void Clear() noexcept;
    /// Sets all sums to zero. Currencies that have an entry keep it.
    void SetZero() noexcept;

    [[nodiscard]] SPosition* getPosition(Isin isin) noexcept;
    /// Position in an isin of any kind; null for a multileg's, which has none. Creates nothing.
    [[nodiscard]] const SPosition* getPositionSafe(Isin isin) const noexcept;
    /// Fills the vector with the positions that a deal in this isin moves: its own, or those of the up to two legs of a
    /// multileg, the first leg first. Legs without a position are left out.
    void GetPositions(Isin isin, std::vector<SPosition>& positions,
                      const pos::PositionCalculatorInstruments& instruments) const;

    /// Enters a record and points it at its instrument. updateVM adds its vmClose to the VM sums (premium-style options
    /// apart), updateNetOptionValue its option value to NetOptionValue. A second record for an isin:
    /// Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS; an unknown isin: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND; a
    /// multileg's: Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION.
    void InsertPosition(const SPosition& position, bool updateVM, bool updateNetOptionValue);
    /// Enters a record of a level without accounting: quantities only, no instrument, no sums; the isin need not be
    /// known.
    void InsertPositionForHalfNettingAndGross(const SPosition& position);
    /// Removes a record whose closed VM is not in the sums; does nothing where there is none.
    void RemovePosition(Isin isin) noexcept;

    [[nodiscard]] t_bsum_int GetNetOptionValue() const noexcept { return NetOptionValue; }
    /// The futures or option of a position in this isin, whether there is such a position or not. Unknown isin:
    /// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: %d"; a multileg's:
    /// Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION.
    [[nodiscard]] const pos::SInstrCLR& InstrumentOfPosition(Isin isin) const;
    /// The trading instrument of an id. Unknown id: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "InstrumentID: %d".
    [[nodiscard]] const pos::SInstrTRD& GetTradeInstrument(std::int32_t instrumentID) const;
    /// Effect of an order of `quantity` contracts (negative to sell) in a trading instrument on each of its legs.
    /// Unknown id: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "InstrumentID: %d".
    void GetOrdersQtyAndDirectionData(std::int32_t instrumentID, std::int64_t quantity,
                                      std::vector<pos::SOrderQtyAndDirection>& orders) const;

    /// Books a deal on the positions of all legs; quantity is negative for a sale. The prices of the legs of a multileg
    /// are synthetic where given, else worked out from the price of the deal (PartPrices.h). A leg without a position
    /// is passed over: its record in `trades` keeps the deal's isin, price and status with zeros. premiumStyleApart:
    /// the VM of premium-style options goes into the Full sums only. `trades` holds a record a leg afterwards, the
    /// second one marked Enums::Status::SecondLeg; deltaFee is left at 0. The isin is that of the trading instrument, a
    /// multileg's own included. An unknown instrument: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "InstrumentID: %d".
    /// A price that is no amount, that of the deal or of a leg: Z9ERR_COMMON_WRONG_ARGUMENTS, "Isin: %d".
    void ProcessTrade(std::int32_t instrumentID, t_bprice_int price, std::int64_t quantity,
                      const pos::SyntheticDealPrices& syntheticPrices, pos::SPosTradesVector& trades, Isin& outIsin,
                      const pos::SInstrTRD*& outInstrument, bool premiumStyleApart);
    /// Books a clearing deal on one isin; `trades` holds its one record. `positions` may be null. reverse takes a deal
    /// back: the quantity is that of the deal with the other sign, the price the deal's. An unknown isin:
    /// Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: %d"; a multileg's:
    /// Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION; a price that is no amount: Z9ERR_COMMON_WRONG_ARGUMENTS.
    void ProcessTradeCLR(Isin isin, t_bprice_int price, std::int64_t quantity, pos::SPosTradesVector& trades,
                         PrevAndCurrPosition* positions, bool reverse, bool premiumStyleApart);
    /// Books a deal at a level without accounting: only the quantities of the legs' positions move. Arguments, results
    /// and errors are those of ProcessTrade.
    void ProcessTradeForHalfNettingAndGross(std::int32_t instrumentID, t_bprice_int price, std::int64_t quantity,
                                            const pos::SyntheticDealPrices& syntheticPrices,
                                            pos::SPosTradesVector& trades, Isin& outIsin,
                                            const pos::SInstrTRD*& outInstrument);
    /// Books a clearing deal on one isin at a level without accounting: only the quantity moves. The sign alone takes a
    /// deal back. The isin need not be known.
    void ProcessTradeCLRForHalfNettingAndGross(Isin isin, t_bprice_int price, std::int64_t quantity,
                                               pos::SPosTradesVector& trades, PrevAndCurrPosition* positions);

    /// Books one leg. `trade` gives the price and receives the rest; `positions`, when not null, receives the position
    /// before and the live one. `futures` is the instrument itself or the futures of an option's series. Nothing
    /// happens where there is no position.
    void CalcPosition(const pos::SInstrCLR& instrument, const pos::SFutures& futures, std::int64_t quantity,
                      pos::SPosTrade& trade, PrevAndCurrPosition* positions, bool reverse, bool premiumStyleApart);

    // The steps of booking, on a single record. A result out of 64 bits throws Z9ERR_COMMON_OVERFLOW; the record must
    // not be used any more then.

    /// Adds a deal to the session's bought (above 0) or sold quantity and volume.
    static void UpdateQuantityAndVolume(SPosition& position, std::int64_t quantity, t_bprice_int price);
    /// Takes a deal out of the session's quantity and volume. The quantity is that of the deal with the other sign:
    /// below 0 it takes back a purchase.
    static void RevertQuantityAndVolume(SPosition& position, std::int64_t quantity, t_bprice_int price);
    /// Renews vmClose and waprice from the session's quantities and volumes; returns the change of vmClose. Nothing
    /// happens to a record without a futures or an option behind it.
    static t_bsum_int updateVmAndWaPriceByTrade(SPosition& position);

    /// Cost of a deal, money: contracts times the instrument's fixedFeeRate. A sale is charged by its positive count; a
    /// negative count gives the amount that is paid back. An unknown instrument, or one without a rate, costs nothing
    /// and is logged.
    [[nodiscard]] t_bsum_int CalcFixedFee(std::int64_t quantity, std::int32_t instrumentID) const;

    /// Restates one position at the settlement price of its instrument, after a clearing has paid it. waprice becomes
    /// that price, vmClose 0, each volume the quantity of its side at that price, afterLastClearingQuantity the
    /// quantity. A premium-style option is worth quantity x price x money of a price unit (netOptionValue), any other
    /// instrument nothing. A record without an instrument changes in afterLastClearingQuantity only. The caller renews
    /// the sums. No position: Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND, "Isin: %d".
    void refreshPosition(Isin isin);
    /// Restates all positions, and the sums with them: VM starts at zero, NetOptionValue is the sum of the positions'.
    void refreshAllPositions();

    [[nodiscard]] std::vector<SPosition> GetPositionsForDumper() const override;
    [[nodiscard]] t_bsum_int GetVM() const noexcept override { return VM; }
    [[nodiscard]] const VMCloseByCurrencies& GetVMCurr() const noexcept override { return VMCurr; }
    [[nodiscard]] t_bsum_int GetVMFull() const noexcept override { return VMFull; }
    [[nodiscard]] const VMCloseByCurrencies& GetVMCurrFull() const noexcept override { return VMCurrFull; }

    [[nodiscard]] std::size_t GetRequiredBufferSize() const noexcept override;
    /// Writes the state as BinaryState says. The Full sums are not part of it.
    void Serialize(std::span<std::byte> buffer) const override;
    /// Reads records and sums from a serialised state and points each record at its instrument. The Full sums become VM
    /// and VMCurr plus the vmClose of premium-style options. Unused bytes are ignored. Throws std::runtime_error for a
    /// length that does not match the counts and for a repeated currency; for an unknown isin, a multileg's or a
    /// repeated one what InsertPosition throws. Only the state of a level that keeps accounting comes back as it was:
    /// the records of a level that counts contracts would get instruments, and unknown isins would be refused. Such a
    /// level is counted again from the positions below it.
    void Deserialize(std::span<const std::byte> bytes) override;

private:
    /// A deal in one leg, computed and not yet booked.
    struct Booking
    {
        SPosition* live = nullptr; // null where there is no position
        SPosition after;
        std::int64_t quantity = 0;
        t_bsum_int vmChange;
        const pos::SFutures* futures = nullptr;
    };

    [[nodiscard]] Booking PrepareBooking(const pos::SInstrCLR& instrument, const pos::SFutures& futures,
                                         std::int64_t quantity, t_bprice_int price, bool reverse);
    /// Makes the booking and fills the rest of the trade record.
    void MakeBooking(const Booking& booking, pos::SPosTrade& trade, PrevAndCurrPosition* positions,
                     bool premiumStyleApart);
    /// Prepares a deal where only quantities are kept.
    [[nodiscard]] Booking PrepareQuantity(Isin isin, std::int64_t quantity);
    static void MakeQuantity(const Booking& booking, pos::SPosTrade& trade, PrevAndCurrPosition* positions) noexcept;

    /// Throws Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION for a multileg, which has no position.
    void RefuseMultileg(Isin isin) const;
    void AddRecord(const SPosition& position);
    /// Enters a record of a serialised state and adds its part of the Full sums.
    void RestorePosition(const SPosition& position);
    /// Makes room in the sums per currency, so that adding to them cannot fail.
    void ReserveCurrency(const SPosition& position, const pos::SBaseContract& baseContract, bool premiumStyleApart);
    void UpdateVM(const SPosition& position, t_bsum_int delta, const pos::SFutures& futures, bool premiumStyleApart);
    static void AddIfCurrContract(VMCloseByCurrencies& sums, const pos::SBaseContract& baseContract, t_bsum_int delta);

    IsinPositionMap m_positions;
    const pos::PositionCalculatorInstruments& m_instruments;

public:
    // The sums. Money is moved between levels by adding to them directly.
    t_bsum_int VM;              // closed VM of all positions
    VMCloseByCurrencies VMCurr; // the part of VM that base contracts keep per currency
    t_bsum_int VMFull;          // closed VM of all positions, premium-style options included
    VMCloseByCurrencies VMCurrFull;
    t_bsum_int NetOptionValue;
};
