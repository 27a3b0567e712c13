#include "QLTracer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "AllocationProbe.h"
#include "CommaLocale.h"
#include "TempFiles.h"
#include "except.h"
#include "z9ini.h"

namespace test::QLTracerTest {
namespace {

using namespace kv7base;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing_support::AllocationProbe;
using testing_support::LargeAllocationsFail;
using testing_support::TempFiles;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// ---- numbers

/// What the line must show for a double, by the C library.
std::string Printed(double value)
{
    const bool outside = std::fabs(value) > 1e8 || std::fabs(value) < 1e-8;
    char text[64];
    std::snprintf(text, sizeof text, outside ? "%12g" : "%12.6f", value);
    return text;
}

std::string Formatted(double value)
{
    Formatter::NumberBuffer buffer;
    return std::string(Formatter::FormatDouble(buffer, value));
}

TEST(TraceNumbers, ADoubleKeepsTheWidthOfItsField)
{
    EXPECT_EQ(Formatted(1.5), "    1.500000");
    EXPECT_EQ(Formatted(-1234.5678), "-1234.567800");
    EXPECT_EQ(Formatted(0.0), "           0") << "zero is below 1e-8";
    EXPECT_EQ(Formatted(1e8), "100000000.000000") << "the bound itself is still fixed";
    EXPECT_EQ(Formatted(1e-8), "    0.000000") << "the bound itself is still fixed";
    EXPECT_EQ(Formatted(9.9e-9), "     9.9e-09");
    EXPECT_EQ(Formatted(123456789.0), " 1.23457e+08");
    EXPECT_EQ(Formatted(nan), "         nan");
    EXPECT_EQ(Formatted(-inf), "        -inf");
}

TEST(TraceNumbers, DoublesAreWrittenByteForByteAsTheCLibraryWritesThem)
{
    std::vector<double> values{0.0,   -0.0,   1e-8,   -1e-8,   1e8,       -1e8,           nan,
                               -nan,  inf,    -inf,   1.0,     0.5,       1e-9,           1e9,
                               1e300, 1e-300, 2.5e-7, 3.5e-7,  0.0000005, 999999.9999995, 1e100,
                               1e-15, 1.5e-6, 2.5e-6, 1000000, 1234567,   1e8 + 1,        99999999.9999999};
    for (const double bound : {1e-8, -1e-8, 1e8, -1e8}) {
        values.push_back(std::nextafter(bound, inf));
        values.push_back(std::nextafter(bound, -inf));
    }
    for (const double limit : {std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
                               std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::epsilon()}) {
        values.push_back(limit);
        values.push_back(-limit);
    }
    std::mt19937_64 random(20261121);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random(); // any bit pattern at all
        double value = 0;
        static_assert(sizeof bits == sizeof value);
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
        values.push_back(static_cast<double>(static_cast<std::int64_t>(random() % 2000000000000u) - 1000000000000) /
                         1e4);
        values.push_back(
            std::ldexp(static_cast<double>(random() % 1000000u), -40)); // ties and near-ties of the sixth digit
        values.push_back(-std::ldexp(static_cast<double>(random() % 10000000000u), -7)); // real halves of it
        values.push_back(std::nextafter(values.back(), random() % 2 == 0 ? inf : -inf));
        values.push_back(static_cast<double>(random() % 2000000u) / 2e6); // a half, or next to one
    }
    for (const double value : values)
        ASSERT_EQ(Formatted(value), Printed(value)) << value;
}

TEST(TraceNumbers, IntegersAreWrittenAsTheCLibraryWritesThem)
{
    Formatter::NumberBuffer buffer;
    for (const long value : {0L, -1L, 94811L, std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
        char text[32];
        std::snprintf(text, sizeof text, "%ld", value);
        EXPECT_EQ(Formatter::FormatLong(buffer, value), text);
    }
    EXPECT_EQ(Formatter::FormatUnsigned(buffer, 18446744073709551615u), "18446744073709551615");
}

TEST(TraceNumbers, DoFormatGrowsToTheLengthOfItsText)
{
    EXPECT_EQ(Formatter::DoFormat("%d-%s", 7, "x"), "7-x");
    EXPECT_EQ(Formatter::DoFormat("%s", ""), "");
    for (const std::size_t length : {511u, 512u, 513u, 5000u}) {
        const std::string text(length, 'v');
        EXPECT_EQ(Formatter::DoFormat("%s", text.c_str()), text) << length;
    }
}

TEST(TraceNumbers, TheLocaleOfTheHostChangesNoByte)
{
    const testing_support::CommaLocale host;
    ASSERT_EQ(Printed(1.5), "    1,500000") << "the C library follows the host";
    EXPECT_EQ(Formatted(1.5), "    1.500000");
    EXPECT_EQ(Formatted(-1234567.5), "-1234567.500000");
    EXPECT_EQ(Formatted(123456789.0), " 1.23457e+08");
    EXPECT_EQ(Formatter::DoFormat("%.2f %g %d %s", 0.25, 1e10 + 0.5, 1234567, "x"), "0.25 1e+10 1234567 x");
    EXPECT_EQ(Formatter::DoFormat("%*.1f", 600, 2.5), std::string(597, ' ') + "2.5") << "the long way too";
    EXPECT_EQ(Printed(1.5), "    1,500000") << "and goes on following";
}

TEST(TraceNumbers, ALocaleThatTheHostHasGivenItsThreadIsBackAfterwards)
{
    const testing_support::CommaLocale host;
    const locale_t own = duplocale(LC_GLOBAL_LOCALE); // the comma one; newlocale leaks the path it looks along
    ASSERT_NE(own, locale_t{});
    const locale_t before = uselocale(own);
    EXPECT_EQ(Formatter::DoFormat("%.1f", 2.5), "2.5");
    EXPECT_EQ(uselocale(before), own);
    freelocale(own);
}

enum class Side : std::int8_t
{
    Sell = -1,
    Buy = 1,
};

template <class T>
std::string Into(const T& value)
{
    std::string text = "<";
    Formatter::FormatInto(text, value);
    return text + ">";
}

TEST(TraceNumbers, EveryKindOfValueGoesIntoALine)
{
    EXPECT_EQ(Into('c'), "<c>");
    EXPECT_EQ(Into(std::int32_t{-5}), "<-5>");
    EXPECT_EQ(Into(std::uint32_t{4294967295u}), "<4294967295>");
    EXPECT_EQ(Into(std::numeric_limits<std::int64_t>::min()), "<-9223372036854775808>");
    EXPECT_EQ(Into(std::numeric_limits<std::uint64_t>::max()), "<18446744073709551615>");
    EXPECT_EQ(Into(2.25), "<    2.250000>");
    EXPECT_EQ(Into("text"), "<text>");
    EXPECT_EQ(Into(std::string("text")), "<text>");
    EXPECT_EQ(Into(durationSeconds(0.5)), "<    0.500000>");
    EXPECT_EQ(Into(Z9TIME{2026, 11, 2, 9, 5, 7, 0, 45}), "<2026-11-02 09:05:07.045>");
    EXPECT_EQ(Into(Side::Sell), "<-1>");
    const int seven = 7;
    EXPECT_EQ(Into(&seven), "<7>");
    EXPECT_EQ(Into(static_cast<const int*>(nullptr)), "<NULL>");
    EXPECT_EQ(Into(static_cast<const char*>(nullptr)), "<NULL>");
}

// ---- the line

/// A trace log in a directory of its own; the category is "QuindalIM".
class Tracer : public testing::Test
{
protected:
    Tracer()
    {
        ini.Open(files.Write("trace.ini", "[xplog]\nfile = " + files.Path("xp.log") + "\n[other]\nfile = " +
                                              files.Path("other.log") + "\n[app]\nfile = " + files.Path("app.log") +
                                              "\n[errors]\nfile = " + files.Path("xp.log") + "\nlevel = error\n"));
        QLTracer::DeInit();
        QLTracer::SetLogCategory("QuindalIM");
    }
    ~Tracer() override
    {
        QLTracer::DeInit();
        QLTracer::SetLogCategory("");
        GetDefaultLog().Close();
    }

    /// Lines without the log's own time.
    [[nodiscard]] std::vector<std::string> Lines(const char* name = "xp.log") const
    {
        std::vector<std::string> lines = files.Lines(name);
        for (std::string& line : lines)
            line.erase(0, 24);
        return lines;
    }

    /// The one line, its two times (fields of 12 characters with a digit at the end) replaced by T.
    [[nodiscard]] std::string Line() const
    {
        const std::vector<std::string> lines = Lines();
        if (lines.size() != 1) return "lines: " + std::to_string(lines.size());
        std::string masked = lines[0].substr(0, lines[0].find("] ") + 2);
        std::size_t at = masked.size();
        int times = 0;
        while (times < 2 && lines[0].find(',', at) != std::string::npos) {
            const std::string field = lines[0].substr(at, lines[0].find(',', at) - at);
            const bool isTime = field.size() == 12 && std::isdigit(static_cast<unsigned char>(field.back())) != 0;
            masked += (isTime ? "T" : field) + ",";
            times += isTime ? 1 : 0;
            at += field.size() + 1;
        }
        return masked + lines[0].substr(at);
    }

    TempFiles files;
    CZ9Ini ini;
};

TEST_F(Tracer, ASuccessfulCallHasCodeZeroZeroAndAnEmptyText)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("InsertCurrency");
        tracer.Params().Add("CurrencyId", 840).Add("CurvatureRadius", 0.25);
        EXPECT_EQ(tracer.SetError(94808), 94808u);
        EXPECT_EQ(tracer.SetError(0), 0u);
    }
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,InsertCurrency,@CurrencyId=840,@CurvatureRadius=    0.250000");
}

