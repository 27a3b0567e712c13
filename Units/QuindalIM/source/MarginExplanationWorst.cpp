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

const SpecialRiskPoints& PointsOf(const kv7im::RolledUpRiskNode& node, MarginSide side) noexcept
{
    return side == MarginSide::Volatility ? node.VolatilityPoints() : node.ExpirationPoints();
}

// Shares out the part of a result that the curvature adds and returns the factor of the result itself.
// v - |N + v| c is (1 - c) v - c N where N + v is positive, (1 + c) v + c N where it is negative.
double ShareCurvature(const Contract& contract, double result, double factor, Trail& trail)
{
    const double radius = contract.futures->BaseContract->CalculateRiskCoefficient();
    const double sum = contract.collapsed.GetNOVj() + result;
    if (!(radius > 0.0) || sum == 0.0) return factor;
    const double bend = std::copysign(radius, sum);
    contract.node.ShareOptionValue(-bend * factor, trail);
    return factor * (1.0 - bend);
}

// Shares a cell out. Where the two sides lose equal amounts, no delivery decides.
void ShareCell(const Contract& contract, MarginSide side, std::size_t column, double factor, Trail& trail)
{
    ContractOutcome& outcome = trail.contracts.back();
    outcome.pricePoint = column;
    outcome.price = contract.futures->CalculatePointX(column, contract.collapsed.GetRiskLevel());
    outcome.isDelivery = RowOf(contract.collapsed, side)[column] < contract.collapsed.Volatility()[column];

    const MarginSide decisive = outcome.isDelivery ? MarginSide::Delivery : MarginSide::Volatility;
    const Node& node = contract.node;
    const CellAt worst = node.WorstCell(decisive, Table::Volatility, column);
    outcome.cell = node.Cell(worst);
    if (!outcome.isDelivery || RowsDiffer(node.Cells(decisive, Table::Volatility), column))
        outcome.scenario = worst.row;
    node.ShareCell(worst, factor, trail);
    outcome.rateRow = node.ShareStress(decisive, Table::InterestRate, column, factor, trail);
    outcome.mismatchRow = node.ShareStress(decisive, Table::Mismatch, column, factor, trail);
}

void ShareRow(const Contract& contract, MarginSide side, std::size_t column, double factor, Trail& trail)
{
    trail.contracts.back().kind = ContractOutcome::Kind::PricePoint;
    const double own = ShareCurvature(contract, RowOf(contract.collapsed, side)[column], factor, trail);
    ShareCell(contract, side, column, own, trail);
}

