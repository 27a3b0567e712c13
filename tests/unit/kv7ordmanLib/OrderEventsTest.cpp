// The two-phase life of an order, event by event: the code, what changes in the orders that stand, and what is left.
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "OrderDesk.h"

namespace test::OrderEventsTest {
namespace {

using namespace desk;
using SOrder = COrderManager::SOrder;

constexpr Z9ERR NoOrder = Z9ERR_DEL_ORDER_NOT_EXIST;
constexpr Z9ERR NoMove = Z9ERR_MOVE_ORDER_NOT_EXIST;
constexpr Z9ERR Moving = Z9ERR_ORDER_IS_BEING_MOVED;
constexpr Z9ERR TooMuch = Z9ERR_CHECK_ORDER_WRONG_QUANTITY;

struct Event
{
    const char* told;
    Z9ERR code;
    const char* deltas;
    const char* after;
};

struct OrderEvents : testing::Test
{
    /// Tells the desk the events one by one. At each moment all deltas so far add up to what stands.
    static void Play(OrderDesk& desk, const std::vector<Event>& events)
    {
        Sums sums;
        for (const Event& event : events) {
            SCOPED_TRACE(event.told);
            DeltaOrderList deltas;
            EXPECT_EQ(desk.Tell(event.told, deltas), event.code);
            EXPECT_EQ(Words(deltas), event.deltas);
            EXPECT_EQ(Words(desk.Order()), event.after);
            Add(sums, deltas);
            EXPECT_EQ(sums, StandingIn(desk.manager));
        }
    }
    static void Play(const std::vector<Event>& events)
    {
        OrderDesk desk;
        Play(desk, events);
    }

    /// The same for an order for 10 at 100 that the exchange has taken as number 7001.
    static void PlayTaken(const char* side, const std::vector<Event>& events)
    {
        const std::string sent = side + std::string(" 10 100");
        std::vector<Event> all{{sent.c_str(), 0, "+10@100", "10@100 of 10"}, {"taken 7001", 0, "", "10@100 of 10"}};
        all.insert(all.end(), events.begin(), events.end());
        Play(all);
    }

