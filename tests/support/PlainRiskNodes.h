// PlainRiskNodes: the risk nodes done plainly, by whole matrices. What comes in is added, what goes out is subtracted,
// and a row is collapsed from the cells each time that it is asked for: nothing is kept ready.
//
//   plain::SeriesNode    one option series
//   plain::FuturesNode   one futures, series in spread
//   plain::GroupNode     the futures of one base contract (MMS)
//   plain::GroupsNode    the base contracts of one group (MCS)
//
// They are the judge of the engine's nodes, bit by bit, so the order of additions and of the operands of a minimum is
// that of the margin's rules here as well.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "Enums.h"
#include "grids/Risk.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecBaseContract.h"

namespace plain {

/// What a margin counts: all that is held and ordered, or positions by their cost basis with the paper loss apart.
enum class Mode
{
    Whole,
    PositionsOnly,
};

/// How the results of a contract priced through a currency are bent. A radius of 0 or less changes nothing.
struct Bend
{
    [[nodiscard]] double operator()(double result) const
    {
        return mode == Mode::Whole ? kv7im::Curved(result, optionValue, radius)
                                   : kv7im::Curved_PositionsOnly(result, optionValue, radius, paperLoss);
    }
    void Apply(kv7im::SpecialRiskPoints& points) const
    {
        if (!(radius > 0.0)) return;
        for (std::size_t i = 0; i < kv7im::SpecialRiskPoints::size(); ++i)
            points.pData()[i] = (*this)(points.pData()[i]);
    }
    void Apply(kv7im::RiskRow& row) const
    {
        if (!(radius > 0.0)) return;
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = (*this)(row[i]);
    }
    /// The smallest price point of a row once it is bent; NaN is passed over.
    [[nodiscard]] double WorstOf(const kv7im::RiskRow& row) const
    {
        if (!(radius > 0.0)) return row.min();
        double worst = kv7im::LargestFinite;
        for (std::size_t i = 0; i < row.size(); ++i)
            worst = kv7im::Min((*this)(row[i]), worst);
        return worst;
    }

    Mode mode;
    double optionValue;
    double radius;
    double paperLoss;
};

/// Two sides, the figures that are summed with them, and the two margins read from them.
class RiskNode
{
public:
    virtual ~RiskNode() = default;

