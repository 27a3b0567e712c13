#include "valuation/InterestRateRiskCalculator.h"

#include <cmath>

#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

/// The quantities that the stress of one column is made from.
struct ColumnStress
{
    ColumnStress(std::size_t column, InterestRateRow row, const CSpecVirtFutures& series_,
                 Enums::ClientRiskLevel level) noexcept
        : series(series_),
          futures(*series.Futures),
          up(row == InterestRateRow::Up),
          price(series.GetVolatilityMatrixCentralRow(level)[column]),
          a(RelativeShift(column, level))
    {}

    /// Price move that is added whatever the rates do.
    [[nodiscard]] double AddOn() const noexcept
    {
        return (up ? futures.MRAddOnUp : -futures.MRAddOnDown) * futures.NormalizedSpot * a;
    }
    /// Growth of the price by the rate shock of the futures until its expiration; a negative price moves the other way.
    [[nodiscard]] double Growth() const noexcept
    {
        const double time = up ? futures.TimeToExpiration : -futures.TimeToExpiration;
        const double rate = up ? futures.InterestRateRiskUp : futures.InterestRateRiskDown;
        return std::exp((price < 0.0 ? -1.0 : 1.0) * time * a * rate);
    }
    [[nodiscard]] double R() const noexcept
    {
        return up ? series.GetUsableR() + a * series.InterestRateRiskUp
                  : series.GetUsableR() - a * series.InterestRateRiskDown;
    }
    /// The second rate under stress: it falls where the first one rises.
    [[nodiscard]] double R2() const noexcept
    {
        return up ? series.GetUsableR2() - a * series.InterestRate2RiskDown
                  : series.GetUsableR2() + a * series.InterestRate2RiskUp;
    }
    /// Factor of the projected discount of the spot.
    [[nodiscard]] double DiscountRisk() const noexcept
    {
        const double cfRisk = futures.BaseContract->CFRisk;
        return up ? 1.0 - cfRisk * a : a * cfRisk + 1.0;
    }
    [[nodiscard]] double Lot() const noexcept { return static_cast<double>(series.LotCoeff); }
    [[nodiscard]] double StrikeFactor(double r) const noexcept { return std::exp(-r * series.TimeToExpiration); }

    const CSpecVirtFutures& series;
    const CSpecFutures& futures;
    bool up;
    double price;
    double a; // distance from the centre, 0 to 1

private:
    /// Distance of a column from the centre; a sub-point stands as far from it as the real point that it is bound to.
    [[nodiscard]] double RelativeShift(std::size_t column, Enums::ClientRiskLevel level) const noexcept
    {
        std::size_t j = column;
        if (series.HasSubPoints(level)) {
            const BindsRow& binds = series.GetBindingArray(level);
            if (column < binds.size) j = binds.binding[column];
        }
        const auto halfWidth = static_cast<double>(futures.BaseContract->RiskPointsN);
        return std::abs(static_cast<double>(j) - halfWidth) / halfWidth;
    }
};

/// The inputs of the grid itself, without stress.
PricingInputs AsTheGrid(std::size_t column, const CSpecVirtFutures& series, Enums::ClientRiskLevel level, double r2)
{
    return {.futuresPoint = series.GetCorrectedFuturesPoint(column, level),
            .r = series.GetUsableR(),
            .r2 = r2,
            .strikeFactor = series.MakeCorrectStrikeByType(1.0)};
}

} // namespace

double InterestRateRiskCalculator::CalculatePointInterestRate(std::size_t column, InterestRateRow row,
                                                              const CSpecOption& option,
                                                              Enums::ClientRiskLevel level) const
{
    const CSpecVirtFutures& series = *option.VirtFutures;
    const double v = 1.0 - series.VolatilityRiskMismatch;
    const auto value = [&](const PricingInputs& inputs) {
        return option.CalculatePoint(CSpecOption::GetDownScenarioVolatility(), inputs.futuresPoint, inputs.r, inputs.r2,
                                     inputs.strikeFactor * option.Strike, v);
    };
    return value(Stressed(column, row, series, level)) - value(Unstressed(column, series, level));
}

