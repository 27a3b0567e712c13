// SyntheticDealPrices: prices of the legs of a deal that was put together from orders in several instruments (an order
// in a spread against one order in each of its legs). They take the place of the prices that would be worked out from
// the price of the spread.
//
// Always true:  where there are prices there are three: the active order's first, then the two that met it.
#pragma once

#include <array>

#include "Enums.h"
#include "currencytype.h"

namespace pos {

class SyntheticDealPrices
{
public:
    struct priceInfo
    {
        Isin isin = 0;
        t_bprice_int orderPrice;
    };

    /// Without prices: an ordinary deal.
    SyntheticDealPrices() = default;
    SyntheticDealPrices(const priceInfo& active, const priceInfo& second, const priceInfo& third) noexcept
        : m_hasPrices(true), m_prices{active, second, third}
    {}

    [[nodiscard]] bool HasPrices() const noexcept { return m_hasPrices; }
    /// Drops the prices: an ordinary deal again.
    void Reset() noexcept { *this = SyntheticDealPrices(); }
    /// Isin of the order that came last and so made the deal; 0 without prices.
    [[nodiscard]] Isin GetActiveOrderIsin() const noexcept { return m_prices[0].isin; }
    /// Price of the order in an isin. An isin that is not among the three: Z9ERR_ISIN_ABSENT, "GetOrderPrice: %d".
    [[nodiscard]] t_bprice_int GetOrderPrice(Isin isin) const;

private:
    bool m_hasPrices = false;
    std::array<priceInfo, 3> m_prices;
};

} // namespace pos
