#include "nodes/RiskNode.h"

#include <cmath>
#include <utility>

#include "grids/RowCells.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "kernels/Curvature.h"
#include "kernels/FuturesKernels.h"
#include "kernels/OrderKernels.h"

namespace kv7im {

namespace {

void AdditionalRiskToFutures(Risk& target, const Risk& source, bool isCollateral)
{
    if (source.GetRisk().GetParameters().hasSubPoints())
        return AdditionalRiskToFutures(target, source.OnRealPoints(), isCollateral);
    Profile& into = target.GetRisk();
    const Profile& from = source.GetRisk();
    into.Volatility() += from.Volatility();
    if (isCollateral)
        into.InterestRate().NegativeSum(from.InterestRate());
    else
        into.InterestRate() += from.InterestRate();
    into.VolatilityMismatch().NegativeSum(from.VolatilityMismatch());
    if (from.GetParameters().hasExpiration()) into.Expiration() += from.Expiration();
    into.GetSpecialRiskPoints() += from.GetSpecialRiskPoints();
}

void SubtractionRiskToFutures(Risk& target, const Risk& source, bool isCollateral)
{
    if (source.GetRisk().GetParameters().hasSubPoints())
        return SubtractionRiskToFutures(target, source.OnRealPoints(), isCollateral);
    Profile& outOf = target.GetRisk();
    const Profile& from = source.GetRisk();
    outOf.Volatility() -= from.Volatility();
    if (isCollateral)
        outOf.InterestRate().SubtractionNegative(from.InterestRate());
    else
        outOf.InterestRate() -= from.InterestRate();
    outOf.VolatilityMismatch().SubtractionNegative(from.VolatilityMismatch());
    if (from.GetParameters().hasExpiration()) outOf.Expiration() -= from.Expiration();
    outOf.GetSpecialRiskPoints() -= from.GetSpecialRiskPoints();
}

void AdditionalRiskToMMS(Risk& target, const Risk& source)
{
    Profile& into = target.GetRisk();
    const Profile& from = source.GetRisk();
    into.Volatility() += from.Volatility();
    into.InterestRate().NegativeSum(from.InterestRate());
    into.VolatilityMismatch().NegativeSum(from.VolatilityMismatch());
    into.GetSpecialRiskPoints() += from.GetSpecialRiskPoints();
}

void SubtractionRiskToMMS(Risk& target, const Risk& source)
{
    Profile& outOf = target.GetRisk();
    const Profile& from = source.GetRisk();
    outOf.Volatility() -= from.Volatility();
    outOf.InterestRate().SubtractionNegative(from.InterestRate());
    outOf.VolatilityMismatch().SubtractionNegative(from.VolatilityMismatch());
    outOf.GetSpecialRiskPoints() -= from.GetSpecialRiskPoints();
}

// Folds the stress points of a group under a window: the pairs below and above the market count at the row's ends, the
// tails take their charges and stay up to the ceiling, and no other point stays.
void FoldStressPointsIntoRow(RiskRow& row, SpecialRiskPoints& points, double ceiling)
{
    static_assert(stress::Points.size() == 8, "each stress point is folded into an end of the row or into its tail");
    if (row.size() != 0) {
        double* const cells = CellsOf(row);
        cells[0] = Min(Min(points.GetPnL2D(), points.GetPnL3D()), cells[0]);
        double& last = cells[row.size() - 1];
        last = Min(Min(points.GetPnL2U(), points.GetPnL3U()), last);
    }
    const double leftTail = Min(Min(points.GetZL(), points.GetDownRisk()), ceiling);
    const double rightTail = Min(Min(points.GetZR(), points.GetUpRisk()), ceiling);
    points = SpecialRiskPoints{};
    points.SetZL(leftTail);
    points.SetZR(rightTail);
}

} // namespace

double RiskNodeBase::UpdateInitialMarginValue(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginValue(ComposeInitialMarginByRisk(Volatility(), Collapsed().volatility, baseContract));
}

double RiskNodeBase::UpdateInitialMarginDeliveryValue(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginDeliveryValue(ComposeInitialMargin(PointsOfExpiration(), Collapsed().delivery,
                                                                baseContract, CurvatureOf(*this, baseContract)));
}

double RiskNodeBase::UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginValue(
        ComposeInitialMarginByRisk_PositionsOnly(Volatility(), CollapsedLosses().volatility, baseContract));
}

