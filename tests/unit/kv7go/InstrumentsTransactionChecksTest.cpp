// What is refused and what is corrected of the new parameters of instruments, row by row, and what stands afterwards.
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChangingRepository.h"

namespace test::InstrumentsTransactionChecksTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// One bad value, and what is said and done about it.
template <class Changes>
struct Row
{
    std::function<void(Changes&)> spoil;
    std::string message;                       // behind "assertion "
    Z9ERR refusal = Z9ERR_OK;                  // Z9ERR_OK: corrected
    const char* alert = nullptr;               // of a correction
    std::function<double(Changes&)> read = {}; // of a correction: which field
    double corrected = 0.0;
};

class TransactionChecks : public ChangingRepository
{
protected:
    TransactionChecks() { InsertFamily(); }

    /// Tries each row by itself and then with every later row wrong as well: the first in the order of the table speaks
    /// first. `held` gives the parameters that the copy holds afterwards.
    template <class Changes>
    void Expect(const std::vector<Row<Changes>>& rows, const Changes& good, const std::string& who,
                const std::string& context, Z9ERR (InstrumentsRepository::*update)(const Changes&),
                const std::function<Changes()>& held)
    {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            SCOPED_TRACE(rows[i].message);
            Changes changes = good;
            rows[i].spoil(changes);
            EXPECT_EQ((m_repository.*update)(changes), rows[i].refusal);
            EXPECT_THAT(m_log.Take(), ElementsAre(LineOf(rows[i], who, context)));
            ExpectAlertAndValue(rows[i], held);

            changes = good;
            for (std::size_t later = rows.size(); later-- > i;)
                rows[later].spoil(changes);
            EXPECT_EQ((m_repository.*update)(changes) != Z9ERR_OK, i <= LastRefusal(rows));
            EXPECT_EQ(m_log.Take().front(), LineOf(rows[i], who, context));
            m_alerts.clear();
        }
    }

private:
    template <class Changes>
    static std::size_t LastRefusal(const std::vector<Row<Changes>>& rows)
    {
        std::size_t last = 0;
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (rows[i].refusal != Z9ERR_OK) last = i;
        return last;
    }
    template <class Changes>
    static std::string LineOf(const Row<Changes>& row, const std::string& who, const std::string& context)
    {
        const std::string text = "[InstrumentsRepository] While " + who + " assertion " + row.message + ". " + context;
        return row.refusal == Z9ERR_OK ? "WARNING " + text
                                       : "ERROR " + text + " (code " + std::to_string(row.refusal) + ")";
    }
    template <class Changes>
    void ExpectAlertAndValue(const Row<Changes>& row, const std::function<Changes()>& held)
    {
        if (row.refusal != Z9ERR_OK) {
            EXPECT_THAT(TakeAlerts(), IsEmpty());
            return;
        }
        const std::vector<std::string> alerts = TakeAlerts();
        ASSERT_EQ(alerts.size(), 1u);
        EXPECT_EQ(alerts[0].substr(0, alerts[0].find(' ')), row.alert);
        Changes values = held();
        EXPECT_EQ(row.read(values), row.corrected);
    }
};

// Base contracts.

using BCRow = Row<SBaseContractChanges>;

/// Parameters that a base contract holds, as a change record of them.
SBaseContractChanges ParametersOf(const CSpecBaseContract& bc)
{
    SBaseContractChanges changes = market_changes::Of(BaseContractSample{});
    changes.MarketRisk = bc.MarketRisk;
    changes.SpotPrice = bc.SpotPrice;
    changes.OptionModel = bc.optionModel;
    changes.CFRisk = bc.CFRisk;
    return changes;
}

BCRow RateRow(const char* rate, RiskLevelIndexedArray<double> SBaseContractChanges::*field,
              Enums::ClientRiskLevel level, double value, Z9ERR refusal)
{
    const char* const levels[] = {"Default", "Low", "Medium", "High", "Exceptional"};
    const std::string name = std::string("localChanges.") + rate +
                             "[Enums::ClientRiskLevel::" + levels[static_cast<std::size_t>(level)] + "]";
    const std::string text = std::isnan(value) ? "nan" : value == 0.0 ? "0.000000" : "-1.500000";
    return {[=](SBaseContractChanges& changes) { (changes.*field)[level] = value; },
            "(" + name + ">0.0) failed. " + name + "(" + text + ")", refusal};
}

