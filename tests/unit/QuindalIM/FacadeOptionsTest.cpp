// Option series and options through the exports: what goes in and comes back, the lists, the codes, positions.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"

namespace test::FacadeOptionsTest {
namespace {

using calls::Margins;
using calls::OptionEntry;
using calls::OptionSeriesArguments;
using calls::OptionSeriesEntry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// BC with FUT: isins 1 and 2.
class FacadeOptionsTest : public CalculatorTest
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
        ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
        static_cast<void>(log.Take());
    }
    std::int32_t SetOnFirst(std::int32_t (*function)(std::intptr_t, std::int32_t*))
    {
        std::int32_t count = -1;
        EXPECT_EQ(function(calc, &count), 0);
        return count;
    }
    /// The series at the front of the list.
    OptionSeriesEntry FirstSeries()
    {
        OptionSeriesEntry entry;
        SetOnFirst(SetOnFirstOptionSeries);
        EXPECT_EQ(entry.GetNext(calc), 0);
        return entry;
    }
    OptionEntry FirstOption()
    {
        OptionEntry entry;
        SetOnFirst(SetOnFirstOption);
        EXPECT_EQ(entry.GetNext(calc), 0);
        return entry;
    }
};

// What goes in and comes back

TEST_F(FacadeOptionsTest, ASeriesGivesBackWhatWasInsertedAndTheRootOfItsTime)
{
    const OptionSeriesArguments arguments = OptionSeriesArguments::AllDifferent();
    ASSERT_EQ(arguments.Insert(calc, "SER", "FUT"), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 1);
    OptionSeriesEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "SER");
    EXPECT_EQ(entry.codeSize, 4);
    EXPECT_STREQ(entry.futures.data(), "FUT");
    EXPECT_EQ(entry.futuresSize, 4);
    EXPECT_EQ(entry.sqrtT, 0.5) << "of a quarter of a year";
    EXPECT_EQ(entry.values, arguments);

    const OptionSeriesEntry untouched = entry;
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_EQ(entry, untouched) << "nothing is written at the end, sizes included";
}

TEST_F(FacadeOptionsTest, TheTraceShowsASeriesInTheOrderOfTheArguments)
{
    ASSERT_EQ(OptionSeriesArguments::AllDifferent().Insert(calc, "SER", "FUT"), 0);
    static_cast<void>(FirstSeries());
    const std::string values =
        ",@A_Black=   21.500000,@B_Black=   22.500000,@C_Black=    0.500000,@D_Black=   -1.250000,@E_Black=    2.250000"
        ",@UseNullVolat=1,@S_Black=    0.062500,@StrikeStep=   50.000000"
        ",@ExpClearingsSA=3,@ExpClearingsBF=4,@ExpClearingsCC=5"
        ",@VolatilityRisk=    0.125000,@VolatilityRiskMismatch=    0.187500,@TimeToExpiration=    0.250000"
        ",@A_Bach=    0.750000,@B_Bach=    0.875000,@C_Bach=    0.375000,@D_Bach=   -0.250000,@E_Bach=    1.750000"
        ",@S_Bach=    0.031250,@M_Bach=  110.000000,@MarginStyle=1,@SettlementType=1,@ExerciseStyle=1,@SubRisk=1"
        ",@SpreadAspect=2,@EnforceHalfNetting=1,@MinStep=    0.500000,@MinStepPrice=    6.500000,@LotCoeff=10"
        ",@r=    0.070000,@InterestRateRiskUp=    0.011000,@InterestRateRiskDown=    0.012000"
        ",@FixedSpotDiscount=    1.500000,@ProjectedSpotDiscount=    2.500000,@r2=    0.030000"
        ",@InterestRate2RiskUp=    0.013000,@InterestRate2RiskDown=    0.014000";
    EXPECT_THAT(TraceOf("InsertOptionSeries"), ElementsAre("00,,InsertOptionSeries," + Handle() +
                                                           ",@OptionSeriesCode='SER',@FuturesCode='FUT'" + values));
    EXPECT_THAT(TraceOf("GetNextOptionSeries"),
                ElementsAre("00,,GetNextOptionSeries," + Handle() +
                            ",@OptionSeriesCode='SER',@OptionSeriesCodeSize=4,@FuturesCode='FUT',@FuturesCodeSize=4"
                            ",@SqrtT=    0.500000" +
                            values));
    EXPECT_THAT(TraceOf("SetOnFirstOptionSeries"), ElementsAre("00,,SetOnFirstOptionSeries," + Handle() + ",@count=1"));
}

