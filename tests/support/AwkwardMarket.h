// AwkwardMarket: a market in which everything that the margin knows is at work, for what holds of any book.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "HandMarket.h"
#include "HandOrders.h"
#include "PlainMargin.h"

namespace awkward {

inline constexpr Isin NextMonth = 2;
inline constexpr Isin OtherContract = 3;
inline constexpr Isin FuturesIsins[] = {FUT, NextMonth, OtherContract};
inline constexpr Isin Call750 = 10;
inline constexpr Isin Put850 = 11;
inline constexpr Isin Call850 = 12;
inline constexpr Isin Call825 = 13;
inline constexpr Isin Multileg = 201;

[[nodiscard]] inline std::vector<OptionSample> OptionsOf(const std::string& series)
{
    using Enums::OptionType;
    return {HandOption(series, Call750, OptionType::Call, 750.0), HandOption(series, Put850, OptionType::Put, 850.0),
            HandOption(series, Call850, OptionType::Call, 850.0), HandOption(series, Call825, OptionType::Call, 825.0)};
}

/// Two months of a contract and one of another, a series on the first month, a spread; awkward prices, stress of the
/// rates, limits that bind and charges. Each bit turns one way of margining on.
[[nodiscard]] inline plain::Market MarketOf(unsigned bits)
{
    const auto has = [&](unsigned bit) { return (bits & bit) != 0; };
    plain::Market market;
    market.currencies = {{1, 0.05}};
    for (const std::string code : {"BC", "OTHER"}) {
        BaseContractSample contract = HandBaseContract(code, has(8) ? "GROUP" : "");
        contract.RiskPointsN = 5;
        contract.ShortOptionMinimumCharge = 0.3;
        contract.MarketRisk1[Enums::ClientRiskLevel::Default] = 0.19;
        contract.MarketRisk2[Enums::ClientRiskLevel::Default] = 0.27;
        contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        contract.CurrencyId = 1;
        contract.AssetClass = Enums::AssetClass::Currency;
        contract.ConcentrationLimit1 = 10;
        contract.ConcentrationLimit2 = 30;
        contract.WindowSizePercentage = 0.4;
        market.baseContracts.push_back(contract);
    }
    market.futures = {HandFutures(), HandFutures("NEXT", NextMonth), HandFutures("OTHER", OtherContract, "OTHER")};
    for (FuturesSample& futures : market.futures) {
        futures.SpreadAspect = Enums::SpreadAspect::InSpread;
        futures.InterestRateRiskUp = 0.07;
        futures.InterestRateRiskDown = 0.05;
        futures.MRAddOnUp = 0.003;
        futures.MRAddOnDown = 0.002;
        futures.RealCalcPrice += 1.7 * futures.Isin;
        futures.CalcFutPrice += 2.3 * futures.Isin;
        futures.TimeToExpiration = 0.2 * futures.Isin;
        futures.XLot = 1.0;
    }
    market.futures[1].EnforceIMSHalfNetting = has(16);
    kv7im::OptionSeriesParameters series = HandSeries("S");
    series.marginStyle = Enums::MarginStyle::Equity;
    series.A_Bach = 11.0;
    series.VolatilityRisk = 0.4;
    series.VolatilityRiskMismatch = 0.15;
    if (has(1)) series = InSpread(series);
    if (has(4)) series = Deliverable(series);
    series.SubRisk = has(2);
    series.EnforceHalfNetting = has(16);
    market.series = {series};
    market.options = OptionsOf("S");
    for (OptionSample& option : market.options)
        option.CalcOptPrice = 47.3;
    MultilegSample multileg;
    multileg.FirstRatio = -2;
    multileg.SecondRatio = 3;
    market.multilegs = {multileg};
    return market;
}
inline constexpr unsigned Markets = 32;

[[nodiscard]] inline plain::Rules RulesOf(unsigned bits)
{
    plain::Rules rules;
    const Enums::SpreadMarginType types[] = {Enums::SpreadMarginType::Netting, Enums::SpreadMarginType::HalfNetting,
                                             Enums::SpreadMarginType::Unused};
    rules.calendar = types[bits % 3];
    rules.interContract = types[bits / 3 % 3];
    rules.noFutDiscount = bits % 2 == 1;
    rules.shortChargeRatio = 1.3;
    rules.ratios = {{"BC", 1.2}};
    rules.clearings = 1;
    return rules;
}

/// An order of a random instrument, price and side.
struct Order
{
    explicit Order(std::mt19937& random)
    {
        const auto upTo = [&](int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); };
        const Isin isins[] = {FUT, NextMonth, OtherContract, Call750, Put850, Call850, Call825, Multileg};
        isin = isins[upTo(8)];
        double price = 690.0 + 2.17 * upTo(100);
        if (isin >= Call750) price = 0.61 * upTo(200);
        if (isin == Multileg) price = -20.0 + 0.37 * upTo(100);
        key = upTo(2) == 0 ? Buy(price) : Sell(price);
        quantity = 1 + upTo(20);
    }
    [[nodiscard]] SClearingDeltaOrder Placed() const { return Record(key, quantity, isin, isin); }
    [[nodiscard]] SClearingDeltaOrder Cancelled() const { return Record(key, -quantity, isin, isin); }

    Isin isin;
    KeyPriceType key;
    std::int64_t quantity;
};

/// Something in every instrument.
[[nodiscard]] inline plain::Book Holdings()
{
    return {{FUT, {4, 803.1, 4}},
            {NextMonth, {-7, 811.9, -7}},
            {OtherContract, {2, 797.7, 2}},
            {Call750, {-3, 61.3, -3}},
            {Put850, {5, 44.7, 5}}};
}

} // namespace awkward
