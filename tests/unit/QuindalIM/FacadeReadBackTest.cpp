// The arrays of risks through the exports: one answer in every state, whatever the arguments, and a line in the log.
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "FacadeFixture.h"

namespace test::FacadeReadBackTest {
namespace {

using testing::ElementsAre;

static_assert(sizeof(ExtraRisksInfo) == 68);
static_assert(offsetof(ExtraRisksInfo, DownRisk) == 0 && offsetof(ExtraRisksInfo, ZL) == 8);
static_assert(offsetof(ExtraRisksInfo, PnL3D) == 16 && offsetof(ExtraRisksInfo, PnL2D) == 24);
static_assert(offsetof(ExtraRisksInfo, PnL2U) == 32 && offsetof(ExtraRisksInfo, PnL3U) == 40);
static_assert(offsetof(ExtraRisksInfo, ZR) == 48 && offsetof(ExtraRisksInfo, UpRisk) == 56);
static_assert(offsetof(ExtraRisksInfo, SubPointsCount) == 64);

using InfoBytes = std::array<unsigned char, sizeof(ExtraRisksInfo)>;

/// Arguments and places of outputs of a call; a place may be null.
struct Arguments
{
    std::intptr_t handle = 0;
    QuindalRiskType type = QUINDAL_RISK_TYPE_MATRIX_VOLATILITY;
    const char* instrument = "INSTR";
    const char* code = "AA00001";
    double* array = nullptr;
    std::int32_t* points = nullptr;
    std::int32_t* scenarios = nullptr;
    ExtraRisksInfo* info = nullptr;
};

struct Case
{
    std::string inTrace;
    std::string inLog;
    std::string inputs; // behind the handle, of the arguments above
    std::function<std::int32_t(const Arguments&)> call;
};

using Matrix = std::int32_t (*)(std::intptr_t, QuindalRiskType, const char*, const char*, double*, std::int32_t*,
                                std::int32_t*, ExtraRisksInfo*);
using Final = std::int32_t (*)(std::intptr_t, QuindalRiskType, const char*, const char*, double*, std::int32_t*,
                               ExtraRisksInfo*);

Case Of(const std::string& name, const std::string& codeName, Matrix function)
{
    return {name, name, "@riskType=2,@instrCode='INSTR',@" + codeName + "='AA00001'", [function](const Arguments& a) {
                return function(a.handle, a.type, a.instrument, a.code, a.array, a.points, a.scenarios, a.info);
            }};
}
/// Plain values and those with positive ones have one body.
Case Of(const std::string& name, const std::string& codeName, Final function)
{
    return {name + "Private", name, "@riskType=2,@instrCode='INSTR',@" + codeName + "='AA00001'",
            [function](const Arguments& a) {
                return function(a.handle, a.type, a.instrument, a.code, a.array, a.points, a.info);
            }};
}

std::vector<Case> AllFourteen()
{
    return {
        Of("GetClientVfRisksArray", "Code", GetClientVfRisksArray),
        Of("GetClientDeliveryRisksArray", "Code", GetClientDeliveryRisksArray),
        Of("GetClientFutRisksArray", "Code", GetClientFutRisksArray),
        Of("GetClientMmsRisksArray", "Code", GetClientMmsRisksArray),
        Of("GetClientMcsRisksArray", "Code", GetClientMcsRisksArray),
        Of("GetBrokerRisksArray", "brokerCode", GetBrokerRisksArray),
        Of("GetClientFinalRisksArray", "Code", GetClientFinalRisksArray),
        Of("GetClientFinalRisksArray", "Code", GetClientFinalRisksArrayWithPositiveValue),
        Of("GetBrokerFinalRisksArray", "brokerCode", GetBrokerFinalRisksArray),
        Of("GetBrokerFinalRisksArray", "brokerCode", GetBrokerFinalRisksArrayWithPositiveValue),
        Of("GetSettlementAccountFinalRisksArray", "Code", GetSettlementAccountFinalRisksArray),
        Of("GetSettlementAccountFinalRisksArray", "Code", GetSettlementAccountFinalRisksArrayWithPositiveValue),
        {"GetRiskPoints", "GetRiskPoints", "@riskType=2,@instrCode='INSTR',@isOption=1,@level=3",
         [](const Arguments& a) {
             return GetRiskPoints(a.handle, a.type, a.instrument, true, a.array, a.points, a.scenarios, a.info,
                                  QUINDAL_CLIENT_RISK_LEVEL_HIGH);
         }},
        {"GetOptionRisksArray", "GetOptionRisksArray", "@choosenRiskType=2,@InstrCode='INSTR',@level=3",
         [](const Arguments& a) {
             return GetOptionRisksArray(a.handle, a.type, a.instrument, a.array, a.points, a.scenarios, a.info,
                                        QUINDAL_CLIENT_RISK_LEVEL_HIGH);
         }},
    };
}

std::string LogLine(const Case& test)
{
    return "ERROR [QuindalIM] QuindalIM::" + test.inLog + " error - Not supported (code 94819)";
}

class FacadeReadBackTest : public CalculatorTest
{};
class FacadeReadBackBeforeInitTest : public LibraryTest
{};

TEST_F(FacadeReadBackBeforeInitTest, NothingIsSupportedNorLookedAtWithNullsEverywhere)
{
    for (const Case& test : AllFourteen()) {
        Arguments nulls;
        nulls.instrument = nullptr;
        nulls.code = nullptr;
        EXPECT_EQ(test.call(nulls), 94819) << test.inLog;
        EXPECT_THAT(log.Take(), ElementsAre(LogLine(test)));
    }
}

TEST_F(FacadeReadBackTest, NothingIsSupportedOnceStartedEitherAndNothingIsWritten)
{
    for (const Case& test : AllFourteen()) {
        double values[4] = {1.0, 2.0, 3.0, 4.0};
        std::int32_t points = 2;
        std::int32_t scenarios = 2;
        ExtraRisksInfo info{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9};
        const auto untouched = std::bit_cast<InfoBytes>(info);

        EXPECT_EQ(test.call({calc, QUINDAL_RISK_TYPE_MATRIX_VOLATILITY, "INSTR", "AA00001", values, &points, &scenarios,
                             &info}),
                  94819)
            << test.inLog;
        EXPECT_THAT(values, ElementsAre(1.0, 2.0, 3.0, 4.0));
        EXPECT_EQ(points, 2);
        EXPECT_EQ(scenarios, 2);
        EXPECT_EQ(std::bit_cast<InfoBytes>(info), untouched);
        EXPECT_THAT(log.Take(), ElementsAre(LogLine(test)));
        EXPECT_EQ(TraceOf(test.inTrace).back(),
                  "94819,QuindalIM operation is not supported," + test.inTrace + "," + Handle() + "," + test.inputs);
    }
}

TEST_F(FacadeReadBackTest, ANullIsTracedAsSuchAndARiskTypeOfTwoMatricesIsNotLookedAt)
{
    EXPECT_EQ(GetClientFutRisksArray(calc, 6, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 94819);
    EXPECT_EQ(TraceOf("GetClientFutRisksArray").back(),
              "94819,QuindalIM operation is not supported,GetClientFutRisksArray," + Handle() +
                  ",@riskType=6,@instrCode=NULL,@Code=NULL");
}

TEST_F(FacadeReadBackTest, BothFormsOfTheFinalArraysGoByTheNameOfTheirBody)
{
    const auto final = [&](Final function) {
        EXPECT_EQ(function(calc, QUINDAL_RISK_TYPE_MATRIX_FINAL, "I", "C", nullptr, nullptr, nullptr), 94819);
    };
    final(GetClientFinalRisksArray);
    final(GetClientFinalRisksArrayWithPositiveValue);
    final(GetBrokerFinalRisksArray);
    final(GetBrokerFinalRisksArrayWithPositiveValue);
    final(GetSettlementAccountFinalRisksArray);
    final(GetSettlementAccountFinalRisksArrayWithPositiveValue);
    EXPECT_EQ(TraceOf("GetClientFinalRisksArrayPrivate").size(), 2u);
    EXPECT_EQ(TraceOf("GetBrokerFinalRisksArrayPrivate").size(), 2u);
    EXPECT_EQ(TraceOf("GetSettlementAccountFinalRisksArrayPrivate").size(), 2u);
    EXPECT_EQ(TraceOf("GetClientFinalRisksArrayWithPositiveValue").size(), 0u);
}

} // namespace
} // namespace test::FacadeReadBackTest
