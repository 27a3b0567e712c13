// The formatter: what the C library prints, the four verbs of our own, and what happens to everything else.
#include "Z9Fmt.h"

#include <bit>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "CommaLocale.h"
#include "Z9BCDII.h"
#include "Z9Err.h"

namespace test::Z9FmtTest {
namespace {

// The formatted text; its length must be the count that came back.
std::string Fmt(const char* format, ...)
{
    char buffer[4096];
    std::memset(buffer, '~', sizeof buffer);
    va_list args;
    va_start(args, format);
    const int count = Z9SysVSNPrintf(buffer, sizeof buffer, format, args);
    va_end(args);
    EXPECT_EQ(count, static_cast<int>(std::strlen(buffer))) << format;
    return buffer;
}

// The C library's own text for the same call.
std::string Reference(const char* format, ...)
{
    char buffer[4096];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    return buffer;
}

#define EXPECT_LIKE_PRINTF(...) EXPECT_EQ(Fmt(__VA_ARGS__), Reference(__VA_ARGS__))

TEST(Z9FmtTest, PlainTextAndPercentSignsAreCopied)
{
    EXPECT_EQ(Fmt(""), "");
    EXPECT_EQ(Fmt("no verbs"), "no verbs");
    EXPECT_EQ(Fmt("100%%"), "100%");
    EXPECT_EQ(Fmt("%%d %d%%%%", 5), "%d 5%%");
}

TEST(Z9FmtTest, StandardVerbsPrintAsInC)
{
    EXPECT_EQ(Fmt("%d|%5d|%-5d|%05d|%+d", 42, 42, 42, 42, 42), "42|   42|42   |00042|+42");
    EXPECT_EQ(Fmt("%04d.%02d.%02d %02d:%02d:%02d.%9.9lu", 2026, 11, 21, 9, 5, 7, 1500000UL),
              "2026.11.21 09:05:07.001500000");
    EXPECT_EQ(Fmt(".%03hu", static_cast<unsigned>(7)), ".007");
    EXPECT_EQ(Fmt("%lld %llu", std::numeric_limits<long long>::min(), std::numeric_limits<unsigned long long>::max()),
              "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(Fmt("%zu %zd %td %jd", sizeof(int), static_cast<ssize_t>(-1), std::ptrdiff_t{-7}, std::intmax_t{8}),
              "4 -1 -7 8");
    EXPECT_EQ(Fmt("%.*s|%*d|%-*d|", 3, "abcdef", 6, 42, 4, 7), "abc|    42|7   |");
    EXPECT_EQ(Fmt("%c%c %s", 'o', 'k', "text"), "ok text");
}

TEST(Z9FmtTest, EveryCombinationOfLengthAndIntegerVerbAgreesWithTheCLibrary)
{
    const long long values[] = {0, 1, -1, 127, 128, -129, 65535, 2147483647LL, -2147483648LL, 0x123456789ABCDEFLL};
    for (const long long value : values) {
        for (const std::string verb : {"d", "i", "u", "o", "x", "X"}) {
            for (const std::string shape : {"", "12", "-12", "012", "+", " ", "#", ".5", "12.3"}) {
                const auto format = [&](const char* length) { return "%" + shape + length + verb; };
                const int asInt = static_cast<int>(value);
                EXPECT_LIKE_PRINTF(format("").c_str(), asInt);
                EXPECT_LIKE_PRINTF(format("hh").c_str(), asInt);
                EXPECT_LIKE_PRINTF(format("h").c_str(), asInt);
                EXPECT_LIKE_PRINTF(format("l").c_str(), static_cast<long>(value));
                EXPECT_LIKE_PRINTF(format("ll").c_str(), value);
                EXPECT_LIKE_PRINTF(format("j").c_str(), std::intmax_t{value});
                EXPECT_LIKE_PRINTF(format("z").c_str(), static_cast<std::size_t>(value));
                EXPECT_LIKE_PRINTF(format("t").c_str(), std::ptrdiff_t{value});
            }
        }
    }
}

TEST(Z9FmtTest, EveryFloatingVerbAgreesWithTheCLibrary)
{
    const double values[] = {0.0, -0.0, 1.5, -2.25e-9, 1e300, 5e-324, HUGE_VAL, -HUGE_VAL, std::nan("")};
    for (const double value : values) {
        for (const std::string verb : {"f", "F", "e", "E", "g", "G", "a", "A"}) {
            for (const std::string shape : {"", "12", "-20", "012", "+", " ", "#", ".0", ".3", "12.6"}) {
                EXPECT_LIKE_PRINTF(("%" + shape + verb).c_str(), value);
                EXPECT_LIKE_PRINTF(("%" + shape + "l" + verb).c_str(), value);
                EXPECT_LIKE_PRINTF(("%" + shape + "L" + verb).c_str(), static_cast<long double>(value));
            }
        }
    }
}

TEST(Z9FmtTest, PlainNumbersOfEverySizeAgreeWithTheCLibrary)
{
    std::mt19937_64 random(20261122);
    for (int round = 0; round < 20000; ++round) {
        const std::uint64_t bits = random() >> random() % 64;
        const auto signedBits = static_cast<long long>(bits);
        EXPECT_LIKE_PRINTF("%d|%i|%u", static_cast<int>(bits), -static_cast<short>(bits), static_cast<unsigned>(bits));
        EXPECT_LIKE_PRINTF("%ld|%lld|%lu|%llu", static_cast<long>(bits), -signedBits, static_cast<unsigned long>(bits),
                           static_cast<unsigned long long>(bits));
        EXPECT_LIKE_PRINTF("%hd|%hhd|%hu|%zu", static_cast<int>(bits), static_cast<int>(bits), static_cast<int>(bits),
                           static_cast<std::size_t>(bits));
        const auto anything = std::bit_cast<double>(random());
        const double ofMarket = std::ldexp(static_cast<double>(signedBits), -static_cast<int>(random() % 40));
        for (const double value : {anything, ofMarket}) {
            EXPECT_LIKE_PRINTF("%f|%e|%g", value, value, value);
            EXPECT_LIKE_PRINTF("%.0f|%.2f|%.5f|%.17f|%lf", value, value, value, value, value);
            EXPECT_LIKE_PRINTF("%.0e|%.3e|%.0g|%.17g|%lg", value, value, value, value, value);
        }
    }
}

TEST(Z9FmtTest, ANumberThatDoesNotFitIsCutWhereItsTextIsCut)
{
    const std::string whole = Reference("%d %.3f", -12345, 1234.5);
    for (std::size_t size = 1; size <= whole.size() + 1; ++size) {
        char buffer[32];
        EXPECT_EQ(Z9SysSNPrintf(buffer, size, "%d %.3f", -12345, 1234.5), static_cast<int>(size - 1));
        EXPECT_EQ(buffer, whole.substr(0, size - 1));
    }
}

TEST(Z9FmtTest, TextsPointersAndWideTextsAgreeWithTheCLibrary)
{
    int something = 0;
    EXPECT_LIKE_PRINTF("%p|%20p", static_cast<void*>(&something), static_cast<void*>(nullptr));
    EXPECT_LIKE_PRINTF("%10s|%-10s|%.2s|%10.2s|%s", "abc", "abc", "abc", "abc", "");
    EXPECT_LIKE_PRINTF("%ls|%5lc|%S", L"wide", static_cast<wint_t>(L'w'), L"too");
    EXPECT_EQ(Fmt("%s|%8s", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)), "(null)|  (null)");
}

TEST(Z9FmtTest, ANegativeWidthArgumentMeansLeftAndANegativePrecisionMeansNone)
{
    EXPECT_EQ(Fmt("%*d|", -6, 42), "42    |");
    EXPECT_EQ(Fmt("%+*d|", -6, 42), "+42   |");
    EXPECT_EQ(Fmt("%.*s|", -1, "whole"), "whole|");
    EXPECT_EQ(Fmt("%.*f|", -1, 0.5), "0.500000|");
    EXPECT_LIKE_PRINTF("%*.*f|%*.*f", 10, 2, 3.14159, -10, -2, 3.14159);
}

TEST(Z9FmtTest, TheErrorVerbPrintsCodeAndText)
{
    constexpr Z9ERR kCode = 0x95F00; // 614144
    ASSERT_EQ(Z9ErrRegisterDescr(kCode, "QuindalIM is not connected"), 0u);
    EXPECT_EQ(Fmt("failed: %s (%R)", "no link", kCode), "failed: no link (614144: QuindalIM is not connected)");
    EXPECT_EQ(Fmt("%R", Z9ERR{0}), "0: Success");
    EXPECT_EQ(Fmt("%R", Z9ERR{0xFFFFFFFF}), std::string("4294967295: ") + Z9ErrGetDescrStr(0xFFFFFFFF));
    EXPECT_EQ(Fmt("%12R|%-12R|%.3R", Z9ERR{0}, Z9ERR{0}, Z9ERR{0}), "  0: Success|0: Success  |0: Success");
}

TEST(Z9FmtTest, ARegisteredTextIsNeverTakenForAFormat)
{
    constexpr Z9ERR kCode = 0x95F01; // 614145
    ASSERT_EQ(Z9ErrRegisterDescr(kCode, "100%s sure %n"), 0u);
    EXPECT_EQ(Fmt("%R", kCode), "614145: 100%s sure %n");
}

TEST(Z9FmtTest, TheSizeVerbPrintsAPointerWideNumber)
{
    EXPECT_EQ(Fmt("length: %P", std::size_t{31}), "length: 31");
    EXPECT_EQ(Fmt("%P", std::numeric_limits<std::size_t>::max()), "18446744073709551615");
    EXPECT_EQ(Fmt("%6P|%-6P|%06P", std::size_t{42}, std::size_t{42}, std::size_t{42}), "    42|42    |000042");
}

TEST(Z9FmtTest, TheSixtyFourBitVerbsPrintWholeNumbers)
{
    EXPECT_EQ(Fmt("%I64d", std::numeric_limits<int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(Fmt("i64(%I64d) %5I64d %d", int64_t{-1}, int64_t{7}, 3), "i64(-1)     7 3");
    EXPECT_EQ(Fmt("%I64u %I64x", std::numeric_limits<uint64_t>::max(), uint64_t{255}), "18446744073709551615 ff");
}

TEST(Z9FmtTest, TheDecimalVerbPrintsPlainDecimalText)
{
    unsigned char price[2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(16, 5))] = {5, 16};
    EXPECT_EQ(Fmt("%s m_val(%B)", "AsDouble", price), "AsDouble m_val(0.00000)");
    ASSERT_EQ(Z9BCDIIGetFromStr(price, "-12.5"), static_cast<uint32_t>(Z9BCDII_RESULT_NEGATIVE));
    EXPECT_EQ(Fmt("%B|%12B|%-12B|%d", price, price, price, 1), "-12.50000|   -12.50000|-12.50000   |1");
    Z9BCDIISetNaN(price);
    EXPECT_EQ(Fmt("%B", price), "nan");
    unsigned char none[4] = {0, 0, 0, 0};
    EXPECT_EQ(Fmt("%B %B", none, static_cast<unsigned char*>(nullptr)), "(bad) (null)");

    unsigned char longest[2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(63, 63))] = {63, 63};
    Z9BCDIISetMin(longest);
    EXPECT_EQ(Fmt("%B", longest), "-0." + std::string(63, '9'));
}

TEST(Z9FmtTest, OwnAndStandardVerbsTakeTheirArgumentsInTurn)
{
    unsigned char value[2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(3, 2))] = {2, 3};
    ASSERT_EQ(Z9BCDIIGetFromStr(value, "1.25"), 0u);
    // More than six integers and eight doubles, so that both leave the registers.
    EXPECT_EQ(Fmt("%d %R %P %B %I64d %s %f %d %R %.1f %.1f %.1f %.1f %.1f %.1f %.1f %.1f %P %s", 1, Z9ERR{0},
                  std::size_t{2}, value, int64_t{3}, "four", 5.5, 6, Z9ERR{0}, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0,
                  std::size_t{7}, "end"),
              "1 0: Success 2 1.25 3 four 5.500000 6 0: Success 1.0 2.0 3.0 4.0 5.0 6.0 7.0 8.0 7 end");
}

