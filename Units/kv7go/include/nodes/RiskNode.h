// Risk nodes: the tree along which one participant's risks net upward and from which the margin is read.
//
//   RiskNodeOptionSeries  one option series:              matrices, sub-points and delivery rows included
//   RiskNodeFutures       one futures, series in spread:  matrices, real price points only
//   RiskNodeMMS           one base contract (MMS):        matrices; calendar spreads net cell by cell
//   RiskNodeMCS           a group of base contracts:      rows; inter-contract spreads net point by point
//   RolledUpRiskNode      a detached, collapsed copy:     rows; sums a firm's clients, carries changes upward
//
// Always true:  a node equals the sum of what was added to it; it is never rebuilt, a change subtracts exactly what
//               was added earlier.
// Numbers:      money, a loss is negative; the margin is the absolute value of the worst cell times the ratio of the
//               base contract. NaN never reaches a collapsed row.
// Two figures:  every node has a volatility margin and a delivery margin; the second also looks at the outcomes of
//               deliveries.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "Enums.h"
#include "grids/Risk.h"
#include "grids/RiskRow.h"
#include "grids/SpecialRiskPoints.h"
#include "grids/WindowMinimum.h"
#include "instruments/SpecOrderList.h"

namespace kv7im {

class CSpecBaseContract;
class CSpecFutures;
class CSpecOption;
struct OptionTransform;
struct PositionTransform;
class RolledUpRiskNode;
class RiskNodeFutures;
class RiskNodeMMS;
class RiskNodeMCS;

class RiskNodeBase
{
public:
    /// ratio multiplies the margin; riskLevel selects the market-risk rates of the stress points; pointsNum is the
    /// length of the collapsed rows, which are allocated here so that a margin calculation needs no memory.
    RiskNodeBase(double ratio, Enums::ClientRiskLevel riskLevel, std::size_t pointsNum)
        : brokerBaseContractGORatio(ratio), level(riskLevel), rows{RiskRow(pointsNum), RiskRow(pointsNum)}
    {}
    virtual ~RiskNodeBase() = default;

    /// Recomputes the volatility margin, stores it and returns its change.
    virtual double UpdateInitialMarginValue(const CSpecBaseContract& baseContract);
    /// Recomputes the delivery margin, stores it and returns its change.
    virtual double UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract);
    /// Recomputes the volatility margin in the mode of positions alone, stores it and returns its change: a price point
    /// with a profit counts as 0, and the curvature gives back what the paper loss covers.
    virtual double UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract);
    /// Recomputes the delivery margin in the mode of positions alone, stores it and returns its change.
    virtual double UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract);
    /// Results over the price grid; the base answers with one empty Risk of no columns.
    [[nodiscard]] virtual const Risk& Volatility() const;
    /// Results over the price grid with the outcomes of deliveries mixed in.
    [[nodiscard]] virtual const Risk& Expiration() const;

    [[nodiscard]] double GetInitialMarginValue() const noexcept { return initialMarginValue; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const noexcept { return initialMarginDeliveryValue; }
    [[nodiscard]] double GetNOVj() const noexcept { return NOVj; }
    [[nodiscard]] double GetTotalCumulativePerformance() const noexcept { return m_totalCumulativePerformance; }
    [[nodiscard]] double GetBrokerBaseContractGORatio() const noexcept { return brokerBaseContractGORatio; }
    [[nodiscard]] Enums::ClientRiskLevel GetLevel() const noexcept { return level; }

    void ZeroMarginValue() noexcept; ///< Volatility and delivery margin to 0; the risks stay.
    void AddNOVi(double value) noexcept { NOVj += value; }
    void AddCumulativePerformance(double value) noexcept { m_totalCumulativePerformance += value; }

    /// A detached copy collapsed to rows; margins 0. The delivery row is the worse of both rows at each point.
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
    /// Collapses the node now, so that the next margin calculations need no memory for it.
    void CollapseAhead() const { static_cast<void>(Collapsed()); }

protected:
    friend class RiskNodeMCS; // reads the rows of the groups that it adds
    friend class RiskNodeMMS; // keeps the last contribution of each futures

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

        RiskRow volatility;
        RiskRow delivery; // at each point the worse of the volatility and the expiration side
        Content content = Content::OutOfDate;
    };
    [[nodiscard]] const CollapsedRows& Collapsed() const;
    /// The collapsed rows in the mode of positions alone: a profit counts as 0.
    [[nodiscard]] const CollapsedRows& CollapsedLosses() const;
    void RiskHasChanged() noexcept { rows.content = CollapsedRows::Content::OutOfDate; }
    /// Composes a margin under the curvature of either mode: see Curvature.h.
    template <class AnyCurvature>
    [[nodiscard]] double ComposeInitialMargin(const SpecialRiskPoints& uncorrected, const RiskRow& row,
                                              const CSpecBaseContract& baseContract,
                                              const AnyCurvature& curvature) const;
    /// Special points of Expiration(). Does not build that risk where it is built on demand.
    [[nodiscard]] virtual const SpecialRiskPoints& PointsOfExpiration() const;
    void CopyFigures(const RiskNodeBase& other) noexcept; // everything but the rows

    double StoreInitialMarginValue(double value) noexcept;         ///< Returns the change.
    double StoreInitialMarginDeliveryValue(double value) noexcept; ///< Returns the change.

    double initialMarginValue = 0.0;           // money, last volatility margin
    double initialMarginDeliveryValue = 0.0;   // money, last delivery margin
    double NOVj = 0.0;                         // money, net option value summed
    double m_totalCumulativePerformance = 0.0; // money, paper loss summed
    double brokerBaseContractGORatio;          // 1.0 is as computed
    Enums::ClientRiskLevel level;
    mutable CollapsedRows rows;
};

