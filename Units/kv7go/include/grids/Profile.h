// Profile: the picture of one instrument at one risk level over a grid of market scenarios.
// BaseProfile: the five pictures of an instrument, one per client risk level; futures and options derive from it. A
//          futures keeps them (StoredProfiles), an option keeps less and makes them when it is asked.
//
// Shapes:    volatility           scenariosVolatilityCount x length()   row 0 lowest volatility, the last row highest
//            interest rate        2 x length()                          row 0 rates up, row 1 rates down
//            volatility mismatch  2 x length()                          row 0 up, row 1 down
//            expiration           expirationScenariosCount x length()   one row per delivery price
//            and eight special points far outside the grid.
// Columns:   price points of the futures, ascending; the sub-points of an option series stand behind the real ones.
// Numbers:   prices here; the same shape filled with money is a Risk. NaN in an expiration cell: the price point is not
//            part of that delivery scenario.
#pragma once

#include <cstddef>

#include "Enums.h"
#include "grids/RiskLevelIndexedArray.h"
#include "grids/RiskMatrix.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im {

/// Rows of the interest rate matrix.
enum class InterestRateRow : std::size_t
{
    Up = 0,
    Down = 1,
};

/// Dimensions of a profile.
struct Parameters
{
    Parameters() = default; ///< Nothing at all.
    Parameters(std::size_t points, std::size_t scenarios) noexcept
        : pointsCount(points), scenariosVolatilityCount(scenarios)
    {}

    /// Columns of every matrix.
    [[nodiscard]] std::size_t length() const noexcept { return pointsCount + subPointsCount; }
    /// Index of the highest volatility scenario.
    [[nodiscard]] std::size_t last() const noexcept { return scenariosVolatilityCount - 1; }
    [[nodiscard]] bool hasExpiration() const noexcept { return expirationScenariosCount != 0; }
    [[nodiscard]] bool hasSubPoints() const noexcept { return subPointsCount != 0; }

    std::size_t pointsCount = 0;              // real price points
    std::size_t subPointsCount = 0;           // columns behind them, 0 until an option series expands its profile
    std::size_t scenariosVolatilityCount = 0; // rows of the volatility matrix
    std::size_t expirationScenariosCount = 0; // rows of the expiration matrix, 0 without delivery risk
};

struct Profile
{
    Profile() : Profile(Parameters{}) {}
    /// All cells and special points zero, no binding. Throws like LazyMemoryPool::Allocate.
    explicit Profile(const Parameters& parameters);

    [[nodiscard]] const Parameters& GetParameters() const noexcept { return profileParameters; }

    [[nodiscard]] RiskMatrix& Volatility() noexcept { return volatilityMatrix; }
    [[nodiscard]] const RiskMatrix& Volatility() const noexcept { return volatilityMatrix; }
    [[nodiscard]] RiskRowWrapper Volatility(std::size_t row) noexcept { return volatilityMatrix[row]; }
    [[nodiscard]] const RiskRowWrapper Volatility(std::size_t row) const noexcept { return volatilityMatrix[row]; }
    /// The row of the unshifted volatility.
    [[nodiscard]] RiskRowWrapper GetCentralRowOfVolatilityMatrix() noexcept { return volatilityMatrix.Median(); }
    [[nodiscard]] const RiskRowWrapper GetCentralRowOfVolatilityMatrix() const noexcept
    {
        return volatilityMatrix.Median();
    }

    [[nodiscard]] RiskMatrix& InterestRate() noexcept { return interestRateMatrix; }
    [[nodiscard]] const RiskMatrix& InterestRate() const noexcept { return interestRateMatrix; }
    [[nodiscard]] RiskRowWrapper InterestRateUp() noexcept { return interestRateMatrix[0]; }
    [[nodiscard]] const RiskRowWrapper InterestRateUp() const noexcept { return interestRateMatrix[0]; }
    [[nodiscard]] RiskRowWrapper InterestRateDown() noexcept { return interestRateMatrix[1]; }
    [[nodiscard]] const RiskRowWrapper InterestRateDown() const noexcept { return interestRateMatrix[1]; }

    [[nodiscard]] RiskMatrix& VolatilityMismatch() noexcept { return volatilityMismatchMatrix; }
    [[nodiscard]] const RiskMatrix& VolatilityMismatch() const noexcept { return volatilityMismatchMatrix; }
    [[nodiscard]] RiskRowWrapper VolatilityMismatchUp() noexcept { return volatilityMismatchMatrix[0]; }
    [[nodiscard]] const RiskRowWrapper VolatilityMismatchUp() const noexcept { return volatilityMismatchMatrix[0]; }
    [[nodiscard]] RiskRowWrapper VolatilityMismatchDown() noexcept { return volatilityMismatchMatrix[1]; }
    [[nodiscard]] const RiskRowWrapper VolatilityMismatchDown() const noexcept { return volatilityMismatchMatrix[1]; }

