// RiskNodeBase: what every node of the tree has: two margins, the collapsed rows that they are read from, its sums.
#pragma once

#include <cstddef>

#include "Enums.h"
#include "grids/Risk.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

class CSpecBaseContract;
class RolledUpRiskNode;

/// How positions are valued. In the mode of positions alone a price point with a profit counts as 0, half netting cuts
/// at the paper loss instead of at 0, and the curvature gives back what the paper loss covers.
enum class MarginMode
{
    Plain,
    PositionsOnly,
};

/// Changes of the two margins of a node, money.
struct MarginChanges
{
    double volatility;
    double delivery;
};

class RiskNodeBase
{
public:
    /// ratio multiplies the margin; riskLevel selects the market-risk rates of the stress points; pointsNum is the
    /// length of the collapsed rows, which are allocated here so that a margin calculation needs no memory.
    RiskNodeBase(double ratio, Enums::ClientRiskLevel riskLevel, std::size_t pointsNum)
        : brokerBaseContractGORatio(ratio), level(riskLevel), rows{RiskRow(pointsNum)}
    {}
    virtual ~RiskNodeBase() = default;

    /// Recomputes and stores both margins, and returns their changes.
    MarginChanges UpdateMargins(const CSpecBaseContract& baseContract, MarginMode mode);
    /// Recomputes the volatility margin, stores it and returns its change.
    double UpdateInitialMarginValue(const CSpecBaseContract& baseContract);
    /// Recomputes the delivery margin, stores it and returns its change.
    double UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract);
    /// Recomputes the volatility margin in the mode of positions alone, stores it and returns its change.
    double UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract);
    /// Recomputes the delivery margin in the mode of positions alone, stores it and returns its change.
    double UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract);

    /// A copy of the results over the price grid, for reading; the base answers with a Risk of no columns.
    [[nodiscard]] virtual Risk Volatility() const;
    /// A copy of the results with the outcomes of deliveries mixed in.
    [[nodiscard]] virtual Risk Expiration() const;

    [[nodiscard]] double GetInitialMarginValue() const noexcept { return initialMarginValue; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const noexcept { return initialMarginDeliveryValue; }
    [[nodiscard]] double GetNOVj() const noexcept { return NOVj; }
    [[nodiscard]] double GetTotalCumulativePerformance() const noexcept { return m_totalCumulativePerformance; }
    [[nodiscard]] double GetBrokerBaseContractGORatio() const noexcept { return brokerBaseContractGORatio; }
    [[nodiscard]] Enums::ClientRiskLevel GetLevel() const noexcept { return level; }

    /// What a node sums beside its cells, money.
    struct Figures
    {
        double netOptionValue;
        double paperLoss;
    };
    [[nodiscard]] Figures GetFigures() const noexcept { return {NOVj, m_totalCumulativePerformance}; }
    void SetFigures(const Figures& figures) noexcept
    {
        NOVj = figures.netOptionValue;
        m_totalCumulativePerformance = figures.paperLoss;
    }

    void ZeroMarginValue() noexcept; ///< Volatility and delivery margin to 0; the risks stay.
    void AddNOVi(double value) noexcept { NOVj += value; }
    void AddCumulativePerformance(double value) noexcept { m_totalCumulativePerformance += value; }

    /// A detached copy collapsed to rows; margins 0. The delivery row is the worse of both rows at each point. A net
    /// profit counts as 0 unless `property` is NegativeAndPositive.
    [[nodiscard]] RolledUpRiskNode GetRolledUpRiskNode(Risk::CollapseProperty property) const;

    /// Composes a margin from `risk` and `row`, its collapsed row of one value a price point: the absolute value of the
    /// worst of 0, the row and the corrected stress points, times the ratio. Curvature applies where the contract is
    /// priced through a currency.
    [[nodiscard]] double ComposeInitialMarginByRisk(const Risk& risk, const RiskRow& row,
                                                    const CSpecBaseContract& baseContract) const;
    /// Composes a margin with the curvature of positions alone. `row` is `risk` collapsed by its paper losses
    /// (Risk::CollapseProperty::CumulativePerformance).
    [[nodiscard]] double ComposeInitialMarginByRisk_PositionsOnly(const Risk& risk, const RiskRow& row,
                                                                  const CSpecBaseContract& baseContract) const;

protected:
    RiskNodeBase(const RiskNodeBase&) = default;
    RiskNodeBase(RiskNodeBase&&) = default;
    RiskNodeBase& operator=(const RiskNodeBase&) = default;
    RiskNodeBase& operator=(RiskNodeBase&&) = default;

    /// The node collapsed over the price grid, kept until its risk changes: two margins, the group above and the
    /// rolled-up copy read these rows.
    struct CollapsedRows
    {
        enum class Content
        {
            OutOfDate,
            Results,
            Losses, // Results with every profit set to 0
        };
        [[nodiscard]] const RiskRow& Delivery() const noexcept { return delivery.size() != 0 ? delivery : volatility; }

        RiskRow volatility;
        RiskRow delivery{0}; // at each point the worse of both sides; no cells while the sides are equal
        Content content = Content::OutOfDate;
    };
    /// The rows as `mode` reads them.
    [[nodiscard]] const CollapsedRows& Collapsed(MarginMode mode) const;
    void RiskHasChanged() noexcept { rows.content = CollapsedRows::Content::OutOfDate; }
    /// Completes rows that a pass over the cells has written.
    void RowsAreWritten() noexcept;

    /// Writes the collapsed rows of the present cells.
    virtual void CollapseInto(CollapsedRows& target) const;
    [[nodiscard]] virtual const SpecialRiskPoints& PointsOfVolatility() const;
    [[nodiscard]] virtual const SpecialRiskPoints& PointsOfExpiration() const { return PointsOfVolatility(); }
    [[nodiscard]] virtual bool SidesDiffer() const noexcept { return rows.delivery.size() != 0; }
    [[nodiscard]] virtual double VolatilityMargin(const CSpecBaseContract& baseContract, MarginMode mode) const;
    [[nodiscard]] virtual double DeliveryMargin(const CSpecBaseContract& baseContract, MarginMode mode) const;

    double initialMarginValue = 0.0;           // money, last volatility margin
    double initialMarginDeliveryValue = 0.0;   // money, last delivery margin
    double NOVj = 0.0;                         // money, net option value summed
    double m_totalCumulativePerformance = 0.0; // money, paper loss summed
    double brokerBaseContractGORatio;          // 1.0 is as computed
    Enums::ClientRiskLevel level;
    mutable CollapsedRows rows;

private:
    [[nodiscard]] double ComposeInitialMargin(const SpecialRiskPoints& points, const RiskRow& row,
                                              const CSpecBaseContract& baseContract, MarginMode mode) const;
    double StoreInitialMarginValue(double value) noexcept;         ///< Returns the change.
    double StoreInitialMarginDeliveryValue(double value) noexcept; ///< Returns the change.
};

} // namespace kv7im
