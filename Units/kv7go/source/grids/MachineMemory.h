// What this machine can hold. The system grants more memory than it has and ends the process when the pages are
// touched; an instrument whose grids cannot be held is refused before the first of them is made.
#pragma once

namespace kv7im {

/// Throws CZ9Error with Z9ERR_COMMON_NO_MEMORY when the machine has less memory than `bytes`.
void RefuseBeyondMachine(double bytes);

} // namespace kv7im
