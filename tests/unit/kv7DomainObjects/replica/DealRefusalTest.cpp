// Deals that are refused before anything of them is booked, and what they leave behind: nothing.
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "DealTree.h"

namespace test::DealRefusalTest {
namespace {

using Enums::MarginRule;
using money_orchestrator::ProcessClearingTrade;
using money_orchestrator::ProcessTrade;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

constexpr std::int32_t TradeDear = 108; // FUT at a rate that no sum of money holds twice

std::size_t RecordsOf(const DealTree& tree)
{
    std::size_t records = 0;
    for (const ParticipantBase* const level : tree.FirstAndAbove())
        records += level->GetPositionCalculator().GetPositions().size();
    return records;
}

Z9ERR Clear(DealTree& tree, Isin isin, t_bprice_int price, std::int64_t quantity)
{
    PositionSet positions;
    return ProcessClearingTrade(tree.first, isin, price, quantity, tree.vectors, positions, false);
}

t_bprice_int NoAmount()
{
    t_bprice_int price;
    price.SetNAN();
    return price;
}

// Otherwise a record without contracts would stand in the way of the position that a session starts with.
TEST(DealRefusalTest, AnUnknownLegAndAFeeThatDoesNotFitLeaveNoRecords)
{
    for (const MarginRule rule : {Gross, HalfNetting, Netting}) {
        DealTree tree(rule, rule);
        tree.AddTradingInstrument(TradeDear, FUT, 9e13);
        EXPECT_EQ(tree.Trade(tree.first, TradeBaseless, 800.0, 1), Z9ERR_INSTRUMENT_ABSENT);
        EXPECT_EQ(Clear(tree, UnknownIsin, t_bprice_int(800.0), 1), Z9ERR_INSTRUMENT_ABSENT);
        EXPECT_EQ(FailureOf([&] { static_cast<void>(tree.Trade(tree.first, TradeDear, 800.0, 2)); }).code,
                  Z9ERR_COMMON_OVERFLOW);
        EXPECT_EQ(RecordsOf(tree), 0U);

        SPosition loaded;
        loaded.isin = FUT;
        loaded.quantity = 2;
        loaded.waprice = t_bprice_int(800.0);
        EXPECT_EQ(money_orchestrator::InsertPosition(tree.first, loaded), Z9ERR_OK);
        EXPECT_NEAR(tree.first.GetInitialMargin(), 200.0, 1e-9);
    }
}

// 5 contracts are put into the risk book by themselves. A deal of one would leave 1 there, and a margin of 100 for 6
// contracts.
TEST(DealRefusalTest, APositionThatStandsInTheBookAloneIsNotReplacedByADeal)
{
    DealTree tree(Netting, Netting);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(tree.first, FUT, 5, 800.0, 0), Z9ERR_OK);
    EXPECT_EQ(tree.Trade(tree.first, TradeFutures, 800.0, 1), Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND);
    EXPECT_EQ(tree.Trade(tree.first, TradeSpread, 15.0, 1), Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND);
    EXPECT_EQ(Clear(tree, FUT, t_bprice_int(800.0), 1), Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND);
    EXPECT_EQ(RecordsOf(tree), 0U);
    EXPECT_EQ(margin_orchestrator::GetPositionQuantity(tree.first, FUT), 5);
    EXPECT_NEAR(tree.first.GetInitialMargin(), 500.0, 1e-9);
    EXPECT_TRUE(tree.first.GetMeans().m_fee.IsZero());

