// Series and options in the repository: what is refused, what is corrected and how loudly, how they are found, and what
// keeps or loses its value when another instrument enters.
#include "instruments/InstrumentsRepository.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "except.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "kv7errors.h"

namespace test::InstrumentsRepositoryOptionsTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Level = Enums::ClientRiskLevel;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr Enums::InstrumentStatus Collateral = Enums::InstrumentStatus::Collateral;

/// BC with its futures FUT, a repository that counts its corrections, and the lines it logs.
class OptionsRepository : public testing::Test
{
protected:
    OptionsRepository()
    {
        m_repository.SetTelemetryAlertsCollector(std::make_shared<TelemetryAlertsCollector>(
            [this](const std::string& name, int count) { m_alerts.push_back(name + " " + std::to_string(count)); }));
    }
    void InsertParents(const BaseContractSample& contract = {}, const FuturesSample& futures = {})
    {
        ASSERT_EQ(contract.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(futures.InsertInto(m_repository), Z9ERR_OK);
    }
    void InsertFamily()
    {
        InsertParents();
        ASSERT_EQ(OptionSeriesSample{}.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(OptionSample{}.InsertInto(m_repository), Z9ERR_OK);
    }
    [[nodiscard]] std::vector<std::string> TakeAlerts() { return std::exchange(m_alerts, {}); }
    [[nodiscard]] const CSpecBaseContract& BC(std::string_view code = "BC") const
    {
        return *m_repository.GetBaseContract(eCurrent, code);
    }
    [[nodiscard]] const CSpecVirtFutures& Series(std::string_view code = "SER") const
    {
        return *m_repository.GetVirtualFutures(eCurrent, code);
    }
    [[nodiscard]] const CSpecOption& Option(std::string_view code = "OPT") const
    {
        return *m_repository.GetOption(eCurrent, code);
    }

    LogCapture m_log;
    InstrumentsRepository m_repository;
    std::vector<std::string> m_alerts;
};

/// What stands between the category and the code of the line of a series.
std::string Message(const std::string& code, const std::string& assertionAndValue,
                    const std::string& context = "CodeRF(FUT) CodeBC(BC)Non Collateral")
{
    return "While InsertVirtFutures Code(" + code + ") assertion " + assertionAndValue + ". " + context;
}
std::string Refused(Z9ERR code, const std::string& message)
{
    return "ERROR [InstrumentsRepository] " + message + " (code " + std::to_string(code) + ")";
}
std::string Corrected(const std::string& message) { return "WARNING [InstrumentsRepository] " + message; }

// Checks of a series.

struct RefusalRow
{
    const char* assertion;
    const char* name;
    double OptionSeriesParameters::*field;
    std::vector<std::pair<double, std::string>> values;
    Z9ERR code;
};

TEST_F(OptionsRepository, ASeriesIsRefusedWithItsCodeAndItsLine)
{
    using P = OptionSeriesParameters;
    InsertParents();
    const RefusalRow rows[] = {
        {"MinStep>0.0", "MinStep", &P::MinStep, {{0.0, "0.000000"}, {-5.0, "-5.000000"}, {NaN, "nan"}}, 94723},
        {"MinStepPrice>0.0",
         "MinStepPrice",
         &P::MinStepPrice,
         {{0.0, "0.000000"}, {-1.0, "-1.000000"}, {NaN, "nan"}},
         94723},
        {"VolatilityRisk>=0.0", "VolatilityRisk", &P::VolatilityRisk, {{-0.5, "-0.500000"}, {NaN, "nan"}}, 94766},
        {"VolatilityRisk<5.0", "VolatilityRisk", &P::VolatilityRisk, {{5.0, "5.000000"}, {6.5, "6.500000"}}, 94766},
        {"VolatilityRiskMismatch>=0.0",
         "VolatilityRiskMismatch",
         &P::VolatilityRiskMismatch,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94767},
        {"VolatilityRiskMismatch<5.0",
         "VolatilityRiskMismatch",
         &P::VolatilityRiskMismatch,
         {{5.0, "5.000000"}},
         94767},
        {"A_Black>=0.0", "A_Black", &P::A, {{-0.25, "-0.250000"}, {NaN, "nan"}}, 94723},
        {"InterestRateRiskUp>=0.0",
         "InterestRateRiskUp",
         &P::InterestRateRiskUp,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94784},
        {"InterestRateRiskDown>=0.0",
         "InterestRateRiskDown",
         &P::InterestRateRiskDown,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94785},
        {"InterestRate2RiskUp>=0.0",
         "InterestRate2RiskUp",
         &P::InterestRate2RiskUp,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94789},
        {"InterestRate2RiskDown>=0.0",
         "InterestRate2RiskDown",
         &P::InterestRate2RiskDown,
         {{-0.5, "-0.500000"}, {NaN, "nan"}},
         94790},
    };
    // Each refused row also has every later parameter wrong: the first in the order of the table speaks.
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        for (const auto& [value, text] : rows[i].values) {
            OptionSeriesSample sample;
            for (std::size_t later = i + 1; later < std::size(rows); ++later)
                sample.*rows[later].field = rows[later].values[0].first;
            sample.*rows[i].field = value;
            EXPECT_EQ(sample.InsertInto(m_repository), rows[i].code) << rows[i].assertion;
            EXPECT_THAT(
                m_log.Take(),
                ElementsAre(Refused(rows[i].code, Message("SER", std::string("(") + rows[i].assertion + ") failed. " +
                                                                     rows[i].name + "(" + text + ")"))))
                << rows[i].assertion;
        }
    }
    EXPECT_EQ(m_repository.CountVirtualFutures(), 0u);
    EXPECT_FALSE(m_repository.VirtualFuturesExists("SER"));
    EXPECT_THAT(TakeAlerts(), IsEmpty());
}

struct ValueRefusalRow
{
    const char* why;
    std::function<void(OptionSeriesSample&)> spoil;
    Z9ERR code;
    const char* message; // behind "assertion "
};

TEST_F(OptionsRepository, ASeriesIsRefusedForItsLotAndItsStyles)
{
    InsertParents();
    const ValueRefusalRow rows[] = {
        {"no lot", [](auto& s) { s.LotCoeff = 0; }, 94780, "(LotCoeff>=1) failed. LotCoeff(0)"},
        {"negative lot", [](auto& s) { s.LotCoeff = -10; }, 94780, "(LotCoeff>=1) failed. LotCoeff(-10)"},
        {"margin style", [](auto& s) { s.marginStyle = static_cast<Enums::MarginStyle>(2); }, 94781,
         "(marginStyle in [0(Futures),1(Equity)]) failed. marginStyle(<unknown>)"},
        {"settlement", [](auto& s) { s.settlementType = static_cast<Enums::SettlementType>(-1); }, 94782,
         "(settlementType in [0(CashSettled),1(Deliverable)]) failed. settlementType(<unknown>)"},
        {"exercise", [](auto& s) { s.exerciseStyle = static_cast<Enums::ExerciseStyle>(7); }, 94783,
         "(exerciseStyle in [0(American),1(European)]) failed. exerciseStyle(<unknown>)"},
    };
    for (const ValueRefusalRow& row : rows) {
        OptionSeriesSample sample;
        row.spoil(sample);
        EXPECT_EQ(sample.InsertInto(m_repository), row.code) << row.why;
        EXPECT_THAT(m_log.Take(), ElementsAre(Refused(row.code, Message("SER", row.message)))) << row.why;
    }
    EXPECT_EQ(m_repository.CountVirtualFutures(), 0u);
    EXPECT_THAT(TakeAlerts(), IsEmpty());
}

struct CorrectionRow
{
    const char* why;
    std::function<void(OptionSeriesSample&)> spoil;
    const char* message; // behind "assertion "; null: the value passes
    const char* alert;
    std::function<double(const CSpecVirtFutures&)> read;
    double taken;
};

/// Reads a field of a series as a number.
template <class Field>
std::function<double(const CSpecVirtFutures&)> Reading(Field CSpecVirtFutures::*field)
{
    return [field](const CSpecVirtFutures& series) { return static_cast<double>(series.*field); };
}

const CorrectionRow SmileRows[] = {
    {"no strike step", [](auto& s) { s.StrikeStep = 0.0; },
     "(StrikeStep>=MinStep) failed. StrikeStep(0.000000) forcibly set to (5.000000)", "StrikeStep",
     Reading(&CSpecVirtFutures::StrikeStep), 5.0},
    {"strike step is no number", [](auto& s) { s.StrikeStep = NaN; },
     "(StrikeStep>=MinStep) failed. StrikeStep(nan) forcibly set to (5.000000)", "StrikeStep",
     Reading(&CSpecVirtFutures::StrikeStep), 5.0},
    {"strike step of one step", [](auto& s) { s.StrikeStep = 5.0; }, nullptr, "",
     Reading(&CSpecVirtFutures::StrikeStep), 5.0},
    {"C below 0", [](auto& s) { s.C = -2.0; },
     "(C_Black>=Constants::MinimalC) failed. C_Black(-2.000000) forcibly set to (0.000000)", "C_Black",
     Reading(&CSpecVirtFutures::C), 0.0},
    {"C is no number", [](auto& s) { s.C = NaN; },
     "(C_Black>=Constants::MinimalC) failed. C_Black(nan) forcibly set to (0.000000)", "C_Black",
     Reading(&CSpecVirtFutures::C), 0.0},
    {"Bachelier's C below 0", [](auto& s) { s.C_Bach = -0.125; },
     "(C_Bach>=Constants::MinimalC) failed. C_Bach(-0.125000) forcibly set to (0.000000)", "C_Bach",
     Reading(&CSpecVirtFutures::C_Bach), 0.0},
    {"Bachelier's C is no number", [](auto& s) { s.C_Bach = NaN; },
     "(C_Bach>=Constants::MinimalC) failed. C_Bach(nan) forcibly set to (0.000000)", "C_Bach",
     Reading(&CSpecVirtFutures::C_Bach), 0.0},
    {"E below 1", [](auto& s) { s.E = 0.5; },
     "(E_Black>=Constants::MinimalE_Black) failed. E_Black(0.500000) forcibly set to (1.000000)", "E_Black",
     Reading(&CSpecVirtFutures::E), 1.0},
    {"E is no number", [](auto& s) { s.E = NaN; },
     "(E_Black>=Constants::MinimalE_Black) failed. E_Black(nan) forcibly set to (1.000000)", "E_Black",
     Reading(&CSpecVirtFutures::E), 1.0},
    {"E above 15", [](auto& s) { s.E = 15.5; },
     "(E_Black<=Constants::MaximumE_Black) failed. E_Black(15.500000) forcibly set to (15.000000)", "E_Black",
     Reading(&CSpecVirtFutures::E), 15.0},
    {"E of 15", [](auto& s) { s.E = 15.0; }, nullptr, "", Reading(&CSpecVirtFutures::E), 15.0},
    {"Bachelier's E below 1", [](auto& s) { s.E_Bach = -3.0; },
     "(E_Bach>=Constants::MinimalE_Bach) failed. E_Bach(-3.000000) forcibly set to (1.000000)", "E_Bach",
     Reading(&CSpecVirtFutures::E_Bach), 1.0},
    {"Bachelier's E is no number", [](auto& s) { s.E_Bach = NaN; },
     "(E_Bach>=Constants::MinimalE_Bach) failed. E_Bach(nan) forcibly set to (1.000000)", "E_Bach",
     Reading(&CSpecVirtFutures::E_Bach), 1.0},
    {"Bachelier's E has no ceiling", [](auto& s) { s.E_Bach = 1000.0; }, nullptr, "",
     Reading(&CSpecVirtFutures::E_Bach), 1000.0},
    {"M is 0", [](auto& s) { s.M_Bach = 0.0; }, "(M_Bach>0.0) failed. M_Bach(0.000000) forcibly set to (50.000000)",
     "M_Bach", Reading(&CSpecVirtFutures::M_Bach), 50.0},
    {"M is no number", [](auto& s) { s.M_Bach = NaN; }, "(M_Bach>0.0) failed. M_Bach(nan) forcibly set to (50.000000)",
     "M_Bach", Reading(&CSpecVirtFutures::M_Bach), 50.0},
};

const CorrectionRow OtherRows[] = {
    {"fixed discount below 0", [](auto& s) { s.FixedSpotDiscount = -0.5; },
     "(FixedSpotDiscount>=0.0) failed. FixedSpotDiscount(-0.500000) forcibly set to (0.000000)", "UnspecifiedParam",
     Reading(&CSpecVirtFutures::FixedSpotDiscount), 0.0},
    {"fixed discount is no number", [](auto& s) { s.FixedSpotDiscount = NaN; },
     "(FixedSpotDiscount>=0.0) failed. FixedSpotDiscount(nan) forcibly set to (0.000000)", "UnspecifiedParam",
     Reading(&CSpecVirtFutures::FixedSpotDiscount), 0.0},
    {"projected discount below 0", [](auto& s) { s.ProjectedSpotDiscount = -0.5; },
     "(ProjectedSpotDiscount>=0.0) failed. ProjectedSpotDiscount(-0.500000) forcibly set to (0.000000)",
     "UnspecifiedParam", Reading(&CSpecVirtFutures::ProjectedSpotDiscount), 0.0},
    {"projected discount is no number", [](auto& s) { s.ProjectedSpotDiscount = NaN; },
     "(ProjectedSpotDiscount>=0.0) failed. ProjectedSpotDiscount(nan) forcibly set to (0.000000)", "UnspecifiedParam",
     Reading(&CSpecVirtFutures::ProjectedSpotDiscount), 0.0},
    {"account's clearings", [](auto& s) { s.ExpClearingsSA = -1; },
     "(ExpClearingsSA>=0) failed. ExpClearingsSA(-1) forcibly set to (0)", "ExpClearingsSA",
     Reading(&CSpecVirtFutures::ExpClearingsSA), 0.0},
    {"firm's clearings", [](auto& s) { s.ExpClearingsBF = -20; },
     "(ExpClearingsBF>=0) failed. ExpClearingsBF(-20) forcibly set to (0)", "ExpClearingsBF",
     Reading(&CSpecVirtFutures::ExpClearingsBF), 0.0},
    {"client's clearings", [](auto& s) { s.ExpClearingsCC = std::numeric_limits<std::int32_t>::min(); },
     "(ExpClearingsCC>=0) failed. ExpClearingsCC(-2147483648) forcibly set to (0)", "ExpClearingsCC",
     Reading(&CSpecVirtFutures::ExpClearingsCC), 0.0},
    {"expired", [](auto& s) { s.TimeToExpiration = 0.0; },
     "(TimeToExpiration>=Constants::MinimumTimeToExpirationForVF) failed. TimeToExpiration(0.000000) forcibly set to "
     "(0.000057)",
     "TimeToExpiration", Reading(&CSpecVirtFutures::TimeToExpiration), 0.000057078025},
    {"no time", [](auto& s) { s.TimeToExpiration = NaN; },
     "(TimeToExpiration>=Constants::MinimumTimeToExpirationForVF) failed. TimeToExpiration(nan) forcibly set to "
     "(0.000057)",
     "TimeToExpiration", Reading(&CSpecVirtFutures::TimeToExpiration), 0.000057078025},
    {"half an hour left", [](auto& s) { s.TimeToExpiration = 0.000057078025; }, nullptr, "",
     Reading(&CSpecVirtFutures::TimeToExpiration), 0.000057078025},
    // 50 / 20 = 2.5, below the 5 of the futures.
    {"sub-points nearer than a step", [](auto& s) { s.LotCoeff = 20; },
     "(adjustedSubRiskStep>=futures->MinStep) failed. adjustedSubRiskStep(2.500000) forcibly set to (5.000000)",
     "AdjustedSubRiskStep", [](const CSpecVirtFutures& s) { return s.AdjustedSubRiskStep[Level::High]; }, 5.0},
    {"sub-points one step apart", [](auto& s) { s.LotCoeff = 10; }, nullptr, "",
     [](const CSpecVirtFutures& s) { return s.AdjustedSubRiskStep[Level::Exceptional]; }, 5.0},
};

class Corrections : public OptionsRepository
{
protected:
    void Expect(const CorrectionRow& row)
    {
        OptionSeriesSample sample;
        sample.Code = "SER" + std::to_string(m_repository.CountVirtualFutures());
        row.spoil(sample);
        ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK) << row.why;
        EXPECT_EQ(row.read(Series(sample.Code)), row.taken) << row.why;
        if (row.message == nullptr) {
            EXPECT_THAT(m_log.Take(), IsEmpty()) << row.why;
            EXPECT_THAT(TakeAlerts(), IsEmpty()) << row.why;
            return;
        }
        EXPECT_THAT(m_log.Take(), ElementsAre(Corrected(Message(sample.Code, row.message)))) << row.why;
        const std::string alert = std::string(row.alert) + "SetDefault";
        EXPECT_THAT(TakeAlerts(), ElementsAre(alert + " " + std::to_string(++m_counts[alert]))) << row.why;
    }

