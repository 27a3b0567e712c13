#include "nodes/RiskNodeMMS.h"

#include <utility>

#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "kernels/FuturesKernels.h"
#include "nodes/RiskNodeFutures.h"
#include "nodes/RiskNodeMCS.h"
#include "nodes/RoadOfFutures.h"

namespace kv7im {

RiskNodeMMS::RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, static_cast<std::size_t>(baseContract.PointsNum)),
      m_points(static_cast<std::size_t>(baseContract.PointsNum)),
      m_scenarios(static_cast<std::size_t>(baseContract.VolatNum)),
      m_proxy(*this)
{}

void RiskNodeMMS::JoinGroup(RiskNodeMCS& group)
{
    m_proxy.added.volatility.resize(m_points);
    parent = &group;
}

// The first futures brings the cells of the group; with the second the group keeps cells of its own.
void RiskNodeMMS::Welcome(const RiskNodeFutures& futures)
{
    const bool isFirst = m_only == nullptr && m_volatility.Points() == 0;
    if (!isFirst) KeepCells();
    MakeRoom(!futures.m_volatility.IsFlat(), futures.SidesDiffer());
    if (isFirst) m_only = &futures;
}

// A futures that is taken away has been taken out before, or has never given anything.
void RiskNodeMMS::TakeLeave(const RiskNodeFutures& futures) noexcept
{
    if (m_only == &futures) m_only = nullptr;
}

void RiskNodeMMS::KeepCells()
{
    if (m_volatility.Points() != 0) return;
    NodeCells delivery = SidesDiffer() ? CellsOfSide(true) : NodeCells();
    m_volatility = CellsOfSide(false);
    m_delivery = std::move(delivery);
    m_only = nullptr;
}

// The cells of a side as they are kept, or as the single futures gives them.
NodeCells RiskNodeMMS::CellsOfSide(bool ofDelivery) const
{
    using namespace kernels;
    const NodeCells& kept = ofDelivery ? m_delivery : m_volatility;
    if (kept.Points() != 0) return kept;
    const bool isFull = m_only != nullptr && !m_only->m_volatility.IsFlat();
    NodeCells cells(m_points, m_scenarios, isFull ? NodeCells::Form::Full : NodeCells::Form::Flat);
    if (m_only != nullptr) {
        RiskRow unused(m_points);
        const Ceilings ceilings{0.0, m_only->m_given.ceiling};
        m_only->WithCells(ofDelivery, [&](const NodeCells& given) {
            if (m_only->m_given.lossesOnly)
                BringIn<Gives::Nothing, Gives::Losses>(given, ceilings, cells, unused);
            else
                BringIn<Gives::Nothing, Gives::Signed>(given, ceilings, cells, unused);
        });
    }
    cells.points = kept.points;
    return cells;
}

void RiskNodeMMS::MakeRoom(bool full, bool deliveries)
{
    for (NodeCells* const side : {&m_volatility, &m_delivery})
        if (full && side->Points() != 0 && side->IsFlat()) *side = side->Expanded();
    if (!deliveries || SidesDiffer()) return;
    if (parent != nullptr) {
        parent->m_sum.Separate();
        m_proxy.added.Separate();
    }
    NodeCells delivery = m_volatility;
    rows.delivery = rows.volatility;
    m_delivery = std::move(delivery);
}

template <kernels::Gives Out, kernels::Gives In>
void RiskNodeMMS::BringIn(const NodeCells& futures, const kernels::Ceilings& ceilings, NodeCells& group, RiskRow& row)
{
    using namespace kernels;
    if (!futures.IsFlat())
        ShowFullCells(futures, IntoGroup<Out, In>(group, row, ceilings));
    else if (group.IsFlat())
        ShowFlatCells(futures, FlatIntoFlatGroup<Out, In>(group, row, ceilings));
    else
        ShowFlatCells(futures, FlatIntoFullGroup<Out, In>(group, row, ceilings));
}