    [[nodiscard]] const kv7im::Risk& Volatility() const { return m_volatility; }
    [[nodiscard]] virtual kv7im::Risk Expiration() const { return m_expiration; }
    [[nodiscard]] double GetNOVj() const { return m_optionValue; }
    [[nodiscard]] double GetTotalCumulativePerformance() const { return m_paperLoss; }
    [[nodiscard]] double GetInitialMarginValue() const { return m_margin; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const { return m_deliveryMargin; }
    [[nodiscard]] double GetBrokerBaseContractGORatio() const { return m_ratio; }

    void AddNOVi(double value) { m_optionValue += value; }
    void AddCumulativePerformance(double value) { m_paperLoss += value; }

    /// The volatility side collapsed; the property tells whether gains are kept.
    [[nodiscard]] kv7im::RiskRow
    VolatilityRow(kv7im::Risk::CollapseProperty property = kv7im::Risk::CollapseProperty::NegativeAndPositive) const
    {
        return m_volatility.CollapseToRiskRow(property);
    }
    /// At each price point the worse of both sides.
    [[nodiscard]] kv7im::RiskRow
    DeliveryRow(kv7im::Risk::CollapseProperty property = kv7im::Risk::CollapseProperty::NegativeAndPositive) const
    {
        return kv7im::min(VolatilityRow(property), Expiration().CollapseToRiskRow(property));
    }

    /// Each stores a margin and returns its change.
    double UpdateInitialMarginValue(const kv7im::CSpecBaseContract& contract)
    {
        return Store(m_margin, Compose(m_volatility, VolatilityRow(), contract, Mode::Whole));
    }
    double UpdateInitialMarginDeliveryValue(const kv7im::CSpecBaseContract& contract)
    {
        return Store(m_deliveryMargin, Compose(Expiration(), DeliveryRow(), contract, Mode::Whole));
    }
    double UpdateInitialMarginValue_PositionsOnly(const kv7im::CSpecBaseContract& contract)
    {
        return Store(m_margin, Compose(m_volatility, VolatilityRow(Losses), contract, Mode::PositionsOnly));
    }
    double UpdateInitialMarginDeliveryValue_PositionsOnly(const kv7im::CSpecBaseContract& contract)
    {
        return Store(m_deliveryMargin, Compose(Expiration(), DeliveryRow(Losses), contract, Mode::PositionsOnly));
    }

    /// The absolute value of the worst of 0, the row and the corrected stress points, times the ratio.
    [[nodiscard]] double Compose(const kv7im::Risk& risk, const kv7im::RiskRow& row,
                                 const kv7im::CSpecBaseContract& contract, Mode mode) const
    {
        const Bend bend = BendOf(contract, mode);
        kv7im::SpecialRiskPoints points =
            risk.GetSpecialRiskPoints().GetCorrectedSpecialRiskPoints(row, contract, m_level);
        bend.Apply(points);
        return std::abs(kv7im::Min(kv7im::Min(0.0, bend.WorstOf(row)), points.min())) * m_ratio;
    }
    [[nodiscard]] Bend BendOf(const kv7im::CSpecBaseContract& contract, Mode mode) const
    {
        return {mode, m_optionValue, contract.CalculateRiskCoefficient(), m_paperLoss};
    }

protected:
    static constexpr auto Losses = kv7im::Risk::CollapseProperty::CumulativePerformance;

    RiskNode(const kv7im::Parameters& parameters, double ratio, Enums::ClientRiskLevel level)
        : m_volatility(parameters), m_expiration(parameters), m_ratio(ratio), m_level(level)
    {}
    RiskNode(const RiskNode&) = default;
    RiskNode& operator=(const RiskNode&) = default;

    static double Store(double& margin, double value)
    {
        const double change = value - margin;
        margin = value;
        return change;
    }
    void AddFiguresOf(const RiskNode& other)
    {
        m_optionValue += other.m_optionValue;
        m_paperLoss += other.m_paperLoss;
    }
    void SubtractFiguresOf(const RiskNode& other)
    {
        m_optionValue -= other.m_optionValue;
        m_paperLoss -= other.m_paperLoss;
    }

    kv7im::Risk m_volatility;
    kv7im::Risk m_expiration;
    double m_optionValue = 0.0;
    double m_paperLoss = 0.0;
    double m_margin = 0.0;
    double m_deliveryMargin = 0.0;
    double m_ratio;
    Enums::ClientRiskLevel m_level;
};

/// One series over its own columns. The delivery side is made of the delivery rows.
class SeriesNode : public RiskNode
{
public:
    SeriesNode(const kv7im::Parameters& parameters, double ratio, Enums::ClientRiskLevel level)
        : RiskNode(parameters, ratio, level)
    {}
    SeriesNode(const kv7im::Parameters& parameters, const kv7im::BindsRow& binding, double ratio,
               Enums::ClientRiskLevel level)
        : SeriesNode(parameters, ratio, level)
    {
        m_volatility.GetRisk().ExpandSubPoints(parameters.subPointsCount, &binding);
    }

    [[nodiscard]] kv7im::Risk Expiration() const override
    {
        if (m_holdsLosses) return m_expiration;
        kv7im::Risk mixed = m_volatility;
        mixed.MixinExpirationRiskOnVolatility();
        return mixed;
    }

    SeriesNode& operator+=(const kv7im::Risk& risk)
    {
        m_volatility += risk;
        return *this;
    }
    SeriesNode& operator-=(const kv7im::Risk& risk)
    {
        m_volatility -= risk;
        return *this;
    }

    /// What a futures takes of a series that counts by its losses: folded onto real price points, the stresses in the
    /// cells, nothing above 0.
    [[nodiscard]] SeriesNode GetTransformedRisk() const { return Below(0.0); }
    /// The paper loss is the ceiling instead of 0.
    [[nodiscard]] SeriesNode GetTransformedRisk_PositionsOnly() const { return Below(m_paperLoss); }

private:
    [[nodiscard]] SeriesNode Below(double ceiling) const
    {
        SeriesNode losses = *this;
        losses.m_holdsLosses = true;
        losses.m_volatility = m_volatility.OnRealPoints();
        losses.m_expiration = Expiration().OnRealPoints();
        losses.m_volatility.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
        losses.m_expiration.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
        losses.m_margin = losses.m_deliveryMargin = 0.0;
        return losses;
    }

