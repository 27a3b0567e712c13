// quindal serve: a server for clients to log in to, until SIGINT or SIGTERM.
#pragma once

#include <cstdint>
#include <string>

namespace quindal {

struct ServeOptions
{
    std::string instruments; // market file
    std::string users;       // CSV: user, part_count, login_type and, for a private router, password
    std::uint16_t port = 0;  // of a running router; 0 starts a private one
    std::string serverUser = "kv7go_srv";
    std::string passwordVariable = "QUINDAL_SERVER_PASSWORD"; // the server's own password at a running router
    std::string service = "kv7go_srv_60";
    bool compress = true;
};

/// Runs the command and returns the exit status. One line on stdout, "serving <service> on port <port>", says that it
/// is ready.
[[nodiscard]] int RunServe(const ServeOptions& options);

} // namespace quindal
