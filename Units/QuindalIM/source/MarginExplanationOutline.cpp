#include "MarginExplanationOutline.h"

#include <algorithm>
#include <cmath>

#include "grids/RiskRow.h"

namespace QuindalIM::explanation {

namespace {

using kv7im::SpecialRiskPoints;
using kv7im::stress::CountOf;
using kv7im::stress::Kind;
using kv7im::stress::MappingPoint;
using kv7im::stress::Side;

bool IsStepAboveTheMarket(std::size_t point) noexcept
{
    return kv7im::stress::Points[point].kind == Kind::Step && kv7im::stress::Points[point].side == Side::Above;
}

// Stress points no worse than the edges of the row imply, by the rule of the engine, so that a point that is lifted is
// told by its bits.
std::array<double, MappingPoint::MappingSize> Corrected(const std::array<double, MappingPoint::MappingSize>& points,
                                                        const std::vector<double>& row, const Contract& contract,
                                                        Enums::ClientRiskLevel level)
{
    kv7im::RiskRow collapsed(row.size());
    for (std::size_t column = 0; column < row.size(); ++column)
        collapsed[column] = row[column];
    SpecialRiskPoints uncorrected;
    std::copy(points.begin(), points.end(), uncorrected.pData());
    const SpecialRiskPoints corrected =
        uncorrected.GetCorrectedSpecialRiskPoints(collapsed, *contract.futures->BaseContract, level);
    std::array<double, MappingPoint::MappingSize> result{};
    std::copy_n(corrected.pData(), result.size(), result.begin());
    return result;
}

// The volatility row means something to the cell unless it is the same in all of them.
bool RowsDiffer(const Grid& cells, std::size_t column) noexcept
{
    for (std::size_t row = 1; row < cells.Rows(); ++row)
        if (cells.At(row, column) != cells.At(0, column)) return true;
    return false;
}

} // namespace

Outline::Outline(const Contract& contract, Enums::ClientRiskLevel level, MarginSide side, MarginSide pointsOf)
    : m_contract(contract),
      m_level(level),
      m_side(side),
      m_pointsNode(contract.On(pointsOf)),
      m_radius(std::max(contract.futures->BaseContract->CalculateRiskCoefficient(), 0.0)),
      m_collapsed(contract.volatility->Cells().Columns())
{
    for (std::size_t column = 0; column < m_collapsed.size(); ++column)
        m_collapsed[column] = (IsDelivery(column) ? contract.delivery : contract.volatility)->Cells().Collapsed(column);
    m_corrected = Corrected(m_pointsNode.Cells().points, m_collapsed, contract, level);

    const double optionValue = contract.volatility->Cells().optionValue;
    const auto curved = [&](double result) {
        return m_radius > 0.0 ? kv7im::Curved(result, optionValue, m_radius) : result;
    };
    m_row.resize(m_collapsed.size());
    std::transform(m_collapsed.begin(), m_collapsed.end(), m_row.begin(), curved);
    std::transform(m_corrected.begin(), m_corrected.end(), m_points.begin(), curved);
}

// Where both sides lose the same it is no delivery that decides.
bool Outline::IsDelivery(std::size_t column) const noexcept
{
    return m_side == MarginSide::Delivery &&
           m_contract.delivery->Cells().Collapsed(column) < m_contract.volatility->Cells().Collapsed(column);
}

// v - |N + v| c is (1 - c) v - c N where N + v is positive, (1 + c) v + c N where it is negative.
double Outline::ShareCurvature(double result, double factor, Trail& trail) const
{
    const double sum = m_contract.volatility->Cells().optionValue + result;
    if (!(m_radius > 0.0) || sum == 0.0) return factor;
    const double bend = std::copysign(m_radius, sum);
    m_contract.volatility->ShareOptionValue(-bend * factor, trail);
    return factor * (1.0 - bend);
}

void Outline::ShareCell(std::size_t column, double factor, Trail& trail) const
{
    ContractOutcome& outcome = trail.Contract();
    outcome.pricePoint = column;
    outcome.price = m_contract.futures->CalculatePointX(column, m_level);
    outcome.isDelivery = IsDelivery(column);
    ShareCollapsed(outcome.isDelivery ? *m_contract.delivery : *m_contract.volatility, column, factor, trail);
    if (outcome.isDelivery && !RowsDiffer(m_contract.delivery->Cells()[Table::Volatility], column))
        outcome.scenario.reset();
}

void Outline::ShareRow(std::size_t column, double factor, Trail& trail) const
{
    trail.Contract().kind = ContractOutcome::Kind::PricePoint;
    ShareCell(column, ShareCurvature(m_collapsed[column], factor, trail), trail);
}

void Outline::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    ContractOutcome& outcome = trail.Contract();
    outcome.stressPoint = static_cast<MappingPoint>(point);
    const double corrected = m_corrected[point];
    const double own = ShareCurvature(corrected, factor, trail);
    if (corrected == m_pointsNode.Cells().points[point]) {
        outcome.kind = ContractOutcome::Kind::StressPoint;
        m_pointsNode.SharePoint(point, own, trail);
        return;
    }
    // The floor is shared out in proportion to what each has at the edge; beyond the first concentration limit that is
    // an average and not the slope. An edge of 0 implies no loss at all.
    outcome.kind = ContractOutcome::Kind::EdgeFloor;
    const std::size_t edge = IsStepAboveTheMarket(point) ? m_collapsed.size() - 1 : 0;
    if (m_collapsed[edge] != 0.0) ShareCell(edge, own * (corrected / m_collapsed[edge]), trail);
}

