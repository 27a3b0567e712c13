// RiskMatrix: results over a grid of market scenarios. Rows are scenarios, columns are price points of the futures.
// BindsRow:   which real price point each column belongs to, for a matrix that carries sub-points behind its real ones.
//
// Storage:      blocks of four columns; within a block the rows follow each other, one RiskItem each. Cell (r, c)
//               is lane (c mod 4) of pData()[(c div 4) * rows + r]. A column block is contiguous, so that the
//               minimum over the scenarios, which every margin ends in, runs straight through memory.
// Always true:  the lanes past the last column are padding; operator=(double) puts NaN there, in every row, and the
//               arithmetic keeps it. Storage comes from the pool; there is none when rows or columns are 0.
// Numbers:      prices in a profile, money in a Risk, where a loss is negative. NaN in a real cell: the price point is
//               not part of the (delivery) scenario.
// Shapes:       rows x columns, but the constructor takes the columns first.
// Two matrices: where no guard is stated the left one drives the loop and the rows are not compared; where the
//               right one is smaller only what both have is worked on, and nothing outside a storage is read.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "grids/RiskItem.h"
#include "grids/RiskRow.h"

namespace kv7im {

/// Bindings of columns to real price points. The first `rollupedSize` columns are the real points, sub-points follow.
struct BindsRow
{
    std::size_t rollupedSize = 0;     // real price points: the width of a matrix after convolution
    std::size_t size = 0;             // all columns, real points and sub-points
    std::vector<std::size_t> binding; // per column its real point; AlignBindsRow may make it longer than `size`

    /// Room for that many real points and sub-points. New columns are bound to point 0, earlier ones keep their target.
    void Resize(std::size_t realPoints, std::size_t subPointsCount);
    /// Binds a column to a real point. A column beyond the table is ignored.
    void BindPoint(std::size_t column, std::size_t target) noexcept;
    /// Brings the table to whole blocks of four columns and one block more, so that a reader by blocks never runs off
    /// its end. Nothing when there are no columns; the counts stay.
    void AlignBindsRow();
};

class RiskMatrix
{
public:
    RiskMatrix() : RiskMatrix(0, 0, false) {}
    /// Columns first. With `initialize` the cells are 0.0 and the padding NaN, without it all bytes are zero, the
    /// padding included. Throws like LazyMemoryPool::Allocate.
    RiskMatrix(std::size_t columns, std::size_t scenarios, bool initialize);
    RiskMatrix(const RiskMatrix& other); ///< The binding goes with the copy.
    /// The binding is carried over and stays in the source too; the source has no rows and no columns afterwards.
    RiskMatrix(RiskMatrix&& other) noexcept;
    ~RiskMatrix();

    RiskMatrix& operator=(const RiskMatrix& other); ///< The binding goes with the copy.
    /// Takes the storage; the two bindings change places. The source has no rows and no columns afterwards.
    RiskMatrix& operator=(RiskMatrix&& other) noexcept;
    /// All cells get the value, the padding gets NaN.
    RiskMatrix& operator=(double value) noexcept;
    void swap(RiskMatrix& other) noexcept;

    /// A view of one row. The index is not checked.
    [[nodiscard]] RiskRowWrapper operator[](std::size_t row) noexcept { return RowAt(row); }
    [[nodiscard]] const RiskRowWrapper operator[](std::size_t row) const noexcept { return RowAt(row); }
    /// The row of the unshifted scenario.
    [[nodiscard]] RiskRowWrapper Median() noexcept { return RowAt(medianLineNumber); }
    [[nodiscard]] const RiskRowWrapper Median() const noexcept { return RowAt(medianLineNumber); }
    /// Index of the central scenario: 1 of 3 rows, 1 of 4, 0 of 2, 0 of 1; without rows the all-ones value.
    [[nodiscard]] std::size_t MedianLineNumber() const noexcept { return medianLineNumber; }

    [[nodiscard]] std::size_t ColsCount() const noexcept { return cols; }
    [[nodiscard]] std::size_t RowsCount() const noexcept { return rows; }
    /// Blocks of four columns.
    [[nodiscard]] std::size_t GetColsRegister() const noexcept { return colsRegister; }
    /// RiskItems in the whole matrix.
    [[nodiscard]] std::size_t GetFullSizeRegister() const noexcept { return fullSizeRegister; }
    /// First RiskItem, null when the matrix has no cells.
    [[nodiscard]] RiskItem* pData() noexcept { return data; }
    [[nodiscard]] const RiskItem* pData() const noexcept { return data; }

    /// Bindings of the sub-points, or null. They belong to the option series, which must outlive this pointer.
    [[nodiscard]] const BindsRow* Binding() const noexcept { return bindingArray; }
    void SetBinding(const BindsRow* binding) noexcept { bindingArray = binding; }

    RiskMatrix& operator+=(double value) noexcept;
    RiskMatrix& operator-=(double value) noexcept;
    RiskMatrix& operator*=(double value) noexcept;

    /// Adds `other` cell by cell. Does nothing if either matrix has no columns; the rows are not compared.
    RiskMatrix& operator+=(const RiskMatrix& other) noexcept;
    RiskMatrix& operator-=(const RiskMatrix& other) noexcept;

    /// Adds the row to every row. Does nothing without rows or where the widths differ.
    RiskMatrix& operator+=(const avxarray& row) noexcept;
    RiskMatrix& operator+=(const RiskRowWrapper& row) noexcept;
    RiskMatrix& operator-=(const RiskRowWrapper& row) noexcept;

