// DrawnMarket: markets of a seed as the library takes them, and what may come to them later.
#pragma once

#include <cstdint>
#include <optional>

#include "PlainMargin.h"

namespace simulation {

struct MarketKind
{
    bool wideGrids = false;
    bool ownRatios = false; // of the legs of calendar spreads: only a download brings others than -1 and 1
};

/// A random market (RandomMarket.h). Most have few price points, so that a day of the plain model takes no longer than
/// one of the library.
[[nodiscard]] plain::Market DrawMarket(std::uint64_t seed, MarketKind kind);

// Newcomers, which move nothing that is there. Their isins are still to be given.

/// A series on some futures, with one option. None on a collateral instrument, where the first series may change the
/// asset class of its contract, and none on a futures that trades at settlement, where the plain model values none.
struct NewSeries
{
    kv7im::OptionSeriesParameters series;
    OptionSample option;
};
[[nodiscard]] std::optional<NewSeries> DrawSeries(std::uint64_t seed, const plain::Market& market);
/// Another option of some series; nothing in a market without series.
[[nodiscard]] std::optional<OptionSample> DrawOption(std::uint64_t seed, const plain::Market& market);
/// A futures that expires behind all others of its contract, which the contract's shift and limits do not follow.
[[nodiscard]] FuturesSample DrawFutures(std::uint64_t seed, const plain::Market& market);

} // namespace simulation
