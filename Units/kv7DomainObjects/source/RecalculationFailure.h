// Logging of risks that cannot be recalculated.
#pragma once

/// Logs the exception that is being handled in the name of the operation. Writes no line when there is no memory for
/// it.
void LogFailedRecalculation(const char* operation) noexcept;
