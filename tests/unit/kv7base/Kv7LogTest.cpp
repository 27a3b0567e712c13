#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <thread>
#include <vector>

#include "TempFiles.h"
#include "except.h"
#include "z9custom_log.h"
#include "z9default_log.h"
#include "z9ini.h"
#include "z9log.h"

namespace test::Kv7LogTest {
namespace {

using namespace kv7base;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::TempFiles;

/// An ini file with the logs "a" and "b", the log "quiet" that takes errors only, and the broken "nofile".
class Logs : public testing::Test
{
protected:
    Logs()
    {
        ini.Open(files.Write("logs.ini", "[a]\nfile = " + files.Path("a.log") + "\n[b]\nfile = " + files.Path("b.log") +
                                             "\n[quiet]\nfile = " + files.Path("quiet.log") +
                                             "\nlevel = error\n[nofile]\nlevel = info\n"));
    }
    ~Logs() override
    {
        UseDefaultAppLog();
        GetCustomLog().Close();
        GetDefaultLog().Close();
    }

    /// Lines of a log without their time, "2026-11-21 10:15:30.123 " is 24 characters.
    [[nodiscard]] std::vector<std::string> Lines(const char* name) const
    {
        std::vector<std::string> lines = files.Lines(name);
        for (std::string& line : lines)
            line.erase(0, 24);
        return lines;
    }

    TempFiles files;
    CZ9Ini ini;
};

TEST_F(Logs, EachWriterWritesItsSeverityAndCategory)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    log.Log("one %d", 1);
    log.LogEx("Cat", "two %s", "x");
    log.LogInfo("three");
    log.LogWarning("four %d", 4);
    log.LogError("five");
    log.LogFatal("six");
    log.LogInfoEx("C1", "seven");
    log.LogWarningEx("C2", "eight");
    log.LogErrorEx("C3", "nine");
    log.LogFatalEx("C4", "ten");
    EXPECT_THAT(Lines("a.log"), ElementsAre("INFO [] one 1", "INFO [Cat] two x", "INFO [] three", "WARNING [] four 4",
                                            "ERROR [] five", "FATAL [] six", "INFO [C1] seven", "WARNING [C2] eight",
                                            "ERROR [C3] nine", "FATAL [C4] ten"));
}

TEST_F(Logs, AWriterWithACodePutsItBehindTheText)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    log.LogErrorWithCode(94791, "id %d", 840);
    log.LogFatalWithCode(4294967295u, "id %d", 840);
    log.LogErrorWithCodeEx(2, "Cat", "100%% of %s", "it");
    log.LogFatalWithCodeEx(3, "Cat", "plain");
    EXPECT_THAT(Lines("a.log"), ElementsAre("ERROR [] id 840 (code 94791)", "FATAL [] id 840 (code 4294967295)",
                                            "ERROR [Cat] 100% of it (code 2)", "FATAL [Cat] plain (code 3)"));
}

void WriteList(const CZ9Log& log, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    log.LogErrorV(format, args);
    va_end(args);
}

TEST_F(Logs, AListOfArgumentsIsWrittenAsAnError)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    WriteList(log, "%s %d", "list", 7);
    EXPECT_THAT(Lines("a.log"), ElementsAre("ERROR [] list 7"));
}

TEST_F(Logs, MessagesKnowThePlatformsVerbs)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    log.LogError("login failed: %R, %P parts", Z9ERR{94820}, std::size_t{3});
    EXPECT_THAT(Lines("a.log"), ElementsAre("ERROR [] login failed: 94820: QuindalIM is not connected, 3 parts"));
}

TEST_F(Logs, ACustomLogOwnsItsHandle)
{
    Z9CustomLog log;
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(log.GetHandle(), nullptr);
    log.Open(ini.GetHandle(), "a");
    EXPECT_TRUE(log.IsOpen());
    EXPECT_NE(log.GetHandle(), nullptr);
    log.LogInfo("first");
    log.Open(ini, "b");
    log.LogInfo("second");
    log.Close();
    log.Close();
    EXPECT_FALSE(log.IsOpen());
    EXPECT_THAT(Lines("a.log"), ElementsAre("INFO [] first"));
    EXPECT_THAT(Lines("b.log"), ElementsAre("INFO [] second"));
}

TEST_F(Logs, ALogThatCannotBeOpenedTellsItsSectionAndItsFile)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    try {
        log.Open(ini, "nofile");
        ADD_FAILURE() << "a custom log needs a file";
    } catch (const CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_LOG_CANNOT_OPEN);
        EXPECT_THAT(error.what(), HasSubstr("Z9LogCustOpenEx failed. file name(" + files.Path("logs.ini") +
                                            "), section(nofile);z9custom_log.cpp:"));
    }
    EXPECT_FALSE(log.IsOpen()) << "the log that was open is closed first";
    try {
        log.Open(ini.GetHandle(), "nofile");
        ADD_FAILURE() << "a custom log needs a file";
    } catch (const CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_LOG_CANNOT_OPEN);
        EXPECT_THAT(error.what(), HasSubstr("Z9LogCustOpenEx failed. section(nofile);"));
    }
}

