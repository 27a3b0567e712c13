// MarginMarket: markets for tests of figures, as records of the plain margin model and in the library, through the
// exported functions or as the document of a download.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "ExportCalls.h"
#include "PlainMargin.h"
#include "QuindalIM.h"

namespace quindal::test {

/// A contract to be worked by hand: the grid has three points, 100 below the price, at it and 100 above (a rate of 0.1
/// of the spot 1000); limits that never bind; no rates; one unit of price is worth 2 of money. Options are valued by
/// the model of Bachelier.
inline BaseContractSample HandContract(const std::string& code, const std::string& group = "")
{
    BaseContractSample contract;
    contract.Code = code;
    contract.CodeMCS = group;
    contract.RiskPointsN = 1;
    contract.ShortOptionMinimumCharge = 0.1;
    contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.1;
    contract.MarketRisk1[Enums::ClientRiskLevel::Default] = 0.15;
    contract.MarketRisk2[Enums::ClientRiskLevel::Default] = 0.2;
    contract.MarketRisk[Enums::ClientRiskLevel::High] = 0.2;
    contract.MarketRisk1[Enums::ClientRiskLevel::High] = 0.25;
    contract.MarketRisk2[Enums::ClientRiskLevel::High] = 0.3;
    contract.ConcentrationLimit1 = 1'000'000'000;
    contract.ConcentrationLimit2 = 2'000'000'000;
    contract.WindowSizePercentage = 0.0;
    contract.OptionModel = Enums::OptionModel::Bachelier;
    return contract;
}

/// Price and spot of 1000; one unit of price is worth 2 of money.
inline FuturesSample TwoMoneyFutures(const std::string& code, const std::string& contract, Isin isin,
                                     double price = 1000.0, double time = 0.5)
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

/// A series in which every option is worth what its exercise would bring: the smile is 0, so that the volatility is the
/// smallest there is, 0.01 a year, and strikes lie far enough from the grid for it not to be felt. One unit of price is
/// worth 2 of money; in spread; no sub-points.
inline kv7im::OptionSeriesParameters TwoMoneySeries(const std::string& code, const std::string& futures)
{
    kv7im::OptionSeriesParameters series;
    series.Code = code;
    series.CodeRF = futures;
    series.E = 1.0;
    series.E_Bach = 1.0;
    series.M_Bach = 1.0;
    series.StrikeStep = 50.0;
    series.TimeToExpiration = 0.25;
    series.SpreadAspect = Enums::SpreadAspect::InSpread;
    series.MinStep = 0.01;
    series.MinStepPrice = 0.02;
    return series;
}
inline kv7im::OptionSeriesParameters TwoMoneySeriesAlone(const std::string& code, const std::string& futures)
{
    kv7im::OptionSeriesParameters series = TwoMoneySeries(code, futures);
    series.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    return series;
}

inline OptionSample NamedOption(const std::string& code, const std::string& series, Enums::OptionType type,
                                double strike, double price, Isin isin)
{
    OptionSample option;
    option.Code = code;
    option.CodeVF = series;
    option.OptionType = type;
    option.Strike = strike;
    option.CalcOptPrice = price;
    option.Isin = isin;
    return option;
}

/// PREFIX-NEAR-FAR of two futures, which name the legs of a spread that sells the first and buys the second.
inline MultilegSample HandMultileg(const std::string& code, Isin isin, const FuturesSample& near,
                                   const FuturesSample& far)
{
    MultilegSample multileg;
    multileg.Code = code;
    multileg.Isin = isin;
    multileg.FirstLeg = near.Isin;
    multileg.SecondLeg = far.Isin;
    return multileg;
}

namespace details {

/// Spreads between all three months of a contract.
inline void AddMultilegs(plain::Market& market, std::size_t firstMonth)
{
    for (const auto& [near, far] : {std::pair(0U, 1U), std::pair(1U, 2U), std::pair(0U, 2U)}) {
        const FuturesSample& futures = market.futures[firstMonth + near];
        const std::string code = futures.CodeBC + "-" + std::to_string(near + 1) + "-" + std::to_string(far + 1);
        const auto isin = static_cast<Isin>(5001 + market.multilegs.size());
        market.multilegs.push_back(HandMultileg(code, isin, futures, market.futures[firstMonth + far]));
    }
}

/// A series with a smile, shocks and rates, scaled to the price of its futures, and five strikes of puts and calls. The
/// series of one market differ by their number in what a series may do.
inline void AddSeries(plain::Market& market, const FuturesSample& futures, bool inSpread, Enums::MarginStyle style)
{
    const std::size_t number = market.series.size();
    const double price = futures.NormalizedSpot;
    kv7im::OptionSeriesParameters series = TwoMoneySeries(futures.Code + "-S" + std::to_string(number), futures.Code);
    series.A = 18.0 + static_cast<double>(number);
    series.B = 9.0;
    series.C = number % 3 == 0 ? 0.0 : 0.6;
    series.D = -5.0;
    series.E = 2.5;
    series.S = 0.01;
    series.A_Bach = 1.0;
    series.B_Bach = 0.3;
    series.C_Bach = 0.5;
    series.D_Bach = -0.1;
    series.E_Bach = 1.5;
    series.M_Bach = 0.2 * price;
    series.UseNullVolat = number % 4 == 1;
    series.StrikeStep = 0.02 * price;
    series.ExpClearingsSA = series.ExpClearingsBF = series.ExpClearingsCC = static_cast<std::int32_t>(number % 3);
    series.settlementType = number % 5 == 3 ? Enums::SettlementType::CashSettled : Enums::SettlementType::Deliverable;
    series.VolatilityRisk = 0.25;
    series.VolatilityRiskMismatch = 0.06;
    series.TimeToExpiration = 0.8 * futures.TimeToExpiration;
    series.marginStyle = style;
    series.SubRisk = number % 2 == 0;
    if (!inSpread) series.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    series.EnforceHalfNetting = number % 4 == 2;
    series.MinStep = futures.MinStep;
    series.MinStepPrice = futures.MinStepPrice;
    series.R = 0.08;
    series.InterestRateRiskUp = 0.02;
    series.InterestRateRiskDown = 0.015;
    series.FixedSpotDiscount = 0.004 * price;
    series.ProjectedSpotDiscount = 0.006 * price;
    series.R2 = 0.03;
    series.InterestRate2RiskUp = 0.005;
    series.InterestRate2RiskDown = 0.004;
    for (int step = -2; step <= 2; ++step)
        for (const auto type : {Enums::OptionType::Put, Enums::OptionType::Call}) {
            const std::string code =
                series.Code + (type == Enums::OptionType::Put ? "-P" : "-C") + std::to_string(step);
            const auto isin = static_cast<Isin>(101 + market.options.size());
            market.options.push_back(NamedOption(code, series.Code, type,
                                                 plain::OnPriceGrid(price * (1.0 + 0.02 * step)),
                                                 plain::OnPriceGrid(0.03 * price), isin));
        }
    market.series.push_back(series);
}

} // namespace details

/// Five contracts with everything that a market has: a group of two, one priced through a currency, one in per cent;
/// several expiries, one of them outside the spread, one that enforces half netting, a collateral; calendar spreads
/// between all expiries, and a contract that trades at settlement; rates, shifts and limits that bind; options of all
/// kinds and both models, in spread and alone, with deliveries and without. Prices have five decimals, as a download
/// takes them.
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
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
            contract.MarketRisk[level] = rate * factor;
            contract.MarketRisk1[level] = rate * factor * 1.3;
            contract.MarketRisk2[level] = rate * factor * 1.8;
            factor += 0.17;
        }
        contract.ConcentrationLimit1 = 60;
        contract.ConcentrationLimit2 = 240;
        market.baseContracts.push_back(contract);
        for (int month = 1; month <= 3; ++month) {
            FuturesSample futures = TwoMoneyFutures(code + "-" + std::to_string(month), code, ++isin);
            futures.CalcFutPrice = plain::OnPriceGrid(price * (1.0 + 0.013 * month));
            futures.RealCalcPrice = plain::OnPriceGrid(futures.CalcFutPrice - 2.0 * step);
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
    const std::size_t rate = add("RATE", "", 14.25, 0.01, 83.33, 0.16);
    market.baseContracts.back().AssetClass = Enums::AssetClass::Percentage;
    market.baseContracts.back().SpotPrice = 14.25;
    const std::size_t share = add("SHARE", "", 26480.0, 1.0, 1.0, 0.18);
    market.futures[share].Attribute = Enums::InstrumentStatus::Collateral;
    market.baseContracts.back().CFRisk = 0.2;
    for (const std::size_t contract : {0U, 2U, 4U})
        market.baseContracts[contract].OptionModel = Enums::OptionModel::BlackScholes;

    using enum Enums::MarginStyle;
    const struct
    {
        std::size_t futures;
        bool inSpread;
        Enums::MarginStyle style;
    } all[] = {{0, true, Futures},
               {0, false, Futures},
               {1, true, Futures},
               {3, true, Futures},
               {4, true, Equity},
               {4, false, Futures},
               {currency, true, Equity},
               {currency + 1, true, Futures},
               {currency + 2, false, Equity},
               {rate, true, Futures},
               {rate + 1, true, Futures},
               {share, true, Equity},
               {share, false, Equity},
               {share + 1, true, Futures},
               {share + 1, true, Equity}};
    for (const auto& [futures, inSpread, style] : all)
        details::AddSeries(market, market.futures[futures], inSpread, style);
    for (const std::size_t firstMonth : {std::size_t{0}, std::size_t{3}, currency, rate, share})
        details::AddMultilegs(market, firstMonth);

    market.baseContracts.push_back(market.baseContracts.front());
    market.baseContracts.back().Code = "TAS";
    market.baseContracts.back().CodeMCS = "";
    market.futures.push_back(market.futures.front());
    market.futures.back().Code = "TAS-1";
    market.futures.back().CodeBC = "TAS";
    market.futures.back().Isin = ++isin;
    market.futures.back().Attribute = Enums::InstrumentStatus::TAS;
    market.futures.back().TASBaseFutIsinID = market.futures.front().Isin;
    return market;
}

