// The calculator's multilegs: the code of a calendar spread and its legs, and the rows of a download, leg by leg.
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "../kv7base/AllocationProbe.h"
#include "CalcGOEx.h"
#include "CalculatorSamples.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecMultileg.h"

namespace test::CalcGOExMultilegsTest {
namespace {

using QuindalIM::CCalcGOEx;
using testing::ElementsAre;
using testing::IsEmpty;

/// BC (isin 1) with FUT-9, FUT-12 and FUT-3 (isins 2, 3 and 4) in spread; the server calls them 900, 912 and 903.
class CalcGOExMultilegsTest : public testing::Test
{
protected:
    CalcGOExMultilegsTest()
    {
        const Z9ERR contract = calculator.InsertBaseContractEx(RoundContract("BC"));
        if (contract != Z9ERR_OK) throw std::runtime_error("no contract");
        InsertFutures("FUT-9", 900);
        InsertFutures("FUT-12", 912);
        InsertFutures("FUT-3", 903);
    }

    void InsertFutures(const char* code, int serverIsin = 0, const char* tracked = "",
                       Enums::SpreadAspect spread = Enums::SpreadAspect::InSpread)
    {
        FuturesSample futures = RoundFutures(code);
        futures.SpreadAspect = spread;
        if (*tracked != '\0') futures.Attribute = Enums::InstrumentStatus::TAS;
        if (calculator.InsertFutures(futures, tracked) != Z9ERR_OK) throw std::runtime_error("no futures");
        if (serverIsin != 0) calculator.GetRealIsinStorage().SaveIsinCode(serverIsin, code);
    }
    static SMultilegDictionaryStruct Row(int multileg, int leg, int ratio, int order)
    {
        SMultilegDictionaryStruct row;
        row.Isin = multileg;
        row.LegsQuantity = 2;
        row.IsinLeg = leg;
        row.QuantityRatio = ratio;
        row.LegOrderNum = static_cast<std::int8_t>(order);
        return row;
    }
    void Preload(const std::vector<SMultilegDictionaryStruct>& rows)
    {
        for (const SMultilegDictionaryStruct& row : rows)
            calculator.PreloadMultileg(row);
    }
    /// The third form: a leg of a download, without the isins that it does not use.
    Z9ERR InsertLeg(const char* code, int ratio, unsigned char order)
    {
        return calculator.InsertMultileg(-7, -8, code, ratio, order);
    }

    [[nodiscard]] std::string CodeOf(int isin) const
    {
        std::string code = "unknown";
        static_cast<void>(calculator.GetCodeByIsin(isin, code));
        return code;
    }
    [[nodiscard]] int IsinOf(const char* code) const
    {
        int isin = 0;
        double price = 0.0;
        return calculator.GetIsinAndCalcPriceByCode(code, isin, price) == Z9ERR_OK ? isin : -1;
    }
    static std::vector<std::string> Listed(CCalcGOEx& of)
    {
        std::vector<std::string> codes;
        const std::int32_t count = of.SetOnFirstMultileg();
        for (std::string code; of.GetNextMultileg(code) == Z9ERR_OK;)
            codes.push_back(code);
        EXPECT_EQ(codes.size(), static_cast<std::size_t>(count));
        return codes;
    }
    /// "2 x-1, 3 x1" for a record of the repository, in the order of its legs.
    [[nodiscard]] std::string Legs(int isin) const
    {
        const kv7im::CSpecMultileg* const multileg = instruments.GetMultileg(isin);
        if (multileg == nullptr) return "none";
        return std::to_string(multileg->GetFirstLegIsin()) + " x" + std::to_string(multileg->qtyRatio1) + ", " +
               std::to_string(multileg->GetSecondLegIsin()) + " x" + std::to_string(multileg->qtyRatio2) +
               (multileg->GetCompleted() ? "" : ", open");
    }

