// Status and AccessByStatus: what containers and readers of instruments know of an open change.
#pragma once

#include <cstdint>

namespace kv7im {

/// What the containers know of a node, as the key of an index.
enum class Status : std::int32_t
{
    NotChanged = 0,
    WasChanged = 1,
    Undefined = 2,
};

/// Which objects a reader wants.
enum class AccessByStatus : std::int32_t
{
    eCurrent = 0, // committed
    eNew = 1,     // of the open transaction
};

} // namespace kv7im
