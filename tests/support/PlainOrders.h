// PlainOrders: open orders as plain records, and what each of them is in the futures that it trades.
//
// Nothing here knows the engine. An order in an option is left to the margin model as it stands; one in a calendar
// spread falls apart into an order in each leg.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "Enums.h"
#include "PlainMarket.h"

namespace plain {

/// What is open at one price on one side of an instrument: a futures, an option or a calendar spread.
struct Order
{
    Isin isin = 0;
    bool buy = true;
    double price = 0.0; // five decimals; an offset for a futures that trades at settlement
    std::int64_t quantity = 0;
    /// What was placed of it in all. A cancellation does not take back what an order did to the stress of rates of a
    /// collateral instrument, where losses only are added: that counts all that was placed since the book was made.
    std::int64_t placed = 0;
};
using Orders = std::vector<Order>;

/// Prices are taken with five decimals.
inline double OnPriceGrid(double price) { return std::round(price * 100000.0) / 100000.0; }

/// The orders of one book as they come and go.
class OrderBook
{
public:
    /// Places orders, or cancels them by a negative quantity.
    void Change(Isin isin, bool buy, double price, std::int64_t quantity)
    {
        Order& order = m_orders.try_emplace(std::tuple(isin, buy, price), Order{isin, buy, price}).first->second;
        order.quantity += quantity;
        order.placed += std::max<std::int64_t>(quantity, 0);
    }
    /// What a book that is made anew knows: the orders that are open, each placed at once.
    void TakeAnew()
    {
        for (auto& [key, order] : m_orders)
            order.placed = std::max<std::int64_t>(order.quantity, 0);
    }
    [[nodiscard]] Orders All() const
    {
        Orders orders;
        for (const auto& [key, order] : m_orders)
            orders.push_back(order);
        return orders;
    }
    /// Those of which something is open.
    [[nodiscard]] Orders Open() const
    {
        Orders orders = All();
        std::erase_if(orders, [](const Order& order) { return order.quantity == 0; });
        return orders;
    }

private:
    std::map<std::tuple<Isin, bool, double>, Order> m_orders;
};

/// An order, or a leg of one, in a futures.
struct FuturesOrder
{
    const FuturesSample* futures;
    bool buy;
    double quantity;
    double placed;
    /// The price that its result is taken against. Nothing: the leg is not looked at for itself, because its spread
    /// nets with what is held of both legs.
    std::optional<double> price = {};
    double spreadResult = 0.0; // of such a leg, the same at all prices: what the spread loses at its price
};

/// A client as its orders in futures see it.
struct OrderRules
{
    bool noFutDiscount;
    Enums::SpreadMarginType calendar;
};

namespace details {

/// Without discount nothing is bought below, or sold above, the settlement price.
inline double WithoutGain(bool buy, double price, double settlement)
{
    return buy ? std::max(price, settlement) : std::min(price, settlement);
}

inline double AbsolutePrice(const FuturesSample& f, double price)
{
    return TradesAtSettlement(f) ? price + f.CalcFutPrice : price;
}

/// What one spread loses at its price against the distance of the two grids. Without discount the price is not better
/// than the distance at settlement, and what is bought or sold at that costs nothing.
inline double SpreadResult(bool buy, double price, double centres, double settlements, bool noDiscount)
{
    if (!noDiscount) return std::min(0.0, buy ? centres - price : price - centres);
    const double aboveSettlement = price - settlements;
    const double centresAboveSettlement = centres - settlements;
    return buy ? std::min(0.0, centresAboveSettlement - std::max(0.0, aboveSettlement))
               : std::min(0.0, std::min(0.0, aboveSettlement) - centresAboveSettlement);
}

inline FuturesOrder Outright(const MarketView& market, const FuturesSample& f, const Order& order, bool noDiscount)
{
    double price = AbsolutePrice(f, order.price);
    if (noDiscount) price = WithoutGain(order.buy, price, market.Settlement(f));
    return {&f, order.buy, static_cast<double>(order.quantity), static_cast<double>(order.placed), price};
}

inline FuturesOrder Leg(const FuturesSample& f, const Order& order, std::int32_t ratio)
{
    const double contracts = std::abs(ratio);
    return {&f, ratio < 0 ? !order.buy : order.buy, contracts * static_cast<double>(order.quantity),
            contracts * static_cast<double>(order.placed)};
}

/// Leg by leg the near one trades at its settlement price and the far one the price of the spread above that. Legs that
/// net cost what the spread loses; it is told in the far one.
inline std::vector<FuturesOrder> Legs(const MarketView& market, const MultilegSample& m, const Order& order,
                                      const OrderRules& rules)
{
    const FuturesSample& first = *market.FindFutures(m.FirstLeg);
    const FuturesSample& second = *market.FindFutures(m.SecondLeg);
    FuturesOrder near = Leg(first, order, m.FirstRatio);
    FuturesOrder far = Leg(second, order, m.SecondRatio);
    const bool apart = first.SpreadAspect == Enums::SpreadAspect::NotInSpread ||
                       second.SpreadAspect == Enums::SpreadAspect::NotInSpread || first.EnforceIMSHalfNetting ||
                       second.EnforceIMSHalfNetting || rules.calendar == Enums::SpreadMarginType::HalfNetting;
    const double firstSettlement = market.Settlement(first);
    const double secondSettlement = market.Settlement(second);
    const double price = AbsolutePrice(second, order.price);
    if (apart) {
        near.price = firstSettlement;
        far.price = price + firstSettlement;
        if (rules.noFutDiscount) far.price = WithoutGain(far.buy, *far.price, secondSettlement);
    } else if (rules.calendar == Enums::SpreadMarginType::Netting) {
        far.spreadResult = SpreadResult(far.buy, price, second.CalcFutPrice - first.CalcFutPrice,
                                        secondSettlement - firstSettlement, rules.noFutDiscount);
    }
    return {near, far};
}

} // namespace details

/// An order in a futures or a calendar spread as it falls on futures.
inline std::vector<FuturesOrder> InFutures(const MarketView& market, const Order& order, const OrderRules& rules)
{
    if (const MultilegSample* const multileg = market.FindMultileg(order.isin))
        return details::Legs(market, *multileg, order, rules);
    return {details::Outright(market, *market.FindFutures(order.isin), order, rules.noFutDiscount)};
}

} // namespace plain
