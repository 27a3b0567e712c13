#include "instruments/SpecFutures.h"

#include <cmath>
#include <utility>

#include "grids/Constants.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/StressRates.h"
#include "z9log.h"

namespace kv7im {

namespace {

Parameters GridOf(const CSpecBaseContract& baseContract)
{
    return {static_cast<std::size_t>(baseContract.PointsNum), static_cast<std::size_t>(baseContract.VolatNum)};
}

/// Turns price differences into the money of a position: side, size and the share of the far points.
void ScaleToMoney(Risk& risk, const PositionTransform& transform) noexcept
{
    if (transform.negate) risk *= -1.0;
    risk *= transform.scale;
    risk.GetSpecialRiskPoints().CoverFarPoints(transform.coverZL, transform.coverZR);
}

} // namespace

CSpecFutures::CSpecFutures(CSpecBaseContract* baseContract, const FuturesParameters& p, double edgeCoeff_)
    : StoredProfiles(GridOf(*baseContract)),
      BaseContract(baseContract),
      Code(p.Code),
      CodeBC(p.CodeBC),
      isin(p.Isin),
      TASBaseFutIsinID(p.TASBaseFutIsinID),
      CalcFutPrice(p.CalcFutPrice),
      // Any value but 0 puts the futures in spread here; a later change is stricter.
      IsInSpread(static_cast<std::int8_t>(p.SpreadAspect) != 0),
      MinStepPrice(p.MinStepPrice),
      RealCalcPrice(p.RealCalcPrice),
      MinStep(p.MinStep),
      XLot(p.XLot),
      InterestRateRiskUp(p.InterestRateRiskUp),
      InterestRateRiskDown(p.InterestRateRiskDown),
      TimeToExpiration(p.TimeToExpiration),
      edgeCoeff(edgeCoeff_),
      NormalizedSpot(p.NormalizedSpot),
      MRAddOnUp(p.MRAddOnUp),
      MRAddOnDown(p.MRAddOnDown),
      MoneyCoef(p.MinStepPrice / p.MinStep),
      Attribute(p.Attribute),
      EnforceIMSHalfNetting(p.EnforceIMSHalfNetting),
      IsTAS(Enums::HasStatus(p.Attribute, Enums::InstrumentStatus::TAS))
{
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        Limit[level] = std::abs(NormalizedSpot) * BaseContract->MarketRisk[level] * 0.5;
}

CSpecFutures::CSpecFutures(const CSpecFutures& other, CSpecBaseContract* baseContract) : CSpecFutures(other)
{
    BaseContract = baseContract;
}

void CSpecFutures::RecalcInvariants() { RecalcInvariants(StressRates(*BaseContract)); }

void CSpecFutures::RecalcInvariants(const StressRates& rates)
{
    // The family is recomputed with each nearer futures that comes, and of a grid nothing follows the shift.
    if (GetGridSource() != m_gridSource) RecalcGrid();
    MoneyCoef = MinStepPrice / MinStep;
    RecalcSpecialRiskPoints(rates);
    // The cover factors read the ZL and ZR points.
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        coverZL[level] = CalculateCoverZL(level);
        coverZR[level] = CalculateCoverZR(level);
    }
}

CSpecFutures::GridSource CSpecFutures::GetGridSource() const noexcept
{
    GridSource source{CalcFutPrice,     NormalizedSpot, InterestRateRiskUp, InterestRateRiskDown,
                      TimeToExpiration, MRAddOnUp,      MRAddOnDown,        BaseContract->IsPercentage() ? 1.0 : 0.0};
    std::size_t next = source.size() - Enums::PossibleClientRiskLevelValues.size();
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        source[next++] = BaseContract->MarketRisk[level];
    return source;
}

void CSpecFutures::RecalcGrid()
{
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        Limit[level] = GetDoubleLimit(level) * 0.5;
        RecalcVolatility(level);
        RecalcInterestRate(level);
    }
    m_gridSource = GetGridSource();
    ++m_gridNumber;
}

void CSpecFutures::RecalcVolatility(Enums::ClientRiskLevel level)
{
    RiskMatrix& volatility = profile[level].Volatility();
    RiskRowWrapper lowest = volatility[0];
    for (std::size_t column = 0; column < lowest.size(); ++column)
        lowest[column] = CalculatePointX(column, level);
    // The price of a futures does not depend on volatility: every scenario is the first one.
    const std::size_t rows = volatility.RowsCount();
    for (std::size_t block = 0; block < volatility.GetColsRegister(); ++block) {
        RiskItem* scenarios = volatility.pData() + block * rows;
        for (std::size_t row = 1; row < rows; ++row)
            scenarios[row] = scenarios[0];
    }
}