double RiskNodeBase::UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract)
{
    return StoreInitialMarginDeliveryValue(ComposeInitialMargin(PointsOfExpiration(), CollapsedLosses().delivery,
                                                                baseContract,
                                                                CurvatureOf_PositionsOnly(*this, baseContract)));
}

const RiskNodeBase::CollapsedRows& RiskNodeBase::Collapsed() const
{
    if (rows.content != CollapsedRows::Content::Results) {
        rows.content = CollapsedRows::Content::OutOfDate; // it stays so when memory ends between the two rows
        Volatility().CollapseToRiskRow(Risk::CollapseProperty::NegativeAndPositive, rows.volatility);
        Expiration().CollapseToRiskRow(Risk::CollapseProperty::NegativeAndPositive, rows.delivery);
        SmallerOfBoth(rows.volatility, rows.delivery);
        rows.content = CollapsedRows::Content::Results;
    }
    return rows;
}

// Risk::CollapseProperty::CumulativePerformance keeps the results, nothing above 0, and the smaller of two such rows is
// the smaller of both results, nothing above 0. So the kept rows are bounded and no cell is read again.
const RiskNodeBase::CollapsedRows& RiskNodeBase::CollapsedLosses() const
{
    if (rows.content != CollapsedRows::Content::Losses) {
        static_cast<void>(Collapsed());
        rows.content = CollapsedRows::Content::OutOfDate; // the rows are neither kind while they are being bounded
        rows.volatility.BoundValuesFromAbove(0.0);
        rows.delivery.BoundValuesFromAbove(0.0);
        rows.content = CollapsedRows::Content::Losses;
    }
    return rows;
}

const Risk& RiskNodeBase::Volatility() const
{
    static const Risk empty{Parameters{0, 0}};
    return empty;
}

const Risk& RiskNodeBase::Expiration() const { return RiskNodeBase::Volatility(); }

const SpecialRiskPoints& RiskNodeBase::PointsOfExpiration() const { return Expiration().GetSpecialRiskPoints(); }

void RiskNodeBase::CopyFigures(const RiskNodeBase& other) noexcept
{
    initialMarginValue = other.initialMarginValue;
    initialMarginDeliveryValue = other.initialMarginDeliveryValue;
    NOVj = other.NOVj;
    m_totalCumulativePerformance = other.m_totalCumulativePerformance;
    brokerBaseContractGORatio = other.brokerBaseContractGORatio;
    level = other.level;
    RiskHasChanged();
}

void RiskNodeBase::ZeroMarginValue() noexcept
{
    initialMarginValue = 0.0;
    initialMarginDeliveryValue = 0.0;
}

double RiskNodeBase::StoreInitialMarginValue(double value) noexcept
{
    const double change = value - initialMarginValue;
    initialMarginValue = value;
    return change;
}

double RiskNodeBase::StoreInitialMarginDeliveryValue(double value) noexcept
{
    const double change = value - initialMarginDeliveryValue;
    initialMarginDeliveryValue = value;
    return change;
}

double RiskNodeBase::ComposeInitialMarginByRisk(const Risk& risk, const RiskRow& row,
                                                const CSpecBaseContract& baseContract) const
{
    return ComposeInitialMargin(risk.GetSpecialRiskPoints(), row, baseContract, CurvatureOf(*this, baseContract));
}

double RiskNodeBase::ComposeInitialMarginByRisk_PositionsOnly(const Risk& risk, const RiskRow& row,
                                                              const CSpecBaseContract& baseContract) const
{
    return ComposeInitialMargin(risk.GetSpecialRiskPoints(), row, baseContract,
                                CurvatureOf_PositionsOnly(*this, baseContract));
}