TEST_F(TransactionChecks, RatesLimitsModelAndExtraRateOfABaseContract)
{
    // Codes of the rates of one level stand side by side.
    const Z9ERR firstCodes[] = {94757, 94793, 94796, 94799, 94802};
    for (const double value : {0.0, -1.5, NaN}) {
        std::vector<BCRow> rows;
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
            const Z9ERR first = firstCodes[static_cast<std::size_t>(level)];
            rows.push_back(RateRow("MarketRisk", &SBaseContractChanges::MarketRisk, level, value, first));
            rows.push_back(RateRow("MarketRisk1", &SBaseContractChanges::MarketRisk1, level, value, first + 1));
            rows.push_back(RateRow("MarketRisk2", &SBaseContractChanges::MarketRisk2, level, value, first + 2));
        }
        rows.push_back({[](auto& c) { c.ConcentrationLimit1 = -1; },
                        "(localChanges.ConcentrationLimit1>=0.0) failed. localChanges.ConcentrationLimit1(-1)", 94760});
        rows.push_back({[](auto& c) { c.ConcentrationLimit2 = -20; },
                        "(localChanges.ConcentrationLimit2>=0.0) failed. localChanges.ConcentrationLimit2(-20)",
                        94761});
        rows.push_back({[](auto& c) { c.OptionModel = static_cast<Enums::OptionModel>(2); },
                        "(localChanges.OptionModel in [0(BlackScholes),1(Bachelier)]) failed. "
                        "localChanges.OptionModel(<unknown>)",
                        94779});
        rows.push_back({[](auto& c) { c.CFRisk = -0.5; },
                        "(localChanges.CFRisk>=0.0) failed. localChanges.CFRisk(-0.500000) forcibly set to (0.000000)",
                        Z9ERR_OK, "UnspecifiedParamSetDefault", [](auto& c) { return c.CFRisk; }, 0.0});
        Expect<SBaseContractChanges>(rows, market_changes::Of(m_contract), "UpdateBaseContract Code(BC)", "",
                                     &InstrumentsRepository::UpdateBaseContract,
                                     [this] { return ParametersOf(BC(eNew)); });
    }
    EXPECT_EQ(BC(eCurrent).CFRisk, 0.0);
}

TEST_F(TransactionChecks, ASpotPriceLosesItsSignInAContractInPerCentOnly)
{
    BaseContractSample percentage([](auto& c) {
        c.Code = "PC";
        c.AssetClass = Enums::AssetClass::Percentage;
    });
    ASSERT_EQ(percentage.InsertInto(m_repository), Z9ERR_OK);
    percentage.SpotPrice = -80.0;
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(percentage)), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("WARNING [InstrumentsRepository] While UpdateBaseContract Code(PC) assertion "
                            "(localChanges.SpotPrice>0.0) failed. localChanges.SpotPrice(-80.000000) forcibly set to "
                            "(80.000000). "));
    EXPECT_THAT(TakeAlerts(), ElementsAre("SpotPriceSetDefault 1"));
    EXPECT_EQ(BC(eNew, "PC").SpotPrice, 80.0);
    EXPECT_EQ(BC(eCurrent, "PC").SpotPrice, 100.0);

    m_contract.SpotPrice = -80.0;
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(m_contract)), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty());
    EXPECT_EQ(BC(eNew).SpotPrice, -80.0);
}

TEST_F(TransactionChecks, TheSpotIsCorrectedBeforeTheModelIsRefusedAndTheExtraRateIsNotReached)
{
    BaseContractSample percentage([](auto& c) {
        c.Code = "PC";
        c.AssetClass = Enums::AssetClass::Percentage;
    });
    ASSERT_EQ(percentage.InsertInto(m_repository), Z9ERR_OK);
    percentage.SpotPrice = -80.0;
    percentage.OptionModel = static_cast<Enums::OptionModel>(7);
    percentage.CFRisk = -1.0;
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(percentage)), Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT);
    EXPECT_EQ(m_log.Take().size(), 2u);
    EXPECT_THAT(TakeAlerts(), ElementsAre("SpotPriceSetDefault 1"));
    EXPECT_EQ(CountOpenContracts(), 0u);
}

// Futures.

SFuturesChanges ParametersOf(const CSpecFutures& futures)
{
    SFuturesChanges changes = market_changes::Of(FuturesSample{});
    changes.NormalizedSpot = futures.NormalizedSpot;
    return changes;
}

