#include "MarginExplanationWorst.h"

#include <algorithm>
#include <cmath>

#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

namespace QuindalIM::explanation {

namespace {

using kv7im::RiskRow;
using kv7im::SpecialRiskPoints;
using kv7im::stress::CountOf;
using kv7im::stress::Kind;
using kv7im::stress::MappingPoint;
using kv7im::stress::Side;

// True when the volatility rows differ in a column, so that the row of a cell means something.
bool RowsDiffer(const kv7im::RiskMatrix& cells, std::size_t column) noexcept
{
    for (std::size_t row = 1; row < cells.RowsCount(); ++row)
        if (cells[row][column] != cells[0][column]) return true;
    return false;
}

const RiskRow& RowOf(const kv7im::RolledUpRiskNode& node, MarginSide side) noexcept
{
    return side == MarginSide::Volatility ? node.Volatility() : node.Expiration();
}

// One side of a contract: its results collapsed, corrected and bent, as its margin is read from them.
class Outline
{
public:
    Outline(const Contract& contract, MarginSide side) : m_contract(contract), m_side(side), m_final(contract.collapsed)
    {
        m_final.ApplyCorrection(BaseContract());
    }

    [[nodiscard]] const RiskRow& Row() const noexcept { return RowOf(m_final, m_side); }
    [[nodiscard]] const SpecialRiskPoints& Points() const noexcept
    {
        return m_side == MarginSide::Volatility ? m_final.VolatilityPoints() : m_final.ExpirationPoints();
    }
    /// Shares the result at a price point and describes it in the outcome of the contract, except for its money.
    void ShareRow(std::size_t column, double factor, Trail& trail) const;
    /// Shares the result at a stress point and describes it in the outcome of the contract, except for its money.
    void SharePoint(std::size_t point, double factor, Trail& trail) const;

private:
    [[nodiscard]] const kv7im::CSpecBaseContract& BaseContract() const noexcept
    {
        return *m_contract.futures->BaseContract;
    }
    [[nodiscard]] double ShareCurvature(double result, double factor, Trail& trail) const;
    void ShareCell(std::size_t column, double factor, Trail& trail) const;

    const Contract& m_contract;
    MarginSide m_side;
    kv7im::RolledUpRiskNode m_final;
};

// Shares out the part of a result that the curvature adds and returns the factor of the result itself: v -
// N + v
// c is (1 - c) v - c N where N + v is positive, (1 + c) v + c N where it is negative.
double Outline::ShareCurvature(double result, double factor, Trail& trail) const
{
    const double radius = BaseContract().CalculateRiskCoefficient();
    const double sum = m_final.GetNOVj() + result;
    if (!(radius > 0.0) || sum == 0.0) return factor;
    const double bend = std::copysign(radius, sum);
    m_contract.node.ShareOptionValue(-bend * factor, trail);
    return factor * (1.0 - bend);
}

// Shares a cell out. Where the two sides lose equal amounts, no delivery decides.
void Outline::ShareCell(std::size_t column, double factor, Trail& trail) const
{
    const kv7im::RolledUpRiskNode& collapsed = m_contract.collapsed;
    ContractOutcome& outcome = trail.contracts.back();
    outcome.pricePoint = column;
    outcome.price = m_contract.futures->CalculatePointX(column, collapsed.GetRiskLevel());
    outcome.isDelivery = RowOf(collapsed, m_side)[column] < collapsed.Volatility()[column];

    const MarginSide side = outcome.isDelivery ? MarginSide::Delivery : MarginSide::Volatility;
    const Node& node = m_contract.node;
    const CellAt worst = node.WorstCell(side, Table::Volatility, column);
    outcome.cell = node.Cell(worst);
    if (!outcome.isDelivery || RowsDiffer(node.Cells(side, Table::Volatility), column)) outcome.scenario = worst.row;
    node.ShareCell(worst, factor, trail);
    outcome.rateRow = node.ShareStress(side, Table::InterestRate, column, factor, trail);
    outcome.mismatchRow = node.ShareStress(side, Table::Mismatch, column, factor, trail);
}

void Outline::ShareRow(std::size_t column, double factor, Trail& trail) const
{
    trail.contracts.back().kind = ContractOutcome::Kind::PricePoint;
    ShareCell(column, ShareCurvature(RowOf(m_contract.collapsed, m_side)[column], factor, trail), trail);
}

// Shares a stress point out. A lifted point is recognised by its bits. Its floor is shared in proportion to the parts
// at the edge; beyond the first concentration limit that is an average and not the slope. An edge of 0 implies no loss
// at all.
void Outline::SharePoint(std::size_t point, double factor, Trail& trail) const
{
    ContractOutcome& outcome = trail.contracts.back();
    outcome.stressPoint = static_cast<MappingPoint>(point);
    const RiskRow& row = RowOf(m_contract.collapsed, m_side);
    const SpecialRiskPoints& points = m_contract.collapsed.VolatilityPoints(); // of the two sides
    const double corrected =
        points.GetCorrectedSpecialRiskPoints(row, BaseContract(), m_final.GetRiskLevel()).pData()[point];
    const double own = ShareCurvature(corrected, factor, trail);
    if (corrected == points.pData()[point]) {
        outcome.kind = ContractOutcome::Kind::StressPoint;
        m_contract.node.SharePoint(point, own, trail);
        return;
    }
    outcome.kind = ContractOutcome::Kind::EdgeFloor;
    const std::size_t edge = kv7im::stress::Points[point].side == Side::Above ? row.size() - 1 : 0;
    if (row[edge] != 0.0) ShareCell(edge, own * (corrected / row[edge]), trail);
}

// The first of the smallest results of a row and of the stress points; the row comes first.
struct Worst
{
    Worst(const RiskRow& row, const SpecialRiskPoints& points)
    {
        for (std::size_t column = 0; column < row.size(); ++column)
            Take(row[column], column, false);
        for (std::size_t point = 0; point < points.size(); ++point)
            Take(points.pData()[point], point, true);
    }