    std::map<std::string, int> m_counts;
};

TEST_F(Corrections, OfTheSmileComeWithAWarningAndAnAlert)
{
    InsertParents();
    for (const CorrectionRow& row : SmileRows)
        Expect(row);
}

TEST_F(Corrections, OfTheRestComeWithAWarningAndAnAlert)
{
    InsertParents();
    for (const CorrectionRow& row : OtherRows)
        Expect(row);
}

TEST_F(OptionsRepository, ChecksOfASeriesRunFromTopToBottom)
{
    InsertParents(BaseContractSample([](auto& c) { c.AssetClass = Enums::AssetClass::Bond; }),
                  FuturesSample([](auto& f) { f.Attribute = Collateral; }));
    OptionSeriesSample sample;
    sample.MinStep = 1.0;
    sample.StrikeStep = 0.5;
    sample.C = sample.C_Bach = sample.E = sample.E_Bach = sample.M_Bach = -1.0;
    sample.FixedSpotDiscount = sample.ProjectedSpotDiscount = sample.TimeToExpiration = -1.0;
    sample.ExpClearingsSA = sample.ExpClearingsBF = sample.ExpClearingsCC = -1;
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);

    const auto line = [](const std::string& text) {
        return Corrected(Message("SER", text, "CodeRF(FUT) CodeBC(BC) Collateral"));
    };
    EXPECT_THAT(
        m_log.Take(),
        ElementsAre(
            line("(StrikeStep>=MinStep) failed. StrikeStep(0.500000) forcibly set to (1.000000)"),
            line("(C_Black>=Constants::MinimalC) failed. C_Black(-1.000000) forcibly set to (0.000000)"),
            line("(C_Bach>=Constants::MinimalC) failed. C_Bach(-1.000000) forcibly set to (0.000000)"),
            line("(E_Black>=Constants::MinimalE_Black) failed. E_Black(-1.000000) forcibly set to (1.000000)"),
            line("(E_Bach>=Constants::MinimalE_Bach) failed. E_Bach(-1.000000) forcibly set to (1.000000)"),
            line("(M_Bach>0.0) failed. M_Bach(-1.000000) forcibly set to (1.000000)"), // the strike step as corrected
            line("(FixedSpotDiscount>=0.0) failed. FixedSpotDiscount(-1.000000) forcibly set to (0.000000)"),
            line("(ProjectedSpotDiscount>=0.0) failed. ProjectedSpotDiscount(-1.000000) forcibly set to (0.000000)"),
            line("(ExpClearingsSA>=0) failed. ExpClearingsSA(-1) forcibly set to (0)"),
            line("(ExpClearingsBF>=0) failed. ExpClearingsBF(-1) forcibly set to (0)"),
            line("(ExpClearingsCC>=0) failed. ExpClearingsCC(-1) forcibly set to (0)"),
            line("(TimeToExpiration>=Constants::MinimumTimeToExpirationForVF) failed. TimeToExpiration(-1.000000) "
                 "forcibly set to (0.000057)"),
            line("(marginStyle==Enums::MarginStyle::Equity) failed. marginStyle(Futures) forcibly set to (Equity)"),
            line("(assetClass in [1(Stock),2(Currency),4(Index),5(Commodity),7(Metal)]) failed. assetClass(Bond) "
                 "forcibly set to (Stock)"),
            line("(adjustedSubRiskStep>=futures->MinStep) failed. adjustedSubRiskStep(1.000000) forcibly set to "
                 "(5.000000)")));
    EXPECT_THAT(TakeAlerts(),
                ElementsAre("StrikeStepSetDefault 1", "C_BlackSetDefault 1", "C_BachSetDefault 1",
                            "E_BlackSetDefault 1", "E_BachSetDefault 1", "M_BachSetDefault 1",
                            "UnspecifiedParamSetDefault 1", "UnspecifiedParamSetDefault 2",
                            "ExpClearingsSASetDefault 1", "ExpClearingsBFSetDefault 1", "ExpClearingsCCSetDefault 1",
                            "TimeToExpirationSetDefault 1", "UnspecifiedParamSetDefault 3",
                            "UnspecifiedParamSetDefault 4", "AdjustedSubRiskStepSetDefault 1"));
    EXPECT_EQ(Series().M_Bach, 1.0);
    EXPECT_EQ(Series().MinStep, 1.0);
}

