// OptionValuation: one option made ready to be valued under one pricing model.
//
// The smile at the strike and at the money, the root of time and the discount factors do not depend on the cell, nor
// does the volatility of a scenario; they are worked out once here, in the order of operations that a single valuation
// has, so that every value is the same to the last bit.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "Enums.h"
#include "grids/Profile.h"
#include "grids/SpecialRiskPoints.h"
#include "valuation/OptionCalculators.h"
#include "valuation/OptionGrid.h"
#include "valuation/OptionValuationKernel.h"

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

/// One option over its grids: what they share, whatever their level, is worked out at construction.
template <class Calculator>
class GridValuation
{
public:
    explicit GridValuation(const CSpecOption& option_);

    /// The grid of a level, special points included.
    [[nodiscard]] std::unique_ptr<const OptionGrid> ValueLevel(Enums::ClientRiskLevel level) const;

private:
    /// Cells, rate stress and mismatch.
    void ValueColumns(Enums::ClientRiskLevel level, OptionGrid& grid) const;
    /// The same, each cell by itself: the form that every other one is measured by.
    void ValueColumnByColumn(Enums::ClientRiskLevel level, OptionGrid& grid) const;
    void ValueColumn(Enums::ClientRiskLevel level, std::size_t column, OptionGrid& grid) const;
    [[nodiscard]] double RateStress(Enums::ClientRiskLevel level, std::size_t column) const;
    [[nodiscard]] double RateStress(Enums::ClientRiskLevel level, std::size_t column, InterestRateRow row) const;
    void ValueSpecialPoints(Enums::ClientRiskLevel level, SpecialRiskPoints& special) const;
    [[nodiscard]] double Value(const points::ScenarioVolatility& volatility, const points::MarketPoint& at) const
    {
        return Calculator::TheoreticalPrice(valuation.Terms(), volatility, at);
    }

    const CSpecOption& option;
    const CSpecVirtFutures& series;
    OptionValuation<Calculator> valuation;
    OptionVolatilities volatilities;
    MarketRates rates; // as they stand
};

} // namespace kv7im
