#include "valuation/OptionValuation.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "grids/Constants.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "valuation/InterestRateRiskCalculator.h"
#include "valuation/OptionColumns.h"
#include "valuation/OptionValuationKernel.h"

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

/// The scenario of the unshifted volatility.
constexpr std::size_t CentralScenario(std::size_t scenarios) noexcept
{
    return scenarios % 2 == 0 ? scenarios / 2 - 1 : scenarios / 2;
}

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
GridValuation<Calculator>::GridValuation(const CSpecOption& option_)
    : option(option_),
      series(*option.VirtFutures),
      valuation(option),
      volatilities(VolatilitiesOf(valuation, option.GetCountOfVolatilityScenarios(), series.VolatilityRiskMismatch)),
      rates(valuation.Rates())
{}

template <class Calculator>
OptionGrid::OwnConst GridValuation<Calculator>::ValueLevel(Enums::ClientRiskLevel level) const
{
    const Parameters parameters = option.GetParameters(level);
    OptionGrid::Own grid = OptionGrid::Make(parameters.length(), parameters.scenariosVolatilityCount);
    ValueColumns(level, *grid);
    ValueSpecialPoints(level, grid->points);
    grid->KnowItsCells();
    return grid;
}

template <class Calculator>
void GridValuation<Calculator>::ValueColumns(Enums::ClientRiskLevel level, OptionGrid& grid) const
{
    if (grid.ColsCount() == 0 || grid.ScenariosCount() == 0) return;
    const OptionColumns& columns = series.GetOptionColumns(level);
    if (columns.AreOf(option.interestRateRiskCalculator) &&
        ValueColumnsAtOnce<Calculator>(columns, valuation.Terms(), rates.strike, volatilities, grid))
        return;
    ValueColumnByColumn(level, grid);
}

template <class Calculator>
void GridValuation<Calculator>::ValueColumnByColumn(Enums::ClientRiskLevel level, OptionGrid& grid) const
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    grid.mismatchUp = nan;
    grid.mismatchDown = nan;
    for (std::size_t column = 0; column < grid.ColsCount(); ++column)
        ValueColumn(level, column, grid);
    grid.mismatchUp = ZeroIfNotANumber(grid.mismatchUp);
    grid.mismatchDown = ZeroIfNotANumber(grid.mismatchDown);

    for (std::size_t column = grid.ColsCount(); column < grid.GetColsRegister() * RiskItem::Lanes; ++column)
        for (std::size_t row = 0; row <= grid.ScenariosCount(); ++row)
            grid.Values(column / RiskItem::Lanes)[row][column % RiskItem::Lanes] = nan;
}

template <class Calculator>
void GridValuation<Calculator>::ValueColumn(Enums::ClientRiskLevel level, std::size_t column, OptionGrid& grid) const
{
    RiskItem* const values = grid.Values(column / RiskItem::Lanes);
    const std::size_t lane = column % RiskItem::Lanes;
    const std::size_t last = grid.ScenariosCount() - 1;
    const points::MarketPoint at = rates.At(series.GetCorrectedFuturesPoint(column, level));
    for (std::size_t i = 0; i <= last; ++i)
        values[i][lane] = Value(volatilities.Scenario(i), at);
    grid.RateStress(column / RiskItem::Lanes)[lane] = RateStress(level, column);

    // The new value stands second: it is taken where either one is NaN.
    grid.mismatchUp = Min(grid.mismatchUp, Value(volatilities.MismatchUp(), at) - values[last][lane]);
    grid.mismatchDown = Max(grid.mismatchDown, Value(volatilities.MismatchDown(), at) - values[0][lane]);
}

template <class Calculator>
double GridValuation<Calculator>::RateStress(Enums::ClientRiskLevel level, std::size_t column) const
{
    const double price = series.GetVolatilityMatrixCentralRow(level)[column];
    const double centre = series.Futures->CalcFutPrice;
    if (price > centre) return RateStress(level, column, InterestRateRow::Up);
    if (price < centre) return RateStress(level, column, InterestRateRow::Down);
    return 0.0;
}

/// The rate stress as the option's calculator computes it, with the volatility worked out once: stressed and unstressed
/// value take that of the down mismatch.
template <class Calculator>
double GridValuation<Calculator>::RateStress(Enums::ClientRiskLevel level, std::size_t column,
                                             InterestRateRow row) const
{
    const InterestRateRiskCalculator& calculator = option.interestRateRiskCalculator;
    const auto value = [&](const PricingInputs& inputs) {
        const MarketRates inputRates = valuation.Rates(inputs.r, inputs.r2, inputs.strikeFactor * option.Strike);
        return Value(volatilities.MismatchDown(), inputRates.At(inputs.futuresPoint));
    };
    return value(calculator.Stressed(column, row, series, level)) - value(calculator.Unstressed(column, series, level));
}

template <class Calculator>
void GridValuation<Calculator>::ValueSpecialPoints(Enums::ClientRiskLevel level, SpecialRiskPoints& special) const
{
    const points::ScenarioVolatility unshifted =
        valuation.OfScenario(CentralScenario(option.GetCountOfVolatilityScenarios()), std::nullopt);
    const auto valueAt = [&](double price) { return Value(unshifted, rates.At(series.MakeDiscountPoint(price))); };
    const SpecialRiskPoints& prices = series.Futures->GetPoints(level);
    for (const stress::Point& row : stress::Points)
        if (row.IsPrice()) special[row.point] = valueAt(prices[row.point]);
    static_assert(stress::CountOf(stress::Kind::Charge) == 2, "each charge is set");
    special.SetDownRisk(option.isPut() ? option.GetShortSellingValueDown(level) : 0.0);
    special.SetUpRisk(option.isPut() ? 0.0 : option.GetShortSellingValueUp(level));
}

static_assert(Enums::OptionModels.size() == 2, "each calculator is instantiated");
template class OptionValuation<points::BlackScholesCalculator>;
template class OptionValuation<points::BachelierCalculator>;
template class OptionValuation<points::BachelierCalculatorForCommodity>;
template class GridValuation<points::BlackScholesCalculator>;
template class GridValuation<points::BachelierCalculator>;
template class GridValuation<points::BachelierCalculatorForCommodity>;

} // namespace kv7im
