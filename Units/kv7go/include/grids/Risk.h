// Risk: a Profile that holds money instead of prices, of a position, of a set of orders or of a whole risk node.
//
// Numbers:      money, a loss is negative. NaN in an expiration cell: the price point is out of that delivery scenario.
// Meaning:      the rows of one matrix are alternatives, of which the worst is taken. The volatility matrix is
//               the result itself; the interest rate and mismatch matrices are charges that come on top of it.
// Always true:  sums and differences have the dimensions of the left side, which are not compared with the right one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Enums.h"
#include "grids/Profile.h"

namespace kv7im {

class Risk
{
public:
    /// Which of the worst results a collapsed row keeps.
    enum class CollapseProperty : std::int32_t
    {
        NegativeAndPositive = 0,
        Negative = 1,
        CumulativePerformance = 2, // same values as Negative; the callers tell the two apart
    };

    Risk() : Risk(Parameters{}) {} ///< No rows, no columns.
    /// All zero, no binding. Throws like LazyMemoryPool::Allocate.
    explicit Risk(const Parameters& parameters) : risks(parameters) {}
    /// A deep copy of the instrument's profile of that level, the binding pointers included.
    Risk(const BaseProfile& instrument, Enums::ClientRiskLevel level) : risks(instrument.CopyProfile(level)) {}

    [[nodiscard]] Profile& GetRisk() noexcept { return risks; }
    [[nodiscard]] const Profile& GetRisk() const noexcept { return risks; }
    [[nodiscard]] SpecialRiskPoints& GetSpecialRiskPoints() noexcept { return risks.GetSpecialRiskPoints(); }
    [[nodiscard]] const SpecialRiskPoints& GetSpecialRiskPoints() const noexcept
    {
        return risks.GetSpecialRiskPoints();
    }

    Risk& operator+=(double value) noexcept; ///< All four matrices and special points 1 to 6.
    Risk& operator-=(double value) noexcept; ///< All four matrices and special points 1 to 6.
    Risk& operator*=(double value) noexcept; ///< All four matrices and all eight special points.

    /// Cell by cell and point by point. The delivery rows take part only where both sides have some.
    Risk& operator+=(const Risk& other) noexcept;
    Risk& operator-=(const Risk& other) noexcept;

    /// Adds a part by the rules of a node: values with their signs, the mismatch by its losses, and so the rate stress
    /// where ratesByLosses is set. The part has no sub-points; the delivery rows take no part.
    void AddNetted(const Risk& part, bool ratesByLosses) noexcept;

    /// Adds the row to every row of the volatility, interest rate and mismatch matrices.
    Risk& operator+=(const RiskRowWrapper& row) noexcept;
    Risk& operator-=(const RiskRowWrapper& row) noexcept;

    /// Equal volatility, interest rate and mismatch matrices and special points; the delivery rows take no part.
    [[nodiscard]] bool operator==(const Risk& other) const noexcept { return risks == other.risks; }
    [[nodiscard]] bool operator!=(const Risk& other) const noexcept { return !(*this == other); }

    /// Raises lower values to the bound: in all four matrices, where NaN stays NaN, and in all eight special points,
    /// where NaN becomes the bound.
    void BoundValuesFromBelow(double bound) noexcept;
    void BoundValuesFromAbove(double bound) noexcept;

    /// One result per real price point: the worst volatility row + the worst rate stress + the worst mismatch, each
    /// alone, NaN counting as 0. Sub-points are folded first. Unless `property` is NegativeAndPositive a net profit
    /// counts as 0.
    [[nodiscard]] RiskRow CollapseToRiskRow(CollapseProperty property) const;
    /// Writes the collapsed result into `row`, which needs no memory when it has that length and there are no
    /// sub-points.
    void CollapseToRiskRow(CollapseProperty property, RiskRow& row) const;

    /// Keeps losses only, with both stresses folded into the volatility rows (the central one without the mismatch): a
    /// profit here can no longer relieve a loss elsewhere, while losses still add up cell by cell. The expiration
    /// matrix stays.
    void TransformMatrixByHalfNetting() noexcept { HalfNetting(0.0); }
    /// Keeps losses as TransformMatrixByHalfNetting does, but with `bound`, the paper loss of the node, as the ceiling
    /// instead of 0.
    void TransformMatrixByHalfNetting_PositionsOnly(double bound) noexcept { HalfNetting(bound); }

    /// Folds both stresses into the volatility rows as half netting does, but keeps the gains: what stands above 0
    /// afterwards is what half netting cuts.
    void FoldStressesIntoVolatility() noexcept { HalfNetting(LargestFinite); }

    /// Replaces every volatility row by the worst delivery outcome per price point and drops the stresses and the
    /// delivery rows. A price point outside every scenario gets the largest finite double: no loss there. Does nothing
    /// without delivery rows, and so nothing when called again.
    void MixinExpirationRiskOnVolatility();

    /// Writes the matrices, folded onto real price points, and the special points into `target`. The dimensions of
    /// `target` stay; they are meant to have no sub-points.
    void GetRollupedRisk(Risk& target) const;
    /// A copy on real price points only.
    [[nodiscard]] Risk OnRealPoints() const;

private:
    void HalfNetting(double ceiling) noexcept;

    Profile risks;
};

} // namespace kv7im
