// An order that is told by its price and quantity alone, without the record of an exchange.
#include "book/Portfolio.h"
#include "instruments/SpecOption.h"

namespace kv7im {

namespace {

// A record of a single order. Only an order in a spread as it was sent names the spread.
SClearingDeltaOrder MakeOrder(Isin isin, bool isBuying, const KeyPriceType& key, const SOrderInfo& info) noexcept
{
    SClearingDeltaOrder order = OrderRecordOf(isin, key, info);
    order.isBuying = isBuying;
    order.orderInfo.initializationType = SOrderInfo::InitializationType::FullFill;
    order.orderInfo.multilegIsin = key.type == KeyPriceType::Type::MultiLeg ? isin : 0;
    return order;
}

} // namespace

Z9ERR Portfolio::ChangeOrder(Isin isin, const KeyPriceType& key, std::int64_t deltaQuantity)
{
    const SOrderInfo info(SOrderInfo::InitializationType::OnlyDeltaQuantity, 0, deltaQuantity);
    return ChangeOrderBySOrderInfoPrivate(isin, key.direction == KeyPriceType::Direction::Buy, key, info);
}

Z9ERR Portfolio::ChangeOrderBySOrderInfoPrivate(Isin isin, bool isBuying, const KeyPriceType& key,
                                                const SOrderInfo& info)
{
    const SearchResult found = FindByIsin(isin);
    if (found.FuturesFound())
        found.GetPositionPtr()->ChangeFuturesOrders(isBuying, key, info);
    else if (found.OptionFound())
        found.GetPositionPtr()->ChangeOptionOrders(*found.GetOptionPtr(), isBuying, key, info);
    return found.ErrorToZ9ErrorCode();
}

void CumulativePositionByFutures::ChangeFuturesOrders(bool isBuying, const KeyPriceType& key, const SOrderInfo& info)
{
    const SClearingDeltaOrder order = MakeOrder(m_isin, isBuying, key, info);
    ChangeFuturesOrders(1, &order);
}

void CumulativePositionByFutures::ChangeOptionOrders(const CSpecOption& option, bool isBuying, const KeyPriceType& key,
                                                     const SOrderInfo& info)
{
    const SClearingDeltaOrder order = MakeOrder(option.isin, isBuying, key, info);
    ChangeOptionOrders(option, 1, &order);
}

} // namespace kv7im
