// Logs: the line, the levels and their gates, rotation, and what is refused at opening.
#include "Z9Log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommaLocale.h"
#include "TempDir.h"
#include "Z9Err.h"
#include "Z9Ini.h"

namespace test::Z9LogTest {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

// Opens an ini file of the given text for one call and gives the code of that call.
template <class Call>
Z9ERR WithIni(const TempDir& dir, const std::string& text, Call call)
{
    Z9INI_HANDLE ini = nullptr;
    EXPECT_EQ(Z9IniCustOpen(&ini, dir.Write("log.ini", text).c_str()), 0u);
    const Z9ERR code = call(ini);
    Z9IniCustClose(ini);
    return code;
}

Z9ERR OpenDefault(const TempDir& dir, const std::string& text, const char* section = "")
{
    return WithIni(dir, text, [&](Z9INI_HANDLE ini) { return Z9LogOpenEx(ini, section); });
}

Z9ERR OpenCustom(const TempDir& dir, Z9LOG_HANDLE* log, const std::string& text, const char* section = "s")
{
    return WithIni(dir, text, [&](Z9INI_HANDLE ini) { return Z9LogCustOpenEx(log, ini, section); });
}

// A custom log that closes itself; its file is dir/name.
class CustomLog
{
public:
    CustomLog(const TempDir& dir, const std::string& name, const std::string& more = "") : file_(dir.File(name))
    {
        EXPECT_EQ(OpenCustom(dir, &handle_, "[s]\nfile = " + file_ + "\n" + more), 0u);
    }
    ~CustomLog() { Close(); }
    CustomLog(const CustomLog&) = delete;
    CustomLog& operator=(const CustomLog&) = delete;

    void Close()
    {
        if (handle_ != nullptr) Z9LogCustClose(handle_);
        handle_ = nullptr;
    }

    operator Z9LOG_HANDLE() const { return handle_; }
    [[nodiscard]] const std::string& File() const { return file_; }

private:
    Z9LOG_HANDLE handle_ = nullptr;
    std::string file_;
};

// Closes the default log at the end of the scope, so that each test begins without one.
struct DefaultLogCloser
{
    ~DefaultLogCloser() { Z9LogClose(); }
};

void Write(Z9LOG_HANDLE log, int severity, const char* category, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Z9LogCustExv(log, severity, category, format, args);
    va_end(args);
}

// What follows the time in each line. Every line must begin with a time of the right form, a severity and a bracket.
std::vector<std::string> Entries(const std::string& file)
{
    const char* const kHead = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                              "(INFO|WARNING|ERROR|FATAL) \\[";
    constexpr std::size_t kTimeSize = 24; // "2026-11-21 10:15:30.123 "
    std::vector<std::string> entries;
    for (const std::string& line : ReadLines(file)) {
        EXPECT_THAT(line.substr(0, line.find('[') + 1), MatchesRegex(kHead));
        entries.push_back(line.size() > kTimeSize ? line.substr(kTimeSize) : line);
    }
    return entries;
}

// A socket in the file system.
void MakeSocket(const std::string& path)
{
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(descriptor);
}

// Whom the file system lets at a file.
mode_t PermissionsOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

int32_t Gate(int severity, const char* category) { return *trcheckEx_Z9LogCustExv_(nullptr, severity, category, ""); }

// The line -----------------------------------------------------------------------------------------------------------

TEST(Z9LogTest, ALineHoldsTimeSeverityCategoryAndText)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    Write(log, Z9LOG_INFO, "QuindalIM", "port(%d), timeout(%d)", 4001, 5000);
    Write(log, Z9LOG_WARNING, "Risk", "%s", "text");
    Write(log, Z9LOG_ERROR, "", "no category");
    Write(log, Z9LOG_FATAL, nullptr, "nor here");
    EXPECT_THAT(Entries(log.File()), ElementsAre("INFO [QuindalIM] port(4001), timeout(5000)", "WARNING [Risk] text",
                                                 "ERROR [] no category", "FATAL [] nor here"));
}

TEST(Z9LogTest, TheTimeIsTheLocalTimeOfTheWrite)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    const auto stamp = [](std::time_t moment) {
        char text[32];
        std::tm broken{};
        localtime_r(&moment, &broken);
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &broken);
        return std::string(text);
    };
    const std::string before = stamp(std::time(nullptr));
    Write(log, Z9LOG_INFO, "c", "x");
    const std::string after = stamp(std::time(nullptr));
    const std::string written = ReadLines(log.File()).at(0).substr(0, 19);
    EXPECT_LE(before, written);
    EXPECT_LE(written, after);
}

