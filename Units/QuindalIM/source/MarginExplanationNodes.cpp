#include "MarginExplanationNodes.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace QuindalIM::explanation {

namespace {

const kv7im::RiskMatrix& MatrixOf(const kv7im::Risk& risk, Table table) noexcept
{
    const kv7im::Profile& cells = risk.GetRisk();
    if (table == Table::Volatility) return cells.Volatility();
    return table == Table::InterestRate ? cells.InterestRate() : cells.VolatilityMismatch();
}

// The cell of a matrix; 0.0 beyond its rows and columns, since a leaf may have fewer than the node that it is in.
double CellOf(const kv7im::RiskMatrix& cells, std::size_t row, std::size_t column) noexcept
{
    return row < cells.RowsCount() && column < cells.ColsCount() ? cells[row][column] : 0.0;
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

} // namespace

PartOutcome& Trail::Part(const std::string& code)
{
    std::vector<PartOutcome>& parts = contracts.back().parts;
    const auto found = std::find_if(parts.begin(), parts.end(), [&](const auto& part) { return part.code == code; });
    if (found != parts.end()) return *found;
    parts.emplace_back().code = code;
    return parts.back();
}

Node Node::Leaf(std::size_t item, kv7im::Risk risk, double optionValue)
{
    Node leaf;
    leaf.results.front() = std::move(risk);
    leaf.item = item;
    leaf.optionValue = optionValue;
    return leaf;
}

Node Node::Series(const kv7im::CSpecVirtFutures& series, Enums::ClientRiskLevel level, const kv7im::Parameters& size,
                  std::vector<Node> leaves)
{
    Node node;
    node.code = series.Code;
    node.series = &series;
    node.level = level;
    kv7im::Risk risk(size);
    if (size.hasSubPoints()) risk.GetRisk().ExpandSubPoints(size.subPointsCount, &series.GetBindingArray(level));
    for (const Node& leaf : leaves)
        risk += leaf.results.front();
    node.columns = {risk, risk};
    node.columns.back().MixinExpirationRiskOnVolatility();
    node.results = {node.columns.front().OnRealPoints(), node.columns.back().OnRealPoints()};
    node.parts = std::move(leaves);
    return node;
}

Node Node::Sum(const kv7im::Parameters& size, std::vector<Node> parts, bool ratesByLosses)
{
    Node node;
    node.results = {kv7im::Risk(size), kv7im::Risk(size)};
    node.ratesByLosses = ratesByLosses;
    for (Node& part : parts)
        node.Add(std::move(part));
    return node;
}

void Node::Add(Node part)
{
    for (std::size_t side = 0; side < results.size(); ++side) {
        if (!part.isHalfNetted) {
            results[side].AddNetted(part.ResultOf(side), ratesByLosses);
            continue;
        }
        kv7im::Risk losses = part.results[side];
        losses.BoundValuesFromAbove(0.0);
        results[side].AddNetted(losses, ratesByLosses);
    }
    parts.push_back(std::move(part));
}

Node Node::LossesOf(Node node, const std::string& code)
{
    Node losses;
    losses.results = node.results;
    for (kv7im::Risk& risk : losses.results)
        risk.FoldStressesIntoVolatility();
    losses.parts.push_back(std::move(node));
    losses.code = code;
    losses.isHalfNetted = true;
    return losses;
}

const kv7im::RiskMatrix& Node::Cells(MarginSide side, Table table) const noexcept
{
    return MatrixOf(side == MarginSide::Volatility || parts.empty() ? results.front() : results.back(), table);
}

double Node::Cell(const CellAt& at) const noexcept { return CellOf(Cells(at.side, at.table), at.row, at.column); }

CellAt Node::WorstCell(MarginSide side, Table table, std::size_t column) const noexcept
{
    return {side, table, WorstRow(Cells(side, table), column), column};
}

void Node::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    if (parts.empty())
        trail.money[item] += factor * Cell(at);
    else if (isHalfNetted)
        ShareLoss(at, factor, trail);
    else if (series != nullptr)
        ShareOptions(at, factor, trail);
    else {
        const bool byLosses = at.table == Table::Mismatch || (at.table == Table::InterestRate && ratesByLosses);
        for (const Node& part : parts)
            if (!byLosses || part.Cell(at) < 0.0) part.ShareCell(at, factor, trail);
    }
}

