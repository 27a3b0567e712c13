// Ranges over the indices of the instrument containers.
#pragma once

#include <boost/range/iterator_range.hpp>

#include "instruments/InstrumentsStorages.h"

namespace kv7im {

template <class Index>
[[nodiscard]] auto WholeOf(const Index& index)
{
    return boost::make_iterator_range(index.begin(), index.end());
}

/// The range of the elements with one key.
template <class Index, class Key>
[[nodiscard]] auto PartOf(const Index& index, const Key& key)
{
    const auto [first, last] = index.equal_range(key);
    return boost::make_iterator_range(first, last);
}

} // namespace kv7im
