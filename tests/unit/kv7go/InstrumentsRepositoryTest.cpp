// The repository: what is refused, what is corrected and how loudly, and what an insertion sets in motion.
#include "instruments/InstrumentsRepository.h"

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AddressSanitizer.h"
#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "except.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "kv7errors.h"

namespace test::InstrumentsRepositoryTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Level = Enums::ClientRiskLevel;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// A repository that counts its corrections, and the lines it logs.
class Repository : public testing::Test
{
protected:
    Repository()
    {
        m_repository.SetTelemetryAlertsCollector(std::make_shared<TelemetryAlertsCollector>(
            [this](const std::string& name, int count) { m_alerts.push_back(name + " " + std::to_string(count)); }));
    }
    [[nodiscard]] std::vector<std::string> TakeAlerts() { return std::exchange(m_alerts, {}); }
    [[nodiscard]] const CSpecBaseContract& BC(std::string_view code = "BC") const
    {
        return *m_repository.GetBaseContract(eCurrent, code);
    }
    void InsertFamily(BaseContractSample bc = {}, FuturesSample futures = {})
    {
        ASSERT_EQ(bc.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(futures.InsertInto(m_repository), Z9ERR_OK);
    }

    LogCapture m_log;
    InstrumentsRepository m_repository;
    std::vector<std::string> m_alerts;
};

std::string ErrorLine(Z9ERR code, const std::string& text)
{
    return "ERROR [InstrumentsRepository] " + text + " (code " + std::to_string(code) + ")";
}
std::string WarningLine(const std::string& text) { return "WARNING [InstrumentsRepository] " + text; }

// Base contracts.

TEST_F(Repository, EveryRateOfABaseContractHasToBePositive)
{
    const struct
    {
        const char* name;
        kv7im::LevelOf<double, kv7im::BaseContractParameters> rate;
        Z9ERR code;
    } rows[] = {
        {"MarketRisk", {&BaseContractSample::MarketRisk, Level::Default}, 94757},
        {"MarketRisk1", {&BaseContractSample::MarketRisk1, Level::Default}, 94758},
        {"MarketRisk2", {&BaseContractSample::MarketRisk2, Level::Default}, 94759},
        {"MarketRiskLow", {&BaseContractSample::MarketRisk, Level::Low}, 94793},
        {"MarketRisk1Low", {&BaseContractSample::MarketRisk1, Level::Low}, 94794},
        {"MarketRisk2Low", {&BaseContractSample::MarketRisk2, Level::Low}, 94795},
        {"MarketRiskMedium", {&BaseContractSample::MarketRisk, Level::Medium}, 94796},
        {"MarketRisk1Medium", {&BaseContractSample::MarketRisk1, Level::Medium}, 94797},
        {"MarketRisk2Medium", {&BaseContractSample::MarketRisk2, Level::Medium}, 94798},
        {"MarketRiskHigh", {&BaseContractSample::MarketRisk, Level::High}, 94799},
        {"MarketRisk1High", {&BaseContractSample::MarketRisk1, Level::High}, 94800},
        {"MarketRisk2High", {&BaseContractSample::MarketRisk2, Level::High}, 94801},
        {"MarketRiskExceptional", {&BaseContractSample::MarketRisk, Level::Exceptional}, 94802},
        {"MarketRisk1Exceptional", {&BaseContractSample::MarketRisk1, Level::Exceptional}, 94803},
        {"MarketRisk2Exceptional", {&BaseContractSample::MarketRisk2, Level::Exceptional}, 94804},
    };
    // Each refused row also has every later rate wrong: the first in the order of the table speaks.
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        for (const auto& [value, text] : {std::pair{0.0, "0.000000"}, {-1.5, "-1.500000"}, {NaN, "nan"}}) {
            BaseContractSample sample;
            for (std::size_t later = i; later < std::size(rows); ++later)
                rows[later].rate(sample) = value;
            EXPECT_EQ(sample.InsertInto(m_repository), rows[i].code) << rows[i].name;
            const std::string name = rows[i].name;
            EXPECT_THAT(m_log.Take(),
                        ElementsAre(ErrorLine(rows[i].code, "While InsertBaseContract Code(BC) assertion (" + name +
                                                                ">0.0) failed. " + name + "(" + text + "). ")));
        }
    }
    EXPECT_EQ(m_repository.CountBaseContract(), 0u);
    EXPECT_THAT(TakeAlerts(), IsEmpty());
}

struct BaseContractRow
{
    const char* why;
    std::function<void(BaseContractSample&)> spoil;
    Z9ERR code;
    const char* message; // behind "assertion "
};

TEST_F(Repository, ABaseContractIsRefusedWithItsCodeAndItsLine)
{
    const BaseContractRow rows[] = {
        {"limit 1", [](auto& s) { s.ConcentrationLimit1 = -1; }, 94760,
         "(ConcentrationLimit1>=0.0) failed. ConcentrationLimit1(-1). "},
        {"limit 2", [](auto& s) { s.ConcentrationLimit2 = -20; }, 94761,
         "(ConcentrationLimit2>=0.0) failed. ConcentrationLimit2(-20). "},
        {"window too wide", [](auto& s) { s.WindowSizePercentage = 1.25; }, 94773,
         "(WindowSizePercentage<=1.0) failed. WindowSizePercentage(1.250000). "},
        {"window no number", [](auto& s) { s.WindowSizePercentage = NaN; }, 94773,
         "(WindowSizePercentage<=1.0) failed. WindowSizePercentage(nan). "},
        {"window negative", [](auto& s) { s.WindowSizePercentage = -0.25; }, 94773,
         "(WindowSizePercentage>=0.0) failed. WindowSizePercentage(-0.250000). "},
        {"step", [](auto& s) { s.MSPType = static_cast<Enums::MSPType>(2); }, 94787,
         "(MSPType in [0(FixedPriceStep),1(CurrencyIndicatorPriceStep)]) failed. MSPType(<unknown>). "},
        {"model", [](auto& s) { s.OptionModel = static_cast<Enums::OptionModel>(7); }, 94779,
         "(OptionModel in [0(BlackScholes),1(Bachelier)]) failed. OptionModel(<unknown>). "},
        {"asset class below", [](auto& s) { s.AssetClass = static_cast<Enums::AssetClass>(0); }, 94788,
         "(AssetClass in [1(Stock),2(Currency),3(Bond),4(Index),5(Commodity),6(Percentage),7(Metal)]) failed. "
         "AssetClass(<unknown>). "},
        {"asset class above", [](auto& s) { s.AssetClass = static_cast<Enums::AssetClass>(8); }, 94788,
         "(AssetClass in [1(Stock),2(Currency),3(Bond),4(Index),5(Commodity),6(Percentage),7(Metal)]) failed. "
         "AssetClass(<unknown>). "},
    };
    for (const BaseContractRow& row : rows) {
        BaseContractSample sample;
        row.spoil(sample);
        EXPECT_EQ(sample.InsertInto(m_repository), row.code) << row.why;
        EXPECT_THAT(m_log.Take(), ElementsAre(ErrorLine(row.code, std::string("While InsertBaseContract Code(BC) "
                                                                              "assertion ") +
                                                                      row.message)))
            << row.why;
    }
    EXPECT_EQ(m_repository.CountBaseContract(), 0u);
}

