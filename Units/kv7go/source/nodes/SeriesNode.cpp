// RiskNodeOptionSeries: the node of one option series.
#include "instruments/SpecOption.h"
#include "kernels/FuturesKernels.h"
#include "kernels/OptionChangeKernels.h"
#include "kernels/OptionKernels.h"
#include "kernels/OrderKernels.h"
#include "nodes/RiskNode.h"

namespace kv7im {

namespace {

// The dimensions of a series as its futures sees them.
Parameters OnRealPoints(Parameters parameters) noexcept
{
    parameters.subPointsCount = 0;
    return parameters;
}

} // namespace

RiskNodeOptionSeries::RiskNodeOptionSeries(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, parameters.pointsCount), optionSeriesRisk(parameters)
{}

RiskNodeOptionSeries::RiskNodeOptionSeries(const Parameters& parameters, const BindsRow& binding, double ratio,
                                           Enums::ClientRiskLevel riskLevel)
    : RiskNodeOptionSeries(parameters, ratio, riskLevel)
{
    optionSeriesRisk.GetRisk().ExpandSubPoints(parameters.subPointsCount, &binding);
}

const Risk& RiskNodeOptionSeries::Expiration() const
{
    if (!Dimensions().hasExpiration()) return optionSeriesRisk;
    if (needToRecalcExpirationRisk) {
        optionSeriesExpirationRisk = optionSeriesRisk;
        optionSeriesExpirationRisk.MixinExpirationRiskOnVolatility();
        needToRecalcExpirationRisk = false;
    }
    return optionSeriesExpirationRisk;
}

// Deliveries are mixed into the cells only: the points of the delivery side are those of the volatility side.
const SpecialRiskPoints& RiskNodeOptionSeries::PointsOfExpiration() const
{
    return optionSeriesRisk.GetSpecialRiskPoints();
}

void RiskNodeOptionSeries::CellsHaveChanged() noexcept
{
    RiskHasChanged();
    needToRecalcExpirationRisk = true;
    viewKind = ViewKind::Unknown;
}

RiskNodeOptionSeries& RiskNodeOptionSeries::operator+=(const Risk& risk)
{
    CellsHaveChanged();
    optionSeriesRisk += risk;
    return *this;
}

RiskNodeOptionSeries& RiskNodeOptionSeries::operator-=(const Risk& risk)
{
    CellsHaveChanged();
    optionSeriesRisk -= risk;
    return *this;
}

RiskNodeOptionSeries RiskNodeOptionSeries::Transformed(double ceiling) const
{
    RiskNodeOptionSeries transformed(OnRealPoints(Dimensions()), brokerBaseContractGORatio, level);
    transformed.CopyFigures(*this);
    transformed.ZeroMarginValue();
    transformed.optionSeriesRisk = optionSeriesRisk.OnRealPoints();
    transformed.optionSeriesRisk.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
    if (Dimensions().hasExpiration()) {
        transformed.optionSeriesExpirationRisk = Expiration().OnRealPoints();
        transformed.optionSeriesExpirationRisk.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
        transformed.needToRecalcExpirationRisk = false;
    }
    return transformed;
}

void RiskNodeOptionSeries::ReplacePosition(const OptionTransform& before, const OptionTransform& after,
                                           double chargeRatio)
{
    ChangeAlone(PositionChange(before, after), chargeRatio);
}

void RiskNodeOptionSeries::ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after,
                                                   double chargeRatio, RiskNodeFutures& futures, bool lossesOnly)
{
    ChangeInSpread(PositionChange(before, after), chargeRatio, futures, lossesOnly);
}

void RiskNodeOptionSeries::AddOrders(const CSpecOption& option, const OrdersMap& orders, double chargeRatio)
{
    WithOrderChange(option, orders, level, [&](const auto& change) { ChangeAlone(change, chargeRatio); });
}

void RiskNodeOptionSeries::AddOrdersInSpread(const CSpecOption& option, const OrdersMap& orders, double chargeRatio,
                                             RiskNodeFutures& futures, bool lossesOnly)
{
    WithOrderChange(option, orders, level,
                    [&](const auto& change) { ChangeInSpread(change, chargeRatio, futures, lossesOnly); });
}

template <class Change>
void RiskNodeOptionSeries::ChangeAlone(const Change& change, double chargeRatio)
{
    // All storage first: nothing fails halfway.
    Profile& cells = optionSeriesRisk.GetRisk();
    const bool folded = Dimensions().hasSubPoints();
    const bool delivered = Dimensions().hasExpiration();
    const bool ofOneWidth = change.grid->ColsCount() == Dimensions().length();
    RiskRow scratch = RiskRow::Unfilled(folded ? LengthOfFoldScratch(cells) : 0);
    RiskRow worst = RiskRow::Unfilled(delivered ? Dimensions().length() : 0);
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
        MakeDeliveryView(cells, worst, false, rows.delivery);
        SmallerOfBoth(rows.volatility, rows.delivery);
    } else {
        rows.delivery = rows.volatility;
    }
    // Where the instruments have outgrown the node, its rows are collapsed when they are asked for.
    if (ofOneWidth) rows.content = CollapsedRows::Content::Results;
}