/// One option series of one participant: the sum of its positions over the columns of the series, sub-points included.
///
/// A series in spread contributes its view to its futures: the cells folded onto real price points and, where the
/// series enforces half netting, only their losses. A series standing alone is margined by itself.
class RiskNodeOptionSeries final : public RiskNodeBase
{
public:
    /// parameters: dimensions of the options' profile, without delivery rows where the participant does not count
    /// deliveries.
    RiskNodeOptionSeries(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel);
    /// parameters: dimensions of the options' profile. For a series with sub-points, whose binding must outlive the
    /// node.
    RiskNodeOptionSeries(const Parameters& parameters, const BindsRow& binding, double ratio,
                         Enums::ClientRiskLevel riskLevel);

    [[nodiscard]] const Risk& Volatility() const override { return optionSeriesRisk; }
    /// Risk with every row replaced by the worst delivery outcome per price point, built on demand; without delivery
    /// rows the volatility side.
    [[nodiscard]] const Risk& Expiration() const override;

    RiskNodeOptionSeries& operator+=(const Risk& risk);
    RiskNodeOptionSeries& operator-=(const Risk& risk);

    /// A detached copy on real price points that holds losses only: no cell is above 0, the rate and mismatch stresses
    /// are folded into the cells, and the delivery outcomes are cut to their losses.
    [[nodiscard]] RiskNodeOptionSeries GetTransformedRisk() const { return Transformed(0.0); }
    /// A detached copy on real price points that holds losses, with the paper loss of the node, money, as the ceiling
    /// instead of 0.
    [[nodiscard]] RiskNodeOptionSeries GetTransformedRisk_PositionsOnly() const
    {
        return Transformed(m_totalCumulativePerformance);
    }

