// SidedRows: a result collapsed to one value a price point, with its stress points, on the volatility side and on the
// side that counts deliveries as well.
//
// Most participants hold no option that is near to its delivery: both sides are equal for them, and one is kept.
// Numbers:      money, a loss is negative.
#pragma once

#include <cstddef>

#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

class SidedRows
{
public:
    /// Both sides zero, and equal.
    explicit SidedRows(std::size_t pointsNum) : volatility(pointsNum) {}

    [[nodiscard]] bool SidesDiffer() const noexcept { return m_delivery.size() != 0; }
    [[nodiscard]] const RiskRow& Delivery() const noexcept { return SidesDiffer() ? m_delivery : volatility; }
    [[nodiscard]] const SpecialRiskPoints& DeliveryPoints() const noexcept
    {
        return SidesDiffer() ? m_deliveryPoints : volatilityPoints;
    }
    /// The delivery side by itself; it is a copy of the volatility side at first. Throws like LazyMemoryPool::Allocate.
    void Separate();
    /// Only while the sides differ.
    [[nodiscard]] RiskRow& OwnDelivery() noexcept { return m_delivery; }
    [[nodiscard]] SpecialRiskPoints& OwnDeliveryPoints() noexcept { return m_deliveryPoints; }

    /// Throws like LazyMemoryPool::Allocate where only the other one's sides differ.
    SidedRows& operator+=(const SidedRows& other);
    SidedRows& operator-=(const SidedRows& other);
    /// Rows and points to 0 by multiplication, so that the padding stays NaN.
    void Zero() noexcept;
    void BoundValuesFromAbove(double bound) noexcept;

    /// Takes over the state `now` and leaves in `now` the change of the losses: what is below 0 there, less what was
    /// below 0 here. Throws like LazyMemoryPool::Allocate where the sides of one of the two differ; nothing has changed
    /// then.
    void ReplaceBy(SidedRows& now);

    /// Calls change(row, points) for each side that is kept.
    template <class Change>
    void ForEachSide(const Change& change)
    {
        change(volatility, volatilityPoints);
        if (SidesDiffer()) change(m_delivery, m_deliveryPoints);
    }

    RiskRow volatility;
    SpecialRiskPoints volatilityPoints;

private:
    RiskRow m_delivery{0}; // at each point the worse of both sides; no cells while the sides are equal
    SpecialRiskPoints m_deliveryPoints;
};

} // namespace kv7im
