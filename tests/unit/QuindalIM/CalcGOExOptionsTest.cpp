// The calculator's option series and options: isins, the order of the two stores, lists and cursors, what is undone.
#include <cmath>
#include <cstdint>
#include <limits>
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
#include "except.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/OptionSeriesParameters.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace test::CalcGOExOptionsTest {
namespace {

using kv7im::AccessByStatus;
using QuindalIM::CCalcGOEx;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// BC (isin 1) with FUT (isin 2).
class CalcGOExOptionsTest : public testing::Test
{
protected:
    CalcGOExOptionsTest()
    {
        const Z9ERR contract = calculator.InsertBaseContractEx(RoundContract("BC"));
        if (contract != Z9ERR_OK || InsertFutures("FUT", 1.0) != Z9ERR_OK) throw std::runtime_error("no futures");
    }

    Z9ERR InsertFutures(const char* code, double minStep)
    {
        FuturesSample futures = RoundFutures(code);
        futures.MinStep = minStep;
        return calculator.InsertFutures(futures, "");
    }
    /// A flat smile; every other parameter at its default. A lot coefficient of 0 is refused.
    static kv7im::OptionSeriesParameters Series(const char* code, const char* futures = "FUT",
                                                std::int32_t lotCoeff = 1)
    {
        kv7im::OptionSeriesParameters series;
        series.Code = code;
        series.CodeRF = futures;
        series.A = 20.0;
        series.E = 1.0;
        series.E_Bach = 1.0;
        series.M_Bach = 100.0;
        series.StrikeStep = 50.0;
        series.TimeToExpiration = 0.25;
        series.MinStep = 0.5;
        series.MinStepPrice = 6.5;
        series.LotCoeff = lotCoeff;
        return series;
    }
    Z9ERR InsertSeries(const char* code, const char* futures = "FUT", std::int32_t lotCoeff = 1)
    {
        return calculator.InsertOptionSeries(Series(code, futures, lotCoeff));
    }
    Z9ERR InsertOption(const char* code, const char* series, double strike = 1000.0, double price = 10.0,
                       Enums::OptionType type = Enums::OptionType::Call)
    {
        return calculator.InsertOption(code, series, strike, type, price);
    }
    [[nodiscard]] const kv7im::CSpecOption* FindOption(const char* code) const
    {
        return instruments.GetOption(AccessByStatus::eCurrent, code);
    }

    template <class Call>
    static Z9ERR CodeThrownBy(Call call)
    {
        try {
            static_cast<void>(call());
        } catch (const kv7base::CZ9Error& error) {
            return error.GetCode();
        }
        return Z9ERR_OK;
    }
    static std::string CodeOf(const CCalcGOEx& of, int isin)
    {
        std::string code = "unknown";
        static_cast<void>(of.GetCodeByIsin(isin, code));
        return code;
    }
    /// What a walk over a list meets: codes, and the codes of errors where there is nothing behind an entry.
    template <class Instrument>
    static std::vector<std::string> Listed(CCalcGOEx& of, std::int32_t (CCalcGOEx::*setOnFirst)(),
                                           Z9ERR (CCalcGOEx::*getNext)(const Instrument*&))
    {
        std::vector<std::string> met;
        const std::int32_t count = (of.*setOnFirst)();
        const Instrument* instrument = nullptr;
        for (std::int32_t i = 0; i < count; ++i) {
            const Z9ERR code = (of.*getNext)(instrument);
            met.push_back(code == Z9ERR_OK ? instrument->Code : std::to_string(code));
        }
        EXPECT_EQ((of.*getNext)(instrument), Z9ERR_QUINDAL_IM_END_OF_DATA);
        return met;
    }
    static std::vector<std::string> ListedSeries(CCalcGOEx& of)
    {
        return Listed(of, &CCalcGOEx::SetOnFirstOptionSeries, &CCalcGOEx::GetNextOptionSeries);
    }
    static std::vector<std::string> ListedOptions(CCalcGOEx& of)
    {
        return Listed(of, &CCalcGOEx::SetOnFirstOption, &CCalcGOEx::GetNextOption);
    }

    pos::PositionCalculatorInstruments accounting;
    kv7im::InstrumentsRepository instruments;
    ParticipantRepository participants;
    CCalcGOEx calculator{participants, instruments, accounting};
};

TEST_F(CalcGOExOptionsTest, ASeriesTakesNoIsinAndAnOptionTakesTheNext)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER"), Z9ERR_OK);
    ASSERT_NE(FindOption("OPT"), nullptr);
    EXPECT_EQ(FindOption("OPT")->isin, 3);
    EXPECT_EQ(CodeOf(calculator, 3), "OPT");
    EXPECT_EQ(calculator.GetIsin("next"), 4);
}

