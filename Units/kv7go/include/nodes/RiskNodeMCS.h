// RiskNodeMCS: the margin group across base contracts.
#pragma once

#include <cstddef>

#include "grids/SidedRows.h"
#include "grids/WindowMinimum.h"
#include "nodes/RiskNodeBase.h"
#include "nodes/RiskNodeMMS.h"

namespace kv7im {

/// The margin group across base contracts (MCS): rows over the common grid, and stress points. A group is corrected and
/// curved when it is added, so its margin is the worst of what it holds. The delivery margin takes the delivery row and
/// the stress points of the volatility side; this mixed pair is meant. In the mode of positions alone a volatility row
/// above 0 everywhere, which paper losses can make, counts as 0.
class RiskNodeMCS final : public RiskNodeBase
{
public:
    /// pointsNum: length of both rows.
    RiskNodeMCS(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel riskLevel);

    /// Collapses, corrects and adds a group. Under a window a worse price point of the group nearby counts as well, and
    /// the stress points fold into the row's ends; without a window only losses are added.
    RiskNodeMCS& operator+=(RiskNodeMMSToMCSProxy& proxy);
    /// Adds a group in the mode of positions alone: its losses with the curvature of that mode, cut at (c + 1) times
    /// the paper loss of the group, c the curvature radius.
    RiskNodeMCS& AdditionAssignment_PositionsOnly(RiskNodeMMSToMCSProxy& proxy);
    /// Subtracts exactly what was added last for this group.
    RiskNodeMCS& operator-=(const RiskNodeMMSToMCSProxy& proxy);

    /// Adds a collapsed group, not yet corrected; `addition` names its futures and window and receives what was added.
    void AddGroup(const RolledUpRiskNode& group, LastAdditionToMCS& addition);

    [[nodiscard]] const RiskRow& VolatilityRow() const noexcept { return m_sum.volatility; }
    [[nodiscard]] const RiskRow& ExpirationRow() const noexcept { return m_sum.Delivery(); }
    [[nodiscard]] const SpecialRiskPoints& VolatilityPoints() const noexcept { return m_sum.volatilityPoints; }
    [[nodiscard]] const SpecialRiskPoints& ExpirationPoints() const noexcept { return m_sum.DeliveryPoints(); }

    // Replica: the group of another participant on top.

    RiskNodeMCS& operator+=(const RiskNodeMCS& other);
    RiskNodeMCS& operator-=(const RiskNodeMCS& other);
    [[nodiscard]] bool operator==(const RiskNodeMCS& other) const;

protected:
    [[nodiscard]] bool SidesDiffer() const noexcept override { return m_sum.SidesDiffer(); }
    [[nodiscard]] double VolatilityMargin(const CSpecBaseContract& baseContract, MarginMode mode) const override;
    [[nodiscard]] double DeliveryMargin(const CSpecBaseContract& baseContract, MarginMode mode) const override;

private:
    friend class RiskNodeMMS; // makes room for its delivery side

    template <class AnyCurvature>
    void Add(LastAdditionToMCS& addition, const CollapsedRows& collapsed, const SpecialRiskPoints& uncorrected,
             const AnyCurvature& curvature, double ceiling);

    SidedRows m_sum;
    WindowMinimum windowMinimum; // scratch space, kept so that a change needs no memory
};

} // namespace kv7im
