#include "grids/Risk.h"

namespace kv7im {

namespace {

/// Worst result of four price points over the rows of one matrix, NaN counting as 0.
RiskItem WorstOfBlock(const RiskMatrix& matrix, std::size_t block) noexcept
{
    const std::size_t rows = matrix.RowsCount();
    const RiskItem* cells = matrix.pData() + block * rows;
    RiskItem worst(LargestFinite);
    for (std::size_t row = 0; row < rows; ++row)
        worst = Min(ZeroIfNaN(cells[row]), worst);
    return worst;
}

/// Matrices without sub-points: worst volatility + worst rate stress + worst mismatch, each alone.
void CollapseRealPoints(const RiskMatrix& volatility, const RiskMatrix& interestRate, const RiskMatrix& mismatch,
                        double limit, RiskRow& row)
{
    const RiskItem ceiling(limit);
    row.resize(volatility.ColsCount());
    for (std::size_t block = 0; block < row.GetRegisterCount(); ++block) {
        RiskItem worst = WorstOfBlock(volatility, block);
        if (interestRate.RowsCount() != 0) worst = Add(worst, WorstOfBlock(interestRate, block));
        if (mismatch.RowsCount() != 0) worst = Add(worst, WorstOfBlock(mismatch, block));
        row.pData()[block] = Min(worst, ceiling);
    }
}

} // namespace

Risk& Risk::operator*=(double value) noexcept
{
    risks.volatilityMatrix *= value;
    risks.interestRateMatrix *= value;
    risks.volatilityMismatchMatrix *= value;
    risks.expirationRiskMatrix *= value;
    risks.specialRiskPoints *= value;
    return *this;
}

Risk& Risk::operator+=(const Risk& other) noexcept
{
    risks.volatilityMatrix += other.risks.volatilityMatrix;
    risks.interestRateMatrix += other.risks.interestRateMatrix;
    risks.volatilityMismatchMatrix += other.risks.volatilityMismatchMatrix;
    if (risks.profileParameters.hasExpiration() && other.risks.profileParameters.hasExpiration())
        risks.expirationRiskMatrix += other.risks.expirationRiskMatrix;
    risks.specialRiskPoints += other.risks.specialRiskPoints;
    return *this;
}

Risk& Risk::operator-=(const Risk& other) noexcept
{
    risks.volatilityMatrix -= other.risks.volatilityMatrix;
    risks.interestRateMatrix -= other.risks.interestRateMatrix;
    risks.volatilityMismatchMatrix -= other.risks.volatilityMismatchMatrix;
    if (risks.profileParameters.hasExpiration() && other.risks.profileParameters.hasExpiration())
        risks.expirationRiskMatrix -= other.risks.expirationRiskMatrix;
    risks.specialRiskPoints -= other.risks.specialRiskPoints;
    return *this;
}

void Risk::AddNetted(const Risk& part, bool ratesByLosses) noexcept
{
    risks.volatilityMatrix += part.risks.volatilityMatrix;
    if (ratesByLosses)
        risks.interestRateMatrix.NegativeSum(part.risks.interestRateMatrix);
    else
        risks.interestRateMatrix += part.risks.interestRateMatrix;
    risks.volatilityMismatchMatrix.NegativeSum(part.risks.volatilityMismatchMatrix);
    risks.specialRiskPoints += part.risks.specialRiskPoints;
}

void Risk::BoundValuesFromAbove(double bound) noexcept
{
    risks.volatilityMatrix.BoundValuesFromAbove(bound);
    risks.interestRateMatrix.BoundValuesFromAbove(bound);
    risks.volatilityMismatchMatrix.BoundValuesFromAbove(bound);
    risks.expirationRiskMatrix.BoundValuesFromAbove(bound);
    risks.specialRiskPoints.BoundValuesFromAbove(bound);
}

RiskRow Risk::CollapseToRiskRow(CollapseProperty property) const
{
    RiskRow row(0);
    CollapseToRiskRow(property, row);
    return row;
}

void Risk::CollapseToRiskRow(CollapseProperty property, RiskRow& row) const
{
    const double limit = property == CollapseProperty::NegativeAndPositive ? LargestFinite : 0.0;
    if (!risks.profileParameters.hasSubPoints())
        CollapseRealPoints(risks.volatilityMatrix, risks.interestRateMatrix, risks.volatilityMismatchMatrix, limit,
                           row);
    else
        CollapseRealPoints(risks.volatilityMatrix.ConvolutionMatrix(), risks.interestRateMatrix.ConvolutionMatrix(),
                           risks.volatilityMismatchMatrix.ConvolutionMatrix(), limit, row);
}

void Risk::HalfNetting(double ceiling) noexcept
{
    const RiskItem top(ceiling);
    const std::size_t rows = risks.volatilityMatrix.RowsCount();
    const std::size_t median = risks.volatilityMatrix.MedianLineNumber();
    for (std::size_t block = 0; block < risks.volatilityMatrix.GetColsRegister(); ++block) {
        const RiskItem rateStress = risks.interestRateMatrix.MinimumInColumn(block);
        const RiskItem mismatch = risks.volatilityMismatchMatrix.MinimumInColumn(block);
        RiskItem* cells = risks.volatilityMatrix.pData() + block * rows;
        for (std::size_t row = 0; row < rows; ++row) {
            const RiskItem stressed = Add(rateStress, cells[row]);
            // The ceiling stands first: NaN padding stays NaN. The central scenario takes no mismatch charge.
            cells[row] = Min(top, row == median ? stressed : Add(stressed, mismatch));
        }
    }
    risks.interestRateMatrix = 0.0;
    risks.volatilityMismatchMatrix = 0.0;
    risks.specialRiskPoints.BoundValuesFromAbove(ceiling);
}

void Risk::MixinExpirationRiskOnVolatility()
{
    if (!risks.profileParameters.hasExpiration()) return;
    const std::size_t rows = risks.volatilityMatrix.RowsCount();
    for (std::size_t block = 0; block < risks.volatilityMatrix.GetColsRegister(); ++block)
        ForEachItem(risks.volatilityMatrix.pData() + block * rows, rows,
                    DOps::Set{risks.expirationRiskMatrix.MinimumInColumn(block)});
    risks.interestRateMatrix = 0.0;
    risks.volatilityMismatchMatrix = 0.0;
    risks.ExcludeExpiration();
}

void Risk::GetRollupedRisk(Risk& target) const
{
    target.risks.volatilityMatrix = risks.volatilityMatrix.ConvolutionMatrix();
    target.risks.interestRateMatrix = risks.interestRateMatrix.ConvolutionMatrix();
    target.risks.volatilityMismatchMatrix = risks.volatilityMismatchMatrix.ConvolutionMatrix();
    target.risks.expirationRiskMatrix = risks.expirationRiskMatrix.ConvolutionMatrix();
    target.risks.specialRiskPoints = risks.specialRiskPoints;
}

Risk Risk::OnRealPoints() const
{
    Parameters parameters = risks.profileParameters;
    if (!parameters.hasSubPoints()) return *this;
    parameters.subPointsCount = 0;
    Risk folded(parameters);
    GetRollupedRisk(folded);
    return folded;
}

} // namespace kv7im
