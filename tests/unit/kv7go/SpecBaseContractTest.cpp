// The base contract: rates, limits, and which futures they follow.
#include "instruments/SpecBaseContract.h"

#include <limits>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "MarketChanges.h"
#include "except.h"
#include "instruments/SpecFutures.h"

namespace test::SpecBaseContractTest {
namespace {

using kv7im::CSpecBaseContract;
using testing::ElementsAre;
using testing::IsEmpty;
using Level = Enums::ClientRiskLevel;

constexpr double Largest = std::numeric_limits<double>::max();
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;

TEST(SpecBaseContract, ANewContractHasNoShiftAndItsUpAndDownRatesAreTheBaseRates)
{
    const auto bc = BaseContractSample{}.Make();
    EXPECT_EQ(bc->ShiftCoefficient, 0.0);
    for (const Level level : Levels) {
        EXPECT_EQ(bc->MarketRiskUp[level], bc->MarketRisk[level]);
        EXPECT_EQ(bc->MarketRiskDown[level], bc->MarketRisk[level]);
        EXPECT_EQ(bc->MarketRisk1Up[level], bc->MarketRisk1[level]);
        EXPECT_EQ(bc->MarketRisk1Down[level], bc->MarketRisk1[level]);
        EXPECT_EQ(bc->MarketRisk2Up[level], bc->MarketRisk2[level]);
        EXPECT_EQ(bc->MarketRisk2Down[level], bc->MarketRisk2[level]);
    }
    EXPECT_EQ(bc->ConcentrationLimit1Spot, 0.0);
    EXPECT_EQ(bc->ConcentrationLimit2Spot, 0.0);
    EXPECT_EQ(bc->currentMinimalTimeValueForShiftCoefficientRecalc, Largest);
    EXPECT_EQ(bc->currentMinimalTimeValueForConcentrationLimitRecalc, Largest);
    EXPECT_EQ(bc->TASBaseContractCode, "");
}

TEST(SpecBaseContract, TheFifteenRatesComeLevelByLevel)
{
    const auto bc = BaseContractSample{}.Make();
    EXPECT_EQ(bc->MarketRisk[Level::Default], 0.25);
    EXPECT_EQ(bc->MarketRisk1[Level::Default], 0.375);
    EXPECT_EQ(bc->MarketRisk2[Level::Default], 0.5);
    EXPECT_EQ(bc->MarketRisk[Level::Low], 0.125);
    EXPECT_EQ(bc->MarketRisk1[Level::Low], 0.1875);
    EXPECT_EQ(bc->MarketRisk2[Level::Medium], 0.5625);
    EXPECT_EQ(bc->MarketRisk1[Level::High], 0.5);
    EXPECT_EQ(bc->MarketRisk2[Level::Exceptional], 0.875);
}

TEST(SpecBaseContract, TheGridHasAPointOnEachSideForEveryRiskPointAndOneInTheMiddle)
{
    BaseContractSample sample;
    sample.RiskPointsN = 500;
    EXPECT_EQ(sample.Make()->PointsNum, 1001);
}

TEST(SpecBaseContract, TheWindowIsRoundedToTheNearestPointHalvesUp)
{
    const struct
    {
        std::int32_t points;
        double percentage;
        std::int32_t window;
    } cases[] = {
        {10, 0.25, 3},   // 2.5 + 0.5 = 3.0
        {10, 0.24, 2},   // 2.4 + 0.5 = 2.9
        {1, 0.5, 1},     // 0.5 + 0.5 = 1.0
        {1, 0.49, 0},    // 0.99
        {500, 1.0, 500}, // 500.5
        {500, 0.0, 0},
    };
    for (const auto& c : cases) {
        BaseContractSample sample;
        sample.RiskPointsN = c.points;
        sample.WindowSizePercentage = c.percentage;
        EXPECT_EQ(sample.Make()->WindowSize, c.window) << c.points << " x " << c.percentage;
    }
}

TEST(SpecBaseContract, ANullCodeThrows)
{
    const auto make = [](const char* code, const char* mcs) {
        return CSpecBaseContract({.Code = code, .CodeMCS = mcs, .VolatNum = 3, .RiskPointsN = 1}, 0.0).Code;
    };
    EXPECT_EQ(make("A", ""), "A");
    EXPECT_THROW(make(nullptr, ""), std::logic_error) << "a record holds no null";
    EXPECT_THROW(make("A", nullptr), std::logic_error);
}

TEST(SpecBaseContract, TheRiskCoefficientIsTheRadiusOfACurrencyContractOnly)
{
    BaseContractSample sample;
    sample.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    EXPECT_EQ(sample.Make(0.25)->CalculateRiskCoefficient(), 0.25);
    EXPECT_TRUE(sample.Make(0.25)->IsCurrencyContract());
    sample.MSPType = Enums::MSPType::FixedPriceStep;
    EXPECT_EQ(sample.Make(0.25)->CalculateRiskCoefficient(), 0.0);
    EXPECT_EQ(sample.Make()->GetCurrencyId(), 840);
}

TEST(SpecBaseContract, TheLimitsInMoneyFollowTheNearestFutures)
{
    const auto bc = BaseContractSample{}.Make();
    FuturesSample futures;
    futures.MinStepPrice = 10.0;
    futures.MinStep = 5.0;
    futures.XLot = 100.0;
    futures.NormalizedSpot = 2000.0;
    EXPECT_TRUE(bc->CorrectShiftParamsByFutures(futures.Make(*bc).get()));
    // Money of a unit: 10 / (5 x 100) x 2000 = 40; limits 1000 and 5000 units.
    EXPECT_DOUBLE_EQ(bc->ConcentrationLimit1Spot, 40000.0);
    EXPECT_DOUBLE_EQ(bc->ConcentrationLimit2Spot, 200000.0);
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin, 1);
    EXPECT_EQ(bc->currentMinimalTimeValueForConcentrationLimitRecalc, 0.5);
}

TEST(SpecBaseContract, TheShiftRaisesTheUpRatesAndLowersTheDownRates)
{
    const auto bc = BaseContractSample{}.Make();
    FuturesSample futures;
    futures.CalcFutPrice = 1064.0;
    futures.RealCalcPrice = 1000.0;
    futures.NormalizedSpot = 1024.0;
    EXPECT_TRUE(bc->CorrectShiftParamsByFutures(futures.Make(*bc).get()));
    EXPECT_EQ(bc->ShiftCoefficient, 0.0625); // 64 / 1024
    EXPECT_EQ(bc->MarketRiskUp[Level::Default], 0.3125);
    EXPECT_EQ(bc->MarketRiskDown[Level::Default], 0.1875);
    for (const Level level : Levels) {
        EXPECT_EQ(bc->MarketRisk1Up[level], bc->MarketRisk1[level] + 0.0625);
        EXPECT_EQ(bc->MarketRisk1Down[level], bc->MarketRisk1[level] - 0.0625);
        EXPECT_EQ(bc->MarketRisk2Up[level], bc->MarketRisk2[level] + 0.0625);
        EXPECT_EQ(bc->MarketRisk2Down[level], bc->MarketRisk2[level] - 0.0625);
    }
}

TEST(SpecBaseContract, OfTwoFuturesEquallyNearTheLaterArrivalWinsWithAWarningForEachStep)
{
    for (const bool nearerFirst : {true, false}) {
        LogCapture log;
        const auto bc = BaseContractSample{}.Make();
        FuturesSample nearer;
        nearer.Isin = 1;
        nearer.TimeToExpiration = 0.5;
        FuturesSample farther;
        farther.Isin = 2;
        farther.TimeToExpiration = 0.5005;
        const FuturesSample& first = nearerFirst ? nearer : farther;
        const FuturesSample& second = nearerFirst ? farther : nearer;

        EXPECT_TRUE(bc->CorrectShiftParamsByFutures(first.Make(*bc).get()));
        EXPECT_THAT(log.Take(), IsEmpty());
        EXPECT_TRUE(bc->CorrectShiftParamsByFutures(second.Make(*bc).get()));
        const std::string warning = std::string("WARNING [QuindalIM] Ambiguous nearest futures on BC. More than one "
                                                "futures have the same expiration time(") +
                                    (nearerFirst ? "0.500500)" : "0.500000)");
        EXPECT_THAT(log.Take(), ElementsAre(warning, warning)); // once for the limits, once for the shift
        EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, second.Isin);
        EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin, second.Isin);
    }
}

