// users.csv: the users that may log in at a server, and their passwords.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "ImServer.h"
#include "PrivateRouter.h"

namespace quindal {

/// Name of the server itself as a user of its router.
inline constexpr const char* ServerUser = "kv7go_srv";

struct Users
{
    std::map<std::string, UserRecord> records;
    std::vector<RouterUser> routerUsers; // of a private router
};

/// Reads user, part_count, login_type and, for a private router, password, which all users must have then. serverUser:
/// a name that is taken already. Throws InputError that names file, line and reason.
[[nodiscard]] Users ReadUsers(const std::string& file, bool needPasswords, const std::string& serverUser);

} // namespace quindal