// One side of a contribution changes its rule: out as it was given, in as it is given from now on.
template <kernels::Gives Out, kernels::Gives In>
void RiskNodeMMS::Regive(const NodeCells& futures, double ceilingOut, double ceilingIn, NodeCells& group, RiskRow& row)
{
    using namespace kernels;
    const auto given = [&](Gives what, double ceiling) {
        SpecialRiskPoints points = what == Gives::Nothing ? SpecialRiskPoints{} : futures.points;
        if (what == Gives::Losses) points.BoundValuesFromAbove(ceiling);
        return points;
    };
    BringIn<Out, In>(futures, {ceilingOut, ceilingIn}, group, row);
    group.points -= given(Out, ceilingOut);
    group.points += given(In, ceilingIn);
}

template <kernels::Gives Out, kernels::Gives In>
void RiskNodeMMS::Regive(const RiskNodeFutures& futures, double ceilingIn)
{
    const double ceilingOut = futures.m_given.ceiling;
    futures.WithCells(false, [&](const NodeCells& cells) {
        Regive<Out, In>(cells, ceilingOut, ceilingIn, m_volatility, rows.volatility);
        if (SidesDiffer())
            Regive<Out, In>(futures.SidesDiffer() ? futures.m_delivery : cells, ceilingOut, ceilingIn, m_delivery,
                            rows.delivery);
    });
    RowsAreWritten();
}

void RiskNodeMMS::GiveAnew(RiskNodeFutures& futures, bool lossesOnly)
{
    KeepCells();
    using enum kernels::Gives;
    const double ceiling = futures.GetCeilings().in;
    if (lossesOnly)
        Regive<Signed, Losses>(futures, ceiling);
    else
        Regive<Losses, Signed>(futures, ceiling);
    futures.m_given.ceiling = ceiling;
}

void RiskNodeMMS::TakeOut(const RiskNodeFutures& futures)
{
    KeepCells();
    using enum kernels::Gives;
    if (futures.m_given.lossesOnly)
        Regive<Losses, Nothing>(futures, 0.0);
    else
        Regive<Signed, Nothing>(futures, 0.0);
    NOVj -= futures.m_given.NOVj;
    m_totalCumulativePerformance -= futures.m_given.cumulativePerformance;
}

void RiskNodeMMS::CollapseInto(CollapsedRows& target) const
{
    kernels::CollapseCells(CellsOfSide(false), target.volatility);
    if (SidesDiffer()) kernels::CollapseCells(CellsOfSide(true), target.delivery);
}

RiskNodeMMSToMCSProxy& RiskNodeMMS::operator|(const PropertiesForICS& properties)
{
    m_proxy.futures = properties.futures;
    if (properties.interContractSpreadMarginType == Enums::SpreadMarginType::Netting)
        m_proxy.nettingPropertiesICS = static_cast<unsigned int>(properties.futures->BaseContract->WindowSize);
    else
        m_proxy.nettingPropertiesICS.reset();
    return m_proxy;
}

void RiskNodeMMS::CarryToMCS(const PropertiesForICS& properties, MarginMode mode)
{
    RiskNodeMMSToMCSProxy& proxy = *this | properties;
    *parent -= proxy;
    if (mode == MarginMode::Plain)
        *parent += proxy;
    else
        parent->AdditionAssignment_PositionsOnly(proxy);
}

RiskNodeMMS::Kept::Kept(const RiskNodeMMS& node)
    : RiskNodeBase(static_cast<const RiskNodeBase&>(node)),
      m_only(node.m_only),
      m_volatility(node.m_volatility),
      m_delivery(node.m_delivery),
      m_lastAddition(static_cast<const LastAdditionToMCS&>(node.m_proxy))
{}

RiskNodeMMS::Kept RiskNodeMMS::Keep() const { return Kept(*this); }

void RiskNodeMMS::GiveBack(Kept&& kept) noexcept
{
    m_only = kept.m_only;
    m_volatility = std::move(kept.m_volatility);
    m_delivery = std::move(kept.m_delivery);
    static_cast<LastAdditionToMCS&>(m_proxy) = std::move(kept.m_lastAddition);
    RiskNodeBase::operator=(static_cast<RiskNodeBase&&>(kept)); // moves the base's part alone
}

} // namespace kv7im
