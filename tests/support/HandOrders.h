// HandOrders: orders for books whose figures are worked out by hand.
#pragma once

#include <cstdint>

#include "Enums.h"
#include "instruments/SpecOrderList.h"

[[nodiscard]] inline KeyPriceType KeyOf(KeyPriceType::Direction direction, double price,
                                        KeyPriceType::Type type = KeyPriceType::Type::Ordinal)
{
    return {t_bprice_int(price), direction, type};
}
[[nodiscard]] inline KeyPriceType Buy(double price) { return KeyOf(KeyPriceType::Direction::Buy, price); }
[[nodiscard]] inline KeyPriceType Sell(double price) { return KeyOf(KeyPriceType::Direction::Sell, price); }

/// One record of a change, as it comes for the isin of a futures, an option or a multileg.
[[nodiscard]] inline SClearingDeltaOrder Record(const KeyPriceType& key, std::int64_t quantity, Isin isin = 0,
                                                int multileg = 0)
{
    SClearingDeltaOrder order;
    order.CalculatedPrice = key;
    order.isin = isin;
    order.isBuying = key.direction == KeyPriceType::Direction::Buy;
    order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::OnlyDeltaQuantity, multileg, quantity);
    return order;
}

/// The quantity of an entry; 0 where there is none.
[[nodiscard]] inline std::int64_t QuantityOf(const OrdersMap& orders, const KeyPriceType& key)
{
    const auto found = orders.find(key);
    return found == orders.end() ? 0 : found->second.deltaQuantity;
}
