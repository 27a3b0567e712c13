#include "nodes/RiskNodeBase.h"

#include <cmath>

#include "instruments/SpecBaseContract.h"
#include "kernels/Curvature.h"
#include "kernels/FuturesKernels.h"
#include "nodes/RolledUpRiskNode.h"

namespace kv7im {

MarginChanges RiskNodeBase::UpdateMargins(const CSpecBaseContract& baseContract, MarginMode mode)
{
    const double volatility = VolatilityMargin(baseContract, mode);
    const bool isOneMargin = mode == MarginMode::Plain && !SidesDiffer();
    const double delivery = isOneMargin ? volatility : DeliveryMargin(baseContract, mode);
    return {StoreInitialMarginValue(volatility), StoreInitialMarginDeliveryValue(delivery)};
}

double RiskNodeBase::UpdateInitialMarginValue(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginValue(VolatilityMargin(baseContract, MarginMode::Plain));
}

double RiskNodeBase::UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginDeliveryValue(DeliveryMargin(baseContract, MarginMode::Plain));
}

double RiskNodeBase::UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginValue(VolatilityMargin(baseContract, MarginMode::PositionsOnly));
}

double RiskNodeBase::UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginDeliveryValue(DeliveryMargin(baseContract, MarginMode::PositionsOnly));
}

double RiskNodeBase::VolatilityMargin(const CSpecBaseContract& baseContract, MarginMode mode) const
{
    return ComposeInitialMargin(PointsOfVolatility(), Collapsed(mode).volatility, baseContract, mode);
}

double RiskNodeBase::DeliveryMargin(const CSpecBaseContract& baseContract, MarginMode mode) const
{
    return ComposeInitialMargin(PointsOfExpiration(), Collapsed(mode).Delivery(), baseContract, mode);
}

// Risk::CollapseProperty::CumulativePerformance keeps the results, nothing above 0, and the smaller of two such rows is
// the smaller of both results, nothing above 0. So the rows are bounded and no cell is read again.
const RiskNodeBase::CollapsedRows& RiskNodeBase::Collapsed(MarginMode mode) const
{
    using Content = CollapsedRows::Content;
    const Content wanted = mode == MarginMode::Plain ? Content::Results : Content::Losses;
    if (rows.content == wanted) return rows;
    if (rows.content != Content::Results) {
        rows.content = Content::OutOfDate; // it stays so when memory ends on the way
        CollapseInto(rows);
        if (rows.delivery.size() != 0) SmallerOfBoth(rows.volatility, rows.delivery);
        rows.content = Content::Results;
    }
    if (wanted == Content::Losses) {
        rows.volatility.BoundValuesFromAbove(0.0);
        rows.delivery.BoundValuesFromAbove(0.0);
        rows.content = Content::Losses;
    }
    return rows;
}

void RiskNodeBase::RowsAreWritten() noexcept
{
    if (rows.delivery.size() != 0) SmallerOfBoth(rows.volatility, rows.delivery);
    rows.content = CollapsedRows::Content::Results;
}

void RiskNodeBase::CollapseInto(CollapsedRows&) const {}

Risk RiskNodeBase::Volatility() const { return {}; }

Risk RiskNodeBase::Expiration() const { return Volatility(); }

const SpecialRiskPoints& RiskNodeBase::PointsOfVolatility() const
{
    static const SpecialRiskPoints none;
    return none;
}

void RiskNodeBase::ZeroMarginValue() noexcept
{
    initialMarginValue = 0.0;
    initialMarginDeliveryValue = 0.0;
}

double RiskNodeBase::StoreInitialMarginValue(double value) noexcept
{
    const double change = value - initialMarginValue;
    initialMarginValue = value;
    return change;
}

double RiskNodeBase::StoreInitialMarginDeliveryValue(double value) noexcept
{
    const double change = value - initialMarginDeliveryValue;
    initialMarginDeliveryValue = value;
    return change;
}

RolledUpRiskNode RiskNodeBase::GetRolledUpRiskNode(Risk::CollapseProperty property) const
{
    RolledUpRiskNode node(0, level);
    const CollapsedRows& collapsed = Collapsed(MarginMode::Plain);
    node.m_rows.volatility = collapsed.volatility;
    node.m_rows.volatilityPoints = PointsOfVolatility();
    if (collapsed.delivery.size() != 0) {
        node.m_rows.Separate();
        node.m_rows.OwnDelivery() = collapsed.delivery;
        node.m_rows.OwnDeliveryPoints() = PointsOfExpiration();
    }
    if (property != Risk::CollapseProperty::NegativeAndPositive)
        node.m_rows.ForEachSide([](RiskRow& row, SpecialRiskPoints&) { row.BoundValuesFromAbove(0.0); });
    node.NOVj = NOVj;
    node.m_totalCumulativePerformance = m_totalCumulativePerformance;
    return node;
}

double RiskNodeBase::ComposeInitialMarginByRisk(const Risk& risk, const RiskRow& row,
                                                const CSpecBaseContract& baseContract) const
{
    return ComposeInitialMargin(risk.GetSpecialRiskPoints(), row, baseContract, MarginMode::Plain);
}

double RiskNodeBase::ComposeInitialMarginByRisk_PositionsOnly(const Risk& risk, const RiskRow& row,
                                                              const CSpecBaseContract& baseContract) const
{
    return ComposeInitialMargin(risk.GetSpecialRiskPoints(), row, baseContract, MarginMode::PositionsOnly);
}

double RiskNodeBase::ComposeInitialMargin(const SpecialRiskPoints& uncorrected, const RiskRow& row,
                                          const CSpecBaseContract& baseContract, MarginMode mode) const
{
    const auto compose = [&](const auto& curvature) {
        SpecialRiskPoints points = uncorrected.GetCorrectedSpecialRiskPoints(row, baseContract, level);
        curvature.Bend(points);
        const double worstPoint = points.min();
        return std::abs(Min(Min(0.0, WorstCurvedCell(row, curvature)), worstPoint)) * brokerBaseContractGORatio;
    };
    if (mode == MarginMode::Plain) return compose(CurvatureOf(*this, baseContract));
    return compose(CurvatureOf_PositionsOnly(*this, baseContract));
}

} // namespace kv7im
