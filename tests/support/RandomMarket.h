// RandomMarket: small markets and books for property tests, drawn by RapidCheck.
#pragma once

#include <string>
#include <utility>

#include <rapidcheck.h>

#include "PlainMargin.h"

namespace random_market {

/// A number from low up to but not including high, over the whole range from the first case on: RapidCheck would begin
/// with small numbers, and small markets say little.
template <class Number>
Number Between(Number low, Number high)
{
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(low, high));
}
/// A value of {low, low + step, ...} with `count` values.
inline double Grid(double low, double step, int count) { return low + step * Between(0, count); }
inline bool OnceIn(int times) { return Between(0, times) == 0; }

inline BaseContractSample Contract(const std::string& code, const std::string& codeMCS, std::int32_t riskPointsN)
{
    BaseContractSample contract;
    contract.Code = code;
    contract.CodeMCS = codeMCS;
    contract.RiskPointsN = riskPointsN;
    contract.VolatNum = *rc::gen::element(3, 5);
    contract.ShortOptionMinimumCharge = Grid(0.0, 0.05, 11);
    contract.AssetClass = *rc::gen::element(Enums::AssetClass::Stock, Enums::AssetClass::Index,
                                            Enums::AssetClass::Commodity, Enums::AssetClass::Percentage);
    contract.OptionModel = *rc::gen::element(Enums::OptionModel::BlackScholes, Enums::OptionModel::Bachelier);
    contract.CFRisk = Grid(0.0, 0.1, 4);
    contract.SpotPrice = Grid(50.0, 10.0, 20);
    contract.MSPType = *rc::gen::element(Enums::MSPType::FixedPriceStep, Enums::MSPType::CurrencyIndicatorPriceStep);
    contract.CurrencyId = Between(1, 3);
    contract.ConcentrationLimit1 = Between(0, 500);
    contract.ConcentrationLimit2 = contract.ConcentrationLimit1 + Between(0, 1000);
    contract.WindowSizePercentage = Grid(0.0, 0.1, 11);
    const double rate = Grid(0.04, 0.02, 8);
    double factor = 1.0;
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        contract.MarketRisk[level] = rate * factor;
        contract.MarketRisk1[level] = rate * factor * 1.25;
        contract.MarketRisk2[level] = rate * factor * 1.75;
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
    futures.EnforceIMSHalfNetting = OnceIn(5);
    futures.SpreadAspect = OnceIn(4) ? Enums::SpreadAspect::NotInSpread : Enums::SpreadAspect::InSpread;
    if (OnceIn(6)) futures.Attribute = Enums::InstrumentStatus::Collateral;
    return futures;
}

/// A series of any kind that the futures allows, with parameters that no check corrects. Prices are near 100.
inline kv7im::OptionSeriesParameters Series(const std::string& code, const FuturesSample& futures)
{
    kv7im::OptionSeriesParameters series;
    series.Code = code;
    series.CodeRF = futures.Code;
    series.A = Grid(5.0, 5.0, 10);
    series.B = Grid(-2.0, 2.0, 8);
    series.C = Grid(0.0, 0.5, 4);
    series.D = Grid(-6.0, 2.0, 7);
    series.E = Grid(1.0, 3.5, 5);
    series.S = Grid(-0.02, 0.01, 5);
    series.UseNullVolat = *rc::gen::arbitrary<bool>();
    series.ExpClearingsSA = Between(0, 3);
    series.ExpClearingsBF = Between(0, 3);
    series.ExpClearingsCC = Between(0, 4);
    series.VolatilityRisk = Grid(0.0, 0.1, 6);
    series.VolatilityRiskMismatch = Grid(0.0, 0.05, 5);
    series.TimeToExpiration = *rc::gen::element(0.00006, 0.01, 0.08, 0.3, 1.2);
    series.A_Bach = Grid(0.5, 0.25, 6);
    series.B_Bach = Grid(-0.1, 0.1, 5);
    series.C_Bach = Grid(0.0, 0.5, 4);
    series.D_Bach = Grid(-0.2, 0.1, 5);
    series.E_Bach = Grid(1.0, 3.5, 5);
    series.S_Bach = Grid(-0.1, 0.05, 5);
    series.M_Bach = Grid(5.0, 5.0, 6);
    series.marginStyle = plain::IsCollateral(futures)
                             ? Enums::MarginStyle::Equity
                             : *rc::gen::element(Enums::MarginStyle::Futures, Enums::MarginStyle::Equity);
    series.settlementType = *rc::gen::element(Enums::SettlementType::CashSettled, Enums::SettlementType::Deliverable);
    series.SubRisk = *rc::gen::arbitrary<bool>();
    series.SpreadAspect = *rc::gen::element(Enums::SpreadAspect::NotInSpread, Enums::SpreadAspect::InSpread);
    series.EnforceHalfNetting = OnceIn(3);
    series.MinStep = *rc::gen::element(0.01, 0.25);
    series.MinStepPrice = *rc::gen::element(0.25, 1.0, 7.75);
    series.StrikeStep = *rc::gen::element(0.25, 1.0, 2.5, 5.0);
    series.LotCoeff = *rc::gen::element(1, 1, 2);
    series.R = Grid(0.0, 0.05, 4);
    series.InterestRateRiskUp = Grid(0.0, 0.01, 4);
    series.InterestRateRiskDown = Grid(0.0, 0.01, 4);
    series.FixedSpotDiscount = Grid(0.0, 0.5, 3);
    series.ProjectedSpotDiscount = Grid(0.0, 0.5, 3);
    series.R2 = Grid(0.0, 0.05, 4);
    series.InterestRate2RiskUp = Grid(0.0, 0.01, 4);
    series.InterestRate2RiskDown = Grid(0.0, 0.01, 4);
    return series;
}

