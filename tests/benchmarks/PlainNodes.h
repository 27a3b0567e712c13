// PlainNodes: changes of positions and orders done plainly, by whole matrices: copy the profile, transform it, subtract
// and add, copy the node, half-net it, subtract and add, collapse. The reference that the engine's one-pass form is
// measured against and judged by, bit by bit.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "EngineBook.h"
#include "PlainSeries.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "nodes/RiskNode.h"

/// What the futures of one base contract share, and their margins.
struct PlainGroup
{
    PlainGroup(const kv7im::CSpecBaseContract& contract, Enums::ClientRiskLevel level)
        : mms(contract, 1.0, level), mcs(static_cast<std::size_t>(contract.PointsNum), 1.0, level)
    {}

    kv7im::RiskNodeMMS mms;
    kv7im::RiskNodeMCS mcs;
    double volatility = 0.0;
    double delivery = 0.0;
};

/// One futures and its series, up to the margins.
class PlainNodes
{
public:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules)
        : PlainNodes(futures, rules, std::make_shared<PlainGroup>(*futures.BaseContract, rules.level))
    {}
    /// Another futures of the same base contract, in the same group.
    PlainNodes(const kv7im::CSpecFutures& futures, const PlainNodes& neighbour)
        : PlainNodes(futures, neighbour.m_rules, neighbour.m_group)
    {}

    /// Returns the volatility margin.
    double SetPosition(std::int64_t quantity, double price)
    {
        m_owner -= RiskOf(m_quantity, m_price);
        m_quantity = quantity;
        m_price = price;
        m_owner += RiskOf(m_quantity, m_price);
        CarryToGroups();
        return m_group->volatility;
    }

    /// Orders in the futures come in.
    double AddOrders(const OrdersMap& orders)
    {
        const auto discount = m_rules.noFutDiscount ? kv7type::Discount::No : kv7type::Discount::Yes;
        m_owner += ScaledRisk(m_futures.TransformToOrder(orders, discount, m_rules.level), m_rules.shortChargeRatio);
        CarryToGroups();
        return m_group->volatility;
    }

    /// Orders in an option of the futures come in.
    double AddOrders(const kv7im::CSpecOption& option, const OrdersMap& orders, bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        const bool inSpread = option.VirtFutures->IsInSpread;
        series.AddOrders(option, orders, inSpread ? &m_owner : nullptr);
        return Carry(series, inSpread);
    }

    /// A position in an option of the futures. deliveries: whether the participant counts those of its series.
    double SetOption(const kv7im::CSpecOption& option, std::int64_t quantity, double price, double netOptionValue,
                     bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        const bool inSpread = option.VirtFutures->IsInSpread;
        series.SetPosition(option, quantity, price, netOptionValue, inSpread ? &m_owner : nullptr);
        return Carry(series, inSpread);
    }

    [[nodiscard]] const kv7im::RiskNodeFutures& Owner() const { return m_owner; }
    [[nodiscard]] const kv7im::RiskNodeMMS& MMS() const { return m_group->mms; }
    [[nodiscard]] const PlainSeries* Series(const std::string& code) const
    {
        const auto found = m_series.find(code);
        return found == m_series.end() ? nullptr : found->second.get();
    }
    [[nodiscard]] plain::Margins Margins() const { return {m_group->volatility, m_group->delivery}; }

private:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules, std::shared_ptr<PlainGroup> group)
        : m_futures(futures),
          m_contract(*futures.BaseContract),
          m_rules(rules),
          m_owner(futures.GetProfile(rules.level).GetParameters(), 1.0, rules.level, futures.IsCollateral()),
          m_previous(m_owner),
          m_group(std::move(group))
    {}

    [[nodiscard]] kv7im::Risk RiskOf(std::int64_t quantity, double price) const
    {
        const double settlement = m_futures.RealCalcPrice;
        double usable = price;
        if (m_rules.noFutDiscount)
            usable = quantity < 1 ? kv7im::Min(settlement, price) : kv7im::Max(settlement, price);
        return ScaledRisk(m_futures.TransformToPosition(quantity, usable, m_rules.level), m_rules.shortChargeRatio);
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

    double Carry(PlainSeries& series, bool inSpread)
    {
        if (inSpread)
            CarryToGroups();
        else
            UpdateMargins(series.node);
        return m_group->volatility;
    }

    void CarryToGroups()
    {
        kv7im::RiskNodeMMS& mms = m_group->mms;
        kv7im::RiskNodeMCS& mcs = m_group->mcs;
        if (!m_futures.IsInSpread) return UpdateMargins(m_owner);
        const kv7im::RiskNodeMMS::PropertiesForICS properties{m_rules.interContract, &m_futures};
        const bool inGroup = m_contract.HasMCS();
        if (inGroup) mcs -= (mms | properties);
        mms -= m_previous;
        if (m_rules.calendar == Enums::SpreadMarginType::HalfNetting || m_futures.EnforceIMSHalfNetting)
            m_previous = m_owner.GetTransformedRisk();
        else
            m_previous = m_owner;
        mms += m_previous;
        if (inGroup) mcs += (mms | properties);
        UpdateMargins(inGroup ? static_cast<kv7im::RiskNodeBase&>(mcs) : mms);
    }

    void UpdateMargins(kv7im::RiskNodeBase& node)
    {
        m_group->volatility += node.UpdateInitialMarginValue(m_contract);
        m_group->delivery += node.UpdateInitialMarginDeliveryValue(m_contract);
    }

    const kv7im::CSpecFutures& m_futures;
    const kv7im::CSpecBaseContract& m_contract;
    plain::Rules m_rules;
    kv7im::RiskNodeFutures m_owner;
    kv7im::RiskNodeFutures m_previous;
    std::shared_ptr<PlainGroup> m_group;
    std::map<std::string, std::unique_ptr<PlainSeries>> m_series;
    std::int64_t m_quantity = 0;
    double m_price = 0.0;
};