    pos::PositionCalculatorInstruments accounting;
    kv7im::InstrumentsRepository instruments;
    ParticipantRepository participants;
    CCalcGOEx calculator{participants, instruments, accounting};
};

// By code

TEST_F(CalcGOExMultilegsTest, ACalendarSpreadIsSoldNearAndBoughtFar)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_EQ(instruments.GetMultileg(5)->legOrderNum1, 1);
    EXPECT_EQ(instruments.GetMultileg(5)->legOrderNum2, 2);
    EXPECT_FALSE(instruments.GetMultileg(5)->IsIncompleteSpreadAspect());
    EXPECT_EQ(CodeOf(5), "FUT-9-12");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12"));
    EXPECT_EQ(calculator.GetIsin("next"), 6);
}

TEST_F(CalcGOExMultilegsTest, ThePositionOfTheFuturesInTheCodeDecidesNotTheirExpiry)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-12-9"), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "3 x-1, 2 x1");
}

TEST_F(CalcGOExMultilegsTest, ItsCodeGivesAnIsinAndNoPrice)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    int isin = 0;
    double price = 7.0;
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("FUT-9-12", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 5);
    EXPECT_EQ(price, 7.0) << "as the caller set it";
}

TEST_F(CalcGOExMultilegsTest, TheAccountingDoesNotSeeIt)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    EXPECT_EQ(accounting.getClearingInstrumentType(5), Enums::InstrumentType::Undefined);
}

TEST_F(CalcGOExMultilegsTest, ACodeWithFewerThanTwoDashesIsRefusedAndTakesNoIsin)
{
    for (const char* code : {"", "FUT", "FUT-9", "-", "FUT9-"})
        EXPECT_EQ(calculator.InsertMultileg(code), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS) << code;
    EXPECT_EQ(calculator.GetIsin("next"), 5);
}

TEST_F(CalcGOExMultilegsTest, ALegOfNoKnownCodeIsRefusedAndTheMultilegTakesNoIsin)
{
    for (const char* code : {"FUT-9-1", "FUT-1-9", "OTHER-9-12", "--"})
        EXPECT_EQ(calculator.InsertMultileg(code), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND) << code;
    EXPECT_EQ(calculator.GetIsin("next"), 5);
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    EXPECT_THAT(Listed(calculator), IsEmpty());
}

TEST_F(CalcGOExMultilegsTest, WhatStandsBehindTheSecondDashBelongsToTheFarLeg)
{
    InsertFutures("A-B");    // 5
    InsertFutures("A-C-D-"); // 6
    InsertFutures("-B");     // 7
    InsertFutures("-");      // 8
    ASSERT_EQ(calculator.InsertMultileg("A-B-C-D-"), Z9ERR_OK);
    EXPECT_EQ(Legs(9), "5 x-1, 6 x1");
    ASSERT_EQ(calculator.InsertMultileg("-B-"), Z9ERR_OK) << "prefix and far part may be empty";
    EXPECT_EQ(Legs(10), "7 x-1, 8 x1");
}

TEST_F(CalcGOExMultilegsTest, ARepeatIsRefusedAndNotListedAgain)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    EXPECT_EQ(calculator.InsertMultileg("FUT-9-12"), 94792);
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12"));
}

TEST_F(CalcGOExMultilegsTest, TheSameFuturesMayBeBothLegs)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-9"), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-1, 2 x1");
}