TEST_F(OptionsRepository, CorrectionsBeforeARefusalAreLoggedAndThoseBehindItNotReached)
{
    InsertParents(BaseContractSample([](auto& c) { c.AssetClass = Enums::AssetClass::Bond; }),
                  FuturesSample([](auto& f) { f.Attribute = Collateral; }));
    OptionSeriesSample sample;
    sample.StrikeStep = 0.0;
    sample.A = -1.0;
    sample.C = -1.0;
    EXPECT_EQ(sample.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    EXPECT_EQ(m_log.Take().size(), 2u);
    EXPECT_THAT(TakeAlerts(), ElementsAre("StrikeStepSetDefault 1"));
    EXPECT_EQ(BC().assetClass, Enums::AssetClass::Bond);
}

TEST_F(OptionsRepository, ParametersThatNobodyAsksForPassAsTheyAre)
{
    InsertParents();
    OptionSeriesSample sample;
    sample.B = sample.D = sample.S = sample.R = sample.R2 = NaN;
    sample.A_Bach = sample.B_Bach = sample.D_Bach = sample.S_Bach = NaN;
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Strike = NaN, .CalcOptPrice = NaN}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty());
    EXPECT_TRUE(std::isnan(Series().B_Bach));
    EXPECT_TRUE(std::isnan(Option().CalcOptPrice));
    EXPECT_NO_THROW(Option().ValueAllLevels());
}