TEST_F(Logs, EveryDefaultLogObjectSpeaksToTheOneOfTheProcess)
{
    Z9DefaultLog one;
    const Z9DefaultLog other;
    EXPECT_FALSE(one.IsOpen());
    EXPECT_EQ(one.GetHandle(), nullptr);
    one.Open(ini, "a");
    EXPECT_TRUE(other.IsOpen());
    EXPECT_TRUE(GetDefaultLog().IsOpen());
    other.LogInfoEx("C", "by the other");
    one.Close();
    EXPECT_FALSE(GetDefaultLog().IsOpen());
    EXPECT_THAT(Lines("a.log"), ElementsAre("INFO [C] by the other"));
}

TEST_F(Logs, ADefaultLogThatCannotBeOpenedTellsItsNameAndSection)
{
    const std::string name = files.Write("bad.ini", "[x]\nfile = /no/such/folder/x.log\n");
    CZ9Ini bad;
    bad.Open(name);
    try {
        GetDefaultLog().Open(bad, "x");
        ADD_FAILURE() << "the folder is not there";
    } catch (const CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_LOG_CANNOT_OPEN);
        EXPECT_THAT(error.what(), HasSubstr("Unable to open default log. Name(" + name + "), section(x);"));
    }
    try {
        GetDefaultLog().Open(bad.GetHandle(), "x");
        ADD_FAILURE() << "the folder is not there";
    } catch (const CZ9Error& error) {
        EXPECT_THAT(error.what(), HasSubstr("Unable to open default log. Name(), section(x);"));
    }
}

TEST_F(Logs, MessagesGoToTheDefaultLogUntilTheCustomOneIsChosen)
{
    GetDefaultLog().Open(ini, "a");
    GetCustomLog().Open(ini, "b");
    EXPECT_EQ(&GetAppLog(), &GetDefaultLog());
    for (const char* const text : {"to the default", "to the custom"}) {
        KV7TRACE_INFO_EX("QuindalIM", "%s", text); // one call site for both logs
        UseCustomAppLog();
        EXPECT_EQ(&GetAppLog(), &GetCustomLog());
    }
    UseDefaultAppLog();
    KV7TRACE_WARNING("back");
    EXPECT_THAT(Lines("a.log"), ElementsAre("INFO [QuindalIM] to the default", "WARNING [] back"));
    EXPECT_THAT(Lines("b.log"), ElementsAre("INFO [QuindalIM] to the custom"));
}

TEST_F(Logs, EveryMacroWritesWithItsSeverityCategoryAndCode)
{
    GetDefaultLog().Open(ini, "a");
    KV7TRACE_INFO("i %d", 1);
    KV7TRACE_INFO_0("i %d", 2);
    KV7TRACE_INFO_EX("C", "i %d", 3);
    KV7TRACE_INFO_EX_0("C", "i %d", 4);
    KV7TRACE_WARNING("w %d", 1);
    KV7TRACE_WARNING_0("w %d", 2);
    KV7TRACE_WARNING_EX("C", "w %d", 3);
    KV7TRACE_WARNING_EX_0("C", "w %d", 4);
    KV7TRACE_ERROR("e %d", 1);
    KV7TRACE_ERROR_0("e %d", 2);
    KV7TRACE_ERROR_EX("C", "e %d", 3);
    KV7TRACE_ERROR_EX_0("C", "e %d", 4);
    KV7TRACE_ERROR_WITH_CODE(5u, "c %d", 1);
    KV7TRACE_ERROR_WITH_CODE_0(5u, "c %d", 2);
    KV7TRACE_ERROR_WITH_CODE_EX(5u, "C", "c %d", 3);
    KV7TRACE_ERROR_WITH_CODE_EX_0(5u, "C", "c %d", 4);
    KV7TRACE_FATAL("f %d", 1);
    KV7TRACE_FATAL_EX("C", "f %d", 3);
    EXPECT_THAT(Lines("a.log"),
                ElementsAre("INFO [] i 1", "INFO [] i 2", "INFO [C] i 3", "INFO [C] i 4", "WARNING [] w 1",
                            "WARNING [] w 2", "WARNING [C] w 3", "WARNING [C] w 4", "ERROR [] e 1", "ERROR [] e 2",
                            "ERROR [C] e 3", "ERROR [C] e 4", "ERROR [] c 1 (code 5)", "ERROR [] c 2 (code 5)",
                            "ERROR [C] c 3 (code 5)", "ERROR [C] c 4 (code 5)", "FATAL [] f 1", "FATAL [C] f 3"));
}

