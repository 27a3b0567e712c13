// PlainNodes: changes of positions and orders done plainly, by whole matrices: copy the profile, transform it, subtract
// and add, copy the node, half-net it, subtract and add, collapse. The reference that the engine's one-pass form is
// measured against and judged by, bit by bit.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "PlainMargin.h"
#include "PlainRiskNodes.h"
#include "PlainSeries.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

/// What the futures of one base contract share, and their margins.
struct PlainGroup
{
    explicit PlainGroup(const kv7im::CSpecBaseContract& contract)
        : mms(contract), mcs(static_cast<std::size_t>(contract.PointsNum))
    {}

    void TakeChange(const plain::Margins& change)
    {
        margins.volatility += change.volatility;
        margins.delivery += change.delivery;
    }

    plain::ContractNode mms;
    plain::GroupNode mcs;
    std::optional<plain::Contribution> given; // of the contract to its group
    plain::LastMargins top;
    plain::Margins margins;
};

/// One futures and its series, up to the margins.
class PlainNodes
{
public:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules)
        : PlainNodes(futures, rules, std::make_shared<PlainGroup>(*futures.BaseContract))
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
        return m_group->margins.volatility;
    }

    /// Orders in the futures come in.
    double AddOrders(const OrdersMap& orders)
    {
        const auto discount = m_rules.noFutDiscount ? kv7type::Discount::No : kv7type::Discount::Yes;
        m_owner +=
            plain::ScaledRisk(m_futures.TransformToOrder(orders, discount, m_rules.level), m_rules.shortChargeRatio);
        CarryToGroups();
        return m_group->margins.volatility;
    }

    /// Orders in an option of the futures come in.
    double AddOrders(const kv7im::CSpecOption& option, const OrdersMap& orders, bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        series.AddOrders(option, orders, option.VirtFutures->IsInSpread ? &m_owner : nullptr);
        return Carry(series, option.VirtFutures->IsInSpread);
    }

    /// A position in an option of the futures. deliveries: whether the participant counts those of its series.
    double SetOption(const kv7im::CSpecOption& option, std::int64_t quantity, double price, double netOptionValue,
                     bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        series.SetPosition(option, quantity, price, netOptionValue,
                           option.VirtFutures->IsInSpread ? &m_owner : nullptr);
        return Carry(series, option.VirtFutures->IsInSpread);
    }

    [[nodiscard]] const plain::FuturesNode& Owner() const { return m_owner; }
    [[nodiscard]] const plain::ContractNode& MMS() const { return m_group->mms; }
    [[nodiscard]] const PlainSeries* Series(const std::string& code) const
    {
        const auto found = m_series.find(code);
        return found == m_series.end() ? nullptr : found->second.get();
    }
    [[nodiscard]] plain::Margins Margins() const { return m_group->margins; }

private:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules, std::shared_ptr<PlainGroup> group)
        : m_futures(futures),
          m_contract(*futures.BaseContract),
          m_rules(rules),
          m_owner(futures.GetProfile(rules.level).GetParameters(), futures.IsCollateral()),
          m_previous(m_owner),
          m_group(std::move(group))
    {}

    [[nodiscard]] kv7im::Risk RiskOf(std::int64_t quantity, double price) const
    {
        const double settlement = m_futures.RealCalcPrice;
        double usable = price;
        if (m_rules.noFutDiscount)
            usable = quantity < 1 ? kv7im::Min(settlement, price) : kv7im::Max(settlement, price);
        return plain::ScaledRisk(m_futures.TransformToPosition(quantity, usable, m_rules.level),
                                 m_rules.shortChargeRatio);
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
            m_group->TakeChange(series.UpdateMargins(m_contract));
        return m_group->margins.volatility;
    }

    void CarryToGroups()
    {
        if (!m_futures.IsInSpread)
            return m_group->TakeChange(m_ofOwner.Replace(plain::MarginsOf(m_owner, m_contract, m_rules.level)));
        plain::ContractNode& mms = m_group->mms;
        plain::GroupNode& mcs = m_group->mcs;
        if (m_group->given) mcs -= *m_group->given;
        mms -= m_previous;
        m_previous = m_owner;
        if (m_rules.calendar == Enums::SpreadMarginType::HalfNetting || m_futures.EnforceIMSHalfNetting)
            m_previous.KeepLosses();
        mms += m_previous;
        if (!m_contract.HasMCS())
            return m_group->TakeChange(m_group->top.Replace(plain::MarginsOf(mms, m_contract, m_rules.level)));
        const auto window = static_cast<std::size_t>(m_contract.WindowSize);
        const bool nets = m_rules.interContract == Enums::SpreadMarginType::Netting;
        m_group->given.emplace(mms, m_contract, m_rules.level, nets ? &window : nullptr);
        mcs += *m_group->given;
        m_group->TakeChange(m_group->top.Replace(mcs.GetMargins()));
    }

    const kv7im::CSpecFutures& m_futures;
    const kv7im::CSpecBaseContract& m_contract;
    plain::Rules m_rules;
    plain::FuturesNode m_owner;
    plain::Sides m_previous;
    plain::LastMargins m_ofOwner;
    std::shared_ptr<PlainGroup> m_group;
    std::map<std::string, std::unique_ptr<PlainSeries>> m_series;
    std::int64_t m_quantity = 0;
    double m_price = 0.0;
};