namespace details {

inline void Check(std::int32_t code, const std::string& what)
{
    if (code != 0) throw std::runtime_error(what + " is refused with code " + std::to_string(code));
}

inline std::int32_t Insert(std::intptr_t calc, const BaseContractSample& c)
{
    using enum Enums::ClientRiskLevel;
    const auto& [r, r1, r2] = std::tie(c.MarketRisk, c.MarketRisk1, c.MarketRisk2);
    return InsertBaseContract(calc, c.Code.c_str(), c.CodeMCS.c_str(), c.VolatNum,
                              static_cast<QuindalMSPType>(c.MSPType), c.CurrencyId, c.ShortOptionMinimumCharge,
                              r[Default], r1[Default], r2[Default], r[Low], r1[Low], r2[Low], r[Medium], r1[Medium],
                              r2[Medium], r[High], r1[High], r2[High], r[Exceptional], r1[Exceptional], r2[Exceptional],
                              c.ConcentrationLimit1, c.ConcentrationLimit2, c.RiskPointsN, c.WindowSizePercentage,
                              static_cast<QuindalOptionModel>(c.OptionModel), c.SpotPrice,
                              static_cast<QuindalAssetClass>(c.AssetClass), c.CFRisk);
}

/// tracked is the code of the futures whose settlement this one trades at.
inline std::int32_t Insert(std::intptr_t calc, const FuturesSample& f, const std::string& tracked)
{
    return InsertFutures(calc, f.Code.c_str(), f.CodeBC.c_str(), f.CalcFutPrice,
                         static_cast<QuindalSpreadAspect>(f.SpreadAspect), f.MinStepPrice, f.RealCalcPrice, f.MinStep,
                         f.XLot, f.InterestRateRiskUp, f.InterestRateRiskDown, f.TimeToExpiration, f.NormalizedSpot,
                         static_cast<QuindalAttribute>(f.Attribute), f.MRAddOnUp, f.MRAddOnDown,
                         f.EnforceIMSHalfNetting ? 1 : 0, tracked.c_str());
}

inline std::int32_t Insert(std::intptr_t calc, const kv7im::OptionSeriesParameters& s)
{
    return InsertOptionSeries(
        calc, s.Code.c_str(), s.CodeRF.c_str(), s.A, s.B, s.C, s.D, s.E, s.UseNullVolat ? 1 : 0, s.S, s.StrikeStep,
        s.ExpClearingsSA, s.ExpClearingsBF, s.ExpClearingsCC, s.VolatilityRisk, s.VolatilityRiskMismatch,
        s.TimeToExpiration, s.A_Bach, s.B_Bach, s.C_Bach, s.D_Bach, s.E_Bach, s.S_Bach, s.M_Bach,
        static_cast<QuindalMarginStyle>(s.marginStyle), static_cast<QuindalSettlementType>(s.settlementType),
        static_cast<QuindalExerciseStyle>(s.exerciseStyle), s.SubRisk ? 1 : 0,
        static_cast<QuindalSpreadAspect>(s.SpreadAspect), s.EnforceHalfNetting ? 1 : 0, s.MinStep, s.MinStepPrice,
        s.LotCoeff, s.R, s.InterestRateRiskUp, s.InterestRateRiskDown, s.FixedSpotDiscount, s.ProjectedSpotDiscount,
        s.R2, s.InterestRate2RiskUp, s.InterestRate2RiskDown);
}

inline std::int32_t Insert(std::intptr_t calc, const OptionSample& o)
{
    return InsertOption(calc, o.Code.c_str(), o.CodeVF.c_str(), o.Strike, static_cast<QuindalOptionType>(o.OptionType),
                        o.CalcOptPrice);
}

} // namespace details