    // Another client of the firm may trade, and so may this one in what does not stand there.
    EXPECT_EQ(tree.Trade(tree.second, TradeFutures, 800.0, 1), Z9ERR_OK);
    EXPECT_EQ(tree.Trade(tree.first, TradeCall, 12.0, 1), Z9ERR_OK);
    // What is flat in the book is nobody's.
    ASSERT_EQ(margin_orchestrator::SetPositionClient(tree.first, FUT, 0, 800.0, 0), Z9ERR_OK);
    EXPECT_EQ(tree.Trade(tree.first, TradeFutures, 800.0, 1), Z9ERR_OK);
    EXPECT_NEAR(tree.firm.GetInitialMargin(), 212.0, 1e-9); // two contracts, and the call is worth nothing
}

TEST(DealRefusalTest, NorIsOneOfALevelThatNets)
{
    for (const bool ofFirm : {true, false}) {
        DealTree tree(Netting, Netting);
        if (ofFirm)
            ASSERT_EQ(margin_orchestrator::SetPositionBroker(tree.firm, FUT, 5, 800.0, 0), Z9ERR_OK);
        else
            ASSERT_EQ(margin_orchestrator::SetPositionSettlementAccount(*tree.account, FUT, 5, 800.0, 0), Z9ERR_OK);
        EXPECT_EQ(tree.Trade(tree.first, TradeFutures, 800.0, 1), Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND);
        EXPECT_EQ(RecordsOf(tree), 0U);
        EXPECT_EQ(margin_orchestrator::GetPositionQuantity(tree.first, FUT), 0);
    }
}

// With a record in the accounting, which a deal starts from, the book may be told of it.
TEST(DealRefusalTest, APositionThatWasEnteredIsTradedOn)
{
    DealTree tree(HalfNetting, Gross);
    SPosition loaded;
    loaded.isin = FUT;
    loaded.quantity = 5;
    loaded.buyQuantityTechnic = 5;
    loaded.buyVolume = t_bsum_int(4000.0);
    loaded.waprice = t_bprice_int(800.0);
    ASSERT_EQ(money_orchestrator::InsertPosition(tree.first, loaded), Z9ERR_OK);
    EXPECT_EQ(tree.Trade(tree.first, TradeFutures, 800.0, 1), Z9ERR_OK);
    EXPECT_EQ(margin_orchestrator::GetPositionQuantity(tree.first, FUT), 6);
    EXPECT_NEAR(tree.first.GetInitialMargin(), 600.0, 1e-9);
}

TEST(DealRefusalTest, APriceThatIsNoAmountIsNotBookedAtAnyLevel)
{
    for (const MarginRule rule : {HalfNetting, Netting}) {
        DealTree tree(rule, rule);
        ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 810.0, 5), Z9ERR_OK);
        EXPECT_EQ(FailureOf([&] {
                      static_cast<void>(ProcessTrade(tree.first, TradeFutures, NoAmount(), -2, tree.noSyntheticPrices,
                                                     tree.vectors, tree.tradedIsin, tree.tradedInstrument));
                  }).code,
                  Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_EQ(FailureOf([&] { static_cast<void>(Clear(tree, FUT, NoAmount(), -2)); }).code,
                  Z9ERR_COMMON_WRONG_ARGUMENTS);
        for (const ParticipantBase* const level : tree.FirstAndAbove()) {
            EXPECT_EQ(level->GetPositionCalculator().getPosition(FUT)->quantity, 5);
            EXPECT_TRUE(level->GetVMCloseTotal().IsZero());
            EXPECT_EQ(level->GetMeans().m_fee, Cents(63)); // of the first deal
        }
        EXPECT_EQ(tree.first.GetOrdersAndPositionsQuantitiesCounter().Get(FUT).positionQuantity, 5);
    }
}