TEST(Z9LogTest, LineBreaksBecomeTwoCharacters)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    Write(log, Z9LOG_INFO, "two\nlines", "%s", "one\ntwo\r\nthree\rfour\n\nsix\r");
    EXPECT_THAT(Entries(log.File()), ElementsAre(R"(INFO [two\nlines] one\ntwo\nthree\nfour\n\nsix\n)"));
}

TEST(Z9LogTest, ControlCharactersAreWrittenAsNumbersAndAllElseAsItIs)
{
    const struct
    {
        const char* text;
        const char* written;
    } cases[] = {
        {"\x1b[31mred\x1b[0m", R"(\x1b[31mred\x1b[0m)"},
        {"bell\a, back\b, delete\x7f, \x01", R"(bell\x07, back\x08, delete\x7f, \x01)"},
        {"a\tb", R"(a\tb)"},
        {"\xC2\x9B 31m, \xC2\x80\xC2\x9F", R"(\xc2\x9b 31m, \xc2\x80\xc2\x9f)"}, // U+009B and its neighbours
        {"\x9B 31m", R"(\x9b 31m)"},                                             // of an 8-bit terminal
        {"\xC2\xA0\xC3\xA9\xD0\x96\xE2\x82\xBD\xF0\x9F\x93\x88",
         "\xC2\xA0\xC3\xA9\xD0\x96\xE2\x82\xBD\xF0\x9F\x93\x88"},
        {"\xD0\x9B\xE2\x80\x93\xF0\x90\x80\x80\xED\x9F\xBF", "\xD0\x9B\xE2\x80\x93\xF0\x90\x80\x80\xED\x9F\xBF"},
        {R"(C:\n, \x1b, "\\")", R"(C:\n, \x1b, "\\")"}, // backslashes that were there
        {"\xFF\xE9", "\xFF\xE9"},                       // no UTF-8, no control
        {"\xE0\x9B\xBF", "\xE0\\x9b\xBF"},              // a form too long hides none
        {"\xE2\x9B", "\xE2\\x9b"},                      // nor does one cut short
    };
    for (const auto& [text, written] : cases) {
        const TempDir dir;
        const CustomLog log(dir, "a.log");
        Write(log, Z9LOG_INFO, text, "%s", text);
        EXPECT_THAT(Entries(log.File()), ElementsAre("INFO [" + std::string(written) + "] " + written));
    }
}

// One character after the other, by the rule alone: what a line of the log must show of a text. A character of UTF-8 is
// read as far as it goes; a byte that belongs to none stands for itself.
std::string PlainOnOneLine(const std::string& text)
{
    const auto byteAt = [&](std::size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
    const auto follow = [&](std::size_t at, std::size_t count) {
        for (std::size_t i = 1; i <= count; ++i) {
            if (byteAt(at + i) < 0x80 || byteAt(at + i) > 0xBF) return false;
        }
        return true;
    };
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const unsigned first = byteAt(at);
        const unsigned second = byteAt(at + 1);
        std::size_t size = 1;
        if (first >= 0xC2 && first <= 0xDF && follow(at, 1)) size = 2;
        if (first >= 0xE0 && first <= 0xEF && follow(at, 2) && !(first == 0xE0 && second < 0xA0) &&
            !(first == 0xED && second > 0x9F))
            size = 3;
        if (first >= 0xF0 && first <= 0xF4 && follow(at, 3) && !(first == 0xF0 && second < 0x90) &&
            !(first == 0xF4 && second > 0x8F))
            size = 4;
        const bool isControl =
            size == 1 ? first < 0x20 || (first >= 0x7F && first <= 0x9F) : size == 2 && first == 0xC2 && second <= 0x9F;
        const bool isFirstOfPair = first == '\r' && second == '\n';
        for (std::size_t i = 0; i < size && !isFirstOfPair; ++i) {
            char escaped[16];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byteAt(at + i));
            line += !isControl                       ? std::string(1, text[at + i])
                    : first == '\r' || first == '\n' ? "\\n"
                    : first == '\t'                  ? "\\t"
                                                     : escaped;
        }
        at += size;
    }
    return line;
}

