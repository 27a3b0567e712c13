// CSpecOption: one option contract, and its theoretical values over the scenario grid of its series.
//
// Always true:  the values are those of the instruments as they stood at the last RecalcInvariants. A grid is valued
//               when it is first asked for, since most callers touch few of the options that they load; nothing but
//               time and memory tells. A position change reads grids and never prices an option.
//               a copy for a change transaction has the values of its original, whatever changes around it, until it is
//               recalculated itself: it borrows them, since most copies are never asked before that.
//               the series outlives the option.
// Numbers:      prices in the price units of the option; MoneyCoef of the series turns them into money.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Enums.h"
#include "grids/Profile.h"
#include "grids/Risk.h"
#include "grids/RiskItem.h"
#include "grids/RiskLevelIndexedArray.h"
#include "instruments/SpecOrderList.h"
#include "valuation/OptionGrid.h"

namespace kv7im {

class CSpecVirtFutures;
class InterestRateRiskCalculator;

/// Which way an option goes. (The exchange's tables number the two the other way: Enums::OptionType.)
enum class OptionType : std::int32_t
{
    Call = 0,
    Put = 1,
};

class CSpecOption;

/// The steps that turn the grid of an option into the risk of a position, in the order of the members. A node applies
/// them cell by cell without building a Risk.
struct OptionTransform
{
    const CSpecOption* option;
    const OptionGrid* grid; // of the option at the level
    Enums::ClientRiskLevel level;
    double price;           // taken from values and delivery outcomes
    double pointsPrice;     // taken from the special points 1 to 6
    bool premiumIsTheWorst; // a bought option: no value below -price
    double scale;           // then everything times this: contracts times money per price unit, short below 0
    double coverZL;         // then the ZL point times this
    double coverZR;         // and the ZR point times this
    double shift;           // then added to all eight special points
};

class CSpecOption final : public BaseProfile
{
public:
    CSpecOption(CSpecVirtFutures* series, std::string code, std::string codeVF, Isin isin_, double strike, bool isPut,
                double calcOptPrice);
    /// A deep copy under another series.
    CSpecOption(const CSpecOption& other, CSpecVirtFutures* series);
    /// A copy under another series without values of its own: it reads the values of the original, which has to live
    /// unchanged until RecalcInvariants, ValueAllLevels or StopBorrowing of the copy.
    [[nodiscard]] static CSpecOption BorrowingCopy(const CSpecOption& original, CSpecVirtFutures* series);
    CSpecOption(const CSpecOption& other);
    CSpecOption(CSpecOption&& other) noexcept;
    CSpecOption& operator=(const CSpecOption&) = delete;

    /// Forgets the values of all levels; from now on they follow the present parameters. Throws CZ9Error with
    /// Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS for a base contract of an unknown option model.
    void RecalcInvariants() override;
    /// Values the levels that nobody has asked for yet and copies borrowed values. To be called before a parameter that
    /// the values depend on changes while the values shall stay.
    void ValueAllLevels() const;
    /// Ends the borrowing: from now on the values follow the present parameters.
    void StopBorrowing() noexcept { m_original = nullptr; }
    /// Drops all values, own and borrowed.
    void ForgetValues() noexcept;
    /// Sets a new settlement price; null changes nothing.
    void ChangeOptionParams(const double* price) noexcept;

    /// Theoretical value at a volatility scenario. futuresPoint is the price of the underlying after MakeDiscountPoint,
    /// strike the strike after MakeCorrectStrikeByType; r and r2 are rates per year. mismatch multiplies the
    /// volatility.
    [[nodiscard]] double CalculatePoint(std::size_t scenario, double futuresPoint, double r, double r2, double strike,
                                        std::optional<double> mismatch) const;

    /// Dimensions of the profile; does not value anything.
    [[nodiscard]] Parameters GetParameters(Enums::ClientRiskLevel level) const noexcept;
    /// The values of a level. The reference is valid until the next RecalcInvariants, that of the original included
    /// where the values are borrowed.
    [[nodiscard]] const OptionGrid& GetGrid(Enums::ClientRiskLevel level) const;
    [[nodiscard]] Profile CopyProfile(Enums::ClientRiskLevel level) const override;
    [[nodiscard]] Profile GetProfile(Enums::ClientRiskLevel level) const { return CopyProfile(level); }
    [[nodiscard]] const SpecialRiskPoints& GetPoints(Enums::ClientRiskLevel level) const override
    {
        return GetGrid(level).points;
    }

