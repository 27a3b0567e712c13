// OptionGrid: the theoretical values of one option at one risk level, as compact as they can be kept.
//
// A market has tens of thousands of options, so a grid keeps only what differs: the rate stress counts on one side of
// the centre of the price axis only, so both its rows fit into one, and the mismatch is one number per row.
//
// Storage:   blocks of four columns; in a block `scenarios` RiskItems of theoretical values, scenario 0 first, then one
//            RiskItem of rate stress. A block is contiguous.
// Columns:   those of the series: real price points, then sub-points. Lanes past the last column hold NaN.
// Numbers:   prices of the option, not money.
#pragma once

#include <cstddef>
#include <limits>
#include <memory>

#include "grids/RiskItem.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

class OptionGrid
{
public:
    /// Cells undefined, the rest zero. Throws std::bad_alloc.
    OptionGrid(std::size_t columns, std::size_t scenarios);
    OptionGrid(const OptionGrid& other);
    OptionGrid& operator=(const OptionGrid&) = delete;

    [[nodiscard]] std::size_t ColsCount() const noexcept { return cols; }
    [[nodiscard]] std::size_t GetColsRegister() const noexcept { return RegistersOf(cols); }
    [[nodiscard]] std::size_t ScenariosCount() const noexcept { return rows; }

    /// Theoretical values of a block, one RiskItem a scenario.
    [[nodiscard]] RiskItem* Values(std::size_t block) noexcept { return cells + block * (rows + 1); }
    [[nodiscard]] const RiskItem* Values(std::size_t block) const noexcept { return cells + block * (rows + 1); }
    /// Change by the rate stress: of rates up where the price is above the centre, of rates down where it is below.
    [[nodiscard]] RiskItem& RateStress(std::size_t block) noexcept { return Values(block)[rows]; }
    [[nodiscard]] const RiskItem& RateStress(std::size_t block) const noexcept { return Values(block)[rows]; }

    /// Reads the finished cells once, for what the kernels need to know of them: see Least and Largest.
    void KnowItsRange() noexcept;
    /// The least theoretical value; minus infinity where a value is no number.
    [[nodiscard]] double Least() const noexcept { return least; }
    /// What no value, rate stress or mismatch exceeds in size; infinity where one of them is no number.
    [[nodiscard]] double Largest() const noexcept { return largest; }

    double mismatchUp = 0.0; // change by the mismatch of volatility, the same at every column
    double mismatchDown = 0.0;
    SpecialRiskPoints points; // the two charges are those of a short position

private:
    std::size_t cols;
    std::size_t rows; // volatility scenarios
    double least = -std::numeric_limits<double>::infinity();
    double largest = std::numeric_limits<double>::infinity();
    // One lane of slack is cheaper than an aligned allocation, which would leave a hole behind every grid.
    std::unique_ptr<std::byte[]> storage;
    RiskItem* cells; // in the storage
};

} // namespace kv7im
