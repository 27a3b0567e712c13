// Positions and orders of a client, counted in contracts: by isin for the checks of an order, by base contract for the
// checks of a book.
//
// Always true:  a number that was never changed is 0; an entry that has come back to 0 stays. Entries stand at their
//               addresses until Clear.
// Numbers:      contracts. Positions are signed, short below zero; orders count up on either side and down again when
//               they trade or are cancelled. A sum that leaves 64 bits wraps, so that what undoes it still undoes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Enums.h"

/// Positions and orders of a client in one isin.
struct OrdersAndPositionsQuantities
{
    std::int64_t positionQuantity = 0;
    std::int64_t buyOrderQuantity = 0;
    std::int64_t sellOrderQuantity = 0;

    OrdersAndPositionsQuantities& operator+=(const OrdersAndPositionsQuantities& other) noexcept;
    OrdersAndPositionsQuantities& operator-=(const OrdersAndPositionsQuantities& other) noexcept;
    [[nodiscard]] friend bool operator==(const OrdersAndPositionsQuantities&,
                                         const OrdersAndPositionsQuantities&) noexcept = default;
};

class OrdersAndPositionsQuantitiesCounter
{
public:
    /// Quantities of an isin; zeros where nothing was ever counted.
    [[nodiscard]] OrdersAndPositionsQuantities Get(Isin isin) const noexcept;
    /// The entry of an isin, made where there is none.
    [[nodiscard]] OrdersAndPositionsQuantities& GetForUpdate(Isin isin) { return m_quantities[isin]; }
    [[nodiscard]] std::size_t Count() const noexcept { return m_quantities.size(); }
    void Clear() noexcept { m_quantities.clear(); }

private:
    std::unordered_map<Isin, OrdersAndPositionsQuantities> m_quantities;
};

/// Counts the changes of one deal and takes them all back at its end unless they were confirmed. A change that throws
/// is not counted. The counter outlives the guard and is not cleared under it.
class OrdersAndPositionsQuantitiesCounterGuard
{
public:
    /// A change of the orders in one isin.
    struct SDeltaOrder
    {
        std::int64_t DeltaQuantity = 0; // contracts; below 0 when they trade or are cancelled
        ::Isin Isin = 0;
        bool IsBuying = false;
    };

    explicit OrdersAndPositionsQuantitiesCounterGuard(OrdersAndPositionsQuantitiesCounter& counter) noexcept
        : m_counter(counter)
    {}
    ~OrdersAndPositionsQuantitiesCounterGuard();
    OrdersAndPositionsQuantitiesCounterGuard(const OrdersAndPositionsQuantitiesCounterGuard&) = delete;
    OrdersAndPositionsQuantitiesCounterGuard& operator=(const OrdersAndPositionsQuantitiesCounterGuard&) = delete;

    void ChangeOrders(const SDeltaOrder& delta);
    /// Counts a change of a position; deltaQuantity is negative when sold.
    void ChangePosition(Isin isin, std::int64_t deltaQuantity);
    /// Keeps everything that was counted so far.
    void Confirm() noexcept { m_changes.clear(); }

private:
    struct Change
    {
        OrdersAndPositionsQuantities* entry; // entry of the counter
        OrdersAndPositionsQuantities delta;
    };

    void Make(Isin isin, const OrdersAndPositionsQuantities& delta);

    OrdersAndPositionsQuantitiesCounter& m_counter;
    std::vector<Change> m_changes; // not confirmed yet
};

/// Positions and orders of a client in the futures, or in the options, of one base contract.
struct QuantitiesValue
{
    std::int64_t pos = 0;
    std::int64_t buyQuantity = 0; // open orders
    std::int64_t sellQuantity = 0;

    [[nodiscard]] friend bool operator==(const QuantitiesValue&, const QuantitiesValue&) noexcept = default;
};

struct BaseContractQuantities
{
    QuantitiesValue futuresValue;
    QuantitiesValue optionsValue;
};

class QuantitiesCounter
{
public:
    /// Quantities of a base contract; zeros where nothing was ever counted.
    [[nodiscard]] BaseContractQuantities Get(std::int32_t baseContractId) const noexcept;
    /// Counts a change of a position; deltaQuantity is negative when sold. Options count apart, everything else counts
    /// as a futures. Throws what an allocation throws, and counts nothing then.
    void ChangePosition(std::int32_t baseContractId, Enums::InstrumentType type, std::int64_t deltaQuantity);
    /// Counts a change of orders; deltaQuantity is below 0 when orders trade or are cancelled.
    void ChangeOrders(std::int32_t baseContractId, Enums::InstrumentType type, bool isBuying,
                      std::int64_t deltaQuantity);
    void Clear() noexcept { m_quantities.clear(); }

private:
    [[nodiscard]] QuantitiesValue& ValueOf(std::int32_t baseContractId, Enums::InstrumentType type);

    std::unordered_map<std::int32_t, BaseContractQuantities> m_quantities;
};
