// PlainNodes: position changes done plainly, by whole matrices: copy the profile, transform it, subtract and add, copy
// the node, half-net it, subtract and add, collapse. The reference that the engine's one-pass form is measured against
// and judged by, bit by bit.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "EngineBook.h"
#include "PlainSeries.h"
#include "RiskNode.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

/// One futures and its series, up to the margins.
class PlainNodes
{
public:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules)
        : m_futures(futures),
          m_contract(*futures.BaseContract),
          m_rules(rules),
          m_owner(futures.GetProfile(rules.level).GetParameters(), 1.0, rules.level, futures.IsCollateral()),
          m_previous(m_owner),
          m_mms(m_contract, 1.0, rules.level),
          m_mcs(static_cast<std::size_t>(m_contract.PointsNum), 1.0, rules.level)
    {}

    /// Returns the volatility margin.
    double SetPosition(std::int64_t quantity, double price)
    {
        m_owner -= RiskOf(m_quantity, m_price);
        m_quantity = quantity;
        m_price = price;
        m_owner += RiskOf(m_quantity, m_price);
        CarryToGroups();
        return m_volatility;
    }

    /// The same for an option of the futures. deliveries: whether the participant counts those of its series.
    double SetOption(const kv7im::CSpecOption& option, std::int64_t quantity, double price, double netOptionValue,
                     bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        const bool inSpread = option.VirtFutures->IsInSpread;
        series.SetPosition(option, quantity, price, netOptionValue, inSpread ? &m_owner : nullptr);
        if (inSpread)
            CarryToGroups();
        else
            UpdateMargins(series.node);
        return m_volatility;
    }

    [[nodiscard]] const kv7im::RiskNodeFutures& Owner() const { return m_owner; }
    [[nodiscard]] const kv7im::RiskNodeMMS& MMS() const { return m_mms; }
    [[nodiscard]] const PlainSeries* Series(const std::string& code) const
    {
        const auto found = m_series.find(code);
        return found == m_series.end() ? nullptr : found->second.get();
    }
    [[nodiscard]] plain::Margins Margins() const { return {m_volatility, m_delivery}; }

private:
    [[nodiscard]] kv7im::Risk RiskOf(std::int64_t quantity, double price) const
    {
        return ScaledRisk(m_futures.TransformToPosition(quantity, price, m_rules.level), m_rules.shortChargeRatio);
    }

    PlainSeries& SeriesOf(const kv7im::CSpecOption& option, bool deliveries)
    {
        std::unique_ptr<PlainSeries>& series = m_series[option.CodeVF];
        if (series == nullptr) {
            kv7im::Parameters parameters = option.GetParameters(m_rules.level);
            if (!deliveries) parameters.expirationScenariosCount = 0;
            series =
                std::make_unique<PlainSeries>(*option.VirtFutures, parameters, m_rules.level, m_rules.shortChargeRatio);
        }
        return *series;
    }

    void CarryToGroups()
    {
        if (!m_futures.IsInSpread) return UpdateMargins(m_owner);
        const kv7im::RiskNodeMMS::PropertiesForICS properties{m_rules.interContract, &m_futures};
        const bool inGroup = m_contract.HasMCS();
        if (inGroup) m_mcs -= (m_mms | properties);
        m_mms -= m_previous;
        if (m_rules.calendar == Enums::SpreadMarginType::HalfNetting || m_futures.EnforceIMSHalfNetting)
            m_previous = m_owner.GetTransformedRisk();
        else
            m_previous = m_owner;
        m_mms += m_previous;
        if (inGroup) m_mcs += (m_mms | properties);
        UpdateMargins(inGroup ? static_cast<kv7im::RiskNodeBase&>(m_mcs) : m_mms);
    }

    void UpdateMargins(kv7im::RiskNodeBase& node)
    {
        m_volatility += node.UpdateInitialMarginValue(m_contract);
        m_delivery += node.UpdateInitialMarginDeliveryValue(m_contract);
    }

    const kv7im::CSpecFutures& m_futures;
    const kv7im::CSpecBaseContract& m_contract;
    plain::Rules m_rules;
    kv7im::RiskNodeFutures m_owner;
    kv7im::RiskNodeFutures m_previous;
    kv7im::RiskNodeMMS m_mms;
    kv7im::RiskNodeMCS m_mcs;
    std::map<std::string, std::unique_ptr<PlainSeries>> m_series;
    std::int64_t m_quantity = 0;
    double m_price = 0.0;
    double m_volatility = 0.0;
    double m_delivery = 0.0;
};
