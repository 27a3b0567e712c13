// The kernels of a change in a futures: each goes once over the cells of its node, a block of four price points at a
// time, and hands every cell to a taker (GroupTakers.h). They give the bits of the sequence of matrix operations that
// they stand for; the plain sequence stands in the tests.
//
// Change: what happens to the cells: a position moves from one state to another (FuturesPositionChange) or orders come
//         in (OrderKernels.h). A change has Value(block), Rate(block, row) and FlatRate(block): objects whose Of(cell)
//         is the new cell. The mismatch, which only series contribute to, stays, since that of a futures is 0.
#pragma once

#include <cstddef>

#include "grids/NodeCells.h"
#include "grids/Profile.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecFutures.h"
#include "kernels/CellArithmetic.h"
#include "kernels/GroupTakers.h"

namespace kv7im {

namespace kernels {

/// Grid of a futures block by block. One scenario is read, since all volatility scenarios of a futures are alike.
class BlocksOfPrices
{
public:
    explicit BlocksOfPrices(const Profile& profile) noexcept
        : m_prices(profile.Volatility().pData()),
          m_stress(profile.InterestRate().pData()),
          m_scenarios(profile.Volatility().RowsCount())
    {}
    [[nodiscard]] RiskItem Price(std::size_t block) const noexcept { return m_prices[block * m_scenarios]; }
    [[nodiscard]] RiskItem Stress(std::size_t block, std::size_t row) const noexcept
    {
        return m_stress[block * StressRows + row];
    }
    /// Both rate rows in one: one of them is 0 at each column.
    [[nodiscard]] RiskItem FlatStress(std::size_t block) const noexcept
    {
        return Add(Stress(block, 0), Stress(block, 1));
    }

private:
    const RiskItem* m_prices;
    const RiskItem* m_stress;
    std::size_t m_scenarios;
};

/// Moves a position in a futures from one state to another: cell = (cell - risk(before)) + risk(after).
class FuturesPositionChange
{
public:
    /// collateral: of the rate stress only losses count.
    FuturesPositionChange(const PositionTransform& before, const PositionTransform& after, bool collateral) noexcept
        : m_grid(*after.profile), m_out(before), m_in(after), m_collateral(collateral)
    {}
    [[nodiscard]] Replacement Value(std::size_t block) const noexcept
    {
        const RiskItem price = m_grid.Price(block);
        return {m_out.OfPrice(price), m_in.OfPrice(price)};
    }
    [[nodiscard]] Replacement Rate(std::size_t block, std::size_t row) const noexcept
    {
        return OfStress(m_grid.Stress(block, row));
    }
    [[nodiscard]] Replacement FlatRate(std::size_t block) const noexcept { return OfStress(m_grid.FlatStress(block)); }

private:
    // A position spread over the lanes. Its side is the sign of the scale: a product with -1 is exact.
    struct State
    {
        explicit State(const PositionTransform& transform) noexcept
            : price(transform.price), scale(transform.negate ? -transform.scale : transform.scale)
        {}
        [[nodiscard]] RiskItem OfPrice(RiskItem cell) const noexcept { return Mul(Sub(cell, price), scale); }
        [[nodiscard]] RiskItem OfStress(RiskItem cell) const noexcept { return Mul(cell, scale); }

        RiskItem price;
        RiskItem scale;
    };
    [[nodiscard]] Replacement OfStress(RiskItem stress) const noexcept
    {
        const Replacement signedCells{m_out.OfStress(stress), m_in.OfStress(stress)};
        return m_collateral ? Replacement{Loss(signedCells.out), Loss(signedCells.in)} : signedCells;
    }

    BlocksOfPrices m_grid;
    State m_out;
    State m_in;
    bool m_collateral;
};

template <class Change, class Taker>
void ChangeFlatCells(NodeCells& node, const Change change, Taker taker, Blocks blocks) noexcept
{
    NodeCells::FlatBlock* const cells = &node.FlatAt(0);
    for (std::size_t block = blocks.first; block < blocks.last; ++block) {
        const NodeCells::FlatBlock old = cells[block];
        const NodeCells::FlatBlock now{change.Value(block).Of(old.value), change.FlatRate(block).Of(old.rate)};
        cells[block] = now;
        taker.Take(block, old, now);
    }
}

template <class Change, class Taker>
void ChangeFullCells(NodeCells& node, const Change change, Taker taker, Blocks blocks) noexcept
{
    const std::size_t scenarios = node.Scenarios();
    for (std::size_t block = blocks.first; block < blocks.last; ++block) {
        const NodeCells::FullBlock cells = node.FullAt(block);
        taker.Begin(block);
        for (std::size_t row = 0; row < StressRows; ++row) {
            const RiskItem old = cells.rates[row];
            cells.rates[row] = change.Rate(block, row).Of(old);
            taker.TakeRate(row, old, cells.rates[row]);
            taker.TakeMismatch(row, cells.mismatches[row], cells.mismatches[row]);
        }
        const auto changeOfValue = change.Value(block);
        for (std::size_t row = 0; row < scenarios; ++row) {
            const RiskItem old = cells.values[row];
            cells.values[row] = changeOfValue.Of(old);
            taker.TakeValue(row, old, cells.values[row]);
        }
        taker.End(block);
    }
}

/// Shows the cells of a node to a taker, before and after nothing.
template <class Taker>
void ShowFlatCells(const NodeCells& node, Taker taker) noexcept
{
    for (std::size_t block = 0; block < node.Blocks(); ++block)
        taker.Take(block, node.FlatAt(block), node.FlatAt(block));
}

template <class Taker>
void ShowFullCells(const NodeCells& node, Taker taker) noexcept
{
    for (std::size_t block = 0; block < node.Blocks(); ++block) {
        const NodeCells::ConstFullBlock cells = node.FullAt(block);
        taker.Begin(block);
        for (std::size_t row = 0; row < StressRows; ++row) {
            taker.TakeRate(row, cells.rates[row], cells.rates[row]);
            taker.TakeMismatch(row, cells.mismatches[row], cells.mismatches[row]);
        }
        for (std::size_t row = 0; row < node.Scenarios(); ++row)
            taker.TakeValue(row, cells.values[row], cells.values[row]);
        taker.End(block);
    }
}

/// Collapses a node into a row.
inline void CollapseCells(const NodeCells& node, RiskRow& row) noexcept
{
    if (node.IsFlat())
        ShowFlatCells(node, CollapseFlat(row));
    else
        ShowFullCells(node, Collapse(row));
}

} // namespace kernels

/// second = min(first, second) at each point.
void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept;

} // namespace kv7im
