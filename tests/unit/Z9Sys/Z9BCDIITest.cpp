// Packed decimals: the bytes, exact arithmetic, rounding, and the flags that every operation answers with.
#include "Z9BCDII.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <boost/multiprecision/cpp_int.hpp>
#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace test::Z9BCDIITest {
namespace {

using Integer = boost::multiprecision::cpp_int;

constexpr uint32_t kZero = Z9BCDII_RESULT_ZERO;
constexpr uint32_t kNegative = Z9BCDII_RESULT_NEGATIVE;
constexpr uint32_t kPrec = Z9BCDII_RESULT_PREC;
constexpr uint32_t kOverflow = Z9BCDII_RESULT_OVERFLOW;

// A value of N digits, M of them fractional, zero at first, with a guard byte behind it that nobody may touch.
class Bcd
{
public:
    Bcd(int n, int m)
    {
        bytes_.fill(0);
        bytes_[0] = static_cast<unsigned char>(m);
        bytes_[1] = static_cast<unsigned char>(n);
        size_ = 2 + static_cast<std::size_t>(Z9BCDIISIZETL(Z9BCDIIMAKETYPE(n, m)));
        bytes_[size_] = 0xA5;
    }
    Bcd(int n, int m, const char* text) : Bcd(n, m)
    {
        const uint32_t flags = Z9BCDIIGetFromStr(*this, text);
        EXPECT_EQ(flags & ~(kZero | kNegative | kPrec), 0u) << text;
    }

    operator unsigned char*() { return bytes_.data(); }
    operator const unsigned char*() const { return bytes_.data(); }

    [[nodiscard]] std::string Text() const
    {
        char text[80];
        Z9BCDII2Str(text, sizeof text, *this);
        EXPECT_EQ(bytes_[size_], 0xA5) << "written behind the value " << text;
        return text;
    }
    [[nodiscard]] std::size_t Size() const { return size_; }

private:
    std::array<unsigned char, 80> bytes_{};
    std::size_t size_;
};

// The smallest value of its type, a value that no operation here computes by chance.
Bcd Marked(int n, int m)
{
    Bcd value(n, m);
    Z9BCDIISetMin(value);
    return value;
}

// The bytes ----------------------------------------------------------------------------------------------------------

TEST(Z9BCDIITest, TheSizesAreThoseOfTheInstancesInUse)
{
    EXPECT_EQ(Z9BCDIIMAKETYPE(16, 5), 4101);
    EXPECT_EQ(2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(16, 5)), 11);
    EXPECT_EQ(2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(26, 2)), 15);
    EXPECT_EQ(2 + Z9BCDIISIZETL(Z9BCDIIMAKETYPE(3, 2)), 4);
    EXPECT_EQ(Z9BCDIISIZETL(0), 0);
}

TEST(Z9BCDIITest, TheHeadStaysAndZeroIsAllZeroBytes)
{
    Bcd value(16, 5, "-98765.4321");
    EXPECT_EQ(static_cast<const unsigned char*>(value)[0], 5);
    EXPECT_EQ(static_cast<const unsigned char*>(value)[1], 16);
    ASSERT_EQ(Z9BCDIIGetFromDouble(value, -0.0), kZero);
    const unsigned char* bytes = value;
    EXPECT_EQ(bytes[0], 5);
    EXPECT_EQ(bytes[1], 16);
    EXPECT_TRUE(std::all_of(bytes + 2, bytes + value.Size(), [](unsigned char b) { return b == 0; }));
}

TEST(Z9BCDIITest, EveryTypeHoldsItsExtremesAndItsNaN)
{
    for (int n = 1; n <= Z9BCDII_MAX_DIGITS; ++n) {
        for (int m = 0; m <= n; ++m) {
            std::string digits(static_cast<std::size_t>(n - m), '9');
            if (digits.empty()) digits = "0";
            if (m > 0) digits += "." + std::string(static_cast<std::size_t>(m), '9');
            Bcd value(n, m);
            Z9BCDIISetMax(value);
            ASSERT_EQ(value.Text(), digits);
            ASSERT_EQ(Z9BCDIIIsNaN(value), 0);
            const Bcd largest = value;
            Z9BCDIISetMin(value);
            ASSERT_EQ(value.Text(), "-" + digits);
            ASSERT_EQ(Z9BCDIICmp(value, largest), -1);
            Z9BCDIISetNaN(value);
            ASSERT_EQ(value.Text(), "nan");
            ASSERT_EQ(Z9BCDIIIsNaN(value), 1);

            // One unit more than the largest does not fit, one unit less than the smallest neither.
            Bcd unit(n, m);
            ASSERT_EQ(Z9BCDIIGetFromInt64(unit, 1, m), 0u);
            Bcd sum = Bcd(n, m);
            ASSERT_EQ(Z9BCDIIAdd(sum, largest, unit), kOverflow);
            ASSERT_EQ(Z9BCDIISub(sum, Marked(n, m), unit), kOverflow);
            ASSERT_EQ(Z9BCDIIAdd(sum, Marked(n, m), unit) & ~(kZero | kNegative), 0u);
        }
    }
}

