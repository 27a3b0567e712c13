// A futures: its grid, its special points, and what a position in it is worth.
#include "instruments/SpecFutures.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"

namespace test::SpecFuturesTest {
namespace {

using namespace kv7im;
using testing::ElementsAre;
using testing::IsEmpty;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;

/// A contract with a shift of 64 / 1024 = 0.0625, rates of every kind and a futures under it, computed.
class Computed : public testing::Test
{
protected:
    explicit Computed(BaseContractSample bc = {})
        : m_bc(bc.Make()), m_sample([](auto& f) {
              f.CalcFutPrice = 1064.0;
              f.MinStepPrice = 10.0;
              f.RealCalcPrice = 1000.0;
              f.MinStep = 5.0;
              f.InterestRateRiskUp = 0.25;
              f.InterestRateRiskDown = 0.125;
              f.TimeToExpiration = 0.5;
              f.NormalizedSpot = 1024.0;
              f.MRAddOnUp = 0.03125;
              f.MRAddOnDown = 0.0625;
          })
    {
        Build();
    }
    void Build()
    {
        m_futures = m_sample.Make(*m_bc);
        m_bc->Init();
        static_cast<void>(m_bc->CorrectShiftParamsByFutures(m_futures.get()));
        m_futures->RecalcInvariants();
    }
    [[nodiscard]] const Profile& ProfileAt(Level level) const { return std::as_const(*m_futures).GetProfile(level); }

    std::shared_ptr<CSpecBaseContract> m_bc;
    FuturesSample m_sample;
    std::shared_ptr<CSpecFutures> m_futures;
};

struct ComputedPercentage : Computed
{
    ComputedPercentage() : Computed(BaseContractSample([](auto& c) { c.AssetClass = Enums::AssetClass::Percentage; }))
    {}
};

double CellAt(const RiskMatrix& matrix, std::size_t row, std::size_t column)
{
    const RiskRowWrapper view = matrix[row];
    return view[column];
}

TEST_F(Computed, TheGridIsEvenAndCentredOnTheCalculationPriceWithoutTheShift)
{
    // Half width 1024 x 0.25 = 256, in two steps of 128, around 1064.
    const double expected[] = {808.0, 936.0, 1064.0, 1192.0, 1320.0};
    const RiskMatrix& volatility = ProfileAt(Level::Default).Volatility();
    ASSERT_EQ(volatility.RowsCount(), 3u);
    ASSERT_EQ(volatility.ColsCount(), 5u);
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 5; ++column)
            EXPECT_EQ(CellAt(volatility, row, column), expected[column]) << row << ", " << column;
    // The level Low is half as wide.
    EXPECT_EQ(CellAt(ProfileAt(Level::Low).Volatility(), 0, 0), 936.0);
    EXPECT_EQ(m_futures->GetPointsNum(), 5);
}

TEST_F(Computed, TheCentreIsExactlyTheCalculationPriceAtEveryLevelAndForUnevenNumbers)
{
    m_sample.CalcFutPrice = 0.1;
    m_sample.NormalizedSpot = 77.7;
    Build();
    for (const Level level : Levels) {
        EXPECT_EQ(m_futures->CalculatePointX(2, level), 0.1);
        EXPECT_EQ(CellAt(ProfileAt(level).InterestRate(), 0, 2), 0.0);
        EXPECT_EQ(CellAt(ProfileAt(level).InterestRate(), 1, 2), 0.0);
    }
}

TEST_F(Computed, PaddingOfTheGridStaysOutOfScope)
{
    const RiskMatrix& volatility = ProfileAt(Level::Default).Volatility();
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t lane = 1; lane < 4; ++lane)
            EXPECT_TRUE(std::isnan(std::as_const(volatility.pData()[3 + row])[lane])); // second block, column 4 is real
}

