// The exceptions of the library: one small family that carries a result code, a text and the place of the throw.
//
// Always true:  making one costs one allocation of 1024 bytes; a bare code builds its text only when somebody asks.
//               what() hands out a text with every "%" doubled, so that it may be passed on as a format.
//               what() is lazy and changes the object although it is const: one object belongs to one thread.
// The idiom:    throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "kv7errors.h"

#define KV7_SOURCE_LOCATION_HAS_COLUMN 0

namespace kv7base {

/// Place in the source, made where it is written (KV7_CURRENT_LOCATION). Line 0 is no location.
class source_location
{
public:
    constexpr source_location() noexcept = default;
    static constexpr source_location current(std::uint_least32_t line, std::uint_least32_t column, const char* file,
                                             const char* function) noexcept
    {
        (void)column;
        source_location here;
        here.m_file = file;
        here.m_function = function;
        here.m_line = line;
        return here;
    }
    [[nodiscard]] constexpr std::uint_least32_t line() const noexcept { return m_line; }
    [[nodiscard]] constexpr std::uint_least32_t column() const noexcept { return 0; }
    [[nodiscard]] constexpr const char* file_name() const noexcept { return m_file; }
    [[nodiscard]] constexpr const char* function_name() const noexcept { return m_function; }

private:
    const char* m_file = "";     // literal
    const char* m_function = ""; // literal; carried, not printed
    std::uint_least32_t m_line = 0;
};

#define KV7_CURRENT_LOCATION ::kv7base::source_location::current(__LINE__, 0, __FILE__, __func__)

/// Text buffer on the heap, allocated once: at most Size - 1 characters and a terminating zero. Every write is cut off
/// at the end. A moved-from string has no buffer, and only its destructor may run.
template <std::size_t Size>
class FixedString
{
public:
    static constexpr std::size_t BufferSize = Size;

    FixedString();                         ///< Empty; throws std::bad_alloc.
    FixedString(const FixedString& other); ///< A new buffer with the other's text.
    FixedString(FixedString&& other) noexcept;
    FixedString& operator=(const FixedString&) = delete;
    FixedString& operator=(FixedString&&) = delete;
    ~FixedString() = default;

    void append(const char* text) noexcept;
    void append(const char* text, std::size_t length) noexcept;
    void assign(const char* text) noexcept;
    /// Appends plain decimal digits, cut off at the end of the buffer.
    void append_integer(std::uint64_t value, bool negative = false) noexcept;
    /// Characters that still fit, the terminating zero not counted.
    [[nodiscard]] std::size_t available() const noexcept;
    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] const char* c_str() const noexcept { return m_buf.get(); }
    /// Write position, for a formatter that fills available() + 1 bytes and reports to capture_size.
    [[nodiscard]] char* data_end() noexcept { return m_ptr; }
    void capture_size(int written) noexcept;
    void clear() noexcept;

private:
    std::unique_ptr<char[]> m_buf;
    char* m_ptr; // always at a terminating zero
};

extern template class FixedString<1024>;

class CExcept : public std::exception
{
public:
    /// Parts of a text, as a bit set.
    enum class ContextSpec : std::uint8_t
    {
        None = 0,
        Code = 1,
        Text = 2,
    };

    explicit CExcept(const source_location& location);
    CExcept(const char* text, const source_location& location);
    CExcept(const std::string& text, const source_location& location);
    CExcept(const CExcept& other);
    CExcept(CExcept&& other) noexcept;
    CExcept& operator=(const CExcept&) = delete;
    CExcept& operator=(CExcept&&) = delete;
    ~CExcept() override;

    /// The text, followed by ";file:line" when a location is known. It is built once; later calls return that text.
    [[nodiscard]] const char* what() const noexcept override;

    [[nodiscard]] const source_location& GetLocation() const noexcept { return m_location; }

protected:
    const source_location m_location;
    mutable ContextSpec m_specifiedContext = ContextSpec::None; // parts that the thrower supplied
    mutable ContextSpec m_utilizedContext = ContextSpec::None;  // parts that stand in the buffer; Text: it is final
    mutable FixedString<1024> m_str;
};

[[nodiscard]] constexpr CExcept::ContextSpec operator|(CExcept::ContextSpec a, CExcept::ContextSpec b) noexcept
{
    return static_cast<CExcept::ContextSpec>(static_cast<std::uint8_t>(a) | static_cast<std::uint8_t>(b));
}
[[nodiscard]] constexpr CExcept::ContextSpec operator&(CExcept::ContextSpec a, CExcept::ContextSpec b) noexcept
{
    return static_cast<CExcept::ContextSpec>(static_cast<std::uint8_t>(a) & static_cast<std::uint8_t>(b));
}

/// A result code on its way to the boundary.
class CZ9Error : public CExcept
{
public:
    explicit CZ9Error(const source_location& location); ///< Code 0, no text.
    CZ9Error(Z9ERR code, const source_location& location);
    /// Wraps a foreign exception: code Z9ERR_COMMON_INTERNAL_ERROR and its text.
    CZ9Error(const std::exception& e, const source_location& location);

    [[nodiscard]] Z9ERR GetCode() const noexcept { return m_code; }
    void ReplaceWithCode(Z9ERR code) noexcept { m_code = code; }

    /// Replaces the text by "ErrorCode: <code>=0x<code> - <its text>, " and the formatted text (verbs of Z9Fmt.h).
    /// Returns the object, to be thrown in the same expression.
    CZ9Error&& Fmt(const char* format, ...);

    [[nodiscard]] const char* what() const noexcept override;

protected:
    void AppendCodePrefix() const noexcept;
    Z9ERR m_code = 0;
};

/// An argument out of its range. Its code is always Z9ERR_COMMON_WRONG_ARGUMENTS.
class CArgumentException : public CZ9Error
{
public:
    explicit CArgumentException(const source_location& location);
    /// Starts the text with " - " and the name; leaves it empty for an empty name.
    CArgumentException(const std::string& name, const source_location& location);

    [[nodiscard]] const std::string& GetParamName() const noexcept { return m_arg; }

    /// Replaces the text by the formatted one, without a code prefix.
    CArgumentException&& Fmt(const char* format, ...);

private:
    std::string m_arg;
};

/// Wraps any exception in a CZ9Error and throws it.
[[noreturn]] void throw_exception(const std::exception& e);

} // namespace kv7base