TEST(Z9LogTest, RandomTextsStandOnOneLineAsTheRuleHasThem)
{
    std::mt19937 random(20261122);
    const std::string_view pieces[] = {"price 77.25", "\r",   "\n",   "\t",       "\x1b[31m",     "\xD0\x9B",
                                       "\xC2\x9B",    "\x9B", "\xE2", "\xE2\x82", "\xE2\x82\xBD", "\xF0\x9F\x93\x88",
                                       "\x7F",        "\\",   " ",    "@Code='X'"};
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    std::vector<std::string> expected;
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (auto i = random() % 40; i > 0; --i) {
            if (random() % 8 == 0)
                text += static_cast<char>(1 + random() % 255);
            else
                text += pieces[random() % std::size(pieces)];
        }
        Write(log, Z9LOG_INFO, "c", "%s", text.c_str());
        expected.push_back("INFO [c] " + PlainOnOneLine(text));
    }
    EXPECT_EQ(Entries(log.File()), expected);
}

TEST(Z9LogTest, TheLocaleOfTheHostChangesNoLine)
{
    const testing_support::CommaLocale host;
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    Write(log, Z9LOG_WARNING, "QuindalIM", "price %f, %'d", 77.25, 1234567);
    EXPECT_THAT(Entries(log.File()), ElementsAre("WARNING [QuindalIM] price 77.250000, 1234567"));
}

TEST(Z9LogTest, TheVerbsOfTheHouseWorkAndATextIsNeverAFormat)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    Write(log, Z9LOG_ERROR, "QuindalIM", "MQ core login failed: %s (%R), %P", "{} %s {0} %n", Z9ERR{0}, std::size_t{3});
    Write(log, Z9LOG_ERROR, "{}%s", "{}");
    EXPECT_THAT(Entries(log.File()),
                ElementsAre("ERROR [QuindalIM] MQ core login failed: {} %s {0} %n (0: Success), 3", "ERROR [{}%s] {}"));
}

TEST(Z9LogTest, LongTextsComeWholeUpToTheLimit)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    for (const std::size_t size : {1022u, 1023u, 1024u, 8191u, 8192u, 65535u}) {
        Write(log, Z9LOG_INFO, "c", "%s", std::string(size, 'x').c_str());
        EXPECT_EQ(Entries(log.File()).back(), "INFO [c] " + std::string(size, 'x'));
    }
    Write(log, Z9LOG_INFO, "c", "%s", std::string(70000, 'x').c_str());
    EXPECT_EQ(Entries(log.File()).back(), "INFO [c] " + std::string(65535, 'x'));
}

TEST(Z9LogTest, AFileThatIsThereIsContinued)
{
    const TempDir dir;
    {
        Write(CustomLog(dir, "a.log"), Z9LOG_INFO, "c", "first");
    }
    {
        Write(CustomLog(dir, "a.log"), Z9LOG_INFO, "c", "second");
    }
    EXPECT_THAT(Entries(dir.File("a.log")), ElementsAre("INFO [c] first", "INFO [c] second"));
}

TEST(Z9LogTest, ErrnoStaysThatOfTheCaller)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    errno = ERANGE;
    Write(log, Z9LOG_INFO, "c", "%m");
    EXPECT_EQ(errno, ERANGE);
    EXPECT_THAT(Entries(log.File()), ElementsAre("INFO [c] Numerical result out of range"));
}

TEST(Z9LogTest, WhatIsNoSeverityOrNoFormatIsNotWritten)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    Write(log, -1, "c", "x");
    Write(log, Z9LOG_OFF, "c", "x");
    Write(log, 1000, "c", "x");
    Write(log, Z9LOG_INFO, "c", nullptr);
    EXPECT_THAT(Entries(log.File()), IsEmpty());
}

// Levels -------------------------------------------------------------------------------------------------------------

TEST(Z9LogTest, ALevelWritesItselfAndAllAbove)
{
    const struct
    {
        const char* level;
        std::vector<std::string> written;
    } cases[] = {
        {"info", {"INFO [] x", "WARNING [] x", "ERROR [] x", "FATAL [] x"}},
        {"warning", {"WARNING [] x", "ERROR [] x", "FATAL [] x"}},
        {"error", {"ERROR [] x", "FATAL [] x"}},
        {"fatal", {"FATAL [] x"}},
        {"off", {}},
    };
    for (int level = 0; level < 5; ++level) {
        const TempDir dir;
        const CustomLog byKey(dir, "a.log", std::string("level = ") + cases[level].level + "\n");
        const CustomLog byCall(dir, "b.log");
        EXPECT_EQ(Z9LogCustSetLevel(byCall, level), 0u);
        for (int severity = Z9LOG_INFO; severity <= Z9LOG_FATAL; ++severity) {
            Write(byKey, severity, "", "x");
            Write(byCall, severity, "", "x");
        }
        EXPECT_EQ(Entries(byKey.File()), cases[level].written) << cases[level].level;
        EXPECT_EQ(Entries(byCall.File()), cases[level].written) << cases[level].level;
    }
}

