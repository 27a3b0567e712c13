// COrderManager: the orders of one firm. An order is known by the firm's local number until the exchange confirms it,
// and by the exchange's number from then on.
//
// Always true:  an order stands in exactly one of the two tables, under the number that the table goes by. Local
//               numbers may be drawn by several threads; the orders themselves belong to one.
// Numbers:      quantities are contracts; prices are t_bprice_int.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Enums.h"
#include "SpecOrderList.h"
#include "TradingCodes.h"
#include "currencytype.h"

using t_id = std::int64_t; // order number

class COrderManager
{
public:
    struct SOrder
    {
        t_id ordnum = 0;     // the exchange's number, 0 until confirmed
        t_code clientCode{}; // seven characters and a zero
        t_id lsOrderID = 0;  // the local number until confirmed, 0 after
        t_bprice_int price;
        t_bprice_int price1;   // second price of a two-legged order
        t_bprice_int newPrice; // while the order is being moved
        std::int32_t instrumentID = 0;
        Isin isinID = 0;
        std::int64_t quantity = 0;
        std::int64_t curQuantity = 0; // standing at the old price
        std::int64_t newQuantity = 0; // standing at the new price
        std::int64_t orgQuantity = 0; // as the order was placed
        bool isMoving = false;
        bool isSystem = false;
        bool isBuying = false;
        KeyPriceType::Type instrType = KeyPriceType::Type::Undefined;
        bool isReverse = false; // a better price for a buyer is a higher one
    };

    struct SOrderKey
    {
        t_id ordNum = 0;

        struct HashFcn
        {
            [[nodiscard]] std::size_t operator()(SOrderKey key) const noexcept
            {
                return static_cast<std::size_t>(key.ordNum);
            }
        };
        [[nodiscard]] friend bool operator==(SOrderKey a, SOrderKey b) noexcept = default;
    };

    using COrderList = std::unordered_map<SOrderKey, std::unique_ptr<SOrder>, SOrderKey::HashFcn>;

    struct SOrdersData
    {
        COrderList orders_ls;           // awaiting confirmation, by local number
        COrderList orders_nm;           // confirmed, by the exchange's number
        std::atomic<t_id> lsorderID{0}; // the last local number given
    };

    COrderManager() = default;
    /// With room for so many buckets in the table of unconfirmed and of confirmed orders.
    COrderManager(std::size_t lsBuckets, std::size_t nmBuckets);

    /// Deletes all orders; local numbers go on behind the one given.
    void Clear(int lastLsOrderId = 0) noexcept;

    /// Null when there is none.
    [[nodiscard]] const SOrder* findOrderByLS(t_id lsOrderId) const noexcept;
    [[nodiscard]] const SOrder* findOrderByNm(t_id ordNum) const noexcept;

    /// Copies, by ascending number.
    [[nodiscard]] std::vector<SOrder> GetOrdersLsSnapshot() const;
    [[nodiscard]] std::vector<SOrder> GetOrdersNmSnapshot() const;
    [[nodiscard]] t_id GetLsOrderIdSnapshot() const noexcept { return m_orders.lsorderID.load(); }

    [[nodiscard]] const SOrdersData& GetOrders() const noexcept { return m_orders; }
    [[nodiscard]] SOrdersData& GetOrdersForUpdate() noexcept { return m_orders; }

private:
    SOrdersData m_orders;
};