PricingInputs InterestRateRiskCalculatorOptionForFutures::Stressed(std::size_t column, InterestRateRow row,
                                                                   const CSpecVirtFutures& series,
                                                                   Enums::ClientRiskLevel level) const
{
    const ColumnStress stress(column, row, series, level);
    return {.futuresPoint = stress.Growth() * stress.price + stress.AddOn(), .r = 0.0, .r2 = 0.0, .strikeFactor = 1.0};
}

PricingInputs InterestRateRiskCalculatorOptionForFutures::Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                                                     Enums::ClientRiskLevel level) const
{
    return {
        .futuresPoint = series.GetVolatilityMatrixCentralRow(level)[column], .r = 0.0, .r2 = 0.0, .strikeFactor = 1.0};
}

PricingInputs InterestRateRiskCalculatorOptionForStock::Stressed(std::size_t column, InterestRateRow row,
                                                                 const CSpecVirtFutures& series,
                                                                 Enums::ClientRiskLevel level) const
{
    const ColumnStress stress(column, row, series, level);
    const double r = stress.R();
    const double spot =
        stress.AddOn() + stress.price - series.FixedSpotDiscount - stress.DiscountRisk() * series.ProjectedSpotDiscount;
    return {.futuresPoint = spot * stress.Lot(), .r = r, .r2 = 0.0, .strikeFactor = stress.StrikeFactor(r)};
}

PricingInputs InterestRateRiskCalculatorOptionForStock::Unstressed(std::size_t column, const CSpecVirtFutures& series,
                                                                   Enums::ClientRiskLevel level) const
{
    return AsTheGrid(column, series, level, 0.0);
}

PricingInputs InterestRateRiskCalculatorOptionForCurrencyOrIndex::Stressed(std::size_t column, InterestRateRow row,
                                                                           const CSpecVirtFutures& series,
                                                                           Enums::ClientRiskLevel level) const
{
    const ColumnStress stress(column, row, series, level);
    const double r = stress.R();
    return {.futuresPoint = stress.Lot() * (stress.AddOn() + stress.price),
            .r = r,
            .r2 = stress.R2(),
            .strikeFactor = stress.StrikeFactor(r)};
}

PricingInputs InterestRateRiskCalculatorOptionForCurrencyOrIndex::Unstressed(std::size_t column,
                                                                             const CSpecVirtFutures& series,
                                                                             Enums::ClientRiskLevel level) const
{
    return AsTheGrid(column, series, level, series.GetUsableR2());
}

PricingInputs InterestRateRiskCalculatorOptionForCommodity::Stressed(std::size_t column, InterestRateRow row,
                                                                     const CSpecVirtFutures& series,
                                                                     Enums::ClientRiskLevel level) const
{
    const ColumnStress stress(column, row, series, level);
    const double r = stress.R();
    return {.futuresPoint = (stress.price * stress.Growth() + stress.AddOn()) * stress.Lot(),
            .r = r,
            .r2 = r,
            .strikeFactor = stress.StrikeFactor(r)};
}

PricingInputs InterestRateRiskCalculatorOptionForCommodity::Unstressed(std::size_t column,
                                                                       const CSpecVirtFutures& series,
                                                                       Enums::ClientRiskLevel level) const
{
    return AsTheGrid(column, series, level, series.GetUsableR());
}

const InterestRateRiskCalculator& GetInterestRateRiskCalculator(const CSpecVirtFutures& series)
{
    if (series.IsOptionsSeriesForStock()) return InterestRateRiskCalculatorOptionForStock::Instance();
    if (series.IsOptionsSeriesForCurrencyOrIndex())
        return InterestRateRiskCalculatorOptionForCurrencyOrIndex::Instance();
    if (series.IsOptionsSeriesForCommodity()) return InterestRateRiskCalculatorOptionForCommodity::Instance();
    return InterestRateRiskCalculatorOptionForFutures::Instance();
}

} // namespace kv7im
