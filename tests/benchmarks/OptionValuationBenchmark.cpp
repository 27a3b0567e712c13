// Valuing options: the engine against QuantLib and against the plain formulas, in the same run, on one thread.
//
// Each benchmark does its sides one after the other and reports the ratios of their times. 161 price points, five
// volatility scenarios, five risk levels.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <malloc.h>

#include <ql/option.hpp>
#include <ql/pricingengines/blackformula.hpp>

#include "InTurns.h"
#include "InstrumentSamples.h"
#include "PlainOption.h"
#include "ResidentBytes.h"
#include "instruments/InstrumentsRepository.h"

namespace {

using bench::ResidentBytes;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;

double ThreadSeconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Seconds that this thread has worked for it, what the system does for its memory included; a busy machine makes no
/// difference then.
template <class Body>
double TimeOf(Body body)
{
    const double start = ThreadSeconds();
    body();
    return ThreadSeconds() - start;
}

/// The fastest of some rounds.
struct Fastest
{
    template <class Body>
    void Take(Body body)
    {
        TakeSeconds(TimeOf(body));
    }
    void TakeSeconds(double round) { seconds = std::min(seconds, round); }

    double seconds = std::numeric_limits<double>::infinity();
};

/// The market that one option lives in.
struct Terms
{
    BaseContractSample contract;
    FuturesSample futures;
    OptionSeriesSample series;
};

/// Contracts of all kinds and both models take turns; two thirds of them are options on futures under Black and
/// Scholes.
Terms TermsOf(std::int32_t number)
{
    Terms terms;
    terms.contract.Code = "BC" + std::to_string(number);
    terms.contract.RiskPointsN = 80;
    terms.contract.VolatNum = 5;
    terms.contract.CFRisk = 0.1;
    terms.futures.InterestRateRiskUp = 0.02;
    terms.futures.InterestRateRiskDown = 0.02;
    terms.futures.MRAddOnUp = 0.01;
    terms.futures.MRAddOnDown = 0.01;
    terms.series.A = 25.0;
    terms.series.B = 10.0;
    terms.series.C = 0.5;
    terms.series.D = -3.0;
    terms.series.E = 2.0;
    terms.series.A_Bach = 0.25;
    terms.series.M_Bach = 1000.0;
    terms.series.VolatilityRisk = 0.25;
    terms.series.VolatilityRiskMismatch = 0.1;
    terms.series.R = 0.08;
    terms.series.R2 = 0.03;
    terms.series.InterestRateRiskUp = 0.02;
    terms.series.InterestRateRiskDown = 0.02;
    const std::int32_t kind = number % 12;
    if (kind == 8 || kind == 9) terms.contract.OptionModel = Enums::OptionModel::Bachelier;
    if (kind < 9) return terms;
    terms.series.marginStyle = Enums::MarginStyle::Equity;
    if (kind >= 10) terms.futures.Attribute = Enums::InstrumentStatus::Collateral;
    if (kind == 11) terms.contract.AssetClass = Enums::AssetClass::Currency;
    return terms;
}

void Check(Z9ERR code)
{
    if (code != 0) throw std::runtime_error("the market is refused with code " + std::to_string(code));
}

/// A market of that many options: 13 strikes a series or so, a call and a put at each, five series a futures, ten
/// futures a contract.
class Market
{
public:
    explicit Market(std::int32_t options_)
        : options(options_),
          series(std::max(1, options * 3 / 80)),
          futures(std::max(1, series / 5)),
          contracts(std::max(1, futures / 10))
    {}

