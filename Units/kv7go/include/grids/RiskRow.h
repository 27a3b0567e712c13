// avxarray (RiskRow): one value per price point, such as the collapsed result of a position or of a whole margin group.
// RiskRowWrapper:     a view of one row inside a RiskMatrix, or of one array.
//
// Always true:  cells 0 to size() - 1 are real; the lanes after them, up to the end of the last RiskItem, are padding.
//               storage comes from the pool and is aligned to 64 bytes.
//               operator=(double), and so every constructor with a length, puts NaN into the padding.
// Numbers:      money per price point in the margin, a loss is negative. NaN in a real cell: outside the scope.
// Two operands: they are meant to have one length, and none of the operators checks it: the left one drives the loop.
//               Where the right one is shorter, only what both have is worked on; nothing outside a storage is read.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

#include "grids/RiskItem.h"

namespace kv7im {

class avxarray
{
public:
    avxarray();                          ///< Length 1, value 0.0.
    explicit avxarray(std::size_t size); ///< All cells 0.0. Throws like LazyMemoryPool::Allocate.
    avxarray(double value, std::size_t size);
    avxarray(const avxarray& other);
    avxarray(avxarray&& other) noexcept; ///< Leaves the source empty: no storage, length 0.
    ~avxarray();

    /// An array with undefined content: the caller writes every RiskItem of it, cells and padding.
    [[nodiscard]] static avxarray Unfilled(std::size_t size);
    /// Makes sure that the pool has so many arrays of this length, so that taking them cannot fail
    /// (LazyMemoryPool::MakeSure). Throws kv7base::CZ9Error with code 1.
    static void MakeSure(std::size_t size, std::size_t arrays);

    avxarray& operator=(const avxarray& other);
    avxarray& operator=(avxarray&& other) noexcept;
    /// All cells get the value, the padding gets NaN.
    avxarray& operator=(double value) noexcept;

    /// Gives the array this length, all cells 0.0; does nothing when it has that length already.
    void resize(std::size_t size);

    avxarray& operator+=(double value) noexcept;
    avxarray& operator-=(double value) noexcept;
    avxarray& operator*=(double value) noexcept;
    avxarray& operator+=(const avxarray& other) noexcept;
    avxarray& operator-=(const avxarray& other) noexcept;

    /// Raises every cell below the bound to it. A NaN cell stays NaN.
    void BoundValuesFromBelow(double bound) noexcept;
    /// Lowers every cell above the bound to it. A NaN cell stays NaN.
    void BoundValuesFromAbove(double bound) noexcept;

    /// Smallest number in the array, padding included; NaN is passed over. Without any number the largest finite
    /// double.
    [[nodiscard]] double min() const noexcept;
    /// Largest positive number in the array; NaN is passed over. The search starts at the smallest positive normalised
    /// double, not at the lowest value: an array of only negative numbers answers 2.2250738585072014e-308.
    [[nodiscard]] double max() const noexcept;
    /// Sum of all lanes, padding included, so NaN where padding is NaN. Lane by lane over the RiskItems, then lanes 0
    /// and 1, then 2, then 3.
    [[nodiscard]] double sum() const noexcept;

    [[nodiscard]] std::size_t size() const noexcept { return _size; }
    /// RiskItems in use: the length divided by four, rounded up.
    [[nodiscard]] std::size_t GetRegisterCount() const noexcept { return _sizeInRegister; }
    [[nodiscard]] RiskItem* pData() noexcept { return data; }
    [[nodiscard]] const RiskItem* pData() const noexcept { return data; }

    /// One cell; the index is not checked.
    [[nodiscard]] double& operator[](std::size_t index) noexcept
    {
        return data[index / RiskItem::Lanes][index % RiskItem::Lanes];
    }
    [[nodiscard]] double operator[](std::size_t index) const noexcept
    {
        return std::as_const(data[index / RiskItem::Lanes])[index % RiskItem::Lanes];
    }

    void swap(avxarray& other) noexcept;

private:
    struct UnfilledTag
    {};
    avxarray(UnfilledTag, std::size_t size);

    void Initiator(std::size_t size); // acquires storage without filling it; nothing may be held
    void Release() noexcept;          // gives the storage back and leaves the array empty
    void clean() noexcept;            // forgets the storage
    [[nodiscard]] std::size_t Overlap(const avxarray& other) const noexcept
    {
        return std::min(_sizeInRegister, other._sizeInRegister);
    }

    std::size_t _size = 0;           // logical number of cells
    std::size_t _sizeInRegister = 0; // RiskItems
    RiskItem* data = nullptr;        // from the pool, owned
};

using RiskRow = avxarray;

/// Element-wise smaller value; the result has the length of `a`. Where either cell is NaN the cell of `b` is taken.
[[nodiscard]] avxarray min(const avxarray& a, const avxarray& b);

void swap(avxarray& a, avxarray& b) noexcept;

/// True for equal length and equal bytes, padding included: +0.0 differs from -0.0, a NaN equals a NaN of the same
/// bits.
[[nodiscard]] bool operator==(const avxarray& a, const avxarray& b) noexcept;
[[nodiscard]] bool operator!=(const avxarray& a, const avxarray& b) noexcept;

/// A row, not owned, whose RiskItems stand `step` apart. It is valid as long as the storage it looks at. Copying the
/// view aims it elsewhere and copies no cells. A const view only reads: rows of a const matrix come as const views.
class RiskRowWrapper
{
public:
    RiskRowWrapper(RiskItem* first, std::size_t length, std::size_t distance) noexcept
        : base(first), len(length), step(distance)
    {}
    explicit RiskRowWrapper(avxarray& array) noexcept : base(array.pData()), len(array.size()), step(1) {}

    [[nodiscard]] std::size_t size() const noexcept { return len; }

    /// One cell, the index not checked.
    [[nodiscard]] double& operator[](std::size_t index) noexcept
    {
        return pData(index / RiskItem::Lanes)[index % RiskItem::Lanes];
    }
    [[nodiscard]] double operator[](std::size_t index) const noexcept
    {
        return pData(index / RiskItem::Lanes)[index % RiskItem::Lanes];
    }
    /// The k-th RiskItem of the row.
    [[nodiscard]] RiskItem& pData(std::size_t k) noexcept { return base[k * step]; }
    [[nodiscard]] const RiskItem& pData(std::size_t k) const noexcept { return base[k * step]; }

    /// Every real cell gets the value; the padding keeps what it holds.
    RiskRowWrapper& operator=(const double& value) noexcept;

    RiskItem* base;   // first RiskItem of the row, null when the matrix has no cells
    std::size_t len;  // logical number of cells
    std::size_t step; // RiskItems between two neighbours of the row
};

inline avxarray& avxarray::operator+=(double value) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::Add{value});
    return *this;
}

inline avxarray& avxarray::operator-=(double value) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::Sub{value});
    return *this;
}

inline avxarray& avxarray::operator*=(double value) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::Mul{value});
    return *this;
}

inline avxarray& avxarray::operator+=(const avxarray& other) noexcept
{
    ForEachItem(data, Overlap(other), MOps::Add{other.data});
    return *this;
}

inline avxarray& avxarray::operator-=(const avxarray& other) noexcept
{
    ForEachItem(data, Overlap(other), MOps::Sub{other.data});
    return *this;
}

inline void avxarray::BoundValuesFromBelow(double bound) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::BoundBelow{bound});
}

inline void avxarray::BoundValuesFromAbove(double bound) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::BoundAbove{bound});
}

} // namespace kv7im
