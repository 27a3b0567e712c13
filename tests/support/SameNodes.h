// SameNodes: whether a node of the engine holds what its plain twin holds, from the cells to the margins.
//
// A node may hand out its sides by value, made for the reader, so each is taken once and looked at as long as it is
// needed.
#pragma once

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "SameBits.h"
#include "grids/Risk.h"
#include "grids/RiskRow.h"

/// Which lanes of a matrix are looked at. Where sub-points are folded the padding differs and means nothing.
enum class Lanes
{
    Real,
    All,
};

inline std::vector<double> CellsOf(const kv7im::RiskMatrix& matrix, Lanes lanes = Lanes::Real)
{
    const std::size_t columns =
        lanes == Lanes::Real ? matrix.ColsCount() : matrix.GetColsRegister() * kv7im::RiskItem::Lanes;
    std::vector<double> cells;
    cells.reserve(matrix.RowsCount() * columns);
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < columns; ++column)
            cells.push_back(matrix[row][column]);
    return cells;
}

inline std::vector<double> PointsOf(const kv7im::SpecialRiskPoints& points)
{
    return {points.pData(), points.pData() + kv7im::SpecialRiskPoints::size()};
}

inline std::vector<double> CellsOf(const kv7im::Risk& risk, Lanes lanes = Lanes::Real)
{
    std::vector<double> cells;
    for (const kv7im::RiskMatrix* const matrix : {&risk.GetRisk().Volatility(), &risk.GetRisk().InterestRate(),
                                                  &risk.GetRisk().VolatilityMismatch(), &risk.GetRisk().Expiration()}) {
        const std::vector<double> more = CellsOf(*matrix, lanes);
        cells.insert(cells.end(), more.begin(), more.end());
    }
    const std::vector<double> points = PointsOf(risk.GetSpecialRiskPoints());
    cells.insert(cells.end(), points.begin(), points.end());
    return cells;
}

inline testing::AssertionResult SameCells(const kv7im::RiskMatrix& a, const kv7im::RiskMatrix& b, Lanes lanes)
{
    if (a.RowsCount() != b.RowsCount() || a.ColsCount() != b.ColsCount())
        return testing::AssertionFailure() << "other dimensions";
    const std::size_t columns = lanes == Lanes::Real ? a.ColsCount() : a.GetColsRegister() * kv7im::RiskItem::Lanes;
    for (std::size_t row = 0; row < a.RowsCount(); ++row)
        for (std::size_t column = 0; column < columns; ++column)
            if (auto same = SameCell(a[row][column], b[row][column]); !same)
                return same << " at row " << row << ", column " << column;
    return testing::AssertionSuccess();
}

inline testing::AssertionResult SameCells(const kv7im::Risk& a, const kv7im::Risk& b, Lanes lanes = Lanes::Real)
{
    const kv7im::Profile& left = a.GetRisk();
    const kv7im::Profile& right = b.GetRisk();
    if (auto same = SameCells(left.Volatility(), right.Volatility(), lanes); !same) return same << " (volatility)";
    if (auto same = SameCells(left.InterestRate(), right.InterestRate(), lanes); !same) return same << " (rates)";
    if (auto same = SameCells(left.VolatilityMismatch(), right.VolatilityMismatch(), lanes); !same)
        return same << " (mismatch)";
    if (auto same = SameCells(left.Expiration(), right.Expiration(), lanes); !same) return same << " (deliveries)";
    return SameCells(PointsOf(a.GetSpecialRiskPoints()), PointsOf(b.GetSpecialRiskPoints())) << " (stress points)";
}

/// Price by price, and the minimum of the whole row, its padding included.
inline testing::AssertionResult SameRow(const kv7im::RiskRow& a, const kv7im::RiskRow& b)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "lengths " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (auto same = SameCell(a[i], b[i]); !same) return same << " at price point " << i;
    return SameCell(a.min(), b.min()) << " (minimum of the row, its padding included)";
}

/// Cells and stress points of both sides.
template <class Node, class Twin>
testing::AssertionResult SameSides(const Node& node, const Twin& twin, Lanes lanes = Lanes::Real)
{
    if (auto same = SameCells(node.Volatility(), twin.Volatility(), lanes); !same) return same << " (volatility side)";
    return SameCells(node.Expiration(), twin.Expiration(), lanes) << " (delivery side)";
}

/// The two sides, what is summed beside them, and the margins as they were stored last.
template <class Node, class Twin>
testing::AssertionResult SameNodes(const Node& node, const Twin& twin, Lanes lanes = Lanes::Real)
{
    if (auto same = SameSides(node, twin, lanes); !same) return same;
    const auto figuresOf = [](const auto& of) {
        return std::vector<double>{of.GetNOVj(), of.GetTotalCumulativePerformance(), of.GetInitialMarginValue(),
                                   of.GetInitialMarginDeliveryValue()};
    };
    return SameBits(figuresOf(node), figuresOf(twin)) << " (option value, paper loss, margins)";
}

/// The rows of a node, as its rolled-up copy has them, and those collapsed from the cells of its twin.
template <class Node, class Twin>
testing::AssertionResult SameRows(const Node& node, const Twin& twin)
{
    const auto rolledUp = node.GetRolledUpRiskNode(kv7im::Risk::CollapseProperty::NegativeAndPositive);
    if (auto same = SameRow(rolledUp.Volatility(), twin.VolatilityRow()); !same) return same << " (volatility row)";
    if (auto same = SameRow(rolledUp.Expiration(), twin.DeliveryRow()); !same) return same << " (delivery row)";
    return SameCells(PointsOf(rolledUp.ExpirationPoints()), PointsOf(twin.Expiration().GetSpecialRiskPoints()))
           << " (stress points of the delivery side)";
}

/// The rows, stress points and margins of a group of base contracts.
template <class Node, class Twin>
testing::AssertionResult SameGroups(const Node& node, const Twin& twin)
{
    if (auto same = SameRow(node.VolatilityRow(), twin.VolatilityRow()); !same) return same << " (volatility row)";
    if (auto same = SameRow(node.ExpirationRow(), twin.ExpirationRow()); !same) return same << " (delivery row)";
    if (auto same = SameCells(PointsOf(node.VolatilityPoints()), PointsOf(twin.VolatilityPoints())); !same)
        return same << " (stress points)";
    if (auto same = SameCells(PointsOf(node.ExpirationPoints()), PointsOf(twin.ExpirationPoints())); !same)
        return same << " (stress points of the delivery side)";
    return SameBits({node.GetInitialMarginValue(), node.GetInitialMarginDeliveryValue()},
                    {twin.GetInitialMarginValue(), twin.GetInitialMarginDeliveryValue()})
           << " (margins)";
}
