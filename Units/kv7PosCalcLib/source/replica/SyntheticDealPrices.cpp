#include "replica/SyntheticDealPrices.h"

#include "except.h"

namespace pos {

t_bprice_int SyntheticDealPrices::GetOrderPrice(Isin isin) const
{
    if (m_hasPrices) {
        for (const priceInfo& price : m_prices)
            if (price.isin == isin) return price.orderPrice;
    }
    throw kv7base::CZ9Error(Z9ERR_ISIN_ABSENT, KV7_CURRENT_LOCATION).Fmt("GetOrderPrice: %d", isin);
}

} // namespace pos
