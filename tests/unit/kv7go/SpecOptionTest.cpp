// An option: what it takes from its series, when it is valued, and what a position and an order in it are worth.
#include "instruments/SpecOption.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PricedSeries.h"

namespace test::SpecOptionTest {
namespace {

using namespace kv7im;
using testing::ElementsAre;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;
using Direction = KeyPriceType::Direction;

double CellAt(const RiskMatrix& matrix, std::size_t row, std::size_t column)
{
    const RiskRowWrapper view = matrix[row];
    return view[column];
}

/// Every cell intrinsic in scenario 0, simple figures elsewhere: price points 744, 872, 1000, 1128, 1256.
PricedSeries Simple()
{
    PricedSeries priced;
    priced.contract.VolatNum = 3;
    priced.contract.OptionModel = Enums::OptionModel::Bachelier;
    priced.futures.RealCalcPrice = 1000.0;
    priced.series = OptionSeriesSample();
    priced.series.UseNullVolat = true;
    priced.series.MinStep = 5.0;
    priced.series.MinStepPrice = 10.0; // two of money per price unit
    priced.series.SubRisk = false;
    return priced;
}

/// The same series with deliveries from one clearing on, at 872, 936, 1000, 1064 and 1128: the limit is 128, the step
/// of the strikes 64.
PricedSeries Deliverable()
{
    PricedSeries priced = Simple();
    priced.series.settlementType = Enums::SettlementType::Deliverable;
    priced.series.ExpClearingsCC = 1;
    priced.series.StrikeStep = 64.0;
    return priced;
}

// --- The contract ---------------------------------------------------------------------------------------------------

TEST(SpecOption, TakesItsIsinOfTheFuturesAndItsDimensionsFromTheSeries)
{
    PricedSeries priced = Deliverable();
    priced.series.SubRisk = true;
    priced.futures.Isin = 17;
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, true);
    EXPECT_TRUE(option.isPut());
    EXPECT_EQ(option.GetCode(), "OPT");
    EXPECT_EQ(option.GetCodeVF(), "SER");
    EXPECT_EQ(option.GetIsin(), 101);
    EXPECT_EQ(option.GetFuturesIsin(), 17);
    EXPECT_EQ(option.GetPointsCount(), 5u);
    EXPECT_EQ(option.GetCountOfVolatilityScenarios(), 3u);
    EXPECT_EQ(CSpecOption::GetDownScenarioVolatility(), 0u);
    for (const Level level : Levels) {
        const Parameters parameters = option.GetParameters(level);
        EXPECT_EQ(parameters.pointsCount, 5u);
        EXPECT_EQ(parameters.subPointsCount, static_cast<std::size_t>(priced.Series().GetSubPointsNum(level)));
        EXPECT_EQ(parameters.scenariosVolatilityCount, 3u);
        EXPECT_EQ(parameters.expirationScenariosCount, priced.Series().GetDeliveryScenariosCount(level));
        EXPECT_EQ(option.GetSubPointsCount(level), parameters.subPointsCount);
        EXPECT_EQ(option.GetUpScenarioVolatility(level), 2u);
        EXPECT_EQ(option.GetProfile(level).GetParameters().subPointsCount, parameters.subPointsCount);
        EXPECT_EQ(option.GetProfile(level).GetParameters().expirationScenariosCount,
                  parameters.expirationScenariosCount);
    }
    // Levels differ in the width of their grid, and so in their sub-points.
    EXPECT_NE(option.GetSubPointsCount(Level::Low), option.GetSubPointsCount(Level::Exceptional));
}

TEST(SpecOption, TakesANewSettlementPriceAndLeavesItForNull)
{
    PricedSeries priced = Simple();
    priced.Build();
    CSpecOption option = priced.Option(1000.0, true);
    EXPECT_EQ(option.CalcOptPrice, 64.0);
    const double price = 70.0;
    option.ChangeOptionParams(&price);
    EXPECT_EQ(option.CalcOptPrice, 70.0);
    option.ChangeOptionParams(nullptr);
    EXPECT_EQ(option.CalcOptPrice, 70.0);
}

TEST(SpecOption, TheTwoOptionTypesAreNumberedAgainstThoseOfTheTables)
{
    EXPECT_EQ(static_cast<int>(OptionType::Call), 0);
    EXPECT_EQ(static_cast<int>(OptionType::Put), 1);
    static_assert(std::is_nothrow_move_constructible_v<CSpecOption>);
}

TEST(SpecOption, ShortSellingValuesAreSharesOfTheSpotTimesTheLot)
{
    PricedSeries priced = Simple();
    priced.series.LotCoeff = 3;
    priced.futures.CalcFutPrice = 1064.0; // shift (1064 - 1000) / 1024 = 0.0625
    priced.futures.RealCalcPrice = 1000.0;
    priced.Build();
    const CSpecOption put = priced.Option(1000.0, true);
    const CSpecOption call = priced.Option(1000.0, false);
    // 1024 x 0.125 x (0.25 -+ 0.0625) x 3.
    EXPECT_EQ(put.GetShortSellingValueDown(Level::Default), 72.0);
    EXPECT_EQ(put.GetShortSellingValueUp(Level::Default), 120.0);
    EXPECT_EQ(put.GetDownRisk(Level::Default), 72.0);
    EXPECT_EQ(put.GetUpRisk(Level::Default), 0.0);
    EXPECT_EQ(call.GetDownRisk(Level::Default), 0.0);
    EXPECT_EQ(call.GetUpRisk(Level::Default), 120.0);
    // A negative spot charges like a positive one.
    priced.futures.NormalizedSpot = -1024.0;
    priced.futures.CalcFutPrice = 1000.0;
    priced.Build();
    EXPECT_EQ(priced.Option(1000.0, true).GetShortSellingValueDown(Level::Low), 1024.0 * 0.125 * 0.125 * 3.0);
}

TEST(SpecOption, SpecialPointsAreValuesAtThePointsOfTheFuturesInTheCentralScenario)
{
    for (const UnderlyingKind kind : UnderlyingKinds)
        for (const Enums::OptionModel model : Enums::PossibleOptionModelValues) {
            PricedSeries priced;
            priced.SetKind(kind);
            priced.contract.OptionModel = model;
            priced.Build();
            for (const bool put : {false, true}) {
                const CSpecOption option = priced.Option(1020.0, put);
                const plain::OptionPricer plainly = priced.Plain(1020.0, put);
                for (const Level level : Levels) {
                    const SpecialRiskPoints& prices = priced.Futures().GetPoints(level);
                    EXPECT_TRUE(SameBits(option.GetZL(level), plainly.AtPoint(prices.GetZL())));
                    EXPECT_TRUE(SameBits(option.GetZR(level), plainly.AtPoint(prices.GetZR())));
                    EXPECT_TRUE(SameBits(option.GetMR2D(level), plainly.AtPoint(prices.GetPnL2D())));
                    EXPECT_TRUE(SameBits(option.GetMR3D(level), plainly.AtPoint(prices.GetPnL3D())));
                    EXPECT_TRUE(SameBits(option.GetMR3U(level), plainly.AtPoint(prices.GetPnL3U())));
                    EXPECT_TRUE(SameBits(option.GetMR2U(level), plainly.AtPoint(prices.GetPnL2U())));
                }
            }
        }
}

// --- When it is valued ----------------------------------------------------------------------------------------------

TEST(SpecOption, AGridStandsUntilTheNextRecalculationAndIsThenThatOfTheNewParameters)
{
    PricedSeries priced = Simple();
    priced.Build();
    CSpecOption option = priced.Option(1000.0, false);
    const OptionGrid* const first = &option.GetGrid(Level::Default);
    EXPECT_EQ(&option.GetGrid(Level::Default), first);
    const double before = first->Values(0)[1][2];
    priced.Series().A_Bach *= 2.0;
    EXPECT_EQ(option.GetGrid(Level::Default).Values(0)[1][2], before);
    option.RecalcInvariants();
    EXPECT_NEAR(option.GetGrid(Level::Default).Values(0)[1][2], 2.0 * before, 1e-12); // at the money it is its width
}

TEST(SpecOption, ValuingAllLevelsKeepsThemFromWhatChangesLater)
{
    PricedSeries priced = Simple();
    priced.Build();
    const CSpecOption valued = priced.Option(1000.0, false);
    const CSpecOption fresh = priced.Option(1000.0, false);
    valued.ValueAllLevels();
    const CSpecOption reference = priced.Option(1000.0, false);
    const Profile before = reference.GetProfile(Level::High);
    priced.Futures().RealCalcPrice = 700.0;
    priced.Series().A_Bach = 9.0;
    EXPECT_EQ(valued.GetProfile(Level::High), before);
    EXPECT_NE(fresh.GetProfile(Level::High), before);
}

TEST(SpecOption, ACopyIsDeepAndPointsToItsOwnSeries)
{
    PricedSeries first = Simple();
    first.Build();
    PricedSeries second = Simple();
    second.futures.Isin = 44;
    second.Build();
    const CSpecOption option = first.Option(1000.0, false);
    const OptionGrid& grid = option.GetGrid(Level::Default);

    const CSpecOption copy(option, &second.Series());
    EXPECT_EQ(copy.VirtFutures, &second.Series());
    EXPECT_EQ(copy.GetFuturesIsin(), 44);
    EXPECT_EQ(copy.Strike, 1000.0);
    EXPECT_EQ(copy.GetCode(), "OPT");
    EXPECT_EQ(&copy.interestRateRiskCalculator, &option.interestRateRiskCalculator);
    EXPECT_NE(&copy.GetGrid(Level::Default), &grid);
    EXPECT_EQ(copy.GetProfile(Level::Default), option.GetProfile(Level::Default));

    const CSpecOption same(option); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(same.VirtFutures, option.VirtFutures);
    EXPECT_EQ(same.GetProfile(Level::Default), option.GetProfile(Level::Default));
}

TEST(SpecOption, AValuedLevelGoesWithACopyAndWithAMove)
{
    PricedSeries priced = Simple();
    priced.Build();
    CSpecOption option = priced.Option(1000.0, false);
    const double value = option.GetGrid(Level::Default).Values(0)[1][2];
    const OptionGrid* const grid = &option.GetGrid(Level::Default);
    priced.Series().A_Bach = 9.0; // what is valued from now on differs
    const CSpecOption copy(option, &priced.Series());
    EXPECT_EQ(copy.GetGrid(Level::Default).Values(0)[1][2], value);
    const CSpecOption moved(std::move(option));
    EXPECT_EQ(&moved.GetGrid(Level::Default), grid);
}

// --- The profile ----------------------------------------------------------------------------------------------------

TEST(SpecOption, WithoutSubPointsTheProfileHasNoBinding)
{
    PricedSeries priced = Simple();
    priced.Build();
    const Profile profile = priced.Option(1000.0, false).GetProfile(Level::Default);
    EXPECT_EQ(profile.Volatility().Binding(), nullptr);
    EXPECT_EQ(profile.Expiration().Binding(), nullptr);
    EXPECT_EQ(profile.GetParameters().length(), 5u);
    EXPECT_EQ(profile.Expiration().RowsCount(), 0u);
}

TEST(SpecOption, WithSubPointsAllFourMatricesHaveTheSeriesBinding)
{
    PricedSeries priced = Deliverable();
    priced.series.SubRisk = true;
    priced.Build();
    for (const Level level : Levels) {
        const BindsRow* const binding = &priced.Series().GetBindingArray(level);
        const Profile profile = priced.Option(1000.0, true).GetProfile(level);
        const auto length = static_cast<std::size_t>(priced.Series().GetTotalPointsNum(level));
        for (const RiskMatrix* const matrix :
             {&profile.Volatility(), &profile.InterestRate(), &profile.VolatilityMismatch(), &profile.Expiration()}) {
            EXPECT_EQ(matrix->Binding(), binding);
            EXPECT_EQ(matrix->ColsCount(), length);
        }
        // A sub-point of the intrinsic scenario is worth what its price says.
        const std::vector<double> prices = priced.Prices(level);
        for (std::size_t c = 5; c < length; ++c)
            EXPECT_EQ(CellAt(profile.Volatility(), 0, c), std::max(1000.0 - prices[c], 0.0));
    }
}

TEST(SpecOption, AllRowsOfTheProfileArePaddedWithNaN)
{
    PricedSeries priced = Deliverable();
    priced.Build();
    const Profile profile = priced.Option(1000.0, true).GetProfile(Level::Default);
    for (const RiskMatrix* const matrix :
         {&profile.Volatility(), &profile.InterestRate(), &profile.VolatilityMismatch(), &profile.Expiration()})
        for (std::size_t row = 0; row < matrix->RowsCount(); ++row)
            for (std::size_t lane = 1; lane < 4; ++lane)
                EXPECT_TRUE(std::isnan(matrix->pData()[matrix->RowsCount() + row][lane]));
}

TEST(SpecOption, DeliveryRowsFollowTheDeliveryPricesUpwards)
{
    // Limit 128, delivery prices 872, 936, 1000, 1064 and 1128. The row of 872 speaks for the columns 744 to 1000, that
    // of 1128 for 1000 to 1256; a put of 1000 is exercised below it only.
    PricedSeries priced = Deliverable();
    priced.Build();
    ASSERT_THAT(priced.Series().PointsForDeliveryRisksCalculation[Level::Default],
                ElementsAre(872.0, 936.0, 1000.0, 1064.0, 1128.0));
    const Profile put = priced.Option(1000.0, true).GetProfile(Level::Default);
    ASSERT_EQ(put.Expiration().RowsCount(), 5u);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double expected[5][5] = {{256.0, 128.0, 0.0, nan, nan},
                                   {nan, 128.0, 0.0, nan, nan},
                                   {nan, 0.0, 0.0, 0.0, nan},
                                   {nan, nan, 0.0, 0.0, nan},
                                   {nan, nan, 0.0, 0.0, 0.0}};
    for (std::size_t row = 0; row < 5; ++row)
        for (std::size_t c = 0; c < 5; ++c)
            EXPECT_TRUE(SameBits(CellAt(put.Expiration(), row, c), expected[row][c])) << row << ", " << c;
}

TEST(SpecOption, NoDeliveryRowsWithoutClearingsOrForCashSettlement)
{
    PricedSeries priced = Deliverable();
    priced.series.ExpClearingsCC = 0;
    priced.Build();
    EXPECT_EQ(priced.Option(1000.0, true).GetProfile(Level::Default).Expiration().RowsCount(), 0u);
    priced = Deliverable();
    priced.series.settlementType = Enums::SettlementType::CashSettled;
    priced.Build();
    EXPECT_EQ(priced.Option(1000.0, true).GetProfile(Level::Default).Expiration().RowsCount(), 0u);
}

// --- A position -----------------------------------------------------------------------------------------------------

TEST(SpecOption, ALongPositionLosesItsPremiumAtMost)
{
    // A call of 1000 bought at 100, three contracts at two of money: intrinsic 0, 0, 0, 128, 256 in scenario 0.
    PricedSeries priced = Simple();
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    const Risk risk = option.TransformToPosition(3, 100.0, Level::Default);
    const double expected[] = {-600.0, -600.0, -600.0, 168.0, 936.0};
    for (std::size_t c = 0; c < 5; ++c)
        EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 0, c), expected[c]);
    // A value below 0, as rounding or a negative rate can leave it, costs no more than the premium.
    const Profile profile = option.GetProfile(Level::Default);
    EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 1, 2), (CellAt(profile.Volatility(), 1, 2) - 100.0) * 6.0);
}

