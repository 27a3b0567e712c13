// RolledUpRiskNode: a node collapsed to rows and cut loose from the tree. A participant fed from below sums such nodes.
#pragma once

#include <cstddef>

#include "Enums.h"
#include "grids/Risk.h"
#include "grids/SidedRows.h"

namespace kv7im {

class CSpecBaseContract;

class RolledUpRiskNode
{
public:
    /// Zero rows of pointsNum values.
    RolledUpRiskNode(std::size_t pointsNum, Enums::ClientRiskLevel level) : m_rows(pointsNum), m_riskLevel(level) {}
    /// The two sides of a node collapsed; netOptionValue and paperLoss in money.
    RolledUpRiskNode(const Risk& volatility, const Risk& expiration, double netOptionValue, double paperLoss,
                     Enums::ClientRiskLevel level);
    RolledUpRiskNode(const RolledUpRiskNode&) = default;
    RolledUpRiskNode(RolledUpRiskNode&&) = default;
    ~RolledUpRiskNode() = default;
    /// Copies rows, points, sums and level; the margins and the flag of the target stay.
    RolledUpRiskNode& operator=(const RolledUpRiskNode& other);

    RolledUpRiskNode& operator+=(const RolledUpRiskNode& other);
    RolledUpRiskNode& operator-=(const RolledUpRiskNode& other);
    /// Takes over the state of `now` and returns the change of the losses: what is below 0 there, less what was below 0
    /// here. The margins and the flag stay.
    [[nodiscard]] RolledUpRiskNode ReplaceBy(RolledUpRiskNode now);
    /// Makes sure that adding a node like `other` takes no memory for cells.
    void MakeRoomFor(const RolledUpRiskNode& other)
    {
        if (other.m_rows.SidesDiffer()) m_rows.Separate();
    }
    void Zero(); ///< Rows, points and sums to 0; padding lanes stay NaN.

    /// Recomputes the volatility margin, the absolute value of the worst cell without a ratio; stores it and returns
    /// its change.
    double UpdateInitialMarginValue();
    /// Recomputes the delivery margin, the absolute value of the worst cell without a ratio; stores it and returns its
    /// change.
    double UpdateInitialMarginDeliveryValue();

    void BoundValuesFromAbove(double bound) noexcept { m_rows.BoundValuesFromAbove(bound); }
    /// Corrects the stress points by the rows and applies the curvature of a contract priced through a currency.
    void ApplyCorrection(const CSpecBaseContract& baseContract);
    /// Corrects the stress points by the rows and applies the curvature of positions alone, which gives back what the
    /// paper loss covers.
    void ApplyCorrection_PositionsOnly(const CSpecBaseContract& baseContract);

    [[nodiscard]] std::size_t PointsNum() const noexcept { return m_rows.volatility.size(); }
    [[nodiscard]] const RiskRow& Volatility() const noexcept { return m_rows.volatility; }
    [[nodiscard]] const RiskRow& Expiration() const noexcept { return m_rows.Delivery(); }
    [[nodiscard]] const SpecialRiskPoints& VolatilityPoints() const noexcept { return m_rows.volatilityPoints; }
    [[nodiscard]] const SpecialRiskPoints& ExpirationPoints() const noexcept { return m_rows.DeliveryPoints(); }
    [[nodiscard]] double GetNOVj() const noexcept { return NOVj; }
    [[nodiscard]] double GetTotalCumulativePerformance() const noexcept { return m_totalCumulativePerformance; }
    [[nodiscard]] double GetInitialMarginValue() const noexcept { return initialMarginValue; }
    [[nodiscard]] double GetInitialMarginDeliveryValue() const noexcept { return initialMarginDeliveryValue; }
    [[nodiscard]] Enums::ClientRiskLevel GetRiskLevel() const noexcept { return m_riskLevel; }
    [[nodiscard]] bool GetIsFromSpreadAspectChange() const noexcept { return isFromSpreadAspectChange; }
    void SetIsFromSpreadAspectChange(bool value) noexcept { isFromSpreadAspectChange = value; }

private:
    friend class RiskNodeBase;

    template <class AnyCurvature>
    void Correct(const CSpecBaseContract& baseContract, const AnyCurvature& curvature);

    SidedRows m_rows;
    double initialMarginValue = 0.0;
    double initialMarginDeliveryValue = 0.0;
    double NOVj = 0.0;
    double m_totalCumulativePerformance = 0.0;
    Enums::ClientRiskLevel m_riskLevel;
    bool isFromSpreadAspectChange = false;
};

} // namespace kv7im