TEST_F(FacadeOptionsTest, EachStyleAndEachFlagHasAnArgumentOfItsOwn)
{
    OptionSeriesArguments none;
    none.ExerciseStyle = QUINDAL_EXERCISE_STYLE_AMERICAN; // the other styles and flags are 0 as they stand
    std::vector<OptionSeriesArguments> all(7, none);
    all[0].UseNullVolat = 1;
    all[1].MarginStyle = QUINDAL_MARGIN_STYLE_EQUITY;
    all[2].SettlementType = QUINDAL_SETTLEMENT_TYPE_DELIVERABLE;
    all[3].ExerciseStyle = QUINDAL_EXERCISE_STYLE_EUROPEAN;
    all[4].SubRisk = 1;
    all[5].SpreadAspect = QUINDAL_SPREAD_ASPECT_IN_SPREAD;
    all[6].EnforceHalfNetting = 1;
    for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(all[i].Insert(calc, ("SER" + std::to_string(i)).c_str(), "FUT"), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 7);
    for (std::size_t i = 0; i < all.size(); ++i) {
        OptionSeriesEntry entry;
        ASSERT_EQ(entry.GetNext(calc), 0);
        EXPECT_EQ(entry.values, all[i]) << i;
    }
}

TEST_F(FacadeOptionsTest, FlagsComeBackAsZeroOrOneAndTheSpreadAsZeroOrTwo)
{
    OptionSeriesArguments arguments;
    arguments.UseNullVolat = 7;
    arguments.SubRisk = -1;
    arguments.EnforceHalfNetting = 2;
    arguments.SpreadAspect = 1; // any flag but 0 ties a futures into the spread; of a series only 2 does
    ASSERT_EQ(arguments.Insert(calc, "SER", "FUT"), 0);
    const OptionSeriesEntry entry = FirstSeries();
    EXPECT_EQ(entry.values.UseNullVolat, 1);
    EXPECT_EQ(entry.values.SubRisk, 1);
    EXPECT_EQ(entry.values.EnforceHalfNetting, 1);
    EXPECT_EQ(entry.values.SpreadAspect, QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD);
}

TEST_F(FacadeOptionsTest, CorrectedValuesComeBackCorrected)
{
    OptionSeriesArguments arguments;
    arguments.StrikeStep = 0.25; // below MinStep, 1
    arguments.M_Bach = -1.0;     // becomes the strike step as corrected
    arguments.E_Black = 0.5;
    arguments.ExpClearingsCC = -3;
    arguments.TimeToExpiration = 0.0;
    arguments.FixedSpotDiscount = -2.0;
    ASSERT_EQ(arguments.Insert(calc, "SER", "FUT"), 0);
    const OptionSeriesEntry entry = FirstSeries();
    EXPECT_EQ(entry.values.StrikeStep, 1.0);
    EXPECT_EQ(entry.values.M_Bach, 1.0);
    EXPECT_EQ(entry.values.E_Black, 1.0);
    EXPECT_EQ(entry.values.ExpClearingsCC, 0);
    EXPECT_EQ(entry.values.TimeToExpiration, 0.000057078025) << "half an hour";
    EXPECT_NEAR(entry.sqrtT, 0.0075550, 1e-7);
    EXPECT_EQ(entry.values.FixedSpotDiscount, 0.0);
}

