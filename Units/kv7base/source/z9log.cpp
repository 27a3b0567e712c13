#include "z9log.h"

#include "SingletonHolder.h"
#include "z9custom_log.h"
#include "z9default_log.h"

namespace kv7base {

namespace {

constexpr const char* noCategory = "";

volatile std::int32_t* Gate(const CZ9Log& log, LogSeverity severity, const char* category, const char* format)
{
    return trcheckEx_Z9LogCustExv_(log.GetHandle(), static_cast<int>(severity), category, format);
}

volatile std::int32_t* Gate0(const CZ9Log& log, LogSeverity severity, const char* category, const char* format)
{
    return trcheckEx_Z9LogCustExv_0(log.GetHandle(), static_cast<int>(severity), category, format);
}

} // namespace

void CZ9Log::Write(LogSeverity severity, const char* category, const char* format, va_list args) const
{
    Z9LogCustExv(GetHandle(), static_cast<int>(severity), category, format, args);
}

void CZ9Log::WriteWithCode(LogSeverity severity, Z9ERR code, const char* category, const char* format,
                           va_list args) const
{
    // Behind the format is behind the text: the tail holds no verb, and one pass of the formatter does both.
    const std::string withCode = std::string(format) + " (code " + std::to_string(code) + ")";
    Write(severity, category, withCode.c_str(), args);
}

// The writers and their gates, as C passes variable arguments on. `format` is the last named parameter of each.
#define KV7_WRITE_(...)                                                                                                \
    do {                                                                                                               \
        va_list args;                                                                                                  \
        va_start(args, format);                                                                                        \
        __VA_ARGS__;                                                                                                   \
        va_end(args);                                                                                                  \
    } while (false)

void CZ9Log::Log(const char* format, ...) const { KV7_WRITE_(Write(LogSeverity::Info, noCategory, format, args)); }

void CZ9Log::LogEx(const char* category, const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Info, category, format, args));
}

void CZ9Log::LogInfo(const char* format, ...) const { KV7_WRITE_(Write(LogSeverity::Info, noCategory, format, args)); }

void CZ9Log::LogWarning(const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Warning, noCategory, format, args));
}

void CZ9Log::LogError(const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Error, noCategory, format, args));
}

void CZ9Log::LogFatal(const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Fatal, noCategory, format, args));
}

void CZ9Log::LogInfoEx(const char* category, const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Info, category, format, args));
}

void CZ9Log::LogWarningEx(const char* category, const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Warning, category, format, args));
}

void CZ9Log::LogErrorEx(const char* category, const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Error, category, format, args));
}

void CZ9Log::LogFatalEx(const char* category, const char* format, ...) const
{
    KV7_WRITE_(Write(LogSeverity::Fatal, category, format, args));
}

void CZ9Log::LogErrorWithCode(Z9ERR code, const char* format, ...) const
{
    KV7_WRITE_(WriteWithCode(LogSeverity::Error, code, noCategory, format, args));
}

void CZ9Log::LogFatalWithCode(Z9ERR code, const char* format, ...) const
{
    KV7_WRITE_(WriteWithCode(LogSeverity::Fatal, code, noCategory, format, args));
}

void CZ9Log::LogErrorWithCodeEx(Z9ERR code, const char* category, const char* format, ...) const
{
    KV7_WRITE_(WriteWithCode(LogSeverity::Error, code, category, format, args));
}

void CZ9Log::LogFatalWithCodeEx(Z9ERR code, const char* category, const char* format, ...) const
{
    KV7_WRITE_(WriteWithCode(LogSeverity::Fatal, code, category, format, args));
}

void CZ9Log::LogErrorV(const char* format, va_list args) const { Write(LogSeverity::Error, noCategory, format, args); }

volatile std::int32_t* CZ9Log::trcheck_Log_(const char* format, ...) const
{
    return Gate(*this, LogSeverity::Info, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_Log_0(const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Info, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogEx_(const char* category, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Info, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogEx_0(const char* category, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Info, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogInfo_(const char* format, ...) const
{
    return Gate(*this, LogSeverity::Info, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogInfo_0(const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Info, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogWarning_(const char* format, ...) const
{
    return Gate(*this, LogSeverity::Warning, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogWarning_0(const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Warning, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogError_(const char* format, ...) const
{
    return Gate(*this, LogSeverity::Error, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogError_0(const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Error, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogInfoEx_(const char* category, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Info, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogInfoEx_0(const char* category, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Info, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogWarningEx_(const char* category, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Warning, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogWarningEx_0(const char* category, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Warning, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorEx_(const char* category, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Error, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorEx_0(const char* category, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Error, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorWithCode_(Z9ERR, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Error, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorWithCode_0(Z9ERR, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Error, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorWithCodeEx_(Z9ERR, const char* category, const char* format, ...) const
{
    return Gate(*this, LogSeverity::Error, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorWithCodeEx_0(Z9ERR, const char* category, const char* format, ...) const
{
    return Gate0(*this, LogSeverity::Error, category, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorV_(const char* format, va_list) const
{
    return Gate(*this, LogSeverity::Error, noCategory, format);
}

volatile std::int32_t* CZ9Log::trcheck_LogErrorV_0(const char* format, va_list) const
{
    return Gate0(*this, LogSeverity::Error, noCategory, format);
}

#undef KV7_WRITE_

CZ9Log& GetDefaultLog() { return CSingletonHolder<Z9DefaultLog, CStaticStorage, CNoLock>::Instance(); }

CZ9Log& GetCustomLog() { return CSingletonHolder<Z9CustomLog, CStaticStorage, CMutexLock>::Instance(); }

namespace {

CZ9Log& (*s_appLog)() = &GetDefaultLog;

} // namespace

CZ9Log& GetAppLog() { return s_appLog(); }

void UseCustomAppLog() noexcept { s_appLog = &GetCustomLog; }

void UseDefaultAppLog() noexcept { s_appLog = &GetDefaultLog; }

} // namespace kv7base
