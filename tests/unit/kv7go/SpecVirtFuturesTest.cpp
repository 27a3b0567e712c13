// An option series: its kind, its grid with sub-points, and its delivery prices.
#include "instruments/SpecVirtFutures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "grids/Constants.h"
#include "valuation/OptionColumns.h"

namespace test::SpecVirtFuturesTest {
namespace {

using namespace kv7im;
using testing::ElementsAre;
using testing::IsEmpty;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;
constexpr double NotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = std::numeric_limits<double>::max();
constexpr std::int32_t LowestInt = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t HighestInt = std::numeric_limits<std::int32_t>::max();

constexpr Enums::InstrumentStatus Collateral = Enums::InstrumentStatus::Collateral;

/// A series over the sample contract: five price points around 1000, half width 1024 x 0.25 = 256 at the default level
/// and 128, 320, 384, 512 at the others.
class Series : public testing::Test
{
protected:
    Series()
    {
        m_parameters.Code = "SER";
        m_parameters.CodeRF = "FUT";
        m_parameters.StrikeStep = 64.0;
        m_parameters.TimeToExpiration = 0.25;
        m_parameters.MinStep = 2.0;
        m_parameters.MinStepPrice = 3.0;
        m_parameters.SubRisk = true;
        Build();
    }

    /// Everything anew from the samples; the series as its constructor leaves it.
    void Build()
    {
        m_bc = m_contract.Make();
        m_futures = m_sample.Make(*m_bc);
        m_futures->RecalcInvariants();
        m_series = std::make_unique<CSpecVirtFutures>(
            m_futures.get(), m_parameters,
            CSpecVirtFutures::CalculateAdjustedSubRiskStep(m_parameters.StrikeStep, m_parameters.LotCoeff));
    }
    void Compute()
    {
        Build();
        m_series->RecalcInvariants();
    }

    [[nodiscard]] std::vector<double> PricesAt(Level level) const { return Prices(*m_series, level); }
    [[nodiscard]] static std::vector<double> Prices(const CSpecVirtFutures& series, Level level)
    {
        const RiskRowWrapper row = series.GetVolatilityMatrixCentralRow(level);
        std::vector<double> prices;
        for (std::size_t column = 0; column < row.size(); ++column)
            prices.push_back(row[column]);
        return prices;
    }
    [[nodiscard]] const std::set<double>& DeliveryPrices(Level level = Level::Default) const
    {
        return m_series->PointsForDeliveryRisksCalculation[level];
    }

