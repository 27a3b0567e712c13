// PlainRiskNodes: the nodes along which the risks of a participant net, worked by whole matrices, one operation after
// the other, as the formulas stand. They know grids and instruments and nothing of the engine's nodes: a change done
// here is what the engine's one pass is judged by, to the bit, and what its speed is measured against.
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>

#include "Enums.h"
#include "PlainMargin.h"
#include "grids/Risk.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"
#include "grids/WindowMinimum.h"
#include "instruments/SpecBaseContract.h"

namespace plain {

/// A position's risk with both charges scaled.
inline kv7im::Risk ScaledRisk(kv7im::Risk risk, double chargeRatio)
{
    risk.GetSpecialRiskPoints().ScaleCharges(chargeRatio);
    return risk;
}

/// What a node holds: results as they stand, results with the outcomes of deliveries mixed in, and the net option
/// value.
struct Sides
{
    explicit Sides(const kv7im::Risk& risk, double value = 0.0)
        : volatility(risk), delivery(risk), netOptionValue(value)
    {}

    void KeepLosses()
    {
        volatility.TransformMatrixByHalfNetting();
        delivery.TransformMatrixByHalfNetting();
    }

    kv7im::Risk volatility;
    kv7im::Risk delivery;
    double netOptionValue;
};

/// The worst result of each price point, and the worse of that and of the outcomes of deliveries.
struct CollapsedRows
{
    explicit CollapsedRows(const Sides& sides)
        : volatility(sides.volatility.CollapseToRiskRow(Whole)), delivery(sides.delivery.CollapseToRiskRow(Whole))
    {
        for (std::size_t block = 0; block < delivery.GetRegisterCount(); ++block)
            delivery.pData()[block] = kv7im::Min(volatility.pData()[block], delivery.pData()[block]);
    }

    static constexpr auto Whole = kv7im::Risk::CollapseProperty::NegativeAndPositive;
    kv7im::RiskRow volatility;
    kv7im::RiskRow delivery;
};

/// A row and the stress points that go with it, corrected for concentration and bent by the curvature of a currency.
struct CorrectedRow
{
    CorrectedRow(kv7im::RiskRow collapsed, const kv7im::SpecialRiskPoints& uncorrected, double netOptionValue,
                 const kv7im::CSpecBaseContract& contract, Enums::ClientRiskLevel level)
        : row(std::move(collapsed)), points(uncorrected.GetCorrectedSpecialRiskPoints(row, contract, level))
    {
        const double radius = contract.CalculateRiskCoefficient();
        points.ApplyCurvature(netOptionValue, radius);
        if (!(radius > 0.0)) return;
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = kv7im::Curved(row[i], netOptionValue, radius);
    }

    kv7im::RiskRow row;
    kv7im::SpecialRiskPoints points;
};

/// The last margins of a node.
class LastMargins
{
public:
    /// Returns what they change by.
    Margins Replace(const Margins& now)
    {
        const Margins last = std::exchange(m_last, now);
        return {now.volatility - last.volatility, now.delivery - last.delivery};
    }

private:
    Margins m_last;
};

/// Margins of a node of matrices.
inline Margins MarginsOf(const Sides& sides, const kv7im::CSpecBaseContract& contract, Enums::ClientRiskLevel level)
{
    const CollapsedRows rows(sides);
    const auto margin = [&](const kv7im::RiskRow& row, const kv7im::Risk& side) {
        const CorrectedRow corrected(row, side.GetSpecialRiskPoints(), sides.netOptionValue, contract, level);
        return std::abs(kv7im::Min(kv7im::Min(0.0, corrected.row.min()), corrected.points.min()));
    };
    return {margin(rows.volatility, sides.volatility), margin(rows.delivery, sides.delivery)};
}

/// One futures, and its series in spread.
class FuturesNode : public Sides
{
public:
    /// parameters: dimensions of the futures' profile.
    FuturesNode(const kv7im::Parameters& parameters, bool collateral)
        : Sides(kv7im::Risk(parameters)), m_collateral(collateral)
    {}

    /// Adds a position or orders, to either side.
    FuturesNode& operator+=(const kv7im::Risk& risk)
    {
        Add(volatility, risk);
        Add(delivery, risk);
        return *this;
    }
    FuturesNode& operator-=(const kv7im::Risk& risk)
    {
        Subtract(volatility, risk);
        Subtract(delivery, risk);
        return *this;
    }
    /// Adds what a series shows.
    FuturesNode& operator+=(const Sides& other)
    {
        Add(volatility, other.volatility);
        Add(delivery, other.delivery);
        netOptionValue += other.netOptionValue;
        return *this;
    }
    FuturesNode& operator-=(const Sides& other)
    {
        Subtract(volatility, other.volatility);
        Subtract(delivery, other.delivery);
        netOptionValue -= other.netOptionValue;
        return *this;
    }

private:
    void Add(kv7im::Risk& side, const kv7im::Risk& other) const
    {
        kv7im::Profile& into = side.GetRisk();
        const kv7im::Profile& from = other.GetRisk();
        into.Volatility() += from.Volatility();
        if (m_collateral) // of the rate stress only losses count
            into.InterestRate().NegativeSum(from.InterestRate());
        else
            into.InterestRate() += from.InterestRate();
        into.VolatilityMismatch().NegativeSum(from.VolatilityMismatch());
        into.GetSpecialRiskPoints() += from.GetSpecialRiskPoints();
    }
    void Subtract(kv7im::Risk& side, const kv7im::Risk& other) const
    {
        kv7im::Profile& outOf = side.GetRisk();
        const kv7im::Profile& from = other.GetRisk();
        outOf.Volatility() -= from.Volatility();
        if (m_collateral)
            outOf.InterestRate().SubtractionNegative(from.InterestRate());
        else
            outOf.InterestRate() -= from.InterestRate();
        outOf.VolatilityMismatch().SubtractionNegative(from.VolatilityMismatch());
        outOf.GetSpecialRiskPoints() -= from.GetSpecialRiskPoints();
    }

