// ExportRecorder: calls the exported functions of a library that is loaded at run time, and writes down what each call
// answers: its code and everything that it may write, to the last bit.
//
// A line:    number, name, the texts given, "->", the code, then one value for each pointer of the signature. Numbers
// are
//            hexadecimal, so that equal lines mean equal bits.
// Always:    what a function may write into holds a pattern before the call, so that a cell written by mistake shows.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include <dlfcn.h>

#include "QuindalIM.h"

namespace replay {

/// What one call may write into, a cell a pointer.
class Room
{
public:
    /// `capacity`: what the sizes of code buffers say. `nullPlace`: the pointer that is null, counted from 0; -1: none.
    Room(std::int32_t capacity, int nullPlace) noexcept : m_capacity(capacity), m_nullPlace(nullPlace) {}

    template <class T>
    [[nodiscard]] T* Cell()
    {
        if (m_places++ == m_nullPlace) return nullptr;
        Bytes& bytes = m_cells.emplace_back();
        bytes.fill(std::byte{0x5A});
        if constexpr (std::is_same_v<T, std::int32_t>) std::memcpy(bytes.data(), &m_capacity, sizeof m_capacity);
        return reinterpret_cast<T*>(bytes.data());
    }

private:
    using Bytes = std::array<std::byte, 128>;
    static_assert(sizeof(Bytes) >= sizeof(ExtraRisksInfo) && alignof(std::max_align_t) <= 16);

    struct alignas(16) AlignedBytes : Bytes
    {};
    std::deque<AlignedBytes> m_cells; // cells stay where they are
    std::int32_t m_capacity;
    int m_nullPlace;
    int m_places = 0;
};

template <class T>
inline constexpr bool IsWritten = std::is_pointer_v<T> && !std::is_const_v<std::remove_pointer_t<T>>;

class ExportRecorder
{
public:
    ExportRecorder(const char* library, std::FILE* out) : m_library(dlopen(library, RTLD_NOW)), m_out(out)
    {
        if (m_library == nullptr) throw std::runtime_error(dlerror());
    }
    ExportRecorder(const ExportRecorder&) = delete;
    ExportRecorder& operator=(const ExportRecorder&) = delete;
    ~ExportRecorder() { dlclose(m_library); }

    /// Capacity of code buffers, and the pointer that is null, of the next call alone.
    void NextHas(std::int32_t capacity, int nullPlace) noexcept
    {
        m_capacity = capacity;
        m_nullPlace = nullPlace;
    }

    /// Calls `name` with `inputs` where its signature reads and with cells of its own where it writes.
    template <class Result, class... Parameters, class... Inputs>
    Result Call(const char* name, Result (*)(Parameters...), const Inputs&... inputs)
    {
        Room room(std::exchange(m_capacity, 64), std::exchange(m_nullPlace, -1));
        const std::tuple<const Inputs&...> given(inputs...);
        // Braces: arguments are made from left to right.
        const std::tuple<Parameters...> arguments =
            Arguments<std::tuple<Parameters...>>(room, given, std::index_sequence_for<Parameters...>());
        std::fprintf(m_out, "%zu %s", ++m_calls, name);
        std::apply([&](const auto&... argument) { (PrintGiven(argument), ...); }, arguments);
        const Result result = std::apply(Find<Result (*)(Parameters...)>(name), arguments);
        std::fputs(" ->", m_out);
        Print(result);
        if constexpr (std::is_same_v<std::tuple<Parameters...>, std::tuple<std::intptr_t*>>)
            TakeHandle(*std::get<0>(arguments), result); // an address, another one in every process
        else
            std::apply([&](const auto&... argument) { (PrintWritten(argument), ...); }, arguments);
        std::fputc('\n', m_out);
        m_names.insert(name);
        return result;
    }

    /// Handle that the last successful CreateQuindalIMCalculator gave.
    [[nodiscard]] std::intptr_t Handle() const noexcept { return m_handle; }
    [[nodiscard]] std::size_t Calls() const noexcept { return m_calls; }
    [[nodiscard]] std::size_t Figures() const noexcept { return m_figures; }
    /// Functions called at least once.
    [[nodiscard]] std::size_t Functions() const noexcept { return m_names.size(); }

private:
    template <class Function>
    [[nodiscard]] Function Find(const char* name) const
    {
        void* const address = dlsym(m_library, name);
        if (address == nullptr) throw std::runtime_error(std::string(name) + " is not exported");
        return std::bit_cast<Function>(address);
    }

    /// Inputs among the first `place` parameters.
    template <class Signature, std::size_t... I>
    [[nodiscard]] static constexpr std::size_t InputsBefore(std::index_sequence<I...>)
    {
        return (std::size_t{0} + ... + (IsWritten<std::tuple_element_t<I, Signature>> ? 0U : 1U));
    }
    template <class Signature, std::size_t Place, class Given>
    [[nodiscard]] static auto Argument(Room& room, const Given& given)
    {
        using Parameter = std::tuple_element_t<Place, Signature>;
        if constexpr (IsWritten<Parameter>)
            return room.Cell<std::remove_pointer_t<Parameter>>();
        else
            return static_cast<Parameter>(std::get<InputsBefore<Signature>(std::make_index_sequence<Place>())>(given));
    }
    template <class Signature, class Given, std::size_t... I>
    [[nodiscard]] static Signature Arguments(Room& room, const Given& given, std::index_sequence<I...>)
    {
        static_assert(InputsBefore<Signature>(std::index_sequence<I...>()) == std::tuple_size_v<Given>);
        return Signature{Argument<Signature, I>(room, given)...};
    }

    void TakeHandle(std::intptr_t handle, std::int32_t code)
    {
        if (code == 0) m_handle = handle;
    }
    template <class T>
    void PrintGiven(const T& argument)
    {
        if constexpr (std::is_same_v<T, const char*>) Print(argument);
    }
    template <class T>
    void PrintWritten(const T& argument)
    {
        if constexpr (IsWritten<T>) {
            ++m_figures;
            if (argument == nullptr)
                std::fputs(" null", m_out);
            else if constexpr (std::is_same_v<T, char*>)
                std::fprintf(m_out, " '%.64s'", argument);
            else
                Print(*argument);
        }
    }

    void Print(double value) const { std::fprintf(m_out, " %a", value); }
    void Print(std::integral auto value) const { std::fprintf(m_out, " %lld", static_cast<long long>(value)); }
    void Print(const char* text) const
    {
        text != nullptr ? std::fprintf(m_out, " '%s'", text) : std::fputs(" null", m_out);
    }
    void Print(const ExtraRisksInfo& info) const
    {
        for (const double point :
             {info.DownRisk, info.ZL, info.PnL3D, info.PnL2D, info.PnL2U, info.PnL3U, info.ZR, info.UpRisk})
            Print(point);
        Print(info.SubPointsCount);
    }

    void* m_library;
    std::FILE* m_out;
    std::int32_t m_capacity = 64;
    int m_nullPlace = -1;
    std::intptr_t m_handle = 0;
    std::size_t m_calls = 0;
    std::size_t m_figures = 0;
    std::set<std::string> m_names;
};

} // namespace replay
