// The frame of an exported function, written once. Every export has the same beats: say what was asked, look at the
// pointers, make one call inward, say what came of it.
//
//   int32_t SetCommonParams(intptr_t QuindalIMCalculator, double EdgeCoeff)
//   {
//       return Export(
//           "SetCommonParams",
//           [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator).Add(...); },
//           {},
//           [&](ExportCall& call) {
//               GetQuindalImCalculator(QuindalIMCalculator).SetCommonParams(EdgeCoeff);
//               return call.SetError(Z9ERR_OK);
//           });
//   }
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

#include "QLTracer.h"
#include "except.h"
#include "kv7errors.h"

namespace QuindalIM {

using kv7base::ParamsBuilder;
using Recording = kv7base::QLTracer::Recording;

/// A pointer argument that must not be null, with its name.
struct PointerArgument
{
    const char* name;
    const void* value;
};

/// One call of an exported function while it runs: its name and its line in the trace log.
class ExportCall
{
public:
    /// The trace shows Z9ERR_QUINDAL_IM_COMMON_ERROR for any way out that sets no other code.
    ExportCall(const char* name, Recording recording);

    [[nodiscard]] const char* Name() const noexcept { return m_name; }
    /// False where the call leaves no line in the trace log, so that nobody looks at its arguments.
    [[nodiscard]] bool IsTraced() const noexcept { return m_tracer.IsRecording(); }
    [[nodiscard]] ParamsBuilder Params() noexcept { return m_tracer.Params(); }
    /// Records the outcome and hands it back, to be returned.
    Z9ERR SetError(Z9ERR code) { return m_tracer.SetError(code); }
    /// Records the outcome with a text that says more than the code's own, and hands the outcome back.
    Z9ERR SetError(Z9ERR code, const char* text);

    /// True when one of the pointers is null; the first one is logged and the outcome recorded.
    [[nodiscard]] bool RefusesNull(std::span<const PointerArgument> pointers);
    [[nodiscard]] bool RefusesNull(std::initializer_list<PointerArgument> pointers)
    {
        return RefusesNull(std::span(pointers.begin(), pointers.size()));
    }

private:
    const char* m_name;
    kv7base::QLTracer m_tracer;
};

/// Logs the exception that is being handled.
void LogException(const char* name);
/// Logs the exception that is being handled, and throws nothing: the last resort of the frame.
void LogExceptionQuietly(const char* name) noexcept;

/// Runs an exported function. recordInputs(ParamsBuilder) records the arguments in the order of the signature, where
/// the call leaves a line in the trace log; body(ExportCall&) does the work and returns the result, recorded or not. No
/// exception leaves.
template <class Inputs, class Body>
[[nodiscard]] std::int32_t Export(const char* name, const Inputs& recordInputs,
                                  std::span<const PointerArgument> pointers, const Body& body,
                                  Recording recording = Recording::WhileLogIsOpen) noexcept
{
    try {
        ExportCall call(name, recording);
        if (call.IsTraced()) recordInputs(call.Params());
        try {
            if (call.RefusesNull(pointers)) return static_cast<std::int32_t>(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
            return static_cast<std::int32_t>(body(call));
        } catch (kv7base::CZ9Error& error) {
            // Exhausted memory is one failure, whichever allocation noticed it: the catch-all's.
            if (error.GetCode() == Z9ERR_COMMON_NO_MEMORY) throw;
            LogException(name);
            return static_cast<std::int32_t>(call.SetError(error.GetCode()));
        }
    } catch (...) { // the tracer is gone by now, and its line shows the common error
        LogExceptionQuietly(name);
        return static_cast<std::int32_t>(Z9ERR_QUINDAL_IM_COMMON_ERROR);
    }
}

/// Runs an exported function whose pointers are listed at the call. recordInputs records the arguments, body does the
/// work and returns the result. No exception leaves.
template <class Inputs, class Body>
[[nodiscard]] std::int32_t Export(const char* name, const Inputs& recordInputs,
                                  std::initializer_list<PointerArgument> pointers, const Body& body,
                                  Recording recording = Recording::WhileLogIsOpen) noexcept
{
    return Export(name, recordInputs, std::span(pointers.begin(), pointers.size()), body, recording);
}

} // namespace QuindalIM
