// The price grid of a series: the futures' prices, sub-points near the strikes, and the prices of deliveries.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "grids/Constants.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"
#include "z9log.h"

namespace kv7im {

namespace {

/// An edge as a multiplier of the step. A price so far out that arithmetic loses it has no multiples and gives 0; the
/// others end where int32 ends.
std::int32_t ToMultiplier(double edge) noexcept
{
    if (!std::isfinite(edge)) return 0;
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(edge, lowest, highest));
}

/// The multiples of a step inside a grid, as multipliers.
struct SubPointEdges
{
    SubPointEdges(double centre, double spot, double marketRisk, double step) noexcept
        : left(CSpecVirtFutures::SubPointLeftEdge(centre, spot, marketRisk, step)),
          right(CSpecVirtFutures::SubPointRightEdge(centre, spot, marketRisk, step))
    {}

    [[nodiscard]] std::size_t Count() const noexcept
    {
        const std::int64_t count = std::int64_t{right} - left; // both ends may be the ends of int32
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    std::int32_t left;  // the first
    std::int32_t right; // one past the last
};

/// The column where the distance to the value stops falling, on a walk from `column` up.
std::size_t WalkToNearest(const RiskRowWrapper& row, double value, std::size_t column) noexcept
{
    double distance = std::abs(row[column] - value);
    while (column + 1 < row.size()) {
        const double next = std::abs(row[column + 1] - value);
        if (!(next < distance)) break;
        distance = next;
        ++column;
    }
    return column;
}

} // namespace

/// The grid of one level that RecalcInvariants makes before it replaces the present one.
struct CSpecVirtFutures::LevelGrid
{
    double subRiskStep = 0.0;
    std::vector<std::int32_t> subPoints;
    BindsRow binding;
    RiskMatrix prices;
    std::set<double> deliveryPoints;
    bool isWarnedOf = false;
};

std::int32_t CSpecVirtFutures::SubPointLeftEdge(double CenterRisk, double Spot, double MarketRisk,
                                                double SubRiskStep) noexcept
{
    if (SubRiskStep == 0.0) return 0;
    return ToMultiplier(std::ceil((CenterRisk - Spot * MarketRisk) / SubRiskStep));
}

std::int32_t CSpecVirtFutures::SubPointRightEdge(double CenterRisk, double Spot, double MarketRisk,
                                                 double SubRiskStep) noexcept
{
    if (SubRiskStep == 0.0) return 0;
    return ToMultiplier(std::floor((Spot * MarketRisk + CenterRisk) / SubRiskStep) + 1.0);
}

double CSpecVirtFutures::CalculateAdjustedSubRiskStep(double StrikeStep, std::int32_t LotCoeff) noexcept
{
    return StrikeStep / LotCoeff;
}

std::size_t CSpecVirtFutures::NearestPoint(const RiskRowWrapper& mainPoint, double value) noexcept
{
    return mainPoint.size() == 0 ? 0 : WalkToNearest(mainPoint, value, 0);
}

void CSpecVirtFutures::RecalcInvariants()
{
    RiskLevelIndexedArray<LevelGrid> grids;
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        grids[level] = MakeGrid(level);

    // From here on nothing throws: the series changes as a whole or not at all.
    MoneyCoef = MinStepPrice / MinStep;
    m_gridCentre = Futures->CalcFutPrice;
    m_hasDeliveryScenarios = WeHaveToPrecalcDeliveryRisks();
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        TakeOver(grids[level], level);
    const bool isWarnedOf = std::ranges::any_of(Enums::PossibleClientRiskLevelValues,
                                                [&](Enums::ClientRiskLevel level) { return grids[level].isWarnedOf; });
    m_futuresGrid = isWarnedOf ? 0 : Futures->GetGridNumber();
    DropOptionColumns();
}

void CSpecVirtFutures::FollowFutures()
{
    if (m_futuresGrid == Futures->GetGridNumber())
        DropOptionColumns(); // they follow the kind of the series too, which its contract may have changed
    else
        RecalcInvariants();
}

CSpecVirtFutures::LevelGrid CSpecVirtFutures::MakeGrid(Enums::ClientRiskLevel level) const
{
    LevelGrid grid;
    CalculateSubPointRange(grid, level);
    FillColumns(grid, level);
    if (WeHaveToPrecalcDeliveryRisks()) CalculateDeliveryPoints(grid, level);
    return grid;
}

void CSpecVirtFutures::CalculateSubPointRange(LevelGrid& grid, Enums::ClientRiskLevel level) const
{
    double& step = grid.subRiskStep;
    step = AdjustedSubRiskStep[level];
    if (!SubRisk) {
        grid.subPoints = subPointRange[level];
        return;
    }
    const double centre = Futures->CalcFutPrice;
    const double spot = Futures->NormalizedSpot;
    const double marketRisk = Futures->BaseContract->MarketRisk[level];
    SubPointEdges edges(centre, spot, marketRisk, step);

    // Each column is priced once per option, so too many make the step wider. A multiple may stand on either end of the
    // grid, so one more than the cap can remain; each time that is logged.
    constexpr std::size_t cap = Constants::MaximumValueSubPointCount;
    if (const std::size_t count = edges.Count(); count > cap) {
        step *= std::ceil((spot + spot) * marketRisk / (step * static_cast<double>(cap)));
        edges = SubPointEdges(centre, spot, marketRisk, step);
        KV7TRACE_WARNING_EX("QuindalIM",
                            "VirtFutures code '%s'. Count subpoint %P more than max count %P, forcibly set to %P, "
                            "AdjustedSubRiskStep[%d](%f)",
                            Code.c_str(), count, cap, edges.Count(), static_cast<int>(level), step);
        grid.isWarnedOf = true;
    }
    grid.subPoints.reserve(edges.Count());
    for (std::int32_t multiplier = edges.left; multiplier < edges.right; ++multiplier)
        grid.subPoints.push_back(multiplier);
}

void CSpecVirtFutures::FillColumns(LevelGrid& grid, Enums::ClientRiskLevel level) const
{
    const RiskRowWrapper futuresPrices = std::as_const(*Futures).GetProfile(level).GetCentralRowOfVolatilityMatrix();
    const auto mainPoints = static_cast<std::size_t>(GetPointsNum());
    const std::size_t columns = mainPoints + grid.subPoints.size();
    grid.binding.Resize(mainPoints, grid.subPoints.size());
    grid.prices = RiskMatrix(columns, 1, true);
    RiskRowWrapper prices = grid.prices.Median();

    for (std::size_t column = 0; column < mainPoints; ++column) {
        prices[column] = futuresPrices[column];
        grid.binding.BindPoint(column, column);
    }
    // Both rows ascend, so the nearest point of a sub-point is never below that of the one before: the walk goes on
    // from there and ends where a walk from column 0 would.
    std::size_t nearest = 0;
    for (std::size_t column = mainPoints; column < columns; ++column) {
        const double price = grid.subPoints[column - mainPoints] * grid.subRiskStep;
        prices[column] = price;
        nearest = WalkToNearest(futuresPrices, price, nearest);
        grid.binding.BindPoint(column, nearest);
    }
    grid.binding.AlignBindsRow();
}

void CSpecVirtFutures::CalculateDeliveryPoints(LevelGrid& grid, Enums::ClientRiskLevel level) const
{
    constexpr std::int32_t maximum = Constants::MaxDeliveryScenariosCountInOneLimit;
    const double centre = Futures->CalcFutPrice;
    const double limit = Futures->Limit[level];
    double step = StrikeStep;
    double steps = std::trunc(limit / step);
    // A quotient that is no number, or below zero, counts as too many.
    const bool stepIsUsable = std::abs(step) > std::numeric_limits<double>::epsilon();
    if (!(stepIsUsable && steps >= 0.0 && steps <= maximum)) {
        KV7TRACE_WARNING_EX("CSpecVirtFutures",
                            "Code '%s' DeliveryScenariosCountInOneLimit > MaxDeliveryScenariosCountInOneLimit -> "
                            "forcibly set to %d",
                            Code.c_str(), maximum);
        grid.isWarnedOf = true;
        step = limit / maximum;
        steps = maximum;
    }
    std::set<double>& points = grid.deliveryPoints;
    const auto insert = [&points](double price) {
        if (!std::isnan(price)) points.insert(price); // what is no number has no place in an order
    };
    insert(centre - limit);
    for (std::int32_t i = 1; i <= static_cast<std::int32_t>(steps); ++i) {
        insert(centre + i * step);
        insert(centre - i * step);
    }
    insert(centre);
    insert(centre + limit);
}

void CSpecVirtFutures::TakeOver(LevelGrid& grid, Enums::ClientRiskLevel level) noexcept
{
    AdjustedSubRiskStep[level] = grid.subRiskStep;
    subPointRange[level].swap(grid.subPoints);
    std::swap(bindingArray[level], grid.binding); // the options point to this table: its content moves, not its place
    volatilityMatrix[level].swap(grid.prices);
    volatilityMatrix[level].SetBinding(&bindingArray[level]);
    // A series that no longer looks at deliveries keeps the prices that it had.
    if (WeHaveToPrecalcDeliveryRisks()) PointsForDeliveryRisksCalculation[level].swap(grid.deliveryPoints);
}

} // namespace kv7im
