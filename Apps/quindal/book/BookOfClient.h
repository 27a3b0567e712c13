// The part of a book that one client's margin is made of.
#pragma once

#include <string>

#include "BookRun.h"

namespace quindal {

/// Throws InputError for a --client that is none of the clients in the accounts.
void CheckClient(const std::string& client, const Rows<AccountRow>& accounts);

/// The client's positions and the accounts above it; nothing else of the book but its market.
[[nodiscard]] Book BookOf(const std::string& client, Book&& whole);

} // namespace quindal
