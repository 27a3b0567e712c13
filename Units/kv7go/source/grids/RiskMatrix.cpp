#include "grids/RiskMatrix.h"

#include <limits>
#include <new>
#include <utility>

#include "grids/LazyMemoryPool.h"

namespace kv7im {

namespace {

/// The unshifted scenario stands in the middle; of an even number of rows the lower one of the two. Of no rows the
/// subtraction wraps to the all-ones value, which names no row.
constexpr std::size_t MedianOf(std::size_t rows) noexcept { return rows % 2 == 0 ? rows / 2 - 1 : rows / 2; }

std::size_t ItemsOf(std::size_t blocks, std::size_t rows)
{
    if (rows != 0 && blocks > std::numeric_limits<std::size_t>::max() / rows) throw std::bad_array_new_length();
    return blocks * rows;
}

} // namespace

void BindsRow::Resize(std::size_t realPoints, std::size_t subPointsCount)
{
    binding.resize(realPoints + subPointsCount, 0);
    rollupedSize = realPoints;
    size = binding.size();
}

void BindsRow::BindPoint(std::size_t column, std::size_t target) noexcept
{
    if (column < binding.size()) binding[column] = target;
}

void BindsRow::AlignBindsRow()
{
    if (size == 0) return;
    binding.resize((RegistersOf(size) + 1) * RiskItem::Lanes, 0);
}

RiskMatrix::RiskMatrix(std::size_t columns, std::size_t scenarios, bool initialize)
{
    Initializer(columns, scenarios);
    if (initialize)
        *this = 0.0;
    else
        ForEachItem(data, fullSizeRegister, DOps::Set{0.0});
}

RiskMatrix::RiskMatrix(const RiskMatrix& other) : bindingArray(other.bindingArray)
{
    Initializer(other.cols, other.rows);
    CopyCells(other);
}

RiskMatrix::RiskMatrix(RiskMatrix&& other) noexcept
    : rows(other.rows),
      cols(other.cols),
      colsRegister(other.colsRegister),
      fullSizeRegister(other.fullSizeRegister),
      medianLineNumber(other.medianLineNumber),
      data(other.data),
      bindingArray(other.bindingArray)
{
    other.clean();
}

RiskMatrix::~RiskMatrix() { Release(); }

RiskMatrix& RiskMatrix::operator=(const RiskMatrix& other)
{
    if (this == &other) return *this;
    if (rows != other.rows || cols != other.cols) {
        Release();
        Initializer(other.cols, other.rows);
    }
    CopyCells(other);
    bindingArray = other.bindingArray;
    return *this;
}

RiskMatrix& RiskMatrix::operator=(RiskMatrix&& other) noexcept
{
    if (this == &other) return *this;
    Release();
    swap(other);
    return *this;
}

RiskMatrix& RiskMatrix::operator=(double value) noexcept
{
    ForEachItem(data, fullSizeRegister, DOps::Set{value});
    if (fullSizeRegister == 0) return *this;
    RiskItem* lastBlock = data + (colsRegister - 1) * rows;
    for (std::size_t column = cols; column < colsRegister * RiskItem::Lanes; ++column)
        for (std::size_t row = 0; row < rows; ++row)
            lastBlock[row][column % RiskItem::Lanes] = std::numeric_limits<double>::quiet_NaN();
    return *this;
}

void RiskMatrix::swap(RiskMatrix& other) noexcept
{
    std::swap(rows, other.rows);
    std::swap(cols, other.cols);
    std::swap(colsRegister, other.colsRegister);
    std::swap(fullSizeRegister, other.fullSizeRegister);
    std::swap(medianLineNumber, other.medianLineNumber);
    std::swap(data, other.data);
    std::swap(bindingArray, other.bindingArray);
}

RiskMatrix& RiskMatrix::operator+=(const avxarray& row) noexcept
{
    if (rows == 0 || colsRegister == 0 || cols != row.size()) return *this;
    for (std::size_t block = 0; block < colsRegister; ++block)
        ForEachItem(data + block * rows, rows, DOps::Add{row.pData()[block]});
    return *this;
}

void RiskMatrix::NegativeSum(const RiskMatrix& other) noexcept
{
    const RiskItem zero(0.0);
    const std::size_t items = Overlap(other);
    for (std::size_t i = 0; i < items; ++i)
        data[i] = Add(data[i], Min(other.data[i], zero)); // zero second: a NaN there costs nothing
}

void RiskMatrix::SubtractionNegative(const RiskMatrix& other) noexcept
{
    if (cols == 0 || cols != other.cols || rows != other.rows) return;
    const RiskItem zero(0.0);
    for (std::size_t i = 0; i < fullSizeRegister; ++i)
        data[i] = Sub(data[i], Min(other.data[i], zero)); // zero second: a NaN there costs nothing
}

RiskMatrix RiskMatrix::ConvolutionMatrix() const
{
    if (bindingArray == nullptr) return *this;
    const std::size_t realPoints = bindingArray->rollupedSize;
    RiskMatrix folded;
    folded.Initializer(realPoints, rows);
    if (folded.data == nullptr || data == nullptr) return *this;

    // Whole RiskItems: the lanes past the last real point keep the sub-points that stand there, whose values are folded
    // into real points below all the same.
    const std::size_t common = std::min(folded.fullSizeRegister, fullSizeRegister);
    std::copy_n(data, common, folded.data);
    ForEachItem(folded.data + common, folded.fullSizeRegister - common, DOps::Set{0.0});

    const std::size_t columns = std::min(bindingArray->size, cols);
    for (std::size_t column = realPoints; column < columns; ++column)
        folded.FoldColumn(*this, column, bindingArray->binding[column]);
    return folded;
}

void RiskMatrix::FoldColumn(const RiskMatrix& source, std::size_t column, std::size_t target) noexcept
{
    if (target >= cols) return;
    const std::size_t lane = column % RiskItem::Lanes;
    const std::size_t targetLane = target % RiskItem::Lanes;
    const RiskItem* cells = source.data + column / RiskItem::Lanes * rows;
    RiskItem* targetCells = data + target / RiskItem::Lanes * rows;
    for (std::size_t row = 0; row < rows; ++row)
        targetCells[row][targetLane] = Min(targetCells[row][targetLane], cells[row][lane]);
}

void RiskMatrix::resize(std::size_t scenarios, std::size_t columns)
{
    if (scenarios == rows && columns == cols) return;
    Release();
    Initializer(columns, scenarios);
    *this = 0.0;
}

void RiskMatrix::ResizeRows(std::size_t scenarios) { resize(scenarios, scenarios != 0 ? cols : 0); }

void RiskMatrix::ResizePoint(std::size_t columns, const BindsRow* binding)
{
    resize(rows, columns);
    bindingArray = binding;
}

void RiskMatrix::Initializer(std::size_t columns, std::size_t scenarios)
{
    const std::size_t blocks = RegistersOf(columns);
    const std::size_t items = ItemsOf(blocks, scenarios);
    if (items != 0) {
        const std::size_t bytes = auxiliary::LazyMemoryPool::BytesOfItems(items);
        data = static_cast<RiskItem*>(auxiliary::LazyMemoryPool::AllocateUnfilled(bytes));
    }
    rows = scenarios;
    cols = columns;
    colsRegister = blocks;
    fullSizeRegister = items;
    medianLineNumber = MedianOf(scenarios);
}

void RiskMatrix::Release() noexcept
{
    auxiliary::LazyMemoryPool::Release(data);
    clean();
}

void RiskMatrix::clean() noexcept
{
    rows = 0;
    cols = 0;
    colsRegister = 0;
    fullSizeRegister = 0;
    medianLineNumber = 0;
    data = nullptr;
}

void RiskMatrix::CopyCells(const RiskMatrix& other) noexcept
{
    medianLineNumber = other.medianLineNumber; // zero in a moved-from matrix, which its dimensions do not tell
    std::copy_n(other.data, fullSizeRegister, data);
}

} // namespace kv7im
