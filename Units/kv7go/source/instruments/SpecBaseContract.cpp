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

std::int32_t WindowOf(std::int32_t riskPointsN, double percentage)
{
    return static_cast<std::int32_t>(std::floor(static_cast<double>(riskPointsN) * percentage + 0.5));
}

} // namespace

SBaseContractChanges::SBaseContractChanges(std::string_view code)
{
    const std::size_t length = std::min(code.size(), sizeof(Code) - 1);
    if (length != 0) std::memcpy(Code, code.data(), length);
}

CSpecBaseContract::CSpecBaseContract(const BaseContractParameters& p, double curvatureRadius_)
    : ConcentrationLimit1(p.ConcentrationLimit1),
      ConcentrationLimit2(p.ConcentrationLimit2),
      Code(p.Code),
      CodeMCS(p.CodeMCS),
      VolatNum(p.VolatNum),
      RiskPointsN(p.RiskPointsN),
      PointsNum(2 * p.RiskPointsN + 1),
      MSPTypeVal(p.MSPType),
      ShortOptionMinimumCharge(p.ShortOptionMinimumCharge),
      IndicatorID(p.CurrencyId),
      curvatureRadius(curvatureRadius_),
      SpotPrice(p.SpotPrice),
      MarketRisk(p.MarketRisk),
      MarketRisk1(p.MarketRisk1),
      MarketRisk2(p.MarketRisk2),
      IsinVCB(p.IsinVCB),
      MarketRiskUp(MarketRisk),
      MarketRisk1Up(MarketRisk1),
      MarketRisk2Up(MarketRisk2),
      MarketRiskDown(MarketRisk),
      MarketRisk1Down(MarketRisk1),
      MarketRisk2Down(MarketRisk2),
      WindowSizePercentage(p.WindowSizePercentage),
      WindowSize(WindowOf(p.RiskPointsN, p.WindowSizePercentage)),
      optionModel(p.OptionModel),
      assetClass(p.AssetClass),
      CFRisk(p.CFRisk),
      Signs(p.Signs)
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
