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

#include "EngineBook.h"
#include "PlainRiskNodes.h"
#include "PlainSeries.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"

/// What the futures of one book share: the nodes above them, and the margins of all.
struct PlainGroups
{
    std::map<std::string, plain::GroupNode> contracts; // by code
    std::map<std::string, plain::GroupsNode> groups;   // by code
    double volatility = 0.0;
    double delivery = 0.0;
};

/// One futures and its series, up to the margins.
class PlainNodes
{
public:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules)
        : PlainNodes(futures, rules, std::make_shared<PlainGroups>())
    {}
    /// Another futures of the same book.
    PlainNodes(const kv7im::CSpecFutures& futures, const PlainNodes& neighbour)
        : PlainNodes(futures, neighbour.m_rules, neighbour.m_groups)
    {}

    /// Returns the volatility margin.
    double SetPosition(std::int64_t quantity, double price)
    {
        m_owner -= RiskOf(m_quantity, m_price);
        m_quantity = quantity;
        m_price = price;
        m_owner += RiskOf(m_quantity, m_price);
        CarryToGroups();
        return m_groups->volatility;
    }

    /// Orders in the futures come in.
    double AddOrders(const OrdersMap& orders)
    {
        const auto discount = m_rules.noFutDiscount ? kv7type::Discount::No : kv7type::Discount::Yes;
        m_owner += ScaledRisk(m_futures.TransformToOrder(orders, discount, m_rules.level), m_rules.shortChargeRatio);
        CarryToGroups();
        return m_groups->volatility;
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

    /// A position in the mode of positions alone. A book runs in one mode or the other.
    void SetPosition_PositionsOnly(std::int64_t quantity, double price, double marketPrice)
    {
        PaperPosition next{quantity, price, marketPrice};
        next.paperLoss = next.Lost(m_futures.MoneyCoef);
        m_owner -= RiskOf_PositionsOnly(m_paper);
        m_owner.AddCumulativePerformance(next.ShareOf(next.paperLoss) - m_paper.ShareOf(m_paper.paperLoss));
        m_owner += RiskOf_PositionsOnly(next);
        m_paper = next;
        CarryToGroups(plain::Mode::PositionsOnly);
    }
    /// A position in an option in the mode of positions alone.
    void SetOption_PositionsOnly(const kv7im::CSpecOption& option, std::int64_t quantity, double price,
                                 double marketPrice, std::int64_t novQuantity, bool deliveries)
    {
        PlainSeries& series = SeriesOf(option, deliveries);
        const bool inSpread = option.VirtFutures->IsInSpread;
        series.SetPosition_PositionsOnly(option, quantity, price, marketPrice, novQuantity,
                                         inSpread ? &m_owner : nullptr);
        Carry(series, inSpread, plain::Mode::PositionsOnly);
    }

    [[nodiscard]] const plain::FuturesNode& Owner() const { return m_owner; }
    [[nodiscard]] const plain::GroupNode& MMS() const { return m_mms; }
    [[nodiscard]] const plain::GroupsNode& MCS() const { return m_mcs; }
    [[nodiscard]] const PlainSeries* Series(const std::string& code) const
    {
        const auto found = m_series.find(code);
        return found == m_series.end() ? nullptr : found->second.get();
    }
    [[nodiscard]] plain::Margins Margins() const { return {m_groups->volatility, m_groups->delivery}; }

    /// The netting of the book's futures changes; what each gave to its group goes out as it went in.
    void ChangeCalendarNetting(Enums::SpreadMarginType type) { m_rules.calendar = type; }

private:
    PlainNodes(const kv7im::CSpecFutures& futures, const plain::Rules& rules, std::shared_ptr<PlainGroups> groups)
        : m_futures(futures),
          m_contract(*futures.BaseContract),
          m_rules(rules),
          m_owner(futures.GetProfile(rules.level).GetParameters(), 1.0, rules.level, futures.IsCollateral()),
          m_previous(m_owner),
          m_groups(std::move(groups)),
          m_mms(m_groups->contracts.try_emplace(m_contract.Code, m_contract, 1.0, rules.level).first->second),
          m_mcs(m_groups->groups
                    .try_emplace(m_contract.CodeMCS, static_cast<std::size_t>(m_contract.PointsNum), 1.0, rules.level)
                    .first->second)
    {}

    [[nodiscard]] kv7im::Risk RiskOf(std::int64_t quantity, double price) const
    {
        const double settlement = m_futures.RealCalcPrice;
        double usable = price;
        if (m_rules.noFutDiscount)
            usable = quantity < 1 ? kv7im::Min(settlement, price) : kv7im::Max(settlement, price);
        return ScaledRisk(m_futures.TransformToPosition(quantity, usable, m_rules.level), m_rules.shortChargeRatio);
    }

    [[nodiscard]] kv7im::Risk RiskOf_PositionsOnly(const PaperPosition& held) const
    {
        return ScaledRisk(m_futures.TransformToPosition_PositionsOnly(held.quantity, UsablePrice(held), held.price,
                                                                      m_rules.level, held.paperLoss),
                          m_rules.shortChargeRatio);
    }
    [[nodiscard]] double UsablePrice(const PaperPosition& held) const
    {
        const double settlement = m_futures.RealCalcPrice;
        double price = held.price;
        if (m_rules.noFutDiscount) {
            if (held.quantity > 0) return kv7im::Min(held.marketPrice, kv7im::Max(settlement, price));
            price = kv7im::Min(settlement, price);
        }
        return PaperPosition::FromMarketIfLost(held.quantity, price, held.marketPrice);
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

    double Carry(PlainSeries& series, bool inSpread, plain::Mode mode = plain::Mode::Whole)
    {
        if (inSpread)
            CarryToGroups(mode);
        else
            UpdateMargins(mode, series.node, m_contract);
        return m_groups->volatility;
    }

    void CarryToGroups(plain::Mode mode = plain::Mode::Whole)
    {
        if (!m_futures.IsInSpread) return UpdateMargins(mode, m_owner, m_contract);
        const bool inGroup = m_contract.HasMCS();
        if (inGroup) m_mcs.Subtract(m_mms);
        m_mms -= m_previous;
        m_previous = Contribution(mode);
        m_mms += m_previous;
        if (!inGroup) return UpdateMargins(mode, m_mms, m_contract);
        m_mcs.Add(m_mms, m_contract, Window(), mode);
        UpdateMargins(mode, m_mcs);
    }

    [[nodiscard]] plain::FuturesNode Contribution(plain::Mode mode) const
    {
        if (m_rules.calendar != Enums::SpreadMarginType::HalfNetting && !m_futures.EnforceIMSHalfNetting)
            return m_owner;
        return mode == plain::Mode::Whole ? m_owner.GetTransformedRisk() : m_owner.GetTransformedRisk_PositionsOnly();
    }

    [[nodiscard]] std::optional<std::size_t> Window() const
    {
        if (m_rules.interContract != Enums::SpreadMarginType::Netting) return std::nullopt;
        return static_cast<std::size_t>(m_contract.WindowSize);
    }

    template <class Node, class... Contract>
    void UpdateMargins(plain::Mode mode, Node& node, const Contract&... contract)
    {
        const bool whole = mode == plain::Mode::Whole;
        m_groups->volatility += whole ? node.UpdateInitialMarginValue(contract...)
                                      : node.UpdateInitialMarginValue_PositionsOnly(contract...);
        m_groups->delivery += whole ? node.UpdateInitialMarginDeliveryValue(contract...)
                                    : node.UpdateInitialMarginDeliveryValue_PositionsOnly(contract...);
    }

    const kv7im::CSpecFutures& m_futures;
    const kv7im::CSpecBaseContract& m_contract;
    plain::Rules m_rules;
    plain::FuturesNode m_owner;
    plain::FuturesNode m_previous; // what the group holds of this futures
    std::shared_ptr<PlainGroups> m_groups;
    plain::GroupNode& m_mms;
    plain::GroupsNode& m_mcs;
    std::map<std::string, std::unique_ptr<PlainSeries>> m_series;
    std::int64_t m_quantity = 0;
    double m_price = 0.0;
    PaperPosition m_paper;
};