    BaseContractSample m_contract;
    FuturesSample m_sample;
    OptionSeriesParameters m_parameters;
    std::shared_ptr<CSpecBaseContract> m_bc;
    std::shared_ptr<CSpecFutures> m_futures;
    std::unique_ptr<CSpecVirtFutures> m_series;
};

/// The nearest column, looked for from column 0.
std::size_t PlainNearest(const std::vector<double>& row, double value)
{
    if (row.empty()) return 0;
    std::size_t column = 0;
    while (column + 1 < row.size() && std::abs(row[column + 1] - value) < std::abs(row[column] - value))
        ++column;
    return column;
}

RiskRow RowOf(const std::vector<double>& cells)
{
    RiskRow row(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        row[i] = cells[i];
    return row;
}

// How a series begins.

TEST_F(Series, AFreshSeriesHasZeroGridsOfTheFuturesWidthAndNoPointsOfItsOwn)
{
    for (const Level level : Levels) {
        EXPECT_THAT(PricesAt(level), ElementsAre(0.0, 0.0, 0.0, 0.0, 0.0));
        EXPECT_EQ(m_series->volatilityMatrix[level].RowsCount(), 1u);
        EXPECT_EQ(m_series->GetSubPointsNum(level), 0);
        EXPECT_EQ(m_series->GetTotalPointsNum(level), 5);
        EXPECT_FALSE(m_series->HasSubPoints(level));
        EXPECT_EQ(m_series->GetDeliveryScenariosCount(level), 0u);
        EXPECT_EQ(m_series->AdjustedSubRiskStep[level], 64.0);
    }
    EXPECT_EQ(m_series->GetPointsNum(), 5);
    EXPECT_EQ(m_series->SqrtT, 0.5);     // root of 0.25
    EXPECT_EQ(m_series->MoneyCoef, 1.5); // 3 / 2
    EXPECT_EQ(m_series->Futures, m_futures.get());
}

TEST_F(Series, EveryParameterReachesItsField)
{
    const OptionSeriesParameters p{.Code = "C1",
                                   .CodeRF = "C2",
                                   .A = 1.0,
                                   .B = 2.0,
                                   .C = 3.0,
                                   .D = 4.0,
                                   .E = 5.0,
                                   .S = 6.0,
                                   .UseNullVolat = true,
                                   .StrikeStep = 7.0,
                                   .ExpClearingsSA = 8,
                                   .ExpClearingsBF = 9,
                                   .ExpClearingsCC = 10,
                                   .VolatilityRisk = 0.5,
                                   .VolatilityRiskMismatch = 0.25,
                                   .TimeToExpiration = 4.0,
                                   .A_Bach = 11.0,
                                   .B_Bach = 12.0,
                                   .C_Bach = 13.0,
                                   .D_Bach = 14.0,
                                   .E_Bach = 15.0,
                                   .S_Bach = 16.0,
                                   .M_Bach = 17.0,
                                   .marginStyle = Enums::MarginStyle::Equity,
                                   .settlementType = Enums::SettlementType::Deliverable,
                                   .exerciseStyle = Enums::ExerciseStyle::European,
                                   .SubRisk = true,
                                   .SpreadAspect = Enums::SpreadAspect::InSpread,
                                   .EnforceHalfNetting = true,
                                   .MinStep = 18.0,
                                   .MinStepPrice = 9.0,
                                   .LotCoeff = 19,
                                   .R = 20.0,
                                   .InterestRateRiskUp = 21.0,
                                   .InterestRateRiskDown = 22.0,
                                   .FixedSpotDiscount = 23.0,
                                   .ProjectedSpotDiscount = 24.0,
                                   .R2 = 25.0,
                                   .InterestRate2RiskUp = 26.0,
                                   .InterestRate2RiskDown = 27.0};
    const CSpecVirtFutures s(m_futures.get(), p, 28.0);
    EXPECT_EQ(s.Code, "C1");
    EXPECT_EQ(s.CodeRF, "C2");
    EXPECT_THAT((std::vector{s.A, s.B, s.C, s.D, s.E, s.S}), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(s.UseNullVolat);
    EXPECT_EQ(s.StrikeStep, 7.0);
    EXPECT_THAT((std::vector{s.ExpClearingsSA, s.ExpClearingsBF, s.ExpClearingsCC}), ElementsAre(8, 9, 10));
    EXPECT_EQ(s.VolatilityRisk, 0.5);
    EXPECT_EQ(s.VolatilityRiskMismatch, 0.25);
    EXPECT_EQ(s.TimeToExpiration, 4.0);
    EXPECT_EQ(s.SqrtT, 2.0);
    EXPECT_THAT((std::vector{s.A_Bach, s.B_Bach, s.C_Bach, s.D_Bach, s.E_Bach, s.S_Bach, s.M_Bach}),
                ElementsAre(11, 12, 13, 14, 15, 16, 17));
    EXPECT_EQ(s.marginStyle, Enums::MarginStyle::Equity);
    EXPECT_EQ(s.settlementType, Enums::SettlementType::Deliverable);
    EXPECT_EQ(s.exerciseStyle, Enums::ExerciseStyle::European);
    EXPECT_TRUE(s.SubRisk);
    EXPECT_TRUE(s.IsInSpread);
    EXPECT_TRUE(s.EnforceHalfNetting);
    EXPECT_EQ(s.MinStep, 18.0);
    EXPECT_EQ(s.MinStepPrice, 9.0);
    EXPECT_EQ(s.MoneyCoef, 0.5);
    EXPECT_EQ(s.LotCoeff, 19);
    EXPECT_THAT((std::vector{s.R, s.InterestRateRiskUp, s.InterestRateRiskDown}), ElementsAre(20, 21, 22));
    EXPECT_THAT((std::vector{s.FixedSpotDiscount, s.ProjectedSpotDiscount}), ElementsAre(23, 24));
    EXPECT_THAT((std::vector{s.R2, s.InterestRate2RiskUp, s.InterestRate2RiskDown}), ElementsAre(25, 26, 27));
    for (const Level level : Levels)
        EXPECT_EQ(s.AdjustedSubRiskStep[level], 28.0);
}

TEST_F(Series, OnlyTheValueTwoPutsASeriesInSpread)
{
    for (const int aspect : {0, 1, 2, 3, -1}) {
        m_parameters.SpreadAspect = static_cast<Enums::SpreadAspect>(aspect);
        Build();
        EXPECT_EQ(m_series->IsInSpread, aspect == 2) << aspect;
        m_series->ChangeParams(SOptionSeriesChanges{{}, false, m_parameters.SpreadAspect});
        EXPECT_EQ(m_series->IsInSpread, aspect == 2) << aspect;
    }
}

// Kinds.

struct KindCase
{
    Enums::AssetClass assetClass;
    bool stock;           // which of the first two kinds premium-style on collateral gives
    bool currencyOrIndex; //
};

constexpr KindCase KindCases[] = {
    {Enums::AssetClass::Stock, true, false},       {Enums::AssetClass::Currency, false, true},
    {Enums::AssetClass::Bond, false, false},       {Enums::AssetClass::Index, false, true},
    {Enums::AssetClass::Commodity, true, false}, // not of the kind that is named after it
    {Enums::AssetClass::Percentage, false, false}, {Enums::AssetClass::Metal, true, false},
};

/// A lot of 10, discounts 16 and 8, rates 0.5 and 0.125 over half a year.
class SeriesKinds : public Series
{
protected:
    SeriesKinds()
    {
        m_parameters.LotCoeff = 10;
        m_parameters.FixedSpotDiscount = 16.0;
        m_parameters.ProjectedSpotDiscount = 8.0;
        m_parameters.R = 0.5;
        m_parameters.R2 = 0.125;
        m_parameters.TimeToExpiration = 0.5;
    }
    void Make(Enums::MarginStyle style, bool collateral, Enums::AssetClass assetClass)
    {
        m_contract.AssetClass = assetClass;
        m_sample.Attribute = collateral ? Collateral : Enums::InstrumentStatus::None;
        m_parameters.marginStyle = style;
        Build();
    }
    void ExpectKind(bool stock, bool currencyOrIndex, bool commodity) const
    {
        EXPECT_EQ(m_series->IsOptionsSeriesForStock(), stock);
        EXPECT_EQ(m_series->IsOptionsSeriesForCurrencyOrIndex(), currencyOrIndex);
        EXPECT_EQ(m_series->IsOptionsSeriesForCommodity(), commodity);
        // A stock: (1000 - 16 - 8) x 10; the other two 1000 x 10; none 1000.
        const bool any = stock || currencyOrIndex || commodity;
        EXPECT_EQ(m_series->MakeDiscountPoint(1000.0), stock ? 9760.0 : any ? 10000.0 : 1000.0);
        // exp(-0.5 x 0.5) = 0.778800783071404868...
        EXPECT_DOUBLE_EQ(m_series->MakeCorrectStrikeByType(1000.0), any ? 778.80078307140487 : 1000.0);
        EXPECT_EQ(m_series->GetUsableR(), any ? 0.5 : 0.0);
        EXPECT_EQ(m_series->GetUsableR2(), currencyOrIndex || commodity ? 0.125 : 0.0);
    }
};

TEST_F(SeriesKinds, APremiumStyleSeriesOnCollateralFollowsTheAssetClass)
{
    for (const KindCase& c : KindCases) {
        SCOPED_TRACE(Enums::ToString(c.assetClass));
        Make(Enums::MarginStyle::Equity, true, c.assetClass);
        ExpectKind(c.stock, c.currencyOrIndex, false);
    }
}

TEST_F(SeriesKinds, APremiumStyleSeriesOnWhatIsNotCollateralIsOfTheThirdKindWhateverItsClass)
{
    for (const KindCase& c : KindCases) {
        SCOPED_TRACE(Enums::ToString(c.assetClass));
        Make(Enums::MarginStyle::Equity, false, c.assetClass);
        ExpectKind(false, false, true);
    }
}

TEST_F(SeriesKinds, AFuturesStyleSeriesIsOfNoKindWhateverItsFutures)
{
    for (const KindCase& c : KindCases)
        for (const bool collateral : {false, true}) {
            SCOPED_TRACE(Enums::ToString(c.assetClass));
            Make(Enums::MarginStyle::Futures, collateral, c.assetClass);
            ExpectKind(false, false, false);
        }
}

TEST_F(SeriesKinds, TheKindFollowsTheContractWhenItsClassIsCorrectedLater)
{
    Make(Enums::MarginStyle::Equity, true, Enums::AssetClass::Bond);
    ExpectKind(false, false, false);
    m_bc->assetClass = Enums::AssetClass::Stock;
    ExpectKind(true, false, false);
}

TEST_F(SeriesKinds, NegativeRatesRaiseTheStrikeAndStrikesMayBeNegative)
{
    m_parameters.R = -0.5;
    Make(Enums::MarginStyle::Equity, true, Enums::AssetClass::Index);
    EXPECT_DOUBLE_EQ(m_series->MakeCorrectStrikeByType(1000.0),
                     1284.0254166877415); // exp(0.25) = 1.2840254166877414...
    EXPECT_DOUBLE_EQ(m_series->MakeCorrectStrikeByType(-1000.0), -1284.0254166877415);
    EXPECT_EQ(m_series->GetUsableR(), -0.5);
}

TEST_F(SeriesKinds, CorrectedPricesGoThroughTheDiscountOfTheKind)
{
    m_parameters.SubRisk = false;
    m_sample.RealCalcPrice = 990.0;
    Make(Enums::MarginStyle::Equity, true, Enums::AssetClass::Stock);
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->GetCorrectedFuturesPrice(), 9660.0);                  // (990 - 16 - 8) x 10
    EXPECT_EQ(m_series->GetCorrectedFuturesPoint(0, Level::Default), 7200.0); // (744 - 24) x 10
    EXPECT_EQ(m_series->GetCorrectedFuturesPoint(4, Level::Default), 12320.0);
    EXPECT_EQ(m_series->GetCorrectedFuturesPoint(0, Level::Low), 8480.0); // (872 - 24) x 10

    Make(Enums::MarginStyle::Futures, true, Enums::AssetClass::Stock);
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->GetCorrectedFuturesPrice(), 990.0);
    EXPECT_EQ(m_series->GetCorrectedFuturesPoint(0, Level::Default), 744.0);
}

TEST_F(SeriesKinds, TheDiscountsAreTakenOffOneAfterTheOther)
{
    // 1e16 has neighbours 2 apart: 1e16 - 1 rounds back to 1e16 (to even), and so does the next; the two at once would
    // give 1e16 - 2.
    m_parameters.FixedSpotDiscount = 1.0;
    m_parameters.ProjectedSpotDiscount = 1.0;
    m_parameters.LotCoeff = 1;
    Make(Enums::MarginStyle::Equity, true, Enums::AssetClass::Stock);
    EXPECT_EQ(m_series->MakeDiscountPoint(1e16), 1e16);
}

// The grid.

TEST_F(Series, WithoutSubPointsTheGridIsThatOfTheFutures)
{
    m_parameters.SubRisk = false;
    Compute();
    EXPECT_THAT(PricesAt(Level::Default), ElementsAre(744.0, 872.0, 1000.0, 1128.0, 1256.0));
    EXPECT_THAT(PricesAt(Level::Low), ElementsAre(872.0, 936.0, 1000.0, 1064.0, 1128.0));
    for (const Level level : Levels) {
        EXPECT_FALSE(m_series->HasSubPoints(level));
        EXPECT_EQ(m_series->GetSubPointsNum(level), 0);
        EXPECT_EQ(m_series->GetTotalPointsNum(level), 5);
        const BindsRow& binding = m_series->GetBindingArray(level);
        EXPECT_EQ(binding.rollupedSize, 5u);
        EXPECT_EQ(binding.size, 5u);
        EXPECT_THAT(binding.binding, ElementsAre(0, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0)); // (2 blocks + 1) x 4
        EXPECT_EQ(m_series->volatilityMatrix[level].Binding(), &binding);
        // The lanes past the last column are out of scope.
        const RiskRowWrapper row = m_series->GetVolatilityMatrixCentralRow(level);
        for (std::size_t lane = 1; lane < 4; ++lane)
            EXPECT_TRUE(std::isnan(row.pData(1)[lane]));
    }
}

TEST_F(Series, SubPointsAreTheMultiplesOfTheStepInsideTheGridBehindTheMainPoints)
{
    // 744 to 1256 holds 12 x 64 = 768 to 19 x 64 = 1216.
    Compute();
    EXPECT_THAT(PricesAt(Level::Default), ElementsAre(744.0, 872.0, 1000.0, 1128.0, 1256.0, //
                                                      768.0, 832.0, 896.0, 960.0, 1024.0, 1088.0, 1152.0, 1216.0));
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(12, 13, 14, 15, 16, 17, 18, 19));
    EXPECT_EQ(m_series->GetSubPointsNum(Level::Default), 8);
    EXPECT_EQ(m_series->GetTotalPointsNum(Level::Default), 13);
    EXPECT_TRUE(m_series->HasSubPoints(Level::Default));