void CSpecFutures::RecalcInterestRate(Enums::ClientRiskLevel level)
{
    const FuncCheckRange isAbove = [](double price, double centre) { return price > centre; };
    const FuncCheckRange isBelow = [](double price, double centre) { return centre > price; };
    const double rateDown = BaseContract->IsPercentage() ? -InterestRateRiskDown : InterestRateRiskDown;
    RiskRowWrapper up = profile[level].InterestRateUp();
    RiskRowWrapper down = profile[level].InterestRateDown();
    for (std::size_t column = 0; column < up.size(); ++column) {
        up[column] = CalculateInterestRate(InterestRateRiskUp, TimeToExpiration, column, isAbove, MRAddOnUp, level);
        down[column] = CalculateInterestRate(rateDown, -TimeToExpiration, column, isBelow, -MRAddOnDown, level);
    }
}

/// A price is the settlement price less or more its rate times the spot; a charge is that product alone.
void CSpecFutures::RecalcSpecialRiskPoints(const StressRates& rates)
{
    static_assert(stress::Points.size() == 8, "each stress point has its spot and its centre");
    const double spot = NormalizedSpot;
    const double price = RealCalcPrice;
    const double charge = BaseContract->ShortOptionMinimumCharge * spot;
    const double spots[]{-charge, -spot, -spot, -spot, spot, spot, spot, charge};
    const double centres[]{-0.0, price, price, price, price, price, price, -0.0}; // which leaves a charge its sign of 0
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        SpecialRiskPoints& points = profile[level].GetSpecialRiskPoints();
        for (std::size_t i = 0; i < SpecialRiskPoints::size(); ++i)
            points.pData()[i] = spots[i] * rates.levels[level].pData()[i] + centres[i];
        if (!BaseContract->IsPercentage()) continue;
        points.SetZL(CalculateZL(level));
        points.SetZR(CalculateZR(level));
    }
}

void CSpecFutures::ChangeParams(const SFuturesChanges& changes)
{
    CalcFutPrice = changes.CalcFutPrice.AsDouble();
    RealCalcPrice = changes.RealCalcPrice.AsDouble();
    MinStepPrice = changes.MinStepPrice;
    InterestRateRiskUp = changes.InterestRateRiskUp;
    InterestRateRiskDown = changes.InterestRateRiskDown;
    TimeToExpiration = changes.TimeToExpiration;
    NormalizedSpot = changes.NormalizedSpot;
    MRAddOnUp = changes.MRAddOnUp;
    MRAddOnDown = changes.MRAddOnDown;
    EnforceIMSHalfNetting = changes.EnforceIMSHalfNetting;
    // Stricter than at insertion, where any value but 0 puts the futures in spread.
    IsInSpread = changes.SpreadAspect == Enums::SpreadAspect::InSpread;
}

PositionTransform CSpecFutures::DescribePosition_PositionsOnly(std::int64_t quantity, double price,
                                                               double specialPointsPrice, Enums::ClientRiskLevel level,
                                                               double shift) const noexcept
{
    return {.profile = &profile[level],
            .price = price,
            .pointsPrice = specialPointsPrice,
            .negate = quantity < 0,
            .scale = std::abs(static_cast<double>(quantity)) * MoneyCoef,
            .coverZL = coverZL[level],
            .coverZR = coverZR[level],
            .shift = shift};
}

