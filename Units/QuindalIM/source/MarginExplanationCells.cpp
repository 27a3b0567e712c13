#include "MarginExplanationCells.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace QuindalIM::explanation {

namespace {

// A gain that losses alone let through; what is no number counts for nothing.
double LossOf(double cell) noexcept { return cell < 0.0 ? cell : 0.0; }

// The central scenario takes no charge for volatilities that move apart.
bool TakesMismatch(const Sheet& cells, std::size_t scenario) noexcept
{
    return scenario != (cells.Scenarios() - 1) / 2;
}

double WithStresses(const Sheet& cells, std::size_t scenario, std::size_t column) noexcept
{
    const double cell = cells[Table::InterestRate].Worst(column) + cells[Table::Volatility].At(scenario, column);
    return TakesMismatch(cells, scenario) ? cell + cells[Table::Mismatch].Worst(column) : cell;
}

void Copy(const kv7im::RiskMatrix& from, Grid& to)
{
    for (std::size_t row = 0; row < std::min(to.Rows(), from.RowsCount()); ++row)
        for (std::size_t column = 0; column < std::min(to.Columns(), from.ColsCount()); ++column)
            to.At(row, column) = from[row][column];
}

// Factor times the worst of the two stresses at a column; its row where it takes something.
std::optional<std::size_t> ShareStress(const Node& node, Table table, std::size_t column, double factor, Trail& trail)
{
    const Grid& stresses = node.Cells()[table];
    const std::size_t row = stresses.WorstRow(column);
    if (stresses.At(row, column) == 0.0) return std::nullopt;
    node.ShareCell({table, row, column}, factor, trail);
    return row;
}

} // namespace

std::size_t Grid::WorstRow(std::size_t column) const noexcept
{
    std::size_t worst = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t row = 0; row < Rows(); ++row) {
        if (!(At(row, column) < least)) continue; // a NaN never is
        least = At(row, column);
        worst = row;
    }
    return worst;
}

double Grid::Worst(std::size_t column) const noexcept
{
    const double worst = At(WorstRow(column), column);
    return std::isnan(worst) ? 0.0 : worst;
}

double Sheet::Collapsed(std::size_t column) const noexcept
{
    return (*this)[Table::Volatility].Worst(column) + (*this)[Table::InterestRate].Worst(column) +
           (*this)[Table::Mismatch].Worst(column);
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

Leaf::Leaf(std::size_t item, const kv7im::Risk& risk, const kv7im::Parameters& dimensions, double optionValue)
    : Node(dimensions.scenariosVolatilityCount, dimensions.length()),
      m_item(item),
      m_outcomes(dimensions.expirationScenariosCount, dimensions.length())
{
    const kv7im::Profile& cells = risk.GetRisk();
    Copy(cells.Volatility(), m_cells[Table::Volatility]);
    Copy(cells.InterestRate(), m_cells[Table::InterestRate]);
    Copy(cells.VolatilityMismatch(), m_cells[Table::Mismatch]);
    Copy(cells.Expiration(), m_outcomes);
    std::copy_n(cells.GetSpecialRiskPoints().pData(), m_cells.points.size(), m_cells.points.begin());
    m_cells.optionValue = optionValue;
}

Leaf::Leaf(std::size_t item, Sheet cells)
    : Node(cells.Scenarios(), cells.Columns()), m_item(item), m_outcomes(0, cells.Columns())
{
    m_cells = std::move(cells);
}

void Leaf::ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const
{
    trail.Add(m_item, factor * m_outcomes.At(row, column));
}

void Leaf::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    trail.Add(m_item, factor * m_cells.At(at));
}

void Leaf::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    trail.Add(m_item, factor * m_cells.points[point]);
}

void Leaf::ShareOptionValue(double factor, Trail& trail) const { trail.Add(m_item, factor * m_cells.optionValue); }