GroupMember::GroupMember(const Contract& contract, Enums::ClientRiskLevel level, MarginSide side,
                         std::optional<std::size_t> window)
    // Beside the row of deliveries stand the stress points of the volatility side.
    : m_outline(contract, level, side, MarginSide::Volatility), m_window(window)
{}

GroupMember::Source GroupMember::SourceOfRow(std::size_t column) const
{
    if (!m_window) return {Source::Kind::Row, column, true};
    const std::vector<double>& row = m_outline.Row();
    const auto& points = m_outline.Points();
    const auto first = row.begin() + static_cast<std::ptrdiff_t>(column - std::min(column, *m_window));
    const auto last = row.begin() + static_cast<std::ptrdiff_t>(std::min(column + *m_window, row.size() - 1)) + 1;
    const auto worst = std::min_element(first, last);
    Source source{Source::Kind::Row, static_cast<std::size_t>(worst - row.begin()), false};
    const auto fold = [&](std::size_t a, std::size_t b) {
        const std::size_t point = points[a] < points[b] ? a : b;
        if (points[point] < ResultOf(source)) source = {Source::Kind::Point, point, false};
    };
    static_assert(CountOf(Kind::Step) == 4, "each stress step is folded into an end of the row");
    if (column == 0) fold(MappingPoint::PnL2D, MappingPoint::PnL3D);
    if (column == row.size() - 1) fold(MappingPoint::PnL2U, MappingPoint::PnL3U);
    return source;
}

GroupMember::Source GroupMember::SourceOfPoint(std::size_t point) const
{
    if (!m_window) return {Source::Kind::Point, point, true};
    const auto& points = m_outline.Points();
    const auto tail = [&](std::size_t far, std::size_t charge) -> Source {
        return {Source::Kind::Point, points[far] < points[charge] ? far : charge, true};
    };
    static_assert(CountOf(Kind::Tail) == 2 && CountOf(Kind::Charge) == 2, "each tail takes its charge");
    if (point == MappingPoint::ZL) return tail(MappingPoint::ZL, MappingPoint::DownRisk);
    if (point == MappingPoint::ZR) return tail(MappingPoint::ZR, MappingPoint::UpRisk);
    return {};
}

double GroupMember::ResultOf(const Source& source) const
{
    switch (source.kind) {
    case Source::Kind::Row:
        return m_outline.Row()[source.index];
    case Source::Kind::Point:
        return m_outline.Points()[source.index];
    default:
        return 0.0;
    }
}

// A bound that stands second replaces what is no number, so losses only are never NaN.
double GroupMember::ValueOf(const Source& source) const
{
    const double result = ResultOf(source);
    if (!source.lossesOnly) return result;
    return result < 0.0 ? result : 0.0;
}

void GroupMember::Share(const Source& source, double factor, Trail& trail) const
{
    trail.Begin(m_outline.Of().code);
    trail.Contract().money = ValueOf(source);
    if (source.kind == Source::Kind::Nothing) return;
    if (source.lossesOnly && ResultOf(source) >= 0.0) {
        trail.Contract().isCut = ResultOf(source) > 0.0;
        if (trail.Contract().isCut) m_outline.Gate(trail);
        return;
    }
    if (source.kind == Source::Kind::Row)
        m_outline.ShareRow(source.index, factor, trail);
    else
        m_outline.SharePoint(source.index, factor, trail);
}

} // namespace QuindalIM::explanation