TEST_F(Tracer, AFailedCallIsAnErrorWithItsCodeAndText)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("InsertCurrency");
        EXPECT_EQ(tracer.SetError(94791), 94791u);
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,94791,Currency already exists,InsertCurrency,");
}

TEST_F(Tracer, ACodeOfOneDigitIsPadded)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F");
        tracer.SetError(static_cast<Enums::RptCode>(7), "seven");
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,07,seven,F,");
}

TEST_F(Tracer, ANegativeCodeFillsItsWidthWithItsSign)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F");
        tracer.SetError(static_cast<Enums::RptCode>(-5), "");
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,-5,,F,") << "an empty text leaves its field empty";
}

TEST_F(Tracer, AnOperationIdStandsFirst)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F");
        tracer.SetError(18446744073709551615u, static_cast<Enums::RptCode>(12), "twelve");
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] 18446744073709551615,T,T,12,twelve,F,");
}

TEST_F(Tracer, TheTextOfASuccessIsNotPrinted)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F");
        tracer.SetError(Enums::RptCode::Ok, "all is well");
    }
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,F,");
}

TEST_F(Tracer, EachTypeOfArgumentHasItsForm)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    char code[] = "FUT1";
    double volatility = 1e-9;
    {
        QLTracer tracer("F");
        tracer.Params()
            .Add("i", -3)
            .Add("sc", static_cast<signed char>(-128))
            .Add("e", Enums::MarginRule::Netting)
            .Add("l", std::numeric_limits<long>::min())
            .Add("h", std::intptr_t{94110})
            .Add("d", 0.0)
            .Add("dp", &volatility);
        tracer.Params()
            .Add("none", static_cast<double*>(nullptr))
            .Add("c", code)
            .Add("cc", "it's")
            .Add("null", static_cast<const char*>(nullptr));
    }
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,F,@i=-3,@sc=-128,@e=4,@l=-9223372036854775808,@h=94110,@d=           0,"
                      "@dp=       1e-09,@none=NULL,@c='FUT1',@cc='it's',@null=NULL");
}

