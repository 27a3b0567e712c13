// Risk nodes: the tree along which one participant's risks net upward and from which the margin is read.
//
//   RiskNodeOptionSeries  one option series:        matrices, sub-points and delivery rows included
//   RiskNodeFutures   one futures and its series in spread: matrices, real price points only
//   RiskNodeMMS       one base contract (MMS):      matrices; calendar spreads net cell by cell
//   RiskNodeMCS       a group of base contracts:    rows; inter-contract spreads net point by point
//   RolledUpRiskNode  a detached, collapsed copy:   rows; sums a firm's clients, carries deltas upward
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
    /// ratio multiplies the margin; riskLevel picks the market-risk rates of the stress points; pointsNum is the length
    /// of the node collapsed, so that a margin calculation needs no memory of its own.
    RiskNodeBase(double ratio, Enums::ClientRiskLevel riskLevel, std::size_t pointsNum)
        : brokerBaseContractGORatio(ratio), level(riskLevel), rows{RiskRow(pointsNum), RiskRow(pointsNum)}
    {}
    virtual ~RiskNodeBase() = default;

    /// Recomputes the volatility margin, stores it and returns its change.
    virtual double UpdateInitialMarginValue(const CSpecBaseContract& baseContract);
    /// The same for the delivery margin.
    virtual double UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract);
    /// Both in the mode of positions alone: a price point with a profit counts as 0, and the curvature gives back what
    /// the paper loss covers.
    virtual double UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract);
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

    void ZeroMarginValue() noexcept; ///< Both margins to 0; the risks stay.
    void AddNOVi(double value) noexcept { NOVj += value; }
    void AddCumulativePerformance(double value) noexcept { m_totalCumulativePerformance += value; }

    /// A detached copy collapsed to rows; margins 0. The delivery row is the worse of both rows at each point.
    [[nodiscard]] RolledUpRiskNode GetRolledUpRiskNode(Risk::CollapseProperty property) const;

    /// The heart of the margin: |worst of 0, the row and the corrected stress points| times the ratio. row has one
    /// value a price point and is risk collapsed; curvature applies where the contract is priced through a currency.
    [[nodiscard]] double ComposeInitialMarginByRisk(const Risk& risk, const RiskRow& row,
                                                    const CSpecBaseContract& baseContract) const;
    /// The same with the curvature of positions alone; row is risk collapsed by its paper losses
    /// (Risk::CollapseProperty::CumulativePerformance).
    [[nodiscard]] double ComposeInitialMarginByRisk_PositionsOnly(const Risk& risk, const RiskRow& row,
                                                                  const CSpecBaseContract& baseContract) const;
    /// Collapses the node now, so that the next margins need no memory for it.
    void CollapseAhead() const { static_cast<void>(Collapsed()); }

protected:
    friend class RiskNodeMCS; // reads the rows of the groups that it adds
    friend class RiskNodeMMS; // keeps what its futures gave

    RiskNodeBase(const RiskNodeBase&) = default;
    RiskNodeBase(RiskNodeBase&&) = default;
    RiskNodeBase& operator=(const RiskNodeBase&) = default;
    RiskNodeBase& operator=(RiskNodeBase&&) = default;

    /// The node collapsed over the price grid, kept until its risk changes: both margins, the group above and the
    /// rolled-up copy read the same rows.
    struct CollapsedRows
    {
        enum class Content
        {
            OutOfDate,
            Results,
            Losses, // the results, nothing above 0
        };

        RiskRow volatility;
        RiskRow delivery; // at each point the worse of the volatility and the expiration side
        Content content = Content::OutOfDate;
    };
    [[nodiscard]] const CollapsedRows& Collapsed() const;
    /// The rows as the mode of positions alone reads them: a profit counts as 0.
    [[nodiscard]] const CollapsedRows& CollapsedLosses() const;
    void RiskHasChanged() noexcept { rows.content = CollapsedRows::Content::OutOfDate; }
    /// Under the curvature of either mode: see Curvature.h.
    template <class AnyCurvature>
    [[nodiscard]] double ComposeInitialMargin(const SpecialRiskPoints& uncorrected, const RiskRow& row,
                                              const CSpecBaseContract& baseContract,
                                              const AnyCurvature& curvature) const;
    /// Special points of Expiration(), without making it where it is made on demand.
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
/// A series in spread gives itself to its futures, as its view: the cells folded onto real price points and, where the
/// series enforces half netting, its losses only. A series standing alone is margined by itself.
class RiskNodeOptionSeries final : public RiskNodeBase
{
public:
    /// parameters: the dimensions of the options' profile; no delivery rows where the participant does not count
    /// deliveries. The second form is for a series with sub-points, whose binding must outlive the node.
    RiskNodeOptionSeries(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel);
    RiskNodeOptionSeries(const Parameters& parameters, const BindsRow& binding, double ratio,
                         Enums::ClientRiskLevel riskLevel);

