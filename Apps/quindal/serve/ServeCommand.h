// quindal serve: a server for clients to log in to, until a signal ends it.
#pragma once

#include <cstdint>
#include <string>

#include "Users.h"

namespace quindal {

struct ServeOptions
{
    std::string instruments;      // market file
    std::string users;            // CSV: user, part_count, login_type and, for a private router, password
    std::uint16_t port = 0;       // for the private router; 0: a free one
    std::uint16_t routerPort = 0; // of a running router; 0 starts a private one
    int routerTimeout = 10;       // seconds that a running router may be away
    std::string serverUser = ServerUser;
    std::string passwordVariable = "QUINDAL_SERVER_PASSWORD"; // the server's own password at a running router
    std::string service = "kv7go_srv_60";
    std::string iniFile;   // to be written for clients; empty: none
    std::string accessLog; // file; empty: stderr
    bool plain = false;    // never compress
};

/// Serves until SIGINT, SIGTERM or SIGQUIT; then requests under way are answered and the run ends by that signal
/// (SignalEnd). SIGHUP makes it read the market file again. One line on stdout, "serving <service> on port <port>",
/// says that it is ready. Throws InputError, LinkError.
void Serve(const ServeOptions& options);

} // namespace quindal
