// What a server tells monitors about itself.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace quindal {

struct ServerStatistics
{
    std::string instance; // as in the access log
    std::chrono::system_clock::time_point started;
    std::uint64_t requests = 0; // answered since the start
    std::uint64_t refused = 0;  // of those, the ones that failed
    std::uint64_t marketBytes = 0;
    std::chrono::system_clock::time_point marketRead;
};

/// Reads a reply to "$SRV.STATS". Nothing for a text of another form, as other servers may send.
[[nodiscard]] std::optional<ServerStatistics> ReadServerStatistics(const std::string& text);

/// Asks for them as a user of the router on 127.0.0.1; where several servers share the service, the first to answer
/// counts. Nothing where none answers in time, or the router does not let this user ask.
[[nodiscard]] std::optional<ServerStatistics> AskServerStatistics(std::uint16_t port, const std::string& user,
                                                                  const std::string& password,
                                                                  std::chrono::milliseconds patience);

} // namespace quindal