TEST(Z9LogTest, AGateIsOnWhileAnyOpenLogWritesItsSeverity)
{
    const TempDir dir;
    volatile int32_t* info = trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, "Gate", "%d", 1);
    volatile int32_t* error = trcheckEx_Z9LogCustExv_0(nullptr, Z9LOG_ERROR, "Gate", "%s", "x");
    ASSERT_NE(info, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(*info, 0);
    EXPECT_EQ(*error, 0);
    {
        const CustomLog errors(dir, "errors.log", "level = error\n");
        EXPECT_EQ(*info, 0);
        EXPECT_EQ(*error, 1);
        {
            const CustomLog all(dir, "all.log");
            EXPECT_EQ(*info, 1);
            EXPECT_EQ(*error, 1);
            EXPECT_EQ(Z9LogCustSetLevel(all, Z9LOG_OFF), 0u);
            EXPECT_EQ(*info, 0);
            EXPECT_EQ(*error, 1);
            EXPECT_EQ(Z9LogCustSetLevel(errors, Z9LOG_FATAL), 0u);
            EXPECT_EQ(*error, 0);
            EXPECT_EQ(Z9LogCustSetLevel(all, Z9LOG_INFO), 0u);
            EXPECT_EQ(*info, 1);
            EXPECT_EQ(*error, 1);
        }
        EXPECT_EQ(*info, 0);
        EXPECT_EQ(*error, 0);
    }
    const CustomLog reopened(dir, "all.log");
    EXPECT_EQ(*info, 1);
    EXPECT_EQ(*error, 1);
}

TEST(Z9LogTest, ThereIsOneWordASeverityAndCategory)
{
    volatile int32_t* word = trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, "One", "a %d", 1);
    int marker = 0;
    EXPECT_EQ(trcheckEx_Z9LogCustExv_(&marker, Z9LOG_INFO, "One", "another format"), word);
    EXPECT_EQ(trcheckEx_Z9LogCustExv_0(nullptr, Z9LOG_INFO, "One", nullptr), word);
    EXPECT_NE(trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, "Two", ""), word);
    EXPECT_NE(trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_ERROR, "One", ""), word);
    EXPECT_EQ(trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, nullptr, ""),
              trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, "", ""));
    for (int i = 0; i < 1000; ++i)
        trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, std::to_string(i).c_str(), "");
    EXPECT_EQ(trcheckEx_Z9LogCustExv_(nullptr, Z9LOG_INFO, "One", ""), word);
}

TEST(Z9LogTest, TheGateOfWhatIsNoSeverityIsThereAndOff)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    for (const int severity : {-1, 4, 1000}) {
        volatile int32_t* word = trcheckEx_Z9LogCustExv_(log, severity, "c", "");
        ASSERT_NE(word, nullptr);
        EXPECT_EQ(*word, 0);
    }
}

// The default log ----------------------------------------------------------------------------------------------------

TEST(Z9LogTest, TheDefaultLogTakesTheKeysBeforeTheFirstSection)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    EXPECT_EQ(Z9LogIsOpened(), 0);
    EXPECT_EQ(Z9LogClose(), Z9ERR_LOG_NOT_OPENED);
    const std::string file = dir.File("default.log");
    ASSERT_EQ(OpenDefault(dir, "file = " + file + "\nlevel = warning\n[s]\nfile = other\n"), 0u);
    EXPECT_EQ(Z9LogIsOpened(), 1);
    Write(nullptr, Z9LOG_INFO, "c", "too low");
    Write(nullptr, Z9LOG_WARNING, "c", "high enough");
    EXPECT_EQ(Z9LogClose(), 0u);
    EXPECT_EQ(Z9LogIsOpened(), 0);
    Write(nullptr, Z9LOG_FATAL, "c", "nobody listens");
    EXPECT_THAT(Entries(file), ElementsAre("WARNING [c] high enough"));
}

TEST(Z9LogTest, TheStraightWritersGoToTheDefaultLog)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    const std::string file = dir.File("default.log");
    ASSERT_EQ(OpenDefault(dir, "file = " + file + "\n"), 0u);
    Z9LogError("error %d", 1);
    Z9LogErrorEx("Cat", "error %s", "two");
    Z9LogWarning("warning %R", Z9ERR{0});
    Z9LogWarningEx("Cat", "warning");
    Z9LogErrorWithCode(94820, "%s: Check connection failed\n", "SetPosition");
    EXPECT_THAT(Entries(file), ElementsAre("ERROR [] error 1", "ERROR [Cat] error two", "WARNING [] warning 0: Success",
                                           "WARNING [Cat] warning",
                                           R"(ERROR [] SetPosition: Check connection failed\n (code 94820))"));
}