/// A commodity's second rate discounts the price but not the formula's call, so a put can be worth less than 0.
PricedSeries NegativePut()
{
    PricedSeries priced;
    priced.SetKind(UnderlyingKind::Commodity);
    priced.contract.OptionModel = Enums::OptionModel::Bachelier;
    priced.series.R = 0.0;
    priced.series.R2 = -0.5;
    priced.series.TimeToExpiration = 1.0;
    priced.series.A_Bach = 0.01;
    priced.series.B_Bach = 0.0;
    return priced;
}

TEST(SpecOption, APremiumBelowZeroBoundsAPurchaseFromBelow)
{
    // Bought at -50 the result is never below 50, whatever the option is worth: the commodity put of the next case is
    // worth less than -100 at its cell, and -100 - (-50) would be -50. Two units of money a unit of price.
    PricedSeries priced = NegativePut();
    priced.Build();
    const CSpecOption put = priced.Option(1000.0, true);
    ASSERT_LT(put.GetGrid(Level::Default).Values(1)[2][0], -100.0);
    const Risk risk = put.TransformToPosition(1, -50.0, Level::Default);
    EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 2, 4), 100.0);
}

TEST(SpecOption, AnOptionOfNegativeValueLosesNoMoreThanItsPremiumWhenBought)
{
    PricedSeries priced = NegativePut();
    priced.Build();
    const CSpecOption put = priced.Option(1000.0, true);
    ASSERT_LT(put.GetGrid(Level::Default).Values(1)[2][0], -100.0);
    const Risk bought = put.TransformToPosition(1, 10.0, Level::Default);
    EXPECT_EQ(CellAt(bought.GetRisk().Volatility(), 2, 4), -20.0);
    const Risk sold = put.TransformToPosition(-1, 10.0, Level::Default);
    EXPECT_GT(CellAt(sold.GetRisk().Volatility(), 2, 4), 200.0);
}