namespace details {

/// One element of the document; numbers so that they are read back to the last bit.
class Element
{
public:
    explicit Element(const char* name) : m_text(std::string("<") + name) {}
    Element& Add(const char* name, const std::string& value)
    {
        m_text += std::string(" ") + name + "=\"" + value + "\"";
        return *this;
    }
    Element& Add(const char* name, double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.17g", value);
        return Add(name, std::string(text));
    }
    template <class Integer>
    requires std::is_integral_v<Integer> || std::is_enum_v<Integer> Element& Add(const char* name, Integer value)
    {
        return Add(name, std::to_string(static_cast<std::int64_t>(value)));
    }
    [[nodiscard]] std::string Text() const { return m_text + "/>\n"; }

private:
    std::string m_text;
};

inline std::string Document(const BaseContractSample& c)
{
    using enum Enums::ClientRiskLevel;
    return Element("BaseContract")
        .Add("Code", c.Code)
        .Add("CodeMCS", c.CodeMCS)
        .Add("VolatNum", c.VolatNum)
        .Add("MSPType", c.MSPType)
        .Add("ShortOptionMinimumCharge", c.ShortOptionMinimumCharge)
        .Add("IndicatorID", c.CurrencyId)
        .Add("MarketRisk", c.MarketRisk[Default])
        .Add("MarketRisk1", c.MarketRisk1[Default])
        .Add("MarketRisk2", c.MarketRisk2[Default])
        .Add("MarketRiskLow", c.MarketRisk[Low])
        .Add("MarketRisk1Low", c.MarketRisk1[Low])
        .Add("MarketRisk2Low", c.MarketRisk2[Low])
        .Add("MarketRiskMedium", c.MarketRisk[Medium])
        .Add("MarketRisk1Medium", c.MarketRisk1[Medium])
        .Add("MarketRisk2Medium", c.MarketRisk2[Medium])
        .Add("MarketRiskHigh", c.MarketRisk[High])
        .Add("MarketRisk1High", c.MarketRisk1[High])
        .Add("MarketRisk2High", c.MarketRisk2[High])
        .Add("MarketRiskExceptional", c.MarketRisk[Exceptional])
        .Add("MarketRisk1Exceptional", c.MarketRisk1[Exceptional])
        .Add("MarketRisk2Exceptional", c.MarketRisk2[Exceptional])
        .Add("ConcentrationLimit1", c.ConcentrationLimit1)
        .Add("ConcentrationLimit2", c.ConcentrationLimit2)
        .Add("RiskPointsN", c.RiskPointsN)
        .Add("WindowSizePercentage", c.WindowSizePercentage)
        .Add("OptionModel", c.OptionModel)
        .Add("SpotPrice", c.SpotPrice)
        .Add("AssetClass", c.AssetClass)
        .Add("CFRisk", c.CFRisk)
        .Text();
}

inline std::string Document(const FuturesSample& f, const std::string& tracked)
{
    return Element("Futures")
        .Add("Code", f.Code)
        .Add("CodeBC", f.CodeBC)
        .Add("Isin", f.Isin)
        .Add("CalcFutPrice", f.CalcFutPrice)
        .Add("SpreadAspect", f.SpreadAspect)
        .Add("MinStepPrice", f.MinStepPrice)
        .Add("RealCalcPrice", f.RealCalcPrice)
        .Add("MinStep", f.MinStep)
        .Add("ExpiredDate", "2026-12-17 19:00:00")
        .Add("Spot", 0)
        .Add("XLot", f.XLot)
        .Add("Lot", 1)
        .Add("InterestRateRiskUp", f.InterestRateRiskUp)
        .Add("InterestRateRiskDown", f.InterestRateRiskDown)
        .Add("TimeToExpiration", f.TimeToExpiration)
        .Add("NormalizedSpot", f.NormalizedSpot)
        .Add("Attribute", f.Attribute)
        .Add("MRAddOnUp", f.MRAddOnUp)
        .Add("MRAddOnDown", f.MRAddOnDown)
        .Add("EnforceIMSHalfNetting", f.EnforceIMSHalfNetting)
        .Add("TASBaseFutCode", tracked)
        .Text();
}

inline std::string Document(const kv7im::OptionSeriesParameters& s)
{
    return Element("VirtFutures")
        .Add("Code", s.Code)
        .Add("CodeRF", s.CodeRF)
        .Add("A_Black", s.A)
        .Add("B_Black", s.B)
        .Add("C_Black", s.C)
        .Add("D_Black", s.D)
        .Add("E_Black", s.E)
        .Add("S_Black", s.S)
        .Add("UseNullVolat", s.UseNullVolat)
        .Add("StrikeStep", s.StrikeStep)
        .Add("ExpClearingsSA", s.ExpClearingsSA)
        .Add("ExpClearingsBF", s.ExpClearingsBF)
        .Add("ExpClearingsCC", s.ExpClearingsCC)
        .Add("VolatilityRisk", s.VolatilityRisk)
        .Add("VolatilityRiskMismatch", s.VolatilityRiskMismatch)
        .Add("TimeToExpiration", s.TimeToExpiration)
        .Add("A_Bach", s.A_Bach)
        .Add("B_Bach", s.B_Bach)
        .Add("C_Bach", s.C_Bach)
        .Add("D_Bach", s.D_Bach)
        .Add("E_Bach", s.E_Bach)
        .Add("S_Bach", s.S_Bach)
        .Add("M_Bach", s.M_Bach)
        .Add("MarginStyle", s.marginStyle)
        .Add("SettlementType", s.settlementType)
        .Add("ExerciseStyle", s.exerciseStyle)
        .Add("SubRisk", s.SubRisk)
        .Add("SpreadAspect", s.SpreadAspect)
        .Add("EnforceHalfNetting", s.EnforceHalfNetting)
        .Add("MinStep", s.MinStep)
        .Add("MinStepPrice", s.MinStepPrice)
        .Add("LotCoeff", s.LotCoeff)
        .Add("r", s.R)
        .Add("InterestRateRiskUp", s.InterestRateRiskUp)
        .Add("InterestRateRiskDown", s.InterestRateRiskDown)
        .Add("FixedSpotDiscount", s.FixedSpotDiscount)
        .Add("ProjectedSpotDiscount", s.ProjectedSpotDiscount)
        .Add("r2", s.R2)
        .Add("InterestRate2RiskUp", s.InterestRate2RiskUp)
        .Add("InterestRate2RiskDown", s.InterestRate2RiskDown)
        .Text();
}

inline std::string Document(const OptionSample& o)
{
    return Element("Option")
        .Add("Code", o.Code)
        .Add("CodeVF", o.CodeVF)
        .Add("Strike", o.Strike)
        .Add("OptType", o.OptionType)
        .Add("CalcOptPrice", o.CalcOptPrice)
        .Text();
}

/// Two rows, one a leg.
inline std::string Document(const MultilegSample& m, const plain::MarketView& market)
{
    const auto row = [&](Isin leg, int number, std::int32_t ratio) {
        return Element("Multileg")
            .Add("Isin", m.Isin)
            .Add("IsinLeg", leg)
            .Add("LegOrderNum", number)
            .Add("LegsQuantity", 2)
            .Add("QuantityRatio", ratio)
            .Add("CodeLeg", market.FindFutures(leg)->Code)
            .Text();
    };
    return row(m.FirstLeg, 1, m.FirstRatio) + row(m.SecondLeg, 2, m.SecondRatio);
}

} // namespace details

