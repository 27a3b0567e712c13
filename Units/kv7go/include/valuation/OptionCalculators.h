// The pricing models of options: volatility smile and theoretical value, one calculator a model.
//
// Always true:  stateless; nothing is allocated and nothing thrown.
//               the order of every operation is part of the figures: two machines agree on a margin to the last bit.
// Numbers:      prices are in the price units of the option, rates are shares per year, times are years. A volatility
//               is a share of the price for Black and Scholes and in price units for Bachelier, per root of a year.
// Sources:      F. Black and M. Scholes (1973), R. Merton (1973), L. Bachelier (1900); the normal distribution is
//               approximated by 26.2.17 of M. Abramowitz and I. Stegun, Handbook of Mathematical Functions (1964), with
//               the constants that the exchange rounds to seven digits.
#pragma once

#include <cmath>

#include "Enums.h"

namespace kv7im {

class CSpecVirtFutures;

namespace points {

/// Constants of the normal distribution, in the order in which the polynomial takes them.
namespace normal {

inline constexpr double Cutoff = 10.0; // beyond it the distribution is 0 or 1
inline constexpr double Slope = 0.2316419;
inline constexpr double Density = 0.3989423; // 1 / sqrt(2 pi)
inline constexpr double K5 = 1.330274;
inline constexpr double K4 = 1.821256;
inline constexpr double K3 = 1.781478;
inline constexpr double K2 = 0.3565638;
inline constexpr double K1 = 0.3193815;

} // namespace normal

/// Density of the standard normal distribution.
[[nodiscard]] inline double NormalDensity(double d) noexcept { return std::exp(-d * d * 0.5) * normal::Density; }

/// Standard normal distribution at d, within 2.1e-7, where `density` is NormalDensity(d). NaN for NaN. The two sides do
/// not meet at 0: a step of 3.0e-7 is left there.
[[nodiscard]] inline double NormalDistribution(double d, double density) noexcept
{
    using namespace normal;
    if (d > Cutoff) return 1.0;
    if (d < -Cutoff) return 0.0;
    const double t = 1.0 / (std::abs(d) * Slope + 1.0);
    const double q = ((((t * K5 - K4) * t + K3) * t - K2) * t + K1) * (density * t);
    return d > 0.0 ? 1.0 - q : q;
}
[[nodiscard]] inline double NormalDistribution(double d) noexcept { return NormalDistribution(d, NormalDensity(d)); }

/// What a theoretical value takes from the contract; it does not depend on scenario and price.
struct OptionTerms
{
    double strike; // as listed
    bool put;
    bool priceable;    // settlement price of the futures and strike are above 0; Black and Scholes asks for it
    bool useNullVolat; // the lowest volatility scenario is no volatility at all
    double minStep;
    double sqrtTime; // root of the time to expiration, at least Constants::MinimumSqrtTValue
    double time;     // to expiration, as given
};

/// The volatility of one scenario, and the values that follow from it alone.
struct ScenarioVolatility
{
    double width;        // volatility times root of time
    double halfVariance; // of a year
    bool intrinsic;      // no volatility: the option is worth what its exercise would bring

    [[nodiscard]] friend bool operator==(const ScenarioVolatility&, const ScenarioVolatility&) = default;
};

/// Market point at which an option is valued.
struct MarketPoint
{
    double futuresPoint; // price of the underlying, after MakeDiscountPoint
    double discounted;   // futuresPoint times exp(-r2 time)
    double carry;        // r - r2
    double strike;       // after MakeCorrectStrikeByType
    double discount;     // exp(-r time)
};

/// Value of an immediate exercise, never below 0.
[[nodiscard]] inline double IntrinsicValue(double price, double strike, bool put) noexcept
{
    if (put) return strike > price ? strike - price : 0.0;
    return price > strike ? price - strike : 0.0;
}

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its calculators");

/// Black-Scholes model: lognormal prices. The smile is a function of the log moneyness.
struct BlackScholesCalculator
{
    /// Position of a strike on the smile; the price of the underlying is after MakeDiscountPoint.
    [[nodiscard]] static double Moneyness(const CSpecVirtFutures& series, double strike, double price) noexcept;
    [[nodiscard]] static double MoneynessAtTheMoney(const CSpecVirtFutures& series) noexcept;
    /// Volatility on the smile: 0.2 is twenty per cent a year.
    [[nodiscard]] static double Sigma(const CSpecVirtFutures& series, double moneyness) noexcept;
    /// The smallest variance that is taken, in spite of the name: one per cent squared.
    [[nodiscard]] static double ImpliedVolatilityMaxBound(const CSpecVirtFutures& series) noexcept;

    [[nodiscard]] static double D1(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                   const MarketPoint& at) noexcept
    {
        return ((volatility.halfVariance + at.carry) * terms.sqrtTime * terms.sqrtTime +
                std::log(at.futuresPoint / terms.strike)) /
               volatility.width;
    }
    [[nodiscard]] static double D2(double d1, const ScenarioVolatility& volatility) noexcept
    {
        return d1 - volatility.width;
    }
    [[nodiscard]] static double TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                                 const MarketPoint& at) noexcept;
};

/// Bachelier model: normally distributed prices, no discounting.
struct BachelierCalculator
{
    [[nodiscard]] static double Moneyness(const CSpecVirtFutures& series, double strike, double price) noexcept;
    [[nodiscard]] static double MoneynessAtTheMoney(const CSpecVirtFutures& series) noexcept;
    /// Volatility on the smile, price units per root of a year.
    [[nodiscard]] static double Sigma(const CSpecVirtFutures& series, double moneyness) noexcept;
    /// The smallest variance that is taken, in spite of the name: one price step squared.
    [[nodiscard]] static double ImpliedVolatilityMaxBound(const CSpecVirtFutures& series) noexcept;
    [[nodiscard]] static double TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                                 const MarketPoint& at) noexcept;
};

/// Bachelier model of a commodity: normally distributed prices, the outcome discounted.
struct BachelierCalculatorForCommodity : BachelierCalculator
{
    [[nodiscard]] static double TheoreticalPrice(const OptionTerms& terms, const ScenarioVolatility& volatility,
                                                 const MarketPoint& at) noexcept;
};

} // namespace points

namespace auxiliary {

/// Prices that belong to a delivery scenario, both ends rounded to `Digits` decimals; a price one unit of the last
/// decimal outside still belongs to it.
template <int Digits>
class ExpirationScenarioRange
{
public:
    ExpirationScenarioRange(double minimum, double maximum) noexcept
        : minimum_(round(minimum)), maximum_(round(maximum))
    {}

    [[nodiscard]] bool CheckInRange(double x) const noexcept { return x >= Lowest() && Highest() >= x; }

    [[nodiscard]] static double round(double x) noexcept { return std::floor(x * Scale + 0.5) / Scale; }

    /// 0.1 to the power of Digits; 1.0000000000000003e-05 for five digits, not the nearest double to one
    /// hundred-thousandth.
    static inline const double epsilon = std::pow(0.1, Digits);

    /// The smallest price in range.
    [[nodiscard]] double Lowest() const noexcept { return minimum_ - epsilon; }
    /// The largest price in range.
    [[nodiscard]] double Highest() const noexcept { return maximum_ + epsilon; }

private:
    static constexpr double Scale = [] {
        double power = 1.0;
        for (int i = 0; i < Digits; ++i)
            power *= 10.0;
        return power;
    }();

    double minimum_;
    double maximum_;
};

} // namespace auxiliary

} // namespace kv7im
