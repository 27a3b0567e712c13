// OptionColumns: what the options of one series share in their valuation over the price columns of one risk level.
//
// Only two inputs of a theoretical value differ between the options of a series: the strike and the volatility. The
// underlying's price at a column, its discounted form and the stressed inputs of the rate rows are worked out once, at
// the first valuation of any option, and read by all others.
//
// Columns:   blocks of four, in the order of the series' grid. Lanes past the last column hold NaN.
// Numbers:   prices after MakeDiscountPoint; rates are shares per year. Everything here has the bits that the formulas
//            give one cell at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Enums.h"
#include "grids/RiskItem.h"

namespace kv7im {

class CSpecVirtFutures;
class InterestRateRiskCalculator;

class OptionColumns
{
public:
    struct Block
    {
        RiskItem point;      // price of the underlying
        RiskItem discounted; // point discounted by the second rate
        // Inputs under the rate stress: rates up above the centre of the price axis, rates down below it.
        RiskItem stressedPoint;
        RiskItem stressedDiscounted;
        RiskItem stressedCarry;        // first rate less the second
        RiskItem stressedGrowth;       // exp(carry times time): forward over spot
        RiskItem stressedStrikeFactor; // corrected strike over strike, which is also the discount factor
        RiskItem rateCounts;           // all bits set but where the centre's price stands: no rate stress there
    };

    /// Throws std::bad_alloc.
    OptionColumns(const CSpecVirtFutures& series, Enums::ClientRiskLevel level);
    OptionColumns(const OptionColumns&) = delete;
    OptionColumns& operator=(const OptionColumns&) = delete;

    /// Identifies these columns: no two objects have one number; never 0.
    [[nodiscard]] std::uint64_t Number() const noexcept { return number; }
    [[nodiscard]] std::size_t ColsCount() const noexcept { return cols; }
    [[nodiscard]] std::size_t GetColsRegister() const noexcept { return blocks.size(); }
    [[nodiscard]] const Block& operator[](std::size_t block) const noexcept { return blocks[block]; }

    /// First rate less the second one, the same at every column.
    [[nodiscard]] double Carry() const noexcept { return carry; }
    /// exp(Carry() times time), the same at every column.
    [[nodiscard]] double Growth() const noexcept { return growth; }
    /// Discount factor of the first rate.
    [[nodiscard]] double Discount() const noexcept { return discount; }

    /// True when the unstressed side of the rate rows takes the inputs of the grid itself. Otherwise (a commodity,
    /// which takes its first rate twice) that side has a discounted price of its own and no carry.
    [[nodiscard]] bool UnstressedIsTheGrid() const noexcept { return unstressedDiscounted.empty(); }
    [[nodiscard]] RiskItem UnstressedDiscounted(std::size_t block) const noexcept
    {
        return unstressedDiscounted[block];
    }

    /// True when all numbers are ordinary: finite and far from the limits of a double. Only then can four columns be
    /// valued at once; other grids are valued cell by cell.
    [[nodiscard]] bool AreOrdinary() const noexcept { return ordinary; }
    /// True when the rate rows were made for this calculator.
    [[nodiscard]] bool AreOf(const InterestRateRiskCalculator& calculator) const noexcept
    {
        return &calculator == rateCalculator;
    }

private:
    struct Exponentials;

    void SetColumn(const CSpecVirtFutures& series, Enums::ClientRiskLevel level, std::size_t column, Exponentials& exp);
    void SetRateStress(const CSpecVirtFutures& series, Enums::ClientRiskLevel level, std::size_t column,
                       Exponentials& exp);
    [[nodiscard]] bool Ordinary() const noexcept;

    std::uint64_t number;
    std::size_t cols;
    double carry;
    double growth;
    double discount;
    bool ordinary = false;
    const InterestRateRiskCalculator* rateCalculator;
    std::vector<Block> blocks;
    std::vector<RiskItem> unstressedDiscounted; // empty unless the unstressed inputs differ from the grid's
};

} // namespace kv7im
