// An option's grid as a risk: of a position, of the orders, and at a delivery.
#include <cstddef>

#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "valuation/OptionCalculators.h"

namespace kv7im {

namespace {

/// Subtracts the price paid from all values. Rate stress and mismatch are differences already.
void TakePrice(Risk& risk, double price, double specialPointsPrice) noexcept
{
    risk.GetRisk().Volatility() -= price;
    risk.GetSpecialRiskPoints() -= specialPointsPrice;
    risk.GetRisk().Expiration() -= price;
}

/// Turns the values of a position into money once its price has been subtracted.
void ScaleToMoney(Risk& risk, double price, bool premiumIsTheWorst, double scale) noexcept
{
    if (premiumIsTheWorst) risk.GetRisk().Volatility().BoundValuesFromBelow(-price);
    risk *= scale;
}

/// Contracts times money of one price unit, and whether a purchase bounds the loss.
struct Size
{
    Size(std::int64_t quantity, const CSpecVirtFutures& series) noexcept
        : scale(static_cast<double>(quantity) * series.MoneyCoef), bought(quantity >= 1)
    {}
    double scale;
    bool bought;
};

/// Loss of one entry if it were filled and the market moved against it.
Risk LossOfOrder(const Risk& profile, const KeyPriceType& key, const SOrderInfo& info, double moneyCoef)
{
    const double price = key.calculatedPrice.AsDouble();
    Risk loss(profile);
    TakePrice(loss, price, price);
    if (key.direction == KeyPriceType::Direction::Sell) loss *= -1.0;
    if (key.direction == KeyPriceType::Direction::Buy) loss.GetRisk().Volatility().BoundValuesFromBelow(-price);
    loss.BoundValuesFromAbove(0.0);
    loss *= static_cast<double>(info.deltaQuantity) * moneyCoef;
    return loss;
}

} // namespace

OptionTransform CSpecOption::DescribePosition_PositionsOnly(std::int64_t quantity, double price,
                                                            double specialPointsPrice, Enums::ClientRiskLevel level,
                                                            double shift) const
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const Size size(quantity, *VirtFutures);
    return {.option = this,
            .grid = &GetGrid(level),
            .level = level,
            .price = price,
            .pointsPrice = specialPointsPrice,
            .premiumIsTheWorst = size.bought,
            .scale = size.scale,
            .coverZL = futures.GetCoverZL(level),
            .coverZR = futures.GetCoverZR(level),
            .shift = shift};
}

Risk CSpecOption::TransformToPosition(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const Size size(quantity, *VirtFutures);
    Risk risk(*this, level);
    TakePrice(risk, price, price);
    ScaleToMoney(risk, price, size.bought, size.scale);
    risk.GetSpecialRiskPoints().CoverFarPoints(futures.GetCoverZL(level), futures.GetCoverZR(level));
    return risk;
}

Risk CSpecOption::TransformToPosition_PositionsOnly(std::int64_t quantity, double price, double specialPointsPrice,
                                                    Enums::ClientRiskLevel level, double shift) const
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const Size size(quantity, *VirtFutures);
    Risk risk(*this, level);
    TakePrice(risk, price, specialPointsPrice);
    ScaleToMoney(risk, price, size.bought, size.scale);
    risk.GetSpecialRiskPoints().CoverFarPoints(futures.GetCoverZL(level), futures.GetCoverZR(level));
    risk.GetSpecialRiskPoints().ShiftAll(shift);
    return risk;
}

Risk CSpecOption::TransformToOrder(const OrdersMap& orders, Enums::ClientRiskLevel level) const
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const Risk profile(*this, level);
    Risk risk(profile.GetRisk().GetParameters());
    for (const auto& [key, info] : orders)
        risk += LossOfOrder(profile, key, info, VirtFutures->MoneyCoef);
    risk.GetSpecialRiskPoints().CoverFarPoints(futures.GetCoverZL(level), futures.GetCoverZR(level));

    Profile& result = risk.GetRisk();
    const Profile& values = profile.GetRisk();
    result.Volatility().SetBinding(values.Volatility().Binding());
    result.InterestRate().SetBinding(values.InterestRate().Binding());
    result.VolatilityMismatch().SetBinding(values.VolatilityMismatch().Binding());
    return risk;
}

DeliveryScenario::DeliveryScenario(const CSpecOption& option, double deliveryPrice, double limit) noexcept
    : strike(option.Strike)
{
    const auxiliary::ExpirationScenarioRange<5> range(deliveryPrice - limit, deliveryPrice + limit);
    lowest = range.Lowest();
    highest = range.Highest();
    if (option.isPut())
        exercise = option.Strike > deliveryPrice ? Exercise::Put : Exercise::None;
    else
        exercise = deliveryPrice > option.Strike ? Exercise::Call : Exercise::None;
}

} // namespace kv7im