TEST(Z9LogTest, TheCodeStandsBehindATextThatWasCutToo)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    const std::string file = dir.File("default.log");
    ASSERT_EQ(OpenDefault(dir, "file = " + file + "\n"), 0u);
    Z9LogErrorWithCode(7, "%s", std::string(70000, 'x').c_str());
    EXPECT_THAT(Entries(file), ElementsAre("ERROR [] " + std::string(65535, 'x') + " (code 7)"));
}

TEST(Z9LogTest, ADefaultLogWithoutAFileIsOpenAndWritesNowhere)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    ASSERT_EQ(OpenDefault(dir, "[QuindalIM]\nport = 1\n"), 0u);
    EXPECT_EQ(Z9LogIsOpened(), 1);
    EXPECT_EQ(Gate(Z9LOG_FATAL, "c"), 0);
    EXPECT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_INFO), 0u);
    EXPECT_EQ(Gate(Z9LOG_FATAL, "c"), 0);
    Z9LogError("into the void");
    EXPECT_EQ(Z9LogClose(), 0u);
}

TEST(Z9LogTest, ASecondOpenOfTheDefaultLogChangesNothing)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    const std::string first = dir.File("first.log");
    ASSERT_EQ(OpenDefault(dir, "file = " + first + "\n"), 0u);
    EXPECT_EQ(OpenDefault(dir, "file = " + dir.File("second.log") + "\n"), 17u);
    Z9LogError("x");
    EXPECT_THAT(Entries(first), ElementsAre("ERROR [] x"));
    EXPECT_FALSE(std::filesystem::exists(dir.File("second.log")));
}

TEST(Z9LogTest, TheLevelOfTheDefaultLogIsSetThroughNull)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    EXPECT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_INFO), Z9ERR_LOG_NOT_OPENED);
    ASSERT_EQ(OpenDefault(dir, "file = " + dir.File("d.log") + "\n"), 0u);
    EXPECT_EQ(Gate(Z9LOG_INFO, "Default"), 1);
    EXPECT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_FATAL), 0u);
    EXPECT_EQ(Gate(Z9LOG_ERROR, "Default"), 0);
    Z9LogError("x");
    EXPECT_THAT(Entries(dir.File("d.log")), IsEmpty());
}

TEST(Z9LogTest, LinesOfAnIniFileThatCannotBeReadAreReported)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    const std::string file = dir.File("default.log");
    ASSERT_EQ(OpenDefault(dir, "file = " + file + "\n"), 0u);
    const std::string path = std::filesystem::canonical(dir.Write("bad.ini", "[s]\n; fine\na=1\nwhat\n\n[open\n"));
    Z9INI_HANDLE ini = nullptr;
    ASSERT_EQ(Z9IniCustOpen(&ini, path.c_str()), 0u);
    Z9IniCustClose(ini);
    EXPECT_THAT(Entries(file),
                ElementsAre("WARNING [Z9Ini] Line 4 of '" + path + "' is no section, key or comment and is ignored",
                            "WARNING [Z9Ini] Line 6 of '" + path + "' is no section, key or comment and is ignored"));
}

TEST(Z9LogTest, ALogMayBeOpenedFromTheDefaultIniFile)
{
    const TempDir dir;
    Z9LOG_HANDLE log = nullptr;
    EXPECT_EQ(Z9LogCustOpenEx(&log, Z9INI_DEFAULT, "s"), Z9ERR_INI_NOT_OPENED);
    ASSERT_EQ(Z9IniOpen(dir.Write("d.ini", "[s]\nfile = " + dir.File("a.log") + "\n").c_str()), 0u);
    EXPECT_EQ(Z9LogCustOpenEx(&log, Z9INI_DEFAULT, "s"), 0u);
    EXPECT_EQ(Z9IniClose(), 0u);
    Write(log, Z9LOG_INFO, "c", "x");
    EXPECT_EQ(Z9LogCustClose(log), 0u);
    EXPECT_THAT(Entries(dir.File("a.log")), ElementsAre("INFO [c] x"));
}

// Opening ------------------------------------------------------------------------------------------------------------