template <class Change>
void RiskNodeOptionSeries::ChangeInSpread(const Change& change, double chargeRatio, RiskNodeFutures& futures,
                                          bool lossesOnly)
{
    const auto pointsOfView = [&] {
        SpecialRiskPoints points = optionSeriesRisk.GetSpecialRiskPoints();
        if (lossesOnly) points.BoundValuesFromAbove(0.0);
        return points;
    };
    const SpecialRiskPoints pointsOut = pointsOfView();
    futures.RiskHasChanged();
    if (lossesOnly || Dimensions().hasSubPoints())
        ChangeView(change, futures, lossesOnly);
    else
        ChangeSignedCells(change, futures);
    change.Points(optionSeriesRisk.GetSpecialRiskPoints(), chargeRatio);
    const SpecialRiskPoints pointsIn = pointsOfView();
    for (Risk* const side : {&futures.riskFutures, &futures.riskFuturesExpiration}) {
        side->GetSpecialRiskPoints() -= pointsOut;
        side->GetSpecialRiskPoints() += pointsIn;
    }
}

RiskRow RiskNodeOptionSeries::WorstDelivery() const
{
    RiskRow worst = RiskRow::Unfilled(Dimensions().length());
    WorstOfDeliveryRows(optionSeriesRisk.GetRisk(), worst);
    return worst;
}

// Makes the view of the present cells known. Where the cells are the view, nothing has to be computed.
void RiskNodeOptionSeries::WorkOutView(ViewKind kind)
{
    if (viewKind == kind) return;
    const Profile& cells = optionSeriesRisk.GetRisk();
    const bool lossesOnly = kind == ViewKind::LossesOnly;
    viewKind = ViewKind::Unknown;
    if (lossesOnly || Dimensions().hasSubPoints()) {
        view.resize(LengthOfView(cells));
        MakeView(cells, lossesOnly, view);
    }
    if (Dimensions().hasExpiration()) {
        deliveryView.resize(Dimensions().pointsCount);
        MakeDeliveryView(cells, WorstDelivery(), lossesOnly, deliveryView);
    }
    viewKind = kind;
}

// Changes a series whose futures holds its cells as they are: both nodes change in one pass.
template <class Change>
void RiskNodeOptionSeries::ChangeSignedCells(const Change& change, RiskNodeFutures& futures)
{
    Profile& cells = optionSeriesRisk.GetRisk();
    Profile& volatility = futures.riskFutures.GetRisk();
    Profile& expiration = futures.riskFuturesExpiration.GetRisk();
    if (!Dimensions().hasExpiration()) {
        CellsHaveChanged();
        ChangeOptionInSpread(cells, change, volatility, &expiration, futures.isCollateral);
        return;
    }
    WorkOutView(ViewKind::Signed);
    RiskRow worst = RiskRow::Unfilled(Dimensions().length());
    CellsHaveChanged();
    ChangeOptionInSpread(cells, change, volatility, nullptr, futures.isCollateral);
    ChangeOptionInDeliveryRows(cells, change, worst);
    ReplaceDeliveryViewInFutures(deliveryView, worst, expiration);
    viewKind = ViewKind::Signed;
}

// Changes a series whose futures holds its folded cells or losses: the new view replaces the old one.
template <class Change>
void RiskNodeOptionSeries::ChangeView(const Change& change, RiskNodeFutures& futures, bool lossesOnly)
{
    const ViewKind kind = lossesOnly ? ViewKind::LossesOnly : ViewKind::Signed;
    const bool delivered = Dimensions().hasExpiration();
    Profile& cells = optionSeriesRisk.GetRisk();
    Profile& expiration = futures.riskFuturesExpiration.GetRisk();
    WorkOutView(kind);
    RiskRow now = RiskRow::Unfilled(LengthOfView(cells));
    RiskRow worst = RiskRow::Unfilled(delivered ? Dimensions().length() : 0);
    RiskRow deliveryNow = RiskRow::Unfilled(delivered ? Dimensions().pointsCount : 0);
    CellsHaveChanged();

    ChangeOptionInCells(cells, change);
    MakeView(cells, lossesOnly, now);
    ReplaceViewInFutures(view, now, futures.riskFutures.GetRisk(), delivered ? nullptr : &expiration,
                         futures.isCollateral);
    if (delivered) {
        ChangeOptionInDeliveryRows(cells, change, worst);
        MakeDeliveryView(cells, worst, lossesOnly, deliveryNow);
        ReplaceDeliveryViewInFutures(deliveryView, deliveryNow, expiration);
    }
    viewKind = kind;
}

} // namespace kv7im
