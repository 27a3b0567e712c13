// What the kernels do with four cells at a time.
#pragma once

#include "grids/NodeCells.h"
#include "grids/RiskItem.h"

namespace kv7im::kernels {

inline constexpr std::size_t StressRows = NodeCells::StressRows; // up and down, of rates and of mismatch

/// Losses only, a NaN counting as none: zero stands second.
[[nodiscard]] inline RiskItem Loss(RiskItem cell) noexcept { return Min(cell, RiskItem(0.0)); }

[[nodiscard]] inline RiskItem Replaced(RiskItem cell, RiskItem out, RiskItem in) noexcept
{
    return Add(Sub(cell, out), in);
}

/// Running worst of the rows of a block, NaN counting as 0.
struct Worst
{
    RiskItem value{LargestFinite};
    void Take(RiskItem cell) noexcept { value = Min(ZeroIfNaN(cell), value); }
};

/// Running worst of rows that are known to hold numbers only.
struct WorstOfNumbers
{
    RiskItem value{LargestFinite};
    void Take(RiskItem cell) noexcept { value = Min(cell, value); }
};

/// A collapsed price point: worst value + worst rate stress + worst mismatch, each alone.
[[nodiscard]] inline RiskItem Collapsed(RiskItem value, RiskItem rate, RiskItem mismatch) noexcept
{
    return Min(Add(Add(value, rate), mismatch), RiskItem(LargestFinite));
}

/// A flat block collapsed: its scenarios are alike, the other rate row is 0, and so is the mismatch.
[[nodiscard]] inline RiskItem Collapsed(const NodeCells::FlatBlock& block) noexcept
{
    const RiskItem nothing(0.0);
    return Collapsed(Min(ZeroIfNaN(block.value), RiskItem(LargestFinite)), Min(ZeroIfNaN(block.rate), nothing),
                     nothing);
}

/// Blocks that a change is made in: from first to before last.
struct Blocks
{
    std::size_t first;
    std::size_t last;
};

// cell = (cell - out) + in
struct Replacement
{
    [[nodiscard]] RiskItem Of(RiskItem cell) const noexcept { return Replaced(cell, out, in); }

    RiskItem out;
    RiskItem in;
};

// cell = cell + in
struct Addition
{
    [[nodiscard]] RiskItem Of(RiskItem cell) const noexcept { return Add(cell, in); }

    RiskItem in;
};

} // namespace kv7im::kernels
