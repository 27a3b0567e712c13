// SpecialRiskPoints: the eight results that speak for moves far beyond the price grid.
//
// Points:       two stress steps below the market (PnL2D, PnL3D) and above it (PnL2U, PnL3U), the extreme tails
//               ZL and ZR, and the minimum charges of short options, DownRisk and UpRisk (the table in StressPoints.h).
// Numbers:      in a profile points 1 to 6 are prices and the two charges are already differences; in a Risk all
//               eight are money, a loss is negative.
// Always true:  a shift of the price (+=, -= with a number) moves points 1 to 6 and leaves the charges alone.
// NaN:          bounds replace a NaN by the bound, which is not what the bounds of the matrices do; min() passes over
// it.
#pragma once

#include <array>
#include <cstddef>

#include "Enums.h"
#include "grids/RiskItem.h"
#include "grids/RiskRow.h"
#include "grids/StressPoints.h"

namespace kv7im {

class CSpecBaseContract;

/// Result `value` after the curvature of a currency-indicator price step: value - |shift + value| * radius, for a
/// radius above 0 (the caller decides that). `shift` is the net option value of the node.
[[nodiscard]] constexpr double Curved(double value, double shift, double radius) noexcept
{
    const double bend = (shift + value) * (-radius);
    return value + Min(bend, -bend);
}

/// Result `value` after the curvature of the mode of positions alone: Curved, with the positive part of shift + value,
/// at most `cap`, given back twice.
[[nodiscard]] constexpr double Curved_PositionsOnly(double value, double shift, double radius, double cap) noexcept
{
    const double bend = (shift + value) * (-radius);
    const double relief = Min(Max(shift + value, 0.0), cap) * radius;
    return value + relief + relief + Min(bend, -bend);
}

class SpecialRiskPoints
{
public:
    using MappingPoint = stress::MappingPoint;
    using enum stress::MappingPoint; // a template of gcc 12 finds them in stress only

    static_assert(stress::Points.size() == 8, "each stress point has its getter and its setter");
    [[nodiscard]] double GetZL() const noexcept { return points[ZL]; }
    [[nodiscard]] double GetZR() const noexcept { return points[ZR]; }
    [[nodiscard]] double GetUpRisk() const noexcept { return points[UpRisk]; }
    [[nodiscard]] double GetDownRisk() const noexcept { return points[DownRisk]; }
    [[nodiscard]] double GetPnL2D() const noexcept { return points[PnL2D]; }
    [[nodiscard]] double GetPnL3D() const noexcept { return points[PnL3D]; }
    [[nodiscard]] double GetPnL3U() const noexcept { return points[PnL3U]; }
    [[nodiscard]] double GetPnL2U() const noexcept { return points[PnL2U]; }

    void SetZL(double value) noexcept { points[ZL] = value; }
    void SetZR(double value) noexcept { points[ZR] = value; }
    void SetUpRisk(double value) noexcept { points[UpRisk] = value; }
    void SetDownRisk(double value) noexcept { points[DownRisk] = value; }
    void SetPnL2D(double value) noexcept { points[PnL2D] = value; }
    void SetPnL3D(double value) noexcept { points[PnL3D] = value; }
    void SetPnL3U(double value) noexcept { points[PnL3U] = value; }
    void SetPnL2U(double value) noexcept { points[PnL2U] = value; }

    [[nodiscard]] double& operator[](MappingPoint point) noexcept { return points[point]; }
    [[nodiscard]] double operator[](MappingPoint point) const noexcept { return points[point]; }

    [[nodiscard]] static constexpr std::size_t size() noexcept { return MappingSize; }
    /// The eight points in the order of MappingPoint.
    [[nodiscard]] double* pData() noexcept { return points.data(); }
    [[nodiscard]] const double* pData() const noexcept { return points.data(); }

    /// Smallest of the eight; NaN is passed over, without any number the largest finite double.
    [[nodiscard]] double min() const noexcept;

    SpecialRiskPoints& operator+=(double value) noexcept; ///< Points 1 to 6 only.
    SpecialRiskPoints& operator-=(double value) noexcept; ///< Points 1 to 6 only.
    SpecialRiskPoints& operator*=(double value) noexcept; ///< All eight.
    void ShiftAll(double shift) noexcept;                 ///< All eight, the charges included.
    SpecialRiskPoints& operator+=(const SpecialRiskPoints& other) noexcept;
    SpecialRiskPoints& operator-=(const SpecialRiskPoints& other) noexcept;

    /// Lets the far points count by a share only: ZL and ZR times these factors.
    void CoverFarPoints(double coverZL, double coverZR) noexcept
    {
        static_assert(stress::CountOf(stress::Kind::Tail) == 2, "each tail has its cover factor");
        points[ZL] *= coverZL;
        points[ZR] *= coverZR;
    }
    /// DownRisk and UpRisk times the participant's ratio.
    void ScaleCharges(double chargeRatio) noexcept
    {
        static_assert(stress::CountOf(stress::Kind::Charge) == 2, "each charge is scaled");
        points[DownRisk] *= chargeRatio;
        points[UpRisk] *= chargeRatio;
    }

    /// Every point above the bound, and every NaN, becomes the bound.
    void BoundValuesFromAbove(double bound) noexcept;
    /// Every point below the bound, and every NaN, becomes the bound.
    void BoundValuesFromBelow(double bound) noexcept;

    /// A copy in which no stress point is worse than the loss that the edge of the grid implies once the position is
    /// worn down through the three market-risk tiers of its base contract. `row` is the collapsed result over the price
    /// grid, lowest price first; an empty row implies no loss. Charges and tails stay as they are.
    [[nodiscard]] SpecialRiskPoints GetCorrectedSpecialRiskPoints(const RiskRow& row,
                                                                  const CSpecBaseContract& baseContract,
                                                                  Enums::ClientRiskLevel level) const;

    /// Curved() on all eight with shift `a` and radius `b`; nothing unless b is above 0.
    void ApplyCurvature(double a, double b) noexcept;
    /// Curved_PositionsOnly() on all eight with shift `a`, radius `b` and cap `c`; nothing unless b is above 0.
    void ApplyCurvature_PositionsOnly(double a, double b, double c) noexcept;

    /// Plain comparison of the eight numbers: a NaN makes them differ.
    [[nodiscard]] bool operator==(const SpecialRiskPoints& other) const noexcept { return points == other.points; }
    [[nodiscard]] bool operator!=(const SpecialRiskPoints& other) const noexcept { return !(*this == other); }

private:
    alignas(RiskItem) std::array<double, MappingSize> points{};
};

inline SpecialRiskPoints& SpecialRiskPoints::operator*=(double value) noexcept
{
    for (double& point : points)
        point *= value;
    return *this;
}

inline void SpecialRiskPoints::ShiftAll(double shift) noexcept
{
    for (double& point : points)
        point += shift;
}

inline SpecialRiskPoints& SpecialRiskPoints::operator+=(const SpecialRiskPoints& other) noexcept
{
    for (std::size_t i = 0; i < MappingSize; ++i)
        points[i] += other.points[i];
    return *this;
}

inline SpecialRiskPoints& SpecialRiskPoints::operator-=(const SpecialRiskPoints& other) noexcept
{
    for (std::size_t i = 0; i < MappingSize; ++i)
        points[i] -= other.points[i];
    return *this;
}

} // namespace kv7im
