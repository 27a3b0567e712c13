// OptionValuation: one option made ready to be valued under one pricing model.
//
// The smile at the strike and at the money, the root of time and the discount factors do not depend on the cell, nor
// does the volatility of a scenario; they are worked out once here, in the order of operations that a single valuation
// has, so that every value is the same to the last bit.
#pragma once

#include <cstddef>
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

/// Rates and strike of a valuation, everything but the price of the underlying.
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
    /// Volatility of a scenario. Scenarios run evenly from the lowest volatility to the highest; mismatch multiplies
    /// the volatility once more.
    [[nodiscard]] points::ScenarioVolatility OfScenario(std::size_t scenario,
                                                        std::optional<double> mismatch) const noexcept;
    /// Rates of a valuation. r and r2 are rates per year; strike is the one after MakeCorrectStrikeByType.
    [[nodiscard]] MarketRates Rates(double r, double r2, double strike) const noexcept;
    /// Rates of the series and the corrected strike of the option, without stress.
    [[nodiscard]] MarketRates Rates() const noexcept;

private:
    const CSpecVirtFutures& series;
    points::OptionTerms terms;
    double smileAtStrike;
    double smileAtTheMoney;
};

/// One option over its grids; everything that does not depend on the level is computed at construction.
template <class Calculator>
class GridValuation
{
public:
    explicit GridValuation(const CSpecOption& option_);

    /// The grid of a level, special points included.
    [[nodiscard]] OptionGrid::OwnConst ValueLevel(Enums::ClientRiskLevel level) const;

private:
    /// Fills values, rate stress and mismatch of a grid.
    void ValueColumns(Enums::ClientRiskLevel level, OptionGrid& grid) const;
    /// Fills values, rate stress and mismatch of a grid one cell at a time. Every other form is measured by this
    /// one.
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
    MarketRates rates; // without stress
};

} // namespace kv7im
