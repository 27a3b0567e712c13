#include "instruments/SpecBaseContract.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "except.h"
#include "instruments/SpecFutures.h"
#include "z9log.h"

namespace kv7im {

namespace {

/// Least time to expiration, in years, of a reference futures that is no collateral instrument.
constexpr double ExpiredTime = 1e-5;
/// Times to expiration nearer to one another than this, in years, count as equal.
constexpr double SameTime = 0.001;

constexpr double LargestTime = std::numeric_limits<double>::max();

const char* NotNull(const char* text, const char* name)
{
    if (text == nullptr)
        throw kv7base::CArgumentException(name, KV7_CURRENT_LOCATION).Fmt("%s of a base contract is null", name);
    return text;
}

std::int32_t WindowOf(std::int32_t riskPointsN, double percentage)
{
    return static_cast<std::int32_t>(std::floor(static_cast<double>(riskPointsN) * percentage + 0.5));
}

} // namespace

SBaseContractChanges::SBaseContractChanges(
    std::string_view code, double marketRisk, double marketRisk1, double marketRisk2, double marketRiskLow,
    double marketRisk1Low, double marketRisk2Low, double marketRiskMedium, double marketRisk1Medium,
    double marketRisk2Medium, double marketRiskHigh, double marketRisk1High, double marketRisk2High,
    double marketRiskExceptional, double marketRisk1Exceptional, double marketRisk2Exceptional, double spotPrice,
    std::int64_t concentrationLimit1, std::int64_t concentrationLimit2, Enums::OptionModel optionModel, double cfRisk)
    : MarketRisk(marketRisk, marketRiskLow, marketRiskMedium, marketRiskHigh, marketRiskExceptional),
      MarketRisk1(marketRisk1, marketRisk1Low, marketRisk1Medium, marketRisk1High, marketRisk1Exceptional),
      MarketRisk2(marketRisk2, marketRisk2Low, marketRisk2Medium, marketRisk2High, marketRisk2Exceptional),
      SpotPrice(spotPrice),
      ConcentrationLimit1(concentrationLimit1),
      ConcentrationLimit2(concentrationLimit2),
      OptionModel(optionModel),
      CFRisk(cfRisk)
{
    const std::size_t length = std::min(code.size(), sizeof(Code) - 1);
    if (length != 0) std::memcpy(Code, code.data(), length);
}

CSpecBaseContract::CSpecBaseContract(
    const char* code, const char* codeMCS, std::int32_t volatNum, Enums::MSPType mspType,
    double shortOptionMinimumCharge, std::int32_t indicatorID, double curvatureRadius_, double spotPrice,
    double marketRisk, double marketRisk1, double marketRisk2, double marketRiskLow, double marketRisk1Low,
    double marketRisk2Low, double marketRiskMedium, double marketRisk1Medium, double marketRisk2Medium,
    double marketRiskHigh, double marketRisk1High, double marketRisk2High, double marketRiskExceptional,
    double marketRisk1Exceptional, double marketRisk2Exceptional, std::int64_t concentrationLimit1,
    std::int64_t concentrationLimit2, std::int32_t riskPointsN, std::int32_t isinVCB, double windowSizePercentage,
    Enums::OptionModel optionModel_, Enums::AssetClass assetClass_, double cfRisk, Enums::BaseContractSigns signs)
    : ConcentrationLimit1(concentrationLimit1),
      ConcentrationLimit2(concentrationLimit2),
      Code(NotNull(code, "Code")),
      CodeMCS(NotNull(codeMCS, "CodeMCS")),
      VolatNum(volatNum),
      RiskPointsN(riskPointsN),
      PointsNum(2 * riskPointsN + 1),
      MSPTypeVal(mspType),
      ShortOptionMinimumCharge(shortOptionMinimumCharge),
      IndicatorID(indicatorID),
      curvatureRadius(curvatureRadius_),
      SpotPrice(spotPrice),
      MarketRisk(marketRisk, marketRiskLow, marketRiskMedium, marketRiskHigh, marketRiskExceptional),
      MarketRisk1(marketRisk1, marketRisk1Low, marketRisk1Medium, marketRisk1High, marketRisk1Exceptional),
      MarketRisk2(marketRisk2, marketRisk2Low, marketRisk2Medium, marketRisk2High, marketRisk2Exceptional),
      IsinVCB(isinVCB),
      MarketRiskUp(MarketRisk),
      MarketRisk1Up(MarketRisk1),
      MarketRisk2Up(MarketRisk2),
      MarketRiskDown(MarketRisk),
      MarketRisk1Down(MarketRisk1),
      MarketRisk2Down(MarketRisk2),
      WindowSizePercentage(windowSizePercentage),
      WindowSize(WindowOf(riskPointsN, windowSizePercentage)),
      optionModel(optionModel_),
      assetClass(assetClass_),
      CFRisk(cfRisk),
      Signs(signs)
{
    Init();
}

void CSpecBaseContract::Init()
{
    // A contract in per cent takes its limits from its own spot, never from a futures.
    if (IsPercentage()) {
        ConcentrationLimit1Spot = static_cast<double>(ConcentrationLimit1) * SpotPrice;
        ConcentrationLimit2Spot = static_cast<double>(ConcentrationLimit2) * SpotPrice;
    }
    currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral = false;
    currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral = false;
    currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin = 0;
    currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin = 0;
    currentMinimalTimeValueForShiftCoefficientRecalc = LargestTime;
    currentMinimalTimeValueForConcentrationLimitRecalc = LargestTime;
    RecalcShiftingMarketRisk();
}

void CSpecBaseContract::ChangeParams(const SBaseContractChanges& changes)
{
    ConcentrationLimit1 = changes.ConcentrationLimit1;
    ConcentrationLimit2 = changes.ConcentrationLimit2;
    MarketRisk = changes.MarketRisk;
    MarketRisk1 = changes.MarketRisk1;
    MarketRisk2 = changes.MarketRisk2;
    optionModel = changes.OptionModel;
    SpotPrice = changes.SpotPrice;
    CFRisk = changes.CFRisk;
    Init();
}

bool CSpecBaseContract::CorrectShiftParamsByFutures(const CSpecFutures* futures)
{
    if (futures->IsTAS) return false;
    if (futures->NormalizedSpot == 0.0) return false;
    // Both steps always: each has a reference futures of its own.
    const bool limitsMoved = CorrectConcentrationLimitByFutures(futures);
    const bool shiftMoved = CorrectShiftingMarketRiskByFutures(futures);
    return limitsMoved || shiftMoved;
}

bool CSpecBaseContract::CorrectConcentrationLimitByFutures(const CSpecFutures* futures)
{
    if (IsPercentage()) return false;
    if (!NeedToCorrectParameterByFuturesTimeToExpiration(
            futures, currentMinimalTimeValueForConcentrationLimitRecalc,
            currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral,
            currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin))
        return false;

    currentMinimalTimeValueForConcentrationLimitRecalc = futures->TimeToExpiration;
    currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral = futures->IsCollateral();
    currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin = futures->isin;

    // Money of one unit of the underlying.
    const double moneyOfUnit = futures->MinStepPrice / (futures->MinStep * futures->XLot) * futures->NormalizedSpot;
    ConcentrationLimit1Spot = static_cast<double>(ConcentrationLimit1) * moneyOfUnit;
    ConcentrationLimit2Spot = static_cast<double>(ConcentrationLimit2) * moneyOfUnit;
    return true;
}

bool CSpecBaseContract::CorrectShiftingMarketRiskByFutures(const CSpecFutures* futures)
{
    if (!futures->IsCollateral() && !(futures->TimeToExpiration > ExpiredTime)) return false;
    if (!NeedToCorrectParameterByFuturesTimeToExpiration(
            futures, currentMinimalTimeValueForShiftCoefficientRecalc,
            currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral,
            currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin))
        return false;

    currentMinimalTimeValueForShiftCoefficientRecalc = futures->TimeToExpiration;
    currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral = futures->IsCollateral();
    currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin = futures->isin;

    ShiftCoefficient = (futures->CalcFutPrice - futures->RealCalcPrice) / futures->NormalizedSpot;
    RecalcShiftingMarketRisk();
    return true;
}

bool CSpecBaseContract::NeedToCorrectParameterByFuturesTimeToExpiration(const CSpecFutures* futures,
                                                                        double currentMinimalTime,
                                                                        bool currentIsCollateral, Isin currentIsin)
{
    const double time = futures->TimeToExpiration;
    const bool isCollateral = futures->IsCollateral();
    if (!isCollateral && !(time > ExpiredTime)) return false;
    if (time - currentMinimalTime > SameTime) return false;
    // Only another collateral instrument displaces a collateral one.
    if (!isCollateral && currentIsCollateral) return false;

    if (std::abs(time - currentMinimalTime) < SameTime && futures->isin != currentIsin &&
        isCollateral == currentIsCollateral)
        KV7TRACE_WARNING_EX("QuindalIM",
                            "Ambiguous nearest futures on %s. More than one futures have the same expiration time(%f)",
                            futures->CodeBC.c_str(), time);
    return true;
}

void CSpecBaseContract::RecalcShiftingMarketRisk() noexcept
{
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        MarketRiskUp[level] = MarketRisk[level] + ShiftCoefficient;
        MarketRisk1Up[level] = MarketRisk1[level] + ShiftCoefficient;
        MarketRisk2Up[level] = MarketRisk2[level] + ShiftCoefficient;
        MarketRiskDown[level] = MarketRisk[level] - ShiftCoefficient;
        MarketRisk1Down[level] = MarketRisk1[level] - ShiftCoefficient;
        MarketRisk2Down[level] = MarketRisk2[level] - ShiftCoefficient;
    }
}

} // namespace kv7im
