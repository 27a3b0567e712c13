#include "QLTracer.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "z9ini.h"

namespace kv7base {

namespace {

constexpr std::size_t fieldWidth = 12;

/// Moves the digits at the start of the buffer to the right end of a field of fieldWidth characters.
std::string_view PadToField(Formatter::NumberBuffer& buffer, std::size_t length) noexcept
{
    if (length >= fieldWidth) return {buffer.data(), length};
    const std::size_t blanks = fieldWidth - length;
    std::memmove(buffer.data() + blanks, buffer.data(), length);
    std::fill_n(buffer.data(), blanks, ' ');
    return {buffer.data(), fieldWidth};
}

template <class Integer>
std::string_view FormatInteger(Formatter::NumberBuffer& buffer, Integer value) noexcept
{
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), static_cast<std::size_t>(end - buffer.data())};
}

/// Whole nanoseconds as seconds, with one rounding.
double Seconds(std::chrono::nanoseconds duration) noexcept { return static_cast<double>(duration.count()) / 1e9; }

/// Lets this thread format in the "C" locale while the object lives: a host's decimal comma must not reach a trace.
class ClassicLocale
{
public:
    ClassicLocale() noexcept
    {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        m_before = uselocale(classic);
    }
    ~ClassicLocale() { uselocale(m_before); }
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;

private:
    locale_t m_before;
};

/// An object whose destructor never runs.
template <class T>
union Immortal
{
    T value;
    constexpr Immortal() : value() {}
    constexpr ~Immortal() {}
};

// Before its 15th edition clang cannot make gcc's std::string at compile time and makes these two at start-up.
#if defined(__clang__) && __clang_major__ < 15
#define KV7_CONSTINIT_STRING
#else
#define KV7_CONSTINIT_STRING constinit
#endif

constinit Immortal<Z9CustomLog> xpLog;
KV7_CONSTINIT_STRING Immortal<std::string> fullFilePath;
KV7_CONSTINIT_STRING Immortal<std::string> category;

#undef KV7_CONSTINIT_STRING

} // namespace

std::string Formatter::DoFormat(const char* format, ...)
{
    const ClassicLocale classic;
    std::array<char, 512> ordinary;
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(ordinary.data(), ordinary.size(), format, args);
    va_end(args);
    std::string text;
    if (length > 0) {
        const auto size = static_cast<std::size_t>(length);
        if (size < ordinary.size()) {
            text.assign(ordinary.data(), size);
        } else {
            text.resize(size);
            static_cast<void>(std::vsnprintf(text.data(), size + 1, format, again));
        }
    }
    va_end(again);
    return text;
}

std::string_view Formatter::FormatDouble(NumberBuffer& buffer, double value) noexcept
{
    const double magnitude = std::fabs(value);
    const bool outside = magnitude > 1e8 || magnitude < 1e-8; // false for NaN
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            outside ? std::chars_format::general : std::chars_format::fixed, 6);
    return PadToField(buffer, static_cast<std::size_t>(end - buffer.data()));
}

std::string_view Formatter::FormatLong(NumberBuffer& buffer, long value) noexcept
{
    return FormatInteger(buffer, value);
}

std::string_view Formatter::FormatUnsigned(NumberBuffer& buffer, std::uint64_t value) noexcept
{
    return FormatInteger(buffer, value);
}

void Formatter::FormatInto(std::string& text, char value) { text += value; }

void Formatter::FormatInto(std::string& text, std::int32_t value)
{
    FormatInto(text, static_cast<std::int64_t>(value));
}

void Formatter::FormatInto(std::string& text, std::uint32_t value)
{
    FormatInto(text, static_cast<std::uint64_t>(value));
}

void Formatter::FormatInto(std::string& text, std::int64_t value)
{
    NumberBuffer buffer;
    text += FormatLong(buffer, value);
}

void Formatter::FormatInto(std::string& text, std::uint64_t value)
{
    NumberBuffer buffer;
    text += FormatUnsigned(buffer, value);
}

void Formatter::FormatInto(std::string& text, double value)
{
    NumberBuffer buffer;
    text += FormatDouble(buffer, value);
}

void Formatter::FormatInto(std::string& text, const char* value) { text += value == nullptr ? "NULL" : value; }

void Formatter::FormatInto(std::string& text, const std::string& value) { text += value; }

void Formatter::FormatInto(std::string& text, durationSeconds value) { FormatInto(text, value.count()); }

void Formatter::FormatInto(std::string& text, const Z9TIME& value)
{
    text +=
        DoFormat("%04u-%02u-%02u %02u:%02u:%02u.%03u", unsigned{value.year}, unsigned{value.month}, unsigned{value.day},
                 unsigned{value.hour}, unsigned{value.minute}, unsigned{value.second}, unsigned{value.msec});
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, long value)
{
    Formatter::NumberBuffer buffer;
    AddText(name, Formatter::FormatLong(buffer, value));
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, double value)
{
    Formatter::NumberBuffer buffer;
    AddText(name, Formatter::FormatDouble(buffer, value));
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, const double* value)
{
    if (value != nullptr) return Add(name, *value);
    AddText(name, "NULL");
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, const char* value)
{
    if (value != nullptr)
        AddText(name, value, "'");
    else
        AddText(name, "NULL");
    return *this;
}