// The refused deal is the first in its instrument. Nothing of it may stand in the way of the position that a session
// starts with, nor in the state that a session ends with.
TEST(DealRefusalTest, ADealThatIsRefusedWhileItIsBookedLeavesNoRecords)
{
    const std::pair<t_bprice_int, std::int64_t> refused[] = {
        {NoAmount(), 1},
        {t_bprice_int::FromPlain(std::numeric_limits<std::int64_t>::max()), 2}, // its volume leaves 64 bits
    };
    for (const MarginRule rule : {Gross, HalfNetting, Netting})
        for (const auto& [price, quantity] : refused) {
            DealTree tree(rule, rule);
            const auto trade = [&, price = price, quantity = quantity](std::int32_t instrument) {
                return FailureOf([&] {
                           static_cast<void>(ProcessTrade(tree.first, instrument, price, quantity,
                                                          tree.noSyntheticPrices, tree.vectors, tree.tradedIsin,
                                                          tree.tradedInstrument));
                       })
                    .code;
            };
            for (const std::int32_t instrument : {TradeFutures, TradeSpread, TradeCall, TradePremiumPut, TradeCurrency})
                EXPECT_NE(trade(instrument), Z9ERR_OK) << instrument;
            PositionSet positions;
            EXPECT_NE(FailureOf([&, price = price, quantity = quantity] {
                          static_cast<void>(ProcessClearingTrade(tree.first, CurrencyFutures, price, quantity,
                                                                 tree.vectors, positions, false));
                      }).code,
                      Z9ERR_OK);
            EXPECT_EQ(positions.clientPosition.curr, nullptr);
            EXPECT_EQ(RecordsOf(tree), 0U);
            for (const ParticipantBase* const level : tree.FirstAndAbove()) {
                EXPECT_TRUE(level->GetPositionCalculator().VMCurr.empty());
                EXPECT_TRUE(level->GetPositionCalculator().VMCurrFull.empty());
            }

            for (const Isin isin : {FUT, CurrencyFutures}) {
                SPosition loaded;
                loaded.isin = isin;
                loaded.quantity = 2;
                loaded.waprice = t_bprice_int(800.0);
                EXPECT_EQ(money_orchestrator::InsertPosition(tree.first, loaded), Z9ERR_OK);
            }
            EXPECT_EQ(tree.first.GetPositionCalculator().getPosition(FUT)->quantity, 2);
        }
}

// A level above refuses what the client could take: the sum of two clients leaves 64 bits. The client's record stands
// at the first of the two already, and goes again.
TEST(DealRefusalTest, ADealThatALevelAboveRefusesLeavesNoRecords)
{
    DealTree tree(Netting, Netting);
    constexpr std::int64_t half = std::numeric_limits<std::int64_t>::max() / 2 + 1;
    const t_bprice_int nothing;
    ASSERT_EQ(Clear(tree, CurrencyFutures, nothing, 1), Z9ERR_OK);
    tree.firm.GetPositionCalculator().getPosition(CurrencyFutures)->quantity = half;
    tree.firm.GetPositionCalculator().getPosition(CurrencyFutures)->buyQuantityTechnic = half;
    PositionSet positions;
    EXPECT_EQ(FailureOf([&] {
                  static_cast<void>(ProcessClearingTrade(tree.second, CurrencyFutures, nothing, half, tree.vectors,
                                                         positions, false));
              }).code,
              Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(tree.second.GetPositionCalculator().getPosition(CurrencyFutures), nullptr);
    EXPECT_TRUE(tree.second.GetPositionCalculator().VMCurr.empty()) << "its dollars are as unknown as before";
    EXPECT_TRUE(tree.second.GetPositionCalculator().VMCurrFull.empty());
    EXPECT_EQ(positions.clientPosition.curr, nullptr);
    EXPECT_EQ(tree.first.GetPositionCalculator().getPosition(CurrencyFutures)->quantity, 1);
    EXPECT_EQ(tree.firm.GetPositionCalculator().getPosition(CurrencyFutures)->quantity, half);
    EXPECT_EQ(Clear(tree, CurrencyFutures, nothing, 1), Z9ERR_OK);
}

// A host may have entered contracts without an instrument; the deal itself names the instrument.
TEST(DealRefusalTest, ARecordWithoutAnInstrumentTakesADealAllTheSame)
{
    DealTree tree(Netting, Netting);
    SPosition counted;
    counted.isin = FUT;
    for (ParticipantBase* const level : std::vector<ParticipantBase*>{&tree.first, &tree.firm, tree.account.get()})
        level->GetPositionCalculator().InsertPositionForHalfNettingAndGross(counted);
    EXPECT_EQ(tree.Trade(tree.first, TradeFutures, 810.0, 5), Z9ERR_OK);
    EXPECT_EQ(Clear(tree, FUT, t_bprice_int(820.0), -3), Z9ERR_OK);
    EXPECT_EQ(tree.first.GetPositionCalculator().getPosition(FUT)->quantity, 2);
    EXPECT_EQ(tree.first.GetQuantitiesCounter().Get(1).futuresValue.pos, 2);
}

} // namespace
} // namespace test::DealRefusalTest
