// What a client holds and has ordered, counted in contracts; a deal that fails takes its counts back.
#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "replica/QuantitiesCounters.h"

namespace test::QuantitiesCountersTest {
namespace {

using Enums::InstrumentType;
using Guard = OrdersAndPositionsQuantitiesCounterGuard;
using Quantities = OrdersAndPositionsQuantities;

constexpr Isin FirstIsin = 1;
constexpr Isin SecondIsin = 2;

TEST(QuantitiesCountersTest, WhatWasNeverCountedIsZero)
{
    const OrdersAndPositionsQuantitiesCounter byIsin;
    EXPECT_EQ(byIsin.Get(FirstIsin), Quantities());
    EXPECT_EQ(byIsin.Count(), 0U);
    const QuantitiesCounter byBaseContract;
    EXPECT_EQ(byBaseContract.Get(7).futuresValue, QuantitiesValue());
    EXPECT_EQ(byBaseContract.Get(7).optionsValue, QuantitiesValue());
}

TEST(QuantitiesCountersTest, AConfirmedDealStays)
{
    OrdersAndPositionsQuantitiesCounter counter;
    {
        Guard guard(counter);
        guard.ChangeOrders({10, FirstIsin, true});
        guard.ChangeOrders({4, FirstIsin, false});
        guard.ChangeOrders({-3, FirstIsin, true}); // three of them trade
        guard.ChangePosition(FirstIsin, 3);
        guard.ChangePosition(SecondIsin, -5);
        guard.Confirm();
    }
    EXPECT_EQ(counter.Get(FirstIsin), (Quantities{3, 7, 4}));
    EXPECT_EQ(counter.Get(SecondIsin), (Quantities{-5, 0, 0}));
}

TEST(QuantitiesCountersTest, ADealThatIsNotConfirmedIsTakenBack)
{
    OrdersAndPositionsQuantitiesCounter counter;
    counter.GetForUpdate(FirstIsin) = {1, 2, 3};
    {
        Guard guard(counter);
        guard.ChangeOrders({10, FirstIsin, true});
        guard.ChangePosition(FirstIsin, 6);
        guard.ChangePosition(SecondIsin, 6);
        EXPECT_EQ(counter.Get(FirstIsin), (Quantities{7, 12, 3})); // counted until then
    }
    EXPECT_EQ(counter.Get(FirstIsin), (Quantities{1, 2, 3}));
    EXPECT_EQ(counter.Get(SecondIsin), Quantities());
}

TEST(QuantitiesCountersTest, OnlyWhatCameAfterTheConfirmationIsTakenBack)
{
    OrdersAndPositionsQuantitiesCounter counter;
    {
        Guard guard(counter);
        guard.ChangePosition(FirstIsin, 6);
        guard.Confirm();
        guard.ChangePosition(FirstIsin, 100);
        counter.GetForUpdate(FirstIsin) += {1, 0, 0}; // of somebody else, in between
    }
    EXPECT_EQ(counter.Get(FirstIsin).positionQuantity, 7);
}

TEST(QuantitiesCountersTest, ASumBeyond64BitsIsUndoneAllTheSame)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    OrdersAndPositionsQuantitiesCounter counter;
    counter.GetForUpdate(FirstIsin) = {most, most, -most};
    {
        Guard guard(counter);
        guard.ChangePosition(FirstIsin, most);
        guard.ChangeOrders({most, FirstIsin, true});
        guard.ChangeOrders({std::numeric_limits<std::int64_t>::min(), FirstIsin, false});
    }
    EXPECT_EQ(counter.Get(FirstIsin), (Quantities{most, most, -most}));
}

TEST(QuantitiesCountersTest, EntriesStayWhereTheyAreHoweverManyCome)
{
    OrdersAndPositionsQuantitiesCounter counter;
    {
        Guard guard(counter);
        for (Isin isin = 1; isin <= 1000; ++isin)
            guard.ChangePosition(isin, isin);
        EXPECT_EQ(counter.Get(1000).positionQuantity, 1000);
    }
    for (Isin isin = 1; isin <= 1000; ++isin)
        ASSERT_EQ(counter.Get(isin), Quantities());
    EXPECT_EQ(counter.Count(), 1000U);
    counter.Clear();
    EXPECT_EQ(counter.Count(), 0U);
}

TEST(QuantitiesCountersTest, FuturesAndOptionsOfABaseContractCountApart)
{
    QuantitiesCounter counter;
    counter.ChangePosition(7, InstrumentType::Futures, 5);
    counter.ChangePosition(7, InstrumentType::Option, -2);
    counter.ChangeOrders(7, InstrumentType::Futures, true, 10);
    counter.ChangeOrders(7, InstrumentType::Futures, true, -4);
    counter.ChangeOrders(7, InstrumentType::Option, false, 3);
    counter.ChangeOrders(7, InstrumentType::MultiLeg, false, 1); // a spread is made of futures
    counter.ChangePosition(8, InstrumentType::Futures, 1);
    EXPECT_EQ(counter.Get(7).futuresValue, (QuantitiesValue{5, 6, 1}));
    EXPECT_EQ(counter.Get(7).optionsValue, (QuantitiesValue{-2, 0, 3}));
    EXPECT_EQ(counter.Get(8).futuresValue, (QuantitiesValue{1, 0, 0}));
    counter.Clear();
    EXPECT_EQ(counter.Get(7).futuresValue, QuantitiesValue());
}

} // namespace
} // namespace test::QuantitiesCountersTest
