// MarginMarket: markets for tests of figures, as records of the plain margin model and, through the exported functions,
// in the library.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "PlainMargin.h"
#include "QuindalIM.h"

namespace quindal::test {

/// A contract to be worked by hand: the grid has three points, 100 below the price, at it and 100 above (a rate of 0.1
/// of the spot 1000); limits that never bind; no rates; one unit of price is worth 2 of money.
inline BaseContractSample HandContract(const std::string& code, const std::string& group = "")
{
    BaseContractSample contract;
    contract.Code = code;
    contract.CodeMCS = group;
    contract.RiskPointsN = 1;
    contract.ShortOptionMinimumCharge = 0.1;
    contract.MarketRisk = 0.1;
    contract.MarketRisk1 = 0.15;
    contract.MarketRisk2 = 0.2;
    contract.MarketRiskHigh = 0.2;
    contract.MarketRisk1High = 0.25;
    contract.MarketRisk2High = 0.3;
    contract.ConcentrationLimit1 = 1'000'000'000;
    contract.ConcentrationLimit2 = 2'000'000'000;
    contract.WindowSizePercentage = 0.0;
    return contract;
}

inline FuturesSample HandFutures(const std::string& code, const std::string& contract, Isin isin, double price = 1000.0,
                                 double time = 0.5)
{
    FuturesSample futures;
    futures.Code = code;
    futures.CodeBC = contract;
    futures.Isin = isin;
    futures.CalcFutPrice = price;
    futures.RealCalcPrice = price;
    futures.MinStepPrice = 2.0;
    futures.MinStep = 1.0;
    futures.XLot = 1.0;
    futures.NormalizedSpot = 1000.0;
    futures.TimeToExpiration = time;
    return futures;
}

/// Four contracts with everything that a futures market has: a group of two, one priced through a currency, one in per
/// cent; several expiries, one of them outside the spread, one that enforces half netting, a collateral; rates, shifts
/// and limits that bind.
inline plain::Market BusyMarket()
{
    plain::Market market;
    market.currencies = {{840, 0.045}};
    Isin isin = 0;
    const auto add = [&](const std::string& code, const std::string& group, double price, double step, double stepPrice,
                         double rate) {
        BaseContractSample contract = HandContract(code, group);
        contract.VolatNum = 3;
        contract.RiskPointsN = 8;
        contract.WindowSizePercentage = 0.25;
        double factor = 1.0;
        double* const levels[][3] = {
            {&contract.MarketRisk, &contract.MarketRisk1, &contract.MarketRisk2},
            {&contract.MarketRiskLow, &contract.MarketRisk1Low, &contract.MarketRisk2Low},
            {&contract.MarketRiskMedium, &contract.MarketRisk1Medium, &contract.MarketRisk2Medium},
            {&contract.MarketRiskHigh, &contract.MarketRisk1High, &contract.MarketRisk2High},
            {&contract.MarketRiskExceptional, &contract.MarketRisk1Exceptional, &contract.MarketRisk2Exceptional}};
        for (const auto& level : levels) {
            *level[0] = rate * factor;
            *level[1] = rate * factor * 1.3;
            *level[2] = rate * factor * 1.8;
            factor += 0.17;
        }
        contract.ConcentrationLimit1 = 60;
        contract.ConcentrationLimit2 = 240;
        market.baseContracts.push_back(contract);
        for (int month = 1; month <= 3; ++month) {
            FuturesSample futures = HandFutures(code + "-" + std::to_string(month), code, ++isin);
            futures.CalcFutPrice = price * (1.0 + 0.013 * month);
            futures.RealCalcPrice = futures.CalcFutPrice - 2.0 * step;
            futures.NormalizedSpot = price;
            futures.MinStep = step;
            futures.MinStepPrice = stepPrice;
            futures.InterestRateRiskUp = 0.03;
            futures.InterestRateRiskDown = 0.025;
            futures.TimeToExpiration = 0.1 + 0.25 * month;
            futures.MRAddOnUp = 0.001;
            futures.MRAddOnDown = 0.002;
            market.futures.push_back(futures);
        }
        return market.futures.size() - 3;
    };
    add("LARGE", "GROUP", 3300.0, 0.5, 5.0, 0.12);
    add("MINI", "GROUP", 3300.0, 0.5, 0.5, 0.12);
    const std::size_t currency = add("CURR", "", 1.25, 0.0001, 8.1, 0.05);
    market.baseContracts.back().MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    market.baseContracts.back().CurrencyId = 840;
    market.futures[currency].EnforceIMSHalfNetting = true;
    market.futures[currency + 1].SpreadAspect = Enums::SpreadAspect::NotInSpread;
    add("RATE", "", 14.25, 0.01, 83.33, 0.16);
    market.baseContracts.back().AssetClass = Enums::AssetClass::Percentage;
    market.baseContracts.back().SpotPrice = 14.25;
    const std::size_t share = add("SHARE", "", 26480.0, 1.0, 1.0, 0.18);
    market.futures[share].Attribute = Enums::InstrumentStatus::Collateral;
    return market;
}

namespace details {

inline void Check(std::int32_t code, const std::string& what)
{
    if (code != 0) throw std::runtime_error(what + " is refused with code " + std::to_string(code));
}

inline std::int32_t Insert(std::intptr_t calc, const BaseContractSample& c)
{
    return InsertBaseContract(
        calc, c.Code.c_str(), c.CodeMCS.c_str(), c.VolatNum, static_cast<QuindalMSPType>(c.MSPType), c.CurrencyId,
        c.ShortOptionMinimumCharge, c.MarketRisk, c.MarketRisk1, c.MarketRisk2, c.MarketRiskLow, c.MarketRisk1Low,
        c.MarketRisk2Low, c.MarketRiskMedium, c.MarketRisk1Medium, c.MarketRisk2Medium, c.MarketRiskHigh,
        c.MarketRisk1High, c.MarketRisk2High, c.MarketRiskExceptional, c.MarketRisk1Exceptional,
        c.MarketRisk2Exceptional, c.ConcentrationLimit1, c.ConcentrationLimit2, c.RiskPointsN, c.WindowSizePercentage,
        static_cast<QuindalOptionModel>(c.OptionModel), c.SpotPrice, static_cast<QuindalAssetClass>(c.AssetClass),
        c.CFRisk);
}

inline std::int32_t Insert(std::intptr_t calc, const FuturesSample& f)
{
    return InsertFutures(calc, f.Code.c_str(), f.CodeBC.c_str(), f.CalcFutPrice,
                         static_cast<QuindalSpreadAspect>(f.SpreadAspect), f.MinStepPrice, f.RealCalcPrice, f.MinStep,
                         f.XLot, f.InterestRateRiskUp, f.InterestRateRiskDown, f.TimeToExpiration, f.NormalizedSpot,
                         static_cast<QuindalAttribute>(f.Attribute), f.MRAddOnUp, f.MRAddOnDown,
                         f.EnforceIMSHalfNetting ? 1 : 0, "");
}

} // namespace details

/// Everything of a market into the calculator, parents first. Throws where the library refuses.
inline void InsertMarket(std::intptr_t calc, const plain::Market& market)
{
    details::Check(SetCommonParams(calc, market.edgeCoeff), "the edge coefficient");
    for (const auto& [id, radius] : market.currencies)
        details::Check(InsertCurrency(calc, id, radius), "currency " + std::to_string(id));
    for (const BaseContractSample& contract : market.baseContracts)
        details::Check(details::Insert(calc, contract), contract.Code);
    for (const FuturesSample& futures : market.futures)
        details::Check(details::Insert(calc, futures), futures.Code);
}

/// Registers a client that is margined by the rules. Its weight of deliveries is of no account: futures deliver nothing
/// that differs from their price.
inline std::int32_t RegisterClient(std::intptr_t calc, const std::string& code, const plain::Rules& rules,
                                   double goRatio = 1.0)
{
    return RegisterPart(calc, code.c_str(), rules.noFutDiscount ? 1 : 0, 0, 0.5,
                        static_cast<QuindalSpreadMarginType>(rules.calendar),
                        static_cast<QuindalSpreadMarginType>(rules.interContract), goRatio, rules.shortChargeRatio,
                        static_cast<QuindalClientRiskLevel>(rules.level), 0);
}

/// A margin as it is charged: to five decimals, then up to the next cent.
inline double Charged(double margin) { return std::ceil(std::round(margin * 100000) / 100000 * 100) / 100; }

} // namespace quindal::test