TEST_F(Logs, AMessageThatIsOffIsNotEvenEvaluated)
{
    GetDefaultLog().Open(ini, "quiet");
    int evaluated = 0;
    const auto value = [&evaluated] { return ++evaluated; };
    for (int i = 0; i < 10; ++i)
        KV7TRACE_INFO("value %d", value());
    EXPECT_EQ(evaluated, 1) << "once, for the gate, with the arguments of the call";
    EXPECT_THAT(Lines("quiet.log"), IsEmpty());
}

TEST_F(Logs, ALevelChangedAtRunTimeActsAtOnceOnACallSiteThatHasItsGate)
{
    GetDefaultLog().Open(ini, "quiet");
    const auto write = [](int number) { KV7TRACE_WARNING_EX("Gate", "message %d", number); };
    write(1);
    ASSERT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_WARNING), 0u);
    write(2);
    ASSERT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_OFF), 0u);
    write(3);
    ASSERT_EQ(Z9LogCustSetLevel(nullptr, Z9LOG_INFO), 0u);
    write(4);
    EXPECT_THAT(Lines("quiet.log"), ElementsAre("WARNING [Gate] message 2", "WARNING [Gate] message 4"));
}

TEST_F(Logs, AGateOutlivesTheClosingAndReopeningOfTheLog)
{
    const auto write = [](int number) { KV7TRACE_ERROR_EX("Gate", "message %d", number); };
    write(1); // no log is open yet
    GetDefaultLog().Open(ini, "a");
    write(2);
    GetDefaultLog().Close();
    write(3);
    GetDefaultLog().Open(ini, "b");
    write(4);
    EXPECT_THAT(Lines("a.log"), ElementsAre("ERROR [Gate] message 2"));
    EXPECT_THAT(Lines("b.log"), ElementsAre("ERROR [Gate] message 4"));
}

void ExpectOneWord(std::initializer_list<volatile std::int32_t*> gates, volatile std::int32_t* word)
{
    for (volatile std::int32_t* const gate : gates)
        EXPECT_EQ(gate, word);
}

TEST_F(Logs, TheGatesOfAWriterGiveTheWordOfItsSeverityAndCategory)
{
    Z9CustomLog log;
    log.Open(ini, "a");
    const auto word = [&log](int severity, const char* category) {
        return trcheckEx_Z9LogCustExv_(log.GetHandle(), severity, category, "x");
    };
    ExpectOneWord(
        {log.trcheck_Log_("x"), log.trcheck_Log_0("x"), log.trcheck_LogInfo_("x"), log.trcheck_LogInfo_0("x")},
        word(0, ""));
    ExpectOneWord({log.trcheck_LogEx_("C", "x"), log.trcheck_LogEx_0("C", "x"), log.trcheck_LogInfoEx_("C", "x"),
                   log.trcheck_LogInfoEx_0("C", "x")},
                  word(0, "C"));
    ExpectOneWord({log.trcheck_LogWarning_("x"), log.trcheck_LogWarning_0("x")}, word(1, ""));
    ExpectOneWord({log.trcheck_LogWarningEx_("C", "x"), log.trcheck_LogWarningEx_0("C", "x")}, word(1, "C"));
    ExpectOneWord({log.trcheck_LogError_("x"), log.trcheck_LogError_0("x"), log.trcheck_LogErrorWithCode_(1, "x"),
                   log.trcheck_LogErrorWithCode_0(1, "x")},
                  word(2, ""));
    ExpectOneWord({log.trcheck_LogErrorEx_("C", "x"), log.trcheck_LogErrorEx_0("C", "x"),
                   log.trcheck_LogErrorWithCodeEx_(1, "C", "x"), log.trcheck_LogErrorWithCodeEx_0(1, "C", "x")},
                  word(2, "C"));
    EXPECT_NE(word(0, "C"), word(2, "C"));
    EXPECT_NE(*word(0, "C"), 0);
}

TEST(LogSingletons, EveryThreadFindsTheSameCustomLog)
{
    std::vector<CZ9Log*> found(8);
    std::vector<std::thread> threads;
    for (CZ9Log*& slot : found)
        threads.emplace_back([&slot] { slot = &GetCustomLog(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const CZ9Log* const log : found)
        EXPECT_EQ(log, &GetCustomLog());
    EXPECT_NE(&GetCustomLog(), &GetDefaultLog());
}

} // namespace
} // namespace test::Kv7LogTest
