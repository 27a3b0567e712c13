#include "grids/RiskRow.h"

#include <limits>
#include <utility>

#include "grids/LazyMemoryPool.h"

namespace kv7im {

avxarray::avxarray() : avxarray(std::size_t{1}) {}

avxarray::avxarray(std::size_t size) : avxarray(0.0, size) {}

avxarray::avxarray(double value, std::size_t size) : avxarray(UnfilledTag{}, size) { *this = value; }

avxarray::avxarray(UnfilledTag, std::size_t size) { Initiator(size); }

void avxarray::MakeSure(std::size_t size, std::size_t arrays)
{
    using auxiliary::LazyMemoryPool;
    LazyMemoryPool::MakeSure(LazyMemoryPool::BytesOfItems(RegistersOf(size)), arrays);
}

avxarray avxarray::Unfilled(std::size_t size) { return avxarray(UnfilledTag{}, size); }

avxarray::avxarray(const avxarray& other) : avxarray(UnfilledTag{}, other._size)
{
    std::copy_n(other.data, _sizeInRegister, data);
}

avxarray::avxarray(avxarray&& other) noexcept
    : _size(other._size), _sizeInRegister(other._sizeInRegister), data(other.data)
{
    other.clean();
}

avxarray::~avxarray() { Release(); }

avxarray& avxarray::operator=(const avxarray& other)
{
    if (this == &other) return *this;
    if (_size != other._size) {
        Release();
        Initiator(other._size);
    }
    std::copy_n(other.data, _sizeInRegister, data);
    return *this;
}

avxarray& avxarray::operator=(avxarray&& other) noexcept
{
    if (this == &other) return *this;
    Release();
    swap(other);
    return *this;
}

avxarray& avxarray::operator=(double value) noexcept
{
    ForEachItem(data, _sizeInRegister, DOps::Set{value});
    for (std::size_t lane = _size; lane < _sizeInRegister * RiskItem::Lanes; ++lane)
        (*this)[lane] = std::numeric_limits<double>::quiet_NaN();
    return *this;
}

void avxarray::resize(std::size_t size)
{
    if (size == _size) return;
    Release();
    Initiator(size);
    *this = 0.0;
}

double avxarray::min() const noexcept
{
    // Four runs beside each other, since each minimum waits for the one before it. A NaN lane never wins.
    constexpr std::size_t runs = 4;
    RiskItem smallest[runs] = {LargestFinite, LargestFinite, LargestFinite, LargestFinite};
    std::size_t i = 0;
    for (; i + runs <= _sizeInRegister; i += runs)
        for (std::size_t run = 0; run < runs; ++run)
            smallest[run] = Min(data[i + run], smallest[run]);
    for (; i < _sizeInRegister; ++i)
        smallest[0] = Min(data[i], smallest[0]);
    return operation::_::FoldLanes(Min(Min(smallest[0], smallest[1]), Min(smallest[2], smallest[3])),
                                   operation::_::min<double>{});
}

void avxarray::swap(avxarray& other) noexcept
{
    std::swap(_size, other._size);
    std::swap(_sizeInRegister, other._sizeInRegister);
    std::swap(data, other.data);
}

void avxarray::Initiator(std::size_t size)
{
    const std::size_t registers = RegistersOf(size);
    if (registers != 0) { // an array without cells holds no block
        const std::size_t bytes = auxiliary::LazyMemoryPool::BytesOfItems(registers);
        data = static_cast<RiskItem*>(auxiliary::LazyMemoryPool::AllocateUnfilled(bytes));
    }
    _size = size;
    _sizeInRegister = registers;
}

void avxarray::Release() noexcept
{
    auxiliary::LazyMemoryPool::Release(data);
    clean();
}

void avxarray::clean() noexcept
{
    _size = 0;
    _sizeInRegister = 0;
    data = nullptr;
}

avxarray min(const avxarray& a, const avxarray& b)
{
    avxarray smaller(a);
    ForEachItem(smaller.pData(), std::min(a.GetRegisterCount(), b.GetRegisterCount()), MOps::Min{b.pData()});
    return smaller;
}

void swap(avxarray& a, avxarray& b) noexcept { a.swap(b); }

RiskRowWrapper& RiskRowWrapper::operator=(const double& value) noexcept
{
    const double taken = value; // copied: it may be a cell of this very row
    for (std::size_t i = 0; i < len; ++i)
        (*this)[i] = taken;
    return *this;
}

} // namespace kv7im
