// Memory that ends in the middle of an event: whichever allocation fails, the orders and the list are as they were, and
// the event told again comes out as if nothing had happened.
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FailingAllocations.h"
#include "OrderDesk.h"

namespace test::OrderFailureTest {
namespace {

using namespace desk;
using testing_support::RoomForAllocations;

std::string Picture(const OrderDesk& desk, const DeltaOrderList& deltas)
{
    std::string picture = Words(deltas) + " | " + Words(desk.Order()) + " |";
    for (const auto& orders : {desk.manager.GetOrdersLsSnapshot(), desk.manager.GetOrdersNmSnapshot()})
        for (const COrderManager::SOrder& order : orders)
            picture += " " + std::to_string(order.lsOrderID) + "/" + std::to_string(order.ordnum);
    return picture + " | " + std::to_string(desk.manager.GetLsOrderIdSnapshot());
}

/// Tells an event with room for 0, 1, 2, ... allocations until it comes through; true when it failed before.
bool TellWhileMemoryEnds(OrderDesk& desk, const std::string& event, DeltaOrderList& deltas)
{
    for (long room = 0;; ++room) {
        const std::string before = Picture(desk, deltas);
        bool failed = false;
        try {
            const RoomForAllocations limit(room);
            EXPECT_EQ(desk.Tell(event, deltas), 0U);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        if (!failed) return room > 0;
        EXPECT_EQ(Picture(desk, deltas), before) << event << " with room for " << room;
        if (room > 50) throw std::runtime_error(event + " never came through");
    }
}

TEST(OrderFailure, WhicheverAllocationFailsAnEventChangesNothing)
{
    const Dictionaries dictionaries;
    OrderDesk desk;
    // A list of its own for each event, without room.
    for (const std::string event :
         {"buy 10 100", "taken 7001", "move change 105 14", "trade 4", "cancel 1", "stays", "move leave 95",
          "moved 7002", "move change 95 30", "trade 11", "moved 7002", "cancel 99"}) {
        DeltaOrderList deltas;
        TellWhileMemoryEnds(desk, event, deltas);
        EXPECT_FALSE(testing::Test::HasFailure()) << event;
    }
    EXPECT_EQ(desk.Order(), nullptr);
    EXPECT_TRUE(StandingIn(desk.manager).empty());
}

TEST(OrderFailure, TablesThatAreFullGrowOrStay)
{
    const Dictionaries dictionaries;
    OrderDesk desk;
    DeltaOrderList deltas;
    int failures = 0;
    for (int i = 1; i <= 300; ++i) {
        failures += TellWhileMemoryEnds(desk, "sell 1 " + std::to_string(100 + i % 7), deltas) ? 1 : 0;
        failures += TellWhileMemoryEnds(desk, "taken " + std::to_string(7000 + i), deltas) ? 1 : 0;
    }
    EXPECT_GE(failures, 300); // each order needs memory of its own
    EXPECT_EQ(desk.manager.GetOrdersNmSnapshot().size(), 300U);
    EXPECT_EQ(desk.manager.GetLsOrderIdSnapshot(), 300);
}

TEST(OrderFailure, DictionariesThatCannotBeFilledStayClosed)
{
    for (long room = 0; room < 100; ++room) {
        try {
            const RoomForAllocations limit(room);
            const Dictionaries dictionaries;
            EXPECT_GT(room, 0);
            return;
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(COrderManager::AreDictionariesInited());
        }
    }
    FAIL() << "they were never filled";
}

} // namespace
} // namespace test::OrderFailureTest
