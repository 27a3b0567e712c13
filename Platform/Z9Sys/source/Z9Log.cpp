// Logs: a default one and custom ones, each with a sink and a level of its own; spdlog's files and rotation under
// them. The gates that call sites test are words of ours, one a (severity, category), kept in step with the levels of
// all open logs.
#include "Z9Log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <spdlog/details/log_msg.h>
#include <spdlog/details/os.h>
#include <spdlog/formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "Z9Fmt.h"
#include "Z9IniFile.h"
#include "Z9Internal.h"

namespace {

using SinkPtr = std::shared_ptr<spdlog::sinks::sink>;

constexpr std::string_view kSeverityNames[] = {"INFO", "WARNING", "ERROR", "FATAL"};
constexpr std::string_view kLevelNames[] = {"info", "warning", "error", "fatal", "off"}; // index: the lowest written
constexpr std::size_t kMaxTextSize = std::size_t{64} * 1024;                             // with the terminating zero
constexpr std::uint64_t kDefaultMaxFiles = 5;
constexpr std::uint64_t kMostFiles = 200000; // the rotating sink refuses more

bool IsSeverity(int severity) noexcept { return severity >= Z9LOG_INFO && severity <= Z9LOG_FATAL; }

// A line of a log: local time to the millisecond, a blank, the text. Lines come many to a second, so the text of the
// second is kept. A sink asks one line after the other.
class TimedLine final : public spdlog::formatter
{
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override
    {
        using std::chrono::milliseconds, std::chrono::seconds;
        const auto sinceEpoch = std::chrono::floor<milliseconds>(message.time.time_since_epoch());
        const auto second = std::chrono::floor<seconds>(sinceEpoch);
        if (second != second_ || secondSize_ == 0) Keep(second);

        const auto fraction = static_cast<unsigned>((sinceEpoch - second).count());
        const char digits[] = {Digit(fraction / 100), Digit(fraction / 10), Digit(fraction), ' '};
        line.reserve(line.size() + secondSize_ + sizeof digits + message.payload.size() + 1);
        line.append(text_.data(), text_.data() + secondSize_);
        line.append(digits, digits + sizeof digits);
        line.append(message.payload.begin(), message.payload.end());
        line.push_back('\n');
    }
    [[nodiscard]] std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<TimedLine>(); }

private:
    static char Digit(unsigned number) noexcept { return static_cast<char>('0' + number % 10); }

    void Keep(std::chrono::seconds second)
    {
        const std::tm local = spdlog::details::os::localtime(static_cast<std::time_t>(second.count()));
        secondSize_ = std::strftime(text_.data(), text_.size(), "%Y-%m-%d %H:%M:%S.", &local);
        second_ = second;
    }

    std::chrono::seconds second_{};
    std::array<char, 64> text_{}; // "2026-11-21 10:15:30."
    std::size_t secondSize_ = 0;
};

// One open log. Without a sink it is open and writes nowhere.
class Log
{
public:
    Log(SinkPtr sink, int level, bool flushesEachLine)
        : sink_(std::move(sink)), flushesEachLine_(flushesEachLine), level_(level)
    {}

    void SetLevel(int level) noexcept { level_ = level; }

    [[nodiscard]] bool Writes(int severity) const noexcept { return sink_ != nullptr && severity >= level_; }

    // Writes one line. It is in the file when this returns, with all before it, unless the log gathers lines and this
    // is no error. Throws what the sink throws.
    void Write(int severity, spdlog::string_view_t line)
    {
        sink_->log(spdlog::details::log_msg(spdlog::string_view_t(), spdlog::level::info, line));
        if (flushesEachLine_ || severity >= Z9LOG_ERROR) sink_->flush();
    }

private:
    SinkPtr sink_;
    bool flushesEachLine_;
    std::atomic<int> level_;
};

// All open logs, and the gates.
class Logs
{
public:
    // The log of a handle, the default one for null; null when it is not open. It stays good while it is held.
    std::shared_ptr<Log> Find(Z9LOG_HANDLE handle)
    {
        const std::shared_lock lock(guard_);
        if (handle == nullptr) return default_;
        const auto found = custom_.find(handle);
        return found == custom_.end() ? nullptr : found->second;
    }