TEST_F(Computed, TheRateRowsCarryAddOnAndGrowthOnTheirSideOfTheCentreOnly)
{
    // Distance u is 1/2 and 1. Up: 1024 x 0.03125 x u + X x (exp(u x 0.25 x 0.5) - 1);
    // down: 1024 x (-0.0625) x u + X x (exp(u x 0.125 x (-0.5)) - 1).
    const RiskMatrix& rates = ProfileAt(Level::Default).InterestRate();
    EXPECT_EQ(CellAt(rates, 0, 0), 0.0);
    EXPECT_EQ(CellAt(rates, 0, 1), 0.0);
    EXPECT_DOUBLE_EQ(CellAt(rates, 0, 3), 16.0 + 1192.0 * std::expm1(0.0625));
    EXPECT_DOUBLE_EQ(CellAt(rates, 0, 4), 32.0 + 1320.0 * std::expm1(0.125));
    EXPECT_DOUBLE_EQ(CellAt(rates, 1, 0), -64.0 + 808.0 * std::expm1(-0.0625));
    EXPECT_DOUBLE_EQ(CellAt(rates, 1, 1), -32.0 + 936.0 * std::expm1(-0.03125));
    EXPECT_EQ(CellAt(rates, 1, 3), 0.0);
    EXPECT_EQ(CellAt(rates, 1, 4), 0.0);
    // 16 + 1192 x 0.064494458917859 = 92.87739...
    EXPECT_NEAR(CellAt(rates, 0, 3), 92.8773950, 1e-6);
}

TEST_F(Computed, ANegativePriceGrowsWithTheOppositeSign)
{
    m_sample.CalcFutPrice = -100.0;
    m_sample.RealCalcPrice = -100.0;
    m_sample.MRAddOnUp = 0.0;
    m_sample.MRAddOnDown = 0.0;
    Build();
    // Column 0 is -100 - 256 = -356: exponent 1 x 0.125 x (-0.5) = -0.0625, turned to +0.0625.
    EXPECT_DOUBLE_EQ(CellAt(ProfileAt(Level::Default).InterestRate(), 1, 0), -356.0 * std::expm1(0.0625));
    // Column 3 is -100 + 128 = 28, positive again: exponent 0.5 x 0.25 x 0.5.
    EXPECT_DOUBLE_EQ(CellAt(ProfileAt(Level::Default).InterestRate(), 0, 3), 28.0 * std::expm1(0.0625));
}

TEST_F(ComputedPercentage, RatesActOnAPercentageContractDirectly)
{
    const RiskMatrix& rates = ProfileAt(Level::Default).InterestRate();
    EXPECT_EQ(CellAt(rates, 0, 3), 0.125); // 1/2 x 0.25; neither time nor add-on
    EXPECT_EQ(CellAt(rates, 0, 4), 0.25);
    EXPECT_EQ(CellAt(rates, 1, 0), -0.125); // 1 x -0.125
    EXPECT_EQ(CellAt(rates, 1, 1), -0.0625);
    EXPECT_EQ(CellAt(rates, 1, 2), 0.0);
    EXPECT_EQ(CellAt(rates, 1, 3), 0.0);
}

TEST_F(Computed, TheSpecialPointsStandAroundTheSettlementPriceAndFollowTheShift)
{
    // Up rates 0.3125, 0.4375, 0.5625; down rates 0.1875, 0.3125, 0.4375; charge 0.125; spot 1024; settlement 1000.
    const SpecialRiskPoints& points = ProfileAt(Level::Default).GetSpecialRiskPoints();
    EXPECT_EQ(points.GetDownRisk(), -24.0); // -0.125 x 1024 x 0.1875
    EXPECT_EQ(points.GetUpRisk(), 40.0);    // 0.125 x 1024 x 0.3125
    EXPECT_EQ(points.GetPnL2D(), 680.0);    // 1000 - 0.3125 x 1024
    EXPECT_EQ(points.GetPnL3D(), 552.0);    // 1000 - 0.4375 x 1024
    EXPECT_EQ(points.GetPnL2U(), 1448.0);   // 1000 + 0.4375 x 1024
    EXPECT_EQ(points.GetPnL3U(), 1576.0);   // 1000 + 0.5625 x 1024
    // (3 - 0.5625 + 0.03515625) x 0.1875 x 1024 = 2.47265625 x 192 = 474.75
    EXPECT_EQ(points.GetZL(), 525.25);
    // (3 + 0.9375 + 0.09765625) x 0.3125 x 1024 = 4.03515625 x 320 = 1291.25
    EXPECT_EQ(points.GetZR(), 2291.25);
}