Risk CSpecFutures::TransformToPosition(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const
{
    const PositionTransform transform = DescribePosition(quantity, price, level);
    Risk risk(*this, level);
    risk.GetRisk().Volatility() -= transform.price;
    risk.GetSpecialRiskPoints() -= transform.price;
    ScaleToMoney(risk, transform);
    return risk;
}

Risk CSpecFutures::TransformToPosition_PositionsOnly(std::int64_t quantity, double price, double specialPointsPrice,
                                                     Enums::ClientRiskLevel level, double shift) const
{
    const PositionTransform transform = DescribePosition(quantity, price, level);
    Risk risk(*this, level);
    risk.GetRisk().Volatility() -= transform.price;
    risk.GetSpecialRiskPoints() -= specialPointsPrice;
    ScaleToMoney(risk, transform);
    risk.GetSpecialRiskPoints().ShiftAll(shift);
    return risk;
}

std::int32_t CSpecFutures::GetPointsNum() const noexcept { return BaseContract->PointsNum; }

double CSpecFutures::GetDoubleLimit(Enums::ClientRiskLevel level) const noexcept
{
    return BaseContract->MarketRisk[level] * NormalizedSpot;
}

double CSpecFutures::GetSpotToMarketRisk1(Enums::ClientRiskLevel level) const noexcept
{
    return BaseContract->MarketRisk1[level] * NormalizedSpot;
}

double CSpecFutures::GetSpotToMarketRisk2(Enums::ClientRiskLevel level) const noexcept
{
    return BaseContract->MarketRisk2[level] * NormalizedSpot;
}

double CSpecFutures::CalculatePointX(std::size_t column, Enums::ClientRiskLevel level) const noexcept
{
    const auto halfWidth = static_cast<double>(BaseContract->RiskPointsN);
    const double steps = static_cast<double>(column) - halfWidth;
    return CalcFutPrice + NormalizedSpot * BaseContract->MarketRisk[level] * steps / halfWidth;
}

double CSpecFutures::CalculateInterestRate(double rate, double timeCoefficient, std::size_t column,
                                           FuncCheckRange check, double addOn,
                                           Enums::ClientRiskLevel level) const noexcept
{
    const double price = std::as_const(profile[level]).GetCentralRowOfVolatilityMatrix()[column];
    if (!check(price, CalcFutPrice)) return 0.0;

    const auto halfWidth = static_cast<double>(BaseContract->RiskPointsN);
    const double distance = std::abs(static_cast<double>(column) - halfWidth) / halfWidth;
    // Quoted in per cent, the price moves with the rate itself.
    if (BaseContract->IsPercentage()) return distance * rate;

    const double growth = distance * rate * timeCoefficient;
    return NormalizedSpot * addOn * distance + price * std::expm1(price < 0.0 ? -growth : growth);
}

double CSpecFutures::CalculateZL(Enums::ClientRiskLevel level) const noexcept
{
    if (BaseContract->IsPercentage()) return -Constants::PercentageZPointFixedValue;
    const double m = BaseContract->MarketRiskDown[level];
    return RealCalcPrice - LossOfThreeSteps(m) * NormalizedSpot;
}

double CSpecFutures::CalculateZR(Enums::ClientRiskLevel level) const noexcept
{
    if (BaseContract->IsPercentage()) return Constants::PercentageZPointFixedValue;
    const double m = BaseContract->MarketRiskUp[level];
    return RealCalcPrice + GainOfThreeSteps(m) * NormalizedSpot;
}

double CSpecFutures::CalculateCoverZL(Enums::ClientRiskLevel level) const
{
    if (BaseContract->IsPercentage()) return 0.0;
    const double marketRisk = BaseContract->MarketRiskDown[level];
    const double distance = RealCalcPrice - GetZL(level);
    if (MinStep > distance) {
        KV7TRACE_WARNING_EX("QuindalIM",
                            "Futures code '%s', isin %d. Difference between RealCalcPrice and ZL is less MinStep. ZL "
                            "set edgeCoeff*MR",
                            Code.c_str(), isin);
        return marketRisk * edgeCoeff; // a bare rate here, without the spot: the rule of the model
    }
    return Min(NormalizedSpot * marketRisk / distance, 1.0) * edgeCoeff;
}

double CSpecFutures::CalculateCoverZR(Enums::ClientRiskLevel level) const
{
    if (BaseContract->IsPercentage()) return 0.0;
    const double marketRisk = BaseContract->MarketRiskUp[level];
    const double distance = GetZR(level) - RealCalcPrice;
    if (MinStep > distance) {
        KV7TRACE_WARNING_EX("QuindalIM",
                            "Futures code '%s', isin %d. Difference between ZR and RealCalcPrice is less MinStep. ZR "
                            "set edgeCoeff*MR",
                            Code.c_str(), isin);
        return marketRisk * edgeCoeff; // a bare rate here, without the spot: the rule of the model
    }
    return Min(NormalizedSpot * marketRisk / distance, 1.0) * edgeCoeff;
}

} // namespace kv7im
