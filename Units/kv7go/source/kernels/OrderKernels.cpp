#include "kernels/OrderKernels.h"

#include <limits>

#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

// Multiplies the far points of a sum of orders by their cover factors and its charges by chargeRatio.
void WeighPoints(SpecialRiskPoints& points, const CSpecFutures& futures, Enums::ClientRiskLevel level,
                 double chargeRatio) noexcept
{
    points.CoverFarPoints(futures.GetCoverZL(level), futures.GetCoverZR(level));
    points.ScaleCharges(chargeRatio);
}

} // namespace

SpecialRiskPoints PointsOfOrders(const FuturesOrders& orders, double chargeRatio) noexcept
{
    const SpecialRiskPoints& prices = orders.futures.GetProfile(orders.level).GetSpecialRiskPoints();
    SpecialRiskPoints losses;
    for (const auto& [key, info] : orders.orders)
        AddLossAtPoints(DescribeOrder(orders.futures, key, info, orders.discount), prices, losses);
    WeighPoints(losses, orders.futures, orders.level, chargeRatio);
    return losses;
}

OptionOrder::OptionOrder(const KeyPriceType& key, const SOrderInfo& info, double moneyCoef) noexcept
    : price(key.calculatedPrice.AsDouble()),
      side(key.direction == KeyPriceType::Direction::Sell ? -1.0 : 1.0),
      bound(key.direction == KeyPriceType::Direction::Buy ? -price : -std::numeric_limits<double>::infinity()),
      scale(static_cast<double>(info.deltaQuantity) * moneyCoef)
{}

SpecialRiskPoints PointsOfOrders(const CSpecOption& option, const OptionGrid& grid, Enums::ClientRiskLevel level,
                                 std::span<const OptionOrder> orders, double chargeRatio) noexcept
{
    SpecialRiskPoints losses;
    for (const OptionOrder& order : orders) {
        SpecialRiskPoints points = grid.points;
        points -= order.price;
        points *= order.side;
        points.BoundValuesFromAbove(0.0);
        points *= order.scale;
        losses += points;
    }
    WeighPoints(losses, *option.VirtFutures->Futures, level, chargeRatio);
    return losses;
}

} // namespace kv7im