    /// Raises every cell below the bound to it. A NaN cell stays NaN.
    void BoundValuesFromBelow(double bound) noexcept;
    /// Lowers every cell above the bound to it. A NaN cell stays NaN.
    void BoundValuesFromAbove(double bound) noexcept;

    /// Takes over the losses only: every cell += min(other cell, 0), a NaN in `other` counting as 0.
    /// Nothing if either matrix has no columns or no storage. The rows are not compared.
    void NegativeSum(const RiskMatrix& other) noexcept;
    /// Takes the losses out again: every cell -= min(other cell, 0). Nothing if either matrix has no columns, if rows
    /// or columns differ, or without storage. The guards are meant to be stricter than those of NegativeSum.
    void SubtractionNegative(const RiskMatrix& other) noexcept;

    /// Minimum over all rows of the four columns of block `block` (a block index, not a column). NaN is passed over; a
    /// lane without any number, padding first of all, holds the largest finite double. Zeros when there are no rows, so
    /// that the stress terms of an instrument without them vanish.
    [[nodiscard]] RiskItem MinimumInColumn(std::size_t block) const noexcept;

    /// The matrix on real price points: every sub-point is folded into the point that it is bound to, by minimum, row
    /// by row. Without a binding, or without storage, a plain copy; otherwise the result has no binding. The lanes past
    /// the last real point then hold the sub-points that stood there, not NaN.
    [[nodiscard]] RiskMatrix ConvolutionMatrix() const;

    /// Sum of the real cells, column by column and within a column row by row. Slow; for reading back.
    [[nodiscard]] double sum() const noexcept;

    /// Same dimensions and the same numbers in all real cells. A NaN cell makes the matrices differ.
    [[nodiscard]] bool operator==(const RiskMatrix& other) const noexcept;
    [[nodiscard]] bool operator!=(const RiskMatrix& other) const noexcept { return !(*this == other); }

    /// Gives the matrix these dimensions, all cells 0.0; does nothing when it has them already. The binding stays.
    void resize(std::size_t scenarios, std::size_t columns);
    /// Sets the number of rows. With 0 rows the columns go as well.
    void ResizeRows(std::size_t scenarios);
    /// Sets the number of columns and the binding.
    void ResizePoint(std::size_t columns, const BindsRow* binding);

private:
    void Initializer(std::size_t columns,
                     std::size_t scenarios);          // dimensions and unfilled storage; nothing may be held
    void Release() noexcept;                          // gives the storage back, counters to zero
    void clean() noexcept;                            // forgets the storage, counters to zero
    void CopyCells(const RiskMatrix& other) noexcept; // same dimensions
    void FoldColumn(const RiskMatrix& source, std::size_t column, std::size_t target) noexcept;

    // Without storage there is no cell to look at, whatever the row (the central one of no rows is the all-ones index).
    [[nodiscard]] RiskRowWrapper RowAt(std::size_t row) const noexcept
    {
        return data != nullptr ? RiskRowWrapper{data + row, cols, rows} : RiskRowWrapper{nullptr, 0, rows};
    }
    template <class Operator>
    void ForEachWithRow(const RiskRowWrapper& row) noexcept;
    [[nodiscard]] std::size_t Overlap(const RiskMatrix& other) const noexcept
    {
        return cols == 0 || other.cols == 0 ? 0 : std::min(fullSizeRegister, other.fullSizeRegister);
    }

    std::size_t rows = 0;                   // scenarios
    std::size_t cols = 0;                   // price points
    std::size_t colsRegister = 0;           // blocks of four price points
    std::size_t fullSizeRegister = 0;       // RiskItems in all
    std::size_t medianLineNumber = 0;       // the central scenario
    RiskItem* data = nullptr;               // from the pool, owned; null when rows or columns are 0
    const BindsRow* bindingArray = nullptr; // owned by the option series
};

inline void swap(RiskMatrix& a, RiskMatrix& b) noexcept { a.swap(b); }

inline RiskMatrix& RiskMatrix::operator+=(double value) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::Add{value});
    return *this;
}

inline RiskMatrix& RiskMatrix::operator-=(double value) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::Sub{value});
    return *this;
}

inline RiskMatrix& RiskMatrix::operator*=(double value) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::Mul{value});
    return *this;
}

inline RiskMatrix& RiskMatrix::operator+=(const RiskMatrix& other) noexcept
{
    ForEachItem(data, Overlap(other), MOps::Add{other.data});
    return *this;
}

inline RiskMatrix& RiskMatrix::operator-=(const RiskMatrix& other) noexcept
{
    ForEachItem(data, Overlap(other), MOps::Sub{other.data});
    return *this;
}

inline void RiskMatrix::BoundValuesFromBelow(double bound) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::BoundBelow{bound});
}

inline void RiskMatrix::BoundValuesFromAbove(double bound) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::BoundAbove{bound});
}

inline RiskItem RiskMatrix::MinimumInColumn(std::size_t block) const noexcept
{
    if (rows == 0 || block >= colsRegister) return RiskItem(0.0);
    RiskItem smallest(LargestFinite);
    const RiskItem* cells = data + block * rows;
    for (std::size_t row = 0; row < rows; ++row)
        smallest = Min(cells[row], smallest); // a NaN cell never wins
    return smallest;
}

} // namespace kv7im