TEST_F(TransactionChecks, ShocksTimeStepAndSpotOfAFutures)
{
    for (const double bad : {-0.5, NaN}) {
        const std::string text = std::isnan(bad) ? "nan" : "-0.500000";
        std::vector<Row<SFuturesChanges>> rows = {
            {[=](auto& c) { c.InterestRateRiskUp = bad; },
             "(localChanges.InterestRateRiskUp>=0.0) failed. localChanges.InterestRateRiskUp(" + text + ")", 94763},
            {[=](auto& c) { c.InterestRateRiskDown = bad; },
             "(localChanges.InterestRateRiskDown>=0.0) failed. localChanges.InterestRateRiskDown(" + text + ")", 94764},
            {[=](auto& c) { c.TimeToExpiration = bad; },
             "(localChanges.TimeToExpiration>=0.0) failed. localChanges.TimeToExpiration(" + text + ")", 94765},
            {[=](auto& c) { c.MinStepPrice = bad; },
             "(localChanges.MinStepPrice>0.0) failed. localChanges.MinStepPrice(" + text + ")", 94723},
            {[](auto& c) { c.MinStepPrice = 0.0; },
             "(localChanges.MinStepPrice>0.0) failed. localChanges.MinStepPrice(0.000000)", 94723},
            {[](auto& c) { c.NormalizedSpot = -900.0; },
             "(localChanges.NormalizedSpot>0.0) failed. localChanges.NormalizedSpot(-900.000000) forcibly set to "
             "(900.000000)",
             Z9ERR_OK, "NormalizedSpotSetDefault", [](auto& c) { return c.NormalizedSpot; }, 900.0}};
        Expect<SFuturesChanges>(rows, market_changes::Of(m_futures), "UpdateFutures Code(FUT)", "CodeBC(BC)",
                                &InstrumentsRepository::UpdateFutures, [this] { return ParametersOf(Futures(eNew)); });
    }
    EXPECT_EQ(Futures(eCurrent).NormalizedSpot, 1024.0);
}

// Series.

SVirtFuturesChanges ParametersOf(const CSpecVirtFutures& series)
{
    SVirtFuturesChanges changes = market_changes::Of(OptionSeriesSample{});
    changes.C = series.C;
    changes.C_Bach = series.C_Bach;
    changes.E = series.E;
    changes.E_Bach = series.E_Bach;
    changes.M_Bach = series.M_Bach;
    changes.ProjectedSpotDiscount = series.ProjectedSpotDiscount;
    changes.ExpClearingsSA = series.ExpClearingsSA;
    changes.ExpClearingsBF = series.ExpClearingsBF;
    changes.ExpClearingsCC = series.ExpClearingsCC;
    changes.TimeToExpiration = series.TimeToExpiration;
    return changes;
}

using VFRow = Row<SVirtFuturesChanges>;

VFRow RefusedRow(const std::string& field, double SVirtFuturesChanges::*member, double value, const std::string& bound,
                 Z9ERR refusal)
{
    return {[=](auto& c) { c.*member = value; },
            "(localChanges." + field + bound + ") failed. localChanges." + field + "(" + std::to_string(value) + ")",
            refusal};
}

template <class Number>
VFRow CorrectedRow(const std::string& field, Number SVirtFuturesChanges::*member, Number value,
                   const std::string& bound, const char* alert, Number corrected)
{
    return {[=](auto& c) { c.*member = value; },
            "(localChanges." + field + bound + ") failed. localChanges." + field + "(" + std::to_string(value) +
                ") forcibly set to (" + std::to_string(corrected) + ")",
            Z9ERR_OK,
            alert,
            [=](auto& c) { return static_cast<double>(c.*member); },
            static_cast<double>(corrected)};
}

