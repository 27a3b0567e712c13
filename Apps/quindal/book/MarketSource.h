// Where the instruments of a run came from: a market file or a live server, and which bytes they were.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "InputFile.h"

namespace quindal {

/// The document that a run took its instruments from. A document has no time of its own; told is when the file was last
/// changed, or when the server's reply arrived.
struct MarketSource
{
    std::string name; ///< Path of the file, "<stdin>", or "127.0.0.1:4222" of the router that the server is behind.
    bool isServer = false; ///< False for a file.
    std::string sha256;    ///< Of the bytes as they were read, or received and unpacked.
    std::optional<std::chrono::system_clock::time_point> time; ///< None for a pipe.
};

/// The source of a market file that was read.
[[nodiscard]] MarketSource SourceOf(const InputFile& market);
/// The source of a document that a server behind this port has just sent.
[[nodiscard]] MarketSource SourceOfReply(unsigned routerPort, std::string_view document);

/// The point in time that reports tell for this one: no later than the second that the environment variable
/// SOURCE_DATE_EPOCH names, where it is set, so that a report can be had byte for byte again. Throws UsageError for a
/// value that is no whole number of seconds.
[[nodiscard]] std::chrono::system_clock::time_point ReportedTime(std::chrono::system_clock::time_point time);

} // namespace quindal