    Dictionaries dictionaries;
};

TEST_F(OrderEvents, AnOrderIsSentTakenTradedAndGone)
{
    Play({
        {"buy 10 100", 0, "+10@100", "10@100 of 10"},
        {"taken 7001", 0, "", "10@100 of 10"},
        {"trade 4", 0, "-4@100", "6@100 of 10"},
        {"trade 6", 0, "-6@100", "gone"},
        {"trade 1", NoOrder, "", "gone"},
        {"cancel 1", NoOrder, "", "gone"},
        {"move leave 101", NoMove, "", "gone"},
    });
}

TEST_F(OrderEvents, ARefusedOrderTakesItsDeltaBack)
{
    Play({
        {"sell 10 100", 0, "+10@100", "10@100 of 10"},
        {"trade 1", NoOrder, "", "10@100 of 10"},  // nothing trades before the exchange has it
        {"cancel 1", NoOrder, "", "10@100 of 10"}, // nor is it withdrawn by a number that it does not have
        {"refused", 0, "-10@100", "gone"},
        {"refused", NoOrder, "", "gone"},
        {"taken 7001", NoOrder, "", "gone"},
    });
}

TEST_F(OrderEvents, ALateRefusalOfATakenOrderChangesNothing)
{
    PlayTaken("buy", {
                         {"refused", NoOrder, "", "10@100 of 10"},
                         {"taken 7002", NoOrder, "", "10@100 of 10"},
                         {"stays", NoMove, "", "10@100 of 10"}, // it was not being moved
                         {"moved 7002", NoMove, "", "10@100 of 10"},
                     });
}

TEST_F(OrderEvents, ACancellationTakesWhatIsLeftOfItsQuantity)
{
    PlayTaken("buy", {
                         {"cancel 3", 0, "-3@100", "7@100 of 7"}, // what is withdrawn was never to trade
                         {"trade 2", 0, "-2@100", "5@100 of 7"},
                         {"cancel 0", TooMuch, "", "5@100 of 7"},
                         {"cancel -1", TooMuch, "", "5@100 of 7"},
                         {"cancel 7", 0, "-5@100", "gone"}, // the trade came first
                     });
}

TEST_F(OrderEvents, ATradeAboveWhatStandsIsIgnored)
{
    PlayTaken("buy", {
                         {"trade 11", 0, "", "10@100 of 10"},
                         {"trade 0", TooMuch, "", "10@100 of 10"},
                         {"trade -5", TooMuch, "", "10@100 of 10"},
                         {"trade 10", 0, "-10@100", "gone"},
                     });
}

TEST_F(OrderEvents, AMoveToAWorsePriceIsReservedThereAtOnce)
{
    PlayTaken("buy", {
                         {"move leave 105", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 10 of 10"},
                         {"move leave 110", Moving, "", "0@100 10@105 then 10 or 10 of 10"},
                         {"stays", 0, "+10@100 -10@105", "10@100 of 10"},
                         {"move leave 105", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 10 of 10"},
                         {"moved 7002", 0, "", "10@105 of 10"}, // all is there already
                         {"trade 10", 0, "-10@105", "gone"},
                     });
}

TEST_F(OrderEvents, AMoveToABetterPriceStaysReservedAtTheOldOne)
{
    PlayTaken("buy", {
                         {"move leave 95", 0, "", "10@100 0@95 then 10 or 10 of 10"},
                         {"stays", 0, "", "10@100 of 10"},
                         {"move leave 95", 0, "", "10@100 0@95 then 10 or 10 of 10"},
                         {"moved 7002", 0, "-10@100 +10@95", "10@95 of 10"},
                         {"cancel 10", 0, "-10@95", "gone"},
                     });
}

TEST_F(OrderEvents, ALargerQuantityIsReservedAtTheNewPriceAtOnce)
{
    PlayTaken("sell", {
                          {"move change 105 14", 0, "+4@105", "10@100 4@105 then 10 or 14 of 10"}, // a seller likes it
                          {"stays", 0, "-4@105", "10@100 of 10"},
                          {"move change 105 14", 0, "+4@105", "10@100 4@105 then 10 or 14 of 10"},
                          {"moved 7002", 0, "-10@100 +10@105", "14@105 of 14"},
                          {"move change 100 20", 0, "-14@105 +20@100", "0@105 20@100 then 14 or 20 of 14"},
                          {"stays", 0, "+14@105 -20@100", "14@105 of 14"},
                          {"move change 100 20", 0, "-14@105 +20@100", "0@105 20@100 then 14 or 20 of 14"},
                          {"moved 7003", 0, "", "20@100 of 20"},
                      });
}

TEST_F(OrderEvents, ASmallerQuantityIsReleasedOnceItIsConfirmed)
{
    PlayTaken("buy", {
                         {"move change 105 6", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 6 of 10"},
                         {"moved 7002", 0, "-4@105", "6@105 of 6"},
                         {"move change 100 2", 0, "", "6@105 0@100 then 6 or 2 of 6"},
                         {"moved 7003", 0, "-6@105 +2@100", "2@100 of 2"},
                     });
}

TEST_F(OrderEvents, AMoveToTheSamePriceChangesTheQuantityAlone)
{
    PlayTaken("buy", {
                         {"move change 100 12", 0, "+2@100", "10@100 2@100 then 10 or 12 of 10"},
                         {"trade 11", 0, "-11@100", "0@100 1@100 then 0 or 1 of 11"},
                         {"moved 7002", 0, "", "1@100 of 12"},
                         {"move change 100 1", 0, "", "1@100 0@100 then 1 or 1 of 12"},
                         {"moved 7002", 0, "", "1@100 of 12"},
                     });
}

TEST_F(OrderEvents, WhatTradesWhileTheOrderMovesIsGoneWhateverTheAnswer)
{
    PlayTaken("buy", {
                         {"move leave 105", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 10 of 10"},
                         {"trade 4", 0, "-4@105", "0@100 6@105 then 6 or 6 of 10"},
                         {"stays", 0, "+6@100 -6@105", "6@100 of 10"},
                         {"move leave 95", 0, "", "6@100 0@95 then 6 or 6 of 10"},
                         {"trade 1", 0, "-1@100", "5@100 0@95 then 5 or 5 of 10"},
                         {"moved 7002", 0, "-5@100 +5@95", "5@95 of 10"},
                     });
}

TEST_F(OrderEvents, ATradeOfMoreThanTheOldQuantityTakesFromTheNewOne)
{
    PlayTaken("sell", {
                          {"move change 105 14", 0, "+4@105", "10@100 4@105 then 10 or 14 of 10"},
                          {"trade 15", 0, "", "10@100 4@105 then 10 or 14 of 10"}, // above the sum of both
                          {"trade 12", 0, "-10@100 -2@105", "0@100 2@105 then 0 or 2 of 12"},
                          {"moved 7002", 0, "", "2@105 of 14"},
                          {"trade 2", 0, "-2@105", "gone"},
                      });
}

TEST_F(OrderEvents, AMoveRefusedAfterAllOfTheOldQuantityHasTradedEndsTheOrder)
{
    PlayTaken("sell", {
                          {"move change 105 14", 0, "+4@105", "10@100 4@105 then 10 or 14 of 10"},
                          {"trade 12", 0, "-10@100 -2@105", "0@100 2@105 then 0 or 2 of 12"},
                          {"stays", 0, "-2@105", "gone"},
                          {"stays", NoMove, "", "gone"},
                      });
}

TEST_F(OrderEvents, AMoveMadeAfterAllOfTheNewQuantityHasTradedEndsTheOrder)
{
    PlayTaken("buy", {
                         {"move change 105 3", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 3 of 10"},
                         {"trade 5", 0, "-5@105", "0@100 5@105 then 5 or 0 of 10"},
                         {"moved 7002", 0, "-5@105", "gone"},
                     });
}

TEST_F(OrderEvents, AllThatStandsTradedEndsAMovingOrderToo)
{
    PlayTaken("buy", {
                         {"move leave 105", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 10 of 10"},
                         {"trade 10", 0, "-10@105", "gone"},
                         {"moved 7002", NoMove, "", "gone"},
                     });
}

TEST_F(OrderEvents, AMovingOrderMayBeCancelledInPartOrWhole)
{
    PlayTaken("sell", {
                          {"move change 105 14", 0, "+4@105", "10@100 4@105 then 10 or 14 of 10"},
                          {"cancel 3", 0, "-3@100", "7@100 4@105 then 7 or 11 of 7"},
                          {"cancel 99", 0, "-7@100 -4@105", "gone"},
                          {"stays", NoMove, "", "gone"},
                      });
}

TEST_F(OrderEvents, ALateAnswerToAnEarlierMoveDoesNotCloseTheNextOne)
{
    OrderDesk desk;
    Play(desk, {
                   {"buy 10 100", 0, "+10@100", "10@100 of 10"},
                   {"taken 7001", 0, "", "10@100 of 10"},
                   {"move leave 105", 0, "-10@100 +10@105", "0@100 10@105 then 10 or 10 of 10"},
                   {"stays", 0, "+10@100 -10@105", "10@100 of 10"},
               });
    const t_id first = desk.ls;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("move leave 110", deltas), 0U);
    ASSERT_NE(desk.ls, first);
    deltas.clear();
    EXPECT_EQ(desk.manager.RejectMove(7001, first, deltas), NoMove);
    EXPECT_EQ(desk.manager.ConfirmMove(7001, first, 7002, deltas), NoMove);
    EXPECT_EQ(Words(deltas), "");
    EXPECT_EQ(Words(desk.Order()), "0@100 10@110 then 10 or 10 of 10");
}

TEST_F(OrderEvents, NothingOfAMoveIsLeftInTheOrderOnceItIsAnswered)
{
    for (const char* const answer : {"stays", "moved 7001"}) {
        OrderDesk desk;
        DeltaOrderList deltas;
        for (const char* const event : {"buy 10 100", "taken 7001", "move change 105 14", answer})
            ASSERT_EQ(desk.Tell(event, deltas), 0U);
        const SOrder& order = *desk.Order();
        EXPECT_FALSE(order.isMoving);
        EXPECT_EQ(order.lsOrderID, 0);
        EXPECT_EQ(order.newPrice, t_bprice_int());
        EXPECT_EQ(order.newQuantity, 0);
        EXPECT_EQ(order.movedQuantity, 0);
        EXPECT_EQ(order.curQuantity, order.quantity);
        EXPECT_EQ(desk.manager.RejectMove(7001, 0, deltas), NoMove); // the local number of nothing
        EXPECT_EQ(desk.manager.ConfirmMove(7001, 0, 7001, deltas), NoMove);
    }
}

// Ten sent at 100, two of them traded: eight are left. By mode and quantity asked for, what will be left.
TEST_F(OrderEvents, MovesByPriceSideAndMode)
{
    struct Mode
    {
        const char* words;
        std::int64_t moved; // 0 where the move is refused
    };
    const Mode modes[] = {
        {"leave %d", 8},    {"leave %d -3", 8},   {"leave %d 99", 8}, // the quantity is not looked at
        {"change %d 6", 6}, {"change %d 12", 12}, {"change %d 0", 0}, {"change %d -1", 0},
        {"check %d 6", 6},  {"check %d 8", 8},    {"check %d 9", 0},  {"check %d 0", 0},
        {"total %d 6", 4},  {"total %d 12", 10},  {"total %d 3", 1},  {"total %d 2", 0}, // two of two have traded
    };
    struct Price
    {
        const char* sent;
        std::int32_t instrument;
        std::int64_t price;
        bool worse;
    };
    const Price prices[] = {
        {"buy", Plain, 105, true},    {"buy", Plain, 95, false},    {"buy", Plain, 100, false},
        {"sell", Plain, 105, false},  {"sell", Plain, 95, true},    {"sell", Plain, 100, false},
        {"buy", Reverse, 105, false}, {"buy", Reverse, 95, true},   {"buy", Reverse, 100, false},
        {"sell", Reverse, 105, true}, {"sell", Reverse, 95, false}, {"sell", Reverse, 100, false},
    };
    for (const Price& price : prices)
        for (const Mode& mode : modes)
            for (const bool made : {true, false}) {
                std::string event = "move " + std::string(mode.words);
                event.replace(event.find("%d"), 2, std::to_string(price.price));
                SCOPED_TRACE(std::string(price.sent) + (price.instrument == Reverse ? " reverse, " : ", ") + event);

                OrderDesk desk(price.instrument);
                DeltaOrderList deltas;
                ASSERT_EQ(desk.Tell(price.sent + std::string(" 10 100"), deltas), 0U);
                ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
                ASSERT_EQ(desk.Tell("trade 2", deltas), 0U);
                const bool isBuying = price.sent == std::string("buy");
                Sums before;
                Add(before, t_bprice_int(100), isBuying, 8);

                ASSERT_EQ(desk.Tell(event, deltas), mode.moved == 0 ? TooMuch : Z9ERR_OK);
                Sums reserved;
                const std::int64_t larger = mode.moved > 8 ? mode.moved : 8;
                Add(reserved, t_bprice_int(100), isBuying, price.worse && mode.moved != 0 ? 0 : 8);
                if (mode.moved != 0)
                    Add(reserved, t_bprice_int(price.price), isBuying, price.worse ? larger : larger - 8);
                EXPECT_EQ(StandingIn(desk.manager), reserved);
                if (mode.moved == 0) continue;

                ASSERT_EQ(desk.Tell(made ? "moved 7002" : "stays", deltas), 0U);
                Sums after;
                Add(after, t_bprice_int(price.price), isBuying, mode.moved);
                EXPECT_EQ(StandingIn(desk.manager), made ? after : before);
                Sums ofDeltas;
                Add(ofDeltas, deltas);
                EXPECT_EQ(ofDeltas, made ? after : before);
                EXPECT_EQ(desk.Order()->orgQuantity, made ? 2 + mode.moved : 10); // two have traded
            }
}

TEST_F(OrderEvents, AnUnknownModeIsRefused)
{
    OrderDesk desk;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("buy 10 100", deltas), 0U);
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
    t_id number = 55;
    EXPECT_EQ(desk.manager.MoveOrder(7001, static_cast<Enums::MoveOrderMode>(4), t_bprice_int(1), 1, number, deltas),
              Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(number, 55);
    EXPECT_EQ(Words(desk.Order()), "10@100 of 10");
}

TEST_F(OrderEvents, TheOrderRecordIsThatOfTheOrderSent)
{
    OrderDesk desk(Spread);
    DeltaOrderList deltas;
    t_id number = 0;
    ASSERT_EQ(desk.manager.AddOrder(Spread, t_bprice_int(-3), t_bprice_int(7), 4, -10, number, deltas, "AA01001XYZ",
                                    COrderManager::OrderFlags::System),
              0U);
    EXPECT_EQ(number, 1);
    const SOrder* const order = desk.manager.findOrderByLS(1);
    ASSERT_NE(order, nullptr);
    EXPECT_STREQ(order->clientCode, "AA01001"); // seven characters and no more
    EXPECT_EQ(order->ordnum, 0);
    EXPECT_EQ(order->lsOrderID, 1);
    EXPECT_EQ(order->price, t_bprice_int(-3));
    EXPECT_EQ(order->price1, t_bprice_int(7));
    EXPECT_EQ(order->instrumentID, Spread);
    EXPECT_EQ(order->isinID, FirstIsin + Spread);
    EXPECT_EQ(order->quantity, 4); // six of the ten have traded before
    EXPECT_EQ(order->curQuantity, 4);
    EXPECT_EQ(order->newQuantity, 0);
    EXPECT_EQ(order->orgQuantity, 10);
    EXPECT_FALSE(order->isMoving);
    EXPECT_TRUE(order->isSystem);
    EXPECT_FALSE(order->isBuying);
    EXPECT_EQ(order->instrType, KeyPriceType::Type::MultiLeg);
    EXPECT_FALSE(order->isReverse);

    ASSERT_EQ(desk.manager.ConfirmAdd(1, 7001), 0U);
    EXPECT_EQ(desk.manager.findOrderByLS(1), nullptr);
    EXPECT_EQ(desk.manager.findOrderByNm(7001)->ordnum, 7001);
    EXPECT_EQ(desk.manager.findOrderByNm(7001)->lsOrderID, 0);
}

TEST_F(OrderEvents, ADeltaSaysWhatTheMarginNeedsToKnow)
{
    DeltaOrderList deltas;
    ASSERT_EQ(OrderDesk(Spread).Tell("sell 10 100", deltas), 0U);
    ASSERT_EQ(OrderDesk(Reverse).Tell("buy 5 100", deltas), 0U);
    ASSERT_EQ(deltas.size(), 2U);
    const SClearingDeltaOrder& spread = deltas[0];
    EXPECT_EQ(spread.CalculatedPrice.calculatedPrice, t_bprice_int(100));
    EXPECT_EQ(spread.CalculatedPrice.direction, KeyPriceType::Direction::Sell);
    EXPECT_EQ(spread.CalculatedPrice.type, KeyPriceType::Type::MultiLeg);
    EXPECT_EQ(spread.instrumentID, Spread);
    EXPECT_EQ(spread.isin, FirstIsin + Spread);
    EXPECT_TRUE(spread.isSystem);
    EXPECT_FALSE(spread.isBuying);
    EXPECT_EQ(spread.orderInfo.initializationType, SOrderInfo::InitializationType::FullFill);
    EXPECT_EQ(spread.orderInfo.multilegIsin, FirstIsin + Spread);
    EXPECT_EQ(spread.orderInfo.deltaQuantity, 10);

    const SClearingDeltaOrder& ordinary = deltas[1];
    EXPECT_EQ(ordinary.CalculatedPrice.direction, KeyPriceType::Direction::Buy);
    EXPECT_EQ(ordinary.CalculatedPrice.type, KeyPriceType::Type::Ordinal);
    EXPECT_TRUE(ordinary.isBuying);
    EXPECT_EQ(ordinary.orderInfo.multilegIsin, 0);
}

TEST_F(OrderEvents, AnOrderInAnInstrumentOfNobodyIsRefused)
{
    DeltaOrderList deltas;
    OrderDesk unknown(99);
    EXPECT_EQ(unknown.Tell("buy 10 100", deltas), Z9ERR_INSTRUMENT_ABSENT);
    OrderDesk withoutMode(WithoutMode);
    EXPECT_EQ(withoutMode.Tell("buy 10 100", deltas), Z9ERR_CHECK_TRADEMODES_NOT_FOUND);
    EXPECT_TRUE(deltas.empty());
    EXPECT_EQ(unknown.manager.GetLsOrderIdSnapshot(), 0); // no number was drawn
    EXPECT_EQ(withoutMode.Order(), nullptr);
}

TEST_F(OrderEvents, QuantitiesThatCannotBeCountedAreRefused)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    struct Case
    {
        std::int64_t quantity, signedQuantity;
        Z9ERR code;
    };
    const Case cases[] = {
        {0, 10, TooMuch}, {-1, 10, TooMuch},   {11, 10, TooMuch}, {11, -10, TooMuch}, {1, 0, TooMuch},
        {0, 0, TooMuch},  {1, least, TooMuch}, {most, most, 0},   {most, -most, 0},   {least, least, TooMuch},
    };
    for (const Case& c : cases) {
        OrderDesk desk;
        DeltaOrderList deltas;
        t_id number = 0;
        EXPECT_EQ(desk.manager.AddOrder(Plain, t_bprice_int(100), {}, c.quantity, c.signedQuantity, number, deltas, "",
                                        COrderManager::OrderFlags::None),
                  c.code)
            << c.quantity << " of " << c.signedQuantity;
        EXPECT_EQ(deltas.size(), c.code == 0 ? 1U : 0U);
        EXPECT_EQ(desk.manager.GetLsOrderIdSnapshot(), c.code == 0 ? 1 : 0);
    }
}

TEST_F(OrderEvents, AQuantityThatTheListCannotHoldIsRefusedAndNothingIsAdded)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    OrderDesk desk;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("buy " + std::to_string(most) + " 105", deltas), 0U);
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);

    OrderDesk other;
    EXPECT_EQ(other.Tell("buy 1 105", deltas), TooMuch);
    EXPECT_EQ(other.Order(), nullptr);

    // A move that fits at one price and not at the other is not made at either.
    ASSERT_EQ(other.Tell("buy 2 100", deltas), 0U);
    ASSERT_EQ(other.Tell("taken 7001", deltas), 0U);
    const std::string before = Words(deltas);
    EXPECT_EQ(other.Tell("move leave 105", deltas), TooMuch);
    EXPECT_EQ(Words(deltas), before);
    EXPECT_EQ(Words(other.Order()), "2@100 of 2");
}

TEST_F(OrderEvents, WhatHasTradedAndWhatIsAskedForMustBeCountedTogether)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    OrderDesk desk;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("buy 10 100", deltas), 0U);
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
    ASSERT_EQ(desk.Tell("trade 1", deltas), 0U);
    EXPECT_EQ(desk.Tell("move change 100 " + std::to_string(most), deltas), TooMuch);
    EXPECT_EQ(desk.Tell("move change 100 " + std::to_string(most - 1), deltas), 0U);
    EXPECT_EQ(desk.Tell("trade " + std::to_string(most - 2), deltas), 0U);
    EXPECT_EQ(desk.Order()->orgQuantity, most - 1);
    EXPECT_EQ(desk.Tell("moved 7001", deltas), 0U);
    EXPECT_EQ(desk.Order()->orgQuantity, most);
    EXPECT_EQ(desk.Order()->quantity, 1);
}

TEST_F(OrderEvents, ANumberOfAnotherOrderOrOfNobodyIsRefused)
{
    OrderDesk desk;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("buy 10 100", deltas), 0U);
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
    ASSERT_EQ(desk.Tell("buy 5 101", deltas), 0U);
    const t_id second = desk.ls;
    EXPECT_EQ(desk.manager.ConfirmAdd(second, 7001), Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(desk.manager.ConfirmAdd(second, 0), Z9ERR_COMMON_WRONG_ARGUMENTS);
    ASSERT_NE(desk.manager.findOrderByLS(second), nullptr);
    ASSERT_EQ(desk.manager.ConfirmAdd(second, 7002), 0U);
    desk.nm = 7002;
    deltas.clear();
    ASSERT_EQ(desk.Tell("move leave 105", deltas), 0U);
    deltas.clear();
    EXPECT_EQ(desk.Tell("moved 7001", deltas), Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(desk.Tell("moved 0", deltas), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_TRUE(deltas.empty());
    EXPECT_EQ(desk.Tell("moved 7003", deltas), 0U);
    EXPECT_EQ(desk.manager.findOrderByNm(7002), nullptr);
    EXPECT_EQ(desk.manager.findOrderByNm(7003)->ordnum, 7003);
    EXPECT_EQ(desk.manager.findOrderByNm(7003)->quantity, 5);
    EXPECT_EQ(desk.manager.findOrderByNm(7001)->quantity, 10);
}

TEST_F(OrderEvents, AnEventShowsTheOrderAsItLeavesIt)
{
    OrderDesk desk;
    DeltaOrderList deltas;
    ASSERT_EQ(desk.Tell("buy 10 100", deltas), 0U);
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
    ASSERT_EQ(desk.Tell("trade 4", deltas), 0U);
    EXPECT_EQ(Words(&desk.state), "6@100 of 10");
    desk.state = {};
    ASSERT_EQ(desk.Tell("trade 7", deltas), 0U);
    EXPECT_EQ(Words(&desk.state), "6@100 of 10"); // ignored, and shown as it stands
    ASSERT_EQ(desk.Tell("move leave 105", deltas), 0U);
    EXPECT_EQ(Words(&desk.state), "0@100 6@105 then 6 or 6 of 10");
    desk.state = {};
    ASSERT_EQ(desk.Tell("move leave 110", deltas), Moving);
    EXPECT_EQ(Words(&desk.state), "0@100 6@105 then 6 or 6 of 10");
    ASSERT_EQ(desk.Tell("cancel 6", deltas), 0U);
    EXPECT_EQ(Words(&desk.state), "0@100 0@105 then 0 or 0 of 4"); // gone: four have traded
}

TEST_F(OrderEvents, WorseIsDearerForABuyerAndCheaperForASellerUnlessReversed)
{
    SOrder order;
    order.price = t_bprice_int(100);
    order.isBuying = true;
    EXPECT_TRUE(order.isPriceWorse(t_bprice_int::FromPlain(10000001), false));
    EXPECT_FALSE(order.isPriceWorse(t_bprice_int(100), false));
    EXPECT_FALSE(order.isPriceWorse(t_bprice_int(99), false));
    EXPECT_TRUE(order.isPriceWorse(t_bprice_int(99), true));
    EXPECT_FALSE(order.isPriceWorse(t_bprice_int(100), true));
    order.isBuying = false;
    EXPECT_TRUE(order.isPriceWorse(t_bprice_int::FromPlain(9999999), false));
    EXPECT_FALSE(order.isPriceWorse(t_bprice_int(100), false));
    EXPECT_FALSE(order.isPriceWorse(t_bprice_int(101), false));
    EXPECT_TRUE(order.isPriceWorse(t_bprice_int(101), true));
}

TEST_F(OrderEvents, DeltasOfOnePriceAndSideAreOneRecord)
{
    SOrder order;
    order.isinID = 7;
    order.price = t_bprice_int(100);
    order.isBuying = true;
    order.instrType = KeyPriceType::Type::Ordinal;
    DeltaOrderList deltas;
    ASSERT_EQ(order.addDelta(5, deltas), 0U);
    ASSERT_EQ(order.addDelta(t_bprice_int(101), 3, deltas), 0U);
    order.isSystem = true; // the margin does not tell such orders apart: the same record
    ASSERT_EQ(order.addDelta(2, deltas), 0U);
    EXPECT_EQ(Words(deltas), "+7@100 +3@101");
    EXPECT_FALSE(deltas[0].isSystem);

    order.isBuying = false;
    ASSERT_EQ(order.addDelta(1, deltas), 0U);
    order.instrType = KeyPriceType::Type::MultiLeg;
    ASSERT_EQ(order.addDelta(1, deltas), 0U);
    order.isinID = 8; // another instrument is another book
    ASSERT_EQ(order.addDelta(1, deltas), 0U);
    EXPECT_EQ(Words(deltas), "+7@100 +3@101 +1@100 +1@100 +1@100");

    order.isinID = 7;
    order.isBuying = true;
    order.instrType = KeyPriceType::Type::Ordinal;
    ASSERT_EQ(order.addDelta(-7, deltas), 0U);
    ASSERT_EQ(order.addDelta(t_bprice_int(102), 0, deltas), 0U);   // no change is no record
    EXPECT_EQ(Words(deltas), "0@100 +3@101 +1@100 +1@100 +1@100"); // what came to nothing keeps its place
}

// An order was restored under 3, the numbering behind 1: it waits there, and 3 is passed over.
TEST_F(OrderEvents, ANumberThatAnOrderHasIsNotGivenToAnother)
{
    OrderDesk desk;
    desk.manager.Clear(1);
    auto restored = std::make_unique<SOrder>();
    restored->lsOrderID = 3;
    restored->price = t_bprice_int(90);
    restored->isBuying = true;
    restored->quantity = restored->curQuantity = restored->orgQuantity = 7;
    desk.manager.GetOrdersForUpdate().orders_ls.emplace(COrderManager::SOrderKey{3}, std::move(restored));

    DeltaOrderList deltas;
    for (const t_id expected : {2, 4, 5}) {
        ASSERT_EQ(desk.Tell("buy 10 100", deltas), 0U);
        EXPECT_EQ(desk.ls, expected);
    }
    EXPECT_EQ(Words(deltas), "+30@100");
    EXPECT_EQ(Words(desk.manager.findOrderByLS(3)), "7@90 of 7");
    EXPECT_EQ(desk.manager.GetOrders().orders_ls.size(), 4U);

    // Nor is it a move's.
    desk.manager.GetOrdersForUpdate().lsorderID = 2;
    ASSERT_EQ(desk.Tell("taken 7001", deltas), 0U);
    ASSERT_EQ(desk.Tell("move leave 105", deltas), 0U);
    EXPECT_EQ(desk.ls, 5) << "2, 3 and 4 are taken; 5 has become 7001";
}

// 0 is the key under which a new order waits for its number.
TEST_F(OrderEvents, AnOrderRestoredUnderZeroIsNotLost)
{
    OrderDesk desk;
    desk.manager.GetOrdersForUpdate().orders_ls.emplace(COrderManager::SOrderKey{0}, std::make_unique<SOrder>());
    DeltaOrderList deltas;
    EXPECT_EQ(desk.Tell("buy 10 100", deltas), Z9ERR_COMMON_DUPLICATE);
    EXPECT_TRUE(deltas.empty());
    EXPECT_EQ(desk.manager.GetOrders().orders_ls.size(), 1U);
    EXPECT_EQ(desk.manager.GetLsOrderIdSnapshot(), 0);
}

// A counter below 0 would otherwise come to 0.
TEST_F(OrderEvents, ZeroIsNobodysNumber)
{
    OrderDesk desk;
    desk.manager.GetOrdersForUpdate().lsorderID = -1;
    DeltaOrderList deltas;
    EXPECT_EQ(desk.Tell("buy 10 100", deltas), 0U);
    EXPECT_EQ(desk.ls, 1);
    EXPECT_NE(desk.manager.findOrderByLS(1), nullptr);
}

} // namespace
} // namespace test::OrderEventsTest