Sum::Sum(std::size_t scenarios, std::size_t columns, std::vector<const Node*> parts, LossesOf lossesOf)
    : Node(scenarios, columns), m_parts(std::move(parts)), m_lossesOf(lossesOf)
{
    for (const Node* const part : m_parts) {
        for (const Table table : Tables) {
            const Grid& from = part->Cells()[table];
            Grid& to = m_cells[table];
            for (std::size_t row = 0; row < to.Rows(); ++row)
                for (std::size_t column = 0; column < to.Columns(); ++column)
                    to.At(row, column) += ByLosses(table) ? LossOf(from.At(row, column)) : from.At(row, column);
        }
        for (std::size_t point = 0; point < m_cells.points.size(); ++point)
            m_cells.points[point] += part->Cells().points[point];
        m_cells.optionValue += part->Cells().optionValue;
    }
}

bool Sum::ByLosses(Table table) const noexcept
{
    return table == Table::InterestRate ? m_lossesOf.rates : table == Table::Mismatch && m_lossesOf.mismatch;
}

void Sum::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        if (!ByLosses(at.table) || part->Cells().At(at) < 0.0) part->ShareCell(at, factor, trail);
}

void Sum::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->SharePoint(point, factor, trail);
}

void Sum::ShareOptionValue(double factor, Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->ShareOptionValue(factor, trail);
}

void Sum::Gate(Trail& trail) const
{
    for (const Node* const part : m_parts)
        part->Gate(trail);
}

SeriesSum::SeriesSum(const kv7im::CSpecVirtFutures& series, Enums::ClientRiskLevel level,
                     const kv7im::Parameters& dimensions, std::vector<const Leaf*> leaves)
    : Sum(dimensions.scenariosVolatilityCount, dimensions.length(), {leaves.begin(), leaves.end()}, LossesOf{}),
      m_series(series),
      m_level(level),
      m_leaves(std::move(leaves)),
      m_outcomes(dimensions.expirationScenariosCount, dimensions.length())
{
    for (const Leaf* const leaf : m_leaves)
        for (std::size_t row = 0; row < m_outcomes.Rows(); ++row)
            for (std::size_t column = 0; column < m_outcomes.Columns(); ++column)
                m_outcomes.At(row, column) += leaf->Outcomes().At(row, column);
}

double SeriesSum::DeliveryPrice(std::size_t row) const
{
    const std::set<double>& prices = m_series.PointsForDeliveryRisksCalculation[m_level];
    return *std::next(prices.begin(), static_cast<std::ptrdiff_t>(row));
}

void SeriesSum::ShareOutcome(std::size_t row, std::size_t column, double factor, Trail& trail) const
{
    for (const Leaf* const leaf : m_leaves)
        leaf->ShareOutcome(row, column, factor, trail);
}

Delivered::Delivered(const SeriesSum& series)
    : Node(series.Cells().Scenarios(), series.Cells().Columns()), m_series(series)
{
    const Grid& outcomes = series.Outcomes();
    for (std::size_t column = 0; column < outcomes.Columns(); ++column) {
        const double worst = outcomes.At(outcomes.WorstRow(column), column);
        for (std::size_t scenario = 0; scenario < m_cells.Scenarios(); ++scenario)
            m_cells[Table::Volatility].At(scenario, column) =
                std::isnan(worst) ? std::numeric_limits<double>::max() : worst;
    }
    m_cells.points = series.Cells().points;
    m_cells.optionValue = series.Cells().optionValue;
}

void Delivered::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    if (at.table != Table::Volatility) return; // deliveries know no stresses
    const std::size_t row = m_series.Outcomes().WorstRow(at.column);
    PartOutcome& part = trail.Part(m_series.Code());
    part.deliveryRow = row;
    part.deliveryPrice = m_series.DeliveryPrice(row);
    m_series.ShareOutcome(row, at.column, factor, trail);
}

void Delivered::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    m_series.SharePoint(point, factor, trail);
}

void Delivered::ShareOptionValue(double factor, Trail& trail) const { m_series.ShareOptionValue(factor, trail); }

