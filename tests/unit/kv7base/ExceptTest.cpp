#include "except.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>

#include "AllocationProbe.h"
#include "Z9Err.h"

namespace test::ExceptTest {
namespace {

using namespace kv7base;
using testing_support::AllocationProbe;

constexpr source_location here = source_location::current(77, 5, "Units/kv7go/source/risk.cpp", "Recalc");
constexpr source_location nowhere;

/// Shows the text as it is stored, before what() makes it final.
template <class Error>
struct Peek : Error
{
    using Error::Error;
    [[nodiscard]] std::string Stored() const { return this->m_str.c_str(); }
};

TEST(SourceLocation, CarriesFileLineAndFunctionAndNoColumn)
{
    EXPECT_EQ(here.line(), 77u);
    EXPECT_EQ(here.column(), 0u);
    EXPECT_STREQ(here.file_name(), "Units/kv7go/source/risk.cpp");
    EXPECT_STREQ(here.function_name(), "Recalc");
    EXPECT_EQ(nowhere.line(), 0u);
    EXPECT_EQ(KV7_CURRENT_LOCATION.line(), static_cast<std::uint_least32_t>(__LINE__));
}

TEST(FixedString, HoldsOneCharacterLessThanItsBuffer)
{
    FixedString<1024> text;
    EXPECT_EQ(text.available(), 1023u);
    text.append(std::string(1020, 'a').c_str());
    text.append("bcdef");
    EXPECT_EQ(text.size(), 1023u);
    EXPECT_EQ(text.available(), 0u);
    EXPECT_EQ(std::string(text.c_str()), std::string(1020, 'a') + "bcd");
    text.append_integer(12345);
    EXPECT_EQ(text.size(), 1023u);
}

TEST(FixedString, WritesIntegersInPlainDecimalAndCutsThemAtTheEnd)
{
    FixedString<1024> text;
    text.append_integer(0);
    text.append("/");
    text.append_integer(18446744073709551615u);
    text.append("/");
    text.append_integer(42, true);
    EXPECT_STREQ(text.c_str(), "0/18446744073709551615/-42");
    text.assign(std::string(1021, 'a').c_str());
    text.append_integer(12345);
    EXPECT_EQ(std::string(text.c_str()).substr(1019), "aa12");
}

TEST(FixedString, TakesOverWhatAFormatterWroteBehindItsEnd)
{
    FixedString<1024> text;
    text.append("ab");
    std::snprintf(text.data_end(), text.available() + 1, "%s", "cd");
    text.capture_size(2);
    EXPECT_STREQ(text.c_str(), "abcd");
    text.capture_size(-1);
    EXPECT_STREQ(text.c_str(), "abcd") << "a failed formatter adds nothing";
    text.clear();
    EXPECT_STREQ(text.c_str(), "");
}

TEST(Z9Error, ABareCodeTellsItsTextAndPlaceWhenAsked)
{
    const Peek<CZ9Error> error(94811, here);
    EXPECT_EQ(error.Stored(), "") << "no text is built before somebody asks";
    // 94811 is 0x17000 + 603, and 603 is 0x25B
    const char* const first = error.what();
    EXPECT_STREQ(first, "ErrorCode: 94811=0x1725B - QuindalIM wrong arguments, ;risk.cpp:77");
    EXPECT_EQ(error.what(), first);
    EXPECT_STREQ(error.what(), "ErrorCode: 94811=0x1725B - QuindalIM wrong arguments, ;risk.cpp:77");
}

TEST(Z9Error, ACodeWithoutATextShowsThePlatformsWords)
{
    const CZ9Error error(94214, nowhere); // 0x17000 + 6
    EXPECT_EQ(error.what(), std::string("ErrorCode: 94214=0x17006 - ") + Z9ErrGetDescrStr(94214) + ", ");
}

TEST(Z9Error, AFormattedTextStandsBehindTheCode)
{
    CZ9Error error(94822, here);
    error.Fmt("port %d of %s", 70000, "QuindalIM::mq"); // 94822 is 0x17000 + 614, and 614 is 0x266
    EXPECT_STREQ(error.what(),
                 "ErrorCode: 94822=0x17266 - QuindalIM wrong port, port 70000 of QuindalIM::mq;risk.cpp:77");
    EXPECT_EQ(error.GetCode(), 94822u);
}

TEST(Z9Error, ASecondFmtReplacesTheFirst)
{
    CZ9Error error(94822, nowhere);
    error.Fmt("one");
    error.Fmt("two");
    EXPECT_STREQ(error.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, two");
}

TEST(Z9Error, APercentSignIsStoredOnceAndHandedOutTwice)
{
    Peek<CZ9Error> error(94822, here);
    error.Fmt("%d%% of the margin", 50);
    EXPECT_EQ(error.Stored(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, 50% of the margin");
    EXPECT_STREQ(error.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, 50%% of the margin;risk.cpp:77");
    EXPECT_STREQ(error.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, 50%% of the margin;risk.cpp:77")
        << "asking again does not double again";
}

TEST(Z9Error, ALocationWithoutALineIsNotPrinted)
{
    CZ9Error error(94822, source_location::current(0, 0, "a.cpp", "f"));
    EXPECT_STREQ(error.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, ");
    EXPECT_STREQ(CZ9Error(nowhere).what(), "");
}

TEST(Z9Error, AnErrorWithoutCodeAndTextTellsItsPlaceOnly)
{
    const CZ9Error error(here);
    EXPECT_EQ(error.GetCode(), 0u);
    EXPECT_STREQ(error.what(), ";risk.cpp:77");
    EXPECT_STREQ(CZ9Error(source_location::current(3, 0, "flat.cpp", "f")).what(), ";flat.cpp:3");
}

TEST(Z9Error, ATextThatIsTooLongIsCutAndLosesItsPlace)
{
    CZ9Error error(94822, here);
    error.Fmt("%s", std::string(2000, 'x').c_str());
    const std::string text = error.what();
    EXPECT_EQ(text.size(), 1023u);
    EXPECT_EQ(text.back(), 'x');
    EXPECT_EQ(text.find("risk.cpp"), std::string::npos);
}

TEST(Z9Error, DoublingStopsBeforeHalfAPair)
{
    // 1020 letters and a pair fill the 1022 characters of the doubled text; the next pair does not fit.
    EXPECT_EQ(CExcept(std::string(1020, 'a') + "%%", nowhere).what(), std::string(1020, 'a') + "%%");
    // 1021 letters leave room for one character, which is half a pair, and so for none.
    EXPECT_EQ(CExcept(std::string(1021, 'a') + "%", nowhere).what(), std::string(1021, 'a'));
    // Without a percent sign all 1023 characters stay.
    EXPECT_EQ(CExcept(std::string(1023, 'a'), nowhere).what(), std::string(1023, 'a'));
}

TEST(Z9Error, AThrownErrorKeepsCodeTextAndPlace)
{
    try {
        throw CZ9Error(94791, KV7_CURRENT_LOCATION).Fmt("id %d", 840);
    } catch (const CZ9Error& error) {
        // 94791 is 0x17000 + 583, and 583 is 0x247
        EXPECT_EQ(error.GetCode(), 94791u);
        const std::string text = error.what();
        EXPECT_EQ(text.rfind("ErrorCode: 94791=0x17247 - Currency already exists, id 840;ExceptTest.cpp:", 0), 0u)
            << text;
    }
}

TEST(Z9Error, MakingOneCostsOneAllocationOfTheBuffer)
{
    const AllocationProbe probe;
    const CZ9Error error(94811, here);
    EXPECT_EQ(probe.Count(), 1u);
    EXPECT_EQ(probe.Bytes(), 1024u);
    EXPECT_NE(error.what(), nullptr);
    EXPECT_EQ(probe.Count(), 1u) << "asking for the text allocates nothing more";
}

TEST(Z9Error, AMoveTakesTheBufferAndACopyGetsItsOwn)
{
    static_assert(std::is_nothrow_move_constructible_v<CZ9Error>);
    CZ9Error original(94822, here);
    original.Fmt("text");
    const CZ9Error copy(original);
    const AllocationProbe probe;
    const CZ9Error moved(std::move(original));
    EXPECT_EQ(probe.Count(), 0u);
    EXPECT_STREQ(moved.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, text;risk.cpp:77");
    EXPECT_STREQ(copy.what(), moved.what());
    EXPECT_NE(copy.what(), moved.what()) << "two buffers";
}

TEST(Z9Error, ACodeCanBeReplaced)
{
    CZ9Error error(94811, nowhere);
    error.ReplaceWithCode(94822);
    EXPECT_EQ(error.GetCode(), 94822u);
    EXPECT_STREQ(error.what(), "ErrorCode: 94822=0x17266 - QuindalIM wrong port, ");
}

TEST(Z9Error, AForeignExceptionBecomesAnInternalErrorWithItsText)
{
    const CZ9Error error(std::runtime_error("100% foreign"), here);
    EXPECT_EQ(error.GetCode(), 3u);
    EXPECT_STREQ(error.what(), "100%% foreign;risk.cpp:77");
    EXPECT_EQ(CZ9Error(std::runtime_error(std::string(2000, 'y')), here).what(), std::string(1023, 'y'));
}

TEST(Z9Error, ThrowExceptionWrapsWhateverItIsGiven)
{
    try {
        throw_exception(std::out_of_range("too far"));
    } catch (const CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), 3u);
        EXPECT_EQ(std::string(error.what()).rfind("too far;except.cpp:", 0), 0u) << error.what();
    }
}

TEST(ArgumentException, TheNameOfAParameterBeginsTheText)
{
    const CArgumentException error("month", here);
    EXPECT_EQ(error.GetCode(), 2u);
    EXPECT_EQ(error.GetParamName(), "month");
    EXPECT_STREQ(error.what(), " - month;risk.cpp:77");
}

TEST(ArgumentException, AnEmptyNameAddsNoSeparator)
{
    EXPECT_STREQ(CArgumentException("", here).what(), ";risk.cpp:77");
}

TEST(ArgumentException, AFormattedTextHasNoCodePrefix)
{
    CArgumentException error(here);
    error.Fmt("month (%u)", 13u);
    EXPECT_EQ(error.GetCode(), 2u);
    EXPECT_STREQ(error.what(), "month (13);risk.cpp:77");
    EXPECT_STREQ(CArgumentException(here).what(), ";risk.cpp:77");
}

TEST(ArgumentException, IsCaughtAsACodeCarrier)
{
    try {
        throw CArgumentException("day", KV7_CURRENT_LOCATION).Fmt("day (%d)", 32);
    } catch (CZ9Error& error) {
        EXPECT_EQ(error.GetCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
        EXPECT_EQ(dynamic_cast<CArgumentException&>(error).GetParamName(), "day");
        EXPECT_EQ(std::string(error.what()).rfind("day (32);ExceptTest.cpp:", 0), 0u) << error.what();
    }
}

} // namespace
} // namespace test::ExceptTest
