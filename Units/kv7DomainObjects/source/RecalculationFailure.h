// What is logged when risks cannot be recalculated.
#pragma once

/// To be called while an exception is handled: logs it in the name of the operation. Where there is no memory for a
/// line there is none.
void LogFailedRecalculation(const char* operation) noexcept;
