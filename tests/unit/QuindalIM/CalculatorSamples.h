// CalculatorSamples: a contract and a futures of round numbers, as records for the calculator behind the exports.
#pragma once

#include <string>

#include "InstrumentSamples.h"

/// Rates of 0.1, 0.2 and 0.3 at every level; no currency and no spot price.
[[nodiscard]] inline BaseContractSample RoundContract(const std::string& code)
{
    BaseContractSample contract;
    contract.Code = code;
    contract.CurrencyId = 0;
    contract.ShortOptionMinimumCharge = 0.1;
    contract.SpotPrice = 0.0;
    contract.MarketRisk = kv7im::RiskLevelIndexedArray<double>(0.1);
    contract.MarketRisk1 = kv7im::RiskLevelIndexedArray<double>(0.2);
    contract.MarketRisk2 = kv7im::RiskLevelIndexedArray<double>(0.3);
    return contract;
}

/// Price and spot of 1000, one step of 1 worth 1, a quarter of a year left, in spread.
[[nodiscard]] inline FuturesSample RoundFutures(const std::string& code, const std::string& codeBC = "BC")
{
    FuturesSample futures;
    futures.Code = code;
    futures.CodeBC = codeBC;
    futures.MinStepPrice = 1.0;
    futures.MinStep = 1.0;
    futures.XLot = 1.0;
    futures.TimeToExpiration = 0.25;
    futures.NormalizedSpot = 1000.0;
    return futures;
}
