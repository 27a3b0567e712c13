// The parameters of a series: how it is made, copied and changed, and what its kind makes of prices, strikes and rates.
#include "instruments/SpecVirtFutures.h"

#include <cmath>

#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "valuation/OptionColumns.h"

namespace kv7im {

namespace {

bool IsPremiumStyle(const CSpecVirtFutures& series) noexcept
{
    return series.marginStyle == Enums::MarginStyle::Equity;
}

Enums::AssetClass AssetClassOf(const CSpecVirtFutures& series) noexcept
{
    return series.Futures->BaseContract->assetClass;
}

/// True for one of the three kinds, whose options are paid by a premium: the underlying is seen per lot and the strike
/// discounted.
bool HasKind(const CSpecVirtFutures& series) noexcept
{
    return series.IsOptionsSeriesForStock() || series.IsOptionsSeriesForCurrencyOrIndex() ||
           series.IsOptionsSeriesForCommodity();
}

} // namespace

CSpecVirtFutures::CSpecVirtFutures(CSpecFutures* futures, const OptionSeriesParameters& parameters,
                                   double adjustedSubRiskStep)
    : Code(parameters.Code),
      CodeRF(parameters.CodeRF),
      A(parameters.A),
      B(parameters.B),
      C(parameters.C),
      D(parameters.D),
      E(parameters.E),
      S(parameters.S),
      UseNullVolat(parameters.UseNullVolat),
      StrikeStep(parameters.StrikeStep),
      ExpClearingsSA(parameters.ExpClearingsSA),
      ExpClearingsBF(parameters.ExpClearingsBF),
      ExpClearingsCC(parameters.ExpClearingsCC),
      VolatilityRisk(parameters.VolatilityRisk),
      VolatilityRiskMismatch(parameters.VolatilityRiskMismatch),
      TimeToExpiration(parameters.TimeToExpiration),
      SqrtT(std::sqrt(parameters.TimeToExpiration)),
      A_Bach(parameters.A_Bach),
      B_Bach(parameters.B_Bach),
      C_Bach(parameters.C_Bach),
      D_Bach(parameters.D_Bach),
      E_Bach(parameters.E_Bach),
      S_Bach(parameters.S_Bach),
      M_Bach(parameters.M_Bach),
      marginStyle(parameters.marginStyle),
      settlementType(parameters.settlementType),
      exerciseStyle(parameters.exerciseStyle),
      SubRisk(parameters.SubRisk),
      IsInSpread(parameters.SpreadAspect == Enums::SpreadAspect::InSpread),
      EnforceHalfNetting(parameters.EnforceHalfNetting),
      MinStep(parameters.MinStep),
      MinStepPrice(parameters.MinStepPrice),
      LotCoeff(parameters.LotCoeff),
      R(parameters.R),
      InterestRateRiskUp(parameters.InterestRateRiskUp),
      InterestRateRiskDown(parameters.InterestRateRiskDown),
      FixedSpotDiscount(parameters.FixedSpotDiscount),
      ProjectedSpotDiscount(parameters.ProjectedSpotDiscount),
      AdjustedSubRiskStep(adjustedSubRiskStep),
      MoneyCoef(parameters.MinStepPrice / parameters.MinStep),
      R2(parameters.R2),
      InterestRate2RiskUp(parameters.InterestRate2RiskUp),
      InterestRate2RiskDown(parameters.InterestRate2RiskDown),
      Futures(futures),
      volatilityMatrix(RiskMatrix(static_cast<std::size_t>(futures->GetPointsNum()), 1, true)),
      m_gridCentre(futures->CalcFutPrice)
{}

CSpecVirtFutures::CSpecVirtFutures(const CSpecVirtFutures& other) = default;

CSpecVirtFutures::CSpecVirtFutures(const CSpecVirtFutures& other, CSpecFutures* futures) : CSpecVirtFutures(other)
{
    Futures = futures;
    m_futuresGrid = 0; // from here on the grids of the two futures go their own ways
    // The copied grids still point to the bindings of the other series, which may be gone before this one.
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        if (volatilityMatrix[level].Binding() != nullptr) volatilityMatrix[level].SetBinding(&bindingArray[level]);
}

CSpecVirtFutures::~CSpecVirtFutures() = default;

CSpecVirtFutures::SharedColumns::SharedColumns() = default;
CSpecVirtFutures::SharedColumns::SharedColumns(const SharedColumns& /*other*/) {}
CSpecVirtFutures::SharedColumns::~SharedColumns() = default;

void CSpecVirtFutures::ChangeParams(const SVirtFuturesChanges& changes, double adjustedSubRiskStep)
{
    A = changes.A;
    B = changes.B;
    C = changes.C;
    D = changes.D;
    E = changes.E;
    S = changes.S;
    UseNullVolat = changes.UseNullVolat;
    ExpClearingsSA = changes.ExpClearingsSA;
    ExpClearingsBF = changes.ExpClearingsBF;
    ExpClearingsCC = changes.ExpClearingsCC;
    TimeToExpiration = changes.TimeToExpiration;
    SqrtT = std::sqrt(TimeToExpiration);
    VolatilityRisk = changes.VolatilityRisk;
    VolatilityRiskMismatch = changes.VolatilityRiskMismatch;
    A_Bach = changes.A_Bach;
    B_Bach = changes.B_Bach;
    C_Bach = changes.C_Bach;
    D_Bach = changes.D_Bach;
    E_Bach = changes.E_Bach;
    S_Bach = changes.S_Bach;
    M_Bach = changes.M_Bach;
    EnforceHalfNetting = changes.EnforceHalfNetting;
    MinStepPrice = changes.MinStepPrice;
    R = changes.R;
    InterestRateRiskUp = changes.InterestRateRiskUp;
    InterestRateRiskDown = changes.InterestRateRiskDown;
    ProjectedSpotDiscount = changes.ProjectedSpotDiscount;
    R2 = changes.R2;
    InterestRate2RiskUp = changes.InterestRate2RiskUp;
    InterestRate2RiskDown = changes.InterestRate2RiskDown;
    AdjustedSubRiskStep = RiskLevelIndexedArray<double>(adjustedSubRiskStep);
    m_futuresGrid = 0;
    IsInSpread = changes.SpreadAspect == Enums::SpreadAspect::InSpread;
}

void CSpecVirtFutures::ChangeParams(const SOptionSeriesChanges& changes)
{
    EnforceHalfNetting = changes.EnforceHalfNetting;
    IsInSpread = changes.SpreadAspect == Enums::SpreadAspect::InSpread;
}

std::int32_t CSpecVirtFutures::GetPointsNum() const noexcept { return Futures->GetPointsNum(); }

std::int32_t CSpecVirtFutures::GetSubPointsNum(Enums::ClientRiskLevel level) const noexcept
{
    return static_cast<std::int32_t>(subPointRange[level].size());
}

std::int32_t CSpecVirtFutures::GetTotalPointsNum(Enums::ClientRiskLevel level) const noexcept
{
    return GetPointsNum() + GetSubPointsNum(level);
}

bool CSpecVirtFutures::HasSubPoints(Enums::ClientRiskLevel level) const noexcept
{
    return !subPointRange[level].empty();
}

bool CSpecVirtFutures::IsOptionsSeriesForStock() const noexcept
{
    const Enums::AssetClass assetClass = AssetClassOf(*this);
    return IsPremiumStyle(*this) && Futures->IsCollateral() &&
           (assetClass == Enums::AssetClass::Stock || assetClass == Enums::AssetClass::Commodity ||
            assetClass == Enums::AssetClass::Metal);
}

bool CSpecVirtFutures::IsOptionsSeriesForCurrencyOrIndex() const noexcept
{
    const Enums::AssetClass assetClass = AssetClassOf(*this);
    return IsPremiumStyle(*this) && Futures->IsCollateral() &&
           (assetClass == Enums::AssetClass::Currency || assetClass == Enums::AssetClass::Index);
}

bool CSpecVirtFutures::IsOptionsSeriesForCommodity() const noexcept
{
    return IsPremiumStyle(*this) && !Futures->IsCollateral();
}

double CSpecVirtFutures::MakeDiscountPoint(double value) const noexcept
{
    if (IsOptionsSeriesForStock()) return (value - FixedSpotDiscount - ProjectedSpotDiscount) * LotCoeff;
    if (IsOptionsSeriesForCurrencyOrIndex() || IsOptionsSeriesForCommodity()) return value * LotCoeff;
    return value;
}

double CSpecVirtFutures::GetCorrectedFuturesPoint(std::size_t index, Enums::ClientRiskLevel level) const noexcept
{
    const RiskRowWrapper prices = GetVolatilityMatrixCentralRow(level);
    return MakeDiscountPoint(prices[index]);
}

double CSpecVirtFutures::GetCorrectedFuturesPrice() const noexcept { return MakeDiscountPoint(Futures->RealCalcPrice); }

double CSpecVirtFutures::MakeCorrectStrikeByType(double strike) const
{
    return HasKind(*this) ? strike * std::exp(-R * TimeToExpiration) : strike;
}

double CSpecVirtFutures::GetUsableR() const noexcept { return HasKind(*this) ? R : 0.0; }

double CSpecVirtFutures::GetUsableR2() const noexcept
{
    return IsOptionsSeriesForCurrencyOrIndex() || IsOptionsSeriesForCommodity() ? R2 : 0.0;
}

bool CSpecVirtFutures::WeHaveToPrecalcDeliveryRisks() const noexcept
{
    return (ExpClearingsSA > 0 || ExpClearingsBF > 0 || ExpClearingsCC > 0) &&
           settlementType == Enums::SettlementType::Deliverable;
}

const OptionColumns& CSpecVirtFutures::GetOptionColumns(Enums::ClientRiskLevel level) const
{
    std::unique_ptr<const OptionColumns>& columns = optionColumns.levels[level];
    if (columns == nullptr) columns = std::make_unique<const OptionColumns>(*this, level);
    return *columns;
}

void CSpecVirtFutures::DropOptionColumns() noexcept
{
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        optionColumns.levels[level].reset();
}

} // namespace kv7im