TEST_F(Repository, ABaseContractIsRefusedInSilenceForWhatTheLookupsSay)
{
    InsertFamily();
    EXPECT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_BC_ALREADY_EXIST);
    BaseContractSample currency([](auto& c) {
        c.Code = "SI";
        c.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        c.CurrencyId = 5;
    });
    EXPECT_EQ(currency.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_CURRENCY_NOT_FOUND);
    EXPECT_EQ(m_repository.InsertCurrency(5, 0.25), Z9ERR_OK);
    EXPECT_EQ(currency.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC("SI").CalculateRiskCoefficient(), 0.25);
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

struct CorrectionRow
{
    const char* why;
    std::function<void(BaseContractSample&)> spoil;
    std::vector<std::string> messages; // behind "assertion "
    std::vector<std::string> alerts;   // without their count
    std::function<double(const CSpecBaseContract&)> read;
    double corrected;
};

TEST_F(Repository, ABaseContractIsCorrectedWithAWarningAndAnAlert)
{
    const auto somc = [](const CSpecBaseContract& bc) { return bc.ShortOptionMinimumCharge; };
    const auto points = [](const CSpecBaseContract& bc) { return static_cast<double>(bc.RiskPointsN); };
    const auto spot = [](const CSpecBaseContract& bc) { return bc.SpotPrice; };
    const auto cfRisk = [](const CSpecBaseContract& bc) { return bc.CFRisk; };
    const auto percentageSpot = [](double value) {
        return [value](BaseContractSample& s) {
            s.AssetClass = Enums::AssetClass::Percentage;
            s.SpotPrice = value;
        };
    };
    const CorrectionRow rows[] = {
        {"charge above 1",
         [](auto& s) { s.ShortOptionMinimumCharge = 1.5; },
         {"(SOMC<=Constants::MaximumSOMC) failed. SOMC(1.500000) forcibly set to (0.100000). "},
         {"SOMCSetDefault"},
         somc,
         0.1},
        {"charge no number",
         [](auto& s) { s.ShortOptionMinimumCharge = NaN; },
         {"(SOMC<=Constants::MaximumSOMC) failed. SOMC(nan) forcibly set to (0.100000). "},
         {"SOMCSetDefault"},
         somc,
         0.1},
        {"charge below 0",
         [](auto& s) { s.ShortOptionMinimumCharge = -0.5; },
         {"(SOMC>=Constants::MinimumSOMC) failed. SOMC(-0.500000) forcibly set to (0.100000). "},
         {"SOMCSetDefault"},
         somc,
         0.1},
        {"no points",
         [](auto& s) { s.RiskPointsN = 0; },
         {"(RiskPointsN>=Constants::MinimalPointsNumberConst) failed. RiskPointsN(0) forcibly set to (1). "},
         {"RiskPointsNSetDefault"},
         points,
         1.0},
        {"too many points fall to one",
         [](auto& s) { s.RiskPointsN = 501; },
         {"(RiskPointsN<=Constants::MaximumPointsNumberConst) failed. RiskPointsN(501) forcibly set to (1). "},
         {"RiskPointsNSetDefault"},
         points,
         1.0},
        {"as many points as allowed", [](auto& s) { s.RiskPointsN = 500; }, {}, {}, points, 500.0},
        {"percentage spot below 0",
         percentageSpot(-4.5),
         {"(SpotPrice>0.0) failed. SpotPrice(-4.500000) forcibly set to (4.500000). "},
         {"SpotPriceSetDefault"},
         spot,
         4.5},
        {"percentage spot 0",
         percentageSpot(0.0),
         {"(SpotPrice>0.0) failed. SpotPrice(0.000000) forcibly set to (0.000000). "},
         {"SpotPriceSetDefault"},
         spot,
         0.0},
        {"any other spot below 0", [](auto& s) { s.SpotPrice = -4.5; }, {}, {}, spot, -4.5},
        {"CFRisk below 0",
         [](auto& s) { s.CFRisk = -1.0; },
         {"(CFRisk>=0.0) failed. CFRisk(-1.000000) forcibly set to (0.000000). "},
         {"UnspecifiedParamSetDefault"},
         cfRisk,
         0.0},
        {"CFRisk no number",
         [](auto& s) { s.CFRisk = NaN; },
         {"(CFRisk>=0.0) failed. CFRisk(nan) forcibly set to (0.000000). "},
         {"UnspecifiedParamSetDefault"},
         cfRisk,
         0.0},
    };
    std::map<std::string, int> counts;
    int number = 0;
    for (const CorrectionRow& row : rows) {
        BaseContractSample sample;
        sample.Code = "BC" + std::to_string(++number);
        row.spoil(sample);
        EXPECT_EQ(sample.InsertInto(m_repository), Z9ERR_OK) << row.why;
        EXPECT_EQ(row.read(BC(sample.Code)), row.corrected) << row.why;
        std::vector<std::string> lines, alerts;
        for (const std::string& message : row.messages)
            lines.push_back(WarningLine("While InsertBaseContract Code(" + sample.Code + ") assertion " + message));
        for (const std::string& alert : row.alerts)
            alerts.push_back(alert + " " + std::to_string(++counts[alert]));
        EXPECT_EQ(m_log.Take(), lines) << row.why;
        EXPECT_EQ(TakeAlerts(), alerts) << row.why;
    }
}

