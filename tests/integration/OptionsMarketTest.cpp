// One market with option series and options, brought in by a download and by one call an instrument: the cursors and
// the figures do not tell which.
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "LibraryHost.h"

namespace test::OptionsMarketTest {
namespace {

using namespace quindal::test;
using testing::Contains;
using testing::HasSubstr;

/// An index with a series in the spread, deliverable and with sub-points, and a series of a later expiry that stands
/// alone; a share held as collateral with a series whose premium is paid up front, priced by the other model.
constexpr const char* OptionsMarket = R"(<?xml version="1.0" encoding="utf-8"?>
<root>
  <CommonParameters EdgeCoeff="0.5"/>
  <Currency IndicatorID="840" Radius="0.045"/>
  <BaseContract Code="INDX" CodeMCS="GROUP" VolatNum="5" MSPType="1" ShortOptionMinimumCharge="0.1" IndicatorID="840"
    MarketRisk="0.1" MarketRisk1="0.15" MarketRisk2="0.2" MarketRiskLow="0.09" MarketRisk1Low="0.14"
    MarketRisk2Low="0.19" MarketRiskMedium="0.11" MarketRisk1Medium="0.16" MarketRisk2Medium="0.21"
    MarketRiskHigh="0.12" MarketRisk1High="0.17" MarketRisk2High="0.22" MarketRiskExceptional="0.13"
    MarketRisk1Exceptional="0.18" MarketRisk2Exceptional="0.23" ConcentrationLimit1="60" ConcentrationLimit2="180"
    RiskPointsN="12" WindowSizePercentage="0.25" OptionModel="0" SpotPrice="3285.4" AssetClass="4" CFRisk="0.01"/>
  <Futures Code="INDX-12.26" CodeBC="INDX" Isin="1001" CalcFutPrice="3302.5" SpreadAspect="2" MinStepPrice="5"
    RealCalcPrice="3302.0" MinStep="0.5" ExpiredDate="2026-12-17 19:00:00" Spot="0" XLot="1" Lot="1"
    InterestRateRiskUp="0.03" InterestRateRiskDown="0.025" TimeToExpiration="0.07" NormalizedSpot="3285.4"
    Attribute="0" MRAddOnUp="0.001" MRAddOnDown="0.002" EnforceIMSHalfNetting="0" TASBaseFutCode=""/>
  <Futures Code="INDX-3.27" CodeBC="INDX" Isin="1002" CalcFutPrice="3369" SpreadAspect="2" MinStepPrice="5"
    RealCalcPrice="3368.5" MinStep="0.5" ExpiredDate="2027-03-18 19:00:00" Spot="0" XLot="1" Lot="1"
    InterestRateRiskUp="0.03" InterestRateRiskDown="0.025" TimeToExpiration="0.32" NormalizedSpot="3285.4"
    Attribute="0" MRAddOnUp="0.001" MRAddOnDown="0.002" EnforceIMSHalfNetting="0" TASBaseFutCode=""/>
  <VirtFutures Code="INDX-12.26M" CodeRF="INDX-12.26" A_Black="21.5" B_Black="12.5" C_Black="0.5" D_Black="-1.25"
    E_Black="2.25" S_Black="0.01" UseNullVolat="0" StrikeStep="100" ExpClearingsSA="1" ExpClearingsBF="1"
    ExpClearingsCC="1" VolatilityRisk="0.3" VolatilityRiskMismatch="0.1" TimeToExpiration="0.07" A_Bach="0.75"
    B_Bach="0.875" C_Bach="0.375" D_Bach="-0.25" E_Bach="1.75" S_Bach="0" M_Bach="700" MarginStyle="0"
    SettlementType="1" ExerciseStyle="0" SubRisk="1" SpreadAspect="2" EnforceHalfNetting="0" MinStep="0.5"
    MinStepPrice="5" LotCoeff="1" r="0" InterestRateRiskUp="0.01" InterestRateRiskDown="0.01" FixedSpotDiscount="0"
    ProjectedSpotDiscount="0" r2="0" InterestRate2RiskUp="0.01" InterestRate2RiskDown="0.01"/>
  <Option Code="INDX-12.26M-C3300" CodeVF="INDX-12.26M" Strike="3300" OptType="2" CalcOptPrice="75"/>
  <Option Code="INDX-12.26M-P3200" CodeVF="INDX-12.26M" Strike="3200" OptType="1" CalcOptPrice="34.5"/>
  <VirtFutures Code="INDX-3.27H" CodeRF="INDX-3.27" A_Black="22" B_Black="12" C_Black="0.4" D_Black="-1.5"
    E_Black="2" S_Black="0" UseNullVolat="1" StrikeStep="50" ExpClearingsSA="0" ExpClearingsBF="0"
    ExpClearingsCC="0" VolatilityRisk="0.25" VolatilityRiskMismatch="0.125" TimeToExpiration="0.32" A_Bach="0.7"
    B_Bach="0.8" C_Bach="0.3" D_Bach="-0.2" E_Bach="1.5" S_Bach="0" M_Bach="700" MarginStyle="0" SettlementType="0"
    ExerciseStyle="1" SubRisk="0" SpreadAspect="0" EnforceHalfNetting="1" MinStep="0.5" MinStepPrice="5" LotCoeff="1"
    r="0" InterestRateRiskUp="0" InterestRateRiskDown="0" FixedSpotDiscount="0" ProjectedSpotDiscount="0" r2="0"
    InterestRate2RiskUp="0" InterestRate2RiskDown="0"/>
  <Option Code="INDX-3.27H-C3500" CodeVF="INDX-3.27H" Strike="3500" OptType="2" CalcOptPrice="112.5"/>
  <Option Code="INDX-3.27H-P3500" CodeVF="INDX-3.27H" Strike="3500" OptType="1" CalcOptPrice="243.5"/>
  <BaseContract Code="SHARE" CodeMCS="" VolatNum="3" MSPType="0" ShortOptionMinimumCharge="0.2" IndicatorID="0"
    MarketRisk="0.18" MarketRisk1="0.2" MarketRisk2="0.25" MarketRiskLow="0.15" MarketRisk1Low="0.17"
    MarketRisk2Low="0.2" MarketRiskMedium="0.2" MarketRisk1Medium="0.22" MarketRisk2Medium="0.27"
    MarketRiskHigh="0.24" MarketRisk1High="0.26" MarketRisk2High="0.3" MarketRiskExceptional="0.3"
    MarketRisk1Exceptional="0.35" MarketRisk2Exceptional="0.4" ConcentrationLimit1="1000" ConcentrationLimit2="5000"
    RiskPointsN="8" WindowSizePercentage="0.1" OptionModel="1" SpotPrice="264.8" AssetClass="1" CFRisk="0.1"/>
  <Futures Code="SHARE-SPOT" CodeBC="SHARE" Isin="1003" CalcFutPrice="264.8" SpreadAspect="2" MinStepPrice="0.1"
    RealCalcPrice="264.8" MinStep="0.1" ExpiredDate="2036-12-17 19:00:00" Spot="1" XLot="1" Lot="1"
    InterestRateRiskUp="0" InterestRateRiskDown="0" TimeToExpiration="0" NormalizedSpot="264.8"
    Attribute="8388608" MRAddOnUp="0" MRAddOnDown="0" EnforceIMSHalfNetting="0" TASBaseFutCode=""/>
  <VirtFutures Code="SHARE-E" CodeRF="SHARE-SPOT" A_Black="30" B_Black="10" C_Black="0.2" D_Black="-1" E_Black="1.5"
    S_Black="0" UseNullVolat="0" StrikeStep="50" ExpClearingsSA="0" ExpClearingsBF="0" ExpClearingsCC="0"
    VolatilityRisk="0.3" VolatilityRiskMismatch="0.15" TimeToExpiration="0.15" A_Bach="1.1" B_Bach="0.4" C_Bach="0.3"
    D_Bach="-0.1" E_Bach="1.25" S_Bach="0" M_Bach="700" MarginStyle="1" SettlementType="1" ExerciseStyle="0"
    SubRisk="0" SpreadAspect="2" EnforceHalfNetting="1" MinStep="1" MinStepPrice="1" LotCoeff="10" r="0.07"
    InterestRateRiskUp="0.011" InterestRateRiskDown="0.012" FixedSpotDiscount="1.5" ProjectedSpotDiscount="2.5"
    r2="0.03" InterestRate2RiskUp="0.013" InterestRate2RiskDown="0.014"/>
  <Option Code="SHARE-E-C2700" CodeVF="SHARE-E" Strike="2700" OptType="2" CalcOptPrice="95"/>
  <Option Code="SHARE-E-P2600" CodeVF="SHARE-E" Strike="2600" OptType="1" CalcOptPrice="88"/>
</root>
)";

/// All that the cursors give.
struct Contents
{
    double edgeCoeff = 0.0;
    std::vector<std::pair<std::int32_t, double>> currencies;
    std::map<std::string, calls::BaseContractEntry> contracts;       // these two come in no promised order
    std::map<std::string, std::vector<calls::FuturesEntry>> futures; // one entry a risk level
    std::vector<calls::OptionSeriesEntry> series;
    std::vector<calls::OptionEntry> options;

