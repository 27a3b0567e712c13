// CPositionCalculator: the accounting side of one participant's positions. Quantities, volumes, average prices and the
// closed variation margin (VM) by isin, and the running sums of VM over all of them.
//
// Always true:  a record stands once an isin; reading creates nothing; a multileg has no record, its legs have.
// Numbers:      quantities are contracts, negative when sold; the session's bought and sold quantities count positive
//               each. Money is t_bsum_int; a loss is negative.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "Enums.h"
#include "PositionCalculatorInstruments.h"
#include "currencytype.h"

/// Currency (indicator index) to the closed VM in it.
using VMCloseByCurrencies = std::map<std::int32_t, t_bsum_int>;

struct SPosition
{
    Isin isin = 0;
    std::int64_t quantity = 0;
    std::int64_t buyQuantityTechnic = 0;  // bought in the session, positive
    std::int64_t sellQuantityTechnic = 0; // sold in the session, positive
    t_bprice_int waprice;                 // weighted average price of the open side
    t_bsum_int vmClose;                   // VM of what was bought and sold again
    t_bsum_int buyVolume;                 // quantity times price
    t_bsum_int sellVolume;
    const pos::SInstrCLR* instr = nullptr;      // null where only quantities are kept
    std::int64_t afterLastClearingQuantity = 0; // quantity that the last clearing left
    t_bsum_int netOptionValue;
};
static_assert(sizeof(SPosition) == 88);

using IsinPositionMap = std::unordered_map<Isin, SPosition>;

namespace pos {

/// What a dump of a participant reads.
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

class CPositionCalculator final : public pos::IPositionCalculatorDumper
{
public:
    /// Empty; the dictionary outlives the calculator.
    explicit CPositionCalculator(const pos::PositionCalculatorInstruments& instruments) noexcept;

    /// Drops positions and sums.
    void Clear() noexcept;
    /// All sums to zero. The currencies that have an entry keep it.
    void SetZero() noexcept;

    /// Null when there is none.
    [[nodiscard]] const SPosition* getPosition(Isin isin) const noexcept;
    [[nodiscard]] SPosition* getPosition(Isin isin) noexcept;
    /// The same for an isin of any kind, a multileg's included. Creates nothing.
    [[nodiscard]] const SPosition* getPositionSafe(Isin isin) const noexcept;
    [[nodiscard]] const IsinPositionMap& GetPositions() const noexcept { return m_positions; }

    /// Enters a record and points it at its instrument. updateVM adds its vmClose to the VM sums, updateNetOptionValue
    /// its option value to NetOptionValue. A second record for an isin:
    /// Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS; an unknown isin: Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND.
    /// Nothing changes on failure.
    void InsertPosition(const SPosition& position, bool updateVM, bool updateNetOptionValue);
    /// The same for levels without accounting: quantities only, no instrument, no sums.
    void InsertPositionForHalfNettingAndGross(const SPosition& position);

    /// 0 when there is no position.
    [[nodiscard]] std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const noexcept;
    [[nodiscard]] t_bsum_int GetNetOptionValue() const noexcept { return NetOptionValue; }

    [[nodiscard]] std::vector<SPosition> GetPositionsForDumper() const override;
    [[nodiscard]] t_bsum_int GetVM() const noexcept override { return VM; }
    [[nodiscard]] const VMCloseByCurrencies& GetVMCurr() const noexcept override { return VMCurr; }
    [[nodiscard]] t_bsum_int GetVMFull() const noexcept override { return VMFull; }
    [[nodiscard]] const VMCloseByCurrencies& GetVMCurrFull() const noexcept override { return VMCurrFull; }

private:
    void AddRecord(const SPosition& position);
    void UpdateVM(const SPosition& position);

    IsinPositionMap m_positions;
    const pos::PositionCalculatorInstruments& m_instruments;

public:
    // The sums. Money is moved between levels by adding to them directly.
    t_bsum_int VM;              // closed VM of all positions
    VMCloseByCurrencies VMCurr; // the part of base contracts that keep it per currency
    t_bsum_int VMFull;          // both again, premium-style options included
    VMCloseByCurrencies VMCurrFull;
    t_bsum_int NetOptionValue;
};
