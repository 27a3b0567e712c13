#include "grids/SidedRows.h"

namespace kv7im {

void SidedRows::Separate()
{
    if (SidesDiffer()) return;
    m_delivery = volatility;
    m_deliveryPoints = volatilityPoints;
}

SidedRows& SidedRows::operator+=(const SidedRows& other)
{
    if (other.SidesDiffer()) Separate();
    if (SidesDiffer()) {
        m_delivery += other.Delivery();
        m_deliveryPoints += other.DeliveryPoints();
    }
    volatility += other.volatility;
    volatilityPoints += other.volatilityPoints;
    return *this;
}

SidedRows& SidedRows::operator-=(const SidedRows& other)
{
    if (other.SidesDiffer()) Separate();
    if (SidesDiffer()) {
        m_delivery -= other.Delivery();
        m_deliveryPoints -= other.DeliveryPoints();
    }
    volatility -= other.volatility;
    volatilityPoints -= other.volatilityPoints;
    return *this;
}

void SidedRows::Zero() noexcept
{
    ForEachSide([](RiskRow& row, SpecialRiskPoints& points) {
        row *= 0.0;
        points *= 0.0;
    });
}

void SidedRows::BoundValuesFromAbove(double bound) noexcept
{
    ForEachSide([bound](RiskRow& row, SpecialRiskPoints& points) {
        row.BoundValuesFromAbove(bound);
        points.BoundValuesFromAbove(bound);
    });
}

} // namespace kv7im
