#include "QLTracer.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "UnitsOfDouble.h"
#include "z9ini.h"

namespace kv7base {

namespace {

constexpr std::size_t fieldWidth = 12;

/// "00" to "99", one after the other.
constexpr std::array<char, 200> digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        pairs[i] = static_cast<char>('0' + i / 20);
        pairs[i + 1] = static_cast<char>('0' + i / 2 % 10);
    }
    return pairs;
}();

/// Writes two digits and returns where they begin.
char* PutPairBefore(char* end, std::uint32_t below100) noexcept
{
    return static_cast<char*>(std::memcpy(end - 2, &digitPairs[std::size_t{2} * below100], 2));
}

/// A number of countable units as "%12.6f": a half of a millionth falls to the even side, as printf has it.
std::string_view FormatMillionths(Formatter::NumberBuffer& buffer, double value) noexcept
{
    constexpr int fractionDigits = 6;
    const UnitsOfDouble units = CountUnits(std::fabs(value), 1'000'000);
    std::uint64_t millionths = units.whole;
    if (units.restToHalf > 0 || (units.restToHalf == 0 && millionths % 2 != 0)) ++millionths;

    // From the last digit to the first, two at a time.
    char* const end = buffer.data() + buffer.size();
    char* at = end;
    auto fraction = static_cast<std::uint32_t>(millionths % 1'000'000);
    for (int digits = 0; digits != fractionDigits; digits += 2, fraction /= 100)
        at = PutPairBefore(at, fraction % 100);
    *--at = '.';
    std::uint64_t whole = millionths / 1'000'000;
    for (; whole >= 100; whole /= 100)
        at = PutPairBefore(at, static_cast<std::uint32_t>(whole % 100));
    if (whole >= 10)
        at = PutPairBefore(at, static_cast<std::uint32_t>(whole));
    else
        *--at = static_cast<char>('0' + whole);
    if (value < 0) *--at = '-';
    while (static_cast<std::size_t>(end - at) < fieldWidth)
        *--at = ' ';
    return {at, static_cast<std::size_t>(end - at)};
}

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
    if (magnitude == 0.0) return std::signbit(value) ? "          -0" : "           0"; // a margin is often none
    if (magnitude <= 1e8 && HasCountableUnits(magnitude)) return FormatMillionths(buffer, value);
    // NaN and the infinities have one text in either form.
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, 6);
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
    if (m_params == nullptr) return *this;
    Formatter::NumberBuffer buffer;
    AddText(name, Formatter::FormatLong(buffer, value));
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, double value)
{
    if (m_params == nullptr) return *this;
    Formatter::NumberBuffer buffer;
    AddText(name, Formatter::FormatDouble(buffer, value));
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, const double* value)
{
    if (m_params == nullptr) return *this;
    if (value != nullptr) return Add(name, *value);
    AddText(name, "NULL");
    return *this;
}

ParamsBuilder& ParamsBuilder::Add(std::string_view name, const char* value)
{
    if (m_params == nullptr) return *this;
    if (value != nullptr)
        AddText(name, value, "'");
    else
        AddText(name, "NULL");
    return *this;
}

void ParamsBuilder::AddText(std::string_view name, std::string_view value, std::string_view quote)
{
    // Room for all the pieces at once: the text is asked once and not seven times.
    char* at = m_params->Extend(1 + name.size() + 1 + value.size() + 2 * quote.size() + 1);
    *at++ = '@';
    at = PutPiece(at, name);
    *at++ = '=';
    for (const std::string_view piece : {quote, value, quote})
        at = PutPiece(at, piece);
    *at = ',';
}

constinit chronoTime QLTracer::s_initializeTime{};
constinit Z9CustomLog& QLTracer::s_log = xpLog.value;
constinit std::string& QLTracer::s_fullFilePath = fullFilePath.value;
constinit std::string& QLTracer::s_category = category.value;

QLTracer::Line::Line(std::string_view name, chronoTime now) : beginMeasurementTime(now)
{
    record.Append(name);
    record.Append(',');
    beginOfParams = record.Size();
}

