// EntryValues: the values of an entry as data, one line each, for functions that pass many of them. Each line ties a
// value's name in the trace, its pointer check and its field together.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <tuple>
#include <type_traits>

#include "ExportFrame.h"

namespace QuindalIM {

/// A value that comes in: its name, and the field of the entry that takes it, a member or one level of it. A flag comes
/// as an integer, true when not 0.
template <class T, class Field>
struct InputOf
{
    const char* name;
    T value;
    Field field;
};
template <class T, class Field>
InputOf(const char*, T, Field) -> InputOf<T, Field>;

/// Records the values as the caller gave them.
template <class... Inputs>
void AddAll(ParamsBuilder params, const std::tuple<Inputs...>& inputs)
{
    std::apply([&params](const auto&... input) { (params.Add(input.name, input.value), ...); }, inputs);
}

/// Puts each value into its field.
template <class Entry, class... Inputs>
void AssignAll(Entry& entry, const std::tuple<Inputs...>& inputs) noexcept
{
    const auto assign = [&entry](const auto& input) {
        auto& field = std::invoke(input.field, entry);
        field = static_cast<std::remove_reference_t<decltype(field)>>(input.value);
    };
    std::apply([&assign](const auto&... input) { (assign(input), ...); }, inputs);
}

/// A value that goes out: its name, the caller's pointer, and the field or function of the entry that gives it.
template <class T, class Read>
struct OutputOf
{
    const char* name;
    T* target;
    Read read;
};
template <class T, class Read>
OutputOf(const char*, T*, Read) -> OutputOf<T, Read>;

/// The pointers of an entry in the order in which they are looked at: codes and sizes, then values, then what else is
/// looked at last.
template <std::size_t Codes, std::size_t Last = 0, class... Outputs>
[[nodiscard]] std::array<PointerArgument, Codes + sizeof...(Outputs) + Last>
PointersOf(const std::array<PointerArgument, Codes>& codes, const std::tuple<Outputs...>& outputs,
           const std::array<PointerArgument, Last>& last = {}) noexcept
{
    std::array<PointerArgument, Codes + sizeof...(Outputs) + Last> pointers{};
    auto next = std::copy(codes.begin(), codes.end(), pointers.begin());
    std::apply([&next](const auto&... output) { ((*next++ = {output.name, output.target}), ...); }, outputs);
    std::copy(last.begin(), last.end(), next);
    return pointers;
}

} // namespace QuindalIM
