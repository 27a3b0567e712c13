// QLTracer: one line of the trace log for each call of an exported function. It stands on the stack of the function and
// writes when it goes out of scope:
//
//   [operation id,]seconds since the first tracer,seconds of duration,code,text of the
//   code,function,@name=value,@name=...
//              0,    0.000123,00,,InsertCurrency,@QuindalIMCalculator=94110,@CurrencyId=840
//
// Always true:  nothing is written before the destructor, and nothing at all while the trace log is closed. A tracer
//               of Recording::WhileLogIsOpen builds no text then. A successful call has the code "00" and an empty
//               text.
// Numbers:      seconds, 12 characters wide; values as FormatDouble writes them.
// Threads:      a tracer belongs to one stack; the log and its category are set up while nobody traces.
// Used as:      QLTracer tracer("InsertCurrency");
//               tracer.Params().Add("QuindalIMCalculator", handle).Add("CurrencyId", id);
//               return tracer.SetError(result);
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Enums.h"
#include "TraceText.h"
#include "kv7errors.h"
#include "z9custom_log.h"

namespace kv7base {

class CZ9Ini;

/// A moment of the monotonic clock; the epoch itself, 0, is "not set".
using chronoTime = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;
using durationSeconds = std::chrono::duration<double>;

/// Values as texts of the trace log. Numbers come out as printf would write them in the "C" locale, whatever the
/// locale of the process.
class Formatter
{
public:
    /// Room for any number that the functions below write.
    using NumberBuffer = std::array<char, 40>;

    /// Formats with plain printf verbs in the "C" locale.
    [[nodiscard, gnu::format(printf, 1, 2)]] static std::string DoFormat(const char* format, ...);

    /// A number as "%12.6f", or as "%12g" where its absolute value is above 1e8 or below 1e-8 (0 included), so that a
    /// field keeps its width. The text stands in the buffer.
    [[nodiscard]] static std::string_view FormatDouble(NumberBuffer& buffer, double value) noexcept;
    /// A number as "%ld", which is also the "%d" of every narrower number. The text stands in the buffer.
    [[nodiscard]] static std::string_view FormatLong(NumberBuffer& buffer, long value) noexcept;
    /// A number as "%lu". The text stands in the buffer.
    [[nodiscard]] static std::string_view FormatUnsigned(NumberBuffer& buffer, std::uint64_t value) noexcept;

    /// Appends one value to the text. Doubles and durations (in seconds) are written as by FormatDouble; a time as
    /// "2026-11-21 10:15:30.123"; a null text or pointer as NULL, any other pointer as the value it points at.
    static void FormatInto(std::string& text, char value);
    static void FormatInto(std::string& text, std::int32_t value);
    static void FormatInto(std::string& text, std::uint32_t value);
    static void FormatInto(std::string& text, std::int64_t value);
    static void FormatInto(std::string& text, std::uint64_t value);
    static void FormatInto(std::string& text, double value);
    static void FormatInto(std::string& text, const char* value);
    static void FormatInto(std::string& text, const std::string& value);
    static void FormatInto(std::string& text, durationSeconds value);
    static void FormatInto(std::string& text, const Z9TIME& value);
    template <class T>
    static void FormatInto(std::string& text, const T* value)
    {
        if (value == nullptr)
            text += "NULL";
        else
            FormatInto(text, *value);
    }
    template <class E>
    requires std::is_enum_v<E>
    static void FormatInto(std::string& text, E value) { FormatInto(text, static_cast<std::int64_t>(value)); }
};

/// Adds the arguments of the traced call to its line: "@name=value", separated by commas. Made by QLTracer::Params.
class ParamsBuilder
{
public:
    /// The text of a line, with room for an ordinary one.
    using Text = TraceText<1024>;

    /// Null for a call that leaves no line: what is added then is not looked at. Each argument has a comma behind it.
    explicit ParamsBuilder(Text* params) noexcept : m_params(params) {}

    ParamsBuilder& Add(std::string_view name, int value) { return Add(name, static_cast<long>(value)); }
    ParamsBuilder& Add(std::string_view name, signed char value) { return Add(name, static_cast<long>(value)); }
    /// Adds an integer; int64_t and intptr_t are long here.
    ParamsBuilder& Add(std::string_view name, long value);
    ParamsBuilder& Add(std::string_view name, double value);
    /// Adds the value pointed at, or NULL.
    ParamsBuilder& Add(std::string_view name, const double* value);
    /// Adds the text in single quotes, or the word NULL without quotes.
    ParamsBuilder& Add(std::string_view name, const char* value);
    /// Adds the number of an enumerator, as an int.
    template <class E>
    requires std::is_enum_v<E> ParamsBuilder& Add(std::string_view name, E value)
    {
        return Add(name, static_cast<int>(value));
    }

private:
    void AddText(std::string_view name, std::string_view value, std::string_view quote = {});

