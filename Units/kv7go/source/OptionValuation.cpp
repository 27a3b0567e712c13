#include "OptionValuation.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "Constants.h"
#include "InterestRateRiskCalculator.h"
#include "OptionColumns.h"
#include "OptionValuationKernel.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"

namespace kv7im {

namespace {

template <class Calculator>
OptionVolatilities VolatilitiesOf(const OptionValuation<Calculator>& valuation, std::size_t scenarios, double mismatch)
{
    std::vector<points::ScenarioVolatility> all;
    all.reserve(scenarios + 2);
    for (std::size_t i = 0; i < scenarios; ++i)
        all.push_back(valuation.OfScenario(i, std::nullopt));
    all.push_back(valuation.OfScenario(scenarios - 1, 1.0 + mismatch));
    all.push_back(valuation.OfScenario(0, 1.0 - mismatch));
    return OptionVolatilities(std::move(all));
}

/// One option over the columns of a level, each cell by itself: the form that every other one is measured by.
template <class Calculator>
class ColumnByColumn
{
public:
    ColumnByColumn(const CSpecOption& option_, Enums::ClientRiskLevel level_,
                   const OptionValuation<Calculator>& valuation_, const OptionVolatilities& volatilities_)
        : option(option_),
          series(*option.VirtFutures),
          level(level_),
          valuation(valuation_),
          volatilities(volatilities_),
          rates(valuation.Rates())
    {}

    void Fill(OptionGrid& grid)
    {
        for (std::size_t column = 0; column < grid.GetColsRegister() * RiskItem::Lanes; ++column) {
            const std::size_t lane = column % RiskItem::Lanes;
            RiskItem* const values = grid.Values(column / RiskItem::Lanes);
            if (column < grid.ColsCount())
                FillColumn(column, lane, values, grid);
            else
                for (std::size_t row = 0; row <= grid.ScenariosCount(); ++row)
                    values[row][lane] = std::numeric_limits<double>::quiet_NaN();
        }
    }

private:
    void FillColumn(std::size_t column, std::size_t lane, RiskItem* values, OptionGrid& grid)
    {
        const std::size_t scenarios = grid.ScenariosCount();
        const points::MarketPoint at = rates.At(series.GetCorrectedFuturesPoint(column, level));
        for (std::size_t i = 0; i < scenarios; ++i)
            values[i][lane] = Value(volatilities.Scenario(i), at);
        values[scenarios][lane] = RateStress(column);

        // The new value stands second: it is taken where either one is NaN.
        const double up = Value(volatilities.MismatchUp(), at) - values[scenarios - 1][lane];
        const double down = Value(volatilities.MismatchDown(), at) - values[0][lane];
        grid.mismatchUp = Min(grid.mismatchUp, up);
        grid.mismatchDown = Max(grid.mismatchDown, down);
    }

    [[nodiscard]] double RateStress(std::size_t column) const
    {
        const double price = series.GetVolatilityMatrixCentralRow(level)[column];
        const double centre = series.Futures->CalcFutPrice;
        if (price > centre) return RateStress(column, InterestRateRow::Up);
        if (price < centre) return RateStress(column, InterestRateRow::Down);
        return 0.0;
    }

    /// What the option's calculator answers, the volatility worked out once: both sides have that of the down mismatch.
    [[nodiscard]] double RateStress(std::size_t column, InterestRateRow row) const
    {
        const InterestRateRiskCalculator& calculator = option.interestRateRiskCalculator;
        const auto value = [&](const PricingInputs& inputs) {
            const MarketRates stressed = valuation.Rates(inputs.r, inputs.r2, inputs.strikeFactor * option.Strike);
            return Value(volatilities.MismatchDown(), stressed.At(inputs.futuresPoint));
        };
        return value(calculator.Stressed(column, row, series, level)) -
               value(calculator.Unstressed(column, series, level));
    }

    [[nodiscard]] double Value(const points::ScenarioVolatility& volatility, const points::MarketPoint& at) const
    {
        return Calculator::TheoreticalPrice(valuation.Terms(), volatility, at);
    }

