// Takers: what receives the changed cells of a series during the change, to collapse them or to bring them into the
// futures that holds the series.
//
// For each block of four columns a taker gets Begin, then every value, rate and mismatch cell before and after the
// change, then End.
#pragma once

#include <cstddef>

#include "grids/Profile.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "kernels/FuturesKernels.h"

namespace kv7im::kernels {

struct NoTaker
{
    void Begin(std::size_t) noexcept {}
    void TakeValue(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeRate(std::size_t, RiskItem, RiskItem) noexcept {}
    void TakeMismatch(std::size_t, RiskItem, RiskItem) noexcept {}
    void End(std::size_t) noexcept {}
};

struct Collapse
{
    explicit Collapse(RiskRow& target) noexcept : row(target) {}
    void Begin(std::size_t) noexcept { values = rates = mismatches = Worst{}; }
    void TakeValue(std::size_t, RiskItem, RiskItem now) noexcept { values.Take(now); }
    void TakeRate(std::size_t, RiskItem, RiskItem now) noexcept { rates.Take(now); }
    void TakeMismatch(std::size_t, RiskItem, RiskItem now) noexcept { mismatches.Take(now); }
    void End(std::size_t block) noexcept
    {
        row.pData()[block] = Collapsed(values.value, rates.value, mismatches.value);
    }

    RiskRow& row;
    Worst values;
    Worst rates;
    Worst mismatches;
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

// One side of a futures: the old cell of the series goes out, the new one comes in.
struct FuturesSide
{
    explicit FuturesSide(Profile& profile, bool isCollateral) noexcept : side(profile), collateral(isCollateral) {}
    void Begin(std::size_t block) noexcept
    {
        values = side.Volatility().pData() + block * side.Volatility().RowsCount();
        rates = side.InterestRate().pData() + block * StressRows;
        mismatches = side.VolatilityMismatch().pData() + block * StressRows;
    }
    void TakeValue(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        values[row] = Replaced(values[row], out, in);
    }
    void TakeRate(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        rates[row] = collateral ? Replaced(rates[row], Loss(out), Loss(in)) : Replaced(rates[row], out, in);
    }
    void TakeMismatch(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        mismatches[row] = Replaced(mismatches[row], Loss(out), Loss(in));
    }
    void End(std::size_t) noexcept {}

    Profile& side;
    bool collateral;
    RiskItem* values = nullptr;
    RiskItem* rates = nullptr;
    RiskItem* mismatches = nullptr;
};

struct BothSides
{
    BothSides(Profile& volatility, Profile& expiration, bool collateral) noexcept
        : first(volatility, collateral), second(expiration, collateral)
    {}
    void Begin(std::size_t block) noexcept
    {
        first.Begin(block);
        second.Begin(block);
    }
    void TakeValue(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeValue(row, out, in);
        second.TakeValue(row, out, in);
    }
    void TakeRate(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeRate(row, out, in);
        second.TakeRate(row, out, in);
    }
    void TakeMismatch(std::size_t row, RiskItem out, RiskItem in) noexcept
    {
        first.TakeMismatch(row, out, in);
        second.TakeMismatch(row, out, in);
    }
    void End(std::size_t) noexcept {}

    FuturesSide first;
    FuturesSide second;
};

} // namespace kv7im::kernels
