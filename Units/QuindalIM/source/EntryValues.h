// EntryValues: the values of an entry as data, one line each, for functions that pass many of them. Each line ties a
// value's name in the trace, its pointer check and its field together.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>

#include "ExportFrame.h"

namespace QuindalIM {

/// A value that comes in: its name and the field that takes it. A flag comes as an integer, true when not 0.
template <class T, class Entry, class Field>
struct InputOf
{
    const char* name;
    T value;
    Field Entry::*field;
};
template <class T, class Entry, class Field>
InputOf(const char*, T, Field Entry::*) -> InputOf<T, Entry, Field>;

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
        auto& field = entry.*input.field;
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

/// The pointers of an entry in the order in which they are looked at: codes and sizes, then values.
template <std::size_t Codes, class... Outputs>
[[nodiscard]] std::array<PointerArgument, Codes + sizeof...(Outputs)>
PointersOf(const std::array<PointerArgument, Codes>& codes, const std::tuple<Outputs...>& outputs) noexcept
{
    std::array<PointerArgument, Codes + sizeof...(Outputs)> pointers{};
    auto next = std::copy(codes.begin(), codes.end(), pointers.begin());
    std::apply([&next](const auto&... output) { ((*next++ = {output.name, output.target}), ...); }, outputs);
    return pointers;
}

} // namespace QuindalIM