    bool m_collateral;
};

/// The group of one base contract: signed values net, stresses add by their losses.
class ContractNode : public Sides
{
public:
    explicit ContractNode(const kv7im::CSpecBaseContract& contract)
        : Sides(kv7im::Risk(kv7im::Parameters(static_cast<std::size_t>(contract.PointsNum),
                                              static_cast<std::size_t>(contract.VolatNum))))
    {}

    ContractNode& operator+=(const Sides& futures)
    {
        Add(volatility.GetRisk(), futures.volatility.GetRisk());
        Add(delivery.GetRisk(), futures.delivery.GetRisk());
        netOptionValue += futures.netOptionValue;
        return *this;
    }
    ContractNode& operator-=(const Sides& futures)
    {
        Subtract(volatility.GetRisk(), futures.volatility.GetRisk());
        Subtract(delivery.GetRisk(), futures.delivery.GetRisk());
        netOptionValue -= futures.netOptionValue;
        return *this;
    }

private:
    static void Add(kv7im::Profile& into, const kv7im::Profile& from)
    {
        into.Volatility() += from.Volatility();
        into.InterestRate().NegativeSum(from.InterestRate());
        into.VolatilityMismatch().NegativeSum(from.VolatilityMismatch());
        into.GetSpecialRiskPoints() += from.GetSpecialRiskPoints();
    }
    static void Subtract(kv7im::Profile& outOf, const kv7im::Profile& from)
    {
        outOf.Volatility() -= from.Volatility();
        outOf.InterestRate().SubtractionNegative(from.InterestRate());
        outOf.VolatilityMismatch().SubtractionNegative(from.VolatilityMismatch());
        outOf.GetSpecialRiskPoints() -= from.GetSpecialRiskPoints();
    }
};

/// What one base contract gives to the group that it nets in.
struct Contribution
{
    /// window: price points within which groups net; null: losses only.
    Contribution(const ContractNode& node, const kv7im::CSpecBaseContract& contract, Enums::ClientRiskLevel level,
                 const std::size_t* window)
        : Contribution(CollapsedRows(node), node, contract, level, window)
    {}

    CorrectedRow volatility;
    CorrectedRow delivery; // its points come from the volatility side too

private:
    Contribution(CollapsedRows rows, const ContractNode& node, const kv7im::CSpecBaseContract& contract,
                 Enums::ClientRiskLevel level, const std::size_t* window)
        : volatility(std::move(rows.volatility), node.volatility.GetSpecialRiskPoints(), node.netOptionValue, contract,
                     level),
          delivery(std::move(rows.delivery), node.volatility.GetSpecialRiskPoints(), node.netOptionValue, contract,
                   level)
    {
        for (CorrectedRow* const side : {&volatility, &delivery}) {
            if (window != nullptr) {
                kv7im::WindowMinimum(side->row.size()).Apply(side->row, *window);
                FoldPointsIntoRow(*side);
            } else {
                side->row.BoundValuesFromAbove(0.0);
                side->points.BoundValuesFromAbove(0.0);
            }
        }
    }

    // The pairs below and above the market count at the row's ends, the tails take their charges.
    static void FoldPointsIntoRow(CorrectedRow& side)
    {
        using kv7im::Min;
        const kv7im::SpecialRiskPoints points = std::exchange(side.points, kv7im::SpecialRiskPoints{});
        double& first = side.row[0];
        first = Min(Min(points.GetPnL2D(), points.GetPnL3D()), first);
        double& last = side.row[side.row.size() - 1];
        last = Min(Min(points.GetPnL2U(), points.GetPnL3U()), last);
        side.points.SetZL(Min(Min(points.GetZL(), points.GetDownRisk()), 0.0));
        side.points.SetZR(Min(Min(points.GetZR(), points.GetUpRisk()), 0.0));
    }
};

/// The group across base contracts.
class GroupNode
{
public:
    explicit GroupNode(std::size_t pointsNum) : m_volatility(pointsNum), m_delivery(pointsNum) {}

    GroupNode& operator+=(const Contribution& contract)
    {
        m_volatility += contract.volatility.row;
        m_points += contract.volatility.points;
        m_delivery += contract.delivery.row;
        return *this;
    }
    GroupNode& operator-=(const Contribution& contract)
    {
        m_volatility -= contract.volatility.row;
        m_points -= contract.volatility.points;
        m_delivery -= contract.delivery.row;
        return *this;
    }
    /// The stress points of the volatility side count in either margin.
    [[nodiscard]] Margins GetMargins() const
    {
        return {std::abs(kv7im::Min(m_volatility.min(), m_points.min())),
                std::abs(kv7im::Min(m_delivery.min(), m_points.min()))};
    }

private:
    kv7im::RiskRow m_volatility;
    kv7im::RiskRow m_delivery;
    kv7im::SpecialRiskPoints m_points;
};

} // namespace plain
