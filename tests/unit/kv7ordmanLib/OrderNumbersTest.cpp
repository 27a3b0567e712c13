// Local numbers, drawn by several threads.
#include <algorithm>
#include <cstddef>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OrderManager.h"

namespace test::OrderNumbersTest {
namespace {

using SOrder = COrderManager::SOrder;

constexpr std::size_t ThreadCount = 4;

template <class Work>
void InThreads(const Work& work)
{
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < ThreadCount; ++thread)
        threads.emplace_back([&work, thread] { work(thread); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(OrderNumbers, AreGivenOneByOne)
{
    COrderManager manager;
    SOrder order;
    EXPECT_EQ(manager.nextLSOrderId(order, 0), 1);
    EXPECT_EQ(order.lsOrderID, 1);
    EXPECT_EQ(manager.nextLSOrderId(order, 0), 2);
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 2);
}

TEST(OrderNumbers, GoOnBehindANumberThatIsGivenAndNeverBack)
{
    COrderManager manager;
    SOrder order;
    EXPECT_EQ(manager.nextLSOrderId(order, 50), 50);
    EXPECT_EQ(order.lsOrderID, 50);
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 50);
    EXPECT_EQ(manager.nextLSOrderId(order, 20), 20); // the order takes it, the numbering does not
    EXPECT_EQ(order.lsOrderID, 20);
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), 50);
    EXPECT_EQ(manager.nextLSOrderId(order, 0), 51);
}

TEST(OrderNumbers, AreGivenOnceHoweverManyThreadsAsk)
{
    constexpr std::size_t count = 20000;
    COrderManager manager;
    std::vector<t_id> numbers(ThreadCount * count);
    InThreads([&](std::size_t thread) {
        SOrder order;
        for (std::size_t i = 0; i < count; ++i)
            numbers[thread * count + i] = manager.nextLSOrderId(order, 0);
    });
    std::sort(numbers.begin(), numbers.end());
    std::vector<t_id> all(numbers.size());
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(numbers, all);
}

TEST(OrderNumbers, EndAtTheLargestThatAnyThreadGave)
{
    constexpr std::size_t count = 20000;
    COrderManager manager;
    InThreads([&](std::size_t thread) {
        SOrder order;
        t_id last = 0;
        for (std::size_t i = 1; i <= count; ++i) {
            manager.nextLSOrderId(order, static_cast<t_id>(i * ThreadCount + thread));
            const t_id now = manager.GetLsOrderIdSnapshot();
            EXPECT_GE(now, order.lsOrderID);
            EXPECT_GE(now, last);
            last = now;
        }
    });
    EXPECT_EQ(manager.GetLsOrderIdSnapshot(), static_cast<t_id>(count * ThreadCount + ThreadCount - 1));
}

} // namespace
} // namespace test::OrderNumbersTest
