#include "MarginExplanationNodes.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace QuindalIM::explanation {

namespace {

// A leaf may have fewer rows and columns than the node that it is in.
double CellOf(const kv7im::RiskMatrix& cells, std::size_t row, std::size_t column) noexcept
{
    return row < cells.RowsCount() && column < cells.ColsCount() ? cells[row][column] : 0.0;
}

kv7im::Risk WithStresses(kv7im::Risk risk)
{
    risk.FoldStressesIntoVolatility();
    return risk;
}

} // namespace

const kv7im::RiskMatrix& MatrixOf(const kv7im::Risk& risk, Table table) noexcept
{
    switch (table) {
    case Table::InterestRate:
        return risk.GetRisk().InterestRate();
    case Table::Mismatch:
        return risk.GetRisk().VolatilityMismatch();
    default:
        return risk.GetRisk().Volatility();
    }
}

std::size_t WorstRow(const kv7im::RiskMatrix& cells, std::size_t column) noexcept
{
    std::size_t worst = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t row = 0; row < cells.RowsCount(); ++row) {
        if (!(cells[row][column] < least)) continue; // a NaN never is
        least = cells[row][column];
        worst = row;
    }
    return worst;
}

void Trail::Begin(const std::string& contract)
{
    m_contracts.emplace_back();
    m_contracts.back().code = contract;
}

PartOutcome& Trail::Part(const std::string& code)
{
    std::vector<PartOutcome>& parts = Contract().parts;
    const auto found = std::find_if(parts.begin(), parts.end(), [&](const auto& part) { return part.code == code; });
    if (found != parts.end()) return *found;
    parts.emplace_back();
    parts.back().code = code;
    return parts.back();
}

double Node::Cell(const CellAt& at) const noexcept
{
    return CellOf(MatrixOf(On(at.side), at.table), at.row, at.column);
}

void Node::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->SharePoint(point, factor, trail);
}

void Node::ShareOptionValue(double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->ShareOptionValue(factor, trail);
}

void Node::Gate(Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->Gate(trail);
}

std::optional<std::size_t> ShareStress(const Node& node, MarginSide side, Table table, std::size_t column,
                                       double factor, Trail& trail)
{
    const CellAt worst{side, table, WorstRow(MatrixOf(node.On(side), table), column), column};
    if (node.Cell(worst) == 0.0) return std::nullopt;
    node.ShareCell(worst, factor, trail);
    return worst.row;
}

void Leaf::ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const
{
    trail.Add(m_item, factor * CellOf(m_risk.GetRisk().Expiration(), row, column));
}

void Leaf::ShareCell(const CellAt& at, double factor, Trail& trail) const { trail.Add(m_item, factor * Cell(at)); }

void Leaf::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    trail.Add(m_item, factor * m_risk.GetSpecialRiskPoints().pData()[point]);
}

Series::Series(const kv7im::CSpecVirtFutures& series, kv7im::RiskNodeOptionSeries node,
               const std::vector<const Leaf*>& leaves)
    : Node({leaves.begin(), leaves.end()}), m_series(series), m_node(std::move(node)), m_leaves(leaves)
{
    for (const Leaf* const leaf : leaves) {
        m_node += leaf->On(MarginSide::Volatility);
        m_node.AddNOVi(leaf->OptionValue());
    }
    m_volatility = m_node.Volatility().OnRealPoints();
    m_delivery = m_node.Expiration().OnRealPoints();
}

const kv7im::Risk& Series::Columns(MarginSide side) const
{
    return side == MarginSide::Volatility ? m_node.Volatility() : m_node.Expiration();
}

const kv7im::Risk& Series::On(MarginSide side) const
{
    return side == MarginSide::Volatility ? m_volatility : m_delivery;
}

std::size_t Series::WorstColumn(const CellAt& at) const
{
    const kv7im::RiskMatrix& cells = MatrixOf(Columns(at.side), at.table);
    const std::vector<std::size_t>& binding = m_series.GetBindingArray(m_node.GetLevel()).binding;
    std::size_t worst = at.column;
    for (std::size_t column = MatrixOf(On(at.side), at.table).ColsCount(); column < cells.ColsCount(); ++column)
        if (binding[column] == at.column && cells[at.row][column] < cells[at.row][worst]) worst = column;
    return worst;
}

void Series::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    const std::size_t column = WorstColumn(at);
    if (at.table == Table::Volatility && column != at.column)
        trail.Part(Code()).subPoint = m_series.GetVolatilityMatrixCentralRow(m_node.GetLevel())[column];
    if (at.side == MarginSide::Delivery && m_node.Volatility().GetRisk().GetParameters().hasExpiration()) {
        if (at.table == Table::Volatility) ShareDelivery(column, factor, trail); // deliveries know no stresses
        return;
    }
    for (const Leaf* const leaf : m_leaves)
        leaf->ShareCell({at.side, at.table, at.row, column}, factor, trail);
}

void Series::ShareDelivery(std::size_t column, double factor, Trail& trail) const
{
    const std::size_t row = WorstRow(m_node.Volatility().GetRisk().Expiration(), column);
    const std::set<double>& prices = m_series.PointsForDeliveryRisksCalculation[m_node.GetLevel()];
    PartOutcome& part = trail.Part(Code());
    part.deliveryRow = row;
    part.deliveryPrice = *std::next(prices.begin(), static_cast<std::ptrdiff_t>(row));
    for (const Leaf* const leaf : m_leaves)
        leaf->ShareOutcome(row, column, factor, trail);
}

const kv7im::Risk& Sum::On(MarginSide side) const
{
    return side == MarginSide::Volatility ? m_node->Volatility() : m_node->Expiration();
}

bool Sum::ByLosses(Table table) const noexcept
{
    return table == Table::InterestRate ? m_lossesOf.rates : table == Table::Mismatch && m_lossesOf.mismatch;
}

void Sum::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        if (!ByLosses(at.table) || part->Cell(at) < 0.0) part->ShareCell(at, factor, trail);
}

LossesOnly::LossesOnly(const Node& node, std::string code)
    : Node({&node}),
      m_node(node),
      m_code(std::move(code)),
      m_volatility(WithStresses(node.On(MarginSide::Volatility))),
      m_delivery(WithStresses(node.On(MarginSide::Delivery)))
{}

const kv7im::Risk& LossesOnly::On(MarginSide side) const
{
    return side == MarginSide::Volatility ? m_volatility : m_delivery;
}

bool LossesOnly::IsKept(double result, Trail& trail) const
{
    if (result > 0.0) {
        trail.Part(m_code).isCut = true;
        Gate(trail);
    }
    return result < 0.0;
}

void LossesOnly::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    if (at.table != Table::Volatility || !IsKept(Cell(at), trail)) return; // the stresses are in the cells
    m_node.ShareCell(at, factor, trail);
    const auto rateRow = ShareStress(m_node, at.side, Table::InterestRate, at.column, factor, trail);
    // The central scenario takes no charge for volatilities that move apart.
    const bool isCentral = at.row == MatrixOf(On(at.side), Table::Volatility).MedianLineNumber();
    const auto mismatchRow =
        isCentral ? std::nullopt : ShareStress(m_node, at.side, Table::Mismatch, at.column, factor, trail);
    if (rateRow) trail.Part(m_code).rateRow = rateRow;
    if (mismatchRow) trail.Part(m_code).mismatchRow = mismatchRow;
}

void LossesOnly::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    if (IsKept(m_node.On(MarginSide::Volatility).GetSpecialRiskPoints().pData()[point], trail))
        m_node.SharePoint(point, factor, trail);
}

} // namespace QuindalIM::explanation
