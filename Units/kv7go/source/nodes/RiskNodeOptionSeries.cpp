// RiskNodeOptionSeries: the node of one option series.
#include "nodes/RiskNodeOptionSeries.h"
#include "instruments/SpecOption.h"
#include "kernels/OptionChangeKernels.h"
#include "kernels/OptionKernels.h"
#include "kernels/OrderKernels.h"
#include "nodes/RoadOfFutures.h"

namespace kv7im {

namespace {

std::optional<double> CeilingOf(const ViewOfSeries& view, double ceiling) noexcept
{
    return view.lossesOnly ? std::optional(ceiling) : std::nullopt;
}

} // namespace

RiskNodeOptionSeries::RiskNodeOptionSeries(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, parameters.pointsCount), optionSeriesRisk(parameters)
{
    if (parameters.hasExpiration()) rows.delivery = rows.volatility;
}

RiskNodeOptionSeries::RiskNodeOptionSeries(const Parameters& parameters, const BindsRow& binding, double ratio,
                                           Enums::ClientRiskLevel riskLevel)
    : RiskNodeOptionSeries(parameters, ratio, riskLevel)
{
    optionSeriesRisk.GetRisk().ExpandSubPoints(parameters.subPointsCount, &binding);
}

Risk RiskNodeOptionSeries::Expiration() const
{
    Risk risk = optionSeriesRisk;
    risk.MixinExpirationRiskOnVolatility();
    return risk;
}

void RiskNodeOptionSeries::CellsHaveChanged() noexcept
{
    RiskHasChanged();
    viewKind = ViewKind::Unknown;
}

template <class Change>
void RiskNodeOptionSeries::NoteNumbers(const Change& change) noexcept
{
    // The padding of a grid of another width would lie on real columns.
    areNumbers = areNumbers && change.IsOfNumbers() && change.grid->ColsCount() == GetParameters().length();
}

void RiskNodeOptionSeries::CollapseInto(CollapsedRows& target) const
{
    constexpr auto whole = Risk::CollapseProperty::NegativeAndPositive;
    optionSeriesRisk.CollapseToRiskRow(whole, target.volatility);
    if (GetParameters().hasExpiration()) Expiration().CollapseToRiskRow(whole, target.delivery);
}

void RiskNodeOptionSeries::MakeRoomForChange() const
{
    constexpr std::size_t Most = 8; // rows of one change, should all of them share a bulk
    const Parameters& parameters = GetParameters();
    const Profile& cells = optionSeriesRisk.GetRisk();
    if (parameters.hasSubPoints()) { // the folded row, and the views before and after
        RiskRow::MakeSure(LengthOfFoldScratch(cells), Most);
        RiskRow::MakeSure(LengthOfView(cells), Most);
    }
    if (parameters.hasExpiration()) { // the worst outcomes, and their views before and after
        RiskRow::MakeSure(parameters.length(), Most);
        RiskRow::MakeSure(parameters.pointsCount, Most);
    }
    if (borrower != nullptr) { // its own cells, where it can borrow these no longer
        const NodeCells& shape = borrower->m_volatility;
        RiskRow::MakeSure(NodeCells::LengthOf(shape.Points(), shape.Scenarios(), NodeCells::Form::Full), Most);
    }
}

void RiskNodeOptionSeries::ReplacePosition(const OptionTransform& before, const OptionTransform& after,
                                           double chargeRatio)
{
    // Where no value is below zero, none is below a premium paid less that premium.
    if (before.grid->HasNothingBelowZero() && after.grid->HasNothingBelowZero())
        ChangeAlone(UnboundedPositionChange(before, after), chargeRatio);
    else
        ChangeAlone(PositionChange(before, after), chargeRatio);
}

void RiskNodeOptionSeries::ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after,
                                                   double chargeRatio, RiskNodeFutures& futures,
                                                   const ViewOfSeries& view)
{
    ChangeInSpread(PositionChange(before, after), chargeRatio, futures, view);
}