template <class AnyCurvature>
double RiskNodeBase::ComposeInitialMargin(const SpecialRiskPoints& uncorrected, const RiskRow& row,
                                          const CSpecBaseContract& baseContract, const AnyCurvature& curvature) const
{
    SpecialRiskPoints points = uncorrected.GetCorrectedSpecialRiskPoints(row, baseContract, level);
    curvature.Bend(points);
    const double worstPoint = points.min();
    return std::abs(Min(Min(0.0, WorstCurvedCell(row, curvature)), worstPoint)) * brokerBaseContractGORatio;
}

RiskNodeFutures::RiskNodeFutures(const Parameters& parameters, double ratio, Enums::ClientRiskLevel riskLevel,
                                 bool collateral)
    : RiskNodeBase(ratio, riskLevel, parameters.pointsCount),
      riskFutures(parameters),
      riskFuturesExpiration(parameters),
      isCollateral(collateral)
{}

RiskNodeFutures& RiskNodeFutures::operator+=(const Risk& risk)
{
    RiskHasChanged();
    AdditionalRiskToFutures(riskFutures, risk, isCollateral);
    AdditionalRiskToFutures(riskFuturesExpiration, risk, isCollateral);
    return *this;
}

RiskNodeFutures& RiskNodeFutures::operator-=(const Risk& risk)
{
    RiskHasChanged();
    SubtractionRiskToFutures(riskFutures, risk, isCollateral);
    SubtractionRiskToFutures(riskFuturesExpiration, risk, isCollateral);
    return *this;
}

RiskNodeFutures& RiskNodeFutures::operator+=(const RiskNodeOptionSeries& series)
{
    RiskHasChanged();
    AdditionalRiskToFutures(riskFutures, series.Volatility(), isCollateral);
    AdditionalRiskToFutures(riskFuturesExpiration, series.Expiration(), isCollateral);
    NOVj += series.GetNOVj();
    m_totalCumulativePerformance += series.GetTotalCumulativePerformance();
    return *this;
}

RiskNodeFutures& RiskNodeFutures::operator-=(const RiskNodeOptionSeries& series)
{
    RiskHasChanged();
    SubtractionRiskToFutures(riskFutures, series.Volatility(), isCollateral);
    SubtractionRiskToFutures(riskFuturesExpiration, series.Expiration(), isCollateral);
    NOVj -= series.GetNOVj();
    m_totalCumulativePerformance -= series.GetTotalCumulativePerformance();
    return *this;
}

RiskNodeFutures& RiskNodeFutures::operator+=(const RiskNodeFutures& other)
{
    RiskHasChanged();
    AdditionalRiskToFutures(riskFutures, other.Volatility(), isCollateral);
    AdditionalRiskToFutures(riskFuturesExpiration, other.Expiration(), isCollateral);
    NOVj += other.NOVj;
    m_totalCumulativePerformance += other.m_totalCumulativePerformance;
    return *this;
}

RiskNodeFutures& RiskNodeFutures::operator-=(const RiskNodeFutures& other)
{
    RiskHasChanged();
    SubtractionRiskToFutures(riskFutures, other.Volatility(), isCollateral);
    SubtractionRiskToFutures(riskFuturesExpiration, other.Expiration(), isCollateral);
    NOVj -= other.NOVj;
    m_totalCumulativePerformance -= other.m_totalCumulativePerformance;
    return *this;
}

void RiskNodeFutures::ReplacePosition(const PositionTransform& before, const PositionTransform& after,
                                      double chargeRatio)
{
    RiskHasChanged();
    ReplacePositionInCells(riskFutures.GetRisk(), riskFuturesExpiration.GetRisk(), before, after, isCollateral);
    const SpecialRiskPoints pointsBefore = PointsOfPosition(before, chargeRatio);
    const SpecialRiskPoints pointsAfter = PointsOfPosition(after, chargeRatio);
    for (Risk* const risk : {&riskFutures, &riskFuturesExpiration}) {
        risk->GetSpecialRiskPoints() -= pointsBefore;
        risk->GetSpecialRiskPoints() += pointsAfter;
    }
}