TEST_F(FacadeOptionsTest, AnOptionGivesBackWhatWasInserted)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "PUT", "SER", 987.5, QUINDAL_OPTION_TYPE_PUT, 12.25), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 1);
    OptionEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "PUT");
    EXPECT_EQ(entry.codeSize, 4);
    EXPECT_STREQ(entry.series.data(), "SER");
    EXPECT_EQ(entry.seriesSize, 4);
    EXPECT_EQ(entry.strike, 987.5);
    EXPECT_EQ(entry.type, QUINDAL_OPTION_TYPE_PUT);
    EXPECT_EQ(entry.calcOptPrice, 12.25);

    const OptionEntry untouched = entry;
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_EQ(entry, untouched);
    EXPECT_THAT(TraceOf("InsertOption"),
                ElementsAre("00,,InsertOption," + Handle() +
                            ",@OptionCode='PUT',@OptionSeriesCode='SER',@Strike=  987.500000,@OptionType=1,"
                            "@CalcOptPrice=   12.250000"));
    EXPECT_THAT(TraceOf("GetNextOption"),
                ElementsAre("00,,GetNextOption," + Handle() +
                                ",@OptionCode='PUT',@OptionCodeSize=4,@OptionSeriesCode='SER',@OptionSeriesCodeSize=4,"
                                "@Strike=  987.500000,@OptionType=1,@CalcOptPrice=   12.250000",
                            "00,,GetNextOption," + Handle()))
        << "the end of the data is no error in the trace";
}

TEST_F(FacadeOptionsTest, WhateverIsNoPutIsACall)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    for (const int type : {QUINDAL_OPTION_TYPE_CALL + 0, 0, -1, 77})
        ASSERT_EQ(calls::Option(calc, ("O" + std::to_string(type)).c_str(), "SER", 1000.0,
                                static_cast<QuindalOptionType>(type)),
                  0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 4);
    for (OptionEntry entry; entry.GetNext(calc) == 0; entry = OptionEntry())
        EXPECT_EQ(entry.type, QUINDAL_OPTION_TYPE_CALL) << entry.code.data();
}

TEST_F(FacadeOptionsTest, ListsGiveTheOrderOfInsertionOnceTheyAreSetOnFirst)
{
    for (const char* code : {"S2", "S3", "S1"}) {
        ASSERT_EQ(calls::OptionSeries(calc, code, "FUT"), 0);
        ASSERT_EQ(calls::Option(calc, (std::string("C-") + code).c_str(), code), 0);
        ASSERT_EQ(calls::Option(calc, (std::string("P-") + code).c_str(), code, 1000.0, QUINDAL_OPTION_TYPE_PUT), 0);
    }
    OptionSeriesEntry series;
    OptionEntry option;
    EXPECT_EQ(series.GetNext(calc), 94810);
    EXPECT_EQ(option.GetNext(calc), 94810);
    EXPECT_EQ(series, OptionSeriesEntry());
    EXPECT_EQ(option, OptionEntry());

    std::vector<std::string> codes;
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 3);
    for (OptionSeriesEntry entry; entry.GetNext(calc) == 0; entry = OptionSeriesEntry())
        codes.emplace_back(entry.code.data());
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 6);
    for (OptionEntry entry; entry.GetNext(calc) == 0; entry = OptionEntry())
        codes.emplace_back(entry.code.data());
    EXPECT_THAT(codes, ElementsAre("S2", "S3", "S1", "C-S2", "P-S2", "C-S3", "P-S3", "C-S1", "P-S1"));
}

// The size contract and the pointers

TEST_F(FacadeOptionsTest, ABufferThatIsTooSmallGivesTheSizesAndPassesTheEntryOver)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER1", "FUT"), 0);
    ASSERT_EQ(calls::OptionSeries(calc, "SER2", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT1", "SER1"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT2", "SER2"), 0);
    for (const std::int32_t capacity : {4, 0, -1}) { // 4 has no room for the zero
        OptionSeriesEntry series;
        series.futuresSize = capacity == 4 ? 3 : capacity;
        OptionSeriesEntry expectedSeries = series;
        expectedSeries.codeSize = 5;
        expectedSeries.futuresSize = 4;
        SetOnFirst(SetOnFirstOptionSeries);
        EXPECT_EQ(series.GetNext(calc), 7) << capacity;
        EXPECT_EQ(series, expectedSeries) << capacity << ": all sizes are written, and nothing else";
        OptionSeriesEntry nextSeries;
        EXPECT_EQ(nextSeries.GetNext(calc), 0);
        EXPECT_STREQ(nextSeries.code.data(), "SER2");

        OptionEntry option;
        option.codeSize = capacity;
        OptionEntry expectedOption = option;
        expectedOption.codeSize = 5;
        expectedOption.seriesSize = 5;
        SetOnFirst(SetOnFirstOption);
        EXPECT_EQ(option.GetNext(calc), 7) << capacity;
        EXPECT_EQ(option, expectedOption) << capacity;
        OptionEntry nextOption;
        EXPECT_EQ(nextOption.GetNext(calc), 0);
        EXPECT_STREQ(nextOption.code.data(), "OPT2");
    }
}

