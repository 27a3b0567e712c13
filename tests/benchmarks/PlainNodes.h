// PlainNodes: one position change done plainly, by whole matrices: copy the profile, transform it, subtract and add,
// copy the node, half-net it, subtract and add, collapse. The reference that the engine's one-pass form is measured
// against.
#pragma once

#include "EngineBook.h"
#include "RiskNode.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

class PlainNodes
{
public:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules)
        : m_futures(futures),
          m_contract(*futures.BaseContract),
          m_rules(rules),
          m_owner(futures.GetProfile(rules.level).GetParameters(), 1.0, rules.level, false),
          m_previous(m_owner),
          m_mms(m_contract, 1.0, rules.level),
          m_mcs(static_cast<std::size_t>(m_contract.PointsNum), 1.0, rules.level)
    {}

    /// Returns the volatility margin.
    double SetPosition(std::int64_t quantity, double price)
    {
        m_owner -= Scaled(m_quantity, m_price);
        m_quantity = quantity;
        m_price = price;
        m_owner += Scaled(m_quantity, m_price);

        const kv7im::RiskNodeMMS::PropertiesForICS properties{m_rules.interContract, &m_futures};
        const bool inGroup = m_contract.HasMCS();
        if (inGroup) m_mcs -= (m_mms | properties);
        m_mms -= m_previous;
        if (m_rules.calendar == Enums::SpreadMarginType::HalfNetting)
            m_previous = m_owner.GetTransformedRisk();
        else
            m_previous = m_owner;
        m_mms += m_previous;
        if (inGroup) m_mcs += (m_mms | properties);

        kv7im::RiskNodeBase& top = inGroup ? static_cast<kv7im::RiskNodeBase&>(m_mcs) : m_mms;
        m_volatility += top.UpdateInitialMarginValue(m_contract);
        m_delivery += top.UpdateInitialMarginDeliveryValue(m_contract);
        return m_volatility;
    }

private:
    [[nodiscard]] kv7im::Risk Scaled(std::int64_t quantity, double price) const
    {
        kv7im::Risk risk = m_futures.TransformToPosition(quantity, price, m_rules.level);
        auto& points = risk.GetSpecialRiskPoints();
        points.SetDownRisk(points.GetDownRisk() * m_rules.shortChargeRatio);
        points.SetUpRisk(points.GetUpRisk() * m_rules.shortChargeRatio);
        return risk;
    }

    const kv7im::CSpecFutures& m_futures;
    const kv7im::CSpecBaseContract& m_contract;
    plain::Rules m_rules;
    kv7im::RiskNodeFutures m_owner;
    kv7im::RiskNodeFutures m_previous;
    kv7im::RiskNodeMMS m_mms;
    kv7im::RiskNodeMCS m_mcs;
    std::int64_t m_quantity = 0;
    double m_price = 0.0;
    double m_volatility = 0.0;
    double m_delivery = 0.0;
};