TEST(SpecOption, AShortPositionIsNotBoundedAndTurnsEverything)
{
    PricedSeries priced = Deliverable();
    priced.series.VolatilityRiskMismatch = 0.125;
    priced.futures.MRAddOnUp = 0.03125;
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    const Profile profile = option.GetProfile(Level::Default);
    const Risk risk = option.TransformToPosition(-2, 30.0, Level::Default);
    const double scale = -4.0; // two contracts at two of money
    for (std::size_t c = 0; c < 5; ++c) {
        for (std::size_t row = 0; row < 3; ++row)
            EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), row, c),
                      (CellAt(profile.Volatility(), row, c) - 30.0) * scale);
        for (std::size_t row = 0; row < 2; ++row) {
            EXPECT_EQ(CellAt(risk.GetRisk().InterestRate(), row, c), CellAt(profile.InterestRate(), row, c) * scale);
            EXPECT_EQ(CellAt(risk.GetRisk().VolatilityMismatch(), row, c),
                      CellAt(profile.VolatilityMismatch(), row, c) * scale);
        }
        for (std::size_t row = 0; row < 5; ++row)
            EXPECT_TRUE(SameBits(CellAt(risk.GetRisk().Expiration(), row, c),
                                 (CellAt(profile.Expiration(), row, c) - 30.0) * scale));
    }
    const SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    EXPECT_EQ(points.GetPnL2U(), (option.GetMR2U(Level::Default) - 30.0) * scale);
    EXPECT_EQ(points.GetPnL3D(), (option.GetMR3D(Level::Default) - 30.0) * scale);
    EXPECT_EQ(points.GetUpRisk(), option.GetUpRisk(Level::Default) * scale); // a charge: no price in it
    EXPECT_EQ(points.GetZL(),
              (option.GetZL(Level::Default) - 30.0) * scale * priced.Futures().GetCoverZL(Level::Default));
    EXPECT_EQ(points.GetZR(),
              (option.GetZR(Level::Default) - 30.0) * scale * priced.Futures().GetCoverZR(Level::Default));
}

