// Which rows a computation needs, and in which order they are registered.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "Rows.h"

namespace quindal {

/// Accounts before their firms, these before their ratios and clients, otherwise as in the file: a firm that is
/// registered before its account would stand without one. The rows outlive the result.
[[nodiscard]] std::vector<const AccountRow*> InOrderOfRegistration(const Rows<AccountRow>& accounts);

/// Of rows in that order those that the margins of some clients need: themselves, their firms with their ratios, the
/// accounts of these.
[[nodiscard]] std::vector<const AccountRow*> AccountsOf(const std::vector<const AccountRow*>& rows,
                                                        const std::set<std::string>& clients);

} // namespace quindal
