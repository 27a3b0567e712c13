#include "ExportFrame.h"

#include <exception>

#include "CalcGOConsts.h"
#include "Enums.h"
#include "Z9Log.h"
#include "z9log.h"

namespace QuindalIM {

ExportCall::ExportCall(const char* name, Recording recording) : m_name(name), m_tracer(name, recording)
{
    m_tracer.SetError(Z9ERR_QUINDAL_IM_COMMON_ERROR);
}

Z9ERR ExportCall::SetError(Z9ERR code, const char* text)
{
    m_tracer.SetError(static_cast<Enums::RptCode>(code), text);
    return code;
}

bool ExportCall::RefusesNull(std::span<const PointerArgument> pointers)
{
    for (const PointerArgument& pointer : pointers) {
        if (pointer.value != nullptr) continue;
        KV7TRACE_ERROR_EX(LogCategory, "%s: %s is null", m_name, pointer.name);
        SetError(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
        return true;
    }
    return false;
}

namespace {

void LogCurrentException(const char* name)
{
    try {
        throw; // the one way to learn what is being handled
    } catch (const std::exception& error) {
        KV7TRACE_ERROR_EX(LogCategory, "Caught exception while executing function %s: '%s'", name, error.what());
    } catch (...) {
        KV7TRACE_ERROR_EX(LogCategory, "Caught unknown exception while executing function %s", name);
    }
}

} // namespace

void LogException(const char* name)
{
    try {
        LogCurrentException(name);
    } catch (...) {
        Z9LogErrorEx(LogCategory, "Caught unexpected exception while executing function %s", name);
    }
}

void LogExceptionQuietly(const char* name) noexcept
{
    try {
        LogException(name);
    } catch (...) { // even the plain log failed, and there is nobody left to tell
    }
}

} // namespace QuindalIM
