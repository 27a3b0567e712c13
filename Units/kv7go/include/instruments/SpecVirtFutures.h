// CSpecVirtFutures: one option series, that is all options on one futures with one expiration. "Virtual futures" and
// series mean the same thing.
//
// It holds what its options share: the volatility smile of both models, the shocks of volatility and rates, the styles,
// and for each risk level a price grid of its own. That grid is the futures' grid with sub-points behind it, at
// multiples of a step made from the strike step, so that every strike has a grid point near it.
//
// Always true:  the grids are those of the futures as it stood at the last RecalcInvariants; a parent is recomputed
//               before its children. The futures outlives the series, and the series its options.
//               a step that the cap on sub-points has widened stays wide until the series is changed.
// Numbers:      prices and strikes in the price units of the futures, after MakeDiscountPoint times LotCoeff where the
//               series is premium-style. Rates are shares per year, times are years, smile levels are per cent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Enums.h"
#include "TableRecords.h"
#include "grids/RiskLevelIndexedArray.h"
#include "grids/RiskMatrix.h"
#include "instruments/OptionSeriesParameters.h"

namespace kv7im {

class CSpecFutures;
class OptionColumns;

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile in a series and among its changes");

/// New parameters of a series. The code finds the series and is not itself a parameter.
struct SVirtFuturesChanges
{
    t_instr Code{};
    double A;
    double B;
    double C;
    double D;
    double E;
    double S;
    bool UseNullVolat;
    std::int32_t ExpClearingsSA;
    std::int32_t ExpClearingsBF;
    std::int32_t ExpClearingsCC;
    double VolatilityRisk;
    double VolatilityRiskMismatch;
    double TimeToExpiration;
    double A_Bach;
    double B_Bach;
    double C_Bach;
    double D_Bach;
    double E_Bach;
    double S_Bach;
    double M_Bach;
    bool EnforceHalfNetting;
    double MinStepPrice;
    double R;
    double InterestRateRiskUp;
    double InterestRateRiskDown;
    double ProjectedSpotDiscount;
    double R2;
    double InterestRate2RiskUp;
    double InterestRate2RiskDown;
    Enums::SpreadAspect SpreadAspect;
};

/// The two parameters of a series that may change without a new valuation.
struct SOptionSeriesChanges
{
    t_instr Code{};
    bool EnforceHalfNetting;
    Enums::SpreadAspect SpreadAspect;
};

class CSpecVirtFutures
{
public:
    /// Takes the values as they are: the repository has checked them. The step between sub-points is given apart. The
    /// grids are zero rows of the futures' width until RecalcInvariants.
    CSpecVirtFutures(CSpecFutures* futures, const OptionSeriesParameters& parameters, double adjustedSubRiskStep);
    /// A deep copy under another futures.
    CSpecVirtFutures(const CSpecVirtFutures& other, CSpecFutures* futures);
    ~CSpecVirtFutures();
    CSpecVirtFutures& operator=(const CSpecVirtFutures&) = delete;

    /// Recomputes grids, bindings and delivery prices of every level from the present parameters and the futures' grid.
    /// A throw, which only exhausted memory can cause, leaves the series as it was.
    void RecalcInvariants();
    /// RecalcInvariants after one of the futures. The grids stay where the futures' grid and all parameters do, unless
    /// their making is something to warn of: each recomputation says it again.
    void FollowFutures();
    /// Takes new parameters; the grids are left for RecalcInvariants. The step of all five levels becomes
    /// adjustedSubRiskStep.
    void ChangeParams(const SVirtFuturesChanges& changes, double adjustedSubRiskStep);
    void ChangeParams(const SOptionSeriesChanges& changes);

    [[nodiscard]] std::int32_t GetPointsNum() const noexcept; ///< Real price points, those of the futures.
    [[nodiscard]] std::int32_t GetSubPointsNum(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] std::int32_t GetTotalPointsNum(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] bool HasSubPoints(Enums::ClientRiskLevel level) const noexcept;
    /// Per column its real price point.
    [[nodiscard]] const BindsRow& GetBindingArray(Enums::ClientRiskLevel level) const noexcept
    {
        return bindingArray[level];
    }
    /// Prices of all columns: the real points ascending, then the sub-points ascending.
    [[nodiscard]] const RiskRowWrapper GetVolatilityMatrixCentralRow(Enums::ClientRiskLevel level) const noexcept
    {
        return volatilityMatrix[level].Median();
    }
    [[nodiscard]] std::size_t GetDeliveryScenariosCount(Enums::ClientRiskLevel level) const noexcept
    {
        return PointsForDeliveryRisksCalculation[level].size();
    }

    // The kind of the series. A series without premium up front is of none of the three.

    /// Premium-style series on a collateral instrument that is a stock, a commodity or a metal.
    [[nodiscard]] bool IsOptionsSeriesForStock() const noexcept;
    /// Premium-style series on a collateral instrument that is a currency or an index.
    [[nodiscard]] bool IsOptionsSeriesForCurrencyOrIndex() const noexcept;
    /// Premium-style series on a futures that is not collateral; whether it is a commodity is not asked.
    [[nodiscard]] bool IsOptionsSeriesForCommodity() const noexcept;