TEST_F(CalcGOExMultilegsTest, ALegThatIsOnlyNamedIsTheRepositorysRefusalAndTheCodeKeepsItsIsin)
{
    InsertFutures("TAS", 0, "FUT-1"); // 5, and 6 for the futures that is only named
    EXPECT_EQ(calculator.InsertMultileg("FUT-1-9"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(CodeOf(7), "FUT-1-9");
    EXPECT_EQ(Legs(7), "none") << "nothing of it is in";
    InsertFutures("FUT-1");
    EXPECT_EQ(calculator.InsertMultileg("FUT-1-9"), Z9ERR_OK);
    EXPECT_EQ(Legs(7), "6 x-1, 2 x1");
}

/// The near leg is in when the far one is refused. A retry brings its order number a second time, which closes the
/// record for good.
TEST_F(CalcGOExMultilegsTest, AFarLegThatIsRefusedLeavesTheRecordOpenAndARetryClosesIt)
{
    InsertFutures("TAS", 0, "FUT-1");
    EXPECT_EQ(calculator.InsertMultileg("FUT-9-1"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(Legs(7), "2 x-1, 2 x-1, open");
    InsertFutures("FUT-1");
    EXPECT_EQ(calculator.InsertMultileg("FUT-9-1"), Z9ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG);
    EXPECT_EQ(calculator.InsertMultileg("FUT-9-1"), Z9ERR_CALCGO_API_ERROR_MULTILEG_ALREADY_EXISTS);
    EXPECT_EQ(Legs(7), "2 x-1, 2 x-1");
    EXPECT_THAT(Listed(calculator), IsEmpty());
}

TEST_F(CalcGOExMultilegsTest, ABaseContractIsNoLeg)
{
    ASSERT_EQ(calculator.InsertBaseContractEx(RoundContract("P-A")), Z9ERR_OK);
    EXPECT_EQ(calculator.InsertMultileg("P-A-A"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_THAT(Listed(calculator), IsEmpty());
}

TEST_F(CalcGOExMultilegsTest, OnlyAMultilegThatIsTakenEndsTheEmptiness)
{
    // A calculator that comes later finds the stores filled; its own isins are made the same.
    CCalcGOEx second(participants, instruments, accounting);
    for (const char* code : {"BC", "FUT-9", "FUT-12", "FUT-3", "FUT-1"})
        static_cast<void>(second.GetIsin(code));
    ASSERT_TRUE(second.IsEmpty());
    EXPECT_NE(second.InsertMultileg("FUT"), Z9ERR_OK);
    EXPECT_NE(second.InsertMultileg("FUT-9-77"), Z9ERR_OK);
    EXPECT_NE(second.InsertMultileg("FUT-9-1"), Z9ERR_OK) << "its near leg is in, which does not count";
    EXPECT_TRUE(second.IsEmpty());
    EXPECT_EQ(second.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    EXPECT_FALSE(second.IsEmpty());
}

TEST_F(CalcGOExMultilegsTest, AMultilegThatTheRepositoryHasNoMemoryForIsNotListedAndMayBeOfferedAgain)
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        // Smaller than the record with its links in four indices, larger than an entry of a map or a list.
        const testing_support::LargeAllocationsFail thatOfTheRecord(sizeof(kv7im::CSpecMultileg) + 64);
        EXPECT_THROW(static_cast<void>(calculator.InsertMultileg("FUT-9-12")), std::bad_alloc);
    }
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    EXPECT_THAT(Listed(calculator), IsEmpty());
    EXPECT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
}

// The cursor

TEST_F(CalcGOExMultilegsTest, TheCursorGivesTheOrderOfInsertionFromWhereItIsSet)
{
    for (const char* code : {"FUT-9-3", "FUT-12-3", "FUT-9-12"})
        ASSERT_EQ(calculator.InsertMultileg(code), Z9ERR_OK);
    std::string code = "as it was";
    EXPECT_EQ(calculator.GetNextMultileg(code), Z9ERR_QUINDAL_IM_END_OF_DATA) << "not set on first yet";
    EXPECT_EQ(code, "as it was");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-3", "FUT-12-3", "FUT-9-12"));
    ASSERT_EQ(calculator.InsertMultileg("FUT-3-12"), Z9ERR_OK);
    EXPECT_EQ(calculator.GetNextMultileg(code), Z9ERR_QUINDAL_IM_END_OF_DATA) << "inserting moves no cursor";
    EXPECT_EQ(calculator.SetOnFirstMultileg(), 4);
    EXPECT_EQ(calculator.GetNextMultileg(code), Z9ERR_OK);
    EXPECT_EQ(code, "FUT-9-3");
}

TEST_F(CalcGOExMultilegsTest, ClearAllForgetsMultilegsAndTheRowsThatWait)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    Preload({Row(500, 900, -1, 1), Row(500, 903, 1, 2)});
    ASSERT_EQ(calculator.SetOnFirstMultileg(), 1);
    calculator.ClearAll();

    EXPECT_TRUE(calculator.IsEmpty());
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    std::string code;
    EXPECT_EQ(calculator.GetNextMultileg(code), Z9ERR_QUINDAL_IM_END_OF_DATA);
    EXPECT_THAT(Listed(calculator), IsEmpty());

    // The same futures under the same isins of the server, without the rows.
    for (int serverIsin : {900, 903})
        calculator.GetRealIsinStorage().SaveIsinCode(serverIsin, "FUT-9");
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
}

TEST_F(CalcGOExMultilegsTest, TheListIsTheCalculatorsOwnAndTheRecordsAreNot)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK);
    CCalcGOEx second(participants, instruments, accounting);
    EXPECT_THAT(Listed(second), IsEmpty());
    EXPECT_EQ(instruments.CountMultilegs(), 1u);
}

// Leg by leg

TEST_F(CalcGOExMultilegsTest, TwoLegsInSuccessionMakeOneMultilegUnderTheNextIsin)
{
    ASSERT_EQ(InsertLeg("FUT-9", -2, 1), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-2, 2 x-2, open");
    EXPECT_EQ(CodeOf(5), "unknown") << "its code is made of both legs";
    EXPECT_THAT(Listed(calculator), IsEmpty());
    ASSERT_EQ(InsertLeg("FUT-12", 3, 2), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-2, 3 x3");
    EXPECT_EQ(CodeOf(5), "FUT-9-12");
    EXPECT_EQ(IsinOf("FUT-9-12"), 5);
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12"));
    EXPECT_EQ(calculator.GetIsin("next"), 6);
}

TEST_F(CalcGOExMultilegsTest, TheCodeHasTheLegWithTheLowerNumberFirst)
{
    ASSERT_EQ(InsertLeg("FUT-12", 1, 2), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK);
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_EQ(CodeOf(5), "FUT-9-12");
}

TEST_F(CalcGOExMultilegsTest, TheCodeHasThePrefixOfTheFirstLegAndNothingOfALegThatIsNotTwoParts)
{
    InsertFutures("OTHER-1"); // 5
    InsertFutures("PLAIN");   // 6
    InsertFutures("A-B-C");   // 7
    ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("OTHER-1", 1, 2), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("PLAIN", 1, 2), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("A-B-C", -1, 1), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("FUT-9", 1, 2), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("PLAIN", -1, 1), Z9ERR_OK);
    ASSERT_EQ(InsertLeg("A-B-C", 1, 2), Z9ERR_OK);
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-1", "FUT-9-", "--9", "--"));
}

TEST_F(CalcGOExMultilegsTest, ASecondMultilegOfTheSameLegsHasAnIsinOfItsOwnAndTheCodeKeepsTheFirst)
{
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK);
        ASSERT_EQ(InsertLeg("FUT-12", 1, 2), Z9ERR_OK);
    }
    EXPECT_EQ(IsinOf("FUT-9-12"), 5);
    EXPECT_EQ(CodeOf(6), "FUT-9-12");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12", "FUT-9-12"));
}

TEST_F(CalcGOExMultilegsTest, ASecondLegThatRepeatsTheOrderNumberClosesTheRecordAndUsesUpItsIsin)
{
    ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK);
    EXPECT_EQ(InsertLeg("FUT-12", 1, 1), Z9ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG);
    EXPECT_EQ(Legs(5), "2 x-1, 2 x-1");
    EXPECT_EQ(CodeOf(5), "FUT-9-9");
    ASSERT_EQ(InsertLeg("FUT-9", -1, 1), Z9ERR_OK) << "the next multileg is none the worse for it";
    ASSERT_EQ(InsertLeg("FUT-12", 1, 2), Z9ERR_OK);
    EXPECT_EQ(Legs(6), "2 x-1, 3 x1");
}