TEST_F(OptionsRepository, TheFirstSeriesOfACollateralBondMakesAStockOfItsContract)
{
    InsertParents(BaseContractSample([](auto& c) { c.AssetClass = Enums::AssetClass::Bond; }),
                  FuturesSample([](auto& f) { f.Attribute = Collateral; }));
    OptionSeriesSample sample;
    sample.marginStyle = Enums::MarginStyle::Equity;
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC().assetClass, Enums::AssetClass::Stock);
    EXPECT_TRUE(Series().IsOptionsSeriesForStock());
    EXPECT_THAT(
        m_log.Take(),
        ElementsAre(Corrected(Message("SER",
                                      "(assetClass in [1(Stock),2(Currency),4(Index),5(Commodity),7(Metal)]) failed. "
                                      "assetClass(Bond) forcibly set to (Stock)",
                                      "CodeRF(FUT) CodeBC(BC) Collateral"))));
    EXPECT_THAT(TakeAlerts(), ElementsAre("UnspecifiedParamSetDefault 1"));

    sample.Code = "SER2";
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty()) << "the contract is a stock by now";
    EXPECT_THAT(TakeAlerts(), IsEmpty());
}

TEST_F(OptionsRepository, WhatASeriesMakesOfTheAssetClassDependsOnTheClassAndTheInstrument)
{
    const struct
    {
        Enums::AssetClass given;
        Enums::InstrumentStatus attribute;
        Enums::AssetClass taken;
    } rows[] = {
        {Enums::AssetClass::Stock, Collateral, Enums::AssetClass::Stock},
        {Enums::AssetClass::Currency, Collateral, Enums::AssetClass::Currency},
        {Enums::AssetClass::Bond, Collateral, Enums::AssetClass::Stock},
        {Enums::AssetClass::Index, Collateral, Enums::AssetClass::Index},
        {Enums::AssetClass::Commodity, Collateral, Enums::AssetClass::Commodity},
        {Enums::AssetClass::Percentage, Collateral, Enums::AssetClass::Stock},
        {Enums::AssetClass::Metal, Collateral, Enums::AssetClass::Metal},
        {Enums::AssetClass::Bond, Enums::InstrumentStatus::None, Enums::AssetClass::Bond},
        {Enums::AssetClass::Percentage, Enums::InstrumentStatus::None, Enums::AssetClass::Percentage},
    };
    Isin isin = 0;
    for (const auto& row : rows) {
        const std::string number = std::to_string(++isin);
        InsertParents(BaseContractSample([&](auto& c) {
                          c.Code = "BC" + number;
                          c.AssetClass = row.given;
                      }),
                      FuturesSample([&](auto& f) {
                          f.Code = "FUT" + number;
                          f.CodeBC = "BC" + number;
                          f.Isin = isin;
                          f.Attribute = row.attribute;
                      }));
        OptionSeriesSample sample("SER" + number, "FUT" + number);
        ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(BC("BC" + number).assetClass, row.taken) << number;
        const bool isCollateral = row.attribute == Collateral;
        EXPECT_EQ(Series("SER" + number).marginStyle,
                  isCollateral ? Enums::MarginStyle::Equity : Enums::MarginStyle::Futures)
            << "options on a collateral instrument are paid for up front";
    }
}

