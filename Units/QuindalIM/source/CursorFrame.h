// CursorFrame: the common parts of the exported cursors: setting on first, the end of the data, and the outputs.
#pragma once

#include <cstdint>
#include <functional>
#include <tuple>

#include "CalcGOEx.h"
#include "EntryValues.h"
#include "ExportFrame.h"
#include "LibraryState.h"

namespace QuindalIM {

/// Body of all SetOnFirst... functions: puts one cursor on its first entry and gives the number of entries.
[[nodiscard]] inline std::int32_t SetOnFirst(const char* name, std::intptr_t QuindalIMCalculator, std::int32_t* count,
                                             std::int32_t (CCalcGOEx::*setOnFirst)())
{
    return Export(
        name, [&](ParamsBuilder params) { params.Add("QuindalIMCalculator", QuindalIMCalculator); }, {{"count", count}},
        [&](ExportCall& call) {
            *count = (GetQuindalImCalculator(QuindalIMCalculator).*setOnFirst)();
            call.Params().Add("count", *count);
            return call.SetError(Z9ERR_OK);
        });
}

/// Ends a call at the end of the data: the caller gets its code, the trace shows no error.
[[nodiscard]] inline Z9ERR EndOfData(ExportCall& call)
{
    call.SetError(Z9ERR_OK);
    return Z9ERR_QUINDAL_IM_END_OF_DATA;
}

/// Writes one value to the caller and to the trace line, under the same name.
class Outputs
{
public:
    explicit Outputs(ExportCall& call) noexcept : m_params(call.Params()) {}

    template <class T, class Value>
    Outputs& Give(const char* name, T* target, Value value)
    {
        *target = static_cast<T>(value);
        m_params.Add(name, *target);
        return *this;
    }
    template <class Entry, class... Values>
    Outputs& GiveAll(const Entry& entry, const std::tuple<Values...>& values)
    {
        std::apply([&](const auto&... value) { (Give(value.name, value.target, std::invoke(value.read, entry)), ...); },
                   values);
        return *this;
    }
    /// Records a code that stands in its buffer already.
    Outputs& Given(const char* name, const char* code, const char* sizeName, std::int32_t size)
    {
        m_params.Add(name, code).Add(sizeName, size);
        return *this;
    }

private:
    ParamsBuilder m_params;
};

} // namespace QuindalIM
