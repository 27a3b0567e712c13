#include "valuation/OptionCalculators.h"

#include "grids/Constants.h"
#include "grids/RiskItem.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im::points {

namespace {

double SqrtTime(const CSpecVirtFutures& series) noexcept { return Max(series.SqrtT, Constants::MinimumSqrtTValue); }

/// Coefficients of a smile, and the unit that its level is quoted in.
struct Smile
{
    double level;
    double wingHeight;
    double wingDecay;
    double skewHeight;
    double skewSteepness;
    double unit;
};

double VolatilityOn(const Smile& smile, double m) noexcept
{
    const auto& [a, b, c, d, e, unit] = smile;
    if (c > 0.0) return ((1.0 - std::exp(-c * m * m)) * b + a + std::atan(m * e) * d / e) * unit;
    return (std::atan(m * e) * d / e + a) * unit; // wings that do not decay are no wings
}

} // namespace

double BlackScholesCalculator::Moneyness(const CSpecVirtFutures& series, double strike, double price) noexcept
{
    const double sq = SqrtTime(series);
    return std::log(strike / price) / sq - series.S / sq;
}

double BlackScholesCalculator::MoneynessAtTheMoney(const CSpecVirtFutures& series) noexcept
{
    return 0.0 - series.S / SqrtTime(series);
}

double BlackScholesCalculator::Sigma(const CSpecVirtFutures& series, double moneyness) noexcept
{
    return VolatilityOn({series.A, series.B, series.C, series.D, series.E, 0.01}, moneyness);
}

double BlackScholesCalculator::ImpliedVolatilityMaxBound(const CSpecVirtFutures&) noexcept { return 0.0001; }

double BlackScholesCalculator::TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                                const MarketPoint& at) noexcept
{
    if (volatility.intrinsic || !terms.priceable || at.futuresPoint < terms.minStep)
        return IntrinsicValue(at.discounted, at.strike, terms.put);
    const double d1 = D1(terms, volatility, at);
    const double d2 = D2(d1, volatility);
    const double call = at.discounted * NormalDistribution(d1) - at.strike * NormalDistribution(d2);
    return terms.put ? call + at.strike - at.discounted : call;
}

double BachelierCalculator::Moneyness(const CSpecVirtFutures& series, double strike, double price) noexcept
{
    const double sq = SqrtTime(series);
    return (strike - price) / (series.M_Bach * sq) - series.S_Bach / sq;
}

double BachelierCalculator::MoneynessAtTheMoney(const CSpecVirtFutures& series) noexcept
{
    return 0.0 - series.S_Bach / SqrtTime(series);
}

double BachelierCalculator::Sigma(const CSpecVirtFutures& series, double moneyness) noexcept
{
    return VolatilityOn({series.A_Bach, series.B_Bach, series.C_Bach, series.D_Bach, series.E_Bach, series.M_Bach},
                        moneyness);
}

double BachelierCalculator::ImpliedVolatilityMaxBound(const CSpecVirtFutures& series) noexcept
{
    return series.MinStep * series.MinStep;
}

double BachelierCalculator::TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                             const MarketPoint& at) noexcept
{
    if (volatility.intrinsic) return IntrinsicValue(at.futuresPoint, terms.strike, terms.put);
    const double d = (at.futuresPoint - terms.strike) / volatility.width;
    const double density = NormalDensity(d);
    const double call = density * volatility.width + (at.futuresPoint - terms.strike) * NormalDistribution(d, density);
    return terms.put ? call + terms.strike - at.futuresPoint : call;
}

double BachelierCalculatorForCommodity::TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                                         const MarketPoint& at) noexcept
{
    if (volatility.intrinsic) return IntrinsicValue(at.discounted, at.strike, terms.put);
    const double d = (at.futuresPoint - terms.strike) / volatility.width;
    const double density = NormalDensity(d);
    const double call =
        (density * volatility.width + (at.futuresPoint - terms.strike) * NormalDistribution(d, density)) * at.discount;
    return terms.put ? call + at.strike - at.discounted : call;
}

} // namespace kv7im::points