    [[nodiscard]] RiskMatrix& Expiration() noexcept { return expirationRiskMatrix; }
    [[nodiscard]] const RiskMatrix& Expiration() const noexcept { return expirationRiskMatrix; }

    [[nodiscard]] SpecialRiskPoints& GetSpecialRiskPoints() noexcept { return specialRiskPoints; }
    [[nodiscard]] const SpecialRiskPoints& GetSpecialRiskPoints() const noexcept { return specialRiskPoints; }

    /// Sets the number of sub-points in all four matrices, and the binding of the option series, which must outlive the
    /// profile. A matrix whose width changes is zeroed; the binding is set in any case.
    void ExpandSubPoints(std::size_t count, const BindsRow* binding);
    /// Sets the number of delivery scenarios, on the present columns of the expiration matrix. A change zeroes the
    /// matrix.
    void ExpandExpirationMatrix(std::size_t count);
    /// No delivery scenarios: the expiration matrix loses its rows and its columns.
    void ExcludeExpiration();

    /// True when the volatility, interest rate and mismatch matrices and the special points are equal. The expiration
    /// matrix is meant to take no part.
    [[nodiscard]] bool operator==(const Profile& other) const noexcept;
    [[nodiscard]] bool operator!=(const Profile& other) const noexcept { return !(*this == other); }

    Parameters profileParameters;
    RiskMatrix volatilityMatrix;
    RiskMatrix interestRateMatrix;
    RiskMatrix volatilityMismatchMatrix;
    RiskMatrix expirationRiskMatrix;
    SpecialRiskPoints specialRiskPoints;
};

class BaseProfile
{
public:
    virtual ~BaseProfile() = default;

    /// Rebuilds the profiles of all levels from the parameters of the instrument.
    virtual void RecalcInvariants() = 0;

    /// A deep copy of the profile of a level, the binding pointers included.
    [[nodiscard]] virtual Profile CopyProfile(Enums::ClientRiskLevel level) const = 0;
    /// The eight special points of a level: prices, but the two charges are differences.
    [[nodiscard]] virtual const SpecialRiskPoints& GetPoints(Enums::ClientRiskLevel level) const = 0;

    static_assert(stress::Points.size() == 8, "each stress point of an instrument can be asked for");
    [[nodiscard]] double GetZL(Enums::ClientRiskLevel level) const { return GetPoints(level).GetZL(); }
    [[nodiscard]] double GetZR(Enums::ClientRiskLevel level) const { return GetPoints(level).GetZR(); }
    [[nodiscard]] double GetUpRisk(Enums::ClientRiskLevel level) const { return GetPoints(level).GetUpRisk(); }
    [[nodiscard]] double GetDownRisk(Enums::ClientRiskLevel level) const { return GetPoints(level).GetDownRisk(); }
    [[nodiscard]] double GetMR2D(Enums::ClientRiskLevel level) const { return GetPoints(level).GetPnL2D(); }
    [[nodiscard]] double GetMR3D(Enums::ClientRiskLevel level) const { return GetPoints(level).GetPnL3D(); }
    [[nodiscard]] double GetMR3U(Enums::ClientRiskLevel level) const { return GetPoints(level).GetPnL3U(); }
    [[nodiscard]] double GetMR2U(Enums::ClientRiskLevel level) const { return GetPoints(level).GetPnL2U(); }

protected:
    // Copied and moved as part of an instrument only.
    BaseProfile() = default;
    BaseProfile(const BaseProfile&) = default;
    BaseProfile(BaseProfile&&) = default;
    BaseProfile& operator=(const BaseProfile&) = default;
    BaseProfile& operator=(BaseProfile&&) = default;
};

/// A BaseProfile that keeps its five profiles as they are, ready to be read.
class StoredProfiles : public BaseProfile
{
public:
    [[nodiscard]] Profile& GetProfile(Enums::ClientRiskLevel level) noexcept { return profile[level]; }
    [[nodiscard]] const Profile& GetProfile(Enums::ClientRiskLevel level) const noexcept { return profile[level]; }

    [[nodiscard]] Profile CopyProfile(Enums::ClientRiskLevel level) const override { return profile[level]; }
    [[nodiscard]] const SpecialRiskPoints& GetPoints(Enums::ClientRiskLevel level) const noexcept override
    {
        return profile[level].GetSpecialRiskPoints();
    }

protected:
    /// Five profiles of the same dimensions, all zero.
    explicit StoredProfiles(const Parameters& parameters);
    StoredProfiles(std::size_t points, std::size_t scenarios) : StoredProfiles(Parameters(points, scenarios)) {}

    RiskLevelIndexedArray<Profile> profile;
};

} // namespace kv7im
