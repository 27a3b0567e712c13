// The dictionaries that all order managers share: opened once, filled row by row, closed again.
#include <limits>

#include <gtest/gtest.h>

#include "OrderDesk.h"

namespace test::OrderDictionariesTest {
namespace {

using SInstrument = COrderManager::SInstrument;
using STradeMode = COrderManager::STradeMode;

constexpr std::int32_t NobodysId = std::numeric_limits<std::int32_t>::min();

struct OrderDictionaries : testing::Test
{
    ~OrderDictionaries() override { COrderManager::ClearDictionaries(); }
};

SInstrument Instrument(std::int32_t id, Isin isin) { return {id, isin, 1, false, KeyPriceType::Type::Ordinal}; }

TEST_F(OrderDictionaries, AreClosedUntilInit)
{
    EXPECT_FALSE(COrderManager::AreDictionariesInited());
    EXPECT_EQ(COrderManager::InsertInstrument(Instrument(1, 10)), Z9ERR_COMMON_NOT_INITIALIZED);
    EXPECT_EQ(COrderManager::InsertTradeMode({}), Z9ERR_COMMON_NOT_INITIALIZED);
    EXPECT_EQ(COrderManager::FindInstrument(1), nullptr);
    EXPECT_EQ(COrderManager::FindTradeMode(0), nullptr);
    desk::OrderDesk desk;
    DeltaOrderList deltas;
    EXPECT_EQ(desk.Tell("buy 1 1", deltas), Z9ERR_INSTRUMENT_ABSENT);
    COrderManager::ClearDictionaries(); // harmless
}

TEST_F(OrderDictionaries, TakeRowsOnceTheyAreOpen)
{
    ASSERT_EQ(COrderManager::Init(), 0U);
    EXPECT_TRUE(COrderManager::AreDictionariesInited());
    EXPECT_EQ(COrderManager::FindInstrument(1), nullptr);
    for (std::int32_t id = -500; id < 500; ++id)
        ASSERT_EQ(COrderManager::InsertInstrument(Instrument(id, 1000 + id)), 0U);
    ASSERT_EQ(COrderManager::InsertTradeMode({7, Enums::TradeModeStatus::Open, Enums::AuctionType::Opening}), 0U);
    for (std::int32_t id = -500; id < 500; ++id) {
        ASSERT_NE(COrderManager::FindInstrument(id), nullptr);
        EXPECT_EQ(COrderManager::FindInstrument(id)->Isin, 1000 + id);
    }
    ASSERT_NE(COrderManager::FindTradeMode(7), nullptr);
    EXPECT_EQ(COrderManager::FindTradeMode(7)->Status, Enums::TradeModeStatus::Open);
    EXPECT_EQ(COrderManager::FindTradeMode(7)->AuctionType, Enums::AuctionType::Opening);
    EXPECT_EQ(COrderManager::FindTradeMode(8), nullptr);
}

TEST_F(OrderDictionaries, AreOfAllManagersAndFilledOnce)
{
    ASSERT_EQ(COrderManager::Init({Instrument(1, 10)}, {STradeMode{1}}), 0U);
    ASSERT_EQ(COrderManager::Init({Instrument(2, 20)}, {STradeMode{2}}), 0U); // they are open: nothing happens
    ASSERT_EQ(COrderManager::Init(), 0U);
    EXPECT_NE(COrderManager::FindInstrument(1), nullptr);
    EXPECT_EQ(COrderManager::FindInstrument(2), nullptr);
    EXPECT_EQ(COrderManager::FindTradeMode(2), nullptr);
    desk::OrderDesk first(1);
    desk::OrderDesk second(1);
    DeltaOrderList deltas;
    EXPECT_EQ(first.Tell("buy 1 1", deltas), 0U);
    EXPECT_EQ(second.Tell("buy 1 1", deltas), 0U);

    COrderManager::ClearDictionaries();
    EXPECT_FALSE(COrderManager::AreDictionariesInited());
    EXPECT_EQ(COrderManager::FindInstrument(1), nullptr);
    EXPECT_EQ(first.Tell("taken 7001", deltas), 0U); // an order that stands has all it needs
    EXPECT_EQ(first.Tell("trade 1", deltas), 0U);
    ASSERT_EQ(COrderManager::Init({Instrument(2, 20)}, {}), 0U);
    EXPECT_EQ(COrderManager::FindInstrument(1), nullptr);
    EXPECT_NE(COrderManager::FindInstrument(2), nullptr);
}

TEST_F(OrderDictionaries, RefuseARepeatedIdAndTheIdThatIsNobodys)
{
    EXPECT_EQ(COrderManager::Init({Instrument(1, 10), Instrument(1, 11)}, {}), Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(COrderManager::Init({Instrument(1, 10)}, {STradeMode{1}, STradeMode{1}}), Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(COrderManager::Init({Instrument(NobodysId, 10)}, {}), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_FALSE(COrderManager::AreDictionariesInited());
    EXPECT_EQ(COrderManager::FindInstrument(1), nullptr);

    ASSERT_EQ(COrderManager::Init({Instrument(1, 10)}, {STradeMode{1}}), 0U);
    EXPECT_EQ(COrderManager::InsertInstrument(Instrument(1, 11)), Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(COrderManager::FindInstrument(1)->Isin, 10); // the row stays
    EXPECT_EQ(COrderManager::InsertTradeMode({1, Enums::TradeModeStatus::Open, Enums::AuctionType::None}),
              Z9ERR_COMMON_DUPLICATE);
    EXPECT_EQ(COrderManager::FindTradeMode(1)->Status, Enums::TradeModeStatus::Closed);
    EXPECT_EQ(COrderManager::InsertInstrument(Instrument(NobodysId, 10)), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(COrderManager::InsertTradeMode({NobodysId, Enums::TradeModeStatus::Open, Enums::AuctionType::None}),
              Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(COrderManager::FindInstrument(NobodysId), nullptr);
}

} // namespace
} // namespace test::OrderDictionariesTest