TEST_F(CalcGOExOptionsTest, SeriesAndOptionStandInBothStores)
{
    kv7im::OptionSeriesParameters parameters = Series("SER");
    parameters.marginStyle = Enums::MarginStyle::Equity;
    ASSERT_EQ(calculator.InsertOptionSeries(parameters), Z9ERR_OK);
    ASSERT_EQ(InsertOption("PUT", "SER", 950.0, 12.5, Enums::OptionType::Put), Z9ERR_OK);

    const kv7im::CSpecVirtFutures* series = instruments.GetVirtualFutures(AccessByStatus::eCurrent, "SER");
    ASSERT_NE(series, nullptr);
    EXPECT_EQ(series->CodeRF, "FUT");
    ASSERT_NE(FindOption("PUT"), nullptr);
    EXPECT_EQ(FindOption("PUT")->VirtFutures, series);
    EXPECT_EQ(FindOption("PUT")->Strike, 950.0);
    EXPECT_EQ(FindOption("PUT")->CalcOptPrice, 12.5);
    EXPECT_TRUE(FindOption("PUT")->isPut());

    const pos::SInstrCLR& accounted = accounting.getInstrumentCLR(3);
    EXPECT_EQ(accounted.code, "PUT");
    EXPECT_EQ(accounted.instrType, Enums::InstrumentType::Option);
    EXPECT_EQ(accounted.GetMarginStyle(), Enums::MarginStyle::Equity);
    EXPECT_EQ(accounted.GetMinStep(), 0.5);
    EXPECT_EQ(accounted.GetMinStepPrice(), 6.5);
}

TEST_F(CalcGOExOptionsTest, TheAccountingKeepsTheStrikeAsThePriceOfAnOption)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER", 987.654321, 10.0), Z9ERR_OK);
    EXPECT_EQ(accounting.getInstrumentCLR(3).getRealPrice().AsPlain(), 98765432) << "987.65432, and not 10";
    EXPECT_EQ(FindOption("OPT")->Strike, 987.654321) << "the risk keeps the strike as it was given";
}

TEST_F(CalcGOExOptionsTest, AStrikeThatHasNoFixedPointFormIsRefusedBeforeEitherStoreAndTheCodeKeepsItsIsin)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "SER", notANumber); }), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "SER", 1e12); }), Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(FindOption("OPT"), nullptr);
    EXPECT_EQ(accounting.getClearingInstrumentType(3), Enums::InstrumentType::Undefined);
    EXPECT_EQ(CodeOf(calculator, 3), "OPT");
    EXPECT_EQ(InsertOption("OPT", "SER"), Z9ERR_OK) << "it may be offered again";
    EXPECT_EQ(FindOption("OPT")->isin, 3);
}

TEST_F(CalcGOExOptionsTest, ASettlementPriceThatIsNoNumberIsKeptAsItIs)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER", 1000.0, notANumber), Z9ERR_OK);
    EXPECT_TRUE(std::isnan(FindOption("OPT")->CalcOptPrice));
}

TEST_F(CalcGOExOptionsTest, AnUnknownParentIsTheAccountingsRefusalAndNothingIsListed)
{
    EXPECT_EQ(CodeThrownBy([&] { return InsertSeries("SER", "NONE"); }), Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "SER"); }),
              Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND);
    EXPECT_THAT(ListedSeries(calculator), IsEmpty());
    EXPECT_THAT(ListedOptions(calculator), IsEmpty());
    EXPECT_EQ(CodeOf(calculator, 3), "OPT") << "the option has taken its isin all the same";
}

TEST_F(CalcGOExOptionsTest, ARepeatIsTheAccountingsRefusalAndIsNotListedAgain)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER", 1000.0), Z9ERR_OK);
    EXPECT_EQ(CodeThrownBy([&] { return InsertSeries("SER"); }), Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS);
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "SER", 900.0); }),
              Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS);
    EXPECT_EQ(CodeThrownBy([&] { return InsertSeries("SER", "NONE"); }),
              Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS)
        << "a repeat is told before an unknown futures";
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "NONE"); }),
              Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS);
    EXPECT_THAT(ListedSeries(calculator), ElementsAre("SER"));
    EXPECT_THAT(ListedOptions(calculator), ElementsAre("OPT"));
    EXPECT_EQ(FindOption("OPT")->Strike, 1000.0) << "the first one stays";
}

