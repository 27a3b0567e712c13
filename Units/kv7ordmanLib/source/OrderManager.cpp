#include "OrderManager.h"

#include <algorithm>
#include <utility>

namespace {

const COrderManager::SOrder* Find(const COrderManager::COrderList& orders, t_id number) noexcept
{
    const auto found = orders.find(COrderManager::SOrderKey{number});
    return found == orders.end() ? nullptr : found->second.get();
}

std::vector<COrderManager::SOrder> Snapshot(const COrderManager::COrderList& orders)
{
    std::vector<std::pair<t_id, const COrderManager::SOrder*>> sorted;
    sorted.reserve(orders.size());
    for (const auto& [key, order] : orders)
        sorted.emplace_back(key.ordNum, order.get());
    std::sort(sorted.begin(), sorted.end());

    std::vector<COrderManager::SOrder> copies;
    copies.reserve(sorted.size());
    for (const auto& entry : sorted)
        copies.push_back(*entry.second);
    return copies;
}

} // namespace

COrderManager::COrderManager(std::size_t lsBuckets, std::size_t nmBuckets)
{
    m_orders.orders_ls.rehash(lsBuckets);
    m_orders.orders_nm.rehash(nmBuckets);
}

void COrderManager::Clear(int lastLsOrderId) noexcept
{
    m_orders.orders_ls.clear();
    m_orders.orders_nm.clear();
    m_orders.lsorderID.store(lastLsOrderId);
}

const COrderManager::SOrder* COrderManager::findOrderByLS(t_id lsOrderId) const noexcept
{
    return Find(m_orders.orders_ls, lsOrderId);
}

const COrderManager::SOrder* COrderManager::findOrderByNm(t_id ordNum) const noexcept
{
    return Find(m_orders.orders_nm, ordNum);
}

std::vector<COrderManager::SOrder> COrderManager::GetOrdersLsSnapshot() const { return Snapshot(m_orders.orders_ls); }

std::vector<COrderManager::SOrder> COrderManager::GetOrdersNmSnapshot() const { return Snapshot(m_orders.orders_nm); }