TEST(Z9FmtTest, ATextArgumentIsNeverTakenForAFormat)
{
    EXPECT_EQ(Fmt("%s", "%s %n %d %R %B"), "%s %n %d %R %B");
    EXPECT_EQ(Fmt("%s and %s", "%s", "%I64d"), "%s and %I64d");
}

TEST(Z9FmtTest, WhatIsNoVerbIsCopiedAndTakesNoArgument)
{
    EXPECT_EQ(Fmt("%"), "%");
    EXPECT_EQ(Fmt("50%"), "50%");
    EXPECT_EQ(Fmt("%5"), "%5");
    EXPECT_EQ(Fmt("arg %t cannot be represented", 0), "arg %t cannot be represented");
    EXPECT_EQ(Fmt("%k %d", 7), "%k 7");
    EXPECT_EQ(Fmt("%*k %d", 7), "%*k 7");
    EXPECT_EQ(Fmt("%1$s %d", 7), "%1$s 7");
    EXPECT_EQ(Fmt("%lR %hs %d", 7), "%lR %hs 7");
    EXPECT_EQ(Fmt("%t%d", 7), "%t7");
    EXPECT_EQ(Fmt("%I32d", 7), "%I32d");
}

TEST(Z9FmtTest, TheVerbThatWritesWritesNothing)
{
    int untouched = 77;
    EXPECT_EQ(Fmt("abc%n %d", static_cast<void*>(&untouched), 5), "abc%n 5");
    EXPECT_EQ(untouched, 77);
}

