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

    const kv7im::CSpecVirtFutures& m_series;
    Enums::ClientRiskLevel m_level;
    double m_chargeRatio;
    std::map<const kv7im::CSpecOption*, State> m_states;
};