/// A market as a server sends it.
inline std::string MarketDocument(const plain::Market& market)
{
    const plain::MarketView view(market, {});
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root>\n";
    text += details::Element("CommonParameters").Add("EdgeCoeff", market.edgeCoeff).Text();
    for (const auto& [id, radius] : market.currencies)
        text += details::Element("Currency").Add("IndicatorID", id).Add("Radius", radius).Text();
    for (const BaseContractSample& contract : market.baseContracts)
        text += details::Document(contract);
    for (const FuturesSample& futures : market.futures) {
        const FuturesSample* const tracked = view.FindFutures(futures.TASBaseFutIsinID);
        text += details::Document(futures, tracked == nullptr ? "" : tracked->Code);
    }
    for (const kv7im::OptionSeriesParameters& series : market.series)
        text += details::Document(series);
    for (const OptionSample& option : market.options)
        text += details::Document(option);
    for (const MultilegSample& multileg : market.multilegs)
        text += details::Document(multileg, view);
    return text + "</root>\n";
}

/// Everything of a market into the calculator, parents first. Throws where the library refuses.
inline void InsertMarket(std::intptr_t calc, const plain::Market& market)
{
    details::Check(SetCommonParams(calc, market.edgeCoeff), "the edge coefficient");
    for (const auto& [id, radius] : market.currencies)
        details::Check(InsertCurrency(calc, id, radius), "currency " + std::to_string(id));
    for (const BaseContractSample& contract : market.baseContracts)
        details::Check(details::Insert(calc, contract), contract.Code);
    for (const FuturesSample& futures : market.futures) {
        const FuturesSample* const tracked = plain::MarketView(market, {}).FindFutures(futures.TASBaseFutIsinID);
        details::Check(details::Insert(calc, futures, tracked == nullptr ? "" : tracked->Code), futures.Code);
    }
    for (const kv7im::OptionSeriesParameters& series : market.series)
        details::Check(details::Insert(calc, series), series.Code);
    for (const OptionSample& option : market.options)
        details::Check(details::Insert(calc, option), option.Code);
    for (const MultilegSample& multileg : market.multilegs)
        details::Check(InsertMultileg(calc, multileg.Code.c_str()), multileg.Code);
}