    // 768 is 24 from 744; 832 is 40 from 872; 896 is 24 from it; 960 is 40 from 1000; and so on, mirrored.
    const BindsRow& binding = m_series->GetBindingArray(Level::Default);
    EXPECT_EQ(binding.rollupedSize, 5u);
    EXPECT_EQ(binding.size, 13u);
    EXPECT_THAT(binding.binding,
                ElementsAre(0, 1, 2, 3, 4, 0, 1, 1, 2, 2, 3, 3, 4, 0, 0, 0, 0, 0, 0, 0)); // (4 + 1) x 4

    // The level Low is half as wide: 872 to 1128 holds 14 x 64 = 896 to 17 x 64 = 1088.
    EXPECT_THAT(PricesAt(Level::Low), ElementsAre(872.0, 936.0, 1000.0, 1064.0, 1128.0, 896.0, 960.0, 1024.0, 1088.0));
}

TEST_F(Series, TheStepBetweenSubPointsIsTheStrikeStepOfOneUnitOfTheUnderlying)
{
    m_parameters.LotCoeff = 3;
    m_parameters.StrikeStep = 192.0;
    Compute();
    EXPECT_EQ(CSpecVirtFutures::CalculateAdjustedSubRiskStep(192.0, 3), 64.0);
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(12, 13, 14, 15, 16, 17, 18, 19));
}

TEST_F(Series, ASubPointOnAMainPointStaysAColumnOfItsOwnAndATieGoesToTheLowerPoint)
{
    // Main points 768, 896, 1024, 1152, 1280, every second multiple of 64; 832 is 64 from both neighbours.
    m_sample.CalcFutPrice = 1024.0;
    Compute();
    EXPECT_THAT(PricesAt(Level::Default),
                ElementsAre(768.0, 896.0, 1024.0, 1152.0, 1280.0, //
                            768.0, 832.0, 896.0, 960.0, 1024.0, 1088.0, 1152.0, 1216.0, 1280.0));
    const std::vector<std::size_t>& binding = m_series->GetBindingArray(Level::Default).binding;
    EXPECT_THAT((std::vector(binding.begin(), binding.begin() + 14)),
                ElementsAre(0, 1, 2, 3, 4, 0, 0, 1, 1, 2, 2, 3, 3, 4));
}

TEST_F(Series, ALevelWithoutAMultipleInItsGridHasNoSubPointsThoughAnotherHas)
{
    // Step 400: 744 to 1256 holds 800 and 1200, 872 to 1128 none.
    m_parameters.StrikeStep = 400.0;
    Compute();
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(2, 3));
    EXPECT_FALSE(m_series->HasSubPoints(Level::Low));
    EXPECT_EQ(m_series->GetTotalPointsNum(Level::Low), 5);
}

