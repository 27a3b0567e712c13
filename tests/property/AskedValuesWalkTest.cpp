// Options are valued at their first use, so the moment at which somebody asks for a value must not show in it. Two
// repositories live through one random history of changes, insertions, recomputations and releases: one is asked for
// every value behind every step, the other one only at the end.
#include <algorithm>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "EngineBook.h"
#include "MarketChanges.h"
#include "RandomMarket.h"
#include "SameModel.h"

namespace test::AskedValuesWalkTest {
namespace {

using enum kv7im::AccessByStatus;
using kv7im::InstrumentsRepository;
using random_market::Between;
using random_market::OnceIn;

/// One contract with a month, a series on it and a contract that trades at its settlement, which has a month, a series
/// and options of its own.
plain::Market SmallMarket()
{
    plain::Market market;
    market.currencies = {{1, 0.01}, {2, 0.02}};
    for (const char* const code : {"A", "T"}) {
        market.baseContracts.push_back(random_market::Contract(code, "", 5));
        FuturesSample month = random_market::Futures(code + std::string("-1"), market.baseContracts.back(),
                                                     1 + static_cast<Isin>(market.futures.size()));
        month.Attribute = Enums::InstrumentStatus::None;
        market.futures.push_back(month);
        market.series.push_back(random_market::Series(month.Code + "-S", month));
        market.options.push_back(random_market::Option(month.Code + "-O", market.series.back(), month,
                                                       1001 + static_cast<Isin>(market.options.size())));
    }
    FuturesSample tas = random_market::Futures("T-2", market.baseContracts.back(), 3);
    tas.Attribute = Enums::InstrumentStatus::TAS;
    tas.TASBaseFutIsinID = 1;
    market.futures.push_back(tas);
    return market;
}

void AskForAll(const InstrumentsRepository& repository)
{
    for (const kv7im::OptionEntry& option : repository.RangeOptionsByIsin())
        for (const kv7im::AccessByStatus access : {eCurrent, eNew})
            if (const kv7im::CSpecOption* const found = option.Get(access); found != nullptr)
                for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
                    static_cast<void>(found->GetGrid(level));
}

class Walk
{
public:
    void MakeStep()
    {
        const int kind = Between(0, 10);
        if (kind < 4)
            Change(kind);
        else if (kind < 7)
            Insert(kind - 4);
        else if (kind == 7)
            Do("adopt", [](InstrumentsRepository& r) { return r.AdoptNewcomers(), 0; });
        else if (kind == 8)
            Do("complete", [](InstrumentsRepository& r) { return r.UpdateComplete(); });
        else
            Do("release", [](InstrumentsRepository& r) { return r.ReleaseChanged(), 0; });
    }
    /// What differs between the two, in both views. A comparison needs every instrument in the new view too.
    [[nodiscard]] std::string Differences()
    {
        Do("adopt", [](InstrumentsRepository& r) { return r.AdoptNewcomers(), 0; });
        const auto changed = same_model::InstrumentDifferences({*m_asked, eNew}, {*m_unasked, eNew});
        if (!changed.empty()) return m_story + "new: " + same_model::TextOf(changed);
        const auto current = same_model::Differences(*m_asked, *m_unasked);
        return current.empty() ? "" : m_story + "current: " + same_model::TextOf(current);
    }

private:
    void Do(const std::string& name, const std::function<Z9ERR(InstrumentsRepository&)>& step)
    {
        m_story += name + "\n";
        const Z9ERR code = step(*m_asked);
        RC_ASSERT(step(*m_unasked) == code);
        AskForAll(*m_asked);
    }

    void Change(int kind)
    {
        if (kind == 0) ChangeContract(*rc::gen::elementOf(m_market.baseContracts));
        if (kind == 1) ChangeFutures(*rc::gen::elementOf(m_market.futures));
        if (kind == 2) ChangeSeries(*rc::gen::elementOf(m_market.series));
        if (kind == 3) {
            const Isin isin = (*rc::gen::elementOf(m_market.options)).Isin;
            const double price = random_market::Grid(0.25, 0.5, 20);
            Do("price", [=](InstrumentsRepository& r) { return r.UpdateOption(isin, price); });
        }
    }
    void ChangeContract(const BaseContractSample& contract)
    {
        const auto changed = random_market::Contract(contract.Code, "", contract.RiskPointsN);
        Do("contract " + contract.Code,
           [=](InstrumentsRepository& r) { return r.UpdateBaseContract(market_changes::Of(changed)); });
    }
    void ChangeFutures(const FuturesSample& futures)
    {
        const auto changed = random_market::Futures(futures.Code, Contract(futures.CodeBC), futures.Isin);
        Do("futures " + futures.Code,
           [=](InstrumentsRepository& r) { return r.UpdateFutures(market_changes::Of(changed)); });
    }
    void ChangeSeries(const kv7im::OptionSeriesParameters& series)
    {
        const auto changed = random_market::Series(series.Code, Futures(series.CodeRF));
        Do("series " + series.Code,
           [=](InstrumentsRepository& r) { return r.UpdateVirtFutures(market_changes::Of(changed)); });
    }

    void Insert(int kind)
    {
        if (kind == 0) {
            const BaseContractSample& contract = *rc::gen::elementOf(m_market.baseContracts);
            const Isin isin = 1 + static_cast<Isin>(m_market.futures.size());
            const FuturesSample futures =
                random_market::Futures(contract.Code + "-" + std::to_string(isin), contract, isin);
            m_market.futures.push_back(futures);
            Do("insert " + futures.Code, [=](InstrumentsRepository& r) { return futures.InsertInto(r); });
        } else if (kind == 1) {
            const FuturesSample& futures = *rc::gen::elementOf(m_market.futures);
            const auto series =
                random_market::Series(futures.Code + "-S" + std::to_string(m_market.series.size()), futures);
            m_market.series.push_back(series);
            Do("insert " + series.Code, [=](InstrumentsRepository& r) { return r.InsertVirtFutures(series); });
        } else {
            const kv7im::OptionSeriesParameters& series = *rc::gen::elementOf(m_market.series);
            const Isin isin = 1001 + static_cast<Isin>(m_market.options.size());
            const OptionSample option =
                random_market::Option("O" + std::to_string(isin), series, Futures(series.CodeRF), isin);
            m_market.options.push_back(option);
            Do("insert " + option.Code + " of " + option.CodeVF,
               [=](InstrumentsRepository& r) { return option.InsertInto(r); });
        }
    }

    [[nodiscard]] const BaseContractSample& Contract(const std::string& code) const
    {
        return *std::ranges::find(m_market.baseContracts, code, &BaseContractSample::Code);
    }
    [[nodiscard]] const FuturesSample& Futures(const std::string& code) const
    {
        return *std::ranges::find(m_market.futures, code, &FuturesSample::Code);
    }

    plain::Market m_market = SmallMarket();
    std::unique_ptr<InstrumentsRepository> m_asked = MakeRepository(m_market);
    std::unique_ptr<InstrumentsRepository> m_unasked = MakeRepository(m_market);
    std::string m_story;
};

RC_GTEST_PROP(AskedValuesWalk, ValuesAreThoseOfTheirMomentWhenNobodyHasAsked, ())
{
    Walk walk;
    const int steps = Between(5, 30);
    for (int i = 0; i < steps; ++i)
        walk.MakeStep();
    const std::string differences = walk.Differences();
    if (!differences.empty()) RC_FAIL(differences);
}

} // namespace
} // namespace test::AskedValuesWalkTest
