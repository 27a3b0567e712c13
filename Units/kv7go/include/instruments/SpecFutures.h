// CSpecFutures: one futures contract, or a collateral spot instrument, which the exchange lists as a futures.
//
// It holds for each client risk level the scenario grid of its own prices, its interest-rate rows and its eight special
// points. A position or an order becomes a risk by taking its price from that profile and scaling.
//
// Always true:  the profile is current from the first RecalcInvariants on; every row of its volatility matrix is
//               the same. BaseContract outlives the futures.
// Numbers:      prices are in the price units of the instrument; MoneyCoef turns them into money. Times are in years.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "Enums.h"
#include "currencytype.h"
#include "grids/Profile.h"
#include "grids/Risk.h"
#include "grids/RiskLevelIndexedArray.h"
#include "instruments/FuturesParameters.h"
#include "instruments/SpecOrderList.h"

namespace kv7im {

class CSpecBaseContract;
struct StressRates;

/// New parameters of a futures; prices with five decimals. The isin finds the futures and is not itself a parameter.
struct SFuturesChanges
{
    t_bprice_int CalcFutPrice;
    t_bprice_int RealCalcPrice;
    double MinStepPrice = 0.0;
    double InterestRateRiskUp = 0.0;
    double InterestRateRiskDown = 0.0;
    double TimeToExpiration = 0.0;
    double NormalizedSpot = 0.0;
    double MRAddOnUp = 0.0;
    double MRAddOnDown = 0.0;
    ::Isin Isin = 0;
    bool EnforceIMSHalfNetting = false;
    Enums::SpreadAspect SpreadAspect = Enums::SpreadAspect::NotInSpread;
};

/// The steps that turn the profile of a futures into the risk of a position, in the order of the members. A node
/// applies them cell by cell without building a Risk.
struct PositionTransform
{
    const Profile* profile; // of the futures at the level; lives as long as the futures
    double price;           // taken from the volatility matrix
    double pointsPrice;     // taken from the special points 1 to 6
    bool negate;            // a short position: everything times -1.0
    double scale;           // then everything times this: contracts times money per price unit
    double coverZL;         // then the ZL point times this
    double coverZR;         // and the ZR point times this
    double shift;           // then added to all eight special points
};

class CSpecFutures final : public StoredProfiles
{
public:
    /// Test of a grid price (first) against the centre of the grid (second).
    using FuncCheckRange = bool (*)(double, double);

    /// Takes the values as they are: the repository has checked them. The profile is allocated and zero; it is computed
    /// by RecalcInvariants. Throws when the grid cannot be allocated.
    CSpecFutures(CSpecBaseContract* baseContract, const FuturesParameters& parameters, double edgeCoeff);
    /// A deep copy under another parent.
    CSpecFutures(const CSpecFutures& other, CSpecBaseContract* baseContract);

    /// Recomputes the limits, the profile and the cover factors of every level from the present parameters. Prices and
    /// rate rows stay where all that they are made from is as it was: a shift of the contract moves none of them.
    void RecalcInvariants() override;
    /// Recomputes one of many futures of a contract, whose rates are given.
    void RecalcInvariants(const StressRates& rates);
    /// Number of the grid of prices, another one each time that they are made anew; never 0. A copy has the grid, and
    /// its number.
    [[nodiscard]] std::uint32_t GetGridNumber() const noexcept { return m_gridNumber; }
    /// Takes new parameters; the profile is left for RecalcInvariants.
    void ChangeParams(const SFuturesChanges& changes);

