#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PositionCalculator.h"
#include "except.h"

namespace test::PositionCalculatorTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr Isin InDollars = 1; // futures whose base contract keeps VM in currency 840
constexpr Isin AtHome = 2;    // futures whose base contract does not
constexpr Isin InEuros = 3;   // currency 978

SPosition Position(Isin isin, std::int64_t quantity, double vmClose = 0, double netOptionValue = 0)
{
    SPosition position;
    position.isin = isin;
    position.quantity = quantity;
    position.vmClose = t_bsum_int(vmClose);
    position.netOptionValue = t_bsum_int(netOptionValue);
    position.afterLastClearingQuantity = quantity - 1;
    return position;
}

class Calculator : public testing::Test
{
protected:
    Calculator()
    {
        instruments.InsertBaseContract(101, true, 840);
        instruments.InsertBaseContract(102, false, 643);
        instruments.InsertBaseContract(103, true, 978);
        for (Isin isin : {InDollars, AtHome, InEuros})
            instruments.InsertFutures(std::to_string(isin), isin, 100 + isin, 1, 1, t_bprice(10), 1,
                                      Enums::InstrumentStatus::None, 1);
    }

    void InsertAll()
    {
        calculator.InsertPosition(Position(InDollars, 5, 10.5, 1.0), true, true);
        calculator.InsertPosition(Position(AtHome, -3, -2.25, 0.5), true, true);
        calculator.InsertPosition(Position(InEuros, 1, 4.0), true, true);
    }

    pos::PositionCalculatorInstruments instruments;
    CPositionCalculator calculator{instruments};
};

TEST_F(Calculator, StartsEmpty)
{
    EXPECT_THAT(calculator.GetPositions(), IsEmpty());
    EXPECT_TRUE(calculator.VM.IsZero() && calculator.VMFull.IsZero() && calculator.NetOptionValue.IsZero());
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
    EXPECT_THAT(calculator.VMCurrFull, IsEmpty());
}

TEST_F(Calculator, ARecordStandsUnderItsIsinAndPointsAtItsInstrument)
{
    calculator.InsertPosition(Position(InDollars, 5), true, true);
    const SPosition* position = calculator.getPosition(InDollars);
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->quantity, 5);
    EXPECT_EQ(position->instr, instruments.GetInstrFutures(InDollars));
    EXPECT_EQ(calculator.getPositionSafe(InDollars), position);
    EXPECT_EQ(calculator.GetAfterLastClearingQuantityByIsin(InDollars), 4);
}

TEST_F(Calculator, ReadingCreatesNothing)
{
    EXPECT_EQ(calculator.getPosition(InDollars), nullptr);
    EXPECT_EQ(calculator.getPositionSafe(777), nullptr);
    EXPECT_EQ(calculator.GetAfterLastClearingQuantityByIsin(InDollars), 0);
    EXPECT_THAT(calculator.GetPositions(), IsEmpty());
}

TEST_F(Calculator, SumsAddUpAndCurrenciesOnlyWhereTheBaseContractKeepsThem)
{
    InsertAll();
    // 10.5 - 2.25 + 4 = 12.25; the futures at home has no currency entry.
    EXPECT_EQ(calculator.VM, t_bsum_int(12.25));
    EXPECT_EQ(calculator.VMFull, t_bsum_int(12.25));
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(840, t_bsum_int(10.5)), Pair(978, t_bsum_int(4.0))));
    EXPECT_EQ(calculator.VMCurrFull, calculator.VMCurr);
    EXPECT_EQ(calculator.GetNetOptionValue(), t_bsum_int(1.5));
    EXPECT_EQ(calculator.GetVM(), calculator.VM);
    EXPECT_EQ(calculator.GetVMFull(), calculator.VMFull);
    EXPECT_EQ(&calculator.GetVMCurr(), &calculator.VMCurr);
    EXPECT_EQ(&calculator.GetVMCurrFull(), &calculator.VMCurrFull);
}

TEST_F(Calculator, APremiumStyleOptionCountsInTheFullSumsOnly)
{
    instruments.InsertVirtFutures("PREMIUM", "1", Enums::MarginStyle::Equity, 1, 1); // in dollars
    instruments.InsertVirtFutures("MARGIN", "1", Enums::MarginStyle::Futures, 1, 1);
    instruments.InsertOption("P", "PREMIUM", 11, Enums::OptionType::Put, t_bprice(1));
    instruments.InsertOption("M", "MARGIN", 12, Enums::OptionType::Put, t_bprice(1));
    calculator.InsertPosition(Position(11, 5, 10.5, 1.0), true, true);
    EXPECT_EQ(calculator.VM, t_bsum_int());
    EXPECT_EQ(calculator.VMFull, t_bsum_int(10.5));
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(840, t_bsum_int(10.5))));
    EXPECT_EQ(calculator.GetNetOptionValue(), t_bsum_int(1.0));
    EXPECT_EQ(calculator.getPosition(11)->instr, instruments.GetInstrOption(11));

    calculator.InsertPosition(Position(12, 5, 2.0), true, true);
    EXPECT_EQ(calculator.VM, t_bsum_int(2.0));
    EXPECT_EQ(calculator.VMFull, t_bsum_int(12.5));
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(840, t_bsum_int(2.0))));
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(840, t_bsum_int(12.5))));
}