    // Enters the default log; false when one is open already.
    bool AddDefault(std::shared_ptr<Log> log)
    {
        const std::unique_lock lock(guard_);
        if (default_ != nullptr) return false;
        default_ = std::move(log);
        RefreshGates();
        return true;
    }

    Z9LOG_HANDLE AddCustom(std::shared_ptr<Log> log)
    {
        const std::unique_lock lock(guard_);
        Z9LOG_HANDLE handle = log.get();
        custom_.emplace(handle, std::move(log));
        RefreshGates();
        return handle;
    }

    bool RemoveDefault()
    {
        const std::unique_lock lock(guard_);
        const bool wasOpen = std::exchange(default_, nullptr) != nullptr;
        RefreshGates();
        return wasOpen;
    }

    bool RemoveCustom(Z9LOG_HANDLE handle)
    {
        const std::unique_lock lock(guard_);
        const bool wasOpen = custom_.erase(handle) == 1;
        RefreshGates();
        return wasOpen;
    }

    void SetLevel(Log& log, int level)
    {
        const std::unique_lock lock(guard_);
        log.SetLevel(level);
        RefreshGates();
    }

    // The word of a call site, made at the first question and never moved or removed.
    volatile int32_t* Gate(int severity, const char* category)
    {
        const std::unique_lock lock(guard_);
        const auto [gate, isNew] = gates_.try_emplace({severity, category}, 0);
        if (isNew) gate->second = AnyWrites(severity) ? 1 : 0;
        return &gate->second;
    }

private:
    [[nodiscard]] bool AnyWrites(int severity) const noexcept
    {
        if (default_ != nullptr && default_->Writes(severity)) return true;
        for (const auto& [handle, log] : custom_) {
            if (log->Writes(severity)) return true;
        }
        return false;
    }

    // Call sites read the words without a lock, so each is stored in one piece.
    void RefreshGates() noexcept
    {
        for (auto& [site, word] : gates_) {
            const int32_t state = AnyWrites(site.first) ? 1 : 0;
            std::atomic_ref<int32_t>(word).store(state, std::memory_order_relaxed);
        }
    }

    std::shared_mutex guard_;
    std::shared_ptr<Log> default_;
    std::map<const void*, std::shared_ptr<Log>> custom_; // the handle is the address of the log
    std::map<std::pair<int, std::string>, int32_t> gates_;
};

Logs& AllLogs()
{
    static z9::Immortal<Logs> logs;
    return logs.Get();
}

// Opening ----------------------------------------------------------------------------------------------------------

struct Settings
{
    std::string file; // empty: none named
    int level = Z9LOG_INFO;
    std::uint64_t maxSize = 0; // bytes, 0 for no rotation
    std::uint64_t maxFiles = kDefaultMaxFiles;
    bool flushesEachLine = true;
};

std::string LowerCase(std::string text)
{
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// Reads a number; false when the key is there and is no number.
bool ReadNumber(Z9INI_HANDLE ini, const std::string& section, const char* key, std::uint64_t& number)
{
    const std::optional<std::string> text = z9::IniFind(ini, section, key);
    if (!text) return true;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    return error == std::errc{} && end == text->data() + text->size();
}

bool ReadLevel(Z9INI_HANDLE ini, const std::string& section, int& level)
{
    const std::optional<std::string> text = z9::IniFind(ini, section, "level");
    if (!text) return true;
    for (int i = Z9LOG_INFO; i <= Z9LOG_OFF; ++i) {
        if (*text == kLevelNames[i]) {
            level = i;
            return true;
        }
    }
    return false;
}

bool ReadFlush(Z9INI_HANDLE ini, const std::string& section, bool& flushesEachLine)
{
    const std::string when = z9::IniFind(ini, section, "flush").value_or("line");
    flushesEachLine = when == "line";
    return flushesEachLine || when == "buffer";
}

Z9ERR ReadSettings(Z9INI_HANDLE ini, const char* sectionName, Settings& settings)
{
    if (const Z9ERR code = z9::IniCheckHandle(ini); code != z9::kOk) return code;
    std::string section = sectionName == nullptr ? "" : sectionName;
    if (!z9::IniHasSection(ini, section)) section = LowerCase(section);

    settings.file = z9::IniFind(ini, section, "file").value_or("");
    const bool good = ReadLevel(ini, section, settings.level) &&
                      ReadNumber(ini, section, "max_size", settings.maxSize) &&
                      ReadNumber(ini, section, "max_files", settings.maxFiles) && settings.maxFiles <= kMostFiles &&
                      ReadFlush(ini, section, settings.flushesEachLine);
    return good ? z9::kOk : Z9ERR_LOG_WRONG_PARAMETER;
}

// Makes sure that a regular file is there to be written; a file made now is for its owner and group at most. Throws
// otherwise. A pipe is looked at without waiting for a reader.
void PrepareFile(const std::string& path)
{
    constexpr mode_t kOwnerAndGroup = 0640;
    const int file =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kOwnerAndGroup);
    if (file < 0) throw spdlog::spdlog_ex("not to be opened", errno);
    struct stat status = {};
    const bool isRegular = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    ::close(file);
    if (!isRegular) throw spdlog::spdlog_ex("no regular file");
}