TEST(Z9LogTest, ASectionIsFoundByItsNameOrByItsLowerCaseName)
{
    const TempDir dir;
    Z9LOG_HANDLE log = nullptr;
    const std::string lower = "[quindalim::log]\nfile = " + dir.File("lower.log") + "\n";
    ASSERT_EQ(OpenCustom(dir, &log, lower, "QuindalIM::log"), 0u);
    EXPECT_EQ(Z9LogCustClose(log), 0u);
    EXPECT_TRUE(std::filesystem::exists(dir.File("lower.log")));

    const std::string exact = "[QuindalIM::log]\nfile = " + dir.File("exact.log") + "\n";
    std::filesystem::remove(dir.File("lower.log"));
    ASSERT_EQ(OpenCustom(dir, &log, lower + exact, "QuindalIM::log"), 0u);
    EXPECT_EQ(Z9LogCustClose(log), 0u);
    EXPECT_TRUE(std::filesystem::exists(dir.File("exact.log")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("lower.log")));

    EXPECT_EQ(OpenCustom(dir, &log, exact, "QUINDALIM::LOG"), Z9ERR_LOG_CANNOT_OPEN); // no third way
}

TEST(Z9LogTest, AFileThatCannotBeWrittenIsAFailureOfOpening)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    MakeSocket(dir.File("socket"));
    std::filesystem::create_symlink(dir.File("pipe"), dir.File("link"));
    const std::string wrongFiles[] = {"",
                                      dir.File("no/such/folder/a.log"),
                                      dir.File(""),
                                      dir.File("pipe"),
                                      dir.File("link"),
                                      dir.File("socket"),
                                      "/dev/null",
                                      "/dev/full",
                                      dir.File("log.ini/a.log")};
    int marker = 0;
    for (const std::string& file : wrongFiles) {
        Z9LOG_HANDLE log = &marker;
        EXPECT_EQ(OpenCustom(dir, &log, "[s]\nfile = " + file + "\n"), Z9ERR_LOG_CANNOT_OPEN) << file;
        EXPECT_EQ(log, &marker) << file;
        if (file.empty()) continue; // which a default log may be without
        EXPECT_EQ(OpenDefault(dir, "file = " + file + "\n"), Z9ERR_LOG_CANNOT_OPEN) << file;
    }
    Z9LOG_HANDLE log = &marker;
    EXPECT_EQ(OpenCustom(dir, &log, "[s]\nlevel = info\n"), Z9ERR_LOG_CANNOT_OPEN);
    EXPECT_EQ(OpenCustom(dir, &log, "[t]\nfile = a.log\n"), Z9ERR_LOG_CANNOT_OPEN);
    EXPECT_EQ(log, &marker);
    EXPECT_EQ(Z9LogIsOpened(), 0);
    EXPECT_FALSE(std::filesystem::exists(dir.File("no")));
    EXPECT_EQ(Gate(Z9LOG_FATAL, "c"), 0);
}

TEST(Z9LogTest, WrongLevelsAndNumbersAreRefused)
{
    const TempDir dir;
    const DefaultLogCloser closer;
    for (const std::string wrong :
         {"level = INFO", "level =", "level = debug", "level = 1", "max_size = -1", "max_size = 1k",
          "max_size =", "max_size = 99999999999999999999999", "max_files = many", "max_files = -1",
          "max_files = 200001", "flush =", "flush = never", "flush = LINE"}) {
        int marker = 0;
        Z9LOG_HANDLE log = &marker;
        const std::string keys = "file = " + dir.File("a.log") + "\n" + wrong + "\n";
        EXPECT_EQ(OpenCustom(dir, &log, "[s]\n" + keys), Z9ERR_LOG_WRONG_PARAMETER) << wrong;
        EXPECT_EQ(log, &marker) << wrong;
        EXPECT_EQ(OpenDefault(dir, keys), Z9ERR_LOG_WRONG_PARAMETER) << wrong;
        EXPECT_EQ(OpenDefault(dir, wrong + "\n"), Z9ERR_LOG_WRONG_PARAMETER) << wrong;
    }
    EXPECT_FALSE(std::filesystem::exists(dir.File("a.log")));
}

