// Arithmetic on rows, matrices and risks in which a change can be written down cell by cell. The engine has kernels in
// its place, which go over the cells once.
#include <cstring>

#include "grids/Profile.h"
#include "grids/Risk.h"
#include "grids/RiskMatrix.h"
#include "grids/RiskRow.h"

namespace kv7im {

double avxarray::max() const noexcept
{
    RiskItem largest(SmallestPositive);
    for (std::size_t i = 0; i < _sizeInRegister; ++i)
        largest = Max(data[i], largest); // a NaN lane never wins
    return operation::_::FoldLanes(largest, operation::_::max<double>{});
}

double avxarray::sum() const noexcept
{
    RiskItem total(0.0);
    for (std::size_t i = 0; i < _sizeInRegister; ++i)
        total = Add(total, data[i]);
    return SumOfLanes(total);
}

bool operator==(const avxarray& a, const avxarray& b) noexcept
{
    // All bytes that the two arrays own are compared, padding included. Cells are 8 bytes and share RiskItems of 32, so
    // bytes beyond the last RiskItem belong to no array and tell nothing more.
    if (a.size() != b.size()) return false;
    if (a.GetRegisterCount() == 0) return true;
    return std::memcmp(a.pData(), b.pData(), a.GetRegisterCount() * sizeof(RiskItem)) == 0;
}

bool operator!=(const avxarray& a, const avxarray& b) noexcept { return !(a == b); }

template <class Operator>
void RiskMatrix::ForEachWithRow(const RiskRowWrapper& row) noexcept
{
    if (rows == 0 || colsRegister == 0 || cols != row.size()) return;
    for (std::size_t block = 0; block < colsRegister; ++block)
        ForEachItem(data + block * rows, rows, Operator{row.pData(block)});
}

RiskMatrix& RiskMatrix::operator+=(const RiskRowWrapper& row) noexcept
{
    ForEachWithRow<DOps::Add>(row);
    return *this;
}

RiskMatrix& RiskMatrix::operator-=(const RiskRowWrapper& row) noexcept
{
    ForEachWithRow<DOps::Sub>(row);
    return *this;
}

double RiskMatrix::sum() const noexcept
{
    if (data == nullptr) return 0.0;
    double total = 0.0;
    for (std::size_t column = 0; column < cols; ++column)
        for (std::size_t row = 0; row < rows; ++row)
            total += RowAt(row)[column];
    return total;
}

bool RiskMatrix::operator==(const RiskMatrix& other) const noexcept
{
    if (rows != other.rows || cols != other.cols) return false;
    if (data == nullptr) return true;
    for (std::size_t column = 0; column < cols; ++column)
        for (std::size_t row = 0; row < rows; ++row)
            if (RowAt(row)[column] != other.RowAt(row)[column]) return false;
    return true;
}

bool Profile::operator==(const Profile& other) const noexcept
{
    return volatilityMatrix == other.volatilityMatrix && interestRateMatrix == other.interestRateMatrix &&
           volatilityMismatchMatrix == other.volatilityMismatchMatrix && specialRiskPoints == other.specialRiskPoints;
}

Risk& Risk::operator+=(double value) noexcept
{
    risks.volatilityMatrix += value;
    risks.interestRateMatrix += value;
    risks.volatilityMismatchMatrix += value;
    risks.expirationRiskMatrix += value;
    risks.specialRiskPoints += value;
    return *this;
}

Risk& Risk::operator-=(double value) noexcept
{
    risks.volatilityMatrix -= value;
    risks.interestRateMatrix -= value;
    risks.volatilityMismatchMatrix -= value;
    risks.expirationRiskMatrix -= value;
    risks.specialRiskPoints -= value;
    return *this;
}

Risk& Risk::operator+=(const RiskRowWrapper& row) noexcept
{
    risks.volatilityMatrix += row;
    risks.interestRateMatrix += row;
    risks.volatilityMismatchMatrix += row;
    return *this;
}

Risk& Risk::operator-=(const RiskRowWrapper& row) noexcept
{
    risks.volatilityMatrix -= row;
    risks.interestRateMatrix -= row;
    risks.volatilityMismatchMatrix -= row;
    return *this;
}

void Risk::BoundValuesFromBelow(double bound) noexcept
{
    risks.volatilityMatrix.BoundValuesFromBelow(bound);
    risks.interestRateMatrix.BoundValuesFromBelow(bound);
    risks.volatilityMismatchMatrix.BoundValuesFromBelow(bound);
    risks.expirationRiskMatrix.BoundValuesFromBelow(bound);
    risks.specialRiskPoints.BoundValuesFromBelow(bound);
}

} // namespace kv7im