TEST_F(OptionsRepository, OnlyTheSecondSpreadAspectPutsASeriesInSpread)
{
    InsertParents();
    for (const int aspect : {0, 1, 2, 3, -1}) {
        OptionSeriesSample sample("SER" + std::to_string(aspect), "FUT");
        sample.SpreadAspect = static_cast<Enums::SpreadAspect>(aspect);
        ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(Series(sample.Code).IsInSpread, aspect == 2) << aspect << ": stricter than for a futures";
    }
}

TEST_F(OptionsRepository, ASeriesIsRefusedInSilenceForWhatTheLookupsSay)
{
    InsertFamily();
    OptionSeriesSample wrong("SER", "NONE");
    wrong.MinStep = -1.0; // not looked at
    EXPECT_EQ(wrong.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    wrong.CodeRF = "FUT";
    EXPECT_EQ(wrong.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_ALREADY_EXIST);
    ASSERT_EQ((FuturesSample([](auto& f) {
                   f.Code = "FUT2";
                   f.Isin = 2;
                   f.TimeToExpiration = 1.0;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    wrong.CodeRF = "FUT2";
    EXPECT_EQ(wrong.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_ALREADY_EXIST);
    EXPECT_THAT(m_log.Take(), IsEmpty());
    EXPECT_EQ(m_repository.CountVirtualFutures(), 1u);
    EXPECT_EQ(Series().CodeRF, "FUT");
}

// Entry.

TEST_F(OptionsRepository, AnInsertedSeriesHasItsGrid)
{
    InsertParents();
    OptionSeriesSample sample;
    sample.SubRisk = true;
    sample.StrikeStep = 100.0;
    ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
    // Five points 1000 + 1024 x 0.25 x k / 2 for k from -2 to 2, and the multiples of 100 between the outer ones.
    const double expected[] = {744.0, 872.0, 1000.0, 1128.0, 1256.0, 800.0, 900.0, 1000.0, 1100.0, 1200.0};
    const auto prices = Series().GetVolatilityMatrixCentralRow(Level::Default);
    ASSERT_EQ(prices.size(), std::size(expected));
    for (std::size_t column = 0; column < std::size(expected); ++column)
        EXPECT_EQ(prices[column], expected[column]) << column;
    EXPECT_EQ(Series().Futures, m_repository.GetFutures("FUT"));
}

TEST_F(OptionsRepository, ASeriesComesFromARecordToo)
{
    InsertParents({}, FuturesSample([](auto& f) { f.MinStep = 0.5; }));
    SVirtFuturesStruct record;
    ASSERT_TRUE(SetInstr(record.Code, "0123456789012345678901234")); // the longest one a record holds
    ASSERT_TRUE(SetInstr(record.CodeRF, "FUT"));
    // Every number differs, so that none can take the place of another.
    record.A_Black = 1.0;
    record.B_Black = 2.0;
    record.C_Black = 3.0;
    record.D_Black = 4.0;
    record.E_Black = 5.0;
    record.UseNullVolat = true;
    record.S_Black = 6.0;
    record.StrikeStep = 70.0;
    record.ExpClearingsSA = 8;
    record.ExpClearingsBF = 9;
    record.ExpClearingsCC = 10;
    record.VolatilityRisk = 1.25;
    record.VolatilityRiskMismatch = 1.5;
    record.TimeToExpiration = 0.25;
    record.A_Bach = 11.0;
    record.B_Bach = 12.0;
    record.C_Bach = 13.0;
    record.D_Bach = 14.0;
    record.E_Bach = 15.0;
    record.S_Bach = 16.0;
    record.M_Bach = 17.0;
    record.MarginStyle = Enums::MarginStyle::Equity;
    record.SettlementType = Enums::SettlementType::Deliverable;
    record.ExerciseStyle = Enums::ExerciseStyle::European;
    record.SubRisk = true;
    record.SpreadAspect = Enums::SpreadAspect::InSpread;
    record.EnforceHalfNetting = true;
    record.MinStep = 0.125;
    record.MinStepPrice = 18.0;
    record.LotCoeff = 7;
    record.r = 0.01;
    record.InterestRateRiskUp = 0.02;
    record.InterestRateRiskDown = 0.03;
    record.FixedSpotDiscount = 19.0;
    record.ProjectedSpotDiscount = 20.0;
    record.r2 = 0.04;
    record.InterestRate2RiskUp = 0.05;
    record.InterestRate2RiskDown = 0.06;
    ASSERT_EQ(m_repository.InsertVirtFutures(record), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty());

    const CSpecVirtFutures& s = Series("0123456789012345678901234");
    EXPECT_EQ(s.CodeRF, "FUT");
    EXPECT_THAT((std::array{s.A, s.B, s.C, s.D, s.E, s.S}), ElementsAre(1.0, 2.0, 3.0, 4.0, 5.0, 6.0));
    EXPECT_THAT((std::array{s.A_Bach, s.B_Bach, s.C_Bach, s.D_Bach, s.E_Bach, s.S_Bach, s.M_Bach}),
                ElementsAre(11.0, 12.0, 13.0, 14.0, 15.0, 16.0, 17.0));
    EXPECT_TRUE(s.UseNullVolat);
    EXPECT_EQ(s.StrikeStep, 70.0);
    EXPECT_EQ(s.AdjustedSubRiskStep[Level::Default], 10.0);
    EXPECT_THAT((std::array{s.ExpClearingsSA, s.ExpClearingsBF, s.ExpClearingsCC}), ElementsAre(8, 9, 10));
    EXPECT_THAT((std::array{s.VolatilityRisk, s.VolatilityRiskMismatch, s.TimeToExpiration, s.SqrtT}),
                ElementsAre(1.25, 1.5, 0.25, 0.5));
    EXPECT_EQ(s.marginStyle, Enums::MarginStyle::Equity);
    EXPECT_EQ(s.settlementType, Enums::SettlementType::Deliverable);
    EXPECT_EQ(s.exerciseStyle, Enums::ExerciseStyle::European);
    EXPECT_TRUE(s.SubRisk);
    EXPECT_TRUE(s.IsInSpread);
    EXPECT_TRUE(s.EnforceHalfNetting);
    EXPECT_THAT((std::array{s.MinStep, s.MinStepPrice, s.MoneyCoef}), ElementsAre(0.125, 18.0, 144.0));
    EXPECT_EQ(s.LotCoeff, 7);
    EXPECT_THAT((std::array{s.R, s.InterestRateRiskUp, s.InterestRateRiskDown, s.FixedSpotDiscount,
                            s.ProjectedSpotDiscount, s.R2, s.InterestRate2RiskUp, s.InterestRate2RiskDown}),
                ElementsAre(0.01, 0.02, 0.03, 19.0, 20.0, 0.04, 0.05, 0.06));
}

TEST_F(OptionsRepository, AnOptionComesFromARecordToo)
{
    InsertFamily();
    SOptionStruct record;
    ASSERT_TRUE(SetInstr(record.Code, "0123456789012345678901234"));
    ASSERT_TRUE(SetInstr(record.CodeVF, "SER"));
    record.Isin = 55;
    record.Strike = t_bprice(950.12345);
    record.OptType = Enums::OptionType::Put;
    record.CalcOptPrice = t_bprice(12.5);
    ASSERT_EQ(m_repository.InsertOption(record), Z9ERR_OK);
    const CSpecOption& option = Option("0123456789012345678901234");
    EXPECT_EQ(option.isin, 55);
    EXPECT_EQ(option.Strike, 950.12345);
    EXPECT_TRUE(option.isPut());
    EXPECT_EQ(option.CalcOptPrice, 12.5);

    ASSERT_TRUE(SetInstr(record.Code, "NAN"));
    record.Isin = 56;
    record.Strike.SetNAN();
    try {
        static_cast<void>(m_repository.InsertOption(record));
        FAIL() << "a strike that is not a number";
    } catch (const kv7base::CZ9Error& e) {
        EXPECT_EQ(e.GetCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_THAT(e.what(), testing::HasSubstr("AsDouble m_val("));
    }
    EXPECT_EQ(m_repository.CountOptions(), 2u);
}

TEST_F(OptionsRepository, OnlyTheTypePutMakesAPut)
{
    InsertFamily();
    Isin isin = 200;
    for (const int type : {0, 1, 2, 3, -1}) {
        OptionSample sample{.Code = "T" + std::to_string(type), .Isin = ++isin};
        sample.OptionType = static_cast<Enums::OptionType>(type);
        ASSERT_EQ(sample.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(Option(sample.Code).isPut(), type == 1) << type;
    }
}

TEST_F(OptionsRepository, AnOptionIsRefusedInSilenceForWhatTheLookupsSay)
{
    InsertFamily();
    ASSERT_EQ((OptionSeriesSample("SER2", "FUT").InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ((OptionSample{.CodeVF = "NONE"}.InsertInto(m_repository)), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ((OptionSample{.CodeVF = "FUT"}.InsertInto(m_repository)), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);

    const OptionSample repeats[] = {
        {.Strike = 1.0, .Isin = 102},                   // a known code
        {.Code = "NEW", .Strike = 1.0},                 // a known isin
        {.CodeVF = "SER2", .Strike = 1.0, .Isin = 102}, // both again, in another series
        {.Code = "NEW", .CodeVF = "SER2", .Strike = 1.0},
    };
    for (const OptionSample& repeat : repeats)
        EXPECT_EQ(repeat.InsertInto(m_repository), Z9ERR_CALCGO_API_ERROR_OPTION_ALREADY_EXIST);
    EXPECT_THAT(m_log.Take(), IsEmpty());

    EXPECT_EQ(m_repository.CountOptions(), 1u);
    EXPECT_EQ(Option().Strike, 1000.0) << "the present option stays";
    EXPECT_EQ(m_repository.GetOption(eCurrent, 101), &Option());
    EXPECT_FALSE(m_repository.OptionExists("NEW"));
    EXPECT_FALSE(m_repository.OptionExists(102));
    EXPECT_EQ(Option().VirtFutures, &Series("SER"));
    EXPECT_EQ((OptionSample{.Code = "NEW", .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK)
        << "nothing is left behind";
}

TEST_F(OptionsRepository, ANullCodeOfAnOptionThrowsAndNothingEnters)
{
    InsertFamily();
    EXPECT_THROW(static_cast<void>(m_repository.InsertOption(nullptr, "SER", 1.0, Enums::OptionType::Put, 1.0, 9)),
                 kv7base::CArgumentException);
    EXPECT_THROW(static_cast<void>(m_repository.InsertOption("NEW", nullptr, 1.0, Enums::OptionType::Put, 1.0, 9)),
                 kv7base::CArgumentException);
    EXPECT_EQ(m_repository.CountOptions(), 1u);
}

// Reading.

TEST_F(OptionsRepository, SeriesAndOptionsAreFoundByEveryKeyInBothViews)
{
    InsertFamily();
    const CSpecVirtFutures* const series = m_repository.GetVirtualFutures(eCurrent, "SER");
    const CSpecOption* const option = m_repository.GetOption(eCurrent, 101);
    ASSERT_NE(series, nullptr);
    ASSERT_NE(option, nullptr);
    EXPECT_EQ(m_repository.GetVirtualFutures(eNew, "SER"), series);
    EXPECT_EQ(m_repository.GetOption(eNew, 101), option);
    EXPECT_EQ(m_repository.GetOption(eCurrent, "OPT"), option);
    EXPECT_EQ(m_repository.GetOption(eNew, std::string_view("OPTION", 3)), option);
    EXPECT_EQ(option->VirtFutures, series);
    EXPECT_EQ(option->futuresIsin, 1);
    EXPECT_TRUE(m_repository.VirtualFuturesExists("SER"));
    EXPECT_TRUE(m_repository.OptionExists(101));
    EXPECT_TRUE(m_repository.OptionExists("OPT"));

    EXPECT_EQ(m_repository.GetVirtualFutures(eCurrent, "OPT"), nullptr);
    EXPECT_EQ(m_repository.GetOption(eCurrent, 1), nullptr) << "the isin of a futures";
    EXPECT_EQ(m_repository.GetOption(eCurrent, "SER"), nullptr);
    EXPECT_FALSE(m_repository.VirtualFuturesExists("FUT"));
    EXPECT_FALSE(m_repository.OptionExists(1));
    EXPECT_FALSE(m_repository.OptionExists("FUT"));
}

TEST_F(OptionsRepository, AnEquityOptionIsOneOfAPremiumStyleSeries)
{
    InsertFamily();
    OptionSeriesSample equity("EQUITY", "FUT");
    equity.marginStyle = Enums::MarginStyle::Equity;
    ASSERT_EQ(equity.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "OPT2", .CodeVF = "EQUITY", .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_TRUE(m_repository.IsEquityOption(102));
    EXPECT_FALSE(m_repository.IsEquityOption(101));
    EXPECT_FALSE(m_repository.IsEquityOption(1)) << "a futures";
    EXPECT_FALSE(m_repository.IsEquityOption(77)) << "nothing at all";
}

TEST_F(OptionsRepository, TheViewOfAPassKnowsOptions)
{
    InsertFamily();
    InstrumentsRepositoryWrapper view(m_repository);
    EXPECT_EQ(view.GetOption(101), &Option());
    EXPECT_EQ(view.GetOption(1), nullptr);
    EXPECT_EQ(view.GetBaseContractByDerivative(101), &BC());
    EXPECT_EQ(view.GetBaseContractByDerivative(1), &BC());
    EXPECT_EQ(view.GetBaseContractByDerivative(7), nullptr);
    view.SetRecalculated(101);
    EXPECT_EQ(view.GetStatus(101), eNew);
    EXPECT_EQ(view.GetOption(101), &Option()) << "outside a transaction both views are one";
}

TEST_F(OptionsRepository, SeriesAndOptionsAreCountedAndListedOverAllFutures)
{
    InsertFamily();
    ASSERT_EQ((FuturesSample([](auto& f) {
                   f.Code = "FUT2";
                   f.Isin = 2;
                   f.TimeToExpiration = 1.0;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    ASSERT_EQ((OptionSeriesSample("SER2", "FUT2").InsertInto(m_repository)), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "OPT2", .CodeVF = "SER2", .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "OPT3", .CodeVF = "SER2", .Isin = 103}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(m_repository.CountVirtualFutures(), 2u);
    EXPECT_EQ(m_repository.CountOptions(), 3u);

    std::vector<std::string> series;
    for (const auto& [code, futures] : m_repository.RangeVirtualFuturesByCode())
        series.push_back(futures->GetCode() + "/" + code);
    EXPECT_THAT(series, UnorderedElementsAre("FUT/SER", "FUT2/SER2"));
    std::vector<std::string> options;
    for (const OptionEntry& entry : m_repository.RangeOptionsByIsin())
        options.push_back(entry.GetFutures()->GetCode() + "/" + std::to_string(entry.GetIsin()));
    EXPECT_THAT(options, UnorderedElementsAre("FUT/101", "FUT2/102", "FUT2/103"));
    options.clear();
    for (const OptionEntry& entry : m_repository.RangeOptionsByCode())
        options.push_back(entry.GetFutures()->GetCode() + "/" + std::string(entry.GetCode().text));
    EXPECT_THAT(options, UnorderedElementsAre("FUT/OPT", "FUT2/OPT2", "FUT2/OPT3"));
}

TEST_F(OptionsRepository, ClearEmptiesSeriesAndOptionsAndTheyMayComeAgain)
{
    InsertFamily();
    m_repository.Clear();
    EXPECT_EQ(m_repository.CountVirtualFutures(), 0u);
    EXPECT_EQ(m_repository.CountOptions(), 0u);
    EXPECT_EQ(m_repository.GetOption(eCurrent, 101), nullptr);
    EXPECT_EQ(m_repository.GetOption(eCurrent, "OPT"), nullptr);
    EXPECT_EQ(m_repository.GetVirtualFutures(eCurrent, "SER"), nullptr);
    InsertFamily();
}

// What keeps and what loses its value.

/// Every number of an option's profile and points at a level, as bits.
std::vector<std::uint64_t> BitsOf(const CSpecOption& option, Level level)
{
    std::vector<std::uint64_t> bits;
    const Profile profile = option.GetProfile(level);
    for (const RiskMatrix* matrix : {&profile.Volatility(), &profile.InterestRate(), &profile.VolatilityMismatch()})
        for (std::size_t row = 0; row < matrix->RowsCount(); ++row)
            for (std::size_t column = 0; column < matrix->ColsCount(); ++column)
                bits.push_back(std::bit_cast<std::uint64_t>(double{(*matrix)[row][column]}));
    for (std::size_t i = 0; i < SpecialRiskPoints::MappingSize; ++i)
        bits.push_back(std::bit_cast<std::uint64_t>(profile.GetSpecialRiskPoints().pData()[i]));
    return bits;
}

std::vector<std::uint64_t> BitsOf(const CSpecOption& option)
{
    std::vector<std::uint64_t> bits;
    for (const Level level : Enums::PossibleClientRiskLevelValues) {
        const std::vector<std::uint64_t> ofLevel = BitsOf(option, level);
        bits.insert(bits.end(), ofLevel.begin(), ofLevel.end());
    }
    return bits;
}

/// A smile with a skew, so that a strike's volatility depends on where the underlying stands.
OptionSeriesSample Skewed(const std::string& code, const std::string& codeRF)
{
    OptionSeriesSample series(code, codeRF);
    series.B = 8.0;
    series.C = 1.0;
    series.D = -4.0;
    series.VolatilityRisk = 0.25;
    return series;
}

// A call's charge is spot x charge rate x upper rate: 1024 x 0.125 x 0.25 = 32 while the contract has no shift, and
// with a shift of 0.0625 it is 1024 x 0.125 x 0.3125 = 40.
constexpr double ChargeWithoutShift = 32.0;
constexpr double ChargeWithShift = 40.0;

double ChargeOf(const CSpecOption& option) { return option.GetPoints(Level::Default).GetUpRisk(); }

TEST_F(OptionsRepository, ANewNearestFuturesRecomputesOptionsOfItsFamily)
{
    InsertFamily();
    EXPECT_EQ(ChargeOf(Option()), ChargeWithoutShift);
    const auto before = BitsOf(Option());
    const FuturesSample nearest([](auto& f) {
        f.Code = "NEAR";
        f.CalcFutPrice = 1064.0;
        f.Isin = 2;
        f.TimeToExpiration = 0.1;
    });
    ASSERT_EQ(nearest.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC().ShiftCoefficient, 0.0625);
    EXPECT_EQ(ChargeOf(Option()), ChargeWithShift);
    EXPECT_NE(BitsOf(Option()), before);

    // As if the option had come after the shift.
    ASSERT_EQ((OptionSample{.Code = "LATE", .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(BitsOf(Option()), BitsOf(Option("LATE")));
}

TEST_F(OptionsRepository, ANewNearestFuturesRecomputesSeriesOfItsFamily)
{
    // 201 sub-points are one too many and stay so, and each recomputation says so. The grid ends at whole units: 800 to
    // 1200 for a rate of 0.25.
    InsertParents({}, FuturesSample([](auto& f) {
                      f.MinStep = 1.0;
                      f.NormalizedSpot = 800.0;
                  }));
    OptionSeriesSample series;
    series.SubRisk = true;
    series.MinStep = 1.0;
    series.StrikeStep = 2.0;
    ASSERT_EQ(series.InsertInto(m_repository), Z9ERR_OK);
    const auto ofDefault = testing::HasSubstr("max count 200, forcibly set to 201, AdjustedSubRiskStep[0](2.000000)");
    EXPECT_THAT(m_log.Take(), testing::Contains(ofDefault));
    const FuturesSample nearest([](auto& f) {
        f.Code = "NEAR";
        f.CalcFutPrice = 1050.0;
        f.Isin = 2;
        f.TimeToExpiration = 0.1;
    });
    ASSERT_EQ(nearest.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), testing::Contains(ofDefault));
    const FuturesSample far([](auto& f) {
        f.Code = "FAR";
        f.CalcFutPrice = 1050.0;
        f.Isin = 3;
        f.TimeToExpiration = 1.0;
    });
    ASSERT_EQ(far.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty()) << "which moves nothing";
}

/// A contract TASBC whose futures TAS trades at the settlement of the futures TRACKED of BC, and has an option.
class TasOptions : public OptionsRepository
{
protected:
    static constexpr Isin Tracked = 1;

    void InsertTas(InstrumentsRepository& repository) const
    {
        ASSERT_EQ(BaseContractSample{}.InsertInto(repository), Z9ERR_OK);
        ASSERT_EQ(BaseContractSample("TASBC").InsertInto(repository), Z9ERR_OK);
        ASSERT_EQ(TasFutures("TAS", 2, Tracked).InsertInto(repository), Z9ERR_OK);
        ASSERT_EQ(Skewed("SER", "TAS").InsertInto(repository), Z9ERR_OK);
        ASSERT_EQ((OptionSample{.Strike = 950.0}.InsertInto(repository)), Z9ERR_OK);
    }
    static FuturesSample TasFutures(const std::string& code, Isin isin, Isin tracked)
    {
        FuturesSample futures;
        futures.Code = code;
        futures.CodeBC = "TASBC";
        futures.CalcFutPrice = 1000.0;
        futures.RealCalcPrice = 900.0;
        futures.Isin = isin;
        futures.Attribute = Enums::InstrumentStatus::TAS;
        futures.TASBaseFutIsinID = tracked;
        return futures;
    }
    FuturesSample m_near{[](auto& f) {
        f.Code = "NEAR";
        f.CalcFutPrice = 1064.0;
        f.Isin = 3;
        f.TimeToExpiration = 0.1;
    }};
    FuturesSample m_tracked{[](auto& f) {
        f.CalcFutPrice = 1064.0;
        f.Isin = Tracked;
    }};
};

TEST_F(TasOptions, KeepTheirValuesWhenOnlyTheirFuturesFollowsTheTrackedOne)
{
    // The contract BC has a nearer reference already, so the tracked futures moves no shift and no family is
    // recomputed: the futures TAS alone takes the shift and the price. Its options stay what they were, whether anybody
    // has looked at them or not.
    InstrumentsRepository lookedAt;
    for (InstrumentsRepository* repository : {&m_repository, &lookedAt}) {
        InsertTas(*repository);
        ASSERT_EQ(m_near.InsertInto(*repository), Z9ERR_OK);
    }
    const auto before = BitsOf(*lookedAt.GetOption(eCurrent, "OPT"));
    for (InstrumentsRepository* repository : {&m_repository, &lookedAt})
        ASSERT_EQ(m_tracked.InsertInto(*repository), Z9ERR_OK);

    EXPECT_EQ(m_repository.GetFutures("TAS")->RealCalcPrice, 1000.0) << "that of the tracked futures";
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0625);
    EXPECT_EQ(ChargeOf(Option()), ChargeWithoutShift);
    EXPECT_EQ(BitsOf(Option()), before);
    EXPECT_EQ(BitsOf(*lookedAt.GetOption(eCurrent, "OPT")), before);

    // One that comes now is of the new price and shift.
    ASSERT_EQ((OptionSample{.Code = "OPT2", .Strike = 950.0, .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(ChargeOf(Option("OPT2")), ChargeWithShift);
    EXPECT_NE(BitsOf(Option("OPT2")), before);
}

TEST_F(TasOptions, KeepTheirValuesWhenASiblingTakesTheShiftOfTheTrackedContract)
{
    InsertTas(m_repository);
    FuturesSample other = m_tracked;
    other.Code = "OTHER";
    other.Isin = 9;
    ASSERT_EQ(other.InsertInto(m_repository), Z9ERR_OK); // sets BC's shift; nobody trades at its settlement yet
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0);
    ASSERT_EQ(TasFutures("TAS2", 4, 9).InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0625);
    EXPECT_EQ(ChargeOf(Option()), ChargeWithoutShift) << "only the futures TAS2 is recomputed";
}

TEST_F(TasOptions, AreRecomputedWhenTheTrackedContractMoves)
{
    InsertTas(m_repository);
    ASSERT_EQ(m_tracked.InsertInto(m_repository), Z9ERR_OK); // the first reference of BC: its shift reaches TASBC
    EXPECT_EQ(ChargeOf(Option()), ChargeWithShift);

    FuturesSample nearest = m_near;
    nearest.CalcFutPrice = 1000.0; // no shift any more
    ASSERT_EQ(nearest.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(BC("TASBC").ShiftCoefficient, 0.0);
    EXPECT_EQ(ChargeOf(Option()), ChargeWithoutShift);
}

TEST_F(OptionsRepository, AnOptionThatNobodyHasLookedAtIsValuedAsItStoodAtItsInsertion)
{
    InsertParents();
    ASSERT_EQ(Skewed("SER", "FUT").InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Strike = 950.0}.InsertInto(m_repository)), Z9ERR_OK);

    // The same family by hand, valued at once.
    const auto contract = BaseContractSample{}.Make();
    const auto futures = FuturesSample{}.Make(*contract);
    futures->RecalcInvariants();
    const auto series = Skewed("SER", "FUT").Make(*futures);
    series->RecalcInvariants();
    const CSpecOption option = OptionSample{.Strike = 950.0}.Make(*series);
    option.ValueAllLevels();
    EXPECT_EQ(BitsOf(Option()), BitsOf(option));
}

} // namespace
} // namespace test::InstrumentsRepositoryOptionsTest
