// RandomChanges: a day's changes of a random market, drawn by RapidCheck.
//
// A change goes into the repository and into the market that describes what a fresh repository would be filled with.
// For the two to agree to the last bit, a day keeps what insertion does of itself:
// - the shift and the limits of a contract follow the nearest futures, found while futures come in one by one. Changed
//   rates forget who that was, so with them go all futures of the contract, in their order; without them a futures
//   keeps its expiry, so that the nearest stays the nearest, and contracts with two nearest ones take no such change.
// - a step between sub-points that was too narrow stays wide until its series is changed, so the series with sub-points
//   change with their futures.
// - a contract that trades at the settlement of another's futures follows it in its own changes only.
#pragma once

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include <rapidcheck.h>

#include "MarketChanges.h"
#include "RandomMarket.h"

namespace random_changes {

using random_market::Between;
using random_market::OnceIn;

class Day
{
public:
    Day(kv7im::InstrumentsRepository& repository, plain::Market& market) : m_repository(repository), m_market(market) {}

    /// Changes some families. The first contract has the futures that the last one trades at the settlement of.
    void ChangeSome()
    {
        for (std::size_t i = 0; i + 1 < m_market.baseContracts.size(); ++i) {
            if (OnceIn(2)) continue;
            ChangeFamily(m_market.baseContracts[i]);
            if (i == 0) ChangeFamily(m_market.baseContracts.back());
        }
    }

private:
    void ChangeFamily(BaseContractSample& contract)
    {
        const bool rates = OnceIn(2);
        const bool futures = rates || (HasOneNearest(contract) && OnceIn(2));
        if (rates) ChangeRates(contract);
        for (FuturesSample& each : m_market.futures)
            if (each.CodeBC == contract.Code && (rates || (futures && OnceIn(2)))) ChangeFutures(each, contract, rates);
        if (contract.Code == m_market.baseContracts.back().Code) Open(contract);
        for (kv7im::OptionSeriesParameters& series : m_market.series)
            if (const FuturesSample& owner = FuturesOf(series); owner.CodeBC == contract.Code)
                ChangeSeries(series, owner, futures);
    }

    void ChangeRates(BaseContractSample& contract)
    {
        BaseContractSample changed = random_market::Contract(contract.Code, contract.CodeMCS, contract.RiskPointsN);
        changed.VolatNum = contract.VolatNum;
        changed.MSPType = contract.MSPType;
        changed.CurrencyId = contract.CurrencyId;
        changed.ShortOptionMinimumCharge = contract.ShortOptionMinimumCharge;
        changed.WindowSizePercentage = contract.WindowSizePercentage;
        changed.AssetClass = contract.AssetClass;
        contract = changed;
        Accept(m_repository.UpdateBaseContract(market_changes::Of(contract)));
    }

    void ChangeFutures(FuturesSample& futures, const BaseContractSample& contract, bool withExpiry)
    {
        FuturesSample changed = random_market::Futures(futures.Code, contract, futures.Isin);
        changed.MinStep = futures.MinStep;
        changed.XLot = futures.XLot;
        changed.Attribute = futures.Attribute;
        changed.TASBaseFutIsinID = futures.TASBaseFutIsinID;
        if (!withExpiry) changed.TimeToExpiration = futures.TimeToExpiration;
        futures = changed;
        Accept(m_repository.UpdateFutures(market_changes::Of(futures)));
    }

    /// Has a family in the transaction, changed or not.
    void Open(const BaseContractSample& contract)
    {
        for (const FuturesSample& each : m_market.futures)
            if (each.CodeBC == contract.Code) Accept(m_repository.UpdateFutures(market_changes::Of(each)));
    }

    void ChangeSeries(kv7im::OptionSeriesParameters& series, const FuturesSample& futures, bool gridMoves)
    {
        if (OnceIn(3)) {
            series.EnforceHalfNetting = !series.EnforceHalfNetting;
            series.SpreadAspect = *rc::gen::element(Enums::SpreadAspect::NotInSpread, Enums::SpreadAspect::InSpread);
            Accept(m_repository.UpdateOptionSeries(market_changes::SpreadOf(series)));
        }
        if ((gridMoves && series.SubRisk) || OnceIn(2)) {
            kv7im::OptionSeriesParameters changed = random_market::Series(series.Code, futures);
            changed.marginStyle = series.marginStyle;
            changed.settlementType = series.settlementType;
            changed.SubRisk = series.SubRisk;
            changed.MinStep = series.MinStep;
            changed.StrikeStep = series.StrikeStep;
            changed.LotCoeff = series.LotCoeff;
            changed.FixedSpotDiscount = series.FixedSpotDiscount;
            series = changed;
            Accept(m_repository.UpdateVirtFutures(market_changes::Of(series)));
        }
        for (OptionSample& option : m_market.options)
            if (option.CodeVF == series.Code && OnceIn(2)) {
                option.CalcOptPrice = random_market::Grid(0.25, 0.5, 20);
                Accept(m_repository.UpdateOption(option.Isin, option.CalcOptPrice));
            }
    }

    [[nodiscard]] bool HasOneNearest(const BaseContractSample& contract) const
    {
        std::vector<double> times;
        for (const FuturesSample& futures : m_market.futures)
            if (futures.CodeBC == contract.Code) {
                for (const double other : times)
                    if (std::abs(other - futures.TimeToExpiration) < 0.01) return false;
                times.push_back(futures.TimeToExpiration);
            }
        return true;
    }

    [[nodiscard]] const FuturesSample& FuturesOf(const kv7im::OptionSeriesParameters& series) const
    {
        for (const FuturesSample& futures : m_market.futures)
            if (futures.Code == series.CodeRF) return futures;
        throw std::logic_error("a series without its futures: " + series.Code);
    }

    static void Accept(Z9ERR code) { RC_ASSERT(code == 0); }

    kv7im::InstrumentsRepository& m_repository;
    plain::Market& m_market;
};

/// Asks for values of a few options, which are made at that moment.
inline void AskSome(const kv7im::InstrumentsRepository& repository, kv7im::AccessByStatus access)
{
    for (const kv7im::OptionEntry& option : repository.RangeOptionsByIsin())
        if (OnceIn(3))
            static_cast<void>(option.Get(access)->GetGrid(static_cast<Enums::ClientRiskLevel>(Between(0, 5))));
}

} // namespace random_changes
