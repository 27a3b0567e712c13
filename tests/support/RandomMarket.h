// RandomMarket: small markets and books for property tests, drawn by RapidCheck.
#pragma once

#include <string>

#include <rapidcheck.h>

#include "PlainMargin.h"

namespace random_market {

/// A value of {low, low + step, ...} with `count` values.
inline double Grid(double low, double step, int count) { return low + step * *rc::gen::inRange(0, count); }

inline BaseContractSample Contract(const std::string& code, const std::string& codeMCS, std::int32_t riskPointsN)
{
    BaseContractSample contract;
    contract.Code = code;
    contract.CodeMCS = codeMCS;
    contract.RiskPointsN = riskPointsN;
    contract.VolatNum = *rc::gen::element(3, 5);
    contract.ShortOptionMinimumCharge = Grid(0.0, 0.05, 11);
    contract.AssetClass =
        *rc::gen::element(Enums::AssetClass::Stock, Enums::AssetClass::Index, Enums::AssetClass::Percentage);
    contract.SpotPrice = Grid(50.0, 10.0, 20);
    contract.MSPType = *rc::gen::element(Enums::MSPType::FixedPriceStep, Enums::MSPType::CurrencyIndicatorPriceStep);
    contract.CurrencyId = *rc::gen::inRange(1, 3);
    contract.ConcentrationLimit1 = *rc::gen::inRange(0, 500);
    contract.ConcentrationLimit2 = contract.ConcentrationLimit1 + *rc::gen::inRange(0, 1000);
    contract.WindowSizePercentage = Grid(0.0, 0.1, 11);
    const double rate = Grid(0.04, 0.02, 8);
    double* const rates[][3] = {
        {&contract.MarketRisk, &contract.MarketRisk1, &contract.MarketRisk2},
        {&contract.MarketRiskLow, &contract.MarketRisk1Low, &contract.MarketRisk2Low},
        {&contract.MarketRiskMedium, &contract.MarketRisk1Medium, &contract.MarketRisk2Medium},
        {&contract.MarketRiskHigh, &contract.MarketRisk1High, &contract.MarketRisk2High},
        {&contract.MarketRiskExceptional, &contract.MarketRisk1Exceptional, &contract.MarketRisk2Exceptional}};
    double factor = 1.0;
    for (const auto& level : rates) {
        *level[0] = rate * factor;
        *level[1] = rate * factor * 1.25;
        *level[2] = rate * factor * 1.75;
        factor += 0.15;
    }
    return contract;
}

inline FuturesSample Futures(const std::string& code, const BaseContractSample& contract, Isin isin)
{
    FuturesSample futures;
    futures.Code = code;
    futures.CodeBC = contract.Code;
    futures.Isin = isin;
    futures.NormalizedSpot = Grid(80.0, 5.0, 20);
    futures.CalcFutPrice = futures.NormalizedSpot + Grid(-3.0, 0.5, 13);
    futures.RealCalcPrice = futures.CalcFutPrice + Grid(-0.5, 0.125, 9);
    futures.MinStep = *rc::gen::element(0.01, 0.5, 1.0);
    futures.MinStepPrice = *rc::gen::element(0.25, 1.0, 7.75);
    futures.XLot = *rc::gen::element(1.0, 10.0, 100.0);
    futures.InterestRateRiskUp = Grid(0.0, 0.01, 5);
    futures.InterestRateRiskDown = Grid(0.0, 0.01, 5);
    futures.TimeToExpiration = Grid(0.05, 0.11, 12);
    futures.MRAddOnUp = Grid(0.0, 0.004, 4);
    futures.MRAddOnDown = Grid(0.0, 0.004, 4);
    futures.EnforceIMSHalfNetting = *rc::gen::inRange(0, 5) == 0;
    futures.SpreadAspect =
        *rc::gen::inRange(0, 4) == 0 ? Enums::SpreadAspect::NotInSpread : Enums::SpreadAspect::InSpread;
    if (*rc::gen::inRange(0, 6) == 0) futures.Attribute = Enums::InstrumentStatus::Collateral;
    return futures;
}

/// Four base contracts, two of them in one group, three futures each.
inline plain::Market Make()
{
    plain::Market market;
    market.currencies = {{1, Grid(0.0, 0.01, 8)}, {2, Grid(0.0, 0.01, 8)}};
    const auto pointsOfGroup = *rc::gen::inRange(1, 12);
    Isin isin = 0;
    for (const char* const code : {"A", "B", "C", "D"}) {
        const bool grouped = code[0] < 'C';
        market.baseContracts.push_back(
            Contract(code, grouped ? "GROUP" : "", grouped ? pointsOfGroup : *rc::gen::inRange(1, 12)));
        for (const char* const month : {"-1", "-2", "-3"}) {
            ++isin;
            market.futures.push_back(Futures(code + std::string(month), market.baseContracts.back(), isin));
        }
    }
    return market;
}

inline plain::Rules MakeRules()
{
    using enum Enums::SpreadMarginType;
    plain::Rules rules;
    rules.level = static_cast<Enums::ClientRiskLevel>(*rc::gen::inRange(0, 5));
    rules.noFutDiscount = *rc::gen::arbitrary<bool>();
    rules.calendar = *rc::gen::element(Unused, HalfNetting, Netting);
    rules.interContract = *rc::gen::element(Unused, HalfNetting, Netting);
    rules.shortChargeRatio = Grid(0.0, 0.5, 6);
    if (*rc::gen::arbitrary<bool>()) rules.ratios = {{"A", Grid(0.5, 0.25, 8)}, {"C", Grid(0.5, 0.25, 8)}};
    return rules;
}

inline plain::Holding MakeHolding(const FuturesSample& futures)
{
    return {*rc::gen::inRange<std::int64_t>(-500, 501), futures.CalcFutPrice + Grid(-4.0, 0.25, 33)};
}

} // namespace random_market
