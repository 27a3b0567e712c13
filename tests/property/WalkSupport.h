// What the walks over random markets share: how figures are compared, and a random next position.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include <rapidcheck.h>

#include "PlainMargin.h"
#include "RandomMarket.h"

inline constexpr double Relative = 1e-9;

// Money that increments may leave behind where nothing is held: far below the half hundred-thousandth that rounding
// would take up.
inline constexpr double Residue = 1e-6;

/// Increments round by the largest money that has gone through them.
inline void ExpectEqual(double figure, double expected, const std::string& what, double largest = 0.0)
{
    if (std::abs(figure - expected) > Relative * (1.0 + std::max(std::abs(expected), largest)))
        RC_FAIL(what + ": " + std::to_string(figure) + " instead of " + std::to_string(expected));
}
inline void ExpectEqual(const plain::Margins& figures, const plain::Margins& expected, const std::string& what,
                        double largest = 0.0)
{
    ExpectEqual(figures.volatility, expected.volatility, "volatility margin " + what, largest);
    ExpectEqual(figures.delivery, expected.delivery, "delivery margin " + what, largest);
}

/// A random position in a random instrument, an option as often as a futures.
inline std::pair<Isin, plain::Holding> RandomChange(const plain::Market& market)
{
    if (!market.options.empty() && *rc::gen::arbitrary<bool>()) {
        const OptionSample& option = *rc::gen::elementOf(market.options);
        return {option.Isin, random_market::MakeHolding(option)};
    }
    const FuturesSample& futures = *rc::gen::elementOf(market.futures);
    return {futures.Isin, random_market::MakeHolding(futures)};
}
