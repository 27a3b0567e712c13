// Small parts of the account tree: the counter of clients, and the arithmetic by which all three levels take their GO.
#pragma once

#include <cmath>
#include <cstddef>

#include "currencytype.h"

/// A count that is never below zero.
class Counter
{
public:
    [[nodiscard]] std::size_t CurrentValue() const noexcept { return counter_; }
    void Increment() noexcept { ++counter_; }
    void Reset() noexcept { counter_ = 0; }
    /// Lowers the count. Throws CZ9Error with Z9ERR_COMMON_WRONG_ARGUMENTS, and keeps the count, where it would fall
    /// below zero.
    void DecrementBy(std::size_t n);

private:
    std::size_t counter_ = 0;
};

namespace Domain {

/// Margin between its two figures, money, not rounded: expWeight 0.00 takes the volatility margin, 1.00 the delivery
/// margin.
[[nodiscard]] inline double WeightedInitialMargin(t_weight_int expWeight, double volatility, double delivery) noexcept
{
    const double w = expWeight.AsDouble();
    return (1 - w) * volatility + w * delivery;
}

/// GO as it is charged: to five decimals with halves away from zero, then up to the next cent, never in favour of the
/// participant. The first stage takes away what is below 0.00001. The product by 100 is a double's: where it lands
/// above the whole cent by its last bit, a cent more is charged (1.10 gives 1.11). Both stages stand as they are.
/// The 0.0 at the end makes a plain zero of the minus zero that a residue of -1e-12, left by the increments, comes to.
[[nodiscard]] inline double RoundInitialMargin(double margin) noexcept
{
    return std::ceil(std::round(margin * 100000) / 100000 * 100) / 100 + 0.0;
}

} // namespace Domain
