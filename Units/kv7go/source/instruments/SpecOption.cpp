#include "instruments/SpecOption.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "except.h"
#include "grids/MachineMemory.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecVirtFutures.h"
#include "kv7errors.h"
#include "valuation/InterestRateRiskCalculator.h"
#include "valuation/OptionCalculators.h"
#include "valuation/OptionValuation.h"

namespace kv7im {

namespace {

constexpr double StressRows = 2.0; // up and down

/// Calls body with the calculator of the option's pricing model. Throws for an unknown model.
template <class Body>
auto WithCalculator(const CSpecOption& option, Body body)
{
    const CSpecVirtFutures& series = *option.VirtFutures;
    const Enums::OptionModel model = series.Futures->BaseContract->optionModel;
    switch (model) {
    case Enums::OptionModel::BlackScholes:
        return body(points::BlackScholesCalculator{});
    case Enums::OptionModel::Bachelier:
        if (series.IsOptionsSeriesForCommodity()) return body(points::BachelierCalculatorForCommodity{});
        return body(points::BachelierCalculator{});
    }
    throw kv7base::CZ9Error(Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS, KV7_CURRENT_LOCATION)
        .Fmt("Unknown OptionModel %d", static_cast<int>(model));
}

/// A row of a matrix, one number in every real cell.
void SetRow(RiskRowWrapper row, double value) noexcept { row = value; }

/// Copies values, rate stress and mismatch from the grid; each rate row counts on its side of the centre and is 0
/// elsewhere.
void CopyGrid(const OptionGrid& grid, const RiskRowWrapper& prices, double centre, Profile& profile) noexcept
{
    const std::size_t rows = grid.ScenariosCount();
    for (std::size_t block = 0; block < grid.GetColsRegister(); ++block)
        std::copy_n(grid.Values(block), rows, profile.Volatility().pData() + block * rows);

    const std::size_t cols = grid.ColsCount();
    RiskRowWrapper up = profile.InterestRateUp();
    RiskRowWrapper down = profile.InterestRateDown();
    for (std::size_t column = 0; column < cols; ++column) {
        const RiskItem& stress = grid.RateStress(column / RiskItem::Lanes);
        if (prices[column] > centre) up[column] = stress[column % RiskItem::Lanes];
        if (prices[column] < centre) down[column] = stress[column % RiskItem::Lanes];
    }
    SetRow(profile.VolatilityMismatchUp(), grid.mismatchUp);
    SetRow(profile.VolatilityMismatchDown(), grid.mismatchDown);
    profile.GetSpecialRiskPoints() = grid.points;
}

} // namespace

CSpecOption::CSpecOption(CSpecVirtFutures* series, std::string code, std::string codeVF, Isin isin_, double strike,
                         bool isPut_, double calcOptPrice)
    : Strike(strike),
      optionType(isPut_ ? OptionType::Put : OptionType::Call),
      CalcOptPrice(calcOptPrice),
      VirtFutures(series),
      Code(std::move(code)),
      CodeVF(std::move(codeVF)),
      isin(isin_),
      futuresIsin(series->Futures->isin),
      interestRateRiskCalculator(GetInterestRateRiskCalculator(*series))
{}

CSpecOption::CSpecOption(const CSpecOption& other, CSpecVirtFutures* series) : CSpecOption(other)
{
    VirtFutures = series;
    futuresIsin = series->Futures->isin;
}

CSpecOption::CSpecOption(const CSpecOption& other, CSpecVirtFutures* series, WithoutValues /*unused*/)
    : BaseProfile(other),
      Strike(other.Strike),
      optionType(other.optionType),
      CalcOptPrice(other.CalcOptPrice),
      VirtFutures(series),
      Code(other.Code),
      CodeVF(other.CodeVF),
      isin(other.isin),
      futuresIsin(series->Futures->isin),
      interestRateRiskCalculator(other.interestRateRiskCalculator),
      m_original(other.m_original)
{}

CSpecOption CSpecOption::BorrowingCopy(const CSpecOption& original, CSpecVirtFutures* series)
{
    CSpecOption copy(original, series, WithoutValues{});
    if (copy.m_original == nullptr) copy.m_original = &original;
    return copy;
}

CSpecOption::CSpecOption(const CSpecOption& other) : CSpecOption(other, other.VirtFutures, WithoutValues{})
{
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        if (other.grids[level] != nullptr) grids[level] = OptionGrid::CopyOf(*other.grids[level]);
}

CSpecOption::CSpecOption(CSpecOption&& other) noexcept = default;

void CSpecOption::RecalcInvariants()
{
    // Refuses here, and not at first use, what valuation would fail at: an unknown model, or more cells than the
    // machine can hold.
    WithCalculator(*this, [](auto) {});
    double cells = 0.0;
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        const Parameters parameters = GetParameters(level);
        const auto rows =
            static_cast<double>(parameters.scenariosVolatilityCount + parameters.expirationScenariosCount);
        cells += (rows + 2.0 * StressRows) * static_cast<double>(parameters.length());
    }
    RefuseBeyondMachine(2.0 * cells * sizeof(double)); // the grids, and as much again for a position
    ForgetValues();
}

