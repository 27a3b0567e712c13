// CSpecBaseContract: the family record of the instrument tree, what all futures of one underlying share.
//
// Always true:  for every level, each Up rate is the base rate plus ShiftCoefficient and each Down rate is the
//               base rate minus it. the shift and the concentration limits in money follow one reference futures
//               each: the nearest one, collateral instruments before others. Times within 0.001 of a year count
//               as equal, and among equals the later arrival wins.
// Numbers:      the MarketRisk family are rates that multiply a futures' NormalizedSpot, 0.1 is a tenth of the spot.
//               ConcentrationLimit1 and 2 are in units of the underlying, their Spot twins in money.
//               Times are in years.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "Enums.h"
#include "TableRecords.h"
#include "grids/RiskLevelIndexedArray.h"
#include "instruments/BaseContractParameters.h"

namespace kv7im {

class CSpecFutures;

/// New parameters of a base contract. The code finds the contract and is not itself a parameter.
struct SBaseContractChanges
{
    /// A code longer than 25 characters is cut off.
    explicit SBaseContractChanges(std::string_view code);

    t_instr Code{};
    RiskLevelIndexedArray<double> MarketRisk;
    RiskLevelIndexedArray<double> MarketRisk1;
    RiskLevelIndexedArray<double> MarketRisk2;
    double SpotPrice = 0.0;
    std::int64_t ConcentrationLimit1 = 0;
    std::int64_t ConcentrationLimit2 = 0;
    Enums::OptionModel OptionModel = Enums::OptionModel::BlackScholes;
    double CFRisk = 0.0;
};

class CSpecBaseContract
{
public:
    /// Takes the values as they are: the repository has checked them. curvatureRadius: of the contract's currency.
    CSpecBaseContract(const BaseContractParameters& parameters, double curvatureRadius);

    /// Forgets the reference futures and recomputes the derived values. ShiftCoefficient keeps its value until the next
    /// futures is seen.
    void Init();
    /// Takes new parameters, then does what Init does.
    void ChangeParams(const SBaseContractChanges& changes);

    /// Lets a futures that has come or changed move the concentration limits and the shift. Returns true when either
    /// moved: every instrument of the contract has to be recomputed then.
    bool CorrectShiftParamsByFutures(const CSpecFutures* futures);
    bool CorrectConcentrationLimitByFutures(const CSpecFutures* futures);
    bool CorrectShiftingMarketRiskByFutures(const CSpecFutures* futures);
    /// Whether this futures displaces a reference futures of the given time, collateral flag and isin. Logs a warning
    /// when it displaces one that is as near.
    [[nodiscard]] static bool NeedToCorrectParameterByFuturesTimeToExpiration(const CSpecFutures* futures,
                                                                              double currentMinimalTime,
                                                                              bool currentIsCollateral,
                                                                              Isin currentIsin);
    /// Recomputes the six arrays of Up and Down rates.
    void RecalcShiftingMarketRisk() noexcept;

    [[nodiscard]] bool HasMCS() const noexcept { return !CodeMCS.empty(); }
    [[nodiscard]] bool IsCurrencyContract() const noexcept
    {
        return MSPTypeVal == Enums::MSPType::CurrencyIndicatorPriceStep;
    }
    [[nodiscard]] std::int32_t GetCurrencyId() const noexcept { return IndicatorID; }
    [[nodiscard]] bool IsPercentage() const noexcept { return assetClass == Enums::AssetClass::Percentage; }
    [[nodiscard]] std::int64_t GetConcentrationLimit1() const noexcept { return ConcentrationLimit1; }
    [[nodiscard]] std::int64_t GetConcentrationLimit2() const noexcept { return ConcentrationLimit2; }
    /// Curvature that is applied to the special risk points: the currency's radius, 0.0 where the step has a fixed
    /// price.
    [[nodiscard]] double CalculateRiskCoefficient() const noexcept
    {
        return IsCurrencyContract() ? curvatureRadius : 0.0;
    }

    std::int64_t ConcentrationLimit1; // units of the underlying
    std::int64_t ConcentrationLimit2;
    double ShiftCoefficient = 0.0; // rate: (CalcFutPrice - RealCalcPrice) / NormalizedSpot of the reference futures
    double currentMinimalTimeValueForShiftCoefficientRecalc = std::numeric_limits<double>::max();
    double currentMinimalTimeValueForConcentrationLimitRecalc = std::numeric_limits<double>::max();
    bool currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsCollateral = false;
    bool currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsCollateral = false;
    Isin currentFuturesWithMinimalTimeValueForShiftCoefficientRecalcIsin = 0;
    Isin currentFuturesWithMinimalTimeValueForConcentrationLimitRecalcIsin = 0;
    std::string Code;
    std::string CodeMCS; // inter-contract group, empty for none
    const std::int32_t VolatNum;
    const std::int32_t RiskPointsN; // points on either side of the grid's centre
    const std::int32_t PointsNum;   // 2 * RiskPointsN + 1
    const Enums::MSPType MSPTypeVal;
    const double ShortOptionMinimumCharge;
    const std::int32_t IndicatorID; // currency
    const double curvatureRadius;   // of that currency when the contract was inserted, 0.0 when it was unknown
    double SpotPrice;
    RiskLevelIndexedArray<double> MarketRisk;  // half width of the grid; rate below the first concentration limit
    RiskLevelIndexedArray<double> MarketRisk1; // rate between the limits
    RiskLevelIndexedArray<double> MarketRisk2; // rate above the second limit
    double ConcentrationLimit1Spot = 0.0;      // the first limit in money
    double ConcentrationLimit2Spot = 0.0;
    const std::int32_t IsinVCB; // the exchange's own number, kept and returned
    RiskLevelIndexedArray<double> MarketRiskUp;
    RiskLevelIndexedArray<double> MarketRisk1Up;
    RiskLevelIndexedArray<double> MarketRisk2Up;
    RiskLevelIndexedArray<double> MarketRiskDown;
    RiskLevelIndexedArray<double> MarketRisk1Down;
    RiskLevelIndexedArray<double> MarketRisk2Down;
    const double WindowSizePercentage;
    const std::int32_t WindowSize; // netting window in grid points
    Enums::OptionModel optionModel;
    Enums::AssetClass assetClass;
    double CFRisk;
    std::string TASBaseContractCode; // base contract of the trade-at-settlement futures that track ours, empty for none
    Enums::BaseContractSigns Signs;
};

} // namespace kv7im
