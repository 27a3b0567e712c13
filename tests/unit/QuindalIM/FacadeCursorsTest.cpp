// The read-back cursors through the exports: what goes out, the size contract of code buffers, the end of the data.
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"

namespace test::FacadeCursorsTest {
namespace {

using calls::BaseContractEntry;
using calls::FuturesEntry;
using testing::ElementsAre;
using testing::HasSubstr;

class FacadeCursorsTest : public CalculatorTest
{
protected:
    std::int32_t SetOnFirst(std::int32_t (*function)(std::intptr_t, std::int32_t*))
    {
        std::int32_t count = -1;
        EXPECT_EQ(function(calc, &count), 0);
        return count;
    }
};

TEST_F(FacadeCursorsTest, CurrenciesComeBackInOrderAndEndWithACodeThatTheTraceDoesNotCallAnError)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    ASSERT_EQ(InsertCurrency(calc, 840, 0.06), 94791);
    std::int32_t id = -1;
    double radius = -1.0;
    EXPECT_EQ(GetNextCurrency(calc, &id, &radius), 94810) << "the cursor was not set on first";
    EXPECT_EQ(SetOnFirst(SetOnFirstCurrency), 1);
    EXPECT_EQ(GetNextCurrency(calc, &id, &radius), 0);
    EXPECT_EQ(id, 840);
    EXPECT_EQ(radius, 0.05);
    EXPECT_EQ(GetNextCurrency(calc, &id, &radius), 94810);
    EXPECT_THAT(TraceOf("GetNextCurrency"),
                ElementsAre("00,,GetNextCurrency," + Handle(),
                            "00,,GetNextCurrency," + Handle() + ",@CurrencyId=840,@CurvatureRadius=    0.050000",
                            "00,,GetNextCurrency," + Handle()));
    EXPECT_THAT(TraceOf("SetOnFirstCurrency"), ElementsAre("00,,SetOnFirstCurrency," + Handle() + ",@count=1"));
}

TEST_F(FacadeCursorsTest, ABaseContractGivesBackWhatWasInsertedAndPointsNumIsRiskPointsN)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    ASSERT_EQ(InsertBaseContract(calc, "BC", "MCS", 5, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP, 840, 0.25, 0.01, 0.02,
                                 0.03, 0.04, 0.05, 0.06, 0.07, 0.08, 0.09, 0.10, 0.11, 0.12, 0.13, 0.14, 0.15, 1000,
                                 5000, 12, 0.5, QUINDAL_OPTION_MODEL_BACHELIER, 77.5, QUINDAL_ASSET_CLASS_METAL, 0.02),
              0);
    EXPECT_EQ(SetOnFirst(SetOnFirstBaseContract), 1);
    BaseContractEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "BC");
    EXPECT_EQ(entry.codeSize, 3);
    EXPECT_STREQ(entry.mcs.data(), "MCS");
    EXPECT_EQ(entry.mcsSize, 4);
    EXPECT_EQ(entry.volatNum, 5);
    EXPECT_EQ(entry.pointsNum, 12);
    EXPECT_EQ(entry.mspType, QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP);
    EXPECT_EQ(entry.currencyId, 840);
    EXPECT_EQ(entry.minimumCharge, 0.25);
    EXPECT_THAT(entry.rates,
                ElementsAre(0.01, 0.02, 0.03, 0.04, 0.05, 0.06, 0.07, 0.08, 0.09, 0.10, 0.11, 0.12, 0.13, 0.14, 0.15));
    EXPECT_EQ(entry.limit1, 1000);
    EXPECT_EQ(entry.limit2, 5000);
    EXPECT_EQ(entry.window, 0.5);
    EXPECT_EQ(entry.optionModel, QUINDAL_OPTION_MODEL_BACHELIER);
    EXPECT_EQ(entry.spotPrice, 77.5);
    EXPECT_EQ(entry.assetClass, QUINDAL_ASSET_CLASS_METAL);
    EXPECT_EQ(entry.cfRisk, 0.02);
    EXPECT_THAT(TraceOf("GetNextBaseContract").back(),
                HasSubstr(",@BaseContractCode='BC',@BaseContractCodeSize=3,@MCSCode='MCS',@MCSCodeSize=4,@VolatNum=5,"
                          "@PointsNum=12,@MSPType=1,"));

    const BaseContractEntry untouched = entry;
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_EQ(entry, untouched) << "nothing is written at the end, sizes included";
}

TEST_F(FacadeCursorsTest, ACorrectedValueComesBackCorrected)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC", "", 1000, 4), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstBaseContract), 1);
    BaseContractEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_EQ(entry.volatNum, 5) << "an even number of scenarios becomes odd";
}

