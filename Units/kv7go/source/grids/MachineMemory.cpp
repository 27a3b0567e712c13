#include "grids/MachineMemory.h"

#include <unistd.h>

#include "except.h"
#include "kv7errors.h"

namespace kv7im {

void RefuseBeyondMachine(double bytes)
{
    static const double machine =
        static_cast<double>(::sysconf(_SC_PHYS_PAGES)) * static_cast<double>(::sysconf(_SC_PAGESIZE));
    if (bytes > machine)
        throw kv7base::CZ9Error(Z9ERR_COMMON_NO_MEMORY, KV7_CURRENT_LOCATION).Fmt("Can't allocate new node");
}

} // namespace kv7im
