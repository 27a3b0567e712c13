// OptionValuation: one option made ready to be valued under one pricing model.
//
// The smile at the strike and at the money, the root of time and the discount factors do not depend on the cell, nor
// does the volatility of a scenario; they are worked out once here, in the order of operations that a single valuation
// has, so that every value is the same to the last bit.
#pragma once

#include <cstddef>
#include <optional>

#include "Enums.h"
#include "OptionCalculators.h"
#include "OptionGrid.h"

namespace kv7im {

class CSpecOption;
class CSpecVirtFutures;

/// Where an option is valued, but for the price of the underlying.
struct MarketRates
{
    double carry;     // r - r2
    double discount;  // exp(-r time)
    double discount2; // exp(-r2 time)
    double strike;    // corrected

    /// futuresPoint is the price after MakeDiscountPoint.
    [[nodiscard]] points::MarketPoint At(double futuresPoint) const noexcept
    {
        return {.futuresPoint = futuresPoint,
                .discounted = futuresPoint * discount2,
                .carry = carry,
                .strike = strike,
                .discount = discount};
    }
};

template <class Calculator>
class OptionValuation
{
public:
    explicit OptionValuation(const CSpecOption& option) noexcept;

    [[nodiscard]] const points::OptionTerms& Terms() const noexcept { return terms; }
    /// Scenarios run evenly from the lowest volatility to the highest; mismatch multiplies the volatility once more.
    [[nodiscard]] points::ScenarioVolatility OfScenario(std::size_t scenario,
                                                        std::optional<double> mismatch) const noexcept;
    /// r and r2 are rates per year; strike is the one after MakeCorrectStrikeByType.
    [[nodiscard]] MarketRates Rates(double r, double r2, double strike) const noexcept;
    /// The rates as they stand.
    [[nodiscard]] MarketRates Rates() const noexcept;

private:
    const CSpecVirtFutures& series;
    points::OptionTerms terms;
    double smileAtStrike;
    double smileAtTheMoney;
};

/// Fills cells, rate stress and mismatch of the grid of an option at a level; the special points stay.
template <class Calculator>
void ValueColumns(const CSpecOption& option, const OptionValuation<Calculator>& valuation, Enums::ClientRiskLevel level,
                  OptionGrid& grid);

} // namespace kv7im