    /// Result of a position, money: quantity in contracts, short below 0; price is its average price.
    [[nodiscard]] Risk TransformToPosition(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const;
    /// Describes the risk of a position as steps that a node applies itself; their result is that of
    /// TransformToPosition.
    [[nodiscard]] OptionTransform DescribePosition(std::int64_t quantity, double price,
                                                   Enums::ClientRiskLevel level) const
    {
        return DescribePosition_PositionsOnly(quantity, price, price, level, 0.0);
    }
    /// Describes the risk of a position in the mode of positions alone; the result is that of
    /// TransformToPosition_PositionsOnly.
    [[nodiscard]] OptionTransform DescribePosition_PositionsOnly(std::int64_t quantity, double price,
                                                                 double specialPointsPrice,
                                                                 Enums::ClientRiskLevel level, double shift) const;
    /// Result of a position, money, in the mode of positions alone: `price` is taken from the grid, specialPointsPrice
    /// from the special points, and `shift` is added to all eight special points at the end.
    [[nodiscard]] Risk TransformToPosition_PositionsOnly(std::int64_t quantity, double price, double specialPointsPrice,
                                                         Enums::ClientRiskLevel level, double shift) const;
    /// Loss of all orders of the option, money. Orders only ever add loss: every contribution is capped at 0.
    [[nodiscard]] Risk TransformToOrder(const OrdersMap& orders, Enums::ClientRiskLevel level) const;

    /// Charge of a short call, price units: share of the spot at the upper rate, times the lot.
    [[nodiscard]] double GetShortSellingValueUp(Enums::ClientRiskLevel level) const noexcept;
    /// Charge of a short put, price units: share of the spot at the lower rate, times the lot.
    [[nodiscard]] double GetShortSellingValueDown(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] static std::size_t GetDownScenarioVolatility() noexcept { return 0; }
    [[nodiscard]] std::size_t GetUpScenarioVolatility(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] std::size_t GetPointsCount() const noexcept;
    [[nodiscard]] std::size_t GetSubPointsCount(Enums::ClientRiskLevel level) const noexcept;
    [[nodiscard]] std::size_t GetCountOfVolatilityScenarios() const noexcept;
    [[nodiscard]] bool isPut() const noexcept { return optionType == OptionType::Put; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return Code; }
    [[nodiscard]] const std::string& GetCodeVF() const noexcept { return CodeVF; }
    [[nodiscard]] Isin GetIsin() const noexcept { return isin; }
    [[nodiscard]] Isin GetFuturesIsin() const noexcept { return futuresIsin; }

    double Strike;
    OptionType optionType;
    double CalcOptPrice;           // settlement price
    CSpecVirtFutures* VirtFutures; // the series, not owned
    std::string Code;
    std::string CodeVF;
    Isin isin;
    Isin futuresIsin;
    const InterestRateRiskCalculator& interestRateRiskCalculator; // chosen by the kind of the series at construction

private:
    struct WithoutValues
    {};
    CSpecOption(const CSpecOption& other, CSpecVirtFutures* series, WithoutValues);

    /// CalculatePoint under the pricing model of a calculator of OptionCalculators.h.
    template <class Calculator>
    [[nodiscard]] double CalculateTheoreticalPrice(std::size_t scenario, double futuresPoint, double r, double r2,
                                                   double strike, std::optional<double> mismatch) const;

    mutable RiskLevelIndexedArray<OptionGrid::OwnConst> grids; // null: not asked for yet
    mutable const CSpecOption* m_original = nullptr;           // option whose values are borrowed, null for none
};

/// Outcome of holding an option until a delivery at one price, over the columns of its series.
class DeliveryScenario
{
public:
    /// deliveryPrice is one of the series' delivery prices, limit the futures' Limit of the level. An option whose
    /// strike equals the delivery price is not exercised.
    DeliveryScenario(const CSpecOption& option, double deliveryPrice, double limit) noexcept;

    /// Gain at the prices of four columns: NaN where a price is not part of the scenario, 0 where the option is not
    /// exercised.
    [[nodiscard]] RiskItem Outcome(RiskItem prices) const noexcept { return InScope(Gain(prices), prices); }

    // Outcome in two steps: exercise and gain, then scope. All scenarios in which an option is exercised have one gain.
    [[nodiscard]] bool IsExercised() const noexcept { return exercise != Exercise::None; }
    [[nodiscard]] RiskItem Gain(RiskItem prices) const noexcept
    {
        // Two subtractions and not one with a sign: at the strike itself both give +0.0.
        return exercise == Exercise::Call  ? Sub(prices, strike)
               : exercise == Exercise::Put ? Sub(strike, prices)
                                           : RiskItem(0.0);
    }
    /// Keeps the cell where the price is part of the scenario; NaN elsewhere.
    [[nodiscard]] RiskItem InScope(RiskItem cell, RiskItem prices) const noexcept
    {
        return NaNUnlessBetween(cell, prices, lowest, highest);
    }

private:
    enum class Exercise
    {
        None,
        Call,
        Put,
    };

    double lowest; // prices in scope, rounded to five decimals and widened by one hundred-thousandth
    double highest;
    double strike;
    Exercise exercise;
};

} // namespace kv7im