TEST(Z9FmtTest, ErrnoIsThatOfTheCaller)
{
    errno = ENOENT;
    EXPECT_EQ(Fmt("%m"), std::strerror(ENOENT));
}

int Call(char* buffer, std::size_t size, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int count = Z9SysVSNPrintf(buffer, size, format, args);
    va_end(args);
    return count;
}

TEST(Z9FmtTest, ATextThatDoesNotFitIsCutAndCountedAsItStands)
{
    const char* formats[] = {"%s", "%s and more", "%10s", "%s%s"};
    for (const char* format : formats) {
        char buffer[8];
        std::memset(buffer, '~', sizeof buffer);
        EXPECT_EQ(Call(buffer, 5, format, "abcdefgh", "x"), 4) << format;
        EXPECT_EQ(std::strlen(buffer), 4u) << format;
        EXPECT_EQ(buffer[5], '~') << format;
    }
    char buffer[8];
    EXPECT_EQ(Call(buffer, 5, "abcd"), 4); // fits exactly
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(Call(buffer, 5, "%R", Z9ERR{2}), 4);
    EXPECT_STREQ(buffer, "2: W");
    EXPECT_EQ(Call(buffer, 1, "abcd"), 0);
    EXPECT_STREQ(buffer, "");
}

TEST(Z9FmtTest, TheVariadicFormDoesTheSame)
{
    char buffer[32];
    EXPECT_EQ(Z9SysSNPrintf(buffer, sizeof buffer, "%P of %d %s", std::size_t{3}, 4, "x"), 8);
    EXPECT_STREQ(buffer, "3 of 4 x");
}