void RiskNodeOptionSeries::AddOrders(const CSpecOption& option, const OrdersMap& orders, double chargeRatio)
{
    WithOrderChange(option, orders, level, [&](const auto& change) { ChangeAlone(change, chargeRatio); });
}

void RiskNodeOptionSeries::AddOrdersInSpread(const CSpecOption& option, const OrdersMap& orders, double chargeRatio,
                                             RiskNodeFutures& futures, const ViewOfSeries& view)
{
    WithOrderChange(option, orders, level,
                    [&](const auto& change) { ChangeInSpread(change, chargeRatio, futures, view); });
}

template <class Change>
void RiskNodeOptionSeries::ChangeAlone(const Change& change, double chargeRatio)
{
    // All storage first: nothing fails halfway.
    if (borrower != nullptr) borrower->KeepCells(); // it is not told of this change
    Profile& cells = optionSeriesRisk.GetRisk();
    const bool folded = GetParameters().hasSubPoints();
    const bool delivered = GetParameters().hasExpiration();
    const bool ofOneWidth = change.grid->ColsCount() == GetParameters().length();
    RiskRow scratch = RiskRow::Unfilled(folded ? LengthOfFoldScratch(cells) : 0);
    RiskRow worst = RiskRow::Unfilled(delivered ? GetParameters().length() : 0);
    CellsHaveChanged();
    NoteNumbers(change);

    change.Points(optionSeriesRisk.GetSpecialRiskPoints(), chargeRatio);
    if (!ofOneWidth)
        ChangeOptionInCells(cells, change);
    else if (folded)
        ChangeOptionInCells(cells, change, scratch, rows.volatility);
    else
        ChangeOptionInCells(cells, change, areNumbers, rows.volatility);
    if (delivered) {
        ChangeOptionInDeliveryRows(cells, change, worst);
        MakeDeliveryView(cells, worst, std::nullopt, rows.delivery);
    }
    // Where the instruments have outgrown the node, its rows are collapsed when they are asked for.
    if (ofOneWidth) RowsAreWritten();
}

template <class Change>
void RiskNodeOptionSeries::ChangeInSpread(const Change& change, double chargeRatio, RiskNodeFutures& futures,
                                          const ViewOfSeries& view)
{
    NoteNumbers(change);
    if (view.lossesOnly || !areNumbers || borrower != &futures) futures.KeepCells();
    const auto pointsOfView = [&](double ceiling) {
        SpecialRiskPoints points = optionSeriesRisk.GetSpecialRiskPoints();
        if (view.lossesOnly) points.BoundValuesFromAbove(ceiling);
        return points;
    };
    const SpecialRiskPoints pointsOut = pointsOfView(view.ceilingBefore);
    if (GetParameters().hasSubPoints())
        ChangeView(change, futures, view);
    else
        ChangeInOnePass(change, futures, view);
    change.Points(optionSeriesRisk.GetSpecialRiskPoints(), chargeRatio);
    futures.ChangePoints([&, pointsIn = pointsOfView(view.ceilingAfter)](SpecialRiskPoints& points) {
        points -= pointsOut;
        points += pointsIn;
    });
    futures.CellsHaveChanged();
}

RiskRow RiskNodeOptionSeries::WorstDelivery() const
{
    RiskRow worst = RiskRow::Unfilled(GetParameters().length());
    WorstOfDeliveryRows(optionSeriesRisk.GetRisk(), worst);
    return worst;
}

// Makes the view of the present cells known; with a ceiling, that of losses. Where the cells are the view, nothing has
// to be computed.
void RiskNodeOptionSeries::WorkOutView(std::optional<double> ceiling)
{
    const ViewKind kind = ceiling ? ViewKind::LossesOnly : ViewKind::Signed;
    if (viewKind == kind && (!ceiling || viewCeiling == *ceiling)) return;
    const Profile& cells = optionSeriesRisk.GetRisk();
    viewKind = ViewKind::Unknown;
    if (GetParameters().hasSubPoints()) {
        keptView.resize(LengthOfView(cells));
        MakeView(cells, ceiling, keptView);
    }
    if (GetParameters().hasExpiration()) {
        deliveryView.resize(GetParameters().pointsCount);
        MakeDeliveryView(cells, WorstDelivery(), ceiling, deliveryView);
    }
    viewKind = kind;
    viewCeiling = ceiling.value_or(0.0);
}