    /// Moves a position in one option from one state to another in one pass over the cells, with the bits of
    /// node -= risk(before), node += risk(after). chargeRatio multiplies the two charges of each state. The pass also
    /// yields the collapsed rows.
    void ReplacePosition(const OptionTransform& before, const OptionTransform& after, double chargeRatio);
    /// Moves a position in one option of a series in spread and replaces the series' view in its futures, with the bits
    /// of futures -= old view, futures += new view; the caller moves the net option values. lossesOnly: the view is
    /// that of GetTransformedRisk().
    void ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after, double chargeRatio,
                                 RiskNodeFutures& futures, bool lossesOnly);

    /// Adds the orders of one option in one pass over the cells, with the bits of node += TransformToOrder(orders) at
    /// the level of the node. chargeRatio multiplies the two charges. When it throws, the node is as it was.
    void AddOrders(const CSpecOption& option, const OrdersMap& orders, double chargeRatio);
    /// Adds the orders of one option of a series in spread and replaces the series' view in its futures, as
    /// ReplacePositionInSpread does. When it throws, series and futures are as they were.
    void AddOrdersInSpread(const CSpecOption& option, const OrdersMap& orders, double chargeRatio,
                           RiskNodeFutures& futures, bool lossesOnly);

protected:
    [[nodiscard]] const SpecialRiskPoints& PointsOfExpiration() const override;

private:
    /// What the futures holds of this series: nothing known, its folded cells, or its folded losses.
    enum class ViewKind
    {
        Unknown,
        Signed,
        LossesOnly,
    };

    [[nodiscard]] const Parameters& Dimensions() const noexcept { return optionSeriesRisk.GetRisk().GetParameters(); }
    [[nodiscard]] RiskNodeOptionSeries Transformed(double ceiling) const;
    void CellsHaveChanged() noexcept;
    [[nodiscard]] RiskRow WorstDelivery() const;
    void WorkOutView(ViewKind kind);
    // A change is what one option does to the cells of its series: see OptionChangeKernels.h.
    template <class Change>
    void ChangeAlone(const Change& change, double chargeRatio);
    template <class Change>
    void ChangeInSpread(const Change& change, double chargeRatio, RiskNodeFutures& futures, bool lossesOnly);
    template <class Change>
    void ChangeSignedCells(const Change& change, RiskNodeFutures& futures);
    template <class Change>
    void ChangeView(const Change& change, RiskNodeFutures& futures, bool lossesOnly);

    Risk optionSeriesRisk;
    mutable Risk optionSeriesExpirationRisk; // of no columns until it is asked for
    mutable bool needToRecalcExpirationRisk = true;
    // View of the present cells, kept where it differs from the cells. A change takes the kept view out of the
    // futures and has to compute only the new one.
    ViewKind viewKind = ViewKind::Unknown;
    RiskRow view{0};         // see OptionKernels.h; empty where the cells themselves are the view
    RiskRow deliveryView{0}; // empty without delivery rows
};

/// One futures of one participant, and its option series in spread.
class RiskNodeFutures final : public RiskNodeBase
{
public:
    /// parameters: dimensions of the futures' profile.
    RiskNodeFutures(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel, bool collateral);

    [[nodiscard]] const Risk& Volatility() const override { return riskFutures; }
    [[nodiscard]] const Risk& Expiration() const override { return riskFuturesExpiration; }

    /// Adds a position's risk to the volatility and to the delivery side. A collateral instrument takes only the losses
    /// of the rate stress; the mismatch stress counts by its losses everywhere.
    RiskNodeFutures& operator+=(const Risk& risk);
    /// Subtracts a position's risk by the rules of operator+=.
    RiskNodeFutures& operator-=(const Risk& risk);
    /// Adds a series: its volatility side to ours, its delivery side to ours, sub-points folded onto real price points,
    /// and its net option value.
    RiskNodeFutures& operator+=(const RiskNodeOptionSeries& series);
    /// Subtracts a series by the rules of operator+=.
    RiskNodeFutures& operator-=(const RiskNodeOptionSeries& series);
    RiskNodeFutures& operator+=(const RiskNodeFutures& other);
    RiskNodeFutures& operator-=(const RiskNodeFutures& other);

    /// Moves the futures position from one state to another in one pass over the cells, with the bits of
    /// node -= risk(before), node += risk(after). chargeRatio multiplies the two charges of each state.
    void ReplacePosition(const PositionTransform& before, const PositionTransform& after, double chargeRatio);

