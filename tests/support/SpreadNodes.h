// SpreadNodes: what an engine's futures node is told before a series in spread changes in it. A book does so by itself;
// a test that changes nodes without one does it here.
#pragma once

namespace spread_nodes {

/// deliveries: whether the series has delivery rows, so that the two sides of the futures will differ. A node that is
/// always ready for series needs no telling.
template <class FuturesNode>
void MakeRoomForSeries(FuturesNode& futures, bool deliveries)
{
    if constexpr (requires { futures.MakeRoomForSeries(deliveries); }) futures.MakeRoomForSeries(deliveries);
}

} // namespace spread_nodes