// Null when the file cannot be written. spdlog would make a missing folder, so that is looked at first. The path is
// made absolute: rotation must find the file wherever the process has moved to.
SinkPtr OpenSink(const Settings& settings)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path path = fs::absolute(settings.file, error);
    if (error || !fs::is_directory(path.parent_path(), error)) return nullptr;
    spdlog::file_event_handlers handlers;
    handlers.before_open = PrepareFile; // each file of a rotation too
    try {
        SinkPtr sink;
        if (settings.maxSize == 0) {
            sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path.string(), false, handlers);
        } else {
            sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path.string(), settings.maxSize,
                                                                          settings.maxFiles, false, handlers);
        }
        sink->set_formatter(std::make_unique<TimedLine>());
        return sink;
    } catch (const spdlog::spdlog_ex&) {
        return nullptr;
    }
}

// Makes a log from its section; without a named file only if fileRequired is false.
Z9ERR MakeLog(Z9INI_HANDLE ini, const char* section, bool fileRequired, std::shared_ptr<Log>& log)
{
    Settings settings;
    if (const Z9ERR code = ReadSettings(ini, section, settings); code != z9::kOk) return code;
    SinkPtr sink;
    if (fileRequired || !settings.file.empty()) {
        sink = settings.file.empty() ? nullptr : OpenSink(settings);
        if (sink == nullptr) return Z9ERR_LOG_CANNOT_OPEN;
    }
    log = std::make_shared<Log>(std::move(sink), settings.level, settings.flushesEachLine);
    return z9::kOk;
}

// Writing ----------------------------------------------------------------------------------------------------------

// A line on its way into a log. An ordinary one stands on the stack, a longer one on the heap.
constexpr std::size_t kOrdinaryTextSize = 1024;
using TextBuffer = fmt::basic_memory_buffer<char, kOrdinaryTextSize + 256>;

void Append(TextBuffer& line, std::string_view part) { line.append(part.data(), part.data() + part.size()); }

// Formats a text to the end of a line, which grows up to the limit of a text; a longer one is cut there.
void AppendFormatted(TextBuffer& line, const char* format, va_list args)
{
    const std::size_t begin = line.size();
    for (std::size_t size = kOrdinaryTextSize; size <= kMaxTextSize; size *= 8) {
        line.resize(begin + size); // leaves the bytes as they are
        char* const text = line.data() + begin;
        va_list copy;
        va_copy(copy, args);
        const int count = Z9SysVSNPrintf(text, size, format, copy);
        va_end(copy);
        const bool isCut = count >= 0 && static_cast<std::size_t>(count) + 1 == size;
        if (isCut && size < kMaxTextSize) continue;
        line.resize(begin +
                    (count >= 0 ? static_cast<std::size_t>(count) : std::strlen(text))); // a failure left its beginning
        break;
    }
}

