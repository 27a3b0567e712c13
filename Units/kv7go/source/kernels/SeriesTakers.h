// Takers: what receives the changed cells of a series during the change, to collapse them or to bring them into the
// futures that holds the series.
//
// For each block of four columns a taker gets Begin, then every rate, mismatch and value cell before and after the
// change, then End.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "kernels/GroupTakers.h"

namespace kv7im::kernels {

struct NoTaker
{
    void Begin(std::size_t) noexcept {}
    void TakeValue(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeRate(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeMismatch(std::size_t, RiskItem, RiskItem) noexcept {}
    void End(std::size_t) noexcept {}
};

// Collapses columns to their worst value, worst rate and worst mismatch, three RiskItems a block. Sub-points may be
// folded after the collapse instead of before, since that is a minimum of minima, as long as no cell is NaN; infinite
// cells count as suspect too.
struct CollapseColumns
{
    static constexpr std::size_t Rows = 3;

    CollapseColumns(RiskRow& target, std::size_t columnsCount) noexcept : scratch(target), columns(columnsCount) {}
    void Begin(std::size_t) noexcept
    {
        values = rates = mismatches = Worst{};
        sum = RiskItem(0.0);
    }
    void TakeValue(std::size_t, RiskItem, RiskItem now) noexcept { Take(values, now); }
    void TakeRate(std::size_t, RiskItem, RiskItem now) noexcept { Take(rates, now); }
    void TakeMismatch(std::size_t, RiskItem, RiskItem now) noexcept { Take(mismatches, now); }
    void End(std::size_t block) noexcept
    {
        RiskItem* const cells = scratch.pData() + block * Rows;
        cells[0] = values.value;
        cells[1] = rates.value;
        cells[2] = mismatches.value;
        const RiskItem nothing = Sub(sum, sum);
        for (std::size_t lane = 0; lane < RiskItem::Lanes; ++lane)
            if (block * RiskItem::Lanes + lane < columns) suspect |= nothing[lane] != 0.0;
    }

    RiskRow& scratch;
    std::size_t columns; // without the padding, which is NaN
    bool suspect = false;

private:
    void Take(Worst& worst, RiskItem now) noexcept
    {
        worst.Take(now);
        sum = Add(sum, now);
    }

    Worst values;
    Worst rates;
    Worst mismatches;
    RiskItem sum{0.0};
};

/// What a rate cell of a series is in its futures; collateral: of the rate stress only losses count.
[[nodiscard]] inline RiskItem RateOfSeries(RiskItem cell, bool collateral) noexcept
{
    return collateral ? Loss(cell) : cell;
}

// One side of a futures in spread with the series: the old cell of the series goes out, the new one comes in, and the
// change of the futures goes on to the next taker.
template <class Next>
struct IntoFutures
{
    IntoFutures(NodeCells& cells, bool isCollateral, const Next& taker) noexcept
        : side(cells), collateral(isCollateral), next(taker)
    {}
    void Begin(std::size_t block) noexcept
    {
        at = side.FullAt(block);
        next.Begin(block);
    }
    void TakeRate(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        const RiskItem old = at.rates[row];
        at.rates[row] = Replaced(old, RateOfSeries(out, collateral), RateOfSeries(in, collateral));
        next.TakeRate(row, old, at.rates[row]);
    }
    void TakeMismatch(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        const RiskItem old = at.mismatches[row];
        at.mismatches[row] = Replaced(old, Loss(out), Loss(in));
        next.TakeMismatch(row, old, at.mismatches[row]);
    }
    void TakeValue(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        const RiskItem old = at.values[row];
        at.values[row] = Replaced(old, out, in);
        next.TakeValue(row, old, at.values[row]);
    }
    void End(std::size_t block) noexcept { next.End(block); }

    NodeCells& side;
    bool collateral; // of the rate stress only losses count
    Next next;
    NodeCells::FullBlock at{};
};

// A futures that borrows the cells of the series: what it would hold of them before and after goes on.
template <class Next>
struct AsFutures
{
    AsFutures(bool isCollateral, const Next& taker) noexcept : collateral(isCollateral), next(taker) {}
    void Begin(std::size_t block) noexcept { next.Begin(block); }
    void TakeRate(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        next.TakeRate(row, RateOfSeries(old, collateral), RateOfSeries(now, collateral));
    }
    void TakeMismatch(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        next.TakeMismatch(row, Loss(old), Loss(now));
    }
    void TakeValue(std::size_t row, RiskItem old, RiskItem now) noexcept { next.TakeValue(row, old, now); }
    void End(std::size_t block) noexcept { next.End(block); }

    bool collateral; // of the rate stress only losses count
    Next next;
};

// Before a futures that takes only the losses of the series: passes them on in place of the cells, the stresses folded
// into the values.
template <class Next>
struct ByLosses
{
    ByLosses(const Ceilings& ceilings, std::size_t medianOfScenarios, const Next& taker) noexcept
        : out(ceilings.out), in(ceilings.in), median(medianOfScenarios), next(taker)
    {}
    void Begin(std::size_t block) noexcept
    {
        out.Begin();
        in.Begin();
        next.Begin(block);
    }
    void TakeRate(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        next.TakeRate(row, out.OfRate(old), in.OfRate(now));
    }
    void TakeMismatch(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        next.TakeMismatch(row, out.OfMismatch(old), in.OfMismatch(now));
    }
    void TakeValue(std::size_t row, RiskItem old, RiskItem now) noexcept
    {
        const bool takesMismatch = row != median; // the central scenario takes none
        next.TakeValue(row, out.OfValue(old, takesMismatch), in.OfValue(now, takesMismatch));
    }
    void End(std::size_t block) noexcept { next.End(block); }

    Contribution<Gives::Losses> out;
    Contribution<Gives::Losses> in;
    std::size_t median;
    Next next;
};

} // namespace kv7im::kernels
