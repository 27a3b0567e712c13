#include "grids/SidedRows.h"

#include <utility>

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

void SidedRows::ReplaceBy(SidedRows& now)
{
    if (SidesDiffer() || now.SidesDiffer() || volatility.size() != now.volatility.size()) {
        SidedRows old = now;
        SidedRows losses = now;
        losses.BoundValuesFromAbove(0.0);
        std::swap(*this, old);
        old.BoundValuesFromAbove(0.0);
        losses -= old;
        now = std::move(losses);
        return;
    }
    std::swap(*this, now);
    const RiskItem zero(0.0); // stands first: NaN stays NaN
    for (std::size_t block = 0; block < volatility.GetRegisterCount(); ++block) {
        RiskItem& cell = now.volatility.pData()[block];
        cell = Sub(Min(zero, volatility.pData()[block]), Min(zero, cell));
    }
    SpecialRiskPoints losses = volatilityPoints;
    losses.BoundValuesFromAbove(0.0);
    now.volatilityPoints.BoundValuesFromAbove(0.0);
    losses -= now.volatilityPoints;
    now.volatilityPoints = losses;
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