TEST(Z9LogTest, HandlesThatAreNotOpenGiveACodeAndNeverACrash)
{
    const TempDir dir;
    Z9LOG_HANDLE closed = nullptr;
    ASSERT_EQ(OpenCustom(dir, &closed, "[s]\nfile = " + dir.File("a.log") + "\n"), 0u);
    ASSERT_EQ(Z9LogCustClose(closed), 0u);
    int marker = 0;
    for (const Z9LOG_HANDLE log : {closed, static_cast<Z9LOG_HANDLE>(&marker)}) {
        EXPECT_EQ(Z9LogCustClose(log), Z9ERR_LOG_NOT_OPENED);
        EXPECT_EQ(Z9LogCustSetLevel(log, Z9LOG_INFO), Z9ERR_LOG_NOT_OPENED);
        Write(log, Z9LOG_FATAL, "c", "x");
    }
    EXPECT_EQ(Z9LogCustClose(nullptr), Z9ERR_LOG_NOT_OPENED);
    EXPECT_EQ(Z9LogCustSetLevel(nullptr, -1), Z9ERR_LOG_WRONG_PARAMETER);
    EXPECT_EQ(Z9LogCustSetLevel(nullptr, 5), Z9ERR_LOG_WRONG_PARAMETER);
    EXPECT_EQ(Z9LogCustOpenEx(nullptr, nullptr, "s"), 2u);
    EXPECT_EQ(Z9LogCustOpenEx(&closed, nullptr, "s"), 2u);
    EXPECT_EQ(Z9LogOpenEx(&marker, ""), 2u);
    EXPECT_THAT(Entries(dir.File("a.log")), IsEmpty());
}

// Files --------------------------------------------------------------------------------------------------------------

TEST(Z9LogTest, AFileIsRotatedAndOnlySoManyAreKept)
{
    const TempDir dir;
    // A line is 24 bytes of time and blank, "INFO [c] 1" and the line end: 35. Two fit into 80, three do not.
    const CustomLog log(dir, "a.log", "max_size = 80\nmax_files = 2\n");
    for (int i = 1; i <= 9; ++i)
        Write(log, Z9LOG_INFO, "c", "%d", i);
    EXPECT_THAT(Entries(dir.File("a.log")), ElementsAre("INFO [c] 9"));
    EXPECT_THAT(Entries(dir.File("a.1.log")), ElementsAre("INFO [c] 7", "INFO [c] 8"));
    EXPECT_THAT(Entries(dir.File("a.2.log")), ElementsAre("INFO [c] 5", "INFO [c] 6"));
    EXPECT_FALSE(std::filesystem::exists(dir.File("a.3.log")));
}

TEST(Z9LogTest, ALineIsInTheFileWhenItsCallReturns)
{
    const TempDir dir;
    const CustomLog unsaid(dir, "unsaid.log");
    const CustomLog said(dir, "said.log", "flush = line\n");
    for (const CustomLog* log : {&unsaid, &said}) {
        Write(*log, Z9LOG_INFO, "c", "one");
        EXPECT_THAT(Entries(log->File()), ElementsAre("INFO [c] one"));
    }
}

TEST(Z9LogTest, GatheredLinesReachTheFileWithAnErrorWhenTheBufferIsFullAndAtTheEnd)
{
    const TempDir dir;
    {
        const CustomLog log(dir, "a.log", "flush = buffer\n");
        Write(log, Z9LOG_INFO, "c", "one");
        Write(log, Z9LOG_WARNING, "c", "two");
        EXPECT_THAT(Entries(log.File()), IsEmpty());
        Write(log, Z9LOG_ERROR, "c", "three");
        EXPECT_THAT(Entries(log.File()), ElementsAre("INFO [c] one", "WARNING [c] two", "ERROR [c] three"));
        Write(log, Z9LOG_INFO, "c", "four");
        EXPECT_THAT(Entries(log.File()), SizeIs(3));
    }
    EXPECT_THAT(Entries(dir.File("a.log")),
                ElementsAre("INFO [c] one", "WARNING [c] two", "ERROR [c] three", "INFO [c] four"));

    const CustomLog longLines(dir, "b.log", "flush = buffer\n");
    const std::string text(1000, 'x');
    for (int i = 0; i < 100; ++i)
        Write(longLines, Z9LOG_INFO, "c", "%s", text.c_str());
    EXPECT_GE(std::filesystem::file_size(longLines.File()), 50'000u) << "a hundred lines of a thousand bytes";
}

TEST(Z9LogTest, FilesAreForOwnerAndGroupAndForFewerByTheUmask)
{
    const struct
    {
        mode_t umask;
        mode_t expected;
    } cases[] = {{0000, 0640}, {0022, 0640}, {0027, 0640}, {0077, 0600}};
    for (const auto& [mask, expected] : cases) {
        const TempDir dir;
        const mode_t before = ::umask(mask);
        const CustomLog plain(dir, "plain.log");
        const CustomLog rotated(dir, "rotated.log", "max_size = 1\nmax_files = 2\n");
        for (int i = 0; i < 3; ++i)
            Write(rotated, Z9LOG_INFO, "c", "x");
        ::umask(before);
        for (const char* name : {"plain.log", "rotated.log", "rotated.1.log", "rotated.2.log"})
            EXPECT_EQ(PermissionsOf(dir.File(name)), expected) << name << " under " << mask;
    }
}

TEST(Z9LogTest, AFileThatWasThereKeepsItsPermissions)
{
    const TempDir dir;
    ASSERT_EQ(::chmod(dir.Write("a.log", "").c_str(), 0604), 0);
    const CustomLog log(dir, "a.log");
    EXPECT_EQ(PermissionsOf(dir.File("a.log")), 0604u);
}

TEST(Z9LogTest, ALinkToARegularFileIsFollowed)
{
    const TempDir dir;
    std::filesystem::create_symlink(dir.File("target.log"), dir.File("a.log"));
    const CustomLog log(dir, "a.log");
    Write(log, Z9LOG_INFO, "c", "x");
    EXPECT_THAT(Entries(dir.File("target.log")), ElementsAre("INFO [c] x"));
}

TEST(Z9LogTest, FiveRotatedFilesAreKeptByDefault)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log", "max_size = 1\n"); // every line fills a file
    for (int i = 1; i <= 9; ++i)
        Write(log, Z9LOG_INFO, "c", "%d", i);
    EXPECT_THAT(Entries(dir.File("a.log")), ElementsAre("INFO [c] 9"));
    EXPECT_THAT(Entries(dir.File("a.5.log")), ElementsAre("INFO [c] 4"));
    EXPECT_FALSE(std::filesystem::exists(dir.File("a.6.log")));
}

