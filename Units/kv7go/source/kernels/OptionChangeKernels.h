// The kernels of a change in one option: they go over the cells of its series once, a block of four columns at a time,
// and give the bits of the sequence of matrix operations that they stand for. The plain sequence stands in the tests.
//
// The cells come from the compact grid of the option; the two rate rows are unfolded on the way.
//
// Change: what happens to the cells of the series: a position moves from one state to another (PositionChange below)
//         or orders come in (OrderChange in OrderKernels.h). A change has
//             option, grid, level                the option, its grid and the level of that grid
//             OfValue, OfStress, OfOutcome       what a value, a stress or a delivery outcome of the grid does to the
//                                                cell of the series at its place: an object whose Of(cell) is the
//                                                new cell
//             Points                             changes the special points of the series, both charges times a ratio
//             IsNothing                          true when no cell changes, not even one that no delivery reaches
//             IsOfNumbers                        true when what a cell takes is known to be a number of moderate size
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

#include <boost/container/static_vector.hpp>

#include "grids/Constants.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "kernels/OptionKernels.h"
#include "kernels/PointsOfPosition.h"
#include "kernels/SeriesTakers.h"

namespace kv7im {

namespace kernels {

// A position spread over the lanes. Minus infinity as the bound changes nothing; a position without a bound has it.
struct SpreadPosition
{
    explicit SpreadPosition(const OptionTransform& transform) noexcept
        : price(transform.price),
          bound(transform.premiumIsTheWorst ? -transform.price : -std::numeric_limits<double>::infinity()),
          scale(transform.scale)
    {}
    // The cell stands second in the maximum: a NaN stays one.
    [[nodiscard]] RiskItem OfValue(RiskItem cell) const noexcept { return Mul(Max(bound, Sub(cell, price)), scale); }
    [[nodiscard]] RiskItem OfStress(RiskItem cell) const noexcept { return Mul(cell, scale); }
    [[nodiscard]] RiskItem OfOutcome(RiskItem cell) const noexcept { return Mul(Sub(cell, price), scale); }

    RiskItem price;
    RiskItem bound;
    RiskItem scale;
};

// A position that no bound of its premium reaches, since no value of the option is below zero.
struct UnboundedPosition : SpreadPosition
{
    using SpreadPosition::SpreadPosition;
    [[nodiscard]] RiskItem OfValue(RiskItem cell) const noexcept { return Mul(Sub(cell, price), scale); }
};

// True when what a position or an order puts into the cells of a series is known to be numbers, and so far from the
// largest double that no number of changes adds up to it.
[[nodiscard]] inline bool AreNumbers(const OptionGrid& grid, double price, double scale) noexcept
{
    constexpr double Largest = OptionGrid::LargestModerate;
    return grid.IsModerate() && std::abs(price) < Largest && std::abs(scale) < Largest;
}

// The price axis of a series, on which the rate stress of a grid takes its side.
struct PriceAxis
{
    PriceAxis(const CSpecOption& option, Enums::ClientRiskLevel level) noexcept
        : prices(option.VirtFutures->GetVolatilityMatrixCentralRow(level)), centre(option.VirtFutures->GetGridCentre())
    {}
    [[nodiscard]] std::size_t Blocks() const noexcept { return RegistersOf(prices.size()); }
    [[nodiscard]] RiskItem RateUp(std::size_t block, RiskItem stress) const noexcept
    {
        return ZeroUnlessAbove(stress, prices.pData(block), centre);
    }
    [[nodiscard]] RiskItem RateDown(std::size_t block, RiskItem stress) const noexcept
    {
        return ZeroUnlessAbove(stress, centre, prices.pData(block));
    }

    const RiskRowWrapper prices;
    RiskItem centre;
};

// Largest number of delivery prices of a series at a level: the two ends, the centre and both sides of it.
inline constexpr std::size_t MostDeliveries = 2 * std::size_t{Constants::MaxDeliveryScenariosCountInOneLimit} + 3;
using DeliveryScenarios = boost::container::static_vector<DeliveryScenario, MostDeliveries>;

[[nodiscard]] DeliveryScenarios DeliveryScenariosOf(const CSpecOption& option, Enums::ClientRiskLevel level,
                                                    std::size_t count);

// Gain of an exercised option, one for all scenarios in which it is exercised.
struct DeliveryGain
{
    explicit DeliveryGain(const DeliveryScenarios& scenarios) noexcept
    {
        for (const DeliveryScenario& scenario : scenarios)
            if (scenario.IsExercised()) exercised = &scenario;
    }
    [[nodiscard]] RiskItem At(RiskItem prices) const noexcept
    {
        return exercised != nullptr ? exercised->Gain(prices) : RiskItem(0.0);
    }

