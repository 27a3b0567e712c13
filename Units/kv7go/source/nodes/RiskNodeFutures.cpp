#include "nodes/RiskNodeFutures.h"

#include <algorithm>
#include <utility>

#include "instruments/SpecFutures.h"
#include "kernels/FuturesOrderKernels.h"
#include "kernels/PointsOfPosition.h"
#include "nodes/RiskNodeMMS.h"
#include "nodes/RiskNodeOptionSeries.h"
#include "nodes/RoadOfFutures.h"

namespace kv7im {

RiskNodeFutures::RiskNodeFutures(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel,
                                 bool collateral, bool ratesFitFlat)
    : RiskNodeBase(ratio, riskLevel, parameters.pointsCount),
      m_volatility(parameters.pointsCount, parameters.scenariosVolatilityCount,
                   ratesFitFlat ? NodeCells::Form::Flat : NodeCells::Form::Full),
      isCollateral(collateral)
{}

RiskNodeFutures::~RiskNodeFutures()
{
    if (m_group != nullptr) m_group->TakeLeave(*this);
    if (m_lender != nullptr) m_lender->borrower = nullptr;
}

void RiskNodeFutures::JoinGroup(RiskNodeMMS& group)
{
    group.Welcome(*this);
    m_group = &group;
    rows = CollapsedRows{RiskRow(0)}; // the margin is read from the group
}

void RiskNodeFutures::MakeRoomForSeries(bool deliveries)
{
    if (m_group != nullptr) m_group->MakeRoom(true, deliveries);
    if (m_volatility.IsFlat()) m_volatility = m_volatility.Expanded();
    if (!deliveries || SidesDiffer()) return;
    NodeCells delivery = m_volatility;
    if (rows.volatility.size() != 0) rows.delivery = rows.volatility;
    m_delivery = std::move(delivery);
}

void RiskNodeFutures::MakeRoomForSeries(RiskNodeOptionSeries& series, bool lossesOnly)
{
    if (m_lender == &series) return;
    if (!MayBorrowFrom(series, lossesOnly)) {
        KeepCells();
        return MakeRoomForSeries(series.GetParameters().hasExpiration());
    }
    if (m_group != nullptr) m_group->MakeRoom(true, false);
    m_volatility = m_volatility.WithoutCells();
    m_lender = &series;
    series.borrower = this;
}

// Each cell of the futures has to be nothing by now, and to follow from one cell of the series: a number that goes out
// again leaves nothing behind.
bool RiskNodeFutures::MayBorrowFrom(const RiskNodeOptionSeries& series, bool lossesOnly) const noexcept
{
    const Parameters& parameters = series.GetParameters();
    return m_lender == nullptr && !m_given.anything && !SidesDiffer() && series.borrower == nullptr &&
           series.areNumbers && !lossesOnly && !parameters.hasExpiration() && !parameters.hasSubPoints() &&
           parameters.pointsCount == m_volatility.Points() &&
           parameters.scenariosVolatilityCount == m_volatility.Scenarios();
}

void RiskNodeFutures::KeepCells()
{
    if (m_lender == nullptr) return;
    m_volatility = BorrowedCells();
    m_lender->borrower = nullptr;
    m_lender = nullptr;
}

// What the series has put into the futures: its cells; of the mismatch, and of the rates of a futures on collateral,
// the losses. They are added to the zeros of a new node, so that the padding stays no number: the losses of what is no
// number are 0, and a series with sub-points has numbers there.
NodeCells RiskNodeFutures::BorrowedCells() const
{
    NodeCells cells(m_volatility.Points(), m_volatility.Scenarios(), NodeCells::Form::Full);
    cells.points = m_volatility.points;
    const Profile& series = m_lender->optionSeriesRisk.GetRisk();
    for (std::size_t block = 0; block < cells.Blocks(); ++block) {
        const NodeCells::FullBlock at = cells.FullAt(block);
        std::copy_n(series.Volatility().pData() + block * cells.Scenarios(), cells.Scenarios(), at.values);
        for (std::size_t row = 0; row < NodeCells::StressRows; ++row) {
            const std::size_t item = block * NodeCells::StressRows + row;
            at.rates[row] =
                Add(at.rates[row], kernels::RateOfSeries(series.InterestRate().pData()[item], isCollateral));
            at.mismatches[row] = Add(at.mismatches[row], kernels::Loss(series.VolatilityMismatch().pData()[item]));
        }
    }
    return cells;
}

Risk RiskNodeFutures::Volatility() const
{
    return m_lender != nullptr ? BorrowedCells().ToRisk() : m_volatility.ToRisk();
}

void RiskNodeFutures::SetNetting(bool lossesOnly, MarginMode mode)
{
    m_mode = mode;
    if (lossesOnly == m_given.lossesOnly) return;
    // What was given by one rule goes out by it.
    if (m_group != nullptr && m_given.anything) m_group->GiveAnew(*this, lossesOnly);
    m_given.lossesOnly = lossesOnly;
}

kernels::Ceilings RiskNodeFutures::GetCeilings() const noexcept
{
    return {m_given.ceiling, m_mode == MarginMode::PositionsOnly ? m_totalCumulativePerformance : 0.0};
}

void RiskNodeFutures::CellsHaveChanged() noexcept
{
    m_given.anything = true;
    m_given.ceiling = GetCeilings().in;
    if (m_group != nullptr)
        m_group->RowsAreWritten();
    else
        RowsAreWritten();
}

void RiskNodeFutures::ReplacePosition(const PositionTransform& before, const PositionTransform& after,
                                      double chargeRatio) noexcept
{
    ChangeCells(kernels::FuturesPositionChange(before, after, isCollateral), 0, m_volatility.Blocks());
    const auto pointsOf = [chargeRatio](const PositionTransform& transform) {
        return kernels::PointsOfPosition(transform.profile->GetSpecialRiskPoints(), transform,
                                         transform.negate ? -transform.scale : transform.scale, chargeRatio);
    };
    ChangePoints([out = pointsOf(before), in = pointsOf(after)](SpecialRiskPoints& points) {
        points -= out;
        points += in;
    });
    CellsHaveChanged();
}

void RiskNodeFutures::AddOrders(const CSpecFutures& instrument, const OrdersMap& orders, kv7type::Discount discount,
                                double chargeRatio) noexcept
{
    const FuturesOrders entries{instrument, orders, discount, level};
    kernels::ForFuturesOrders(entries, isCollateral, [&](const auto& change, const kernels::Blocks& blocks) {
        ChangeCells(change, blocks.first, blocks.last);
    });
    ChangePoints([in = PointsOfOrders(entries, chargeRatio)](SpecialRiskPoints& points) { points += in; });
    CellsHaveChanged();
}

void RiskNodeFutures::CarryFiguresToGroup() noexcept
{
    if (m_group == nullptr) return;
    m_group->AddNOVi(-m_given.NOVj);
    m_group->AddNOVi(NOVj);
    m_group->AddCumulativePerformance(-m_given.cumulativePerformance);
    m_group->AddCumulativePerformance(m_totalCumulativePerformance);
    m_given.NOVj = NOVj;
    m_given.cumulativePerformance = m_totalCumulativePerformance;
}

void RiskNodeFutures::CollapseInto(CollapsedRows& target) const
{
    target.volatility.resize(m_volatility.Points()); // a member of a group keeps no rows
    if (SidesDiffer()) target.delivery.resize(m_delivery.Points());
    WithCells(false, [&](const NodeCells& cells) { kernels::CollapseCells(cells, target.volatility); });
    if (SidesDiffer()) kernels::CollapseCells(m_delivery, target.delivery);
}

} // namespace kv7im