    friend bool operator==(const Contents&, const Contents&) = default;
};

template <class Entry>
std::vector<Entry> ReadList(std::intptr_t calc, std::int32_t (*setOnFirst)(std::intptr_t, std::int32_t*))
{
    std::int32_t count = -1;
    EXPECT_EQ(setOnFirst(calc, &count), 0);
    std::vector<Entry> entries(static_cast<std::size_t>(count));
    for (Entry& entry : entries)
        EXPECT_EQ(entry.GetNext(calc), 0);
    Entry end;
    EXPECT_EQ(end.GetNext(calc), 94810);
    return entries;
}

Contents ReadAll(std::intptr_t calc)
{
    Contents all;
    EXPECT_EQ(GetCommonParams(calc, &all.edgeCoeff), 0);
    std::int32_t count = 0;
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
    std::int32_t id = 0;
    for (double radius = 0.0; GetNextCurrency(calc, &id, &radius) == 0;)
        all.currencies.emplace_back(id, radius);
    for (const auto& contract : ReadList<calls::BaseContractEntry>(calc, SetOnFirstBaseContract))
        all.contracts.emplace(contract.code.data(), contract);
    for (std::int32_t level = 0; level < 5; ++level) {
        EXPECT_EQ(SetOnFirstFutures(calc, &count), 0);
        for (calls::FuturesEntry entry; entry.GetNext(calc, level) == 0; entry = {})
            all.futures[entry.code.data()].push_back(entry);
    }
    all.series = ReadList<calls::OptionSeriesEntry>(calc, SetOnFirstOptionSeries);
    all.options = ReadList<calls::OptionEntry>(calc, SetOnFirstOption);
    return all;
}

void InsertAll(std::intptr_t calc, const Contents& all)
{
    ASSERT_EQ(SetCommonParams(calc, all.edgeCoeff), 0);
    for (const auto& [id, radius] : all.currencies)
        ASSERT_EQ(InsertCurrency(calc, id, radius), 0);
    for (const auto& [code, c] : all.contracts)
        ASSERT_EQ(InsertBaseContract(calc, code.c_str(), c.mcs.data(), c.volatNum, c.mspType, c.currencyId,
                                     c.minimumCharge, c.rates[0], c.rates[1], c.rates[2], c.rates[3], c.rates[4],
                                     c.rates[5], c.rates[6], c.rates[7], c.rates[8], c.rates[9], c.rates[10],
                                     c.rates[11], c.rates[12], c.rates[13], c.rates[14], c.limit1, c.limit2,
                                     c.pointsNum, c.window, c.optionModel, c.spotPrice, c.assetClass, c.cfRisk),
                  0)
            << code;
    for (const auto& [code, levels] : all.futures) {
        const calls::FuturesEntry& f = levels.front();
        ASSERT_EQ(InsertFutures(calc, code.c_str(), f.baseContract.data(), f.calcFutPrice, f.spreadAspect,
                                f.minStepPrice, f.realCalcPrice, f.minStep, f.xLot, f.rateUp, f.rateDown,
                                f.timeToExpiration, f.normalizedSpot, f.attribute, f.addOnUp, f.addOnDown,
                                f.enforceHalfNetting, f.tracked.data()),
                  0)
            << code;
    }
    for (const calls::OptionSeriesEntry& s : all.series)
        ASSERT_EQ(s.values.Insert(calc, s.code.data(), s.futures.data()), 0) << s.code.data();
    for (const calls::OptionEntry& o : all.options)
        ASSERT_EQ(InsertOption(calc, o.code.data(), o.series.data(), o.strike, o.type, o.calcOptPrice), 0)
            << o.code.data();
}

/// Figures after each of the positions of a small book: a covered call, a straddle sold, a spread across expiries,
/// protective puts on shares. Two clients, one of them with deliveries and at the high level.
std::vector<calls::Margins> Figures(std::intptr_t calc)
{
    const struct
    {
        const char* client;
        const char* instrument;
        std::int64_t quantity;
        double price; // 0: as calculated
    } book[] = {
        {"AA01001", "INDX-12.26", 10, 3298.5},       {"AA01001", "INDX-12.26M-C3300", -10, 0.0},
        {"AA01001", "INDX-12.26M-P3200", 4, 33.0},   {"AA01001", "INDX-3.27H-C3500", -5, 0.0},
        {"AA01001", "INDX-3.27H-P3500", -5, 0.0},    {"AA01002", "INDX-12.26M-C3300", 7, 70.5},
        {"AA01002", "INDX-3.27", -3, 0.0},           {"AA01002", "INDX-3.27H-C3500", 3, 110.0},
        {"AA01002", "SHARE-SPOT", 40, 260.0},        {"AA01002", "SHARE-E-P2600", 4, 0.0},
        {"AA01002", "SHARE-E-C2700", -4, 95.5},      {"AA01001", "INDX-12.26M-C3300", 0, 0.0},
        {"AA01002", "INDX-12.26M-C3300", -200, 0.0},
    };
    EXPECT_EQ(calls::Firm(calc, "AA01"), 0);
    EXPECT_EQ(calls::Part(calc, "AA01001"), 0);
    EXPECT_EQ(RegisterPart(calc, "AA01002", 0, 1, 0.25, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING,
                           QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0, 1.0, QUINDAL_CLIENT_RISK_LEVEL_HIGH, 0),
              0);
    std::vector<calls::Margins> figures;
    for (const auto& [client, instrument, quantity, price] : book) {
        figures.emplace_back();
        EXPECT_EQ(calls::Position(calc, client, instrument, quantity, price, figures.back()), 0) << instrument;
        EXPECT_GT(figures.back().part, 0.0) << instrument;
        EXPECT_TRUE(std::isfinite(figures.back().part)) << instrument;
    }
    return figures;
}

class OneMarket : public LibraryHost
{
protected:
    void SetUp() override
    {
        Serve(OptionsMarket);
        StartAll();
    }
};

TEST_F(OneMarket, ComesInByADownloadOrByOneCallAnInstrumentWithTheSameCursorsAndFigures)
{
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    const Contents downloaded = ReadAll(calc);
    EXPECT_EQ(downloaded.contracts.size(), 2u);
    EXPECT_EQ(downloaded.futures.size(), 3u);
    ASSERT_EQ(downloaded.series.size(), 3u);
    EXPECT_STREQ(downloaded.series[1].code.data(), "INDX-3.27H") << "in the order of the document";
    ASSERT_EQ(downloaded.options.size(), 6u);
    EXPECT_STREQ(downloaded.options[5].code.data(), "SHARE-E-P2600");
    const std::vector<calls::Margins> ofDownload = Figures(calc);

    ASSERT_EQ(ClearAll(calc), 0);
    ASSERT_NO_FATAL_FAILURE(InsertAll(calc, downloaded));
    EXPECT_EQ(ReadAll(calc), downloaded);
    EXPECT_EQ(Figures(calc), ofDownload) << "to the last bit";

    ASSERT_EQ(ClearAll(calc), 0);
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0) << "and by a download again";
    EXPECT_EQ(ReadAll(calc), downloaded);
    EXPECT_EQ(Figures(calc), ofDownload);
}