    const DeliveryScenario* exercised = nullptr;
};

// Blocks to work on: the instruments may have outgrown the node, so only those that all of them have.
[[nodiscard]] inline std::size_t CommonBlocks(const Profile& series, const OptionGrid& grid,
                                              const PriceAxis& axis) noexcept
{
    return std::min({series.Volatility().GetColsRegister(), grid.GetColsRegister(), axis.Blocks()});
}

// Volatility scenarios of nearly every market.
inline constexpr std::size_t UsualScenarios = 5;

// Calls body with the number of scenarios; the compiler knows the usual one, so that loops over it are unrolled.
template <class Body>
void WithScenarios(std::size_t scenarios, const Body& body) noexcept
{
    if (scenarios == UsualScenarios) return body(std::integral_constant<std::size_t, UsualScenarios>());
    body(scenarios);
}

// Applies the change to some blocks and hands every cell to the taker; returns the taker. Change and taker are passed
// by value, so that the compiler keeps them in registers: the cells written cannot be a part of them. All that is
// called here is inlined.
template <class Change, class Taker>
[[gnu::flatten]] Taker ChangeCells(Profile& series, const Change change, Taker taker, Blocks blocks) noexcept
{
    const PriceAxis axis(*change.option, change.level);
    const OptionGrid& grid = *change.grid;
    const std::size_t scenarios = series.Volatility().RowsCount();
    // The mismatch is the same at every column.
    const decltype(change.OfStress(RiskItem())) mismatch[StressRows] = {change.OfStress(grid.mismatchUp),
                                                                        change.OfStress(grid.mismatchDown)};

    for (std::size_t block = blocks.first; block < blocks.last; ++block) {
        taker.Begin(block);
        // Rates up count above the centre of the axis, rates down below it.
        const RiskItem stress = grid.RateStress(block);
        const RiskItem rate[StressRows] = {axis.RateUp(block, stress), axis.RateDown(block, stress)};
        RiskItem* const rates = series.InterestRate().pData() + block * StressRows;
        RiskItem* const mismatches = series.VolatilityMismatch().pData() + block * StressRows;
        for (std::size_t row = 0; row < StressRows; ++row) {
            const RiskItem oldRate = rates[row];
            rates[row] = change.OfStress(rate[row]).Of(oldRate);
            taker.TakeRate(row, oldRate, rates[row]);
            const RiskItem oldMismatch = mismatches[row];
            mismatches[row] = mismatch[row].Of(oldMismatch);
            taker.TakeMismatch(row, oldMismatch, mismatches[row]);
        }
        const RiskItem* const values = grid.Values(block);
        RiskItem* const cells = series.Volatility().pData() + block * scenarios;
        WithScenarios(scenarios, [&](auto count) {
            for (std::size_t i = 0; i < count; ++i) {
                const RiskItem old = cells[i];
                cells[i] = change.OfValue(values[i]).Of(old);
                taker.TakeValue(i, old, cells[i]);
            }
        });
        taker.End(block);
    }
    return taker;
}

// Applies the change to every block.
template <class Change, class Taker>
Taker ChangeCells(Profile& series, const Change& change, const Taker& taker) noexcept
{
    const PriceAxis axis(*change.option, change.level);
    return ChangeCells(series, change, taker, {0, CommonBlocks(series, *change.grid, axis)});
}

} // namespace kernels

/// Moves a position in an option from one state to another: cell = (cell - risk(before)) + risk(after).
/// Spread: how a state is spread over the lanes.
template <class Spread>
class PositionChangeBy
{
public:
    /// before and after are states of a position in one option.
    PositionChangeBy(const OptionTransform& before, const OptionTransform& after) noexcept
        : option(after.option),
          grid(after.grid),
          level(after.level),
          m_before(before),
          m_after(after),
          m_out(before),
          m_in(after)
    {}
    [[nodiscard]] kernels::Replacement OfValue(RiskItem value) const noexcept
    {
        return {m_out.OfValue(value), m_in.OfValue(value)};
    }
    [[nodiscard]] kernels::Replacement OfStress(RiskItem stress) const noexcept
    {
        return {m_out.OfStress(stress), m_in.OfStress(stress)};
    }
    [[nodiscard]] kernels::Replacement OfOutcome(RiskItem outcome) const noexcept
    {
        return {m_out.OfOutcome(outcome), m_in.OfOutcome(outcome)};
    }
    void Points(SpecialRiskPoints& points, double chargeRatio) const noexcept
    {
        points -= kernels::PointsOfPosition(m_before.grid->points, m_before, m_before.scale, chargeRatio);
        points += kernels::PointsOfPosition(grid->points, m_after, m_after.scale, chargeRatio);
    }
    [[nodiscard]] static constexpr bool IsNothing() noexcept { return false; }
    [[nodiscard]] bool IsOfNumbers() const noexcept
    {
        return kernels::AreNumbers(*grid, m_before.price, m_before.scale) &&
               kernels::AreNumbers(*grid, m_after.price, m_after.scale);
    }

