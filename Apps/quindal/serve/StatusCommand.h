// quindal status: whether a client could work now, for people and for monitors.
#pragma once

#include "FetchCommand.h"

namespace quindal {

enum class StatusFormat
{
    Table,
    Json,
};

struct StatusOptions : LiveOptions
{
    StatusFormat format = StatusFormat::Table;
    int maxMarketAge = 0; // seconds since the server has read its market; 0: any age is good
};

/// Logs in as a client does, pings the server, asks it for its statistics, and prints what it has learned. Throws
/// LinkError when a client could not work, or when the market is older than it may be or of unknown age; the JSON
/// document is printed before that and has the reason. Throws UsageError, InputError.
void ShowStatus(const StatusOptions& options);

} // namespace quindal