TEST_F(FacadeCursorsTest, AFuturesGivesBackWhatWasInsertedAndTheLimitOfTheLevelAskedFor)
{
    ASSERT_EQ(InsertBaseContract(calc, "BC", "", 3, QUINDAL_MSP_FIXED_PRICE_STEP, 0, 0.1, 0.1, 0.2, 0.3, 0.05, 0.1,
                                 0.15, 0.2, 0.3, 0.4, 0.3, 0.4, 0.5, 0.4, 0.5, 0.6, 1000, 5000, 2, 0.5,
                                 QUINDAL_OPTION_MODEL_BLACK_SCHOLES, 0.0, QUINDAL_ASSET_CLASS_STOCK, 0.0),
              0);
    ASSERT_EQ(InsertFutures(calc, "FUT", "BC", 1001.5, 1, 2.0, 1002.5, 0.5, 10.0, 0.01, 0.02, 0.25, 1000.0,
                            QUINDAL_ATTRIBUTE_COLLATERAL, 0.03, 0.04, 7, ""),
              0);
    // Half of rate x spot: 0.5 x 0.1 x 1000, then 0.05, 0.2, 0.3 and 0.4 in place of 0.1.
    const double limits[] = {50.0, 25.0, 100.0, 150.0, 200.0};
    for (std::int32_t level = 0; level < 5; ++level) {
        FuturesEntry entry;
        EXPECT_EQ(SetOnFirst(SetOnFirstFutures), 1);
        ASSERT_EQ(entry.GetNext(calc, level), 0);
        EXPECT_DOUBLE_EQ(entry.limit, limits[level]);
    }
    FuturesEntry entry;
    SetOnFirst(SetOnFirstFutures);
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "FUT");
    EXPECT_EQ(entry.codeSize, 4);
    EXPECT_STREQ(entry.baseContract.data(), "BC");
    EXPECT_EQ(entry.baseContractSize, 3);
    EXPECT_EQ(entry.calcFutPrice, 1001.5);
    EXPECT_EQ(entry.spreadAspect, QUINDAL_SPREAD_ASPECT_IN_SPREAD) << "any flag that is not 0 goes out as 2";
    EXPECT_EQ(entry.minStepPrice, 2.0);
    EXPECT_EQ(entry.realCalcPrice, 1002.5);
    EXPECT_EQ(entry.minStep, 0.5);
    EXPECT_EQ(entry.xLot, 10.0);
    EXPECT_EQ(entry.rateUp, 0.01);
    EXPECT_EQ(entry.rateDown, 0.02);
    EXPECT_EQ(entry.timeToExpiration, 0.25);
    EXPECT_EQ(entry.normalizedSpot, 1000.0);
    EXPECT_EQ(entry.attribute, QUINDAL_ATTRIBUTE_COLLATERAL);
    EXPECT_EQ(entry.addOnUp, 0.03);
    EXPECT_EQ(entry.addOnDown, 0.04);
    EXPECT_EQ(entry.enforceHalfNetting, 1) << "any flag that is not 0 goes out as 1";
    EXPECT_STREQ(entry.tracked.data(), "");
    EXPECT_EQ(entry.trackedSize, 1);
}

TEST_F(FacadeCursorsTest, ALevelOutsideTheFiveGivesALimitThatIsNoNumberAndIsNoError)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    for (const std::int32_t level : {-1, 5, 1000000, std::numeric_limits<std::int32_t>::min()}) {
        FuturesEntry entry;
        SetOnFirst(SetOnFirstFutures);
        EXPECT_EQ(entry.GetNext(calc, level), 0) << level;
        EXPECT_TRUE(std::isnan(entry.limit)) << level;
    }
}

TEST_F(FacadeCursorsTest, AFuturesThatStandsAloneGivesZeroForTheSpreadAndForTheFlag)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    FuturesEntry entry;
    SetOnFirst(SetOnFirstFutures);
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_EQ(entry.spreadAspect, QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD);
    EXPECT_EQ(entry.enforceHalfNetting, 0);
}

TEST_F(FacadeCursorsTest, ATASFuturesGivesTheCodeOfTheFuturesThatItTracks)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "TAS", "BC", "TRACKED"), 0);
    FuturesEntry entry;
    SetOnFirst(SetOnFirstFutures);
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.tracked.data(), "TRACKED");
    EXPECT_EQ(entry.trackedSize, 8);
    EXPECT_THAT(TraceOf("GetNextFutures").back(), HasSubstr(",@TASBaseFutCode='TRACKED',@TASBaseFutCodeSize=8"));
}