TEST_F(CalcGOExOptionsTest, ARefusedSeriesHasItsEntryAndARetryIsARepeatUntilEverythingIsCleared)
{
    ASSERT_EQ(InsertSeries("FIRST"), Z9ERR_OK);
    EXPECT_EQ(InsertSeries("REFUSED", "FUT", 0), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    ASSERT_EQ(InsertSeries("LAST"), Z9ERR_OK);
    EXPECT_EQ(instruments.CountVirtualFutures(), 2u);
    EXPECT_THAT(ListedSeries(calculator), ElementsAre("FIRST", "94716", "LAST"))
        << "virtual futures not found, and the cursor goes on";
    EXPECT_EQ(CodeThrownBy([&] { return InsertSeries("REFUSED"); }),
              Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS);
}

TEST_F(CalcGOExOptionsTest, TheChildrenOfWhatTheRepositoryRefusedAreRefusedByIt)
{
    ASSERT_EQ(InsertFutures("BAD", -1.0), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    EXPECT_EQ(InsertSeries("ON-BAD", "BAD"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND)
        << "the accounting knows the futures, the repository does not";
    ASSERT_EQ(InsertSeries("REFUSED", "FUT", 0), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    EXPECT_EQ(InsertOption("OPT", "REFUSED"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_THAT(ListedOptions(calculator), IsEmpty()) << "unlike a refused series, a refused option is not listed";
    EXPECT_EQ(CodeThrownBy([&] { return InsertOption("OPT", "REFUSED"); }),
              Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS);
}

TEST_F(CalcGOExOptionsTest, ASeriesEndsTheEmptinessRefusedOrNotAndAnOptionOnlyWhenItIsTaken)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertSeries("REFUSED", "FUT", 0), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);

    // Calculators that come later find the stores filled and are empty themselves.
    CCalcGOEx ofOptions(participants, instruments, accounting);
    ASSERT_TRUE(ofOptions.IsEmpty());
    EXPECT_EQ(ofOptions.InsertOption("A", "REFUSED", 1000.0, Enums::OptionType::Call, 10.0),
              Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_TRUE(ofOptions.IsEmpty());
    EXPECT_EQ(CodeOf(ofOptions, 1), "A") << "the isin is taken either way";
    EXPECT_EQ(ofOptions.InsertOption("B", "SER", 1000.0, Enums::OptionType::Call, 10.0), Z9ERR_OK);
    EXPECT_FALSE(ofOptions.IsEmpty());

    CCalcGOEx ofSeries(participants, instruments, accounting);
    EXPECT_EQ(CodeThrownBy([&] { return ofSeries.InsertOptionSeries(Series("SER")); }),
              Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS);
    EXPECT_TRUE(ofSeries.IsEmpty()) << "what the accounting refuses leaves no trace";
    EXPECT_EQ(ofSeries.InsertOptionSeries(Series("ALSO REFUSED", "FUT", 0)), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    EXPECT_FALSE(ofSeries.IsEmpty());
}

TEST_F(CalcGOExOptionsTest, CursorsGiveTheOrderOfInsertionFromWhereTheyAreSet)
{
    for (const char* code : {"S3", "S1", "S2"}) {
        ASSERT_EQ(InsertSeries(code), Z9ERR_OK);
        ASSERT_EQ(InsertOption((std::string("O-") + code).c_str(), code), Z9ERR_OK);
    }
    const kv7im::CSpecVirtFutures* series = nullptr;
    const kv7im::CSpecOption* option = nullptr;
    EXPECT_EQ(calculator.GetNextOptionSeries(series), Z9ERR_QUINDAL_IM_END_OF_DATA) << "not set on first yet";
    EXPECT_EQ(calculator.GetNextOption(option), Z9ERR_QUINDAL_IM_END_OF_DATA);
    EXPECT_THAT(ListedSeries(calculator), ElementsAre("S3", "S1", "S2"));
    EXPECT_THAT(ListedOptions(calculator), ElementsAre("O-S3", "O-S1", "O-S2"));
    ASSERT_EQ(InsertSeries("S4"), Z9ERR_OK);
    EXPECT_EQ(calculator.GetNextOptionSeries(series), Z9ERR_QUINDAL_IM_END_OF_DATA) << "inserting moves no cursor";
    EXPECT_THAT(ListedSeries(calculator), ElementsAre("S3", "S1", "S2", "S4"));
}

TEST_F(CalcGOExOptionsTest, TheCalculatedPriceOfAnOptionComesWithItsIsinAndASeriesIsNoInstrument)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER", 1000.0, 12.25), Z9ERR_OK);
    int isin = 0;
    double price = notANumber;
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("OPT", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 3);
    EXPECT_EQ(price, 12.25);
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("SER", isin, price), Z9ERR_QUINDAL_IM_NOT_FOUND);
    EXPECT_EQ(isin, 3);
    EXPECT_EQ(price, 12.25);
}

TEST_F(CalcGOExOptionsTest, ARefusedOptionGivesItsIsinAndNoPrice)
{
    ASSERT_EQ(InsertSeries("REFUSED", "FUT", 0), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    ASSERT_EQ(InsertOption("OPT", "REFUSED"), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    int isin = 0;
    double price = 7.0;
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("OPT", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 3);
    EXPECT_EQ(price, 7.0) << "as the caller set it";
}

TEST_F(CalcGOExOptionsTest, ClearAllForgetsSeriesAndOptionsInBothStoresAndLists)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertSeries("REFUSED", "FUT", 0), Z9ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE);
    ASSERT_EQ(InsertOption("OPT", "SER"), Z9ERR_OK);
    ASSERT_EQ(calculator.SetOnFirstOptionSeries(), 2);
    ASSERT_EQ(calculator.SetOnFirstOption(), 1);

    calculator.ClearAll();
    EXPECT_TRUE(calculator.IsEmpty());
    EXPECT_EQ(instruments.CountVirtualFutures(), 0u);
    EXPECT_EQ(instruments.CountOptions(), 0u);
    const kv7im::CSpecVirtFutures* series = nullptr;
    const kv7im::CSpecOption* option = nullptr;
    EXPECT_EQ(calculator.GetNextOptionSeries(series), Z9ERR_QUINDAL_IM_END_OF_DATA);
    EXPECT_EQ(calculator.GetNextOption(option), Z9ERR_QUINDAL_IM_END_OF_DATA);
    EXPECT_THAT(ListedSeries(calculator), IsEmpty());
    EXPECT_THAT(ListedOptions(calculator), IsEmpty());
    EXPECT_EQ(CodeThrownBy([&] { return InsertSeries("SER"); }), Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND)
        << "the futures is gone, and the series that was refused is no repeat any more";
}

TEST_F(CalcGOExOptionsTest, TheListsAreTheCalculatorsOwnAndTheInstrumentsAreNot)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    ASSERT_EQ(InsertOption("OPT", "SER", 1000.0, 12.25), Z9ERR_OK);
    CCalcGOEx second(participants, instruments, accounting);
    EXPECT_THAT(ListedSeries(second), IsEmpty());
    EXPECT_THAT(ListedOptions(second), IsEmpty());
    int isin = 0;
    double price = 0.0;
    EXPECT_EQ(second.GetIsinAndCalcPriceByCode("OPT", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 3);
    EXPECT_EQ(price, 12.25);
}

/// What the repository has no room for is taken out of the accounting again, and may be offered again.
TEST_F(CalcGOExOptionsTest, ASeriesThatTheRepositoryHasNoMemoryForLeavesBothStoresAndTheListAsTheyWere)
{
    for (int attempt = 0; attempt < 2; ++attempt) { // the second one finds nothing of the first
        const testing_support::LargeAllocationsFail thatOfTheSeries(sizeof(kv7im::CSpecVirtFutures));
        EXPECT_THROW(static_cast<void>(InsertSeries("SER")), std::bad_alloc);
    }
    EXPECT_EQ(instruments.CountVirtualFutures(), 0u);
    EXPECT_THAT(ListedSeries(calculator), IsEmpty());
    EXPECT_EQ(InsertSeries("SER"), Z9ERR_OK);
    EXPECT_EQ(InsertOption("OPT", "SER"), Z9ERR_OK);
}

TEST_F(CalcGOExOptionsTest, AnOptionThatTheRepositoryHasNoMemoryForLeavesBothStoresAndTheListAsTheyWere)
{
    ASSERT_EQ(InsertSeries("SER"), Z9ERR_OK);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const testing_support::LargeAllocationsFail thatOfTheOption(sizeof(kv7im::CSpecOption));
        EXPECT_THROW(static_cast<void>(InsertOption("OPT", "SER")), std::bad_alloc);
    }
    EXPECT_EQ(instruments.CountOptions(), 0u);
    EXPECT_EQ(accounting.getClearingInstrumentType(3), Enums::InstrumentType::Undefined);
    EXPECT_THAT(ListedOptions(calculator), IsEmpty());
    EXPECT_EQ(InsertOption("OPT", "SER"), Z9ERR_OK);
    EXPECT_EQ(FindOption("OPT")->isin, 3);
}

} // namespace
} // namespace test::CalcGOExOptionsTest
