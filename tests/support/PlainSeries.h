// PlainSeries: the positions and orders of one option series, changed plainly by whole matrices: copy the profile,
// transform it, take the view of the series out of its futures, subtract and add, put the view in again.
#pragma once

#include <cstdint>
#include <map>

#include "PlainRiskNodes.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecOrderList.h"
#include "instruments/SpecVirtFutures.h"

/// A position's risk with both charges scaled.
inline kv7im::Risk ScaledRisk(kv7im::Risk risk, double chargeRatio)
{
    kv7im::SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    points.SetDownRisk(points.GetDownRisk() * chargeRatio);
    points.SetUpRisk(points.GetUpRisk() * chargeRatio);
    return risk;
}

/// A position in the mode of positions alone: its cost basis, its market price, and what it has lost until there.
struct PaperPosition
{
    /// What a position that has lost is valued from: the higher price of a short one.
    [[nodiscard]] static double FromMarketIfLost(std::int64_t quantity, double price, double marketPrice)
    {
        return quantity < 0 ? kv7im::Max(marketPrice, price) : kv7im::Min(marketPrice, price);
    }
    [[nodiscard]] double Lost(double moneyCoef) const
    {
        const auto size = static_cast<double>(quantity);
        if (quantity < 0) return -size * kv7im::Max(0.0, marketPrice - price) * moneyCoef;
        return size * kv7im::Max(0.0, price - marketPrice) * moneyCoef;
    }
    /// What it adds to a sum over positions: a flat one adds nothing.
    [[nodiscard]] double ShareOf(double figure) const { return quantity != 0 ? figure : 0.0; }

    std::int64_t quantity = 0;
    double price = 0.0;
    double marketPrice = 0.0;
    double paperLoss = 0.0; // money
    double netOptionValue = 0.0;
};

/// The positions and the orders of one series.
class PlainSeries
{
public:
    PlainSeries(const kv7im::CSpecVirtFutures& series, const kv7im::Parameters& parameters,
                Enums::ClientRiskLevel riskLevel, double chargeRatio)
        : node(parameters.hasSubPoints()
                   ? plain::SeriesNode(parameters, series.GetBindingArray(riskLevel), 1.0, riskLevel)
                   : plain::SeriesNode(parameters, 1.0, riskLevel)),
          m_series(series),
          m_level(riskLevel),
          m_chargeRatio(chargeRatio)
    {}

    /// futures: null for a series that stands alone.
    void SetPosition(const kv7im::CSpecOption& option, std::int64_t quantity, double price, double netOptionValue,
                     plain::FuturesNode* futures)
    {
        State& state = m_states[&option];
        if (futures != nullptr) *futures -= View();
        node -= RiskOf(option, state);
        if (quantity != 0)
            node.AddNOVi(netOptionValue - (state.quantity != 0 ? state.netOptionValue : 0.0));
        else if (state.quantity != 0)
            node.AddNOVi(-state.netOptionValue);
        state = {quantity, price, netOptionValue};
        node += RiskOf(option, state);
        if (futures != nullptr) *futures += View();
    }

    /// A position in the mode of positions alone. futures: null for a series that stands alone.
    void SetPosition_PositionsOnly(const kv7im::CSpecOption& option, std::int64_t quantity, double price,
                                   double marketPrice, std::int64_t novQuantity, plain::FuturesNode* futures)
    {
        PaperPosition& held = m_papers[&option];
        PaperPosition next{quantity, price, marketPrice};
        next.netOptionValue = OptionValueOf(option, next, held.paperLoss > 0.0, novQuantity);
        next.paperLoss = next.Lost(m_series.MoneyCoef);
        if (futures != nullptr) *futures -= View_PositionsOnly();
        node -= RiskOf_PositionsOnly(option, held);
        node.AddNOVi(next.ShareOf(next.netOptionValue) - held.ShareOf(held.netOptionValue));
        node.AddCumulativePerformance(next.ShareOf(next.paperLoss) - held.ShareOf(held.paperLoss));
        node += RiskOf_PositionsOnly(option, next);
        held = next;
        if (futures != nullptr) *futures += View_PositionsOnly();
    }

    /// Orders come in. futures: null for a series that stands alone.
    void AddOrders(const kv7im::CSpecOption& option, const OrdersMap& orders, plain::FuturesNode* futures)
    {
        if (futures != nullptr) *futures -= View();
        node += ScaledRisk(option.TransformToOrder(orders, m_level), m_chargeRatio);
        if (futures != nullptr) *futures += View();
    }

    plain::SeriesNode node;

private:
    struct State
    {
        std::int64_t quantity = 0;
        double price = 0.0;
        double netOptionValue = 0.0;
    };

    [[nodiscard]] plain::SeriesNode View() const
    {
        return m_series.EnforceHalfNetting ? node.GetTransformedRisk() : node;
    }
    [[nodiscard]] kv7im::Risk RiskOf(const kv7im::CSpecOption& option, const State& state) const
    {
        return ScaledRisk(option.TransformToPosition(state.quantity, state.price, m_level), m_chargeRatio);
    }

    [[nodiscard]] plain::SeriesNode View_PositionsOnly() const
    {
        return m_series.EnforceHalfNetting ? node.GetTransformedRisk_PositionsOnly() : node;
    }
    [[nodiscard]] kv7im::Risk RiskOf_PositionsOnly(const kv7im::CSpecOption& option, const PaperPosition& held) const
    {
        const double usable = PaperPosition::FromMarketIfLost(held.quantity, held.price, held.marketPrice);
        return ScaledRisk(
            option.TransformToPosition_PositionsOnly(held.quantity, usable, held.price, m_level, held.paperLoss),
            m_chargeRatio);
    }
    // Of a position that had lost before this change at the worse of the market and the settlement price.
    [[nodiscard]] double OptionValueOf(const kv7im::CSpecOption& option, const PaperPosition& held, bool hadLost,
                                       std::int64_t novQuantity) const
    {
        if (m_series.marginStyle != Enums::MarginStyle::Equity) return 0.0;
        double price = option.CalcOptPrice;
        if (hadLost)
            price = held.quantity < 0 ? kv7im::Min(held.marketPrice, price) : kv7im::Max(held.marketPrice, price);
        return static_cast<double>(novQuantity) * price * m_series.MoneyCoef;
    }

    const kv7im::CSpecVirtFutures& m_series;
    Enums::ClientRiskLevel m_level;
    double m_chargeRatio;
    std::map<const kv7im::CSpecOption*, State> m_states;
    std::map<const kv7im::CSpecOption*, PaperPosition> m_papers;
};