    void InsertInto(kv7im::InstrumentsRepository& repository) const
    {
        for (std::int32_t i = 0; i < contracts; ++i)
            Check(TermsOf(i).contract.InsertInto(repository));
        for (std::int32_t i = 0; i < futures; ++i) {
            FuturesSample sample = TermsOf(i % contracts).futures;
            sample.Code = "FUT" + std::to_string(i);
            sample.CodeBC = "BC" + std::to_string(i % contracts);
            sample.Isin = i + 1;
            Check(sample.InsertInto(repository));
        }
        for (std::int32_t i = 0; i < series; ++i)
            Check(SeriesOf(i).InsertInto(repository));
        for (std::int32_t i = 0; i < options; ++i) {
            const std::string code = "OPT" + std::to_string(i);
            const std::string codeVF = "SER" + std::to_string(i / PerSeries());
            Check(repository.InsertOption(code.c_str(), codeVF.c_str(), StrikeOf(i),
                                          IsPut(i) ? Enums::OptionType::Put : Enums::OptionType::Call, 10.0,
                                          IsinOf(i)));
        }
    }

    /// The options of the repository, to be valued anew: the objects are not constant, only the view of them is.
    [[nodiscard]] std::vector<kv7im::CSpecOption*> OptionsOf(const kv7im::InstrumentsRepository& repository) const
    {
        std::vector<kv7im::CSpecOption*> found;
        for (std::int32_t i = 0; i < options; ++i)
            found.push_back(
                const_cast<kv7im::CSpecOption*>(repository.GetOption(kv7im::AccessByStatus::eCurrent, IsinOf(i))));
        return found;
    }

    [[nodiscard]] static Isin IsinOf(std::int32_t option) { return 100000 + option; }

    /// The same option, ready to be valued plainly.
    [[nodiscard]] plain::OptionPricer PlainOf(std::int32_t option) const
    {
        const std::int32_t number = option / PerSeries();
        const Terms terms = TermsOf(number % futures % contracts);
        return {terms.contract, terms.futures, SeriesOf(number), StrikeOf(option), IsPut(option)};
    }

