#include "nodes/RolledUpRiskNode.h"

#include <cmath>
#include <utility>

#include "instruments/SpecBaseContract.h"
#include "kernels/Curvature.h"

namespace kv7im {

namespace {

double MarginOf(const RiskRow& row, const SpecialRiskPoints& points)
{
    const double worstCell = row.min();
    const double worstPoint = points.min();
    return std::abs(worstCell < worstPoint ? worstCell : worstPoint);
}

} // namespace

RolledUpRiskNode::RolledUpRiskNode(const Risk& volatility, const Risk& expiration, double netOptionValue,
                                   double paperLoss, Enums::ClientRiskLevel level)
    : m_rows(0), NOVj(netOptionValue), m_totalCumulativePerformance(paperLoss), m_riskLevel(level)
{
    constexpr auto whole = Risk::CollapseProperty::NegativeAndPositive;
    m_rows.volatility = volatility.CollapseToRiskRow(whole);
    m_rows.volatilityPoints = volatility.GetSpecialRiskPoints();
    m_rows.Separate();
    m_rows.OwnDelivery() = kv7im::min(m_rows.volatility, expiration.CollapseToRiskRow(whole));
    m_rows.OwnDeliveryPoints() = expiration.GetSpecialRiskPoints();
}

RolledUpRiskNode& RolledUpRiskNode::operator=(const RolledUpRiskNode& other)
{
    if (this == &other) return *this;
    m_rows = other.m_rows;
    NOVj = other.NOVj;
    m_totalCumulativePerformance = other.m_totalCumulativePerformance;
    m_riskLevel = other.m_riskLevel;
    return *this; // the margins and the flag are the target's own
}

RolledUpRiskNode& RolledUpRiskNode::operator+=(const RolledUpRiskNode& other)
{
    m_rows += other.m_rows;
    NOVj += other.NOVj;
    m_totalCumulativePerformance += other.m_totalCumulativePerformance;
    return *this;
}

RolledUpRiskNode& RolledUpRiskNode::operator-=(const RolledUpRiskNode& other)
{
    m_rows -= other.m_rows;
    NOVj -= other.NOVj;
    m_totalCumulativePerformance -= other.m_totalCumulativePerformance;
    return *this;
}

RolledUpRiskNode RolledUpRiskNode::ReplaceBy(RolledUpRiskNode now)
{
    m_rows.ReplaceBy(now.m_rows);
    m_riskLevel = now.m_riskLevel;
    now.NOVj -= std::exchange(NOVj, now.NOVj);
    now.m_totalCumulativePerformance -= std::exchange(m_totalCumulativePerformance, now.m_totalCumulativePerformance);
    return now;
}

void RolledUpRiskNode::Zero()
{
    m_rows.Zero();
    NOVj = 0.0;
    m_totalCumulativePerformance = 0.0;
}

double RolledUpRiskNode::UpdateInitialMarginValue()
{
    const double value = MarginOf(Volatility(), VolatilityPoints());
    const double change = value - initialMarginValue;
    initialMarginValue = value;
    return change;
}

double RolledUpRiskNode::UpdateInitialMarginDeliveryValue()
{
    const double value = MarginOf(Expiration(), ExpirationPoints());
    const double change = value - initialMarginDeliveryValue;
    initialMarginDeliveryValue = value;
    return change;
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
    m_rows.ForEachSide([&](RiskRow& row, SpecialRiskPoints& points) {
        // The points are corrected by the row before the row takes its own curvature.
        points = points.GetCorrectedSpecialRiskPoints(row, baseContract, m_riskLevel);
        curvature.Bend(points);
        ApplyCurvatureToRow(row, curvature);
    });
}

} // namespace kv7im
