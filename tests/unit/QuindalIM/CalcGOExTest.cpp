// The calculator's instruments: isins of codes, the order of the two stores, the cursors, what empties it.
#include "CalcGOEx.h"
#include "CalculatorSamples.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"

namespace test::CalcGOExTest {
namespace {

using QuindalIM::CCalcGOEx;
using testing::UnorderedElementsAre;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

class CalcGOExTest : public testing::Test
{
protected:
    Z9ERR InsertBaseContract(const char* code, std::int64_t concentrationLimit1 = 1000,
                             Enums::MSPType mspType = Enums::MSPType::FixedPriceStep, std::int32_t currencyId = 0)
    {
        BaseContractSample contract = RoundContract(code);
        contract.MSPType = mspType;
        contract.CurrencyId = currencyId;
        contract.ConcentrationLimit1 = concentrationLimit1;
        return calculator.InsertBaseContractEx(contract);
    }
    Z9ERR InsertFutures(const char* code, const char* baseContract, const char* tracked = "", double price = 1000.0,
                        double minStep = 1.0)
    {
        FuturesSample futures = RoundFutures(code, baseContract);
        futures.CalcFutPrice = price;
        futures.MinStep = minStep;
        if (*tracked != '\0') futures.Attribute = Enums::InstrumentStatus::TAS;
        return calculator.InsertFutures(futures, tracked);
    }
    /// More scenarios than any machine has memory for; a base contract itself holds no grid.
    Z9ERR InsertBaseContractOfABillionScenarios(const char* code)
    {
        BaseContractSample contract = RoundContract(code);
        contract.VolatNum = 1'000'000'001;
        contract.RiskPointsN = 500;
        return calculator.InsertBaseContractEx(contract);
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
    [[nodiscard]] std::string CodeOf(int isin) const
    {
        std::string code = "unknown";
        static_cast<void>(calculator.GetCodeByIsin(isin, code));
        return code;
    }

    pos::PositionCalculatorInstruments accounting;
    kv7im::InstrumentsRepository instruments;
    ParticipantRepository participants;
    CCalcGOEx calculator{participants, instruments, accounting};
};

TEST_F(CalcGOExTest, IsinsBeginAtOneAndEachNewCodeTakesTheNext)
{
    EXPECT_EQ(calculator.GetIsin("A"), 1);
    EXPECT_EQ(calculator.GetIsin("B"), 2);
    EXPECT_EQ(calculator.GetIsin("A"), 1);
    EXPECT_EQ(calculator.GetIsin("C"), 3);
    EXPECT_EQ(CodeOf(2), "B");
}

TEST_F(CalcGOExTest, AGridThatNoMachineHoldsLeavesBothStoresAsTheyWere)
{
    ASSERT_EQ(InsertBaseContractOfABillionScenarios("BC"), Z9ERR_OK);
    for (int attempt = 0; attempt < 2; ++attempt) { // the second one finds nothing of the first
        EXPECT_EQ(CodeThrownBy([&] { return InsertFutures("FUT", "BC"); }), Z9ERR_COMMON_NO_MEMORY);
        EXPECT_EQ(instruments.GetFutures("FUT"), nullptr);
        EXPECT_EQ(accounting.GetInstrFutures(calculator.GetIsin("FUT")), nullptr);
    }
}

TEST_F(CalcGOExTest, AnUnknownIsinIsNotFoundAndLeavesTheTextAlone)
{
    std::string code = "as it was";
    EXPECT_EQ(calculator.GetCodeByIsin(7, code), Z9ERR_QUINDAL_IM_NOT_FOUND);
    EXPECT_EQ(code, "as it was");
}

TEST_F(CalcGOExTest, BaseContractAndFuturesStandInBothStoresUnderTheIsinsOfTheCalculator)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);