TEST_F(FacadeOptionsTest, ABufferOfLengthAndOneIsEnoughAndTheLastByteOfALargerOneIsZero)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    OptionSeriesEntry series;
    series.codeSize = 4;
    series.futures.fill('#');
    series.futuresSize = 10;
    SetOnFirst(SetOnFirstOptionSeries);
    ASSERT_EQ(series.GetNext(calc), 0);
    EXPECT_STREQ(series.code.data(), "SER");
    EXPECT_EQ(series.futures[9], '\0');
    EXPECT_EQ(series.futures[10], '#') << "nothing is written behind it";
    OptionEntry option;
    option.codeSize = 4;
    option.series.fill('#');
    option.seriesSize = 4;
    SetOnFirst(SetOnFirstOption);
    ASSERT_EQ(option.GetNext(calc), 0);
    EXPECT_STREQ(option.code.data(), "OPT");
    EXPECT_STREQ(option.series.data(), "SER");
    EXPECT_EQ(option.series[4], '#');
}

TEST_F(FacadeOptionsTest, ANullPointerDoesNotMoveTheCursor)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    SetOnFirst(SetOnFirstOption);
    OptionEntry entry;
    EXPECT_EQ(GetNextOption(calc, entry.code.data(), &entry.codeSize, nullptr, &entry.seriesSize, &entry.strike,
                            &entry.type, &entry.calcOptPrice),
              94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] GetNextOption: OptionSeriesCode is null"));
    EXPECT_EQ(entry, OptionEntry());
    EXPECT_EQ(entry.GetNext(calc), 0) << "the option is still there";
}

// Refusals

TEST_F(FacadeOptionsTest, UnknownParentsAndRepeatsHaveTheCodesOfTheAccounting)
{
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "NONE"), 94510);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Futures (NONE) not found while inserting virtual futures (SER)")));
    EXPECT_EQ(calls::Option(calc, "OPT", "SER"), 94515);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Virtual Futures Code: SER")));
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 94519);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("VFCode: SER")));
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER"), 94521);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Option Isin: 3")));
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 1);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 1);
}

TEST_F(FacadeOptionsTest, ARefusedSeriesIsCountedAndItsPlaceSaysThatThereIsNone)
{
    OptionSeriesArguments noLot;
    noLot.LotCoeff = 0;
    ASSERT_EQ(calls::OptionSeries(calc, "FIRST", "FUT"), 0);
    EXPECT_EQ(noLot.Insert(calc, "REFUSED", "FUT"), 94780);
    ASSERT_EQ(calls::OptionSeries(calc, "LAST", "FUT"), 0);
    static_cast<void>(log.Take());

    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 3);
    OptionSeriesEntry entry;
    EXPECT_EQ(entry.GetNext(calc), 0);
    const OptionSeriesEntry first = entry;
    EXPECT_EQ(entry.GetNext(calc), 94716);
    EXPECT_EQ(entry, first) << "nothing is written";
    EXPECT_EQ(TraceOf("GetNextOptionSeries").back(), "94716,Virtual futures not found,GetNextOptionSeries," + Handle());
    EXPECT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "LAST");
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_THAT(log.Take(), IsEmpty()) << "nothing of it is logged";
    EXPECT_EQ(noLot.Insert(calc, "REFUSED", "FUT"), 94519) << "a retry is a repeat";
}