TEST_F(Series, PricesBelowZeroHaveSubPointsToo)
{
    // 744 - 1000 = -256 to 256, around 0.
    m_sample.CalcFutPrice = 0.0;
    m_parameters.StrikeStep = 100.0;
    Compute();
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(-2, -1, 0, 1, 2));
    EXPECT_THAT(PricesAt(Level::Default),
                ElementsAre(-256.0, -128.0, 0.0, 128.0, 256.0, -200.0, -100.0, 0.0, 100.0, 200.0));
}

TEST_F(Series, AStrikeStepOfZeroMakesNoSubPoints)
{
    LogCapture log;
    m_parameters.StrikeStep = 0.0;
    Compute();
    for (const Level level : Levels)
        EXPECT_FALSE(m_series->HasSubPoints(level));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Series, TheGridFollowsTheFuturesAtARecalculationOnly)
{
    Compute();
    m_futures->CalcFutPrice = 1024.0;
    m_futures->RecalcInvariants();
    EXPECT_EQ(PricesAt(Level::Default)[2], 1000.0);
    m_series->RecalcInvariants();
    EXPECT_EQ(PricesAt(Level::Default)[2], 1024.0);
    EXPECT_EQ(m_series->GetSubPointsNum(Level::Default), 9);
    EXPECT_EQ(m_series->GetTotalPointsNum(Level::Default), 14);
    EXPECT_EQ(m_series->GetBindingArray(Level::Default).size, 14u);
    EXPECT_EQ(m_series->volatilityMatrix[Level::Default].Binding(), &m_series->GetBindingArray(Level::Default));

    m_futures->CalcFutPrice = 1000.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->GetTotalPointsNum(Level::Default), 13);
    EXPECT_EQ(m_series->GetBindingArray(Level::Default).binding.size(), 20u);
}

TEST_F(Series, TheBindingTableKeepsItsPlaceThroughARecalculation)
{
    Compute();
    const BindsRow* before = &m_series->GetBindingArray(Level::High); // as an option's matrices hold it
    m_series->RecalcInvariants();
    EXPECT_EQ(&m_series->GetBindingArray(Level::High), before);
}

TEST_F(Series, ASeriesWhoseSubPointsAreSwitchedOffKeepsThoseThatItHas)
{
    Compute();
    m_series->SubRisk = false;
    m_futures->CalcFutPrice = 2000.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(12, 13, 14, 15, 16, 17, 18, 19));
    EXPECT_EQ(PricesAt(Level::Default)[5], 768.0);
    EXPECT_EQ(m_series->GetBindingArray(Level::Default).binding[12], 0u); // 1216 is nearest to 1744, the lowest
}

TEST_F(Series, TheMoneyOfAPriceUnitIsRenewedByARecalculation)
{
    Compute();
    m_series->MinStepPrice = 8.0;
    EXPECT_EQ(m_series->MoneyCoef, 1.5);
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->MoneyCoef, 4.0); // 8 / 2
}

TEST_F(Series, EverySubPointIsBoundToWhatAWalkFromTheFirstColumnFinds)
{
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> centre(-2000.0, 5000.0);
    std::uniform_real_distribution<double> spot(0.001, 3000.0);
    std::uniform_real_distribution<double> step(0.1, 200.0);
    for (int round = 0; round < 200; ++round) {
        m_contract.RiskPointsN = 1 + round % 40;
        m_sample.CalcFutPrice = round % 3 == 0 ? std::round(centre(random)) : centre(random);
        m_sample.NormalizedSpot = round % 3 == 0 ? std::round(spot(random)) : spot(random);
        m_parameters.StrikeStep = round % 3 == 0 ? std::ceil(step(random)) : step(random);
        Compute();
        for (const Level level : Levels) {
            std::vector<double> mainPoints = PricesAt(level);
            const std::vector<double> prices = mainPoints;
            mainPoints.resize(static_cast<std::size_t>(m_series->GetPointsNum()));
            for (std::size_t column = mainPoints.size(); column < prices.size(); ++column)
                ASSERT_EQ(m_series->GetBindingArray(level).binding[column], PlainNearest(mainPoints, prices[column]))
                    << "round " << round << ", column " << column;
        }
    }
}

// Nearest column.

TEST(SeriesNearestPoint, TheWalkStopsWhereTheDistanceStopsFalling)
{
    struct Case
    {
        const char* why;
        std::vector<double> row;
        double value;
        std::size_t expected;
    };
    const Case cases[] = {
        {"an empty row", {}, 5.0, 0},
        {"a single point", {7.0}, 100.0, 0},
        {"below the lowest", {10.0, 20.0, 30.0}, -50.0, 0},
        {"above the highest", {10.0, 20.0, 30.0}, 50.0, 2},
        {"on a point", {10.0, 20.0, 30.0}, 20.0, 1},
        {"nearer to the lower", {10.0, 20.0, 30.0}, 24.0, 1},
        {"nearer to the higher", {10.0, 20.0, 30.0}, 26.0, 2},
        {"a tie", {10.0, 20.0, 30.0}, 25.0, 1},
        {"a tie at the first", {10.0, 20.0, 30.0}, 15.0, 0},
        {"across blocks of four", {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0}, 8.4, 7},
        {"equal points end the walk", {10.0, 10.0, 30.0}, 30.0, 0},
        {"no number to be near to", {10.0, 20.0, 30.0}, NotANumber, 0},
        {"no number in the row", {10.0, NotANumber, 30.0}, 30.0, 0},
    };
    for (const Case& c : cases) {
        RiskRow row = RowOf(c.row);
        EXPECT_EQ(CSpecVirtFutures::NearestPoint(RiskRowWrapper(row), c.value), c.expected) << c.why;
    }
}

// Edges of the sub-points.

