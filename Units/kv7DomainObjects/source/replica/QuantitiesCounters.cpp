#include "replica/QuantitiesCounters.h"

#include "WrappingArithmetic.h"

namespace {

void Add(std::int64_t& sum, std::int64_t delta) noexcept { sum = kv7base::WrappingAdd(sum, delta); }

void Subtract(std::int64_t& sum, std::int64_t delta) noexcept { sum = kv7base::WrappingSub(sum, delta); }

} // namespace

OrdersAndPositionsQuantities&
OrdersAndPositionsQuantities::operator+=(const OrdersAndPositionsQuantities& other) noexcept
{
    Add(positionQuantity, other.positionQuantity);
    Add(buyOrderQuantity, other.buyOrderQuantity);
    Add(sellOrderQuantity, other.sellOrderQuantity);
    return *this;
}

OrdersAndPositionsQuantities&
OrdersAndPositionsQuantities::operator-=(const OrdersAndPositionsQuantities& other) noexcept
{
    Subtract(positionQuantity, other.positionQuantity);
    Subtract(buyOrderQuantity, other.buyOrderQuantity);
    Subtract(sellOrderQuantity, other.sellOrderQuantity);
    return *this;
}

OrdersAndPositionsQuantities OrdersAndPositionsQuantitiesCounter::Get(Isin isin) const noexcept
{
    const auto found = m_quantities.find(isin);
    return found == m_quantities.end() ? OrdersAndPositionsQuantities() : found->second;
}

OrdersAndPositionsQuantitiesCounterGuard::~OrdersAndPositionsQuantitiesCounterGuard()
{
    for (const Change& change : m_changes)
        *change.entry -= change.delta;
}

void OrdersAndPositionsQuantitiesCounterGuard::ChangeOrders(const SDeltaOrder& delta)
{
    Make(delta.Isin, delta.IsBuying ? OrdersAndPositionsQuantities{0, delta.DeltaQuantity, 0}
                                    : OrdersAndPositionsQuantities{0, 0, delta.DeltaQuantity});
}

void OrdersAndPositionsQuantitiesCounterGuard::ChangePosition(Isin isin, std::int64_t deltaQuantity)
{
    Make(isin, {deltaQuantity, 0, 0});
}

// The entry and the note of the change come first: they need memory, the counting does not.
void OrdersAndPositionsQuantitiesCounterGuard::Make(Isin isin, const OrdersAndPositionsQuantities& delta)
{
    OrdersAndPositionsQuantities& entry = m_counter.GetForUpdate(isin);
    m_changes.push_back({&entry, delta});
    entry += delta;
}

BaseContractQuantities QuantitiesCounter::Get(std::int32_t baseContractId) const noexcept
{
    const auto found = m_quantities.find(baseContractId);
    return found == m_quantities.end() ? BaseContractQuantities() : found->second;
}

void QuantitiesCounter::ChangePosition(std::int32_t baseContractId, Enums::InstrumentType type,
                                       std::int64_t deltaQuantity)
{
    Add(ValueOf(baseContractId, type).pos, deltaQuantity);
}

void QuantitiesCounter::ChangeOrders(std::int32_t baseContractId, Enums::InstrumentType type, bool isBuying,
                                     std::int64_t deltaQuantity)
{
    QuantitiesValue& value = ValueOf(baseContractId, type);
    Add(isBuying ? value.buyQuantity : value.sellQuantity, deltaQuantity);
}

QuantitiesValue& QuantitiesCounter::ValueOf(std::int32_t baseContractId, Enums::InstrumentType type)
{
    BaseContractQuantities& quantities = m_quantities[baseContractId];
    return type == Enums::InstrumentType::Option ? quantities.optionsValue : quantities.futuresValue;
}