TEST_F(FacadeOptionsTest, ARefusedOptionIsNotListedAndHoldsNoPosition)
{
    OptionSeriesArguments noLot;
    noLot.LotCoeff = 0;
    ASSERT_EQ(noLot.Insert(calc, "REFUSED", "FUT"), 94780);
    EXPECT_EQ(calls::Option(calc, "OPT", "REFUSED"), 94715);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 0);
    EXPECT_EQ(calls::Option(calc, "OPT", "REFUSED"), 94521) << "a retry is a repeat";
    ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
    ASSERT_EQ(calls::Part(calc, "AA00001"), 0);
    Margins margins;
    EXPECT_EQ(calls::Position(calc, "AA00001", "OPT", 1, 0.0, margins), 94260) << "the code is known, no more";
    EXPECT_EQ(calls::Position(calc, "AA00001", "REFUSED", 1, 0.0, margins), 94813) << "a series has no isin";
    EXPECT_EQ(margins, Margins());
}

TEST_F(FacadeOptionsTest, AStrikeMustHaveAFixedPointFormAndThePriceNeedNot)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER", notANumber), 2);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER", 1e12), 14);
    EXPECT_EQ(calls::Option(calc, "OPT", "SER", 1000.0, QUINDAL_OPTION_TYPE_CALL, notANumber), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 1);
}

TEST_F(FacadeOptionsTest, SeriesAndOptionsStandInTheWayOfADownloadUntilClearAll)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    SetOnFirst(SetOnFirstOptionSeries);
    SetOnFirst(SetOnFirstOption);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    ASSERT_EQ(ClearAll(calc), 0);
    OptionSeriesEntry series;
    OptionEntry option;
    EXPECT_EQ(series.GetNext(calc), 94810);
    EXPECT_EQ(option.GetNext(calc), 94810);
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);

    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0) << "the same codes go in again";
    EXPECT_EQ(calls::Option(calc, "OPT", "SER"), 0);
}

TEST_F(FacadeOptionsTest, ANewCalculatorHasForgottenTheListsAndNotTheInstruments)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "OPT", "SER"), 0);
    ASSERT_EQ(DestroyQuindalIMCalculator(calc), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOptionSeries), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstOption), 0);
    EXPECT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 94519);
}

// Positions

class OptionPositionsTest : public FacadeOptionsTest
{
protected:
    /// SER stands alone and is about to expire; CALL and PUT of strike 1000 cost 10 and 12.
    void SetUp() override
    {
        FacadeOptionsTest::SetUp();
        OptionSeriesArguments arguments;
        arguments.TimeToExpiration = 0.0001; // an hour: at 900 and 1100 nothing is left but what an exercise brings
        ASSERT_EQ(arguments.Insert(calc, "SER", "FUT"), 0);
        ASSERT_EQ(calls::Option(calc, "CALL", "SER", 1000.0, QUINDAL_OPTION_TYPE_CALL, 10.0), 0);
        ASSERT_EQ(calls::Option(calc, "PUT", "SER", 1000.0, QUINDAL_OPTION_TYPE_PUT, 12.0), 0);
        ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
        ASSERT_EQ(calls::Part(calc, "AA00001"), 0);
        ASSERT_EQ(calls::Part(calc, "AA00002"), 0);
        static_cast<void>(log.Take());
    }
};