// Changes a series without sub-points: series, futures and group change in one pass.
template <class Change>
void RiskNodeOptionSeries::ChangeInOnePass(const Change& change, RiskNodeFutures& futures, const ViewOfSeries& view)
{
    Profile& cells = optionSeriesRisk.GetRisk();
    const auto changeCells = [&](const auto& taker) {
        if (!view.lossesOnly) return static_cast<void>(kernels::ChangeCells(cells, change, taker));
        const kernels::Ceilings ceilings{view.ceilingBefore, view.ceilingAfter};
        kernels::ChangeCells(cells, change, kernels::ByLosses(ceilings, cells.Volatility().MedianLineNumber(), taker));
    };
    if (!GetParameters().hasExpiration()) {
        CellsHaveChanged();
        if (borrower == nullptr) return futures.WithTakerOfSeriesForBothSides(changeCells);
        return futures.WithTakerOfLender([&](const auto& taker) { kernels::ChangeCells(cells, change, taker); });
    }
    WorkOutView(CeilingOf(view, view.ceilingBefore));
    RiskRow worst = RiskRow::Unfilled(GetParameters().length());
    RiskRow deliveryNow = RiskRow::Unfilled(GetParameters().pointsCount);
    CellsHaveChanged();
    futures.WithTakerOfSeries(false, changeCells);
    ReplaceDeliveries(change, worst, deliveryNow, futures, view);
}

// Changes a series whose futures holds its folded cells: the new view replaces the old one.
template <class Change>
void RiskNodeOptionSeries::ChangeView(const Change& change, RiskNodeFutures& futures, const ViewOfSeries& view)
{
    const bool delivered = GetParameters().hasExpiration();
    Profile& cells = optionSeriesRisk.GetRisk();
    const std::size_t scenarios = GetParameters().scenariosVolatilityCount;
    WorkOutView(CeilingOf(view, view.ceilingBefore));
    RiskRow now = RiskRow::Unfilled(LengthOfView(cells));
    RiskRow worst = RiskRow::Unfilled(delivered ? GetParameters().length() : 0);
    RiskRow deliveryNow = RiskRow::Unfilled(delivered ? GetParameters().pointsCount : 0);
    CellsHaveChanged();

    ChangeOptionInCells(cells, change);
    MakeView(cells, CeilingOf(view, view.ceilingAfter), now);
    const auto replaceView = [&](const auto& taker) {
        kernels::ReplaceView(keptView, now, scenarios, futures.m_volatility.Blocks(), taker);
    };
    if (!delivered) {
        futures.WithTakerOfSeriesForBothSides(replaceView);
        return KeepView(view);
    }
    futures.WithTakerOfSeries(false, replaceView);
    ReplaceDeliveries(change, worst, deliveryNow, futures, view);
}

// Changes the delivery rows of the series and, in the futures, their view.
template <class Change>
void RiskNodeOptionSeries::ReplaceDeliveries(const Change& change, RiskRow& worst, RiskRow& now,
                                             RiskNodeFutures& futures, const ViewOfSeries& view)
{
    Profile& cells = optionSeriesRisk.GetRisk();
    ChangeOptionInDeliveryRows(cells, change, worst);
    MakeDeliveryView(cells, worst, CeilingOf(view, view.ceilingAfter), now);
    futures.WithTakerOfSeries(true, [&](const auto& taker) {
        kernels::ReplaceDeliveryView(deliveryView, now, GetParameters().scenariosVolatilityCount,
                                     futures.m_delivery.Blocks(), taker);
    });
    KeepView(view);
}

void RiskNodeOptionSeries::KeepView(const ViewOfSeries& view) noexcept
{
    viewKind = view.lossesOnly ? ViewKind::LossesOnly : ViewKind::Signed;
    viewCeiling = view.ceilingAfter;
}

} // namespace kv7im