TEST(SeriesSubPointEdges, AreTheMultiplesInsideTheGridBothEndsIncluded)
{
    struct Case
    {
        const char* why;
        double centre, spot, marketRisk, step;
        std::int32_t left, right;
    };
    const double tiny = std::numeric_limits<double>::denorm_min();
    const Case cases[] = {
        {"inside", 1000.0, 1024.0, 0.25, 64.0, 12, 20},          // 744 / 64 = 11.625, 1256 / 64 = 19.625
        {"both ends on a multiple", 0.0, 100.0, 1.0, 50, -2, 3}, // -100 and 100 belong to the grid
        {"none inside", 1000.0, 1024.0, 0.125, 400.0, 3, 3},     // 872 / 400 = 2.18, 1128 / 400 = 2.82
        {"below zero", -1000.0, 100.0, 1.0, 300.0, -3, -2},      // -1100 / 300 = -3.67, -900 / 300 = -3
        {"a grid without width, on a multiple", 64.0, 0.0, 0.25, 64.0, 1, 2},
        {"a grid without width, beside one", 65.0, 0.0, 0.25, 64.0, 2, 2},
        {"a step of exactly zero", 1000.0, 1024.0, 0.25, 0.0, 0, 0},
        {"a step of minus zero", 1000.0, 1024.0, 0.25, -0.0, 0, 0},
        {"a step below zero turns the range round", 1000.0, 1024.0, 0.25, -64.0, -11, -19},
        {"more than an int32 to the left", -1e12, 0.0, 0.0, 1.0, LowestInt, LowestInt},
        {"more than an int32 to the right", 1e12, 0.0, 0.0, 1.0, HighestInt, HighestInt},
        {"more than an int32 on both sides", 0.0, 1e12, 1.0, 1.0, LowestInt, HighestInt},
        {"the last multiplier", 2147483646.0, 0.0, 0.0, 1.0, 2147483646, 2147483647},
        {"one behind the last multiplier", 2147483647.0, 0.0, 0.0, 1.0, 2147483647, 2147483647},
        {"the first multiplier", -2147483648.0, 0.0, 0.0, 1.0, LowestInt, LowestInt + 1},
        {"a step so small that quotients overflow", 1000.0, 1024.0, 0.25, tiny, 0, 0},
        {"a step without end", 1000.0, 1024.0, 0.25, Infinity, 0, 1},
        {"no number as the step", 1000.0, 1024.0, 0.25, NotANumber, 0, 0},
        {"no number as the centre", NotANumber, 1024.0, 0.25, 64.0, 0, 0},
        {"no number as the spot", 1000.0, NotANumber, 0.25, 64.0, 0, 0},
        {"no number as the rate", 1000.0, 1024.0, NotANumber, 64.0, 0, 0},
        {"a spot without end", 1000.0, Infinity, 0.25, 64.0, 0, 0},
        {"a centre without end", -Infinity, 1024.0, 0.25, 64.0, 0, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CSpecVirtFutures::SubPointLeftEdge(c.centre, c.spot, c.marketRisk, c.step), c.left) << c.why;
        EXPECT_EQ(CSpecVirtFutures::SubPointRightEdge(c.centre, c.spot, c.marketRisk, c.step), c.right) << c.why;
    }
}

// The cap on sub-points.

std::string CapLine(const std::string& counts, int level, const std::string& step)
{
    return "WARNING [QuindalIM] VirtFutures code 'SER'. Count subpoint " + counts + ", AdjustedSubRiskStep[" +
           std::to_string(level) + "](" + step + ")";
}

TEST_F(Series, TooManySubPointsWidenTheStepByAWholeFactorAndWarnOnceALevel)
{
    // Half widths 256, 128, 320, 384, 512 around 1000 hold 513, 257, 641, 769, 1025 whole numbers. The factors are
    // ceil(512 / 200) = 3, ceil(1.28) = 2, ceil(3.2) = 4, ceil(3.84) = 4, ceil(5.12) = 6. What is left:
    // 248 to 418, 436 to 564, 170 to 330, 154 to 346, 82 to 252.
    LogCapture log;
    m_parameters.StrikeStep = 1.0;
    Compute();
    EXPECT_THAT(log.Take(), ElementsAre(CapLine("513 more than max count 200, forcibly set to 171", 0, "3.000000"),
                                        CapLine("257 more than max count 200, forcibly set to 129", 1, "2.000000"),
                                        CapLine("641 more than max count 200, forcibly set to 161", 2, "4.000000"),
                                        CapLine("769 more than max count 200, forcibly set to 193", 3, "4.000000"),
                                        CapLine("1025 more than max count 200, forcibly set to 171", 4, "6.000000")));
    EXPECT_EQ(m_series->AdjustedSubRiskStep[Level::Default], 3.0);
    EXPECT_EQ(m_series->AdjustedSubRiskStep[Level::Exceptional], 6.0);
    EXPECT_EQ(m_series->subPointRange[Level::Default].front(), 248);
    EXPECT_EQ(m_series->subPointRange[Level::Default].back(), 418);
    EXPECT_EQ(m_series->GetSubPointsNum(Level::High), 193);
    EXPECT_EQ(PricesAt(Level::Default)[5], 744.0); // 248 x 3
    EXPECT_EQ(m_series->StrikeStep, 1.0) << "the strikes themselves stand where they stood";
}

TEST_F(Series, AWidenedStepStaysAndIsNotToldOfAgainWhereItFits)
{
    m_parameters.StrikeStep = 1.0;
    Compute();
    LogCapture log;
    m_series->RecalcInvariants();
    EXPECT_THAT(log.Take(), IsEmpty());

    // A futures that has become narrow would fit the old step, yet the wide one stays: 1000 -+ 8 holds 999, 1002, ...
    m_futures->NormalizedSpot = 32.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->AdjustedSubRiskStep[Level::Default], 3.0);
    EXPECT_THAT(m_series->subPointRange[Level::Default], ElementsAre(331, 332, 333, 334, 335, 336));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Series, ExactlyTwoHundredSubPointsAreNotTooMany)
{
    // 1000.5 -+ 100 holds 901 to 1100.
    LogCapture log;
    m_sample.CalcFutPrice = 1000.5;
    m_sample.NormalizedSpot = 400.0;
    m_parameters.StrikeStep = 1.0;
    m_contract.MarketRisk[Enums::ClientRiskLevel::Medium] = m_contract.MarketRisk[Enums::ClientRiskLevel::High] =
        m_contract.MarketRisk[Enums::ClientRiskLevel::Exceptional] = 0.25;
    Compute();
    EXPECT_EQ(m_series->GetSubPointsNum(Level::Default), 200);
    EXPECT_EQ(m_series->AdjustedSubRiskStep[Level::Default], 1.0);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Series, TwoHundredAndOneSubPointsRemainWhenBothEndsAreMultiplesAndTheWarningRepeats)
{
    // Half width 800 x 0.25 = 200: 800 to 1200 holds 401, the factor ceil(400 / 200) = 2 leaves 400 to 600. Then
    // ceil(400 / (2 x 200)) = 1: the step stays, and so do 201. Low: 900 to 1100 holds 201 from the start.
    m_sample.NormalizedSpot = 800.0;
    m_parameters.StrikeStep = 1.0;
    m_contract.MarketRisk[Enums::ClientRiskLevel::Medium] = m_contract.MarketRisk[Enums::ClientRiskLevel::High] =
        m_contract.MarketRisk[Enums::ClientRiskLevel::Exceptional] = 0.0625;
    LogCapture log;
    Compute();
    EXPECT_THAT(log.Take(), ElementsAre(CapLine("401 more than max count 200, forcibly set to 201", 0, "2.000000"),
                                        CapLine("201 more than max count 200, forcibly set to 201", 1, "1.000000")));
    for (int round = 0; round < 2; ++round) {
        m_series->RecalcInvariants();
        EXPECT_THAT(log.Take(),
                    ElementsAre(CapLine("201 more than max count 200, forcibly set to 201", 0, "2.000000"),
                                CapLine("201 more than max count 200, forcibly set to 201", 1, "1.000000")));
        EXPECT_EQ(m_series->GetSubPointsNum(Level::Default), 201);
        EXPECT_EQ(m_series->AdjustedSubRiskStep[Level::Default], 2.0);
        EXPECT_EQ(m_series->GetTotalPointsNum(Level::Default), 206);
    }
}