// A bought option loses its premium at most, and at the price on its wrong side it loses all of it: three calls bought
// at 10 are worth nothing at 900.
TEST_F(OptionPositionsTest, ABoughtOptionTakesItsPremiumAsMargin)
{
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "CALL", 3, 10.0, margins), 0);
    EXPECT_NEAR(margins.volatility, 30.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 30.0, 1e-9);
    EXPECT_EQ(margins.part, 30.0);
    EXPECT_EQ(margins.firm, -4.0);
    EXPECT_EQ(margins.account, -5.0);
    EXPECT_EQ(TraceOf("SetPosition").back(),
              "00,,SetPosition," + Handle() +
                  ",@Code='AA00001',@InstrCode='CALL',@Quantity=3,@WAPrice=   10.000000,@accountHierarchy=2,"
                  "@afterLastClearingQuantity=0,@VolatilityPartGO=   30.000000,@DeliveryAndVolatilityPartGO=   "
                  "30.000000,@PartGO=   30.000000,@FirmGO=NULL,@SettlementAccountGO=NULL");
    ASSERT_EQ(calls::Position(calc, "AA00001", "PUT", 2, 12.5, margins), 0);
    // At 1000 both are worth something still; at 900 two puts bring 200, at 1100 three calls bring 300. So the worst is
    // between: less than both premiums, 55, by what an hour is worth at the money, about a unit of price an option.
    EXPECT_LT(margins.part, 55.0);
    EXPECT_GT(margins.part, 40.0);
    ASSERT_EQ(calls::Position(calc, "AA00001", "CALL", 0, 0.0, margins), 0);
    EXPECT_NEAR(margins.volatility, 25.0, 1e-9) << "two puts at 12.5 alone";
    ASSERT_EQ(calls::Position(calc, "AA00001", "PUT", 0, 0.0, margins), 0);
    EXPECT_NEAR(margins.volatility, 0.0, 1e-9);
}

TEST_F(OptionPositionsTest, APriceOfZeroIsTheCalculatedPriceOfTheOption)
{
    Margins implied;
    Margins stated;
    ASSERT_EQ(calls::Position(calc, "AA00001", "PUT", 4, 0.0, implied), 0);
    ASSERT_EQ(calls::Position(calc, "AA00002", "PUT", 4, 12.0, stated), 0);
    EXPECT_EQ(implied, stated);
    EXPECT_NEAR(implied.volatility, 48.0, 1e-9) << "four times 12";
}

// Priced through a currency whose rate moves by 0.05, a loss of 30 grows by that share, less the value that the options
// already have: three contracts left by the last clearing at a settlement price of 10 are worth 30 and leave nothing to
// grow, (30 - 30) x 0.05; with none left the margin is 30 + 30 x 0.05.
TEST_F(OptionPositionsTest, WhatTheLastClearingLeftIsTheValueOfOptionsPaidUpFrontAndOfNoOthers)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    constexpr double rate = 0.1;
    ASSERT_EQ(InsertBaseContract(calc, "BCC", "", 3, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP, 840, 0.0, rate, rate,
                                 rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, rate, 1000000,
                                 1000000, 1, 0.5, QUINDAL_OPTION_MODEL_BLACK_SCHOLES, 0.0, QUINDAL_ASSET_CLASS_STOCK,
                                 0.0),
              0);
    ASSERT_EQ(calls::Futures(calc, "FUTC", "BCC"), 0);
    OptionSeriesArguments arguments;
    arguments.TimeToExpiration = 0.0001;
    ASSERT_EQ(arguments.Insert(calc, "STYLE-FUTURES", "FUTC"), 0);
    arguments.MarginStyle = QUINDAL_MARGIN_STYLE_EQUITY;
    ASSERT_EQ(arguments.Insert(calc, "STYLE-EQUITY", "FUTC"), 0);
    ASSERT_EQ(calls::Option(calc, "F-CALL", "STYLE-FUTURES"), 0);
    ASSERT_EQ(calls::Option(calc, "E-CALL", "STYLE-EQUITY"), 0);

    const struct
    {
        const char* instrument;
        std::int64_t afterLastClearing;
        double margin;
    } cases[] = {{"E-CALL", 3, 30.0}, {"E-CALL", 0, 31.5}, {"F-CALL", 3, 31.5}, {"F-CALL", 0, 31.5}};
    for (const auto& expected : cases) {
        Margins margins;
        const auto set = [&](std::int64_t quantity) {
            return SetPosition(calc, "AA00001", expected.instrument, quantity, 10.0, &margins.volatility,
                               &margins.delivery, &margins.part, &margins.firm, &margins.account,
                               QUINDAL_ACCOUNT_HIERARCHY_CLIENT, expected.afterLastClearing);
        };
        ASSERT_EQ(set(3), 0);
        EXPECT_NEAR(margins.volatility, expected.margin, 1e-9)
            << expected.instrument << " " << expected.afterLastClearing;
        ASSERT_EQ(set(0), 0);
    }
}

} // namespace
} // namespace test::FacadeOptionsTest
