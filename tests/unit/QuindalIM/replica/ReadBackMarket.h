// ReadBackMarket: a market of the hand samples with every kind of node in it, and a book that has some of all.
//
// Three price points, 700, 800 and 900; one unit of price is one unit of money, and q futures at 800 bring -100 q, 0
// and 100 q.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "HandMarket.h"
#include "ReadBackFixture.h"

namespace read_back {

// Futures, besides FUT.
inline constexpr Isin NetOne = 2;
inline constexpr Isin NetTwo = 3;
inline constexpr Isin GroupOne = 4;
inline constexpr Isin GroupTwo = 5;
inline constexpr Isin TwinFutures = 6;
inline constexpr Isin TwinNear = 7;
inline constexpr Isin OtherOne = 8;
// Options, named after their series.
inline constexpr Isin AloneCall = 11;
inline constexpr Isin DeliveredCall = 12;
inline constexpr Isin NetPut = 13;
inline constexpr Isin FineCall = 14;
inline constexpr Isin TwinCall = 15;

[[nodiscard]] inline FuturesSample FuturesInSpread(const std::string& code, Isin isin, const std::string& codeBC)
{
    FuturesSample futures = HandFutures(code, isin, codeBC);
    futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    futures.InterestRateRiskUp = 0.0625; // so that the matrix of rates is not all zero
    futures.InterestRateRiskDown = 0.03125;
    return futures;
}

/// Volatilities that are felt: the rows of the matrix differ.
[[nodiscard]] inline kv7im::OptionSeriesParameters Felt(kv7im::OptionSeriesParameters series)
{
    series.A_Bach = 40.0;
    series.VolatilityRisk = 0.25;
    series.VolatilityRiskMismatch = 0.125;
    series.MinStep = series.MinStepPrice = 0.01;
    return series;
}

//  BC      FUT alone, with the series ALONE (call at 750) and DEL (deliverable, call at 825), both standing alone
//  NET     NET-1 and NET-2 in spread, with the series NETPUT in spread on the first; no MCS
//  G1, G2  one futures in spread each, of the MCS "GROUP"; the series FINE with sub-points on the first, alone
//  OTHER   the futures "TWIN", and the series "TWIN" on OTHER-1: names that other things bear as well
//  TWIN    TWIN-1 in spread
[[nodiscard]] inline plain::Market HandMarketToRead()
{
    plain::Market market;
    market.edgeCoeff = 0.0; // no tails
    BaseContractSample wide = HandBaseContract("BC");
    wide.MarketRisk1[Enums::ClientRiskLevel::Default] = 0.1875;
    wide.MarketRisk2[Enums::ClientRiskLevel::Default] =
        0.25; // tiers of their own, so that the stress points stand off the ends of the grid
    wide.ConcentrationLimit1 = 1'000'000;
    wide.ConcentrationLimit2 = 2'000'000;
    BaseContractSample wideOfGroup = wide;
    wideOfGroup.Code = "G2";
    wideOfGroup.CodeMCS = "GROUP";
    market.baseContracts = {wide,        HandBaseContract("NET"),   HandBaseContract("G1", "GROUP"),
                            wideOfGroup, HandBaseContract("OTHER"), HandBaseContract("TWIN")};
    market.futures = {HandFutures(),
                      FuturesInSpread("NET-1", NetOne, "NET"),
                      FuturesInSpread("NET-2", NetTwo, "NET"),
                      FuturesInSpread("G1-1", GroupOne, "G1"),
                      FuturesInSpread("G2-1", GroupTwo, "G2"),
                      HandFutures("TWIN", TwinFutures, "OTHER"),
                      HandFutures("OTHER-1", OtherOne, "OTHER"),
                      FuturesInSpread("TWIN-1", TwinNear, "TWIN")};
    kv7im::OptionSeriesParameters fine = Felt(HandSeries("FINE", "G1-1"));
    fine.SubRisk = true;
    market.series = {HandSeries("ALONE"), Felt(Deliverable(HandSeries("DEL"))),
                     Felt(InSpread(HandSeries("NETPUT", "NET-1"))), fine, HandSeries("TWIN", "OTHER-1")};
    market.options = {HandOption("ALONE", AloneCall, Enums::OptionType::Call, 750.0),
                      HandOption("DEL", DeliveredCall, Enums::OptionType::Call, 825.0),
                      HandOption("NETPUT", NetPut, Enums::OptionType::Put, 850.0),
                      HandOption("FINE", FineCall, Enums::OptionType::Call, 800.0),
                      HandOption("TWIN", TwinCall, Enums::OptionType::Call, 750.0)};
    return market;
}

/// Something of everything but of what is called TWIN.
inline const std::vector<std::pair<Isin, plain::Holding>> Book = {
    {FUT, {2, 800.0}},          {NetOne, {3, 800.0}},    {NetTwo, {-1, 800.0}},
    {GroupOne, {1, 800.0}},     {GroupTwo, {-2, 800.0}}, {AloneCall, {-1, 60.0}},
    {DeliveredCall, {3, 10.0}}, {NetPut, {-2, 40.0}},    {FineCall, {-5, 20.0}},
};

/// The tree of most tests: a client with that book, for whom deliveries count, under HalfNetting on both levels above.
class TreeWithBook : public Tree
{
public:
    TreeWithBook() : Tree(MakeRepository(HandMarketToRead()))
    {
        AddAccount("ACCOUNT", Enums::MarginRule::HalfNetting);
        AddFirm("AA01", "ACCOUNT", Enums::MarginRule::HalfNetting);
        plain::Rules rules;
        rules.clearings = 1;
        AddClient("AA01001", rules);
        for (const auto& [isin, holding] : Book)
            static_cast<void>(Set("AA01001", isin, holding));
    }
};

/// An operation on a participant, with and without scenarios.
using MatricesOperation = std::int32_t (QuindalIM::CCalcGO::*)(eChooseRiskType, const char*, const char*, double*,
                                                               std::size_t&, std::size_t&, Info&) const;
using FinalOperation = std::int32_t (QuindalIM::CCalcGO::*)(eChooseRiskType, const char*, const char*, double*,
                                                            std::size_t&, Info&) const;

} // namespace read_back
