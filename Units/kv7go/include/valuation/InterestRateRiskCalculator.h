// InterestRateRiskCalculator: what a move of interest rates does to the value of an option.
//
// The price of the underlying, both rates and the strike are stressed together, the more the farther a column stands
// from the centre; the result is the stressed value less the unstressed one, both at the lowest volatility. How the
// stress acts depends on the kind of the series, hence one calculator a kind.
//
// Always true:  stateless; one instance of each for the whole process.
#pragma once

#include <cstddef>

#include "Enums.h"
#include "grids/Profile.h"

namespace kv7im {

class CSpecOption;
class CSpecVirtFutures;

/// Inputs of one option valuation. The strike is given as a factor, since the strike alone differs between the options
/// of a series.
struct PricingInputs
{
    double futuresPoint; // price of the underlying, after MakeDiscountPoint
    double r;
    double r2;
    double strikeFactor; // the strike after MakeCorrectStrikeByType, as a share of the raw one; exp(-r T), or 1
};

class InterestRateRiskCalculator
{
public:
    virtual ~InterestRateRiskCalculator() = default;

    /// Change of the option's value at a column of the series' grid, price units, for rates up or down. The caller
    /// looks whether the column stands on the side of the centre that this row counts for.
    [[nodiscard]] virtual double CalculatePointInterestRate(std::size_t column, InterestRateRow row,
                                                            const CSpecOption& option,
                                                            Enums::ClientRiskLevel level) const;
    /// Inputs of the stressed valuation at a column, for any option of the series.
    [[nodiscard]] virtual PricingInputs Stressed(std::size_t column, InterestRateRow row,
                                                 const CSpecVirtFutures& series,
                                                 Enums::ClientRiskLevel level) const = 0;
    /// Inputs of the unstressed valuation at a column, for any option of the series.
    [[nodiscard]] virtual PricingInputs Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                                   Enums::ClientRiskLevel level) const = 0;

protected:
    InterestRateRiskCalculator() = default;
    InterestRateRiskCalculator(const InterestRateRiskCalculator&) = default;
    InterestRateRiskCalculator& operator=(const InterestRateRiskCalculator&) = default;
};

/// Gives a calculator its one instance for the whole process, made at first use.
template <class Calculator>
class SharedCalculator : public InterestRateRiskCalculator
{
public:
    [[nodiscard]] static const InterestRateRiskCalculator& Instance() noexcept
    {
        static const Calculator instance;
        return instance;
    }
};

/// Options on a futures: the price grows with the rate shock of the futures; nothing is discounted.
class InterestRateRiskCalculatorOptionForFutures final
    : public SharedCalculator<InterestRateRiskCalculatorOptionForFutures>
{
public:
    [[nodiscard]] PricingInputs Stressed(std::size_t column, InterestRateRow row, const CSpecVirtFutures& series,
                                         Enums::ClientRiskLevel level) const override;
    [[nodiscard]] PricingInputs Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                           Enums::ClientRiskLevel level) const override;
};

/// Options on a stock: the projected part of the spot's discount moves, and the rate.
class InterestRateRiskCalculatorOptionForStock final : public SharedCalculator<InterestRateRiskCalculatorOptionForStock>
{
public:
    [[nodiscard]] PricingInputs Stressed(std::size_t column, InterestRateRow row, const CSpecVirtFutures& series,
                                         Enums::ClientRiskLevel level) const override;
    [[nodiscard]] PricingInputs Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                           Enums::ClientRiskLevel level) const override;
};

/// Options on a currency or an index: both rates move, the second one against the first.
class InterestRateRiskCalculatorOptionForCurrencyOrIndex final
    : public SharedCalculator<InterestRateRiskCalculatorOptionForCurrencyOrIndex>
{
public:
    [[nodiscard]] PricingInputs Stressed(std::size_t column, InterestRateRow row, const CSpecVirtFutures& series,
                                         Enums::ClientRiskLevel level) const override;
    [[nodiscard]] PricingInputs Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                           Enums::ClientRiskLevel level) const override;
};

/// Options on a commodity: the price grows with the rate shock of the futures, and the first rate moves. The first rate
/// stands in for the second one, stressed and unstressed, so that the forward is the price itself; the second rate of
/// the series is meant to play no part.
class InterestRateRiskCalculatorOptionForCommodity final
    : public SharedCalculator<InterestRateRiskCalculatorOptionForCommodity>
{
public:
    [[nodiscard]] PricingInputs Stressed(std::size_t column, InterestRateRow row, const CSpecVirtFutures& series,
                                         Enums::ClientRiskLevel level) const override;
    [[nodiscard]] PricingInputs Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                           Enums::ClientRiskLevel level) const override;
};

/// The calculator for the series' kind: stock, currency or index, commodity, otherwise futures.
[[nodiscard]] const InterestRateRiskCalculator& GetInterestRateRiskCalculator(const CSpecVirtFutures& series);

} // namespace kv7im