TEST(Z9LogTest, ARelativeFileStaysWhereItWasOpenedThroughRotation)
{
    const TempDir dir;
    const TempDir elsewhere;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::path(dir.File("x")).parent_path());
    Z9LOG_HANDLE log = nullptr;
    EXPECT_EQ(OpenCustom(dir, &log, "[s]\nfile = a.log\nmax_size = 1\n"), 0u);
    std::filesystem::current_path(std::filesystem::path(elsewhere.File("x")).parent_path());
    Write(log, Z9LOG_INFO, "c", "1");
    Write(log, Z9LOG_INFO, "c", "2");
    EXPECT_EQ(Z9LogCustClose(log), 0u);
    std::filesystem::current_path(before);
    EXPECT_THAT(Entries(dir.File("a.log")), ElementsAre("INFO [c] 2"));
    EXPECT_THAT(Entries(dir.File("a.1.log")), ElementsAre("INFO [c] 1"));
}

TEST(Z9LogTest, TwoLogsDoNotDisturbEachOther)
{
    const TempDir dir;
    CustomLog first(dir, "first.log", "level = error\n");
    const CustomLog second(dir, "second.log");
    Write(first, Z9LOG_INFO, "c", "not here");
    Write(second, Z9LOG_INFO, "c", "here");
    EXPECT_EQ(Z9LogCustSetLevel(first, Z9LOG_OFF), 0u);
    Write(second, Z9LOG_ERROR, "c", "still here");
    first.Close();
    Write(second, Z9LOG_INFO, "c", "and now");
    EXPECT_THAT(Entries(first.File()), IsEmpty());
    EXPECT_THAT(Entries(second.File()), ElementsAre("INFO [c] here", "ERROR [c] still here", "INFO [c] and now"));
}

TEST(Z9LogTest, LinesOfManyThreadsStayWholeWhileLevelsChangeAndLogsComeAndGo)
{
    const TempDir dir;
    const CustomLog log(dir, "a.log");
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 200; ++i)
                Write(log, Z9LOG_ERROR, "c", "thread %d line %d", t, i);
        });
    }
    for (int i = 0; i < 20; ++i) {
        const CustomLog passing(dir, "passing.log");
        EXPECT_EQ(Z9LogCustSetLevel(log, i % 2 == 0 ? Z9LOG_ERROR : Z9LOG_INFO), 0u);
        EXPECT_EQ(Gate(Z9LOG_ERROR, "Threads"), 1);
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::vector<std::string> entries = Entries(log.File());
    EXPECT_EQ(entries.size(), 600u);
    EXPECT_THAT(entries, Each(MatchesRegex("ERROR \\[c\\] thread [0-2] line [0-9]+")));
}

} // namespace
} // namespace test::Z9LogTest