TEST(SpecBaseContract, WhichFuturesDisplacesTheReference)
{
    LogCapture log;
    const auto bc = BaseContractSample{}.Make();
    const struct
    {
        const char* why;
        double time;
        bool collateral;
        double currentTime;
        bool currentCollateral;
        bool displaces;
        bool warns;
    } cases[] = {
        {"the first one", 0.5, false, Largest, false, true, false},
        {"a nearer one", 0.4, false, 0.5, false, true, false},
        {"a farther one", 0.502, false, 0.5, false, false, false},
        {"an equal one", 0.5005, false, 0.5, false, true, true},
        {"one farther by the thousandth itself", 0.001, false, 0.0, false, true, false},
        {"one nearer by the thousandth itself", 0.001, false, 0.002, false, true, false},
        {"an expired one is no reference", 0.0, false, 0.5, false, false, false},
        {"nor one with hardly any time left", 1e-5, false, 0.5, false, false, false},
        {"a little more will do", 1.1e-5, false, 0.5, false, true, false},
        {"a collateral instrument needs no time", 0.0, true, 0.5, false, true, false},
        {"a nearer one against a collateral one", 0.1, false, 0.5, true, false, false},
        {"an equal one against a collateral one", 0.5, false, 0.5, true, false, false},
        {"a collateral one against an equal one that is not", 0.5, true, 0.5, false, true, false},
        {"a collateral one against an equal collateral one", 0.5, true, 0.5, true, true, true},
        {"a farther collateral one", 0.6, true, 0.5, false, false, false},
    };
    for (const auto& c : cases) {
        FuturesSample futures;
        futures.Isin = 5;
        futures.TimeToExpiration = c.time;
        if (c.collateral) futures.Attribute = Enums::InstrumentStatus::Collateral;
        const auto object = futures.Make(*bc);
        EXPECT_EQ(CSpecBaseContract::NeedToCorrectParameterByFuturesTimeToExpiration(object.get(), c.currentTime,
                                                                                     c.currentCollateral, 4),
                  c.displaces)
            << c.why;
        EXPECT_EQ(log.Take().size(), c.warns ? 1u : 0u) << c.why;
        // The same futures again is no ambiguity.
        static_cast<void>(CSpecBaseContract::NeedToCorrectParameterByFuturesTimeToExpiration(
            object.get(), c.currentTime, c.currentCollateral, 5));
        EXPECT_THAT(log.Take(), IsEmpty()) << c.why;
    }
}

