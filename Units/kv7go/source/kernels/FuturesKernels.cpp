#include "kernels/FuturesKernels.h"

#include <cstddef>

#include "instruments/SpecFutures.h"

namespace kv7im {

namespace {

using kernels::Collapsed;
using kernels::Loss;
using kernels::Replaced;
using kernels::StressRows;
using kernels::Worst;

// A position spread over the lanes. The side is a factor of 1 or -1: a product with 1 is exact.
struct SpreadTransform
{
    explicit SpreadTransform(const PositionTransform& transform) noexcept
        : price(transform.price), side(transform.negate ? -1.0 : 1.0), scale(transform.scale)
    {}
    [[nodiscard]] RiskItem OfPrice(RiskItem cell) const noexcept { return Mul(Mul(Sub(cell, price), side), scale); }
    [[nodiscard]] RiskItem OfStress(RiskItem cell) const noexcept { return Mul(Mul(cell, side), scale); }

    RiskItem price;
    RiskItem side;
    RiskItem scale;
};

// The stress rows of a group take each futures by its losses, even where the futures contributes signed cells.
template <bool LossesOnly>
RiskItem ReplaceStress(RiskItem* group, RiskItem* given, const RiskItem* node) noexcept
{
    Worst worst;
    for (std::size_t row = 0; row < StressRows; ++row) {
        const RiskItem now = LossesOnly ? RiskItem(0.0) : node[row];
        group[row] = Replaced(group[row], Loss(given[row]), Loss(now));
        if constexpr (!LossesOnly) given[row] = now;
        worst.Take(group[row]);
    }
    return worst.value;
}

template <bool LossesOnly>
void ReplaceContribution(Profile& group, Profile& given, const Profile& node, RiskRow& row) noexcept
{
    const std::size_t scenarios = group.Volatility().RowsCount();
    const std::size_t median = group.Volatility().MedianLineNumber();
    for (std::size_t block = 0; block < row.GetRegisterCount(); ++block) {
        RiskItem* const groupCells = group.Volatility().pData() + block * scenarios;
        RiskItem* const givenCells = given.Volatility().pData() + block * scenarios;
        const RiskItem* const nodeCells = node.Volatility().pData() + block * scenarios;
        const std::size_t stress = block * StressRows;

        RiskItem rate(0.0);
        RiskItem mismatch(0.0);
        if constexpr (LossesOnly) {
            rate = node.InterestRate().MinimumInColumn(block);
            mismatch = node.VolatilityMismatch().MinimumInColumn(block);
        }
        Worst worst;
        for (std::size_t i = 0; i < scenarios; ++i) {
            RiskItem now = nodeCells[i];
            if constexpr (LossesOnly) { // the central scenario takes no mismatch; zero first, so that NaN stays NaN
                const RiskItem stressed = Add(rate, now);
                now = Min(RiskItem(0.0), i == median ? stressed : Add(stressed, mismatch));
            }
            groupCells[i] = Replaced(groupCells[i], givenCells[i], now);
            givenCells[i] = now;
            worst.Take(groupCells[i]);
        }
        const RiskItem worstRate =
            ReplaceStress<LossesOnly>(group.InterestRate().pData() + stress, given.InterestRate().pData() + stress,
                                      node.InterestRate().pData() + stress);
        const RiskItem worstMismatch = ReplaceStress<LossesOnly>(group.VolatilityMismatch().pData() + stress,
                                                                 given.VolatilityMismatch().pData() + stress,
                                                                 node.VolatilityMismatch().pData() + stress);
        row.pData()[block] = Collapsed(worst.value, worstRate, worstMismatch);
    }
    if constexpr (LossesOnly) { // folded into the cells
        given.InterestRate() = 0.0;
        given.VolatilityMismatch() = 0.0;
    }
}

} // namespace

void ReplacePositionInCells(Profile& volatility, Profile& expiration, const PositionTransform& before,
                            const PositionTransform& after, bool collateral) noexcept
{
    const SpreadTransform out(before);
    const SpreadTransform in(after);
    const RiskMatrix& prices = after.profile->Volatility();
    const RiskMatrix& rates = after.profile->InterestRate();
    const std::size_t scenarios = prices.RowsCount();

    for (std::size_t block = 0; block < prices.GetColsRegister(); ++block) {
        const RiskItem price = prices.pData()[block * scenarios];
        const RiskItem priceOut = out.OfPrice(price);
        const RiskItem priceIn = in.OfPrice(price);
        for (Profile* const profile : {&volatility, &expiration}) {
            RiskItem* const cells = profile->Volatility().pData() + block * scenarios;
            for (std::size_t i = 0; i < scenarios; ++i)
                cells[i] = Replaced(cells[i], priceOut, priceIn);
        }
        for (std::size_t row = 0; row < StressRows; ++row) {
            const std::size_t at = block * StressRows + row;
            RiskItem rateOut = out.OfStress(rates.pData()[at]);
            RiskItem rateIn = in.OfStress(rates.pData()[at]);
            if (collateral) {
                rateOut = Loss(rateOut);
                rateIn = Loss(rateIn);
            }
            for (Profile* const profile : {&volatility, &expiration}) {
                RiskItem& cell = profile->InterestRate().pData()[at];
                cell = Replaced(cell, rateOut, rateIn);
            }
        }
    }
}

SpecialRiskPoints PointsOfPosition(const PositionTransform& transform, double chargeRatio) noexcept
{
    SpecialRiskPoints points = transform.profile->GetSpecialRiskPoints();
    points -= transform.price;
    if (transform.negate) points *= -1.0;
    points *= transform.scale;
    points.CoverFarPoints(transform.coverZL, transform.coverZR);
    points.ScaleCharges(chargeRatio);
    return points;
}

void ReplaceContributionInCells(Profile& group, Profile& given, const Profile& node, bool lossesOnly,
                                RiskRow& row) noexcept
{
    if (lossesOnly)
        ReplaceContribution<true>(group, given, node, row);
    else
        ReplaceContribution<false>(group, given, node, row);
}

void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept
{
    for (std::size_t k = 0; k < second.GetRegisterCount(); ++k)
        second.pData()[k] = Min(first.pData()[k], second.pData()[k]);
}

} // namespace kv7im
