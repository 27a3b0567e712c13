// What a terminal is shown of texts that others have written.
#include <gtest/gtest.h>

#include "Printable.h"

namespace test::PrintableTest {
namespace {

using quindal::IsPlainText;
using quindal::Printable;

TEST(Printable, LeavesLettersOfAllAlphabetsAsTheyAre)
{
    for (const char* const text : {"", "CL01001", "цена 5 \"x\"", "価格", "naïve €", "\xF0\x9F\x98\x80"}) {
        EXPECT_EQ(Printable(text), text);
        EXPECT_TRUE(IsPlainText(text)) << text;
    }
}

TEST(Printable, WritesOutWhatWouldMoveOrHideSomething)
{
    const std::pair<std::string, const char*> cases[] = {
        {"a\x1B[31mred", "a\\x1B[31mred"},
        {"a\r\n\tb", "a\\r\\n\\tb"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"\x7F", "\\x7F"},
        {"\xC2\x9B"
         "31m",
         "\\x9B31m"},
        {"\xE2\x80\xAEtxt", "\\u202Etxt"},
        {"\xEF\xBB\xBF", "\\uFEFF"},
        {"\xE2\x81\xA6", "\\u2066"},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(Printable(text), shown);
}

// An overlong zero, half a character, a surrogate, a number beyond the last character, a byte of another alphabet.
TEST(Printable, WritesOutBytesThatAreNoUtf8)
{
    const std::pair<const char*, const char*> cases[] = {{"\xC0\x80", "\\xC0\\x80"},
                                                         {"a\xE2\x82", "a\\xE2\\x82"},
                                                         {"\xED\xA0\x80", "\\xED\\xA0\\x80"},
                                                         {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
                                                         {"caf\xE9 1", "caf\\xE9 1"}};
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(Printable(text), shown);
        EXPECT_FALSE(IsPlainText(text)) << shown;
    }
}

} // namespace
} // namespace test::PrintableTest