    const CSpecOption* option;
    const OptionGrid* grid;
    Enums::ClientRiskLevel level;

private:
    const OptionTransform& m_before;
    const OptionTransform& m_after;
    Spread m_out;
    Spread m_in;
};
using PositionChange = PositionChangeBy<kernels::SpreadPosition>;
using UnboundedPositionChange = PositionChangeBy<kernels::UnboundedPosition>;

/// Changes the volatility, rate and mismatch cells of a series.
template <class Change>
void ChangeOptionInCells(Profile& series, const Change& change) noexcept
{
    kernels::ChangeCells(series, change, kernels::NoTaker{});
}

/// Changes the cells of a series without sub-points; row, as wide as the series, receives the collapsed series.
/// areNumbers: before and after the change each cell of the series is a number, those of the last block's padding
/// aside.
template <class Change>
void ChangeOptionInCells(Profile& series, const Change& change, bool areNumbers, RiskRow& row) noexcept
{
    using namespace kernels;
    const std::size_t blocks = CommonBlocks(series, *change.grid, PriceAxis(*change.option, change.level));
    const std::size_t ofNumbers = areNumbers && blocks != 0 ? blocks - 1 : 0;
    ChangeCells(series, change, CollapseNumbers(row), {0, ofNumbers});
    ChangeCells(series, change, Collapse(row), {ofNumbers, blocks});
}

/// Changes the cells of a series with sub-points; row, with one cell a real price point, receives the series folded and
/// collapsed. scratch has LengthOfFoldScratch(series) cells.
template <class Change>
void ChangeOptionInCells(Profile& series, const Change& change, RiskRow& scratch, RiskRow& row) noexcept
{
    const auto columns =
        kernels::ChangeCells(series, change, kernels::CollapseColumns(scratch, series.Volatility().ColsCount()));
    if (!columns.suspect) return FoldCollapsedColumns(series, scratch, row);
    MakeView(series, std::nullopt, scratch); // row by row
    CollapseView(series, scratch, row);
}

/// Changes the delivery rows of a series. worst, as wide as the series, receives the worst outcome per column, or the
/// largest finite double where no delivery reaches.
template <class Change>
void ChangeOptionInDeliveryRows(Profile& series, const Change change, RiskRow& worst) noexcept
{
    if (change.IsNothing()) return WorstOfDeliveryRows(series, worst);
    const kernels::PriceAxis axis(*change.option, change.level);
    RiskMatrix& outcomes = series.Expiration();
    const std::size_t rows = outcomes.RowsCount();
    const kernels::DeliveryScenarios scenarios = kernels::DeliveryScenariosOf(*change.option, change.level, rows);
    const kernels::DeliveryGain gain(scenarios);
    const std::size_t blocks = std::min(outcomes.GetColsRegister(), axis.Blocks());
    for (std::size_t block = 0; block < blocks; ++block) {
        RiskItem* const cells = outcomes.pData() + block * rows;
        const RiskItem prices = axis.prices.pData(block);
        // One result without exercise and one with it; the scenarios differ only in their scope.
        const decltype(change.OfOutcome(prices)) results[] = {change.OfOutcome(0.0), change.OfOutcome(gain.At(prices))};
        RiskItem worstOfBlock(LargestFinite);
        for (std::size_t row = 0; row < scenarios.size(); ++row) {
            const RiskItem now = results[scenarios[row].IsExercised() ? 1 : 0].Of(cells[row]);
            cells[row] = scenarios[row].InScope(now, prices);
            worstOfBlock = Min(cells[row], worstOfBlock);
        }
        worst.pData()[block] = worstOfBlock;
    }
    if (scenarios.size() != rows || blocks != worst.GetRegisterCount()) WorstOfDeliveryRows(series, worst);
}

} // namespace kv7im
