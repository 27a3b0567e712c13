// HandMarket: instruments whose margins are worked out by hand.
//
// The price grid has three points, 700, 800 and 900 around a settlement price of 800, and one unit of price is one unit
// of money. There are no charges, and one market-risk rate in all tiers, so the stress points never stand below the
// ends of the grid. With an edge coefficient of 0 there are no tails either. The result of q futures at the price p is
//     q (700 - p),  q (800 - p),  q (900 - p)
// Options are priced by the normal model with next to no volatility: each is worth what its exercise would bring,
// within a millionth. Strikes off the grid give whole numbers: a call at 750 is worth 0, 50 and 150, a put at 850 150,
// 50 and 0.
#pragma once

#include <string>

#include "InstrumentSamples.h"
#include "instruments/OptionSeriesParameters.h"

inline constexpr Isin FUT = 1;

[[nodiscard]] inline BaseContractSample HandBaseContract(const std::string& code = "BC", const std::string& mcs = "")
{
    BaseContractSample sample;
    sample.Code = code;
    sample.CodeMCS = mcs;
    sample.ShortOptionMinimumCharge = 0.0;
    sample.MarketRisk = sample.MarketRisk1 = sample.MarketRisk2 = kv7im::RiskLevelIndexedArray<double>(0.125);
    sample.RiskPointsN = 1;
    sample.OptionModel = Enums::OptionModel::Bachelier;
    return sample;
}

/// Stands alone; FUT by its isin.
[[nodiscard]] inline FuturesSample HandFutures(const std::string& code = "FUT", Isin isin = FUT,
                                               const std::string& codeBC = "BC")
{
    FuturesSample sample;
    sample.Code = code;
    sample.CodeBC = codeBC;
    sample.Isin = isin;
    sample.CalcFutPrice = 800.0;
    sample.RealCalcPrice = 800.0;
    sample.NormalizedSpot = 800.0;
    sample.MinStep = 1.0;
    sample.MinStepPrice = 1.0;
    sample.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    return sample;
}

/// A series without premium up front, settled in cash, standing alone.
[[nodiscard]] inline kv7im::OptionSeriesParameters HandSeries(const std::string& code,
                                                              const std::string& futures = "FUT")
{
    kv7im::OptionSeriesParameters series;
    series.Code = code;
    series.CodeRF = futures;
    series.E = series.E_Bach = 1.0;
    series.M_Bach = 1.0;
    series.StrikeStep = 50.0;
    series.TimeToExpiration = 0.25;
    series.MinStep = series.MinStepPrice = 1e-7; // volatility is never less than a step
    return series;
}

[[nodiscard]] inline kv7im::OptionSeriesParameters InSpread(kv7im::OptionSeriesParameters series)
{
    series.SpreadAspect = Enums::SpreadAspect::InSpread;
    return series;
}

/// The same series with the underlying itself delivered, from one clearing before the expiry on, at all levels. The
/// strikes are 50 apart and so is the half grid, so the prices of delivery are 750, 800 and 850; a price of the grid is
/// in scope of those within 50 of it.
[[nodiscard]] inline kv7im::OptionSeriesParameters Deliverable(kv7im::OptionSeriesParameters series)
{
    series.settlementType = Enums::SettlementType::Deliverable;
    series.ExpClearingsSA = series.ExpClearingsBF = series.ExpClearingsCC = 1;
    return series;
}

[[nodiscard]] inline OptionSample HandOption(const std::string& series, Isin isin, Enums::OptionType type,
                                             double strike, double settlement = 0.0)
{
    OptionSample option;
    option.Code = series + "-" + std::to_string(isin);
    option.CodeVF = series;
    option.Isin = isin;
    option.OptionType = type;
    option.Strike = strike;
    option.CalcOptPrice = settlement;
    return option;
}