    [[nodiscard]] const Risk& Volatility() const override { return optionSeriesRisk; }
    /// Made on demand: every row the worst delivery outcome per price point. Without delivery rows the volatility side.
    [[nodiscard]] const Risk& Expiration() const override;

    RiskNodeOptionSeries& operator+=(const Risk& risk);
    RiskNodeOptionSeries& operator-=(const Risk& risk);

    /// A detached copy on real price points that holds losses only: no cell above 0, rate and mismatch stress folded
    /// into the cells, of the delivery outcomes the losses.
    [[nodiscard]] RiskNodeOptionSeries GetTransformedRisk() const { return Transformed(0.0); }
    /// The same with the paper loss of the node in the place of 0.
    [[nodiscard]] RiskNodeOptionSeries GetTransformedRisk_PositionsOnly() const
    {
        return Transformed(m_totalCumulativePerformance);
    }

    /// Moves a position in one option from one state to another, in one pass over the cells and with the bits of
    /// node -= risk(before), node += risk(after). chargeRatio multiplies the two charges of both. The rows come out on
    /// the way.
    void ReplacePosition(const OptionTransform& before, const OptionTransform& after, double chargeRatio);
    /// The same for a series in spread, with the bits of futures -= view before it and futures += view after it; the
    /// net option values are left to the caller. lossesOnly: the view is that of GetTransformedRisk().
    void ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after, double chargeRatio,
                                 RiskNodeFutures& futures, bool lossesOnly);

    /// Adds the orders of one option, in one pass over the cells and with the bits of node += TransformToOrder(orders)
    /// at the level of the node. chargeRatio multiplies the two charges. When it throws the node is as it was.
    void AddOrders(const CSpecOption& option, const OrdersMap& orders, double chargeRatio);
    /// The same for a series in spread, as ReplacePositionInSpread does it. When it throws both nodes are as they were.
    void AddOrdersInSpread(const CSpecOption& option, const OrdersMap& orders, double chargeRatio,
                           RiskNodeFutures& futures, bool lossesOnly);

protected:
    [[nodiscard]] const SpecialRiskPoints& PointsOfExpiration() const override;

private:
    /// What the futures holds of this series: nothing known, its cells folded, or its folded losses.
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
    // The view of the present cells where it takes work to make one, so that a change takes the old one out of the
    // futures as it stands here and works out the new one only.
    ViewKind viewKind = ViewKind::Unknown;
    RiskRow view{0};         // see OptionKernels.h; empty where the cells themselves are the view
    RiskRow deliveryView{0}; // empty without delivery rows
};

/// One futures of one participant, and its option series in spread.
class RiskNodeFutures final : public RiskNodeBase
{
public:
    /// parameters: the dimensions of the futures' profile.
    RiskNodeFutures(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel, bool collateral);

    [[nodiscard]] const Risk& Volatility() const override { return riskFutures; }
    [[nodiscard]] const Risk& Expiration() const override { return riskFuturesExpiration; }

    /// Moves a position's risk into or out of both risks. A collateral instrument takes only the losses of the rate
    /// stress; the mismatch stress counts by its losses everywhere.
    RiskNodeFutures& operator+=(const Risk& risk);
    RiskNodeFutures& operator-=(const Risk& risk);
    /// Moves a series in or out: its volatility side to ours, its delivery side to ours, sub-points folded onto real
    /// price points; the net option value goes with them.
    RiskNodeFutures& operator+=(const RiskNodeOptionSeries& series);
    RiskNodeFutures& operator-=(const RiskNodeOptionSeries& series);
    RiskNodeFutures& operator+=(const RiskNodeFutures& other);
    RiskNodeFutures& operator-=(const RiskNodeFutures& other);

    /// Moves the futures position from one state to another, in one pass over the cells and with the bits of
    /// node -= risk(before), node += risk(after). chargeRatio multiplies the two charges of both.
    void ReplacePosition(const PositionTransform& before, const PositionTransform& after, double chargeRatio);

    /// Adds the orders of the futures, in one pass over the cells and with the bits of
    /// node += TransformToOrder(orders, discount) at the level of the node. chargeRatio multiplies the two charges.
    /// Needs no memory, whatever the number of orders.
    void AddOrders(const CSpecFutures& instrument, const OrdersMap& orders, kv7type::Discount discount,
                   double chargeRatio) noexcept;

    /// A detached copy that holds losses only: no cell above 0, rate and mismatch stress folded into the cells.
    [[nodiscard]] RiskNodeFutures GetTransformedRisk() const;
    /// The same with the paper loss of the node in the place of 0.
    [[nodiscard]] RiskNodeFutures GetTransformedRisk_PositionsOnly() const;

    RiskNodeMMS* parent = nullptr; // the group of the base contract; null when the futures is not in a spread

private:
    friend class RiskNodeMMS;
    friend class RiskNodeOptionSeries; // moves its view within the cells