TEST_F(TransactionChecks, EveryParameterOfASeries)
{
    using P = SVirtFuturesChanges;
    const double shortest = 0.000057078025;
    for (const double bad : {-0.5, NaN}) {
        std::vector<VFRow> rows = {
            RefusedRow("VolatilityRisk", &P::VolatilityRisk, bad, ">=0.0", 94766),
            RefusedRow("VolatilityRisk", &P::VolatilityRisk, 5.0, "<5.0", 94766),
            RefusedRow("VolatilityRiskMismatch", &P::VolatilityRiskMismatch, bad, ">=0.0", 94767),
            RefusedRow("VolatilityRiskMismatch", &P::VolatilityRiskMismatch, 5.0, "<5.0", 94767),
            RefusedRow("A", &P::A, bad, ">=0.0", 94723),
            CorrectedRow("C", &P::C, bad, ">=Constants::MinimalC", "C_BlackSetDefault", 0.0),
            CorrectedRow("C_Bach", &P::C_Bach, bad, ">=Constants::MinimalC", "C_BachSetDefault", 0.0),
            CorrectedRow("E", &P::E, bad, ">=Constants::MinimalE_Black", "E_BlackSetDefault", 1.0),
            CorrectedRow("E", &P::E, 15.5, "<=Constants::MaximumE_Black", "E_BlackSetDefault", 15.0),
            CorrectedRow("E_Bach", &P::E_Bach, bad, ">=Constants::MinimalE_Bach", "E_BachSetDefault", 1.0),
            CorrectedRow("M_Bach", &P::M_Bach, bad, ">0.0", "M_BachSetDefault", 50.0), // the step between strikes
            RefusedRow("MinStepPrice", &P::MinStepPrice, bad, ">0.0", 94723),
            RefusedRow("InterestRateRiskUp", &P::InterestRateRiskUp, bad, ">=0.0", 94784),
            RefusedRow("InterestRateRiskDown", &P::InterestRateRiskDown, bad, ">=0.0", 94785),
            CorrectedRow("ProjectedSpotDiscount", &P::ProjectedSpotDiscount, bad, ">=0.0", "UnspecifiedParamSetDefault",
                         0.0),
            RefusedRow("InterestRate2RiskUp", &P::InterestRate2RiskUp, bad, ">=0.0", 94789),
            RefusedRow("InterestRate2RiskDown", &P::InterestRate2RiskDown, bad, ">=0.0", 94790),
            CorrectedRow("ExpClearingsSA", &P::ExpClearingsSA, -1, ">=0", "ExpClearingsSASetDefault", 0),
            CorrectedRow("ExpClearingsBF", &P::ExpClearingsBF, -2, ">=0", "ExpClearingsBFSetDefault", 0),
            CorrectedRow("ExpClearingsCC", &P::ExpClearingsCC, -3, ">=0", "ExpClearingsCCSetDefault", 0),
            CorrectedRow("TimeToExpiration", &P::TimeToExpiration, bad, ">=Constants::MinimumTimeToExpirationForVF",
                         "TimeToExpirationSetDefault", shortest)};
        Expect<SVirtFuturesChanges>(rows, market_changes::Of(m_series), "UpdateVirtFutures Code(SER)",
                                    "CodeRF(FUT) CodeBC(BC)Non Collateral", &InstrumentsRepository::UpdateVirtFutures,
                                    [this] { return ParametersOf(Series(eNew)); });
    }
    EXPECT_EQ(Series(eCurrent).M_Bach, 100.0);
}

TEST_F(TransactionChecks, BoundsThatAreJustMetPass)
{
    SVirtFuturesChanges changes = market_changes::Of(m_series);
    changes.VolatilityRisk = changes.VolatilityRiskMismatch = std::nextafter(5.0, 0.0);
    changes.A = changes.C = changes.C_Bach = 0.0;
    changes.E = changes.E_Bach = 1.0;
    changes.TimeToExpiration = 0.000057078025;
    EXPECT_EQ(m_repository.UpdateVirtFutures(changes), Z9ERR_OK);
    changes.E = 15.0;
    EXPECT_EQ(m_repository.UpdateVirtFutures(changes), Z9ERR_OK);
    m_futures.InterestRateRiskUp = m_futures.InterestRateRiskDown = m_futures.TimeToExpiration = 0.0;
    EXPECT_EQ(m_repository.UpdateFutures(market_changes::Of(m_futures)), Z9ERR_OK);
    m_contract.ConcentrationLimit1 = m_contract.ConcentrationLimit2 = 0;
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(m_contract)), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