TEST_F(Repository, TheNumberOfScenariosIsMadeOddAndAtLeastThreeWithAnErrorLine)
{
    const struct
    {
        std::int32_t given;
        std::int32_t taken;
    } rows[] = {{4, 5},
                {2, 3},
                {1, 3},
                {0, 3},
                {-7, 3},
                {100, 101},
                {3, 3},
                {7, 7},
                {2147483646, 2147483647},
                {2147483647, 2147483647}};
    int alerts = 0;
    for (const auto& row : rows) {
        BaseContractSample sample;
        sample.Code = "BC" + std::to_string(row.given);
        sample.VolatNum = row.given;
        EXPECT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(BC(sample.Code).VolatNum, row.taken);
        if (row.given == row.taken) {
            EXPECT_THAT(m_log.Take(), IsEmpty());
            continue;
        }
        EXPECT_THAT(m_log.Take(), ElementsAre(ErrorLine(94771, "InsertBaseContract with Code(" + sample.Code +
                                                                   ") has potential error: wrong VolatNum(" +
                                                                   std::to_string(row.given) + ") forcibly set (" +
                                                                   std::to_string(row.taken) + ")")));
        EXPECT_THAT(TakeAlerts(), ElementsAre("VolatNumSetDefault " + std::to_string(++alerts)));
    }
}

TEST_F(Repository, ChecksOfABaseContractRunFromTopToBottom)
{
    InsertFamily();
    // Corrections that come before a refusal are logged and counted all the same; those behind it are not reached.
    BaseContractSample sample;
    sample.ShortOptionMinimumCharge = 2.0;
    sample.RiskPointsN = 0;
    sample.MSPType = static_cast<Enums::MSPType>(9);
    sample.VolatNum = 4;
    EXPECT_EQ(sample.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_BC_ALREADY_EXIST);
    EXPECT_EQ(m_log.Take().size(), 2u);
    EXPECT_THAT(TakeAlerts(), ElementsAre("SOMCSetDefault 1", "RiskPointsNSetDefault 1"));
    EXPECT_EQ(BC().RiskPointsN, 2);

    BaseContractSample late; // the scenarios are corrected before the model is refused, CFRisk is not reached
    late.Code = "LATE";
    late.VolatNum = 4;
    late.OptionModel = static_cast<Enums::OptionModel>(2);
    late.AssetClass = static_cast<Enums::AssetClass>(0);
    late.CFRisk = -1.0;
    EXPECT_EQ(late.InsertInto(m_repository), Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT);
    EXPECT_THAT(TakeAlerts(), ElementsAre("VolatNumSetDefault 1"));
}

TEST_F(Repository, WithoutACollectorACorrectionIsLoggedAllTheSame)
{
    m_repository.SetTelemetryAlertsCollector({});
    BaseContractSample sample;
    sample.CFRisk = -1.0;
    EXPECT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(m_log.Take().size(), 1u);
    EXPECT_THAT(TakeAlerts(), IsEmpty());
}

TEST_F(Repository, ContractsOfOneGroupShareTheirGrid)
{
    const auto insert = [this](const char* code, const char* mcs, std::int32_t points) {
        return BaseContractSample([&](auto& c) {
                   c.Code = code;
                   c.CodeMCS = mcs;
                   c.RiskPointsN = points;
               })
            .InsertInto(m_repository);
    };
    EXPECT_EQ(insert("A", "G", 10), Z9ERR_OK);
    EXPECT_EQ(insert("B", "G", 11), Z9ERR_CALCGO_API_ERROR_RISKPOINTSN_IN_MCS_NOT_EQUAL);
    EXPECT_EQ(insert("B", "G", 10), Z9ERR_OK);
    EXPECT_EQ(insert("C", "H", 11), Z9ERR_OK);
    EXPECT_EQ(insert("D", "", 12), Z9ERR_OK);
    EXPECT_EQ(insert("E", "", 13), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty());
    EXPECT_EQ(insert("F", "G", 501), Z9ERR_CALCGO_API_ERROR_RISKPOINTSN_IN_MCS_NOT_EQUAL) << "1 after correction";
    EXPECT_EQ(m_repository.CountBaseContract(), 5u);
    EXPECT_EQ(m_repository.CountMCS(), 2u);
    EXPECT_FALSE(m_repository.BaseContractExists("F"));
}

