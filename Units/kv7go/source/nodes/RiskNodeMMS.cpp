#include "nodes/RiskNodeMMS.h"

#include <utility>

#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "kernels/FuturesKernels.h"
#include "nodes/RiskNodeFutures.h"
#include "nodes/RiskNodeMCS.h"

namespace kv7im {

RiskNodeMMS::RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, static_cast<std::size_t>(baseContract.PointsNum)),
      m_volatility(static_cast<std::size_t>(baseContract.PointsNum), static_cast<std::size_t>(baseContract.VolatNum),
                   NodeCells::Form::Flat),
      m_proxy(*this)
{}

void RiskNodeMMS::JoinGroup(RiskNodeMCS& group)
{
    m_proxy.added.volatility.resize(m_volatility.Points());
    parent = &group;
}

void RiskNodeMMS::MakeRoom(bool full, bool deliveries)
{
    if (full && m_volatility.IsFlat()) m_volatility = m_volatility.Expanded();
    if (!deliveries || SidesDiffer()) return;
    if (parent != nullptr) {
        parent->m_sum.Separate();
        m_proxy.added.Separate();
    }
    rows.delivery = rows.volatility;
    m_delivery = m_volatility;
}

// One side of a contribution changes its rule: out as it was given, in as it is given from now on.
template <kernels::Gives Out, kernels::Gives In>
void RiskNodeMMS::Regive(const NodeCells& futures, double ceilingOut, double ceilingIn, NodeCells& group, RiskRow& row)
{
    using namespace kernels;
    const Ceilings ceilings{ceilingOut, ceilingIn};
    const auto given = [&](Gives what, double ceiling) {
        SpecialRiskPoints points = what == Gives::Nothing ? SpecialRiskPoints{} : futures.points;
        if (what == Gives::Losses) points.BoundValuesFromAbove(ceiling);
        return points;
    };
    if (!futures.IsFlat())
        ShowFullCells(futures, IntoGroup<Out, In>(group, row, ceilings));
    else if (group.IsFlat())
        ShowFlatCells(futures, FlatIntoFlatGroup<Out, In>(group, row, ceilings));
    else
        ShowFlatCells(futures, FlatIntoFullGroup<Out, In>(group, row, ceilings));
    group.points -= given(Out, ceilingOut);
    group.points += given(In, ceilingIn);
}

template <kernels::Gives Out, kernels::Gives In>
void RiskNodeMMS::Regive(const RiskNodeFutures& futures, double ceilingIn)
{
    const double ceilingOut = futures.m_given.ceiling;
    Regive<Out, In>(futures.m_volatility, ceilingOut, ceilingIn, m_volatility, rows.volatility);
    if (SidesDiffer())
        Regive<Out, In>(futures.SidesDiffer() ? futures.m_delivery : futures.m_volatility, ceilingOut, ceilingIn,
                        m_delivery, rows.delivery);
    RowsAreWritten();
}

void RiskNodeMMS::GiveAnew(RiskNodeFutures& futures, bool lossesOnly) noexcept
{
    using enum kernels::Gives;
    const double ceiling = futures.GetCeilings().in;
    if (lossesOnly)
        Regive<Signed, Losses>(futures, ceiling);
    else
        Regive<Losses, Signed>(futures, ceiling);
    futures.m_given.ceiling = ceiling;
}

void RiskNodeMMS::TakeOut(const RiskNodeFutures& futures) noexcept
{
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
    kernels::CollapseCells(m_volatility, target.volatility);
    if (SidesDiffer()) kernels::CollapseCells(m_delivery, target.delivery);
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
      m_volatility(node.m_volatility),
      m_delivery(node.m_delivery),
      m_lastAddition(static_cast<const LastAdditionToMCS&>(node.m_proxy))
{}

RiskNodeMMS::Kept RiskNodeMMS::Keep() const { return Kept(*this); }

void RiskNodeMMS::GiveBack(Kept&& kept) noexcept
{
    m_volatility = std::move(kept.m_volatility);
    m_delivery = std::move(kept.m_delivery);
    static_cast<LastAdditionToMCS&>(m_proxy) = std::move(kept.m_lastAddition);
    RiskNodeBase::operator=(static_cast<RiskNodeBase&&>(kept)); // moves the base's part alone
}

} // namespace kv7im