/// The points of a level by their formulas as they stand.
std::array<double, 8> PlainPoints(const CSpecBaseContract& bc, const CSpecFutures& f, Level level)
{
    const double down = bc.MarketRiskDown[level];
    const double up = bc.MarketRiskUp[level];
    const bool fixed = bc.IsPercentage();
    const double farLeft = f.RealCalcPrice - (3.0 - 3.0 * down + down * down) * down * f.NormalizedSpot;
    const double farRight = f.RealCalcPrice + (3.0 + 3.0 * up + up * up) * up * f.NormalizedSpot;
    return {-bc.ShortOptionMinimumCharge * f.NormalizedSpot * down,
            fixed ? -Constants::PercentageZPointFixedValue : farLeft,
            f.RealCalcPrice - bc.MarketRisk2Down[level] * f.NormalizedSpot,
            f.RealCalcPrice - bc.MarketRisk1Down[level] * f.NormalizedSpot,
            f.RealCalcPrice + bc.MarketRisk1Up[level] * f.NormalizedSpot,
            f.RealCalcPrice + bc.MarketRisk2Up[level] * f.NormalizedSpot,
            fixed ? Constants::PercentageZPointFixedValue : farRight,
            bc.ShortOptionMinimumCharge * f.NormalizedSpot * up};
}

TEST_F(Computed, TheSpecialPointsAreTheirFormulasToTheBit)
{
    std::mt19937 random(17);
    const auto between = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    for (int round = 0; round < 2000; ++round) {
        const BaseContractSample contract([&](auto& c) {
            for (const Level level : Levels)
                for (auto* const rates : {&c.MarketRisk, &c.MarketRisk1, &c.MarketRisk2})
                    (*rates)[level] = between(0.001, 1.5);
            c.ShortOptionMinimumCharge = round % 7 == 0 ? 0.0 : between(0.0, 0.3);
            if (round % 5 == 0) c.AssetClass = Enums::AssetClass::Percentage;
        });
        m_bc = contract.Make();
        m_sample.CalcFutPrice = between(-200.0, 2000.0);
        m_sample.RealCalcPrice = between(-200.0, 2000.0);
        m_sample.NormalizedSpot = round % 11 == 0 ? -between(1.0, 1000.0) : between(1.0, 1e6);
        m_sample.TimeToExpiration = 0.5;
        Build();
        for (const Level level : Levels) {
            const std::array<double, 8> plain = PlainPoints(*m_bc, *m_futures, level);
            EXPECT_EQ(std::memcmp(plain.data(), m_futures->GetPoints(level).pData(), sizeof plain), 0) << round;
        }
    }
}

TEST_F(Computed, TheCoverFactorsAreTheShareOfTheFirstStepInTheFarOne)
{
    EXPECT_DOUBLE_EQ(m_futures->GetCoverZL(Level::Default), 192.0 / 474.75 * 0.75);
    EXPECT_DOUBLE_EQ(m_futures->GetCoverZR(Level::Default), 320.0 / 1291.25 * 0.75);
}

TEST_F(Computed, ACoverFactorNeverExceedsTheEdgeCoefficient)
{
    // Down rate 2.5: (3 - 7.5 + 6.25) x 2.5 = 4.375, so the share would be 2.5 / 4.375. With 1.5 it is
    // (3 - 4.5 + 2.25) x 1.5 = 1.125 and the share 1.5 / 1.125 is above 1.
    BaseContractSample wide;
    wide.MarketRisk[Enums::ClientRiskLevel::Default] = 1.5;
    m_bc = wide.Make();
    m_sample.CalcFutPrice = m_sample.RealCalcPrice;
    Build();
    EXPECT_EQ(m_futures->GetCoverZL(Level::Default), 0.75);
}