TEST(SpecOption, AQuantityOfZeroTakesTheShortBranch)
{
    // Without the bound at -10 the put's cell, less than -100, goes into the product: 0 times it is -0. The bound would
    // have left -10, and 0 times that is -0 as well, so the price is below 0: the bound would leave 10, and give +0.
    PricedSeries priced = NegativePut();
    priced.Build();
    const CSpecOption put = priced.Option(1000.0, true);
    ASSERT_LT(put.GetGrid(Level::Default).Values(1)[2][0], -100.0);
    const Risk risk = put.TransformToPosition(0, -10.0, Level::Default);
    EXPECT_TRUE(SameBits(CellAt(risk.GetRisk().Volatility(), 2, 4), -0.0));
}

TEST(SpecOption, AQuantityOfZeroIsZeroButForNaN)
{
    PricedSeries priced = Deliverable();
    priced.Build();
    const Risk risk = priced.Option(1000.0, true).TransformToPosition(0, 100.0, Level::Default);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t c = 0; c < 5; ++c) {
        EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 0, c), 0.0);
        EXPECT_EQ(CellAt(risk.GetRisk().InterestRate(), 0, c), 0.0);
    }
    for (const double value : {CellAt(risk.GetRisk().Expiration(), 0, 4), CellAt(risk.GetRisk().Expiration(), 4, 0)})
        EXPECT_TRUE(SameBits(value, nan));
    EXPECT_EQ(CellAt(risk.GetRisk().Expiration(), 0, 0), 0.0);
    for (std::size_t i = 0; i < SpecialRiskPoints::size(); ++i)
        EXPECT_EQ(risk.GetSpecialRiskPoints().pData()[i], 0.0);
}