void ParamsBuilder::AddText(std::string_view name, std::string_view value, std::string_view quote)
{
    if (!m_params.empty()) m_params += ',';
    m_params += '@';
    m_params += name;
    m_params += '=';
    m_params += quote;
    m_params += value;
    m_params += quote;
}

constinit chronoTime QLTracer::s_initializeTime{};
constinit Z9CustomLog& QLTracer::s_log = xpLog.value;
constinit std::string& QLTracer::s_fullFilePath = fullFilePath.value;
constinit std::string& QLTracer::s_category = category.value;

QLTracer::QLTracer(std::string_view functionName)
{
    // One look at the clock: the first tracer starts at zero seconds exactly.
    const chronoTime now = std::chrono::steady_clock::now();
    m_functionName = functionName;
    m_params.reserve(512);
    if (s_initializeTime == chronoTime{}) s_initializeTime = now;
    m_beginMeasurementTime = now;
}

QLTracer::~QLTracer() { Trace(); }

void QLTracer::Init(const CZ9Ini& ini)
{
    if (ini.IsInitialized()) Init(ini.GetHandle(), "xplog");
}

void QLTracer::Init(Z9INI_HANDLE ini, const char* section)
{
    if (s_log.IsOpen()) {
        KV7TRACE_INFO_EX("QuindalIM", "XP Log already opened");
        return;
    }
    s_log.Open(ini, section);
}

void QLTracer::DeInit()
{
    s_log.Close();
    s_initializeTime = chronoTime{};
}

void QLTracer::SetCustomLogFunctions(LogFunc noError, LogFunc error, TraceFunc trace)
{
    m_logNoErrorFunc = std::move(noError);
    m_logErrorFunc = std::move(error);
    m_logTraceFunc = std::move(trace);
}

Z9ERR QLTracer::SetError(Z9ERR code)
{
    m_errorNum = static_cast<std::int32_t>(code);
    m_errorStr = Kv7ErrGetDescrStr(code);
    return code;
}

void QLTracer::SetError(Enums::RptCode code, const char* text)
{
    m_errorNum = static_cast<std::int32_t>(code);
    m_errorStr = text == nullptr ? "" : text;
}

void QLTracer::SetError(std::uint64_t operId, Enums::RptCode code, const char* text)
{
    m_operId = operId;
    SetError(code, text);
}

void QLTracer::MergeTraces(std::vector<std::string>& lines)
{
    m_traceList.insert(m_traceList.end(), std::make_move_iterator(lines.begin()), std::make_move_iterator(lines.end()));
    lines.clear();
}

void QLTracer::AppendPrefix(std::pmr::string& prefix, chronoTime now) const
{
    Formatter::NumberBuffer number;
    if (m_operId != 0) {
        prefix += Formatter::FormatUnsigned(number, m_operId);
        prefix += ',';
    }
    prefix += Formatter::FormatDouble(number, Seconds(m_beginMeasurementTime - s_initializeTime));
    prefix += ',';
    prefix += Formatter::FormatDouble(number, Seconds(now - m_beginMeasurementTime));
    prefix += ',';
    if (m_errorNum >= 0 && m_errorNum <= 9) prefix += '0'; // "%02d"
    prefix += Formatter::FormatLong(number, m_errorNum);
    prefix += ',';
    if (m_errorNum != XPNoError && !m_errorStr.empty()) prefix += m_errorStr;
    prefix += ',';
}

void QLTracer::Trace()
{
    const chronoTime now = std::chrono::steady_clock::now();
    std::pmr::string prefix(&m_memory);
    prefix.reserve(128);
    AppendPrefix(prefix, now);
    if (!s_log.IsOpen()) return;

    const bool success = m_errorNum == XPNoError;
    if (m_logNoErrorFunc && m_logErrorFunc && m_logTraceFunc) {
        (success ? m_logNoErrorFunc : m_logErrorFunc)(s_category, prefix, m_params);
        for (const std::string& line : m_traceList)
            m_logTraceFunc(line);
        return;
    }
    if (success) {
        KV7TRACE_GEN_(s_log, LogInfoEx, , likely, s_category.c_str(), "%s%s,%s", prefix.c_str(), m_functionName.c_str(),
                      m_params.c_str());
    } else {
        KV7TRACE_GEN_(s_log, LogErrorEx, , likely, s_category.c_str(), "%s%s,%s", prefix.c_str(),
                      m_functionName.c_str(), m_params.c_str());
    }
}

} // namespace kv7base