std::optional<std::size_t> Node::ShareStress(MarginSide side, Table table, std::size_t column, double factor,
                                             Trail& trail) const
{
    const CellAt worst = WorstCell(side, table, column);
    if (Cell(worst) == 0.0) return std::nullopt;
    ShareCell(worst, factor, trail);
    return worst.row;
}

// Shares a cell of a node under half netting. The stresses are in the cells; the central scenario takes no mismatch
// stress.
void Node::ShareLoss(const CellAt& at, double factor, Trail& trail) const
{
    if (at.table != Table::Volatility || !IsKept(Cell(at), trail)) return;
    const Node& whole = parts.front();
    whole.ShareCell(at, factor, trail);
    const auto rateRow = whole.ShareStress(at.side, Table::InterestRate, at.column, factor, trail);
    if (rateRow) trail.Part(code).rateRow = rateRow;
    if (at.row == Cells(at.side, Table::Volatility).MedianLineNumber()) return;
    const auto mismatchRow = whole.ShareStress(at.side, Table::Mismatch, at.column, factor, trail);
    if (mismatchRow) trail.Part(code).mismatchRow = mismatchRow;
}

bool Node::IsKept(double result, Trail& trail) const
{
    if (result > 0.0) {
        trail.Part(code).isCut = true;
        Gate(trail);
    }
    return result < 0.0;
}

// Shares a cell of a series. Where deliveries count, every scenario of the delivery side is the worst delivery, without
// stresses.
void Node::ShareOptions(const CellAt& at, double factor, Trail& trail) const
{
    const std::size_t column = WorstColumn(at);
    if (at.table == Table::Volatility && column != at.column)
        trail.Part(code).subPoint = series->GetVolatilityMatrixCentralRow(level)[column];
    if (at.side == MarginSide::Delivery && columns.front().GetRisk().GetParameters().hasExpiration()) {
        if (at.table == Table::Volatility) ShareDelivery(column, factor, trail);
        return;
    }
    for (const Node& leaf : parts)
        leaf.ShareCell({at.side, at.table, at.row, column}, factor, trail);
}

// The column that counts at a price point: a sub-point where it is worse than the price point that it is bound to.
std::size_t Node::WorstColumn(const CellAt& at) const
{
    const kv7im::RiskMatrix& cells =
        MatrixOf(at.side == MarginSide::Volatility ? columns.front() : columns.back(), at.table);
    const std::vector<std::size_t>& binding = series->GetBindingArray(level).binding;
    std::size_t worst = at.column;
    for (std::size_t column = Cells(at.side, at.table).ColsCount(); column < cells.ColsCount(); ++column)
        if (binding[column] == at.column && cells[at.row][column] < cells[at.row][worst]) worst = column;
    return worst;
}

void Node::ShareDelivery(std::size_t column, double factor, Trail& trail) const
{
    const std::size_t row = WorstRow(columns.front().GetRisk().Expiration(), column);
    const std::set<double>& prices = series->PointsForDeliveryRisksCalculation[level];
    PartOutcome& part = trail.Part(code);
    part.deliveryRow = row;
    part.deliveryPrice = *std::next(prices.begin(), static_cast<std::ptrdiff_t>(row));
    for (const Node& leaf : parts)
        trail.money[leaf.item] += factor * CellOf(leaf.results.front().GetRisk().Expiration(), row, column);
}

// Shares a stress point; the volatility and the delivery side have one set of them.
void Node::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    if (parts.empty())
        trail.money[item] += factor * results.front().GetSpecialRiskPoints().pData()[point];
    else if (!isHalfNetted || IsKept(results.front().GetSpecialRiskPoints().pData()[point], trail))
        for (const Node& part : parts)
            part.SharePoint(point, factor, trail);
}

void Node::ShareOptionValue(double factor, Trail& trail) const
{
    if (parts.empty()) trail.money[item] += factor * optionValue;
    for (const Node& part : parts)
        part.ShareOptionValue(factor, trail);
}

double Node::OptionValue() const noexcept
{
    double sum = optionValue;
    for (const Node& part : parts)
        sum += part.OptionValue();
    return sum;
}

void Node::Gate(Trail& trail) const
{
    if (parts.empty()) trail.gated[item] = true;
    for (const Node& part : parts)
        part.Gate(trail);
}

} // namespace QuindalIM::explanation
