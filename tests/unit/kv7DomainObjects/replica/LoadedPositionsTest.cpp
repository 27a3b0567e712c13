// Positions that a session starts with, and the clearing at its end.
#include <limits>

#include <gtest/gtest.h>

#include "DealTree.h"

namespace test::LoadedPositionsTest {
namespace {

using Enums::MarginRule;
using margin_orchestrator::GetPositionQuantity;
using money_orchestrator::InsertPosition;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

/// Contracts bought at a price in this session, with what the position has closed before.
SPosition Record(Isin isin, std::int64_t quantity, double price, double vmClose, std::int64_t afterLastClearing = 0)
{
    SPosition record;
    record.isin = isin;
    record.quantity = quantity;
    record.waprice = t_bprice_int(price);
    (quantity > 0 ? record.buyQuantityTechnic : record.sellQuantityTechnic) = quantity > 0 ? quantity : -quantity;
    (quantity > 0 ? record.buyVolume : record.sellVolume) =
        t_bsum_int(price * static_cast<double>(quantity > 0 ? quantity : -quantity));
    record.vmClose = t_bsum_int(vmClose);
    record.afterLastClearingQuantity = afterLastClearing;
    return record;
}

const SPosition& RecordOf(const ParticipantBase& participant, Isin isin)
{
    return *participant.GetPositionCalculator().getPosition(isin);
}

// Two clients: 5 bought at 810 (550 lost at 700) and 3 sold at 790 (330 lost at 900), with 12.345 lost and 1 won
// before.
TEST(LoadedPositionsTest, AClientsRecordCountsAtEveryLevelThatDoesNotNet)
{
    DealTree tree(HalfNetting, Gross);
    ASSERT_EQ(InsertPosition(tree.first, Record(FUT, 5, 810.0, -12.345, 4)), Z9ERR_OK);
    ASSERT_EQ(InsertPosition(tree.second, Record(FUT, -3, 790.0, 1.0, -1)), Z9ERR_OK);
    EXPECT_EQ(tree.first.GetVMCloseTotal(), t_bsum_int(-12.345));
    EXPECT_EQ(tree.first.GetMeans().VMReserve, Cents(1235)); // floor of -12.345 is -12.35
    EXPECT_EQ(tree.first.GetMeans().BlockedMoney, Cents(55'000));
    EXPECT_EQ(GetPositionQuantity(tree.first, FUT), 5);
    EXPECT_EQ(tree.second.GetMeans().VMReserve, Cents(-100));
    EXPECT_EQ(tree.first.GetOrdersAndPositionsQuantitiesCounter().Get(FUT).positionQuantity, 5);
    EXPECT_EQ(tree.first.GetQuantitiesCounter().Get(1).futuresValue.pos, 5);
    for (const ParticipantBase* const level :
         {static_cast<const ParticipantBase*>(&tree.firm), static_cast<const ParticipantBase*>(tree.account.get())}) {
        EXPECT_EQ(RecordOf(*level, FUT).quantity, 2);
        EXPECT_EQ(RecordOf(*level, FUT).afterLastClearingQuantity, 3);
        EXPECT_EQ(level->GetVMCloseTotal(), t_bsum_int(-11.345));
        EXPECT_EQ(level->GetPositionCalculator().GetVMFull(), t_bsum_int(-11.345));
        EXPECT_EQ(level->GetMeans().VMReserve, Cents(1135));
        // Losses: 550, 50, 0 and 0, 30, 330: 550 at 700.
        EXPECT_EQ(level->GetMeans().BlockedMoney, Cents(55'000));
    }
    // From here deals go on. What a position has closed follows from the volumes of its session: 5 bought at 810 and
    // sold at 800 have lost 50, which the record knew 12.345 of.
    ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 800.0, -5), Z9ERR_OK);
    EXPECT_EQ(RecordOf(tree.firm, FUT).quantity, -3);
    EXPECT_EQ(tree.first.GetVMCloseTotal(), t_bsum_int(-50.0));
    EXPECT_EQ(tree.firm.GetVMCloseTotal(), t_bsum_int(-49.0)); // 1 won by the other
    EXPECT_EQ(tree.account->GetMeans().VMReserve, Cents(4900));
}

TEST(LoadedPositionsTest, LevelsUnderNettingHaveRecordsOfTheirOwn)
{
    DealTree tree(Netting, Netting);
    ASSERT_EQ(InsertPosition(tree.first, Record(FUT, 5, 810.0, -12.345)), Z9ERR_OK);
    EXPECT_EQ(tree.firm.GetPositionCalculator().getPosition(FUT), nullptr);
    EXPECT_EQ(tree.account->GetPositionCalculator().getPosition(FUT), nullptr);
    EXPECT_EQ(tree.firm.GetVMCloseTotal(), Sum(0));
    EXPECT_EQ(tree.account->GetVMCloseTotal(), Sum(0));

    ASSERT_EQ(InsertPosition(tree.firm, Record(FUT, 2, 820.0, -3.0)), Z9ERR_OK);
    EXPECT_EQ(tree.firm.GetMeans().VMReserve, Cents(300));
    EXPECT_EQ(tree.firm.GetMeans().BlockedMoney, Cents(24'000));
    EXPECT_EQ(tree.account->GetVMCloseTotal(), Sum(0));
    ASSERT_EQ(InsertPosition(*tree.account, Record(FUT, 1, 830.0, 4.0)), Z9ERR_OK);
    EXPECT_EQ(tree.account->GetMeans().VMReserve, Cents(-400));
    EXPECT_EQ(tree.account->GetMeans().BlockedMoney, Cents(13'000));
}

// The account counts contracts by its clients, VM by its firms.
TEST(LoadedPositionsTest, AnAccountAboveANettingFirmTakesTheFirmsVariationMargin)
{
    DealTree tree(Netting, HalfNetting);
    ASSERT_EQ(InsertPosition(tree.first, Record(CurrencyFutures, 5, 810.0, -12.0)), Z9ERR_OK);
    EXPECT_EQ(RecordOf(*tree.account, CurrencyFutures).quantity, 5);
    EXPECT_EQ(tree.account->GetVMCloseTotal(), Sum(0));
    ASSERT_EQ(InsertPosition(tree.firm, Record(CurrencyFutures, 5, 810.0, -10.0)), Z9ERR_OK);
    EXPECT_EQ(RecordOf(*tree.account, CurrencyFutures).quantity, 5);
    EXPECT_EQ(tree.account->GetVMCloseTotal(), t_bsum_int(-10.0));
    EXPECT_EQ(tree.account->GetVMCloseByCurrencies().at(Dollar), t_bsum_int(-10.0));
    EXPECT_EQ(tree.account->GetMeans().VMReserve, Cents(1100));      // the firm's: 10 and a tenth
    EXPECT_EQ(tree.account->GetMeans().BlockedMoney, Cents(55'000)); // the client's losses
}

TEST(LoadedPositionsTest, ARecordOfALevelThatDoesNotNetIsIgnored)
{
    DealTree tree(HalfNetting, Gross);
    EXPECT_EQ(InsertPosition(tree.firm, Record(FUT, 2, 820.0, -3.0)), Z9ERR_OK);
    EXPECT_EQ(InsertPosition(*tree.account, Record(FUT, 2, 820.0, -3.0)), Z9ERR_OK);
    EXPECT_TRUE(tree.firm.GetPositionCalculator().GetPositions().empty());
    EXPECT_TRUE(tree.account->GetPositionCalculator().GetPositions().empty());
    EXPECT_EQ(tree.account->GetVMCloseTotal(), Sum(0));
}

TEST(LoadedPositionsTest, AnOptionsRecordBringsItsWorthAndNoVariationMargin)
{
    DealTree tree(HalfNetting, HalfNetting);
    SPosition record = Record(PremiumPut850, 2, 60.0, 7.0);
    record.netOptionValue = t_bsum_int(120.0);
    ASSERT_EQ(InsertPosition(tree.first, record), Z9ERR_OK);
    EXPECT_EQ(tree.first.GetPositionCalculator().GetNetOptionValue(), t_bsum_int(120.0));
    EXPECT_EQ(tree.first.GetVMCloseTotal(), Sum(0));
    EXPECT_EQ(tree.firm.GetVMCloseTotal(), Sum(0));
    EXPECT_EQ(tree.firm.GetPositionCalculator().GetVMFull(), t_bsum_int(7.0));
    EXPECT_EQ(tree.first.GetQuantitiesCounter().Get(1).optionsValue.pos, 2);
}

TEST(LoadedPositionsTest, ASecondRecordAndAnUnknownIsinAreRefused)
{
    DealTree tree(HalfNetting, Gross);
    ASSERT_EQ(InsertPosition(tree.first, Record(FUT, 5, 810.0, -12.0)), Z9ERR_OK);
    const Failure again =
        FailureOf([&] { static_cast<void>(InsertPosition(tree.first, Record(FUT, 1, 810.0, -1.0))); });
    EXPECT_EQ(again.code, Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS);
    EXPECT_EQ(InsertPosition(tree.first, Record(UnknownIsin, 1, 810.0, -1.0)), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(InsertPosition(tree.first, Record(Nothing, 1, 810.0, -1.0)), Z9ERR_INSTRUMENT_ABSENT);
    // An option of risk alone, which accounting does not know.
    const Failure unknown =
        FailureOf([&] { static_cast<void>(InsertPosition(tree.first, Record(Call825, 1, 10.0, -1.0))); });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(tree.first.GetPositionCalculator().GetPositions().size(), 1U);
    EXPECT_EQ(tree.first.GetVMCloseTotal(), t_bsum_int(-12.0));
    EXPECT_EQ(RecordOf(tree.firm, FUT).quantity, 5);
    EXPECT_EQ(tree.account->GetMeans().VMReserve, Cents(1200));
}

TEST(LoadedPositionsTest, AClearingPaysTheVariationMarginOfAllLevels)
{
    for (const MarginRule firmRule : {Gross, HalfNetting, Netting})
        for (const MarginRule accountRule : {Gross, HalfNetting, Netting}) {
            DealTree tree(firmRule, accountRule);
            ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 810.0, 5), Z9ERR_OK);
            ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 830.0, -3), Z9ERR_OK);
            ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 810.0, 1), Z9ERR_OK);
            ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 800.0, -1), Z9ERR_OK);
            EXPECT_EQ(tree.account->GetVMCloseTotal(), t_bsum_int(50.0)); // 60 - 10

            money_orchestrator::RefreshPositions(tree.repository);
            for (const ParticipantBase* const level : tree.FirstAndAbove()) {
                SCOPED_TRACE(level->GetParticipantCode());
                EXPECT_EQ(level->GetVMCloseTotal(), Sum(0));
                EXPECT_EQ(level->GetVMCloseByCurrencies(), (VMCloseByCurrencies{{Dollar, Sum(0)}}));
                EXPECT_EQ(level->GetMeans().VMReserve, Cents(0));
                EXPECT_EQ(level->GetMeans().BlockedMoneyNonIM, Cents(101)); // the fee of 0.63 and 0.38
                EXPECT_EQ(level->GetMeans().FreeMoney, -level->GetMeans().BlockedMoney - Cents(101));
                EXPECT_EQ(RecordOf(*level, FUT).quantity, 2);
                EXPECT_EQ(RecordOf(*level, FUT).afterLastClearingQuantity, 2);
            }
            EXPECT_EQ(RecordOf(tree.first, FUT).waprice, t_bprice_int(800.0));

            // The next session: 2 sold at 850. All 5 bought stand at 800 now, and so do 3 of the 5 sold: these are sold
            // at (3 x 800 + 2 x 850) / 5 = 820 on the average, 5 x 20 = 100 or 2 x 50 earned.
            ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 850.0, -2), Z9ERR_OK);
            for (const ParticipantBase* const level : tree.FirstAndAbove()) {
                SCOPED_TRACE(level->GetParticipantCode());
                EXPECT_EQ(level->GetVMCloseTotal(), t_bsum_int(100.0));
                EXPECT_EQ(level->GetMeans().VMReserve, Cents(-10'000));
                EXPECT_EQ(RecordOf(*level, FUT).quantity, 0);
                EXPECT_EQ(level->GetMeans().BlockedMoney, Cents(0));
            }
        }
}

// The firm has the largest count there is: one more contract of a client does not fit, here or after the clearing.
TEST(LoadedPositionsTest, ContractsThatALevelAboveCannotCountAreRefusedBeforeAnythingIsWritten)
{
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    for (const bool afterLastClearing : {false, true}) {
        DealTree tree(HalfNetting, Gross);
        SPosition full;
        full.isin = FUT;
        (afterLastClearing ? full.afterLastClearingQuantity : full.quantity) = largest;
        tree.account->GetPositionCalculator().InsertPositionForHalfNettingAndGross(full);
        const Failure failure =
            FailureOf([&] { static_cast<void>(InsertPosition(tree.first, Record(FUT, 1, 810.0, -1.0, 1))); });
        EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
        EXPECT_TRUE(tree.first.GetPositionCalculator().GetPositions().empty());
        EXPECT_TRUE(tree.firm.GetPositionCalculator().GetPositions().empty());
        EXPECT_EQ(tree.firm.GetVMCloseTotal(), Sum(0));
        EXPECT_EQ(GetPositionQuantity(tree.first, FUT), 0);
        EXPECT_EQ(InsertPosition(tree.first, Record(CurrencyFutures, 1, 810.0, -1.0, 1)), Z9ERR_OK);
    }
}

// Each client has bought 10^11 contracts at 1, the firm has both. At the settlement price of 800 either client's volume
// fits 64 bits (8 x 10^18 units of 0.00001) and the firm's does not. Repeated at a price of 1, the clearing is whole,
// and the shared account has lost what the firm had put in: once.
TEST(LoadedPositionsTest, AClearingThatAFirmRefusesMayBeRepeated)
{
    constexpr std::int32_t tradeFree = 108;
    constexpr std::int64_t many = 100'000'000'000;
    const BraskSettlementAccountPtr& shared = GetDummySettlementAccount();
    const t_bsum_int vmBefore = shared->GetVMCloseTotal();
    const t_bsum_int vmFullBefore = shared->GetPositionCalculator().GetVMFull();
    const t_bround_int reserveBefore = shared->GetMeans().VMReserve;
    DealTree tree(Netting, Gross, shared);
    tree.AddTradingInstrument(tradeFree, SpreadFutures);
    ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 800.0, 1), Z9ERR_OK);
    ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 790.0, -1), Z9ERR_OK); // loses 10
    ASSERT_EQ(tree.Trade(tree.first, tradeFree, 1.0, many), Z9ERR_OK);
    ASSERT_EQ(tree.Trade(tree.second, tradeFree, 1.0, many), Z9ERR_OK);
    ASSERT_EQ(shared->GetVMCloseTotal(), vmBefore - t_bsum_int(10.0));

    for (int time = 0; time < 2; ++time) {
        const Failure failure = FailureOf([&] { money_orchestrator::RefreshPositions(tree.repository); });
        EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
        // The clients are through, the levels above are not.
        EXPECT_EQ(tree.first.GetVMCloseTotal(), Sum(0));
        EXPECT_EQ(tree.firm.GetVMCloseTotal(), t_bsum_int(-10.0));
        EXPECT_EQ(tree.firm.GetMeans().VMReserve, Cents(1100));
        EXPECT_EQ(shared->GetVMCloseTotal(), vmBefore - t_bsum_int(10.0));
        EXPECT_EQ(shared->GetMeans().VMReserve, reserveBefore + Cents(1100));
    }

    tree.positionInstruments.UpdateFutures(SpreadFutures, 0.5, t_bprice(1.0));
    money_orchestrator::RefreshPositions(tree.repository);
    EXPECT_EQ(tree.firm.GetVMCloseTotal(), Sum(0));
    EXPECT_EQ(shared->GetVMCloseTotal(), vmBefore);
    EXPECT_EQ(shared->GetPositionCalculator().GetVMFull(), vmFullBefore);
    EXPECT_EQ(shared->GetVMCloseByCurrencies().at(Dollar), Sum(0));
    EXPECT_EQ(shared->GetMeans().VMReserve, reserveBefore);
    // The account is everybody's: it is left as it was.
    ASSERT_EQ(tree.Trade(tree.first, tradeFree, 1.0, -many), Z9ERR_OK);
    ASSERT_EQ(tree.Trade(tree.second, tradeFree, 1.0, -many), Z9ERR_OK);
}

} // namespace
} // namespace test::LoadedPositionsTest
