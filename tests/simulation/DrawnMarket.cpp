#include "DrawnMarket.h"

#include <algorithm>
#include <string>

#include "RandomMarket.h"
#include "SeededDraws.h"

namespace simulation {

namespace {

constexpr std::int32_t FewPoints = 3; // on either side
constexpr double FarStep = 5.0;       // between strikes, and between the sub-points that follow them

void TakeFewPoints(plain::Market& market)
{
    for (BaseContractSample& contract : market.baseContracts) {
        contract.RiskPointsN = 1 + contract.RiskPointsN % FewPoints;
        contract.VolatNum = 3;
    }
    for (kv7im::OptionSeriesParameters& series : market.series)
        series.StrikeStep = FarStep;
}

const FuturesSample& FuturesOf(const plain::Market& market, const kv7im::OptionSeriesParameters& series)
{
    return *std::ranges::find(market.futures, series.CodeRF, &FuturesSample::Code);
}

std::string Numbered(const std::string& stem, std::size_t number) { return stem + std::to_string(number + 1); }

} // namespace

plain::Market DrawMarket(std::uint64_t seed, MarketKind kind)
{
    const SeededDraws draws(seed);
    plain::Market market = random_market::Make();
    if (!kind.wideGrids) TakeFewPoints(market);
    for (MultilegSample& multileg : market.multilegs)
        if (!kind.ownRatios) {
            multileg.FirstRatio = -1;
            multileg.SecondRatio = 1;
        }
    return market;
}

std::optional<NewSeries> DrawSeries(std::uint64_t seed, const plain::Market& market)
{
    const SeededDraws draws(seed);
    const FuturesSample& futures = *rc::gen::elementOf(market.futures);
    if (plain::IsCollateral(futures) || plain::TradesAtSettlement(futures)) return std::nullopt;
    NewSeries drawn;
    drawn.series = random_market::Series(Numbered(futures.Code + "-N", market.series.size()), futures);
    drawn.series.StrikeStep = FarStep;
    drawn.option = random_market::Option(drawn.series.Code + "-1", drawn.series, futures, 0);
    return drawn;
}

std::optional<OptionSample> DrawOption(std::uint64_t seed, const plain::Market& market)
{
    if (market.series.empty()) return std::nullopt;
    const SeededDraws draws(seed);
    const kv7im::OptionSeriesParameters& series = *rc::gen::elementOf(market.series);
    const std::string code = Numbered(series.Code + "-M", market.options.size());
    return random_market::Option(code, series, FuturesOf(market, series), 0);
}

FuturesSample DrawFutures(std::uint64_t seed, const plain::Market& market)
{
    const SeededDraws draws(seed);
    // Of the contracts but the last one, whose futures trade at the settlement of another.
    const auto number = random_market::Between<std::size_t>(0, market.baseContracts.size() - 1);
    const BaseContractSample& contract = market.baseContracts[number];
    FuturesSample futures =
        random_market::Futures(Numbered(contract.Code + "-", 10 + market.futures.size()), contract, 0);
    futures.Attribute = Enums::InstrumentStatus::None;
    for (const FuturesSample& other : market.futures)
        if (other.CodeBC == contract.Code)
            futures.TimeToExpiration = std::max(futures.TimeToExpiration, other.TimeToExpiration + 0.1);
    return futures;
}

} // namespace simulation