QLTracer::QLTracer(std::string_view functionName, Recording recording)
{
    const bool leavesLine = recording == Recording::Always || s_log.IsOpen();
    if (!leavesLine && s_initializeTime != chronoTime{}) return;
    // One look at the clock: the first tracer starts at zero seconds exactly.
    const chronoTime now = std::chrono::steady_clock::now();
    if (s_initializeTime == chronoTime{}) s_initializeTime = now;
    if (leavesLine) m_line.emplace(functionName, now);
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
    if (!m_line) return;
    m_line->logNoErrorFunc = std::move(noError);
    m_line->logErrorFunc = std::move(error);
    m_line->logTraceFunc = std::move(trace);
}

Z9ERR QLTracer::SetError(Z9ERR code)
{
    if (m_line) SetError(static_cast<Enums::RptCode>(code), code == Z9ERR_OK ? nullptr : Kv7ErrGetDescrStr(code));
    return code;
}

void QLTracer::SetError(Enums::RptCode code, const char* text)
{
    if (!m_line) return;
    m_line->errorNum = static_cast<std::int32_t>(code);
    m_line->errorStr.Clear();
    if (m_line->errorNum != XPNoError && text != nullptr) m_line->errorStr.Append(text);
}

void QLTracer::SetError(std::uint64_t operId, Enums::RptCode code, const char* text)
{
    if (m_line) m_line->operId = operId;
    SetError(code, text);
}

void QLTracer::MergeTraces(std::vector<std::string>& lines)
{
    if (m_line)
        m_line->traceList.insert(m_line->traceList.end(), std::make_move_iterator(lines.begin()),
                                 std::make_move_iterator(lines.end()));
    lines.clear();
}

void QLTracer::AppendPrefix(PrefixText& prefix, const Line& line, chronoTime now)
{
    Formatter::NumberBuffer number;
    if (line.operId != 0) {
        prefix.Append(Formatter::FormatUnsigned(number, line.operId));
        prefix.Append(',');
    }
    prefix.Append(Formatter::FormatDouble(number, Seconds(line.beginMeasurementTime - s_initializeTime)));
    prefix.Append(',');
    prefix.Append(Formatter::FormatDouble(number, Seconds(now - line.beginMeasurementTime)));
    prefix.Append(',');
    if (line.errorNum >= 0 && line.errorNum <= 9) prefix.Append('0'); // "%02d"
    prefix.Append(Formatter::FormatLong(number, line.errorNum));
    prefix.Append(',');
    if (line.errorNum != XPNoError) prefix.Append(line.errorStr.View());
    prefix.Append(',');
}

bool QLTracer::Complete(PrefixText& prefix, Line& line) noexcept
{
    try {
        AppendPrefix(prefix, line, std::chrono::steady_clock::now());
        if (line.record.Size() > line.beginOfParams) line.record.DropLast(1); // the comma behind the last argument
        prefix.Append('\0');
        line.record.Append('\0');
        return true;
    } catch (const std::bad_alloc&) { // the call has its result; the line is all that is missing
        return false;
    }
}

void QLTracer::Trace()
{
    if (!m_line || !s_log.IsOpen()) return;
    Line& line = *m_line;
    PrefixText prefix;
    if (!Complete(prefix, line)) return;
    const char* const begin = prefix.View().data();
    const char* const record = line.record.View().data();

    const bool success = line.errorNum == XPNoError;
    if (line.logNoErrorFunc && line.logErrorFunc && line.logTraceFunc) {
        (success ? line.logNoErrorFunc : line.logErrorFunc)(s_category, begin, record + line.beginOfParams);
        for (const std::string& extraLine : line.traceList)
            line.logTraceFunc(extraLine);
        return;
    }
    if (success) {
        KV7TRACE_GEN_(s_log, LogInfoEx, , likely, s_category.c_str(), "%s%s", begin, record);
    } else {
        KV7TRACE_GEN_(s_log, LogErrorEx, , likely, s_category.c_str(), "%s%s", begin, record);
    }
}

} // namespace kv7base