TEST(SpecOption, ThePositionsOnlyFormHasItsOwnPriceForThePointsAndAShiftOfAllEight)
{
    PricedSeries priced = Simple();
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    for (const std::int64_t quantity : {-2, 3}) {
        const Risk with = option.TransformToPosition_PositionsOnly(quantity, 100.0, 40.0, Level::Low, 5.0);
        const Risk plainly = option.TransformToPosition(quantity, 100.0, Level::Low);
        const Risk atFifty = option.TransformToPosition(quantity, 40.0, Level::Low);
        EXPECT_EQ(with.GetRisk().Volatility(), plainly.GetRisk().Volatility());
        for (std::size_t i = 0; i < SpecialRiskPoints::size(); ++i)
            EXPECT_EQ(with.GetSpecialRiskPoints().pData()[i], atFifty.GetSpecialRiskPoints().pData()[i] + 5.0);
    }
}

TEST(SpecOption, ADescribedPositionIsWhatATransformedOneDoes)
{
    PricedSeries priced = Simple();
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    const OptionTransform bought = option.DescribePosition(3, 100.0, Level::Default);
    EXPECT_EQ(bought.option, &option);
    EXPECT_EQ(bought.grid, &option.GetGrid(Level::Default));
    EXPECT_EQ(bought.level, Level::Default);
    EXPECT_EQ(bought.price, 100.0);
    EXPECT_TRUE(bought.premiumIsTheWorst);
    EXPECT_EQ(bought.scale, 6.0);
    EXPECT_EQ(bought.coverZL, priced.Futures().GetCoverZL(Level::Default));
    EXPECT_EQ(bought.coverZR, priced.Futures().GetCoverZR(Level::Default));
    EXPECT_FALSE(option.DescribePosition(0, 100.0, Level::Default).premiumIsTheWorst);
    const OptionTransform sold = option.DescribePosition(-4, 100.0, Level::Default);
    EXPECT_FALSE(sold.premiumIsTheWorst);
    EXPECT_EQ(sold.scale, -8.0);
    // The largest quantity there is, in the double that it becomes.
    EXPECT_EQ(option.DescribePosition(std::numeric_limits<std::int64_t>::min(), 0.0, Level::Default).scale,
              -0x1p63 * 2.0);
}