    /// Result of a position, money: quantity in contracts, short below 0; price is its average price.
    [[nodiscard]] Risk TransformToPosition(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const;
    /// Describes the risk of a position as steps that a node applies itself; their result is that of
    /// TransformToPosition.
    [[nodiscard]] PositionTransform DescribePosition(std::int64_t quantity, double price,
                                                     Enums::ClientRiskLevel level) const noexcept
    {
        return DescribePosition_PositionsOnly(quantity, price, price, level, 0.0);
    }
    /// Describes the risk of a position in the mode of positions alone; the result is that of
    /// TransformToPosition_PositionsOnly.
    [[nodiscard]] PositionTransform DescribePosition_PositionsOnly(std::int64_t quantity, double price,
                                                                   double specialPointsPrice,
                                                                   Enums::ClientRiskLevel level,
                                                                   double shift) const noexcept;
    /// Result of a position, money, in the mode of positions alone: `price` is taken from the grid, specialPointsPrice
    /// from the special points, and `shift` is added to all eight special points at the end.
    [[nodiscard]] Risk TransformToPosition_PositionsOnly(std::int64_t quantity, double price, double specialPointsPrice,
                                                         Enums::ClientRiskLevel level, double shift) const;
    /// Loss of all orders of the futures, money. Orders only ever add loss: every contribution is capped at 0.
    [[nodiscard]] Risk TransformToOrder(const OrdersMap& orders, kv7type::Discount discount,
                                        Enums::ClientRiskLevel level) const;

    [[nodiscard]] std::int32_t GetPointsNum() const noexcept;
    [[nodiscard]] double GetCoverZL(Enums::ClientRiskLevel level) const noexcept { return coverZL[level]; }
    [[nodiscard]] double GetCoverZR(Enums::ClientRiskLevel level) const noexcept { return coverZR[level]; }
    [[nodiscard]] bool IsCollateral() const noexcept
    {
        return Enums::HasStatus(Attribute, Enums::InstrumentStatus::Collateral);
    }
    /// Width of the price grid from its centre to either end, in price units.
    [[nodiscard]] double GetDoubleLimit(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] double GetSpotToMarketRisk1(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] double GetSpotToMarketRisk2(Enums::ClientRiskLevel level) const noexcept;

    /// Price at column `column` of the grid; the centre column is exactly CalcFutPrice.
    [[nodiscard]] double CalculatePointX(std::size_t column, Enums::ClientRiskLevel level) const noexcept;
    /// Effect of a rate shock and an add-on on the price at a column; 0.0 where `check` says that the column is on the
    /// other side of the centre. Reads the volatility matrix.
    [[nodiscard]] double CalculateInterestRate(double rate, double timeCoefficient, std::size_t column,
                                               FuncCheckRange check, double addOn,
                                               Enums::ClientRiskLevel level) const noexcept;
    /// Price of the far left stress, ZL: the rate compounded over three steps.
    [[nodiscard]] double CalculateZL(Enums::ClientRiskLevel level) const noexcept;
    /// Price of the far right stress, ZR: the rate compounded over three steps.
    [[nodiscard]] double CalculateZR(Enums::ClientRiskLevel level) const noexcept;
    /// Share of the far left stress result that counts; reads the ZL point of the profile.
    [[nodiscard]] double CalculateCoverZL(Enums::ClientRiskLevel level) const;
    /// Share of the far right stress result that counts; reads the ZR point of the profile.
    [[nodiscard]] double CalculateCoverZR(Enums::ClientRiskLevel level) const;

    CSpecBaseContract* BaseContract; // parent, not owned
    std::string Code;
    std::string CodeBC;
    const Isin isin;
    const Isin TASBaseFutIsinID;         // of a trade-at-settlement futures: the futures that it tracks
    RiskLevelIndexedArray<double> Limit; // half of GetDoubleLimit
    double CalcFutPrice;                 // centre of the grid
    bool IsInSpread;                     // takes part in inter-month netting
    double MinStepPrice;                 // money of one step
    double RealCalcPrice;                // settlement price: centre of the special points and of the discount rule
    const double MinStep;
    const double XLot; // may be negative, never 0
    double InterestRateRiskUp;
    double InterestRateRiskDown;
    double TimeToExpiration;
    const double edgeCoeff; // of the repository when the futures was inserted
    double NormalizedSpot;  // spot in the price units of the futures; every market risk rate multiplies it
    RiskLevelIndexedArray<double> coverZL;
    RiskLevelIndexedArray<double> coverZR;
    double MRAddOnUp;
    double MRAddOnDown;
    double MoneyCoef; // MinStepPrice / MinStep: money of one price unit
    Enums::InstrumentStatus Attribute;
    bool EnforceIMSHalfNetting;
    bool IsTAS; // trade at settlement; as built, whatever comes later

private:
    /// The parameters that prices and rate rows are made from.
    using GridSource = std::array<double, 8 + RiskLevelIndexedArray<double>::NumberOfClientRiskLevels>;

    CSpecFutures(const CSpecFutures&) = default; // a copy always gets a parent of its own

    [[nodiscard]] GridSource GetGridSource() const noexcept;
    void RecalcGrid();
    void RecalcVolatility(Enums::ClientRiskLevel level);
    void RecalcInterestRate(Enums::ClientRiskLevel level);
    void RecalcSpecialRiskPoints(const StressRates& rates);

    GridSource m_gridSource{std::numeric_limits<double>::quiet_NaN()}; // before the first computation equal to none
    std::uint32_t m_gridNumber = 1;
};

} // namespace kv7im