// Shares a stress point out. A lifted point is recognised by its bits. Its floor is shared in proportion to the parts
// at the edge; beyond the first concentration limit that is an average and not the slope. An edge of 0 implies no loss
// at all.
void SharePoint(const Contract& contract, MarginSide side, std::size_t point, double factor, Trail& trail)
{
    ContractOutcome& outcome = trail.contracts.back();
    outcome.stressPoint = static_cast<MappingPoint>(point);
    const RiskRow& row = RowOf(contract.collapsed, side);
    const SpecialRiskPoints& points = PointsOf(contract.collapsed, side);
    const double corrected =
        points.GetCorrectedSpecialRiskPoints(row, *contract.futures->BaseContract, contract.collapsed.GetRiskLevel())
            .pData()[point];
    const double own = ShareCurvature(contract, corrected, factor, trail);
    if (corrected == points.pData()[point]) {
        outcome.kind = ContractOutcome::Kind::StressPoint;
        contract.node.SharePoint(point, own, trail);
        return;
    }
    outcome.kind = ContractOutcome::Kind::EdgeFloor;
    const std::size_t edge = kv7im::stress::Points[point].side == Side::Above ? row.size() - 1 : 0;
    if (row[edge] != 0.0) ShareCell(contract, side, edge, own * (corrected / row[edge]), trail);
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

// The result of a contract that a margin has taken: its money, and whether it stands at a price point, at a stress
// point or nowhere.
struct Taken
{
    double money;
    std::optional<std::size_t> column{};
    std::optional<std::size_t> point{};
    bool lossesOnly = false;
};

// The part of a contract in a cell of the MCS's row. Under a window it is the first of the nearby results that equals
// the money taken, otherwise one of the stress points that fold into the ends of the row.
Taken TakenAtPricePoint(const Contract& contract, MarginSide side, std::size_t column)
{
    const kv7im::LastAdditionToMCS& mcs = *contract.mcs;
    const double money = (side == MarginSide::Volatility ? mcs.added.volatility : mcs.added.Delivery())[column];
    if (!mcs.nettingPropertiesICS) return {money, column, {}, true};
    const std::size_t window = *mcs.nettingPropertiesICS;
    const RiskRow& row = RowOf(contract.final, side);
    for (std::size_t nearby = column - std::min(column, window); nearby < std::min(column + window + 1, row.size());
         ++nearby)
        if (row[nearby] == money) return {money, nearby};
    static_assert(CountOf(Kind::Step) == 4, "each stress step is folded into an end of the row");
    for (const auto point : {MappingPoint::PnL3D, MappingPoint::PnL2D, MappingPoint::PnL3U, MappingPoint::PnL2U})
        if (PointsOf(contract.final, side).pData()[point] == money) return {money, {}, point};
    return {money};
}

// The part of a contract in a stress point of the MCS. Under a window the tails take the charges where these are worse,
// and nothing else is taken.
Taken TakenAtStressPoint(const Contract& contract, std::size_t point)
{
    const double money = contract.mcs->added.volatilityPoints.pData()[point];
    if (!contract.mcs->nettingPropertiesICS) return {money, {}, point, true};
    static_assert(CountOf(Kind::Tail) == 2 && CountOf(Kind::Charge) == 2, "each tail takes its charge");
    if (point != MappingPoint::ZL && point != MappingPoint::ZR) return {money};
    const std::size_t charge = point == MappingPoint::ZL ? MappingPoint::DownRisk : MappingPoint::UpRisk;
    const double* const points = contract.final.VolatilityPoints().pData();
    return {money, {}, points[point] < points[charge] ? point : charge, true};
}

// The part of a contract in the worst cell of its entity.
Taken TakenOf(const Contract& contract, MarginSide side, const Worst& worst)
{
    if (contract.mcs)
        return worst.isPoint ? TakenAtStressPoint(contract, worst.index)
                             : TakenAtPricePoint(contract, side, worst.index);
    return worst.isPoint ? Taken{worst.money, {}, worst.index} : Taken{worst.money, worst.index};
}

void Share(const Contract& contract, MarginSide side, const Taken& taken, double factor, Trail& trail)
{
    ContractOutcome& outcome = trail.contracts.back();
    outcome.money = taken.money;
    if (!taken.column && !taken.point) return;
    const double result = taken.column ? RowOf(contract.final, side)[*taken.column]
                                       : PointsOf(contract.final, side).pData()[*taken.point];
    if (taken.lossesOnly && result >= 0.0) {
        outcome.isCut = result > 0.0;
        if (outcome.isCut) contract.node.Gate(trail);
    } else if (taken.column) {
        ShareRow(contract, side, *taken.column, factor, trail);
    } else {
        SharePoint(contract, side, *taken.point, factor, trail);
    }
}

Worst WorstOf(const Entity& entity, MarginSide side)
{
    if (entity.mcs)
        return {side == MarginSide::Volatility ? entity.mcs->VolatilityRow() : entity.mcs->ExpirationRow(),
                entity.mcs->VolatilityPoints()};
    const kv7im::RolledUpRiskNode& results = entity.contracts.begin()->second.final;
    return {RowOf(results, side), PointsOf(results, side)};
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
        // The stress points of the volatility side stand beside the row of deliveries of an MCS.
        const MarginSide shared = entity.mcs && worst.isPoint ? MarginSide::Volatility : side;
        Share(contract, shared, TakenOf(contract, side, worst), -entity.ratio, trail);
    }
    outcome.contracts = std::move(trail.contracts);
    return outcome;
}

} // namespace QuindalIM::explanation
