#include <cmath>

#include "instruments/SpecBaseContract.h"
#include "kernels/Curvature.h"
#include "nodes/RiskNode.h"

namespace kv7im {

namespace {

double MarginOf(const RiskRow& row, const SpecialRiskPoints& points)
{
    const double worstCell = row.min();
    const double worstPoint = points.min();
    return std::abs(worstCell < worstPoint ? worstCell : worstPoint);
}

} // namespace

RolledUpRiskNode RiskNodeBase::GetRolledUpRiskNode(Risk::CollapseProperty property) const
{
    RolledUpRiskNode node(0, level);
    if (property == Risk::CollapseProperty::NegativeAndPositive) {
        node.volatilityRiskRow = Collapsed().volatility;
        node.expirationRiskRow = Collapsed().delivery;
    } else {
        node.volatilityRiskRow = Volatility().CollapseToRiskRow(property);
        node.expirationRiskRow = kv7im::min(node.volatilityRiskRow, Expiration().CollapseToRiskRow(property));
    }
    node.volatilitySpecialRiskPoints = Volatility().GetSpecialRiskPoints();
    node.expirationSpecialRiskPoints = PointsOfExpiration();
    node.NOVj = NOVj;
    node.m_totalCumulativePerformance = m_totalCumulativePerformance;
    return node;
}

RolledUpRiskNode::RolledUpRiskNode(std::size_t pointsNum, Enums::ClientRiskLevel level)
    : volatilityRiskRow(pointsNum), expirationRiskRow(pointsNum), m_riskLevel(level)
{}

RolledUpRiskNode& RolledUpRiskNode::operator=(const RolledUpRiskNode& other)
{
    if (this == &other) return *this;
    volatilityRiskRow = other.volatilityRiskRow;
    volatilitySpecialRiskPoints = other.volatilitySpecialRiskPoints;
    expirationRiskRow = other.expirationRiskRow;
    expirationSpecialRiskPoints = other.expirationSpecialRiskPoints;
    NOVj = other.NOVj;
    m_totalCumulativePerformance = other.m_totalCumulativePerformance;
    m_riskLevel = other.m_riskLevel;
    return *this; // the margins and the flag are the target's own
}

RolledUpRiskNode& RolledUpRiskNode::operator+=(const RolledUpRiskNode& other)
{
    volatilityRiskRow += other.volatilityRiskRow;
    expirationRiskRow += other.expirationRiskRow;
    volatilitySpecialRiskPoints += other.volatilitySpecialRiskPoints;
    expirationSpecialRiskPoints += other.expirationSpecialRiskPoints;
    NOVj += other.NOVj;
    m_totalCumulativePerformance += other.m_totalCumulativePerformance;
    return *this;
}

RolledUpRiskNode& RolledUpRiskNode::operator-=(const RolledUpRiskNode& other)
{
    volatilityRiskRow -= other.volatilityRiskRow;
    expirationRiskRow -= other.expirationRiskRow;
    volatilitySpecialRiskPoints -= other.volatilitySpecialRiskPoints;
    expirationSpecialRiskPoints -= other.expirationSpecialRiskPoints;
    NOVj -= other.NOVj;
    m_totalCumulativePerformance -= other.m_totalCumulativePerformance;
    return *this;
}

// Multiplies instead of assigning, so that the padding lanes of the rows stay NaN.
void RolledUpRiskNode::Zero()
{
    volatilityRiskRow *= 0.0;
    expirationRiskRow *= 0.0;
    volatilitySpecialRiskPoints *= 0.0;
    expirationSpecialRiskPoints *= 0.0;
    NOVj = 0.0;
    m_totalCumulativePerformance = 0.0;
}

double RolledUpRiskNode::UpdateInitialMarginValue()
{
    const double value = MarginOf(volatilityRiskRow, volatilitySpecialRiskPoints);
    const double change = value - initialMarginValue;
    initialMarginValue = value;
    return change;
}

double RolledUpRiskNode::UpdateInitialMarginDeliveryValue()
{
    const double value = MarginOf(expirationRiskRow, expirationSpecialRiskPoints);
    const double change = value - initialMarginDeliveryValue;
    initialMarginDeliveryValue = value;
    return change;
}

void RolledUpRiskNode::BoundValuesFromAbove(double bound)
{
    volatilityRiskRow.BoundValuesFromAbove(bound);
    volatilitySpecialRiskPoints.BoundValuesFromAbove(bound);
    expirationRiskRow.BoundValuesFromAbove(bound);
    expirationSpecialRiskPoints.BoundValuesFromAbove(bound);
}

void RolledUpRiskNode::ApplyCorrection(const CSpecBaseContract& baseContract)
{
    Correct(baseContract, CurvatureOf(*this, baseContract));
}

void RolledUpRiskNode::ApplyCorrection_PositionsOnly(const CSpecBaseContract& baseContract)
{
    Correct(baseContract, CurvatureOf_PositionsOnly(*this, baseContract));
}

template <class AnyCurvature>
void RolledUpRiskNode::Correct(const CSpecBaseContract& baseContract, const AnyCurvature& curvature)
{
    // The points are corrected by the rows before the rows take their own curvature.
    volatilitySpecialRiskPoints =
        volatilitySpecialRiskPoints.GetCorrectedSpecialRiskPoints(volatilityRiskRow, baseContract, m_riskLevel);
    curvature.Bend(volatilitySpecialRiskPoints);
    expirationSpecialRiskPoints =
        expirationSpecialRiskPoints.GetCorrectedSpecialRiskPoints(expirationRiskRow, baseContract, m_riskLevel);
    curvature.Bend(expirationSpecialRiskPoints);
    ApplyCurvatureToRow(volatilityRiskRow, curvature);
    ApplyCurvatureToRow(expirationRiskRow, curvature);
}

} // namespace kv7im