TEST_F(FacadeCursorsTest, ATrackedIsinThatTheNewCalculatorDoesNotKnowIsLoggedAndNotFound)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);              // isin 1
    ASSERT_EQ(calls::Futures(calc, "TAS", "BC", "TRACKED"), 0); // isins 2 and 3
    ASSERT_EQ(DestroyQuindalIMCalculator(calc), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    static_cast<void>(log.Take());
    FuturesEntry entry;
    const FuturesEntry untouched = entry;
    SetOnFirst(SetOnFirstFutures);
    EXPECT_EQ(entry.GetNext(calc), 94813);
    EXPECT_EQ(entry, untouched);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] GetNextFutures: TASBaseFutIsinID (3) not found"));
    EXPECT_EQ(entry.GetNext(calc), 94810) << "the cursor has moved on";
}

TEST_F(FacadeCursorsTest, ABufferOfExactlyTheCodesLengthIsTooSmallAndTheEntryIsNotOfferedAgain)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT1", "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT2", "BC"), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstFutures), 2);

    FuturesEntry small;
    small.codeSize = 4; // no room for the zero behind FUT1 or FUT2
    FuturesEntry expected = small;
    expected.codeSize = 5;
    expected.baseContractSize = 3;
    expected.trackedSize = 1;
    EXPECT_EQ(small.GetNext(calc), 7);
    EXPECT_EQ(small, expected) << "all sizes are written, and nothing else";

    FuturesEntry second;
    EXPECT_EQ(second.GetNext(calc), 0) << "the next futures";
    EXPECT_EQ(second.GetNext(calc), 94810);
    EXPECT_THAT(TraceOf("GetNextFutures")[0], HasSubstr("GetNextFutures," + Handle() + ",@ClientRiskLevel=0"));
}

TEST_F(FacadeCursorsTest, OneBufferThatIsTooSmallKeepsAllCodesBack)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC", "MCS"), 0);
    for (const std::int32_t capacity : {3, 0, -1, std::numeric_limits<std::int32_t>::min()}) {
        BaseContractEntry entry;
        entry.mcsSize = capacity;
        BaseContractEntry expected = entry;
        expected.codeSize = 3;
        expected.mcsSize = 4;
        SetOnFirst(SetOnFirstBaseContract);
        EXPECT_EQ(entry.GetNext(calc), 7) << capacity;
        EXPECT_EQ(entry, expected) << capacity;
    }
}

TEST_F(FacadeCursorsTest, TheLastByteOfTheCapacityIsZero)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC", "MCS"), 0);
    BaseContractEntry entry;
    entry.code.fill('#');
    entry.codeSize = 10;
    SetOnFirst(SetOnFirstBaseContract);
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "BC");
    EXPECT_EQ(entry.code[9], '\0');
    EXPECT_EQ(entry.code[10], '#') << "nothing is written behind it";
}

TEST_F(FacadeCursorsTest, ANullPointerDoesNotMoveTheCursor)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    SetOnFirst(SetOnFirstFutures);
    static_cast<void>(log.Take());
    FuturesEntry entry;
    EXPECT_EQ(GetNextFutures(calc, 0, entry.code.data(), &entry.codeSize, nullptr, &entry.baseContractSize,
                             &entry.limit, &entry.calcFutPrice, &entry.spreadAspect, &entry.minStepPrice,
                             &entry.realCalcPrice, &entry.minStep, &entry.xLot, &entry.rateUp, &entry.rateDown,
                             &entry.timeToExpiration, &entry.normalizedSpot, &entry.attribute, &entry.addOnUp,
                             &entry.addOnDown, &entry.enforceHalfNetting, entry.tracked.data(), nullptr),
              94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] GetNextFutures: BaseContractCode is null"));
    EXPECT_EQ(entry.codeSize, 32);
    EXPECT_EQ(entry.GetNext(calc), 0) << "the futures is still there";
}

TEST_F(FacadeCursorsTest, AfterClearAllCursorsWaitToBeSetOnFirst)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
    SetOnFirst(SetOnFirstBaseContract);
    SetOnFirst(SetOnFirstFutures);
    ASSERT_EQ(ClearAll(calc), 0);
    BaseContractEntry contract;
    FuturesEntry futures;
    EXPECT_EQ(contract.GetNext(calc), 94810);
    EXPECT_EQ(futures.GetNext(calc), 94810);
    EXPECT_EQ(SetOnFirst(SetOnFirstBaseContract), 0);
    EXPECT_EQ(SetOnFirst(SetOnFirstFutures), 0);
}

} // namespace
} // namespace test::FacadeCursorsTest
