#include "nodes/RiskNodeMCS.h"

#include <cmath>

#include "grids/RowCells.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "kernels/Curvature.h"
#include "nodes/RolledUpRiskNode.h"

namespace kv7im {

namespace {

// Folds the stress points of a group under a window: the pairs below and above the market count at the row's ends, the
// tails take their charges and stay up to the ceiling, and no other point stays.
void FoldStressPointsIntoRow(RiskRow& row, SpecialRiskPoints& points, double ceiling)
{
    static_assert(stress::Points.size() == 8, "each stress point is folded into an end of the row or into its tail");
    if (row.size() != 0) {
        double* const cells = CellsOf(row);
        cells[0] = Min(Min(points.GetPnL2D(), points.GetPnL3D()), cells[0]);
        double& last = cells[row.size() - 1];
        last = Min(Min(points.GetPnL2U(), points.GetPnL3U()), last);
    }
    const double leftTail = Min(Min(points.GetZL(), points.GetDownRisk()), ceiling);
    const double rightTail = Min(Min(points.GetZR(), points.GetUpRisk()), ceiling);
    points = SpecialRiskPoints{};
    points.SetZL(leftTail);
    points.SetZR(rightTail);
}

} // namespace

RiskNodeMCS::RiskNodeMCS(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, 0), m_sum(pointsNum), windowMinimum(pointsNum)
{}

double RiskNodeMCS::VolatilityMargin(const CSpecBaseContract&, MarginMode mode) const
{
    const double worstCell = m_sum.volatility.min();
    return std::abs(Min(mode == MarginMode::Plain ? worstCell : Min(0.0, worstCell), m_sum.volatilityPoints.min())) *
           brokerBaseContractGORatio;
}

double RiskNodeMCS::DeliveryMargin(const CSpecBaseContract&, MarginMode) const
{
    return std::abs(Min(m_sum.Delivery().min(), m_sum.volatilityPoints.min())) * brokerBaseContractGORatio;
}

RiskNodeMCS& RiskNodeMCS::operator+=(RiskNodeMMSToMCSProxy& proxy)
{
    const RiskNodeMMS& group = proxy.riskNodeMMS;
    Add(proxy, group.Collapsed(MarginMode::Plain), group.PointsOfVolatility(),
        CurvatureOf(group, *proxy.futures->BaseContract), 0.0);
    return *this;
}

RiskNodeMCS& RiskNodeMCS::AdditionAssignment_PositionsOnly(RiskNodeMMSToMCSProxy& proxy)
{
    const RiskNodeMMS& group = proxy.riskNodeMMS;
    const auto curvature = CurvatureOf_PositionsOnly(group, *proxy.futures->BaseContract);
    Add(proxy, group.Collapsed(MarginMode::PositionsOnly), group.PointsOfVolatility(), curvature,
        (curvature.radius + 1.0) * curvature.paperLoss);
    return *this;
}

void RiskNodeMCS::AddGroup(const RolledUpRiskNode& group, LastAdditionToMCS& addition)
{
    Add(addition, {group.Volatility(), group.Expiration(), CollapsedRows::Content::Results}, group.VolatilityPoints(),
        CurvatureOf(group, *addition.futures->BaseContract), 0.0);
}

// The points of the delivery row come from the volatility side too, corrected by the delivery row.
template <class AnyCurvature>
void RiskNodeMCS::Add(LastAdditionToMCS& addition, const CollapsedRows& collapsed, const SpecialRiskPoints& uncorrected,
                      const AnyCurvature& curvature, double ceiling)
{
    const CSpecBaseContract& baseContract = *addition.futures->BaseContract;
    addition.added.volatility = collapsed.volatility;
    if (collapsed.delivery.size() != 0) {
        addition.added.Separate();
        addition.added.OwnDelivery() = collapsed.delivery;
    }
    addition.added.ForEachSide([&](RiskRow& row, SpecialRiskPoints& points) {
        points = uncorrected.GetCorrectedSpecialRiskPoints(row, baseContract, level);
        ApplyCurvatureToRow(row, curvature);
        curvature.Bend(points);
        if (addition.nettingPropertiesICS.has_value()) {
            windowMinimum.Apply(row, *addition.nettingPropertiesICS);
            FoldStressPointsIntoRow(row, points, ceiling);
        } else {
            row.BoundValuesFromAbove(ceiling);
            points.BoundValuesFromAbove(ceiling);
        }
    });
    m_sum += addition.added;
}

RiskNodeMCS& RiskNodeMCS::operator-=(const RiskNodeMMSToMCSProxy& proxy)
{
    m_sum -= proxy.added;
    return *this;
}

} // namespace kv7im