// --- Orders ---------------------------------------------------------------------------------------------------------

OrdersMap OneOrder(double price, Direction direction, std::int64_t quantity)
{
    KeyPriceType key;
    key.calculatedPrice = t_bprice_int(price);
    key.direction = direction;
    key.type = KeyPriceType::Type::Ordinal;
    return {{key, SOrderInfo(SOrderInfo::InitializationType::OnlyDeltaQuantity, 0, quantity)}};
}

TEST(SpecOption, WithoutOrdersTheRiskIsZeroAndHasTheSeriesBinding)
{
    PricedSeries priced = Deliverable();
    priced.series.SubRisk = true;
    priced.Build();
    const Risk risk = priced.Option(1000.0, false).TransformToOrder({}, Level::Default);
    EXPECT_EQ(risk.GetRisk().Volatility().sum(), 0.0);
    EXPECT_EQ(risk.GetRisk().Expiration().sum(), 0.0);
    EXPECT_EQ(risk.GetRisk().GetParameters().expirationScenariosCount, 5u);
    const BindsRow* const binding = &priced.Series().GetBindingArray(Level::Default);
    EXPECT_EQ(risk.GetRisk().Volatility().Binding(), binding);
    EXPECT_EQ(risk.GetRisk().InterestRate().Binding(), binding);
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch().Binding(), binding);
    EXPECT_EQ(risk.GetRisk().Expiration().Binding(), nullptr);
}

