// FuturesParameters: a futures, or a collateral spot instrument, as it is offered, before its checks.
#pragma once

#include <string>

#include "Enums.h"

namespace kv7im {

struct FuturesParameters
{
    std::string Code;
    std::string CodeBC; // of its base contract
    double CalcFutPrice = 0.0;
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::NotInSpread;
    double MinStepPrice = 0.0;  // money of one step
    double RealCalcPrice = 0.0; // settlement price
    double MinStep = 0.0;       // price step
    double XLot = 0.0;          // may be negative
    ::Isin Isin = 0;
    double InterestRateRiskUp = 0.0;
    double InterestRateRiskDown = 0.0;
    double TimeToExpiration = 0.0; // years
    double NormalizedSpot = 0.0;   // spot in the price units of the futures
    Enums::InstrumentStatus Attribute = Enums::InstrumentStatus::None;
    double MRAddOnUp = 0.0;
    double MRAddOnDown = 0.0;
    bool EnforceIMSHalfNetting = false;
    ::Isin TASBaseFutIsinID = 0; // the futures that a trade-at-settlement one tracks, 0 for none
};

} // namespace kv7im