TEST_F(Computed, AFarPointNearerThanAStepIsWarnedOfAndCoversTheBareRate)
{
    m_sample.MinStep = 10000.0; // more than either far point is away
    LogCapture log;
    Build();
    EXPECT_EQ(m_futures->GetCoverZL(Level::Default), 0.1875 * 0.75); // without the spot, on purpose
    EXPECT_EQ(m_futures->GetCoverZR(Level::Default), 0.3125 * 0.75);
    const std::vector<std::string> lines = log.Take();
    ASSERT_EQ(lines.size(), 10u); // both sides at five levels
    EXPECT_EQ(lines[0],
              "WARNING [QuindalIM] Futures code 'FUT', isin 1. Difference between RealCalcPrice and ZL is less "
              "MinStep. ZL set edgeCoeff*MR");
    EXPECT_EQ(lines[1],
              "WARNING [QuindalIM] Futures code 'FUT', isin 1. Difference between ZR and RealCalcPrice is less "
              "MinStep. ZR set edgeCoeff*MR");

    static_cast<void>(m_futures->CalculateCoverZL(Level::Default));
    EXPECT_EQ(log.Take().size(), 1u);
}

// The far points are 474.75 and 1291.25 away from the settlement price of 1000.
TEST_F(Computed, AFarPointAStepAwayIsCoveredByItsShare)
{
    LogCapture log;
    m_sample.MinStep = 474.75;
    Build();
    static_cast<void>(log.Take()); // of the narrower levels
    EXPECT_DOUBLE_EQ(m_futures->CalculateCoverZL(Level::Default), 192.0 / 474.75 * 0.75);
    EXPECT_THAT(log.Take(), IsEmpty());
    m_sample.MinStep = 1291.25;
    Build();
    static_cast<void>(log.Take());
    EXPECT_DOUBLE_EQ(m_futures->CalculateCoverZR(Level::Default), 320.0 / 1291.25 * 0.75);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(ComputedPercentage, TheFarPointsAreFixedAndVanishInEveryPosition)
{
    for (const Level level : Levels) {
        EXPECT_EQ(m_futures->GetZL(level), -100000.0);
        EXPECT_EQ(m_futures->GetZR(level), 100000.0);
        EXPECT_EQ(m_futures->GetCoverZL(level), 0.0);
        EXPECT_EQ(m_futures->GetCoverZR(level), 0.0);
        const Risk risk = m_futures->TransformToPosition(-3, 1000.0, level);
        EXPECT_EQ(risk.GetSpecialRiskPoints().GetZL(), 0.0);
        EXPECT_EQ(risk.GetSpecialRiskPoints().GetZR(), 0.0);
    }
}

TEST_F(Computed, TheLimitIsHalfTheWidthAndOnlyTheConstructorDropsTheSignOfTheSpot)
{
    m_sample.NormalizedSpot = -1024.0;
    const auto fresh = m_sample.Make(*m_bc);
    EXPECT_EQ(fresh->Limit[Level::Default], 128.0); // 0.5 x 0.25 x 1024
    EXPECT_EQ(fresh->Limit[Level::Exceptional], 256.0);
    fresh->RecalcInvariants();
    EXPECT_EQ(fresh->Limit[Level::Default], -128.0);
    EXPECT_EQ(m_futures->GetDoubleLimit(Level::Default), 256.0);
    EXPECT_EQ(m_futures->GetSpotToMarketRisk1(Level::Default), 384.0);
    EXPECT_EQ(m_futures->GetSpotToMarketRisk2(Level::Default), 512.0);
}

TEST_F(Computed, AFreshFuturesHasAZeroProfileAndNoCover)
{
    const auto fresh = m_sample.Make(*m_bc);
    EXPECT_EQ(CellAt(std::as_const(*fresh).GetProfile(Level::Default).Volatility(), 0, 2), 0.0);
    EXPECT_EQ(fresh->GetCoverZL(Level::High), 0.0);
    EXPECT_EQ(fresh->GetCoverZR(Level::High), 0.0);
    EXPECT_EQ(fresh->MoneyCoef, 2.0); // 10 / 5
    EXPECT_EQ(fresh->edgeCoeff, 0.75);
}

TEST_F(Computed, ChangedParametersLeaveTheAttributeAndTheTasFlag)
{
    m_sample.Attribute = Enums::InstrumentStatus::TAS;
    const auto futures = m_sample.Make(*m_bc);
    EXPECT_TRUE(futures->IsTAS);
    futures->ChangeParams({.CalcFutPrice = t_bprice_int::FromPlain(12345678),
                           .RealCalcPrice = t_bprice_int::FromPlain(-50000),
                           .MinStepPrice = 3.0,
                           .InterestRateRiskUp = 0.5,
                           .InterestRateRiskDown = 0.75,
                           .TimeToExpiration = 2.0,
                           .NormalizedSpot = 4096.0,
                           .MRAddOnUp = 0.25,
                           .MRAddOnDown = 0.375,
                           .Isin = 1,
                           .EnforceIMSHalfNetting = true,
                           .SpreadAspect = Enums::SpreadAspect::InSpread});
    EXPECT_EQ(futures->CalcFutPrice, 12345678.0 / 100000.0);
    EXPECT_EQ(futures->RealCalcPrice, -0.5);
    EXPECT_EQ(futures->MinStepPrice, 3.0);
    EXPECT_EQ(futures->InterestRateRiskUp, 0.5);
    EXPECT_EQ(futures->InterestRateRiskDown, 0.75);
    EXPECT_EQ(futures->TimeToExpiration, 2.0);
    EXPECT_EQ(futures->NormalizedSpot, 4096.0);
    EXPECT_EQ(futures->MRAddOnUp, 0.25);
    EXPECT_EQ(futures->MRAddOnDown, 0.375);
    EXPECT_TRUE(futures->EnforceIMSHalfNetting);
    EXPECT_TRUE(futures->IsTAS);
    EXPECT_EQ(futures->Attribute, Enums::InstrumentStatus::TAS);
    EXPECT_EQ(futures->MoneyCoef, 2.0) << "renewed by RecalcInvariants only";
    futures->RecalcInvariants();
    EXPECT_EQ(futures->MoneyCoef, 0.6); // 3 / 5
    futures->Attribute = Enums::InstrumentStatus::None;
    EXPECT_TRUE(futures->IsTAS) << "as built, whatever comes later";
}

TEST_F(Computed, OnlyTheValueTwoPutsAChangedFuturesInSpread)
{
    const auto changed = [this](std::int8_t aspect) {
        m_futures->ChangeParams({.CalcFutPrice = {},
                                 .RealCalcPrice = {},
                                 .MinStepPrice = 1.0,
                                 .NormalizedSpot = 1.0,
                                 .Isin = 1,
                                 .SpreadAspect = static_cast<Enums::SpreadAspect>(aspect)});
        return m_futures->IsInSpread;
    };
    EXPECT_TRUE(changed(2));
    EXPECT_FALSE(changed(0));
    EXPECT_FALSE(changed(1)); // which puts a new futures in spread
    EXPECT_FALSE(changed(3));
}

TEST_F(Computed, ACopyUnderAnotherParentIsDeep)
{
    const auto otherParent = BaseContractSample{}.Make();
    CSpecFutures copy(*m_futures, otherParent.get());
    EXPECT_EQ(copy.BaseContract, otherParent.get());
    EXPECT_EQ(copy.Code, "FUT");
    EXPECT_EQ(copy.GetProfile(Level::Default), ProfileAt(Level::Default));
    EXPECT_EQ(copy.GetCoverZL(Level::Default), m_futures->GetCoverZL(Level::Default));
    copy.CalcFutPrice = 1.0;
    copy.RecalcInvariants();
    EXPECT_EQ(CellAt(ProfileAt(Level::Default).Volatility(), 0, 2), 1064.0);
    EXPECT_EQ(m_futures->BaseContract, m_bc.get());
    static_assert(!std::is_copy_constructible_v<CSpecFutures>);
}

// Positions.

TEST_F(Computed, AShortPositionOfThreeWorkedByHand)
{
    // Price 1100, money 2 a unit, three contracts: every figure is (price - 1100) x -1 x 6.
    const Risk risk = m_futures->TransformToPosition(-3, 1100.0, Level::Default);
    const double grid[] = {1752.0, 984.0, 216.0, -552.0, -1320.0}; // 808, 936, 1064, 1192, 1320
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 5; ++column)
            EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), row, column), grid[column]);
    const SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    EXPECT_EQ(points.GetDownRisk(), 144.0); // -24 x -6: no price taken from a charge
    EXPECT_EQ(points.GetUpRisk(), -240.0);
    EXPECT_EQ(points.GetPnL2D(), 2520.0);  // (680 - 1100) x -6
    EXPECT_EQ(points.GetPnL3U(), -2856.0); // (1576 - 1100) x -6
    EXPECT_DOUBLE_EQ(points.GetZL(), (525.25 - 1100.0) * -6.0 * (192.0 / 474.75 * 0.75));
    EXPECT_DOUBLE_EQ(points.GetZR(), (2291.25 - 1100.0) * -6.0 * (320.0 / 1291.25 * 0.75));
    // The rate rows are differences: scaled, with no price taken.
    EXPECT_EQ(CellAt(risk.GetRisk().InterestRate(), 0, 4),
              CellAt(ProfileAt(Level::Default).InterestRate(), 0, 4) * -1.0 * 6.0);
}

