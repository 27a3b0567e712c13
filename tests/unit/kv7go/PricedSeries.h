// PricedSeries: a base contract, a futures and an option series under it, computed, with the plain pricer of its
// options beside the engine's.
#pragma once

#include <cstddef>
#include <memory>
#include <ostream>
#include <vector>

#include "InstrumentSamples.h"
#include "PlainOption.h"
#include "SameBits.h"

/// What decides how options are seen: the margin style, the collateral flag and the asset class.
enum class UnderlyingKind
{
    Futures,
    Stock,
    CurrencyOrIndex,
    Commodity,
};
inline constexpr UnderlyingKind UnderlyingKinds[] = {UnderlyingKind::Futures, UnderlyingKind::Stock,
                                                     UnderlyingKind::CurrencyOrIndex, UnderlyingKind::Commodity};

inline std::ostream& operator<<(std::ostream& out, UnderlyingKind kind)
{
    const char* const names[] = {"futures", "stock", "currency or index", "commodity"};
    return out << names[static_cast<std::size_t>(kind)];
}

class PricedSeries
{
public:
    /// Five price points, 744 to 1256 in steps of 128; every rate, shock and discount at work.
    PricedSeries()
    {
        contract.CFRisk = 0.25;
        contract.VolatNum = 5;
        futures.InterestRateRiskUp = 0.03;
        futures.InterestRateRiskDown = 0.02;
        futures.MRAddOnUp = 0.015;
        futures.MRAddOnDown = 0.01;
        futures.RealCalcPrice = 1010.0;
        series.A = 25.0;
        series.B = 10.0;
        series.C = 0.5;
        series.D = -3.0;
        series.E = 2.0;
        series.S = 0.01;
        series.A_Bach = 0.25;
        series.B_Bach = 0.1;
        series.C_Bach = 0.5;
        series.D_Bach = -0.03;
        series.E_Bach = 2.0;
        series.S_Bach = 0.01;
        series.M_Bach = 1000.0;
        series.VolatilityRisk = 0.25;
        series.VolatilityRiskMismatch = 0.125;
        series.R = 0.08;
        series.R2 = 0.03;
        series.InterestRateRiskUp = 0.02;
        series.InterestRateRiskDown = 0.015;
        series.InterestRate2RiskUp = 0.01;
        series.InterestRate2RiskDown = 0.0125;
        series.FixedSpotDiscount = 3.0;
        series.ProjectedSpotDiscount = 5.0;
        series.MinStep = 1.0;
        series.MinStepPrice = 2.0;
        series.LotCoeff = 1;
    }

    void SetKind(UnderlyingKind kind)
    {
        series.marginStyle = kind == UnderlyingKind::Futures ? Enums::MarginStyle::Futures : Enums::MarginStyle::Equity;
        const bool collateral = kind == UnderlyingKind::Stock || kind == UnderlyingKind::CurrencyOrIndex;
        futures.Attribute = collateral ? Enums::InstrumentStatus::Collateral : Enums::InstrumentStatus::None;
        contract.AssetClass =
            kind == UnderlyingKind::CurrencyOrIndex ? Enums::AssetClass::Index : Enums::AssetClass::Stock;
    }

    /// Makes the instruments anew from the samples. Options made earlier are no longer valid.
    void Build()
    {
        m_series.reset();
        m_contract = contract.Make();
        m_futures = futures.Make(*m_contract);
        m_contract->Init();
        static_cast<void>(m_contract->CorrectShiftParamsByFutures(m_futures.get()));
        m_futures->RecalcInvariants();
        m_series = series.Make(*m_futures);
        m_series->RecalcInvariants();
    }

    [[nodiscard]] kv7im::CSpecOption Option(double strike, bool put) const
    {
        kv7im::CSpecOption option(m_series.get(), "OPT", "SER", 101, strike, put, 64.0);
        option.RecalcInvariants();
        return option;
    }
    [[nodiscard]] plain::OptionPricer Plain(double strike, bool put) const
    {
        return {contract, futures, series, strike, put};
    }

    [[nodiscard]] kv7im::CSpecBaseContract& Contract() const { return *m_contract; }
    [[nodiscard]] kv7im::CSpecFutures& Futures() const { return *m_futures; }
    [[nodiscard]] kv7im::CSpecVirtFutures& Series() const { return *m_series; }

    /// Prices of the columns, and the real price point of each.
    [[nodiscard]] std::vector<double> Prices(Enums::ClientRiskLevel level) const
    {
        const kv7im::RiskRowWrapper row = m_series->GetVolatilityMatrixCentralRow(level);
        std::vector<double> prices(row.size());
        for (std::size_t column = 0; column < prices.size(); ++column)
            prices[column] = static_cast<const kv7im::RiskRowWrapper&>(row)[column];
        return prices;
    }
    [[nodiscard]] std::vector<std::size_t> RealPoints(Enums::ClientRiskLevel level) const
    {
        const auto& binds = m_series->GetBindingArray(level);
        std::vector<std::size_t> real(Prices(level).size());
        for (std::size_t column = 0; column < real.size(); ++column)
            real[column] = m_series->HasSubPoints(level) ? binds.binding[column] : column;
        return real;
    }

    BaseContractSample contract;
    FuturesSample futures;
    OptionSeriesSample series;

private:
    std::shared_ptr<kv7im::CSpecBaseContract> m_contract;
    std::shared_ptr<kv7im::CSpecFutures> m_futures;
    std::unique_ptr<kv7im::CSpecVirtFutures> m_series;
};
