// BaseContractParameters: a base contract as it is offered, before its checks.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"
#include "grids/RiskLevelIndexedArray.h"

namespace kv7im {

struct BaseContractParameters
{
    std::string Code;
    std::string CodeMCS;       // inter-contract group, empty for none
    std::int32_t VolatNum = 0; // scenarios of volatility
    Enums::MSPType MSPType = Enums::MSPType::FixedPriceStep;
    std::int32_t CurrencyId = 0;
    double ShortOptionMinimumCharge = 0.0;
    double SpotPrice = 0.0;
    // Rates of market risk, shares of the spot: below, between and above the concentration limits.
    RiskLevelIndexedArray<double> MarketRisk{};
    RiskLevelIndexedArray<double> MarketRisk1{};
    RiskLevelIndexedArray<double> MarketRisk2{};
    std::int64_t ConcentrationLimit1 = 0; // units of the underlying
    std::int64_t ConcentrationLimit2 = 0;
    std::int32_t RiskPointsN = 0;      // price points on either side of the settlement price
    std::int32_t IsinVCB = 0;          // the exchange's own number, kept and returned
    double WindowSizePercentage = 0.0; // netting window, share of RiskPointsN from 0 to 1
    Enums::OptionModel OptionModel = Enums::OptionModel::BlackScholes;
    Enums::AssetClass AssetClass = Enums::AssetClass::Stock;
    double CFRisk = 0.0;
    Enums::BaseContractSigns Signs = Enums::BaseContractSigns::None;
};

} // namespace kv7im