    const CSpecOption& option;
    const CSpecVirtFutures& series;
    Enums::ClientRiskLevel level;
    const OptionValuation<Calculator>& valuation;
    const OptionVolatilities& volatilities;
    MarketRates rates;
};

double ZeroIfNotANumber(double value) noexcept { return std::isnan(value) ? 0.0 : value; }

} // namespace

template <class Calculator>
OptionValuation<Calculator>::OptionValuation(const CSpecOption& option) noexcept
    : series(*option.VirtFutures),
      terms{.strike = option.Strike,
            .put = option.isPut(),
            .priceable = series.Futures->RealCalcPrice > 0.0 && option.Strike > 0.0,
            .useNullVolat = series.UseNullVolat,
            .minStep = series.MinStep,
            .sqrtTime = Max(series.SqrtT, Constants::MinimumSqrtTValue),
            .time = series.TimeToExpiration},
      smileAtStrike(
          Calculator::Sigma(series, Calculator::Moneyness(series, option.Strike, series.GetCorrectedFuturesPrice()))),
      smileAtTheMoney(Calculator::Sigma(series, Calculator::MoneynessAtTheMoney(series)))
{}

template <class Calculator>
points::ScenarioVolatility OptionValuation<Calculator>::OfScenario(std::size_t scenario,
                                                                   std::optional<double> mismatch) const noexcept
{
    const double s = smileAtStrike;
    const double a = smileAtTheMoney;
    const auto steps = static_cast<double>(series.Futures->BaseContract->VolatNum - 1);
    const double mult = (2.0 * static_cast<double>(scenario) / steps - 1.0) * series.VolatilityRisk + 1.0;
    const double shift = (mult * mult - 1.0) * a * a;
    const double extra = mismatch ? (*mismatch * *mismatch - 1.0) * (a * a + shift) : 0.0;
    // The variance stands second: one that is not a number stays so.
    const double variance = Max(Calculator::ImpliedVolatilityMaxBound(series), s * s + shift + extra);
    const double sigma = std::sqrt(variance);
    return {.width = sigma * terms.sqrtTime,
            .halfVariance = sigma * sigma * 0.5,
            .intrinsic = scenario == 0 && terms.useNullVolat};
}

template <class Calculator>
MarketRates OptionValuation<Calculator>::Rates(double r, double r2, double strike) const noexcept
{
    return {.carry = r - r2,
            .discount = std::exp(-r * terms.time),
            .discount2 = std::exp(-r2 * terms.time),
            .strike = strike};
}

template <class Calculator>
MarketRates OptionValuation<Calculator>::Rates() const noexcept
{
    return Rates(series.GetUsableR(), series.GetUsableR2(), series.MakeCorrectStrikeByType(terms.strike));
}

template <class Calculator>
void ValueColumns(const CSpecOption& option, const OptionValuation<Calculator>& valuation, Enums::ClientRiskLevel level,
                  OptionGrid& grid)
{
    if (grid.ColsCount() == 0 || grid.ScenariosCount() == 0) return;
    const CSpecVirtFutures& series = *option.VirtFutures;
    const OptionVolatilities volatilities =
        VolatilitiesOf(valuation, grid.ScenariosCount(), series.VolatilityRiskMismatch);

    const OptionColumns& columns = series.GetOptionColumns(level);
    if (columns.AreOf(option.interestRateRiskCalculator) &&
        ValueColumnsAtOnce<Calculator>(columns, valuation.Terms(), series.MakeCorrectStrikeByType(option.Strike),
                                       volatilities, grid))
        return;

    grid.mismatchUp = std::numeric_limits<double>::quiet_NaN();
    grid.mismatchDown = std::numeric_limits<double>::quiet_NaN();
    ColumnByColumn<Calculator>(option, level, valuation, volatilities).Fill(grid);
    grid.mismatchUp = ZeroIfNotANumber(grid.mismatchUp);
    grid.mismatchDown = ZeroIfNotANumber(grid.mismatchDown);
}

template class OptionValuation<points::BlackScholesCalculator>;
template class OptionValuation<points::BachelierCalculator>;
template class OptionValuation<points::BachelierCalculatorForCommodity>;
template void ValueColumns(const CSpecOption&, const OptionValuation<points::BlackScholesCalculator>&,
                           Enums::ClientRiskLevel, OptionGrid&);
template void ValueColumns(const CSpecOption&, const OptionValuation<points::BachelierCalculator>&,
                           Enums::ClientRiskLevel, OptionGrid&);
template void ValueColumns(const CSpecOption&, const OptionValuation<points::BachelierCalculatorForCommodity>&,
                           Enums::ClientRiskLevel, OptionGrid&);

} // namespace kv7im