    ASSERT_NE(instruments.GetFutures("FUT"), nullptr);
    EXPECT_EQ(instruments.GetFutures("FUT")->isin, 2);
    ASSERT_NE(accounting.GetInstrFutures(2), nullptr);
    EXPECT_EQ(accounting.GetInstrFutures(2)->baseContractID, 1);
    EXPECT_EQ(accounting.GetInstrFutures(2)->settlPriceReal.AsPlain(), 100000000) << "1000 in units of 0.00001";
    EXPECT_EQ(CodeOf(1), "BC");
    EXPECT_EQ(CodeOf(2), "FUT");
}

TEST_F(CalcGOExTest, AContractPricedThroughACurrencyIsMarkedSoInTheAccounting)
{
    ASSERT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    ASSERT_EQ(InsertBaseContract("BC", 1000, Enums::MSPType::CurrencyIndicatorPriceStep, 840), Z9ERR_OK);
    const auto& contract = accounting.GetConstInstruments().m_baseContracts.at(1);
    EXPECT_TRUE(contract.is_curr);
    EXPECT_EQ(contract.indicatorIndex, 840);
}

TEST_F(CalcGOExTest, AFuturesBeforeItsBaseContractIsRefusedAndTakesNoIsin)
{
    EXPECT_EQ(InsertFutures("FUT", "BC"), Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND);
    EXPECT_TRUE(calculator.IsEmpty());
    EXPECT_EQ(calculator.GetIsin("next"), 1);
}

TEST_F(CalcGOExTest, ARefusedBaseContractKeepsItsIsinAndTheCalculatorIsNoLongerEmpty)
{
    EXPECT_EQ(InsertBaseContract("BC", -1), Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE);
    EXPECT_FALSE(calculator.IsEmpty());
    EXPECT_EQ(calculator.GetIsin("BC"), 1);
}

TEST_F(CalcGOExTest, ABaseContractCanBeRetriedAfterARefusalAndTheCodeKeepsItsFirstIsin)
{
    ASSERT_EQ(InsertBaseContract("BC", -1), Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE);
    EXPECT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    EXPECT_EQ(calculator.GetIsin("BC"), 1);
    EXPECT_EQ(CodeOf(2), "BC") << "the second try has an isin of its own, which names the code too";
    EXPECT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    EXPECT_EQ(instruments.GetFutures("FUT")->isin, 3);
}

TEST_F(CalcGOExTest, ARefusedFuturesStaysInTheAccountingSoThatARetryIsARepeat)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC", "", 1000.0, -1.0), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    EXPECT_EQ(calculator.GetIsin("FUT"), 2);
    EXPECT_EQ(CodeThrownBy([&] { return InsertFutures("FUT", "BC"); }),
              Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS);
    EXPECT_EQ(instruments.GetFutures("FUT"), nullptr);

    calculator.ClearAll();
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    EXPECT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK) << "until everything is cleared";
}

TEST_F(CalcGOExTest, APriceThatIsNoNumberThrowsBeforeEitherStoreSeesTheFutures)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    EXPECT_EQ(CodeThrownBy([&] { return InsertFutures("FUT", "BC", "", notANumber); }), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(accounting.GetInstrFutures(2), nullptr);
    EXPECT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
}

TEST_F(CalcGOExTest, TheFuturesThatATASFuturesTracksMayBeNamedBeforeItIsInserted)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);          // 1
    ASSERT_EQ(InsertFutures("TAS", "BC", "FUT"), Z9ERR_OK); // 2, and 3 for the futures that is only named
    EXPECT_EQ(instruments.GetFutures("TAS")->TASBaseFutIsinID, 3);
    EXPECT_EQ(CodeOf(3), "FUT");
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    EXPECT_EQ(instruments.GetFutures("FUT")->isin, 3);
    EXPECT_EQ(calculator.GetIsin("next"), 4);
}

TEST_F(CalcGOExTest, ATrackedFuturesThatIsKnownGivesItsIsin)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("TAS", "BC", "FUT"), Z9ERR_OK);
    EXPECT_EQ(instruments.GetFutures("TAS")->TASBaseFutIsinID, 2);
    EXPECT_EQ(instruments.GetFutures("FUT")->TASBaseFutIsinID, 0) << "no tracked code gives the isin 0";
}

TEST_F(CalcGOExTest, TheCalculatedPriceOfAFuturesComesWithItsIsin)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC", "", 1234.5), Z9ERR_OK);
    int isin = 0;
    double price = notANumber;
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("FUT", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 2);
    EXPECT_EQ(price, 1234.5);
}

TEST_F(CalcGOExTest, AnyOtherKnownCodeGivesItsIsinAndLeavesThePriceAlone)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    int isin = 0;
    double price = 7.0;
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("BC", isin, price), Z9ERR_OK);
    EXPECT_EQ(isin, 1);
    EXPECT_EQ(price, 7.0);
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode("nobody", isin, price), Z9ERR_QUINDAL_IM_NOT_FOUND);
    EXPECT_EQ(calculator.GetIsinAndCalcPriceByCode(nullptr, isin, price), Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
}

TEST_F(CalcGOExTest, CurrenciesAndCommonParametersLeaveItEmpty)
{
    calculator.SetCommonParams(0.5);
    EXPECT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    EXPECT_TRUE(calculator.IsEmpty());
    EXPECT_EQ(calculator.GetCommonParams(), 0.5);
}

TEST_F(CalcGOExTest, ANegativeEdgeCoefficientBecomesTheDefault)
{
    calculator.SetCommonParams(0.5);
    calculator.SetCommonParams(-0.1);
    EXPECT_EQ(calculator.GetCommonParams(), 0.75);
}

TEST_F(CalcGOExTest, CurrenciesComeBackInTheOrderOfInsertionAndARepeatIsNotListed)
{
    EXPECT_EQ(calculator.InsertCurrency(978, 0.02), Z9ERR_OK);
    EXPECT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    EXPECT_EQ(calculator.InsertCurrency(978, 0.09), Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST);
    EXPECT_EQ(calculator.SetOnFirstCurrency(), 2);

    std::int32_t id = 0;
    double radius = 0.0;
    EXPECT_EQ(calculator.GetNextCurrency(id, radius), Z9ERR_OK);
    EXPECT_EQ(id, 978);
    EXPECT_EQ(radius, 0.02);
    EXPECT_EQ(calculator.GetNextCurrency(id, radius), Z9ERR_OK);
    EXPECT_EQ(id, 840);
    EXPECT_EQ(calculator.GetNextCurrency(id, radius), Z9ERR_QUINDAL_IM_END_OF_DATA);
    EXPECT_EQ(id, 840) << "nothing is written at the end";
}

