// RiskNodeOptionSeries: the node of one option series.
#include "FuturesKernels.h"
#include "OptionKernels.h"
#include "RiskNode.h"
#include "SpecOption.h"

namespace kv7im {

namespace {

// The dimensions that a series has for its futures.
Parameters OnRealPoints(Parameters parameters) noexcept
{
    parameters.subPointsCount = 0;
    return parameters;
}

void CopyOnRealPoints(const Risk& source, Risk& target)
{
    if (source.GetRisk().GetParameters().hasSubPoints())
        source.GetRollupedRisk(target);
    else
        target = source;
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

// The outcomes of deliveries are mixed into the cells only: both sides have the same points.
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

RiskNodeOptionSeries RiskNodeOptionSeries::GetTransformedRisk() const
{
    RiskNodeOptionSeries transformed(OnRealPoints(Dimensions()), brokerBaseContractGORatio, level);
    transformed.CopyFigures(*this);
    transformed.ZeroMarginValue();
    CopyOnRealPoints(optionSeriesRisk, transformed.optionSeriesRisk);
    transformed.optionSeriesRisk.TransformMatrixByHalfNetting();
    if (Dimensions().hasExpiration()) {
        transformed.optionSeriesExpirationRisk = Risk(OnRealPoints(Expiration().GetRisk().GetParameters()));
        CopyOnRealPoints(Expiration(), transformed.optionSeriesExpirationRisk);
        transformed.optionSeriesExpirationRisk.TransformMatrixByHalfNetting();
        transformed.needToRecalcExpirationRisk = false;
    }
    return transformed;
}

void RiskNodeOptionSeries::ReplacePoints(const OptionTransform& before, const OptionTransform& after,
                                         double chargeRatio) noexcept
{
    optionSeriesRisk.GetSpecialRiskPoints() -= PointsOfPosition(before, chargeRatio);
    optionSeriesRisk.GetSpecialRiskPoints() += PointsOfPosition(after, chargeRatio);
}

void RiskNodeOptionSeries::ReplacePosition(const OptionTransform& before, const OptionTransform& after,
                                           double chargeRatio)
{
    // All storage first: nothing fails halfway.
    Profile& cells = optionSeriesRisk.GetRisk();
    const bool folded = Dimensions().hasSubPoints();
    const bool delivered = Dimensions().hasExpiration();
    const bool ofOneWidth = after.grid->ColsCount() == Dimensions().length();
    RiskRow scratch = RiskRow::Unfilled(folded ? LengthOfFoldScratch(cells) : 0);
    RiskRow worst = RiskRow::Unfilled(delivered ? Dimensions().length() : 0);
    CellsHaveChanged();

    ReplacePoints(before, after, chargeRatio);
    if (!ofOneWidth)
        ReplaceOptionInCells(cells, before, after);
    else if (folded)
        ReplaceOptionInCells(cells, before, after, scratch, rows.volatility);
    else
        ReplaceOptionInCells(cells, before, after, rows.volatility);
    if (delivered) {
        ReplaceOptionInDeliveryRows(cells, before, after, worst);
        MakeDeliveryView(cells, worst, false, rows.delivery);
        SmallerOfBoth(rows.volatility, rows.delivery);
    } else {
        rows.delivery = rows.volatility;
    }
    rows.fresh = ofOneWidth; // of a node that its instruments have outgrown the rows are collapsed when asked for
}

void RiskNodeOptionSeries::ReplacePositionInSpread(const OptionTransform& before, const OptionTransform& after,
                                                   double chargeRatio, RiskNodeFutures& futures, bool lossesOnly)
{
    const auto pointsOfView = [&] {
        SpecialRiskPoints points = optionSeriesRisk.GetSpecialRiskPoints();
        if (lossesOnly) points.BoundValuesFromAbove(0.0);
        return points;
    };
    const SpecialRiskPoints pointsOut = pointsOfView();
    futures.RiskHasChanged();
    if (lossesOnly || Dimensions().hasSubPoints())
        ReplaceView(before, after, futures, lossesOnly);
    else
        ReplaceSignedCells(before, after, futures);
    ReplacePoints(before, after, chargeRatio);
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

// Makes the view of the present cells known; a series whose cells are its view has nothing to work out for them.
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

// The futures holds the cells as they are: both nodes change in one pass.
void RiskNodeOptionSeries::ReplaceSignedCells(const OptionTransform& before, const OptionTransform& after,
                                              RiskNodeFutures& futures)
{
    Profile& cells = optionSeriesRisk.GetRisk();
    Profile& volatility = futures.riskFutures.GetRisk();
    Profile& expiration = futures.riskFuturesExpiration.GetRisk();
    if (!Dimensions().hasExpiration()) {
        CellsHaveChanged();
        ReplaceOptionInSpread(cells, before, after, volatility, &expiration, futures.isCollateral);
        return;
    }
    WorkOutView(ViewKind::Signed);
    RiskRow worst = RiskRow::Unfilled(Dimensions().length());
    CellsHaveChanged();
    ReplaceOptionInSpread(cells, before, after, volatility, nullptr, futures.isCollateral);
    ReplaceOptionInDeliveryRows(cells, before, after, worst);
    ReplaceDeliveryViewInFutures(deliveryView, worst, expiration);
    viewKind = ViewKind::Signed;
}

// The futures holds the cells folded, or their losses: the new view is worked out and takes the place of the old one.
void RiskNodeOptionSeries::ReplaceView(const OptionTransform& before, const OptionTransform& after,
                                       RiskNodeFutures& futures, bool lossesOnly)
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

    ReplaceOptionInCells(cells, before, after);
    MakeView(cells, lossesOnly, now);
    ReplaceViewInFutures(view, now, futures.riskFutures.GetRisk(), delivered ? nullptr : &expiration,
                         futures.isCollateral);
    if (delivered) {
        ReplaceOptionInDeliveryRows(cells, before, after, worst);
        MakeDeliveryView(cells, worst, lossesOnly, deliveryNow);
        ReplaceDeliveryViewInFutures(deliveryView, deliveryNow, expiration);
    }
    viewKind = kind;
}

} // namespace kv7im