    double money = 0.0; // 0: nothing loses
    std::size_t index = 0;
    bool isPoint = false;

private:
    void Take(double result, std::size_t at, bool point) noexcept
    {
        if (!(result < money)) return; // a NaN never is
        money = result;
        index = at;
        isPoint = point;
    }
};

void ShareAlone(const Outline& outline, const Worst& worst, double factor, Trail& trail)
{
    trail.contracts.back().money = worst.money;
    if (worst.isPoint)
        outline.SharePoint(worst.index, factor, trail);
    else
        outline.ShareRow(worst.index, factor, trail);
}

// The result of a contract that an MCS has taken: at a price point, at a stress point, or none.
struct Source
{
    std::optional<std::size_t> column;
    std::optional<std::size_t> point;
};

// Source of a cell of the MCS's row. Under a window it is the first of the nearby results that equals the one taken,
// otherwise one of the stress points that fold into the ends of the row.
Source SourceOfRow(const Outline& outline, std::size_t column, std::size_t window, double taken)
{
    const std::size_t last = std::min(column + window, outline.Row().size() - 1);
    for (std::size_t nearby = column - std::min(column, window); nearby <= last; ++nearby)
        if (outline.Row()[nearby] == taken) return {nearby, std::nullopt};
    static_assert(CountOf(Kind::Step) == 4, "each stress step is folded into an end of the row");
    for (const auto point : {MappingPoint::PnL3D, MappingPoint::PnL2D, MappingPoint::PnL3U, MappingPoint::PnL2U})
        if (outline.Points().pData()[point] == taken) return {std::nullopt, point};
    return {};
}

// Source of a stress point of the MCS. Under a window the tails take the charges where these are worse, and nothing
// else is taken.
Source SourceOfPoint(const SpecialRiskPoints& points, std::size_t point)
{
    const auto tail = [&](std::size_t charge) -> Source {
        return {std::nullopt, points.pData()[point] < points.pData()[charge] ? point : charge};
    };
    static_assert(CountOf(Kind::Tail) == 2 && CountOf(Kind::Charge) == 2, "each tail takes its charge");
    if (point == MappingPoint::ZL) return tail(MappingPoint::DownRisk);
    if (point == MappingPoint::ZR) return tail(MappingPoint::UpRisk);
    return {};
}

// Shares the worst cell of an MCS out. The stress points of the volatility side stand beside the row of deliveries.
void ShareInMCS(const Contract& contract, MarginSide side, const Worst& worst, double factor, Trail& trail)
{
    const kv7im::LastAdditionToMCS& mcs = *contract.mcs;
    const Outline outline(contract, worst.isPoint ? MarginSide::Volatility : side);
    const RiskRow& row = side == MarginSide::Volatility ? mcs.cachedCollapsedRiskRowVolatilityMMS
                                                        : mcs.cachedCollapsedRiskRowExpirationMMS;
    const double taken = worst.isPoint ? mcs.cachedLastAdditionVolatility.pData()[worst.index] : row[worst.index];
    const std::optional<unsigned int> window = mcs.nettingPropertiesICS;
    Source source;
    if (worst.isPoint)
        source = window ? SourceOfPoint(outline.Points(), worst.index) : Source{std::nullopt, worst.index};
    else
        source = window ? SourceOfRow(outline, worst.index, *window, taken) : Source{worst.index, std::nullopt};

    ContractOutcome& outcome = trail.contracts.back();
    outcome.money = taken;
    if (!source.column && !source.point) return;
    const double result = source.column ? outline.Row()[*source.column] : outline.Points().pData()[*source.point];
    if (const bool lossesOnly = worst.isPoint || !window; lossesOnly && result >= 0.0) {
        outcome.isCut = result > 0.0;
        if (outcome.isCut) contract.node.Gate(trail);
    } else if (source.column) {
        outline.ShareRow(*source.column, factor, trail);
    } else {
        outline.SharePoint(*source.point, factor, trail);
    }
}

Worst WorstOf(const Entity& entity, MarginSide side)
{
    if (entity.mcs)
        return {side == MarginSide::Volatility ? entity.mcs->VolatilityRow() : entity.mcs->ExpirationRow(),
                entity.mcs->VolatilityPoints()};
    const Outline outline(entity.contracts.begin()->second, side);
    return {outline.Row(), outline.Points()};
}

} // namespace

SideOutcome ExplainWorst(const Entity& entity, MarginSide side, Trail& trail)
{
    const Worst worst = WorstOf(entity, side);
    SideOutcome outcome;
    outcome.side = side;
    outcome.margin = std::abs(worst.money) * entity.ratio;
    outcome.isLoss = worst.money < 0.0;
    if (!outcome.isLoss) return outcome;
    if (worst.isPoint)
        outcome.stressPoint = static_cast<MappingPoint>(worst.index);
    else
        outcome.pricePoint = worst.index;
    for (const auto& [code, contract] : entity.contracts) {
        trail.contracts.emplace_back().code = code;
        if (entity.mcs)
            ShareInMCS(contract, side, worst, -entity.ratio, trail);
        else
            ShareAlone(Outline(contract, side), worst, -entity.ratio, trail);
    }
    outcome.contracts = std::move(trail.contracts);
    return outcome;
}

} // namespace QuindalIM::explanation
