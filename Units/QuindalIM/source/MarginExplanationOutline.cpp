#include "MarginExplanationOutline.h"

#include <algorithm>
#include <cmath>

namespace QuindalIM::explanation {

namespace {

using kv7im::SpecialRiskPoints;
using MappingPoint = SpecialRiskPoints::MappingPoint;

bool IsAboveTheMarket(std::size_t point) noexcept
{
    return point == MappingPoint::PnL2U || point == MappingPoint::PnL3U;
}

// The volatility row means something to the cell unless it is the same in all of them.
bool RowsDiffer(const kv7im::RiskMatrix& cells, std::size_t column) noexcept
{
    for (std::size_t row = 1; row < cells.RowsCount(); ++row)
        if (cells[row][column] != cells[0][column]) return true;
    return false;
}

} // namespace

Outline::Outline(const Contract& contract, MarginSide side)
    : m_contract(contract),
      m_side(side),
      m_collapsed(contract.engine->GetRolledUpRiskNode(kv7im::Risk::CollapseProperty::NegativeAndPositive)),
      m_final(m_collapsed)
{
    m_final.ApplyCorrection(*contract.futures->BaseContract);
}

// v - |N + v| c is (1 - c) v - c N where N + v is positive, (1 + c) v + c N where it is negative.
double Outline::ShareCurvature(double result, double factor, Trail& trail) const
{
    const double radius = m_contract.futures->BaseContract->CalculateRiskCoefficient();
    const double sum = m_collapsed.GetNOVj() + result;
    if (!(radius > 0.0) || sum == 0.0) return factor;
    const double bend = std::copysign(radius, sum);
    m_contract.node->ShareOptionValue(-bend * factor, trail);
    return factor * (1.0 - bend);
}

// Where both sides lose the same it is no delivery that decides.
void Outline::ShareCell(std::size_t column, double factor, Trail& trail) const
{
    ContractOutcome& outcome = trail.Contract();
    outcome.pricePoint = column;
    outcome.price = m_contract.futures->CalculatePointX(column, m_collapsed.GetRiskLevel());
    outcome.isDelivery = RowOf(m_collapsed)[column] < m_collapsed.Volatility()[column];

    const MarginSide side = outcome.isDelivery ? MarginSide::Delivery : MarginSide::Volatility;
    const Node& node = *m_contract.node;
    const kv7im::RiskMatrix& cells = MatrixOf(node.On(side), Table::Volatility);
    const CellAt worst{side, Table::Volatility, WorstRow(cells, column), column};
    outcome.cell = node.Cell(worst);
    if (!outcome.isDelivery || RowsDiffer(cells, column)) outcome.scenario = worst.row;
    node.ShareCell(worst, factor, trail);
    outcome.rateRow = ShareStress(node, side, Table::InterestRate, column, factor, trail);
    outcome.mismatchRow = ShareStress(node, side, Table::Mismatch, column, factor, trail);
}

void Outline::ShareRow(std::size_t column, double factor, Trail& trail) const
{
    trail.Contract().kind = ContractOutcome::Kind::PricePoint;
    ShareCell(column, ShareCurvature(RowOf(m_collapsed)[column], factor, trail), trail);
}

void Outline::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    ContractOutcome& outcome = trail.Contract();
    outcome.stressPoint = static_cast<MappingPoint>(point);
    const kv7im::RiskRow& row = RowOf(m_collapsed);
    const SpecialRiskPoints& points = m_collapsed.VolatilityPoints(); // of both sides
    const double corrected =
        points.GetCorrectedSpecialRiskPoints(row, *m_contract.futures->BaseContract, m_collapsed.GetRiskLevel())
            .pData()[point];
    const double own = ShareCurvature(corrected, factor, trail);
    if (corrected == points.pData()[point]) {
        outcome.kind = ContractOutcome::Kind::StressPoint;
        m_contract.node->SharePoint(point, own, trail);
        return;
    }
    // The floor is shared out in proportion to what each has at the edge; beyond the first concentration limit that is
    // an average and not the slope. An edge of 0 implies no loss at all.
    outcome.kind = ContractOutcome::Kind::EdgeFloor;
    const std::size_t edge = IsAboveTheMarket(point) ? row.size() - 1 : 0;
    if (row[edge] != 0.0) ShareCell(edge, own * (corrected / row[edge]), trail);
}

// Under a window the first of the results nearby that is the one taken; else one of the stress points that fold into
// the ends of the row.
Outline::Source Outline::SourceOfRow(std::size_t column, double taken) const
{
    if (!m_contract.mcs->nettingPropertiesICS) return {column, std::nullopt, true};
    const std::size_t window = *m_contract.mcs->nettingPropertiesICS;
    const std::size_t last = std::min(column + window, Row().size() - 1);
    for (std::size_t nearby = column - std::min(column, window); nearby <= last; ++nearby)
        if (Row()[nearby] == taken) return {nearby, std::nullopt, false};
    for (const auto point : {MappingPoint::PnL3D, MappingPoint::PnL2D, MappingPoint::PnL3U, MappingPoint::PnL2U})
        if (Points().pData()[point] == taken) return {std::nullopt, point, false};
    return {};
}

Outline::Source Outline::SourceOfPoint(std::size_t point) const
{
    if (!m_contract.mcs->nettingPropertiesICS) return {std::nullopt, point, true};
    const double* const points = Points().pData();
    const auto tail = [&](std::size_t far, std::size_t charge) -> Source {
        return {std::nullopt, points[far] < points[charge] ? far : charge, true};
    };
    if (point == MappingPoint::ZL) return tail(MappingPoint::ZL, MappingPoint::DownRisk);
    if (point == MappingPoint::ZR) return tail(MappingPoint::ZR, MappingPoint::UpRisk);
    return {};
}

void Outline::ShareSource(const Source& source, double taken, double factor, Trail& trail) const
{
    trail.Begin(m_contract.code);
    trail.Contract().money = taken;
    if (!source.column && !source.point) return;
    const double result = source.column ? Row()[*source.column] : Points().pData()[*source.point];
    if (source.lossesOnly && result >= 0.0) {
        trail.Contract().isCut = result > 0.0;
        if (trail.Contract().isCut) m_contract.node->Gate(trail);
    } else if (source.column) {
        ShareRow(*source.column, factor, trail);
    } else {
        SharePoint(*source.point, factor, trail);
    }
}

void Outline::ShareRowOfMCS(std::size_t column, double factor, Trail& trail) const
{
    const kv7im::LastAdditionToMCS& mcs = *m_contract.mcs;
    const double taken = (m_side == MarginSide::Volatility ? mcs.cachedCollapsedRiskRowVolatilityMMS
                                                           : mcs.cachedCollapsedRiskRowExpirationMMS)[column];
    ShareSource(SourceOfRow(column, taken), taken, factor, trail);
}

void Outline::SharePointOfMCS(std::size_t point, double factor, Trail& trail) const
{
    ShareSource(SourceOfPoint(point), m_contract.mcs->cachedLastAdditionVolatility.pData()[point], factor, trail);
}

} // namespace QuindalIM::explanation
