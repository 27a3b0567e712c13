// Changes of instruments during the day, with any parameters, in any order, committed or not. Until they are released,
// nobody sees anything of them: the current objects are, to the last bit, those of a repository that knows the released
// transactions only. A change that is refused leaves them alone, too. New options come at any time and are in at once.
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CallArguments.h"
#include "InstrumentSamples.h"
#include "MarketChanges.h"
#include "Require.h"
#include "SameModel.h"

namespace {

using enum kv7im::AccessByStatus;
using kv7im::InstrumentsRepository;
using market_changes::SetCode;

constexpr int MostSteps = 60;
constexpr Isin FirstNewcomer = 200;
constexpr Isin LastNewcomer = 206;

constexpr const char* Contracts[] = {"BC", "OTHER"};
constexpr const char* Series[] = {"SER", "WIDE"};
constexpr Isin FuturesIsins[] = {1, 2, 3};
constexpr Isin OptionIsins[] = {101, 102, 103};

/// Two families of one group. The first has two futures, a multileg of them, and two series.
void Fill(InstrumentsRepository& repository)
{
    Z9ERR code = repository.InsertCurrency(840, 0.05);
    const auto keep = [&code](Z9ERR result) {
        if (code == 0) code = result;
    };
    for (const char* const contract : Contracts)
        keep(BaseContractSample(contract, "GROUP").InsertInto(repository));
    for (const Isin isin : FuturesIsins) {
        FuturesSample futures("FUT" + std::to_string(isin), isin, isin == 3 ? "OTHER" : "BC");
        futures.TimeToExpiration = 0.25 * isin;
        keep(futures.InsertInto(repository));
    }
    OptionSeriesSample series("SER", "FUT1");
    keep(series.InsertInto(repository));
    OptionSeriesSample wide("WIDE", "FUT2");
    wide.SubRisk = true;
    keep(wide.InsertInto(repository));
    for (const Isin isin : {101, 102, 103}) {
        OptionSample option;
        option.Code = "OPT" + std::to_string(isin);
        option.CodeVF = isin == 103 ? "WIDE" : "SER";
        option.Isin = isin;
        keep(option.InsertInto(repository));
    }
    keep(repository.InsertMultileg(50, 1, -1, 1));
    keep(repository.InsertMultileg(50, 2, 1, 2));
    Require(code == 0, "the market can be inserted");
}

using Change = std::function<Z9ERR(InstrumentsRepository&)>;

/// A repository and, beside it, one that is told of a transaction when it is released.
class Day
{
public:
    explicit Day(FuzzedDataProvider& bytes) : m_bytes(bytes), m_a(bytes)
    {
        Fill(m_repository);
        Fill(m_released);
    }

    void Play()
    {
        for (int step = 0; step < MostSteps && m_bytes.remaining_bytes() > 0; ++step) {
            m_a.Begin();
            Step(m_a.Whole(0, 11));
        }
        Release();
    }

private:
    void Step(int kind)
    {
        switch (kind) {
        case 0:
        case 1:
            return Make(ChangeOfContract());
        case 2:
        case 3:
            if (auto change = ChangeOfFutures()) Make(*change);
            return;
        case 4:
        case 5:
            return Make(ChangeOfSeries());
        case 6:
            return Make(ChangeOfSpread());
        case 7:
            return Make(ChangeOfOption());
        case 8:
            return Complete();
        case 9:
            return Ask();
        case 10:
            return InsertNewcomer();
        default:
            m_a.Flag() ? Release() : RequireUnseen();
        }
    }

    /// Both repositories take or refuse the same, since both had the same before.
    void Make(const Change& change)
    {
        const Z9ERR code = change(m_repository);
        m_open.push_back([change, code](InstrumentsRepository& repository) {
            Require(change(repository) == code, "a change is taken or refused whatever was asked in between");
            return code;
        });
    }
    void Complete()
    {
        Make([](InstrumentsRepository& repository) { return repository.UpdateComplete(); });
    }
    void Release()
    {
        Complete();
        RequireUnseen();
        m_repository.ReleaseChanged();
        for (const Change& change : m_open)
            static_cast<void>(change(m_released));
        m_released.ReleaseChanged();
        m_open.clear();
        RequireNone(same_model::Differences(m_repository, m_released), "a released transaction is seen");
    }
    /// The spread property of multilegs is left out: it follows the open transaction.
    void RequireUnseen() const
    {
        RequireNone(same_model::InstrumentDifferences({m_repository}, {m_released}), "nobody sees an open transaction");
    }
    static void RequireNone(const std::vector<std::string>& differences, const std::string& fact)
    {
        Require(differences.empty(), (fact + ": " + same_model::TextOf(differences)).c_str());
    }
    /// Values of options are made when they are first asked for.
    void Ask()
    {
        const Isin isin = m_a.Flag() ? m_a.OneOf(OptionIsins) : FirstNewcomer;
        const auto level = static_cast<Enums::ClientRiskLevel>(m_a.Whole(0, 4));
        const kv7im::CSpecOption* const option = m_repository.GetOption(m_a.Flag() ? eNew : eCurrent, isin);
        if (option != nullptr) static_cast<void>(option->GetGrid(level));
    }
    void InsertNewcomer()
    {
        if (m_newcomer > LastNewcomer) return;
        OptionSample option;
        option.Isin = m_newcomer++;
        option.Code = "NEW" + std::to_string(option.Isin);
        option.CodeVF = m_a.OneOf(Series);
        option.Strike = m_a.Number(1010.0);
        option.CalcOptPrice = m_a.Number(20.0);
        Require(option.InsertInto(m_repository) == option.InsertInto(m_released), "a new option is in at once");
    }

