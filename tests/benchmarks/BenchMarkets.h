// BenchMarkets: the markets that changes are timed on.
//
// Futures:  two or more of one base contract, in spread; five scenarios.
// Options:  one futures with one series of eight options; five scenarios. A kind says how the series is:
//   alone        it is margined by itself
//   in_spread    it goes on through its futures and the group of its base contract
//   sub_points   some 150 to 200 columns behind the real ones
//   deliveries   27 delivery rows, counted by the participant
//   losses_only  it enforces half netting
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "InstrumentSamples.h"
#include "PlainMarket.h"

namespace bench {

/// Price points less one are twice riskPointsN: 80 is 161 of them.
inline plain::Market FuturesMarket(std::int32_t riskPointsN, const std::string& codeMCS, std::int32_t futuresCount = 2)
{
    BaseContractSample contract;
    contract.RiskPointsN = riskPointsN;
    contract.VolatNum = 5;
    contract.CodeMCS = codeMCS;
    contract.WindowSizePercentage = 0.1;
    plain::Market market{{contract}, {}, {}};
    for (Isin isin = 1; isin <= futuresCount; ++isin) {
        FuturesSample futures;
        futures.Code = std::to_string(isin);
        futures.Isin = isin;
        futures.InterestRateRiskUp = 0.02;
        futures.InterestRateRiskDown = 0.02;
        futures.TimeToExpiration = 0.1 * isin;
        market.futures.push_back(futures);
    }
    return market;
}

struct Kind
{
    bool inSpread = false;
    bool subPoints = false;
    bool deliveries = false;
    bool lossesOnly = false;
};

/// A smile, shocks of volatility and rates; 102.4 price units to either side of the centre.
inline OptionSeriesSample SeriesOf(const Kind& kind)
{
    OptionSeriesSample series;
    series.B = 8.0;
    series.C = 1.0;
    series.VolatilityRisk = 0.25;
    series.VolatilityRiskMismatch = 0.1;
    series.SpreadAspect = kind.inSpread ? Enums::SpreadAspect::InSpread : Enums::SpreadAspect::NotInSpread;
    series.SubRisk = kind.subPoints;
    series.EnforceHalfNetting = kind.lossesOnly;
    series.MinStep = 1.0;
    series.StrikeStep = kind.subPoints ? 5.2 : 20.0;
    series.LotCoeff = kind.subPoints ? 5 : 1;
    if (kind.deliveries) {
        series.settlementType = Enums::SettlementType::Deliverable;
        series.ExpClearingsCC = 1;
        series.StrikeStep = 4.0;
        series.LotCoeff = 3;
    }
    return series;
}

inline plain::Market OptionMarket(const Kind& kind, std::int32_t riskPointsN)
{
    BaseContractSample contract;
    contract.RiskPointsN = riskPointsN;
    contract.VolatNum = 5;
    contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.1;
    FuturesSample futures;
    futures.InterestRateRiskUp = futures.InterestRateRiskDown = 0.02;
    futures.MinStep = 1.0;
    plain::Market market{{contract}, {futures}, {}, 0.75, {SeriesOf(kind)}, {}};
    for (Isin isin = 101; isin < 109; ++isin) {
        OptionSample option;
        option.Code = std::to_string(isin);
        option.Isin = isin;
        option.Strike = 960.0 + 10.0 * (isin - 101);
        option.OptionType = isin % 2 == 0 ? Enums::OptionType::Call : Enums::OptionType::Put;
        market.options.push_back(option);
    }
    return market;
}

/// The eight options in turn.
inline Isin OptionOfChange(std::size_t change) { return 101 + static_cast<Isin>(change % 8); }

} // namespace bench
