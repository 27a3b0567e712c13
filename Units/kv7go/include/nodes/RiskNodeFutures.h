// RiskNodeFutures: one futures of one participant, and its option series in spread.
//
// Borrowed cells: most books hold options of a futures without the futures itself, and of one series. What the futures
//                 holds then follows, cell by cell, from the cells of the series, so it keeps none of its own: those of
//                 the series are read in their place. It keeps cells from the first change on that is not the series'.
#pragma once

#include <cstddef>

#include "Enums.h"
#include "grids/NodeCells.h"
#include "instruments/SpecOrderList.h"
#include "nodes/RiskNodeBase.h"

namespace kv7im {

class CSpecFutures;
struct PositionTransform;
class RiskNodeMMS;
class RiskNodeOptionSeries;

namespace kernels {
struct Ceilings;
}

class RiskNodeFutures final : public RiskNodeBase
{
public:
    /// parameters: dimensions of the futures' profile. ratesFitFlat: of the rate rows of the futures one is 0 at each
    /// column (NodeCells::FitsFlat).
    RiskNodeFutures(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel, bool collateral,
                    bool ratesFitFlat = true);
    ~RiskNodeFutures() override; ///< Leaves its group, which outlives it.
    RiskNodeFutures(const RiskNodeFutures&) = delete;
    RiskNodeFutures& operator=(const RiskNodeFutures&) = delete;

    [[nodiscard]] Risk Volatility() const override;
    [[nodiscard]] Risk Expiration() const override { return SidesDiffer() ? m_delivery.ToRisk() : Volatility(); }

    /// Makes this futures a member of the group of its base contract; each change of it goes on to the group from now
    /// on. Throws when memory ends, and nothing has changed.
    void JoinGroup(RiskNodeMMS& group);
    /// Makes room for a series in spread, whose deliveries count or not, here and in the groups above, so that its
    /// changes need no memory. Figures stay. Throws when memory ends; then figures stay as well.
    void MakeRoomForSeries(bool deliveries);
    /// Makes room for this series in spread; lossesOnly: its view is one of losses. Where the futures holds nothing
    /// yet, it borrows the cells of the series, which has to outlive it, if they tell it all.
    void MakeRoomForSeries(RiskNodeOptionSeries& series, bool lossesOnly);
    /// Makes room for a change of the futures itself: from now on it keeps cells of its own. Figures stay. Throws when
    /// memory ends; then nothing has changed.
    void KeepCells();

    /// Says how the futures nets in its group from now on: with its signs, or by its losses alone, so that its gains
    /// relieve no other month. Losses are what is below 0, in the mode of positions alone what is below the paper loss
    /// of the node.
    /// Throws when memory ends; the contribution is the one that was given before.
    void SetNetting(bool lossesOnly, MarginMode mode);

    /// Moves the futures position from one state to another in one pass over the cells, with the bits of
    /// node -= risk(before), node += risk(after), and replaces the contribution to the group. chargeRatio multiplies
    /// the two charges of each state. The futures keeps cells of its own (KeepCells).
    void ReplacePosition(const PositionTransform& before, const PositionTransform& after, double chargeRatio) noexcept;

    /// Adds the orders of the futures in one pass over the cells, with the bits of
    /// node += TransformToOrder(orders, discount) at the level of the node, and replaces the contribution to the group.
    /// chargeRatio multiplies the two charges. Needs no memory, whatever the number of orders. The futures keeps cells
    /// of its own (KeepCells).
    void AddOrders(const CSpecFutures& instrument, const OrdersMap& orders, kv7type::Discount discount,
                   double chargeRatio) noexcept;

    /// Brings the change of the net option value and of the paper loss into the group.
    void CarryFiguresToGroup() noexcept;

    [[nodiscard]] RiskNodeMMS* Group() const noexcept { return m_group; } ///< Null when the futures is in no spread.

protected:
    void CollapseInto(CollapsedRows& target) const override;
    [[nodiscard]] const SpecialRiskPoints& PointsOfVolatility() const override { return m_volatility.points; }
    [[nodiscard]] const SpecialRiskPoints& PointsOfExpiration() const override
    {
        return SidesDiffer() ? m_delivery.points : m_volatility.points;
    }
    [[nodiscard]] bool SidesDiffer() const noexcept override { return m_delivery.Points() != 0; }

private:
    friend class RiskNodeMMS;          // takes the contribution out
    friend class RiskNodeOptionSeries; // replaces its view within the cells

    /// What the group holds of this futures, beside what follows from its cells.
    struct Given
    {
        bool lossesOnly = false;
        bool anything = false; // false: no cell of this futures has ever changed
        double ceiling = 0.0;  // of losses, money
        double NOVj = 0.0;
        double cumulativePerformance = 0.0;
    };

    // The roads of a change through the cells: see RoadOfFutures.h.
    template <class Body>
    void WithTakerOfOnlyMember(bool ofDelivery, const kernels::Ceilings& ceilings, const Body& body);
    template <class Body>
    void WithFlatTaker(const kernels::Ceilings& ceilings, const Body& body);
    template <class Body>
    void WithTakerOfSide(bool ofDelivery, const kernels::Ceilings& ceilings, const Body& body);
    template <class Change>
    void ChangeCells(const Change& change, std::size_t firstBlock, std::size_t lastBlock);
    template <class Body>
    void WithTakerOfLender(const Body& body);
    template <class Body>
    void WithTakerOfSeries(bool ofDelivery, const Body& body);
    template <class Body>
    void WithTakerOfSeriesForBothSides(const Body& body);
    [[nodiscard]] bool MayBorrowFrom(const RiskNodeOptionSeries& series, bool lossesOnly) const noexcept;
    [[nodiscard]] NodeCells BorrowedCells() const;
    template <class Body>
    void WithCells(bool ofDelivery, const Body& body) const;
    template <class Change>
    void ChangePoints(const Change& change) noexcept;
    void CellsHaveChanged() noexcept;
    [[nodiscard]] kernels::Ceilings GetCeilings() const noexcept;

    RiskNodeOptionSeries* m_lender = nullptr; // the series whose cells are borrowed
    NodeCells m_volatility;                   // without cells while they are borrowed
    NodeCells m_delivery;                     // no columns while both sides are equal
    RiskNodeMMS* m_group = nullptr;
    Given m_given;
    MarginMode m_mode = MarginMode::Plain; // of the next contribution
    bool isCollateral;
};

} // namespace kv7im