    Text* m_params;
};

/// Builds one extra line after the traced call, value by value; the line begins with the first value.
class TraceBuilder
{
public:
    /// Null for a call that leaves no line: what is added then is not looked at.
    explicit TraceBuilder(std::vector<std::string>* lines) noexcept : m_lines(lines) {}

    template <class T>
    TraceBuilder& Add(const T& value)
    {
        if (m_lines == nullptr) return *this;
        if (!std::exchange(m_begun, true)) m_lines->emplace_back();
        Formatter::FormatInto(m_lines->back(), value);
        return *this;
    }

private:
    std::vector<std::string>* m_lines;
    bool m_begun = false;
};

class QLTracer
{
public:
    /// Whether a tracer builds the texts of its line.
    enum class Recording
    {
        WhileLogIsOpen, // not where the trace log is closed when the call begins
        Always,         // in any case: the call may open the log
    };

    /// Receives the line instead of the trace log: category, the prefix (everything before the function), the
    /// parameters.
    using LogFunc = std::function<void(const std::string& category, std::string_view prefix, std::string_view params)>;
    /// Receives one extra line instead of the trace log.
    using TraceFunc = std::function<void(const std::string& line)>;

    explicit QLTracer(std::string_view functionName, Recording recording = Recording::Always);
    QLTracer(const QLTracer&) = delete;
    QLTracer& operator=(const QLTracer&) = delete;
    /// Writes the line; without memory for it there is none. An exception from a custom function ends the process.
    ~QLTracer();

    /// Opens the trace log from the section "xplog"; an open log stays as it is. Throws CZ9Error.
    static void Init(const CZ9Ini& ini); ///< Does nothing for an ini object without a handle.
    /// Opens the trace log from a section of an ini file; an open log stays as it is. Throws CZ9Error.
    static void Init(Z9INI_HANDLE ini, const char* section);
    /// Closes the trace log. The next tracer is the new start of time.
    static void DeInit();
    static void SetLogCategory(const std::string& category) { s_category = category; }
    static void SetFullFilePath(const std::string& path) { s_fullFilePath = path; }

    [[nodiscard]] static chronoTime GetInitializeTime() noexcept { return s_initializeTime; }
    [[nodiscard]] static Z9CustomLog& GetXPLog() noexcept { return s_log; }
    [[nodiscard]] static const std::string& GetFullFilePath() noexcept { return s_fullFilePath; }

    /// Sends the line to these functions instead of the trace log once all three are set.
    void SetCustomLogFunctions(LogFunc noError, LogFunc error, TraceFunc trace);

    /// Records the outcome of the call with the text of its code, and hands the code back to be returned.
    Z9ERR SetError(Z9ERR code);
    void SetError(Enums::RptCode code, const char* text);
    void SetError(std::uint64_t operId, Enums::RptCode code, const char* text);

    /// False where nothing that is handed in will be looked at.
    [[nodiscard]] bool IsRecording() const noexcept { return m_line.has_value(); }
    [[nodiscard]] ParamsBuilder Params() noexcept { return ParamsBuilder(m_line ? &m_line->record : nullptr); }
    [[nodiscard]] TraceBuilder Traces() noexcept { return TraceBuilder(m_line ? &m_line->traceList : nullptr); }
    /// Moves these lines behind the present ones; `lines` is left empty.
    void MergeTraces(std::vector<std::string>& lines);

private:
    /// What the line of one call is made of.
    struct Line
    {
        Line(std::string_view name, chronoTime now);

        ParamsBuilder::Text record; // "function,@name=value,@name=value,"
        std::size_t beginOfParams;
        TraceText<256> errorStr;           // text of the last code, where it is no success
        std::int32_t errorNum = XPNoError; // last code set
        std::uint64_t operId = 0;          // 0 when there is none
        chronoTime beginMeasurementTime;
        std::vector<std::string> traceList;
        LogFunc logNoErrorFunc;
        LogFunc logErrorFunc;
        TraceFunc logTraceFunc;
    };

    void Trace();
    using PrefixText = TraceText<256>;
    static void AppendPrefix(PrefixText& prefix, const Line& line, chronoTime now);
    /// Builds the prefix and completes the record, each with a zero behind it. False when there is no memory for them.
    [[nodiscard]] static bool Complete(PrefixText& prefix, Line& line) noexcept;

    static constexpr std::int32_t XPNoError = 0; // the code that means no error

    static chronoTime s_initializeTime; // time of the first tracer; 0 before it
    // Never destroyed: a call at the very end of the process may still trace.
    static Z9CustomLog& s_log;
    static std::string& s_fullFilePath;
    static std::string& s_category;

    std::optional<Line> m_line; // empty where the call leaves no line
};

} // namespace kv7base