TEST_F(Tracer, TextsOfTheCallerAreNeverTakenForAFormat)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F%s");
        tracer.Params().Add("code", "%n%s%d");
        tracer.SetError(static_cast<Enums::RptCode>(1), "100%");
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,01,100%,F%s,@code='%n%s%d'");
}

TEST_F(Tracer, ALineOfManyThousandCharactersStaysWhole)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    const std::string value(5000, 'v');
    {
        QLTracer tracer("F");
        tracer.Params().Add("value", value.c_str());
    }
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,F,@value='" + value + "'");
}

TEST_F(Tracer, TheFirstTracerStartsAtZeroSecondsEvenBeforeTheLogIsOpen)
{
    EXPECT_EQ(QLTracer::GetInitializeTime(), chronoTime{});
    {
        const QLTracer tracer("InitQuindalIM");
        EXPECT_NE(QLTracer::GetInitializeTime(), chronoTime{});
        QLTracer::Init(ini.GetHandle(), "xplog");
    }
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], MatchesRegex("INFO .QuindalIM.            0,[ 0-9.e-]*,00,,InitQuindalIM,"));
}

TEST_F(Tracer, StartAndDurationAreSeconds)
{
    const auto before = std::chrono::steady_clock::now();
    {
        const QLTracer first("first");
        QLTracer::Init(ini.GetHandle(), "xplog");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const QLTracer second("second");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const double all = std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
    const std::vector<std::string> lines = Lines(); // the second ends first
    ASSERT_EQ(lines.size(), 2u);
    double start = 0;
    double duration = 0;
    ASSERT_EQ(std::sscanf(lines[0].c_str(), "INFO [QuindalIM] %lf,%lf,00,,second", &start, &duration), 2);
    EXPECT_GE(start, 0.02 - 1e-6);
    EXPECT_GE(duration, 0.01 - 1e-6);
    EXPECT_LE(start + duration, all + 1e-6);
    ASSERT_EQ(std::sscanf(lines[1].c_str(), "INFO [QuindalIM] %lf,%lf,00,,first", &start, &duration), 2);
    EXPECT_EQ(start, 0.0);
    EXPECT_GE(duration, 0.03 - 1e-6);
}

TEST_F(Tracer, ANewSessionCountsFromItsFirstTracer)
{
    {
        const QLTracer tracer("F");
    }
    const chronoTime first = QLTracer::GetInitializeTime();
    {
        const QLTracer tracer("F");
    }
    EXPECT_EQ(QLTracer::GetInitializeTime(), first);
    QLTracer::DeInit();
    EXPECT_EQ(QLTracer::GetInitializeTime(), chronoTime{});
    {
        const QLTracer tracer("F");
    }
    EXPECT_GT(QLTracer::GetInitializeTime(), first);
}

TEST_F(Tracer, WithoutATraceLogNothingIsWrittenAndNothingFails)
{
    {
        QLTracer tracer("F");
        tracer.Params().Add("a", 1);
        tracer.SetError(94808);
    }
    EXPECT_FALSE(QLTracer::GetXPLog().IsOpen());
    QLTracer::Init(ini.GetHandle(), "xplog");
    QLTracer::DeInit();
    {
        const QLTracer tracer("F");
    }
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(Tracer, ATracerThatRecordsOnlyForAnOpenLogBuildsNothingForAClosedOne)
{
    const QLTracer first("F"); // sets the start of time
    const std::string value(5000, 'v');
    std::vector<std::string> more{"second"};
    {
        const AllocationProbe probe;
        QLTracer tracer("SetPosition", QLTracer::Recording::WhileLogIsOpen);
        tracer.Params().Add("text", value.c_str()).Add("d", 1.5).Add("l", 7).Add("dp", static_cast<double*>(nullptr));
        tracer.Traces().Add(value).Add(1);
        EXPECT_EQ(tracer.SetError(94808), 94808u);
        tracer.SetError(12u, static_cast<Enums::RptCode>(1), "text");
        tracer.MergeTraces(more);
        EXPECT_EQ(probe.Count(), 0u);
        EXPECT_FALSE(tracer.IsRecording());
        QLTracer::Init(ini.GetHandle(), "xplog");
    }
    EXPECT_THAT(more, IsEmpty());
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(Tracer, ATracerThatRecordsOnlyForAnOpenLogStillSetsTheStartOfTime)
{
    {
        const QLTracer tracer("F", QLTracer::Recording::WhileLogIsOpen);
    }
    EXPECT_NE(QLTracer::GetInitializeTime(), chronoTime{});
}

TEST_F(Tracer, ATracerThatRecordsOnlyForAnOpenLogWritesItsWholeLineThere)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F", QLTracer::Recording::WhileLogIsOpen);
        EXPECT_TRUE(tracer.IsRecording());
        tracer.Params().Add("a", 1);
        tracer.SetError(94810);
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,94810,QuindalIM end of data,F,@a=1");
}

TEST_F(Tracer, ALogThatTakesErrorsOnlyLeavesOutTheSuccesses)
{
    QLTracer::Init(ini.GetHandle(), "errors");
    {
        const QLTracer tracer("good");
    }
    {
        QLTracer tracer("bad");
        tracer.SetError(94810);
    }
    EXPECT_EQ(Line(), "ERROR [QuindalIM] T,T,94810,QuindalIM end of data,bad,");
}

TEST_F(Tracer, ASecondInitKeepsTheLogAndSaysSo)
{
    GetDefaultLog().Open(ini, "app");
    QLTracer::Init(ini.GetHandle(), "xplog");
    QLTracer::Init(ini.GetHandle(), "other");
    {
        const QLTracer tracer("F");
    }
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,F,");
    EXPECT_THAT(Lines("other.log"), IsEmpty());
    EXPECT_THAT(Lines("app.log"), ElementsAre("INFO [QuindalIM] XP Log already opened"));
}

TEST_F(Tracer, AnIniObjectOpensTheSectionXplogAndAClosedOneNothing)
{
    const CZ9Ini closed;
    QLTracer::Init(closed);
    EXPECT_FALSE(QLTracer::GetXPLog().IsOpen());
    QLTracer::Init(ini);
    EXPECT_TRUE(QLTracer::GetXPLog().IsOpen());
}

TEST_F(Tracer, ATraceLogThatCannotBeOpenedThrows)
{
    try {
        QLTracer::Init(ini.GetHandle(), "missing");
        ADD_FAILURE() << "the section names no file";
    } catch (const CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_LOG_CANNOT_OPEN);
    }
}

TEST_F(Tracer, CustomFunctionsTakeTheLineInPlaceOfTheLog)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    std::vector<std::string> taken;
    const auto taker = [&taken](const char* name) {
        return [&taken, name](const std::string& category, std::string_view prefix, std::string_view params) {
            taken.push_back(std::string(name) + "|" + category + "|" + std::string(prefix.substr(prefix.size() - 4)) +
                            "|" + std::string(params));
        };
    };
    const auto takeLine = [&taken](const std::string& line) { taken.push_back(line); };
    for (const Z9ERR code : {0u, 12u}) {
        QLTracer tracer("F");
        tracer.SetCustomLogFunctions(taker("good"), taker("bad"), takeLine);
        tracer.Params().Add("a", 1);
        tracer.Traces().Add("first ").Add(1).Add(", ").Add(0.5);
        std::vector<std::string> more{"second", "third"};
        tracer.MergeTraces(more);
        EXPECT_THAT(more, IsEmpty());
        tracer.SetError(static_cast<Enums::RptCode>(code), code == 0 ? "" : "x");
    }
    EXPECT_THAT(Lines(), IsEmpty());
    EXPECT_THAT(taken, ElementsAre("good|QuindalIM|00,,|@a=1", "first 1,     0.500000", "second", "third",
                                   "bad|QuindalIM|2,x,|@a=1", "first 1,     0.500000", "second", "third"));
}