void RiskNodeFutures::AddOrders(const CSpecFutures& instrument, const OrdersMap& orders, kv7type::Discount discount,
                                double chargeRatio) noexcept
{
    RiskHasChanged();
    const FuturesOrders entries{instrument, orders, discount, level};
    AddOrdersInCells(riskFutures.GetRisk(), riskFuturesExpiration.GetRisk(), entries, isCollateral);
    const SpecialRiskPoints points = PointsOfOrders(entries, chargeRatio);
    for (Risk* const risk : {&riskFutures, &riskFuturesExpiration})
        risk->GetSpecialRiskPoints() += points;
}

RiskNodeFutures RiskNodeFutures::GetTransformedRisk() const
{
    RiskNodeFutures transformed = *this;
    transformed.KeepWhatIsBelow(0.0);
    return transformed;
}

RiskNodeFutures RiskNodeFutures::GetTransformedRisk_PositionsOnly() const
{
    RiskNodeFutures transformed = *this;
    transformed.KeepWhatIsBelow(m_totalCumulativePerformance);
    return transformed;
}

void RiskNodeFutures::KeepWhatIsBelow(double ceiling) noexcept
{
    RiskHasChanged();
    riskFutures.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
    riskFuturesExpiration.TransformMatrixByHalfNetting_PositionsOnly(ceiling);
}

RiskNodeMMSToMCSProxy::RiskNodeMMSToMCSProxy(RiskNodeMMS& node, std::size_t pointsNum)
    : LastAdditionToMCS{nullptr, RiskRow(pointsNum), RiskRow(pointsNum), {}, {}, {}}, riskNodeMMS(node)
{}

const Risk& RiskNodeMMSToMCSProxy::Volatility() const { return riskNodeMMS.Volatility(); }
const Risk& RiskNodeMMSToMCSProxy::Expiration() const { return riskNodeMMS.Expiration(); }
double RiskNodeMMSToMCSProxy::GetNOVj() const noexcept { return riskNodeMMS.GetNOVj(); }
double RiskNodeMMSToMCSProxy::GetTotalCumulativePerformance() const noexcept
{
    return riskNodeMMS.GetTotalCumulativePerformance();
}

RiskNodeMMS::RiskNodeMMS(const CSpecBaseContract& baseContract, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, static_cast<std::size_t>(baseContract.PointsNum)),
      volatilityRisk(Parameters{static_cast<std::size_t>(baseContract.PointsNum),
                                static_cast<std::size_t>(baseContract.VolatNum)}),
      expirationRisk(volatilityRisk),
      riskNodeMMSToMCSProxy(*this, static_cast<std::size_t>(baseContract.PointsNum))
{}

RiskNodeMMS& RiskNodeMMS::operator+=(const RiskNodeFutures& futures)
{
    RiskHasChanged();
    AdditionalRiskToMMS(volatilityRisk, futures.Volatility());
    AdditionalRiskToMMS(expirationRisk, futures.Expiration());
    NOVj += futures.GetNOVj();
    m_totalCumulativePerformance += futures.GetTotalCumulativePerformance();
    return *this;
}

RiskNodeMMS& RiskNodeMMS::operator-=(const RiskNodeFutures& futures)
{
    RiskHasChanged();
    SubtractionRiskToMMS(volatilityRisk, futures.Volatility());
    SubtractionRiskToMMS(expirationRisk, futures.Expiration());
    NOVj -= futures.GetNOVj();
    m_totalCumulativePerformance -= futures.GetTotalCumulativePerformance();
    return *this;
}