TEST_F(Calculator, SumsAreLeftAloneWhenNotAskedFor)
{
    calculator.InsertPosition(Position(InDollars, 5, 10.5, 1.0), false, false);
    EXPECT_TRUE(calculator.VM.IsZero());
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
    EXPECT_TRUE(calculator.NetOptionValue.IsZero());
    calculator.InsertPosition(Position(InEuros, 5, 10.5, 1.0), false, true);
    EXPECT_TRUE(calculator.VM.IsZero());
    EXPECT_EQ(calculator.NetOptionValue, t_bsum_int(1.0));
}

TEST_F(Calculator, ASecondRecordForAnIsinIsRefused)
{
    calculator.InsertPosition(Position(InDollars, 5, 10.5), true, true);
    for (const bool withAccounting : {true, false}) {
        try {
            if (withAccounting)
                calculator.InsertPosition(Position(InDollars, 6, 1.0), true, true);
            else
                calculator.InsertPositionForHalfNettingAndGross(Position(InDollars, 6, 1.0));
            FAIL() << "accepted";
        } catch (const kv7base::CZ9Error& e) {
            EXPECT_EQ(e.GetCode(), Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS);
            EXPECT_THAT(e.what(), HasSubstr("Isin: 1"));
        }
    }
    EXPECT_EQ(calculator.getPosition(InDollars)->quantity, 5);
    EXPECT_EQ(calculator.VM, t_bsum_int(10.5));
}

TEST_F(Calculator, ARecordWithoutInstrumentIsRefused)
{
    try {
        calculator.InsertPosition(Position(55, 1), true, true);
        FAIL() << "accepted";
    } catch (const kv7base::CZ9Error& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
        EXPECT_THAT(e.what(), HasSubstr("Isin: 55"));
    }
    EXPECT_THAT(calculator.GetPositions(), IsEmpty());
}

TEST_F(Calculator, LevelsWithoutAccountingKeepQuantitiesOnly)
{
    calculator.InsertPositionForHalfNettingAndGross(Position(InDollars, 5, 10.5, 1.0));
    const SPosition* position = calculator.getPosition(InDollars);
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->quantity, 5);
    EXPECT_EQ(position->afterLastClearingQuantity, 4);
    EXPECT_EQ(position->instr, nullptr);
    EXPECT_TRUE(position->vmClose.IsZero() && position->netOptionValue.IsZero());
    EXPECT_TRUE(calculator.VM.IsZero() && calculator.NetOptionValue.IsZero());
}

TEST_F(Calculator, SetZeroKeepsTheCurrenciesWithNothingInThem)
{
    InsertAll();
    calculator.SetZero();
    EXPECT_TRUE(calculator.VM.IsZero() && calculator.VMFull.IsZero() && calculator.NetOptionValue.IsZero());
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(840, t_bsum_int()), Pair(978, t_bsum_int())));
    EXPECT_THAT(calculator.VMCurrFull, ElementsAre(Pair(840, t_bsum_int()), Pair(978, t_bsum_int())));
    EXPECT_EQ(calculator.GetPositions().size(), 3U) << "positions stay";
}

TEST_F(Calculator, ClearDropsPositionsAndSums)
{
    InsertAll();
    calculator.Clear();
    EXPECT_THAT(calculator.GetPositions(), IsEmpty());
    EXPECT_TRUE(calculator.VM.IsZero() && calculator.VMFull.IsZero() && calculator.NetOptionValue.IsZero());
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
    EXPECT_THAT(calculator.VMCurrFull, IsEmpty());
    InsertAll();
    EXPECT_EQ(calculator.VM, t_bsum_int(12.25));
}

TEST_F(Calculator, ADumpListsPositionsByIsin)
{
    calculator.InsertPosition(Position(InEuros, 1), true, true);
    calculator.InsertPosition(Position(InDollars, 5), true, true);
    const auto positions = static_cast<const pos::IPositionCalculatorDumper&>(calculator).GetPositionsForDumper();
    ASSERT_EQ(positions.size(), 2U);
    EXPECT_EQ(positions[0].isin, InDollars);
    EXPECT_EQ(positions[1].isin, InEuros);
}

} // namespace
} // namespace test::PositionCalculatorTest