TEST_F(Series, AGridOfMoreMultiplesThanAnInt32CountsIsWidenedAllTheSame)
{
    // Half width 4e12 x 0.25 = 1e12 around 0: both edges stand at the ends of int32, 2^32 - 1 multiples. The factor is
    // ceil(2e12 / 200) = 1e10, which leaves -100 to 100.
    m_sample.CalcFutPrice = 0.0;
    m_sample.RealCalcPrice = 0.0;
    m_sample.NormalizedSpot = 4e12;
    m_parameters.StrikeStep = 1.0;
    LogCapture log;
    Compute();
    EXPECT_EQ(log.Take().at(0),
              CapLine("4294967295 more than max count 200, forcibly set to 201", 0, "10000000000.000000"));
    EXPECT_EQ(m_series->subPointRange[Level::Default].front(), -100);
    EXPECT_EQ(m_series->subPointRange[Level::Default].back(), 100);
    EXPECT_EQ(PricesAt(Level::Default)[5], -1e12);
}

TEST_F(Series, TheCountOfSubPointsNeverExplodesWhateverTheNumbers)
{
    const double tiny = std::numeric_limits<double>::denorm_min();
    const double values[] = {0.0,  tiny,  1e-300, 1e-9,    1.0,     999.5,   2147483648.0, 1e12,
                             1e17, 1e305, 1e306,  8.5e307, 1.7e308, Largest, Infinity,     NotANumber};
    const double rates[] = {tiny, 0.25, 1.0, 1e10};
    for (const double centre : values)
        for (const double spot : values)
            for (const double step : values) {
                m_futures->NormalizedSpot = spot;
                m_series->ChangeParams(SVirtFuturesChanges{}, step);
                for (std::size_t i = 0; i < std::size(rates); ++i)
                    m_bc->MarketRisk[Levels[i]] = rates[i];
                for (const double sign : {1.0, -1.0}) {
                    m_futures->CalcFutPrice = sign * centre;
                    m_series->RecalcInvariants();
                    for (const Level level : Levels) {
                        ASSERT_LE(m_series->GetSubPointsNum(level), 201)
                            << "centre " << sign * centre << ", spot " << spot << ", step " << step;
                        ASSERT_EQ(m_series->volatilityMatrix[level].ColsCount(),
                                  static_cast<std::size_t>(m_series->GetTotalPointsNum(level)));
                    }
                }
            }
}

// Delivery prices.

/// Looks at deliveries; the futures' limit is 128 at the default level, half of the half width 256.
class Deliverable : public Series
{
protected:
    Deliverable()
    {
        m_parameters.SubRisk = false;
        m_parameters.settlementType = Enums::SettlementType::Deliverable;
        m_parameters.ExpClearingsCC = 1;
        Build();
    }
    static constexpr const char* Warning = "WARNING [CSpecVirtFutures] Code 'SER' DeliveryScenariosCountInOneLimit > "
                                           "MaxDeliveryScenariosCountInOneLimit -> forcibly set to 24";
};

TEST_F(Deliverable, DeliveryPricesAreStrikeStepsInsideTheLimitAndTheLimitItself)
{
    // 128 / 50 = 2.56: two steps either side, the ends and the centre.
    LogCapture log;
    m_parameters.StrikeStep = 50.0;
    Compute();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(872.0, 900.0, 950.0, 1000.0, 1050.0, 1100.0, 1128.0));
    EXPECT_EQ(m_series->GetDeliveryScenariosCount(Level::Default), 7u);
    // The limit of the level Low is 64: 64 / 50 = 1.28.
    EXPECT_THAT(DeliveryPrices(Level::Low), ElementsAre(936.0, 950.0, 1000.0, 1050.0, 1064.0));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Deliverable, APriceThatComesUpTwiceIsOneDelivery)
{
    // 128 / 64 = 2: the second step is the limit.
    m_parameters.StrikeStep = 64.0;
    Compute();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(872.0, 936.0, 1000.0, 1064.0, 1128.0));
}

TEST_F(Deliverable, AStepWiderThanTheLimitLeavesTheEndsAndTheCentre)
{
    LogCapture log;
    m_parameters.StrikeStep = 1000.0;
    Compute();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(872.0, 1000.0, 1128.0));
    EXPECT_THAT(log.Take(), IsEmpty());
}

struct DeliveryCase
{
    const char* why;
    double limit;
    double strikeStep;
    bool warns;
    int steps;   // either side
    double step; // as it is used
};

TEST_F(Deliverable, ALimitOfMoreThanTwentyFourStepsIsDividedInTwentyFour)
{
    const DeliveryCase cases[] = {
        {"one step", 128.0, 128.0, false, 1, 128.0},
        {"24 steps", 120.0, 5.0, false, 24, 5.0},
        {"24.9 steps are 24", 124.5, 5.0, false, 24, 5.0},
        {"25 steps are too many", 125.0, 5.0, true, 24, 125.0 / 24.0},
        {"far too many", 1e6, 0.5, true, 24, 1e6 / 24.0},
        {"more than an int32", 1e6, 1e-9, true, 24, 1e6 / 24.0},
        {"a step of zero", 128.0, 0.0, true, 24, 128.0 / 24.0},
        {"no limit and a step of zero", 0.0, 0.0, true, 24, 0.0},
        {"no limit", 0.0, 5.0, false, 0, 5.0},
        // 2.220446049250313e-16 is not yet a step; the limit is small enough for 2 of them.
        {"a step of epsilon", 4.440892098500626e-16, 2.220446049250313e-16, true, 24, 4.440892098500626e-16 / 24.0},
        {"a step just above epsilon", 4.440892098500626e-16, 2.3e-16, false, 1, 2.3e-16},
        {"a step below zero", 128.0, -50.0, true, 24, 128.0 / 24.0},
        {"a limit below zero", -128.0, 50.0, true, 24, -128.0 / 24.0},
        {"both below zero", -128.0, -50.0, false, 2, -50.0},
        {"less than one step below zero is none", -10.0, 50.0, false, 0, 50.0},
        {"a step without end", 128.0, Infinity, false, 0, Infinity},
        {"no number as the step", 128.0, NotANumber, true, 24, 128.0 / 24.0},
    };
    LogCapture log;
    for (const DeliveryCase& c : cases) {
        SCOPED_TRACE(c.why);
        m_series->StrikeStep = c.strikeStep;
        for (const Level level : Levels)
            m_futures->Limit[level] = c.limit;
        m_series->RecalcInvariants();

        std::vector<double> expected{1000.0 - c.limit, 1000.0, 1000.0 + c.limit};
        for (int i = 1; i <= c.steps; ++i) {
            expected.push_back(1000.0 + i * c.step);
            expected.push_back(1000.0 - i * c.step);
        }
        std::sort(expected.begin(), expected.end());
        expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
        EXPECT_THAT(DeliveryPrices(), testing::ElementsAreArray(expected));
        EXPECT_LE(DeliveryPrices().size(), static_cast<std::size_t>(2 * c.steps + 3));
        EXPECT_THAT(log.Take(),
                    testing::ElementsAreArray(std::vector<std::string>(c.warns ? Levels.size() : 0, Warning)));
    }
}