    /// Adds the orders of the futures in one pass over the cells, with the bits of
    /// node += TransformToOrder(orders, discount) at the level of the node. chargeRatio multiplies the two charges.
    /// Needs no memory, whatever the number of orders.
    void AddOrders(const CSpecFutures& instrument, const OrdersMap& orders, kv7type::Discount discount,
                   double chargeRatio) noexcept;

    /// A detached copy that holds losses only: no cell is above 0, the rate and mismatch stresses are folded into the
    /// cells.
    [[nodiscard]] RiskNodeFutures GetTransformedRisk() const;
    /// A detached copy that holds losses, with the paper loss of the node, money, as the ceiling instead of 0.
    [[nodiscard]] RiskNodeFutures GetTransformedRisk_PositionsOnly() const;

    RiskNodeMMS* parent = nullptr; // the group of the base contract; null when the futures is not in a spread

private:
    friend class RiskNodeMMS;
    friend class RiskNodeOptionSeries; // replaces its view within the cells

    void KeepWhatIsBelow(double ceiling) noexcept;

    Risk riskFutures;
    Risk riskFuturesExpiration;
    bool isCollateral;
};

/// The last contribution of an MMS node to its MCS, and the futures under which it was made.
struct LastAdditionToMCS
{
    const CSpecFutures* futures = nullptr; // the change is made under its isin; it also gives the base contract
    RiskRow cachedCollapsedRiskRowVolatilityMMS;
    RiskRow cachedCollapsedRiskRowExpirationMMS;
    SpecialRiskPoints cachedLastAdditionVolatility;
    SpecialRiskPoints cachedLastAdditionExpiration;
    std::optional<unsigned int> nettingPropertiesICS; // window in price points; empty: losses only
};

/// Adapter of one MMS node towards its MCS: remembers the last contribution, so that exactly that can be subtracted.
class RiskNodeMMSToMCSProxy : public LastAdditionToMCS
{
public:
    /// Starts without a contribution: rows of pointsNum zeros.
    RiskNodeMMSToMCSProxy(RiskNodeMMS& node, std::size_t pointsNum);
    RiskNodeMMSToMCSProxy(const RiskNodeMMSToMCSProxy&) = delete;
    RiskNodeMMSToMCSProxy& operator=(const RiskNodeMMSToMCSProxy&) = delete;

    [[nodiscard]] const Risk& Volatility() const;
    [[nodiscard]] const Risk& Expiration() const;
    [[nodiscard]] double GetNOVj() const noexcept;
    [[nodiscard]] double GetTotalCumulativePerformance() const noexcept;

    RiskNodeMMS& riskNodeMMS;
};

/// The margin group of one base contract: the sum of its futures in spread. Signed volatility cells net; the stress
/// terms of rates and mismatch add by their losses.
class RiskNodeMMS final : public RiskNodeBase
{
public:
    /// How the group nets with other groups: the participant's type, and the futures under which the change is made.
    struct PropertiesForICS
    {
        Enums::SpreadMarginType interContractSpreadMarginType;
        const CSpecFutures* futures;
    };