TEST_F(Computed, APositionIsTheProfileTransformedStepByStep)
{
    const std::int64_t quantities[] = {1, -1, 5, -7, 0, 1000000, std::numeric_limits<std::int64_t>::min()};
    for (const Level level : Levels) {
        for (const std::int64_t quantity : quantities) {
            const double price = 1001.7;
            const Profile& profile = ProfileAt(level);
            const double size = std::abs(static_cast<double>(quantity)) * m_futures->MoneyCoef;
            const double side = quantity < 0 ? -1.0 : 1.0;
            const Risk risk = m_futures->TransformToPosition(quantity, price, level);
            for (std::size_t row = 0; row < 3; ++row)
                for (std::size_t c = 0; c < 5; ++c)
                    EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), row, c),
                              (CellAt(profile.Volatility(), row, c) - price) * side * size);
            for (std::size_t row = 0; row < 2; ++row)
                for (std::size_t c = 0; c < 5; ++c) {
                    EXPECT_EQ(CellAt(risk.GetRisk().InterestRate(), row, c),
                              CellAt(profile.InterestRate(), row, c) * side * size);
                    EXPECT_EQ(CellAt(risk.GetRisk().VolatilityMismatch(), row, c), 0.0);
                }
            for (std::size_t i = 0; i < 8; ++i) {
                double expected = profile.GetSpecialRiskPoints().pData()[i];
                if (i != 0 && i != 7) expected -= price;
                expected = expected * side * size;
                if (i == 1) expected *= m_futures->GetCoverZL(level);
                if (i == 6) expected *= m_futures->GetCoverZR(level);
                EXPECT_EQ(risk.GetSpecialRiskPoints().pData()[i], expected) << i;
            }
        }
    }
}