TEST_F(CalcGOExTest, ANewCursorStandsOnTheEndAndInsertingDoesNotMoveIt)
{
    std::int32_t id = 0;
    double radius = 0.0;
    ASSERT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    EXPECT_EQ(calculator.GetNextCurrency(id, radius), Z9ERR_QUINDAL_IM_END_OF_DATA);
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    EXPECT_EQ(calculator.GetNextBaseContract(), nullptr);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    EXPECT_EQ(calculator.GetNextFutures(), nullptr);
}

TEST_F(CalcGOExTest, ACurrencyThatTheRepositoryDoesNotHoldComesBackWithARadiusOfZero)
{
    ASSERT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    instruments.Clear();
    std::int32_t id = 0;
    double radius = 1.0;
    calculator.SetOnFirstCurrency();
    EXPECT_EQ(calculator.GetNextCurrency(id, radius), Z9ERR_OK);
    EXPECT_EQ(id, 840);
    EXPECT_EQ(radius, 0.0);
}

TEST_F(CalcGOExTest, CursorsVisitEveryInstrumentOnce)
{
    std::vector<std::string> codes;
    for (const char* code : {"B1", "B2", "B3"})
        ASSERT_EQ(InsertBaseContract(code), Z9ERR_OK);
    for (const char* code : {"F1", "F2", "F3"})
        ASSERT_EQ(InsertFutures(code, "B2"), Z9ERR_OK);
    EXPECT_EQ(calculator.SetOnFirstBaseContract(), 3);
    while (const auto* contract = calculator.GetNextBaseContract())
        codes.push_back(contract->Code);
    EXPECT_EQ(calculator.SetOnFirstFutures(), 3);
    while (const auto* futures = calculator.GetNextFutures())
        codes.push_back(futures->Code);
    EXPECT_THAT(codes, UnorderedElementsAre("B1", "B2", "B3", "F1", "F2", "F3"));
}

TEST_F(CalcGOExTest, ClearAllForgetsEverythingAndCountsIsinsFromOneAgain)
{
    ASSERT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    int serverIsin = 500;
    calculator.GetRealIsinStorage().SaveIsinCode(serverIsin, "FUT");

    calculator.ClearAll();

    EXPECT_TRUE(calculator.IsEmpty());
    EXPECT_EQ(instruments.CountBaseContract(), 0u);
    EXPECT_EQ(instruments.CountFutures(), 0u);
    EXPECT_TRUE(accounting.GetInstrTypes().empty());
    EXPECT_EQ(calculator.SetOnFirstCurrency(), 0);
    EXPECT_FALSE(calculator.GetRealIsinStorage().Find(serverIsin));
    EXPECT_EQ(calculator.GetIsin("new"), 1);
}

TEST_F(CalcGOExTest, AfterClearAllTheCursorsWaitToBeSetOnFirst)
{
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);
    ASSERT_EQ(calculator.SetOnFirstBaseContract(), 1);
    ASSERT_EQ(calculator.SetOnFirstFutures(), 1);

    calculator.ClearAll();
    ASSERT_EQ(InsertBaseContract("BC2"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT2", "BC2"), Z9ERR_OK);

    EXPECT_EQ(calculator.GetNextBaseContract(), nullptr);
    EXPECT_EQ(calculator.GetNextFutures(), nullptr);
    EXPECT_EQ(calculator.SetOnFirstFutures(), 1);
    EXPECT_EQ(calculator.GetNextFutures()->Code, "FUT2");
}

TEST_F(CalcGOExTest, ANewCalculatorOverFilledRepositoriesKnowsTheInstrumentsButNoIsinOfACode)
{
    ASSERT_EQ(calculator.InsertCurrency(840, 0.05), Z9ERR_OK);
    ASSERT_EQ(InsertBaseContract("BC"), Z9ERR_OK);
    ASSERT_EQ(InsertFutures("FUT", "BC"), Z9ERR_OK);

    CCalcGOEx second(participants, instruments, accounting);
    std::string code;
    EXPECT_TRUE(second.IsEmpty());
    EXPECT_EQ(second.SetOnFirstFutures(), 1);
    EXPECT_EQ(second.SetOnFirstCurrency(), 0) << "the list of currencies is the calculator's own";
    EXPECT_EQ(second.GetCodeByIsin(2, code), Z9ERR_QUINDAL_IM_NOT_FOUND);
    EXPECT_EQ(second.GetIsin("BC"), 1);
}

TEST_F(CalcGOExTest, CreateAndDestroyMakeOneAndTakeItBack)
{
    CCalcGOEx* made = nullptr;
    ASSERT_EQ(CCalcGOEx::Create(made, participants, instruments, accounting), Z9ERR_OK);
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsEmpty());
    CCalcGOEx::Destroy(made);
}

} // namespace
} // namespace test::CalcGOExTest
