#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <utility>

#include "OrderManager.h"

namespace test::OrderManagerTest {
namespace {

void Put(COrderManager::COrderList& orders, t_id number, std::int64_t quantity)
{
    auto order = std::make_unique<COrderManager::SOrder>();
    order->quantity = quantity;
    std::memcpy(order->clientCode, "AA00001", sizeof order->clientCode);
    orders.emplace(COrderManager::SOrderKey{number}, std::move(order));
}

TEST(OrderManager, StartsWithoutOrders)
{
    const COrderManager manager;
    EXPECT_TRUE(manager.GetOrders().orders_ls.empty());
    EXPECT_TRUE(manager.GetOrders().orders_nm.empty());
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 0);
    EXPECT_EQ(manager.findOrderByLS(1), nullptr);
    EXPECT_EQ(manager.findOrderByNm(1), nullptr);
}

TEST(OrderManager, HasRoomForTheOrdersThatItWasMadeFor)
{
    const COrderManager manager(1024, 8192);
    EXPECT_GE(manager.GetOrders().orders_ls.bucket_count(), 1024U);
    EXPECT_GE(manager.GetOrders().orders_nm.bucket_count(), 8192U);
}

TEST(OrderManager, FindsAnOrderInItsOwnTableOnly)
{
    COrderManager manager;
    Put(manager.GetOrdersForUpdate().orders_ls, 5, 50);
    Put(manager.GetOrdersForUpdate().orders_nm, 900000000001, 60);
    ASSERT_NE(manager.findOrderByLS(5), nullptr);
    EXPECT_EQ(manager.findOrderByLS(5)->quantity, 50);
    EXPECT_EQ(manager.findOrderByNm(5), nullptr);
    ASSERT_NE(manager.findOrderByNm(900000000001), nullptr);
    EXPECT_EQ(manager.findOrderByLS(900000000001), nullptr);
}

TEST(OrderManager, SnapshotsAreCopiesByAscendingNumber)
{
    COrderManager manager;
    for (const t_id number : {30, 10, 20})
        Put(manager.GetOrdersForUpdate().orders_ls, number, number);
    Put(manager.GetOrdersForUpdate().orders_nm, 7, 70);
    manager.GetOrdersForUpdate().lsorderID = 30;

    const auto waiting = manager.GetOrdersLsSnapshot();
    const auto confirmed = manager.GetOrdersNmSnapshot();
    manager.Clear();
    ASSERT_EQ(waiting.size(), 3U);
    EXPECT_EQ(waiting[0].quantity, 10);
    EXPECT_EQ(waiting[1].quantity, 20);
    EXPECT_EQ(waiting[2].quantity, 30);
    EXPECT_STREQ(waiting[0].clientCode, "AA00001");
    ASSERT_EQ(confirmed.size(), 1U);
    EXPECT_EQ(confirmed[0].quantity, 70);
}

TEST(OrderManager, ClearDeletesAllOrdersAndSetsTheLocalNumber)
{
    COrderManager manager(1024, 8192);
    Put(manager.GetOrdersForUpdate().orders_ls, 1, 1);
    Put(manager.GetOrdersForUpdate().orders_nm, 2, 2);
    manager.GetOrdersForUpdate().lsorderID = 17;
    manager.Clear(0);
    EXPECT_TRUE(manager.GetOrdersLsSnapshot().empty());
    EXPECT_TRUE(manager.GetOrdersNmSnapshot().empty());
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 0);
    EXPECT_GE(manager.GetOrders().orders_nm.bucket_count(), 8192U) << "the room stays";
    manager.Clear(40);
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 40);
}

TEST(OrderManager, ALocalNumberBelowZeroCountsAsZero)
{
    COrderManager manager;
    for (const int last : {-1, std::numeric_limits<int>::min()}) {
        manager.Clear(last);
        EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 0);
    }
}

} // namespace
} // namespace test::OrderManagerTest