    void KeepWhatIsBelow(double ceiling) noexcept;

    Risk riskFutures;
    Risk riskFuturesExpiration;
    bool isCollateral;
};

/// What an MMS node has added to its MCS the last time, and in whose name.
struct LastAdditionToMCS
{
    const CSpecFutures* futures = nullptr; // in whose name the change is made; gives the base contract
    RiskRow cachedCollapsedRiskRowVolatilityMMS;
    RiskRow cachedCollapsedRiskRowExpirationMMS;
    SpecialRiskPoints cachedLastAdditionVolatility;
    SpecialRiskPoints cachedLastAdditionExpiration;
    std::optional<unsigned int> nettingPropertiesICS; // window in price points; empty: losses only
};

/// Adapter of one MMS node towards its MCS: remembers what was added last, so that exactly that can be subtracted.
class RiskNodeMMSToMCSProxy : public LastAdditionToMCS
{
public:
    /// Nothing was added yet: rows of pointsNum zeros.
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
    /// How the group meets other groups: the participant's type, and the futures in whose name the change is made.
    struct PropertiesForICS
    {
        Enums::SpreadMarginType interContractSpreadMarginType;
        const CSpecFutures* futures;
    };

    /// Matrices of PointsNum columns and VolatNum rows.
    RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel);
    RiskNodeMMS(const RiskNodeMMS&) = delete;
    RiskNodeMMS& operator=(const RiskNodeMMS&) = delete;

    [[nodiscard]] const Risk& Volatility() const override { return volatilityRisk; }
    [[nodiscard]] const Risk& Expiration() const override { return expirationRisk; }

    RiskNodeMMS& operator+=(const RiskNodeFutures& futures);
    RiskNodeMMS& operator-=(const RiskNodeFutures& futures);

    /// Replaces what a futures gives to the group and remembers it in `previous`: the node as it is, or, with
    /// lossesOnly, its transformed copy. One pass over the cells, with the bits of
    /// mms -= previous, previous = node or node.GetTransformedRisk(), mms += previous; the rows come out on the way.
    void ReplaceContribution(RiskNodeFutures& previous, const RiskNodeFutures& node, bool lossesOnly);
    /// The same step by step, with node.GetTransformedRisk_PositionsOnly() for the losses. Needs no memory where both
    /// nodes are of the same size.
    void ReplaceContribution_PositionsOnly(RiskNodeFutures& previous, const RiskNodeFutures& node, bool lossesOnly);

    /// The node under those properties: under Netting the window of the base contract holds, otherwise none.
    RiskNodeMMSToMCSProxy& operator|(const PropertiesForICS& properties);

    /// All that the changes of its futures act on, to be given back when one of them fails.
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

/// The margin group across base contracts: rows over the common grid, and stress points.
class RiskNodeMCS final : public RiskNodeBase
{
public:
    /// pointsNum: length of both rows.
    RiskNodeMCS(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel riskLevel);

    /// No correction and no curvature here: both were applied on the way in.
    double UpdateInitialMarginValue(const CSpecBaseContract& baseContract) override;
    /// The stress points of the volatility side go with the delivery row; that mixed pair is meant.
    double UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract) override;
    /// A row above 0 everywhere, which paper losses can make, counts as 0.
    double UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract) override;
    /// The delivery margin of both modes is the same.
    double UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract) override;

    /// Collapses, corrects and adds a group. Under a window a nearby worse point of the group counts as well and the
    /// stress points fold into the row's ends; without one only losses are taken.
    RiskNodeMCS& operator+=(RiskNodeMMSToMCSProxy& proxy);
    /// The same in the mode of positions alone: the group's losses with the curvature of that mode; what stands above
    /// (c + 1) times the paper loss of the group is cut there, c the curvature radius.
    RiskNodeMCS& AdditionAssignment_PositionsOnly(RiskNodeMMSToMCSProxy& proxy);
    /// Subtracts exactly what was added last; to be called before the group changes.
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
    WindowMinimum windowMinimum; // scratch space, kept to save an allocation a change
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
    /// Takes rows, points, sums and level; the margins and the flag of the target stay.
    RolledUpRiskNode& operator=(const RolledUpRiskNode& other);

    RolledUpRiskNode& operator+=(const RolledUpRiskNode& other);
    RolledUpRiskNode& operator-=(const RolledUpRiskNode& other);
    void Zero(); ///< Rows, points and sums to 0; padding lanes stay NaN.

    /// |worst cell|, without a ratio; stores it and returns its change.
    double UpdateInitialMarginValue();
    double UpdateInitialMarginDeliveryValue();

    void BoundValuesFromAbove(double bound);
    /// Corrects the stress points by the rows and applies the curvature of a contract priced through a currency.
    void ApplyCorrection(const CSpecBaseContract& baseContract);
    /// The same with the curvature of positions alone, which gives back what the paper loss covers.
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