TEST(SpecOption, ASellOrderLosesWhereTheOptionIsWorthMoreThanItsPrice)
{
    // A call of 1000 offered at 100 five times: losses where its value exceeds 100, (100 - 128) x 10 and (100 - 256)
    // x 10.
    PricedSeries priced = Simple();
    priced.Build();
    const Risk risk =
        priced.Option(1000.0, false).TransformToOrder(OneOrder(100.0, Direction::Sell, 5), Level::Default);
    const double expected[] = {0.0, 0.0, 0.0, -280.0, -1560.0};
    for (std::size_t c = 0; c < 5; ++c)
        EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 0, c), expected[c]);
    // The charge of the short call is turned into a loss, too: -1024 x 0.125 x 0.25 x 10.
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetUpRisk(), -320.0);
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetDownRisk(), 0.0);
}

TEST(SpecOption, ABuyOrderLosesItsPremiumAtMost)
{
    PricedSeries priced = Simple();
    priced.Build();
    const Risk risk = priced.Option(1000.0, false).TransformToOrder(OneOrder(150.0, Direction::Buy, 1), Level::Default);
    const double expected[] = {-300.0, -300.0, -300.0, -44.0, 0.0};
    for (std::size_t c = 0; c < 5; ++c)
        EXPECT_EQ(CellAt(risk.GetRisk().Volatility(), 0, c), expected[c]);
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetUpRisk(), 0.0); // a charge is no loss of a buyer
}

TEST(SpecOption, OrdersAddUpAndACancellationTakesBack)
{
    PricedSeries priced = Deliverable();
    priced.series.VolatilityRiskMismatch = 0.125;
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, true);
    OrdersMap orders = OneOrder(100.0, Direction::Sell, 5);
    orders.merge(OneOrder(120.0, Direction::Buy, 2));
    const Risk both = option.TransformToOrder(orders, Level::Default);
    Risk sum = option.TransformToOrder(OneOrder(100.0, Direction::Sell, 5), Level::Default);
    sum += option.TransformToOrder(OneOrder(120.0, Direction::Buy, 2), Level::Default);
    const Risk cancelled = option.TransformToOrder(OneOrder(100.0, Direction::Sell, -5), Level::Default);
    Risk none = cancelled;
    none += option.TransformToOrder(OneOrder(100.0, Direction::Sell, 5), Level::Default);
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t c = 0; c < 5; ++c) {
            EXPECT_NEAR(CellAt(both.GetRisk().Volatility(), row, c), CellAt(sum.GetRisk().Volatility(), row, c), 1e-9);
            EXPECT_EQ(CellAt(none.GetRisk().Volatility(), row, c), 0.0);
        }
    // The delivery at 872 of a put of 1000, sold at 100: 744 costs (100 - 256) x 10; out of scope stays so.
    const Risk sold = option.TransformToOrder(OneOrder(100.0, Direction::Sell, 5), Level::Default);
    EXPECT_EQ(CellAt(sold.GetRisk().Expiration(), 0, 0), -1560.0);
    EXPECT_TRUE(std::isnan(CellAt(sold.GetRisk().Expiration(), 0, 4)));
}

TEST(SpecOption, FarPointsOfOrdersCountByTheirCover)
{
    PricedSeries priced = Simple();
    priced.Build();
    const CSpecOption option = priced.Option(1000.0, false);
    const Risk risk = option.TransformToOrder(OneOrder(100.0, Direction::Sell, 1), Level::Default);
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetZR(),
              (100.0 - option.GetZR(Level::Default)) * 2.0 * priced.Futures().GetCoverZR(Level::Default));
    EXPECT_EQ(risk.GetSpecialRiskPoints().GetPnL3U(), (100.0 - option.GetMR3U(Level::Default)) * 2.0);
}

} // namespace
} // namespace test::SpecOptionTest
