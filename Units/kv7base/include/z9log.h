// The logs of the library, and the trace macros with their call-site gate.
//
// GetAppLog() is the log that messages go to: the process's default log until UseCustomAppLog() is called. A message is
// written as   KV7TRACE_WARNING_EX("BraskBroker", "When register broker with Code(%s): ...", code);
// A call site whose severity and category are off costs a pointer test and a load; nothing is formatted. A level that
// changes at run time acts at once.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include "Z9Log.h"

namespace kv7base {

class CZ9Ini;

/// Severities as the platform counts them.
enum class LogSeverity : int
{
    Info = Z9LOG_INFO,
    Warning = Z9LOG_WARNING,
    Error = Z9LOG_ERROR,
    Fatal = Z9LOG_FATAL,
};

/// A log of the platform. Writers format with the verbs of Z9Fmt.h. A form with Ex takes a category first, the others
/// write the empty one; a form WithCode takes a result code before that and puts " (code N)" behind the text.
class CZ9Log
{
public:
    virtual ~CZ9Log() = default;

    /// Opens the log from a section of the ini file. Throws CZ9Error with the platform's code.
    virtual void Open(const CZ9Ini& ini, const std::string& section) = 0;
    virtual void Open(Z9INI_HANDLE ini, const std::string& section) = 0;
    [[nodiscard]] virtual bool IsOpen() const = 0;
    virtual void Close() = 0;
    /// Handle of the log; null for the default log.
    [[nodiscard]] virtual Z9LOG_HANDLE GetHandle() const = 0;

    void Log(const char* format, ...) const;
    void LogEx(const char* category, const char* format, ...) const;
    void LogInfo(const char* format, ...) const;
    void LogWarning(const char* format, ...) const;
    void LogError(const char* format, ...) const;
    void LogErrorV(const char* format, va_list args) const;
    void LogFatal(const char* format, ...) const;
    void LogInfoEx(const char* category, const char* format, ...) const;
    void LogWarningEx(const char* category, const char* format, ...) const;
    void LogErrorEx(const char* category, const char* format, ...) const;
    void LogFatalEx(const char* category, const char* format, ...) const;
    void LogErrorWithCode(Z9ERR code, const char* format, ...) const;
    void LogFatalWithCode(Z9ERR code, const char* format, ...) const;
    void LogErrorWithCodeEx(Z9ERR code, const char* category, const char* format, ...) const;
    void LogFatalWithCodeEx(Z9ERR code, const char* category, const char* format, ...) const;

    // The gates: trcheck_<writer>_ takes the writer's arguments and gives the platform's live on/off word for its
    // severity and category, never null, alive until the process ends. The form that ends in 0 is for call sites that
    // are seldom on. A fatal message has no gate: it is always written.
    [[nodiscard]] volatile std::int32_t* trcheck_Log_(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_Log_0(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogEx_(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogEx_0(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogInfo_(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogInfo_0(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogWarning_(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogWarning_0(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogError_(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogError_0(const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorV_(const char* format, va_list args) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorV_0(const char* format, va_list args) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogInfoEx_(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogInfoEx_0(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogWarningEx_(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogWarningEx_0(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorEx_(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorEx_0(const char* category, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorWithCode_(Z9ERR code, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorWithCode_0(Z9ERR code, const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorWithCodeEx_(Z9ERR code, const char* category,
                                                                     const char* format, ...) const;
    [[nodiscard]] volatile std::int32_t* trcheck_LogErrorWithCodeEx_0(Z9ERR code, const char* category,
                                                                      const char* format, ...) const;

protected:
    CZ9Log() = default;
    CZ9Log(const CZ9Log&) = default;
    CZ9Log& operator=(const CZ9Log&) = default;

private:
    void Write(LogSeverity severity, const char* category, const char* format, va_list args) const;
    void WriteWithCode(LogSeverity severity, Z9ERR code, const char* category, const char* format, va_list args) const;
};

/// The process's default log. There is one, made at first use.
CZ9Log& GetDefaultLog();
/// The library's own log. There is one, made at first use; safe from any thread.
CZ9Log& GetCustomLog();
/// The log that messages go to: the default log until UseCustomAppLog() is called.
CZ9Log& GetAppLog();
void UseCustomAppLog() noexcept;
void UseDefaultAppLog() noexcept;

} // namespace kv7base

// The gate: each call site fetches its live on/off word once, with the arguments of the call, and keeps it; from then
// on a message that is off costs a pointer test and a load. Every thread that comes first writes the same pointer.
#define KV7TRACE_GEN_(log, writer, suffix, likelihood, ...)                                                            \
    do {                                                                                                               \
        static volatile std::int32_t* tstatePtr = nullptr;                                                             \
        if (tstatePtr == nullptr) tstatePtr = (log).trcheck_##writer##_##suffix(__VA_ARGS__);                          \
        if (*tstatePtr != 0) [[likelihood]]                                                                            \
            (log).writer(__VA_ARGS__);                                                                                 \
    } while (false)

// The format and its values come after the named arguments. The _0 forms are for call sites that are seldom on.
#define KV7TRACE_INFO(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogInfo, , likely, __VA_ARGS__)
#define KV7TRACE_INFO_0(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogInfo, 0, unlikely, __VA_ARGS__)
#define KV7TRACE_INFO_EX(category, ...)                                                                                \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogInfoEx, , likely, category, __VA_ARGS__)
#define KV7TRACE_INFO_EX_0(category, ...)                                                                              \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogInfoEx, 0, unlikely, category, __VA_ARGS__)
#define KV7TRACE_WARNING(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogWarning, , likely, __VA_ARGS__)
#define KV7TRACE_WARNING_0(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogWarning, 0, unlikely, __VA_ARGS__)
#define KV7TRACE_WARNING_EX(category, ...)                                                                             \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogWarningEx, , likely, category, __VA_ARGS__)
#define KV7TRACE_WARNING_EX_0(category, ...)                                                                           \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogWarningEx, 0, unlikely, category, __VA_ARGS__)
#define KV7TRACE_ERROR(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogError, , likely, __VA_ARGS__)
#define KV7TRACE_ERROR_0(...) KV7TRACE_GEN_(::kv7base::GetAppLog(), LogError, 0, unlikely, __VA_ARGS__)
#define KV7TRACE_ERROR_EX(category, ...)                                                                               \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorEx, , likely, category, __VA_ARGS__)
#define KV7TRACE_ERROR_EX_0(category, ...)                                                                             \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorEx, 0, unlikely, category, __VA_ARGS__)
#define KV7TRACE_ERROR_WITH_CODE(code, ...)                                                                            \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorWithCode, , likely, code, __VA_ARGS__)
#define KV7TRACE_ERROR_WITH_CODE_0(code, ...)                                                                          \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorWithCode, 0, unlikely, code, __VA_ARGS__)
#define KV7TRACE_ERROR_WITH_CODE_EX(code, category, ...)                                                               \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorWithCodeEx, , likely, code, category, __VA_ARGS__)
#define KV7TRACE_ERROR_WITH_CODE_EX_0(code, category, ...)                                                             \
    KV7TRACE_GEN_(::kv7base::GetAppLog(), LogErrorWithCodeEx, 0, unlikely, code, category, __VA_ARGS__)
#define KV7TRACE_FATAL(...) ::kv7base::GetAppLog().LogFatal(__VA_ARGS__)
#define KV7TRACE_FATAL_EX(category, ...) ::kv7base::GetAppLog().LogFatalEx(category, __VA_ARGS__)