    bool m_holdsLosses = false; // both sides are as they stand
};

/// Adds a risk to one side of a node on real price points. Of the mismatch stress losses only are taken; so they are of
/// the rate stress where `lossesOfRates`.
inline void AddToSide(kv7im::Risk& side, const kv7im::Risk& risk, bool lossesOfRates)
{
    const kv7im::Risk folded = risk.OnRealPoints();
    kv7im::Profile& into = side.GetRisk();
    const kv7im::Profile& from = folded.GetRisk();
    into.Volatility() += from.Volatility();
    if (lossesOfRates)
        into.InterestRate().NegativeSum(from.InterestRate());
    else
        into.InterestRate() += from.InterestRate();
    into.VolatilityMismatch().NegativeSum(from.VolatilityMismatch());
    into.GetSpecialRiskPoints() += from.GetSpecialRiskPoints();
}
/// Takes out what AddToSide brought in.
inline void SubtractFromSide(kv7im::Risk& side, const kv7im::Risk& risk, bool lossesOfRates)
{
    const kv7im::Risk folded = risk.OnRealPoints();
    kv7im::Profile& outOf = side.GetRisk();
    const kv7im::Profile& from = folded.GetRisk();
    outOf.Volatility() -= from.Volatility();
    if (lossesOfRates)
        outOf.InterestRate().SubtractionNegative(from.InterestRate());
    else
        outOf.InterestRate() -= from.InterestRate();
    outOf.VolatilityMismatch().SubtractionNegative(from.VolatilityMismatch());
    outOf.GetSpecialRiskPoints() -= from.GetSpecialRiskPoints();
}

/// One futures and its series in spread, on real price points.
class FuturesNode : public RiskNode
{
public:
    FuturesNode(const kv7im::Parameters& parameters, double ratio, Enums::ClientRiskLevel level, bool collateral)
        : RiskNode(parameters, ratio, level), m_collateral(collateral)
    {}

    FuturesNode& operator+=(const kv7im::Risk& risk)
    {
        AddToSide(m_volatility, risk, m_collateral);
        AddToSide(m_expiration, risk, m_collateral);
        return *this;
    }
    FuturesNode& operator-=(const kv7im::Risk& risk)
    {
        SubtractFromSide(m_volatility, risk, m_collateral);
        SubtractFromSide(m_expiration, risk, m_collateral);
        return *this;
    }
    /// Side by side: a series, or another futures.
    FuturesNode& operator+=(const RiskNode& other)
    {
        AddToSide(m_volatility, other.Volatility(), m_collateral);
        AddToSide(m_expiration, other.Expiration(), m_collateral);
        AddFiguresOf(other);
        return *this;
    }
    FuturesNode& operator-=(const RiskNode& other)
    {
        SubtractFromSide(m_volatility, other.Volatility(), m_collateral);
        SubtractFromSide(m_expiration, other.Expiration(), m_collateral);
        SubtractFiguresOf(other);
        return *this;
    }

    /// What a group takes of a futures that counts by its losses.
    [[nodiscard]] FuturesNode GetTransformedRisk() const { return Below(0.0); }
    /// The paper loss is the ceiling instead of 0.
    [[nodiscard]] FuturesNode GetTransformedRisk_PositionsOnly() const { return Below(m_paperLoss); }

private:
    [[nodiscard]] FuturesNode Below(double ceiling) const
    {
        FuturesNode losses = *this;
        losses.m_volatility.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
        losses.m_expiration.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
        return losses;
    }

    bool m_collateral; // of the rate stress losses only
};

/// The futures of one base contract: signed cells net, both stresses add by their losses.
class GroupNode : public RiskNode
{
public:
    GroupNode(const kv7im::CSpecBaseContract& contract, double ratio, Enums::ClientRiskLevel level)
        : RiskNode(kv7im::Parameters{static_cast<std::size_t>(contract.PointsNum),
                                     static_cast<std::size_t>(contract.VolatNum)},
                   ratio, level)
    {}

    GroupNode& operator+=(const FuturesNode& futures)
    {
        AddToSide(m_volatility, futures.Volatility(), true);
        AddToSide(m_expiration, futures.Expiration(), true);
        AddFiguresOf(futures);
        return *this;
    }
    GroupNode& operator-=(const FuturesNode& futures)
    {
        SubtractFromSide(m_volatility, futures.Volatility(), true);
        SubtractFromSide(m_expiration, futures.Expiration(), true);
        SubtractFiguresOf(futures);
        return *this;
    }
};

/// The smallest value within `window` price points of each, looked for point by point.
inline kv7im::RiskRow WindowMinimum(const kv7im::RiskRow& row, std::size_t window)
{
    if (window == 0) return row;
    kv7im::RiskRow smallest = row;
    for (std::size_t i = 0; i < row.size(); ++i) {
        double least = std::numeric_limits<double>::max();
        for (std::size_t k = i - std::min(i, window); k < row.size() && k <= i + window; ++k)
            least = kv7im::Min(row[k], least); // a NaN never wins
        smallest[i] = least;
    }
    return smallest;
}

/// The base contracts of one group: rows and stress points. What each contract gave last is remembered, so that just
/// that is taken out.
class GroupsNode
{
public:
    /// One side of the node, or of what a contract gave.
    struct Side
    {
        kv7im::RiskRow row;
        kv7im::SpecialRiskPoints points = {};
    };

    GroupsNode(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel level)
        : m_volatility{kv7im::RiskRow(pointsNum)},
          m_expiration{kv7im::RiskRow(pointsNum)},
          m_ratio(ratio),
          m_level(level)
    {}

