// Shrinker: finds, in a list that fails, a list that still fails and of which nothing can be left out.
//
// Delta debugging (Zeller and Hildebrandt, 2002), by complements only: pieces of half the list are left out, then of a
// quarter, and so on down to single elements; whatever still fails without a piece goes on without it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace simulation {

/// `fails` says whether a list fails; that of `list` does. It is called some n log n times at best, n squared at worst.
template <class T, class Fails>
[[nodiscard]] std::vector<T> Shrunk(std::vector<T> list, const Fails& fails)
{
    const auto without = [&](std::size_t begin, std::size_t count) {
        std::vector<T> rest(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(begin));
        rest.insert(rest.end(), list.begin() + static_cast<std::ptrdiff_t>(std::min(begin + count, list.size())),
                    list.end());
        return rest;
    };
    for (std::size_t piece = std::max<std::size_t>(list.size() / 2, 1); !list.empty();) {
        bool dropped = false;
        for (std::size_t begin = 0; begin < list.size();) {
            std::vector<T> rest = without(begin, piece);
            if (fails(rest)) {
                list = std::move(rest);
                dropped = true;
            } else {
                begin += piece;
            }
        }
        if (piece == 1 && !dropped) break;
        if (!dropped) piece = std::max<std::size_t>(piece / 2, 1);
    }
    return list;
}

/// Makes single elements plainer as long as the list still fails: `plainer` gives what an element may become, the
/// plainest first; nothing may become plainer without end.
template <class T, class Plainer, class Fails>
[[nodiscard]] std::vector<T> Simplified(std::vector<T> list, const Plainer& plainer, const Fails& fails)
{
    const auto simplify = [&](T& element) {
        const T before = element;
        for (const T& candidate : plainer(before)) {
            if (candidate == before) continue;
            element = candidate;
            if (fails(list)) return true;
        }
        element = before;
        return false;
    };
    for (T& element : list)
        while (simplify(element)) {
        }
    return list;
}

} // namespace simulation
