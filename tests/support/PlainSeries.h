// PlainSeries: the positions and orders of one option series, changed plainly by whole matrices: copy the profile,
// transform it, take the view of the series out of its futures, subtract and add, put the view in again.
#pragma once

#include <cstdint>
#include <map>

#include "PlainRiskNodes.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecOrderList.h"
#include "instruments/SpecVirtFutures.h"

/// The positions and the orders of one series.
class PlainSeries
{
public:
    PlainSeries(const kv7im::CSpecVirtFutures& series, const kv7im::Parameters& parameters,
                Enums::ClientRiskLevel riskLevel, double chargeRatio)
        : risk(parameters), m_series(series), m_level(riskLevel), m_chargeRatio(chargeRatio)
    {
        if (parameters.hasSubPoints())
            risk.GetRisk().ExpandSubPoints(parameters.subPointsCount, &series.GetBindingArray(riskLevel));
    }

    /// futures: null for a series that stands alone.
    void SetPosition(const kv7im::CSpecOption& option, std::int64_t quantity, double price, double netOptionValue,
                     plain::FuturesNode* futures)
    {
        State& state = m_states[&option];
        if (futures != nullptr) *futures -= View();
        risk -= RiskOf(option, state);
        if (quantity != 0)
            m_netOptionValue += netOptionValue - (state.quantity != 0 ? state.netOptionValue : 0.0);
        else if (state.quantity != 0)
            m_netOptionValue += -state.netOptionValue;
        state = {quantity, price, netOptionValue};
        risk += RiskOf(option, state);
        if (futures != nullptr) *futures += View();
    }

    /// Orders come in. futures: null for a series that stands alone.
    void AddOrders(const kv7im::CSpecOption& option, const OrdersMap& orders, plain::FuturesNode* futures)
    {
        if (futures != nullptr) *futures -= View();
        risk += plain::ScaledRisk(option.TransformToOrder(orders, m_level), m_chargeRatio);
        if (futures != nullptr) *futures += View();
    }

    /// Its cells, and with every row replaced by the worst delivery outcome.
    [[nodiscard]] plain::Sides Sides() const
    {
        plain::Sides sides(risk, m_netOptionValue);
        sides.delivery.MixinExpirationRiskOnVolatility();
        return sides;
    }
    /// What its futures takes: on real price points, and losses where the series enforces half netting.
    [[nodiscard]] plain::Sides View() const
    {
        plain::Sides view = Sides();
        view.volatility = view.volatility.OnRealPoints();
        view.delivery = view.delivery.OnRealPoints();
        if (m_series.EnforceHalfNetting) view.KeepLosses();
        return view;
    }
    /// The change of its margins where it stands alone.
    [[nodiscard]] plain::Margins UpdateMargins(const kv7im::CSpecBaseContract& contract)
    {
        return m_margins.Replace(plain::MarginsOf(Sides(), contract, m_level));
    }

    kv7im::Risk risk; // over the columns of the series

private:
    struct State
    {
        std::int64_t quantity = 0;
        double price = 0.0;
        double netOptionValue = 0.0;
    };

    [[nodiscard]] kv7im::Risk RiskOf(const kv7im::CSpecOption& option, const State& state) const
    {
        return plain::ScaledRisk(option.TransformToPosition(state.quantity, state.price, m_level), m_chargeRatio);
    }

    const kv7im::CSpecVirtFutures& m_series;
    Enums::ClientRiskLevel m_level;
    double m_chargeRatio;
    double m_netOptionValue = 0.0;
    std::map<const kv7im::CSpecOption*, State> m_states;
    plain::LastMargins m_margins;
};