TEST(Z9FmtTest, FailuresAreZeroOrLess)
{
    char buffer[8] = "before";
    EXPECT_LE(Call(nullptr, 8, "x"), 0);
    EXPECT_LE(Call(buffer, 0, "x"), 0);
    EXPECT_STREQ(buffer, "before");
    EXPECT_LE(Call(buffer, sizeof buffer, nullptr), 0);
    EXPECT_STREQ(buffer, "");
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x110000), 0};
    EXPECT_LE(Call(buffer, sizeof buffer, "ab%ls", noCharacter), 0);
    EXPECT_STREQ(buffer, "ab");
}

TEST(Z9FmtTest, AbsurdWidthsAndPrecisionsAreHeldInBounds)
{
    EXPECT_EQ(Fmt("%99999999999999999999d", 5), std::string(4095, ' '));
    EXPECT_EQ(Fmt("%.2000000000f", 0.5).substr(0, 5), "0.500");
    EXPECT_EQ(Fmt("%*d", std::numeric_limits<int>::min(), 5).substr(0, 3), "5  ");
    EXPECT_EQ(Fmt("%.*d", std::numeric_limits<int>::max(), 5), std::string(4095, '0'));
}

// Formats out of the letters that mean something, without verbs that take a text or a decimal: those arguments would
// not be there.
TEST(Z9FmtTest, RandomFormatsNeverWriteBeyondTheBuffer)
{
    const std::string alphabet = "%%%%%-+ #0'123456789.*hlLqjztI64diuoxXcfegaRPkmn$ab%";
    std::mt19937 random(20261121);
    int values[1024] = {};
    for (int round = 0; round < 20000; ++round) {
        std::string format;
        for (auto i = random() % 24; i > 0; --i)
            format += alphabet[random() % alphabet.size()];
        char buffer[64];
        std::memset(buffer, '~', sizeof buffer);
        const std::size_t size = 1 + random() % 32;
        void* p = values;
        const int count = Call(buffer, size, format.c_str(), p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p,
                               p, p, p, p, p, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0);
        ASSERT_LT(count, static_cast<int>(size)) << format;
        ASSERT_LT(std::strlen(buffer), size) << format;
        ASSERT_TRUE(count < 0 || buffer[count] == '\0') << format; // "%c" may put a zero before it
        ASSERT_EQ(buffer[size], '~') << format;
    }
    for (const int value : values)
        ASSERT_EQ(value, 0);
}

// The host's locale --------------------------------------------------------------------------------------------------

TEST(Z9FmtTest, TheLocaleOfTheHostChangesNoCharacter)
{
    const testing_support::CommaLocale host;
    char buffer[200];
    std::snprintf(buffer, sizeof buffer, "%.2f", 1234.25);
    ASSERT_STREQ(buffer, "1234,25") << "the host itself";

    EXPECT_GT(Z9SysSNPrintf(buffer, sizeof buffer, "%f|%.2e|%g|%'.2f|%'d|%a|%Lf", 77.25, 77.25, 0.5, 1234.25, 1234567,
                            1.5, 0.5L),
              0);
    EXPECT_STREQ(buffer, "77.250000|7.72e+01|0.5|1234.25|1234567|0x1.8p+0|0.500000");
    errno = ENOENT;
    EXPECT_GT(Z9SysSNPrintf(buffer, sizeof buffer, "%m"), 0);
    EXPECT_STREQ(buffer, "No such file or directory");

    std::snprintf(buffer, sizeof buffer, "%.2f", 77.25);
    EXPECT_STREQ(buffer, "77,25") << "which keeps its own";
}

} // namespace
} // namespace test::Z9FmtTest