TEST_F(Repository, AFixedStepContractWithAnUnknownCurrencyHasNoRadius)
{
    EXPECT_EQ(m_repository.InsertCurrency(1, 0.5), Z9ERR_OK);
    EXPECT_EQ((BaseContractSample([](auto& c) {
                   c.Code = "U";
                   c.CurrencyId = 99;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    EXPECT_EQ(BC("U").curvatureRadius, 0.0);
    EXPECT_EQ((BaseContractSample([](auto& c) {
                   c.Code = "K";
                   c.CurrencyId = 1;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    EXPECT_EQ(BC("K").curvatureRadius, 0.5);
    EXPECT_EQ(BC("K").CalculateRiskCoefficient(), 0.0);
}

TEST_F(Repository, ABaseContractKeepsEveryValueItWasGiven)
{
    BaseContractSample sample;
    sample.Code = std::string(300, 'L'); // only records limit a code's length
    sample.CodeMCS = "GROUP";
    sample.OptionModel = Enums::OptionModel::Bachelier;
    sample.AssetClass = Enums::AssetClass::Metal;
    sample.CFRisk = 0.75;
    sample.Signs = Enums::BaseContractSigns::ForAccreditedInvestors;
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    const CSpecBaseContract& bc = BC(sample.Code);
    EXPECT_EQ(bc.Code, sample.Code);
    EXPECT_EQ(bc.CodeMCS, "GROUP");
    EXPECT_EQ(bc.IndicatorID, 840);
    EXPECT_EQ(bc.ShortOptionMinimumCharge, 0.125);
    EXPECT_EQ(bc.SpotPrice, 100.0);
    EXPECT_EQ(bc.MarketRisk1[Level::Medium], 0.4375);
    EXPECT_EQ(bc.MarketRisk2[Level::Exceptional], 0.875);
    EXPECT_EQ(bc.ConcentrationLimit1, 1000);
    EXPECT_EQ(bc.ConcentrationLimit2, 5000);
    EXPECT_EQ(bc.IsinVCB, 77);
    EXPECT_EQ(bc.WindowSize, 1);
    EXPECT_EQ(bc.optionModel, Enums::OptionModel::Bachelier);
    EXPECT_EQ(bc.assetClass, Enums::AssetClass::Metal);
    EXPECT_EQ(bc.CFRisk, 0.75);
    EXPECT_EQ(bc.Signs, Enums::BaseContractSigns::ForAccreditedInvestors);
}

TEST_F(Repository, ABaseContractComesFromARecordToo)
{
    SBaseContractStruct record;
    ASSERT_TRUE(SetInstr(record.Code, "0123456789012345678901234")); // the longest one a record holds
    ASSERT_TRUE(SetInstr(record.CodeMCS, "G"));
    record.IsinVCB = 3;
    record.VolatNum = 5;
    record.ShortOptionMinimumCharge = 0.25;
    record.IndicatorID = 4;
    record.SpotPrice = 9.0;
    record.MarketRisk = 1.0;
    record.MarketRisk1 = 2.0;
    record.MarketRisk2 = 3.0;
    record.MarketRiskLow = 4.0;
    record.MarketRisk1Low = 5.0;
    record.MarketRisk2Low = 6.0;
    record.MarketRiskMedium = 7.0;
    record.MarketRisk1Medium = 8.0;
    record.MarketRisk2Medium = 9.0;
    record.MarketRiskHigh = 10.0;
    record.MarketRisk1High = 11.0;
    record.MarketRisk2High = 12.0;
    record.MarketRiskExceptional = 13.0;
    record.MarketRisk1Exceptional = 14.0;
    record.MarketRisk2Exceptional = 15.0;
    record.ConcentrationLimit1 = 10;
    record.ConcentrationLimit2 = 20;
    record.RiskPointsN = 3;
    record.WindowSizePercentage = 1.0;
    record.OptionModel = Enums::OptionModel::Bachelier;
    record.AssetClass = Enums::AssetClass::Index;
    record.CFRisk = 0.5;
    record.Signs = Enums::BaseContractSigns::ForAccreditedInvestors;
    ASSERT_EQ(m_repository.InsertBaseContract(record), Z9ERR_OK);

    const CSpecBaseContract& bc = BC("0123456789012345678901234");
    double expected = 0.0;
    for (const Level level : Enums::PossibleClientRiskLevelValues) {
        EXPECT_EQ(bc.MarketRisk[level], expected += 1.0);
        EXPECT_EQ(bc.MarketRisk1[level], expected += 1.0);
        EXPECT_EQ(bc.MarketRisk2[level], expected += 1.0);
    }
    EXPECT_EQ(bc.CodeMCS, "G");
    EXPECT_EQ(bc.VolatNum, 5);
    EXPECT_EQ(bc.IsinVCB, 3);
    EXPECT_EQ(bc.IndicatorID, 4);
    EXPECT_EQ(bc.SpotPrice, 9.0);
    EXPECT_EQ(bc.ConcentrationLimit2, 20);
    EXPECT_EQ(bc.RiskPointsN, 3);
    EXPECT_EQ(bc.WindowSize, 3);
    EXPECT_EQ(bc.assetClass, Enums::AssetClass::Index);
    EXPECT_EQ(bc.CFRisk, 0.5);
}

// Futures.

TEST_F(Repository, AFuturesIsRefusedWithItsCodeAndItsLine)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    const struct
    {
        const char* assertion;
        const char* name;
        double kv7im::FuturesParameters::*field;
        std::vector<std::pair<double, std::string>> values;
        Z9ERR code;
    } rows[] = {
        {"InterestRateRiskUp>=0.0",
         "InterestRateRiskUp",
         &FuturesSample::InterestRateRiskUp,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94763},
        {"InterestRateRiskDown>=0.0",
         "InterestRateRiskDown",
         &FuturesSample::InterestRateRiskDown,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94764},
        {"TimeToExpiration>=0.0",
         "TimeToExpiration",
         &FuturesSample::TimeToExpiration,
         {{-1.0, "-1.000000"}, {NaN, "nan"}},
         94765},
        {"MinStepPrice>0.0",
         "MinStepPrice",
         &FuturesSample::MinStepPrice,
         {{0.0, "0.000000"}, {-2.0, "-2.000000"}, {NaN, "nan"}},
         94723},
        {"std::abs(XLot)>=Constants::Epsilon",
         "std::abs(XLot)",
         &FuturesSample::XLot,
         {{0.0, "0.000000"}, {-1e-11, "0.000000"}, {NaN, "nan"}},
         94774},
        {"MinStep>0.0", "MinStep", &FuturesSample::MinStep, {{0.0, "0.000000"}, {NaN, "nan"}}, 94723},
    };
    // Each row also has every later parameter wrong, and an unknown parent: the first in the table speaks.
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        for (const auto& [value, text] : rows[i].values) {
            FuturesSample sample;
            for (std::size_t later = i + 1; later < std::size(rows); ++later)
                sample.*rows[later].field = rows[later].values[0].first;
            sample.*rows[i].field = value;
            sample.CodeBC = "NONE";
            EXPECT_EQ(sample.InsertInto(m_repository), rows[i].code) << rows[i].name;
            EXPECT_THAT(m_log.Take(),
                        ElementsAre(ErrorLine(rows[i].code, std::string("While InsertFutures Code(FUT) assertion (") +
                                                                rows[i].assertion + ") failed. " + rows[i].name + "(" +
                                                                text + "). CodeBC(NONE)")));
        }
    }
    EXPECT_EQ(m_repository.CountFutures(), 0u);
}

TEST_F(Repository, AFuturesIsRefusedInSilenceForWhatTheLookupsSay)
{
    InsertFamily();
    EXPECT_EQ((FuturesSample([](auto& f) { f.CodeBC = "NONE"; }).InsertInto(m_repository)),
              Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND);
    EXPECT_EQ((FuturesSample([](auto& f) { f.Isin = 2; }).InsertInto(m_repository)),
              Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST);
    EXPECT_EQ((FuturesSample([](auto& f) { f.Code = "F2"; }).InsertInto(m_repository)),
              Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST);
    EXPECT_THAT(m_log.Take(), IsEmpty());
    EXPECT_EQ(m_repository.CountFutures(), 1u);
}

TEST_F(Repository, ANegativeSpotOfAFuturesLosesItsSign)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ((FuturesSample([](auto& f) { f.NormalizedSpot = -1024.0; }).InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetFutures("FUT")->NormalizedSpot, 1024.0);
    EXPECT_THAT(m_log.Take(),
                ElementsAre(WarningLine("While InsertFutures Code(FUT) assertion (NormalizedSpot>0.0) failed. "
                                        "NormalizedSpot(-1024.000000) forcibly set to (1024.000000). CodeBC(BC)")));
    EXPECT_THAT(TakeAlerts(), ElementsAre("NormalizedSpotSetDefault 1"));
}

TEST_F(Repository, ANegativeLotPasses)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ((FuturesSample([](auto& f) { f.XLot = -100.0; }).InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetFutures("FUT")->XLot, -100.0);
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(Repository, AnySpreadAspectButZeroPutsANewFuturesInSpread)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    for (const int aspect : {0, 1, 2, 3, -1}) {
        FuturesSample sample("F" + std::to_string(aspect), aspect + 10);
        sample.SpreadAspect = static_cast<Enums::SpreadAspect>(aspect);
        ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(m_repository.GetFutures(sample.Isin)->IsInSpread, aspect != 0) << aspect;
    }
}

TEST_F(Repository, AnInsertedFuturesIsComputedEvenWhenItMovesNothing)
{
    InsertFamily();
    FuturesSample far([](auto& f) {
        f.Code = "FAR";
        f.CalcFutPrice = 2000.0;
        f.Isin = 2;
        f.TimeToExpiration = 1.0;
    });
    ASSERT_EQ(far.InsertInto(m_repository), Z9ERR_OK);
    const CSpecFutures& futures = *m_repository.GetFutures("FAR");
    EXPECT_EQ(futures.GetProfile(Level::Default).GetCentralRowOfVolatilityMatrix()[2], 2000.0);
    EXPECT_EQ(BC().ShiftCoefficient, 0.0); // of the nearer one
}

TEST_F(Repository, ANewNearestFuturesRecomputesItsWholeFamily)
{
    InsertFamily();
    EXPECT_EQ(m_repository.GetFutures("FUT")->GetMR2U(Level::Default), 1384.0); // 1000 + 0.375 x 1024
    FuturesSample near([](auto& f) {
        f.Code = "NEAR";
        f.CalcFutPrice = 1064.0;
        f.Isin = 2;
        f.TimeToExpiration = 0.1;
    });
    ASSERT_EQ(near.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC().ShiftCoefficient, 0.0625);
    EXPECT_EQ(m_repository.GetFutures("FUT")->GetMR2U(Level::Default), 1448.0); // 1000 + 0.4375 x 1024
    EXPECT_EQ(m_repository.GetFutures("NEAR")->GetMR2U(Level::Default), 1448.0);
}

TEST_F(Repository, AFuturesComesFromARecordToo)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    SFuturesStruct record;
    ASSERT_TRUE(SetInstr(record.Code, "REC"));
    ASSERT_TRUE(SetInstr(record.CodeBC, "BC"));
    record.Isin = 12;
    record.CalcFutPrice = t_bprice(1064.12345);
    record.RealCalcPrice = t_bprice(1000.5);
    record.SpreadAspect = static_cast<Enums::SpreadAspect>(1);
    record.MinStepPrice = 10.0;
    record.MinStep = 5.0;
    record.InterestRateRiskUp = 0.125;
    record.InterestRateRiskDown = 0.25;
    record.TimeToExpiration = 0.5;
    record.NormalizedSpot = 1024.0;
    record.Attribute = 8388608; // a collateral instrument
    record.MRAddOnUp = 0.5;
    record.MRAddOnDown = 0.75;
    record.EnforceIMSHalfNetting = true;
    record.TASBaseFutIsinID = 4;
    ASSERT_EQ(m_repository.InsertFutures(record), Z9ERR_OK);
    const CSpecFutures& futures = *m_repository.GetFutures(12);
    EXPECT_EQ(futures.Code, "REC");
    EXPECT_EQ(futures.CalcFutPrice, 1064.12345);
    EXPECT_EQ(futures.RealCalcPrice, 1000.5);
    EXPECT_TRUE(futures.IsInSpread);
    EXPECT_TRUE(futures.IsCollateral());
    EXPECT_FALSE(futures.IsTAS);
    EXPECT_EQ(futures.XLot, 100.0);
    EXPECT_EQ(futures.InterestRateRiskDown, 0.25);
    EXPECT_EQ(futures.MRAddOnDown, 0.75);
    EXPECT_TRUE(futures.EnforceIMSHalfNetting);
    EXPECT_EQ(futures.TASBaseFutIsinID, 4);

    ASSERT_TRUE(SetInstr(record.Code, "NAN"));
    record.Isin = 13;
    record.RealCalcPrice.SetNAN();
    try {
        static_cast<void>(m_repository.InsertFutures(record));
        FAIL() << "a price that is not a number";
    } catch (const kv7base::CZ9Error& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_THAT(e.what(), testing::HasSubstr("AsDouble m_val("));
    }
    EXPECT_EQ(m_repository.CountFutures(), 1u);
}

TEST_F(Repository, ANullCodeThrowsAndNothingEnters)
{
    const char* const none = nullptr;
    EXPECT_THROW(static_cast<void>(m_repository.InsertFutures(FuturesParameters{.Code = none, .CodeBC = "BC"})),
                 std::logic_error)
        << "a record holds no null";
    EXPECT_EQ(m_repository.CountFutures(), 0u);
}

TEST_F(Repository, AGridThatCannotBeAllocatedThrowsAndLeavesTheContainersAsTheyWere)
{
    if (addressSanitizerWatches) GTEST_SKIP() << "the sanitizer's allocator ends the process at such a size";
    BaseContractSample huge;
    huge.VolatNum = std::numeric_limits<std::int32_t>::max();
    huge.RiskPointsN = 500; // 2^31 rows of 251 blocks of 32 bytes: 17 terabytes
    ASSERT_EQ(huge.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_ANY_THROW(static_cast<void>(FuturesSample{}.InsertInto(m_repository)));
    EXPECT_EQ(m_repository.CountFutures(), 0u);
    EXPECT_FALSE(m_repository.FuturesExists("FUT"));
    EXPECT_EQ(BC().currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 0);
}

TEST_F(Repository, EveryRefusalLeavesTheCountsAsTheyWere)
{
    InsertFamily();
    static_cast<void>(BaseContractSample{}.InsertInto(m_repository));
    static_cast<void>(FuturesSample{}.InsertInto(m_repository));
    EXPECT_EQ(m_repository.CountBaseContract(), 1u);
    EXPECT_EQ(m_repository.CountFutures(), 1u);
    EXPECT_EQ(m_repository.CountMMS(), 1u);
    EXPECT_EQ(m_repository.CountMCS(), 0u);
}

// Trade at settlement.

/// A futures of contract BC and the futures that trades at its settlement, of contract TASBC.
class TasPair : public Repository
{
protected:
    TasPair()
    {
        EXPECT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(BaseContractSample("TASBC").InsertInto(m_repository), Z9ERR_OK);
    }
    FuturesSample m_tracked{[](auto& f) {
        f.CalcFutPrice = 1064.0;
        f.RealCalcPrice = 1000.0;
        f.Isin = 1;
    }};
    FuturesSample m_tas{[](auto& f) {
        f.Code = "TAS";
        f.CodeBC = "TASBC";
        f.CalcFutPrice = 1064.0;
        f.RealCalcPrice = 7.0;
        f.Isin = 2;
        f.Attribute = Enums::InstrumentStatus::TAS;
        f.TASBaseFutIsinID = 1;
    }};

    void ExpectLinked() const
    {
        const CSpecFutures& tas = *m_repository.GetFutures("TAS");
        EXPECT_EQ(BC().TASBaseContractCode, "TASBC");
        EXPECT_EQ(BC("TASBC").TASBaseContractCode, "");
        EXPECT_EQ(tas.RealCalcPrice, 1000.0);
        EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0625);
        // Money of a unit: 10 / (5 x 100) x 1024 = 20.48.
        EXPECT_DOUBLE_EQ(BC("TASBC").ConcentrationLimit1Spot, 20480.0);
        EXPECT_DOUBLE_EQ(BC("TASBC").ConcentrationLimit2Spot, 102400.0);
        EXPECT_EQ(BC("TASBC").MarketRiskUp[Level::Default], 0.3125);
        EXPECT_EQ(tas.GetMR2U(Level::Default), 1448.0) << "computed with the shift and price of the tracked futures";
    }
};

TEST_F(TasPair, TheTasFuturesMayComeSecond)
{
    ASSERT_EQ(m_tracked.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC().TASBaseContractCode, "");
    ASSERT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
    ExpectLinked();
}

TEST_F(TasPair, TheTasFuturesMayComeFirst)
{
    ASSERT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetFutures("TAS")->RealCalcPrice, 7.0);
    EXPECT_EQ(m_repository.GetFutures("TAS")->GetMR2U(Level::Default), 391.0) << "7 + 0.375 x 1024";
    ASSERT_EQ(m_tracked.InsertInto(m_repository), Z9ERR_OK);
    ExpectLinked();
}

TEST_F(TasPair, ALaterReferenceOfTheTrackedContractReachesTheTasFamily)
{
    ASSERT_EQ(m_tracked.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
    FuturesSample nearest([](auto& f) {
        f.Code = "NEAR";
        f.CalcFutPrice = 1128.0;
        f.Isin = 3;
        f.TimeToExpiration = 0.1;
    });
    ASSERT_EQ(nearest.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC().ShiftCoefficient, 0.125);
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.125);
    EXPECT_EQ(m_repository.GetFutures("TAS")->GetMR2U(Level::Default), 1512.0); // 1000 + 0.5 x 1024
}

TEST_F(TasPair, ATasFuturesIsNoReferenceOfItsOwnContract)
{
    ASSERT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0);
    EXPECT_EQ(BC("TASBC").currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 0);
}

TEST_F(TasPair, TheFirstTasFuturesOfATrackedOneKeepsTheLink)
{
    ASSERT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
    FuturesSample second = m_tas;
    second.Code = "TAS2";
    second.Isin = 3;
    ASSERT_EQ(second.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(m_tracked.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetFutures("TAS")->RealCalcPrice, 1000.0);
    EXPECT_EQ(m_repository.GetFutures("TAS2")->RealCalcPrice, 7.0);
}

// Currencies, the edge coefficient, and the rest.

TEST_F(Repository, ACurrencyEntersOnce)
{
    EXPECT_EQ(m_repository.InsertCurrency(840, 0.25), Z9ERR_OK);
    EXPECT_EQ(m_repository.InsertCurrency(840, 0.5), Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST);
    EXPECT_EQ(m_repository.GetCurvatureRadius(840), 0.25);
    EXPECT_EQ(m_repository.GetCurvatureRadius(978), 0.0);
    EXPECT_FALSE(m_repository.HasCurrency(978));
    SCurrencyStruct record;
    record.IndicatorID = 978;
    record.Radius = 0.75;
    EXPECT_EQ(m_repository.InsertCurrency(record), Z9ERR_OK);
    EXPECT_TRUE(m_repository.HasCurrency(978));
    EXPECT_EQ(m_repository.CountCurrency(), 2u);
    EXPECT_EQ(m_repository.GetCurrency().at(978), 0.75);
}

TEST_F(Repository, TheEdgeCoefficientReachesFuturesInsertedAfterwards)
{
    EXPECT_EQ(m_repository.GetEdgeCoeff(), 0.75);
    InsertFamily();
    EXPECT_EQ(m_repository.SetEdgeCoeff(0.5), Z9ERR_OK);
    EXPECT_EQ((FuturesSample([](auto& f) {
                   f.Code = "F2";
                   f.Isin = 2;
                   f.TimeToExpiration = 2.0;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    EXPECT_EQ(m_repository.GetFutures("FUT")->edgeCoeff, 0.75);
    EXPECT_EQ(m_repository.GetFutures("F2")->edgeCoeff, 0.5);
    EXPECT_EQ(m_repository.SetEdgeCoeff(0.0), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetEdgeCoeff(), 0.0);
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(Repository, ANegativeEdgeCoefficientBecomesTheUsualOne)
{
    EXPECT_EQ(m_repository.SetEdgeCoeff(-1.0), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetEdgeCoeff(), 0.75);
    EXPECT_EQ(m_repository.SetEdgeCoeff(NaN), Z9ERR_OK);
    EXPECT_EQ(m_repository.GetEdgeCoeff(), 0.75);
    EXPECT_THAT(m_log.Take(), ElementsAre(WarningLine("While SetEdgeCoeff Code() assertion (EdgeCoeff>=0.0) failed. "
                                                      "EdgeCoeff(-1.000000) forcibly set to (0.750000). "),
                                          WarningLine("While SetEdgeCoeff Code() assertion (EdgeCoeff>=0.0) failed. "
                                                      "EdgeCoeff(nan) forcibly set to (0.750000). ")));
    EXPECT_THAT(TakeAlerts(), ElementsAre("EdgeCoeffParamSetDefault 1", "EdgeCoeffParamSetDefault 2"));
}

TEST_F(Repository, ClearEmptiesEverythingButTheCollector)
{
    InsertFamily();
    static_cast<void>(m_repository.InsertCurrency(1, 0.5));
    static_cast<void>(m_repository.SetEdgeCoeff(0.25));
    m_repository.Clear();
    EXPECT_EQ(m_repository.CountBaseContract(), 0u);
    EXPECT_EQ(m_repository.CountFutures(), 0u);
    EXPECT_EQ(m_repository.CountCurrency(), 0u);
    EXPECT_EQ(m_repository.GetEdgeCoeff(), 0.75);
    EXPECT_EQ(m_repository.GetFutures(1), nullptr);
    static_cast<void>(m_repository.SetEdgeCoeff(-1.0));
    EXPECT_THAT(TakeAlerts(), ElementsAre("EdgeCoeffParamSetDefault 1"));
    InsertFamily(); // everything may come again
}

TEST_F(Repository, ClearForgetsWhoTracksWhom)
{
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    const FuturesSample tas([](auto& f) {
        f.Isin = 2;
        f.Attribute = Enums::InstrumentStatus::TAS;
        f.TASBaseFutIsinID = 1;
    });
    ASSERT_EQ(tas.InsertInto(m_repository), Z9ERR_OK);
    m_repository.Clear();
    InsertFamily(); // FUTURES_NOT_FOUND, were the link still there
}

TEST_F(Repository, GroupsAreCountedOnceAndEmptyOnesNotAtAll)
{
    EXPECT_EQ(m_repository.CountMMS(), 0u);
    for (const char* code : {"A", "B", "C"})
        ASSERT_EQ((BaseContractSample(code, *code == 'C' ? "" : "G").InsertInto(m_repository)), Z9ERR_OK);
    const auto insert = [this](const char* code, const char* bc, Isin isin, Enums::SpreadAspect aspect) {
        return FuturesSample([&](auto& f) {
                   f.Code = code;
                   f.CodeBC = bc;
                   f.SpreadAspect = aspect;
                   f.Isin = isin;
               })
            .InsertInto(m_repository);
    };
    ASSERT_EQ(insert("A1", "A", 1, Enums::SpreadAspect::InSpread), Z9ERR_OK);
    ASSERT_EQ(insert("A2", "A", 2, Enums::SpreadAspect::InSpread), Z9ERR_OK);
    ASSERT_EQ(insert("B1", "B", 3, Enums::SpreadAspect::NotInSpread), Z9ERR_OK);
    ASSERT_EQ(insert("C1", "C", 4, Enums::SpreadAspect::InSpread), Z9ERR_OK);
    EXPECT_EQ(m_repository.CountMMS(), 2u); // A and C
    EXPECT_EQ(m_repository.CountMCS(), 1u); // G
    EXPECT_EQ(m_repository.CountFutures(), 4u);

    const auto codesOf = [](auto range) {
        std::vector<std::string> codes;
        for (const auto& node : range)
            codes.push_back(node.GetCode());
        return codes;
    };
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByMMS("A")), UnorderedElementsAre("A1", "A2"));
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByMMS("")), UnorderedElementsAre("B1"));
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByMCS("G")), UnorderedElementsAre("A1", "A2"));
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByBaseContract("B")), UnorderedElementsAre("B1"));
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByStatus(Status::WasChanged)), IsEmpty());
    EXPECT_THAT(codesOf(m_repository.RangeFuturesByCode()), UnorderedElementsAre("A1", "A2", "B1", "C1"));
    EXPECT_EQ(codesOf(m_repository.RangeFuturesByIsin()).size(), 4u);
    EXPECT_THAT(codesOf(m_repository.RangeBaseContractByMCS("G")), UnorderedElementsAre("A", "B"));
    EXPECT_THAT(codesOf(m_repository.RangeBaseContractByCode()), UnorderedElementsAre("A", "B", "C"));
    EXPECT_EQ(codesOf(m_repository.RangeBaseContractByStatus(Status::NotChanged)).size(), 3u);
}