TEST(Z9BCDIITest, BytesThatHoldMoreThanNDigitsAreNoDecimal)
{
    Bcd value(3, 2); // two bytes; 1000 = 0x03E8 has four digits
    unsigned char* bytes = value;
    bytes[2] = 0xE8;
    bytes[3] = 0x03;
    double number = 1.5;
    EXPECT_EQ(Z9BCDII2Double(&number, value), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(number, 1.5);
    bytes[2] = 0xE7; // 999
    EXPECT_EQ(Z9BCDII2Double(&number, value), 0u);
    EXPECT_EQ(number, 9.99);
}

TEST(Z9BCDIITest, AHeadThatIsNoTypeIsBadOnEitherSide)
{
    const std::array<std::array<unsigned char, 2>, 4> heads = {{{0, 0}, {0, 64}, {4, 3}, {255, 255}}};
    for (const auto& head : heads) {
        std::array<unsigned char, 160> raw{};
        raw[0] = head[0];
        raw[1] = head[1];
        const std::array<unsigned char, 160> before = raw;
        const Bcd good(16, 5, "1");
        Bcd sum(16, 5);
        EXPECT_EQ(Z9BCDIIAdd(raw.data(), good, good), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
        EXPECT_EQ(Z9BCDIIAdd(sum, raw.data(), good), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
        EXPECT_EQ(Z9BCDIIAdd(sum, good, raw.data()), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
        EXPECT_EQ(Z9BCDIIGetFromDouble(raw.data(), 1.0), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
        EXPECT_EQ(Z9BCDIIGetFromInt64(raw.data(), 1, 0), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
        EXPECT_EQ(Z9BCDIIGetFromStr(raw.data(), "1"), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
        Z9BCDIISetNaN(raw.data());
        Z9BCDIISetMin(raw.data());
        Z9BCDIISetMax(raw.data());
        EXPECT_EQ(Z9BCDIIIsNaN(raw.data()), 0);
        EXPECT_EQ(raw, before);
        char text[8] = "before";
        EXPECT_EQ(Z9BCDII2Str(text, sizeof text, raw.data()), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
        EXPECT_STREQ(text, "");
        EXPECT_EQ(Z9BCDIICmp(raw.data(), good), -1); // what is no decimal stands where a NaN does
        EXPECT_EQ(Z9BCDIICmp(good, raw.data()), 1);
    }
}

TEST(Z9BCDIITest, NullPointersAreBadAndNeverFollowed)
{
    const Bcd good(16, 5, "1");
    Bcd sum(16, 5);
    EXPECT_EQ(Z9BCDIIAdd(nullptr, good, good), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
    EXPECT_EQ(Z9BCDIISub(sum, nullptr, good), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(Z9BCDIIGetFromStr(sum, nullptr), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(Z9BCDII2Double(nullptr, good), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
    EXPECT_EQ(Z9BCDII2Int64(nullptr, good, 2), static_cast<uint32_t>(Z9BCDII_RESULT_BAD));
    EXPECT_EQ(Z9BCDIICmp(nullptr, nullptr), 0);
    EXPECT_EQ(Z9BCDIIIsNaN(nullptr), 0);
    Z9BCDIISetNaN(nullptr);
    Z9BCDIISetMax(nullptr);
    EXPECT_EQ(sum.Text(), "0.00000");
}

// Doubles ------------------------------------------------------------------------------------------------------------

TEST(Z9BCDIITest, ADoubleRoundsToNearestWithHalvesAwayFromZero)
{
    const struct
    {
        double value;
        const char* text;
        uint32_t flags;
    } cases[] = {
        {1.25, "1.25", 0},
        {-1.25, "-1.25", kNegative},
        {0.125, "0.13", kPrec},               // a half exactly: away from zero
        {-0.125, "-0.13", kPrec | kNegative}, //
        {0.375, "0.38", kPrec},               //
        {1.005, "1.00", kPrec},               // the double is 1.00499999999999989..., below the half
        {1.015, "1.01", kPrec},               // 1.01499999999999990...
        {1.025, "1.02", kPrec},               // 1.02499999999999991...
        {0.115, "0.12", kPrec},               // 0.115000000000000004..., above the half
        {0.004, "0.00", kPrec | kZero},       //
        {-0.004, "0.00", kPrec | kZero},      // no negative zero
        {5e-324, "0.00", kPrec | kZero},      //
        {9.99, "9.99", kPrec},                // no double is 9.99
        {9.5, "9.50", 0},                     //
        {0.0, "0.00", kZero},                 //
    };
    for (const auto& c : cases) {
        Bcd value(3, 2);
        EXPECT_EQ(Z9BCDIIGetFromDouble(value, c.value), c.flags) << c.value;
        EXPECT_EQ(value.Text(), c.text) << c.value;
    }
}

TEST(Z9BCDIITest, ADoubleThatDoesNotFitLeavesTheResultAlone)
{
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {10.0, -10.0, 9.996, -9.996, 1e300, -1.7976931348623157e308, infinity, -infinity}) {
        Bcd result = Marked(3, 2);
        EXPECT_EQ(Z9BCDIIGetFromDouble(result, value), kOverflow) << value;
        EXPECT_EQ(result.Text(), "-9.99") << value;
    }
    Bcd result = Marked(3, 2);
    EXPECT_EQ(Z9BCDIIGetFromDouble(result, std::nan("")), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    EXPECT_EQ(result.Text(), "-9.99");
}

TEST(Z9BCDIITest, LargeDoublesAreTakenDigitByDigit)
{
    Bcd value(63, 0);
    ASSERT_EQ(Z9BCDIIGetFromDouble(value, 0x1p200), 0u);
    // 2^200, by squaring 2^100 = 1267650600228229401496703205376.
    EXPECT_EQ(value.Text(), "1606938044258990275541962092341162602522202993782792835301376");
    Bcd fraction(63, 63);
    ASSERT_EQ(Z9BCDIIGetFromDouble(fraction, 0x1p-10), 0u); // 1/1024
    EXPECT_EQ(fraction.Text(), "0.0009765625" + std::string(53, '0'));
}

// The decimal expansion of a double is finite and the C library prints all of it, so rounding is a matter of looking
// at one digit.
std::string RoundedByHand(double value, int m)
{
    char exact[1600];
    std::snprintf(exact, sizeof exact, "%.1074f", std::fabs(value));
    const std::string text(exact);
    const std::size_t point = text.find('.');
    Integer units(0);
    for (std::size_t i = 0; i <= point + static_cast<std::size_t>(m); ++i) {
        if (i != point) units = units * 10 + (text[i] - '0');
    }
    if (text[point + 1 + static_cast<std::size_t>(m)] >= '5') ++units;
    std::string digits = units.str();
    const auto scale = static_cast<std::size_t>(m);
    if (digits.size() <= scale) digits.insert(0, scale + 1 - digits.size(), '0');
    if (m > 0) digits.insert(digits.size() - scale, ".");
    return (value < 0 && units != 0 ? "-" : "") + digits;
}

TEST(Z9BCDIITest, RandomDoublesRoundAsTheirWholeDecimalExpansionSays)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
    for (int round = 0; round < 3000; ++round) {
        const double value = std::ldexp(mantissa(random), static_cast<int>(random() % 60) - 25);
        const int m = static_cast<int>(random() % 12);
        Bcd result(40, m);
        ASSERT_EQ(Z9BCDIIGetFromDouble(result, value) & ~(kZero | kNegative | kPrec), 0u);
        ASSERT_EQ(result.Text(), RoundedByHand(value, m)) << value << " m " << m;
    }
}

TEST(Z9BCDIITest, TheNearestDoubleIsGivenBack)
{
    double value = 0.0;
    EXPECT_EQ(Z9BCDII2Double(&value, Bcd(16, 5, "0.1")), 0u);
    EXPECT_EQ(value, 0.1);
    EXPECT_EQ(Z9BCDII2Double(&value, Bcd(16, 5, "-12345678901.23456")), kNegative);
    EXPECT_EQ(value, -12345678901.23456);
    EXPECT_EQ(Z9BCDII2Double(&value, Bcd(16, 5, "0")), kZero);
    EXPECT_EQ(value, 0.0);
    EXPECT_FALSE(std::signbit(value));
    // 2^53 + 1 lies halfway between two doubles; the even one is 2^53.
    EXPECT_EQ(Z9BCDII2Double(&value, Bcd(26, 2, "9007199254740993")), 0u);
    EXPECT_EQ(value, 9007199254740992.0);
    EXPECT_EQ(Z9BCDII2Double(&value, Bcd(26, 2, "9007199254740993.01")), 0u);
    EXPECT_EQ(value, 9007199254740994.0);
}

TEST(Z9BCDIITest, ADoubleWithAFewDigitsComesBackAsItself)
{
    ASSERT_TRUE(rc::check("double -> decimal -> double", [] {
        const auto units = *rc::gen::inRange<int64_t>(-999999999999999, 1000000000000000); // 15 digits: one double each
        const double value = static_cast<double>(units) / 100000.0;
        Bcd packed(16, 5);
        RC_ASSERT((Z9BCDIIGetFromDouble(packed, value) & ~(kZero | kNegative | kPrec)) == 0u);
        int64_t back = 0;
        RC_ASSERT((Z9BCDII2Int64(&back, packed, 5) & ~(kZero | kNegative)) == 0u);
        RC_ASSERT(back == units);
        double again = 0.0;
        RC_ASSERT((Z9BCDII2Double(&again, packed) & ~(kZero | kNegative)) == 0u);
        RC_ASSERT(again == value);
    }));
}

TEST(Z9BCDIITest, ANaNHasNoDoubleAndNoInteger)
{
    Bcd nan(16, 5);
    Z9BCDIISetNaN(nan);
    double number = 1.5;
    int64_t integer = 7;
    EXPECT_EQ(Z9BCDII2Double(&number, nan), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    EXPECT_EQ(Z9BCDII2Int64(&integer, nan, 5), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    EXPECT_EQ(number, 1.5);
    EXPECT_EQ(integer, 7);
}

// Integers -----------------------------------------------------------------------------------------------------------

TEST(Z9BCDIITest, IntegersCountUnitsOfTheGivenFraction)
{
    const struct
    {
        const char* text; // as <26, 5>
        int fractionalDigits;
        int64_t units;
        uint32_t flags;
    } cases[] = {
        {"12.34567", 5, 1234567, 0},
        {"12.34567", 7, 123456700, 0},
        {"12.34567", 2, 1235, kPrec},
        {"-12.34567", 2, -1235, kPrec | kNegative},
        {"12.345", 2, 1235, kPrec}, // halves away from zero
        {"-12.345", 2, -1235, kPrec | kNegative},
        {"12.34499", 2, 1234, kPrec},
        {"-0.4", 0, 0, kPrec | kZero},
        {"-0.5", 0, -1, kPrec | kNegative},
        {"0", 2, 0, kZero},
        {"92233720368547758.07", 2, std::numeric_limits<int64_t>::max(), 0},
        {"-92233720368547758.08", 2, std::numeric_limits<int64_t>::min(), kNegative},
    };
    for (const auto& c : cases) {
        int64_t units = 77;
        EXPECT_EQ(Z9BCDII2Int64(&units, Bcd(26, 5, c.text), c.fractionalDigits), c.flags) << c.text;
        EXPECT_EQ(units, c.units) << c.text;
    }
}

TEST(Z9BCDIITest, AnIntegerBeyondSixtyFourBitsOverflows)
{
    int64_t units = 77;
    for (const char* text : {"92233720368547758.08", "-92233720368547758.09", "92233720368547758.075"}) {
        EXPECT_EQ(Z9BCDII2Int64(&units, Bcd(26, 5, text), 2), kOverflow) << text;
    }
    EXPECT_EQ(Z9BCDII2Int64(&units, Bcd(26, 5, "1"), 63), kOverflow);
    EXPECT_EQ(Z9BCDII2Int64(&units, Bcd(26, 5, "1"), 64), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(Z9BCDII2Int64(&units, Bcd(26, 5, "1"), -1), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(units, 77);
}

TEST(Z9BCDIITest, ValuesAreMadeFromIntegers)
{
    Bcd money(26, 2);
    EXPECT_EQ(Z9BCDIIGetFromInt64(money, -12345, 2), kNegative);
    EXPECT_EQ(money.Text(), "-123.45");
    EXPECT_EQ(Z9BCDIIGetFromInt64(money, std::numeric_limits<int64_t>::min(), 2), kNegative);
    EXPECT_EQ(money.Text(), "-92233720368547758.08");
    EXPECT_EQ(Z9BCDIIGetFromInt64(money, 12345, 3), kPrec);
    EXPECT_EQ(money.Text(), "12.35");
    EXPECT_EQ(Z9BCDIIGetFromInt64(money, 7, 0), 0u);
    EXPECT_EQ(money.Text(), "7.00");
    Bcd weight(3, 2, "1.5");
    EXPECT_EQ(Z9BCDIIGetFromInt64(weight, 10, 0), kOverflow);
    EXPECT_EQ(Z9BCDIIGetFromInt64(weight, 1, -1), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD));
    EXPECT_EQ(weight.Text(), "1.50");
}

// Texts --------------------------------------------------------------------------------------------------------------

TEST(Z9BCDIITest, PlainDecimalTextIsRead)
{
    const struct
    {
        const char* text;
        const char* value; // as <16, 5>
        uint32_t flags;
    } cases[] = {
        {"-12.5", "-12.50000", kNegative},
        {"+12.5", "12.50000", 0},
        {".5", "0.50000", 0},
        {"1.", "1.00000", 0},
        {"-0", "0.00000", kZero},
        {"000000000000000000000000000000000000000000000000000000000000000000000000012", "12.00000", 0},
        {"0.123455", "0.12346", kPrec}, // half away from zero
        {"-0.123455", "-0.12346", kPrec | kNegative},
        {"0.1234549999999999999999999999999999999999999999999999999999999999999999", "0.12345", kPrec},
        {"0.12345000000000000000000000000000000000000000000000000000000000000000000", "0.12345", 0},
        {"99999999999.99999", "99999999999.99999", 0},
        {" 1.5", "1.50000", Z9BCDII_NOT_STRICT_FORMAT},
        {"-1.5\t\n", "-1.50000", Z9BCDII_NOT_STRICT_FORMAT | kNegative},
    };
    for (const auto& c : cases) {
        Bcd value(16, 5);
        EXPECT_EQ(Z9BCDIIGetFromStr(value, c.text), c.flags) << c.text;
        EXPECT_EQ(value.Text(), c.value) << c.text;
    }
}

TEST(Z9BCDIITest, AnyOtherTextIsRefused)
{
    for (const char* text : {"", " ", "-", "+", ".", "-.", "1e5", "1,5", "0x10", "1.2.3", "--1", "1 2", "- 1", "nan",
                             "inf", "12a", "1-"}) {
        Bcd value = Marked(16, 5);
        EXPECT_EQ(Z9BCDIIGetFromStr(value, text), static_cast<uint32_t>(Z9BCDII_OPERAND_BAD)) << text;
        EXPECT_EQ(value.Text(), "-99999999999.99999") << text;
    }
    const std::string huge(100000, '9');
    for (const char* text : {"100000000000", "99999999999.999995", huge.c_str()}) {
        Bcd value = Marked(16, 5);
        EXPECT_EQ(Z9BCDIIGetFromStr(value, text), kOverflow);
        EXPECT_EQ(value.Text(), "-99999999999.99999");
    }
}

TEST(Z9BCDIITest, TextIsCutToTheBuffer)
{
    const Bcd value(16, 5, "-12.5");
    char text[16];
    EXPECT_EQ(Z9BCDII2Str(text, 10, value), kNegative); // "-12.50000" and its zero
    EXPECT_STREQ(text, "-12.50000");
    EXPECT_EQ(Z9BCDII2Str(text, 9, value), kNegative | kOverflow);
    EXPECT_STREQ(text, "-12.5000");
    EXPECT_EQ(Z9BCDII2Str(text, 1, value), kNegative | kOverflow);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(Z9BCDII2Str(nullptr, 0, value), kNegative | kOverflow);

    Bcd nan(16, 5);
    Z9BCDIISetNaN(nan);
    EXPECT_EQ(Z9BCDII2Str(text, sizeof text, nan), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    EXPECT_STREQ(text, "nan");
}

TEST(Z9BCDIITest, AllFractionalDigitsAreShownAndNoMore)
{
    EXPECT_EQ(Bcd(5, 0, "42").Text(), "42");
    EXPECT_EQ(Bcd(5, 2, "-0.05").Text(), "-0.05");
    EXPECT_EQ(Bcd(2, 2, "0.05").Text(), "0.05");
    EXPECT_EQ(Bcd(16, 5).Text(), "0.00000");
}

// Sums ---------------------------------------------------------------------------------------------------------------

TEST(Z9BCDIITest, SumsOfDifferentTypesAreRoundedOnceIntoTheResult)
{
    Bcd result(26, 2);
    EXPECT_EQ(Z9BCDIIAdd(result, Bcd(16, 5, "0.00250"), Bcd(16, 5, "0.00250")), kPrec);
    EXPECT_EQ(result.Text(), "0.01"); // 0.005 in all; each alone would round to nothing
    EXPECT_EQ(Z9BCDIISub(result, Bcd(3, 2, "1.00"), Bcd(16, 5, "1.00499")), kPrec | kZero);
    EXPECT_EQ(result.Text(), "0.00");
    EXPECT_EQ(Z9BCDIISub(result, Bcd(3, 2, "1.00"), Bcd(16, 5, "1.005")), kPrec | kNegative);
    EXPECT_EQ(result.Text(), "-0.01");
    EXPECT_EQ(Z9BCDIISub(result, Bcd(16, 5, "5"), Bcd(16, 5, "5")), kZero);
}

TEST(Z9BCDIITest, AResultMayBeOneOfItsOperands)
{
    Bcd value(26, 2, "1.25");
    EXPECT_EQ(Z9BCDIIAdd(value, value, value), 0u);
    EXPECT_EQ(value.Text(), "2.50");
    EXPECT_EQ(Z9BCDIISub(value, Bcd(26, 2, "1"), value), kNegative);
    EXPECT_EQ(value.Text(), "-1.50");
}

TEST(Z9BCDIITest, ASumWithoutAResultLeavesItAlone)
{
    Bcd nan(16, 5);
    Z9BCDIISetNaN(nan);
    Bcd result(26, 2, "7");
    EXPECT_EQ(Z9BCDIIAdd(result, nan, Bcd(16, 5, "1")), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    EXPECT_EQ(Z9BCDIISub(result, Bcd(16, 5, "1"), nan), static_cast<uint32_t>(Z9BCDII_OPERAND_NAN));
    Bcd largest(26, 2);
    Z9BCDIISetMax(largest);
    EXPECT_EQ(Z9BCDIIAdd(result, largest, Bcd(3, 2, "0.01")), kOverflow);
    EXPECT_EQ(Z9BCDIIAdd(result, largest, Bcd(16, 5, "0.005")), kOverflow); // rounds up into the 27th digit
    EXPECT_EQ(result.Text(), "7.00");
    EXPECT_EQ(Z9BCDIIAdd(result, largest, Bcd(16, 5, "0.00499")), kPrec);
    EXPECT_EQ(result.Text(), std::string(24, '9') + ".99");
}

TEST(Z9BCDIITest, OrderIgnoresTheTypesAndPutsNaNBelowEveryNumber)
{
    EXPECT_EQ(Z9BCDIICmp(Bcd(3, 2, "1.5"), Bcd(16, 5, "1.50000")), 0);
    EXPECT_EQ(Z9BCDIICmp(Bcd(3, 2, "1.5"), Bcd(16, 5, "1.50001")), -1);
    EXPECT_EQ(Z9BCDIICmp(Bcd(3, 2, "1.5"), Bcd(16, 5, "-1.5")), 1);
    EXPECT_EQ(Z9BCDIICmp(Bcd(3, 2, "-1.51"), Bcd(16, 5, "-1.5")), -1);
    Bcd nan(16, 5);
    Z9BCDIISetNaN(nan);
    Bcd otherNan(26, 2);
    Z9BCDIISetNaN(otherNan);
    EXPECT_EQ(Z9BCDIICmp(nan, otherNan), 0);
    EXPECT_EQ(Z9BCDIICmp(nan, Marked(26, 2)), -1);
    EXPECT_EQ(Z9BCDIICmp(Marked(26, 2), nan), 1);
}

// A type and units that fit it.
struct Sample
{
    int n;
    int m;
    Integer units;

    [[nodiscard]] std::string Text() const
    {
        std::string digits = Integer(abs(units)).str();
        const auto scale = static_cast<std::size_t>(m);
        if (digits.size() <= scale) digits.insert(0, scale + 1 - digits.size(), '0');
        if (m > 0) digits.insert(digits.size() - scale, ".");
        return (units < 0 ? "-" : "") + digits;
    }
    [[nodiscard]] Bcd Packed() const { return {n, m, Text().c_str()}; }
};

Sample AnySample()
{
    Sample sample{*rc::gen::inRange(1, Z9BCDII_MAX_DIGITS + 1), 0, 0};
    sample.m = *rc::gen::inRange(0, sample.n + 1);
    const int length = *rc::gen::inRange(0, sample.n + 1);
    for (int i = 0; i < length; ++i)
        sample.units = sample.units * 10 + *rc::gen::inRange(0, 10);
    if (*rc::gen::arbitrary<bool>()) sample.units = -sample.units;
    return sample;
}

Integer TenTo(int exponent)
{
    Integer power = 1;
    for (int i = 0; i < exponent; ++i)
        power *= 10;
    return power;
}

TEST(Z9BCDIITest, EveryValueOfEveryTypeIsReadAndPrintedUnchanged)
{
    ASSERT_TRUE(rc::check("text -> decimal -> text", [] {
        const Sample sample = AnySample();
        RC_ASSERT(sample.Packed().Text() == sample.Text());
    }));
}

TEST(Z9BCDIITest, SumsAndDifferencesAgreeWithUnboundedIntegers)
{
    ASSERT_TRUE(rc::check("a + b, a - b", [] {
        const Sample a = AnySample();
        const Sample b = AnySample();
        const Sample shape = AnySample();
        const bool plus = *rc::gen::arbitrary<bool>();

        // All in units of 10^-63, then halves away from zero at the scale of the result.
        const Integer right = b.units * TenTo(63 - b.m);
        const Integer exact = a.units * TenTo(63 - a.m) + (plus ? right : Integer(-right));
        const Integer divisor = TenTo(63 - shape.m);
        Integer magnitude = (2 * abs(exact) + divisor) / (2 * divisor);
        const Sample expected{shape.n, shape.m, exact < 0 ? Integer(-magnitude) : magnitude};

        Bcd result(shape.n, shape.m);
        const uint32_t flags =
            plus ? Z9BCDIIAdd(result, a.Packed(), b.Packed()) : Z9BCDIISub(result, a.Packed(), b.Packed());
        if (magnitude >= TenTo(shape.n)) {
            RC_ASSERT(flags == kOverflow);
            RC_ASSERT(result.Text() == Bcd(shape.n, shape.m).Text());
        } else {
            const uint32_t sign = expected.units == 0 ? kZero : (expected.units < 0 ? kNegative : 0);
            RC_ASSERT(flags == (sign | (exact % divisor != 0 ? kPrec : 0)));
            RC_ASSERT(result.Text() == expected.Text());
        }
    }));
}

TEST(Z9BCDIITest, OrderAgreesWithUnboundedIntegers)
{
    ASSERT_TRUE(rc::check("a <=> b", [] {
        const Sample a = AnySample();
        const Sample b = *rc::gen::arbitrary<bool>() ? AnySample() : a;
        const Integer left = a.units * TenTo(63 - a.m);
        const Integer right = b.units * TenTo(63 - b.m);
        RC_ASSERT(Z9BCDIICmp(a.Packed(), b.Packed()) == (left > right) - (left < right));
    }));
}

TEST(Z9BCDIITest, TheDoubleOfAnyValueIsTheOneItsTextReadsAs)
{
    ASSERT_TRUE(rc::check("decimal -> double", [] {
        const Sample sample = AnySample();
        double value = -1.0;
        RC_ASSERT((Z9BCDII2Double(&value, sample.Packed()) & ~(kZero | kNegative)) == 0u);
        RC_ASSERT(value == std::strtod(sample.Text().c_str(), nullptr));
    }));
}

} // namespace
} // namespace test::Z9BCDIITest