    // ---- Changes ----------------------------------------------------------------------------------------------------

    Change ChangeOfContract()
    {
        BaseContractSample contract(m_a.OneOf(Contracts), "GROUP");
        kv7im::SBaseContractChanges changes = market_changes::Of(contract);
        for (auto* const rates : {&changes.MarketRisk, &changes.MarketRisk1, &changes.MarketRisk2})
            for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
                (*rates)[level] = m_a.Number((*rates)[level]);
        changes.SpotPrice = m_a.Number(changes.SpotPrice);
        changes.ConcentrationLimit1 = m_a.Integral<std::int64_t>(changes.ConcentrationLimit1);
        changes.ConcentrationLimit2 = m_a.Integral<std::int64_t>(changes.ConcentrationLimit2);
        changes.CFRisk = m_a.Number(changes.CFRisk);
        return [changes](InstrumentsRepository& repository) { return repository.UpdateBaseContract(changes); };
    }
    /// Nothing for a price that no record can carry.
    std::optional<Change> ChangeOfFutures()
    {
        FuturesSample futures("", m_a.OneOf(FuturesIsins));
        for (double FuturesSample::*const number :
             {&FuturesSample::CalcFutPrice, &FuturesSample::RealCalcPrice, &FuturesSample::MinStepPrice,
              &FuturesSample::InterestRateRiskUp, &FuturesSample::InterestRateRiskDown,
              &FuturesSample::TimeToExpiration, &FuturesSample::NormalizedSpot, &FuturesSample::MRAddOnUp,
              &FuturesSample::MRAddOnDown})
            futures.*number = m_a.Number(futures.*number);
        futures.SpreadAspect = m_a.Flag() ? Enums::SpreadAspect::InSpread : Enums::SpreadAspect::NotInSpread;
        try {
            return [changes = market_changes::Of(futures)](InstrumentsRepository& repository) {
                return repository.UpdateFutures(changes);
            };
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }
    Change ChangeOfSeries()
    {
        OptionSeriesSample series(m_a.OneOf(Series), "");
        using S = OptionSeriesSample;
        for (double S::*const number :
             {&S::A, &S::B, &S::C, &S::D, &S::E, &S::S, &S::VolatilityRisk, &S::VolatilityRiskMismatch,
              &S::TimeToExpiration, &S::M_Bach, &S::MinStepPrice, &S::R, &S::InterestRateRiskUp,
              &S::InterestRateRiskDown, &S::ProjectedSpotDiscount, &S::R2})
            series.*number = m_a.Number(series.*number);
        for (std::int32_t S::*const clearings : {&S::ExpClearingsSA, &S::ExpClearingsBF, &S::ExpClearingsCC})
            series.*clearings = m_a.Integral<std::int32_t>(m_a.Whole(0, 2));
        series.UseNullVolat = m_a.Flag();
        return [changes = market_changes::Of(series)](InstrumentsRepository& repository) {
            return repository.UpdateVirtFutures(changes);
        };
    }
    Change ChangeOfSpread()
    {
        OptionSeriesSample series(m_a.OneOf(Series), "");
        series.EnforceHalfNetting = m_a.Flag();
        series.SpreadAspect = m_a.Flag() ? Enums::SpreadAspect::InSpread : Enums::SpreadAspect::NotInSpread;
        return [changes = market_changes::SpreadOf(series)](InstrumentsRepository& repository) {
            return repository.UpdateOptionSeries(changes);
        };
    }
    Change ChangeOfOption()
    {
        const Isin isin = m_a.OneOf(OptionIsins);
        return [isin, price = m_a.Number(33.0)](InstrumentsRepository& repository) {
            return repository.UpdateOption(isin, price);
        };
    }

    FuzzedDataProvider& m_bytes;
    CallArguments m_a;
    InstrumentsRepository m_repository;
    InstrumentsRepository m_released; // knows what was released
    std::vector<Change> m_open;       // of the transaction under way
    Isin m_newcomer = FirstNewcomer;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider bytes(data, size);
    Day(bytes).Play();
    return 0;
}
