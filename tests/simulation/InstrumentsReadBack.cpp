#include "InstrumentsReadBack.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "ExportCalls.h"
#include "QuindalIM.h"

namespace simulation {

namespace {

constexpr std::int32_t EndOfData = 94810;

class Comparison
{
public:
    explicit Comparison(const plain::Market& market) : m_market(market) {}

    void Contract(const calls::BaseContractEntry& entry)
    {
        const BaseContractSample* const contract = Find(m_market.baseContracts, entry.code.data());
        if (contract == nullptr) return;
        Text("its MCS", entry.mcs.data(), contract->CodeMCS);
        Number("VolatNum", entry.volatNum, contract->VolatNum);
        Number("PointsNum", entry.pointsNum, contract->RiskPointsN);
        std::size_t at = 0;
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
            for (const double rate :
                 {contract->MarketRisk[level], contract->MarketRisk1[level], contract->MarketRisk2[level]})
                Number("a market risk", entry.rates[at++], rate);
        Number("ConcentrationLimit1", static_cast<double>(entry.limit1),
               static_cast<double>(contract->ConcentrationLimit1));
        Number("ConcentrationLimit2", static_cast<double>(entry.limit2),
               static_cast<double>(contract->ConcentrationLimit2));
        Number("SpotPrice", entry.spotPrice, contract->SpotPrice);
        Number("CFRisk", entry.cfRisk, contract->CFRisk);
    }
    void Futures(const calls::FuturesEntry& entry, Enums::ClientRiskLevel level)
    {
        const FuturesSample* const futures = Find(m_market.futures, entry.code.data());
        if (futures == nullptr) return;
        Text("its base contract", entry.baseContract.data(), futures->CodeBC);
        const plain::MarketView view(m_market, level);
        const BaseContractSample& contract = view.ContractOf(*futures);
        Number("Limit", entry.limit, contract.MarketRisk[level] * futures->NormalizedSpot / 2.0);
        Number("CalcFutPrice", entry.calcFutPrice, futures->CalcFutPrice);
        Number("RealCalcPrice", entry.realCalcPrice, view.Settlement(*futures));
        Number("MinStepPrice", entry.minStepPrice, futures->MinStepPrice);
        Number("MinStep", entry.minStep, futures->MinStep);
        Number("TimeToExpiration", entry.timeToExpiration, futures->TimeToExpiration);
        Number("NormalizedSpot", entry.normalizedSpot, futures->NormalizedSpot);
        Number("SpreadAspect", entry.spreadAspect, static_cast<double>(futures->SpreadAspect));
        Number("EnforceIMSHalfNetting", entry.enforceHalfNetting, futures->EnforceIMSHalfNetting ? 1.0 : 0.0);
    }
    void Series(const calls::OptionSeriesEntry& entry)
    {
        const kv7im::OptionSeriesParameters* const series = Find(m_market.series, entry.code.data());
        if (series == nullptr) return;
        Text("its futures", entry.futures.data(), series->CodeRF);
        Number("A_Black", entry.values.A_Black, series->A);
        Number("E_Bach", entry.values.E_Bach, series->E_Bach);
        Number("VolatilityRisk", entry.values.VolatilityRisk, series->VolatilityRisk);
        Number("TimeToExpiration", entry.values.TimeToExpiration, series->TimeToExpiration);
        Number("ExpClearingsCC", entry.values.ExpClearingsCC, series->ExpClearingsCC);
        Number("SpreadAspect", entry.values.SpreadAspect, static_cast<double>(series->SpreadAspect));
        Number("EnforceHalfNetting", entry.values.EnforceHalfNetting, series->EnforceHalfNetting ? 1.0 : 0.0);
        Number("r2", entry.values.r2, series->R2);
    }
    void Option(const calls::OptionEntry& entry)
    {
        const OptionSample* const option = Find(m_market.options, entry.code.data());
        if (option == nullptr) return;
        Text("its series", entry.series.data(), option->CodeVF);
        Number("Strike", entry.strike, option->Strike);
        Number("CalcOptPrice", entry.calcOptPrice, option->CalcOptPrice);
        Number("OptionType", entry.type, static_cast<double>(option->OptionType));
    }
    void Number(const std::string& name, double shown, double expected)
    {
        if (std::abs(shown - expected) > 1e-12 * std::abs(expected))
            Differs(name, std::to_string(shown), std::to_string(expected));
    }

    [[nodiscard]] const std::string& First() const { return m_first; }

private:
    template <class Records>
    const typename Records::value_type* Find(const Records& records, const char* code)
    {
        m_where = code;
        const auto found =
            std::find_if(records.begin(), records.end(), [code](const auto& record) { return record.Code == code; });
        if (found != records.end()) return &*found;
        Differs("the code", code, "one that was entered");
        return nullptr;
    }
    void Text(const std::string& name, const std::string& shown, const std::string& expected)
    {
        if (shown != expected) Differs(name, shown, expected);
    }
    void Differs(const std::string& name, const std::string& shown, const std::string& expected)
    {
        if (m_first.empty()) m_first = m_where + ": " + name + " is " + shown + " instead of " + expected;
    }

    const plain::Market& m_market;
    std::string m_where;
    std::string m_first;
};

/// Reads one kind to its end: as many entries as are counted.
template <class Entry, class SetOnFirst, class Next, class Compare>
void ReadAll(Comparison& comparison, std::intptr_t calc, std::size_t entered, const SetOnFirst& setOnFirst,
             const Next& next, const Compare& compare)
{
    std::int32_t count = 0;
    comparison.Number("the code of SetOnFirst", setOnFirst(calc, &count), 0);
    comparison.Number("the count", count, static_cast<double>(entered));
    for (std::int32_t i = 0; i < count; ++i) {
        Entry entry;
        comparison.Number("the code of GetNext", next(entry), 0);
        compare(entry);
    }
    Entry behind;
    comparison.Number("the code at the end", next(behind), EndOfData);
}

} // namespace

std::string DifferencesReadBack(std::intptr_t calc, const plain::Market& market)
{
    using Enums::ClientRiskLevel;
    Comparison comparison(market);
    const auto next = [calc](auto& entry) { return entry.GetNext(calc); };
    ReadAll<calls::BaseContractEntry>(comparison, calc, market.baseContracts.size(), SetOnFirstBaseContract, next,
                                      [&](const auto& entry) { comparison.Contract(entry); });
    for (const ClientRiskLevel level : {ClientRiskLevel::Default, ClientRiskLevel::Exceptional})
        ReadAll<calls::FuturesEntry>(
            comparison, calc, market.futures.size(), SetOnFirstFutures,
            [&](auto& entry) { return entry.GetNext(calc, static_cast<QuindalClientRiskLevel>(level)); },
            [&](const auto& entry) { comparison.Futures(entry, level); });
    ReadAll<calls::OptionSeriesEntry>(comparison, calc, market.series.size(), SetOnFirstOptionSeries, next,
                                      [&](const auto& entry) { comparison.Series(entry); });
    ReadAll<calls::OptionEntry>(comparison, calc, market.options.size(), SetOnFirstOption, next,
                                [&](const auto& entry) { comparison.Option(entry); });
    return comparison.First();
}

} // namespace simulation
