// Groups of two participants, added and compared.
#include "nodes/RiskNode.h"

namespace kv7im {

void RiskNodeMMS::MakeRoomFor(const RiskNodeMMS& other)
{
    KeepCells();
    MakeRoom(!other.CellsOfSide(false).IsFlat(), other.SidesDiffer());
    RiskHasChanged();
}

RiskNodeMMS& RiskNodeMMS::operator+=(const RiskNodeMMS& other)
{
    MakeRoomFor(other);
    if (SidesDiffer()) m_delivery += other.CellsOfSide(other.SidesDiffer());
    m_volatility += other.CellsOfSide(false);
    NOVj += other.NOVj;
    m_totalCumulativePerformance += other.m_totalCumulativePerformance;
    return *this;
}

RiskNodeMMS& RiskNodeMMS::operator-=(const RiskNodeMMS& other)
{
    MakeRoomFor(other);
    if (SidesDiffer()) m_delivery -= other.CellsOfSide(other.SidesDiffer());
    m_volatility -= other.CellsOfSide(false);
    NOVj -= other.NOVj;
    m_totalCumulativePerformance -= other.m_totalCumulativePerformance;
    return *this;
}

RiskNodeMCS& RiskNodeMCS::operator+=(const RiskNodeMCS& other)
{
    m_sum += other.m_sum;
    return *this;
}

RiskNodeMCS& RiskNodeMCS::operator-=(const RiskNodeMCS& other)
{
    m_sum -= other.m_sum;
    return *this;
}

bool RiskNodeMCS::operator==(const RiskNodeMCS& other) const
{
    return VolatilityRow() == other.VolatilityRow() && ExpirationRow() == other.ExpirationRow();
}

} // namespace kv7im
