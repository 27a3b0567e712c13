// RiskNodeOptionSeries: one option series of one participant, the sum of its positions over the columns of the series,
// sub-points included.
//
// A series in spread contributes its view to its futures: the cells folded onto real price points and, where the series
// enforces half netting, only their losses. A series standing alone is margined by itself.
#pragma once

#include <optional>

#include "grids/Risk.h"
#include "grids/RiskRow.h"
#include "instruments/SpecOrderList.h"
#include "nodes/RiskNodeBase.h"

namespace kv7im {

class CSpecOption;
struct OptionTransform;
class RiskNodeFutures;

/// How a series in spread gives its view to its futures. Ceilings: nothing above this money in a view of losses, before
/// and after a change; 0 but in the mode of positions alone.
struct ViewOfSeries
{
    bool lossesOnly = false;
    double ceilingBefore = 0.0;
    double ceilingAfter = 0.0;
};

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
    RiskNodeOptionSeries(const RiskNodeOptionSeries&) = delete;
    RiskNodeOptionSeries& operator=(const RiskNodeOptionSeries&) = delete;

    [[nodiscard]] Risk Volatility() const override { return optionSeriesRisk; }
    /// Risk with every row replaced by the worst delivery outcome per price point; without delivery rows the volatility
    /// side.
    [[nodiscard]] Risk Expiration() const override;
    [[nodiscard]] const Parameters& GetParameters() const noexcept
    {
        return optionSeriesRisk.GetRisk().GetParameters();
    }

    /// Moves a position in one option from one state to another in one pass over the cells, with the bits of
    /// node -= risk(before), node += risk(after). chargeRatio multiplies the two charges of each state. The pass also
    /// yields the collapsed rows.
    void ReplacePosition(const OptionTransform& before, const OptionTransform& after, double chargeRatio);
    /// Moves a position in one option of a series in spread and replaces the series' view in its futures, with the bits
    /// of futures -= old view, futures += new view, and what the futures gives to its group; the caller moves the net
    /// option values.
    void ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after, double chargeRatio,
                                 RiskNodeFutures& futures, const ViewOfSeries& view);

    /// Makes sure that the next change of this series finds all the memory that it takes for a while or for good, so
    /// that it cannot fail. Throws kv7base::CZ9Error with code 1.
    void MakeRoomForChange() const;

    /// Adds the orders of one option in one pass over the cells, with the bits of node += TransformToOrder(orders) at
    /// the level of the node. chargeRatio multiplies the two charges. When it throws, the node is as it was.
    void AddOrders(const CSpecOption& option, const OrdersMap& orders, double chargeRatio);
    /// Adds the orders of one option of a series in spread and replaces the series' view in its futures, as
    /// ReplacePositionInSpread does. When it throws, series and futures are as they were.
    void AddOrdersInSpread(const CSpecOption& option, const OrdersMap& orders, double chargeRatio,
                           RiskNodeFutures& futures, const ViewOfSeries& view);

protected:
    void CollapseInto(CollapsedRows& target) const override;
    // Deliveries are mixed into the cells only: the points of the delivery side are those of the volatility side.
    [[nodiscard]] const SpecialRiskPoints& PointsOfVolatility() const override
    {
        return optionSeriesRisk.GetSpecialRiskPoints();
    }

private:
    friend class RiskNodeFutures; // may borrow the cells

    /// What the futures holds of this series: nothing known, its folded cells, or its folded losses.
    enum class ViewKind
    {
        Unknown,
        Signed,
        LossesOnly,
    };

    void CellsHaveChanged() noexcept;
    template <class Change>
    void NoteNumbers(const Change& change) noexcept;
    [[nodiscard]] RiskRow WorstDelivery() const;
    void WorkOutView(std::optional<double> ceiling);
    // A change is what one option does to the cells of its series: see OptionChangeKernels.h.
    template <class Change>
    void ChangeAlone(const Change& change, double chargeRatio);
    template <class Change>
    void ChangeInSpread(const Change& change, double chargeRatio, RiskNodeFutures& futures, const ViewOfSeries& view);
    template <class Change>
    void ChangeInOnePass(const Change& change, RiskNodeFutures& futures, const ViewOfSeries& view);
    template <class Change>
    void ChangeView(const Change& change, RiskNodeFutures& futures, const ViewOfSeries& view);

    template <class Change>
    void ReplaceDeliveries(const Change& change, RiskRow& worst, RiskRow& now, RiskNodeFutures& futures,
                           const ViewOfSeries& view);
    void KeepView(const ViewOfSeries& view) noexcept;

    Risk optionSeriesRisk;
    RiskNodeFutures* borrower = nullptr; // the futures whose cells follow from those of this series
    bool areNumbers = true;              // every cell of the volatility side is known to be a number
    // View of the present cells, kept where it does not follow from each cell by itself: with sub-points, and of the
    // delivery side. A change takes the kept view out of the futures and has to compute only the new one.
    ViewKind viewKind = ViewKind::Unknown;
    double viewCeiling = 0.0;
    RiskRow keptView{0};     // see OptionKernels.h; empty where the cells themselves are the view
    RiskRow deliveryView{0}; // empty without delivery rows
};

} // namespace kv7im