TEST_F(Tracer, OnlyAllThreeCustomFunctionsTakeTheLine)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    int calls = 0;
    const auto count = [&calls](const std::string&, std::string_view, std::string_view) { ++calls; };
    {
        QLTracer tracer("F");
        tracer.SetCustomLogFunctions(count, count, nullptr);
    }
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Line(), "INFO [QuindalIM] T,T,00,,F,");
}

TEST_F(Tracer, AnExceptionFromACustomFunctionEndsTheProcess)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    const auto fail = [](const std::string&, std::string_view, std::string_view) {
        throw std::runtime_error("disk full");
    };
    const auto call = [&fail] {
        QLTracer tracer("F");
        tracer.SetCustomLogFunctions(fail, fail, [](const std::string&) {});
    };
    EXPECT_DEATH(call(), "disk full");
}

TEST_F(Tracer, WithAClosedLogTheCustomFunctionsAreNotCalled)
{
    int calls = 0;
    const auto count = [&calls](const std::string&, std::string_view, std::string_view) { ++calls; };
    {
        QLTracer tracer("F");
        tracer.SetCustomLogFunctions(count, count, [&calls](const std::string&) { ++calls; });
    }
    EXPECT_EQ(calls, 0);
}

TEST_F(Tracer, ATraceBuilderWithoutValuesAddsNoLine)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    int lines = 0;
    const auto ignore = [](const std::string&, std::string_view, std::string_view) {};
    {
        QLTracer tracer("F");
        tracer.SetCustomLogFunctions(ignore, ignore, [&lines](const std::string&) { ++lines; });
        static_cast<void>(tracer.Traces());
        tracer.Traces().Add("one");
        tracer.Traces().Add("two");
    }
    EXPECT_EQ(lines, 2);
}