void RiskNodeMMS::ReplaceContribution(RiskNodeFutures& previous, const RiskNodeFutures& node, bool lossesOnly)
{
    NOVj -= previous.NOVj;
    m_totalCumulativePerformance -= previous.m_totalCumulativePerformance;
    static_cast<RiskNodeBase&>(previous).CopyFigures(node);
    previous.parent = node.parent;

    const auto replace = [&](Risk& group, Risk& given, const Risk& risk, RiskRow& row) {
        ReplaceContributionInCells(group.GetRisk(), given.GetRisk(), risk.GetRisk(), lossesOnly, row);
        group.GetSpecialRiskPoints() -= given.GetSpecialRiskPoints();
        given.GetSpecialRiskPoints() = risk.GetSpecialRiskPoints();
        if (lossesOnly) given.GetSpecialRiskPoints().BoundValuesFromAbove(0.0);
        group.GetSpecialRiskPoints() += given.GetSpecialRiskPoints();
    };
    replace(volatilityRisk, previous.riskFutures, node.riskFutures, rows.volatility);
    replace(expirationRisk, previous.riskFuturesExpiration, node.riskFuturesExpiration, rows.delivery);
    SmallerOfBoth(rows.volatility, rows.delivery);
    rows.content = CollapsedRows::Content::Results;

    NOVj += previous.NOVj;
    m_totalCumulativePerformance += previous.m_totalCumulativePerformance;
}

void RiskNodeMMS::ReplaceContribution_PositionsOnly(RiskNodeFutures& previous, const RiskNodeFutures& node,
                                                    bool lossesOnly)
{
    *this -= previous;
    previous = node;
    if (lossesOnly) previous.KeepWhatIsBelow(node.m_totalCumulativePerformance);
    *this += previous;
}

RiskNodeMMSToMCSProxy& RiskNodeMMS::operator|(const PropertiesForICS& properties)
{
    riskNodeMMSToMCSProxy.futures = properties.futures;
    if (properties.interContractSpreadMarginType == Enums::SpreadMarginType::Netting)
        riskNodeMMSToMCSProxy.nettingPropertiesICS =
            static_cast<unsigned int>(properties.futures->BaseContract->WindowSize);
    else
        riskNodeMMSToMCSProxy.nettingPropertiesICS.reset();
    return riskNodeMMSToMCSProxy;
}

RiskNodeMMS::Kept::Kept(const RiskNodeMMS& node)
    : RiskNodeBase(static_cast<const RiskNodeBase&>(node)),
      volatilityRisk(node.volatilityRisk),
      expirationRisk(node.expirationRisk),
      lastAddition(static_cast<const LastAdditionToMCS&>(node.riskNodeMMSToMCSProxy))
{}

RiskNodeMMS::Kept RiskNodeMMS::Keep() const { return Kept(*this); }

void RiskNodeMMS::GiveBack(Kept&& kept) noexcept
{
    volatilityRisk = std::move(kept.volatilityRisk);
    expirationRisk = std::move(kept.expirationRisk);
    static_cast<LastAdditionToMCS&>(riskNodeMMSToMCSProxy) = std::move(kept.lastAddition);
    RiskNodeBase::operator=(static_cast<RiskNodeBase&&>(kept)); // moves the base's part alone
}

RiskNodeMCS::RiskNodeMCS(std::size_t pointsNum, double ratio, Enums::ClientRiskLevel riskLevel)
    : RiskNodeBase(ratio, riskLevel, 0),
      volatilityRiskRow(pointsNum),
      expirationRiskRow(pointsNum),
      windowMinimum(pointsNum)
{}

double RiskNodeMCS::UpdateInitialMarginValue(const CSpecBaseContract&)
{
    return StoreInitialMarginValue(std::abs(Min(volatilityRiskRow.min(), volatilitySpecialRiskPoints.min())) *
                                   brokerBaseContractGORatio);
}

double RiskNodeMCS::UpdateInitialMarginDeliveryValue(const CSpecBaseContract&)
{
    return StoreInitialMarginDeliveryValue(std::abs(Min(expirationRiskRow.min(), volatilitySpecialRiskPoints.min())) *
                                           brokerBaseContractGORatio);
}