Folded::Folded(const Node& columns, const SeriesSum& series, std::size_t realColumns)
    : Node(columns.Cells().Scenarios(), realColumns), m_columns(columns), m_series(series), m_bound(realColumns)
{
    const kv7im::BindsRow& binding = series.Binding();
    for (std::size_t column = realColumns; column < columns.Cells().Columns(); ++column)
        m_bound[binding.binding[column]].push_back(column);
    for (const Table table : Tables)
        for (std::size_t row = 0; row < m_cells[table].Rows(); ++row)
            for (std::size_t column = 0; column < realColumns; ++column)
                m_cells[table].At(row, column) = columns.Cells()[table].At(row, WorstColumn({table, row, column}));
    m_cells.points = columns.Cells().points;
    m_cells.optionValue = columns.Cells().optionValue;
}

std::size_t Folded::WorstColumn(const CellAt& at) const noexcept
{
    const Grid& cells = m_columns.Cells()[at.table];
    std::size_t worst = at.column;
    for (const std::size_t column : m_bound[at.column])
        if (cells.At(at.row, column) < cells.At(at.row, worst)) worst = column;
    return worst;
}

void Folded::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    const std::size_t column = WorstColumn(at);
    if (at.table == Table::Volatility && column != at.column)
        trail.Part(m_series.Code()).subPoint = m_series.PriceAt(column);
    m_columns.ShareCell({at.table, at.row, column}, factor, trail);
}

void Folded::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    m_columns.SharePoint(point, factor, trail);
}

void Folded::ShareOptionValue(double factor, Trail& trail) const { m_columns.ShareOptionValue(factor, trail); }

LossesOnly::LossesOnly(const Node& node, std::string code)
    : Node(node.Cells().Scenarios(), node.Cells().Columns()), m_node(node), m_code(std::move(code))
{
    for (std::size_t scenario = 0; scenario < m_cells.Scenarios(); ++scenario)
        for (std::size_t column = 0; column < m_cells.Columns(); ++column)
            m_cells[Table::Volatility].At(scenario, column) = LossOf(WithStresses(node.Cells(), scenario, column));
    std::transform(node.Cells().points.begin(), node.Cells().points.end(), m_cells.points.begin(), LossOf);
    m_cells.optionValue = node.Cells().optionValue;
}

void LossesOnly::ShareCell(const CellAt& at, double factor, Trail& trail) const
{
    if (at.table != Table::Volatility) return; // the stresses are in the cells
    if (m_cells.At(at) == 0.0) return GateGain(WithStresses(m_node.Cells(), at.row, at.column), trail);
    m_node.ShareCell(at, factor, trail);
    const auto rateRow = ShareStress(m_node, Table::InterestRate, at.column, factor, trail);
    const auto mismatchRow =
        TakesMismatch(m_cells, at.row) ? ShareStress(m_node, Table::Mismatch, at.column, factor, trail) : std::nullopt;
    if (rateRow) trail.Part(m_code).rateRow = rateRow;
    if (mismatchRow) trail.Part(m_code).mismatchRow = mismatchRow;
}

void LossesOnly::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    if (m_cells.points[point] == 0.0) return GateGain(m_node.Cells().points[point], trail);
    m_node.SharePoint(point, factor, trail);
}

void LossesOnly::GateGain(double result, Trail& trail) const
{
    if (!(result > 0.0)) return;
    trail.Part(m_code).isCut = true;
    Gate(trail);
}

void LossesOnly::ShareOptionValue(double factor, Trail& trail) const { m_node.ShareOptionValue(factor, trail); }

void ShareCollapsed(const Node& node, std::size_t column, double factor, Trail& trail)
{
    ContractOutcome& outcome = trail.Contract();
    const std::size_t scenario = node.Cells()[Table::Volatility].WorstRow(column);
    outcome.cell = node.Cells()[Table::Volatility].At(scenario, column);
    outcome.scenario = scenario;
    node.ShareCell({Table::Volatility, scenario, column}, factor, trail);
    outcome.rateRow = ShareStress(node, Table::InterestRate, column, factor, trail);
    outcome.mismatchRow = ShareStress(node, Table::Mismatch, column, factor, trail);
}

} // namespace QuindalIM::explanation