unsigned char ByteAt(std::string_view text, std::size_t at) noexcept
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// Bytes of the UTF-8 character that a text begins with; 0 when it begins with none.
std::size_t CharacterSize(std::string_view text) noexcept
{
    const unsigned char first = ByteAt(text, 0);
    if (first < 0x80) return 1;
    const std::size_t size = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
    if (size == 0) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((ByteAt(text, i) & 0xC0U) != 0x80) return 0;
    }
    // Forms that are too long, halves of a pair, and what lies beyond the last character.
    const unsigned char second = ByteAt(text, 1);
    const bool isNone = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return isNone ? 0 : size;
}

// True for a character that a terminal takes for a command: the controls of ASCII, and those from U+0080 to U+009F, in
// UTF-8 or as the single bytes by which other terminals know them.
bool IsControl(std::string_view character) noexcept
{
    const unsigned char first = ByteAt(character, 0);
    const unsigned char last = ByteAt(character, character.size() - 1);
    if (character.size() == 1) return first < 0x20 || (first >= 0x7F && first <= 0x9F);
    return character.size() == 2 && first == 0xC2 && last <= 0x9F;
}

// Appends a control: "\n" and "\t" by name, any other byte by its number: "\x1b".
void AppendEscaped(TextBuffer& line, std::string_view control)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (const char c : control) {
        if (c == '\r' || c == '\n') {
            Append(line, "\\n");
        } else if (c == '\t') {
            Append(line, "\\t");
        } else {
            const auto byte = static_cast<unsigned char>(c);
            Append(line, "\\x");
            line.push_back(kDigits[byte / 16]);
            line.push_back(kDigits[byte % 16]);
        }
    }
}

// True for a text of visible ASCII alone. It is one sweep of vectors, without a way out in the middle.
bool IsVisibleAscii(std::string_view text) noexcept
{
    signed char others = 0; // as wide as a character, so that a vector holds as many
    for (const char c : text)
        others = static_cast<signed char>(others | (c < 0x20) | (c == 0x7F)); // from 0x80 on a char is below 0 here
    return others == 0;
}

// Puts a text on one line of visible characters: line breaks become backslash and n, other controls numbers, since a
// server's text must not command the terminal that shows the log. Everything else stays, bytes that are no UTF-8 and
// backslashes too.
void AppendOnOneLine(TextBuffer& line, std::string_view text)
{
    while (!text.empty()) {
        if (text.starts_with("\r\n")) text.remove_prefix(1); // the pair is one break
        const std::string_view character = text.substr(0, std::max<std::size_t>(CharacterSize(text), 1));
        if (IsControl(character)) {
            AppendEscaped(line, character);
        } else {
            Append(line, character);
        }
        text.remove_prefix(character.size());
    }
}

// The same for what a line has from some place on.
void PutOnOneLine(TextBuffer& line, std::size_t begin)
{
    const std::string_view text(line.data() + begin, line.size() - begin);
    if (IsVisibleAscii(text)) return;
    const std::string asItCame(text);
    line.resize(begin);
    AppendOnOneLine(line, asItCame);
}

// Writes a line. Nothing that goes wrong while logging reaches the caller, and errno stays the caller's.
void WriteLine(Z9LOG_HANDLE handle, int severity, const char* category, std::optional<Z9ERR> code, const char* format,
               va_list args) noexcept
{
    const int callersErrno = errno;
    static_cast<void>(z9::Guarded([&]() -> Z9ERR {
        if (!IsSeverity(severity) || format == nullptr) return z9::kWrongArguments;
        const std::shared_ptr<Log> log = AllLogs().Find(handle);
        if (log == nullptr || !log->Writes(severity)) return z9::kOk;
        errno = callersErrno;
        TextBuffer line;
        Append(line, kSeverityNames[severity]);
        Append(line, " [");
        AppendOnOneLine(line, category == nullptr ? "" : category);
        Append(line, "] ");
        const std::size_t begin = line.size();
        AppendFormatted(line, format, args);
        if (code) Append(line, " (code " + std::to_string(*code) + ")");
        PutOnOneLine(line, begin);
        log->Write(severity, {line.data(), line.size()});
        return z9::kOk;
    }));
    errno = callersErrno;
}