TEST_F(Tracer, AnOrdinaryCallIsTracedWithoutTouchingTheHeap)
{
    const AllocationProbe probe;
    {
        QLTracer tracer("SetPosition");
        tracer.SetError(94808);
        tracer.Params()
            .Add("QuindalIMCalculator", std::intptr_t{94110})
            .Add("PartCode", "AA00001")
            .Add("Price", 1234.5);
        tracer.SetError(0);
    }
    EXPECT_EQ(probe.Count(), 0u);
}

TEST_F(Tracer, ALineOfAnyLengthIsWhole)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    // The room for an ordinary line ends somewhere between these; pieces of every length cross it.
    for (std::size_t length = 0; length < 2600; length += 29) {
        const std::string text = std::string(length, 'x') + "end";
        const std::string error = std::string(length / 4, 'e') + ".";
        const std::size_t before = Lines().size();
        {
            QLTracer tracer("RegisterFirm");
            tracer.Params().Add("Code", text.c_str()).Add("Short", 7);
            tracer.SetError(Enums::RptCode(12), "an earlier and perhaps longer text that must not be seen");
            tracer.SetError(Enums::RptCode(13), error.c_str());
        }
        const std::vector<std::string> after = Lines();
        ASSERT_EQ(after.size(), before + 1);
        EXPECT_TRUE(after.back().ends_with(",13," + error + ",RegisterFirm,@Code='" + text + "',@Short=7"))
            << after.back();
    }
}

TEST_F(Tracer, ACallWithoutMemoryForItsLineGoesOnWithoutIt)
{
    QLTracer::Init(ini.GetHandle(), "xplog");
    {
        QLTracer tracer("F");
        const LargeAllocationsFail noMemory(256);
        EXPECT_THROW(tracer.Params().Add("Code", std::string(2000, 'x').c_str()), std::bad_alloc);
        tracer.Params().Add("Short", 7);
    }
    EXPECT_THAT(Lines(), ElementsAre(testing::EndsWith("F,@Short=7"))) << "what did not fit is missing as a whole";
    const std::string error(250, 'e');
    {
        const LargeAllocationsFail noMemory(256);
        QLTracer tracer("G");
        tracer.SetError(Enums::RptCode(12), error.c_str());
    }
    EXPECT_EQ(Lines().size(), 1u) << "the line of G is missing, and nothing else happened";
}

TEST_F(Tracer, ThePathOfTheTracesIsKept)
{
    QLTracer::SetFullFilePath("/var/log/xp.log");
    EXPECT_EQ(QLTracer::GetFullFilePath(), "/var/log/xp.log");
    QLTracer::SetFullFilePath("");
}

} // namespace
} // namespace test::QLTracerTest
