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

/// Lets `change`, which leaves the key alone, work in turn on the elements with one key inside their container. An
/// exception of `change` passes on, and every element stays where it is.
template <class Index, class Key, class Change>
void ChangeEach(Index& index, const Key& key, Change change)
{
    const auto [first, last] = index.equal_range(key);
    for (auto element = first; element != last; ++element)
        ChangeInside(index, element, change);
}

} // namespace kv7im
