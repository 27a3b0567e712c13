#include "RecalculationFailure.h"

#include <exception>

#include "except.h"
#include "z9log.h"

void LogFailedRecalculation(const char* operation) noexcept
{
    constexpr const char* category = "QuindalIM";
    try {
        try {
            throw; // the one way to learn what is being handled
        } catch (const kv7base::CZ9Error& error) {
            KV7TRACE_ERROR_EX(category, "%s: Error (%s) occurred during risks recalculation.", operation, error.what());
        } catch (const std::exception& error) {
            KV7TRACE_ERROR_EX(category, "%s: Standard exception '%s' raised during risks recalculation.", operation,
                              error.what());
        } catch (...) {
            KV7TRACE_ERROR_EX(category, "%s: Unknown exception raised.", operation);
        }
    } catch (...) { // without memory for a line, what happened is still dealt with
    }
}
