// Common parts of the sources of libZ9Sys: the common codes by name, the frame that keeps exceptions inside, and
// objects that outlive every static destructor.
//
// Always true: no exception passes a function of the C interface; an Immortal is built once and never destroyed.
#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>

#include <string.h> // explicit_bzero

#include "Z9Types.h"

namespace z9 {

// Codes of the common range that this library gives. Named apart from the catalogue of the client library, which
// defines the whole range and includes our headers.
inline constexpr Z9ERR kOk = 0;
inline constexpr Z9ERR kNoMemory = 1;
inline constexpr Z9ERR kWrongArguments = 2;
inline constexpr Z9ERR kInternalError = 3;
inline constexpr Z9ERR kCancelEnum = 12;
inline constexpr Z9ERR kAlreadyInitialized = 17;
inline constexpr Z9ERR kAlreadyDefined = 19;
inline constexpr Z9ERR kNoSuchItem = 32;

// Runs the body of a C function and turns whatever it throws into a code.
template <class Body>
[[nodiscard]] Z9ERR Guarded(Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    } catch (...) {
        return kInternalError;
    }
}

// Overwrites a secret text and everything that its memory has held, and makes it empty.
inline void Wipe(std::string& text) noexcept
{
    text.resize(text.capacity()); // takes no new memory
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

// Wipes a text at the end of the scope.
class Wiped
{
public:
    explicit Wiped(std::string& text) noexcept : text_(text) {}
    ~Wiped() { Wipe(text_); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

private:
    std::string& text_;
};

// An object whose destructor never runs: callers keep pointers into it, and static destructors of other libraries may
// still log or ask for a text after our own have run. Use it as a function-local static.
template <class T>
class Immortal
{
public:
    Immortal() { std::construct_at(std::addressof(value_)); }
    ~Immortal() {}
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    [[nodiscard]] T& Get() noexcept { return value_; }

private:
    union
    {
        T value_;
    };
};

} // namespace z9
