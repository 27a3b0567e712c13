// SpareOrderEntries: entries that have left a map of orders and wait for the next order.
//
// Why:          an order that is placed and cancelled makes and drops an entry of the open orders, and each change
//               one of the changes of the call. Kept here, they serve the next order of the same instrument without
//               memory. They stay with their position, so that it makes no difference which thread places and which
//               cancels.
// Always true:  no more than MostEntries wait, which serves a quote on both sides that is moved all day long; what goes
//               beyond them goes back to the general heap.
#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "instruments/SpecOrderList.h"

namespace kv7im {

class SpareOrderEntries
{
public:
    static constexpr std::size_t MostEntries = 8;

    /// The entry of a key; a missing one is made without a quantity. When it throws, the map is as it was.
    SOrderInfo& FindOrMake(OrdersMap& map, const KeyPriceType& key)
    {
        if (const auto found = map.find(key); found != map.end()) return found->second;
        if (m_count == 0) return map.try_emplace(key).first->second;
        OrdersMap::node_type entry = std::move(m_entries[--m_count]);
        entry.key() = key;
        entry.mapped() = SOrderInfo();
        return map.insert(std::move(entry)).position->second;
    }

    /// Takes an entry out of its map and keeps it while there is room.
    void TakeOut(OrdersMap& map, OrdersMap::const_iterator entry) noexcept
    {
        OrdersMap::node_type spare = map.extract(entry);
        if (m_count < m_entries.size()) m_entries[m_count++] = std::move(spare);
    }

private:
    std::array<OrdersMap::node_type, MostEntries> m_entries;
    std::size_t m_count = 0;
};

} // namespace kv7im
