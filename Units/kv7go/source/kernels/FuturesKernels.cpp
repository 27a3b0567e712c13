#include "kernels/FuturesKernels.h"

namespace kv7im {

void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept
{
    for (std::size_t k = 0; k < second.GetRegisterCount(); ++k)
        second.pData()[k] = Min(first.pData()[k], second.pData()[k]);
}

} // namespace kv7im
