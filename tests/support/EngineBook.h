// EngineBook: a participant with a portfolio over a market of samples, for tests of the engine without an account tree.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "PlainMargin.h"
#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

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
    for (const MultilegSample& multileg : market.multilegs)
        check(multileg.InsertInto(*repository));
    return repository;
}

class EngineBook final : public kv7im::RiskParticipant
{
public:
    EngineBook(const kv7im::InstrumentsRepository& repository, plain::Rules rules)
        : m_instruments(repository), m_rules(std::move(rules)), portfolio(this)
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
        for (const auto& node : m_instruments.GetRepository().RangeBaseContractByMCS(mcs))
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
    std::int64_t GetAfterLastClearingQuantityByIsin(Isin isin) const override
    {
        const auto found = cleared.find(isin);
        return found == cleared.end() ? 0 : found->second;
    }
    void NewPositionAddedToPortfolio(const kv7im::CumulativePositionByFutures& position) override
    {
        added.push_back(position.GetIsin());
    }
    const kv7im::InstrumentsRepositoryWrapper& GetInstruments() const override { return m_instruments; }

    /// What a client's parameters may become; the book knows of it when it is taken anew.
    void ChangeRules(const plain::Rules& rules) { m_rules = rules; }

    /// The view that the book looks at its instruments through.
    kv7im::InstrumentsRepositoryWrapper& Instruments() { return m_instruments; }
    /// From now on the instruments are those of another repository; the old one is still needed by what is held.
    void SwitchTo(const kv7im::InstrumentsRepository& repository)
    {
        m_instruments = kv7im::InstrumentsRepositoryWrapper(repository);
    }

    [[nodiscard]] plain::Margins Margins() const
    {
        return {portfolio.GetVolatilityInitialMargin(), portfolio.GetDeliveryVolatilityInitialMargin()};
    }

private:
    kv7im::InstrumentsRepositoryWrapper m_instruments;
    plain::Rules m_rules;

public:
    kv7im::Portfolio portfolio;
    std::vector<Isin> added;              // futures told to NewPositionAddedToPortfolio
    std::map<Isin, std::int64_t> cleared; // quantities that the last clearing left
};