// A step of 5 over a lot of 2 is 2.5, below the 5 of the futures: once at insertion, and at every change.
TEST_F(TransactionChecks, TheStepBetweenSubPointsIsAtLeastThatOfTheFutures)
{
    OptionSeriesSample fine("FINE", "FUT");
    fine.StrikeStep = 5.0;
    fine.LotCoeff = 2;
    ASSERT_EQ(fine.InsertInto(m_repository), Z9ERR_OK);
    static_cast<void>(m_log.Take());
    m_alerts.clear();
    EXPECT_EQ(m_repository.UpdateVirtFutures(market_changes::Of(fine)), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("WARNING [InstrumentsRepository] While UpdateVirtFutures Code(FINE) assertion "
                            "(adjustedSubRiskStep>=specFutures->MinStep) failed. adjustedSubRiskStep(2.500000) "
                            "forcibly set to (5.000000). CodeRF(FUT) CodeBC(BC)Non Collateral"));
    EXPECT_THAT(TakeAlerts(), ElementsAre("AdjustedSubRiskStepSetDefault 2"));
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        EXPECT_EQ(Series(eNew, "FINE").AdjustedSubRiskStep[level], 5.0);
}

TEST_F(TransactionChecks, ASeriesOfACollateralInstrumentSaysSo)
{
    ASSERT_EQ((FuturesSample([](auto& f) {
                   f.Code = "SPOT";
                   f.Isin = 2;
                   f.Attribute = Enums::InstrumentStatus::Collateral;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    OptionSeriesSample series("ONSPOT", "SPOT");
    series.marginStyle = Enums::MarginStyle::Equity;
    ASSERT_EQ(series.InsertInto(m_repository), Z9ERR_OK);
    static_cast<void>(m_log.Take());
    series.A = -1.0;
    EXPECT_EQ(m_repository.UpdateVirtFutures(market_changes::Of(series)), 94723);
    EXPECT_THAT(m_log.Take(), ElementsAre("ERROR [InstrumentsRepository] While UpdateVirtFutures Code(ONSPOT) "
                                          "assertion (localChanges.A>=0.0) failed. localChanges.A(-1.000000). "
                                          "CodeRF(SPOT) CodeBC(BC) Collateral (code 94723)"));
}

// What a refusal leaves open: contracts and futures are checked before their family is opened, series after.

TEST_F(TransactionChecks, ARefusedContractOrFuturesOpensNothing)
{
    m_contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.0;
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(m_contract)), 94757);
    m_futures.MinStepPrice = 0.0;
    EXPECT_EQ(m_repository.UpdateFutures(market_changes::Of(m_futures)), 94723);
    EXPECT_EQ(CountOpenContracts(), 0u);
    EXPECT_EQ(CountOpenFutures(), 0u);
}

TEST_F(TransactionChecks, ARefusedSeriesLeavesItsFamilyOpenAndUnchanged)
{
    m_series.VolatilityRisk = 5.0;
    m_series.A = 99.0;
    EXPECT_EQ(m_repository.UpdateVirtFutures(market_changes::Of(m_series)), 94766);
    EXPECT_EQ(CountOpenContracts(), 1u);
    EXPECT_EQ(CountOpenFutures(), 1u);
    EXPECT_NE(&Series(eNew), &Series(eCurrent));
    EXPECT_EQ(Series(eNew).A, 32.0);
    EXPECT_EQ(Series(eNew).VolatilityRisk, 0.0);
}

TEST_F(TransactionChecks, WhatIsNotThereIsRefusedInSilence)
{
    BaseContractSample contract("NONE");
    EXPECT_EQ(m_repository.UpdateBaseContract(market_changes::Of(contract)), Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND);
    FuturesSample futures([](auto& f) { f.Isin = 99; });
    EXPECT_EQ(m_repository.UpdateFutures(market_changes::Of(futures)), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    const OptionSeriesSample series("NONE", "FUT");
    EXPECT_EQ(m_repository.UpdateVirtFutures(market_changes::Of(series)), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(m_repository.UpdateOptionSeries(market_changes::SpreadOf(series)),
              Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(m_repository.UpdateOption(99, 1.0), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(CountOpenContracts(), 0u);
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(TransactionChecks, ACorrectionIsNotWrittenIntoTheCallersRecord)
{
    SBaseContractChanges changes = market_changes::Of(m_contract);
    changes.CFRisk = -0.5;
    EXPECT_EQ(m_repository.UpdateBaseContract(changes), Z9ERR_OK);
    EXPECT_EQ(changes.CFRisk, -0.5) << "corrections are made in a copy";
}

} // namespace
} // namespace test::InstrumentsTransactionChecksTest