TEST_F(CalcGOExMultilegsTest, ALegIsRefusedWhereACompletedRecordHasTheIsin)
{
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-12"), Z9ERR_OK); // isin 5
    CCalcGOEx second(participants, instruments, accounting);
    for (const char* code : {"BC", "FUT-9", "FUT-12", "FUT-3"})
        static_cast<void>(second.GetIsin(code));
    EXPECT_EQ(second.InsertMultileg(0, 0, "FUT-3", -1, 1), Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST);
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_EQ(second.GetIsin("next"), 5) << "the isin stays";
}

TEST_F(CalcGOExMultilegsTest, ALegThatIsNoFuturesIsRefused)
{
    EXPECT_EQ(InsertLeg("FUT-1", -1, 1), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(InsertLeg("BC", -1, 1), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
}

// The rows of a download

TEST_F(CalcGOExMultilegsTest, RowsWaitUntilAllInstrumentsAreIn)
{
    CCalcGOEx second(participants, instruments, accounting);
    ASSERT_TRUE(second.IsEmpty());
    second.PreloadMultileg(Row(500, 900, -1, 1));
    EXPECT_FALSE(second.IsEmpty()) << "a row that waits is something";

    Preload({Row(500, 900, -1, 1), Row(500, 912, 1, 2)});
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12"));
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(instruments.CountMultilegs(), 1u) << "a row goes in once";
}

TEST_F(CalcGOExMultilegsTest, TheLastRowOfAMultilegGoesInFirst)
{
    Preload({Row(500, 900, -1, 1), Row(500, 912, 1, 1)}); // one order number: the row that goes in first stays alone
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(Legs(5), "3 x1, 3 x1");
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-12-12"));
}

TEST_F(CalcGOExMultilegsTest, RowsOfSeveralMultilegsMayComeMixed)
{
    Preload({Row(500, 900, -1, 1), Row(501, 912, -1, 1), Row(501, 903, 1, 2), Row(500, 912, 1, 2)});
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(instruments.CountMultilegs(), 2u);
    EXPECT_EQ(Legs(IsinOf("FUT-9-12")), "2 x-1, 3 x1");
    EXPECT_EQ(Legs(IsinOf("FUT-12-3")), "3 x-1, 4 x1");
}

TEST_F(CalcGOExMultilegsTest, ARowLeftAloneIsDroppedAndJoinsNoOtherMultileg)
{
    Preload({Row(500, 900, -1, 1), Row(501, 912, -1, 1), Row(501, 903, 1, 2), Row(502, 903, 1, 2)});
    Preload({Row(503, 900, -1, 1), Row(503, 77, 1, 2)}); // whose second leg nobody knows
    calculator.ValidateAndInsertMultilegs();
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-12-3"));
    EXPECT_EQ(Legs(5), "3 x-1, 4 x1");
    EXPECT_EQ(instruments.CountMultilegs(), 1u) << "nothing stays open";
    InsertFutures("FUT-6");
    EXPECT_EQ(calculator.GetIsin("FUT-6"), 6) << "and no isin is held by a leg";
}

TEST_F(CalcGOExMultilegsTest, AThirdRowIsDroppedAndTheLastTwoMakeTheMultileg)
{
    Preload({Row(500, 900, -1, 1), Row(500, 912, 2, 2), Row(500, 903, -1, 3)});
    Preload({Row(501, 900, -1, 1), Row(501, 912, 1, 2)});
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(instruments.CountMultilegs(), 2u);
    EXPECT_EQ(Legs(IsinOf("FUT-12-3")), "3 x2, 4 x-1");
    EXPECT_EQ(Legs(IsinOf("FUT-9-12")), "2 x-1, 3 x1");
}

TEST_F(CalcGOExMultilegsTest, AnOrderNumberOfARowCountsAsAnUnsignedByteHere)
{
    Preload({Row(500, 912, 1, -56), Row(500, 900, -1, 127)}); // 200 as a byte
    calculator.ValidateAndInsertMultilegs();
    EXPECT_EQ(Legs(5), "2 x-1, 3 x1");
    EXPECT_EQ(instruments.GetMultileg(5)->legOrderNum2, 200);
}

TEST_F(CalcGOExMultilegsTest, TheQuantityOfLegsOfARowIsOfNoUse)
{
    for (SMultilegDictionaryStruct row : {Row(500, 900, -1, 1), Row(500, 912, 1, 2)}) {
        row.LegsQuantity = 17;
        calculator.PreloadMultileg(row);
    }
    calculator.ValidateAndInsertMultilegs();
    EXPECT_THAT(Listed(calculator), ElementsAre("FUT-9-12"));
}

TEST_F(CalcGOExMultilegsTest, ALegOutsideTheSpreadIsSeenInEitherForm)
{
    InsertFutures("FUT-6", 906, "", Enums::SpreadAspect::NotInSpread); // isin 5
    ASSERT_EQ(calculator.InsertMultileg("FUT-9-6"), Z9ERR_OK);
    EXPECT_TRUE(instruments.GetMultileg(6)->IsIncompleteSpreadAspect());
    Preload({Row(500, 906, -1, 1), Row(500, 912, 1, 2)});
    calculator.ValidateAndInsertMultilegs();
    EXPECT_TRUE(instruments.GetMultileg(7)->IsIncompleteSpreadAspect());
}

} // namespace
} // namespace test::CalcGOExMultilegsTest