    /// Price of the underlying as its options see it: less the discounts for a stock, times the lot for all three
    /// kinds.
    [[nodiscard]] double MakeDiscountPoint(double value) const noexcept;
    /// MakeDiscountPoint of the price at a column.
    [[nodiscard]] double GetCorrectedFuturesPoint(std::size_t index, Enums::ClientRiskLevel level) const noexcept;
    /// MakeDiscountPoint of the settlement price of the futures.
    [[nodiscard]] double GetCorrectedFuturesPrice() const noexcept;
    /// The strike, discounted by R for the three kinds.
    [[nodiscard]] double MakeCorrectStrikeByType(double strike) const;
    [[nodiscard]] double GetUsableR() const noexcept;  ///< R for the three kinds, else 0.
    [[nodiscard]] double GetUsableR2() const noexcept; ///< R2 for currency, index and commodity, else 0.
    /// Price at the centre of the grids: CalcFutPrice of the futures as it stood at the last RecalcInvariants.
    [[nodiscard]] double GetGridCentre() const noexcept { return m_gridCentre; }
    /// What WeHaveToPrecalcDeliveryRisks said at the last RecalcInvariants: the options have delivery scenarios.
    [[nodiscard]] bool HasDeliveryScenarios() const noexcept { return m_hasDeliveryScenarios; }
    /// Deliverable, and some level of the account tree looks at deliveries.
    [[nodiscard]] bool WeHaveToPrecalcDeliveryRisks() const noexcept;

    /// What the options of the series share in their valuation over the columns of a level; made at first use.
    [[nodiscard]] const OptionColumns& GetOptionColumns(Enums::ClientRiskLevel level) const;

    /// Multiplier of the first multiple of SubRiskStep inside the grid Spot * MarketRisk around CenterRisk; 0 for a
    /// step of exactly 0.0 and for an edge that is no finite number; beyond what an int32 holds the nearest int32.
    [[nodiscard]] static std::int32_t SubPointLeftEdge(double CenterRisk, double Spot, double MarketRisk,
                                                       double SubRiskStep) noexcept;
    /// Multiplier one past that of the last multiple of SubRiskStep inside the grid Spot * MarketRisk around
    /// CenterRisk; 0 for a step of exactly 0.0 and for an edge that is no finite number; beyond what an int32 holds the
    /// nearest int32.
    [[nodiscard]] static std::int32_t SubPointRightEdge(double CenterRisk, double Spot, double MarketRisk,
                                                        double SubRiskStep) noexcept;
    [[nodiscard]] static double CalculateAdjustedSubRiskStep(double StrikeStep, std::int32_t LotCoeff) noexcept;
    /// Column of an ascending row whose value is nearest to `value`, the lower one of two equally near; 0 for an empty
    /// row.
    [[nodiscard]] static std::size_t NearestPoint(const RiskRowWrapper& mainPoint, double value) noexcept;

    const std::string Code;
    const std::string CodeRF;
    double A;
    double B;
    double C;
    double D;
    double E;
    double S; // shift of the log moneyness
    bool UseNullVolat;
    double StrikeStep;
    std::int32_t ExpClearingsSA;
    std::int32_t ExpClearingsBF;
    std::int32_t ExpClearingsCC;
    double VolatilityRisk;         // share by which the volatility moves, 0 to 5
    double VolatilityRiskMismatch; // share by which neighbours may move apart, 0 to 5
    double TimeToExpiration;
    double SqrtT; // users take at least Constants::MinimumSqrtTValue
    double A_Bach;
    double B_Bach;
    double C_Bach;
    double D_Bach;
    double E_Bach;
    double S_Bach;
    double M_Bach; // scale of moneyness, above 0
    Enums::MarginStyle marginStyle;
    Enums::SettlementType settlementType;
    Enums::ExerciseStyle exerciseStyle;
    bool SubRisk;
    bool IsInSpread;
    bool EnforceHalfNetting;
    double MinStep;
    double MinStepPrice;
    std::int32_t LotCoeff;
    double R;
    double InterestRateRiskUp;
    double InterestRateRiskDown;
    double FixedSpotDiscount;
    double ProjectedSpotDiscount;
    RiskLevelIndexedArray<double> AdjustedSubRiskStep;
    double MoneyCoef; // MinStepPrice / MinStep: money of one price unit
    double R2;
    double InterestRate2RiskUp;
    double InterestRate2RiskDown;
    // Prices of the underlying, without NaN; they stay as they were while WeHaveToPrecalcDeliveryRisks is false.
    RiskLevelIndexedArray<std::set<double>> PointsForDeliveryRisksCalculation;
    CSpecFutures* Futures;                              // parent, not owned
    RiskLevelIndexedArray<RiskMatrix> volatilityMatrix; // 1 x GetTotalPointsNum
    RiskLevelIndexedArray<BindsRow> bindingArray;
    RiskLevelIndexedArray<std::vector<std::int32_t>> subPointRange; // multipliers of the sub-points

private:
    struct LevelGrid;

    /// Columns that the options share, per level; null when not asked for yet. A copy of the series starts without
    /// them.
    struct SharedColumns
    {
        SharedColumns();
        SharedColumns(const SharedColumns&);
        SharedColumns& operator=(const SharedColumns&) = delete;
        ~SharedColumns();

        RiskLevelIndexedArray<std::unique_ptr<const OptionColumns>> levels;
    };

    CSpecVirtFutures(const CSpecVirtFutures& other); // a copy always gets a futures of its own

    [[nodiscard]] LevelGrid MakeGrid(Enums::ClientRiskLevel level) const;
    void CalculateSubPointRange(LevelGrid& grid, Enums::ClientRiskLevel level) const;
    void FillColumns(LevelGrid& grid, Enums::ClientRiskLevel level) const;
    void CalculateDeliveryPoints(LevelGrid& grid, Enums::ClientRiskLevel level) const;
    void TakeOver(LevelGrid& grid, Enums::ClientRiskLevel level) noexcept;
    void DropOptionColumns() noexcept;

    double m_gridCentre;
    std::uint32_t m_futuresGrid = 0; // number of the futures' grid that ours follow; 0: they have to be made anew
    bool m_hasDeliveryScenarios = false;
    mutable SharedColumns optionColumns;
};

} // namespace kv7im