    /// Zero matrices of VolatNum rows x PointsNum columns.
    RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel);
    RiskNodeMMS(const RiskNodeMMS&) = delete;
    RiskNodeMMS& operator=(const RiskNodeMMS&) = delete;

    [[nodiscard]] const Risk& Volatility() const override { return volatilityRisk; }
    [[nodiscard]] const Risk& Expiration() const override { return expirationRisk; }

    RiskNodeMMS& operator+=(const RiskNodeFutures& futures);
    RiskNodeMMS& operator-=(const RiskNodeFutures& futures);

    /// Replaces the contribution of a futures to the group and remembers it in `previous`: the node as it is or, with
    /// lossesOnly, its transformed copy. One pass over the cells, with the bits of
    /// mms -= previous, previous = node or node.GetTransformedRisk(), mms += previous; it also yields the rows.
    void ReplaceContribution(RiskNodeFutures& previous, const RiskNodeFutures& node, bool lossesOnly);
    /// Replaces the contribution of a futures to the group step by step: subtracts `previous`, sets it to the node or,
    /// with lossesOnly, to node.GetTransformedRisk_PositionsOnly(), and adds it. Needs no memory where both nodes have
    /// one size.
    void ReplaceContribution_PositionsOnly(RiskNodeFutures& previous, const RiskNodeFutures& node, bool lossesOnly);

    /// The adapter of this node towards its MCS: under Netting with the window of the base contract, otherwise without
    /// one.
    RiskNodeMMSToMCSProxy& operator|(const PropertiesForICS& properties);

    /// A copy of everything that changes of its futures act on, to be given back when one of them fails.
    class Kept;
    [[nodiscard]] Kept Keep() const;
    void GiveBack(Kept&& kept) noexcept;

    RiskNodeMCS* parent = nullptr; // null when the base contract belongs to no MCS

    // Replica: the group of another participant on top.

    RiskNodeMMS& operator+=(const RiskNodeMMS& other);
    RiskNodeMMS& operator-=(const RiskNodeMMS& other);

private:
    Risk volatilityRisk;
    Risk expirationRisk;
    RiskNodeMMSToMCSProxy riskNodeMMSToMCSProxy;
};

class RiskNodeMMS::Kept final : private RiskNodeBase
{
    friend class RiskNodeMMS;
    explicit Kept(const RiskNodeMMS& node);

    Risk volatilityRisk;
    Risk expirationRisk;
    LastAdditionToMCS lastAddition;
};

/// The margin group across base contracts (MCS): rows over the common grid, and stress points.
class RiskNodeMCS final : public RiskNodeBase
{
public:
    /// pointsNum: length of both rows.
    RiskNodeMCS(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel riskLevel);

    /// Recomputes the volatility margin without correction and curvature: a group is corrected and curved when it is
    /// added.
    double UpdateInitialMarginValue(const CSpecBaseContract& baseContract) override;
    /// Recomputes the delivery margin from the delivery row and the stress points of the volatility side; this mixed
    /// pair is meant.
    double UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract) override;
    /// Recomputes the volatility margin in the mode of positions alone. A row above 0 everywhere, which paper losses
    /// can make, counts as 0.
    double UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract) override;
    /// Recomputes the delivery margin in the mode of positions alone; it is the delivery margin of the plain mode.
    double UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract) override;

    /// Collapses, corrects and adds a group. Under a window a worse price point of the group nearby counts as well, and
    /// the stress points fold into the row's ends; without a window only losses are added.
    RiskNodeMCS& operator+=(RiskNodeMMSToMCSProxy& proxy);
    /// Adds a group in the mode of positions alone: its losses with the curvature of that mode, cut at (c + 1) times
    /// the paper loss of the group, c the curvature radius.
    RiskNodeMCS& AdditionAssignment_PositionsOnly(RiskNodeMMSToMCSProxy& proxy);
    /// Subtracts exactly what was added last for this group; to be called before the group changes.
    RiskNodeMCS& operator-=(const RiskNodeMMSToMCSProxy& proxy);

    [[nodiscard]] const RiskRow& VolatilityRow() const noexcept { return volatilityRiskRow; }
    [[nodiscard]] const RiskRow& ExpirationRow() const noexcept { return expirationRiskRow; }
    [[nodiscard]] const SpecialRiskPoints& VolatilityPoints() const noexcept { return volatilitySpecialRiskPoints; }
    [[nodiscard]] const SpecialRiskPoints& ExpirationPoints() const noexcept { return expirationSpecialRiskPoints; }

    // Replica: the group of another participant on top.

    RiskNodeMCS& operator+=(const RiskNodeMCS& other);
    RiskNodeMCS& operator-=(const RiskNodeMCS& other);
    [[nodiscard]] bool operator==(const RiskNodeMCS& other) const;

