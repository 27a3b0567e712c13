// RiskNodeMMS: the margin group of one base contract, and its adapter towards the group of base contracts above.
#pragma once

#include <optional>

#include "Enums.h"
#include "grids/NodeCells.h"
#include "grids/SidedRows.h"
#include "nodes/RiskNodeBase.h"

namespace kv7im {

class CSpecFutures;
class RiskNodeFutures;
class RiskNodeMCS;
class RiskNodeMMS;

namespace kernels {
struct Ceilings;
enum class Gives;
} // namespace kernels

/// The last contribution of an MMS node to its MCS, and the futures under which it was made.
struct LastAdditionToMCS
{
    const CSpecFutures* futures = nullptr; // the change is made under its isin; it also gives the base contract
    SidedRows added{0};                    // no rows before the first contribution
    std::optional<unsigned int> nettingPropertiesICS; // window in price points; empty: losses only
};

/// Adapter of one MMS node towards its MCS: remembers the last contribution, so that exactly that can be subtracted.
class RiskNodeMMSToMCSProxy : public LastAdditionToMCS
{
public:
    explicit RiskNodeMMSToMCSProxy(RiskNodeMMS& node) noexcept : riskNodeMMS(node) {}
    RiskNodeMMSToMCSProxy(const RiskNodeMMSToMCSProxy&) = delete;
    RiskNodeMMSToMCSProxy& operator=(const RiskNodeMMSToMCSProxy&) = delete;

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

    /// Zero cells of VolatNum scenarios and PointsNum columns. A group of a single futures keeps none: they are what
    /// the futures gives.
    RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel);
    RiskNodeMMS(const RiskNodeMMS&) = delete;
    RiskNodeMMS& operator=(const RiskNodeMMS&) = delete;

    [[nodiscard]] Risk Volatility() const override { return CellsOfSide(false).ToRisk(); }
    [[nodiscard]] Risk Expiration() const override { return CellsOfSide(SidesDiffer()).ToRisk(); }

    /// Makes this group a member of the group of base contracts above. Throws when memory ends; nothing has changed.
    void JoinGroup(RiskNodeMCS& group);
    /// Makes room for cells of options: full blocks and, with deliveries, a delivery side, in the group above as well.
    void MakeRoom(bool full, bool deliveries);

    /// Takes out what a futures contributes; the futures is left as it is and no longer a member. Throws when memory
    /// ends, and nothing has changed.
    void TakeOut(const RiskNodeFutures& futures);

    /// The adapter of this node towards its MCS: under Netting with the window of the base contract, otherwise without
    /// one.
    RiskNodeMMSToMCSProxy& operator|(const PropertiesForICS& properties);
    /// Replaces the contribution of this group to the group above.
    void CarryToMCS(const PropertiesForICS& properties, MarginMode mode);

    /// A copy of everything that changes of its futures act on, to be given back when one of them fails.
    class Kept;
    [[nodiscard]] Kept Keep() const;
    void GiveBack(Kept&& kept) noexcept;

    RiskNodeMCS* parent = nullptr; // null when the base contract belongs to no MCS

    // Replica: the group of another participant on top.

    RiskNodeMMS& operator+=(const RiskNodeMMS& other);
    RiskNodeMMS& operator-=(const RiskNodeMMS& other);

protected:
    void CollapseInto(CollapsedRows& target) const override;
    [[nodiscard]] const SpecialRiskPoints& PointsOfVolatility() const override { return m_volatility.points; }
    [[nodiscard]] const SpecialRiskPoints& PointsOfExpiration() const override
    {
        return SidesDiffer() ? m_delivery.points : m_volatility.points;
    }

private:
    friend class RiskNodeFutures; // works its changes into the cells

    void Welcome(const RiskNodeFutures& futures);
    void TakeLeave(const RiskNodeFutures& futures) noexcept;
    [[nodiscard]] NodeCells CellsOfSide(bool ofDelivery) const;
    void KeepCells();

    void MakeRoomFor(const RiskNodeMMS& other);
    void GiveAnew(RiskNodeFutures& futures, bool lossesOnly);
    template <kernels::Gives Out, kernels::Gives In>
    static void BringIn(const NodeCells& futures, const kernels::Ceilings& ceilings, NodeCells& group, RiskRow& row);
    template <kernels::Gives Out, kernels::Gives In>
    void Regive(const RiskNodeFutures& futures, double ceilingIn);
    template <kernels::Gives Out, kernels::Gives In>
    static void Regive(const NodeCells& futures, double ceilingOut, double ceilingIn, NodeCells& group, RiskRow& row);

    friend class RiskNodeMCS; // reads the rows of the groups that it adds

    std::size_t m_points;
    std::size_t m_scenarios;
    const RiskNodeFutures* m_only = nullptr; // the single futures that ever gave anything; null where cells are kept
    NodeCells m_volatility;                  // of no columns while nobody gives, or one futures alone
    NodeCells m_delivery;                    // of no columns while both sides are equal as well
    RiskNodeMMSToMCSProxy m_proxy;
};

class RiskNodeMMS::Kept final : private RiskNodeBase
{
    friend class RiskNodeMMS;
    explicit Kept(const RiskNodeMMS& node);

    const RiskNodeFutures* m_only;
    NodeCells m_volatility;
    NodeCells m_delivery;
    LastAdditionToMCS m_lastAddition;
};

} // namespace kv7im