volatile int32_t* GateOf(int severity, const char* category) noexcept
{
    static int32_t alwaysOff = 0; // for what is no severity, and when there is no memory for a word
    volatile int32_t* gate = &alwaysOff;
    static_cast<void>(z9::Guarded([&]() -> Z9ERR {
        if (IsSeverity(severity)) gate = AllLogs().Gate(severity, category == nullptr ? "" : category);
        return z9::kOk;
    }));
    return gate;
}

} // namespace

// The default log --------------------------------------------------------------------------------------------------

int Z9LogIsOpened(void)
{
    const Z9ERR code =
        z9::Guarded([]() -> Z9ERR { return AllLogs().Find(nullptr) != nullptr ? z9::kOk : Z9ERR_LOG_NOT_OPENED; });
    return code == z9::kOk ? 1 : 0;
}

Z9ERR Z9LogOpenEx(Z9INI_HANDLE ini, const char* section)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (AllLogs().Find(nullptr) != nullptr) return z9::kAlreadyInitialized;
        std::shared_ptr<Log> log;
        if (const Z9ERR code = MakeLog(ini, section, false, log); code != z9::kOk) return code;
        return AllLogs().AddDefault(std::move(log)) ? z9::kOk : z9::kAlreadyInitialized;
    });
}

Z9ERR Z9LogClose(void)
{
    return z9::Guarded([]() -> Z9ERR { return AllLogs().RemoveDefault() ? z9::kOk : Z9ERR_LOG_NOT_OPENED; });
}

// Custom logs ------------------------------------------------------------------------------------------------------

Z9ERR Z9LogCustOpenEx(Z9LOG_HANDLE* log, Z9INI_HANDLE ini, const char* section)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (log == nullptr) return z9::kWrongArguments;
        std::shared_ptr<Log> opened;
        if (const Z9ERR code = MakeLog(ini, section, true, opened); code != z9::kOk) return code;
        *log = AllLogs().AddCustom(std::move(opened));
        return z9::kOk;
    });
}

Z9ERR Z9LogCustClose(Z9LOG_HANDLE log)
{
    return z9::Guarded([&]() -> Z9ERR { return AllLogs().RemoveCustom(log) ? z9::kOk : Z9ERR_LOG_NOT_OPENED; });
}

Z9ERR Z9LogCustSetLevel(Z9LOG_HANDLE log, int severity)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (severity < Z9LOG_INFO || severity > Z9LOG_OFF) return Z9ERR_LOG_WRONG_PARAMETER;
        const std::shared_ptr<Log> found = AllLogs().Find(log);
        if (found == nullptr) return Z9ERR_LOG_NOT_OPENED;
        AllLogs().SetLevel(*found, severity);
        return z9::kOk;
    });
}

void Z9LogCustExv(Z9LOG_HANDLE log, int severity, const char* category, const char* format, va_list args)
{
    WriteLine(log, severity, category, std::nullopt, format, args);
}

// The gates of the two forms are one word: how often a site is on matters to its branch, not to us.
volatile int32_t* trcheckEx_Z9LogCustExv_(Z9LOG_HANDLE, int severity, const char* category, const char*, ...)
{
    return GateOf(severity, category);
}

volatile int32_t* trcheckEx_Z9LogCustExv_0(Z9LOG_HANDLE, int severity, const char* category, const char*, ...)
{
    return GateOf(severity, category);
}

// Straight to the default log --------------------------------------------------------------------------------------

void Z9LogError(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(nullptr, Z9LOG_ERROR, "", std::nullopt, format, args);
    va_end(args);
}

void Z9LogErrorEx(const char* category, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(nullptr, Z9LOG_ERROR, category, std::nullopt, format, args);
    va_end(args);
}

void Z9LogWarning(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(nullptr, Z9LOG_WARNING, "", std::nullopt, format, args);
    va_end(args);
}

void Z9LogWarningEx(const char* category, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(nullptr, Z9LOG_WARNING, category, std::nullopt, format, args);
    va_end(args);
}

void Z9LogErrorWithCode(Z9ERR code, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(nullptr, Z9LOG_ERROR, "", code, format, args);
    va_end(args);
}
