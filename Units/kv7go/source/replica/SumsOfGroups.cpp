// Groups of two participants, added and compared.
#include "nodes/RiskNode.h"

namespace kv7im {

RiskNodeMMS& RiskNodeMMS::operator+=(const RiskNodeMMS& other)
{
    RiskHasChanged();
    volatilityRisk += other.volatilityRisk;
    expirationRisk += other.expirationRisk;
    NOVj += other.NOVj;
    m_totalCumulativePerformance += other.m_totalCumulativePerformance;
    return *this;
}

RiskNodeMMS& RiskNodeMMS::operator-=(const RiskNodeMMS& other)
{
    RiskHasChanged();
    volatilityRisk -= other.volatilityRisk;
    expirationRisk -= other.expirationRisk;
    NOVj -= other.NOVj;
    m_totalCumulativePerformance -= other.m_totalCumulativePerformance;
    return *this;
}

RiskNodeMCS& RiskNodeMCS::operator+=(const RiskNodeMCS& other)
{
    volatilityRiskRow += other.volatilityRiskRow;
    expirationRiskRow += other.expirationRiskRow;
    volatilitySpecialRiskPoints += other.volatilitySpecialRiskPoints;
    expirationSpecialRiskPoints += other.expirationSpecialRiskPoints;
    return *this;
}

RiskNodeMCS& RiskNodeMCS::operator-=(const RiskNodeMCS& other)
{
    volatilityRiskRow -= other.volatilityRiskRow;
    expirationRiskRow -= other.expirationRiskRow;
    volatilitySpecialRiskPoints -= other.volatilitySpecialRiskPoints;
    expirationSpecialRiskPoints -= other.expirationSpecialRiskPoints;
    return *this;
}

bool RiskNodeMCS::operator==(const RiskNodeMCS& other) const
{
    return volatilityRiskRow == other.volatilityRiskRow && expirationRiskRow == other.expirationRiskRow;
}

} // namespace kv7im
