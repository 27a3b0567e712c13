#include "except.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "Z9Fmt.h"

namespace kv7base {

template <std::size_t Size>
FixedString<Size>::FixedString() : m_buf(std::make_unique<char[]>(Size)), m_ptr(m_buf.get())
{}

template <std::size_t Size>
FixedString<Size>::FixedString(const FixedString& other) : FixedString()
{
    append(other.c_str(), other.size());
}

template <std::size_t Size>
FixedString<Size>::FixedString(FixedString&& other) noexcept
    : m_buf(std::move(other.m_buf)), m_ptr(std::exchange(other.m_ptr, nullptr))
{}

template <std::size_t Size>
void FixedString<Size>::append(const char* text) noexcept
{
    append(text, std::strlen(text));
}

template <std::size_t Size>
void FixedString<Size>::append(const char* text, std::size_t length) noexcept
{
    const std::size_t taken = std::min(length, available());
    m_ptr = std::copy_n(text, taken, m_ptr);
    *m_ptr = '\0';
}

template <std::size_t Size>
void FixedString<Size>::assign(const char* text) noexcept
{
    clear();
    append(text);
}

template <std::size_t Size>
void FixedString<Size>::append_integer(std::uint64_t value, bool negative) noexcept
{
    if (negative) append("-", 1);
    char digits[20]; // 2^64 - 1 has twenty
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
    append(digits, static_cast<std::size_t>(end - digits));
}

template <std::size_t Size>
std::size_t FixedString<Size>::available() const noexcept
{
    return Size - 1 - size();
}

template <std::size_t Size>
std::size_t FixedString<Size>::size() const noexcept
{
    return static_cast<std::size_t>(m_ptr - m_buf.get());
}

template <std::size_t Size>
void FixedString<Size>::capture_size(int written) noexcept
{
    if (written > 0) m_ptr += std::min(static_cast<std::size_t>(written), available());
    *m_ptr = '\0'; // ignores what the formatter left behind its count
}

template <std::size_t Size>
void FixedString<Size>::clear() noexcept
{
    m_ptr = m_buf.get();
    *m_ptr = '\0';
}

template class FixedString<1024>;

namespace {

/// Copies `text` into `buffer` with every "%" doubled; true when there was one. The text stops where the next
/// character, or both halves of the next pair, would not fit: half a pair would turn into a verb of the format.
template <std::size_t Size>
bool DoublePercents(const char* text, char (&buffer)[Size]) noexcept
{
    bool found = false;
    char* out = buffer;
    const char* const last = buffer + Size - 1;
    for (; *text != '\0'; ++text) {
        const bool percent = *text == '%';
        found = found || percent;
        if (last - out < (percent ? 2 : 1)) break;
        *out++ = *text;
        if (percent) *out++ = '%';
    }
    *out = '\0';
    return found;
}

const char* NameBehindLastSlash(const char* path) noexcept
{
    const char* const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

} // namespace

CExcept::CExcept(const source_location& location) : m_location(location) {}

CExcept::CExcept(const char* text, const source_location& location)
    : m_location(location), m_specifiedContext(ContextSpec::Text)
{
    m_str.append(text);
}

CExcept::CExcept(const std::string& text, const source_location& location) : CExcept(text.c_str(), location) {}

CExcept::CExcept(const CExcept& other) = default;
CExcept::CExcept(CExcept&& other) noexcept = default;
CExcept::~CExcept() = default;

const char* CExcept::what() const noexcept
{
    // 1. A text that is final stays.
    if ((m_utilizedContext & ContextSpec::Text) != ContextSpec::None) return m_str.c_str();
    // 2. The place of the throw.
    if (m_location.line() != 0) {
        m_str.append(";");
        m_str.append(NameBehindLastSlash(m_location.file_name()));
        m_str.append(":");
        m_str.append_integer(m_location.line());
    }
    // 3. Fit for being passed on as a format.
    if (m_str.size() != 0) {
        char doubled[1023];
        if (DoublePercents(m_str.c_str(), doubled)) m_str.assign(doubled);
    }
    // 4. Final from now on.
    m_utilizedContext = m_utilizedContext | ContextSpec::Text;
    return m_str.c_str();
}

CZ9Error::CZ9Error(const source_location& location) : CExcept(location) {}

CZ9Error::CZ9Error(Z9ERR code, const source_location& location) : CExcept(location), m_code(code)
{
    m_specifiedContext = ContextSpec::Code;
}

CZ9Error::CZ9Error(const std::exception& e, const source_location& location)
    : CExcept(e.what(), location), m_code(Z9ERR_COMMON_INTERNAL_ERROR)
{}

CZ9Error&& CZ9Error::Fmt(const char* format, ...)
{
    m_str.clear();
    AppendCodePrefix();
    va_list args;
    va_start(args, format);
    const int written = Z9SysVSNPrintf(m_str.data_end(), m_str.available() + 1, format, args);
    va_end(args);
    m_str.capture_size(written);
    if (written > 0) m_specifiedContext = m_specifiedContext | ContextSpec::Text;
    return std::move(*this);
}

const char* CZ9Error::what() const noexcept
{
    if (m_specifiedContext == ContextSpec::Code) {
        AppendCodePrefix();
        m_specifiedContext = m_specifiedContext | ContextSpec::Text;
    }
    return CExcept::what();
}

void CZ9Error::AppendCodePrefix() const noexcept
{
    const int written = Z9SysSNPrintf(m_str.data_end(), m_str.available() + 1, "ErrorCode: %u=0x%X - %s, ", m_code,
                                      m_code, Kv7ErrGetDescrStr(m_code));
    m_str.capture_size(written);
    if (written > 0) m_utilizedContext = m_utilizedContext | ContextSpec::Code;
}

CArgumentException::CArgumentException(const source_location& location)
    : CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, location)
{
    m_specifiedContext = ContextSpec::None;
}

CArgumentException::CArgumentException(const std::string& name, const source_location& location)
    : CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, location), m_arg(name)
{
    m_specifiedContext = ContextSpec::Text;
    if (name.empty()) return;
    m_str.append(" - ");
    m_str.append(name.c_str());
}

CArgumentException&& CArgumentException::Fmt(const char* format, ...)
{
    m_str.clear();
    va_list args;
    va_start(args, format);
    const int written = Z9SysVSNPrintf(m_str.data_end(), m_str.available() + 1, format, args);
    va_end(args);
    m_str.capture_size(written);
    m_specifiedContext = ContextSpec::Text;
    return std::move(*this);
}

void throw_exception(const std::exception& e) { throw CZ9Error(e, KV7_CURRENT_LOCATION); }

} // namespace kv7base