double RiskNodeMCS::UpdateInitialMarginValue_PositionsOnly(const CSpecBaseContract&)
{
    return StoreInitialMarginValue(std::abs(Min(Min(0.0, volatilityRiskRow.min()), volatilitySpecialRiskPoints.min())) *
                                   brokerBaseContractGORatio);
}

double RiskNodeMCS::UpdateInitialMarginDeliveryValue_PositionsOnly(const CSpecBaseContract& baseContract)
{
    return UpdateInitialMarginDeliveryValue(baseContract);
}

RiskNodeMCS& RiskNodeMCS::operator+=(RiskNodeMMSToMCSProxy& proxy)
{
    AddGroup(proxy, proxy.riskNodeMMS.Collapsed(), CurvatureOf(proxy, *proxy.futures->BaseContract), 0.0);
    return *this;
}

RiskNodeMCS& RiskNodeMCS::AdditionAssignment_PositionsOnly(RiskNodeMMSToMCSProxy& proxy)
{
    const auto curvature = CurvatureOf_PositionsOnly(proxy, *proxy.futures->BaseContract);
    AddGroup(proxy, proxy.riskNodeMMS.CollapsedLosses(), curvature, (curvature.radius + 1.0) * curvature.paperLoss);
    return *this;
}

template <class AnyCurvature>
void RiskNodeMCS::AddGroup(RiskNodeMMSToMCSProxy& proxy, const CollapsedRows& collapsed, const AnyCurvature& curvature,
                           double ceiling)
{
    const CSpecBaseContract& baseContract = *proxy.futures->BaseContract;
    const SpecialRiskPoints& uncorrected = proxy.Volatility().GetSpecialRiskPoints();

    // The group's rows and, for each row, its corrected stress points. The points of the delivery row come from the
    // volatility side too.
    RiskRow& volatilityRow = proxy.cachedCollapsedRiskRowVolatilityMMS;
    RiskRow& expirationRow = proxy.cachedCollapsedRiskRowExpirationMMS;
    volatilityRow = collapsed.volatility;
    expirationRow = collapsed.delivery;
    proxy.cachedLastAdditionVolatility = uncorrected.GetCorrectedSpecialRiskPoints(volatilityRow, baseContract, level);
    proxy.cachedLastAdditionExpiration = uncorrected.GetCorrectedSpecialRiskPoints(expirationRow, baseContract, level);

    const auto addPair = [&](RiskRow& row, SpecialRiskPoints& points, RiskRow& rowOfMCS,
                             SpecialRiskPoints& pointsOfMCS) {
        ApplyCurvatureToRow(row, curvature);
        curvature.Bend(points);
        if (proxy.nettingPropertiesICS.has_value()) {
            windowMinimum.Apply(row, *proxy.nettingPropertiesICS);
            FoldStressPointsIntoRow(row, points, ceiling);
        } else {
            row.BoundValuesFromAbove(ceiling);
            points.BoundValuesFromAbove(ceiling);
        }
        rowOfMCS += row;
        pointsOfMCS += points;
    };
    addPair(volatilityRow, proxy.cachedLastAdditionVolatility, volatilityRiskRow, volatilitySpecialRiskPoints);
    addPair(expirationRow, proxy.cachedLastAdditionExpiration, expirationRiskRow, expirationSpecialRiskPoints);
}

RiskNodeMCS& RiskNodeMCS::operator-=(const RiskNodeMMSToMCSProxy& proxy)
{
    volatilityRiskRow -= proxy.cachedCollapsedRiskRowVolatilityMMS;
    volatilitySpecialRiskPoints -= proxy.cachedLastAdditionVolatility;
    expirationRiskRow -= proxy.cachedCollapsedRiskRowExpirationMMS;
    expirationSpecialRiskPoints -= proxy.cachedLastAdditionExpiration;
    return *this;
}

} // namespace kv7im
