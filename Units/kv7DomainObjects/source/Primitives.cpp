#include "Primitives.h"

#include "except.h"

void Counter::DecrementBy(std::size_t n)
{
    if (n > counter_)
        throw kv7base::CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION)
            .Fmt("Decrementing counter with Current Value of %P by the value of %P would make the counter negative "
                 "which is not allowed.",
                 counter_, n);
    counter_ -= n;
}