TEST(SpecBaseContract, ACollateralInstrumentWithoutTimeIsAReferenceAndKeepsOthersOut)
{
    const auto bc = BaseContractSample{}.Make();
    FuturesSample spot;
    spot.Isin = 7;
    spot.TimeToExpiration = 0.0;
    EXPECT_FALSE(bc->CorrectShiftParamsByFutures(spot.Make(*bc).get()));
    spot.Attribute = Enums::InstrumentStatus::Collateral;
    EXPECT_TRUE(bc->CorrectShiftParamsByFutures(spot.Make(*bc).get()));
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 7);
    EXPECT_TRUE(bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral);

    FuturesSample nearer; // within the same time, and still not collateral
    nearer.Isin = 8;
    nearer.TimeToExpiration = 0.0005;
    EXPECT_FALSE(bc->CorrectShiftParamsByFutures(nearer.Make(*bc).get()));
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin, 7);
}

TEST(SpecBaseContract, ATasFuturesAndOneWithoutASpotMoveNothing)
{
    const auto bc = BaseContractSample{}.Make();
    FuturesSample futures;
    futures.Attribute = Enums::InstrumentStatus::TAS;
    EXPECT_FALSE(bc->CorrectShiftParamsByFutures(futures.Make(*bc).get()));
    futures.Attribute = Enums::InstrumentStatus::None;
    futures.NormalizedSpot = 0.0;
    EXPECT_FALSE(bc->CorrectShiftParamsByFutures(futures.Make(*bc).get()));
    EXPECT_EQ(bc->currentMinimalTimeValueForShiftCoefficientRecalc, Largest);
}