    /// window: price points nearby that count as well; without one only losses are taken.
    void Add(const GroupNode& group, const kv7im::CSpecBaseContract& contract, std::optional<std::size_t> window,
             Mode mode = Mode::Whole)
    {
        const auto property = mode == Mode::Whole ? kv7im::Risk::CollapseProperty::NegativeAndPositive
                                                  : kv7im::Risk::CollapseProperty::CumulativePerformance;
        const Bend bend = group.BendOf(contract, mode);
        const double ceiling = mode == Mode::Whole ? 0.0 : (bend.radius + 1.0) * bend.paperLoss;
        const auto sideOf = [&](kv7im::RiskRow row) {
            // The points of the delivery row come from the volatility side too.
            kv7im::SpecialRiskPoints points =
                group.Volatility().GetSpecialRiskPoints().GetCorrectedSpecialRiskPoints(row, contract, m_level);
            bend.Apply(row);
            bend.Apply(points);
            if (window.has_value()) {
                row = WindowMinimum(row, *window);
                FoldIntoRow(row, points, ceiling);
            } else {
                row.BoundValuesFromAbove(ceiling);
                points.BoundValuesFromAbove(ceiling);
            }
            return Side{row, points};
        };
        const Given given{sideOf(group.VolatilityRow(property)), sideOf(group.DeliveryRow(property))};
        m_given.insert_or_assign(&group, given);
        for (const auto& [sum, side] :
             {std::pair{&m_volatility, &given.volatility}, {&m_expiration, &given.expiration}}) {
            sum->row += side->row;
            sum->points += side->points;
        }
    }
    /// Takes out what was added last for this contract; nothing where nothing was.
    void Subtract(const GroupNode& group)
    {
        const auto found = m_given.find(&group);
        if (found == m_given.end()) return;
        const Given& given = found->second;
        for (const auto& [sum, side] :
             {std::pair{&m_volatility, &given.volatility}, {&m_expiration, &given.expiration}}) {
            sum->row -= side->row;
            sum->points -= side->points;
        }
    }

    /// Each stores a margin and returns its change. The delivery margin looks at the stress points of the volatility
    /// side; that pair is meant.
    double UpdateInitialMarginValue() { return Store(m_margin, MarginOf(m_volatility.row.min())); }
    double UpdateInitialMarginDeliveryValue() { return Store(m_deliveryMargin, MarginOf(m_expiration.row.min())); }
    double UpdateInitialMarginValue_PositionsOnly()
    {
        return Store(m_margin, MarginOf(kv7im::Min(0.0, m_volatility.row.min())));
    }
    double UpdateInitialMarginDeliveryValue_PositionsOnly() { return UpdateInitialMarginDeliveryValue(); }

    [[nodiscard]] const kv7im::RiskRow& VolatilityRow() const { return m_volatility.row; }
    [[nodiscard]] const kv7im::RiskRow& ExpirationRow() const { return m_expiration.row; }
    [[nodiscard]] const kv7im::SpecialRiskPoints& VolatilityPoints() const { return m_volatility.points; }
    [[nodiscard]] const kv7im::SpecialRiskPoints& ExpirationPoints() const { return m_expiration.points; }
    [[nodiscard]] double GetInitialMarginValue() const { return m_margin; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const { return m_deliveryMargin; }

private:
    struct Given
    {
        Side volatility;
        Side expiration;
    };

    // The pairs below and above the market count at the row's ends; the tails take their charges and stay up to the
    // ceiling; no other point stays.
    static void FoldIntoRow(kv7im::RiskRow& row, kv7im::SpecialRiskPoints& points, double ceiling)
    {
        using kv7im::Min;
        if (row.size() != 0) {
            const std::size_t last = row.size() - 1;
            row[0] = Min(Min(points.GetPnL2D(), points.GetPnL3D()), row[0]);
            row[last] = Min(Min(points.GetPnL2U(), points.GetPnL3U()), row[last]);
        }
        kv7im::SpecialRiskPoints tails;
        tails.SetZL(Min(Min(points.GetZL(), points.GetDownRisk()), ceiling));
        tails.SetZR(Min(Min(points.GetZR(), points.GetUpRisk()), ceiling));
        points = tails;
    }
    [[nodiscard]] double MarginOf(double worstCell) const
    {
        return std::abs(kv7im::Min(worstCell, m_volatility.points.min())) * m_ratio;
    }
    static double Store(double& margin, double value)
    {
        const double change = value - margin;
        margin = value;
        return change;
    }

    Side m_volatility;
    Side m_expiration;
    std::map<const GroupNode*, Given> m_given;
    double m_margin = 0.0;
    double m_deliveryMargin = 0.0;
    double m_ratio;
    Enums::ClientRiskLevel m_level;
};

} // namespace plain