TEST_F(OneMarket, OptionsThatWereValuedBeforeGiveTheSameFigures)
{
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    const std::vector<calls::Margins> first = Figures(calc);
    ASSERT_EQ(ClearParts(calc), 0);
    EXPECT_EQ(Figures(calc), first);
}

TEST_F(OneMarket, ASeriesIsNoInstrumentToHoldAndItsOptionsAre)
{
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    calls::Margins margins;
    EXPECT_EQ(calls::Position(calc, "AA01001", "INDX-12.26M", 1, 0.0, margins), 94813);
    EXPECT_EQ(margins, calls::Margins());
    ASSERT_EQ(calls::Position(calc, "AA01001", "INDX-3.27H-C3500", 2, 0.0, margins), 0);
    // A bought option loses its premium and no more: 112.5 points of 5 / 0.5 money each, twice, is 2250; below the
    // strike its lowest volatility leaves nothing else (UseNullVolat). A loss in a contract that is priced through a
    // currency grows by the currency's 0.045: 101.25.
    EXPECT_NEAR(margins.volatility, 2351.25, 1e-9);
    EXPECT_NEAR(margins.delivery, 2351.25, 1e-9);
    EXPECT_DOUBLE_EQ(margins.part, 2351.25);
    EXPECT_THAT(Lines(File("trace.log")),
                Contains(HasSubstr(",@InstrCode='INDX-3.27H-C3500',@Quantity=2,@WAPrice=           0,")));
}

TEST_F(OneMarket, RefusalsOfARealReplyAreToldInTheTraceAndTheLog)
{
    std::string market = OptionsMarket;
    market.replace(market.find("LotCoeff=\"10\""), 13, "LotCoeff=\"0\"");
    Serve(market);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94808);
    const std::string text = "CZ9MQCore::GetInstrumentParameters::InsertOptionSeries with code: SHARE-E - failed";
    EXPECT_THAT(Lines(File("trace.log")), Contains(HasSubstr(text)));
    EXPECT_THAT(Lines(File("library.log")), Contains(HasSubstr(text)));
    std::int32_t count = 0;
    EXPECT_EQ(SetOnFirstOptionSeries(calc, &count), 0);
    EXPECT_EQ(count, 3) << "the refused one has its place";
    EXPECT_EQ(SetOnFirstOption(calc, &count), 0);
    EXPECT_EQ(count, 4) << "those that stood before it";
}

} // namespace
} // namespace test::OptionsMarketTest
