// BenchMarkets: the markets that changes are timed on.
//
// Futures:  two or more of one base contract, in spread; five scenarios.
// Options:  one futures with one series of eight options; five scenarios. A kind says how the series is:
//   alone        it is margined by itself
//   in_spread    it goes on through its futures and the group of its base contract
//   sub_points   some 150 to 200 columns behind the real ones
//   deliveries   27 delivery rows, counted by the participant
//   losses_only  it enforces half netting
// Wide:     so many futures, twenty a base contract, and so many options spread over them, in series of a hundred.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

/// Each of them is margined by itself.
inline plain::Market FuturesOutOfSpread(std::int32_t riskPointsN)
{
    plain::Market market = FuturesMarket(riskPointsN, "");
    for (FuturesSample& futures : market.futures)
        futures.SpreadAspect = Enums::SpreadAspect::NotInSpread;
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

inline Isin FuturesOfWideMarket(std::size_t number) { return static_cast<Isin>(1 + number); }
inline Isin OptionOfWideMarket(std::size_t number) { return static_cast<Isin>(1'000'001 + number); }

/// The options are in spread; all futures have one price, so that any change can be one around it.
inline plain::Market WideMarket(std::int32_t riskPointsN, std::size_t futuresCount, std::size_t optionsCount)
{
    constexpr std::size_t FuturesAContract = 20;
    constexpr std::size_t OptionsASeries = 100;
    const plain::Market one = OptionMarket({.inSpread = true}, riskPointsN);
    plain::Market market{{}, {}, {}, one.edgeCoeff};
    for (std::size_t i = 0; i < futuresCount; ++i) {
        const std::string contract = "BC" + std::to_string(i / FuturesAContract);
        if (i % FuturesAContract == 0) {
            market.baseContracts.push_back(one.baseContracts.front());
            market.baseContracts.back().Code = contract;
        }
        market.futures.push_back(one.futures.front());
        FuturesSample& futures = market.futures.back();
        futures.Code = "FUT" + std::to_string(i);
        futures.CodeBC = contract;
        futures.Isin = FuturesOfWideMarket(i);
        futures.TimeToExpiration = 0.1 * static_cast<double>(1 + i % FuturesAContract);
    }
    for (std::size_t i = 0; i < optionsCount; ++i) {
        const std::size_t futures = i % futuresCount;
        const std::size_t ofFutures = i / futuresCount;
        const std::string code = market.futures[futures].Code + "-" + std::to_string(ofFutures / OptionsASeries);
        if (ofFutures % OptionsASeries == 0) {
            OptionSeriesSample series = SeriesOf({.inSpread = true});
            series.Code = code;
            series.CodeRF = market.futures[futures].Code;
            market.series.push_back(series);
        }
        OptionSample option = one.options[i % one.options.size()];
        option.Code = "OPT" + std::to_string(i);
        option.CodeVF = code;
        option.Isin = OptionOfWideMarket(i);
        option.Strike = 900.0 + 2.0 * static_cast<double>(ofFutures % OptionsASeries);
        option.OptionType = ofFutures % 2 == 0 ? Enums::OptionType::Call : Enums::OptionType::Put;
        market.options.push_back(option);
    }
    return market;
}

/// A position's next state.
struct Change
{
    std::int64_t quantity;
    double price;
};

/// Long and short in turns, around a price.
inline std::vector<Change> ChangesAround(double price)
{
    std::vector<Change> changes;
    for (int i = 0; i < 64; ++i)
        changes.push_back({(i * 37) % 101 - 50, price - 20.0 + (i * 13) % 41});
    return changes;
}

/// The eight options in turn.
inline Isin OptionOfChange(std::size_t change) { return 101 + static_cast<Isin>(change % 8); }

} // namespace bench