TEST_F(Deliverable, WhatIsNoNumberIsNoDeliveryPrice)
{
    LogCapture log;
    m_futures->Limit[Level::Default] = NotANumber;
    m_series->RecalcInvariants();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(1000.0));
    EXPECT_THAT(log.Take(), ElementsAre(Warning));

    m_futures->Limit[Level::Default] = Infinity;
    m_series->RecalcInvariants();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(-Infinity, 1000.0, Infinity));
    EXPECT_THAT(log.Take(), ElementsAre(Warning));

    m_futures->Limit[Level::Default] = 128.0;
    m_futures->CalcFutPrice = NotANumber;
    m_series->RecalcInvariants();
    EXPECT_THAT(DeliveryPrices(), IsEmpty());
}

TEST_F(Deliverable, TheLinesOfALevelStandTogether)
{
    m_parameters.SubRisk = true;
    m_parameters.StrikeStep = 2.5;
    m_contract.MarketRisk[Enums::ClientRiskLevel::Medium] = m_contract.MarketRisk[Enums::ClientRiskLevel::High] =
        m_contract.MarketRisk[Enums::ClientRiskLevel::Exceptional] = 0.0078125;
    LogCapture log;
    Compute();
    // Default: 744 / 2.5 = 297.6 to 502.4 holds 205, factor ceil(512 / 500) = 2; 128 / 2.5 = 51 steps in the limit.
    // Low: 872 to 1128 fits with 103; 64 / 2.5 = 25.6 steps. The others are narrow: 1000 -+ 8.
    EXPECT_THAT(log.Take(), ElementsAre(CapLine("205 more than max count 200, forcibly set to 103", 0, "5.000000"),
                                        Warning, Warning));
    // The deliveries count in strike steps, not in those of the sub-points.
    EXPECT_EQ(m_series->GetDeliveryScenariosCount(Level::Low), 49u);
}

TEST_F(Deliverable, DeliveriesAreLookedAtWhenAnyCountOfClearingsIsAboveZeroAndTheSeriesDelivers)
{
    struct Case
    {
        std::int32_t sa, bf, cc;
        Enums::SettlementType settlement;
        bool expected;
    };
    using enum Enums::SettlementType;
    const Case cases[] = {
        {0, 0, 0, Deliverable, false}, {1, 0, 0, Deliverable, true},  {0, 1, 0, Deliverable, true},
        {0, 0, 1, Deliverable, true},  {5, -1, 0, Deliverable, true}, {-1, -1, -1, Deliverable, false},
        {1, 1, 1, CashSettled, false}, {0, 0, 0, CashSettled, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.sa << ", " << c.bf << ", " << c.cc);
        m_parameters.ExpClearingsSA = c.sa;
        m_parameters.ExpClearingsBF = c.bf;
        m_parameters.ExpClearingsCC = c.cc;
        m_parameters.settlementType = c.settlement;
        Compute();
        EXPECT_EQ(m_series->WeHaveToPrecalcDeliveryRisks(), c.expected);
        for (const Level level : Levels)
            EXPECT_EQ(m_series->GetDeliveryScenariosCount(level) != 0, c.expected);
    }
}

TEST_F(Deliverable, ASeriesThatNoLongerLooksAtDeliveriesKeepsItsPricesUnused)
{
    Compute();
    const std::set<double> before = DeliveryPrices();
    ASSERT_FALSE(before.empty());
    m_series->ExpClearingsCC = 0;
    m_futures->CalcFutPrice = 2000.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_EQ(DeliveryPrices(), before);
    m_series->ExpClearingsSA = 1;
    m_series->RecalcInvariants();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(1872.0, 1936.0, 2000.0, 2064.0, 2128.0));
}

TEST_F(Deliverable, ARecalculationDropsTheDeliveryPricesOfBefore)
{
    Compute();
    m_futures->CalcFutPrice = 2000.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_THAT(DeliveryPrices(), ElementsAre(1872.0, 1936.0, 2000.0, 2064.0, 2128.0));
}

// Changes.