/// Strikes of premium-style series are those of the whole lot.
inline OptionSample Option(const std::string& code, const kv7im::OptionSeriesParameters& series,
                           const FuturesSample& futures, Isin isin)
{
    OptionSample option;
    option.Code = code;
    option.CodeVF = series.Code;
    option.Isin = isin;
    option.Strike = futures.CalcFutPrice + Grid(-10.0, 1.0, 21);
    if (series.marginStyle == Enums::MarginStyle::Equity) option.Strike *= series.LotCoeff;
    option.OptionType = *rc::gen::element(Enums::OptionType::Put, Enums::OptionType::Call);
    option.CalcOptPrice = Grid(0.25, 0.5, 20);
    return option;
}

/// One or two options of each of up to two series on a futures. A collateral instrument in per cent has none, since its
/// first series would make a stock of its base contract.
inline void AddOptions(plain::Market& market, const BaseContractSample& contract, const FuturesSample& futures)
{
    if (plain::IsCollateral(futures) && contract.AssetClass == Enums::AssetClass::Percentage) return;
    const int count = Between(0, 3);
    for (int number = 1; number <= count; ++number) {
        const std::string code = futures.Code + "-S" + std::to_string(number);
        market.series.push_back(Series(code, futures));
        const int options = Between(1, 3);
        for (int i = 1; i <= options; ++i)
            market.options.push_back(Option(code + "-" + std::to_string(i), market.series.back(), futures,
                                            1001 + static_cast<Isin>(market.options.size())));
    }
}

/// Calendar spreads on some pairs of the last three futures, a few of them with ratios of their own.
inline void AddMultilegs(plain::Market& market)
{
    const std::size_t months = market.futures.size() - 3;
    for (const auto& [near, far] : {std::pair(0, 1), std::pair(1, 2), std::pair(0, 2)}) {
        if (OnceIn(3)) continue;
        MultilegSample multileg;
        multileg.Isin = 2001 + static_cast<Isin>(market.multilegs.size());
        multileg.Code = market.futures[months].CodeBC + "-" + std::to_string(near + 1) + "-" + std::to_string(far + 1);
        multileg.FirstLeg = market.futures[months + static_cast<std::size_t>(near)].Isin;
        multileg.SecondLeg = market.futures[months + static_cast<std::size_t>(far)].Isin;
        if (OnceIn(4)) {
            multileg.FirstRatio = *rc::gen::element(-3, -2, 1, 2);
            multileg.SecondRatio = *rc::gen::element(-2, -1, 2, 3);
        }
        market.multilegs.push_back(multileg);
    }
}

/// A contract of its own that trades at the settlement price of a futures.
inline void AddTradeAtSettlement(plain::Market& market, FuturesSample tracked)
{
    market.baseContracts.push_back(Contract("T", "", Between(1, 12)));
    FuturesSample futures = Futures("T-1", market.baseContracts.back(), 1 + static_cast<Isin>(market.futures.size()));
    futures.CalcFutPrice = tracked.CalcFutPrice;
    futures.NormalizedSpot = tracked.NormalizedSpot;
    futures.Attribute = Enums::InstrumentStatus::TAS;
    futures.TASBaseFutIsinID = tracked.Isin;
    market.futures.push_back(futures);
}