/// Registers a client that is margined by the rules. Deliveries weigh one half where nothing else is said.
inline std::int32_t RegisterClient(std::intptr_t calc, const std::string& code, const plain::Rules& rules,
                                   double goRatio = 1.0, double deliveryWeight = 0.5)
{
    return RegisterPart(calc, code.c_str(), rules.noFutDiscount ? 1 : 0, rules.clearings, deliveryWeight,
                        static_cast<QuindalSpreadMarginType>(rules.calendar),
                        static_cast<QuindalSpreadMarginType>(rules.interContract), goRatio, rules.shortChargeRatio,
                        static_cast<QuindalClientRiskLevel>(rules.level), 0);
}

/// Sets a position of any level, with what the last clearing left of it.
inline std::int32_t SetHolding(std::intptr_t calc, const std::string& participant, const std::string& instrument,
                               const plain::Holding& holding, calls::Margins& margins,
                               QuindalAccountHierarchyRecordType level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
{
    return SetPosition(calc, participant.c_str(), instrument.c_str(), holding.quantity, holding.price,
                       &margins.volatility, &margins.delivery, &margins.part, &margins.firm, &margins.account, level,
                       holding.afterLastClearing);
}

/// Adds to the orders of a client, or cancels by a negative quantity.
inline std::int32_t PlaceOrder(std::intptr_t calc, const std::string& client, const std::string& instrument, bool buy,
                               double price, std::int64_t quantity, calls::Margins& margins)
{
    return ChangeOrder(calc, client.c_str(), instrument.c_str(), buy ? 1 : 0, price, quantity, &margins.volatility,
                       &margins.delivery, &margins.part, &margins.firm, &margins.account);
}

/// One instrument of a market that may be held or ordered, and a price to trade it near.
struct Tradable
{
    std::string code;
    Isin isin;
    double price;
    double step;
};
/// What may be held. Offsets of a contract that trades at settlement miss 0.0, which stands for the calculated price.
inline std::vector<Tradable> Tradables(const plain::Market& market)
{
    std::vector<Tradable> all;
    for (const FuturesSample& f : market.futures)
        all.push_back({f.Code, f.Isin, plain::TradesAtSettlement(f) ? 0.25 * f.MinStep : f.CalcFutPrice, f.MinStep});
    for (const OptionSample& o : market.options)
        all.push_back({o.Code, o.Isin, o.CalcOptPrice, o.CalcOptPrice / 40.0});
    return all;
}
/// What may be ordered: the same, and spreads. No two spreads have a price in common: where two with a leg in common
/// have orders of one side and price, the leg has one entry of both, and knows one of them when its book is taken anew.
inline std::vector<Tradable> Orderables(const plain::Market& market)
{
    std::vector<Tradable> all = Tradables(market);
    const plain::MarketView view(market, {});
    for (const MultilegSample& m : market.multilegs) {
        const FuturesSample& near = *view.FindFutures(m.FirstLeg);
        const FuturesSample& far = *view.FindFutures(m.SecondLeg);
        all.push_back({m.Code, m.Isin, far.CalcFutPrice - near.CalcFutPrice + 0.00001 * (m.Isin - 5000), far.MinStep});
    }
    return all;
}

/// A margin as it is charged: to five decimals, then up to the next cent.
inline double Charged(double margin) { return std::ceil(std::round(margin * 100000) / 100000 * 100) / 100; }

} // namespace quindal::test