TEST_F(Computed, APositionWithTwoPricesShiftsAllEightPointsAtTheEnd)
{
    const Risk plain = m_futures->TransformToPosition(-3, 1100.0, Level::Default);
    const Risk other = m_futures->TransformToPosition(-3, 900.0, Level::Default);
    const Risk risk = m_futures->TransformToPosition_PositionsOnly(-3, 1100.0, 900.0, Level::Default, 17.0);
    EXPECT_TRUE(risk.GetRisk().Volatility() == plain.GetRisk().Volatility());
    EXPECT_TRUE(risk.GetRisk().InterestRate() == plain.GetRisk().InterestRate());
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(risk.GetSpecialRiskPoints().pData()[i], other.GetSpecialRiskPoints().pData()[i] + 17.0) << i;
}

TEST_F(Computed, ADescribedPositionSaysWhatTheTransformDoes)
{
    const PositionTransform transform = m_futures->DescribePosition(-3, 1100.0, Level::Low);
    EXPECT_EQ(transform.profile, &ProfileAt(Level::Low));
    EXPECT_EQ(transform.price, 1100.0);
    EXPECT_TRUE(transform.negate);
    EXPECT_EQ(transform.scale, 6.0);
    EXPECT_EQ(transform.coverZL, m_futures->GetCoverZL(Level::Low));
    EXPECT_EQ(transform.coverZR, m_futures->GetCoverZR(Level::Low));
    EXPECT_FALSE(m_futures->DescribePosition(0, 1.0, Level::Low).negate);
}

} // namespace
} // namespace test::SpecFuturesTest