TEST_F(Repository, InstrumentsAreFoundByCodeAndByIsinInBothViews)
{
    InsertFamily();
    const CSpecFutures* const futures = m_repository.GetFutures("FUT");
    ASSERT_NE(futures, nullptr);
    EXPECT_EQ(m_repository.GetFutures(1), futures);
    EXPECT_EQ(m_repository.GetFutures(eNew, 1), futures);
    EXPECT_EQ(m_repository.GetFutures(eCurrent, "FUT"), futures);
    EXPECT_EQ(m_repository.GetBaseContract(eNew, "BC"), futures->BaseContract);
    EXPECT_TRUE(m_repository.FuturesExists(1));
    EXPECT_FALSE(m_repository.FuturesExists("BC"));
    EXPECT_EQ(m_repository.GetFutures(9), nullptr);
    EXPECT_EQ(m_repository.GetFutures("NONE"), nullptr);
    EXPECT_EQ(m_repository.GetBaseContract(eCurrent, "NONE"), nullptr);
}

TEST_F(Repository, TheViewOfAPassKnowsWhichFuturesItHasRecalculated)
{
    InsertFamily();
    static_cast<void>(m_repository.InsertCurrency(1, 0.5));
    InstrumentsRepositoryWrapper view(m_repository);
    EXPECT_EQ(&view.GetRepository(), &m_repository);
    EXPECT_EQ(view.GetStatus(1), eCurrent);
    view.SetRecalculated(1);
    view.SetRecalculated(1);
    EXPECT_TRUE(view.IsRecalculated(1));
    EXPECT_EQ(view.CountRecalculatedIsins(), 1u);
    EXPECT_EQ(view.GetStatus(1), eNew);
    EXPECT_EQ(view.GetFutures(1), m_repository.GetFutures(1)); // outside a transaction both views are one
    EXPECT_EQ(view.GetFutures("FUT"), m_repository.GetFutures(1));
    EXPECT_EQ(view.GetFutures("NONE"), nullptr);
    EXPECT_EQ(view.GetBaseContractByDerivative(1), m_repository.GetBaseContract(eCurrent, "BC"));
    EXPECT_EQ(view.GetBaseContractByDerivative(2), nullptr);
    EXPECT_EQ(view.GetCurvatureRadius(1), 0.5);
    EXPECT_EQ(view.CountCurrency(), 1u);
    view.ResetRecalculated();
    EXPECT_FALSE(view.IsRecalculated(1));
}