void CSpecOption::ForgetValues() noexcept
{
    m_original = nullptr;
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
        grids[level].reset();
}

void CSpecOption::ValueAllLevels() const
{
    if (m_original != nullptr) {
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
            grids[level] = OptionGrid::CopyOf(m_original->GetGrid(level));
        m_original = nullptr;
        return;
    }
    WithCalculator(*this, [&]<class Calculator>(Calculator) {
        const GridValuation<Calculator> valuation(*this);
        for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues)
            if (grids[level] == nullptr) grids[level] = valuation.ValueLevel(level);
    });
}

void CSpecOption::ChangeOptionParams(const double* price) noexcept
{
    if (price != nullptr) CalcOptPrice = *price;
}

double CSpecOption::CalculatePoint(std::size_t scenario, double futuresPoint, double r, double r2, double strike,
                                   std::optional<double> mismatch) const
{
    return WithCalculator(*this, [&]<class Calculator>(Calculator) {
        return CalculateTheoreticalPrice<Calculator>(scenario, futuresPoint, r, r2, strike, mismatch);
    });
}

template <class Calculator>
double CSpecOption::CalculateTheoreticalPrice(std::size_t scenario, double futuresPoint, double r, double r2,
                                              double strike, std::optional<double> mismatch) const
{
    const OptionValuation<Calculator> valuation(*this);
    return Calculator::TheoreticalPrice(valuation.Terms(), valuation.OfScenario(scenario, mismatch),
                                        valuation.Rates(r, r2, strike).At(futuresPoint));
}

const OptionGrid& CSpecOption::GetGrid(Enums::ClientRiskLevel level) const
{
    if (m_original != nullptr) return m_original->GetGrid(level);
    OptionGrid::OwnConst& grid = grids[level];
    if (grid == nullptr)
        grid = WithCalculator(
            *this, [&]<class Calculator>(Calculator) { return GridValuation<Calculator>(*this).ValueLevel(level); });
    return *grid;
}

Parameters CSpecOption::GetParameters(Enums::ClientRiskLevel level) const noexcept
{
    Parameters parameters(GetPointsCount(), GetCountOfVolatilityScenarios());
    parameters.subPointsCount = GetSubPointsCount(level);
    if (VirtFutures->HasDeliveryScenarios())
        parameters.expirationScenariosCount = VirtFutures->GetDeliveryScenariosCount(level);
    return parameters;
}

Profile CSpecOption::CopyProfile(Enums::ClientRiskLevel level) const
{
    const CSpecVirtFutures& series = *VirtFutures;
    const Parameters parameters = GetParameters(level);
    Profile profile(Parameters(parameters.pointsCount, parameters.scenariosVolatilityCount));
    if (parameters.hasSubPoints()) profile.ExpandSubPoints(parameters.subPointsCount, &series.GetBindingArray(level));

    const RiskRowWrapper prices = series.GetVolatilityMatrixCentralRow(level);
    CopyGrid(GetGrid(level), prices, series.GetGridCentre(), profile);

    if (!parameters.hasExpiration()) return profile;
    profile.ExpandExpirationMatrix(parameters.expirationScenariosCount);
    std::size_t row = 0;
    for (const double deliveryPrice : series.PointsForDeliveryRisksCalculation[level]) {
        const DeliveryScenario scenario(*this, deliveryPrice, series.Futures->Limit[level]);
        RiskRowWrapper outcomes = profile.Expiration()[row++];
        for (std::size_t block = 0; block < profile.Expiration().GetColsRegister(); ++block)
            outcomes.pData(block) = scenario.Outcome(prices.pData(block));
    }
    return profile;
}

double CSpecOption::GetShortSellingValueUp(Enums::ClientRiskLevel level) const noexcept
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const CSpecBaseContract& contract = *futures.BaseContract;
    return std::abs(futures.NormalizedSpot) * contract.ShortOptionMinimumCharge * contract.MarketRiskUp[level] *
           static_cast<double>(VirtFutures->LotCoeff);
}

double CSpecOption::GetShortSellingValueDown(Enums::ClientRiskLevel level) const noexcept
{
    const CSpecFutures& futures = *VirtFutures->Futures;
    const CSpecBaseContract& contract = *futures.BaseContract;
    return std::abs(futures.NormalizedSpot) * contract.ShortOptionMinimumCharge * contract.MarketRiskDown[level] *
           static_cast<double>(VirtFutures->LotCoeff);
}

std::size_t CSpecOption::GetUpScenarioVolatility(Enums::ClientRiskLevel level) const noexcept
{
    return GetParameters(level).last();
}

std::size_t CSpecOption::GetPointsCount() const noexcept
{
    return static_cast<std::size_t>(VirtFutures->GetPointsNum());
}

std::size_t CSpecOption::GetSubPointsCount(Enums::ClientRiskLevel level) const noexcept
{
    return static_cast<std::size_t>(VirtFutures->GetSubPointsNum(level));
}

std::size_t CSpecOption::GetCountOfVolatilityScenarios() const noexcept
{
    return static_cast<std::size_t>(VirtFutures->Futures->BaseContract->VolatNum);
}

} // namespace kv7im
