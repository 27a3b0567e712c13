// EngineBook: a participant with a portfolio over a market of samples, for tests of the engine without an account tree.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "InstrumentsRepositoryWrapper.h"
#include "PlainMargin.h"
#include "Portfolio.h"
#include "RiskParticipant.h"
#include "SpecOption.h"
#include "SpecVirtFutures.h"

/// A repository that holds a market of samples.
inline std::unique_ptr<kv7im::InstrumentsRepository> MakeRepository(const plain::Market& market)
{
    auto repository = std::make_unique<kv7im::InstrumentsRepository>();
    const auto check = [](Z9ERR code) {
        if (code != 0) throw std::runtime_error("the sample market is refused with code " + std::to_string(code));
    };
    check(repository->SetEdgeCoeff(market.edgeCoeff));
    for (const auto& [id, radius] : market.currencies)
        check(repository->InsertCurrency(id, radius));
    for (const BaseContractSample& contract : market.baseContracts)
        check(contract.InsertInto(*repository));
    for (const FuturesSample& futures : market.futures)
        check(futures.InsertInto(*repository));
    for (const kv7im::OptionSeriesParameters& series : market.series)
        check(repository->InsertVirtFutures(series));
    for (const OptionSample& option : market.options)
        check(option.InsertInto(*repository));
    return repository;
}

class EngineBook final : public kv7im::RiskParticipant
{
public:
    EngineBook(const kv7im::InstrumentsRepository& repository, plain::Rules rules)
        : m_repository(repository), m_instruments(repository), m_rules(std::move(rules)), portfolio(this)
    {}
    EngineBook(const EngineBook&) = delete;
    EngineBook& operator=(const EngineBook&) = delete;

    Enums::ClientRiskLevel GetRiskLevel() const override { return m_rules.level; }
    bool GetNoFutDiscount() const override { return m_rules.noFutDiscount; }
    Enums::SpreadMarginType GetCalSpreadMarginType() const override { return m_rules.calendar; }
    Enums::SpreadMarginType GetInterContractSpreadMarginType() const override { return m_rules.interContract; }
    double GetShortOptionMinimumChargeRatio() const override { return m_rules.shortChargeRatio; }
    double GetBrokerBaseContractGORatio(const std::string& code) const override
    {
        const auto found = m_rules.ratios.find(code);
        return found == m_rules.ratios.end() ? 1.0 : found->second;
    }
    double GetBrokerBaseContractGORatioForMCS(const std::string& mcs) const override
    {
        double ratio = 0.0;
        for (const auto& node : m_repository.RangeBaseContractByMCS(mcs))
            ratio = std::max(ratio, GetBrokerBaseContractGORatio(node.GetCode()));
        return ratio;
    }
    bool WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const override
    {
        if (option == nullptr) return false;
        const kv7im::CSpecVirtFutures& series = *option->VirtFutures;
        switch (m_rules.tier) {
        case plain::Tier::Account:
            return series.ExpClearingsSA >= 1;
        case plain::Tier::Firm:
            return series.ExpClearingsBF >= 1;
        default:
            return series.ExpClearingsCC >= 1 && series.ExpClearingsCC <= m_rules.clearings;
        }
    }
    void NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures& position) override
    {
        added.push_back(position.GetIsin());
    }
    const kv7im::InstrumentsRepositoryWrapper& GetInstruments() const override { return m_instruments; }

    [[nodiscard]] plain::Margins Margins() const
    {
        return {portfolio.GetVolatilityInitialMargin(), portfolio.GetDeliveryVolatilityInitialMargin()};
    }

private:
    const kv7im::InstrumentsRepository& m_repository;
    kv7im::InstrumentsRepositoryWrapper m_instruments;
    plain::Rules m_rules;

public:
    kv7im::Portfolio portfolio;
    std::vector<Isin> added; // futures told to NewPositionAddedToPortfolio
};
