// EmptyPool: the pool of the risk engine without free blocks, so that each array asks the system for memory.
#pragma once

#include "grids/LazyMemoryPool.h"

namespace testing_support {

/// Calls the body with a pool that is empty at its start.
template <class Body>
void WithAnEmptyPool(const Body& body)
{
    kv7im::auxiliary::LazyMemoryPool::GiveBack();
    body();
}

} // namespace testing_support
