// RiskNodeOptionSeries: the node of one option series.
#include "nodes/RiskNodeOptionSeries.h"
#include "instruments/SpecOption.h"
#include "kernels/OptionChangeKernels.h"
#include "kernels/OptionKernels.h"
#include "kernels/OrderKernels.h"
#include "nodes/RoadOfFutures.h"

namespace kv7im {

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

void RiskNodeOptionSeries::CollapseInto(CollapsedRows& target) const
{
    constexpr auto whole = Risk::CollapseProperty::NegativeAndPositive;
    optionSeriesRisk.CollapseToRiskRow(whole, target.volatility);
    if (GetParameters().hasExpiration()) Expiration().CollapseToRiskRow(whole, target.delivery);
}

void RiskNodeOptionSeries::ReplacePosition(const OptionTransform& before, const OptionTransform& after,
                                           double chargeRatio)
{
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
    Profile& cells = optionSeriesRisk.GetRisk();
    const bool folded = GetParameters().hasSubPoints();
    const bool delivered = GetParameters().hasExpiration();
    const bool ofOneWidth = change.grid->ColsCount() == GetParameters().length();
    RiskRow scratch = RiskRow::Unfilled(folded ? LengthOfFoldScratch(cells) : 0);
    RiskRow worst = RiskRow::Unfilled(delivered ? GetParameters().length() : 0);
    CellsHaveChanged();

    change.Points(optionSeriesRisk.GetSpecialRiskPoints(), chargeRatio);
    if (!ofOneWidth)
        ChangeOptionInCells(cells, change);
    else if (folded)
        ChangeOptionInCells(cells, change, scratch, rows.volatility);
    else
        ChangeOptionInCells(cells, change, rows.volatility);
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
    const auto pointsOfView = [&](double ceiling) {
        SpecialRiskPoints points = optionSeriesRisk.GetSpecialRiskPoints();
        if (view.lossesOnly) points.BoundValuesFromAbove(ceiling);
        return points;
    };
    const SpecialRiskPoints pointsOut = pointsOfView(view.ceilingBefore);
    if (view.lossesOnly || GetParameters().hasSubPoints())
        ChangeView(change, futures, view);
    else
        ChangeSignedCells(change, futures);
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
    if (ceiling || GetParameters().hasSubPoints()) {
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

// Changes a series whose futures holds its cells as they are: series, futures and group change in one pass.
template <class Change>
void RiskNodeOptionSeries::ChangeSignedCells(const Change& change, RiskNodeFutures& futures)
{
    Profile& cells = optionSeriesRisk.GetRisk();
    const auto changeCells = [&](const auto& taker) { kernels::ChangeCells(cells, change, taker); };
    if (!GetParameters().hasExpiration()) {
        CellsHaveChanged();
        return futures.WithTakerOfSeriesForBothSides(changeCells);
    }
    WorkOutView(std::nullopt);
    RiskRow worst = RiskRow::Unfilled(GetParameters().length());
    CellsHaveChanged();
    futures.WithTakerOfSeries(false, changeCells);
    ChangeOptionInDeliveryRows(cells, change, worst);
    ReplaceDeliveryView(worst, futures);
    viewKind = ViewKind::Signed;
}

// Changes a series whose futures holds its folded cells or losses: the new view replaces the old one.
template <class Change>
void RiskNodeOptionSeries::ChangeView(const Change& change, RiskNodeFutures& futures, const ViewOfSeries& view)
{
    const auto ceilingOf = [&](double ceiling) { return view.lossesOnly ? std::optional(ceiling) : std::nullopt; };
    const std::optional<double> ceilingNow = ceilingOf(view.ceilingAfter);
    const bool delivered = GetParameters().hasExpiration();
    Profile& cells = optionSeriesRisk.GetRisk();
    const std::size_t scenarios = GetParameters().scenariosVolatilityCount;
    WorkOutView(ceilingOf(view.ceilingBefore));
    RiskRow now = RiskRow::Unfilled(LengthOfView(cells));
    RiskRow worst = RiskRow::Unfilled(delivered ? GetParameters().length() : 0);
    RiskRow deliveryNow = RiskRow::Unfilled(delivered ? GetParameters().pointsCount : 0);
    CellsHaveChanged();

    ChangeOptionInCells(cells, change);
    MakeView(cells, ceilingNow, now);
    const auto replaceView = [&](const auto& taker) {
        kernels::ReplaceView(keptView, now, scenarios, futures.m_volatility.Blocks(), taker);
    };
    if (delivered) {
        futures.WithTakerOfSeries(false, replaceView);
        ChangeOptionInDeliveryRows(cells, change, worst);
        MakeDeliveryView(cells, worst, ceilingNow, deliveryNow);
        ReplaceDeliveryView(deliveryNow, futures);
    } else {
        futures.WithTakerOfSeriesForBothSides(replaceView);
    }
    viewKind = view.lossesOnly ? ViewKind::LossesOnly : ViewKind::Signed;
    viewCeiling = ceilingNow.value_or(0.0);
}

void RiskNodeOptionSeries::ReplaceDeliveryView(const RiskRow& now, RiskNodeFutures& futures) noexcept
{
    futures.WithTakerOfSeries(true, [&](const auto& taker) {
        kernels::ReplaceDeliveryView(deliveryView, now, GetParameters().scenariosVolatilityCount,
                                     futures.m_delivery.Blocks(), taker);
    });
}

} // namespace kv7im