private:
    template <class AnyCurvature>
    void AddGroup(RiskNodeMMSToMCSProxy& proxy, const CollapsedRows& collapsed, const AnyCurvature& curvature,
                  double ceiling);

    RiskRow volatilityRiskRow;
    RiskRow expirationRiskRow;
    SpecialRiskPoints volatilitySpecialRiskPoints;
    SpecialRiskPoints expirationSpecialRiskPoints;
    WindowMinimum windowMinimum; // scratch space, kept so that a change needs no memory
};

/// A node collapsed to rows and cut loose from the tree.
class RolledUpRiskNode
{
public:
    /// Zero rows of pointsNum values.
    RolledUpRiskNode(std::size_t pointsNum, Enums::ClientRiskLevel level);
    RolledUpRiskNode(const RolledUpRiskNode&) = default;
    RolledUpRiskNode(RolledUpRiskNode&&) = default;
    ~RolledUpRiskNode() = default;
    /// Copies rows, points, sums and level; the margins and the flag of the target stay.
    RolledUpRiskNode& operator=(const RolledUpRiskNode& other);

    RolledUpRiskNode& operator+=(const RolledUpRiskNode& other);
    RolledUpRiskNode& operator-=(const RolledUpRiskNode& other);
    void Zero(); ///< Rows, points and sums to 0; padding lanes stay NaN.

    /// Recomputes the volatility margin, the absolute value of the worst cell without a ratio; stores it and returns
    /// its change.
    double UpdateInitialMarginValue();
    /// Recomputes the delivery margin, the absolute value of the worst cell without a ratio; stores it and returns its
    /// change.
    double UpdateInitialMarginDeliveryValue();

    void BoundValuesFromAbove(double bound);
    /// Corrects the stress points by the rows and applies the curvature of a contract priced through a currency.
    void ApplyCorrection(const CSpecBaseContract& baseContract);
    /// Corrects the stress points by the rows and applies the curvature of positions alone, which gives back what the
    /// paper loss covers.
    void ApplyCorrection_PositionsOnly(const CSpecBaseContract& baseContract);

    [[nodiscard]] std::size_t PointsNum() const noexcept { return volatilityRiskRow.size(); }
    [[nodiscard]] const RiskRow& Volatility() const noexcept { return volatilityRiskRow; }
    [[nodiscard]] const RiskRow& Expiration() const noexcept { return expirationRiskRow; }
    [[nodiscard]] const SpecialRiskPoints& VolatilityPoints() const noexcept { return volatilitySpecialRiskPoints; }
    [[nodiscard]] const SpecialRiskPoints& ExpirationPoints() const noexcept { return expirationSpecialRiskPoints; }
    [[nodiscard]] double GetNOVj() const noexcept { return NOVj; }
    [[nodiscard]] double GetTotalCumulativePerformance() const noexcept { return m_totalCumulativePerformance; }
    [[nodiscard]] double GetInitialMarginValue() const noexcept { return initialMarginValue; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const noexcept { return initialMarginDeliveryValue; }
    [[nodiscard]] Enums::ClientRiskLevel GetRiskLevel() const noexcept { return m_riskLevel; }
    [[nodiscard]] bool GetIsFromSpreadAspectChange() const noexcept { return isFromSpreadAspectChange; }
    void SetIsFromSpreadAspectChange(bool value) noexcept { isFromSpreadAspectChange = value; }

private:
    friend class RiskNodeBase;

    template <class AnyCurvature>
    void Correct(const CSpecBaseContract& baseContract, const AnyCurvature& curvature);

    RiskRow volatilityRiskRow;
    SpecialRiskPoints volatilitySpecialRiskPoints;
    RiskRow expirationRiskRow;
    SpecialRiskPoints expirationSpecialRiskPoints;
    double initialMarginValue = 0.0;
    double initialMarginDeliveryValue = 0.0;
    double NOVj = 0.0;
    double m_totalCumulativePerformance = 0.0;
    Enums::ClientRiskLevel m_riskLevel;
    bool isFromSpreadAspectChange = false;
};

} // namespace kv7im