TEST(TelemetryAlerts, EveryAlertHasItsOwnCounterAndName)
{
    std::vector<std::string> heard;
    TelemetryAlertsCollector collector(
        [&](const std::string& name, int count) { heard.push_back(name + " " + std::to_string(count)); });
    collector.NotifyUnspecifiedParamSetDefaultAlert();
    collector.NotifyEdgeCoeffParamSetDefaultAlert();
    collector.NotifyVolatNumSetDefaultAlert();
    collector.NotifySubRiskSetDefaultAlert();
    collector.NotifyStrikeStepSetDefaultAlert();
    collector.NotifySOMCSetDefaultAlert();
    collector.NotifyRiskPointsNSetDefaultAlert();
    collector.NotifySpotPriceSetDefaultAlert();
    collector.NotifyNormalizedSpotSetDefaultAlert();
    collector.NotifyC_BlackSetDefaultAlert();
    collector.NotifyC_BachSetDefaultAlert();
    collector.NotifyE_BlackSetDefaultAlert();
    collector.NotifyE_BachSetDefaultAlert();
    collector.NotifyM_BachSetDefaultAlert();
    collector.NotifyExpClearingsSASetDefaultAlert();
    collector.NotifyExpClearingsBFSetDefaultAlert();
    collector.NotifyExpClearingsCCSetDefaultAlert();
    collector.NotifyTimeToExpirationSetDefaultAlert();
    collector.NotifyAdjustedSubRiskStepSetDefaultAlert();
    collector.NotifySOMCSetDefaultAlert();
    EXPECT_THAT(heard,
                ElementsAre("UnspecifiedParamSetDefault 1", "EdgeCoeffParamSetDefault 1", "VolatNumSetDefault 1",
                            "SubRiskSetDefault 1", "StrikeStepSetDefault 1", "SOMCSetDefault 1",
                            "RiskPointsNSetDefault 1", "SpotPriceSetDefault 1", "NormalizedSpotSetDefault 1",
                            "C_BlackSetDefault 1", "C_BachSetDefault 1", "E_BlackSetDefault 1", "E_BachSetDefault 1",
                            "M_BachSetDefault 1", "ExpClearingsSASetDefault 1", "ExpClearingsBFSetDefault 1",
                            "ExpClearingsCCSetDefault 1", "TimeToExpirationSetDefault 1",
                            "AdjustedSubRiskStepSetDefault 1", "SOMCSetDefault 2"));
    EXPECT_EQ(collector.GetCount(Alert::SOMC), 2);
    TelemetryAlertsCollector deaf({});
    deaf.NotifySOMCSetDefaultAlert();
    EXPECT_EQ(deaf.GetCount(Alert::SOMC), 1);
}

} // namespace
} // namespace test::InstrumentsRepositoryTest