    std::int32_t options;
    std::int32_t series;
    std::int32_t futures;
    std::int32_t contracts;

private:
    [[nodiscard]] std::int32_t PerSeries() const { return options / series + 1; }
    [[nodiscard]] double StrikeOf(std::int32_t option) const
    {
        const std::int32_t strikes = PerSeries() / 2 + 1;
        const std::int32_t number = option % PerSeries() / 2;
        return 800.0 + 400.0 * (number + 0.5) / strikes;
    }
    [[nodiscard]] bool IsPut(std::int32_t option) const { return option % PerSeries() % 2 != 0; }
    [[nodiscard]] OptionSeriesSample SeriesOf(std::int32_t number) const
    {
        OptionSeriesSample sample = TermsOf(number % futures % contracts).series;
        sample.Code = "SER" + std::to_string(number);
        sample.CodeRF = "FUT" + std::to_string(number % futures);
        const std::int32_t expiration = number / futures;
        sample.TimeToExpiration = 0.02 + 0.1 * expiration;
        return sample;
    }
};

std::vector<double> PricesOf(const kv7im::CSpecOption& option, Level level)
{
    const kv7im::RiskRowWrapper row = option.VirtFutures->GetVolatilityMatrixCentralRow(level);
    std::vector<double> prices;
    for (std::size_t c = 0; c < row.size(); ++c)
        prices.push_back(static_cast<const kv7im::RiskRowWrapper&>(row)[c]);
    return prices;
}

/// The profile of an option, every cell by its formula.
kv7im::Profile PlainProfile(const plain::OptionPricer& pricer, const kv7im::CSpecOption& option, Level level,
                            const std::vector<double>& prices)
{
    kv7im::Profile profile(option.GetParameters(level));
    const plain::OptionValues values = pricer.Over(prices);
    for (std::size_t c = 0; c < prices.size(); ++c) {
        for (std::size_t row = 0; row < values.volatility.size(); ++row)
            profile.Volatility()[row][c] = values.volatility[row][c];
        profile.InterestRateUp()[c] = values.rateUp[c];
        profile.InterestRateDown()[c] = values.rateDown[c];
        profile.VolatilityMismatchUp()[c] = values.mismatchUp;
        profile.VolatilityMismatchDown()[c] = values.mismatchDown;
    }
    const kv7im::SpecialRiskPoints& points = option.VirtFutures->Futures->GetPoints(level);
    for (std::size_t i = kv7im::SpecialRiskPoints::ZL; i <= kv7im::SpecialRiskPoints::ZR; ++i)
        profile.GetSpecialRiskPoints().pData()[i] = pricer.AtPoint(points.pData()[i]);
    return profile;
}

/// Seconds to value an option plainly at all levels and to keep that, the mean of every n-th one. What is kept goes to
/// `kept`, so that the memory is new as it is for the engine.
double PlainSecondsPerOption(const Market& market, const std::vector<kv7im::CSpecOption*>& options,
                             std::int32_t sampleSize, std::deque<kv7im::Profile>& kept)
{
    // An odd step takes calls and puts.
    const std::int32_t step = std::max(1, market.options / sampleSize) | 1;
    double seconds = 0.0;
    std::int32_t count = 0;
    for (std::int32_t i = 0; i < market.options; i += step, ++count) {
        const kv7im::CSpecOption& option = *options[static_cast<std::size_t>(i)];
        const plain::OptionPricer pricer = market.PlainOf(i);
        for (const Level level : Levels) {
            const std::vector<double> prices = PricesOf(option, level);
            seconds += TimeOf([&] { kept.push_back(PlainProfile(pricer, option, level, prices)); });
        }
    }
    return seconds / count;
}

// Inserting a market; valuing all of it on demand, which is in good part the finding of memory; and valuing it again,
// option by option, as after a change of parameters. The plain form values a sample of 200 options and is scaled to
// all. resident_MB is what insertion and valuation have added, values_MB what valuation alone; 1,574 MB of it are the
// cells of 200,000 grids.
void MarketOfOptions(benchmark::State& state)
{
    const Market market(static_cast<std::int32_t>(state.range(0)));
    // Of some rounds the fastest counts, on every side: in the first one the system still fetches the memory from
    // whoever has it.
    Fastest inserted;
    Fastest valued;
    Fastest again;
    Fastest plainly;
    double resident = 0.0;
    double values = 0.0;
    std::deque<kv7im::Profile> kept;
    for (auto _ : state) {
        ::malloc_trim(0);
        const double before = ResidentBytes();
        kv7im::InstrumentsRepository repository;
        inserted.Take([&] { market.InsertInto(repository); });
        const std::vector<kv7im::CSpecOption*> options = market.OptionsOf(repository);
        const double inserting = ResidentBytes();
        valued.Take([&] {
            for (const kv7im::CSpecOption* const option : options)
                option->ValueAllLevels();
        });
        resident = ResidentBytes() - before;
        values = ResidentBytes() - inserting;
        again.Take([&] {
            for (kv7im::CSpecOption* const option : options) {
                option->RecalcInvariants();
                option->ValueAllLevels();
            }
        });
        plainly.TakeSeconds(market.options * PlainSecondsPerOption(market, options, 200, kept));
    }
    state.counters["insert_ms"] = inserted.seconds * 1e3;
    state.counters["value_ms"] = valued.seconds * 1e3;
    state.counters["again_ms"] = again.seconds * 1e3;
    state.counters["plain_ms"] = plainly.seconds * 1e3;
    state.counters["ratio_insert"] = plainly.seconds / inserted.seconds;
    state.counters["ratio_value"] = plainly.seconds / valued.seconds;
    state.counters["ratio_again"] = plainly.seconds / again.seconds;
    state.counters["resident_MB"] = resident / 1e6;
    state.counters["values_MB"] = values / 1e6;
    state.counters["goal_insert"] = 250;
    state.counters["goal_value"] = 25;
    state.counters["goal_MB"] = 1600;
}
BENCHMARK(MarketOfOptions)->Arg(160)->Arg(40000)->Iterations(6)->Unit(benchmark::kMillisecond);

enum class Types
{
    Puts,  // at sixteen strikes
    Pairs, // a call and a put at each of eight strikes
};

// The grids of sixteen options, again and again: nanoseconds of one of the (scenarios + 4) x columns valuations that
// the model asks for, against one call of QuantLib's blackFormula, or its Bachelier twin, at the same prices. The sides
// take turns; times and ratios are medians over the turns.
void Grids(benchmark::State& state, std::int32_t kind, Types types)
{
    Terms terms = TermsOf(kind);
    terms.contract.RiskPointsN = static_cast<std::int32_t>(state.range(0) / 2);
    const auto contract = terms.contract.Make();
    const auto futures = terms.futures.Make(*contract);
    futures->RecalcInvariants();
    const auto series = terms.series.Make(*futures);
    series->RecalcInvariants();
    std::vector<kv7im::CSpecOption> options;
    for (int i = 0; i < 16; ++i) {
        const bool pairs = types == Types::Pairs;
        options.emplace_back(series.get(), "OPT", "SER", i, 900.0 + 12.5 * (pairs ? i / 2 * 2 : i),
                             !pairs || i % 2 != 0, 10.0);
    }
    const std::vector<double> prices = PricesOf(options[0], Level::Default);
    const bool black = terms.contract.OptionModel == Enums::OptionModel::BlackScholes;

    std::vector<double> engineTimes;
    std::vector<double> quantLibTimes;
    std::vector<double> plainTimes;
    for (auto _ : state) {
        double quantLib = 0.0;
        double plainly = 0.0;
        engineTimes.push_back(TimeOf([&] {
            for (kv7im::CSpecOption& option : options) {
                option.RecalcInvariants();
                benchmark::DoNotOptimize(option.GetGrid(Level::Default).mismatchUp);
            }
        }));
        for (const kv7im::CSpecOption& option : options) {
            const plain::OptionPricer pricer(terms.contract, terms.futures, terms.series, option.Strike,
                                             option.isPut());
            plainly += TimeOf([&] { benchmark::DoNotOptimize(pricer.Over(prices).mismatchUp); });
            std::array<double, 9> widths{};
            for (std::size_t i = 0; i < widths.size(); ++i)
                widths[i] = pricer.Sigma(i % 5, std::nullopt) * series->SqrtT;
            const auto formula = [&](double price, double width) {
                const auto type = option.isPut() ? QuantLib::Option::Put : QuantLib::Option::Call;
                return black ? QuantLib::blackFormula(type, option.Strike, price, width, 0.99)
                             : QuantLib::bachelierBlackFormula(type, option.Strike, price, width, 0.99);
            };
            quantLib += TimeOf([&] {
                for (const double price : prices)
                    for (const double width : widths)
                        benchmark::DoNotOptimize(formula(price, width));
            });
        }
        quantLibTimes.push_back(quantLib);
        plainTimes.push_back(plainly);
    }
    const auto evaluations = static_cast<double>(options.size() * prices.size() * 9);
    const double engine = bench::Quantile(engineTimes, 50);
    const double quantLib = bench::Quantile(quantLibTimes, 50);
    const double plainly = bench::Quantile(plainTimes, 50);
    state.counters["engine_ns"] = engine / evaluations * 1e9;
    state.counters["quantlib_ns"] = quantLib / evaluations * 1e9;
    state.counters["plain_ns"] = plainly / evaluations * 1e9;
    state.counters["ratio_quantlib"] = quantLib / engine;
    state.counters["ratio_plain"] = plainly / engine;
    state.counters["goal_quantlib"] = types == Types::Pairs ? 20 : black ? 0 : 10; // 0: none is set
}
BENCHMARK_CAPTURE(Grids, black_scholes_on_futures, 0, Types::Puts)->Arg(160);
BENCHMARK_CAPTURE(Grids, black_scholes_on_stock, 10, Types::Puts)->Arg(160);
BENCHMARK_CAPTURE(Grids, black_scholes_on_currency, 11, Types::Puts)->Arg(160);
BENCHMARK_CAPTURE(Grids, bachelier_on_futures, 8, Types::Puts)->Arg(160);
BENCHMARK_CAPTURE(Grids, bachelier_on_commodity, 9, Types::Puts)->Arg(160);
BENCHMARK_CAPTURE(Grids, black_scholes_calls_and_puts, 0, Types::Pairs)->Arg(160);
BENCHMARK_CAPTURE(Grids, bachelier_calls_and_puts, 8, Types::Pairs)->Arg(160);

} // namespace