TEST_F(Series, ChangedParametersLeaveStepsLotAndStyles)
{
    m_parameters.StrikeStep = 1.0;
    m_parameters.FixedSpotDiscount = 77.0;
    m_parameters.LotCoeff = 1;
    m_parameters.marginStyle = Enums::MarginStyle::Equity;
    m_parameters.exerciseStyle = Enums::ExerciseStyle::European;
    Compute();
    ASSERT_EQ(m_series->AdjustedSubRiskStep[Level::Default], 3.0); // widened

    SVirtFuturesChanges changes{.Code = "OTHER",
                                .A = 1.0,
                                .B = 2.0,
                                .C = 3.0,
                                .D = 4.0,
                                .E = 5.0,
                                .S = 6.0,
                                .UseNullVolat = true,
                                .ExpClearingsSA = 8,
                                .ExpClearingsBF = 9,
                                .ExpClearingsCC = 10,
                                .VolatilityRisk = 0.5,
                                .VolatilityRiskMismatch = 0.25,
                                .TimeToExpiration = 4.0,
                                .A_Bach = 11.0,
                                .B_Bach = 12.0,
                                .C_Bach = 13.0,
                                .D_Bach = 14.0,
                                .E_Bach = 15.0,
                                .S_Bach = 16.0,
                                .M_Bach = 17.0,
                                .EnforceHalfNetting = true,
                                .MinStepPrice = 8.0,
                                .R = 20.0,
                                .InterestRateRiskUp = 21.0,
                                .InterestRateRiskDown = 22.0,
                                .ProjectedSpotDiscount = 24.0,
                                .R2 = 25.0,
                                .InterestRate2RiskUp = 26.0,
                                .InterestRate2RiskDown = 27.0,
                                .SpreadAspect = Enums::SpreadAspect::InSpread};
    m_series->ChangeParams(changes, 64.0);
    const CSpecVirtFutures& s = *m_series;
    EXPECT_THAT((std::vector{s.A, s.B, s.C, s.D, s.E, s.S}), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(s.UseNullVolat);
    EXPECT_THAT((std::vector{s.ExpClearingsSA, s.ExpClearingsBF, s.ExpClearingsCC}), ElementsAre(8, 9, 10));
    EXPECT_EQ(s.VolatilityRisk, 0.5);
    EXPECT_EQ(s.VolatilityRiskMismatch, 0.25);
    EXPECT_EQ(s.TimeToExpiration, 4.0);
    EXPECT_EQ(s.SqrtT, 2.0);
    EXPECT_THAT((std::vector{s.A_Bach, s.B_Bach, s.C_Bach, s.D_Bach, s.E_Bach, s.S_Bach, s.M_Bach}),
                ElementsAre(11, 12, 13, 14, 15, 16, 17));
    EXPECT_TRUE(s.EnforceHalfNetting);
    EXPECT_TRUE(s.IsInSpread);
    EXPECT_EQ(s.MinStepPrice, 8.0);
    EXPECT_THAT((std::vector{s.R, s.InterestRateRiskUp, s.InterestRateRiskDown}), ElementsAre(20, 21, 22));
    EXPECT_EQ(s.ProjectedSpotDiscount, 24.0);
    EXPECT_THAT((std::vector{s.R2, s.InterestRate2RiskUp, s.InterestRate2RiskDown}), ElementsAre(25, 26, 27));
    for (const Level level : Levels)
        EXPECT_EQ(s.AdjustedSubRiskStep[level], 64.0);

    EXPECT_EQ(s.Code, "SER");
    EXPECT_EQ(s.StrikeStep, 1.0);
    EXPECT_EQ(s.FixedSpotDiscount, 77.0);
    EXPECT_EQ(s.MinStep, 2.0);
    EXPECT_EQ(s.LotCoeff, 1);
    EXPECT_TRUE(s.SubRisk);
    EXPECT_EQ(s.marginStyle, Enums::MarginStyle::Equity);
    EXPECT_EQ(s.settlementType, Enums::SettlementType::CashSettled);
    EXPECT_EQ(s.exerciseStyle, Enums::ExerciseStyle::European);

    // What is computed waits for the recalculation.
    EXPECT_EQ(s.MoneyCoef, 1.5);
    EXPECT_EQ(s.GetSubPointsNum(Level::Default), 171);
    m_series->RecalcInvariants();
    EXPECT_EQ(s.MoneyCoef, 4.0); // 8 / 2
    EXPECT_EQ(s.GetSubPointsNum(Level::Default), 8);

    changes.SpreadAspect = static_cast<Enums::SpreadAspect>(1);
    m_series->ChangeParams(changes, 64.0);
    EXPECT_FALSE(s.IsInSpread);
}

TEST_F(Series, TheSmallChangeTouchesNettingAndSpreadOnly)
{
    m_parameters.A = 5.0;
    Compute();
    m_series->ChangeParams(SOptionSeriesChanges{"OTHER", true, Enums::SpreadAspect::InSpread});
    EXPECT_TRUE(m_series->EnforceHalfNetting);
    EXPECT_TRUE(m_series->IsInSpread);
    EXPECT_EQ(m_series->A, 5.0);
    EXPECT_EQ(m_series->Code, "SER");
    EXPECT_EQ(m_series->GetSubPointsNum(Level::Default), 8);
    m_series->ChangeParams(SOptionSeriesChanges{"OTHER", false, Enums::SpreadAspect::NotInSpread});
    EXPECT_FALSE(m_series->EnforceHalfNetting);
    EXPECT_FALSE(m_series->IsInSpread);
}

// Copies.

TEST_F(Deliverable, ACopyUnderAnotherFuturesIsDeepAndBindsItsOwnColumns)
{
    m_parameters.SubRisk = true;
    m_parameters.A = 5.0;
    Compute();
    const auto otherFutures = m_sample.Make(*m_bc);
    CSpecVirtFutures copy(*m_series, otherFutures.get());
    EXPECT_EQ(copy.Futures, otherFutures.get());
    EXPECT_EQ(m_series->Futures, m_futures.get());
    EXPECT_EQ(copy.Code, "SER");
    EXPECT_EQ(copy.CodeRF, "FUT");
    EXPECT_EQ(copy.A, 5.0);
    for (const Level level : Levels) {
        EXPECT_EQ(Prices(copy, level), PricesAt(level));
        EXPECT_EQ(copy.subPointRange[level], m_series->subPointRange[level]);
        EXPECT_EQ(copy.GetBindingArray(level).binding, m_series->GetBindingArray(level).binding);
        EXPECT_EQ(copy.PointsForDeliveryRisksCalculation[level], DeliveryPrices(level));
        EXPECT_EQ(copy.volatilityMatrix[level].Binding(), &copy.GetBindingArray(level));
    }

    otherFutures->CalcFutPrice = 2000.0;
    otherFutures->RecalcInvariants();
    copy.RecalcInvariants();
    EXPECT_EQ(Prices(copy, Level::Default)[2], 2000.0);
    EXPECT_EQ(PricesAt(Level::Default)[2], 1000.0);
    m_series.reset(); // a copy has nothing left of the other
    EXPECT_EQ(copy.volatilityMatrix[Level::Default].ConvolutionMatrix().ColsCount(), 5u);
    static_assert(!std::is_copy_constructible_v<CSpecVirtFutures>);
}

TEST_F(Series, ACopyOfASeriesNotYetComputedHasNoBindings)
{
    const CSpecVirtFutures copy(*m_series, m_futures.get());
    for (const Level level : Levels)
        EXPECT_EQ(copy.volatilityMatrix[level].Binding(), nullptr);
}

// What the options share.

TEST_F(Series, TheSharedColumnsAreMadeOnceALevelAndAnewAfterARecalculation)
{
    Compute();
    const OptionColumns& columns = m_series->GetOptionColumns(Level::Default);
    EXPECT_EQ(&m_series->GetOptionColumns(Level::Default), &columns);
    EXPECT_EQ(columns.ColsCount(), 13u);
    EXPECT_EQ(m_series->GetOptionColumns(Level::Low).ColsCount(), 9u);

    m_futures->CalcFutPrice = 1024.0;
    m_futures->RecalcInvariants();
    m_series->RecalcInvariants();
    EXPECT_EQ(m_series->GetOptionColumns(Level::Default).ColsCount(), 14u);
    EXPECT_EQ(m_series->GetOptionColumns(Level::Low).ColsCount(), 10u); // 896 to 1152 holds five
}

TEST_F(Series, ACopyMakesItsOwnSharedColumns)
{
    Compute();
    const OptionColumns& columns = m_series->GetOptionColumns(Level::Default);
    const CSpecVirtFutures copy(*m_series, m_futures.get());
    EXPECT_NE(&copy.GetOptionColumns(Level::Default), &columns);
    EXPECT_EQ(&m_series->GetOptionColumns(Level::Default), &columns);
}

} // namespace
} // namespace test::SpecVirtFuturesTest