/// Four base contracts, two of them in one group, three futures each, options and calendar spreads on some, and a fifth
/// that trades at the settlement of the first futures.
inline plain::Market Make()
{
    plain::Market market;
    market.currencies = {{1, Grid(0.0, 0.01, 8)}, {2, Grid(0.0, 0.01, 8)}};
    const auto pointsOfGroup = Between(1, 12);
    Isin isin = 0;
    for (const char* const code : {"A", "B", "C", "D"}) {
        const bool grouped = code[0] < 'C';
        market.baseContracts.push_back(
            Contract(code, grouped ? "GROUP" : "", grouped ? pointsOfGroup : Between(1, 12)));
        for (const char* const month : {"-1", "-2", "-3"}) {
            ++isin;
            market.futures.push_back(Futures(code + std::string(month), market.baseContracts.back(), isin));
            AddOptions(market, market.baseContracts.back(), market.futures.back());
        }
        AddMultilegs(market);
    }
    AddTradeAtSettlement(market, market.futures.front());
    return market;
}

/// One market-risk rate at all levels and sizes, and no concentration limit that binds.
inline void MakeOneTier(BaseContractSample& contract)
{
    const kv7im::RiskLevelIndexedArray<double> rate(contract.MarketRisk[Enums::ClientRiskLevel::Default]);
    contract.MarketRisk = contract.MarketRisk1 = contract.MarketRisk2 = rate;
    contract.ConcentrationLimit1 = contract.ConcentrationLimit2 = 1'000'000'000'000;
}

inline plain::Rules MakeRules()
{
    using enum Enums::SpreadMarginType;
    plain::Rules rules;
    rules.level = static_cast<Enums::ClientRiskLevel>(Between(0, 5));
    rules.noFutDiscount = *rc::gen::arbitrary<bool>();
    rules.calendar = *rc::gen::element(Unused, HalfNetting, Netting);
    rules.interContract = *rc::gen::element(Unused, HalfNetting, Netting);
    rules.shortChargeRatio = Grid(0.0, 0.5, 6);
    rules.tier = *rc::gen::element(plain::Tier::Client, plain::Tier::Firm, plain::Tier::Account);
    rules.clearings = Between(0, 4);
    if (*rc::gen::arbitrary<bool>()) rules.ratios = {{"A", Grid(0.5, 0.25, 8)}, {"C", Grid(0.5, 0.25, 8)}};
    return rules;
}

inline std::int64_t Quantity() { return OnceIn(10) ? 0 : Between<std::int64_t>(-500, 501); }

inline double PriceNear(const FuturesSample& futures)
{
    return (plain::TradesAtSettlement(futures) ? 0.0 : futures.CalcFutPrice) + Grid(-4.0, 0.25, 33);
}
inline double PriceNear(const OptionSample& option) { return option.CalcOptPrice + Grid(0.0, 0.25, 17); }
/// No two spreads have a price in common: the legs of orders in two spreads with the price, the side and the leg in
/// common are one entry of the leg, which knows one of the two spreads only when its book is taken anew.
inline double PriceNear(const MultilegSample& multileg, const plain::MarketView& market)
{
    const double distance =
        market.FindFutures(multileg.SecondLeg)->CalcFutPrice - market.FindFutures(multileg.FirstLeg)->CalcFutPrice;
    return distance + Grid(-4.0, 0.25, 33) + 0.00001 * (multileg.Isin - 2000);
}

inline plain::Holding MakeHolding(const FuturesSample& futures) { return {Quantity(), PriceNear(futures)}; }
/// What the last clearing left is what is held now, most of the time.
inline plain::Holding MakeHolding(const OptionSample& option)
{
    plain::Holding holding{Quantity(), PriceNear(option)};
    holding.afterLastClearing = OnceIn(3) ? Between<std::int64_t>(-500, 501) : holding.quantity;
    return holding;
}

/// An order in a futures, an option or a calendar spread; they are drawn alike.
inline plain::Order MakeOrder(const plain::Market& market)
{
    const plain::MarketView view(market, {});
    plain::Order order;
    double price = 0.0;
    const int kind = Between(0, 3);
    if (kind == 1 && !market.options.empty()) {
        const OptionSample& option = *rc::gen::elementOf(market.options);
        order.isin = option.Isin;
        price = PriceNear(option);
    } else if (kind == 2 && !market.multilegs.empty()) {
        const MultilegSample& multileg = *rc::gen::elementOf(market.multilegs);
        order.isin = multileg.Isin;
        price = PriceNear(multileg, view);
    } else {
        const FuturesSample& futures = *rc::gen::elementOf(market.futures);
        order.isin = futures.Isin;
        price = PriceNear(futures);
    }
    order.buy = *rc::gen::arbitrary<bool>();
    order.price = plain::OnPriceGrid(price);
    order.quantity = order.placed = Between<std::int64_t>(1, 501);
    return order;
}

} // namespace random_market
