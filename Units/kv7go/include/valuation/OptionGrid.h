// OptionGrid: the theoretical values of one option at one risk level, as compact as they can be kept.
//
// A market has tens of thousands of options, so a grid keeps only what differs: the rate stress counts on one side of
// the centre of the price axis only, so both its rows fit into one, and the mismatch is one number per row.
//
// Storage:   one block of GridMemory: this object, and behind it the cells. They stand in blocks of four columns; in a
//            block `scenarios` RiskItems of theoretical values, scenario 0 first, then one RiskItem of rate stress.
// Columns:   those of the series: real price points, then sub-points. Lanes past the last column hold NaN.
// Numbers:   prices of the option, not money.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "grids/RiskItem.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

class alignas(RiskItem) OptionGrid
{
public:
    struct Return
    {
        void operator()(const OptionGrid* grid) const noexcept;
    };
    using Own = std::unique_ptr<OptionGrid, Return>;
    using OwnConst = std::unique_ptr<const OptionGrid, Return>;

    /// Cells undefined, the rest zero. Throws std::bad_alloc.
    [[nodiscard]] static Own Make(std::size_t columns, std::size_t scenarios);
    /// Throws std::bad_alloc.
    [[nodiscard]] static OwnConst CopyOf(const OptionGrid& other);

    OptionGrid(const OptionGrid&) = delete;
    OptionGrid& operator=(const OptionGrid&) = delete;

    [[nodiscard]] std::size_t ColsCount() const noexcept { return cols; }
    [[nodiscard]] std::size_t GetColsRegister() const noexcept { return RegistersOf(cols); }
    [[nodiscard]] std::size_t ScenariosCount() const noexcept { return rows; }

    /// Theoretical values of a block, one RiskItem a scenario.
    [[nodiscard]] RiskItem* Values(std::size_t block) noexcept { return Cells() + block * (rows + std::size_t{1}); }
    [[nodiscard]] const RiskItem* Values(std::size_t block) const noexcept
    {
        return const_cast<OptionGrid*>(this)->Values(block);
    }
    /// Change by the rate stress: of rates up where the price is above the centre, of rates down where it is below.
    [[nodiscard]] RiskItem& RateStress(std::size_t block) noexcept { return Values(block)[rows]; }
    [[nodiscard]] const RiskItem& RateStress(std::size_t block) const noexcept { return Values(block)[rows]; }

    /// Reads the finished cells once, for what the kernels need to know of them: see below.
    void KnowItsCells() noexcept;
    /// True when no theoretical value is below zero and each is a number; false before KnowItsCells.
    [[nodiscard]] bool HasNothingBelowZero() const noexcept { return nothingBelowZero; }
    /// True when each value, rate stress and mismatch is a number of a size below LargestModerate, so that no number of
    /// changes adds up to the largest double; false before KnowItsCells.
    [[nodiscard]] bool IsModerate() const noexcept { return moderate; }
    static constexpr double LargestModerate = 1e100;

    SpecialRiskPoints points; // the two charges are those of a short position
    double mismatchUp = 0.0;  // change by the mismatch of volatility, the same at every column
    double mismatchDown = 0.0;

private:
    OptionGrid(std::size_t columns, std::size_t scenarios) noexcept
        : cols(static_cast<std::uint32_t>(columns)), rows(static_cast<std::uint32_t>(scenarios))
    {}

    [[nodiscard]] RiskItem* Cells() noexcept { return reinterpret_cast<RiskItem*>(this + 1); }
    [[nodiscard]] static std::size_t BytesOf(std::size_t columns, std::size_t scenarios) noexcept
    {
        return sizeof(OptionGrid) + RegistersOf(columns) * (scenarios + 1) * sizeof(RiskItem);
    }

    std::uint32_t cols;
    std::uint32_t rows; // volatility scenarios
    bool nothingBelowZero = false;
    bool moderate = false;
};

} // namespace kv7im