TEST(SpecBaseContract, APercentageContractTakesItsLimitsFromItsSpotAndItsShiftFromTheFutures)
{
    BaseContractSample sample;
    sample.AssetClass = Enums::AssetClass::Percentage;
    sample.SpotPrice = 3.5;
    const auto bc = sample.Make();
    EXPECT_EQ(bc->ConcentrationLimit1Spot, 3500.0);  // 1000 x 3.5
    EXPECT_EQ(bc->ConcentrationLimit2Spot, 17500.0); // 5000 x 3.5

    FuturesSample futures;
    futures.CalcFutPrice = 1128.0;
    EXPECT_TRUE(bc->CorrectShiftParamsByFutures(futures.Make(*bc).get()));
    EXPECT_EQ(bc->ConcentrationLimit1Spot, 3500.0);
    EXPECT_EQ(bc->ConcentrationLimit2Spot, 17500.0);
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin, 0);
    EXPECT_EQ(bc->ShiftCoefficient, 0.125); // 128 / 1024
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 1);
}

TEST(SpecBaseContract, ChangedParametersForgetTheReferenceFuturesAndKeepTheShift)
{
    const auto bc = BaseContractSample{}.Make();
    FuturesSample near;
    near.CalcFutPrice = 1064.0;
    static_cast<void>(bc->CorrectShiftParamsByFutures(near.Make(*bc).get()));

    BaseContractSample changed;
    changed.Code = "OTHER";
    changed.MarketRisk[Enums::ClientRiskLevel::Default] = 1.0;
    changed.MarketRisk2[Enums::ClientRiskLevel::Exceptional] = 2.0;
    changed.ConcentrationLimit1 = 1;
    changed.ConcentrationLimit2 = 2;
    changed.OptionModel = Enums::OptionModel::Bachelier;
    changed.SpotPrice = 55.0;
    changed.CFRisk = 0.5;
    bc->ChangeParams(market_changes::Of(changed));
    EXPECT_EQ(bc->Code, "BC");
    EXPECT_EQ(bc->ConcentrationLimit1, 1);
    EXPECT_EQ(bc->GetConcentrationLimit2(), 2);
    EXPECT_EQ(bc->optionModel, Enums::OptionModel::Bachelier);
    EXPECT_EQ(bc->SpotPrice, 55.0);
    EXPECT_EQ(bc->CFRisk, 0.5);
    EXPECT_EQ(bc->ShiftCoefficient, 0.0625);
    EXPECT_EQ(bc->MarketRiskUp[Level::Default], 1.0625);
    EXPECT_EQ(bc->MarketRisk2Down[Level::Exceptional], 1.9375);
    EXPECT_EQ(bc->currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin, 0);
    EXPECT_EQ(bc->currentMinimalTimeValueForShiftCoefficientRecalc, Largest);

    FuturesSample far; // farther than the one before, and now the first one seen
    far.Isin = 2;
    far.TimeToExpiration = 3.0;
    far.CalcFutPrice = 1128.0;
    EXPECT_TRUE(bc->CorrectShiftParamsByFutures(far.Make(*bc).get()));
    EXPECT_EQ(bc->ShiftCoefficient, 0.125);
}

TEST(SpecBaseContract, TheCodeOfAChangeRecordIsCutOffAtTwentyFiveCharacters)
{
    BaseContractSample sample;
    sample.Code = std::string(40, 'x');
    EXPECT_STREQ(market_changes::Of(sample).Code, std::string(25, 'x').c_str());
}

} // namespace
} // namespace test::SpecBaseContractTest
