// The rows that a computation needs, and the order in which they are registered.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "Rows.h"

namespace quindal {

/// Rows in the order of registration: accounts before their firms, firms before their ratios and clients, otherwise as
/// in the file. A firm that is registered before its account would stand without one. The rows outlive the result.
[[nodiscard]] std::vector<const AccountRow*> InOrderOfRegistration(const Rows<AccountRow>& accounts);

/// The rows that the margins of some clients need: the clients, their firms with ratios, and the accounts of these
/// firms. `rows` are in the order of registration, and so is the result.
[[nodiscard]] std::vector<const AccountRow*> AccountsOf(const std::vector<const AccountRow*>& rows,
                                                        const std::set<std::string>& clients);

} // namespace quindal
